// Where blocks of 1 MiB and more lie: mappings on huge pages, shared by blocks of a few
// MiB so that no page is left half empty.
#pragma once

#if defined(__SANITIZE_ADDRESS__)
#define ZAN_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZAN_ASAN 1
#endif
#endif
#if defined(ZAN_ASAN)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#endif

namespace zan {

constexpr long mib = 1L << 20;

// The bytes that a stretch for `bytes` takes: whole pages.
long stretch_length(long bytes);
// A stretch of such a length, aligned to a small page; `*used` says that it may hold old
// bytes, else it is zero. Null when memory is out. Any thread.
char *take_stretch(long length, bool *used);
void give_stretch(char *start, long length);

} // namespace zan
