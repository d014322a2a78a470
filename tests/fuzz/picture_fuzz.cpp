// Pictures from anywhere: what can be read is written as a PNG and must read back the
// same. The bytes reach the reader as a file in memory, the way that every file does.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>
#include <zan/host.h>

namespace {

struct memory_file {
    int fd;
    std::string name;
    memory_file() : fd(memfd_create("picture", MFD_CLOEXEC)), name("/proc/self/fd/" + std::to_string(fd)) {}
};

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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static memory_file in;
    static const std::string out = "/tmp/vokra-picture-fuzz-" + std::to_string(getpid()) + ".png";
    static const bool started = [] {
        zan_start();
        zan_set_reporter([](void *, long, void *, const char *) {}, nullptr);
        return true;
    }();
    (void)started;
    if (ftruncate(in.fd, 0) != 0 || pwrite(in.fd, data, size, 0) != static_cast<ssize_t>(size))
        abort();
    zan_surface *s = zgraphics_image_surface_create_from_file(in.name.c_str(), 0);
    // a huge picture says no more about the writer than a small one, and takes seconds
    if (s && zgraphics_image_surface_get_width(s) * zgraphics_image_surface_get_height(s) < 1 << 16) {
        if (zgraphics_image_surface_writepng(s, out.c_str(), 0, 0) != 0)
            abort();
        zan_surface *back = zgraphics_image_surface_create_from_file(out.c_str(), 0);
        if (!back || pixels_of(back) != pixels_of(s))
            abort();
        zgraphics_surface_destroy(back);
        unlink(out.c_str());
    }
    zgraphics_surface_destroy(s);
    return 0;
}
