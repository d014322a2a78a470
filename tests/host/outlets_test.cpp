// Outlets, proxies and cords: who hears what, in which order, and what holds when
// boxes and cords come and go while a message is on its way.
#include "relay.h"
#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <numeric>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

class Outlets : public testing::Test {
  protected:
    void SetUp() override { trail.clear(); }
    void TearDown() override
    {
        for (const char *kind : {"outlet", "proxy", "relay"})
            EXPECT_EQ(zan_object_count(S(kind)), 0) << kind;
    }
    static void wire(void *from, long outlet, void *to, long inlet)
    {
        EXPECT_EQ(zan_connect(from, outlet, to, inlet), 0);
    }
    report_catcher reports;
};

TEST_F(Outlets, NewOnesLieLeftAppendedOnesRight)
{
    relay x;
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
        EXPECT_EQ(x.outlet(i), expected[i]) << i;
    EXPECT_FALSE(x.outlet(7) || x.outlet(-1) || outlet_new(nullptr, nullptr) || proxy_new(x, -1, nullptr));
}

TEST_F(Outlets, WhatABoxThrowsIsItsErrorAndItsSenderGoesOn)
{
    relay a("a", 1), b("b"), c("c"), d("d");
    for (const relay *to : {&b, &c, &d})
        wire(a, 0, *to, 0);
    b.does([](symbol *, long, atom *) { throw std::runtime_error("too bad"); });
    c.does([](symbol *, long, atom *) { throw 1; });
    a.hears("hello");
    EXPECT_EQ(trail, words({"a:0 hello", "b:0 hello", "c:0 hello", "d:0 hello"}));
    EXPECT_EQ(reports.take(), words({"\"hello\" threw an exception: too bad", "\"hello\" threw an exception"}));
}

TEST_F(Outlets, CordsAreServedInTheOrderOfMakingAndABoxAtItsRightInletsFirst)
{
    relay a(nullptr, 2), b("b", 0, 2), c("c", 0, 1);
    for (const auto &[to, inlet] : {std::pair<void *, long>(b, 0), {c, 1}, {b, 2}, {b, 1}, {c, 0}})
        wire(a, 0, to, inlet);
    a.hears("hello");
    EXPECT_EQ(trail, words({"b:2 hello", "b:1 hello", "b:0 hello", "c:1 hello", "c:0 hello"}));
    trail.clear();
    wire(a, 1, b, 1); // each kind of message
    void *o = a.outlet(1);
    atom list[] = {A(1), A(2.5)};
    EXPECT_TRUE(outlet_bang(o) && outlet_int(o, -4) && outlet_float(o, 0.5) && outlet_list(o, nullptr, 2, list) &&
                outlet_anything(o, S("hello"), 1, list));
    EXPECT_EQ(trail,
              words({"b:1 bang", "b:1 int -4", "b:1 float 0.500000f", "b:1 list 1 2.500000f", "b:1 hello 1"}));
    EXPECT_FALSE(outlet_bang(nullptr) || outlet_bang(b)); // no outlet
}

TEST_F(Outlets, WrongCordsGiveTheirErrorAndChangeNothing)
{
    relay a(nullptr, 1), b("b", 0, 1);
    wire(a, 0, b, 1);
    const std::tuple<void *, long, void *, long, long, long> rows[] = {
        // a cord, and what connect and disconnect say
        {nullptr, 0, b, 0, zan_err_invalid_ptr, zan_err_invalid_ptr},
        {a, 0, nullptr, 0, zan_err_invalid_ptr, zan_err_invalid_ptr},
        {a, 1, b, 0, zan_err_generic, zan_err_generic},
        {a, 0, b, 2, zan_err_generic, zan_err_generic},
        {a, 0, b, -1, zan_err_generic, zan_err_generic},
        {a, 0, b, 1, zan_err_duplicate, zan_err_none},
        {a, 0, b, 1, zan_err_none, zan_err_none},
    };
    for (const auto &[src, outlet, dst, inlet, connected, disconnected] : rows) {
        EXPECT_EQ(zan_connect(src, outlet, dst, inlet), connected) << outlet << " to " << inlet;
        EXPECT_EQ(zan_disconnect(src, outlet, dst, inlet), disconnected) << outlet << " to " << inlet;
    }
    a.hears("hello");
    EXPECT_TRUE(trail.empty());
}

