// How a run goes: virtual time and the order of things in it, the limits of the queues,
// messages nested too deeply, which box a report belongs to, frames and the profile.
#include "relay.h"
#include <atomic>
#include <chrono>
#include <cmath>
#include <memory>
#include <thread>

namespace {

// A box that stands at a line of a patch.
struct placed_relay : relay {
    placed_relay(const char *name, long line) : relay(nullptr, 1)
    {
        EXPECT_EQ(zan_set_box_place(*this, S(name), S("a.patch"), line), 0);
    }
};

class Run : public testing::Test {
  protected:
    void SetUp() override
    {
        const auto report = [](void *told, long, void *, const char *text) {
            char place[200];
            zan_place_text(zan_report_place(), place, sizeof place);
            static_cast<words *>(told)->push_back(std::string(place) + " | " + text);
        };
        zan_set_reporter(report, &reports);
        zan_start();
        zan_service();
        zan_set_frame_limit(0);
        ASSERT_EQ(zan_set_clock(zan_clock_virtual), 0);
    }
    void TearDown() override
    {
        EXPECT_EQ(zan_set_clock(zan_clock_real), 0);
        zan_set_reporter(nullptr, nullptr);
        EXPECT_EQ(reports, words());
    }
    words take() { return std::exchange(reports, {}); }
    std::string one_report()
    {
        EXPECT_EQ(reports.size(), 1u);
        return testing::PrintToString(take());
    }

    words reports; // with their places in front
};

// ---- virtual time ----

TEST_F(Run, TimeJumpsFromClockToClockAndStandsStillBetween)
{
    std::vector<double> times;
    const timed metro([&] {
        times.push_back(systimer_gettime());
        EXPECT_NE(sched_isinpoll(), 0);
        if (times.size() < 4)
            clock_fdelay(metro, 2.5);
    });
    const timed late([&] { times.push_back(-systimer_gettime()); });
    EXPECT_EQ(systimer_gettime(), 0);
    clock_delay(metro, 10);
    clock_delay(late, 3600000);
    EXPECT_EQ(zan_run_until(15), zan_ran_until);
    EXPECT_EQ(times, (std::vector<double>{10, 12.5, 15}));
    EXPECT_EQ(systime_ticks(), 15u);
    EXPECT_EQ(zan_run_until(INFINITY), zan_ran_dry);
    EXPECT_EQ(times, (std::vector<double>{10, 12.5, 15, 17.5, -3600000}));
    EXPECT_EQ(zan_run_until(4000000), zan_ran_dry); // nothing left, and yet it is that late
    EXPECT_EQ(systimer_gettime(), 4000000);
    EXPECT_EQ(zan_run_until(-1e300), zan_ran_dry);
    EXPECT_EQ(sched_isinpoll(), 0);
}

TEST_F(Run, TheMainQueueSettlesBetweenTwoClocks)
{
    trail.clear();
    const timed inner = noting("inner"),
                low = noting("qelem", [&] { qelem_set(inner), later(nullptr, "at once"); });
    const timed second([] { trail.push_back("second"); }), first([&] {
        qelem_set(low);
        later(nullptr, "low", defer_low);
        later(nullptr, "deferred");
        trail.push_back("first");
    });
    for (const timed *clock : {&first, &second}) // both due at 1: in the order of setting
        clock_delay(*clock, 1);
    in_scheduler([] { trail.push_back(sched_isinpoll() ? "in" : "out"); });
    EXPECT_EQ(zan_run_until(1), zan_ran_dry);
    EXPECT_EQ(trail, (words{"in", "first", "deferred", "qelem", "at once", "low", "inner", "second"}));
}

TEST_F(Run, WhatNeverSettlesKeepsNothingFromGoingOn)
{
    long polls = 0, spins = 0;
    const timed poll([&] { polls++, qelem_set(poll); }, false), spinner([&] { spins++, clock_delay(spinner, 0); });
    qelem_set(poll);
    EXPECT_EQ(zan_run_until(5), zan_ran_until);
    EXPECT_EQ(polls, 100);
    EXPECT_EQ(systimer_gettime(), 5);
    qelem_unset(poll);

    clock_delay(spinner, 0);
    EXPECT_EQ(zan_run_until(6.5), zan_ran_until);
    EXPECT_EQ(spins, 2 * 65536 + 1);
    EXPECT_EQ(take().size(), 2u); // one for each millisecond
}

TEST_F(Run, HoldFramesAndQuitEndItAtTheirTime)
{
    int metro_box, picture_box;
    long beats = 0;
    const timed metro([&] {
        if (++beats % 2 == 0)
            zan_frame_done(&picture_box, zan_frame_picture);
        zan_frame_done(&metro_box, zan_frame_beat);
        clock_delay(metro, 10);
    });
    clock_delay(metro, 10);
    zan_set_frame_limit(3);
    EXPECT_EQ(zan_frames_left(), 3);
    EXPECT_EQ(zan_run_until(INFINITY), zan_ran_quit);
    EXPECT_EQ(zan_frames() + zan_frames_left(), 3);
    EXPECT_EQ(zan_run_until(1000), zan_ran_until); // held
    EXPECT_EQ(beats, 6);                           // the pictures counted from the first on
    zan_set_frame_limit(0);
    EXPECT_EQ(zan_run_until(1000), zan_ran_until);
    EXPECT_EQ(beats, 7); // the one that fell due meanwhile
    EXPECT_EQ(zan_frames_left(), -1);
    zan_hold(1);
    zan_quit();
    EXPECT_EQ(zan_run_until(2000), zan_ran_quit);
    zan_hold(0);
}

TEST_F(Run, RealTimeGoesByTheSameLoop)
{
    std::atomic<long> beats{0};
    const timed late([&] { beats++; });
    clock_delay(late, 5);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(zan_set_clock(zan_clock_real), 0); // what is left of the delay stays
    EXPECT_EQ(zan_run_until(INFINITY), zan_ran_dry);
    EXPECT_EQ(beats, 1);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::microseconds(4900));
    zan_hold(1);
    clock_delay(late, 0);
    EXPECT_EQ(zan_run_until(systimer_gettime() + 10), zan_ran_until);
    EXPECT_EQ(beats, 1);
    zan_hold(0);
    EXPECT_EQ(zan_run_until(INFINITY), zan_ran_dry);
    EXPECT_EQ(beats, 2);
    EXPECT_EQ(zan_run_until(NAN), zan_err_generic);
    std::thread([] { EXPECT_EQ(zan_run_until(0), zan_err_generic); }).join();
    EXPECT_NE(one_report().find("main"), std::string::npos);
    EXPECT_EQ(zan_set_clock(zan_clock_virtual), 0);
}

