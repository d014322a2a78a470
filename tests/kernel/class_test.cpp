// Classes and objects through the library's layer: how many types and words pass, what
// every class has, names and registration.
#include "quick_class.h"
#include <array>

namespace {

using words = std::array<zan_word, 8>;
words seen;

zan_class *eight_class();

void *make(zan_word a, zan_word b, zan_word c, zan_word d, zan_word e, zan_word f, zan_word g, zan_word h)
{
    seen = {a, b, c, d, e, f, g, h};
    return vok_object_alloc(eight_class());
}

zan_word take(void *, zan_word a, zan_word b, zan_word c, zan_word d, zan_word e, zan_word f, zan_word g,
              zan_word h)
{
    seen = {a, b, c, d, e, f, g, h};
    return h;
}

zan_class *eight_class()
{
    static zan_class *const made = [] {
        zan_class *c = vok_class_new("vok_eight", M(make), nullptr, sizeof(object), argtype_cant, 0);
        vok_class_addmethod(c, M(take), "take", argtype_cant, 0);
        vok_class_register(c);
        return c;
    }();
    return made;
}

TEST(VokClass, EightWordsReachConstructorAndMethod)
{
    eight_class();
    void *x = vok_object_new(S("vok_eight"), 11L, 22L, 33L, 44L, 55L, 66L, 77L, 88L);
    EXPECT_EQ(seen, (words{11, 22, 33, 44, 55, 66, 77, 88}));
    EXPECT_EQ(vok_object_method(x, S("take"), 1L, 2L, 3L, 4L, 5L, 6L, 7L, 8L), 8);
    EXPECT_EQ(seen, (words{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(vok_object_method_imp(x, S("take"), 8, 7, 6, 5, 4, 3, 2, 1), 1);
    EXPECT_EQ(seen, (words{8, 7, 6, 5, 4, 3, 2, 1}));
    EXPECT_EQ(vok_object_method(x, S("class_vokra")), 1) << "as every class of the library";
    zan_class *c = vok_object_class(x);
    EXPECT_EQ(vok_object_free(x), 0);
    vok_object_free(vok_object_new(S("vok_eight"), 9L)); // what follows is anything, and nobody looks
    EXPECT_EQ(seen[0], 9);
    EXPECT_EQ(vok_object_new(S("no_such_class"), 0), nullptr);
    EXPECT_EQ(vok_class_method(c, S("nothing_like_it")), nullptr);
    EXPECT_EQ(vok_class_symcompare(c, S("vok_eight")), 1);
    for (symbol *name : {S("vok_nine"), static_cast<symbol *>(nullptr)})
        EXPECT_EQ(vok_class_symcompare(c, name), 0);
    EXPECT_EQ(vok_object_classname_compare(nullptr, nullptr), 0);
}

TEST(VokClass, TypeListsPassToTheirLimit)
{
    constexpr int s = argtype_sym;
    zan_class *c =
        vok_class_new("vok_typed", nullptr, nullptr, sizeof(object), s, s, s, s, s, s, s, s, s, s, s, 0);
    ASSERT_TRUE(c);
    vok_class_addmethod(c, M(vok_method_true), "many", s, s, s, s, s, s, s, s, s, s, 0);
    const auto types = [c](const char *message) {
        return std::string(reinterpret_cast<const char *>(vok_class_mess(c, S(message))->types));
    };
    EXPECT_EQ(types("many"), std::string(8, s)) << "eight words at most";
    vok_class_addmethod(c, M(vok_method_true), "two", argtype_long, argtype_float, 0, s);
    EXPECT_EQ(types("two"), (std::string{argtype_long, argtype_float})) << "nothing behind the list's end is read";
    vok_class_free(c);
}

TEST(VokClass, ArgumentSafeMethods)
{
    zan_class *c = eight_class();
    void *x = vok_object_alloc(c);
    EXPECT_EQ(vok_class_method_addargsafe(c, "param", "take"), 0);
    EXPECT_EQ(vok_object_method_argsafe_get(x, S("param")), S("take"));
    EXPECT_EQ(vok_class_method_argsafe_get(c, S("other")), nullptr);
    const std::string endless(5000, 'x'); // a longer name than there is room for does no harm
    EXPECT_EQ(vok_class_method_addargsafe(c, endless.c_str(), "take"), 0);
    vok_class_method_argsafe_get(c, S(endless.c_str()));
    vok_object_free(x);
}

TEST(VokClass, RegistrationIsByNameInTheLibrarysNamespace)
{
    void *x = vok_object_alloc(eight_class());
    symbol *name = vok_symbol_unique();
    EXPECT_EQ(vok_object_findregisteredbyptr(x), nullptr);
    EXPECT_EQ(vok_object_register(x, name), x);
    EXPECT_TRUE(vok_object_findregistered(name) == x && vok_object_findregisteredbyptr(x) == name);
    EXPECT_EQ(vok_object_unregister(x), 0);
    EXPECT_EQ(vok_object_unregister(x), VOK_ERR_EROR);
    object_register(S("nobox"), name, x);
    EXPECT_TRUE(!vok_object_findregistered(name) && !vok_object_findregisteredbyptr(x)) << "registered elsewhere";
    vok_object_free(x);
}

} // namespace
