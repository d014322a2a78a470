/* Cell operators: `vok_op`, a matrix operator that applies a named operator to every
 * cell, and the registry of operator words behind it.
 *
 * The words are made from one table; `vok_op_fn_help` says what each does. `char`
 * is unsigned, 0 to 255: add and sub saturate, products treat 256 as one, true is
 * 255. `long` is a signed 32-bit cell and wraps; true is 1. A division by zero gives
 * 0 and never traps. Where an operator means nothing for a type (a sine of `char`,
 * a bitwise operator on floats), the first input is copied to the output.
 *
 * Threads: the registry is written at start-up and by vok_op_fn_store, on one thread
 * at a time; vector functions and vok_op_calculate_ndim run on any thread. */
#ifndef VOKRA_OP_H
#define VOKRA_OP_H

#include <vokra/matrix_info.h>

VOKRA_BEGIN_C

/* One operand of a vector function. */
typedef struct vok_op_vector_arg {
    void *p;     /* the first element */
    long stride; /* distance to the next one in elements; 0 reuses the first for the whole run */
} vok_op_vector_arg;

/* Calculates a run of n elements (n below 1: nothing): out[i] = op(a[i], b[i]), in
 * rising order, each element read before the output's element of the same index is
 * written. Operands may overlap the output or be the output; the result is that of
 * the plain loop. `fns` is ignored. An operator with one input ignores `b`, which
 * may be null. Elements need no more alignment than their type. */
typedef void (*vok_op_vector_fn)(long n, void *fns, vok_op_vector_arg *a, vok_op_vector_arg *b,
                                 vok_op_vector_arg *out);

/* One operator word. An alias is a record of its own with the same functions. */
typedef struct vok_op_fn {
    object header;
    symbol *name;               /* the word */
    long inputcount;            /* 1 or 2 */
    vok_op_vector_fn charfn;    /* elements of 1 byte, unsigned */
    vok_op_vector_fn longfn;    /* 4 bytes, signed */
    vok_op_vector_fn float32fn; /* 4 bytes */
    vok_op_vector_fn float64fn; /* 8 bytes */
} vok_op_fn;

/* The matrix operator: two inputs, one output, private method "matrix_calc",
 * attribute "op". */
typedef struct vok_op {
    object header;
    long opcount;   /* entries of op in force, 1 at birth */
    symbol *op[32]; /* the operator of output plane p is op[p % opcount]; "pass" at birth */
} vok_op;

/* Makes both classes and the registry. Part of the start-up. Returns 0. */
VOKRA_EXPORT long vok_op_init(void);
/* Fills the registry; nothing when it is there already. */
VOKRA_EXPORT void vok_op_vector_init(void);

/* Null when memory is out. */
VOKRA_EXPORT vok_op *vok_op_new(void);
VOKRA_EXPORT void vok_op_free(vok_op *x);

/* Calculates. `inputs` and `outputs` are objects that answer getindex with matrices,
 * or with what stands for one. Types of all three must be equal; plane counts and
 * dimensions may differ: an input of size 1 along a dimension counts as infinite
 * there, a longer one is cut, and where one is shorter than the output the rest of
 * the output stays. An input with fewer planes than the output repeats them. A plane
 * with an unknown word stays as it is. 0, or VOK_ERR_INVP (a null object: nothing
 * was locked), INVI or INVO (no data), MSTP. */
VOKRA_EXPORT long vok_op_matrix_calc(vok_op *x, void *inputs, void *outputs);
/* The calculation on one worker: `fns` holds one vector function per output plane,
 * info 1 and 2 are the inputs, 3 the output. `dim` must have two entries at least;
 * with dimcount 1, 1 is written into dim[1]. Cells lie packed along dimension 0; an
 * operand with dim[0] below 2 is reused along it, all other strides are taken as
 * they stand. */
VOKRA_EXPORT void vok_op_calculate_ndim(vok_op_vector_fn *fns, long dimcount, long *dim, long planecount,
                                        vok_matrix_info *info1, unsigned char *data1, vok_matrix_info *info2,
                                        unsigned char *data2, vok_matrix_info *info3, unsigned char *data3);

/* A record whose four functions are vok_op_vector_ignore: fill in those that exist,
 * then store it. Null when memory is out. */
VOKRA_EXPORT vok_op_fn *vok_op_fn_object_new(symbol *name, long inputcount);
VOKRA_EXPORT void vok_op_fn_object_free(vok_op_fn *x);
/* Adds to the registry, which owns the record from then on. 0, or VOK_ERR_EROR when
 * the word is taken (nothing is stored) or an argument is null. */
VOKRA_EXPORT long vok_op_fn_store(symbol *name, vok_op_fn *fn);
/* The record of a word, or null. */
VOKRA_EXPORT vok_op_fn *vok_op_fn_lookup(symbol *name);
/* The vector function of a word for the type `char`, `long`, `float32` or `float64`;
 * vok_op_vector_ignore when either is unknown, never null. */
VOKRA_EXPORT vok_op_vector_fn vok_op_sym2fn(symbol *name, symbol *type);
/* What a built-in word does, in one sentence; null for any other word. */
VOKRA_EXPORT const char *vok_op_fn_help(symbol *name);

/* The vector function that does nothing. */
VOKRA_EXPORT void vok_op_vector_ignore(long n, void *fns, vok_op_vector_arg *a, vok_op_vector_arg *b,
                                       vok_op_vector_arg *out);
/* Copies of a run, the functions of the word "pass". */
VOKRA_EXPORT void vok_op_vector_pass_char(long n, void *fns, vok_op_vector_arg *a, vok_op_vector_arg *b,
                                          vok_op_vector_arg *out);
VOKRA_EXPORT void vok_op_vector_pass_long(long n, void *fns, vok_op_vector_arg *a, vok_op_vector_arg *b,
                                          vok_op_vector_arg *out);
VOKRA_EXPORT void vok_op_vector_pass_float32(long n, void *fns, vok_op_vector_arg *a, vok_op_vector_arg *b,
                                             vok_op_vector_arg *out);
VOKRA_EXPORT void vok_op_vector_pass_float64(long n, void *fns, vok_op_vector_arg *a, vok_op_vector_arg *b,
                                             vok_op_vector_arg *out);

/* Set by vok_op_init. */
VOKRA_EXPORT extern zan_class *_vok_op_class;
VOKRA_EXPORT extern zan_class *_vok_op_fn_class;
VOKRA_EXPORT extern void *_vok_op_fn_hashtab; /* a host hashtab from word to vok_op_fn */

VOKRA_END_C

#ifdef __cplusplus
static_assert(sizeof(vok_op_vector_arg) == 16, "layout");
static_assert(offsetof(vok_op_fn, name) == 32 && offsetof(vok_op_fn, inputcount) == 40, "layout");
static_assert(offsetof(vok_op_fn, charfn) == 48 && offsetof(vok_op_fn, float64fn) == 72, "layout");
static_assert(offsetof(vok_op, opcount) == 32 && offsetof(vok_op, op) == 40, "layout");
#endif
#endif
