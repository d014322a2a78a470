// One rotation in three forms: each set against rotations in double precision, the six
// orders of Euler angles there and back, at the poles too, and who is told.
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vokra/vokra.h>
#include <zan/zan.h>

#include "geometry/rotations.h"

namespace {

constexpr double degree = std::numbers::pi / 180, r2 = 0.70710678118654752;

using matrix = square_matrix<3>;

// Turns about x, y or z, counter-clockwise seen from their tips, the first of the order outermost.
matrix in_order(const std::string &order, const std::vector<double> &xyz)
{
    matrix all{{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}}};
    for (const char axis : order) {
        const size_t i = static_cast<size_t>(axis - 'x' + 1) % 3, j = (i + 1) % 3;
        const double angle = xyz[static_cast<size_t>(axis - 'x')] * degree;
        matrix one{};
        one.e[3 - i - j][3 - i - j] = 1;
        one.e[i][i] = one.e[j][j] = std::cos(angle);
        one.e[j][i] = std::sin(angle);
        one.e[i][j] = -one.e[j][i];
        all = all * one;
    }
    return all;
}

void expect_same(const matrix &a, const matrix &b)
{
    for (size_t i = 0; i < 9; i++)
        EXPECT_NEAR(a.e[i / 3][i % 3], b.e[i / 3][i % 3], 2e-6) << "element " << i;
}

class QuatInterface : public testing::Test {
  protected:
    QuatInterface() : x(make()) {}
    ~QuatInterface() override { vok_object_free(x); }
    static vok_quat_interface *make(void *owner = nullptr)
    {
        return static_cast<vok_quat_interface *>(vok_object_new(gensym("vok_quat_interface"), owner));
    }
    void set(const char *name, const std::vector<float> &values)
    {
        EXPECT_EQ(vok_attr_setfloat_array(x, gensym(name), static_cast<long>(values.size()), values.data()), 0);
    }
    static void near(const float *found, const std::vector<double> &wanted, double tolerance = 1e-5)
    {
        for (size_t i = 0; i < wanted.size(); i++)
            EXPECT_NEAR(static_cast<double>(found[i]), wanted[i], tolerance) << "value " << i;
    }
    void expect_turned(const matrix &wanted) { expect_same(of_quat(x->quat), wanted); }
    vok_quat_interface *x;
};

TEST_F(QuatInterface, the_three_forms_keep_in_step)
{
    near(x->quat, {0, 0, 0, 1}, 0);
    near(x->rotate, {0, 0, 0, 1}, 0);
    EXPECT_EQ(x->quatdirty, 0);
    const double angle = 2 * std::acos(0.8) / degree;
    const struct {
        const char *name;
        std::vector<float> values;
        std::vector<double> quat, rotate, rotatexyz; // empty: not looked at
    } rows[] = {
        {"rotate", {90}, {r2, 0, 0, r2}, {90, 1, 0, 0}, {90, 0, 0}},
        {"rotate", {90, 0, 0, 0}, {1e-5 * r2, 1e-5 * r2, 1e-5 * r2, r2}, {90, 0, 0, 0}, {}}, // no axis: a tiny one
        {"rotate", {120, 3, 3, 3}, {0.5, 0.5, 0.5, 0.5}, {120, 3, 3, 3}, {}},                // x to y, y to z
        {"quat", {0, 0, -0.6f, 0.8f}, {}, {angle, 0, 0, -1}, {0, 0, -angle}},
        {"rotatexyz", {10, 20, 30}, {}, {}, {10, 20, 30}},
        {"quat", {0.5f, 0.5f, 0.5f, 0.5f}, {}, {}, {0, 90, 90}}, // at the poles
        {"quat", {0.5f, -0.5f, -0.5f, 0.5f}, {}, {}, {0, -90, -90}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.name << ' ' << row.values[0]);
        x->quatdirty = 0;
        set(row.name, row.values);
        EXPECT_EQ(x->quatdirty, 1);
        near(x->quat, row.quat, 1e-6);
        near(x->rotate, row.rotate, 1e-4);
        near(x->rotatexyz, row.rotatexyz, 1e-4);
    }
    set("quat", {0, 0, 1, 2}); // as it comes; no angle has that cosine
    EXPECT_TRUE(std::isnan(x->rotate[0]));
    near(x->quat, {0, 0, 1, 2}, 0);
    x->quatdirty = 0;
    for (const char *name : {"quat", "rotate", "rotatexyz"})
        set(name, {});
    EXPECT_EQ(x->quatdirty, 0);
    near(x->quat, {0, 0, 1, 2}, 0);
    x->rotate_order = gensym("zyx");
    vok_object_method(x, gensym("reset"));
    near(x->quat, {0, 0, 0, 1}, 0);
    near(x->rotatexyz, {0, 0, 0}, 0);
    EXPECT_EQ(x->quatdirty, 1);
    EXPECT_STREQ(x->rotate_order->name, "zyx");
    for (const auto &[name, label] :
         {std::pair{"rotatexyz", "\"Rotate XYZ\""}, {"rotate_order", "\"Rotate Order\""}}) {
        long argc = 0;
        atom *argv = nullptr;
        ASSERT_EQ(object_attr_attr_getvalueof(x, gensym(name), gensym("label"), &argc, &argv), 0);
        EXPECT_STREQ(atom_getsym(argv)->name, label) << "the quotes belong to it";
        sysmem_freeptr(argv);
    }
}

