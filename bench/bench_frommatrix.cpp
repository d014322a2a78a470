// The copy between matrices, one thread, as the message frommatrix does it: same
// size, resampled, converted.
#include <cstring>
#include <memory>

#include <vokra/kernel.h>
#include <vokra/matrix.h>
#include <vokra/matrix_copy.h>
#include <zan/symbols.h>

#include "limits.h"

namespace {

using matrix = std::unique_ptr<vok_matrix, decltype([](vok_matrix *m) { vok_object_free(m); })>;

matrix make(const char *type, long planes, long width, long height)
{
    vok_matrix_info info = {};
    vok_matrix_info_default(&info);
    info.type = gensym(type);
    info.planecount = planes;
    info.dim[0] = width;
    info.dim[1] = height;
    matrix m(vok_matrix_new(&info));
    // small numbers, which every type can hold
    const bool single = !std::strcmp(type, "float32");
    for (long i = 0; i < m->info.size; i++)
        m->data[i] = static_cast<unsigned char>(i * 37 >> 3);
    for (long i = 0; single && i + 4 <= m->info.size; i += 4) {
        const float v = static_cast<float>(i % 1021) / 1000.0f;
        std::memcpy(m->data + i, &v, 4);
    }
    return m;
}

struct row {
    const char *name;
    const char *src_type, *dst_type;
    long planes;
    long src_dim[2], dst_dim[2];
    long flags;
    bool reversed; // planemap 3 2 1 0
};

constexpr long plain = -1; // no record

constexpr row rows[] = {
    {"same_size", "char", "char", 4, {1920, 1080}, {1920, 1080}, plain, false},
    {"same_size_argb_bgra", "char", "char", 4, {1920, 1080}, {1920, 1080}, 0, true},
    {"nearest_down", "char", "char", 4, {1920, 1080}, {640, 480}, plain, false},
    {"nearest_up", "char", "char", 4, {640, 480}, {1920, 1080}, plain, false},
    {"nearest_up_float32", "float32", "float32", 4, {640, 480}, {1920, 1080}, plain, false},
    {"bilinear_down", "char", "char", 4, {1920, 1080}, {640, 480}, vok_matrix_conv_interp, false},
    {"bilinear_up", "char", "char", 4, {640, 480}, {1920, 1080}, vok_matrix_conv_interp, false},
    {"bilinear_down_float32", "float32", "float32", 1, {1920, 1080}, {640, 480}, vok_matrix_conv_interp, false},
    {"bilinear_up_float32", "float32", "float32", 1, {640, 480}, {1920, 1080}, vok_matrix_conv_interp, false},
    {"char_to_float32", "char", "float32", 4, {1920, 1080}, {1920, 1080}, plain, false},
    {"float32_to_char", "float32", "char", 4, {1920, 1080}, {1920, 1080}, plain, false},
    {"char_to_float64", "char", "float64", 1, {1920, 1080}, {1920, 1080}, plain, false},
    {"char_to_long", "char", "long", 4, {1920, 1080}, {1920, 1080}, plain, false},
    {"small_16x16", "char", "float32", 4, {16, 16}, {16, 16}, plain, false},
};

void frommatrix(benchmark::State &state, const row &r)
{
    const matrix src = make(r.src_type, r.planes, r.src_dim[0], r.src_dim[1]);
    const matrix dst = make(r.dst_type, r.planes, r.dst_dim[0], r.dst_dim[1]);
    vok_matrix_conv_info conv = {};
    conv.flags = r.flags;
    for (int p = 0; p < 32; p++)
        conv.planemap[p] = r.reversed ? 3 - p % 4 : p;
    vok_matrix_conv_info *record = r.flags == plain ? nullptr : &conv;
    const bench::shape shape = {{static_cast<std::size_t>(src->info.size)},
                                static_cast<std::size_t>(dst->info.size)};
    bench::run(state, shape, [&](std::size_t) { vok_matrix_frommatrix(dst.get(), src.get(), record); });
}

[[maybe_unused]] const bool registered = [] {
    for (const row &r : rows)
        benchmark::RegisterBenchmark((std::string("frommatrix/") + r.name).c_str(), frommatrix, r)
            ->Unit(benchmark::kMillisecond);
    return true;
}();

} // namespace
