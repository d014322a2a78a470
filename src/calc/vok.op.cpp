// vok_op: applies a named operator to every cell of two matrices, with one operator
// per plane if asked. How the cells are walked is told in vok.op.walk.cpp; what
// happens to them is the business of the vector functions in the registry.
#include <zan/symbols.h>

#include <vokra/commonsyms.h>
#include <vokra/parallel_ndim.h>

#include "calc/vok.op.h"
#include "kernel/class_table.h"
#include "kernel/message.h"

zan_class *_vok_op_class;

namespace {

// The three matrices of a calculation, locked as long as this lives and restored in
// reverse order.
class matrices {
  public:
    explicit matrices(void *const (&objects)[3])
    {
        for (int i = 0; i < 3; i++) {
            objects_[i] = objects[i];
            locks_[i] = vok::send(objects_[i], _vok_sym_lock, 1);
        }
        for (int i = 0; i < 3; i++)
            vok::send(objects_[i], _vok_sym_getinfo, &info[i]);
        for (int i = 0; i < 3; i++)
            vok::send(objects_[i], _vok_sym_getdata, &data[i]);
    }
    ~matrices()
    {
        for (int i = 2; i >= 0; i--)
            vok::send(objects_[i], _vok_sym_lock, locks_[i]);
    }
    matrices(const matrices &) = delete;
    matrices &operator=(const matrices &) = delete;

    vok_err check() const
    {
        if (!data[0] || !data[1])
            return VOK_ERR_INVI;
        if (!data[2])
            return VOK_ERR_INVO;
        return info[0].type == info[1].type && info[0].type == info[2].type ? VOK_ERR_NONE : VOK_ERR_MSTP;
    }

    vok_matrix_info info[3];
    unsigned char *data[3] = {};

  private:
    void *objects_[3];
    zan_word locks_[3];
};

// Lowers a size to that of an input that ends earlier. One of size 1 goes on for ever:
// its stride is taken away, since the walk takes strides above dimension 0 as they are.
void limit(long &size, vok_matrix_info &input, long i)
{
    if (input.dim[i] < 2)
        input.dimstride[i] = 0;
    else if (input.dim[i] < size)
        size = input.dim[i];
}

void calculate(vok_op *x, matrices &m)
{
    long dim[32];
    long dimcount = m.info[2].dimcount;
    dimcount = dimcount > 32 ? 32 : dimcount;
    for (long i = 0; i < 32; i++) {
        dim[i] = i < dimcount ? m.info[2].dim[i] : 1;
        limit(dim[i], m.info[0], i);
        limit(dim[i], m.info[1], i);
    }
    vok_op_vector_fn fns[32];
    const long planecount = m.info[2].planecount < 32 ? m.info[2].planecount : 32;
    const long opcount = x->opcount < 32 ? x->opcount : 32;
    for (long p = 0; p < planecount; p++)
        fns[p] = p >= opcount                        ? fns[p - opcount]
                 : p > 0 && x->op[p] == x->op[p - 1] ? fns[p - 1]
                                                     : vok_op_sym2fn(x->op[p], m.info[0].type);
    vok_parallel_ndim_simplecalc3(vok::method(vok_op_calculate_ndim), fns, dimcount, dim, planecount, &m.info[0],
                                  m.data[0], &m.info[1], m.data[1], &m.info[2], m.data[2], 0, 0, 0);
}

void reset(vok_op *x)
{
    x->opcount = 1;
    for (symbol *&op : x->op)
        op = gensym("pass");
}

} // namespace

long vok_op_matrix_calc(vok_op *x, void *inputs, void *outputs)
{
    void *const objects[3] = {vok::ask<void>(inputs, _vok_sym_getindex, 0),
                              vok::ask<void>(inputs, _vok_sym_getindex, 1),
                              vok::ask<void>(outputs, _vok_sym_getindex, 0)};
    if (x && x->opcount < 1)
        reset(x);
    if (!x || !objects[0] || !objects[1] || !objects[2])
        return VOK_ERR_INVP;
    matrices m(objects);
    const vok_err error = m.check();
    if (!error)
        calculate(x, m);
    return error;
}

vok_op *vok_op_new(void)
{
    auto *x = static_cast<vok_op *>(vok_object_alloc(_vok_op_class));
    if (x)
        reset(x);
    return x;
}

void vok_op_free(vok_op *) {}

long vok_op_init(void)
{
    constexpr vok::message messages[] = {{"matrix_calc", vok::fn<vok_op_matrix_calc>, {argtype_cant}}};
    constexpr vok::attribute attributes[] = {
        {.name = "op",
         .type = "symbol",
         .flags = vok::low,
         .offset = offsetof(vok_op, op),
         .size = 32,
         .count = offsetof(vok_op, opcount),
         .label = "Op",
         .style = "enum",
         .enumvals = vok::op::menu.data()},
    };
    _vok_op_class = vok::add_class({"vok_op", vok::fn<vok_op_new>, vok::fn<vok_op_free>, sizeof(vok_op)}, messages,
                                   attributes);
    vok_class_addadornment(_vok_op_class, vok_object_new(_vok_sym_vok_mop, 2L, 1L));
    _vok_op_fn_class = vok::add_class(
        {"vok_op_fn", vok::fn<vok_op_fn_object_new>, vok::fn<vok_op_fn_object_free>, sizeof(vok_op_fn)});
    vok_op_vector_init();
    return VOK_ERR_NONE;
}
