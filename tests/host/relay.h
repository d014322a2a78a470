// A box that notes what it hears and hands it on, or does what a test says; and functions
// for the queues that note that they ran.
#pragma once
#include "kernel_fixture.h"

using words = std::vector<std::string>;
inline words trail; // what happened, in order; of a box "name:inlet selector atoms"

// Calls for an object by defer or defer_low.
inline void later(void *x, const char *name, decltype(defer) *how = defer)
{
    how(x, M(+[](void *, symbol *s, long, atom *) { trail.push_back(s->name); }), S(name), 0, nullptr);
}
// A qelem that notes its name ahead of what it does.
inline timed noting(const char *name, std::function<void()> act = nullptr)
{
    const auto note = [=] {
        trail.push_back(name);
        if (act)
            act();
    };
    return timed(note, false);
}

class relay {
  public:
    using action = std::function<void(symbol *, long, atom *)>;

    explicit relay(const char *name = nullptr, int outlets = 0, int proxies = 0)
        : box_(static_cast<record *>(newobject(its_class())))
    {
        box_->name = name;
        for (int i = 0; i < outlets; i++)
            EXPECT_TRUE(outlet_new(box_, nullptr));
        for (int i = proxies; i > 0; i--)
            EXPECT_TRUE(proxy_new(box_, i, &box_->stuffloc));
    }
    ~relay() { drop(); }
    relay(const relay &) = delete;
    relay &operator=(const relay &) = delete;
    void drop() { object_free(std::exchange(box_, nullptr)); }

    operator void *() const { return box_; }
    void *outlet(long index = 0) const { return outlet_nth(box_, index); }
    long *stuffloc() const { return &box_->stuffloc; }
    long heard() const { return box_->heard; }
    void does(action what) { delete std::exchange(box_->act, new action(what)); }
    void hears(const char *message, long inlet = 0, std::vector<atom> atoms = {})
    {
        zan_send(box_, inlet, S(message), long(atoms.size()), atoms.data());
    }

  private:
    struct record {
        object header;
        const char *name; // in the trail; null: it isn't noted
        long stuffloc, heard;
        action *act; // in place of handing on at all outlets, right first
    };
    static void anything(record *x, symbol *s, long argc, atom *argv)
    {
        x->heard++;
        if (x->name)
            trail.push_back(std::string(x->name) + ":" + std::to_string(proxy_getinlet(x)) +
                            (x->stuffloc == proxy_getinlet(x) ? " " : "?! ") + s->name + (argc ? " " : "") +
                            text_of(argc, argv));
        if (x->act) {
            const action keep = *x->act; // x may go
            keep(s, argc, argv);
            return;
        }
        for (long i = outlet_count(x); i-- > 0;)
            outlet_anything(outlet_nth(x, i), s, argc, argv);
    }
    static zan_class *its_class()
    {
        static zan_class *const c = [] {
            zan_class *made =
                class_new("relay", nullptr, M(+[](record *x) { delete x->act; }), sizeof(record), nullptr, 0);
            for (const char *m : {"anything", "bang", "int", "float", "list"})
                class_addmethod(made, M(anything), m, argtype_gimme, 0);
            class_register(S("box"), made);
            return made;
        }();
        return c;
    }
    record *box_;
};
