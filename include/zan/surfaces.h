/* Drawing surfaces: 4 bytes a pixel (format 0), blue, green, red, alpha in memory
 * order, colours premultiplied by alpha; or 3 bytes (format 1), red, green, blue.
 * A surface may be used by any thread, by one at a time. Files are at most 1 GiB
 * and 2^28 pixels. */
#ifndef ZAN_SURFACES_H
#define ZAN_SURFACES_H
#include <zan/base.h>
#ifdef __cplusplus
extern "C" {
#endif

typedef struct zan_surface zan_surface;

/* A surface on the caller's pixels, which must outlive it; rows are `stride` bytes
 * apart. destroy(data) is called, when given, once the surface is gone. Null, and
 * destroy not called, for no pixels, a size below 1, an unknown format or a stride
 * shorter than a row. */
ZAN_EXPORT zan_surface *zgraphics_image_surface_create_for_data(unsigned char *pixels, long format, long width,
                                                                long height, long stride, void (*destroy)(void *),
                                                                void *data);
/* A PNG or JPEG file, judged by its first bytes, as a surface of format 0. Every
 * kind is taken: grey, palette, 16-bit (rounded to 8), interlaced, CMYK; colours are
 * left in the file's own colour space; a JPEG whose Exif block tells how the camera
 * was held (orientation 1 to 8) is turned upright. Null, with one error that names the file and
 * what it is, when it can't be read, is of another kind, damaged or cut short. */
ZAN_EXPORT zan_surface *zgraphics_image_surface_create_from_file(const char *name, short path);
ZAN_EXPORT long zgraphics_image_surface_get_width(zan_surface *s);
ZAN_EXPORT long zgraphics_image_surface_get_height(zan_surface *s);
/* The resolution along the stored rows that the file told, in dots an inch, to a hundredth; 72 where
 * it told none (or only the shape of a pixel) and for any other surface. */
ZAN_EXPORT double zgraphics_image_surface_get_dpi(zan_surface *s);
/* What a file written from the surface tells; 0 and below changes nothing. */
ZAN_EXPORT void zgraphics_image_surface_set_dpi(zan_surface *s, double dpi);
/* The first byte of pixel (x, y), bytes to the next row, bytes a pixel; null when
 * the area isn't inside. Unlock with the pointer. */
ZAN_EXPORT unsigned char *zgraphics_image_surface_lockpixels_readonly(zan_surface *s, long x, long y, long width,
                                                                      long height, long *stride, long *bytes);
ZAN_EXPORT void zgraphics_image_surface_unlockpixels_readonly(zan_surface *s, const unsigned char *pixels);
/* Written under a temporary name and renamed when whole; 0, or a host error number
 * with one error that names the file. A PNG has red, green, blue and (format 0)
 * alpha, no longer premultiplied; where alpha is 0 colours stay as they are. `dpi`
 * 0 or below: the surface's own. A JPEG is of quality 95, colour at full resolution,
 * on black, at most 65500 pixels a side. */
ZAN_EXPORT long zgraphics_image_surface_writepng(zan_surface *s, const char *name, short path, long dpi);
ZAN_EXPORT long zgraphics_image_surface_writejpeg(zan_surface *s, const char *name, short path);
/* The class "sketch_image" of namespace nobox holds a picture file as a surface. It
 * is made with object_new_imp(nobox, sketch_image, 1, &atom), the atom a symbol: the
 * file's full name, or one in the current folder; null, with its error, when that
 * can't be read. Its private message get_image_surface gives a new reference to the
 * surface, which the caller destroys and which outlives the object. */

/* Gives up one reference (the maker's). Null is allowed. */
ZAN_EXPORT void zgraphics_surface_destroy(zan_surface *s);

#ifdef __cplusplus
}
#endif
#endif
