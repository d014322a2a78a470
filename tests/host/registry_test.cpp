// Names, clients and notifications, with objects and clients that go meanwhile.
#include "kernel_fixture.h"
#include <algorithm>
#include <atomic>
#include <chrono>
#include <numeric>
#include <thread>

namespace {

using words = std::vector<std::string>;

struct party {
    object header;
    const char *name;
};
// What a party does when it is told: (itself, name, message, sender, data).
std::function<void(party *, symbol *, symbol *, void *, void *)> heard;

class registry : public testing::Test {
  protected:
    void SetUp() override
    {
        heard = [this](party *x, symbol *name, symbol *message, void *sender, void *data) {
            EXPECT_EQ(name, n);
            const char *from = static_cast<party *>(sender)->name, *with = static_cast<const char *>(data);
            log.push_back(std::string(message->name) + " of " + from + " to " + x->name + (with ? with : ""));
        };
    }
    void TearDown() override
    {
        EXPECT_EQ(zan_object_count(S("test_party")) + zan_object_count(S("test_other_party")), 0);
    }
    static party *make(const char *called = "", const char *kind = "test_party")
    {
        zan_class *c = class_findbyname(S("test"), S(kind));
        if (!c) {
            c = class_new(kind, nullptr, nullptr, sizeof(party), nullptr, 0);
            class_addmethod(c, M(+[](party *x, symbol *name, symbol *message, void *sender, void *data) {
                                heard(x, name, message, sender, data);
                            }),
                            "notify", argtype_cant, 0);
            class_register(S("test"), c);
        }
        party *x = static_cast<party *>(object_alloc(c));
        x->name = called;
        return x;
    }
    words take() { return std::exchange(log, {}); }

