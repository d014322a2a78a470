// The pixel formats against a model of one unit at a time, for every instruction set
// that the machine has.
#include "matrix/matrix_tools.h"

#include <random>

#include <vokra/vokra.h>

#include "other_paths.h"

namespace {

using byte = unsigned char;
using bytes = std::vector<byte>;

byte low(uint64_t x)
{
    return static_cast<byte>(x);
}
byte clamp(int64_t x)
{
    return static_cast<byte>(std::min<int64_t>(std::max<int64_t>(x, 0), 255));
}
int64_t down(int64_t x, int bits) // division that rounds down
{
    const int64_t d = int64_t(1) << bits;
    return x >= 0 ? x / d : -((-x + d - 1) / d);
}

uint32_t weight(const byte *rgb)
{
    return 306u * rgb[0] + 601u * rgb[1] + 116u * rgb[2];
}
byte luma(const byte *rgb)
{
    return low(weight(rgb) * 883u / (1 << 20) + 16);
}
// The chroma of two pixels together, or of one; `plane` is that of its colour.
byte chroma(const byte *rgb, const byte *other, int plane)
{
    const uint32_t w = weight(rgb) + (other ? weight(other) : 0),
                   colour = rgb[plane] + (other ? other[plane] : 0u);
    return low((((colour - w / 1024) * (plane ? 37027u : 46727u)) >> (other ? 17 : 16)) ^ 128);
}
byte full(int64_t y)
{
    return clamp(down(y * 75962 - 1215392, 16));
}
byte video(byte l)
{
    return low((l * 56540u) / 65536 + 16);
}
void put(bytes &out, std::initializer_list<byte> more)
{
    out.insert(out.end(), more);
}
void put_rgb(bytes &out, int64_t y, int64_t u, int64_t v) // chroma about 0
{
    put(out, {clamp(down(75962 * y + 91947 * v - 1215392, 16)),
              clamp(down(75962 * y - 22544 * u - 46792 * v - 1215392, 16)),
              clamp(down(75962 * y + 115998 * u - 1215392, 16))});
}

// What becomes of a unit, a pixel or a pair of them; `before` is the unit ahead of it, or itself.
using unit = void (*)(bytes &out, const byte *in, const byte *before);

void argb2ayuv(bytes &out, const byte *in, const byte *)
{
    put(out, {in[0], luma(in + 1), chroma(in + 1, nullptr, 2), chroma(in + 1, nullptr, 0)});
}
template <int planes> void argb2uyvy(bytes &out, const byte *in, const byte *)
{
    const byte *a = in + planes - 3, *b = a + planes;
    put(out, {chroma(a, b, 2), luma(a), chroma(a, b, 0), luma(b)});
}
template <int planes> void ayuv2uyvy(bytes &out, const byte *in, const byte *)
{
    const byte *a = in + planes - 3, *b = a + planes;
    put(out, {low((a[1] + b[1]) / 2), a[0], low((a[2] + b[2]) / 2), b[0]});
}
void ayuv2argb(bytes &out, const byte *in, const byte *)
{
    put(out, {in[0]});
    put_rgb(out, in[1], in[2] - 128, in[3] - 128);
}
template <int planes> void uyvy2argb(bytes &out, const byte *in, const byte *before)
{
    out.resize(out.size() + planes - 3, 255);
    put_rgb(out, in[1], down(in[0] + before[0] - 256, 1), down(in[2] + before[2] - 256, 1));
    out.resize(out.size() + planes - 3, 255);
    put_rgb(out, in[3], in[0] - 128, in[2] - 128);
}
template <int planes> void uyvy2ayuv(bytes &out, const byte *in, const byte *before)
{
    out.resize(out.size() + planes - 3, 255);
    put(out, {in[1], low((before[0] + in[0]) / 2), low((before[2] + in[2]) / 2)});
    out.resize(out.size() + planes - 3, 255);
    put(out, {in[3], in[0], in[2]});
}
void uyvy2luma(bytes &out, const byte *in, const byte *)
{
    put(out, {full(in[1]), full(in[3])});
}
void ayuv2luma(bytes &out, const byte *in, const byte *)
{
    put(out, {full(in[1])});
}
void luma2ayuv(bytes &out, const byte *in, const byte *)
{
    put(out, {255, video(in[0]), 128, 128});
}
void luma2uyvy(bytes &out, const byte *in, const byte *)
{
    put(out, {128, video(in[0]), 128, video(in[1])});
}
void exchange(bytes &out, const byte *in, const byte *)
{
    put(out, {in[1], in[0], in[3], in[2]});
}

struct format {
    const char *name;
    long in_bytes; // of a unit
    long in_planes, out_planes;
    double widening; // of dim[0]
    void (*fast)(long, void *, void *);
    unit model;

