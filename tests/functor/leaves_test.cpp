// Curves, distances, filters and transfers against their rules written out, the corners that
// are deliberately odd, and what no attribute or coordinate may break.
#include <array>
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

double sum_of(const std::vector<double> &x, const scalar &f)
{
    double s = 0;
    for (double v : x)
        s += f(v);
    return s;
}

double square(double v)
{
    return v * v;
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

double mitchell(double v, double width, double b, double c)
{
    const double a = std::fabs(2 * v / width);
    return a > 1
               ? ((-b - 6 * c) * a * a * a + (6 * b + 30 * c) * a * a + (-12 * b - 48 * c) * a + 8 * b + 24 * c) /
                     6
               : ((12 - 9 * b - 6 * c) * a * a * a + (-18 + 12 * b + 6 * c) * a * a + 6 - 2 * b) / 6;
}

struct leaf {
    const char *name;
    std::vector<std::string> settings;
    rule value;
};

std::vector<leaf> leaves()
{
    const auto largest = [](const std::vector<double> &x) {
        double m = 0;
        for (double v : x)
            m = std::max(m, std::fabs(v));
        return m;
    };
    const auto summed = [](const std::function<double(double, size_t)> &f) { // of the coordinate and its number
        return [f](const std::vector<double> &x) {
            double s = 0;
            for (size_t i = 0; i < x.size(); i++)
                s += f(std::fabs(x[i]), i);
            return s;
        };
    };
    const auto gain = [](double x) {
        const double t = (1 - 2 * x) * (1 / 0.2 - 2);
        return x < 0.5 ? x / (t + 1) : (t - x) / (t - 1);
    };
    const auto lanczos = [](double v) {
        const double a = std::fabs(v / 2.5);
        return a < 1e-5 ? 1 : a > 1 ? 0 : std::sin(pi * a) / (pi * a) * std::sin(0.5 * pi * a) / (0.5 * pi * a);
    };
    const auto catmullrom = [](const std::vector<double> &x) {
        const double a = sum_of(x, [](double v) { return std::fabs(v / 1.5); }), s = sum_of(x, square);
        return a >= 2 ? 0 : a < 1 ? 3 * a * s - 5 * s + 2 : -8 * a + 5 * s - a * s + 4;
    };
    return {
        {"distance.chebychev", {}, largest},
        {"distance.euclidean", {}, [](const auto &x) { return std::sqrt(sum_of(x, square)); }},
        {"distance.euclidean.squared", {}, [](const auto &x) { return sum_of(x, square); }},
        {"distance.manhattan", {}, summed([](double v, size_t) { return v; })},
        {"distance.manhattan.radial", {"radius 2. 3."}, summed([](double v, size_t i) {
             return v * std::array{2.0, 3.0, 0.5, 0.5}[i];
         })},
        {"distance.superquadratic", {"coefficients 2. 0.5"}, summed([](double v, size_t i) {
             return std::pow(v, std::array{2.0, 0.5, 1.0, 1.0}[i]);
         })},
        {"distance.minkovsky",
         {},
         [](const auto &x) { return square(sum_of(x, [](double v) { return std::sqrt(std::fabs(v)); })); }},
        {"distance.minkovsky", {"exponent 4."}, [](const auto &x) { return std::pow(sum_of(x, square), 0.25); }},
        {"distance.minkovsky",
         {"exponent 3."},
         [](const auto &x) { return std::cbrt(sum_of(x, [](double v) { return std::fabs(v * v * v); })); }},
        {"filter.bessel",
         {},
         [](const auto &x) {
             const double r = std::sqrt(sum_of(x, square)), q = square(r / 3.2383);
             return q >= 1 ? 0 : r == 0 ? pi : 2 * std::cos(r / 3.2383 * pi / 2) * bessel1(pi * r) / r;
         }},
        {"filter.box", {"width 1.2"}, product([](double v) { return std::fabs(v) <= 0.6 ? 1 : 0; })},
        {"filter.catmullrom", {"width 1.5"}, catmullrom},
        {"filter.disk", {"width 1.5"}, [](const auto &x) { return sum_of(x, square) < 0.5625 ? 1 : 0; }},
        {"filter.gaussian",
         {"alpha 0.5"},
         [](const auto &x) {
             return std::max(0.0, std::exp(-0.5 * 4 * sum_of(x, square) / 6.25) - std::exp(-0.5 * 6.25));
         }},
        {"filter.lanczossinc", {"width 2.5", "alpha 0.5"}, product(lanczos)},
        {"filter.mitchell", {}, product([](double v) { return mitchell(v, 2, 1.0 / 3, 1.0 / 3); })},
        {"filter.mitchell", {"b 0.", "c 0.5", "width 3."}, product([](double v) {
             return mitchell(v, 3, 0, 0.5);
         })},
        {"filter.sinc", {"alpha 3."}, product([](double v) {
             const double a = std::fabs(v / 2) * 3 * pi;
             return a < 3e-5 * pi ? 1 : std::sin(a) / a;
         })},
        {"filter.triangle", {"width 1.25"}, product([](double v) { return std::max(0.0, 1.25 - std::fabs(v)); })},
        {"transfer.bias", {"beta 0.25"}, product([](double v) { return v; })},
        {"transfer.cubic", {}, product([](double v) { return v * v * (3 - 2 * v); })},
        {"transfer.quintic", {"a 0.5", "b -1."}, product([](double v) {
             return 0.5 - v + v * v * v * (10 - 15 * v + 6 * v * v);
         })},
        {"transfer.gain", {"beta 0.2"}, product(gain)},
        {"transfer.pulse", {"low 0.25", "high 0.75"}, product([](double v) { return v >= 0.25 && v < 0.75; })},
        {"transfer.saw", {}, product([](double v) { return v - std::floor(v); })},
        {"transfer.sine", {}, product([](double v) { return std::sin(2 * pi * v); })},
        {"transfer.smoothstep", {"low -0.5"}, product([](double v) { return smooth(v, -0.5, 1); })},
        {"transfer.smoothpulse", {"starthigh 0.5"}, product([](double v) {
             return v < 0 || v >= 1 ? 0 : v < 0.9 ? smooth(v, 0, 0.5) : 1 - smooth(v, 0.9, 1);
         })},
        {"transfer.step", {"threshold 0.25"}, product([](double v) { return v < 0.25 ? 0 : 1; })},
        {"transfer.solarize", {"scale 3."}, product([](double v) { return std::fabs(v - 0.5) * 3; })},
    };
}

TEST_F(Leaves, follow_their_rules)
{
    const std::vector<std::vector<double>> points = {
        {0},    {0.3},         {-0.3},       {0.999},         {1.75},
        {-2.6}, {0.25, 0.125}, {-0.75, 1.5}, {0.1, 0.2, 0.3}, {1, -1, 0.5, 0.25}};
    for (const leaf &l : leaves()) {
        const functor f(l.name, l.settings);
        for (const std::vector<double> &x : points) {
            const double expected = l.value(x);
            const long n = static_cast<long>(x.size());
            std::vector<float> narrow(x.begin(), x.end());
            std::vector<int32_t> raw;
            for (double v : x)
                raw.push_back(fixed_of(v));
            const std::string where =
                std::string(l.name) + " at " + std::to_string(x[0]) + ", " + std::to_string(n) + " coordinates";
            // gain narrows its coordinate, the bessel series has seven digits
            EXPECT_NEAR(eval(f, n, x.data()), expected, 3e-7 * (1 + std::fabs(expected))) << where;
            EXPECT_NEAR(eval(f, n, narrow.data()), expected, 4e-6 * (1 + std::fabs(expected))) << where;
            const bool converts = l.name != std::string("filter.gaussian") && l.name != std::string("filter.disk");
            if (converts) {
                EXPECT_NEAR(eval(f, n, raw.data()) / 65536.0, expected, 2e-3 * (1 + std::fabs(expected))) << where;
            }
        }
    }
}

TEST_F(Leaves, have_their_odd_corners)
{
    EXPECT_EQ(functor("transfer.bias", {"beta 0.25"}).at(0.3), 0.3);
    EXPECT_EQ(functor("transfer.gain").at(0.3), static_cast<double>(0.3f));
    EXPECT_EQ(functor("transfer.saw").at(-0.25), 0.75);
    EXPECT_EQ(functor("transfer.saw").at(-2.0), 0);
    EXPECT_EQ(functor("transfer.pulse").at(0.0), 1);
    EXPECT_EQ(functor("transfer.pulse").at(1.0), 0);
    EXPECT_EQ(functor("filter.box").at(1.0), 1);
    EXPECT_EQ(functor("filter.bessel").at(0.0), pi);
    EXPECT_EQ(functor("filter.bessel").raw(0), 205887);
    EXPECT_EQ(functor("filter.triangle").at(0.0), 2);
    EXPECT_EQ(functor("filter.catmullrom").at(0.0), 2);
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
    const functor box("filter.box", {"width 0.5"});
    EXPECT_EQ(box.raw(16384), 65536);
    EXPECT_EQ(box.raw(-16385), 0);
    EXPECT_EQ(box.raw(INT32_MIN), 0);
    EXPECT_EQ(smooth_pulse_float64(0.05, 0, 0.1, 0.9, 1), 0.5);
    EXPECT_EQ(smooth_pulse_float32(0.5f, 0, 0.1f, 0.9f, 1), 1);
    EXPECT_EQ(smooth_pulse_float64(1, 0, 0.1, 0.9, 1), 0);
}

TEST_F(Leaves, keep_bounds_in_order)
{
    const functor f("transfer.pulse", {"low 2."});
    EXPECT_EQ(f.number("low"), 1);
    EXPECT_EQ(f.number("high"), 2);
    EXPECT_EQ(f.at(1.5), 1);
    const functor s("transfer.smoothpulse", {"endhigh 0.5"});
    EXPECT_EQ(s.number("endlow"), 0.5);
    EXPECT_EQ(s.number("endhigh"), 0.9);
    EXPECT_EQ(s.number("starthigh"), 0.1);
}

TEST_F(Leaves, lists_keep_what_they_are_not_given)
{
    const functor f("distance.superquadratic", {"coefficients 2. 3. 4.", "coefficients 5."});
    double values[40] = {};
    EXPECT_EQ(vok_attr_getdouble_array(f.object, gensym("coefficients"), 40, values), 32);
    EXPECT_EQ(values[0], 5);
    EXPECT_EQ(values[1], 3);
    EXPECT_EQ(values[3], 1);
    std::string many = "coefficients";
    for (int i = 0; i < 50; i++)
        many += " 7.";
    EXPECT_EQ(f.set(many), 0);
    EXPECT_EQ(vok_attr_getdouble_array(f.object, gensym("coefficients"), 40, values), 32);
    EXPECT_EQ(values[31], 7);
    const functor cubic("transfer.cubic", {"c 0.1"});
    EXPECT_EQ(cubic.number("c"), static_cast<double>(0.1f));
    EXPECT_NEAR(cubic.at(1), static_cast<double>(0.1f) - 2, 1e-15);
}

TEST_F(Leaves, a_spline_runs_through_its_knots)
{
    const functor f("curve.cubicspline", {"knots 0. 1. 3. 2. 5."});
    EXPECT_DOUBLE_EQ(f.at(0), 1);
    EXPECT_DOUBLE_EQ(f.at(0.5), 3);
    EXPECT_DOUBLE_EQ(f.at(0.25), (-0 + 9 * 1 + 9 * 3 - 2) / 16.0); // the middle of four knots
    EXPECT_DOUBLE_EQ(f.at(0.5, 0), 3);
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
    EXPECT_EQ(knots[4], 5);
    EXPECT_EQ(knots[5], 8);
    EXPECT_EQ(vok_functor_curve_cubicspline_setknot_float32(f.object, 9, 8), 0);
    EXPECT_EQ(vok_functor_curve_cubicspline_setknot_float32(f.object, -1, 8), VOK_ERR_INVP);
    EXPECT_EQ(vok_functor_curve_cubicspline_resize(f.object, -1), VOK_ERR_INVP);
    EXPECT_EQ(vok_functor_curve_cubicspline_resize(nullptr, 1), VOK_ERR_INVP);
    for (double x : {-1e30, -0.5, 1.0, 1.5, 1e30, double(NAN), double(INFINITY)}) {
        f.at(x); // harmless, whatever they give
        f.at32(x);
        f.raw(fixed_of(x));
    }
    const functor none("curve.cubicspline");
    EXPECT_EQ(none.at(0.5), 0);
    const functor linear("curve.linear", {"knots 1. 2. 3."});
    EXPECT_EQ(linear.at(0.5), 0);
    double values[4] = {};
    EXPECT_EQ(vok_attr_getdouble_array(linear.object, gensym("knots"), 4, values), 3);
}

TEST_F(Leaves, nothing_breaks_them)
{
    const char *numbers[] = {"0.", "-1.", "1e30", "-1e30", "1e-300", "nan", "inf"};
    std::vector<double> coordinates = {0, NAN, INFINITY, -INFINITY, 1e30, -1e30, 2147483648.0, -0.0, 1e-320};
    coordinates.resize(32, -3.25);
    std::vector<float> narrow;
    std::vector<int32_t> raw = {INT32_MIN, INT32_MAX, -1};
    for (double v : coordinates)
        narrow.push_back(static_cast<float>(v));
    raw.resize(32, 98304);
    for (const leaf &l : leaves()) {
        functor f(l.name);
        long count = 0;
        symbol **names = nullptr;
        object_attr_getnames(f.object, &count, &names);
        for (long i = 0; i < count; i++) {
            for (const char *number : numbers) {
                atom a;
                atom_setfloat(&a, std::strtod(number, nullptr));
                object_attr_setvalueof(f.object, names[i], 1, &a);
                for (long n : {0L, 1L, 2L, 32L}) {
                    eval(f, n, coordinates.data());
                    eval(f, n, narrow.data());
                    eval(f, n, raw.data());
                }
                for (size_t k = 0; k + 1 < coordinates.size(); k++)
                    eval(f, 1, coordinates.data() + k);
            }
        }
        sysmem_freeptr(names);
        vok_object_free(vok_object_new(vok_object_classname(f.object)));
    }
    const functor zero("filter.catmullrom", {"width 0."});
    EXPECT_TRUE(std::isnan(zero.at(0.0))) << "a width of 0 gives what follows from the division";
}

} // namespace
