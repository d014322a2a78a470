// The road of a matrix through a box: a name comes to an inlet, and names go out. The
// left inlet's matrix is used in place; the others copy. Here too: the records of a
// box's operator and the matrices that they own.
#include <algorithm>
#include <atomic>

#include <vokra/box.h>
#include <vokra/kernel.h>
#include <vokra/matrix.h>
#include <vokra/mop_box.h>
#include <zan/zan.h>

#include "bridge/mop_box.h"

namespace {

// Hangs on the names of lost matrices. No object: nobody takes it for a receiver.
object lost_mark;
std::atomic<long> lost_count; // in all boxes, so that the road has one word to look at

// The box must outlive its own message: what it sends may free it.
class held {
  public:
    explicit held(void *x) : x_(x) { object_retain(x_); }
    ~held() { object_release(x_); }
    held(const held &) = delete;
    held &operator=(const held &) = delete;

  private:
    void *x_;
};

void mend(vok_mop_io *io)
{
    if (!io || !io->matrixname || io->matrixname->thing != &lost_mark)
        return;
    io->matrixname->thing = nullptr;
    lost_count--;
    io->matrix = nullptr; // freed meanwhile
    if (void *matrix = vok::new_matrix_for(io))
        io->matrix = vok_object_register(matrix, io->matrixname);
}

// The matrix of the record is being freed; its name, which is new, gets another one when
// the box is used next.
void mark_lost(vok_mop_io *io)
{
    io->matrixname->thing = &lost_mark;
    lost_count++;
}

bool same_shape(const vok_matrix_info &a, const vok_matrix_info &b)
{
    return a.type == b.type && a.planecount == b.planecount && a.dimcount == b.dimcount &&
           std::equal(a.dim, a.dim + a.dimcount, b.dim);
}

// A right input keeps its picture, resampled to the new format.
void adapt_input(vok_mop_io *io, const vok_matrix_info &leader)
{
    vok_matrix_info present, wanted;
    vok::send(io->matrix, _vok_sym_getinfo, &present);
    wanted = present;
    if (!vok::follow(io, leader, &wanted))
        return;
    vok::restrict_info(io, &wanted);
    if (same_shape(present, wanted))
        return; // its limits don't let it follow any further
    void *copy = vok::make(ps_vokra, _vok_sym_vok_matrix, &wanted);
    if (!copy)
        return;
    vok::send(copy, _vok_sym_frommatrix, io->matrix, nullptr);
    vok::send(io->matrix, _vok_sym_setinfo, &wanted);
    vok::send(io->matrix, _vok_sym_frommatrix, copy, nullptr);
    vok_object_free(copy);
}

// An output loses what it holds: the calculation is about to write it.
void adapt_output(vok_mop_io *io, const vok_matrix_info &leader)
{
    if (!io->typelink && !io->planelink && !io->dimlink)
        return;
    vok_matrix_info info;
    vok::send(io->matrix, _vok_sym_getinfo, &info);
    vok::follow(io, leader, &info);
    vok::restrict_info(io, &info);
    vok::send(io->matrix, _vok_sym_setinfo, &info);
}

void adapt_all(vok_mop *mop, void *matrix)
{
    vok_matrix_info leader;
    vok::send(matrix, _vok_sym_getinfo, &leader);
    for (long i = 2; i <= mop->inputcount; i++)
        if (vok_mop_io *io = vok::input_of(mop, i); io && io->matrix)
            adapt_input(io, leader);
    for (long i = 1; i <= mop->outputcount; i++)
        if (vok_mop_io *io = vok::output_of(mop, i); io && io->matrix && !io->ioproc)
            adapt_output(io, leader);
}

vok_err take_in(vok_mop *mop, long inlet, void *matrix)
{
    vok_mop_io *io = vok::input_of(mop, inlet + 1);
    if (!io || !io->matrix)
        return VOK_ERR_EROR;
    if (io->ioproc)
        io->ioproc(mop, io, matrix);
    else
        vok::send(io->matrix, _vok_sym_frommatrix, matrix, nullptr);
    return VOK_ERR_NONE;
}

void output_all(vok_mop *mop)
{
    if (mop->outputmode == zan_vok_outputmode_none)
        return;
    for (long i = mop->outputcount; i >= 1; i--)
        if (vok_mop_io *io = vok::output_of(mop, i); io && io->special) {
            atom name;
            atom_setsym(&name, io->matrixname);
            outlet_anything(io->special, _vok_sym_vok_matrix, 1, &name);
        }
}

void set_input(vok_mop *mop, void *matrix, symbol *name)
{
    if (vok_mop_io *in = vok::input_of(mop, 1)) {
        in->matrix = matrix;
        in->matrixname = name;
    }
}

vok_err calculate(void *x, vok_mop *mop, void *matrix, symbol *name)
{
    const held alive(x);
    if (mop->adapt)
        adapt_all(mop, matrix);
    if (vok_mop_io *out = vok::output_of(mop, 1); out && out->ioproc)
        out->ioproc(mop, out, matrix);
    set_input(mop, matrix, name);
    vok_err err = VOK_ERR_NONE;
    if (mop->special) {
        reinterpret_cast<zan_vok_mproc>(mop->special)(x, mop);
    } else {
        err = vok::send(zan_vok_obex_vokob_get(x), _vok_sym_matrix_calc, mop->inputlist, mop->outputlist);
        if (err)
            vok_error_code(x, err);
        else
            output_all(mop);
    }
    set_input(mop, nullptr, _vok_sym_nothing);
    return err;
}

void pass_input(vok_mop *mop, long argc, atom *argv)
{
    if (vok_mop_io *out = vok::output_of(mop, 1); out && out->special)
        outlet_anything(out->special, _vok_sym_vok_matrix, argc, argv);
}

} // namespace

