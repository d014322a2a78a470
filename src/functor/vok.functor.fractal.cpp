// The six fractals: one loop over octaves of the basis, with a rule each of how an octave
// joins the result.
#include "functor/vok.functor.fractal.h"

#include <algorithm>

VOKRA_FUNCTOR_ROWS(mono)
VOKRA_FUNCTOR_ROWS(multi)
VOKRA_FUNCTOR_ROWS(hetero)
VOKRA_FUNCTOR_ROWS(multi_hybrid)
VOKRA_FUNCTOR_ROWS(multi_ridged)
VOKRA_FUNCTOR_ROWS(turbulence)

namespace vok::functor {

void fractal::init()
{
    basis = gensym("noise.gradient");
    seed = -1138;
    std::fill_n(scale, 32, 1.0);
    scale_count = offset_count = 32;
    roughness = 0.65;
    lacunarity = 2.112;
    detail = 3;
    gain = result = 1;
    dimensions = 2;
    // The basis that comes with the object is unsigned, one set later signed (deliberate).
    if (vok_functor_wrapper_init(&held, nullptr, basis))
        clear(held);
    send_sign(held, 0);
    make_exponents();
}

void fractal::derive()
{
    scales.set(scale);
    offsets.set(offset);
    steps.set(lacunarity);
    levels.set(level);
    gains.set(gain);
    results.set(result);
    octaves = std::trunc(detail);
    fraction.set(detail - octaves);
    fraction.float32[0] = static_cast<float>(detail) - static_cast<float>(octaves); // in its own arithmetic
}

void fractal::release()
{
    clear(held);
    vok_functor_combined_dynarray_destroy(&exponents);
    vok_functor_fractal_rotations_destroy(&rotations);
}

vok_err fractal::make_exponents()
{
    derive();
    return vok_functor_fractal_exponents_init(&exponents, detail, roughness, lacunarity);
}

vok_err fractal::make_octaves()
{
    const vok_err err = make_exponents();
    return rotate ? make_rotations() : err;
}

vok_err fractal::make_rotations()
{
    return vok_functor_fractal_rotations_init(&rotations, dimensions, seed, detail);
}

vok_err fractal::set_basis(symbol *name, const char *prefix)
{
    basis = name;
    if (const vok_err err = vok_functor_wrapper_init(&held, nullptr, name)) {
        clear(held);
        return err;
    }
    if (send_sign(held, 1))
        vok_object_post(this, "vok.fractal.%s: selected evaluator may not produce an appropriate output range",
                        prefix);
    return VOK_ERR_NONE;
}

namespace {

// The walk over the octaves of one evaluation.
template <typename T> struct walk {
    const fractal &x;
    const long n;
    const T level;
    T p[max_dimensions];

    walk(const fractal &f, long count, const T *values) : x(f), n(count), level(f.levels.as<T>())
    {
        for (long i = 0; i < n; i++)
            p[i] = x.scales.as<T>()[i] * (values[i] + x.offsets.as<T>()[i]);
    }
    T basis() const { return eval_of<T>(x.held.interface)(x.held.object, n, p); }
    T exponent(long i) const { return values_of<T>(x.exponents)[i]; }
    void step()
    {
        for (long i = 0; i < n; i++)
            p[i] *= x.steps.as<T>();
    }
    void rotate(long octave)
    {
        if (!x.rotate || octave < 1 || octave > x.rotations.count)
            return;
        T from[max_dimensions];
        std::copy_n(p, n, from);
        functor::rotate(x.rotations.matrices[octave - 1], n, from, p);
    }
    void advance(long octave)
    {
        step();
        rotate(octave);
    }
};

template <typename T> T limited(T x, T high)
{
    return x < high ? x : high;
}

template <combination how, typename T> T evaluate(const fractal &x, long count, const T *values)
{
    walk<T> at(x, count, values);
    const long n = static_cast<long>(x.octaves), last = n < 1 ? 1 : n;
    const T part = x.fraction.as<T>(), level = at.level, gain = x.gains.as<T>();
    T r;
    if constexpr (how == combination::mono || how == combination::turbulence) {
        const auto bent = [](T b) { return how == combination::mono ? b : absolute(b); };
        r = 0;
        for (long i = 0; i < n; i++) {
            const T b = bent(at.basis());
            at.advance(i);
            r += (b + level) * at.exponent(i);
        }
        if (part != 0)
            r += part * (bent(at.basis()) + level) * at.exponent(n);
    } else if constexpr (how == combination::multi) {
        r = 1;
        for (long i = 0; i < n; i++) {
            const T b = at.basis();
            at.advance(i);
            r *= (b + level) * at.exponent(i) + 1;
        }
        if (part != 0)
            r *= part * (at.basis() + level) * at.exponent(n) + 1;
    } else if constexpr (how == combination::hetero) {
        r = at.basis() + level;
        at.step();
        for (long i = 1; i < n; i++) {
            const T b = at.basis();
            at.advance(i);
            r += (b + level) * at.exponent(i) * r;
        }
        if (part != 0)
            r += part * (at.basis() + level) * at.exponent(last) * r;
    } else if constexpr (how == combination::hybrid) {
        r = (at.basis() + level) * at.exponent(0);
        T weight = gain * r;
        at.step();
        for (long i = 1; i < n; i++) {
            const T u = limited(weight, T(1));
            const T b = (at.basis() + level) * at.exponent(i);
            at.advance(i);
            r += u * b;
            weight = b * gain * u;
        }
        if (part != 0)
            r += part * (at.basis() + level) * at.exponent(last);
    } else {
        const auto ridge = [&] {
            const T s = level - absolute(at.basis());
            return s * s;
        };
        T s = ridge(), weight = 1;
        r = s;
        for (long i = 1; i < n; i++) {
            at.step();
            weight = weight * s * gain;
            weight = weight < 0 ? 0 : limited(weight, T(1));
            s = ridge() * weight;
            at.rotate(i);
            r += static_cast<T>(x.exponents.float32[i]) * s; // float32 in either format (deliberate)
        }
        if (part != 0) // no ridge (deliberate)
            r += part * (at.basis() + level) * at.exponent(last);
    }
    return r * x.results.as<T>();
}

} // namespace

// A class: the record with its rule.
template <combination how> struct fractal_class : fractal {
    template <typename T> T eval(long n, const T *x)
    {
        if (!ready())
            return 0;
        n = within(n);
        turn(n);
        return evaluate<how>(*this, n, x);
    }
};

// ---- attributes ----

namespace {

constexpr bool above_zero(double value)
{
    return value > 0;
}

constexpr bool within_32(double value)
{
    return value > 0 && value < 32;
}

template <combination how> constexpr const char *short_name = "";
template <> constexpr const char *short_name<combination::mono> = "mono";
template <> constexpr const char *short_name<combination::multi> = "multi";
template <> constexpr const char *short_name<combination::hetero> = "hetero";
template <> constexpr const char *short_name<combination::hybrid> = "multi.hybrid";
template <> constexpr const char *short_name<combination::ridged> = "multi.ridged";
template <> constexpr const char *short_name<combination::turbulence> = "turbulence";

template <combination how> vok_err set_basis(fractal *x, void *, long argc, atom *argv)
{
    symbol *name = x && argc > 0 && argv ? atom_getsym(argv) : nullptr;
    if (!name)
        return VOK_ERR_INVP;
    if (name == x->basis)
        return VOK_ERR_NONE;
    return x->set_basis(name, short_name<how>);
}

// The rows of all classes; `gain` of two, and the limits of one the wrong way round
// (deliberate).
template <combination how> constexpr auto make_attributes()
{
    constexpr bool swapped = how == combination::multi;
    constexpr bool has_gain = how == combination::hybrid || how == combination::ridged;
    constexpr auto lacunarity_limit = swapped ? within_32 : above_zero;
    constexpr auto detail_limit = swapped ? above_zero : within_32;
    std::array<attribute, 11 + has_gain> rows = {
        number("type", "symbol", offsetof(fractal, basis), fn<set_basis<how>>, "Type"),
        number("basis", "symbol", offsetof(fractal, basis), fn<set_basis<how>>, "Basis"),
        VOKRA_FUNCTOR_LONG(fractal, seed, "Seed", &fractal::make_rotations),
        VOKRA_FUNCTOR_FLAG(fractal, rotate, "Rotate", &fractal::make_rotations),
        numbers("scale", offsetof(fractal, scale), offsetof(fractal, scale_count),
                fn<set_array<&fractal::scale, nullptr, &fractal::scale_count>>, "Scale"),
        numbers("offset", offsetof(fractal, offset), offsetof(fractal, offset_count),
                fn<set_array<&fractal::offset, nullptr, &fractal::offset_count>>, "Offset"),
        VOKRA_FUNCTOR_NUMBER(fractal, roughness, "Roughness", &fractal::make_exponents),
        VOKRA_FUNCTOR_NUMBER(fractal, lacunarity, "Lacunarity", &fractal::make_exponents, lacunarity_limit),
        VOKRA_FUNCTOR_NUMBER(fractal, detail, "Detail", &fractal::make_octaves, detail_limit),
        VOKRA_FUNCTOR_NUMBER(fractal, level, "Level"),
    };
    size_t next = 10;
    if constexpr (has_gain)
        rows[next++] = VOKRA_FUNCTOR_NUMBER(fractal, gain, "Gain");
    rows[next] = VOKRA_FUNCTOR_NUMBER(fractal, result, "Result");
    return rows;
}

} // namespace

template <> constexpr const class_rows *rows_for<fractal_class<combination::mono>> = &mono_rows;
template <> constexpr const class_rows *rows_for<fractal_class<combination::multi>> = &multi_rows;
template <> constexpr const class_rows *rows_for<fractal_class<combination::hetero>> = &hetero_rows;
template <> constexpr const class_rows *rows_for<fractal_class<combination::hybrid>> = &multi_hybrid_rows;
template <> constexpr const class_rows *rows_for<fractal_class<combination::ridged>> = &multi_ridged_rows;
template <> constexpr const class_rows *rows_for<fractal_class<combination::turbulence>> = &turbulence_rows;

template <combination how> constexpr auto attributes<fractal_class<how>> = make_attributes<how>();
template <combination how>
constexpr auto roles<fractal_class<how>> =
    std::array{role<fractal_class<how>>{"basis", &fractal_class<how>::held}};

} // namespace vok::functor

using vok::functor::combination;
using vok::functor::fractal_class;
using vok_functor_fractal_mono = fractal_class<combination::mono>;
using vok_functor_fractal_multi = fractal_class<combination::multi>;
using vok_functor_fractal_hetero = fractal_class<combination::hetero>;
using vok_functor_fractal_multi_hybrid = fractal_class<combination::hybrid>;
using vok_functor_fractal_multi_ridged = fractal_class<combination::ridged>;
using vok_functor_fractal_turbulence = fractal_class<combination::turbulence>;

VOKRA_FUNCTOR(fractal, mono, "mono")
VOKRA_FUNCTOR(fractal, multi, "multi")
VOKRA_FUNCTOR(fractal, hetero, "hetero")
VOKRA_FUNCTOR(fractal, multi_hybrid, "multi.hybrid")
VOKRA_FUNCTOR(fractal, multi_ridged, "multi.ridged")
VOKRA_FUNCTOR(fractal, turbulence, "turbulence")
