// Surfaces and picture files: every kind of PNG and JPEG read, written and read back, and
// what a reader meets in the wild: damaged, cut short, oversized and misnamed files.
#include "kernel_fixture.h"
#include "pictures.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <jpeglib.h>
#include <memory>
#include <png.h>
#include <random>

namespace {

using namespace pictures;
using bytes = std::vector<unsigned char>;

struct surface : std::unique_ptr<zan_surface, void (*)(zan_surface *)> {
    explicit surface(zan_surface *s) : unique_ptr(s, zgraphics_surface_destroy) {}
    operator zan_surface *() const { return get(); }
};

// All pixels without the padding between rows.
bytes pixels_of(zan_surface *s)
{
    const long width = zgraphics_image_surface_get_width(s), height = zgraphics_image_surface_get_height(s);
    long stride = 0, cell = 0;
    const unsigned char *p = zgraphics_image_surface_lockpixels_readonly(s, 0, 0, width, height, &stride, &cell);
    bytes out;
    for (long y = 0; p && y < height; ++y)
        out.insert(out.end(), p + y * stride, p + y * stride + width * cell);
    zgraphics_image_surface_unlockpixels_readonly(s, p);
    return out;
}

surface on_pixels(bytes &pixels, long format, long width, long height)
{
    return surface(zgraphics_image_surface_create_for_data(pixels.data(), format, width, height,
                                                           width * (format ? 3 : 4), nullptr, nullptr));
}

class surfaces : public testing::Test {
  protected:
    surface read(const std::string &file)
    {
        return surface(zgraphics_image_surface_create_from_file(in.hold(file).c_str(), 0));
    }
    // What stands in a file of ours when it is read.
    surface written(zan_surface *s, const char *name = "out.png", long dpi = 0)
    {
        const std::string full = scratch / name;
        EXPECT_EQ(strstr(name, ".jpg") ? zgraphics_image_surface_writejpeg(s, full.c_str(), 0)
                                       : zgraphics_image_surface_writepng(s, full.c_str(), 0, dpi),
                  0);
        return surface(zgraphics_image_surface_create_from_file(full.c_str(), 0));
    }
    // Reading must fail with one error that has `words` in it.
    void expect_refused(const std::string &file, const std::string &words)
    {
        EXPECT_FALSE(read(file)) << words;
        const std::string error = reports.one_error();
        EXPECT_NE(error.find(words), std::string::npos) << error;
    }
    memory_file in;
    scratch_folder scratch;
    report_catcher reports;
};
using jpeg = surfaces;

// ---- PNG ----

TEST_F(surfaces, every_kind_of_png_is_read)
{
    constexpr std::pair<int, int> of[] = {{grey, 1},        {grey, 2},      {grey, 4},      {grey, 8},
                                          {grey, 16},       {rgb, 8},       {rgb, 16},      {palette, 1},
                                          {palette, 2},     {palette, 4},   {palette, 8},   {grey_alpha, 8},
                                          {grey_alpha, 16}, {rgb_alpha, 8}, {rgb_alpha, 16}};
    constexpr std::pair<uint32_t, uint32_t> sizes[] = {{1, 1}, {3, 5}, {9, 7}, {33, 2}, {2, 33}, {64, 64}};
    std::mt19937 random(1);
    for (const auto &[colour, depth] : of)
        for (const auto &[wide, high] : sizes)
            for (int variant = 0; variant < 4; ++variant) {
                SCOPED_TRACE(testing::Message() << colour << " " << depth << " " << wide << " " << variant);
                png p{wide, high, depth, colour, bool(variant & 1)};
                const uint32_t levels = 1u << depth;
                p.samples.resize(size_t(wide) * high * size_t(channels(colour)));
                for (uint16_t &sample : p.samples)
                    sample = static_cast<uint16_t>(random() % levels);
                std::string plte, trns; // the clear colour is the first pixel's
                for (uint32_t i = 0; i < (colour == palette ? 3 * levels : 0); ++i) {
                    plte += static_cast<char>(random());
                    if (variant & 2 && i < levels)
                        trns += static_cast<char>(random());
                }
                for (int i = 0; variant & 2 && (colour == grey || colour == rgb) && i < channels(colour); ++i)
                    trns += {static_cast<char>(p.sample(0, 0, i) >> 8), static_cast<char>(p.sample(0, 0, i))};
                for (const auto &[name, data] : {std::pair("PLTE", plte), {"tRNS", trns}})
                    p.chunks += data.empty() ? "" : png_chunk(name, data);
                const auto meant = [&](uint32_t x, uint32_t y, int c) -> double { // red, green, blue, alpha
                    const size_t v = p.sample(x, y, 0);
                    if (p.colour == palette)
                        return c < 3 ? uint8_t(plte[3 * v + size_t(c)]) : trns.empty() ? 255 : uint8_t(trns[v]);
                    const int from = c == 3 ? channels(p.colour) - 1 : p.colour & 2 ? c : 0;
                    if (c < 3 || p.colour & 4)
                        return std::round(p.sample(x, y, from) * 255.0 / (levels - 1));
                    bool clear = !trns.empty();
                    for (int i = 0; i < channels(p.colour); ++i)
                        clear = clear && p.sample(x, y, i) == p.sample(0, 0, i);
                    return clear ? 0 : 255;
                };
                const surface s(read(p.file()));
                const bytes got = pixels_of(s);
                ASSERT_EQ(got.size(), size_t(4) * wide * high);
                for (uint32_t y = 0, at = 0; y < high; ++y)
                    for (uint32_t x = 0; x < wide; ++x, at += 4) {
                        const double alpha = meant(x, y, 3);
                        ASSERT_EQ(got[at + 3], alpha);
                        for (int c = 0; c < 3; ++c)
                            ASSERT_EQ(got[at + 2 - uint32_t(c)], std::round(meant(x, y, c) * alpha / 255)) << x;
                    }
            }
    EXPECT_TRUE(reports.take().empty());
}

TEST_F(surfaces, four_bytes_come_back_as_they_were_and_a_png_holds_plain_colours)
{
    std::mt19937 random(2);
    bytes premultiplied; // every value there is, colours above alpha too
    for (int i = 0; i < 256 * 256; ++i)
        for (const int v : {i % 256, std::max(i / 256 - i % 256, 0), i / 512, i / 256})
            premultiplied.push_back(static_cast<unsigned char>(v));
    for (const auto &[wide, high] :
         {std::pair(1L, 1L), {7, 1}, {5, 3}, {31, 33}, {40000, 2}, {2, 40000}, {256, 256}}) {
        SCOPED_TRACE(wide);
        bytes pixels(size_t(wide * high * 4)), found(pixels.size());
        for (unsigned char &v : pixels)
            v = static_cast<unsigned char>(random());
        if (wide == 256)
            pixels = premultiplied;
        const surface back = written(on_pixels(pixels, 0, wide, high));
        png_image image{}; // what another reader finds
        image.version = PNG_IMAGE_VERSION;
        ASSERT_TRUE(png_image_begin_read_from_file(&image, (scratch / "out.png").c_str())) << image.message;
        EXPECT_EQ(image.format, PNG_FORMAT_RGBA);
        ASSERT_TRUE(png_image_finish_read(&image, nullptr, found.data(), 0, nullptr)) << image.message;
        for (size_t i = 0; i < pixels.size(); ++i) {
            const int alpha = pixels[i | 3];
            const double plain = alpha && i % 4 != 3 ? std::round(pixels[i] * 255.0 / alpha) : pixels[i];
            ASSERT_EQ(found[i % 4 == 3 ? i : i + 2 - 2 * (i % 4)], std::min(plain, 255.0)) << i;
            pixels[i] = std::min<unsigned char>(pixels[i], pixels[i | 3]);
        }
        EXPECT_TRUE(pixels_of(back) == pixels);
    }
    bytes pixel{10, 20, 30}, turned{30, 20, 10, 255};
    EXPECT_EQ(pixels_of(written(on_pixels(pixel, 1, 1, 1))), turned);
    EXPECT_EQ(bytes_of(scratch / "out.png")[25], PNG_COLOR_TYPE_RGB);
    EXPECT_EQ(scratch.count(), 1);
}

png small_png(bool interlaced = false)
{
    png p{5, 4, 8, rgb_alpha, interlaced};
    for (uint16_t i = 0; i < 80; ++i)
        p.samples.push_back(static_cast<uint16_t>(i * 3));
    p.chunks = png_chunk("pHYs", be32(11811) + be32(11811) + '\1');
    return p;
}

// ---- JPEG ----

constexpr int width = 37, height = 23;

struct jpeg_kind {
    J_COLOR_SPACE stored;
    bool adobe = true; // inks only: with Adobe's mark (and its inverted inks)
    bool progressive = false, arithmetic = false;
    bool inks() const { return stored == JCS_CMYK || stored == JCS_YCCK; }
};
constexpr jpeg_kind kinds[] = {{JCS_YCbCr},
                               {JCS_RGB},
                               {JCS_YCbCr, true, true},
                               {JCS_YCbCr, true, false, true},
                               {JCS_GRAYSCALE},
                               {JCS_GRAYSCALE, true, true},
                               {JCS_CMYK},
                               {JCS_YCCK},
                               {JCS_CMYK, false}};

// The picture every test draws: slow ramps, so that nothing of it is lost on the way.
int level(int x, int y, int channel)
{
    return channel == 0 ? 40 + 4 * x : channel == 1 ? 230 - 7 * y : 60 + 2 * x + 3 * y;
}

std::string make_jpeg(const jpeg_kind &kind, int unit = 1, int density = 72)
{
    jpeg_compress_struct info{};
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char *made = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &made, &size);
    info.image_width = width;
    info.image_height = height;
    info.in_color_space = kind.inks() ? JCS_CMYK : kind.stored == JCS_GRAYSCALE ? JCS_GRAYSCALE : JCS_RGB;
    info.input_components = kind.inks() ? 4 : kind.stored == JCS_GRAYSCALE ? 1 : 3;
    jpeg_set_defaults(&info);
    jpeg_set_colorspace(&info, kind.stored);
    info.write_Adobe_marker = info.write_Adobe_marker && kind.adobe;
    jpeg_set_quality(&info, 100, TRUE);
    if (kind.progressive)
        jpeg_simple_progression(&info);
    info.arith_code = kind.arithmetic;
    info.density_unit = static_cast<UINT8>(unit);
    info.X_density = static_cast<UINT16>(density);
    info.Y_density = 1;
    jpeg_start_compress(&info, TRUE);
    for (int y = 0; y < height; ++y) {
        bytes row;
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < std::min(info.input_components, 3); ++c)
                row.push_back(static_cast<unsigned char>(kind.adobe ? level(x, y, c) : 255 - level(x, y, c)));
            if (kind.inks())
                row.push_back(kind.adobe ? 255 : 0); // no black ink
        }
        JSAMPROW rows = row.data();
        jpeg_write_scanlines(&info, &rows, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    std::string out(reinterpret_cast<char *>(made), size);
    free(made);
    return out;
}

