// The messages frommatrix and frommatrix_trunc: any matrix copied into any other.
// This file clamps the record, chooses between a block copy and the walk over the
// higher dimensions, and hands each two-dimensional slice to a road.
#include <vokra/matrix_copy.h>

#include <algorithm>
#include <cstddef>

#include <vokra/commonsyms.h>
#include <zan/memory.h>

#include "kernel/message.h"
#include "matrix/copy_fast.h"
#include "matrix/copy_plan.h"

static_assert(offsetof(vok_matrix_conv_info, planemap) == 8 &&
                  offsetof(vok_matrix_conv_info, srcdimstart) == 264 &&
                  offsetof(vok_matrix_conv_info, dstdimend) == 1032,
              "the record of a copy is known outside");

namespace {

using namespace vok::copy;

// Every entry into 0 to dim - 1, so that those of unused dimensions become 0.
void clamp_range(long *indices, const vok_matrix_info &info)
{
    for (int k = 0; k < VOK_MATRIX_MAX_DIMCOUNT; k++)
        indices[k] = std::max(0L, std::min(indices[k], info.dim[k] - 1));
}

bool whole_range(const long *starts, const long *ends, const vok_matrix_info &info)
{
    for (long k = 0; k < info.dimcount; k++)
        // dim, not dim - 1, and deliberately so: a clamped record never copies blocks
        if (starts[k] != 0 || ends[k] != info.dim[k])
            return false;
    return true;
}

// The dimensions above the second: nearest neighbour by truncation, highest first.
// trunc(i * scount / dcount) stays below scount for every i below dcount, as long as
// dcount has less than 52 bits, so there is nothing to clamp.
void walk(long n, const slice_copy &copy, const vok_matrix_conv_info *conv, const vok_matrix_info &dst,
          unsigned char *dstdata, const vok_matrix_info &src, const unsigned char *srcdata)
{
    if (n <= 2) {
        copy.run(dstdata, srcdata);
        return;
    }
    const int k = static_cast<int>(n) - 1;
    if (dst.dim[k] < 1 || src.dim[k] < 1)
        return;
    const destination_range to = destination_range_of(conv, dst, k);
    const source_range from = source_range_of(conv, src, k);
    const double ratio = static_cast<double>(from.count) / static_cast<double>(to.count);
    for (long i = 0; i < to.count; i++) {
        const long j = from.start + static_cast<long>(static_cast<double>(i) * ratio);
        walk(n - 1, copy, conv, dst, dstdata + (to.start + i) * dst.dimstride[k], src,
             srcdata + j * src.dimstride[k]);
    }
}

void slice_as(cell_type type, const vok_matrix_conv_info *conv, const vok_matrix_info *dstinfo, void *dstdata,
              const vok_matrix_info *srcinfo, const void *srcdata)
{
    plan p;
    if (dstinfo && dstdata && srcinfo && srcdata && make_plan(p, type, conv, *dstinfo, *srcinfo))
        slice_copy(p).run(static_cast<unsigned char *>(dstdata), static_cast<const unsigned char *>(srcdata));
}

} // namespace

vok_err vok_matrix_frommatrix(void *dst, void *src, vok_matrix_conv_info *conv)
{
    if (!dst || !src)
        return VOK_ERR_INVP;
    const zan_word dstlock = vok::send(dst, _vok_sym_lock, 1);
    const zan_word srclock = vok::send(src, _vok_sym_lock, 1);
    vok_matrix_info dstinfo = {};
    vok_matrix_info srcinfo = {};
    vok::send(dst, _vok_sym_getinfo, &dstinfo);
    vok::send(src, _vok_sym_getinfo, &srcinfo);
    void *dstdata = nullptr;
    void *srcdata = nullptr;
    vok::send(dst, _vok_sym_getdata, &dstdata);
    vok::send(src, _vok_sym_getdata, &srcdata);
    if (!dstdata || !srcdata)
        return VOK_ERR_EROR; // the locks stay as they are, deliberately

    if (conv && (conv->flags & vok_matrix_conv_usedstdim)) {
        clamp_range(conv->dstdimstart, dstinfo);
        clamp_range(conv->dstdimend, dstinfo);
    }
    if (conv && (conv->flags & vok_matrix_conv_usesrcdim)) {
        clamp_range(conv->srcdimstart, srcinfo);
        clamp_range(conv->srcdimend, srcinfo);
    }
    if (vok_matrix_canfastcopy(conv, &dstinfo, &srcinfo))
        vok_matrix_fastcopy(dstinfo.size, dstdata, srcdata);
    else
        vok_matrix_frommatrix_calculate_ndim(std::max(dstinfo.dimcount, srcinfo.dimcount), conv, &dstinfo, dstdata,
                                             &srcinfo, srcdata);
    vok::send(src, _vok_sym_lock, srclock);
    vok::send(dst, _vok_sym_lock, dstlock);
    return VOK_ERR_NONE;
}

