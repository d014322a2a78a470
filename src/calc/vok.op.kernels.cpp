// The vector functions of the cell operators, compiled once per instruction set. A
// function picks its loop by the strides: contiguous, with one operand constant,
// interleaved planes, or the plain loop that serves every case. The others are taken
// only where no element of the output is read after it was written, so that all give
// what the plain loop gives.
#include "calc/vok.op.table.h"
#include <initializer_list>
#include <vokra/numerics.h>
#if defined(__x86_64__)
#include <immintrin.h>
#endif

#ifndef VOKRA_ISA
#error "compiled per instruction set, see cmake/VokraCompile.cmake"
#endif

// The passes of a loop are independent of each other, as far as the caller has seen to
// it; other compilers find out for themselves.
#if defined(__GNUC__) && !defined(__clang__)
#define VOKRA_INDEPENDENT _Pragma("GCC ivdep")
#define VOKRA_UNROLL _Pragma("GCC unroll 4")
#else
#define VOKRA_INDEPENDENT
#define VOKRA_UNROLL
#endif

namespace vok::op::VOKRA_ISA {
namespace {

#include "calc/vok.op.bodies.h"
#include "calc/vok.op.bytes.h"
#include "calc/vok.op.roots.h"

template <typename T> struct run {
    T *p;
    long stride;
};

template <typename T> run<T> operand(const vok_op_vector_arg *arg)
{
    return {static_cast<T *>(arg->p), arg->stride};
}

// Whether n elements of `in` can be read in any order while `out` (stride above 0) is
// written: they are the same run, or share no byte. Addresses are compared as
// numbers, as they may belong to different blocks.
template <typename T> bool apart(run<T> in, run<T> out, long n)
{
    const u64 a = reinterpret_cast<u64>(in.p), z = reinterpret_cast<u64>(out.p);
    const u64 last = static_cast<u64>(n - 1) * sizeof(T);
    const u64 a_end = a + last * static_cast<u64>(in.stride) + sizeof(T);
    const u64 z_end = z + last * static_cast<u64>(out.stride) + sizeof(T);
    return (a == z && in.stride == out.stride) || a_end <= z || z_end <= a;
}

// ---- functions with a rule for many elements, see vok.op.functions.h ----

// Only where there are lanes of doubles enough to gain by it, measured.
#if defined(__AVX2__) || defined(__aarch64__)
template <typename Op, typename T> constexpr bool by_rule = false;
template <has_rule Op> constexpr bool by_rule<Op, f32> = true;
#else
template <typename Op, typename T> constexpr bool by_rule = false;
#endif

// ---- functions with a form for many bytes, see vok.op.bytes.h ----

template <typename Op, typename T> constexpr bool by_bytes = false;
template <takes_many_bytes Op> constexpr bool by_bytes<Op, u8> = true;

// Calculates a run block by block: `near(i)` is element i in double, `suits(i)` whether that
// holds, `exactly(i)` the library's value.
template <typename Near, typename Suits, typename Exactly>
[[gnu::always_inline]] inline void decided(long n, f64 error, f32 *z, Near near, Suits suits, Exactly exactly)
{
    constexpr long block = 128;
    f32 out[block];
    u32 open[block];
    long outside = 0; // blocks to give to the library whole, after one that was mostly undecided
    for (long from = 0; from < n; from += block) {
        const long count = n - from < block ? n - from : block;
        u32 undecided = 0;
        if (outside > 0) {
            outside--;
            for (long i = from; i < from + count; i++)
                z[i] = exactly(i);
            continue;
        }
        VOKRA_INDEPENDENT
        for (long i = 0; i < count; i++) {
            const f64 y = near(from + i), margin = y * error;
            const f32 below = static_cast<f32>(y - margin), above = static_cast<f32>(y + margin);
            open[i] = !((below == above) & suits(from + i));
            out[i] = above; // a negative zero here, where y - margin is a positive one
            undecided += open[i];
        }
        for (long i = 0; undecided && i < count; i++)
            if (open[i])
                out[i] = exactly(from + i);
        __builtin_memcpy(z + from, out, static_cast<u64>(count) * sizeof(f32));
        outside = 2 * undecided > count ? 16 : 0;
    }
}

// ---- one input ----

template <typename Op, typename T> void contiguous(long n, const T *a, T *z)
{
    if constexpr (by_rule<Op, T>) {
        using rule = typename Op::fast;
        decided(
            n, rule::error, z, [=](long i) { return rule::near(a[i]); }, [=](long i) { return rule::suits(a[i]); },
            [=](long i) { return Op::of(a[i]); });
        return;
    }
    const long from = ahead<Op>(n, a, z);
    VOKRA_INDEPENDENT
    for (long i = from; i < n; i++)
        z[i] = Op::of(a[i]);
}

template <typename Op, typename T> void plain(long n, run<T> a, run<T> z)
{
    VOKRA_UNROLL
    for (long i = 0; i < n; i++, a.p += a.stride, z.p += z.stride)
        *z.p = Op::of(*a.p);
}

template <typename Op, typename T>
void unary(long n, void *, vok_op_vector_arg *arg_a, vok_op_vector_arg *, vok_op_vector_arg *arg_z)
{
    const run<T> a = operand<T>(arg_a), z = operand<T>(arg_z);
    if (n < 1)
        return;
    if (z.stride == 1 && a.stride == 1 && apart(a, z, n))
        contiguous<Op>(n, a.p, z.p);
    else if (z.stride == 1 && a.stride == 0 && apart(a, z, n)) {
        const T value = Op::of(*a.p);
        for (long i = 0; i < n; i++)
            z.p[i] = value;
    } else
        plain<Op>(n, a, z);
}

// ---- two inputs ----

template <typename Op, typename T> void contiguous(long n, const T *a, const T *b, T *z)
{
    if constexpr (by_rule<Op, T>) {
        using rule = typename Op::fast;
        decided(
            n, rule::error, z, [=](long i) { return rule::near(a[i], b[i]); },
            [=](long i) { return rule::suits(a[i], b[i]); }, [=](long i) { return Op::of(a[i], b[i]); });
        return;
    }
    long from = 0;
    if constexpr (by_bytes<Op, T>)
        from = whole_vectors<Op>(
            n, [=](long i) { return load(a + i); }, [=](long i) { return load(b + i); }, z);
    VOKRA_INDEPENDENT
    for (long i = from; i < n; i++)
        z[i] = Op::of(a[i], b[i]);
}

template <typename Op, typename T> void constant_a(long n, T a, const T *b, T *z)
{
    if constexpr (by_rule<Op, T>) {
        using rule = typename Op::fast;
        decided(
            n, rule::error, z, [=](long i) { return rule::near(a, b[i]); },
            [=](long i) { return rule::suits(a, b[i]); }, [=](long i) { return Op::of(a, b[i]); });
        return;
    }
    long from = 0;
    if constexpr (by_bytes<Op, T>)
        from = whole_vectors<Op>(
            n, [v = u8s{} + a](long) { return v; }, [=](long i) { return load(b + i); }, z);
    VOKRA_INDEPENDENT
    for (long i = from; i < n; i++)
        z[i] = Op::of(a, b[i]);
}

template <typename Op, typename T> void constant_b(long n, const T *a, T b, T *z)
{
    if constexpr (by_rule<Op, T>) {
        using rule = typename Op::fast;
        decided(
            n, rule::error, z, [=](long i) { return rule::near(a[i], b); },
            [=](long i) { return rule::suits(a[i], b); }, [=](long i) { return Op::of(a[i], b); });
        return;
    }
    long from = 0;
    if constexpr (by_bytes<Op, T>)
        from = whole_vectors<Op>(
            n, [=](long i) { return load(a + i); }, [v = u8s{} + b](long) { return v; }, z);
    VOKRA_INDEPENDENT
    for (long i = from; i < n; i++)
        z[i] = Op::of(a[i], b);
}

template <typename Op, typename T> void plain(long n, run<T> a, run<T> b, run<T> z)
{
    VOKRA_UNROLL
    for (long i = 0; i < n; i++, a.p += a.stride, b.p += b.stride, z.p += z.stride)
        *z.p = Op::of(*a.p, *b.p);
}

template <typename Op, typename T>
void binary(long n, void *, vok_op_vector_arg *arg_a, vok_op_vector_arg *arg_b, vok_op_vector_arg *arg_z)
{
    const run<T> a = operand<T>(arg_a), b = operand<T>(arg_b), z = operand<T>(arg_z);
    if (n < 1)
        return;
    const bool vector = z.stride == 1 && a.stride >= 0 && a.stride <= 1 && b.stride >= 0 && b.stride <= 1 &&
                        apart(a, z, n) && apart(b, z, n);
    if (vector && a.stride && b.stride)
        contiguous<Op>(n, a.p, b.p, z.p);
    else if (vector && a.stride)
        constant_b<Op>(n, a.p, *b.p, z.p);
    else if (vector && b.stride)
        constant_a<Op>(n, *a.p, b.p, z.p);
    else
        plain<Op>(n, a, b, z);
}

// ---- interleaved planes ----

template <typename T, int to> void spread_one(long cells, const T *in, T *out)
{
    VOKRA_INDEPENDENT
    for (long i = 0; i < cells; i++)
        for (int p = 0; p < to; p++)
            out[i * to + p] = in[i];
}

template <typename T> void spread(long cells, const void *from_cells, long from, void *to_cells, long to)
{
    const T *in = static_cast<const T *>(from_cells);
    T *out = static_cast<T *>(to_cells);
    if (from == 1 && to == 4)
        spread_one<T, 4>(cells, in, out);
    else if (from == 1 && to == 3)
        spread_one<T, 3>(cells, in, out);
    else if (from == 1 && to == 2)
        spread_one<T, 2>(cells, in, out);
    else
        for (long i = 0; i < cells; i++, in += from, out += to)
            for (long p = 0, q = 0; p < to; p++, q = q + 1 == from ? 0 : q + 1)
                out[p] = in[q];
}

void blend(long bytes, const u8 *mask, long period, const u8 *in, u8 *out)
{
    for (long start = 0; start < bytes; start += period) {
        VOKRA_INDEPENDENT
        for (long i = 0; i < period; i++)
            out[start + i] = static_cast<u8>((in[start + i] & mask[i]) | (out[start + i] & ~mask[i]));
    }
}

// ---- the table ----

template <typename Op, typename T, int inputs, domain d> constexpr vok_op_vector_fn function()
{
    if constexpr (d == signed_types ? sizeof(T) == 1 : d != every && (d == floats) != element<T>::is_float)
        return nullptr;
    else if constexpr (inputs == 1)
        return unary<Op, T>;
    else
        return binary<Op, T>;
}

#define VOKRA_OP_FUNCTIONS(body, word, sign, inputs, domain, help)                                                \
    {function<body, u8, inputs, domain>(), function<body, i32, inputs, domain>(),                                 \
     function<body, f32, inputs, domain>(), function<body, f64, inputs, domain>()},

#define VOKRA_OP_DEAR(body, word, sign, inputs, domain, help)                                                     \
    {false, false, calls_library<body> && !by_rule<body, f32>, calls_library<body>},

#define VOKRA_OP_LIBRARY(body, word, sign, inputs, domain, help) calls_library<body>,

} // namespace

extern const kernel_table kernels;
constinit const kernel_table kernels = {{VOKRA_OPERATORS(VOKRA_OP_FUNCTIONS)},
                                        {VOKRA_OPERATORS(VOKRA_OP_DEAR)},
                                        {VOKRA_OPERATORS(VOKRA_OP_LIBRARY)},
                                        {spread<u8>, spread<i32>, spread<f32>, spread<f64>},
                                        blend};

} // namespace vok::op::VOKRA_ISA
