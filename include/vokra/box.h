/* Boxes: how a library object appears in a patch. A box is a host object with inlets and
 * outlets that keeps a pointer to its library object and passes messages on to it; a
 * small side record (zan_vok_obex) holds what belongs to the pairing. Any host object
 * may be handed to these calls: with one that is no box, or null, they do nothing, and
 * give null, 0 or EROR.
 *
 * A box class is made in three steps: class_new and zan_vok_class_obex_setup; a standard
 * wrap, which copies the public messages and attributes of the library class; whatever
 * it has of its own. A box's constructor calls zan_vok_obex_new, makes the library
 * object, binds it with zan_vok_obex_vokob_set and an outlet with
 * zan_vok_obex_dumpout_set, and ends with zan_vok_attr_args; its free function frees the
 * library object and then calls zan_vok_obex_free. Classes are set up, and boxes made
 * and freed, on the main thread; the rest may be called where messages run. */
#ifndef VOKRA_BOX_H
#define VOKRA_BOX_H

#include <vokra/base.h>

VOKRA_BEGIN_C

/* What a box class adds. Never freed. A box finds it by the private method
 * zan_vok_classex of its class, whose function is the address of this record. */
typedef struct zan_vok_classex {
    long oboffset;  /* bytes from a box's start to the word that points to its record */
    void *attrlist; /* linklist of the attributes that the box class declares, or null; owned */
    zan_word reserved;
} zan_vok_classex;

/* What a box has beside its own structure. Owns the lists, not the library object. */
typedef struct zan_vok_obex {
    void *vokob;         /* the library object */
    void *usurplist;     /* linklist of vok_usurp, or null when no method is merged */
    void *proxylist;     /* linklist of the extra inlets, the last (highest) one first, or null */
    long inletnumber;    /* filled by the proxies */
    void *dumpout;       /* the outlet for replies, or null */
    void *adornmentlist; /* vok_linklist, such as the box's vok_mop, or null */
    void *box;           /* what the symbol "#B" named when the box was made */
} zan_vok_obex;

/* One merged method of a box: calls from the scheduler that come before it has run on
 * the main thread become one, with the last one's atoms. */
typedef struct vok_usurp {
    object header;
    void *owner;   /* the box */
    zan_method fn; /* (target, name, argc, argv) */
    symbol *name;  /* the public message */
    long flags;    /* vok_usurp_... */
    void *qelem;   /* owned */
    long argc;     /* atoms of the call that waits */
    atom *argv;    /* room for them, kept for the next call; owned */
    long room;     /* atoms that argv has room for */
} vok_usurp;

enum {
    vok_usurp_low_priority = 1, /* behind the rest of the main thread's queue */
    vok_usurp_of_box = 2        /* the method takes the box, not its library object */
};

/* Flags of a standard wrap. */
enum {
    zan_vok_wrap_reply_dumpout = 1, /* what an argtype_gimmeback method answers goes out of dumpout */
    zan_vok_wrap_no_inletinfo = 2   /* the class answers inletinfo itself */
};

/* ---- setting up a box class ---- */

/* Allocates the class's record and adds its private method: the first form to the class
 * in the making, which is not registered yet. Either brings the library up first.
 * `oboffset` names a pointer-sized word of the box's structure. Null when memory is out. */
VOKRA_EXPORT zan_vok_classex *zan_vok_classex_setup(long oboffset);
VOKRA_EXPORT zan_vok_classex *zan_vok_class_obex_setup(zan_class *c, long oboffset);

/* The box messages: the library class's public methods and attributes (none for a null
 * class), getattributes, getstate, summary, importattrs, exportattrs, exportsummary
 * (deferred), and private ones by which the host reaches the object's attributes. For the
 * class in the making, a class, or one box, where `o` is the library object. EROR for a
 * null class or box. */
VOKRA_EXPORT vok_err zan_vok_classex_standard_wrap(zan_vok_classex *classex, zan_class *vokclass, long flags);
VOKRA_EXPORT vok_err zan_vok_class_wrap_standard(zan_class *c, zan_class *vokclass, long flags);
VOKRA_EXPORT vok_err zan_vok_object_wrap_standard(void *x, void *o, long flags);

