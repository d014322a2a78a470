/* Starting the library, its classes and objects, and its reports: the thin layer over
 * the host's object kernel that every client uses. Classes and registered objects live
 * in the namespace `ps_vokra`. Unless told otherwise a result is 0 or an error code,
 * host error numbers are translated (vok_err_from_zan_err), and a call may come from
 * any thread once the library is up; classes are set up on the main thread. */
#ifndef VOKRA_KERNEL_H
#define VOKRA_KERNEL_H

#include <stdarg.h>

#include <vokra/base.h>

VOKRA_BEGIN_C

/* ---- start and stop ---- */

/* Brings the library up; later calls do nothing. 0. The host calls it on the main
 * thread at load; vok_class_new and vok_object_new do it when nobody has. Ends by
 * running the script "vokra-config.txt", if the search path has it. */
VOKRA_EXPORT vok_err initialize(void);
/* The classes, in their fixed order; part of initialize. 0. */
VOKRA_EXPORT vok_err vok_object_init(void);
/* Runs the script once more. 0, or what locatefile_extended gave when it isn't there. */
VOKRA_EXPORT long vok_load_config(void);
/* The host's quit task: tells the GL context holder and ends the video engines. */
VOKRA_EXPORT void vok_shutdown(void);
VOKRA_EXPORT vok_err vok_gl_initialize(void);
/* Sets _initlate and returns its address. */
VOKRA_EXPORT long *init_late(void);

VOKRA_EXPORT extern long _vok_initialized; /* initialize was entered; never reset */
VOKRA_EXPORT extern long _vok_object_init; /* the classes are up; 0 again after vok_shutdown */
VOKRA_EXPORT extern long _initlate;        /* init_late or vok_object_new was called */
VOKRA_EXPORT extern long _vok_javaload;    /* initialize ends by starting the Java binding */
VOKRA_EXPORT extern long _vok_memreg;      /* level of the memory register, see memory.h */
VOKRA_EXPORT extern long _vok_crit_count;  /* depth of the global critical region, for debuggers */
VOKRA_EXPORT extern long _cfm_in_ub;       /* the kernel object's second name is vokraCFM when vokra is taken */
VOKRA_EXPORT extern zan_class *_vok_class_class; /* the class vok_class */

typedef struct vok_mess {
    symbol *selector;
    zan_method function;
} vok_mess;
VOKRA_EXPORT extern vok_mess _vok_mess_nonmethod;  /* nonmethod, vok_method_false */
VOKRA_EXPORT extern vok_mess _vok_mess_freemethod; /* free, vok_object_free */

/* Marker methods: 1 and 0, whatever the arguments. */
VOKRA_EXPORT zan_word vok_method_true(void);
VOKRA_EXPORT zan_word vok_method_false(void);

/* The host's critical region 0; may be nested. */
VOKRA_EXPORT void vok_global_critical_enter(void);
VOKRA_EXPORT void vok_global_critical_exit(void);

/* ---- classes ---- */

/* A new class with the methods class_vokra, importattrs and exportattrs, or null. Up to
 * nine type words, ended by 0; most classes take `argtype_cant, 0`: up to eight words. */
VOKRA_EXPORT zan_class *vok_class_new(const char *name, zan_method new_fn, zan_method free_fn, long size, ...);
VOKRA_EXPORT vok_err vok_class_free(zan_class *c);
VOKRA_EXPORT vok_err vok_class_register(zan_class *c);
/* The class owns the attribute or adornment from then on. */
VOKRA_EXPORT vok_err vok_class_addattr(zan_class *c, void *attr);
VOKRA_EXPORT vok_err vok_class_addadornment(zan_class *c, void *adornment);
/* Up to eight type words, ended by 0. */
VOKRA_EXPORT vok_err vok_class_addmethod(zan_class *c, zan_method fn, const char *name, ...);
VOKRA_EXPORT vok_err vok_class_addtypedwrapper(zan_class *c, zan_method fn, const char *name, ...);
/* These give the host's answer as it stands: null for what isn't there. */
VOKRA_EXPORT zan_method vok_class_method(zan_class *c, symbol *name);
VOKRA_EXPORT struct zan_messlist *vok_class_mess(zan_class *c, symbol *name);
VOKRA_EXPORT symbol *vok_class_nameget(zan_class *c);
VOKRA_EXPORT void *vok_class_adornment_get(zan_class *c, symbol *classname);
VOKRA_EXPORT void *vok_class_attr_get(zan_class *c, symbol *name);
VOKRA_EXPORT zan_method_object *vok_class_typedwrapper_get(zan_class *c, symbol *name);
/* The function of the attribute that a method name belongs to, the attribute in *attr;
 * `unused` is not read. */
