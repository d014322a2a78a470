/* The library's attribute classes, the filters between a user and the stored value, and
 * calls that read and write attributes of any object by name. An attribute belongs to
 * its class (or, with vok_object_addattr, to one object) and lives as long. Nothing here
 * locks; on which thread a get or set runs is decided by the attribute's flags. */
#ifndef VOKRA_ATTRIBUTES_H
#define VOKRA_ATTRIBUTES_H

#include <vokra/base.h>

VOKRA_BEGIN_C

/* ---- attribute objects; all three records begin alike ---- */

typedef struct vok_attribute {
    object header;
    symbol *name;
    symbol *type;    /* char, long, float32, float64, symbol, object, pointer or atom */
    long flags;      /* vok_attrflag_... */
    zan_method get;  /* (object, attr, &argc, &argv) */
    zan_method set;  /* (object, attr, argc, argv) */
    void *filterget; /* applied after a get, or null; owned */
    void *filterset; /* applied before a set, or null; owned */
    zan_word reserved;
    void *data; /* the value's array, owned */
    long size;  /* elements in data */
} vok_attribute;

typedef struct vok_attr_offset {
    object header;
    symbol *name;
    symbol *type;
    long flags;
    zan_method get;
    zan_method set;
    void *filterget;
    void *filterset;
    zan_word reserved;
    long offset; /* of the value in its object, in bytes */
} vok_attr_offset;

typedef struct vok_attr_offset_array {
    object header;
    symbol *name;
    symbol *type;
    long flags;
    zan_method get;
    zan_method set;
    void *filterget;
    void *filterset;
    zan_word reserved;
    long offset;      /* of the first element */
    long size;        /* elements there is room for */
    long offsetcount; /* of the long that counts the elements in use; 0: always `size` */
} vok_attr_offset_array;

/* Elements take 1 byte (char), 8 (long, float64, symbol, object, pointer), 4 (float32)
 * or 16 (atom). A null get or set is the class's own. Null when memory is out. Made as a
 * rule with vok_object_new and the class's name, and the same arguments. */
VOKRA_EXPORT void *vok_attribute_new(const char *name, symbol *type, long flags, zan_method get, zan_method set);
VOKRA_EXPORT void *vok_attr_offset_new(const char *name, symbol *type, long flags, zan_method get, zan_method set,
                                       long offset);
VOKRA_EXPORT void *vok_attr_offset_array_new(const char *name, symbol *type, long size, long flags, zan_method get,
                                             zan_method set, long offsetcount, long offset);
VOKRA_EXPORT void vok_attribute_free(void *attr);
VOKRA_EXPORT void vok_attr_offset_free(void *attr);
/* Bytes of an element; 0, with a post, for an unknown type. */
VOKRA_EXPORT long vok_attribute_sizeof(symbol *type);

VOKRA_EXPORT vok_err vok_attr_init(void);
/* Gives a class of attributes the messages that all of them have. */
VOKRA_EXPORT void vok_attr_setup_class(zan_class *c);

/* The default functions. A getter called with *argc and *argv set fills the caller's
 * array of *argc atoms and cuts the count to what fits; else it allocates, and the
 * caller frees with sysmem_freeptr. OMEM, with *argc 0. A set takes what fits: the one
 * value of an offset attribute (INVP without), at most `size` of an array, where a fixed
 * count fills up with zeros. Values are converted to the attribute's type. */
VOKRA_EXPORT vok_err vok_attribute_method_get(void *x, void *attr, long *argc, atom **argv);
VOKRA_EXPORT vok_err vok_attribute_method_set(void *x, void *attr, long argc, atom *argv);
VOKRA_EXPORT vok_err vok_attr_offset_get(void *x, void *attr, long *argc, atom **argv);
VOKRA_EXPORT vok_err vok_attr_offset_set(void *x, void *attr, long argc, atom *argv);
VOKRA_EXPORT vok_err vok_attr_offset_array_get(void *x, void *attr, long *argc, atom **argv);
VOKRA_EXPORT vok_err vok_attr_offset_array_set(void *x, void *attr, long argc, atom *argv);

/* The attribute's own get or set with its filter round it: what getmethod gives when
 * there is a filter. At most 256 atoms of a set reach the filter. INVP for no attribute. */
VOKRA_EXPORT vok_err vok_attr_filterget_wrap(void *x, void *attr, long *argc, atom **argv);
VOKRA_EXPORT vok_err vok_attr_filterset_wrap(void *x, void *attr, long argc, atom *argv);

/* ---- filters ---- */

/* Clip: value * scale (when scaled), then not below min, then not above max. The plain
 * scaled form adds a get filter of 1 / scale, so that users read what they wrote. A proc
 * is called with (object, attr, argc, argv) and changes the atoms in place. EROR for a
 * null attribute. */
VOKRA_EXPORT vok_err vok_attr_addfilterset_clip(void *attr, double min, double max, long usemin, long usemax);
VOKRA_EXPORT vok_err vok_attr_addfilterget_clip(void *attr, double min, double max, long usemin, long usemax);
VOKRA_EXPORT vok_err vok_attr_addfilterset_clip_scale(void *attr, double scale, double min, double max,
                                                      long usemin, long usemax);
VOKRA_EXPORT vok_err vok_attr_addfilterget_clip_scale(void *attr, double scale, double min, double max,
                                                      long usemin, long usemax);
