/* Matrix operators over functors: `vok_functor_evaluate` fills a matrix with a functor's
 * values, `vok_functor_sampler_regular` with the coordinates of a grid. Both answer
 * matrix_calc; attributes are set while it doesn't run. */
#ifndef VOKRA_FUNCTOR_EVALUATE_H
#define VOKRA_FUNCTOR_EVALUATE_H

#include <vokra/functor_noise.h>
#include <vokra/matrix_info.h>
#include <vokra/parallel_ndim.h>

VOKRA_BEGIN_C

typedef struct vok_functor_evaluate vok_functor_evaluate;
typedef struct vok_functor_sampler_regular vok_functor_sampler_regular;

/* ---- vok_functor_evaluate: one input, one output ---- */

VOKRA_EXPORT vok_err vok_functor_evaluate_init(void);
/* Null when memory is out. No functor is held until `basis` is set. */
VOKRA_EXPORT vok_functor_evaluate *vok_functor_evaluate_new(void);
VOKRA_EXPORT void vok_functor_evaluate_free(vok_functor_evaluate *x);
/* With input data the planes of its cells are coordinates, and input and output must
 * have the same type, else nothing is written. Without, the output is a grid of running
 * coordinates: from origin + offset in steps of scale / (dim - 1) along each dimension;
 * nothing is done when neither an attribute nor the shape changed since. A dimension of
 * one cell has a step that isn't finite and NaN for a coordinate (deliberate). Values are
 * multiplied by the plane's `weight`, 0 at birth. 0; INVO without output data. */
VOKRA_EXPORT long vok_functor_evaluate_matrix_calc(vok_functor_evaluate *x, void *inputs, void *outputs);
/* Sets the category alone, which only the words of a failure use. */
VOKRA_EXPORT vok_err vok_functor_evaluate_setattr_category(vok_functor_evaluate *x, void *attr, long argc,
                                                           atom *argv);
/* Makes the rotation of `dimcount` dimensions (1 at least) by the angles (radians) of its
 * dimcount - 1 planes, to each of which 0.0015707963267948967 is added. Frees what the
 * matrix held. 0, or INVP for a null pointer or no memory, the matrix empty then. */
VOKRA_EXPORT vok_err vok_functor_evaluate_rotation_matrix_init(vok_functor_fractal_rotation_matrix *matrix,
                                                               long dimcount, const double *angles);

/* What runs on each worker: the grid, and the values at an input's coordinates. */
VOKRA_EXPORT void vok_functor_evaluate_coord_ndim(vok_functor_evaluate *x, long dimcount, long *dim,
                                                  long planecount, vok_matrix_info *info, unsigned char *data,
                                                  vok_parallel_ndim_worker *worker);
VOKRA_EXPORT void vok_functor_evaluate_calculate_ndim(vok_functor_evaluate *x, long dimcount, long *dim,
                                                      long planecount, vok_matrix_info *in_info,
                                                      unsigned char *in_data, vok_matrix_info *out_info,
                                                      unsigned char *out_data, vok_parallel_ndim_worker *worker);

/* One row of n cells, by the element type. `state` is what the function above keeps for
 * its slice and hands on. */
#define VOK_DECLARE_EVALUATE_ROWS(type)                                                                           \
    VOKRA_EXPORT void vok_functor_evaluate_coord_vector_##type(void *state, long n, unsigned char *out);          \
    VOKRA_EXPORT void vok_functor_evaluate_calculate_vector_##type(void *state, long n, unsigned char *in,        \
                                                                   unsigned char *out);                           \
    VOKRA_EXPORT void vok_functor_sampler_regular_vector_##type(void *state, long n, unsigned char *out);
VOK_DECLARE_EVALUATE_ROWS(char)
VOK_DECLARE_EVALUATE_ROWS(long)
VOK_DECLARE_EVALUATE_ROWS(float32)
VOK_DECLARE_EVALUATE_ROWS(float64)
#undef VOK_DECLARE_EVALUATE_ROWS

/* ---- vok_functor_sampler_regular: no input, one output ---- */

VOKRA_EXPORT vok_err vok_functor_sampler_regular_init(void);
VOKRA_EXPORT vok_functor_sampler_regular *vok_functor_sampler_regular_new(void);
VOKRA_EXPORT void vok_functor_sampler_regular_free(vok_functor_sampler_regular *x);
/* Plane d of a cell becomes offset[d] + index[d] * scale[d] / (dim[d] - 1), in `fixed` for
 * char (its low 8 bits) and long. Planes beyond the dimensions stay. Done once after a
 * change of an attribute. 0; INVO without output data. */
VOKRA_EXPORT long vok_functor_sampler_regular_matrix_calc(vok_functor_sampler_regular *x, void *inputs,
                                                          void *outputs);
VOKRA_EXPORT void vok_functor_sampler_regular_calculate_ndim(vok_functor_sampler_regular *x, long dimcount,
                                                             long *dim, long planecount, vok_matrix_info *info,
                                                             unsigned char *data,
                                                             vok_parallel_ndim_worker *worker);

VOKRA_END_C

#endif
