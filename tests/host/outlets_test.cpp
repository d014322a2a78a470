// Outlets, proxies and cords: who hears what, in which order, and what holds when
// boxes and cords come and go while a message is on its way.
#include "kernel_fixture.h"
#include <atomic>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <thread>

namespace {

using words = std::vector<std::string>;

words trail; // "name:inlet selector atoms", in order

std::string text_of(symbol *s, long argc, atom *argv)
{
    char text[256];
    atoms_totext(argc, argv, text, sizeof text);
    return std::string(s->name) + (argc ? " " : "") + text;
}

// A box that notes what it hears and hands it on at all of its outlets, right first.
struct relay {
    object header;
    const char *name;
    long stuffloc;
    long heard;
    std::function<void()> *then; // done in place of handing on
};

void relay_anything(relay *x, symbol *s, long argc, atom *argv)
{
    x->heard++;
    if (x->name)
        trail.push_back(std::string(x->name) + ":" + std::to_string(proxy_getinlet(x)) +
                        (x->stuffloc == proxy_getinlet(x) ? " " : "?! ") + text_of(s, argc, argv));
    if (x->then) {
        const auto keep = *x->then; // x may go
        keep();
        return;
    }
    for (long i = outlet_count(x); i-- > 0;)
        outlet_anything(outlet_nth(x, i), s, argc, argv);
}

zan_class *relay_class()
{
    static zan_class *const c = [] {
        zan_class *made =
            class_new("relay", nullptr, M(+[](relay *x) { delete x->then; }), sizeof(relay), nullptr, 0);
        for (const char *m : {"anything", "bang", "int", "float", "list"})
            class_addmethod(made, M(relay_anything), m, argtype_gimme, 0);
        class_register(S("box"), made);
        return made;
    }();
    return c;
}

symbol *hello;

class Outlets : public testing::Test {
  protected:
    void SetUp() override
    {
        trail.clear();
        hello = S("hello");
        outlets_before = zan_object_count(S("outlet"));
        proxies_before = zan_object_count(S("proxy"));
    }
    void TearDown() override
    {
        while (!boxes.empty())
            drop(boxes.back());
        EXPECT_EQ(zan_object_count(S("outlet")), outlets_before);
        EXPECT_EQ(zan_object_count(S("proxy")), proxies_before);
    }
    relay *make(const char *name, int outlets = 0, int proxies = 0)
    {
        auto *x = static_cast<relay *>(newobject(relay_class()));
        x->name = name;
        for (int i = 0; i < outlets; i++)
            EXPECT_TRUE(outlet_new(x, nullptr));
        for (int i = proxies; i > 0; i--)
            EXPECT_TRUE(proxy_new(x, i, &x->stuffloc));
        boxes.push_back(x);
        return x;
    }
    void drop(relay *x)
    {
        std::erase(boxes, x);
        object_free(x);
    }
    static void wire(void *from, long outlet, void *to, long inlet)
    {
        EXPECT_EQ(zan_connect(from, outlet, to, inlet), 0);
    }
    static void does(relay *x, std::function<void()> what)
    {
        delete std::exchange(x->then, new std::function<void()>(what));
    }
    static void say(relay *x, long inlet = 0) { zan_send(x, inlet, hello, 0, nullptr); }

