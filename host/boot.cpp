// The order in which the host's own classes come up, and the words the kernel speaks.
#include "kernel.h"

namespace zan {

// Each may rely on all those above it.
static constexpr void (*steps[])() = {
    init_method_class,     init_hashtab_class,     init_linklist_class, init_atomarray_class,
    init_dictionary_class, init_attribute_classes, init_binbuf_class,   init_sketch_image_class,
    init_queue_classes,    init_outlet_classes,    init_receiver,       init_patch_classes,
};

void boot()
{
    static constinit std::atomic<bool> booted{false};
    if (booted.load(std::memory_order_acquire))
        return;
    // The steps make classes and so come back here: recursive, and marked under way.
    static std::recursive_mutex lock;
    static bool under_way = false;
    const std::lock_guard hold(lock);
    if (under_way || booted.load(std::memory_order_relaxed))
        return;
    under_way = true;
    for (const auto step : steps)
        step();
    booted.store(true, std::memory_order_release);
}

symbol *nobox()
{
    return ks().nobox;
}

const kernel_symbols &ks()
{
    static const kernel_symbols words = [] {
        kernel_symbols k;
        const struct {
            symbol **to;
            const char *text;
        } rows[] = {
            {&k.empty, ""},
            {&k.nobox, "nobox"},
            {&k.box, "box"},
            {&k.methods, "methods"},
            {&k.attributes, "attributes"},
            {&k.decorator, "decorator"},
            {&k.notify, "notify"},
            {&k.free, "free"},
            {&k.attr_modified, "attr_modified"},
            {&k.create, "new"},
            {&k.getname, "getname"},
            {&k.gettype, "gettype"},
            {&k.getmethod, "getmethod"},
            {&k.setmethod, "setmethod"},
            {&k.getmethodtype, "getmethodtype"},
            {&k.canget, "canget"},
            {&k.canset, "canset"},
            {&k.usercanget, "usercanget"},
            {&k.usercanset, "usercanset"},
            {&k.get, "get"},
            {&k.set, "set"},
            {&k.getvalueof, "getvalueof"},
            {&k.setvalueof, "setvalueof"},
            {&k.object_clone, "object_clone"},
            {&k.attr_get, "attr_get"},
            {&k.attr_getnames, "attr_getnames"},
            {&k.attr_gettarget, "attr_gettarget"},
            {&k.filter, "filter"},
            {&k.atomarray, "atomarray"},
            {&k.hashtab, "hashtab"},
            {&k.method_object, "method"},
            {&k.hash_b, "#B"},
            {&k.zanwrapper, "zanwrapper"},
            {&k.anything, "anything"},
            {&k.int_, "int"},
            {&k.float_, "float"},
            {&k.char_, "char"},
            {&k.long_, "long"},
            {&k.float32, "float32"},
            {&k.float64, "float64"},
            {&k.symbol_, "symbol"},
            {&k.object_, "object"},
            {&k.pointer, "pointer"},
            {&k.atom_, "atom"},
            {&k.atom_long, "atom_long"},
            {&k.groupreference, "groupreference"},
            {&k.undocumented, "undocumented"},
        };
        static_assert(sizeof rows / sizeof *rows == sizeof(kernel_symbols) / sizeof(symbol *));
        for (const auto &row : rows)
            *row.to = gensym(row.text);
        return k;
    }();
    return words;
}

} // namespace zan
