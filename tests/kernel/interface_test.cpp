// One class answering for another: messages of every tag, private messages through the
// decorator, attributes, and who wins.
#include "quick_class.h"
#include <algorithm>
#include <utility>

namespace {

struct engine {
    object header;
    long speed, calls, gear;
};

struct car {
    object header;
    engine *motor;
    long doors;
};

void take_long(engine *, long) {}

zan_class *engines()
{
    const auto rev = [](engine *x, symbol *, long argc, atom *argv) {
        zan_word by = 100; // without a word
        vok_atom_arg_getlong(&by, 0, argc, argv);
        return x->calls += by;
    };
    const auto ask = [](engine *x, symbol *, long, atom *, atom *rv) { return vok_atom_setlong(rv, x->calls); };
    static const quick_class k = quick_class("vok_engine", sizeof(engine))
                                     .message("rev", rev, argtype_gimme)
                                     .message("revlow", rev, argtype_defer_low)
                                     .message("ask", ask, argtype_gimmeback)
                                     .message("bump", [](engine *x, zan_word by) { return x->calls += by; })
                                     .message("doors_of", [](engine *) { return -1L; })
                                     .message("typed", take_long, argtype_long)
                                     .value("speed", "long", offsetof(engine, speed))
                                     .value("gear", "long", offsetof(engine, gear));
    return k.c;
}

TEST(Interface, TheDelegateAnswersForWhatTheClassHasNot)
{
    const auto doors = [](car *x) { return x->doors; };
    static const quick_class cars =
        quick_class("vok_car", sizeof(car)).message("doors_of", doors).value("gear", "long", offsetof(car, doors));
    report_catcher reports;
    EXPECT_EQ(vok_class_addinterface(nullptr, engines(), 0, 0), VOK_ERR_EROR);
    EXPECT_EQ(vok_class_addinterface(cars.c, nullptr, 0, 0), VOK_ERR_EROR);
    EXPECT_EQ(vok_class_addinterface(cars.c, engines(), offsetof(car, motor), 1), 0);
    const std::vector<std::string> posts = reports.take(zan_report_post);
    for (const char *lost : {"vok_class_interface_attrhash_cb: IGNORING OVERRIDDEN ATTRIBUTE gear. trying to add "
                             "from vok_engine to vok_car",
                             "vok_class_interface_methodhash_cb: unsupported method type for typed. trying to add "
                             "from vok_engine to vok_car"})
        EXPECT_EQ(std::count(posts.begin(), posts.end(), lost), 1) << lost;

    auto *x = cars.make<car>();
    atom a = A(7), rv;
    x->doors = 5;
    EXPECT_EQ(vok_attr_getlong(x, S("speed")), 0) << "no delegate yet";
    EXPECT_EQ(send(x, "rev", S("rev"), 1L, &a), 0);
    EXPECT_EQ(vok_interface_method_gimmeback(x, nullptr, 0, nullptr, nullptr), 0);
    EXPECT_EQ(reports.one_error(), "vok_interface_method_gimmeback: couldn't find methodobject ");
    auto *motor = x->motor = static_cast<engine *>(vok_object_alloc(engines()));

    EXPECT_EQ(send(x, "rev", S("rev"), 1L, &a), 7);
    typedmess(x, S("revlow"), 1, &a);
    vok_object_method_typed(x, S("ask"), 0, nullptr, &rv);
    EXPECT_EQ(vok_atom_getlong(&rv), 14);
    EXPECT_EQ(vok_class_mess(cars.c, S("revlow"))->types[0], argtype_defer_low) << "the tag is kept";
    EXPECT_EQ(send(x, "bump", 3L), 17) << "a private one, through the decorator";
    EXPECT_EQ(send(x, "decorator", S("no such message")), 0);
    EXPECT_EQ(vok_attr_setlong(x, S("speed"), 90), 0);
    EXPECT_EQ(motor->speed, 90);
    EXPECT_EQ(vok_attr_getlong(x, S("speed")), 90);
    EXPECT_EQ(send(x, "doors_of"), 5);
    vok_attr_setlong(x, S("gear"), 3);
    EXPECT_TRUE(x->doors == 3 && motor->gear == 0);

    struct garage { // answers for its car, and passes on what that answers for privately
        object header;
        car *inside;
    };
    static const quick_class garages("vok_garage", sizeof(garage));
    ASSERT_EQ(vok_class_addinterface(garages.c, cars.c, offsetof(garage, inside), 0), 0);
    auto *g = garages.make<garage>();
    g->inside = x;
    EXPECT_EQ(send(g, "bump", 4L), 21);
    EXPECT_EQ(send(g, "doors_of"), 3);
    EXPECT_EQ(send(g, "rev", S("rev"), 1L, &a), 28);
    vok_attr_setlong(g, S("speed"), 55);
    EXPECT_EQ(motor->speed, 55);
    for (void *each : std::initializer_list<void *>{g, x, motor})
        vok_object_free(each);
}

TEST(Interface, OffsetZeroRunsOnTheObjectItself)
{
    static const quick_class k("vok_kit", sizeof(engine)); // its record is an engine's
    ASSERT_EQ(vok_class_addinterface(k.c, engines(), 0, 0), 0);
    auto *kit = k.make<engine>();
    atom a = A(8);
    EXPECT_EQ(send(kit, "rev", S("rev"), 1L, &a), 8);
    EXPECT_EQ(kit->calls, 8);
    vok_attr_setlong(kit, S("speed"), 66);
    EXPECT_EQ(kit->speed, 66);
    EXPECT_EQ(vok_attr_getlong(kit, S("speed")), 66);
    EXPECT_EQ(send(kit, "bump", 1L), 0) << "the decorator names the object, which lacks it";
    vok_object_free(kit);
}

TEST(Interface, TheTesterAnswersForItsMatrix)
{
    ASSERT_EQ(vok_interface_tester_init(), 0);
    void *t = vok_object_new(S("vok_interface_tester"), 0);
    EXPECT_EQ(vok_attr_getlong(t, _vok_sym_planecount), 4);
    EXPECT_EQ(send(t, "class_vok_matrix"), 1);
    report_catcher ear;
    send(t, "print");
    const std::vector<std::string> lines = ear.take(zan_report_post);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "vok_interface_tester: type char"), 1);
    vok_object_free(t);
}

} // namespace
