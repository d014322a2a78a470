// Starting the library and ending it: who may trigger the start, and whom it meets. In a
// program of its own, since other tests bring the library up before the first one runs.
#include "host/kernel_fixture.h"
#include <vokra/vokra.h>

namespace {

// In a process of its own, as the library starts once only.
void expect_alone(const auto &good)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::_Exit(good() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST(Startup, TheFirstClassBringsTheLibraryUp)
{
    expect_alone([] {
        const bool before = !_vok_initialized && !_vok_sym_char && !ps_vokra;
        zan_class *c = vok_class_new("first_of_all", nullptr, nullptr, sizeof(object), argtype_cant, 0);
        return before && c && _vok_initialized == 1 && _vok_object_init == 1 && _vok_sym_char &&
               vok_class_findbyname(_vok_sym_vok_matrix);
    });
}

TEST(Startup, TheFirstObjectBringsTheLibraryUpWithoutAWord)
{
    expect_alone([] {
        report_catcher reports;
        void *m = vok_object_new(gensym("vok_matrix"), 0);
        return m && _vok_initialized == 1 && _initlate == 1 && reports.take().empty();
    });
}

TEST(Startup, ABoxClassInTheMakingBringsTheLibraryUpAndStaysIt)
{
    expect_alone([] {
        zan_class *c = class_new("first.box", nullptr, nullptr, sizeof(object) + sizeof(void *), nullptr, 0);
        zan_vok_classex *record = zan_vok_classex_setup(sizeof(object));
        return record && _vok_initialized == 1 && zan_vok_classex_get(object_alloc(c)) == record;
    });
}

TEST(Startup, TheOpenGLModuleHandsItsStartOverInASymbol)
{
    static long starts;
    const auto start = [](zan_word argument) -> zan_word { return starts += argument == 0 ? 1 : 100; };
    for (const char *engine : {"", "glcore"})
        expect_alone([&] {
            preferences_setsym("gfxengine", gensym(engine));
            gensym(*engine ? "gl3status_initgl" : "gl2status_initgl")->thing = reinterpret_cast<void *>(+start);
            initialize();
            return starts == 1;
        });
}

TEST(Startup, ShutdownTellsTheHolderOfTheSharedContextAndLeavesTheLibraryInitialised)
{
    static symbol *heard;
    expect_alone([] {
        const auto hear = [](void *, symbol *, symbol *message, void *, void *) { heard = message; };
        zan_class *c = vok_class_new("context_holder", nullptr, nullptr, sizeof(object), argtype_cant, 0);
        vok_class_addmethod(c, M(+hear), "notify", argtype_cant, 0);
        vok_object_register(vok_object_alloc(c), gensym("##vzgctx##"));
        vok_object_attach(gensym("##vzgctx##"), vok_object_alloc(c));
        zan_stop(); // the host's quit task
        return heard == gensym("shutdown") && _vok_initialized == 1 && initialize() == 0 && _vok_object_init == 0;
    });
}

} // namespace
