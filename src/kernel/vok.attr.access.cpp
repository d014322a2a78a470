// Attributes of any object by name. Objects from before attributes have only a pair of
// messages, "get<name>" and "<name>": each call asks for the attribute object first and
// falls back to its _old twin, which takes that road at once. The whole family comes from
// the lists in the public header; a type adds how its values travel in atoms.
#include <algorithm>

#include <zan/zan.h>

#include <vokra/attributes.h>
#include <vokra/commonsyms.h>
#include <vokra/kernel.h>

#include "kernel/atoms.h"
#include "kernel/message.h"

namespace {

constexpr long most_values = 256; // of an array that goes by message

void *wrapper_of(void *x)
{
    static symbol *const key = gensym("zanwrapper");
    void *wrapper = nullptr;
    if (!x || object_obex_lookup(x, key, &wrapper))
        return nullptr;
    return wrapper;
}

// How a value of each tail is read from an atom and written to one.
struct as_long {
    static zan_word get(const atom *a) { return atom_getlong(a); }
    static void set(atom *a, zan_word v) { atom_setlong(a, v); }
    static zan_word none() { return 0; }
};
struct as_char {
    static unsigned char get(const atom *a) { return static_cast<unsigned char>(atom_getlong(a)); }
    static void set(atom *a, unsigned char v) { atom_setlong(a, v); }
};
struct as_double {
    static double get(const atom *a) { return atom_getfloat(a); }
    static void set(atom *a, double v) { atom_setfloat(a, v); }
};
struct as_float {
    static double get(const atom *a) { return atom_getfloat(a); }
    static void set(atom *a, double v) { atom_setfloat(a, v); }
    static double none() { return 0; }
};
struct as_sym {
    static symbol *get(const atom *a) { return vok_atom_getsym(a); }
    static void set(atom *a, symbol *v) { atom_setsym(a, v); }
    static symbol *none() { return _vok_sym_nothing; }
};

// The atoms that the message "get<name>" gives; none when it fails.
bool ask_old(void *x, symbol *name, vok::atom_array &value)
{
    char selector[256];
    snprintf_zero(selector, sizeof selector, "get%s", name->name);
    return !vok::send(x, gensym(selector), &value.argc, &value.argv) && value.argc > 0 && value.argv;
}

template <typename As, typename T> T get_old(void *x, symbol *name)
{
    vok::atom_array value;
    return x && name && ask_old(x, name, value) ? As::get(value.argv) : As::none();
}

template <typename As, typename T> long get_array_old(void *x, symbol *name, long max, T *values)
{
    vok::atom_array value;
    if (!x || !name || !values || !ask_old(x, name, value))
        return 0;
    const long count = std::min(max, value.argc);
    for (long i = 0; i < count; ++i)
        values[i] = static_cast<T>(As::get(value.argv + i));
    return std::max(count, 0L);
}

template <typename As, typename T> vok_err set_old(void *x, symbol *name, T v)
{
    if (!x || !name)
        return VOK_ERR_EROR;
    atom a;
    As::set(&a, v);
    return vok::send(x, name, 1, &a);
}

template <typename As, typename T> vok_err set_array_old(void *x, symbol *name, long count, const T *values)
{
    if (!x || !name || !values || count < 0)
        return VOK_ERR_EROR;
    if (count > most_values)
        return VOK_ERR_OBND;
    atom atoms[most_values];
    for (long i = 0; i < count; ++i)
        As::set(atoms + i, values[i]);
    return vok::send(x, name, count, atoms);
}

bool has_attribute(void *x, symbol *name)
{
    return x && name && object_attr_get(x, name);
}

// A setter's own result stands; the touch is on the side.
vok_err touched(void *x, symbol *name, vok_err result)
{
    if (x && name)
        vok_attr_user_touch(x, name);
    return result;
}

} // namespace