/* Their first part, the public methods and attributes, alone. What carries no tag of a
 * deferred or merged call runs on the caller's thread. */
VOKRA_EXPORT vok_err zan_vok_class_addmethods(zan_class *vokclass);
VOKRA_EXPORT vok_err zan_vok_class_wrap_addmethods(zan_class *c, zan_class *vokclass);
VOKRA_EXPORT vok_err zan_vok_object_wrap_addmethods(void *x, void *o);
VOKRA_EXPORT vok_err zan_vok_class_addmethods_flags(zan_class *vokclass, long flags);
VOKRA_EXPORT vok_err zan_vok_class_wrap_addmethods_flags(zan_class *c, zan_class *vokclass, long flags);
VOKRA_EXPORT vok_err zan_vok_object_wrap_addmethods_flags(void *x, void *o, long flags);
/* And of that the attributes alone: each becomes the messages "<name>" and "get<name>",
 * as far as users may set and get it, run as its flags say. */
VOKRA_EXPORT vok_err zan_vok_class_attrlist2methods(zan_class *vokclass);
VOKRA_EXPORT vok_err zan_vok_class_wrap_attrlist2methods(zan_class *c, zan_class *vokclass);
VOKRA_EXPORT vok_err zan_vok_object_wrap_attrlist2methods(void *x, void *o);

/* Library methods that a box has its own of; ended by null. */
VOKRA_EXPORT extern symbol *_zan_vok_ignorelist[4];

/* A method of the box itself, run deferred or merged: a public message and a private
 * one "<name>_defer", "<name>_usurp" or "<name>_usurp_low" with the function
 * (box, selector, argc, argv). */
VOKRA_EXPORT vok_err zan_addmethod_defer(zan_method fn, const char *name);
VOKRA_EXPORT vok_err zan_addmethod_defer_low(zan_method fn, const char *name);
VOKRA_EXPORT vok_err zan_addmethod_usurp(zan_method fn, const char *name);
VOKRA_EXPORT vok_err zan_addmethod_usurp_low(zan_method fn, const char *name);
VOKRA_EXPORT vok_err zan_vok_class_addmethod_defer(zan_class *c, zan_method fn, const char *name);
VOKRA_EXPORT vok_err zan_vok_class_addmethod_defer_low(zan_class *c, zan_method fn, const char *name);
VOKRA_EXPORT vok_err zan_vok_class_addmethod_usurp(zan_class *c, zan_method fn, const char *name);
VOKRA_EXPORT vok_err zan_vok_class_addmethod_usurp_low(zan_class *c, zan_method fn, const char *name);
VOKRA_EXPORT vok_err zan_vok_object_addmethod_defer(void *x, zan_method fn, const char *name);
VOKRA_EXPORT vok_err zan_vok_object_addmethod_defer_low(void *x, zan_method fn, const char *name);
VOKRA_EXPORT vok_err zan_vok_object_addmethod_usurp(void *x, zan_method fn, const char *name);
VOKRA_EXPORT vok_err zan_vok_object_addmethod_usurp_low(void *x, zan_method fn, const char *name);

/* An attribute of the box itself and its messages; its get and set take the box. The
 * class (of the record, or that was set up with zan_vok_class_obex_setup) owns it. A box
 * that adds one gets a list of its own, with the class's attributes and then this one. */
VOKRA_EXPORT vok_err zan_vok_classex_addattr(zan_vok_classex *classex, void *attr);
VOKRA_EXPORT vok_err zan_vok_class_addattr(zan_class *c, void *attr);
VOKRA_EXPORT vok_err zan_vok_object_addattr(void *x, void *attr);
/* Appends the attribute to the list with one more reference: for linklist_funall. */
VOKRA_EXPORT void zan_vok_object_attr_duplicateretain(void *attr, void *list);

/* ---- making and freeing a box ---- */

