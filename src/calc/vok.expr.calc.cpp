// The calculation of expressions. Each node of a tree owns a matrix of the output's size:
// prepcalc makes these ready from the top down and fills those of numbers and variables,
// treecalc calculates those of calls from the bottom up. What holds no input stays valid
// until the size changes.
#include "calc/vok.expr.h"

#include <algorithm>
#include <memory>
#include <vector>

#include <vokra/attributes.h>
#include <vokra/commonsyms.h>
#include <vokra/functor.h>
#include <vokra/kernel.h>
#include <vokra/matrix.h>
#include <vokra/op.h>

#include "calc/vok.expr.fused.h"
#include "calc/vok.expr.variables.h"
#include "kernel/message.h"
#include "matrix/matrix_lock.h"

using namespace vok::expr;

bool vok::expr::same_shape(const vok_matrix_info &a, const vok_matrix_info &b)
{
    return a.type == b.type && a.dimcount == b.dimcount && std::equal(a.dim, a.dim + a.dimcount, b.dim);
}

namespace {

// Makes the matrix of a token ready, and tells what of it and of its elders is still valid.
vok_err prepare_matrix(vok_expr *x, token *t, vok_matrix_info *info, bool &all_unchanged)
{
    if (!t->data) {
        t->data = vok_matrix_new(info);
        t->valid = 0;
        all_unchanged = false;
        return t->data ? VOK_ERR_NONE : VOK_ERR_OMEM;
    }
    t->valid = x->cache;
    vok_matrix_info has = {};
    vok::send(t->data, _vok_sym_getinfo, &has);
    if (!same_shape(has, *info)) {
        t->valid = 0;
        all_unchanged = false;
    }
    if (!all_unchanged)
        vok::send(t->data, _vok_sym_setinfo, info);
    return VOK_ERR_NONE;
}

vok_err unresolved(vok_expr *x, const token *t)
{
    vok_object_error(x, "vok.expr: could not resolve variable %s", text_of(t));
    return VOK_ERR_EROR;
}

vok_err prepare_variable(vok_expr *x, node *n, void *inputs, vok_matrix_info *info, bool &all_unchanged)
{
    token *t = token_of(n);
    const vok_expr_mxfn *variable = find_variable(word_of(t));
    if (!variable)
        return vok_expr_mxfn_default(x, n) ? unresolved(x, t) : vok_err{VOK_ERR_NONE};
    if (variable->always) {
        t->valid = 0;
        all_unchanged = false;
    }
    if (!t->valid)
        variable->fn(x, n, inputs, info, variable->index, variable->mode, variable->spare);
    return VOK_ERR_NONE;
}

} // namespace

vok_err vok::expr::prepare(vok_expr *x, node *n, void *inputs, vok_matrix_info *info, bool &all_unchanged)
{
    token *t = token_of(n);
    if (!t || prepare_matrix(x, t, info, all_unchanged))
        return VOK_ERR_EROR;
    switch (t->type) {
    case vok_expr_token_number:
        if (!t->valid)
            vok::send(t->data, _vok_sym_setall, _vok_sym_setall, 1, &t->val);
        return VOK_ERR_NONE;
    case vok_expr_token_variable: return prepare_variable(x, n, inputs, info, all_unchanged);
    case vok_expr_token_op: {
        long unchanged = 0;
        const vok_err err = vok_expr_prepcalc(x, n, inputs, info, &unchanged);
        if (!unchanged) {
            t->valid = 0;
            all_unchanged = false;
        }
        return err;
    }
    default: return unresolved(x, t);
    }
}