VOKRA_EXPORT zan_method vok_class_attr_method(zan_class *c, symbol *methodname, void **attr, void *unused);
VOKRA_EXPORT zan_class *vok_class_findbyname(symbol *name);
/* 1 when the class has that name; 0 for a null name. */
VOKRA_EXPORT long vok_class_symcompare(zan_class *c, symbol *name);
/* Marks a method that an attribute-style argument `argname` may name when a box is made.
 * Names of more than 246 bytes are cut. */
VOKRA_EXPORT vok_err vok_class_method_addargsafe(zan_class *c, const char *argname, const char *methodname);
VOKRA_EXPORT symbol *vok_class_method_argsafe_get(zan_class *c, symbol *argname);
VOKRA_EXPORT symbol *vok_object_method_argsafe_get(void *x, symbol *argname);

/* ---- one class answering for another ---- */

/* Makes the instances of `c` answer the messages and attributes of `interfaceclass`
 * through the object whose pointer stands at `byteoffset` in the instance; at 0 the
 * interface's functions run on the instance itself. What the class has of its own
 * wins; bit 0 of `flags` posts each attribute that lost so. EROR for a null class. */
VOKRA_EXPORT vok_err vok_class_addinterface(zan_class *c, zan_class *interfaceclass, long byteoffset, long flags);

typedef struct vok_class_interface_info {
    long flags;
    long offset; /* of the delegate's pointer in the instance; 0 the instance itself */
    zan_class *interfaceclass;
    zan_method_object *methodobject; /* the interface class's */
} vok_class_interface_info;

typedef struct vok_class_interface_attrinfo {
    long flags;
    long offset;
    zan_class *interfaceclass;
    void *attr;     /* the interface class's attribute object */
    symbol *name;   /* of that attribute */
    zan_method get; /* its functions */
    zan_method set;
} vok_class_interface_attrinfo;

/* The functions that answer at run time. */
VOKRA_EXPORT zan_word vok_interface_method_gimmeback(void *x, symbol *selector, long argc, atom *argv, atom *rv);
VOKRA_EXPORT void *vok_interface_method_decorator(void *x, symbol *selector);
VOKRA_EXPORT vok_err vok_interface_attr_getter(void *x, void *attr, long *argc, atom **argv);
VOKRA_EXPORT vok_err vok_interface_attr_setter(void *x, void *attr, long argc, atom *argv);

/* Makes the class vok_interface_tester, which holds one matrix and answers for it. */
VOKRA_EXPORT vok_err vok_interface_tester_init(void);

/* ---- objects ---- */

/* A zeroed instance; no constructor runs. */
VOKRA_EXPORT void *vok_object_alloc(zan_class *c);
/* An object by class name, or null. The variadic form takes eight words from its
 * arguments whatever was given, so it passes words only (no doubles), at most eight. */
VOKRA_EXPORT void *vok_object_new(symbol *classname, ...);
VOKRA_EXPORT void *vok_object_new_imp(symbol *classname, zan_word w1, zan_word w2, zan_word w3, zan_word w4,
                                      zan_word w5, zan_word w6, zan_word w7, zan_word w8);
/* Calls a method by name, with words in the same way; the method's result. */
VOKRA_EXPORT zan_word vok_object_method(void *x, symbol *selector, ...);
VOKRA_EXPORT zan_word vok_object_method_imp(void *x, symbol *selector, zan_word w1, zan_word w2, zan_word w3,
                                            zan_word w4, zan_word w5, zan_word w6, zan_word w7, zan_word w8);