// The greatest distance of a surface from a picture given as expected(x, y, channel).
template <class Level> int distance(zan_surface *s, Level expected)
{
    const int wide = int(zgraphics_image_surface_get_width(s));
    const bytes p = pixels_of(s);
    int most = p.empty() ? 999 : 0;
    for (int i = 0; i < int(p.size()); i += 4)
        for (int c = 0; c < 4; ++c)
            most = std::max(most, std::abs(p[size_t(i + (c < 3 ? 2 - c : 3))] -
                                           (c < 3 ? expected(i / 4 % wide, i / 4 / wide, c) : 255)));
    return most;
}

TEST_F(jpeg, exif_turns_it_upright)
{
    const std::string whole = make_jpeg(kinds[1]);
    const auto with = [&](const std::string &marker) { return whole.substr(0, 2) + marker + whole.substr(2); };
    // where the pixel at (x, y) of the upright picture is stored: rows are columns, from the right, from below
    constexpr std::string_view stored[] = {"", "r", "rb", "b", "c", "cb", "crb", "cr"};
    for (int orientation = 1; orientation <= 8; ++orientation)
        for (const bool little : {false, true}) {
            const surface s = read(with(exif(little, 0x112, 3, 1, orientation)));
            EXPECT_EQ(zgraphics_image_surface_get_width(s), orientation < 5 ? width : height) << orientation;
            const auto turned = [how = stored[orientation - 1]](int x, int y, int c) {
                if (how.starts_with('c'))
                    std::swap(x, y);
                return level(how.find('r') < 9 ? width - 1 - x : x, how.ends_with('b') ? height - 1 - y : y, c);
            };
            EXPECT_LE(distance(s, turned), 6) << orientation;
        }
    std::vector<std::string> others;
    for (const auto &[tag, type, count, value] :
         {std::tuple(0x113, 3, 1, 6), {0x112, 4, 1, 6}, {0x112, 3, 2, 6}, {0x112, 3, 1, 0}, {0x112, 3, 1, 9}})
        others.push_back(exif(true, tag, type, count, value));
    for (size_t length = 0; length < exif(true, 0x112, 3, 1, 6).size() - 8; ++length) // its entry is cut
        others.push_back(exif(true, 0x112, 3, 1, 6, length));
    for (const std::string &marker : others) // say nothing
        EXPECT_LE(distance(read(with(marker)), level), 6);
    EXPECT_TRUE(reports.take().empty());
}

