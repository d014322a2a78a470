// vok_op: applies a named operator to every cell of two matrices, with one operator
// per plane if asked. The cells are walked by rows here; what happens to them is the
// business of the vector functions in the registry.
#include <zan/symbols.h>

#include <vokra/commonsyms.h>
#include <vokra/parallel_ndim.h>

#include "calc/vok.op.h"
#include "kernel/class_table.h"
#include "kernel/message.h"

zan_class *_vok_op_class;

namespace
{

// ---- the walk ----

// Bytes of an element, 0 for a type that isn't calculated.
long element_size(symbol *type)
{
    if (type == _vok_sym_char)
        return 1;
    if (type == _vok_sym_long || type == _vok_sym_float32)
        return 4;
    return type == _vok_sym_float64 ? 8 : 0;
}

// One operand: where its rows and planes lie.
struct operand {
    const vok_matrix_info *info;
    long stride; // elements from one element of a plane to the next in a row
    long planes;

    operand(const vok_matrix_info *matrix)
        : info(matrix), stride(matrix->dim[0] < 2 ? 0 : matrix->planecount),
          planes(matrix->planecount < 1 ? 1 : matrix->planecount)
    {
    }
};

// A calculation over rows: worked out once, walked by recursion on the dimensions.
class walk
{
  public:
    walk(vok_op_vector_fn *fns, long dimcount, const long *dim, long planecount, const vok_matrix_info *info1,
         const vok_matrix_info *info2, const vok_matrix_info *info3)
        : fns_(fns), dim_(dim), dims_(dimcount), planes_(planecount), n_(dim[0]),
          size_(element_size(info1->type)), operands_{info1, info2, info3}
    {
        const operand *o = operands_;
        bool merged =
            o[0].info->planecount == o[1].info->planecount && o[0].info->planecount == o[2].info->planecount;
        for (const operand &each : operands_)
            merged = merged && each.info->dim[0] >= 2;
        for (long p = 1; merged && p < planecount; p++)
            merged = fns[p] == fns[0];
        if (merged)
            merge();
    }

    bool empty() const { return !size_ || n_ < 1 || planes_ < 1; }

    void run(unsigned char *data1, unsigned char *data2, unsigned char *data3)
    {
        unsigned char *const data[3] = {data1, data2, data3};
        if (dims_ < 2)
            row(data);
        else
            descend(dims_ - 1, data);
    }

  private:
    // One operator on all planes of interleaved cells is one run of elements a row; rows and slices
    // that follow each other without padding in all three matrices are one run together.
    void merge()
    {
        n_ *= planes_;
        planes_ = 1;
        for (operand &each : operands_)
            each.stride = each.planes = 1;
        packed_ = 1;
        while (packed_ < dims_ && follows(packed_))
            n_ *= dim_[packed_++];
    }

    bool follows(long d) const
    {
        if (dim_[d] < 1)
            return false;
        if (dim_[d] == 1)
            return true;
        for (const operand &each : operands_)
            if (each.info->dimstride[d] != n_ * size_)
                return false;
        return true;
    }

    void descend(long d, unsigned char *const *data)
    {
        if (d < packed_) {
            row(data);
            return;
        }
        unsigned char *slice[3] = {data[0], data[1], data[2]};
        for (long i = 0; i < dim_[d]; i++) {
            if (d == packed_)
                row(slice);
            else
                descend(d - 1, slice);
            for (int o = 0; o < 3; o++)
                slice[o] += operands_[o].info->dimstride[d];
        }
    }

    void row(unsigned char *const *data)
    {
        vok_op_vector_arg args[3];
        for (int o = 0; o < 3; o++)
            args[o] = {data[o], operands_[o].stride};
        if (planes_ == 1) {
            fns_[0](n_, fns_, &args[0], &args[1], &args[2]);
            return;
        }
        for (long p = 0; p < planes_; p++) {
            for (int o = 0; o < 3; o++)
                args[o].p = data[o] + p % operands_[o].planes * size_;
            fns_[p](n_, fns_, &args[0], &args[1], &args[2]);
        }
    }

    vok_op_vector_fn *fns_;
    const long *dim_;
    long dims_;
    long planes_;     // calls a row
    long n_;          // elements a call
    long size_;       // bytes of an element
    long packed_ = 1; // dimensions that one call covers
    operand operands_[3];
};

// ---- the calculation ----

// The three matrices of a calculation, locked as long as this lives and restored in
// reverse order.
class matrices
{
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

void vok_op_calculate_ndim(vok_op_vector_fn *fns, long dimcount, long *dim, long planecount,
                           vok_matrix_info *info1, unsigned char *data1, vok_matrix_info *info2,
                           unsigned char *data2, vok_matrix_info *info3, unsigned char *data3)
{
    if (dimcount < 1)
        return;
    if (dimcount == 1)
        dim[1] = 1;
    walk rows(fns, dimcount, dim, planecount, info1, info2, info3);
    if (!rows.empty())
        rows.run(data1, data2, data3);
}

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
