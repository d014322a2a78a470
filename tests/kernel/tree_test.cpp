// Lists under the library's name, and trees: who frees what.
#include "quick_class.h"
#include <algorithm>

namespace {

long things_alive;

struct thing {
    object header;
    long value;
};

zan_class *thing_class()
{
    static zan_class *const c = [] {
        auto gone = +[](thing *) { --things_alive; };
        auto add = +[](thing *x, zan_word a, zan_word b) -> zan_word { return x->value += a * b; };
        zan_class *made = vok_class_new("vok_thing", nullptr, M(gone), sizeof(thing), argtype_cant, 0);
        vok_class_addmethod(made, M(add), "addproduct", argtype_cant, 0);
        return made;
    }();
    return c;
}

thing *make_thing(long value)
{
    auto *x = static_cast<thing *>(vok_object_alloc(thing_class()));
    x->value = value;
    ++things_alive;
    return x;
}

long is_value(void *item, void *data)
{
    return static_cast<thing *>(item)->value == *static_cast<long *>(data);
}

class List : public testing::Test {
  protected:
    void SetUp() override
    {
        initialize();
        things_alive = 0;
    }
};

TEST_F(List, IsAClassOfTheLibrary)
{
    void *list = vok_object_new(_vok_sym_vok_linklist, 0);
    ASSERT_TRUE(list);
    vok_object_method(list, _vok_sym_append, make_thing(1));
    EXPECT_EQ(vok_object_method(list, _vok_sym_getsize, 0L), 1);
    EXPECT_EQ(vok_linklist_getsize(list), 1);
    vok_object_free(list);
    EXPECT_EQ(things_alive, 0) << "a list frees what it holds";
}

TEST_F(List, ItemsAndOrder)
{
    void *list = vok_linklist_new();
    thing *t[4];
    for (long i = 0; i < 4; ++i)
        vok_linklist_append(list, t[i] = make_thing(i % 2));
    thing *first = make_thing(9);
    vok_linklist_insertindex(list, first, 0);
    EXPECT_EQ(vok_linklist_getindex(list, 0), first);
    EXPECT_EQ(vok_linklist_objptr2index(list, t[2]), 3);
    EXPECT_EQ(vok_linklist_objptr2index(list, list), -1);

    long one = 1, five = 5;
    void *found = nullptr;
    EXPECT_EQ(vok_linklist_findfirst(list, &found, is_value, &one), 2);
    EXPECT_EQ(found, t[1]);
    EXPECT_EQ(vok_linklist_findcount(list, is_value, &one), 2);
    EXPECT_EQ(vok_linklist_findcount(list, is_value, &five), 0);
    EXPECT_EQ(things_alive, 5) << "counting frees nothing";

    EXPECT_EQ(vok_linklist_methodindex(list, 1, S("addproduct"), 2L, 3L), 6);
    vok_linklist_methodall(list, S("addproduct"), 1L, 100L);
    EXPECT_EQ(first->value, 109);
    EXPECT_EQ(t[0]->value, 106);
    vok_linklist_sort(list, [](void *a, void *b) -> long {
        return static_cast<thing *>(a)->value < static_cast<thing *>(b)->value;
    });
    void *array[8];
    ASSERT_EQ(vok_linklist_makearray(list, array, 8), 5);
    EXPECT_TRUE(std::is_sorted(array, array + 5, [](void *a, void *b) {
        return static_cast<thing *>(a)->value < static_cast<thing *>(b)->value;
    }));
    vok_linklist_reverse(list);
    EXPECT_EQ(vok_linklist_getindex(list, 0), array[4]);
    vok_linklist_swap(list, 0, 4);
    EXPECT_EQ(vok_linklist_getindex(list, 0), array[0]);
    void *kept = vok_linklist_getindex(list, 0);
    vok_linklist_chuckindex(list, 0);
    EXPECT_EQ(things_alive, 5);
    vok_linklist_deleteindex(list, 0);
    EXPECT_EQ(things_alive, 4);
    vok_linklist_free(list);
    EXPECT_EQ(things_alive, 1);
    EXPECT_EQ(vok_linklist_getsize(list), 0);
    vok_object_free(kept);
    vok_linklist_chuck(list);
}

class Tree : public List {
  protected:
    template <class... W> static zan_word tell(void *n, const char *message, W... words)
    {
        return vok_object_method(n, S(message), words...);
    }
    static vok_tree_node *node(long value, const char *classname = "vok_tree_node")
    {
        auto *n = static_cast<vok_tree_node *>(vok_object_new(S(classname), 0));
        tell(n, "thing", make_thing(value));
        return n;
    }
    static thing *thing_of(void *n) { return reinterpret_cast<thing *>(tell(n, "getthing", 0L)); }
    static vok_tree_node *child(void *n, long index)
    {
        return reinterpret_cast<vok_tree_node *>(tell(n, "getchild", index));
    }
    static long count(void *n) { return tell(n, "getchildcount", 0L); }
    // The values of the children, in order.
    static std::vector<long> values(void *n)
    {
        std::vector<long> v;
        for (long i = 0; i < count(n); ++i)
            v.push_back(thing_of(child(n, i))->value);
        return v;
    }
    // A root with children 1, 2, 3; the second has a child 20.
    static vok_tree_node *grown()
    {
        vok_tree_node *root = node(0, "vok_tree");
        for (long v : {1L, 3L})
            tell(root, "appendchild", node(v));
        tell(root, "insertchild", node(2), 1L);
        tell(child(root, 1), "appendchild", node(20));
        return root;
    }
};

TEST_F(Tree, ParentsAndChildren)
{
    vok_tree_node *root = grown();
    EXPECT_EQ(values(root), (std::vector<long>{1, 2, 3}));
    EXPECT_EQ(values(child(root, 1)), std::vector<long>{20});
    EXPECT_EQ(reinterpret_cast<void *>(tell(child(root, 2), "getparent", 0L)), root);
    EXPECT_EQ(child(root, 9), nullptr);
    EXPECT_EQ(count(child(root, 0)), 0);
    EXPECT_EQ(things_alive, 5);
    tell(root, "appendchild", nullptr);
    EXPECT_EQ(count(root), 3);
    tell(root, "deletechild", 1L);
    EXPECT_EQ(things_alive, 3) << "a deleted node takes all below it along";
    tell(root, "deletechild", 17L);
    EXPECT_EQ(values(root), (std::vector<long>{1, 3}));
    vok_object_free(root);
    EXPECT_EQ(things_alive, 0);
}

TEST_F(Tree, ClearEmptiesANodeAndChuckKeepsTheThings)
{
    const long nodes = zan_object_count(S("vok_tree_node"));
    vok_tree_node *root = grown();
    tell(root, "clear");
    EXPECT_EQ(things_alive, 0);
    EXPECT_EQ(count(root), 0);
    EXPECT_EQ(thing_of(root), nullptr);
    tell(root, "appendchild", node(4));
    EXPECT_EQ(values(root), std::vector<long>{4});
    vok_object_free(root);
    EXPECT_EQ(things_alive, 0);

    root = grown();
    const std::vector<thing *> things = {thing_of(root), thing_of(child(root, 0)), thing_of(child(root, 1)),
                                         thing_of(child(root, 2)), thing_of(child(child(root, 1), 0))};
    tell(root, "chuck");
    EXPECT_EQ(things_alive, 5);
    EXPECT_EQ(zan_object_count(S("vok_tree_node")), nodes) << "every node is gone";
    for (thing *t : things)
        vok_object_free(t);
}

TEST_F(Tree, ChuckingOneChild)
{
    vok_tree_node *root = grown();
    thing *kept[] = {thing_of(child(root, 1)), thing_of(child(child(root, 1), 0))};
    for (long index : {1L, 40L}) {
        tell(root, "chuckchild", index);
        EXPECT_EQ(values(root), (std::vector<long>{1, 3}));
    }
    EXPECT_EQ(things_alive, 5);
    for (thing *t : kept)
        vok_object_free(t);
    vok_object_free(root);
    EXPECT_EQ(things_alive, 0);
}

TEST_F(Tree, Replacing)
{
    vok_tree_node *root = grown();
    vok_tree_node *old = child(root, 1);
    tell(root, "replacechild", node(7), 1L);
    EXPECT_EQ(values(root), (std::vector<long>{1, 7, 3}));
    EXPECT_EQ(child(root, 1)->parent, root);
    EXPECT_EQ(old->parent, nullptr);
    EXPECT_EQ(values(old), std::vector<long>{20}) << "the old one is whole, and the caller's";
    tell(root, "replacechild", nullptr, 0L);
    EXPECT_EQ(values(root), (std::vector<long>{1, 7, 3}));
    vok_object_free(old);

    thing *kept = thing_of(child(root, 0));
    tell(root, "replacechuckchild", node(8), 0L);
    EXPECT_EQ(values(root), (std::vector<long>{8, 7, 3}));
    vok_object_free(kept);

    vok_tree_node *leaf = node(5), *lonely = node(6);
    tell(leaf, "replacechild", lonely, 0L);
    EXPECT_EQ(count(leaf), 0) << "no list, nothing to replace";
    vok_object_free(lonely);
    vok_object_free(leaf);
    vok_object_free(root);
    EXPECT_EQ(things_alive, 0);
}

TEST_F(Tree, MessagesToChildren)
{
    vok_tree_node *root = grown();
    vok_tree_node *other = node(50);
    tell(root, "methodall", S("appendchild"), nullptr);
    tell(root, "methodchild", 2L, S("insertchild"), other, 0L);
    EXPECT_EQ(values(child(root, 2)), std::vector<long>{50});
    EXPECT_EQ(tell(root, "methodchild", 2L, S("getchildcount"), 0L), 1);
    vok_object_free(root);
}

TEST_F(Tree, NodesCanBePartOfOtherClasses)
{
    struct branch {
        vok_tree_node node;
        long leaves;
    };
    zan_class *c = vok_class_new("vok_branch", nullptr, nullptr, sizeof(branch), argtype_cant, 0);
    vok_tree_node_addinterface(c);
    const char *const names[] = {"thing",         "getthing",     "getparent",         "getchild",
                                 "getchildcount", "getchildren",  "insertchild",       "appendchild",
                                 "deletechild",   "replacechild", "replacechuckchild", "chuckchild",
                                 "clear",         "chuck",        "methodall",         "methodchild"};
    for (const char *name : names) {
        zan_messlist *m = vok_class_mess(c, S(name));
        ASSERT_TRUE(m) << name;
        EXPECT_EQ(m->types[0], argtype_cant) << name;
    }
}

} // namespace
