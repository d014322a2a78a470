// Making, counting, copying and freeing objects.
#include "kernel.h"

#include <optional>

namespace zan {
namespace {

// The copy of a class that is being constructed on this thread. Its constructor knows
// only the class it was copied from and allocates that one.
thread_local zan_class *constructing_copy;

struct construction_mark {
    explicit construction_mark(zan_class *c) : before(constructing_copy)
    {
        constructing_copy = c->origin ? c : nullptr;
    }
    ~construction_mark() { constructing_copy = before; }
    zan_class *before;
};

} // namespace

void *construct(zan_class *c, zan_word w1, zan_word w2, zan_word w3, zan_word w4, zan_word w5, zan_word w6,
                zan_word w7, zan_word w8)
{
    if (!c->new_fn)
        return object_alloc(c);
    const construction_mark mark(c);
    if (c->new_types[0] == argtype_gimme)
        return as<void *(*)(symbol *, long, atom *)>(c->new_fn)(c->name, w1, reinterpret_cast<atom *>(w2));
    using word8_constructor =
        void *(*)(zan_word, zan_word, zan_word, zan_word, zan_word, zan_word, zan_word, zan_word);
    return as<word8_constructor>(c->new_fn)(w1, w2, w3, w4, w5, w6, w7, w8);
}

} // namespace zan

using namespace zan;

extern "C" {

void *object_alloc(zan_class *c)
{
    if (!c)
        return nullptr;
    if (constructing_copy && constructing_copy->origin == c) {
        c = constructing_copy;
        constructing_copy = nullptr; // the first is the object itself, others are parts of it
    }
    object *o = static_cast<object *>(std::calloc(1, static_cast<size_t>(c->size)));
    if (!o)
        return nullptr;
    o->messlist = c->methods;
    o->magic = ZAN_OBJECT_MAGIC;
    c->instances.fetch_add(1, std::memory_order_relaxed);
    return o;
}

void *newobject(zan_class *c)
{
    return object_alloc(c);
}

void *object_new_imp(symbol *name_space, symbol *classname, zan_word w1, zan_word w2, zan_word w3, zan_word w4,
                     zan_word w5, zan_word w6, zan_word w7, zan_word w8)
{
    zan_class *c = class_findbyname(name_space, classname);
    return c ? construct(c, w1, w2, w3, w4, w5, w6, w7, w8) : nullptr;
}

void *object_new_typed(symbol *name_space, symbol *classname, long argc, atom *argv)
{
    zan_class *c = class_findbyname(name_space, classname);
    if (!c)
        return nullptr;
    if (argc < 0 || !argv)
        argc = 0;
    if (zan_method_object *wrapper = class_typedwrapper_get(c, ks().create)) {
        const construction_mark mark(c);
        return as<void *(*)(symbol *, long, atom *)>(wrapper->entry.function)(c->name, argc, argv);
    }
    if (!c->new_fn || c->new_types[0] == argtype_gimme)
        return construct(c, argc, word_of(argv), 0, 0, 0, 0, 0, 0);
    if (c->new_types[0] == argtype_cant) {
        if (!argc)
            return construct(c, 0, 0, 0, 0, 0, 0, 0, 0);
        object_error(nullptr, "%s: new: is made by programs only, and takes no arguments here: found %ld",
                     c->name->name, argc);
        return nullptr;
    }
    const construction_mark mark(c);
    zan_word made = 0;
    call_converted(nullptr, c->name->name, c->new_fn, c->new_types, nullptr, 0, argc, argv, &made);
    return reinterpret_cast<void *>(made);
}

void *newinstance(symbol *name, long argc, atom *argv)
{
    if (!name)
        return nullptr;
    return zan_box_class(name) ? object_new_typed(ks().box, name, argc, argv) : nullptr;
}

long object_free(void *x)
{
    if (!x)
        return zan_err_none;
    if (!looks_live(x))
        return zan_err_invalid_ptr;
    object *o = static_cast<object *>(x);
    if (registry_drop_reference(o))
        return zan_err_none;
    zan_class *c = class_of(o);
    const auto state = [o] { return __atomic_load_n(&o->state, __ATOMIC_ACQUIRE); };
    std::optional<scheduler_at_rest> rest; // a message from there might be on its way through this box
    if (state() & state_has_cords)
        rest.emplace(false);
    // Clients hear of it while the object is whole and still has its name.
    if (state() & state_registered)
        object_notify(o, ks().free, nullptr);
    if (state() & state_has_queued)
        queue_forget(o);
    if (state() & (state_registered | state_client))
        registry_forget(o);
    if (c->free_fn)
        as<void (*)(void *)>(c->free_fn)(o);
    // Once more: the free function may have queued, attached or registered anew.
    if (state() & state_has_queued)
        queue_forget(o);
    if (state() & state_has_cords)
        cords_forget(o);
    if (state() & (state_registered | state_client))
        registry_forget(o);
    if (side_record *side = side_of(o)) {
        obex_free(o, side);
        delete side;
    }
    std::memset(static_cast<void *>(o), 0, sizeof *o);
    std::free(o);
    class_instance_gone(c);
    return zan_err_none;
}

void freeobject(void *x)
{
    object_free(x);
}

long object_retain(void *x)
{
    object *o = live(x);
    if (!o)
        return zan_err_invalid_ptr;
    side_record *side = side_make(o);
    if (!side)
        return zan_err_out_of_mem;
    side->retains.fetch_add(1);
    return zan_err_none;
}

long object_release(void *x)
{
    return object_free(x);
}

zan_class *object_class(void *x)
{
    object *o = live(x);
    return o ? class_of(o) : nullptr;
}

symbol *object_classname(void *x)
{
    object *o = live(x);
    return o ? class_of(o)->name : ks().empty;
}

void *object_clone(void *x)
{
    object *o = live(x);
    if (!o)
        return nullptr;
    if (!zgetfn(o, ks().object_clone))
        return object_clone_generic(o);
    void *copy = reinterpret_cast<void *>(object_method_imp(o, ks().object_clone, 0, 0, 0, 0, 0, 0, 0, 0));
    attributes_copy(o, copy);
    return copy;
}

void *object_clone_generic(void *x)
{
    object *o = live(x);
    if (!o)
        return nullptr;
    zan_class *c = class_of(o);
    object *copy = static_cast<object *>(object_alloc(c));
    if (!copy)
        return nullptr;
    std::memcpy(static_cast<void *>(copy + 1), o + 1, static_cast<size_t>(c->size) - sizeof *o);
    if (c->obex_offset) // the copy has none yet
        *reinterpret_cast<void **>(reinterpret_cast<char *>(copy) + c->obex_offset) = nullptr;
    attributes_copy(o, copy);
    return copy;
}

long object_refpage_method_is_groupreference(void *method_object)
{
    return object_attr_getlong(method_object, ks().groupreference) != 0;
}

long object_refpage_method_is_undocumented(void *method_object)
{
    return object_attr_getlong(method_object, ks().undocumented) != 0;
}

} // extern "C"
