// Where boxes stand: the file and line that made a box, and its name. Places are kept
// once and for ever, so that what waits in a queue can point to one while its box goes.
#include "kernel.h"

#include <algorithm>
#include <mutex>
#include <set>
#include <string>
#include <tuple>

using namespace zan;

const zan_place *zan::keep_place(const zan_place &place)
{
    struct by_words {
        bool operator()(const zan_place &a, const zan_place &b) const
        {
            return std::tie(a.file, a.line, a.box, a.classname) < std::tie(b.file, b.line, b.box, b.classname);
        }
    };
    static std::mutex lock;
    static auto &all = *new std::set<zan_place, by_words>; // nodes of a set never move
    const std::lock_guard held(lock);
    return &*all.insert(place).first;
}

namespace {

const zan_place *own_place(void *x)
{
    object *o = live(x);
    const side_record *side = o ? side_of(o) : nullptr;
    return side ? side->place.load(std::memory_order_acquire) : nullptr;
}

symbol *id_key()
{
    static symbol *const s = gensym("#id");
    return s;
}

} // namespace

extern "C" {

long zan_set_box_place(void *x, symbol *id, symbol *file, long line)
{
    object *box = looks_live(x) ? live(x) : nullptr;
    if (!box)
        return zan_err_invalid_ptr;
    side_record *side = side_make(box);
    if (!side)
        return zan_err_out_of_mem;
    side->place.store(keep_place({file, line, id, object_classname(box)}), std::memory_order_release);
    return object_obex_storeflags(box, id_key(), id, obex_borrowed);
}

symbol *zbox_get_id(void *box)
{
    void *id = nullptr;
    if (looks_live(box))
        object_obex_lookup(box, id_key(), &id);
    return static_cast<symbol *>(id);
}

const zan_place *zan_place_of(void *x)
{
    if (!looks_live(x))
        return nullptr;
    if (const zan_place *place = own_place(x))
        return place;
    for (symbol *key : {ks().hash_b, ks().zanwrapper}) {
        void *box = nullptr;
        if (!object_obex_lookup(x, key, &box) && looks_live(box))
            if (const zan_place *place = own_place(box))
                return place;
    }
    return nullptr;
}

long zan_place_text(const zan_place *place, char *text, long size)
{
    std::string all;
    if (place && place->file) {
        all = place->file->name;
        if (place->line > 0)
            all += ":" + std::to_string(place->line);
        if (place->box || place->classname)
            all += ": ";
    }
    if (place && place->box)
        all += place->box->name;
    if (place && place->classname)
        all += place->box ? std::string(" (") + place->classname->name + ")" : place->classname->name;
    if (text && size > 0)
        text[all.copy(text, static_cast<size_t>(size - 1))] = 0;
    return static_cast<long>(all.size());
}

} // extern "C"
