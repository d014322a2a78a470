#include "failing_memory.h"

#include <atomic>
#include <dlfcn.h>
#include <zan/base.h>
#include <zan/memory.h>

namespace {

std::atomic<long> until{-1}; // below 0 none fails
std::atomic<bool> failed{false};

bool fails()
{
    if (until.load() < 0 || until.fetch_sub(1) != 0)
        return false;
    return failed = true;
}

template <class F> F *of_the_host(F *, const char *name)
{
    return reinterpret_cast<F *>(dlsym(RTLD_NEXT, name));
}

} // namespace

void fail_allocation(long n)
{
    failed = false;
    until = n;
}

bool end_of_failures()
{
    until = -1;
    return failed;
}

#define GIVES(result, name, arguments, pass, otherwise)                                                           \
    extern "C" __attribute__((visibility("default"))) result name arguments                                       \
    {                                                                                                             \
        static auto *const given = of_the_host(name, #name);                                                      \
        return fails() ? static_cast<result>(otherwise) : given pass;                                             \
    }
GIVES(void *, sysmem_newptr, (long size), (size), nullptr)
GIVES(void *, sysmem_newptrclear, (long size), (size), nullptr)
GIVES(void *, sysmem_resizeptr, (void *p, long size), (p, size), nullptr)
GIVES(void *, sysmem_resizeptrclear, (void *p, long size), (p, size), nullptr)
GIVES(zan_handle, sysmem_newhandle, (long size), (size), nullptr)
GIVES(zan_handle, sysmem_newhandleclear, (long size), (size), nullptr)
GIVES(long, sysmem_resizehandle, (zan_handle h, long size), (h, size), zan_err_out_of_mem)
GIVES(long, sysmem_ptrandhand, (const void *p, zan_handle h, long size), (p, h, size), zan_err_out_of_mem)
