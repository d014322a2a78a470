// Scripts: which receiver hears what, with arguments in their places; what a wrong line
// costs; and text that means harm.
#include "atom_generator.h"

namespace {

std::string heard; // what the receiver "ear" was told
void *script;

void hear(void *, symbol *selector, long argc, atom *argv)
{
    char text[4096];
    atoms_totext(argc, argv, text, sizeof text);
    heard += std::string(selector->name) + "(" + text + ")";
}

zan_class *listener_class()
{
    zan_class *c = class_new("binbuf_test_listener", nullptr, nullptr, sizeof(object), nullptr, 0);
    for (const char *name : {"list", "int", "float", "set", "other", "colour"})
        class_addmethod(c, M(hear), name, argtype_gimme, 0);
    const std::pair<const char *, void (*)(void *)> others[] = {
        {"bang", [](void *) { heard += "bang!"; }},
        {"reload", [](void *) { binbuf_settext(script, "ear other words;", -1); }},
        {"again", [](void *x) { binbuf_eval(script, 0, nullptr, x); }},
        {"vanish", [](void *) { S("ear")->thing = nullptr; }},
    };
    for (const auto &[name, fn] : others)
        class_addmethod(c, M(fn), name, 0);
    class_addmethod(c, M(hear), "secret", argtype_cant, 0);
    return c;
}

class Binbuf : public testing::Test {
  protected:
    Binbuf()
    {
        static zan_class *const c = listener_class();
        S("ear")->thing = ear = object_alloc(c);
        script = binbuf_new();
    }
    ~Binbuf() override
    {
        freeobject(script);
        S("ear")->thing = nullptr;
        object_free(ear);
    }
    // What is heard of the script, or of a text that is put into it.
    std::string run(void *receiver = nullptr)
    {
        atom arguments[] = {A(4), A("two words"), A(1.5), A("ear")};
        heard.clear();
        binbuf_eval(script, 4, arguments, receiver);
        return heard;
    }
    std::string run(const std::string &text, void *receiver = nullptr)
    {
        S("ear")->thing = ear;
        EXPECT_EQ(binbuf_settext(script, text.data(), long(text.size())), 0) << text;
        return run(receiver);
    }

