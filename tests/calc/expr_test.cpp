// The calculation of expressions against another evaluator, which walks a tree of its own
// over single cells: thousands of generated texts in all precisions. The two roads of the
// library are held to the same bits.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <random>

#include "calc/expr_tools.h"
#include "calc/op_oracle.h"

namespace {

using number = double; // holds every cell of the four types exactly

// ---- elements ----

enum type { t_char, t_long, t_float32, t_float64 };
constexpr const char *type_names[] = {"char", "long", "float32", "float64"};

long truncated(double x)
{
    return x >= -2147483648.0 && x < 2147483648.0 ? static_cast<long>(x) : -2147483648L;
}

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
    if (to == t_char) {
        const double clipped = x > 0 ? std::min(x, 1.0) : 0.0;
        return from == t_float32 ? std::trunc(static_cast<float>(clipped) * 255.0f) : std::trunc(clipped * 255.0);
    }
    if (to == t_long)
        return static_cast<number>(truncated(x));
    return to == t_float32 ? static_cast<float>(x) : x;
}

// A number of the text in a cell: a char takes it as an atom does.
number of_literal(double x, type to)
{
    atom a;
    atom_setfloat(&a, x);
    switch (to) {
    case t_char: return static_cast<uint8_t>(atom_getcharfix(&a));
    case t_long: return static_cast<int32_t>(atom_getlong(&a));
    case t_float32: return static_cast<float>(x);
    default: return x;
    }
}

number applied(const op_rule &r, type t, number a, number b)
{
    const long la = t < t_float32 ? static_cast<long>(a) : 0, lb = t < t_float32 ? static_cast<long>(b) : 0;
    switch (t) {
    case t_char: return r.on_char ? static_cast<uint8_t>(r.on_char(la, lb)) : a;
    case t_long: return r.on_long ? static_cast<int32_t>(r.on_long(la, lb)) : a;
    case t_float32: return r.on_float32 ? r.on_float32(static_cast<float>(a), static_cast<float>(b)) : a;
    default: return r.on_float64 ? r.on_float64(a, b) : a;
    }
}

// ---- matrices ----

number read(vok_matrix *m, const long *at, long plane)
{
    const unsigned char *p = m->data;
    for (long d = 0; d < m->info.dimcount; d++)
        p += at[d] * m->info.dimstride[d];
    const auto load = [&](auto v) {
        std::memcpy(&v, p + plane * static_cast<long>(sizeof v), sizeof v);
        return static_cast<number>(v);
    };
    const symbol *t = m->info.type;
    return t == _vok_sym_char      ? load(uint8_t{})
           : t == _vok_sym_long    ? load(int32_t{})
           : t == _vok_sym_float32 ? load(float{})
                                   : load(double{});
}

type type_of(vok_matrix *m)
{
    for (int t = 0; t < 4; t++)
        if (m->info.type == gensym(type_names[t]))
            return static_cast<type>(t);
    return t_char;
}

void fill(vok_matrix *m, std::minstd_rand &random)
{
    for (long i = 0; i < m->info.size; i += 8) {
        const double v = static_cast<double>(static_cast<long>(random() % 4001) - 2000) / 500;
        const float f = static_cast<float>(v);
        const int32_t l = static_cast<int32_t>(random() % 64) - 20;
        for (long k = 0; k < 8 && i + k < m->info.size; k++)
            m->data[i + k] = static_cast<uint8_t>(random() >> 8);
        switch (type_of(m)) {
        case t_float64: std::memcpy(m->data + i, &v, 8); break;
        case t_float32: std::memcpy(m->data + i, &f, 4), std::memcpy(m->data + i + 4, &f, 4); break;
        case t_long: std::memcpy(m->data + i, &l, 4), std::memcpy(m->data + i + 4, &l, 4); break;
        default: break;
        }
    }
}

// ---- expressions ----

