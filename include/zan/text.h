/* Bounded text: always NUL-terminated when size is above 0. Any thread. */
#ifndef ZAN_TEXT_H
#define ZAN_TEXT_H
#include <zan/base.h>
#ifdef __cplusplus
extern "C" {
#endif

/* The length written, without the NUL. */
ZAN_EXPORT int snprintf_zero(char *buffer, size_t size, const char *format, ...)
    __attribute__((format(printf, 3, 4)));
/* `size` is that of the whole of dst, also where text is appended; dst is returned. */
ZAN_EXPORT char *strncpy_zero(char *dst, const char *src, long size);
ZAN_EXPORT char *strncat_zero(char *dst, const char *src, long size);

#ifdef __cplusplus
}
#endif
#endif
