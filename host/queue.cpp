// The main thread's queue, the scheduler thread with its clocks, and the host's
// start and stop.
//
// One lock guards all of it and is never held while anybody's function runs. What
// waits (a deferred call, a qelem, a clock) is entered under the object it is for,
// so that it goes when the object goes. A function that is running has a frame,
// by which a thread that frees its object knows to wait for its end.
#include "internal.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <pthread.h>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

using zan::looks_live;
using steady = std::chrono::steady_clock;

constexpr long queue_limit = 65536; // deferred calls that may wait, see zan/threads.h
// How long one who frees an object waits for a function that another thread runs for
// it. Bounded, since that function may wait for a lock that the freeing thread holds.
constexpr auto patience = std::chrono::seconds(1);
constexpr size_t scheduler_stack = size_t(8) << 20; // chains of boxes run on it

// Something that waits on behalf of an object.
struct entry {
    void *owner = nullptr;  // what the function is called with
    bool tracked = false;   // owner is an object and the entry stands in `owned`
    bool dead = false;      // owner was an object and has gone: nothing is set any more
    entry *older = nullptr; // entries of the same owner
    entry *newer = nullptr;
    enum kind_t { piece, qelem, clock } kind = piece;
};

struct line;

// Something that waits on the main queue.
struct waiting : entry {
    line *in = nullptr; // the line it stands in, or null
    waiting *before = nullptr;
    waiting *behind = nullptr;
};

struct line {
    waiting *first = nullptr;
    waiting *last = nullptr;

    void push(waiting *w)
    {
        w->in = this;
        w->before = last;
        w->behind = nullptr;
        (last ? last->behind : first) = w;
        last = w;
    }
    static void take(waiting *w)
    {
        (w->before ? w->before->behind : w->in->first) = w->behind;
        (w->behind ? w->behind->before : w->in->last) = w->before;
        w->in = nullptr;
    }
    void append(line &other)
    {
        while (other.first) {
            waiting *w = other.first;
            take(w);
            push(w);
        }
    }
};

struct deferred_call : waiting {
    zan_deferred fn = nullptr;
    symbol *s = nullptr;
    long argc = 0;
    atom *argv() { return reinterpret_cast<atom *>(this + 1); }
};
static_assert(sizeof(deferred_call) % alignof(atom) == 0);

using clock_key = std::pair<steady::time_point, uint64_t>; // same times in order of setting

struct qelem_part : waiting {
    void (*fn)(void *) = nullptr;
};

struct clock_part : entry {
    void (*fn)(void *) = nullptr;
    bool set = false;
    clock_key due;
};

// The objects that clock_new and qelem_new give. Their parts are made in place.
struct qelem_object {
    object header;
    qelem_part part;
};
struct clock_object {
    object header;
    clock_part part;
};

// A function that runs now, on the main or on the scheduler thread.
struct frame {
    const void *owner;
    const entry *source; // the clock or qelem, which may be freed on its own
    frame *outer;
};

enum line_rank { front_rank, defer_rank, low_rank, rank_count };

struct main_or_scheduler {
    frame *frames = nullptr;
    int waits = 0; // it waits for the other one and so can't be waited for
};

struct state_t {
    std::mutex lock;
    std::condition_variable main_wakes; // zan_run
    std::condition_variable scheduler_wakes;
    std::condition_variable frame_ended; // also: somebody began to wait
    std::condition_variable request_done;

    std::unordered_map<void *, entry *> owned; // object -> its newest entry

    line coming[rank_count];  // for the next zan_service
    line present[rank_count]; // what the one under way has still to run
    long calls = 0;           // deferred calls in both
    bool full_told = false;
    bool quit = false;

    std::map<clock_key, clock_part *> clocks;
    uint64_t clock_serial = 0;
    struct request {
        void (*fn)(void *);
        void *arg;
        bool done;
        request *next;
    } *requests = nullptr;
    bool scheduler_runs = false;
    bool scheduler_ends = false;
    bool scheduler_ended = false;
    pthread_t scheduler_id{};