/* A zeroed box of the class with an empty record and the merged methods of the class
 * and of the library class `classname`; null when memory is out. The constructor of the
 * box class goes on from there. */
VOKRA_EXPORT void *zan_vok_obex_new(zan_class *c, symbol *classname);
VOKRA_EXPORT void *zan_vok_object_alloc(zan_class *c, symbol *classname);
/* The record for a box that is there already; `o` is the library object that it will
 * have (zan_vok_obex_vokob_set). EROR for what is no box. */
VOKRA_EXPORT vok_err zan_vok_object_wrap_complete(void *x, void *o);
/* Frees the record, its merged methods (calls that wait are lost), proxies and
 * adornments. The library object is the caller's, and goes first. */
VOKRA_EXPORT void zan_vok_obex_free(void *x);
VOKRA_EXPORT void zan_vok_object_free(void *x);

/* ---- the record; setters give 0, or EROR for what is no box ---- */

VOKRA_EXPORT zan_vok_classex *zan_vok_classex_get(void *x);
VOKRA_EXPORT zan_vok_obex *zan_vok_obex_get(void *x);
VOKRA_EXPORT vok_err zan_vok_obex_set(void *x, zan_vok_obex *record);
VOKRA_EXPORT void *zan_vok_obex_vokob_get(void *x);
/* Also makes the box the object's wrapper, to which it reports errors and changes. */
VOKRA_EXPORT vok_err zan_vok_obex_vokob_set(void *x, void *o);
VOKRA_EXPORT void *zan_vok_obex_usurplist_get(void *x);
VOKRA_EXPORT vok_err zan_vok_obex_usurplist_set(void *x, void *list);
VOKRA_EXPORT void *zan_vok_obex_proxylist_get(void *x);
VOKRA_EXPORT vok_err zan_vok_obex_proxylist_set(void *x, void *list);
/* The inlet of the message that this thread now handles, 0 the left one: the host's
 * answer, not the field. */
VOKRA_EXPORT long zan_vok_obex_inletnumber_get(void *x);
VOKRA_EXPORT vok_err zan_vok_obex_inletnumber_set(void *x, long inlet);
VOKRA_EXPORT void *zan_vok_obex_dumpout_get(void *x);
VOKRA_EXPORT vok_err zan_vok_obex_dumpout_set(void *x, void *outlet);
VOKRA_EXPORT void *zan_vok_obex_adornmentlist_get(void *x);
VOKRA_EXPORT vok_err zan_vok_obex_adornmentlist_set(void *x, void *list);
VOKRA_EXPORT void *zan_vok_obex_box_get(void *x);
VOKRA_EXPORT vok_err zan_vok_obex_box_set(void *x, void *box);

/* Extra inlets, numbered from 1. `new` for boxes in the making, which make them from
 * right to left; `append` and `deletetail` work at the right end of a live box. OMEM;
 * EROR also when there is none to delete. */
VOKRA_EXPORT vok_err zan_vok_obex_proxy_new(void *x, long id);
VOKRA_EXPORT vok_err zan_vok_obex_proxy_append(void *x, long id);
VOKRA_EXPORT vok_err zan_vok_obex_proxy_deletetail(void *x);
/* So many extra inlets; below 0 counts as 0. */
VOKRA_EXPORT vok_err zan_vok_obex_proxy_resize(void *x, long count);

/* The box owns the adornment. EROR for a null one. */
VOKRA_EXPORT vok_err zan_vok_obex_addadornment(void *x, void *adornment);
/* The first one of that class, or null. */
VOKRA_EXPORT void *zan_vok_obex_adornment_get(void *x, symbol *classname);

/* Sends name and atoms out of dumpout. Every wrapped box has it as a private message. */
VOKRA_EXPORT void zan_vok_obex_dumpout(void *x, symbol *name, long argc, atom *argv);

/* ---- messages of a box to its library object; the selector says which ---- */

/* At once; converted by the method's tags; through defer; through defer_low when in
 * the scheduler, else at once; merged. */
