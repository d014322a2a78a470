// How a run goes: virtual time and the order of things in it, the limits of the queues,
// messages nested too deeply, which box a report belongs to, frames and the profile.
#include "kernel_fixture.h"
#include <atomic>
#include <chrono>
#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <thread>

namespace {

using words = std::vector<std::string>;

// A box that does what a test says, whatever it hears.
struct actor {
    object header;
    std::function<void(symbol *, long, atom *)> *act;
};

zan_class *actor_class()
{
    static zan_class *const c = [] {
        zan_class *made =
            class_new("actor", nullptr, M(+[](actor *x) { delete x->act; }), sizeof(actor), nullptr, 0);
        class_addmethod(made, M(+[](actor *x, symbol *s, long argc, atom *argv) { (*x->act)(s, argc, argv); }),
                        "anything", argtype_gimme, 0);
        return made;
    }();
    return c;
}

struct box_owner {
    explicit box_owner(const char *name = nullptr, long line = 0)
        : box(static_cast<actor *>(object_alloc(actor_class())))
    {
        box->act = new std::function<void(symbol *, long, atom *)>([](symbol *, long, atom *) {});
        outlet_new(box, nullptr);
        if (name) {
            EXPECT_EQ(zan_set_box_place(box, S(name), S("a.patch"), line), 0);
        }
    }
    ~box_owner() { object_free(box); }
    box_owner(const box_owner &) = delete;
    box_owner &operator=(const box_owner &) = delete;
    template <class F> void does(F f) { *box->act = f; }
    void passes_on()
    {
        does([this](symbol *s, long argc, atom *argv) { outlet_anything(outlet_nth(box, 0), s, argc, argv); });
    }
    void hears(const char *message) { zan_send(box, 0, S(message), 0, nullptr); }
    actor *box;
};

// A clock or qelem that does what a test says.
struct timed {
    explicit timed(std::function<void()> f, bool clock = true) : act(std::move(f))
    {
        const auto run = [](void *p) { static_cast<timed *>(p)->act(); };
        handle = clock ? clock_new(this, run) : qelem_new(this, run);
    }
    ~timed() { object_free(handle); }
    timed(const timed &) = delete;
    timed &operator=(const timed &) = delete;
    // A clock that goes again after so many milliseconds, as long as `beat` says so.
    static std::unique_ptr<timed> every(double ms, std::function<bool()> beat)
    {
        auto made = std::make_unique<timed>(nullptr);
        made->act = [self = made.get(), ms, beat] {
            if (beat())
                clock_fdelay(self->handle, ms);
        };
        return made;
    }
    std::function<void()> act;
    void *handle;
};

class Run : public testing::Test {
  protected:
    void SetUp() override
    {
        zan_start();
        zan_service();
        zan_set_frame_limit(0);
        ASSERT_EQ(zan_set_clock(zan_clock_virtual), 0);
    }
    void TearDown() override
    {
        EXPECT_EQ(zan_set_clock(zan_clock_real), 0);
        EXPECT_TRUE(reports.take().empty());
    }
    report_catcher reports;
};

// Places as the reporter sees them, in front of the text.
class placed_reports {
  public:
    placed_reports()
    {
        zan_set_reporter(
            [](void *data, long, void *, const char *text) {
                char place[200];
                zan_place_text(zan_report_place(), place, sizeof place);
                static_cast<placed_reports *>(data)->all.push_back(std::string(place) + " | " + text);
            },
            this);
    }
    ~placed_reports() { zan_set_reporter(nullptr, nullptr); }
    words take() { return std::exchange(all, {}); }

