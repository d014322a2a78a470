// One input or output of a matrix operator: what it may hold, how incoming data gets
// in, and the matrix now attached, for which it answers (messages that the record
// doesn't know go to the matrix).
#include <algorithm>
#include <cstring>

#include <vokra/attributes.h>
#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/mop.h>
#include <zan/zan.h>

#include "kernel/class_table.h"
#include "kernel/message.h"
#include "parallel/vok.mop.io.h"

using vok::send;

namespace {

zan_class *io_class;

// Brings a value into a range whose ends of 0 mean no limit; true when it moved.
bool limit(long &value, long low, long high)
{
    if (low != 0 && value < low) {
        value = low;
        return true;
    }
    if (high != 0 && value > high) {
        value = high;
        return true;
    }
    return false;
}

} // namespace

vok_err vok::init_mop_io()
{
    static constexpr message messages[] = {
        {"newcopy", fn<vok_mop_io_newcopy>, {argtype_cant}},
        {"restrict_type", fn<vok_mop_io_restrict_type>, {argtype_cant}},
        {"restrict_planecount", fn<vok_mop_io_restrict_planecount>, {argtype_cant}},
        {"restrict_dim", fn<vok_mop_io_restrict_dim>, {argtype_cant}},
        {"special", fn<vok_mop_io_special>, {argtype_cant}},
        {"getspecial", fn<vok_mop_io_getspecial>, {argtype_cant}},
        {"decorator", fn<vok_mop_io_decorator>, {argtype_cant}},
        {"matrix", fn<vok_mop_io_matrix>, {argtype_cant}},
        {"getmatrix", fn<vok_mop_io_getmatrix>, {argtype_cant}},
        {"ioproc", fn<vok_mop_io_ioproc>, {argtype_cant}},
        {"getioproc", fn<vok_mop_io_getioproc>, {argtype_cant}},
    };
    // The extents share their counts with the limits of the dimcount: writing maxdim
    // with two values also limits the dimcount to 2. Classes rely on it.
    static constexpr attribute attributes[] = {
        {.name = "types",
         .type = "symbol",
         .offset = offsetof(vok_mop_io, types),
         .size = VOK_MOP_MAX_TYPES,
         .count = offsetof(vok_mop_io, typescount)},
        {.name = "mindim",
         .type = "long",
         .offset = offsetof(vok_mop_io, mindim),
         .size = VOK_MATRIX_MAX_DIMCOUNT,
         .count = offsetof(vok_mop_io, mindimcount)},
        {.name = "maxdim",
         .type = "long",
         .offset = offsetof(vok_mop_io, maxdim),
         .size = VOK_MATRIX_MAX_DIMCOUNT,
         .count = offsetof(vok_mop_io, maxdimcount)},
        {.name = "mindimcount", .type = "long", .offset = offsetof(vok_mop_io, mindimcount)},
        {.name = "maxdimcount", .type = "long", .offset = offsetof(vok_mop_io, maxdimcount)},
        {.name = "minplanecount", .type = "long", .offset = offsetof(vok_mop_io, minplanecount)},
        {.name = "maxplanecount", .type = "long", .offset = offsetof(vok_mop_io, maxplanecount)},
        {.name = "typelink", .type = "char", .offset = offsetof(vok_mop_io, typelink)},
        {.name = "dimlink", .type = "char", .offset = offsetof(vok_mop_io, dimlink)},
        {.name = "planelink", .type = "char", .offset = offsetof(vok_mop_io, planelink)},
        {.name = "ioname", .type = "symbol", .offset = offsetof(vok_mop_io, ioname)},
        {.name = "matrixname", .type = "symbol", .offset = offsetof(vok_mop_io, matrixname)},
    };
    io_class = add_class({"vok_mop_io", fn<vok_mop_io_new>, fn<vok_mop_io_free>, sizeof(vok_mop_io)}, messages,
                         attributes);
    return io_class ? VOK_ERR_NONE : VOK_ERR_OMEM;
}

