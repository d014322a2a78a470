// Vectors, matrices, quaternions and solids against formulas in double precision.
#include <cmath>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include <vokra/vokra.h>

#include "geometry/rotations.h"

namespace {

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
    vok_mat4 mat4()
    {
        vok_mat4 m;
        for (float &e : m.e)
            e = real();
        return m;
    }
    static void near(const float *a, const std::vector<double> &b, double tolerance = 1e-5)
    {
        for (size_t i = 0; i < b.size(); i++)
            EXPECT_NEAR(static_cast<double>(a[i]), b[i], tolerance) << "component " << i;
    }
    static void near(const vok_vec3 &a, const vok_vec3 &b, double tolerance = 1e-5)
    {
        near(&a.x, {b.x, b.y, b.z}, tolerance);
    }
    static vok_vec3 rotated(const vok_quat &q, const vok_vec3 &v)
    {
        const auto r = of_quat(&q.x).e;
        const auto row = [&](size_t i) {
            return static_cast<float>(r[i][0] * v.x + r[i][1] * v.y + r[i][2] * v.z);
        };
        return {row(0), row(1), row(2)};
    }
    std::mt19937 random{3};
};

TEST_F(Vecmath, what_is_nearly_zero_is_normalized_to_the_tolerance)
{
    vok_vec3 v = {0, 0, 0.003f};
    EXPECT_EQ(vok_vec3_normalize(&v), 1e-5f);
    near(&v.x, {1e-5f, 1e-5f, 1e-5f}, 0);
    vok_quat q = {};
    EXPECT_EQ(vok_quat_normalize(&q), 1e-5f);
    EXPECT_EQ(q.w, 1e-5f);
    vok_vec4 w = {0, 3, 0, 4};
    EXPECT_FLOAT_EQ(vok_vec4_normalize(&w), 0.2f);
    near(&w.x, {0, 0.6, 0, 0.8});
}

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
    EXPECT_EQ(vok_vec4_mag_sqr(&a), 78);
    EXPECT_EQ(vok_vec4_get_coord(&a, 3), 8);
    EXPECT_EQ(vok_vec4_get_coord(&a, 4), 0);
    vok_vec3 n = {0, 0, 1}, v = {1, 2, 3};
    vok_vec3_orthogonalize(&v, &n);
    near(&v.x, {1, 2, 3}, 0);
    n = {0, 1, 0};
    vok_vec3_orthogonalize(&v, &n);
    near(&v.x, {1, 0, 1}, 0);
    const float inf = std::numeric_limits<float>::infinity();
    const vok_vec2 bad[] = {{inf, 0}, {0, std::nanf("")}}, good = {1, 2};
    EXPECT_TRUE(vok_vec2_is_valid(&good));
    for (const vok_vec2 &x : bad)
        EXPECT_FALSE(vok_vec2_is_valid(&x));
    vok_vec3 texel;
    vok_vec3_cubemap_normal(&texel, 1, 0, 3, 2);
    near(texel, {0.5f / std::sqrt(1.5f), -1 / std::sqrt(1.5f), 0.5f / std::sqrt(1.5f)});
}

