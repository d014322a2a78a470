// Quaternions: products, conversions from and to axes and matrices, and interpolation.
#include "geometry/vecmath.h"

#include <algorithm>
#include <bit>

#include <vokra/numerics.h>

namespace {

using namespace vok::vecmath;

// The columns of the rotation.
struct axes {
    vok_vec3 x, y, z;
};
axes axes_of(const vok_quat &q)
{
    const float xx = q.x * q.x, yy = q.y * q.y, zz = q.z * q.z, xy = q.x * q.y, xz = q.x * q.z, yz = q.y * q.z,
                wx = q.w * q.x, wy = q.w * q.y, wz = q.w * q.z;
    return {{1 - 2 * (yy + zz), 2 * xy + 2 * wz, 2 * xz - 2 * wy},
            {2 * xy - 2 * wz, 1 - 2 * (xx + zz), 2 * yz + 2 * wx},
            {2 * xz + 2 * wy, 2 * yz - 2 * wx, 1 - 2 * (xx + yy)}};
}

vok_quat blend(const vok_quat &a, float s, const vok_quat &b, float t)
{
    return {a.x * s + b.x * t, a.y * s + b.y * t, a.z * s + b.z * t, a.w * s + b.w * t};
}

vok_quat negated(const vok_quat &q)
{
    return {-q.x, -q.y, -q.z, -q.w};
}

vok_quat slerp(const vok_quat &a, const vok_quat &b, float cosine, float t)
{
    const float omega = std::acos(std::clamp(cosine, -1.0f, 1.0f));
    if (std::fabs(omega) < tolerance)
        return a;
    const float k = 1.0f / std::sin(omega);
    return blend(a, std::sin((1.0f - t) * omega) * k, b, std::sin(t * omega) * k);
}

} // namespace

void vok_quat_mult(vok_quat *out, const vok_quat *a, const vok_quat *b)
{
    *out = {a->w * b->x + a->x * b->w + a->y * b->z - a->z * b->y,
            a->w * b->y + a->y * b->w + a->z * b->x - a->x * b->z,
            a->w * b->z + a->z * b->w + a->x * b->y - a->y * b->x,
            a->w * b->w - a->x * b->x - a->y * b->y - a->z * b->z};
}

void vok_quat_conj(vok_quat *q)
{
    vok_quat_get_conj(q, q);
}

void vok_quat_get_conj(vok_quat *out, const vok_quat *q)
{
    *out = {-q->x, -q->y, -q->z, q->w};
}

void vok_quat_inverse(vok_quat *out, const vok_quat *q)
{
    const float squared = dot(*q, *q);
    if (squared <= 0)
        *out = {0, 0, 0, 0};
    else
        *out = {-q->x / squared, -q->y / squared, -q->z / squared, q->w / squared};
}

void vok_quat_mult_vec3(vok_vec3 *out, const vok_quat *q, const vok_vec3 *v)
{
    *out = rotated(*q, *v);
}

void vok_quat_from_axisangle(vok_quat *out, const vok_vec3 *axis, float angle)
{
    const vok_vec3 a = normalized(*axis);
    const double half = static_cast<double>(angle) * 0.5;
    const auto s = static_cast<float>(std::sin(half)), c = static_cast<float>(std::cos(half));
    *out = {a.x * s, a.y * s, a.z * s, c};
}

void vok_quat_to_axes(const vok_quat *q, vok_vec3 *x, vok_vec3 *y, vok_vec3 *z)
{
    const axes a = axes_of(*q);
    *x = a.x;
    *y = a.y;
    *z = a.z;
}

void vok_mat4_from_quat(vok_mat4 *out, const vok_quat *q)
{
    const axes a = axes_of(*q);
    const vok_mat3 m = {{a.x.x, a.x.y, a.x.z, a.y.x, a.y.y, a.y.z, a.z.x, a.z.y, a.z.z}};
    vok_mat4_from_mat3(out, &m);
}

void vok_quat_from_mat3(vok_quat *out, const vok_mat3 *matrix)
{
    const float *m = matrix->e;
    const float trace = m[0] + m[4] + m[8];
    if (trace > 0) {
        const float s = std::sqrt(trace + 1.0f), k = 0.5f / s;
        *out = {(m[5] - m[7]) * k, (m[6] - m[2]) * k, (m[1] - m[3]) * k, s * 0.5f};
        return;
    }
    int i = m[4] > m[0] ? 1 : 0;
    if (m[8] > m[i * 4])
        i = 2;
    const int j = (i + 1) % 3, k = (j + 1) % 3;
    const float s = std::sqrt(m[i * 4] - m[j * 4] - m[k * 4] + 1.0f), r = 0.5f / s;
    vok_quat q;
    numbers(&q)[i] = s * 0.5f;
    q.w = (m[j * 3 + k] - m[k * 3 + j]) * r;
    numbers(&q)[j] = (m[i * 3 + j] + m[j * 3 + i]) * r;
    numbers(&q)[k] = (m[i * 3 + k] + m[k * 3 + i]) * r;
    *out = q;
}

