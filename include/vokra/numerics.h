/* Scalar numerics: the process-wide random generator, cubic spline kernels, 16-bit
 * half floats, wrappers of the mathematics library and fast approximations.
 *
 * Noise tables depend on the generator bit for bit, and much else here is kept to
 * the bit as well: the odd corners told below are deliberate. Any value is allowed
 * everywhere, infinities and NaN included, unless a range is given. */
#ifndef VOKRA_NUMERICS_H
#define VOKRA_NUMERICS_H

#include <vokra/base.h>

VOKRA_BEGIN_C

/* ---- random numbers: no lock, meant for start-up and table building on one thread ---- */

/* Restarts the sequence. 0 takes the host's milliseconds, and -777 if those are 0. */
VOKRA_EXPORT void vok_rand_setseed(long seed);
/* The next number, 31 bits in the usual case. The very first call of a process draws
 * from a sequence of its own. */
VOKRA_EXPORT long vok_rand(void);
/* The same draw on a seed word of the caller's; each routine has one table of its
 * own, which a seed of 0 or below fills anew. */
VOKRA_EXPORT long ran1(int32_t *seed);
VOKRA_EXPORT long ran2(int32_t *seed);

/* ---- cubic splines ---- */

/* Row-major 4 by 4 matrices: row r gives the factor of u to the power 3 - r, column
 * c that of knot c. */
VOKRA_EXPORT extern const double g_cubicspline_basismatrix_bezier[16];
VOKRA_EXPORT extern const double g_cubicspline_basismatrix_bspline[16];
VOKRA_EXPORT extern const double g_cubicspline_basismatrix_catmullrom[16];
VOKRA_EXPORT extern const double g_cubicspline_basismatrix_hermite[16];
VOKRA_EXPORT extern const double g_cubicspline_basismatrix_power[16];

VOKRA_EXPORT void vok_cubicspline_init(void);
/* Fills 16 values and the knot step of the basis "bezier", "bspline", "catmullrom",
 * "hermite" or "power". 0, or VOK_ERR_EROR and nothing written for a null argument or
 * another name. `fixed` has 16 fractional bits. */
VOKRA_EXPORT long vok_cubicspline_fillbasis_fixed(symbol *name, int32_t *matrix, long *step);
VOKRA_EXPORT long vok_cubicspline_fillbasis_float32(symbol *name, float *matrix, long *step);
VOKRA_EXPORT long vok_cubicspline_fillbasis_float64(symbol *name, double *matrix, long *step);
/* The spline at x, where 0 to 1 runs over the (count - 4) / step + 1 segments of
 * `knots`. 0 when step is below 1, a pointer is null or that number of segments is
 * below 1. x is not clamped: outside 0 to 1, and at 1 itself, knots outside the
 * `count` are read, and the caller has to have them there; an x so far out that its
 * segment has no number gives 0. */
VOKRA_EXPORT double vok_cubicspline_general_eval_float64(double x, long step, long count, const double *knots,
                                                         const double *basis);
VOKRA_EXPORT float vok_cubicspline_general_eval_float32(float x, long step, long count, const float *knots,
                                                        const float *basis);
/* The same with 16 fractional bits, where the powers are those of x itself, not of
 * its place in the segment (deliberate). */
VOKRA_EXPORT int32_t vok_cubicspline_general_eval_fixed(int32_t x, long step, long count, const int32_t *knots,
                                                        const int32_t *basis);

/* ---- half floats: 16 bits of IEEE 754 binary16 in the low bits of a word ---- */

VOKRA_EXPORT extern float vok_half_flut[65536];  /* the float of every half */
VOKRA_EXPORT extern uint16_t vok_half_elut[512]; /* by a float's sign and exponent; 0: the slow way */
VOKRA_EXPORT extern long vok_half_elut_ok;       /* non-zero once the table stands */
VOKRA_EXPORT extern long vok_half_flut_ok;

/* Builds both tables. Part of the start-up; the conversions do it if need be. */
VOKRA_EXPORT void vok_half_init(void);
/* The nearest half; -0 gives 0. */
VOKRA_EXPORT long vok_float_to_half(float f);
VOKRA_EXPORT float vok_half_to_float(long h);
/* Keeps n of the 10 mantissa bits. */
VOKRA_EXPORT long vok_half_round(long h, long n);
VOKRA_EXPORT long vok_half_negate(long h);
/* Both additions give the value of the half that the truncated sum names, truncated
 * (deliberate; they are no sums of halves). A sum or value that is no number or has
 * no 64-bit integer counts as 0. */
