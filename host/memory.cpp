// Blocks and handles: every allocation that crosses the host's boundary. A header of
// 16 bytes ahead of a block keeps its size. Small blocks come from malloc, so that
// the sanitizers watch their edges; blocks of 1 MiB and more lie on huge pages
// (large_blocks.cpp). Reached through include/zan/memory.h from any thread.
#include "large_blocks.h"

#include <zan/memory.h>
#include <zan/objects.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

constexpr long large_from = zan::mib; // blocks from here on lie on huge pages
constexpr long cache_line = 64;
constexpr long most_bytes = 1L << 46; // more than any address space gives; keeps sums from overflowing
constexpr uint32_t small_mark = 0x5A6D656Du, large_mark = 0x5A4D454Du; // tell a block of ours from a stray pointer

// Ahead of every block. `lead` counts the cache lines from the stretch's start to the block.
struct header {
    long size;     // as asked for
    uint32_t mark; // small_mark or large_mark
    uint32_t lead; // large blocks only
};
static_assert(sizeof(header) == 16, "blocks stay aligned to 16 bytes");

header *header_of(void *block)
{
    return static_cast<header *>(block) - 1;
}

bool ours(void *block)
{
    const uint32_t mark = header_of(block)->mark;
    return mark == small_mark || mark == large_mark;
}

// ---- large blocks ----

// Blocks that start at the same place of their pages compete for the same sets of the
// caches when a calculation reads several of them in step; each start moves on by some
// lines instead, within the 1 KiB that stands ahead of every large block.
constexpr long lead_lines = 16;
long next_lead()
{
    static unsigned counter;
    const unsigned n = __atomic_fetch_add(&counter, 1, __ATOMIC_RELAXED);
    return 1 + long(n * 7 % (lead_lines - 1)); // 7 and 15 share no factor: every place comes
}

long stretch_for(long size)
{
    return zan::stretch_length(size + lead_lines * cache_line);
}

void *large_new(long size, bool clear)
{
    const long length = stretch_for(size);
    bool used;
    char *start = zan::take_stretch(length, &used);
    if (!start)
        return nullptr;
    const long lead = next_lead();
    char *block = start + lead * cache_line;
    *header_of(block) = {size, large_mark, uint32_t(lead)};
    if (clear && used)
        memset(block, 0, size_t(size));
    ASAN_POISON_MEMORY_REGION(block + size, size_t(start + length - (block + size)));
    return block;
}

void large_free(void *block)
{
    const header h = *header_of(block);
    header_of(block)->mark = 0;
    zan::give_stretch(static_cast<char *>(block) - long(h.lead) * cache_line, stretch_for(h.size));
}

// ---- all blocks ----

void *block_new(long size, bool clear)
{
    if (size < 0 || size > most_bytes)
        return nullptr;
    if (size >= large_from)
        return large_new(size, clear);
    const size_t bytes = sizeof(header) + size_t(size);
    header *h = static_cast<header *>(clear ? calloc(1, bytes) : malloc(bytes));
    if (!h)
        return nullptr;
    *h = {size, small_mark, 0};
    return h + 1;
}

void block_free(void *block)
{
    if (header_of(block)->mark == large_mark)
        return large_free(block);
    header_of(block)->mark = 0;
    free(header_of(block));
}

void *block_resize(void *block, long size, bool clear)
{
    if (size < 0 || size > most_bytes)
        return nullptr;
    const long old = header_of(block)->size;
    const bool was_large = header_of(block)->mark == large_mark;
    char *moved;
    if (was_large && size >= large_from && stretch_for(size) == stretch_for(old)) {
        moved = static_cast<char *>(block); // the stretch is as long as it should be
        ASAN_UNPOISON_MEMORY_REGION(moved, size_t(size));
        if (size < old)
            ASAN_POISON_MEMORY_REGION(moved + size, size_t(old - size));
        header_of(moved)->size = size;
    } else if (!was_large && size < large_from) {
        header *h = static_cast<header *>(realloc(header_of(block), sizeof(header) + size_t(size)));
        if (!h)
            return nullptr;
        h->size = size;
        moved = reinterpret_cast<char *>(h + 1);
    } else {
        moved = static_cast<char *>(block_new(size, false));
        if (!moved)
            return nullptr;
        memcpy(moved, block, size_t(std::min(old, size)));
        block_free(block);
    }
    if (clear && size > old)
        memset(moved + old, 0, size_t(size - old));
    return moved;
}

