/* Linear algebra: six matrix operators that take a matrix of the library for one of
 * mathematics, and the vector primitives under them.
 *
 * The element in column c and row r is the cell (c, r); dim[0] counts columns, dim[1]
 * rows, other dimensions are not looked at. Cells are float32 or float64, with one
 * plane (real) or two (complex: real part, imaginary part). Everything runs on the
 * calling thread; each calculation locks its matrices.
 *
 *   class              in, out   result
 *   vok_la_mult        2, 1      the product; the output is resized to fit
 *   vok_la_inverse     1, 1      the inverse; of a singular matrix EROR, and zeros
 *   vok_la_uppertri    1, 1      the upper triangular form, by exchanges and subtractions of rows
 *   vok_la_determinant 1, 0      attribute "result"
 *   vok_la_diagproduct 1, 0      attribute "result": the product of the diagonal
 *   vok_la_trace       1, 0      attribute "result": the sum of the diagonal
 *
 * matrix_calc gives 0, or: INVP null object; INVI, INVO input or output without data;
 * MSTP other or differing types; MSPL other or differing planes; MSDM shapes that
 * don't fit; OMEM. A magnitude below the attribute "thresh" counts as zero: as pivot
 * and as element to eliminate, which then stays. */
#ifndef VOKRA_LA_H
#define VOKRA_LA_H

#include <vokra/matrix_info.h>
#include <vokra/op.h>

VOKRA_BEGIN_C

typedef struct vok_la_mult {
    object header;
} vok_la_mult;

typedef struct vok_la_inverse {
    object header;
    double thresh; /* 1e-9 at birth */
} vok_la_inverse;

typedef struct vok_la_uppertri {
    object header;
    double thresh;  /* 1e-9 at birth */
    long swapcount; /* exchanges of rows in the last calculation */
} vok_la_uppertri;

typedef struct vok_la_determinant {
    object header;
    double thresh;    /* 1e-9 at birth */
    long resultcount; /* entries of result: the planes; 1 at birth */
    double result[2];
} vok_la_determinant;

typedef struct vok_la_diagproduct {
    object header;
    long resultcount;
    double result[2];
} vok_la_diagproduct;

typedef struct vok_la_trace {
    object header;
    long resultcount;
    double result[2];
} vok_la_trace;

#define VOKRA_LA_CLASS(name)                                                                                      \
    VOKRA_EXPORT vok_err vok_la_##name##_init(void);                                                              \
    VOKRA_EXPORT vok_la_##name *vok_la_##name##_new(void);                                                        \
    VOKRA_EXPORT void vok_la_##name##_free(vok_la_##name *x);
VOKRA_LA_CLASS(mult)
VOKRA_LA_CLASS(inverse)
VOKRA_LA_CLASS(uppertri)
VOKRA_LA_CLASS(determinant)
VOKRA_LA_CLASS(diagproduct)
VOKRA_LA_CLASS(trace)
#undef VOKRA_LA_CLASS

VOKRA_EXPORT vok_err vok_la_mult_matrix_calc(vok_la_mult *x, void *inputs, void *outputs);
VOKRA_EXPORT vok_err vok_la_inverse_matrix_calc(vok_la_inverse *x, void *inputs, void *outputs);
VOKRA_EXPORT vok_err vok_la_uppertri_matrix_calc(vok_la_uppertri *x, void *inputs, void *outputs);
VOKRA_EXPORT vok_err vok_la_determinant_matrix_calc(vok_la_determinant *x, void *inputs);
VOKRA_EXPORT vok_err vok_la_diagproduct_matrix_calc(vok_la_diagproduct *x, void *inputs);
VOKRA_EXPORT vok_err vok_la_trace_matrix_calc(vok_la_trace *x, void *inputs);

/* The workers, for matrices that fit: infos and first cells; the type is the info's. Of the
 * product each sum runs with k rising, in double; OMEM without room for packed copies. */
VOKRA_EXPORT vok_err vok_la_mult_calculate_2d_real(vok_la_mult *x, vok_matrix_info *a_info, void *a,
                                                   vok_matrix_info *b_info, void *b, vok_matrix_info *c_info,
                                                   void *c);
