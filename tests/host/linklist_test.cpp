// Lists: a long random walk held against a plain vector, by calls and by messages; who
// frees what; and changes made while a list is walked.
#include "kernel_fixture.h"
#include <algorithm>
#include <random>

namespace {

struct item {
    object header;
    zan_word number;
};

item *new_item(zan_word number)
{
    static zan_class *const c = [] {
        zan_class *made = class_new("linklist_test_item", nullptr, nullptr, sizeof(item), nullptr, 0);
        const auto add =
            +[](item *x, zan_word w1, zan_word w2, zan_word w3, zan_word w4, zan_word w5, zan_word w6) {
                return x->number += w1 + 10 * w2 + 100 * w3 + 1000 * w4 + 10000 * w5 + 100000 * w6;
            };
        class_addmethod(made, M(add), "add", argtype_cant, 0);
        return made;
    }();
    item *x = static_cast<item *>(object_alloc(c));
    x->number = number;
    return x;
}

long items_alive()
{
    return zan_object_count(S("linklist_test_item"));
}

std::vector<void *> contents(void *list)
{
    std::vector<void *> all(size_t(linklist_getsize(list)));
    EXPECT_EQ(linklist_makearray(list, all.data(), long(all.size())), long(all.size()));
    return all;
}

// Plain words as items: the list must leave them alone.
void *plain(long n)
{
    return reinterpret_cast<void *>(n);
}

void *list_of(const std::vector<void *> &items)
{
    void *list = linklist_new();
    for (void *item : items)
        linklist_append(list, item);
    return list;
}

TEST(Linklist, ARandomWalkAgreesWithAVector)
{
    const zan_compare multiple = [](void *x, void *of) -> long { return W(x) % W(of) == 0; };
    const auto is_multiple = [=](void *x) { return multiple(x, plain(70)) != 0; };
    long (*const before)(void *, void *) = [](void *a, void *b) -> long { return W(a) % 10 < W(b) % 10; };
    std::minstd_rand random(20);
    for (const bool by_message : {false, true}) {
        void *list = linklist_new();
        std::vector<void *> model;
        const auto call = [&](const char *name, auto fn, auto... words) -> zan_word {
            if (by_message)
                return send(list, name, words...);
            if constexpr (std::is_void_v<decltype(fn(list, words...))>)
                return fn(list, words...), 0;
            else
                return W(fn(list, words...));
        };
        for (int step = 0; step < 4000; step++) {
            const long size = long(model.size()), index = long(random() % (model.size() + 3)) - 1;
            const long other = long(random() % (model.size() + 1)), turn = long(random() % 2000) - 1000;
            void *value = plain(long(random() % 500));
            const bool valid = index >= 0 && index < size;
            const unsigned kind = random() % 12;
            if (kind < 2) {
                EXPECT_EQ(call("append", linklist_append, value), size);
                model.push_back(value);
            } else if (kind < 4) {
                const long place = std::min(index, size);
                EXPECT_EQ(call(step % 2 ? "insert" : "insertindex", linklist_insertindex, value, index), place);
                if (place >= 0)
                    model.insert(model.begin() + place, value);
            } else if (kind == 4) {
                EXPECT_EQ(call(step % 2 ? "delete" : "deleteindex", linklist_deleteindex, index) == 0, valid);
                if (valid)
                    model.erase(model.begin() + index);
            } else if (kind == 5) {
                const auto found = std::find(model.begin(), model.end(), value);
                const long place = found == model.end() ? -1 : found - model.begin();
                EXPECT_EQ(call("objptr2index", linklist_objptr2index, value), place);
                EXPECT_EQ(call("chuckobject", linklist_chuckobject, value) == 0, place >= 0);
                if (place >= 0)
                    model.erase(found);
            } else if (kind == 6) {
                call("swap", linklist_swap, index, other);
                if (valid && other < size)
                    std::swap(model[size_t(index)], model[size_t(other)]);
            } else if (kind == 7) {
                call("reverse", linklist_reverse);
                std::reverse(model.begin(), model.end());
            } else if (kind == 8) {
                call("rotate", linklist_rotate, turn);
                if (size > 1)
                    std::rotate(model.begin(), model.end() - (turn % size + size) % size, model.end());
            } else if (kind == 9) {
                std::vector<void *> expected;
                std::copy_if(model.begin(), model.end(), std::back_inserter(expected), is_multiple);
                void *item = list, *all = nullptr;
                const long place = call("findfirst", linklist_findfirst, &item, multiple, plain(70));
                EXPECT_EQ(place, expected.empty() ? -1 : linklist_objptr2index(list, expected[0]));
                EXPECT_EQ(item, expected.empty() ? nullptr : expected[0]);
                call("findall", linklist_findall, &all, multiple, plain(70));
                EXPECT_EQ(contents(all), expected);
                linklist_chuck(all);
            } else if (kind == 10) {
                call("shuffle", linklist_shuffle);
                const std::vector<void *> shuffled = contents(list);
                EXPECT_TRUE(size < 20 || shuffled != model);
                EXPECT_TRUE(std::is_permutation(shuffled.begin(), shuffled.end(), model.begin(), model.end()));
                call("sort", linklist_sort, before);
                model = shuffled;
                std::stable_sort(model.begin(), model.end(), before);
            } else {
                EXPECT_EQ(call("getindex", linklist_getindex, index), valid ? W(model[size_t(index)]) : 0);
            }
            ASSERT_EQ(call("getsize", linklist_getsize), long(model.size()));
            ASSERT_EQ(contents(list), model) << "step " << step;
        }
        object_free(list);
    }
}

TEST(Linklist, ObjectsGoWithTheListUnlessChucked)
{
    const long before = items_alive(), lists = zan_object_count(S("linklist"));
    item *kept = new_item(1), *also_kept = new_item(2);
    void *list = list_of({kept, new_item(3), S("a symbol is no object"), nullptr, also_kept, new_item(4)});
    EXPECT_EQ(linklist_chuckindex(list, 0), 0);
    EXPECT_EQ(linklist_deleteindex(list, 0), 0);
    EXPECT_EQ(linklist_chuckobject(list, also_kept), 0);
    EXPECT_EQ(items_alive(), before + 3);
    linklist_clear(list);
    EXPECT_EQ(items_alive(), before + 2);
    linklist_append(list, new_item(5));
    EXPECT_EQ(object_free(list), 0);
    EXPECT_EQ(linklist_chuck(list_of({kept, also_kept})), 0);
    EXPECT_EQ(zan_object_count(S("linklist")), lists);
    EXPECT_EQ(items_alive(), before + 2);
    object_free(kept);
    object_free(also_kept);
}

TEST(Linklist, MessagesReachEveryItemWithTheirWords)
{
    void *list = list_of({new_item(0), new_item(1000000), new_item(2000000)});
    symbol *add = S("add");
    EXPECT_EQ(linklist_methodall_imp(list, add, 1, 2, 3, 4, 5, 6, 0, 0), 2654321);
    EXPECT_EQ(linklist_methodindex_imp(list, 1, add, 1, 0, 0, 0, 0, 0, 0, 0), 1654322);
    EXPECT_EQ(send(list, "methodall", add, 1, 1, 1, 1, 1, 1), 2654321 + 111111);
    EXPECT_EQ(send(list, "methodindex", 0, add, 1, 1, 1, 1, 1, 1), 654321 + 222222);
    const auto number = [](void *x, void *more) { return static_cast<item *>(x)->number + W(more); };
    EXPECT_EQ(linklist_funindex(list, 1, number, plain(5)), 1765433 + 5);
    object_free(list);
}

TEST(Linklist, AWalkMayTakeItemsAway)
{
    static void *list;
    static void (*act)(long index);
    static std::vector<zan_word> seen;
    const long before = items_alive();
    // each visit deletes the next item, frees itself, empties the list, or puts one in front
    const struct {
        void (*act)(long index);
        std::vector<zan_word> seen;
        long left;
    } rows[] = {
        {[](long index) { linklist_deleteindex(list, index + 1); }, {0, 2, 4}, 3},
        {[](long index) { linklist_deleteindex(list, index); }, {0, 1, 2, 3, 4, 5}, 0},
        {[](long) { linklist_clear(list); }, {0}, 0},
        {[](long) { linklist_insertindex(list, new_item(100), 0); }, {0, 1, 2, 3, 4, 5}, 12},
    };
    const auto visit = [](void *x, void *) {
        seen.push_back(static_cast<item *>(x)->number);
        act(linklist_objptr2index(list, x));
    };
    for (const auto &row : rows) {
        act = row.act;
        seen.clear();
        list = list_of({new_item(0), new_item(1), new_item(2), new_item(3), new_item(4), new_item(5)});
        linklist_funallsafe(list, visit, nullptr);
        EXPECT_EQ(seen, row.seen);
        EXPECT_EQ(linklist_getsize(list), row.left);
        object_free(list);
    }
    EXPECT_EQ(items_alive(), before);
}

TEST(Linklist, WhatIsNoCollectionIsRefused)
{
    void *other = dictionary_new();
    bool (*const calls[])(void *) = {
        [](void *x) { return linklist_getsize(x) == 0 && linklist_append(x, x) == -1; },
        [](void *x) { return linklist_findfirst(x, &x, nullptr, nullptr) == -1 && !x; },
        [](void *x) { return linklist_chuck(x) != 0 && linklist_deleteindex(x, 0) != 0; },
        [](void *x) { return linklist_clear(x), linklist_reverse(x), linklist_shuffle(x), true; },
        [](void *t) { return hashtab_store(t, S("a"), t) && hashtab_lookup(t, S("a"), &t); },
        [](void *t) { return hashtab_chuckkey(t, S("a")) && hashtab_chuck(t) && !hashtab_getsize(t); },
        [](void *t) {
            return hashtab_objfunall(
                       t, [](void *, void *) { ADD_FAILURE(); }, nullptr) != 0;
        },
        [](void *t) { return hashtab_getkeys(t, nullptr, nullptr) != 0; },
    };
    for (const auto &call : calls)
        EXPECT_TRUE(call(nullptr) && call(other)) << &call - calls;
    EXPECT_EQ(object_free(other), 0);
}

} // namespace
