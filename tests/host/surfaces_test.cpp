// Surfaces and PNG: every kind of PNG read, written and read back, and what a reader
// meets in the wild: damaged, cut short, oversized and misnamed files.
#include "pictures.h"

#include <cmath>
#include <png.h>
#include <random>
#include <scratch.h>

namespace {

using namespace pictures;

struct surface_owner {
    zan_surface *s;
    explicit surface_owner(zan_surface *taken) : s(taken) {}
    ~surface_owner() { zgraphics_surface_destroy(s); }
    surface_owner(const surface_owner &) = delete;
    surface_owner &operator=(const surface_owner &) = delete;
    operator zan_surface *() const { return s; }
};

// All pixels without the padding between rows.
std::vector<unsigned char> pixels_of(zan_surface *s)
{
    const long width = zgraphics_image_surface_get_width(s), height = zgraphics_image_surface_get_height(s);
    long stride = 0, bytes = 0;
    const unsigned char *p = zgraphics_image_surface_lockpixels_readonly(s, 0, 0, width, height, &stride, &bytes);
    std::vector<unsigned char> out;
    for (long y = 0; p && y < height; ++y)
        out.insert(out.end(), p + y * stride, p + y * stride + width * bytes);
    zgraphics_image_surface_unlockpixels_readonly(s, p);
    return out;
}

zan_surface *on_pixels(std::vector<unsigned char> &pixels, long format, long width, long height)
{
    return zgraphics_image_surface_create_for_data(pixels.data(), format, width, height,
                                                   width * (format == 1 ? 3 : 4), nullptr, nullptr);
}

std::vector<unsigned char> random_pixels(size_t count, unsigned seed)
{
    std::mt19937 random(seed);
    std::vector<unsigned char> pixels(count * 4);
    for (size_t i = 0; i < pixels.size(); i += 4) {
        const unsigned a = i % 3 ? random() % 256 : 255;
        for (size_t c = 0; c < 3; ++c)
            pixels[i + c] = static_cast<unsigned char>(random() % (a + 1));
        pixels[i + 3] = static_cast<unsigned char>(a);
    }
    return pixels;
}

class surfaces : public testing::Test {
  protected:
    zan_surface *read(const std::string &name)
    {
        return zgraphics_image_surface_create_from_file(name.c_str(), 0);
    }
    zan_surface *read_bytes(const std::string &bytes) { return read(in.hold(bytes)); }
    // What stands in a PNG of ours when it is read.
    zan_surface *written(zan_surface *s, long dpi = 72)
    {
        EXPECT_EQ(zgraphics_image_surface_writepng(s, (scratch / "out.png").c_str(), 0, dpi), 0);
        return read(scratch / "out.png");
    }
    // Reading must fail with one error that names the file and has `words` in it.
    void expect_refused(const std::string &bytes, const std::string &words)
    {
        const std::string name = in.hold(bytes);
        const surface_owner s(read(name));
        EXPECT_EQ(s.s, nullptr) << words;
        const std::string error = reports.one_error();
        EXPECT_EQ(error.find(name + ": "), 0u) << error;
        EXPECT_NE(error.find(words), std::string::npos) << error;
    }
    memory_file in;
    scratch_folder scratch;
    report_catcher reports;
};

// Red, green, blue, alpha of one pixel as the file means it, on a scale of 0 to 1.
std::array<double, 4> meant(const png &p, uint32_t x, uint32_t y, const std::vector<std::array<int, 4>> &colours,
                            const std::vector<uint16_t> &clear)
{
    const double most = (1 << p.depth) - 1;
    std::array<double, 4> out{0, 0, 0, 1};
    if (p.colour == palette) {
        const auto &c = colours[p.sample(x, y, 0)];
        for (size_t i = 0; i < 4; ++i)
            out[i] = c[i] / 255.0;
        return out;
    }
    const bool colour = p.colour & 2;
    bool is_clear = !clear.empty();
    for (int i = 0; i < 3; ++i) {
        const uint16_t v = p.sample(x, y, colour ? i : 0);
        out[static_cast<size_t>(i)] = v / most;
        is_clear = is_clear && v == clear[colour ? static_cast<size_t>(i) : 0];
    }
    if (p.colour & 4)
        out[3] = p.sample(x, y, channels(p.colour) - 1) / most;
    return is_clear ? std::array<double, 4>{out[0], out[1], out[2], 0} : out;
}

TEST_F(surfaces, every_kind_of_png_is_read)
{
    const struct {
        int colour, depth;
    } kinds[] = {{grey, 1},    {grey, 2},       {grey, 4},        {grey, 8},      {grey, 16},
                 {rgb, 8},     {rgb, 16},       {palette, 1},     {palette, 2},   {palette, 4},
                 {palette, 8}, {grey_alpha, 8}, {grey_alpha, 16}, {rgb_alpha, 8}, {rgb_alpha, 16}};
    const std::pair<uint32_t, uint32_t> sizes[] = {{1, 1}, {3, 5}, {9, 7}, {33, 2}, {2, 33}, {64, 64}};
    std::mt19937 random(1);
    for (const auto &kind : kinds)
        for (const auto &[width, height] : sizes)
            for (int variant = 0; variant < 4; ++variant) {
                png p{width, height, kind.depth, kind.colour, bool(variant & 1)};
                const uint32_t levels = 1u << p.depth;
                for (size_t i = 0; i < size_t(width) * height * static_cast<size_t>(channels(p.colour)); ++i)
                    p.samples.push_back(static_cast<uint16_t>(random() % levels));
                std::vector<std::array<int, 4>> colours(levels > 256 ? 0 : levels, {0, 0, 0, 255});
                std::vector<uint16_t> clear;
                std::string plte, trns;
                for (auto &c : colours) {
                    for (size_t i = 0; i < 3; ++i)
                        plte += static_cast<char>(c[i] = static_cast<int>(random() % 256));
                    if (variant & 2)
                        trns += static_cast<char>(c[3] = static_cast<int>(random() % 256));
                }
                if (p.colour != palette) {
                    plte = trns = "";
                    if ((variant & 2) && !(p.colour & 4)) // the first pixel's colour is the clear one
                        for (int i = 0; i < channels(p.colour); ++i) {
                            clear.push_back(p.sample(0, 0, i));
                            trns += {static_cast<char>(clear.back() >> 8), static_cast<char>(clear.back())};
                        }
                }
                p.chunks =
                    (plte.empty() ? "" : png_chunk("PLTE", plte)) + (trns.empty() ? "" : png_chunk("tRNS", trns));

                const std::string what = "colour type " + std::to_string(p.colour) + " depth " +
                                         std::to_string(p.depth) + " " + std::to_string(width) + "x" +
                                         std::to_string(height) + " variant " + std::to_string(variant);
                const surface_owner s(read_bytes(p.file()));
                ASSERT_NE(s.s, nullptr) << what;
                ASSERT_EQ(zgraphics_image_surface_get_width(s), width) << what;
                ASSERT_EQ(zgraphics_image_surface_get_height(s), height) << what;
                EXPECT_EQ(zgraphics_image_surface_get_dpi(s), 72) << what;
                const std::vector<unsigned char> got = pixels_of(s);
                for (uint32_t y = 0, at = 0; y < height; ++y)
                    for (uint32_t x = 0; x < width; ++x, at += 4) {
                        const auto m = meant(p, x, y, colours, clear);
                        const double alpha = std::round(m[3] * 255);
                        ASSERT_EQ(got[at + 3], alpha) << what;
                        for (size_t i = 0; i < 3; ++i)
                            ASSERT_EQ(got[at + 2 - i], std::round(std::round(m[i] * 255) * alpha / 255))
                                << what << " at " << x << "," << y;
                    }
            }
    EXPECT_TRUE(reports.take().empty());
}

TEST_F(surfaces, four_bytes_come_back_as_they_were)
{
    const auto comes_back = [this](std::vector<unsigned char> pixels, long width, long height) {
        const surface_owner s(on_pixels(pixels, 0, width, height));
        ASSERT_NE(s.s, nullptr);
        const surface_owner back(written(s));
        ASSERT_NE(back.s, nullptr) << width << "x" << height;
        EXPECT_TRUE(pixels_of(back) == pixels) << width << "x" << height;
    };
    const std::pair<long, long> sizes[] = {{1, 1},   {1, 7},   {7, 1},     {5, 3},
                                           {31, 33}, {640, 3}, {40000, 2}, {2, 40000}};
    for (const auto &[width, height] : sizes)
        comes_back(random_pixels(static_cast<size_t>(width * height), 2), width, height);
    std::vector<unsigned char> premultiplied; // every value there is
    for (int a = 0; a < 256; ++a)
        for (int c = 0; c < 256; ++c)
            for (const int v : {std::min(c, a), std::max(a - c, 0), a / 2, a})
                premultiplied.push_back(static_cast<unsigned char>(v));
    comes_back(premultiplied, 256, 256);
    EXPECT_EQ(scratch.count(), 1);
}

// What another reader finds in a file of ours, four bytes a pixel.
std::vector<unsigned char> read_elsewhere(const std::string &name, uint32_t &format)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_TRUE(png_image_begin_read_from_file(&image, name.c_str())) << image.message;
    format = image.format;
    image.format = PNG_FORMAT_RGBA;
    std::vector<unsigned char> pixels(PNG_IMAGE_SIZE(image));
    EXPECT_TRUE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr)) << image.message;
    return pixels;
}