struct tree {
    const op_rule *rule = nullptr;                        // a call; else
    double literal = 0;                                   // a number, or
    std::function<number(const long *, long, type)> leaf; // a variable at a place, for a plane, in a type
    std::vector<tree> kids;
    std::string text; // of a leaf
    const char *infix = nullptr;
    int level = 0; // precedence of the infix form; 0 binds tightest
    bool sign = false;
};

bool constant(const tree &t)
{
    return !t.leaf && std::all_of(t.kids.begin(), t.kids.end(), constant);
}

// Constant parts are calculated in double.
number value(const tree &t, const long *at, long plane, type precision)
{
    if (t.leaf)
        return t.leaf(at, plane, precision);
    if (precision != t_float64 && constant(t))
        return of_literal(value(t, at, plane, t_float64), precision);
    if (!t.rule)
        return t.literal;
    const number a = value(t.kids[0], at, plane, precision);
    const number b = t.kids.size() > 1 ? value(t.kids[1], at, plane, precision) : a;
    return applied(*t.rule, precision, a, b);
}

std::string written(const tree &t)
{
    if (!t.rule)
        return t.text;
    const auto within = [](const tree &kid, int level) {
        return kid.level > level ? "(" + written(kid) + ")" : written(kid);
    };
    if (t.sign)
        return "-" + (t.kids[1].level > 0 || t.kids[1].sign ? "(" + written(t.kids[1]) + ")" : written(t.kids[1]));
    if (t.infix && t.kids.size() == 1)
        return t.infix + (t.kids[0].level > 0 ? "(" + written(t.kids[0]) + ")" : written(t.kids[0]));
    if (t.infix)
        return within(t.kids[0], t.level) + " " + t.infix + within(t.kids[1], t.level - 1);
    std::string all = std::string(t.rule->word) + "(" + written(t.kids[0]);
    for (size_t i = 1; i < t.kids.size(); i++)
        all += ", " + written(t.kids[i]);
    return all + ")";
}

const op_rule *rule_of(const char *word)
{
    for (const op_rule &r : op_rules::all)
        if (!std::strcmp(r.word, word))
            return &r;
    return nullptr;
}

struct generator {
    std::minstd_rand &random;
    const std::vector<vok_matrix *> &in;
    vok_matrix *out;
    bool with_inputs = true;

    unsigned pick(unsigned n) { return static_cast<unsigned>(random() >> 4) % n; }

    tree leaf()
    {
        tree t;
        const std::string index = std::to_string(pick(static_cast<unsigned>(out->info.dimcount)));
        const long d = std::stol(index), size = out->info.dim[d];
        switch (pick(with_inputs ? 10 : 6)) {
        case 0:
        case 1: {
            constexpr const char *numbers[] = {"0", "1", "2", "0.5", "0.1", "3.25", "255", "1000", ".75", "7"};
            t.text = numbers[pick(std::size(numbers))];
            t.literal = std::stof(t.text);
            return t;
        }
        case 2:
            t.text = "TWOPI";
            t.literal = 6.283185307179586;
            return t;
        case 3: {
            const unsigned mode = pick(3);
            t.text = (mode == 0 ? "norm[" : mode == 1 ? "snorm[" : "cell[") + index + "]";
            t.leaf = [=](const long *at, long, type p) {
                double v = mode == 1 ? -1.0 : 0.0;
                for (long i = 0; i < at[d]; i++)
                    v += mode == 2 ? 1.0 : (mode == 1 ? 2.0 : 1.0) / static_cast<double>(size - 1);
                return converted(v, t_float64, p);
            };
            return t;
        }
        case 4:
            t.text = "dim[" + index + "]";
            t.leaf = [=](const long *, long, type p) { return of_literal(static_cast<double>(size), p); };
            return t;
        case 5:
            t.text = "no_such_name";
            t.leaf = [](const long *, long, type) { return 0.0; };
            return t;
        default: {
            const unsigned i = pick(static_cast<unsigned>(in.size()) + 1);
            const bool own = pick(2);
            const long m = pick(4);
            t.text = "in[" + std::to_string(i) + "]" + (own ? "" : ".p[" + std::to_string(m) + "]");
            vok_matrix *source = i < in.size() ? in[i] : nullptr;
            t.leaf = [=](const long *at, long plane, type p) {
                return source ? converted(read(source, at, (own ? plane : m) % source->info.planecount),
                                          type_of(source), p)
                              : 0.0;
            };
            return t;
        }
        }
    }

