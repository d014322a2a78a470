/* The description of a matrix and of a copy between two: the records that every
 * part of the library passes round. Both hold 32 dimensions and 32 planes at most. */
#ifndef VOKRA_MATRIX_INFO_H
#define VOKRA_MATRIX_INFO_H

#include <vokra/base.h>

enum { VOK_MATRIX_MAX_DIMCOUNT = 32, VOK_MATRIX_MAX_PLANECOUNT = 32 };

/* Flags of a matrix; all other bits are kept and mean nothing here. */
enum {
    vok_matrix_flag_handle = 2,    /* the data lives in a host handle, valid only while locked */
    vok_matrix_flag_reference = 4, /* the data is someone else's: never allocated or freed here */
    vok_matrix_flag_packed = 8,    /* rows aren't padded to 16 bytes */
    vok_matrix_flag_use = 0x8000   /* at creation: honour the handle and reference bits */
};

typedef struct vok_matrix_info {
    long size;          /* bytes of cell data; set by the matrix, ignored as input */
    symbol *type;       /* char, long, float32 or float64 */
    long flags;         /* vok_matrix_flag_... */
    long dimcount;      /* dimensions in use, at most 32 */
    long dim[32];       /* cells per dimension, at least 1; 1 from dimcount on */
    long dimstride[32]; /* bytes to the next cell along each dimension; 0 from dimcount on */
    long planecount;    /* planes per cell, 1 to 32 */
} vok_matrix_info;

/* Flags of a copy. */
enum {
    vok_matrix_conv_interp = 2,    /* bilinear in dimensions 0 and 1 */
    vok_matrix_conv_usesrcdim = 4, /* srcdimstart and srcdimend apply */
    vok_matrix_conv_usedstdim = 8  /* dstdimstart and dstdimend apply */
};

typedef struct vok_matrix_conv_info {
    long flags;           /* vok_matrix_conv_... */
    long planemap[32];    /* source plane of each destination plane; negative leaves it alone */
    long srcdimstart[32]; /* first source index per dimension */
    long srcdimend[32];   /* last source index, inclusive; below the start it mirrors */
    long dstdimstart[32]; /* first destination index */
    long dstdimend[32];   /* last destination index, inclusive */
} vok_matrix_conv_info;

#ifdef __cplusplus
static_assert(sizeof(vok_matrix_info) == 8 * 69, "layout");
static_assert(sizeof(vok_matrix_conv_info) == 8 * 161, "layout");
#endif
#endif
