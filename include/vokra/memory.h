/* Small services: memory with an optional leak register, lists, trees, files, and the
 * swapping of bytes. Memory may be taken and given back on any thread; a list, a tree or
 * a file belongs to one thread at a time. */
#ifndef VOKRA_MEMORY_H
#define VOKRA_MEMORY_H

#include <vokra/base.h>
#include <zan/collections.h>
#include <zan/files.h>
#include <zan/memory.h>

VOKRA_BEGIN_C

/* ---- memory ---- */

/* Null when memory is out. getbytes pairs with freebytes (pool 0 of the register, which
 * checks the size), newptr with disposeptr (pool 1). */
VOKRA_EXPORT void *vok_getbytes(long size);
VOKRA_EXPORT void vok_freebytes(void *ptr, long size);
VOKRA_EXPORT void *vok_newptr(long size);
VOKRA_EXPORT void vok_disposeptr(void *ptr);
VOKRA_EXPORT zan_handle vok_handle_new(long size);
VOKRA_EXPORT void vok_handle_free(zan_handle handle);
VOKRA_EXPORT long vok_handle_size_get(zan_handle handle);
/* 0, or non-zero (and nothing changed). */
VOKRA_EXPORT long vok_handle_size_set(zan_handle handle, long size);
/* Sets the lock state and gives the earlier one. */
VOKRA_EXPORT long vok_handle_lock(zan_handle handle, long lock);
/* The areas may overlap. */
VOKRA_EXPORT void vok_copy_bytes(void *dst, const void *src, long size);
VOKRA_EXPORT long vok_freemem(void);

/* The register of live blocks, kept while _vok_memreg isn't 0 (the kernel object's
 * message memdebug): misuse is posted to the console and never prevented. */
VOKRA_EXPORT void vok_memory_register(void *ptr, long size, long pool);
VOKRA_EXPORT void vok_memory_unregister(void *ptr, long size, long pool);

/* ---- lists: the host's, under the name vok_linklist ---- */

VOKRA_EXPORT vok_err vok_linklist_init(void);
VOKRA_EXPORT void *vok_linklist_new(void);
/* Empties the list and frees the items; the list itself goes with vok_object_free. */
VOKRA_EXPORT void vok_linklist_free(void *list);
VOKRA_EXPORT long vok_linklist_getsize(void *list);
VOKRA_EXPORT void *vok_linklist_getindex(void *list, long index);
VOKRA_EXPORT long vok_linklist_objptr2index(void *list, void *item);
VOKRA_EXPORT long vok_linklist_makearray(void *list, void **array, long max);
VOKRA_EXPORT long vok_linklist_insertindex(void *list, void *item, long index);
VOKRA_EXPORT long vok_linklist_append(void *list, void *item);
VOKRA_EXPORT long vok_linklist_deleteindex(void *list, long index);
VOKRA_EXPORT long vok_linklist_chuckindex(void *list, long index);
VOKRA_EXPORT void vok_linklist_clear(void *list);
VOKRA_EXPORT long vok_linklist_chuck(void *list);
VOKRA_EXPORT void vok_linklist_reverse(void *list);
VOKRA_EXPORT void vok_linklist_rotate(void *list, long count);
VOKRA_EXPORT void vok_linklist_shuffle(void *list);
VOKRA_EXPORT void vok_linklist_swap(void *list, long a, long b);
VOKRA_EXPORT long vok_linklist_findfirst(void *list, void **found, zan_compare compare, void *data);
VOKRA_EXPORT void vok_linklist_findall(void *list, void **found, zan_compare compare, void *data);
/* How many items match. */
VOKRA_EXPORT long vok_linklist_findcount(void *list, zan_compare compare, void *data);
VOKRA_EXPORT void vok_linklist_sort(void *list, long (*before)(void *a, void *b));
VOKRA_EXPORT void vok_linklist_funall(void *list, void (*fn)(void *, void *), void *data);
VOKRA_EXPORT void vok_linklist_funallsafe(void *list, void (*fn)(void *, void *), void *data);
VOKRA_EXPORT long vok_linklist_funindex(void *list, long index, zan_word (*fn)(void *, void *), void *data);
/* A message with words as in vok_object_method. */
VOKRA_EXPORT zan_word vok_linklist_methodall(void *list, symbol *selector, ...);
VOKRA_EXPORT zan_word vok_linklist_methodindex(void *list, long index, symbol *selector, ...);

/* ---- trees: classes vok_tree (a root) and vok_tree_node, reached by messages ---- */

typedef struct vok_tree_node {
    object header;
    struct vok_tree_node *parent;
    void *thing;    /* any object, owned */
    void *children; /* a vok_linklist of nodes, owned, made at first need */
} vok_tree_node;

VOKRA_EXPORT vok_err vok_tree_init(void);
/* Gives a class whose record begins as vok_tree_node the messages of a node. */
VOKRA_EXPORT void vok_tree_node_addinterface(zan_class *c);

/* ---- files: the host's calls; their results ---- */

VOKRA_EXPORT long vok_file_fsclose(zan_file_handle file);
/* *count: bytes asked for, bytes moved. */
VOKRA_EXPORT long vok_file_fsread(zan_file_handle file, long *count, void *buffer);
VOKRA_EXPORT long vok_file_fswrite(zan_file_handle file, long *count, const void *buffer);
/* A negative size counts as 0. */
VOKRA_EXPORT long vok_file_seteof(zan_file_handle file, long size);
VOKRA_EXPORT long vok_file_geteof(zan_file_handle file, long *size);
VOKRA_EXPORT long vok_file_setfpos(zan_file_handle file, long mode, long offset);
VOKRA_EXPORT long vok_file_getfpos(zan_file_handle file, long *position);

/* ---- bytes reversed; pointers need no alignment ---- */

VOKRA_EXPORT float swapf32(float value);
VOKRA_EXPORT double swapf64(double value);
VOKRA_EXPORT void swap_pointer_16(void *p);
VOKRA_EXPORT void swap_pointer_32(void *p);
VOKRA_EXPORT void swap_pointer_64(void *p);
VOKRA_EXPORT void swap_pointer_16_copy(void *dst, const void *src);
VOKRA_EXPORT void swap_pointer_32_copy(void *dst, const void *src);
VOKRA_EXPORT void swap_pointer_64_copy(void *dst, const void *src);
VOKRA_EXPORT float swap_pointer_32_to_float32(const void *p);
VOKRA_EXPORT double swap_pointer_64_to_float64(const void *p);

VOKRA_END_C
#endif
