// A matrix by name through a row of boxes round vok_op: what a box costs above the bare
// calculation. The limit of a chain is the same number of calls of matrix_calc on the same
// matrices, with nothing between them, in the same run.
#include <algorithm>
#include <vector>

#include <benchmark/benchmark.h>

#include <vokra/vokra.h>
#include <zan/host.h>

#include "limits.h"

namespace {

struct op_box {
    object ob;
    void *obex;
};

void op_box_free(op_box *x)
{
    zan_vok_mop_free(x);
    vok_object_free(zan_vok_obex_vokob_get(x));
    zan_vok_obex_free(x);
}

symbol *op_class_name()
{
    static symbol *const name = gensym("vok_op");
    return name;
}

zan_class *op_box_class()
{
    static zan_class *const c = [] {
        initialize();
        zan_class *made = class_new("bench.vok.op", nullptr, reinterpret_cast<zan_method>(op_box_free),
                                    sizeof(op_box), nullptr, argtype_cant, 0);
        zan_class *wrapped = vok_class_findbyname(op_class_name());
        zan_vok_class_obex_setup(made, offsetof(op_box, obex));
        zan_vok_class_wrap_standard(made, wrapped, 0);
        zan_vok_class_mop_wrap(made, wrapped, 0);
        return made;
    }();
    return c;
}

// Boxes in a row, each adding what its right input holds, behind a named matrix.
struct chain {
    chain(long count, long width, long height) : boxes(static_cast<size_t>(count))
    {
        zan_class *c = op_box_class();
        vok_matrix_info info;
        vok_matrix_info_default(&info);
        info.dim[0] = width;
        info.dim[1] = height;
        void *made =
            vok_object_new_imp(_vok_sym_vok_matrix, reinterpret_cast<zan_word>(&info), 0, 0, 0, 0, 0, 0, 0);
        name = vok_symbol_unique();
        source = vok_object_register(made, name);
        atom plus;
        atom_setsym(&plus, gensym("+"));
        atom_setsym(&frame, name);
        for (void *&b : boxes) {
            b = zan_vok_obex_new(c, op_class_name());
            void *o = vok_object_new_imp(op_class_name(), 0, 0, 0, 0, 0, 0, 0, 0);
            zan_vok_mop_setup_simple(b, o, 0, nullptr);
            object_attr_setvalueof(o, gensym("op"), 1, &plus);
        }
        for (size_t i = 0; i + 1 < boxes.size(); i++)
            zan_connect(boxes[i], 0, boxes[i + 1], 0);
        send();
        for (size_t i = 0; i < boxes.size(); i++) {
            auto *mop = static_cast<vok_mop *>(zan_vok_obex_adornment_get(boxes[i], _vok_sym_vok_mop));
            bare.push_back(
                {zan_vok_obex_vokob_get(boxes[i]), mop,
                 i ? static_cast<vok_mop_io *>(zan_vok_mop_getoutput(boxes[i - 1], 1))->matrix : source});
        }
    }
    ~chain()
    {
        for (void *b : boxes)
            object_free(b);
        vok_object_free(source);
    }
    chain(const chain &) = delete;
    chain &operator=(const chain &) = delete;

    void send() { zan_send(boxes[0], 0, _vok_sym_vok_matrix, 1, &frame); }
    // The same calculations, without the boxes.
    void calculate()
    {
        for (const calculation &c : bare) {
            vok_mop_io *in = static_cast<vok_mop_io *>(vok_mop_getinput(c.mop, 1));
            in->matrix = c.input;
            vok_mop_matrix_calc(c.mop, c.o);
            in->matrix = nullptr;
        }
    }

    struct calculation {
        void *o;
        vok_mop *mop;
        void *input;
    };
    std::vector<void *> boxes;
    std::vector<calculation> bare;
    symbol *name;
    void *source;
    atom frame;
};

void boxes(benchmark::State &state)
{
    const long count = state.range(0);
    chain c(count, state.range(1), state.range(2));
    const long repeats = std::max(1L, 20000 / (count * state.range(1) * state.range(2)));
    const auto seconds = bench::turn_about(
        state,
        [&] {
            for (long i = 0; i < repeats; i++)
                c.send();
        },
        [&] {
            for (long i = 0; i < repeats; i++)
                c.calculate();
        });
    const double hops = static_cast<double>(repeats * count);
    state.counters["us_a_box"] = seconds.best / hops * 1e6;
    state.counters["limit_us"] = seconds.limit / hops * 1e6;
    state.counters["of_limit"] = seconds.limit / seconds.best;
}
BENCHMARK(boxes)
    ->ArgNames({"boxes", "width", "height"})
    ->Args({1, 8, 8})
    ->Args({10, 8, 8})
    ->Args({10, 320, 240})
    ->Args({10, 1920, 1080})
    ->Unit(benchmark::kMicrosecond);

// The hop alone: boxes that pass their input on. The limit is the same message through
// as many cords between boxes that do nothing with it.
struct relay {
    object ob;
    void *outlet;
};

void relay_any(relay *x, symbol *s, long argc, atom *argv)
{
    outlet_anything(x->outlet, s, argc, argv);
}

void boxes_passing(benchmark::State &state)
{
    constexpr long count = 100;
    static zan_class *const relay_class = [] {
        zan_class *c = class_new("bench_relay", nullptr, nullptr, sizeof(relay), nullptr, 0);
        class_addmethod(c, reinterpret_cast<zan_method>(relay_any), "vok_matrix", argtype_gimme, 0);
        return c;
    }();
    chain c(count, 8, 8);
    atom two;
    atom_setlong(&two, zan_vok_outputmode_input);
    std::vector<relay *> relays(count);
    for (size_t i = 0; i < count; i++) {
        zan_vok_mop_outputmode(c.boxes[i], nullptr, 1, &two);
        relays[i] = static_cast<relay *>(object_alloc(relay_class));
        relays[i]->outlet = outlet_new(relays[i], nullptr);
        if (i)
            zan_connect(relays[i - 1], 0, relays[i], 0);
    }
    constexpr int repeats = 20;
    const auto seconds = bench::turn_about(
        state,
        [&] {
            for (int i = 0; i < repeats; i++)
                c.send();
        },
        [&] {
            for (int i = 0; i < repeats; i++)
                zan_send(relays[0], 0, _vok_sym_vok_matrix, 1, &c.frame);
        });
    for (relay *r : relays)
        object_free(r);
    state.counters["ns_a_box"] = seconds.best / (repeats * count) * 1e9;
    state.counters["limit_ns"] = seconds.limit / (repeats * count) * 1e9;
}
BENCHMARK(boxes_passing)->Unit(benchmark::kMicrosecond);

} // namespace
