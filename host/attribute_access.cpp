// Attributes by name: finding them, reading and writing their values, adding them to
// single objects, marking them as changed. Every attribute is worked by messages, so
// that it doesn't matter whose class it is of.
#include "attributes.h"
#include <algorithm>

namespace zan {
namespace {

symbol *name_of(void *attr)
{
    return reinterpret_cast<symbol *>(object_method_imp(attr, ks().getname, 0, 0, 0, 0, 0, 0, 0, 0));
}

void *own_attributes(object *o)
{
    side_record *side = side_of(o);
    return side ? side->own_attributes.load(std::memory_order_acquire) : nullptr;
}

struct found {
    void *owner = nullptr; // the object whose value it is
    void *attr = nullptr;
};

// x's own first, then its class's. A shell round another object (a box) names that
// one's attributes through its messages attr_get and attr_gettarget.
found find(void *x, symbol *name)
{
    object *o = live(x);
    if (!o || !name)
        return {};
    void *attr = nullptr;
    if (void *own = own_attributes(o))
        if (!hashtab_lookup(own, name, &attr))
            return {o, attr};
    if ((attr = class_attr_get(class_of(o), name)))
        return {o, attr};
    using by_name = void *(*)(void *, symbol *);
    zan_method get = zgetfn(o, ks().attr_get), target = zgetfn(o, ks().attr_gettarget);
    if (!get || !target || !(attr = as<by_name>(get)(o, name)))
        return {};
    void *owner = as<by_name>(target)(o, name);
    return owner ? found{owner, attr} : found{};
}

zan_word get_value(const found &f, long *argc, atom **argv)
{
    if (!f.attr || !attribute_answers(f.attr, ks().canget))
        return zan_err_generic;
    zan_method fn = attribute_function(f.attr, ks().get);
    return fn ? as<attr_getter>(fn)(f.owner, f.attr, argc, argv) : zan_word{zan_err_generic};
}

zan_word set_value(const found &f, long argc, atom *argv)
{
    if (!f.attr || !attribute_answers(f.attr, ks().canset))
        return zan_err_generic;
    zan_method fn = attribute_function(f.attr, ks().set);
    return fn ? as<attr_setter>(fn)(f.owner, f.attr, argc, argv) : zan_word{zan_err_generic};
}

// Room for a number of atoms, on the stack while they are few.
class atom_room {
  public:
    explicit atom_room(long count)
        : atoms(count <= few ? stack : static_cast<atom *>(std::malloc(static_cast<size_t>(count) * sizeof(atom))))
    {
    }
    atom_room(const atom_room &) = delete;
    atom_room &operator=(const atom_room &) = delete;
    ~atom_room()
    {
        if (atoms != stack)
            std::free(atoms);
    }

  private:
    static constexpr long few = 64;
    atom stack[few];

  public:
    atom *const atoms; // null when memory is out
};

// The first value, or none.
atom first_value(void *x, symbol *name)
{
    atom value{}, *argv = &value;
    long argc = 1;
    const zan_word err = get_value(find(x, name), &argc, &argv);
    if (argv != &value) { // a getter with an array of its own
        value = !err && argv && argc > 0 ? *argv : atom{};
        if (argv)
            sysmem_freeptr(argv);
    }
    return err || argc < 1 ? atom{} : value;
}

template <class T, class Read> long get_array(void *x, symbol *name, long max, T *values, Read read)
{
    if (max <= 0 || !values)
        return 0;
    atom_room room(max);
    if (!room.atoms)
        return 0;
    atom *argv = room.atoms;
    long argc = max;
    const zan_word err = get_value(find(x, name), &argc, &argv);
    const long count = err || !argv ? 0 : std::clamp(argc, 0l, max);
    for (long i = 0; i < count; ++i)
        values[i] = static_cast<T>(read(argv + i));
    if (argv && argv != room.atoms)
        sysmem_freeptr(argv);
    return count;
}

template <class T, class Write> long set_array(void *x, symbol *name, long count, const T *values, Write write)
{
    if (count < 0 || (count && !values))
        return zan_err_invalid_ptr;
    atom_room room(count);
    if (!room.atoms)
        return zan_err_out_of_mem;
    for (long i = 0; i < count; ++i)
        write(room.atoms + i, values[i]);
    return object_attr_setvalueof(x, name, count, room.atoms);
}

symbol *symbol_or_empty(const atom *a)
{
    symbol *s = atom_getsym(a);
    return s ? s : ks().empty;
}

// Text as the values of an attribute. A symbol takes the whole text, blanks included,
// unless it is quoted: then each quoted word is one.
long set_parsed(void *attr, symbol *type, const char *text)
{
    if (!text || !*text)
        return zan_err_none;
    const found f{attr, attr};
    const char *start = text + std::strspn(text, " \t\n");
    if (type == ks().symbol_ && *start != '"') {
        atom a;
        atom_setsym(&a, gensym(start));
        return set_value(f, 1, &a);
    }
    const long size = static_cast<long>(std::strlen(text)) + 1;
    char *token = static_cast<char *>(std::malloc(static_cast<size_t>(size)));
    pod_array<atom> atoms;
    long index = 0;
    atom a{};
    bool room = token != nullptr;
    while (room && readatom(token, text, &index, size, &a))
        room = atoms.push(a);
    std::free(token);
    return room ? set_value(f, static_cast<long>(atoms.size()), atoms.begin()) : zan_word{zan_err_out_of_mem};
}

void copy_one(zan_hashtab_entry *e, void *to)
{
    void *own = own_attributes(static_cast<object *>(to));
    void *there = nullptr;
    if (own && !hashtab_lookup(own, e->key, &there))
        return; // the receiver's own stands
    if (void *copy = object_clone(e->value))
        if (object_addattr(to, copy))
            object_free(copy);
}

// Adds the names of a table that aren't there yet.
bool add_names(void *table, pod_array<symbol *> *names)
{
    long count = 0;
    symbol **keys = nullptr;
    if (!table || hashtab_getkeys(table, &count, &keys))
        return !table;
    bool room = true;
    for (long i = 0; room && i < count; ++i)
        if (std::find(names->begin(), names->end(), keys[i]) == names->end())
            room = names->push(keys[i]);
    if (keys)
        sysmem_freeptr(keys);
    return room;
}

} // namespace

void attributes_copy(void *from, void *to)
{
    object *source = live(from), *target = live(to);
    if (!source || !target || source == target)
        return;
    if (void *own = own_attributes(source))
        hashtab_funall(own, copy_one, target);
}

} // namespace zan

