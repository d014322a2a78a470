// The class vok_attribute, which keeps its value in itself, and everything that it shares
// with the classes that keep it in the owning object: the messages of an attribute, the
// protocol of get and set with filters, and the conversion of values.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include <zan/zan.h>

#include <vokra/box.h>
#include <vokra/commonsyms.h>
#include <vokra/memory.h>

#include "kernel/atoms.h"
#include "kernel/attribute.h"
#include "kernel/message.h"

namespace vok {

vok_err reserve_atoms(long n, long *argc, atom **argv)
{
    if (!argc || !argv)
        return VOK_ERR_INVP;
    if (*argc > 0 && *argv) {
        *argc = std::min(*argc, n);
        return VOK_ERR_NONE;
    }
    *argc = 0;
    *argv = n >= 0 ? static_cast<atom *>(sysmem_newptrclear(std::max(n, 1L) * long{sizeof(atom)})) : nullptr;
    if (!*argv)
        return VOK_ERR_OMEM;
    if (_vok_memreg)
        vok_memory_register(*argv, std::max(n, 1L) * long{sizeof(atom)}, 0);
    *argc = n;
    return VOK_ERR_NONE;
}

namespace {

template <typename T> void read_long(const char *p, atom *a)
{
    T v;
    std::memcpy(&v, p, sizeof v);
    atom_setlong(a, static_cast<zan_word>(v));
}
template <typename T> void write_long(char *p, const atom *a)
{
    const T v = static_cast<T>(atom_getlong(a));
    std::memcpy(p, &v, sizeof v);
}
template <typename T> void read_float(const char *p, atom *a)
{
    T v;
    std::memcpy(&v, p, sizeof v);
    atom_setfloat(a, v);
}
template <typename T> void write_float(char *p, const atom *a)
{
    const T v = static_cast<T>(atom_getfloat(a));
    std::memcpy(p, &v, sizeof v);
}
void read_symbol(const char *p, atom *a)
{
    symbol *v;
    std::memcpy(&v, p, sizeof v);
    atom_setsym(a, v);
}
void write_symbol(char *p, const atom *a)
{
    symbol *v = vok_atom_getsym(a);
    std::memcpy(p, &v, sizeof v);
}
void read_object(const char *p, atom *a)
{
    void *v;
    std::memcpy(&v, p, sizeof v);
    atom_setobj(a, v);
}
void write_object(char *p, const atom *a)
{
    void *v = atom_getobj(a);
    std::memcpy(p, &v, sizeof v);
}
void read_atom(const char *p, atom *a)
{
    std::memcpy(a, p, sizeof *a);
}
void write_atom(char *p, const atom *a)
{
    std::memcpy(p, a, sizeof *a);
}

constexpr element_type element_types[] = {
    {&_vok_sym_char, 1, read_long<unsigned char>, write_long<unsigned char>},
    {&_vok_sym_long, 8, read_long<zan_word>, write_long<zan_word>},
    {&_vok_sym_float32, 4, read_float<float>, write_float<float>},
    {&_vok_sym_float64, 8, read_float<double>, write_float<double>},
    {&_vok_sym_symbol, 8, read_symbol, write_symbol},
    {&_vok_sym_object, 8, read_object, write_object},
    {&_vok_sym_pointer, 8, read_object, write_object},
    {&_vok_sym_atom, 16, read_atom, write_atom},
};

vok_attribute *record(void *attr)
{
    return static_cast<vok_attribute *>(attr); // the fields up to `reserved` are everyone's
}

const element_type *known_type(const symbol *type)
{
    const auto at = std::find_if(std::begin(element_types), std::end(element_types),
                                 [type](const element_type &e) { return *e.type == type; });
    return at == std::end(element_types) ? nullptr : at;
}

} // namespace

const element_type *find_element_type(symbol *type)
{
    if (const element_type *known = known_type(type))
        return known;
    object_post(nullptr, "vok.attribute: unknown type");
    return nullptr;
}

void init_attribute(void *attr, const char *name, symbol *type, long flags, zan_method get, zan_method set)
{
    if (!known_type(type)) // told where it can be mended, as its values will be no values
        object_warn(nullptr, "attribute %s: no values are of type %s", name ? name : "", type ? type->name : "");
    vok_attribute *x = record(attr);
    x->name = gensym(name);
    x->type = type;
    x->flags = flags;
    x->get = get;
    x->set = set;
}

void free_filters(void *attr)
{
    vok_attribute *x = record(attr);
    for (void **filter : {&x->filterget, &x->filterset})
        if (void *f = std::exchange(*filter, nullptr))
            vok_object_free(f);
}

void *clone_attribute(void *attr, long size)
{
    if (!attr)
        return nullptr;
    void *copy = object_alloc(object_class(attr));
    if (!copy)
        return nullptr;
    std::memcpy(static_cast<char *>(copy) + sizeof(object), static_cast<char *>(attr) + sizeof(object),
                static_cast<size_t>(size) - sizeof(object));
    vok_attribute *x = record(copy);
    for (void **filter : {&x->filterget, &x->filterset})
        if (*filter)
            *filter = object_clone(*filter);
    return copy;
}

// ---- the messages of every attribute ----

namespace {

symbol *get_name(vok_attribute *x)
{
    return x ? x->name : _vok_sym_nothing;
}

symbol *get_type(vok_attribute *x)
{
    return x ? x->type : _vok_sym_nothing;
}

zan_method get_method(vok_attribute *x, symbol *which)
{
    if (x && which == _vok_sym_get)
        return x->filterget ? method(vok_attr_filterget_wrap) : x->get;
    if (x && which == _vok_sym_set)
        return x->filterset ? method(vok_attr_filterset_wrap) : x->set;
    return nullptr;
}

vok_err set_method(vok_attribute *x, symbol *which, zan_method fn)
{
    if (x && fn && which == _vok_sym_get)
        x->get = fn;
    else if (x && fn && which == _vok_sym_set)
        x->set = fn;
    return VOK_ERR_NONE;
}

// The flags of one direction, from the one that wins down; those of a set lie 8 bits up.
zan_word get_method_type(vok_attribute *x, symbol *which)
{
    constexpr struct {
        long flag;
        int tag;
    } kinds[] = {
        {vok_attrflag_get_usurp_low, argtype_usurp_low},
        {vok_attrflag_get_usurp, argtype_usurp},
        {vok_attrflag_get_defer_low, argtype_defer_low},
        {vok_attrflag_get_defer, argtype_defer},
    };
    static_assert(vok_attrflag_set_defer == long{vok_attrflag_get_defer} << 8, "one table serves both");
    if (!x || (which != _vok_sym_get && which != _vok_sym_set))
        return argtype_gimme;
    for (const auto &k : kinds)
        if (x->flags & (which == _vok_sym_set ? k.flag << 8 : k.flag))
            return k.tag;
    return argtype_gimme;
}

template <long Flag> zan_word lacks_flag(vok_attribute *x)
{
    return x && !(x->flags & Flag);
}

template <void *vok_attribute::*Filter> vok_err set_filter(vok_attribute *x, void *filter)
{
    if (!x)
        return VOK_ERR_INVP;
    if (filter && object_getmethod(filter, _vok_sym_filter) == method(method_false))
        return VOK_ERR_EROR;
    if (void *old = std::exchange(x->*Filter, filter); old && old != filter)
        vok_object_free(old);
    return VOK_ERR_NONE;
}

void *get_filterset(vok_attribute *x)
{
    return x ? x->filterset : nullptr;
}

constexpr long filtered_most = 256; // atoms of a set that reach the filter

void run_filter(void *filter, void *x, vok_attribute *attr, long argc, atom *argv)
{
    send(filter, _vok_sym_filter, _vok_sym_filter, argc, argv, x, attr);
}

vok_err filtered_get(void *x, vok_attribute *attr, long *argc, atom **argv)
{
    vok_err err = VOK_ERR_NONE;
    if (attr->get)
        err = reinterpret_cast<attr_getter>(attr->get)(x, attr, argc, argv);
    if (attr->filterget && argc && argv)
        run_filter(attr->filterget, x, attr, *argc, *argv);
    return err;
}

vok_err filtered_set(void *x, vok_attribute *attr, long argc, const atom *argv)
{
    atom copy[filtered_most]; // the caller's atoms stay as they are
    const long count = argv ? std::clamp(argc, 0L, filtered_most) : 0;
    std::copy_n(argv, count, copy);
    run_filter(attr->filterset, x, attr, count, copy);
    return attr->set ? reinterpret_cast<attr_setter>(attr->set)(x, attr, count, copy) : long{VOK_ERR_NONE};
}

vok_err get(vok_attribute *attr, void *x, long *argc, atom **argv)
{
    if (attr)
        filtered_get(x, attr, argc, argv);
    return VOK_ERR_NONE;
}

vok_err set(vok_attribute *attr, void *x, long argc, atom *argv)
{
    if (attr && attr->filterset)
        filtered_set(x, attr, argc, argv);
    else if (attr && attr->set)
        reinterpret_cast<attr_setter>(attr->set)(x, attr, argc, argv);
    return VOK_ERR_NONE;
}

// Placeholders $1 $2 ... for the values of a message that sets this attribute.
vok_err get_format(vok_attribute *attr, void *x, long *argc, atom **argv)
{
    if (!attr || !argc || !argv)
        return VOK_ERR_INVP;
    long count = send(attr, _vok_sym_getsize);
    if (count >= 5) { // a message would show them all: see how many there are now
        atom_array value;
        get(attr, x, &value.argc, &value.argv);
        if (value.argc > 0)
            count = value.argc;
    }
    count = std::clamp(count, 1L, 9L);
    char allocated = 0;
    if (const long err = atom_alloc_array(count, argc, argv, &allocated))
        return vok_err_from_zan_err(err);
    for (long i = 0; i < *argc; ++i) {
        (*argv)[i].type = argtype_dollar;
        (*argv)[i].value.as_long = i + 1;
    }
    return VOK_ERR_NONE;
}

bool shows_as_text(symbol *type)
{
    for (symbol *t :
         {_vok_sym_long, _vok_sym_char, _vok_sym_symbol, _vok_sym_float32, _vok_sym_float64, _vok_sym_atom})
        if (t == type)
            return true;
    return false;
}

vok_err get_text(vok_attribute *attr, void *x, long *textsize, char **text, long maxelements, long maxchars,
                 long flags)
{
    if (!attr || !x || !textsize || !text)
        return VOK_ERR_EROR;
    symbol *type = attr->type;
    if (!shows_as_text(type))
        return VOK_ERR_EROR;
    // A box shows an attribute of the library object behind it.
    if (void *inner = zan_vok_obex_vokob_get(x); inner && object_attr_get(inner, attr->name) == attr)
        x = inner;

    atom_array value;
    if (const vok_err err = object_attr_getvalueof(x, attr->name, &value.argc, &value.argv))
        return err;
    long shown = value.argc;
    const bool whole = type == _vok_sym_symbol || type == _vok_sym_atom;
    if (!whole && maxelements > 0)
        shown = std::min(shown, maxelements);
    bool shortened = shown < value.argc;

    long size = 0;
    char *full = nullptr;
    if (const long err = atom_gettext(shown, value.argv, &size, &full, flags))
        return vok_err_from_zan_err(err);
    struct owner {
        char *p;
        ~owner() { sysmem_freeptr(p); }
    } owned{full};
    if (!full)
        return VOK_ERR_OMEM;
    size_t length = std::strlen(full);
    if (maxchars > 0 && charset_utf8_count(full, nullptr) > maxchars) {
        length = static_cast<size_t>(charset_utf8_offset(full, maxchars, nullptr) - full);
        shortened = true;
    }
    constexpr char more[] = " ...";
    const size_t total = length + (shortened ? sizeof more - 1 : 0);
    if (!(*textsize > 0 && *text)) {
        *text = static_cast<char *>(sysmem_newptr(static_cast<long>(total) + 1));
        if (!*text)
            return VOK_ERR_OMEM;
        *textsize = static_cast<long>(total) + 1;
    }
    full[length] = 0;
    strncpy_zero(*text, full, *textsize);
    if (shortened)
        strncat_zero(*text, more, *textsize);
    return VOK_ERR_NONE;
}

constexpr message shared_messages[] = {
    {"getname", fn<get_name>, {argtype_cant}},
    {"gettype", fn<get_type>, {argtype_cant}},
    {"getmethod", fn<get_method>, {argtype_cant}},
    {"setmethod", fn<set_method>, {argtype_cant}},
    {"getmethodtype", fn<get_method_type>, {argtype_cant}},
    {"canget", fn<lacks_flag<vok_attrflag_get_opaque>>, {argtype_cant}},
    {"canset", fn<lacks_flag<vok_attrflag_set_opaque>>, {argtype_cant}},
    {"usercanget", fn<lacks_flag<vok_attrflag_get_opaque_user>>, {argtype_cant}},
    {"usercanset", fn<lacks_flag<vok_attrflag_set_opaque_user>>, {argtype_cant}},
    {"filterget", fn<set_filter<&vok_attribute::filterget>>, {argtype_cant}},
    {"filterset", fn<set_filter<&vok_attribute::filterset>>, {argtype_cant}},
    {"get_filterset", fn<get_filterset>, {argtype_cant}},
    {"get", fn<get>, {argtype_cant}},
    {"set", fn<set>, {argtype_cant}},
    {"getvalueof", fn<get>, {argtype_cant}},
    {"setvalueof", fn<set>, {argtype_cant}},
    {"getformat", fn<get_format>, {argtype_cant}},
    {"gettext", fn<get_text>, {argtype_cant}},
    {"register", fn<vok_object_register>, {argtype_cant}},
    {"class_vok_attribute", fn<vok_method_true>, {argtype_cant}},
};

// ---- vok_attribute ----

zan_class *attribute_class;

zan_word get_size(vok_attribute *x)
{
    return x ? x->size : 0;
}

void *clone(vok_attribute *x)
{
    auto *copy = static_cast<vok_attribute *>(clone_attribute(x, sizeof *x));
    if (!copy || !x->data)
        return copy;
    const long bytes = sysmem_ptrsize(x->data);
    copy->data = vok_getbytes(bytes);
    if (copy->data)
        std::memcpy(copy->data, x->data, static_cast<size_t>(bytes));
    else
        copy->size = 0;
    return copy;
}

constexpr message attribute_messages[] = {
    {"getsize", fn<get_size>, {argtype_cant}},
    {"object_clone", fn<clone>, {argtype_cant}},
};

} // namespace

zan_class *make_attribute_class(const char *name, function new_fn, function free_fn, long size,
                                std::span<const message> own)
{
    zan_class *c = vok_class_new(name, new_fn(), free_fn(), size, argtype_cant, 0);
    if (!c) {
        object_error(nullptr, "%s: out of memory for the class", name);
        return nullptr;
    }
    vok_attr_setup_class(c);
    add_messages(c, own);
    vok_class_register(c);
    return c;
}

void init_attribute_class()
{
    attribute_class = make_attribute_class("vok_attribute", fn<vok_attribute_new>, fn<vok_attribute_free>,
                                           sizeof(vok_attribute), attribute_messages);
}

} // namespace vok

