// What the fuzz targets share: a host without a voice, a check that stands in every build,
// and a file in memory, which the host opens as any other.
#pragma once
#include <cstdint>
#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <zan/host.h>

inline void require(bool holds)
{
    if (!holds)
        abort();
}

inline void start_quietly()
{
    zan_start();
    zan_set_reporter([](void *, long, void *, const char *) {}, nullptr);
}

struct memory_file {
    const int fd = memfd_create("fuzz", MFD_CLOEXEC);
    const std::string name = "/proc/self/fd/" + std::to_string(fd);

    memory_file() = default;
    memory_file(const memory_file &) = delete;
    memory_file &operator=(const memory_file &) = delete;
    ~memory_file() { close(fd); }
    void hold(const void *bytes, size_t size) const
    {
        require(ftruncate(fd, 0) == 0 && pwrite(fd, bytes, size, 0) == static_cast<ssize_t>(size));
    }
    std::string contents() const
    {
        std::string bytes(static_cast<size_t>(lseek(fd, 0, SEEK_END)), 0);
        require(pread(fd, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
        return bytes;
    }
};
