// One class answering for another: vok_class_addinterface copies the messages and
// attributes of an interface class to a target, with gateways that hand each call to the
// delegate whose pointer stands in the instance. Public messages get a gateway of their
// own name; private ones are found through a decorator, as the host asks for a message
// that a class lacks.
#include <zan/zan.h>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>

#include "kernel/class_table.h"
#include "kernel/message.h"

namespace {

// One grafting under way. The target's tables may come into being while it goes on.
struct graft {
    long flags;
    long offset;
    zan_class *target;
    zan_class *interfaceclass;

    // Word 11 of a class record is its table of attributes.
    static void *attributes_of(zan_class *c) { return reinterpret_cast<void **>(c)[11]; }
    static void *methods_of(zan_class *c) { return class_extra_lookup(c, gensym("methods")); }
};

void *find(void *table, symbol *key)
{
    void *value = nullptr;
    return table && !hashtab_lookup(table, key, &value) ? value : nullptr;
}

// A table that the class keeps under `key`; its values are someone else's.
void *extra_table(zan_class *c, const char *key)
{
    void *table = class_extra_lookup(c, gensym(key));
    if (!table && (table = hashtab_new(0))) {
        vok::send(table, gensym("readonly"), 1);
        class_extra_store(c, gensym(key), table);
    }
    return table;
}

// Objects carry the addresses of their records in an attribute.
template <typename T> T *record_of(void *x, const char *key)
{
    return x ? reinterpret_cast<T *>(object_attr_getlong(x, gensym(key))) : nullptr;
}

vok_class_interface_info *new_info(const graft &g, zan_method_object *method_object)
{
    auto *info = static_cast<vok_class_interface_info *>(sysmem_newptrclear(sizeof(vok_class_interface_info)));
    if (info)
        *info = {g.flags, g.offset, g.interfaceclass, method_object};
    return info;
}

// The delegate: at offset 0 the object itself.
void *delegate(void *x, long offset)
{
    return offset ? *reinterpret_cast<void **>(static_cast<char *>(x) + offset) : x;
}

void graft_decorated(const graft &g, symbol *name, zan_method_object *method_object)
{
    void *decorators = extra_table(g.target, "interface_decorators");
    vok_class_interface_info *info = new_info(g, method_object);
    if (!decorators || !info)
        return;
    hashtab_store(decorators, name, info);
    if (!class_method(g.target, _vok_sym_decorator))
        class_addmethod(g.target, vok::method(vok_interface_method_decorator), "decorator", argtype_cant, 0);
}

bool takes_gateway(int tag)
{
    switch (tag) {
    case argtype_gimme:
    case argtype_gimmeback:
    case argtype_defer:
    case argtype_usurp:
    case argtype_defer_low:
    case argtype_usurp_low: return true;
    default: return false;
    }
}

void graft_method(zan_hashtab_entry *entry, void *data)
{
    const graft &g = *static_cast<graft *>(data);
    auto *m = static_cast<zan_method_object *>(entry->value);
    symbol *name = m->entry.name;
    const int tag = m->entry.types[0];
    if (find(graft::methods_of(g.target), name))
        return; // the class's own wins
    if (tag == argtype_cant) {
        graft_decorated(g, name, m);
        return;
    }
    if (takes_gateway(tag)) {
        class_addmethod(g.target, vok::method(vok_interface_method_gimmeback), name->name, tag, 0);
        if (void *added = find(graft::methods_of(g.target), name)) {
            void *attributes = nullptr;
            if (!object_obex_lookup(m, gensym("attributes"), &attributes) && attributes)
                object_attrhash_apply(added, attributes);
        }
    } else {
        object_post(
            nullptr,
            "vok_class_interface_methodhash_cb: unsupported method type for %s. trying to add from %s to %s",
            name->name, class_nameget(g.interfaceclass)->name, class_nameget(g.target)->name);
    }

    void *methods = graft::methods_of(g.target);
    if (!methods) {
        object_post(nullptr, "vok_class_interface_methodhash_cb: problems finding %s method", name->name);
        return;
    }
    void *added = find(methods, name);
    vok_class_interface_info *info = added ? new_info(g, m) : nullptr;
    if (!info)
        return;
    object_addattr(added, attribute_new("interface_methodinfo", _vok_sym_long, 0, nullptr, nullptr));
    object_attr_setlong(added, gensym("interface_methodinfo"), vok::word(info));
}

// An interface of an interface passes on its private messages.
void graft_decorator(zan_hashtab_entry *entry, void *data)
{
    const graft &g = *static_cast<graft *>(data);
    const auto *inherited = static_cast<vok_class_interface_info *>(entry->value);
    if (!find(graft::methods_of(g.target), entry->key))
        graft_decorated(g, entry->key, inherited ? inherited->methodobject : nullptr);
}

void graft_attribute(zan_hashtab_entry *entry, void *data)
{
    const graft &g = *static_cast<graft *>(data);
    if (find(graft::attributes_of(g.target), entry->key)) {
        if (g.flags & 1)
            object_post(
                nullptr,
                "vok_class_interface_attrhash_cb: IGNORING OVERRIDDEN ATTRIBUTE %s. trying to add from %s to %s",
                entry->key->name, class_nameget(g.interfaceclass)->name, class_nameget(g.target)->name);
        return;
    }
    void *clone = object_clone(entry->value);
    auto *info =
        static_cast<vok_class_interface_attrinfo *>(sysmem_newptrclear(sizeof(vok_class_interface_attrinfo)));
    if (!clone || !info) {
        object_free(clone);
        sysmem_freeptr(info);
        return;
    }
    *info = {g.flags,
             g.offset,
             g.interfaceclass,
             entry->value,
             entry->key,
             reinterpret_cast<zan_method>(vok::send(entry->value, _vok_sym_getmethod, _vok_sym_get)),
             reinterpret_cast<zan_method>(vok::send(entry->value, _vok_sym_getmethod, _vok_sym_set))};
    symbol *setmethod = gensym("setmethod");
    vok::send(clone, setmethod, _vok_sym_get, vok::method(vok_interface_attr_getter));
    vok::send(clone, setmethod, _vok_sym_set, vok::method(vok_interface_attr_setter));
    object_addattr(clone, attribute_new("interface_attrinfo", gensym("atom_long"), 0, nullptr, nullptr));
    object_attr_setlong(clone, gensym("interface_attrinfo"), vok::word(info));
    object_attr_addattr_parse(clone, "interface_attrinfo", "invisible", _vok_sym_long, 0, "1");
    class_addattr(g.target, clone);
}

} // namespace

