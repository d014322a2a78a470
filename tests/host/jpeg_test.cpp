// JPEG in and out: files that another writer made in every colour kind, what our own
// writer puts in a file, and damaged ones.
#include "pictures.h"

#include <cmath>
#include <cstdio>
#include <jpeglib.h>
#include <random>
#include <scratch.h>

namespace {

constexpr int width = 37, height = 23;

struct jpeg_kind {
    const char *name;
    J_COLOR_SPACE in, stored; // what the samples are, what is stored
    bool adobe = true;        // inks only: with Adobe's mark (and its inverted inks)
    bool progressive = false;
    bool arithmetic = false;
    int unit = 1, density = 72; // JFIF only
};

// The picture every test draws: slow ramps, so that nothing of it is lost on the way.
int level(int x, int y, int channel)
{
    return channel == 0 ? 40 + 4 * x : channel == 1 ? 230 - 7 * y : 60 + 2 * x + 3 * y;
}

std::string make_jpeg(const jpeg_kind &kind)
{
    jpeg_compress_struct info{};
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char *bytes = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &bytes, &size);
    info.image_width = width;
    info.image_height = height;
    info.in_color_space = kind.in;
    info.input_components = kind.in == JCS_GRAYSCALE ? 1 : kind.in == JCS_CMYK ? 4 : 3;
    jpeg_set_defaults(&info);
    jpeg_set_colorspace(&info, kind.stored);
    if (!kind.adobe)
        info.write_Adobe_marker = FALSE;
    jpeg_set_quality(&info, 100, TRUE);
    if (kind.progressive)
        jpeg_simple_progression(&info);
    info.arith_code = kind.arithmetic;
    info.density_unit = static_cast<UINT8>(kind.unit);
    info.X_density = static_cast<UINT16>(kind.density);
    info.Y_density = 1;
    jpeg_start_compress(&info, TRUE);
    for (int y = 0; y < height; ++y) {
        std::vector<unsigned char> row;
        for (int x = 0; x < width; ++x) {
            const bool inks = kind.in == JCS_CMYK, plain = inks && !kind.adobe;
            for (int c = 0; c < std::min(info.input_components, 3); ++c)
                row.push_back(static_cast<unsigned char>(plain ? 255 - level(x, y, c) : level(x, y, c)));
            if (inks)
                row.push_back(plain ? 0 : 255); // no black ink
        }
        JSAMPROW rows = row.data();
        jpeg_write_scanlines(&info, &rows, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    std::string out(reinterpret_cast<char *>(bytes), size);
    free(bytes);
    return out;
}

class jpeg : public testing::Test {
  protected:
    zan_surface *read(const std::string &bytes)
    {
        return zgraphics_image_surface_create_from_file(in.hold(bytes).c_str(), 0);
    }
    // What stands in a file of ours, in the place of the surface.
    zan_surface *written(zan_surface *s, const char *name)
    {
        const std::string full = scratch / name;
        EXPECT_EQ(strstr(name, ".jpg") ? zgraphics_image_surface_writejpeg(s, full.c_str(), 0)
                                       : zgraphics_image_surface_writepng(s, full.c_str(), 0, 0),
                  0);
        zgraphics_surface_destroy(s);
        return zgraphics_image_surface_create_from_file(full.c_str(), 0);
    }
    memory_file in;
    scratch_folder scratch;
    report_catcher reports;
};

// The greatest distance of a surface from a picture given as level(x, y, channel).
template <class Level> int distance(zan_surface *s, Level expected)
{
    const long w = zgraphics_image_surface_get_width(s), h = zgraphics_image_surface_get_height(s);
    long stride = 0, bytes = 0;
    const unsigned char *p = zgraphics_image_surface_lockpixels_readonly(s, 0, 0, w, h, &stride, &bytes);
    int most = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            for (int c = 0; c < 3; ++c)
                most = std::max(most, std::abs(p[y * stride + x * 4 + 2 - c] - expected(x, y, c)));
            most = std::max(most, 255 - p[y * stride + x * 4 + 3]);
        }
    zgraphics_image_surface_unlockpixels_readonly(s, p);
    return most;
}

constexpr jpeg_kind kinds[] = {
    {"colour", JCS_RGB, JCS_YCbCr},
    {"red green blue", JCS_RGB, JCS_RGB},
    {"progressive", JCS_RGB, JCS_YCbCr, true, true},
    {"arithmetic", JCS_RGB, JCS_YCbCr, true, false, true},
    {"grey", JCS_GRAYSCALE, JCS_GRAYSCALE},
    {"progressive grey", JCS_GRAYSCALE, JCS_GRAYSCALE, true, true},
    {"inks", JCS_CMYK, JCS_CMYK},
    {"inks as light and colour", JCS_CMYK, JCS_YCCK},
    {"inks without the mark", JCS_CMYK, JCS_CMYK, false},
};

TEST_F(jpeg, every_kind_is_read)
{
    for (const jpeg_kind &kind : kinds) {
        zan_surface *s = read(make_jpeg(kind));
        ASSERT_NE(s, nullptr) << kind.name;
        EXPECT_EQ(zgraphics_image_surface_get_width(s), width);
        EXPECT_EQ(zgraphics_image_surface_get_height(s), height);
        const bool grey = kind.in == JCS_GRAYSCALE;
        EXPECT_LE(distance(s, [=](int x, int y, int c) { return level(x, y, grey ? 0 : c); }), 6) << kind.name;
        zgraphics_surface_destroy(s);
    }
    EXPECT_TRUE(reports.take().empty());
}

TEST_F(jpeg, exif_turns_it_upright)
{
    const std::string whole = make_jpeg(kinds[1]);
    const auto with = [&](const std::string &marker) { return whole.substr(0, 2) + marker + whole.substr(2); };
    // where the pixel at (x, y) of the upright picture is stored
    using place = std::pair<int, int>;
    constexpr int right = width - 1, bottom = height - 1;
    place (*const stored[])(int, int) = {
        [](int x, int y) { return place(x, y); },
        [](int x, int y) { return place(right - x, y); },
        [](int x, int y) { return place(right - x, bottom - y); },
        [](int x, int y) { return place(x, bottom - y); },
        [](int x, int y) { return place(y, x); },                  // rows are columns from the left
        [](int x, int y) { return place(y, bottom - x); },         // from the right: turned clockwise
        [](int x, int y) { return place(right - y, bottom - x); }, // from the right, upwards
        [](int x, int y) { return place(right - y, x); },          // from the left, upwards
    };
    for (int orientation = 1; orientation <= 8; ++orientation)
        for (const bool little : {false, true}) {
            zan_surface *s = read(with(pictures::exif(little, 0x112, 3, 1, orientation)));
            ASSERT_NE(s, nullptr);
            EXPECT_EQ(zgraphics_image_surface_get_width(s), orientation < 5 ? width : height) << orientation;
            EXPECT_LE(distance(s,
                               [&](int x, int y, int c) {
                                   const auto [at, row] = stored[orientation - 1](x, y);
                                   return level(at, row, c);
                               }),
                      6)
                << orientation;
            zgraphics_surface_destroy(s);
        }
    std::vector<std::string> others{pictures::exif(true, 0x113, 3, 1, 6), pictures::exif(true, 0x112, 4, 1, 6),
                                    pictures::exif(true, 0x112, 3, 2, 6), pictures::exif(true, 0x112, 3, 1, 0),
                                    pictures::exif(true, 0x112, 3, 1, 9)};
    for (size_t length = 0; length < pictures::exif(true, 0x112, 3, 1, 6).size() - 8; ++length) // its entry is cut
        others.push_back(pictures::exif(true, 0x112, 3, 1, 6, length));
    for (const std::string &marker : others) { // say nothing
        zan_surface *s = read(with(marker));
        ASSERT_NE(s, nullptr);
        EXPECT_LE(distance(s, [](int x, int y, int c) { return level(x, y, c); }), 6);
        zgraphics_surface_destroy(s);
    }
    EXPECT_TRUE(reports.take().empty());
}

TEST_F(jpeg, resolution_is_read)
{
    const struct {
        int unit, density;
        double dpi;
    } rows[] = {{1, 300, 300}, {1, 1, 1},  {2, 100, 254},    {2, 118, 299.72},
                {0, 300, 72},  {1, 0, 72}, {1, 65535, 65535}};
    for (const auto &row : rows) {
        jpeg_kind kind = kinds[0];
        kind.unit = row.unit;
        kind.density = row.density;
        zan_surface *s = read(make_jpeg(kind));
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(zgraphics_image_surface_get_dpi(s), row.dpi) << row.unit << " " << row.density;
        zgraphics_surface_destroy(s);
    }
}

TEST_F(jpeg, ours_are_fine_grained_and_keep_the_resolution)
{
    // red and blue columns side by side blur into each other where colour is coarser than light
    for (const long format : {0L, 1L}) {
        std::vector<unsigned char> pixels;
        const auto stripe = [](int x, int, int c) { return c == (x % 2 ? 0 : 2) ? 200 : 20; };
        for (int y = 0; y < 17; ++y)
            for (int x = 0; x < 19; ++x) {
                for (int c = 0; c < 3; ++c)
                    pixels.push_back(static_cast<unsigned char>(stripe(x, y, format ? c : 2 - c)));
                if (!format)
                    pixels.push_back(255);
            }
        zan_surface *s = written(zgraphics_image_surface_create_for_data(pixels.data(), format, 19, 17,
                                                                         19 * (format ? 3 : 4), nullptr, nullptr),
                                 "out.jpg");
        EXPECT_LE(distance(s, stripe), 12);
        EXPECT_EQ(zgraphics_image_surface_get_dpi(s), 72);
        zgraphics_surface_destroy(s);
    }
    jpeg_kind fine = kinds[0];
    fine.density = 300;
    for (const char *name : {"out.jpg", "out.png"}) {
        zan_surface *s = written(read(make_jpeg(fine)), name);
        EXPECT_EQ(zgraphics_image_surface_get_dpi(s), 300) << name;
        EXPECT_LE(distance(s, [](int x, int y, int c) { return level(x, y, c); }), 10);
        zgraphics_surface_destroy(s);
    }
}

TEST_F(jpeg, clear_pixels_are_black)
{
    unsigned char pixels[16 * 16 * 4] = {};
    zan_surface *s =
        written(zgraphics_image_surface_create_for_data(pixels, 0, 16, 16, 64, nullptr, nullptr), "out.jpg");
    EXPECT_EQ(distance(s, [](int, int, int) { return 0; }), 0);
    zgraphics_surface_destroy(s);
}

TEST_F(jpeg, no_prefix_is_a_jpeg)
{
    for (const jpeg_kind &kind : kinds) {
        const std::string whole = make_jpeg(kind);
        for (size_t size = 1; size < whole.size(); ++size) {
            ASSERT_EQ(read(whole.substr(0, size)), nullptr) << kind.name << " " << size << " of " << whole.size();
            ASSERT_NE(reports.one_error().find(": this JPEG is "), std::string::npos);
        }
        zan_surface *s = read(whole + "something behind it");
        EXPECT_NE(s, nullptr) << kind.name;
        zgraphics_surface_destroy(s);
    }
}

TEST_F(jpeg, damage_never_breaks_the_reader)
{
    std::mt19937 random(3);
    for (const jpeg_kind &kind : kinds) {
        const std::string whole = make_jpeg(kind);
        for (int i = 0; i < 300; ++i) {
            std::string bytes = whole;
            for (unsigned flips = 1 + random() % 4; flips; --flips)
                bytes[2 + random() % (bytes.size() - 2)] = static_cast<char>(random());
            zan_surface *s = read(bytes);
            EXPECT_EQ(reports.take(zan_report_error).size(), s ? 0u : 1u);
            zgraphics_surface_destroy(s);
        }
    }
}

TEST_F(jpeg, promises_that_a_file_cannot_keep_cost_nothing)
{
    std::string bytes = make_jpeg(kinds[0]);
    const size_t frame = bytes.find("\xff\xc0");
    ASSERT_NE(frame, std::string::npos);
    const struct {
        int width, height;
        const char *words;
    } rows[] = {
        {65000, 65000, "too large: more than 2^28 pixels"}, {16000, 16000, "cut short"}, {0, 5, "damaged"}};
    for (const auto &row : rows) {
        const int sizes[] = {row.height >> 8, row.height, row.width >> 8, row.width};
        for (size_t i = 0; i < 4; ++i)
            bytes[frame + 5 + i] = static_cast<char>(sizes[i]);
        EXPECT_EQ(read(bytes), nullptr);
        EXPECT_NE(reports.one_error().find(row.words), std::string::npos) << row.words;
    }
}

} // namespace