TEST_F(jpeg, resolution_is_read_and_kept)
{
    const std::tuple<int, int, double, double> rows[] = {// unit, density, as a PNG and as a JPEG
                                                         {1, 300, 7.62, 300},  {0, 300, 72, 72},
                                                         {1, 0, 72, 72},       {1, 65535, 1664.59, 65535},
                                                         {2, 118, 72, 299.72}, {1, 1, 0.03, 1}};
    for (const auto &[unit, density, png_dpi, jpeg_dpi] : rows) {
        EXPECT_EQ(zgraphics_image_surface_get_dpi(read(make_jpeg(kinds[0], unit, density))), jpeg_dpi) << density;
        png p = small_png();
        p.chunks = png_chunk("pHYs", be32(uint32_t(density)) + be32(1) + char(unit % 2)); // no 2 in a PNG
        EXPECT_NEAR(zgraphics_image_surface_get_dpi(read(p.file())), png_dpi, 0.01) << density;
    }
    for (const long dpi : {1L, 72L, 299L, 300L, 2400L}) {
        const surface back = written(read(small_png().file()), "out.png", dpi), again = written(back);
        EXPECT_NEAR(zgraphics_image_surface_get_dpi(back), static_cast<double>(dpi), 0.013);
        EXPECT_EQ(zgraphics_image_surface_get_dpi(again), zgraphics_image_surface_get_dpi(back));
        EXPECT_EQ(zgraphics_image_surface_get_dpi(written(back, "out.jpg")), dpi);
    }
}

