// How a message goes from box to box: through the cords of an outlet or straight to an
// inlet, what it becomes at a box that knows another form of it, and where its sender is.
#include "nesting.h"
#include "outlets.h"
#include "profile.h"

#include <exception>
#include <optional>

namespace zan::cords {
namespace {

constexpr int depth_limit = 1000; // boxes that one message may be nested in
// Messages of one event after which it is looked whether it goes round a loop. One that
// sends several for each that comes may keep above the depth limit for ever.
constexpr long event_limit = 1L << 20;

// Threads with a message on its way, and whether litter lies about. One who brings the
// first to 0 sweeps. Both are read and written in one order with the lists' addresses:
// an edit that finds 0 knows that every later message sees the new list.
std::atomic<int> travelling{0};
std::atomic<bool> littered{false};

// A message that is being handled by a box.
struct delivery {
    object *box;
    long inlet;
    delivery *outer;
};

struct travel {
    const char *stack_floor = nullptr; // no message is delivered below it
    delivery *top = nullptr;
    int depth = 0;
    long delivered = 0;              // messages since the outermost one
    bool overflowed = false;         // the limit was met: drop everything until all have returned
    const zan_place *from = nullptr; // where the queued function that runs now comes from
};
// the initial-exec model costs one instruction where a call would be; the record is small
__attribute__((tls_model("initial-exec"))) thread_local travel here;

// Keeps what edits take out in memory for the outermost message of a thread.
class passage {
  public:
    passage()
    {
        if (!here.stack_floor)
            here.stack_floor = find_stack_floor();
        if (here.depth++ == 0)
            travelling.fetch_add(1, std::memory_order_seq_cst);
    }
    ~passage()
    {
        if (--here.depth == 0) {
            here.overflowed = false;
            here.delivered = 0;
            if (travelling.fetch_sub(1, std::memory_order_seq_cst) == 1 && littered.load()) {
                std::unique_lock held(state().lock);
                sweep(held);
            }
        }
    }
    passage(const passage &) = delete;
    passage &operator=(const passage &) = delete;
};

} // namespace

zan_messlist *typed_inlet(object *box, long inlet, bool is_float)
{
    if (inlet < 1 || inlet >= typed_inlets)
        return nullptr;
    const state_t &s = state();
    zan_messlist *m = object_mess(box, is_float ? s.ft[inlet] : s.in[inlet]);
    return m ? m : object_mess(box, is_float ? s.in[inlet] : s.ft[inlet]);
}

void discard(state_t &s, void *what, void (*fn)(void *))
{
    s.litters.push_back({what, fn});
    littered.store(true);
}

void sweep(std::unique_lock<std::mutex> &held)
{
    if (travelling.load(std::memory_order_seq_cst) != 0)
        return;
    std::vector<litter> all;
    all.swap(state().litters);
    littered.store(false, std::memory_order_relaxed);
    held.unlock();
    for (const litter &l : all)
        l.discard(l.what);
    held.lock();
}

namespace {

// ---- what a message becomes at a box ----

zan_messlist *public_message(object *box, symbol *sel)
{
    zan_messlist *m = find_entry(box, sel);
    return m && m->types[0] != argtype_cant ? m : nullptr;
}

zan_word call(object *box, zan_messlist *m, symbol *sel, long argc, atom *argv)
{
    if (m->types[0] == argtype_gimme)
        return as<zan_word (*)(void *, symbol *, long, atom *)>(entry_function(m))(box, sel, argc, argv);
    return object_method_typedfun(box, m, sel, argc, argv, nullptr);
}

// A number for a box that may know only the other kind, or only lists. False when it
// knows none of them.
bool try_number(object *box, const atom &a, zan_word &result)
{
    const state_t &s = state();
    const bool is_int = a.type == argtype_long;
    for (symbol *sel : {is_int ? s.an_int : s.a_float, is_int ? s.a_float : s.an_int, s.list})
        if (zan_messlist *m = public_message(box, sel)) {
            atom value = a;
            if (sel == s.an_int)
                atom_setlong(&value, atom_getlong(&a));
            else if (sel == s.a_float)
                atom_setfloat(&value, atom_getfloat(&a));
            result = call(box, m, sel, 1, &value);
            return true;
        }
    return false;
}

// A message that the box has no method for: another form of a number or of a list; else
// an attribute, the method "anything" or the error, as with any message.
zan_word handle_other(object *box, symbol *sel, long argc, atom *argv)
{
    const state_t &s = state();
    zan_word result = 0;
    const bool listed = sel == s.list;
    const bool numbered = argc > 0 && (argv->type == argtype_long || argv->type == argtype_float);
    if (numbered && (listed || sel == s.an_int || sel == s.a_float) && try_number(box, *argv, result))
        return result;
    if (listed && argc == 0)
        if (zan_messlist *m = public_message(box, s.bang))
            return call(box, m, s.bang, 0, nullptr);
    if (listed && argc > 0 && argv->type == argtype_sym)
        if (zan_messlist *m = public_message(box, argv->value.as_sym))
            return call(box, m, argv->value.as_sym, argc - 1, argv + 1);
    return typedmess(box, sel, argc, argv);
}

zan_word handle(object *box, symbol *sel, long argc, atom *argv)
{
    if (zan_messlist *m = public_message(box, sel))
        return call(box, m, sel, argc, argv);
    return handle_other(box, sel, argc, argv);
}

zan_word handle_typed(object *box, long inlet, symbol *sel, long argc, atom *argv)
{
    const state_t &s = state();
    const bool numbered = argc > 0 && (argv->type == argtype_long || argv->type == argtype_float);
    if (numbered && (sel == s.an_int || sel == s.a_float || sel == s.list))
        if (zan_messlist *m = typed_inlet(box, inlet, argv->type == argtype_float))
            return call(box, m, m->name, 1, argv);
    object_error(box, "inlet %ld takes numbers, not \"%s\"", inlet, sel->name);
    return 0;
}

// What a box in C++ throws ends its own message, not the thread.
template <class F> zan_word guarded(object *box, symbol *sel, F &&work)
{
    try {
        return work();
    } catch (...) {
        object_error(looks_live(box) ? box : nullptr, "\"%s\" %s", sel->name, told_of_throw().c_str());
        return 0;
    }
}

// ---- the way there ----

// Whether the message and all that belongs to its event is dropped: always with a depth,
// which is said to be too much, else when it goes round a loop.
__attribute__((noinline, cold)) bool overflow(object *box, symbol *sel, int depth)
{
    std::vector<object *> boxes{box};
    for (const delivery *d = here.top; d; d = d->outer)
        boxes.push_back(d->box);
    return here.overflowed = tell_nesting(boxes, sel, depth);
}

// Inside a passage. False when the message is dropped for its depth.
bool deliver(object *box, long inlet, port *at, symbol *sel, long argc, atom *argv, zan_word *result)
{
    travel &t = here;
    if (t.overflowed)
        return false;
    if ((t.depth > depth_limit || static_cast<const char *>(__builtin_frame_address(0)) < t.stack_floor) &&
        overflow(box, sel, std::max(t.depth - 1, 1)))
        return false;
    if (++t.delivered % event_limit == 0 && overflow(box, sel, 0))
        return false;
    const profiled time(box, sel, argc, argv);
    delivery d{box, inlet, t.top};
    t.top = &d;
    zan_word r = 0;
    if (at) {
        if (long *place = at->stuffloc.load(std::memory_order_acquire))
            __atomic_store_n(place, inlet, __ATOMIC_RELAXED);
        r = guarded(box, sel, [&] { return handle(box, sel, argc, argv); });
        t.top = d.outer;
        // the box may have gone; its port stays while messages travel
        if (long *place = at->stuffloc.load(std::memory_order_acquire))
            __atomic_store_n(place, proxy_getinlet(box), __ATOMIC_RELAXED);
    } else {
        r = guarded(box, sel, [&] {
            return inlet ? handle_typed(box, inlet, sel, argc, argv) : handle(box, sel, argc, argv);
        });
        t.top = d.outer;
    }
    if (result)
        *result = r;
    return true;
}

} // namespace
} // namespace zan::cords

