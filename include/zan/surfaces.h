/* Drawing surfaces: 4 bytes a pixel (format 0), blue, green, red, alpha in memory
 * order, colours premultiplied by alpha; or 3 bytes (format 1), red, green, blue. */
#ifndef ZAN_SURFACES_H
#define ZAN_SURFACES_H
#include <zan/base.h>
#ifdef __cplusplus
extern "C" {
#endif

typedef struct zan_surface zan_surface;

/* A surface on the caller's pixels; destroy(data) is called with it when given. */
ZAN_EXPORT zan_surface *zgraphics_image_surface_create_for_data(unsigned char *pixels, long format, long width,
                                                                long height, long stride,
                                                                void (*destroy)(void *), void *data);
/* A PNG or JPEG file, judged by its first bytes. Null, with an error that names the
 * file and what it is. */
ZAN_EXPORT zan_surface *zgraphics_image_surface_create_from_file(const char *name, short path);
ZAN_EXPORT long zgraphics_image_surface_get_width(zan_surface *s);
ZAN_EXPORT long zgraphics_image_surface_get_height(zan_surface *s);
/* The resolution the file told, in dots an inch; 72 where it told none. */
ZAN_EXPORT double zgraphics_image_surface_get_dpi(zan_surface *s);
/* The first byte of pixel (x, y), bytes to the next row, bytes a pixel; null when
 * the area isn't inside. Unlock with the pointer. */
ZAN_EXPORT unsigned char *zgraphics_image_surface_lockpixels_readonly(zan_surface *s, long x, long y, long width,
                                                                      long height, long *stride, long *bytes);
ZAN_EXPORT void zgraphics_image_surface_unlockpixels_readonly(zan_surface *s, const unsigned char *pixels);
/* Written under a temporary name and renamed when whole. Host error numbers. */
ZAN_EXPORT long zgraphics_image_surface_writepng(zan_surface *s, const char *name, short path, long dpi);
ZAN_EXPORT long zgraphics_image_surface_writejpeg(zan_surface *s, const char *name, short path);
ZAN_EXPORT void zgraphics_surface_destroy(zan_surface *s);

#ifdef __cplusplus
}
#endif
#endif