TEST_F(surfaces, a_png_holds_plain_colours)
{
    using bytes = std::vector<unsigned char>;
    const struct {
        long format;
        bytes pixel, file; // blue green red alpha, or red green blue; then what stands in the file
        uint32_t kind;
    } rows[] = {
        {0, {30, 20, 10, 255}, {10, 20, 30, 255}, PNG_FORMAT_RGBA},
        {0, {25, 50, 100, 128}, {199, 100, 50, 128}, PNG_FORMAT_RGBA},
        {0, {3, 2, 1, 0}, {1, 2, 3, 0}, PNG_FORMAT_RGBA},                // clear: as it stands
        {0, {200, 100, 50, 100}, {128, 255, 255, 100}, PNG_FORMAT_RGBA}, // more colour than alpha: limited
        {1, {10, 20, 30}, {10, 20, 30, 255}, PNG_FORMAT_RGB},
    };
    for (const auto &row : rows) {
        bytes pixel = row.pixel;
        const surface_owner s(on_pixels(pixel, row.format, 1, 1));
        zgraphics_surface_destroy(written(s));
        uint32_t kind = 0;
        EXPECT_EQ(read_elsewhere(scratch / "out.png", kind), row.file);
        EXPECT_EQ(kind, row.kind);
    }
}

TEST_F(surfaces, resolution_is_kept)
{
    std::vector<unsigned char> pixel{1, 2, 3, 255};
    const surface_owner s(on_pixels(pixel, 0, 1, 1));
    for (const long dpi : {1L, 72L, 96L, 150L, 240L, 299L, 300L, 600L, 2400L}) {
        const surface_owner back(written(s, dpi)), again(written(back, 0));
        EXPECT_NEAR(zgraphics_image_surface_get_dpi(back), static_cast<double>(dpi), 0.013);
        EXPECT_EQ(zgraphics_image_surface_get_dpi(again), zgraphics_image_surface_get_dpi(back));
    }
    const struct {
        uint32_t x, y;
        char unit;
        double dpi;
    } rows[] = {{11811, 11811, 1, 300},
                {2835, 11811, 1, 72.01},
                {3937, 3937, 0, 72},
                {0, 0, 1, 72},
                {0x7fffffff, 1, 1, 54546084.63}};
    for (const auto &row : rows) {
        png p;
        p.samples = {1, 2, 3};
        p.chunks = png_chunk("pHYs", be32(row.x) + be32(row.y) + row.unit);
        const surface_owner with(read_bytes(p.file()));
        ASSERT_NE(with.s, nullptr);
        EXPECT_NEAR(zgraphics_image_surface_get_dpi(with), row.dpi, 0.01) << row.x;
    }
}

