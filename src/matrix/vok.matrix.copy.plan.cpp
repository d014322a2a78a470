// The set-up of a matrix copy: from two infos and a record to the plan that both
// roads carry out. Ranges are clamped here once more, so that no record, wherever it
// comes from, leads outside the matrices.
#include "matrix/copy_plan.h"

#include <algorithm>

#include <vokra/commonsyms.h>

namespace vok::copy {
namespace {

// Above this many cells along a dimension 16.16 positions could overflow.
constexpr long fixed_limit = 8096;

long sign_of(double value)
{
    return (value > 0) - (value < 0);
}

void set_ratio(axis &a, bool interpolate)
{
    if (std::abs(a.source) >= 2 && std::abs(a.count) >= 2) {
        a.ratio = interpolate
                      ? static_cast<double>(a.source - (a.source < 0 ? -1 : 1)) / static_cast<double>(a.count - 1)
                      : static_cast<double>(a.source) / static_cast<double>(a.count);
    }
    a.sign = sign_of(a.ratio);
    if (a.sign > 0)
        a.high = a.source - 1;
    else if (a.sign < 0)
        a.low = a.source + 1;
    a.step = truncated(a.ratio * 65536.0);
}

// The limits of one dimension, start to end inclusive, brought into the matrix.
struct range {
    long start, end;
    range(const long *starts, const long *ends, const vok_matrix_info &info, int k)
        : start(std::clamp(starts[k], 0L, info.dim[k] - 1)), end(std::clamp(ends[k], 0L, info.dim[k] - 1))
    {
    }
};

} // namespace

source_range source_range_of(const vok_matrix_conv_info *conv, const vok_matrix_info &src, int k)
{
    if (!conv || !(conv->flags & vok_matrix_conv_usesrcdim))
        return {0, src.dim[k]};
    const range r(conv->srcdimstart, conv->srcdimend, src, k);
    const long difference = r.end - r.start;
    return {r.start, difference < 0 ? difference - 1 : difference + 1};
}

destination_range destination_range_of(const vok_matrix_conv_info *conv, const vok_matrix_info &dst, int k)
{
    if (!conv || !(conv->flags & vok_matrix_conv_usedstdim))
        return {0, dst.dim[k]};
    const range r(conv->dstdimstart, conv->dstdimend, dst, k);
    // a reversed range isn't mirrored: only the source side mirrors
    return {std::min(r.start, r.end), std::abs(r.end - r.start) + 1};
}

cell_type cell_type_of(const symbol *type)
{
    if (type == _vok_sym_char)
        return cell_char;
    if (type == _vok_sym_long)
        return cell_long;
    if (type == _vok_sym_float32)
        return cell_float32;
    if (type == _vok_sym_float64)
        return cell_float64;
    return cell_none;
}

bool make_plan(plan &p, cell_type dst_type, const vok_matrix_conv_info *conv, const vok_matrix_info &dst,
               const vok_matrix_info &src)
{
    p.dst_type = dst_type;
    p.src_type = cell_type_of(src.type);
    p.planes = std::min<long>(dst.planecount, VOK_MATRIX_MAX_PLANECOUNT);
    if (p.dst_type == cell_none || p.src_type == cell_none || p.planes < 1 || src.planecount < 1)
        return false;
    for (int k = 0; k < 2; k++)
        if (dst.dim[k] < 1 || src.dim[k] < 1)
            return false;

    // along dimension 0 strides count whole elements
    p.dst_cell = dst.dimstride[0] / cell_bytes[p.dst_type] * cell_bytes[p.dst_type];
    p.src_cell = src.dimstride[0] / cell_bytes[p.src_type] * cell_bytes[p.src_type];
    p.dst_row = dst.dimstride[1];
    p.src_row = src.dimstride[1];

    const destination_range to[2] = {destination_range_of(conv, dst, 0), destination_range_of(conv, dst, 1)};
    const source_range from[2] = {source_range_of(conv, src, 0), source_range_of(conv, src, 1)};
    p.x.count = to[0].count;
    p.y.count = to[1].count;
    p.x.source = from[0].count;
    p.y.source = from[1].count;
    p.dst_start = to[0].start * p.dst_cell + to[1].start * p.dst_row;
    p.src_start = from[0].start * p.src_cell + from[1].start * p.src_row;

    for (long plane = 0; plane < p.planes; plane++) {
        const long wanted = conv ? conv->planemap[plane] : plane;
        p.map[plane] = wanted < 0 ? -1 : wanted % src.planecount;
        p.written += wanted >= 0;
    }

    const bool interpolate = conv && (conv->flags & vok_matrix_conv_interp);
    set_ratio(p.x, interpolate);
    set_ratio(p.y, interpolate);
    const bool big = std::max({p.x.source, p.y.source, p.x.count, p.y.count}) > fixed_limit;
    if (p.x.ratio == 1.0 && p.y.ratio == 1.0)
        p.how = sampling::straight;
    else if (!interpolate)
        p.how = big ? sampling::double_nearest : sampling::fixed_nearest;
    else
        p.how = big || p.src_type != cell_char ? sampling::double_bilinear : sampling::fixed_bilinear;
    return true;
}

} // namespace vok::copy
