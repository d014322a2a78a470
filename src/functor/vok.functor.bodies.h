// The scalar arithmetic of the family. Included inside a namespace: once by functor.h, and
// by each kernel file in a namespace of its own, so that no instruction set gets the code
// of another. No include may stand here.

using fixed = int32_t;

constexpr double from_fixed = 1.52587890625e-5; // 2^-16

// Truncated toward zero; what has no 32-bit value, NaN included, becomes the lowest one.
inline int32_t truncated(double x)
{
    return static_cast<int32_t>(x >= -2147483648.0 && x < 2147483648.0 ? x : -2147483648.0);
}

inline int32_t truncated(float x)
{
    return static_cast<int32_t>(x >= -2147483648.0f && x < 2147483648.0f ? x : -2147483648.0f);
}

inline fixed to_fixed(double x)
{
    return truncated(x * 65536.0);
}

inline fixed to_fixed(float x)
{
    return truncated(x * 65536.0f);
}

// 32-bit arithmetic that wraps.
inline int32_t plus(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

inline int32_t minus(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

inline int32_t times(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// The fixed product of the family: twelve bits of each fraction survive.
inline fixed product(fixed a, fixed b)
{
    return times(a >> 4, b >> 4) >> 8;
}

// The same in the other formats, for what is written once for all three.
inline float plus(float a, float b)
{
    return a + b;
}

inline double plus(double a, double b)
{
    return a + b;
}

inline float minus(float a, float b)
{
    return a - b;
}

inline double minus(double a, double b)
{
    return a - b;
}

inline float product(float a, float b)
{
    return a * b;
}

inline double product(double a, double b)
{
    return a * b;
}

// The floor as a 32-bit integer: truncated, less one when negative and not whole. NaN goes
// the way of what is negative and not whole.
template <typename T> inline int32_t floored(T x)
{
    const int32_t whole = truncated(x);
    return x >= 0 || static_cast<T>(whole) == x ? whole : minus(whole, 1);
}

template <typename T> inline T absolute(T x)
{
    return static_cast<T>(__builtin_fabs(static_cast<double>(x)));
}

// 0 below `low`, 1 from `high` on, and t * t * (3 - 2 * t) between.
template <typename T> inline T smooth_step(T x, T low, T high)
{
    if (x < low)
        return 0;
    if (x >= high)
        return 1;
    const T t = (x - low) / (high - low);
    return t * t * (3 - 2 * t);
}

// A smooth step up from s0 to s1 and one down from e0 to e1.
template <typename T> inline T smooth_pulse(T x, T s0, T s1, T e0, T e1)
{
    if (x < s0 || x >= e1)
        return 0;
    if (x < s1)
        return smooth_step(x, s0, s1);
    if (x < e0)
        return 1;
    return 1 - smooth_step(x, e0, e1);
}