VOKRA_EXPORT zan_word zan_vok_gimme_method(void *x, symbol *selector, long argc, atom *argv);
VOKRA_EXPORT zan_word zan_vok_typed_method(void *x, symbol *selector, long argc, atom *argv);
VOKRA_EXPORT zan_word zan_vok_defer_method(void *x, symbol *selector, long argc, atom *argv);
VOKRA_EXPORT void zan_vok_defer_method_doit(void *x, symbol *selector, long argc, atom *argv);
VOKRA_EXPORT zan_word zan_vok_defer_low_method(void *x, symbol *selector, long argc, atom *argv);
VOKRA_EXPORT zan_word zan_vok_usurp_method(void *x, symbol *selector, long argc, atom *argv);
/* The same for the box's own private method "<selector>_defer". */
VOKRA_EXPORT zan_word zan_defer_method(void *x, symbol *selector, long argc, atom *argv);
VOKRA_EXPORT zan_word zan_defer_low_method(void *x, symbol *selector, long argc, atom *argv);
/* With an answer, which is dropped, or sent out of dumpout under the selector, without
 * a leading "get". */
VOKRA_EXPORT zan_word zan_vok_obex_gimmeback(void *x, symbol *selector, long argc, atom *argv);
VOKRA_EXPORT zan_word zan_vok_obex_gimmeback_dumpout(void *x, symbol *selector, long argc, atom *argv);

/* Non-zero while the library is told that it runs on the queue thread: then, as when
 * sched_isinpoll() is 0, merged and low calls run at once. Set gives the old state. */
VOKRA_EXPORT extern long _zan_vok_queuestate;
VOKRA_EXPORT long zan_vok_queuestate(long state);
VOKRA_EXPORT long zan_vok_getqueuestate(void);

/* Start-up: the class vok_usurp. */
VOKRA_EXPORT vok_err vok_zan_init(void);
VOKRA_EXPORT vok_usurp *vok_usurp_new(void *owner, zan_method fn, symbol *name, long flags);
VOKRA_EXPORT void vok_usurp_free(vok_usurp *usurp);
VOKRA_EXPORT void *vok_usurp_getowner(vok_usurp *usurp);
/* Keeps the atoms, in the place of those that wait, and has the method run: by the
 * qelem in the scheduler, elsewhere at once. Any thread. */
VOKRA_EXPORT vok_err vok_usurp_method(vok_usurp *usurp, symbol *selector, long argc, atom *argv);
/* Runs the method with the atoms that wait. */
VOKRA_EXPORT void zan_vok_usurp_qfn(void *usurp);
/* 1 when the merged method has that name: for linklist_findfirst. */
VOKRA_EXPORT long vok_usurp_symcompare(void *usurp, void *name);
/* A new list of the box's merged methods, of its class, its own and those of the
 * library class; null when it has none. */
VOKRA_EXPORT void *vok_usurplist_build(void *x, symbol *classname);
/* Part of it: for one method object of the box's own table. */
VOKRA_EXPORT void vok_usurplist_objectfn(void *method_object, void *build);

/* ---- attributes of a box ---- */

/* Of the library object. Set has the box told (attr_modified); get gives atoms that the
 * caller frees with sysmem_freeptr; getdump sends the value that "get<name>" asks for
 * out of dumpout. */
VOKRA_EXPORT vok_err zan_vok_attr_set(void *x, symbol *selector, long argc, atom *argv);
VOKRA_EXPORT vok_err zan_vok_attr_get(void *x, symbol *attrname, long *argc, atom **argv);
VOKRA_EXPORT vok_err zan_vok_attr_getdump(void *x, symbol *selector, long argc, atom *argv);
/* Of the box itself. Set gives what the setter gave, EROR for an unknown attribute, and
 * tells the box, and the patcher's box if that is another; method_direct tells nobody.
 * Get gives the getter's result, 0 (and no atoms) for an unknown one, EROR when the box
 * has none at all. */
