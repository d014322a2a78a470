// Boxes of library classes: made from their dotted names, with the inlets, outlets,
// attributes and replies of what is behind them.
#include "box_tools.h"
#include <vokra/vokra.h>

namespace {

using namespace box_tools;

TEST(LibraryBoxes, EveryOfferedNameIsABoxAndNoOther)
{
    const std::vector<std::string> names = box_names();
    EXPECT_EQ(std::count(names.begin(), names.end(), "vok.op"), 1);
    for (const std::string &name : names) {
        if (name.find('.') == name.npos)
            continue;
        patch p;
        void *box = p.make(name);
        ASSERT_TRUE(box) << name;
        EXPECT_GE(outlet_count(box), 1) << name;
        EXPECT_EQ(p.complaint(box, "0 getattributes"), "") << name;
    }
    for (const char *name :
         {"vok_op", "vok.nothing", "vok.matrix_wrapper", "vok.matrix.wrapper", "vok.mop.io", "op"})
        EXPECT_EQ(zan_box_class(gensym(name)), nullptr) << name;
}

TEST(LibraryBoxes, TheMatrixBoxTakesACopyAndSendsItsOwn)
{
    patch p;
    void *from = p.make("vok.matrix boxes-from 1 char 2 1"), *to = p.make("vok.matrix boxes-to"),
         *fixed = p.make("vok.matrix boxes-fixed 1 float32 1 1");
    p.listen(to);
    p.listen(fixed, 10);
    p.send(from, "0 setall 51");
    EXPECT_EQ(p.ask(to, "0 vok_matrix boxes-from", "0 getdim", "0 getcell 1 0"),
              "0 vok_matrix boxes-to; 1 dim 2 1; 1 cell 51");
    EXPECT_EQ(p.ask(fixed, "0 vok_matrix boxes-from", "0 getdim"), "10 vok_matrix boxes-fixed; 11 dim 1 1")
        << "a format among the arguments stays";
    EXPECT_NE(p.complaint(to, "0 vok_matrix boxes-missing").find("matrix unknown"), std::string::npos);
    EXPECT_EQ(p.ask(to, "0 write /nowhere/at/all.vkf"), "1 write /nowhere/at/all.vkf -1");
    EXPECT_NE(p.errors(), "");
}

TEST(LibraryBoxes, AVariableOperatorTakesItsNumberOfInputs)
{
    patch p;
    void *expr = p.make("vok.expr 1 float32 2 1 @inputs 2 @expr in[0]*in[1]+cell[0]"),
         *a = p.make("vok.matrix boxes-a 1 float32 2 1"), *b = p.make("vok.matrix boxes-b 1 float32 2 1"),
         *out = p.make("vok.matrix boxes-out");
    ASSERT_EQ(zan_connect(a, 0, expr, 0), 0);
    ASSERT_EQ(zan_connect(b, 0, expr, 1), 0);
    ASSERT_EQ(zan_connect(expr, 0, out, 0), 0);
    p.listen(out, 10);
    p.send(a, "0 setall 3");
    EXPECT_EQ(p.ask(b, "0 setall 4", "0 bang"), "") << "the right inlet only takes in";
    EXPECT_EQ(p.ask(a, "0 bang"), "10 vok_matrix boxes-out");
    EXPECT_EQ(p.ask(out, "0 getcell 0 0", "0 getcell 1 0"), "11 cell 12.; 11 cell 13.");
    EXPECT_NE(zan_connect(a, 0, expr, 2), 0);
    p.send(expr, "0 inputs 3");
    EXPECT_EQ(zan_connect(a, 0, expr, 2), 0);
    p.listen(expr);
    EXPECT_EQ(p.ask(expr, "0 getinputs"), "1 inputs 3");
    p.send(expr, "0 inputs 1");
    EXPECT_EQ(zan_inlet_count(expr), 1);
    EXPECT_EQ(p.errors(), "");
    EXPECT_EQ(p.complaint(expr, "0 inptus 3"), "doesn't understand \"inptus\"");
}

TEST(LibraryBoxes, WithoutInputsABangCalculates)
{
    patch p;
    void *ramp = p.make("vok.expr 1 float32 3 1 @expr norm[0]"), *out = p.make("vok.matrix boxes-out");
    ASSERT_EQ(zan_connect(ramp, 0, out, 0), 0);
    p.listen(out);
    EXPECT_EQ(p.ask(ramp, "0 bang"), "0 vok_matrix boxes-out");
    EXPECT_EQ(p.ask(out, "0 getcell 1 0", "0 getcell 2 0"), "1 cell 0.5; 1 cell 1.");
    EXPECT_EQ(p.ask(ramp, "0 outputmode 0", "0 bang"), "");
    void *functor = p.make("vok.functor.transfer.step"); // answers from dumpout
    p.listen(functor);
    EXPECT_EQ(p.ask(functor, "0 eval 2."), "0 eval 1.");
}

TEST(LibraryBoxes, NodesHangOnEachOther)
{
    patch p;
    void *child = p.make("vok.anim.node @name box-child @anim box-parent @position 1. 0. 0.");
    p.listen(child);
    EXPECT_EQ(p.complaint(child, "0 update_node"), "parent anim box-parent not found");
    p.make("vok.anim.node @name box-parent @scale 2. @position 0. 5. 0.");
    EXPECT_EQ(p.ask(child, "0 update_node", "0 getworldpos", "0 localtoworld 1. 1. 1."),
              "0 worldpos 2. 5. 0.; 0 localtoworld 4. 7. 2.");
    EXPECT_NE(p.complaint(child, "0 target box-parent"), "") << "for code only";

    // a node shows its values in the box of its target: the box's attribute is marked
    void *node = vok_object_findregistered(gensym("box-child")), *shown = p.make("vok.anim.node @name box-shown");
    auto *attr = static_cast<vok_attribute *>(object_attr_get(shown, gensym("position")));
    EXPECT_EQ(vok_attr_setsym(node, gensym("target"), gensym("box-shown")), 0);
    vok_attr_clean(shown, gensym("position"));
    p.send(child, "0 position 3. 0. 0.");
    EXPECT_TRUE(attr->flags & vok_attrflag_dirty);
    p.listen(shown, 1); // and the target follows its name
    EXPECT_EQ(p.ask(child, "0 name box-renamed"), "");
    EXPECT_EQ(p.ask(shown, "0 getanim"), "1 anim box-renamed");
}

TEST(LibraryBoxes, ABoxMayGoWhileItsNodeIsUpdated)
{
    static patch *owner;
    static void *victim; // goes as soon as its attributes are touched
    zan_class *c = class_new("foe", nullptr, nullptr, sizeof(object), nullptr, 0);
    const auto hear = +[](void *, symbol *, symbol *message, void *, void *) {
        if (message == gensym("attr_modified") && victim)
            owner->free(std::exchange(victim, nullptr));
    };
    class_addmethod(c, reinterpret_cast<zan_method>(hear), "notify", argtype_cant, 0);
    for (const char *of : {"box-top", "box-below"}) {
        patch p;
        owner = &p;
        void *top = p.make("vok.anim.node @name box-top"),
             *below = p.make("vok.anim.node @name box-below @anim box-top"), *x = object_alloc(c);
        p.send(below, "0 update_node");
        p.send(top, "0 position 1. 2. 3.");
        victim = of == std::string("box-top") ? top : below;
        ASSERT_EQ(object_register(gensym("test"), gensym("victim"), victim), victim);
        ASSERT_TRUE(object_attach(gensym("test"), gensym("victim"), x));
        for (long all : {0L, 1L})
            vok_object_method(vok_object_findregistered(gensym("box-top")), gensym("update"), all);
        EXPECT_EQ(victim, nullptr) << of;
        EXPECT_EQ(vok_object_findregistered(gensym(of)), nullptr);
        object_free(x);
        EXPECT_EQ(p.errors(), "");
    }
    class_free(c);
}

} // namespace
