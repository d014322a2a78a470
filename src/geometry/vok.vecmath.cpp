// Vectors and matrices: the operations by component are written once over the numbers of
// a record, and exported under the name of each type.
#include "geometry/vecmath.h"

#include <algorithm>
#include <cmath>

vok_vec3 vec3_zero, vec3_identity, vec3_unit_x, vec3_unit_y, vec3_unit_z, vec3_neg_unit_x, vec3_neg_unit_y,
    vec3_neg_unit_z;

vok_err vok_vecmath_init(void)
{
    vec3_zero = {0, 0, 0};
    vec3_identity = {1, 1, 1};
    vec3_unit_x = {1, 0, 0};
    vec3_unit_y = {0, 1, 0};
    vec3_unit_z = {0, 0, 1};
    vec3_neg_unit_x = {-1, 0, 0};
    vec3_neg_unit_y = {0, -1, 0};
    vec3_neg_unit_z = {0, 0, -1};
    return VOK_ERR_NONE;
}

namespace {

using namespace vok::vecmath;

// Sets every number of `out` to what f makes of its index.
template <typename T> void each(T *out, auto f)
{
    T made;
    for (int i = 0; i < size<T>; i++)
        numbers(&made)[i] = f(i);
    *out = made; // an operand may be the result
}

template <typename T> bool all(auto f)
{
    for (int i = 0; i < size<T>; i++)
        if (!f(i))
            return false;
    return true;
}

// The order of a matrix.
template <typename M> constexpr int order = size<M> == 9 ? 3 : 4;

// Copies columns of `from`, an array of n by n, as far as both go.
template <typename M> void take(M *out, const float *from, int n)
{
    for (int col = 0; col < std::min(n, order<M>); col++)
        for (int row = 0; row < std::min(n, order<M>); row++)
            out->e[col * order<M> + row] = from[col * n + row];
}
template <typename M> void give(float *to, int n, const M *m)
{
    for (int col = 0; col < std::min(n, order<M>); col++)
        for (int row = 0; row < std::min(n, order<M>); row++)
            to[col * n + row] = m->e[col * order<M> + row];
}

// Column vector out[r] = sum over c of m[c][r] v[c], of `n` components.
template <typename M, typename V> V by_columns(const M *m, const V *v, int n = size<V>)
{
    V out{};
    for (int r = 0; r < n; r++) {
        float sum = m->e[r] * numbers(v)[0];
        for (int c = 1; c < n; c++)
            sum += m->e[c * order<M> + r] * numbers(v)[c];
        numbers(&out)[r] = sum;
    }
    return out;
}
// out[c] = sum over r of v[r] m[c][r]
template <typename M, typename V> V by_rows(const V *v, const M *m, int n = size<V>)
{
    V out{};
    for (int c = 0; c < n; c++) {
        float sum = numbers(v)[0] * m->e[c * order<M>];
        for (int r = 1; r < n; r++)
            sum += numbers(v)[r] * m->e[c * order<M> + r];
        numbers(&out)[c] = sum;
    }
    return out;
}

vok_vec4 position(const vok_vec3 *v)
{
    return {v->x, v->y, v->z, 1};
}
vok_vec3 xyz(const vok_vec4 &v)
{
    return {v.x, v.y, v.z};
}
// Divided by w, unless that is nearly 0.
vok_vec3 projected(const vok_vec4 &v)
{
    const float factor = v.w > -tolerance && v.w < tolerance ? 1.0f : 1.0f / v.w;
    return {v.x * factor, v.y * factor, v.z * factor};
}

} // namespace

