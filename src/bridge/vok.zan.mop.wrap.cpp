// What a box class of a matrix operator gets besides its standard wrap: the messages of
// matrices and probing, and the attributes of the box itself, as far as the flags leave
// them in. The same for the class in the making, for a class, and for one box.
#include <vokra/attributes.h>
#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/mop_box.h>

#include "bridge/box.h"
#include "bridge/mop_box.h"

namespace {

// Where a wrap goes, and how it gets an attribute of the box itself there.
struct place : vok::wrap_target {
    zan_vok_classex *classex = nullptr; // of the class in the making

    void declare(void *attr) const
    {
        switch (kind) {
        case making: zan_vok_classex_addattr(classex, attr); break;
        case of_class: zan_vok_class_addattr(static_cast<zan_class *>(p), attr); break;
        case of_box: zan_vok_object_addattr(p, attr); break;
        }
    }
};

struct attribute_row {
    const char *name; // or what follows the name of an input or output
    const char *type;
    long size; // above 0: an array
    zan_method get, set;
    const char *style, *enumvals;
};

constexpr const char *planecounts = "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25 26 27 28 "
                                    "29 30 31 32";

void describe(void *attr, const char *what, symbol *type, const char *text)
{
    if (text)
        object_addattr_parse(attr, what, type, 0, text);
}

void add_attribute(const place &to, const attribute_row &row, const char *name, bool basic)
{
    // got through defer_low, set as low-priority merged calls
    constexpr long flags = vok_attrflag_get_defer_low | vok_attrflag_set_usurp_low;
    symbol *type = gensym(row.type);
    void *attr = row.size ? vok::make(ps_vokra, _vok_sym_vok_attr_offset_array, name, type, row.size, flags,
                                      row.get, row.set, 0L, 0L)
                          : vok::make(ps_vokra, _vok_sym_vok_attr_offset, name, type, flags, row.get, row.set, 0L);
    if (!attr)
        return;
    describe(attr, "category", _vok_sym_symbol, "MOP");
    describe(attr, "style", _vok_sym_symbol, row.style);
    describe(attr, "enumvals", _vok_sym_atom, row.enumvals);
    describe(attr, "basic", _vok_sym_long, basic ? "1" : nullptr);
    to.declare(attr);
}

void add_messages(const place &to, long flags)
{
    if (!(flags & ZAN_VOK_MOP_NO_MATRIX))
        to.add(vok::method(zan_vok_mop_vok_matrix), "vok_matrix", argtype_gimme);
    if (!(flags & ZAN_VOK_MOP_NO_BANG))
        to.add(vok::method(zan_vok_mop_bang), "bang", 0);
    if (!(flags & ZAN_VOK_MOP_NO_OUTPUTMATRIX))
        to.add_run_as(argtype_usurp_low, vok::method(zan_vok_mop_outputmatrix), "outputmatrix");
    if (!(flags & ZAN_VOK_MOP_NO_CLEAR))
        to.add_run_as(argtype_defer_low, vok::method(zan_vok_mop_clear), "clear");
    if (!(flags & ZAN_VOK_MOP_NO_NOTIFY))
        to.add(vok::method(zan_vok_mop_notify), "notify", argtype_cant);
}

void add_probing(const place &to)
{
    to.add(vok::method(zan_vok_mop_vok_matrix_startprobe), "vok_matrix_startprobe", argtype_cant);
    to.add(vok::method(zan_vok_mop_vok_matrix_probevalue), "vok_matrix_probevalue", argtype_cant);
    to.add(vok::method(zan_vok_mop_vok_matrix_endprobe), "vok_matrix_endprobe", argtype_cant);
}

void add_attributes(const place &to, vok_mop *mop, long flags)
{
    using vok::method;
    if (!(flags & ZAN_VOK_MOP_NO_OUTPUTMODE))
        add_attribute(to,
                      {"outputmode", "char", 0, method(zan_vok_mop_getoutputmode_attr),
                       method(zan_vok_mop_outputmode), "enumindex",
                       "\"No Output\" Normal \"Pass Input\" \"Pass Output\""},
                      "outputmode", false);
    if (!(flags & ZAN_VOK_MOP_NO_ADAPT))
        add_attribute(
            to, {"adapt", "char", 0, method(zan_vok_mop_getadapt), method(zan_vok_mop_adapt), "onoff", nullptr},
            "adapt", true);

    const struct {
        long without;
        attribute_row row;
    } rows[] = {
        {ZAN_VOK_MOP_NO_NAME,
         {"name", "symbol", 0, method(zan_vok_mop_getname), method(zan_vok_mop_name), nullptr, nullptr}},
        {ZAN_VOK_MOP_NO_TYPE,
         {"type", "symbol", 0, method(zan_vok_mop_gettype), method(zan_vok_mop_type), "enum",
          "char long float32 float64"}},
        {ZAN_VOK_MOP_NO_DIM,
         {"dim", "long", VOK_MATRIX_MAX_DIMCOUNT, method(zan_vok_mop_getdim), method(zan_vok_mop_dim), nullptr,
          nullptr}},
        {ZAN_VOK_MOP_NO_PLANECOUNT,
         {"planecount", "long", 0, method(zan_vok_mop_getplanecount), method(zan_vok_mop_planecount), "enum",
          planecounts}},
    };
    // the format of output 1 has the plain names; its matrix's name doesn't
    const auto add_all = [&](const vok_mop_io *io, bool plain) {
        for (const auto &r : rows) {
            if (!io || (flags & r.without))
                continue;
            const bool whole = plain && r.without != ZAN_VOK_MOP_NO_NAME;
            char name[256];
            snprintf_zero(name, sizeof name, whole ? "%s%s" : "%s_%s", whole ? "" : io->ioname->name, r.row.name);
            add_attribute(to, r.row, name, whole);
        }
    };
    for (long i = 2; i <= mop->inputcount; i++)
        add_all(vok::input_of(mop, i), false);
    for (long i = 1; i <= mop->outputcount; i++)
        add_all(vok::output_of(mop, i), i == 1);
}

vok_mop *adornment_of(zan_class *vokclass)
{
    return vokclass ? static_cast<vok_mop *>(vok_class_adornment_get(vokclass, _vok_sym_vok_mop)) : nullptr;
}

vok_err wrap(const place &to, zan_class *vokclass, long flags)
{
    vok_mop *mop = adornment_of(vokclass);
    if (!mop)
        return VOK_ERR_EROR;
    const bool probe_only = flags == ZAN_VOK_MOP_PROBE_ONLY;
    if (!probe_only)
        add_messages(to, flags);
    if (mop->outputcount != 0)
        add_probing(to);
    if (!probe_only)
        add_attributes(to, mop, flags);
    return VOK_ERR_NONE;
}

vok_err set_mproc(zan_class *vokclass, zan_vok_mproc mproc)
{
    vok_mop *mop = adornment_of(vokclass);
    return mop ? vok::send(mop, _vok_sym_special, vok::method(mproc)) : long{VOK_ERR_EROR};
}

} // namespace

vok_err zan_vok_classex_mop_wrap(zan_vok_classex *classex, zan_class *vokclass, long flags)
{
    return classex ? wrap({{}, classex}, vokclass, flags) : long{VOK_ERR_EROR};
}

vok_err zan_vok_class_mop_wrap(zan_class *c, zan_class *vokclass, long flags)
{
    return c ? wrap({vok::wrap_target::to_class(c)}, vokclass, flags) : long{VOK_ERR_EROR};
}

vok_err zan_vok_object_mop_wrap(void *x, void *o, long flags)
{
    return x && o ? wrap({vok::wrap_target::to_box(x)}, object_class(o), flags) : long{VOK_ERR_EROR};
}

vok_err zan_vok_classex_mop_mproc(zan_vok_classex *classex, zan_class *vokclass, zan_vok_mproc mproc)
{
    return classex && vokclass && mproc ? set_mproc(vokclass, mproc) : long{VOK_ERR_INVP};
}

vok_err zan_vok_object_mop_mproc(void *x, void *o, zan_vok_mproc mproc)
{
    return x && o && mproc ? set_mproc(object_class(o), mproc) : long{VOK_ERR_INVP};
}