TEST_F(Outlets, NestedMessagesKeepTheirInletsOnTheirThread)
{
    // a feeds b's inlet 2, and b, while handling it, its own inlet 1
    relay a("a", 1), b("b", 1, 2), c("c", 0, 1);
    wire(a, 0, b, 2);
    wire(b, 0, c, 1);
    bool first = true;
    b.does([&](symbol *s, long, atom *) {
        EXPECT_EQ(proxy_getinlet(b), first ? 2 : 1);
        EXPECT_EQ(proxy_getinlet(c), 0);
        if (std::exchange(first, false)) {
            b.hears("hello", 1);
            EXPECT_EQ(proxy_getinlet(b), 2);
            EXPECT_EQ(*b.stuffloc(), 2); // back to the outer message's
            std::thread([&] { EXPECT_EQ(proxy_getinlet(b), 0); }).join();
        }
        outlet_anything(b.outlet(), s, 0, nullptr);
    });
    a.hears("hello");
    EXPECT_EQ(trail, words({"a:0 hello", "b:2 hello", "b:1 hello", "c:1 hello", "c:1 hello"}));
    EXPECT_EQ(*b.stuffloc() + proxy_getinlet(b), 0);
    b.hears("hello", 3);
    EXPECT_NE(reports.one_error().find("no inlet 3"), std::string::npos);
}

// ---- what a box without the message makes of it ----

const std::map<std::string, std::pair<zan_method, int>> known = {
    {"int", {M(+[](void *, zan_word v) { trail.push_back("int " + std::to_string(v)); }), argtype_long}},
    {"hello", {M(+[](void *, zan_word v) { trail.push_back("hello " + std::to_string(v)); }), argtype_deflong}},
    {"float", {M(+[](void *, double v) { trail.push_back("float " + std::to_string(v)); }), argtype_float}},
    {"bang", {M(+[](void *) { trail.push_back("bang"); }), argtype_nothing}},
    {"hidden", {M(+[](void *) { trail.push_back("hidden"); }), argtype_cant}},
    {"list",
     {M(+[](void *, symbol *, long argc, atom *argv) { trail.push_back("list " + text_of(argc, argv)); }),
      argtype_gimme}},
    {"anything",
     {M(+[](void *, symbol *s, long argc, atom *argv) {
          trail.push_back("any " + std::string(s->name) + " " + text_of(argc, argv));
      }),
      argtype_gimme}},
};

TEST_F(Outlets, OtherFormsOfAMessage)
{
    const atom three = A(3), half = A(2.75), hello = A("hello");
    // what a box knows, what it is sent, what comes of it: "" for an error
    const std::tuple<std::string, std::string, std::vector<atom>, std::string> rows[] = {
        {"int float", "int", {three}, "int 3"},
        {"float", "int", {three}, "float 3.000000"},
        {"int", "float", {half}, "int 2"},
        {"list", "float", {half}, "list 2.750000f"},
        {"list int", "float", {half}, "int 2"},
        {"int", "list", {three, half}, "int 3"},
        {"float", "list", {three, half}, "float 3.000000"},
        {"bang", "list", {}, "bang"},
        {"bang", "int", {three}, ""},
        {"hello", "list", {hello, three}, "hello 3"},
        {"anything", "bang", {}, "any bang "},
        {"anything", "list", {three, half}, "any list 3 2.750000f"},
        {"anything hello", "hello", {three}, "hello 3"},
        {"hidden", "hidden", {}, ""},
        {"hidden anything", "hidden", {}, "any hidden "},
        {"int", "hello", {}, ""},
    };
    for (const auto &[messages, sent, atoms, expected] : rows) {
        SCOPED_TRACE(messages + " <- " + sent);
        trail.clear();
        zan_class *c = class_new("picky", nullptr, nullptr, sizeof(object), nullptr, 0);
        std::istringstream names(messages);
        for (std::string name; names >> name;)
            class_addmethod(c, known.at(name).first, name.c_str(), known.at(name).second, 0);
        void *x = object_alloc(c);
        std::vector<atom> argv = atoms;
        zan_send(x, 0, S(sent.c_str()), long(argv.size()), argv.data());
        EXPECT_EQ(trail, expected.empty() ? words() : words({expected}));
        EXPECT_TRUE(!expected.empty() || reports.one_error().find(sent) != std::string::npos);
        object_free(x);
        class_free(c);
    }
    EXPECT_TRUE(reports.take().empty());
}

