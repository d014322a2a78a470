// Makes PNG files by hand, of any colour type, depth and interlacing, and the Exif block of
// a JPEG: what the picture readers are held against knows nothing of their libraries.
#pragma once
#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>
#include <zlib.h>

namespace pictures {

inline std::string be32(uint32_t v)
{
    return {static_cast<char>(v >> 24), static_cast<char>(v >> 16), static_cast<char>(v >> 8),
            static_cast<char>(v)};
}

// The check that stands behind a chunk, over its name and data.
inline std::string png_check(std::string_view bytes)
{
    return be32(uint32_t(crc32(0, reinterpret_cast<const Bytef *>(bytes.data()), uInt(bytes.size()))));
}

inline std::string png_chunk(const std::string &name, const std::string &data)
{
    return be32(static_cast<uint32_t>(data.size())) + name + data + png_check(name + data);
}

inline std::string zipped(const std::string &data)
{
    uLongf size = compressBound(data.size());
    std::string out(size, 0);
    compress(reinterpret_cast<Bytef *>(out.data()), &size, reinterpret_cast<const Bytef *>(data.data()),
             data.size());
    return out.substr(0, size);
}

// The marker of a JPEG with the directory of its camera, of two entries, or the first bytes of it.
inline std::string exif(bool little, int tag, int type, int count, int value, size_t length = 200)
{
    const auto number = [little](int v, int size) {
        const std::string big = be32(uint32_t(v)).substr(size_t(4 - size));
        return little ? std::string(big.rbegin(), big.rend()) : big;
    };
    std::string body = std::string("Exif\0\0", 6) + (little ? "II" : "MM") + number(42, 2) + number(10, 4) + "??" +
                       number(2, 2) + number(0x10f, 2) + number(2, 2) + number(3, 4) + "me" + number(0, 2) +
                       number(tag, 2) + number(type, 2) + number(count, 4) + number(value, 2) + number(0, 2) +
                       number(0, 4);
    body.resize(std::min(body.size(), length));
    return std::string("\xff\xe1\0", 3) + static_cast<char>(body.size() + 2) + body;
}

enum colour_type { grey = 0, rgb = 2, palette = 3, grey_alpha = 4, rgb_alpha = 6 };
inline int channels(int colour)
{
    return colour == rgb ? 3 : colour == grey_alpha ? 2 : colour == rgb_alpha ? 4 : 1;
}

struct png {
    uint32_t width = 1, height = 1;
    int depth = 8, colour = rgb;
    bool interlaced = false;
    std::vector<uint16_t> samples{}; // width * height * channels, each of `depth` bits
    std::string chunks{};            // between IHDR and IDAT: PLTE, tRNS, pHYs

    uint16_t sample(uint32_t x, uint32_t y, int channel) const
    {
        return samples[(size_t(y) * width + x) * static_cast<size_t>(channels(colour)) +
                       static_cast<size_t>(channel)];
    }
    std::string header() const
    {
        std::string data = be32(width) + be32(height);
        for (const int v : {depth, colour, 0, 0, interlaced ? 1 : 0})
            data += static_cast<char>(v);
        return std::string("\x89PNG\r\n\x1a\n", 8) + png_chunk("IHDR", data);
    }
    // One pass of the picture: every (dx, dy)th pixel from (x0, y0), rows unfiltered.
    std::string pass(uint32_t x0, uint32_t y0, uint32_t dx, uint32_t dy) const
    {
        std::string out;
        for (uint32_t y = y0; y < height && x0 < width; y += dy) {
            out += '\0'; // no filter
            uint32_t gathered = 0;
            int bits = 0;
            for (uint32_t x = x0; x < width; x += dx)
                for (int c = 0; c < channels(colour); ++c) {
                    gathered = gathered << depth | sample(x, y, c);
                    for (bits += depth; bits >= 8; bits -= 8)
                        out += static_cast<char>(gathered >> (bits - 8));
                }
            if (bits)
                out += static_cast<char>(gathered << (8 - bits));
        }
        return out;
    }
    std::string file() const
    {
        std::string data;
        constexpr std::array<std::array<uint32_t, 4>, 7> adam7{
            {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4}, {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}}};
        if (interlaced)
            for (const auto &p : adam7)
                data += pass(p[0], p[1], p[2], p[3]);
        else
            data = pass(0, 0, 1, 1);
        return header() + chunks + png_chunk("IDAT", zipped(data)) + png_chunk("IEND", "");
    }
};

} // namespace pictures
