// Rows of voronoi noise with random features and squared distances, in one to three
// dimensions. The features of a lattice cell are listed once and held against vectors of
// cells; a lattice cell that can't better any of a vector's is left out. As distances to a
// lattice cell are never above those to its features, rounded or not, that changes nothing.
#include "functor/vok.functor.noise.records.h"

#ifndef VOKRA_ISA
#error "compiled per instruction set, see cmake/VokraCompile.cmake"
#endif

namespace vok::functor::VOKRA_ISA {
namespace {

#include "functor/vok.functor.bodies.h"

#include "functor/vok.functor.rows.bodies.h"

using noise = vok_functor_noise_voronoi;

constexpr int most_ranks = 8;     // more are left to the rule
constexpr int most_features = 32; // in a lattice cell

template <typename T> struct vectors;
template <> struct vectors<float> {
    typedef float of_values __attribute__((vector_size(64)));
    typedef int32_t of_marks __attribute__((vector_size(64)));
    using mark = int32_t;
};
template <> struct vectors<double> {
    typedef double of_values __attribute__((vector_size(64)));
    typedef int64_t of_marks __attribute__((vector_size(64)));
    using mark = int64_t;
};

// The largest and the least of a vector of numbers that aren't negative: their bits are in
// the same order.
template <typename T> T largest(const T *v)
{
    using bits = typename vectors<T>::mark;
    const bits *b = reinterpret_cast<const bits *>(v);
    bits most_of = b[0];
    for (long j = 1; j < lanes<T>; j++)
        most_of = b[j] > most_of ? b[j] : most_of;
    T value;
    __builtin_memcpy(&value, &most_of, sizeof value);
    return value;
}

template <typename T> T least(const T *v)
{
    using bits = typename vectors<T>::mark;
    const bits *b = reinterpret_cast<const bits *>(v);
    bits least_of = b[0];
    for (long j = 1; j < lanes<T>; j++)
        least_of = b[j] < least_of ? b[j] : least_of;
    T value;
    __builtin_memcpy(&value, &least_of, sizeof value);
    return value;
}

// The features of one lattice cell.
template <int N, typename T> struct listed {
    int32_t column; // that the list was made for
    bool made;
    int count;
    T first[most_features];     // along dimension 0
    T square[most_features][N]; // distances along the others, from 1 on
    int32_t mark[most_features];
};

// A power of the step from one number of a cell's stream to the next.
struct jump {
    uint32_t factor, shift;
};
constexpr jump one_step = {1402024253u, 586950981u};

constexpr uint32_t after(jump j, uint32_t s)
{
    return s * j.factor + j.shift;
}

template <int N, typename T> struct voronoi_row {
    using vec = typename vectors<T>::of_values;
    using marks = typename vectors<T>::of_marks;
    static constexpr int neighbours = N == 3 ? 9 : N == 2 ? 3 : 1; // in the other dimensions
    static constexpr int columns = 4;                              // kept at a time, three in use

    const noise &x;
    const T *const lattice;
    const int32_t *const table;
    const int32_t mask;
    const T density, half;
    const int ranks;
    T p[N]; // from 1 on, as all here
    int32_t home[N];
    T face[N][3]; // squared distance to the cells at offset -1, 0 and 1
    jump to_feature[most_features];

    listed<N, T> cells[columns][neighbours];
    block<T> along, upper, lower; // the coordinates, and squared distances to the cell's faces
    block<int32_t> cell;
    spans s;
    T distance[most_ranks][most + lanes<float>]; // what was found
    int32_t id[most_ranks][most + lanes<float>];

    voronoi_row(const noise &voronoi, const T *values)
        : x(voronoi), lattice(values), table(x.tables.permutations), mask(static_cast<int32_t>(x.tables.mask)),
          density(static_cast<T>(x.density)), half(density * T(0.5)), ranks(static_cast<int>(x.features))
    {
    }

    // A vector of cells on its way round the lattice cells.
    struct alignas(64) looking {
        T at[lanes<T>];
        T nearest[most_ranks][lanes<T>];
        typename vectors<T>::mark mark[most_ranks][lanes<T>];
    };

    // The cell at an offset in dimension 0 and number `which` of the others.
    const listed<N, T> &features(int32_t column, int which)
    {
        listed<N, T> &list = cells[column & (columns - 1)][which];
        if (list.made && list.column == column)
            return list;
        list.made = true;
        list.column = column;
        int32_t at[N], h = column, k = h & mask;
        at[0] = column;
        for (int d = 1, left = which; d < N; d++, left /= 3) {
            at[d] = home[d] + left % 3 - 1;
            h = plus(plus(h, table[k]), at[d]);
            k = h & mask;
        }
        uint32_t start = after(one_step, static_cast<uint32_t>(k));
        const int32_t wanted =
            truncated((2 * density - half) * lattice[static_cast<int32_t>(start) & mask] + half + T(0.5));
        list.count = wanted < 1 ? 1 : wanted < most_features ? wanted : most_features;
        start = after(one_step, start);
        for (int f = 0; f < list.count; f++) {
            uint32_t number = after(to_feature[f], start);
            list.mark[f] = static_cast<int32_t>(number);
            number = after(one_step, number);
            list.first[f] = static_cast<T>(at[0]) + lattice[static_cast<int32_t>(number) & mask];
            for (int d = 1; d < N; d++) {
                number = after(one_step, number);
                const T v = static_cast<T>(at[d]) + lattice[static_cast<int32_t>(number) & mask] - p[d];
                list.square[f][d] = v * v;
            }
            __asm__("" : : "r"(number)); // one by one: a gather instruction takes longer
        }
        return list;
    }

    template <bool single, bool by_id> void compare(const listed<N, T> &list, looking &l) const
    {
        const vec at = *reinterpret_cast<const vec *>(l.at);
        const int count = single ? 1 : ranks;
        vec *nearest = reinterpret_cast<vec *>(l.nearest);
        marks *mark = reinterpret_cast<marks *>(l.mark);
        vec best = nearest[0];
        marks best_mark = mark[0];
        for (int f = 0; f < list.count; f++) {
            const vec v = list.first[f] - at;
            vec d = v * v;
            if constexpr (N > 1)
                d = d + list.square[f][1];
            if constexpr (N > 2)
                d = d + list.square[f][2];
            if constexpr (single) {
                const marks nearer = best > d;
                best = nearer ? d : best;
                if constexpr (by_id)
                    best_mark = nearer ? marks{} + list.mark[f] : best_mark;
                continue;
            }
            marks own = marks{} + list.mark[f], taken = {};
            for (int r = 0; r < count; r++) { // what was there moves on, and pushes the rest
                const vec there = nearest[r];
                taken |= there > d;
                nearest[r] = taken ? d : there;
                d = taken ? there : d;
                if constexpr (by_id) {
                    const marks mark_there = mark[r];
                    mark[r] = taken ? own : mark_there;
                    own = taken ? mark_there : own;
                }
            }
        }
        if constexpr (single) {
            nearest[0] = best;
            mark[0] = best_mark;
        }
    }

    // Finds the nearest features for up to a vector of cells from i on, which lie in
    // `column` of the lattice. Of two at one distance the first counts, so lattice cells come
    // in the order of the rule: home, those that share a face, the rest like a clock.
    template <bool single, bool by_id> void look_round(int32_t column, long i, long valid)
    {
        looking l;
        alignas(64) T above[lanes<T>], below[lanes<T>];
        for (long j = 0; j < lanes<T>; j++) {
            const long from = i + (j < valid ? j : valid - 1);
            l.at[j] = along[from];
            above[j] = upper[from];
            below[j] = lower[from];
        }
        for (int r = 0; r < ranks; r++)
            for (long j = 0; j < lanes<T>; j++) {
                l.nearest[r][j] = T(99999999.0);
                l.mark[r][j] = -1;
            }
        const T beside[3] = {least(below), 0, least(above)};
        T far = T(99999999.0);
        const auto visit = [&](int o0, int which) {
            T bound = beside[o0 + 1];
            for (int d = 1, left = which; d < N; d++, left /= 3)
                bound = bound + face[d][left % 3];
            if (!(bound < far))
                return;
            compare<single, by_id>(features(plus(column, o0), which), l);
            far = largest(l.nearest[single ? 0 : ranks - 1]);
        };
        constexpr int middle = neighbours / 2;
        visit(0, middle);
        visit(1, middle);
        visit(-1, middle);
        for (int d = 1, place = 1; d < N; d++, place *= 3) {
            visit(0, middle + place);
            visit(0, middle - place);
        }
        for (int which = 0; which < neighbours; which++) {
            int away = 0;
            for (int d = 1, left = which; d < N; d++, left /= 3)
                away += left % 3 != 1;
            for (int o0 = -1; o0 <= 1; o0++)
                if (away + (o0 != 0) > 1)
                    visit(o0, which);
        }
        for (int r = 0; r < ranks; r++)
            for (long j = 0; j < lanes<T>; j++) {
                distance[r][i + j] = l.nearest[r][j];
                id[r][i + j] = static_cast<int32_t>(l.mark[r][j]);
            }
    }

    template <bool single, bool by_id> void find()
    {
        for (long k = 0; k < s.count; k++)
            for (long i = s.start[k], end = s.start[k + 1]; i < end; i += lanes<T>)
                look_round<single, by_id>(cell[s.start[k]], i, end - i < lanes<T> ? end - i : lanes<T>);
    }

    // The ranks as the rule combines them.
    void combine(long n, T *values)
    {
        block<T> sum;
        for (long i = 0; i < n; i++)
            sum[i] = x.multiplies ? 1 : 0;
        for (int r = 0; r < ranks; r++) {
            const T weight = x.weight ? static_cast<T>(x.weight[r]) : 1,
                    exp = x.exp ? static_cast<T>(x.exp[r]) : 1;
            T *d = distance[r];
            if (exp == 0) {
                for (long i = 0; i < n; i++)
                    sum[i] += x.multiplies ? 0 : 1;
                continue;
            }
            if (x.by_id)
                for (long i = 0; i < n; i++) {
                    d[i] = lattice[id[r][i] & mask];
                    __asm__("" : : "r"(i) : "memory"); // one by one, as above
                }
            else if (x.postsqrt)
                for (long i = 0; i < n; i++)
                    d[i] = root(d[i]);
            if (exp != 1)
                for (long i = 0; i < n; i++)
                    d[i] = power(d[i], exp);
            if (x.multiplies)
                for (long i = 0; i < n; i++)
                    sum[i] = sum[i] * (weight * d[i]);
            else
                for (long i = 0; i < n; i++)
                    sum[i] = sum[i] + weight * d[i];
        }
        spread_block(n, &sum[0], values, x.sign, x.abs);
    }
    static float root(float v) { return __builtin_sqrtf(v); }
    static double root(double v) { return __builtin_sqrt(v); }
    static float power(float v, float e) { return __builtin_powf(v, e); }
    static double power(double v, double e) { return __builtin_pow(v, e); }

    // False when a coordinate lies where squared distances to the faces are no bound.
    bool locate(long n, const T *first)
    {
        int32_t outside = 0;
        VOKRA_INDEPENDENT
        for (long i = 0; i < n; i++) {
            const T at = first[i] + T(100000);
            outside |= !within_bounds(at);
            const int32_t c = floored(at);
            const T f = at - static_cast<T>(c);
            along[i] = at;
            cell[i] = c;
            upper[i] = (1 - f) * (1 - f);
            lower[i] = f * f;
        }
        if (outside)
            return false;
        for (long i = 1; i < n; i++)
            s.changed[i] = cell[i] != cell[i - 1];
        s.list(n);
        return true;
    }
    // Whole numbers and their neighbours have exact values there.
    static bool within_bounds(T at) { return (at >= 0) & (at < T(sizeof(T) == 4 ? 1 << 23 : 1 << 30)); }

    // What is the same along the row; false as above.
    bool start(const T *others)
    {
        jump to = {1, 0};
        for (jump &j : to_feature) {
            j = to;
            for (int step = 0; step <= N; step++)
                to = {to.factor * one_step.factor, after(one_step, to.shift)};
        }
        for (auto &column : cells)
            for (auto &list : column)
                list.made = false;
        for (int d = 1; d < N; d++) {
            p[d] = others[d - 1] + T(100000);
            if (!within_bounds(p[d]))
                return false;
            home[d] = floored(p[d]);
            const T f = p[d] - static_cast<T>(home[d]);
            face[d][0] = f * f;
            face[d][1] = 0;
            face[d][2] = (1 - f) * (1 - f);
        }
        return true;
    }
};

constexpr rule voronoi_rule = VOKRA_RULE(noise_voronoi);

template <int N, typename T>
void rows_of(noise &x, const T *lattice, long n, const T *first, const T *others, T *values)
{
    voronoi_row<N, T> o(x, lattice);
    const bool suits = o.start(others);
    for (long from = 0; from < n; from += most) {
        const long count = n - from < most ? n - from : most;
        if (!suits || !o.locate(count, first + from)) {
            rule_row<T>(&x, count, N, first + from, others, values + from, voronoi_rule);
            continue;
        }
        if (o.ranks == 1 && !x.by_id)
            o.template find<true, false>();
        else if (o.ranks == 1)
            o.template find<true, true>();
        else if (!x.by_id)
            o.template find<false, false>();
        else
            o.template find<false, true>();
        o.combine(count, values + from);
    }
}

template <typename T> void row(void *object, long n, long dimcount, const T *first, const T *others, T *values)
{
    auto &x = *static_cast<noise *>(object);
    const T *lattice = in<T>(x.tables.lattice);
    // its rules in all formats go together
    const bool squared = x.held.object && x.held.interface &&
                         x.held.interface->evalfloat64 == vok_functor_distance_euclidean_squared_eval_float64;
    const bool suits = squared && lattice && x.tables.permutations && x.placing == noise::placement::random &&
                       x.features <= most_ranks && x.density >= 0 && 2 * x.density + 1 <= most_features;
    if (suits && dimcount == 3)
        rows_of<3>(x, lattice, n, first, others, values);
    else if (suits && dimcount == 2)
        rows_of<2>(x, lattice, n, first, others, values);
    else if (suits && dimcount == 1)
        rows_of<1>(x, lattice, n, first, others, values);
    else
        rule_row<T>(object, n, dimcount, first, others, values, voronoi_rule);
}

} // namespace

extern const row_forms voronoi;
constinit const row_forms voronoi = {nullptr, row<float>, row<double>};

} // namespace vok::functor::VOKRA_ISA
