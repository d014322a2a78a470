// Rows of fractals: the basis by its own rows, an octave at a time, and the rule over the
// block. Rotated octaves move in all coordinates and stay with the rule for single cells.
#include "functor/vok.functor.fractal.h"

#ifndef VOKRA_ISA
#error "compiled per instruction set, see cmake/VokraCompile.cmake"
#endif

namespace vok::functor::VOKRA_ISA {
namespace {

#include "functor/vok.functor.bodies.h"

#include "functor/vok.functor.rows.bodies.h"

// A block of cells on their way over the octaves.
template <typename T> struct octaves {
    const fractal &x;
    const long n, dimcount;
    const T factor, level;
    const T *const exponents;
    block<T> first, b;
    T others[32];

    octaves(const fractal &f, long count, long dims, const T *along, const T *rest)
        : x(f), n(count), dimcount(dims), factor(*in<T>(f.steps)), level(*in<T>(f.levels)),
          exponents(in<T>(f.exponents))
    {
        const T *const scale = in<T>(f.scales), *const offset = in<T>(f.offsets), s0 = *scale, o0 = *offset;
        VOKRA_INDEPENDENT
        for (long i = 0; i < n; i++)
            first[i] = s0 * (along[i] + o0);
        for (long d = 1; d < dimcount; d++)
            others[d - 1] = scale[d] * (rest[d - 1] + offset[d]);
    }
    void step()
    {
        VOKRA_INDEPENDENT
        for (long i = 0; i < n; i++)
            first[i] *= factor;
        for (long d = 1; d < dimcount; d++)
            others[d - 1] *= factor;
    }
    // The basis into b.
    void basis() { held_row<T>(x.held, n, dimcount, &first[0], others, &b[0]); }
    // Calls rule(i, value of the basis) for each cell.
    template <typename Rule> [[gnu::always_inline]] void each(Rule rule)
    {
        VOKRA_INDEPENDENT
        for (long i = 0; i < n; i++)
            rule(i, b[i]);
    }
};

template <combination how, typename T>
void evaluate(const fractal &x, long n, long dimcount, const T *first, const T *others, T *values)
{
    octaves<T> o(x, n, dimcount, first, others);
    const long whole = static_cast<long>(x.octaves), last = whole < 1 ? 1 : whole;
    const T part = *in<T>(x.fraction), level = o.level, gain = *in<T>(x.gains), result = *in<T>(x.results);
    block<T> r, weight;
    if constexpr (how == combination::mono || how == combination::turbulence) {
        const auto bent = [](T b) { return how == combination::mono ? b : absolute(b); };
        o.each([&](long i, T) { r[i] = 0; });
        for (long k = 0; k < whole; k++) {
            o.basis();
            o.step();
            const T e = o.exponents[k];
            o.each([&](long i, T b) { r[i] += (bent(b) + level) * e; });
        }
        if (part != 0) {
            o.basis();
            const T e = o.exponents[whole];
            o.each([&](long i, T b) { r[i] += part * (bent(b) + level) * e; });
        }
    } else if constexpr (how == combination::multi) {
        o.each([&](long i, T) { r[i] = 1; });
        for (long k = 0; k < whole; k++) {
            o.basis();
            o.step();
            const T e = o.exponents[k];
            o.each([&](long i, T b) { r[i] *= (b + level) * e + 1; });
        }
        if (part != 0) {
            o.basis();
            const T e = o.exponents[whole];
            o.each([&](long i, T b) { r[i] *= part * (b + level) * e + 1; });
        }
    } else if constexpr (how == combination::hetero) {
        o.basis();
        o.each([&](long i, T b) { r[i] = b + level; });
        o.step();
        for (long k = 1; k < whole; k++) {
            o.basis();
            o.step();
            const T e = o.exponents[k];
            o.each([&](long i, T b) { r[i] += (b + level) * e * r[i]; });
        }
        if (part != 0) {
            o.basis();
            const T e = o.exponents[last];
            o.each([&](long i, T b) { r[i] += part * (b + level) * e * r[i]; });
        }
    } else if constexpr (how == combination::hybrid) {
        o.basis();
        const T e0 = o.exponents[0];
        o.each([&](long i, T b) {
            r[i] = (b + level) * e0;
            weight[i] = gain * r[i];
        });
        o.step();
        for (long k = 1; k < whole; k++) {
            o.basis();
            o.step();
            const T e = o.exponents[k];
            o.each([&](long i, T b) {
                const T u = weight[i] < 1 ? weight[i] : 1, v = (b + level) * e;
                r[i] += u * v;
                weight[i] = v * gain * u;
            });
        }
        if (part != 0) {
            o.basis();
            const T e = o.exponents[last];
            o.each([&](long i, T b) { r[i] += part * (b + level) * e; });
        }
    } else {
        block<T> s;
        o.basis();
        o.each([&](long i, T b) {
            const T d = level - absolute(b);
            r[i] = s[i] = d * d;
            weight[i] = 1;
        });
        for (long k = 1; k < whole; k++) {
            o.step();
            o.basis();
            const T e = static_cast<T>(x.exponents.float32[k]);
            o.each([&](long i, T b) {
                const T w = weight[i] * s[i] * gain, d = level - absolute(b);
                weight[i] = w < 0 ? 0 : w < 1 ? w : 1;
                s[i] = d * d * weight[i];
                r[i] += e * s[i];
            });
        }
        if (part != 0) {
            o.basis();
            const T e = o.exponents[last];
            o.each([&](long i, T b) { r[i] += part * (b + level) * e; });
        }
    }
    VOKRA_INDEPENDENT
    for (long i = 0; i < n; i++)
        values[i] = r[i] * result;
}

// For single cells, by combination.
constexpr rule rules[] = {VOKRA_RULE(fractal_mono),         VOKRA_RULE(fractal_multi),
                          VOKRA_RULE(fractal_hetero),       VOKRA_RULE(fractal_multi_hybrid),
                          VOKRA_RULE(fractal_multi_ridged), VOKRA_RULE(fractal_turbulence)};

template <combination how, typename T>
void row(void *object, long n, long dimcount, const T *first, const T *others, T *values)
{
    const fractal &x = *static_cast<fractal *>(object);
    if (!x.rotate && x.held.object && x.held.interface && x.exponents.float64 && dimcount <= 32) {
        for (long from = 0; from < n; from += most)
            evaluate<how>(x, n - from < most ? n - from : most, dimcount, first + from, others, values + from);
        return;
    }
    rule_row(object, n, dimcount, first, others, values, rules[static_cast<int>(how)]);
}

template <combination how> constexpr row_forms forms = {nullptr, row<how, float>, row<how, double>};

} // namespace

extern const row_forms mono, multi, hetero, multi_hybrid, multi_ridged, turbulence;
constinit const row_forms mono = forms<combination::mono>;
constinit const row_forms multi = forms<combination::multi>;
constinit const row_forms hetero = forms<combination::hetero>;
constinit const row_forms multi_hybrid = forms<combination::hybrid>;
constinit const row_forms multi_ridged = forms<combination::ridged>;
constinit const row_forms turbulence = forms<combination::turbulence>;

} // namespace vok::functor::VOKRA_ISA
