// vok_matrix_wrapper: the matrix as a patch or a script holds it. This file: the object,
// its class, and how it passes on the messages and attributes of the matrix, which are
// copied from the class vok_matrix when this one is made. Files and movies have a file
// of their own.
#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/matrix.h>
#include <vokra/matrix_wrapper.h>
#include <zan/zan.h>

#include "kernel/class_table.h"
#include "matrix/format_arguments.h"
#include "matrix/matrix_lock.h"
#include "matrix/matrix_symbols.h"

using namespace vok;

namespace {

zan_class *wrapper_class;

constexpr long most_atoms = 256; // of a message that is passed on

constexpr const char *operator_words[] = {
    "pass",   "mult",    "div",      "add",     "addmod",  "sub",     "submod", "mod",   "min",    "max",
    "avg",    "absdiff", "flippass", "flipdiv", "flipsub", "flipmod", "bitand", "bitor", "bitxor", "bitnot",
    "rshift", "lshift",  "and",      "or",      "not",     "gt",      "lt",     "gte",   "lte",    "eq",
    "neq",    "gtp",     "ltp",      "gtep",    "ltep",    "eqp",     "neqp",   "sin",   "cos",    "tan",
    "asin",   "acos",    "atan",     "atan2",   "sinh",    "cosh",    "tanh",   "asinh", "acosh",  "atanh",
    "exp",    "exp2",    "ln",       "log",     "log2",    "log10",   "hypot",  "pow",   "sqrt",   "ceil",
    "floor",  "round",   "trunc",    "ignore",
};

vok_matrix_wrapper *as_wrapper(const atom *a)
{
    void *x = atom_getobj(a);
    return x && object_class(x) == wrapper_class ? static_cast<vok_matrix_wrapper *>(x) : nullptr;
}

// The atoms with every wrapper's matrix in its place, after those that are there already.
struct passed_on {
    atom list[most_atoms];
    long count = 0;

    void add(long argc, const atom *argv, long most)
    {
        for (long i = 0; argv && i < argc && count < most; i++, count++) {
            list[count] = argv[i];
            if (const vok_matrix_wrapper *w = as_wrapper(argv + i))
                atom_setobj(list + count, w->matrix);
        }
    }
};

symbol *usable_name(symbol *name)
{
    return name && name != _vok_sym_nothing ? name : vok_symbol_unique();
}

// A new matrix under the name, or the older one that has it; null when neither can be.
void *matrix_under(symbol *name, const vok_matrix_info *info)
{
    void *matrix = make(ps_vokra, _vok_sym_vok_matrix, info);
    void *holder = matrix ? ask<void>(matrix, _vok_sym_register, name) : nullptr;
    if (!holder)
        vok_object_free(matrix);
    return holder;
}

// ---- what is copied from the class vok_matrix ----

void wrap_attribute(void *attr, void *c)
{
    const bool gets = send(attr, gensym("usercanget"));
    const bool sets = send(attr, gensym("usercanset"));
    if (!gets && !sets)
        return;
    const long flags = (gets ? 0 : vok_attrflag_get_opaque_user) | (sets ? 0 : vok_attrflag_set_opaque_user);
    class_addattr(static_cast<zan_class *>(c),
                  attribute_new(ask<symbol>(attr, _vok_sym_getname)->name, ask<symbol>(attr, _vok_sym_gettype),
                                flags, method(vok_matrix_wrapper_attrwrap_get),
                                method(vok_matrix_wrapper_attrwrap_set)));
}

struct method_wrap {
    zan_class *from, *to;
};

void wrap_method(void *method_object, void *data)
{
    const auto &[from, to] = *static_cast<method_wrap *>(data);
    const zan_messlist *entry = &static_cast<zan_method_object *>(method_object)->entry;
    symbol *name = entry->name;
    if (entry->types[0] == argtype_cant) {
        const zan_method_object *typed = class_typedwrapper_get(from, name);
        if (!typed || typed->entry.types[0] == argtype_cant)
            return;
    }
    if (name != gensym("assist") && name != gensym("preset"))
        class_addmethod(to, method(vok_matrix_wrapper_methodwrap), name->name, argtype_gimmeback, 0);
}

constexpr message messages[] = {
    {"exportmovie", fn<vok_matrix_wrapper_export_movie>, {argtype_gimmeback}},
    {"exportimage", fn<vok_matrix_wrapper_exportimage>, {argtype_gimmeback}},
    {"importmovie", fn<vok_matrix_wrapper_import_movie>, {argtype_gimmeback}},
    {"read", fn<vok_matrix_wrapper_read>, {argtype_gimmeback}},
    {"write", fn<vok_matrix_wrapper_write>, {argtype_gimmeback}},
    {"frommatrix", fn<vok_matrix_wrapper_frommatrix>, {argtype_gimmeback}},
    {"notify", fn<vok_matrix_wrapper_notify>, {argtype_cant}},
    {"getmatrix", fn<vok_matrix_wrapper_getmatrix>, {argtype_cant}},
};

constexpr attribute array_attribute(const char *name, long conv_field, const char *label)
{
    return {.name = name,
            .type = "long",
            .flags = low,
            .offset = long{offsetof(vok_matrix_wrapper, conv)} + conv_field,
            .size = 32,
            .label = label};
}

constexpr attribute switch_attribute(const char *name, long offset, const char *label)
{
    return {.name = name, .type = "char", .flags = low, .offset = offset, .label = label};
}

constexpr attribute attributes[] = {
    // deliberately not "Name"
    {.name = "name",
     .type = "symbol",
     .flags = low,
     .offset = offsetof(vok_matrix_wrapper, name),
     .set = fn<vok_matrix_wrapper_name>,
     .label = "Title"},
    array_attribute("planemap", offsetof(vok_matrix_conv_info, planemap), "Planemap"),
    array_attribute("srcdimstart", offsetof(vok_matrix_conv_info, srcdimstart), "Srcdimstart"),
    array_attribute("srcdimend", offsetof(vok_matrix_conv_info, srcdimend), "Srcdimend"),
    array_attribute("dstdimstart", offsetof(vok_matrix_conv_info, dstdimstart), "Dstdimstart"),
    array_attribute("dstdimend", offsetof(vok_matrix_conv_info, dstdimend), "Dstdimend"),
    switch_attribute("adapt", offsetof(vok_matrix_wrapper, adapt), "Adapt"),
    switch_attribute("interp", offsetof(vok_matrix_wrapper, interp), "Interp"),
    switch_attribute("usesrcdim", offsetof(vok_matrix_wrapper, usesrcdim), "Usesrcdim"),
    switch_attribute("usedstdim", offsetof(vok_matrix_wrapper, usedstdim), "Usedstdim"),
};

} // namespace