TEST_F(jpeg, ours_are_fine_grained)
{
    // red and blue columns side by side blur into each other where colour is coarser than light
    const auto stripe = [](int x, int, int c) { return c == (x % 2 ? 0 : 2) ? 200 : 20; };
    for (const long format : {0L, 1L}) {
        bytes pixels;
        for (int i = 0; i < 18 * 17; ++i)
            for (int c = 0; c < (format ? 3 : 4); ++c)
                pixels.push_back(static_cast<unsigned char>(c == 3 ? 255 : stripe(i, 0, format ? c : 2 - c)));
        const surface s = written(on_pixels(pixels, format, 18, 17), "out.jpg");
        EXPECT_LE(distance(s, stripe), 12);
        EXPECT_EQ(zgraphics_image_surface_get_dpi(s), 72);
    }
    bytes clear(16 * 16 * 4); // is black
    EXPECT_EQ(distance(written(on_pixels(clear, 0, 16, 16), "out.jpg"), [](int, int, int) { return 0; }), 0);
    EXPECT_LE(distance(written(read(make_jpeg(kinds[0])), "out.jpg"), level), 10);
}

TEST_F(surfaces, promises_that_a_file_cannot_keep_cost_nothing)
{
    const std::pair<png, const char *> pngs[] = {
        {{30000, 30000, 8, rgb}, "too large: more than 2^28 pixels"},
        {{1000000, 1000, 16, rgb_alpha}, "too large: more than 2^28 pixels"},
        {{16384, 16384, 16, rgb_alpha}, "cut short"},
        {{16000, 16000, 1, grey}, "cut short"},
        {{0, 1, 8, rgb}, "damaged"},
        {{0x7fffffff, 0x7fffffff, 8, rgb}, "damaged"},
    };
    for (const auto &[promised, words] : pngs)
        expect_refused(promised.header() + png_chunk("IDAT", zipped("abc")) + png_chunk("IEND", ""), words);
    const std::pair<uint32_t, const char *> jpegs[] = {// height and width
                                                       {65000u << 16 | 65000, "too large: more than 2^28 pixels"},
                                                       {16000u << 16 | 16000, "cut short"},
                                                       {5u << 16, "damaged"}};
    std::string file = make_jpeg(kinds[0]);
    for (const auto &[size, words] : jpegs)
        expect_refused(file.replace(file.find("\xff\xc0") + 5, 4, be32(size)), words);
}

