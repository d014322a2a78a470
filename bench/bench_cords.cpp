// Messages on their way through cords and through the main thread's queue. The limit
// of a cord is the plain call of the same method.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <thread>
#include <vector>

#include <zan/host.h>

namespace {

struct box {
    object header;
    void *outlet;
    long heard;
};

template <class F> zan_method method(F *fn)
{
    return reinterpret_cast<zan_method>(fn);
}

void box_list(box *x, symbol *s, long argc, atom *argv)
{
    x->heard++;
    if (x->outlet)
        outlet_anything(x->outlet, s, argc, argv);
}
void box_int(box *x, zan_word value)
{
    x->heard += value;
}

box *make_box()
{
    static zan_class *c = [] {
        zan_class *made = class_new("bench_box", nullptr, nullptr, sizeof(box), nullptr, 0);
        addmess(method(box_list), "list", argtype_gimme, 0);
        addint(method(box_int));
        return made;
    }();
    return static_cast<box *>(object_alloc(c));
}

// Boxes in a row, each handing on to the next.
struct chain {
    explicit chain(long cords, long inlet = 0) : boxes(static_cast<size_t>(cords) + 1)
    {
        for (box *&b : boxes) {
            b = make_box();
            proxy_new(b, 1, &stuffloc);
        }
        for (size_t i = 0; i + 1 < boxes.size(); i++) {
            boxes[i]->outlet = outlet_new(boxes[i], nullptr);
            zan_connect(boxes[i], 0, boxes[i + 1], inlet);
        }
    }
    ~chain()
    {
        for (box *b : boxes)
            object_free(b);
    }
    chain(const chain &) = delete;
    chain &operator=(const chain &) = delete;
    std::vector<box *> boxes;
    long stuffloc = 0;
};

void set_per_cord(benchmark::State &state, long cords)
{
    state.SetItemsProcessed(state.iterations() * cords);
}

void list_by_plain_call(benchmark::State &state)
{
    chain c(0);
    atom list[3];
    for (atom &a : list)
        atom_setlong(&a, 1);
    auto *volatile fn = box_list;
    symbol *s = gensym("list");
    for (auto _ : state)
        fn(c.boxes[0], s, 3, list);
}
BENCHMARK(list_by_plain_call);

void list_through_cords(benchmark::State &state)
{
    chain c(state.range(0), state.range(1));
    atom list[3];
    for (atom &a : list)
        atom_setlong(&a, 1);
    symbol *s = gensym("list");
    for (auto _ : state)
        outlet_anything(c.boxes[0]->outlet, s, 3, list);
    set_per_cord(state, state.range(0));
}
BENCHMARK(list_through_cords)->ArgNames({"cords", "inlet"})->Args({1, 0})->Args({1, 1})->Args({100, 0});

void list_through_a_cord_on_two_threads(benchmark::State &state)
{
    static chain *pairs[2];
    const auto mine = static_cast<size_t>(state.thread_index());
    pairs[mine] = new chain(1);
    atom a;
    atom_setlong(&a, 1);
    symbol *s = gensym("list");
    for (auto _ : state)
        outlet_anything(pairs[mine]->boxes[0]->outlet, s, 1, &a);
    delete pairs[mine];
}
BENCHMARK(list_through_a_cord_on_two_threads)->Threads(2);

void int_through_a_cord(benchmark::State &state)
{
    chain c(1);
    for (auto _ : state)
        outlet_int(c.boxes[0]->outlet, 1);
}
BENCHMARK(int_through_a_cord);

void qelem_set_and_served(benchmark::State &state)
{
    zan_start();
    long ran = 0;
    void *q = qelem_new(&ran, [](void *p) { ++*static_cast<long *>(p); });
    for (auto _ : state) {
        qelem_set(q);
        zan_service();
    }
    qelem_free(q);
}
BENCHMARK(qelem_set_and_served);

} // namespace
