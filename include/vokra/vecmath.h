/* Vectors, matrices, quaternions and simple solids for work in three dimensions: plain
 * records of float, functions on pointers to them, nothing allocated and nothing global
 * but eight constant vectors. No pointer is checked. Any thread.
 *
 * The result comes first. It may be one of the operands. Matrices stand column after
 * column: element (row, col) of a mat4 is e[col * 4 + row], its translation e[12] to
 * e[14]; "col" in a name means a column, contiguous in memory, "row" the strided
 * elements. A matrix times a vector takes a column vector, a vector times a matrix
 * contracts with the columns. Quaternions are x, y, z, w, the scalar part last; angles
 * are radians unless told.
 *
 * Tolerance is 1e-5. Normalizing compares the squared length with it: at or below, every
 * component becomes 1e-5, which is returned, deliberately; above, the reciprocal of the
 * length is. */
#ifndef VOKRA_VECMATH_H
#define VOKRA_VECMATH_H

#include <vokra/base.h>

VOKRA_BEGIN_C

typedef struct vok_vec2 {
    float x, y;
} vok_vec2;
typedef struct vok_vec3 {
    float x, y, z;
} vok_vec3;
typedef struct vok_vec4 {
    float x, y, z, w;
} vok_vec4;
typedef struct vok_quat {
    float x, y, z, w; /* the identity is 0 0 0 1 */
} vok_quat;
typedef struct vok_mat3 {
    float e[9];
} vok_mat3;
typedef struct vok_mat4 {
    float e[16];
} vok_mat4;
typedef struct vok_ray {
    vok_vec3 origin, direction; /* the direction of any length */
} vok_ray;
typedef struct vok_line {
    vok_vec3 start, end;
} vok_line;
typedef struct vok_tri {
    vok_vec3 a, b, c;
} vok_tri;
typedef struct vok_plane {
    vok_vec3 point, normal;
} vok_plane;
typedef struct vok_sphere {
    vok_vec3 centre;
    float radius;
} vok_sphere;
typedef struct vok_aabox {
    vok_vec3 min, max;
} vok_aabox;

VOKRA_EXPORT extern vok_vec3 vec3_zero;
VOKRA_EXPORT extern vok_vec3 vec3_identity; /* 1 1 1 */
VOKRA_EXPORT extern vok_vec3 vec3_unit_x;
VOKRA_EXPORT extern vok_vec3 vec3_unit_y;
VOKRA_EXPORT extern vok_vec3 vec3_unit_z;
VOKRA_EXPORT extern vok_vec3 vec3_neg_unit_x;
VOKRA_EXPORT extern vok_vec3 vec3_neg_unit_y;
VOKRA_EXPORT extern vok_vec3 vec3_neg_unit_z;

/* Sets the constants. Part of the start-up. Returns 0. */
VOKRA_EXPORT vok_err vok_vecmath_init(void);

/* ---- what every vector and the quaternion have ----
 * to_coords writes through one pointer a component; get_coord gives component `index`, 0
 * outside. equal and not_equal compare exactly; is_valid: no component is NaN or
 * infinite. div, min and max go by component. */
#define VOKRA_DECLARE_TUPLE(v)                                                                                    \
    VOKRA_EXPORT void vok_##v##_fill(vok_##v *out, float value);                                                  \
    VOKRA_EXPORT void vok_##v##_assign(vok_##v *out, const vok_##v *a);                                           \
    VOKRA_EXPORT void vok_##v##_from_array(vok_##v *out, const float *array);                                     \
    VOKRA_EXPORT void vok_##v##_to_array(float *array, const vok_##v *a);                                         \
    VOKRA_EXPORT float vok_##v##_get_coord(const vok_##v *a, long index);                                         \
    VOKRA_EXPORT long vok_##v##_equal(const vok_##v *a, const vok_##v *b);                                        \
    VOKRA_EXPORT long vok_##v##_not_equal(const vok_##v *a, const vok_##v *b);                                    \
    VOKRA_EXPORT void vok_##v##_div(vok_##v *out, const vok_##v *a, const vok_##v *b);                            \
    VOKRA_EXPORT void vok_##v##_add(vok_##v *out, const vok_##v *a, const vok_##v *b);                            \
    VOKRA_EXPORT void vok_##v##_sub(vok_##v *out, const vok_##v *a, const vok_##v *b);                            \
    VOKRA_EXPORT void vok_##v##_scale(vok_##v *out, const vok_##v *a, float s);                                   \
    VOKRA_EXPORT void vok_##v##_accum_scale(vok_##v *a, float s);                                                 \
    VOKRA_EXPORT void vok_##v##_negate(vok_##v *out, const vok_##v *a);                                           \
    VOKRA_EXPORT float vok_##v##_mag_sqr(const vok_##v *a);                                                       \
    VOKRA_EXPORT float vok_##v##_mag(const vok_##v *a);                                                           \
    VOKRA_EXPORT float vok_##v##_dot(const vok_##v *a, const vok_##v *b);                                         \
    VOKRA_EXPORT void vok_##v##_min(vok_##v *out, const vok_##v *a, const vok_##v *b);                            \
    VOKRA_EXPORT void vok_##v##_max(vok_##v *out, const vok_##v *a, const vok_##v *b);                            \
    VOKRA_EXPORT long vok_##v##_is_valid(const vok_##v *a);
