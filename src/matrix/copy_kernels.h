// The per-row kernels of a matrix copy, as a table of functions. The same source,
// vok.matrix.copy.kernels.cpp, fills one table per instruction set. Pointers to
// elements may have any alignment; runs that are written never overlap what is read.
#pragma once
#include <cstdint>

#include "matrix/copy_rules.h"

namespace vok::copy {

// Which cells of a source row are collected, and what of each.
struct collect_job {
    const int32_t *offset;    // bytes from the row to each cell, rising or falling
    long n;                   // cells
    long bytes;               // of the chunk that is taken of each cell, when it is one
    long planes;              // else the planes ...
    int32_t plane_offset[32]; // ... and where they lie in the cell
};

// Collected cells lie packed: cell after cell, the written planes of each in order.
using collect_function = void(void *dst, const unsigned char *row, const collect_job *job);
// n elements become elements of another type.
using convert_function = void(void *dst, const void *src, long n);
// Packed cells of `planes` planes go to cells `cell` bytes apart, each plane to its
// element number `plane[k]`.
using scatter_function = void(void *dst, long cell, const void *src, long n, const long *plane, long planes);

struct kernels {
    convert_function *convert[cell_types][cell_types]; // by destination, then source type
    collect_function *chunk[33];                       // by bytes of the chunk, 0 any; null where there is none
    collect_function *chunk_word;                      // of 4 bytes, offsets multiples of 4
    collect_function *planes[cell_types];              // by source type
    scatter_function *scatter[cell_types];             // by destination type

    // Cells of four bytes in another order: byte k of each from byte order[k]. In
    // place too.
    void (*shuffle4)(void *dst, const void *src, long n, const uint8_t *order);
    // One byte to four.
    void (*spread4)(void *dst, const void *src, long n);

    // Fixed-point interpolation: sum[i] = a[i] * w0[i] + b[i] * w1[i]; both weights
    // together are at most 256.
    void (*fixed_columns)(uint16_t *sum, const uint8_t *a, const uint8_t *b, const uint16_t *w0,
                          const uint16_t *w1, long n);
    // The end of it, from the sums of two rows.
    void (*fixed_rows[cell_types])(void *dst, const uint16_t *sum0, const uint16_t *sum1, uint32_t weight0,
                                   uint32_t weight1, long n);

    // Interpolation in double: product0[i] = a[i] * s0[i], product1[i] = b[i] * s1[i].
    void (*double_columns[cell_types])(double *product0, double *product1, const void *a, const void *b,
                                       const double *s0, const double *s1, long n);
    // The end of it, by destination, then source type. rows: first row's product0 and
    // product1, then the second's.
    void (*double_rows[cell_types][cell_types])(void *dst, const double *const rows[4], double share0,
                                                double share1, long n);
};

// The table of the instruction set in use; null for the plain one.
const kernels *current_kernels();

} // namespace vok::copy