png small_png()
{
    png p{5, 4, 8, rgb_alpha};
    for (uint16_t i = 0; i < 80; ++i)
        p.samples.push_back(static_cast<uint16_t>(i * 3));
    p.chunks = png_chunk("pHYs", be32(11811) + be32(11811) + '\1');
    return p;
}

TEST_F(surfaces, no_prefix_of_a_png_is_a_png)
{
    for (const bool interlaced : {false, true}) {
        png p = small_png();
        p.interlaced = interlaced;
        const std::string whole = p.file();
        for (size_t size = 1; size < whole.size(); ++size)
            expect_refused(whole.substr(0, size), "this PNG is ");
        const surface_owner s(read_bytes(whole + "something behind it"));
        EXPECT_NE(s.s, nullptr);
    }
}

TEST_F(surfaces, damage_in_a_png_is_found_or_harmless)
{
    const std::string whole = small_png().file();
    const surface_owner good(read_bytes(whole));
    const std::vector<unsigned char> expected = pixels_of(good);
    size_t found = 0;
    for (size_t at = 0; at < whole.size(); ++at)
        for (const int flip : {1, 0x80, 0xff}) {
            std::string bytes = whole;
            bytes[at] = static_cast<char>(bytes[at] ^ flip);
            const surface_owner s(read_bytes(bytes));
            if (s.s) { // in the resolution's chunk only
                EXPECT_TRUE(pixels_of(s) == expected) << "byte " << at;
            }
            found += !s.s;
            EXPECT_EQ(reports.take(zan_report_error).size(), s.s ? 0u : 1u);
        }
    EXPECT_GT(found, whole.size() * 2);
}