  private:
    words all;
};

// ---- virtual time ----

TEST_F(Run, TimeJumpsFromClockToClockAndStandsStillBetween)
{
    std::vector<double> times;
    const auto metro = timed::every(2.5, [&] {
        times.push_back(systimer_gettime());
        EXPECT_NE(sched_isinpoll(), 0);
        return times.size() < 4;
    });
    timed late([&] { times.push_back(-systimer_gettime()); });
    EXPECT_EQ(systimer_gettime(), 0);
    clock_delay(metro->handle, 10);
    clock_delay(late.handle, 3600000);
    EXPECT_EQ(zan_run_until(15), zan_ran_until);
    EXPECT_EQ(times, (std::vector<double>{10, 12.5, 15}));
    EXPECT_EQ(systime_ticks(), 15u);
    EXPECT_EQ(zan_run_until(INFINITY), zan_ran_dry);
    EXPECT_EQ(times, (std::vector<double>{10, 12.5, 15, 17.5, -3600000}));
    EXPECT_EQ(zan_run_until(4000000), zan_ran_dry); // nothing left, and yet it is that late
    EXPECT_EQ(systimer_gettime(), 4000000);
    EXPECT_EQ(sched_isinpoll(), 0);
}

TEST_F(Run, TheMainQueueSettlesBetweenTwoClocks)
{
    words trail;
    timed low([&] { trail.push_back("qelem"); }, false);
    const auto deferred = M(+[](void *p, symbol *s, long, atom *) {
        auto &t = *static_cast<words *>(p);
        t.push_back(s->name);
        if (s == S("again")) // on the main thread now: at once
            defer(p, M(+[](void *q, symbol *, long, atom *) { static_cast<words *>(q)->push_back("inner"); }), s,
                  0, nullptr);
    });
    timed second([&] { trail.push_back("second"); });
    timed first([&] {
        qelem_set(low.handle);
        defer_low(&trail, deferred, S("low"), 0, nullptr);
        defer(&trail, deferred, S("again"), 0, nullptr);
        qelem_set(low.handle);
        trail.push_back("first");
    });
    clock_delay(first.handle, 1); // both due at 1: in the order of setting
    clock_delay(second.handle, 1);
    zan_in_scheduler([](void *p) { static_cast<words *>(p)->push_back(sched_isinpoll() ? "in" : "out"); }, &trail);
    EXPECT_EQ(zan_run_until(1), zan_ran_dry);
    EXPECT_EQ(trail, (words{"in", "first", "again", "inner", "qelem", "low", "second"}));
}

// Random events that set off random events, from a seed; what they did.
std::string random_run(unsigned seed)
{
    struct world {
        std::mt19937 random;
        std::string trail;
        std::vector<std::unique_ptr<timed>> all;
        long left = 3000;
        void note(const char *kind, long n)
        {
            trail += kind + std::to_string(n) + "@" + std::to_string(systimer_gettime()) + " ";
            if (left-- <= 0)
                return;
            for (unsigned i = random() % 4 + (left > 2900); i > 0; i--) {
                const long which = long(random() % 20);
                timed &one = *all[size_t(which)];
                atom a = A(which);
                switch (which < 10 ? 0 : random() % 4) {
                case 0:
                    if (which < 10)
                        clock_fdelay(one.handle, double(random() % 4) * 0.7);
                    break;
                case 1: qelem_set(one.handle); break;
                case 2: qelem_front(one.handle); break;
                case 3: (random() % 2 ? defer : defer_low)(this, M(deferred), S(""), 1, &a);
                }
            }
        }
        static void deferred(void *p, symbol *, long, atom *argv)
        {
            static_cast<world *>(p)->note("d", atom_getlong(argv));
        }
    } w{std::mt19937(seed), {}, {}};
    for (long i = 0; i < 20; i++)
        w.all.push_back(std::make_unique<timed>([&w, i] { w.note(i < 10 ? "c" : "q", i); }, i < 10));
    for (long i = 0; i < 10; i++)
        clock_fdelay(w.all[size_t(i)]->handle, 0);
    EXPECT_EQ(zan_run_until(INFINITY), zan_ran_dry);
    return w.trail;
}

TEST_F(Run, TheSameEventsInTheSameOrderOnEveryRun)
{
    const std::string first = random_run(1);
    EXPECT_GT(first.size(), 5000u);
    zan_set_clock(zan_clock_real); // time starts anew
    zan_set_clock(zan_clock_virtual);
    EXPECT_EQ(random_run(1), first);
    zan_set_clock(zan_clock_real);
    zan_set_clock(zan_clock_virtual);
    EXPECT_NE(random_run(2), first);
}

TEST_F(Run, WhatNeverSettlesKeepsNothingFromGoingOn)
{
    long polls = 0;
    timed *self = nullptr;
    timed poll([&] { polls++, qelem_set(self->handle); }, false);
    self = &poll;
    qelem_set(poll.handle);
    EXPECT_EQ(zan_run_until(5), zan_ran_until);
    EXPECT_EQ(polls, 100);
    EXPECT_EQ(systimer_gettime(), 5);
    qelem_unset(poll.handle);

    long spins = 0;
    const auto spinner = timed::every(0, [&] { return ++spins; });
    clock_delay(spinner->handle, 0);
    EXPECT_EQ(zan_run_until(6.5), zan_ran_until);
    EXPECT_EQ(spins, 2 * 65536 + 1);
    EXPECT_EQ(reports.take().size(), 2u); // one for each millisecond
}

TEST_F(Run, HoldFramesAndQuitEndItAtTheirTime)
{
    int metro_box, picture_box;
    long beats = 0;
    const auto metro = timed::every(10, [&] {
        if (++beats % 2 == 0)
            zan_frame_done(&picture_box, zan_frame_picture);
        zan_frame_done(&metro_box, zan_frame_beat);
        return true;
    });
    clock_delay(metro->handle, 10);
    zan_set_frame_limit(3);
    EXPECT_EQ(zan_frames_left(), 3);
    EXPECT_EQ(zan_run_until(INFINITY), zan_ran_quit);
    EXPECT_EQ(beats, 6); // the pictures count from the first on
    EXPECT_EQ(zan_frames(), 3);
    EXPECT_EQ(zan_frames_left(), 0);
    EXPECT_EQ(zan_run_until(1000), zan_ran_until); // held
    EXPECT_EQ(beats, 6);
    zan_set_frame_limit(0);
    EXPECT_EQ(zan_run_until(1000), zan_ran_until);
    EXPECT_EQ(beats, 7); // the one that fell due meanwhile
    EXPECT_EQ(zan_frames_left(), -1);
    zan_hold(1);
    zan_quit();
    EXPECT_EQ(zan_run_until(2000), zan_ran_quit);
    zan_hold(0);
    std::thread([] { zan_quit(); }).join();
    EXPECT_EQ(zan_run_until(INFINITY), zan_ran_quit);
}

TEST_F(Run, RealTimeGoesByTheSameLoop)
{
    static std::atomic<long> beats;
    beats = 0;
    timed late([] { beats++; });
    clock_delay(late.handle, 5);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(zan_set_clock(zan_clock_real), 0); // what is left of the delay stays
    EXPECT_EQ(zan_run_until(INFINITY), zan_ran_dry);
    EXPECT_EQ(beats, 1);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::microseconds(4900));
    zan_hold(1);
    clock_delay(late.handle, 0);
    EXPECT_EQ(zan_run_until(systimer_gettime() + 10), zan_ran_until);
    EXPECT_EQ(beats, 1);
    zan_hold(0);
    EXPECT_EQ(zan_run_until(INFINITY), zan_ran_dry);
    EXPECT_EQ(beats, 2);
    EXPECT_EQ(zan_run_until(NAN), zan_err_generic);
    std::thread([] { EXPECT_EQ(zan_run_until(0), zan_err_generic); }).join();
    EXPECT_NE(reports.one_error().find("main"), std::string::npos);
    EXPECT_EQ(zan_set_clock(zan_clock_virtual), 0);
}