TEST_F(Vecmath, products_of_matrices_and_vectors)
{
    for (int round = 0; round < 50; round++) {
        const vok_mat4 a = mat4(), b = mat4();
        const vok_vec3 v = vec3();
        vok_mat4 product = a;
        vok_mat4_mult(&product, &product, &b);
        for (int row = 0; row < 4; row++)
            for (int col = 0; col < 4; col++) {
                double sum = 0;
                for (int k = 0; k < 4; k++)
                    sum += static_cast<double>(a.e[k * 4 + row]) * static_cast<double>(b.e[col * 4 + k]);
                EXPECT_NEAR(vok_mat4_get_coord(&product, row, col), sum, 1e-4);
            }
        // (a b) v = a (b v)
        vok_vec3 once, twice;
        vok_vec4 p = {v.x, v.y, v.z, 1}, left, right;
        vok_mat4_mult_vec4(&left, &product, &p);
        vok_mat4_mult_vec4(&right, &b, &p);
        vok_mat4_mult_vec4(&right, &a, &right);
        near(&left.x, {right.x, right.y, right.z, right.w}, 1e-3);
        vok_mat4_mult_vec3(&once, &product, &v);
        near(&once.x, {left.x, left.y, left.z}, 1e-4);
        vok_mat4_mult_vec3_pos(&twice, &product, &v);
        const double w = static_cast<double>(left.w);
        near(&twice.x, {left.x / w, left.y / w, left.z / w}, 1e-3 * (1 + std::fabs(1 / w)));
        // a vector times a matrix is the transposed matrix times it
        vok_mat4_transpose(&product);
        vok_vec4_mult_mat4(&right, &p, &product);
        near(&right.x, {left.x, left.y, left.z, left.w}, 1e-3);
    }
    vok_mat4 m;
    vok_mat4_identity(&m);
    const vok_vec4 row = {1, 2, 3, 4};
    vok_mat4_set_row(&m, 3, &row);
    vok_mat4_set_row(&m, 4, &row);
    vok_mat4_set_col(&m, -1, &row);
    near(m.e, {1, 0, 0, 1, 0, 1, 0, 2, 0, 0, 1, 3, 0, 0, 0, 4}, 0);
}

TEST_F(Vecmath, inverses)
{
    for (int round = 0; round < 100; round++) {
        vok_mat4 m = mat4(), inverse, product;
        m.e[0] += 6;
        m.e[5] += 6;
        m.e[10] += 6;
        m.e[15] += 6;
        vok_mat4_get_inverse(&inverse, &m);
        vok_mat4_mult(&product, &m, &inverse);
        near(product.e, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, 1e-4);
        vok_mat3 small, small_inverse, identity;
        vok_mat3_from_mat4(&small, &m);
        vok_mat3_get_inverse(&small_inverse, &small);
        vok_mat3_mult(&identity, &small, &small_inverse);
        near(identity.e, {1, 0, 0, 0, 1, 0, 0, 0, 1}, 1e-4);
        const vok_quat q = turn();
        const vok_vec3 t = vec3();
        vok_mat4_identity(&m);
        vok_mat4_from_quat(&m, &q);
        vok_mat4_set_translation(&m, &t);
        vok_mat4_get_inverse_rot_trans(&inverse, &m);
        vok_mat4_mult(&product, &m, &inverse);
        near(product.e, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, 1e-5);
    }
    vok_mat4 mirror, inverse;
    vok_mat4_identity(&mirror);
    mirror.e[0] = -1;
    vok_mat4_get_inverse(&inverse, &mirror); // its determinant counts as 1e-5
    EXPECT_NEAR(inverse.e[0], 1e5, 1);
}

TEST_F(Vecmath, rotations_agree_in_every_form)
{
    for (int round = 0; round < 200; round++) {
        const vok_quat a = turn(), b = turn();
        const vok_vec3 v = vec3();
        vok_vec3 out;
        vok_quat_mult_vec3(&out, &a, &v);
        near(out, rotated(a, v), 1e-5);
        vok_mat4 m;
        vok_mat4_identity(&m);
        vok_mat4_from_quat(&m, &a);
        vok_mat4_mult_vec3_dir(&out, &m, &v);
        near(out, rotated(a, v), 1e-5);
        vok_quat product, back;
        vok_quat_mult(&product, &a, &b);
        near(rotated(product, v), rotated(a, rotated(b, v)), 1e-4);
        vok_quat_from_mat4(&back, &m);
        near(rotated(back, v), rotated(a, v), 1e-4);
        // an axis and an angle, and half-turns, where the trace is negative
        const float angle = round % 3 ? real() : 3.1415927f;
        vok_vec3 axis = vec3();
        vok_vec3_normalize(&axis);
        vok_quat_from_axisangle(&product, &axis, angle);
        vok_mat3 r;
        vok_mat3_from_axisangle(&r, &axis, angle);
        vok_mat3_mult_vec3(&out, &r, &v);
        near(out, rotated(product, v), 1e-5);
        vok_quat_from_mat3(&back, &r);
        near(rotated(back, v), rotated(product, v), 1e-4);
        // from one vector to another
        vok_vec3 to = vec3();
        vok_vec3_normalize(&to);
        vok_quat_shortest_arc(&back, &axis, &to);
        near(rotated(back, axis), to, 1e-4);
        vok_mat3_from_uv(&r, &axis, &to);
        vok_mat3_mult_vec3(&out, &r, &axis);
        near(out, to, 1e-4);
    }
    const vok_vec3 there = {1, 0, 0}, back = {-1, 0, 0};
    vok_quat q;
    vok_quat_shortest_arc(&q, &there, &back);
    EXPECT_EQ(q.x, 0);
    EXPECT_LT(q.w, 0);
    near(rotated(q, there), back);
}