void vok_quat_from_mat4(vok_quat *out, const vok_mat4 *m)
{
    vok_mat3 rotation;
    vok_mat3_from_mat4(&rotation, m);
    vok_quat_from_mat3(out, &rotation);
}

void vok_quat_from_axes(vok_quat *out, const vok_vec3 *x, const vok_vec3 *y, const vok_vec3 *z)
{
    const vok_mat3 m = {{x->x, x->y, x->z, y->x, y->y, y->z, z->x, z->y, z->z}};
    vok_quat_from_mat3(out, &m);
}

void vok_quat_shortest_arc(vok_quat *out, const vok_vec3 *from_any, const vok_vec3 *to_any)
{
    const vok_vec3 from = normalized(*from_any), to = normalized(*to_any);
    const float d = dot(from, to);
    if (d >= 1.0f) {
        *out = {0, 0, 0, 1};
        return;
    }
    if (d < -0.999999f) { // any axis across will do
        vok_vec3 a = cross({1, 0, 0}, from);
        if (dot(a, a) < 1e-12f)
            a = cross({0, 1, 0}, from);
        normalize(&a);
        normalize(&a);                                             // twice, deliberately
        *out = {a.x, a.y, a.z, std::bit_cast<float>(0xB33BBD2Eu)}; // the cosine of a quarter turn in float
        return;
    }
    const float s = std::sqrt(2.0f * (1.0f + d));
    const vok_vec3 c = cross(from, to);
    *out = {c.x / s, c.y / s, c.z / s, s * 0.5f};
    normalize(out);
}

void vok_quat_slerp(vok_quat *out, const vok_quat *a, const vok_quat *b, float t)
{
    *out = slerp(*a, *b, dot(*a, *b), t);
}

void vok_quat_slerp_shortest(vok_quat *out, const vok_quat *a, const vok_quat *b, float t)
{
    const float d = dot(*a, *b);
    *out = d < 0 ? slerp(*a, negated(*b), -d, t) : slerp(*a, *b, d, t);
}

void vok_quat_lerp(vok_quat *out, const vok_quat *a, const vok_quat *b, long shortest, float t)
{
    const vok_quat to = shortest && dot(*a, *b) < 0 ? negated(*b) : *b;
    *out = {a->x + t * (to.x - a->x), a->y + t * (to.y - a->y), a->z + t * (to.z - a->z),
            a->w + t * (to.w - a->w)};
}

void vok_quat_squad(vok_quat *out, const vok_quat *q0, const vok_quat *a, const vok_quat *b, const vok_quat *q1,
                    long shortest, float t)
{
    vok_quat u, v;
    (shortest ? vok_quat_slerp_shortest : vok_quat_slerp)(&u, q0, q1, t);
    vok_quat_slerp(&v, a, b, t);
    vok_quat_slerp(out, &u, &v, 2.0f * t * (1.0f - t));
}

void vok_quat_log(vok_quat *out, const vok_quat *q)
{
    float factor = 1.0f;
    if (std::fabs(q->w) < 1.0f) {
        const float angle = vok_math_fast_acos(q->w), s = vok_math_fast_sin(angle);
        if (std::fabs(s) >= tolerance)
            factor = angle / s;
    }
    *out = {q->x * factor, q->y * factor, q->z * factor, 0};
}

void vok_quat_exp(vok_quat *out, const vok_quat *q)
{
    const float a = vok_math_fast_sqrt(q->x * q->x + q->y * q->y + q->z * q->z), s = vok_math_fast_sin(a);
    const float factor = std::fabs(s) >= tolerance ? s / a : 1.0f;
    *out = {q->x * factor, q->y * factor, q->z * factor, vok_math_fast_acos(a)};
}

void vok_quat_trackball(vok_quat *out, float radius, const vok_vec2 *p1, const vok_vec2 *p2)
{
    if (p1->x == p2->x && p1->y == p2->y) {
        *out = {0, 0, 0, 1};
        return;
    }
    // on the ball, or outside on a sheet that meets it smoothly (a hyperbola)
    const auto depth = [=](const vok_vec2 &p) {
        const float d = std::sqrt(p.x * p.x + p.y * p.y);
        if (d < radius * 0.7071067811865476f)
            return std::sqrt(radius * radius - d * d);
        const float edge = radius / 1.4142135f;
        return edge * edge / d;
    };
    const vok_vec3 a = {p1->x, p1->y, depth(*p1)}, b = {p2->x, p2->y, depth(*p2)};
    const vok_vec3 axis = normalized({a.z * b.y - b.z * a.y, b.z * a.x - a.z * b.x, a.y * b.x - a.x * b.y});
    const float t = std::clamp(length(a - b) / radius, -1.0f, 1.0f), phi = 2.0f * std::asin(t);
    const float s = std::sin(phi * 0.5f);
    *out = {axis.x * s, axis.y * s, axis.z * s, std::cos(phi * 0.5f)};
}