vok_err vok_matrix_wrapper_init(void)
{
    wrapper_class =
        class_new("vok_matrix_wrapper", method(vok_matrix_wrapper_new), method(vok_matrix_wrapper_free),
                  sizeof(vok_matrix_wrapper), nullptr, argtype_gimme, 0);
    if (!wrapper_class)
        return VOK_ERR_OMEM;
    class_obexoffset_set(wrapper_class, offsetof(vok_matrix_wrapper, obex));
    add_messages(wrapper_class, messages);
    add_attributes(wrapper_class, attributes);
    vok_matrix_wrapper_wrapit(wrapper_class);
    describe_attribute(wrapper_class, "type", "style", _vok_sym_symbol, "enum");
    describe_attribute(wrapper_class, "type", "enumvals", _vok_sym_atom, "char long float32 float64");
    return vok_class_register(wrapper_class);
}

void vok_matrix_wrapper_wrapit(zan_class *c)
{
    zan_class *matrix_class = vok_class_findbyname(_vok_sym_vok_matrix);
    if (!matrix_class) {
        object_error(nullptr, "vok_matrix_wrapper: could not find vok_matrix class");
        return;
    }
    // word 11 of a class record is its table of attributes
    if (void *table = reinterpret_cast<void **>(matrix_class)[11])
        hashtab_objfunall(table, wrap_attribute, c);
    method_wrap pair{matrix_class, c};
    if (void *table = class_extra_lookup(matrix_class, gensym("methods")))
        hashtab_objfunall(table, wrap_method, &pair);
    for (const char *word : operator_words)
        class_addmethod(c, method(vok_matrix_wrapper_opwrap), word, argtype_gimmeback, 0);
}