namespace {

// ---- calls ----

// The matrix of argument i; null after a message, which names the word if it isn't there.
void *argument(vok_expr *x, node *call, long i, const char *missing)
{
    node *n = child_at(call, i);
    if (!n) {
        vok_object_error(x, missing, text_of(token_of(call)));
        return nullptr;
    }
    void *matrix = vok_expr_treecalc(x, n);
    if (!matrix)
        vok_object_error(x, "vok.expr: null matrix in vok_expr_treecalc");
    return matrix;
}

// Calls use(name, atoms) for each attribute of a call: "@name", then values.
template <typename Use> void for_each_attribute(vok_expr *x, const node *call, Use use)
{
    const long count = child_count(call);
    long i = argument_count(call);
    while (i < count) {
        symbol *name = vok_expr_wordisattribute(x, word_of(token_of(child_at(call, i++))));
        std::vector<atom> values;
        for (; i < count && !is_attribute(child_at(call, i)); i++)
            values.push_back(token_of(child_at(call, i))->val);
        use(name, values);
    }
}

void call_operator(vok_expr *x, node *n, const vok_op_fn *fn)
{
    token *t = token_of(n);
    std::vector<atom> list(1);
    atom_setsym(&list[0], word_of(t));
    for (long i = 0; i < fn->inputcount; i++)
        if (void *matrix = argument(x, n, i, "vok.expr: missing arguments to op %s")) {
            list.emplace_back();
            atom_setobj(&list.back(), static_cast<object *>(matrix));
        }
    if (fn->inputcount < child_count(n))
        vok_object_post(x, "warning: extra arguments to op %s", text_of(t));
    vok::send(t->data, symbols().op, symbols().op, list.size(), list.data());
}

// The evaluator of a functor call. Its offsets and weights are set so that the functor's
// value comes out at the coordinates as they are written.
void *make_evaluator(vok_expr *x, node *n)
{
    void *evaluator = vok::make(ps_vokra, symbols().evaluate);
    if (!evaluator)
        return nullptr;
    double weights[VOK_MATRIX_MAX_PLANECOUNT];
    std::fill_n(weights, VOK_MATRIX_MAX_PLANECOUNT, 1.0);
    vok_attr_setdouble_array(evaluator, symbols().weight, VOK_MATRIX_MAX_PLANECOUNT, weights);
    vok_attr_setfloat(evaluator, symbols().align, 0.0);
    vok_attr_setsym(evaluator, symbols().basis, word_of(token_of(n)));
    for_each_attribute(x, n, [&](symbol *name, std::vector<atom> &values) {
        std::vector<atom> list(2);
        atom_setsym(&list[0], symbols().basis);
        atom_setsym(&list[1], name);
        list.insert(list.end(), values.begin(), values.end());
        vok::send(evaluator, symbols().setattr, symbols().setattr, list.size(), list.data());
    });
    return evaluator;
}

void call_functor(vok_expr *x, node *n)
{
    token *t = token_of(n);
    const long count = argument_count(n);
    if (!t->coords)
        t->coords = vok_matrix_new(nullptr);
    vok_matrix_info info = {};
    vok::send(t->data, _vok_sym_getinfo, &info);
    info.type = _vok_sym_float32;
    info.planecount = count;
    vok::send(t->coords, _vok_sym_setinfo, &info);
    for (long i = 0; i < count; i++)
        if (void *matrix = argument(x, n, i, "vok.expr: invalid argument for functor %s");
            matrix && i < VOK_MATRIX_MAX_PLANECOUNT) {
            vok_matrix_conv_info conv = {};
            std::fill_n(conv.planemap, VOK_MATRIX_MAX_PLANECOUNT, -1);
            conv.planemap[i] = 0;
            vok::send(t->coords, _vok_sym_frommatrix, matrix, &conv);
        }
    if (!t->evaluate)
        t->evaluate = make_evaluator(x, n);
    vok::send(t->evaluate, _vok_sym_matrix_calc, t->coords, t->data);
}

// False when there is no such class or no object of it.
bool call_class(vok_expr *x, node *n)
{
    token *t = token_of(n);
    const zan_class *c = vok_expr_wordisclass(x, word_of(t));
    void *made = c ? vok::make(ps_vokra, class_nameget(const_cast<zan_class *>(c))) : nullptr;
    if (!made)
        return false;
    void *list = vok_linklist_new();
    const long count = argument_count(n);
    for (long i = 0; i < count; i++)
        if (void *matrix = argument(x, n, i, "vok.expr: invalid argument for operator %s"))
            vok_linklist_append(list, matrix);
    for_each_attribute(x, n, [&](symbol *name, std::vector<atom> &values) {
        // an attribute is set at once, whatever its flags say of setting it from a patch
        if (vok_object_attr_get(made, name))
            vok::send(made, name, values.size(), values.data());
        else
            vok_object_method_typed(made, name, static_cast<long>(values.size()), values.data(), nullptr);
    });
    vok::send(made, _vok_sym_matrix_calc, list, t->data);
    vok_object_free(made);
    vok_linklist_chuck(list);
    return true;
}

// Plane p of the output from a matrix of one plane.
void put_plane(void *output, long p, void *matrix)
{
    vok_matrix_conv_info conv = {};
    std::fill_n(conv.planemap, VOK_MATRIX_MAX_PLANECOUNT, -1);
    conv.planemap[p] = 0;
    vok::send(output, _vok_sym_frommatrix, matrix, &conv);
}

} // namespace

