// vok_expr: the class, its tables of words and the compilation as a whole. The stages
// stand in vok.expr.tokens.cpp and vok.expr.tree.cpp, the calculation in
// vok.expr.calc.cpp.
#include "calc/vok.expr.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>

#include "kernel/class_table.h"
#include "kernel/message.h"

void *_vok_expr_mxfns, *_vok_expr_constants, *_vok_expr_infixmap;

namespace vok::expr {
namespace {

zan_class *expr_class, *token_class, *mxfn_class, *infixop_class;
symbol_table names;

// Double precision, but for E, which stays as it has always been.
constexpr struct {
    const char *word;
    double value;
} constants[] = {
    {"PI", 3.141592653589793},       {"TWOPI", 6.283185307179586},       {"HALFPI", 1.5707963267948966},
    {"INVPI", 0.3183098861837907},   {"DEGTORAD", 0.017453292519943295}, {"RADTODEG", 57.29577951308232},
    {"E", 2.71828182845905},         {"LN2", 0.6931471805599453},        {"LN10", 2.302585092994046},
    {"LOG10E", 0.4342944819032518},  {"LOG2E", 1.4426950408889634},      {"SQRT2", 1.4142135623730951},
    {"SQRT1_2", 0.7071067811865476},
};

constexpr struct {
    const char *infix, *prefix;
    long precedence;
} infix_operators[] = {
    {"!", "not", 1}, {"*", "mult", 2}, {"/", "div", 2},  {"%", "mod", 2},  {"+", "add", 3},
    {"-", "sub", 3}, {">", "gt", 4},   {"<", "lt", 4},   {">=", "gte", 4}, {"<=", "lte", 4},
    {"==", "eq", 5}, {"!=", "neq", 5}, {"&&", "and", 6}, {"||", "or", 7},
};

void free_compiled(vok_expr *x)
{
    for (vok_tree_node *&tree : x->trees)
        if (tree)
            free_tree(std::exchange(tree, nullptr));
}

void trace(vok_expr *x, const char *stage)
{
    if (!x->verbose)
        return;
    vok_object_post(x, "--------------------------");
    vok_object_post(x, "%s", stage);
    vok_expr_printtree(x, x->curexpr);
}

// The stages behind the tokens. Where one fails the slot is empty.
void compile(vok_expr *x, vok_tree_node *&slot)
{
    if (!slot)
        return;
    if (vok_expr_buildtree(x, slot)) {
        slot = nullptr;
        return;
    }
    trace(x, "built tree");
    constexpr struct {
        vok_err (*run)(vok_expr *, vok_tree_node *);
        const char *name;
    } stages[] = {{vok_expr_infix2prefix, "converted infix to prefix"},
                  {vok_expr_cleantree, "cleaned tree"},
                  {vok_expr_flattenconstants, "flattened constants"}};
    for (const auto &stage : stages) {
        if (stage.run(x, slot)) {
            free_tree(std::exchange(slot, nullptr));
            return;
        }
        trace(x, stage.name);
    }
}

// An atom as the text that it was written as.
symbol *as_text(const atom &a)
{
    if (a.type != argtype_long && a.type != argtype_float) {
        symbol *text = atom_getsym(&a);
        return text ? text : _vok_sym_nothing;
    }
    char text[400]; // the largest double has 309 digits ahead of its point
    if (a.type == argtype_long)
        std::snprintf(text, sizeof text, "%lld", static_cast<long long>(atom_getlong(&a)));
    else
        std::snprintf(text, sizeof text, "%f", atom_getfloat(&a));
    return gensym(text);
}

void fill_tables()
{
    _vok_expr_constants = hashtab_new(0);
    for (const auto &c : constants)
        hashtab_store(_vok_expr_constants, gensym(c.word), const_cast<double *>(&c.value));
    _vok_expr_infixmap = hashtab_new(0);
    for (const auto &o : infix_operators)
        hashtab_store(_vok_expr_infixmap, gensym(o.infix),
                      vok_expr_infixop_new(gensym(o.infix), gensym(o.prefix), o.precedence));
    _vok_expr_mxfns = hashtab_new(0);
    register_variables();
}

} // namespace

const symbol_table &symbols()
{
    return names;
}

void free_tree(node *tree)
{
    std::vector<node *> left = {tree};
    while (!left.empty()) {
        node *n = left.back();
        left.pop_back();
        for (long i = 0; i < child_count(n); i++)
            left.push_back(child_at(n, i));
        if (n->children)
            linklist_chuck(std::exchange(n->children, nullptr));
        vok_object_free(n);
    }
}

} // namespace vok::expr

using namespace vok::expr;

vok_expr *vok_expr_new(void)
{
    auto *x = static_cast<vok_expr *>(vok_object_alloc(expr_class));
    if (!x)
        return nullptr;
    std::fill_n(x->expr, VOK_EXPR_MAX, _vok_sym_nothing);
    x->precision = _vok_sym_float32;
    x->cache = 1;
    return x;
}

void vok_expr_free(vok_expr *x)
{
    free_compiled(x);
    for (void *table : {x->exprops, x->exprconstants, x->exprextra})
        if (table)
            object_free(table);
}

