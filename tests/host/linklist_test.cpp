// Lists: a long random walk held against a plain vector, by calls and by messages; who
// frees what; and changes made while a list is walked.
#include "kernel_fixture.h"
#include <algorithm>
#include <array>
#include <random>

namespace {

struct item {
    object header;
    zan_word number;
};

zan_word item_number(item *x)
{
    return x->number;
}
zan_word item_add(item *x, zan_word a, zan_word b, zan_word c, zan_word d, zan_word e, zan_word f)
{
    return x->number += a + 10 * b + 100 * c + 1000 * d + 10000 * e + 100000 * f;
}

zan_class *item_class()
{
    static zan_class *c = [] {
        zan_class *made =
            class_new("linklist_test_item", nullptr, nullptr, sizeof(item), nullptr, argtype_cant, 0);
        class_addmethod(made, M(item_number), "number", argtype_cant, 0);
        class_addmethod(made, M(item_add), "add", argtype_cant, 0);
        class_register(S("nobox"), made);
        return made;
    }();
    return c;
}

item *new_item(zan_word number)
{
    item *x = static_cast<item *>(object_alloc(item_class()));
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

void *plain_list(long count)
{
    void *list = linklist_new();
    for (long i = 1; i <= count; i++)
        linklist_append(list, plain(i));
    return list;
}

TEST(Linklist, ARandomWalkAgreesWithAVector)
{
    std::minstd_rand random(20);
    for (const bool by_message : {false, true}) {
        void *list = linklist_new();
        std::vector<void *> model;
        for (int step = 0; step < 4000; step++) {
            const long index = long(random() % (model.size() + 1)) - 1,
                       other = long(random() % (model.size() + 1));
            void *value = plain(long(random() % 500));
            const bool valid = index >= 0 && index < long(model.size());
            switch (random() % 10) {
            case 0:
            case 1: {
                const long where = by_message ? send(list, "append", W(value)) : linklist_append(list, value);
                EXPECT_EQ(where, long(model.size()));
                model.push_back(value);
                break;
            }
            case 2:
            case 3: {
                const long where = by_message ? send(list, step % 2 ? "insert" : "insertindex", W(value), index)
                                              : linklist_insertindex(list, value, index);
                EXPECT_EQ(where, index < 0 ? -1 : index);
                if (index >= 0)
                    model.insert(model.begin() + index, value);
                break;
            }
            case 4: {
                const long error = by_message ? send(list, step % 2 ? "delete" : "deleteindex", index)
                                              : linklist_deleteindex(list, index);
                EXPECT_EQ(error == 0, valid);
                if (valid)
                    model.erase(model.begin() + index);
                break;
            }
            case 5: {
                const auto found = std::find(model.begin(), model.end(), value);
                const long place = found == model.end() ? -1 : found - model.begin();
                EXPECT_EQ(by_message ? send(list, "objptr2index", W(value)) : linklist_objptr2index(list, value),
                          place);
                EXPECT_EQ((by_message ? send(list, "chuckobject", W(value)) : linklist_chuckobject(list, value)) ==
                              0,
                          place >= 0);
                if (place >= 0)
                    model.erase(found);
                break;
            }
            case 6:
                by_message ? (void)send(list, "swap", index, other) : linklist_swap(list, index, other);
                if (valid && other < long(model.size()))
                    std::swap(model[size_t(index)], model[size_t(other)]);
                break;
            case 7:
                by_message ? (void)send(list, "reverse") : linklist_reverse(list);
                std::reverse(model.begin(), model.end());
                break;
            case 8: {
                const long count = long(random() % 2000) - 1000;
                by_message ? (void)send(list, "rotate", count) : linklist_rotate(list, count);
                if (const long size = long(model.size()); size > 1)
                    std::rotate(model.begin(), model.end() - (count % size + size) % size, model.end());
                break;
            }
            case 9:
                EXPECT_EQ(by_message ? reinterpret_cast<void *>(send(list, "getindex", index))
                                     : linklist_getindex(list, index),
                          valid ? model[size_t(index)] : nullptr);
                break;
            }
            ASSERT_EQ(by_message ? send(list, "getsize") : linklist_getsize(list), long(model.size()));
            if (step % 16 == 0) {
                ASSERT_EQ(contents(list), model) << "step " << step;
            }
        }
        ASSERT_EQ(contents(list), model);
        object_free(list);
    }
}

TEST(Linklist, ObjectsGoWithTheListUnlessChucked)
{
    const long before = items_alive();
    void *list = linklist_new();
    item *kept = new_item(1), *also_kept = new_item(2);
    linklist_append(list, kept);
    linklist_append(list, new_item(3));
    linklist_append(list, S("a symbol is no object"));
    linklist_append(list, nullptr);
    linklist_append(list, also_kept);
    EXPECT_EQ(items_alive(), before + 3);
    EXPECT_EQ(linklist_chuckindex(list, 0), 0);
    EXPECT_EQ(linklist_deleteindex(list, 0), 0);
    EXPECT_EQ(items_alive(), before + 2);
    EXPECT_EQ(linklist_chuckobject(list, also_kept), 0);
    linklist_append(list, new_item(4));
    linklist_clear(list);
    EXPECT_EQ(linklist_getsize(list), 0);
    EXPECT_EQ(items_alive(), before + 2);
    linklist_append(list, new_item(5));
    EXPECT_EQ(object_free(list), 0);
    EXPECT_EQ(items_alive(), before + 2);

    const long lists = zan_object_count(S("linklist"));
    list = linklist_new();
    linklist_append(list, kept);
    linklist_append(list, also_kept);
    EXPECT_EQ(linklist_chuck(list), 0);
    EXPECT_EQ(zan_object_count(S("linklist")), lists);
    EXPECT_EQ(items_alive(), before + 2);
    EXPECT_EQ(kept->number, 1);
    object_free(kept);
    object_free(also_kept);
}

TEST(Linklist, FindingStopsAtTheFirstAndFindsAll)
{
    void *list = plain_list(20);
    const zan_compare multiple = [](void *x, void *data) -> long {
        return reinterpret_cast<long>(x) % *static_cast<long *>(data) == 0;
    };
    long seven = 7, thirty = 30;
    void *found = plain(99);
    EXPECT_EQ(linklist_findfirst(list, &found, multiple, &seven), 6);
    EXPECT_EQ(found, plain(7));
    EXPECT_EQ(linklist_findfirst(list, &found, multiple, &thirty), -1);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(send(list, "findfirst", W(&found), W(multiple), W(&seven)), 6);
    EXPECT_EQ(found, plain(7));
    void *all = nullptr;
    linklist_findall(list, &all, multiple, &seven);
    EXPECT_EQ(contents(all), (std::vector<void *>{plain(7), plain(14)}));
    linklist_chuck(all);
    linklist_findall(list, &all, multiple, &thirty);
    ASSERT_NE(all, nullptr);
    EXPECT_EQ(linklist_getsize(all), 0);
    linklist_chuck(all);
    linklist_chuck(list);
}

TEST(Linklist, SortingIsStableAndShufflingLosesNothing)
{
    void *list = plain_list(300);
    const std::vector<void *> model = contents(list);
    linklist_shuffle(list);
    std::vector<void *> shuffled = contents(list);
    EXPECT_NE(shuffled, model);
    EXPECT_TRUE(std::is_permutation(shuffled.begin(), shuffled.end(), model.begin()));
    const auto before = [](void *a, void *b) -> long { return long(a) % 10 < long(b) % 10; };
    std::stable_sort(shuffled.begin(), shuffled.end(), before);
    linklist_sort(list, before);
    EXPECT_EQ(contents(list), shuffled);
    linklist_chuck(list);
}

TEST(Linklist, MessagesReachEveryItemWithTheirWords)
{
    void *list = linklist_new();
    for (int i = 0; i < 3; i++)
        linklist_append(list, new_item(i * 1000000));
    symbol *add = S("add");
    EXPECT_EQ(linklist_methodall_imp(list, add, 1, 2, 3, 4, 5, 6, 0, 0), 2654321);
    EXPECT_EQ(linklist_methodindex_imp(list, 1, S("number"), 0, 0, 0, 0, 0, 0, 0, 0), 1654321);
    EXPECT_EQ(send(list, "methodall", W(add), 1, 1, 1, 1, 1, 1), 2654321 + 111111);
    EXPECT_EQ(send(list, "methodindex", 0, W(add), 1, 1, 1, 1, 1, 1), 654321 + 222222);
    EXPECT_EQ(linklist_methodindex_imp(list, 5, S("number"), 0, 0, 0, 0, 0, 0, 0, 0), 0);
    EXPECT_EQ(linklist_funindex(
                  list, 1,
                  [](void *x, void *data) -> zan_word {
                      return static_cast<item *>(x)->number + *static_cast<long *>(data);
                  },
                  std::array<long, 1>{5}.data()),
              1765432 + 5);
    object_free(list);
}

struct walk {
    void *list;
    void (*act)(void *list, long index);
    std::vector<zan_word> seen;
};

TEST(Linklist, AWalkMayTakeItemsAway)
{
    const long before = items_alive();
    // each visit deletes the next item, frees itself, empties the list, or puts one in front
    const struct {
        void (*act)(void *list, long index);
        std::vector<zan_word> seen;
        long left;
    } rows[] = {
        {[](void *list, long index) { linklist_deleteindex(list, index + 1); }, {0, 2, 4}, 3},
        {[](void *list, long index) { linklist_deleteindex(list, index); }, {0, 1, 2, 3, 4, 5}, 0},
        {[](void *list, long) { linklist_clear(list); }, {0}, 0},
        {[](void *list, long) { linklist_insertindex(list, new_item(100), 0); }, {0, 1, 2, 3, 4, 5}, 12},
    };
    for (const auto &row : rows) {
        walk w{linklist_new(), row.act, {}};
        for (int i = 0; i < 6; i++)
            linklist_append(w.list, new_item(i));
        linklist_funallsafe(
            w.list,
            [](void *x, void *data) {
                walk *self = static_cast<walk *>(data);
                self->seen.push_back(static_cast<item *>(x)->number);
                self->act(self->list, linklist_objptr2index(self->list, x));
            },
            &w);
        EXPECT_EQ(w.seen, row.seen);
        EXPECT_EQ(linklist_getsize(w.list), row.left);
        object_free(w.list);
    }
    EXPECT_EQ(items_alive(), before);
}

TEST(Linklist, ACopyOfTheClassIsTheSameList)
{
    ASSERT_NE(class_copy(S("nobox"), S("linklist"), S("linklist_test"), S("copied_list")), nullptr);
    void *list = object_new_imp(S("linklist_test"), S("copied_list"), 0, 0, 0, 0, 0, 0, 0, 0);
    ASSERT_NE(list, nullptr);
    const long before = items_alive();
    EXPECT_EQ(send(list, "append", W(new_item(6))), 0);
    EXPECT_EQ(send(reinterpret_cast<void *>(send(list, "getindex", 0)), "number"), 6);
    EXPECT_EQ(linklist_getsize(list), 1);
    EXPECT_EQ(send(list, "clear"), 0);
    EXPECT_EQ(items_alive(), before);
    object_free(list);
}

TEST(Linklist, NoListIsAnEmptyList)
{
    void *other = hashtab_new(0); // an object, but no list
    for (void *list : {static_cast<void *>(nullptr), other}) {
        void *found = plain(1);
        EXPECT_EQ(linklist_getsize(list), 0);
        EXPECT_EQ(linklist_getindex(list, 0), nullptr);
        EXPECT_EQ(linklist_append(list, plain(1)), -1);
        EXPECT_EQ(linklist_findfirst(list, &found, nullptr, nullptr), -1);
        EXPECT_EQ(found, nullptr);
        EXPECT_NE(linklist_chuck(list), 0);
        EXPECT_NE(linklist_deleteindex(list, 0), 0);
        linklist_clear(list);
        linklist_sort(list, nullptr);
        linklist_reverse(list);
        linklist_shuffle(list);
    }
    EXPECT_EQ(object_free(other), 0);
}

} // namespace
