// The scheduler with its clocks, the two kinds of time they can go by, the main loop,
// and the host's start and stop.
//
// In real time the scheduler is a thread. In virtual time there is none: the main
// loop plays its part between its own pieces, so that the order of everything follows
// from the order of the queues alone (the rule stands in zan/host.h).
#include "queue.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>

namespace zan {
namespace {

constexpr size_t scheduler_stack = size_t(8) << 20; // chains of boxes run on it
constexpr int settling_rounds = 100;                // of the main queue behind one clock, see zan/host.h
constexpr long most_at_a_time = 65536;              // clocks at one point of virtual time, likewise

struct clock_object {
    object header;
    clock_part part;
};

thread_local char thread_mark; // its address tells threads apart
std::atomic<const void *> main_mark{nullptr};
std::atomic<bool> stopped{false}; // the next zan_start names the main thread anew
thread_local bool is_scheduler;   // it is the scheduler thread, or plays its part now

// Virtual time, in nanoseconds; -1 while time is real.
std::atomic<int64_t> virtual_now{-1};

bool is_virtual()
{
    return virtual_now.load(std::memory_order_relaxed) >= 0;
}

steady::time_point now()
{
    const int64_t v = virtual_now.load(std::memory_order_relaxed);
    return v >= 0 ? steady::time_point(std::chrono::nanoseconds(v)) : steady::now();
}

steady::duration from_ms(double ms)
{
    return std::chrono::duration_cast<steady::duration>(std::chrono::duration<double, std::milli>(ms));
}

// The main thread plays the scheduler's part while one lives.
class scheduler_role {
  public:
    explicit scheduler_role(queue_state &s) : s_(s)
    {
        is_scheduler = true;
        s_.main_side.waits++;
    }
    ~scheduler_role()
    {
        s_.main_side.waits--;
        is_scheduler = false;
    }
    scheduler_role(const scheduler_role &) = delete;
    scheduler_role &operator=(const scheduler_role &) = delete;

