// The class "hashtab": words under symbol keys, kept in order of storing. Small tables
// are searched straight through; larger ones have an index of places. An entry taken
// out leaves a gap, so that whoever is running through the table isn't disturbed;
// gaps are closed when the table next grows and no one is inside.
#include "kernel.h"

namespace zan {
namespace {

struct hashtab {
    object header;
    std::mutex lock;
    zan_hashtab_entry *entries; // a null key is a gap
    uint32_t used, capacity;    // entries in use, gaps included
    uint32_t alive;             // entries that hold something
    uint32_t *index;            // 1 + place in entries; 0 free; null while the table is small
    uint32_t mask;              // of index
    long inside;                // runs under way
    bool readonly;              // values are someone else's
};

constexpr uint32_t small_table = 8;
zan_class *hashtab_class;

hashtab *table_of(void *x)
{
    return instance_of<hashtab>(x, hashtab_class);
}

size_t hash_of(const symbol *key)
{
    return static_cast<size_t>((reinterpret_cast<uintptr_t>(key) * 0x9E3779B97F4A7C15ull) >> 32);
}

zan_hashtab_entry *find(hashtab *t, const symbol *key)
{
    if (!t->index) {
        for (uint32_t i = 0; i < t->used; ++i)
            if (t->entries[i].key == key)
                return t->entries + i;
        return nullptr;
    }
    for (size_t i = hash_of(key);; ++i) {
        const uint32_t place = t->index[i & t->mask];
        if (!place)
            return nullptr;
        if (t->entries[place - 1].key == key)
            return t->entries + place - 1;
    }
}

void index_put(hashtab *t, uint32_t place)
{
    size_t i = hash_of(t->entries[place].key);
    while (t->index[i & t->mask])
        ++i;
    t->index[i & t->mask] = place + 1;
}

// Closes the gaps, unless someone is inside, and makes the index anew.
void tidy(hashtab *t)
{
    if (!t->inside) {
        uint32_t kept = 0;
        for (uint32_t i = 0; i < t->used; ++i)
            if (t->entries[i].key)
                t->entries[kept++] = t->entries[i];
        t->used = kept;
    }
    if (!t->index)
        return;
    std::memset(t->index, 0, (size_t(t->mask) + 1) * sizeof(uint32_t));
    for (uint32_t i = 0; i < t->used; ++i)
        if (t->entries[i].key)
            index_put(t, i);
}

// Makes room for one more entry; false when memory is out.
bool make_room(hashtab *t)
{
    if (t->used < t->capacity)
        return true;
    tidy(t);
    if (t->capacity && t->used * 2 <= t->capacity)
        return true;
    const uint32_t capacity = t->capacity ? t->capacity * 2 : small_table;
    uint32_t *index = nullptr;
    const uint32_t slots = capacity * 2; // a power of two, at most half full
    if (capacity > small_table && !(index = static_cast<uint32_t *>(std::malloc(slots * sizeof(uint32_t)))))
        return t->used < t->capacity;
    auto *entries = static_cast<zan_hashtab_entry *>(
        std::realloc(static_cast<void *>(t->entries), capacity * sizeof(zan_hashtab_entry)));
    if (!entries) {
        std::free(index);
        return t->used < t->capacity;
    }
    t->entries = entries;
    t->capacity = capacity;
    if (index) {
        std::free(t->index);
        t->index = index;
        t->mask = slots - 1;
        tidy(t);
    }
    return true;
}

void free_values(hashtab *t)
{
    // The values' own free functions may reach this table: it is empty by then.
    zan_hashtab_entry *entries;
    uint32_t used;
    bool owned;
    {
        const std::lock_guard hold(t->lock);
        entries = t->entries;
        used = t->used;
        owned = !t->readonly;
        std::free(t->index);
        t->index = nullptr;
        t->entries = nullptr;
        t->used = t->capacity = t->alive = t->mask = 0;
    }
    if (owned)
        for (uint32_t i = 0; i < used; ++i)
            if (entries[i].key)
                object_free(entries[i].value);
    std::free(entries);
}

// Runs fn over the entries there are now and those that fn adds.
template <class F> long run_through(void *x, F fn)
{
    hashtab *t = table_of(x);
    if (!t)
        return zan_err_invalid_ptr;
    {
        const std::lock_guard hold(t->lock);
        ++t->inside;
    }
    for (uint32_t i = 0;; ++i) {
        zan_hashtab_entry entry;
        {
            const std::lock_guard hold(t->lock);
            if (i >= t->used) {
                --t->inside;
                return zan_err_none;
            }
            entry = t->entries[i];
        }
        if (entry.key)
            fn(entry);
    }
}

void *create(zan_word slots)
{
    return hashtab_new(slots);
}

void destroy(hashtab *t)
{
    free_values(t);
    t->lock.~mutex();
}

long set_readonly(hashtab *t, zan_word on)
{
    t->readonly = on != 0;
    return zan_err_none;
}

long clear(hashtab *t)
{
    free_values(t);
    return zan_err_none;
}

// The copy shares the values, so it is readonly.
void *clone(hashtab *t)
{
    void *copy = hashtab_new(0);
    run_through(t, [&](zan_hashtab_entry &e) { hashtab_store(copy, e.key, e.value); });
    if (copy)
        set_readonly(static_cast<hashtab *>(copy), 1);
    return copy;
}

} // namespace

void init_hashtab_class()
{
    zan_class *c = class_new("hashtab", erase(create), erase(destroy), sizeof(hashtab), nullptr, argtype_cant, 0);
    if (!c)
        return;
    const struct {
        const char *name;
        zan_method fn;
        int tag;
    } messages[] = {
        {"readonly", erase(set_readonly), argtype_long},
        {"getsize", erase(hashtab_getsize), argtype_cant},
        {"store", erase(hashtab_store), argtype_cant},
        {"lookup", erase(hashtab_lookup), argtype_cant},
        {"chuckkey", erase(hashtab_chuckkey), argtype_cant},
        {"chuck", erase(hashtab_chuck), argtype_cant},
        {"getkeys", erase(hashtab_getkeys), argtype_cant},
        {"funall", erase(hashtab_funall), argtype_cant},
        {"objfunall", erase(hashtab_objfunall), argtype_cant},
        {"object_clone", erase(clone), argtype_cant},
        {"clear", erase(clear), argtype_nothing},
    };
    for (const auto &m : messages)
        class_addmethod(c, m.fn, m.name, m.tag, 0);
    class_register(nobox(), c);
    hashtab_class = c;
}

} // namespace zan

