// Outlets, inlet proxies and patch cords: how a message goes from box to box.
//
// Edits (outlets, proxies, cords made and deleted) take one lock. A message takes
// none: it reads its outlet's list of cords, which an edit never changes but
// replaces. What an edit took out stays in memory until no message is on its way
// anywhere; a cord that was cut meanwhile is marked, and nothing goes through it.
#include "nesting.h"
#include "profile.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <new>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

using zan::looks_live;

constexpr int depth_limit = 1000; // boxes that one message may be nested in
// Messages of one event after which it is looked whether it goes round a loop. One that
// sends several for each that comes may keep above the depth limit for ever.
constexpr long event_limit = 1L << 20;
constexpr long typed_inlets = 10; // in1 to in9 and ft1 to ft9

struct outlet_object;
struct proxy_object;

// An inlet that a proxy made; shared by the cords that end there.
struct port {
    object *box;
    long inlet;
    std::atomic<long *> stuffloc; // null when the proxy has gone
};

struct cord {
    outlet_object *from;
    object *to;
    long inlet;
    port *at; // null for the left inlet and for typed ones
    std::atomic<bool> live{true};
};

// The cords of an outlet in the order of sending. Never changed once published.
struct cord_list {
    long count;
    cord *cords[1];
};

struct outlet_object {
    object header;
    object *box; // null while the box is being taken down
    symbol *type;
    std::atomic<cord_list *> cords;
};

struct proxy_object {
    object header;
    port *at;
};

// What the cords know of a box.
struct node {
    std::vector<outlet_object *> outlets; // from the left
    std::vector<proxy_object *> proxies;
    std::vector<cord *> in;
};

struct litter {
    void *what;
    void (*discard)(void *);
};

struct state_t {
    std::mutex lock; // for edits
    std::unordered_map<object *, node> nodes;
    std::vector<litter> litters;
    zan_class *outlet_class = nullptr;
    zan_class *proxy_class = nullptr;
    symbol *bang = gensym("bang"), *an_int = gensym("int"), *a_float = gensym("float"), *list = gensym("list");
    symbol *in[typed_inlets], *ft[typed_inlets];

    state_t()
    {
        for (long i = 0; i < typed_inlets; i++) {
            in[i] = gensym(("in" + std::to_string(i)).c_str());
            ft[i] = gensym(("ft" + std::to_string(i)).c_str());
        }
    }
};

const void *outlet_methods; // what tells an outlet from other objects

// Never destroyed: other threads may still send while the process exits.
state_t &state()
{
    static state_t *s = new state_t;
    return *s;
}

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