  private:
    queue_state &s_;
};

// ---- what the scheduler does, on whichever thread; all with the lock held ----

// Takes the first request in order of their coming.
void serve_requests(queue_state &s, queue_guard &held)
{
    while (s.requests) {
        take_turn(s, held);
        queue_state::request *r = s.requests;
        s.requests = r->next;
        run_framed(s, held, s.scheduler_side, nullptr, nullptr, nullptr, [r] { r->fn(r->arg); });
        r->done = true;
        s.request_done.notify_all();
    }
}

void run_first_clock(queue_state &s, queue_guard &held)
{
    clock_part *c = s.clocks.begin()->second;
    unset(s, c);
    s.counts[zan_queue_clock].passed++;
    const auto fn = c->fn;
    void *owner = c->owner;
    run_framed(s, held, s.scheduler_side, owner, c, c->from, [=] { fn(owner); });
}

void *scheduler_main(void *)
{
    is_scheduler = true;
    pthread_setname_np(pthread_self(), "scheduler");
    queue_state &s = queues();
    queue_guard held(s.lock);
    for (;;) {
        serve_requests(s, held);
        if (s.scheduler_ends)
            break;
        if (s.clocks.empty() || s.held || s.rests) {
            s.main_wakes.notify_one(); // nothing may be left to wait for
            s.kept_by_rest = s.rests > 0;
            s.scheduler_wakes.wait(held);
            continue;
        }
        const auto due = s.clocks.begin()->first.first;
        if (due > steady::now()) {
            s.scheduler_wakes.wait_until(held, due);
            continue;
        }
        take_turn(s, held);
        const bool still = !s.clocks.empty() && !s.held && !s.rests && !s.requests && !s.scheduler_ends;
        if (still)
            run_first_clock(s, held);
    }
    s.scheduler_ended = true;
    s.request_done.notify_all();
    return nullptr;
}

void run_quit_tasks(queue_state &s)
{
    queue_guard held(s.lock);
    while (!s.quit_tasks.empty()) {
        const auto [fn, arg] = s.quit_tasks.back();
        s.quit_tasks.pop_back();
        held.unlock();
        reinterpret_cast<void (*)(void *)>(fn)(arg);
        held.lock();
    }
}

// Ends the scheduler thread. At the process's exit its function may wait for a lock
// that the exiting thread holds, so that one is given up after a while.
void end_scheduler(queue_state &s, bool exiting)
{
    queue_guard held(s.lock);
    if (!s.scheduler_runs || is_scheduler)
        return;
    s.scheduler_ends = true;
    s.scheduler_wakes.notify_all();
    const auto ended = [&s] { return s.scheduler_ended; };
    if (is_named_main())
        s.main_side.waits++;
    s.frame_ended.notify_all();
    if (!exiting)
        s.request_done.wait(held, ended);
    else
        s.request_done.wait_for(held, patience, ended);
    if (is_named_main())
        s.main_side.waits--;
    if (!s.scheduler_ended)
        return;
    const pthread_t id = s.scheduler_id;
    s.scheduler_runs = s.scheduler_ends = s.scheduler_ended = false;
    s.request_done.notify_all(); // who came meanwhile starts it again
    held.unlock();
    pthread_join(id, nullptr);
}

void at_process_exit()
{
    run_quit_tasks(queues());
    end_scheduler(queues(), true);
}

void need_exit_hook(queue_state &s)
{
    if (!std::exchange(s.at_exit_set, true))
        std::atexit(at_process_exit);
}

// In virtual time the main loop is woken instead, which plays its part.
bool need_scheduler(queue_state &s)
{
    if (is_virtual()) {
        s.main_wakes.notify_one();
        return true;
    }
    if (s.scheduler_runs)
        return true;
    need_exit_hook(s);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, scheduler_stack);
    s.scheduler_runs = pthread_create(&s.scheduler_id, &attributes, scheduler_main, nullptr) == 0;
    pthread_attr_destroy(&attributes);
    return s.scheduler_runs;
}

void clock_release(clock_object *c)
{
    queue_state &s = queues();
    queue_guard held(s.lock);
    unset(s, &c->part);
    s.main_wakes.notify_one(); // nothing may be left to wait for
    leave(s, &c->part);
    wait_for_frames(s, held, [c](const frame &f) { return f.source == &c->part; });
}

// ---- the main loop; with the lock held ----

constexpr steady::time_point never = steady::time_point::max();

bool nothing_left(const queue_state &s)
{
    return !main_has_work(s) && s.clocks.empty() && !s.requests && !s.scheduler_side.frames;
}

void wait_for_work(queue_state &s, queue_guard &held, steady::time_point until)
{
    if (until == never)
        s.main_wakes.wait(held);
    else
        s.main_wakes.wait_until(held, until);
}

// Rounds of the main queue until nothing waits there, and no more than so many.
void settle(queue_state &s, queue_guard &held)
{
    for (int round = 0; round < settling_rounds && main_has_work(s) && !s.quit; round++)
        serve_main(s, held);
}

// Clocks that set each other without a delay would keep virtual time from ever going on.
void leave_a_standstill(queue_guard &held, void *owner)
{
    static int64_t time = -1;
    static long clocks = 0;
    if (std::exchange(time, virtual_now.load()) != time)
        clocks = 0;
    if (++clocks < most_at_a_time)
        return;
    clocks = 0;
    const int64_t stood = virtual_now.fetch_add(1000000);
    held.unlock();
    object_error(looks_live(owner) ? owner : nullptr,
                 "%ld clocks ran at the same time, %g ms, without an end: time is moved on by 1 ms",
                 most_at_a_time, double(stood) * 1e-6);
    held.lock();
}

// One step of virtual time: what waits now, then the next clock if it is due by `until`.
// False when no clock is, and time then stands at `until`.
bool step(queue_state &s, queue_guard &held, steady::time_point until)
{
    {
        const scheduler_role role(s);
        serve_requests(s, held);
    }
    settle(s, held);
    if (s.quit)
        return true;
    if (s.clocks.empty() || s.held || s.clocks.begin()->first.first > until) {
        if (until != never)
            virtual_now = std::max<int64_t>(virtual_now, until.time_since_epoch() / std::chrono::nanoseconds(1));
        return false;
    }
    virtual_now = std::max<int64_t>(virtual_now, s.clocks.begin()->first.first.time_since_epoch() /
                                                     std::chrono::nanoseconds(1));
    void *owner = s.clocks.begin()->second->owner;
    {
        const scheduler_role role(s);
        run_first_clock(s, held);
    }
    settle(s, held);
    leave_a_standstill(held, owner);
    return true;
}

// `idles`: wait for other threads when nothing is left, instead of returning.
long run(steady::time_point until, bool idles, const char *who)
{
    if (!on_main_thread()) {
        object_error(nullptr, "%s was called on a thread that isn't the main one", who);
        return zan_err_generic;
    }
    queue_state &s = queues();
    queue_guard held(s.lock);
    for (;;) {
        bool reached;
        if (is_virtual())
            reached = !step(s, held, until) && until != never;
        else {
            serve_main(s, held);
            reached = until != never && steady::now() >= until;
        }
        if (std::exchange(s.quit, false))
            return zan_ran_quit;
        if (nothing_left(s) && !idles)
            return zan_ran_dry;
        if (reached)
            return zan_ran_until;
        const bool more = main_has_work(s) || (is_virtual() && (s.requests || (!s.clocks.empty() && !s.held)));
        if (!more)
            wait_for_work(s, held, is_virtual() ? never : until);
    }
}

} // namespace

