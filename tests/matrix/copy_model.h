// A model of the matrix copy for tests, written from its rules alone and sharing
// nothing with the library: one cell at a time, every position worked out afresh.
#pragma once
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include <vokra/matrix_info.h>
#include <zan/symbols.h>

namespace copy_model {

// The first letter of a type's name, f for float32 and d for float64.
inline char kind_of(const symbol *type)
{
    return type == gensym("float64") ? 'd' : type->name[0];
}

inline long bytes_of(char kind)
{
    return kind == 'c' ? 1 : kind == 'd' ? 8 : 4;
}

template <class T> T load(const unsigned char *at)
{
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

// Any element fits a double exactly.
inline double read(char kind, const unsigned char *at)
{
    return kind == 'c' ? *at : kind == 'l' ? load<int32_t>(at) : kind == 'f' ? load<float>(at) : load<double>(at);
}

inline int32_t cut(double x)
{
    if (std::isnan(x))
        return INT32_MIN;
    x = std::trunc(x);
    return x < -2147483648.0 || x > 2147483647.0 ? INT32_MIN : static_cast<int32_t>(x);
}

// Brings a value into range and stores it as an element.
inline void store(char kind, unsigned char *at, double v)
{
    const int32_t l = kind == 'c' || kind == 'l' ? cut(v) : 0;
    const float f = static_cast<float>(v);
    if (kind == 'c')
        *at = static_cast<unsigned char>(l);
    else
        std::memcpy(at, kind == 'l' ? &l : kind == 'f' ? static_cast<const void *>(&f) : &v, kind == 'd' ? 8 : 4);
}

// The table of conversions. `single` says that the scale to char is done in float32.
inline void convert(char to, unsigned char *at, char from, double v, bool single)
{
    const bool whole = from == 'c' || from == 'l';
    if (to == 'c' && !whole) {
        v = std::isnan(v) || v < 0 ? 0 : v > 1 ? 1 : v;
        v = single ? static_cast<float>(v) * 255.0f : v * 255.0;
    } else if (from == 'c' && (to == 'f' || to == 'd')) {
        v /= 255.0;
    }
    store(to, at, v);
}

struct axis {
    long d, s, dst_first, src_first, low, high;
    double ratio;
    int sign;
};

inline axis make_axis(const vok_matrix_conv_info *conv, const vok_matrix_info &dst, const vok_matrix_info &src,
                      int k, bool interpolate)
{
    axis a = {dst.dim[k], src.dim[k], 0, 0, 0, 0, 0, 0};
    auto inside = [](long v, long dim) { return v < 0 ? 0 : v >= dim ? dim - 1 : v; };
    if (conv && (conv->flags & 8)) {
        const long b = inside(conv->dstdimstart[k], dst.dim[k]), e = inside(conv->dstdimend[k], dst.dim[k]);
        a.d = std::labs(e - b) + 1;
        a.dst_first = b < e ? b : e;
    }
    if (conv && (conv->flags & 4)) {
        const long b = inside(conv->srcdimstart[k], src.dim[k]), e = inside(conv->srcdimend[k], src.dim[k]);
        a.s = e - b < 0 ? e - b - 1 : e - b + 1;
        a.src_first = b;
    }
    if (std::labs(a.s) >= 2 && a.d >= 2)
        a.ratio = interpolate ? double(a.s - (a.s > 0 ? 1 : -1)) / double(a.d - 1) : double(a.s) / double(a.d);
    a.sign = a.ratio > 0 ? 1 : a.ratio < 0 ? -1 : 0;
    a.low = a.sign < 0 ? a.s + 1 : 0;
    a.high = a.sign > 0 ? a.s - 1 : 0;
    return a;
}

struct position {
    long i0 = 0, i1 = 0;
    double w0 = 0, w1 = 0;
};

// All positions of one axis: the case is 'A' to 'E'. Fixed-point positions are 32 bits
// and wrap, then the first neighbour too is kept inside.
inline std::vector<position> positions(const axis &a, char which)
{
    const auto inside = [&](long v) { return v < a.low ? a.low : v > a.high ? a.high : v; };
    std::vector<position> all(static_cast<size_t>(a.d));
    const int64_t step = cut(a.ratio * 65536.0), bias = which != 'B' ? 0 : a.sign < 0 ? 65470 : 65;
    double sum = 0;
    for (long i = 0; i < a.d; i++, sum += a.ratio) {
        position &p = all[static_cast<size_t>(i)];
        const auto fixed = static_cast<int32_t>(static_cast<uint32_t>(i * step + bias));
        p.i0 = which == 'A' ? i : which == 'C' || which == 'E' ? static_cast<long>(sum) : fixed >> 16;
        if (which == 'D') {
            int f = fixed & 65535;
            if (a.sign < 0 && f != 0)
                f = 65536 - f;
            p.w0 = (65536 - f) >> 8;
            p.w1 = f >> 8;
        } else if (which == 'E') {
            p.w1 = sum - static_cast<double>(p.i0);
            if (a.sign < 0 && p.w1 != 0)
                p.w1 = -p.w1;
            p.w0 = 1 - p.w1;
        }
        p.i1 = inside(p.i0 + a.sign);
        if (which >= 'B' && which <= 'D')
            p.i0 = inside(p.i0);
    }
    return all;
}

// One slice. Gives the case that it took.
inline char slice(const vok_matrix_conv_info *conv, const vok_matrix_info &dst, unsigned char *dstdata,
                  const vok_matrix_info &src, const unsigned char *srcdata)
{
    const char to = kind_of(dst.type), from = kind_of(src.type);
    const bool interpolate = conv && (conv->flags & 2);
    const axis x = make_axis(conv, dst, src, 0, interpolate), y = make_axis(conv, dst, src, 1, interpolate);
    const bool big = x.s > 8096 || y.s > 8096 || x.d > 8096 || y.d > 8096;
    char which = 'A';
    if (x.ratio != 1 || y.ratio != 1)
        which = !interpolate ? (big ? 'C' : 'B') : big || from != 'c' ? 'E' : 'D';
    const auto columns = positions(x, which), rows = positions(y, which);
    const long db = bytes_of(to), sb = bytes_of(from);
    for (long j = 0; j < y.d; j++)
        for (long i = 0; i < x.d; i++)
            for (long p = 0; p < dst.planecount; p++) {
                const long plane = conv ? conv->planemap[p] : p;
                if (plane < 0)
                    continue;
                unsigned char *at = dstdata + (x.dst_first + i) * (dst.dimstride[0] / db * db) +
                                    (y.dst_first + j) * dst.dimstride[1] + p * db;
                const position &cx = columns[static_cast<size_t>(i)], &cy = rows[static_cast<size_t>(j)];
                const auto cell = [&](long at_x, long at_y) {
                    return srcdata + (x.src_first + at_x) * (src.dimstride[0] / sb * sb) +
                           (y.src_first + at_y) * src.dimstride[1] + plane % src.planecount * sb;
                };
                const double a = read(from, cell(cx.i0, cy.i0));
                if (which < 'D') {
                    if (from == to) // NaN keeps its bits
                        std::memcpy(at, cell(cx.i0, cy.i0), static_cast<size_t>(db));
                    else
                        convert(to, at, from, a, from == 'f');
                    continue;
                }
                const double b = read(from, cell(cx.i1, cy.i0)), c = read(from, cell(cx.i0, cy.i1));
                const double sum = a * cx.w0 * cy.w0 + b * cx.w1 * cy.w0 + c * cx.w0 * cy.w1 +
                                   read(from, cell(cx.i1, cy.i1)) * cx.w1 * cy.w1;
                if (which == 'E')
                    convert(to, at, from, from == 'c' ? std::trunc(sum) : sum, false);
                else // in fixed point: whole numbers below 2 to the 24
                    store(to, at,
                          to == 'f'   ? sum / 65536 * 0.003921568859368563
                          : to == 'd' ? sum / 65536 * (1.0 / 255.0)
                                      : std::floor(sum / 65536));
            }
    return which;
}

inline char walk(long n, const vok_matrix_conv_info *conv, vok_matrix_info dst, unsigned char *dstdata,
                 const vok_matrix_info &src, const unsigned char *srcdata)
{
    if (n < 1)
        return '-';
    if (n == 1)
        dst.dim[1] = 1;
    if (n <= 2)
        return slice(conv, dst, dstdata, src, srcdata);
    const int k = static_cast<int>(n) - 1;
    const axis a = make_axis(conv, dst, src, k, false);
    char which = '-';
    for (long i = 0; i < a.d; i++) {
        const long from = static_cast<long>(static_cast<double>(i) * (double(a.s) / double(a.d)));
        which = walk(n - 1, conv, dst, dstdata + (a.dst_first + i) * dst.dimstride[k], src,
                     srcdata + (a.src_first + from) * src.dimstride[k]);
    }
    return which;
}

} // namespace copy_model
