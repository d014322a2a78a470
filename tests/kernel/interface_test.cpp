// One class answering for another: messages of every tag, private messages through the
// decorator, attributes, and who wins.
#include "quick_class.h"
#include <algorithm>
#include <cstddef>
#include <utility>

namespace {

struct engine {
    object header;
    long speed;
    long calls;
    long gear;
};

struct car {
    object header;
    engine *motor;
    long doors;
};

zan_class *make_engine_class()
{
    zan_class *c = vok_class_new("vok_engine", nullptr, nullptr, sizeof(engine), argtype_cant, 0);
    const auto rev = [](engine *x, symbol *, long argc, atom *argv) -> zan_word {
        x->calls += argc > 0 ? atom_getlong(argv) : 100;
        return x->calls;
    };
    const auto ask = [](engine *x, symbol *, long, atom *, atom *rv) -> zan_word {
        if (rv)
            atom_setlong(rv, x->calls);
        return 0;
    };
    const auto add = [c](const char *name, auto fn, int tag) { vok_class_addmethod(c, erase(fn), name, tag, 0); };
    add("rev", rev, argtype_gimme);
    add("revlow", rev, argtype_defer_low);
    add("ask", ask, argtype_gimmeback);
    add(
        "bump", [](engine *x, zan_word by) -> zan_word { return x->calls += by; }, argtype_cant);
    add(
        "doors_of", [](engine *) -> zan_word { return -1; }, argtype_cant);
    add(
        "typed", [](engine *, long) {}, argtype_long);
    for (const auto &[name, offset] :
         {std::pair{"speed", offsetof(engine, speed)}, {"gear", offsetof(engine, gear)}})
        vok_class_addattr(c, vok_attr_offset_new(name, _vok_sym_long, 0, nullptr, nullptr, long(offset)));
    vok_class_register(c);
    return c;
}

zan_class *make_car_class(const char *name)
{
    zan_class *c = vok_class_new(name, nullptr, nullptr, sizeof(car), argtype_cant, 0);
    vok_class_addmethod(c, erase([](car *x) -> zan_word { return x->doors; }), "doors_of", argtype_cant, 0);
    vok_class_addattr(c, vok_attr_offset_new("gear", _vok_sym_long, 0, nullptr, nullptr, offsetof(car, doors)));
    return c;
}

class Interface : public testing::Test {
  protected:
    void SetUp() override
    {
        initialize();
        static zan_class *const engines = make_engine_class();
        engine_class = engines;
        static zan_class *const cars = make_car_class("vok_car");
        static const std::vector<std::string> said = [] {
            report_catcher ear;
            EXPECT_EQ(vok_class_addinterface(cars, engines, offsetof(car, motor), 1), 0);
            return ear.take(zan_report_post);
        }();
        posts = said;
        car_class = cars;
        x = static_cast<car *>(vok_object_alloc(car_class));
        x->motor = static_cast<engine *>(vok_object_alloc(engine_class));
        x->doors = 5;
    }
    void TearDown() override
    {
        vok_object_free(x->motor);
        vok_object_free(x);
    }
    zan_class *engine_class = nullptr;
    zan_class *car_class = nullptr;
    car *x = nullptr;
    std::vector<std::string> posts;
};

TEST_F(Interface, NullArguments)
{
    EXPECT_EQ(vok_class_addinterface(nullptr, engine_class, 0, 0), VOK_ERR_EROR);
    EXPECT_EQ(vok_class_addinterface(car_class, nullptr, 0, 0), VOK_ERR_EROR);
    report_catcher ear;
    EXPECT_EQ(vok_interface_method_gimmeback(x, nullptr, 0, nullptr, nullptr), 0);
    EXPECT_EQ(ear.one_error(), "vok_interface_method_gimmeback: couldn't find methodobject ");
}

TEST_F(Interface, PublicMessagesReachTheDelegate)
{
    atom a = A(7);
    EXPECT_EQ(vok_object_method(x, S("rev"), S("rev"), 1L, &a), 7);
    typedmess(x, S("revlow"), 1, &a);
    EXPECT_EQ(x->motor->calls, 14);
    atom rv;
    vok_object_method_typed(x, S("ask"), 0, nullptr, &rv);
    EXPECT_EQ(atom_getlong(&rv), 14);
    EXPECT_EQ(vok_class_mess(car_class, S("revlow"))->types[0], argtype_defer_low) << "the tag is kept";
}

TEST_F(Interface, PrivateMessagesGoThroughTheDecorator)
{
    EXPECT_EQ(vok_object_method(x, S("bump"), 3L), 3);
    EXPECT_EQ(x->motor->calls, 3);
    EXPECT_EQ(vok_object_method(x, S("decorator"), S("bump")), reinterpret_cast<zan_word>(x->motor));
    EXPECT_EQ(vok_object_method(x, S("decorator"), S("no such message")), 0);
}

TEST_F(Interface, WhatTheClassHasItselfWins)
{
    EXPECT_EQ(vok_object_method(x, S("doors_of")), 5);
    vok_attr_setlong(x, S("gear"), 3);
    EXPECT_EQ(x->doors, 3);
    EXPECT_EQ(x->motor->gear, 0);
    for (const char *lost : {"vok_class_interface_attrhash_cb: IGNORING OVERRIDDEN ATTRIBUTE gear. trying to add "
                             "from vok_engine to vok_car",
                             "vok_class_interface_methodhash_cb: unsupported method type for typed. trying to add "
                             "from vok_engine to vok_car"})
        EXPECT_EQ(std::count(posts.begin(), posts.end(), lost), 1) << lost;
}

TEST_F(Interface, AttributesAreTheDelegates)
{
    EXPECT_EQ(vok_attr_setlong(x, S("speed"), 90), 0);
    EXPECT_EQ(x->motor->speed, 90);
    x->motor->speed = 120;
    EXPECT_EQ(vok_attr_getlong(x, S("speed")), 120);
    engine *motor = std::exchange(x->motor, nullptr);
    EXPECT_EQ(vok_attr_getlong(x, S("speed")), 0) << "no delegate yet";
    EXPECT_EQ(vok_object_method(x, S("rev"), S("rev"), 0L, nullptr), 0);
    x->motor = motor;
}

TEST_F(Interface, AnInterfaceOfAnInterfacePassesItsPrivateMessagesOn)
{
    struct garage {
        object header;
        car *inside;
    };
    zan_class *c = vok_class_new("vok_garage", nullptr, nullptr, sizeof(garage), argtype_cant, 0);
    ASSERT_EQ(vok_class_addinterface(c, car_class, offsetof(garage, inside), 0), 0);
    auto *g = static_cast<garage *>(vok_object_alloc(c));
    g->inside = x;
    EXPECT_EQ(vok_object_method(g, S("bump"), 4L), 4);
    EXPECT_EQ(vok_object_method(g, S("doors_of")), 5);
    atom a = A(2);
    EXPECT_EQ(vok_object_method(g, S("rev"), S("rev"), 1L, &a), 6);
    vok_attr_setlong(g, S("speed"), 55);
    EXPECT_EQ(x->motor->speed, 55);
    vok_object_free(g);
}

TEST_F(Interface, OffsetZeroRunsOnTheObjectItself)
{
    struct kit { // begins as an engine does
        engine base;
        long parts;
    };
    zan_class *c = vok_class_new("vok_kit", nullptr, nullptr, sizeof(kit), argtype_cant, 0);
    ASSERT_EQ(vok_class_addinterface(c, engine_class, 0, 0), 0);
    auto *k = static_cast<kit *>(vok_object_alloc(c));
    atom a = A(8);
    EXPECT_EQ(vok_object_method(k, S("rev"), S("rev"), 1L, &a), 8);
    EXPECT_EQ(k->base.calls, 8);
    vok_attr_setlong(k, S("speed"), 66);
    EXPECT_EQ(k->base.speed, 66);
    EXPECT_EQ(vok_attr_getlong(k, S("speed")), 66);
    EXPECT_EQ(vok_object_method(k, S("bump"), 1L), 0) << "the decorator names the object, which lacks it";
    vok_object_free(k);
}

TEST_F(Interface, TheTesterAnswersForItsMatrix)
{
    ASSERT_EQ(vok_interface_tester_init(), 0);
    void *t = vok_object_new(S("vok_interface_tester"), 0);
    ASSERT_TRUE(t);
    EXPECT_EQ(vok_attr_getlong(t, _vok_sym_planecount), 4);
    EXPECT_EQ(vok_object_method(t, _vok_sym_class_vok_matrix), 1);
    report_catcher ear;
    vok_object_method(t, S("print"));
    const std::vector<std::string> lines = ear.take(zan_report_post);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "vok_interface_tester: type char"), 1);
    vok_object_free(t);
}

} // namespace