// ---- limits ----

TEST_F(Run, EachQueueHasALimitAndCountsWhatItDrops)
{
    static long ran;
    ran = 0;
    const auto nothing = M(+[](void *, symbol *, long, atom *) { ran++; });
    std::vector<std::unique_ptr<timed>> qelems, clocks;
    for (int i = 0; i < 6; i++) {
        qelems.push_back(std::make_unique<timed>([] { ran++; }, false));
        clocks.push_back(std::make_unique<timed>([] { ran++; }));
    }
    const std::function<void(int)> fill[] = {
        [&](int) { defer(nullptr, nothing, S(""), 0, nullptr); },
        [&](int) { defer_low(nullptr, nothing, S(""), 0, nullptr); },
        [&](int i) { qelem_set(qelems[size_t(i)]->handle), qelem_front(qelems[size_t(i)]->handle); },
        [&](int i) { clock_delay(clocks[size_t(i)]->handle, i), clock_delay(clocks[size_t(i)]->handle, 9 - i); },
    };
    for (long twice = 0; twice < 2 * zan_queue_kinds; twice++) { // it is told anew
        const long queue = twice / 2;
        zan_queue_info before, info;
        ASSERT_EQ(zan_queue_get(queue, &before), 0);
        EXPECT_EQ(before.waiting, 0) << queue;
        EXPECT_EQ(before.limit, 65536) << queue;
        ASSERT_EQ(zan_queue_set_limit(queue, 4), 0);
        std::function<void()> all = [&] {
            for (int i = 0; i < 6; i++)
                fill[queue](i);
        };
        zan_in_scheduler([](void *p) { (*static_cast<std::function<void()> *>(p))(); }, &all);
        ASSERT_EQ(zan_queue_get(queue, &info), 0);
        EXPECT_EQ(info.waiting, 4) << queue;
        EXPECT_GE(info.dropped - before.dropped, 2) << queue;
        EXPECT_NE(reports.one_error().find("(4"), std::string::npos) << queue;
        ran = 0;
        EXPECT_EQ(zan_run_until(systimer_gettime() + 20), zan_ran_dry);
        EXPECT_EQ(ran, 4) << queue;
        ASSERT_EQ(zan_queue_get(queue, &info), 0);
        EXPECT_EQ(info.waiting, 0) << queue;
        EXPECT_EQ(info.passed - before.passed, 4) << queue;
        EXPECT_EQ(zan_queue_set_limit(queue, before.limit), 0);
    }
    zan_queue_info info;
    for (long wrong : {-1L, long(zan_queue_kinds)})
        EXPECT_NE(zan_queue_get(wrong, &info), 0);
    EXPECT_NE(zan_queue_set_limit(0, 0), 0);
}

