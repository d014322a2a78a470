// Outlets, inlet proxies and patch cords: the records that edits of them (outlets.cpp) and
// the messages that go through them (passing.cpp) share.
//
// Edits (outlets, proxies, cords made and deleted) take one lock. A message takes
// none: it reads its outlet's list of cords, which an edit never changes but
// replaces. What an edit took out stays in memory until no message is on its way
// anywhere; a cord that was cut meanwhile is marked, and nothing goes through it.
#pragma once
#include "kernel.h"

#include <atomic>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace zan::cords {

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

extern const void *outlet_methods; // what tells an outlet from other objects

state_t &state();

inline outlet_object *as_outlet(void *x)
{
    object *o = live(x);
    return o && o->messlist == outlet_methods ? static_cast<outlet_object *>(x) : nullptr;
}

inline port *find_port(const node &n, long inlet)
{
    for (auto p = n.proxies.rbegin(); p != n.proxies.rend(); ++p)
        if ((*p)->at->inlet == inlet)
            return (*p)->at;
    return nullptr;
}

// ---- passing.cpp ----

// The method of a box for numbers at an inlet without a proxy: in1 and its like for
// integers, ft1 for floats; either takes both.
zan_messlist *typed_inlet(object *box, long inlet, bool is_float);
// Keeps what an edit took out until no message is on its way. With the lock held.
void discard(state_t &s, void *what, void (*fn)(void *));
// Frees what was kept, if no message is on its way; the lock is given up meanwhile.
void sweep(std::unique_lock<std::mutex> &held);

} // namespace zan::cords