TEST_F(surfaces, a_picture_is_read_when_it_is_whole_and_damage_never_breaks_the_reader)
{
    std::vector<std::string> files{small_png().file(), small_png(true).file()};
    for (const jpeg_kind &kind : kinds) {
        files.push_back(make_jpeg(kind));
        const auto drawn = [&](int x, int y, int c) { return level(x, y, kind.stored == JCS_GRAYSCALE ? 0 : c); };
        EXPECT_LE(distance(read(files.back()), drawn), 6) << &kind - kinds;
    }
    std::mt19937 random(3);
    for (const std::string &whole : files) {
        const bool is_png = whole[0] != '\xff';
        for (size_t size = 1; size < whole.size(); ++size)
            expect_refused(whole.substr(0, size), is_png ? ": this PNG is " : ": this JPEG is ");
        const bytes expected = pixels_of(read(whole + "something behind it"));
        EXPECT_EQ(expected.size(), is_png ? 80u : 4u * width * height);
        for (size_t i = 0; i < (is_png ? 3 * whole.size() : 300); ++i) {
            std::string damaged = whole;
            if (is_png) // each byte in turn
                damaged[i / 3] = static_cast<char>(damaged[i / 3] ^ "\x01\x80\xff"[i % 3]);
            else
                for (unsigned flips = 1 + random() % 4; flips; --flips)
                    damaged[2 + random() % (damaged.size() - 2)] = static_cast<char>(random());
            const surface s = read(damaged);
            EXPECT_EQ(reports.take(zan_report_error).size(), s ? 0u : 1u);
            EXPECT_TRUE(!s || !is_png || pixels_of(s) == expected) << i; // in the resolution's chunk only
        }
    }
}

TEST_F(surfaces, a_file_is_judged_by_its_first_bytes)
{
    using namespace std::string_literals;
    const std::pair<std::string, const char *> rows[] = {
        {"GIF89a\1\0\1\0"s, "this is a GIF, not a PNG or JPEG"},
        {"\0\0\0\x1c\x66typavif"s, "this is an AVIF, not a PNG or JPEG"},
        {"hello, world\n", "this is a text file, not a PNG or JPEG"},
        {"", "this is an empty file, not a PNG or JPEG"},
        {"\1\2\3\0\4"s, "this is neither a PNG nor a JPEG"},
        {"\x89PN", "this PNG is cut short"},
        {"\xff", "this JPEG is cut short"},
        {"\x89MNG\r\n\x1a\n", "this is neither a PNG nor a JPEG"},
    };
    const auto expect = [&](const std::string &name, short path, const std::string &error) {
        EXPECT_EQ(zgraphics_image_surface_create_from_file(name.c_str(), path), nullptr);
        EXPECT_EQ(reports.one_error(), name + ": " + error);
    };
    for (const auto &[file, words] : rows)
        expect(scratch.make("a.png", file), 0, words);
    expect(scratch / "missing.png", 0, "can't be read: No such file or directory");
    expect(scratch.name(), 0, "can't be read: Is a directory");
    expect("a.png", 99, "can't be read: its folder isn't known");
    EXPECT_TRUE(surface(
        zgraphics_image_surface_create_from_file(scratch.make("misnamed.jpg", small_png().file()).c_str(), 0)));
}

TEST_F(surfaces, a_failed_write_leaves_the_old_file_and_a_link_its_own)
{
    bytes pixels(70000 * 4, 255);
    const surface wide = on_pixels(pixels, 0, 70000, 1);
    const std::string old = scratch.make("old.jpg", "the old one");
    EXPECT_EQ(zgraphics_image_surface_writejpeg(wide, old.c_str(), 0), zan_err_generic);
    EXPECT_NE(reports.one_error().find("65500"), std::string::npos);
    EXPECT_EQ(bytes_of(old), "the old one");
    const std::tuple<std::string, short, const char *> rows[] = {
        {scratch / "no/folder/x.png", 0, "No such file or directory"},
        {scratch.name(), 0, "Is a directory"},
        {"/dev/full", 0, "No space left on device"},
        {"x.png", 99, "its folder isn't known"}};
    for (const auto &[name, path, why] : rows) {
        EXPECT_EQ(zgraphics_image_surface_writepng(wide, name.c_str(), path, 72), zan_err_generic);
        EXPECT_EQ(reports.one_error(), name + ": can't be written: " + why);
    }
    EXPECT_EQ(scratch.count(), 1);
    EXPECT_EQ(zgraphics_image_surface_writepng(nullptr, "x.png", 0, 72), zan_err_invalid_ptr);
    EXPECT_EQ(zgraphics_image_surface_writejpeg(wide, "", 0), zan_err_invalid_ptr);

    using namespace std::filesystem;
    permissions(old, perms(0640));
    create_symlink("old.jpg", scratch / "link.png");
    EXPECT_TRUE(written(wide, "link.png"));
    EXPECT_TRUE(is_symlink(scratch / "link.png"));
    EXPECT_EQ(status(old).permissions(), perms(0640));
    EXPECT_EQ(bytes_of(old).substr(1, 3), "PNG");
}

