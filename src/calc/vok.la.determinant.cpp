// vok_la_determinant: the product of the diagonal of the upper triangular form, both by
// the classes that make them; each exchange of rows turns its sign. A matrix stands for the
// list of itself there.
#include <memory>

#include <zan/attributes.h>
#include <zan/memory.h>
#include <zan/symbols.h>

#include "calc/vok.la.h"

namespace {

using object_ptr = std::unique_ptr<void, decltype([](void *x) { vok_object_free(x); })>;

zan_class *determinant_class;

} // namespace

vok_err vok_la_determinant_matrix_calc(vok_la_determinant *x, void *inputs)
{
    void *in = vok::ask<void>(inputs, _vok_sym_getindex, 0);
    if (!x || !in)
        return VOK_ERR_INVP;
    vok_matrix_info info = {};
    vok::send(in, _vok_sym_getinfo, &info);
    x->result[0] = x->result[1] = 0;
    if (info.type != _vok_sym_float32 && info.type != _vok_sym_float64)
        return VOK_ERR_MSTP;
    if (info.planecount != 1 && info.planecount != 2)
        return VOK_ERR_MSPL;
    x->resultcount = info.planecount;
    if (info.dim[0] != info.dim[1])
        return VOK_ERR_MSDM;
    const object_ptr triangle(vok_object_new(_vok_sym_vok_matrix, &info));
    const object_ptr uppertri(vok_object_new(gensym("vok_la_uppertri")));
    if (!triangle || !uppertri)
        return VOK_ERR_OMEM;
    object_attr_setfloat(uppertri.get(), gensym("thresh"), x->thresh);
    if (const zan_word error = vok::send(uppertri.get(), _vok_sym_matrix_calc, inputs, triangle.get()))
        return static_cast<vok_err>(error);
    const bool odd = object_attr_getlong(uppertri.get(), gensym("swapcount")) & 1;
    const object_ptr diagproduct(vok_object_new(gensym("vok_la_diagproduct")));
    if (!diagproduct)
        return VOK_ERR_OMEM;
    vok::send(diagproduct.get(), _vok_sym_matrix_calc, triangle.get());
    long argc = 0;
    atom *argv = nullptr;
    vok::send(diagproduct.get(), gensym("getresult"), &argc, &argv);
    for (long i = 0; i < argc && i < 2; i++)
        x->result[i] = atom_getfloat(argv + i);
    if (argv)
        sysmem_freeptr(argv);
    for (double &r : x->result)
        r = odd ? -r : r;
    return VOK_ERR_NONE;
}

vok_la_determinant *vok_la_determinant_new(void)
{
    auto *x = static_cast<vok_la_determinant *>(vok_object_alloc(determinant_class));
    if (x) {
        x->thresh = 1e-9;
        x->resultcount = 1;
    }
    return x;
}

void vok_la_determinant_free(vok_la_determinant *) {}

vok_err vok_la_determinant_init(void)
{
    constexpr vok::message messages[] = {{"matrix_calc", vok::fn<vok_la_determinant_matrix_calc>, {argtype_cant}}};
    constexpr vok::attribute attributes[] = {
        vok::la::thresh(offsetof(vok_la_determinant, thresh)),
        vok::la::result(offsetof(vok_la_determinant, result), offsetof(vok_la_determinant, resultcount)),
    };
    determinant_class = vok::add_class({"vok_la_determinant", vok::fn<vok_la_determinant_new>,
                                        vok::fn<vok_la_determinant_free>, sizeof(vok_la_determinant)},
                                       messages, attributes);
    vok_class_addadornment(determinant_class, vok_object_new(_vok_sym_vok_mop, 1L, 0L));
    return VOK_ERR_NONE;
}