TEST_F(surfaces, a_file_is_judged_by_its_first_bytes)
{
    const struct {
        std::string bytes, words;
    } rows[] = {
        {"GIF89a\1\0\1\0", "this is a GIF, not a PNG or JPEG"},
        {std::string("BM\x46\0\0\0\0\0\0\0\x36", 11), "this is a BMP, not a PNG or JPEG"},
        {std::string("II*\0\x8\0\0\0", 8), "this is a TIFF, not a PNG or JPEG"},
        {std::string("RIFF\x24\0\0\0WEBPVP8 ", 16), "this is a WebP, not a PNG or JPEG"},
        {std::string("\0\0\0\x1c"
                     "ftypavif",
                     12),
         "this is an AVIF, not a PNG or JPEG"},
        {std::string("FORM\0\0\0\x48VOK!FVER", 16), "this is a matrix file, not a PNG or JPEG"},
        {"%PDF-1.7\n", "this is a PDF, not a PNG or JPEG"},
        {"P6\n1 1\n255\nabc", "this is a PNM, not a PNG or JPEG"},
        {"<svg xmlns=\"\"/>", "this is an SVG, not a PNG or JPEG"},
        {"hello, world\n", "this is a text file, not a PNG or JPEG"},
        {"", "this is an empty file, not a PNG or JPEG"},
        {std::string("\1\2\3\0\4", 5), "this is neither a PNG nor a JPEG"},
        {"\x89PN", "this PNG is cut short"},
        {"\xff", "this JPEG is cut short"},
        {"\x89MNG\r\n\x1a\n", "this is neither a PNG nor a JPEG"},
    };
    for (const auto &row : rows) {
        expect_refused(row.bytes, row.words);
        for (const char *name : {"a.png", "b.jpg"}) {
            EXPECT_EQ(read(scratch.make(name, row.bytes)), nullptr);
            EXPECT_EQ(reports.one_error(), (scratch / name) + ": " + row.words);
        }
    }
    const surface_owner s(read(scratch.make("misnamed.jpg", small_png().file())));
    EXPECT_NE(s.s, nullptr);

    EXPECT_EQ(read(scratch / "missing.png"), nullptr);
    EXPECT_EQ(reports.one_error(), (scratch / "missing.png") + ": can't be read: No such file or directory");
    EXPECT_EQ(read(scratch.name()), nullptr);
    EXPECT_NE(reports.one_error().find("directory"), std::string::npos);
    EXPECT_EQ(zgraphics_image_surface_create_from_file("a.png", 99), nullptr);
    reports.one_error();
}

