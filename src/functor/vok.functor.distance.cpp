// The distances of a point from the origin. Euclidean, squared and chebychev read the first
// coordinate whatever the count; the others give 0 without coordinates.
#include "functor/functor.h"

using vok::functor::absolute;
using vok::functor::formats_of;
using vok::functor::sum_over;

// ---- rules without parameters ----

struct vok_functor_distance_chebychev {
    object header;
    using fixed_by = float;
    template <typename T> T eval(long n, const T *x) const
    {
        T largest = absolute(x[0]);
        for (long i = 1; i < n; i++)
            largest = absolute(x[i]) > largest ? absolute(x[i]) : largest;
        return largest;
    }
};

struct vok_functor_distance_euclidean_squared {
    object header;
    using fixed_by = float;
    template <typename T> T eval(long n, const T *x) const
    {
        return sum_over<T>(n < 1 ? 1 : n, [=](long i) { return x[i] * x[i]; });
    }
};

struct vok_functor_distance_squared : vok_functor_distance_euclidean_squared {};

struct vok_functor_distance_euclidean {
    object header;
    using fixed_by = float;
    template <typename T> T eval(long n, const T *x) const
    {
        return std::sqrt(vok_functor_distance_euclidean_squared().eval(n, x));
    }
};

struct vok_functor_distance_manhattan {
    object header;
    using fixed_by = double;
    template <typename T> T eval(long n, const T *x) const
    {
        return sum_over<T>(n, [=](long i) { return absolute(x[i]); });
    }
};

// ---- rules with a parameter a dimension; coordinates beyond the 32 don't count, and of
// superquadratic no root is taken ----

struct vok_functor_distance_manhattan_radial {
    object header;
    double radius[32];
    formats_of<32> radii;

    using fixed_by = double;
    void init()
    {
        for (double &r : radius)
            r = 0.5;
    }
    void derive() { radii.set(radius); }
    template <typename T> T eval(long n, const T *x) const
    {
        const T *r = radii.as<T>();
        return sum_over<T>(n < 32 ? n : 32, [=](long i) { return absolute(x[i]) * r[i]; });
    }
};

struct vok_functor_distance_radial : vok_functor_distance_manhattan_radial {};

struct vok_functor_distance_superquadratic {
    object header;
    double coefficients[32];
    formats_of<32> exponents;

    using fixed_by = double;
    void init()
    {
        for (double &c : coefficients)
            c = 1;
    }
    void derive() { exponents.set(coefficients); }
    template <typename T> T eval(long n, const T *x) const
    {
        const T *p = exponents.as<T>();
        return sum_over<T>(n < 32 ? n : 32, [=](long i) { return std::pow(absolute(x[i]), p[i]); });
    }
};

struct vok_functor_distance_minkovsky {
    object header;
    double exponent;
    double inverse;

    using fixed_by = double;
    using float32_by = double;
    void init() { exponent = 0.5; }
    void derive() { inverse = 1 / exponent; }
    template <typename T> T eval(long n, const T *x) const
    {
        if (exponent == 0.5) {
            const T sum = sum_over<T>(n, [=](long i) { return std::sqrt(absolute(x[i])); });
            return sum * sum;
        }
        if (exponent == 4) // squares, not fourth powers: deliberate
            return std::sqrt(std::sqrt(sum_over<T>(n, [=](long i) { return x[i] * x[i]; })));
        return std::pow(sum_over<T>(n, [=, this](long i) { return std::pow(absolute(x[i]), exponent); }), inverse);
    }
};

// ---- their attributes ----

namespace vok::functor {

// An array whose count stands in the storage of its element 0 (deliberate): all 32 are got
// while that is above 0, and none otherwise.
#define VOKRA_FUNCTOR_RADII(R, field, label)                                                                      \
    numbers(#field, offsetof(R, field), offsetof(R, field), fn<set_array<&R::field>>, label)

template <>
constexpr auto attributes<vok_functor_distance_manhattan_radial> =
    std::array{VOKRA_FUNCTOR_RADII(vok_functor_distance_manhattan_radial, radius, "Radius")};
template <>
constexpr auto attributes<vok_functor_distance_radial> = attributes<vok_functor_distance_manhattan_radial>;
template <>
constexpr auto attributes<vok_functor_distance_superquadratic> =
    std::array{VOKRA_FUNCTOR_RADII(vok_functor_distance_superquadratic, coefficients, "Coefficients")};
template <>
constexpr auto attributes<vok_functor_distance_minkovsky> =
    std::array{VOKRA_FUNCTOR_NUMBER(vok_functor_distance_minkovsky, exponent, "Exponent")};

} // namespace vok::functor

VOK_FUNCTORS_DISTANCE(VOKRA_FUNCTOR)
VOK_FUNCTORS_UNREGISTERED(VOKRA_FUNCTOR)