VOKRA_EXPORT long vok_half_add(long a, long b);
VOKRA_EXPORT long vok_half_add_float(long a, float b);
/* In float32, then rounded to half. */
VOKRA_EXPORT long vok_half_sub(long a, long b);
VOKRA_EXPORT long vok_half_sub_float(long a, float b);
VOKRA_EXPORT long vok_half_mul(long a, long b);
VOKRA_EXPORT long vok_half_mul_float(long a, float b);
VOKRA_EXPORT long vok_half_div(long a, long b);
VOKRA_EXPORT long vok_half_div_float(long a, float b);
/* 1 or 0. */
VOKRA_EXPORT long vok_half_is_finite(long h);
VOKRA_EXPORT long vok_half_is_normalized(long h);
VOKRA_EXPORT long vok_half_is_denormalized(long h);
VOKRA_EXPORT long vok_half_is_zero(long h);
VOKRA_EXPORT long vok_half_is_negative(long h);
VOKRA_EXPORT long vok_half_is_nan(long h);
VOKRA_EXPORT long vok_half_is_inf(long h);

/* ---- the mathematics library in float64 ---- */

VOKRA_EXPORT double vok_math_sin(double x);
VOKRA_EXPORT double vok_math_cos(double x);
VOKRA_EXPORT double vok_math_tan(double x);
VOKRA_EXPORT double vok_math_asin(double x);
VOKRA_EXPORT double vok_math_acos(double x);
VOKRA_EXPORT double vok_math_atan(double x);
VOKRA_EXPORT double vok_math_atan2(double y, double x);
VOKRA_EXPORT double vok_math_sinh(double x);
VOKRA_EXPORT double vok_math_cosh(double x);
VOKRA_EXPORT double vok_math_tanh(double x);
VOKRA_EXPORT double vok_math_asinh(double x);
VOKRA_EXPORT double vok_math_acosh(double x);
VOKRA_EXPORT double vok_math_atanh(double x);
VOKRA_EXPORT double vok_math_exp(double x);
VOKRA_EXPORT double vok_math_expm1(double x);
VOKRA_EXPORT double vok_math_exp2(double x);
VOKRA_EXPORT double vok_math_log(double x);
VOKRA_EXPORT double vok_math_log2(double x);
VOKRA_EXPORT double vok_math_log10(double x);
VOKRA_EXPORT double vok_math_pow(double x, double y);
VOKRA_EXPORT double vok_math_hypot(double x, double y);
VOKRA_EXPORT double vok_math_sqrt(double x);
VOKRA_EXPORT double vok_math_ceil(double x);
VOKRA_EXPORT double vok_math_floor(double x);
VOKRA_EXPORT double vok_math_round(double x);
VOKRA_EXPORT double vok_math_trunc(double x);

/* ---- own routines ---- */

/* C's remainder, with the sign of a; 0 where b is 0. */
VOKRA_EXPORT double vok_math_fmod(double a, double b);
/* x moved by whole multiples of hi - lo into lo to hi, hi excluded, and x reflected
 * at both ends into lo to hi, hi included. Bounds in either order. An empty range
 * gives lo. An x that is infinite or not a number gives NaN, and so does a bound
 * that isn't one. Between bounds of which one is infinite, x is kept inside and
 * becomes the finite one outside. */
VOKRA_EXPORT double vok_math_wrap(double x, double lo, double hi);
VOKRA_EXPORT double vok_math_fold(double x, double lo, double hi);
/* Bessel function of the first kind of order 1, for x of -8 and above; 0 for any
 * other x, by decision. j1_0 serves -8 to 8; p1 and q1 are the series for x above 8. */
VOKRA_EXPORT double vok_math_j1(double x);
VOKRA_EXPORT double vok_math_j1_0(double x);
VOKRA_EXPORT double vok_math_p1(double x);
VOKRA_EXPORT double vok_math_q1(double x);
/* The power of two at or above v, for v of 0 to 2^32; 0 gives 0. */
VOKRA_EXPORT long vok_math_roundup_poweroftwo(long v);
/* 1 or 0; 0 counts as one. */
VOKRA_EXPORT long vok_math_is_poweroftwo(long v);
VOKRA_EXPORT long vok_math_is_finite(double f);
VOKRA_EXPORT long vok_math_is_nan(double f);
VOKRA_EXPORT long vok_math_is_valid(double f); /* neither NaN nor infinite */
/* The depth of a trackball of radius r at (x, y): the sphere near its middle, a
 * hyperbola outside. */
VOKRA_EXPORT double vok_math_project_to_sphere(double r, double x, double y);

/* ---- float32 approximations, for the ranges that their names' use implies: angles
 * of a quarter turn, arguments of -1 to 1, positive numbers under a root ---- */

VOKRA_EXPORT extern uint32_t g_vok_math_fast_sqrt_table[65536]; /* mantissas */
VOKRA_EXPORT extern long g_vok_math_fast_sqrt_table_init;       /* non-zero once the table stands */

VOKRA_EXPORT float vok_math_fast_sqrt(float f);
VOKRA_EXPORT float vok_math_fast_invsqrt(float f);
VOKRA_EXPORT float vok_math_fast_sin(float x);
VOKRA_EXPORT float vok_math_fast_cos(float x);
VOKRA_EXPORT float vok_math_fast_tan(float x);
VOKRA_EXPORT float vok_math_fast_asin(float x);
VOKRA_EXPORT float vok_math_fast_acos(float x);
VOKRA_EXPORT float vok_math_fast_atan(float x);

VOKRA_END_C
#endif
