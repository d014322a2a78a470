// The main thread's queue, clocks, the scheduler thread, and stopping. Run these
// under the thread checker too.
#include "relay.h"
#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <thread>

namespace {

// How many pieces a service runs, and what they noted.
std::string served()
{
    trail.clear();
    std::string text = std::to_string(zan_service());
    for (const std::string &name : trail)
        text += " " + name;
    return text;
}

// Without a limit of its own: how long a thing takes is the machine's affair.
template <class Fn> void wait_for(Fn done)
{
    while (!done())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

std::atomic<int> rung; // of the clocks of a test

class Queue : public testing::Test {
  protected:
    void SetUp() override
    {
        zan_service();
        trail.clear();
        rung = 0;
    }
    void TearDown() override
    {
        x.drop();
        EXPECT_EQ(zan_service(), 0); // nothing is left behind
    }
    relay x;
};

TEST_F(Queue, FrontThenDeferredThenLowEachInOrder)
{
    const timed q1 = noting("q1"), q2 = noting("q2"), f1 = noting("f1"), f2 = noting("f2");
    in_scheduler([&] {
        later(x, "low1", defer_low);
        qelem_set(q1);
        later(x, "d1");
        qelem_front(f1);
        later(x, "low2", defer_low);
        qelem_set(f2); // moves up later
        qelem_set(q2);
        later(x, "d2");
        qelem_front(f2);
        EXPECT_TRUE(trail.empty());
    });
    later(x, "d0"); // at once, on the main thread
    later(x, "low0", defer_low);
    EXPECT_EQ(trail, words({"d0", "low0"}));
    EXPECT_EQ(served(), "8 f1 f2 d1 d2 low1 q1 low2 q2");
}

TEST_F(Queue, QelemsMergeAndWhatComesDuringAServiceWaitsUnlessItMovesUp)
{
    const timed a = noting("a"), b = noting("b");
    for (const auto set : {qelem_set, qelem_set, qelem_front, qelem_set})
        set(a);
    EXPECT_TRUE(trail.empty()); // from the main thread too it goes through the queue
    EXPECT_EQ(served(), "1 a");
    qelem_set(a);
    qelem_unset(a);
    EXPECT_EQ(served(), "0");

    const timed again = noting("again", [&] { qelem_set(again), qelem_front(b); });
    qelem_set(again);
    EXPECT_EQ(served(), "1 again");
    EXPECT_EQ(served(), "2 b again");
    qelem_unset(again);
    qelem_unset(b);

    long inner = 0;
    const timed mover = noting("mover", [&] { qelem_front(b); }),
                nest = noting("nest", [&] { inner = zan_service(); });
    for (const timed *q : {&mover, &a, &b})
        qelem_set(*q);
    EXPECT_EQ(served(), "3 mover b a");
    for (const timed *q : {&nest, &a, &b}) // a nested service runs the rest once
        qelem_set(*q);
    EXPECT_EQ(served(), "1 nest a b");
    EXPECT_EQ(inner, 2);
}

TEST_F(Queue, FreedObjectsTakeTheirWorkAlong)
{
    relay y;
    void *q = qelem_new(x, [](void *) { trail.push_back("qelem of x"); });
    void *c = clock_new(x, [](void *) { trail.push_back("clock of x"); });
    in_scheduler([&] { // so that the clock doesn't ring meanwhile
        for (int i = 0; i < 3; i++) {
            later(x, "x");
            later(y, "y", defer_low);
            later(x, "x low", defer_low);
        }
        qelem_set(q);
        clock_delay(c, 5);
        x.drop();
        clock_delay(c, 0);
    });
    EXPECT_EQ(served(), "3 y y y");
    qelem_set(q);                       // for good
    const timed behind([] { rung++; }); // clocks ring in the order of their times
    clock_delay(behind, 5);
    wait_for([] { return rung == 1; });
    EXPECT_EQ(served(), "0");
    qelem_free(q);
    object_free(c);
}

TEST_F(Queue, AQelemOrClockMayFreeItsOwnerAndItselfAndWhatWaitsBehindIt)
{
    static std::optional<relay> owner;
    static void *own;
    for (const bool clock : {false, true}) {
        owner.emplace();
        own = (clock ? clock_new : qelem_new)(*owner, [](void *) {
            owner->drop();
            object_free(own);
            rung++;
        });
        in_scheduler([&] {
            if (clock)
                clock_delay(own, 0);
            else
                qelem_set(own), later(*owner, "never", defer_low);
        });
        wait_for([&] { return zan_service() >= 0 && rung == 1 + clock; });
    }
    EXPECT_EQ(served(), "0");
}

TEST_F(Queue, WrongThreadsAndHandlesDoNothing)
{
    report_catcher reports;
    const timed q = noting("q");
    qelem_set(q);
    std::thread([] {
        zan_run();
        EXPECT_EQ(zan_service(), 0);
    }).join();
    in_scheduler([] { zan_stop(); });
    EXPECT_EQ(reports.take(zan_report_error).size(), 3u);
    EXPECT_EQ(served(), "1 q");
    for (const auto f : {qelem_set, qelem_front, qelem_unset, clock_unset, qelem_free})
        f(x), f(nullptr);
    clock_delay(nullptr, 0);
    clock_fdelay(x, 0);
    zan_in_scheduler(nullptr, nullptr);
    quittask_install(nullptr, nullptr);
    EXPECT_FALSE(qelem_new(x, nullptr) || clock_new(x, nullptr));
    EXPECT_EQ(defer(x, nullptr, S("a"), 0, nullptr), zan_err_invalid_ptr);
    EXPECT_EQ(object_classname(x), S("relay"));
}

TEST_F(Queue, RunServesUntilQuit)
{
    const timed q([] { rung++; }, false);
    qelem_set(q);
    std::thread other([] {
        wait_for([] { return rung == 1; });
        zan_quit();
    });
    zan_run();
    other.join();
    qelem_set(q);
    zan_quit(); // ahead of the loop: one round
    zan_run();
    EXPECT_EQ(rung, 2);
}

TEST_F(Queue, ManyThreadsHammerTheQueue)
{
    static std::atomic<long> ran;
    ran = 0;
    const auto count = M(+[](void *owner, symbol *, long, atom *) { ran += !owner; });
    const timed q([] { rung++; }, false);
    std::atomic<int> alive{3};
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; t++)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 3000; i++) {
                const relay mine; // takes its own along, or has just been served
                (t % 2 ? defer : defer_low)(nullptr, count, S("n"), 0, nullptr);
                defer(mine, count, S("n"), 0, nullptr);
                (i % 3 ? qelem_set : qelem_front)(q);
            }
            alive--;
        });
    while (alive)
        zan_service();
    for (std::thread &t : threads)
        t.join();
    zan_service();
    EXPECT_EQ(ran, 9000);
    EXPECT_GE(rung, 1);
}

