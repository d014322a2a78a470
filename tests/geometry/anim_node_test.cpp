// Transform nodes: world values against matrices composed in double precision, who hangs
// on whom when parents come late, leave or close a circle, and how nodes move and look.
#include <algorithm>
#include <concepts>
#include <random>
#include <utility>

#include <vokra/vokra.h>

#include "matrix/matrix_tools.h"
#include "scratch.h"

#include "geometry/rotations.h"

namespace {

using floats = std::vector<float>;
constexpr float r2 = 0.70710678f; // the root of a half
const floats about_x = {r2, 0, 0, r2}, about_y = {0, r2, 0, r2}, about_z = {0, 0, r2, r2};
symbol *const nothing = gensym("");

void near(const floats &found, const floats &wanted, double tolerance, const char *what)
{
    ASSERT_EQ(found.size(), wanted.size()) << what;
    for (size_t i = 0; i < wanted.size(); i++)
        EXPECT_NEAR(found[i], wanted[i], tolerance) << what << ", value " << i;
}

// An attribute with numbers or a word.
struct setting {
    const char *name;
    floats numbers;
    symbol *word = nullptr;
    setting(const char *of, floats list) : name(of), numbers(std::move(list)) {}
    setting(const char *of, std::same_as<symbol *> auto s) : name(of), word(s) {}
};
using settings = std::initializer_list<setting>;

// A node that goes with its owner.
class node {
  public:
    explicit node(settings list = {}) : x(make()) { set(list); }
    explicit node(const char *name) : node({{"name", gensym(name)}}) {}
    ~node() { free(); }
    node(const node &) = delete;
    node &operator=(const node &) = delete;
    static vok_anim_node *make() { return static_cast<vok_anim_node *>(vok_object_new(gensym("vok_anim_node"))); }
    void free() { vok_object_free(std::exchange(x, nullptr)); }
    vok_err take(const setting &s)
    {
        return s.word ? vok_attr_setsym(x, gensym(s.name), s.word)
                      : vok_attr_setfloat_array(x, gensym(s.name), long(s.numbers.size()), s.numbers.data());
    }
    void set(settings list)
    {
        for (const setting &s : list)
            EXPECT_EQ(take(s), 0) << s.name;
    }
    floats get(const char *name)
    {
        floats values(16);
        values.resize(static_cast<size_t>(vok_attr_getfloat_array(x, gensym(name), 16, values.data())));
        return values;
    }
    void has(settings wanted, double tolerance = 2e-6)
    {
        for (const setting &s : wanted)
            near(get(s.name), s.numbers, tolerance, s.name);
    }
    void with(settings list, settings wanted, double tolerance = 2e-6)
    {
        set(list);
        update();
        has(wanted, tolerance);
    }
    void answers(const char *what, const std::string &values, const floats &wanted)
    {
        std::vector<atom> list = atoms(values);
        atom rv;
        vok_object_method_typed(x, gensym(what), long(list.size()), list.data(), &rv);
        long argc = 0;
        atom *argv = nullptr;
        if (atom_getobj(&rv))
            atomarray_getatoms(atom_getobj(&rv), &argc, &argv);
        floats found(static_cast<size_t>(argc));
        std::transform(argv, argv + argc, found.begin(), [](const atom &a) { return float(atom_getfloat(&a)); });
        vok_object_free(atom_getobj(&rv));
        near(found, wanted, 2e-6, what);
    }
    void send(const char *what, const std::string &values = "") { message(x, what, values); }
    void tell(const char *message, void *argument) { vok_object_method(x, gensym(message), argument); }
    void type(const char *name) { tell("set_type", gensym(name)); }
    void update(long recursing = 0) { EXPECT_EQ(vok_anim_node_update(x, recursing), 0); }
    long children() { return linklist_getsize(x->children); }

