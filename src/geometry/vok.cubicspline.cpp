// Cubic spline bases and the evaluation of a spline over a row of knots, in float64,
// float32 and fixed point with 16 fractional bits.
#include <vokra/numerics.h>

#include <iterator>

#include <zan/symbols.h>

const double g_cubicspline_basismatrix_bezier[16] = {-1, 3, -3, 1, 3, -6, 3, 0, -3, 3, 0, 0, 1, 0, 0, 0};
const double g_cubicspline_basismatrix_bspline[16] = {-1.0 / 6, 1.0 / 2, -1.0 / 2, 1.0 / 6, 1.0 / 2, -1,
                                                      1.0 / 2,  0,       -1.0 / 2, 0,       1.0 / 2, 0,
                                                      1.0 / 6,  2.0 / 3, 1.0 / 6,  0};
const double g_cubicspline_basismatrix_catmullrom[16] = {
    -1.0 / 2, 3.0 / 2, -3.0 / 2, 1.0 / 2, 1, -5.0 / 2, 2, -1.0 / 2, -1.0 / 2, 0, 1.0 / 2, 0, 0, 1, 0, 0};
const double g_cubicspline_basismatrix_hermite[16] = {2, -2, 1, 1, -3, 3, -2, -1, 0, 0, 1, 0, 1, 0, 0, 0};
const double g_cubicspline_basismatrix_power[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

namespace {

struct basis {
    const char *name;
    const double *matrix;
    long step; // knots from one segment to the next
};

constexpr basis bases[] = {
    {"bezier", g_cubicspline_basismatrix_bezier, 3},         {"bspline", g_cubicspline_basismatrix_bspline, 1},
    {"catmullrom", g_cubicspline_basismatrix_catmullrom, 1}, {"hermite", g_cubicspline_basismatrix_hermite, 2},
    {"power", g_cubicspline_basismatrix_power, 4},
};

struct basis_names {
    symbol *name[std::size(bases)];
};

const basis_names &names()
{
    static const basis_names all = [] {
        basis_names made;
        for (size_t i = 0; i < std::size(bases); i++)
            made.name[i] = gensym(bases[i].name);
        return made;
    }();
    return all;
}

template <typename T> T converted(double value)
{
    return static_cast<T>(value);
}

template <> int32_t converted<int32_t>(double value)
{
    return static_cast<int32_t>(value * 65536.0);
}

template <typename T> long fill(symbol *name, T *matrix, long *step)
{
    const basis_names &known = names();
    if (!name || !matrix || !step)
        return VOK_ERR_EROR;
    for (size_t i = 0; i < std::size(bases); i++) {
        if (known.name[i] != name)
            continue;
        for (int j = 0; j < 16; j++)
            matrix[j] = converted<T>(bases[i].matrix[j]);
        *step = bases[i].step;
        return VOK_ERR_NONE;
    }
    return VOK_ERR_EROR;
}

// The place on the spline: t counts segments, i is the one that it lies in.
template <typename F> struct place {
    F t;
    long i;
    bool valid;

    place(F x, long step, long count, const void *knots, const void *matrix) : t(0), i(0), valid(false)
    {
        if (step <= 0 || count < 1 || !knots || !matrix)
            return;
        const long segments = (count - 4) / step;
        if (segments < 0)
            return;
        t = static_cast<F>(segments + 1) * x;
        constexpr F limit = 2147483648.0f; // beyond, there is no array that the knots could lie in
        valid = t > -limit && t < limit;
        if (valid)
            i = static_cast<long>(t);
    }
};

template <typename F> F evaluate(F x, long step, long count, const F *knots, const F *matrix)
{
    const place<F> at(x, step, count, knots, matrix);
    if (!at.valid)
        return 0;
    const F u = at.t - static_cast<F>(at.i);
    const F *k = knots + step * at.i;
    const auto row = [&](int r) {
        const F *m = matrix + 4 * r;
        return m[0] * k[0] + m[1] * k[1] + m[2] * k[2] + m[3] * k[3];
    };
    return ((row(0) * u + row(1)) * u + row(2)) * u + row(3);
}

} // namespace

void vok_cubicspline_init(void)
{
    names();
}

long vok_cubicspline_fillbasis_fixed(symbol *name, int32_t *matrix, long *step)
{
    return fill(name, matrix, step);
}

long vok_cubicspline_fillbasis_float32(symbol *name, float *matrix, long *step)
{
    return fill(name, matrix, step);
}

long vok_cubicspline_fillbasis_float64(symbol *name, double *matrix, long *step)
{
    return fill(name, matrix, step);
}

double vok_cubicspline_general_eval_float64(double x, long step, long count, const double *knots,
                                            const double *basis_matrix)
{
    return evaluate(x, step, count, knots, basis_matrix);
}

float vok_cubicspline_general_eval_float32(float x, long step, long count, const float *knots,
                                           const float *basis_matrix)
{
    return evaluate(x, step, count, knots, basis_matrix);
}

int32_t vok_cubicspline_general_eval_fixed(int32_t x, long step, long count, const int32_t *knots,
                                           const int32_t *basis_matrix)
{
    const place<double> at(x / 65536.0, step, count, knots, basis_matrix);
    if (!at.valid)
        return 0;
    const long u = x >> 8; // the coordinate itself, its whole part included: deliberate
    const int32_t *k = knots + step * at.i;
    const auto row = [&](int r) {
        long sum = 0;
        for (int c = 0; c < 4; c++)
            sum += (static_cast<long>(k[c] >> 8) * basis_matrix[4 * r + c]) >> 8;
        return sum;
    };
    // 128 bits: row sums times the largest coordinates don't fit in 64
    const auto times_u = [&](__int128 value) { return (value * u) >> 8; };
    return static_cast<int32_t>(times_u(times_u(times_u(row(0)) + row(1)) + row(2)) + row(3));
}