    main_or_scheduler main_side;
    main_or_scheduler scheduler_side;
    int frame_waiters = 0;

    std::vector<std::pair<zan_method, void *>> quit_tasks;
    bool at_exit_set = false;

    zan_class *clock_class = nullptr;
    zan_class *qelem_class = nullptr;
};

// Never destroyed: other threads may still use it while the process exits.
state_t &state()
{
    static state_t *s = new state_t;
    return *s;
}

thread_local char thread_mark; // its address tells threads apart
std::atomic<const void *> main_mark{nullptr};
std::atomic<bool> stopped{false}; // the next zan_start names the main thread anew
thread_local bool is_scheduler;

bool is_main()
{
    return main_mark.load(std::memory_order_acquire) == &thread_mark;
}

using guard = std::unique_lock<std::mutex>;

// ---- entries and their owners; all with the lock held ----

void enter(state_t &s, entry *e)
{
    if (!looks_live(e->owner))
        return;
    zan::mark_state(static_cast<object *>(e->owner), zan::state_has_queued);
    entry *&newest = s.owned[e->owner];
    e->tracked = true;
    e->older = newest;
    e->newer = nullptr;
    if (newest)
        newest->newer = e;
    newest = e;
}

void leave(state_t &s, entry *e)
{
    if (!e->tracked)
        return;
    e->tracked = false;
    if (e->older)
        e->older->newer = e->newer;
    if (e->newer)
        e->newer->older = e->older;
    else if (e->older)
        s.owned[e->owner] = e->older;
    else
        s.owned.erase(e->owner);
}

void unset(waiting *w)
{
    if (w->in)
        line::take(w);
}

void unset(state_t &s, clock_part *c)
{
    if (c->set) {
        s.clocks.erase(c->due);
        c->set = false;
    }
}

// Runs a function without the lock, inside a frame.
template <class Fn>
void run_framed(state_t &s, guard &held, main_or_scheduler &side, const void *owner, const entry *source, Fn fn)
{
    frame f{owner, source, side.frames};
    side.frames = &f;
    held.unlock();
    fn();
    held.lock();
    side.frames = f.outer;
    if (s.frame_waiters)
        s.frame_ended.notify_all();
}

template <class Match> bool has_frame(const main_or_scheduler &side, Match match)
{
    for (frame *f = side.frames; f; f = f->outer)
        if (match(*f))
            return true;
    return false;
}

// Waits until no other thread is inside a function that `match` picks. One who waits
// for this very thread, directly or by freeing something too, isn't waited for.
template <class Match> bool wait_for_frames(state_t &s, guard &held, Match match)
{
    main_or_scheduler *mine = is_scheduler ? &s.scheduler_side : is_main() ? &s.main_side : nullptr;
    const auto busy = [&] {
        for (main_or_scheduler *side : {&s.main_side, &s.scheduler_side})
            if (side != mine && !(mine && side->waits) && has_frame(*side, match))
                return true;
        return false;
    };
    if (!busy())
        return true;
    s.frame_waiters++;
    if (mine)
        mine->waits++;
    s.frame_ended.notify_all();
    const bool ended = s.frame_ended.wait_for(held, patience, [&] { return !busy(); });
    if (mine)
        mine->waits--;
    s.frame_waiters--;
    return ended;
}

// ---- the main queue ----

void one_call_less(state_t &s)
{
    if (--s.calls < queue_limit / 2)
        s.full_told = false;
}

// Runs one piece out of the present lines; false when there is none.
bool run_one(state_t &s, guard &held)
{
    waiting *w = nullptr;
    for (line &l : s.present)
        if ((w = l.first))
            break;
    if (!w)
        return false;
    line::take(w);
    if (w->kind == entry::qelem) {
        const auto fn = static_cast<qelem_part *>(w)->fn;
        void *owner = w->owner;
        run_framed(s, held, s.main_side, owner, w, [=] { fn(owner); });
        return true; // w may be gone
    }
    auto *call = static_cast<deferred_call *>(w);
    leave(s, call);
    one_call_less(s);
    run_framed(s, held, s.main_side, call->owner, call,
               [=] { call->fn(call->owner, call->s, call->argc, call->argv()); });
    std::free(call);
    return true;
}

