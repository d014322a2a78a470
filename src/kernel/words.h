// The variadic entry points: they hand on a fixed number of words, whatever the caller
// gave, so they may read more than there is.
#pragma once
#include <cstdarg>

#include <zan/base.h>

namespace vok {

// What lies behind the caller's own words is read and passed on, and no method looks at
// it; address checking would take the read for an overflow of the caller's frame.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VOK_CHECKS_ADDRESSES 1
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define VOK_CHECKS_ADDRESSES 1
#endif
#if defined(VOK_CHECKS_ADDRESSES)
#define VOK_TAKES_WORDS __attribute__((no_sanitize("address"), noinline))
#else
#define VOK_TAKES_WORDS __attribute__((always_inline))
#endif
template <int Count> VOK_TAKES_WORDS inline void take_words(va_list list, zan_word (&words)[Count])
{
#pragma GCC unroll 8
    for (int i = 0; i < Count; ++i)
        words[i] = va_arg(list, zan_word);
}
#undef VOK_TAKES_WORDS
#undef VOK_CHECKS_ADDRESSES

// A type list: the words up to its 0, at most `count`; the rest is filled with zeros.
inline void take_types(va_list list, long *types, int count)
{
    bool ended = false;
    for (int i = 0; i < count; ++i) {
        types[i] = ended ? 0 : static_cast<short>(va_arg(list, int));
        ended = types[i] == 0;
    }
}

} // namespace vok
