// The kernels of vok.expr.kernels.h, compiled once per instruction set.
#include "calc/vok.expr.kernels.h"
#include <vokra/numerics.h>

#ifndef VOKRA_ISA
#error "compiled per instruction set, see cmake/VokraCompile.cmake"
#endif

#if defined(__GNUC__) && !defined(__clang__)
#define VOKRA_INDEPENDENT _Pragma("GCC ivdep")
#else
#define VOKRA_INDEPENDENT
#endif

namespace vok::expr::VOKRA_ISA {
namespace {

#include "calc/vok.op.bodies.h"

template <typename First, typename Second, bool c_first, bool a_runs, bool b_runs, bool c_runs, typename T>
void run(long n, const T *a, const T *b, const T *c, T *z)
{
    const T a0 = *a, b0 = *b, c0 = *c;
    VOKRA_INDEPENDENT
    for (long i = 0; i < n; i++) {
        const T inner = First::of(a_runs ? a[i] : a0, b_runs ? b[i] : b0), other = c_runs ? c[i] : c0;
        z[i] = c_first ? Second::of(other, inner) : Second::of(inner, other);
    }
}

template <typename First, typename Second, bool c_first, typename T>
void pair(long n, const vok_op_vector_arg *arg_a, const vok_op_vector_arg *arg_b, const vok_op_vector_arg *arg_c,
          void *out)
{
    const T *a = static_cast<const T *>(arg_a->p), *b = static_cast<const T *>(arg_b->p),
            *c = static_cast<const T *>(arg_c->p);
    T *z = static_cast<T *>(out);
    const bool cs = arg_c->stride != 0;
    if (n < 1)
        return;
    if (!arg_a->stride)
        cs ? run<First, Second, c_first, false, true, true>(n, a, b, c, z)
           : run<First, Second, c_first, false, true, false>(n, a, b, c, z);
    else if (!arg_b->stride)
        cs ? run<First, Second, c_first, true, false, true>(n, a, b, c, z)
           : run<First, Second, c_first, true, false, false>(n, a, b, c, z);
    else
        cs ? run<First, Second, c_first, true, true, true>(n, a, b, c, z)
           : run<First, Second, c_first, true, true, false>(n, a, b, c, z);
}

struct __attribute__((packed, may_alias)) loose_word {
    unsigned value;
};

void take_of_four(unsigned char *__restrict to, const unsigned char *__restrict from, long n)
{
    // whole words, but for the last cell, whose word would end behind the row
    const loose_word *words = reinterpret_cast<const loose_word *>(from);
    VOKRA_INDEPENDENT
    for (long i = 0; i < n - 1; i++)
        to[i] = static_cast<unsigned char>(words[i].value);
    if (n > 0)
        to[n - 1] = from[4 * (n - 1)];
}

void put_in_four(unsigned char *__restrict to, const unsigned char *__restrict from, long n)
{
    loose_word *words = reinterpret_cast<loose_word *>(to);
    VOKRA_INDEPENDENT
    for (long i = 0; i < n - 1; i++)
        words[i].value = (words[i].value & 0xFFFFFF00u) | from[i];
    if (n > 0)
        to[4 * (n - 1)] = from[n - 1];
}

#define VOKRA_SECOND(T, first, second)                                                                            \
    {                                                                                                             \
        pair<first, second, false, T>, pair<first, second, true, T>                                               \
    }
#define VOKRA_FIRST(T, first)                                                                                     \
    {                                                                                                             \
        VOKRA_SECOND(T, first, mult), VOKRA_SECOND(T, first, add), VOKRA_SECOND(T, first, sub)                    \
    }

} // namespace

extern const kernel_table table;
constinit const kernel_table table = {
    {{VOKRA_FIRST(f32, mult), VOKRA_FIRST(f32, add), VOKRA_FIRST(f32, sub)},
     {VOKRA_FIRST(f64, mult), VOKRA_FIRST(f64, add), VOKRA_FIRST(f64, sub)}},
    take_of_four,
    put_in_four,
};

} // namespace vok::expr::VOKRA_ISA
