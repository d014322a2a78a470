// How a functor is written. It is a record with a rule, a table of attributes, and one line
// that gives it its exported functions:
//
//   struct vok_functor_filter_triangle {
//       object header;
//       double width = 0;          // the attributes, in order, then what is derived from them
//       fixed width_fixed;
//       using fixed_by = float;    // or double: evalfixed goes that way; or has eval_fixed of its own
//       void init() { width = 2; }                       // the defaults; the record comes zeroed
//       void derive() { width_fixed = to_fixed(width); } // after init and after each set attribute
//       void release();                                  // if it owns anything
//       template <typename T> T eval(long n, const T *x) const; // float and double
//   };
//   template <> constexpr auto vok::functor::attributes<vok_functor_filter_triangle> = std::array{
//       VOKRA_FUNCTOR_NUMBER(vok_functor_filter_triangle, width, "Width")};
//   VOKRA_FUNCTOR(filter, triangle, "triangle")
//
// Filling a matrix goes by rows. Every class has a row form, a loop over its rule; one that
// knows better brings its own per instruction set, see VOKRA_FUNCTOR_ROWS. Rows give the
// bits of the rule, on every instruction set.
#pragma once
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <span>
#include <type_traits>

#include <vokra/attributes.h>
#include <vokra/functor.h>
#include <zan/zan.h>

#include "kernel/class_table.h"
#include "kernel/isa.h"
#include "kernel/message.h"

namespace vok::functor {

#include "functor/vok.functor.bodies.h"

// ---- parameters in the three formats ----

template <typename T> T converted(double value)
{
    if constexpr (std::is_same_v<T, fixed>)
        return to_fixed(value);
    else
        return static_cast<T>(value);
}

// One parameter, or N of them, held in every format, so that no evaluation converts.
template <int N> struct formats_of {
    int32_t fixed[N];
    float float32[N];
    double float64[N];

    void set(const double *values, int count = N)
    {
        for (int i = 0; i < count && i < N; i++) {
            fixed[i] = to_fixed(values[i]);
            float32[i] = static_cast<float>(values[i]);
            float64[i] = values[i];
        }
    }
    template <typename T> const T *as() const
    {
        if constexpr (std::is_same_v<T, int32_t>)
            return fixed;
        else if constexpr (std::is_same_v<T, float>)
            return float32;
        else
            return float64;
    }
};

struct formats : formats_of<1> {
    void set(double value) { formats_of<1>::set(&value); }
    template <typename T> T as() const { return *formats_of<1>::as<T>(); }
};

template <typename T> T *values_of(const vok_functor_combined_dynarray &array)
{
    if constexpr (std::is_same_v<T, fixed>)
        return array.fixed;
    else if constexpr (std::is_same_v<T, float>)
        return array.float32;
    else
        return array.float64;
}

// ---- rows ----

// values[i] = the rule at (first[i], others[0], ... others[dimcount - 2]), 0 <= i < n;
// dimcount is 1 to 32. `values` overlaps neither input. Called by many threads at once.
template <typename T>
using row_fn = void (*)(void *x, long n, long dimcount, const T *first, const T *others, T *values);

// Null where there is no row form: cell by cell then.
struct row_forms {
    row_fn<fixed> in_fixed;
    row_fn<float> in_float32;
    row_fn<double> in_float64;