bool on_scheduler()
{
    return is_scheduler;
}

bool is_named_main()
{
    return main_mark.load(std::memory_order_acquire) == &thread_mark;
}

bool on_main_thread()
{
    const void *named = main_mark.load(std::memory_order_acquire);
    return !named || (named == &thread_mark && !is_scheduler);
}

double virtual_ms()
{
    const int64_t v = virtual_now.load(std::memory_order_relaxed);
    return v < 0 ? -1 : double(v) * 1e-6;
}

void unset(queue_state &s, clock_part *c)
{
    if (c->set) {
        s.clocks.erase(c->due);
        c->set = false;
        s.counts[zan_queue_clock].give_back();
    }
}

zan_class *make_clock_class()
{
    zan_class *c = class_new("clock", nullptr, erase(clock_release), sizeof(clock_object), nullptr, 0);
    class_register(nobox(), c);
    return c;
}

void take_turn(queue_state &s, queue_guard &held)
{
    if (is_virtual()) // one thread plays both
        return;
    main_or_scheduler &mine = is_scheduler ? s.scheduler_side : s.main_side;
    main_or_scheduler &other = is_scheduler ? s.main_side : s.scheduler_side;
    const auto free = [&] {
        return (!other.frames || other.waits) && (!other.wants || (mine.wants && mine.wants < other.wants));
    };
    if (free())
        return;
    mine.wants = ++s.turns_wanted;
    mine.waits++;
    s.frame_waiters++;
    s.frame_ended.notify_all();
    s.frame_ended.wait_for(held, patience, free);
    s.frame_waiters--;
    mine.waits--;
    mine.wants = 0;
}

scheduler_at_rest::scheduler_at_rest(bool as_long_as_it_takes)
    : rests_(on_main_thread() && !is_scheduler && !is_virtual())
{
    if (!rests_)
        return;
    queue_state &s = queues();
    queue_guard held(s.lock);
    if (s.rests++)
        return;
    const auto its_work = [&s](const frame &f) { return &f == s.scheduler_side.frames; };
    while (!wait_for_frames(s, held, its_work) && as_long_as_it_takes)
        ;
}

scheduler_at_rest::~scheduler_at_rest()
{
    if (!rests_)
        return;
    queue_state &s = queues();
    const queue_guard held(s.lock);
    if (--s.rests == 0 && std::exchange(s.kept_by_rest, false))
        s.scheduler_wakes.notify_all();
}

void end_the_run()
{
    queue_state &s = queues();
    const queue_guard held(s.lock);
    s.held = true;
    s.quit = true;
    s.main_wakes.notify_all();
}

} // namespace zan

using namespace zan;