// ---- limits ----

TEST_F(Run, EachQueueHasALimitAndCountsWhatItDrops)
{
    static long ran;
    const auto nothing = M(+[](void *, symbol *, long, atom *) { ran++; });
    std::unique_ptr<timed> qelems[6], clocks[6];
    for (int i = 0; i < 6; i++) {
        qelems[i] = std::make_unique<timed>([] { ran++; }, false);
        clocks[i] = std::make_unique<timed>([] { ran++; });
    }
    zan_queue_info before, info;
    for (long twice = 0; twice < 2 * zan_queue_kinds; twice++) { // it is told anew
        const long queue = twice / 2;
        SCOPED_TRACE(queue);
        ASSERT_EQ(zan_queue_get(queue, &before), 0);
        EXPECT_TRUE(before.waiting == 0 && before.limit == 65536);
        EXPECT_EQ(zan_queue_set_limit(queue, 4), 0);
        in_scheduler([&] {
            for (int i = 0; i < 6; i++)
                if (queue == zan_queue_qelem)
                    qelem_set(*qelems[i]), qelem_front(*qelems[i]);
                else if (queue == zan_queue_clock)
                    clock_delay(*clocks[i], i), clock_delay(*clocks[i], 9 - i);
                else
                    (queue == zan_queue_low ? defer_low : defer)(nullptr, nothing, S(""), 0, nullptr);
        });
        zan_queue_get(queue, &info);
        EXPECT_EQ(info.waiting, 4);
        EXPECT_GE(info.dropped - before.dropped, 2);
        EXPECT_NE(one_report().find("(4"), std::string::npos);
        ran = 0;
        EXPECT_EQ(zan_run_until(systimer_gettime() + 20), zan_ran_dry);
        EXPECT_EQ(ran, 4);
        zan_queue_get(queue, &info);
        EXPECT_EQ(info.waiting, 0);
        EXPECT_EQ(info.passed - before.passed, 4);
        EXPECT_EQ(zan_queue_set_limit(queue, before.limit), 0);
    }
    for (const long error :
         {zan_queue_get(-1, &info), zan_queue_get(zan_queue_kinds, &info), zan_queue_get(0, nullptr),
          zan_queue_set_limit(zan_queue_kinds, 1), zan_queue_set_limit(0, 0)})
        EXPECT_NE(error, 0);
}

