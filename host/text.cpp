// Bounded text: the C library's calls with an end that is always there. Any thread.
#include <zan/text.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

extern "C" {

int snprintf_zero(char *buffer, size_t size, const char *format, ...)
{
    if (!buffer || size == 0)
        return 0;
    buffer[0] = 0;
    if (!format)
        return 0;
    va_list arguments;
    va_start(arguments, format);
    const int whole = vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    if (whole < 0) {
        buffer[0] = 0;
        return 0;
    }
    return int(std::min(size_t(whole), size - 1));
}

char *strncpy_zero(char *dst, const char *src, long size)
{
    if (!dst || size <= 0)
        return dst;
    const size_t length = src ? strnlen(src, size_t(size - 1)) : 0;
    if (length)
        memmove(dst, src, length); // a text is often cut down within its own buffer
    dst[length] = 0;
    return dst;
}

char *strncat_zero(char *dst, const char *src, long size)
{
    if (!dst || size <= 0)
        return dst;
    const long used = long(strnlen(dst, size_t(size)));
    if (used < size)
        strncpy_zero(dst + used, src, size - used);
    else
        dst[size - 1] = 0; // there was no end within the buffer
    return dst;
}

} // extern "C"
