// Values of the lattice points round a coordinate, four along each dimension, joined by
// cubic splines one dimension after the other.
#include "functor/vok.functor.noise.records.h"

using namespace vok::functor;

namespace {

constexpr long side = 4;

double spline(double x, long step, const double *knots, const double *matrix)
{
    return vok_cubicspline_general_eval_float64(x, step, side, knots, matrix);
}

float spline(float x, long step, const float *knots, const float *matrix)
{
    return vok_cubicspline_general_eval_float32(x, step, side, knots, matrix);
}

fixed spline(fixed x, long step, const fixed *knots, const fixed *matrix)
{
    return vok_cubicspline_general_eval_fixed(x, step, side, knots, matrix);
}

} // namespace

void vok_functor_noise_value_cubicspline::init()
{
    tables.init(1024);
    basis = gensym("catmullrom");
    fill_basis();
}

// A name that is no basis leaves the matrices as they were.
void vok_functor_noise_value_cubicspline::fill_basis()
{
    vok_cubicspline_fillbasis_fixed(basis, matrix_fixed, &step);
    vok_cubicspline_fillbasis_float32(basis, matrix_float32, &step);
    vok_cubicspline_fillbasis_float64(basis, matrix_float64, &step);
}

template <typename T> T vok_functor_noise_value_cubicspline::eval(long n, const T *x)
{
    n = within(n);
    if (lattice_walk::points(n, side) > max_lattice_points || !tables.ready())
        return 0;
    coordinates<T> at = split(n, x);
    if constexpr (!std::is_same_v<T, fixed>)
        for (long i = 0; i < n; i++) // coordinates so large that their cell has no number
            if (!(at.fraction[i] >= 0 && at.fraction[i] <= 1))
                at.fraction[i] = 0;
    const T *matrix;
    if constexpr (std::is_same_v<T, fixed>)
        matrix = matrix_fixed;
    else if constexpr (std::is_same_v<T, float>)
        matrix = matrix_float32;
    else
        matrix = matrix_float64;
    const T *lattice = values_of<T>(tables.lattice);
    // A fraction can round to 1, where the spline reads knots of the next segment: zeros.
    T knots[max_dimensions][2 * side] = {};
    lattice_walk point(n, -1, 2);
    for (;;) {
        T v = lattice[tables.hash<T>(n, at.cell, point.offset)];
        long i = 0;
        for (; i < n; i++) {
            knots[i][point.offset[i] + 1] = v;
            if (point.offset[i] < 2)
                break;
            v = spline(at.fraction[i], step, knots[i], matrix);
        }
        if (i == n)
            return spread(*this, v);
        point.next();
    }
}

VOKRA_FUNCTOR_ROWS(value_cubicspline)

namespace vok::functor {

template <> constexpr const class_rows *rows_for<vok_functor_noise_value_cubicspline> = &value_cubicspline_rows;

template <>
constexpr auto attributes<vok_functor_noise_value_cubicspline> =
    std::array{VOKRA_NOISE_FLAGS(vok_functor_noise_value_cubicspline),
               VOKRA_NOISE_SEED(vok_functor_noise_value_cubicspline),
               VOKRA_NOISE_TABLESIZE(vok_functor_noise_value_cubicspline),
               VOKRA_FUNCTOR_SYMBOL(vok_functor_noise_value_cubicspline, basis, "Basis",
                                    &vok_functor_noise_value_cubicspline::fill_basis)};

} // namespace vok::functor

VOKRA_FUNCTOR(noise, value_cubicspline, "value.cubicspline")
