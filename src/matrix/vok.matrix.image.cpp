// Pictures in and out of a matrix. A picture matrix holds alpha, red, green, blue in its
// planes; a surface of the host holds blue, green, red, alpha in its bytes, the colours
// multiplied by alpha. Everything here takes the two as they are, byte by byte.
#include <vokra/matrix_image.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <strings.h>

#include <zan/files.h>
#include <zan/preferences.h>
#include <zan/symbols.h>
#include <zan/text.h>

#include <vokra/attributes.h>
#include <vokra/kernel.h>
#include <vokra/matrix_copy.h>

#include "matrix/matrix_lock.h"
#include "matrix/matrix_symbols.h"

using namespace vok;

namespace {

constexpr long pixel_bytes = 4;

using owned_matrix = std::unique_ptr<vok_matrix, object_freer>;

struct surface_destroyer {
    void operator()(zan_surface *s) const { zgraphics_surface_destroy(s); }
};
using owned_surface = std::unique_ptr<zan_surface, surface_destroyer>;

// The pixels of a surface, held for reading.
class surface_pixels {
  public:
    explicit surface_pixels(zan_surface *s)
        : surface_(s), width(zgraphics_image_surface_get_width(s)), height(zgraphics_image_surface_get_height(s))
    {
        first = zgraphics_image_surface_lockpixels_readonly(s, 0, 0, width, height, &stride, &bytes);
    }
    surface_pixels(const surface_pixels &) = delete;
    surface_pixels &operator=(const surface_pixels &) = delete;
    ~surface_pixels()
    {
        if (first)
            zgraphics_image_surface_unlockpixels_readonly(surface_, first);
    }

    const unsigned char *row(long y) const { return first + y * stride; }

  private:
    zan_surface *surface_;

  public:
    const long width, height;
    const unsigned char *first = nullptr; // stays null when they can't be had
    long stride = 0;
    long bytes = 0; // a pixel
};

// A file as the host's calls take it.
struct file_place {
    char name[ZAN_NAME_SIZE] = "";
    short path = 0;