vok_err vok_class_addinterface(zan_class *c, zan_class *interfaceclass, long byteoffset, long flags)
{
    if (!c || !interfaceclass)
        return VOK_ERR_EROR;
    graft g{flags, byteoffset, c, interfaceclass};
    if (void *methods = graft::methods_of(interfaceclass))
        hashtab_funall(methods, graft_method, &g);
    if (void *decorators = class_extra_lookup(interfaceclass, gensym("interface_decorators")))
        hashtab_funall(decorators, graft_decorator, &g);
    if (void *attributes = graft::attributes_of(interfaceclass))
        hashtab_funall(attributes, graft_attribute, &g);
    if (void *interfaces = extra_table(c, "interfaces"))
        hashtab_store(interfaces, class_nameget(interfaceclass), interfaceclass);
    return VOK_ERR_NONE;
}

zan_word vok_interface_method_gimmeback(void *x, symbol *selector, long argc, atom *argv, atom *rv)
{
    zan_method_object *own = object_getmethod_object(x, selector);
    if (!own) {
        vok_object_error(x, "vok_interface_method_gimmeback: couldn't find methodobject %s",
                         selector ? selector->name : "");
        return 0;
    }
    const auto *info = record_of<vok_class_interface_info>(own, "interface_methodinfo");
    if (!info || !info->methodobject)
        return 0;
    void *receiver = delegate(x, info->offset);
    if (!receiver)
        return 0;
    const int tag = info->methodobject->entry.types[0];
    if (!takes_gateway(tag)) {
        vok_object_error(x, "vok_interface_method_gimmeback: unsuported method type %s", selector->name);
        return 0;
    }
    using method = zan_word (*)(void *, symbol *, long, atom *, atom *);
    return reinterpret_cast<method>(info->methodobject->entry.function)(receiver, selector, argc, argv,
                                                                        tag == argtype_gimmeback ? rv : nullptr);
}

void *vok_interface_method_decorator(void *x, symbol *selector)
{
    void *decorators = class_extra_lookup(object_class(x), gensym("interface_decorators"));
    const auto *info = static_cast<vok_class_interface_info *>(find(decorators, selector));
    return info ? delegate(x, info->offset) : nullptr;
}

vok_err vok_interface_attr_getter(void *x, void *attr, long *argc, atom **argv)
{
    const auto *info = record_of<vok_class_interface_attrinfo>(attr, "interface_attrinfo");
    void *receiver = info ? delegate(x, info->offset) : nullptr;
    if (!receiver || !info->get)
        return VOK_ERR_EROR;
    using getter = vok_err (*)(void *, void *, long *, atom **);
    if (!info->offset)
        return reinterpret_cast<getter>(info->get)(x, info->attr, argc, argv);
    return object_attr_getvalueof(receiver, info->name, argc, argv);
}

vok_err vok_interface_attr_setter(void *x, void *attr, long argc, atom *argv)
{
    const auto *info = record_of<vok_class_interface_attrinfo>(attr, "interface_attrinfo");
    void *receiver = info ? delegate(x, info->offset) : nullptr;
    if (!receiver || !info->set)
        return VOK_ERR_EROR;
    using setter = vok_err (*)(void *, void *, long, atom *);
    if (!info->offset)
        return reinterpret_cast<setter>(info->set)(x, info->attr, argc, argv);
    return object_attr_setvalueof(receiver, info->name, argc, argv);
}