    symbol *space = S("test_space"), *n = symbol_unique(), *n2 = symbol_unique();
    words log;
};

TEST_F(registry, a_name_is_found_moved_and_dropped)
{
    party *x = make();
    EXPECT_EQ(object_findregistered(space, n), nullptr);
    for (int twice = 0; twice < 2; twice++)
        EXPECT_EQ(object_register(space, n, x), x);
    EXPECT_EQ(object_findregistered(space, n), x);
    EXPECT_EQ(object_register(space, n2, x), x); // under another name now
    EXPECT_FALSE(object_findregistered(space, n) || object_findregistered(S("elsewhere"), n2));
    symbol *found_space = nullptr, *found_name = nullptr;
    EXPECT_EQ(object_findregisteredbyptr(&found_space, &found_name, x), 0);
    EXPECT_TRUE(found_space == space && found_name == n2);
    EXPECT_EQ(object_unregister(x), 0);
    EXPECT_TRUE(object_unregister(x) && object_findregisteredbyptr(&found_space, &found_name, x));
    EXPECT_EQ(object_findregistered(space, n2), nullptr);
    EXPECT_FALSE(object_register(nullptr, n, x) || object_register(space, nullptr, x));
    object_register(space, n, x);
    object_free(x);
    EXPECT_EQ(object_findregistered(space, n), nullptr);
}

TEST_F(registry, a_taken_name_gives_a_reference_to_its_holder_and_is_refused_to_another_class)
{
    party *first = make(), *other = make("", "test_other_party");
    object_register(space, n, first);
    EXPECT_EQ(object_register(space, n, make()), first); // the second is gone
    EXPECT_EQ(zan_object_count(S("test_party")), 1);
    object_free(first); // one of its two owners
    EXPECT_EQ(object_register(space, n, other), nullptr);
    EXPECT_EQ(object_findregistered(space, n), first);
    EXPECT_EQ(object_classname(other), S("test_other_party")); // and lives on
    object_free(first);
    EXPECT_EQ(object_register(space, n, other), other);
    object_free(other);
}

TEST_F(registry, clients_hear_before_and_after_the_name_is_taken)
{
    party *x = make("x"), *early = make("early"), *late = make("late");
    EXPECT_EQ(object_attach(space, n, early), nullptr);
    object_notify(x, S("nothing"), nullptr); // has no name yet
    object_register(space, n, x);
    for (int twice = 0; twice < 2; twice++) // told once and detached twice
        EXPECT_EQ(object_attach(space, n, late), x);
    object_notify(x, S("m"), nullptr);
    EXPECT_EQ(take(), words({"m of x to early", "m of x to late"}));
    EXPECT_EQ(object_detach(space, n, early) + object_detach(space, n, late), 0);
    EXPECT_NE(object_detach(space, n, early), 0);
    object_free(x);
    EXPECT_EQ(take(), words({"free of x to late"}));
    party *again = make("again");
    object_register(space, n, again); // late still listens to the name
    char data[] = " with data";
    object_notify(again, S("m"), data);
    EXPECT_EQ(take(), words({"m of again to late with data"}));
    object_free(late);
    object_notify(again, S("m"), nullptr);
    EXPECT_EQ(take(), words());
    object_free(again);
    object_free(early);
}

// What a client may do while it is told, with a few or many clients and the one that acts
// in any place: whether the others still hear of it, or twice.
TEST_F(registry, a_notification_survives_what_its_clients_do)
{
    enum hearers { whole, up_to_it, twice };
    party *x, *added;
    std::vector<party *> clients;
    const auto drop = [](party *&p) { object_free(std::exchange(p, nullptr)); };
    const auto others = [&](std::function<void(party *&)> act) {
        return [&, act](party *&self) {
            for (party *&c : clients)
                if (c != self)
                    act(c);
        };
    };
    const auto detach = [&](party *&p) { object_detach(space, n, p); };
    const std::tuple<const char *, std::function<void(party *&)>, hearers> acts[] = {
        {"detaches itself", detach, whole},
        {"frees itself", drop, whole},
        {"unregisters the sender", [&](party *&) { object_unregister(x); }, whole},
        {"attaches another", [&](party *&) { object_attach(space, n, added = make()); }, whole},
        {"detaches the others", others(detach), up_to_it},
        {"frees the others", others(drop), up_to_it},
        {"frees the sender", [&](party *&) { drop(x); }, up_to_it},
        {"notifies again", [&](party *&) { object_notify(x, S("m"), nullptr); }, twice},
    };
    for (const auto &[name, act, hear] : acts)
        for (const auto &[who, count] : {std::pair<size_t, size_t>(0, 4), {1, 4}, {3, 4}, {20, 40}}) {
            SCOPED_TRACE(name + (" at " + std::to_string(who)));
            x = make();
            added = nullptr;
            object_register(space, n, x);
            clients.assign(count, nullptr);
            for (party *&c : clients)
                object_attach(space, n, c = make());
            std::vector<size_t> told;
            bool acted = false;
            heard = [&, who = who, act = act](party *self, symbol *, symbol *message, void *, void *) {
                if (message != S("m"))
                    return;
                told.push_back(size_t(std::find(clients.begin(), clients.end(), self) - clients.begin()));
                if (told.back() == who && !std::exchange(acted, true))
                    act(clients[who]);
            };
            object_notify(x, S("m"), nullptr);
            std::vector<size_t> expected(hear == whole ? count : who + 1);
            std::iota(expected.begin(), expected.end(), 0);
            if (hear == twice)
                for (size_t i = 0; i < 2 * count - who - 1; ++i)
                    expected.push_back(i < count ? i : i - count + who + 1);
            EXPECT_EQ(told, expected);
            for (party *p : clients)
                object_free(p);
            object_free(added);
            object_free(x);
        }
}

TEST_F(registry, a_client_of_a_dying_object_finds_it_and_may_put_another_in_its_place)
{
    party *x = make("x"), *c = make("c"), *d = make("d"), *next = nullptr;
    object_register(space, n, x);
    object_attach(space, n, c);
    object_attach(space, n, d);
    const auto note = heard;
    heard = [&](party *self, symbol *name, symbol *message, void *sender, void *data) {
        note(self, name, message, sender, data);
        if (self != c || sender != x)
            return;
        EXPECT_EQ(object_findregistered(space, name), x); // whole, and still there
        EXPECT_EQ(object_free(x), 0);                     // freed once only
        next = make("next");
        EXPECT_EQ(object_register(space, name, next), next);
    };
    object_free(x);
    EXPECT_EQ(take(), words({"free of x to c", "free of x to d"}));
    EXPECT_EQ(zan_object_count(S("test_party")), 3);
    EXPECT_EQ(object_findregistered(space, n), next);
    for (party *p : {next, c, d})
        object_free(p);
}

using ThreadsRegistry = registry;

TEST_F(ThreadsRegistry, who_is_freed_while_another_thread_tells_goes_behind_the_call)
{
    for (const bool frees_sender : {false, true}) {
        party *both[] = {make(), make()}; // client, sender
        std::atomic<int> stage{0};
        heard = [&](party *, symbol *, symbol *message, void *, void *) {
            if (message != S("slow"))
                return;
            stage = 1;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            stage = 2;
        };
        object_register(space, n, both[1]);
        object_attach(space, n, both[0]);
        std::thread other([&] { object_notify(both[1], S("slow"), nullptr); });
        while (!stage)
            std::this_thread::yield();
        object_free(both[frees_sender]);
        EXPECT_EQ(stage, 2) << frees_sender;
        other.join();
        object_free(both[!frees_sender]);
    }
}

TEST_F(ThreadsRegistry, many_share_a_few_names)
{
    std::vector<symbol *> list(50);
    for (symbol *&name : list)
        name = symbol_unique();
    object_free(make()); // the class is there
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < 4; ++t)
        threads.emplace_back([this, t, &list] {
            for (unsigned i = 0; i < 3000; ++i) {
                symbol *name = list[i % 100 ? i * (t + 1) % 50 : 0]; // often apart, now and then together
                void *there = object_register(space, name, make());
                ASSERT_NE(there, nullptr);
                EXPECT_EQ(object_findregistered(space, name), there);
                object_free(there);
            }
        });
    for (std::thread &t : threads)
        t.join();
    for (symbol *name : list)
        EXPECT_EQ(object_findregistered(space, name), nullptr);
}

} // namespace
