// Matrix files from anywhere: the bytes are read as a header and a matrix chunk. Whatever
// they say, the matrix can be used afterwards, and a file that held all of its cells is
// written again to the same bytes.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include <vokra/kernel.h>
#include <vokra/matrix.h>
#include <vokra/matrix_file.h>
#include <zan/host.h>

namespace {

void require(bool holds)
{
    if (!holds)
        abort();
}

// A file in memory, as the host opens it.
class memory_file {
  public:
    memory_file(const void *bytes, size_t size) : fd_(memfd_create("vkf", 0))
    {
        require(write(fd_, bytes, size) == static_cast<ssize_t>(size));
        const std::string name = "/proc/self/fd/" + std::to_string(fd_);
        require(path_opensysfile(name.c_str(), 0, &handle_, 3) == 0);
    }
    ~memory_file()
    {
        close_handle();
        close(fd_);
    }
    memory_file(const memory_file &) = delete;
    memory_file &operator=(const memory_file &) = delete;

    operator zan_file_handle() const { return handle_; }
    // What was written is there when the host has closed the file.
    std::vector<unsigned char> contents()
    {
        close_handle();
        std::vector<unsigned char> bytes(static_cast<size_t>(lseek(fd_, 0, SEEK_END)));
        require(pread(fd_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
        return bytes;
    }

  private:
    void close_handle()
    {
        if (handle_)
            sysfile_close(handle_);
        handle_ = nullptr;
    }

    int fd_;
    zan_file_handle handle_ = nullptr;
};

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

vok_matrix *target()
{
    static vok_matrix *made = [] {
        zan_start();
        initialize();
        zan_set_reporter([](void *, long, void *, const char *) {}, nullptr);
        return vok_matrix_new(nullptr);
    }();
    return made;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const told_shape told = shape_of(data, size);
    if (told.cells > 1e6 && told.cells <= 8 * 0x1p31) // more than a fuzzer can afford, if it is legal
        return 0;
    vok_matrix *x = target();
    require(vok_matrix_setinfo(x, nullptr) == 0);
    const memory_file file(data, size);
    long id = 0, chunksize = 0, version = 0, filesize = 0;
    vok_bin_read_header(file, &version, &filesize);
    sysfile_setpos(file, 1, VOK_BIN_HEADER_SIZE);
    vok_bin_read_chunk_info(file, &id, &chunksize);
    const vok_err err = vok_bin_read_matrix(file, x);
    require(err == 0 || err == VOK_ERR_EROR || (err == VOK_ERR_OMEM && told.cells > 1e6));

    const auto expected = static_cast<size_t>(vok_bin_matrix_filesize(&x->info));
    if (err == 0 && told.in_range && size >= expected) {
        memory_file again("", 0);
        require(vok_bin_write_header(again, static_cast<long>(expected)) == 0);
        require(vok_bin_write_matrix(again, x) == 0);
        const std::vector<unsigned char> bytes = again.contents();
        // size and offset of the chunk are words that the reader has no use for
        constexpr size_t type_at = 36;
        require(bytes.size() == expected);
        require(std::memcmp(bytes.data() + type_at, data + type_at, expected - type_at) == 0);
    }
    atom value;
    atom_setlong(&value, 1);
    if (err == VOK_ERR_OMEM)
        require(vok_matrix_setinfo(x, nullptr) == 0);
    require(vok_matrix_setall(x, nullptr, 1, &value) == 0);
    return 0;
}
