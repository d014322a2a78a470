// The listener: when it is attached, what it passes on, and when it polls.
#include "quick_class.h"

namespace {

vok_mouse_info mouse, wheel;
using words = std::vector<std::string>;

class Listener : public testing::Test {
  protected:
    void SetUp() override { zan_set_clock(zan_clock_virtual); }
    void TearDown() override
    {
        object_free(listener);
        object_free(subject);
        zan_set_clock(zan_clock_real);
    }
    void listen(symbol *to)
    {
        atom a;
        vok_atom_setsym(&a, to);
        listener = static_cast<vok_listener *>(vok_object_new(S("vok_listener"), 1L, &a));
        const vok_listener_callback callback = [](void *data, symbol *subjectname, symbol *message, long argc,
                                                  atom *argv) {
            auto *t = static_cast<Listener *>(data);
            EXPECT_EQ(subjectname, t->name);
            t->heard.push_back(message->name + (argc ? " " + text_of(argc, argv) : ""));
            if (t->frees)
                object_free(std::exchange(t->listener, nullptr));
        };
        send(listener, "setcallback", callback);
        send(listener, "setcbdata", this);
        EXPECT_EQ(send(listener, "getcbdata"), W(this));
    }
    void appear()
    {
        const auto pointer = [](void *) { return mouse.message ? &mouse : nullptr; };
        static const quick_class k = quick_class("vok_sender", sizeof(object))
                                         .message("get_mouse_info", pointer)
                                         .message("get_mousewheel_info", [](void *) { return &wheel; });
        subject = vok_object_register(k.make<void>(), name);
    }
    // What is heard of a notice after some time.
    words notify(const char *message, void *data = nullptr, double after = 0)
    {
        if (after > 0)
            zan_run_until(systimer_gettime() + after);
        heard.clear();
        vok_object_notify(subject, S(message), data);
        return heard;
    }

    vok_listener *listener = nullptr;
    void *subject = nullptr;
    symbol *name = vok_symbol_unique();
    bool frees = false;
    words heard;
};

TEST_F(Listener, AttachesAtOnceOrWhenTheNameAppears)
{
    listen(name);
    EXPECT_EQ(listener->polltime, 2) << "the first poll cuts it";
    vok_attr_setsym(listener, S("subjectname"), S(""));
    appear();
    EXPECT_EQ(notify("unheard", nullptr, 200), words{}) << "no name, no polling";
    vok_attr_setsym(listener, S("subjectname"), name);
    EXPECT_EQ(notify("heard"), words{"heard"});

    listener->polltime = 50;
    object_free(std::exchange(subject, nullptr));
    EXPECT_EQ(heard.back(), "free");
    EXPECT_EQ(listener->polltime, 2) << "it polls again";
    appear();
    EXPECT_EQ(notify("there?", nullptr, 5), words{"there?"}) << "the next of that name";
    vok_attr_setsym(listener, S("subjectname"), S(""));
    EXPECT_EQ(notify("unheard"), words{});
}

TEST_F(Listener, ThePollTimeIsANumberOfAtMostTwo)
{
    listen(S(""));
    EXPECT_EQ(listener->polltime, 100);
    EXPECT_STREQ(object_attr_getsym(vok_object_attr_get(listener, S("polltime")), S("none"))->name, "");
    for (long value : {1L, 50L}) {
        vok_attr_setlong(listener, S("polltime"), value);
        EXPECT_EQ(vok_attr_getlong(listener, S("polltime")), value);
        vok_listener_dosubjectname(listener, name);
        EXPECT_EQ(listener->polltime, std::min(value, 2L));
        vok_listener_dosubjectname(listener, nullptr);
    }
}

TEST_F(Listener, NotificationsBecomeAtoms)
{
    appear();
    listen(name);
    EXPECT_EQ(notify("modified"), words{"modified"});
    EXPECT_EQ(notify("attr_modified", object_attr_get(listener, S("polltime"))), words{"attr_modified polltime"});
    EXPECT_EQ(notify("attr_modified"), words{"attr_modified"});
    std::vector<atom> atoms(300, A(1));
    atoms[0] = A("said");
    const std::string most = text_of(256, atoms.data());
    for (const auto &[count, text] : {std::pair(3L, std::string("said 1 1")), {300, most}, {0, "typedmess"}}) {
        void *data = object_new_imp(S("nobox"), S("atomarray"), count, W(atoms.data()), 0, 0, 0, 0, 0, 0);
        EXPECT_EQ(notify("typedmess", data), words{text});
        object_free(data);
    }
}

TEST_F(Listener, PointerEventsComeWithTheirOwnMessage)
{
    appear();
    listen(name);
    mouse.message = nullptr;
    EXPECT_EQ(notify("mouseout"), words{"mouseout"});
    for (long i = 0; i < 10; ++i) {
        mouse.atoms[i] = A(i);
        wheel.atoms[i] = A(9 - i);
    }
    mouse.message = S("mouse");
    EXPECT_EQ(notify("mouseout"), words{"mouse 0 1 2 3 4 5 6 7"});
    mouse.message = S("mousewheel");
    EXPECT_EQ(notify("mouseout"), words{"mousewheel 9 8 7 6 5 4 3 2 1 0"});
}

TEST_F(Listener, CleanupRunsOnceAndTheCallbackMayFreeIt)
{
    appear();
    listen(name);
    static int cleaned;
    cleaned = 0;
    const auto clean = [](void *data) { cleaned += data != nullptr; };
    send(listener, "setcleanup", +clean);
    frees = true;
    object_free(std::exchange(subject, nullptr)); // the callback frees the listener while it is told
    vok_listener_notify(nullptr, name, S("x"), nullptr, nullptr);
    EXPECT_EQ(heard, words{"free"});
    EXPECT_EQ(cleaned, 1);
}

} // namespace
