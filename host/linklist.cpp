// Lists of pointers: class "linklist" in namespace "nobox", an array behind the
// interface of a list, since lists are read by index far more often than they change.
// A list owns its items: deleting, clearing and freeing free every item that is a live
// object. An item that is no object (a symbol, a class, a plain record) is only taken
// out, since no one but its maker knows how it goes. Reached through
// include/zan/collections.h, and by messages of the same names.
#include "kernel.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <type_traits>

namespace {

struct linklist {
    object header;
    void **items;  // malloc'd; null while nothing was ever put in
    long size;     // items in use
    long capacity; // items there is room for
};

zan_class *list_class;

linklist *list_of(void *x)
{
    return zan::instance_of<linklist>(x, list_class);
}

bool in_range(const linklist *list, long index)
{
    return list && index >= 0 && index < list->size;
}

bool make_room(linklist *list)
{
    if (list->size < list->capacity)
        return true;
    const long more = std::max(8L, list->capacity * 2);
    void *grown = realloc(list->items, size_t(more) * sizeof(void *));
    if (!grown)
        return false;
    list->items = static_cast<void **>(grown);
    list->capacity = more;
    return true;
}

void *take_out(linklist *list, long index)
{
    void *item = list->items[index];
    std::copy(list->items + index + 1, list->items + list->size, list->items + index);
    list->size--;
    return item;
}

// A plain copy of the items, for the walks during which the list may change.
struct snapshot {
    std::unique_ptr<void *, decltype(&free)> items{nullptr, &free};
    long size = 0;

    explicit snapshot(const linklist *list)
    {
        if (!list || !list->size)
            return;
        items.reset(static_cast<void **>(malloc(size_t(list->size) * sizeof(void *))));
        if (!items)
            return;
        size = list->size;
        memcpy(items.get(), list->items, size_t(size) * sizeof(void *));
    }
};

// The items go only after the list is empty: an item's free function may well reach
// the list it hung in.
void empty(linklist *list)
{
    void **items = list->items;
    const long size = list->size;
    list->items = nullptr;
    list->size = list->capacity = 0;
    for (long i = 0; i < size; i++)
        object_free(items[i]);
    free(items);
}

std::minstd_rand &generator()
{
    thread_local std::minstd_rand random{std::random_device{}()};
    return random;
}

void destroy(linklist *list)
{
    empty(list);
}

// ---- the messages ----

// A message's function answers a word, also where the call behind it answers nothing.
template <auto function> struct message;
template <typename... Args, void (*function)(Args...)> struct message<function> {
    static zan_word call(Args... args)
    {
        function(args...);
        return 0;
    }
};
template <typename Result, typename... Args, Result (*function)(Args...)>
requires(!std::is_void_v<Result>) struct message<function> {
    static Result call(Args... args) { return function(args...); }
};
template <auto function> zan_method answering()
{
    return zan::erase(&message<function>::call);
}

// A message brings eight words, of which these two have spent one and two on their own
// arguments: the last words of what they pass on are zero.
zan_word methodall_message(void *x, symbol *selector, zan_word w1, zan_word w2, zan_word w3, zan_word w4,
                           zan_word w5, zan_word w6, zan_word w7)
{
    return linklist_methodall_imp(x, selector, w1, w2, w3, w4, w5, w6, w7, 0);
}

zan_word methodindex_message(void *x, long index, symbol *selector, zan_word w1, zan_word w2, zan_word w3,
                             zan_word w4, zan_word w5, zan_word w6)
{
    return linklist_methodindex_imp(x, index, selector, w1, w2, w3, w4, w5, w6, 0, 0);
}

} // namespace

void zan::init_linklist_class()
{
    list_class = class_new("linklist", zan::erase(&linklist_new), zan::erase(&destroy), sizeof(linklist), nullptr,
                           argtype_cant, 0);
    const struct {
        const char *name;
        zan_method function;
    } rows[] = {
        {"getsize", answering<linklist_getsize>()},
        {"getindex", answering<linklist_getindex>()},
        {"append", answering<linklist_append>()},
        {"insertindex", answering<linklist_insertindex>()},
        {"deleteindex", answering<linklist_deleteindex>()},
        {"chuckindex", answering<linklist_chuckindex>()},
        // the short words by which the two are known to scripts
        {"insert", answering<linklist_insertindex>()},
        {"delete", answering<linklist_deleteindex>()},
        {"chuckobject", answering<linklist_chuckobject>()},
        {"clear", answering<linklist_clear>()},
        {"chuck", answering<linklist_chuck>()},
        {"objptr2index", answering<linklist_objptr2index>()},
        {"makearray", answering<linklist_makearray>()},
        {"reverse", answering<linklist_reverse>()},
        {"rotate", answering<linklist_rotate>()},
        {"shuffle", answering<linklist_shuffle>()},
        {"swap", answering<linklist_swap>()},
        {"findfirst", answering<linklist_findfirst>()},
        {"findall", answering<linklist_findall>()},
        {"funall", answering<linklist_funall>()},
        {"funallsafe", answering<linklist_funallsafe>()},
        {"funindex", answering<linklist_funindex>()},
        {"sort", answering<linklist_sort>()},
        {"methodall", zan::erase(&methodall_message)},
        {"methodindex", zan::erase(&methodindex_message)},
    };
    for (const auto &row : rows)
        class_addmethod(list_class, row.function, row.name, argtype_cant, 0);
    class_register(nobox(), list_class);
}