    template <typename T> row_fn<T> in() const
    {
        if constexpr (std::is_same_v<T, fixed>)
            return in_fixed;
        else if constexpr (std::is_same_v<T, float>)
            return in_float32;
        else
            return in_float64;
    }
};

// By instruction set, in the order of vok::isa. The plain one has none: it is the oracle.
using class_rows = std::array<const row_forms *, 5>;

// What vok_functor_setup_class really makes: the public table, and the row forms behind it.
struct interface_record {
    vok_functor_interface entries;
    const class_rows *rows; // null: none
};

template <typename T> auto eval_of(const vok_functor_interface *interface)
{
    if constexpr (std::is_same_v<T, fixed>)
        return interface->evalfixed;
    else if constexpr (std::is_same_v<T, float>)
        return interface->evalfloat32;
    else
        return interface->evalfloat64;
}

// A run of cells along dimension 0 of a held functor: by its row form on the instruction
// set in use, else cell by cell.
template <typename T>
void eval_row(const vok_functor_wrapper &held, long n, long dimcount, const T *first, const T *others, T *values)
{
    const class_rows *rows = reinterpret_cast<const interface_record *>(held.interface)->rows;
    const row_forms *forms = rows ? (*rows)[static_cast<size_t>(current_isa())] : nullptr;
    if (const row_fn<T> row = forms ? forms->in<T>() : nullptr) {
        row(held.object, n, dimcount, first, others, values);
        return;
    }
    const auto eval = eval_of<T>(held.interface);
    T at[32] = {};
    for (long d = 1; d < dimcount && d < 32; d++)
        at[d] = others[d - 1];
    for (long i = 0; i < n; i++) {
        at[0] = first[i];
        values[i] = eval(held.object, dimcount, at);
    }
}

// The row forms that a kernel file hands out under `name`, as
//   namespace vok::functor::VOKRA_ISA {
//   extern const row_forms name;
//   constinit const row_forms name = {row<int32_t>, row<float>, row<double>};
//   }
// become the class's with
//   VOKRA_FUNCTOR_ROWS(name)
//   template <> constexpr const vok::functor::class_rows *vok::functor::rows_for<record> = &vok::functor::name##_rows;
#if defined(__x86_64__)
#define VOKRA_FUNCTOR_ROWS(name)                                                                                  \
    namespace vok::functor {                                                                                      \
    namespace v2 {                                                                                                \
    extern const row_forms name;                                                                                  \
    }                                                                                                             \
    namespace v3 {                                                                                                \
    extern const row_forms name;                                                                                  \
    }                                                                                                             \
    namespace v4 {                                                                                                \
    extern const row_forms name;                                                                                  \
    }                                                                                                             \
    inline constexpr class_rows name##_rows = {nullptr, &v2::name, &v3::name, &v4::name, nullptr};                \
    }
#else
#define VOKRA_FUNCTOR_ROWS(name)                                                                                  \
    namespace vok::functor {                                                                                      \
    namespace neon {                                                                                              \
    extern const row_forms name;                                                                                  \
    }                                                                                                             \
    inline constexpr class_rows name##_rows = {nullptr, nullptr, nullptr, nullptr, &neon::name};                  \
    }
#endif

// ---- evaluation of a record ----

template <typename R>
concept has_fixed_rule = requires(R &r, long n, const fixed *x)
{
    r.eval_fixed(n, x);
};
template <typename R>
concept has_float32_rule = !requires
{
    typename R::float32_by;
};

template <typename R, typename T> T eval(void *record, long n, const T *x)
{
    R &r = *static_cast<R *>(record);
    if constexpr (std::is_same_v<T, double>)
        return r.eval(n, x);
    else if constexpr (std::is_same_v<T, float>) {
        if constexpr (has_float32_rule<R>)
            return r.eval(n, x);
        else
            return vok_functor_eval_float32_with_float64(record, n, x, eval<R, double>);
    } else if constexpr (has_fixed_rule<R>)
        return r.eval_fixed(n, x);
    else if constexpr (std::is_same_v<typename R::fixed_by, float>)
        return vok_functor_eval_fixed_with_float32(record, n, x, eval<R, float>);
    else
        return vok_functor_eval_fixed_with_float64(record, n, x, eval<R, double>);
}

// The product of a rule's values; the first coordinate is read whatever the count. Few
// coordinates are written out: as a loop they would become a vector operation, which waits
// for the coordinate that was just stored.
template <typename T, typename Rule> T product_over(long n, const T *x, Rule rule)
{
    switch (n) {
    case 2: return rule(x[0]) * rule(x[1]);
    case 3: return rule(x[0]) * rule(x[1]) * rule(x[2]);
    default: break;
    }
    T result = rule(x[0]);
    for (long i = 1; i < n; i++)
        result *= rule(x[i]);
    return result;
}

// The sum of rule(i) over the coordinates, none of which gives -0; 0 without any.
template <typename T, typename Rule> T sum_over(long n, Rule rule)
{
    switch (n) {
    case 1: return rule(0);
    case 2: return rule(0) + rule(1);
    case 3: return rule(0) + rule(1) + rule(2);
    default: break;
    }
    T sum = 0;
    for (long i = 0; i < n; i++)
        sum += rule(i);
    return sum;
}

// The row form of every class: its rule in a loop.
template <typename R, typename T>
void rule_row(void *x, long n, long dimcount, const T *first, const T *others, T *values)
{
    T at[32] = {};
    for (long d = 1; d < dimcount && d < 32; d++)
        at[d] = others[d - 1];
    for (long i = 0; i < n; i++) {
        at[0] = first[i];
        values[i] = eval<R, T>(x, dimcount, at);
    }
}
template <typename R>
inline constexpr row_forms rule_rows = {rule_row<R, fixed>, rule_row<R, float>, rule_row<R, double>};
template <typename R>
inline constexpr class_rows rule_class_rows = {nullptr, &rule_rows<R>, &rule_rows<R>, &rule_rows<R>,
                                               &rule_rows<R>};
template <typename R> constexpr const class_rows *rows_for = &rule_class_rows<R>;

// ---- attributes ----

template <typename R> constexpr std::array<attribute, 0> attributes{};
template <typename R> constexpr std::array<message, 0> messages{}; // of its own, behind the eval protocol

template <typename F> struct member;
template <typename R, typename V> struct member<V R::*> {
    using record = R;
    using value = V;
};

// What a changed attribute does: a member function, or derive() when there is one.
template <auto Changed, typename R> vok_err after_change(R *x)
{
    if constexpr (!std::is_null_pointer_v<decltype(Changed)>) {
        if constexpr (std::is_void_v<decltype((x->*Changed)())>)
            (x->*Changed)();
        else
            return (x->*Changed)();
    } else if constexpr (requires { x->derive(); }) {
        x->derive();
    }
    return VOK_ERR_NONE;
}

template <typename V> V atom_value(const atom *a)
{
    if constexpr (std::is_same_v<V, long>)
        return atom_getlong(a);
    else if constexpr (std::is_same_v<V, symbol *>)
        return atom_getsym(a);
    else
        return static_cast<V>(atom_getfloat(a));
}

constexpr bool any_number(double)
{
    return true;
}

// Sets one value: a number, a symbol, or with Flag whether the number is above 0. What
// `Accept` refuses is ignored.
template <auto Field, auto Changed = nullptr, auto Accept = any_number, bool Flag = false>
vok_err set_value(typename member<decltype(Field)>::record *x, void *, long argc, atom *argv)
{
    using V = typename member<decltype(Field)>::value;
    if (!x || argc < 1 || !argv)
        return VOK_ERR_INVP;
    V value = atom_value<V>(argv);
    if constexpr (Flag)
        value = value > 0;
    if constexpr (std::is_same_v<V, symbol *>) {
        if (!value)
            return VOK_ERR_INVP;
    } else if (!Accept(static_cast<double>(value))) {
        return VOK_ERR_NONE;
    }
    if (value == x->*Field)
        return VOK_ERR_NONE;
    x->*Field = value;
    return after_change<Changed>(x);
}

// Sets the first elements of an array of 32; the rest stays. `Count`, a long of the record,
// takes the list's length when any element changed.
template <auto Field, auto Changed = nullptr, auto Count = nullptr>
vok_err set_array(typename member<decltype(Field)>::record *x, void *, long argc, atom *argv)
{
    if (!x || (argc > 0 && !argv))
        return VOK_ERR_INVP;
    bool changed = false;
    const long count = argc < 32 ? argc : 32;
    for (long i = 0; i < count; i++) {
        const double value = atom_getfloat(argv + i);
        changed |= !(value == (x->*Field)[i]);
        (x->*Field)[i] = value;
    }
    if (!changed)
        return VOK_ERR_NONE;
    if constexpr (!std::is_null_pointer_v<decltype(Count)>)
        x->*Count = count;
    return after_change<Changed>(x);
}

constexpr attribute number(const char *name, const char *type, long offset, function set, const char *label)
{
    attribute row;
    row.name = name;
    row.type = type;
    row.flags = low;
    row.offset = offset;
    row.set = set;
    row.label = label;
    return row;
}

constexpr attribute numbers(const char *name, long offset, long count, function set, const char *label)
{
    attribute row = number(name, "float64", offset, set, label);
    row.size = 32;
    row.count = count;
    return row;
}

constexpr attribute onoff(const char *name, long offset, function set, const char *label)
{
    attribute row = number(name, "long", offset, set, label);
    row.style = "onoff";
    return row;
}

// A row of the attribute table for a field of the record; behind the label may follow the
// member function that runs after a change, and what values are accepted.
#define VOKRA_FUNCTOR_NUMBER(R, field, label, ...)                                                                \
    vok::functor::number(#field, "float64", offsetof(R, field),                                                   \
                         vok::fn<vok::functor::set_value<&R::field __VA_OPT__(, ) __VA_ARGS__>>, label)
#define VOKRA_FUNCTOR_LONG(R, field, label, ...)                                                                  \
    vok::functor::number(#field, "long", offsetof(R, field),                                                      \
                         vok::fn<vok::functor::set_value<&R::field __VA_OPT__(, ) __VA_ARGS__>>, label)
#define VOKRA_FUNCTOR_SYMBOL(R, field, label, ...)                                                                \
    vok::functor::number(#field, "symbol", offsetof(R, field),                                                    \
                         vok::fn<vok::functor::set_value<&R::field __VA_OPT__(, ) __VA_ARGS__>>, label)
// An integer that is kept as "above 0".
#define VOKRA_FUNCTOR_FLAG(R, field, label, changed)                                                              \
    vok::functor::onoff(#field, offsetof(R, field),                                                               \
                        vok::fn<vok::functor::set_value<&R::field, changed, vok::functor::any_number, true>>,     \
                        label)

// ---- functors that hold functors ----

// One that keeps something made from what it holds answers "subfunctor_changed", sent after
// an attribute further in was set through it.

template <typename R> struct role {
    const char *name;
    vok_functor_wrapper R::*held;
};
template <typename R> constexpr std::array<role<R>, 0> roles{};

// The answer to "subfunctor".
template <typename R> void *subfunctor(R *x, symbol *name)
{
    for (const role<R> &r : roles<R>)
        if (x && name && !std::strcmp(name->name, r.name))
            return (x->*r.held).object;
    return nullptr;
}

// Frees what the wrapper holds and empties it.
void clear(vok_functor_wrapper &held);

inline bool valid(const vok_functor_wrapper &held)
{
    return held.object && held.interface;
}

// ---- the class ----

template <typename R> inline zan_class *class_of;

template <typename R> void *make()
{
    R *x = class_of<R> ? static_cast<R *>(vok_object_alloc(class_of<R>)) : nullptr;
    if (!x)
        return nullptr;
    if constexpr (requires { x->init(); })
        x->init();
    if constexpr (requires { x->derive(); })
        x->derive();
    return x;
}

template <typename R> void release(void *record)
{
    if constexpr (requires(R & r) { r.release(); })
        static_cast<R *>(record)->release();
}

struct class_description {
    const char *name, *category, *short_name;
    function new_fn, free_fn;
    long size;
    std::span<const message> eval, messages;
    std::span<const attribute> attributes;
    const class_rows *rows;
};

// Null when memory is out.
zan_class *add(const class_description &d);

template <typename R>
vok_err add(const char *name, const char *category, const char *short_name, function new_fn, function free_fn,
            std::span<const message> eval_messages)
{
    class_of<R> = add({name, category, short_name, new_fn, free_fn, sizeof(R), eval_messages, messages<R>,
                       attributes<R>, rows_for<R>});
    if constexpr (roles<R>.size() > 0) {
        constexpr message holder[] = {{"subfunctor", fn<subfunctor<R>>, {argtype_cant}}};
        if (class_of<R>)
            add_messages(class_of<R>, holder);
    }
    return class_of<R> ? VOK_ERR_NONE : VOK_ERR_OMEM;
}

// The exported functions of the class whose record is vok_functor_<category>_<name>.
#define VOKRA_FUNCTOR(category, name, text)                                                                       \
    int32_t vok_functor_##category##_##name##_eval_fixed(void *x, long dimcount, const int32_t *values)           \
    {                                                                                                             \
        return vok::functor::eval<vok_functor_##category##_##name>(x, dimcount, values);                          \
    }                                                                                                             \
    float vok_functor_##category##_##name##_eval_float32(void *x, long dimcount, const float *values)             \
    {                                                                                                             \
        return vok::functor::eval<vok_functor_##category##_##name>(x, dimcount, values);                          \
    }                                                                                                             \
    double vok_functor_##category##_##name##_eval_float64(void *x, long dimcount, const double *values)           \
    {                                                                                                             \
        return vok::functor::eval<vok_functor_##category##_##name>(x, dimcount, values);                          \
    }                                                                                                             \
    void *vok_functor_##category##_##name##_new(void)                                                             \
    {                                                                                                             \
        return vok::functor::make<vok_functor_##category##_##name>();                                             \
    }                                                                                                             \
    void vok_functor_##category##_##name##_free(void *x)                                                          \
    {                                                                                                             \
        vok::functor::release<vok_functor_##category##_##name>(x);                                                \
    }                                                                                                             \
    vok_err vok_functor_##category##_##name##_init(void)                                                          \
    {                                                                                                             \
        constexpr vok::message eval_messages[] = {                                                                \
            {"evalfixed", vok::fn<vok_functor_##category##_##name##_eval_fixed>, {argtype_cant}},                 \
            {"evalfloat32", vok::fn<vok_functor_##category##_##name##_eval_float32>, {argtype_cant}},             \
            {"evalfloat64", vok::fn<vok_functor_##category##_##name##_eval_float64>, {argtype_cant}},             \
        };                                                                                                        \
        return vok::functor::add<vok_functor_##category##_##name>(                                                \
            "vok_functor_" #category "_" #name, #category, text, vok::fn<vok_functor_##category##_##name##_new>,  \
            vok::fn<vok_functor_##category##_##name##_free>, eval_messages);                                      \
    }

} // namespace vok::functor
