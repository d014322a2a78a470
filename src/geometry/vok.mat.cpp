// Matrices of rotations, inverses, views and projections.
#include "geometry/vecmath.h"

#include <algorithm>

namespace {

using namespace vok::vecmath;

// `angle` about an axis as it stands, column after column (Rodrigues).
vok_mat3 about_axis(const vok_vec3 &a, float angle)
{
    const float c = std::cos(angle), s = std::sin(angle);
    const auto diagonal = [=](float x) { return (1.0f - x * x) * c + x * x; };
    const auto mixed = [=](float x, float y) { return x * y * (1.0f - c); };
    return {{diagonal(a.x), mixed(a.x, a.y) + a.z * s, mixed(a.x, a.z) - a.y * s, //
             mixed(a.x, a.y) - a.z * s, diagonal(a.y), mixed(a.y, a.z) + a.x * s, //
             mixed(a.x, a.z) + a.y * s, mixed(a.y, a.z) - a.x * s, diagonal(a.z)}};
}

vok_mat3 from_to(const vok_vec3 &u, const vok_vec3 &v)
{
    const vok_vec3 c = cross(u, v);
    const float d = dot(u, v), squared = dot(c, c);
    const float h = squared > tolerance ? (1.0f - d) / squared : squared;
    return {{d + h * c.x * c.x, c.z + h * c.x * c.y, -c.y + h * c.x * c.z, //
             -c.z + h * c.x * c.y, d + h * c.y * c.y, c.x + h * c.y * c.z, //
             c.y + h * c.x * c.z, -c.x + h * c.y * c.z, d + h * c.z * c.z}};
}

void with_identity(vok_mat4 *out, const vok_mat3 &m)
{
    vok_mat4_identity(out);
    vok_mat4_from_mat3(out, &m);
}

// The minors of two rows of a mat4, of columns (a, b).
struct minors {
    float m01, m02, m03, m12, m13, m23;
    minors(const vok_mat4 &m, int row)
    {
        const auto of = [&](int a, int b) {
            return m.e[a * 4 + row] * m.e[b * 4 + row + 1] - m.e[a * 4 + row + 1] * m.e[b * 4 + row];
        };
        m01 = of(0, 1);
        m02 = of(0, 2);
        m03 = of(0, 3);
        m12 = of(1, 2);
        m13 = of(1, 3);
        m23 = of(2, 3);
    }
};

// By Laplace's expansion over the upper and the lower two rows.
float determinant(const minors &u, const minors &l)
{
    return u.m01 * l.m23 - u.m02 * l.m13 + u.m03 * l.m12 + u.m12 * l.m03 - u.m13 * l.m02 + u.m23 * l.m01;
}

} // namespace

void vok_mat3_from_axisangle(vok_mat3 *out, const vok_vec3 *axis, float angle)
{
    *out = about_axis(*axis, angle);
}
void vok_mat4_from_axisangle(vok_mat4 *out, const vok_vec3 *axis, float angle)
{
    with_identity(out, about_axis(*axis, angle));
}
void vok_mat3_from_uv(vok_mat3 *out, const vok_vec3 *u, const vok_vec3 *v)
{
    *out = from_to(*u, *v);
}
void vok_mat4_from_uv(vok_mat4 *out, const vok_vec3 *u, const vok_vec3 *v)
{
    with_identity(out, from_to(*u, *v));
}

float vok_mat3_determinant(const vok_mat3 *m)
{
    const float *e = m->e;
    return e[0] * (e[4] * e[8] - e[7] * e[5]) - e[3] * (e[1] * e[8] - e[7] * e[2]) +
           e[6] * (e[1] * e[5] - e[4] * e[2]);
}

void vok_mat3_get_inverse(vok_mat3 *out, const vok_mat3 *m)
{
    const float factor = 1.0f / vok_mat3_determinant(m);
    const float *e = m->e;
    *out = {{(e[4] * e[8] - e[7] * e[5]) * factor, (e[7] * e[2] - e[1] * e[8]) * factor,
             (e[1] * e[5] - e[4] * e[2]) * factor, (e[6] * e[5] - e[3] * e[8]) * factor,
             (e[0] * e[8] - e[6] * e[2]) * factor, (e[3] * e[2] - e[0] * e[5]) * factor,
             (e[3] * e[7] - e[6] * e[4]) * factor, (e[6] * e[1] - e[0] * e[7]) * factor,
             (e[0] * e[4] - e[3] * e[1]) * factor}};
}

void vok_mat4_get_inverse(vok_mat4 *out, const vok_mat4 *m)
{
    const minors u(*m, 0), l(*m, 2);
    const float factor = 1.0f / std::max(determinant(u, l), tolerance);
    const auto at = [e = m->e](int row, int col) { return e[col * 4 + row]; };
    // element (row, col) of the inverse is the cofactor of (col, row)
    const float made[16] = {
        at(1, 1) * l.m23 - at(1, 2) * l.m13 + at(1, 3) * l.m12,
        -at(1, 0) * l.m23 + at(1, 2) * l.m03 - at(1, 3) * l.m02,
        at(1, 0) * l.m13 - at(1, 1) * l.m03 + at(1, 3) * l.m01,
        -at(1, 0) * l.m12 + at(1, 1) * l.m02 - at(1, 2) * l.m01,
        -at(0, 1) * l.m23 + at(0, 2) * l.m13 - at(0, 3) * l.m12,
        at(0, 0) * l.m23 - at(0, 2) * l.m03 + at(0, 3) * l.m02,
        -at(0, 0) * l.m13 + at(0, 1) * l.m03 - at(0, 3) * l.m01,
        at(0, 0) * l.m12 - at(0, 1) * l.m02 + at(0, 2) * l.m01,
        at(3, 1) * u.m23 - at(3, 2) * u.m13 + at(3, 3) * u.m12,
        -at(3, 0) * u.m23 + at(3, 2) * u.m03 - at(3, 3) * u.m02,
        at(3, 0) * u.m13 - at(3, 1) * u.m03 + at(3, 3) * u.m01,
        -at(3, 0) * u.m12 + at(3, 1) * u.m02 - at(3, 2) * u.m01,
        -at(2, 1) * u.m23 + at(2, 2) * u.m13 - at(2, 3) * u.m12,
        at(2, 0) * u.m23 - at(2, 2) * u.m03 + at(2, 3) * u.m02,
        -at(2, 0) * u.m13 + at(2, 1) * u.m03 - at(2, 3) * u.m01,
        at(2, 0) * u.m12 - at(2, 1) * u.m02 + at(2, 2) * u.m01,
    };
    for (int i = 0; i < 16; i++)
        out->e[i] = made[i] * factor;
}

