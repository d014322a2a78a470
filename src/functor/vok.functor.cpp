// The frame of the functors: the registry of classes by short and dotted name, categories,
// what a class gets at set-up, and the messages that every functor answers.
#include "functor/functor.h"

#include <iterator>

#include <vokra/commonsyms.h>
#include <vokra/functor_evaluate.h>

using namespace vok::functor;

namespace {

void *registry; // a host hashtab from name to class
symbol *sym_category, *sym_interface, *sym_evalfixed, *sym_evalfloat32, *sym_evalfloat64, *sym_subfunctor,
    *sym_changed;

template <typename Fn> void install(zan_class *c, Fn *fn, const char *name)
{
    if (!class_method(c, gensym(name)))
        vok_class_addmethod(c, vok::method(fn), name, argtype_cant, 0);
}

// The twelve entries of the interface, in order.
constexpr const char *formats_in_order[] = {"evalfixed", "evalfloat32", "evalfloat64"};
constexpr const char *suffixes[] = {"", "_1d", "_2d", "_3d"};

symbol *entry_name(const char *format, const char *suffix)
{
    char name[32];
    snprintf_zero(name, sizeof name, "%s%s", format, suffix);
    return gensym(name);
}

// A class of the exact name.
zan_class *registered(symbol *name)
{
    void *found = nullptr;
    if (registry && name)
        hashtab_lookup(registry, name, &found);
    return static_cast<zan_class *>(found);
}

// A function that every class lacks answers with what stands for "no such method".
zan_method missing_method(void *x)
{
    static const zan_method missing = vok_object_getmethod(x, gensym("no functor has this method"));
    return missing;
}

using init_fn = vok_err (*)(void);
#define VOKRA_FUNCTOR_INIT(category, name, text) vok_functor_##category##_##name##_init,
constexpr init_fn class_inits[] = {VOK_FUNCTORS(VOKRA_FUNCTOR_INIT)};
#undef VOKRA_FUNCTOR_INIT

} // namespace

namespace vok::functor {

zan_class *add(const class_description &d)
{
    zan_class *c = vok_class_new(d.name, d.new_fn(), d.free_fn(), d.size, argtype_cant, 0);
    if (!c) {
        object_error(nullptr, "%s: out of memory for the class", d.name);
        return nullptr;
    }
    add_messages(c, d.eval);
    add_messages(c, d.messages);
    add_attributes(c, d.attributes);
    vok_functor_setup_class(c, d.category, d.short_name);
    if (auto *record = static_cast<interface_record *>(class_extra_lookup(c, sym_interface)))
        record->rows = d.rows;
    vok_class_register(c);
    return c;
}

void clear(vok_functor_wrapper &held)
{
    if (held.object)
        vok_object_free(held.object);
    held = {};
}

} // namespace vok::functor

vok_err vok_functor_init(void)
{
    if (registry)
        return VOK_ERR_NONE;
    registry = hashtab_new(0);
    sym_category = gensym("functor_category");
    sym_interface = gensym("functor_interface");
    sym_evalfixed = gensym("evalfixed");
    sym_evalfloat32 = gensym("evalfloat32");
    sym_evalfloat64 = gensym("evalfloat64");
    sym_subfunctor = gensym("subfunctor");
    sym_changed = gensym("subfunctor_changed");
    for (const init_fn init : class_inits)
        init();
    vok_functor_evaluate_init();
    vok_functor_sampler_regular_init();
    return VOK_ERR_NONE;
}

vok_err vok_functor_setup_class(zan_class *c, const char *category, const char *name)
{
    if (!c || !category || !name)
        return VOK_ERR_INVP;
    vok_functor_addcategory(c, gensym(category));
    symbol *key = gensym(name);
    if (registered(key)) // the first class of a name keeps it
        return VOK_ERR_NONE;
    install(c, vok_functor_eval_fixed, "evalfixed");
    install(c, vok_functor_eval_float32, "evalfloat32");

    zan_method entries[std::size(formats_in_order) * std::size(suffixes)];
    size_t i = 0;
    for (const char *format : formats_in_order) {
        for (const char *suffix : suffixes) {
            symbol *entry = entry_name(format, suffix);
            if (!class_method(c, entry))
                vok_class_addmethod(c, class_method(c, gensym(format)), entry->name, argtype_cant, 0);
            entries[i++] = class_method(c, entry);
        }
    }
    vok_class_addmethod(c, vok::method(vok_functor_eval_typed), "eval", argtype_gimmeback, 0);
    vok_class_addmethod(c, vok::method(vok_functor_eval_typed), "evaluate", argtype_gimmeback, 0);
    vok_class_addmethod(c, vok::method(vok_functor_setattr), "setattr", argtype_gimme, 0);

    auto *record = static_cast<interface_record *>(sysmem_newptrclear(sizeof(interface_record)));
    if (!record)
        return VOK_ERR_NONE;
    static_assert(sizeof entries == sizeof record->entries);
    std::memcpy(&record->entries, entries, sizeof entries);
    class_extra_store(c, sym_interface, record);

    char dotted[256];
    snprintf_zero(dotted, sizeof dotted, "%s.%s", category, name);
    hashtab_store(registry, key, c);
    hashtab_store(registry, gensym(dotted), c);
    return VOK_ERR_NONE;
}

