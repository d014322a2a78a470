/* What noises and fractals are made of: the tables that a seed gives, the hash of a
 * lattice cell, features, amplitudes and rotations. The classes themselves are reached
 * by name (functor.h).
 *
 * Everything random comes from vok_rand: a seed gives the same tables for ever, except 0,
 * which is the clock. Tables are built on one thread at a time; reading them is free to
 * all. A coordinate without a 32-bit integer part (NaN included) lies in some fixed cell. */
#ifndef VOKRA_FUNCTOR_NOISE_H
#define VOKRA_FUNCTOR_NOISE_H

#include <vokra/functor.h>

VOKRA_BEGIN_C

/* ---- tables ---- */

/* The same values three times, 0 up to but not including 1. */
typedef struct vok_functor_noise_lattice {
    int32_t *fixed;
    float *float32;
    double *float64;
} vok_functor_noise_lattice;

typedef struct vok_functor_noise_tables {
    int32_t *permutations;             /* drawn from 0 to tablesize - 1, with repetitions */
    vok_functor_noise_lattice lattice; /* tablesize values in each format */
    long tablesize;                    /* a power of two */
    long mask;                         /* tablesize - 1 */
    long seed;
} vok_functor_noise_tables;

/* (Re)build a table into its slot, which owns it: freed with sysmem_freeptr. 0, or INVP
 * with the slot null: no memory, a null slot, a size outside 1 to 2^24. */
VOKRA_EXPORT vok_err vok_functor_noise_permutations_init(int32_t **slot, long size, long seed);
VOKRA_EXPORT vok_err vok_functor_noise_lattice_init(vok_functor_noise_lattice *slots, long size, long seed);
/* One format from `size` values. */
VOKRA_EXPORT vok_err vok_functor_noise_lattice_fixed_init(const double *source, int32_t **slot, long size);
VOKRA_EXPORT vok_err vok_functor_noise_lattice_float32_init(const double *source, float **slot, long size);
VOKRA_EXPORT vok_err vok_functor_noise_lattice_float64_init(const double *source, double **slot, long size);

/* The index, 0 to mask, of the lattice cell that the coordinates lie in; 0 for a count
 * below 1. In fixed format the whole part stays where it is, above the mask, so all cells
 * have one index (deliberate). */
VOKRA_EXPORT long vok_functor_noise_hash_fixed_eval(long dimcount, const int32_t *values, const int32_t *table,
                                                    long mask);
VOKRA_EXPORT long vok_functor_noise_hash_float32_eval(long dimcount, const float *values, const int32_t *table,
                                                      long mask);
VOKRA_EXPORT long vok_functor_noise_hash_float64_eval(long dimcount, const double *values, const int32_t *table,
                                                      long mask);
/* The value of the cell; the first value for a count below 1. */
VOKRA_EXPORT int32_t vok_functor_noise_lattice_fixed_eval(long dimcount, const int32_t *values,
                                                          const int32_t *table, const int32_t *lattice, long mask);
VOKRA_EXPORT float vok_functor_noise_lattice_float32_eval(long dimcount, const float *values, const int32_t *table,
                                                          const float *lattice, long mask);
VOKRA_EXPORT double vok_functor_noise_lattice_float64_eval(long dimcount, const double *values,
                                                           const int32_t *table, const double *lattice, long mask);

/* ---- held functors ---- */

/* Put a functor of that name into the wrapper. 0; or INVP, with an error posted and the
 * wrapper empty (for a null wrapper nothing is done). The category, which may be null, is
 * only told in the error; the second words it as that of a filter. */
VOKRA_EXPORT vok_err vok_functor_noise_evaluator_init(vok_functor_wrapper *wrapper, symbol **category,
                                                      symbol *name);
VOKRA_EXPORT vok_err vok_functor_noise_gradient_evaluator_init(vok_functor_wrapper *wrapper, symbol *name);

/* ---- simplex ---- */

/* The noise of vok_functor_noise_simplex at 2, 3 or 4 coordinates, about -1 to 1, ahead of
 * the object's sign and abs. */
VOKRA_EXPORT float vok_functor_noise_simplex_eval_float32_dim2(void *x, const float *values);
VOKRA_EXPORT float vok_functor_noise_simplex_eval_float32_dim3(void *x, const float *values);
VOKRA_EXPORT float vok_functor_noise_simplex_eval_float32_dim4(void *x, const float *values);
VOKRA_EXPORT double vok_functor_noise_simplex_eval_float64_dim2(void *x, const double *values);
VOKRA_EXPORT double vok_functor_noise_simplex_eval_float64_dim3(void *x, const double *values);
VOKRA_EXPORT double vok_functor_noise_simplex_eval_float64_dim4(void *x, const double *values);

/* ---- convolution ---- */

/* One impulse in the three formats: where it lies in its cell, and how strong it is. */
typedef struct vok_functor_noise_impulse {
    struct {
        int32_t id;
        int32_t position[32];
        int32_t weight;
    } fixed;
    struct {
        int32_t id;
        float position[32];
        float weight;
    } float32;
    struct {
        int32_t id;
        double weight;
        double position[32];
    } float64;
} vok_functor_noise_impulse;

/* The filter of a vok_functor_noise_sparse_convolution at a squared distance. */
VOKRA_EXPORT int32_t vok_functor_noise_sparse_convolution_kernel_fixed(void *x, int32_t squared_distance);
/* Setters and getters that forward an attribute to the held filter's of the same name, as
 * attribute functions; setting fills the kernel table anew. INVP without a filter. */
