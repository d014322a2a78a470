/* Functors: small objects that map a list of coordinates to one number: curves,
 * filters, noises, fractals, distances and transfers. They are found by name, hold one
 * another, and fill matrices through vok_functor_evaluate (functor_evaluate.h).
 *
 * Numbers come as float32, float64 and `fixed`, a signed 32-bit value with 16
 * fractional bits: 1.0 is 65536. Float to fixed is times 65536, truncated toward zero;
 * what has no 32-bit value, NaN included, becomes the lowest one. Fixed sums wrap.
 *
 * Threads: the registry is written during start-up and free to read afterwards. Any
 * thread may evaluate one object at the same time as others, once it was evaluated
 * with that number of coordinates in that format; attributes are set while nobody
 * evaluates. Evaluation allocates nothing but such tables, and never fails: a functor
 * in an unusable state gives 0. */
#ifndef VOKRA_FUNCTOR_H
#define VOKRA_FUNCTOR_H

#include <vokra/base.h>

VOKRA_BEGIN_C

/* ---- evaluation ---- */

/* The coordinates belong to the caller and are only read. At most 32 of them make
 * sense to every class; the conversions below cut the count to 256. */
typedef int32_t (*vok_functor_eval_fixed_fn)(void *x, long dimcount, const int32_t *values);
typedef float (*vok_functor_eval_float32_fn)(void *x, long dimcount, const float *values);
typedef double (*vok_functor_eval_float64_fn)(void *x, long dimcount, const double *values);

/* How one functor calls another: what a class answers under these names. One table a
 * class, made by vok_functor_setup_class, alive as long as the class. */
typedef struct vok_functor_interface {
    vok_functor_eval_fixed_fn evalfixed;
    vok_functor_eval_fixed_fn evalfixed_1d;
    vok_functor_eval_fixed_fn evalfixed_2d;
    vok_functor_eval_fixed_fn evalfixed_3d;
    vok_functor_eval_float32_fn evalfloat32;
    vok_functor_eval_float32_fn evalfloat32_1d;
    vok_functor_eval_float32_fn evalfloat32_2d;
    vok_functor_eval_float32_fn evalfloat32_3d;
    vok_functor_eval_float64_fn evalfloat64;
    vok_functor_eval_float64_fn evalfloat64_1d;
    vok_functor_eval_float64_fn evalfloat64_2d;
    vok_functor_eval_float64_fn evalfloat64_3d;
} vok_functor_interface;

/* A held functor; valid when both are non-null. */
typedef struct vok_functor_wrapper {
    void *object;                     /* owned: freed with vok_object_free */
    vok_functor_interface *interface; /* the class's */
} vok_functor_wrapper;

/* One vector of parameters in the three formats, each array owned by the record. */
typedef struct vok_functor_combined_dynarray {
    int32_t *fixed;
    float *float32;
    double *float64;
    int32_t count; /* elements of each array */
} vok_functor_combined_dynarray;

/* ---- the registry ---- */

/* Start-up: the registry and every class. 0. */
VOKRA_EXPORT vok_err vok_functor_init(void);

/* Makes a class a functor of that category under that short name. Called behind the
 * class's own attributes and methods (evalfloat64 at least) and ahead of
 * vok_class_register. Adds what is missing of the other formats, the messages eval,
 * evaluate and setattr, the interface, and the registry's keys "name" and
 * "category.name". A name that is taken leaves the class with its category only, which
 * is no error. 0. */
VOKRA_EXPORT vok_err vok_functor_setup_class(zan_class *c, const char *category, const char *name);
/* One more category. 0, or EROR when there is no memory. */
VOKRA_EXPORT vok_err vok_functor_addcategory(zan_class *c, symbol *category);
/* The class's host linklist of category symbols, its own, or null. */
VOKRA_EXPORT void *vok_functor_getcategorylist(zan_class *c);
/* 1 or 0. */
VOKRA_EXPORT long vok_functor_category_match(zan_class *c, symbol *category);
/* 1 when both are the same symbol: the comparison of a list's search. */
VOKRA_EXPORT long vok_functor_category_symcompare(void *item, void *category);
/* The class of that exact name and, if `category` isn't null, that category, or null. */
VOKRA_EXPORT zan_class *vok_functor_lookup(symbol *category, symbol *name);
/* The same by the name, then by what follows its first ".", its second and so on; the
 * category is ignored. */
