// What stands once the library is up, the common symbols, the configuration script, and
// the codes.
#include "quick_class.h"
#include <cstring>
#include <set>

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
    for (const char *name : {"vok_class", "vok_linklist", "vok_attribute", "vok_attr_offset", "vok_tree",
                             "vok_matrix", "vok_attr_offset_array", "vok_attr_filter_clip", "vok_attr_filter_proc",
                             "vok_mop_io", "vok_mop", "vok_op", "vok_op_fn", "vok_tree_node"})
        EXPECT_TRUE(vok_class_findbyname(S(name))) << name;
    EXPECT_FALSE(vok_class_findbyname(S("vok_kernel")));
    EXPECT_TRUE(class_findbyname(S("nobox"), S("vok_kernel")));
    EXPECT_EQ(_vok_mess_nonmethod.selector, S("nonmethod"));
    EXPECT_EQ(_vok_mess_nonmethod.function, M(vok_method_false));
    EXPECT_EQ(_vok_mess_freemethod.selector, _vok_sym_free);
    EXPECT_EQ(_vok_mess_freemethod.function, M(vok_object_free));
    EXPECT_EQ(_common_symbols, common_symbols_gettable());
    EXPECT_EQ(init_late(), &_initlate);
}

TEST_F(FoundationUp, CommonSymbols)
{
    std::set<symbol *> all;
    int count = 0;
#define CHECK(name)                                                                                               \
    EXPECT_EQ(_vok_sym_##name, S(#name));                                                                         \
    all.insert(_vok_sym_##name);                                                                                  \
    ++count;
#define CHECK_RENAMED(name, text)                                                                                 \
    EXPECT_EQ(_vok_sym_##name, S(text));                                                                          \
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
    EXPECT_EQ(ps_vokra, S("vokra"));
    EXPECT_EQ(ps_vokraCFM, S("vokraCFM"));
}

TEST_F(FoundationUp, HostVocabulary)
{
    std::set<symbol *> all;
#define CHECK_WORD(name)                                                                                          \
    EXPECT_EQ(ps_##name, S(#name));                                                                               \
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
    const vok_err codes[] = {0, VOK_ERR_EROR, VOK_ERR_INVP, VOK_ERR_DUPL, VOK_ERR_OMEM, VOK_ERR_EROR};
    for (long number = 0; number < 6; ++number)
        EXPECT_EQ(vok_err_from_zan_err(-number), codes[number]) << number;
    for (long number : {1L, long{VOK_ERR_INVP}})
        EXPECT_EQ(vok_err_from_zan_err(number), VOK_ERR_EROR) << number;
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