// Boxes that use a lot of stack each, on stacks of several sizes.
TEST_F(Run, ALoopEndsBeforeTheStackDoes)
{
    box_owner boxes[] = {box_owner("mix", 4), box_owner("blur", 5)};
    static std::atomic<long> heard;
    for (box_owner &owner : boxes)
        owner.does([&owner](symbol *s, long, atom *) {
            volatile char room[16384];
            room[0] = 1;
            heard += room[0];
            outlet_anything(outlet_nth(owner.box, 0), s, 0, nullptr);
            room[sizeof room - 1] = 2; // it is in use up to here
        });
    for (int i = 0; i < 2; i++)
        ASSERT_EQ(zan_connect(boxes[i].box, 0, boxes[1 - i].box, 0), 0);
    for (long size : {0L, 256L << 10, 4L << 20}) {
        heard = 0;
        const auto ring = [](void *p) -> void * { return static_cast<box_owner *>(p)->hears("bang"), nullptr; };
        zan_thread_handle thread;
        ASSERT_EQ(systhread_create(ring, boxes, size, 0, 0, &thread), 0);
        EXPECT_EQ(systhread_join(thread, nullptr), 0);
        EXPECT_GT(heard, 5) << size;
        EXPECT_LT(heard, 1000) << size;
        const std::string error = reports.one_error();
        EXPECT_NE(error.find("blur -> mix"), std::string::npos) << error;
    }
}

// Never deep, and yet without an end that anyone would see.
TEST_F(Run, ALoopThatBranchesEndsToo)
{
    box_owner a("fan", 4);
    long heard = 0;
    a.does([&](symbol *s, long, atom *argv) {
        heard++;
        for (long i = 0; i < atom_getlong(argv); i++) {
            atom next = A(i);
            outlet_anything(outlet_nth(a.box, 0), s, 1, &next);
        }
    });
    ASSERT_EQ(zan_connect(a.box, 0, a.box, 0), 0);
    atom first = A(200); // 2 to the power of 200 messages
    zan_send(a.box, 0, S("times"), 1, &first);
    EXPECT_LE(heard, 1L << 20);
    EXPECT_NE(reports.one_error().find("fan -> fan"), std::string::npos);
    first = A(4);
    heard = 0;
    zan_send(a.box, 0, S("times"), 1, &first); // what ends runs to its end
    EXPECT_EQ(heard, 16);
}