VOKRA_EXPORT zan_class *vok_functor_lookup_relaxed(symbol *category, symbol *name);
/* A new host linklist of the classes in a category (null: of all), each there twice, for
 * its two keys; null when there is none. The caller chucks the list. */
VOKRA_EXPORT void *vok_functor_classlist_in_category(symbol *category);
/* A functor by name, looked up the relaxed way; `ignored` is not read. 0, or INVP for a
 * null slot or name and for a name without a class. */
VOKRA_EXPORT vok_err vok_functor_new_object_with_interface(void **object_out,
                                                           vok_functor_interface **interface_out, void *ignored,
                                                           symbol *name);
/* Frees what the wrapper holds and puts a new functor in. 0 or INVP. */
VOKRA_EXPORT vok_err vok_functor_wrapper_init(vok_functor_wrapper *wrapper, void *ignored, symbol *name);

/* Frees the arrays and allocates new ones, not cleared. 0, or INVP for a null record, a
 * count outside 0 to 2^31 - 1 and no memory: the arrays that came before the failure stand,
 * the rest is null. */
VOKRA_EXPORT vok_err vok_functor_combined_dynarray_init(vok_functor_combined_dynarray *array, long count);
/* Frees the arrays and clears the record. 0 or INVP. */
VOKRA_EXPORT vok_err vok_functor_combined_dynarray_destroy(vok_functor_combined_dynarray *array);

/* ---- one format by another; counts above 256 are cut ---- */

/* By the object's evalfloat64, found by name. */
VOKRA_EXPORT int32_t vok_functor_eval_fixed(void *x, long dimcount, const int32_t *values);
VOKRA_EXPORT float vok_functor_eval_float32(void *x, long dimcount, const float *values);
/* By a known function. */
VOKRA_EXPORT int32_t vok_functor_eval_fixed_with_float64(void *x, long dimcount, const int32_t *values,
                                                         vok_functor_eval_float64_fn target);
VOKRA_EXPORT float vok_functor_eval_float32_with_float64(void *x, long dimcount, const float *values,
                                                         vok_functor_eval_float64_fn target);
VOKRA_EXPORT int32_t vok_functor_eval_fixed_with_float32(void *x, long dimcount, const int32_t *values,
                                                         vok_functor_eval_float32_fn target);
VOKRA_EXPORT float vok_functor_eval_float32_with_fixed(void *x, long dimcount, const float *values,
                                                       vok_functor_eval_fixed_fn target);
VOKRA_EXPORT double vok_functor_eval_float64_with_fixed(void *x, long dimcount, const double *values,
                                                        vok_functor_eval_fixed_fn target);
VOKRA_EXPORT double vok_functor_eval_float64_with_float32(void *x, long dimcount, const double *values,
                                                          vok_functor_eval_float32_fn target);

/* ---- a rule for one coordinate over many: product or sum of its values. The first
 * coordinate is read whatever the count. A product of fixed values is
 * (a >> 4) * (b >> 4) >> 8. ---- */

typedef int32_t (*vok_functor_scalar_fixed_fn)(void *x, int32_t value);
typedef float (*vok_functor_scalar_float32_fn)(void *x, float value);
typedef double (*vok_functor_scalar_float64_fn)(void *x, double value);

VOKRA_EXPORT int32_t vok_functor_eval_fixed_with_scalar_product(void *x, long dimcount, const int32_t *values,
                                                                vok_functor_scalar_fixed_fn rule);
VOKRA_EXPORT float vok_functor_eval_float32_with_scalar_product(void *x, long dimcount, const float *values,
                                                                vok_functor_scalar_float32_fn rule);
VOKRA_EXPORT double vok_functor_eval_float64_with_scalar_product(void *x, long dimcount, const double *values,
                                                                 vok_functor_scalar_float64_fn rule);
VOKRA_EXPORT int32_t vok_functor_eval_fixed_with_scalar_sum(void *x, long dimcount, const int32_t *values,
                                                            vok_functor_scalar_fixed_fn rule);
VOKRA_EXPORT float vok_functor_eval_float32_with_scalar_sum(void *x, long dimcount, const float *values,
                                                            vok_functor_scalar_float32_fn rule);
VOKRA_EXPORT double vok_functor_eval_float64_with_scalar_sum(void *x, long dimcount, const double *values,
                                                             vok_functor_scalar_float64_fn rule);
/* The rule is a table of 65536 entries for the coordinates 0 to 1: others are wrapped
 * into that range, or clipped to it. */
