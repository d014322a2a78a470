/* The matrix as a patch or a script holds it: one object round one matrix, with a stable
 * name, files, and every message and attribute of the matrix and of the cell operators.
 * Main thread but for the messages that the matrix itself takes elsewhere. */
#ifndef VOKRA_MATRIX_WRAPPER_H
#define VOKRA_MATRIX_WRAPPER_H

#include <vokra/matrix_info.h>

VOKRA_BEGIN_C

/* Registered in the namespace vokra. Owns one reference to its matrix, and stands empty
 * when somebody frees the matrix: messages do nothing then. */
typedef struct vok_matrix_wrapper {
    object ob;
    void *obex;
    symbol *name;  /* under which the matrix is registered */
    void *matrix;  /* the vok_matrix, or null */
    char adapt;    /* frommatrix and movies bring their format along */
    char reserved; /* 1 */
    char interp;   /* frommatrix interpolates */
    char usesrcdim;
    char usedstdim;
    vok_matrix_conv_info conv; /* of frommatrix; its flags come from the three above */
    short path;                /* the box's folder: searched, and written to */
    long unused[2];
} vok_matrix_wrapper;

VOKRA_EXPORT vok_err vok_matrix_wrapper_init(void);
/* [name] [planecount] [type] [dim ...]. A name that a matrix has already shares that
 * matrix, and a format changes it; a format also makes adapt 0. Null, reported, when no
 * matrix can be had under the name. */
VOKRA_EXPORT vok_matrix_wrapper *vok_matrix_wrapper_new(symbol *selector, long argc, atom *argv);
VOKRA_EXPORT void vok_matrix_wrapper_free(vok_matrix_wrapper *x);
/* Gives a class the attributes and messages of vok_matrix and of the cell operators. */
VOKRA_EXPORT void vok_matrix_wrapper_wrapit(zan_class *c);
VOKRA_EXPORT void *vok_matrix_wrapper_getmatrix(vok_matrix_wrapper *x);
VOKRA_EXPORT vok_err vok_matrix_wrapper_name(vok_matrix_wrapper *x, void *attr, long argc, atom *argv);
VOKRA_EXPORT void vok_matrix_wrapper_notify(vok_matrix_wrapper *x, symbol *name, symbol *msg, void *sender,
                                            void *data);

/* What stands behind the wrapped attributes, methods and operators: -1 without a matrix,
 * 0 for operators. Wrappers among the atoms are replaced by their matrices; at most 256
 * atoms travel. */
VOKRA_EXPORT vok_err vok_matrix_wrapper_attrwrap_get(vok_matrix_wrapper *x, void *attr, long *argc, atom **argv);
VOKRA_EXPORT vok_err vok_matrix_wrapper_attrwrap_set(vok_matrix_wrapper *x, void *attr, long argc, atom *argv);
VOKRA_EXPORT zan_word vok_matrix_wrapper_methodwrap(vok_matrix_wrapper *x, symbol *selector, long argc, atom *argv,
                                                    atom *result);
VOKRA_EXPORT zan_word vok_matrix_wrapper_opwrap(vok_matrix_wrapper *x, symbol *selector, long argc, atom *argv,
                                                atom *result);

/* From a wrapper object or the name of a matrix; anything else is left alone. */
VOKRA_EXPORT vok_err vok_matrix_wrapper_frommatrix(vok_matrix_wrapper *x, symbol *selector, long argc, atom *argv,
                                                   atom *result);

/* Files. `result` (may be null) receives an atomarray, the caller's to free: the file's
 * name, "<none>" if there is none, and 1 done, 0 nothing done, -1 failed (read and
 * write). Without a name read and write ask by dialog. Read searches; write makes the
 * file in the wrapper's folder. import_movie also takes a time to go to, and its own value
 * is the code of the movie's calculation. */
VOKRA_EXPORT vok_err vok_matrix_wrapper_read(vok_matrix_wrapper *x, symbol *selector, long argc, atom *argv,
                                             atom *result);
VOKRA_EXPORT vok_err vok_matrix_wrapper_write(vok_matrix_wrapper *x, symbol *selector, long argc, atom *argv,
                                              atom *result);
VOKRA_EXPORT vok_err vok_matrix_wrapper_import_movie(vok_matrix_wrapper *x, symbol *selector, long argc,
                                                     atom *argv, atom *result);
VOKRA_EXPORT vok_err vok_matrix_wrapper_export_movie(vok_matrix_wrapper *x, symbol *selector, long argc,
                                                     atom *argv, atom *result);
VOKRA_EXPORT vok_err vok_matrix_wrapper_exportimage(vok_matrix_wrapper *x, symbol *selector, long argc, atom *argv,
                                                    atom *result);

VOKRA_END_C
#ifdef __cplusplus
static_assert(offsetof(vok_matrix_wrapper, name) == 40 && offsetof(vok_matrix_wrapper, adapt) == 56 &&
                  offsetof(vok_matrix_wrapper, conv) == 64,
              "the record of a wrapper");
#endif
#endif