VOKRA_DECLARE_TUPLE(vec2)
VOKRA_DECLARE_TUPLE(vec3)
VOKRA_DECLARE_TUPLE(vec4)
VOKRA_DECLARE_TUPLE(quat)
#undef VOKRA_DECLARE_TUPLE

/* ---- what vectors have besides ----
 * mult goes by component; lerp is a + t (b - a). */
#define VOKRA_DECLARE_VECTOR(v)                                                                                   \
    VOKRA_EXPORT void vok_##v##_mult(vok_##v *out, const vok_##v *a, const vok_##v *b);                           \
    VOKRA_EXPORT void vok_##v##_accum_add(vok_##v *a, const vok_##v *b);                                          \
    VOKRA_EXPORT void vok_##v##_accum_sub(vok_##v *a, const vok_##v *b);                                          \
    VOKRA_EXPORT void vok_##v##_lerp(vok_##v *out, const vok_##v *a, const vok_##v *b, float t);
VOKRA_DECLARE_VECTOR(vec2)
VOKRA_DECLARE_VECTOR(vec3)
VOKRA_DECLARE_VECTOR(vec4)
#undef VOKRA_DECLARE_VECTOR

VOKRA_EXPORT void vok_vec2_from_coords(vok_vec2 *out, float x, float y);
VOKRA_EXPORT void vok_vec2_to_coords(const vok_vec2 *a, float *x, float *y);
VOKRA_EXPORT void vok_vec3_from_coords(vok_vec3 *out, float x, float y, float z);
VOKRA_EXPORT void vok_vec3_to_coords(const vok_vec3 *a, float *x, float *y, float *z);
VOKRA_EXPORT void vok_vec4_from_coords(vok_vec4 *out, float x, float y, float z, float w);
VOKRA_EXPORT void vok_vec4_to_coords(const vok_vec4 *a, float *x, float *y, float *z, float *w);
VOKRA_EXPORT void vok_quat_from_coords(vok_quat *out, float x, float y, float z, float w);
VOKRA_EXPORT void vok_quat_to_coords(const vok_quat *a, float *x, float *y, float *z, float *w);

/* In place, see above. */
VOKRA_EXPORT float vok_vec3_normalize(vok_vec3 *a);
VOKRA_EXPORT float vok_vec4_normalize(vok_vec4 *a);
VOKRA_EXPORT float vok_quat_normalize(vok_quat *a);

VOKRA_EXPORT void vok_vec3_cross(vok_vec3 *out, const vok_vec3 *a, const vok_vec3 *b);
/* All components. */
VOKRA_EXPORT long vok_vec3_less(const vok_vec3 *a, const vok_vec3 *b);
VOKRA_EXPORT long vok_vec3_greater(const vok_vec3 *a, const vok_vec3 *b);
/* a b + c, by component. */
VOKRA_EXPORT void vok_vec3_madd(vok_vec3 *out, const vok_vec3 *a, const vok_vec3 *b, const vok_vec3 *c);
/* 2 (n v) n - v, for a unit n. */
VOKRA_EXPORT void vok_vec3_reflect(vok_vec3 *out, const vok_vec3 *n, const vok_vec3 *v);
/* Takes from v its part along n, but for z, which loses (v n) n.y: deliberate. */
VOKRA_EXPORT void vok_vec3_orthogonalize(vok_vec3 *v, const vok_vec3 *n);
/* Takes from v its part along n and normalizes it. */
VOKRA_EXPORT void vok_vec3_orthonormalize(vok_vec3 *v, const vok_vec3 *n);
/* The direction of texel (u, v) on a face of a cube map of size x size texels: 0 to 5 are
 * +x -x +y -y +z -z. With another face `out` is normalized as it is. */
