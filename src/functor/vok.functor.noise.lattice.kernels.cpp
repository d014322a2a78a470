// Rows of the noises over lattice values: cells, and cubic splines in up to three
// dimensions. The spline along dimension 0 has the same coefficients for a span of cells.
#include "functor/vok.functor.noise.records.h"

#ifndef VOKRA_ISA
#error "compiled per instruction set, see cmake/VokraCompile.cmake"
#endif

namespace vok::functor::VOKRA_ISA {
namespace {

#include "functor/vok.functor.bodies.h"

#include "functor/vok.functor.rows.bodies.h"

void list_spans(spans &s, const block<int32_t> &cell, long n)
{
    for (long i = 1; i < n; i++)
        s.changed[i] = cell[i] != cell[i - 1];
    s.list(n);
}

// ---- cell ----

template <typename T>
void cell_row(void *object, long n, long dimcount, const T *first, const T *others, T *values)
{
    const auto &x = *static_cast<vok_functor_noise_cell *>(object);
    const T *lattice = in<T>(x.tables.lattice);
    const int32_t *table = x.tables.permutations, mask = static_cast<int32_t>(x.tables.mask);
    if (!table || !lattice || dimcount > 32) {
        rule_row(object, n, dimcount, first, others, values, VOKRA_RULE(noise_cell));
        return;
    }
    constexpr T lift = sizeof(T) == 4 ? T(1e-6f) : T(1e-7);
    int32_t rest[32];
    for (long d = 1; d < dimcount; d++)
        rest[d] = floored(others[d - 1] + lift);
    block<int32_t> cell;
    block<T> out;
    spans s;
    for (long from = 0; from < n; from += most) {
        const long count = n - from < most ? n - from : most;
        VOKRA_INDEPENDENT
        for (long i = 0; i < count; i++)
            cell[i] = floored(first[from + i] + lift);
        list_spans(s, cell, count);
        for (long k = 0; k < s.count; k++) {
            int32_t h = cell[s.start[k]], index = h & mask;
            for (long d = 1; d < dimcount; d++) {
                h = plus(plus(h, table[index]), rest[d]);
                index = h & mask;
            }
            const T value = lattice[index];
            for (long i = s.start[k]; i < s.start[k + 1]; i += lanes<T>)
                for (long j = 0; j < lanes<T>; j++)
                    out[i + j] = value;
        }
        spread_block(count, &out[0], values + from, x.sign, x.abs);
    }
}

// ---- value.cubicspline ----

constexpr int side = 4;

// The spline of four knots, from its place in the segment.
template <typename T> struct cubic_basis {
    T m[16];

    [[gnu::always_inline]] T coefficient(int r, T a, T b, T c, T d) const
    {
        return m[4 * r] * a + m[4 * r + 1] * b + m[4 * r + 2] * c + m[4 * r + 3] * d;
    }
    [[gnu::always_inline]] T at(T u, T a, T b, T c, T d) const
    {
        return ((coefficient(0, a, b, c, d) * u + coefficient(1, a, b, c, d)) * u + coefficient(2, a, b, c, d)) *
                   u +
               coefficient(3, a, b, c, d);
    }
};

template <int N, typename T> struct spline_rows {
    static constexpr int lines = N == 3 ? 16 : N == 2 ? 4 : 1; // along dimension 0

    const vok_functor_noise_tables &tables;
    cubic_basis<T> basis;
    int32_t rest[N];
    T place[N]; // from 1 on
    block<int32_t> cell;
    block<T> fraction, out;
    spans s;

    spline_rows(const vok_functor_noise_tables &of, const T *matrix) : tables(of)
    {
        __builtin_memcpy(basis.m, matrix, sizeof basis.m);
    }

    // The values of all lines at one lattice column.
    void fill(int32_t c0, T *column) const
    {
        const int32_t *table = tables.permutations, mask = static_cast<int32_t>(tables.mask);
        for (int line = 0; line < lines; line++) {
            int32_t h = c0, k = h & mask;
            for (int d = 1; d < N; d++) {
                h = plus(plus(h, table[k]), plus(rest[d], (line >> (2 * d - 2) & 3) - 1));
                k = h & mask;
            }
            column[line] = in<T>(tables.lattice)[k];
        }
    }

    // One cell, from the coefficients of each line.
    [[gnu::always_inline]] static T value(const cubic_basis<T> &basis, const T (&place)[N], const T (&c)[4][lines],
                                          T u)
    {
        const auto line = [&](int l) { return ((c[0][l] * u + c[1][l]) * u + c[2][l]) * u + c[3][l]; };
        if constexpr (N == 1)
            return line(0);
        else {
            const auto plane = [&](int p) {
                return basis.at(place[1], line(4 * p), line(4 * p + 1), line(4 * p + 2), line(4 * p + 3));
            };
            if constexpr (N == 2)
                return plane(0);
            else
                return basis.at(place[N - 1], plane(0), plane(1), plane(2), plane(3));
        }
    }

    void run(long n)
    {
        alignas(64) T column[side][lines], c[4][lines];
        const cubic_basis<T> b = basis;
        T at[N];
        for (int d = 0; d < N; d++)
            at[d] = place[d];
        for (long k = 0; k < s.count; k++) {
            const int32_t c0 = cell[s.start[k]];
            const bool next = k && c0 == plus(cell[s.start[k - 1]], 1);
            if (next)
                __builtin_memmove(column[0], column[1], sizeof column[0] * 3);
            for (int i = next ? 3 : 0; i < side; i++)
                fill(plus(c0, i - 1), column[i]);
            for (int r = 0; r < 4; r++)
                for (int l = 0; l < lines; l++)
                    c[r][l] = basis.coefficient(r, column[0][l], column[1][l], column[2][l], column[3][l]);
            for (long i = s.start[k]; i < s.start[k + 1]; i += lanes<T>) {
                const T *__restrict u = &fraction[i];
                T *__restrict z = &out[i];
                VOKRA_INDEPENDENT
                for (long j = 0; j < lanes<T>; j++)
                    z[j] = value(b, at, c, u[j]);
            }
        }
    }
};

// A place in its cell; of coordinates so large that their cell has no number, 0.
template <typename T> T confined(T f)
{
    return f >= 0 && f <= 1 ? f : 0;
}

constexpr rule spline_rule = VOKRA_RULE(noise_value_cubicspline);

// A fraction that rounded to 1 lies in a segment of its own: such cells are left to the rule.
template <int N, typename T>
bool rows_of(vok_functor_noise_value_cubicspline &x, const T *matrix, long n, const T *first, const T *others,
             T *values)
{
    spline_rows<N, T> o(x.tables, matrix);
    for (int d = 1; d < N; d++) {
        o.rest[d] = floored(others[d - 1]);
        o.place[d] = confined(others[d - 1] - static_cast<T>(o.rest[d]));
        if (o.place[d] == 1)
            return false;
    }
    for (long from = 0; from < n; from += most) {
        const long count = n - from < most ? n - from : most;
        split_block(count, first + from, o.cell, o.fraction);
        int32_t left_over = 0;
        for (long i = 0; i < count; i++) {
            o.fraction[i] = confined(o.fraction[i]);
            left_over |= o.fraction[i] == 1;
        }
        list_spans(o.s, o.cell, count);
        o.run(count);
        spread_block(count, &o.out[0], values + from, x.sign, x.abs);
        for (long i = 0; left_over && i < count; i++)
            if (o.fraction[i] == 1)
                rule_row<T>(&x, 1, N, first + from + i, others, values + from + i, spline_rule);
    }
    return true;
}

template <typename T>
void spline_row(void *object, long n, long dimcount, const T *first, const T *others, T *values)
{
    auto &x = *static_cast<vok_functor_noise_value_cubicspline *>(object);
    const T *matrix;
    if constexpr (sizeof(T) == 4)
        matrix = x.matrix_float32;
    else
        matrix = x.matrix_float64;
    const bool ready = x.tables.permutations && in<T>(x.tables.lattice);
    if (ready && dimcount == 3 && rows_of<3>(x, matrix, n, first, others, values))
        return;
    if (ready && dimcount == 2 && rows_of<2>(x, matrix, n, first, others, values))
        return;
    if (ready && dimcount == 1 && rows_of<1>(x, matrix, n, first, others, values))
        return;
    rule_row(object, n, dimcount, first, others, values, spline_rule);
}

} // namespace

extern const row_forms cell, value_cubicspline;
constinit const row_forms cell = {nullptr, cell_row<float>, cell_row<double>};
constinit const row_forms value_cubicspline = {nullptr, spline_row<float>, spline_row<double>};

} // namespace vok::functor::VOKRA_ISA