TEST_F(Outlets, TheClassInTheMakingMayHaveTypedInletsForNumbers)
{
    zan_class *c = class_new("in_the_making", nullptr, nullptr, sizeof(object), nullptr, 0);
    addbang(known.at("bang").first);
    addint(known.at("int").first);
    addfloat(known.at("float").first);
    addmess(known.at("int").first, "in1", argtype_long, 0);
    addmess(known.at("float").first, "ft2", argtype_float, 0);
    void *x = object_alloc(c);
    relay a(nullptr, 3);
    for (const long inlet : {0, 1, 2})
        wire(a, inlet, x, inlet);
    EXPECT_EQ(zan_connect(a, 1, x, 3), zan_err_generic);
    EXPECT_EQ(zan_inlet_count(x), 3);
    for (const long inlet : {0, 1, 2}) {
        outlet_int(a.outlet(inlet), 5);
        outlet_float(a.outlet(inlet), 6.5);
    }
    outlet_bang(a.outlet());
    EXPECT_EQ(trail,
              words({"int 5", "float 6.500000", "int 5", "int 6", "float 5.000000", "float 6.500000", "bang"}));
    outlet_bang(a.outlet(1));
    EXPECT_NE(reports.one_error().find("inlet 1 takes numbers, not \"bang\""), std::string::npos);
    std::thread([] { addbang(known.at("bang").first); }).join(); // no class was made there
    EXPECT_NE(reports.one_error().find("\"bang\""), std::string::npos);
    object_free(x);
    class_free(c);
}

// ---- changes while messages travel ----

TEST_F(Outlets, ACordCutWhileItsFellowIsServedCarriesNothing)
{
    relay a("a", 1), b("b"), c("c"), d("d");
    for (const relay *to : {&b, &c, &d})
        wire(a, 0, *to, 0);
    b.does([&](symbol *, long, atom *) {
        EXPECT_EQ(zan_disconnect(a, 0, c, 0), 0);
        relay e("e");
        wire(a, 0, e, 0); // would hear the next message, not this one
    });
    a.hears("hello");
    EXPECT_EQ(trail, words({"a:0 hello", "b:0 hello", "d:0 hello"}));
    trail.clear();
    b.does([&](symbol *, long, atom *) { outlet_delete(a.outlet()); });
    a.hears("hello");
    EXPECT_EQ(trail, words({"a:0 hello", "b:0 hello"}));
    EXPECT_EQ(outlet_count(a), 0);
}

TEST_F(Outlets, BoxesFreedWhileTheirMessageTravels)
{
    // the middle box frees the sender, the next receiver and itself
    relay a("a", 2, 1), b("b", 1, 1), c("c", 0, 1), d("d");
    wire(a, 1, b, 1);
    wire(a, 1, c, 1);
    wire(a, 1, d, 0);
    wire(b, 0, c, 0);
    b.does([&](symbol *, long, atom *) {
        for (relay *x : {&c, &a, &b})
            x->drop();
    });
    outlet_anything(a.outlet(1), S("hello"), 0, nullptr);
    EXPECT_EQ(trail, words({"b:1 hello"})); // d's cord went with its outlet
}

TEST_F(Outlets, AProxyDeletedOrFreedTakesItsCords)
{
    struct owner { // frees its proxy ahead of the host
        object header;
        void *proxy;
        long place;
    };
    zan_class *c =
        class_new("proxy_owner", nullptr, M(+[](owner *x) { object_free(x->proxy); }), sizeof(owner), nullptr, 0);
    auto *x = static_cast<owner *>(object_alloc(c));
    x->proxy = proxy_new(x, 1, &x->place);
    relay a(nullptr, 1), b("b", 0, 1);
    void *second = proxy_append(b, 2, b.stuffloc());
    wire(a, 0, x, 1);
    wire(a, 0, b, 1);
    wire(a, 0, b, 2);
    proxy_delete(second);
    proxy_delete(a); // no proxy: nothing happens
    object_free(x);
    a.hears("hello");
    EXPECT_EQ(trail, words({"b:1 hello"}));
    EXPECT_EQ(zan_connect(a, 0, b, 2), zan_err_generic);
    class_free(c);
}

// ---- loops ----

