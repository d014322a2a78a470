// What matrix_calc of an expression is told to do, done node by node on whole matrices: the
// road that the fast one is held against.
#pragma once
#include <algorithm>

#include <vokra/vokra.h>

inline void calculate_by_nodes(vok_expr *x, void *inputs, vok_matrix *out)
{
    for (long p = 0; x->exprcount > 0 && p < out->info.planecount; p++) {
        vok_matrix_info info = out->info;
        info.type = x->precision;
        info.planecount = 1;
        x->curplane = p;
        vok_tree_node *tree = x->trees[p % x->exprcount];
        vok_matrix_conv_info conv = {};
        std::fill_n(conv.planemap, 32, -1L);
        conv.planemap[p] = 0;
        if (tree && !vok_expr_prepcalc(x, tree, inputs, &info, nullptr))
            if (void *m = vok_expr_treecalc(x, tree))
                vok_matrix_frommatrix(out, m, &conv);
    }
}
