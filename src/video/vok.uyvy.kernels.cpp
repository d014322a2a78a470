// The rows of the pixel formats, compiled once per instruction set. A pixel, or a pair
// of pixels, of four bytes is handled as one 32-bit number with its first plane lowest:
// planes come out by shifts, and the loops become vectors of such numbers.
#include "video/vok.uyvy.h"

#ifndef VOKRA_ISA
#error "compiled per instruction set, see cmake/VokraCompile.cmake"
#endif
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "the first plane is the lowest byte of a number"
#endif

namespace vok::pixels::VOKRA_ISA {
namespace {

using u8 = unsigned char;
using u16 = unsigned short;
using u32 = unsigned int;
using i32 = int;
// as they lie in rows, at any address
using cell = u32 __attribute__((aligned(1), may_alias));
using pair = u16 __attribute__((aligned(1), may_alias));

inline u32 plane(u32 c, int p)
{
    return c >> 8 * p & 255;
}
inline u32 made_of(u32 a, u32 b, u32 c, u32 d)
{
    return (a & 255) | (b & 255) << 8 | (c & 255) << 16 | d << 24;
}

// ---- colour and luma-chroma ----

// 1023 times what is seen as brightness.
inline u32 weight(u32 argb)
{
    return 306 * plane(argb, 1) + 601 * plane(argb, 2) + 116 * plane(argb, 3);
}
inline u32 luma(u32 w)
{
    return (w * 883 >> 20) + 16;
}
// The chroma of 2^(shift - 16) pixels from the sums of their colours and weights; it
// wraps where a colour is too strong for a byte.
inline u32 chroma_u(u32 blue, u32 w, int shift)
{
    return (blue - (w >> 10)) * 37027 >> shift ^ 128;
}
inline u32 chroma_v(u32 red, u32 w, int shift)
{
    return (red - (w >> 10)) * 46727 >> shift ^ 128;
}

inline u32 clamped(i32 x)
{
    return static_cast<u32>(x < 0 ? 0 : x > 255 ? 255 : x);
}
// Of luma, and chroma about 0. The terms stay below 2^25.
inline u32 argb_of(u32 alpha, u32 luma_byte, i32 u, i32 v)
{
    const i32 y = static_cast<i32>(luma_byte) * 75962 - 1215392;
    return made_of(alpha, clamped((y + 91947 * v) >> 16), clamped((y - 22544 * u - 46792 * v) >> 16),
                   clamped((y + 115998 * u) >> 16));
}
inline u32 full_range(u32 y)
{
    return clamped((static_cast<i32>(y) * 75962 - 1215392) >> 16);
}
inline u32 video_range(u32 l)
{
    return (l * 56540 >> 16) + 16;
}

// ---- one unit of each format ----

inline u32 argb_to_ayuv(u32 c)
{
    const u32 w = weight(c);
    return made_of(c, luma(w), chroma_u(plane(c, 3), w, 16), chroma_v(plane(c, 1), w, 16));
}

inline u32 ayuv_to_argb(u32 c)
{
    return argb_of(c, plane(c, 1), static_cast<i32>(plane(c, 2)) - 128, static_cast<i32>(plane(c, 3)) - 128);
}

inline u32 argb_to_uyvy(u32 c0, u32 c1)
{
    const u32 w0 = weight(c0), w1 = weight(c1);
    return made_of(chroma_u(plane(c0, 3) + plane(c1, 3), w0 + w1, 17), luma(w0),
                   chroma_v(plane(c0, 1) + plane(c1, 1), w0 + w1, 17), luma(w1));
}

inline u32 ayuv_to_uyvy(u32 c0, u32 c1)
{
    return made_of((plane(c0, 2) + plane(c1, 2)) >> 1, plane(c0, 1), (plane(c0, 3) + plane(c1, 3)) >> 1,
                   plane(c1, 1));
}

// The chroma of a pair sits on its second pixel; the first has the mean of it and of
// the chroma of the pair before.
inline void uyvy_to_argb(u32 before, u32 c, cell *out)
{
    const i32 u = static_cast<i32>(plane(c, 0)), v = static_cast<i32>(plane(c, 2));
    const i32 mean_u = (u + static_cast<i32>(plane(before, 0)) - 256) >> 1;
    const i32 mean_v = (v + static_cast<i32>(plane(before, 2)) - 256) >> 1;
    out[0] = argb_of(255, plane(c, 1), mean_u, mean_v);
    out[1] = argb_of(255, plane(c, 3), u - 128, v - 128);
}

inline void uyvy_to_ayuv(u32 before, u32 c, cell *out)
{
    out[0] =
        made_of(255, plane(c, 1), (plane(before, 0) + plane(c, 0)) >> 1, (plane(before, 2) + plane(c, 2)) >> 1);
    out[1] = made_of(255, plane(c, 3), plane(c, 0), plane(c, 2));
}

// ---- rows ----

// The passes of a loop are independent of each other; other compilers find out for
// themselves.
#if defined(__GNUC__) && !defined(__clang__)
#define VOKRA_INDEPENDENT _Pragma("GCC ivdep")
#else
#define VOKRA_INDEPENDENT
#endif

template <u32 (*convert)(u32)> void one_to_one(long n, const u8 *in_row, u8 *out_row)
{
    const cell *in = reinterpret_cast<const cell *>(in_row);
    cell *out = reinterpret_cast<cell *>(out_row);
    VOKRA_INDEPENDENT
    for (long i = 0; i < n; i++)
        out[i] = convert(in[i]);
}

template <u32 (*convert)(u32, u32)> void two_to_one(long n, const u8 *in_row, u8 *out_row)
{
    const cell *in = reinterpret_cast<const cell *>(in_row);
    cell *out = reinterpret_cast<cell *>(out_row);
    VOKRA_INDEPENDENT
    for (long i = 0; i < n; i++)
        out[i] = convert(in[2 * i], in[2 * i + 1]);
}

// From the cell `from` on, whose predecessor is at hand unless it is the row's first.
template <void (*convert)(u32, u32, cell *)> void one_to_two(long from, long n, const u8 *in_row, u8 *out_row)
{
    const cell *in = reinterpret_cast<const cell *>(in_row);
    cell *out = reinterpret_cast<cell *>(out_row);
    if (from == 0 && n > 0)
        convert(in[0], in[0], out);
    VOKRA_INDEPENDENT
    for (long i = from ? from : 1; i < n; i++)
        convert(in[i - 1], in[i], out + 2 * (i - from));
}

template <void (*convert)(u32, u32, cell *)> void row_one_to_two(long n, const u8 *in, u8 *out)
{
    one_to_two<convert>(0, n, in, out);
}

// Pixels of three planes go through blocks of four, whose first plane is anything.
constexpr long block = 512;

void widen(long pixels, const u8 *in, u8 *out)
{
    cell *to = reinterpret_cast<cell *>(out);
    for (long i = 0; i < pixels; i++)
        to[i] = made_of(0, in[3 * i], in[3 * i + 1], in[3 * i + 2]);
}

// Each store but the last covers a byte of the next pixel.
void narrow(long pixels, const u8 *in, u8 *out)
{
    const cell *from = reinterpret_cast<const cell *>(in);
    for (long i = 0; i + 1 < pixels; i++)
        *reinterpret_cast<cell *>(out + 3 * i) = from[i] >> 8;
    for (int p = 0; p < 3; p++)
        out[3 * (pixels - 1) + p] = in[4 * (pixels - 1) + 1 + p];
}

template <u32 (*convert)(u32, u32)> void two_of_three_to_one(long n, const u8 *in, u8 *out)
{
    u8 wide[block * 4];
    for (long at = 0; at < n; at += block / 2) {
        const long count = n - at < block / 2 ? n - at : block / 2;
        widen(2 * count, in + 6 * at, wide);
        two_to_one<convert>(count, wide, out + 4 * at);
    }
}

template <void (*convert)(u32, u32, cell *)> void one_to_two_of_three(long n, const u8 *in, u8 *out)
{
    u8 wide[block * 4];
    for (long at = 0; at < n; at += block / 2) {
        const long end = n - at < block / 2 ? n : at + block / 2;
        one_to_two<convert>(at, end, in, wide);
        narrow(2 * (end - at), wide, out + 6 * at);
    }
}

inline u32 exchanged(u32 c)
{
    return (c & 0x00ff00ff) << 8 | (c >> 8 & 0x00ff00ff);
}

void ayuv_to_luma(long n, const u8 *in_row, u8 *out)
{
    const cell *in = reinterpret_cast<const cell *>(in_row);
    VOKRA_INDEPENDENT
    for (long i = 0; i < n; i++)
        out[i] = static_cast<u8>(full_range(plane(in[i], 1)));
}

void uyvy_to_luma(long n, const u8 *in_row, u8 *out_row)
{
    const cell *in = reinterpret_cast<const cell *>(in_row);
    pair *out = reinterpret_cast<pair *>(out_row);
    VOKRA_INDEPENDENT
    for (long i = 0; i < n; i++)
        out[i] = static_cast<u16>(full_range(plane(in[i], 1)) | full_range(plane(in[i], 3)) << 8);
}

void luma_to_ayuv(long n, const u8 *in, u8 *out_row)
{
    cell *out = reinterpret_cast<cell *>(out_row);
    VOKRA_INDEPENDENT
    for (long i = 0; i < n; i++)
        out[i] = made_of(255, video_range(in[i]), 128, 128);
}

void luma_to_uyvy(long n, const u8 *in_row, u8 *out_row)
{
    const pair *in = reinterpret_cast<const pair *>(in_row);
    cell *out = reinterpret_cast<cell *>(out_row);
    VOKRA_INDEPENDENT
    for (long i = 0; i < n; i++)
        out[i] = made_of(128, video_range(in[i] & 255u), 128, video_range(in[i] >> 8));
}

} // namespace

extern const row_table table = {
    .uyvy2argb = row_one_to_two<uyvy_to_argb>,
    .argb2uyvy = two_to_one<argb_to_uyvy>,
    .uyvy2ayuv = row_one_to_two<uyvy_to_ayuv>,
    .ayuv2uyvy = two_to_one<ayuv_to_uyvy>,
    .argb2ayuv = one_to_one<argb_to_ayuv>,
    .ayuv2argb = one_to_one<ayuv_to_argb>,
    .uyvy2luma = uyvy_to_luma,
    .luma2uyvy = luma_to_uyvy,
    .ayuv2luma = ayuv_to_luma,
    .luma2ayuv = luma_to_ayuv,
    .uyvy2yuy2 = one_to_one<exchanged>,
    .rgb2uyvy = two_of_three_to_one<argb_to_uyvy>,
    .yuv2uyvy = two_of_three_to_one<ayuv_to_uyvy>,
    .uyvy2rgb = one_to_two_of_three<uyvy_to_argb>,
    .uyvy2yuv = one_to_two_of_three<uyvy_to_ayuv>,
};

} // namespace vok::pixels::VOKRA_ISA
