// The loops of linear algebra, compiled once per instruction set: operations on rows,
// and tiles of a product, which stay in registers for the whole sum. Every sum runs in
// the order of k, so all sets give the same bits.
#include "calc/vok.la.kernels.h"

#ifndef VOKRA_ISA
#error "compiled per instruction set, see cmake/VokraCompile.cmake"
#endif

namespace vok::la::VOKRA_ISA {
namespace {

#if defined(__AVX512F__)
constexpr int lanes = 8, vectors_of_panel = 4;
#elif defined(__AVX2__)
constexpr int lanes = 4, vectors_of_panel = 2;
#else
constexpr int lanes = 2, vectors_of_panel = 2;
#endif
constexpr int panel = lanes * vectors_of_panel;
using doubles = double __attribute__((vector_size(lanes * sizeof(double)), aligned(sizeof(double)), may_alias));

void tile_real(long n, const double *a, const double *b, double *tile)
{
    doubles sum[tile_rows][vectors_of_panel] = {};
    for (long k = 0; k < n; k++, a += tile_rows, b += panel)
        for (int v = 0; v < vectors_of_panel; v++) {
            const doubles column = reinterpret_cast<const doubles *>(b)[v];
            for (int r = 0; r < tile_rows; r++)
                sum[r][v] += a[r] * column;
        }
    __builtin_memcpy(tile, sum, sizeof sum);
}

// Half a panel's vectors at a time, as each takes two sums.
void tile_complex(long n, const double *a_rows, const double *b_panel, double *tile)
{
    for (int v = 0; v < vectors_of_panel; v++) {
        doubles re[tile_rows] = {}, im[tile_rows] = {};
        const double *a = a_rows, *b = b_panel;
        for (long k = 0; k < n; k++, a += 2 * tile_rows, b += 2 * panel) {
            const doubles b_re = reinterpret_cast<const doubles *>(b)[v];
            const doubles b_im = reinterpret_cast<const doubles *>(b + panel)[v];
            for (int r = 0; r < tile_rows; r++) {
                re[r] += a[2 * r] * b_re - a[2 * r + 1] * b_im;
                im[r] += a[2 * r] * b_im + a[2 * r + 1] * b_re;
            }
        }
        for (int r = 0; r < tile_rows; r++) {
            __builtin_memcpy(tile + r * 2 * panel + v * lanes, &re[r], sizeof re[r]);
            __builtin_memcpy(tile + r * 2 * panel + panel + v * lanes, &im[r], sizeof im[r]);
        }
    }
}

// What a row is multiplied by: a number; for complex ones also its imaginary part, and that negated.
// A sum of products with the negated part has the bits of the difference, which compilers fuse with a
// multiplication where a vector instruction does both, though they were told not to contract.
struct factor {
    double re = 1, im = 0, minus_im = -0.0;
    factor(const double *alpha, int planes)
    {
        if (alpha) {
            re = alpha[0];
            im = planes == 2 ? alpha[1] : 0;
            minus_im = -im;
        }
    }
};

// One element of the row operations: T or a pair of T.
template <typename T, int planes> struct step {
    static void ax(const factor &by, const T *x, T *out)
    {
        if constexpr (planes == 1)
            out[0] = static_cast<T>(by.re * static_cast<double>(x[0]));
        else {
            const double re = x[0], im = x[1];
            out[0] = static_cast<T>(by.re * re + by.minus_im * im);
            out[1] = static_cast<T>(by.re * im + by.im * re);
        }
    }
    static void axpy(const factor &by, const T *x, const T *y, T *out)
    {
        if constexpr (planes == 1)
            out[0] = static_cast<T>(static_cast<double>(y[0]) + by.re * static_cast<double>(x[0]));
        else {
            const double re = x[0], im = x[1];
            const double to_re = y[0], to_im = y[1];
            out[0] = static_cast<T>(to_re + (by.re * re + by.minus_im * im));
            out[1] = static_cast<T>(to_im + (by.re * im + by.im * re));
        }
    }
};

// A row is packed as a rule, and then one with itself, or one with another.
#if defined(__GNUC__) && !defined(__clang__)
#define VOKRA_INDEPENDENT _Pragma("GCC ivdep")
#else
#define VOKRA_INDEPENDENT
#endif

template <typename T, int planes> void swap(long n, vok_op_vector_arg *a, vok_op_vector_arg *b)
{
    T *x = static_cast<T *>(a->p), *y = static_cast<T *>(b->p);
    const long xs = a->stride * planes, ys = b->stride * planes;
    for (long i = 0; i < n; i++)
        for (int p = 0; p < planes; p++) {
            const T t = x[i * xs + p];
            x[i * xs + p] = y[i * ys + p];
            y[i * ys + p] = t;
        }
}

template <typename T, int planes>
void ax(long n, const double *alpha, const vok_op_vector_arg *x, const vok_op_vector_arg *out)
{
    const T *from = static_cast<const T *>(x->p);
    T *to = static_cast<T *>(out->p);
    const factor by(alpha, planes);
    if (x->stride == 1 && out->stride == 1) {
        VOKRA_INDEPENDENT
        for (long i = 0; i < n; i++)
            step<T, planes>::ax(by, from + i * planes, to + i * planes);
        return;
    }
    for (long i = 0; i < n; i++)
        step<T, planes>::ax(by, from + i * x->stride * planes, to + i * out->stride * planes);
}

template <typename T, int planes>
void axpy(long n, const double *alpha, const vok_op_vector_arg *x, const vok_op_vector_arg *y,
          const vok_op_vector_arg *out)
{
    const T *from = static_cast<const T *>(x->p), *base = static_cast<const T *>(y->p);
    T *to = static_cast<T *>(out->p);
    const factor by(alpha, planes);
    if (x->stride == 1 && y->stride == 1 && out->stride == 1) {
        VOKRA_INDEPENDENT
        for (long i = 0; i < n; i++)
            step<T, planes>::axpy(by, from + i * planes, base + i * planes, to + i * planes);
        return;
    }
    for (long i = 0; i < n; i++)
        step<T, planes>::axpy(by, from + i * x->stride * planes, base + i * y->stride * planes,
                              to + i * out->stride * planes);
}

#define VOKRA_VECTORS(T, planes)                                                                                  \
    {                                                                                                             \
        swap<T, planes>, ax<T, planes>, axpy<T, planes>                                                           \
    }

} // namespace

extern const kernel_table table = {
    .vectors = {{VOKRA_VECTORS(float, 1), VOKRA_VECTORS(float, 2)},
                {VOKRA_VECTORS(double, 1), VOKRA_VECTORS(double, 2)}},
    .panel = panel,
    .tile_real = tile_real,
    .tile_complex = tile_complex,
};

} // namespace vok::la::VOKRA_ISA
