// What the files of vectors, matrices and quaternions share: records as arrays of float,
// and the arithmetic of three components as it is written.
#pragma once
#include <cmath>

#include <vokra/vecmath.h>

namespace vok::vecmath {

constexpr float tolerance = 1e-5f;

template <typename T> constexpr int size = sizeof(T) / sizeof(float);

template <typename T> float *numbers(T *v)
{
    return reinterpret_cast<float *>(v);
}
template <typename T> const float *numbers(const T *v)
{
    return reinterpret_cast<const float *>(v);
}

inline vok_vec3 operator+(const vok_vec3 &a, const vok_vec3 &b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline vok_vec3 operator-(const vok_vec3 &a, const vok_vec3 &b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline vok_vec3 operator*(float s, const vok_vec3 &a)
{
    return {s * a.x, s * a.y, s * a.z};
}

template <typename T> float dot(const T &a, const T &b)
{
    float sum = numbers(&a)[0] * numbers(&b)[0];
    for (int i = 1; i < size<T>; i++)
        sum += numbers(&a)[i] * numbers(&b)[i];
    return sum;
}

inline vok_vec3 cross(const vok_vec3 &a, const vok_vec3 &b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

inline float length(const vok_vec3 &a)
{
    return std::sqrt(dot(a, a));
}

// What is nearly 0 becomes the tolerance in every component; the factor is returned.
template <typename T> float normalize(T *v)
{
    const float squared = dot(*v, *v);
    if (squared <= tolerance) {
        for (int i = 0; i < size<T>; i++)
            numbers(v)[i] = tolerance;
        return tolerance;
    }
    const float factor = 1.0f / std::sqrt(squared);
    for (int i = 0; i < size<T>; i++)
        numbers(v)[i] *= factor;
    return factor;
}

inline vok_vec3 rotated(const vok_quat &q, const vok_vec3 &v)
{
    const vok_vec3 u = {q.x, q.y, q.z}, t = cross(u, v);
    return v + 2.0f * cross(u, t) + 2.0f * q.w * t;
}

inline vok_vec3 normalized(vok_vec3 v)
{
    normalize(&v);
    return v;
}

} // namespace vok::vecmath