VOKRA_EXPORT vok_err zan_vok_obex_attr_set(void *x, symbol *attrname, long argc, atom *argv);
VOKRA_EXPORT vok_err zan_vok_obex_attr_get(void *x, symbol *attrname, long *argc, atom **argv);
VOKRA_EXPORT vok_err zan_vok_obex_attr_getdump(void *x, symbol *selector, long argc, atom *argv);
VOKRA_EXPORT vok_err zan_vok_obex_attr_method_direct(void *x, symbol *attrname, long argc, atom *argv);
VOKRA_EXPORT long zan_vok_obex_attr_usercanset(void *x, symbol *attrname);
/* The list of them: the box's own, else its class's, else null. */
VOKRA_EXPORT void *zan_vok_obex_attrlist_get(void *x);
/* 1 when the attribute has that name: for linklist_findfirst. */
VOKRA_EXPORT long vok_attr_symcompare(void *attr, void *name);
/* Of both, the box's own first: all names, in a block that the caller frees with
 * sysmem_freeptr; the attribute; the object that holds it, or null. */
VOKRA_EXPORT vok_err zan_vok_obex_attr_getnames(void *x, long *count, symbol ***names);
VOKRA_EXPORT void *zan_vok_obex_attr_getobject(void *x, symbol *attrname);
VOKRA_EXPORT void *zan_vok_obex_attr_gettarget(void *x, symbol *attrname);

/* The attribute part of a box's arguments, "@name value ...", from left to right. An
 * unknown name is one error, and the rest goes on. The offset is that of the first "@". */
VOKRA_EXPORT vok_err zan_vok_attr_args(void *x, long argc, atom *argv);
VOKRA_EXPORT long zan_vok_attr_args_offset(long argc, const atom *argv);
/* attrindex name index value: one element (from 0) of an array attribute; what lies
 * between the old end and a new index becomes 0. OBND for an index below 0 or above
 * 65535; EROR for what neither is an attribute nor answers "get<name>". */
VOKRA_EXPORT vok_err zan_vok_attrindex(void *x, symbol *selector, long argc, atom *argv);
/* getattributes: one message `attributes` with all names out of dumpout, at most 256;
 * getstate: one message per attribute with its values. */
VOKRA_EXPORT vok_err zan_vok_object_attr_dump(void *x, symbol *selector, long argc, atom *argv);
VOKRA_EXPORT vok_err zan_vok_object_state_dump(void *x, symbol *selector, long argc, atom *argv);
/* A type's name among users: char and long are int, float32 and float64 are float. */
VOKRA_EXPORT symbol *vok2zantype(symbol *type);

/* ---- what a box can do ---- */

/* summary: one message per input, output, attribute and method out of dumpout, each
 * with `selector`. */
VOKRA_EXPORT vok_err zan_vok_object_summary(void *x, symbol *selector, long argc, atom *argv);
/* Rows for a menu: symbols with attributes and their values, then methods with their
 * arguments; `symbols` has room for 256, *count says how many there are. EROR for null. */
VOKRA_EXPORT vok_err zan_vok_object_quickref(void *x, long *count, symbol **symbols);
/* True if `a` doesn't sort behind `b`. */
VOKRA_EXPORT long quickref_symcompare(void *a, void *b);
/* 1 when the message sets or gets ("get<name>") an attribute of the box or its object. */
VOKRA_EXPORT long zan_vok_method_is_attr(void *x, symbol *name);
/* Marks of a method of the box's class; 0 when there is no such method. */
VOKRA_EXPORT long zan_vok_method_is_undocumented(void *x, symbol *name);
VOKRA_EXPORT long zan_vok_method_is_groupreference(void *x, symbol *name);

VOKRA_END_C
#ifdef __cplusplus
static_assert(sizeof(zan_vok_classex) == 24 && sizeof(zan_vok_obex) == 56, "the records of a box");
static_assert(offsetof(zan_vok_obex, inletnumber) == 24 && offsetof(zan_vok_obex, box) == 48,
              "the record of a box");
static_assert(offsetof(vok_usurp, owner) == 32 && offsetof(vok_usurp, qelem) == 64 &&
                  offsetof(vok_usurp, argv) == 80,
              "the record of a merged method");
#endif
#endif
