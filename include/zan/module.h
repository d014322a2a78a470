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

/* A finder makes box classes on demand, for a module that offers a whole family of them:
 * what a patch never asks for is never made. `find` makes the class of that name and
 * registers it in namespace "box", or gives null for a name that isn't its own. `list`
 * tells every name that `find` would serve, made or not. Both are called by one thread
 * at a time. */
typedef struct zan_class_finder {
    zan_class *(*find)(symbol *name);
    void (*list)(void (*tell)(void *data, symbol *name), void *data);
} zan_class_finder;
/* The record must stay where it is. Finders are asked in the order of their adding. */
ZAN_EXPORT long zan_add_class_finder(const zan_class_finder *finder);

/* The class of a box by the name that a patch writes, or null. In this order: a class of
 * namespace "box"; the same after the packs were loaded (modules in a folder "packs" of
 * a search folder; each is tried once); what a finder makes; the module NAME.so along the
 * search path, and what a finder makes of the classes that it brought. So a file that
 * happens to lie about changes no box that is known. A module that brings no such class is
 * reported. */
ZAN_EXPORT zan_class *zan_box_class(symbol *name);
/* Every name that zan_box_class knows without looking for a file of that name, sorted:
 * the caller frees *names with sysmem_freeptr. Host error number. */
ZAN_EXPORT long zan_box_names(long *count, symbol ***names);
/* One sentence that says what a box of this class does, for a person who looks for one.
 * Kept under "digest" in the class's extra words; null when nobody set it. */
ZAN_EXPORT symbol *zan_class_digest(zan_class *c);
ZAN_EXPORT long zan_class_setdigest(zan_class *c, const char *sentence);

/* Loads a module by its file name and runs its init, once a file: loading it again
 * gives the same at once. Main thread. An error says why in the loader's own words. */
ZAN_EXPORT long zan_load_module(const char *filename);

#ifdef __cplusplus
}
#endif
#endif
