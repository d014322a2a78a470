/* Plain blocks and relocatable handles. Any thread. */
#ifndef ZAN_MEMORY_H
#define ZAN_MEMORY_H
#include <zan/base.h>
#ifdef __cplusplus
extern "C" {
#endif

/* Blocks aligned to 16 bytes; null when memory is out or `size` is negative.
 * Blocks of 1 MiB and more lie on huge pages where the system has them. */
ZAN_EXPORT void *sysmem_newptr(long size);
ZAN_EXPORT void *sysmem_newptrclear(long size);
ZAN_EXPORT void sysmem_freeptr(void *ptr);
/* Moves `size` bytes; the areas may overlap. Note the order. */
ZAN_EXPORT void sysmem_copyptr(const void *src, void *dst, long size);
/* The size the block was asked for with. */
ZAN_EXPORT long sysmem_ptrsize(void *ptr);
/* The block at its new size, perhaps elsewhere; null keeps the old one as it was.
 * ...clear zeroes what is added. */
ZAN_EXPORT void *sysmem_resizeptr(void *ptr, long size);
ZAN_EXPORT void *sysmem_resizeptrclear(void *ptr, long size);

/* A handle is a pointer to a pointer to a block, which may move at a resize while
 * it is not locked. */
typedef char **zan_handle;
ZAN_EXPORT zan_handle sysmem_newhandle(long size);
ZAN_EXPORT zan_handle sysmem_newhandleclear(long size);
/* 0, or non-zero (and nothing changed) when memory is out or the handle is locked. */
ZAN_EXPORT long sysmem_resizehandle(zan_handle handle, long size);
ZAN_EXPORT void sysmem_freehandle(zan_handle handle);
ZAN_EXPORT long sysmem_handlesize(zan_handle handle);
/* Sets the lock state (0 or 1) and gives the earlier one. */
ZAN_EXPORT long sysmem_lockhandle(zan_handle handle, long lock);
/* Appends `size` bytes of `ptr`. 0, or non-zero as above. */
ZAN_EXPORT long sysmem_ptrandhand(const void *ptr, zan_handle handle, long size);

#ifdef __cplusplus
}
#endif
#endif
