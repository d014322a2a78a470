// What stands once the library is up, the common symbols, the configuration script, and
// the codes.
#include "quick_class.h"
#include <set>

namespace {

TEST(FoundationUp, ASecondStartDoesNothing)
{
    initialize();
    zan_class *c = _vok_class_class;
    for (const auto start : {initialize, vok_object_init, vok_gl_initialize})
        EXPECT_EQ(start(), 0);
    EXPECT_EQ(_vok_class_class, c);
    EXPECT_FALSE(vok_class_findbyname(S("vok_kernel")));
    EXPECT_TRUE(class_findbyname(S("nobox"), S("vok_kernel")));
    EXPECT_TRUE(_vok_mess_nonmethod.selector == S("nonmethod") &&
                _vok_mess_nonmethod.function == M(vok_method_false));
    EXPECT_TRUE(_vok_mess_freemethod.selector == S("free") && _vok_mess_freemethod.function == M(vok_object_free));
}

TEST(FoundationUp, Symbols)
{
    initialize();
#define ROW(name) {_vok_sym_##name, #name},
#define ROW_RENAMED(name, text) {_vok_sym_##name, text},
#define ROW_HOST(name) {ps_##name, #name},
    const std::vector<std::pair<symbol *, std::string>> lists[] = {
        {VOK_COMMON_SYMBOLS(ROW)}, {VOK_COMMON_SYMBOLS_RENAMED(ROW_RENAMED)}, {VOK_ZPATCHER_SYMBOLS(ROW_HOST)}};
    const size_t different[] = {251, 20, 201};
    for (const auto &list : lists) {
        EXPECT_EQ(std::set(list.begin(), list.end()).size(), different[&list - lists]);
        for (const auto &[symbol, text] : list)
            EXPECT_EQ(symbol->name, text);
    }
    EXPECT_STREQ(_vok_sym_VOK_CLASS3D_FINDER->name, "this_is_the_vok_class3d");
    EXPECT_STREQ(_vok_sym_err_lockout_stack->name, "lockout stack underflow or overflow");
    EXPECT_TRUE(ps_vokra == S("vokra") && ps_vokraCFM == S("vokraCFM"));
}

TEST(FoundationUp, TheConfigurationIsAScriptOfMessages)
{
    scratch_folder folder;
    initialize();
    EXPECT_NE(vok_load_config(), 0) << "no file anywhere";
    folder.make("vokra-config.txt", "vok parallelthreshold 4321;\nvokra paralleldebug 0;\n");
    path_addsearchpath(folder.name().c_str());
    const long before = _vok_parallelthresh;
    EXPECT_EQ(vok_load_config(), 0);
    EXPECT_EQ(std::exchange(_vok_parallelthresh, before), 4321);
}

TEST(FoundationUp, HostErrorNumbers)
{
    const vok_err codes[] = {VOK_ERR_EROR, 0,           VOK_ERR_EROR, VOK_ERR_INVP, VOK_ERR_DUPL,
                             VOK_ERR_OMEM, VOK_ERR_EROR};
    for (long number = 1; number >= -5; --number)
        EXPECT_EQ(vok_err_from_zan_err(number), codes[1 - number]) << number;
}

} // namespace