VOKRA_EXPORT vok_err vok_functor_noise_sparse_convolution_setattr_delegate(void *x, void *attr, long argc,
                                                                           atom *argv);
VOKRA_EXPORT vok_err vok_functor_noise_sparse_convolution_getattr_delegate(void *x, void *attr, long *argc,
                                                                           atom **argv);
VOKRA_EXPORT vok_err vok_functor_noise_value_convolution_setattr_delegate(void *x, void *attr, long argc,
                                                                          atom *argv);
VOKRA_EXPORT vok_err vok_functor_noise_value_convolution_getattr_delegate(void *x, void *attr, long *argc,
                                                                          atom **argv);

/* ---- voronoi ---- */

/* One of the nearest features found so far; ranks are kept nearest first. */
typedef struct vok_functor_noise_voronoi_feature {
    int32_t id;      /* -1 at first */
    double distance; /* 99999999 at first */
    double weight;   /* weight and exponent belong to the rank, not to the feature */
    double exp;
    double position[32]; /* from the coordinate */
} vok_functor_noise_voronoi_feature;

typedef struct vok_functor_noise_voronoi_feature_float32 {
    int32_t id;
    float distance;
    float weight;
    float exp;
    float position[32];
} vok_functor_noise_voronoi_feature_float32;

/* A new array of `count` ranks, weights and exponents 1, for the caller to free with
 * sysmem_freeptr. 0, or INVP and a null slot. */
VOKRA_EXPORT vok_err
vok_functor_noise_voronoi_features_init_float32(vok_functor_noise_voronoi_feature_float32 **slot, long count);
VOKRA_EXPORT vok_err vok_functor_noise_voronoi_features_init_float64(vok_functor_noise_voronoi_feature **slot,
                                                                     long count);
/* Puts the features of a cell in among `count` ranks. x is a vok_functor_noise_voronoi
 * with its tables and distance, `p` the coordinate in the lattice (100000 added). */
VOKRA_EXPORT void vok_noise_voronoi_fillcell_float32(void *x, long dimcount, const int32_t *cell, const float *p,
                                                     long count, vok_functor_noise_voronoi_feature_float32 *ranks);
VOKRA_EXPORT void vok_noise_voronoi_fillcell_float64(void *x, long dimcount, const int32_t *cell, const double *p,
                                                     long count, vok_functor_noise_voronoi_feature *ranks);
/* The result from the ranks, whose distances are changed. */
VOKRA_EXPORT float vok_functor_noise_voronoi_combine_float32(void *x, long count,
                                                             vok_functor_noise_voronoi_feature_float32 *ranks);
VOKRA_EXPORT double vok_functor_noise_voronoi_combine_float64(void *x, long count,
                                                              vok_functor_noise_voronoi_feature *ranks);

/* ---- fractals ---- */

typedef struct vok_functor_fractal_rotation_matrix {
    int32_t **fixed; /* pointers to rows */
    float **float32;
    double **float64;
    int32_t rows;
    int32_t columns;
} vok_functor_fractal_rotation_matrix;

/* The rotations between octaves. */
typedef struct vok_functor_fractal_rotations {
    vok_functor_fractal_rotation_matrix *matrices;
    long count;
} vok_functor_fractal_rotations;

/* The amplitudes of trunc(detail) + 1 octaves, at least 2: pow(lacunarity^i, roughness - 1). 0, or
 * INVP: a null array, no memory, a detail that is no number from 0 to 2^24. */
VOKRA_EXPORT vok_err vok_functor_fractal_exponents_init(vok_functor_combined_dynarray *array, double detail,
                                                        double roughness, double lacunarity);
/* Frees the list and makes trunc(detail) matrices, all the same. 0 or INVP. */
VOKRA_EXPORT vok_err vok_functor_fractal_rotations_init(vok_functor_fractal_rotations *list, long dimensions,
                                                        long seed, double detail);
VOKRA_EXPORT vok_err vok_functor_fractal_rotations_destroy(vok_functor_fractal_rotations *list);
/* An orthogonal matrix of `dimensions` rows and columns (at least 1) from angles of 0 to 1
 * radian that the seed gives, each with 0.0015707963267948967 added. What the record held
 * is not freed. 0, or INVP and a cleared record. */
VOKRA_EXPORT vok_err vok_functor_fractal_rotation_matrix_init(vok_functor_fractal_rotation_matrix *matrix,
                                                              long dimensions, long seed);
VOKRA_EXPORT vok_err vok_functor_fractal_rotation_matrix_destroy(vok_functor_fractal_rotation_matrix *matrix);

VOKRA_END_C

#ifdef __cplusplus
static_assert(sizeof(vok_functor_noise_tables) == 56 && offsetof(vok_functor_noise_tables, tablesize) == 32,
              "layout");
static_assert(offsetof(vok_functor_noise_impulse, float32) == 136 &&
                  offsetof(vok_functor_noise_impulse, float64) == 272 && sizeof(vok_functor_noise_impulse) == 544,
              "layout");
static_assert(offsetof(vok_functor_noise_voronoi_feature, position) == 32, "layout");
static_assert(offsetof(vok_functor_fractal_rotation_matrix, rows) == 24 &&
                  sizeof(vok_functor_fractal_rotation_matrix) == 32,
              "layout");
#endif
#endif
