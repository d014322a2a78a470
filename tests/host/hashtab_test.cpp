// Hash tables: order, misses, gaps, changes during a run, ownership of the values.
#include "kernel_fixture.h"
#include <algorithm>
#include <random>
#include <thread>

namespace {

symbol *numbered(long n)
{
    return S(("key" + std::to_string(n)).c_str());
}

// Small tables have no index, large ones do, and gaps are closed at growth: sizes on
// both sides, with keys taken out and put back in.
TEST(hashtab, holds_what_a_plain_map_holds_in_order_of_storing)
{
    for (const long size : {-3l, 1l, 7l, 8l, 9l, 16l, 17l, 100l, 5000l}) {
        void *t = object_new_imp(S("nobox"), S("hashtab"), size, 0, 0, 0, 0, 0, 0, 0);
        std::mt19937 random(static_cast<unsigned>(size));
        std::vector<std::pair<symbol *, void *>> expected;
        for (long step = 0; step < size * 4; ++step) {
            symbol *key = numbered(static_cast<long>(random() % static_cast<unsigned long>(size + 1)));
            void *value = reinterpret_cast<void *>(step + 1), *found = t;
            const auto there =
                std::find_if(expected.begin(), expected.end(), [&](const auto &e) { return e.first == key; });
            const bool known = there != expected.end();
            EXPECT_EQ(send(t, "lookup", key, &found) == 0, known);
            EXPECT_EQ(found, known ? there->second : t) << "a miss leaves the word alone";
            if (random() % 3 == 0) {
                EXPECT_EQ(hashtab_chuckkey(t, key) == 0, known);
                if (known)
                    expected.erase(there);
            } else {
                EXPECT_EQ(send(t, "store", key, value), 0);
                if (known)
                    there->second = value; // keeps its place
                else
                    expected.emplace_back(key, value);
            }
        }
        EXPECT_NE(hashtab_store(t, nullptr, t), 0);
        ASSERT_EQ(send(t, "getsize"), W(expected.size()));
        long count = -1;
        symbol **keys = nullptr;
        EXPECT_EQ(hashtab_getkeys(t, &count, &keys), 0);
        ASSERT_EQ(size_t(count), expected.size());
        for (size_t i = 0; i < expected.size(); ++i) {
            void *value = nullptr;
            EXPECT_EQ(hashtab_lookup(t, keys[i], &value), 0);
            ASSERT_EQ(std::pair(keys[i], value), expected[i]) << size << " place " << i;
        }
        sysmem_freeptr(keys);
        EXPECT_EQ(send(t, "chuck"), 0);
    }
}

TEST(hashtab, a_run_survives_storing_and_chucking)
{
    static std::vector<symbol *> seen;
    seen.clear();
    void *t = hashtab_new(0);
    for (long i = 0; i < 8; ++i)
        hashtab_store(t, numbered(i), nullptr);
    const auto visit = [](zan_hashtab_entry *e, void *table) {
        seen.push_back(e->key);
        for (long i = 100; i < 140 && seen.size() == 1; ++i) // adds many
            hashtab_store(table, numbered(i), nullptr);
        hashtab_chuckkey(table, numbered(0)); // takes out the present and a later one
        hashtab_chuckkey(table, numbered(5));
    };
    EXPECT_EQ(hashtab_funall(t, visit, t), 0);
    ASSERT_EQ(seen.size(), 8u - 1 + 40);
    EXPECT_EQ(seen[5], numbered(6)); // 5 went before its turn
    EXPECT_EQ(seen.back(), numbered(139));
    EXPECT_EQ(hashtab_getsize(t), 8 - 2 + 40);
    hashtab_chuck(t);
}

TEST(hashtab, frees_its_values_unless_readonly_or_chucked)
{
    for (const char *kept : {"", "readonly", "chuck"}) {
        void *t = hashtab_new(0), *values[] = {linklist_new(), linklist_new(), reinterpret_cast<void *>(16)};
        const long before = zan_object_count(S("linklist"));
        for (long i = 0; i < 3; ++i) // the last one is no object, and nobody's page
            hashtab_store(t, numbered(i), values[i]);
        if (*kept == 'r')
            send(t, "readonly", 1);
        EXPECT_EQ(*kept == 'c' ? hashtab_chuck(t) : object_free(t), 0);
        EXPECT_EQ(zan_object_count(S("linklist")), *kept ? before : before - 2) << kept;
        for (int i = 0; *kept && i < 2; ++i)
            object_free(values[i]);
    }
}

TEST(ThreadsHashtab, is_read_while_another_adds)
{
    void *t = hashtab_new(0);
    std::thread writer([t] {
        for (long i = 0; i < 2000; ++i)
            hashtab_store(t, numbered(i), numbered(i));
    });
    for (long i = 0; hashtab_getsize(t) < 2000; i = (i + 97) % 2000) {
        void *value = numbered(i);
        hashtab_lookup(t, numbered(i), &value);
        EXPECT_EQ(value, numbered(i));
    }
    writer.join();
    hashtab_chuck(t);
}

} // namespace
