// Noises against their rules in plain arithmetic, the tables of a seed, and what is odd about each.
#include <numbers>
#include <numeric>

#include "functor/noise_tools.h"

namespace {

class Noise : public Library {};

TEST_F(Noise, a_seed_gives_the_same_tables_for_ever)
{
    int32_t *table = nullptr;
    vok_functor_noise_lattice lattice = {};
    for (const long n : {1L, 1000L, 2048L, 1024L})
        for (const long seed : {1L, 77L, -1138L}) {
            const reference_tables expected(n, seed);
            ASSERT_EQ(vok_functor_noise_permutations_init(&table, n, seed), 0);
            ASSERT_EQ(vok_functor_noise_lattice_init(&lattice, n, seed), 0);
            ASSERT_EQ(std::vector<int32_t>(table, table + n), expected.entry) << n << " " << seed;
            ASSERT_EQ(std::vector<double>(lattice.float64, lattice.float64 + n), expected.value);
            for (long i = 0; i < n; i++) {
                ASSERT_EQ(lattice.float32[i], static_cast<float>(lattice.float64[i]));
                ASSERT_EQ(lattice.fixed[i], fixed_of(lattice.float64[i]));
            }
        }
    const reference_tables t; // the last one made
    const double x[] = {3.75, -2.5, 1e5};
    const float narrow[] = {3.75f, -2.5f, 1e5f};
    for (const long n : {1L, 2L, 3L}) {
        const long k = t.hash(cell_of({x, x + n}));
        EXPECT_EQ(vok_functor_noise_hash_float64_eval(n, x, table, 1023), k);
        EXPECT_EQ(vok_functor_noise_hash_float32_eval(n, narrow, table, 1023), k);
        EXPECT_EQ(vok_functor_noise_lattice_float64_eval(n, x, table, lattice.float64, 1023), lattice.float64[k]);
    }
    EXPECT_EQ(vok_functor_noise_hash_float64_eval(0, x, table, 1023), 0);
    const int32_t a[] = {fixed_of(0.5), fixed_of(7.25)}, b[] = {fixed_of(-100), fixed_of(3)};
    EXPECT_EQ(vok_functor_noise_hash_fixed_eval(2, a, table, 1023),
              vok_functor_noise_hash_fixed_eval(2, b, table, 1023)); // all cells of the fixed format are one
    sysmem_freeptr(lattice.fixed);
    sysmem_freeptr(lattice.float32);
    sysmem_freeptr(lattice.float64);
    EXPECT_EQ(vok_functor_noise_permutations_init(&table, 0, 1), VOK_ERR_INVP);
    EXPECT_EQ(table, nullptr);
    EXPECT_EQ(vok_functor_noise_permutations_init(nullptr, 8, 1), VOK_ERR_INVP);
}

TEST_F(Noise, cells_and_checkers)
{
    const reference_tables t, of5(1024, 5);
    const functor cell("noise.cell"), seeded("noise.cell; seed 5"), spread("noise.cell; sign 1; abs 1"),
        board("noise.checker"), sharp("noise.checker; sign 1"), soft("noise.checker; sign 1; smooth 0.5");
    for (const std::vector<double> &x : places(2, 60)) {
        const std::vector<long long> c = cell_of(x);
        const double v = t.at(c);
        EXPECT_EQ(value_at(cell, x), v);
        EXPECT_EQ(value_at(seeded, x), of5.at(c));
        EXPECT_EQ(value_at(spread, x), std::fabs(2 * v - 1));
        const bool odd = (c[0] ^ c[1]) & 1;
        EXPECT_EQ(value_at(board, x), odd ? 0 : 1);
        EXPECT_EQ(value_at(sharp, x), odd ? -1 : 1);
        double pulse = 1; // the edges are a quarter wide
        for (const double v2 : x) {
            const double f = v2 - std::floor(v2), edge = std::min(std::min(f, 1 - f) / 0.25, 1.0);
            pulse *= edge * edge * (3 - 2 * edge);
        }
        EXPECT_NEAR(value_at(soft, x), (odd ? -pulse : pulse) + 0.5, 1e-12);
    }
    EXPECT_EQ(cell.at(-0.5), t.at({-1}));
    EXPECT_EQ(cell.at(-1.0 - 5e-8), t.at({-1})); // lifted into the cell above
    EXPECT_EQ(cell.raw(fixed_of(3.5), fixed_of(-2)), cell.raw(0, 0));
    EXPECT_EQ(board.raw(fixed_of(1.5)), 65536);
    EXPECT_EQ(sharp.raw(fixed_of(1.5)), 65536);
    EXPECT_EQ(soft.set("smooth 3."), 0); // half of it is above 1: ignored
    EXPECT_EQ(soft.number("smooth"), 0.25);
}

// The directions of gradient noise, row by row.
std::vector<std::vector<double>> directions(size_t n, long size)
{
    numbers_of_seed draw(-1138);
    const auto r = [&] { return static_cast<double>(draw.below(size)) / static_cast<double>(size); };
    std::vector<std::vector<double>> rows;
    for (long row = 0; row < size; row++) {
        std::vector<double> d;
        if (n <= 3) {
            const double z = 1 - 2 * r(), radius = std::sqrt(std::max(0.0, 1 - z * z)),
                         angle = r() * 2 * std::numbers::pi;
            d = {std::cos(angle) * radius, std::sin(angle) * radius, z};
        } else {
            double sum = 0;
            for (size_t i = 0; i < n; i++) {
                d.push_back(1 - 2 * r());
                sum += d[i] * d[i];
            }
            if (static_cast<size_t>(row) < n)
                sum = static_cast<double>(n) * d[static_cast<size_t>(row)] * d[static_cast<size_t>(row)];
            for (double &v : d)
                v *= sum > 0 ? 1 / std::sqrt(sum) : 1;
        }
        rows.push_back(d);
    }
    return rows;
}

TEST_F(Noise, gradients_blend_the_corners)
{
    for (const size_t dims : {1u, 2u, 3u, 4u, 5u}) {
        const long size = dims == 2 ? 64 : 1024;
        const reference_tables t(size);
        const auto rows = directions(dims, size);
        const functor plain("noise.gradient; tablesize " + std::to_string(size - 1)),
            wide("noise.gradient; sign 1; tablesize " + std::to_string(size));
        EXPECT_EQ(plain.number("tablesize"), static_cast<double>(size));
        for (const std::vector<double> &x : places(dims, 50)) {
            // the last dimension outermost: blending inwards
            const std::function<double(size_t, std::vector<long long>)> blended = [&](size_t left,
                                                                                      std::vector<long long> c) {
                if (left == 0) {
                    double dot = 0;
                    for (size_t i = 0; i < dims; i++)
                        dot += rows[static_cast<size_t>(t.hash(c))][i] * (x[i] - static_cast<double>(c[i]));
                    return dot;
                }
                const double f = x[left - 1] - std::floor(x[left - 1]);
                const double low = blended(left - 1, c);
                c[left - 1]++;
                return low + (blended(left - 1, c) - low) * (3 * f * f - 2 * f * f * f);
            };
            const double v = blended(dims, cell_of(x));
            EXPECT_NEAR(value_at(wide, x), v, 1e-12) << dims;
            EXPECT_NEAR(value_at(plain, x), v * 0.5 + 0.5, 1e-12) << dims;
            near_in_float32(plain, x, 1e-4);
        }
        EXPECT_EQ(value_at(wide, std::vector<double>(dims, 3)), 0); // a lattice point
    }
    // the directions are made anew for another count, and again for the first
    const functor f("noise.gradient");
    const double two = f.at(0.3, 0.7), three = f.at(0.3, 0.7, 0.2);
    EXPECT_EQ(f.at(0.3, 0.7), two);
    EXPECT_EQ(f.at(0.3, 0.7, 0.2), three);
    EXPECT_NE(f.set("filter nothing.at.all"), 0);
    EXPECT_EQ(f.at(0.3, 0.7), 0);
}

TEST_F(Noise, splines_join_lattice_values)
{
    const reference_tables t;
    const functor f("noise.value.cubicspline"), wide("noise.value.cubicspline; sign 1");
    const auto spline = [](double u, const double *k) { // catmull-rom, as usually written
        return 0.5 * (2 * k[1] + (k[2] - k[0]) * u + (2 * k[0] - 5 * k[1] + 4 * k[2] - k[3]) * u * u +
                      (3 * k[1] - k[0] - 3 * k[2] + k[3]) * u * u * u);
    };
    for (const std::vector<double> &x : places(2, 60)) {
        const double c0 = std::floor(x[0]), c1 = std::floor(x[1]);
        double across[4], along[4];
        for (int j = 0; j < 4; j++) {
            for (int i = 0; i < 4; i++)
                along[i] = t.at({static_cast<long long>(c0) + i - 1, static_cast<long long>(c1) + j - 1});
            across[j] = spline(x[0] - c0, along);
        }
        const double v = spline(x[1] - c1, across);
        EXPECT_NEAR(value_at(f, x), v, 1e-12);
        EXPECT_NEAR(value_at(wide, x), 2 * v - 1, 1e-12);
        near_in_float32(f, x, 1e-4);
    }
    EXPECT_DOUBLE_EQ(f.at(5.0), t.at({5}));
    EXPECT_TRUE(std::isfinite(f.at32(-1e-10f))); // whose place in the cell rounds to its end
}

std::vector<std::vector<int>> simplex_rows(size_t n)
{
    // all with one component 0 and the others 1 or -1: those with a 0 in front come first
    std::vector<std::vector<int>> rows;
    const size_t width = n == 4 ? 4 : 3;
    for (size_t zero = 0; zero < width; zero++)
        for (int bits = 0; bits < 1 << (width - 1); bits++) {
            std::vector<int> row;
            for (size_t i = 0, bit = width - 1; i < width; i++)
                row.push_back(i == zero ? 0 : bits >> --bit & 1 ? -1 : 1);
            rows.push_back(row);
        }
    return rows;
}

// Directions have `filled` components, and 0 in the others.
double simplex(const reference_tables &t, const std::vector<double> &x, size_t filled = 4)
{
    const auto rows = simplex_rows(x.size());
    const size_t n = x.size();
    const double dims = static_cast<double>(n), root = std::sqrt(dims + 1);
    const double skew = (root - 1) / dims, unskew = (1 - 1 / root) / dims;
    const double sum = std::accumulate(x.begin(), x.end(), 0.0);
    std::vector<double> skewed;
    for (const double v : x)
        skewed.push_back(v + sum * skew);
    const std::vector<long long> c = cell_of(skewed);
    const auto total = static_cast<double>(std::accumulate(c.begin(), c.end(), 0LL));
    std::vector<double> from;
    for (size_t i = 0; i < n; i++)
        from.push_back(x[i] - (static_cast<double>(c[i]) - total * unskew));
    double result = 0;
    for (size_t corner = 0; corner <= n; corner++) {
        std::vector<long long> step; // along the first axes in falling order of `from`
        for (const double v : from)
            step.push_back(std::count_if(from.begin(), from.end(), [v](double w) { return w > v; }) <
                           static_cast<long>(corner));
        long long k = 0;
        double square = 0, dot = 0;
        for (size_t i = n; i-- > 0;)
            k = t[k + c[i] + step[i]];
        const std::vector<int> &row = rows[static_cast<size_t>(k) % rows.size()];
        for (size_t i = 0; i < n; i++) {
            const double d = from[i] - static_cast<double>(step[i]) + static_cast<double>(corner) * unskew;
            square += d * d;
            dot += i < filled ? (4 * row[i] - 1) * d : 0;
        }
        result += square < (n == 2 ? 0.5 : 0.6) ? std::pow((n == 2 ? 0.5 : 0.6) - square, 4) * dot : 0;
    }
    return (n == 2 ? 70 : n == 3 ? 32 : 27) * result;
}

TEST_F(Noise, simplices_sum_their_corners)
{
    const reference_tables t(2048);
    const functor f("noise.simplex"), wide("noise.simplex; sign 1");
    EXPECT_EQ(f.number("tablesize"), 2048);
    for (const size_t dims : {2u, 3u, 4u})
        for (const std::vector<double> &x : places(dims, 80)) {
            const double v = simplex(t, x);
            EXPECT_NEAR(value_at(wide, x), v, 1e-9) << dims;
            EXPECT_NEAR(value_at(f, x), v * 0.5 + 0.5, 1e-9) << dims;
            near_in_float32(f, x, 2e-3);
        }
    const double four[] = {0.1, 0.7, -0.3, 2};
    EXPECT_EQ(vok_functor_noise_simplex_eval_float64_dim4(wide.object, four), wide.at(0.1, 0.7, -0.3, 2));
    // One coordinate goes by the rule of two, with nothing in the directions' second place.
    for (const std::vector<double> &x : places(1, 20))
        EXPECT_NEAR(wide.at(x[0]), simplex(t, {x[0], 0}, 1), 1e-9);
    EXPECT_EQ(f.at(0, 0, 0, 0, 0), 0);
    EXPECT_EQ(value_at(f, {}), 0.5);
    for (const long size : {1024, 2048}) { // is doubled, and so the same again at first
        EXPECT_EQ(f.set("tablesize " + std::to_string(size)), 0);
        EXPECT_EQ(f.number("tablesize"), static_cast<double>(2 * size));
    }
}

// The default filter of the convolutions, through the table that they keep.
double kernel_at(double square, double rate = 100)
{
    const double index = std::floor(square * rate + 0.5);
    if (index >= 4 * rate + 1)
        return 0;
    const functor filter("lanczossinc");
    return filter.at(std::sqrt(index / rate));
}

TEST_F(Noise, values_are_convolved)
{
    const reference_tables t;
    const functor f("noise.value.convolution; sign 1"), coarse("noise.value.convolution; samplerate 50");
    for (const std::vector<double> &x : places(2, 12)) {
        double sum[2] = {};
        each_offset(2, -1, 2, [&](const std::vector<long long> &o) {
            const std::vector<long long> c = {cell_of(x)[0] + o[0], cell_of(x)[1] + o[1]};
            const double dx = static_cast<double>(c[0]) - x[0], dy = static_cast<double>(c[1]) - x[1];
            sum[0] += t.at(c) * kernel_at(dx * dx + dy * dy);
            sum[1] += t.at(c) * kernel_at(dx * dx + dy * dy, 50);
        });
        EXPECT_NEAR(value_at(f, x), 2 * sum[0] - 1, 1e-12);
        EXPECT_NEAR(value_at(coarse, x), sum[1], 1e-12);
    }
}

TEST_F(Noise, impulses_are_convolved)
{
    const reference_tables t;
    constexpr long density = 3, count = density * 1024;
    numbers_of_seed draw(-1138);
    std::vector<double> weight, position[2];
    for (long i = 0; i < 33 * count; i++) { // a weight and 32 places each
        const double r = static_cast<double>(draw.below(count)) / count;
        if (i % 33 < 3)
            (i % 33 ? position[i % 33 - 1] : weight).push_back(r);
    }
    const functor f("noise.sparse.convolution");
    for (const std::vector<double> &x : places(2, 12)) {
        double sum = 0;
        each_offset(2, -2, 2, [&](const std::vector<long long> &o) {
            const std::vector<long long> c = {cell_of(x)[0] + o[0], cell_of(x)[1] + o[1]};
            auto k = static_cast<size_t>(t.hash(c));
            for (int used = 0; used < density; used++) {
                const double dx = x[0] - static_cast<double>(c[0]) - position[0][k];
                const double dy = x[1] - static_cast<double>(c[1]) - position[1][k];
                sum += weight[k] * kernel_at(dx * dx + dy * dy);
                k = (k + 1) % 1024 * density;
            }
        });
        EXPECT_NEAR(value_at(f, x), sum / density, 1e-9);
    }
    // the table ends at a squared distance of 4
    EXPECT_NE(vok_functor_noise_sparse_convolution_kernel_fixed(f.object, fixed_of(0.25)), 0);
    EXPECT_EQ(vok_functor_noise_sparse_convolution_kernel_fixed(f.object, fixed_of(4.01)), 0);
    const functor box("noise.sparse.convolution; filter box"); // which gets this class's width, 0
    EXPECT_NEAR(box.at(0.3, 0.3), 0, 0.2);
    const struct {
        const char *setting;
        double square;
        int32_t value;
    } rows[] = {{"width 2.", 1, 65536},
                {"width 2.", 1.02, 0},
                {"filter width 3.", 1.02, 65536}, // the table follows what the filter is told
                {"filter width 2.", 1.02, 0},
                {"kernel 0", 0.5, 65536}, // asked each time
                {"kernel 0", 1.02, 0},
                {"fastsqrt 0", 0.5, 65536}};
    for (const auto &row : rows) {
        EXPECT_EQ(box.set(row.setting), 0);
        EXPECT_EQ(vok_functor_noise_sparse_convolution_kernel_fixed(box.object, fixed_of(row.square)), row.value)
            << row.setting;
    }
}

// The squared distances and marks of all features near a place, nearest first.
std::vector<std::pair<double, uint32_t>> features(const reference_tables &t, const std::vector<double> &x,
                                                  double density)
{
    std::vector<std::pair<double, uint32_t>> all;
    each_offset(x.size(), -1, 1, [&](const std::vector<long long> &o) {
        std::vector<long long> c;
        for (size_t i = 0; i < x.size(); i++)
            c.push_back(static_cast<long long>(std::floor(x[i] + 100000)) + o[i]);
        auto s = static_cast<uint32_t>(t.hash(c));
        const auto advance = [&] { return s = s * 1402024253u + 586950981u; };
        const int count =
            std::max(1, static_cast<int>(density * 1.5 * t.value[advance() & 1023] + density / 2 + 0.5));
        advance();
        for (int f = 0; f < count; f++) {
            const uint32_t id = s;
            double square = 0;
            for (size_t i = 0; i < x.size(); i++) {
                const double d = static_cast<double>(c[i]) + t.value[advance() & 1023] - (x[i] + 100000);
                square += d * d;
            }
            advance();
            all.emplace_back(square, id);
        }
    });
    std::sort(all.begin(), all.end());
    return all;
}

TEST_F(Noise, voronoi_finds_the_nearest)
{
    const reference_tables t;
    for (const size_t dims : {1u, 2u, 3u}) {
        const functor f("noise.voronoi"), third("noise.voronoi; features 3; weight -1. 0.5 2.; exp 1. 0. 2."),
            root("noise.voronoi; postsqrt 1; sign 1"), id("noise.voronoi; metric id"),
            product("noise.voronoi; features 2; combiner *; density 0.");
        for (const std::vector<double> &x : places(dims, 40)) {
            const auto all = features(t, x, 5), few = features(t, x, 0);
            EXPECT_NEAR(value_at(f, x), all[0].first, 1e-9);
            EXPECT_NEAR(value_at(third, x), -all[0].first + 1 + 2 * all[2].first * all[2].first, 1e-9);
            EXPECT_NEAR(value_at(root, x), 2 * std::sqrt(all[0].first) - 1, 1e-9);
            EXPECT_EQ(value_at(id, x), t.value[all[0].second & 1023]);
            EXPECT_NEAR(value_at(product, x), few[0].first * few[1].first, 1e-9);
        }
    }
    const functor square("noise.voronoi; shape square"), many("noise.voronoi; features 40");
    EXPECT_EQ(square.at(0.1, 0.2), 0.5);
    EXPECT_EQ(square.at(7.9, -3), 0.5);
    EXPECT_TRUE(std::isfinite(many.at(0.1, 0.2)));
    for (const char *text : {"combiner sub", "features 0", "shape round", "metric 5"})
        EXPECT_EQ(many.set(text), VOK_ERR_EROR) << text;
    EXPECT_EQ(vok_attr_getsym(many.object, gensym("combiner")), gensym("add"));
    EXPECT_NE(many.set("distance nothing"), 0);
    EXPECT_EQ(many.at(0.1, 0.2), 0);
}

TEST_F(Noise, a_noise_distorts_another)
{
    const functor f("noise.distorted; distortion 0.5 2.; result 3."), outer("noise.gradient"),
        inner("noise.simplex");
    for (const std::vector<double> &x : places(2, 20)) {
        const double d = value_at(inner, x);
        EXPECT_EQ(value_at(f, x), outer.at(0.5 * d + x[0], 2.0 * d + x[1]) * 3);
    }
    // the same name again changes nothing; there and back, the noise is signed
    const double before = f.at(0.3, 0.4);
    EXPECT_EQ(f.set("outer noise.gradient"), 0);
    EXPECT_EQ(f.at(0.3, 0.4), before);
    EXPECT_EQ(f.set("outer noise.cell"), 0);
    EXPECT_EQ(f.set("outer noise.gradient"), 0);
    EXPECT_NEAR(f.at(0.3, 0.4) / 3, 2 * before / 3 - 1, 1e-12);
    EXPECT_EQ(f.set("outer filter quintic"), 0); // a chain reaches what is held
    EXPECT_EQ(f.set("outer filter f 7."), 0);
    EXPECT_EQ(vok_attr_getfloat(held_by(f.object, {"outer", "filter"}), gensym("f")), 7);
    EXPECT_EQ(held_by(f.object, {"outer", "nobody"}), nullptr);
    EXPECT_EQ(f.set("inner nothing"), VOK_ERR_INVP);
    EXPECT_EQ(f.at(0.3, 0.4), 0);
}

} // namespace
