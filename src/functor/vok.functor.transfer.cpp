// The transfers: rules for one coordinate; the value is the product over all.
#include "functor/vok.functor.transfer.records.h"

#include <mutex>
#include <numbers>

using vok::functor::absolute;
using vok::functor::fixed;
using vok::functor::formats;
using vok::functor::product_over;

VOKRA_FUNCTOR_ROWS(cubic)
VOKRA_FUNCTOR_ROWS(quintic)

struct vok_functor_transfer_bias {
    object header;
    double beta;
    double k; // would be 1 / beta - 2; it stays 0 all the object's life: deliberate

    using fixed_by = double;
    void init() { beta = 0.5; }
    template <typename T> T eval(long n, const T *x) const
    {
        return product_over(n, x, [&](T v) { return v / ((1 - v) * static_cast<T>(k) + 1); });
    }
};

// Everything goes by float32, whatever the format.
struct vok_functor_transfer_gain {
    object header;
    double beta;
    double k;

    using fixed_by = double;
    void init() { beta = 0.5; }
    void derive() { k = 1 / beta - 2; }
    template <typename T> T eval(long n, const T *x) const
    {
        return product_over(n, x, [&](T value) {
            const float v = static_cast<float>(value);
            const float t = static_cast<float>((1 - 2 * static_cast<double>(v)) * k);
            const T narrow = v, turn = t;
            return v < 0.5f ? narrow / (turn + 1) : (turn - narrow) / (turn - 1);
        });
    }
};

// Two bounds that are kept in order: a setter that leaves them out of it swaps them.
struct bounds {
    object header;
    double low, high;

    using fixed_by = double;
    void init() { high = 1; }
    void derive()
    {
        if (low > high)
            std::swap(low, high);
    }
};

struct vok_functor_transfer_linear : bounds {
    template <typename T> T eval(long n, const T *x) const
    {
        const T from = static_cast<T>(low), to = static_cast<T>(high);
        return product_over(n, x, [=](T v) { return from + (to - from) * v; });
    }
};

struct vok_functor_transfer_pulse : bounds {
    template <typename T> T eval(long n, const T *x) const
    {
        const T from = static_cast<T>(low), to = static_cast<T>(high);
        return product_over(n, x, [=](T v) -> T { return from <= v && v < to ? 1 : 0; });
    }
};

struct vok_functor_transfer_smoothstep : bounds {
    template <typename T> T eval(long n, const T *x) const
    {
        const T from = static_cast<T>(low), to = static_cast<T>(high);
        return product_over(n, x, [=](T v) { return vok::functor::smooth_step(v, from, to); });
    }
};

struct vok_functor_transfer_smoothpulse {
    object header;
    double startlow, starthigh, endlow, endhigh;

    using fixed_by = double;
    void init()
    {
        starthigh = 0.1;
        endlow = 0.9;
        endhigh = 1;
    }
    void derive() // in order within each pair, not between them
    {
        if (startlow > starthigh)
            std::swap(startlow, starthigh);
        if (endlow > endhigh)
            std::swap(endlow, endhigh);
    }
    template <typename T> T eval(long n, const T *x) const
    {
        const T s0 = static_cast<T>(startlow), s1 = static_cast<T>(starthigh);
        const T e0 = static_cast<T>(endlow), e1 = static_cast<T>(endhigh);
        return product_over(n, x, [=](T v) { return vok::functor::smooth_pulse(v, s0, s1, e0, e1); });
    }
};

struct vok_functor_transfer_saw {
    object header;
    using fixed_by = double;
    template <typename T> T eval(long n, const T *x) const
    {
        return product_over(n, x, [](T v) { return v - static_cast<T>(vok::functor::floored(v)); });
    }
};

namespace {

// One turn in 65536 steps. Evaluation fills it at first need, once for all threads.
int32_t sines[65536];
std::once_flag sines_filled;

void fill_sines()
{
    for (int i = 0; i < 65536; i++)
        sines[i] = vok::functor::to_fixed(std::sin(i * vok::functor::from_fixed * (2 * std::numbers::pi)));
}

} // namespace

struct vok_functor_transfer_sine {
    object header;
    template <typename T> T eval(long n, const T *x) const
    {
        return product_over(n, x, [](T v) { return std::sin(2 * std::numbers::pi_v<T> * v); });
    }
    fixed eval_fixed(long n, const fixed *x)
    {
        vok_functor_transfer_sine_fixlut_init();
        return vok_functor_eval_fixed_with_lut_wrap_product(this, n, x, sines);
    }
};

struct vok_functor_transfer_step {
    object header;
    double threshold;

    using fixed_by = double;
    void init() { threshold = 1; }
    template <typename T> T eval(long n, const T *x) const
    {
        const T limit = static_cast<T>(threshold);
        return product_over(n, x, [=](T v) -> T { return v < limit ? 0 : 1; });
    }
};

struct vok_functor_transfer_solarize {
    object header;
    double threshold, scale;
    formats thresholds, scales;