vok_err vok_functor_addcategory(zan_class *c, symbol *category)
{
    if (!c)
        return VOK_ERR_EROR;
    void *list = vok_functor_getcategorylist(c);
    if (!list) {
        list = linklist_new();
        if (!list)
            return VOK_ERR_EROR;
        class_extra_store(c, sym_category, list);
    }
    linklist_append(list, category);
    return VOK_ERR_NONE;
}

void *vok_functor_getcategorylist(zan_class *c)
{
    return c ? class_extra_lookup(c, sym_category) : nullptr;
}

long vok_functor_category_symcompare(void *item, void *category)
{
    return item == category;
}

long vok_functor_category_match(zan_class *c, symbol *category)
{
    void *list = vok_functor_getcategorylist(c), *found = nullptr;
    return list && linklist_findfirst(list, &found, vok_functor_category_symcompare, category) >= 0;
}

zan_class *vok_functor_lookup(symbol *category, symbol *name)
{
    zan_class *c = registered(name);
    return c && (!category || vok_functor_category_match(c, category)) ? c : nullptr;
}

zan_class *vok_functor_lookup_relaxed(symbol *, symbol *name)
{
    if (!name)
        return nullptr;
    zan_class *c = registered(name);
    const char *rest = name->name;
    while (!c && (rest = std::strchr(rest, '.')))
        c = registered(gensym(++rest));
    return c;
}

void *vok_functor_classlist_in_category(symbol *category)
{
    long count = 0;
    symbol **keys = nullptr;
    if (!registry || hashtab_getkeys(registry, &count, &keys))
        return nullptr;
    void *list = nullptr;
    for (long i = 0; i < count; i++) {
        zan_class *c = vok_functor_lookup(category, keys[i]);
        if (c && (list || (list = linklist_new())))
            linklist_append(list, c);
    }
    sysmem_freeptr(keys);
    return list;
}

vok_err vok_functor_new_object_with_interface(void **object_out, vok_functor_interface **interface_out, void *,
                                              symbol *name)
{
    if (!object_out || !interface_out || !name)
        return VOK_ERR_INVP;
    zan_class *c = *name->name ? vok_functor_lookup_relaxed(nullptr, name) : nullptr;
    if (!c)
        return VOK_ERR_INVP;
    *object_out = vok_object_new_imp(class_nameget(c), 0, 0, 0, 0, 0, 0, 0, 0);
    *interface_out = static_cast<vok_functor_interface *>(class_extra_lookup(c, sym_interface));
    return *object_out && *interface_out ? VOK_ERR_NONE : VOK_ERR_INVP;
}

vok_err vok_functor_wrapper_init(vok_functor_wrapper *wrapper, void *, symbol *name)
{
    if (!wrapper || !name)
        return VOK_ERR_INVP;
    clear(*wrapper);
    return vok_functor_new_object_with_interface(&wrapper->object, &wrapper->interface, nullptr, name);
}

vok_err vok_functor_combined_dynarray_init(vok_functor_combined_dynarray *array, long count)
{
    if (vok_functor_combined_dynarray_destroy(array))
        return VOK_ERR_INVP;
    if (count < 0 || count > INT32_MAX)
        return VOK_ERR_INVP;
    array->count = static_cast<int32_t>(count);
    const auto allocate = [&](auto *&slot) {
        using element = std::remove_reference_t<decltype(*slot)>;
        slot = static_cast<element *>(sysmem_newptr(count * static_cast<long>(sizeof(element))));
        return slot != nullptr;
    };
    return allocate(array->fixed) && allocate(array->float32) && allocate(array->float64) ? VOK_ERR_NONE
                                                                                          : VOK_ERR_INVP;
}

vok_err vok_functor_combined_dynarray_destroy(vok_functor_combined_dynarray *array)
{
    if (!array)
        return VOK_ERR_INVP;
    sysmem_freeptr(array->fixed);
    sysmem_freeptr(array->float32);
    sysmem_freeptr(array->float64);
    *array = {};
    return VOK_ERR_NONE;
}

vok_err vok_functor_eval_typed(void *x, symbol *, long argc, atom *argv, atom *rv)
{
    float values[256] = {};
    const long count = argc < 256 ? argc : 256;
    for (long i = 0; i < count; i++)
        values[i] = static_cast<float>(atom_getfloat(argv + i));
    const zan_method eval = vok_object_getmethod(x, sym_evalfloat32);
    const double result =
        eval == missing_method(x) ? 0 : reinterpret_cast<vok_functor_eval_float32_fn>(eval)(x, count, values);
    if (rv)
        atom_setfloat(rv, result);
    return VOK_ERR_NONE;
}

vok_err vok_functor_setattr(void *x, symbol *selector, long argc, atom *argv)
{
    if (argc < 1 || !argv || argv->type != argtype_sym)
        return VOK_ERR_EROR;
    symbol *name = atom_getsym(argv);
    if (!name || name == _vok_sym_nothing)
        return VOK_ERR_EROR;
    const zan_method held = vok_object_getmethod(x, sym_subfunctor);
    if (held != missing_method(x) && argc >= 3)
        if (void *sub = vok::ask<void>(x, sym_subfunctor, name)) {
            const vok_err err = vok_object_method_typed(sub, selector, argc - 1, argv + 1, nullptr);
            if (vok_object_getmethod(x, sym_changed) != missing_method(x))
                vok::send(x, sym_changed); // to one that keeps something made from what it holds
            return err;
        }
    return object_attr_setvalueof(x, name, argc - 1, argv + 1);
}