extern "C" {

vok_mop_io *vok_mop_io_new(void)
{
    auto *io = static_cast<vok_mop_io *>(vok_object_alloc(io_class));
    if (!io)
        return nullptr;
    io->ioname = gensym("io");
    io->types[0] = _vok_sym_char;
    io->types[1] = _vok_sym_long;
    io->types[2] = _vok_sym_float32;
    io->types[3] = _vok_sym_float64;
    io->typescount = 4;
    io->mindimcount = 1;
    io->maxdimcount = VOK_MATRIX_MAX_DIMCOUNT;
    io->minplanecount = 1;
    io->maxplanecount = VOK_MATRIX_MAX_PLANECOUNT;
    io->typelink = io->dimlink = io->planelink = 1;
    return io;
}

void vok_mop_io_free(vok_mop_io *io) {}

vok_mop_io *vok_mop_io_newcopy(vok_mop_io *io)
{
    if (!io)
        return nullptr;
    auto *copy = static_cast<vok_mop_io *>(vok_object_alloc(io_class));
    if (copy) {
        constexpr size_t header = sizeof(object);
        std::memcpy(reinterpret_cast<char *>(copy) + header, reinterpret_cast<char *>(io) + header,
                    sizeof(vok_mop_io) - header);
    }
    return copy;
}

vok_err vok_mop_io_restrict_type(vok_mop_io *io, vok_matrix_info *info)
{
    if (!io || !info)
        return VOK_ERR_INVP;
    const long count = std::clamp(io->typescount, 0L, static_cast<long>(VOK_MOP_MAX_TYPES));
    if (std::find(io->types, io->types + count, info->type) != io->types + count)
        return VOK_ERR_NONE;
    info->type = io->matrix ? vok_attr_getsym(io->matrix, _vok_sym_type) : io->types[0];
    return VOK_ERR_EROR;
}

vok_err vok_mop_io_restrict_planecount(vok_mop_io *io, vok_matrix_info *info)
{
    if (!io || !info)
        return VOK_ERR_INVP;
    const long planes = info->planecount;
    if (planes >= io->minplanecount && planes <= io->maxplanecount)
        return VOK_ERR_NONE;
    info->planecount = std::min(std::max(planes, io->minplanecount), io->maxplanecount);
    return VOK_ERR_EROR;
}

vok_err vok_mop_io_restrict_dim(vok_mop_io *io, vok_matrix_info *info)
{
    if (!io || !info)
        return VOK_ERR_INVP;
    constexpr long most = VOK_MATRIX_MAX_DIMCOUNT;
    const long low = std::min(io->mindimcount, most), high = std::clamp(io->maxdimcount, 0L, most);
    bool corrected = false;
    if (low != 0 && info->dimcount < low) {
        for (long i = std::max(info->dimcount, 0L); i < low; ++i)
            info->dim[i] = 1;
        info->dimcount = low;
        corrected = true;
    } else if (high != 0 && info->dimcount > high) {
        info->dimcount = high;
        corrected = true;
    }
    for (long i = 0; i < most; ++i)
        corrected |= limit(info->dim[i], io->mindim[i], io->maxdim[i]);
    return corrected ? VOK_ERR_EROR : VOK_ERR_NONE;
}

vok_err vok_mop_io_special(vok_mop_io *io, void *special)
{
    if (!io)
        return VOK_ERR_INVP;
    io->special = special;
    return VOK_ERR_NONE;
}

void *vok_mop_io_getspecial(vok_mop_io *io)
{
    return io ? io->special : nullptr;
}

void *vok_mop_io_decorator(vok_mop_io *io)
{
    return io ? io->matrix : nullptr;
}

vok_err vok_mop_io_matrix(vok_mop_io *io, void *matrix)
{
    if (!io)
        return VOK_ERR_INVP;
    io->matrix = matrix;
    return VOK_ERR_NONE;
}

void *vok_mop_io_getmatrix(vok_mop_io *io)
{
    return io ? io->matrix : nullptr;
}

vok_err vok_mop_io_ioproc(vok_mop_io *io, vok_mop_ioproc ioproc)
{
    if (!io)
        return VOK_ERR_INVP;
    io->ioproc = ioproc;
    return VOK_ERR_NONE;
}

vok_mop_ioproc vok_mop_io_getioproc(vok_mop_io *io)
{
    return io ? io->ioproc : nullptr;
}

vok_err vok_mop_ioproc_copy_adapt(vok_mop *mop, vok_mop_io *io, void *matrix)
{
    if (!io || !matrix || !io->matrix)
        return VOK_ERR_NONE;
    vok_matrix_info info;
    send(matrix, _vok_sym_getinfo, &info);
    send(io, _vok_sym_restrict_type, &info);
    send(io, _vok_sym_restrict_dim, &info);
    send(io, _vok_sym_restrict_planecount, &info);
    send(io->matrix, _vok_sym_setinfo, &info);
    send(io->matrix, _vok_sym_frommatrix, matrix, nullptr);
    return VOK_ERR_NONE;
}

vok_err vok_mop_ioproc_copy_trunc(vok_mop *mop, vok_mop_io *io, void *matrix)
{
    if (io && matrix && io->matrix)
        send(io->matrix, _vok_sym_frommatrix_trunc, matrix);
    return VOK_ERR_NONE;
}

vok_err vok_mop_ioproc_copy_trunc_zero(vok_mop *mop, vok_mop_io *io, void *matrix)
{
    if (io && matrix && io->matrix)
        send(io->matrix, _vok_sym_clear);
    return vok_mop_ioproc_copy_trunc(mop, io, matrix);
}

symbol *vok_mop_ioproc_tosym(vok_mop_ioproc ioproc)
{
    static constexpr struct {
        vok_mop_ioproc proc;
        const char *name;
    } table[] = {
        {nullptr, "resamp"},
        {vok_mop_ioproc_copy_adapt, "adapt"},
        {vok_mop_ioproc_copy_trunc, "trunc"},
        {vok_mop_ioproc_copy_trunc_zero, "trunc_zero"},
    };
    for (const auto &row : table)
        if (row.proc == ioproc)
            return gensym(row.name);
    return gensym("custom");
}

} // extern "C"
