// Patches as boxes and cords: what opening makes, what it finds, and that a check finds the
// same and runs nothing.
#include "patches.h"

namespace {

using lines = std::vector<std::string>;

class PatchOpen : public testing::Test {
  protected:
    lines take() { return std::exchange(heard, {}); }
    const test_classes classes;
    scratch_folder folder;
    report_catcher reports;
};

TEST_F(PatchOpen, check_and_opening_find_the_same)
{
    const struct {
        const char *text; // behind the mark
        lines findings;
    } table[] = {
        {"box a t.hear a; box b t.hear b; cord a 0 b 2; a 1 2, bang, only x;", {}},
        {"box a t.haer;", {"1 a: there is no box class t.haer; did you mean t.hear?"}},
        {"box a t.refuses;", {"1 a: it can't be made of these arguments"}},
        {"box a t.hear a @sped 1;", {"1 a: there is no attribute sped; did you mean speed?"}},
        {"box a t.hear a @speed 1;", {}},
        {"box a t.hear;\ncord a 1 a 0;", {"2 a: there is no outlet 1: it has one, number 0"}},
        {"box a t.hear;\ncord a 0 a 3;", {"2 a: there is no inlet 3: its inlets are 0 to 2"}},
        {"box a t.hear;\ncord a 0 a 1;\ncord a 0 a 1;", {"3 a: warning: this cord is there already"}},
        {"box a t.hear;\na bong;", {"2 a: it has no message bong; did you mean bang?"}},
        {"box a t.hear;\na 1.5; a 1 2; a getspeed; a speed 3;", {}},
        {"box a t.none;\ncord a 3 a 2; cord a 300 a 0; a what;",
         {"1 a: there is no box class t.none", "2 a: there is no outlet 300: its outlets are 0 to 255"}},
    };
    for (const auto &row : table) {
        const test_patch p(std::string("patch 1;") + row.text);
        const long errors = zan_patch_check(p, 0, nullptr);
        EXPECT_EQ(p.findings(), row.findings) << row.text;
        EXPECT_EQ(take(), lines{}) << row.text;
        EXPECT_EQ(reports.take(), lines{}) << row.text;
        EXPECT_EQ(zan_patch_open(p, 0, nullptr), errors) << row.text;
        EXPECT_EQ(p.findings(), row.findings) << row.text;
        EXPECT_EQ(reports.take().size(), row.findings.size()) << row.text;
    }
    EXPECT_EQ(zan_object_count(gensym("t.hear")), 0);
    EXPECT_EQ(zan_object_count(gensym("box")), 0);
}

TEST_F(PatchOpen, a_check_sends_no_message_among_the_arguments)
{
    const test_patch p("patch 1; box a t.hear a @write file @speed 2; a bang;");
    zan_patch_check(p, 0, nullptr);
    EXPECT_EQ(take(), lines{});
    zan_patch_open(p, 0, nullptr);
    EXPECT_EQ(take(), lines{"a write file"});
}

TEST_F(PatchOpen, loads_and_sends_in_order)
{
    const test_patch p(
        "patch 1; x bang; box x t.hear x; box l t.loads l; cord l 0 x 1; cord x 0 y 0; box y t.hear y;"
        "y $1 $2, only $3, $2; box u t.unread $1 a$1, b;");
    atom arguments[2];
    atom_setlong(&arguments[0], 7);
    atom_setsym(&arguments[1], gensym("only"));
    EXPECT_EQ(zan_patch_open(p, 2, arguments), 0);
    EXPECT_EQ(take(), lines{"unread $1 a$1, b"});
    zan_patch_start(p);
    EXPECT_EQ(take(),
              (lines{"load l", "x1 bang", "y bang", "x bang", "y bang", "y list 7 only", "y only 0", "y only"}));
    void *x = p.find("x");
    ASSERT_TRUE(x);
    EXPECT_EQ(zbox_get_id(x), gensym("x"));
    void *stand = nullptr;
    EXPECT_EQ(object_obex_lookup(x, gensym("#B"), &stand), 0);
    EXPECT_EQ(zbox_get_id(stand), gensym("x"));
    EXPECT_EQ(zan_place_of(stand)->classname, gensym("t.hear"));
    EXPECT_EQ(gensym("#B")->thing, nullptr);
    zan_patch_close(p);
    EXPECT_EQ(p.find("x"), nullptr);
    EXPECT_EQ(zan_object_count(gensym("t.hear")), 0);
}

TEST_F(PatchOpen, a_patch_is_a_box_with_inlets_and_outlets)
{
    folder.make("swap.patch", "patch 1; box l inlet; box r inlet; box h t.hear $1; box o1 outlet; box o2 outlet;"
                              "cord l 0 o2 0; cord r 0 h 0; cord h 0 o1 0; l only $2;");
    folder.make("main", "patch 1; box s swap in 5; box a t.hear a; box b t.hear b; cord s 0 a 0; cord s 1 b 0;"
                        "cord s 2 a 0; cord a 0 s 2; box again swap.patch;");
    const test_patch p(test_patch::in_file{folder / "main"});
    EXPECT_EQ(zan_patch_open(p, 0, nullptr), 2);
    EXPECT_EQ(p.findings(), (lines{"main:1 s: there is no outlet 2: its outlets are 0 to 1",
                                   "main:1 s: there is no inlet 2: its inlets are 0 to 1"}));
    zan_patch_start(p);
    EXPECT_EQ(take(), lines{"b only 5"});
    zan_send(p.find("s"), 1, gensym("bang"), 0, nullptr);
    EXPECT_EQ(take(), (lines{"in bang", "a bang"}));
    EXPECT_TRUE(p.find("s/h"));
    EXPECT_NE(p.find("s/h"), p.find("again/h"));
    zan_patch_box box;
    ASSERT_EQ(zan_patch_getbox(p, 0, &box), 0);
    EXPECT_TRUE(box.inner);
    zan_patch_close(p);
    EXPECT_EQ(zan_object_count(gensym("patch")) + zan_object_count(gensym("inlet")), 0);
}

TEST_F(PatchOpen, a_patch_in_itself_is_found)
{
    folder.make("a.patch", "patch 1;\nbox s b;");
    folder.make("b.patch", "patch 1;\n\nbox s a.patch; box t t.hear; box wrong t.hear wrong @wrong 1;");
    const test_patch p(test_patch::in_file{folder / "a.patch"});
    EXPECT_EQ(zan_patch_check(p, 0, nullptr), 2);
    const lines findings = p.findings();
    ASSERT_EQ(findings.size(), 2u);
    EXPECT_EQ(findings[0].substr(0, 45), "b.patch:3 s: a patch can't be in itself: " + folder.name().substr(0, 4));
    EXPECT_EQ(findings[1], "b.patch:3 wrong: there is no attribute wrong");
}

TEST_F(PatchOpen, files_that_are_no_patches)
{
    folder.make("gif.patch", "GIF89a");
    EXPECT_EQ(test_patch(test_patch::in_file{folder / "gif.patch"}).findings(),
              lines{"gif.patch:0: this is a GIF, not a patch"});
    EXPECT_EQ(test_patch(test_patch::in_file{folder / "none.patch"}).findings(),
              lines{"none.patch:0: No such file or directory"});
    EXPECT_EQ(test_patch(test_patch::in_file{folder.name()}).findings().size(), 1u);
    folder.make("broken.so", "no module");
    const env_setting path("VOKRA_PATH", folder.name().c_str());
    const test_patch p("patch 1; box g gif; box b broken; box a t.hear a;");
    EXPECT_EQ(zan_patch_open(p, 0, nullptr), 3);
    EXPECT_EQ(p.findings().size(), 3u);
    EXPECT_TRUE(p.find("a")); // nothing stops the rest
}

TEST_F(PatchOpen, looks_beside_the_patch_before_the_folders_told)
{
    const scratch_folder other;
    const env_setting path("VOKRA_PATH", other.name().c_str());
    other.make("one.patch", "patch 1; box h t.hear; h only other;");
    other.make("two.patch", "patch 1; box h t.hear; h only two;");
    folder.make("sub/one.patch", "patch 1; box h t.hear; h only beside; box t two;");
    folder.make("main.patch", "patch 1; box a sub/one; box b one;");
    const test_patch p(test_patch::in_file{folder / "main.patch"});
    EXPECT_EQ(zan_patch_open(p, 0, nullptr), 0);
    char first[ZAN_NAME_SIZE];
    ASSERT_EQ(path_getclasspath(0, first), 0);
    EXPECT_EQ(first, folder.name());
    zan_patch_start(p);
    EXPECT_EQ(take(), (lines{"? only two", "? only beside", "? only other"}));
    zan_patch_close(p);
    ASSERT_EQ(path_getclasspath(0, first), 0);
    EXPECT_EQ(first, std::filesystem::current_path());
}

} // namespace
