// The filters: kernels of a width about the origin. Where nothing else is said the rule is
// for one coordinate, and the value is the product over all.
#include "functor/functor.h"

#include <numbers>

#include <vokra/numerics.h>

using vok::functor::absolute;
using vok::functor::fixed;
using vok::functor::formats;
using vok::functor::product_over;
using vok::functor::sum_over;

namespace {

template <typename T> constexpr T pi = std::numbers::pi_v<T>;

} // namespace

// Radial.
struct vok_functor_filter_bessel {
    object header;
    double width;
    formats radius2;

    using fixed_by = double;
    void init() { width = 6.4766; }
    void derive() { radius2.set(width / 2 * (width / 2)); }
    template <typename T> T eval(long n, const T *x) const
    {
        const T r2 = radius2.as<T>();
        const T s = sum_over<T>(n, [=](long i) { return x[i] * x[i]; });
        const T q = sum_over<T>(n, [=](long i) { return x[i] * x[i] / r2; });
        if (q >= 1)
            return 0;
        const T r = std::sqrt(s);
        if (r == 0)
            return pi<T>;
        return 2 * std::cos(std::sqrt(q) * pi<T> / 2) * static_cast<T>(vok_math_j1(pi<T> * r)) / r;
    }
};

// The smallest of the values, not their product.
struct vok_functor_filter_box {
    object header;
    double width;
    formats half;

    void init() { width = 2; }
    void derive() { half.set(width / 2); }
    template <typename T> T eval(long n, const T *x) const
    {
        for (long i = 0; i < n; i++)
            if (!(absolute(x[i]) <= half.as<T>()))
                return 0;
        return 1;
    }
    fixed eval_fixed(long n, const fixed *x) const
    {
        for (long i = 0; i < n; i++)
            if (std::labs(x[i]) > half.as<fixed>())
                return 0;
        return 65536;
    }
};

// On the sum of the coordinates; twice the usual kernel (deliberate).
struct vok_functor_filter_catmullrom {
    object header;
    double width;
    formats inverse;

    using fixed_by = float;
    void init() { width = 1; }
    void derive() { inverse.set(1 / width); }
    template <typename T> T eval(long n, const T *x) const
    {
        const T by = inverse.as<T>();
        const T a = sum_over<T>(n, [=](long i) { return absolute(x[i] * by); });
        const T s = sum_over<T>(n, [=](long i) { return x[i] * x[i]; });
        if (a >= 2)
            return 0;
        return a < 1 ? 3 * a * s - 5 * s + 2 : -8 * a + 5 * s - a * s + 4;
    }
};

// Radial.
struct vok_functor_filter_disk {
    object header;
    double width;
    formats inverse2;

    void init() { width = 2; }
    void derive() { inverse2.set(1 / (width / 2 * (width / 2))); }
    template <typename T> T eval(long n, const T *x) const
    {
        const T by = inverse2.as<T>();
        return sum_over<T>(n, [=](long i) { return x[i] * x[i] * by; }) < 1 ? 1 : 0;
    }
    fixed eval_fixed(long n, const fixed *x) const
    {
        fixed sum = 0;
        for (long i = 0; i < n; i++) {
            const auto raw = static_cast<uint32_t>(x[i]);
            const auto square = static_cast<fixed>(raw * raw >> 16);
            sum = vok::functor::plus(sum, vok::functor::times(square, inverse2.as<fixed>()) >> 16);
        }
        return sum < 65536 ? 65536 : 0;
    }
};

// Radial. What is taken off the peak doesn't bring the edge to 0 (deliberate).
struct vok_functor_filter_gaussian {
    object header;
    double width, alpha;
    double edge;
    double end; // where the value is 0 for certain, however the exponential is rounded

    void init()
    {
        width = 2.5;
        alpha = 1;
    }
    void derive()
    {
        edge = std::exp(-alpha * width * width);
        end = alpha > 0 && edge > 1e-30 ? width * width + 0.01 / alpha : HUGE_VAL;
    }
    template <typename T> T eval(long n, const T *x) const
    {
        const T s = sum_over<T>(n, [=, w = static_cast<T>(width)](long i) {
            const T t = 2 * x[i] / w;
            return t * t;
        });
        if (s > static_cast<T>(end))
            return 0;
        const T value = std::exp(static_cast<T>(-alpha) * s) - static_cast<T>(edge);
        return value < 0 ? 0 : value;
    }
    // The raw integers enter the formula: a spike at zero (deliberate).
    fixed eval_fixed(long n, const fixed *x) const
    {
        float raw[256];
        n = n < 256 ? n : 256;
        for (long i = 0; i < n; i++)
            raw[i] = static_cast<float>(x[i]);
        return vok::functor::to_fixed(eval(n, raw));
    }
};

struct vok_functor_filter_lanczossinc {
    object header;
    double width, alpha;
    formats inverse;

    using fixed_by = float;
    void init()
    {
        width = 2;
        alpha = 1;
    }
    void derive() { inverse.set(1 / width); }
    template <typename T> T scalar(T x) const
    {
        const T a = absolute(x * inverse.as<T>());
        if (a < static_cast<T>(1e-5))
            return 1;
        if (a > 1)
            return 0;
        const T u = pi<T> * a, v = static_cast<T>(alpha) * pi<T> * a;
        return std::sin(u) / u * (std::sin(v) / v);
    }
    float eval(long n, const float *x)
    {
        return vok_functor_eval_float32_with_scalar_product(this, n, x,
                                                            vok_functor_filter_lanczossinc_eval_float32_scalar);
    }
    double eval(long n, const double *x)
    {
        return vok_functor_eval_float64_with_scalar_product(this, n, x,
                                                            vok_functor_filter_lanczossinc_eval_float64_scalar);
    }
};

