// Expressions on video frames, one and two threads, beside the limit of the bytes that
// they must read and write; functions of an input beside the function alone; and what
// compiling a text costs.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <vokra/commonsyms.h>
#include <vokra/expr.h>
#include <vokra/kernel.h>
#include <vokra/matrix.h>
#include <vokra/op.h>
#include <zan/attributes.h>
#include <zan/symbols.h>

#include "limits.h"
#include "workers.h"

namespace {

using object_ptr = std::unique_ptr<void, decltype([](void *x) { vok_object_free(x); })>;

void set_text(void *x, const char *text)
{
    atom a;
    atom_setsym(&a, gensym(text));
    object_attr_setvalueof(x, gensym("expr"), 1, &a);
}

// Two inputs and an output of one kind.
struct frame {
    object_ptr matrices[3];
    void *inputs = vok_linklist_new();
    std::size_t bytes = 0;

    frame(const char *type, long planes, long width = 1920, long height = 1080)
    {
        vok_matrix_info info = {};
        vok_matrix_info_default(&info);
        info.type = gensym(type);
        info.planecount = planes;
        info.dim[0] = width;
        info.dim[1] = height;
        for (object_ptr &each : matrices) {
            auto *m = static_cast<vok_matrix *>(vok_object_new(_vok_sym_vok_matrix, &info));
            each.reset(m);
            bytes = static_cast<std::size_t>(m->info.size);
            for (std::size_t i = 0; i < bytes; i += 4) {
                const float v = static_cast<float>(i % 4093) / 1021; // 0 to 4; as bytes anything
                std::memcpy(m->data + i, &v, 4);
            }
        }
        for (int i = 0; i < 2; i++)
            vok_linklist_append(inputs, matrices[i].get());
    }
    ~frame() { vok_linklist_chuck(inputs); }
    frame(const frame &) = delete;
    frame &operator=(const frame &) = delete;
};

struct expression {
    object_ptr x{vok_object_new(gensym("vok_expr"))};
    explicit expression(const char *text) { set_text(x.get(), text); }
    void run(const frame &f) { vok_object_method(x.get(), _vok_sym_matrix_calc, f.inputs, f.matrices[2].get()); }
};

// As many frames as it takes for none to be in a cache when its turn comes.
std::vector<std::unique_ptr<frame>> film(const char *type, long planes)
{
    std::vector<std::unique_ptr<frame>> frames(1);
    frames[0] = std::make_unique<frame>(type, planes);
    while (frames.size() < bench::sets_beyond_caches(3 * frames[0]->bytes))
        frames.push_back(std::make_unique<frame>(type, planes));
    return frames;
}

struct row {
    const char *name, *text;
    int reads; // inputs that a calculation must read
    const char *type = "float32";
    long planes = 1;
};
constexpr row rows[] = {
    {"mix", "in[0]*0.5+in[1]*0.5", 2},
    {"ramps", "(in[0]-in[1])*norm[0]+snorm[1]*snorm[1]", 2},
    {"sine_of_ramp", "sin(norm[0]*TWOPI)*in[0]+0.5", 1},
    {"clamped", "max(min(in[0]*1.2-0.1,1),0)", 1},
    {"kept", "sin(norm[0]*20)*sin(norm[1]*14)", 0},
    {"ramps_alone", "norm[0]*norm[1]", 0},
    {"mix", "in[0]*0.5+in[1]*0.5", 2, "char", 4},
    {"mix", "in[0]*0.5+in[1]*0.5", 2, "float64", 1},
};

void whole(benchmark::State &state, const row &r, int threads)
{
    const bench::workers workers(threads);
    const auto frames = film(r.type, r.planes);
    expression e(r.text);
    const std::size_t bytes = frames[0]->bytes;
    bench::run(state,
               {std::vector<std::size_t>(static_cast<std::size_t>(r.reads), bytes), bytes, threads, frames.size()},
               [&](std::size_t set) { e.run(*frames[set]); });
}

// Beside one function over the whole input, which is the limit here.
void function(benchmark::State &state, const char *text, const char *alone, int threads)
{
    const bench::workers workers(threads);
    const auto frames = film("float32", 1);
    expression e(text), only(alone);
    std::size_t set = 0;
    const auto seconds = bench::turn_about(
        state, [&] { e.run(*frames[set++ % frames.size()]); }, [&] { only.run(*frames[set++ % frames.size()]); });
    state.counters["best_ms"] = seconds.best * 1e3;
    state.counters["limit_ms"] = seconds.limit * 1e3;
    state.counters["of_limit"] = seconds.limit / seconds.best;
}

void small(benchmark::State &state, const char *text)
{
    const frame f("float32", 1, 16, 16);
    expression e(text);
    for (auto _ : state)
        e.run(f);
}

// Twenty tokens, of which 50 microseconds are the most that a patch should notice.
void compile(benchmark::State &state)
{
    const object_ptr x(vok_object_new(gensym("vok_expr")));
    double best = 1e9;
    for (auto _ : state)
        best = std::min(best,
                        bench::seconds_of([&] { set_text(x.get(), "in[0]*0.5+sin(norm[0]*TWOPI)*(in[1]-2)+1"); }));
    state.counters["best_us"] = best * 1e6;
    state.counters["limit_us"] = 50;
    state.counters["of_limit"] = 50e-6 / best;
}

[[maybe_unused]] const bool registered = [] {
    for (const int threads : {1, 2}) {
        const std::string suffix = "/threads:" + std::to_string(threads);
        for (const row &r : rows)
            benchmark::RegisterBenchmark(
                (std::string("expr/") + r.name + "/" + r.type + "x" + std::to_string(r.planes) + suffix).c_str(),
                [=, &r](benchmark::State &state) { whole(state, r, threads); })
                ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("expr/sine/float32x1" + suffix).c_str(), [=](benchmark::State &state) {
            function(state, "sin(in[0])*in[1]+0.5", "sin(in[0])", threads);
        })->Unit(benchmark::kMillisecond);
    }
    benchmark::RegisterBenchmark("expr/small_16x16", [](benchmark::State &state) {
        small(state, "in[0]*0.5+in[1]*0.5");
    })->Unit(benchmark::kNanosecond);
    benchmark::RegisterBenchmark("expr/compile_20_tokens", compile)->Unit(benchmark::kMicrosecond);
    return true;
}();

} // namespace