VOKRA_EXPORT vok_err vok_attr_addfilter_clip(void *attr, double min, double max, long usemin, long usemax);
VOKRA_EXPORT vok_err vok_attr_addfilter_clip_scale(void *attr, double scale, double min, double max, long usemin,
                                                   long usemax);
VOKRA_EXPORT vok_err vok_attr_addfilterset_proc(void *attr, zan_method proc);
VOKRA_EXPORT vok_err vok_attr_addfilterget_proc(void *attr, zan_method proc);

/* ---- attributes of any object, by name ---- */

/* One pair of value calls and one of array calls a type. A getter gives 0 (or the empty
 * symbol) for what isn't there, an array getter the count that it stored, at most `max`.
 * A setter gives 0 or a code, and has the object's box told of the change. An object
 * with no such attribute is sent the messages "get<name>" and "<name>" instead; the
 * twins ending in _old take that road at once (arrays of at most 256 values). */
#define VOK_ATTR_VALUE_TYPES(X) X(long, zan_word) X(float, double) X(sym, symbol *)
#define VOK_ATTR_ARRAY_TYPES(X)                                                                                   \
    X(long, zan_word) X(char, unsigned char) X(float, float) X(double, double) X(sym, symbol *)

#define VOK_DECLARE_VALUE(tail, T)                                                                                \
    VOKRA_EXPORT T vok_attr_get##tail(void *x, symbol *name);                                                     \
    VOKRA_EXPORT T vok_attr_get##tail##_old(void *x, symbol *name);                                               \
    VOKRA_EXPORT vok_err vok_attr_set##tail(void *x, symbol *name, T value);                                      \
    VOKRA_EXPORT vok_err vok_attr_set##tail##_old(void *x, symbol *name, T value);
#define VOK_DECLARE_ARRAY(tail, T)                                                                                \
    VOKRA_EXPORT long vok_attr_get##tail##_array(void *x, symbol *name, long max, T *values);                     \
    VOKRA_EXPORT long vok_attr_get##tail##_array_old(void *x, symbol *name, long max, T *values);                 \
    VOKRA_EXPORT vok_err vok_attr_set##tail##_array(void *x, symbol *name, long count, T const *values);          \
    VOKRA_EXPORT vok_err vok_attr_set##tail##_array_old(void *x, symbol *name, long count, T const *values);
VOK_ATTR_VALUE_TYPES(VOK_DECLARE_VALUE)
VOK_ATTR_ARRAY_TYPES(VOK_DECLARE_ARRAY)
#undef VOK_DECLARE_VALUE
#undef VOK_DECLARE_ARRAY

/* Attributes of one object alone; its wrapper is told (attr_added, attr_deleted). */
VOKRA_EXPORT vok_err vok_object_addattr(void *x, void *attr);
VOKRA_EXPORT vok_err vok_object_deleteattr(void *x, symbol *name);
/* Tell the object's wrapper, if it has one, that values changed. Else 0. */
VOKRA_EXPORT long vok_attr_user_touch(void *x, symbol *name);
VOKRA_EXPORT long vok_attr_user_touch_parse(void *x, const char *names);
/* Sets as a user would: on the wrapper if there is one. */
VOKRA_EXPORT long vok_attr_user_setvalueof(void *x, symbol *name, long argc, atom *argv);
/* The wrapper if there is one, else x. */
VOKRA_EXPORT void *vok_object_gettopmost(void *x);
/* Clear the mark of change of one or of all attributes. */
VOKRA_EXPORT vok_err vok_attr_clean(void *x, symbol *name);
VOKRA_EXPORT vok_err vok_attr_cleanall(void *x);

/* ---- atoms, as the host's calls of the same tails ---- */

VOKRA_EXPORT zan_word vok_atom_getlong(const atom *a);
VOKRA_EXPORT double vok_atom_getfloat(const atom *a);
/* The empty symbol for what isn't one. */
VOKRA_EXPORT symbol *vok_atom_getsym(const atom *a);
VOKRA_EXPORT void *vok_atom_getobj(const atom *a);
VOKRA_EXPORT long vok_atom_getcharfix(const atom *a);
VOKRA_EXPORT long vok_atom_setlong(atom *a, zan_word value);
VOKRA_EXPORT long vok_atom_setfloat(atom *a, double value);
VOKRA_EXPORT long vok_atom_setsym(atom *a, const symbol *value);
VOKRA_EXPORT long vok_atom_setobj(atom *a, void *value);
/* *dst is left alone when there is no argument `index`. */
VOKRA_EXPORT long vok_atom_arg_getlong(zan_word *dst, long index, long argc, const atom *argv);
VOKRA_EXPORT long vok_atom_arg_getfloat(float *dst, long index, long argc, const atom *argv);
VOKRA_EXPORT long vok_atom_arg_getdouble(double *dst, long index, long argc, const atom *argv);
VOKRA_EXPORT long vok_atom_arg_getsym(symbol **dst, long index, long argc, const atom *argv);

VOKRA_END_C
#ifdef __cplusplus
static_assert(offsetof(vok_attribute, data) == offsetof(vok_attr_offset, offset), "the records begin alike");
static_assert(offsetof(vok_attr_offset_array, offset) == offsetof(vok_attr_offset, offset),
              "the records begin alike");
#endif
#endif