// Boxes that use a lot of stack each, on stacks of several sizes.
TEST_F(Run, ALoopEndsBeforeTheStackDoes)
{
    placed_relay boxes[] = {{"mix", 4}, {"blur", 5}};
    static std::atomic<long> heard;
    for (placed_relay &box : boxes)
        box.does([&box](symbol *s, long, atom *) {
            volatile char room[16384];
            room[0] = 1;
            heard += room[0];
            outlet_anything(box.outlet(), s, 0, nullptr);
            room[sizeof room - 1] = 2; // it is in use up to here
        });
    for (int i = 0; i < 2; i++)
        ASSERT_EQ(zan_connect(boxes[i], 0, boxes[1 - i], 0), 0);
    for (long size : {0L, 256L << 10, 4L << 20}) {
        heard = 0;
        const auto ring = [](void *p) -> void * { return static_cast<relay *>(p)->hears("bang"), nullptr; };
        zan_thread_handle thread;
        ASSERT_EQ(systhread_create(ring, boxes, size, 0, 0, &thread), 0);
        EXPECT_EQ(systhread_join(thread, nullptr), 0);
        EXPECT_GT(heard, 5) << size;
        EXPECT_LT(heard, 1000) << size;
        EXPECT_NE(one_report().find("blur -> mix"), std::string::npos);
    }
}

// Never deep, and yet without an end that anyone would see.
TEST_F(Run, ALoopThatBranchesEndsToo)
{
    placed_relay a("fan", 4);
    long heard = 0;
    a.does([&](symbol *s, long, atom *argv) {
        heard++;
        for (long i = 0; i < atom_getlong(argv); i++) {
            atom next = A(i);
            outlet_anything(a.outlet(), s, 1, &next);
        }
    });
    ASSERT_EQ(zan_connect(a, 0, a, 0), 0);
    a.hears("times", 0, {A(200)}); // 2 to the power of 200 messages
    EXPECT_LE(heard, 1L << 20);
    EXPECT_NE(one_report().find("fan -> fan"), std::string::npos);
}

// ---- whose report it is ----

