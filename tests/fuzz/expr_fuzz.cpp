// Expressions from anywhere: each line of the input is a text. They are compiled with their
// trace on, and calculated on a small matrix, which is its own input; what comes of them
// must be the same node by node on whole matrices.
#include "../calc/expr_by_nodes.h"
#include "fuzz.h"
#include <cstring>
#include <vokra/vokra.h>

namespace {

vok_matrix *make(const char *type)
{
    vok_matrix_info info;
    vok_matrix_info_default(&info);
    info.type = gensym(type);
    info.dim[0] = 3;
    info.dim[1] = 2;
    info.planecount = 2;
    vok_matrix *m = vok_matrix_new(&info);
    for (long i = 0; i < info.dim[0] * 8 * info.dim[1]; i++)
        m->data[i] = static_cast<unsigned char>(i * 5 % 64);
    return m;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (!_vok_initialized) {
        start_quietly();
        initialize();
    }
    const std::string all(reinterpret_cast<const char *>(data), size);
    if (size > 4096 || all.find("vok.") != std::string::npos)
        return 0; // a class may open files
    atom list[2];
    long count = 0;
    for (size_t at = 0; at <= all.size() && count < 2;) {
        const size_t end = std::min(all.find('\n', at), all.size());
        atom_setsym(&list[count++], gensym(all.substr(at, end - at).c_str()));
        at = end + 1;
    }
    vok_matrix *in = make("char"), *out = make("float32"), *same = make("float32");
    vok_expr *x = vok_expr_new(), *y = vok_expr_new();
    x->verbose = 1;
    vok_expr_expr(x, nullptr, count, list);
    vok_expr_expr(y, nullptr, count, list);
    vok_expr_matrix_calc(x, in, out);
    calculate_by_nodes(y, in, same);
    for (long row = 0; row < 2; row++)
        for (long i = 0; i < 3 * 2; i++) {
            float a, b;
            memcpy(&a, out->data + row * out->info.dimstride[1] + i * 4, 4);
            memcpy(&b, same->data + row * same->info.dimstride[1] + i * 4, 4);
            require(!memcmp(&a, &b, 4) || (a != a && b != b)); // which NaN it is nobody promises
        }
    for (void *each : std::initializer_list<void *>{x, y, in, out, same})
        vok_object_free(each);
    return 0;
}
