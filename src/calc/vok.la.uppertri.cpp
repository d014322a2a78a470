// vok_la_uppertri: brings a matrix into upper triangular form by exchanging rows and
// subtracting them from others. A column without a usable element is passed over.

#include "calc/vok.la.h"

namespace {

using namespace vok::la;

zan_class *uppertri_class;

// m * (-1 / p), in double
template <int planes, typename T> void factor(const T *m, const T *p, double *alpha)
{
    const double re = p[0], m_re = m[0];
    if constexpr (planes == 1)
        alpha[0] = m_re * (-1.0 / re);
    else {
        const double im = p[1], m_im = m[1], d = re * re + im * im;
        const double f_re = -re / d, f_im = im / d;
        alpha[0] = m_re * f_re - m_im * f_im;
        alpha[1] = m_re * f_im + m_im * f_re;
    }
}

template <typename T, int planes> void reduce(vok_la_uppertri *x, const view<T, planes> &m)
{
    for (long i = 0; i < m.rows && i < m.columns; i++) {
        const long pivot = find_pivot(m, i, i, x->thresh);
        if (pivot < 0)
            continue;
        if (pivot != i) {
            exchange_rows(m, i, pivot);
            x->swapcount++;
        }
        for (long r = i + 1; r < m.rows; r++) {
            if (!usable<planes>(m.at(r, i), x->thresh))
                continue;
            double alpha[2];
            factor<planes>(m.at(r, i), m.at(i, i), alpha);
            add_row(m, r, alpha, i);
        }
    }
}

} // namespace

void vok_la_uppertri_calculate_2d_real(vok_la_uppertri *x, vok_matrix_info *info, void *data)
{
    by_type(info, [&]<typename T>() { reduce<T, 1>(x, {info, data}); });
}

void vok_la_uppertri_calculate_2d_complex(vok_la_uppertri *x, vok_matrix_info *info, void *data)
{
    by_type(info, [&]<typename T>() { reduce<T, 2>(x, {info, data}); });
}

vok_err vok_la_uppertri_matrix_calc(vok_la_uppertri *x, void *inputs, void *outputs)
{
    void *in_matrix = vok::ask<void>(inputs, _vok_sym_getindex, 0);
    void *out_matrix = vok::ask<void>(outputs, _vok_sym_getindex, 0);
    if (!x || !in_matrix || !out_matrix)
        return VOK_ERR_INVP;
    vok::matrix_lock in(in_matrix), out(out_matrix);
    if (const vok_err error = check(&in, nullptr, &out))
        return error;
    if (out.info.dim[0] != in.info.dim[0] || out.info.dim[1] != in.info.dim[1])
        return VOK_ERR_MSDM;
    x->swapcount = 0;
    vok::send(out_matrix, _vok_sym_frommatrix, in_matrix, nullptr);
    (in.info.planecount == 1 ? vok_la_uppertri_calculate_2d_real
                             : vok_la_uppertri_calculate_2d_complex)(x, &out.info, out.data);
    return VOK_ERR_NONE;
}

vok_la_uppertri *vok_la_uppertri_new(void)
{
    auto *x = static_cast<vok_la_uppertri *>(vok_object_alloc(uppertri_class));
    if (x)
        x->thresh = 1e-9;
    return x;
}

void vok_la_uppertri_free(vok_la_uppertri *) {}

vok_err vok_la_uppertri_init(void)
{
    constexpr vok::message messages[] = {{"matrix_calc", vok::fn<vok_la_uppertri_matrix_calc>, {argtype_cant}}};
    constexpr vok::attribute attributes[] = {
        thresh(offsetof(vok_la_uppertri, thresh)),
        {.name = "swapcount",
         .type = "long",
         .flags = vok::low_readonly,
         .offset = offsetof(vok_la_uppertri, swapcount),
         .label = "Swapcount"},
    };
    uppertri_class = vok::add_class(
        {"vok_la_uppertri", vok::fn<vok_la_uppertri_new>, vok::fn<vok_la_uppertri_free>, sizeof(vok_la_uppertri)},
        messages, attributes);
    auto *mop = static_cast<vok_mop *>(vok_object_new(_vok_sym_vok_mop, 1L, 1L));
    allow_floats(static_cast<vok_mop_io *>(vok_mop_getoutput(mop, 1)));
    vok_class_addadornment(uppertri_class, mop);
    return VOK_ERR_NONE;
}
