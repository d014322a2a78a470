// How a camera was held: a JPEG's Exif block tells which way up its pixels are, and the
// picture is turned so that what it shows stands upright.
#include "internal.h"

namespace zan {
namespace {

// Numbers of a TIFF block in either order of bytes; 0 outside of it.
struct tiff {
    std::string_view bytes;
    bool little;

    unsigned byte(size_t at) const { return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0; }
    unsigned half(size_t at) const { return little ? byte(at) | byte(at + 1) << 8 : byte(at) << 8 | byte(at + 1); }
    size_t word(size_t at) const
    {
        return little ? half(at) | size_t(half(at + 2)) << 16 : size_t(half(at)) << 16 | half(at + 2);
    }
};

} // namespace

// Exif 2.3, 4.6.4 A: tag 0x112 (Orientation) of the first directory, one 16-bit number (type 3).
int exif_orientation(std::string_view marker)
{
    using namespace std::string_view_literals;
    constexpr auto mark = "Exif\0\0"sv;
    if (!marker.starts_with(mark))
        return 0;
    const tiff t{marker.substr(mark.size()), marker.substr(mark.size()).starts_with("II*\0"sv)};
    if (!t.little && !t.bytes.starts_with("MM\0*"sv))
        return 0;
    const size_t directory = t.word(4);
    if (directory >= t.bytes.size())
        return 0;
    for (size_t entry = directory + 2, left = t.half(directory); left && entry + 12 <= t.bytes.size();
         entry += 12, left--)
        if (t.half(entry) == 0x112 && t.half(entry + 2) == 3 && t.word(entry + 4) == 1)
            return static_cast<int>(t.half(entry + 8));
    return 0;
}

// The orientation tells at which edges of the upright picture the stored rows and columns
// begin: from 5 on rows are columns; in two cases of four each the picture's columns run
// from the right, and its rows from below.
zan_surface *upright(zan_surface *stored, int orientation)
{
    if (!stored || orientation < 2 || orientation > 8)
        return stored;
    const bool across = orientation >= 5, from_right = orientation & 2, from_below = (orientation - 1) & 2;
    const long width = across ? stored->height : stored->width, height = across ? stored->width : stored->height;
    zan_surface *s = surface_create(width, height);
    for (long y = 0; s && y < height; ++y) {
        auto *to = reinterpret_cast<uint32_t *>(s->pixels + y * s->stride);
        for (long x = 0; x < width; ++x) {
            const long column = from_right ? width - 1 - x : x, row = from_below ? height - 1 - y : y;
            to[x] = reinterpret_cast<const uint32_t *>(stored->pixels + (across ? column : row) *
                                                                            stored->stride)[across ? row : column];
        }
    }
    if (s)
        s->dpi = stored->dpi;
    zgraphics_surface_destroy(stored);
    return s;
}

} // namespace zan