    vok_anim_node *x;
};

TEST(AnimNode, a_tree_is_the_product_of_its_matrices)
{
    std::mt19937 random(5);
    std::uniform_real_distribution<float> real(-1, 1);
    constexpr size_t count = 60;
    node nodes[count];
    size_t parents[count] = {};
    square_matrix<4> wanted[count];
    const auto place = [&](size_t i, const vok_vec3 &p) {
        vok_quat q = {real(random), real(random), real(random), real(random)};
        vok_quat_normalize(&q);
        const float scale = 1 + 0.3f * real(random);
        nodes[i].set({{"position", {p.x, p.y, p.z}}, {"quat", {q.x, q.y, q.z, q.w}}, {"scale", {scale}}});
        wanted[i] = {};
        wanted[i].e[3][3] = 1;
        for (size_t k = 0; k < 9; k++)
            wanted[i].e[k / 3][k % 3] = static_cast<double>(scale) * of_quat(&q.x).e[k / 3][k % 3];
        for (size_t k = 0; k < 3; k++)
            wanted[i].e[k][3] = (&p.x)[k];
        if (i)
            wanted[i] = wanted[parents[i]] * wanted[i];
    };
    const auto check = [&](size_t i) {
        SCOPED_TRACE(i);
        const floats world = nodes[i].get("worldtransform"), back = nodes[i].get("invtransform");
        square_matrix<4> inverse;
        for (size_t k = 0; k < 16; k++) { // columns behind each other
            EXPECT_NEAR(world[k], wanted[i].e[k % 4][k / 4], 2e-5) << "element " << k;
            inverse.e[k % 4][k / 4] = back[k];
        }
        const square_matrix<4> unit = inverse * wanted[i];
        for (size_t k = 0; k < 16; k++)
            EXPECT_NEAR(unit.e[k / 4][k % 4], k % 5 == 0, 1e-4) << "element " << k << " of the inverse";
    };
    for (size_t i = 0; i < count; i++) {
        parents[i] = i ? static_cast<size_t>(random()) % i : 0;
        if (i)
            nodes[i].set({{"anim", nodes[parents[i]].x->name}});
        place(i, {real(random), real(random), real(random)});
    }
    for (size_t i = count; i-- > 0;) { // leaves first: each brings its ancestors
        nodes[i].update();
        check(i);
    }
    const double by[] = {5 - wanted[0].e[0][3], -wanted[0].e[1][3], -wanted[0].e[2][3]};
    nodes[0].set({{"position", {5, 0, 0}}}); // all below follow from the top
    nodes[0].update(1);
    for (size_t i = 0; i < count; i++) {
        for (size_t k = 0; k < 3; k++)
            wanted[i].e[k][3] += by[k];
        check(i);
    }
}

TEST(AnimNode, what_a_child_inherits)
{
    node parent({{"scale", {2, 3, 4}}, {"rotate", {90, 0, 0, 1}}, {"position", {10, 0, 0}}});
    node child({{"anim", parent.x->name}, {"position", {1, 1, 1}}});
    child.with({}, {{"worldpos", {7, 2, 4}}, {"worldscale", {2, 3, 4}}, {"worldquat", about_z}});
    child.has({{"worldrot", {90, 0, 0, 1}}}, 1e-4);
    child.with({{"anchor", {1, 0, 0}}}, {{"worldpos", {7, 4, 4}}}); // by the parent's scale
    child.set({{"anchor", {0, 0, 0}}});
    const struct {
        const char *attribute, *of;
        floats on, off;
    } rows[] = {{"inherit_position", "worldpos", {7, 2, 4}, {1, 1, 1}},
                {"inherit_scale", "worldscale", {2, 3, 4}, {1, 1, 1}},
                {"inherit_rotate", "worldquat", about_z, {0, 0, 0, 1}}};
    for (const auto &row : rows) {
        child.with({{row.attribute, {0}}}, {{row.of, row.off}});
        child.with({{row.attribute, {1}}}, {{row.of, row.on}});
    }
    child.with({{"automatic", {0}}, {"position", {0, 0, 0}}}, {{"worldpos", {7, 2, 4}}});
    child.send("update_node");
    child.has({{"worldpos", {10, 0, 0}}, {"automatic", {0}}});
    child.set({{"automatic", {1}}, {"anim", nothing}});
    EXPECT_EQ(parent.children(), 0);
    child.with({}, {{"worldscale", {1, 1, 1}}});
    child.set({{"parentscale", {2, 2, 2}}});
    vok_object_method_typed(child.x, gensym("anim"), 0, nullptr, nullptr); // no parent, also for who has none
    child.with({}, {{"worldscale", {1, 1, 1}}});
}

TEST(AnimNode, parents_that_come_later_and_leave)
{
    report_catcher reports;
    node child({{"anim", gensym("late-parent")}});
    const auto says = [&](node &x, const char *text) {
        x.update();
        EXPECT_EQ(reports.one_error(), text);
    };
    says(child, "parent anim late-parent not found");
    says(child, "parent anim late-parent not found");
    {
        node parent("late-parent");
        parent.set({{"position", {0, 3, 0}}});
        child.with({}, {{"worldpos", {0, 3, 0}}});
        parent.set({{"name", gensym("renamed-parent")}}); // children follow
        child.with({}, {{"worldpos", {0, 3, 0}}});
        EXPECT_EQ(child.x->anim, gensym("renamed-parent"));
        EXPECT_EQ(parent.children(), 1);
        EXPECT_TRUE(reports.take().empty());
    }
    says(child, "parent anim renamed-parent not found"); // waits for another of that name
    {
        node second("renamed-parent");
        second.type("vok_gl_node");
        second.set({{"position", {1, 1, 1}}});
        child.with({}, {{"worldpos", {1, 1, 1}}});
    }
    EXPECT_EQ(child.x->anim, nothing); // a GL node lets its children go
    child.with({}, {{"worldpos", {0, 0, 0}}});
    {
        node parent, orphan({{"anim", parent.x->name}}), listed; // without the name of who lists it
        orphan.update();
        parent.tell("add_child", listed.x);
        EXPECT_EQ(parent.children(), 2);
        orphan.free();
        listed.free();
        EXPECT_EQ(parent.children(), 0);
    }
    void *tree = vok_object_register(vok_object_new(gensym("vok_tree")), gensym("no-node"));
    child.set({{"anim", gensym("no-node")}});
    says(child, "no-node exists and is not an vok.anim.node");
    EXPECT_EQ(child.x->anim, nothing);
    vok_object_free(tree);
}

TEST(AnimNode, circles_are_refused)
{
    report_catcher reports;
    node a("circle-a"), b({{"anim", a.x->name}}), c("circle-c"), d;
    c.set({{"anim", b.x->name}});
    c.update();
    a.set({{"anim", c.x->name}});
    a.update();
    EXPECT_EQ(reports.one_error(), "circle-c is a descendant of circle-a");
    EXPECT_EQ(a.x->anim, nothing);
    EXPECT_EQ(b.children(), 1);
    EXPECT_EQ(c.children(), 0);
    a.set({{"anim", a.x->name}}); // itself: nothing happens
    EXPECT_TRUE(reports.take().empty());

    // nobody attached yet; a node that leads into a circle without being on it
    a.set({{"anim", c.x->name}});
    d.set({{"anim", c.x->name}});
    d.update();
    EXPECT_EQ(reports.take(zan_report_error).size(), 1u);
    d.update(1);

    // the parents of model nodes aren't looked at again
    node e, f;
    e.type("vok_gl_model_node");
    f.set({{"anim", e.x->name}});
    f.update();
    e.set({{"anim", f.x->name}});
    e.update();
    f.update(1);
    for (node *x : {&e, &f})
        f.tell("add_child", x->x);
    f.update(1);
    e.update(1);
}

TEST(AnimNode, names_and_targets)
{
    report_catcher reports;
    node a("name-a"), b("name-b"), shown("name-shown");
    EXPECT_EQ(a.take({"name", gensym("name-b")}), VOK_ERR_EROR);
    EXPECT_EQ(reports.one_error(), "name name-b already in use. anode does not allow multiple bindings");
    EXPECT_EQ(gensym("name-a")->thing, a.x);
    a.set({{"name", gensym("name-c")}});
    EXPECT_EQ(gensym("name-a")->thing, nullptr);
    EXPECT_EQ(vok_object_findregistered(gensym("name-c")), a.x);
    a.type("vok_gl_render");
    a.set({{"anim", b.x->name}});
    EXPECT_EQ(reports.one_error(), "name-c is the root node and cannont be parented");

    void *tree = vok_object_register(vok_object_new(gensym("vok_tree")), gensym("name-tree"));
    EXPECT_EQ(b.take({"target", gensym("name-nobody")}), VOK_ERR_EROR);
    EXPECT_EQ(b.take({"target", gensym("name-tree")}), VOK_ERR_EROR);
    EXPECT_EQ(reports.one_error(), "name-tree exists but is wrong class");
    EXPECT_EQ(b.x->target, nothing);
    b.set({{"target", shown.x->name}});
    EXPECT_EQ(b.take({"target", shown.x->name}), VOK_ERR_EROR);
    EXPECT_EQ(b.x->target, shown.x->name);
    b.set({{"name", gensym("name-d")}}); // the target is told
    EXPECT_EQ(shown.x->anim, gensym("name-d"));

    // and its box: a set and an update touch what it shows
    node box;
    object_obex_storeflags(shown.x, gensym("zanwrapper"), box.x, 1);
    const auto touched = [&](const char *name) {
        const auto *attr = static_cast<vok_attribute *>(object_attr_get(box.x, gensym(name)));
        const bool dirty = attr->flags & vok_attrflag_dirty;
        vok_attr_clean(box.x, gensym(name));
        return dirty;
    };
    vok_attr_cleanall(box.x);
    b.set({{"position", {1, 2, 3}}});
    EXPECT_TRUE(touched("position"));
    EXPECT_FALSE(touched("quat"));
    b.set({{"rotate", {10}}});
    EXPECT_TRUE(touched("quat"));
    vok_attr_cleanall(box.x);
    b.tell("attrui_focusgained", gensym("position"));
    b.update();
    EXPECT_FALSE(touched("position"));
    b.tell("attrui_focuslost", gensym("position"));
    b.x->dirty = 1;
    b.update();
    EXPECT_TRUE(touched("position"));
    EXPECT_TRUE(touched("rotatexyz"));
    b.set({{"target", nothing}});
    object_obex_storeflags(shown.x, gensym("zanwrapper"), nullptr, 1);
    vok_object_free(tree);
}

TEST(AnimNode, moves_in_three_frames)
{
    const struct {
        const char *mode;
        float lockplane;
        const char *by;
        floats position;
    } rows[] = {{"parent", 0, "1 2 3", {1, 2, 3}}, {"parent", 2, "1 2 3 2", {2, 0, 6}},
                {"local", 0, "1 2 3", {1, -3, 2}}, // a quarter turn about x: y to z
                {"world", 0, "2 0 0", {0, -1, 0}}, // the parent's about z: x to y; its scale is 2
                {"parent", 0, "1", {1, 0, 0}},     {"parent", 0, "", {0, 0, 0}}};
    node parent({{"rotate", {90, 0, 0, 1}}, {"scale", {2}}});
    for (const auto &row : rows) {
        node x({{"anim", parent.x->name}, {"rotate", {90, 1, 0, 0}}});
        x.update();
        x.set({{"movemode", gensym(row.mode)}, {"lockplane", {row.lockplane}}});
        x.send("move", row.by);
        x.send("anim_grow", "1 0 0.5 2");
        x.has({{"position", row.position}, {"scale", {3, 1, 2}}});
    }
}

floats product(const floats &a, const floats &b)
{
    vok_quat p = {a[0], a[1], a[2], a[3]}, q = {b[0], b[1], b[2], b[3]};
    vok_quat_mult(&p, &p, &q);
    return {p.x, p.y, p.z, p.w};
}

TEST(AnimNode, turns_in_three_frames)
{
    node parent({{"quat", about_y}});
    const struct {
        const char *mode, *changed;
        floats quat;
    } rows[] = {{"parent", "quat", product(about_x, about_z)},
                {"local", "quat", product(about_z, about_x)},
                {"world", "worldquat", product(about_x, product(about_y, about_z))}};
    for (const auto &row : rows) {
        node x({{"anim", parent.x->name}, {"quat", about_z}});
        x.update();
        x.set({{"animmode", gensym(row.mode)}, {"animmode", gensym("sideways")}}); // the latter is ignored
        EXPECT_EQ(x.x->turnmode, gensym(row.mode));
        EXPECT_EQ(x.x->movemode, gensym(row.mode));
        x.send("turn", "90");
        x.with({}, {{row.changed, row.quat}});
    }
    node x;
    x.send("turn", "0 30 0 3"); // three times 30 degrees about y
    x.has({{"quat", about_y}});
    x.set({{"tripod", {1}}});
    x.update();
    x.send("anim_turn", "90"); // about the node's own x, which is -z
    const floats tilted = product({0, 0, -r2, r2}, about_y);
    x.with({}, {{"quat", tilted}});
    x.send("anim_turn", "0 90"); // about the vertical, whatever the node's own
    x.has({{"quat", product(about_y, tilted)}});
}

TEST(AnimNode, looks_at_points_and_along_directions)
{
    node x({{"position", {1, 0, 0}}});
    const struct {
        setting by;
        floats direction;
    } rows[] = {{{"lookat", {1, 0, -5}}, {0, 0, -1}}, // right behind: half a turn about the second axis
                {{"lookat", {4, 4, 0}}, {0.6f, 0.8f, 0}},
                {{"direction", {0, 0, 7}}, {0, 0, 1}},
                {{"direction", {1, 0}}, {0, 0, 1}}, // two numbers are none
                {{"direction", {0, 0, 0}}, {0, 0, 1}}};
    for (const auto &row : rows) {
        x.set({row.by});
        x.with({}, {{"worlddir", row.direction}, {"direction", row.direction}});
        if (&row == rows)
            x.has({{"worldquat", {0, 1, 0, 0}}});
    }
    x.set({{"lookat", {4, 4, 0}}});
    x.with({}, {{"lookat", {1.6f, 0.8f, 0}}}); // read back: the point ahead
    x.set({{"direction", {0, 0, 7}}});
    x.has({{"direction", {0, 0, 7}}}); // as it was set, until it is done

    x.with({{"locklook", {1}}, {"lookat", {9, 0, 0}}}, {{"worlddir", {1, 0, 0}}});
    x.send("move", "7.95 0.1 -0.1"); // nearly there: back to where it looked from
    x.with({}, {{"worldpos", {1, 0, 0}}, {"worlddir", {1, 0, 0}}});
    x.send("move", "0 8 0");
    x.with({}, {{"worlddir", {r2, -r2, 0}}});

    node camera, child;
    camera.type("vok_gl_camera");
    EXPECT_EQ(camera.x->animmode, gensym("local"));
    EXPECT_EQ(camera.x->turnmode, gensym("parent"));
    camera.send("reset");
    camera.with({}, {{"worldpos", {0, 0, 2}}, {"direction", {0, 0, -1}}});
    camera.with({{"lookat", {3, 0, 2}}}, {{"direction", {1, 0, 0}}});
    child.set({{"anim", camera.x->name}, {"position", {0, 0, 1}}, {"lookat", {10, 0, 2}}});
    child.with({}, {{"worlddir", {1, 0, 0}}}, 1e-5); // an aimed child does without its parent's rotation
    child.has({{"worldquat", child.get("quat")}});
}

TEST(AnimNode, a_tripod_keeps_the_horizon)
{
    node x({{"tripod", {1}}, {"rotate", {40, 0, 0, 1}}, {"direction", {1, 1, 0.5f}}});
    x.with({}, {{"worlddir", {2.0f / 3, 2.0f / 3, 1.0f / 3}}}, 1e-5);
    EXPECT_NEAR(x.get("worldtransform")[1], 0, 1e-5) << "its side is level";
    const floats before = x.get("quat");
    for (const float up : {1.0f, -1.0f}) { // along up: stays as it is
        x.with({{"direction", {0.05f, up, 0}}}, {{"quat", before}}, 0);
    }
    x.send("move", "1 2 3"); // and a node that moved goes back
    x.with({{"direction", {0, 1, 0}}}, {{"worldpos", {0, 0, 0}}, {"quat", before}}, 0);
    x.with({{"up", {0, 0, 3}}, {"direction", {0, 1, 0}}}, {{"worlddir", {0, 1, 0}}}, 1e-5);
    EXPECT_NEAR(x.get("worldtransform")[6], 1, 1e-5);
}

TEST(AnimNode, transforms_and_conversions)
{
    node parent({{"position", {0, 0, 5}}}), x({{"scale", {2, 3}}});
    x.has({{"scale", {2, 3, 0}}});
    x.set({{"scale", {2}}, {"anim", parent.x->name}, {"position", {1, 2, 3}}, {"quat", about_z}});
    x.answers("localtoworld", "1 0 0", {1, 4, 8}); // brings the node up to date first
    x.answers("worldtolocal", "1 4 8", {1, 0, 0});
    x.answers("localtoworld", "1", {1, 4, 8});
    x.answers("localtoworld_quat", "0.70710678 0 0 0.70710678", product(about_z, about_x));
    x.answers("worldtolocal_quat", "0 0 1", product({0, 0, -r2, r2}, {0, 0, 1, 0})); // w is 0
    for (const char *what : {"localtoworld", "worldtolocal", "localtoworld_quat", "worldtolocal_quat"})
        x.answers(what, "", {});

    const floats m = {0, 2, 0, 0, -2, 0, 0, 0, 0, 0, 2, 0, 1, 2, 3, 1};
    node copy({{"transform", m}});
    x.has({{"transform", m}});
    copy.has({{"position", {1, 2, 3}}, {"scale", {2, 2, 2}}, {"quat", about_z}});
    copy.with({}, {{"worldtransform", m}});
    copy.send("concat", "0 2 0 0 -2 0 0 0 0 0 2 0 1 2 3 1");
    copy.has({{"position", {-3, 4, 9}}, {"worldscale", {4, 4, 4}}, {"worldquat", {0, 0, 1, 0}}}, 1e-5);
    copy.has({{"quat", about_z}}); // that of the interface stays

    // parent values set by hand, and given back
    node alone({{"position", {1, 0, 0}}});
    alone.update(); // the first one clears what the parent would have set
    alone.with({{"parentrot", {90, 0, 1, 0}}, {"parentscale", {3}}, {"parentpos", {0, 5}}},
               {{"worldpos", {0, 5, -3}}, {"parentquat", about_y}});
    EXPECT_EQ(alone.x->flags, vok_anim_parentpos | vok_anim_parentquat | vok_anim_parentscale);
    alone.set({{"parentpos", floats{}}, {"parentscale", floats{}}});
    EXPECT_EQ(alone.x->flags, vok_anim_parentquat);
    alone.set({{"parentquat", floats{}}});
    EXPECT_EQ(alone.x->flags, vok_anim_no_parent);
    alone.with({}, {{"worldpos", {1, 0, 0}}});
    EXPECT_EQ(alone.take({"worldrot", {1, 2, 3, 4}}), VOK_ERR_EROR); // worked out, never set
}

TEST(AnimNode, clones)
{
    node gl, other({{"position", {0, 0, 7}}}), camera;
    gl.type("vok_gl_node");
    gl.x->flip = 1;
    node a({{"anim", gl.x->name}});
    a.update();
    other.update();
    gl.tell("clone", other.x);
    EXPECT_EQ(other.x->node_type, vok_anim_gl_node);
    EXPECT_EQ(other.x->flip, 1);
    EXPECT_EQ(gl.children(), 0);
    EXPECT_EQ(other.children(), 1);
    a.with({}, {{"worldpos", {0, 0, 7}}});
    camera.type("vok_gl_camera");
    camera.tell("clone", other.x);
    EXPECT_EQ(other.x->node_type, vok_anim_gl_node);
}

// Ten thousand nodes, deep and wide, freed from either end.
TEST(AnimNode, no_depth_is_too_deep)
{
    constexpr size_t count = 10000;
    for (const bool chain : {true, false})
        for (const bool from_root : {true, false}) {
            std::vector<vok_anim_node *> nodes(count);
            const float step[] = {0, 0, 1}, aside[] = {3, 0, 1};
            for (size_t i = 0; i < count; i++) {
                nodes[i] = node::make();
                vok_attr_setfloat_array(nodes[i], gensym("position"), 3, step);
                if (i)
                    vok_attr_setsym(nodes[i], gensym("anim"), nodes[chain ? i - 1 : 0]->name);
            }
            nodes[0]->automatic = chain; // else each of the wide would have all before it updated
            for (size_t i = count; i-- > (chain ? count - 1 : 0);)
                vok_anim_node_update(nodes[i], 0);
            nodes[0]->automatic = 1;
            vok_attr_setfloat_array(nodes[0], gensym("position"), 3, aside);
            vok_anim_node_update(nodes[0], 1);
            for (size_t i = 0; i < count; i++) {
                ASSERT_EQ(nodes[i]->worldpos.x, 3) << i;
                ASSERT_EQ(nodes[i]->worldpos.z, static_cast<float>(chain ? i + 1 : i ? 2 : 1)) << i;
            }
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
            nodes[1].set({{"anim", nodes[0].x->name}});
            nodes[2].set({{"anim", nodes[1].x->name}});
            nodes[2].update();
            object_obex_storeflags(nodes[1].x, gensym("zanwrapper"), box.x, 1);
            for (node &n : nodes)
                n.x->dirty = 1;
            vok_anim_node *first = nodes[recursing ? 0 : 2].x;
            auto *k = static_cast<killer *>(object_alloc(c));
            k->victim = std::exchange(nodes[victim].x, nullptr);
            object_attach(gensym("vokra"), box.x->name, k);
            vok_anim_node_update(first, recursing);
            EXPECT_EQ(k->victim, nullptr);
            object_free(k);
        }
}

} // namespace
