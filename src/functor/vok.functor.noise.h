// What the noises share: tables made from a seed, the hash of a lattice cell, the
// attributes over them, and the walk over lattice points in any number of dimensions.
#pragma once
#include <vokra/functor_noise.h>
#include <vokra/numerics.h>

#include "functor/functor.h"

namespace vok::functor {

// Coordinates that a noise looks at; more are left out.
constexpr long max_dimensions = 32;
// A noise that would have to visit more lattice points for one value gives 0: their number
// grows as a power of the dimensions, and 4 to the 32nd never ends.
constexpr long max_lattice_points = 1L << 21;
// Beyond, there is no memory for the tables.
constexpr long max_tablesize = 1L << 24;

template <typename T> struct coordinates {
    int32_t cell[max_dimensions];
    T fraction[max_dimensions];
};

// The lattice cell of a coordinate, and what is left of it. In fixed format the cell's
// number stays in the upper half of the word.
template <typename T> int32_t cell_of(T x)
{
    if constexpr (std::is_same_v<T, fixed>)
        return x & ~0xFFFF;
    else
        return floored(x);
}

template <typename T> T fraction_of(T x, int32_t cell)
{
    if constexpr (std::is_same_v<T, fixed>)
        return x & 0xFFFF;
    else
        return x - static_cast<T>(cell);
}

template <typename T> coordinates<T> split(long n, const T *x)
{
    coordinates<T> at;
    for (long i = 0; i < n; i++) {
        at.cell[i] = cell_of(x[i]);
        at.fraction[i] = fraction_of(x[i], at.cell[i]);
    }
    return at;
}

// The hash of the cell whose numbers `cell(i)` gives.
template <typename Cell> int32_t hashed(long n, Cell cell, const int32_t *table, int32_t mask)
{
    if (n < 1)
        return 0;
    int32_t h = cell(0);
    int32_t k = h & mask;
    for (long i = 1; i < n; i++) {
        h = plus(plus(h, table[k]), cell(i));
        k = h & mask;
    }
    return k;
}

template <typename T> const T *values_of(const vok_functor_noise_lattice &lattice)
{
    if constexpr (std::is_same_v<T, fixed>)
        return lattice.fixed;
    else if constexpr (std::is_same_v<T, float>)
        return lattice.float32;
    else
        return lattice.float64;
}

// The tables of one noise.
struct noise_tables : vok_functor_noise_tables {
    // The size, seed and tables of a new object.
    void init(long size)
    {
        seed = -1138;
        resize(size);
        build();
    }
    void resize(long size)
    {
        tablesize = size;
        mask = size - 1;
    }
    vok_err build();
    void release();
    bool ready() { return (permutations && lattice.fixed && lattice.float32 && lattice.float64) || !build(); }
    int32_t mask32() const { return static_cast<int32_t>(mask); }

    // The hash of the cell at `offset` from `cell`.
    template <typename T> int32_t hash(long n, const int32_t *cell, const int32_t *offset) const
    {
        return hashed(
            n,
            [=](long i) {
                const int32_t c = plus(cell[i], offset[i]);
                return std::is_same_v<T, fixed> ? c & ~0xFFFF : c;
            },
            permutations, mask32());
    }
    int32_t hash(long n, const int32_t *cell) const
    {
        return hashed(
            n, [=](long i) { return cell[i]; }, permutations, mask32());
    }
};

// Rows of directions in the three formats, for one count of dimensions.
struct noise_directions {
    int32_t *fixed;
    float *float32;
    double *float64;
    long dimensions;
    long stride; // components a row; those that nobody stores are 0

    bool made_for(long n) const { return fixed && float32 && float64 && dimensions == n; }
    bool allocate(long rows, long n, long components);
    void release();
    void store(long index, const double *row, long n);
    template <typename T> const T *row(long index) const
    {
        if constexpr (std::is_same_v<T, int32_t>)
            return fixed + index * stride;
        else if constexpr (std::is_same_v<T, float>)
            return float32 + index * stride;
        else
            return float64 + index * stride;
    }
};

// Offsets `low` to `high` in each of n dimensions, dimension 0 fastest.
struct lattice_walk {
    long n;
    int32_t low, high;
    int32_t offset[max_dimensions];

