// The box side of a matrix operator, as the files of this room share it: the box's own
// vok_mop with its records, and the matrices that the records own.
#pragma once
#include <vokra/commonsyms.h>
#include <vokra/matrix_info.h>
#include <vokra/mop.h>

#include "matrix/matrix_lock.h"

namespace vok {

// The box's copy of its class's operator, or null. Records whose matrix was freed by
// somebody else have a new one then.
vok_mop *operator_of(void *x);
// Records, counted from 1; null outside.
vok_mop_io *input_of(vok_mop *mop, long index);
vok_mop_io *output_of(vok_mop *mop, long index);
// The record that a box's attribute may address: inputs from 2 on, outputs. Else null.
vok_mop_io *addressed(vok_mop *mop, long which, long index);

// Every record that may own a matrix and has one: inputs from 2 on, then outputs.
template <typename F> void each_own(vok_mop *mop, F f)
{
    for (long i = 2; i <= mop->inputcount; i++)
        if (vok_mop_io *io = input_of(mop, i); io && io->matrix)
            f(io);
    for (long i = 1; i <= mop->outputcount; i++)
        if (vok_mop_io *io = output_of(mop, i); io && io->matrix)
            f(io);
}

// Takes over what the record's links allow of another info; true when that changed the info.
bool follow(const vok_mop_io *io, const vok_matrix_info &leader, vok_matrix_info *info);
// Corrects an info to all three limits of a record; true when that changed it.
bool restrict_info(vok_mop_io *io, vok_matrix_info *info);
// A matrix of the default format within the record's limits, not yet registered.
void *new_matrix_for(vok_mop_io *io);
// Gives the record a matrix of its own under a new name, and the box ears for it.
void make_matrix(void *x, vok_mop_io *io);
void drop_matrix(void *x, vok_mop_io *io);

// Ends the probe if it is this box's.
void forget_probed(void *x);

} // namespace vok