void vok_attr_setup_class(zan_class *c)
{
    vok::add_messages(c, vok::shared_messages);
}

vok_err vok_attr_init(void)
{
    vok::init_attribute_class();
    vok::init_attr_offset_class();
    vok::init_attr_offset_array_class();
    vok::init_attr_filter_classes();
    return VOK_ERR_NONE;
}

long vok_attribute_sizeof(symbol *type)
{
    const vok::element_type *e = vok::find_element_type(type);
    return e ? e->size : 0;
}

void *vok_attribute_new(const char *name, symbol *type, long flags, zan_method get, zan_method set)
{
    auto *x = static_cast<vok_attribute *>(vok_object_alloc(vok::attribute_class));
    if (x)
        vok::init_attribute(x, name, type, flags, get ? get : vok::method(vok_attribute_method_get),
                            set ? set : vok::method(vok_attribute_method_set));
    return x;
}

void vok_attribute_free(void *attr)
{
    auto *x = static_cast<vok_attribute *>(attr);
    vok::free_filters(x);
    if (x->data)
        vok_freebytes(x->data, sysmem_ptrsize(x->data));
}

vok_err vok_attribute_method_get(void *, void *attr, long *argc, atom **argv)
{
    auto *a = static_cast<vok_attribute *>(attr);
    const vok::element_type *type = a ? vok::find_element_type(a->type) : nullptr;
    if (!a || !argc || !argv)
        return VOK_ERR_INVP;
    if (!type) {
        *argc = 0;
        return VOK_ERR_EROR;
    }
    if (const vok_err err = vok::reserve_atoms(a->size, argc, argv))
        return err;
    for (long i = 0; i < *argc; ++i)
        type->read(static_cast<const char *>(a->data) + i * type->size, *argv + i);
    return VOK_ERR_NONE;
}

