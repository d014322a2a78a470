// Matrices from and to files: PNG, JPEG, vkf and NumPy arrays. A file is judged by its
// first bytes when it is read, and by the ending of its name when it is written.
#pragma once
#include <string>

#include "matrix.h"

namespace program {

enum class file_format { png, jpeg, vkf, npy };

struct loaded {
    matrix cells;
    file_format format = file_format::vkf;
    double dpi = 72; // of a picture, dots an inch
    // The four char planes are alpha, red, green and blue.
    bool is_picture() const;
};

const char *format_name(file_format format);

// Reads a whole file ("-" is standard input); a failure names the file and what is
// wrong. A vkf file that is shorter than its header says is read as far as it goes,
// with a warning.
loaded load(const std::string &name);

// What a file of this name is written as; fails for an ending that isn't known, so
// that it is said before any work is done. "-" is standard output, in vkf.
file_format format_to_write(const std::string &name);

// Writes under a temporary name and renames when it is whole. Pictures take char
// matrices of 1 (grey), 3 (red, green, blue) or 4 (alpha first) planes; others are
// brought to char first.
void save(const matrix &m, const std::string &name, double dpi = 72);

} // namespace program
