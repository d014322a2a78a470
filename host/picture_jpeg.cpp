// JPEG pictures, through libjpeg. Its errors leave by longjmp, so everything between
// setjmp and the end of a function here is plain data, owned by a record outside.
#include "internal.h"

#include <cmath>
#include <csetjmp>
#include <cstring>
// libjpeg's headers need <cstdio> ahead of them
#include <jpeglib.h>

#include <jerror.h>

namespace zan {
namespace {

// A block of 64 values takes a bit at the very least and covers at most 16 times as
// many pixels, so a header that promises more is cut short: found out before memory
// is taken for it. (Arithmetic coding has no such floor.)
constexpr double most_pixels_a_byte = 8.0 * 64 * 16;
// Each scan costs a pass over the picture, even one that is only a few bytes long.
// Real files have about ten.
constexpr int most_scans = 500;
constexpr double most_scanned_pixels = 16.0 * max_picture_pixels;
constexpr long most_memory = 1L << 30;     // for libjpeg's own blocks
constexpr long most_pixels_a_side = 65500; // what libjpeg writes

// libjpeg hands its own records back to our functions, so ours begin with them.
struct error_manager {
    jpeg_error_mgr base;
    jmp_buf back;
    char why[160 + JMSG_LENGTH_MAX];
};

[[noreturn]] void on_error(j_common_ptr info)
{
    auto *errors = reinterpret_cast<error_manager *>(info->err);
    if (!errors->why[0]) {
        char text[JMSG_LENGTH_MAX] = "";
        info->err->format_message(info, text);
        snprintf(errors->why, sizeof errors->why, "damaged: %s", text);
    }
    longjmp(errors->back, 1);
}

[[noreturn]] void fail(j_common_ptr info, const char *why)
{
    auto *errors = reinterpret_cast<error_manager *>(info->err);
    snprintf(errors->why, sizeof errors->why, "%s", why);
    longjmp(errors->back, 1);
}

// libjpeg only warns where data is damaged and fills in grey. Here that is an error,
// but for the warnings about what doesn't change the pixels.
void on_message(j_common_ptr info, int level)
{
    if (level >= 0)
        return;
    switch (info->err->msg_code) {
    case JWRN_EXTRANEOUS_DATA:
    case JWRN_ADOBE_XFORM:
    case JWRN_JFIF_MAJOR:
    case JWRN_TOO_MUCH_DATA: return;
    case JWRN_JPEG_EOF: fail(info, "cut short");
    default: on_error(info);
    }
}

jpeg_error_mgr *set_up_errors(error_manager &errors)
{
    errors.why[0] = 0;
    jpeg_std_error(&errors.base);
    errors.base.error_exit = on_error;
    errors.base.emit_message = on_message;
    return &errors.base;
}

struct jpeg_reading {
    jpeg_decompress_struct info;
    error_manager errors;
    jpeg_progress_mgr progress;
    zan_surface *surface;
    int orientation;
};

void on_progress(j_common_ptr info)
{
    auto *reading = reinterpret_cast<j_decompress_ptr>(info);
    const int scans = reading->input_scan_number;
    if (scans > most_scans || scans * double(reading->image_width) * reading->image_height > most_scanned_pixels)
        fail(info, "damaged: it has too many scans");
}

double density_of(const jpeg_decompress_struct &info)
{
    const double unit = info.density_unit == 1 ? 1 : info.density_unit == 2 ? 2.54 : 0;
    return tidy_dpi(info.saw_JFIF_marker ? info.X_density * unit : 0);
}

constexpr int app1 = JPEG_APP0 + 1;

// Of the first marker that is Exif; others of its kind hold other things.
int orientation_of(const jpeg_decompress_struct &info)
{
    for (const jpeg_marker_struct *m = info.marker_list; m; m = m->next)
        if (const int o = m->marker == app1
                              ? exif_orientation({reinterpret_cast<const char *>(m->data), m->data_length})
                              : 0)
            return o;
    return 0;
}

// Ink to light, in place. Files with Adobe's mark hold the inks inverted.
void ink_to_light(unsigned char *pixel, long count, bool inverted)
{
    for (; count > 0; --count, pixel += 4) {
        unsigned light[4];
        for (int i = 0; i < 4; ++i)
            light[i] = inverted ? pixel[i] : 255u - pixel[i];
        for (int i = 0; i < 3; ++i)
            pixel[i] = static_cast<unsigned char>((light[2 - i] * light[3] + 127) / 255);
        pixel[3] = 255;
    }
}

bool read_jpeg(jpeg_reading &job, std::string_view bytes)
{
    if (setjmp(job.errors.back))
        return false;
    jpeg_decompress_struct &info = job.info;
    info.err = set_up_errors(job.errors);
    jpeg_create_decompress(&info);
    info.mem->max_memory_to_use = most_memory;
    job.progress.progress_monitor = on_progress;
    info.progress = &job.progress;
    jpeg_mem_src(&info, reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size());
    jpeg_save_markers(&info, app1, 0xffff);
    jpeg_read_header(&info, TRUE);
    job.orientation = orientation_of(info);

    const long width = info.image_width, height = info.image_height;
    if (width > max_picture_pixels / height)
        fail(reinterpret_cast<j_common_ptr>(&info), "too large: more than 2^28 pixels");
    if (!info.arith_code && double(width) * double(height) > most_pixels_a_byte * double(bytes.size()))
        fail(reinterpret_cast<j_common_ptr>(&info), "cut short");
    const bool inks = info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK;
    info.out_color_space = inks ? JCS_CMYK : JCS_EXT_BGRA;
    jpeg_start_decompress(&info);

    job.surface = surface_create(width, height);
    if (!job.surface)
        fail(reinterpret_cast<j_common_ptr>(&info), "too large for the memory there is");
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = job.surface->pixels + info.output_scanline * job.surface->stride;
        jpeg_read_scanlines(&info, &row, 1);
        if (inks)
            ink_to_light(row, width, info.saw_Adobe_marker);
    }
    job.surface->dpi = density_of(info);
    jpeg_finish_decompress(&info); // reads on to the end mark: without it the file was cut short
    return true;
}

struct jpeg_writing {
    jpeg_compress_struct info;
    error_manager errors;
};

bool write_jpeg(jpeg_writing &job, const zan_surface &s, FILE *stream)
{
    if (setjmp(job.errors.back))
        return false;
    jpeg_compress_struct &info = job.info;
    info.err = set_up_errors(job.errors);
    jpeg_create_compress(&info);
    jpeg_stdio_dest(&info, stream);
    info.image_width = static_cast<JDIMENSION>(s.width);
    info.image_height = static_cast<JDIMENSION>(s.height);
    info.input_components = s.format == 1 ? 3 : 4;
    // premultiplied colours without their alpha are the picture on black
    info.in_color_space = s.format == 1 ? JCS_RGB : JCS_EXT_BGRX;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 95, TRUE);
    for (int i = 0; i < info.num_components; ++i)
        info.comp_info[i].h_samp_factor = info.comp_info[i].v_samp_factor = 1;
    const double density = std::round(s.dpi);
    info.density_unit = 1;
    info.X_density = info.Y_density = static_cast<UINT16>(density < 1 ? 1 : density > 65535 ? 65535 : density);
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
        JSAMPROW row = s.pixels + info.next_scanline * s.stride;
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    return true;
}

} // namespace

zan_surface *decode_jpeg(std::string_view bytes, std::string &why)
{
    jpeg_reading job{};
    const bool done = read_jpeg(job, bytes);
    jpeg_destroy_decompress(&job.info);
    if (!done) {
        zgraphics_surface_destroy(job.surface);
        why = job.errors.why;
        return nullptr;
    }
    zan_surface *s = upright(job.surface, job.orientation);
    if (!s)
        why = "too large for the memory there is";
    return s;
}

bool encode_jpeg(const zan_surface &s, FILE *stream, std::string &why)
{
    if (s.width > most_pixels_a_side || s.height > most_pixels_a_side) {
        why = "a JPEG has at most 65500 pixels a side";
        return false;
    }
    jpeg_writing job{};
    const bool done = write_jpeg(job, s, stream);
    jpeg_destroy_compress(&job.info);
    if (!done && !ferror(stream))
        why = job.errors.why;
    return done || ferror(stream);
}

} // namespace zan
