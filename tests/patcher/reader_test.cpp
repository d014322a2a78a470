// The text of patches: what is found in it, its canonical form, and that nothing is lost on
// the way there.
#include "patches.h"

#include <random>

namespace {

TEST(PatchReader, tells_what_is_wrong_with_its_line_and_box)
{
    const struct {
        const char *text;
        lines findings;
    } table[] = {
        {"#!/usr/bin/vokra run\n# why\n patch 1;box a b;", {}},
        {"", {"1: it is empty; a patch begins with \"patch 1;\""}},
        {"int main() { return 0; }\nbox",
         {"1: a patch begins with \"patch 1;\", found \"int main() { return 0\""}},
        {"\nbox a b;", {"2: a patch begins with \"patch 1;\", found \"box a b\""}},
        {"patch 2; what 1;", {"1: this is a patch of format 2, and only format 1 is known"}},
        {"patch; box a b;", {"1: a patch begins with \"patch 1;\", found \"patch\""}},
        {"patch 1; patch 1;", {"1: \"patch\" stands only once, at the beginning"}},
        {"patch 1;\nbox a;", {"2: a box is written box NAME CLASS ARGUMENT...; found \"box a\""}},
        {"patch 1; box 1 b;", {"1: a box is written box NAME CLASS ARGUMENT...; found \"box 1 b\""}},
        {"patch 1; box a $1;", {"1: a box is written box NAME CLASS ARGUMENT...; found \"box a $1\""}},
        {"patch 1; box cord b;", {"1 cord: \"cord\" can't be the name of a box: it would be no message to it"}},
        {"patch 1;\nbox a b;\nbox a c;", {"3 a: the name is taken by the box of line 2"}},
        {"patch 1; cord a 0 b;",
         {"1: a cord is written cord SOURCE OUTLET DESTINATION INLET; found \"cord a 0 b\""}},
        {"patch 1; cord a -1 b 0;",
         {"1: a cord is written cord SOURCE OUTLET DESTINATION INLET; found \"cord a -1 b 0\""}},
        {"patch 1; box photo b;\ncord foto 0 photo 0;", {"2: there is no box foto; did you mean photo?"}},
        {"patch 1; cord later 0 later 0; later bang; box later b;", {}},
        {"patch 1; box photo b;\nphot bang;\nbix c d;\n5 bang;",
         {"2: there is no box phot; did you mean photo?", "3: there is no box bix; did you mean box?",
          "4: a message begins with the name of a box, found \"5 bang\""}},
        {"patch 1; box a b; layout a 1 2;\na bang;",
         {"2: warning: layout stands at the end of a patch; it begins in line 1"}},
        {"patch 1;\nbox a b\nbox c d;\n# c\nc x\n# d",
         {"2: there is no semicolon at the end of \"box a b\"", "5: there is no semicolon at the end of \"c x\""}},
        {"patch 1;\ncord a 0 a 0;\nbox a b \"c;",
         {"2: there is no box a", "3: the quote \" that begins here has no end"}},
    };
    for (const auto &row : table)
        EXPECT_EQ(test_patch(row.text).findings(), row.findings) << row.text;
    EXPECT_EQ(test_patch(std::string("patch 1;\0", 9)).findings(),
              lines{"1: there are zero bytes in it: this is no text"});
}

TEST(PatchReader, has_one_canonical_text)
{
    const struct {
        const char *text, *canonical;
    } table[] = {
        {"patch\r\n 1 ;\r\n\r\n\r\n\r\nbox   a\tb  1.50 +2 ;", "patch 1;\n\nbox a b 1.5 2;\n"},
        {"\xEF\xBB\xBFpatch 1; # mark  \n; ;\n#two\t\n   ## three\nbox a b; box c d; # last",
         "patch 1; # mark\n#two;\n## three\nbox a b;\nbox c d; # last\n"},
        {"# ahead\n\n\n# apart\npatch 1;# stuck\n", "# ahead\n\n# apart\npatch 1; # stuck\n"},
        {"patch 1; box \"a b\" c \"\" \"5\" \"$1\" $1 x$2 \"say \\\"no\\\"\";",
         "patch 1;\nbox \"a b\" c \"\" \"5\" \"$1\" $1 x$2 \"say \\\"no\\\"\";\n"},
        {"patch 1; box a b 1,2 , \",\"; a 1 ,bang;", "patch 1;\nbox a b 1, 2, \",\";\na 1, bang;\n"},
        {"patch 1; box a b \"two\nlines\" 1e20 .5 0x10;", "patch 1;\nbox a b \"two\\nlines\" 1e+20 0.5 0x10;\n"},
        {"patch 1; box a b\nbox c d", "patch 1;\nbox a b;\nbox c d;\n"},
        {"patch 1; nonsense 1 2; cord a; layout a 1", "patch 1;\nnonsense 1 2;\ncord a;\nlayout a 1;\n"},
        // what can't be written without loss isn't
        {"no patch at all;", "-"},
        {"patch 2; box a b;", "-"},
        {"patch 1; box a \"b", "-"},
    };
    for (const auto &row : table)
        EXPECT_EQ(test_patch(row.text).text(), row.canonical) << row.text;
}

// A symbol in quotes, every character that could matter marked: what is written here has
// nothing to do with how the host quotes.
std::string quoted(const std::string &w)
{
    std::string q = "\"";
    for (const char c : w)
        q += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    return q + "\"";
}

TEST(PatchReader, random_documents_come_back)
{
    std::mt19937 random(1);
    const auto below = [&](size_t n) { return random() % n; };
    const auto word = [&] {
        constexpr std::string_view letters = "ab#@$19.-,;\\\"\n\r\t \xC3\xA9{e+";
        std::string w(1 + below(6), 0);
        for (char &c : w)
            c = letters[below(letters.size())];
        return w;
    };
    for (int round = 0; round < 300; round++) {
        long comments = 0;
        // sometimes the end of a line, and a comment where one may stand
        const auto gap = [&](bool comment) {
            std::string g = below(3) ? " " : below(2) ? "\n" : " \r\n\n\t";
            if (comment && below(4) == 0) {
                g += "# " + std::to_string(below(1000)) + " \"; box\n";
                comments++;
            }
            return g;
        };
        std::string text = "patch 1;" + gap(true);
        std::vector<lines> boxes; // name, class, arguments
        for (size_t n = below(8); n-- > 0;) {
            lines box{"n" + std::to_string(n) + word(), "c" + word()};
            for (size_t argc = below(5); argc-- > 0;)
                box.push_back(word());
            text += "box";
            for (const std::string &w : box)
                text += gap(false) + quoted(w);
            text += ";" + gap(true);
            boxes.push_back(std::move(box));
        }
        const test_patch p(text);
        ASSERT_EQ(p.findings(), lines{}) << text;
        const std::string canonical = p.text();
        const test_patch again(canonical);
        EXPECT_EQ(again.text(), canonical) << text;
        for (const test_patch *one : {&p, &again}) {
            std::vector<lines> read;
            zan_patch_box b;
            for (long i = 0; !zan_patch_getbox(*one, i, &b); i++) {
                read.push_back({b.name->name, b.classname->name});
                for (long a = 0; a < b.argc; a++)
                    read.back().push_back(b.argv[a].type == argtype_sym ? b.argv[a].value.as_sym->name : "none");
            }
            EXPECT_EQ(read, boxes) << text;
        }
        for (size_t at = 0; (at = canonical.find(" \"; box\n", at)) != canonical.npos; at++)
            comments--;
        EXPECT_EQ(comments, 0) << text;
    }
}

TEST(PatchReader, broken_texts_are_read_as_far_as_they_go)
{
    const std::string whole = "patch 1; # mark\nbox a t.hear \"x y\" $1 1.5e3;\nbox b inlet, \\;;\n\n# c\n"
                              "cord a 0 b 0;\na bang, 1 2;\nlayout a 1 2;\n";
    const auto stays = [](const std::string &text) {
        const std::string canonical = test_patch(text).text();
        if (canonical != "-") {
            EXPECT_EQ(test_patch(canonical).text(), canonical) << text;
        }
    };
    for (size_t i = 0; i <= whole.size(); i++) {
        stays(whole.substr(0, i));
        for (const char c : {'"', ';', '#', '\\', '\n', '$', ',', '\xFF'}) {
            std::string broken = whole;
            broken[std::min(i, whole.size() - 1)] = c;
            stays(broken);
        }
    }
    // more findings than anyone reads, and hints that would take for ever
    std::string many = "patch 1;";
    for (int i = 0; i < 20000; i++)
        many += "box b" + std::to_string(i) + " c; cord x" + std::to_string(i) + " 0 y 0;";
    const lines findings = test_patch(many).findings();
    ASSERT_EQ(findings.size(), 1000u);
    EXPECT_EQ(findings.back(), "0: 39001 more findings");
}

} // namespace