// ---- surfaces ----

// ---- surfaces ----

TEST_F(surfaces, bad_pixels_make_no_surface)
{
    unsigned char pixels[64] = {};
    int destroyed = 0, expected = 0;
    const auto destroy = [](void *data) { ++*static_cast<int *>(data); };
    const std::tuple<unsigned char *, long, long, long, long, bool> rows[] = {
        // format, size, stride
        {pixels, 0, 4, 4, 16, true},   {pixels, 1, 5, 4, 16, true},   {pixels, 0, 3, 4, 13, true},
        {nullptr, 0, 4, 4, 16, false}, {pixels, 2, 4, 4, 16, false},  {pixels, -1, 4, 4, 16, false},
        {pixels, 0, 0, 4, 16, false},  {pixels, 0, 4, 0, 16, false},  {pixels, 0, 4, 4, 15, false},
        {pixels, 1, 4, 4, 11, false},  {pixels, 0, 4, 4, -16, false}, {pixels, 0, 1L << 40, 4, 1L << 43, false},
    };
    for (const auto &[p, format, wide, high, stride, good] : rows) {
        const auto make = zgraphics_image_surface_create_for_data;
        EXPECT_EQ(bool(surface(make(p, format, wide, high, stride, destroy, &destroyed))), good) << stride;
        EXPECT_EQ(destroyed, expected += good);
    }
    EXPECT_EQ(zan_surface_of_cells(pixels, 3, 1L << 40, 1L << 40, 0, 0, 0), nullptr);
    EXPECT_EQ(zgraphics_image_surface_get_width(nullptr), 0);
}

TEST_F(surfaces, locking_stays_inside)
{
    bytes pixels(10 * 6 * 4);
    const surface s = on_pixels(pixels, 0, 10, 6);
    const std::tuple<long, long, long, long, bool> rows[] = {
        {0, 0, 10, 6, true},  {9, 5, 1, 1, true},         {3, 2, 7, 4, true},        {0, 0, 11, 6, false},
        {0, 0, 10, 7, false}, {-1, 0, 2, 2, false},       {0, -1, 2, 2, false},      {10, 0, 1, 1, false},
        {0, 0, 0, 1, false},  {1, 1, LONG_MAX, 1, false}, {LONG_MAX, 1, 1, 1, false}};
    for (const auto &[x, y, wide, high, good] : rows) {
        long stride = 0, cell = 0;
        EXPECT_EQ(zgraphics_image_surface_lockpixels_readonly(s, x, y, wide, high, &stride, &cell),
                  good ? pixels.data() + y * 40 + x * 4 : nullptr)
            << x << "," << y;
        EXPECT_EQ(stride * cell, good ? 160 : 0);
    }
}

TEST_F(surfaces, a_sketch_image_holds_a_file)
{
    const std::string file = scratch.make("p.png", small_png().file());
    atom a = A(file.c_str()), missing = A("missing.png");
    const std::tuple<zan_word, atom *, const char *> rows[] = {
        {1, &a, nullptr},
        {W(S(file.c_str())), nullptr, nullptr}, // a name alone
        {1, &missing, "missing.png"},
        {0, nullptr, "sketch_image"}};
    for (const auto &[argc, argv, error] : rows) {
        void *x = object_new_imp(S("nobox"), S("sketch_image"), argc, W(argv), 0, 0, 0, 0, 0, 0);
        const surface s(reinterpret_cast<zan_surface *>(send(x, "get_image_surface")));
        object_free(x); // its surface outlives it
        EXPECT_EQ(pixels_of(s).size(), error ? 0u : 80u);
        EXPECT_TRUE(!error || reports.one_error().find(error) != std::string::npos);
    }
    EXPECT_EQ(zan_object_count(S("sketch_image")), 0);
}

} // namespace
