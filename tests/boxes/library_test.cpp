// Boxes of library classes: made from their dotted names, with the inlets, outlets,
// attributes and replies of what is behind them.
#include "box_tools.h"
#include <cmath>
#include <vokra/vokra.h>

namespace {

using namespace box_tools;

// The cells of a matrix by its name, plane after plane of each cell, a row after the other.
std::vector<double> cells_of(const std::string &name)
{
    std::vector<double> cells;
    void *matrix = vok_object_findregistered(gensym(name.c_str()));
    if (!matrix)
        return cells;
    vok_matrix_info info;
    unsigned char *data = nullptr;
    vok_object_method(matrix, gensym("getinfo"), &info);
    vok_object_method(matrix, gensym("getdata"), &data);
    const long rows = info.dimcount > 1 ? info.dim[1] : 1, columns = info.dim[0] * info.planecount;
    for (long y = 0; y < rows; y++)
        for (long i = 0; i < columns; i++) {
            const unsigned char *row = data + y * info.dimstride[1];
            cells.push_back(info.type == gensym("char") ? row[i]
                                                        : double(reinterpret_cast<const float *>(row)[i]));
        }
    return cells;
}

// "N vok_matrix NAME" as the last thing heard: the name.
std::string matrix_in(const std::string &heard)
{
    const size_t at = heard.rfind("vok_matrix ");
    return at == heard.npos ? "" : heard.substr(at + 11);
}

TEST(LibraryBoxes, EveryOfferedNameIsABox)
{
    long count = 0;
    symbol **names = nullptr;
    ASSERT_EQ(zan_box_names(&count, &names), 0);
    long dotted = 0;
    for (long i = 0; i < count; i++) {
        if (!strchr(names[i]->name, '.'))
            continue;
        dotted++;
        patch p;
        void *box = p.make(std::string(names[i]->name) + " ");
        ASSERT_TRUE(box) << names[i]->name;
        EXPECT_GE(outlet_count(box), 1) << names[i]->name;
        EXPECT_EQ(p.complaint(box, "0 getattributes"), "") << names[i]->name;
    }
    sysmem_freeptr(names);
    EXPECT_GT(dotted, 5);
}

TEST(LibraryBoxes, OtherSpellingsAndInnerPartsAreNone)
{
    for (const char *name :
         {"vok_op", "vok.nothing", "vok.matrix_wrapper", "vok.matrix.wrapper", "vok.mop.io", "op"})
        EXPECT_EQ(zan_box_class(gensym(name)), nullptr) << name;
}

TEST(LibraryBoxes, AMatrixGoesThroughAnOperator)
{
    patch p;
    void *matrix = p.make("vok.matrix boxes-in 1 char 2 2"), *op = p.make("vok.op @op +"),
         *five = p.make("vok.matrix boxes-five 1 char 1 1");
    ASSERT_EQ(zan_connect(matrix, 0, op, 0), 0);
    ASSERT_EQ(zan_connect(five, 0, op, 1), 0);
    p.listen(op);
    EXPECT_EQ(p.ask(five, "0 setall 5", "0 bang"), "") << "the right inlet only takes in";
    p.send(matrix, "0 setall 10");
    p.send(matrix, "0 bang");
    EXPECT_EQ(cells_of(matrix_in(p.heard())), std::vector<double>(4, 15));
    EXPECT_EQ(p.ask(op, "0 getop"), "1 op +") << "replies leave by dumpout";
    EXPECT_EQ(p.errors(), "");
}

TEST(LibraryBoxes, TheMatrixBoxTakesACopyAndSendsItsOwn)
{
    patch p;
    void *from = p.make("vok.matrix boxes-from 1 char 2 1"), *to = p.make("vok.matrix boxes-to"),
         *fixed = p.make("vok.matrix boxes-fixed 1 float32 1 1");
    p.listen(to);
    p.listen(fixed, 10);
    p.send(from, "0 setall 51");
    EXPECT_EQ(p.ask(to, "0 vok_matrix boxes-from"), "0 vok_matrix boxes-to");
    EXPECT_EQ(cells_of("boxes-to"), std::vector<double>(2, 51));
    p.send(fixed, "0 vok_matrix boxes-from");
    p.heard();
    EXPECT_EQ(cells_of("boxes-fixed").size(), 1u) << "a format among the arguments stays";
    EXPECT_EQ(p.ask(to, "0 getdim"), "1 dim 2 1");
    EXPECT_NE(p.complaint(to, "0 vok_matrix boxes-missing").find("matrix unknown"), std::string::npos);
    EXPECT_EQ(p.heard(), "");
    EXPECT_NE(p.ask(to, "0 write /nowhere/at/all.vkf").find("1 write"), std::string::npos);
    EXPECT_NE(p.errors(), "");
}

TEST(LibraryBoxes, AVariableOperatorTakesItsNumberOfInputs)
{
    patch p;
    void *expr = p.make("vok.expr 1 float32 2 1 @inputs 2 @expr in[0]*in[1]");
    ASSERT_TRUE(expr);
    EXPECT_EQ(outlet_count(expr), 2);
    p.listen(expr);
    void *a = p.make("vok.matrix boxes-a 1 float32 2 1"), *b = p.make("vok.matrix boxes-b 1 float32 2 1");
    ASSERT_EQ(zan_connect(a, 0, expr, 0), 0);
    ASSERT_EQ(zan_connect(b, 0, expr, 1), 0);
    p.send(a, "0 setall 3");
    EXPECT_EQ(p.ask(b, "0 setall 4", "0 bang"), "") << "the right inlet only takes in";
    p.send(a, "0 bang");
    EXPECT_EQ(cells_of(matrix_in(p.heard())), std::vector<double>(2, 12));
    EXPECT_EQ(p.ask(expr, "0 getin2_dim"), "1 dim 2 1");
    EXPECT_NE(zan_connect(a, 0, expr, 2), 0);
    p.send(expr, "0 inputs 3");
    EXPECT_EQ(zan_connect(a, 0, expr, 2), 0);
    EXPECT_EQ(p.ask(expr, "0 getinputs"), "1 inputs 3");
    EXPECT_EQ(p.errors(), "");
    EXPECT_EQ(p.complaint(expr, "0 inptus 3"), "doesn't understand \"inptus\"");
}

TEST(LibraryBoxes, AnExpressionCalculatesAtABang)
{
    patch p;
    void *ramp = p.make("vok.expr 1 float32 3 1 @expr norm[0]");
    p.listen(ramp);
    p.send(ramp, "0 bang");
    EXPECT_EQ(cells_of(matrix_in(p.heard())), (std::vector<double>{0, .5, 1}));
    EXPECT_EQ(p.ask(ramp, "0 outputmode 0", "0 bang"), "");
}

TEST(LibraryBoxes, AFunctorAnswersFromDumpout)
{
    patch p;
    void *box = p.make("vok.functor.transfer.step");
    p.listen(box);
    EXPECT_EQ(p.ask(box, "0 eval 2."), "0 eval 1.");
}

TEST(LibraryBoxes, NodesHangOnEachOther)
{
    patch p;
    void *child = p.make("vok.anim.node @name box-child @anim box-parent @position 1. 0. 0.");
    p.listen(child);
    EXPECT_EQ(p.complaint(child, "0 update_node"), "parent anim box-parent not found");
    void *parent = p.make("vok.anim.node @name box-parent @scale 2. @position 0. 5. 0.");
    EXPECT_EQ(p.ask(child, "0 update_node", "0 getworldpos"), "0 worldpos 2. 5. 0.");
    p.send(parent, "0 move 0. 1.");
    p.send(parent, "0 update_node"); // all below it
    EXPECT_EQ(p.ask(child, "0 getworldpos", "0 localtoworld 1. 1. 1."),
              "0 worldpos 2. 6. 0.; 0 localtoworld 4. 8. 2.");
    EXPECT_NE(p.complaint(child, "0 target box-parent"), "") << "for code only";

    // a node shows its values in the box of its target: the box's attribute is marked
    void *node = vok_object_findregistered(gensym("box-child")), *shown = p.make("vok.anim.node @name box-shown");
    auto *attr = static_cast<vok_attribute *>(object_attr_get(shown, gensym("position")));
    ASSERT_TRUE(attr);
    EXPECT_EQ(vok_attr_setsym(node, gensym("target"), gensym("box-shown")), 0);
    vok_attr_clean(shown, gensym("position"));
    p.send(child, "0 position 3. 0. 0.");
    EXPECT_TRUE(attr->flags & vok_attrflag_dirty);
    p.send(child, "0 name box-renamed"); // and the target follows its name
    p.listen(shown, 1);
    EXPECT_EQ(p.ask(shown, "0 getanim"), "1 anim box-renamed");
    p.free(shown);
    p.free(parent);
    EXPECT_EQ(p.complaint(child, "0 update_node"), "parent anim box-parent not found");
}

// Frees a box as soon as its attributes are touched.
struct foe {
    object header;
    patch *owner;
    void *victim;
};

TEST(LibraryBoxes, ABoxMayGoWhileItsNodeIsUpdated)
{
    static zan_class *const c = [] {
        zan_class *made = class_new("foe", nullptr, nullptr, sizeof(foe), nullptr, 0);
        const auto hear = +[](foe *x, symbol *, symbol *message, void *, void *) {
            if (message == gensym("attr_modified") && x->victim)
                x->owner->free(std::exchange(x->victim, nullptr));
        };
        class_addmethod(made, reinterpret_cast<zan_method>(hear), "notify", argtype_cant, 0);
        return made;
    }();
    for (const char *of : {"box-top", "box-below"}) {
        patch p;
        void *top = p.make("vok.anim.node @name box-top"),
             *below = p.make("vok.anim.node @name box-below @anim box-top");
        p.send(below, "0 update_node");
        p.send(top, "0 position 1. 2. 3.");
        auto *x = static_cast<foe *>(object_alloc(c));
        x->owner = &p;
        x->victim = of == std::string("box-top") ? top : below;
        ASSERT_EQ(object_register(gensym("test"), gensym("victim"), x->victim), x->victim);
        ASSERT_TRUE(object_attach(gensym("test"), gensym("victim"), x));
        vok_object_method(vok_object_findregistered(gensym("box-top")), gensym("update"), 0L);
        vok_object_method(vok_object_findregistered(gensym("box-top")), gensym("update"), 1L);
        EXPECT_EQ(x->victim, nullptr) << of;
        EXPECT_EQ(vok_object_findregistered(gensym(of)), nullptr);
        object_free(x);
        EXPECT_EQ(p.errors(), "");
    }
}

} // namespace
