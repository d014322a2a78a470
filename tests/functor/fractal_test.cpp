// Fractals: each rule octave by octave, with the basis from a functor of its own, and the
// amplitudes and rotations that they are made of.
#include <vokra/functor_noise.h>

#include "functor/functor_tools.h"

namespace {

class Fractal : public Library {};

// The sums come from the rules, octave by octave over the basis.
TEST_F(Fractal, octaves_join_by_their_rules)
{
    const struct {
        const char *name;
        double sums[5];
    } rows[] = {
        {"mono", {68.6264015604, 60.5850396044, 15.8627993445, 31.725598689, 93.8274105898}},
        {"multi", {185.471954061, 172.766701012, 116.862799345, 132.725598689, 235.730773898}},
        {"hetero", {44.2712149182, 41.2572919605, 34.9844838459, 31.725598689, 56.3274858386}},
        {"multi.hybrid", {43.7971588331, 49.5436161158, 42.1346381687, 31.725598689, 45.2581014275}},
        {"multi.ridged", {4.25179331087, 11.6914804038, 15.4116722149, 4.07313574016, 5.30186192655}},
        {"turbulence", {94.5026730561, 83.8302038834, 21.3567863947, 42.7135727894, 131.663561292}},
    };
    const char *details[] = {"3.", "2.5", "0.5", "1.", "6.25"};
    for (const auto &row : rows)
        for (size_t i = 0; i < 5; i++) {
            const functor f(std::string("fractal.") + row.name +
                            "; roughness 0.4; lacunarity 1.75; level 0.3; result 2.; detail " + details[i]);
            f.set("gain 1.5");         // of two only
            f.set("basis noise.cell"); // there and back: signed
            f.set("type noise.gradient");
            EXPECT_NEAR(sum_over_places(f, 2, 5e-2), row.sums[i], 1e-6) << row.name << " " << details[i];
        }
}

TEST_F(Fractal, defaults_are_unsigned_and_coordinates_are_scaled)
{
    const functor f("fractal.mono; scale 2. 0.5; offset 0.25");
    EXPECT_NEAR(sum_over_places(f, 2), 60.5282410005, 1e-9);
    const double before = f.at(0.3, 0.4);
    EXPECT_EQ(f.set("basis noise.gradient"), 0); // the same: stays unsigned
    EXPECT_EQ(f.at(0.3, 0.4), before);
    EXPECT_EQ(f.set("basis filter.box"), 0); // without a sign: told, and taken
    EXPECT_NE(f.at(0.3, 0.4), before);
    EXPECT_NE(f.set("basis nothing.such"), 0);
    EXPECT_EQ(f.at(0.3, 0.4), 0);
}

// A level equal to the basis leaves nothing but the fraction of an octave, 1.1f less 1.
TEST_F(Fractal, the_fraction_of_an_octave_is_of_the_format)
{
    const functor f("fractal.multi.ridged; basis distance.manhattan; detail 1.1; level 1.; lacunarity 1.");
    EXPECT_EQ(f.at(1), 2 * (1.1 - 1));
    EXPECT_EQ(f.at32(1), 2 * (1.1f - 1));
}

TEST_F(Fractal, limits_are_kept)
{
    const struct {
        const char *name, *attribute;
        double value;
        bool taken;
    } cases[] = {
        {"mono", "detail", 33, false},    {"multi", "detail", 33, true},     {"mono", "detail", 0, false},
        {"hetero", "detail", 31.5, true}, {"mono", "lacunarity", 40, true},  {"multi", "lacunarity", 40, false},
        {"mono", "lacunarity", 0, false}, {"multi", "lacunarity", 0, false}, {"multi.ridged", "gain", -3, true}};
    for (const auto &c : cases) {
        const functor f(std::string("fractal.") + c.name);
        EXPECT_EQ(vok_attr_setfloat(f.object, gensym(c.attribute), c.value), 0);
        EXPECT_EQ(f.number(c.attribute) == c.value, c.taken) << c.name << " " << c.attribute << " " << c.value;
    }
    vok_functor_combined_dynarray e = {};
    for (const double detail : {0.5, 3.0, 7.9}) {
        ASSERT_EQ(vok_functor_fractal_exponents_init(&e, detail, 0.65, 2.112), 0);
        ASSERT_EQ(e.count, std::max(2, static_cast<int>(detail) + 1)); // some rules always take a second
        EXPECT_EQ(e.fixed[1], fixed_of(e.float64[1]));
    }
    EXPECT_EQ(vok_functor_fractal_exponents_init(&e, NAN, 0.65, 2), VOK_ERR_INVP);
}

TEST_F(Fractal, rotations_turn_between_octaves)
{
    vok_functor_fractal_rotation_matrix m;
    for (const long n : {1L, 5L, 2L}) {
        ASSERT_EQ(vok_functor_fractal_rotation_matrix_init(&m, n, -1138), 0);
        ASSERT_EQ(m.rows, n);
        for (long i = 0; i < n; i++)
            for (long j = 0; j < n; j++) {
                EXPECT_EQ(m.float32[i][j], static_cast<float>(m.float64[i][j]));
                EXPECT_EQ(m.fixed[i][j], fixed_of(m.float64[i][j]));
                EXPECT_TRUE(i == 0 || j <= i || m.float64[i][j] == 0);
            }
        if (n != 2)
            vok_functor_fractal_rotation_matrix_destroy(&m);
    }
    double **const r = m.float64;
    const double t = 0.59685575856071571; // by the seed
    EXPECT_TRUE(r[0][0] == std::cos(t) && r[0][1] == -std::sin(t));
    EXPECT_TRUE(r[1][0] == std::sin(t) && r[1][1] == std::cos(t));
    // the second octave is scaled and the third, which follows a turn, is scaled and turned
    const functor basis("noise.gradient"), f("fractal.mono; rotate 1; roughness 1.; lacunarity 2.");
    for (const std::vector<double> &x : places(2, 10)) {
        const double p = 4 * x[0], q = 4 * x[1];
        EXPECT_NEAR(value_at(f, x),
                    value_at(basis, x) + basis.at(2 * x[0], 2 * x[1]) +
                        basis.at(r[0][0] * p + r[0][1] * q, r[1][0] * p + r[1][1] * q),
                    1e-12);
    }
    vok_functor_fractal_rotation_matrix_destroy(&m);
    const double two = f.at(0.3, 0.4), three = f.at(0.3, 0.4, 0.5); // made anew for another count
    EXPECT_EQ(f.at(0.3, 0.4), two);
    EXPECT_EQ(f.at(0.3, 0.4, 0.5), three);
}

} // namespace
