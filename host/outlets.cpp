// Making and deleting outlets, inlet proxies and patch cords.
#include "outlets.h"

#include <algorithm>
#include <new>

namespace zan::cords {

const void *outlet_methods;

// Never destroyed: other threads may still send while the process exits.
state_t &state()
{
    static state_t *s = new state_t;
    return *s;
}

namespace {

// ---- edits; all with the lock held ----

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
    mark_state(box, state_has_cords);
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
    boot();
    if (!looks_live(box))
        return nullptr;
    state_t &s = state();
    auto *o = static_cast<outlet_object *>(object_alloc(s.outlet_class));
    if (!o)
        return nullptr;
    o->box = static_cast<object *>(box);
    o->type = type ? gensym(type) : nullptr;
    mark_state(&o->header, state_has_cords);
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
    boot();
    if (!looks_live(box) || id < 0)
        return nullptr;
    state_t &s = state();
    auto *p = static_cast<proxy_object *>(object_alloc(s.proxy_class));
    if (!p)
        return nullptr;
    p->at = new port{static_cast<object *>(box), id, stuffloc};
    mark_state(&p->header, state_has_cords);
    std::unique_lock held(s.lock);
    node_of(s, p->at->box).proxies.push_back(p);
    return p;
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
} // namespace zan::cords

using namespace zan;
using namespace zan::cords;

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
    while (has_inlet(static_cast<object *>(x), count))
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

long zan_connect(void *src, long outlet, void *dst, long inlet)
{
    boot();
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
