// The calculation of expressions: values of small ones at a cell, and thousands of generated
// texts in all precisions, for which the two roads of the library are held to the same bits.
#include <algorithm>
#include <cstring>
#include <random>

#include "calc/expr_tools.h"
#include "calc/op_oracle.h"

namespace {

class Expr : public Library {};

TEST_F(Expr, ValuesOfACell)
{
    matrix bytes("char", 2, {5, 4}), longs("long", 2, {5, 4}), doubles("float64", 2, {5, 4});
    message(bytes, "setall", "51 102");
    message(longs, "setall", "-3 7");
    message(doubles, "setall", "0.25 -1.5");
    const struct {
        const char *precision, *text, *value; // of cell 3 2
    } rows[] = {
        {"float32", "norm[0]*4+norm[1]*3", "5 5"},
        {"float32", "snorm[0]*4+snorm[1]*3", "3 3"},
        {"float32", "cell[0]*10+cell[1]+dim[0]*1000+dim[1]*100", "5432 5432"},
        {"float32", "in[0]", "0.2 0.4"},
        {"float32", "in[0].p[1]*in[1].p[2]", "-1.2 -1.2"}, // planes come round
        {"float32", "in[1]*in[2]+in[9]", "-0.75 -10.5"},
        {"float32", "max(in[2], -in[1])/TWOPI", "0.477465 -0.238732"},
        {"float32", "2+in[2]*4-1 > 1 && !(in[2] < 0)", "1 0"},
        {"float64", "0.1", "0.1 0.1"},
        {"float64", "(0.1-in[2])*1000000", "-150000 1.6e+06"},
        {"float64", "no_such_name+3.5", "3.5 3.5"},
        {"char", "in[0]+in[0]", "102 204"},
        {"char", "norm[0]", "191 191"},
        {"char", "in[1]", "253 7"},
        {"char", "in[2]", "63 0"},
        {"char", "0.1*2+0.3", "127 127"}, // constant parts are calculated in double
        {"char", "dim[0]", "255 255"},
        {"long", "in[2]*2", "0 -2"},
        {"long", "in[0]", "51 102"},
        {"long", "7/2*1.5", "5 5"},
        {"long", "cell[0]*dim[1]+norm[0]", "12 12"},
    };
    for (const auto &row : rows)
        for (const bool by_nodes : {false, true}) {
            matrix out(row.precision, 2, {5, 4});
            const expression e({row.text}, row.precision);
            EXPECT_EQ(e.calc({bytes, longs, doubles}, out, by_nodes), 0);
            EXPECT_EQ(cell(out, "3 2"), row.value) << row.precision << " " << row.text << " " << by_nodes;
        }
}

// ---- generated texts ----

struct lot {
    std::minstd_rand random{7};
    unsigned pick(unsigned n) { return static_cast<unsigned>(random() >> 4) % n; }
    template <typename T, size_t n> const T &one_of(const T (&list)[n]) { return list[pick(n)]; }
    std::string digit(unsigned n) { return std::to_string(pick(n)); }
    void fill(vok_matrix *m)
    {
        for (long i = 0; i < m->info.size; i++)
            m->data[i] = static_cast<uint8_t>(random() >> 8);
        if (m->info.type == _vok_sym_long) // small ones
            for (long i = 0; i + 4 <= m->info.size; i += 4)
                *reinterpret_cast<int32_t *>(m->data + i) %= 64;
        if (m->info.type == _vok_sym_float32)
            for (long i = 0; i + 4 <= m->info.size; i += 4)
                *reinterpret_cast<float *>(m->data + i) = static_cast<float>(pick(4001)) / 500 - 4;
        if (m->info.type == _vok_sym_float64)
            for (long i = 0; i + 8 <= m->info.size; i += 8)
                *reinterpret_cast<double *>(m->data + i) = pick(4001) / 500.0 - 4;
    }
    std::string text(int depth, unsigned dims)
    {
        static constexpr const char *leaves[] = {"0",   "1",   "0.5", "0.1",   "3.25",
                                                 "255", ".75", "7",   "TWOPI", "no_such_name"};
        static constexpr const char *places[] = {"norm[", "snorm[", "cell[", "dim["};
        static constexpr const char *infix[] = {"*",  "/",  "%",  "+",  "-",  ">", "<",
                                                ">=", "<=", "==", "!=", "&&", "||"};
        if (depth == 0 || pick(6) == 0)
            switch (pick(4)) {
            case 0: return one_of(leaves);
            case 1: return one_of(places) + digit(dims) + "]";
            case 2: return "in[" + digit(3) + "]";
            default: return "in[" + digit(3) + "].p[" + digit(4) + "]";
            }
        const std::string a = text(depth - 1, dims);
        switch (pick(6)) {
        case 0: return "-(" + a + ")";
        case 1: return "!(" + a + ")";
        case 2: return a + " " + one_of(infix) + " " + text(depth - 1, dims);
        case 3: return "(" + a + ")" + one_of(infix) + "(" + text(depth - 1, dims) + ")";
        default: {
            const op_rule &rule = one_of(op_rules::all);
            return rule.word + ("(" + a) + (rule.inputs > 1 ? ", " + text(depth - 1, dims) : "") + ")";
        }
        }
    }
};

// One calculation with everything drawn by lot: types, planes, shapes, texts.
void one_calculation(lot &by, const std::initializer_list<long> &dims, int depth)
{
    static constexpr const char *types[] = {"char", "long", "float32", "float64"};
    const char *precision = by.pick(2) ? "float32" : by.one_of(types);
    const auto own_type = [&] { return by.pick(2) ? precision : by.one_of(types); };
    matrix a(own_type(), 1 + by.pick(4), dims), b(own_type(), 1 + by.pick(4), dims);
    matrix out(own_type(), 1 + by.pick(2) * by.pick(4), dims), same(out->info);
    by.fill(out);
    vok_matrix_frommatrix(same, out, nullptr);
    std::vector<std::string> texts(1 + by.pick(3));
    for (std::string &text : texts)
        text = by.text(depth, static_cast<unsigned>(dims.size()));
    const expression e(texts, precision), nodes(texts, precision);
    for (int round = 0; round < 2; round++) { // the second one uses what was kept
        by.fill(a);
        by.fill(b);
        ASSERT_EQ(e.calc({a, b}, out), 0);
        nodes.calc({a, b}, same, true);
        ASSERT_TRUE(same_bits(out, same)) << texts[0] << " in " << precision << " from " << a->info.type->name
                                          << " and " << b->info.type->name << " into " << out->info.type->name;
    }
}

TEST_F(Expr, TwoRoadsGiveTheSameBits)
{
    lot by;
    const std::initializer_list<long> small[] = {{5, 4}, {6}, {1, 5}, {4, 1}, {3, 2, 3}, {2, 2, 1, 2}};
    const std::initializer_list<long> large[] = {{5003, 3}, {101, 113}, {300, 5, 7}}; // split and cut into blocks
    for (int i = 0; i < 3000 && !HasFatalFailure(); i++)
        one_calculation(by, by.one_of(small), 1 + static_cast<int>(by.pick(4)));
    for (int i = 0; i < 12 && !HasFatalFailure(); i++)
        one_calculation(by, by.one_of(large), 3);
}

// ---- what is kept ----

long calls; // of the operator below, by one of its elements

void count_and_pass(long n, void *, vok_op_vector_arg *a, vok_op_vector_arg *, vok_op_vector_arg *z)
{
    calls++;
    for (long i = 0; i < n; i++)
        static_cast<float *>(z->p)[i * z->stride] = static_cast<float *>(a->p)[i * a->stride];
}

// An operator of another module, which tells how often it is called.
void store_counter()
{
    if (vok_op_fn_lookup(gensym("counted")))
        return;
    vok_op_fn *fn = vok_op_fn_object_new(gensym("counted"), 1);
    fn->float32fn = count_and_pass;
    ASSERT_EQ(vok_op_fn_store(gensym("counted"), fn), 0);
}

TEST_F(Expr, WhatHoldsNoInputIsCalculatedOnceASize)
{
    store_counter();
    matrix in("float32", 1, {3, 4}), out("float32", 1, {3, 4});
    expression still({"counted(norm[0])*in[0]+1"}), moving({"counted(norm[0]*in[0])"});
    const auto calls_of = [&](expression &e) {
        calls = 0;
        EXPECT_EQ(e.calc({in}, out), 0);
        return calls;
    };
    EXPECT_EQ(calls_of(still), 4); // a row each
    EXPECT_EQ(calls_of(still), 0);
    EXPECT_EQ(calls_of(moving), 4);
    EXPECT_EQ(calls_of(moving), 4);
    vok_matrix_info taller = out->info;
    taller.dim[1] = 6;
    vok_matrix_setinfo(out, &taller);
    EXPECT_EQ(calls_of(still), 6);
    EXPECT_EQ(calls_of(still), 0);
    vok_attr_setlong(still.x, gensym("cache"), 0);
    EXPECT_EQ(calls_of(still), 6);
    EXPECT_EQ(calls_of(still), 6);
}

TEST_F(Expr, ARegisteredMatrixThatChangesShowsWhereSomethingElseMoves)
{
    matrix named("float32", 2, {2, 2}), in("float32", 1, {2, 2}), out("float32", 1, {2, 2});
    ASSERT_EQ(vok_object_register(named, gensym("expr_test_named")), static_cast<vok_matrix *>(named));
    const struct {
        const char *text, *values[3]; // at first, after the change, and with the cache off
    } rows[] = {
        {"expr_test_named", {"3", "5", "5"}},
        {"expr_test_named.p[1]", {"4", "6", "6"}},
        {"expr_test_named+in[0]", {"3", "5", "5"}},
        {"expr_test_named*2", {"6", "6", "10"}},
        {"expr_test_named*2+in[0]", {"6", "6", "10"}},
        {"expr_test_named*2+expr_test_named", {"9", "9", "15"}},
        {"(expr_test_named+in[0])*2", {"6", "10", "10"}},
        {"expr_test_other", {"0", "0", "0"}},
    };
    for (const auto &row : rows) {
        expression e({row.text}), nodes({row.text});
        message(named, "setall", "3. 4.");
        for (int round = 0; round < 3; round++) {
            for (const expression *each : {&e, &nodes})
                vok_attr_setlong(each->x, gensym("cache"), round < 2);
            e.calc({in}, out);
            EXPECT_EQ(cell(out, "1 1"), row.values[round]) << row.text;
            nodes.calc({in}, out, true);
            EXPECT_EQ(cell(out, "1 1"), row.values[round]) << row.text << " by nodes";
            message(named, "setall", "5. 6.");
        }
    }
}

// ---- planes, inputs, failures ----

TEST_F(Expr, PlanesAndFailures)
{
    const struct {
        std::vector<std::string> texts;
        const char *result; // of a cell of four planes, the input's being 10 20 30 40
        const char *report;
    } rows[] = {
        {{"in[0]", "in[0].p[0]"}, "10 10 30 10", ""},
        {{"in[0].p[3]", "in[0].p[2]", "in[0].p[1]"}, "40 30 20 40", ""},
        {{"5"}, "255 255 255 255", ""},
        {{""}, "9 9 9 9", ""},
        {{"in[0]", "("}, "10 9 30 9", "vok.expr: could not resolve variable "},
        {{"in[0]", "a&b"}, "10 9 30 9", "vok.expr: could not resolve variable &"},
        {{"in[0]", "a+"}, "10 9 30 9", "vok.expr: missing siblings"},
        {{"(a)(b)"}, "0 0 0 0", ""},
        {{"in[0] a"}, "10 20 30 40", ""},
        {{"in[0] &"}, "9 9 9 9", "vok.expr: could not resolve variable &"},
        {{"atan2(in[0])"}, "0 0 0 0", "vok.expr: missing arguments to op atan2"},
        {{"abs(in[0],2)"}, "10 20 30 40", "warning: extra arguments to op abs"},
        {{"pass()"}, "0 0 0 0", "vok.expr: missing arguments to op pass"},
        {{"@a"}, "9 9 9 9", ""},
        {{"euclidean(in[1]+0.5, 0)"}, "127 127 127 127", ""},
        {{"euclidean(3, 4)*0.1"}, "127 127 127 127", ""},
        {{"vok.op(in[0], in[1]+0.5, @op, max())"}, "127 127 127 127", ""},
        {{"vok.linklist(in[0])"}, "0 0 0 0", ""},
        {{"vok.listener(in[0])"}, "0 0 0 0", ""},
    };
    for (const auto &row : rows)
        for (const bool by_nodes : {false, true}) {
            matrix in("char", 4, {2, 2}), out("char", 4, {2, 2});
            message(in, "setall", "10 20 30 40");
            message(out, "setall", "9 9 9 9");
            report_catcher reports;
            const expression e(row.texts);
            EXPECT_EQ(e.calc({in}, out, by_nodes), 0);
            const std::string said = reported(reports);
            EXPECT_EQ(cell(out, "1 0"), row.result) << row.texts[0] << said;
            EXPECT_EQ(said.empty(), !*row.report) << row.texts[0] << said;
            EXPECT_NE(said.find(row.report), std::string::npos) << row.texts[0] << said;
        }
}

TEST_F(Expr, TakesOtherSizesTypesAndTheOutputItself)
{
    matrix small("char", 1, {2, 1}), out("float32", 1, {4, 3});
    message(small, "setcell", "0 val 255");
    expression e({"in[0]*2+cell[1]"});
    EXPECT_EQ(e.calc({small}, out), 0);
    EXPECT_EQ(cell(out, "1 2") + " " + cell(out, "2 2"), "4 2");
    // in place, plane after plane
    matrix both("float32", 2, {4, 3});
    message(both, "setall", "1. 2.");
    expression swap({"in[0].p[1]", "in[0].p[0]+1"}), twice({"in[0].p[0]+in[0]"});
    EXPECT_EQ(swap.calc({both}, both), 0);
    EXPECT_EQ(cell(both, "3 2"), "2 3");
    EXPECT_EQ(twice.calc({both}, both), 0);
    EXPECT_EQ(cell(both, "0 1"), "4 7");
    // without an output, without data
    EXPECT_EQ(vok_expr_matrix_calc(e.x, nullptr, nullptr), VOK_ERR_INVP);
    vok_matrix_freedata(both);
    EXPECT_EQ(e.calc({small}, both), VOK_ERR_INVO);
}

TEST_F(Expr, MessagesOfAMatrix)
{
    matrix m("char", 4, {3, 1});
    message(m, "setall", "10 20 30 40");
    EXPECT_EQ(message(m, "exprfill", "2 norm[0]"), 0);
    EXPECT_EQ(cell(m, "1") + " / " + cell(m, "2"), "10 20 127 40 / 10 20 255 40");
    EXPECT_EQ(message(m, "exprfill", "in[0]*0.5+in[0].p[1]"), 0);
    EXPECT_EQ(cell(m, "1"), "25 25 25 25");
    EXPECT_EQ(message(m, "op", "+ 5"), 0);
    EXPECT_EQ(cell(m, "0"), "30 30 30 30");
}

} // namespace