TEST_F(surfaces, promises_that_a_file_cannot_keep_cost_nothing)
{
    const struct {
        png promised;
        const char *words;
    } rows[] = {
        {{30000, 30000, 8, rgb}, "too large: more than 2^28 pixels"},
        {{1000000, 1000, 16, rgb_alpha}, "too large: more than 2^28 pixels"},
        {{16384, 16384, 16, rgb_alpha}, "cut short"},
        {{16000, 16000, 1, grey}, "cut short"},
        {{0, 1, 8, rgb}, "damaged"},
        {{0x7fffffff, 0x7fffffff, 8, rgb}, "damaged"},
    };
    for (const auto &row : rows)
        expect_refused(row.promised.header() + png_chunk("IDAT", zlib_stored("abc")) + png_chunk("IEND", ""),
                       row.words);
}

TEST_F(surfaces, a_failed_write_leaves_the_old_file)
{
    std::vector<unsigned char> pixels(70000 * 4, 255);
    const surface_owner wide(on_pixels(pixels, 0, 70000, 1));
    const std::string old = scratch.make("old.jpg", "the old one");
    EXPECT_EQ(zgraphics_image_surface_writejpeg(wide, old.c_str(), 0), zan_err_generic);
    EXPECT_NE(reports.one_error().find("65500"), std::string::npos);
    EXPECT_EQ(bytes_of(old), "the old one");
    EXPECT_EQ(zgraphics_image_surface_writepng(wide, (scratch / "no/folder/x.png").c_str(), 0, 72),
              zan_err_generic);
    EXPECT_EQ(reports.one_error(),
              (scratch / "no/folder/x.png") + ": can't be written: No such file or directory");
    EXPECT_EQ(zgraphics_image_surface_writepng(wide, scratch.name().c_str(), 0, 72), zan_err_generic);
    EXPECT_NE(reports.one_error().find("directory"), std::string::npos);
    EXPECT_EQ(scratch.count(), 1);
    if (access("/dev/full", W_OK) == 0) {
        EXPECT_EQ(zgraphics_image_surface_writepng(wide, "/dev/full", 0, 72), zan_err_generic);
        EXPECT_EQ(reports.one_error(), "/dev/full: can't be written: No space left on device");
    }
    EXPECT_EQ(zgraphics_image_surface_writepng(nullptr, "x.png", 0, 72), zan_err_invalid_ptr);
    EXPECT_EQ(zgraphics_image_surface_writejpeg(wide, "", 0), zan_err_invalid_ptr);
}

