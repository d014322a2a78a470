// From a box's message to the method behind it: forwarders to the library object, by the
// selector they come with, and the adders that set a message up for the thread that its
// method is to run on. In the scheduler, low and merged calls go to the main thread's
// queue; elsewhere they run at once.
#include <cstring>
#include <string>

#include <vokra/commonsyms.h>

#include "bridge/box.h"

long _zan_vok_queuestate;

namespace vok {

symbol *affixed(const char *head, const symbol *name, const char *tail)
{
    char few[256];
    const size_t size = std::strlen(head) + std::strlen(name->name) + std::strlen(tail) + 1;
    if (size > sizeof few)
        return gensym((std::string(head) + name->name + tail).c_str());
    snprintf_zero(few, sizeof few, "%s%s%s", head, name->name, tail);
    return gensym(few);
}

symbol *without_get(symbol *selector)
{
    return std::strncmp(selector->name, "get", 3) ? selector : gensym(selector->name + 3);
}

namespace {

// How a method with a tag of a deferred or merged call is set up.
constexpr struct {
    int tag;
    function public_fn;
    const char *suffix; // of the private message with the method itself
} roads[] = {
    {argtype_defer, fn<zan_defer_method>, "_defer"},
    {argtype_defer_low, fn<zan_defer_low_method>, "_defer"},
    {argtype_usurp, fn<zan_vok_usurp_method>, "_usurp"},
    {argtype_usurp_low, fn<zan_vok_usurp_method>, "_usurp_low"},
};

using gimme = zan_word (*)(void *x, symbol *selector, long argc, atom *argv);

// The box's private method "<selector>_defer", or null.
zan_method deferred_method(void *x, symbol *selector)
{
    return selector ? zgetfn(x, affixed("", selector, "_defer")) : nullptr;
}

} // namespace

void wrap_target::add(zan_method fn, const char *name, int tag) const
{
    switch (kind) {
    case making: addmess(fn, name, tag, 0); break;
    case of_class: class_addmethod(static_cast<zan_class *>(p), fn, name, tag, 0); break;
    case of_box: object_addmethod(p, fn, name, tag, 0); break;
    }
}

vok_err wrap_target::add_run_as(long tag, zan_method fn, const char *name) const
{
    if (!*this || !fn || !name)
        return VOK_ERR_EROR;
    if (tag == argtype_gimme)
        add(fn, name, argtype_gimme);
    for (const auto &road : roads)
        if (road.tag == tag) {
            add(road.public_fn(), name, argtype_gimme);
            add(fn, affixed("", gensym(name), road.suffix)->name, argtype_cant);
        }
    if (kind == of_box && (tag == argtype_usurp || tag == argtype_usurp_low))
        merged_method_added(p, gensym(name));
    return VOK_ERR_NONE;
}

void wrap_target::add_attribute(void *attr, zan_method set, zan_method get) const
{
    symbol *name = attr_name(attr);
    symbol *methodtype = gensym("getmethodtype");
    if (user_can_set(attr))
        add_run_as(send(attr, methodtype, _vok_sym_set), set, name->name);
    if (user_can_get(attr))
        add_run_as(send(attr, methodtype, _vok_sym_get), get, affixed("get", name, "")->name);
}

} // namespace vok

#define ADDERS(road)                                                                                              \
    vok_err zan_addmethod_##road(zan_method fn, const char *name)                                                 \
    {                                                                                                             \
        return vok::wrap_target{}.add_run_as(argtype_##road, fn, name);                                           \
    }                                                                                                             \
    vok_err zan_vok_class_addmethod_##road(zan_class *c, zan_method fn, const char *name)                         \
    {                                                                                                             \
        return vok::wrap_target::to_class(c).add_run_as(argtype_##road, fn, name);                                \
    }                                                                                                             \
    vok_err zan_vok_object_addmethod_##road(void *x, zan_method fn, const char *name)                             \
    {                                                                                                             \
        return vok::wrap_target::to_box(x).add_run_as(argtype_##road, fn, name);                                  \
    }
ADDERS(defer)
ADDERS(defer_low)
ADDERS(usurp)
ADDERS(usurp_low)

long zan_vok_queuestate(long state)
{
    const long old = _zan_vok_queuestate;
    _zan_vok_queuestate = state != 0;
    return old;
}

long zan_vok_getqueuestate(void)
{
    return _zan_vok_queuestate || !sched_isinpoll();
}

zan_word zan_vok_gimme_method(void *x, symbol *selector, long argc, atom *argv)
{
    return vok::send(zan_vok_obex_vokob_get(x), selector, selector, argc, argv);
}

zan_word zan_vok_typed_method(void *x, symbol *selector, long argc, atom *argv)
{
    return typedmess(zan_vok_obex_vokob_get(x), selector, argc, argv);
}

zan_word zan_vok_defer_method(void *x, symbol *selector, long argc, atom *argv)
{
    return defer(x, vok::method(zan_vok_defer_method_doit), selector, argc, argv);
}

void zan_vok_defer_method_doit(void *x, symbol *selector, long argc, atom *argv)
{
    zan_vok_gimme_method(x, selector, argc, argv);
}

zan_word zan_vok_defer_low_method(void *x, symbol *selector, long argc, atom *argv)
{
    if (!zan_vok_getqueuestate())
        return defer_low(x, vok::method(zan_vok_defer_method_doit), selector, argc, argv);
    return zan_vok_gimme_method(x, selector, argc, argv);
}

zan_word zan_vok_usurp_method(void *x, symbol *selector, long argc, atom *argv)
{
    void *list = zan_vok_obex_usurplist_get(x);
    void *found = nullptr;
    if (list)
        linklist_findfirst(list, &found, vok_usurp_symcompare, selector);
    return found ? vok_usurp_method(static_cast<vok_usurp *>(found), selector, argc, argv) : 0;
}

zan_word zan_defer_method(void *x, symbol *selector, long argc, atom *argv)
{
    zan_method fn = vok::deferred_method(x, selector);
    return fn ? defer(x, fn, selector, argc, argv) : 0;
}

zan_word zan_defer_low_method(void *x, symbol *selector, long argc, atom *argv)
{
    zan_method fn = vok::deferred_method(x, selector);
    if (!fn)
        return 0;
    if (!zan_vok_getqueuestate())
        return defer_low(x, fn, selector, argc, argv);
    return reinterpret_cast<vok::gimme>(fn)(x, selector, argc, argv);
}

zan_word zan_vok_obex_gimmeback(void *x, symbol *selector, long argc, atom *argv)
{
    atom answer{};
    const zan_word result = object_method_typed(zan_vok_obex_vokob_get(x), selector, argc, argv, &answer);
    if (answer.type == argtype_obj)
        vok_object_free(atom_getobj(&answer));
    return result;
}

zan_word zan_vok_obex_gimmeback_dumpout(void *x, symbol *selector, long argc, atom *argv)
{
    atom answer{};
    const zan_word result = object_method_typed(zan_vok_obex_vokob_get(x), selector, argc, argv, &answer);
    if (answer.type == argtype_nothing)
        return result;
    symbol *name = vok::without_get(selector);
    if (answer.type == argtype_obj) {
        vok::atom_array values;
        object_getvalueof(atom_getobj(&answer), &values.argc, &values.argv);
        zan_vok_obex_dumpout(x, name, values.argc, values.argv);
        vok_object_free(atom_getobj(&answer));
    } else {
        zan_vok_obex_dumpout(x, name, 1, &answer);
    }
    return result;
}
