/* Copying one matrix into another of any size, type and planecount: the message
 * frommatrix and the functions under it. Dimensions 0 and 1 are resampled by
 * nearest neighbour or bilinear interpolation, higher ones stepped; planes are
 * mapped, element types converted, and either side may be limited to a range.
 *
 * Everything runs on the caller's thread. Source and destination may be the same
 * memory, but nothing protects cells that are read after they were written: rows
 * are done in order, then cells, then planes. */
#ifndef VOKRA_MATRIX_COPY_H
#define VOKRA_MATRIX_COPY_H

#include <vokra/matrix_info.h>

VOKRA_BEGIN_C

/* Fills `dst` from `src`, two objects that answer lock, getinfo and getdata.
 * `conv` may be null: whole matrices, no interpolation, plane p from plane
 * p % (planecount of src). Its ranges are clamped to the matrices in place.
 * 0; VOK_ERR_INVP for a null matrix; VOK_ERR_EROR when either has no data, and
 * then the locks stay as they were set. */
VOKRA_EXPORT vok_err vok_matrix_frommatrix(void *dst, void *src, vok_matrix_conv_info *conv);

/* Cell (i, j, ...) from cell (i, j, ...) where `dst` is at least as large as `src`;
 * what `dst` has beyond keeps its values. In a dimension where it is smaller the
 * source is squeezed into it. Results as above. */
VOKRA_EXPORT vok_err vok_matrix_frommatrix_trunc(void *dst, void *src);

/* 1 if a block copy of the whole data gives the result of frommatrix, else 0.
 * `conv` may be null. A range counts as whole only if its end equals dim, one past
 * what frommatrix clamps to, so a record with range flags never copies blocks. */
VOKRA_EXPORT long vok_matrix_canfastcopy(const vok_matrix_conv_info *conv, const vok_matrix_info *dstinfo,
                                         const vok_matrix_info *srcinfo);

/* Moves `size` bytes, unless the pointers are equal. */
VOKRA_EXPORT void vok_matrix_fastcopy(long size, void *dstdata, const void *srcdata);

/* Copies between data blocks: `dimcount` dimensions are walked, those above the
 * second by nearest neighbour. The infos describe the blocks; they and `conv` are
 * only read. Ranges outside a matrix are taken as clamped to it. */
VOKRA_EXPORT void vok_matrix_frommatrix_calculate_ndim(long dimcount, const vok_matrix_conv_info *conv,
                                                       const vok_matrix_info *dstinfo, void *dstdata,
                                                       const vok_matrix_info *srcinfo, const void *srcdata);

/* The same for dimensions 0 and 1 alone, by destination type: what the info says
 * of the destination's type is not looked at. A source of another type than the
 * four of numbers copies nothing. */
VOKRA_EXPORT void vok_matrix_frommatrix_2d_char(const vok_matrix_conv_info *conv, const vok_matrix_info *dstinfo,
                                                void *dstdata, const vok_matrix_info *srcinfo,
                                                const void *srcdata);
VOKRA_EXPORT void vok_matrix_frommatrix_2d_long(const vok_matrix_conv_info *conv, const vok_matrix_info *dstinfo,
                                                void *dstdata, const vok_matrix_info *srcinfo,
                                                const void *srcdata);
VOKRA_EXPORT void vok_matrix_frommatrix_2d_float32(const vok_matrix_conv_info *conv,
                                                   const vok_matrix_info *dstinfo, void *dstdata,
                                                   const vok_matrix_info *srcinfo, const void *srcdata);
VOKRA_EXPORT void vok_matrix_frommatrix_2d_float64(const vok_matrix_conv_info *conv,
                                                   const vok_matrix_info *dstinfo, void *dstdata,
                                                   const vok_matrix_info *srcinfo, const void *srcdata);

VOKRA_END_C
#endif
