/* Separately loaded modules: box packs, engines, externals. A module is a shared
 * object that exports one record, made with ZAN_MODULE, through which it is met: the
 * host checks the interface's number and the word size before it runs anything. */
#ifndef ZAN_MODULE_H
#define ZAN_MODULE_H
#include <zan/base.h>
#ifdef __cplusplus
extern "C" {
#endif

/* Raised when a module built before would no longer run. */
enum { ZAN_MODULE_INTERFACE = 1 };

typedef struct zan_module {
    uint32_t interface_number; /* ZAN_MODULE_INTERFACE */
    uint32_t word_size;        /* sizeof(zan_word) */
    const char *name;          /* for messages */
    long (*init)(void);        /* makes the module's classes; host error number */
} zan_module;

/* Once in a module: ZAN_MODULE("my.operator", my_init) */
#ifdef __cplusplus
#define ZAN_MODULE_LINKAGE extern "C"
#else
#define ZAN_MODULE_LINKAGE
#endif
#define ZAN_MODULE(name, init)                                                                                    \
    ZAN_MODULE_LINKAGE __attribute__((visibility("default"))) const zan_module zan_module_record;                 \
    const zan_module zan_module_record = {ZAN_MODULE_INTERFACE, sizeof(zan_word), name, init}

/* Loads a module by its file name and runs its init, once a file: loading it again
 * gives 0 at once. Main thread. An error says why in the loader's own words. */
ZAN_EXPORT long zan_load_module(const char *filename);

#ifdef __cplusplus
}
#endif
#endif
