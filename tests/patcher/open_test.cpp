// Patches as boxes and cords: what opening makes, what it finds, and that a check finds the
// same and runs nothing. What a patch does is seen by what its `print` boxes post.
#include "patches.h"

namespace {

class PatchOpen : public testing::Test {
  protected:
    scratch_folder folder;
    report_catcher reports;
};

TEST_F(PatchOpen, check_and_opening_find_the_same)
{
    const auto refuses = +[](symbol *, long, atom *) -> void * { return nullptr; };
    zan_class *c = class_new("t.refuses", reinterpret_cast<zan_method>(refuses), nullptr, sizeof(object), nullptr,
                             argtype_gimme, 0);
    class_register(gensym("box"), c);
    const struct {
        const char *text; // behind the mark
        lines findings;
    } table[] = {
        {"box a trigger b b; box b pack 1 2 3; cord a 0 b 2; a 1 2, bang, only x;", {}},
        {"box a metor;", {"1 a: there is no box class metor; did you mean metro?"}},
        {"box a t.refuses;", {"1 a: it can't be made of these arguments"}},
        {"box a metro @intervl 1;", {"1 a: there is no attribute intervl; did you mean interval?"}},
        {"box a metro @interval 1;", {}},
        {"box a metro;\ncord a 1 a 0;", {"2 a: there is no outlet 1: it has one, number 0"}},
        {"box a pack 1 2 3;\ncord a 0 a 3;", {"2 a: there is no inlet 3: its inlets are 0 to 2"}},
        {"box a pack;\ncord a 0 a 1;\ncord a 0 a 1;", {"3 a: warning: this cord is there already"}},
        {"box a metro;\na bong;", {"2 a: it has no message bong; did you mean bang?"}},
        {"box a metro;\na 1.5; a getinterval; a interval 3;", {}},
        {"box a t.none;\ncord a 3 a 2; cord a 300 a 0; a what;",
         {"1 a: there is no box class t.none", "2 a: there is no outlet 300: its outlets are 0 to 255"}},
    };
    for (const auto &row : table) {
        const test_patch p(std::string("patch 1;") + row.text);
        const long errors = zan_patch_check(p, 0, nullptr);
        EXPECT_EQ(p.findings(), row.findings) << row.text;
        EXPECT_EQ(reports.take(), lines{}) << row.text;
        EXPECT_EQ(zan_patch_open(p, 0, nullptr), errors) << row.text;
        EXPECT_EQ(p.findings(), row.findings) << row.text;
        EXPECT_EQ(reports.take().size(), row.findings.size()) << row.text;
    }
    EXPECT_EQ(zan_object_count(gensym("metro")) + zan_object_count(gensym("box")), 0);
    class_free(c);
}

TEST_F(PatchOpen, loads_and_sends_in_order)
{
    const test_patch p("patch 1; x go; box l loadbang; cord l 0 x 0; box x prepend x; cord x 0 p 0; box p print;"
                       "p $1 $2, only $3, $2; u 5; box u message $1 a$1, b; cord u 0 p 0;");
    atom arguments[2];
    atom_setlong(&arguments[0], 7);
    atom_setsym(&arguments[1], gensym("only"));
    EXPECT_EQ(zan_patch_open(p, 2, arguments), 0);
    zan_patch_start(p);
    EXPECT_EQ(reports.take(), (lines{"x", "x go", "7 only", "only 0", "only", "5 a5", "b"}));
    void *x = p.find("x"), *stand = nullptr;
    EXPECT_EQ(zbox_get_id(x), gensym("x"));
    EXPECT_EQ(object_obex_lookup(x, gensym("#B"), &stand), 0);
    EXPECT_EQ(zbox_get_id(stand), gensym("x"));
    EXPECT_EQ(zan_place_of(stand)->classname, gensym("prepend"));
    EXPECT_EQ(gensym("#B")->thing, nullptr);
    zan_patch_close(p);
    EXPECT_EQ(p.find("x"), nullptr);
    EXPECT_EQ(zan_object_count(gensym("prepend")), 0);
}

TEST_F(PatchOpen, a_patch_is_a_box_with_inlets_and_outlets)
{
    folder.make("swap.patch", "patch 1; box l inlet; box r inlet; box h prepend $1; box o1 outlet; box o2 outlet;"
                              "cord l 0 o2 0; cord r 0 h 0; cord h 0 o1 0; l only $2;");
    folder.make("main", "patch 1; box s swap in 5; box a print a; box b print b; cord s 0 a 0; cord s 1 b 0;"
                        "cord s 2 a 0; cord s 0 s 2; box again swap.patch;");
    const test_patch p = test_patch::file(folder / "main");
    EXPECT_EQ(zan_patch_open(p, 0, nullptr), 2);
    EXPECT_EQ(p.findings(), (lines{"main:1 s: there is no outlet 2: its outlets are 0 to 1",
                                   "main:1 s: there is no inlet 2: its inlets are 0 to 1"}));
    reports.take();
    zan_patch_start(p);
    EXPECT_EQ(reports.take(), lines{"b: only 5"});
    zan_send(p.find("s"), 1, gensym("bang"), 0, nullptr);
    EXPECT_EQ(reports.take(), lines{"a: in"});
    EXPECT_TRUE(p.find("s/h"));
    EXPECT_NE(p.find("s/h"), p.find("again/h"));
    zan_patch_close(p);
    EXPECT_EQ(zan_object_count(gensym("patch")) + zan_object_count(gensym("inlet")), 0);
}

TEST_F(PatchOpen, files_that_are_no_patches)
{
    folder.make("a.patch", "patch 1;\nbox s b;");
    folder.make("b.patch", "patch 1;\n\nbox s a.patch; box t print; box wrong metro @wrong 1;");
    folder.make("gif.patch", "GIF89a");
    folder.make("broken.so", "no module");
    const env_setting path("VOKRA_PATH", folder.name().c_str());
    const test_patch in_itself = test_patch::file(folder / "a.patch");
    EXPECT_EQ(zan_patch_check(in_itself, 0, nullptr), 2);
    const lines findings = in_itself.findings();
    ASSERT_EQ(findings.size(), 2u);
    EXPECT_EQ(findings[0].rfind("b.patch:3 s: a patch can't be in itself: " + folder.name(), 0), 0u);
    EXPECT_EQ(findings[1], "b.patch:3 wrong: there is no attribute wrong");
    EXPECT_EQ(test_patch::file(folder / "gif.patch").findings(), lines{"gif.patch:0: this is a GIF, not a patch"});
    EXPECT_EQ(test_patch::file(folder / "none.patch").findings(),
              lines{"none.patch:0: No such file or directory"});
    EXPECT_EQ(test_patch::file(folder.name()).findings().size(), 1u);
    const test_patch p("patch 1; box g gif; box b broken; box a print a;");
    EXPECT_EQ(zan_patch_open(p, 0, nullptr), 3);
    EXPECT_EQ(p.findings().size(), 3u);
    EXPECT_TRUE(p.find("a")); // nothing stops the rest
}

TEST_F(PatchOpen, looks_beside_the_patch_before_the_folders_told)
{
    const scratch_folder other;
    const env_setting path("VOKRA_PATH", other.name().c_str());
    other.make("one.patch", "patch 1; box h print; h only other;");
    other.make("two.patch", "patch 1; box h print; h only two;");
    folder.make("sub/one.patch", "patch 1; box h print; h only beside; box t two;");
    folder.make("main.patch", "patch 1; box a sub/one; box b one;");
    const test_patch p = test_patch::file(folder / "main.patch");
    EXPECT_EQ(zan_patch_open(p, 0, nullptr), 0);
    char first[ZAN_NAME_SIZE];
    ASSERT_EQ(path_getclasspath(0, first), 0);
    EXPECT_EQ(first, folder.name());
    zan_patch_start(p);
    EXPECT_EQ(reports.take(), (lines{"only two", "only beside", "only other"}));
    zan_patch_close(p);
    ASSERT_EQ(path_getclasspath(0, first), 0);
    EXPECT_EQ(first, std::filesystem::current_path());
}

} // namespace
