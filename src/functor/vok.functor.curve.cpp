// The curves: functions of a list of knots; the value is the product over the coordinates.
#include "functor/functor.h"

#include <algorithm>

#include <vokra/numerics.h>

#include "kernel/atoms.h"

using vok::functor::absolute;
using vok::functor::fixed;
using vok::functor::product_over;

namespace {

// Knots in one format; the array is owned.
template <typename T> struct knot_array {
    T *values;
    long count;

    bool resize(long wanted)
    {
        T *grown = static_cast<T *>(sysmem_newptrclear(wanted * static_cast<long>(sizeof(T))));
        if (!grown)
            return false;
        if (values)
            std::copy_n(values, std::min(count, wanted), grown);
        sysmem_freeptr(values);
        values = grown;
        count = wanted;
        return true;
    }
    bool set(long index, double value)
    {
        if (index < 0 || index >= INT32_MAX || (index >= count && !resize(index + 1)))
            return false;
        values[index] = vok::functor::converted<T>(value);
        return true;
    }
};

template <typename T> struct spline_basis {
    long step;
    T matrix[16];
};

double spline(double x, long step, long count, const double *knots, const double *matrix)
{
    return vok_cubicspline_general_eval_float64(x, step, count, knots, matrix);
}

float spline(float x, long step, long count, const float *knots, const float *matrix)
{
    return vok_cubicspline_general_eval_float32(x, step, count, knots, matrix);
}

// The spline of `count` knots, of which those that aren't there are the first or the last
// one: at the ends, beyond 0 to 1, and where the formats have different counts.
template <typename T> T evaluate(T x, long count, const knot_array<T> &knots, const spline_basis<T> &basis)
{
    if (basis.step < 1 || count < 1 || knots.count < 1)
        return 0;
    const long segments = (count - 4) / basis.step + 1;
    const T t = static_cast<T>(segments) * x;
    if (segments < 1 || !(absolute(t) < static_cast<T>(INT32_MAX)))
        return 0;
    const long segment = static_cast<long>(t);
    T window[4];
    for (long i = 0; i < 4; i++)
        window[i] = knots.values[std::clamp(basis.step * segment + i, 0L, knots.count - 1)];
    return spline(t - static_cast<T>(segment), basis.step, 4, window, basis.matrix);
}

// The atoms of a list that a functor holds.
vok_err get_list(const double *values, long count, long *argc, atom **argv)
{
    if (!argc || !argv)
        return VOK_ERR_INVP;
    if (const vok_err err = vok::reserve_atoms(count, argc, argv))
        return err;
    for (long i = 0; i < *argc; i++)
        atom_setfloat(*argv + i, values[i]);
    return VOK_ERR_NONE;
}

} // namespace

struct vok_functor_curve_cubicspline {
    object header;
    symbol *basis;
    knot_array<int32_t> knots_fixed;
    knot_array<float> knots_float32;
    knot_array<double> knots_float64;
    spline_basis<int32_t> basis_fixed;
    spline_basis<float> basis_float32;
    spline_basis<double> basis_float64;

    void init() { vok_functor_curve_cubicspline_setbasis(this, gensym("catmullrom")); }
    void release()
    {
        sysmem_freeptr(knots_fixed.values);
        sysmem_freeptr(knots_float32.values);
        sysmem_freeptr(knots_float64.values);
    }
    float eval(long n, const float *x) const
    {
        return product_over(
            n, x, [&](float v) { return evaluate(v, knots_float32.count, knots_float32, basis_float32); });
    }
    double eval(long n, const double *x) const
    {
        return product_over(
            n, x, [&](double v) { return evaluate(v, knots_float64.count, knots_float64, basis_float64); });
    }
    // By the float64 knots, with the count of the float32 ones: the fixed ones play no part.
    fixed eval_fixed(long n, const fixed *x)
    {
        return vok_functor_eval_fixed_with_float64(this, n, x, [](void *self, long count, const double *values) {
            const auto *c = static_cast<const vok_functor_curve_cubicspline *>(self);
            return product_over(count, values, [&](double v) {
                return evaluate(v, c->knots_float32.count, c->knots_float64, c->basis_float64);
            });
        });
    }
    bool resize(long count)
    {
        return knots_fixed.resize(count) && knots_float32.resize(count) && knots_float64.resize(count);
    }
};

// Whatever its knots, it gives 0: their number is never recorded, and a curve of fewer than
// two is 0 (deliberate).
struct vok_functor_curve_linear {
    object header;
    double *knots;

