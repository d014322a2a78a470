// Starting the library and ending it: who may trigger the start, and whom it meets. In a
// program of its own, since other tests bring the library up before the first one runs.
#include <cstdlib>

#include <gtest/gtest.h>
#include <vokra/vokra.h>
#include <zan/host.h>

namespace {

// Each in a process of its own, as the library starts once only.
void exit_when(bool good)
{
    std::_Exit(good ? 0 : 1);
}

TEST(Startup, TheFirstClassBringsTheLibraryUp)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            const bool before = !_vok_initialized && !_vok_sym_char && !ps_vokra;
            zan_class *c = vok_class_new("first_of_all", nullptr, nullptr, sizeof(object), argtype_cant, 0);
            exit_when(before && c && _vok_initialized == 1 && _vok_object_init == 1 && _vok_sym_char &&
                      vok_class_findbyname(_vok_sym_vok_matrix));
        },
        testing::ExitedWithCode(0), "");
}

TEST(Startup, TheFirstObjectBringsTheLibraryUp)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            void *m = vok_object_new(gensym("vok_matrix"), 0);
            exit_when(m && _vok_initialized == 1 && _initlate == 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(Startup, ABoxClassInTheMakingBringsTheLibraryUpAndStaysIt)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            zan_class *c = class_new("first.box", nullptr, nullptr, sizeof(object) + sizeof(void *), nullptr, 0);
            zan_vok_classex *record = zan_vok_classex_setup(sizeof(object));
            exit_when(record && _vok_initialized == 1 && zan_vok_classex_get(object_alloc(c)) == record);
        },
        testing::ExitedWithCode(0), "");
}

long gl_starts;
zan_word start_gl(zan_word argument)
{
    gl_starts += argument == 0 ? 1 : 100;
    return 0;
}

TEST(Startup, TheOpenGLModuleHandsItsStartOverInASymbol)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const char *engine : {"", "glcore"})
        EXPECT_EXIT(
            {
                preferences_setsym("gfxengine", gensym(engine));
                gensym(*engine ? "gl3status_initgl" : "gl2status_initgl")->thing =
                    reinterpret_cast<void *>(start_gl);
                initialize();
                exit_when(gl_starts == 1);
            },
            testing::ExitedWithCode(0), "")
            << engine;
}

symbol *heard_message;
zan_word hear(void *, symbol *, symbol *message, void *, void *)
{
    heard_message = message;
    return 0;
}

TEST(Startup, ShutdownTellsTheHolderOfTheSharedContextAndLeavesTheLibraryInitialised)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            zan_class *c = vok_class_new("context_holder", nullptr, nullptr, sizeof(object), argtype_cant, 0);
            vok_class_addmethod(c, reinterpret_cast<zan_method>(hear), "notify", argtype_cant, 0);
            vok_object_register(vok_object_alloc(c), gensym("##vzgctx##"));
            vok_object_attach(gensym("##vzgctx##"), vok_object_alloc(c));
            zan_stop(); // the host's quit task
            exit_when(heard_message == gensym("shutdown") && _vok_initialized == 1 && initialize() == 0 &&
                      _vok_object_init == 0);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
