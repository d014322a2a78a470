// Two views of what a box can do: `summary` sends a description for machines out of
// dumpout, one message an item, and `quickref` fills the rows of a menu.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <vokra/attributes.h>
#include <vokra/commonsyms.h>
#include <vokra/mop.h>

#include "bridge/box.h"

long zan_vok_method_is_attr(void *x, symbol *name)
{
    return name && zan_vok_obex_attr_getobject(x, vok::without_get(name));
}

namespace {

zan_method_object *method_object(void *x, symbol *name)
{
    void *methods = x && name ? class_extra_lookup(object_class(x), ps_methods) : nullptr;
    void *m = nullptr;
    return methods && !hashtab_lookup(methods, name, &m) ? static_cast<zan_method_object *>(m) : nullptr;
}

// The element count of an attribute that is declared as an array, else 0.
long array_size(void *attr)
{
    return object_classname(attr) == _vok_sym_vok_attr_offset_array ? vok::send(attr, _vok_sym_getsize) : 0;
}

symbol *type_of(void *attr)
{
    auto *type = vok::ask<symbol>(attr, _vok_sym_gettype);
    return type ? type : _vok_sym_nothing;
}

// One message of the summary, built an atom at a time.
class item {
  public:
    explicit item(symbol *what) { *this << what; }
    item &operator<<(symbol *s)
    {
        atom_setsym(&atoms.emplace_back(), s ? s : _vok_sym_nothing);
        return *this;
    }
    item &operator<<(long n)
    {
        atom_setlong(&atoms.emplace_back(), n);
        return *this;
    }
    void send(void *x, symbol *selector) { zan_vok_obex_dumpout(x, selector, long(atoms.size()), atoms.data()); }

  private:
    std::vector<atom> atoms;
};

void add_links(item &to, const vok_mop_io *io)
{
    to << io->ioname << _vok_sym_planelink << io->planelink << _vok_sym_typelink << io->typelink
       << _vok_sym_dimlink << io->dimlink;
}

void add_types(item &to, const vok_mop_io *io)
{
    to << _vok_sym_types;
    for (long i = 0; i < std::min(io->typescount, long{VOK_MOP_MAX_TYPES}); ++i)
        to << io->types[i];
}

void summarize_operator(void *x, symbol *selector, vok_mop *mop)
{
    (item(ps_matrixinputcount) << mop->inputcount).send(x, selector);
    for (long i = 1; i <= mop->inputcount; ++i)
        if (auto *io = static_cast<vok_mop_io *>(vok_mop_getinput(mop, i))) {
            item input(ps_matrixinput);
            add_links(input, io);
            input << ps_inmode << vok_mop_ioproc_tosym(io->ioproc);
            add_types(input, io);
            input.send(x, selector);
        }
    (item(ps_matrixoutputcount) << mop->outputcount).send(x, selector);
    for (long i = 1; i <= mop->outputcount; ++i)
        if (auto *io = static_cast<vok_mop_io *>(vok_mop_getoutput(mop, i))) {
            item output(ps_matrixoutput);
            add_links(output, io);
            add_types(output, io);
            output.send(x, selector);
        }
}

void summarize_attribute(void *x, symbol *selector, void *attr)
{
    item row(_vok_sym_vok_attribute);
    row << vok::attr_name(attr) << _vok_sym_get << vok::user_can_get(attr) << _vok_sym_set
        << vok::user_can_set(attr) << vok2zantype(type_of(attr));
    if (const long size = array_size(attr))
        row << ps_array << size;
    row.send(x, selector);
}

bool is_public(const zan_messlist *e)
{
    return e->types[0] != argtype_cant;
}

} // namespace

long zan_vok_method_is_undocumented(void *x, symbol *name)
{
    zan_method_object *m = method_object(x, name);
    return m ? object_refpage_method_is_undocumented(m) : 0;
}

long zan_vok_method_is_groupreference(void *x, symbol *name)
{
    zan_method_object *m = method_object(x, name);
    return m ? object_refpage_method_is_groupreference(m) : 0;
}

vok_err zan_vok_object_summary(void *x, symbol *selector, long, atom *)
{
    if (!zan_vok_obex_get(x))
        return VOK_ERR_EROR;
    (item(ps_objectname) << object_classname(x)).send(x, selector);
    void *o = zan_vok_obex_vokob_get(x);
    if (void *mop = o ? class_adornment_get(object_class(o), _vok_sym_vok_mop) : nullptr)
        summarize_operator(x, selector, static_cast<vok_mop *>(mop));
    vok::for_each_attr(x, [&](void *, void *attr) { summarize_attribute(x, selector, attr); });
    vok::for_each_message(x, [&](const zan_messlist *e) {
        if (is_public(e) && !zan_vok_method_is_attr(x, e->name))
            (item(ps_message) << e->name).send(x, selector);
    });
    return VOK_ERR_NONE;
}

