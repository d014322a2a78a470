// What the tests of expressions share: an object with texts, what it reports, and a tree
// as text.
#pragma once
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <vokra/vokra.h>
#include <zan/zan.h>

#include "expr_by_nodes.h"
#include "matrix/matrix_tools.h"
#include "scratch.h"

// "(add in[0] 0.5)"; siblings below the root stand side by side.
inline std::string tree_text(const vok_tree_node *n)
{
    if (!n)
        return "none";
    std::string below;
    for (long i = 0; n->children && i < linklist_getsize(n->children); i++) {
        const auto *child = static_cast<vok_tree_node *>(linklist_getindex(n->children, i));
        EXPECT_EQ(child->parent, n);
        below += (below.empty() ? "" : " ") + tree_text(child);
    }
    const auto *t = static_cast<vok_expr_token *>(n->thing);
    if (!t)
        return below;
    char number[64] = "";
    if (t->type == vok_expr_token_number)
        std::snprintf(number, sizeof number, "%.15g", atom_getfloat(&t->val));
    const std::string self = *number ? number : atom_getsym(&t->val) ? atom_getsym(&t->val)->name : "group";
    const bool leaf = t->type == vok_expr_token_number || t->type == vok_expr_token_variable;
    return leaf && below.empty()            ? self
           : t->type == vok_expr_token_inop ? "<" + self + ">"
           : below.empty()                  ? "(" + self + ")"
                                            : "(" + self + " " + below + ")";
}

// Whether two matrices of a shape hold the same cells, padding left out.
inline bool same_bits(vok_matrix *a, vok_matrix *b)
{
    const size_t cells = static_cast<size_t>(a->info.dim[0] * a->info.dimstride[0]);
    const long row = a->info.dimcount > 1 ? a->info.dimstride[1] : a->info.size;
    for (long at = 0; at + static_cast<long>(cells) <= a->info.size; at += row)
        if (std::memcmp(a->data + at, b->data + at, cells))
            return false;
    return true;
}

// All reports since the last call, a line each.
inline std::string reported(report_catcher &reports)
{
    std::string all;
    for (const std::string &text : reports.take())
        all += text + "\n";
    return all;
}

struct expression {
    vok_expr *x = static_cast<vok_expr *>(vok_object_new(gensym("vok_expr")));

    expression() = default;
    explicit expression(const std::vector<std::string> &texts, const char *precision = nullptr)
    {
        if (precision)
            vok_attr_setsym(x, gensym("precision"), gensym(precision));
        set(texts);
    }
    ~expression() { vok_object_free(x); }
    expression(const expression &) = delete;
    expression &operator=(const expression &) = delete;

    void set(const std::vector<std::string> &texts)
    {
        std::vector<atom> list(texts.size());
        for (size_t i = 0; i < texts.size(); i++)
            atom_setsym(&list[i], gensym(texts[i].c_str()));
        object_attr_setvalueof(x, gensym("expr"), static_cast<long>(list.size()), list.data());
    }
    std::string tree(long i = 0) const { return tree_text(x->trees[i]); }

    // By the message, or as it is told: node by node on whole matrices.
    vok_err calc(const std::vector<void *> &in, vok_matrix *out, bool by_nodes = false) const
    {
        void *inputs = vok_linklist_new();
        for (void *m : in)
            vok_linklist_append(inputs, m);
        vok_err err = VOK_ERR_NONE;
        if (by_nodes)
            calculate_by_nodes(x, inputs, out);
        else
            err = vok_object_method(x, _vok_sym_matrix_calc, inputs, out);
        vok_linklist_chuck(inputs);
        return err;
    }
};