#define VOKRA_DEFINE_TUPLE(v)                                                                                     \
    void vok_##v##_fill(vok_##v *out, float value)                                                                \
    {                                                                                                             \
        each(out, [=](int) { return value; });                                                                    \
    }                                                                                                             \
    void vok_##v##_assign(vok_##v *out, const vok_##v *a)                                                         \
    {                                                                                                             \
        *out = *a;                                                                                                \
    }                                                                                                             \
    void vok_##v##_from_array(vok_##v *out, const float *array)                                                   \
    {                                                                                                             \
        each(out, [=](int i) { return array[i]; });                                                               \
    }                                                                                                             \
    void vok_##v##_to_array(float *array, const vok_##v *a)                                                       \
    {                                                                                                             \
        std::copy_n(numbers(a), size<vok_##v>, array);                                                            \
    }                                                                                                             \
    float vok_##v##_get_coord(const vok_##v *a, long index)                                                       \
    {                                                                                                             \
        return index >= 0 && index < size<vok_##v> ? numbers(a)[index] : 0.0f;                                    \
    }                                                                                                             \
    long vok_##v##_equal(const vok_##v *a, const vok_##v *b)                                                      \
    {                                                                                                             \
        return all<vok_##v>([=](int i) { return numbers(a)[i] == numbers(b)[i]; });                               \
    }                                                                                                             \
    long vok_##v##_not_equal(const vok_##v *a, const vok_##v *b)                                                  \
    {                                                                                                             \
        return !vok_##v##_equal(a, b);                                                                            \
    }                                                                                                             \
    void vok_##v##_div(vok_##v *out, const vok_##v *a, const vok_##v *b)                                          \
    {                                                                                                             \
        each(out, [=](int i) { return numbers(a)[i] / numbers(b)[i]; });                                          \
    }                                                                                                             \
    void vok_##v##_add(vok_##v *out, const vok_##v *a, const vok_##v *b)                                          \
    {                                                                                                             \
        each(out, [=](int i) { return numbers(a)[i] + numbers(b)[i]; });                                          \
    }                                                                                                             \
    void vok_##v##_sub(vok_##v *out, const vok_##v *a, const vok_##v *b)                                          \
    {                                                                                                             \
        each(out, [=](int i) { return numbers(a)[i] - numbers(b)[i]; });                                          \
    }                                                                                                             \
    void vok_##v##_scale(vok_##v *out, const vok_##v *a, float s)                                                 \
    {                                                                                                             \
        each(out, [=](int i) { return numbers(a)[i] * s; });                                                      \
    }                                                                                                             \
    void vok_##v##_accum_scale(vok_##v *a, float s)                                                               \
    {                                                                                                             \
        vok_##v##_scale(a, a, s);                                                                                 \
    }                                                                                                             \
    void vok_##v##_negate(vok_##v *out, const vok_##v *a)                                                         \
    {                                                                                                             \
        each(out, [=](int i) { return -numbers(a)[i]; });                                                         \
    }                                                                                                             \
    float vok_##v##_mag_sqr(const vok_##v *a)                                                                     \
    {                                                                                                             \
        return dot(*a, *a);                                                                                       \
    }                                                                                                             \
    float vok_##v##_mag(const vok_##v *a)                                                                         \
    {                                                                                                             \
        return std::sqrt(dot(*a, *a));                                                                            \
    }                                                                                                             \
    float vok_##v##_dot(const vok_##v *a, const vok_##v *b)                                                       \
    {                                                                                                             \
        return dot(*a, *b);                                                                                       \
    }                                                                                                             \
    void vok_##v##_min(vok_##v *out, const vok_##v *a, const vok_##v *b)                                          \
    {                                                                                                             \
        each(out, [=](int i) { return std::min(numbers(a)[i], numbers(b)[i]); });                                 \
    }                                                                                                             \
    void vok_##v##_max(vok_##v *out, const vok_##v *a, const vok_##v *b)                                          \
    {                                                                                                             \
        each(out, [=](int i) { return std::max(numbers(a)[i], numbers(b)[i]); });                                 \
    }                                                                                                             \
    long vok_##v##_is_valid(const vok_##v *a)                                                                     \
    {                                                                                                             \
        return all<vok_##v>([=](int i) { return std::isfinite(numbers(a)[i]); });                                 \
    }
VOKRA_DEFINE_TUPLE(vec2)
VOKRA_DEFINE_TUPLE(vec3)
VOKRA_DEFINE_TUPLE(vec4)
VOKRA_DEFINE_TUPLE(quat)

#define VOKRA_DEFINE_VECTOR(v)                                                                                    \
    void vok_##v##_mult(vok_##v *out, const vok_##v *a, const vok_##v *b)                                         \
    {                                                                                                             \
        each(out, [=](int i) { return numbers(a)[i] * numbers(b)[i]; });                                          \
    }                                                                                                             \
    void vok_##v##_accum_add(vok_##v *a, const vok_##v *b)                                                        \
    {                                                                                                             \
        vok_##v##_add(a, a, b);                                                                                   \
    }                                                                                                             \
    void vok_##v##_accum_sub(vok_##v *a, const vok_##v *b)                                                        \
    {                                                                                                             \
        vok_##v##_sub(a, a, b);                                                                                   \
    }                                                                                                             \
    void vok_##v##_lerp(vok_##v *out, const vok_##v *a, const vok_##v *b, float t)                                \
    {                                                                                                             \
        each(out, [=](int i) { return numbers(a)[i] + t * (numbers(b)[i] - numbers(a)[i]); });                    \
    }
VOKRA_DEFINE_VECTOR(vec2)
VOKRA_DEFINE_VECTOR(vec3)
VOKRA_DEFINE_VECTOR(vec4)

void vok_vec2_from_coords(vok_vec2 *out, float x, float y)
{
    *out = {x, y};
}
void vok_vec2_to_coords(const vok_vec2 *a, float *x, float *y)
{
    *x = a->x;
    *y = a->y;
}
void vok_vec3_from_coords(vok_vec3 *out, float x, float y, float z)
{
    *out = {x, y, z};
}
void vok_vec3_to_coords(const vok_vec3 *a, float *x, float *y, float *z)
{
    *x = a->x;
    *y = a->y;
    *z = a->z;
}
#define VOKRA_DEFINE_COORDS(v)                                                                                    \
    void vok_##v##_from_coords(vok_##v *out, float x, float y, float z, float w)                                  \
    {                                                                                                             \
        *out = {x, y, z, w};                                                                                      \
    }                                                                                                             \
    void vok_##v##_to_coords(const vok_##v *a, float *x, float *y, float *z, float *w)                            \
    {                                                                                                             \
        *x = a->x;                                                                                                \
        *y = a->y;                                                                                                \
        *z = a->z;                                                                                                \
        *w = a->w;                                                                                                \
    }
VOKRA_DEFINE_COORDS(vec4)
VOKRA_DEFINE_COORDS(quat)

float vok_vec3_normalize(vok_vec3 *a)
{
    return normalize(a);
}
float vok_vec4_normalize(vok_vec4 *a)
{
    return normalize(a);
}
float vok_quat_normalize(vok_quat *a)
{
    return normalize(a);
}

void vok_vec3_cross(vok_vec3 *out, const vok_vec3 *a, const vok_vec3 *b)
{
    *out = cross(*a, *b);
}

long vok_vec3_less(const vok_vec3 *a, const vok_vec3 *b)
{
    return a->x < b->x && a->y < b->y && a->z < b->z;
}

long vok_vec3_greater(const vok_vec3 *a, const vok_vec3 *b)
{
    return vok_vec3_less(b, a);
}

void vok_vec3_madd(vok_vec3 *out, const vok_vec3 *a, const vok_vec3 *b, const vok_vec3 *c)
{
    *out = {a->x * b->x + c->x, a->y * b->y + c->y, a->z * b->z + c->z};
}

void vok_vec3_reflect(vok_vec3 *out, const vok_vec3 *n, const vok_vec3 *v)
{
    *out = 2.0f * dot(*n, *v) * *n - *v;
}

void vok_vec3_orthogonalize(vok_vec3 *v, const vok_vec3 *n)
{
    const float d = dot(*v, *n);
    *v = {v->x - d * n->x, v->y - d * n->y, v->z - d * n->y}; // n.y twice
}

void vok_vec3_orthonormalize(vok_vec3 *v, const vok_vec3 *n)
{
    *v = *v - dot(*v, *n) * *n;
    normalize(v);
}

void vok_vec3_cubemap_normal(vok_vec3 *out, long u, long v, long face, long size)
{
    const float s = 2.0f * (static_cast<float>(u) + 0.5f) / static_cast<float>(size) - 1.0f;
    const float t = 2.0f * (static_cast<float>(v) + 0.5f) / static_cast<float>(size) - 1.0f;
    const vok_vec3 faces[] = {{1, -t, -s}, {-1, -t, s}, {s, 1, t}, {s, -1, -t}, {s, -t, 1}, {-s, -t, -1}};
    if (face >= 0 && face < 6)
        *out = faces[face];
    normalize(out);
}

// ---- matrices ----

#define VOKRA_DEFINE_MATRIX(m, v)                                                                                 \
    void vok_##m##_assign(vok_##m *out, const vok_##m *a)                                                         \
    {                                                                                                             \
        *out = *a;                                                                                                \
    }                                                                                                             \
    void vok_##m##_from_array(vok_##m *out, const float *array)                                                   \
    {                                                                                                             \
        std::copy_n(array, size<vok_##m>, out->e);                                                                \
    }                                                                                                             \
    void vok_##m##_to_array(float *array, const vok_##m *a)                                                       \
    {                                                                                                             \
        std::copy_n(a->e, size<vok_##m>, array);                                                                  \
    }                                                                                                             \
    void vok_##m##_from_array3x3(vok_##m *out, const float *array)                                                \
    {                                                                                                             \
        take(out, array, 3);                                                                                      \
    }                                                                                                             \
    void vok_##m##_from_array4x4(vok_##m *out, const float *array)                                                \
    {                                                                                                             \
        take(out, array, 4);                                                                                      \
    }                                                                                                             \
    void vok_##m##_to_array3x3(float *array, const vok_##m *a)                                                    \
    {                                                                                                             \
        give(array, 3, a);                                                                                        \
    }                                                                                                             \
    void vok_##m##_to_array4x4(float *array, const vok_##m *a)                                                    \
    {                                                                                                             \
        give(array, 4, a);                                                                                        \
    }                                                                                                             \
    void vok_##m##_get_row(vok_##v *out, const vok_##m *a, long row)                                              \
    {                                                                                                             \
        constexpr int n = order<vok_##m>;                                                                         \
        if (row >= 0 && row < n)                                                                                  \
            each(out, [=](int i) { return a->e[i * n + row]; });                                                  \
    }                                                                                                             \
    void vok_##m##_set_row(vok_##m *a, long row, const vok_##v *in)                                               \
    {                                                                                                             \
        constexpr int n = order<vok_##m>;                                                                         \
        for (int i = 0; i < n && row >= 0 && row < n; i++)                                                        \
            a->e[i * n + row] = numbers(in)[i];                                                                   \
    }                                                                                                             \
    void vok_##m##_get_col(vok_##v *out, const vok_##m *a, long col)                                              \
    {                                                                                                             \
        constexpr int n = order<vok_##m>;                                                                         \
        if (col >= 0 && col < n)                                                                                  \
            each(out, [=](int i) { return a->e[col * n + i]; });                                                  \
    }                                                                                                             \
    void vok_##m##_set_col(vok_##m *a, long col, const vok_##v *in)                                               \
    {                                                                                                             \
        constexpr int n = order<vok_##m>;                                                                         \
        for (int i = 0; i < n && col >= 0 && col < n; i++)                                                        \
            a->e[col * n + i] = numbers(in)[i];                                                                   \
    }                                                                                                             \
    float vok_##m##_get_coord(const vok_##m *a, long row, long col)                                               \
    {                                                                                                             \
        constexpr int n = order<vok_##m>;                                                                         \
        return row >= 0 && row < n && col >= 0 && col < n ? a->e[col * n + row] : 0.0f;                           \
    }                                                                                                             \
    void vok_##m##_add(vok_##m *out, const vok_##m *a, const vok_##m *b)                                          \
    {                                                                                                             \
        each(out, [=](int i) { return a->e[i] + b->e[i]; });                                                      \
    }                                                                                                             \
    void vok_##m##_accum_add(vok_##m *a, const vok_##m *b)                                                        \
    {                                                                                                             \
        vok_##m##_add(a, a, b);                                                                                   \
    }                                                                                                             \
    void vok_##m##_accum_sub(vok_##m *a, const vok_##m *b)                                                        \
    {                                                                                                             \
        each(a, [=](int i) { return a->e[i] - b->e[i]; });                                                        \
    }                                                                                                             \
    void vok_##m##_accum_scale(vok_##m *a, float s)                                                               \
    {                                                                                                             \
        each(a, [=](int i) { return a->e[i] * s; });                                                              \
    }                                                                                                             \
    void vok_##m##_transpose(vok_##m *a)                                                                          \
    {                                                                                                             \
        vok_##m##_get_transpose(a, a);                                                                            \
    }                                                                                                             \
    void vok_##m##_get_transpose(vok_##m *out, const vok_##m *a)                                                  \
    {                                                                                                             \
        constexpr int n = order<vok_##m>;                                                                         \
        each(out, [=](int i) { return a->e[i % n * n + i / n]; });                                                \
    }                                                                                                             \
    void vok_##m##_negate(vok_##m *out, const vok_##m *a)                                                         \
    {                                                                                                             \
        each(out, [=](int i) { return -a->e[i]; });                                                               \
    }                                                                                                             \
    void vok_##m##_mult(vok_##m *out, const vok_##m *a, const vok_##m *b)                                         \
    {                                                                                                             \
        constexpr int n = order<vok_##m>;                                                                         \
        each(out, [=](int i) {                                                                                    \
            const int col = i / n, row = i % n;                                                                   \
            float sum = a->e[row] * b->e[col * n];                                                                \
            for (int k = 1; k < n; k++)                                                                           \
                sum += a->e[k * n + row] * b->e[col * n + k];                                                     \
            return sum;                                                                                           \
        });                                                                                                       \
    }
VOKRA_DEFINE_MATRIX(mat3, vec3)
VOKRA_DEFINE_MATRIX(mat4, vec4)

void vok_mat3_from_coords(vok_mat3 *out, float e0, float e1, float e2, float e3, float e4, float e5, float e6,
                          float e7, float e8)
{
    *out = {{e0, e1, e2, e3, e4, e5, e6, e7, e8}};
}

void vok_mat3_to_coords(const vok_mat3 *a, float *e0, float *e1, float *e2, float *e3, float *e4, float *e5,
                        float *e6, float *e7, float *e8)
{
    float *const to[] = {e0, e1, e2, e3, e4, e5, e6, e7, e8};
    for (int i = 0; i < 9; i++)
        *to[i] = a->e[i];
}

void vok_mat4_from_coords(vok_mat4 *out, float e0, float e1, float e2, float e3, float e4, float e5, float e6,
                          float e7, float e8, float e9, float e10, float e11, float e12, float e13, float e14,
                          float e15)
{
    *out = {{e0, e1, e2, e3, e4, e5, e6, e7, e8, e9, e10, e11, e12, e13, e14, e15}};
}

void vok_mat4_to_coords(const vok_mat4 *a, float *e0, float *e1, float *e2, float *e3, float *e4, float *e5,
                        float *e6, float *e7, float *e8, float *e9, float *e10, float *e11, float *e12, float *e13,
                        float *e14, float *e15)
{
    float *const to[] = {e0, e1, e2, e3, e4, e5, e6, e7, e8, e9, e10, e11, e12, e13, e14, e15};
    for (int i = 0; i < 16; i++)
        *to[i] = a->e[i];
}

void vok_mat3_mult_vec3(vok_vec3 *out, const vok_mat3 *m, const vok_vec3 *v)
{
    *out = by_columns(m, v);
}
void vok_vec3_mult_mat3(vok_vec3 *out, const vok_vec3 *v, const vok_mat3 *m)
{
    *out = by_rows(v, m);
}
void vok_mat4_mult_vec4(vok_vec4 *out, const vok_mat4 *m, const vok_vec4 *v)
{
    *out = by_columns(m, v);
}
void vok_vec4_mult_mat4(vok_vec4 *out, const vok_vec4 *v, const vok_mat4 *m)
{
    *out = by_rows(v, m);
}
void vok_mat4_mult_vec3(vok_vec3 *out, const vok_mat4 *m, const vok_vec3 *v)
{
    const vok_vec4 p = position(v);
    *out = xyz(by_columns(m, &p));
}
void vok_vec3_mult_mat4(vok_vec3 *out, const vok_vec3 *v, const vok_mat4 *m)
{
    const vok_vec4 p = position(v);
    *out = xyz(by_rows(&p, m));
}
void vok_mat4_mult_vec3_dir(vok_vec3 *out, const vok_mat4 *m, const vok_vec3 *v)
{
    *out = by_columns(m, v);
}
void vok_vec3_mult_mat4_dir(vok_vec3 *out, const vok_vec3 *v, const vok_mat4 *m)
{
    *out = by_rows(v, m);
}
void vok_mat4_mult_vec3_pos(vok_vec3 *out, const vok_mat4 *m, const vok_vec3 *v)
{
    const vok_vec4 p = position(v);
    *out = projected(by_columns(m, &p));
}
void vok_vec3_mult_mat4_pos(vok_vec3 *out, const vok_vec3 *v, const vok_mat4 *m)
{
    const vok_vec4 p = position(v);
    *out = projected(by_rows(&p, m));
}

void vok_mat4_identity(vok_mat4 *out)
{
    each(out, [](int i) { return i % 5 ? 0.0f : 1.0f; });
}

void vok_mat4_get_translation(vok_vec3 *out, const vok_mat4 *m)
{
    *out = {m->e[12], m->e[13], m->e[14]};
}
void vok_mat4_set_translation(vok_mat4 *m, const vok_vec3 *in)
{
    std::copy_n(numbers(in), 3, m->e + 12);
}
void vok_mat4_get_scale(vok_vec3 *out, const vok_mat4 *m)
{
    *out = {m->e[0], m->e[5], m->e[10]};
}
void vok_mat4_set_scale(vok_mat4 *m, const vok_vec3 *in)
{
    for (int i = 0; i < 3; i++)
        m->e[i * 5] = numbers(in)[i];
}
void vok_mat4_from_mat3(vok_mat4 *out, const vok_mat3 *m)
{
    take(out, m->e, 3);
}
void vok_mat3_from_mat4(vok_mat3 *out, const vok_mat4 *m)
{
    take(out, m->e, 4);
}
