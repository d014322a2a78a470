/* The matrix: an N-dimensional grid of cells, each of 1 to 32 planes of one element
 * type, in one block of memory with a byte stride per dimension.
 *
 * Every function gives 0 or an error code unless it says otherwise, and a null
 * matrix gives INVP. A matrix has no lock of its own: `lock` only pins a handle.
 * Whoever touches cells does save = lock(1), getinfo, getdata, the work, lock(save).
 * Lists of atoms, infos and value arrays stay the caller's. */
#ifndef VOKRA_MATRIX_H
#define VOKRA_MATRIX_H

#include <vokra/matrix_info.h>
#include <zan/memory.h>

VOKRA_BEGIN_C

/* The object of class vok_matrix. Users of a matrix go by its messages; the record
 * is here for code that extends the class. */
typedef struct vok_matrix {
    object ob;
    vok_matrix_info info; /* copied in and out as one block */
    unsigned char *data;  /* index 0, plane 0; 16-byte aligned unless it was handed in */
    zan_handle handle;    /* when the handle flag is set */
    void *rawdata;        /* what the allocator returned */
    long rawsize;         /* its size in bytes */
} vok_matrix;

/* i / 255 for the conversion of char cells to floating point, correctly rounded. */
VOKRA_EXPORT extern float _c2ftab[256];
VOKRA_EXPORT extern double _c2dtab[256];

/* ---- making and freeing ---- */

VOKRA_EXPORT vok_err vok_matrix_init(void);
/* A matrix of this description (null: the default), all zero bits. The handle and
 * reference bits count only together with vok_matrix_flag_use. Null when the cells
 * can't be had. */
VOKRA_EXPORT vok_matrix *vok_matrix_new(const vok_matrix_info *info);
/* The same from atoms: planecount, type, dimensions, as far as they are given. */
VOKRA_EXPORT vok_matrix *vok_matrix_new_typed(void *unused, long argc, atom *argv);
/* The class's free function: gives the cells back. Objects are freed with
 * vok_object_free. */
VOKRA_EXPORT void vok_matrix_free(vok_matrix *x);
/* A new matrix of the same description with zeroed cells of its own. The copy of a
 * reference shares the handle and has no data until it is given some. */
VOKRA_EXPORT vok_matrix *vok_matrix_newcopy(vok_matrix *x);

/* ---- the description ---- */

/* char, 4 planes, 2 dimensions, all of them 1. The types are symbols that initialize makes, so
 * the library must be up. */
VOKRA_EXPORT vok_err vok_matrix_info_default(vok_matrix_info *info);
/* Bytes of one element as cells are walked: char 1, long 4, float32 4, float64 8,
 * anything else 4 (although symbol, object and pointer cells take 8). */
VOKRA_EXPORT long vok_matrix_info_typesize(const vok_matrix_info *info);

/* Lays the matrix out by type, planecount, dimcount and dim, and allocates cells of
 * zero bits, always a fresh block. Rows are padded to 16 bytes unless the packed
 * flag is set. Notifies `rebuilding` first and `modified` last, also after failure.
 * OMEM with size 0 above 0x7FFFFFFE bytes or when memory is out; the shape stays
 * as asked. */
VOKRA_EXPORT vok_err vok_matrix_rebuild(vok_matrix *x);
/* Takes type, planecount, dimcount and dim of the info (null: the default). The
 * same shape keeps the data, any other zeroes it. A dimcount outside 0 to 32 is
 * brought into that range. */
VOKRA_EXPORT vok_err vok_matrix_dosetinfo(vok_matrix *x, const vok_matrix_info *info);
/* The same, then notifies `setinfo`. */
VOKRA_EXPORT vok_err vok_matrix_setinfo(vok_matrix *x, const vok_matrix_info *info);
/* Takes the flags too. With the reference bit the info is copied whole, strides and
 * size included, cells of the matrix's own are given back, and the caller supplies
 * others by vok_matrix_data. */
