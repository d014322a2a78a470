// Euler angles in six orders. One table tells the orders apart: which elements of the
// matrix give which angle (Shoemake, Euler Angle Conversion, in Graphics Gems IV, 1994).
#include "geometry/vecmath.h"

#include <vokra/quat_interface.h>

namespace {

using namespace vok::vecmath;

// An element of a mat3 with its sign.
struct term {
    int element;
    float sign;
    float of(const vok_mat3 *m) const { return sign * m->e[element]; }
};

struct euler_order {
    int axes[3];                             // first, middle, third: 0 x, 1 y, 2 z
    term middle;                             // the sine of the middle angle
    term first_y, first_x, third_y, third_x; // atan2 of both
    term pole_y, pole_x;                     // of the first angle at a pole
};

constexpr euler_order orders[] = {
    {{0, 1, 2}, {6, 1}, {7, -1}, {8, 1}, {3, -1}, {0, 1}, {1, 1}, {4, 1}}, // xyz
    {{0, 2, 1}, {3, -1}, {5, 1}, {4, 1}, {6, 1}, {0, 1}, {2, -1}, {8, 1}}, // xzy
    {{1, 0, 2}, {7, -1}, {6, 1}, {8, 1}, {1, 1}, {4, 1}, {3, -1}, {0, 1}}, // yxz
    {{1, 2, 0}, {1, 1}, {2, -1}, {0, 1}, {7, -1}, {4, 1}, {5, 1}, {8, 1}}, // yzx
    {{2, 0, 1}, {5, 1}, {3, -1}, {4, 1}, {2, -1}, {8, 1}, {6, 1}, {0, 1}}, // zxy
    {{2, 1, 0}, {2, -1}, {1, 1}, {0, 1}, {5, 1}, {8, 1}, {3, -1}, {6, 1}}, // zyx: 6 at the pole, deliberately
};
enum order_index { at_xyz, at_xzy, at_yxz, at_yzx, at_zxy, at_zyx };

long to_euler(const euler_order &o, const vok_mat3 *m, float *out)
{
    constexpr double quarter = 1.5707963267948966;
    const float sine = o.middle.of(m), middle = std::asin(sine);
    // a sine that rounding brought beyond 1 is at the pole too
    if (std::fabs(static_cast<double>(middle)) < quarter) {
        out[o.axes[0]] = std::atan2(o.first_y.of(m), o.first_x.of(m));
        out[o.axes[1]] = middle;
        out[o.axes[2]] = std::atan2(o.third_y.of(m), o.third_x.of(m));
        return 1;
    }
    const float pole = std::atan2(o.pole_y.of(m), o.pole_x.of(m));
    out[o.axes[0]] = sine > 0 ? pole : 0.0f - pole;
    out[o.axes[1]] = sine > 0 ? 1.5707964f : -1.5707964f;
    out[o.axes[2]] = 0;
    return 0;
}

// About one axis; from the negated angle, which with this layout turns the right way.
vok_mat3 about(int axis, double angle)
{
    const float c = std::cos(static_cast<float>(-angle)), s = std::sin(static_cast<float>(-angle));
    switch (axis) {
    case 0: return {{1, 0, 0, 0, c, -s, 0, s, c}};
    case 1: return {{c, 0, s, 0, 1, 0, -s, 0, c}};
    default: return {{c, -s, 0, s, c, 0, 0, 0, 1}};
    }
}

void from_euler(const euler_order &o, vok_mat3 *m, double x, double y, double z)
{
    const double angles[] = {x, y, z};
    const vok_mat3 first = about(o.axes[0], angles[o.axes[0]]), third = about(o.axes[2], angles[o.axes[2]]);
    vok_mat3 product = about(o.axes[1], angles[o.axes[1]]);
    vok_mat3_mult(&product, &product, &third);
    vok_mat3_mult(m, &first, &product);
}

} // namespace

#define VOKRA_DEFINE_EULER(order)                                                                                 \
    long vok_mat3_to_euler##order(const vok_mat3 *m, float *out)                                                  \
    {                                                                                                             \
        return to_euler(orders[at_##order], m, out);                                                              \
    }                                                                                                             \
    void vok_mat3_from_euler##order(vok_mat3 *m, double x, double y, double z)                                    \
    {                                                                                                             \
        from_euler(orders[at_##order], m, x, y, z);                                                               \
    }
VOKRA_EULER_ORDERS(VOKRA_DEFINE_EULER)

void vok_quat_to_xyz(const vok_quat *q, float *out)
{
    const double x = q->x, y = q->y, z = q->z, w = q->w, t = z * w + x * y;
    if (t > 0.499 || t < -0.499) {
        const double sign = t > 0 ? 1 : -1;
        out[0] = 0;
        out[1] = static_cast<float>(sign * 2 * std::atan2(x, w));
        out[2] = t > 0 ? 1.5707964f : -1.5707964f;
        return;
    }
    out[0] = static_cast<float>(std::atan2(2 * x * w - 2 * y * z, 1 - 2 * x * x - 2 * z * z));
    out[1] = static_cast<float>(std::atan2(2 * y * w - 2 * x * z, 1 - 2 * y * y - 2 * z * z));
    out[2] = static_cast<float>(std::asin(2 * t));
}

void vok_quat_from_xyz(vok_quat *q, const float *angles)
{
    const double x = angles[0], y = angles[1], z = angles[2];
    const double c1 = std::cos(y / 2), s1 = std::sin(y / 2), c2 = std::cos(z / 2), s2 = std::sin(z / 2),
                 c3 = std::cos(x / 2), s3 = std::sin(x / 2);
    *q = {static_cast<float>(s1 * s2 * c3 + c1 * c2 * s3), static_cast<float>(s1 * c2 * c3 + c1 * s2 * s3),
          static_cast<float>(c1 * s2 * c3 - s1 * c2 * s3), static_cast<float>(c1 * c2 * c3 - s1 * s2 * s3)};
}

void vok_quat_to_axisangle(const vok_quat *q, vok_vec3 *axis, float *angle)
{
    const float n = q->x * q->x + q->y * q->y + q->z * q->z;
    if (!(n > 0)) {
        *axis = {0, 0, 1};
        *angle = 0;
        return;
    }
    const double scale = 1 / std::sqrt(static_cast<double>(n));
    *axis = {static_cast<float>(q->x * scale), static_cast<float>(q->y * scale), static_cast<float>(q->z * scale)};
    *angle = static_cast<float>(2 * std::acos(static_cast<double>(q->w)));
}
