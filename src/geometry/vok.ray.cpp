// Triangles, rays and lines, and where they meet planes, spheres and boxes.
#include "geometry/vecmath.h"

#include <algorithm>
#include <limits>

#include <vokra/numerics.h>

namespace {

using namespace vok::vecmath;

struct sides {
    float a, b, c; // each opposite of its corner
    sides(const vok_vec3 &p, const vok_vec3 &q, const vok_vec3 &r)
        : a(length(q - r)), b(length(r - p)), c(length(p - q))
    {
    }
    float sum() const { return a + b + c; }
};

float area_of(const vok_vec3 &a, const vok_vec3 &b, const vok_vec3 &c)
{
    return 0.5f * length(cross(a, b) + cross(b, c) + cross(c, a));
}

long hit(float *t, float at)
{
    *t = at;
    return 1;
}
long miss(float *t)
{
    *t = 0;
    return 0;
}

} // namespace

float vok_tri_area(const vok_tri *t)
{
    const sides l(t->a, t->b, t->c);
    const float s = l.sum() * 0.5f;
    return std::sqrt(std::max(s * (s - l.a) * (s - l.b) * (s - l.c), 0.0f)); // Heron
}

float vok_tri_perimeter(const vok_tri *t)
{
    return sides(t->a, t->b, t->c).sum();
}

float vok_tri_find_in_circle(vok_vec3 *centre, const vok_vec3 *a, const vok_vec3 *b, const vok_vec3 *c)
{
    const float area = area_of(*a, *b, *c);
    if (area < tolerance)
        return 0;
    const sides l(*a, *b, *c);
    const float p = l.sum();
    *centre = 1.0f / p * (l.a * *a + l.b * *b + l.c * *c);
    return 2.0f * area / p;
}

float vok_tri_find_circ_circle(vok_vec3 *centre, const vok_vec3 *a, const vok_vec3 *b, const vok_vec3 *c)
{
    const float area = area_of(*a, *b, *c);
    if (area < tolerance)
        return 0;
    const sides l(*a, *b, *c);
    const float aa = l.a * l.a, bb = l.b * l.b, cc = l.c * l.c;
    // its barycentric coordinates
    const float u = aa * (bb + cc - aa), v = bb * (cc + aa - bb), w = cc * (aa + bb - cc);
    *centre = 1.0f / (u + v + w) * (u * *a + v * *b + w * *c);
    return l.a * l.b * l.c / (4.0f * area);
}

void vok_ray_get_point(vok_vec3 *out, const vok_ray *ray, float t)
{
    *out = ray->origin + t * ray->direction;
}

long vok_ray_intersects_plane(float *t, const vok_ray *ray, const vok_plane *plane)
{
    const float d = dot(ray->direction, plane->normal);
    if (std::fabs(d) < tolerance)
        return miss(t);
    *t = dot(plane->point - ray->origin, plane->normal) / d;
    return *t >= 0;
}

long vok_ray_intersects_sphere(float *t, const vok_ray *ray, const vok_sphere *sphere, long cull_inside)
{
    const vok_vec3 from_centre = ray->origin - sphere->centre;
    const float c = dot(from_centre, from_centre) - sphere->radius * sphere->radius;
    if (cull_inside && c <= 0)
        return miss(t);
    const float a = dot(ray->direction, ray->direction), b = 2.0f * dot(ray->direction, from_centre);
    const float discriminant = b * b - 4.0f * a * c;
    if (discriminant < 0)
        return miss(t);
    const float s = vok_math_fast_sqrt(discriminant);
    const float first = (-b - s) / (2.0f * a);
    return hit(t, first < 0 ? (s - b) / (2.0f * a) : first);
}

long vok_ray_intersects_box(float *t, const vok_ray *ray, const vok_aabox *box)
{
    const float *low = numbers(&box->min), *high = numbers(&box->max);
    const float *origin = numbers(&ray->origin), *direction = numbers(&ray->direction);
    bool empty = true, inside = true;
    for (int i = 0; i < 3; i++) {
        if (high[i] < low[i])
            return miss(t);
        empty &= low[i] == 0 && high[i] == 0;
        inside &= origin[i] > low[i] && origin[i] < high[i];
    }
    if (empty || inside)
        return miss(t);
    float nearest = std::numeric_limits<float>::infinity();
    for (int i = 0; i < 3; i++)
        for (const bool upper : {false, true}) {
            const float face = upper ? high[i] : low[i];
            const bool towards =
                upper ? origin[i] >= face && direction[i] < 0 : origin[i] <= face && direction[i] > 0;
            if (!towards)
                continue;
            const float at = (face - origin[i]) / direction[i];
            bool within = at >= 0 && at < nearest;
            for (const int k : {(i + 1) % 3, (i + 2) % 3}) {
                const float p = origin[k] + at * direction[k];
                within &= p >= low[k] && p <= high[k];
            }
            if (within)
                nearest = at;
        }
    return std::isinf(nearest) ? miss(t) : hit(t, nearest);
}

long vok_line_intersects_sphere(vok_vec3 *point, const vok_line *line, const vok_sphere *sphere)
{
    const vok_vec3 d = normalized(line->end - line->start), e = sphere->centre - line->start;
    const float v = dot(e, d), discriminant = sphere->radius * sphere->radius - (dot(e, e) - v * v);
    if (discriminant < 0)
        return 0;
    *point = line->start + (v - std::sqrt(discriminant)) * d;
    return 1;
}

void vok_line_closest_sphere(vok_vec3 *point, const vok_line *line, const vok_sphere *sphere)
{
    const vok_vec3 d = normalized(line->end - line->start);
    const vok_vec3 nearest = line->start + dot(sphere->centre - line->start, d) * d;
    *point = sphere->centre + sphere->radius * normalized(nearest - sphere->centre);
}