    using fixed_by = double;
    void release() { sysmem_freeptr(knots); }
    template <typename T> T eval(long, const T *) const { return 0; }
};

namespace {

using cubicspline = vok_functor_curve_cubicspline;
using linear = vok_functor_curve_linear;

vok_err set_spline_basis(cubicspline *x, void *, long argc, atom *argv)
{
    return vok_functor_curve_cubicspline_setbasis(x, argc > 0 && argv ? atom_getsym(argv) : nullptr);
}

vok_err set_spline_knots(cubicspline *x, void *, long argc, atom *argv)
{
    if (!x || argc < 0 || (argc > 0 && !argv) || !x->resize(argc))
        return VOK_ERR_INVP;
    for (long i = 0; i < argc; i++) {
        const double value = atom_getfloat(argv + i);
        x->knots_fixed.set(i, value);
        x->knots_float32.set(i, value);
        x->knots_float64.set(i, value);
    }
    return VOK_ERR_NONE;
}

vok_err get_spline_knots(cubicspline *x, void *, long *argc, atom **argv)
{
    if (!x)
        return VOK_ERR_INVP;
    return get_list(x->knots_float64.values, x->knots_float64.count, argc, argv);
}

vok_err set_linear_knots(linear *x, void *, long argc, atom *argv)
{
    if (!x || argc < 0 || (argc > 0 && !argv))
        return VOK_ERR_INVP;
    auto *knots = static_cast<double *>(sysmem_newptr(argc * static_cast<long>(sizeof(double))));
    if (!knots)
        return VOK_ERR_INVP;
    for (long i = 0; i < argc; i++)
        knots[i] = atom_getfloat(argv + i);
    sysmem_freeptr(x->knots);
    x->knots = knots;
    return VOK_ERR_NONE;
}

vok_err get_linear_knots(linear *x, void *, long *argc, atom **argv)
{
    if (!x)
        return VOK_ERR_INVP;
    const long bytes = x->knots ? sysmem_ptrsize(x->knots) : 0;
    return get_list(x->knots, bytes / static_cast<long>(sizeof(double)), argc, argv);
}

} // namespace

vok_err vok_functor_curve_cubicspline_setbasis(void *curve, symbol *name)
{
    auto *x = static_cast<cubicspline *>(curve);
    if (!x || !name)
        return VOK_ERR_INVP;
    if (name == x->basis)
        return VOK_ERR_NONE;
    x->basis = name;
    vok_cubicspline_fillbasis_fixed(name, x->basis_fixed.matrix, &x->basis_fixed.step);
    vok_cubicspline_fillbasis_float32(name, x->basis_float32.matrix, &x->basis_float32.step);
    vok_cubicspline_fillbasis_float64(name, x->basis_float64.matrix, &x->basis_float64.step);
    return VOK_ERR_NONE;
}

vok_err vok_functor_curve_cubicspline_resize(void *curve, long count)
{
    auto *x = static_cast<cubicspline *>(curve);
    return x && count >= 0 && count < INT32_MAX && x->resize(count) ? VOK_ERR_NONE : VOK_ERR_INVP;
}

vok_err vok_functor_curve_cubicspline_setknot_float32(void *x, long index, double value)
{
    return x && static_cast<cubicspline *>(x)->knots_float32.set(index, value) ? VOK_ERR_NONE : VOK_ERR_INVP;
}

vok_err vok_functor_curve_cubicspline_setknot_float64(void *x, long index, double value)
{
    return x && static_cast<cubicspline *>(x)->knots_float64.set(index, value) ? VOK_ERR_NONE : VOK_ERR_INVP;
}

namespace vok::functor {

constexpr attribute knots(long offset, function get, function set)
{
    attribute row = number("knots", "float64", offset, set, "Knots");
    row.get = get;
    return row;
}

template <>
constexpr auto attributes<cubicspline> =
    std::array{number("basis", "symbol", offsetof(cubicspline, basis), fn<set_spline_basis>, "Basis"),
               knots(offsetof(cubicspline, knots_float64), fn<get_spline_knots>, fn<set_spline_knots>)};
template <>
constexpr auto attributes<linear> =
    std::array{knots(offsetof(linear, knots), fn<get_linear_knots>, fn<set_linear_knots>)};
template <>
constexpr auto messages<cubicspline> =
    std::array{message{"setbasis", fn<vok_functor_curve_cubicspline_setbasis>, {argtype_cant}},
               message{"resize", fn<vok_functor_curve_cubicspline_resize>, {argtype_cant}}};

} // namespace vok::functor

VOK_FUNCTORS_CURVE(VOKRA_FUNCTOR)
