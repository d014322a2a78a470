// Fractals: each rule octave by octave, with the basis from a functor of its own, and the
// amplitudes and rotations that they are made of.
#include "functor/noise_tools.h"

namespace {

class Fractal : public Library {};

// The settings of one fractal, and its value by the rule.
struct rule {
    const functor &basis;
    double detail = 3, roughness = 0.65, lacunarity = 2.112, level = 0, gain = 1;

    double amplitude(int i) const { return std::pow(std::pow(lacunarity, i), roughness - 1); }
    double octave(const std::vector<double> &x, int i) const
    {
        std::vector<double> p = x;
        for (double &v : p)
            v *= std::pow(lacunarity, i);
        return value_at(basis, p);
    }
    double of(const std::string &name, const std::vector<double> &x) const
    {
        const int n = static_cast<int>(detail), last = std::max(n, 1);
        const double part = detail - n;
        if (name == "mono" || name == "turbulence" || name == "multi") {
            double sum = 0, product = 1;
            for (int i = 0; i <= n; i++) {
                const double b = octave(x, i), share = (i < n ? 1 : part) * amplitude(i);
                sum += share * ((name == "mono" ? b : std::fabs(b)) + level);
                product *= share * (b + level) + 1;
            }
            return name == "multi" ? product : sum;
        }
        const double first = octave(x, 0) + level;
        double r = first;
        if (name == "hetero") {
            for (int i = 1; i < n; i++)
                r += (octave(x, i) + level) * amplitude(i) * r;
            return r + part * (octave(x, last) + level) * amplitude(last) * r;
        }
        if (name == "multi.hybrid") {
            double w = gain * r;
            for (int i = 1; i < n; i++) {
                w = std::min(w, 1.0);
                const double b = (octave(x, i) + level) * amplitude(i);
                r += w * b;
                w *= b * gain;
            }
            return r + part * (octave(x, last) + level) * amplitude(last);
        }
        double s = std::pow(level - std::fabs(octave(x, 0)), 2), w = 1; // multi.ridged
        r = s;
        for (int i = 1; i < n; i++) {
            w = std::clamp(w * s * gain, 0.0, 1.0);
            s = std::pow(level - std::fabs(octave(x, i)), 2) * w;
            r += static_cast<float>(amplitude(i)) * s;
        }
        return r + part * (octave(x, last - 1) + level) * amplitude(last); // where the last one was
    }
};

TEST_F(Fractal, octaves_join_by_their_rules)
{
    const functor basis("noise.gradient; sign 1");
    for (const char *name : {"mono", "multi", "hetero", "multi.hybrid", "multi.ridged", "turbulence"}) {
        for (const double detail : {3.0, 2.5, 0.5, 1.0, 6.25}) {
            const functor f(std::string("fractal.") + name + "; detail " + std::to_string(detail) +
                            "; roughness 0.4; lacunarity 1.75; level 0.3; result 2.");
            f.set("gain 1.5");         // of two only
            f.set("basis noise.cell"); // there and back: signed
            f.set("type noise.gradient");
            const rule r = {basis, detail, 0.4, 1.75, 0.3, 1.5};
            for (const std::vector<double> &x : places(2, 15)) {
                EXPECT_NEAR(value_at(f, x), 2 * r.of(name, x), 1e-7) << name << " " << detail;
                near_in_float32(f, x, 5e-2);
            }
        }
    }
}

TEST_F(Fractal, defaults_are_unsigned_and_coordinates_are_scaled)
{
    const functor basis("noise.gradient"), f("fractal.mono; scale 2. 0.5; offset 0.25");
    const rule r = {basis};
    for (const std::vector<double> &x : places(2, 15))
        EXPECT_NEAR(value_at(f, x), r.of("mono", {2 * (x[0] + 0.25), 0.5 * x[1]}), 1e-9);
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
}

TEST_F(Fractal, amplitudes_fall)
{
    vok_functor_combined_dynarray e = {};
    for (const double detail : {0.5, 3.0, 7.9}) {
        ASSERT_EQ(vok_functor_fractal_exponents_init(&e, detail, 0.65, 2.112), 0);
        ASSERT_EQ(e.count, std::max(2, static_cast<int>(detail) + 1)); // some rules always take a second
        for (int i = 0; i < e.count; i++) {
            EXPECT_NEAR(e.float64[i], std::pow(2.112, -0.35 * i), 1e-12);
            EXPECT_EQ(e.float32[i], static_cast<float>(e.float64[i]));
            EXPECT_EQ(e.fixed[i], fixed_of(e.float64[i]));
        }
    }
    EXPECT_EQ(vok_functor_fractal_exponents_init(&e, NAN, 0.65, 2), VOK_ERR_INVP);
}

TEST_F(Fractal, rotations_turn_between_octaves)
{
    vok_functor_fractal_rotation_matrix m = {};
    for (const long n : {1L, 3L, 5L, 2L}) {
        vok_functor_fractal_rotation_matrix_destroy(&m);
        ASSERT_EQ(vok_functor_fractal_rotation_matrix_init(&m, n, -1138), 0);
        ASSERT_EQ(m.rows, n);
        for (long i = 0; i < n; i++)
            for (long j = 0; j < n; j++) {
                EXPECT_EQ(m.float32[i][j], static_cast<float>(m.float64[i][j]));
                EXPECT_EQ(m.fixed[i][j], fixed_of(m.float64[i][j]));
                EXPECT_TRUE(i == 0 || j <= i || m.float64[i][j] == 0);
            }
    }
    const double t = static_cast<double>(numbers_of_seed(-1138).next() % 65535) / 65535 + 0.0015707963267948967;
    double **const r = m.float64;
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
