// The class vok_kernel: one object behind the receivers `vok` and `vokra`, whose messages
// set the library's switches from scripts and patchers. It has no state of its own.
#include <algorithm>

#include <zan/zan.h>

#include <vokra/box.h>
#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/mop.h>
#include <vokra/mop_box.h>
#include <vokra/parallel_ndim.h>
#include <vokra/parallel_pool.h>

#include "kernel/atoms.h"
#include "kernel/class_table.h"
#include "kernel/message.h"

// Of a room that may not be part of this build.
extern "C" __attribute__((weak)) vok_err vok_java_init(void);

namespace {

zan_class *kernel_class;

// The application's own receiver.
void tell_application(const char *selector, long argc = 0, atom *argv = nullptr)
{
    if (void *application = gensym("zan")->thing)
        typedmess(application, gensym(selector), argc, argv);
}

void tell_value(const char *selector, long value)
{
    atom a;
    atom_setlong(&a, value);
    tell_application(selector, 1, &a);
}

// Messages that older scripts send and that have nothing left to do.
void ignored(void *) {}
void ignored_long(void *, long) {}
void ignored_symbol(void *, symbol *) {}

void menubar(void *, long on)
{
    tell_application(on ? "showmenubar" : "hidemenubar");
}

void cursor(void *, long on)
{
    tell_application(on ? "showcursor" : "hidecursor");
}

void pollthrottle(void *, long value)
{
    tell_value("setpollthrottle", std::max(value, 1L));
}

void queuethrottle(void *, long value)
{
    tell_value("setqueuethrottle", std::max(value, 1L));
}

void launch_browser(void *, symbol *, long argc, atom *argv)
{
    tell_application("launchbrowser", argc, argv);
}

void html_ref(void *, symbol *, long argc, atom *argv)
{
    tell_application("html_ref", argc, argv);
}

void parallel(void *, long on)
{
    _vok_parallel = on != 0;
}

// The next calculation makes a new task. The task object stays, as a thread of the pool
// may still hold it; only its workers go.
void parallelthreads(void *, long count)
{
    _vok_parallelthreads = std::clamp(count, 0L, long{VOK_PARALLEL_MAX_WORKERS});
    if (auto *task = static_cast<parallel_task *>(_vok_parallel_task)) {
        object_free(task->workers);
        task->workers = nullptr;
        _vok_parallel_task = nullptr;
    }
}

void parallelthreshold(void *, long cells)
{
    _vok_parallelthresh = std::max(cells, 1L);
}

void paralleldebug(void *, long on)
{
    _vok_paralleldebug = on != 0;
}

void java(void *, long on)
{
    _vok_javaload = on;
}

void javainit(void *)
{
    if (vok_java_init)
        vok_java_init();
}

void memdebug(void *, long level)
{
    _vok_memreg = level;
}

symbol *getglreadback(void *)
{
    return gensym("fbo");
}

// Opens the status window of the OpenGL module and passes it a message.
void glstatus(void *, symbol *, long argc, atom *argv)
{
    const bool core = preferences_getsym("gfxengine") == gensym("glcore");
    void *show = gensym(core ? "gl3status_show" : "gl2status_show")->thing;
    if (!show) {
        object_error(nullptr, "no glstatus window found");
        return;
    }
    void *window = reinterpret_cast<void *(*)(zan_word)>(show)(1);
    symbol *selector = argc > 0 && argv ? atom_getsym(argv) : nullptr;
    if (window && selector)
        vok::send(window, selector);
}

void sendproperty(void *x, symbol *name, symbol *receiver)
{
    void *to = receiver ? receiver->thing : nullptr;
    if (!name || !to)
        return;
    if (name == gensym("glreadback")) {
        atom a;
        atom_setsym(&a, getglreadback(x));
        typedmess(to, name, 1, &a);
        return;
    }
    vok::atom_array value;
    if (!object_attr_getvalueof(x, name, &value.argc, &value.argv))
        typedmess(to, name, value.argc, value.argv);
}

constexpr vok::message messages[] = {
    {"about", vok::fn<ignored>},
    {"altivec", vok::fn<ignored_long>, {argtype_long}},
    {"menubar", vok::fn<menubar>, {argtype_long}},
    {"pollthrottle", vok::fn<pollthrottle>, {argtype_long}},
    {"queuethrottle", vok::fn<queuethrottle>, {argtype_long}},
    {"launch_browser", vok::fn<launch_browser>, {argtype_gimme}},
    {"html_ref", vok::fn<html_ref>, {argtype_gimme}},
    {"cursor", vok::fn<cursor>, {argtype_long}},
    {"glerrorcheck", vok::fn<ignored_long>, {argtype_long}},
    {"glattribpush", vok::fn<ignored_long>, {argtype_long}},
    {"postversion", vok::fn<ignored>},
    {"nosplash", vok::fn<ignored_long>, {argtype_long}},
    {"parallel", vok::fn<parallel>, {argtype_long}},
    {"parallelthreads", vok::fn<parallelthreads>, {argtype_long}},
    {"parallelthreshold", vok::fn<parallelthreshold>, {argtype_long}},
    {"paralleldebug", vok::fn<paralleldebug>, {argtype_long}},
    {"java", vok::fn<java>, {argtype_long}},
    {"javainit", vok::fn<javainit>},
    {"memdebug", vok::fn<memdebug>, {argtype_long}},
    {"glreadback", vok::fn<ignored_symbol>, {argtype_sym}},
    {"getglreadback", vok::fn<getglreadback>, {argtype_cant}},
    {"glstatus", vok::fn<glstatus>, {argtype_gimme}},
    {"sendproperty", vok::fn<sendproperty>, {argtype_sym, argtype_sym}},
    {"endprobe", vok::fn<zan_vok_mop_vok_matrix_endprobe>},
    // functions that the host fetches by name and calls as they are
    {"exp_vok_object_getmethod", vok::fn<vok_object_getmethod>, {argtype_cant}},
    {"exp_vok_object_findregistered", vok::fn<vok_object_findregistered>, {argtype_cant}},
    {"exp_zan_vok_obex_vokob_get", vok::fn<zan_vok_obex_vokob_get>, {argtype_cant}},
    {"exp_zan_vok_method_is_attr", vok::fn<zan_vok_method_is_attr>, {argtype_cant}},
    {"exp_zan_vok_method_is_undocumented", vok::fn<zan_vok_method_is_undocumented>, {argtype_cant}},
    {"exp_zan_vok_method_is_groupreference", vok::fn<zan_vok_method_is_groupreference>, {argtype_cant}},
    {"exp_zan_vok_obex_attrlist_get", vok::fn<zan_vok_obex_attrlist_get>, {argtype_cant}},
    {"exp_vok_mop_ioproc_tosym", vok::fn<vok_mop_ioproc_tosym>, {argtype_cant}},
    {"exp_zan_vok_classex_get", vok::fn<zan_vok_classex_get>, {argtype_cant}},
    {"exp_zan_vok_usurp_method", vok::fn<zan_vok_usurp_method>, {argtype_cant}},
    {"exp_zan_defer_method", vok::fn<zan_defer_method>, {argtype_cant}},
};

// showglstatus names no method, and marks nothing.
constexpr const char *undocumented[] = {
    "about",    "altivec",  "glerrorcheck", "glattribpush",  "postversion",  "nosplash", "paralleldebug",
    "javainit", "memdebug", "glreadback",   "getglreadback", "sendproperty", "endprobe", "showglstatus",
};

} // namespace

void *vok_kernel_new(void)
{
    return object_alloc(kernel_class);
}

void vok_kernel_free(void *) {}

vok_err vok_kernel_init(void)
{
    kernel_class = vok_class_new("vok_kernel", vok::method(vok_kernel_new), vok::method(vok_kernel_free),
                                 sizeof(object), argtype_cant, 0);
    if (!kernel_class)
        return VOK_ERR_OMEM;
    vok::add_messages(kernel_class, messages);
    for (const char *name : undocumented)
        vok::mark_method(kernel_class, name, "undocumented");

    gensym("matrixprobe_show")->thing = reinterpret_cast<void *>(zan_vok_mop_vok_matrix_showprobe);
    if (void *kernel = vok_kernel_new()) {
        gensym("vok")->thing = kernel;
        const bool taken = _cfm_in_ub && ps_vokra->thing;
        (taken ? ps_vokraCFM : ps_vokra)->thing = kernel;
    } else {
        object_post(nullptr, "couldn't create vok kernel object");
    }
    return vok_err_from_zan_err(class_register(_vok_sym_nobox, kernel_class));
}
