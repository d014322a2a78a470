// Linear algebra: product and inverse of square matrices, in GFLOP/s beside what the
// processor reaches with fused multiply-adds in registers, in the same run.
#include <algorithm>
#include <memory>
#include <string>

#include <vokra/vokra.h>
#include <zan/symbols.h>

#include "limits.h"

namespace {

using object_ptr = std::unique_ptr<void, decltype([](void *x) { vok_object_free(x); })>;

// Of doubles, which all sums run in.
double fma_peak()
{
    constexpr int chains = 12, lanes = 8;
    using vector = double __attribute__((vector_size(lanes * sizeof(double))));
    vector sum[chains] = {}, by = sum[0] + 0.999999;
    constexpr long rounds = 200000;
    double best = 1e9;
    for (int i = 0; i < 10; i++)
        best = std::min(best, bench::seconds_of([&] {
                            for (long r = 0; r < rounds; r++)
                                for (vector &s : sum)
                                    for (int lane = 0; lane < lanes; lane++)
                                        s[lane] = __builtin_fma(s[lane], by[lane], by[lane]);
                            benchmark::DoNotOptimize(sum);
                        }));
    return 2.0 * chains * lanes * rounds / best / 1e9;
}

void la(benchmark::State &state, const char *name, const char *type, long n, double flops)
{
    vok_matrix_info info;
    vok_matrix_info_default(&info);
    info.type = gensym(type);
    info.planecount = 1;
    info.dim[0] = info.dim[1] = n;
    const bool product = !std::string("vok_la_mult").compare(name);
    const object_ptr holder(vok_object_new(gensym("vok_mop"), product ? 2L : 1L, 1L)),
        x(vok_object_new(gensym(name)));
    auto *mop = static_cast<vok_mop *>(holder.get());
    object_ptr matrices[3];
    for (int i = 0; i < (product ? 3 : 2); i++) {
        auto *m = static_cast<vok_matrix *>(vok_object_new(gensym("vok_matrix"), &info));
        matrices[i].reset(m);
        for (long k = 0; k < n * n; k++) {
            const double v = static_cast<double>(k * 7919 % 1009) / 1009 + (k % (n + 1) ? 0 : 4);
            if (m->info.type == gensym("float32"))
                reinterpret_cast<float *>(m->data)[k] = static_cast<float>(v);
            else
                reinterpret_cast<double *>(m->data)[k] = v;
        }
        void *io = i == 0 ? vok_mop_getoutput(mop, 1) : vok_mop_getinput(mop, i);
        vok_mop_io_matrix(static_cast<vok_mop_io *>(io), m);
    }
    double best = 1e9;
    for (auto _ : state)
        best = std::min(best, bench::seconds_of([&] { vok_mop_matrix_calc(mop, x.get()); }));
    state.counters["best_ms"] = best * 1e3;
    state.counters["gflops"] = flops / best / 1e9;
    state.counters["fma_peak"] = fma_peak();
}

[[maybe_unused]] const bool registered = [] {
    for (const char *type : {"float32", "float64"}) {
        for (const long n : {64L, 256L, 512L}) {
            const auto cube = static_cast<double>(n * n * n);
            const std::string size = "/" + std::to_string(n) + "/" + type;
            benchmark::RegisterBenchmark(("la/mult" + size).c_str(), la, "vok_la_mult", type, n, 2 * cube)
                ->Unit(benchmark::kMillisecond);
            // n^3 multiply-adds each way, over the matrix and its inverse
            benchmark::RegisterBenchmark(("la/inverse" + size).c_str(), la, "vok_la_inverse", type, n, 4 * cube)
                ->Unit(benchmark::kMillisecond);
        }
    }
    return true;
}();

} // namespace
