// What both matrix operators of the room share: types by number, and the walk over the rows
// of a slice.
#pragma once
#include <algorithm>

#include <vokra/commonsyms.h>
#include <vokra/parallel_ndim.h>

#include "functor/functor.h"
#include "functor/vok.functor.store.h"

namespace vok::functor {

// The number of a matrix type in vok.functor.store.h, -1 for others.
inline int out_type(const symbol *type)
{
    symbol *const types[out_count] = {_vok_sym_char, _vok_sym_long, _vok_sym_float32, _vok_sym_float64};
    const auto *const found = std::find(std::begin(types), std::end(types), type);
    return found == std::end(types) ? -1 : static_cast<int>(found - types);
}

// Visits the rows of a slice, the dimensions above 0 like the digits of a clock. start(d) is
// called where a dimension begins anew, step(d) where it goes on, row(data...) for each row
// in between; each matrix's data moves by its strides.
template <size_t matrices, typename Start, typename Step, typename Row>
void walk_rows(long d, const long *dim, const std::array<const vok_matrix_info *, matrices> &info,
               std::array<unsigned char *, matrices> data, const Start &start, const Step &step, const Row &row)
{
    if (d == 0) {
        row(data);
        return;
    }
    start(d);
    for (long i = 0; i < dim[d]; i++) {
        walk_rows(d - 1, dim, info, data, start, step, row);
        step(d);
        for (size_t m = 0; m < matrices; m++)
            data[m] += info[m]->dimstride[d];
    }
}

// Where the slice of a worker begins.
inline long first_row(const vok_parallel_ndim_worker *worker)
{
    return worker ? worker->offset[1] : 0;
}

} // namespace vok::functor
