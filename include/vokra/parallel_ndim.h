/* Calculations over matrices, run on the calling thread or split by rows among the
 * workers of the pool. */
#ifndef VOKRA_PARALLEL_NDIM_H
#define VOKRA_PARALLEL_NDIM_H

#include <vokra/matrix_info.h>

VOKRA_BEGIN_C

/* The matrix isn't split: every worker sees all of it. */
enum { VOK_PARALLEL_NDIM_IO_WHOLE = 1 };

typedef struct vok_parallel_ndim_io {
    long flags;             /* VOK_PARALLEL_NDIM_IO_WHOLE or 0 */
    vok_matrix_info *minfo; /* the caller's */
    unsigned char *bp;      /* first cell */
} vok_parallel_ndim_io;

typedef struct vok_parallel_ndim {
    long flags;      /* 0 */
    void *data;      /* handed to the function first */
    long dimcount;   /* dimensions to walk */
    long *dim;       /* extents: always a full array of 32 */
    long planecount; /* handed on */
    long iocount;    /* entries of io in use */
    vok_parallel_ndim_io io[32];
    zan_method calc; /* the calculation function, see below */
} vok_parallel_ndim;

/* Where a function's slice lies in the whole. */
typedef struct vok_parallel_ndim_worker {
    vok_parallel_ndim *record;
    long workercount; /* in this run, 1 on the single road */
    long workerid;    /* from 0 */
    long offset[2];   /* 0, and the first row of the slice */
    long extent[2];   /* dim[0], and the rows of the slice */
} vok_parallel_ndim_worker;

/* A calculation function is a plain C function of words: (data, dimcount, dim,
 * planecount, minfo1, bp1, ... minfoN, bpN, worker); it may leave out what it
 * doesn't need at the end. It is called on up to 8 threads at once, may write only
 * the cells of its slice, and its result is ignored. Infos and dim are the slice's:
 * dim[1] is already its number of rows. */

/* Runs the calculation and returns when all of it is done. One caller at a time. */
VOKRA_EXPORT void vok_parallel_ndim_calc(vok_parallel_ndim *record);
/* The direct road. */
VOKRA_EXPORT void vok_parallel_ndim_single(vok_parallel_ndim *record);
/* The workerproc of the shared task; `worker` is a parallel_worker whose data is
 * the record. */
VOKRA_EXPORT void vok_parallel_ndim_multi(void *worker);

VOKRA_EXPORT void vok_parallel_ndim_simplecalc1(zan_method calc, void *data, long dimcount, long *dim,
                                                long planecount, vok_matrix_info *minfo1, void *bp1, long flags1);
VOKRA_EXPORT void vok_parallel_ndim_simplecalc2(zan_method calc, void *data, long dimcount, long *dim,
                                                long planecount, vok_matrix_info *minfo1, void *bp1,
                                                vok_matrix_info *minfo2, void *bp2, long flags1, long flags2);
VOKRA_EXPORT void vok_parallel_ndim_simplecalc3(zan_method calc, void *data, long dimcount, long *dim,
                                                long planecount, vok_matrix_info *minfo1, void *bp1,
                                                vok_matrix_info *minfo2, void *bp2, vok_matrix_info *minfo3,
                                                void *bp3, long flags1, long flags2, long flags3);
VOKRA_EXPORT void vok_parallel_ndim_simplecalc4(zan_method calc, void *data, long dimcount, long *dim,
                                                long planecount, vok_matrix_info *minfo1, void *bp1,
                                                vok_matrix_info *minfo2, void *bp2, vok_matrix_info *minfo3,
                                                void *bp3, vok_matrix_info *minfo4, void *bp4, long flags1,
                                                long flags2, long flags3, long flags4);

/* Settings, plain words that the kernel object's messages write. */
VOKRA_EXPORT extern long _vok_parallel;        /* 0 forces the single road */
VOKRA_EXPORT extern long _vok_parallelthreads; /* workers of the next task made, 0 to 8; 0 the processor count */
VOKRA_EXPORT extern long _vok_parallelthresh;  /* fewer cells take the single road; 10000 */
VOKRA_EXPORT extern long _vok_paralleldebug;   /* posts a line a worker or single run */
VOKRA_EXPORT extern void *_vok_parallel_task;  /* the shared parallel_task, made at first need */

VOKRA_END_C
#endif
