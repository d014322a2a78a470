// What stands once the library is up, the common symbols, the configuration script, and
// the codes.
#include <cstring>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include <vokra/vokra.h>
#include <zan/host.h>

#include "scratch.h"

namespace {

class FoundationUp : public testing::Test {
  protected:
    void SetUp() override { initialize(); }
};

TEST_F(FoundationUp, ASecondStartDoesNothing)
{
    zan_class *c = _vok_class_class;
    EXPECT_EQ(initialize(), 0);
    EXPECT_EQ(vok_object_init(), 0);
    EXPECT_EQ(vok_gl_initialize(), 0);
    EXPECT_EQ(_vok_class_class, c);
}

TEST_F(FoundationUp, EveryClassOfTheStartIsThere)
{
    const char *const names[] = {"vok_class",
                                 "vok_linklist",
                                 "vok_attribute",
                                 "vok_attr_offset",
                                 "vok_attr_offset_array",
                                 "vok_attr_filter_clip",
                                 "vok_attr_filter_proc",
                                 "vok_matrix",
                                 "vok_mop_io",
                                 "vok_mop",
                                 "vok_op",
                                 "vok_op_fn",
                                 "vok_tree",
                                 "vok_tree_node"};
    for (const char *name : names)
        EXPECT_TRUE(vok_class_findbyname(gensym(name))) << name;
    EXPECT_FALSE(vok_class_findbyname(gensym("vok_kernel")));
    EXPECT_TRUE(class_findbyname(gensym("nobox"), gensym("vok_kernel")));
    EXPECT_EQ(_vok_mess_nonmethod.selector, gensym("nonmethod"));
    EXPECT_EQ(_vok_mess_nonmethod.function, reinterpret_cast<zan_method>(vok_method_false));
    EXPECT_EQ(_vok_mess_freemethod.selector, _vok_sym_free);
    EXPECT_EQ(_vok_mess_freemethod.function, reinterpret_cast<zan_method>(vok_object_free));
    EXPECT_EQ(_common_symbols, common_symbols_gettable());
    EXPECT_EQ(init_late(), &_initlate);
}

TEST_F(FoundationUp, CommonSymbols)
{
    std::set<symbol *> all;
    int count = 0;
#define CHECK(name)                                                                                               \
    EXPECT_EQ(_vok_sym_##name, gensym(#name));                                                                    \
    all.insert(_vok_sym_##name);                                                                                  \
    ++count;
#define CHECK_RENAMED(name, text)                                                                                 \
    EXPECT_EQ(_vok_sym_##name, gensym(text));                                                                     \
    ++count;
    VOK_COMMON_SYMBOLS(CHECK)
    EXPECT_EQ(all.size(), 251u); // no name twice
    VOK_COMMON_SYMBOLS_RENAMED(CHECK_RENAMED)
    EXPECT_EQ(count, 271);
    EXPECT_STREQ(_vok_sym_nothing->name, "");
    EXPECT_STREQ(_vok_sym__none_->name, "<none>");
    EXPECT_STREQ(_vok_sym_insertindex->name, "insert");
    EXPECT_STREQ(_vok_sym_deleteindex->name, "delete");
    EXPECT_STREQ(_vok_sym_gl_tri_strip->name, "tri_strip");
    EXPECT_STREQ(_vok_sym_VOK_CLASS3D_FINDER->name, "this_is_the_vok_class3d");
    EXPECT_STREQ(_vok_sym_err_lockout_stack->name, "lockout stack underflow or overflow");
    EXPECT_EQ(ps_vokra, gensym("vokra"));
    EXPECT_EQ(ps_vokraCFM, gensym("vokraCFM"));
}

TEST_F(FoundationUp, HostVocabulary)
{
    std::set<symbol *> all;
#define CHECK_WORD(name)                                                                                          \
    EXPECT_EQ(ps_##name, gensym(#name));                                                                          \
    all.insert(ps_##name);
    VOK_ZPATCHER_SYMBOLS(CHECK_WORD)
    EXPECT_EQ(all.size(), 201u);
}

TEST_F(FoundationUp, TheConfigurationIsAScriptOfMessages)
{
    scratch_folder folder;
    EXPECT_NE(vok_load_config(), 0) << "no file anywhere";
    folder.make("vokra-config.txt", "vok parallelthreshold 4321;\nvokra paralleldebug 0;\nvok java 0;\n");
    path_addsearchpath(folder.name().c_str());
    const long before = _vok_parallelthresh;
    EXPECT_EQ(vok_load_config(), 0);
    EXPECT_EQ(_vok_parallelthresh, 4321);
    _vok_parallelthresh = before;
}

TEST_F(FoundationUp, HostErrorNumbers)
{
    const struct {
        long number;
        vok_err code;
    } rows[] = {{0, 0},
                {-1, VOK_ERR_EROR},
                {-2, VOK_ERR_INVP},
                {-3, VOK_ERR_DUPL},
                {-4, VOK_ERR_OMEM},
                {-5, VOK_ERR_EROR},
                {1, VOK_ERR_EROR},
                {VOK_ERR_INVP, VOK_ERR_EROR}};
    for (const auto &row : rows)
        EXPECT_EQ(vok_err_from_zan_err(row.number), row.code) << row.number;
}

TEST_F(FoundationUp, TheCriticalRegionCountsItsDepth)
{
    vok_global_critical_enter();
    vok_global_critical_enter();
    EXPECT_EQ(_vok_crit_count, 2);
    vok_global_critical_exit();
    vok_global_critical_exit();
    EXPECT_EQ(_vok_crit_count, 0);
}

} // namespace
