// The writer's side of the map that messages are looked up in.
#include "kernel.h"

namespace zan {

symbol_index::~symbol_index()
{
    for (table *t = table_.load(std::memory_order_relaxed); t;) {
        table *outgrown = t->outgrown;
        std::free(t);
        t = outgrown;
    }
}

bool symbol_index::store(symbol *key, void *value)
{
    table *t = table_.load(std::memory_order_relaxed);
    if (t)
        for (size_t i = hash(key);; ++i) {
            slot &s = t->slots()[i & t->mask];
            const symbol *k = s.key.load(std::memory_order_relaxed);
            if (k == key) {
                s.value.store(value, std::memory_order_release);
                return true;
            }
            if (!k)
                break;
        }
    if (!t || t->used * 2 > t->mask) {
        const size_t slots = t ? (t->mask + 1) * 2 : 16;
        table *grown = static_cast<table *>(std::calloc(1, sizeof(table) + slots * sizeof(slot)));
        if (!grown)
            return false;
        grown->mask = slots - 1;
        grown->outgrown = t;
        const auto put = [grown](const symbol *k, void *v) {
            size_t i = hash(k);
            while (grown->slots()[i & grown->mask].key.load(std::memory_order_relaxed))
                ++i;
            grown->slots()[i & grown->mask].value.store(v, std::memory_order_relaxed);
            grown->slots()[i & grown->mask].key.store(k, std::memory_order_relaxed);
            ++grown->used;
        };
        for (size_t i = 0; t && i <= t->mask; ++i)
            if (const symbol *k = t->slots()[i].key.load(std::memory_order_relaxed))
                put(k, t->slots()[i].value.load(std::memory_order_relaxed));
        put(key, value);
        table_.store(grown, std::memory_order_release);
        return true;
    }
    size_t i = hash(key);
    while (t->slots()[i & t->mask].key.load(std::memory_order_relaxed))
        ++i;
    t->slots()[i & t->mask].value.store(value, std::memory_order_relaxed);
    t->slots()[i & t->mask].key.store(key, std::memory_order_release); // the value is there before its key
    ++t->used;
    return true;
}

} // namespace zan
