// Surfaces: pixels that a matrix lends, or that a picture file filled. Four bytes a
// pixel live in a cairo image wherever cairo can hold them (32767 pixels a side, rows
// of whole words); other pixels are plain memory under the same record.
#include "internal.h"

#include <algorithm>
#include <bit>
#include <cairo.h>
#include <climits>
#include <cmath>
#include <cstring>
#include <new>

static_assert(std::endian::native == std::endian::little, "cairo's words are blue, green, red, alpha in memory");

namespace zan {
namespace {

constexpr size_t max_file_size = size_t(1) << 30;
constexpr long cairo_max_side = 32767;

long bytes_a_pixel(long format)
{
    return format == 1 ? 3 : 4;
}

zan_surface *new_surface(unsigned char *pixels, long format, long width, long height, long stride)
{
    auto *s = new (std::nothrow) zan_surface{};
    if (!s)
        return nullptr;
    s->pixels = pixels;
    s->format = format;
    s->width = width;
    s->height = height;
    s->stride = stride;
    s->dpi = 72;
    s->references = 1;
    return s;
}

bool fits_cairo(long format, long width, long height, long stride)
{
    return format == 0 && width <= cairo_max_side && height <= cairo_max_side && stride % 4 == 0 &&
           stride <= INT32_MAX;
}

// What a file that is no picture is, for "this is ..., not a PNG or JPEG"; null when nothing tells.
const char *kind_of_file(std::string_view bytes)
{
    if (bytes.empty())
        return "an empty file";
    if (const char *kind = kind_of_bytes(bytes))
        return kind;
    const std::string_view start = bytes.substr(0, 512);
    const bool text = std::all_of(start.begin(), start.end(), [](unsigned char c) {
        return c >= 0x20 ? c != 0x7f : c == '\n' || c == '\r' || c == '\t' || c == '\f';
    });
    return text ? "a text file" : nullptr;
}

struct picture_format {
    const char *name;
    std::string_view mark;
    zan_surface *(*decode)(std::string_view, std::string &);
};
constexpr picture_format picture_formats[] = {
    {"PNG", {"\x89PNG\r\n\x1a\n", 8}, decode_png},
    {"JPEG", {"\xff\xd8\xff", 3}, decode_jpeg},
};

zan_surface *decode(std::string_view bytes, std::string &why)
{
    for (const picture_format &format : picture_formats) {
        const size_t marked = std::min(bytes.size(), format.mark.size());
        if (!marked || bytes.substr(0, marked) != format.mark.substr(0, marked))
            continue;
        zan_surface *s = nullptr;
        if (marked < format.mark.size())
            why = "cut short";
        else
            s = format.decode(bytes, why);
        if (!s)
            why = std::string("this ") + format.name + " is " + why;
        return s;
    }
    const char *kind = kind_of_file(bytes);
    why = kind ? std::string("this is ") + kind + ", not a PNG or JPEG" : "this is neither a PNG nor a JPEG";
    return nullptr;
}

template <class Encode> long write_picture(zan_surface *s, const char *name, short path, Encode encode)
{
    if (!s || !name || !*name)
        return zan_err_invalid_ptr;
    if (s->cairo)
        cairo_surface_flush(s->cairo);
    const std::string full = full_name(path, name);
    std::string why;
    int failed = 0;
    if (full.empty()) {
        why = "its folder isn't known";
    } else {
        whole_file file(full);
        if (!file.stream() || encode(file.stream(), why))
            failed = file.commit();
        if (failed)
            why = strerror(failed);
    }
    if (why.empty())
        return zan_err_none;
    object_error(nullptr, "%s: can't be written: %s", full.empty() ? name : full.c_str(), why.c_str());
    return zan_err_generic;
}

} // namespace

double tidy_dpi(double dpi)
{
    const double tidy = std::round(dpi * 100) / 100;
    return tidy > 0 && tidy < 1e9 ? tidy : 72;
}

zan_surface *surface_create(long width, long height)
{
    if (width <= cairo_max_side && height <= cairo_max_side) {
        cairo_surface_t *cairo =
            cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(width), static_cast<int>(height));
        zan_surface *s = nullptr;
        if (cairo_surface_status(cairo) == CAIRO_STATUS_SUCCESS)
            s = new_surface(cairo_image_surface_get_data(cairo), 0, width, height,
                            cairo_image_surface_get_stride(cairo));
        if (!s)
            cairo_surface_destroy(cairo);
        else
            s->cairo = cairo;
        return s;
    }
    auto *pixels = static_cast<unsigned char *>(sysmem_newptrclear(width * height * 4));
    zan_surface *s = pixels ? new_surface(pixels, 0, width, height, width * 4) : nullptr;
    if (s) {
        s->destroy = sysmem_freeptr;
        s->data = pixels;
    } else {
        sysmem_freeptr(pixels);
    }
    return s;
}

zan_surface *surface_retain(zan_surface *s)
{
    if (s)
        ++s->references;
    return s;
}

} // namespace zan

using namespace zan;