// Keeps what edits take out in memory for the outermost message of a thread.
class passage {
  public:
    passage()
    {
        if (!here.stack_floor)
            here.stack_floor = zan::find_stack_floor();
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

// ---- what a message becomes at a box ----

zan_messlist *public_message(object *box, symbol *sel)
{
    zan_messlist *m = zan::find_entry(box, sel);
    return m && m->types[0] != argtype_cant ? m : nullptr;
}

zan_word call(object *box, zan_messlist *m, symbol *sel, long argc, atom *argv)
{
    if (m->types[0] == argtype_gimme) {
        // a class may replace its method while messages travel
        const zan_method fn = std::atomic_ref<zan_method>(m->function).load(std::memory_order_acquire);
        return reinterpret_cast<zan_word (*)(void *, symbol *, long, atom *)>(fn)(box, sel, argc, argv);
    }
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

// The method of a box for numbers at an inlet without a proxy: in1 and its like for
// integers, ft1 for floats; either takes both.
zan_messlist *typed_inlet(object *box, long inlet, bool is_float)
{
    if (inlet < 1 || inlet >= typed_inlets)
        return nullptr;
    const state_t &s = state();
    zan_messlist *m = object_mess(box, is_float ? s.ft[inlet] : s.in[inlet]);
    return m ? m : object_mess(box, is_float ? s.in[inlet] : s.ft[inlet]);
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

// ---- the way there ----

// Whether the message and all that belongs to its event is dropped: always with a depth,
// which is said to be too much, else when it goes round a loop.
__attribute__((noinline, cold)) bool overflow(object *box, symbol *sel, int depth)
{
    std::vector<object *> boxes{box};
    for (const delivery *d = here.top; d; d = d->outer)
        boxes.push_back(d->box);
    return here.overflowed = zan::tell_nesting(boxes, sel, depth);
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
    const zan::profiled time(box, sel, argc, argv);
    delivery d{box, inlet, t.top};
    t.top = &d;
    zan_word r = 0;
    if (at) {
        if (long *place = at->stuffloc.load(std::memory_order_acquire))
            __atomic_store_n(place, inlet, __ATOMIC_RELAXED);
        r = handle(box, sel, argc, argv);
        t.top = d.outer;
        // the box may have gone; its port stays while messages travel
        if (long *place = at->stuffloc.load(std::memory_order_acquire))
            __atomic_store_n(place, proxy_getinlet(box), __ATOMIC_RELAXED);
    } else {
        r = inlet ? handle_typed(box, inlet, sel, argc, argv) : handle(box, sel, argc, argv);
        t.top = d.outer;
    }
    if (result)
        *result = r;
    return true;
}

outlet_object *as_outlet(void *x)
{
    object *o = zan::live(x);
    return o && o->messlist == outlet_methods ? static_cast<outlet_object *>(x) : nullptr;
}

// ---- edits; all with the lock held ----

void discard(state_t &s, void *what, void (*fn)(void *))
{
    s.litters.push_back({what, fn});
    littered.store(true);
}

std::vector<cord *> cords_of(const outlet_object *o)
{
    const cord_list *l = o->cords.load(std::memory_order_relaxed);
    return l ? std::vector<cord *>(l->cords, l->cords + l->count) : std::vector<cord *>();
}

void publish(state_t &s, outlet_object *o, const std::vector<cord *> &cords)
{
    cord_list *fresh = nullptr;
    if (!cords.empty()) {
        void *memory = ::operator new(sizeof(cord_list) + cords.size() * sizeof(cord *));
        fresh = new (memory) cord_list{long(cords.size()), {}};
        std::copy(cords.begin(), cords.end(), fresh->cords);
    }
    if (cord_list *old = o->cords.exchange(fresh, std::memory_order_seq_cst))
        discard(s, old, [](void *p) { ::operator delete(p); });
}

void cut(state_t &s, cord *c)
{
    c->live.store(false, std::memory_order_release);
    std::vector<cord *> rest = cords_of(c->from);
    std::erase(rest, c);
    publish(s, c->from, rest);
    if (const auto to = s.nodes.find(c->to); to != s.nodes.end())
        std::erase(to->second.in, c);
    discard(s, c, [](void *p) { delete static_cast<cord *>(p); });
}

void cut_all(state_t &s, const std::vector<cord *> &cords)
{
    for (cord *c : cords)
        cut(s, c);
}

node &node_of(state_t &s, object *box)
{
    zan::mark_state(box, zan::state_has_cords);
    return s.nodes[box];
}

void take_outlet_down(state_t &s, outlet_object *o)
{
    cut_all(s, cords_of(o));
    if (const auto n = s.nodes.find(o->box); n != s.nodes.end())
        std::erase(n->second.outlets, o);
    o->box = nullptr;
}

void take_port_down(state_t &s, proxy_object *p)
{
    port *at = p->at;
    p->at = nullptr;
    at->stuffloc.store(nullptr, std::memory_order_release);
    if (const auto n = s.nodes.find(at->box); n != s.nodes.end()) {
        std::erase(n->second.proxies, p);
        const std::vector<cord *> in = n->second.in;
        for (cord *c : in)
            if (c->at == at)
                cut(s, c);
    }
    discard(s, at, [](void *q) { delete static_cast<port *>(q); });
}

// The free functions of the two classes.
void outlet_release(outlet_object *o)
{
    state_t &s = state();
    std::unique_lock held(s.lock);
    if (o->box)
        take_outlet_down(s, o);
    sweep(held);
}

void proxy_release(proxy_object *p)
{
    state_t &s = state();
    std::unique_lock held(s.lock);
    if (p->at)
        take_port_down(s, p);
    sweep(held);
}

enum class place { left, right, behind };

// `after` may be any pointer: it is only compared with the outlets there are.
void *make_outlet(void *box, place where, void *after, const char *type)
{
    zan::boot();
    if (!looks_live(box))
        return nullptr;
    state_t &s = state();
    auto *o = static_cast<outlet_object *>(object_alloc(s.outlet_class));
    if (!o)
        return nullptr;
    o->box = static_cast<object *>(box);
    o->type = type ? gensym(type) : nullptr;
    std::unique_lock held(s.lock);
    auto &outlets = node_of(s, o->box).outlets;
    auto at = where == place::left ? outlets.begin() : outlets.end();
    if (where != place::left && after)
        if (const auto found = std::find(outlets.begin(), outlets.end(), after); found != outlets.end())
            at = found + 1;
    if (where == place::behind && !after)
        at = outlets.begin();
    outlets.insert(at, o);
    return o;
}

void *make_proxy(void *box, long id, long *stuffloc)
{
    zan::boot();
    if (!looks_live(box) || id < 0)
        return nullptr;
    state_t &s = state();
    auto *p = static_cast<proxy_object *>(object_alloc(s.proxy_class));
    if (!p)
        return nullptr;
    p->at = new port{static_cast<object *>(box), id, stuffloc};
    std::unique_lock held(s.lock);
    node_of(s, p->at->box).proxies.push_back(p);
    return p;
}

port *find_port(const node &n, long inlet)
{
    for (auto p = n.proxies.rbegin(); p != n.proxies.rend(); ++p)
        if ((*p)->at->inlet == inlet)
            return (*p)->at;
    return nullptr;
}

// An outlet of a box by its number, or null.
outlet_object *find_outlet(state_t &s, void *box, long index)
{
    const auto n = s.nodes.find(static_cast<object *>(box));
    if (n == s.nodes.end() || index < 0 || index >= long(n->second.outlets.size()))
        return nullptr;
    return n->second.outlets[size_t(index)];
}

} // namespace

namespace zan {

void init_outlet_classes()
{
    const auto make_class = [](const char *name, auto release, long size) {
        zan_class *c = class_new(name, nullptr, reinterpret_cast<zan_method>(+release), size, nullptr, 0);
        class_register(nobox(), c);
        return c;
    };
    state_t &s = state();
    s.outlet_class = make_class("outlet", outlet_release, sizeof(outlet_object));
    outlet_methods = s.outlet_class->methods;
    s.proxy_class = make_class("proxy", proxy_release, sizeof(proxy_object));
}

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

void cords_forget(object *x)
{
    state_t &s = state();
    std::vector<void *> orphans;
    {
        std::unique_lock held(s.lock);
        const auto at = s.nodes.find(x);
        if (at == s.nodes.end())
            return;
        cut_all(s, std::vector<cord *>(at->second.in));
        for (outlet_object *o : std::vector<outlet_object *>(at->second.outlets)) {
            take_outlet_down(s, o);
            orphans.push_back(o);
        }
        for (proxy_object *p : std::vector<proxy_object *>(at->second.proxies)) {
            take_port_down(s, p);
            orphans.push_back(p);
        }
        s.nodes.erase(at);
        sweep(held);
    }
    for (void *o : orphans)
        object_free(o);
}

bool has_inlet(object *box, long inlet)
{
    if (inlet == 0 || typed_inlet(box, inlet, false))
        return true;
    state_t &s = state();
    const std::unique_lock held(s.lock);
    const auto n = s.nodes.find(box);
    return n != s.nodes.end() && find_port(n->second, inlet);
}

} // namespace zan

extern "C" {

long zan_inlet_count(void *x)
{
    if (!looks_live(x))
        return 0;
    long count = 1;
    while (zan::has_inlet(static_cast<object *>(x), count))
        count++;
    return count;
}

void *outlet_new(void *box, const char *type)
{
    return make_outlet(box, place::left, nullptr, type);
}

void *outlet_append(void *box, void *after, const char *type)
{
    return make_outlet(box, place::right, after, type);
}

void *outlet_insert_after(void *box, void *after, const char *type)
{
    return make_outlet(box, place::behind, after, type);
}

void outlet_delete(void *outlet)
{
    if (as_outlet(outlet))
        object_free(outlet);
}

void *outlet_nth(void *box, long index)
{
    state_t &s = state();
    std::unique_lock held(s.lock);
    return find_outlet(s, box, index);
}

long outlet_count(void *box)
{
    state_t &s = state();
    std::unique_lock held(s.lock);
    const auto n = s.nodes.find(static_cast<object *>(box));
    return n == s.nodes.end() ? 0 : long(n->second.outlets.size());
}

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

void *proxy_new(void *box, long id, long *stuffloc)
{
    return make_proxy(box, id, stuffloc);
}

void *proxy_append(void *box, long id, long *stuffloc)
{
    return make_proxy(box, id, stuffloc);
}

void proxy_delete(void *proxy)
{
    if (looks_live(proxy) && object_class(proxy) == state().proxy_class)
        object_free(proxy);
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

long zan_connect(void *src, long outlet, void *dst, long inlet)
{
    zan::boot();
    if (!looks_live(src) || !looks_live(dst))
        return zan_err_invalid_ptr;
    auto *to = static_cast<object *>(dst);
    const bool typed = typed_inlet(to, inlet, false);
    state_t &s = state();
    std::unique_lock held(s.lock);
    outlet_object *from = find_outlet(s, src, outlet);
    if (!from || inlet < 0)
        return zan_err_generic;
    port *at = nullptr;
    if (inlet) {
        const auto n = s.nodes.find(to);
        at = n == s.nodes.end() ? nullptr : find_port(n->second, inlet);
        if (!at && !typed)
            return zan_err_generic;
    }
    std::vector<cord *> cords = cords_of(from);
    for (const cord *c : cords)
        if (c->to == to && c->inlet == inlet)
            return zan_err_duplicate;
    auto *fresh = new cord{from, to, inlet, at};
    // in the order of making, but a box hears at its right inlets first
    cords.insert(
        std::find_if(cords.begin(), cords.end(), [=](const cord *c) { return c->to == to && c->inlet < inlet; }),
        fresh);
    publish(s, from, cords);
    node_of(s, to).in.push_back(fresh);
    sweep(held);
    return zan_err_none;
}

long zan_disconnect(void *src, long outlet, void *dst, long inlet)
{
    if (!looks_live(src) || !looks_live(dst))
        return zan_err_invalid_ptr;
    state_t &s = state();
    std::unique_lock held(s.lock);
    if (outlet_object *from = find_outlet(s, src, outlet))
        for (cord *c : cords_of(from))
            if (c->to == dst && c->inlet == inlet) {
                cut(s, c);
                sweep(held);
                return zan_err_none;
            }
    return zan_err_generic;
}

} // extern "C"