    tree make(int depth)
    {
        if (depth == 0 || pick(6) == 0)
            return leaf();
        static constexpr struct {
            const char *sign, *word;
            int level;
        } infix[] = {{"*", "mult", 2}, {"/", "div", 2},  {"%", "mod", 2},  {"+", "add", 3},  {"-", "sub", 3},
                     {">", "gt", 4},   {"<", "lt", 4},   {">=", "gte", 4}, {"<=", "lte", 4}, {"==", "eq", 5},
                     {"!=", "neq", 5}, {"&&", "and", 6}, {"||", "or", 7},  {"!", "not", 1}};
        tree t;
        switch (pick(4)) {
        case 0: {
            do
                t.rule = &op_rules::all[pick(std::size(op_rules::all))];
            while (!std::strcmp(t.rule->word, "tan")); // where it is steep the last bit of its argument shows
            break;
        }
        case 1:
            if (pick(3) == 0) {
                t.sign = true;
                t.level = 1;
                t.rule = rule_of("sub");
                t.kids = {tree{}, make(depth - 1)};
                return t;
            }
            [[fallthrough]];
        default: {
            const auto &row = infix[pick(std::size(infix))];
            t.rule = rule_of(row.word);
            t.infix = row.sign;
            t.level = row.level;
        }
        }
        for (long i = 0; i < t.rule->inputs; i++)
            t.kids.push_back(make(depth - 1));
        return t;
    }
};

std::string place(const long *at, long dims, long plane)
{
    std::string text = "plane " + std::to_string(plane) + " at";
    for (long d = 0; d < dims; d++)
        text += " " + std::to_string(at[d]);
    return text;
}

// Every cell of a plane against the other evaluator.
void expect_values(const tree &t, vok_matrix *out, long plane, type precision)
{
    long at[32] = {};
    const long dims = out->info.dimcount;
    for (;;) {
        const number wanted = converted(value(t, at, plane, precision), precision, type_of(out));
        const number got = read(out, at, plane);
        ASSERT_TRUE(wanted == got || (wanted != wanted && got != got))
            << written(t) << " " << place(at, dims, plane) << ": " << got << ", not " << wanted;
        long d = 0;
        while (d < dims && ++at[d] == out->info.dim[d])
            at[d++] = 0;
        if (d == dims)
            return;
    }
}

// Whether two matrices of a shape hold the same cells, padding left out.
bool same_bits(vok_matrix *a, vok_matrix *b)
{
    const size_t cells = static_cast<size_t>(a->info.dim[0] * a->info.dimstride[0]);
    const long row = a->info.dimcount > 1 ? a->info.dimstride[1] : a->info.size;
    for (long at = 0; at + static_cast<long>(cells) <= a->info.size; at += row)
        if (std::memcmp(a->data + at, b->data + at, cells))
            return false;
    return true;
}

class Expr : public Library {
  protected:
    std::minstd_rand random{7};
    unsigned pick(unsigned n) { return static_cast<unsigned>(random() >> 4) % n; }
};

