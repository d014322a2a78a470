// The patches that ship: none has a finding, and every control box has its help patch.
#include "box_tools.h"
#include <zan/patch.h>

namespace {

// Checks the patches of a folder and gives the classes of their boxes.
std::set<std::string> classes_in(const char *folder)
{
    std::set<std::string> classes;
    for (const auto &entry :
         std::filesystem::directory_iterator(std::string(VOKRA_SOURCE_DIR "/examples/") + folder)) {
        const std::string file = entry.path();
        zan_patch *p = zan_patch_read(file.c_str());
        zan_patch_check(p, 0, nullptr);
        zan_finding f;
        for (long i = 0; !zan_patch_finding(p, i, &f); i++)
            ADD_FAILURE() << file << ":" << f.place.line << ": " << f.text;
        zan_patch_box b;
        for (long i = 0; !zan_patch_getbox(p, i, &b); i++)
            classes.insert(b.classname->name);
        long size = 0;
        char *text = zan_patch_text(p, &size);
        EXPECT_EQ(std::string(text, size_t(size)), bytes_of(file)) << "not in its canonical form";
        sysmem_freeptr(text);
        zan_patch_free(p);
    }
    return classes;
}

TEST(Examples, HaveNoFindingsAndAHelpPatchForEachControlBox)
{
    EXPECT_GE(classes_in("patches").size(), 9u);
    const std::set<std::string> helped = classes_in("help");
    for (const std::string &name : box_tools::box_names())
        EXPECT_TRUE(!class_extra_lookup(zan_box_class(gensym(name.c_str())), gensym("#kind")) ||
                    helped.count(name))
            << "no help patch shows " << name;
}

} // namespace
