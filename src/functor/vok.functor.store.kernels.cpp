// Values into cells: the last step of filling a matrix from a functor, compiled once per
// instruction set. Contiguous planes are the case that pays.
#include "functor/vok.functor.store.h"

#ifndef VOKRA_ISA
#error "compiled per instruction set, see cmake/VokraCompile.cmake"
#endif

namespace vok::functor::VOKRA_ISA {
namespace {

#include "functor/vok.functor.bodies.h"

template <typename T> struct product_of {
    static T times_weight(T v, T w) { return v * w; }

    static uint8_t to(uint8_t, T v, T w, int)
    {
        const T scaled = times_weight(v, w) * 255;
        const T low = scaled > 0 ? scaled : 0; // NaN becomes 0
        return static_cast<uint8_t>(static_cast<int32_t>(low < 255 ? low : 255));
    }
    // The factor has no float32.
    static int32_t to(int32_t, T v, T w, int)
    {
        return truncated(static_cast<double>(times_weight(v, w)) * 2147483647.0);
    }
    static float to(float, T v, T w, int) { return static_cast<float>(times_weight(v, w)); }
    static double to(double, T v, T w, int) { return static_cast<double>(times_weight(v, w)); }
};

template <> struct product_of<fixed> {
    static uint8_t to(uint8_t, fixed v, fixed w, int shift)
    {
        const int32_t scaled = times(v >> 8, times(w >> 8, 0xFF00) >> 8) >> shift;
        const int32_t low = scaled > 0 ? scaled : 0;
        return static_cast<uint8_t>(low < 255 ? low : 255);
    }
    static int32_t to(int32_t, fixed v, fixed w, int shift)
    {
        return times(times(w >> 8, 0x7FFFFF) >> 8, v >> 8) >> shift;
    }
    static float to(float, fixed v, fixed w, int shift)
    {
        return static_cast<float>(times(v >> 8, w >> 8) >> shift);
    }
    static double to(double, fixed v, fixed w, int shift) { return times(v >> 8, w >> 8) >> shift; }
};

template <typename T, typename Out>
void store(long n, const void *values, const void *weight, int shift, void *out, long stride)
{
    const T *v = static_cast<const T *>(values);
    const T w = *static_cast<const T *>(weight);
    Out *__restrict z = static_cast<Out *>(out);
    if (stride == 1)
        for (long i = 0; i < n; i++)
            z[i] = product_of<T>::to(Out(), v[i], w, shift);
    else
        for (long i = 0; i < n; i++)
            z[i * stride] = product_of<T>::to(Out(), v[i], w, shift);
}

} // namespace

extern const store_table stores;
constinit const store_table stores = {
    {{store<fixed, uint8_t>, store<fixed, int32_t>, store<fixed, float>, store<fixed, double>},
     {store<float, uint8_t>, store<float, int32_t>, store<float, float>, store<float, double>},
     {store<double, uint8_t>, store<double, int32_t>, store<double, float>, store<double, double>}}};

} // namespace vok::functor::VOKRA_ISA