// ---- clocks ----

// Clocks are set on the scheduler thread where a test needs that none rings meanwhile,
// however slow the machine is.
TEST_F(Queue, ClocksRunOnTheSchedulerInTheOrderOfTheirTimesAndNotBefore)
{
    struct bell {
        double ms, earliest = 0;
        int place = -1;
        timed clock{[this] {
            EXPECT_TRUE(sched_isinpoll() && systimer_gettime() >= earliest);
            place = rung;
            rung++; // who counts reads the place then
        }};
    } bells[] = {{-5}, {0}, {15}, {15}, {30}};
    const timed never([] { ADD_FAILURE(); });
    in_scheduler([&] {
        clock_delay(never, 0);
        clock_unset(never);
        for (bell &b : bells)
            clock_delay(b.clock, 100000 - long(b.ms)); // are replaced
        for (bell &b : bells) {
            b.earliest = systimer_gettime() + std::max(b.ms, 0.0);
            clock_fdelay(b.clock, b.ms);
        }
    });
    EXPECT_EQ(sched_isinpoll(), 0);
    wait_for([&] { return rung == int(std::size(bells)); });
    for (const bell &b : bells)
        EXPECT_EQ(b.place, &b - bells);
}

TEST_F(Queue, FreeingAClockOrItsOwnerWaitsForTheCall)
{
    for (const bool frees_owner : {false, true}) {
        int waited = 0;
        for (int i = 0; i < 20; i++) {
            rung = 0;
            relay owner;
            void *c = clock_new(owner, [](void *) {
                rung = 1;
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
                rung = 2;
            });
            clock_delay(c, 0);
            while (rung == 0)
                std::this_thread::yield();
            frees_owner ? owner.drop() : freeobject(c);
            waited += rung == 2;
            if (frees_owner)
                object_free(c);
        }
        EXPECT_GT(waited, 0); // it waits for a second at most: the machine may stand still as long
    }
}

