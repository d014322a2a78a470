// Simplex noise: directions at the corners of a skewed grid, for up to four coordinates.
#include "functor/vok.functor.noise.records.h"

using namespace vok::functor;

namespace {

// The edges of a cube, for up to three dimensions, and of its kin in four.
constexpr int8_t edges_3[12][3] = {{0, 1, 1},  {0, 1, -1},  {0, -1, 1}, {0, -1, -1}, {1, 0, 1},  {1, 0, -1},
                                   {-1, 0, 1}, {-1, 0, -1}, {1, 1, 0},  {1, -1, 0},  {-1, 1, 0}, {-1, -1, 0}};
constexpr int8_t edges_4[32][4] = {
    {0, 1, 1, 1},   {0, 1, 1, -1},   {0, 1, -1, 1},  {0, 1, -1, -1},  {0, -1, 1, 1},  {0, -1, 1, -1},
    {0, -1, -1, 1}, {0, -1, -1, -1}, {1, 0, 1, 1},   {1, 0, 1, -1},   {1, 0, -1, 1},  {1, 0, -1, -1},
    {-1, 0, 1, 1},  {-1, 0, 1, -1},  {-1, 0, -1, 1}, {-1, 0, -1, -1}, {1, 1, 0, 1},   {1, 1, 0, -1},
    {1, -1, 0, 1},  {1, -1, 0, -1},  {-1, 1, 0, 1},  {-1, 1, 0, -1},  {-1, -1, 0, 1}, {-1, -1, 0, -1},
    {1, 1, 1, 0},   {1, 1, -1, 0},   {1, -1, 1, 0},  {1, -1, -1, 0},  {-1, 1, 1, 0},  {-1, 1, -1, 0},
    {-1, -1, 1, 0}, {-1, -1, -1, 0}};

// The noise at N coordinates. The corners of a simplex go from its first one along the
// axes in falling order of the coordinates.
template <int N, typename T> T value_at(const vok_functor_noise_simplex &x, const T *values)
{
    constexpr T radius = N == 2 ? T(0.5) : T(0.6);
    constexpr T scale = N == 2 ? 70 : N == 3 ? 32 : 27;
    constexpr int32_t rows = N == 4 ? 32 : 12;
    const T skew = x.skew.as<T>(), unskew = x.unskew.as<T>();

    T s = values[0] + values[1];
    for (int i = 2; i < N; i++)
        s += values[i];
    s *= skew;
    int32_t cell[N], total = 0;
    for (int i = 0; i < N; i++) {
        cell[i] = floored(values[i] + s);
        total = plus(total, cell[i]);
    }
    const T t = static_cast<T>(total) * unskew;
    T from[N]; // the first corner to the coordinates
    for (int i = 0; i < N; i++)
        from[i] = values[i] - (static_cast<T>(cell[i]) - t);
    int rank[N] = {}; // how many axes an axis comes ahead of
    for (int i = 0; i < N; i++)
        for (int j = i + 1; j < N; j++)
            from[i] > from[j] ? rank[i]++ : rank[j]++;

    const int32_t *table = x.tables.permutations, mask = x.tables.mask32();
    T sum = 0;
    for (int corner = 0; corner <= N; corner++) {
        T d[N], square = 0;
        int32_t k = 0;
        for (int i = N - 1; i >= 0; i--) {
            const int32_t step = rank[i] >= N - corner;
            k = table[plus(plus(k, cell[i]), step) & mask];
            d[i] = corner ? from[i] - static_cast<T>(step) + static_cast<T>(corner) * unskew : from[i];
        }
        const T *row = x.directions.row<T>(k % rows);
        T product = row[0] * d[0];
        square = d[0] * d[0];
        for (int i = 1; i < N; i++) {
            product += row[i] * d[i];
            square += d[i] * d[i];
        }
        T q = radius - square;
        if (q < 0)
            continue;
        q *= q;
        sum += q * q * product;
    }
    return scale * sum;
}

} // namespace

void vok_functor_noise_simplex::init()
{
    tables.init(2048);
}

void vok_functor_noise_simplex::release()
{
    tables.release();
    directions.release();
}

bool vok_functor_noise_simplex::ready(long n)
{
    if (!tables.ready())
        return false;
    if (directions.made_for(n))
        return true;
    if (!directions.allocate(n == 4 ? 32 : 12, n, n == 1 ? 2 : n))
        return false;
    vok_rand_setseed(tables.seed); // and nothing is drawn: deliberate
    for (int i = 0; i < (n == 4 ? 32 : 12); i++) {
        double row[4];
        for (int j = 0; j < n; j++)
            row[j] = 4 * (n == 4 ? edges_4[i][j] : edges_3[i][j]) - 1; // deliberate, it is how the noise looks
        directions.store(i, row, n);
    }
    const double root = std::sqrt(n == 4 ? 5.0 : 3.0);
    skew.set(n == 4 ? (root - 1) / 4 : n == 3 ? 1.0 / 3 : (root - 1) / 2);
    unskew.set(n == 4 ? (5 - root) / 20 : n == 3 ? 1.0 / 6 : (3 - root) / 6);
    return true;
}

template <typename T> T vok_functor_noise_simplex::eval(long n, const T *x)
{
    if (n > 4) {
        vok_object_post(this, "vok.noise.simplex: input planecount too high -- max is 4");
        return 0;
    }
    if (n < 1)
        return narrowed(*this, T(0));
    if (!ready(n))
        return 0;
    const T pair[2] = {x[0], 0};
    return narrowed(*this, n == 1   ? value_at<2>(*this, pair)
                           : n == 2 ? value_at<2>(*this, x)
                           : n == 3 ? value_at<3>(*this, x)
                                    : value_at<4>(*this, x));
}

#define VOKRA_SIMPLEX(type, T, n)                                                                                 \
    T vok_functor_noise_simplex_eval_##type##_dim##n(void *x, const T *values)                                    \
    {                                                                                                             \
        auto &noise = *static_cast<vok_functor_noise_simplex *>(x);                                               \
        return noise.ready(n) ? value_at<n>(noise, values) : 0;                                                   \
    }
VOKRA_SIMPLEX(float32, float, 2)
VOKRA_SIMPLEX(float32, float, 3)
VOKRA_SIMPLEX(float32, float, 4)
VOKRA_SIMPLEX(float64, double, 2)
VOKRA_SIMPLEX(float64, double, 3)
VOKRA_SIMPLEX(float64, double, 4)
#undef VOKRA_SIMPLEX

VOKRA_FUNCTOR_ROWS(simplex)

namespace vok::functor {

template <> constexpr const class_rows *rows_for<vok_functor_noise_simplex> = &simplex_rows;

template <>
constexpr auto attributes<vok_functor_noise_simplex> =
    std::array{VOKRA_NOISE_FLAGS(vok_functor_noise_simplex), VOKRA_NOISE_SEED(vok_functor_noise_simplex),
               VOKRA_NOISE_TABLESIZE(vok_functor_noise_simplex, 2)};

} // namespace vok::functor

VOKRA_FUNCTOR(noise, simplex, "simplex")