    lattice_walk(long dimensions, int32_t from, int32_t to) : n(dimensions), low(from), high(to)
    {
        for (long i = 0; i < n; i++)
            offset[i] = low;
    }
    // False when the walk is over.
    bool next()
    {
        for (long i = 0; i < n; i++) {
            if (offset[i]++ < high)
                return true;
            offset[i] = low;
        }
        return false;
    }
    // The number of points, or more than max_lattice_points.
    static long points(long dimensions, long side)
    {
        long count = 1;
        for (long i = 0; i < dimensions && count <= max_lattice_points; i++)
            count *= side;
        return count;
    }
};

// The count of coordinates that an evaluation goes by.
inline long within(long n)
{
    return n < 0 ? 0 : n > max_dimensions ? max_dimensions : n;
}

// (vok_rand() modulo n), and that divided by n.
long draw_index(long n);
double draw(long n);

// ---- the flags `sign` and `abs` ----

template <typename T> T magnitude(T v)
{
    if constexpr (std::is_same_v<T, fixed>)
        return v < 1 ? minus(0, v) : v;
    else
        return absolute(v);
}

// A value of 0 to 1, with `sign` spread to -1 to 1.
template <typename T, typename R> T spread(const R &x, T v)
{
    if (x.sign) {
        if constexpr (std::is_same_v<T, fixed>)
            v = minus(times(v >> 8, 512), 65536);
        else
            v = 2 * v - 1;
    }
    return x.abs ? magnitude(v) : v;
}

// A value of -1 to 1, without `sign` brought into 0 to 1.
template <typename T, typename R> T narrowed(const R &x, T v)
{
    if (!x.sign) {
        if constexpr (std::is_same_v<T, fixed>)
            v = plus(times(v >> 8, 128), 32768);
        else
            v = v * T(0.5) + T(0.5);
    }
    return x.abs ? magnitude(v) : v;
}

// ---- rotations ----

template <typename T> const T *const *rows_of(const vok_functor_fractal_rotation_matrix &matrix)
{
    if constexpr (std::is_same_v<T, fixed>)
        return matrix.fixed;
    else if constexpr (std::is_same_v<T, float>)
        return matrix.float32;
    else
        return matrix.float64;
}

// to = R * from, as far as the matrix has rows.
template <typename T> void rotate(const vok_functor_fractal_rotation_matrix &matrix, long n, const T *from, T *to)
{
    const T *const *rows = rows_of<T>(matrix);
    for (long i = 0; i < n; i++) {
        to[i] = from[i];
        if (i >= matrix.rows)
            continue;
        T sum = 0;
        for (long j = 0; j < n && j < matrix.columns; j++)
            sum = plus(sum, product(rows[i][j], from[j]));
        to[i] = sum;
    }
}

// The matrix of vok_functor_fractal_rotation_matrix_init from n given angles; the record
// holds nothing yet.
vok_err rotation_from_angles(vok_functor_fractal_rotation_matrix *matrix, long n, const double *angles);

// ---- attributes ----

// A class that has more to make anew than its tables brings a rebuild() of its own.
template <typename R> vok_err rebuild(R *x)
{
    if constexpr (requires { x->rebuild(); })
        return x->rebuild();
    else
        return x->tables.build();
}

template <typename R> vok_err set_seed(R *x, void *, long argc, atom *argv)
{
    if (!x || argc < 1 || !argv)
        return VOK_ERR_INVP;
    const long seed = atom_getlong(argv);
    if (seed == x->tables.seed)
        return VOK_ERR_NONE;
    x->tables.seed = seed;
    return rebuild(x);
}

template <typename R, long factor = 1> vok_err set_tablesize(R *x, void *, long argc, atom *argv)
{
    if (!x || argc < 1 || !argv)
        return VOK_ERR_INVP;
    const long wanted = atom_getlong(argv);
    if (wanted < 1)
        return VOK_ERR_NONE;
    if (wanted > max_tablesize)
        return VOK_ERR_INVP; // there is no memory for it
    const long size = vok_math_roundup_poweroftwo(wanted) * factor;
    if (size == x->tables.tablesize)
        return VOK_ERR_NONE;
    x->tables.resize(size);
    return rebuild(x);
}

#define VOKRA_NOISE_FLAGS(R)                                                                                      \
    VOKRA_FUNCTOR_FLAG(R, abs, "Absolute", nullptr), VOKRA_FUNCTOR_FLAG(R, sign, "Signed", nullptr)
#define VOKRA_NOISE_SEED(R)                                                                                       \
    vok::functor::number("seed", "long", offsetof(R, tables.seed), vok::fn<vok::functor::set_seed<R>>, "Seed")
#define VOKRA_NOISE_TABLESIZE(R, ...)                                                                             \
    vok::functor::number("tablesize", "long", offsetof(R, tables.tablesize),                                      \
                         vok::fn<vok::functor::set_tablesize<R __VA_OPT__(, ) __VA_ARGS__>>, "Table Size")

// ---- held functors ----

// Tells a held functor whether to answer with its signed form. The code of an attribute
// that isn't there.
vok_err send_sign(const vok_functor_wrapper &held, long sign);

} // namespace vok::functor
