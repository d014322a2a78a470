// Transform nodes: world values against matrices composed in double precision, who hangs
// on whom when parents come late, leave or close a circle, and how nodes move and look.
#include <cmath>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "geometry/rotations.h"
#include "scratch.h"
#include <vokra/vokra.h>
#include <zan/zan.h>

namespace {

using floats = std::vector<float>;
const double root_half = std::sqrt(0.5);
const float r2 = static_cast<float>(root_half);

using matrix = square_matrix<4>;

// Scales, then turns, then moves.
matrix local_matrix(const floats &p, const floats &q, double scale)
{
    const square_matrix<3> r = of_quat(q.data());
    matrix m{};
    m.e[3][3] = 1;
    for (size_t i = 0; i < 3; i++) {
        for (size_t j = 0; j < 3; j++)
            m.e[i][j] = scale * r.e[i][j];
        m.e[i][3] = p[i];
    }
    return m;
}

// A node, or any other object, that goes with its owner.
class node {
  public:
    explicit node(const char *name = nullptr) : x(make())
    {
        if (name)
            set("name", gensym(name));
    }
    ~node() { free(); }
    node(const node &) = delete;
    node &operator=(const node &) = delete;
    static vok_anim_node *make() { return static_cast<vok_anim_node *>(vok_object_new(gensym("vok_anim_node"))); }
    void free()
    {
        vok_object_free(x);
        x = nullptr;
    }
    vok_err set(const char *name, symbol *value) { return vok_attr_setsym(x, gensym(name), value); }
    vok_err set(const char *name, const floats &values)
    {
        return vok_attr_setfloat_array(x, gensym(name), static_cast<long>(values.size()), values.data());
    }
    floats get(const char *name)
    {
        floats values(16);
        values.resize(static_cast<size_t>(vok_attr_getfloat_array(x, gensym(name), 16, values.data())));
        return values;
    }
    static std::vector<atom> atoms(const floats &values)
    {
        std::vector<atom> list(values.size());
        for (size_t i = 0; i < values.size(); i++)
            atom_setfloat(&list[i], values[i]);
        return list;
    }
    void send(const char *message, const floats &values = {})
    {
        std::vector<atom> list = atoms(values);
        vok_object_method(x, gensym(message), gensym(message), long(list.size()), list.data());
    }
    floats ask(const char *message, const floats &values)
    {
        std::vector<atom> list = atoms(values);
        atom rv;
        vok_object_method_typed(x, gensym(message), long(list.size()), list.data(), &rv);
        long argc = 0;
        atom *argv = nullptr;
        floats out;
        if (void *answer = atom_getobj(&rv); answer && !atomarray_getatoms(answer, &argc, &argv))
            for (long i = 0; i < argc; i++)
                out.push_back(static_cast<float>(atom_getfloat(argv + i)));
        vok_object_free(atom_getobj(&rv));
        return out;
    }
    void type(const char *name) { vok_object_method(x, gensym("set_type"), gensym(name)); }
    void update(long recursing = 0) { EXPECT_EQ(vok_anim_node_update(x, recursing), 0); }
    floats updated(const char *name)
    {
        update();
        return get(name);
    }
    long children() { return linklist_getsize(x->children); }