TEST_F(Queue, ThingsThatFreeEachOtherFromBothThreadsDontBlock)
{
    report_catcher reports;
    static std::optional<relay> a, b;
    static const auto free_when_both_are_in = [](relay &other) {
        rung++;
        while (rung < 2)
            std::this_thread::yield();
        other.drop();
        rung++;
    };
    // they are in together when the second has waited for its turn in vain
    void *c = clock_new(a.emplace(), [](void *) { free_when_both_are_in(*b); });
    void *q = qelem_new(b.emplace(), [](void *) { free_when_both_are_in(*a); });
    rung = 0;
    clock_delay(c, 0);
    qelem_set(q);
    zan_service();
    wait_for([] { return rung == 4; });
    object_free(c);
    qelem_free(q);
    constexpr int rounds = 20;
    for (int i = 0; i < rounds; i++) {
        // the qelem of the owner is under way and waits for the scheduler, which frees it
        q = qelem_new(a.emplace(), [](void *) { in_scheduler([] { a->drop(); }); });
        qelem_set(q);
        EXPECT_EQ(zan_service(), 1);
        qelem_free(q);
    }
    // a wait for the other would be given up with an error in every round; on a machine
    // that stands still for a second one may be
    EXPECT_LT(reports.take().size(), size_t(rounds));
}

TEST_F(Queue, MainAndSchedulerTakeTurns)
{
    static std::atomic<int> inside, overlaps, clocks, pieces;
    inside = overlaps = clocks = pieces = 0;
    static const auto note = [](std::atomic<int> &count) {
        overlaps += ++inside > 1;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        inside--;
        count++;
    };
    static void *clock = nullptr, *qelem = nullptr;
    relay owner;
    clock = clock_new(owner, [](void *) {
        note(clocks);
        clock_delay(clock, 0);
    });
    qelem = qelem_new(owner, [](void *) {
        note(pieces);
        qelem_set(qelem);
    });
    clock_delay(clock, 0);
    qelem_set(qelem);
    while (clocks < 50 || pieces < 50) // neither keeps the other from its turn
        zan_service();
    owner.drop();
    EXPECT_LT(overlaps, 10); // one after a second in which the machine stood still
    object_free(clock);
    qelem_free(qelem);
}

// ---- stopping ----

TEST_F(Queue, StopRunsQuitTasksLastFirstOnceEachAndTheHostStartsAgain)
{
    const auto task = +[](void *p) {
        trail.push_back(static_cast<const char *>(p));
        if (trail.size() == 2)
            quittask_install(M(+[](void *) { trail.push_back("installed by a task"); }), nullptr);
    };
    static char one[] = "one", two[] = "two", three[] = "three";
    for (char *name : {one, two, three})
        quittask_install(M(task), name);
    for (int twice = 0; twice < 2; twice++)
        zan_stop();
    EXPECT_EQ(trail, words({"three", "two", "installed by a task", "one"}));
    zan_start();
    std::thread::id where;
    in_scheduler([&] { in_scheduler([&] { where = std::this_thread::get_id(); }); });
    EXPECT_TRUE(where != std::thread::id() && where != std::this_thread::get_id());
}

TEST(QueueDeathTest, ExitRunsQuitTasksOnceEachAndEndsTheScheduler)
{
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const auto leave = [](bool stop) {
        const auto say = +[](void *p) { fprintf(stderr, "<%s>", static_cast<const char *>(p)); };
        static char one[] = "one", two[] = "two";
        quittask_install(M(say), one);
        quittask_install(M(say), two);
        clock_delay(clock_new(nullptr, [](void *) {}), 100000);
        if (stop)
            zan_stop();
        std::exit(3);
    };
    for (const bool stop : {false, true})
        EXPECT_EXIT(leave(stop), testing::ExitedWithCode(3), "^<two><one>$");
}

} // namespace
