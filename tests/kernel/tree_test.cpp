// Lists under the library's name, and trees: who frees what.
#include "quick_class.h"
#include <algorithm>

namespace {

struct thing {
    object header;
    long value;
};
std::vector<thing *> things; // those alive

thing *make_thing(long value)
{
    static const quick_class k =
        quick_class("vok_thing", sizeof(thing), erase([](thing *x) { std::erase(things, x); }))
            .message("addproduct", [](thing *x, zan_word a, zan_word b) { return x->value += a * b; });
    things.push_back(k.make<thing>());
    things.back()->value = value;
    return things.back();
}

long is_value(void *item, void *data)
{
    return static_cast<thing *>(item)->value == *static_cast<long *>(data);
}

long is_before(void *a, void *b)
{
    return static_cast<thing *>(a)->value < static_cast<thing *>(b)->value;
}

TEST(List, ItemsAndOrder)
{
    void *list = vok_object_new(S("vok_linklist"), 0);
    thing *t[4];
    for (long i = 0; i < 4; ++i)
        vok_linklist_append(list, t[i] = make_thing(i % 2));
    EXPECT_EQ(send(list, "getsize"), 4);
    thing *first = make_thing(9);
    vok_linklist_insertindex(list, first, 0);
    EXPECT_EQ(vok_linklist_getindex(list, 0), first);
    EXPECT_EQ(vok_linklist_objptr2index(list, t[2]), 3);

    long one = 1;
    void *found = nullptr;
    EXPECT_EQ(vok_linklist_findfirst(list, &found, is_value, &one), 2);
    EXPECT_EQ(found, t[1]);
    EXPECT_EQ(vok_linklist_findcount(list, is_value, &one), 2);

    EXPECT_EQ(vok_linklist_methodindex(list, 1, S("addproduct"), 2L, 3L), 6);
    vok_linklist_methodall(list, S("addproduct"), 1L, 100L);
    EXPECT_TRUE(first->value == 109 && t[0]->value == 106);
    vok_linklist_sort(list, is_before);
    void *array[8];
    ASSERT_EQ(vok_linklist_makearray(list, array, 8), 5);
    EXPECT_TRUE(std::is_sorted(array, array + 5, is_before));
    vok_linklist_reverse(list);
    EXPECT_EQ(vok_linklist_getindex(list, 0), array[4]);
    vok_linklist_swap(list, 0, 4);
    EXPECT_EQ(vok_linklist_getindex(list, 0), array[0]);
    vok_linklist_chuckindex(list, 0);
    vok_linklist_deleteindex(list, 0);
    vok_linklist_free(list);
    EXPECT_EQ(vok_linklist_getsize(list), 0);
    EXPECT_EQ(things, std::vector{static_cast<thing *>(array[0])}) << "what was chucked is the caller's";
    vok_object_free(array[0]);
    vok_linklist_append(list, make_thing(1));
    vok_object_free(list);
    EXPECT_TRUE(things.empty()) << "a list frees what it holds";
    vok_linklist_chuck(vok_linklist_new());
}

using node = vok_tree_node;

node *make_node(long value, const char *classname = "vok_tree_node")
{
    auto *n = static_cast<node *>(vok_object_new(S(classname), 0));
    send(n, "thing", make_thing(value));
    return n;
}

node *child(node *n, long index)
{
    return reinterpret_cast<node *>(send(n, "getchild", index));
}

// "0(1 2(20) 3)"
std::string shape(node *n)
{
    const auto *own = reinterpret_cast<thing *>(send(n, "getthing"));
    std::string text = own ? std::to_string(own->value) : "-";
    const long count = send(n, "getchildcount");
    for (long i = 0; i < count; ++i) {
        EXPECT_EQ(send(child(n, i), "getparent"), W(n));
        text += (i ? " " : "(") + shape(child(n, i));
    }
    return text + (count ? ")" : "");
}

TEST(Tree, WhatEachMessageKeepsAndFrees)
{
    const long nodes = zan_object_count(S("vok_tree_node"));
    const struct {
        void (*change)(node *root);
        const char *shape; // null: the root is gone
        size_t alive;      // things, the new and the chucked ones too
        size_t orphans;    // of these without a node
    } rows[] = {
        {[](node *r) { send(r, "appendchild", 0L); }, "0(1 2(20) 3)", 5, 0},
        {[](node *r) { send(r, "insertchild", make_node(7), 0L); }, "0(7 1 2(20) 3)", 6, 0},
        {[](node *r) { send(r, "deletechild", 1L); }, "0(1 3)", 3, 0},
        {[](node *r) { send(r, "deletechild", 17L); }, "0(1 2(20) 3)", 5, 0},
        {[](node *r) { send(r, "clear"); }, "-", 0, 0},
        {[](node *r) { send(r, "chuck"); }, nullptr, 5, 5},
        {[](node *r) { send(r, "chuckchild", 1L); }, "0(1 3)", 5, 2},
        {[](node *r) { send(r, "chuckchild", 40L); }, "0(1 2(20) 3)", 5, 0},
        {[](node *r) {
             node *old = child(r, 1);
             send(r, "replacechild", make_node(7), 1L);
             EXPECT_EQ(shape(old), "2(20)") << "the old one is whole, and the caller's";
             EXPECT_EQ(old->parent, nullptr);
             vok_object_free(old);
         },
         "0(1 7 3)", 4, 0},
        {[](node *r) { send(r, "replacechild", 0L, 0L); }, "0(1 2(20) 3)", 5, 0},
        {[](node *r) { send(r, "replacechuckchild", make_node(8), 1L); }, "0(1 8 3)", 6, 2},
        {[](node *r) {
             node *lonely = make_node(6);
             send(child(r, 0), "replacechild", lonely, 0L); // no list, nothing to replace
             vok_object_free(lonely);
         },
         "0(1 2(20) 3)", 5, 0},
        {[](node *r) { send(r, "methodall", S("clear")); }, "0(- - -)", 1, 0},
        {[](node *r) { send(r, "methodchild", 2L, S("insertchild"), make_node(50), 0L); }, "0(1 2(20) 3(50))", 6,
         0},
    };
    for (const auto &row : rows) {
        node *root = make_node(0, "vok_tree");
        send(root, "appendchild", make_node(1));
        send(root, "appendchild", make_node(3));
        send(root, "insertchild", make_node(2), 1L);
        send(child(root, 1), "appendchild", make_node(20));
        row.change(root);
        EXPECT_EQ(things.size(), row.alive) << &row - rows;
        if (row.shape) {
            EXPECT_EQ(shape(root), row.shape);
            vok_object_free(root);
        }
        EXPECT_EQ(things.size(), row.orphans) << &row - rows;
        EXPECT_EQ(zan_object_count(S("vok_tree_node")), nodes) << &row - rows;
        while (!things.empty())
            vok_object_free(things.back());
    }
}

TEST(Tree, NodesCanBePartOfOtherClasses)
{
    static const quick_class k("vok_branch", sizeof(node) + sizeof(long));
    vok_tree_node_addinterface(k.c);
    auto *branch = k.make<node>();
    send(branch, "appendchild", make_node(3));
    EXPECT_EQ(shape(branch), "-(3)");
    send(branch, "clear");
    EXPECT_TRUE(things.empty() && !send(branch, "getchildren"));
    vok_object_free(branch);
}

} // namespace
