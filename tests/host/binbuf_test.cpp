// Scripts: which receiver hears what, what a wrong line costs, arguments in their places,
// and random text held to the same atoms.
#include "atom_generator.h"

namespace {

// Writes down what it hears.
struct listener {
    object header;
    std::string *heard;
};

void hear(listener *x, symbol *selector, long argc, atom *argv)
{
    char text[4096];
    atoms_totext(argc, argv, text, sizeof text);
    *x->heard += std::string(selector->name) + "(" + text + ")";
}
void *script_under_test;

zan_class *listener_class()
{
    static zan_class *c = [] {
        zan_class *made =
            class_new("binbuf_test_listener", nullptr, nullptr, sizeof(listener), nullptr, argtype_cant, 0);
        const auto add = [made](const char *name, auto fn, auto... tags) {
            class_addmethod(made, M(+fn), name, tags..., 0);
        };
        for (const char *name : {"list", "int", "float", "set", "other", "colour"})
            add(name, hear, argtype_gimme);
        add("bang", [](listener *x) { *x->heard += "bang!"; });
        add(
            "typed",
            [](listener *x, zan_word number, double real, symbol *word) {
                *x->heard += "typed(" + text_of(A(number)) + " " + text_of(A(real)) + " " + word->name + ")";
            },
            argtype_long, argtype_float, argtype_sym);
        add(
            "secret", [](listener *x) { *x->heard += "secret"; }, argtype_cant);
        add("reload", [](listener *x) {
            *x->heard += "reload!";
            binbuf_settext(script_under_test, "ear other words;", -1);
        });
        add("vanish", [](listener *x) {
            *x->heard += "free!";
            S("ear")->thing = nullptr;
        });
        add("again", [](listener *x) { binbuf_eval(script_under_test, 0, nullptr, x); });
        class_register(S("nobox"), made);
        return made;
    }();
    return c;
}

class Binbuf : public testing::Test {
  protected:
    Binbuf()
    {
        ear->heard = &heard;
        S("ear")->thing = ear;
    }
    ~Binbuf() override
    {
        freeobject(script);
        S("ear")->thing = nullptr;
        object_free(ear);
    }
    std::vector<atom> atoms()
    {
        long argc = 0;
        atom *argv = nullptr;
        EXPECT_EQ(binbuf_getatoms(script, &argc, &argv), 0);
        return {argv, argv + argc};
    }
    std::string run(const std::string &text, const std::vector<atom> &arguments = {}, bool to_receiver = false)
    {
        heard.clear();
        S("ear")->thing = ear;
        EXPECT_EQ(binbuf_settext(script, text.data(), long(text.size())), 0) << text;
        binbuf_eval(script, long(arguments.size()), const_cast<atom *>(arguments.data()),
                    to_receiver ? ear : nullptr);
        return heard;
    }

    std::string heard;
    listener *ear = static_cast<listener *>(object_alloc(listener_class()));
    void *script = script_under_test = binbuf_new();
    report_catcher reports;
};

TEST_F(Binbuf, MessagesGoWithTheirArgumentsToTheNamedReceiver)
{
    const std::pair<std::string, const char *> named[] = {
        {"", ""},
        {"ear set 1 2.5 word;", "set(1 2.5 word)"},
        {"ear set 1; ear set 2", "set(1)set(2)"},
        {";;; ear set 1;;", "set(1)"},
        {"ear set 1, set 2,set 3; ear set 4", "set(1)set(2)set(3)set(4)"},
        {"ear set, , set;", "set()set()"},
        {"ear, set 5; ear;", "bang!set(5)bang!"},
        {"ear 7; ear 7.5; ear 1 2 3", "int(7)float(7.5)list(1 2 3)"},
        {"ear typed 3 4 five", "typed(3 4.000000f five)"},
        {"ear\n  set\n 1\n;", "set(1)"},
        {"ear set \"; not a mark\"", "set(\"; not a mark\")"},
        {"# ear set 1;\near set 2; # ear set 3;\n#!x\n## y\near set 4;", "set(2)set(4)"},
        {"ear set #abc # d;", "set(#abc # d)"},
        {"\xEF\xBB\xBF"
         "ear set 1",
         "set(1)"},
        {"ear set $9 x$9 $0 $5-$1;", "set(0 x0 0 0-4)"},
        {"$4 set $1 $2 $3;", "set(4 \"two words\" 1.5)"},
        {"ear set a$1b-$2-$3;", "set(\"a4b-two words-1.5\")"},
        {"ear set \"$1\" \\$1 x\\$1$1;", "set(\"$1\" \"$1\" \"x$14\")"},
        {"ear set x$1\\2;", "set(x42)"},
        {"ear $1; ear $1 $3;", "int(4)list(4 1.5)"},
        {"ear set $99999999999999999999;", "set(\"0\")"},
    };
    for (const auto &[text, expected] : named)
        EXPECT_EQ(run(text, {A(4), A("two words"), A(1.5), A("ear")}), expected) << text;
    // with a receiver the first word is the message
    const std::pair<const char *, const char *> given[] = {
        {"set 1, 5, bang; set 2", "set(1)int(5)bang!set(2)"},
        {"1 2", "list(1 2)"},
        {"; ear set 3", "set(3)"},
        {"set 1; ; ear set 3; set 4", "set(1)set(3)set(4)"},
    };
    for (const auto &[text, expected] : given)
        EXPECT_EQ(run(text, {}, true), expected) << text;
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
        {"ear vanish, set 1;", "no receiver has the name \"ear\"", "free!"},
    };
    S("binbuf_test_function")->thing = reinterpret_cast<void *>(&hear);
    for (const auto &row : rows) {
        EXPECT_EQ(run(row.text), row.heard) << row.text;
        const std::string error = reports.one_error();
        EXPECT_NE(error.find(row.report), error.npos) << row.text << "\n" << error;
        EXPECT_EQ(error.find("nearest is \"secret\""), error.npos) << "no one can send it";
    }
}

