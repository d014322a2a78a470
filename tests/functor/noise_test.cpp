// Noises against numbers that their rules give, the tables of a seed, and what is odd about each.
#include <vokra/functor_noise.h>

#include "functor/functor_tools.h"

namespace {

class Noise : public Library {};

// Hashes, h = h * 31 + number, of the permutations and of the lattice times its size, worked out
// in 64 bits cut to 32.
TEST_F(Noise, a_seed_gives_the_same_tables_for_ever)
{
    const struct {
        long size, seed;
        uint64_t permutations, lattice;
    } rows[] = {{1, -1138, 0, 0},
                {1024, -1138, 0xe9f0751fafc70efe, 0x32869c2989a81b6a},
                {2048, 1, 0xdd0c0e07a740b7d9, 0x8459889e9b910d43},
                {1000, 77, 0x37af22566989a047, 0x124b28296acae547}};
    int32_t *table = nullptr;
    vok_functor_noise_lattice lattice = {};
    for (const auto &row : rows) {
        ASSERT_EQ(vok_functor_noise_permutations_init(&table, row.size, row.seed), 0);
        ASSERT_EQ(vok_functor_noise_lattice_init(&lattice, row.size, row.seed), 0);
        uint64_t hashes[2] = {};
        for (long i = 0; i < row.size; i++) {
            hashes[0] = hashes[0] * 31 + static_cast<uint64_t>(table[i]);
            hashes[1] = hashes[1] * 31 + static_cast<uint64_t>(std::round(lattice.float64[i] * double(row.size)));
            ASSERT_EQ(lattice.float32[i], static_cast<float>(lattice.float64[i]));
            ASSERT_EQ(lattice.fixed[i], fixed_of(lattice.float64[i]));
        }
        EXPECT_EQ(hashes[0], row.permutations) << row.size;
        EXPECT_EQ(hashes[1], row.lattice) << row.size;
    }
    const double x[] = {3.75, -2.5, 1e5};
    const float narrow[] = {3.75f, -2.5f, 1e5f};
    const int32_t a[] = {fixed_of(0.5), fixed_of(7.25)}, b[] = {fixed_of(-100), fixed_of(3)};
    const long cells[] = {0, 3, 937, 863}; // with no to three coordinates
    ASSERT_EQ(vok_functor_noise_permutations_init(&table, 1024, -1138), 0);
    ASSERT_EQ(vok_functor_noise_lattice_init(&lattice, 1024, -1138), 0);
    for (long n = 0; n < 4; n++) {
        EXPECT_EQ(vok_functor_noise_hash_float64_eval(n, x, table, 1023), cells[n]);
        EXPECT_EQ(vok_functor_noise_hash_float32_eval(n, narrow, table, 1023), cells[n]);
        EXPECT_EQ(vok_functor_noise_lattice_float64_eval(n, x, table, lattice.float64, 1023),
                  lattice.float64[cells[n]]);
    }
    EXPECT_EQ(vok_functor_noise_hash_fixed_eval(2, a, table, 1023),
              vok_functor_noise_hash_fixed_eval(2, b, table, 1023)); // all cells of the fixed format are one
    for (void *block : {static_cast<void *>(lattice.fixed), static_cast<void *>(lattice.float32),
                        static_cast<void *>(lattice.float64)})
        sysmem_freeptr(block);
    EXPECT_EQ(vok_functor_noise_permutations_init(&table, 0, 1), VOK_ERR_INVP);
    EXPECT_EQ(table, nullptr);
    EXPECT_EQ(vok_functor_noise_permutations_init(nullptr, 8, 1), VOK_ERR_INVP);
}

// The sums come from the rules in plain arithmetic, cell by cell and corner by corner.
TEST_F(Noise, values_are_those_of_the_rules)
{
    const struct {
        const char *text;
        size_t dims;
        double sum, single = 0; // the tolerance of float32, where it is told
    } rows[] = {
        {"noise.cell", 1, 22.1181738281},
        {"noise.cell", 2, 26.9328710937},
        {"noise.cell", 3, 22.1074609375},
        {"noise.cell; seed 5", 2, 22.2280078125},
        {"noise.cell; sign 1; abs 1", 2, 22.6373828125},
        {"noise.checker", 2, 24.01},
        {"noise.checker; sign 1", 2, -2.48},
        {"noise.checker; sign 1; smooth 0.5", 2, 24.0258541063},
        {"noise.gradient; sign 1", 1, -0.1628555269, 1e-4},
        {"noise.gradient; tablesize 63", 2, 24.7929262527, 1e-4},
        {"noise.gradient; sign 1; tablesize 64", 2, -0.914147494562, 1e-4},
        {"noise.gradient; sign 1", 3, -0.416468631147, 1e-4},
        {"noise.gradient; sign 1", 4, 0.63719357352, 1e-4},
        {"noise.gradient; sign 1", 5, 0.726784784029, 1e-4},
        {"noise.value.cubicspline", 2, 25.5825902297, 1e-4},
        {"noise.value.cubicspline; sign 1", 2, 0.665180459315, 1e-4},
        {"noise.simplex", 1, 27.6370501398, 2e-3},
        {"noise.simplex", 2, 35.1665267484, 2e-3},
        {"noise.simplex; sign 1", 2, 19.8330534967},
        {"noise.simplex; sign 1", 3, 1.08140908319, 2e-3},
        {"noise.simplex; sign 1", 4, 9.74386124083, 2e-3},
        {"noise.value.convolution; sign 1", 2, 104.765569602},
        {"noise.value.convolution; samplerate 50", 2, 77.6579338944},
        {"noise.sparse.convolution", 2, 77.6696028535},
        {"noise.voronoi", 1, 0.782072237289},
        {"noise.voronoi", 2, 2.51270192403},
        {"noise.voronoi", 3, 5.59132185143},
        {"noise.voronoi; features 3; weight -1. 0.5 2.; exp 1. 0. 2.", 1, 52.4286637478},
        {"noise.voronoi; features 3; weight -1. 0.5 2.; exp 1. 0. 2.", 2, 51.0355973269},
        {"noise.voronoi; features 3; weight -1. 0.5 2.; exp 1. 0. 2.", 3, 51.4745694042},
        {"noise.voronoi; postsqrt 1; sign 1", 2, -30.3616225014},
        {"noise.voronoi; metric id", 1, 24.3146289063},
        {"noise.voronoi; metric id", 3, 23.9381347656},
        {"noise.voronoi; features 2; combiner *; density 0.", 1, 3.88341244317},
        {"noise.voronoi; features 2; combiner *; density 0.", 3, 9.98771309349},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.text << ", " << row.dims);
        EXPECT_NEAR(sum_over_places(functor(row.text), row.dims, row.single), row.sum, 2e-7);
    }
}

