// The class vok_usurp, which merges calls: a scheduler that sends a box a hundred values
// between two video frames costs one call, with the last value.
#include <algorithm>
#include <iterator>

#include <vokra/commonsyms.h>
#include <vokra/memory.h>

#include "bridge/box.h"

namespace {

zan_class *usurp_class;

// The saved atoms are guarded, the call itself is not.
struct critical_section {
    critical_section() { vok_global_critical_enter(); }
    critical_section(const critical_section &) = delete;
    critical_section &operator=(const critical_section &) = delete;
    ~critical_section() { vok_global_critical_exit(); }
};

void free_atoms(atom *argv, long room)
{
    if (argv)
        vok_freebytes(argv, room * long{sizeof(atom)});
}

// In the place of the atoms that wait; without memory the call goes with none.
void keep_atoms(vok_usurp *u, long argc, const atom *argv)
{
    if (argc > u->room) {
        free_atoms(u->argv, u->room);
        u->argv = static_cast<atom *>(vok_getbytes(argc * long{sizeof(atom)}));
        u->room = argc = u->argv ? argc : 0;
    }
    std::copy_n(argv, argc, u->argv);
    u->argc = argc;
}

} // namespace

vok_err vok_zan_init(void)
{
    std::copy_n(std::begin({ps_importattrs, ps_exportattrs, ps_exportsummary}), 3, _zan_vok_ignorelist);
    usurp_class = vok_class_new("vok_usurp", vok::method(vok_usurp_new), vok::method(vok_usurp_free),
                                sizeof(vok_usurp), argtype_cant, 0);
    if (!usurp_class) {
        object_post(nullptr, "couldn't allocate memory for class vok_usurp");
        return VOK_ERR_OMEM;
    }
    static constexpr vok::message messages[] = {
        {"usurp_method", vok::fn<vok_usurp_method>, {argtype_cant}},
        {"getowner", vok::fn<vok_usurp_getowner>, {argtype_cant}},
    };
    vok::add_messages(usurp_class, messages);
    return vok_class_register(usurp_class);
}

vok_usurp *vok_usurp_new(void *owner, zan_method fn, symbol *name, long flags)
{
    auto *u = static_cast<vok_usurp *>(vok_object_alloc(usurp_class));
    if (!u)
        return nullptr;
    u->owner = owner;
    u->fn = fn;
    u->name = name;
    u->flags = flags;
    u->qelem = qelem_new(u, zan_vok_usurp_qfn);
    return u;
}

void vok_usurp_free(vok_usurp *u)
{
    qelem_free(u->qelem); // a call that waits is lost
    free_atoms(u->argv, u->room);
}

void *vok_usurp_getowner(vok_usurp *u)
{
    return u ? u->owner : nullptr;
}

vok_err vok_usurp_method(vok_usurp *u, symbol *, long argc, atom *argv)
{
    if (!u)
        return VOK_ERR_INVP;
    const bool at_once = zan_vok_getqueuestate();
    {
        const critical_section guard;
        keep_atoms(u, argv ? std::max(argc, 0L) : 0, argv);
        if (!at_once)
            (u->flags & vok_usurp_low_priority ? qelem_set : qelem_front)(u->qelem);
    }
    if (at_once)
        zan_vok_usurp_qfn(u);
    return VOK_ERR_NONE;
}

// The method may free its box and with it the usurp: nothing of it is touched behind the
// call. A short list runs from the stack, so that its block stays for the next call.
void zan_vok_usurp_qfn(void *usurp)
{
    auto *u = static_cast<vok_usurp *>(usurp);
    constexpr long few = 64;
    atom copy[few];
    atom *argv = copy;
    long argc = 0, room = 0;
    {
        const critical_section guard;
        argc = u->argc;
        u->argc = 0;
        if (argc <= few) {
            std::copy_n(u->argv, argc, copy);
        } else {
            argv = u->argv;
            room = u->room;
            u->argv = nullptr;
            u->room = 0;
        }
        qelem_unset(u->qelem);
    }
    void *target = u->flags & vok_usurp_of_box ? u->owner : zan_vok_obex_vokob_get(u->owner);
    if (target)
        reinterpret_cast<zan_word (*)(void *, symbol *, long, atom *)>(u->fn)(target, u->name, argc,
                                                                              argc ? argv : nullptr);
    if (room)
        free_atoms(argv, room);
}

long vok_usurp_symcompare(void *usurp, void *name)
{
    return usurp && static_cast<vok_usurp *>(usurp)->name == name;
}

// ---- the merged methods of a box ----

namespace {

struct usurplist {
    void *x;
    void *list = nullptr;

    void add(zan_method fn, symbol *name, long flags)
    {
        if (!list)
            list = linklist_new();
        vok_usurp *u = list ? vok_usurp_new(x, fn, name, flags) : nullptr;
        if (u)
            linklist_append(list, u);
    }
    // One of the box's own: its method is in the private message of the same name. It is
    // looked up rather than taken from the next entry, where it stands as a rule: a
    // message that replaced an older one keeps that one's place.
    void add_own(const zan_messlist *e)
    {
        if (!e || e->function != vok::method(zan_vok_usurp_method))
            return;
        constexpr struct {
            const char *suffix;
            long flags;
        } kinds[] = {{"_usurp", vok_usurp_of_box}, {"_usurp_low", vok_usurp_of_box | vok_usurp_low_priority}};
        for (const auto &kind : kinds) {
            const zan_messlist *method = object_mess(x, vok::affixed("", e->name, kind.suffix));
            if (method && method->types[0] == argtype_cant)
                return add(method->function, e->name, kind.flags);
        }
    }
};

} // namespace

void vok::merged_method_added(void *x, symbol *name)
{
    zan_vok_obex *record = zan_vok_obex_get(x);
    if (!record)
        return;
    const long older = linklist_findfirst(record->usurplist, nullptr, vok_usurp_symcompare, name);
    if (older >= 0)
        linklist_deleteindex(record->usurplist, older);
    usurplist merged{x, record->usurplist};
    merged.add_own(object_mess(x, name));
    record->usurplist = merged.list;
}

void vok_usurplist_objectfn(void *method_object, void *build)
{
    if (method_object && build)
        static_cast<usurplist *>(build)->add_own(vok::ask<zan_messlist>(method_object, ps_getmesslist));
}

void *vok_usurplist_build(void *x, symbol *classname)
{
    usurplist build{x};
    if (!x)
        return nullptr;
    for (auto *e = static_cast<zan_messlist *>(static_cast<object *>(x)->messlist); e && e->name; ++e)
        build.add_own(e);
    void *own = nullptr;
    if (!object_obex_lookup(x, ps_methods, &own) && own)
        hashtab_objfunall(own, vok_usurplist_objectfn, &build);

    zan_class *vokclass = classname ? vok_class_findbyname(classname) : nullptr;
    if (!vokclass)
        return build.list;
    const auto add_merged = [](void *m, void *data) {
        const zan_messlist &e = static_cast<zan_method_object *>(m)->entry;
        const int tag = e.types[0];
        if (tag == argtype_usurp || tag == argtype_usurp_low)
            static_cast<usurplist *>(data)->add(e.function, e.name,
                                                tag == argtype_usurp_low ? vok_usurp_low_priority : 0);
    };
    hashtab_objfunall(class_extra_lookup(vokclass, ps_methods), add_merged, &build);
    return build.list;
}