    bytes expected(long n, const byte *in) const
    {
        bytes out;
        for (long i = 0; i < n; i++, in += in_bytes)
            model(out, in, i ? in - in_bytes : in);
        return out;
    }
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
        decltype(format::fast) fast;
        bytes in, out;
    } rows[] = {
        {vok_argb2ayuv_vector_char, {255, 0, 0, 255}, {255, 40, 0, 108}},
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
            bytes in(static_cast<size_t>(n * f.in_bytes + 1));
            for (byte &b : in)
                b = random() % 4 ? low(random()) : low(random() % 2 ? 0 : 255);
            bytes expected = f.expected(n, in.data() + 1), out(expected.size() + 17, 0xa5);
            f.fast(n, in.data() + 1, out.data() + 1);
            expected.insert(expected.begin(), 0xa5);
            expected.resize(out.size(), 0xa5);
            EXPECT_EQ(out, expected) << f.name << " " << n;
        }
}

class PixelMatrices : public Library {
  protected:
    // Null matrices aren't put in.
    static long calculate(const format &f, vok_matrix *in, vok_matrix *out)
    {
        void *x = vok_object_new(gensym(f.name));
        if (f.out_planes == 3)
            object_attr_setlong(x, gensym("noalpha"), 1);
        auto *mop = static_cast<vok_mop *>(vok_object_new(gensym("vok_mop"), 1L, 1L));
        for (const auto &[io, m] : {std::pair{vok_mop_getinput(mop, 1), in}, {vok_mop_getoutput(mop, 1), out}})
            if (m)
                send_words(io, "matrix", as_word(m));
        const long code = send_words(mop, "matrix_calc", as_word(x));
        vok_object_free(mop);
        vok_object_free(x);
        return code;
    }
};

// Whole matrices of three dimensions and odd widths, split among workers.
TEST_F(PixelMatrices, equal_the_model)
{
    std::mt19937 random(11);
    for (const format &f : formats)
        for (const long width : {1L, 5L, 130L}) {
            const matrix in("char", f.in_planes, {width, 50, 3}), out("char", 4, {1, 1});
            std::generate_n(in->data, in->info.size, [&] { return low(random()); });
            EXPECT_EQ(calculate(f, in, out), 0) << f.name;
            const long out_width = std::max(1L, static_cast<long>(static_cast<double>(width) * f.widening));
            const vok_matrix_info wanted = shape("char", f.out_planes, {out_width, 50, 3});
            ASSERT_EQ(format_of(out->info), format_of(wanted)) << f.name;
            for (long z = 0; z < 3; z++)
                for (long y = 0; y < 50; y++) {
                    const byte *from = in->data + y * in->info.dimstride[1] + z * in->info.dimstride[2];
                    const byte *to = out->data + y * out->info.dimstride[1] + z * out->info.dimstride[2];
                    const bytes expected = f.expected(f.widening < 1 ? width / 2 : width, from);
                    ASSERT_EQ(bytes(to, to + expected.size()), expected) << f.name << " " << width << " row " << y;
                }
        }
}

TEST_F(PixelMatrices, what_does_not_fit_is_refused)
{
    const matrix out("char", 4, {1, 1}), floats("float32", 4, {1, 1}), two("char", 2, {1, 1});
    for (const format &f : formats) {
        EXPECT_EQ(calculate(f, nullptr, nullptr), VOK_ERR_EROR) << f.name;
        EXPECT_EQ(calculate(f, floats, out), VOK_ERR_MSTP) << f.name;
        EXPECT_EQ(calculate(f, two, out), VOK_ERR_MSPL) << f.name;
    }
}

TEST(PixelFormats, every_path_of_the_machine)
{
    run_on_every_path("Pixel*:-*every_path*");
}

} // namespace