TEST_F(Noise, cells_and_checkers)
{
    const functor cell("noise.cell"), soft("noise.checker; sign 1; smooth 0.5");
    EXPECT_EQ(cell.at(-1.0 - 5e-8), cell.at(-0.5)); // lifted into the cell above
    EXPECT_EQ(cell.raw(fixed_of(3.5), fixed_of(-2)), cell.raw(0, 0));
    EXPECT_EQ(functor("noise.checker").raw(fixed_of(1.5)), 65536);
    EXPECT_EQ(functor("noise.checker; sign 1").raw(fixed_of(1.5)), 65536);
    EXPECT_EQ(soft.set("smooth 3."), 0); // half of it is above 1: ignored
    EXPECT_EQ(soft.number("smooth"), 0.25);
}

TEST_F(Noise, tables_of_directions_are_made_anew)
{
    const functor f("noise.gradient");
    const double two = f.at(0.3, 0.7), three = f.at(0.3, 0.7, 0.2);
    EXPECT_EQ(f.at(0.3, 0.7), two); // for another count, and again for the first
    EXPECT_EQ(f.at(0.3, 0.7, 0.2), three);
    EXPECT_EQ(f.at(3, 3, 3), 0.5) << "a lattice point";
    EXPECT_NE(f.set("filter nothing.at.all"), 0);
    EXPECT_EQ(f.at(0.3, 0.7), 0);
    const functor large("noise.gradient; tablesize 1048576"), odd("noise.gradient; tablesize 63");
    EXPECT_EQ(large.number("tablesize"), 1048576);
    EXPECT_TRUE(std::isfinite(large.at(0.3, 0.4)));
    EXPECT_EQ(odd.number("tablesize"), 64);
    const functor simplex("noise.simplex; sign 1");
    EXPECT_EQ(simplex.at(0, 0, 0, 0, 0), 0);
    EXPECT_EQ(value_at(simplex, {}), 0);
    const double four[] = {0.1, 0.7, -0.3, 2};
    EXPECT_EQ(vok_functor_noise_simplex_eval_float64_dim4(simplex.object, four), simplex.at(0.1, 0.7, -0.3, 2));
    for (const long size : {1024, 2048}) { // is doubled, and so the same again at first
        EXPECT_EQ(simplex.set("tablesize " + std::to_string(size)), 0);
        EXPECT_EQ(simplex.number("tablesize"), static_cast<double>(2 * size));
    }
}

