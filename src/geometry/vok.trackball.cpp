// A second family of vectors, quaternions and a trackball, on plain arrays with the
// result last, kept for code that calls it by these names.
#include "geometry/vecmath.h"

#include <algorithm>

#define VOKRA_DEFINE_V(v, real)                                                                                   \
    void v##zero(real *a)                                                                                         \
    {                                                                                                             \
        v##set(a, 0, 0, 0);                                                                                       \
    }                                                                                                             \
    void v##set(real *a, real x, real y, real z)                                                                  \
    {                                                                                                             \
        a[0] = x;                                                                                                 \
        a[1] = y;                                                                                                 \
        a[2] = z;                                                                                                 \
    }                                                                                                             \
    void v##sub(const real *a, const real *b, real *out)                                                          \
    {                                                                                                             \
        v##set(out, a[0] - b[0], a[1] - b[1], a[2] - b[2]);                                                       \
    }                                                                                                             \
    void v##copy(const real *a, real *out)                                                                        \
    {                                                                                                             \
        v##set(out, a[0], a[1], a[2]);                                                                            \
    }                                                                                                             \
    void v##cross(const real *a, const real *b, real *out)                                                        \
    {                                                                                                             \
        v##set(out, a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]);             \
    }                                                                                                             \
    real v##length(const real *a)                                                                                 \
    {                                                                                                             \
        return std::sqrt(v##dot(a, a));                                                                           \
    }                                                                                                             \
    void v##scale(real *a, real s)                                                                                \
    {                                                                                                             \
        v##set(a, a[0] * s, a[1] * s, a[2] * s);                                                                  \
    }                                                                                                             \
    void v##normal(real *a)                                                                                       \
    {                                                                                                             \
        v##scale(a, 1 / v##length(a));                                                                            \
    }                                                                                                             \
    real v##dot(const real *a, const real *b)                                                                     \
    {                                                                                                             \
        return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];                                                           \
    }                                                                                                             \
    void v##add(const real *a, const real *b, real *out)                                                          \
    {                                                                                                             \
        v##set(out, a[0] + b[0], a[1] + b[1], a[2] + b[2]);                                                       \
    }
VOKRA_DEFINE_V(v, float)
VOKRA_DEFINE_V(vd, double)

void trackball(float *q, float x1, float y1, float x2, float y2)
{
    if (x1 == x2 && y1 == y2) {
        q[0] = q[1] = q[2] = 0;
        q[3] = 1;
        return;
    }
    // on a ball of radius 0.4, or outside on a sheet that meets it smoothly
    const auto depth = [](float x, float y) {
        const float d = std::sqrt(x * x + y * y);
        return d < 0.2828427166893039f ? std::sqrt(0.16000001f - d * d) : 0.080000006f / d;
    };
    const float z1 = depth(x1, y1), z2 = depth(x2, y2);
    float axis[3] = {z1 * y2 - z2 * y1, z2 * x1 - z1 * x2, y1 * x2 - x1 * y2};
    const float apart[3] = {x1 - x2, y1 - y2, z1 - z2};
    const float phi = std::asin(std::clamp(vlength(apart) / 0.8f, -1.0f, 1.0f));
    axis_to_quat(axis, q, 2.0f * phi);
}

void axis_to_quat(float *axis, float *q, float angle)
{
    vnormal(axis);
    const float half = angle * 0.5f, s = std::sin(half);
    for (int i = 0; i < 3; i++)
        q[i] = axis[i] * s;
    q[3] = std::cos(half);
}

void quat_to_axis(const float *q, float *axis, float *angle)
{
    const float w = q[3];
    float s = std::sqrt(1.0f - w * w);
    if (std::fabs(s) < 0.0005f)
        s = 1.0f;
    vset(axis, q[0] / s, q[1] / s, q[2] / s);
    *angle = 2.0f * std::acos(w);
}

void xyz_to_axis(const float *xyz, float *axis, float *angle)
{
    float turn[3][4], q[4];
    for (int i = 0; i < 3; i++) {
        float unit[3] = {};
        unit[i] = 1;
        axis_to_quat(unit, turn[i], xyz[i]);
    }
    add_quats(turn[0], turn[1], q);
    add_quats(q, turn[2], q);
    quat_to_axis(q, axis, angle);
}

void axis_to_xyz(const float *axis, float *xyz, float angle)
{
    constexpr float quarter = 1.57079632679489661923f;
    const float x = axis[0], y = axis[1], z = axis[2], c = std::cos(angle), s = std::sin(angle), t = 1.0f - c;
    const float r20 = x * z * t - y * s;
    if (r20 >= 1)
        vset(xyz, 0, -quarter, std::atan2(-(x * y * t - z * s), -(x * z * t + y * s)));
    else if (r20 <= -1)
        vset(xyz, 0, quarter, -std::atan2(x * y * t - z * s, x * z * t + y * s));
    else
        vset(xyz, std::atan2(x * s + y * z * t, z * z * t + c), std::asin(-r20),
             std::atan2(x * y * t + z * s, x * x * t + c));
}

void add_quats(const float *a, const float *b, float *out)
{
    const double ax = a[0], ay = a[1], az = a[2], aw = a[3], bx = b[0], by = b[1], bz = b[2], bw = b[3];
    const double p[4] = {aw * bx + ax * bw + ay * bz - az * by, aw * by + ay * bw + az * bx - ax * bz,
                         aw * bz + az * bw + ax * by - ay * bx, aw * bw - ax * bx - ay * by - az * bz};
    const double squared = p[0] * p[0] + p[1] * p[1] + p[2] * p[2] + p[3] * p[3];
    for (int i = 0; i < 4; i++)
        out[i] = static_cast<float>(p[i] / squared);
}

void build_rotmatrix(float *m, const float *q)
{
    const vok_quat rotation = {q[0], q[1], q[2], q[3]};
    vok_mat4 matrix;
    vok_mat4_identity(&matrix);
    vok_mat4_from_quat(&matrix, &rotation);
    std::copy_n(matrix.e, 16, m);
}

void transform_point(const float *v, const float *m, float *out)
{
    float made[4];
    for (int r = 0; r < 4; r++)
        made[r] = m[r] * v[0] + m[4 + r] * v[1] + m[8 + r] * v[2] + m[12 + r] * v[3];
    std::copy_n(made, 4, out);
}
