// The rows of the pixel formats, one table of functions per instruction set.
#pragma once

// Every row there is: the twelve formats, then those of three planes.
#define VOKRA_PIXEL_ROWS(X)                                                                                       \
    X(uyvy2argb)                                                                                                  \
    X(argb2uyvy)                                                                                                  \
    X(uyvy2ayuv)                                                                                                  \
    X(ayuv2uyvy)                                                                                                  \
    X(argb2ayuv)                                                                                                  \
    X(ayuv2argb)                                                                                                  \
    X(uyvy2luma)                                                                                                  \
    X(luma2uyvy)                                                                                                  \
    X(ayuv2luma)                                                                                                  \
    X(luma2ayuv)                                                                                                  \
    X(uyvy2yuy2)                                                                                                  \
    X(rgb2uyvy)                                                                                                   \
    X(yuv2uyvy)                                                                                                   \
    X(uyvy2rgb)                                                                                                   \
    X(uyvy2yuv)

namespace vok::pixels {

using row_fn = void (*)(long n, const unsigned char *in, unsigned char *out);

struct row_table {
#define VOKRA_PIXEL_ROW(name) row_fn name;
    VOKRA_PIXEL_ROWS(VOKRA_PIXEL_ROW)
#undef VOKRA_PIXEL_ROW
};

} // namespace vok::pixels