    vok_anim_node *x;
};

void near(const floats &found, const std::vector<double> &wanted, double tolerance = 2e-6)
{
    ASSERT_EQ(found.size(), wanted.size());
    for (size_t i = 0; i < wanted.size(); i++)
        EXPECT_NEAR(static_cast<double>(found[i]), wanted[i], tolerance) << "value " << i;
}

symbol *const nothing = gensym("");

TEST(AnimNode, a_tree_is_the_product_of_its_matrices)
{
    std::mt19937 random(5);
    std::uniform_real_distribution<float> real(-1, 1);
    constexpr size_t count = 60;
    node nodes[count];
    matrix wanted[count];
    for (size_t i = 0; i < count; i++) {
        floats q = {real(random), real(random), real(random), real(random)};
        const float length = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
        for (float &v : q)
            v /= length;
        const floats p = {real(random), real(random), real(random)};
        const float scale = 1 + 0.3f * real(random);
        nodes[i].set("position", p);
        nodes[i].set("quat", q);
        nodes[i].set("scale", {scale});
        wanted[i] = local_matrix(p, q, static_cast<double>(scale));
        if (i) {
            const size_t parent = static_cast<size_t>(random()) % i;
            nodes[i].set("anim", nodes[parent].x->name);
            wanted[i] = wanted[parent] * wanted[i];
        }
    }
    const auto check = [&](size_t i) {
        const floats m = nodes[i].get("worldtransform"), inverse = nodes[i].get("invtransform");
        for (size_t k = 0; k < 16; k++) {
            const size_t row = k % 4, col = k / 4;
            EXPECT_NEAR(static_cast<double>(m[k]), wanted[i].e[row][col], 1e-5) << "node " << i;
            double unit = 0;
            for (size_t n = 0; n < 4; n++)
                unit += static_cast<double>(inverse[n * 4 + row]) * wanted[i].e[n][col];
            EXPECT_NEAR(unit, row == col, 1e-4) << "node " << i;
        }
    };
    for (size_t i = count; i-- > 0;) { // leaves first: each brings its ancestors
        nodes[i].update();
        check(i);
    }
    nodes[0].set("position", {5, 0, 0}); // all below follow from the top
    const double by = 5 - wanted[0].e[0][3], up = -wanted[0].e[1][3], back = -wanted[0].e[2][3];
    for (matrix &m : wanted) {
        m.e[0][3] += by;
        m.e[1][3] += up;
        m.e[2][3] += back;
    }
    nodes[0].update(1);
    for (size_t i = 0; i < count; i++)
        check(i);
}

TEST(AnimNode, what_a_child_inherits)
{
    node parent, child;
    parent.set("scale", {2, 3, 4});
    parent.set("rotate", {90, 0, 0, 1});
    parent.set("position", {10, 0, 0});
    child.set("anim", parent.x->name);
    child.set("position", {1, 1, 1});
    near(child.updated("worldpos"), {7, 2, 4});
    near(child.get("worldscale"), {2, 3, 4});
    near(child.get("worldrot"), {90, 0, 0, 1}, 1e-4);
    near(child.get("worldquat"), {0, 0, root_half, root_half});
    child.set("anchor", {1, 0, 0}); // by the parent's scale
    near(child.updated("worldpos"), {7, 4, 4});
    child.set("anchor", {0, 0, 0});
    const struct {
        const char *attribute, *of;
        std::vector<double> on, off;
    } rows[] = {{"inherit_position", "worldpos", {7, 2, 4}, {1, 1, 1}},
                {"inherit_scale", "worldscale", {2, 3, 4}, {1, 1, 1}},
                {"inherit_rotate", "worldquat", {0, 0, root_half, root_half}, {0, 0, 0, 1}}};
    for (const auto &row : rows) {
        child.set(row.attribute, {0});
        near(child.updated(row.of), row.off);
        child.set(row.attribute, {1});
        near(child.updated(row.of), row.on);
    }
    child.set("automatic", {0});
    child.set("position", {0, 0, 0});
    near(child.updated("worldpos"), {7, 2, 4});
    child.send("update_node");
    near(child.get("worldpos"), {10, 0, 0});
    EXPECT_EQ(child.x->automatic, 0);
    child.set("automatic", {1});
    child.set("anim", nothing);
    EXPECT_EQ(parent.children(), 0);
    near(child.updated("worldscale"), {1, 1, 1});
    child.set("parentscale", {2, 2, 2});
    vok_object_method_typed(child.x, gensym("anim"), 0, nullptr, nullptr); // no parent, also for who has none
    near(child.updated("worldscale"), {1, 1, 1});
}

TEST(AnimNode, parents_that_come_later_and_leave)
{
    report_catcher reports;
    node child;
    child.set("anim", gensym("late-parent"));
    for (int i = 0; i < 2; i++) {
        child.update();
        EXPECT_EQ(reports.one_error(), "parent anim late-parent not found");
    }
    {
        node parent("late-parent");
        parent.set("position", {0, 3, 0});
        near(child.updated("worldpos"), {0, 3, 0});
        EXPECT_EQ(parent.children(), 1);
        parent.set("name", gensym("renamed-parent")); // children follow
        EXPECT_EQ(child.x->anim, gensym("renamed-parent"));
        near(child.updated("worldpos"), {0, 3, 0});
        EXPECT_EQ(parent.children(), 1);
        EXPECT_TRUE(reports.take().empty());
    }
    child.update(); // waits for another of that name
    EXPECT_EQ(reports.one_error(), "parent anim renamed-parent not found");
    {
        node second("renamed-parent");
        second.type("vok_gl_node");
        second.set("position", {1, 1, 1});
        near(child.updated("worldpos"), {1, 1, 1});
    }
    EXPECT_EQ(child.x->anim, nothing); // a GL node lets its children go
    near(child.updated("worldpos"), {0, 0, 0});
    {
        node parent, orphan;
        orphan.set("anim", parent.x->name);
        orphan.update();
        node listed; // without the name of who lists it
        vok_object_method(parent.x, gensym("add_child"), listed.x);
        EXPECT_EQ(parent.children(), 2);
        orphan.free();
        listed.free();
        EXPECT_EQ(parent.children(), 0);
    }
    void *tree = vok_object_register(vok_object_new(gensym("vok_tree")), gensym("no-node"));
    child.set("anim", gensym("no-node"));
    child.update();
    EXPECT_EQ(reports.one_error(), "no-node exists and is not an vok.anim.node");
    EXPECT_EQ(child.x->anim, nothing);
    vok_object_free(tree);
}

TEST(AnimNode, circles_are_refused)
{
    report_catcher reports;
    node a("circle-a"), b("circle-b"), c("circle-c"), d("circle-d");
    b.set("anim", a.x->name);
    c.set("anim", b.x->name);
    c.update();
    a.set("anim", c.x->name);
    a.update();
    EXPECT_EQ(reports.one_error(), "circle-c is a descendant of circle-a");
    EXPECT_EQ(a.x->anim, nothing);
    EXPECT_EQ(b.children(), 1);
    EXPECT_EQ(c.children(), 0);
    a.set("anim", a.x->name); // itself: nothing happens
    EXPECT_TRUE(reports.take().empty());

    // nobody attached yet; a node that leads into a circle without being on it
    a.set("anim", c.x->name);
    d.set("anim", c.x->name);
    d.update();
    EXPECT_EQ(reports.take(zan_report_error).size(), 1u);
    d.update(1);

    // the parents of model nodes aren't looked at again
    node e("circle-e"), f("circle-f");
    e.type("vok_gl_model_node");
    f.set("anim", e.x->name);
    f.update();
    e.set("anim", f.x->name);
    e.update();
    f.update(1);
    vok_object_method(f.x, gensym("add_child"), e.x);
    vok_object_method(f.x, gensym("add_child"), f.x);
    f.update(1);
    e.update(1);
}

TEST(AnimNode, names_and_targets)
{
    report_catcher reports;
    node a("name-a"), b("name-b"), shown("name-shown");
    EXPECT_EQ(a.set("name", gensym("name-b")), VOK_ERR_EROR);
    EXPECT_EQ(reports.one_error(), "name name-b already in use. anode does not allow multiple bindings");
    EXPECT_EQ(gensym("name-a")->thing, a.x);
    a.set("name", gensym("name-c"));
    EXPECT_EQ(gensym("name-a")->thing, nullptr);
    EXPECT_EQ(vok_object_findregistered(gensym("name-c")), a.x);

    a.type("vok_gl_render");
    a.set("anim", b.x->name);
    EXPECT_EQ(reports.one_error(), "name-c is the root node and cannont be parented");

    EXPECT_EQ(b.set("target", gensym("name-nobody")), VOK_ERR_EROR);
    void *tree = vok_object_register(vok_object_new(gensym("vok_tree")), gensym("name-tree"));
    EXPECT_EQ(b.set("target", gensym("name-tree")), VOK_ERR_EROR);
    EXPECT_EQ(reports.one_error(), "name-tree exists but is wrong class");
    EXPECT_EQ(b.x->target, nothing);
    EXPECT_EQ(b.set("target", shown.x->name), 0);
    EXPECT_EQ(b.set("target", shown.x->name), VOK_ERR_EROR);
    EXPECT_EQ(b.x->target, shown.x->name);

    b.set("name", gensym("name-d")); // the target is told
    EXPECT_EQ(shown.x->anim, gensym("name-d"));
    // and its box: a set and an update touch what it shows
    void *box = node::make();
    object_obex_storeflags(shown.x, gensym("zanwrapper"), box, 1);
    const auto touched = [&](const char *name) {
        auto *attr = static_cast<vok_attribute *>(object_attr_get(box, gensym(name)));
        const bool dirty = attr->flags & vok_attrflag_dirty;
        vok_attr_clean(box, gensym(name));
        return dirty;
    };
    vok_attr_cleanall(box);
    b.set("position", {1, 2, 3});
    EXPECT_TRUE(touched("position"));
    EXPECT_FALSE(touched("quat"));
    b.set("rotate", {10});
    EXPECT_TRUE(touched("quat"));
    vok_attr_cleanall(box);
    vok_object_method(b.x, gensym("attrui_focusgained"), gensym("position"));
    b.update();
    EXPECT_FALSE(touched("position"));
    vok_object_method(b.x, gensym("attrui_focuslost"), gensym("position"));
    b.x->dirty = 1;
    b.update();
    EXPECT_TRUE(touched("position"));
    EXPECT_TRUE(touched("rotatexyz"));
    EXPECT_EQ(b.set("target", nothing), 0);
    vok_object_free(box);
    object_obex_storeflags(shown.x, gensym("zanwrapper"), nullptr, 1);
    vok_object_free(tree);
}

TEST(AnimNode, moves_in_three_frames)
{
    const struct {
        const char *mode;
        long lockplane;
        floats by;
        std::vector<double> position;
    } rows[] = {{"parent", 0, {1, 2, 3}, {1, 2, 3}}, {"parent", 2, {1, 2, 3, 2}, {2, 0, 6}},
                {"local", 0, {1, 2, 3}, {1, -3, 2}}, // a quarter turn about x: y to z
                {"world", 0, {2, 0, 0}, {0, -1, 0}}, // the parent's about z: x to y; its scale is 2
                {"parent", 0, {1}, {1, 0, 0}},       {"parent", 0, {}, {0, 0, 0}}};
    node parent;
    parent.set("rotate", {90, 0, 0, 1});
    parent.set("scale", {2});
    for (const auto &row : rows) {
        node x;
        x.set("anim", parent.x->name);
        x.set("rotate", {90, 1, 0, 0});
        x.update();
        x.set("movemode", gensym(row.mode));
        x.set("lockplane", {static_cast<float>(row.lockplane)});
        x.send("move", row.by);
        near(x.get("position"), row.position);
        x.send("anim_grow", {1, 0, 0.5f, 2});
        near(x.get("scale"), {3, 1, 2});
    }
}

std::vector<double> product(const floats &a, const floats &b)
{
    const double ax = a[0], ay = a[1], az = a[2], aw = a[3], bx = b[0], by = b[1], bz = b[2], bw = b[3];
    return {aw * bx + ax * bw + ay * bz - az * by, aw * by + ay * bw + az * bx - ax * bz,
            aw * bz + az * bw + ax * by - ay * bx, aw * bw - ax * bx - ay * by - az * bz};
}

const floats about_x = {r2, 0, 0, r2}, about_y = {0, r2, 0, r2}, about_z = {0, 0, r2, r2};

TEST(AnimNode, turns_in_three_frames)
{
    node parent;
    parent.set("quat", about_y);
    for (const std::string mode : {"parent", "local", "world"}) {
        SCOPED_TRACE(mode);
        node x;
        x.set("anim", parent.x->name);
        x.set("quat", about_z);
        x.update();
        const floats before = x.get("worldquat");
        x.set("animmode", gensym(mode.c_str()));
        x.set("animmode", gensym("sideways")); // ignored
        EXPECT_EQ(x.x->turnmode, gensym(mode.c_str()));
        EXPECT_EQ(x.x->movemode, gensym(mode.c_str()));
        x.send("turn", {90});
        if (mode == "world")
            near(x.updated("worldquat"), product(about_x, before));
        else
            near(x.get("quat"), mode == "parent" ? product(about_x, about_z) : product(about_z, about_x));
    }
    node x;
    x.send("turn", {0, 30, 0, 3}); // three times 30 degrees about y
    near(x.get("quat"), {0, root_half, 0, root_half});
    x.set("tripod", {1});
    x.update();
    x.send("anim_turn", {90}); // about the node's own x, which is -z
    near(x.get("quat"), product({0, 0, -r2, r2}, about_y));
    x.update();
    x.send("anim_turn", {0, 90}); // about the vertical, whatever the node's own
    const std::vector<double> tilted = product({0, 0, -r2, r2}, about_y);
    near(x.get("quat"), product(about_y, floats(tilted.begin(), tilted.end())));
}

TEST(AnimNode, looks_at_points_and_along_directions)
{
    node x;
    x.set("position", {1, 0, 0});
    x.set("lookat", {1, 0, -5}); // right behind: half a turn about the second axis
    near(x.updated("worlddir"), {0, 0, -1});
    near(x.get("worldquat"), {0, 1, 0, 0});
    x.set("lookat", {4, 4, 0});
    near(x.updated("worlddir"), {0.6, 0.8, 0});
    near(x.get("lookat"), {1.6, 0.8, 0}); // read back: the point ahead
    x.set("direction", {0, 0, 7});
    near(x.get("direction"), {0, 0, 7}); // as it was set, until it is done
    near(x.updated("direction"), {0, 0, 1});
    x.set("direction", {1, 0});
    near(x.updated("direction"), {0, 0, 1}); // two numbers are none
    x.set("direction", {0, 0, 0});
    near(x.updated("direction"), {0, 0, 1});

    x.set("locklook", {1});
    x.set("lookat", {9, 0, 0});
    near(x.updated("worlddir"), {1, 0, 0});
    x.send("move", {7.95f, 0.1f, -0.1f}); // nearly there: back to where it looked from
    near(x.updated("worldpos"), {1, 0, 0});
    near(x.get("worlddir"), {1, 0, 0});
    x.send("move", {0, 8, 0});
    near(x.updated("worlddir"), {root_half, -root_half, 0});

    node camera, child;
    camera.type("vok_gl_camera");
    EXPECT_EQ(camera.x->animmode, gensym("local"));
    EXPECT_EQ(camera.x->turnmode, gensym("parent"));
    camera.send("reset");
    near(camera.updated("worldpos"), {0, 0, 2});
    near(camera.get("direction"), {0, 0, -1});
    camera.set("lookat", {3, 0, 2});
    near(camera.updated("direction"), {1, 0, 0});
    child.set("anim", camera.x->name); // an aimed child does without its parent's rotation
    child.set("position", {0, 0, 1});
    child.set("lookat", {10, 0, 2});
    near(child.updated("worlddir"), {1, 0, 0}, 1e-5);
    near(child.get("worldquat"),
         {child.get("quat")[0], child.get("quat")[1], child.get("quat")[2], child.get("quat")[3]});
}

TEST(AnimNode, a_tripod_keeps_the_horizon)
{
    node x;
    x.set("tripod", {1});
    x.set("rotate", {40, 0, 0, 1});
    const double fifth = std::sqrt(0.2);
    x.set("direction", {1, 1, 0.5f});
    near(x.updated("worlddir"), {2.0 / 3, 2.0 / 3, 1.0 / 3}, 1e-5);
    const floats m = x.get("worldtransform");
    near({m[0], m[1], m[2]}, {fifth, 0, -2 * fifth}, 1e-5); // its side is level
    const floats before = x.get("quat");
    for (const float up : {1.0f, -1.0f}) { // along up: stays as it is
        x.set("direction", {0.05f, up, 0});
        near(x.updated("quat"), {before[0], before[1], before[2], before[3]}, 0);
    }
    x.send("move", {1, 2, 3}); // and a node that moved goes back
    x.set("direction", {0, 1, 0});
    near(x.updated("worldpos"), {0, 0, 0});
    near(x.get("quat"), {before[0], before[1], before[2], before[3]}, 0);
    x.set("up", {0, 0, 3});
    x.set("direction", {0, 1, 0});
    near(x.updated("worlddir"), {0, 1, 0}, 1e-5);
    near({x.get("worldtransform")[4], x.get("worldtransform")[5], x.get("worldtransform")[6]}, {0, 0, 1}, 1e-5);
}

TEST(AnimNode, transforms_and_conversions)
{
    node parent, x;
    x.set("scale", {2, 3});
    near(x.get("scale"), {2, 3, 0});
    x.set("scale", {2});
    near(x.get("scale"), {2, 2, 2});
    parent.set("position", {0, 0, 5});
    x.set("anim", parent.x->name);
    x.set("position", {1, 2, 3});
    x.set("quat", about_z);
    near(x.ask("localtoworld", {1, 0, 0}), {1, 4, 8}); // brings the node up to date first
    near(x.ask("worldtolocal", {1, 4, 8}), {1, 0, 0});
    near(x.ask("localtoworld", {1}), {1, 4, 8});
    near(x.ask("localtoworld_quat", about_x), product(about_z, about_x));
    near(x.ask("worldtolocal_quat", {0, 0, 1}), product({0, 0, -r2, r2}, {0, 0, 1, 0})); // w is 0
    EXPECT_TRUE(x.ask("localtoworld", {}).empty());

    const floats m = x.get("transform");
    near(m, {0, 2, 0, 0, -2, 0, 0, 0, 0, 0, 2, 0, 1, 2, 3, 1});
    node copy;
    copy.set("transform", m);
    near(copy.get("position"), {1, 2, 3});
    near(copy.get("scale"), {2, 2, 2});
    near(copy.get("quat"), {0, 0, root_half, root_half});
    near(copy.updated("worldtransform"), {0, 2, 0, 0, -2, 0, 0, 0, 0, 0, 2, 0, 1, 2, 3, 1});
    copy.send("concat", m);
    near(copy.get("position"), {-3, 4, 9}, 1e-5);
    near(copy.get("worldscale"), {4, 4, 4}, 1e-5);
    near(copy.get("worldquat"), {0, 0, 1, 0});
    near(copy.get("quat"), {0, 0, root_half, root_half}); // that of the interface stays

    // parent values set by hand, and given back
    node alone;
    alone.set("position", {1, 0, 0});
    alone.update(); // the first one clears what the parent would have set
    alone.set("parentrot", {90, 0, 1, 0});
    alone.set("parentscale", {3});
    alone.set("parentpos", {0, 5});
    near(alone.updated("worldpos"), {0, 5, -3});
    near(alone.get("parentquat"), {0, root_half, 0, root_half});
    EXPECT_EQ(alone.x->flags, vok_anim_parentpos | vok_anim_parentquat | vok_anim_parentscale);
    alone.set("parentpos", floats{});
    alone.set("parentscale", floats{});
    EXPECT_EQ(alone.x->flags, vok_anim_parentquat);
    alone.set("parentquat", floats{});
    EXPECT_EQ(alone.x->flags, vok_anim_no_parent);
    near(alone.updated("worldpos"), {1, 0, 0});
    EXPECT_EQ(alone.set("worldrot", {1, 2, 3, 4}), VOK_ERR_EROR); // worked out, never set
}

TEST(AnimNode, clones)
{
    node gl, other, a, b, camera;
    gl.type("vok_gl_node");
    gl.x->flip = 1;
    other.set("position", {0, 0, 7});
    for (node *child : {&a, &b}) {
        child->set("anim", gl.x->name);
        child->update();
    }
    other.update();
    vok_object_method(gl.x, gensym("clone"), other.x);
    EXPECT_EQ(other.x->node_type, vok_anim_gl_node);
    EXPECT_EQ(other.x->flip, 1);
    EXPECT_EQ(gl.children(), 0);
    EXPECT_EQ(other.children(), 2);
    near(a.updated("worldpos"), {0, 0, 7});
    camera.type("vok_gl_camera");
    vok_object_method(camera.x, gensym("clone"), other.x);
    EXPECT_EQ(other.x->node_type, vok_anim_gl_node);
}

// Ten thousand nodes, deep and wide, freed from either end.
TEST(AnimNode, no_depth_is_too_deep)
{
    constexpr size_t count = 10000;
    for (const bool chain : {true, false})
        for (const bool from_root : {true, false}) {
            std::vector<vok_anim_node *> nodes(count);
            const float step[] = {0, 0, 1};
            for (size_t i = 0; i < count; i++) {
                nodes[i] = node::make();
                vok_attr_setfloat_array(nodes[i], gensym("position"), 3, step);
                if (i)
                    vok_attr_setsym(nodes[i], gensym("anim"), nodes[chain ? i - 1 : 0]->name);
            }
            const auto depth = [&](size_t i) { return static_cast<float>(chain ? i + 1 : i ? 2 : 1); };
            nodes[0]->automatic = chain; // else each of the wide would have all before it updated
            for (size_t i = count; i-- > (chain ? count - 1 : 0);)
                vok_anim_node_update(nodes[i], 0);
            if (!chain) {
                nodes[0]->automatic = 1;
                vok_anim_node_update(nodes[0], 1);
            }
            for (size_t i = 0; i < count; i++)
                ASSERT_EQ(nodes[i]->worldpos.z, depth(i)) << i;
            const float aside[] = {3, 0, 1};
            vok_attr_setfloat_array(nodes[0], gensym("position"), 3, aside);
            vok_anim_node_update(nodes[0], 1);
            for (size_t i = 0; i < count; i++)
                ASSERT_EQ(nodes[i]->worldpos.x, 3) << i;
            for (size_t i = 0; i < count; i++)
                vok_object_free(nodes[from_root ? i : count - 1 - i]);
        }
}

// What listens to a box may free the node that is being updated.
struct killer {
    object header;
    void *victim;
};

void *hear(killer *k, symbol *, symbol *, void *, void *)
{
    vok_object_free(std::exchange(k->victim, nullptr));
    return nullptr;
}

TEST(AnimNode, a_node_may_go_while_it_is_updated)
{
    zan_class *c = class_new("anim-node-killer", nullptr, nullptr, sizeof(killer), nullptr, 0);
    class_addmethod(c, reinterpret_cast<zan_method>(hear), "notify", argtype_cant, 0);
    for (int victim = 0; victim < 3; victim++)
        for (const long recursing : {0L, 1L}) {
            node nodes[3], box;
            nodes[1].set("anim", nodes[0].x->name);
            nodes[2].set("anim", nodes[1].x->name);
            nodes[2].update();
            object_obex_storeflags(nodes[1].x, gensym("zanwrapper"), box.x, 1);
            auto *k = static_cast<killer *>(object_alloc(c));
            k->victim = std::exchange(nodes[victim].x, nullptr);
            object_attach(gensym("vokra"), box.x->name, k);
            for (node &n : nodes)
                if (n.x)
                    n.x->dirty = 1;
            vok_anim_node *first = recursing ? nodes[0].x : nodes[2].x;
            if (!first)
                first = static_cast<vok_anim_node *>(k->victim);
            first->dirty = 1;
            vok_anim_node_update(first, recursing);
            EXPECT_EQ(k->victim, nullptr);
            object_free(k);
        }
}

} // namespace
