// What the main thread's queue and the scheduler share: what can wait, for whom, and
// one state with one lock.
//
// The lock is never held while anybody's function runs. What waits (a deferred call, a
// qelem, a clock) is entered under the object it is for, so that it goes when the
// object goes. A function that is running has a frame, by which a thread that frees
// its object knows to wait for its end.
#pragma once
#include "profile.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <pthread.h>
#include <unordered_map>
#include <utility>
#include <vector>

namespace zan {

using steady = std::chrono::steady_clock;

// Something that waits on behalf of an object.
struct entry {
    void *owner = nullptr;           // what the function is called with
    const zan_place *from = nullptr; // of the box at work when it was queued or set
    bool tracked = false;            // owner is an object and the entry stands in `owned`
    bool dead = false;               // owner was an object and has gone: nothing is set any more
    entry *older = nullptr;          // entries of the same owner
    entry *newer = nullptr;
    long queue; // zan_queue_...
    explicit entry(long which) : queue(which) {}
};

struct line;

// Something that waits on the main queue.
struct waiting : entry {
    line *in = nullptr; // the line it stands in, or null
    waiting *before = nullptr;
    waiting *behind = nullptr;
    using entry::entry;
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

using clock_key = std::pair<steady::time_point, uint64_t>; // same times in order of setting

struct clock_part : entry {
    void (*fn)(void *) = nullptr;
    bool set = false;
    clock_key due;
    clock_part() : entry(zan_queue_clock) {}
};

// A function that runs now, on the main or on the scheduler thread.
struct frame {
    const void *owner;
    const entry *source; // the clock or qelem, which may be freed on its own
    bool clocked;        // it is a clock
    frame *outer;
};

enum line_rank { front_rank, defer_rank, low_rank, rank_count };

struct main_or_scheduler {
    frame *frames = nullptr;
    int waits = 0;      // it waits for the other one and so can't be waited for
    uint64_t wants = 0; // since when it waits for its turn, counted up; or 0
};

// What one queue holds now and has seen.
struct queue_count : zan_queue_info {
    bool full_told = false;
    queue_count() : zan_queue_info{0, 0, 0, 0, 65536} {}
    // Room for one more, which is taken then. *tell: this is the first that finds none.
    bool take(bool *tell)
    {
        if (waiting >= limit) {
            dropped++;
            *tell = !std::exchange(full_told, true);
            return false;
        }
        if (++waiting > most)
            most = waiting;
        return true;
    }
    void give_back()
    {
        if (--waiting < limit / 2)
            full_told = false;
    }
};

struct queue_state {
    std::mutex lock;
    std::condition_variable main_wakes; // the main loop
    std::condition_variable scheduler_wakes;
    std::condition_variable frame_ended; // also: somebody began to wait
    std::condition_variable request_done;

    std::unordered_map<void *, entry *> owned; // object -> its newest entry
    queue_count counts[zan_queue_kinds];

    line coming[rank_count];  // for the next zan_service
    line present[rank_count]; // what the one under way has still to run
    bool quit = false;

    std::map<clock_key, clock_part *> clocks;
    uint64_t clock_serial = 0;
    struct request {
        void (*fn)(void *);
        void *arg;
        bool done;
        request *next;
    } *requests = nullptr;
    bool held = false;         // no clock's function may begin, by zan_hold
    int rests = 0;             // nor while there is a scheduler_at_rest
    bool kept_by_rest = false; // the scheduler waits for its end
    bool scheduler_runs = false;
    bool scheduler_ends = false;
    bool scheduler_ended = false;
    pthread_t scheduler_id{};

    main_or_scheduler main_side;
    main_or_scheduler scheduler_side;
    uint64_t turns_wanted = 0;
    int frame_waiters = 0;

    std::vector<std::pair<zan_method, void *>> quit_tasks;
    bool at_exit_set = false;

    zan_class *clock_class = nullptr;
    zan_class *qelem_class = nullptr;
};
queue_state &queues(); // never destroyed: other threads may still use it while the process exits

using queue_guard = std::unique_lock<std::mutex>;

// The calling thread runs the scheduler's functions (scheduler.cpp).
bool on_scheduler();

// The rest of this header is called with the lock held.

// An entry's owner, when that is an object, from now on knows of the entry; it forgets.
void enter(queue_state &s, entry *e);
void leave(queue_state &s, entry *e);
void unset(queue_state &s, waiting *w);
void unset(queue_state &s, clock_part *c);
// Runs all that waits on the main queue now, and not what comes meanwhile; how much.
long serve_main(queue_state &s, queue_guard &held);
bool main_has_work(const queue_state &s);

// Runs a function without the lock, inside a frame.
template <class Fn>
void run_framed(queue_state &s, queue_guard &held, main_or_scheduler &side, const void *owner, const entry *source,
                const zan_place *from, Fn fn)
{
    frame f{owner, source, source && source->queue == zan_queue_clock, side.frames};
    side.frames = &f;
    held.unlock();
    {
        const queued_work mark(from);
        const profiled time(const_cast<void *>(owner), from);
        fn();
    }
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
template <class Match> bool wait_for_frames(queue_state &s, queue_guard &held, Match match)
{
    main_or_scheduler *mine = on_scheduler() ? &s.scheduler_side : is_named_main() ? &s.main_side : nullptr;
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

// Clocks' functions and the pieces of the main queue reach the same boxes, which nothing
// locks: so they take turns. Waits until the other side's function has ended, and for no
// longer than `patience`, as that one may wait for what this thread does next.
void take_turn(queue_state &s, queue_guard &held);

// What makes clocks and qelems, which are objects with their part in place.
template <class T, class Part> void *make_queued(zan_class *c, Part T::*member, void *x, void (*fn)(void *))
{
    if (!fn)
        return nullptr;
    auto *made = static_cast<T *>(object_alloc(c));
    if (!made)
        return nullptr;
    auto *part = new (&(made->*member)) Part;
    part->owner = x;
    part->fn = fn;
    queue_state &s = queues();
    const queue_guard held(s.lock);
    enter(s, part);
    return made;
}

// An object of one of the two classes, else null: bad pointers do nothing.
template <class T> T *as_queued(void *x, zan_class *c)
{
    return looks_live(x) && object_class(x) == c ? static_cast<T *>(x) : nullptr;
}

} // namespace zan
