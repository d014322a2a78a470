// The library's front door: initialize, which the host calls at load and the first
// vok_class_new or vok_object_new otherwise, the configuration script, the quit task,
// and the global critical region.
#include <zan/zan.h>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/zpatcher_syms.h>

#include "kernel/message.h"

// Of rooms that may not be part of this build.
extern "C" __attribute__((weak)) vok_err vok_java_init(void);
extern "C" __attribute__((weak)) void vok_video_terminate(void);

long _vok_initialized;
long _vok_object_init;
long _initlate;
long _vok_javaload;
long _vok_crit_count;
long _cfm_in_ub;

vok_err initialize(void)
{
    if (_vok_initialized)
        return VOK_ERR_NONE;
    _vok_initialized = 1; // first: what follows comes back here through vok_class_new
    common_symbols_init();
    zpatcher_syms_init();
    vok_symbols_init();
    ps_vokra = gensym("vokra");
    ps_vokraCFM = gensym("vokraCFM");
    vok_object_init();
    vok_load_config();
    if (_vok_javaload && vok_java_init)
        vok_java_init();
    quittask_install(vok::method(vok_shutdown), nullptr);
    return VOK_ERR_NONE;
}

long vok_load_config(void)
{
    char name[ZAN_NAME_SIZE];
    strncpy_zero(name, "vokra-config.txt", sizeof name);
    short path = 0;
    uint32_t type = 0;
    if (const short missing = locatefile_extended(name, &path, &type, nullptr, 0))
        return missing;
    void *script = binbuf_new();
    if (script && !binbuf_read(script, name, path, 0))
        binbuf_eval(script, 0, nullptr, nullptr);
    freeobject(script);
    return 0;
}

void vok_shutdown(void)
{
    if (void *context = object_findregistered(ps_vokra, gensym("##vzgctx##")))
        object_notify(context, gensym("shutdown"), nullptr);
    if (vok_video_terminate)
        vok_video_terminate();
    _vok_object_init = 0; // _vok_initialized stays: nothing is brought up twice
}

vok_err vok_gl_initialize(void)
{
    initialize();
    return VOK_ERR_NONE;
}

long *init_late(void)
{
    if (!_initlate)
        _initlate = 1;
    return &_initlate;
}

zan_word vok_method_true(void)
{
    return 1;
}

zan_word vok_method_false(void)
{
    return 0;
}

void vok_global_critical_enter(void)
{
    critical_enter(0);
    ++_vok_crit_count;
}

void vok_global_critical_exit(void)
{
    critical_exit(0);
    --_vok_crit_count;
}
