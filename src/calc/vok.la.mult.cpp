// vok_la_mult: the product of two matrices. Both factors are packed as doubles first, A
// by strips of rows and B by panels of columns, so that the sums of a tile stay in
// registers; and since all is read before anything is written, the product may replace
// a factor.
#include <algorithm>

#include <vokra/memory.h>
#include <zan/attributes.h>

#include "calc/vok.la.h"

namespace {

using namespace vok::la;

zan_class *mult_class;

// Doubles from the library's memory, given back at the end.
class buffer {
  public:
    explicit buffer(long count) : size_(std::max(count, 1L) * static_cast<long>(sizeof(double)))
    {
        p = static_cast<double *>(vok_getbytes(size_));
    }
    ~buffer()
    {
        if (p)
            vok_freebytes(p, size_);
    }
    buffer(const buffer &) = delete;
    buffer &operator=(const buffer &) = delete;
    double *p;

  private:
    long size_;
};

template <typename T, int planes>
vok_err multiply(const view<T, planes> &a, const view<T, planes> &b, const view<T, planes> &c)
{
    const kernel_table &k = kernels();
    const long n = a.columns;
    const long strips = (c.rows + tile_rows - 1) / tile_rows, panels = (c.columns + k.panel - 1) / k.panel;
    const buffer packed_a(strips * tile_rows * n * planes), packed_b(panels * k.panel * n * planes);
    if (!packed_a.p || !packed_b.p)
        return VOK_ERR_OMEM;
    double *to = packed_a.p;
    for (long strip = 0; strip < strips; strip++)
        for (long i = 0; i < n; i++)
            for (long row = strip * tile_rows; row < (strip + 1) * tile_rows; row++)
                for (int p = 0; p < planes; p++)
                    *to++ = row < c.rows ? static_cast<double>(a.at(row, i)[p]) : 0;
    to = packed_b.p;
    for (long panel = 0; panel < panels; panel++)
        for (long i = 0; i < n; i++)
            for (int p = 0; p < planes; p++)
                for (long column = panel * k.panel; column < (panel + 1) * k.panel; column++)
                    *to++ = column < c.columns ? static_cast<double>(b.at(i, column)[p]) : 0;
    for (long panel = 0; panel < panels; panel++)
        for (long strip = 0; strip < strips; strip++) {
            double tile[tile_rows * max_panel * planes];
            (planes == 1 ? k.tile_real : k.tile_complex)(n, packed_a.p + strip * tile_rows * n * planes,
                                                         packed_b.p + panel * k.panel * n * planes, tile);
            const long first_row = strip * tile_rows, first_column = panel * k.panel;
            for (long r = 0; r < std::min(tile_rows, c.rows - first_row); r++)
                for (long i = 0; i < std::min(k.panel, c.columns - first_column); i++)
                    for (int p = 0; p < planes; p++)
                        c.at(first_row + r, first_column + i)[p] =
                            static_cast<T>(tile[(r * planes + p) * k.panel + i]);
        }
    return VOK_ERR_NONE;
}

template <int planes>
vok_err calculate(vok_matrix_info *a_info, void *a, vok_matrix_info *b_info, void *b, vok_matrix_info *c_info,
                  void *c)
{
    return by_type(a_info, [&]<typename T>() {
        return multiply<T, planes>({a_info, a}, {b_info, b}, {c_info, c});
    });
}

// Gives the output the shape of the product, where there is one.
void resize(void *in1, void *in2, void *out)
{
    vok_matrix_info a = {}, b = {}, c = {};
    vok::send(in1, _vok_sym_getinfo, &a);
    vok::send(in2, _vok_sym_getinfo, &b);
    vok::send(out, _vok_sym_getinfo, &c);
    if (a.dim[0] != b.dim[1] || (c.dim[0] == b.dim[0] && c.dim[1] == a.dim[1]))
        return;
    c.dim[0] = b.dim[0];
    c.dim[1] = a.dim[1];
    c.dimcount = std::max(c.dimcount, 2L);
    vok::send(out, _vok_sym_setinfo, &c);
}

} // namespace

vok_err vok_la_mult_calculate_2d_real(vok_la_mult *, vok_matrix_info *a_info, void *a, vok_matrix_info *b_info,
                                      void *b, vok_matrix_info *c_info, void *c)
{
    return calculate<1>(a_info, a, b_info, b, c_info, c);
}

vok_err vok_la_mult_calculate_2d_complex(vok_la_mult *, vok_matrix_info *a_info, void *a, vok_matrix_info *b_info,
                                         void *b, vok_matrix_info *c_info, void *c)
{
    return calculate<2>(a_info, a, b_info, b, c_info, c);
}

vok_err vok_la_mult_matrix_calc(vok_la_mult *x, void *inputs, void *outputs)
{
    void *in1 = vok::ask<void>(inputs, _vok_sym_getindex, 0), *in2 = vok::ask<void>(inputs, _vok_sym_getindex, 1);
    void *out = vok::ask<void>(outputs, _vok_sym_getindex, 0);
    if (!x || !in1 || !in2 || !out)
        return VOK_ERR_INVP;
    resize(in1, in2, out);
    vok::matrix_lock a(in1), b(in2), c(out);
    if (const vok_err error = check(&a, &b, &c))
        return error;
    if (a.info.dim[0] != b.info.dim[1] || a.info.dim[1] != c.info.dim[1] || b.info.dim[0] != c.info.dim[0])
        return VOK_ERR_MSDM;
    return (a.info.planecount == 1 ? vok_la_mult_calculate_2d_real : vok_la_mult_calculate_2d_complex)(
        x, &a.info, a.data, &b.info, b.data, &c.info, c.data);
}

vok_la_mult *vok_la_mult_new(void)
{
    return static_cast<vok_la_mult *>(vok_object_alloc(mult_class));
}

void vok_la_mult_free(vok_la_mult *) {}

vok_err vok_la_mult_init(void)
{
    constexpr vok::message messages[] = {{"matrix_calc", vok::fn<vok_la_mult_matrix_calc>, {argtype_cant}}};
    mult_class = vok::add_class(
        {"vok_la_mult", vok::fn<vok_la_mult_new>, vok::fn<vok_la_mult_free>, sizeof(vok_la_mult)}, messages);
    auto *mop = static_cast<vok_mop *>(vok_object_new(_vok_sym_vok_mop, 2L, 1L));
    auto *in2 = static_cast<vok_mop_io *>(vok_mop_getinput(mop, 2));
    auto *out = static_cast<vok_mop_io *>(vok_mop_getoutput(mop, 1));
    vok_mop_io_ioproc(in2, vok_mop_ioproc_copy_adapt);
    for (vok_mop_io *io : {in2, out}) {
        allow_floats(io);
        object_attr_setlong(io, _vok_sym_dimlink, 0);
    }
    vok_class_addadornment(mult_class, mop);
    return VOK_ERR_NONE;
}
