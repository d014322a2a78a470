// The attributes by which a patch names and shapes a box's matrices. An attribute's name
// says whom it addresses ("in2_dim"; "dim" means all that are linked). A box of a
// variable number has no such attributes and takes the same words as messages.
#include <algorithm>
#include <cstring>

#include <vokra/kernel.h>
#include <vokra/mop_box.h>

#include "bridge/box.h"
#include "bridge/mop_box.h"

namespace {

enum { address_all = 0, address_input = 1, address_output = 2 };

// Atoms into an info. `named`: one record is addressed.
void write_type(vok_matrix_info *info, long argc, const atom *argv, bool)
{
    symbol *type = argc > 0 ? atom_getsym(argv) : nullptr;
    info->type = type ? type : _vok_sym_nothing;
}

void write_planecount(vok_matrix_info *info, long argc, const atom *argv, bool)
{
    info->planecount = argc > 0 ? atom_getlong(argv) : 0;
}

// No extents: all are 1, and one record alone gets the fewest dimensions it allows.
void write_dim(vok_matrix_info *info, long argc, const atom *argv, bool named)
{
    const long count = std::clamp(argc, 0L, long{VOK_MATRIX_MAX_DIMCOUNT});
    std::fill_n(info->dim, VOK_MATRIX_MAX_DIMCOUNT, 1L);
    for (long i = 0; i < count; i++)
        info->dim[i] = atom_getlong(argv + i);
    if (count || named)
        info->dimcount = count;
}

// One part of a matrix's format, as attributes set it.
struct part {
    const char *name;
    void (*write)(vok_matrix_info *, long argc, const atom *argv, bool named);
    vok_err (*restrict)(vok_mop_io *, vok_matrix_info *);
    char vok_mop_io::*link;

    void set(vok_mop_io *io, long argc, const atom *argv, bool named) const
    {
        vok_matrix_info info;
        vok::send(io->matrix, _vok_sym_getinfo, &info);
        write(&info, argc, argv, named);
        restrict(io, &info);
        vok::send(io->matrix, _vok_sym_setinfo, &info);
    }
};

constexpr part parts[] = {
    {"type", write_type, vok_mop_io_restrict_type, &vok_mop_io::typelink},
    {"dim", write_dim, vok_mop_io_restrict_dim, &vok_mop_io::dimlink},
    {"planecount", write_planecount, vok_mop_io_restrict_planecount, &vok_mop_io::planelink},
};
constexpr const part &type_part = parts[0], &dim_part = parts[1], &planecount_part = parts[2];

vok_err set_part(const part &p, void *x, void *attr, long argc, atom *argv)
{
    vok_mop *mop = vok::operator_of(x);
    if (!mop || !argv)
        return VOK_ERR_EROR;
    long which = 0, index = 0;
    zan_vok_mop_parse_name(vok::attr_name(attr), &which, &index);
    if (index == 0) {
        vok::each_own(mop, [&](vok_mop_io *io) {
            if (io->*p.link)
                p.set(io, argc, argv, false);
        });
    } else if (vok_mop_io *io = vok::addressed(mop, which, index); io && io->matrix) {
        p.set(io, argc, argv, true);
    }
    return VOK_ERR_NONE;
}

vok_err get_part(const part &p, void *x, void *attr, long *argc, atom **argv)
{
    auto *io = static_cast<vok_mop_io *>(zan_vok_mop_get_io_by_name(x, vok::attr_name(attr)));
    if (!io)
        io = static_cast<vok_mop_io *>(zan_vok_mop_getoutput(x, 1));
    if (!io || !io->matrix)
        return VOK_ERR_EROR;
    return vok::send(io->matrix, vok::affixed("get", gensym(p.name), ""), argc, argv);
}

// ---- names ----

symbol *wanted_name(long argc, const atom *argv)
{
    symbol *name = argc > 0 && argv ? atom_getsym(argv) : nullptr;
    return name && name != _vok_sym_nothing ? name : vok_symbol_unique();
}

// EROR, reported, for a name that something else has.
vok_err check_name(void *x, symbol *name)
{
    void *holder = vok_object_findregistered(name);
    if (!holder || vok::is_matrix(holder))
        return VOK_ERR_NONE;
    vok_object_error(x, "%s exists and is not a matrix", name->name);
    return VOK_ERR_EROR;
}

vok_err set_name(void *x, vok_mop_io *io, symbol *name)
{
    symbol *old = io->matrixname;
    if (name == old) {
        if (io->matrix != vok_object_findregistered(name))
            vok_object_error(x, "loss of matrix sync %s", name->name);
        return VOK_ERR_NONE;
    }
    if (!io->matrix)
        io->matrix = vok::new_matrix_for(io);
    vok_object_detach(old, x);
    io->matrixname = name;
    // its own, or the one that has the name already
    if (void *holder = vok::ask<void>(io->matrix, _vok_sym_register, name))
        io->matrix = holder;
    vok_object_attach(name, x);
    return VOK_ERR_NONE;
}

bool begins(const symbol *s, const char *with)
{
    return std::strncmp(s->name, with, std::strlen(with)) == 0;
}

// ---- messages of boxes of a variable number ----

void reply_name(void *x, symbol *attrname, const vok_mop_io *io)
{
    atom name;
    atom_setsym(&name, io->matrixname ? io->matrixname : _vok_sym_nothing);
    zan_vok_obex_dumpout(x, attrname, 1, &name);
}

// Only what is an attribute: other words behind "get" are private messages.
void reply_from_matrix(void *x, symbol *attrname, const vok_mop_io *io)
{
    if (!vok_object_attr_get(io->matrix, attrname))
        return;
    vok::atom_array value;
    if (!vok::send(io->matrix, vok::affixed("get", attrname, ""), &value.argc, &value.argv))
        zan_vok_obex_dumpout(x, attrname, value.argc, value.argv);
}

} // namespace