void put(state_t &s, waiting *w, line_rank rank)
{
    s.coming[rank].push(w);
    s.main_wakes.notify_one();
}

long post_call(void *x, zan_method fn, symbol *sel, long argc, atom *argv, line_rank rank)
{
    if (!fn)
        return zan_err_invalid_ptr;
    if (!argv || argc < 0)
        argc = 0;
    const auto run = reinterpret_cast<zan_deferred>(fn);
    if (zan::on_main_thread()) {
        run(x, sel, argc, argv);
        return zan_err_none;
    }
    state_t &s = state();
    void *memory = std::malloc(sizeof(deferred_call) + size_t(argc) * sizeof(atom));
    if (!memory)
        return zan_err_out_of_mem;
    auto *call = new (memory) deferred_call;
    call->owner = x;
    call->fn = run;
    call->s = sel;
    call->argc = argc;
    if (argc)
        std::memcpy(call->argv(), argv, size_t(argc) * sizeof(atom));
    bool tell = false;
    {
        guard held(s.lock);
        if (s.calls < queue_limit) {
            s.calls++;
            enter(s, call);
            put(s, call, rank);
            return zan_err_none;
        }
        tell = !std::exchange(s.full_told, true);
    }
    std::free(call);
    if (tell)
        object_error(looks_live(x) ? x : nullptr,
                     "the main thread's queue is full (%ld calls wait): what comes now is dropped", queue_limit);
    return zan_err_generic;
}

void qelem_release(qelem_object *q)
{
    state_t &s = state();
    guard held(s.lock);
    unset(&q->part);
    leave(s, &q->part);
    wait_for_frames(s, held, [q](const frame &f) { return f.source == &q->part; });
}

// ---- the scheduler ----

// Takes the first request in order of their coming.
void serve_requests(state_t &s, guard &held)
{
    while (state_t::request *r = s.requests) {
        s.requests = r->next;
        run_framed(s, held, s.scheduler_side, nullptr, nullptr, [r] { r->fn(r->arg); });
        r->done = true;
        s.request_done.notify_all();
    }
}

void *scheduler_main(void *)
{
    is_scheduler = true;
    pthread_setname_np(pthread_self(), "scheduler");
    state_t &s = state();
    guard held(s.lock);
    for (;;) {
        serve_requests(s, held);
        if (s.scheduler_ends)
            break;
        if (s.clocks.empty()) {
            s.scheduler_wakes.wait(held);
            continue;
        }
        const auto first = s.clocks.begin();
        if (first->first.first > steady::now()) {
            const auto until = first->first.first;
            s.scheduler_wakes.wait_until(held, until);
            continue;
        }
        clock_part *c = first->second;
        unset(s, c);
        const auto fn = c->fn;
        void *owner = c->owner;
        run_framed(s, held, s.scheduler_side, owner, c, [=] { fn(owner); });
    }
    s.scheduler_ended = true;
    s.request_done.notify_all();
    return nullptr;
}

