// NumPy array files from anywhere. What is read is written again and must read back.
#include <cstdint>
#include <cstdlib>
#include <npy.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    npy::array a, again;
    npy::matrix_shape m;
    std::string why;
    if (!npy::read({reinterpret_cast<const char *>(data), size}, a, why)) {
        if (why.empty())
            abort();
        return 0;
    }
    if (!npy::read(npy::header(a.type, a.shape) + a.bytes, again, why) || again.type != a.type ||
        again.shape != a.shape || again.bytes != a.bytes)
        abort();
    if (npy::to_matrix(a.shape, m, why)) {
        long cells = m.planecount;
        for (const long n : m.dim)
            cells *= n;
        if (cells * static_cast<long>(npy::size_of(a.type)) != static_cast<long>(a.bytes.size()))
            abort();
    }
    return 0;
}