vok_err zan_vok_mop_parse_name(symbol *name, long *which, long *index)
{
    if (!name || !which || !index)
        return VOK_ERR_INVP;
    *which = *index = 0;
    if (begins(name, "out"))
        *which = address_output;
    else if (begins(name, "in"))
        *which = address_input;
    else
        return VOK_ERR_NONE;
    const char *end = std::strchr(name->name + 1, '_');
    if (!end)
        end = name->name + std::strlen(name->name);
    const char *digits = end;
    while (digits > name->name && digits[-1] >= '0' && digits[-1] <= '9')
        digits--;
    constexpr long most = 1000000; // beyond any record, and within a long
    for (; digits < end && *index < most; digits++)
        *index = *index * 10 + (*digits - '0');
    if (*index == 0)
        *index = 1;
    return VOK_ERR_NONE;
}

void *zan_vok_mop_get_io_by_name(void *x, symbol *attrname)
{
    long which = 0, index = 0;
    zan_vok_mop_parse_name(attrname, &which, &index);
    return vok::addressed(vok::operator_of(x), which, index);
}

vok_err zan_vok_mop_getoutputmode_attr(void *x, void *, long *argc, atom **argv)
{
    vok_mop *mop = vok::operator_of(x);
    return mop ? vok::send(mop, gensym("getoutputmode"), argc, argv) : long{VOK_ERR_EROR};
}

vok_err zan_vok_mop_outputmode(void *x, void *, long argc, atom *argv)
{
    vok_mop *mop = vok::operator_of(x);
    return mop ? vok::send(mop, _vok_sym_outputmode, argc, argv) : long{VOK_ERR_EROR};
}

vok_err zan_vok_mop_getadapt(void *x, void *, long *argc, atom **argv)
{
    vok_mop *mop = vok::operator_of(x);
    return mop ? vok::send(mop, gensym("getadapt"), argc, argv) : long{VOK_ERR_EROR};
}

vok_err zan_vok_mop_adapt(void *x, void *, long argc, atom *argv)
{
    vok_mop *mop = vok::operator_of(x);
    return mop ? vok::send(mop, _vok_sym_adapt, argc, argv) : long{VOK_ERR_EROR};
}

vok_err zan_vok_mop_getname(void *x, void *attr, long *argc, atom **argv)
{
    void *io = zan_vok_mop_get_io_by_name(x, vok::attr_name(attr));
    return io ? vok::send(io, gensym("getmatrixname"), argc, argv) : long{VOK_ERR_EROR};
}

