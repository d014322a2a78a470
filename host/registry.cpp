// Names of objects and classes, and who listens to a name. A name has one entry for
// each namespace that ever used it; entries hang on their symbol and stay for ever,
// so that a look-up is a walk of one or two steps without a lock. Changes, clients
// and running notifications are under one lock, which is never held while a client
// is called. Who frees a sender or a client of a notification that another thread
// runs waits for the end of the call.
#include "symbols.h"
#include <algorithm>
#include <condition_variable>
#include <new>
#include <zan/host.h>

namespace zan {

struct client {
    object *who;
    uint64_t id; // tells this attachment from a later one at the same address
    long count;  // attached so many times: detached after as many
};

struct name_entry {
    symbol *name_space;
    symbol *name;
    std::atomic<object *> holder{nullptr};
    std::atomic<zan_class *> cls{nullptr};
    pod_array<client> clients;
    name_entry *next = nullptr;
    name_entry *next_class = nullptr; // the chain of entries that ever held a class
    name_entry *next_made = nullptr;  // the chain of all entries
};

namespace {

// A thread; its notifications can't be waited for while it waits for others itself.
struct teller {
    int waits = 0; // under registry_lock
};
thread_local teller this_thread;

// A notification under way, on its caller's stack; it ends when its sender dies.
struct notification {
    object *sender;
    const object *told; // the client that is being called, or null
    const teller *by;
    bool alive;
    notification *next;
};

constinit std::mutex registry_lock;
notification *running;        // under registry_lock
int waiting_for_calls;        // under registry_lock
uint64_t last_id;             // under registry_lock
name_entry *class_entries;    // under registry_lock, in order of their registering
name_entry *last_class_entry; // under registry_lock
name_entry *first_made;       // under registry_lock, in order of their making
name_entry *last_made;        // under registry_lock

std::condition_variable &call_ended()
{
    static auto *c = new std::condition_variable; // never destroyed: threads may go on while the process exits
    return *c;
}

// Under registry_lock: waits until no other thread tells o anything, or of o. False when
// that took too long.
bool wait_for_calls(std::unique_lock<std::mutex> &hold, const object *o)
{
    const auto quiet = [o] {
        for (const notification *n = running; n; n = n->next)
            if (n->told && (n->told == o || n->sender == o) && n->by != &this_thread && !n->by->waits)
                return false;
        return true;
    };
    if (quiet())
        return true;
    ++waiting_for_calls;
    ++this_thread.waits;
    call_ended().notify_all(); // who waits for this thread need not any more
    const bool ended = call_ended().wait_for(hold, patience, quiet);
    --this_thread.waits;
    --waiting_for_calls;
    return ended;
}

// Under registry_lock.
void now_tells(notification &n, const object *who)
{
    n.told = who;
    if (waiting_for_calls)
        call_ended().notify_all();
}

name_entry *find_entry_of(symbol *name_space, symbol *name)
{
    if (!name_space || !name)
        return nullptr;
    name_entry *e = record_of(name)->entries.load(std::memory_order_acquire);
    while (e && e->name_space != name_space)
        e = e->next;
    return e;
}

// Under registry_lock. Null when memory is out or a name is null.
name_entry *make_entry(symbol *name_space, symbol *name)
{
    name_entry *e = find_entry_of(name_space, name);
    if (e || !name_space || !name)
        return e;
    e = new (std::nothrow) name_entry;
    if (!e)
        return nullptr;
    e->name_space = name_space;
    e->name = name;
    e->next = record_of(name)->entries.load(std::memory_order_relaxed);
    record_of(name)->entries.store(e, std::memory_order_release);
    (last_made ? last_made->next_made : first_made) = e;
    last_made = e;
    return e;
}

// Under registry_lock.
void drop_registration(object *o)
{
    side_record *side = side_of(o);
    if (!side || !side->registration)
        return;
    if (side->registration->holder.load(std::memory_order_relaxed) == o)
        side->registration->holder.store(nullptr, std::memory_order_release);
    side->registration = nullptr;
}

long find_client(name_entry *e, const object *who)
{
    for (size_t i = 0; i < e->clients.size(); ++i)
        if (e->clients[i].who == who)
            return static_cast<long>(i);
    return -1;
}

// Under registry_lock.
void remove_client(name_entry *e, size_t index)
{
    e->clients.erase(index);
    if (e->clients.empty())
        e->clients.release();
}

// The names of the entries of a chain that `match` picks.
template <class Match>
long names_that(name_entry *name_entry::*link, name_entry *const &first, long *count, symbol ***names, Match match)
{
    if (!count || !names)
        return zan_err_invalid_ptr;
    boot();
    const std::lock_guard hold(registry_lock);
    pod_array<symbol *> all;
    for (name_entry *e = first; e; e = e->*link)
        if (match(e) && !all.push(e->name))
            return zan_err_out_of_mem;
    const long size = static_cast<long>(all.size() * sizeof(symbol *));
    *names = static_cast<symbol **>(sysmem_newptr(size));
    if (!*names)
        return zan_err_out_of_mem;
    sysmem_copyptr(all.begin(), *names, size);
    *count = static_cast<long>(all.size());
    return zan_err_none;
}

} // namespace

bool registry_drop_reference(object *o)
{
    side_record *side = side_of(o);
    // Together with object_register, which adds a reference to the holder of a name
    // under the same lock: either the object gets it in time or is seen to be dying.
    std::unique_lock<std::mutex> hold;
    if (__atomic_load_n(&o->state, __ATOMIC_ACQUIRE) & state_registered)
        hold = std::unique_lock(registry_lock);
    if (side) {
        long retains = side->retains.load();
        while (retains > 0)
            if (side->retains.compare_exchange_weak(retains, retains - 1))
                return true;
    }
    return __atomic_fetch_or(&o->state, state_dying, __ATOMIC_ACQ_REL) & state_dying;
}

void registry_forget(object *o)
{
    std::unique_lock hold(registry_lock);
    drop_registration(o);
    if (side_record *side = side_of(o)) {
        for (name_entry *e : side->subjects) {
            const long i = find_client(e, o);
            if (i >= 0)
                remove_client(e, static_cast<size_t>(i));
        }
        side->subjects.release();
    }
    for (notification *n = running; n; n = n->next)
        if (n->sender == o)
            n->alive = false;
    if (wait_for_calls(hold, o))
        return;
    hold.unlock();
    object_error(o, "freed although another thread is notifying it or of it");
}

zan_class *registry_class(symbol *name_space, symbol *name)
{
    name_entry *e = find_entry_of(name_space, name);
    return e ? e->cls.load(std::memory_order_acquire) : nullptr;
}

zan_class *registry_class_store(symbol *name_space, symbol *name, zan_class *c)
{
    const std::lock_guard hold(registry_lock);
    name_entry *e = make_entry(name_space, name);
    if (!e)
        return nullptr;
    const bool listed = e->next_class || e == last_class_entry;
    if (!listed) {
        (last_class_entry ? last_class_entry->next_class : class_entries) = e;
        last_class_entry = e;
    }
    zan_class *there = nullptr;
    return e->cls.compare_exchange_strong(there, c) ? c : there;
}

void registry_class_remove(symbol *name_space, symbol *name, zan_class *c)
{
    if (name_entry *e = find_entry_of(name_space, name))
        e->cls.compare_exchange_strong(c, nullptr);
}

} // namespace zan