using namespace zan;

extern "C" {

long object_addattr(void *x, void *attr)
{
    object *o = live(x);
    if (!o || !live(attr))
        return zan_err_invalid_ptr;
    symbol *name = name_of(attr);
    if (!name)
        return zan_err_generic;
    void *table = obex_table(o, ks().attributes);
    if (!table)
        return zan_err_out_of_mem;
    void *older = nullptr;
    hashtab_lookup(table, name, &older);
    const long err = hashtab_store(table, name, attr);
    if (!err && older != attr)
        object_free(older);
    return err;
}

long object_addattr_parse(void *x, const char *attrname, symbol *type, long flags, const char *text)
{
    void *attr = attribute_new(attrname, type, flags, nullptr, nullptr);
    if (!attr)
        return zan_err_generic;
    // The value first: an opaque attribute is filled before it closes, and no one sees it empty.
    static_cast<attribute_head *>(attr)->flags = 0;
    long err = set_parsed(attr, type, text);
    static_cast<attribute_head *>(attr)->flags = flags;
    if (!err)
        err = object_addattr(x, attr);
    if (err)
        object_free(attr);
    return err;
}

long object_deleteattr(void *x, symbol *name)
{
    object *o = live(x);
    void *own = o ? own_attributes(o) : nullptr;
    void *attr = nullptr;
    if (!own || !name || hashtab_lookup(own, name, &attr))
        return zan_err_generic;
    hashtab_chuckkey(own, name);
    object_free(attr);
    return zan_err_none;
}

long object_attr_addattr_parse(void *x, const char *attrname, const char *attrattrname, symbol *type, long flags,
                               const char *text)
{
    void *attr = attrname ? object_attr_get(x, gensym(attrname)) : nullptr;
    if (!attr)
        return zan_err_generic;
    return object_addattr_parse(attr, attrattrname, type, flags, text);
}

void *object_attr_get(void *x, symbol *name)
{
    return find(x, name).attr;
}

long object_attr_getnames(void *x, long *count, symbol ***names)
{
    if (count)
        *count = 0;
    if (names)
        *names = nullptr;
    object *o = live(x);
    if (!o || !count || !names)
        return zan_err_invalid_ptr;
    pod_array<symbol *> all;
    bool room = add_names(own_attributes(o), &all) && add_names(class_of(o)->attributes, &all);
    if (zan_method fn = zgetfn(o, ks().attr_getnames)) { // a shell adds those of what it holds
        long inner = 0;
        symbol **inner_names = nullptr;
        as<zan_word (*)(void *, long *, symbol ***)>(fn)(o, &inner, &inner_names);
        for (long i = 0; room && inner_names && i < inner; ++i)
            if (std::find(all.begin(), all.end(), inner_names[i]) == all.end())
                room = all.push(inner_names[i]);
        if (inner_names)
            sysmem_freeptr(inner_names);
    }
    if (!room)
        return zan_err_out_of_mem;
    if (all.empty())
        return zan_err_none;
    const long bytes = static_cast<long>(all.size() * sizeof(symbol *));
    *names = static_cast<symbol **>(sysmem_newptr(bytes));
    if (!*names)
        return zan_err_out_of_mem;
    std::memcpy(static_cast<void *>(*names), all.begin(), static_cast<size_t>(bytes));
    *count = static_cast<long>(all.size());
    return zan_err_none;
}

long object_attr_getvalueof(void *x, symbol *name, long *argc, atom **argv)
{
    if (!argc || !argv)
        return zan_err_invalid_ptr;
    return get_value(find(x, name), argc, argv);
}

long object_attr_setvalueof(void *x, symbol *name, long argc, atom *argv)
{
    return set_value(find(x, name), argc, argv);
}

long object_attr_attr_getvalueof(void *x, symbol *attrname, symbol *attrattrname, long *argc, atom **argv)
{
    return object_attr_getvalueof(object_attr_get(x, attrname), attrattrname, argc, argv);
}

long object_getvalueof(void *x, long *argc, atom **argv)
{
    zan_method fn = zgetfn(x, ks().getvalueof);
    if (!fn || !argc || !argv)
        return zan_err_generic;
    return as<zan_word (*)(void *, long *, atom **)>(fn)(x, argc, argv);
}

long object_attr_usercanget(void *x, symbol *name)
{
    void *attr = object_attr_get(x, name);
    return attr && attribute_answers(attr, ks().usercanget);
}

long object_attr_usercanset(void *x, symbol *name)
{
    void *attr = object_attr_get(x, name);
    return attr && attribute_answers(attr, ks().usercanset);
}

long object_attr_touch(void *x, symbol *name)
{
    const found f = find(x, name);
    object *attr = live(f.attr);
    if (!attr)
        return zan_err_generic;
    // Laid out as the host's own when both words ahead of the flags say so.
    attribute_head *head = reinterpret_cast<attribute_head *>(attr);
    if (class_of(attr)->size >= static_cast<long>(offsetof(attribute_head, get)) && head->name == name_of(attr) &&
        word_of(head->type) == object_method_imp(attr, ks().gettype, 0, 0, 0, 0, 0, 0, 0, 0))
        head->flags |= attr_dirty;
    return object_notify(x, ks().attr_modified, attr);
}

long object_attr_touch_parse(void *x, const char *names)
{
    if (!names)
        return zan_err_invalid_ptr;
    long result = zan_err_none;
    const char *blanks = " \t\n";
    for (const char *p = names + std::strspn(names, blanks); *p; p += std::strspn(p, blanks)) {
        const size_t length = std::strcspn(p, blanks);
        char *name = ::strndup(p, length);
        const long err = name ? object_attr_touch(x, gensym(name)) : long{zan_err_out_of_mem};
        std::free(name);
        if (err)
            result = err;
        p += length;
    }
    return result;
}

long object_attrhash_apply(void *method_object, void *hashtab)
{
    if (!live(method_object) || !live(hashtab))
        return zan_err_invalid_ptr;
    return hashtab_funall(hashtab, copy_one, method_object);
}

zan_word object_attr_getlong(void *x, symbol *name)
{
    const atom a = first_value(x, name);
    return atom_getlong(&a);
}

double object_attr_getfloat(void *x, symbol *name)
{
    const atom a = first_value(x, name);
    return atom_getfloat(&a);
}

symbol *object_attr_getsym(void *x, symbol *name)
{
    const atom a = first_value(x, name);
    return symbol_or_empty(&a);
}

void *object_attr_getobj(void *x, symbol *name)
{
    const atom a = first_value(x, name);
    return atom_getobj(&a);
}

unsigned char object_attr_getchar(void *x, symbol *name)
{
    return static_cast<unsigned char>(object_attr_getlong(x, name));
}

long object_attr_setlong(void *x, symbol *name, zan_word value)
{
    return object_attr_setlong_array(x, name, 1, &value);
}

long object_attr_setfloat(void *x, symbol *name, double value)
{
    return object_attr_setdouble_array(x, name, 1, &value);
}

long object_attr_setsym(void *x, symbol *name, symbol *value)
{
    return object_attr_setsym_array(x, name, 1, &value);
}

long object_attr_getlong_array(void *x, symbol *name, long max, zan_word *values)
{
    return get_array(x, name, max, values, atom_getlong);
}

long object_attr_getfloat_array(void *x, symbol *name, long max, float *values)
{
    return get_array(x, name, max, values, atom_getfloat);
}

long object_attr_getdouble_array(void *x, symbol *name, long max, double *values)
{
    return get_array(x, name, max, values, atom_getfloat);
}

long object_attr_getchar_array(void *x, symbol *name, long max, unsigned char *values)
{
    return get_array(x, name, max, values, atom_getlong);
}

long object_attr_getsym_array(void *x, symbol *name, long max, symbol **values)
{
    return get_array(x, name, max, values, symbol_or_empty);
}

long object_attr_setlong_array(void *x, symbol *name, long count, const zan_word *values)
{
    return set_array(x, name, count, values, atom_setlong);
}

long object_attr_setfloat_array(void *x, symbol *name, long count, const float *values)
{
    return set_array(x, name, count, values, atom_setfloat);
}

long object_attr_setdouble_array(void *x, symbol *name, long count, const double *values)
{
    return set_array(x, name, count, values, atom_setfloat);
}

long object_attr_setchar_array(void *x, symbol *name, long count, const unsigned char *values)
{
    return set_array(x, name, count, values, atom_setlong);
}

long object_attr_setsym_array(void *x, symbol *name, long count, symbol *const *values)
{
    return set_array(x, name, count, values, atom_setsym);
}

} // extern "C"
