// PNG pictures, through libpng. Its errors leave by longjmp, so everything between
// setjmp and the end of a function here is plain data, owned by a record outside.
#include "internal.h"

#include <cmath>
#include <cstring>
#include <png.h>
#include <vector>

namespace zan {
namespace {

// Deflate can't pack tighter than this, so a header that promises more is cut short:
// found out before memory is taken for it.
constexpr double deflate_most = 1032;
constexpr double metres_an_inch = 0.0254;

struct png_job {
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::string_view rest;          // reading: the bytes not yet taken
    zan_surface *surface = nullptr; // reading: being filled
    FILE *stream = nullptr;         // writing
    std::vector<png_byte> row;      // writing: one row as the file has it
    char why[160] = "";
};

[[noreturn]] void on_error(png_structp png, png_const_charp text)
{
    auto *job = static_cast<png_job *>(png_get_error_ptr(png));
    if (!job->why[0])
        snprintf(job->why, sizeof job->why, "damaged: %s", text);
    png_longjmp(png, 1);
}

// Warnings are about what doesn't change the pixels.
void on_warning(png_structp, png_const_charp) {}

[[noreturn]] void fail(png_job &job, const char *why)
{
    snprintf(job.why, sizeof job.why, "%s", why);
    png_longjmp(job.png, 1);
}

void take_bytes(png_structp png, png_bytep to, size_t count)
{
    auto *job = static_cast<png_job *>(png_get_io_ptr(png));
    if (count > job->rest.size())
        fail(*job, "cut short");
    memcpy(to, job->rest.data(), count);
    job->rest.remove_prefix(count);
}

void give_bytes(png_structp png, png_bytep from, size_t count)
{
    auto *job = static_cast<png_job *>(png_get_io_ptr(png));
    if (fwrite(from, 1, count, job->stream) != count)
        png_longjmp(png, 1); // the stream keeps its error for whoever commits the file
}

void flush_bytes(png_structp) {}

void premultiply(unsigned char *pixel, long count)
{
    for (; count > 0; --count, pixel += 4) {
        const unsigned a = pixel[3];
        if (a == 255)
            continue;
        for (int i = 0; i < 3; ++i) {
            const unsigned t = pixel[i] * a + 128; // t / 255, rounded
            pixel[i] = static_cast<unsigned char>((t + (t >> 8)) >> 8);
        }
    }
}

// A row as the file has it: red, green, blue, alpha with the premultiplication taken
// back. Where alpha is 0 there is nothing to take back.
void unpremultiply(const unsigned char *from, png_byte *to, long count)
{
    for (; count > 0; --count, from += 4, to += 4) {
        const unsigned a = from[3];
        for (int i = 0; i < 3; ++i) {
            const unsigned c = from[2 - i];
            const unsigned whole = a ? (c * 255 + a / 2) / a : c;
            to[i] = static_cast<png_byte>(whole < 255 ? whole : 255);
        }
        to[3] = static_cast<png_byte>(a);
    }
}

bool read_png(png_job &job)
{
    if (setjmp(png_jmpbuf(job.png)))
        return false;
    png_structp png = job.png;
    png_infop info = job.info;
    png_set_read_fn(png, &job, take_bytes);
    // Of what surrounds the pixels only the resolution is asked for; the rest, which
    // may be large or packed, is passed over unread.
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_AS_DEFAULT, reinterpret_cast<png_const_bytep>("pHYs"), 1);
    png_read_info(png, info);

    const long width = png_get_image_width(png, info), height = png_get_image_height(png, info);
    if (width > max_picture_pixels / height)
        fail(job, "too large: more than 2^28 pixels");
    const double bits =
        double(width) * double(height) * png_get_bit_depth(png, info) * png_get_channels(png, info);
    if (bits / 8 > deflate_most * double(job.rest.size()))
        fail(job, "cut short");

    png_set_expand(png);
    png_set_scale_16(png);
    png_set_gray_to_rgb(png);
    png_set_bgr(png);
    png_set_add_alpha(png, 0xff, PNG_FILLER_AFTER);
    const int passes = png_set_interlace_handling(png);
    png_read_update_info(png, info);
    if (png_get_rowbytes(png, info) != static_cast<size_t>(width) * 4)
        fail(job, "of a kind that isn't known");

    job.surface = surface_create(width, height);
    if (!job.surface)
        fail(job, "too large for the memory there is");
    for (int pass = 0; pass < passes; ++pass)
        for (long y = 0; y < height; ++y)
            png_read_row(png, job.surface->pixels + y * job.surface->stride, nullptr);
    png_read_end(png, nullptr); // a file without its end was cut short

    for (long y = 0; y < height; ++y)
        premultiply(job.surface->pixels + y * job.surface->stride, width);
    png_uint_32 x_density = 0, y_density = 0;
    int unit = PNG_RESOLUTION_UNKNOWN;
    if (png_get_pHYs(png, info, &x_density, &y_density, &unit) && unit == PNG_RESOLUTION_METER)
        job.surface->dpi = tidy_dpi(x_density * metres_an_inch);
    return true;
}

bool write_png(png_job &job, const zan_surface &s, double dpi)
{
    if (setjmp(png_jmpbuf(job.png)))
        return false;
    png_structp png = job.png;
    png_infop info = job.info;
    png_set_write_fn(png, &job, give_bytes, flush_bytes);
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_IHDR(png, info, static_cast<png_uint_32>(s.width), static_cast<png_uint_32>(s.height), 8,
                 s.format == 1 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    const double density = std::round(dpi / metres_an_inch);
    if (density >= 1 && density <= PNG_UINT_31_MAX)
        png_set_pHYs(png, info, static_cast<png_uint_32>(density), static_cast<png_uint_32>(density),
                     PNG_RESOLUTION_METER);
    png_write_info(png, info);
    for (long y = 0; y < s.height; ++y) {
        const unsigned char *row = s.pixels + y * s.stride;
        if (s.format == 0) {
            unpremultiply(row, job.row.data(), s.width);
            row = job.row.data();
        }
        png_write_row(png, row);
    }
    png_write_end(png, nullptr);
    return true;
}

} // namespace

zan_surface *decode_png(std::string_view bytes, std::string &why)
{
    png_job job;
    job.rest = bytes;
    job.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &job, on_error, on_warning);
    job.info = job.png ? png_create_info_struct(job.png) : nullptr;
    const bool done = job.info && read_png(job);
    png_destroy_read_struct(&job.png, &job.info, nullptr);
    if (done)
        return job.surface;
    zgraphics_surface_destroy(job.surface);
    why = job.why[0] ? job.why : "too large for the memory there is";
    return nullptr;
}

bool encode_png(const zan_surface &s, double dpi, FILE *stream, std::string &why)
{
    png_job job;
    job.stream = stream;
    job.row.resize(static_cast<size_t>(s.width) * 4);
    job.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &job, on_error, on_warning);
    job.info = job.png ? png_create_info_struct(job.png) : nullptr;
    const bool done = job.info && write_png(job, s, dpi);
    png_destroy_write_struct(&job.png, &job.info);
    if (!done && !ferror(stream))
        why = job.why[0] ? job.why : "no memory";
    return done || ferror(stream);
}

} // namespace zan
