// The pixel formats against a model of one pixel at a time, for every instruction set
// that the machine has.
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include <vokra/vokra.h>
#include <zan/host.h>

#include "other_paths.h"

namespace {

using bytes = std::vector<unsigned char>;
using row = void (*)(long, void *, void *);

unsigned char low(uint64_t x)
{
    return static_cast<unsigned char>(x);
}
unsigned char clamp(int64_t x)
{
    return static_cast<unsigned char>(std::min<int64_t>(std::max<int64_t>(x, 0), 255));
}
int64_t down(int64_t x, int bits) // division that rounds down
{
    const int64_t d = int64_t(1) << bits;
    return x >= 0 ? x / d : -((-x + d - 1) / d);
}

struct yuv {
    unsigned char y, u, v;
};
struct rgb {
    unsigned char r, g, b;
};

unsigned char luma_of(rgb p)
{
    return low((306u * p.r + 601u * p.g + 116u * p.b) * 883u / (1 << 20) + 16);
}
// of `count` pixels, 1 or 2
yuv chroma_of(const rgb *p, int count)
{
    uint32_t w = 0, r = 0, b = 0;
    for (int i = 0; i < count; i++) {
        w += 306u * p[i].r + 601u * p[i].g + 116u * p[i].b;
        r += p[i].r;
        b += p[i].b;
    }
    const int bits = 15 + count;
    return {0, low((((b - w / 1024) * 37027u) >> bits) ^ 128), low((((r - w / 1024) * 46727u) >> bits) ^ 128)};
}
rgb colour_of(int64_t y, int64_t u, int64_t v) // chroma about 0
{
    return {clamp(down(75962 * y + 91947 * v - 1215392, 16)),
            clamp(down(75962 * y - 22544 * u - 46792 * v - 1215392, 16)),
            clamp(down(75962 * y + 115998 * u - 1215392, 16))};
}
unsigned char full(unsigned char y)
{
    return clamp(down(int64_t(y) * 75962 - 1215392, 16));
}
unsigned char video(unsigned char l)
{
    return low((l * 56540u) / 65536 + 16);
}

// The rows of the model. Units are pixels or pairs.
bytes argb2ayuv(long n, const bytes &in)
{
    bytes out;
    for (long i = 0; i < n; i++) {
        const rgb p = {in[4 * i + 1], in[4 * i + 2], in[4 * i + 3]};
        const yuv c = chroma_of(&p, 1);
        out.insert(out.end(), {in[4 * i], luma_of(p), c.u, c.v});
    }
    return out;
}
template <int planes> bytes argb2uyvy(long n, const bytes &in)
{
    bytes out;
    for (long i = 0; i < n; i++) {
        rgb p[2];
        for (int k = 0; k < 2; k++) {
            const unsigned char *at = &in[planes * (2 * i + k) + planes - 3];
            p[k] = {at[0], at[1], at[2]};
        }
        const yuv c = chroma_of(p, 2);
        out.insert(out.end(), {c.u, luma_of(p[0]), c.v, luma_of(p[1])});
    }
    return out;
}
template <int planes> bytes ayuv2uyvy(long n, const bytes &in)
{
    bytes out;
    for (long i = 0; i < n; i++) {
        const unsigned char *a = &in[planes * 2 * i + planes - 3], *b = a + planes;
        out.insert(out.end(), {low((a[1] + b[1]) / 2), a[0], low((a[2] + b[2]) / 2), b[0]});
    }
    return out;
}
bytes ayuv2argb(long n, const bytes &in)
{
    bytes out;
    for (long i = 0; i < n; i++) {
        const rgb c = colour_of(in[4 * i + 1], in[4 * i + 2] - 128, in[4 * i + 3] - 128);
        out.insert(out.end(), {in[4 * i], c.r, c.g, c.b});
    }
    return out;
}
template <int planes> void put(bytes &out, unsigned char a, unsigned char b, unsigned char c)
{
    if (planes == 4)
        out.push_back(255);
    out.insert(out.end(), {a, b, c});
}
template <int planes> bytes uyvy2argb(long n, const bytes &in)
{
    bytes out;
    for (long i = 0; i < n; i++) {
        const unsigned char *c = &in[4 * i], *before = i ? c - 4 : c;
        const rgb p =
            colour_of(c[1], down(c[0] + (before[0] - 128) - 128, 1), down(c[2] + (before[2] - 128) - 128, 1));
        const rgb q = colour_of(c[3], c[0] - 128, c[2] - 128);
        put<planes>(out, p.r, p.g, p.b);
        put<planes>(out, q.r, q.g, q.b);
    }
    return out;
}
template <int planes> bytes uyvy2ayuv(long n, const bytes &in)
{
    bytes out;
    for (long i = 0; i < n; i++) {
        const unsigned char *c = &in[4 * i], *before = i ? c - 4 : c;
        put<planes>(out, c[1], low((before[0] + c[0]) / 2), low((before[2] + c[2]) / 2));
        put<planes>(out, c[3], c[0], c[2]);
    }
    return out;
}
bytes uyvy2luma(long n, const bytes &in)
{
    bytes out;
    for (long i = 0; i < n; i++)
        out.insert(out.end(), {full(in[4 * i + 1]), full(in[4 * i + 3])});
    return out;
}
bytes ayuv2luma(long n, const bytes &in)
{
    bytes out;
    for (long i = 0; i < n; i++)
        out.push_back(full(in[4 * i + 1]));
    return out;
}
bytes luma2ayuv(long n, const bytes &in)
{
    bytes out;
    for (long i = 0; i < n; i++)
        out.insert(out.end(), {255, video(in[i]), 128, 128});
    return out;
}
bytes luma2uyvy(long n, const bytes &in)
{
    bytes out;
    for (long i = 0; i < n; i++)
        out.insert(out.end(), {128, video(in[2 * i]), 128, video(in[2 * i + 1])});
    return out;
}
bytes exchange(long n, const bytes &in)
{
    bytes out;
    for (long i = 0; i < n; i++)
        out.insert(out.end(), {in[4 * i + 1], in[4 * i], in[4 * i + 3], in[4 * i + 2]});
    return out;
}

struct format {
    const char *name;
    long in_bytes; // of a unit
    long in_planes, out_planes;
    double widening; // of dim[0]
    row fast;
    bytes (*model)(long n, const bytes &in);
};
constexpr format formats[] = {
    {"vok_argb2ayuv", 4, 4, 4, 1, vok_argb2ayuv_vector_char, argb2ayuv},
    {"vok_ayuv2argb", 4, 4, 4, 1, vok_ayuv2argb_vector_char, ayuv2argb},
    {"vok_argb2uyvy", 8, 4, 4, 0.5, vok_argb2uyvy_vector_char, argb2uyvy<4>},
    {"vok_argb2uyvy", 6, 3, 4, 0.5, vok_rgb2uyvy_vector_char, argb2uyvy<3>},
    {"vok_ayuv2uyvy", 8, 4, 4, 0.5, vok_ayuv2uyvy_vector_char, ayuv2uyvy<4>},
    {"vok_ayuv2uyvy", 6, 3, 4, 0.5, vok_yuv2uyvy_vector_char, ayuv2uyvy<3>},
    {"vok_uyvy2argb", 4, 4, 4, 2, vok_uyvy2argb_vector_char, uyvy2argb<4>},
    {"vok_uyvy2argb", 4, 4, 3, 2, vok_uyvy2rgb_vector_char, uyvy2argb<3>},
    {"vok_uyvy2ayuv", 4, 4, 4, 2, vok_uyvy2ayuv_vector_char, uyvy2ayuv<4>},
    {"vok_uyvy2ayuv", 4, 4, 3, 2, vok_uyvy2yuv_vector_char, uyvy2ayuv<3>},
    {"vok_uyvy2luma", 4, 4, 1, 2, vok_uyvy2luma_vector_char, uyvy2luma},
    {"vok_luma2uyvy", 2, 1, 4, 0.5, vok_luma2uyvy_vector_char, luma2uyvy},
    {"vok_ayuv2luma", 4, 4, 1, 1, vok_ayuv2luma_vector_char, ayuv2luma},
    {"vok_luma2ayuv", 1, 1, 4, 1, vok_luma2ayuv_vector_char, luma2ayuv},
    {"vok_uyvy2yuy2", 4, 4, 4, 2, vok_uyvy2yuy2_vector_char, exchange},
    {"vok_yuy22yuvy", 4, 4, 4, 2, vok_yuy22yuvy_vector_char, exchange},
};

TEST(PixelFormats, known_pixels)
{
    const struct {
        row fast;
        bytes in, out;
    } rows[] = {
        {vok_argb2ayuv_vector_char, {255, 255, 255, 255}, {255, 235, 128, 128}},
        {vok_argb2ayuv_vector_char, {255, 0, 0, 255}, {255, 40, 0, 108}},
        {vok_ayuv2argb_vector_char, {9, 16, 128, 128}, {9, 0, 0, 0}},
        {vok_ayuv2argb_vector_char, {9, 235, 128, 128}, {9, 253, 253, 253}},
        {vok_luma2ayuv_vector_char, {0}, {255, 16, 128, 128}},
        {vok_luma2ayuv_vector_char, {255}, {255, 235, 128, 128}},
    };
    for (const auto &r : rows) {
        bytes in = r.in, out(r.out.size());
        r.fast(1, in.data(), out.data());
        EXPECT_EQ(out, r.out);
    }
}

// Every length about the width of vectors and blocks, at odd addresses, with guards.
TEST(PixelFormats, rows_equal_the_model)
{
    std::mt19937 random(7);
    for (const format &f : formats)
        for (const long n : {0, 1, 2, 3, 7, 8, 15, 16, 17, 31, 33, 63, 64, 65, 127, 255, 256, 257, 513, 1000}) {
            bytes in(static_cast<size_t>(n * f.in_bytes));
            for (unsigned char &b : in)
                b = random() % 4 ? low(random()) : low(random() % 2 ? 0 : 255);
            const bytes expected = f.model(n, in);
            bytes at_odd(in.size() + 1), out(expected.size() + 17, 0xa5);
            std::copy(in.begin(), in.end(), at_odd.begin() + 1);
            f.fast(n, at_odd.data() + 1, out.data() + 1);
            EXPECT_EQ(bytes(out.begin() + 1, out.end() - 16), expected) << f.name << " " << n;
            EXPECT_EQ(out[0], 0xa5) << f.name;
            EXPECT_EQ(bytes(out.end() - 16, out.end()), bytes(16, 0xa5)) << f.name << " " << n;
        }
}

// Whole matrices of three dimensions and odd widths, split among workers.
TEST(PixelFormats, matrices_equal_the_model)
{
    initialize();
    std::mt19937 random(11);
    for (const format &f : formats)
        for (const long width : {1L, 5L, 130L}) {
            vok_matrix_info info;
            vok_matrix_info_default(&info);
            info.planecount = f.in_planes;
            info.dimcount = 3;
            info.dim[0] = width;
            info.dim[1] = 50;
            info.dim[2] = 3;
            auto *in = static_cast<vok_matrix *>(vok_object_new(gensym("vok_matrix"), &info));
            vok_matrix_info_default(&info);
            auto *out = static_cast<vok_matrix *>(vok_object_new(gensym("vok_matrix"), &info));
            for (long i = 0; i < in->info.size; i++)
                in->data[i] = low(random());
            void *x = vok_object_new(gensym(f.name));
            if (f.out_planes == 3)
                object_attr_setlong(x, gensym("noalpha"), 1);
            void *mop = vok_object_new(gensym("vok_mop"), 1L, 1L);
            vok_object_method(vok_mop_getinput(static_cast<vok_mop *>(mop), 1), gensym("matrix"), in);
            vok_object_method(vok_mop_getoutput(static_cast<vok_mop *>(mop), 1), gensym("matrix"), out);
            EXPECT_EQ(vok_object_method(mop, gensym("matrix_calc"), x), 0) << f.name;
            const long out_width = std::max(1L, static_cast<long>(static_cast<double>(width) * f.widening));
            EXPECT_EQ(out->info.dim[0], out_width) << f.name;
            EXPECT_EQ(out->info.planecount, f.out_planes) << f.name;
            const long units = f.widening < 1 ? width / 2 : width;
            for (long z = 0; z < 3; z++)
                for (long y = 0; y < 50; y++) {
                    const unsigned char *from = in->data + y * in->info.dimstride[1] + z * in->info.dimstride[2];
                    const unsigned char *to = out->data + y * out->info.dimstride[1] + z * out->info.dimstride[2];
                    const bytes expected = f.model(units, bytes(from, from + width * f.in_planes));
                    ASSERT_EQ(bytes(to, to + expected.size()), expected) << f.name << " " << width << " row " << y;
                }
            vok_object_free(mop);
            vok_object_free(x);
            vok_object_free(in);
            vok_object_free(out);
        }
}

TEST(PixelFormats, what_does_not_fit_is_refused)
{
    initialize();
    vok_matrix_info info;
    vok_matrix_info_default(&info);
    auto *out = static_cast<vok_matrix *>(vok_object_new(gensym("vok_matrix"), &info));
    for (const format &f : formats)
        for (const bool floats : {false, true}) {
            info.planecount = floats ? f.in_planes : 2;
            info.type = gensym(floats ? "float32" : "char");
            auto *in = static_cast<vok_matrix *>(vok_object_new(gensym("vok_matrix"), &info));
            void *x = vok_object_new(gensym(f.name));
            void *mop = vok_object_new(gensym("vok_mop"), 1L, 1L);
            void *input = vok_mop_getinput(static_cast<vok_mop *>(mop), 1);
            EXPECT_EQ(vok_object_method(mop, gensym("matrix_calc"), x), VOK_ERR_EROR) << f.name;
            vok_object_method(input, gensym("matrix"), in);
            vok_object_method(vok_mop_getoutput(static_cast<vok_mop *>(mop), 1), gensym("matrix"), out);
            EXPECT_EQ(vok_object_method(mop, gensym("matrix_calc"), x), floats ? VOK_ERR_MSTP : VOK_ERR_MSPL)
                << f.name;
            vok_object_free(mop);
            vok_object_free(x);
            vok_object_free(in);
        }
    vok_object_free(out);
}

TEST(PixelFormats, every_path_of_the_machine)
{
    run_on_every_path("PixelFormats.*:-*every_path*");
}

} // namespace
