// The messages `op` and `exprfill`: a whole calculation on a matrix in place. The
// classes that calculate stand above this room and are reached by class name.
#include <vokra/matrix.h>

#include <algorithm>

#include <zan/symbols.h>

#include <vokra/attributes.h>
#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/matrix_copy.h>
#include <vokra/memory.h>
#include <vokra/op.h>

#include "matrix/matrix_lock.h"
#include "matrix/matrix_symbols.h"

using namespace vok;

namespace {

struct list_chucker {
    void operator()(void *list) const { vok_linklist_chuck(list); }
};
using owned_list = std::unique_ptr<void, list_chucker>;

// The object that an atom holds or names, or null.
void *named_object(const atom *a)
{
    if (void *x = atom_getobj(a))
        return x;
    symbol *name = atom_getsym(a);
    return name ? vok_object_findregistered(name) : nullptr;
}

bool is_number(const atom &a)
{
    return a.type == argtype_long || a.type == argtype_float;
}

struct op_inputs {
    void *first = nullptr;
    void *second = nullptr;
    owned_object constant; // behind one of them, when the values were given as numbers
};

// A matrix of this description, all cells set to the values.
owned_object make_constant(const vok_matrix_info &info, long argc, atom *argv)
{
    vok_matrix *x = vok_matrix_new(&info);
    if (x)
        vok_matrix_setall(x, nullptr, argc, argv);
    return owned_object(x);
}

// Reads "[input1] [input2] [value ...]". False when memory is out or the object that
// the constant would take its shape from isn't a matrix.
bool read_inputs(vok_matrix *x, bool unary, long argc, atom *argv, op_inputs *in)
{
    const long number = std::find_if(argv, argv + argc, is_number) - argv;
    if (argc > 0 && number < std::min(argc, 2L)) {
        void *given = number == 1 ? named_object(argv) : nullptr;
        if (unary || !given)
            given = x;
        if (!is_matrix(given))
            return false;
        vok_matrix_info info;
        vok_matrix_info_default(&info);
        send(given, _vok_sym_getinfo, &info);
        in->constant = make_constant(info, argc - number, argv + number);
        in->first = unary ? in->constant.get() : given;
        in->second = unary ? x : in->constant.get();
        return in->constant != nullptr;
    }
    if (argc == 1) {
        in->first = unary ? named_object(argv) : x;
        in->second = unary ? x : named_object(argv);
    } else if (argc > 1) {
        in->first = named_object(argv);
        in->second = named_object(argv + 1);
    }
    return true;
}

} // namespace

vok_err vok_matrix_op(vok_matrix *x, symbol *, long argc, atom *argv)
{
    if (!x)
        return VOK_ERR_EROR;
    if (!argv)
        argc = 0;
    symbol *name = argc > 0 ? atom_getsym(argv) : nullptr;
    if (!name)
        name = _vok_sym_nothing;
    const owned_object op(make(ps_vokra, matrix_symbols().vok_op));
    const owned_list list(vok_linklist_new());
    if (!op || !list)
        return VOK_ERR_EROR;
    vok_attr_setsym(op.get(), matrix_symbols().op, name);
    const vok_op_fn *fn = vok_op_fn_lookup(name);
    if (!fn)
        vok_object_error(x, "vok_op: no operator %s", name->name);

    op_inputs in;
    if (!read_inputs(x, fn && fn->inputcount == 1, std::max(argc - 1, 0L), argv + (argc > 0), &in))
        return VOK_ERR_EROR;
    if (!in.first)
        in.first = x;
    if (!in.second)
        in.second = x;
    if (!is_matrix(in.first) || !is_matrix(in.second))
        return VOK_ERR_EROR;
    vok_linklist_append(list.get(), in.first);
    vok_linklist_append(list.get(), in.second);
    return send(op.get(), _vok_sym_matrix_calc, list.get(), x);
}

vok_err vok_matrix_exprfill(vok_matrix *x, symbol *, long argc, atom *argv)
{
    if (!x || argc < 1 || !argv)
        return VOK_ERR_EROR;
    vok_matrix_conv_info conv = {};
    symbol *text = atom_getsym(argv);
    if (!text) {
        if (argc < 2)
            return VOK_ERR_EROR;
        const zan_word plane = atom_getlong(argv);
        for (long p = 0; p < VOK_MATRIX_MAX_PLANECOUNT; p++)
            conv.planemap[p] = p == plane ? 0 : -1;
        text = vok_atom_getsym(argv + 1);
    }
    const owned_object expr(make(ps_vokra, matrix_symbols().vok_expr));
    if (!expr)
        return VOK_ERR_EROR;
    vok_attr_setsym(expr.get(), matrix_symbols().expr, text);
    vok_matrix_info info = x->info;
    info.type = _vok_sym_float32;
    info.planecount = 1;
    const owned_object result(vok_matrix_new(&info));
    if (!result)
        return VOK_ERR_EROR;
    const vok_err err = send(expr.get(), _vok_sym_matrix_calc, x, result.get());
    send(x, _vok_sym_frommatrix, result.get(), &conv);
    return err;
}
