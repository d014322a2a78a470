// What the classes of linear algebra share: their view of a matrix, the order of their
// checks, and the kernels.
#pragma once
#include <cmath>

#include <vokra/commonsyms.h>
#include <vokra/la.h>
#include <vokra/mop.h>

#include "calc/vok.la.kernels.h"
#include "kernel/class_table.h"
#include "matrix/matrix_lock.h"

namespace vok::la {

const kernel_table &kernels();

// INVI or INVO, MSTP, MSPL, in this order; null where a class has fewer matrices.
vok_err check(const matrix_lock *in1, const matrix_lock *in2, const matrix_lock *out);

// A matrix of elements, each of one or two T.
template <typename T, int planes> struct view {
    unsigned char *data;
    long rows, columns;
    long row_step, column_step; // bytes
    view(const vok_matrix_info *info, void *p)
        : data(static_cast<unsigned char *>(p)), rows(info->dim[1]), columns(info->dim[0]),
          row_step(info->dimstride[1]), column_step(info->dimstride[0])
    {
    }
    T *at(long row, long column) const
    {
        return reinterpret_cast<T *>(data + row * row_step + column * column_step);
    }
    vok_op_vector_arg row(long r) const { return {at(r, 0), column_step / static_cast<long>(planes * sizeof(T))}; }
};

// Whether an element counts as other than zero.
template <int planes, typename T> bool usable(const T *p, double thresh)
{
    for (int i = 0; i < planes; i++)
        if (!(std::fabs(static_cast<double>(p[i])) < thresh))
            return true;
    return false;
}

// The first row from r down whose element in column c is usable; -1: none.
template <typename T, int planes> long find_pivot(const view<T, planes> &m, long r, long c, double thresh)
{
    for (; r < m.rows; r++)
        if (usable<planes>(m.at(r, c), thresh))
            return r;
    return -1;
}

// Calls f.operator()<T>() with the element type of an info that passed the checks.
template <typename F> auto by_type(const vok_matrix_info *info, F f)
{
    return info->type == _vok_sym_float32 ? f.template operator()<float>() : f.template operator()<double>();
}

template <typename T, int planes> const vector_kernels &vectors()
{
    return kernels().vectors[sizeof(T) == 8][planes - 1];
}

template <typename T, int planes> void exchange_rows(const view<T, planes> &m, long a, long b)
{
    vok_op_vector_arg x = m.row(a), y = m.row(b);
    vectors<T, planes>().swap(m.columns, &x, &y);
}
// row *= alpha
template <typename T, int planes> void scale_row(const view<T, planes> &m, long r, const double *alpha)
{
    vok_op_vector_arg x = m.row(r);
    vectors<T, planes>().ax(m.columns, alpha, &x, &x);
}
// row `to` += alpha * row `from`
template <typename T, int planes> void add_row(const view<T, planes> &m, long to, const double *alpha, long from)
{
    vok_op_vector_arg x = m.row(from), y = m.row(to);
    vectors<T, planes>().axpy(m.columns, alpha, &x, &y, &y);
}

// A record of a mop takes both types and at most two planes.
void allow_floats(vok_mop_io *io);

// The attributes that several classes have.
constexpr attribute thresh(long offset)
{
    return {.name = "thresh", .type = "float64", .flags = low, .offset = offset, .label = "Thresh"};
}
constexpr attribute result(long offset, long count)
{
    return {.name = "result",
            .type = "float64",
            .flags = vok_attrflag_get_opaque_user | vok_attrflag_set_opaque_user,
            .offset = offset,
            .size = 2,
            .count = count};
}

} // namespace vok::la