// ---- whose report it is ----

TEST_F(Run, AReportBelongsToABoxAlsoWhenItWasDeferred)
{
    placed_reports placed;
    box_owner a("photo", 12), b("mix", 13), part;
    object_obex_store(part.box, S("zanwrapper"), a.box);
    const auto complain = +[](void *) { object_error(nullptr, "no object"); };
    const auto complain_deferred = M(+[](void *, symbol *, long, atom *) { object_error(nullptr, "deferred"); });
    void *qelem = qelem_new(&placed, complain), *clock = clock_new(&placed, complain);
    a.passes_on();
    ASSERT_EQ(zan_connect(a.box, 0, b.box, 0), 0);
    const struct {
        std::function<void()> does; // b, on a message through a
        words expected;
    } rows[] = {
        {[&] { object_error(nullptr, "here"); }, {"a.patch:13: mix (actor) | here"}},
        {[&] { object_error(part.box, "of a part"); }, {"a.patch:12: photo (actor) | of a part"}},
        {[&] { defer(&placed, complain_deferred, S(""), 0, nullptr); }, {"a.patch:13: mix (actor) | deferred"}},
        {[&] { defer_low(a.box, complain_deferred, S(""), 0, nullptr); }, {"a.patch:13: mix (actor) | deferred"}},
        {[&] { qelem_set(qelem); }, {"a.patch:13: mix (actor) | no object"}},
        {[&] { clock_delay(clock, 1); }, {"a.patch:13: mix (actor) | no object"}},
    };
    for (const auto &row : rows) {
        b.does([&](symbol *, long, atom *) { row.does(); });
        zan_in_scheduler([](void *p) { static_cast<box_owner *>(p)->hears("go"); }, &a);
        zan_run_until(INFINITY);
        EXPECT_EQ(placed.take(), row.expected);
    }
    object_error(nullptr, "nobody's");
    EXPECT_EQ(placed.take(), words{" | nobody's"});
    EXPECT_EQ(zbox_get_id(b.box), S("mix"));
    EXPECT_EQ(zan_place_of(part.box), zan_place_of(a.box));
    EXPECT_EQ(zan_report_place(), nullptr);
    EXPECT_EQ(zan_set_box_place(nullptr, nullptr, nullptr, 0), zan_err_invalid_ptr);
    object_free(qelem);
    object_free(clock);
}

TEST_F(Run, APlaceAsTextLeavesOutWhatIsNotKnown)
{
    symbol *f = S("f"), *b = S("b"), *c = S("c");
    const struct {
        zan_place place;
        const char *text;
    } rows[] = {{{f, 3, b, c}, "f:3: b (c)"},
                {{f, 0, b, nullptr}, "f: b"},
                {{f, 3, nullptr, c}, "f:3: c"},
                {{nullptr, 3, b, c}, "b (c)"},
                {{f, 3, nullptr, nullptr}, "f:3"}};
    for (const auto &row : rows) {
        char text[20] = "?", cut[4];
        EXPECT_EQ(zan_place_text(&row.place, text, sizeof text), long(strlen(row.text)));
        EXPECT_STREQ(text, row.text);
        zan_place_text(&row.place, cut, sizeof cut);
        EXPECT_EQ(std::string(cut), std::string(row.text).substr(0, 3));
    }
    EXPECT_EQ(zan_place_text(nullptr, nullptr, 0), 0);
}