using namespace zan;
using namespace zan::cords;

namespace zan {

const zan_place *place_at_work()
{
    for (const delivery *d = here.top; d; d = d->outer)
        if (looks_live(d->box)) // it may be freed by what it handles
            if (const side_record *side = side_of(d->box))
                if (const zan_place *place = side->place.load(std::memory_order_acquire))
                    return place;
    return here.from;
}

queued_work::queued_work(const zan_place *place) : top_(here.top), from_(here.from)
{
    here.top = nullptr;
    here.from = place;
}

queued_work::~queued_work()
{
    here.top = static_cast<delivery *>(top_);
    here.from = from_;
}

} // namespace zan

extern "C" {

zan_word outlet_anything(void *outlet, symbol *sel, long argc, atom *argv)
{
    outlet_object *o = as_outlet(outlet);
    if (!o || !sel)
        return 0;
    const passage p;
    const cord_list *l = o->cords.load(std::memory_order_seq_cst);
    zan_word gone = 1;
    // o itself may go with the first message; the list and its cords stay
    for (long i = 0; l && i < l->count; i++) {
        cord *c = l->cords[i];
        if (c->live.load(std::memory_order_acquire) && !deliver(c->to, c->inlet, c->at, sel, argc, argv, nullptr))
            gone = 0;
    }
    return gone;
}

zan_word outlet_bang(void *outlet)
{
    return outlet_anything(outlet, state().bang, 0, nullptr);
}

zan_word outlet_int(void *outlet, zan_word value)
{
    atom a;
    atom_setlong(&a, value);
    return outlet_anything(outlet, state().an_int, 1, &a);
}

zan_word outlet_float(void *outlet, double value)
{
    atom a;
    atom_setfloat(&a, value);
    return outlet_anything(outlet, state().a_float, 1, &a);
}

zan_word outlet_list(void *outlet, symbol *sel, long argc, atom *argv)
{
    return outlet_anything(outlet, sel ? sel : state().list, argc, argv);
}

long proxy_getinlet(void *box)
{
    for (const delivery *d = here.top; d; d = d->outer)
        if (d->box == box)
            return d->inlet;
    return 0;
}

zan_word zan_send(void *x, long inlet, symbol *sel, long argc, atom *argv)
{
    if (!looks_live(x) || !sel)
        return 0;
    auto *box = static_cast<object *>(x);
    std::optional<scheduler_at_rest> rest;
    if (!here.top) // it comes from outside
        rest.emplace(false);
    const passage p;
    port *at = nullptr;
    if (inlet) {
        {
            state_t &s = state();
            std::unique_lock held(s.lock);
            if (const auto n = s.nodes.find(box); n != s.nodes.end())
                at = find_port(n->second, inlet);
        }
        if (!at && !typed_inlet(box, inlet, false)) {
            object_error(x, "no inlet %ld for \"%s\"", inlet, sel->name);
            return 0;
        }
    }
    zan_word result = 0;
    deliver(box, inlet, at, sel, argc, argv, &result);
    return result;
}

} // extern "C"
