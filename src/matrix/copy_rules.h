// How one element becomes another when matrices are copied. char and floating point
// are connected by the scale 0 to 1, char and long aren't, long and floating point
// are connected by value. Every number that no integer holds, NaN included, becomes
// the lowest long, as the processor's own 32-bit conversion has it.
//
// Kernel files include this too: all functions stand in an unnamed namespace, so that
// each of them has its own copy, compiled for its own instruction set.
#pragma once
#include <cstdint>

namespace vok::copy {
// The element types, in the order of every table over them.
enum cell_type : int { cell_char, cell_long, cell_float32, cell_float64, cell_types, cell_none = -1 };

namespace {

constexpr long cell_bytes[cell_types] = {1, 4, 4, 8};

inline int32_t truncated(double x)
{
    return static_cast<int32_t>(x >= -2147483648.0 && x < 2147483648.0 ? x : -2147483648.0);
}

inline int32_t truncated(float x)
{
    return static_cast<int32_t>(x >= -2147483648.0f && x < 2147483648.0f ? x : -2147483648.0f);
}

// Brought into 0 to 1, NaN becoming 0: that is the low byte of the lowest long. In
// this form both choices are single instructions, the second of which drops NaN.
inline float clipped(float x)
{
    x = x > 1.0f ? 1.0f : x;
    return x > 0.0f ? x : 0.0f;
}

inline double clipped(double x)
{
    x = x > 1.0 ? 1.0 : x;
    return x > 0.0 ? x : 0.0;
}

inline uint8_t byte_of_unit(float x)
{
    return static_cast<uint8_t>(static_cast<int32_t>(clipped(x) * 255.0f));
}

inline uint8_t byte_of_unit(double x)
{
    return static_cast<uint8_t>(static_cast<int32_t>(clipped(x) * 255.0));
}

// rule<D>::from(s): what a destination of element type D holds after s.
template <class D> struct rule;

template <> struct rule<uint8_t> {
    static uint8_t from(uint8_t s) { return s; }
    static uint8_t from(int32_t s) { return static_cast<uint8_t>(s); }
    static uint8_t from(float s) { return byte_of_unit(s); }
    static uint8_t from(double s) { return byte_of_unit(s); }
};

template <> struct rule<int32_t> {
    static int32_t from(uint8_t s) { return s; }
    static int32_t from(int32_t s) { return s; }
    static int32_t from(float s) { return truncated(s); }
    static int32_t from(double s) { return truncated(s); }
};

// A byte into floating point is b / 255 in double, narrowed for float32. The
// reciprocal in two pieces gives those very values for all 256 bytes, which one
// multiplication in the element's own precision doesn't: the product with the first
// piece is exact, the second makes up what it lacks.
template <> struct rule<float> {
    static float from(uint8_t s)
    {
        const float b = static_cast<float>(s);
        return b * 0x1.01p-8f + b * 0x1.010102p-24f;
    }
    static float from(int32_t s) { return static_cast<float>(s); }
    static float from(float s) { return s; }
    static float from(double s) { return static_cast<float>(s); }
};

template <> struct rule<double> {
    static double from(uint8_t s)
    {
        const double b = s;
        return b * 0x1.0101010101p-8 + b * 0x1.0102p-56;
    }
    static double from(int32_t s) { return s; }
    static double from(float s) { return s; }
    static double from(double s) { return s; }
};

// The end of fixed-point interpolation: `sum` is a byte times 65536.
template <class D> struct fixed_rule;

template <> struct fixed_rule<uint8_t> {
    static uint8_t from(uint32_t sum) { return static_cast<uint8_t>(sum >> 16); }
};
template <> struct fixed_rule<int32_t> {
    static int32_t from(uint32_t sum) { return static_cast<int32_t>(sum >> 16); }
};
template <> struct fixed_rule<float> {
    // the single-precision value of 1/255, applied in double
    static float from(uint32_t sum)
    {
        const float single = static_cast<float>(static_cast<int32_t>(sum));
        return static_cast<float>(static_cast<double>(single) * 0x1p-16 * 0.003921568859368563);
    }
};
template <> struct fixed_rule<double> {
    static double from(uint32_t sum)
    {
        return static_cast<double>(static_cast<int32_t>(sum)) * 0x1p-16 * (1.0 / 255.0);
    }
};

// The end of interpolation in double: `sum` is in the source's own scale.
template <class D, class S> struct double_rule {
    static D from(double sum) { return rule<D>::from(sum); }
};
template <class S> struct double_rule<int32_t, S> {
    static int32_t from(double sum) { return truncated(sum); }
};
template <class D> struct double_rule<D, uint8_t> {
    static D from(double sum) { return rule<D>::from(static_cast<uint8_t>(truncated(sum))); }
};
template <> struct double_rule<uint8_t, int32_t> {
    static uint8_t from(double sum) { return static_cast<uint8_t>(truncated(sum)); }
};
template <> struct double_rule<int32_t, uint8_t> {
    static int32_t from(double sum) { return truncated(sum); }
};

} // namespace
} // namespace vok::copy
