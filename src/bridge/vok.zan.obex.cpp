// The side record of a box: how it is found from any object, its fields, and what hangs
// on it: proxies, adornments, the dumpout outlet.
#include <algorithm>

#include <vokra/commonsyms.h>
#include <vokra/memory.h>

#include "bridge/box.h"

namespace {

// The word in the box that points to its record; null when x is no box.
zan_vok_obex **record_place(void *x)
{
    zan_vok_classex *classex = zan_vok_classex_get(x);
    return classex ? reinterpret_cast<zan_vok_obex **>(static_cast<char *>(x) + classex->oboffset) : nullptr;
}

template <auto Field> void *get_field(void *x)
{
    zan_vok_obex *record = zan_vok_obex_get(x);
    return record ? record->*Field : nullptr;
}

template <auto Field, typename T> vok_err set_field(void *x, T value)
{
    zan_vok_obex *record = zan_vok_obex_get(x);
    if (!record)
        return VOK_ERR_EROR;
    record->*Field = value;
    return VOK_ERR_NONE;
}

// The list of proxies, made when it is missing; null when memory is out.
void *proxies(zan_vok_obex *record)
{
    if (!record->proxylist)
        record->proxylist = linklist_new();
    return record->proxylist;
}

vok_err delete_last_proxy(zan_vok_obex *record)
{
    void *proxy = record->proxylist ? linklist_getindex(record->proxylist, 0) : nullptr;
    if (!proxy)
        return VOK_ERR_EROR;
    linklist_chuckindex(record->proxylist, 0);
    proxy_delete(proxy);
    return VOK_ERR_NONE;
}

vok_err append_proxy(void *x, zan_vok_obex *record, long id)
{
    void *list = proxies(record);
    void *proxy = list ? proxy_append(x, id, &record->inletnumber) : nullptr;
    if (!proxy)
        return VOK_ERR_OMEM;
    linklist_insertindex(list, proxy, 0);
    return VOK_ERR_NONE;
}

} // namespace

// The class's record stands where a method's function would, and the table is walked
// from its start: box classes add it first, so that it is found at once.
zan_vok_classex *zan_vok_classex_get(void *x)
{
    auto *o = static_cast<object *>(x);
    if (!o || o->magic != ZAN_OBJECT_MAGIC)
        return nullptr;
    auto *e = static_cast<zan_messlist *>(o->messlist);
    while (e && e->name && e->name != _vok_sym_zan_vok_classex)
        ++e;
    return e && e->name ? reinterpret_cast<zan_vok_classex *>(e->function) : nullptr;
}

zan_vok_obex *zan_vok_obex_get(void *x)
{
    zan_vok_obex **place = record_place(x);
    return place ? *place : nullptr;
}

vok_err zan_vok_obex_set(void *x, zan_vok_obex *record)
{
    zan_vok_obex **place = record_place(x);
    if (!place)
        return VOK_ERR_EROR;
    *place = record;
    return VOK_ERR_NONE;
}

void *zan_vok_obex_vokob_get(void *x)
{
    return get_field<&zan_vok_obex::vokob>(x);
}

vok_err zan_vok_obex_vokob_set(void *x, void *o)
{
    const vok_err err = set_field<&zan_vok_obex::vokob>(x, o);
    if (!err && o)
        object_obex_storeflags(o, ps_zanwrapper, x, 1);
    return err;
}

#define FIELD(name)                                                                                               \
    void *zan_vok_obex_##name##_get(void *x)                                                                      \
    {                                                                                                             \
        return get_field<&zan_vok_obex::name>(x);                                                                 \
    }                                                                                                             \
    vok_err zan_vok_obex_##name##_set(void *x, void *value)                                                       \
    {                                                                                                             \
        return set_field<&zan_vok_obex::name>(x, value);                                                          \
    }
FIELD(usurplist)
FIELD(proxylist)
FIELD(dumpout)
FIELD(adornmentlist)
FIELD(box)

long zan_vok_obex_inletnumber_get(void *x)
{
    return zan_vok_obex_get(x) ? proxy_getinlet(x) : 0;
}

vok_err zan_vok_obex_inletnumber_set(void *x, long inlet)
{
    return set_field<&zan_vok_obex::inletnumber>(x, inlet);
}

// ---- proxies ----

vok_err zan_vok_obex_proxy_new(void *x, long id)
{
    zan_vok_obex *record = zan_vok_obex_get(x);
    if (!record)
        return VOK_ERR_EROR;
    void *list = proxies(record);
    void *proxy = list ? proxy_new(x, id, &record->inletnumber) : nullptr;
    if (!proxy)
        return VOK_ERR_OMEM;
    linklist_append(list, proxy);
    return VOK_ERR_NONE;
}

vok_err zan_vok_obex_proxy_append(void *x, long id)
{
    zan_vok_obex *record = zan_vok_obex_get(x);
    return record ? append_proxy(x, record, id) : long{VOK_ERR_EROR};
}

vok_err zan_vok_obex_proxy_deletetail(void *x)
{
    zan_vok_obex *record = zan_vok_obex_get(x);
    return record ? delete_last_proxy(record) : long{VOK_ERR_EROR};
}

vok_err zan_vok_obex_proxy_resize(void *x, long count)
{
    zan_vok_obex *record = zan_vok_obex_get(x);
    if (!record)
        return VOK_ERR_EROR;
    void *list = proxies(record);
    if (!list)
        return VOK_ERR_OMEM;
    count = std::max(count, 0L);
    long size = linklist_getsize(list);
    for (; size > count; --size)
        delete_last_proxy(record);
    while (size < count)
        append_proxy(x, record, ++size); // one that fails is passed over
    return VOK_ERR_NONE;
}

// ---- adornments and replies ----

vok_err zan_vok_obex_addadornment(void *x, void *adornment)
{
    zan_vok_obex *record = zan_vok_obex_get(x);
    if (!record || !adornment)
        return VOK_ERR_EROR;
    if (!record->adornmentlist)
        record->adornmentlist = vok_object_new(_vok_sym_vok_linklist);
    if (!record->adornmentlist)
        return VOK_ERR_OMEM;
    linklist_append(record->adornmentlist, adornment);
    return VOK_ERR_NONE;
}

void *zan_vok_obex_adornment_get(void *x, symbol *classname)
{
    void *list = zan_vok_obex_adornmentlist_get(x);
    void *found = nullptr;
    if (list) {
        const zan_compare compare = [](void *item, void *name) {
            return vok_object_classname_compare(item, static_cast<symbol *>(name));
        };
        linklist_findfirst(list, &found, compare, classname);
    }
    return found;
}

void zan_vok_obex_dumpout(void *x, symbol *name, long argc, atom *argv)
{
    if (void *outlet = zan_vok_obex_dumpout_get(x))
        outlet_anything(outlet, name, argc, argv);
}