VOKRA_EXPORT void vok_vec3_cubemap_normal(vok_vec3 *out, long u, long v, long face, long size);

/* ---- matrices ----
 * The arrays of from_array3x3 and the like are float[3][3] or float[4][4], a column after
 * the other; between sizes the upper left 3 by 3 is copied and the rest kept. A row or
 * column outside does nothing; an element outside is 0. */
#define VOKRA_DECLARE_MATRIX(m, v)                                                                                \
    VOKRA_EXPORT void vok_##m##_assign(vok_##m *out, const vok_##m *a);                                           \
    VOKRA_EXPORT void vok_##m##_from_array(vok_##m *out, const float *array);                                     \
    VOKRA_EXPORT void vok_##m##_to_array(float *array, const vok_##m *a);                                         \
    VOKRA_EXPORT void vok_##m##_from_array3x3(vok_##m *out, const float *array);                                  \
    VOKRA_EXPORT void vok_##m##_from_array4x4(vok_##m *out, const float *array);                                  \
    VOKRA_EXPORT void vok_##m##_to_array3x3(float *array, const vok_##m *a);                                      \
    VOKRA_EXPORT void vok_##m##_to_array4x4(float *array, const vok_##m *a);                                      \
    VOKRA_EXPORT void vok_##m##_get_row(vok_##v *out, const vok_##m *a, long row);                                \
    VOKRA_EXPORT void vok_##m##_set_row(vok_##m *a, long row, const vok_##v *in);                                 \
    VOKRA_EXPORT void vok_##m##_get_col(vok_##v *out, const vok_##m *a, long col);                                \
    VOKRA_EXPORT void vok_##m##_set_col(vok_##m *a, long col, const vok_##v *in);                                 \
    VOKRA_EXPORT float vok_##m##_get_coord(const vok_##m *a, long row, long col);                                 \
    VOKRA_EXPORT void vok_##m##_add(vok_##m *out, const vok_##m *a, const vok_##m *b);                            \
    VOKRA_EXPORT void vok_##m##_accum_add(vok_##m *a, const vok_##m *b);                                          \
    VOKRA_EXPORT void vok_##m##_accum_sub(vok_##m *a, const vok_##m *b);                                          \
    VOKRA_EXPORT void vok_##m##_accum_scale(vok_##m *a, float s);                                                 \
    VOKRA_EXPORT void vok_##m##_transpose(vok_##m *a);                                                            \
    VOKRA_EXPORT void vok_##m##_get_transpose(vok_##m *out, const vok_##m *a);                                    \
    VOKRA_EXPORT void vok_##m##_negate(vok_##m *out, const vok_##m *a);                                           \
    VOKRA_EXPORT void vok_##m##_mult(vok_##m *out, const vok_##m *a, const vok_##m *b);
VOKRA_DECLARE_MATRIX(mat3, vec3)
VOKRA_DECLARE_MATRIX(mat4, vec4)
#undef VOKRA_DECLARE_MATRIX

/* The elements in the order of memory. */
VOKRA_EXPORT void vok_mat3_from_coords(vok_mat3 *out, float e0, float e1, float e2, float e3, float e4, float e5,
                                       float e6, float e7, float e8);
VOKRA_EXPORT void vok_mat3_to_coords(const vok_mat3 *a, float *e0, float *e1, float *e2, float *e3, float *e4,
                                     float *e5, float *e6, float *e7, float *e8);
VOKRA_EXPORT void vok_mat4_from_coords(vok_mat4 *out, float e0, float e1, float e2, float e3, float e4, float e5,
                                       float e6, float e7, float e8, float e9, float e10, float e11, float e12,
                                       float e13, float e14, float e15);
VOKRA_EXPORT void vok_mat4_to_coords(const vok_mat4 *a, float *e0, float *e1, float *e2, float *e3, float *e4,
                                     float *e5, float *e6, float *e7, float *e8, float *e9, float *e10, float *e11,
                                     float *e12, float *e13, float *e14, float *e15);

