// From a message to its method: on which thread, how often, with which atoms, and what
// comes back.
#include "boxes.h"

namespace bridge_test {
namespace {

TEST_F(Boxes, EachTagRunsWhereItSays)
{
    const struct {
        const char *selector;
        const char *first; // from the scheduler: at once, or nothing
    } rows[] = {{"now", "now 1 @scheduler"}, {"later", nullptr},    {"later_low", nullptr}, {"merge", nullptr},
                {"merge_low", nullptr},      {"boxmerge", nullptr}, {"low", nullptr}};
    for (const auto &row : rows) {
        const std::string word = row.selector == std::string("low") ? "set_low" : row.selector;
        send(box, row.selector, "1");
        EXPECT_EQ(take(), log{word + " 1"}) << "from the main thread";
        in_scheduler([&] { send(box, row.selector, "1"); });
        const log now = take();
        EXPECT_EQ(now, row.first ? log{row.first} : log{}) << row.selector;
        zan_service();
        EXPECT_EQ(take(), row.first ? log{} : log{word + " 1"}) << row.selector;
    }
    send(box, "pair", "3 blue");
    EXPECT_EQ(take(), log{"pair 3 blue"});
    send(box, "hidden");
    EXPECT_TRUE(take().empty());
    EXPECT_EQ(errors.size(), 1u) << "a private method is no message of the box";
}

TEST_F(Boxes, TenCallsFromTheSchedulerAreOneAndTenFromTheMainThreadTen)
{
    const auto ten = [this] {
        for (int i = 1; i <= 10; ++i)
            send(box, "merge_low", "1 " + std::to_string(i));
    };
    in_scheduler(ten);
    EXPECT_TRUE(take().empty());
    zan_service();
    EXPECT_EQ(take(), log{"merge_low 1 10"});
    zan_service();
    EXPECT_TRUE(take().empty());
    ten();
    EXPECT_EQ(take().size(), 10u);
    zan_service();
    EXPECT_TRUE(take().empty());
}

TEST_F(Boxes, OnlyTheLastAtomsAreKeptHoweverMany)
{
    const auto numbers = [](int count) {
        std::string text;
        for (int i = 0; i < count; ++i)
            text += " " + std::to_string(i + count);
        return text;
    };
    for (int count : {1, 3, 0, 64, 65, 300, 2, 65}) {
        in_scheduler([&] {
            send(box, "merge", "7 7 7 7");
            send(box, "merge", numbers(count));
        });
        zan_service();
        EXPECT_EQ(take(), log{"merge" + numbers(count)});
        send(box, "merge", numbers(count));
        EXPECT_EQ(take(), log{"merge" + numbers(count)});
    }
}

TEST_F(Boxes, MainOvertakesWhatWaitsAndTheQueueStateCountsAsMain)
{
    in_scheduler([&] { send(box, "merge", "1"); });
    send(box, "merge", "2");
    zan_service();
    EXPECT_EQ(take(), log{"merge 2"}) << "the one that waited was replaced";

    EXPECT_EQ(zan_vok_getqueuestate(), 1);
    in_scheduler([&] {
        EXPECT_EQ(zan_vok_getqueuestate(), 0);
        EXPECT_EQ(zan_vok_queuestate(1), 0);
        for (const char *selector : {"merge", "later_low", "boxmerge"})
            send(box, selector);
        EXPECT_EQ(zan_vok_queuestate(0), 1);
    });
    EXPECT_EQ(take(), (log{"merge @scheduler", "later_low @scheduler", "boxmerge @scheduler"}));
}

TEST_F(Boxes, HighPriorityGoesFirst)
{
    in_scheduler([&] {
        for (const char *selector : {"merge_low", "boxmerge", "later_low", "merge"})
            send(box, selector);
    });
    zan_service();
    const log all = take();
    ASSERT_EQ(all.size(), 4u);
    EXPECT_EQ(all[0], "merge");
}

TEST_F(Boxes, AFreedBoxLosesWhatWaits)
{
    in_scheduler([&] {
        for (const char *selector : {"merge", "merge_low", "boxmerge", "later", "later_low", "getstate"})
            send(box, selector, "1 2");
        send(box, "val", "9");
    });
    object_free(box);
    box = nullptr;
    zan_service();
    EXPECT_TRUE(take().empty());
}

TEST_F(Boxes, AMergedMethodMayFreeItsBox)
{
    static void *doomed;
    doomed = box;
    zan_vok_object_addmethod_usurp_low(box, erase([](void *x, symbol *, long, atom *) {
                                           object_free(x);
                                           doomed = nullptr;
                                       }),
                                       "end");
    in_scheduler([this] { send(box, "end", "1 2 3"); });
    zan_service();
    EXPECT_EQ(doomed, nullptr);
    box = nullptr;
}

TEST_F(Boxes, AnswersGoOutOfDumpoutWhenTheWrapSaysSo)
{
    listen(replier);
    send(replier, "getfoo");
    send(replier, "echo", "1 2.5 three");
    send(replier, "echo", "1");
    const long arrays = zan_object_count(gensym("atomarray"));
    zan_vok_obex_gimmeback(replier, gensym("echo"), 0, nullptr);
    EXPECT_EQ(zan_object_count(gensym("atomarray")), arrays);
    EXPECT_EQ(heard, (log{"foo 41", "echo 1 2.5 three", "echo 1"}));

    heard.clear();
    object_free(ear);
    listen(box);
    send(box, "getfoo"); // flag 0: called, and the answer dropped
    EXPECT_TRUE(heard.empty());
    EXPECT_TRUE(errors.empty());
    void *silent = zan_vok_object_alloc(object_class(box), gensym("vok_subject"));
    zan_vok_obex_dumpout(silent, gensym("x"), 0, nullptr);
    object_free(silent);
}

TEST_F(Boxes, RepliesThatReadStateAreLeftToTheMainThread)
{
    listen(box);
    in_scheduler([this] {
        for (const char *selector : {"getval", "getlow", "getattributes", "summary"})
            send(box, selector);
    });
    EXPECT_TRUE(heard.empty());
    zan_service();
    ASSERT_GE(heard.size(), 4u);
    EXPECT_EQ(heard[0], "val 0");
    EXPECT_EQ(heard[1], "low 0");
}

} // namespace
} // namespace bridge_test
