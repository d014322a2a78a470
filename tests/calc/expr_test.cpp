// The calculation of expressions against another evaluator, which goes over single cells:
// thousands of generated texts in all precisions. The two roads of the library are held to
// the same bits.
#include <algorithm>
#include <cstring>
#include <functional>
#include <random>

#include "calc/expr_tools.h"
#include "calc/op_oracle.h"

namespace {

class Expr : public Library {};

// ---- another evaluator, over single cells ----

enum type { t_char, t_long, t_float32, t_float64 };
constexpr const char *types[] = {"char", "long", "float32", "float64"};
using number = double; // holds every cell of the four types exactly

// One element as another type, as matrices are copied. A float's product with 255 is rounded
// in its own precision.
number converted(number x, type from, type to)
{
    if (to == from)
        return x;
    if (from == t_char && to >= t_float32)
        return to == t_float32 ? static_cast<float>(x / 255.0) : x / 255.0;
    if (from == t_long && to == t_char)
        return static_cast<number>(static_cast<long>(x) & 255);
    const double clipped = x > 0 ? std::min(x, 1.0) : 0.0;
    switch (to) {
    case t_char: return std::trunc(from == t_float32 ? static_cast<float>(clipped) * 255.0f : clipped * 255.0);
    case t_long: return x >= -2147483648.0 && x < 2147483648.0 ? std::trunc(x) : -2147483648.0;
    default: return to == t_float32 ? static_cast<float>(x) : x;
    }
}

// A number of the text in a cell: a char takes it as an atom does.
number of_literal(double x, type to)
{
    atom a;
    atom_setfloat(&a, x);
    return to == t_char      ? static_cast<uint8_t>(atom_getcharfix(&a))
           : to == t_long    ? static_cast<int32_t>(atom_getlong(&a))
           : to == t_float32 ? static_cast<float>(x)
                             : x;
}

type type_of(const vok_matrix *m)
{
    return static_cast<type>(std::find(types, types + 3, std::string(m->info.type->name)) - types);
}

number read(const vok_matrix *m, const long *at, long plane)
{
    const unsigned char *p = m->data;
    for (long d = 0; d < m->info.dimcount; d++)
        p += at[d] * m->info.dimstride[d];
    switch (type_of(m)) {
    case t_char: return p[plane];
    case t_long: return reinterpret_cast<const int32_t *>(p)[plane];
    case t_float32: return reinterpret_cast<const float *>(p)[plane];
    default: return reinterpret_cast<const double *>(p)[plane];
    }
}

number applied(const op_rule &r, type t, number a, number b)
{
    switch (t) {
    case t_char: return applied(r, static_cast<uint8_t>(a), static_cast<uint8_t>(b));
    case t_long: return applied(r, static_cast<int32_t>(a), static_cast<int32_t>(b));
    case t_float32: return applied(r, static_cast<float>(a), static_cast<float>(b));
    default: return applied<double>(r, a, b);
    }
}

// A text, and its value at a place, for a plane, in a type.
struct meaning {
    std::string text;
    bool constant = false;
    std::function<number(const long *, long, type)> value;
};

struct lot {
    const std::vector<vok_matrix *> &in;
    vok_matrix *out;
    std::minstd_rand &random;