VOKRA_EXPORT vok_err vok_matrix_setinfo_ex(vok_matrix *x, const vok_matrix_info *info);
/* From atoms: a matrix object or the name of one, or planecount, type and dims. 0. */
VOKRA_EXPORT vok_err vok_matrix_setinfo_typed(vok_matrix *x, symbol *s, long argc, atom *argv);
VOKRA_EXPORT vok_err vok_matrix_getinfo(vok_matrix *x, vok_matrix_info *info);

/* Setters of the attributes type, planecount and dim. No values leave type as it
 * is, give INVP for planecount, and make dimcount 0 for dim. */
VOKRA_EXPORT vok_err vok_matrix_type(vok_matrix *x, void *attr, long argc, atom *argv);
VOKRA_EXPORT vok_err vok_matrix_planecount(vok_matrix *x, void *attr, long argc, atom *argv);
VOKRA_EXPORT vok_err vok_matrix_dimensions(vok_matrix *x, void *attr, long argc, atom *argv);

/* ---- the data ---- */

/* *data is the first cell, or null. With the handle flag only while locked. */
VOKRA_EXPORT vok_err vok_matrix_getdata(vok_matrix *x, unsigned char **data);
/* Pins (1) or releases (0) the handle and gives the earlier state, which is what
 * restores it. 0 without a handle. */
VOKRA_EXPORT zan_word vok_matrix_lock(vok_matrix *x, zan_word lock);
/* Sets data and raw block to `pointer`, which stays the caller's as long as the
 * matrix is a reference. Sizes stay as they are. */
VOKRA_EXPORT vok_err vok_matrix_data(vok_matrix *x, void *pointer);
/* Replaces the raw block by (raw, rawsize). The data becomes the block that was
 * there before, rounded down to 16 bytes, with the size counted from it: call it
 * twice to wrap outside memory, and touch no cells in between. */
VOKRA_EXPORT vok_err vok_matrix_data16(vok_matrix *x, void *raw, long rawsize);
/* Gives the block back; the matrix has no data then. */
VOKRA_EXPORT vok_err vok_matrix_freedata(vok_matrix *x);
/* 1. */
VOKRA_EXPORT zan_word vok_matrix_is_valid(vok_matrix *x);
/* The matrix for index 0, else null: a matrix answers where a list is asked. */
VOKRA_EXPORT void *vok_matrix_getindex(vok_matrix *x, long index);

/* ---- cells ---- */

/* All bytes to zero, the padding too. EROR without data. */
VOKRA_EXPORT vok_err vok_matrix_clear(vok_matrix *x);
/* The four bytes of `value`, highest first, over and over; 1 to 3 bytes left at the
 * end take the highest one. EROR without data. */
VOKRA_EXPORT vok_err vok_matrix_clear_custom(vok_matrix *x, zan_word value);
/* "x y ... val a b ..." sets a cell, planes without a value become zero;
 * "x y ... plane p val a" sets one plane. Coordinates left out are 0, those beyond
 * dimcount count for nothing. OBND outside the matrix, without data, and when the
 * list isn't of either form. A negative p isn't tested and counts back from the
 * cell's first plane; what would leave the matrix's memory isn't written. */
VOKRA_EXPORT vok_err vok_matrix_setcell(vok_matrix *x, symbol *s, long argc, atom *argv);
/* The same without the words: 1, 2 or 3 coordinates, (the plane,) the values. 0. */
VOKRA_EXPORT vok_err vok_matrix_setcell1d(vok_matrix *x, symbol *s, long argc, atom *argv);
VOKRA_EXPORT vok_err vok_matrix_setcell2d(vok_matrix *x, symbol *s, long argc, atom *argv);
VOKRA_EXPORT vok_err vok_matrix_setcell3d(vok_matrix *x, symbol *s, long argc, atom *argv);
VOKRA_EXPORT vok_err vok_matrix_setplane1d(vok_matrix *x, symbol *s, long argc, atom *argv);
VOKRA_EXPORT vok_err vok_matrix_setplane2d(vok_matrix *x, symbol *s, long argc, atom *argv);
VOKRA_EXPORT vok_err vok_matrix_setplane3d(vok_matrix *x, symbol *s, long argc, atom *argv);
/* The cell at the coordinates in argv: *rac atoms in *rav, the dimcount coordinates,
 * `val`, the planecount values. The caller frees *rav with sysmem_freeptr. OBND
 * outside the matrix or without data; 0 and nothing for no coordinates. */