VOKRA_EXPORT int32_t vok_functor_eval_fixed_with_lut_wrap_product(void *x, long dimcount, const int32_t *values,
                                                                  const int32_t *table);
VOKRA_EXPORT int32_t vok_functor_eval_fixed_with_lut_wrap_sum(void *x, long dimcount, const int32_t *values,
                                                              const int32_t *table);
VOKRA_EXPORT int32_t vok_functor_eval_fixed_with_lut_clip_product(void *x, long dimcount, const int32_t *values,
                                                                  const int32_t *table);
VOKRA_EXPORT int32_t vok_functor_eval_fixed_with_lut_clip_sum(void *x, long dimcount, const int32_t *values,
                                                              const int32_t *table);

/* ---- messages of every functor ---- */

/* "eval" and "evaluate": the value at the coordinates in the atoms, in float32. 0. */
VOKRA_EXPORT vok_err vok_functor_eval_typed(void *x, symbol *selector, long argc, atom *argv, atom *rv);
/* "setattr": an attribute's name and its value, or a chain of the names of held functors
 * that ends so ("filter" "width" 2). The result of the setting; EROR without a name. */
VOKRA_EXPORT vok_err vok_functor_setattr(void *x, symbol *selector, long argc, atom *argv);

/* ---- the classes ---- */

/* X(category, name as in C, short name), in the order of the start-up. */
#define VOK_FUNCTORS_CURVE(X) X(curve, linear, "linear") X(curve, cubicspline, "cubicspline")
#define VOK_FUNCTORS_FILTER(X)                                                                                    \
    X(filter, bessel, "bessel")                                                                                   \
    X(filter, box, "box")                                                                                         \
    X(filter, catmullrom, "catmullrom")                                                                           \
    X(filter, disk, "disk")                                                                                       \
    X(filter, gaussian, "gaussian")                                                                               \
    X(filter, lanczossinc, "lanczossinc")                                                                         \
    X(filter, mitchell, "mitchell")                                                                               \
    X(filter, sinc, "sinc")                                                                                       \
    X(filter, triangle, "triangle")
#define VOK_FUNCTORS_NOISE(X)                                                                                     \
    X(noise, cell, "cell")                                                                                        \
    X(noise, checker, "checker")                                                                                  \
    X(noise, distorted, "distorted")                                                                              \
    X(noise, gradient, "gradient")                                                                                \
    X(noise, simplex, "simplex")                                                                                  \
    X(noise, sparse_convolution, "sparse.convolution")                                                            \
    X(noise, value_convolution, "value.convolution")                                                              \
    X(noise, value_cubicspline, "value.cubicspline")                                                              \
    X(noise, voronoi, "voronoi")
#define VOK_FUNCTORS_FRACTAL(X)                                                                                   \
    X(fractal, mono, "mono")                                                                                      \
    X(fractal, multi, "multi")                                                                                    \
    X(fractal, hetero, "hetero")                                                                                  \
    X(fractal, multi_hybrid, "multi.hybrid")                                                                      \
    X(fractal, multi_ridged, "multi.ridged")                                                                      \
    X(fractal, turbulence, "turbulence")
#define VOK_FUNCTORS_DISTANCE(X)                                                                                  \
    X(distance, chebychev, "chebychev")                                                                           \
    X(distance, euclidean, "euclidean")                                                                           \
    X(distance, euclidean_squared, "euclidean.squared")                                                           \
    X(distance, manhattan, "manhattan")                                                                           \
    X(distance, manhattan_radial, "manhattan.radial")                                                             \
    X(distance, minkovsky, "minkovsky")                                                                           \
    X(distance, superquadratic, "superquadratic")
#define VOK_FUNCTORS_TRANSFER(X)                                                                                  \
    X(transfer, bias, "bias")                                                                                     \
    X(transfer, cubic, "cubic")                                                                                   \
    X(transfer, gain, "gain")                                                                                     \
    X(transfer, linear, "linear")                                                                                 \
    X(transfer, pulse, "pulse")                                                                                   \
    X(transfer, quintic, "quintic")                                                                               \
    X(transfer, saw, "saw")                                                                                       \
    X(transfer, sine, "sine")                                                                                     \
    X(transfer, smoothstep, "smoothstep")                                                                         \
    X(transfer, smoothpulse, "smoothpulse")                                                                       \
    X(transfer, step, "step")                                                                                     \
    X(transfer, solarize, "solarize")
