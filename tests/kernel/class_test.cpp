// Classes and objects through the library's layer: how many types and words pass, what
// every class has, names and registration.
#include "quick_class.h"
#include <algorithm>

namespace {

zan_word seen[8];

void *eight_new(zan_word a, zan_word b, zan_word c, zan_word d, zan_word e, zan_word f, zan_word g, zan_word h);

zan_word sum8(void *, zan_word a, zan_word b, zan_word c, zan_word d, zan_word e, zan_word f, zan_word g,
              zan_word h)
{
    return a + 2 * b + 3 * c + 4 * d + 5 * e + 6 * f + 7 * g + 8 * h;
}

zan_class *eight_class()
{
    static zan_class *const c = [] {
        zan_class *made = vok_class_new("vok_eight", M(eight_new), nullptr, sizeof(object), argtype_cant, 0);
        vok_class_addmethod(made, M(sum8), "sum8", argtype_cant, 0);
        vok_class_register(made);
        return made;
    }();
    return c;
}

void *eight_new(zan_word a, zan_word b, zan_word c, zan_word d, zan_word e, zan_word f, zan_word g, zan_word h)
{
    const zan_word w[] = {a, b, c, d, e, f, g, h};
    std::copy_n(w, 8, seen);
    return vok_object_alloc(eight_class());
}

TEST(VokClass, EightWordsReachConstructorAndMethod)
{
    zan_class *c = eight_class();
    void *x = vok_object_new(S("vok_eight"), 11L, 22L, 33L, 44L, 55L, 66L, 77L, 88L);
    ASSERT_TRUE(x);
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(seen[i], 11 * (i + 1)) << i;
    EXPECT_EQ(vok_object_class(x), c);
    EXPECT_EQ(vok_object_method(x, S("sum8"), 1L, 1L, 1L, 1L, 1L, 1L, 1L, 1L), 36);
    EXPECT_EQ(vok_object_method_imp(x, S("sum8"), 0, 0, 0, 0, 0, 0, 0, 5), 40);
    EXPECT_EQ(vok_object_free(x), 0);
    vok_object_free(vok_object_new_imp(S("vok_eight"), 1, 2, 3, 4, 5, 6, 7, 8));
    EXPECT_EQ(seen[7], 8);
    vok_object_free(vok_object_new(S("vok_eight"), 9L)); // what follows is anything, and nobody looks
    EXPECT_EQ(seen[0], 9);
    EXPECT_EQ(vok_object_new(S("no_such_class"), 0), nullptr);
}

TEST(VokClass, WhatEveryClassHas)
{
    zan_class *c = eight_class();
    const struct {
        const char *name;
        int tag;
        zan_method fn;
    } rows[] = {
        {"class_vokra", argtype_cant, M(vok_method_true)},
        {"importattrs", argtype_gimme, M(vok_object_importattrs)},
        {"exportattrs", argtype_gimme, M(vok_object_exportattrs)},
    };
    for (const auto &row : rows) {
        zan_messlist *m = vok_class_mess(c, S(row.name));
        ASSERT_TRUE(m) << row.name;
        EXPECT_EQ(m->types[0], row.tag) << row.name;
        EXPECT_EQ(m->function, row.fn) << row.name;
    }
    EXPECT_EQ(vok_class_method(c, S("nothing_like_it")), nullptr);
    EXPECT_EQ(vok_class_symcompare(c, S("vok_eight")), 1);
    EXPECT_EQ(vok_class_symcompare(c, S("vok_nine")), 0);
    EXPECT_EQ(vok_class_symcompare(c, nullptr), 0);
}

TEST(VokClass, TypeListsPassToTheirLimit)
{
    initialize();
    constexpr int s = argtype_sym;
    zan_class *c =
        vok_class_new("vok_typed", nullptr, nullptr, sizeof(object), s, s, s, s, s, s, s, s, s, s, s, 0);
    ASSERT_TRUE(c);
    vok_class_addmethod(c, M(vok_method_true), "many", s, s, s, s, s, s, s, s, s, s, 0);
    zan_messlist *m = vok_class_mess(c, S("many"));
    EXPECT_EQ(m->types[7], s);
    EXPECT_EQ(m->types[8], 0) << "eight words at most";
    vok_class_addmethod(c, M(vok_method_true), "two", argtype_long, argtype_float, 0, s);
    m = vok_class_mess(c, S("two"));
    EXPECT_EQ(m->types[0], argtype_long);
    EXPECT_EQ(m->types[1], argtype_float);
    EXPECT_EQ(m->types[2], 0);
    EXPECT_EQ(m->types[3], 0) << "nothing behind the end of the list is read";
    vok_class_free(c);
}

TEST(VokClass, ArgumentSafeMethods)
{
    zan_class *c = eight_class();
    EXPECT_EQ(vok_class_method_addargsafe(c, "param", "sum8"), 0);
    EXPECT_EQ(vok_class_method_argsafe_get(c, S("param")), S("sum8"));
    EXPECT_EQ(vok_class_method_argsafe_get(c, S("other")), nullptr);
    void *x = vok_object_alloc(c);
    EXPECT_EQ(vok_object_method_argsafe_get(x, S("param")), S("sum8"));
    vok_object_free(x);
    // the key has room for 256 bytes: longer names do no harm, and no more is promised
    const std::string endless(5000, 'x');
    EXPECT_EQ(vok_class_method_addargsafe(c, endless.c_str(), "sum8"), 0);
    vok_class_method_argsafe_get(c, S(endless.c_str()));
}

TEST(VokClass, RegistrationIsByNameInTheLibrarysNamespace)
{
    zan_class *c = eight_class();
    void *x = vok_object_alloc(c);
    symbol *name = vok_symbol_unique();
    EXPECT_EQ(vok_object_findregistered(name), nullptr);
    EXPECT_EQ(vok_object_findregisteredbyptr(x), nullptr);
    EXPECT_EQ(vok_object_register(x, name), x);
    EXPECT_EQ(vok_object_findregistered(name), x);
    EXPECT_EQ(vok_object_findregisteredbyptr(x), name);
    EXPECT_EQ(object_findregistered(S("nobox"), name), nullptr);
    EXPECT_EQ(vok_object_unregister(x), 0);
    EXPECT_EQ(vok_object_unregister(x), VOK_ERR_EROR);
    object_register(S("nobox"), name, x);
    EXPECT_EQ(vok_object_findregisteredbyptr(x), nullptr) << "registered elsewhere";
    vok_object_free(x);
    EXPECT_EQ(vok_object_classname_compare(nullptr, nullptr), 0);
}

TEST(VokClass, NotificationsReachClients)
{
    static std::vector<std::pair<symbol *, void *>> heard;
    zan_class *clients = vok_class_new("vok_client", nullptr, nullptr, sizeof(object), argtype_cant, 0);
    const auto notify = [](void *, symbol *, symbol *message, void *, void *data) -> zan_word {
        heard.emplace_back(message, data);
        return 0;
    };
    vok_class_addmethod(clients, erase(notify), "notify", argtype_cant, 0);
    void *x = vok_object_alloc(eight_class()), *listener = vok_object_alloc(clients);
    symbol *name = vok_symbol_unique();
    vok_object_register(x, name);
    EXPECT_EQ(vok_object_attach(name, listener), x);
    EXPECT_EQ(vok_object_notify(x, S("hello"), &seen), 0);
    EXPECT_EQ(vok_object_detach(name, listener), 0);
    vok_object_notify(x, S("again"), nullptr);
    ASSERT_EQ(heard.size(), 1u);
    EXPECT_EQ(heard[0], (std::pair<symbol *, void *>(S("hello"), &seen)));
    vok_object_free(listener);
    vok_object_free(x);
    vok_class_free(clients);
}

} // namespace