vok_err zan_vok_mop_name(void *x, void *attr, long argc, atom *argv)
{
    symbol *name = wanted_name(argc, argv);
    if (check_name(x, name))
        return VOK_ERR_EROR;
    if (!vok::operator_of(x))
        return VOK_ERR_EROR;
    auto *io = static_cast<vok_mop_io *>(zan_vok_mop_get_io_by_name(x, vok::attr_name(attr)));
    return io ? set_name(x, io, name) : long{VOK_ERR_NONE};
}

vok_err zan_vok_mop_gettype(void *x, void *attr, long *argc, atom **argv)
{
    return get_part(type_part, x, attr, argc, argv);
}

vok_err zan_vok_mop_type(void *x, void *attr, long argc, atom *argv)
{
    return set_part(type_part, x, attr, argc, argv);
}

vok_err zan_vok_mop_getdim(void *x, void *attr, long *argc, atom **argv)
{
    return get_part(dim_part, x, attr, argc, argv);
}

vok_err zan_vok_mop_dim(void *x, void *attr, long argc, atom *argv)
{
    return set_part(dim_part, x, attr, argc, argv);
}

vok_err zan_vok_mop_getplanecount(void *x, void *attr, long *argc, atom **argv)
{
    return get_part(planecount_part, x, attr, argc, argv);
}

vok_err zan_vok_mop_planecount(void *x, void *attr, long argc, atom *argv)
{
    return set_part(planecount_part, x, attr, argc, argv);
}

vok_err zan_vok_mop_variable_parse_sym(symbol *name, symbol **attrname, long *isset)
{
    if (!name || !attrname || !isset)
        return VOK_ERR_INVP;
    *isset = !begins(name, "get");
    const char *bar = *name->name ? std::strchr(name->name + 1, '_') : nullptr;
    if (!bar)
        return VOK_ERR_EROR;
    *attrname = gensym(bar + 1);
    return VOK_ERR_NONE;
}

vok_err zan_vok_mop_variable_anything(void *x, symbol *selector, long argc, atom *argv)
{
    vok_mop *mop = vok::operator_of(x);
    if (!mop)
        return VOK_ERR_INVP;
    symbol *attrname = nullptr;
    long isset = 0, which = 0, index = 0;
    if (!selector || zan_vok_mop_variable_parse_sym(selector, &attrname, &isset))
        return VOK_ERR_EROR;
    zan_vok_mop_parse_name(isset ? selector : vok::without_get(selector), &which, &index);
    if (index == 0)
        return VOK_ERR_EROR;
    vok_mop_io *io = vok::addressed(mop, which, index);
    if (!io)
        return VOK_ERR_NONE;
    if (attrname == _vok_sym_name) {
        if (!isset) {
            reply_name(x, attrname, io);
            return VOK_ERR_NONE;
        }
        symbol *name = wanted_name(argc, argv);
        const vok_err err = check_name(x, name);
        return err ? err : set_name(x, io, name);
    }
    if (!io->matrix)
        return VOK_ERR_NONE;
    if (!isset) {
        reply_from_matrix(x, attrname, io);
        return VOK_ERR_NONE;
    }
    for (const part &p : parts)
        if (std::strcmp(p.name, attrname->name) == 0)
            p.set(io, argv ? argc : 0, argv, true);
    return VOK_ERR_NONE;
}

vok_err zan_vok_mop_assist(void *x, void *, long kind, long index, char *text)
{
    vok_mop *mop = vok::operator_of(x);
    if (!mop || !text)
        return VOK_ERR_EROR;
    constexpr long most = 500;
    const bool inlet = kind == 1;
    const vok_mop_io *io = inlet ? vok::input_of(mop, index + 1) : vok::output_of(mop, index + 1);
    if (io)
        snprintf_zero(text, most, "(matrix) %s", io->ioname->name);
    else if (inlet)
        return VOK_ERR_EROR;
    else
        snprintf_zero(text, most, "dumpout");
    return VOK_ERR_NONE;
}
