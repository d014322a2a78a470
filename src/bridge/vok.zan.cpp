// A library object as a box in a patch: what a box class is set up with, and how a box is
// made and freed. Everything that is copied from the library class is added by one of
// three roads (wrap_target): to the class in the making, to a class, or to one box.
#include <vokra/commonsyms.h>
#include <vokra/memory.h>

#include "bridge/box.h"

using vok::wrap_target;

symbol *_zan_vok_ignorelist[4];

namespace {

// Records live as long as the process; all hang together, as leak checkers don't look into
// the tables of methods.
struct kept_classex {
    zan_vok_classex record;
    kept_classex *older;
};
kept_classex *newest_classex;

zan_vok_classex *new_classex(long oboffset)
{
    initialize(); // the library is up before any box is
    auto *kept = static_cast<kept_classex *>(vok_getbytes(sizeof(kept_classex)));
    if (!kept)
        return nullptr;
    *kept = {{oboffset, nullptr, 0}, newest_classex};
    newest_classex = kept;
    return &kept->record;
}

// The function by which a box passes on a message with this tag, or null.
zan_method forwarder(int tag, long flags)
{
    switch (tag) {
    case argtype_cant: return nullptr;
    case argtype_gimme: return vok::method(zan_vok_gimme_method);
    case argtype_defer: return vok::method(zan_vok_defer_method);
    case argtype_defer_low: return vok::method(zan_vok_defer_low_method);
    case argtype_usurp:
    case argtype_usurp_low: return vok::method(zan_vok_usurp_method);
    case argtype_gimmeback:
        if (flags & zan_vok_wrap_reply_dumpout)
            return vok::method(zan_vok_obex_gimmeback_dumpout);
        [[fallthrough]];
    default: return vok::method(zan_vok_typed_method);
    }
}

bool is_ignored(const symbol *name)
{
    for (symbol *const *s = _zan_vok_ignorelist; *s; ++s)
        if (*s == name)
            return true;
    return false;
}

vok_err add_attribute_messages(const wrap_target &to, zan_class *vokclass)
{
    if (!to || !vokclass)
        return VOK_ERR_EROR;
    void *attributes = reinterpret_cast<void **>(vokclass)[11]; // the class's table of them
    if (!attributes)
        return VOK_ERR_NONE;
    const auto add = [](void *attr, void *data) {
        static_cast<const wrap_target *>(data)->add_attribute(attr, vok::method(zan_vok_attr_set),
                                                              vok::method(zan_vok_attr_getdump));
    };
    hashtab_objfunall(attributes, add, const_cast<wrap_target *>(&to));
    return VOK_ERR_NONE;
}

vok_err add_methods(const wrap_target &to, zan_class *vokclass, long flags)
{
    if (!to || !vokclass)
        return VOK_ERR_EROR;
    struct pass {
        const wrap_target &to;
        long flags;
    } p{to, flags};
    const auto add = [](void *m, void *data) {
        const auto &[target, wrap_flags] = *static_cast<pass *>(data);
        const zan_messlist &e = static_cast<zan_method_object *>(m)->entry;
        zan_method fn = forwarder(e.types[0], wrap_flags);
        if (fn && !is_ignored(e.name))
            target.add(fn, e.name->name, argtype_gimme);
    };
    hashtab_objfunall(class_extra_lookup(vokclass, ps_methods), add, &p);
    return add_attribute_messages(to, vokclass);
}

// Public, and run on the main thread.
constexpr struct {
    const char *name;
    vok::function fn;
} deferred_messages[] = {
    {"getattributes", vok::fn<zan_vok_object_attr_dump>}, {"getstate", vok::fn<zan_vok_object_state_dump>},
    {"summary", vok::fn<zan_vok_object_summary>},         {"importattrs", vok::fn<vok_object_importattrs>},
    {"exportattrs", vok::fn<vok_object_exportattrs>},     {"exportsummary", vok::fn<vok_object_exportsummary>},
};

// By which the host and the rest of the bridge ask a box.
constexpr struct {
    const char *name;
    vok::function fn;
} private_messages[] = {
    {"dumpout", vok::fn<zan_vok_obex_dumpout>},
    {"quickref", vok::fn<zan_vok_object_quickref>},
    {"attr_getnames", vok::fn<zan_vok_obex_attr_getnames>},
    {"attr_get", vok::fn<zan_vok_obex_attr_getobject>},
    {"attr_gettarget", vok::fn<zan_vok_obex_attr_gettarget>},
    {"attrindex", vok::fn<zan_vok_attrindex>},
};

vok_err standard_wrap(const wrap_target &to, zan_class *vokclass, long flags)
{
    if (!to)
        return VOK_ERR_EROR;
    if (vokclass)
        add_methods(to, vokclass, flags);
    for (const auto &m : deferred_messages)
        to.add_run_as(argtype_defer_low, m.fn(), m.name);
    for (const auto &m : private_messages)
        to.add(m.fn(), m.name, argtype_cant);
    if (to.kind != wrap_target::of_box && !(flags & zan_vok_wrap_no_inletinfo))
        to.add(vok::method(stdinletinfo), "inletinfo", argtype_cant);
    return VOK_ERR_NONE;
}

zan_class *class_of(void *o)
{
    return o ? object_class(o) : nullptr;
}

// Marks the class as one of wrapped boxes, and gives the box its record.
vok_err complete(void *x, zan_class *c, symbol *classname)
{
    constexpr long box_kind = 0x30000, wrapped_box = 0x20000;
    class_flagsset(c, (class_flagsget(c) & ~box_kind) | wrapped_box);
    auto *record = static_cast<zan_vok_obex *>(vok_getbytes(sizeof(zan_vok_obex)));
    if (const vok_err err = zan_vok_obex_set(x, record)) { // no box: nobody would free it
        vok_freebytes(record, sizeof(zan_vok_obex));
        return err;
    }
    if (!record)
        return VOK_ERR_OMEM;
    *record = {};
    record->usurplist = vok_usurplist_build(x, classname);
    record->box = gensym("#B")->thing; // what the host is building at this moment
    return VOK_ERR_NONE;
}

} // namespace

