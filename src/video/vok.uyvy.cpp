// The pixel formats: twelve matrix operators of one pattern, told apart by a row of a
// table. What happens to a row of a picture is in vok.uyvy.kernels.cpp.
#include <algorithm>

#include <vokra/commonsyms.h>
#include <vokra/mop.h>
#include <vokra/parallel_ndim.h>
#include <vokra/pixel_formats.h>
#include <zan/attributes.h>
#include <zan/symbols.h>

#include "kernel/class_table.h"
#include "kernel/isa.h"
#include "kernel/message.h"
#include "matrix/matrix_lock.h"
#include "video/vok.uyvy.h"

namespace vok::pixels {
namespace plain {
extern const row_table table;
}
VOKRA_PER_ISA(row_table, table)
} // namespace vok::pixels

namespace {

using namespace vok::pixels;

const row_table &rows()
{
    const row_table *fast = table_in_use();
    return fast ? *fast : plain::table;
}

enum class width { same, half, twice };

struct format {
    const char *name;
    long in_planes;
    bool three_planes_too; // on the input
    long out_planes;
    width out_width;
    long single_planecount; // of the adornment, 0: none
    long min_out, max_out;  // planes that the adornment allows the output, 0: it tells nothing
    bool out_planelink;
};

// The two that make luma ask for one plane on their input, too, and the two that
// exchange bytes make twice the width that they fill: both deliberate.
constexpr format formats[] = {
    {"vok_uyvy2argb", 4, false, 4, width::twice, 0, 3, 4, true},
    {"vok_argb2uyvy", 4, true, 4, width::half, 4, 0, 0, true},
    {"vok_uyvy2ayuv", 4, false, 4, width::twice, 0, 3, 4, true},
    {"vok_ayuv2uyvy", 4, true, 4, width::half, 4, 0, 0, true},
    {"vok_argb2ayuv", 4, false, 4, width::same, 4, 0, 0, true},
    {"vok_ayuv2argb", 4, false, 4, width::same, 4, 0, 0, true},
    {"vok_uyvy2luma", 4, false, 1, width::twice, 1, 0, 0, false},
    {"vok_luma2uyvy", 1, false, 4, width::half, 0, 4, 4, false},
    {"vok_ayuv2luma", 4, false, 1, width::same, 1, 0, 0, false},
    {"vok_luma2ayuv", 1, false, 4, width::same, 0, 4, 4, false},
    {"vok_uyvy2yuy2", 4, false, 4, width::twice, 4, 0, 0, true},
    {"vok_yuy22yuvy", 4, false, 4, width::twice, 4, 0, 0, true},
};

enum format_index {
#define VOKRA_FORMAT_INDEX(name, record) at_##name,
    VOKRA_PIXEL_FORMATS(VOKRA_FORMAT_INDEX)
#undef VOKRA_FORMAT_INDEX
        format_count
};
zan_class *classes[format_count];

long noalpha(const vok_pixel_format *)
{
    return 0;
}
long noalpha(const vok_pixel_format_noalpha *x)
{
    return x->noalpha;
}

vok_err matrix_calc(const format &f, bool alpha, void *x, void *inputs, void *outputs, zan_method calculate)
{
    void *in_matrix = vok::ask<void>(inputs, _vok_sym_getindex, 0);
    void *out_matrix = vok::ask<void>(outputs, _vok_sym_getindex, 0);
    if (!x || !in_matrix || !out_matrix)
        return VOK_ERR_INVP;
    vok::matrix_lock in(in_matrix);
    vok_matrix_info wanted = in.info;
    if (f.out_width != width::same)
        wanted.dim[0] = f.out_width == width::half ? wanted.dim[0] / 2 : wanted.dim[0] * 2;
    wanted.planecount = alpha ? f.out_planes : 3;
    vok::send(out_matrix, _vok_sym_setinfo, &wanted);
    const vok::matrix_lock out(out_matrix);
    in.read(); // a loop of cords can make both of them one matrix, which is resized now
    if (!in.data || !out.data)
        return VOK_ERR_EROR;
    if (in.info.type != _vok_sym_char || out.info.type != in.info.type)
        return VOK_ERR_MSTP;
    if (in.info.planecount != f.in_planes && !(f.three_planes_too && in.info.planecount == 3))
        return VOK_ERR_MSPL;
    // An output that can't be resized holds what it holds.
    if (out.info.planecount != wanted.planecount)
        return VOK_ERR_MSPL;
    long dim[VOK_MATRIX_MAX_DIMCOUNT];
    for (long i = 0; i < in.info.dimcount; i++)
        dim[i] = std::min(in.info.dim[i], out.info.dim[i]);
    if (f.out_width == width::half) // one pixel has no pair in it
        dim[0] = std::min(in.info.dim[0] / 2, out.info.dim[0]);
    else if (f.out_width == width::twice)
        dim[0] = std::min(in.info.dim[0], out.info.dim[0] / 2);
    if (dim[0] < 1)
        return VOK_ERR_NONE;
    vok_matrix_info in_info = in.info, out_info = out.info;
    vok_parallel_ndim_simplecalc2(calculate, x, in_info.dimcount, dim, out_info.planecount, &in_info, in.data,
                                  &out_info, out.data, 0, 0);
    return VOK_ERR_NONE;
}

void calculate_ndim(row_fn row, long dimcount, const long *dim, const vok_matrix_info *in_info,
                    const unsigned char *in, const vok_matrix_info *out_info, unsigned char *out)
{
    if (dimcount < 1)
        return;
    if (dimcount > 2) {
        const long last = dimcount - 1;
        for (long i = 0; i < dim[last]; i++)
            calculate_ndim(row, last, dim, in_info, in + i * in_info->dimstride[last], out_info,
                           out + i * out_info->dimstride[last]);
        return;
    }
    const long height = dimcount == 1 ? 1 : dim[1];
    for (long i = 0; i < height; i++)
        row(dim[0], in + i * in_info->dimstride[1], out + i * out_info->dimstride[1]);
}

// The row for the planes at hand.
row_fn row_of(format_index f, long in_planes, long out_planes)
{
    switch (f) {
    case at_uyvy2argb: return out_planes == 3 ? rows().uyvy2rgb : rows().uyvy2argb;
    case at_uyvy2ayuv: return out_planes == 3 ? rows().uyvy2yuv : rows().uyvy2ayuv;
    case at_argb2uyvy: return in_planes == 3 ? rows().rgb2uyvy : rows().argb2uyvy;
    case at_ayuv2uyvy: return in_planes == 3 ? rows().yuv2uyvy : rows().ayuv2uyvy;
    case at_argb2ayuv: return rows().argb2ayuv;
    case at_ayuv2argb: return rows().ayuv2argb;
    case at_uyvy2luma: return rows().uyvy2luma;
    case at_luma2uyvy: return rows().luma2uyvy;
    case at_ayuv2luma: return rows().ayuv2luma;
    case at_luma2ayuv: return rows().luma2ayuv;
    default: return rows().uyvy2yuy2;
    }
}

void convert(row_fn row, long n, void *in, void *out)
{
    if (n > 0)
        row(n, static_cast<const unsigned char *>(in), static_cast<unsigned char *>(out));
}

void adorn(zan_class *c, const format &f)
{
    auto *mop = static_cast<vok_mop *>(vok_object_new(_vok_sym_vok_mop, 1L, 1L));
    void *output = vok_mop_getoutput(mop, 1);
    vok_mop_single_type(mop, _vok_sym_char);
    if (f.single_planecount)
        vok_mop_single_planecount(mop, f.single_planecount);
    if (f.max_out) {
        object_attr_setlong(output, _vok_sym_minplanecount, f.min_out);
        object_attr_setlong(output, _vok_sym_maxplanecount, f.max_out);
    }
    object_attr_setlong(output, _vok_sym_dimlink, 0);
    if (!f.out_planelink)
        object_attr_setlong(output, _vok_sym_planelink, 0);
    vok_class_addadornment(c, mop);
}

template <typename Record>
vok_err init(format_index at, vok::function make, vok::function free, vok::function calc)
{
    const vok::message messages[] = {{"matrix_calc", calc, {argtype_cant}}};
    classes[at] = vok::add_class({formats[at].name, make, free, sizeof(Record)}, messages);
    if (!classes[at])
        return VOK_ERR_OMEM;
    if constexpr (std::is_same_v<Record, vok_pixel_format_noalpha>) {
        constexpr vok::attribute attributes[] = {{.name = "noalpha",
                                                  .type = "long",
                                                  .flags = vok::low,
                                                  .offset = offsetof(vok_pixel_format_noalpha, noalpha),
                                                  .label = "No Alpha",
                                                  .style = "onoff"}};
        vok::add_attributes(classes[at], attributes);
    }
    adorn(classes[at], formats[at]);
    return VOK_ERR_NONE;
}

} // namespace