VOKRA_EXPORT void vok_mat3_mult_vec3(vok_vec3 *out, const vok_mat3 *m, const vok_vec3 *v);
VOKRA_EXPORT void vok_vec3_mult_mat3(vok_vec3 *out, const vok_vec3 *v, const vok_mat3 *m);
VOKRA_EXPORT void vok_mat4_mult_vec4(vok_vec4 *out, const vok_mat4 *m, const vok_vec4 *v);
VOKRA_EXPORT void vok_vec4_mult_mat4(vok_vec4 *out, const vok_vec4 *v, const vok_mat4 *m);
/* A position, with w = 1; the w of the result is ignored. _dir: by the upper left 3 by 3
 * alone. _pos: the result is divided by its w, by 1 where that lies within the tolerance. */
VOKRA_EXPORT void vok_mat4_mult_vec3(vok_vec3 *out, const vok_mat4 *m, const vok_vec3 *v);
VOKRA_EXPORT void vok_vec3_mult_mat4(vok_vec3 *out, const vok_vec3 *v, const vok_mat4 *m);
VOKRA_EXPORT void vok_mat4_mult_vec3_dir(vok_vec3 *out, const vok_mat4 *m, const vok_vec3 *v);
VOKRA_EXPORT void vok_vec3_mult_mat4_dir(vok_vec3 *out, const vok_vec3 *v, const vok_mat4 *m);
VOKRA_EXPORT void vok_mat4_mult_vec3_pos(vok_vec3 *out, const vok_mat4 *m, const vok_vec3 *v);
VOKRA_EXPORT void vok_vec3_mult_mat4_pos(vok_vec3 *out, const vok_vec3 *v, const vok_mat4 *m);

VOKRA_EXPORT void vok_mat4_identity(vok_mat4 *out);
/* Elements 12 to 14; elements 0, 5 and 10. */
VOKRA_EXPORT void vok_mat4_get_translation(vok_vec3 *out, const vok_mat4 *m);
VOKRA_EXPORT void vok_mat4_set_translation(vok_mat4 *m, const vok_vec3 *in);
VOKRA_EXPORT void vok_mat4_get_scale(vok_vec3 *out, const vok_mat4 *m);
VOKRA_EXPORT void vok_mat4_set_scale(vok_mat4 *m, const vok_vec3 *in);
/* The upper left 3 by 3; the rest of a mat4 is kept. */
VOKRA_EXPORT void vok_mat4_from_mat3(vok_mat4 *out, const vok_mat3 *m);
VOKRA_EXPORT void vok_mat3_from_mat4(vok_mat3 *out, const vok_mat4 *m);
VOKRA_EXPORT void vok_mat4_from_quat(vok_mat4 *out, const vok_quat *q);

/* The rotation by `angle` about an axis, taken as it stands (Rodrigues' formula). The rest
 * of a mat4 becomes the identity. */
VOKRA_EXPORT void vok_mat3_from_axisangle(vok_mat3 *out, const vok_vec3 *axis, float angle);
VOKRA_EXPORT void vok_mat4_from_axisangle(vok_mat4 *out, const vok_vec3 *axis, float angle);
/* The rotation that takes unit vector u to unit vector v (Moeller and Hughes, Efficiently
 * Building a Matrix to Rotate One Vector to Another, 1999). The rest of a mat4 likewise. */
VOKRA_EXPORT void vok_mat3_from_uv(vok_mat3 *out, const vok_vec3 *u, const vok_vec3 *v);
VOKRA_EXPORT void vok_mat4_from_uv(vok_mat4 *out, const vok_vec3 *u, const vok_vec3 *v);

VOKRA_EXPORT float vok_mat3_determinant(const vok_mat3 *m);
/* By cofactors. Of a mat4 a determinant below 1e-5, also a negative one, counts as 1e-5,
 * deliberately: mirrors don't invert. */
VOKRA_EXPORT void vok_mat3_get_inverse(vok_mat3 *out, const vok_mat3 *m);
VOKRA_EXPORT void vok_mat4_get_inverse(vok_mat4 *out, const vok_mat4 *m);
/* Of a rotation with a translation. */
VOKRA_EXPORT void vok_mat4_get_inverse_rot_trans(vok_mat4 *out, const vok_mat4 *m);
/* Translation, lengths of the columns (all negated where the determinant is negative) and
 * the rotation that is left. */