TEST_F(Run, EqualErrorsAreToldOnceAndCounted)
{
    placed_reports placed;
    box_owner a("a", 1), b("b", 2);
    zan_merge_reports(1);
    for (int i = 0; i < 1000; i++)
        for (box_owner *o : {&a, &b}) {
            object_error(o->box, "wrong type");
            if (i == 0)
                object_warn(o->box, "wrong type");
        }
    object_post(a.box, "posts stay");
    object_post(a.box, "posts stay");
    EXPECT_EQ(placed.take().size(), 6u);
    zan_merge_reports(0);
    EXPECT_EQ(placed.take(), (words{"a.patch:1: a (actor) | wrong type (... and 999 more)",
                                    "a.patch:2: b (actor) | wrong type (... and 999 more)"}));
    object_error(a.box, "wrong type");
    object_error(a.box, "wrong type");
    EXPECT_EQ(placed.take().size(), 2u);
    zan_merge_reports(1);
    object_error(a.box, "same");
    for (int i = 0; i < 5000; i++) { // different ones in any number are all told
        object_error(a.box, "number %d", i);
        object_error(a.box, "number %d", i);
    }
    zan_merge_reports(0);
    EXPECT_EQ(placed.take().size(), 1u + 2 * 5000u);
}

// ---- what a run took ----

void take_time(double ms)
{
    for (const double start = systimer_gettime(); systimer_gettime() - start < ms;)
        ;
}

TEST_F(Run, TheProfileTellsOwnAndTotalTimeOfEachBox)
{
    ASSERT_EQ(zan_set_clock(zan_clock_real), 0); // for take_time
    box_owner a("outer", 1), b("inner", 2);
    a.does([&](symbol *s, long argc, atom *argv) {
        take_time(2);
        outlet_anything(outlet_nth(a.box, 0), s, argc, argv);
    });
    b.does([](symbol *, long, atom *) { take_time(3); });
    ASSERT_EQ(zan_connect(a.box, 0, b.box, 0), 0);
    zan_profile(1, [](symbol *, long argc, atom *argv) { return argc ? atom_getlong(argv) : 0; });
    atom bytes = A(100);
    zan_send(a.box, 0, S("go"), 1, &bytes);
    zan_send(b.box, 0, S("go"), 1, &bytes);
    zan_profile(0, nullptr);
    zan_send(a.box, 0, S("go"), 1, &bytes);
    long count = 0;
    zan_profile_row *rows = nullptr;
    ASSERT_EQ(zan_profile_get(&count, &rows), 0);
    ASSERT_EQ(count, 2);
    EXPECT_GE(rows[0].own_ms, rows[1].own_ms);
    const bool swapped = rows[0].place == zan_place_of(a.box); // when the machine was busy
    const zan_profile_row &outer = rows[!swapped], &inner = rows[swapped];
    EXPECT_EQ(inner.place, zan_place_of(b.box));
    EXPECT_EQ(inner.messages, 2);
    EXPECT_EQ(inner.bytes, 200);
    EXPECT_GE(inner.own_ms, 6);
    EXPECT_DOUBLE_EQ(inner.own_ms, inner.total_ms);
    EXPECT_LT(inner.worst_ms, inner.own_ms);
    EXPECT_EQ(outer.messages, 1);
    EXPECT_GE(outer.own_ms, 2);
    EXPECT_GE(outer.total_ms, outer.own_ms + 3);
    EXPECT_EQ(outer.classname, S("actor"));
    sysmem_freeptr(rows);
    ASSERT_EQ(zan_set_clock(zan_clock_virtual), 0);
}

TEST_F(Run, WhatIsAliveIsCountedByClassAndName)
{
    const auto alive = [] {
        long count = 0, found = 0;
        zan_class_count *rows = nullptr;
        EXPECT_EQ(zan_class_counts(&count, &rows), 0);
        for (long i = 0; i < count; i++)
            found += rows[i].classname == S("actor") ? rows[i].alive : 0;
        sysmem_freeptr(rows);
        return found;
    };
    const auto names = [] {
        long count = 0;
        symbol **all = nullptr;
        EXPECT_EQ(zan_registered_names(S("run_test"), &count, &all), 0);
        std::string text;
        for (long i = 0; i < count; i++)
            text += all[i]->name;
        sysmem_freeptr(all);
        return text;
    };
    EXPECT_EQ(alive(), 0);
    box_owner a, b;
    EXPECT_EQ(alive(), 2);
    EXPECT_EQ(names(), "");
    object_register(S("run_test"), S("z"), a.box);
    object_register(S("run_test"), S("y"), b.box);
    EXPECT_EQ(names(), "zy");
    object_unregister(a.box);
    EXPECT_EQ(names(), "y");
}

} // namespace
