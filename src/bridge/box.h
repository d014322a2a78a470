// What the files of the bridge share: where a wrap puts its messages, how a message is
// set up for the thread it runs on, the reading of attributes, and names made of names.
#pragma once
#include <zan/zan.h>

#include <vokra/box.h>
#include <vokra/zpatcher_syms.h>

#include "kernel/atoms.h"
#include "kernel/class_table.h"
#include "kernel/message.h"

namespace vok {

// Where the messages and attributes of a wrap go: the class in the making, a class, or
// one box. False for a null class or box.
struct wrap_target {
    enum { making, of_class, of_box } kind = making;
    void *p = nullptr;

    static wrap_target to_class(zan_class *c) { return {of_class, c}; }
    static wrap_target to_box(void *x) { return {of_box, x}; }
    explicit operator bool() const { return kind == making || p; }

    void add(zan_method fn, const char *name, int tag) const;
    // A public message that runs `fn` (box, selector, argc, argv) as a tag says: at once
    // (argtype_gimme), deferred or merged, with `fn` in a private message beside it. Other
    // tags add nothing. EROR for a false target or a null function or name.
    vok_err add_run_as(long tag, zan_method fn, const char *name) const;
    // The messages that set and get an attribute, as far as users may.
    void add_attribute(void *attr, zan_method set, zan_method get) const;
};

// The box, which may have its list of merged methods already, got one more.
void merged_method_added(void *x, symbol *name);

// "<head><name><tail>", as a symbol.
symbol *affixed(const char *head, const symbol *name, const char *tail);
// A selector without its leading "get".
symbol *without_get(symbol *selector);

// fn(entry) for each message of a box: its class's and then its own.
template <typename Fn> void for_each_message(void *x, Fn fn)
{
    for (auto *e = static_cast<zan_messlist *>(static_cast<object *>(x)->messlist); e && e->name; ++e)
        fn(e);
    void *own = nullptr;
    if (object_obex_lookup(x, ps_methods, &own) || !own)
        return;
    const auto visit = [](void *m, void *data) {
        (*static_cast<Fn *>(data))(ask<zan_messlist>(m, ps_getmesslist));
    };
    hashtab_objfunall(own, visit, &fn);
}

// fn(attr) for each attribute that the box itself declares.
template <typename Fn> void for_each_box_attr(void *x, Fn fn)
{
    void *list = zan_vok_obex_attrlist_get(x);
    for (long i = 0, n = list ? linklist_getsize(list) : 0; i < n; ++i)
        if (void *attr = linklist_getindex(list, i))
            fn(attr);
}

// The names of an object's attributes, sorted.
class attr_names {
  public:
    explicit attr_names(void *o);
    attr_names(const attr_names &) = delete;
    attr_names &operator=(const attr_names &) = delete;
    ~attr_names() { sysmem_freeptr(names); }
    symbol **begin() const { return names; }
    symbol **end() const { return names + count; }
    long size() const { return count; }

  private:
    long count = 0;
    symbol **names = nullptr;
};

// fn(owner, attr) for each attribute of the box, in its order, then for each of its
// library object, sorted by name.
template <typename Fn> void for_each_attr(void *x, Fn fn)
{
    for_each_box_attr(x, [&](void *attr) { fn(x, attr); });
    if (void *o = zan_vok_obex_vokob_get(x))
        for (symbol *name : attr_names(o))
            if (void *attr = vok_object_attr_get(o, name))
                fn(o, attr);
}

symbol *attr_name(void *attr);
bool user_can_get(void *attr);
bool user_can_set(void *attr);
// The attribute's own functions on an object, with their filters; what they give.
vok_err attr_read(void *owner, void *attr, long *argc, atom **argv);
vok_err attr_write(void *owner, void *attr, long argc, atom *argv);

} // namespace vok