    // A text without a folder that exists is a name in the default one.
    explicit file_place(const char *text)
    {
        if (path_frompotentialpathname(text, &path, name)) {
            path = path_getdefault();
            strncpy_zero(name, text, ZAN_NAME_SIZE);
        }
    }
};

bool is_picture(const vok_matrix_info &info)
{
    return info.type == _vok_sym_char && info.planecount == pixel_bytes;
}

vok_matrix_info picture_info(long width, long height, long planecount)
{
    vok_matrix_info info;
    vok_matrix_info_default(&info);
    info.planecount = planecount;
    info.dim[0] = std::max(width, 1L);
    info.dim[1] = std::max(height, 1L);
    return info;
}

// A matrix of the same shape as char with 4 planes, its cells converted.
owned_matrix as_picture(vok_matrix *x)
{
    vok_matrix_info info = x->info;
    info.type = _vok_sym_char;
    info.planecount = pixel_bytes;
    owned_matrix picture(vok_matrix_new(&info));
    if (picture && vok_matrix_frommatrix(picture.get(), x, nullptr))
        picture.reset();
    return picture;
}

// By >> 8 and not by / 255: full alpha takes 255 to 254, deliberately.
void premultiply_row(unsigned char *to, const unsigned char *cells, long cellstride, long width)
{
    for (long i = 0; i < width; i++) {
        const unsigned char *from = cells + i * cellstride;
        const unsigned alpha = from[0];
        to[4 * i] = static_cast<unsigned char>(alpha * from[3] >> 8);
        to[4 * i + 1] = static_cast<unsigned char>(alpha * from[2] >> 8);
        to[4 * i + 2] = static_cast<unsigned char>(alpha * from[1] >> 8);
        to[4 * i + 3] = from[0];
    }
}

unsigned char unpremultiplied(unsigned colour, unsigned factor)
{
    return static_cast<unsigned char>(std::min(colour * factor >> 8, 255U));
}

// Where alpha says nothing (0) or changes nothing (255), colours stay as stored.
void unpremultiply_row(unsigned char *cells, long cellstride, const unsigned char *from, long width)
{
    for (long i = 0; i < width; i++) {
        unsigned char *to = cells + i * cellstride;
        const unsigned char *pixel = from + pixel_bytes * i;
        const unsigned alpha = pixel[3];
        const unsigned factor = alpha == 0 || alpha == 255 ? 256 : 65536 / alpha;
        to[0] = pixel[3];
        to[1] = unpremultiplied(pixel[2], factor);
        to[2] = unpremultiplied(pixel[1], factor);
        to[3] = unpremultiplied(pixel[0], factor);
    }
}

// The surface's bytes in the order of planes: 4 bytes reversed, 3 behind a full alpha.
void reorder_row(unsigned char *cells, long cellstride, const unsigned char *from, long width, long bytes)
{
    for (long i = 0; i < width; i++) {
        unsigned char *to = cells + i * cellstride;
        const unsigned char *pixel = from + bytes * i;
        if (bytes == pixel_bytes) {
            std::reverse_copy(pixel, pixel + pixel_bytes, to);
        } else {
            to[0] = 255;
            std::copy_n(pixel, 3, to + 1);
        }
    }
}

bool ends_in(std::string_view name, std::string_view ending)
{
    return name.size() >= ending.size() &&
           strncasecmp(name.data() + name.size() - ending.size(), ending.data(), ending.size()) == 0;
}

// What export knows of each format; the last row stands for "none of these".
struct picture_format {
    const char *word;
    uint32_t type;          // the host's file type
    const char *endings[2]; // the first is added to a name that has neither
};

constexpr picture_format formats[] = {
    {"png", 0x504E4720 /* "PNG " */, {".png", ".png"}},
    {"jpeg", 0x4A504547 /* "JPEG" */, {".jpg", ".jpeg"}},
    {"tiff", 0x54494646 /* "TIFF" */, {".tiff", ".tif"}},
};
enum format_index { format_png, format_jpeg, format_tiff };

const picture_format *format_of(const symbol *word)
{
    if (word == matrix_symbols().png)
        return &formats[format_png];
    if (word == matrix_symbols().jpeg)
        return &formats[format_jpeg];
    return word == matrix_symbols().tiff ? &formats[format_tiff] : nullptr;
}

void add_extension(char *name, const picture_format &format)
{
    if (!ends_in(name, format.endings[0]) && !ends_in(name, format.endings[1]))
        strncat_zero(name, format.endings[0], ZAN_NAME_SIZE);
}

// The first argument's name, or none.
symbol *name_argument(long argc, const atom *argv)
{
    symbol *name = argc > 0 ? atom_getsym(argv) : nullptr;
    return name && name != _vok_sym_nothing ? name : nullptr;
}

// Finds the picture that the arguments name, or asks. False when there is none; then
// *name is the one that wasn't found, or empty if the user chose none.
bool find_picture(long argc, const atom *argv, char *name, short *path)
{
    uint32_t type = 0;
    const symbol *given = name_argument(argc, argv);
    if (!given)
        return open_dialog(name, path, &type, nullptr, 0) == 0;
    strncpy_zero(name, given->name, ZAN_NAME_SIZE);
    return locatefile_extended(name, path, &type, nullptr, 0) == 0;
}

bool is_there(const char *name, short path, char *fullname)
{
    zan_fileinfo info;
    return path_topathname(path, name, fullname) == 0 && path_fileinfo(name, path, &info) == 0;
}

// A matrix of one plane takes plane 3 of the picture and stays one of one plane.
vok_err take_single_plane(vok_matrix *x, zan_surface *surface)
{
    const owned_matrix picture(vok_matrix_new(nullptr));
    if (!picture)
        return VOK_ERR_OMEM;
    if (const vok_err err = vok_matrix_from_image_surface(picture.get(), surface))
        return err;
    vok_matrix_info info = picture->info;
    info.planecount = 1;
    if (const vok_err err = vok_matrix_setinfo(x, &info))
        return err;
    vok_matrix_conv_info conv = {};
    conv.planemap[0] = 3;
    return vok_matrix_frommatrix(x, picture.get(), &conv);
}

} // namespace

zan_surface *vok_matrix_get_image_surface(vok_matrix *x)
{
    if (!x)
        return nullptr;
    owned_matrix converted;
    if (!is_picture(x->info)) {
        converted = as_picture(x);
        if (!converted)
            return nullptr;
        x = converted.get();
    }
    const matrix_pin pin(x);
    const long width = x->info.dimcount < 1 ? 1 : x->info.dim[0];
    const long height = x->info.dimcount < 2 ? 1 : x->info.dim[1];
    // one row has no stride to the next
    const long stride = std::max(std::abs(x->info.dimstride[1]), width * pixel_bytes);
    if (!x->data || width < 1 || height < 1)
        return nullptr;
    auto *block = static_cast<unsigned char *>(sysmem_newptrclear(stride * height));
    if (!block)
        return nullptr;
    for (long y = 0; y < height; y++)
        premultiply_row(block + y * stride, x->data + y * x->info.dimstride[1], x->info.dimstride[0], width);
    zan_surface *surface =
        zgraphics_image_surface_create_for_data(block, 0, width, height, stride, sysmem_freeptr, block);
    if (!surface)
        sysmem_freeptr(block);
    return surface;
}

