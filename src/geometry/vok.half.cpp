// Half floats: 16 bits of IEEE 754 binary16, kept in words and calculated in float32.
#include <vokra/numerics.h>

#include <bit>

float vok_half_flut[65536];
uint16_t vok_half_elut[512];
long vok_half_elut_ok;
long vok_half_flut_ok;

namespace {

// The bits of the float that a half stands for.
uint32_t widened(uint32_t h)
{
    const uint32_t sign = (h & 0x8000) << 16;
    uint32_t exponent = h >> 10 & 0x1F, mantissa = h & 0x3FF;
    if (exponent == 31)
        return sign | 0x7F800000 | mantissa << 13;
    if (exponent == 0) {
        if (mantissa == 0)
            return sign;
        exponent = 1;
        for (; !(mantissa & 0x400); mantissa <<= 1)
            exponent--; // wraps below 0, and comes back above it with the bias
        mantissa &= 0x3FF;
    }
    return sign | (exponent + 112) << 23 | mantissa << 13;
}

// The floats that the table has no entry for: tiny, huge and special ones. `bits` is
// not a zero.
long narrowed_slowly(uint32_t bits)
{
    const uint32_t sign = bits >> 16 & 0x8000;
    const uint32_t e = bits >> 23 & 0xFF;
    uint32_t m = bits & 0x7FFFFF;
    if (e > 0x70) {
        uint32_t exponent = e - 0x70;
        if (exponent == 0x8F) {
            if (m == 0)
                return sign | 0x7C00;
            m >>= 13;
            return sign | 0x7C00 | m | (m == 0);
        }
        if (m & 0x1000) {
            m += 0x2000;
            if (m & 0x800000) {
                m = 0;
                exponent++;
            }
        }
        return exponent < 0x1F ? (m >> 13) | exponent << 10 | sign : sign | 0x7C00;
    }
    if (e < 0x66)
        return 0; // the sign is lost, as that of a zero is
    m = (m | 0x800000) >> (0x71 - e);
    if (m & 0x1000)
        m += 0x2000;
    return (m >> 13) | sign;
}

long is_set(bool value)
{
    return value ? 1 : 0;
}

// Toward zero; 0 for what has no 64-bit integer.
long truncated(float f)
{
    return f > -9.2e18f && f < 9.2e18f ? static_cast<long>(f) : 0;
}

long exponent_of(long h)
{
    return h >> 10 & 0x1F;
}

long mantissa_of(long h)
{
    return h & 0x3FF;
}

} // namespace

void vok_half_init(void)
{
    static const bool built = [] {
        for (uint32_t e = 0; e < 256; e++) {
            const uint32_t entry = e < 113 || e > 141 ? 0 : (e - 112) << 10;
            vok_half_elut[e] = static_cast<uint16_t>(entry);
            vok_half_elut[e | 0x100] = static_cast<uint16_t>(entry ? entry | 0x8000 : 0);
        }
        for (uint32_t h = 0; h < 65536; h++)
            vok_half_flut[h] = std::bit_cast<float>(widened(h));
        vok_half_elut_ok = vok_half_flut_ok = 1;
        return true;
    }();
    static_cast<void>(built);
}

long vok_float_to_half(float f)
{
    const auto bits = std::bit_cast<uint32_t>(f);
    if ((bits & 0x7FFFFFFF) == 0)
        return 0; // the sign of a negative zero is lost: deliberate
    if (!vok_half_elut_ok) [[unlikely]]
        vok_half_init();
    if (const uint32_t entry = vok_half_elut[bits >> 23])
        return entry + (((bits & 0x7FFFFF) + 0x1000) >> 13); // a carry rounds into the exponent
    return narrowed_slowly(bits);
}

float vok_half_to_float(long h)
{
    if (!vok_half_flut_ok) [[unlikely]]
        vok_half_init();
    return vok_half_flut[h & 0xFFFF];
}

long vok_half_round(long h, long n)
{
    if (n > 9)
        return h;
    const long drop = n < -6 ? 15 : 9 - n; // 15 bits and a sign: nothing is left to drop
    long m = (h & 0x7FFF) >> drop;
    const long r = (m + (m & 1)) << drop;
    if ((r & 0xFC00) < 0x7C00)
        return r | (h & 0x8000);
    return h & ~((1L << (drop + 1)) - 1);
}

long vok_half_negate(long h)
{
    return h ^ 0x8000;
}

long vok_half_add_float(long a, float b)
{
    return truncated(vok_half_to_float(truncated(vok_half_to_float(a) + b)));
}

long vok_half_add(long a, long b)
{
    return vok_half_add_float(a, vok_half_to_float(b));
}

#define VOKRA_HALF_OPERATION(name, op)                                                                            \
    long vok_half_##name##_float(long a, float b)                                                                 \
    {                                                                                                             \
        return vok_float_to_half(vok_half_to_float(a) op b);                                                      \
    }                                                                                                             \
    long vok_half_##name(long a, long b)                                                                          \
    {                                                                                                             \
        return vok_half_##name##_float(a, vok_half_to_float(b));                                                  \
    }
VOKRA_HALF_OPERATION(sub, -)
VOKRA_HALF_OPERATION(mul, *)
VOKRA_HALF_OPERATION(div, /)
#undef VOKRA_HALF_OPERATION

long vok_half_is_finite(long h)
{
    return is_set((h & 0x7C00) != 0x7C00);
}

long vok_half_is_normalized(long h)
{
    return is_set(exponent_of(h) >= 1 && exponent_of(h) <= 30);
}

long vok_half_is_denormalized(long h)
{
    return is_set(exponent_of(h) == 0 && mantissa_of(h) != 0);
}

long vok_half_is_zero(long h)
{
    return is_set((h & 0x7FFF) == 0);
}

long vok_half_is_negative(long h)
{
    return h >> 15 & 1;
}

long vok_half_is_nan(long h)
{
    return is_set(exponent_of(h) == 31 && mantissa_of(h) != 0);
}

long vok_half_is_inf(long h)
{
    return is_set((h & 0x7FFF) == 0x7C00);
}
