/* Classes: a name, an instance size, tables of methods and attributes, adornments
 * and extra words. Classes may be changed after objects of them exist; the
 * objects see it. Set-up calls belong to one thread at a time; look-ups are free. */
#ifndef ZAN_CLASSES_H
#define ZAN_CLASSES_H
#include <zan/base.h>
#ifdef __cplusplus
extern "C" {
#endif

/* Creates a class. `size` is that of the instance record, header included.
 * The type list (up to 15 argtype words, ended by 0) is the constructor's:
 * argtype_gimme gives new_fn(classname, argc, argv), argtype_cant up to eight
 * words as they come, typed lists one converted argument a tag. `menu_fn` is
 * kept and unused. The newest class is "the class in the making" (addmess), until its
 * registration gives way to an older one of this thread that isn't registered yet: a
 * class may be half made when its module brings up a library with classes of its own. */
ZAN_EXPORT zan_class *class_new(const char *name, zan_method new_fn, zan_method free_fn, long size,
                                zan_method menu_fn, ...);
/* Makes the class findable under its name; host error number. */
ZAN_EXPORT long class_register(symbol *name_space, zan_class *c);
/* Namespace "box" also answers to newinstance and to patches. Null when unknown. */
ZAN_EXPORT zan_class *class_findbyname(symbol *name_space, symbol *classname);
ZAN_EXPORT long class_free(zan_class *c);
/* Registers a copy of a class (methods, attributes, adornments, extra words)
 * under another name; the copy, or null. */
ZAN_EXPORT zan_class *class_copy(symbol *src_space, symbol *src_name, symbol *dst_space, symbol *dst_name);
ZAN_EXPORT symbol *class_nameget(zan_class *c);
/* The flags word of a class, for whoever keeps marks there. */
ZAN_EXPORT long class_flagsget(zan_class *c);
ZAN_EXPORT void class_flagsset(zan_class *c, long flags);

/* Adds a method, or replaces the function of one that exists. Up to 15 tags
 * ended by 0. Host error number. */
ZAN_EXPORT long class_addmethod(zan_class *c, zan_method fn, const char *name, ...);
/* The function of a method, or null. */
ZAN_EXPORT zan_method class_method(zan_class *c, symbol *name);
/* The method table entry of a method, or null. */
ZAN_EXPORT zan_messlist *class_mess(zan_class *c, symbol *name);

ZAN_EXPORT long class_addattr(zan_class *c, void *attr);
ZAN_EXPORT void *class_attr_get(zan_class *c, symbol *name);
/* Sends `methodname` to the attribute that the method name belongs to ("foo" or
 * "getfoo"): the attribute's function for it, its address stored in *attr. */
ZAN_EXPORT zan_method class_attr_method(zan_class *c, symbol *methodname, void **attr, zan_word *get);
/* Gives the attribute `attrname` an attribute of its own from text. */
ZAN_EXPORT long class_attr_addattr_parse(zan_class *c, const char *attrname, const char *attrattrname,
                                         symbol *type, long flags, const char *text);

/* An adornment is any object; it belongs to the class from then on and is found
 * by its class's name. */
ZAN_EXPORT long class_addadornment(zan_class *c, void *adornment);
ZAN_EXPORT void *class_adornment_get(zan_class *c, symbol *classname);

/* The second method table, with atoms in and an atom out (argtype_gimme or
 * argtype_gimmeback); a wrapper named "new" serves object_new_typed and takes
 * (classname, argc, argv). */
ZAN_EXPORT long class_addtypedwrapper(zan_class *c, zan_method fn, const char *name, ...);
ZAN_EXPORT zan_method_object *class_typedwrapper_get(zan_class *c, symbol *name);

/* Words under symbol keys; "methods" is the host's: the table of method objects.
 * A lookup of an absent key gives null. */
ZAN_EXPORT void *class_extra_lookup(zan_class *c, symbol *key);
ZAN_EXPORT long class_extra_store(zan_class *c, symbol *key, void *value);
/* Names the byte offset in the instance of the word that points to its obex. */
ZAN_EXPORT void class_obexoffset_set(zan_class *c, long offset);

#ifdef __cplusplus
}
#endif
#endif
