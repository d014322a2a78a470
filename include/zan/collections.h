/* Hash tables, linked lists and dictionaries. All are objects of namespace
 * "nobox" (classes hashtab, linklist, dictionary). A table may be read from any
 * thread; changes to a table, and everything on lists, belong to one thread at a
 * time. */
#ifndef ZAN_COLLECTIONS_H
#define ZAN_COLLECTIONS_H
#include <zan/base.h>
#ifdef __cplusplus
extern "C" {
#endif

/* ---- hash tables: words under symbol keys ---- */
typedef struct zan_hashtab_entry {
    symbol *key;
    void *value;
} zan_hashtab_entry;

/* `slots` 0 for the default size. Answers the message readonly (long): the values
 * then belong to someone else and are not freed with the table. */
ZAN_EXPORT void *hashtab_new(long slots);
/* Stores; a key already there gets the new value. Host error number. */
ZAN_EXPORT long hashtab_store(void *table, symbol *key, void *value);
/* 0 and *value on a hit; non-zero on a miss, *value left alone. */
ZAN_EXPORT long hashtab_lookup(void *table, symbol *key, void **value);
/* Takes the key out, the value stays alive. */
ZAN_EXPORT long hashtab_chuckkey(void *table, symbol *key);
/* Frees the table and none of its values. */
ZAN_EXPORT long hashtab_chuck(void *table);
ZAN_EXPORT long hashtab_getsize(void *table);
/* Keys in order of their storing; the caller frees *keys with sysmem_freeptr. */
ZAN_EXPORT long hashtab_getkeys(void *table, long *count, symbol ***keys);
/* fn(entry, data) for each entry, in order of storing; `fn` may store and chuck. */
ZAN_EXPORT long hashtab_funall(void *table, void (*fn)(zan_hashtab_entry *, void *), void *data);
/* fn(value, data) for each value. */
ZAN_EXPORT long hashtab_objfunall(void *table, void (*fn)(void *, void *), void *data);

/* ---- linked lists of pointers, which free their items unless chucked ----
 * An item that is a live object is freed with object_free; any other word is only
 * taken out. A list answers each call's tail as a message (getindex, append, ...),
 * insertindex and deleteindex also as insert and delete, methodall and methodindex
 * with as many words as are left of the message's eight. Null items are kept. */
typedef long (*zan_compare)(void *item, void *data);

ZAN_EXPORT void *linklist_new(void);
ZAN_EXPORT long linklist_getsize(void *list);
/* Null beyond the ends. */
ZAN_EXPORT void *linklist_getindex(void *list, long index);
/* Both give the index of the item, -1 when it can't be put in (a negative index, no
 * memory). An index beyond the end appends. */
ZAN_EXPORT long linklist_append(void *list, void *item);
ZAN_EXPORT long linklist_insertindex(void *list, void *item, long index);
/* Takes the item out and frees it; takes it out and keeps it. Host error number. */
ZAN_EXPORT long linklist_deleteindex(void *list, long index);
ZAN_EXPORT long linklist_chuckindex(void *list, long index);
ZAN_EXPORT long linklist_chuckobject(void *list, void *item);
/* Frees the list and keeps the items. */
ZAN_EXPORT long linklist_chuck(void *list);
/* Empties the list and frees the items. */
ZAN_EXPORT void linklist_clear(void *list);
/* -1 when absent. */
ZAN_EXPORT long linklist_objptr2index(void *list, void *item);
/* The first item for which compare(item, data) is non-zero: its index and *found,
 * or -1 and null. */
ZAN_EXPORT long linklist_findfirst(void *list, void **found, zan_compare compare, void *data);
/* *found is a new list of all such items; chuck it. */
ZAN_EXPORT void linklist_findall(void *list, void **found, zan_compare compare, void *data);
ZAN_EXPORT void linklist_funall(void *list, void (*fn)(void *, void *), void *data);
/* The same over a copy: fn may change the list; items that left it are passed over. */
ZAN_EXPORT void linklist_funallsafe(void *list, void (*fn)(void *, void *), void *data);
ZAN_EXPORT long linklist_funindex(void *list, long index, zan_word (*fn)(void *, void *), void *data);
/* A message with eight words to every item, or to one. The (last) result. */
ZAN_EXPORT zan_word linklist_methodall_imp(void *list, symbol *selector, zan_word w1, zan_word w2, zan_word w3,
                                           zan_word w4, zan_word w5, zan_word w6, zan_word w7, zan_word w8);
ZAN_EXPORT zan_word linklist_methodindex_imp(void *list, long index, symbol *selector, zan_word w1, zan_word w2,
                                             zan_word w3, zan_word w4, zan_word w5, zan_word w6, zan_word w7,
                                             zan_word w8);
/* Copies at most `max` items into an array; the count. */
ZAN_EXPORT long linklist_makearray(void *list, void **array, long max);
ZAN_EXPORT void linklist_reverse(void *list);
/* Moves every item `count` places on, round the end. */
ZAN_EXPORT void linklist_rotate(void *list, long count);
ZAN_EXPORT void linklist_shuffle(void *list);
ZAN_EXPORT void linklist_swap(void *list, long a, long b);
/* before(a, b) is non-zero when a stands before b; the sort is stable. */
ZAN_EXPORT void linklist_sort(void *list, long (*before)(void *a, void *b));

/* ---- dictionaries: values of several kinds under symbol keys ---- */
ZAN_EXPORT void *dictionary_new(void);
ZAN_EXPORT long dictionary_appendlong(void *d, symbol *key, zan_word value);
ZAN_EXPORT long dictionary_appendfloat(void *d, symbol *key, double value);
ZAN_EXPORT long dictionary_appendsym(void *d, symbol *key, symbol *value);
ZAN_EXPORT long dictionary_appendatoms(void *d, symbol *key, long argc, const atom *argv);
/* The dictionary owns `value` from then on. */
ZAN_EXPORT long dictionary_appenddictionary(void *d, symbol *key, void *value);
ZAN_EXPORT long dictionary_getlong(void *d, symbol *key, zan_word *value);
/* *argv points into the dictionary. */
ZAN_EXPORT long dictionary_getatoms(void *d, symbol *key, long *argc, atom **argv);
/* The atom array object that holds the value, the dictionary's own. */
ZAN_EXPORT long dictionary_getatomarray(void *d, symbol *key, void **value);
ZAN_EXPORT long dictionary_getdictionary(void *d, symbol *key, void **value);
ZAN_EXPORT long dictionary_getkeys(void *d, long *count, symbol ***keys);
ZAN_EXPORT void dictionary_freekeys(void *d, long count, symbol **keys);
ZAN_EXPORT long dictionary_hasentry(void *d, symbol *key);
/* An entry is what the entries' list of the dictionary holds. */
ZAN_EXPORT void *dictionary_getentry(void *d, symbol *key);
ZAN_EXPORT symbol *dictionary_entry_getkey(void *entry);
ZAN_EXPORT void dictionary_entry_getvalues(void *entry, long *argc, atom **argv);

#ifdef __cplusplus
}
#endif
#endif
