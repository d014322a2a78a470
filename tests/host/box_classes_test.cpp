// Boxes by name: classes that a finder makes when a patch first asks for them.
#include "scratch.h"
#include <algorithm>

namespace {

int asked;

zan_class *find(symbol *name)
{
    asked++;
    if (name != gensym("finder.one"))
        return nullptr;
    zan_class *c = class_new(name->name, nullptr, nullptr, sizeof(object), nullptr, 0);
    zan_class_setdigest(c, "does nothing");
    return class_register(gensym("box"), c) == 0 ? c : nullptr;
}

void list(void (*tell)(void *, symbol *), void *data)
{
    for (const char *name : {"finder.two", "finder.one"})
        tell(data, gensym(name));
}

TEST(BoxClasses, AreMadeWhenTheyAreAskedFor)
{
    static const zan_class_finder finder{find, list};
    EXPECT_EQ(zan_add_class_finder(nullptr), zan_err_invalid_ptr);
    ASSERT_EQ(zan_add_class_finder(&finder), zan_err_none);
    EXPECT_EQ(zan_box_class(gensym("finder.none")), nullptr);
    zan_class *one = zan_box_class(gensym("finder.one"));
    EXPECT_STREQ(zan_class_digest(one)->name, "does nothing");
    void *box = newinstance(gensym("finder.one"), 0, nullptr);
    EXPECT_EQ(object_class(box), one);
    EXPECT_EQ(asked, 2) << "a class that exists is not asked for";
    object_free(box);

    long count = 0;
    symbol **names = nullptr;
    ASSERT_EQ(zan_box_names(&count, &names), zan_err_none);
    std::vector<symbol *> sorted(names, names + count);
    symbolarray_sort(sorted.data(), count);
    EXPECT_TRUE(std::equal(sorted.begin(), sorted.end(), names));
    for (const char *name : {"finder.one", "finder.two"}) // registered and offered; only offered
        EXPECT_EQ(std::count(names, names + count, gensym(name)), 1) << name;
    sysmem_freeptr(names);
}

} // namespace
