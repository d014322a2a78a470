// Gradient noise: a direction at every lattice point, the products of directions and
// offsets blended along a curve.
#include "functor/vok.functor.noise.records.h"

#include <algorithm>
#include <numbers>

using namespace vok::functor;

namespace {

// A direction on the sphere for up to three dimensions; beyond, components from -1 to 1.
// All draws are made in every case: the next row counts on it.
void make_direction(double *row, long index, long n, long tablesize)
{
    if (n >= 1 && n <= 3) {
        const double z = 1 - 2 * draw(tablesize);
        const double radius = std::sqrt(std::max(0.0, 1 - z * z));
        const double angle = draw(tablesize) * (2 * std::numbers::pi);
        row[0] = std::cos(angle) * radius;
        row[1] = std::sin(angle) * radius;
        row[2] = z;
        return;
    }
    double length = 0;
    for (long i = 0; i < n; i++) {
        row[i] = 1 - 2 * draw(tablesize);
        length += row[i] * row[i];
    }
    // The first n rows are scaled by one component each, the row's own; the others, which
    // have none, to length 1.
    const double sum = index < n ? static_cast<double>(n) * (row[index] * row[index]) : length;
    const double scale = sum > 0 ? 1 / std::sqrt(sum) : 1;
    for (long i = 0; i < n; i++)
        row[i] *= scale;
}

} // namespace

void vok_functor_noise_gradient::init()
{
    tables.init(1024);
    filter = gensym("cubic");
    make_filter();
}

void vok_functor_noise_gradient::release()
{
    tables.release();
    directions.release();
    clear(curve);
}

vok_err vok_functor_noise_gradient::rebuild()
{
    directions.release();
    return tables.build();
}

vok_err vok_functor_noise_gradient::make_filter()
{
    return vok_functor_noise_gradient_evaluator_init(&curve, filter);
}

bool vok_functor_noise_gradient::ready(long n)
{
    if (!tables.ready())
        return false;
    if (directions.made_for(n))
        return true;
    if (!directions.allocate(tables.tablesize, n, n))
        return false;
    vok_rand_setseed(tables.seed);
    double row[max_dimensions];
    for (long i = 0; i < tables.tablesize; i++) {
        make_direction(row, i, n, tables.tablesize);
        directions.store(i, row, n);
    }
    return true;
}

template <typename T> T vok_functor_noise_gradient::eval(long n, const T *x)
{
    n = within(n);
    if (!valid(curve) || lattice_walk::points(n, 2) > max_lattice_points || !ready(n))
        return 0;
    const coordinates<T> at = split(n, x);
    T weight[max_dimensions], offset[max_dimensions], folded[max_dimensions];
    for (long i = 0; i < n; i++)
        weight[i] = eval_of<T>(curve.interface)(curve.object, 1, &at.fraction[i]);
    lattice_walk corner(n, 0, 1);
    for (;;) {
        for (long i = 0; i < n; i++)
            if constexpr (std::is_same_v<T, fixed>)
                offset[i] = minus(at.fraction[i], corner.offset[i] << 16);
            else
                offset[i] = at.fraction[i] - static_cast<T>(corner.offset[i]);
        const T *row = directions.row<T>(tables.hash<T>(n, at.cell, corner.offset));
        T v = 0;
        for (long i = 0; i < n; i++)
            if constexpr (std::is_same_v<T, fixed>)
                v = plus(v, times(row[i] >> 8, offset[i] >> 8));
            else
                v = i ? v + row[i] * offset[i] : row[i] * offset[i];
        // fold as long as this corner is the upper one of its pair
        long i = 0;
        for (; i < n && corner.offset[i]; i++)
            if constexpr (std::is_same_v<T, fixed>)
                v = plus(times(minus(v, folded[i]), weight[i]) >> 16, folded[i]);
            else
                v = folded[i] + (v - folded[i]) * weight[i];
        if (i == n)
            return narrowed(*this, v);
        folded[i] = v;
        corner.next();
    }
}

VOKRA_FUNCTOR_ROWS(gradient)

namespace vok::functor {

template <> constexpr const class_rows *rows_for<vok_functor_noise_gradient> = &gradient_rows;

template <>
constexpr auto attributes<vok_functor_noise_gradient> = std::array{
    VOKRA_NOISE_FLAGS(vok_functor_noise_gradient), VOKRA_NOISE_SEED(vok_functor_noise_gradient),
    VOKRA_NOISE_TABLESIZE(vok_functor_noise_gradient),
    VOKRA_FUNCTOR_SYMBOL(vok_functor_noise_gradient, filter, "Filter", &vok_functor_noise_gradient::make_filter)};

template <>
constexpr auto roles<vok_functor_noise_gradient> =
    std::array{role<vok_functor_noise_gradient>{"filter", &vok_functor_noise_gradient::curve}};

} // namespace vok::functor

VOKRA_FUNCTOR(noise, gradient, "gradient")
