// Names, clients and notifications, with objects and clients that go meanwhile.
#include "kernel_fixture.h"
#include <functional>
#include <numeric>
#include <thread>

namespace {

struct party {
    object header;
    std::function<void(party *, symbol *, symbol *, void *, void *)> *heard;
};

void party_notify(party *x, symbol *name, symbol *message, void *sender, void *data)
{
    if (x->heard)
        (*x->heard)(x, name, message, sender, data);
}

zan_class *party_class(const char *name)
{
    zan_class *c = class_new(name, nullptr, nullptr, sizeof(party), nullptr, 0);
    class_addmethod(c, M(party_notify), "notify", argtype_cant, 0);
    return c;
}

class registry : public testing::Test {
  protected:
    static inline zan_class *kind = nullptr, *other_kind = nullptr;
    symbol *space = S("test_space");
    std::vector<std::string> log;
    std::function<void(party *, symbol *, symbol *, void *, void *)> heard =
        [this](party *x, symbol *name, symbol *message, void *, void *) {
            log.push_back(std::string(name->name) + " " + message->name + " to " + name_of(x));
        };
    std::vector<std::pair<void *, std::string>> names;

    std::string name_of(void *x) const
    {
        for (const auto &[who, name] : names)
            if (who == x)
                return name;
        return "stranger";
    }
    party *make(const char *called = "", bool other = false)
    {
        if (!kind) {
            kind = party_class("test_party");
            other_kind = party_class("test_other_party");
        }
        party *x = static_cast<party *>(object_alloc(other ? other_kind : kind));
        x->heard = &heard;
        names.emplace_back(x, called);
        return x;
    }
    std::string heard_since()
    {
        std::string all;
        for (const std::string &line : log)
            all += line + "; ";
        log.clear();
        return all;
    }
};

TEST_F(registry, a_name_is_found_moved_and_dropped)
{
    party *x = make();
    symbol *n1 = symbol_unique(), *n2 = symbol_unique();
    EXPECT_EQ(object_findregistered(space, n1), nullptr);
    for (int twice = 0; twice < 2; twice++)
        EXPECT_EQ(object_register(space, n1, x), x);
    EXPECT_EQ(object_findregistered(space, n1), x);
    EXPECT_EQ(object_findregistered(S("elsewhere"), n1), nullptr);
    EXPECT_EQ(object_register(space, n2, x), x); // under another name now
    EXPECT_EQ(object_findregistered(space, n1), nullptr);
    symbol *found_space = nullptr, *found_name = nullptr;
    EXPECT_EQ(object_findregisteredbyptr(&found_space, &found_name, x), 0);
    EXPECT_TRUE(found_space == space && found_name == n2);
    EXPECT_EQ(object_unregister(x), 0);
    EXPECT_NE(object_unregister(x), 0);
    EXPECT_NE(object_findregisteredbyptr(&found_space, &found_name, x), 0);
    EXPECT_EQ(object_findregistered(space, n2), nullptr);
    EXPECT_EQ(object_register(nullptr, n1, x), nullptr);
    EXPECT_EQ(object_register(space, nullptr, x), nullptr);
    object_register(space, n1, x);
    object_free(x);
    EXPECT_EQ(object_findregistered(space, n1), nullptr);
}

TEST_F(registry, a_taken_name_gives_a_reference_to_its_holder)
{
    symbol *n = symbol_unique();
    party *first = make("first"), *second = make("second");
    const long alive = zan_object_count(S("test_party"));
    object_register(space, n, first);
    EXPECT_EQ(object_register(space, n, second), first); // second is gone
    EXPECT_EQ(zan_object_count(S("test_party")), alive - 1);
    object_free(first); // one of its two owners
    EXPECT_EQ(object_findregistered(space, n), first);
    object_free(first);
    EXPECT_EQ(object_findregistered(space, n), nullptr);
    EXPECT_EQ(zan_object_count(S("test_party")), alive - 2);
}

TEST_F(registry, a_name_of_another_class_is_refused)
{
    symbol *n = symbol_unique();
    party *first = make("first"), *other = make("other", true);
    object_register(space, n, first);
    EXPECT_EQ(object_register(space, n, other), nullptr);
    EXPECT_EQ(object_findregistered(space, n), first);
    EXPECT_EQ(object_classname(other), S("test_other_party")); // and lives on
    object_free(first);
    EXPECT_EQ(object_register(space, n, other), other);
    object_free(other);
}

TEST_F(registry, clients_hear_before_and_after_the_name_is_taken)
{
    symbol *n = gensym("the_name");
    party *x = make("x"), *early = make("early"), *late = make("late");
    EXPECT_EQ(object_attach(space, n, early), nullptr);
    object_notify(x, S("nobody"), nullptr); // has no name yet
    object_register(space, n, x);
    EXPECT_EQ(object_attach(space, n, late), x);
    object_notify(x, S("modified"), nullptr);
    EXPECT_EQ(heard_since(), "the_name modified to early; the_name modified to late; ");
    EXPECT_EQ(object_detach(space, n, early), 0);
    EXPECT_NE(object_detach(space, n, early), 0);
    object_free(x);
    EXPECT_EQ(heard_since(), "the_name free to late; ");
    party *again = make("again");
    object_register(space, n, again); // late still listens to the name
    object_notify(again, S("modified"), nullptr);
    EXPECT_EQ(heard_since(), "the_name modified to late; ");
    object_free(late);
    object_notify(again, S("modified"), nullptr);
    EXPECT_EQ(heard_since(), "");
    object_free(again);
    object_free(early);
}

TEST_F(registry, attached_twice_is_told_once_and_detached_twice)
{
    symbol *n = gensym("twice");
    party *x = make("x"), *c = make("c");
    object_register(space, n, x);
    object_attach(space, n, c);
    object_attach(space, n, c);
    for (const char *told : {"twice m to c; ", "twice m to c; ", ""}) {
        object_notify(x, S("m"), nullptr);
        EXPECT_EQ(heard_since(), told);
        object_detach(space, n, c);
    }
    object_free(c);
    object_free(x);
}

TEST_F(registry, the_notice_carries_sender_and_data)
{
    symbol *n = gensym("carried");
    party *x = make(), *c = make();
    object_register(space, n, x);
    object_attach(space, n, c);
    long told = 0;
    heard = [&](party *, symbol *, symbol *message, void *sender, void *data) {
        EXPECT_EQ(sender, x);
        EXPECT_EQ(data, message == S("m") ? &told : nullptr);
        told++;
    };
    object_notify(x, S("m"), &told);
    EXPECT_EQ(told, 1);
    object_free(c);
    object_free(x);
}

// What a client may do while it is told, with four clients and the one that acts in
// any place: whether the others still hear of it, or twice.
TEST_F(registry, a_notification_survives_what_its_clients_do)
{
    enum hearers { whole, up_to_it, twice };
    party *x, *clients[4], *added;
    symbol *n = gensym("wild");
    const auto drop = [](party *&p) { object_free(std::exchange(p, nullptr)); };
    const struct {
        const char *name;
        std::function<void(party *&)> act;
        hearers told;
    } acts[] = {
        {"detaches itself", [&](party *&self) { object_detach(space, n, self); }, whole},
        {"frees itself", drop, whole},
        {"unregisters the sender", [&](party *&) { object_unregister(x); }, whole},
        {"attaches another", [&](party *&) { object_attach(space, n, added = make()); }, whole},
        {"detaches the others",
         [&](party *&self) {
             for (party *c : clients)
                 if (c != self)
                     object_detach(space, n, c);
         },
         up_to_it},
        {"frees the others",
         [&](party *&self) {
             for (party *&c : clients)
                 if (c != self)
                     drop(c);
         },
         up_to_it},
        {"frees the sender", [&](party *&) { drop(x); }, up_to_it},
        {"notifies again", [&](party *&) { object_notify(x, S("m"), nullptr); }, twice},
    };
    for (const auto &row : acts)
        for (size_t who : {0, 1, 3}) {
            SCOPED_TRACE(row.name + (" at " + std::to_string(who)));
            const long alive = zan_object_count(S("test_party"));
            x = make("x");
            added = nullptr;
            object_register(space, n, x);
            for (party *&c : clients) {
                c = make();
                object_attach(space, n, c);
            }
            std::vector<size_t> told;
            bool acted = false;
            heard = [&](party *self, symbol *, symbol *message, void *, void *) {
                if (message != S("m"))
                    return;
                told.push_back(static_cast<size_t>(std::find(clients, clients + 4, self) - clients));
                if (told.back() == who && !std::exchange(acted, true))
                    row.act(clients[who]);
            };
            object_notify(x, S("m"), nullptr);
            std::vector<size_t> expected(row.told == whole ? 4 : who + 1);
            std::iota(expected.begin(), expected.end(), 0);
            if (row.told == twice) {
                expected.insert(expected.end(), {0, 1, 2, 3});
                for (size_t i = who + 1; i < 4; ++i)
                    expected.push_back(i);
            }
            EXPECT_EQ(told, expected);
            for (party *p : {clients[0], clients[1], clients[2], clients[3], added, x})
                object_free(p);
            EXPECT_EQ(zan_object_count(S("test_party")), alive);
        }
}

TEST_F(registry, a_client_of_a_dying_object_finds_it_and_may_put_another_in_its_place)
{
    symbol *n = gensym("successor");
    party *x = make("x"), *c = make("c"), *d = make("d"), *next = nullptr;
    object_register(space, n, x);
    object_attach(space, n, c);
    object_attach(space, n, d);
    heard = [&](party *self, symbol *name, symbol *message, void *sender, void *) {
        log.push_back(std::string(message->name) + " to " + name_of(self));
        if (self != c || message != S("free"))
            return;
        EXPECT_EQ(object_findregistered(space, name), sender); // whole, and still there
        EXPECT_EQ(static_cast<object *>(sender)->magic, ZAN_OBJECT_MAGIC);
        EXPECT_NE(object_free(sender), 1); // freed once only
        next = make("next");
        EXPECT_EQ(object_register(space, name, next), next);
    };
    const long alive = zan_object_count(S("test_party"));
    object_free(x);
    EXPECT_EQ(heard_since(), "free to c; free to d; ");
    EXPECT_EQ(zan_object_count(S("test_party")), alive);
    EXPECT_EQ(object_findregistered(space, n), next);
    for (party *p : {c, d, next}) {
        p->heard = nullptr;
        object_free(p);
    }
}

using ThreadsRegistry = registry;

TEST_F(ThreadsRegistry, names_are_found_while_another_registers)
{
    party *x = make();
    x->heard = nullptr;
    constexpr long count = 500;
    std::vector<symbol *> list;
    for (long i = 0; i < count; ++i)
        list.push_back(symbol_unique());
    std::atomic<bool> done{false};
    std::thread reader([&] {
        while (!done)
            for (symbol *n : list) {
                void *found = object_findregistered(space, n);
                ASSERT_TRUE(!found || found == x);
            }
    });
    for (int round = 0; round < 5; ++round)
        for (symbol *n : list)
            object_register(space, n, x);
    done = true;
    reader.join();
    EXPECT_EQ(object_findregistered(space, list.back()), x);
    EXPECT_EQ(object_findregistered(space, list.front()), nullptr);
    object_free(x);
}

TEST_F(ThreadsRegistry, who_is_freed_while_another_thread_tells_goes_behind_the_call)
{
    for (const bool frees_sender : {false, true}) {
        party *sender = make(), *client = make();
        std::atomic<int> stage{0};
        std::function<void(party *, symbol *, symbol *, void *, void *)> slow =
            [&](party *, symbol *, symbol *message, void *, void *) {
                if (message != S("slow"))
                    return;
                stage = 1;
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
                stage = 2;
            };
        client->heard = &slow;
        symbol *n = symbol_unique();
        object_register(space, n, sender);
        object_attach(space, n, client);
        std::thread other([&] { object_notify(sender, S("slow"), nullptr); });
        while (!stage)
            std::this_thread::yield();
        object_free(frees_sender ? sender : client);
        EXPECT_EQ(stage, 2) << frees_sender;
        other.join();
        object_free(frees_sender ? client : sender);
    }
}

TEST_F(ThreadsRegistry, many_share_one_name)
{
    symbol *n = symbol_unique();
    make();
    object_free(names.back().first);
    const long alive = zan_object_count(S("test_party"));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([this, n] {
            for (int i = 0; i < 3000; ++i) {
                void *mine = object_alloc(kind);
                void *there = object_register(space, n, mine);
                ASSERT_NE(there, nullptr);
                object_free(there);
            }
        });
    for (std::thread &t : threads)
        t.join();
    EXPECT_EQ(object_findregistered(space, n), nullptr);
    EXPECT_EQ(zan_object_count(S("test_party")), alive);
}

} // namespace