/* Atoms in, an atom out (rv, may be null): typed wrappers, public methods, attributes. */
VOKRA_EXPORT zan_word vok_object_method_typed(void *x, symbol *selector, long argc, atom *argv, atom *rv);
/* The function of a method; the host's method_false when there is none. */
VOKRA_EXPORT zan_method vok_object_getmethod(void *x, symbol *selector);
VOKRA_EXPORT symbol *vok_object_classname(void *x);
VOKRA_EXPORT zan_class *vok_object_class(void *x);
/* 1 when the object's class has that name; 0 for a null name. */
VOKRA_EXPORT long vok_object_classname_compare(void *x, symbol *name);
VOKRA_EXPORT void *vok_object_attr_get(void *x, symbol *name);
VOKRA_EXPORT long vok_object_attr_usercanget(void *x, symbol *name);
VOKRA_EXPORT long vok_object_attr_usercanset(void *x, symbol *name);
VOKRA_EXPORT vok_err vok_object_free(void *x);
/* The object under which the name now stands: another one when it was taken. */
VOKRA_EXPORT void *vok_object_register(void *x, symbol *name);
VOKRA_EXPORT vok_err vok_object_unregister(void *x);
VOKRA_EXPORT void *vok_object_findregistered(symbol *name);
/* The name, or null when the object isn't registered in this namespace. */
VOKRA_EXPORT symbol *vok_object_findregisteredbyptr(void *x);
/* The client hears of the object of that name through its method notify. */
VOKRA_EXPORT void *vok_object_attach(symbol *name, void *client);
VOKRA_EXPORT vok_err vok_object_detach(symbol *name, void *client);
VOKRA_EXPORT long vok_object_notify(void *x, symbol *message, void *data);
/* A symbol that no other has; the source of automatic names. */
VOKRA_EXPORT symbol *vok_symbol_unique(void);

/* The messages of every class: attributes to and from an XML file named by argv[0], or
 * asked for. Export writes what users can both set and get, sorted by name. 0, INVP. */
VOKRA_EXPORT vok_err vok_object_importattrs(void *x, symbol *selector, long argc, atom *argv);
VOKRA_EXPORT vok_err vok_object_exportattrs(void *x, symbol *selector, long argc, atom *argv);
VOKRA_EXPORT vok_err vok_object_exportsummary(void *x, symbol *selector, long argc, atom *argv);

/* ---- reports ---- */

/* Text of at most 2047 characters, with the object's box, else its wrapper, else nobody
 * as its source; with a source, "classname: " is taken off its front. x may be null. */
VOKRA_EXPORT void vok_object_error(void *x, const char *format, ...) __attribute__((format(printf, 2, 3)));
VOKRA_EXPORT void vok_object_post(void *x, const char *format, ...) __attribute__((format(printf, 2, 3)));
/* Print through defer, so on the main thread: a code of the table in base.h in words (nothing
 * for 0 and SPRS), the address of four characters as those, any other number as its own four
 * characters or, when they are none, as an unspecified error with the number. */
VOKRA_EXPORT void vok_error_code(void *x, vok_err code);
VOKRA_EXPORT void vok_error_sym(void *x, symbol *text);
VOKRA_EXPORT void vok_post_sym(void *x, symbol *text);
/* What those defer: the code travels in the place of the symbol. */
VOKRA_EXPORT void vok_error_docode(void *x, symbol *code, long argc, atom *argv);
VOKRA_EXPORT void vok_error_dosym(void *x, symbol *text, long argc, atom *argv);
VOKRA_EXPORT void vok_post_dosym(void *x, symbol *text, long argc, atom *argv);
/* The text behind the first mention of the class's name and its ": ", else the text. */
VOKRA_EXPORT const char *post_class_stroffset(symbol *classname, const char *text);
/* A line to the host's console; eight words (no doubles) as with vok_object_method. */
VOKRA_EXPORT void vok_cpost(const char *format, ...);
VOKRA_EXPORT vok_err vok_err_from_zan_err(long number);

/* ---- the kernel object, behind the receivers `vok` and `vokra` ---- */

VOKRA_EXPORT vok_err vok_kernel_init(void);
VOKRA_EXPORT void *vok_kernel_new(void);
VOKRA_EXPORT void vok_kernel_free(void *x);

VOKRA_END_C
#endif
