// The host's own classes of attributes: one that keeps its values itself, and two whose
// values stand at an offset in the object. The record behind the header begins with
// name, type and flags, as any class of attributes may lay it out: one that does has
// its flags marked when the attribute is touched.
#include "attributes.h"

namespace zan {
namespace {

struct value_attribute {
    attribute_head head;
    void *data; // `size` elements, owned
    long size;
};

struct offset_attribute {
    attribute_head head;
    long offset; // of the value in the object
};

struct array_attribute {
    attribute_head head;
    long offset;
    long size;        // the most elements
    long offsetcount; // of the long that holds the present count; 0: always `size`
};
static_assert(offsetof(offset_attribute, offset) == offsetof(array_attribute, offset));

enum element : char { el_none, el_char, el_long, el_float32, el_float64, el_symbol, el_object, el_atom };
constexpr long element_size[] = {0, 1, 8, 4, 8, 8, 8, 16};

element element_of(const symbol *type)
{
    const kernel_symbols &k = ks();
    const struct {
        symbol *name;
        element el;
    } rows[] = {
        {k.char_, el_char},      {k.long_, el_long},      {k.atom_long, el_long},
        {k.float32, el_float32}, {k.float64, el_float64}, {k.symbol_, el_symbol},
        {k.object_, el_object},  {k.pointer, el_object},  {k.atom_, el_atom},
    };
    for (const auto &row : rows)
        if (row.name == type)
            return row.el;
    return el_none;
}

template <class T> T load(const void *p)
{
    T value;
    std::memcpy(&value, p, sizeof value); // NOLINT(bugprone-sizeof-expression): T may be a pointer
    return value;
}
template <class T> void store(void *p, T value)
{
    std::memcpy(p, &value, sizeof value); // NOLINT(bugprone-sizeof-expression): T may be a pointer
}

void read_element(element el, const void *p, atom *a)
{
    switch (el) {
    case el_char: atom_setlong(a, load<unsigned char>(p)); break;
    case el_long: atom_setlong(a, load<long>(p)); break;
    case el_float32: atom_setfloat(a, static_cast<double>(load<float>(p))); break;
    case el_float64: atom_setfloat(a, load<double>(p)); break;
    case el_symbol: atom_setsym(a, load<symbol *>(p)); break;
    case el_object: atom_setobj(a, load<void *>(p)); break;
    case el_atom: *a = load<atom>(p); break;
    case el_none: break;
    }
}

void write_element(element el, void *p, const atom *a)
{
    switch (el) {
    case el_char: store(p, static_cast<unsigned char>(atom_getlong(a))); break;
    case el_long: store(p, static_cast<long>(atom_getlong(a))); break;
    case el_float32: store(p, static_cast<float>(atom_getfloat(a))); break;
    case el_float64: store(p, atom_getfloat(a)); break;
    case el_symbol: {
        symbol *s = atom_getsym(a);
        store(p, s ? s : ks().empty);
        break;
    }
    case el_object: store(p, atom_getobj(a)); break;
    case el_atom: store(p, *a); break;
    case el_none: break;
    }
}

char *at(void *base, long offset)
{
    return static_cast<char *>(base) + offset;
}

// ---- the getters and setters that an attribute has when none are given ----

long give(const attribute_head *attr, const void *data, long count, long *argc, atom **argv)
{
    if (!argc || !argv)
        return zan_err_invalid_ptr;
    if (count <= 0 || !data) {
        *argc = 0;
        return zan_err_none;
    }
    char allocated;
    if (const long err = atom_alloc_array(count, argc, argv, &allocated))
        return err;
    const element el = element_of(attr->type);
    *argc = *argc < count ? *argc : count;
    for (long i = 0; i < *argc; ++i)
        read_element(el, static_cast<const char *>(data) + i * element_size[el], *argv + i);
    return zan_err_none;
}

long value_get(void *, value_attribute *attr, long *argc, atom **argv)
{
    return attr ? give(&attr->head, attr->data, attr->size, argc, argv) : long{zan_err_invalid_ptr};
}

long value_set(void *, value_attribute *attr, long argc, atom *argv)
{
    if (!attr)
        return zan_err_invalid_ptr;
    if (argc <= 0 || !argv)
        return zan_err_none;
    const element el = element_of(attr->head.type);
    if (argc != attr->size) {
        void *data = std::malloc(static_cast<size_t>(argc * element_size[el]));
        if (!data)
            return zan_err_out_of_mem;
        std::free(attr->data);
        attr->data = data;
        attr->size = argc;
    }
    for (long i = 0; i < argc; ++i)
        write_element(el, at(attr->data, i * element_size[el]), argv + i);
    return zan_err_none;
}

long offset_get(void *x, offset_attribute *attr, long *argc, atom **argv)
{
    return x && attr ? give(&attr->head, at(x, attr->offset), 1, argc, argv) : long{zan_err_invalid_ptr};
}

long offset_set(void *x, offset_attribute *attr, long argc, atom *argv)
{
    if (!x || !attr || argc <= 0 || !argv)
        return zan_err_invalid_ptr;
    write_element(element_of(attr->head.type), at(x, attr->offset), argv);
    return zan_err_none;
}

long array_get(void *x, array_attribute *attr, long *argc, atom **argv)
{
    if (!x || !attr)
        return zan_err_invalid_ptr;
    long count = attr->offsetcount ? load<long>(at(x, attr->offsetcount)) : attr->size;
    return give(&attr->head, at(x, attr->offset), count < attr->size ? count : attr->size, argc, argv);
}

long array_set(void *x, array_attribute *attr, long argc, atom *argv)
{
    if (!x || !attr || argc < 0 || (argc && !argv))
        return zan_err_invalid_ptr;
    const element el = element_of(attr->head.type);
    const long count = argc < attr->size ? argc : attr->size;
    for (long i = 0; i < count; ++i)
        write_element(el, at(x, attr->offset + i * element_size[el]), argv + i);
    if (attr->offsetcount)
        store(at(x, attr->offsetcount), count);
    else // a fixed number of values: those that weren't given are zero
        std::memset(at(x, attr->offset + count * element_size[el]), 0,
                    static_cast<size_t>((attr->size - count) * element_size[el]));
    return zan_err_none;
}

// ---- filters ----

void run_filter(object *filter, void *x, void *attr, long argc, atom *argv)
{
    if (argc > 0 && argv)
        object_method_imp(filter, ks().filter, word_of(ks().filter), argc, word_of(argv), word_of(x),
                          word_of(attr), 0, 0, 0);
}

zan_word filtered_get(void *x, attribute_head *attr, long *argc, atom **argv)
{
    if (!attr || !argc || !argv)
        return zan_err_invalid_ptr;
    const zan_word err = as<attr_getter>(attr->get)(x, attr, argc, argv);
    if (!err && attr->filterget)
        run_filter(attr->filterget, x, attr, *argc, *argv);
    return err;
}

// The caller's atoms stay as they are: the filter works on a copy.
zan_word filtered_set(void *x, attribute_head *attr, long argc, atom *argv)
{
    if (!attr)
        return zan_err_invalid_ptr;
    if (!attr->filterset || argc <= 0 || !argv)
        return as<attr_setter>(attr->set)(x, attr, argc, argv);
    constexpr long few = 64;
    atom stack[few];
    const size_t bytes = static_cast<size_t>(argc) * sizeof(atom);
    atom *copy = argc <= few ? stack : static_cast<atom *>(std::malloc(bytes));
    if (!copy)
        return zan_err_out_of_mem;
    std::memcpy(copy, argv, bytes);
    run_filter(attr->filterset, x, attr, argc, copy);
    const zan_word err = as<attr_setter>(attr->set)(x, attr, argc, copy);
    if (copy != stack)
        std::free(copy);
    return err;
}

long put_filter(object **place, void *filter)
{
    if (filter && !zgetfn(filter, ks().filter))
        return zan_err_generic;
    object *older = *place;
    *place = static_cast<object *>(filter);
    object_free(older);
    return zan_err_none;
}

// ---- messages ----

symbol *m_getname(attribute_head *a)
{
    return a->name;
}
symbol *m_gettype(attribute_head *a)
{
    return a->type;
}

zan_method m_getmethod(attribute_head *a, symbol *which)
{
    if (which == ks().get)
        return a->filterget ? erase(filtered_get) : a->get;
    if (which == ks().set)
        return a->filterset ? erase(filtered_set) : a->set;
    return nullptr;
}

long m_setmethod(attribute_head *a, symbol *which, zan_method fn)
{
    if (fn && which == ks().get)
        a->get = fn;
    else if (fn && which == ks().set)
        a->set = fn;
    return zan_err_none;
}

long m_getmethodtype(attribute_head *a, symbol *which)
{
    const int shift = which == ks().get ? 16 : which == ks().set ? 24 : -1; // where the four deferring flags stand
    if (shift < 0)
        return argtype_gimme;
    const long flags = a->flags >> shift;
    return flags & 8   ? argtype_usurp_low
           : flags & 2 ? argtype_usurp
           : flags & 4 ? argtype_defer_low
           : flags & 1 ? argtype_defer
                       : argtype_gimme;
}

long m_canget(attribute_head *a)
{
    return !(a->flags & attr_get_opaque);
}
long m_canset(attribute_head *a)
{
    return !(a->flags & attr_set_opaque);
}
long m_usercanget(attribute_head *a)
{
    return !(a->flags & (attr_get_opaque | attr_get_opaque_user));
}
long m_usercanset(attribute_head *a)
{
    return !(a->flags & (attr_set_opaque | attr_set_opaque_user));
}
long m_filterget(attribute_head *a, void *filter)
{
    return put_filter(&a->filterget, filter);
}
long m_filterset(attribute_head *a, void *filter)
{
    return put_filter(&a->filterset, filter);
}
object *m_get_filterset(attribute_head *a)
{
    return a->filterset;
}
zan_word m_get(attribute_head *a, void *x, long *argc, atom **argv)
{
    return filtered_get(x, a, argc, argv);
}
zan_word m_set(attribute_head *a, void *x, long argc, atom *argv)
{
    return filtered_set(x, a, argc, argv);
}

long m_value_getsize(value_attribute *a)
{
    return a->size;
}
long m_offset_getsize(offset_attribute *)
{
    return 1;
}
long m_array_getsize(array_attribute *a)
{
    return a->size;
}
long m_getoffset(offset_attribute *a)
{
    return a->offset;
}
long m_getoffsetcount(array_attribute *a)
{
    return a->offsetcount;
}

attribute_head *clone_head(attribute_head *a)
{
    auto *copy = static_cast<attribute_head *>(object_clone_generic(a));
    if (!copy)
        return nullptr;
    copy->filterget = static_cast<object *>(object_clone(a->filterget));
    copy->filterset = static_cast<object *>(object_clone(a->filterset));
    return copy;
}

void *m_value_clone(value_attribute *a)
{
    auto *copy = reinterpret_cast<value_attribute *>(clone_head(&a->head));
    if (!copy || !copy->data)
        return copy;
    const size_t bytes = static_cast<size_t>(a->size * element_size[element_of(a->head.type)]);
    copy->data = std::malloc(bytes);
    if (copy->data)
        std::memcpy(copy->data, a->data, bytes);
    else
        copy->size = 0;
    return copy;
}

void free_head(attribute_head *a)
{
    object_free(a->filterget);
    object_free(a->filterset);
}

void free_value(value_attribute *a)
{
    free_head(&a->head);
    std::free(a->data);
}

// ---- the classes ----

struct message {
    const char *name;
    zan_method fn;
};

const message common_messages[] = {
    {"getname", erase(m_getname)},
    {"gettype", erase(m_gettype)},
    {"getmethod", erase(m_getmethod)},
    {"setmethod", erase(m_setmethod)},
    {"getmethodtype", erase(m_getmethodtype)},
    {"canget", erase(m_canget)},
    {"canset", erase(m_canset)},
    {"usercanget", erase(m_usercanget)},
    {"usercanset", erase(m_usercanset)},
    {"filterget", erase(m_filterget)},
    {"filterset", erase(m_filterset)},
    {"get_filterset", erase(m_get_filterset)},
    {"get", erase(m_get)},
    {"set", erase(m_set)},
    {"getvalueof", erase(m_get)},
    {"setvalueof", erase(m_set)},
};
const message value_messages[] = {{"getsize", erase(m_value_getsize)}, {"object_clone", erase(m_value_clone)}};
const message offset_messages[] = {
    {"getsize", erase(m_offset_getsize)}, {"getoffset", erase(m_getoffset)}, {"object_clone", erase(clone_head)}};
const message array_messages[] = {{"getsize", erase(m_array_getsize)},
                                  {"getoffset", erase(m_getoffset)},
                                  {"getoffsetcount", erase(m_getoffsetcount)},
                                  {"object_clone", erase(clone_head)}};

zan_class *value_class, *offset_class, *array_class;

template <size_t N>
zan_class *make_class(const char *name, zan_method new_fn, zan_method free_fn, size_t size,
                      const message (&own)[N])
{
    zan_class *c = class_new(name, new_fn, free_fn, static_cast<long>(size), nullptr, argtype_cant, 0);
    if (!c)
        return nullptr;
    for (const message &m : common_messages)
        class_addmethod(c, m.fn, m.name, argtype_cant, 0);
    for (const message &m : own)
        class_addmethod(c, m.fn, m.name, argtype_cant, 0);
    class_register(nobox(), c);
    return c;
}

attribute_head *make(zan_class *c, const char *name, symbol *type, long flags, zan_method get, zan_method set)
{
    if (!name || element_of(type) == el_none) {
        object_error(nullptr, "attribute %s: unknown type \"%s\"", name ? name : "", type ? type->name : "");
        return nullptr;
    }
    auto *a = static_cast<attribute_head *>(object_alloc(c));
    if (!a)
        return nullptr;
    a->name = gensym(name);
    a->type = type;
    a->flags = flags;
    a->get = get;
    a->set = set;
    return a;
}

} // namespace

void init_attribute_classes()
{
    value_class =
        make_class("attribute", erase(attribute_new), erase(free_value), sizeof(value_attribute), value_messages);
    offset_class = make_class("attr_offset", erase(attr_offset_new), erase(free_head), sizeof(offset_attribute),
                              offset_messages);
    array_class = make_class("attr_offset_array", erase(attr_offset_array_new), erase(free_head),
                             sizeof(array_attribute), array_messages);
}

zan_method attribute_function(void *attr, symbol *get_or_set)
{
    return reinterpret_cast<zan_method>(
        object_method_imp(attr, ks().getmethod, word_of(get_or_set), 0, 0, 0, 0, 0, 0, 0));
}

bool attribute_answers(void *attr, symbol *question)
{
    return object_method_imp(attr, question, 0, 0, 0, 0, 0, 0, 0, 0) != 0;
}

} // namespace zan

using namespace zan;

extern "C" {

void *attribute_new(const char *name, symbol *type, long flags, zan_method get_fn, zan_method set_fn)
{
    boot();
    return make(value_class, name, type, flags, get_fn ? get_fn : erase(value_get),
                set_fn ? set_fn : erase(value_set));
}

void *attr_offset_new(const char *name, symbol *type, long flags, zan_method get_fn, zan_method set_fn,
                      long offset)
{
    boot();
    auto *a = reinterpret_cast<offset_attribute *>(make(offset_class, name, type, flags,
                                                        get_fn ? get_fn : erase(offset_get),
                                                        set_fn ? set_fn : erase(offset_set)));
    if (a)
        a->offset = offset;
    return a;
}

void *attr_offset_array_new(const char *name, symbol *type, long size, long flags, zan_method get_fn,
                            zan_method set_fn, long offsetcount, long offset)
{
    boot();
    auto *a = reinterpret_cast<array_attribute *>(make(
        array_class, name, type, flags, get_fn ? get_fn : erase(array_get), set_fn ? set_fn : erase(array_set)));
    if (a) {
        a->offset = offset;
        a->size = size < 0 ? 0 : size;
        a->offsetcount = offsetcount;
    }
    return a;
}

} // extern "C"
