// The main thread's queue: deferred calls and qelems, and how what waits for an object
// goes with it.
#include "queue.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace zan {

queue_state &queues()
{
    static queue_state *s = new queue_state;
    return *s;
}

void enter(queue_state &s, entry *e)
{
    if (!looks_live(e->owner))
        return;
    mark_state(static_cast<object *>(e->owner), state_has_queued);
    entry *&newest = s.owned[e->owner];
    e->tracked = true;
    e->older = newest;
    e->newer = nullptr;
    if (newest)
        newest->newer = e;
    newest = e;
}

void leave(queue_state &s, entry *e)
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

void unset(queue_state &s, waiting *w)
{
    if (w->in) {
        line::take(w);
        s.counts[w->queue].give_back();
    }
}

bool main_has_work(const queue_state &s)
{
    return std::any_of(s.coming, s.coming + rank_count, [](const line &l) { return l.first; });
}

namespace {

struct deferred_call : waiting {
    zan_deferred fn = nullptr;
    symbol *s = nullptr;
    long argc = 0;
    using waiting::waiting;
    atom *argv() { return reinterpret_cast<atom *>(this + 1); }
};
static_assert(sizeof(deferred_call) % alignof(atom) == 0);

struct qelem_part : waiting {
    void (*fn)(void *) = nullptr;
    qelem_part() : waiting(zan_queue_qelem) {}
};

struct qelem_object {
    object header;
    qelem_part part;
};

// Runs one piece out of the present lines; false when there is none.
bool run_one(queue_state &s, queue_guard &held)
{
    const auto first = [&s]() -> waiting * {
        for (const line &l : s.present)
            if (l.first)
                return l.first;
        return nullptr;
    };
    if (!first())
        return false;
    take_turn(s, held);
    waiting *w = first();
    if (!w) // it has gone meanwhile
        return false;
    unset(s, w);
    s.counts[w->queue].passed++;
    void *owner = w->owner;
    if (w->queue == zan_queue_qelem) {
        const auto fn = static_cast<qelem_part *>(w)->fn;
        run_framed(s, held, s.main_side, owner, w, w->from, [=] { fn(owner); });
        return true; // w may be gone
    }
    auto *call = static_cast<deferred_call *>(w);
    leave(s, call);
    run_framed(s, held, s.main_side, owner, call, call->from,
               [=] { call->fn(owner, call->s, call->argc, call->argv()); });
    std::free(call);
    return true;
}

// Into a line, when the queue has room. *tell: it is full, and that is news.
bool put(queue_state &s, waiting *w, line_rank rank, bool *tell)
{
    if (!s.counts[w->queue].take(tell))
        return false;
    s.coming[rank].push(w);
    s.main_wakes.notify_one();
    return true;
}

void tell_full(void *x, long queue, const char *what)
{
    zan_queue_info info;
    zan_queue_get(queue, &info);
    object_error(looks_live(x) ? x : nullptr,
                 "the main thread's queue is full (%ld %s wait): what comes now is dropped", info.limit, what);
}

long post_call(void *x, zan_method fn, symbol *sel, long argc, atom *argv, long queue)
{
    if (!fn)
        return zan_err_invalid_ptr;
    if (!argv || argc < 0)
        argc = 0;
    const auto run = reinterpret_cast<zan_deferred>(fn);
    if (on_main_thread()) {
        run(x, sel, argc, argv);
        return zan_err_none;
    }
    queue_state &s = queues();
    void *memory = std::malloc(sizeof(deferred_call) + size_t(argc) * sizeof(atom));
    if (!memory)
        return zan_err_out_of_mem;
    auto *call = new (memory) deferred_call(queue);
    call->owner = x;
    call->from = place_at_work();
    call->fn = run;
    call->s = sel;
    call->argc = argc;
    if (argc)
        std::memcpy(call->argv(), argv, size_t(argc) * sizeof(atom));
    bool tell = false;
    {
        const queue_guard held(s.lock);
        if (put(s, call, queue == zan_queue_low ? low_rank : defer_rank, &tell)) {
            enter(s, call);
            return zan_err_none;
        }
    }
    std::free(call);
    if (tell)
        tell_full(x, queue, "calls");
    return zan_err_generic;
}

void qelem_release(qelem_object *q)
{
    queue_state &s = queues();
    queue_guard held(s.lock);
    unset(s, &q->part);
    leave(s, &q->part);
    wait_for_frames(s, held, [q](const frame &f) { return f.source == &q->part; });
}

qelem_object *as_qelem(void *x)
{
    return as_queued<qelem_object>(x, queues().qelem_class);
}

// With the lock held.
void set_qelem(queue_state &s, qelem_object *q, line_rank rank, bool *tell)
{
    if (q->part.dead)
        return;
    q->part.from = place_at_work();
    put(s, &q->part, rank, tell);
}

} // namespace

