// The listener: when it is attached, what it passes on, and when it polls.
#include "quick_class.h"

namespace {

struct sender {
    object header;
    long level;
};

vok_mouse_info mouse, wheel;
bool has_mouse;

class Listener : public testing::Test {
  protected:
    void SetUp() override
    {
        initialize();
        zan_set_clock(zan_clock_virtual);
        static quick_class quick = [] {
            quick_class q("vok_sender", sizeof(sender));
            q.value("level", "long", offsetof(sender, level));
            q.message("get_mouse_info", [](sender *) { return has_mouse ? &mouse : nullptr; });
            q.message("get_mousewheel_info", [](sender *) { return &wheel; });
            return q;
        }();
        senders = quick.c;
        has_mouse = false;
        name = vok_symbol_unique();
    }
    void TearDown() override
    {
        object_free(listener);
        object_free(subject);
        zan_set_clock(zan_clock_real);
    }
    void listen(symbol *to)
    {
        atom a;
        atom_setsym(&a, to);
        listener = static_cast<vok_listener *>(vok_object_new(S("vok_listener"), 1L, &a));
        ASSERT_NE(listener, nullptr);
        const vok_listener_callback callback = [](void *data, symbol *subjectname, symbol *message, long argc,
                                                  atom *argv) {
            auto *t = static_cast<Listener *>(data);
            char text[1024];
            atoms_totext(argc, argv, text, sizeof text);
            EXPECT_EQ(subjectname, t->name);
            t->heard.push_back(std::string(message->name) + (argc ? " " : "") + text);
            if (t->frees)
                object_free(t->listener), t->listener = nullptr;
        };
        vok_object_method(listener, S("setcallback"), callback);
        vok_object_method(listener, S("setcbdata"), this);
        EXPECT_EQ(vok_object_method(listener, S("getcbdata")), reinterpret_cast<zan_word>(this));
    }
    void appear() { subject = vok_object_register(vok_object_alloc(senders), name); }
    void notify(const char *message, void *data = nullptr) { vok_object_notify(subject, S(message), data); }
    void let_pass(double ms) { zan_run_until(systimer_gettime() + ms); }
    // Whether the listener is attached when it has polled, as a notice shows.
    bool attached()
    {
        let_pass(5);
        heard.clear();
        notify("there?");
        return !heard.empty();
    }

    vok_listener *listener = nullptr;
    void *subject = nullptr;
    zan_class *senders = nullptr;
    symbol *name = nullptr;
    bool frees = false;
    std::vector<std::string> heard;
};
using words = std::vector<std::string>;

TEST_F(Listener, AttachesAtOnceOrWhenTheNameAppears)
{
    listen(name);
    EXPECT_EQ(listener->polltime, 2) << "the first poll cuts it";
    appear();
    EXPECT_TRUE(attached());

    listener->polltime = 50;
    object_free(subject);
    subject = nullptr;
    EXPECT_EQ(heard.back(), "free");
    EXPECT_EQ(listener->polltime, 2) << "it polls again";
    EXPECT_EQ(listener->subjectname, name);
    appear();
    EXPECT_TRUE(attached()) << "to the next of that name";

    heard.clear();
    atom none;
    atom_setsym(&none, S(""));
    vok_listener_subjectname(listener, nullptr, 1, &none);
    notify("unheard");
    EXPECT_TRUE(heard.empty());
    vok_attr_setsym(listener, S("subjectname"), name);
    notify("heard");
    EXPECT_EQ(heard, words{"heard"});
}

TEST_F(Listener, ClearingTheNameEndsThePolling)
{
    listen(name);
    vok_attr_setsym(listener, S("subjectname"), S(""));
    appear();
    let_pass(200);
    notify("unheard");
    EXPECT_TRUE(heard.empty());
    EXPECT_EQ(listener->subjectname, S(""));
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
        EXPECT_EQ(listener->polltime, value < 2 ? value : 2);
        vok_listener_dosubjectname(listener, nullptr);
    }
}

TEST_F(Listener, NotificationsBecomeAtoms)
{
    appear();
    listen(name);
    notify("modified");
    notify("attr_modified", vok_object_attr_get(subject, S("level")));
    notify("attr_modified");
    std::vector<atom> atoms(300);
    atom_setsym(&atoms[0], S("said"));
    for (size_t i = 1; i < atoms.size(); ++i)
        atom_setlong(&atoms[i], 1);
    for (long count : {3L, 300L, 0L}) {
        void *data = object_new_imp(S("nobox"), S("atomarray"), count, reinterpret_cast<zan_word>(atoms.data()), 0,
                                    0, 0, 0, 0, 0);
        notify("typedmess", data);
        object_free(data);
    }
    ASSERT_EQ(heard.size(), 6u);
    EXPECT_EQ(heard[0], "modified");
    EXPECT_EQ(heard[1], "attr_modified level");
    EXPECT_EQ(heard[2], "attr_modified");
    EXPECT_EQ(heard[3], "said 1 1");
    EXPECT_EQ(heard[4].size(), 4u + 255 * 2);
    EXPECT_EQ(heard[5], "typedmess");
}

TEST_F(Listener, PointerEventsComeWithTheirOwnMessage)
{
    appear();
    listen(name);
    notify("mouseout");
    has_mouse = true;
    for (long i = 0; i < 10; ++i) {
        atom_setlong(mouse.atoms + i, i);
        atom_setlong(wheel.atoms + i, 9 - i);
    }
    for (const char *message : {"mouse", "mousewheel"}) {
        mouse.message = S(message);
        notify("mouseout");
    }
    EXPECT_EQ(heard, (words{"mouseout", "mouse 0 1 2 3 4 5 6 7", "mousewheel 9 8 7 6 5 4 3 2 1 0"}));
}

TEST_F(Listener, CleanupRunsOnceAndTheCallbackMayFreeIt)
{
    appear();
    listen(name);
    static int cleaned;
    cleaned = 0;
    vok_object_method(
        listener, S("setcleanup"), +[](void *data) { cleaned += data != nullptr; });
    frees = true;
    object_free(subject); // the callback frees the listener while it is told
    subject = nullptr;
    EXPECT_EQ(heard, words{"free"});
    EXPECT_EQ(cleaned, 1);
    vok_listener_notify(nullptr, name, S("x"), nullptr, nullptr);
    EXPECT_EQ(heard.size(), 1u);
}

} // namespace