TEST_F(surfaces, a_write_goes_through_a_link_and_keeps_the_mode)
{
    const std::string real = scratch.make("real.png", "old");
    std::filesystem::permissions(real, std::filesystem::perms(0640));
    std::filesystem::create_symlink("real.png", scratch / "link.png");
    std::vector<unsigned char> pixel{1, 2, 3, 255};
    const surface_owner s(on_pixels(pixel, 0, 1, 1));
    ASSERT_EQ(zgraphics_image_surface_writepng(s, (scratch / "link.png").c_str(), 0, 72), 0);
    EXPECT_TRUE(std::filesystem::is_symlink(scratch / "link.png"));
    EXPECT_EQ(std::filesystem::status(real).permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(bytes_of(real).substr(1, 3), "PNG");
}

TEST_F(surfaces, bad_pixels_make_no_surface)
{
    unsigned char pixels[64] = {};
    static int destroyed;
    destroyed = 0;
    const auto destroy = [](void *data) { destroyed += *static_cast<int *>(data); };
    int step = 10;
    const struct {
        unsigned char *pixels;
        long format, width, height, stride;
        bool good;
    } rows[] = {
        {pixels, 0, 4, 4, 16, true},   {pixels, 0, 3, 4, 16, true},
        {pixels, 1, 5, 4, 16, true},   {pixels, 0, 3, 4, 13, true},
        {nullptr, 0, 4, 4, 16, false}, {pixels, 2, 4, 4, 16, false},
        {pixels, -1, 4, 4, 16, false}, {pixels, 0, 0, 4, 16, false},
        {pixels, 0, 4, 0, 16, false},  {pixels, 0, -4, 4, 16, false},
        {pixels, 0, 4, 4, 15, false},  {pixels, 1, 4, 4, 11, false},
        {pixels, 0, 4, 4, -16, false}, {pixels, 0, 1L << 40, 4, 1L << 43, false},
    };
    int expected = 0;
    for (const auto &row : rows) {
        zan_surface *s = zgraphics_image_surface_create_for_data(row.pixels, row.format, row.width, row.height,
                                                                 row.stride, destroy, &step);
        EXPECT_EQ(s != nullptr, row.good) << row.width << " " << row.stride;
        EXPECT_EQ(destroyed, expected);
        zgraphics_surface_destroy(s);
        expected += row.good ? step : 0;
        EXPECT_EQ(destroyed, expected);
    }
    zgraphics_surface_destroy(nullptr);
    EXPECT_EQ(zgraphics_image_surface_get_width(nullptr), 0);
}

TEST_F(surfaces, locking_stays_inside)
{
    std::vector<unsigned char> pixels(10 * 6 * 4);
    const surface_owner s(on_pixels(pixels, 0, 10, 6));
    const struct {
        long x, y, width, height;
        bool good;
    } rows[] = {{0, 0, 10, 6, true},  {9, 5, 1, 1, true},         {3, 2, 7, 4, true},        {0, 0, 11, 6, false},
                {0, 0, 10, 7, false}, {-1, 0, 2, 2, false},       {0, -1, 2, 2, false},      {10, 0, 1, 1, false},
                {0, 0, 0, 1, false},  {1, 1, LONG_MAX, 1, false}, {LONG_MAX, 1, 1, 1, false}};
    for (const auto &row : rows) {
        long stride = 0, bytes = 0;
        const unsigned char *p =
            zgraphics_image_surface_lockpixels_readonly(s, row.x, row.y, row.width, row.height, &stride, &bytes);
        EXPECT_EQ(p, row.good ? pixels.data() + row.y * 40 + row.x * 4 : nullptr) << row.x << "," << row.y;
        if (p) {
            EXPECT_EQ(stride, 40);
            EXPECT_EQ(bytes, 4);
        }
    }
}

TEST_F(surfaces, a_sketch_image_holds_a_file)
{
    const std::string file = scratch.make("p.png", small_png().file());
    symbol *sketch = gensym("sketch_image");
    const long before = zan_object_count(sketch);
    const auto make = [&](zan_word argc, void *argv) {
        return object_new_imp(gensym("nobox"), sketch, argc, reinterpret_cast<zan_word>(argv), 0, 0, 0, 0, 0, 0);
    };
    const auto surface_of = [](void *x) {
        return reinterpret_cast<zan_surface *>(
            object_method_imp(x, gensym("get_image_surface"), 0, 0, 0, 0, 0, 0, 0, 0));
    };
    atom a;
    atom_setsym(&a, gensym(file.c_str()));
    void *x = make(1, &a);
    ASSERT_NE(x, nullptr);
    const surface_owner s(surface_of(x)), same(surface_of(x));
    object_free(x);
    ASSERT_NE(s.s, nullptr);
    EXPECT_EQ(zgraphics_image_surface_get_width(s), 5); // outlives the object
    EXPECT_EQ(pixels_of(same).size(), 80u);
    x = make(reinterpret_cast<zan_word>(gensym(file.c_str())), nullptr);
    EXPECT_NE(x, nullptr); // a name alone
    object_free(x);
    atom_setsym(&a, gensym("missing.png"));
    EXPECT_EQ(make(1, &a), nullptr);
    EXPECT_NE(reports.one_error().find("missing.png"), std::string::npos);
    EXPECT_EQ(make(0, nullptr), nullptr);
    EXPECT_NE(reports.one_error().find("sketch_image"), std::string::npos);
    EXPECT_EQ(zan_object_count(sketch), before);
}

} // namespace