VOKRA_EXPORT void mat4_decompose(const vok_mat4 *m, vok_vec3 *translation, vok_vec3 *scale, vok_quat *rotation);
/* Tangent, bitangent and normal of a triangle with texture coordinates, in columns. With
 * `normal` (or null) the third column is turned to its side. */
VOKRA_EXPORT void vok_mat3_tangent_basis(vok_mat3 *out, const vok_vec3 *p0, const vok_vec3 *p1, const vok_vec3 *p2,
                                         const vok_vec2 *t0, const vok_vec2 *t1, const vok_vec2 *t2,
                                         const vok_vec3 *normal);
/* Views and projections, of all 16 elements, in the manner of OpenGL. fovy is in degrees. */
VOKRA_EXPORT void vok_mat4_look_at(vok_mat4 *out, const vok_vec3 *eye, const vok_vec3 *target, const vok_vec3 *up);
VOKRA_EXPORT void vok_mat4_frustum(vok_mat4 *out, float left, float right, float bottom, float top, float near_z,
                                   float far_z);
VOKRA_EXPORT void vok_mat4_perspective(vok_mat4 *out, float fovy, float aspect, float near_z, float far_z);
VOKRA_EXPORT void vok_mat4_ortho(vok_mat4 *out, float left, float right, float bottom, float top, float near_z,
                                 float far_z);
VOKRA_EXPORT void vok_mat4_ortho_view(vok_mat4 *out, float fovy, float aspect, float near_z, float far_z);

/* ---- quaternions ---- */

/* The Hamilton product a b. */
VOKRA_EXPORT void vok_quat_mult(vok_quat *out, const vok_quat *a, const vok_quat *b);
VOKRA_EXPORT void vok_quat_conj(vok_quat *q);
VOKRA_EXPORT void vok_quat_get_conj(vok_quat *out, const vok_quat *q);
/* Of no length: 0 0 0 0. */
VOKRA_EXPORT void vok_quat_inverse(vok_quat *out, const vok_quat *q);
/* v rotated by the unit quaternion q. */
VOKRA_EXPORT void vok_quat_mult_vec3(vok_vec3 *out, const vok_quat *q, const vok_vec3 *v);
VOKRA_EXPORT void vok_quat_from_axisangle(vok_quat *out, const vok_vec3 *axis, float angle);
VOKRA_EXPORT void vok_quat_to_axes(const vok_quat *q, vok_vec3 *x, vok_vec3 *y, vok_vec3 *z);
/* Of a rotation; the axes are its columns (Shoemake, Quaternion Calculus, 1987). */
VOKRA_EXPORT void vok_quat_from_mat3(vok_quat *out, const vok_mat3 *m);
VOKRA_EXPORT void vok_quat_from_mat4(vok_quat *out, const vok_mat4 *m);
VOKRA_EXPORT void vok_quat_from_axes(vok_quat *out, const vok_vec3 *x, const vok_vec3 *y, const vok_vec3 *z);
/* The least rotation from one vector to another. */
VOKRA_EXPORT void vok_quat_shortest_arc(vok_quat *out, const vok_vec3 *from, const vok_vec3 *to);
/* Between unit quaternions (Shoemake, Animating Rotation with Quaternion Curves, 1985): the
 * plain slerp may go the long way round. With `shortest` b is negated where it lies on the
 * other side. lerp isn't normalized. */
VOKRA_EXPORT void vok_quat_slerp(vok_quat *out, const vok_quat *a, const vok_quat *b, float t);
VOKRA_EXPORT void vok_quat_slerp_shortest(vok_quat *out, const vok_quat *a, const vok_quat *b, float t);
VOKRA_EXPORT void vok_quat_lerp(vok_quat *out, const vok_quat *a, const vok_quat *b, long shortest, float t);
VOKRA_EXPORT void vok_quat_squad(vok_quat *out, const vok_quat *q0, const vok_quat *a, const vok_quat *b,
                                 const vok_quat *q1, long shortest, float t);
/* By polynomials; neither is the function of mathematics, deliberately. */
VOKRA_EXPORT void vok_quat_log(vok_quat *out, const vok_quat *q);
VOKRA_EXPORT void vok_quat_exp(vok_quat *out, const vok_quat *q);
/* The rotation of a ball that is dragged from p1 to p2, on a plane with its centre at 0. */
VOKRA_EXPORT void vok_quat_trackball(vok_quat *out, float radius, const vok_vec2 *p1, const vok_vec2 *p2);