// ---- the records and their matrices ----

vok_mop *vok::operator_of(void *x)
{
    auto *mop = static_cast<vok_mop *>(zan_vok_obex_adornment_get(x, _vok_sym_vok_mop));
    if (mop && lost_count.load(std::memory_order_relaxed)) [[unlikely]] {
        for (long i = 2; i <= mop->inputcount; i++)
            mend(input_of(mop, i));
        for (long i = 1; i <= mop->outputcount; i++)
            mend(output_of(mop, i));
    }
    return mop;
}

vok_mop_io *vok::input_of(vok_mop *mop, long index)
{
    return static_cast<vok_mop_io *>(vok_mop_getinput(mop, index));
}

vok_mop_io *vok::output_of(vok_mop *mop, long index)
{
    return static_cast<vok_mop_io *>(vok_mop_getoutput(mop, index));
}

vok_mop_io *vok::addressed(vok_mop *mop, long which, long index)
{
    if (which == 2 && index >= 1)
        return output_of(mop, index);
    return which == 1 && index >= 2 ? input_of(mop, index) : nullptr;
}

bool vok::follow(const vok_mop_io *io, const vok_matrix_info &leader, vok_matrix_info *info)
{
    const vok_matrix_info before = *info;
    if (io->typelink)
        info->type = leader.type;
    if (io->planelink)
        info->planecount = leader.planecount;
    if (io->dimlink) {
        info->dimcount = leader.dimcount;
        std::copy_n(leader.dim, leader.dimcount, info->dim);
    }
    return !same_shape(before, *info);
}

bool vok::restrict_info(vok_mop_io *io, vok_matrix_info *info)
{
    const bool type = vok_mop_io_restrict_type(io, info) != VOK_ERR_NONE;
    const bool dim = vok_mop_io_restrict_dim(io, info) != VOK_ERR_NONE;
    return (vok_mop_io_restrict_planecount(io, info) != VOK_ERR_NONE) || dim || type;
}

void *vok::new_matrix_for(vok_mop_io *io)
{
    vok_matrix_info info;
    vok_matrix_info_default(&info);
    restrict_info(io, &info);
    return make(ps_vokra, _vok_sym_vok_matrix, &info);
}

void vok::make_matrix(void *x, vok_mop_io *io)
{
    void *matrix = io ? new_matrix_for(io) : nullptr;
    if (!matrix)
        return;
    symbol *name = vok_symbol_unique();
    io->matrix = vok_object_register(matrix, name);
    io->matrixname = name;
    vok_object_attach(name, x);
}

void vok::drop_matrix(void *x, vok_mop_io *io)
{
    if (!io || !io->matrix)
        return;
    vok_object_detach(io->matrixname, x); // first: its end is no news to the box
    vok_object_free(io->matrix);
    io->matrix = nullptr;
    io->matrixname = nullptr;
}

// ---- the messages ----