// One calculation with everything drawn by lot: types, planes, shapes, texts.
void one_calculation(std::minstd_rand &random, std::initializer_list<long> dims, int depth)
{
    const auto pick = [&](unsigned n) { return static_cast<unsigned>(random() >> 4) % n; };
    const auto precision = pick(2) ? t_float32 : static_cast<type>(pick(4));
    const auto own_type = [&] { return type_names[pick(2) ? static_cast<unsigned>(precision) : pick(4)]; };
    matrix a(own_type(), 1 + pick(4), dims), b(own_type(), 1 + pick(4), dims);
    matrix out(own_type(), 1 + pick(2) * pick(4), dims);
    const std::vector<vok_matrix *> in = {a, b};
    fill(a, random);
    fill(b, random);
    fill(out, random);
    matrix same(out->info);
    vok_matrix_frommatrix(same, out, nullptr);

    std::vector<tree> trees;
    std::vector<std::string> texts;
    for (unsigned i = 0; i < 1 + pick(3); i++) {
        generator g{random, in, out, pick(5) != 0};
        trees.push_back(g.make(depth));
        texts.push_back(written(trees.back()));
    }
    expression e(texts, type_names[precision]), nodes(texts, type_names[precision]);
    for (int round = 0; round < 2; round++) { // the second one uses what was kept
        ASSERT_EQ(e.calc({a, b}, out), 0);
        nodes.calc_by_nodes({a, b}, same);
        for (long p = 0; p < out->info.planecount; p++)
            ASSERT_NO_FATAL_FAILURE(expect_values(trees[static_cast<size_t>(p) % trees.size()], out, p, precision))
                << type_names[precision] << " from " << a->info.type->name << " and " << b->info.type->name;
        ASSERT_TRUE(same_bits(out, same)) << texts[0];
        fill(a, random);
        fill(b, random);
    }
}

TEST_F(Expr, GeneratedTextsGiveTheValuesOfAnotherEvaluator)
{
    for (int i = 0; i < 3000 && !HasFatalFailure(); i++) {
        const std::initializer_list<long> shapes[] = {{5, 4}, {6}, {1, 5}, {4, 1}, {3, 2, 3}, {2, 2, 1, 2}};
        one_calculation(random, shapes[pick(6)], 1 + static_cast<int>(pick(4)));
    }
}

TEST_F(Expr, LargeMatricesAreSplitAndCutIntoBlocks)
{
    for (int i = 0; i < 12 && !HasFatalFailure(); i++) {
        const std::initializer_list<long> shapes[] = {{5003, 3}, {101, 113}, {300, 5, 7}};
        one_calculation(random, shapes[pick(3)], 3);
    }
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
            nodes.calc_by_nodes({in}, out);
            EXPECT_EQ(cell(out, "1 1"), row.values[round]) << row.text << " by nodes";
            message(named, "setall", "5. 6.");
        }
    }
}

// ---- planes, inputs, failures ----

struct picture_row {
    const char *texts[3]; // expressions
    const char *result;   // of a cell of four planes, the input's being 10 20 30 40
    const char *report;
};

TEST_F(Expr, PlanesAndFailures)
{
    const picture_row rows[] = {
        {{"in[0]"}, "10 20 30 40", ""},
        {{"in[0].p[1]"}, "20 20 20 20", ""},
        {{"in[0]", "in[0].p[0]"}, "10 10 30 10", ""},
        {{"in[0].p[3]", "in[0].p[2]", "in[0].p[1]"}, "40 30 20 40", ""},
        {{"in[1]"}, "0 0 0 0", ""},
        {{"no_such_name"}, "0 0 0 0", ""},
        {{"5"}, "255 255 255 255", ""},
        {{"0.5"}, "127 127 127 127", ""},
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
    for (const picture_row &row : rows) {
        std::vector<std::string> texts;
        for (const char *text : row.texts)
            if (text)
                texts.push_back(text);
        for (const bool by_nodes : {false, true}) {
            matrix in("char", 4, {2, 2}), out("char", 4, {2, 2});
            message(in, "setall", "10 20 30 40");
            message(out, "setall", "9 9 9 9");
            report_catcher reports;
            const expression e(texts);
            if (by_nodes)
                e.calc_by_nodes({in}, out);
            else
                EXPECT_EQ(e.calc({in}, out), 0);
            const std::string said = reported(reports);
            EXPECT_EQ(cell(out, "1 0"), row.result) << texts[0] << said;
            EXPECT_EQ(said.empty(), !*row.report) << texts[0] << said;
            EXPECT_NE(said.find(row.report), std::string::npos) << texts[0] << said;
        }
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
