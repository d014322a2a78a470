/* Matrix operators. A class says that it turns matrices into matrices by carrying an
 * adornment of class vok_mop, which describes its inputs and outputs (vok_mop_io),
 * and by a private method matrix_calc (x, inputs, outputs) that returns 0 or an
 * error code. Records belong to the thread that drives the box. */
#ifndef VOKRA_MOP_H
#define VOKRA_MOP_H

#include <vokra/matrix_info.h>

VOKRA_BEGIN_C

enum { VOK_MOP_MAX_TYPES = 16 };

typedef struct vok_mop_io vok_mop_io;
typedef struct vok_mop vok_mop;

/* How data comes into an input or output: called with the operator, its record and
 * the incoming matrix; the result is ignored. Null resamples by frommatrix. */
typedef vok_err (*vok_mop_ioproc)(vok_mop *mop, vok_mop_io *io, void *matrix);

/* One input or output. Unknown messages go to the attached matrix. */
struct vok_mop_io {
    object header;
    void *special;      /* the wrapper's; on an output its outlet */
    symbol *ioname;     /* in, in2, ... out, out2, ... */
    symbol *matrixname; /* name of the attached matrix */
    void *matrix;       /* the attached matrix, not owned */
    symbol *types[16];  /* allowed cell types, the preferred one first */
    long mindim[32];    /* smallest extent per dimension; 0 no limit */
    long maxdim[32];    /* largest extent per dimension; 0 no limit */
    long typescount;    /* entries of types in use */
    long mindimcount;   /* 0 no limit; also the count of the attribute mindim */
    long maxdimcount;   /* 0 no limit; also the count of the attribute maxdim */
    long minplanecount;
    long maxplanecount;
    char typelink;  /* follow the type of the first input */
    char dimlink;   /* follow its dimensions */
    char planelink; /* follow its plane count */
    vok_mop_ioproc ioproc;
};

struct vok_mop {
    object header;
    void *special;   /* the wrapper's replacement for matrix_calc */
    long inputcount; /* negative: a variable number */
    long outputcount;
    void *inputlist; /* vok_linklist of vok_mop_io, owned */
    void *outputlist;
    char caninplace; /* an output may equal an input */
    char adapt;      /* outputs and right inputs take the first input's format */
    char outputmode; /* 0 none, 1 calculate, 2 pass the input, 3 output as it stands */
};

/* Start-up: both classes. */
VOKRA_EXPORT vok_err vok_mop_init(void);

/* An operator with records for its inputs and outputs; null when memory is out. */
VOKRA_EXPORT vok_mop *vok_mop_new(long inputcount, long outputcount);
VOKRA_EXPORT void vok_mop_free(vok_mop *mop);
/* A deep copy; a variable count copies no record. */
VOKRA_EXPORT vok_mop *vok_mop_newcopy(vok_mop *mop);
/* Sends x matrix_calc with both lists and gives its result. */
VOKRA_EXPORT vok_err vok_mop_matrix_calc(vok_mop *mop, void *x);
/* Counted from 1; null outside. */
VOKRA_EXPORT void *vok_mop_getinput(vok_mop *mop, long index);
VOKRA_EXPORT void *vok_mop_getoutput(vok_mop *mop, long index);
VOKRA_EXPORT void *vok_mop_getinputlist(vok_mop *mop);
VOKRA_EXPORT void *vok_mop_getoutputlist(vok_mop *mop);
VOKRA_EXPORT vok_err vok_mop_special(vok_mop *mop, void *special);
VOKRA_EXPORT void *vok_mop_getspecial(vok_mop *mop);
/* Append `count` records; 0, INVP or OMEM (the count stays raised then). A fixed
 * list numbers new records from its new total plus 1, a variable one from 1. */
VOKRA_EXPORT vok_err vok_mop_addinputs(vok_mop *mop, long count);
VOKRA_EXPORT vok_err vok_mop_addoutputs(vok_mop *mop, long count);
/* Delete the last record and lower the count. */
VOKRA_EXPORT vok_err vok_mop_input_deletetail(vok_mop *mop);
VOKRA_EXPORT vok_err vok_mop_output_deletetail(vok_mop *mop);
/* Allow one type, or one plane count, in every input and output. */
VOKRA_EXPORT vok_err vok_mop_single_type(vok_mop *mop, symbol *type);
VOKRA_EXPORT vok_err vok_mop_single_planecount(vok_mop *mop, long count);
/* A message with up to eight words to each input, then each output; the last result. */
VOKRA_EXPORT zan_word vok_mop_methodall(vok_mop *mop, symbol *message, ...);
/* Cut all three links of a record, counted from 1. */
VOKRA_EXPORT vok_err vok_mop_input_nolink(vok_mop *mop, long index);
VOKRA_EXPORT vok_err vok_mop_output_nolink(vok_mop *mop, long index);

VOKRA_EXPORT vok_mop_io *vok_mop_io_new(void);
VOKRA_EXPORT void vok_mop_io_free(vok_mop_io *io);
VOKRA_EXPORT vok_mop_io *vok_mop_io_newcopy(vok_mop_io *io);
/* Correct an info to what the record allows: 0 when it was right, EROR when it was
 * corrected (no failure), INVP for a null pointer. */
VOKRA_EXPORT vok_err vok_mop_io_restrict_type(vok_mop_io *io, vok_matrix_info *info);
VOKRA_EXPORT vok_err vok_mop_io_restrict_planecount(vok_mop_io *io, vok_matrix_info *info);
VOKRA_EXPORT vok_err vok_mop_io_restrict_dim(vok_mop_io *io, vok_matrix_info *info);
VOKRA_EXPORT vok_err vok_mop_io_special(vok_mop_io *io, void *special);
VOKRA_EXPORT void *vok_mop_io_getspecial(vok_mop_io *io);
VOKRA_EXPORT void *vok_mop_io_decorator(vok_mop_io *io);
VOKRA_EXPORT vok_err vok_mop_io_matrix(vok_mop_io *io, void *matrix);
VOKRA_EXPORT void *vok_mop_io_getmatrix(vok_mop_io *io);
VOKRA_EXPORT vok_err vok_mop_io_ioproc(vok_mop_io *io, vok_mop_ioproc ioproc);
VOKRA_EXPORT vok_mop_ioproc vok_mop_io_getioproc(vok_mop_io *io);

/* The library's ioprocs. With no matrix on either side they do nothing. */
VOKRA_EXPORT vok_err vok_mop_ioproc_copy_adapt(vok_mop *mop, vok_mop_io *io, void *matrix);
VOKRA_EXPORT vok_err vok_mop_ioproc_copy_trunc(vok_mop *mop, vok_mop_io *io, void *matrix);
VOKRA_EXPORT vok_err vok_mop_ioproc_copy_trunc_zero(vok_mop *mop, vok_mop_io *io, void *matrix);
/* resamp, adapt, trunc, trunc_zero or custom. */
VOKRA_EXPORT symbol *vok_mop_ioproc_tosym(vok_mop_ioproc ioproc);

VOKRA_END_C
#endif
