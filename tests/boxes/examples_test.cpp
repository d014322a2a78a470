// The patches that ship: none has a finding, and every control box has its help patch.
#include "box_tools.h"
#include <algorithm>
#include <set>
#include <zan/patch.h>

namespace {

std::vector<std::string> patches_in(const char *folder)
{
    std::vector<std::string> files;
    for (const auto &entry :
         std::filesystem::directory_iterator(std::string(VOKRA_SOURCE_DIR "/examples/") + folder))
        files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    return files;
}

// Checks the patch and gives the classes of its boxes.
std::set<std::string> classes_of(const std::string &file)
{
    std::set<std::string> classes;
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
    return classes;
}

TEST(Examples, HaveNoFindingsAndAHelpPatchForEachControlBox)
{
    EXPECT_GE(patches_in("patches").size(), 9u);
    for (const std::string &file : patches_in("patches"))
        classes_of(file);
    std::set<std::string> helped;
    for (const std::string &file : patches_in("help"))
        helped.merge(classes_of(file));
    long count = 0;
    symbol **names = nullptr;
    ASSERT_EQ(zan_box_names(&count, &names), 0);
    for (long i = 0; i < count; i++) {
        const std::string name = names[i]->name;
        const bool is_control = class_extra_lookup(zan_box_class(names[i]), gensym("#kind")) != nullptr;
        EXPECT_TRUE(!is_control || helped.count(name)) << "no help patch shows " << name;
    }
    sysmem_freeptr(names);
}

} // namespace
