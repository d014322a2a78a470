// NumPy array files from anywhere. What is read is written again and must read back.
#include "fuzz.h"
#include <npy.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    npy::array a, again;
    npy::matrix_shape m;
    std::string why;
    if (!npy::read({reinterpret_cast<const char *>(data), size}, a, why)) {
        require(!why.empty());
        return 0;
    }
    require(npy::read(npy::header(a.type, a.shape) + a.bytes, again, why));
    require(again.type == a.type && again.shape == a.shape && again.bytes == a.bytes);
    if (npy::to_matrix(a.shape, m, why)) {
        long cells = m.planecount;
        for (const long n : m.dim)
            cells *= n;
        require(cells * static_cast<long>(npy::size_of(a.type)) == static_cast<long>(a.bytes.size()));
    }
    return 0;
}