#define VOK_FUNCTORS(X)                                                                                           \
    VOK_FUNCTORS_CURVE(X)                                                                                         \
    VOK_FUNCTORS_FILTER(X)                                                                                        \
    VOK_FUNCTORS_NOISE(X)                                                                                         \
    VOK_FUNCTORS_FRACTAL(X)                                                                                       \
    VOK_FUNCTORS_DISTANCE(X)                                                                                      \
    VOK_FUNCTORS_TRANSFER(X)
/* Complete, but nothing sets them up: they can't be found by name (deliberate). */
#define VOK_FUNCTORS_UNREGISTERED(X) X(distance, radial, "radial") X(distance, squared, "squared")

/* Of each class: its set-up (0 or OMEM), its constructor without arguments, its free
 * routine, and the three eval functions. */
#define VOK_DECLARE_FUNCTOR(category, name, text)                                                                 \
    VOKRA_EXPORT vok_err vok_functor_##category##_##name##_init(void);                                            \
    VOKRA_EXPORT void *vok_functor_##category##_##name##_new(void);                                               \
    VOKRA_EXPORT void vok_functor_##category##_##name##_free(void *x);                                            \
    VOKRA_EXPORT int32_t vok_functor_##category##_##name##_eval_fixed(void *x, long dimcount,                     \
                                                                      const int32_t *values);                     \
    VOKRA_EXPORT float vok_functor_##category##_##name##_eval_float32(void *x, long dimcount,                     \
                                                                      const float *values);                       \
    VOKRA_EXPORT double vok_functor_##category##_##name##_eval_float64(void *x, long dimcount,                    \
                                                                       const double *values);
VOK_FUNCTORS(VOK_DECLARE_FUNCTOR)
VOK_FUNCTORS_UNREGISTERED(VOK_DECLARE_FUNCTOR)
#undef VOK_DECLARE_FUNCTOR

/* Of vok_functor_curve_cubicspline; the first two answer as messages too. setbasis takes
 * the name of a basis (numerics.h); another one is kept as the name and changes nothing
 * else. resize keeps the knots there are and clears new ones; a smaller count cuts.
 * setknot stores into one format's array, grown to hold `index`, new knots cleared. 0, or
 * INVP for a null object, a negative count or index, and no memory. */
VOKRA_EXPORT vok_err vok_functor_curve_cubicspline_setbasis(void *x, symbol *name);
VOKRA_EXPORT vok_err vok_functor_curve_cubicspline_resize(void *x, long count);
VOKRA_EXPORT vok_err vok_functor_curve_cubicspline_setknot_float32(void *x, long index, double value);
VOKRA_EXPORT vok_err vok_functor_curve_cubicspline_setknot_float64(void *x, long index, double value);

/* The rules for one coordinate of gaussian, lanczossinc and solarize. */
VOKRA_EXPORT double vok_functor_filter_gaussian_eval_float64_scalar(void *x, double value);
VOKRA_EXPORT float vok_functor_filter_lanczossinc_eval_float32_scalar(void *x, float value);
VOKRA_EXPORT double vok_functor_filter_lanczossinc_eval_float64_scalar(void *x, double value);
VOKRA_EXPORT float vok_functor_transfer_solarize_eval_float32_scalar(void *x, float value);
VOKRA_EXPORT double vok_functor_transfer_solarize_eval_float64_scalar(void *x, double value);

/* Fills the 65536 entries of the fixed sine; evaluation does it at first need. */
VOKRA_EXPORT void vok_functor_transfer_sine_fixlut_init(void);

/* 0 outside startlow to endhigh, 1 between starthigh and endlow, and between those the
 * smooth step t * t * (3 - 2 * t). */
VOKRA_EXPORT float smooth_pulse_float32(float x, float startlow, float starthigh, float endlow, float endhigh);
VOKRA_EXPORT double smooth_pulse_float64(double x, double startlow, double starthigh, double endlow,
                                         double endhigh);

VOKRA_END_C

#ifdef __cplusplus
static_assert(sizeof(vok_functor_interface) == 12 * sizeof(void *), "layout");
static_assert(offsetof(vok_functor_interface, evalfloat32) == 32 &&
                  offsetof(vok_functor_interface, evalfloat64) == 64,
              "layout");
static_assert(sizeof(vok_functor_wrapper) == 16 && offsetof(vok_functor_combined_dynarray, count) == 24, "layout");
#endif
#endif
