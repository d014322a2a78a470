// Preferences: a file is read once in a process, so each case runs in a child of its
// own that starts with the file it is given.
#include <scratch.h>
#include <sys/wait.h>

namespace {

// Runs fn in a child; its failures are printed there and fail the test here.
template <class Fn> void in_child(Fn fn)
{
    fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        fn();
        fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

std::string sym(const char *name)
{
    return preferences_getsym(name)->name;
}

class preferences : public testing::Test {
  protected:
    scratch_folder scratch;
    env_setting file{"VOKRA_PREFERENCES", (scratch / "p.txt").c_str()};
    report_catcher reports;
};

TEST_F(preferences, lines_are_names_and_values_and_stay_when_they_are_not_known)
{
    const std::string text =
        "# mine\ndpi 300\r\n  engine \t glcore  \nwords several of  them\nalone\n\nnegative -5\ntwice 1\n"
        "twice 2\nmixed 12abc\nhuge 99999999999999999999\nlast 7";
    scratch.make("p.txt", text);
    const struct {
        const char *name, *text;
        zan_word number;
    } rows[] = {
        {"dpi", "300", 300},
        {"engine", "glcore", 0},
        {"words", "several of  them", 0},
        {"alone", "", 0},
        {"negative", "-5", -5},
        {"huge", "99999999999999999999", 0},
        {"twice", "2", 2},
        {"last", "7", 7},
        {"mixed", "12abc", 12},
        {"missing", "", 0},
        {"#", "", 0},
        {"", "", 0},
    };
    in_child([&] {
        for (const auto &row : rows) {
            EXPECT_EQ(sym(row.name), row.text) << row.name;
            EXPECT_EQ(preferences_getlong(row.name), row.number) << row.name;
        }
        preferences_setsym("alone", gensym(" new words\t"));
        preferences_setlong("added", -12);
        preferences_setsym("twice", gensym(""));
        preferences_setsym("absent", nullptr);
        EXPECT_EQ(sym("alone"), "new words");
        EXPECT_EQ(preferences_getlong("added"), -12);
        EXPECT_EQ(sym("twice"), "");
        EXPECT_TRUE(reports.take().empty());
        // what would not read back is refused
        for (const char *name :
             {"", "two words", "tab\tbed", "#hash", "line\nend", static_cast<const char *>(nullptr)}) {
            preferences_setlong(name, 1);
            reports.one_error();
        }
        preferences_setsym("dpi", gensym("two\nlines"));
        reports.one_error();
        EXPECT_EQ(bytes_of(scratch / "p.txt"), text);
        EXPECT_EQ(preferences_save(), 0);
    });
    EXPECT_EQ(bytes_of(scratch / "p.txt"),
              "# mine\ndpi 300\nengine glcore\nwords several of  them\nalone new words\n\n"
              "negative -5\nmixed 12abc\nhuge 99999999999999999999\nlast 7\nadded -12\n");
    EXPECT_EQ(scratch.count(), 1); // no temporary file is left
}

TEST_F(preferences, folders_are_made_and_failures_told)
{
    const env_setting none("VOKRA_PREFERENCES", nullptr);
    const env_setting config("XDG_CONFIG_HOME", (scratch / "deep/config").c_str());
    in_child([&] {
        EXPECT_EQ(sym("anything"), "");
        preferences_setlong("a", 1);
        EXPECT_EQ(preferences_save(), 0);
        EXPECT_EQ(bytes_of(scratch / "deep/config/vokra/preferences.txt"), "a 1\n");
        EXPECT_TRUE(reports.take().empty());
    });
    scratch.make("plain", "");
    in_child([&] {
        setenv("VOKRA_PREFERENCES", (scratch / "plain/p.txt").c_str(), 1);
        preferences_setlong("a", 1);
        EXPECT_TRUE(reports.take().empty()); // not there is empty
        EXPECT_EQ(preferences_save(), zan_err_generic);
        EXPECT_NE(reports.one_error().find("plain/p.txt"), std::string::npos);
    });
    in_child([&] {
        setenv("VOKRA_PREFERENCES", scratch.name().c_str(), 1);
        EXPECT_EQ(sym("a"), "");
        EXPECT_NE(reports.one_error().find("directory"), std::string::npos);
    });
}

} // namespace
