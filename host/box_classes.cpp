// The classes that a patch can name: what is registered, what packs and finders make on
// demand, and externals. Reached through include/zan/module.h.
#include "internal.h"

#include <zan/module.h>

#include <algorithm>
#include <mutex>
#include <vector>

namespace {

symbol *box_space()
{
    static symbol *const s = gensym("box");
    return s;
}

symbol *digest_key()
{
    static symbol *const s = gensym("digest");
    return s;
}

// Held while classes are looked for; a finder or a module's init may look for others.
std::recursive_mutex &finding()
{
    static auto *lock = new std::recursive_mutex;
    return *lock;
}

std::vector<const zan_class_finder *> &finders()
{
    static auto *all = new std::vector<const zan_class_finder *>;
    return *all;
}

} // namespace

long zan_add_class_finder(const zan_class_finder *finder)
{
    if (!finder || !finder->find || !finder->list)
        return zan_err_invalid_ptr;
    const std::lock_guard hold(finding());
    finders().push_back(finder);
    return zan_err_none;
}

namespace {

zan_class *known_or_made(symbol *name)
{
    if (zan_class *known = class_findbyname(box_space(), name))
        return known;
    for (size_t i = 0; i < finders().size(); i++) // one may add another
        if (zan_class *made = finders()[i]->find(name))
            return made;
    return nullptr;
}

} // namespace

zan_class *zan_box_class(symbol *name)
{
    if (!name)
        return nullptr;
    if (zan_class *known = class_findbyname(box_space(), name))
        return known;
    const std::lock_guard hold(finding());
    zan::load_packs();
    if (zan_class *packed = known_or_made(name))
        return packed;
    // an external makes its box class itself, or one that a finder makes a box of
    if (!zan::load_module_for(name))
        return nullptr;
    zan_class *loaded = known_or_made(name);
    if (!loaded)
        object_error(nullptr, "%s.so was loaded, but makes no class for a box %s", name->name, name->name);
    return loaded;
}

long zan_box_names(long *count, symbol ***names)
{
    if (!count || !names)
        return zan_err_invalid_ptr;
    const std::lock_guard hold(finding());
    zan::load_packs();
    std::vector<symbol *> all;
    long known = 0;
    symbol **registered = nullptr;
    if (!zan_class_names(box_space(), &known, &registered))
        all.assign(registered, registered + known);
    sysmem_freeptr(registered);
    for (size_t i = 0; i < finders().size(); i++)
        finders()[i]->list(
            [](void *to, symbol *name) { static_cast<std::vector<symbol *> *>(to)->push_back(name); }, &all);
    symbolarray_sort(all.data(), long(all.size()));
    all.erase(std::unique(all.begin(), all.end()), all.end());
    *count = long(all.size());
    *names = static_cast<symbol **>(sysmem_newptr(long((all.size() + 1) * sizeof(symbol *))));
    if (!*names)
        return zan_err_out_of_mem;
    std::copy(all.begin(), all.end(), *names);
    return zan_err_none;
}

symbol *zan_class_digest(zan_class *c)
{
    return c ? static_cast<symbol *>(class_extra_lookup(c, digest_key())) : nullptr;
}

long zan_class_setdigest(zan_class *c, const char *sentence)
{
    if (!c || !sentence)
        return zan_err_invalid_ptr;
    return class_extra_store(c, digest_key(), gensym(sentence));
}