TEST_F(Outlets, ALoopEndsInOneErrorThatNamesIt)
{
    for (const size_t length : {2u, 20u}) {
        std::vector<std::unique_ptr<relay>> boxes;
        for (size_t i = 0; i < length; i++) {
            boxes.push_back(std::make_unique<relay>(nullptr, 2));
            object_obex_storeflags(*boxes[i], S("#id"), S(("b" + std::to_string(i)).c_str()), 1);
        }
        // two ways round: without an end to it, twice as many messages at every box
        for (size_t i = 0; i < length; i++)
            for (long o : {0, 1})
                wire(*boxes[i], o, *boxes[(i + 1) % length], 0);
        const auto heard = [&] {
            return std::accumulate(boxes.begin(), boxes.end(), 0L,
                                   [](long all, const auto &b) { return all + b->heard(); });
        };
        boxes[0]->hears("hello");
        const std::string error = reports.one_error();
        EXPECT_NE(error.find("\"hello\" is dropped: these cords make a loop: "), std::string::npos) << error;
        EXPECT_TRUE(error.ends_with(length == 2
                                        ? "b0 -> b1 -> b0"
                                        : "b0 -> b1 -> b2 -> b3 -> b4 -> b5 -> b6 -> b7 -> b8 -> b9 -> b10 "
                                          "-> b11 -> b12 -> b13 -> ... -> b0"))
            << error;
        EXPECT_EQ(heard(), 1000);
        for (long o : {0, 1})
            EXPECT_EQ(zan_disconnect(*boxes[1], o, *boxes[2 % length], 0), 0);
        boxes[0]->hears("hello"); // all is well again
        EXPECT_EQ(heard(), 1003);
        EXPECT_TRUE(reports.take().empty());
    }
}

TEST_F(Outlets, ALongChainIsNoLoop)
{
    std::vector<std::unique_ptr<relay>> chain;
    for (size_t i = 0; i < 1001; i++) {
        chain.push_back(std::make_unique<relay>(nullptr, 1));
        if (i)
            wire(*chain[i - 1], 0, *chain[i], 0);
    }
    for (const size_t from : {1u, 0u}) {
        chain[from]->hears("hello");
        EXPECT_EQ(chain[1000]->heard(), 1);
    }
    EXPECT_NE(reports.one_error().find("more than 1000 boxes"), std::string::npos);
}

// ---- threads ----

TEST_F(Outlets, MessagesOnTwoThreadsWhileCordsChange)
{
    static std::atomic<long> heard;
    heard = 0;
    zan_class *c = class_new("cord_counter", nullptr, nullptr, sizeof(object), nullptr, 0);
    addbang(M(+[](void *) { heard++; }));
    relay a(nullptr, 1);
    void *counters[9];
    for (void *&x : counters)
        x = object_alloc(c);
    wire(a, 0, counters[8], 0); // the steady one
    const auto send_many = [&] {
        for (int i = 0; i < 5000; i++)
            outlet_bang(a.outlet());
    };
    std::thread senders[] = {std::thread(send_many), std::thread(send_many)};
    for (int i = 0; i < 4000; i++)
        EXPECT_EQ((i / 8 % 2 ? zan_disconnect : zan_connect)(a, 0, counters[i % 8], 0), 0);
    for (std::thread &t : senders)
        t.join();
    EXPECT_GE(heard, 10000); // the steady one heard them all
    for (void *x : counters)
        object_free(x);
    class_free(c);
}

TEST_F(Outlets, ABoxOrOutletIsFreedWhenMessagesOfTheSchedulerHaveEnded)
{
    for (const bool box : {true, false}) {
        relay from(nullptr, 1), to("to");
        wire(from, 0, to, 0);
        std::atomic<int> stage{0};
        to.does([&](symbol *, long, atom *) {
            stage = 1;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            stage = 2;
        });
        const timed clock([&] { outlet_bang(from.outlet()); });
        clock_delay(clock, 0);
        while (!stage)
            std::this_thread::yield();
        box ? to.drop() : outlet_delete(from.outlet());
        EXPECT_EQ(stage, 2) << box;
    }
}

// ---- what else belongs to a box ----

TEST_F(Outlets, DragsCollectOffersForTheirRoleAndTheLeftInletIsHot)
{
    relay drag;
    symbol *role = S("imagefile"), *other = S("audiofile");
    object_obex_storeflags(drag, S("#role"), role, 1);
    EXPECT_TRUE(zdrag_matchdragrole(drag, role, 0));
    EXPECT_FALSE(zdrag_matchdragrole(drag, other, 0) || zdrag_matchdragrole(nullptr, role, 0));
    zdrag_object_add(drag, drag, other, S("no"), nullptr);
    for (symbol *second : {static_cast<symbol *>(nullptr), S("show")})
        zdrag_object_add(drag, drag, role, S("open"), second, nullptr);
    void *offers = nullptr;
    long argc = 0;
    atom *argv = nullptr;
    EXPECT_EQ(object_obex_lookup(drag, S("#offers"), &offers) + atomarray_getatoms(offers, &argc, &argv), 0);
    EXPECT_EQ(text_of(argc, argv), "object open object open object show");
    object_free(offers);
    char cold[2] = {7, 7}; // of the left inlet and the next
    for (const long inlet : {0, 1})
        stdinletinfo(nullptr, nullptr, inlet, cold + inlet);
    EXPECT_TRUE(!cold[0] && cold[1]);
}

} // namespace