TEST_F(Vecmath, decomposition_puts_together_again)
{
    for (int round = 0; round < 50; round++) {
        const vok_quat q = turn();
        const float mirror = round % 2 ? -1.0f : 1.0f;
        const vok_vec3 t = vec3(), s = {mirror * (3 + real()), mirror * (3 + real()), mirror * (3 + real())};
        vok_mat4 m;
        vok_mat4_identity(&m);
        vok_mat4_from_quat(&m, &q);
        for (int i = 0; i < 12; i++)
            m.e[i] *= (&s.x)[i / 4];
        vok_mat4_set_translation(&m, &t);
        vok_vec3 translation, scale;
        vok_quat rotation;
        mat4_decompose(&m, &translation, &scale, &rotation);
        near(translation, t, 0);
        near(scale, s, 1e-4);
        const vok_vec3 v = vec3();
        near(rotated(rotation, v), rotated(q, v), 1e-4);
    }
}

TEST_F(Vecmath, quaternions_between_two)
{
    vok_quat a = {0, 0, 0, 1}, b = {0, 0, std::sin(0.5f), std::cos(0.5f)}, minus, out;
    vok_quat_slerp(&out, &a, &b, 0.25f);
    near(&out.x, {0, 0, std::sin(0.125), std::cos(0.125)});
    vok_quat_negate(&minus, &b);
    vok_quat_slerp_shortest(&out, &a, &minus, 0.25f);
    near(&out.x, {0, 0, std::sin(0.125), std::cos(0.125)});
    vok_quat_slerp(&out, &a, &minus, 0.25f); // the long way: pi - 0.5 in all
    const double omega = 3.14159265358979 - 0.5;
    near(&out.x, {0, 0, -std::sin(0.5) * std::sin(0.25 * omega) / std::sin(omega), std::cos(0.25 * omega)}, 1e-4);
    vok_quat_lerp(&out, &a, &minus, 1, 0.5f);
    near(&out.x, {0, 0, std::sin(0.5) / 2, (1 + std::cos(0.5)) / 2});
    vok_quat_inverse(&out, &b);
    vok_quat_mult(&out, &out, &b);
    near(&out.x, {0, 0, 0, 1});
    const vok_vec2 p = {0.1f, 0}, q = {0.2f, 0};
    vok_quat_trackball(&out, 1, &p, &p);
    near(&out.x, {0, 0, 0, 1}, 0);
    vok_quat_trackball(&out, 1, &p, &q);
    EXPECT_GT(std::fabs(out.y), 0.05f);
    EXPECT_NEAR(vok_quat_mag(&out), 1, 1e-5);
}

TEST_F(Vecmath, views_and_projections)
{
    vok_mat4 m;
    vok_vec3 out;
    const vok_vec3 eye = {1, 2, 3}, target = {1, 2, -4}, up = {0, 1, 0}, point = {2, 4, 0};
    vok_mat4_look_at(&m, &eye, &target, &up);
    vok_mat4_mult_vec3(&out, &m, &point);
    near(out, {1, 2, -3});
    vok_mat4_perspective(&m, 90, 2, 1, 10);
    const vok_vec3 corner = {20, 10, -10};
    vok_mat4_mult_vec3_pos(&out, &m, &corner);
    near(out, {1, 1, 1}, 1e-4);
    vok_mat4_ortho(&m, -2, 4, -1, 1, 1, 3);
    const vok_vec3 box = {4, -1, -3};
    vok_mat4_mult_vec3(&out, &m, &box);
    near(out, {1, -1, 1});
}

