// Domains of boxes, and the host's table of common symbols. Reached through
// include/zan/preferences.h.
#include "internal.h"

#include <mutex>

namespace {

zan_class *comment_class;

// A remark in a patch: it has a place and a text that the patch keeps, and nothing to do.
void *comment_new(symbol *, long, atom *)
{
    return object_alloc(comment_class);
}

} // namespace

extern "C" {

// The namespace has a class of the domain's own name, whose constructor is the one given
// and takes (name, argc, argv), and the class "comment", which every domain has.
symbol *patcherdomain_namespace_init(const char *name, zan_method constructor)
{
    if (!name || !name[0] || !constructor)
        return nullptr;
    zan::boot();
    static std::mutex mutex;
    const std::lock_guard guard(mutex);
    symbol *domain = gensym(name);
    if (!class_findbyname(domain, domain)) {
        zan_class *c = class_new(name, constructor, nullptr, sizeof(object), nullptr, argtype_gimme, 0);
        if (!c || class_register(domain, c))
            return nullptr;
    }
    symbol *comment = gensym("comment");
    if (!comment_class) {
        zan_class *c = class_new("comment", reinterpret_cast<zan_method>(&comment_new), nullptr, sizeof(object),
                                 nullptr, argtype_gimme, 0);
        if (!c || class_register(zan::nobox(), c))
            return nullptr;
        comment_class = c;
    }
    if (!class_findbyname(domain, comment))
        class_copy(zan::nobox(), comment, domain, comment);
    return domain;
}

symbol **common_symbols_gettable(void)
{
    static symbol *table[zan_common_count + 1];
    static std::once_flag once;
    std::call_once(once, [] {
        static constexpr const char *names[] = {
#define ZAN_COMMON_NAME(symbol_name, text) text,
            ZAN_COMMON_SYMBOLS(ZAN_COMMON_NAME)
#undef ZAN_COMMON_NAME
        };
        for (int i = 0; i < zan_common_count; i++)
            table[i] = gensym(names[i]);
    });
    return table;
}

} // extern "C"