VOKRA_EXPORT vok_err vok_la_mult_calculate_2d_complex(vok_la_mult *x, vok_matrix_info *a_info, void *a,
                                                      vok_matrix_info *b_info, void *b, vok_matrix_info *c_info,
                                                      void *c);
/* The forward pass of the inverse, Gauss-Jordan without search for the largest pivot: `work`
 * becomes upper triangular with a diagonal of ones, `out` follows. -1 if it is singular. */
VOKRA_EXPORT long vok_la_inverse_calculate_normupper_2d_real(vok_la_inverse *x, vok_matrix_info *work_info,
                                                             void *work, vok_matrix_info *out_info, void *out);
VOKRA_EXPORT long vok_la_inverse_calculate_normupper_2d_complex(vok_la_inverse *x, vok_matrix_info *work_info,
                                                                void *work, vok_matrix_info *out_info, void *out);
/* The backward pass: what stands above the diagonal is eliminated. 0. */
VOKRA_EXPORT long vok_la_inverse_calculate_backsub_2d_real(vok_la_inverse *x, vok_matrix_info *work_info,
                                                           void *work, vok_matrix_info *out_info, void *out);
VOKRA_EXPORT long vok_la_inverse_calculate_backsub_2d_complex(vok_la_inverse *x, vok_matrix_info *work_info,
                                                              void *work, vok_matrix_info *out_info, void *out);
/* Writes 1 into plane 0 of the diagonal, dim[1] cells; the rest is left. */
VOKRA_EXPORT void vok_la_inverse_ident(vok_matrix_info *info, void *data);
/* In place. */
VOKRA_EXPORT void vok_la_uppertri_calculate_2d_real(vok_la_uppertri *x, vok_matrix_info *info, void *data);
VOKRA_EXPORT void vok_la_uppertri_calculate_2d_complex(vok_la_uppertri *x, vok_matrix_info *info, void *data);
VOKRA_EXPORT void vok_la_diagproduct_calculate_2d_real(vok_la_diagproduct *x, vok_matrix_info *info, void *data);
VOKRA_EXPORT void vok_la_diagproduct_calculate_2d_complex(vok_la_diagproduct *x, vok_matrix_info *info,
                                                          void *data);
VOKRA_EXPORT void vok_la_trace_calculate_2d_real(vok_la_trace *x, vok_matrix_info *info, void *data);
VOKRA_EXPORT void vok_la_trace_calculate_2d_complex(vok_la_trace *x, vok_matrix_info *info, void *data);

/* Vector primitives on n elements (n below 1: none), `stride` elements apart; an element
 * of a complex form is a pair. Products are taken in double and each result is rounded
 * to the type; sums run in double, in order. `alpha` and `result` are doubles, pairs of
 * them for complex; a null alpha is 1. An operand may be the output; otherwise they
 * share no byte. Any thread.
 *   swap     exchanges a and b
 *   ax       out = alpha x
 *   axpy     out = y + alpha x
 *   dotprod  result = the sum of x y, not conjugated */
#define VOKRA_LA_VECTOR(form)                                                                                     \
    VOKRA_EXPORT void vok_op_vector_swap_##form(long n, void *unused, vok_op_vector_arg *a,                       \
                                                vok_op_vector_arg *b);                                            \
    VOKRA_EXPORT void vok_op_vector_ax_##form(long n, const double *alpha, vok_op_vector_arg *x, void *unused,    \
                                              vok_op_vector_arg *out);                                            \
    VOKRA_EXPORT void vok_op_vector_axpy_##form(long n, const double *alpha, vok_op_vector_arg *x,                \
                                                vok_op_vector_arg *y, vok_op_vector_arg *out);                    \
    VOKRA_EXPORT void vok_op_vector_dotprod_##form(long n, double *result, vok_op_vector_arg *x,                  \
                                                   vok_op_vector_arg *y);
VOKRA_LA_VECTOR(float32)
VOKRA_LA_VECTOR(float64)
VOKRA_LA_VECTOR(float32_complex)
VOKRA_LA_VECTOR(float64_complex)
#undef VOKRA_LA_VECTOR

VOKRA_END_C

#endif