TEST_F(Vecmath, rays_and_lines_meet_solids)
{
    const vok_ray ray = {{0, 0, 5}, {0, 0, -2}};
    const struct {
        vok_aabox box;
        long hit;
        float t;
    } boxes[] = {
        {{{-1, -1, -1}, {1, 1, 1}}, 1, 2}, {{{-1, -1, 4}, {1, 1, 6}}, 0, 0},  {{{2, 2, -1}, {3, 3, 1}}, 0, 0},
        {{{0, 0, 0}, {0, 0, 0}}, 0, 0},    {{{-1, 1, -1}, {1, -1, 1}}, 0, 0}, {{{-1, -1, 6}, {1, 1, 7}}, 0, 0},
    };
    for (const auto &row : boxes) {
        float t = 9;
        EXPECT_EQ(vok_ray_intersects_box(&t, &ray, &row.box), row.hit);
        EXPECT_EQ(t, row.t);
    }
    float t = 9;
    const vok_sphere ahead = {{0, 0, 0}, 1}, behind = {{0, 0, 9}, 1}, round = {{0, 0, 5}, 2},
                     aside = {{3, 0, 0}, 1};
    EXPECT_TRUE(vok_ray_intersects_sphere(&t, &ray, &ahead, 0));
    EXPECT_NEAR(t, 2, 1e-3);
    EXPECT_TRUE(vok_ray_intersects_sphere(&t, &ray, &round, 0));
    EXPECT_NEAR(t, 1, 1e-3);
    EXPECT_FALSE(vok_ray_intersects_sphere(&t, &ray, &round, 1));
    EXPECT_TRUE(vok_ray_intersects_sphere(&t, &ray, &behind, 0));
    EXPECT_NEAR(t, -1.5, 1e-3);
    EXPECT_FALSE(vok_ray_intersects_sphere(&t, &ray, &aside, 0));
    const vok_plane plane = {{0, 0, 1}, {0, 0, 1}}, beside = {{0, 0, 1}, {1, 0, 0}};
    EXPECT_TRUE(vok_ray_intersects_plane(&t, &ray, &plane));
    EXPECT_EQ(t, 2);
    EXPECT_FALSE(vok_ray_intersects_plane(&t, &ray, &beside));
    const vok_line line = {{-5, 0.6f, 0}, {5, 0.6f, 0}}, far = {{-5, 3, 0}, {5, 3, 0}};
    vok_vec3 point;
    EXPECT_TRUE(vok_line_intersects_sphere(&point, &line, &ahead));
    near(point, {-0.8f, 0.6f, 0});
    EXPECT_FALSE(vok_line_intersects_sphere(&point, &far, &ahead));
    vok_line_closest_sphere(&point, &far, &ahead);
    near(point, {0, 1, 0});
    const vok_tri tri = {{0, 0, 0}, {4, 0, 0}, {0, 3, 0}};
    EXPECT_FLOAT_EQ(vok_tri_area(&tri), 6);
    EXPECT_FLOAT_EQ(vok_tri_perimeter(&tri), 12);
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
        float part[3][4], all[4];
        for (int i = 0; i < 3; i++) {
            float unit[3] = {};
            unit[i] = 1;
            axis_to_quat(unit, part[i], xyz[i]);
        }
        add_quats(part[2], part[1], all);
        add_quats(all, part[0], all);
        near(rotated({all[0], all[1], all[2], all[3]}, {v[0], v[1], v[2]}), expected, 1e-3);
    }
    float q[4], r[4];
    trackball(q, 0, 0, 0.1f, 0);
    trackball(r, 0.1f, 0, 0, 0);
    near(q, {-r[0], -r[1], -r[2], r[3]});
    EXPECT_NE(q[1], 0);
}

} // namespace
