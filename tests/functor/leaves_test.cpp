// Curves, distances, filters and transfers against their rules written out, the corners that
// are deliberately odd, and what no attribute or coordinate may break.
#include <algorithm>
#include <cstring>
#include <functional>
#include <numbers>

#include "functor/functor_tools.h"

namespace {

class Leaves : public Library {};

constexpr double pi = std::numbers::pi;
using scalar = std::function<double(double)>;
using rule = std::function<double(const std::vector<double> &)>;

rule product(const scalar &f)
{
    return [f](const std::vector<double> &x) {
        double r = 1;
        for (double v : x)
            r *= f(v);
        return r;
    };
}

// Of f(magnitude, place) over the coordinates.
rule sum(const std::function<double(double, size_t)> &f)
{
    return [f](const std::vector<double> &x) {
        double s = 0;
        for (size_t i = 0; i < x.size(); i++)
            s += f(std::fabs(x[i]), i);
        return s;
    };
}

double square(double v)
{
    return v * v;
}

const rule squares = sum([](double v, size_t) { return v * v; });

// Of the distance to the origin.
rule radial(const scalar &f)
{
    return [f](const std::vector<double> &x) { return f(std::sqrt(squares(x))); };
}

double smooth(double x, double low, double high)
{
    const double t = std::clamp((x - low) / (high - low), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

// The Bessel function of order 1, by its integral.
double bessel1(double x)
{
    double s = 0;
    const int n = 4000;
    for (int i = 0; i < n; i++) {
        const double t = pi * (i + 0.5) / n;
        s += std::cos(t - x * std::sin(t));
    }
    return s / n;
}

rule mitchell(double width, double b, double c)
{
    return product([=](double v) {
        const double a = std::fabs(2 * v / width);
        return (a > 1
                    ? (-b - 6 * c) * a * a * a + (6 * b + 30 * c) * a * a + (-12 * b - 48 * c) * a + 8 * b + 24 * c
                    : (12 - 9 * b - 6 * c) * a * a * a + (-18 + 12 * b + 6 * c) * a * a + 6 - 2 * b) /
               6;
    });
}

struct leaf {
    const char *text;
    rule value;
};

std::vector<leaf> leaves()
{
    const auto largest = [](const std::vector<double> &x) {
        return std::fabs(*std::max_element(x.begin(), x.end(), [](double a, double b) { return a * a < b * b; }));
    };
    const auto roots = [](const std::vector<double> &x) {
        return square(sum([](double v, size_t) { return std::sqrt(v); })(x));
    };
    const auto cubes = [](const std::vector<double> &x) {
        return std::cbrt(sum([](double v, size_t) { return v * v * v; })(x));
    };
    const auto bessel = [](double r) {
        return r >= 3.2383 ? 0 : r == 0 ? pi : 2 * std::cos(r / 3.2383 * pi / 2) * bessel1(pi * r) / r;
    };
    const auto catmullrom = [](const std::vector<double> &x) {
        const double a = sum([](double v, size_t) { return v / 1.5; })(x), s = squares(x);
        return a >= 2 ? 0 : a < 1 ? 3 * a * s - 5 * s + 2 : -8 * a + 5 * s - a * s + 4;
    };
    const auto gaussian = [](double r) {
        return std::max(0.0, std::exp(-0.5 * 4 * r * r / 6.25) - std::exp(-0.5 * 6.25));
    };
    const auto lanczos = [](double v) {
        const double a = std::fabs(v / 2.5);
        return a < 1e-5 ? 1 : a > 1 ? 0 : std::sin(pi * a) / (pi * a) * std::sin(0.5 * pi * a) / (0.5 * pi * a);
    };
    const auto sinc = [](double v) {
        const double a = std::fabs(v / 2) * 3 * pi;
        return a < 3e-5 * pi ? 1 : std::sin(a) / a;
    };
    const auto gain = [](double x) {
        const double t = (1 - 2 * x) * (1 / 0.2 - 2);
        return x < 0.5 ? x / (t + 1) : (t - x) / (t - 1);
    };
    const auto pulse = [](double v) {
        return v < 0 || v >= 1 ? 0 : v < 0.9 ? smooth(v, 0, 0.5) : 1 - smooth(v, 0.9, 1);
    };
    const auto quintic = [](double v) { return 0.5 - v + v * v * v * (10 - 15 * v + 6 * v * v); };
    const double radii[] = {2, 3, 0.5, 0.5}, powers[] = {2, 0.5, 1, 1};
    return {
        {"distance.chebychev", largest},
        {"distance.euclidean", radial([](double r) { return r; })},
        {"distance.euclidean.squared", squares},
        {"distance.manhattan", sum([](double v, size_t) { return v; })},
        {"distance.manhattan.radial; radius 2. 3.", sum([=](double v, size_t i) { return v * radii[i]; })},
        {"distance.superquadratic; coefficients 2. 0.5",
         sum([=](double v, size_t i) { return std::pow(v, powers[i]); })},
        {"distance.minkovsky", roots},
        {"distance.minkovsky; exponent 4.", radial([](double r) { return std::sqrt(r); })},
        {"distance.minkovsky; exponent 3.", cubes},
        {"filter.bessel", radial(bessel)},
        {"filter.box; width 1.2", product([](double v) { return std::fabs(v) <= 0.6; })},
        {"filter.catmullrom; width 1.5", catmullrom},
        {"filter.disk; width 1.5", radial([](double r) { return r < 0.75; })},
        {"filter.gaussian; alpha 0.5", radial(gaussian)},
        {"filter.lanczossinc; width 2.5; alpha 0.5", product(lanczos)},
        {"filter.mitchell", mitchell(2, 1.0 / 3, 1.0 / 3)},
        {"filter.mitchell; b 0.; c 0.5; width 3.", mitchell(3, 0, 0.5)},
        {"filter.sinc; alpha 3.", product(sinc)},
        {"filter.triangle; width 1.25", product([](double v) { return std::max(0.0, 1.25 - std::fabs(v)); })},
        {"transfer.bias; beta 0.25", product([](double v) { return v; })},
        {"transfer.cubic", product([](double v) { return v * v * (3 - 2 * v); })},
        {"transfer.quintic; a 0.5; b -1.", product(quintic)},
        {"transfer.gain; beta 0.2", product(gain)},
        {"transfer.pulse; low 0.25; high 0.75", product([](double v) { return v >= 0.25 && v < 0.75; })},
        {"transfer.saw", product([](double v) { return v - std::floor(v); })},
        {"transfer.sine", product([](double v) { return std::sin(2 * pi * v); })},
        {"transfer.smoothstep; low -0.5", product([](double v) { return smooth(v, -0.5, 1); })},
        {"transfer.smoothpulse; starthigh 0.5", product(pulse)},
        {"transfer.step; threshold 0.25", product([](double v) { return v >= 0.25; })},
        {"transfer.solarize; scale 3.", product([](double v) { return std::fabs(v - 0.5) * 3; })},
    };
}

TEST_F(Leaves, follow_their_rules)
{
    const std::vector<std::vector<double>> points = {
        {0},    {0.3},         {-0.3},       {0.999},         {1.75},
        {-2.6}, {0.25, 0.125}, {-0.75, 1.5}, {0.1, 0.2, 0.3}, {1, -1, 0.5, 0.25}};
    for (const leaf &l : leaves()) {
        const functor f(l.text);
        const bool converts = !std::strstr(l.text, "filter.gaussian") && !std::strstr(l.text, "filter.disk");
        for (const std::vector<double> &x : points) {
            const double expected = l.value(x), unit = 1 + std::fabs(expected);
            const long n = static_cast<long>(x.size());
            const std::vector<float> narrow(x.begin(), x.end());
            std::vector<int32_t> raw(x.size());
            std::transform(x.begin(), x.end(), raw.begin(), fixed_of);
            SCOPED_TRACE(testing::Message() << l.text << " at " << x[0] << ", " << n << " coordinates");
            // gain narrows its coordinate, the bessel series has seven digits
            EXPECT_NEAR(eval(f, n, x.data()), expected, 3e-7 * unit);
            EXPECT_NEAR(eval(f, n, narrow.data()), expected, 4e-6 * unit);
            if (converts) {
                EXPECT_NEAR(eval(f, n, raw.data()) / 65536.0, expected, 2e-3 * unit);
            }
        }
    }
}

TEST_F(Leaves, have_their_odd_corners)
{
    const struct {
        const char *name;
        double at, value;
    } rows[] = {{"transfer.gain", 0.3, static_cast<double>(0.3f)},
                {"transfer.saw", -2, 0},
                {"transfer.pulse", 0, 1},
                {"transfer.pulse", 1, 0},
                {"filter.box", 1, 1}};
    for (const auto &row : rows)
        EXPECT_EQ(functor(row.name).at(row.at), row.value) << row.name;
    EXPECT_TRUE(std::isnan(functor("filter.catmullrom; width 0.").at(0))) << "what follows from the division";
    const functor gaussian("filter.gaussian");
    EXPECT_EQ(gaussian.raw(65536), 0);
    EXPECT_GT(gaussian.raw(0), 65000);
    EXPECT_EQ(vok_functor_filter_gaussian_eval_float64_scalar(gaussian.object, 0.5), gaussian.at(0.5));
    const functor sine("transfer.sine");
    EXPECT_EQ(sine.raw(65536), sine.raw(0));
    EXPECT_EQ(sine.raw(-16384), -65536);
    EXPECT_EQ(sine.raw(5461, 16384), (fixed_of(std::sin(2 * pi * 5461 / 65536)) >> 4) * (65536 >> 4) >> 8);
    const functor disk("filter.disk"); // the square of 1.0 wraps to 0
    EXPECT_EQ(disk.raw(65536), 65536);
    EXPECT_EQ(disk.raw(32768, 32768), 65536);
    const functor box("filter.box; width 0.5");
    EXPECT_EQ(box.raw(16384), 65536);
    EXPECT_EQ(box.raw(-16385), 0);
    EXPECT_EQ(box.raw(INT32_MIN), 0);
    EXPECT_EQ(smooth_pulse_float64(0.05, 0, 0.1, 0.9, 1), 0.5);
    EXPECT_EQ(smooth_pulse_float32(0.5f, 0, 0.1f, 0.9f, 1), 1);
    const functor swapped("transfer.pulse; low 2."), pairs("transfer.smoothpulse; endhigh 0.5");
    EXPECT_EQ(swapped.number("low"), 1);
    EXPECT_EQ(swapped.at(1.5), 1);
    EXPECT_EQ(pairs.number("endlow"), 0.5);
    EXPECT_EQ(pairs.number("starthigh"), 0.1);
}

TEST_F(Leaves, lists_keep_what_they_are_not_given)
{
    const functor f("distance.superquadratic; coefficients 2. 3. 4.; coefficients 5.");
    double values[40] = {};
    const auto read = [&] { return vok_attr_getdouble_array(f.object, gensym("coefficients"), 40, values); };
    EXPECT_EQ(read(), 32);
    EXPECT_EQ(std::vector<double>(values, values + 4), (std::vector<double>{5, 3, 4, 1}));
    std::fill(std::begin(values), std::end(values), 7);
    EXPECT_EQ(vok_attr_setdouble_array(f.object, gensym("coefficients"), 40, values), 0);
    EXPECT_EQ(read(), 32);
    EXPECT_EQ(values[31], 7);
    EXPECT_EQ(functor("transfer.cubic; c 0.1").number("c"), static_cast<double>(0.1f));
}

TEST_F(Leaves, a_spline_runs_through_its_knots)
{
    const functor f("curve.cubicspline; knots 0. 1. 3. 2. 5.");
    EXPECT_DOUBLE_EQ(f.at(0.5), 3);
    EXPECT_DOUBLE_EQ(f.at(0.25), (-0 + 9 * 1 + 9 * 3 - 2) / 16.0); // the middle of four knots
    EXPECT_DOUBLE_EQ(f.at(0.5, 0), 3);                             // the product with 1
    EXPECT_FLOAT_EQ(f.at32(0.5f), 3);
    EXPECT_EQ(f.raw(32768), 3 << 16);
    EXPECT_EQ(f.set("basis bspline"), 0);
    EXPECT_NEAR(f.at(0), (0 + 4 * 1 + 3) / 6.0, 1e-15);
    EXPECT_EQ(f.set("basis nonsense"), 0);
    EXPECT_NEAR(f.at(0), (0 + 4 * 1 + 3) / 6.0, 1e-15) << "another word changes nothing";
    EXPECT_EQ(vok_functor_curve_cubicspline_setbasis(f.object, gensym("catmullrom")), 0);
    EXPECT_EQ(vok_object_method(f.object, gensym("resize"), 6L), 0);
    EXPECT_EQ(vok_functor_curve_cubicspline_setknot_float64(f.object, 5, 8), 0);
    double knots[8] = {};
    EXPECT_EQ(vok_attr_getdouble_array(f.object, gensym("knots"), 8, knots), 6);
    EXPECT_EQ(std::vector<double>(knots, knots + 6), (std::vector<double>{0, 1, 3, 2, 5, 8}));
    EXPECT_EQ(vok_functor_curve_cubicspline_setknot_float32(f.object, 9, 8), 0);
    EXPECT_EQ(vok_functor_curve_cubicspline_setknot_float32(f.object, -1, 8), VOK_ERR_INVP);
    EXPECT_EQ(vok_functor_curve_cubicspline_resize(f.object, -1), VOK_ERR_INVP);
    for (double x : {-1e30, -0.5, 1.0, 1.5, 1e30, double(NAN), double(INFINITY)}) {
        f.at(x); // harmless, whatever they give
        f.at32(x);
        f.raw(fixed_of(x));
    }
    EXPECT_EQ(functor("curve.cubicspline").at(0.5), 0);
    const functor linear("curve.linear; knots 1. 2. 3.");
    EXPECT_EQ(linear.at(0.5), 0);
    EXPECT_EQ(vok_attr_getdouble_array(linear.object, gensym("knots"), 8, knots), 3);
}

} // namespace