using namespace zan;

extern "C" {

long zan_class_names(symbol *name_space, long *count, symbol ***names)
{
    return names_that(&name_entry::next_class, class_entries, count, names, [=](const name_entry *e) {
        return e->name_space == name_space && e->cls.load(std::memory_order_acquire);
    });
}

long zan_registered_names(symbol *name_space, long *count, symbol ***names)
{
    return names_that(&name_entry::next_made, first_made, count, names, [=](const name_entry *e) {
        return e->name_space == name_space && e->holder.load(std::memory_order_acquire);
    });
}

void *object_register(symbol *name_space, symbol *name, void *x)
{
    object *o = live(x);
    side_record *side = o ? side_make(o) : nullptr;
    if (!side)
        return nullptr;
    object *holder;
    {
        const std::lock_guard hold(registry_lock);
        name_entry *e = make_entry(name_space, name);
        if (!e)
            return nullptr;
        holder = e->holder.load(std::memory_order_relaxed);
        if (holder == o)
            return o;
        // Whoever is being freed no longer defends its name: a client that hears of it
        // may put another in its place at once.
        const bool defended = holder && !(__atomic_load_n(&holder->state, __ATOMIC_ACQUIRE) & state_dying);
        if (!defended) {
            if (holder)
                drop_registration(holder);
            drop_registration(o);
            side->registration = e;
            mark_state(o, state_registered);
            e->holder.store(o, std::memory_order_release);
            return o;
        }
        if (class_of(holder) != class_of(o))
            return nullptr; // the name means something else: both stay as they are
        side_of(holder)->retains.fetch_add(1);
    }
    object_free(o);
    return holder;
}

long object_unregister(void *x)
{
    object *o = live(x);
    side_record *side = o ? side_of(o) : nullptr;
    const std::lock_guard hold(registry_lock);
    if (!side || !side->registration)
        return zan_err_generic;
    drop_registration(o);
    return zan_err_none;
}

void *object_findregistered(symbol *name_space, symbol *name)
{
    name_entry *e = find_entry_of(name_space, name);
    return e ? e->holder.load(std::memory_order_acquire) : nullptr;
}

long object_findregisteredbyptr(symbol **name_space, symbol **name, void *x)
{
    object *o = live(x);
    side_record *side = o ? side_of(o) : nullptr;
    const std::lock_guard hold(registry_lock);
    if (!side || !side->registration)
        return zan_err_generic;
    if (name_space)
        *name_space = side->registration->name_space;
    if (name)
        *name = side->registration->name;
    return zan_err_none;
}

void *object_attach(symbol *name_space, symbol *name, void *x)
{
    object *o = live(x);
    side_record *side = o ? side_make(o) : nullptr;
    if (!side)
        return nullptr;
    const std::lock_guard hold(registry_lock);
    name_entry *e = make_entry(name_space, name);
    if (!e)
        return nullptr;
    const long i = find_client(e, o);
    if (i >= 0) {
        ++e->clients[static_cast<size_t>(i)].count;
    } else {
        if (!side->subjects.push(e))
            return nullptr;
        if (!e->clients.push({o, ++last_id, 1})) {
            side->subjects.erase(side->subjects.size() - 1);
            return nullptr;
        }
        mark_state(o, state_client);
    }
    return e->holder.load(std::memory_order_relaxed);
}

long object_detach(symbol *name_space, symbol *name, void *x)
{
    object *o = live(x);
    if (!o)
        return zan_err_invalid_ptr;
    const std::lock_guard hold(registry_lock);
    name_entry *e = find_entry_of(name_space, name);
    const long i = e ? find_client(e, o) : -1;
    if (i < 0)
        return zan_err_generic;
    if (--e->clients[static_cast<size_t>(i)].count > 0)
        return zan_err_none;
    remove_client(e, static_cast<size_t>(i));
    side_record *side = side_of(o);
    for (size_t k = 0; k < side->subjects.size(); ++k)
        if (side->subjects[k] == e) {
            side->subjects.erase(k);
            break;
        }
    return zan_err_none;
}

long object_notify(void *x, symbol *message, void *data)
{
    object *o = live(x);
    if (!o)
        return zan_err_invalid_ptr;
    if (!(__atomic_load_n(&o->state, __ATOMIC_ACQUIRE) & state_registered))
        return zan_err_none;
    // Whom to tell is settled now; each is told if the same attachment still stands
    // when its turn comes and the sender is still alive.
    constexpr size_t few = 32;
    uint64_t stack[few];
    uint64_t *ids = stack;
    size_t count;
    name_entry *e;
    symbol *name;
    notification self{o, nullptr, &this_thread, true, nullptr};
    {
        const std::lock_guard hold(registry_lock);
        side_record *side = side_of(o);
        e = side ? side->registration : nullptr;
        count = e ? e->clients.size() : 0;
        if (!count)
            return zan_err_none;
        if (count > few && !(ids = static_cast<uint64_t *>(std::malloc(count * sizeof *ids))))
            return zan_err_out_of_mem;
        for (size_t i = 0; i < count; ++i)
            ids[i] = e->clients[i].id;
        name = e->name;
        self.next = running;
        running = &self;
    }
    for (size_t i = 0; i < count; ++i) {
        object *who = nullptr;
        {
            const std::lock_guard hold(registry_lock);
            if (!self.alive)
                break;
            // Who leaves moves the later ones forward, never back.
            for (size_t k = std::min(i + 1, e->clients.size()); k > 0 && !who; --k)
                if (e->clients[k - 1].id == ids[i])
                    who = e->clients[k - 1].who;
            now_tells(self, who);
        }
        if (who)
            object_method_imp(who, ks().notify, reinterpret_cast<zan_word>(name),
                              reinterpret_cast<zan_word>(message), reinterpret_cast<zan_word>(o),
                              reinterpret_cast<zan_word>(data), 0, 0, 0, 0);
    }
    {
        const std::lock_guard hold(registry_lock);
        for (notification **n = &running; *n; n = &(*n)->next)
            if (*n == &self) {
                *n = self.next;
                break;
            }
        now_tells(self, nullptr);
    }
    if (ids != stack)
        std::free(ids);
    return zan_err_none;
}

} // extern "C"