vok_err zan_vok_mop_vok_matrix(void *x, symbol *, long argc, atom *argv)
{
    vok_mop *mop = vok::operator_of(x);
    if (!mop)
        return VOK_ERR_EROR;
    if (argc < 1 || !argv)
        return VOK_ERR_NONE;
    symbol *name = atom_getsym(argv);
    if (!name)
        name = _vok_sym_nothing;
    void *matrix = vok_object_findregistered(name);
    if (!vok::is_matrix(matrix)) {
        vok_error_code(x, VOK_ERR_MXUN);
        return VOK_ERR_NONE;
    }
    if (const long inlet = zan_vok_obex_inletnumber_get(x))
        return take_in(mop, inlet, matrix);
    switch (mop->outputmode) {
    case zan_vok_outputmode_none: return VOK_ERR_NONE;
    case zan_vok_outputmode_output: return zan_vok_mop_outputmatrix(x);
    case zan_vok_outputmode_input: pass_input(mop, argc, argv); return VOK_ERR_NONE;
    default: return calculate(x, mop, matrix, name);
    }
}

vok_err zan_vok_mop_bang(void *x)
{
    typedmess(x, _vok_sym_outputmatrix, 0, nullptr);
    return VOK_ERR_NONE;
}

vok_err zan_vok_mop_outputmatrix(void *x)
{
    vok_mop *mop = vok::operator_of(x);
    if (!mop)
        return VOK_ERR_EROR;
    const held alive(x);
    output_all(mop);
    return VOK_ERR_NONE;
}

vok_err zan_vok_mop_clear(void *x)
{
    vok_mop *mop = vok::operator_of(x);
    if (!mop)
        return VOK_ERR_EROR;
    vok::each_own(mop, [](vok_mop_io *io) { vok::send(io->matrix, _vok_sym_clear); });
    return VOK_ERR_NONE;
}

vok_err zan_vok_mop_adapt_matrix_all(void *x, void *matrix)
{
    vok_mop *mop = vok::operator_of(x);
    if (!mop || !matrix)
        return VOK_ERR_EROR;
    adapt_all(mop, matrix);
    return VOK_ERR_NONE;
}

// The steps are deliberate as they stand: the matrix that is made in the place of the
// freed one keeps the old name, for others to find, and the record gets a new name.
vok_err zan_vok_mop_notify(void *x, symbol *name, symbol *msg, void *sender, void *)
{
    auto *mop = static_cast<vok_mop *>(zan_vok_obex_adornment_get(x, _vok_sym_vok_mop));
    if (msg != _vok_sym_free || !mop)
        return VOK_ERR_NONE;
    vok::each_own(mop, [&](vok_mop_io *io) {
        if (io->matrixname != name)
            return;
        vok_matrix_info info;
        vok_matrix_info_default(&info);
        if (void *present = vok_object_findregistered(name); vok::is_matrix(present))
            vok::send(present, _vok_sym_getinfo, &info);
        void *matrix = vok::make(ps_vokra, _vok_sym_vok_matrix, &info);
        io->matrixname = matrix && vok_object_register(matrix, name) ? vok_symbol_unique() : nullptr;
        if (!io->matrixname) {
            io->matrix = sender == io->matrix ? nullptr : io->matrix; // there is no name to mend it by
            return;
        }
        vok_object_attach(io->matrixname, x);
        if (sender == io->matrix)
            mark_lost(io);
    });
    return VOK_ERR_NONE;
}

// ---- the box's operator ----

void *zan_vok_mop_getinput(void *x, long index)
{
    return vok::input_of(vok::operator_of(x), index);
}

void *zan_vok_mop_getoutput(void *x, long index)
{
    return vok::output_of(vok::operator_of(x), index);
}

long zan_vok_mop_getoutputmode(void *x)
{
    const vok_mop *mop = vok::operator_of(x);
    return mop ? mop->outputmode : 0;
}

void *zan_vok_mop_getmproc(void *mop)
{
    return vok::ask<void>(mop, _vok_sym_getspecial);
}

void *zan_vok_mop_io_getoutlet(void *io)
{
    return vok::ask<void>(io, _vok_sym_getspecial);
}

vok_err zan_vok_mop_io_setoutlet(void *io, void *outlet)
{
    return vok::send(io, _vok_sym_special, outlet);
}

vok_err zan_vok_mop_restrict_info(void *, void *io, vok_matrix_info *info)
{
    return vok::restrict_info(static_cast<vok_mop_io *>(io), info) ? VOK_ERR_EROR : VOK_ERR_NONE;
}
