// What the classes of linear algebra share, and the vector primitives.
#include <zan/attributes.h>
#include <zan/symbols.h>

#include "calc/vok.la.h"
#include "kernel/isa.h"

namespace vok::la {

namespace plain {
extern const kernel_table table;
}
VOKRA_PER_ISA(kernel_table, table)

const kernel_table &kernels()
{
    const kernel_table *fast = table_in_use();
    return fast ? *fast : plain::table;
}

vok_err check(const matrix_lock *in1, const matrix_lock *in2, const matrix_lock *out)
{
    if (!in1->data || (in2 && !in2->data))
        return VOK_ERR_INVI;
    if (out && !out->data)
        return VOK_ERR_INVO;
    const vok_matrix_info &info = in1->info;
    if (info.type != _vok_sym_float32 && info.type != _vok_sym_float64)
        return VOK_ERR_MSTP;
    for (const matrix_lock *m : {in2, out})
        if (m && m->info.type != info.type)
            return VOK_ERR_MSTP;
    if (info.planecount != 1 && info.planecount != 2)
        return VOK_ERR_MSPL;
    for (const matrix_lock *m : {in2, out})
        if (m && m->info.planecount != info.planecount)
            return VOK_ERR_MSPL;
    return VOK_ERR_NONE;
}

void allow_floats(vok_mop_io *io)
{
    symbol *types[] = {_vok_sym_float32, _vok_sym_float64};
    object_attr_setsym_array(io, _vok_sym_types, 2, types);
    object_attr_setlong(io, _vok_sym_maxplanecount, 2);
}

namespace {

template <typename T, int planes>
void dotprod(long n, double *result, const vok_op_vector_arg *x, const vok_op_vector_arg *y)
{
    const T *a = static_cast<const T *>(x->p), *b = static_cast<const T *>(y->p);
    double sum[2] = {};
    for (long i = 0; i < n; i++, a += x->stride * planes, b += y->stride * planes) {
        const double re = a[0], other_re = b[0];
        if constexpr (planes == 1)
            sum[0] += re * other_re;
        else {
            const double im = a[1], other_im = b[1];
            sum[0] += re * other_re - im * other_im;
            sum[1] += re * other_im + im * other_re;
        }
    }
    for (int p = 0; p < planes; p++)
        result[p] = sum[p];
}

} // namespace
} // namespace vok::la

#define VOKRA_LA_VECTOR(form, T, planes)                                                                          \
    void vok_op_vector_swap_##form(long n, void *, vok_op_vector_arg *a, vok_op_vector_arg *b)                    \
    {                                                                                                             \
        vok::la::vectors<T, planes>().swap(n, a, b);                                                              \
    }                                                                                                             \
    void vok_op_vector_ax_##form(long n, const double *alpha, vok_op_vector_arg *x, void *,                       \
                                 vok_op_vector_arg *out)                                                          \
    {                                                                                                             \
        vok::la::vectors<T, planes>().ax(n, alpha, x, out);                                                       \
    }                                                                                                             \
    void vok_op_vector_axpy_##form(long n, const double *alpha, vok_op_vector_arg *x, vok_op_vector_arg *y,       \
                                   vok_op_vector_arg *out)                                                        \
    {                                                                                                             \
        vok::la::vectors<T, planes>().axpy(n, alpha, x, y, out);                                                  \
    }                                                                                                             \
    void vok_op_vector_dotprod_##form(long n, double *result, vok_op_vector_arg *x, vok_op_vector_arg *y)         \
    {                                                                                                             \
        vok::la::dotprod<T, planes>(n, result, x, y);                                                             \
    }
VOKRA_LA_VECTOR(float32, float, 1)
VOKRA_LA_VECTOR(float64, double, 1)
VOKRA_LA_VECTOR(float32_complex, float, 2)
VOKRA_LA_VECTOR(float64_complex, double, 2)
