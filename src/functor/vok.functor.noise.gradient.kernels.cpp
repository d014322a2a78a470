// Rows of gradient noise in one to three dimensions. The directions at the corners of a
// lattice cell are the same for a span of cells, and so are their products with the offsets
// of all dimensions but the first.
#include "functor/vok.functor.noise.records.h"

#ifndef VOKRA_ISA
#error "compiled per instruction set, see cmake/VokraCompile.cmake"
#endif

namespace vok::functor::VOKRA_ISA {
namespace {

#include "functor/vok.functor.bodies.h"

#include "functor/vok.functor.rows.bodies.h"

using noise = vok_functor_noise_gradient;

// What the two ends of a lattice cell along dimension 0 give, for each corner of the others.
template <int N, typename T> struct column {
    static constexpr int corners = 1 << (N - 1);
    T first[corners];      // component 0 of the direction
    T product[corners][N]; // the products of the others, from 1 on
};

// What is the same along a row.
template <int N, typename T> struct row_of {
    const int32_t *table;
    int32_t mask;
    const T *directions;
    long stride;
    int32_t cell[N];
    T fraction[N], weight[N]; // from 1 on

    column<N, T> at(int32_t c0) const
    {
        column<N, T> made;
        for (int corner = 0; corner < made.corners; corner++) {
            int32_t h = c0, k = h & mask;
            for (int i = 1; i < N; i++) {
                h = plus(plus(h, table[k]), plus(cell[i], corner >> (i - 1) & 1));
                k = h & mask;
            }
            const T *direction = directions + k * stride;
            made.first[corner] = direction[0];
            for (int i = 1; i < N; i++)
                made.product[corner][i] = direction[i] * (fraction[i] - static_cast<T>(corner >> (i - 1) & 1));
        }
        return made;
    }
};

template <int N, typename T> [[gnu::always_inline]] inline T dot(const column<N, T> &c, int corner, T offset)
{
    T v = c.first[corner] * offset;
    if constexpr (N > 1)
        v = v + c.product[corner][1];
    if constexpr (N > 2)
        v = v + c.product[corner][2];
    return v;
}

// The corners that have `corner` in the dimensions above `dimension`, folded up to it.
template <int dimension, int N, typename T>
[[gnu::always_inline]] inline T folded(const column<N, T> &left, const column<N, T> &right, int corner, T f, T w,
                                       const T (&weight)[N])
{
    if constexpr (dimension == 0) {
        const T a = dot(left, corner, f), b = dot(right, corner, f - 1);
        return a + (b - a) * w;
    } else {
        const T a = folded<dimension - 1>(left, right, 2 * corner, f, w, weight);
        const T b = folded<dimension - 1>(left, right, 2 * corner + 1, f, w, weight);
        return a + (b - a) * weight[dimension];
    }
}

// The span's cells from `from` to `end`, a vector at a time.
template <int N, typename T>
void blend(long from, long end, const column<N, T> &left, const column<N, T> &right, const T (&weight)[N],
           const block<T> &fraction, const block<T> &weights, block<T> &out)
{
    for (long i = from; i < end; i += lanes<T>) {
        const T *f = &fraction[i], *w = &weights[i];
        T *z = &out[i];
        VOKRA_INDEPENDENT
        for (long j = 0; j < lanes<T>; j++)
            z[j] = folded<N - 1>(left, right, 0, f[j], w[j], weight);
    }
}

template <int N, typename T>
void rows_of(const noise &x, const T *directions, long n, const T *first, const T *others, T *values)
{
    row_of<N, T> row;
    row.table = x.tables.permutations;
    row.mask = static_cast<int32_t>(x.tables.mask);
    row.directions = directions;
    row.stride = x.directions.stride;
    for (int i = 1; i < N; i++) {
        row.cell[i] = floored(others[i - 1]);
        row.fraction[i] = others[i - 1] - static_cast<T>(row.cell[i]);
    }
    if (N > 1)
        held_row<T>(x.curve, N - 1, 1, row.fraction + 1, nullptr, row.weight + 1);

    block<int32_t> cell;
    block<T> fraction, weights, out;
    spans s;
    for (long from = 0; from < n; from += most) {
        const long count = n - from < most ? n - from : most;
        split_block(count, first + from, cell, fraction);
        held_row<T>(x.curve, count, 1, &fraction[0], nullptr, &weights[0]);
        for (long i = count; i < count + lanes<T>; i++)
            weights[i] = 0;
        for (long i = 1; i < count; i++)
            s.changed[i] = cell[i] != cell[i - 1];
        s.list(count);
        column<N, T> left, right;
        for (long k = 0; k < s.count; k++) {
            const int32_t c0 = cell[s.start[k]];
            if (k && c0 == plus(cell[s.start[k - 1]], 1))
                left = right;
            else
                left = row.at(c0);
            right = row.at(plus(c0, 1));
            blend(s.start[k], s.start[k + 1], left, right, row.weight, fraction, weights, out);
        }
        narrow_block(count, &out[0], values + from, x.sign, x.abs);
    }
}

template <typename T> void row(void *object, long n, long dimcount, const T *first, const T *others, T *values)
{
    const noise &x = *static_cast<noise *>(object);
    const T *directions = in<T>(x.directions);
    const bool ready =
        x.tables.permutations && directions && x.directions.dimensions == dimcount && x.curve.object;
    if (ready && dimcount == 3)
        return rows_of<3>(x, directions, n, first, others, values);
    if (ready && dimcount == 2)
        return rows_of<2>(x, directions, n, first, others, values);
    if (ready && dimcount == 1)
        return rows_of<1>(x, directions, n, first, others, values);
    rule_row(object, n, dimcount, first, others, values, VOKRA_RULE(noise_gradient));
}

} // namespace

extern const row_forms gradient;
constinit const row_forms gradient = {nullptr, row<float>, row<double>};

} // namespace vok::functor::VOKRA_ISA