long serve_main(queue_state &s, queue_guard &held)
{
    for (int rank = 0; rank < rank_count; rank++)
        s.present[rank].append(s.coming[rank]);
    long count = 0;
    while (run_one(s, held))
        count++;
    return count;
}

void init_queue_classes()
{
    queue_state &s = queues();
    s.clock_class = make_clock_class();
    s.qelem_class = class_new("qelem", nullptr, erase(qelem_release), sizeof(qelem_object), nullptr, 0);
    class_register(nobox(), s.qelem_class);
}

void queue_forget(object *x)
{
    queue_state &s = queues();
    queue_guard held(s.lock);
    for (auto at = s.owned.find(x); at != s.owned.end(); at = s.owned.find(x)) {
        entry *e = at->second;
        leave(s, e);
        e->dead = true;
        if (e->queue == zan_queue_clock) {
            unset(s, static_cast<clock_part *>(e));
            s.main_wakes.notify_one(); // nothing may be left to wait for
            continue;
        }
        unset(s, static_cast<waiting *>(e));
        if (e->queue != zan_queue_qelem)
            std::free(static_cast<deferred_call *>(e));
    }
    if (wait_for_frames(s, held, [x](const frame &f) { return f.owner == x; }))
        return;
    held.unlock();
    object_error(x, "freed although a function of it still runs on another thread");
}

} // namespace zan

using namespace zan;

extern "C" {

void *qelem_new(void *x, void (*fn)(void *))
{
    boot();
    return make_queued(queues().qelem_class, &qelem_object::part, x, fn);
}

void qelem_set(void *x)
{
    qelem_object *q = as_qelem(x);
    if (!q)
        return;
    queue_state &s = queues();
    bool tell = false;
    {
        const queue_guard held(s.lock);
        if (!q->part.in)
            set_qelem(s, q, low_rank, &tell);
    }
    if (tell)
        tell_full(q->part.owner, zan_queue_qelem, "qelems");
}

void qelem_front(void *x)
{
    qelem_object *q = as_qelem(x);
    if (!q)
        return;
    queue_state &s = queues();
    bool tell = false;
    {
        const queue_guard held(s.lock);
        waiting *w = &q->part;
        if (!w->in)
            set_qelem(s, q, front_rank, &tell);
        else if (w->in != &s.coming[front_rank] && w->in != &s.present[front_rank]) {
            // one that the service under way would still have run is run by it all the same
            line &front = (w->in == &s.present[low_rank] ? s.present : s.coming)[front_rank];
            line::take(w);
            front.push(w);
        }
    }
    if (tell)
        tell_full(q->part.owner, zan_queue_qelem, "qelems");
}

void qelem_unset(void *x)
{
    if (qelem_object *q = as_qelem(x)) {
        queue_state &s = queues();
        const queue_guard held(s.lock);
        unset(s, &q->part);
    }
}

void qelem_free(void *x)
{
    if (as_qelem(x))
        object_free(x);
}

long defer(void *x, zan_method fn, symbol *s, long argc, atom *argv)
{
    return post_call(x, fn, s, argc, argv, zan_queue_defer);
}

long defer_low(void *x, zan_method fn, symbol *s, long argc, atom *argv)
{
    return post_call(x, fn, s, argc, argv, zan_queue_low);
}

long zan_service(void)
{
    if (!on_main_thread()) {
        object_error(nullptr, "zan_service was called on a thread that isn't the main one");
        return 0;
    }
    queue_state &s = queues();
    queue_guard held(s.lock);
    return serve_main(s, held);
}

long zan_queue_get(long queue, zan_queue_info *info)
{
    if (queue < 0 || queue >= zan_queue_kinds || !info)
        return zan_err_generic;
    queue_state &s = queues();
    const queue_guard held(s.lock);
    *info = s.counts[queue];
    return zan_err_none;
}

long zan_queue_set_limit(long queue, long limit)
{
    if (queue < 0 || queue >= zan_queue_kinds || limit < 1)
        return zan_err_generic;
    queue_state &s = queues();
    const queue_guard held(s.lock);
    s.counts[queue].limit = limit;
    return zan_err_none;
}

} // extern "C"