TEST_F(Binbuf, TextThatIsNoScriptIsRefusedWithItsLine)
{
    const std::pair<std::string, const char *> rows[] = {
        {"ear set 1;\near set \"open;\n", "line 2: the quote"},
        {std::string("ear set 1;\n\n\0ear set 2;", 24), "line 3: a zero byte"},
    };
    for (const auto &[text, report] : rows) {
        run("ear set 1;");
        EXPECT_NE(binbuf_settext(script, text.data(), long(text.size())), 0);
        const std::string error = reports.one_error();
        EXPECT_NE(error.find(report), error.npos) << error;
        EXPECT_TRUE(atoms().empty()) << "half a script must not run";
    }
    EXPECT_NE(binbuf_settext(script, nullptr, 0), 0);
    EXPECT_NE(binbuf_settext(nullptr, "a", 1), 0);
    EXPECT_EQ(binbuf_eval(nullptr, 0, nullptr, nullptr), nullptr);
}

TEST_F(Binbuf, AScriptMayReplaceItselfOrRunItself)
{
    EXPECT_EQ(run("ear set 1; ear reload; ear set 2;"), "set(1)reload!set(2)");
    heard.clear();
    binbuf_eval(script, 0, nullptr, nullptr);
    EXPECT_EQ(heard, "other(words)");
    EXPECT_EQ(run("bang; again;", {}, true).size(), 64 * strlen("bang!"));
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
    binbuf_eval(script, 0, nullptr, nullptr);
    EXPECT_EQ(heard, "set(1)");
    EXPECT_NE(reports.one_error().find("remarks.txt, line 3: "), std::string::npos);
    EXPECT_NE(binbuf_read(script, "absent.txt", path, 0), 0);
    EXPECT_NE(binbuf_read(script, nullptr, path, 0), 0);
    EXPECT_TRUE(reports.take().empty()) << "whoever asked decides whether a missing file is worth a word";
}

TEST_F(Binbuf, WhatWouldBePassedOverIsMarkedWhereItStands)
{
    const std::pair<atom, std::string> rows[] = {
        {A("#"), "\"#\""},
        {A("##a"), "\"##a\""},
        {A("#a"), "#a"},
        {A("\xEF\xBB\xBFx"), "\"\xEF\xBB\xBFx\""},
        {dollsym_atom("##$1"), "\\##$1"},
        {dollsym_atom("\xEF\xBB\xBF$1"), "\\\xEF\xBB\xBF$1"},
    };
    for (const auto &[value, text] : rows) {
        char written[64];
        atoms_totext(1, &value, written, sizeof written);
        EXPECT_EQ(written, text);
        ASSERT_EQ(binbuf_settext(script, text.c_str(), -1), 0);
        ASSERT_EQ(atoms().size(), 1u) << text;
        EXPECT_TRUE(same_atom(atoms()[0], value)) << text;
    }
}

TEST_F(Binbuf, HostileTextIsReadAndRunWithoutHarm)
{
    atom_generator generate(6);
    const std::string letters = "ear set;,\"\\$1 \n#.e-9\x80\x01";
    for (int round = 0; round < 3000; round++) {
        std::string text;
        for (size_t i = generate.random() % 80; i > 0; i--)
            text += generate.random() % 4 ? letters[generate.random() % letters.size()] : "ear "[i % 4];
        if (binbuf_settext(script, text.data(), long(text.size())) == 0)
            binbuf_eval(script, 0, nullptr, round % 2 ? ear : nullptr);
    }
    EXPECT_EQ(run("ear set 1"), "set(1)");
}

} // namespace