vok_err vok_attribute_method_set(void *, void *attr, long argc, atom *argv)
{
    auto *a = static_cast<vok_attribute *>(attr);
    if (!a)
        return VOK_ERR_INVP;
    if (argc <= 0 || !argv)
        return VOK_ERR_NONE;
    const vok::element_type *type = vok::find_element_type(a->type);
    if (a->data)
        vok_freebytes(a->data, (type ? type->size : 8) * a->size);
    a->data = nullptr;
    a->size = 0;
    if (!type)
        return VOK_ERR_EROR;
    a->data = vok_getbytes(type->size * argc);
    if (!a->data)
        return VOK_ERR_OMEM;
    a->size = argc;
    for (long i = 0; i < argc; ++i)
        type->write(static_cast<char *>(a->data) + i * type->size, argv + i);
    return VOK_ERR_NONE;
}

vok_err vok_attr_filterget_wrap(void *x, void *attr, long *argc, atom **argv)
{
    if (!attr)
        return VOK_ERR_INVP;
    vok::filtered_get(x, static_cast<vok_attribute *>(attr), argc, argv);
    return VOK_ERR_NONE;
}

vok_err vok_attr_filterset_wrap(void *x, void *attr, long argc, atom *argv)
{
    auto *a = static_cast<vok_attribute *>(attr);
    if (!a)
        return VOK_ERR_INVP;
    return a->filterset ? vok::filtered_set(x, a, argc, argv) : long{VOK_ERR_NONE};
}