vok_err vok_matrix_from_image_surface(vok_matrix *x, zan_surface *surface)
{
    if (!x || !surface)
        return VOK_ERR_INVP;
    const surface_pixels pixels(surface);
    if (!pixels.first || pixels.bytes != pixel_bytes)
        return VOK_ERR_INVP;
    const vok_matrix_info info = picture_info(pixels.width, pixels.height, pixel_bytes);
    const vok_err err = vok_matrix_setinfo(x, &info);
    if (err)
        return err;
    const matrix_pin pin(x);
    if (!x->data)
        return VOK_ERR_EROR;
    for (long y = 0; y < pixels.height; y++)
        unpremultiply_row(x->data + y * x->info.dimstride[1], x->info.dimstride[0], pixels.row(y), pixels.width);
    return VOK_ERR_NONE;
}

vok_err vok_matrix_export_image_surface(vok_matrix *x, long argc, atom *argv)
{
    if (!x)
        return VOK_ERR_INVP;
    if (!argv)
        argc = 0;
    const owned_surface surface(vok_matrix_get_image_surface(x));
    if (!surface)
        return VOK_ERR_EROR;
    const picture_format *format = &formats[format_png];
    symbol *name = name_argument(argc, argv);
    if (argc >= 2) {
        if (const picture_format *asked = format_of(atom_getsym(argv + 1)))
            format = asked;
    } else if (const picture_format *asked = format_of(name)) {
        format = asked;
        name = nullptr;
    }
    file_place place(name ? name->name : "export");
    if (!name) {
        uint32_t type = format->type;
        if (saveasdialog_extended(place.name, &place.path, &type, &format->type, 1))
            return VOK_ERR_EROR;
    }
    add_extension(place.name, *format);
    long result = zan_err_generic; // of tiff, too
    if (format == &formats[format_png])
        result = zgraphics_image_surface_writepng(surface.get(), place.name, place.path,
                                                  preferences_getlong("export_dpi"));
    else if (format == &formats[format_jpeg])
        result = zgraphics_image_surface_writejpeg(surface.get(), place.name, place.path);
    if (argc > 0)
        atom_setsym(argv, gensym(place.name));
    return vok_err_from_zan_err(result);
}

vok_err vok_matrix_export_tiff(vok_matrix *, long, atom *)
{
    return VOK_ERR_EROR;
}

vok_err vok_matrix_importmovie_as_surface(vok_matrix *x, long argc, atom *argv, atom *rv)
{
    if (!x)
        return VOK_ERR_INVP;
    if (!argv)
        argc = 0;
    if (rv)
        atom_setsym(rv, _vok_sym_nothing);
    char name[ZAN_NAME_SIZE] = "";
    char fullname[ZAN_NAME_SIZE] = "";
    short path = 0;
    if (!find_picture(argc, argv, name, &path)) {
        if (*name)
            vok_object_error(x, "can't find file %s", name);
        return VOK_ERR_EROR;
    }
    // what lies in a folder is read where it is
    if (path > 0 && !is_there(name, path, fullname))
        vok_matrix_copyfromcollective(name, path, &path);
    if (path_topathname(path, name, fullname))
        return VOK_ERR_EROR;
    atom file;
    atom_setsym(&file, gensym(fullname));
    if (rv)
        *rv = file;
    if ((argc > 1 && atom_getlong(argv + 1)) || !test_if_supported_image(fullname))
        return VOK_ERR_EROR;

    void *picture = object_new_typed(_vok_sym_nobox, matrix_symbols().sketch_image, 1, &file);
    if (!picture)
        return VOK_ERR_EROR;
    vok_err err = VOK_ERR_EROR;
    if (const owned_surface surface{ask<zan_surface>(picture, matrix_symbols().get_image_surface)})
        err = x->info.planecount == 1 ? take_single_plane(x, surface.get())
                                      : vok_matrix_from_image_surface(x, surface.get());
    object_free(picture);
    return err;
}