zan_vok_classex *zan_vok_classex_setup(long oboffset)
{
    zan_vok_classex *classex = new_classex(oboffset);
    if (classex)
        addmess(reinterpret_cast<zan_method>(classex), "zan_vok_classex", argtype_cant, 0);
    return classex;
}

zan_vok_classex *zan_vok_class_obex_setup(zan_class *c, long oboffset)
{
    zan_vok_classex *classex = c ? new_classex(oboffset) : nullptr;
    if (classex) {
        class_addmethod(c, reinterpret_cast<zan_method>(classex), "zan_vok_classex", argtype_cant, 0);
        class_extra_store(c, _vok_sym_zan_vok_classex, classex);
    }
    return classex;
}

vok_err zan_vok_classex_standard_wrap(zan_vok_classex *, zan_class *vokclass, long flags)
{
    return standard_wrap({}, vokclass, flags);
}

vok_err zan_vok_class_wrap_standard(zan_class *c, zan_class *vokclass, long flags)
{
    return standard_wrap(wrap_target::to_class(c), vokclass, flags);
}

vok_err zan_vok_object_wrap_standard(void *x, void *o, long flags)
{
    return standard_wrap(wrap_target::to_box(x), class_of(o), flags);
}

vok_err zan_vok_class_addmethods(zan_class *vokclass)
{
    return add_methods({}, vokclass, 0);
}

vok_err zan_vok_class_wrap_addmethods(zan_class *c, zan_class *vokclass)
{
    return add_methods(wrap_target::to_class(c), vokclass, 0);
}

vok_err zan_vok_object_wrap_addmethods(void *x, void *o)
{
    return add_methods(wrap_target::to_box(x), class_of(o), 0);
}

vok_err zan_vok_class_addmethods_flags(zan_class *vokclass, long flags)
{
    return add_methods({}, vokclass, flags);
}

vok_err zan_vok_class_wrap_addmethods_flags(zan_class *c, zan_class *vokclass, long flags)
{
    return add_methods(wrap_target::to_class(c), vokclass, flags);
}

vok_err zan_vok_object_wrap_addmethods_flags(void *x, void *o, long flags)
{
    return add_methods(wrap_target::to_box(x), class_of(o), flags);
}

vok_err zan_vok_class_attrlist2methods(zan_class *vokclass)
{
    return add_attribute_messages({}, vokclass);
}

vok_err zan_vok_class_wrap_attrlist2methods(zan_class *c, zan_class *vokclass)
{
    return add_attribute_messages(wrap_target::to_class(c), vokclass);
}

vok_err zan_vok_object_wrap_attrlist2methods(void *x, void *o)
{
    return add_attribute_messages(wrap_target::to_box(x), class_of(o));
}

// ---- boxes ----

void *zan_vok_obex_new(zan_class *c, symbol *classname)
{
    void *x = newobject(c);
    if (x)
        complete(x, c, classname);
    return x;
}

void *zan_vok_object_alloc(zan_class *c, symbol *classname)
{
    void *x = object_alloc(c);
    if (x)
        complete(x, c, classname);
    return x;
}

vok_err zan_vok_object_wrap_complete(void *x, void *o)
{
    if (!zan_vok_classex_get(x))
        return VOK_ERR_EROR;
    return complete(x, object_class(x), o ? object_classname(o) : nullptr);
}

void zan_vok_obex_free(void *x)
{
    zan_vok_obex *record = zan_vok_obex_get(x);
    if (!record)
        return;
    for (void *list : {record->usurplist, record->proxylist, record->adornmentlist})
        if (list)
            vok_object_free(list);
    zan_vok_obex_set(x, nullptr);
    vok_freebytes(record, sizeof(zan_vok_obex));
}

void zan_vok_object_free(void *x)
{
    zan_vok_obex_free(x);
}