struct euler_order {
    const char *name;
    long (*to)(const vok_mat3 *m, float *out);
    void (*from)(vok_mat3 *m, double x, double y, double z);
};
#define ROW(order) {#order, vok_mat3_to_euler##order, vok_mat3_from_euler##order},
constexpr euler_order orders[] = {VOKRA_EULER_ORDERS(ROW)};

std::vector<double> by_axis(const char *order, double first, double second, double third)
{
    std::vector<double> xyz(3);
    for (const double angle : {first, second, third})
        xyz[static_cast<size_t>(*order++ - 'x')] = angle;
    return xyz;
}

TEST_F(QuatInterface, orders_there_and_back)
{
    for (const std::string order : {"xyz", "xzy", "yxz", "yzx", "zxy", "zyx", "auto"})
        for (const double middle : {-80.0, -1.0, 0.0, 35.0, 80.0})
            for (const double first : {-170.0, -20.0, 0.0, 95.0})
                for (const double third : {-100.0, 0.0, 40.0, 175.0}) {
                    SCOPED_TRACE(testing::Message() << order << ' ' << first << ' ' << middle << ' ' << third);
                    const char *axes = order == "auto" ? "yzx" : order.c_str();
                    const std::vector<double> xyz = by_axis(axes, first, middle, third);
                    vok_attr_setsym(x, gensym("rotate_order"), gensym(order.c_str()));
                    set("rotatexyz", {float(xyz[0]), float(xyz[1]), float(xyz[2])});
                    expect_turned(in_order(axes, xyz));
                    set("quat", {x->quat[0], x->quat[1], x->quat[2], x->quat[3]});
                    near(x->rotatexyz, xyz, 2e-4);
                }
}

TEST_F(QuatInterface, orders_at_the_poles)
{
    for (const auto &o : orders)
        for (const double middle : {90.0, -90.0}) {
            SCOPED_TRACE(testing::Message() << o.name << ' ' << middle);
            const std::string name = o.name;
            const size_t first = static_cast<size_t>(name[0] - 'x');
            const std::vector<double> xyz = by_axis(o.name, 25, middle, 40);
            vok_mat3 m;
            o.from(&m, xyz[0] * degree, xyz[1] * degree, xyz[2] * degree);
            float out[3] = {7, 7, 7};
            EXPECT_EQ(o.to(&m, out), 0);
            EXPECT_EQ(out[name[2] - 'x'], 0);
            EXPECT_EQ(out[name[1] - 'x'], middle > 0 ? 1.5707964f : -1.5707964f);
            std::vector<double> back = {out[0] / degree, out[1] / degree, out[2] / degree};
            // deliberate: two orders give the first angle with the other sign, one lies half a turn off
            if (name == "xzy" || name == "yxz")
                back[first] = -back[first];
            if (name == "zyx" && middle < 0)
                EXPECT_NEAR(back[first], 25 + 40 - 180, 1e-4);
            else
                expect_same(in_order(o.name, back), in_order(o.name, xyz));
        }
    // a sine just above 1 is no reason for NaN
    const float above = 1.0000002f;
    const vok_mat3 m = {{0, 0, -above, 0, 1, 0, above, 0, 0}};
    float out[3];
    EXPECT_EQ(vok_mat3_to_eulerxyz(&m, out), 0);
    EXPECT_EQ(out[1], 1.5707964f);
    const std::vector<float> before(out, out + 3); // an unknown order does nothing
    EXPECT_EQ(vok_quat_interface_to_rotatexyz(x, out, gensym("xxx")), 0);
    EXPECT_EQ(vok_quat_interface_from_rotatexyz(x, out, gensym("auto")), 0);
    EXPECT_EQ(std::vector<float>(out, out + 3), before);
    near(x->quat, {0, 0, 0, 1}, 0);
}

TEST_F(QuatInterface, the_box_of_the_owner_is_told)
{
    vok_quat_interface *owner = make(), *box = make(), *owned = make(owner);
    const char *const names[] = {"quat", "rotate", "rotatexyz"};
    const float one[] = {0, 1, 0, 0};
    for (const bool boxed : {false, true}) {
        if (boxed)
            object_obex_storeflags(owner, gensym("zanwrapper"), box, 1);
        for (const char *set : names) {
            vok_attr_cleanall(box);
            vok_attr_setfloat_array(owned, gensym(set), 3, one);
            for (const char *name : names) {
                const auto *attr = static_cast<vok_attribute *>(object_attr_get(box, gensym(name)));
                EXPECT_EQ((attr->flags & vok_attrflag_dirty) != 0, boxed && name != set) << set << ' ' << name;
            }
        }
    }
    vok_attr_cleanall(box);
    for (void *o : {owned, owner, box})
        vok_object_free(o);
}

} // namespace
