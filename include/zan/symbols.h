/* Symbols and atoms. Everything here may be called from any thread. */
#ifndef ZAN_SYMBOLS_H
#define ZAN_SYMBOLS_H
#include <zan/base.h>
#ifdef __cplusplus
extern "C" {
#endif

/* Interns `text` (null counts as ""): the same pointer for the same text for
 * the life of the process. Any thread, no lock on a known name. */
ZAN_EXPORT symbol *gensym(const char *text);
/* A new symbol that no other has, now or later. */
ZAN_EXPORT symbol *symbol_unique(void);
/* Sorts `count` symbols by the bytes of their names, in place. */
ZAN_EXPORT void symbolarray_sort(symbol **array, long count);

/* Fill an atom. 0, or zan_err_generic for a null atom. */
ZAN_EXPORT long atom_setlong(atom *a, zan_word value);
ZAN_EXPORT long atom_setfloat(atom *a, double value);
ZAN_EXPORT long atom_setsym(atom *a, const symbol *value);
ZAN_EXPORT long atom_setobj(atom *a, void *value);
/* Read an atom. Longs and floats convert into each other (toward zero, out of
 * range and NaN saturate to a fixed value); anything else gives 0 or null. */
ZAN_EXPORT zan_word atom_getlong(const atom *a);
ZAN_EXPORT double atom_getfloat(const atom *a);
ZAN_EXPORT symbol *atom_getsym(const atom *a);
ZAN_EXPORT void *atom_getobj(const atom *a);
/* An atom as the byte of a `char` cell: a long is limited to 0 to 255, a float
 * is taken on the scale of 0 to 1: limited to it and multiplied by 255. */
ZAN_EXPORT long atom_getcharfix(const atom *a);

/* Store argv[index] into *dst when index is below argc, else leave *dst alone.
 * 0 when it was stored, zan_err_generic otherwise (a non-symbol for _getsym too). */
ZAN_EXPORT long atom_arg_getlong(zan_word *dst, long index, long argc, const atom *argv);
ZAN_EXPORT long atom_arg_getfloat(float *dst, long index, long argc, const atom *argv);
ZAN_EXPORT long atom_arg_getdouble(double *dst, long index, long argc, const atom *argv);
ZAN_EXPORT long atom_arg_getsym(symbol **dst, long index, long argc, const atom *argv);

/* Sizes a result array: when *argc and *argv are both set the caller's array is
 * kept and *argc cut to what fits (*alloc 0), else `minsize` zeroed atoms are
 * allocated (*alloc 1), which the caller frees with sysmem_freeptr. */
ZAN_EXPORT long atom_alloc_array(long minsize, long *argc, atom **argv, char *alloc);

/* How atom_gettext writes. */
enum {
    zan_gettext_default = 0,
    zan_gettext_sym_no_quote = 1,    /* symbols as they are, with no quotes or escapes */
    zan_gettext_sym_force_quote = 2, /* every symbol in quotes */
    zan_gettext_comma_delim = 4,     /* ", " between atoms instead of " " */
    zan_gettext_truncate_zeros = 8   /* 1.500000 as 1.5 */
};
/* Atoms as one line of text that reads back as the same atoms. When *textsize
 * and *text are set, the text is cut to the caller's buffer, else *text is
 * allocated (sysmem_freeptr) and *textsize is its size with the NUL. */
ZAN_EXPORT long atom_gettext(long argc, const atom *argv, long *textsize, char **text, long flags);
/* The same with default flags into a buffer of `size` bytes; returns the length
 * that the whole text has. */
ZAN_EXPORT long atoms_totext(long argc, const atom *argv, char *buffer, long size);
/* Reads one atom out of text: `buffer` (of `size` bytes) receives the token's
 * text, *index is where reading goes on. Non-zero while an atom was read. Longs,
 * floats, symbols (quoted or with \ escapes), ; , $1 and symbols with a $. */
ZAN_EXPORT short readatom(char *buffer, const char *text, long *index, long size, atom *a);

/* An atom array object (class "atomarray", namespace nobox; made with
 * object_new_imp(nobox, atomarray, argc, argv), its copy of the atoms its own). */
ZAN_EXPORT long atomarray_getsize(void *x);
/* *argv points into the array and is valid until it changes. */
ZAN_EXPORT long atomarray_getatoms(void *x, long *argc, atom **argv);

/* The number of characters in UTF-8 text; *bytes, when given, its length. */
ZAN_EXPORT long charset_utf8_count(const char *text, long *bytes);
/* The place of the character `offset` characters on; *byteoffset, when given,
 * the distance in bytes. Stops at the end. */
ZAN_EXPORT const char *charset_utf8_offset(const char *text, long offset, long *byteoffset);

#ifdef __cplusplus
}
#endif
#endif