// ---- handles ----

// A handle is the address of its record's first field. The block may be longer than the
// handle's size, so that appending piece by piece costs time in proportion to the whole.
struct handle_record {
    char *data;
    long size;
    long lock;
};

handle_record *record_of(zan_handle handle)
{
    return reinterpret_cast<handle_record *>(handle);
}

zan_handle handle_new(long size, bool clear)
{
    handle_record *r = static_cast<handle_record *>(malloc(sizeof(handle_record)));
    char *data = static_cast<char *>(block_new(size, clear));
    if (!r || !data) {
        free(r);
        sysmem_freeptr(data);
        return nullptr;
    }
    *r = {data, size, 0};
    return &r->data;
}

} // namespace

extern "C" {

void *sysmem_newptr(long size)
{
    return block_new(size, false);
}
void *sysmem_newptrclear(long size)
{
    return block_new(size, true);
}

void sysmem_freeptr(void *ptr)
{
    if (!ptr)
        return;
    if (!ours(ptr))
        return object_error(nullptr, "sysmem_freeptr: %p is no block of this host, or was freed before", ptr);
    block_free(ptr);
}

void sysmem_copyptr(const void *src, void *dst, long size)
{
    if (src && dst && size > 0)
        memmove(dst, src, size_t(size));
}

long sysmem_ptrsize(void *ptr)
{
    return ptr && ours(ptr) ? header_of(ptr)->size : 0;
}

void *sysmem_resizeptr(void *ptr, long size)
{
    if (!ptr)
        return block_new(size, false);
    return ours(ptr) ? block_resize(ptr, size, false) : nullptr;
}

void *sysmem_resizeptrclear(void *ptr, long size)
{
    if (!ptr)
        return block_new(size, true);
    return ours(ptr) ? block_resize(ptr, size, true) : nullptr;
}

zan_handle sysmem_newhandle(long size)
{
    return handle_new(size, false);
}
zan_handle sysmem_newhandleclear(long size)
{
    return handle_new(size, true);
}

long sysmem_resizehandle(zan_handle handle, long size)
{
    if (!handle)
        return zan_err_invalid_ptr;
    handle_record *r = record_of(handle);
    if (r->lock)
        return zan_err_generic;
    void *moved = block_resize(r->data, size, false);
    if (!moved)
        return zan_err_out_of_mem;
    r->data = static_cast<char *>(moved);
    r->size = size;
    return zan_err_none;
}

void sysmem_freehandle(zan_handle handle)
{
    if (!handle)
        return;
    sysmem_freeptr(*handle);
    free(record_of(handle));
}

long sysmem_handlesize(zan_handle handle)
{
    return handle ? record_of(handle)->size : 0;
}

long sysmem_lockhandle(zan_handle handle, long lock)
{
    return handle ? __atomic_exchange_n(&record_of(handle)->lock, lock != 0 ? 1 : 0, __ATOMIC_ACQ_REL) : 0;
}

long sysmem_ptrandhand(const void *ptr, zan_handle handle, long size)
{
    if (!handle || (!ptr && size))
        return zan_err_invalid_ptr;
    handle_record *r = record_of(handle);
    if (r->lock || size < 0)
        return zan_err_generic;
    if (size > most_bytes - r->size)
        return zan_err_out_of_mem;
    const long needed = r->size + size;
    const long room = sysmem_ptrsize(r->data);
    const char *source = static_cast<const char *>(ptr);
    if (needed > room) {
        // the bytes may lie in the handle itself, whose block is about to move
        const bool own = source >= r->data && source < r->data + r->size;
        const long offset = own ? source - r->data : 0;
        void *moved = block_resize(r->data, std::max(needed, room + room / 2), false);
        if (!moved)
            return zan_err_out_of_mem;
        r->data = static_cast<char *>(moved);
        if (own)
            source = r->data + offset;
    }
    if (size)
        memmove(r->data + r->size, source, size_t(size));
    r->size = needed;
    return zan_err_none;
}

} // extern "C"