#define VALUE_CALLS(tail, T)                                                                                      \
    T vok_attr_get##tail##_old(void *x, symbol *name)                                                             \
    {                                                                                                             \
        return get_old<as_##tail, T>(x, name);                                                                    \
    }                                                                                                             \
    T vok_attr_get##tail(void *x, symbol *name)                                                                   \
    {                                                                                                             \
        return has_attribute(x, name) ? object_attr_get##tail(x, name) : vok_attr_get##tail##_old(x, name);       \
    }                                                                                                             \
    vok_err vok_attr_set##tail##_old(void *x, symbol *name, T value)                                              \
    {                                                                                                             \
        return set_old<as_##tail, T>(x, name, value);                                                             \
    }                                                                                                             \
    vok_err vok_attr_set##tail(void *x, symbol *name, T value)                                                    \
    {                                                                                                             \
        return touched(x, name,                                                                                   \
                       has_attribute(x, name) ? vok_err_from_zan_err(object_attr_set##tail(x, name, value))       \
                                              : vok_attr_set##tail##_old(x, name, value));                        \
    }
VOK_ATTR_VALUE_TYPES(VALUE_CALLS)

#define ARRAY_CALLS(tail, T)                                                                                      \
    long vok_attr_get##tail##_array_old(void *x, symbol *name, long max, T *values)                               \
    {                                                                                                             \
        return get_array_old<as_##tail, T>(x, name, max, values);                                                 \
    }                                                                                                             \
    long vok_attr_get##tail##_array(void *x, symbol *name, long max, T *values)                                   \
    {                                                                                                             \
        return has_attribute(x, name) ? object_attr_get##tail##_array(x, name, max, values)                       \
                                      : vok_attr_get##tail##_array_old(x, name, max, values);                     \
    }                                                                                                             \
    vok_err vok_attr_set##tail##_array_old(void *x, symbol *name, long count, T const *values)                    \
    {                                                                                                             \
        return set_array_old<as_##tail, T>(x, name, count, values);                                               \
    }                                                                                                             \
    vok_err vok_attr_set##tail##_array(void *x, symbol *name, long count, T const *values)                        \
    {                                                                                                             \
        return touched(x, name,                                                                                   \
                       has_attribute(x, name)                                                                     \
                           ? vok_err_from_zan_err(object_attr_set##tail##_array(x, name, count, values))          \
                           : vok_attr_set##tail##_array_old(x, name, count, values));                             \
    }
VOK_ATTR_ARRAY_TYPES(ARRAY_CALLS)

vok_err vok_object_addattr(void *x, void *attr)
{
    const vok_err err = vok_err_from_zan_err(object_addattr(x, attr));
    if (void *wrapper = wrapper_of(x))
        object_notify(wrapper, gensym("attr_added"), attr);
    return err;
}

vok_err vok_object_deleteattr(void *x, symbol *name)
{
    if (void *wrapper = wrapper_of(x)) // while the attribute is still there
        object_notify(wrapper, gensym("attr_deleted"), object_attr_get(x, name));
    return vok_err_from_zan_err(object_deleteattr(x, name));
}

long vok_attr_user_touch(void *x, symbol *name)
{
    void *wrapper = wrapper_of(x);
    return wrapper && object_attr_get(wrapper, name) ? object_attr_touch(wrapper, name) : 0;
}

long vok_attr_user_touch_parse(void *x, const char *names)
{
    return wrapper_of(x) ? object_attr_touch_parse(x, names) : 0;
}

long vok_attr_user_setvalueof(void *x, symbol *name, long argc, atom *argv)
{
    return object_attr_setvalueof(vok_object_gettopmost(x), name, argc, argv);
}

void *vok_object_gettopmost(void *x)
{
    void *wrapper = wrapper_of(x);
    return wrapper ? wrapper : x;
}

vok_err vok_attr_clean(void *x, symbol *name)
{
    void *attr = x && name ? object_attr_get(x, name) : nullptr;
    // only our own records are known to hold their flags there
    if (attr && vok::send(attr, _vok_sym_class_vok_attribute) == 1)
        static_cast<vok_attribute *>(attr)->flags &= ~long{vok_attrflag_dirty};
    return VOK_ERR_NONE;
}

vok_err vok_attr_cleanall(void *x)
{
    long count = 0;
    symbol **names = nullptr;
    if (x)
        object_attr_getnames(x, &count, &names);
    for (long i = 0; i < count; ++i)
        vok_attr_clean(x, names[i]);
    sysmem_freeptr(names);
    return VOK_ERR_NONE;
}

// ---- atoms ----

#define FORWARD(R, tail, parameters, arguments)                                                                   \
    R vok_##tail parameters                                                                                       \
    {                                                                                                             \
        return tail arguments;                                                                                    \
    }
FORWARD(zan_word, atom_getlong, (const atom *a), (a))
FORWARD(double, atom_getfloat, (const atom *a), (a))
FORWARD(void *, atom_getobj, (const atom *a), (a))
FORWARD(long, atom_getcharfix, (const atom *a), (a))
FORWARD(long, atom_setlong, (atom * a, zan_word value), (a, value))
FORWARD(long, atom_setfloat, (atom * a, double value), (a, value))
FORWARD(long, atom_setsym, (atom * a, const symbol *value), (a, value))
FORWARD(long, atom_setobj, (atom * a, void *value), (a, value))
FORWARD(long, atom_arg_getlong, (zan_word * dst, long index, long argc, const atom *argv),
        (dst, index, argc, argv))
FORWARD(long, atom_arg_getfloat, (float *dst, long index, long argc, const atom *argv), (dst, index, argc, argv))
FORWARD(long, atom_arg_getdouble, (double *dst, long index, long argc, const atom *argv), (dst, index, argc, argv))
FORWARD(long, atom_arg_getsym, (symbol * *dst, long index, long argc, const atom *argv), (dst, index, argc, argv))

symbol *vok_atom_getsym(const atom *a)
{
    symbol *s = atom_getsym(a);
    return s ? s : _vok_sym_nothing;
}