TEST_F(Noise, a_place_may_round_to_the_end_of_its_cell)
{
    const functor f("noise.value.cubicspline");
    EXPECT_TRUE(std::isfinite(f.at32(-1e-10f)));
    EXPECT_DOUBLE_EQ(f.at(5.0), functor("noise.cell").at(5.5)); // a spline passes through the lattice
}

TEST_F(Noise, filters_are_asked_or_read_from_a_table)
{
    const functor f("noise.sparse.convolution"), box("noise.sparse.convolution; filter box");
    EXPECT_NE(vok_functor_noise_sparse_convolution_kernel_fixed(f.object, fixed_of(0.25)), 0);
    EXPECT_EQ(vok_functor_noise_sparse_convolution_kernel_fixed(f.object, fixed_of(4.01)), 0) << "its end";
    EXPECT_NEAR(box.at(0.3, 0.3), 0, 0.2) << "a box of this class's width, 0";
    const struct {
        const char *setting;
        double square;
        int32_t value;
    } rows[] = {{"width 2.", 1, 65536},
                {"width 2.", 1.02, 0},
                {"filter width 3.", 1.02, 65536}, // the table follows what the filter is told
                {"filter width 2.", 1.02, 0},
                {"kernel 0", 0.5, 65536},
                {"kernel 0", 1.02, 0},
                {"fastsqrt 0", 0.5, 65536}};
    for (const auto &row : rows) {
        EXPECT_EQ(box.set(row.setting), 0);
        EXPECT_EQ(vok_functor_noise_sparse_convolution_kernel_fixed(box.object, fixed_of(row.square)), row.value)
            << row.setting;
    }
}

TEST_F(Noise, voronoi_takes_its_words)
{
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
    for (const char *text : {"outer noise.cell", "outer noise.gradient"})
        EXPECT_EQ(f.set(text), 0);
    EXPECT_NEAR(f.at(0.3, 0.4) / 3, 2 * before / 3 - 1, 1e-12);
    for (const char *text : {"outer filter quintic", "outer filter f 7."}) // a chain reaches what is held
        EXPECT_EQ(f.set(text), 0);
    EXPECT_EQ(vok_attr_getfloat(held_by(f.object, {"outer", "filter"}), gensym("f")), 7);
    EXPECT_EQ(held_by(f.object, {"outer", "nobody"}), nullptr);
    EXPECT_EQ(f.set("inner nothing"), VOK_ERR_INVP);
    EXPECT_EQ(f.at(0.3, 0.4), 0);
}

} // namespace
