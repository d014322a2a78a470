// A library class with a message of each tag and attributes of each kind, its box, and a
// box that writes down what it hears.
#pragma once
#include "bridge/hearing.h"

namespace bridge_test {

using log = std::vector<std::string>;
inline log calls; // of the library object's and the box's own methods, with the thread

inline void note(symbol *selector, long argc, const atom *argv)
{
    calls.push_back(text_of(selector, argc, argv) + (sched_isinpoll() ? " @scheduler" : ""));
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

inline void gimme(void *, symbol *selector, long argc, atom *argv)
{
    note(selector, argc, argv);
}
inline void pair(void *, long n, symbol *s)
{
    atom a[2];
    atom_setlong(a, n);
    atom_setsym(a + 1, s);
    note(gensym("pair"), 2, a);
}
inline void answer(void *, symbol *, long, atom *, atom *rv)
{
    atom_setlong(rv, 41);
}
inline void answers(void *, symbol *, long argc, atom *argv, atom *rv)
{
    atom_setobj(rv, object_new_imp(gensym("nobox"), gensym("atomarray"), argc, (zan_word)argv, 0, 0, 0, 0, 0, 0));
}
inline vok_err set_low(shell *x, void *attr, long argc, atom *argv)
{
    note(gensym("set_low"), argc, argv);
    return vok_attr_offset_set(x, attr, argc, argv);
}

inline void *offset_attr(const char *name, const char *type, long flags, long offset, zan_method set = nullptr)
{
    return vok_attr_offset_new(name, gensym(type), flags, nullptr, set, offset);
}

inline zan_class *make_subject_class()
{
    quick_class made("vok_subject", sizeof(subject));
    const std::pair<const char *, int> messages[] = {{"now", argtype_gimme},           {"later", argtype_defer},
                                                     {"later_low", argtype_defer_low}, {"merge", argtype_usurp},
                                                     {"merge_low", argtype_usurp_low}, {"assist", argtype_gimme}};
    for (const auto &[name, tag] : messages)
        vok_class_addmethod(made.c, erase(gimme), name, tag, 0);
    made.message("hidden", gimme);
    vok_class_addmethod(made.c, erase(pair), "pair", argtype_long, argtype_sym, 0);
    vok_class_addmethod(made.c, erase(answer), "getfoo", argtype_gimmeback, 0);
    vok_class_addmethod(made.c, erase(answers), "echo", argtype_gimmeback, 0);
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
}

inline void free_shell(shell *x)
{
    vok_object_free(zan_vok_obex_vokob_get(x));
    zan_vok_obex_free(x);
}

inline zan_class *make_shell_class(const char *name, long flags)
{
    zan_class *c = class_new(name, nullptr, erase(free_shell), sizeof(shell), nullptr, 0);
    zan_vok_class_obex_setup(c, offsetof(shell, record));
    zan_vok_class_wrap_standard(c, vok_class_findbyname(gensym("vok_subject")), flags);
    zan_vok_class_addattr(c, offset_attr("own", "long", 0, offsetof(shell, own)));
    zan_vok_class_addattr(c, offset_attr("low", "char", 0x8040000, offsetof(shell, low), erase(set_low)));
    zan_vok_class_addmethod_usurp_low(c, erase(gimme), "boxmerge");
    return c;
}

class Boxes : public testing::Test {
  protected:
    void SetUp() override
    {
        initialize();
        static zan_class *subjects = make_subject_class();
        static zan_class *shells = make_shell_class("vok.subject", 0);
        static zan_class *repliers = make_shell_class("vok.replier", zan_vok_wrap_reply_dumpout);
        subject_class = subjects;
        calls.clear();
        box = make(shells);
        replier = make(repliers);
        zan_set_reporter(
            [](void *data, long kind, void *x, const char *text) {
                auto *t = static_cast<Boxes *>(data);
                if (kind == zan_report_error)
                    t->errors.push_back(text), t->blamed = x;
            },
            this);
    }
    void TearDown() override
    {
        for (void *x : {box, replier, ear})
            object_free(x);
        zan_service();
        zan_set_reporter(nullptr, nullptr);
    }
    void *make(zan_class *c)
    {
        void *x = zan_vok_obex_new(c, gensym("vok_subject"));
        zan_vok_obex_dumpout_set(x, outlet_new(x, nullptr));
        zan_vok_obex_vokob_set(x, vok_object_alloc(subject_class));
        return x;
    }
    // Everything that comes out of dumpout is in `heard`.
    void listen(void *x)
    {
        ear = new_sink(&heard);
        ASSERT_EQ(zan_connect(x, 0, ear, 0), 0);
    }
    static void send(void *x, const char *selector, const std::string &text = "")
    {
        auto a = atoms(text);
        zan_send(x, 0, gensym(selector), long(a.size()), a.data());
    }
    template <typename Fn> static void in_scheduler(Fn fn)
    {
        zan_in_scheduler([](void *f) { (*static_cast<Fn *>(f))(); }, &fn);
    }
    subject *inner() { return static_cast<subject *>(zan_vok_obex_vokob_get(box)); }
    log take() { return std::exchange(calls, {}); }

    void *box = nullptr, *replier = nullptr, *ear = nullptr;
    zan_class *subject_class = nullptr;
    log heard, errors;
    void *blamed = nullptr;
};

} // namespace bridge_test
