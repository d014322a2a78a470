// A name's hub: the object in the name's `thing`, which hands on what it gets to every
// outlet that listens, in the order of their coming. The first makes it, the last frees it.
#include "receiving.h"

#include <mutex>
#include <new>
#include <vector>

namespace boxes {

struct receivers {
    object header;
    symbol *name;
    std::vector<void *> *outlets;
};

namespace {

std::mutex &hubs_lock()
{
    static auto *one = new std::mutex;
    return *one;
}

void hand_on(receivers *r, symbol *selector, long argc, atom *argv)
{
    std::vector<void *> now;
    {
        const std::lock_guard hold(hubs_lock());
        now = *r->outlets;
    }
    for (void *outlet : now)
        outlet_anything(outlet, selector, argc, argv);
}

void release(receivers *r)
{
    delete r->outlets;
}

zan_class *hub_class()
{
    static zan_class *const c = [] {
        zan_class *made = class_new("receivers", nullptr, reinterpret_cast<zan_method>(release), sizeof(receivers),
                                    nullptr, argtype_cant, 0);
        for (const char *word : {"bang", "int", "float", "list", "anything"})
            class_addmethod(made, reinterpret_cast<zan_method>(hand_on), word, argtype_gimme, 0);
        return made;
    }();
    return c;
}

} // namespace

void *object_behind(const symbol *name)
{
    // anyone may keep any word there, a function too
    const auto word = reinterpret_cast<uintptr_t>(name->thing);
    return word >= 65536 && word % 16 == 0 && object_class(name->thing) ? name->thing : nullptr;
}

receiving::receiving(void *x, symbol *name, void *outlet) : outlet_(outlet)
{
    if (!name->thing) {
        hub_ = static_cast<receivers *>(object_alloc(hub_class()));
        if (!hub_)
            throw std::bad_alloc();
        hub_->name = name;
        hub_->outlets = new std::vector<void *>;
        name->thing = hub_;
    } else if (object_behind(name) && object_class(name->thing) == hub_class()) {
        hub_ = static_cast<receivers *>(name->thing);
    } else {
        object_error(x, "the name \"%s\" is taken by something else", name->name);
        return;
    }
    const std::lock_guard hold(hubs_lock());
    hub_->outlets->push_back(outlet);
}

receiving::~receiving()
{
    if (!hub_)
        return;
    {
        const std::lock_guard hold(hubs_lock());
        std::erase(*hub_->outlets, outlet_);
        if (!hub_->outlets->empty())
            return;
        if (hub_->name->thing == hub_)
            hub_->name->thing = nullptr;
    }
    object_free(hub_);
}

} // namespace boxes