vok_err vok_expr_prepcalc(vok_expr *x, vok_tree_node *n, void *inputs, vok_matrix_info *info, long *unchanged)
{
    if (!x || !n || !info)
        return VOK_ERR_EROR;
    bool all_unchanged = true;
    vok_err result = VOK_ERR_NONE;
    for (long i = 0; i < child_count(n) && !is_attribute(child_at(n, i)); i++)
        if (prepare(x, child_at(n, i), inputs, info, all_unchanged))
            result = VOK_ERR_EROR;
    if (unchanged)
        *unchanged = all_unchanged;
    return result;
}

void *vok_expr_treecalc(vok_expr *x, vok_tree_node *n)
{
    if (n && !token_of(n))
        n = child_at(n, 0);
    token *t = token_of(n);
    if (!x || !t || !t->data)
        return nullptr;
    if (t->valid || t->type == vok_expr_token_number || t->type == vok_expr_token_variable)
        return t->data;
    if (t->type != vok_expr_token_op)
        return nullptr;
    if (const vok_op_fn *fn = vok_op_fn_lookup(word_of(t)))
        call_operator(x, n, fn);
    else if (vok_functor_lookup(nullptr, word_of(t)))
        call_functor(x, n);
    else if (!call_class(x, n))
        return nullptr;
    return t->data;
}

vok_err vok_expr_matrix_calc(vok_expr *x, void *inputs, void *outputs)
{
    void *output = x && outputs ? vok::ask<void>(outputs, _vok_sym_getindex, 0) : nullptr;
    if (!output)
        return VOK_ERR_INVP;
    const vok::matrix_lock hold(output);
    if (!hold.data)
        return VOK_ERR_INVO;
    vok_matrix_info info = hold.info;
    info.type = x->precision;
    info.planecount = 1;
    const long count = std::min(x->exprcount, long{VOK_EXPR_MAX});
    fusion together(x, inputs, info, hold.info, hold.data);
    x->curplane = 0;
    if (count == 1 && x->trees[0] && together.take_all(x->trees[0])) {
        x->curplane = std::min(hold.info.planecount, long{VOK_MATRIX_MAX_PLANECOUNT}) - 1;
        return VOK_ERR_NONE;
    }
    for (long p = 0; count > 0 && p < std::min(hold.info.planecount, long{VOK_MATRIX_MAX_PLANECOUNT}); p++) {
        x->curplane = p;
        node *tree = x->trees[p % count];
        if (!tree || together.take(p, tree))
            continue;
        together.flush();
        if (vok_expr_prepcalc(x, tree, inputs, &info, nullptr))
            continue;
        if (void *matrix = vok_expr_treecalc(x, tree))
            put_plane(output, p, matrix);
    }
    together.flush();
    return VOK_ERR_NONE;
}