vok_matrix_wrapper *vok_matrix_wrapper_new(symbol *, long argc, atom *argv)
{
    auto *x = static_cast<vok_matrix_wrapper *>(object_alloc(wrapper_class));
    if (!x)
        return nullptr;
    x->name = _vok_sym_nothing;
    x->adapt = x->reserved = 1;
    for (long i = 0; i < VOK_MATRIX_MAX_PLANECOUNT; i++)
        x->conv.planemap[i] = i;
    vok_matrix_info info;
    vok_matrix_info_default(&info);
    if (!argv || argc < 0)
        argc = 0;
    symbol *name = argc > 0 ? atom_getsym(argv) : nullptr;
    const long format = name ? 1 : 0; // where it begins
    if (format < argc) {
        x->adapt = 0;
        read_format(&info, argc - format, argv + format);
    }
    name = usable_name(name);
    x->matrix = matrix_under(name, &info);
    if (!x->matrix) {
        vok_object_post(x, "error could not create vok.matrix %s", name->name);
        vok_object_free(x);
        return nullptr;
    }
    if (!x->adapt)
        send(x->matrix, _vok_sym_setinfo, &info);
    x->name = name;
    vok_object_attach(name, x);
    x->path = path_getdefault();
    return x;
}

void vok_matrix_wrapper_free(vok_matrix_wrapper *x)
{
    vok_object_detach(x->name, x);
    if (x->matrix)
        vok_object_free(x->matrix);
}

void *vok_matrix_wrapper_getmatrix(vok_matrix_wrapper *x)
{
    return x ? x->matrix : nullptr;
}

vok_err vok_matrix_wrapper_name(vok_matrix_wrapper *x, void *, long argc, atom *argv)
{
    if (!x)
        return VOK_ERR_INVP;
    symbol *name = usable_name(argc > 0 && argv ? atom_getsym(argv) : nullptr);
    vok_object_detach(x->name, x);
    x->name = name;
    if (x->matrix)
        if (void *holder = ask<void>(x->matrix, _vok_sym_register, name))
            x->matrix = holder;
    vok_object_attach(name, x);
    return VOK_ERR_NONE;
}

void vok_matrix_wrapper_notify(vok_matrix_wrapper *x, symbol *name, symbol *msg, void *, void *)
{
    if (!x || name != x->name || msg != _vok_sym_free)
        return;
    vok_object_error(x, "vok_matrix_wrapper: freeing referenced matrix %s", name->name);
    vok_object_detach(name, x);
    x->name = _vok_sym_nothing;
    x->matrix = nullptr;
}

// ---- passing on ----

vok_err vok_matrix_wrapper_attrwrap_get(vok_matrix_wrapper *x, void *attr, long *argc, atom **argv)
{
    if (!x || !attr || !x->matrix)
        return -1;
    return object_attr_getvalueof(x->matrix, ask<symbol>(attr, _vok_sym_getname), argc, argv);
}

vok_err vok_matrix_wrapper_attrwrap_set(vok_matrix_wrapper *x, void *attr, long argc, atom *argv)
{
    if (!x || !attr || !x->matrix)
        return -1;
    return object_attr_setvalueof(x->matrix, ask<symbol>(attr, _vok_sym_getname), argc, argv);
}

zan_word vok_matrix_wrapper_methodwrap(vok_matrix_wrapper *x, symbol *selector, long argc, atom *argv,
                                       atom *result)
{
    if (!x || !x->matrix)
        return -1;
    passed_on p;
    p.add(argc, argv, most_atoms);
    return object_method_typed(x->matrix, selector, p.count, p.list, result);
}

zan_word vok_matrix_wrapper_opwrap(vok_matrix_wrapper *x, symbol *selector, long argc, atom *argv, atom *result)
{
    if (!x || !x->matrix)
        return 0;
    passed_on p;
    atom_setsym(p.list, selector);
    p.count = 1;
    p.add(argc, argv, most_atoms - 1);
    return object_method_typed(x->matrix, matrix_symbols().op, p.count, p.list, result);
}

vok_err vok_matrix_wrapper_frommatrix(vok_matrix_wrapper *x, symbol *, long argc, atom *argv, atom *)
{
    if (!x || !x->matrix || argc < 1 || !argv)
        return VOK_ERR_NONE;
    void *source = nullptr;
    if (const vok_matrix_wrapper *w = as_wrapper(argv)) {
        source = w->matrix;
    } else if (symbol *name = atom_getsym(argv); name && name != _vok_sym_nothing) {
        source = vok_object_findregistered(name);
    }
    if (!is_matrix(source))
        return VOK_ERR_NONE;
    if (x->adapt) {
        vok_matrix_info info;
        send(source, _vok_sym_getinfo, &info);
        send(x->matrix, _vok_sym_setinfo, &info);
    }
    vok_matrix_conv_info conv = x->conv;
    conv.flags |= (x->interp ? vok_matrix_conv_interp : 0) | (x->usesrcdim ? vok_matrix_conv_usesrcdim : 0) |
                  (x->usedstdim ? vok_matrix_conv_usedstdim : 0);
    return send(x->matrix, _vok_sym_frommatrix, source, &conv);
}
