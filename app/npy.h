// NumPy array files (.npy, format versions 1 to 3) in memory: their header read and
// written, their cells in this machine's byte order. Knows nothing of matrices but
// how a shape and a matrix's dimensions and planes answer each other.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace npy {

// The element types that matrices have: char, long, float32, float64.
enum class element { u1, i4, f4, f8 };
size_t size_of(element type); // bytes

struct array {
    element type = element::u1;
    std::vector<long> shape; // as NumPy has it: the slowest axis first; empty for a lone number
    std::string bytes;       // the last axis fastest, without padding, in this machine's byte order
};

// Reads a whole file. False, and in `why` what is wrong with it, for a person; `out`
// is then as it was. Bytes behind the cells are left unread.
bool read(std::string_view file, array &out, std::string &why);

// What stands in a file ahead of the cells, of version 1.0 and a multiple of 64 bytes
// long; the cells follow in this machine's byte order.
std::string header(element type, const std::vector<long> &shape);

// The matrix that an array is: dim[0] is the fastest axis.
struct matrix_shape {
    long planecount = 1;
    std::vector<long> dim;
};

// Of three axes or more the last is the planes, if there are at most 32 of them. False,
// and why, for an array with no cells or too many axes.
bool to_matrix(const std::vector<long> &shape, matrix_shape &out, std::string &why);
// The shape that to_matrix reads back as these planes and dimensions; only a matrix of
// one dimension and several planes gets a second dimension of 1.
std::vector<long> from_matrix(const matrix_shape &m);

} // namespace npy
