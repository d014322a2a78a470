// Vectors, matrices, quaternions and solids against formulas in double precision.
#include <cmath>
#include <random>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <vokra/vokra.h>

#include "geometry/rotations.h"

namespace {

void near(const float *a, const std::vector<double> &b, double tolerance = 1e-5)
{
    for (size_t i = 0; i < b.size(); i++)
        EXPECT_NEAR(static_cast<double>(a[i]), b[i], tolerance) << "component " << i;
}
void near(const vok_vec3 &a, const vok_vec3 &b, double tolerance = 1e-5)
{
    near(&a.x, {b.x, b.y, b.z}, tolerance);
}
// What fn writes, from arguments by value.
template <typename P, typename V> P argument(const V &v)
{
    if constexpr (std::is_pointer_v<P>)
        return &v;
    else
        return v;
}
template <typename R, typename T, typename... P>
T made(R (*fn)(T *, P...), const std::remove_const_t<std::remove_pointer_t<P>> &...in)
{
    T out{};
    fn(&out, argument<P>(in)...);
    return out;
}

template <typename M> void is_identity(const M &m, double tolerance)
{
    constexpr int n = sizeof m == 36 ? 3 : 4;
    for (int i = 0; i < n * n; i++)
        EXPECT_NEAR(m.e[i], i % (n + 1) == 0, tolerance) << "element " << i;
}

vok_vec3 rotated(const vok_quat &q, const vok_vec3 &v)
{
    const auto r = of_quat(&q.x).e;
    const auto row = [&](size_t i) { return static_cast<float>(r[i][0] * v.x + r[i][1] * v.y + r[i][2] * v.z); };
    return {row(0), row(1), row(2)};
}

class Vecmath : public testing::Test {
  protected:
    float real() { return std::uniform_real_distribution<float>(-2, 2)(random); }
    vok_vec3 vec3() { return {real(), real(), real()}; }
    vok_quat turn()
    {
        vok_quat q = {real(), real(), real(), real()};
        vok_quat_normalize(&q);
        return q;
    }
    vok_mat4 mat4(float diagonal = 0)
    {
        vok_mat4 m;
        for (int i = 0; i < 16; i++)
            m.e[i] = real() + (i % 5 ? 0 : diagonal);
        return m;
    }
    static vok_mat4 placed(const vok_quat &q, const vok_vec3 &t)
    {
        vok_mat4 m = made(vok_mat4_identity);
        vok_mat4_from_quat(&m, &q);
        vok_mat4_set_translation(&m, &t);
        return m;
    }
    std::mt19937 random{3};
};

TEST_F(Vecmath, operations_by_component)
{
    const vok_vec4 a = {1, -2, 3, 8}, b = {2, 4, -6, 16};
    const struct {
        void (*op)(vok_vec4 *, const vok_vec4 *, const vok_vec4 *);
        std::vector<double> out;
    } table[] = {{vok_vec4_add, {3, 2, -3, 24}},     {vok_vec4_sub, {-1, -6, 9, -8}},
                 {vok_vec4_mult, {2, -8, -18, 128}}, {vok_vec4_div, {0.5, -0.5, -0.5, 0.5}},
                 {vok_vec4_min, {1, -2, -6, 8}},     {vok_vec4_max, {2, 4, 3, 16}}};
    for (const auto &row : table) {
        vok_vec4 out = a;
        row.op(&out, &out, &b);
        near(&out.x, row.out, 0);
    }
    EXPECT_EQ(vok_vec4_dot(&a, &b), 2 - 8 - 18 + 128);
    EXPECT_EQ(vok_vec4_get_coord(&a, 3), 8);
    EXPECT_EQ(vok_vec4_get_coord(&a, 4), 0);
    const vok_vec3 n = {0, 1, 0};
    vok_vec3 v = {1, 2, 3}, tiny = {0, 0, 0.003f};
    vok_vec3_orthogonalize(&v, &n); // takes the second component of n twice
    near(v, {1, 0, 1}, 0);
    near(made(vok_vec3_cubemap_normal, 1, 0, 3, 2), {0.40824829f, -0.81649658f, 0.40824829f});
    EXPECT_EQ(vok_vec3_normalize(&tiny), 1e-5f); // what is nearly zero becomes the tolerance
    near(tiny, {1e-5f, 1e-5f, 1e-5f}, 0);
    vok_vec4 w = {0, 3, 0, 4};
    EXPECT_FLOAT_EQ(vok_vec4_normalize(&w), 0.2f);
    near(&w.x, {0, 0.6, 0, 0.8});
    const vok_vec2 checked[] = {{1, 2}, {HUGE_VALF, 0}, {0, std::nanf("")}};
    for (const vok_vec2 &x : checked)
        EXPECT_EQ(vok_vec2_is_valid(&x), &x == checked);
}

TEST_F(Vecmath, products_of_matrices_and_vectors)
{
    for (int round = 0; round < 50; round++) {
        const vok_mat4 a = mat4(), b = mat4();
        const vok_vec4 p = {real(), real(), real(), 1};
        const vok_vec3 v = {p.x, p.y, p.z};
        vok_mat4 product = a;
        vok_mat4_mult(&product, &product, &b);
        for (int i = 0; i < 16; i++) {
            double sum = 0;
            for (int k = 0; k < 4; k++)
                sum += static_cast<double>(a.e[k * 4 + i % 4]) * static_cast<double>(b.e[i / 4 * 4 + k]);
            EXPECT_NEAR(vok_mat4_get_coord(&product, i % 4, i / 4), sum, 1e-4);
        }
        // (a b) v = a (b v), and a vector times a matrix is the transposed matrix times it
        const vok_vec4 left = made(vok_mat4_mult_vec4, product, p);
        const vok_mat4 turned = made(vok_mat4_get_transpose, product);
        for (const vok_vec4 &right :
             {made(vok_mat4_mult_vec4, a, made(vok_mat4_mult_vec4, b, p)), made(vok_vec4_mult_mat4, p, turned)})
            near(&right.x, {left.x, left.y, left.z, left.w}, 1e-3);
        near(made(vok_mat4_mult_vec3, product, v), {left.x, left.y, left.z}, 1e-4);
        const float w = 1 / left.w;
        near(made(vok_mat4_mult_vec3_pos, product, v), {left.x * w, left.y * w, left.z * w},
             1e-3 * (1 + std::fabs(w)));
    }
    vok_mat4 m = made(vok_mat4_identity);
    const vok_vec4 row = {1, 2, 3, 4};
    vok_mat4_set_row(&m, 3, &row);
    vok_mat4_set_row(&m, 4, &row);
    vok_mat4_set_col(&m, -1, &row);
    near(m.e, {1, 0, 0, 1, 0, 1, 0, 2, 0, 0, 1, 3, 0, 0, 0, 4}, 0);
}

TEST_F(Vecmath, inverses_and_decompositions)
{
    for (int round = 0; round < 100; round++) {
        const vok_mat4 any = mat4(6);
        is_identity(made(vok_mat4_mult, any, made(vok_mat4_get_inverse, any)), 1e-4);
        const vok_mat3 small = made(vok_mat3_from_mat4, any);
        is_identity(made(vok_mat3_mult, small, made(vok_mat3_get_inverse, small)), 1e-4);
        const vok_quat q = turn();
        const vok_vec3 t = vec3(), v = vec3();
        vok_mat4 m = placed(q, t);
        is_identity(made(vok_mat4_mult, m, made(vok_mat4_get_inverse_rot_trans, m)), 1e-5);
        // scales of one sign, and put together again
        const float mirror = round % 2 ? -1.0f : 1.0f;
        const vok_vec3 s = {mirror * (3 + real()), mirror * (3 + real()), mirror * (3 + real())};
        for (int i = 0; i < 12; i++)
            m.e[i] *= (&s.x)[i / 4];
        vok_vec3 translation, scale;
        vok_quat rotation;
        mat4_decompose(&m, &translation, &scale, &rotation);
        near(translation, t, 0);
        near(scale, s, 1e-4);
        near(rotated(rotation, v), rotated(q, v), 1e-4);
    }
    vok_mat4 mirror = made(vok_mat4_identity);
    mirror.e[0] = -1; // its determinant counts as 1e-5
    EXPECT_NEAR(made(vok_mat4_get_inverse, mirror).e[0], 1e5, 1);
}

TEST_F(Vecmath, rotations_agree_in_every_form)
{
    for (int round = 0; round < 200; round++) {
        const vok_quat a = turn(), b = turn();
        const vok_vec3 v = vec3();
        const vok_mat4 m = placed(a, {});
        near(made(vok_quat_mult_vec3, a, v), rotated(a, v));
        near(made(vok_mat4_mult_vec3_dir, m, v), rotated(a, v));
        near(rotated(made(vok_quat_mult, a, b), v), rotated(a, rotated(b, v)), 1e-4);
        near(rotated(made(vok_quat_from_mat4, m), v), rotated(a, v), 1e-4);
        // an axis and an angle, and half-turns, where the trace is negative
        vok_vec3 axis = vec3(), to = vec3();
        vok_vec3_normalize(&axis);
        vok_vec3_normalize(&to);
        const float angle = round % 3 ? real() : 3.1415927f;
        const vok_vec3 wanted = rotated(made(vok_quat_from_axisangle, axis, angle), v);
        const vok_mat3 r = made(vok_mat3_from_axisangle, axis, angle);
        near(made(vok_mat3_mult_vec3, r, v), wanted);
        near(rotated(made(vok_quat_from_mat3, r), v), wanted, 1e-4);
        // from one vector to another
        near(rotated(made(vok_quat_shortest_arc, axis, to), axis), to, 1e-4);
        near(made(vok_mat3_mult_vec3, made(vok_mat3_from_uv, axis, to), axis), to, 1e-4);
    }
    const vok_quat q = made(vok_quat_shortest_arc, {1, 0, 0}, {-1, 0, 0});
    EXPECT_EQ(q.x, 0);
    EXPECT_LT(q.w, 0);
    near(rotated(q, {1, 0, 0}), {-1, 0, 0});
}

TEST_F(Vecmath, quaternions_between_two)
{
    const vok_quat a = {0, 0, 0, 1}, b = {0, 0, std::sin(0.5f), std::cos(0.5f)}, minus = {0, 0, -b.z, -b.w};
    const double omega = 3.14159265358979 - 0.5, k = std::sin(omega); // the long way
    const struct {
        vok_quat found;
        double z, w;
    } rows[] = {{made(vok_quat_slerp, a, b, 0.25f), std::sin(0.125), std::cos(0.125)},
                {made(vok_quat_slerp_shortest, a, minus, 0.25f), std::sin(0.125), std::cos(0.125)},
                {made(vok_quat_slerp, a, minus, 0.25f), -std::sin(0.5) * std::sin(0.25 * omega) / k,
                 std::cos(0.25 * omega)},
                {made(vok_quat_lerp, a, minus, 1, 0.5f), std::sin(0.5) / 2, (1 + std::cos(0.5)) / 2},
                {made(vok_quat_mult, made(vok_quat_inverse, b), b), 0, 1},
                {made(vok_quat_trackball, 1, {0.1f, 0}, {0.1f, 0}), 0, 1}};
    for (const auto &row : rows)
        near(&row.found.x, {0, 0, row.z, row.w}, 1e-4);
    const vok_quat ball = made(vok_quat_trackball, 1, {0.1f, 0}, {0.2f, 0});
    EXPECT_GT(std::fabs(ball.y), 0.05f);
    EXPECT_NEAR(vok_quat_mag(&ball), 1, 1e-5);
}

TEST_F(Vecmath, views_and_projections)
{
    const vok_mat4 view = made(vok_mat4_look_at, {1, 2, 3}, {1, 2, -4}, {0, 1, 0});
    near(made(vok_mat4_mult_vec3, view, {2, 4, 0}), {1, 2, -3});
    near(made(vok_mat4_mult_vec3_pos, made(vok_mat4_perspective, 90, 2, 1, 10), {20, 10, -10}), {1, 1, 1}, 1e-4);
    near(made(vok_mat4_mult_vec3, made(vok_mat4_ortho, -2, 4, -1, 1, 1, 3), {4, -1, -3}), {1, -1, 1});
}

TEST_F(Vecmath, rays_and_lines_meet_solids)
{
    const vok_ray ray = {{0, 0, 5}, {0, 0, -2}};
    float t = 9;
    const struct {
        vok_aabox box;
        float t; // 0: no hit
    } boxes[] = {{{{-1, -1, -1}, {1, 1, 1}}, 2}, {{{-1, -1, 4}, {1, 1, 6}}, 0},  {{{2, 2, -1}, {3, 3, 1}}, 0},
                 {{{0, 0, 0}, {0, 0, 0}}, 0},    {{{-1, 1, -1}, {1, -1, 1}}, 0}, {{{-1, -1, 6}, {1, 1, 7}}, 0}};
    for (const auto &row : boxes) {
        EXPECT_EQ(vok_ray_intersects_box(&t, &ray, &row.box), row.t != 0);
        EXPECT_EQ(t, row.t);
    }
    const struct {
        vok_sphere sphere;
        long cull_inside;
        float t;
    } spheres[] = {{{{0, 0, 0}, 1}, 0, 2},
                   {{{0, 0, 5}, 2}, 0, 1},
                   {{{0, 0, 5}, 2}, 1, 0},
                   {{{0, 0, 9}, 1}, 0, -1.5f},
                   {{{3, 0, 0}, 1}, 0, 0}};
    for (const auto &row : spheres) {
        EXPECT_EQ(vok_ray_intersects_sphere(&t, &ray, &row.sphere, row.cull_inside), row.t != 0);
        EXPECT_NEAR(t, row.t, 1e-3);
    }
    EXPECT_EQ(made(vok_ray_intersects_plane, ray, {{0, 0, 1}, {0, 0, 1}}), 2);
    EXPECT_EQ(made(vok_ray_intersects_plane, ray, {{0, 0, 1}, {1, 0, 0}}), 0);
    const vok_sphere ball = {{0, 0, 0}, 1};
    const vok_line line = {{-5, 0.6f, 0}, {5, 0.6f, 0}}, far = {{-5, 3, 0}, {5, 3, 0}};
    near(made(vok_line_intersects_sphere, line, ball), {-0.8f, 0.6f, 0});
    near(made(vok_line_intersects_sphere, far, ball), {0, 0, 0}, 0);
    near(made(vok_line_closest_sphere, far, ball), {0, 1, 0});
    const vok_tri tri = {{0, 0, 0}, {4, 0, 0}, {0, 3, 0}};
    EXPECT_FLOAT_EQ(vok_tri_area(&tri), 6);
    EXPECT_FLOAT_EQ(vok_tri_perimeter(&tri), 12);
    vok_vec3 point;
    EXPECT_FLOAT_EQ(vok_tri_find_in_circle(&point, &tri.a, &tri.b, &tri.c), 1);
    near(point, {1, 1, 0});
    EXPECT_FLOAT_EQ(vok_tri_find_circ_circle(&point, &tri.a, &tri.b, &tri.c), 2.5f);
    near(point, {2, 1.5f, 0});
    EXPECT_EQ(vok_tri_find_circ_circle(&point, &tri.a, &tri.a, &tri.b), 0);
}

TEST_F(Vecmath, the_family_on_arrays)
{
    for (int round = 0; round < 50; round++) {
        float axis[3] = {real(), real(), real()}, q[4], read[3], angle, xyz[3];
        const float turned = std::fabs(real()) + 0.1f;
        axis_to_quat(axis, q, turned);
        EXPECT_NEAR(vlength(axis), 1, 1e-5);
        quat_to_axis(q, read, &angle);
        EXPECT_NEAR(angle, turned, 1e-3);
        near(read, {axis[0], axis[1], axis[2]}, 1e-3);
        float m[16], v[4] = {real(), real(), real(), 1}, out[4];
        build_rotmatrix(m, q);
        transform_point(v, m, out);
        const vok_vec3 expected = rotated({q[0], q[1], q[2], q[3]}, {v[0], v[1], v[2]});
        near(out, {expected.x, expected.y, expected.z, 1}, 1e-4);
        // the angles of a rotation, put together about z, y and x, are the rotation
        axis_to_xyz(axis, xyz, turned);
        float all[4] = {0, 0, 0, 1}, part[4];
        for (int i = 2; i >= 0; i--) {
            float along[3] = {};
            along[i] = 1;
            axis_to_quat(along, part, xyz[i]);
            add_quats(all, part, all);
        }
        near(rotated({all[0], all[1], all[2], all[3]}, {v[0], v[1], v[2]}), expected, 1e-3);
    }
    float q[4], r[4];
    trackball(q, 0, 0, 0.1f, 0);
    trackball(r, 0.1f, 0, 0, 0);
    near(q, {-r[0], -r[1], -r[2], r[3]});
    EXPECT_NE(q[1], 0);
}

} // namespace
