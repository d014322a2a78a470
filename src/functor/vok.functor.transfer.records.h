// The records of the transfers that have kernels of their own, which read them.
#pragma once
#include "functor/functor.h"

// The sum of powers with the coefficients in turn. They are float32, so a value goes
// through that precision first.
template <int count> struct polynomial {
    object header;
    float a[count];
    double wide[count];

    using fixed_by = double;
    void derive()
    {
        for (int i = 0; i < count; i++)
            wide[i] = a[i];
    }
    template <typename T> const T *coefficients() const
    {
        if constexpr (std::is_same_v<T, float>)
            return a;
        else
            return wide;
    }
    template <typename T> T eval(long n, const T *x) const
    {
        const T *k = coefficients<T>();
        return vok::functor::product_over(n, x, [&](T v) {
            T sum = k[0], power = v;
            for (int i = 1; i < count; i++, power *= v)
                sum += k[i] * power;
            return sum;
        });
    }
};

struct vok_functor_transfer_cubic : polynomial<4> {
    void init()
    {
        a[2] = 3;
        a[3] = -2;
    }
};

struct vok_functor_transfer_quintic : polynomial<6> {
    void init()
    {
        a[3] = 10;
        a[4] = -15;
        a[5] = 6;
    }
};
