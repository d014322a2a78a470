// Making and freeing the box of a matrix operator, and changing its inputs and outputs
// while it lives. Outlets and inlets are made from the right; dumpout is the rightmost.
#include <algorithm>

#include <vokra/box.h>
#include <vokra/kernel.h>
#include <vokra/matrix.h>
#include <vokra/mop_box.h>
#include <zan/zan.h>

#include "bridge/mop_box.h"
#include "matrix/format_arguments.h"

namespace {

char matrix_message[] = "vok_matrix";

} // namespace

vok_err zan_vok_mop_setup_simple(void *x, void *o, long argc, atom *argv)
{
    zan_vok_obex_vokob_set(x, o);
    zan_vok_obex_dumpout_set(x, outlet_new(x, nullptr));
    zan_vok_mop_setup(x);
    zan_vok_mop_inputs(x);
    zan_vok_mop_outputs(x);
    zan_vok_mop_matrix_args(x, argc, argv);
    return VOK_ERR_NONE;
}

vok_err zan_vok_mop_setup(void *x)
{
    void *o = zan_vok_obex_vokob_get(x);
    void *adornment = o ? vok_class_adornment_get(object_class(o), _vok_sym_vok_mop) : nullptr;
    void *copy = adornment ? vok::ask<void>(adornment, _vok_sym_newcopy) : nullptr;
    return zan_vok_obex_addadornment(x, copy);
}

vok_err zan_vok_mop_variable_addinputs(void *x, long count)
{
    vok_mop *mop = vok::operator_of(x);
    return mop ? vok::send(mop, gensym("addinputs"), count) : long{VOK_ERR_INVP};
}

vok_err zan_vok_mop_variable_addoutputs(void *x, long count)
{
    vok_mop *mop = vok::operator_of(x);
    return mop ? vok::send(mop, gensym("addoutputs"), count) : long{VOK_ERR_INVP};
}

vok_err zan_vok_mop_inputs(void *x)
{
    vok_mop *mop = vok::operator_of(x);
    if (!mop)
        return VOK_ERR_INVP;
    for (long i = mop->inputcount - 1; i >= 1; i--)
        zan_vok_obex_proxy_new(x, i);
    for (long i = 2; i <= mop->inputcount; i++)
        vok::make_matrix(x, vok::input_of(mop, i));
    return VOK_ERR_NONE;
}

vok_err zan_vok_mop_outputs(void *x)
{
    vok_mop *mop = vok::operator_of(x);
    if (!mop)
        return VOK_ERR_INVP;
    for (long i = mop->outputcount - 1; i >= 0; i--)
        zan_vok_mop_matrixout_new(x, i);
    for (long i = 1; i <= mop->outputcount; i++)
        vok::make_matrix(x, vok::output_of(mop, i));
    return VOK_ERR_NONE;
}

vok_err zan_vok_mop_matrix_args(void *x, long argc, atom *argv)
{
    vok_mop *mop = vok::operator_of(x);
    if (!mop)
        return VOK_ERR_EROR;
    const long given = argv ? zan_vok_attr_args_offset(argc, argv) : 0;
    vok_matrix_info wanted;
    vok_matrix_info_default(&wanted);
    vok::read_format(&wanted, given, argv);
    if (given > 0)
        mop->adapt = 0;
    mop->outputmode = zan_vok_outputmode_normal;
    vok::each_own(mop, [&](vok_mop_io *io) {
        vok_matrix_info info;
        vok::send(io->matrix, _vok_sym_getinfo, &info);
        vok::follow(io, wanted, &info);
        vok::restrict_info(io, &info);
        vok::send(io->matrix, _vok_sym_setinfo, &info);
    });
    return VOK_ERR_NONE;
}

vok_err zan_vok_mop_free(void *x)
{
    vok::forget_probed(x);
    vok_mop *mop = vok::operator_of(x);
    if (!mop)
        return VOK_ERR_EROR;
    if (vok_mop_io *in = vok::input_of(mop, 1); in && in->matrix) {
        in->matrixname = nullptr; // somebody else's
        in->matrix = nullptr;
    }
    vok::each_own(mop, [&](vok_mop_io *io) { vok::drop_matrix(x, io); });
    return VOK_ERR_NONE;
}

// ---- live boxes ----

vok_err zan_vok_mop_inputs_resize(void *x, long count)
{
    vok_mop *mop = vok::operator_of(x);
    if (!mop)
        return VOK_ERR_INVP;
    count = std::max(count, 0L);
    while (mop->inputcount > count) {
        if (mop->inputcount > 1) { // the left inlet is the box's own, and its matrix isn't
            vok::drop_matrix(x, vok::input_of(mop, mop->inputcount));
            zan_vok_obex_proxy_deletetail(x);
        }
        vok_mop_input_deletetail(mop);
    }
    for (long i = std::max(mop->inputcount, 0L); i < count; i++) {
        if (i > 0)
            zan_vok_obex_proxy_append(x, i);
        if (zan_vok_mop_variable_addinputs(x, 1))
            return VOK_ERR_OMEM;
        if (i > 0)
            vok::make_matrix(x, vok::input_of(mop, i + 1));
    }
    return VOK_ERR_NONE;
}

vok_err zan_vok_mop_outputs_resize(void *x, long count)
{
    vok_mop *mop = vok::operator_of(x);
    if (!mop)
        return VOK_ERR_INVP;
    count = std::max(count, 0L);
    while (mop->outputcount > count) {
        vok::drop_matrix(x, vok::output_of(mop, mop->outputcount));
        vok_mop_output_deletetail(mop);
        outlet_delete(outlet_nth(x, mop->outputcount));
    }
    if (std::max(mop->outputcount, 0L) == count)
        return VOK_ERR_NONE;
    if (void *dumpout = zan_vok_obex_dumpout_get(x)) { // its cords go with it
        zan_vok_obex_dumpout_set(x, nullptr);
        outlet_delete(dumpout);
    }
    vok_err err = VOK_ERR_NONE;
    for (long i = std::max(mop->outputcount, 0L); i < count && !err; i++) {
        err = zan_vok_mop_variable_addoutputs(x, 1);
        zan_vok_mop_matrixout_append(x, i);
        vok::make_matrix(x, vok::output_of(mop, i + 1));
    }
    zan_vok_obex_dumpout_set(x, outlet_append(x, nullptr, nullptr));
    return err;
}

vok_err zan_vok_mop_matrixout_new(void *x, long index)
{
    vok_mop *mop = vok::operator_of(x);
    if (!mop)
        return VOK_ERR_EROR;
    return zan_vok_mop_io_setoutlet(vok::output_of(mop, index + 1), outlet_new(x, matrix_message));
}

vok_err zan_vok_mop_matrixout_append(void *x, long index)
{
    vok_mop *mop = vok::operator_of(x);
    if (!mop)
        return VOK_ERR_EROR;
    return zan_vok_mop_io_setoutlet(vok::output_of(mop, index + 1),
                                    outlet_append(x, matrix_message, matrix_message));
}
