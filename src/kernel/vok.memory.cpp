// Plain memory and handles, and the register of live blocks: a debugging aid that a user
// turns on to find leaks and mismatched frees. It posts and never prevents anything.
#include <mutex>
#include <new>
#include <unordered_map>

#include <zan/zan.h>

#include <vokra/kernel.h>
#include <vokra/memory.h>

long _vok_memreg;

namespace {

enum pool : long { pool_bytes = 0, pool_ptr = 1 };

struct entry {
    void *ptr;
    long size;
    long pool;
};

struct memory_table {
    std::mutex mutex; // calculation threads allocate too
    std::unordered_map<void *, entry> entries{997};
};

// Made at first use and kept: blocks are given back until the very end.
memory_table &table()
{
    static memory_table *const t = new memory_table;
    return *t;
}

void complain(const char *format, void *ptr, long size, long which)
{
    vok_cpost(format, ptr, size, which, 0L, 0L, 0L, 0L, 0L);
}

} // namespace

void vok_memory_register(void *ptr, long size, long which)
try {
    memory_table &t = table();
    if (!ptr) {
        complain("vok_memory_register ptr=%x size=%d pool=%d (NULL)", ptr, size, which);
        return;
    }
    bool redundant;
    {
        std::lock_guard guard(t.mutex);
        redundant = !t.entries.insert_or_assign(ptr, entry{ptr, size, which}).second;
    }
    if (redundant && _vok_memreg >= 2) {
        complain("vok_memory_register ptr=%x size=%d pool=%d (REDUNDANT MEMORY)", ptr, size, which);
        complain("could be memory leak of harmless mismatch of vok_getbytes(), with zan freebytes()", ptr, size,
                 which);
    }
} catch (const std::bad_alloc &) { // the block is complained of when it goes
}

void vok_memory_unregister(void *ptr, long size, long which)
{
    memory_table &t = table();
    if (!ptr) {
        complain("vok_memory_unregister ptr=%x size=%d pool=%d (NULL)", ptr, size, which);
        return;
    }
    std::unordered_map<void *, entry>::node_type found;
    {
        std::lock_guard guard(t.mutex);
        found = t.entries.extract(ptr);
    }
    if (!found) {
        complain("vok_memory_unregister ptr=%x size=%d pool=%d (NO REGISTERED ENTRY)", ptr, size, which);
        return;
    }
    if (found.mapped().pool != which)
        complain("vok_memory_unregister ptr=%x size=%d pool=%d (MISMATCHED POOL)", ptr, size, which);
    if (which == pool_bytes && found.mapped().size != size)
        complain("vok_memory_unregister ptr=%x size=%d pool=%d (MISMATCHED SIZE)", ptr, size, which);
}

void *vok_getbytes(long size)
{
    void *ptr = sysmem_newptr(size);
    if (_vok_memreg)
        vok_memory_register(ptr, size, pool_bytes);
    return ptr;
}

void vok_freebytes(void *ptr, long size)
{
    if (_vok_memreg)
        vok_memory_unregister(ptr, size, pool_bytes);
    sysmem_freeptr(ptr);
}

void *vok_newptr(long size)
{
    void *ptr = sysmem_newptr(size);
    if (_vok_memreg)
        vok_memory_register(ptr, size, pool_ptr);
    return ptr;
}

void vok_disposeptr(void *ptr)
{
    if (_vok_memreg)
        vok_memory_unregister(ptr, 0, pool_ptr);
    sysmem_freeptr(ptr);
}

zan_handle vok_handle_new(long size)
{
    return sysmem_newhandle(size);
}

void vok_handle_free(zan_handle handle)
{
    sysmem_freehandle(handle);
}

long vok_handle_size_get(zan_handle handle)
{
    return sysmem_handlesize(handle);
}

long vok_handle_size_set(zan_handle handle, long size)
{
    return sysmem_resizehandle(handle, size);
}

long vok_handle_lock(zan_handle handle, long lock)
{
    return static_cast<int>(sysmem_lockhandle(handle, lock)); // 32 bits of state, sign-extended
}

void vok_copy_bytes(void *dst, const void *src, long size)
{
    sysmem_copyptr(src, dst, size);
}

long vok_freemem(void)
{
    return 0;
}