vok_err vok_matrix_vok_gl_texture(vok_matrix *x, symbol *s, long argc, atom *argv)
{
    if (!x)
        return VOK_ERR_INVP;
    symbol *name = argc > 0 && argv ? atom_getsym(argv) : nullptr;
    void *texture = name ? vok_object_findregistered(name) : nullptr;
    if (!texture)
        return VOK_ERR_EROR;
    atom self;
    atom_setobj(&self, x);
    return send(texture, matrix_symbols().tomatrix, s, 1, &self);
}

vok_err vok_zgraphics_matrix_writepng(vok_matrix *x, const char *filename)
{
    if (!x || !filename)
        return VOK_ERR_INVP;
    const long width = x->info.dimcount < 1 ? 1 : x->info.dim[0];
    const long height = x->info.dimcount < 2 ? 1 : x->info.dim[1];
    const bool three = x->info.planecount == 3;
    const vok_matrix_info info = picture_info(width, height, three ? 3 : pixel_bytes);
    const owned_matrix picture(vok_matrix_new(&info));
    if (!picture)
        return VOK_ERR_OMEM;
    vok_matrix_conv_info conv = {};
    vok_zgraphics_set_planemap(&conv, &x->info);
    if (const vok_err err = vok_matrix_frommatrix(picture.get(), x, &conv))
        return err;
    const owned_surface surface(zgraphics_image_surface_create_for_data(
        picture->data, three ? 1 : 0, picture->info.dim[0], picture->info.dim[1], picture->info.dimstride[1],
        nullptr, nullptr));
    if (!surface)
        return VOK_ERR_EROR;
    const file_place place(filename);
    return vok_err_from_zan_err(zgraphics_image_surface_writepng(surface.get(), place.name, place.path, 72));
}

vok_err vok_zgraphics_matrix_readpng(vok_matrix *x, const char *filename)
{
    if (!x || !filename)
        return VOK_ERR_INVP;
    const file_place place(filename);
    const owned_surface surface(zgraphics_image_surface_create_from_file(place.name, place.path));
    if (!surface)
        return VOK_ERR_EROR;
    const surface_pixels pixels(surface.get());
    if (!pixels.first || pixels.bytes < 3 || pixels.bytes > pixel_bytes)
        return VOK_ERR_EROR;
    const vok_matrix_info info = picture_info(pixels.width, pixels.height, pixel_bytes);
    if (const vok_err err = vok_matrix_setinfo(x, &info))
        return err;
    const matrix_pin pin(x);
    if (!x->data)
        return VOK_ERR_EROR;
    for (long y = 0; y < pixels.height; y++)
        reorder_row(x->data + y * x->info.dimstride[1], x->info.dimstride[0], pixels.row(y), pixels.width,
                    pixels.bytes);
    return VOK_ERR_NONE;
}

void vok_zgraphics_set_planemap(vok_matrix_conv_info *conv, const vok_matrix_info *info)
{
    if (!conv || !info)
        return;
    static constexpr long maps[4][4] = {{3, 2, 1, 0}, {0, 0, 0, 0}, {0, 1, 1, 1}, {0, 1, 2, 3}};
    const long count = info->planecount;
    const long *map = maps[count >= 1 && count <= 3 ? count : 0];
    std::copy_n(map, count == 3 ? 3 : 4, conv->planemap);
}

long test_if_supported_image(const char *name)
{
    if (!name)
        return 0;
    static constexpr std::string_view endings[] = {".png", ".PNG", ".jpg", ".JPG", ".jpeg", ".JPEG"};
    const std::string_view text(name);
    return std::any_of(std::begin(endings), std::end(endings), [text](std::string_view ending) {
        return text.size() > ending.size() && text.substr(text.size() - ending.size()) == ending;
    });
}

long vok_matrix_copyfromcollective(const char *name, short path, short *outpath)
{
    if (!name || !outpath)
        return 0;
    const short folder = path_tempfolder();
    char fullname[ZAN_NAME_SIZE] = "";
    if (!is_there(name, folder, fullname)) {
        zan_file_handle from = nullptr;
        zan_file_handle to = nullptr;
        zan_fileinfo info = {};
        if (path_opensysfile(name, path, &from, 1))
            return 0;
        path_fileinfo(name, path, &info);
        long failed = path_createsysfile(name, folder, info.type, &to);
        if (!failed) {
            failed = sysfile_spoolcopy(from, to, info.type);
            sysfile_close(to);
        }
        sysfile_close(from);
        if (failed)
            return 0;
    }
    *outpath = folder;
    return 1;
}