    using fixed_by = double;
    void init()
    {
        threshold = 0.5;
        scale = 2;
    }
    void derive()
    {
        thresholds.set(threshold);
        scales.set(scale);
    }
    template <typename T> T scalar(T x) const { return absolute(x - thresholds.as<T>()) * scales.as<T>(); }
    float eval(long n, const float *x)
    {
        return vok_functor_eval_float32_with_scalar_product(this, n, x,
                                                            vok_functor_transfer_solarize_eval_float32_scalar);
    }
    double eval(long n, const double *x)
    {
        return vok_functor_eval_float64_with_scalar_product(this, n, x,
                                                            vok_functor_transfer_solarize_eval_float64_scalar);
    }
};

float vok_functor_transfer_solarize_eval_float32_scalar(void *x, float value)
{
    return static_cast<vok_functor_transfer_solarize *>(x)->scalar(value);
}

double vok_functor_transfer_solarize_eval_float64_scalar(void *x, double value)
{
    return static_cast<vok_functor_transfer_solarize *>(x)->scalar(value);
}

void vok_functor_transfer_sine_fixlut_init(void)
{
    std::call_once(sines_filled, fill_sines);
}

float smooth_pulse_float32(float x, float startlow, float starthigh, float endlow, float endhigh)
{
    return vok::functor::smooth_pulse(x, startlow, starthigh, endlow, endhigh);
}

double smooth_pulse_float64(double x, double startlow, double starthigh, double endlow, double endhigh)
{
    return vok::functor::smooth_pulse(x, startlow, starthigh, endlow, endhigh);
}

namespace vok::functor {

template <typename R, int i> vok_err set_coefficient(R *x, void *, long argc, atom *argv)
{
    if (!x || argc < 1 || !argv)
        return VOK_ERR_INVP;
    x->a[i] = static_cast<float>(atom_getfloat(argv));
    x->derive();
    return VOK_ERR_NONE;
}

template <typename R, int i> constexpr attribute coefficient(const char *name, const char *label)
{
    return number(name, "float32", offsetof(R, a) + i * static_cast<long>(sizeof(float)),
                  fn<set_coefficient<R, i>>, label);
}

using cubic = vok_functor_transfer_cubic;
using quintic = vok_functor_transfer_quintic;
template <> constexpr const class_rows *rows_for<vok_functor_transfer_cubic> = &cubic_rows;
template <> constexpr const class_rows *rows_for<vok_functor_transfer_quintic> = &quintic_rows;

template <>
constexpr auto attributes<cubic> = std::array{coefficient<cubic, 0>("a", "A"), coefficient<cubic, 1>("b", "B"),
                                              coefficient<cubic, 2>("c", "C"), coefficient<cubic, 3>("d", "D")};
template <>
constexpr auto attributes<quintic> =
    std::array{coefficient<quintic, 0>("a", "A"), coefficient<quintic, 1>("b", "B"),
               coefficient<quintic, 2>("c", "C"), coefficient<quintic, 3>("d", "D"),
               coefficient<quintic, 4>("e", "E"), coefficient<quintic, 5>("f", "F")};

constexpr std::array between{VOKRA_FUNCTOR_NUMBER(bounds, low, "Low"), VOKRA_FUNCTOR_NUMBER(bounds, high, "High")};
template <> constexpr auto attributes<vok_functor_transfer_linear> = between;
template <> constexpr auto attributes<vok_functor_transfer_pulse> = between;
template <> constexpr auto attributes<vok_functor_transfer_smoothstep> = between;

using smoothpulse = vok_functor_transfer_smoothpulse;
template <>
constexpr auto attributes<smoothpulse> = std::array{VOKRA_FUNCTOR_NUMBER(smoothpulse, startlow, "Start Low"),
                                                    VOKRA_FUNCTOR_NUMBER(smoothpulse, starthigh, "Start High"),
                                                    VOKRA_FUNCTOR_NUMBER(smoothpulse, endlow, "End Low"),
                                                    VOKRA_FUNCTOR_NUMBER(smoothpulse, endhigh, "End High")};
template <>
constexpr auto attributes<vok_functor_transfer_bias> =
    std::array{VOKRA_FUNCTOR_NUMBER(vok_functor_transfer_bias, beta, "Beta")};
template <>
constexpr auto attributes<vok_functor_transfer_gain> =
    std::array{VOKRA_FUNCTOR_NUMBER(vok_functor_transfer_gain, beta, "Beta")};
template <>
constexpr auto attributes<vok_functor_transfer_step> =
    std::array{VOKRA_FUNCTOR_NUMBER(vok_functor_transfer_step, threshold, "Threshold")};
template <>
constexpr auto attributes<vok_functor_transfer_solarize> =
    std::array{VOKRA_FUNCTOR_NUMBER(vok_functor_transfer_solarize, threshold, "Threshold"),
               VOKRA_FUNCTOR_NUMBER(vok_functor_transfer_solarize, scale, "Scale")};

} // namespace vok::functor

VOK_FUNCTORS_TRANSFER(VOKRA_FUNCTOR)
