// Preferences: a file is read once in a process, so each case runs in a child of its
// own that starts with the file it is given.
#include <cerrno>
#include <scratch.h>

namespace {

// Runs fn in a child; its failures are printed there and fail the test here.
template <class Fn> void in_child(Fn fn)
{
    const auto run = [&] {
        fn();
        _exit(testing::Test::HasFailure());
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
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
    const std::pair<const char *, const char *> rows[] = {
        {"dpi", "300"},
        {"engine", "glcore"},
        {"words", "several of  them"},
        {"alone", ""},
        {"negative", "-5"},
        {"huge", "99999999999999999999"},
        {"twice", "2"},
        {"last", "7"},
        {"mixed", "12abc"},
        {"missing", ""},
        {"#", ""},
        {"", ""},
    };
    in_child([&] {
        for (const auto &[name, value] : rows) {
            errno = 0;
            const long number = strtol(value, nullptr, 10);
            EXPECT_STREQ(preferences_getsym(name)->name, value);
            EXPECT_EQ(preferences_getlong(name), errno ? 0 : number) << name;
        }
        preferences_setsym("alone", gensym(" new words\t"));
        preferences_setlong("added", -12);
        preferences_setsym("twice", gensym(""));
        preferences_setsym("absent", nullptr);
        EXPECT_STREQ(preferences_getsym("alone")->name, "new words");
        EXPECT_TRUE(reports.take().empty());
        // what would not read back is refused
        for (const char *name : {"", "two words", "tab\tbed", "#hash", "line\nend"})
            preferences_setlong(name, 1);
        preferences_setsym("dpi", gensym("two\nlines"));
        EXPECT_EQ(reports.take(zan_report_error).size(), 6u);
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
        EXPECT_STREQ(preferences_getsym("anything")->name, "");
        preferences_setlong("a", 1);
        EXPECT_EQ(preferences_save(), 0);
        EXPECT_EQ(bytes_of(scratch / "deep/config/vokra/preferences.txt"), "a 1\n");
        EXPECT_TRUE(reports.take().empty());
    });
    scratch.make("plain", ""); // what isn't there is empty, but can't be made below it
    for (const auto &[place, said] : {std::pair("plain/p.txt", "plain/p.txt: preferences can't be written"),
                                      {"", ": preferences can't be read: Is a directory"}})
        in_child([&, place = place, said = said] {
            setenv("VOKRA_PREFERENCES", (scratch / place).c_str(), 1);
            EXPECT_STREQ(preferences_getsym("a")->name, "");
            preferences_setlong("a", 1);
            EXPECT_EQ(preferences_save(), zan_err_generic);
            EXPECT_NE(reports.take()[0].find(said), std::string::npos);
        });
}

} // namespace
