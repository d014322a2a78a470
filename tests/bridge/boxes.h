// A library class with a message of each tag and attributes of each kind, and box classes round it.
#pragma once
#include "boxes/box_tools.h"
#include "kernel/quick_class.h"

namespace bridge_test {

using box_tools::patch;
using log = std::vector<std::string>;
inline log calls; // of the library object's and the box's own methods, with the thread

inline void gimme(void *, symbol *selector, long argc, atom *argv)
{
    calls.push_back(box_tools::text_of(selector, argc, argv) + (sched_isinpoll() ? " @scheduler" : ""));
}

struct subject { // the library object
    object header;
    long val, counted, secret;
    long vals[6];
    float gain;
    symbol *label;
};

struct shell { // its box
    object header;
    void *record;
    long own, low;
};

inline vok_err set_low(shell *x, void *attr, long argc, atom *argv)
{
    gimme(x, gensym("set_low"), argc, argv);
    return vok_attr_offset_set(x, attr, argc, argv);
}

inline void *offset_attr(const char *name, const char *type, long flags, long offset, zan_method set = nullptr)
{
    return vok_attr_offset_new(name, gensym(type), flags, nullptr, set, offset);
}

inline zan_class *subject_class()
{
    static zan_class *const c = [] {
        quick_class made("vok_subject", sizeof(subject));
        for (const auto &[name, tag] : {std::pair{"now", argtype_gimme},
                                        {"later", argtype_defer},
                                        {"later_low", argtype_defer_low},
                                        {"merge", argtype_usurp},
                                        {"merge_low", argtype_usurp_low},
                                        {"assist", argtype_gimme},
                                        {"hidden", argtype_cant}})
            vok_class_addmethod(made.c, erase(gimme), name, tag, 0);
        const auto pair = [](void *, long n, symbol *s) { calls.push_back(std::to_string(n) + s->name); };
        const auto answer = [](void *, symbol *, long, atom *, atom *rv) { atom_setlong(rv, 41); };
        const auto echo = [](void *, symbol *, long argc, atom *argv, atom *rv) {
            atom_setobj(rv, object_new_imp(gensym("nobox"), gensym("atomarray"), argc, W(argv), 0, 0, 0, 0, 0, 0));
        };
        vok_class_addmethod(made.c, erase(pair), "pair", argtype_long, argtype_sym, 0);
        vok_class_addmethod(made.c, erase(answer), "getfoo", argtype_gimmeback, 0);
        vok_class_addmethod(made.c, erase(echo), "echo", argtype_gimmeback, 0);
        vok_class_method_addargsafe(made.c, "param", "now");
        constexpr long low = 0x8040000;
        made.value("val", "long", offsetof(subject, val), low);
        made.value("gain", "float32", offsetof(subject, gain));
        made.value("label", "symbol", offsetof(subject, label));
        made.value("counted", "long", offsetof(subject, counted), vok_attrflag_set_opaque_user);
        made.value("key", "long", offsetof(subject, secret), vok_attrflag_get_opaque_user);
        made.value("secret", "long", offsetof(subject, secret), 0x300);
        vok_class_addattr(made.c, vok_attr_offset_array_new("vals", gensym("long"), 6, low, nullptr, nullptr,
                                                            offsetof(subject, counted), offsetof(subject, vals)));
        vok_class_register(made.c);
        return made.c;
    }();
    return c;
}

inline void *new_shell(symbol *name, long, atom *)
{
    void *x = zan_vok_obex_new(class_findbyname(gensym("box"), name), gensym("vok_subject"));
    zan_vok_obex_dumpout_set(x, outlet_new(x, nullptr));
    zan_vok_obex_vokob_set(x, vok_object_alloc(subject_class()));
    return x;
}

// A class of boxes that is still to be wrapped and registered.
inline zan_class *bare_class(const char *name)
{
    const auto release = [](void *x) {
        vok_object_free(zan_vok_obex_vokob_get(x));
        zan_vok_obex_free(x);
    };
    return class_new(name, erase(new_shell), erase(release), sizeof(shell), nullptr, argtype_gimme, 0);
}

inline zan_class *shell_class(const char *name, long flags = 0)
{
    zan_class *c = bare_class(name);
    zan_vok_class_obex_setup(c, offsetof(shell, record));
    zan_vok_class_wrap_standard(c, subject_class(), flags);
    zan_vok_class_addattr(c, offset_attr("own", "long", 0, offsetof(shell, own)));
    zan_vok_class_addattr(c, offset_attr("low", "char", 0x8040000, offsetof(shell, low), erase(set_low)));
    zan_vok_class_addmethod_usurp_low(c, erase(gimme), "boxmerge");
    const auto notified = [](void *, symbol *from, symbol *message, void *, void *data) {
        auto *attr = reinterpret_cast<symbol *>(vok_object_method(data, gensym("getname")));
        calls.push_back(std::string(from->name) + " " + message->name + " " + attr->name);
    };
    class_addmethod(c, erase(notified), "notify", argtype_cant, 0);
    class_register(gensym("box"), c);
    return c;
}

class Boxes : public testing::Test {
  protected:
    void SetUp() override
    {
        initialize();
        [[maybe_unused]] static zan_class *const made[] = {shell_class("shell"),
                                                           shell_class("replier", zan_vok_wrap_reply_dumpout)};
        calls.clear();
        box = p.make("shell");
        replier = p.make("replier");
    }
    // "selector atom ..." to the box.
    void send(const std::string &text) { p.send(box, "0 " + text); }
    template <typename Fn> static void in_scheduler(Fn fn)
    {
        zan_in_scheduler([](void *f) { (*static_cast<Fn *>(f))(); }, &fn);
    }
    subject *inner() { return static_cast<subject *>(zan_vok_obex_vokob_get(box)); }
    shell *own() { return static_cast<shell *>(box); }
    log take() { return std::exchange(calls, {}); }

    patch p;
    void *box = nullptr, *replier = nullptr;
};

} // namespace bridge_test