extern "C" {

void *linklist_new(void)
{
    zan::boot();
    return object_alloc(list_class);
}

long linklist_getsize(void *x)
{
    const linklist *list = list_of(x);
    return list ? list->size : 0;
}

void *linklist_getindex(void *x, long index)
{
    const linklist *list = list_of(x);
    return in_range(list, index) ? list->items[index] : nullptr;
}

long linklist_append(void *x, void *item)
{
    return linklist_insertindex(x, item, linklist_getsize(x));
}

long linklist_insertindex(void *x, void *item, long index)
{
    linklist *list = list_of(x);
    if (!list || index < 0 || !make_room(list))
        return -1;
    index = std::min(index, list->size);
    void **place = list->items + index;
    std::copy_backward(place, list->items + list->size, list->items + list->size + 1);
    *place = item;
    list->size++;
    return index;
}

long linklist_deleteindex(void *x, long index)
{
    linklist *list = list_of(x);
    if (!in_range(list, index))
        return list ? zan_err_generic : zan_err_invalid_ptr;
    object_free(take_out(list, index));
    return zan_err_none;
}

long linklist_chuckindex(void *x, long index)
{
    linklist *list = list_of(x);
    if (!in_range(list, index))
        return list ? zan_err_generic : zan_err_invalid_ptr;
    take_out(list, index);
    return zan_err_none;
}

long linklist_chuckobject(void *x, void *item)
{
    return linklist_chuckindex(x, linklist_objptr2index(x, item));
}

long linklist_chuck(void *x)
{
    linklist *list = list_of(x);
    if (!list)
        return zan_err_invalid_ptr;
    list->size = 0;
    return object_free(list);
}

void linklist_clear(void *x)
{
    if (linklist *list = list_of(x))
        empty(list);
}

long linklist_objptr2index(void *x, void *item)
{
    const linklist *list = list_of(x);
    if (!list)
        return -1;
    void **end = list->items + list->size;
    void **found = std::find(list->items, end, item);
    return found == end ? -1 : found - list->items;
}

long linklist_findfirst(void *x, void **found, zan_compare compare, void *data)
{
    if (found)
        *found = nullptr;
    const linklist *list = list_of(x);
    if (!list || !compare)
        return -1;
    for (long i = 0; i < list->size; i++) { // the size is read anew: `compare` may change the list
        void *item = list->items[i];
        if (compare(item, data)) {
            if (found)
                *found = item;
            return i;
        }
    }
    return -1;
}

void linklist_findall(void *x, void **found, zan_compare compare, void *data)
{
    if (!found)
        return;
    *found = linklist_new();
    const linklist *list = list_of(x);
    if (!list || !compare || !*found)
        return;
    for (long i = 0; i < list->size; i++) {
        void *item = list->items[i];
        if (compare(item, data))
            linklist_append(*found, item);
    }
}

void linklist_funall(void *x, void (*fn)(void *, void *), void *data)
{
    const linklist *list = list_of(x);
    if (!list || !fn)
        return;
    for (long i = 0; i < list->size; i++)
        fn(list->items[i], data);
}

void linklist_funallsafe(void *x, void (*fn)(void *, void *), void *data)
{
    const linklist *list = list_of(x);
    if (!list || !fn)
        return;
    const snapshot copy(list);
    // An item that has left the list meanwhile may be freed, so it is passed over. While
    // nothing changes each one stands where it stood, and the search ends at once.
    for (long i = 0; i < copy.size; i++) {
        void *item = copy.items.get()[i];
        if ((i < list->size && list->items[i] == item) || linklist_objptr2index(x, item) >= 0)
            fn(item, data);
    }
}

long linklist_funindex(void *x, long index, zan_word (*fn)(void *, void *), void *data)
{
    const linklist *list = list_of(x);
    return in_range(list, index) && fn ? fn(list->items[index], data) : 0;
}

zan_word linklist_methodall_imp(void *x, symbol *selector, zan_word w1, zan_word w2, zan_word w3, zan_word w4,
                                zan_word w5, zan_word w6, zan_word w7, zan_word w8)
{
    const linklist *list = list_of(x);
    zan_word result = 0;
    for (long i = 0; list && i < list->size; i++)
        result = object_method_imp(list->items[i], selector, w1, w2, w3, w4, w5, w6, w7, w8);
    return result;
}

zan_word linklist_methodindex_imp(void *x, long index, symbol *selector, zan_word w1, zan_word w2, zan_word w3,
                                  zan_word w4, zan_word w5, zan_word w6, zan_word w7, zan_word w8)
{
    return object_method_imp(linklist_getindex(x, index), selector, w1, w2, w3, w4, w5, w6, w7, w8);
}

long linklist_makearray(void *x, void **array, long max)
{
    const linklist *list = list_of(x);
    if (!list || !array || max <= 0)
        return 0;
    const long count = std::min(max, list->size);
    std::copy_n(list->items, count, array);
    return count;
}

void linklist_reverse(void *x)
{
    if (linklist *list = list_of(x))
        std::reverse(list->items, list->items + list->size);
}

void linklist_rotate(void *x, long count)
{
    linklist *list = list_of(x);
    if (!list || list->size < 2)
        return;
    const long places = (count % list->size + list->size) % list->size;
    std::rotate(list->items, list->items + (list->size - places), list->items + list->size);
}

void linklist_shuffle(void *x)
{
    if (linklist *list = list_of(x))
        std::shuffle(list->items, list->items + list->size, generator());
}

void linklist_swap(void *x, long a, long b)
{
    linklist *list = list_of(x);
    if (in_range(list, a) && in_range(list, b))
        std::swap(list->items[a], list->items[b]);
}

void linklist_sort(void *x, long (*before)(void *a, void *b))
{
    linklist *list = list_of(x);
    if (list && before)
        std::stable_sort(list->items, list->items + list->size,
                         [before](void *a, void *b) { return before(a, b) != 0; });
}

} // extern "C"