    unsigned pick(unsigned n) { return static_cast<unsigned>(random() >> 4) % n; }
    meaning leaf()
    {
        const unsigned d = pick(static_cast<unsigned>(out->info.dimcount)), mode = pick(9);
        const std::string index = std::to_string(d) + "]";
        const long size = out->info.dim[d], own = pick(2), plane = pick(4), i = pick(3);
        if (mode < 3) {
            constexpr const char *texts[] = {"0", "1", "2", "0.5", "0.1", "3.25", "255", "1000", ".75", "TWOPI"};
            const std::string text = texts[pick(std::size(texts))];
            const double literal = text == "TWOPI" ? 6.283185307179586 : std::stof(text);
            return {text, true, [=](const long *, long, type p) { return of_literal(literal, p); }};
        }
        if (mode == 3)
            return {"no_such_name", false, [](const long *, long, type) { return 0.0; }};
        if (mode == 4)
            return {"dim[" + index, false,
                    [=](const long *, long, type p) { return of_literal(double(size), p); }};
        if (mode < 7) {
            const unsigned kind = pick(3);
            const double first = kind == 1 ? -1 : 0,
                         step = kind == 2 ? 1 : (kind + 1) / static_cast<double>(size - 1);
            return {(kind == 0   ? "norm["
                     : kind == 1 ? "snorm["
                                 : "cell[") +
                        index,
                    false, [=](const long *at, long, type p) {
                        double v = first;
                        for (long k = 0; k < at[d]; k++)
                            v += step;
                        return converted(v, t_float64, p);
                    }};
        }
        const vok_matrix *from = i < 2 ? in[static_cast<size_t>(i)] : nullptr;
        return {"in[" + std::to_string(i) + (own ? "]" : "].p[" + std::to_string(plane) + "]"), false,
                [=](const long *at, long p, type to) {
                    return from ? converted(read(from, at, (own ? p : plane) % from->info.planecount),
                                            type_of(from), to)
                                : 0.0;
                }};
    }
    // A call, as an operator or by name. Constant parts are calculated in double.
    meaning make(int depth)
    {
        constexpr const char *signs[] = {"*",  "/",  "%",  "+",  "-",  ">",  "<",
                                         ">=", "<=", "==", "!=", "&&", "||", "!"};
        if (depth == 0 || pick(6) == 0)
            return leaf();
        const char *sign = pick(4) ? signs[pick(std::size(signs))] : nullptr;
        const op_rule &rule =
            sign ? *std::find_if(op_rules::all, std::end(op_rules::all),
                                 [&](const op_rule &r) { return r.alias && !std::strcmp(r.alias, sign); })
                 : op_rules::all[pick(std::size(op_rules::all))];
        if (!std::strcmp(rule.word, "tan")) // where it is steep the last bit of its argument shows
            return leaf();
        const bool negates = sign && *sign == '-' && pick(3) == 0;
        const meaning nothing = {"", true, [](const long *, long, type) { return 0.0; }};
        const meaning a = negates ? nothing : make(depth - 1), b = rule.inputs > 1 ? make(depth - 1) : a;
        const std::string first = "(" + a.text, second = "(" + b.text + ")";
        const auto call = [=, &rule](const long *at, long plane, type p) {
            return applied(rule, p, a.value(at, plane, p), b.value(at, plane, p));
        };
        const auto folded = [=](const long *at, long plane, type p) {
            return p == t_float64 ? call(at, plane, p) : of_literal(call(at, plane, t_float64), p);
        };
        meaning m{"", a.constant && b.constant, call};
        if (m.constant)
            m.value = folded;
        m.text = negates || (sign && rule.inputs == 1) ? sign + second
                 : sign                                ? first + ")" + sign + second
                 : rule.inputs == 1                    ? rule.word + first + ")"
                                                       : rule.word + first + ", " + b.text + ")";
        return m;
    }
};

void fill(vok_matrix *m, std::minstd_rand &random)
{
    const auto some = [&] { return static_cast<int>(random() % 4001) - 2000; };
    for (long i = 0; i < m->info.size; i++)
        m->data[i] = static_cast<uint8_t>(random() >> 8);
    for (long i = 0; type_of(m) == t_long && i + 4 <= m->info.size; i += 4)
        *reinterpret_cast<int32_t *>(m->data + i) = some() / 50;
    for (long i = 0; type_of(m) == t_float32 && i + 4 <= m->info.size; i += 4)
        *reinterpret_cast<float *>(m->data + i) = static_cast<float>(some()) / 500;
    for (long i = 0; type_of(m) == t_float64 && i + 8 <= m->info.size; i += 8)
        *reinterpret_cast<double *>(m->data + i) = some() / 500.0;
}

// Every cell of a plane against the other evaluator.
void expect_values(const meaning &m, vok_matrix *out, long plane, type precision)
{
    long at[32] = {};
    for (long d = 0; d < out->info.dimcount;) {
        const number wanted = converted(m.value(at, plane, precision), precision, type_of(out));
        const number got = read(out, at, plane);
        ASSERT_TRUE(wanted == got || (wanted != wanted && got != got))
            << m.text << " in plane " << plane << " at " << at[0] << " " << at[1] << ": " << got << ", not "
            << wanted;
        for (d = 0; d < out->info.dimcount && ++at[d] == out->info.dim[d]; d++)
            at[d] = 0;
    }
}

// One calculation with everything drawn by lot: types, planes, shapes, texts.
void one_calculation(std::minstd_rand &random, std::initializer_list<long> dims, int depth)
{
    const auto pick = [&](unsigned n) { return static_cast<unsigned>(random() >> 4) % n; };
    const auto precision = pick(2) ? t_float32 : static_cast<type>(pick(4));
    const auto own_type = [&] { return types[pick(2) ? static_cast<unsigned>(precision) : pick(4)]; };
    matrix a(own_type(), 1 + pick(4), dims), b(own_type(), 1 + pick(4), dims);
    matrix out(own_type(), 1 + pick(2) * pick(4), dims), same(out->info);
    fill(out, random);
    vok_matrix_frommatrix(same, out, nullptr);
    const std::vector<vok_matrix *> in = {a, b};
    lot by{in, out, random};
    std::vector<meaning> meanings(1 + pick(3));
    std::vector<std::string> texts;
    for (meaning &m : meanings) {
        m = by.make(depth);
        texts.push_back(m.text);
    }
    const expression e(texts, types[precision]), nodes(texts, types[precision]);
    for (int round = 0; round < 2; round++) { // the second one uses what was kept
        fill(a, random);
        fill(b, random);
        ASSERT_EQ(e.calc({a, b}, out), 0);
        nodes.calc({a, b}, same, true);
        for (long p = 0; p < out->info.planecount; p++)
            ASSERT_NO_FATAL_FAILURE(
                expect_values(meanings[static_cast<size_t>(p) % meanings.size()], out, p, precision))
                << types[precision] << " from " << a->info.type->name << " and " << b->info.type->name;
        ASSERT_TRUE(same_bits(out, same)) << texts[0];
    }
}

TEST_F(Expr, GeneratedTextsGiveTheValuesOfAnotherEvaluator)
{
    std::minstd_rand random(7);
    const std::initializer_list<long> small[] = {{5, 4}, {6}, {1, 5}, {4, 1}, {3, 2, 3}, {2, 2, 1, 2}};
    const std::initializer_list<long> large[] = {{5003, 3}, {101, 113}, {300, 5, 7}}; // split and cut into blocks
    for (int i = 0; i < 3000 && !HasFatalFailure(); i++)
        one_calculation(random, small[random() % 6], 1 + i % 4);
    for (int i = 0; i < 12 && !HasFatalFailure(); i++)
        one_calculation(random, large[i % 3], 3);
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