TEST_F(Run, AReportBelongsToABoxAlsoWhenItWasDeferred)
{
    placed_relay a("photo", 12), b("mix", 13);
    relay part;
    object_obex_store(part, S("zanwrapper"), a);
    const auto complain = [] { object_error(nullptr, "it"); };
    const auto complain_deferred = M(+[](void *, symbol *, long, atom *) { object_error(nullptr, "it"); });
    const timed qelem(complain, false), clock(complain);
    ASSERT_EQ(zan_connect(a, 0, b, 0), 0);
    const std::pair<std::function<void()>, const char *> rows[] = {
        // what b does on a message through a
        {complain, "a.patch:13: mix (relay) | it"},
        {[&] { object_error(part, "it"); }, "a.patch:12: photo (relay) | it"},
        {[&] { defer(this, complain_deferred, S(""), 0, nullptr); }, "a.patch:13: mix (relay) | it"},
        {[&] { defer_low(a, complain_deferred, S(""), 0, nullptr); }, "a.patch:13: mix (relay) | it"},
        {[&] { qelem_set(qelem); }, "a.patch:13: mix (relay) | it"},
        {[&] { clock_delay(clock, 1); }, "a.patch:13: mix (relay) | it"},
    };
    for (const auto &row : rows) {
        b.does([&](symbol *, long, atom *) { row.first(); });
        in_scheduler([&] { a.hears("go"); });
        zan_run_until(INFINITY);
        EXPECT_EQ(take(), words{row.second}) << &row - rows;
    }
    complain();
    EXPECT_EQ(take(), words{" | it"});
    EXPECT_EQ(zbox_get_id(b), S("mix"));
    EXPECT_EQ(zan_place_of(part), zan_place_of(a));
    EXPECT_EQ(zan_report_place(), nullptr);
    EXPECT_EQ(zan_set_box_place(nullptr, nullptr, nullptr, 0), zan_err_invalid_ptr);
    symbol *f = S("f"), *c = S("c");
    for (const auto &[place, text] : {std::pair(zan_place{f, 0, c, nullptr}, "f: c"),
                                      {{f, 3, nullptr, c}, "f:3: c"},
                                      {{nullptr, 3, f, c}, "f (c)"}}) {
        char cut[5];
        EXPECT_EQ(zan_place_text(&place, cut, sizeof cut), long(strlen(text)));
        EXPECT_EQ(cut, std::string(text).substr(0, 4));
    }
}

TEST_F(Run, EqualErrorsAreToldOnceAndCounted)
{
    placed_relay a("a", 1), b("b", 2);
    zan_merge_reports(1);
    for (int i = 0; i < 1000; i++)
        for (placed_relay *o : {&a, &b}) {
            object_error(*o, "wrong type");
            if (i < 2)
                object_post(*o, "posts stay");
            if (i == 0)
                object_warn(*o, "wrong type");
        }
    EXPECT_EQ(take().size(), 8u);
    zan_merge_reports(1);
    EXPECT_EQ(take(), (words{"a.patch:1: a (relay) | wrong type (... and 999 more)",
                             "a.patch:2: b (relay) | wrong type (... and 999 more)"}));
    for (int i = 0; i < 10000; i++) // different ones in any number are all told
        object_error(a, "number %d", i / 2);
    zan_merge_reports(0);
    object_error(a, "once more");
    EXPECT_EQ(take().size(), 10001u);
}

// ---- what a run took ----

TEST_F(Run, TheProfileTellsOwnAndTotalTimeOfEachBox)
{
    ASSERT_EQ(zan_set_clock(zan_clock_real), 0); // for take
    placed_relay a("outer", 1), b("inner", 2);
    const auto take = [](double ms) {
        for (const double start = systimer_gettime(); systimer_gettime() - start < ms;)
            ;
    };
    a.does([&](symbol *s, long argc, atom *argv) { take(2), outlet_anything(a.outlet(), s, argc, argv); });
    b.does([&](symbol *, long, atom *) { take(3); });
    ASSERT_EQ(zan_connect(a, 0, b, 0), 0);
    zan_profile(1, [](symbol *, long argc, atom *argv) { return argc ? atom_getlong(argv) : 0; });
    for (relay *to : {&a, &b})
        to->hears("go", 0, {A(100)});
    zan_profile(0, nullptr);
    a.hears("go");
    long count = 0;
    zan_profile_row *rows = nullptr;
    ASSERT_EQ(zan_profile_get(&count, &rows), 0);
    ASSERT_EQ(count, 2);
    EXPECT_GE(rows[0].own_ms, rows[1].own_ms);
    for (const zan_profile_row *row = rows; row < rows + 2; row++) {
        const bool inner = row->place == zan_place_of(b);
        EXPECT_EQ(row->classname, S("relay"));
        EXPECT_EQ(row->messages, 1 + inner);
        EXPECT_EQ(row->bytes, 100 * (1 + inner));
        EXPECT_GE(row->own_ms, inner ? 6 : 2);
        EXPECT_GE(row->total_ms, row->own_ms + (inner ? 0 : 3));
        EXPECT_EQ(row->worst_ms < row->own_ms, inner);
    }
    sysmem_freeptr(rows);
    ASSERT_EQ(zan_set_clock(zan_clock_virtual), 0);
}

} // namespace
