// Classes: their message tables, attributes, adornments, typed wrappers and extra
// words. A message table never moves: address space for all the entries it may ever
// have is reserved when the class is made and backed by memory as it fills, so that
// objects made earlier see what is added later.
#include "kernel.h"
#include <cstdarg>
#include <cstdio>
#include <new>
#include <sys/mman.h>
#include <utility>

static_assert(offsetof(zan_class, name) == 0);
static_assert(offsetof(zan_class, attributes) == 11 * sizeof(void *));

namespace zan {
namespace {

constexpr long max_methods = 4095;                 // and one entry that ends the table
constexpr size_t prefix_size = 4 * sizeof(void *); // ahead of the table; the class stands three words ahead
constexpr size_t mapping_size = prefix_size + (max_methods + 1) * sizeof(zan_messlist);

constinit std::mutex all_lock;
zan_class *all_classes; // under all_lock
zan_class *method_class;
thread_local zan_class *making;

void read_types(va_list list, signed char *types)
{
    std::memset(types, 0, 16);
    for (int i = 0; i < 15; ++i) {
        const int tag = va_arg(list, int);
        if (!tag)
            break;
        types[i] = static_cast<signed char>(tag);
    }
}

bool map_table(zan_class *c)
{
    void *base =
        mmap(nullptr, mapping_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (base == MAP_FAILED)
        return false;
    c->methods = reinterpret_cast<zan_messlist *>(static_cast<char *>(base) + prefix_size);
    reinterpret_cast<zan_class **>(c->methods)[-3] = c;
    c->index = index_ahead_of(c->methods) = new (std::nothrow) symbol_index;
    return c->index != nullptr;
}

void unmap_table(zan_class *c)
{
    if (!c->methods)
        return;
    delete index_ahead_of(c->methods);
    munmap(reinterpret_cast<char *>(c->methods) - prefix_size, mapping_size);
}

zan_class *make_class(const char *name)
{
    zan_class *c = new (std::nothrow) zan_class{};
    if (!c)
        return nullptr;
    c->name = gensym(name);
    if (!map_table(c)) {
        delete c;
        return nullptr;
    }
    const std::lock_guard hold(all_lock);
    c->next = all_classes;
    if (all_classes)
        all_classes->previous = c;
    all_classes = c;
    return c;
}

void destroy_class(zan_class *c)
{
    {
        const std::lock_guard hold(all_lock);
        (c->previous ? c->previous->next : all_classes) = c->next;
        if (c->next)
            c->next->previous = c->previous;
        for (zan_class *other = all_classes; other; other = other->next)
            for (zan_class **kin : {&other->origin, &other->outer})
                if (*kin == c)
                    *kin = nullptr;
    }
    if (making == c)
        making = c->outer;
    object_free(c->attributes);
    object_free(c->method_objects);
    object_free(c->typed_wrappers);
    for (void *attr : c->replaced)
        object_free(attr);
    for (void *adornment : c->adornments)
        object_free(adornment);
    unmap_table(c);
    delete c;
}

long add_entry(zan_class *c, zan_method fn, symbol *name, const signed char *types)
{
    std::unique_lock hold(c->lock);
    zan_messlist *e = class_entry(c->methods, name);
    if (e) {
        std::memcpy(e->types, types, sizeof e->types);
        std::atomic_ref<zan_method>(e->function).store(fn, std::memory_order_release);
    } else {
        if (c->method_count == max_methods) {
            hold.unlock();
            object_error(nullptr, "%s: no room for the method %s: a class has at most %ld", c->name->name,
                         name->name, max_methods);
            return zan_err_out_of_mem;
        }
        e = c->methods + c->method_count;
        std::memcpy(e->types, types, sizeof e->types);
        e->function = fn;
        // whoever walks the table sees the entry whole or not at all
        std::atomic_ref<symbol *>(e->name).store(name, std::memory_order_release);
        if (!index_ahead_of(c->methods)->store(name, e)) {
            e->name = nullptr;
            return zan_err_out_of_mem;
        }
        ++c->method_count;
    }
    void *table = c->method_objects;
    hold.unlock();
    if (!table)
        return zan_err_none;
    void *known = nullptr;
    if (!hashtab_lookup(table, name, &known)) {
        static_cast<zan_method_object *>(known)->entry = *e;
        return zan_err_none;
    }
    zan_method_object *m = method_object_new(fn, name->name, types);
    if (!m)
        return zan_err_out_of_mem;
    return hashtab_store(table, name, m);
}

zan_messlist *method_object_messlist(zan_method_object *m)
{
    return &m->entry;
}

void *clone_method_object(zan_method_object *m)
{
    return method_object_new(m->entry.function, m->entry.name->name, m->entry.types);
}

// The table at *place, made when it is missing.
void *table_at(zan_class *c, void **place)
{
    {
        const std::lock_guard hold(c->lock);
        if (*place)
            return *place;
    }
    void *made = hashtab_new(0); // outside the lock: it makes an object
    const std::lock_guard hold(c->lock);
    if (*place)
        hashtab_chuck(made);
    else
        *place = made;
    return *place;
}

struct copying {
    zan_class *to;
    bool failed;
};

void copy_attribute(zan_hashtab_entry *e, void *data)
{
    copying *k = static_cast<copying *>(data);
    void *copy = object_clone(e->value);
    if (!copy) { // an attribute that can't be copied is shared
        object_retain(e->value);
        copy = e->value;
    }
    if (class_addattr(k->to, copy))
        k->failed = true;
}

// The copy's methods have the same attributes.
void copy_method_marks(zan_hashtab_entry *e, void *data)
{
    void *copy = nullptr;
    if (side_of(static_cast<object *>(e->value)) &&
        !hashtab_lookup(class_method_objects(static_cast<copying *>(data)->to), e->key, &copy))
        attributes_copy(e->value, copy);
}

void copy_wrapper(zan_hashtab_entry *e, void *data)
{
    copying *k = static_cast<copying *>(data);
    void *to = table_at(k->to, &k->to->typed_wrappers);
    void *copy = clone_method_object(static_cast<zan_method_object *>(e->value));
    if (!to || !copy || hashtab_store(to, e->key, copy))
        k->failed = true;
}

} // namespace

void init_method_class()
{
    method_class = class_new("method", nullptr, nullptr, sizeof(zan_method_object), nullptr, argtype_cant, 0);
    if (!method_class)
        return;
    class_addmethod(method_class, erase(method_object_messlist), "getmesslist", argtype_cant, 0);
    class_addmethod(method_class, erase(clone_method_object), "object_clone", argtype_cant, 0);
    class_register(nobox(), method_class);
}

zan_method_object *method_object_new(zan_method fn, const char *name, const signed char *types)
{
    boot();
    auto *m = static_cast<zan_method_object *>(object_alloc(method_class));
    if (!m)
        return nullptr;
    m->entry.name = gensym(name);
    m->entry.function = fn;
    std::memcpy(m->entry.types, types, sizeof m->entry.types);
    return m;
}

zan_class *class_in_making()
{
    return making;
}

void *class_method_objects(zan_class *c)
{
    {
        const std::lock_guard hold(c->lock);
        if (c->method_objects)
            return c->method_objects;
    }
    // Most classes are never asked for their methods as objects, so these are made
    // when the first is asked for, and the losers of a race for it thrown away.
    void *table = hashtab_new(0);
    if (!table)
        return nullptr;
    for (zan_messlist *e = c->methods; entry_name(e); ++e)
        if (zan_method_object *m = method_object_new(e->function, e->name->name, e->types))
            hashtab_store(table, e->name, m);
    void *loser = nullptr;
    {
        const std::lock_guard hold(c->lock);
        if (c->method_objects)
            loser = table;
        else
            c->method_objects = table;
    }
    object_free(loser);
    return c->method_objects;
}

void class_instance_gone(zan_class *c)
{
    if (c->instances.fetch_sub(1) == 1 && c->doomed.load())
        destroy_class(c);
}

void *find_attribute_message(object *o, symbol *selector, bool *get)
{
    *get = false;
    if (side_record *side = side_of(o))
        if (void *own = side->own_attributes.load(std::memory_order_acquire)) {
            void *attr = nullptr;
            if (!hashtab_lookup(own, selector, &attr))
                return attr;
            if (!std::strncmp(selector->name, "get", 3) &&
                !hashtab_lookup(own, gensym(selector->name + 3), &attr)) {
                *get = true;
                return attr;
            }
        }
    const auto word = reinterpret_cast<uintptr_t>(class_of(o)->attribute_messages.find(selector));
    *get = word & 1;
    return reinterpret_cast<void *>(word & ~uintptr_t(1));
}

} // namespace zan

using namespace zan;

extern "C" {

zan_class *class_new(const char *name, zan_method new_fn, zan_method free_fn, long size, zan_method menu_fn, ...)
{
    boot();
    if (!name || !*name || size < static_cast<long>(sizeof(object))) {
        object_error(nullptr,
                     "class_new: %s: a class needs a name and an instance size of at least %zu, found %ld",
                     name ? name : "", sizeof(object), size);
        return nullptr;
    }
    zan_class *c = make_class(name);
    if (!c)
        return nullptr;
    c->new_fn = new_fn;
    c->free_fn = free_fn;
    c->menu_fn = menu_fn;
    c->size = size;
    va_list list;
    va_start(list, menu_fn);
    read_types(list, c->new_types);
    va_end(list);
    if (making && !making->name_space)
        c->outer = making;
    making = c;
    return c;
}

long class_register(symbol *name_space, zan_class *c)
{
    if (!c || !name_space)
        return zan_err_invalid_ptr;
    if (registry_class_store(name_space, c->name, c) != c) {
        object_error(nullptr, "class_register: %s: there is another class of this name already", c->name->name);
        return zan_err_duplicate;
    }
    c->name_space = name_space;
    if (making == c && c->outer)
        making = std::exchange(c->outer, nullptr);
    return zan_err_none;
}

zan_class *class_findbyname(symbol *name_space, symbol *classname)
{
    boot();
    return registry_class(name_space, classname);
}

long class_free(zan_class *c)
{
    if (!c)
        return zan_err_invalid_ptr;
    if (c->name_space)
        registry_class_remove(c->name_space, c->name, c);
    // The free counts as an instance, so that exactly one of it and the last object ends the class.
    c->instances.fetch_add(1);
    c->doomed.store(true);
    class_instance_gone(c);
    return zan_err_none;
}

zan_class *class_copy(symbol *src_space, symbol *src_name, symbol *dst_space, symbol *dst_name)
{
    zan_class *from = class_findbyname(src_space, src_name);
    if (!from || !dst_space || !dst_name)
        return nullptr;
    zan_class *c = make_class(dst_name->name);
    if (!c)
        return nullptr;
    c->new_fn = from->new_fn;
    c->free_fn = from->free_fn;
    c->menu_fn = from->menu_fn;
    c->size = from->size;
    c->flags = from->flags;
    c->obex_offset = from->obex_offset;
    c->origin = from->origin ? from->origin : from; // whose functions are the ones that run
    std::memcpy(c->new_types, from->new_types, sizeof c->new_types);
    copying k{c, false};
    for (zan_messlist *e = from->methods; entry_name(e); ++e)
        if (add_entry(c, e->function, e->name, e->types))
            k.failed = true;
    if (from->method_objects)
        hashtab_funall(from->method_objects, copy_method_marks, &k);
    if (from->attributes)
        hashtab_funall(from->attributes, copy_attribute, &k);
    if (from->typed_wrappers)
        hashtab_funall(from->typed_wrappers, copy_wrapper, &k);
    for (void *adornment : from->adornments) {
        object_retain(adornment);
        if (class_addadornment(c, adornment))
            k.failed = true;
    }
    for (const keyed_word &word : from->extra)
        if (class_extra_store(c, word.key, word.value))
            k.failed = true;
    if (k.failed || class_register(dst_space, c)) {
        class_free(c);
        return nullptr;
    }
    return c;
}

symbol *class_nameget(zan_class *c)
{
    return c ? c->name : ks().empty;
}

long class_flagsget(zan_class *c)
{
    return c ? c->flags : 0;
}

void class_flagsset(zan_class *c, long flags)
{
    if (c)
        c->flags = flags;
}

long class_addmethod(zan_class *c, zan_method fn, const char *name, ...)
{
    if (!c || !name)
        return zan_err_invalid_ptr;
    signed char types[16];
    va_list list;
    va_start(list, name);
    read_types(list, types);
    va_end(list);
    return add_entry(c, fn, gensym(name), types);
}

long object_addmethod(void *x, zan_method fn, const char *name, ...)
{
    object *o = live(x);
    if (!o || !name)
        return zan_err_invalid_ptr;
    signed char types[16];
    va_list list;
    va_start(list, name);
    read_types(list, types);
    va_end(list);
    void *table = obex_table(o, ks().methods);
    if (!table)
        return zan_err_out_of_mem;
    void *known = nullptr;
    if (!hashtab_lookup(table, gensym(name), &known)) {
        zan_messlist &e = static_cast<zan_method_object *>(known)->entry;
        std::memcpy(e.types, types, sizeof e.types);
        std::atomic_ref<zan_method>(e.function).store(fn, std::memory_order_release);
        return zan_err_none;
    }
    zan_method_object *m = method_object_new(fn, name, types);
    if (!m)
        return zan_err_out_of_mem;
    return hashtab_store(table, m->entry.name, m);
}

zan_method class_method(zan_class *c, symbol *name)
{
    zan_messlist *e = class_mess(c, name);
    return e ? entry_function(e) : nullptr;
}

zan_messlist *class_mess(zan_class *c, symbol *name)
{
    return c && name ? class_entry(c->methods, name) : nullptr;
}

long class_addattr(zan_class *c, void *attr)
{
    if (!c || !live(attr))
        return zan_err_invalid_ptr;
    symbol *name = reinterpret_cast<symbol *>(object_method_imp(attr, ks().getname, 0, 0, 0, 0, 0, 0, 0, 0));
    void *table = table_at(c, &c->attributes);
    if (!name || !table)
        return name ? zan_err_out_of_mem : zan_err_generic;
    // An attribute of that name that was there stays alive for whoever is in it.
    void *older = nullptr;
    hashtab_lookup(table, name, &older);
    char stack[256];
    const size_t needed = std::strlen(name->name) + 4;
    char *text = needed <= sizeof stack ? stack : static_cast<char *>(std::malloc(needed));
    if (!text)
        return zan_err_out_of_mem;
    std::snprintf(text, needed, "get%s", name->name);
    symbol *getname = gensym(text);
    if (text != stack)
        std::free(text);
    const std::lock_guard hold(c->lock);
    if (older && older != attr && !c->replaced.push(older))
        return zan_err_out_of_mem;
    const auto word = reinterpret_cast<uintptr_t>(attr);
    if (hashtab_store(table, name, attr) || !c->attribute_messages.store(name, attr) ||
        !c->attribute_messages.store(getname, reinterpret_cast<void *>(word | 1)))
        return zan_err_out_of_mem;
    return zan_err_none;
}

void *class_attr_get(zan_class *c, symbol *name)
{
    void *attr = nullptr;
    if (c && name && c->attributes)
        hashtab_lookup(c->attributes, name, &attr);
    return attr;
}

zan_method class_attr_method(zan_class *c, symbol *methodname, void **attr, zan_word *get)
{
    if (attr)
        *attr = nullptr;
    if (get)
        *get = 0;
    if (!c || !methodname)
        return nullptr;
    const auto word = reinterpret_cast<uintptr_t>(c->attribute_messages.find(methodname));
    void *found = reinterpret_cast<void *>(word & ~uintptr_t(1));
    if (!found)
        return nullptr;
    if (attr)
        *attr = found;
    if (get)
        *get = word & 1;
    return attribute_function(found, word & 1 ? ks().get : ks().set);
}

long class_attr_addattr_parse(zan_class *c, const char *attrname, const char *attrattrname, symbol *type,
                              long flags, const char *text)
{
    void *attr = attrname ? class_attr_get(c, gensym(attrname)) : nullptr;
    if (!attr)
        return zan_err_generic;
    return object_addattr_parse(attr, attrattrname, type, flags, text);
}

long class_addadornment(zan_class *c, void *adornment)
{
    if (!c || !live(adornment))
        return zan_err_invalid_ptr;
    const std::lock_guard hold(c->lock);
    return c->adornments.push(adornment) ? zan_err_none : zan_err_out_of_mem;
}

void *class_adornment_get(zan_class *c, symbol *classname)
{
    if (!c || !classname)
        return nullptr;
    const std::lock_guard hold(c->lock);
    for (void *adornment : c->adornments)
        if (object_classname(adornment) == classname)
            return adornment;
    return nullptr;
}

long class_addtypedwrapper(zan_class *c, zan_method fn, const char *name, ...)
{
    if (!c || !name)
        return zan_err_invalid_ptr;
    signed char types[16];
    va_list list;
    va_start(list, name);
    read_types(list, types);
    va_end(list);
    void *table = table_at(c, &c->typed_wrappers);
    zan_method_object *m = method_object_new(fn, name, types);
    if (!table || !m) {
        object_free(m);
        return zan_err_out_of_mem;
    }
    void *older = nullptr;
    hashtab_lookup(table, m->entry.name, &older);
    const long err = hashtab_store(table, m->entry.name, m);
    object_free(err ? m : older);
    return err;
}

zan_method_object *class_typedwrapper_get(zan_class *c, symbol *name)
{
    void *m = nullptr;
    if (c && name && c->typed_wrappers)
        hashtab_lookup(c->typed_wrappers, name, &m);
    return static_cast<zan_method_object *>(m);
}

void *class_extra_lookup(zan_class *c, symbol *key)
{
    if (!c || !key)
        return nullptr;
    if (key == ks().methods)
        return class_method_objects(c);
    const std::lock_guard hold(c->lock);
    for (const keyed_word &word : c->extra)
        if (word.key == key)
            return word.value;
    return nullptr;
}

long class_extra_store(zan_class *c, symbol *key, void *value)
{
    if (!c || !key)
        return zan_err_invalid_ptr;
    if (key == ks().methods) // the host's own
        return zan_err_generic;
    const std::lock_guard hold(c->lock);
    for (keyed_word &word : c->extra)
        if (word.key == key) {
            word.value = value;
            return zan_err_none;
        }
    return c->extra.push({key, value, 0}) ? zan_err_none : zan_err_out_of_mem;
}

void class_obexoffset_set(zan_class *c, long offset)
{
    if (c && offset >= static_cast<long>(sizeof(object)) && offset + static_cast<long>(sizeof(void *)) <= c->size)
        c->obex_offset = offset;
}

long zan_object_count(symbol *classname)
{
    const std::lock_guard hold(all_lock);
    long count = 0;
    for (zan_class *c = all_classes; c; c = c->next)
        if (!classname || c->name == classname)
            count += c->instances.load(std::memory_order_relaxed);
    return count;
}

long zan_class_counts(long *count, zan_class_count **rows)
{
    if (!count || !rows)
        return zan_err_invalid_ptr;
    const std::lock_guard hold(all_lock);
    pod_array<zan_class_count> all;
    for (zan_class *c = all_classes; c; c = c->next)
        if (const long alive = c->instances.load(std::memory_order_relaxed))
            if (!all.push({c->name_space, c->name, alive}))
                return zan_err_out_of_mem;
    const long size = static_cast<long>(all.size() * sizeof(zan_class_count));
    *rows = static_cast<zan_class_count *>(sysmem_newptr(size));
    if (!*rows)
        return zan_err_out_of_mem;
    sysmem_copyptr(all.begin(), *rows, size);
    *count = static_cast<long>(all.size());
    return zan_err_none;
}

} // extern "C"