#define VOKRA_DEFINE_PIXEL_FORMAT(name, record)                                                                   \
    vok_err vok_##name##_init(void)                                                                               \
    {                                                                                                             \
        return init<record>(at_##name, vok::fn<vok_##name##_new>, vok::fn<vok_##name##_free>,                     \
                            vok::fn<vok_##name##_matrix_calc>);                                                   \
    }                                                                                                             \
    record *vok_##name##_new(void)                                                                                \
    {                                                                                                             \
        return static_cast<record *>(vok_object_alloc(classes[at_##name]));                                       \
    }                                                                                                             \
    void vok_##name##_free(record *) {}                                                                           \
    vok_err vok_##name##_matrix_calc(record *x, void *inputs, void *outputs)                                      \
    {                                                                                                             \
        return matrix_calc(formats[at_##name], !x || !noalpha(x), x, inputs, outputs,                             \
                           vok::method(vok_##name##_calculate_ndim));                                             \
    }                                                                                                             \
    void vok_##name##_calculate_ndim(record *x, long dimcount, long *dim, long planecount,                        \
                                     vok_matrix_info *in_info, void *in_data, vok_matrix_info *out_info,          \
                                     void *out_data)                                                              \
    {                                                                                                             \
        const long out_planes = x && noalpha(x) ? 3 : 4;                                                          \
        calculate_ndim(row_of(at_##name, in_info->planecount, out_planes), dimcount, dim, in_info,                \
                       static_cast<unsigned char *>(in_data), out_info, static_cast<unsigned char *>(out_data));  \
    }
VOKRA_PIXEL_FORMATS(VOKRA_DEFINE_PIXEL_FORMAT)

#define VOKRA_DEFINE_PIXEL_ROW(name)                                                                              \
    void vok_##name##_vector_char(long n, void *in, void *out)                                                    \
    {                                                                                                             \
        convert(rows().name, n, in, out);                                                                         \
    }
VOKRA_PIXEL_ROWS(VOKRA_DEFINE_PIXEL_ROW)
// the exchange of bytes is its own inverse
void vok_yuy22yuvy_vector_char(long n, void *in, void *out)
{
    convert(rows().uyvy2yuy2, n, in, out);
}

vok_err vok_uyvy_init(void)
{
#define VOKRA_INIT_PIXEL_FORMAT(name, record) vok_##name##_init();
    VOKRA_PIXEL_FORMATS(VOKRA_INIT_PIXEL_FORMAT)
#undef VOKRA_INIT_PIXEL_FORMAT
    return VOK_ERR_NONE;
}