    long outlets_before = 0, proxies_before = 0;
    std::vector<relay *> boxes;
    report_catcher reports;
};

TEST_F(Outlets, NewOnesLieLeftAppendedOnesRight)
{
    relay *x = make("x");
    void *right = outlet_new(x, nullptr);
    void *left = outlet_new(x, "bang");
    void *last = outlet_append(x, nullptr, nullptr);
    void *behind_left = outlet_insert_after(x, left, nullptr);
    void *first = outlet_insert_after(x, nullptr, nullptr);
    char not_an_outlet[] = "vok_matrix";
    void *very_last = outlet_append(x, not_an_outlet, nullptr);
    void *behind_right = outlet_append(x, right, nullptr);
    void *const expected[] = {first, left, behind_left, right, behind_right, last, very_last};
    ASSERT_EQ(outlet_count(x), 7);
    for (long i = 0; i < 7; i++)
        EXPECT_EQ(outlet_nth(x, i), expected[i]) << i;
    EXPECT_EQ(outlet_nth(x, 7), nullptr);
    EXPECT_EQ(outlet_nth(x, -1), nullptr);
    outlet_delete(behind_left);
    EXPECT_EQ(outlet_nth(x, 2), right);
    EXPECT_EQ(outlet_count(x), 6);
    drop(x);
    EXPECT_EQ(outlet_count(x), 0);
}

TEST_F(Outlets, EachKindOfMessageArrives)
{
    relay *a = make(nullptr, 1), *b = make("b");
    wire(a, 0, b, 0);
    void *o = outlet_nth(a, 0);
    atom list[] = {A(1), A(2.5), A("hello")};
    EXPECT_EQ(outlet_bang(o), 1);
    EXPECT_EQ(outlet_int(o, -4), 1);
    EXPECT_EQ(outlet_float(o, 0.5), 1);
    EXPECT_EQ(outlet_list(o, nullptr, 3, list), 1);
    EXPECT_EQ(outlet_anything(o, hello, 1, list), 1);
    EXPECT_EQ(trail, words({"b:0 bang", "b:0 int -4", "b:0 float 0.5", "b:0 list 1 2.5 hello", "b:0 hello 1"}));
    EXPECT_EQ(outlet_bang(nullptr), 0);
    EXPECT_EQ(outlet_bang(b), 0); // no outlet
}

TEST_F(Outlets, WhatABoxThrowsIsItsErrorAndItsSenderGoesOn)
{
    relay *a = make("a", 1), *b = make("b"), *c = make("c");
    wire(a, 0, b, 0);
    wire(a, 0, c, 0);
    does(b, [] { throw std::runtime_error("too bad"); });
    say(a);
    EXPECT_EQ(trail, words({"a:0 hello", "b:0 hello", "c:0 hello"}));
    EXPECT_NE(reports.one_error().find("\"hello\" threw an exception: too bad"), std::string::npos);
}

TEST_F(Outlets, CordsAreServedInTheOrderOfMakingAndABoxAtItsRightInletsFirst)
{
    relay *a = make(nullptr, 1), *b = make("b", 0, 2), *c = make("c", 0, 1);
    wire(a, 0, b, 0);
    wire(a, 0, c, 1);
    wire(a, 0, b, 2);
    wire(a, 0, b, 1);
    wire(a, 0, c, 0);
    outlet_anything(outlet_nth(a, 0), hello, 0, nullptr);
    EXPECT_EQ(trail, words({"b:2 hello", "b:1 hello", "b:0 hello", "c:1 hello", "c:0 hello"}));
}

TEST_F(Outlets, WrongCordsGiveTheirErrorAndChangeNothing)
{
    relay *a = make("a", 1), *b = make("b", 0, 1);
    wire(a, 0, b, 1);
    const struct {
        void *src;
        long outlet;
        void *dst;
        long inlet, connect, disconnect;
    } rows[] = {
        {nullptr, 0, b, 0, zan_err_invalid_ptr, zan_err_invalid_ptr},
        {a, 0, nullptr, 0, zan_err_invalid_ptr, zan_err_invalid_ptr},
        {a, 1, b, 0, zan_err_generic, zan_err_generic},
        {a, -1, b, 0, zan_err_generic, zan_err_generic},
        {a, 0, b, 2, zan_err_generic, zan_err_generic},
        {a, 0, b, -1, zan_err_generic, zan_err_generic},
        {b, 0, a, 0, zan_err_generic, zan_err_generic},
        {a, 0, b, 1, zan_err_duplicate, zan_err_none},
        {a, 0, b, 1, zan_err_none, zan_err_none},
    };
    for (const auto &r : rows) {
        EXPECT_EQ(zan_connect(r.src, r.outlet, r.dst, r.inlet), r.connect) << &r - rows;
        EXPECT_EQ(zan_disconnect(r.src, r.outlet, r.dst, r.inlet), r.disconnect) << &r - rows;
    }
    outlet_bang(outlet_nth(a, 0));
    EXPECT_TRUE(trail.empty());
}

TEST_F(Outlets, NestedMessagesKeepTheirInlets)
{
    // a feeds b's inlet 2, and b, while handling it, its own inlet 1
    relay *a = make("a", 1), *b = make("b", 1, 2), *c = make("c", 0, 1);
    wire(a, 0, b, 2);
    wire(b, 0, c, 1);
    bool first = true;
    does(b, [&] {
        EXPECT_EQ(proxy_getinlet(b), first ? 2 : 1);
        EXPECT_EQ(proxy_getinlet(c), 0);
        if (first) {
            first = false;
            say(b, 1);
            EXPECT_EQ(proxy_getinlet(b), 2);
            EXPECT_EQ(b->stuffloc, 2); // back to the outer message's
        }
        outlet_anything(outlet_nth(b, 0), hello, 0, nullptr);
    });
    say(a);
    EXPECT_EQ(trail, words({"a:0 hello", "b:2 hello", "b:1 hello", "c:1 hello", "c:1 hello"}));
    EXPECT_EQ(b->stuffloc, 0);
    EXPECT_EQ(proxy_getinlet(b), 0);
    say(b, 3);
    EXPECT_NE(reports.one_error().find("no inlet 3"), std::string::npos);
}

TEST_F(Outlets, InletsAreKnownPerThread)
{
    relay *b = make("b", 0, 1);
    does(b, [&] {
        EXPECT_EQ(proxy_getinlet(b), 1);
        std::thread([&] { EXPECT_EQ(proxy_getinlet(b), 0); }).join();
    });
    say(b, 1);
}

// ---- what a box without the message makes of it ----

struct picky {
    object header;
};
template <int> void picky_int(picky *, zan_word v)
{
    trail.push_back("int " + std::to_string(v));
}
void picky_float(picky *, double v)
{
    trail.push_back("float " + std::to_string(v));
}
void picky_bang(picky *)
{
    trail.push_back("bang");
}
void picky_hello(picky *, zan_word v)
{
    trail.push_back("hello " + std::to_string(v));
}
void picky_any(picky *, symbol *s, long argc, atom *argv)
{
    trail.push_back("any " + text_of(s, argc, argv));
}
void picky_list(picky *, symbol *s, long argc, atom *)
{
    trail.push_back("list of " + std::to_string(argc));
}

TEST_F(Outlets, OtherFormsOfAMessage)
{
    const struct {
        const char *name;
        zan_method fn;
        int tag;
    } known[] = {
        {"int", M(picky_int<0>), argtype_long},   {"float", M(picky_float), argtype_float},
        {"bang", M(picky_bang), argtype_nothing}, {"hello", M(picky_hello), argtype_deflong},
        {"list", M(picky_list), argtype_gimme},   {"anything", M(picky_any), argtype_gimme},
        {"hidden", M(picky_bang), argtype_cant},
    };
    const struct {
        const char *messages; // blank-separated, of the table above
        const char *sent;
        long argc;
        const char *expected; // "" for an error
    } rows[] = {
        {"int float", "int", 1, "int 3"},
        {"float", "int", 1, "float 3.000000"},
        {"int", "float", 1, "int 2"},
        {"list", "float", 1, "list of 1"},
        {"list int", "float", 1, "int 2"},
        {"int", "list", 3, "int 3"},
        {"float", "list", 3, "float 3.000000"},
        {"list", "list", 3, "list of 3"},
        {"bang", "list", 0, "bang"},
        {"bang", "int", 1, ""},
        {"hello", "list hello", 2, "hello 3"},
        {"anything", "bang", 0, "any bang"},
        {"anything", "int", 1, "any int 3"},
        {"anything", "list", 2, "any list 3 3"},
        {"anything hello", "hello", 1, "hello 3"},
        {"anything", "hello", 1, "any hello 3"},
        {"hidden", "hidden", 0, ""},
        {"hidden anything", "hidden", 0, "any hidden"},
        {"int", "hello", 0, ""},
    };
    for (const auto &row : rows) {
        trail.clear();
        zan_class *c = class_new("picky", nullptr, nullptr, sizeof(picky), nullptr, 0);
        for (const auto &k : known)
            if ((" " + std::string(row.messages) + " ").find(" " + std::string(k.name) + " ") != std::string::npos)
                class_addmethod(c, k.fn, k.name, k.tag, 0);
        void *x = object_alloc(c);
        std::string sent = row.sent;
        const bool list_hello = sent == "list hello";
        atom a[4] = {sent == "float" ? A(2.75) : list_hello ? A("hello") : A(3), A(3), A(3), A(3)};
        if (list_hello)
            sent = "list";
        zan_send(x, 0, S(sent.c_str()), row.argc, a);
        const std::string place = std::string(row.messages) + " <- " + row.sent;
        EXPECT_EQ(trail, *row.expected ? words({row.expected}) : words()) << place;
        const words errors = reports.take();
        ASSERT_EQ(errors.size(), *row.expected ? 0u : 1u) << place;
        EXPECT_TRUE(errors.empty() || errors[0].find(sent) != std::string::npos) << place;
        object_free(x);
        class_free(c);
    }
}

TEST_F(Outlets, TypedInletsTakeNumbers)
{
    zan_class *c = class_new("typed_inlets", nullptr, nullptr, sizeof(picky), nullptr, 0);
    addmess(M(picky_int<1>), "in1", argtype_long, 0);
    addmess(M(picky_float), "ft2", argtype_float, 0);
    void *x = object_alloc(c);
    relay *a = make(nullptr, 2);
    wire(a, 0, x, 1);
    wire(a, 1, x, 2);
    EXPECT_EQ(zan_connect(a, 1, x, 3), zan_err_generic);
    outlet_int(outlet_nth(a, 0), 5);
    outlet_float(outlet_nth(a, 0), 6.9);
    outlet_int(outlet_nth(a, 1), 7);
    EXPECT_EQ(trail, words({"int 5", "int 6", "float 7.000000"}));
    outlet_anything(outlet_nth(a, 0), hello, 0, nullptr);
    EXPECT_NE(reports.one_error().find("inlet 1 takes numbers, not \"hello\""), std::string::npos);
    object_free(x);
    class_free(c);
}

// ---- changes while messages travel ----

TEST_F(Outlets, ACordCutWhileItsFellowIsServedCarriesNothing)
{
    relay *a = make("a", 1), *b = make("b"), *c = make("c"), *d = make("d");
    for (relay *x : {b, c, d})
        wire(a, 0, x, 0);
    does(b, [&] {
        EXPECT_EQ(zan_disconnect(a, 0, c, 0), 0);
        relay *e = make("e");
        wire(a, 0, e, 0); // hears the next message, not this one
        drop(e);
    });
    say(a);
    EXPECT_EQ(trail, words({"a:0 hello", "b:0 hello", "d:0 hello"}));
    trail.clear();
    does(b, [&] { outlet_delete(outlet_nth(a, 0)); });
    say(a);
    EXPECT_EQ(trail, words({"a:0 hello", "b:0 hello"}));
    EXPECT_EQ(outlet_count(a), 0);
}

TEST_F(Outlets, BoxesFreedWhileTheirMessageTravels)
{
    // the middle box frees the sender, the next receiver and itself
    relay *a = make("a", 2, 1), *b = make("b", 1, 1), *c = make("c", 0, 1), *d = make("d");
    wire(a, 1, b, 1);
    wire(a, 1, c, 1);
    wire(a, 1, d, 0);
    wire(b, 0, c, 0);
    does(b, [=, this] {
        for (relay *x : {c, a, b})
            drop(x);
    });
    outlet_anything(outlet_nth(a, 1), hello, 0, nullptr);
    EXPECT_EQ(trail, words({"b:1 hello"})); // d's cord went with its outlet
    EXPECT_EQ(d->heard, 0);
}

TEST_F(Outlets, AProxyDeletedOrFreedTakesItsCords)
{
    relay *a = make(nullptr, 1), *b = make("b", 0, 1);
    void *second = proxy_append(b, 2, &b->stuffloc);
    wire(a, 0, b, 1);
    wire(a, 0, b, 2);
    object_free(second);
    outlet_anything(outlet_nth(a, 0), hello, 0, nullptr);
    EXPECT_EQ(trail, words({"b:1 hello"}));
    EXPECT_EQ(zan_connect(a, 0, b, 2), zan_err_generic);
    EXPECT_EQ(zan_disconnect(a, 0, b, 2), zan_err_generic);
    proxy_delete(a); // no proxy: nothing happens
}

TEST_F(Outlets, ABoxThatFreesItsProxiesItself)
{
    struct owner {
        object header;
        void *proxy, *outlet;
        long place;
    };
    static zan_class *c =
        class_new("proxy_owner", nullptr, M(+[](owner *x) { object_free(x->proxy), object_free(x->outlet); }),
                  sizeof(owner), nullptr, 0);
    auto *x = static_cast<owner *>(object_alloc(c));
    x->proxy = proxy_new(x, 1, &x->place);
    x->outlet = outlet_new(x, nullptr);
    relay *a = make(nullptr, 1);
    wire(a, 0, x, 1);
    object_free(x);
    EXPECT_EQ(outlet_bang(outlet_nth(a, 0)), 1); // into nothing
}

// ---- loops ----

TEST_F(Outlets, ALoopEndsInOneErrorThatNamesIt)
{
    relay *a = make(nullptr, 2), *b = make(nullptr, 2);
    // two ways round: without an end to it, twice as many messages at every box
    for (long o : {0, 1}) {
        wire(a, o, b, 0);
        wire(b, o, a, 0);
    }
    say(a);
    const std::string error = reports.one_error();
    EXPECT_NE(error.find("\"hello\" is dropped"), std::string::npos) << error;
    EXPECT_NE(error.find("relay -> relay -> relay"), std::string::npos) << error;
    EXPECT_EQ(a->heard + b->heard, 1000);
    EXPECT_EQ(zan_disconnect(b, 0, a, 0), 0);
    EXPECT_EQ(zan_disconnect(b, 1, a, 0), 0);
    say(a); // all is well again
    EXPECT_EQ(a->heard + b->heard, 1003);
    EXPECT_TRUE(reports.take().empty());
}

TEST_F(Outlets, ALongChainIsNoLoop)
{
    std::vector<relay *> chain;
    for (size_t i = 0; i < 1001; i++) {
        chain.push_back(make(nullptr, 1));
        if (i)
            wire(chain[i - 1], 0, chain[i], 0);
    }
    say(chain[1]);
    EXPECT_EQ(chain[1000]->heard, 1);
    EXPECT_TRUE(reports.take().empty());
    say(chain[0]);
    EXPECT_EQ(chain[1000]->heard, 1);
    EXPECT_NE(reports.one_error().find("more than 1000 boxes"), std::string::npos);
}

// ---- threads ----

TEST_F(Outlets, MessagesOnTwoThreadsWhileCordsChange)
{
    static std::atomic<long> heard;
    heard = 0;
    zan_class *c = class_new("cord_counter", nullptr, nullptr, sizeof(object), nullptr, 0);
    addbang(M(+[](void *) { heard++; }));
    relay *a = make(nullptr, 1);
    std::vector<void *> counters(9);
    for (void *&x : counters)
        x = object_alloc(c);
    wire(a, 0, counters[8], 0); // the steady one
    constexpr int sends = 5000;
    std::vector<std::thread> senders;
    for (int t = 0; t < 2; t++)
        senders.emplace_back([o = outlet_nth(a, 0)] {
            for (int i = 0; i < sends; i++)
                outlet_bang(o);
        });
    for (int i = 0; i < 500; i++)
        for (size_t n = 0; n < 8; n++)
            EXPECT_EQ((i % 2 ? zan_disconnect : zan_connect)(a, 0, counters[n], 0), 0);
    for (std::thread &t : senders)
        t.join();
    EXPECT_GE(heard, 2 * sends); // the steady one heard them all
    for (void *x : counters)
        object_free(x);
    class_free(c);
}

// ---- set-up of box classes ----

TEST_F(Outlets, ABoxIsFreedWhenMessagesOfTheSchedulerHaveEnded)
{
    relay *from = make("from", 1), *to = make("to");
    ASSERT_EQ(zan_connect(from, 0, to, 0), 0);
    std::atomic<bool> inside{false}, freeing{false};
    bool ended = false;
    to->then = new std::function<void()>([&] {
        inside = true;
        while (!freeing)
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        ended = true;
    });
    void *clock = clock_new(
        from, +[](void *x) { outlet_bang(outlet_nth(x, 0)); });
    clock_delay(clock, 0);
    while (!inside)
        std::this_thread::yield();
    freeing = true;
    drop(to);
    EXPECT_TRUE(ended);
    object_free(clock);
}

TEST_F(Outlets, TheClassInTheMaking)
{
    zan_class *c = class_new("in_the_making", nullptr, nullptr, sizeof(picky), nullptr, 0);
    addbang(M(picky_bang));
    addint(M(picky_int<2>));
    addfloat(M(picky_float));
    addmess(M(picky_hello), "hello", argtype_long, 0);
    void *x = object_alloc(c);
    atom a = A(9);
    for (const char *m : {"bang", "int", "float", "hello"})
        zan_send(x, 0, S(m), std::string(m) != "bang", &a);
    EXPECT_EQ(trail, words({"bang", "int 9", "float 9.000000", "hello 9"}));
    std::thread([] { addbang(M(picky_bang)); }).join(); // no class was made there
    EXPECT_NE(reports.one_error().find("\"bang\""), std::string::npos);
    object_free(x);
    class_free(c);
}

TEST_F(Outlets, ABoxHasANameAndItsLeftInletIsHot)
{
    relay *a = make("a");
    EXPECT_EQ(zbox_get_id(a), nullptr);
    EXPECT_EQ(zbox_get_id(nullptr), nullptr);
    object_obex_storeflags(a, S("#id"), hello, 1);
    EXPECT_EQ(zbox_get_id(a), hello);
    for (long inlet : {0, 1, 5}) {
        char cold = 7;
        stdinletinfo(nullptr, nullptr, inlet, &cold);
        EXPECT_EQ(cold, inlet > 0);
    }
    stdinletinfo(nullptr, nullptr, 1, nullptr);
}

TEST_F(Outlets, DragsCollectOffersForTheirRole)
{
    relay *drag = make("drag"), *x = make("x");
    symbol *role = S("imagefile"), *other = S("audiofile");
    object_obex_storeflags(drag, S("#role"), role, 1);
    EXPECT_NE(zdrag_matchdragrole(drag, role, 0), 0);
    EXPECT_EQ(zdrag_matchdragrole(drag, other, 0), 0);
    EXPECT_EQ(zdrag_matchdragrole(nullptr, role, 0), 0);
    zdrag_object_add(drag, x, other, S("no"), nullptr);
    zdrag_object_add(drag, x, role, S("read"), nullptr);
    zdrag_object_add(drag, drag, role, S("open"), S("show"), nullptr);
    void *offers = nullptr;
    ASSERT_EQ(object_obex_lookup(drag, S("#offers"), &offers), 0);
    long argc = 0;
    atom *argv = nullptr;
    atomarray_getatoms(offers, &argc, &argv);
    ASSERT_EQ(argc, 6);
    EXPECT_EQ(atom_getobj(argv), x);
    EXPECT_EQ(atom_getobj(argv + 2), drag);
    EXPECT_EQ(::text_of(argc, argv), "object read object open object show");
    object_free(offers);
}

} // namespace