extern "C" {

// ---- clocks ----

void *clock_new(void *x, void (*fn)(void *))
{
    boot();
    return make_queued(queues().clock_class, &clock_object::part, x, fn);
}

void clock_fdelay(void *x, double ms)
{
    queue_state &s = queues();
    auto *c = as_queued<clock_object>(x, s.clock_class);
    if (!c)
        return;
    constexpr double year = 365.25 * 86400e3; // no delay is longer, so that no sum overflows
    const auto due = now() + from_ms(ms > 0 ? std::min(ms, year) : 0);
    bool runs = true, tell = false;
    {
        const queue_guard held(s.lock);
        unset(s, &c->part);
        if (c->part.dead)
            return;
        if (s.counts[zan_queue_clock].take(&tell)) {
            c->part.from = place_at_work();
            c->part.due = {due, s.clock_serial++};
            c->part.set = true;
            const auto at = s.clocks.emplace(c->part.due, &c->part).first;
            runs = need_scheduler(s);
            if (at == s.clocks.begin())
                s.scheduler_wakes.notify_one();
        }
    }
    if (!runs)
        object_error(nullptr, "the scheduler's thread can't be started: clocks don't run");
    if (tell)
        object_error(looks_live(c->part.owner) ? c->part.owner : nullptr,
                     "too many clocks are set (%ld): this one won't run", s.counts[zan_queue_clock].limit);
}

void clock_delay(void *clock, long ms)
{
    clock_fdelay(clock, double(ms));
}

void clock_unset(void *x)
{
    queue_state &s = queues();
    if (auto *c = as_queued<clock_object>(x, s.clock_class)) {
        const queue_guard held(s.lock);
        unset(s, &c->part);
        s.main_wakes.notify_one(); // nothing may be left to wait for
    }
}

long sched_isinpoll(void)
{
    return is_scheduler;
}

void zan_in_scheduler(void (*fn)(void *), void *arg)
{
    if (!fn)
        return;
    if (is_scheduler) {
        fn(arg);
        return;
    }
    queue_state &s = queues();
    queue_guard held(s.lock);
    const bool from_main = is_named_main();
    if (from_main && is_virtual()) {
        const scheduler_role role(s);
        run_framed(s, held, s.scheduler_side, nullptr, nullptr, place_at_work(), [=] { fn(arg); });
        return;
    }
    s.request_done.wait(held, [&s] { return !s.scheduler_ends; });
    if (!need_scheduler(s)) {
        held.unlock();
        object_error(nullptr, "the scheduler's thread can't be started");
        return;
    }
    queue_state::request mine{fn, arg, false, nullptr};
    queue_state::request **last = &s.requests;
    while (*last)
        last = &(*last)->next;
    *last = &mine;
    s.scheduler_wakes.notify_one();
    if (from_main) {
        s.main_side.waits++;
        s.frame_ended.notify_all();
    }
    s.request_done.wait(held, [&mine] { return mine.done; });
    if (from_main)
        s.main_side.waits--;
}

// ---- the main loop ----

long zan_run_until(double ms)
{
    constexpr double far = 9e12; // 285 years: beyond what the clock can count
    if (std::isnan(ms))
        return zan_err_generic;
    return run(ms < far ? steady::time_point(from_ms(std::max(ms, 0.0))) : never, false, "zan_run_until");
}

void zan_run(void)
{
    run(never, true, "zan_run");
}

void zan_quit(void)
{
    queue_state &s = queues();
    const queue_guard held(s.lock);
    s.quit = true;
    s.main_wakes.notify_all();
}

void zan_hold(long on)
{
    queue_state &s = queues();
    queue_guard held(s.lock);
    s.held = on != 0;
    s.scheduler_wakes.notify_all();
    s.main_wakes.notify_all();
    if (on && !is_scheduler)
        wait_for_frames(s, held, [](const frame &f) { return f.clocked; });
}

// ---- start and stop ----

long zan_set_clock(long kind)
{
    if (kind != zan_clock_real && kind != zan_clock_virtual)
        return zan_err_generic;
    queue_state &s = queues();
    if (is_scheduler || !is_named_main())
        return zan_err_generic;
    if (is_virtual() == (kind == zan_clock_virtual))
        return zan_err_none;
    end_scheduler(s, false);
    const queue_guard held(s.lock);
    const auto before = now();
    virtual_now = kind == zan_clock_virtual ? 0 : -1;
    const auto shift = now() - before;
    std::map<clock_key, clock_part *> moved;
    for (const auto &[due, c] : s.clocks) {
        c->due = {due.first + shift, due.second};
        moved.emplace(c->due, c);
    }
    s.clocks.swap(moved);
    if (!s.clocks.empty())
        need_scheduler(s);
    return zan_err_none;
}

void zan_start(void)
{
    boot();
    const void *none = nullptr;
    if (stopped.exchange(false))
        main_mark.store(&thread_mark, std::memory_order_release);
    else
        main_mark.compare_exchange_strong(none, &thread_mark);
}

void zan_stop(void)
{
    if (is_scheduler) {
        object_error(nullptr, "zan_stop was called on the scheduler thread, which it ends");
        return;
    }
    run_quit_tasks(queues());
    end_scheduler(queues(), false);
    stopped.store(true, std::memory_order_release);
}

void quittask_install(zan_method fn, void *arg)
{
    if (!fn)
        return;
    queue_state &s = queues();
    const queue_guard held(s.lock);
    need_exit_hook(s);
    s.quit_tasks.emplace_back(fn, arg);
}

} // extern "C"
