// The pixel formats on a video frame, one and two threads, beside the copy of as many
// bytes.
#include <memory>
#include <string>

#include <vokra/vokra.h>
#include <zan/symbols.h>

#include "limits.h"
#include "workers.h"

namespace {

using object_ptr = std::unique_ptr<void, decltype([](void *x) { vok_object_free(x); })>;

struct row {
    const char *name;
    long in_planes, in_width, out_planes, out_width; // as the data goes
};
constexpr row rows[] = {
    {"uyvy2argb", 4, 960, 4, 1920},  {"argb2uyvy", 4, 1920, 4, 960},  {"uyvy2ayuv", 4, 960, 4, 1920},
    {"ayuv2uyvy", 4, 1920, 4, 960},  {"argb2ayuv", 4, 1920, 4, 1920}, {"ayuv2argb", 4, 1920, 4, 1920},
    {"uyvy2luma", 4, 960, 1, 1920},  {"luma2uyvy", 1, 1920, 4, 960},  {"ayuv2luma", 4, 1920, 1, 1920},
    {"luma2ayuv", 1, 1920, 4, 1920}, {"uyvy2yuy2", 4, 960, 4, 960},   {"yuy22yuvy", 4, 960, 4, 960},
};

void convert(benchmark::State &state, const row &r, int threads)
{
    const bench::workers workers(threads);
    const long height = 1080;
    vok_matrix_info info;
    vok_matrix_info_default(&info);
    info.planecount = r.in_planes;
    info.dim[0] = r.in_width;
    info.dim[1] = height;
    auto *in = static_cast<vok_matrix *>(vok_object_new(gensym("vok_matrix"), &info));
    const object_ptr input(in), output(vok_object_new(gensym("vok_matrix"), &info)),
        mop(vok_object_new(gensym("vok_mop"), 1L, 1L)),
        x(vok_object_new(gensym((std::string("vok_") + r.name).c_str())));
    for (long i = 0; i < in->info.size; i++)
        in->data[i] = static_cast<unsigned char>(i * 37 >> 3);
    vok_object_method(vok_mop_getinput(static_cast<vok_mop *>(mop.get()), 1), gensym("matrix"), input.get());
    vok_object_method(vok_mop_getoutput(static_cast<vok_mop *>(mop.get()), 1), gensym("matrix"), output.get());
    const auto bytes = [&](long planes, long width) { return static_cast<std::size_t>(planes * width * height); };
    bench::run(state, {{bytes(r.in_planes, r.in_width)}, bytes(r.out_planes, r.out_width), threads},
               [&](std::size_t) { vok_object_method(mop.get(), gensym("matrix_calc"), x.get()); });
}

[[maybe_unused]] const bool registered = [] {
    for (const int threads : {1, 2})
        for (const row &r : rows)
            benchmark::RegisterBenchmark(
                (std::string("pixels/") + r.name + "/threads:" + std::to_string(threads)).c_str(), convert, r,
                threads)
                ->Unit(benchmark::kMillisecond);
    return true;
}();

} // namespace