vok_err vok_expr_expr(vok_expr *x, void *, long argc, atom *argv)
{
    if (!x)
        return VOK_ERR_INVP;
    free_compiled(x);
    std::fill_n(x->expr, VOK_EXPR_MAX, _vok_sym_nothing);
    x->exprcount = argv ? std::clamp(argc, 0L, long{VOK_EXPR_MAX}) : 0;
    for (long i = 0; i < x->exprcount; i++)
        x->expr[i] = as_text(argv[i]);
    vok_expr_parse(x);
    return VOK_ERR_NONE;
}

vok_err vok_expr_parse(vok_expr *x)
{
    if (!x)
        return VOK_ERR_INVP;
    for (long i = 0; i < x->exprcount; i++) {
        x->curexpr = i;
        vok_expr_sym2tok(x, i);
        trace(x, "parsed tokens");
        compile(x, x->trees[i]);
    }
    return VOK_ERR_NONE;
}

vok_expr_token *vok_expr_token_new(long type, const atom *val)
{
    auto *x = static_cast<vok_expr_token *>(vok_object_alloc(token_class));
    if (!x)
        return nullptr;
    x->type = type;
    if (val)
        x->val = *val;
    else
        atom_setlong(&x->val, 0);
    return x;
}

void vok_expr_token_free(vok_expr_token *x)
{
    for (void *owned : {x->data, x->evaluate, x->coords})
        if (owned)
            vok_object_free(owned);
}

vok_expr_infixop *vok_expr_infixop_new(symbol *infix, symbol *prefix, long precedence)
{
    auto *x = static_cast<vok_expr_infixop *>(vok_object_alloc(infixop_class));
    if (!x)
        return nullptr;
    x->infix = infix;
    x->prefix = prefix;
    x->precedence = precedence;
    return x;
}

vok_expr_mxfn *vok_expr_mxfn_new(vok_expr_mxfn_fn fn, long index, long mode, long spare, long always)
{
    auto *x = static_cast<vok_expr_mxfn *>(vok_object_alloc(mxfn_class));
    if (!x)
        return nullptr;
    x->fn = fn;
    x->index = index;
    x->mode = mode;
    x->spare = spare;
    x->always = always;
    return x;
}

namespace {

vok_err set_data(vok_expr_token *x, void *data)
{
    x->data = data;
    return VOK_ERR_NONE;
}

void *get_data(vok_expr_token *x)
{
    return x->data;
}

} // namespace

vok_err vok_expr_init(void)
{
    constexpr vok::message messages[] = {{"matrix_calc", vok::fn<vok_expr_matrix_calc>, {argtype_cant}}};
    constexpr vok::attribute attributes[] = {
        {.name = "expr",
         .type = "symbol",
         .flags = vok::low,
         .offset = offsetof(vok_expr, expr),
         .size = VOK_EXPR_MAX,
         .count = offsetof(vok_expr, exprcount),
         .set = vok::fn<vok_expr_expr>,
         .label = "Expr"},
        {.name = "precision",
         .type = "symbol",
         .flags = vok::low,
         .offset = offsetof(vok_expr, precision),
         .label = "Precision"},
        {.name = "verbose",
         .type = "long",
         .flags = vok::low,
         .offset = offsetof(vok_expr, verbose),
         .label = "Verbose"},
        {.name = "cache",
         .type = "long",
         .flags = vok::low,
         .offset = offsetof(vok_expr, cache),
         .label = "Cache"},
    };
    constexpr vok::message token_messages[] = {{"data", vok::fn<set_data>, {argtype_cant}},
                                               {"getdata", vok::fn<get_data>, {argtype_cant}}};
    constexpr vok::attribute token_attributes[] = {
        {.name = "type", .type = "long", .offset = offsetof(vok_expr_token, type)},
        {.name = "val", .type = "atom", .offset = offsetof(vok_expr_token, val)},
    };
    names = {.op = gensym("op"),
             .minus = gensym("-"),
             .sub = gensym("sub"),
             .basis = gensym("basis"),
             .setattr = gensym("setattr"),
             .weight = gensym("weight"),
             .align = gensym("align"),
             .evaluate = gensym("vok_functor_evaluate"),
             .tree = gensym("vok_tree"),
             .tree_node = gensym("vok_tree_node"),
             .append = gensym("appendchild"),
             .token = gensym("vok_expr_token")};
    using vok::fn;
    expr_class =
        vok::add_class({"vok_expr", fn<vok_expr_new>, fn<vok_expr_free>, sizeof(vok_expr)}, messages, attributes);
    token_class =
        vok::add_class({"vok_expr_token", fn<vok_expr_token_new>, fn<vok_expr_token_free>, sizeof(vok_expr_token)},
                       token_messages, token_attributes);
    mxfn_class = vok::add_class({"vok_expr_mxfn", fn<vok_expr_mxfn_new>, nullptr, sizeof(vok_expr_mxfn)});
    infixop_class =
        vok::add_class({"vok_expr_infixop", fn<vok_expr_infixop_new>, nullptr, sizeof(vok_expr_infixop)});
    if (!expr_class || !token_class || !mxfn_class || !infixop_class)
        return VOK_ERR_OMEM;
    vok_class_addadornment(expr_class, vok_object_new(_vok_sym_vok_mop, -1L, 1L));
    fill_tables();
    vok_expr_pcre_init();
    return VOK_ERR_NONE;
}
