// The main thread's queue, clocks, the scheduler thread, and stopping. Run these
// under the thread checker too.
#include "kernel_fixture.h"
#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

namespace {

using words = std::vector<std::string>;

words trail; // what ran, in order; main thread only

void note_deferred(void *, symbol *s, long, atom *)
{
    trail.push_back(s->name);
}
// Calls of it that wait for the main thread.
void later(void *x, const char *name)
{
    defer(x, M(note_deferred), S(name), 0, nullptr);
}
void at_last(void *x, const char *name)
{
    defer_low(x, M(note_deferred), S(name), 0, nullptr);
}

template <class Fn> void elsewhere(Fn fn)
{
    std::thread(fn).join();
}

// Without a limit of its own: how long a thing takes is the machine's affair.
template <class Fn> void wait_for(Fn done)
{
    while (!done())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

// When it returns, every clock that was due in so many milliseconds has rung: the
// scheduler rings them in the order of their times.
void let_pass(double ms)
{
    std::atomic<bool> rung{false};
    void *c = clock_new(&rung, [](void *p) { *static_cast<std::atomic<bool> *>(p) = true; });
    clock_fdelay(c, ms);
    wait_for([&] { return rung.load(); });
    object_free(c);
}

std::atomic<int> rung; // of the clocks of a test

zan_class *thing_class()
{
    static zan_class *const c = [] {
        zan_class *made = class_new("queue_thing", nullptr, nullptr, sizeof(object) + 64, nullptr, 0);
        class_register(S("nobox"), made);
        return made;
    }();
    return c;
}

class Queue : public testing::Test {
  protected:
    void SetUp() override
    {
        zan_service();
        trail.clear();
        rung = 0;
        x = object_alloc(thing_class());
        ASSERT_TRUE(x);
    }
    void TearDown() override
    {
        object_free(x);
        EXPECT_EQ(zan_service(), 0); // nothing is left behind
    }
    void *x = nullptr;
};

struct named_qelem {
    explicit named_qelem(const char *n) : name(n), handle(qelem_new(this, run)) {}
    ~named_qelem() { qelem_free(handle); }
    static void run(void *p) { trail.push_back(static_cast<named_qelem *>(p)->name); }
    const char *name;
    void *handle;
};

TEST_F(Queue, FrontThenDeferredThenLowEachInOrder)
{
    named_qelem q1("q1"), q2("q2"), f1("f1"), f2("f2");
    elsewhere([&] {
        at_last(x, "low1");
        qelem_set(q1.handle);
        later(x, "d1");
        qelem_front(f1.handle);
        at_last(x, "low2");
        qelem_set(f2.handle); // moves up later
        qelem_set(q2.handle);
        later(x, "d2");
        qelem_front(f2.handle);
        EXPECT_TRUE(trail.empty());
    });
    later(x, "d0"); // at once, on the main thread
    at_last(x, "low0");
    EXPECT_EQ(std::exchange(trail, {}), words({"d0", "low0"}));
    EXPECT_EQ(zan_service(), 8);
    EXPECT_EQ(trail, words({"f1", "f2", "d1", "d2", "low1", "q1", "low2", "q2"}));
}

TEST_F(Queue, QelemsMerge)
{
    named_qelem q("q");
    for (int i = 0; i < 5; i++)
        qelem_set(q.handle);
    qelem_front(q.handle);
    qelem_set(q.handle);
    EXPECT_TRUE(trail.empty()); // from the main thread too it goes through the queue
    EXPECT_EQ(zan_service(), 1);
    EXPECT_EQ(trail, words({"q"}));
    qelem_set(q.handle);
    qelem_unset(q.handle);
    EXPECT_EQ(zan_service(), 0);
    qelem_set(q.handle);
    EXPECT_EQ(zan_service(), 1);
}

TEST_F(Queue, WhatComesDuringAServiceWaitsForTheNext)
{
    static void *again;
    again = nullptr;
    named_qelem after("after");
    again = qelem_new(&after, [](void *p) {
        trail.push_back("again");
        qelem_set(again);
        qelem_front(static_cast<named_qelem *>(p)->handle);
    });
    qelem_set(again);
    EXPECT_EQ(zan_service(), 1);
    EXPECT_EQ(zan_service(), 2);
    EXPECT_EQ(trail, words({"again", "after", "again"}));
    qelem_free(again);
    zan_service();
}

TEST_F(Queue, FrontingDuringAServiceMovesUpWithinIt)
{
    static named_qelem *last;
    named_qelem a("a"), b("b"), c("c");
    last = &c;
    void *mover = qelem_new(nullptr, [](void *) { qelem_front(last->handle); });
    qelem_set(mover);
    for (named_qelem *q : {&a, &b, &c})
        qelem_set(q->handle);
    EXPECT_EQ(zan_service(), 4);
    EXPECT_EQ(trail, words({"c", "a", "b"}));
    qelem_free(mover);
}

TEST_F(Queue, ANestedServiceRunsTheRestOnce)
{
    named_qelem a("a"), b("b");
    static long inner;
    void *nest = qelem_new(nullptr, [](void *) { inner = zan_service(); });
    qelem_set(nest);
    qelem_set(a.handle);
    qelem_set(b.handle);
    EXPECT_EQ(zan_service(), 1);
    EXPECT_EQ(inner, 2);
    EXPECT_EQ(trail, words({"a", "b"}));
    qelem_free(nest);
}

TEST_F(Queue, FreedObjectsTakeTheirWorkAlong)
{
    void *y = object_alloc(thing_class());
    void *q = qelem_new(x, [](void *) { trail.push_back("qelem of x"); });
    elsewhere([&] {
        for (int i = 0; i < 3; i++) {
            later(x, "x");
            at_last(y, "y");
            at_last(x, "x low");
        }
        qelem_set(q);
    });
    object_free(std::exchange(x, nullptr));
    EXPECT_EQ(zan_service(), 3);
    EXPECT_EQ(trail, words({"y", "y", "y"}));
    qelem_set(q); // for good
    EXPECT_EQ(zan_service(), 0);
    qelem_free(q);
    object_free(y);
}

TEST_F(Queue, OneThatFreesItsObjectDropsWhatWaitsBehindIt)
{
    elsewhere([&] {
        defer(nullptr, M(+[](void *, symbol *s, long, atom *) { object_free(s->thing); }), S("target"), 0,
              nullptr);
        later(x, "never");
    });
    S("target")->thing = std::exchange(x, nullptr);
    EXPECT_EQ(zan_service(), 1);
    EXPECT_TRUE(trail.empty());
}

TEST_F(Queue, AQelemMayFreeItselfAndItsOwner)
{
    struct self_freer {
        object header;
        void *qelem;
    };
    static zan_class *c = class_new("queue_self_freer", nullptr, M(+[](self_freer *s) { qelem_free(s->qelem); }),
                                    sizeof(self_freer), nullptr, 0);
    auto *s = static_cast<self_freer *>(object_alloc(c));
    s->qelem = qelem_new(s, [](void *p) {
        trail.push_back("ran");
        object_free(p);
    });
    qelem_set(s->qelem);
    EXPECT_EQ(zan_service(), 1);
    EXPECT_EQ(zan_service(), 0);
    EXPECT_EQ(trail, words({"ran"}));
}

TEST_F(Queue, ServiceElsewhereIsAnErrorAndRunsNothing)
{
    report_catcher reports;
    named_qelem q("q");
    qelem_set(q.handle);
    elsewhere([] {
        EXPECT_EQ(zan_service(), 0);
        zan_run();
    });
    EXPECT_EQ(reports.take(zan_report_error).size(), 2u);
    EXPECT_EQ(zan_service(), 1);
}

TEST_F(Queue, BadHandlesDoNothing)
{
    qelem_set(nullptr);
    for (const auto f : {qelem_front, qelem_unset, clock_unset})
        f(x);
    qelem_free(x); // not a qelem: x stays
    clock_delay(nullptr, 0);
    clock_fdelay(x, 0);
    EXPECT_EQ(qelem_new(x, nullptr), nullptr);
    EXPECT_EQ(clock_new(x, nullptr), nullptr);
    EXPECT_EQ(defer(x, nullptr, S("a"), 0, nullptr), zan_err_invalid_ptr);
    EXPECT_EQ(object_class(x), thing_class());
}

TEST_F(Queue, RunServesUntilQuit)
{
    std::thread other([&] {
        for (int i = 0; i < 100; i++)
            defer(nullptr, M(+[](void *, symbol *, long, atom *) { rung++; }), S(""), 0, nullptr);
        wait_for([] { return rung == 100; });
        zan_quit();
    });
    zan_run();
    other.join();
    zan_quit(); // ahead of the loop: one round
    named_qelem q("q");
    qelem_set(q.handle);
    zan_run();
    EXPECT_EQ(trail, words({"q"}));
}

TEST_F(Queue, ManyThreadsHammerTheQueue)
{
    static std::atomic<long> ran, ticks;
    ran = ticks = 0;
    const auto count = +[](void *, symbol *, long argc, atom *argv) { ran += argc ? atom_getlong(argv) : 0; };
    void *q = qelem_new(nullptr, [](void *) { ticks++; });
    std::atomic<int> alive{3};
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; t++)
        threads.emplace_back([&, t] {
            atom one = A(1);
            for (int i = 0; i < 3000; i++) {
                void *mine = object_alloc(thing_class());
                (t % 2 ? defer : defer_low)(nullptr, M(count), S("n"), 1, &one);
                defer(mine, M(count), S("n"), 0, nullptr);
                (i % 3 ? qelem_set : qelem_front)(q);
                object_free(mine); // takes its own along, or has just been served
            }
            alive--;
        });
    while (alive)
        zan_service();
    for (std::thread &t : threads)
        t.join();
    zan_service();
    EXPECT_EQ(ran, 9000);
    EXPECT_GE(ticks, 1);
    qelem_free(q);
}

// ---- clocks ----

// Clocks are set on the scheduler thread where a test needs that none rings meanwhile,
// however slow the machine is.
TEST_F(Queue, ClocksRunOnTheSchedulerInTheOrderOfTheirTimes)
{
    struct bell {
        double ms;
        void *clock = nullptr;
        double earliest = 0, latest = 0; // when it is due, as far as one can tell from outside
        int place = -1;
    } bells[] = {{30}, {-5}, {15}, {0}, {45}, {15}};
    for (bell &b : bells)
        b.clock = clock_new(&b, [](void *p) {
            EXPECT_NE(sched_isinpoll(), 0);
            auto *own = static_cast<bell *>(p);
            EXPECT_GE(systimer_gettime(), own->earliest);
            own->place = rung; // written before this one counts
            rung++;
        });
    zan_in_scheduler(
        [](void *p) {
            for (bell &b : *static_cast<bell(*)[6]>(p)) {
                b.earliest = systimer_gettime() + std::max(b.ms, 0.0);
                clock_fdelay(b.clock, b.ms);
                b.latest = systimer_gettime() + std::max(b.ms, 0.0);
            }
        },
        &bells);
    EXPECT_EQ(sched_isinpoll(), 0);
    wait_for([&] { return rung == int(std::size(bells)); });
    for (const bell &a : bells)
        for (const bell &b : bells)
            if (a.latest < b.earliest) {
                EXPECT_LT(a.place, b.place) << a.ms << " before " << b.ms;
            }
    for (bell &b : bells)
        object_free(b.clock);
}

TEST_F(Queue, ANewDelayReplacesTheOldAndUnsetTakesItBack)
{
    void *clocks[] = {clock_new(nullptr, [](void *) { rung++; }), clock_new(nullptr, [](void *) { rung += 100; })};
    zan_in_scheduler(
        [](void *p) {
            void **c = static_cast<void **>(p);
            clock_delay(c[0], 100000);
            for (int i = 0; i < 100; i++)
                clock_delay(c[0], 2);
            clock_delay(c[1], 1);
            clock_unset(c[1]);
        },
        clocks);
    let_pass(2);
    EXPECT_EQ(rung, 1);
    for (void *c : clocks)
        freeobject(c);
}

TEST_F(Queue, AClockSetsItselfAgainUntilItsOwnerGoes)
{
    struct ticker {
        object header;
        void *clock;
    };
    static zan_class *c = class_new("queue_ticker", nullptr, M(+[](ticker *t) { object_free(t->clock); }),
                                    sizeof(ticker), nullptr, 0);
    auto *t = static_cast<ticker *>(object_alloc(c));
    t->clock = clock_new(t, [](void *p) {
        rung++;
        clock_delay(static_cast<ticker *>(p)->clock, 0);
    });
    clock_delay(t->clock, 0);
    wait_for([] { return rung > 50; });
    object_free(t); // while it runs
    const int last = rung;
    let_pass(0);
    EXPECT_EQ(rung, last);
}

TEST_F(Queue, ClocksOfAFreedOwnerStayStill)
{
    void *c = clock_new(x, [](void *) { rung++; });
    void *both[] = {c, x};
    zan_in_scheduler(
        [](void *p) {
            void **b = static_cast<void **>(p);
            clock_delay(b[0], 5);
            object_free(b[1]);
            clock_delay(b[0], 0);
        },
        both);
    x = nullptr;
    let_pass(5);
    EXPECT_EQ(rung, 0);
    object_free(c);
}

TEST_F(Queue, FreeingAClockWaitsForItsCall)
{
    int waited = 0;
    for (int i = 0; i < 20; i++) {
        rung = 0;
        void *c = clock_new(nullptr, [](void *) {
            rung = 1;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            rung = 2;
        });
        clock_delay(c, 0);
        while (rung == 0)
            std::this_thread::yield();
        object_free(c);
        waited += rung == 2;
    }
    EXPECT_GT(waited, 0); // it waits for a second at most: the machine may stand still as long
}

TEST_F(Queue, AClockMayFreeItself)
{
    static void *own;
    own = clock_new(nullptr, [](void *) { object_free(own), rung++; });
    clock_delay(own, 0);
    wait_for([] { return rung == 1; });
}

TEST_F(Queue, ThingsThatFreeEachOtherFromBothThreadsDontBlock)
{
    report_catcher reports;
    static void *a, *b;
    static const auto free_when_both_are_in = [](void *other) {
        rung++;
        while (rung < 2)
            std::this_thread::yield();
        object_free(other);
        rung++;
    };
    constexpr int rounds = 20;
    for (int i = 0; i < rounds; i++) {
        rung = 0;
        a = object_alloc(thing_class());
        b = object_alloc(thing_class());
        void *c = clock_new(a, [](void *) { free_when_both_are_in(b); });
        void *q = qelem_new(b, [](void *) { free_when_both_are_in(a); });
        clock_delay(c, 0);
        qelem_set(q);
        zan_service();
        wait_for([] { return rung == 4; });
        object_free(c);
        qelem_free(q);
    }
    // a wait for the other would be given up with an error in every round; on a machine
    // that stands still for a second one may be
    EXPECT_LT(reports.take().size(), size_t(rounds));
}

TEST_F(Queue, InSchedulerRunsThereAndWaits)
{
    struct card {
        std::thread::id where;
        long in_poll;
        int nested;
    };
    for (int i = 0; i < 100; i++) {
        card c{};
        zan_in_scheduler(
            [](void *p) {
                auto *k = static_cast<card *>(p);
                k->where = std::this_thread::get_id();
                k->in_poll = sched_isinpoll();
                zan_in_scheduler([](void *n) { ++*static_cast<int *>(n); }, &k->nested);
            },
            &c);
        EXPECT_NE(c.where, std::this_thread::get_id());
        EXPECT_NE(c.in_poll, 0);
        EXPECT_EQ(c.nested, 1);
    }
}

TEST_F(Queue, FreeingOnTheSchedulerWhatTheMainThreadRunsAndWaitsIn)
{
    // the qelem of the owner is under way and waits for the scheduler, which frees the
    // owner: no one may wait for the other
    static void *owner;
    report_catcher reports;
    constexpr int rounds = 5;
    for (int i = 0; i < rounds; i++) {
        owner = object_alloc(thing_class());
        void *q = qelem_new(owner, [](void *) {
            zan_in_scheduler([](void *) { object_free(owner); }, nullptr);
            trail.push_back("done");
        });
        qelem_set(q);
        EXPECT_EQ(zan_service(), 1);
        qelem_free(q);
    }
    EXPECT_EQ(trail.size(), size_t(rounds));
    EXPECT_LT(reports.take().size(), size_t(rounds)); // as above
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
    zan_stop();
    EXPECT_EQ(trail, words({"three", "two", "installed by a task", "one"}));
    zan_stop();
    EXPECT_EQ(trail.size(), 4u);
    zan_start();
    int ran = 0;
    zan_in_scheduler([](void *p) { ++*static_cast<int *>(p); }, &ran);
    EXPECT_EQ(ran, 1);
}

TEST_F(Queue, StopOnTheSchedulerIsRefused)
{
    report_catcher reports;
    zan_in_scheduler([](void *) { zan_stop(); }, nullptr);
    EXPECT_NE(reports.one_error().find("zan_stop"), std::string::npos);
}

TEST(QueueDeathTest, ExitRunsQuitTasksOnceEachAndEndsTheScheduler)
{
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const auto leave = [](bool stop) {
        const auto say = +[](void *p) { fprintf(stderr, "<%s>", static_cast<const char *>(p)); };
        static char one[] = "one", two[] = "two";
        quittask_install(M(say), one);
        quittask_install(M(say), two);
        void *c = clock_new(nullptr, [](void *) {});
        clock_delay(c, 100000);
        if (stop)
            zan_stop();
        std::exit(3);
    };
    EXPECT_EXIT(leave(false), testing::ExitedWithCode(3), "^<two><one>$");
    EXPECT_EXIT(leave(true), testing::ExitedWithCode(3), "^<two><one>$");
}

} // namespace
