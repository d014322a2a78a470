// The variables of expressions: inputs, ramps and sizes, each a function that fills the
// matrix of its token, and the words that name a registered matrix.
#include "calc/vok.expr.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/matrix.h>

#include "calc/vok.expr.variables.h"
#include "kernel/message.h"

namespace vok::expr {
namespace {

void store(const std::string &word, vok_expr_mxfn_fn fn, long index, long mode, long always)
{
    hashtab_store(_vok_expr_mxfns, gensym(word.c_str()), vok_expr_mxfn_new(fn, index, mode, 0, always));
}

vok_err set_all(void *matrix, double value)
{
    atom a;
    atom_setfloat(&a, value);
    return send(matrix, _vok_sym_setall, _vok_sym_setall, 1, &a);
}

void *data_of(const node *n)
{
    const token *t = token_of(n);
    return t ? t->data : nullptr;
}

vok_err from_plane(void *data, void *source, long plane)
{
    vok_matrix_conv_info conv = {};
    std::fill_n(conv.planemap, VOK_MATRIX_MAX_PLANECOUNT, -1);
    conv.planemap[0] = plane;
    return send(data, _vok_sym_frommatrix, source, &conv);
}

} // namespace

void register_variables(void)
{
    for (long n = 0; n < 32; n++) {
        const std::string index = "[" + std::to_string(n) + "]";
        store("dim" + index, vok_expr_mxfn_dim, n, 0, 0);
        store("norm" + index, vok_expr_mxfn_norm, n, ramp_unit, 0);
        store("snorm" + index, vok_expr_mxfn_norm, n, ramp_signed, 0);
        store("cell" + index, vok_expr_mxfn_norm, n, ramp_cells, 0);
        store("in" + index, vok_expr_mxfn_input, n, 0, 1);
        for (long m = 0; m < 32; m++)
            store("in" + index + ".p[" + std::to_string(m) + "]", vok_expr_mxfn_input_plane, n, m, 1);
    }
}

const vok_expr_mxfn *find_variable(symbol *word)
{
    void *found = nullptr;
    if (word)
        hashtab_lookup(_vok_expr_mxfns, word, &found);
    return static_cast<const vok_expr_mxfn *>(found);
}

std::vector<double> ramp_values(const vok_matrix_info &info, long index, long mode)
{
    const long size = index < info.dimcount ? info.dim[index] : 1;
    const double span = mode == ramp_signed ? 2.0 : 1.0;
    const double step = mode == ramp_cells ? 1.0 : span / static_cast<double>(size - 1);
    std::vector<double> values(static_cast<size_t>(size));
    double value = mode == ramp_signed ? -1.0 : 0.0;
    // sums, not products: the rounding of a ramp is theirs
    for (double &each : values) {
        each = value;
        value += step;
    }
    return values;
}

named_plane find_named(symbol *word, long plane)
{
    named_plane named = {word ? vok_object_findregistered(word) : nullptr, plane};
    const char *dot = word && !named.object ? std::strchr(word->name, '.') : nullptr;
    if (!dot)
        return named;
    named.object = vok_object_findregistered(gensym(std::string(word->name, dot).c_str()));
    long number = 0;
    if (std::sscanf(dot, ".p[%ld]", &number) == 1) {
        named.plane = number;
        named.own = false;
    }
    return named;
}

} // namespace vok::expr

using namespace vok::expr;

vok_err vok_expr_mxfn_dim(vok_expr *, vok_tree_node *n, void *, vok_matrix_info *info, long index, long, long)
{
    void *data = data_of(n);
    if (!data || !info)
        return VOK_ERR_EROR;
    return set_all(data, static_cast<double>(info->dim[index]));
}

vok_err vok_expr_mxfn_norm(vok_expr *, vok_tree_node *n, void *, vok_matrix_info *info, long index, long mode,
                           long)
{
    void *data = data_of(n);
    if (!data || !info)
        return VOK_ERR_EROR;
    const std::vector<double> values = ramp_values(*info, index, mode);
    vok_matrix_info line = *info;
    line.type = _vok_sym_float64;
    std::fill_n(line.dim, VOK_MATRIX_MAX_DIMCOUNT, 1L);
    line.dim[index] = static_cast<long>(values.size());
    vok_matrix *ramp = vok_matrix_new(&line);
    if (!ramp || !ramp->data)
        return VOK_ERR_OMEM;
    for (size_t i = 0; i < values.size(); i++)
        std::memcpy(ramp->data + static_cast<long>(i) * ramp->info.dimstride[index], &values[i], sizeof values[i]);
    const vok_err err =
        vok::send(data, _vok_sym_frommatrix, ramp, nullptr); // spreads it over the other dimensions
    vok_object_free(ramp);
    return err;
}

vok_err vok_expr_mxfn_input(vok_expr *x, vok_tree_node *n, void *inputs, vok_matrix_info *info, long index, long,
                            long spare)
{
    return vok_expr_mxfn_input_plane(x, n, inputs, info, index, x ? x->curplane : 0, spare);
}

vok_err vok_expr_mxfn_input_plane(vok_expr *, vok_tree_node *n, void *inputs, vok_matrix_info *, long index,
                                  long plane, long)
{
    void *data = data_of(n);
    if (!data)
        return VOK_ERR_EROR;
    void *input = inputs ? vok::ask<void>(inputs, _vok_sym_getindex, index) : nullptr;
    return input ? from_plane(data, input, plane) : set_all(data, 0.0);
}

vok_err vok_expr_mxfn_default(vok_expr *x, vok_tree_node *n)
{
    void *data = data_of(n);
    if (!x || !data)
        return VOK_ERR_EROR;
    const named_plane named = find_named(word_of(token_of(n)), x->curplane);
    if (named.object)
        from_plane(data, named.object, named.plane);
    else
        vok::send(data, _vok_sym_clear);
    return VOK_ERR_NONE;
}
