// Boxes by name: classes that a finder makes when a patch first asks for them.
#include "scratch.h"
#include <algorithm>

namespace {

int asked;

zan_class *find(symbol *name)
{
    asked++;
    if (name != gensym("finder.one") && name != gensym("finder.two"))
        return nullptr;
    zan_class *c = class_new(name->name, nullptr, nullptr, sizeof(object), nullptr, 0);
    zan_class_setdigest(c, "does nothing");
    class_register(gensym("box"), c);
    return c;
}

void list(void (*tell)(void *, symbol *), void *data)
{
    tell(data, gensym("finder.two"));
    tell(data, gensym("finder.one"));
}

TEST(BoxClasses, AreMadeWhenTheyAreAskedFor)
{
    static const zan_class_finder finder{find, list};
    EXPECT_EQ(zan_add_class_finder(nullptr), zan_err_invalid_ptr);
    ASSERT_EQ(zan_add_class_finder(&finder), zan_err_none);
    EXPECT_EQ(zan_box_class(gensym("finder.none")), nullptr);
    EXPECT_EQ(asked, 1);
    zan_class *one = zan_box_class(gensym("finder.one"));
    ASSERT_TRUE(one);
    EXPECT_STREQ(zan_class_digest(one)->name, "does nothing");
    EXPECT_EQ(zan_class_digest(nullptr), nullptr);
    void *box = newinstance(gensym("finder.one"), 0, nullptr);
    EXPECT_EQ(object_class(box), one);
    EXPECT_EQ(asked, 2) << "a class that exists is not asked for";
    object_free(box);

    long count = 0;
    symbol **names = nullptr;
    ASSERT_EQ(zan_box_names(&count, &names), zan_err_none);
    std::vector<std::string> known;
    for (long i = 0; i < count; i++)
        known.push_back(names[i]->name);
    sysmem_freeptr(names);
    EXPECT_TRUE(std::is_sorted(known.begin(), known.end()));
    EXPECT_EQ(std::count(known.begin(), known.end(), "finder.one"), 1) << "registered and offered, told once";
    EXPECT_EQ(std::count(known.begin(), known.end(), "finder.two"), 1) << "offered, not made";
}

} // namespace
