// vok_la_inverse: the inverse of a square matrix by Gauss-Jordan elimination. The first
// usable element of a column is its pivot; the largest isn't sought, deliberately, and
// elements below the threshold stay where they are.
#include <memory>

#include "calc/vok.la.h"

namespace {

using namespace vok::la;

zan_class *inverse_class;

// -1 times an element, in double.
template <int planes, typename T> void negated(const T *p, double *alpha)
{
    for (int i = 0; i < planes; i++)
        alpha[i] = -static_cast<double>(p[i]);
}

template <int planes, typename T> void reciprocal(const T *p, double *alpha)
{
    const double re = p[0];
    if constexpr (planes == 1)
        alpha[0] = 1.0 / re;
    else {
        const double im = p[1], d = re * re + im * im;
        alpha[0] = re / d;
        alpha[1] = -im / d;
    }
}

// Eliminates column c of row r by row c, whose element there is 1, in both matrices.
template <typename T, int planes>
void eliminate(const view<T, planes> &work, const view<T, planes> &out, long r, long c, double thresh)
{
    const T *m = work.at(r, c);
    if (!usable<planes>(m, thresh))
        return;
    double alpha[2];
    negated<planes>(m, alpha);
    add_row(work, r, alpha, c);
    add_row(out, r, alpha, c);
}

template <typename T, int planes>
long forward(const view<T, planes> &work, const view<T, planes> &out, double thresh)
{
    for (long i = 0; i < work.rows; i++) {
        const long pivot = find_pivot(work, i, i, thresh);
        if (pivot < 0)
            return -1;
        if (pivot != i) {
            exchange_rows(work, i, pivot);
            exchange_rows(out, i, pivot);
        }
        double alpha[2];
        reciprocal<planes>(work.at(i, i), alpha);
        scale_row(work, i, alpha);
        scale_row(out, i, alpha);
        for (long r = i + 1; r < work.rows; r++)
            eliminate(work, out, r, i, thresh);
    }
    return 0;
}

template <typename T, int planes>
long backward(const view<T, planes> &work, const view<T, planes> &out, double thresh)
{
    for (long c = work.rows - 1; c > 0; c--)
        for (long r = c - 1; r >= 0; r--)
            eliminate(work, out, r, c, thresh);
    return 0;
}

template <int planes>
long normupper(double thresh, vok_matrix_info *work_info, void *work, vok_matrix_info *out_info, void *out)
{
    return by_type(work_info, [&]<typename T>() {
        return forward<T, planes>({work_info, work}, {out_info, out}, thresh);
    });
}
template <int planes>
long backsub(double thresh, vok_matrix_info *work_info, void *work, vok_matrix_info *out_info, void *out)
{
    return by_type(work_info, [&]<typename T>() {
        return backward<T, planes>({work_info, work}, {out_info, out}, thresh);
    });
}

} // namespace

long vok_la_inverse_calculate_normupper_2d_real(vok_la_inverse *x, vok_matrix_info *work_info, void *work,
                                                vok_matrix_info *out_info, void *out)
{
    return normupper<1>(x->thresh, work_info, work, out_info, out);
}
long vok_la_inverse_calculate_normupper_2d_complex(vok_la_inverse *x, vok_matrix_info *work_info, void *work,
                                                   vok_matrix_info *out_info, void *out)
{
    return normupper<2>(x->thresh, work_info, work, out_info, out);
}
long vok_la_inverse_calculate_backsub_2d_real(vok_la_inverse *x, vok_matrix_info *work_info, void *work,
                                              vok_matrix_info *out_info, void *out)
{
    return backsub<1>(x->thresh, work_info, work, out_info, out);
}
long vok_la_inverse_calculate_backsub_2d_complex(vok_la_inverse *x, vok_matrix_info *work_info, void *work,
                                                 vok_matrix_info *out_info, void *out)
{
    return backsub<2>(x->thresh, work_info, work, out_info, out);
}

void vok_la_inverse_ident(vok_matrix_info *info, void *data)
{
    by_type(info, [&]<typename T>() {
        const view<T, 1> m(info, data);
        for (long i = 0; i < m.rows; i++)
            *m.at(i, i) = 1;
    });
}

vok_err vok_la_inverse_matrix_calc(vok_la_inverse *x, void *inputs, void *outputs)
{
    void *in_matrix = vok::ask<void>(inputs, _vok_sym_getindex, 0);
    void *out_matrix = vok::ask<void>(outputs, _vok_sym_getindex, 0);
    if (!x || !in_matrix || !out_matrix)
        return VOK_ERR_INVP;
    vok::matrix_lock in(in_matrix), out(out_matrix);
    if (const vok_err error = check(&in, nullptr, &out))
        return error;
    if (in.info.dim[0] != in.info.dim[1] || out.info.dim[0] != in.info.dim[0] || out.info.dim[1] != in.info.dim[1])
        return VOK_ERR_MSDM;
    const std::unique_ptr<void, decltype([](void *m) { vok_object_free(m); })> work_matrix(
        vok_object_new(_vok_sym_vok_matrix, &in.info));
    if (!work_matrix)
        return VOK_ERR_OMEM;
    const bool real = in.info.planecount == 1;
    vok::matrix_lock work(work_matrix.get());
    if (!work.data)
        return VOK_ERR_OMEM;
    vok::send(work_matrix.get(), _vok_sym_frommatrix, in_matrix, nullptr);
    vok::send(out_matrix, _vok_sym_clear);
    vok_la_inverse_ident(&out.info, out.data);
    const auto pass = [&](auto on_real, auto on_complex) {
        return (real ? on_real : on_complex)(x, &work.info, work.data, &out.info, out.data);
    };
    if (pass(vok_la_inverse_calculate_normupper_2d_real, vok_la_inverse_calculate_normupper_2d_complex)) {
        vok::send(out_matrix, _vok_sym_clear);
        return VOK_ERR_EROR;
    }
    pass(vok_la_inverse_calculate_backsub_2d_real, vok_la_inverse_calculate_backsub_2d_complex);
    return VOK_ERR_NONE;
}

vok_la_inverse *vok_la_inverse_new(void)
{
    auto *x = static_cast<vok_la_inverse *>(vok_object_alloc(inverse_class));
    if (x)
        x->thresh = 1e-9;
    return x;
}

void vok_la_inverse_free(vok_la_inverse *) {}

vok_err vok_la_inverse_init(void)
{
    constexpr vok::message messages[] = {{"matrix_calc", vok::fn<vok_la_inverse_matrix_calc>, {argtype_cant}}};
    constexpr vok::attribute attributes[] = {thresh(offsetof(vok_la_inverse, thresh))};
    inverse_class = vok::add_class(
        {"vok_la_inverse", vok::fn<vok_la_inverse_new>, vok::fn<vok_la_inverse_free>, sizeof(vok_la_inverse)},
        messages, attributes);
    auto *mop = static_cast<vok_mop *>(vok_object_new(_vok_sym_vok_mop, 1L, 1L));
    allow_floats(static_cast<vok_mop_io *>(vok_mop_getoutput(mop, 1)));
    vok_class_addadornment(inverse_class, mop);
    return VOK_ERR_NONE;
}