    void *ear;
    report_catcher reports;
};

TEST_F(Binbuf, MessagesGoWithTheirArgumentsToTheNamedReceiver)
{
    const std::pair<std::string, const char *> named[] = {
        {"ear set 1 2.5 word;", "set(1 2.5 word)"},
        {";;; ear set 1;;", "set(1)"},
        {"ear set 1, set 2,set 3; ear set 4", "set(1)set(2)set(3)set(4)"},
        {"ear set, , set;", "set()set()"},
        {"ear, set 5; ear;", "bang!set(5)bang!"},
        {"ear 7; ear\n $3; ear $1 2\n;", "int(7)float(1.5)list(4 2)"},
        {"# ear set 1;\near set 2; # ear set 3;\n#!x\n## y\near set 4;", "set(2)set(4)"},
        {"\xEF\xBB\xBF"
         "ear set 1",
         "set(1)"},
        {"ear set $9 x$9 $0 $5-$1;", "set(0 x0 0 0-4)"},
        {"$4 set $1 $2 $3;", "set(4 \"two words\" 1.5)"},
        {"ear set a$1b-$2-$3;", "set(\"a4b-two words-1.5\")"},
        {"ear set \"$1\" \\$1 x\\$1$1;", "set(\"$1\" \"$1\" \"x$14\")"},
        {"ear set x$1\\2;", "set(x42)"},
        {"ear set $99999999999999999999;", "set(\"0\")"},
    };
    for (const auto &[text, expected] : named)
        EXPECT_EQ(run(text), expected) << text;
    // with a receiver the first word is the message
    const std::pair<const char *, const char *> given[] = {
        {"set 1, 5, bang; 1 2", "set(1)int(5)bang!list(1 2)"},
        {"; ear set 3", "set(3)"},
        {"set 1; ; ear set 3; set 4", "set(1)set(3)set(4)"},
    };
    for (const auto &[text, expected] : given)
        EXPECT_EQ(run(text, ear), expected) << text;
    EXPECT_EQ(reports.take(), std::vector<std::string>());
}

TEST_F(Binbuf, AWrongMessageNamesItsLineAndTheNextOneRuns)
{
    const struct {
        const char *text, *report, *heard;
    } rows[] = {
        {"\n\nnobody_of_this_name set 1;\near set 2;", "line 3: no receiver has the name \"nobody_of_this_name\"",
         "set(2)"},
        {"ear set 1;\near collour 2;\near set 3;", "line 2: binbuf_test_listener has no message \"collour\"",
         "set(1)set(3)"},
        {"ear collour;", "the nearest is \"colour\"", ""},
        {"ear secret; ear set 1;", "no message \"secret\"", "set(1)"},
        {"5 set; ear set 1;", "line 1: expected the name of a receiver, found \"5\"", "set(1)"},
        {"ear\nset 1,\nunheard_of 2,\nset 3;", "line 3: ", "set(1)set(3)"},
        {"binbuf_test_function set; ear set 1", "takes no messages", "set(1)"},
        {"ear vanish, set 1;", "no receiver has the name \"ear\"", ""},
    };
    S("binbuf_test_function")->thing = reinterpret_cast<void *>(&hear);
    for (const auto &row : rows) {
        EXPECT_EQ(run(row.text), row.heard) << row.text;
        const std::string error = reports.one_error();
        EXPECT_NE(error.find(row.report), error.npos) << row.text << "\n" << error;
        EXPECT_EQ(error.find("nearest is \"secret\""), error.npos) << "no one can send it";
    }
    // text that is no script is refused
    const std::pair<std::string, const char *> unfit[] = {
        {"ear set 1;\near set \"open;\n", "line 2: the quote"},
        {std::string("ear set 1;\n\n\0ear set 2;", 24), "line 3: a zero byte"},
    };
    for (const auto &[text, report] : unfit) {
        run("ear set 1;");
        EXPECT_NE(binbuf_settext(script, text.data(), long(text.size())), 0);
        const std::string error = reports.one_error();
        EXPECT_NE(error.find(report), error.npos) << error;
        EXPECT_EQ(run(), "") << "half a script must not run";
    }
    EXPECT_NE(binbuf_settext(script, nullptr, 0), 0);
    EXPECT_NE(binbuf_settext(nullptr, "a", 1), 0);
    EXPECT_EQ(binbuf_eval(nullptr, 0, nullptr, nullptr), nullptr);
}

TEST_F(Binbuf, AScriptMayReplaceItselfOrRunItself)
{
    EXPECT_EQ(run("ear set 1; ear reload; ear set 2;"), "set(1)set(2)");
    EXPECT_EQ(run(), "other(words)");
    EXPECT_EQ(run("bang; again;", ear).size(), 64 * strlen("bang!"));
    EXPECT_NE(reports.one_error().find("deep"), std::string::npos);

    std::string text;
    for (int i = 0; i < 5000; i++)
        text += "ear missing_message;\n";
    run(text);
    const std::vector<std::string> all = reports.take(zan_report_error);
    EXPECT_EQ(all.size(), 51u);
    EXPECT_NE(all.back().find("4950 more errors"), std::string::npos) << all.back();
}

TEST_F(Binbuf, FilesAreReadAndNamedInReports)
{
    const scratch_folder folder;
    char name[ZAN_NAME_SIZE];
    short path = 0;
    const std::string full = folder.make("remarks.txt", "# a remark\r\near set 1;\r\near nonsense;\r\n");
    ASSERT_EQ(path_frompotentialpathname(full.c_str(), &path, name), 0);
    EXPECT_EQ(binbuf_read(script, name, path, 0), 0);
    EXPECT_EQ(run(), "set(1)");
    EXPECT_NE(reports.one_error().find("remarks.txt, line 3: "), std::string::npos);
    EXPECT_NE(binbuf_read(script, "absent.txt", path, 0), 0);
    EXPECT_NE(binbuf_read(script, nullptr, path, 0), 0);
    EXPECT_TRUE(reports.take().empty()) << "whoever asked decides whether a missing file is worth a word";
}

TEST_F(Binbuf, HostileTextIsReadAndRunWithoutHarm)
{
    atom_generator generate(6);
    const std::string letters = "ear set;,\"\\$1 \n#.e-9\x80\x01";
    for (int round = 0; round < 3000; round++) {
        std::string text;
        for (size_t i = generate.random() % 80; i > 0; i--)
            text += generate.random() % 4 ? letters[generate.random() % letters.size()] : "ear "[i % 4];
        binbuf_settext(script, text.data(), long(text.size()));
        run(round % 2 ? ear : nullptr);
    }
    EXPECT_EQ(run("ear set 1"), "set(1)");
}

} // namespace
