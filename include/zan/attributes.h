/* Attributes: named, typed properties of classes and objects. An attribute is an
 * object that answers getname, gettype, get, set, getmethod, setmethod,
 * getmethodtype, canget, canset, usercanget, usercanset, filterget, filterset,
 * object_clone. Any class of objects with these messages can serve. */
#ifndef ZAN_ATTRIBUTES_H
#define ZAN_ATTRIBUTES_H
#include <zan/base.h>
#ifdef __cplusplus
extern "C" {
#endif

/* The host's own attributes. get is (object, attr, &argc, &argv), set is
 * (object, attr, argc, argv); null means the default, which keeps the value in
 * the attribute (or at the offset in the object). Types: char, long, float32,
 * float64, symbol, object, pointer, atom, and atom_long as another word for long. */
ZAN_EXPORT void *attribute_new(const char *name, symbol *type, long flags, zan_method get_fn, zan_method set_fn);
ZAN_EXPORT void *attr_offset_new(const char *name, symbol *type, long flags, zan_method get_fn, zan_method set_fn,
                                 long offset);
ZAN_EXPORT void *attr_offset_array_new(const char *name, symbol *type, long size, long flags, zan_method get_fn,
                                       zan_method set_fn, long offsetcount, long offset);

/* Attributes of one object alone (attributes are objects too). */
ZAN_EXPORT long object_addattr(void *x, void *attr);
ZAN_EXPORT long object_addattr_parse(void *x, const char *attrname, symbol *type, long flags, const char *text);
ZAN_EXPORT long object_deleteattr(void *x, symbol *name);
/* An attribute for the attribute `attrname` of x, from text. */
ZAN_EXPORT long object_attr_addattr_parse(void *x, const char *attrname, const char *attrattrname, symbol *type,
                                          long flags, const char *text);

/* The attribute object: x's own first, then its class's, or null. */
ZAN_EXPORT void *object_attr_get(void *x, symbol *name);
/* All names, own and of the class, in order of their adding; the caller frees
 * *names with sysmem_freeptr. */
ZAN_EXPORT long object_attr_getnames(void *x, long *count, symbol ***names);
/* Values as atoms: an array of the caller's (both set) or a new one, freed by the
 * caller with sysmem_freeptr. Host error number, or the getter's code. */
ZAN_EXPORT long object_attr_getvalueof(void *x, symbol *name, long *argc, atom **argv);
ZAN_EXPORT long object_attr_setvalueof(void *x, symbol *name, long argc, atom *argv);
/* The value of an attribute of an attribute. */
ZAN_EXPORT long object_attr_attr_getvalueof(void *x, symbol *attrname, symbol *attrattrname, long *argc,
                                            atom **argv);
/* An object's value as a whole, by its message getvalueof (argc, argv pointers). */
ZAN_EXPORT long object_getvalueof(void *x, long *argc, atom **argv);
ZAN_EXPORT long object_attr_usercanget(void *x, symbol *name);
ZAN_EXPORT long object_attr_usercanset(void *x, symbol *name);
/* Marks as changed (flag 0x20000000) and notifies attr_modified. */
ZAN_EXPORT long object_attr_touch(void *x, symbol *name);
/* The same for every name in blank-separated text. */
ZAN_EXPORT long object_attr_touch_parse(void *x, const char *names);
/* Gives a method object the attributes of a table. */
ZAN_EXPORT long object_attrhash_apply(void *method_object, void *hashtab);

/* Single values by name, converted; a missing attribute gives 0, null or the
 * empty symbol, and zan_err_generic from a setter. */
ZAN_EXPORT zan_word object_attr_getlong(void *x, symbol *name);
ZAN_EXPORT double object_attr_getfloat(void *x, symbol *name);
ZAN_EXPORT symbol *object_attr_getsym(void *x, symbol *name);
ZAN_EXPORT void *object_attr_getobj(void *x, symbol *name);
ZAN_EXPORT unsigned char object_attr_getchar(void *x, symbol *name);
ZAN_EXPORT long object_attr_setlong(void *x, symbol *name, zan_word value);
ZAN_EXPORT long object_attr_setfloat(void *x, symbol *name, double value);
ZAN_EXPORT long object_attr_setsym(void *x, symbol *name, symbol *value);
/* Arrays: the count stored, at most `max`. */
ZAN_EXPORT long object_attr_getlong_array(void *x, symbol *name, long max, zan_word *values);
ZAN_EXPORT long object_attr_getfloat_array(void *x, symbol *name, long max, float *values);
ZAN_EXPORT long object_attr_getdouble_array(void *x, symbol *name, long max, double *values);
ZAN_EXPORT long object_attr_getchar_array(void *x, symbol *name, long max, unsigned char *values);
ZAN_EXPORT long object_attr_getsym_array(void *x, symbol *name, long max, symbol **values);
ZAN_EXPORT long object_attr_setlong_array(void *x, symbol *name, long count, const zan_word *values);
ZAN_EXPORT long object_attr_setfloat_array(void *x, symbol *name, long count, const float *values);
ZAN_EXPORT long object_attr_setdouble_array(void *x, symbol *name, long count, const double *values);
ZAN_EXPORT long object_attr_setchar_array(void *x, symbol *name, long count, const unsigned char *values);
ZAN_EXPORT long object_attr_setsym_array(void *x, symbol *name, long count, symbol *const *values);

/* The number of atoms ahead of the first symbol that begins with "@". */
ZAN_EXPORT long attr_args_offset(long argc, const atom *argv);

#ifdef __cplusplus
}
#endif
#endif
