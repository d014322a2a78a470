// Matrix files from anywhere: the bytes are read as a header and a matrix chunk. Whatever
// they say, the matrix can be used afterwards, and a file that held all of its cells is
// written again to the same bytes.
#include <algorithm>
#include <cstring>

#include <vokra/kernel.h>
#include <vokra/matrix.h>
#include <vokra/matrix_file.h>

#include "fuzz.h"

namespace {

zan_file_handle opened(const memory_file &file)
{
    zan_file_handle handle = nullptr;
    require(path_opensysfile(file.name.c_str(), 0, &handle, 3) == 0);
    return handle;
}

uint32_t word_at(const uint8_t *data, size_t size, size_t at)
{
    uint32_t value = 0;
    if (at + 4 <= size)
        std::memcpy(&value, data + at, 4);
    return __builtin_bswap32(value);
}

struct told_shape {
    double cells;  // bytes at most, once planecount and dims are brought into range
    bool in_range; // they need not be
};

told_shape shape_of(const uint8_t *data, size_t size)
{
    const int32_t planecount = static_cast<int32_t>(word_at(data, size, 40));
    told_shape told = {8.0 * std::clamp(planecount, 1, 32), planecount >= 1 && planecount <= 32};
    for (size_t i = 0; i < word_at(data, size, 44) && i < VOK_MATRIX_MAX_DIMCOUNT; i++) {
        const int32_t dim = static_cast<int32_t>(word_at(data, size, 48 + 4 * i));
        told.cells *= std::max(dim, 1);
        told.in_range = told.in_range && dim >= 1;
    }
    return told;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const told_shape told = shape_of(data, size);
    if (told.cells > 1e6 && told.cells <= 8 * 0x1p31) // more than a fuzzer can afford, if it is legal
        return 0;
    static vok_matrix *const x = [] {
        start_quietly();
        initialize();
        return vok_matrix_new(nullptr);
    }();
    require(vok_matrix_setinfo(x, nullptr) == 0);
    static const memory_file bytes, again;
    bytes.hold(data, size);
    zan_file_handle file = opened(bytes);
    long id = 0, chunksize = 0, version = 0, filesize = 0;
    vok_bin_read_header(file, &version, &filesize);
    sysfile_setpos(file, 1, VOK_BIN_HEADER_SIZE);
    vok_bin_read_chunk_info(file, &id, &chunksize);
    const vok_err err = vok_bin_read_matrix(file, x);
    sysfile_close(file);
    require(err == 0 || err == VOK_ERR_EROR || (err == VOK_ERR_OMEM && told.cells > 1e6));

    const auto expected = static_cast<size_t>(vok_bin_matrix_filesize(&x->info));
    if (err == 0 && told.in_range && size >= expected) {
        again.hold("", 0);
        file = opened(again);
        require(vok_bin_write_header(file, static_cast<long>(expected)) == 0);
        require(vok_bin_write_matrix(file, x) == 0);
        sysfile_close(file);
        const std::string written = again.contents();
        // size and offset of the chunk are words that the reader has no use for
        constexpr size_t type_at = 36;
        require(written.size() == expected);
        require(std::memcmp(written.data() + type_at, data + type_at, expected - type_at) == 0);
    }
    atom value;
    atom_setlong(&value, 1);
    if (err == VOK_ERR_OMEM)
        require(vok_matrix_setinfo(x, nullptr) == 0);
    require(vok_matrix_setall(x, nullptr, 1, &value) == 0);
    return 0;
}
