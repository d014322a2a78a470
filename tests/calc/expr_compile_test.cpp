// The compiler of expressions: texts against the trees that come of them and the words of
// its errors, hostile texts, and the trace.
#include <random>
#include <thread>

#include "calc/expr_tools.h"

namespace {

struct row {
    const char *text, *tree, *report;
};

const row texts[] = {
    // precedence, association, groups
    {"a+b*c", "(add a (mult b c))", ""},
    {"a-b-c", "(sub (sub a b) c)", ""},
    {"a/b*c%d", "(mod (mult (div a b) c) d)", ""},
    {"((a))", "a", ""},
    {"a||b&&c==d<e+f*!g", "(or a (and b (eq c (lt d (add e (mult f (not g)))))))", ""},
    {"a<=b>c", "(gt (lte a b) c)", ""},
    // signs
    {"-a*b", "(mult (sub 0 a) b)", ""},
    {"a*-b", "(mult a (sub 0 b))", ""},
    {"a - -b", "(sub a (sub 0 b))", ""},
    {"-(a+b)", "(sub 0 (add a b))", ""},
    {"!-a", "(not (sub 0 a))", ""},
    {"-", "0", ""},
    {"--a", "none", "vok.expr: missing siblings converting infix to prefix (-)"},
    {"!", "(not)", ""},
    {"!!a", "(not (not)) a", ""},
    {"a||||b", "none", "vok.expr: missing siblings converting infix to prefix (||)"},
    // tokens
    {"", "", ""},
    {"  \t\n", "", ""},
    {"a b", "a b", ""},
    {"2x", "2 x", ""},
    {"a^b", "a b", ""},
    {"1e5", "1 e5", ""},
    {".5", "0.5", ""},
    {"1.5.5", "1.5 0.5", ""},
    {"in[0].p[3]", "in[0].p[3]", ""},
    {"a[1][2]", "a[1] 2", ""},
    {"a.b.c", "a.b c", ""},
    {"a.b[1][2]", "a.b[1][2]", ""},
    {"_a", "a", ""},
    {"a_1b", "a_1b", ""},
    {"@seed", "@seed", ""},
    {"a<<b", "none", "vok.expr: missing siblings converting infix to prefix (<)"},
    {"a&b", "a <&> b", ""},
    {"a|b", "a <|> b", ""},
    {"=", "none", "vok.expr: special is not infix: ="},
    // calls
    {"sin", "none", "vok.expr: operator expects parentheses: sin"},
    {"1+sin a", "none", "vok.expr: operator expects parentheses sin"},
    {"sin(a)", "(sin a)", ""},
    {"atan2(a, b+1)", "(atan2 a (add b 1))", ""},
    {"max(a b)", "(max a b)", ""},
    {"max(,a,,b,)", "(max a b)", ""},
    {"sin()", "(sin)", ""},
    {"euclidean(a, @width, -2)", "(euclidean a @width -2)", ""},
    {"euclidean(a, @width -2)", "(euclidean a (sub @width 2))", ""},
    {"distance.euclidean(1)", "(distance.euclidean 1)", ""},
    {"vok.op(a, b, @op, max())", "(vok.op a b @op (max))", ""},
    {"vok.nosuchclass(a)", "vok.nosuchclass a", ""},
    // parentheses that don't match
    {")", "none", "vok.expr: unmatched parentheses at depth 0 in )"},
    {"(a))", "none", "vok.expr: unmatched parentheses at depth 0 in (a))"},
    {"(a", "a", ""},
    {"sin(a", "(sin a)", ""},
    {"()", "(group)", "vok.expr: GROUP node on clean pass has no child node"},
    {"(a,b)", "a", "vok.expr: GROUP node on clean pass has more than 1 child node"},
    {"(a b)+c", "(add a c)", "vok.expr: GROUP node on clean pass has more than 1 child node"},
    {"a+", "none", "vok.expr: missing siblings converting infix to prefix (+)"},
    {"*a", "none", "vok.expr: missing siblings converting infix to prefix (*)"},
    {"a+(b-)", "none", "vok.expr: missing siblings converting infix to prefix (-)"},
    // folding: in double, whatever the precision; literals are float32
    {"2*3+1", "7", ""},
    {"PI*2", "6.28318530717959", ""},
    {"E", "2.71828182845905", ""},
    {"0.1", "0.100000001490116", ""},
    {"1/0", "0", ""},
    {"sin(HALFPI)*a", "(mult 1 a)", ""},
    {"1+a+1", "(add (add 1 a) 1)", ""},
    {"max(1,2,3)", "2", ""},
    {"add(4)", "8", ""},
    {"sin(0,5)", "0", ""},
    {"euclidean(0.5)", "(euclidean 0.5)", ""},
};

class ExprCompile : public LibraryTable<row> {};

TEST_P(ExprCompile, GivesTheTreeAndTheMessage)
{
    const row &r = GetParam();
    report_catcher reports;
    expression e({r.text});
    EXPECT_EQ(e.tree(), r.tree) << r.text;
    const std::string all = reported(reports);
    EXPECT_EQ(all.empty(), !*r.report) << r.text << ": " << all;
    EXPECT_NE(all.find(r.report), std::string::npos) << r.text << ": " << all;
}
INSTANTIATE_TEST_SUITE_P(Texts, ExprCompile, testing::ValuesIn(texts));

class ExprObject : public Library {};

TEST_F(ExprObject, ListsOfTexts)
{
    report_catcher reports;
    expression e({"a+1", "a+", "a*2"}); // a failure leaves the others
    EXPECT_EQ(e.x->exprcount, 3);
    EXPECT_EQ(e.tree(0) + e.tree(1) + e.tree(2), "(add a 1)none(mult a 2)");
    e.set({});
    EXPECT_EQ(e.x->exprcount, 0);
    EXPECT_EQ(e.tree(0), "none");
    EXPECT_EQ(e.x->expr[0], _vok_sym_nothing);
    std::vector<atom> list = atoms("-7 0.5 x"); // numbers are taken as texts
    atom_setobj(&list[2], nullptr);
    EXPECT_EQ(vok_expr_expr(e.x, nullptr, 3, list.data()), 0);
    EXPECT_STREQ(e.x->expr[0]->name, "-7");
    EXPECT_STREQ(e.x->expr[1]->name, "0.500000");
    EXPECT_EQ(e.x->expr[2], _vok_sym_nothing);
    list.resize(40, list[0]);
    EXPECT_EQ(vok_expr_expr(e.x, nullptr, 40, list.data()), 0);
    EXPECT_EQ(e.x->exprcount, 32);
    EXPECT_EQ(hashtab_getsize(_vok_expr_mxfns), 1184);
    EXPECT_EQ(hashtab_getsize(_vok_expr_constants), 13);
    EXPECT_EQ(hashtab_getsize(_vok_expr_infixmap), 14);
    EXPECT_TRUE(class_adornment_get(object_class(e.x), _vok_sym_vok_mop));
}

TEST_F(ExprObject, TracesEveryStage)
{
    report_catcher reports;
    expression e;
    vok_attr_setlong(e.x, gensym("verbose"), 1);
    e.set({"-(2)*a"});
    const char *const stages[] = {
        "parsed tokens\nROOT (NULL)\n     SPECIAL -\n     LPAREN (\n     NUMBER 2.000000\n     RPAREN )\n     "
        "SPECIAL *\n"
        "     WORD a\n",
        "built tree\nROOT (NULL)\n     INOP -\n     GROUP \n         NUMBER 2.000000\n     INOP *\n     VARIABLE "
        "a\n",
        "converted infix to prefix\nROOT (NULL)\n     OP mult\n         OP sub\n             NUMBER 0.000000\n"
        "             GROUP \n                 NUMBER 2.000000\n         VARIABLE a\n",
        "cleaned tree\nROOT (NULL)\n     OP mult\n         OP sub\n             NUMBER 0.000000\n"
        "             NUMBER 2.000000\n         VARIABLE a\n",
        "flattened constants\nROOT (NULL)\n     OP mult\n         NUMBER -2.000000\n         VARIABLE a\n",
    };
    std::string all;
    for (const char *stage : stages)
        all += std::string("--------------------------\n") + stage;
    EXPECT_EQ(reported(reports), all);
}

// Every text gives a tree or a message, and is gone again in time and without a deep stack.
void survives(const std::string &text, const char *expected = nullptr)
{
    report_catcher reports;
    std::thread small([&] { // another thread's stack, so that depth shows
        expression e({text});
        EXPECT_TRUE(!expected || !e.x->trees[0]);
    });
    small.join();
    const std::string all = reported(reports);
    EXPECT_TRUE(!expected || all.find(expected) != std::string::npos) << all.substr(0, 200);
}

std::string repeated(const std::string &what, long count)
{
    std::string all;
    for (long i = 0; i < count; i++)
        all += what;
    return all;
}

TEST_F(ExprObject, HostileTexts)
{
    constexpr long mega = 1 << 17; // of some bytes each
    const char *const deep = "nested more than 1000 levels deep";
    const struct {
        const char *repeated;
        long count;
        const char *end, *report;
    } rows[] = {{"(", mega, "", "vok.expr: nested more than 1000 levels deep in (((("},
                {"sin(", mega, "", deep},
                {")", mega, "", "unmatched parentheses"},
                {"a+", 10000, "a", deep},
                {"a+", 900, "a", nullptr},
                {"-", 10000, "a", "missing siblings"},
                {"!", 10000, "a", nullptr},
                {"(a||b&&c==d<e+f*!", 999, "a", deep},
                {"()", mega, "", nullptr},
                {",", mega, "", nullptr},
                {"1 ", mega, "", nullptr},
                {"1+", 5000, "1", deep},
                {"9", mega, "", nullptr},
                {"a", mega, "", nullptr},
                {"[0]", mega, "", nullptr},
                {"x.", mega, "", nullptr}};
    for (const auto &row : rows)
        survives(repeated(row.repeated, row.count) + row.end, row.report);
    std::string bytes;
    for (int c = 1; c < 256; c++)
        bytes += static_cast<char>(c);
    survives(bytes);
    survives(repeated(bytes, 100));
    std::minstd_rand random(4);
    const char *const words[] = {"(", ")", "a", "sin", "sin(", "1",   ".", "-",
                                 "*", "!", ",", "@a",  "&",    "[0]", "||"};
    for (int i = 0; i < 3000; i++) {
        std::string text;
        for (unsigned k = random() % 24; k > 0; k--)
            text += words[random() % std::size(words)];
        survives(text);
    }
}

} // namespace
