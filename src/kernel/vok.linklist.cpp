// The class vok_linklist: the host's list under a name of the library's own, and the
// host's list calls under the library's prefix.
#include <zan/zan.h>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/memory.h>

#include "kernel/words.h"

vok_err vok_linklist_init(void)
{
    zan_class *c = class_copy(_vok_sym_nobox, gensym("linklist"), ps_vokra, _vok_sym_vok_linklist);
    return c ? VOK_ERR_NONE : VOK_ERR_EROR;
}

void vok_linklist_free(void *list)
{
    linklist_clear(list);
}

#define FORWARD(R, tail, parameters, arguments)                                                                   \
    R vok_##tail parameters                                                                                       \
    {                                                                                                             \
        return tail arguments;                                                                                    \
    }
FORWARD(void *, linklist_new, (void), ())
FORWARD(long, linklist_getsize, (void *list), (list))
FORWARD(void *, linklist_getindex, (void *list, long index), (list, index))
FORWARD(long, linklist_objptr2index, (void *list, void *item), (list, item))
FORWARD(long, linklist_makearray, (void *list, void **array, long max), (list, array, max))
FORWARD(long, linklist_insertindex, (void *list, void *item, long index), (list, item, index))
FORWARD(long, linklist_append, (void *list, void *item), (list, item))
FORWARD(long, linklist_deleteindex, (void *list, long index), (list, index))
FORWARD(long, linklist_chuckindex, (void *list, long index), (list, index))
FORWARD(void, linklist_clear, (void *list), (list))
FORWARD(long, linklist_chuck, (void *list), (list))
FORWARD(void, linklist_reverse, (void *list), (list))
FORWARD(void, linklist_rotate, (void *list, long count), (list, count))
FORWARD(void, linklist_shuffle, (void *list), (list))
FORWARD(void, linklist_swap, (void *list, long a, long b), (list, a, b))
FORWARD(long, linklist_findfirst, (void *list, void **found, zan_compare compare, void *data),
        (list, found, compare, data))
FORWARD(void, linklist_findall, (void *list, void **found, zan_compare compare, void *data),
        (list, found, compare, data))
FORWARD(void, linklist_sort, (void *list, long (*before)(void *, void *)), (list, before))
FORWARD(void, linklist_funall, (void *list, void (*fn)(void *, void *), void *data), (list, fn, data))
FORWARD(void, linklist_funallsafe, (void *list, void (*fn)(void *, void *), void *data), (list, fn, data))
FORWARD(long, linklist_funindex, (void *list, long index, zan_word (*fn)(void *, void *), void *data),
        (list, index, fn, data))

long vok_linklist_findcount(void *list, zan_compare compare, void *data)
{
    void *found = nullptr;
    linklist_findall(list, &found, compare, data);
    if (!found)
        return 0;
    const long count = linklist_getsize(found);
    linklist_chuck(found);
    return count;
}

zan_word vok_linklist_methodall(void *list, symbol *selector, ...)
{
    zan_word w[8];
    va_list args;
    va_start(args, selector);
    vok::take_words(args, w);
    va_end(args);
    return linklist_methodall_imp(list, selector, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]);
}

zan_word vok_linklist_methodindex(void *list, long index, symbol *selector, ...)
{
    zan_word w[8];
    va_list args;
    va_start(args, selector);
    vok::take_words(args, w);
    va_end(args);
    return linklist_methodindex_imp(list, index, selector, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]);
}