using namespace zan;

extern "C" {

void *hashtab_new(long slots)
{
    boot();
    hashtab *t = static_cast<hashtab *>(object_alloc(hashtab_class));
    if (!t)
        return nullptr;
    new (&t->lock) std::mutex;
    return t; // `slots` is only a hint, and the table finds its size itself
}

long hashtab_store(void *table, symbol *key, void *value)
{
    hashtab *t = table_of(table);
    if (!t || !key)
        return zan_err_invalid_ptr;
    const std::lock_guard hold(t->lock);
    if (zan_hashtab_entry *e = find(t, key)) {
        e->value = value;
        return zan_err_none;
    }
    if (!make_room(t))
        return zan_err_out_of_mem;
    t->entries[t->used] = {key, value};
    if (t->index)
        index_put(t, t->used);
    ++t->used;
    ++t->alive;
    return zan_err_none;
}

long hashtab_lookup(void *table, symbol *key, void **value)
{
    hashtab *t = table_of(table);
    if (!t || !key || !value)
        return zan_err_invalid_ptr;
    const std::lock_guard hold(t->lock);
    const zan_hashtab_entry *e = find(t, key);
    if (!e)
        return zan_err_generic;
    *value = e->value;
    return zan_err_none;
}

long hashtab_chuckkey(void *table, symbol *key)
{
    hashtab *t = table_of(table);
    if (!t || !key)
        return zan_err_invalid_ptr;
    const std::lock_guard hold(t->lock);
    zan_hashtab_entry *e = find(t, key);
    if (!e)
        return zan_err_generic;
    e->key = nullptr; // its place in the index stays taken until the next growth
    e->value = nullptr;
    --t->alive;
    return zan_err_none;
}

long hashtab_chuck(void *table)
{
    hashtab *t = table_of(table);
    if (!t)
        return zan_err_invalid_ptr;
    t->readonly = true;
    return object_free(t);
}

long hashtab_getsize(void *table)
{
    hashtab *t = table_of(table);
    if (!t)
        return 0;
    const std::lock_guard hold(t->lock);
    return t->alive;
}

long hashtab_getkeys(void *table, long *count, symbol ***keys)
{
    if (count)
        *count = 0;
    if (keys)
        *keys = nullptr;
    hashtab *t = table_of(table);
    if (!t || !count || !keys)
        return zan_err_invalid_ptr;
    const std::lock_guard hold(t->lock);
    if (!t->alive)
        return zan_err_none;
    symbol **found = static_cast<symbol **>(sysmem_newptr(static_cast<long>(t->alive * sizeof(symbol *))));
    if (!found)
        return zan_err_out_of_mem;
    long n = 0;
    for (uint32_t i = 0; i < t->used; ++i)
        if (t->entries[i].key)
            found[n++] = t->entries[i].key;
    *count = n;
    *keys = found;
    return zan_err_none;
}

long hashtab_funall(void *table, void (*fn)(zan_hashtab_entry *, void *), void *data)
{
    if (!fn)
        return zan_err_invalid_ptr;
    return run_through(table, [&](zan_hashtab_entry &e) { fn(&e, data); });
}

long hashtab_objfunall(void *table, void (*fn)(void *, void *), void *data)
{
    if (!fn)
        return zan_err_invalid_ptr;
    return run_through(table, [&](zan_hashtab_entry &e) { fn(e.value, data); });
}

} // extern "C"
