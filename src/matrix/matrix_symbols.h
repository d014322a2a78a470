// Names that this folder sends and that aren't among the common symbols.
#pragma once
#include <zan/symbols.h>

namespace vok {

#define VOK_MATRIX_SYMBOLS(X)                                                                                     \
    X(vok_op) X(op) X(vok_expr) X(expr) X(tomatrix) X(get_image_surface) X(sketch_image) X(png) X(jpeg) X(tiff)

struct matrix_symbol_table {
#define X(name) symbol *name;
    VOK_MATRIX_SYMBOLS(X)
#undef X
};

// Interned by vok_matrix_init.
const matrix_symbol_table &matrix_symbols();

} // namespace vok
