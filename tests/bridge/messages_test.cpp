// From a message to its method: on which thread, how often, with which atoms, and what
// comes back.
#include "boxes.h"

namespace bridge_test {
namespace {

TEST_F(Boxes, EachTagRunsWhereItSays)
{
    const struct {
        std::string selector, word;
        bool at_once, merged; // from the scheduler
    } rows[] = {{"now", "now", true, false},
                {"later", "later", false, false},
                {"later_low", "later_low", false, false},
                {"merge", "merge", false, true},
                {"merge_low", "merge_low", false, true},
                {"boxmerge", "boxmerge", false, true},
                {"low", "set_low", false, true}};
    for (const auto &row : rows) {
        const auto both = [&] {
            send(row.selector + " 1");
            send(row.selector + " 2");
        };
        both();
        EXPECT_EQ(take(), (log{row.word + " 1", row.word + " 2"})) << "from the main thread";
        in_scheduler(both);
        EXPECT_EQ(take().size(), row.at_once ? 2u : 0u) << row.word;
        zan_service();
        EXPECT_EQ(take(), row.at_once  ? log{}
                          : row.merged ? log{row.word + " 2"}
                                       : (log{row.word + " 1", row.word + " 2"}));
    }
    send("pair 3 blue");
    EXPECT_EQ(take(), log{"3blue"});
    EXPECT_EQ(p.errors(), "");
    send("hidden");
    EXPECT_TRUE(take().empty());
    EXPECT_NE(p.errors(), "") << "a private method is no message of the box";
}

TEST_F(Boxes, OnlyTheLastAtomsAreKeptHoweverMany)
{
    for (int count : {1, 3, 0, 64, 65, 300, 2, 65}) {
        std::string call = "merge";
        for (int i = 0; i < count; ++i)
            call += " " + std::to_string(i + count);
        in_scheduler([&] {
            send("merge 7 7 7 7");
            send(call);
        });
        zan_service();
        EXPECT_EQ(take(), log{call});
        in_scheduler([&] { send("merge 1"); });
        send(call); // what waits is replaced
        zan_service();
        EXPECT_EQ(take(), log{call});
    }
}

TEST_F(Boxes, TheQueueStateCountsAsTheMainThread)
{
    EXPECT_EQ(zan_vok_getqueuestate(), 1);
    in_scheduler([&] {
        EXPECT_EQ(zan_vok_getqueuestate(), 0);
        EXPECT_EQ(zan_vok_queuestate(1), 0);
        for (const char *selector : {"merge", "later_low", "boxmerge"})
            send(selector);
        EXPECT_EQ(zan_vok_queuestate(0), 1);
    });
    EXPECT_EQ(take(), (log{"merge @scheduler", "later_low @scheduler", "boxmerge @scheduler"}));
    in_scheduler([&] {
        for (const char *selector : {"merge_low", "boxmerge", "later_low", "merge"})
            send(selector);
    });
    zan_service();
    const log all = take();
    ASSERT_EQ(all.size(), 4u);
    EXPECT_EQ(all[0], "merge") << "high priority goes first";
}

TEST_F(Boxes, AFreedBoxLosesWhatWaitsAndAMergedMethodMayFreeItsBox)
{
    static void *doomed;
    doomed = p.make("shell");
    zan_vok_object_addmethod_usurp_low(doomed, erase([](void *x, symbol *, long, atom *) {
                                           static_cast<patch *>(std::exchange(doomed, nullptr))->free(x);
                                       }),
                                       "end");
    in_scheduler([&] {
        p.send(std::exchange(doomed, &p), "0 end 1 2 3");
        for (const char *selector : {"merge", "merge_low", "boxmerge", "later", "later_low", "getstate"})
            send(selector + std::string(" 1 2"));
        send("val 9");
    });
    p.free(box);
    zan_service();
    EXPECT_EQ(doomed, nullptr);
    EXPECT_TRUE(take().empty());
}

TEST_F(Boxes, AnswersGoOutOfDumpoutWhenTheWrapSaysSo)
{
    p.listen(replier);
    p.listen(box, 1);
    for (const char *message : {"0 getfoo", "0 echo 1 2.5 three", "0 echo 1"}) {
        p.send(replier, message);
        p.send(box, message); // flag 0: called, and the answer dropped
    }
    EXPECT_EQ(p.heard(), "0 foo 41; 0 echo 1 2.5 three; 0 echo 1");
    const long arrays = zan_object_count(gensym("atomarray"));
    zan_vok_obex_gimmeback(replier, gensym("echo"), 0, nullptr);
    EXPECT_EQ(zan_object_count(gensym("atomarray")), arrays);
    // those that read state are left to the main thread
    in_scheduler([this] {
        for (const char *selector : {"getval", "getlow", "getattributes"})
            send(selector);
    });
    EXPECT_EQ(p.heard(), "");
    zan_service();
    EXPECT_EQ(p.heard(), "1 val 0; 1 low 0; 1 attributes own low counted gain key label val vals");
}

} // namespace
} // namespace bridge_test
