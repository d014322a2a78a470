// The loops of linear algebra, one table of functions per instruction set.
#pragma once
#include <vokra/op.h>

namespace vok::la {

struct vector_kernels {
    void (*swap)(long n, vok_op_vector_arg *a, vok_op_vector_arg *b);
    void (*ax)(long n, const double *alpha, const vok_op_vector_arg *x, const vok_op_vector_arg *out);
    void (*axpy)(long n, const double *alpha, const vok_op_vector_arg *x, const vok_op_vector_arg *y,
                 const vok_op_vector_arg *out);
};

// A product goes by tiles of the output: `tile_rows` rows of packed A, [k][row], by one
// panel of packed B, [k][column]; in complex products re and im of the rows stand side by
// side, and the re of a panel's columns before their im. Both packings are of doubles.
constexpr long tile_rows = 4;

struct kernel_table {
    vector_kernels vectors[2][2]; // float32, float64; real, complex
    long panel;                   // columns of a panel, at most max_panel
    void (*tile_real)(long n, const double *a, const double *b, double *tile);    // [row][column]
    void (*tile_complex)(long n, const double *a, const double *b, double *tile); // [row][re, im][column]
};
constexpr long max_panel = 32;

} // namespace vok::la