VOKRA_EXPORT vok_err vok_matrix_getcell(vok_matrix *x, symbol *s, long argc, atom *argv, long *rac, atom **rav);
/* The values alone, as an atomarray object in *rv that the caller frees. EROR. */
VOKRA_EXPORT vok_err vok_matrix_getcell_typed(vok_matrix *x, symbol *s, long argc, atom *argv, atom *rv);
/* One value for all planes, or a value a plane, those left out zero. */
VOKRA_EXPORT vok_err vok_matrix_setall(vok_matrix *x, symbol *s, long argc, atom *argv);
/* plane, value. A plane below 1 is the first one; one at or above planecount counts
 * as planecount, so that the value lands in the next cell's first plane. */
VOKRA_EXPORT vok_err vok_matrix_fillplane(vok_matrix *x, symbol *s, long argc, atom *argv);
/* The fills of setall and fillplane over `dimcount` dimensions from `data`, `values`
 * and `value` being elements of the info's type. Cells are taken as packed along
 * dimension 0. The caller answers for `plane`. */
VOKRA_EXPORT void vok_matrix_setall_ndim(long dimcount, const long *dim, long planecount, const void *values,
                                         const vok_matrix_info *info, unsigned char *data);
VOKRA_EXPORT void vok_matrix_fillplane_ndim(long dimcount, const long *dim, long plane, const void *value,
                                            const vok_matrix_info *info, unsigned char *data);
/* "name [input1] [input2] [value ...]": a cell operator with this matrix as output.
 * The result of the calculation; EROR when an input is no matrix. */
VOKRA_EXPORT vok_err vok_matrix_op(vok_matrix *x, symbol *s, long argc, atom *argv);
/* "[plane] expression": fills all planes, or one, from an expression. */
VOKRA_EXPORT vok_err vok_matrix_exprfill(vok_matrix *x, symbol *s, long argc, atom *argv);

/* ---- lists and arrays of matrices, for matrix operators ---- */

/* Fills matrices[count] from a list. EROR when it is shorter or holds a null. */
VOKRA_EXPORT vok_err vok_matrix_list_get_matrices(void *list, long count, void **matrices);
/* INVP at a null entry. */
VOKRA_EXPORT vok_err vok_matrix_array_get_matrix_info(void **matrices, long count, vok_matrix_info *infos);
/* Locks each and keeps its earlier state in savelocks; null entries are passed over. */
VOKRA_EXPORT vok_err vok_matrix_array_lock(void **matrices, long count, zan_word *savelocks);
VOKRA_EXPORT vok_err vok_matrix_array_unlock(void **matrices, long count, const zan_word *savelocks);
/* EROR at the first one without data. */
VOKRA_EXPORT vok_err vok_matrix_array_get_data(void **matrices, long count, unsigned char **data);
/* EROR unless all of infos[count] agree with `info`. */
VOKRA_EXPORT vok_err vok_matrix_info_uniform_planecount(const vok_matrix_info *info, long count,
                                                        const vok_matrix_info *infos);
VOKRA_EXPORT vok_err vok_matrix_info_uniform_type(const vok_matrix_info *info, long count,
                                                  const vok_matrix_info *infos);
VOKRA_EXPORT vok_err vok_matrix_info_uniform_dim(const vok_matrix_info *info, long count,
                                                 const vok_matrix_info *infos);
/* 0 when planecount, type and dimcount agree (dims may differ), else EROR. */
VOKRA_EXPORT vok_err vok_matrix_info_equal_matrix_structure(const vok_matrix_info *a, const vok_matrix_info *b);

VOKRA_END_C

#ifdef __cplusplus
static_assert(offsetof(vok_matrix, info) == 32, "the info follows the object header");
static_assert(offsetof(vok_matrix, data) == 32 + sizeof(vok_matrix_info), "layout");
static_assert(offsetof(vok_matrix, rawsize) == offsetof(vok_matrix, data) + 24, "layout");
static_assert(sizeof(vok_matrix) <= 2048, "a matrix costs little beside its cells");
#endif
#endif
