// The pool and small calculations: what a batch and an operator on a few cells cost. The
// label of a row says what is wanted.
#include <benchmark/benchmark.h>

#include <chrono>
#include <thread>

#include <vokra/vokra.h>
#include <zan/host.h>

namespace {

void wanted(benchmark::State &state, const char *limit)
{
    state.SetLabel(std::string("wanted ") + limit);
}

zan_word nothing(parallel_worker *)
{
    return 0;
}

void batch(benchmark::State &state, std::chrono::microseconds pause)
{
    parallel_task *task = parallel_task_new(nullptr, nothing, 2);
    parallel_task_execute(task);
    for (auto _ : state) {
        if (pause.count())
            std::this_thread::sleep_for(pause);
        const auto begin = std::chrono::steady_clock::now();
        parallel_task_execute(task);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
        state.SetIterationTime(took.count());
    }
    object_free(task);
}
void batch_to_a_spinning_worker(benchmark::State &state)
{
    batch(state, std::chrono::microseconds(0));
    wanted(state, "under 5 us");
}
void batch_to_a_sleeping_worker(benchmark::State &state)
{
    batch(state, std::chrono::microseconds(2000));
    wanted(state, "under 20 us");
}
BENCHMARK(batch_to_a_spinning_worker)->UseManualTime();
BENCHMARK(batch_to_a_sleeping_worker)->UseManualTime()->Iterations(500);

void op_on_16x16x4_char(benchmark::State &state)
{
    vok_matrix_info info;
    vok_matrix_info_default(&info);
    info.dim[0] = info.dim[1] = 16;
    void *op = vok_object_new(gensym("vok_op")), *m = vok_object_new(gensym("vok_matrix"), &info);
    void *list = vok_object_new(gensym("vok_linklist"));
    vok_attr_setsym(op, gensym("op"), gensym("+"));
    vok_object_method(list, gensym("append"), m);
    vok_object_method(list, gensym("append"), m);
    symbol *calc = gensym("matrix_calc");
    for (auto _ : state)
        vok_object_method(op, calc, list, m);
    vok_object_method(list, gensym("chuck"));
    vok_object_free(op);
    vok_object_free(m);
    wanted(state, "under 1 us");
}
BENCHMARK(op_on_16x16x4_char);

void matrix_made_and_freed(benchmark::State &state)
{
    vok_matrix_info info;
    vok_matrix_info_default(&info);
    info.dim[0] = 1920;
    info.dim[1] = 1080;
    symbol *name = gensym("vok_matrix");
    for (auto _ : state)
        vok_object_free(vok_object_new(name, &info));
}
BENCHMARK(matrix_made_and_freed);

} // namespace
