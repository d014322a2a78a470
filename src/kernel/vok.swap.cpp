// The bytes of numbers reversed, for files of the other byte order. Places in a file need
// no alignment, so everything goes by copies.
#include <bit>
#include <cstdint>
#include <cstring>

#include <vokra/memory.h>

namespace {

template <typename U> U reversed(U v)
{
    if constexpr (sizeof(U) == 2)
        return __builtin_bswap16(v);
    else if constexpr (sizeof(U) == 4)
        return __builtin_bswap32(v);
    else
        return __builtin_bswap64(v);
}

template <typename U> U load_reversed(const void *p)
{
    U v;
    std::memcpy(&v, p, sizeof v);
    return reversed(v);
}

template <typename U> void reverse_into(void *dst, const void *src)
{
    const U v = load_reversed<U>(src);
    std::memcpy(dst, &v, sizeof v);
}

} // namespace

float swapf32(float value)
{
    return std::bit_cast<float>(reversed(std::bit_cast<uint32_t>(value)));
}

double swapf64(double value)
{
    return std::bit_cast<double>(reversed(std::bit_cast<uint64_t>(value)));
}

#define SWAPS(bits)                                                                                               \
    void swap_pointer_##bits(void *p)                                                                             \
    {                                                                                                             \
        reverse_into<uint##bits##_t>(p, p);                                                                       \
    }                                                                                                             \
    void swap_pointer_##bits##_copy(void *dst, const void *src)                                                   \
    {                                                                                                             \
        reverse_into<uint##bits##_t>(dst, src);                                                                   \
    }
SWAPS(16)
SWAPS(32)
SWAPS(64)

float swap_pointer_32_to_float32(const void *p)
{
    return std::bit_cast<float>(load_reversed<uint32_t>(p));
}

double swap_pointer_64_to_float64(const void *p)
{
    return std::bit_cast<double>(load_reversed<uint64_t>(p));
}