void run_quit_tasks(state_t &s)
{
    guard held(s.lock);
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
void end_scheduler(state_t &s, bool exiting)
{
    guard held(s.lock);
    if (!s.scheduler_runs || is_scheduler)
        return;
    s.scheduler_ends = true;
    s.scheduler_wakes.notify_all();
    const auto ended = [&s] { return s.scheduler_ended; };
    if (is_main())
        s.main_side.waits++;
    s.frame_ended.notify_all();
    if (!exiting)
        s.request_done.wait(held, ended);
    else
        s.request_done.wait_for(held, patience, ended);
    if (is_main())
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
    run_quit_tasks(state());
    end_scheduler(state(), true);
}

void need_exit_hook(state_t &s)
{
    if (!std::exchange(s.at_exit_set, true))
        std::atexit(at_process_exit);
}

bool need_scheduler(state_t &s)
{
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
    state_t &s = state();
    guard held(s.lock);
    unset(s, &c->part);
    leave(s, &c->part);
    wait_for_frames(s, held, [c](const frame &f) { return f.source == &c->part; });
}

// An object of one of the two classes, else null: bad pointers do nothing.
template <class T> T *as(void *x, zan_class *c)
{
    return looks_live(x) && object_class(x) == c ? static_cast<T *>(x) : nullptr;
}

template <class T, class Part>
void *make(zan_class *c, Part T::*member, entry::kind_t kind, void *x, void (*fn)(void *))
{
    if (!fn)
        return nullptr;
    auto *made = static_cast<T *>(object_alloc(c));
    if (!made)
        return nullptr;
    auto *part = new (&(made->*member)) Part;
    part->kind = kind;
    part->owner = x;
    part->fn = fn;
    state_t &s = state();
    guard held(s.lock);
    enter(s, part);
    return made;
}

zan_class *class_of(zan_class *state_t::*which)
{
    zan::boot();
    return state().*which;
}

} // namespace

namespace zan {

bool on_main_thread()
{
    const void *named = main_mark.load(std::memory_order_acquire);
    return !named || named == &thread_mark;
}

void init_queue_classes()
{
    const auto make_class = [](const char *name, auto release, long size) {
        zan_class *c = class_new(name, nullptr, reinterpret_cast<zan_method>(+release), size, nullptr, 0);
        class_register(nobox(), c);
        return c;
    };
    state_t &s = state();
    s.clock_class = make_class("clock", clock_release, sizeof(clock_object));
    s.qelem_class = make_class("qelem", qelem_release, sizeof(qelem_object));
}

void queue_forget(object *x)
{
    state_t &s = state();
    guard held(s.lock);
    for (auto at = s.owned.find(x); at != s.owned.end(); at = s.owned.find(x)) {
        entry *e = at->second;
        leave(s, e);
        e->dead = true;
        if (e->kind == entry::clock) {
            unset(s, static_cast<clock_part *>(e));
            continue;
        }
        unset(static_cast<waiting *>(e));
        if (e->kind == entry::piece) {
            one_call_less(s);
            std::free(static_cast<deferred_call *>(e));
        }
    }
    if (wait_for_frames(s, held, [x](const frame &f) { return f.owner == x; }))
        return;
    held.unlock();
    object_error(x, "freed although a function of it still runs on another thread");
}

} // namespace zan

