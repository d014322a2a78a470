// Rows of simplex noise in up to three dimensions. The directions of a simplex are looked up
// once for the span of cells that lie in it, and laid out along the block; the rest is plain
// arithmetic, a corner at a time.
#include "functor/vok.functor.noise.records.h"

#ifndef VOKRA_ISA
#error "compiled per instruction set, see cmake/VokraCompile.cmake"
#endif

namespace vok::functor::VOKRA_ISA {
namespace {

#include "functor/vok.functor.bodies.h"

#include "functor/vok.functor.rows.bodies.h"

using noise = vok_functor_noise_simplex;

template <int N, typename T> struct simplices {
    const noise &x;
    const T *directions;
    const T skew, unskew;
    T rest[N]; // the coordinates from 1 on

    block<int32_t> cell[N], rank[N]; // how many axes an axis comes ahead of
    block<T> from[N];                // from the first corner
    block<T> direction[N + 1][N];    // at each corner
    block<T> sum;
    spans s;

    simplices(const noise &simplex, const T *rows, const T *others)
        : x(simplex), directions(rows), skew(*in<T>(x.skew)), unskew(*in<T>(x.unskew))
    {
        for (int i = 1; i < N; i++)
            rest[i] = others ? others[i - 1] : 0;
    }

    void locate(long n, const T *first)
    {
        VOKRA_INDEPENDENT
        for (long i = 0; i < n; i++) {
            T shift = first[i] + rest[1];
            if constexpr (N > 2)
                shift += rest[2];
            shift *= skew;
            const int32_t c0 = floored(first[i] + shift), c1 = floored(rest[1] + shift);
            int32_t total = plus(c0, c1), c2 = 0;
            if constexpr (N > 2) {
                c2 = floored(rest[2] + shift);
                total = plus(total, c2);
            }
            const T t = static_cast<T>(total) * unskew;
            const T x0 = first[i] - (static_cast<T>(c0) - t), x1 = rest[1] - (static_cast<T>(c1) - t);
            const int32_t ahead_01 = x0 > x1;
            cell[0][i] = c0;
            cell[1][i] = c1;
            from[0][i] = x0;
            from[1][i] = x1;
            if constexpr (N > 2) {
                const T x2 = rest[2] - (static_cast<T>(c2) - t);
                const int32_t ahead_02 = x0 > x2, ahead_12 = x1 > x2;
                cell[2][i] = c2;
                from[2][i] = x2;
                rank[0][i] = ahead_01 + ahead_02;
                rank[1][i] = 1 - ahead_01 + ahead_12;
                rank[2][i] = 2 - ahead_02 - ahead_12;
            } else {
                rank[0][i] = ahead_01;
                rank[1][i] = 1 - ahead_01;
            }
        }
        VOKRA_INDEPENDENT
        for (long i = 1; i < n; i++) {
            int32_t change = 0;
            for (int d = 0; d < N; d++)
                change |= (cell[d][i] ^ cell[d][i - 1]) | (rank[d][i] ^ rank[d][i - 1]);
            s.changed[i] = change != 0;
        }
        s.list(n);
    }

    void look_up()
    {
        const int32_t *table = x.tables.permutations, mask = static_cast<int32_t>(x.tables.mask);
        for (long k = 0; k < s.count; k++) {
            const long start = s.start[k], end = s.start[k + 1];
            for (int corner = 0; corner <= N; corner++) {
                int32_t h = 0;
                for (int d = N - 1; d >= 0; d--)
                    h = table[plus(plus(h, cell[d][start]), rank[d][start] >= N - corner) & mask];
                const T *row = directions + h % 12 * N;
                for (int d = 0; d < N; d++) {
                    const T value = row[d];
                    for (long i = start; i < end; i += lanes<T>)
                        for (long j = 0; j < lanes<T>; j++)
                            direction[corner][d][i + j] = value;
                }
            }
        }
    }

    template <int corner> void add_corner(long n)
    {
        constexpr T radius = N == 2 ? T(0.5) : T(0.6);
        const T unskewed = static_cast<T>(corner) * unskew;
        const auto offset = [&](int d, long i) {
            if (corner == 0)
                return from[d][i];
            const T step = rank[d][i] >= N - corner ? 1 : 0;
            return from[d][i] - step + unskewed;
        };
        VOKRA_INDEPENDENT
        for (long i = 0; i < n; i++) {
            const T d0 = offset(0, i), d1 = offset(1, i);
            T product = direction[corner][0][i] * d0 + direction[corner][1][i] * d1;
            T square = d0 * d0 + d1 * d1;
            if constexpr (N > 2) {
                const T d2 = offset(2, i);
                product += direction[corner][2][i] * d2;
                square += d2 * d2;
            }
            const T q = radius - square, q2 = q * q;
            const T part = q < 0 ? 0 : q2 * q2 * product;
            sum[i] = corner ? sum[i] + part : part;
        }
    }
};

template <int N, typename T>
void rows_of(const noise &x, const T *directions, long n, const T *first, const T *others, T *values)
{
    constexpr T scale = N == 2 ? 70 : 32;
    simplices<N, T> o(x, directions, others);
    for (long from = 0; from < n; from += most) {
        const long count = n - from < most ? n - from : most;
        o.locate(count, first + from);
        o.look_up();
        o.template add_corner<0>(count);
        o.template add_corner<1>(count);
        o.template add_corner<2>(count);
        if constexpr (N > 2)
            o.template add_corner<3>(count);
        for (long i = 0; i < count; i++)
            o.sum[i] = scale * o.sum[i];
        narrow_block(count, &o.sum[0], values + from, x.sign, x.abs);
    }
}

template <typename T> void row(void *object, long n, long dimcount, const T *first, const T *others, T *values)
{
    const noise &x = *static_cast<noise *>(object);
    const T *directions = in<T>(x.directions);
    const bool ready = x.tables.permutations && directions && x.directions.dimensions == dimcount;
    if (ready && dimcount == 3)
        return rows_of<3>(x, directions, n, first, others, values);
    if (ready && (dimcount == 2 || dimcount == 1))
        return rows_of<2>(x, directions, n, first, dimcount == 1 ? nullptr : others, values);
    rule_row(object, n, dimcount, first, others, values, VOKRA_RULE(noise_simplex));
}

} // namespace

extern const row_forms simplex;
constinit const row_forms simplex = {nullptr, row<float>, row<double>};

} // namespace vok::functor::VOKRA_ISA
