/* Pixel formats: twelve matrix operators between the layouts of 8-bit video, one input
 * and one output each. Messages "matrix_calc"; see vok_uyvy2argb for the one attribute.
 *
 * Layouts of a `char` matrix, its planes in order:
 *   argb  A R G B    (rgb  R G B)       a cell is a pixel
 *   ayuv  A Y U V    (yuv  Y U V)       a cell is a pixel
 *   uyvy  U Y0 V Y1,  yuy2  Y0 U Y1 V   a cell is two pixels: dim[0] counts pairs
 *   luma  L                             a cell is a pixel
 * Y runs from 16 to 235 (ITU-R BT.601), R, G, B, L and A from 0 to 255, U and V have
 * their zero at 128.
 *
 *   class            in planes  out planes         out dim[0]
 *   vok_argb2ayuv    4          4                  same
 *   vok_ayuv2argb    4          4                  same
 *   vok_argb2uyvy    3 or 4     4                  half, truncated
 *   vok_ayuv2uyvy    3 or 4     4                  half, truncated
 *   vok_uyvy2argb    4          4, 3 with noalpha  double
 *   vok_uyvy2ayuv    4          4, 3 with noalpha  double
 *   vok_ayuv2luma    4          1                  same
 *   vok_uyvy2luma    4          1                  double
 *   vok_luma2ayuv    1          4                  same
 *   vok_luma2uyvy    1          4                  half, truncated
 *   vok_uyvy2yuy2    4          4                  double; data goes to the left half
 *   vok_yuy22yuvy    4          4                  double; data goes to the left half
 *
 * The arithmetic is of integers throughout, so every byte is fixed. */
#ifndef VOKRA_PIXEL_FORMATS_H
#define VOKRA_PIXEL_FORMATS_H

#include <vokra/matrix_info.h>

VOKRA_BEGIN_C

/* X(name, record) for each class vok_<name>, in the order of their making. */
#define VOKRA_PIXEL_FORMATS(X)                                                                                    \
    X(uyvy2argb, vok_pixel_format_noalpha)                                                                        \
    X(argb2uyvy, vok_pixel_format)                                                                                \
    X(uyvy2ayuv, vok_pixel_format_noalpha)                                                                        \
    X(ayuv2uyvy, vok_pixel_format)                                                                                \
    X(argb2ayuv, vok_pixel_format)                                                                                \
    X(ayuv2argb, vok_pixel_format)                                                                                \
    X(uyvy2luma, vok_pixel_format)                                                                                \
    X(luma2uyvy, vok_pixel_format)                                                                                \
    X(ayuv2luma, vok_pixel_format)                                                                                \
    X(luma2ayuv, vok_pixel_format)                                                                                \
    X(uyvy2yuy2, vok_pixel_format)                                                                                \
    X(yuy22yuvy, vok_pixel_format)

typedef struct vok_pixel_format {
    object header;
} vok_pixel_format;

typedef struct vok_pixel_format_noalpha {
    object header;
    long noalpha; /* attribute "noalpha", 0 at birth; else the output has three planes and no alpha */
} vok_pixel_format_noalpha;

/* Makes the twelve classes. Part of the start-up. Returns 0. */
VOKRA_EXPORT vok_err vok_uyvy_init(void);

/* For each class:
 * - init makes it; 0, or OMEM. new gives null when memory is out. free leaves the memory to the caller.
 * - matrix_calc resizes the output as the table has it, even where a check fails after that, and
 *   converts, split over the pool by rows: INVP for a null object or matrix, EROR without data, MSTP
 *   for a type other than char, MSPL for another plane count.
 * - calculate_ndim converts a slice on the calling thread: dim counts pixels, or pairs where uyvy or
 *   yuy2 takes part; data pointers name the slice's first cells, dimstride[1] and above lead to the rows.
 * - vector_char converts a row of n pixels or pairs (n below 1: none). A row may be converted in place
 *   where a unit has as many bytes in as out; else the two share no byte. Any thread. */
#define VOKRA_DECLARE_PIXEL_FORMAT(name, record)                                                                  \
    VOKRA_EXPORT vok_err vok_##name##_init(void);                                                                 \
    VOKRA_EXPORT record *vok_##name##_new(void);                                                                  \
    VOKRA_EXPORT void vok_##name##_free(record *x);                                                               \
    VOKRA_EXPORT vok_err vok_##name##_matrix_calc(record *x, void *inputs, void *outputs);                        \
    VOKRA_EXPORT void vok_##name##_calculate_ndim(record *x, long dimcount, long *dim, long planecount,           \
                                                  vok_matrix_info *in_info, void *in_data,                        \
                                                  vok_matrix_info *out_info, void *out_data);                     \
    VOKRA_EXPORT void vok_##name##_vector_char(long n, void *in_row, void *out_row);
VOKRA_PIXEL_FORMATS(VOKRA_DECLARE_PIXEL_FORMAT)
#undef VOKRA_DECLARE_PIXEL_FORMAT

/* The rows of three planes. */
VOKRA_EXPORT void vok_rgb2uyvy_vector_char(long n, void *in_row, void *out_row);
VOKRA_EXPORT void vok_yuv2uyvy_vector_char(long n, void *in_row, void *out_row);
VOKRA_EXPORT void vok_uyvy2rgb_vector_char(long n, void *in_row, void *out_row);
VOKRA_EXPORT void vok_uyvy2yuv_vector_char(long n, void *in_row, void *out_row);

VOKRA_END_C

#endif