zan_surface *zgraphics_image_surface_create_for_data(unsigned char *pixels, long format, long width, long height,
                                                     long stride, void (*destroy)(void *), void *data)
{
    if (!pixels || format < 0 || format > 1 || width < 1 || height < 1 || width > INT32_MAX ||
        height > INT32_MAX || stride < width * bytes_a_pixel(format))
        return nullptr;
    zan_surface *s = new_surface(pixels, format, width, height, stride);
    if (s && fits_cairo(format, width, height, stride)) {
        s->cairo = cairo_image_surface_create_for_data(pixels, CAIRO_FORMAT_ARGB32, static_cast<int>(width),
                                                       static_cast<int>(height), static_cast<int>(stride));
        if (cairo_surface_status(s->cairo) != CAIRO_STATUS_SUCCESS) {
            cairo_surface_destroy(s->cairo);
            delete s;
            return nullptr;
        }
    }
    if (s) {
        s->destroy = destroy;
        s->data = data;
    }
    return s;
}

zan_surface *zan_surface_of_cells(const unsigned char *cells, long planes, long width, long height, long cell,
                                  long row, long keep_alpha)
{
    if (!cells || width < 1 || height < 1 || width > LONG_MAX / 4 / height ||
        (planes != 1 && planes != 3 && planes != 4))
        return nullptr;
    const bool with_alpha = planes == 4 && keep_alpha;
    const long bytes = with_alpha ? 4 : 3;
    const long red = planes == 4 ? 1 : 0, step = planes == 1 ? 0 : 1; // of the colours among the planes
    auto *pixels = static_cast<unsigned char *>(sysmem_newptr(bytes * width * height));
    for (long y = 0; pixels && y < height; ++y) {
        const unsigned char *in = cells + y * row;
        for (unsigned char *out = pixels + y * bytes * width, *end = out + bytes * width; out < end;
             in += cell, out += bytes)
            for (int c = 0; c < 3; ++c) {
                const unsigned colour = in[red + c * step];
                if (with_alpha) {
                    out[2 - c] = static_cast<unsigned char>((colour * in[0] + 127) / 255);
                    out[3] = in[0];
                } else {
                    out[c] = static_cast<unsigned char>(colour);
                }
            }
    }
    zan_surface *s = zgraphics_image_surface_create_for_data(pixels, with_alpha ? 0 : 1, width, height,
                                                             bytes * width, sysmem_freeptr, pixels);
    if (!s)
        sysmem_freeptr(pixels);
    return s;
}

zan_surface *zgraphics_image_surface_create_from_file(const char *name, short path)
{
    if (!name || !*name)
        return nullptr;
    const std::string full = full_name(path, name);
    if (full.empty()) {
        object_error(nullptr, "%s: can't be read: its folder isn't known", name);
        return nullptr;
    }
    std::string bytes, why;
    if (const int failed = read_whole_file(full, max_file_size, bytes)) {
        object_error(nullptr, "%s: can't be read: %s", full.c_str(), strerror(failed));
        return nullptr;
    }
    zan_surface *s = decode(bytes, why);
    if (!s)
        object_error(nullptr, "%s: %s", full.c_str(), why.c_str());
    else if (s->cairo)
        cairo_surface_mark_dirty(s->cairo);
    return s;
}

long zgraphics_image_surface_get_width(zan_surface *s)
{
    return s ? s->width : 0;
}

long zgraphics_image_surface_get_height(zan_surface *s)
{
    return s ? s->height : 0;
}

double zgraphics_image_surface_get_dpi(zan_surface *s)
{
    return s ? s->dpi : 72;
}

void zgraphics_image_surface_set_dpi(zan_surface *s, double dpi)
{
    if (s && dpi > 0)
        s->dpi = dpi;
}

unsigned char *zgraphics_image_surface_lockpixels_readonly(zan_surface *s, long x, long y, long width, long height,
                                                           long *stride, long *bytes)
{
    if (!s || x < 0 || y < 0 || width < 1 || height < 1 || x > s->width || y > s->height || width > s->width - x ||
        height > s->height - y)
        return nullptr;
    if (s->cairo)
        cairo_surface_flush(s->cairo);
    if (stride)
        *stride = s->stride;
    if (bytes)
        *bytes = bytes_a_pixel(s->format);
    return s->pixels + y * s->stride + x * bytes_a_pixel(s->format);
}

// Reading leaves nothing behind that would have to be given back.
void zgraphics_image_surface_unlockpixels_readonly(zan_surface *, const unsigned char *) {}

long zgraphics_image_surface_writepng(zan_surface *s, const char *name, short path, long dpi)
{
    return write_picture(s, name, path, [=](FILE *stream, std::string &why) {
        return encode_png(*s, dpi > 0 ? static_cast<double>(dpi) : s->dpi, stream, why);
    });
}

long zgraphics_image_surface_writejpeg(zan_surface *s, const char *name, short path)
{
    return write_picture(s, name, path,
                         [=](FILE *stream, std::string &why) { return encode_jpeg(*s, stream, why); });
}

void zgraphics_surface_destroy(zan_surface *s)
{
    if (!s || --s->references > 0)
        return;
    if (s->cairo)
        cairo_surface_destroy(s->cairo);
    if (s->destroy)
        s->destroy(s->data);
    delete s;
}