void vok_mat4_get_inverse_rot_trans(vok_mat4 *out, const vok_mat4 *m)
{
    vok_mat4 made = *m;
    for (int col = 0; col < 3; col++)
        for (int row = 0; row < 3; row++)
            made.e[col * 4 + row] = m->e[row * 4 + col];
    for (int row = 0; row < 3; row++)
        made.e[12 + row] =
            -(m->e[row * 4] * m->e[12] + m->e[row * 4 + 1] * m->e[13] + m->e[row * 4 + 2] * m->e[14]);
    *out = made;
}

void mat4_decompose(const vok_mat4 *m, vok_vec3 *translation, vok_vec3 *scale, vok_quat *rotation)
{
    *translation = {m->e[12], m->e[13], m->e[14]};
    const float sign = determinant(minors(*m, 0), minors(*m, 2)) < 0 ? -1.0f : 1.0f;
    vok_mat3 axes;
    for (int col = 0; col < 3; col++) {
        const float *column = m->e + col * 4;
        const float s = sign * length({column[0], column[1], column[2]});
        numbers(scale)[col] = s;
        for (int row = 0; row < 3; row++)
            axes.e[col * 3 + row] = s != 0 ? column[row] / s : column[row];
    }
    vok_quat_from_mat3(rotation, &axes);
}

void vok_mat3_tangent_basis(vok_mat3 *out, const vok_vec3 *p0, const vok_vec3 *p1, const vok_vec3 *p2,
                            const vok_vec2 *t0, const vok_vec2 *t1, const vok_vec2 *t2, const vok_vec3 *normal)
{
    const vok_vec3 e1 = *p1 - *p0, e2 = *p2 - *p0;
    vok_vec3 tangent{}, bitangent{};
    for (int i = 0; i < 3; i++) {
        const vok_vec3 n = cross({numbers(&e1)[i], t1->x - t0->x, t1->y - t0->y},
                                 {numbers(&e2)[i], t2->x - t0->x, t2->y - t0->y});
        if (std::fabs(n.x) > tolerance) {
            numbers(&tangent)[i] = -n.y / n.x;
            numbers(&bitangent)[i] = -n.z / n.x;
        }
    }
    normalize(&tangent);
    normalize(&bitangent);
    vok_vec3 third = normalized(cross(tangent, bitangent));
    const vok_vec3 second = cross(third, tangent);
    if (normal && dot(third, *normal) < 0)
        third = -1.0f * third;
    vok_mat3_set_col(out, 0, &tangent);
    vok_mat3_set_col(out, 1, &second);
    vok_mat3_set_col(out, 2, &third);
}

void vok_mat4_look_at(vok_mat4 *out, const vok_vec3 *eye, const vok_vec3 *target, const vok_vec3 *up)
{
    const vok_vec3 z = normalized(*eye - *target);
    const vok_vec3 x = normalized(cross(*up, z));
    const vok_vec3 y = normalized(cross(z, x));
    *out = {
        {x.x, y.x, z.x, 0, x.y, y.y, z.y, 0, x.z, y.z, z.z, 0, -dot(x, *eye), -dot(y, *eye), -dot(z, *eye), 1}};
}

void vok_mat4_frustum(vok_mat4 *out, float left, float right, float bottom, float top, float near_z, float far_z)
{
    const float w = right - left, h = top - bottom, d = far_z - near_z;
    *out = {{2 * near_z / w, 0, 0, 0, 0, 2 * near_z / h, 0, 0, (right + left) / w, (top + bottom) / h,
             -(far_z + near_z) / d, -1, 0, 0, -2 * far_z * near_z / d, 0}};
}

void vok_mat4_perspective(vok_mat4 *out, float fovy, float aspect, float near_z, float far_z)
{
    const float top = std::tan(fovy * 0.017453292f * 0.5f) * near_z, right = top * aspect;
    vok_mat4_frustum(out, -right, right, -top, top, near_z, far_z);
}

void vok_mat4_ortho(vok_mat4 *out, float left, float right, float bottom, float top, float near_z, float far_z)
{
    const float w = right - left, h = top - bottom, d = far_z - near_z;
    *out = {{2 / w, 0, 0, 0, 0, 2 / h, 0, 0, 0, 0, -2 / d, 0, -(right + left) / w, -(top + bottom) / h,
             -(far_z + near_z) / d, 1}};
}

void vok_mat4_ortho_view(vok_mat4 *out, float fovy, float aspect, float near_z, float far_z)
{
    const float top =
        static_cast<float>(2.0 * std::tan(static_cast<double>(fovy) * 3.14159265358979323846 / 360.0));
    const float right = top * aspect;
    vok_mat4_ortho(out, -right, right, -top, top, near_z, far_z);
}