// ---- quick reference ----

namespace {

constexpr size_t most_rows = 256;

__attribute__((format(printf, 2, 3))) void append(std::string &text, const char *format, ...)
{
    char piece[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(piece, sizeof piece, format, args);
    va_end(args);
    text += piece;
}

// " (val = ...)" with the first four numbers or the first symbol.
void append_value(std::string &row, void *owner, void *attr, symbol *type)
{
    vok::atom_array value;
    vok::attr_read(owner, attr, &value.argc, &value.argv);
    row += " (val =";
    long shown = value.argc;
    if (type == _vok_sym_long || type == _vok_sym_char) {
        shown = std::min(shown, 4L);
        for (long i = 0; i < shown; ++i)
            append(row, " %lld", static_cast<long long>(atom_getlong(value.argv + i)));
    } else if (type == _vok_sym_float32 || type == _vok_sym_float64) {
        shown = std::min(shown, 4L);
        for (long i = 0; i < shown; ++i)
            append(row, " %.2f", atom_getfloat(value.argv + i));
    } else if (type == _vok_sym_symbol && shown > 0) {
        shown = 1;
        const symbol *s = vok_atom_getsym(value.argv);
        append(row, " %s", s == _vok_sym_nothing ? "<none>" : s->name);
    }
    row += shown < value.argc ? " ...)" : ")";
}

symbol *attribute_row(void *owner, void *attr)
{
    symbol *type = type_of(attr);
    std::string row;
    append(row, "    %s [%s", vok::attr_name(attr)->name, type->name);
    if (const long size = array_size(attr))
        append(row, " array[%ld]]", size);
    else
        row += "]";
    if (vok::user_can_get(attr))
        append_value(row, owner, attr, type);
    if (!vok::user_can_set(attr))
        row += " (get)";
    else if (!vok::user_can_get(attr))
        row += " (set)";
    return gensym(row.c_str());
}

const char *argument_name(int tag)
{
    switch (tag) {
    case argtype_long: return "int";
    case argtype_float: return "float";
    case argtype_sym:
    case argtype_defsym: return "symbol";
    case argtype_deflong: return "int (0)";
    case argtype_deffloat: return "float (0.0)";
    case argtype_gimme: return "variable";
    default: return nullptr;
    }
}

symbol *method_row(const zan_messlist *e)
{
    std::string row;
    append(row, "    %s ", e->name->name);
    if (e->types[0]) {
        const char *between = "[";
        for (const signed char *t = e->types; *t; ++t)
            if (const char *name = argument_name(*t)) {
                append(row, "%s%s", between, name);
                between = ", ";
            }
        row += row.back() == ' ' ? "[]" : "]";
    }
    return gensym(row.c_str());
}

void sort_rows(std::vector<symbol *> &rows)
{
    std::sort(rows.begin(), rows.end(), [](symbol *a, symbol *b) { return !quickref_symcompare(b, a); });
}

} // namespace

long quickref_symcompare(void *a, void *b)
{
    return std::strcmp(static_cast<symbol *>(a)->name, static_cast<symbol *>(b)->name) <= 0;
}

vok_err zan_vok_object_quickref(void *x, long *count, symbol **symbols)
{
    if (!count || !symbols || !zan_vok_obex_get(x))
        return VOK_ERR_EROR;
    std::vector<symbol *> attributes, methods;
    vok::for_each_attr(x, [&](void *owner, void *attr) {
        if (vok::user_can_get(attr) || vok::user_can_set(attr))
            attributes.push_back(attribute_row(owner, attr));
    });
    vok::for_each_message(x, [&](const zan_messlist *e) {
        if (is_public(e) && e->name != ps_assist && e->name != ps_preset && !zan_vok_method_is_attr(x, e->name))
            methods.push_back(method_row(e));
    });
    sort_rows(attributes);
    sort_rows(methods);

    std::vector<symbol *> rows = {_vok_sym_nothing, gensym("Attributes:")};
    rows.insert(rows.end(), attributes.begin(), attributes.end());
    rows.insert(rows.end(), {_vok_sym_nothing, gensym("Messages:")});
    rows.insert(rows.end(), methods.begin(), methods.end());
    const size_t n = std::min(rows.size(), most_rows);
    std::copy_n(rows.begin(), n, symbols);
    *count = static_cast<long>(n);
    return VOK_ERR_NONE;
}