struct vok_functor_filter_mitchell {
    object header;
    double width, b, c;
    formats inverse;
    vok::functor::formats_of<9> d;

    using fixed_by = double;
    void init()
    {
        width = 2;
        b = c = 1.0 / 3;
    }
    void derive()
    {
        inverse.set(1 / width);
        const double polynomials[9] = {-b - 6 * c,           6 * b + 30 * c, -12 * b - 48 * c,
                                       8 * b + 24 * c,       1.0 / 6,        12 - 9 * b - 6 * c,
                                       -18 + 12 * b + 6 * c, 6 - 2 * b,      1.0 / 6};
        d.set(polynomials);
    }
    template <typename T> T eval(long n, const T *x) const
    {
        const T *k = d.as<T>();
        return product_over(n, x, [&](T v) {
            const T a = absolute(2 * v * inverse.as<T>());
            const T a2 = a * a, a3 = a2 * a;
            return a > 1 ? (k[0] * a3 + k[1] * a2 + k[2] * a + k[3]) * k[4] // and no cut at 2: deliberate
                         : (k[5] * a3 + k[6] * a2 + k[7]) * k[8];
        });
    }
};

// Not cut at its width (deliberate).
struct vok_functor_filter_sinc {
    object header;
    double width, alpha;
    formats inverse;

    using fixed_by = float;
    void init()
    {
        width = 2;
        alpha = 1;
    }
    void derive() { inverse.set(1 / width); }
    template <typename T> T eval(long n, const T *x) const
    {
        return product_over(n, x, [&](T v) -> T {
            const T a = absolute(v * inverse.as<T>());
            if (a < static_cast<T>(1e-5))
                return 1;
            const T t = static_cast<T>(alpha) * pi<T> * a;
            return static_cast<T>(std::sin(static_cast<double>(t)) / static_cast<double>(t));
        });
    }
};

// Its peak is `width`, not 1 (deliberate).
struct vok_functor_filter_triangle {
    object header;
    double width;
    formats widths;

    void init() { width = 2; }
    void derive() { widths.set(width); }
    template <typename T> T eval(long n, const T *x) const
    {
        return product_over(n, x, [&](T v) -> T {
            const T rest = widths.as<T>() - absolute(v);
            return rest < 0 ? 0 : rest;
        });
    }
    fixed eval_fixed(long n, const fixed *x) const
    {
        const auto rule = [&](fixed v) {
            const long rest = widths.as<fixed>() - std::labs(v);
            return rest < 0 ? 0 : static_cast<fixed>(rest);
        };
        fixed result = rule(x[0]);
        for (long i = 1; i < n; i++)
            result = vok::functor::product(result, rule(x[i]));
        return result;
    }
};

double vok_functor_filter_gaussian_eval_float64_scalar(void *x, double value)
{
    return static_cast<vok_functor_filter_gaussian *>(x)->eval(1, &value);
}

float vok_functor_filter_lanczossinc_eval_float32_scalar(void *x, float value)
{
    return static_cast<vok_functor_filter_lanczossinc *>(x)->scalar(value);
}

double vok_functor_filter_lanczossinc_eval_float64_scalar(void *x, double value)
{
    return static_cast<vok_functor_filter_lanczossinc *>(x)->scalar(value);
}

namespace vok::functor {

#define VOKRA_FUNCTOR_WIDTH(name) VOKRA_FUNCTOR_NUMBER(vok_functor_filter_##name, width, "Width")
#define VOKRA_FUNCTOR_ALPHA(name) VOKRA_FUNCTOR_NUMBER(vok_functor_filter_##name, alpha, "Alpha")
#define VOKRA_FUNCTOR_FILTER(name, ...)                                                                           \
    template <>                                                                                                   \
    constexpr auto attributes<vok_functor_filter_##name> =                                                        \
        std::array{VOKRA_FUNCTOR_WIDTH(name) __VA_OPT__(, ) __VA_ARGS__};
VOKRA_FUNCTOR_FILTER(bessel)
VOKRA_FUNCTOR_FILTER(box)
VOKRA_FUNCTOR_FILTER(catmullrom)
VOKRA_FUNCTOR_FILTER(disk)
VOKRA_FUNCTOR_FILTER(gaussian, VOKRA_FUNCTOR_ALPHA(gaussian))
VOKRA_FUNCTOR_FILTER(lanczossinc, VOKRA_FUNCTOR_ALPHA(lanczossinc))
VOKRA_FUNCTOR_FILTER(mitchell, VOKRA_FUNCTOR_NUMBER(vok_functor_filter_mitchell, b, "B"),
                     VOKRA_FUNCTOR_NUMBER(vok_functor_filter_mitchell, c, "C"))
VOKRA_FUNCTOR_FILTER(sinc, VOKRA_FUNCTOR_ALPHA(sinc))
VOKRA_FUNCTOR_FILTER(triangle)

} // namespace vok::functor

VOK_FUNCTORS_FILTER(VOKRA_FUNCTOR)
