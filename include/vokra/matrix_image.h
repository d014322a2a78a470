/* Pictures: between char matrices of four planes (alpha, red, green, blue) and the
 * host's drawing surfaces (blue, green, red, alpha, premultiplied), to and from PNG
 * and JPEG files; and the small buffer description of the video rooms. */
#ifndef VOKRA_MATRIX_IMAGE_H
#define VOKRA_MATRIX_IMAGE_H

#include <vokra/matrix.h>
#include <zan/surfaces.h>

VOKRA_BEGIN_C

/* A new surface of the matrix's first two dimensions, through char and 4 planes if
 * it is neither; free with zgraphics_surface_destroy. Colours are multiplied by
 * alpha and shifted right by 8, so that 255 becomes 254. Null without data. */
VOKRA_EXPORT zan_surface *vok_matrix_get_image_surface(vok_matrix *x);
/* Takes the surface's size as char, 4 planes, and its pixels with the alpha divided
 * out. INVP for a surface whose pixels aren't 4 bytes; EROR without data. */
VOKRA_EXPORT vok_err vok_matrix_from_image_surface(vok_matrix *x, zan_surface *surface);
/* Writes a picture: a file name and one of the words png, jpeg, tiff; a name alone
 * (png); or a word alone or nothing, which asks the user. The name gets the format's
 * extension, and argv[0], when argc is above 0, becomes the final name. EROR for
 * tiff, without data, and when the user cancels. */
VOKRA_EXPORT vok_err vok_matrix_export_image_surface(vok_matrix *x, long argc, atom *argv);
/* Reads a picture file (none: asks the user); a second number other than 0 refuses it.
 * A matrix of one plane takes the picture's blue. *rv, if not null, becomes
 * the full path, or the empty symbol when there is no such file. */
VOKRA_EXPORT vok_err vok_matrix_importmovie_as_surface(vok_matrix *x, long argc, atom *argv, atom *rv);
/* Asks the registered object that the first atom names for its contents, by the
 * message tomatrix. EROR when there is none. */
VOKRA_EXPORT vok_err vok_matrix_vok_gl_texture(vok_matrix *x, symbol *s, long argc, atom *argv);
/* TIFF isn't written: EROR. */
VOKRA_EXPORT vok_err vok_matrix_export_tiff(vok_matrix *x, long argc, atom *argv);

/* The first two dimensions as a PNG file, cells as they stand (no premultiplication). */
VOKRA_EXPORT vok_err vok_zgraphics_matrix_writepng(vok_matrix *x, const char *filename);
/* The picture's bytes as the file's surface holds them. EROR when there is none. */
VOKRA_EXPORT vok_err vok_zgraphics_matrix_readpng(vok_matrix *x, const char *filename);
/* The plane map that brings planes into the order of a surface's bytes: from 3 planes
 * 0 1 2, from 2 planes 0 1 1 1, from 1 plane 0 0 0 0, else 3 2 1 0. */
VOKRA_EXPORT void vok_zgraphics_set_planemap(vok_matrix_conv_info *conv, const vok_matrix_info *info);
/* 1 for a name that ends in .png .jpg .jpeg, all small or all capital letters. */
VOKRA_EXPORT long test_if_supported_image(const char *name);
/* Makes a file of a collective readable: *outpath is a folder of the file system
 * that holds it under its name. Non-zero when it does. */
VOKRA_EXPORT long vok_matrix_copyfromcollective(const char *name, short path, short *outpath);

/* ---- bitmaps: a description of pixels in up to three planes ---- */

typedef struct vok_bitmap {
    long width;               /* pixels */
    long height;              /* rows */
    long pitch;               /* bytes from a row to the next */
    long reserved;            /* 0 */
    unsigned char lockcount;  /* locks that are held */
    unsigned char owned;      /* base is freed with the bitmap */
    unsigned char planecount; /* planes in use; 4 until data is given */
    unsigned char *data;      /* the first pixel */
    unsigned char *base;      /* what was allocated, or null */
    unsigned char *plane[3];  /* first byte of each plane */
    long planestride[3];      /* bytes from a row to the next in each plane */
} vok_bitmap;

/* With `align` other than 0 the pitch is rounded up to a multiple of 32. No pixels
 * yet. Null when memory is out. */
VOKRA_EXPORT vok_bitmap *vok_bitmap_new(long width, long height, long pitch, long align);
VOKRA_EXPORT void vok_bitmap_free(vok_bitmap *b);
/* height times pitch bytes of its own, one plane. OMEM when they can't be had. */
VOKRA_EXPORT vok_err vok_bitmap_allocate(vok_bitmap *b);
/* Pixels of the caller's: one plane, or one to three (up to the first null). */
VOKRA_EXPORT vok_err vok_bitmap_setdata(vok_bitmap *b, void *data);
VOKRA_EXPORT vok_err vok_bitmap_setplanes(vok_bitmap *b, void *plane0, void *plane1, void *plane2);
VOKRA_EXPORT vok_err vok_bitmap_setplanestrides(vok_bitmap *b, long stride0, long stride1, long stride2);
/* Count a lock and give the pixels; release takes it back. */
VOKRA_EXPORT vok_err vok_bitmap_lockplanes(vok_bitmap *b, unsigned char **p0, unsigned char **p1,
                                           unsigned char **p2);
VOKRA_EXPORT unsigned char *vok_bitmap_lock(vok_bitmap *b);
VOKRA_EXPORT vok_err vok_bitmap_release(vok_bitmap *b);
VOKRA_EXPORT long vok_bitmap_pitch(vok_bitmap *b);

VOKRA_END_C
#endif