vok_err vok_matrix_frommatrix_trunc(void *dst, void *src)
{
    if (!dst || !src)
        return VOK_ERR_INVP;
    vok_matrix_info dstinfo = {};
    vok_matrix_info srcinfo = {};
    vok::send(dst, _vok_sym_getinfo, &dstinfo);
    vok::send(src, _vok_sym_getinfo, &srcinfo);
    vok_matrix_conv_info conv = {};
    conv.flags = vok_matrix_conv_usesrcdim | vok_matrix_conv_usedstdim;
    for (int p = 0; p < VOK_MATRIX_MAX_PLANECOUNT; p++)
        conv.planemap[p] = p;
    for (long k = 0; k < std::min<long>(dstinfo.dimcount, VOK_MATRIX_MAX_DIMCOUNT); k++)
        conv.srcdimend[k] = conv.dstdimend[k] = srcinfo.dim[k] - 1;
    return vok_matrix_frommatrix(dst, src, &conv);
}

long vok_matrix_canfastcopy(const vok_matrix_conv_info *conv, const vok_matrix_info *dstinfo,
                            const vok_matrix_info *srcinfo)
{
    if (!dstinfo || !srcinfo)
        return 0;
    const vok_matrix_info &dst = *dstinfo;
    const vok_matrix_info &src = *srcinfo;
    if (dst.size != src.size || dst.type != src.type || dst.planecount != src.planecount ||
        dst.dimcount != src.dimcount || dst.dimcount > VOK_MATRIX_MAX_DIMCOUNT)
        return 0;
    for (long k = 0; k < dst.dimcount; k++)
        if (dst.dim[k] != src.dim[k] || dst.dimstride[k] != src.dimstride[k])
            return 0;
    if (!conv)
        return 1;
    if ((conv->flags & vok_matrix_conv_usesrcdim) && !whole_range(conv->srcdimstart, conv->srcdimend, src))
        return 0;
    if ((conv->flags & vok_matrix_conv_usedstdim) && !whole_range(conv->dstdimstart, conv->dstdimend, dst))
        return 0;
    if (dst.planecount > VOK_MATRIX_MAX_PLANECOUNT)
        return 0;
    for (long p = 0; p < dst.planecount; p++)
        if (conv->planemap[p] != p)
            return 0;
    return 1;
}

void vok_matrix_fastcopy(long size, void *dstdata, const void *srcdata)
{
    if (dstdata != srcdata)
        sysmem_copyptr(srcdata, dstdata, size);
}

void vok_matrix_frommatrix_calculate_ndim(long dimcount, const vok_matrix_conv_info *conv,
                                          const vok_matrix_info *dstinfo, void *dstdata,
                                          const vok_matrix_info *srcinfo, const void *srcdata)
{
    if (dimcount < 1 || dimcount > VOK_MATRIX_MAX_DIMCOUNT || !dstinfo || !dstdata || !srcinfo || !srcdata)
        return;
    vok_matrix_info dst = *dstinfo;
    if (dimcount == 1)
        dst.dim[1] = 1;
    plan p;
    if (!make_plan(p, cell_type_of(dst.type), conv, dst, *srcinfo))
        return;
    walk(dimcount, slice_copy(p), conv, dst, static_cast<unsigned char *>(dstdata), *srcinfo,
         static_cast<const unsigned char *>(srcdata));
}

#define VOKRA_SLICE(type)                                                                                         \
    void vok_matrix_frommatrix_2d_##type(const vok_matrix_conv_info *conv, const vok_matrix_info *dstinfo,        \
                                         void *dstdata, const vok_matrix_info *srcinfo, const void *srcdata)      \
    {                                                                                                             \
        slice_as(cell_##type, conv, dstinfo, dstdata, srcinfo, srcdata);                                          \
    }
VOKRA_SLICE(char)
VOKRA_SLICE(long)
VOKRA_SLICE(float32)
VOKRA_SLICE(float64)
#undef VOKRA_SLICE
