// The amplitudes and the rotations of a fractal's octaves.
#include <utility>

#include "functor/vok.functor.noise.h"

using namespace vok::functor;

namespace {

constexpr double most_octaves = 1 << 24;
constexpr double angle_shift = 0.0015707963267948967;

template <typename T> T **make_rows(long rows, long columns)
{
    auto **row = static_cast<T **>(sysmem_newptrclear(rows * static_cast<long>(sizeof(T *))));
    for (long i = 0; row && i < rows; i++)
        if (!(row[i] = static_cast<T *>(sysmem_newptrclear(columns * static_cast<long>(sizeof(T)))))) {
            while (i > 0)
                sysmem_freeptr(row[--i]);
            sysmem_freeptr(row);
            return nullptr;
        }
    return row;
}

template <typename T> void free_rows(T **&rows, long count)
{
    for (long i = 0; rows && i < count; i++)
        sysmem_freeptr(rows[i]);
    sysmem_freeptr(std::exchange(rows, nullptr));
}

bool is_octave_count(double detail)
{
    return detail >= 0 && detail < most_octaves;
}

} // namespace

vok_err vok_functor_fractal_exponents_init(vok_functor_combined_dynarray *array, double detail, double roughness,
                                           double lacunarity)
{
    if (!is_octave_count(detail)) {
        vok_functor_combined_dynarray_destroy(array);
        return VOK_ERR_INVP;
    }
    const long count = detail < 1 ? 2 : static_cast<long>(detail) + 1; // some rules always take a second
    if (const vok_err err = vok_functor_combined_dynarray_init(array, count))
        return err;
    double frequency = 1;
    for (long i = 0; i < count; i++) {
        const double amplitude = std::pow(frequency, -(1 - roughness));
        array->fixed[i] = to_fixed(amplitude);
        array->float32[i] = static_cast<float>(amplitude);
        array->float64[i] = amplitude;
        frequency *= lacunarity;
    }
    return VOK_ERR_NONE;
}

// The matrix from angles, row-major: row 0 is a walk of cosines, the triangle below the
// diagonal the sines, and above it there is nothing.
vok_err vok::functor::rotation_from_angles(vok_functor_fractal_rotation_matrix *matrix, long n,
                                           const double *angles)
{
    const long side = n < 1 ? 1 : n;
    matrix->fixed = make_rows<int32_t>(side, side);
    matrix->float32 = make_rows<float>(side, side);
    matrix->float64 = make_rows<double>(side, side);
    matrix->rows = matrix->columns = static_cast<int32_t>(side);
    if (!matrix->fixed || !matrix->float32 || !matrix->float64) {
        vok_functor_fractal_rotation_matrix_destroy(matrix);
        return VOK_ERR_INVP;
    }
    double **m = matrix->float64;
    const auto angle = [=](long i) { return angles[i] + angle_shift; };
    double c = 1;
    for (long k = n - 2; k >= 0; k--) {
        m[0][k + 1] = -c * std::sin(angle(k));
        c = c * std::cos(angle(k));
    }
    m[0][0] = c;
    for (long j = 0; j < n - 1; j++) {
        m[j + 1][j + 1] = std::cos(angle(j));
        double d = j == 0 ? 1 : -std::sin(angle(j - 1));
        for (long i = j; i < n - 1; i++) {
            m[i + 1][j] = std::sin(angle(i)) * d;
            d = d * std::cos(angle(i));
        }
    }
    for (long i = 0; i < side; i++)
        for (long j = 0; j < side; j++) {
            matrix->fixed[i][j] = to_fixed(m[i][j]);
            matrix->float32[i][j] = static_cast<float>(m[i][j]);
        }
    return VOK_ERR_NONE;
}

vok_err vok_functor_fractal_rotation_matrix_init(vok_functor_fractal_rotation_matrix *matrix, long dimensions,
                                                 long seed)
{
    if (!matrix)
        return VOK_ERR_INVP;
    *matrix = {};
    if (dimensions > max_dimensions)
        return VOK_ERR_INVP;
    double angles[max_dimensions];
    vok_rand_setseed(seed);
    for (long i = 0; i < dimensions; i++)
        angles[i] = static_cast<double>(vok_rand() % 65535) / 65535.0;
    return rotation_from_angles(matrix, dimensions, angles);
}

vok_err vok_functor_fractal_rotation_matrix_destroy(vok_functor_fractal_rotation_matrix *matrix)
{
    if (!matrix)
        return VOK_ERR_INVP;
    free_rows(matrix->fixed, matrix->rows);
    free_rows(matrix->float32, matrix->rows);
    free_rows(matrix->float64, matrix->rows);
    *matrix = {};
    return VOK_ERR_NONE;
}

vok_err vok_functor_fractal_rotations_init(vok_functor_fractal_rotations *list, long dimensions, long seed,
                                           double detail)
{
    if (vok_functor_fractal_rotations_destroy(list) || !is_octave_count(detail))
        return VOK_ERR_INVP;
    const long count = static_cast<long>(detail);
    if (count == 0)
        return VOK_ERR_NONE;
    using matrix = vok_functor_fractal_rotation_matrix;
    list->matrices = static_cast<matrix *>(sysmem_newptrclear(count * static_cast<long>(sizeof(matrix))));
    if (!list->matrices)
        return VOK_ERR_INVP;
    for (; list->count < count; list->count++)
        if (vok_functor_fractal_rotation_matrix_init(list->matrices + list->count, dimensions, seed)) {
            vok_functor_fractal_rotations_destroy(list);
            return VOK_ERR_INVP;
        }
    return VOK_ERR_NONE;
}

vok_err vok_functor_fractal_rotations_destroy(vok_functor_fractal_rotations *list)
{
    if (!list)
        return VOK_ERR_INVP;
    for (long i = 0; i < list->count; i++)
        vok_functor_fractal_rotation_matrix_destroy(list->matrices + i);
    sysmem_freeptr(list->matrices);
    *list = {};
    return VOK_ERR_NONE;
}
