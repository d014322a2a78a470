// What the variables of expressions stand for, for both roads of the calculation.
#pragma once
#include <vector>

#include "calc/vok.expr.h"

namespace vok::expr {

// The modes of vok_expr_mxfn_norm.
enum { ramp_unit, ramp_signed, ramp_cells };

// The built-in variable of that word, or null.
const vok_expr_mxfn *find_variable(symbol *word);

// The values of a ramp along a dimension.
std::vector<double> ramp_values(const vok_matrix_info &info, long index, long mode);

// What any other word names: a registered object or null, and the plane of it, which is
// `plane` unless the word says another.
struct named_plane {
    void *object;
    long plane;
    bool own = true; // it didn't
};
named_plane find_named(symbol *word, long plane);

} // namespace vok::expr
