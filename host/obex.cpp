// The side record of an object: its extension, a short list of words under symbol
// keys, with the tables of its own methods and attributes among them.
#include "kernel.h"
#include <new>

namespace zan {
namespace {

void set_shortcut(side_record *side, symbol *key, void *value)
{
    if (key == ks().methods)
        side->own_methods.store(value, std::memory_order_release);
    else if (key == ks().attributes)
        side->own_attributes.store(value, std::memory_order_release);
}

} // namespace

side_record *side_make(object *o)
{
    if (side_record *side = side_of(o))
        return side;
    side_record *made = new (std::nothrow) side_record;
    if (!made)
        return nullptr;
    void *there = nullptr;
    if (!std::atomic_ref<void *>(o->side).compare_exchange_strong(there, made)) {
        delete made;
        return static_cast<side_record *>(there);
    }
    if (const long offset = class_of(o)->obex_offset)
        *reinterpret_cast<void **>(reinterpret_cast<char *>(o) + offset) = made;
    return made;
}

void obex_free(object *o, side_record *side)
{
    pod_array<keyed_word> words;
    {
        const std::lock_guard hold(side->lock);
        side->own_methods.store(nullptr);
        side->own_attributes.store(nullptr);
        words.swap(side->obex);
    }
    for (const keyed_word &word : words)
        if (!(word.flags & obex_borrowed))
            object_free(word.value);
}

void *obex_table(object *o, symbol *key)
{
    void *table = nullptr;
    if (!object_obex_lookup(o, key, &table))
        return table;
    table = hashtab_new(0);
    if (!table)
        return nullptr;
    side_record *side = side_make(o);
    void *loser = table;
    if (side) {
        const std::lock_guard hold(side->lock);
        for (const keyed_word &word : side->obex)
            if (word.key == key) { // another thread was quicker
                table = word.value;
                side = nullptr;
                break;
            }
        if (side && side->obex.push({key, table, 0})) {
            set_shortcut(side, key, table);
            loser = nullptr;
        }
    }
    if (loser == table)
        table = nullptr;
    hashtab_chuck(loser);
    return table;
}

} // namespace zan

using namespace zan;

extern "C" {

long object_obex_lookup(void *x, symbol *key, void **value)
{
    object *o = live(x);
    side_record *side = o ? side_of(o) : nullptr;
    if (!side || !key || !value)
        return zan_err_generic;
    const std::lock_guard hold(side->lock);
    for (const keyed_word &word : side->obex)
        if (word.key == key) {
            *value = word.value;
            return zan_err_none;
        }
    return zan_err_generic;
}

long object_obex_store(void *x, symbol *key, void *value)
{
    return object_obex_storeflags(x, key, value, 0);
}

long object_obex_storeflags(void *x, symbol *key, void *value, long flags)
{
    object *o = live(x);
    if (!o || !key)
        return zan_err_invalid_ptr;
    side_record *side = side_make(o);
    if (!side)
        return zan_err_out_of_mem;
    // The box and the wrapper own the object, not the other way round.
    if (key == ks().hash_b || key == ks().zanwrapper)
        flags |= obex_borrowed;
    const std::lock_guard hold(side->lock);
    for (size_t i = 0; i < side->obex.size(); ++i)
        if (side->obex[i].key == key) { // what was there goes back to whoever stored it
            if (value)
                side->obex[i] = {key, value, flags};
            else
                side->obex.erase(i);
            set_shortcut(side, key, value);
            return zan_err_none;
        }
    if (!value)
        return zan_err_none;
    if (!side->obex.push({key, value, flags}))
        return zan_err_out_of_mem;
    set_shortcut(side, key, value);
    return zan_err_none;
}

} // extern "C"
