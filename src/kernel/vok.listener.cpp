// The class vok_listener: lets code that is no object hear of a named object. It is a
// client of the name, turns each notification into plain atoms and calls a function. While
// nothing has the name it polls, so that it is there as soon as something takes it.
#include <algorithm>

#include <zan/zan.h>

#include <vokra/attributes.h>
#include <vokra/commonsyms.h>
#include <vokra/listener.h>
#include <vokra/zpatcher_syms.h>

#include "kernel/atoms.h"
#include "kernel/class_table.h"
#include "kernel/message.h"

namespace {

zan_class *listener_class;

void setcallback(vok_listener *x, vok_listener_callback callback)
{
    x->callback = callback;
}

void setcbdata(vok_listener *x, void *cbdata)
{
    x->cbdata = cbdata;
}

void *getcbdata(vok_listener *x)
{
    return x->cbdata;
}

void setcleanup(vok_listener *x, void (*cleanup)(void *))
{
    x->cleanup = cleanup;
}

// What a notification says to the callback.
struct news {
    symbol *message;
    long argc = 0;
    atom *argv = nullptr;
};

// A pointer event carries a block with the message that it stands for and its atoms; a
// turned wheel has more of them, in a block of its own.
news of_pointer(void *sender, symbol *message)
{
    const auto ask = [sender](const char *what) { return vok::ask<vok_mouse_info>(sender, gensym(what)); };
    vok_mouse_info *mouse = ask("get_mouse_info");
    if (!mouse)
        return {message};
    vok_mouse_info *wheel = mouse->message == ps_mousewheel ? ask("get_mousewheel_info") : nullptr;
    return wheel ? news{mouse->message, 10, wheel->atoms} : news{mouse->message, 8, mouse->atoms};
}

// The word of polltime is a number, so the functions of a symbol's attribute won't do.
vok_err polltime_get(vok_listener *x, void *, long *argc, atom **argv)
{
    const vok_err err = vok::reserve_atoms(1, argc, argv);
    if (!err && *argc)
        atom_setlong(*argv, x->polltime);
    return err;
}

vok_err polltime_set(vok_listener *x, void *, long argc, atom *argv)
{
    if (argc > 0 && argv)
        x->polltime = atom_getlong(argv);
    return VOK_ERR_NONE;
}

} // namespace

vok_err vok_listener_init(void)
{
    listener_class = vok_class_new("vok_listener", vok::method(vok_listener_new), vok::method(vok_listener_free),
                                   sizeof(vok_listener), argtype_gimme, 0);
    if (!listener_class)
        return VOK_ERR_OMEM;
    static constexpr vok::message messages[] = {
        {"notify", vok::fn<vok_listener_notify>, {argtype_cant}},
        {"setcallback", vok::fn<setcallback>, {argtype_cant}},
        {"setcbdata", vok::fn<setcbdata>, {argtype_cant}},
        {"getcbdata", vok::fn<getcbdata>, {argtype_cant}},
        {"setcleanup", vok::fn<setcleanup>, {argtype_cant}},
    };
    static constexpr vok::attribute attributes[] = {
        {.name = "subjectname",
         .type = "symbol",
         .flags = vok::low,
         .offset = offsetof(vok_listener, subjectname),
         .set = vok::fn<vok_listener_subjectname>},
        {.name = "polltime",
         .type = "symbol", // deliberately, though the word holds a number
         .flags = vok::low,
         .offset = offsetof(vok_listener, polltime),
         .get = vok::fn<polltime_get>,
         .set = vok::fn<polltime_set>},
    };
    vok::add_messages(listener_class, messages);
    vok::add_attributes(listener_class, attributes);
    return vok_class_register(listener_class);
}

vok_listener *vok_listener_new(symbol *, long argc, atom *argv)
{
    auto *x = static_cast<vok_listener *>(vok_object_alloc(listener_class));
    if (!x)
        return nullptr;
    x->subjectname = _vok_sym_nothing;
    x->polltime = 100;
    x->clock = clock_new(x, vok_listener_poll_tick);
    x->qelem = qelem_new(x, vok_listener_poll_qfn);
    vok_listener_dosubjectname(x, argc > 0 && argv ? atom_getsym(argv) : nullptr);
    return x;
}

void vok_listener_free(vok_listener *x)
{
    if (x->subjectname != _vok_sym_nothing)
        vok_object_detach(x->subjectname, x);
    if (x->cleanup)
        x->cleanup(x->cbdata);
    freeobject(x->clock);
    qelem_free(x->qelem);
}

vok_err vok_listener_subjectname(vok_listener *x, void *, long argc, atom *argv)
{
    vok_listener_dosubjectname(x, argc > 0 && argv ? atom_getsym(argv) : nullptr);
    return VOK_ERR_NONE;
}

void vok_listener_dosubjectname(vok_listener *x, symbol *name)
{
    if (x->subjectname != _vok_sym_nothing)
        vok_object_detach(x->subjectname, x);
    x->subjectname = name ? name : _vok_sym_nothing;
    if (x->subjectname == _vok_sym_nothing) {
        vok_listener_poll_end(x);
    } else if (vok_object_findregistered(x->subjectname)) {
        vok_listener_poll_end(x);
        vok_object_attach(x->subjectname, x);
    } else {
        vok_listener_poll_start(x);
    }
}

void vok_listener_poll_start(vok_listener *x)
{
    x->polltime = std::min(x->polltime, 2L); // deliberate: at most 2, whatever was set
    clock_delay(x->clock, x->polltime);
}

void vok_listener_poll_end(vok_listener *x)
{
    clock_unset(x->clock);
    qelem_unset(x->qelem);
}

void vok_listener_poll_tick(void *x)
{
    qelem_set(static_cast<vok_listener *>(x)->qelem);
}

void vok_listener_poll_qfn(void *x)
{
    auto *listener = static_cast<vok_listener *>(x);
    vok_listener_dosubjectname(listener, listener->subjectname);
}

void vok_listener_notify(vok_listener *x, symbol *name, symbol *message, void *sender, void *data)
{
    if (!x || x->header.magic != ZAN_OBJECT_MAGIC)
        return;
    news what{message};
    atom attribute;
    vok::atom_array typed;
    if (message == _vok_sym_mouseout) {
        what = of_pointer(sender, message);
    } else if (message == ps_attr_modified && data) {
        auto *attrname = vok::ask<symbol>(data, _vok_sym_getname);
        atom_setsym(&attribute, attrname ? attrname : _vok_sym_nothing);
        what = {message, 1, &attribute};
    } else if (message == _vok_sym_typedmess && data) {
        object_getvalueof(data, &typed.argc, &typed.argv);
        if (typed.argc > 0 && typed.argv)
            what = {vok_atom_getsym(typed.argv), std::min(typed.argc - 1, 255L), typed.argv + 1};
    }
    object_retain(x); // the callback may free it
    if (x->callback)
        x->callback(x->cbdata, name, what.message, what.argc, what.argv);
    if (what.message == _vok_sym_free) // the watched object is gone
        vok_listener_poll_start(x);
    object_release(x);
}
