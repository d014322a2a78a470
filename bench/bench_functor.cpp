// Functors: one value through the interface table, and grids filled by the evaluator. Beside
// a grid stands the plain writing of its cells; the figure to read is ns_per_cell.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include <vokra/vokra.h>
#include <zan/zan.h>

#include "limits.h"
#include "workers.h"

namespace {

struct held {
    void *object = nullptr;
    vok_functor_interface *interface = nullptr;
    explicit held(const std::string &name)
    {
        vok_functor_new_object_with_interface(&object, &interface, nullptr, gensym(name.c_str()));
    }
    ~held() { vok_object_free(object); }
    held(const held &) = delete;
    held &operator=(const held &) = delete;
};

float no_rule(void *, long, const float *values)
{
    return values[0];
}

// Beside a value stands the call of a function that does nothing, through the same table.
void one_value(benchmark::State &state, const std::string &name, long dims)
{
    const held f(name);
    vok_functor_interface nothing = *f.interface;
    nothing.evalfloat32 = no_rule;
    float at[4] = {0.3f, 0.7f, 0.2f, 0.6f};
    constexpr long calls = 1000;
    const auto call = [&](const vok_functor_interface &table) {
        for (long i = 0; i < calls; i++) {
            at[0] = static_cast<float>(i) * 1e-3f;
            benchmark::DoNotOptimize(table.evalfloat32(f.object, dims, at));
        }
    };
    const auto seconds = bench::turn_about(
        state, [&] { call(*f.interface); }, [&] { call(nothing); });
    state.counters["ns_per_value"] = seconds.best * 1e9 / calls;
    state.counters["limit_ns"] = seconds.limit * 1e9 / calls;
}

// A grid of float32 with one plane; in three dimensions two slices of half the height, since
// a dimension of one cell has no step.
struct grid {
    void *evaluator = vok_object_new(gensym("vok_functor_evaluate"));
    void *out = nullptr;
    void *none = vok_object_new(gensym("vok_mop_io"));
    void *inputs = vok_object_new(gensym("vok_linklist")), *outputs = vok_object_new(gensym("vok_linklist"));
    long cells = 1;

    grid(const std::string &name, long width, long height, long dims, const char *precision)
    {
        vok_matrix_info info;
        vok_matrix_info_default(&info);
        info.type = gensym("float32");
        info.planecount = 1;
        info.dimcount = dims;
        info.dim[0] = width;
        info.dim[1] = dims == 3 ? height / 2 : height;
        info.dim[2] = dims == 3 ? 2 : 1;
        for (long d = 0; d < dims; d++)
            cells *= info.dim[d];
        out = vok_object_new(gensym("vok_matrix"), &info);
        vok_attr_setsym(evaluator, gensym("basis"), gensym(name.c_str()));
        vok_attr_setsym(evaluator, gensym("precision"), gensym(precision));
        const double scale[3] = {16, 9, 1}, weight = 1; // the size of a lattice cell in a usual picture
        vok_attr_setdouble_array(evaluator, gensym("scale"), 3, scale);
        vok_attr_setdouble_array(evaluator, gensym("weight"), 1, &weight);
        vok_object_method(inputs, gensym("append"), none);
        vok_object_method(outputs, gensym("append"), out);
    }
    ~grid()
    {
        for (void *list : {inputs, outputs})
            vok_object_method(list, gensym("chuck"));
        for (void *x : {none, out, evaluator})
            vok_object_free(x);
    }
    grid(const grid &) = delete;
    grid &operator=(const grid &) = delete;

    void run()
    {
        const double offset = moved_ += 0.001; // else there is nothing to do
        vok_attr_setdouble_array(evaluator, gensym("offset"), 1, &offset);
        vok_object_method(evaluator, gensym("matrix_calc"), inputs, outputs);
    }

  private:
    double moved_ = 0;
};

// The same cells asked for singly, in nanoseconds: where a row isn't faster, the class has no
// row form of its own.
double one_by_one(const std::string &name, long dims)
{
    const held f(name);
    constexpr long cells = 2000;
    double best = 1e9;
    for (int round = 0; round < 10; round++)
        best = std::min(best, bench::seconds_of([&] {
                            float at[3] = {0, 0.7f, 0.2f};
                            for (long i = 0; i < cells; i++, at[0] += 16.f / 1919)
                                benchmark::DoNotOptimize(f.interface->evalfloat32(f.object, dims, at));
                        }));
    return best * 1e9 / cells;
}

void fill(benchmark::State &state, const std::string &name, long width, long height, long dims, int threads,
          const char *precision)
{
    const bench::workers workers(threads);
    grid g(name, width, height, dims, precision);
    bench::run(state, {{}, static_cast<std::size_t>(g.cells) * sizeof(float), threads},
               [&](std::size_t) { g.run(); });
    state.counters["ns_per_cell"] = state.counters["best_ms"] * 1e6 / static_cast<double>(g.cells);
    if (!std::strcmp(precision, "float32"))
        state.counters["ns_one_by_one"] = one_by_one(name, dims);
}

// What is measured on a whole frame, with one and two threads.
constexpr const char *frames[] = {"noise.gradient",  "noise.simplex",           "noise.cell",
                                  "noise.voronoi",   "noise.value.cubicspline", "fractal.mono",
                                  "filter.gaussian", "distance.euclidean",      "transfer.cubic"};

std::vector<std::string> functors()
{
    std::set<std::string> names;
    void *classes = vok_functor_classlist_in_category(nullptr);
    for (long i = 0; i < linklist_getsize(classes); i++) {
        std::string name = class_nameget(static_cast<zan_class *>(linklist_getindex(classes, i)))->name;
        name = name.substr(sizeof "vok_functor_" - 1);
        std::replace(name.begin(), name.end(), '_', '.');
        names.insert(name);
    }
    linklist_chuck(classes);
    return {names.begin(), names.end()};
}

} // namespace

namespace bench {
void register_functors();
}

// Called when the library is up: the classes come from its registry, so none can be left out.
void bench::register_functors()
{
    for (const std::string &name : functors()) {
        for (long dims : {1L, 2L, 3L})
            benchmark::RegisterBenchmark(("functor_value/" + name + "/" + std::to_string(dims) + "d").c_str(),
                                         [=](benchmark::State &state) { one_value(state, name, dims); })
                ->Unit(benchmark::kMicrosecond)
                ->MinTime(0.02);
        for (const char *precision : {"float32", "fixed", "float64"})
            benchmark::RegisterBenchmark(
                ("functor_small/" + name + "/2d/" + precision).c_str(),
                [=](benchmark::State &state) { fill(state, name, 480, 270, 2, 1, precision); })
                ->Unit(benchmark::kMillisecond)
                ->MinTime(0.02);
    }
    for (const char *name : frames)
        for (long dims : {2L, 3L})
            for (int threads : {1, 2})
                benchmark::RegisterBenchmark(
                    (std::string("functor_fill/") + name + "/" + std::to_string(dims) +
                     "d/threads:" + std::to_string(threads))
                        .c_str(),
                    [=](benchmark::State &state) { fill(state, name, 1920, 1080, dims, threads, "float32"); })
                    ->Unit(benchmark::kMillisecond);
}
