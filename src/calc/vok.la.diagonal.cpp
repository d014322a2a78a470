// vok_la_diagproduct and vok_la_trace: the product and the sum of a diagonal, in the
// attribute "result".
#include "calc/vok.la.h"

namespace {

using namespace vok::la;

zan_class *diagproduct_class, *trace_class;

// Goes down the diagonal, dim[1] cells, in double. Beyond the last column of a tall matrix
// the strides lead on into later rows or their padding, deliberately, as long as that is
// the matrix's own.
template <int planes> void walk(const vok_matrix_info *info, void *data, auto step)
{
    by_type(info, [&]<typename T>() {
        const view<T, planes> m(info, data);
        const long step_bytes = m.row_step + m.column_step, last = m.rows * m.row_step - planes * long{sizeof(T)};
        for (long i = 0; i < m.rows && (i < m.columns || i * step_bytes <= last); i++) {
            const T *p = m.at(i, i);
            if constexpr (planes == 1)
                step(static_cast<double>(p[0]), 0.0);
            else
                step(static_cast<double>(p[0]), static_cast<double>(p[1]));
        }
    });
}

template <int planes> void product(double *result, const vok_matrix_info *info, void *data)
{
    walk<planes>(info, data, [=](double re, double im) {
        const double old = result[0];
        if constexpr (planes == 1)
            result[0] = old * re;
        else {
            result[0] = old * re - result[1] * im;
            result[1] = old * im + result[1] * re;
        }
    });
}

template <int planes> void sum(double *result, const vok_matrix_info *info, void *data)
{
    walk<planes>(info, data, [=](double re, double im) {
        result[0] += re;
        result[1] += im;
    });
}

template <typename Record>
vok_err calc(Record *x, void *inputs, bool square, double start, void (*real)(Record *, vok_matrix_info *, void *),
             void (*complex)(Record *, vok_matrix_info *, void *))
{
    void *matrix = vok::ask<void>(inputs, _vok_sym_getindex, 0);
    if (!x || !matrix)
        return VOK_ERR_INVP;
    vok::matrix_lock in(matrix);
    if (const vok_err error = check(&in, nullptr, nullptr))
        return error;
    if (square && in.info.dim[0] != in.info.dim[1])
        return VOK_ERR_MSDM;
    x->resultcount = in.info.planecount;
    x->result[0] = start;
    x->result[1] = 0;
    (in.info.planecount == 1 ? real : complex)(x, &in.info, in.data);
    return VOK_ERR_NONE;
}

template <typename Record>
zan_class *add(const char *name, vok::function make, vok::function free, vok::function calc_fn)
{
    const vok::message messages[] = {{"matrix_calc", calc_fn, {argtype_cant}}};
    constexpr vok::attribute attributes[] = {result(offsetof(Record, result), offsetof(Record, resultcount))};
    zan_class *c = vok::add_class({name, make, free, sizeof(Record)}, messages, attributes);
    vok_class_addadornment(c, vok_object_new(_vok_sym_vok_mop, 1L, 0L));
    return c;
}

} // namespace

void vok_la_diagproduct_calculate_2d_real(vok_la_diagproduct *x, vok_matrix_info *info, void *data)
{
    product<1>(x->result, info, data);
}
void vok_la_diagproduct_calculate_2d_complex(vok_la_diagproduct *x, vok_matrix_info *info, void *data)
{
    product<2>(x->result, info, data);
}
void vok_la_trace_calculate_2d_real(vok_la_trace *x, vok_matrix_info *info, void *data)
{
    sum<1>(x->result, info, data);
}
void vok_la_trace_calculate_2d_complex(vok_la_trace *x, vok_matrix_info *info, void *data)
{
    sum<2>(x->result, info, data);
}

vok_err vok_la_diagproduct_matrix_calc(vok_la_diagproduct *x, void *inputs)
{
    return calc(x, inputs, false, 1, vok_la_diagproduct_calculate_2d_real,
                vok_la_diagproduct_calculate_2d_complex);
}
vok_err vok_la_trace_matrix_calc(vok_la_trace *x, void *inputs)
{
    return calc(x, inputs, true, 0, vok_la_trace_calculate_2d_real, vok_la_trace_calculate_2d_complex);
}

vok_la_diagproduct *vok_la_diagproduct_new(void)
{
    return static_cast<vok_la_diagproduct *>(vok_object_alloc(diagproduct_class));
}
vok_la_trace *vok_la_trace_new(void)
{
    return static_cast<vok_la_trace *>(vok_object_alloc(trace_class));
}
void vok_la_diagproduct_free(vok_la_diagproduct *) {}
void vok_la_trace_free(vok_la_trace *) {}

vok_err vok_la_diagproduct_init(void)
{
    diagproduct_class =
        add<vok_la_diagproduct>("vok_la_diagproduct", vok::fn<vok_la_diagproduct_new>,
                                vok::fn<vok_la_diagproduct_free>, vok::fn<vok_la_diagproduct_matrix_calc>);
    return VOK_ERR_NONE;
}
vok_err vok_la_trace_init(void)
{
    trace_class = add<vok_la_trace>("vok_la_trace", vok::fn<vok_la_trace_new>, vok::fn<vok_la_trace_free>,
                                    vok::fn<vok_la_trace_matrix_calc>);
    return VOK_ERR_NONE;
}
