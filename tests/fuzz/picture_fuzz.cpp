// Pictures from anywhere: what can be read is written as a PNG and must read back the
// same. The bytes reach the reader as a file in memory, the way that every file does.
// Fuzzing starts from small whole pictures, and the checks of a PNG's chunks are put
// right after each change: nothing would get past them by chance.
#include "../host/pictures.h"
#include "fuzz.h"
#include <fstream>
#include <iterator>
#include <vector>

namespace {

std::vector<unsigned char> pixels_of(zan_surface *s)
{
    const long width = zgraphics_image_surface_get_width(s), height = zgraphics_image_surface_get_height(s);
    long stride = 0, bytes = 0;
    const unsigned char *p = zgraphics_image_surface_lockpixels_readonly(s, 0, 0, width, height, &stride, &bytes);
    std::vector<unsigned char> out;
    for (long y = 0; p && y < height; ++y)
        out.insert(out.end(), p + y * stride, p + y * stride + width * bytes);
    zgraphics_image_surface_unlockpixels_readonly(s, p);
    return out;
}

std::string scratch_name(const char *ending)
{
    return "/tmp/vokra-picture-fuzz-" + std::to_string(getpid()) + ending;
}

std::string a_jpeg()
{
    unsigned char pixels[9 * 7 * 4];
    for (size_t i = 0; i < sizeof pixels; ++i)
        pixels[i] = static_cast<unsigned char>(i % 4 == 3 ? 255 : i * 5);
    zan_surface *s = zgraphics_image_surface_create_for_data(pixels, 0, 9, 7, 36, nullptr, nullptr);
    const std::string name = scratch_name(".jpg");
    require(zgraphics_image_surface_writejpeg(s, name.c_str(), 0) == 0);
    zgraphics_surface_destroy(s);
    std::ifstream file(name, std::ios::binary);
    unlink(name.c_str());
    return {std::istreambuf_iterator<char>(file), {}};
}

// With the block in which a camera tells how it was held: on its side.
std::string turned(const std::string &jpeg, bool little)
{
    return jpeg.substr(0, 2) + pictures::exif(little, 0x112, 3, 1, 6) + jpeg.substr(2);
}

std::string a_png(int colour, int depth, bool interlaced)
{
    pictures::png p;
    p.width = 9;
    p.height = 7;
    p.colour = colour;
    p.depth = depth;
    p.interlaced = interlaced;
    for (int i = 0; i < 63 * pictures::channels(colour); ++i)
        p.samples.push_back(static_cast<uint16_t>(i * 7 % (1 << depth)));
    if (colour == pictures::palette)
        p.chunks = pictures::png_chunk("PLTE", std::string(48, 'x')) + pictures::png_chunk("tRNS", "abc");
    p.chunks += pictures::png_chunk("pHYs", std::string("\0\0\x0b\x13\0\0\x0b\x13\1", 9));
    return p.file();
}

const std::vector<std::string> &seeds()
{
    static const std::vector<std::string> made{
        a_jpeg(),
        turned(a_jpeg(), true),
        turned(a_jpeg(), false),
        a_png(pictures::grey, 1, false),
        a_png(pictures::palette, 4, true),
        a_png(pictures::rgb, 8, false),
        a_png(pictures::rgb_alpha, 16, true),
    };
    return made;
}

void put_checks_right(uint8_t *data, size_t size)
{
    auto *text = reinterpret_cast<char *>(data);
    for (size_t at = 8; at + 12 <= size;) {
        const size_t length =
            size_t(data[at]) << 24 | size_t(data[at + 1]) << 16 | size_t(data[at + 2]) << 8 | data[at + 3];
        if (length > size - at - 12)
            return;
        const std::string check = pictures::png_check({text + at + 4, length + 4});
        check.copy(text + at + 8 + length, 4);
        at += length + 12;
    }
}

} // namespace

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t most);
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t most, unsigned seed)
{
    start_quietly();
    if (size < 16) {
        const std::string &whole = seeds()[seed % seeds().size()];
        return whole.copy(reinterpret_cast<char *>(data), most);
    }
    size = LLVMFuzzerMutate(data, size, most);
    if (size > 8 && data[0] == 0x89)
        put_checks_right(data, size);
    return size;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const memory_file in;
    start_quietly();
    const std::string out = scratch_name(".png");
    in.hold(data, size);
    zan_surface *s = zgraphics_image_surface_create_from_file(in.name.c_str(), 0);
    // a huge picture says no more about the writer than a small one, and takes seconds
    if (s && zgraphics_image_surface_get_width(s) * zgraphics_image_surface_get_height(s) < 1 << 16) {
        require(zgraphics_image_surface_writepng(s, out.c_str(), 0, 0) == 0);
        zan_surface *back = zgraphics_image_surface_create_from_file(out.c_str(), 0);
        require(back && pixels_of(back) == pixels_of(s));
        zgraphics_surface_destroy(back);
        unlink(out.c_str());
    }
    zgraphics_surface_destroy(s);
    return 0;
}