/* ---- solids ---- */

VOKRA_EXPORT float vok_tri_area(const vok_tri *t);
VOKRA_EXPORT float vok_tri_perimeter(const vok_tri *t);
/* Radius and centre; of a triangle without area 0, and the centre is left. */
VOKRA_EXPORT float vok_tri_find_in_circle(vok_vec3 *centre, const vok_vec3 *a, const vok_vec3 *b,
                                          const vok_vec3 *c);
VOKRA_EXPORT float vok_tri_find_circ_circle(vok_vec3 *centre, const vok_vec3 *a, const vok_vec3 *b,
                                            const vok_vec3 *c);

/* The point at origin + t direction. The tests give 1 for a hit, with its t, and 0, t 0. */
VOKRA_EXPORT void vok_ray_get_point(vok_vec3 *out, const vok_ray *ray, float t);
VOKRA_EXPORT long vok_ray_intersects_plane(float *t, const vok_ray *ray, const vok_plane *plane);
/* A sphere behind the origin is hit, at a negative t. With cull_inside no ray from inside hits. */
VOKRA_EXPORT long vok_ray_intersects_sphere(float *t, const vok_ray *ray, const vok_sphere *sphere,
                                            long cull_inside);
/* No hit: a box of zeros, one whose maximum lies below its minimum, one with the origin inside. */
VOKRA_EXPORT long vok_ray_intersects_box(float *t, const vok_ray *ray, const vok_aabox *box);
/* The first point of the infinite line on the sphere; 0 without one, and `point` is left. */
VOKRA_EXPORT long vok_line_intersects_sphere(vok_vec3 *point, const vok_line *line, const vok_sphere *sphere);
/* The point of the sphere that lies towards the infinite line. */
VOKRA_EXPORT void vok_line_closest_sphere(vok_vec3 *point, const vok_line *line, const vok_sphere *sphere);

/* ---- a second trackball family, on arrays: 3 numbers a vector, 4 a quaternion (x y z w),
 * 16 a matrix; here the result comes last ---- */
#define VOKRA_DECLARE_V(v, real)                                                                                  \
    VOKRA_EXPORT void v##zero(real *a);                                                                           \
    VOKRA_EXPORT void v##set(real *a, real x, real y, real z);                                                    \
    VOKRA_EXPORT void v##sub(const real *a, const real *b, real *out);                                            \
    VOKRA_EXPORT void v##copy(const real *a, real *out);                                                          \
    VOKRA_EXPORT void v##cross(const real *a, const real *b, real *out);                                          \
    VOKRA_EXPORT real v##length(const real *a);                                                                   \
    VOKRA_EXPORT void v##scale(real *a, real s);                                                                  \
    VOKRA_EXPORT void v##normal(real *a);                                                                         \
    VOKRA_EXPORT real v##dot(const real *a, const real *b);                                                       \
    VOKRA_EXPORT void v##add(const real *a, const real *b, real *out);
VOKRA_DECLARE_V(v, float)
VOKRA_DECLARE_V(vd, double)
#undef VOKRA_DECLARE_V

/* The rotation of a ball of radius 0.4 that is dragged from (x1, y1) to (x2, y2). */
VOKRA_EXPORT void trackball(float *q, float x1, float y1, float x2, float y2);
/* Normalizes the axis in place, without a guard. */
VOKRA_EXPORT void axis_to_quat(float *axis, float *q, float angle);
VOKRA_EXPORT void quat_to_axis(const float *q, float *axis, float *angle);
/* Rotations about x, y and z by xyz radians, one after the other, as one about an axis. */
VOKRA_EXPORT void xyz_to_axis(const float *xyz, float *axis, float *angle);
VOKRA_EXPORT void axis_to_xyz(const float *axis, float *xyz, float angle);
/* The product a b, divided by the square of its length. */
VOKRA_EXPORT void add_quats(const float *a, const float *b, float *out);
VOKRA_EXPORT void build_rotmatrix(float *m, const float *q);
/* A vector of 4. */
VOKRA_EXPORT void transform_point(const float *v, const float *m, float *out);

VOKRA_END_C

#endif