extern "C" {

// ---- clocks ----

void *clock_new(void *x, void (*fn)(void *))
{
    return make(class_of(&state_t::clock_class), &clock_object::part, entry::clock, x, fn);
}

void clock_fdelay(void *x, double ms)
{
    state_t &s = state();
    auto *c = as<clock_object>(x, s.clock_class);
    if (!c)
        return;
    constexpr double year = 365.25 * 86400e3; // no delay is longer, so that no sum overflows
    const double wait = ms > 0 ? std::min(ms, year) : 0;
    const auto due = steady::now() +
                     std::chrono::duration_cast<steady::duration>(std::chrono::duration<double, std::milli>(wait));
    bool runs = true;
    {
        guard held(s.lock);
        unset(s, &c->part);
        if (c->part.dead)
            return;
        c->part.due = {due, s.clock_serial++};
        c->part.set = true;
        const auto at = s.clocks.emplace(c->part.due, &c->part).first;
        runs = need_scheduler(s);
        if (at == s.clocks.begin())
            s.scheduler_wakes.notify_one();
    }
    if (!runs)
        object_error(nullptr, "the scheduler's thread can't be started: clocks don't run");
}

void clock_delay(void *clock, long ms)
{
    clock_fdelay(clock, double(ms));
}

void clock_unset(void *x)
{
    state_t &s = state();
    if (auto *c = as<clock_object>(x, s.clock_class)) {
        guard held(s.lock);
        unset(s, &c->part);
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
    state_t &s = state();
    guard held(s.lock);
    const bool from_main = is_main();
    s.request_done.wait(held, [&s] { return !s.scheduler_ends; });
    if (!need_scheduler(s)) {
        held.unlock();
        object_error(nullptr, "the scheduler's thread can't be started");
        return;
    }
    state_t::request mine{fn, arg, false, nullptr};
    state_t::request **last = &s.requests;
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

// ---- qelems and deferred calls ----

void *qelem_new(void *x, void (*fn)(void *))
{
    return make(class_of(&state_t::qelem_class), &qelem_object::part, entry::qelem, x, fn);
}

void qelem_set(void *x)
{
    state_t &s = state();
    if (auto *q = as<qelem_object>(x, s.qelem_class)) {
        guard held(s.lock);
        if (!q->part.in && !q->part.dead)
            put(s, &q->part, low_rank);
    }
}

void qelem_front(void *x)
{
    state_t &s = state();
    if (auto *q = as<qelem_object>(x, s.qelem_class)) {
        guard held(s.lock);
        waiting *w = &q->part;
        if (w->dead || w->in == &s.coming[front_rank] || w->in == &s.present[front_rank])
            return;
        if (!w->in) {
            put(s, w, front_rank);
            return;
        }
        // one that the service under way would still have run is run by it all the same
        line &front = (w->in == &s.present[low_rank] ? s.present : s.coming)[front_rank];
        line::take(w);
        front.push(w);
    }
}

void qelem_unset(void *x)
{
    state_t &s = state();
    if (auto *q = as<qelem_object>(x, s.qelem_class)) {
        guard held(s.lock);
        unset(&q->part);
    }
}

void qelem_free(void *x)
{
    if (as<qelem_object>(x, state().qelem_class))
        object_free(x);
}

long defer(void *x, zan_method fn, symbol *s, long argc, atom *argv)
{
    return post_call(x, fn, s, argc, argv, defer_rank);
}

long defer_low(void *x, zan_method fn, symbol *s, long argc, atom *argv)
{
    return post_call(x, fn, s, argc, argv, low_rank);
}

// ---- start and stop ----

void zan_start(void)
{
    zan::boot();
    const void *none = nullptr;
    if (stopped.exchange(false))
        main_mark.store(&thread_mark, std::memory_order_release);
    else
        main_mark.compare_exchange_strong(none, &thread_mark);
}

long zan_service(void)
{
    if (!zan::on_main_thread()) {
        object_error(nullptr, "zan_service was called on a thread that isn't the main one");
        return 0;
    }
    state_t &s = state();
    guard held(s.lock);
    for (int rank = 0; rank < rank_count; rank++)
        s.present[rank].append(s.coming[rank]);
    long count = 0;
    while (run_one(s, held))
        count++;
    return count;
}

void zan_run(void)
{
    if (!zan::on_main_thread()) {
        object_error(nullptr, "zan_run was called on a thread that isn't the main one");
        return;
    }
    state_t &s = state();
    for (;;) {
        zan_service();
        guard held(s.lock);
        const auto waits = [&s] {
            return std::any_of(s.coming, s.coming + rank_count, [](const line &l) { return l.first; });
        };
        s.main_wakes.wait(held, [&] { return s.quit || waits(); });
        if (std::exchange(s.quit, false))
            return;
    }
}

void zan_quit(void)
{
    state_t &s = state();
    guard held(s.lock);
    s.quit = true;
    s.main_wakes.notify_all();
}

void zan_stop(void)
{
    if (is_scheduler) {
        object_error(nullptr, "zan_stop was called on the scheduler thread, which it ends");
        return;
    }
    run_quit_tasks(state());
    end_scheduler(state(), false);
    stopped.store(true, std::memory_order_release);
}

void quittask_install(zan_method fn, void *arg)
{
    if (!fn)
        return;
    state_t &s = state();
    guard held(s.lock);
    need_exit_hook(s);
    s.quit_tasks.emplace_back(fn, arg);
}

} // extern "C"
