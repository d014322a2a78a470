// The object layer: what a message, a name, an attribute and an object cost. The
// limit of a message is a call of the same function through a pointer.
#include <benchmark/benchmark.h>
#include <cstdio>

#include <zan/zan.h>

namespace {

struct thing {
    object header;
    long value;
};

zan_word thing_add(thing *x, zan_word w)
{
    return x->value += w;
}
zan_word thing_list(thing *x, symbol *, long argc, atom *argv)
{
    return x->value += argc ? atom_getlong(argv) : 0;
}
zan_word thing_mixed(thing *x, long a, double b)
{
    return x->value += a + static_cast<long>(b);
}
void thing_notify(thing *x, symbol *, symbol *, void *, void *)
{
    ++x->value;
}

template <class F> zan_method method(F *fn)
{
    return reinterpret_cast<zan_method>(fn);
}

// A class with as many messages as a large library class has.
zan_class *thing_class()
{
    static zan_class *c = [] {
        zan_class *made = class_new("bench_thing", nullptr, nullptr, sizeof(thing), nullptr, 0);
        for (int i = 0; i < 60; ++i) {
            char name[32];
            std::snprintf(name, sizeof name, "message_%d", i);
            class_addmethod(made, method(method_false), name, argtype_cant, 0);
        }
        class_addmethod(made, method(thing_add), "add", argtype_cant, 0);
        class_addmethod(made, method(thing_list), "list", argtype_gimme, 0);
        class_addmethod(made, method(thing_add), "long", argtype_long, 0);
        class_addmethod(made, method(thing_mixed), "mixed", argtype_long, argtype_float, 0);
        class_addmethod(made, method(thing_notify), "notify", argtype_cant, 0);
        class_addattr(made, attr_offset_new("value", gensym("long"), 0, nullptr, nullptr, offsetof(thing, value)));
        return made;
    }();
    return c;
}

struct owned {
    thing *x = static_cast<thing *>(object_alloc(thing_class()));
    owned() = default;
    owned(const owned &) = delete;
    owned &operator=(const owned &) = delete;
    ~owned() { object_free(x); }
};

void call_by_pointer(benchmark::State &state)
{
    owned o;
    auto *volatile fn = reinterpret_cast<zan_word (*)(void *, zan_word, zan_word, zan_word, zan_word, zan_word,
                                                      zan_word, zan_word, zan_word)>(method(thing_add));
    for (auto _ : state)
        benchmark::DoNotOptimize(fn(o.x, 1, 0, 0, 0, 0, 0, 0, 0));
}
BENCHMARK(call_by_pointer);

void message_by_name(benchmark::State &state)
{
    owned o;
    symbol *add = gensym("add");
    if (state.range(0)) // with an obex, as every object behind a box has
        object_obex_storeflags(o.x, gensym("zanwrapper"), o.x, 1);
    for (auto _ : state)
        benchmark::DoNotOptimize(object_method_imp(o.x, add, 1, 0, 0, 0, 0, 0, 0, 0));
}
BENCHMARK(message_by_name)->ArgName("obex")->Arg(0)->Arg(1)->Threads(1)->Threads(2);

void message_to_itself_alone(benchmark::State &state) // a method of one object
{
    owned o;
    object_addmethod(o.x, method(thing_add), "own", argtype_cant, 0);
    symbol *own = gensym("own");
    for (auto _ : state)
        benchmark::DoNotOptimize(object_method_imp(o.x, own, 1, 0, 0, 0, 0, 0, 0, 0));
}
BENCHMARK(message_to_itself_alone);

void typed_message(benchmark::State &state, const char *name)
{
    owned o;
    symbol *s = gensym(name);
    atom list[2], rv;
    atom_setlong(list, 1);
    atom_setfloat(list + 1, 2);
    for (auto _ : state)
        benchmark::DoNotOptimize(object_method_typed(o.x, s, 2, list, &rv));
}
BENCHMARK_CAPTURE(typed_message, atoms, "list");
BENCHMARK_CAPTURE(typed_message, a_long, "long");
BENCHMARK_CAPTURE(typed_message, a_long_and_a_double, "mixed");

void attribute_set(benchmark::State &state)
{
    owned o;
    symbol *value = gensym("value");
    for (auto _ : state)
        benchmark::DoNotOptimize(object_attr_setlong(o.x, value, 5));
}
BENCHMARK(attribute_set);

void attribute_get(benchmark::State &state)
{
    owned o;
    symbol *value = gensym("value");
    for (auto _ : state)
        benchmark::DoNotOptimize(object_attr_getlong(o.x, value));
}
BENCHMARK(attribute_get);

void gensym_known(benchmark::State &state, const char *text)
{
    for (int i = 0; i < 10000; ++i) { // among as many names as a large patch has
        char other[32];
        std::snprintf(other, sizeof other, "other_name_%d", i);
        gensym(other);
    }
    gensym(text);
    for (auto _ : state) {
        benchmark::DoNotOptimize(text);
        benchmark::DoNotOptimize(gensym(text));
    }
}
BENCHMARK_CAPTURE(gensym_known, short_name, "dim")->Threads(1)->Threads(2);
BENCHMARK_CAPTURE(gensym_known, long_name, "vok_functor_noise_simplex_eval_float32_dim4");

void registered_by_name(benchmark::State &state)
{
    owned o;
    symbol *space = gensym("bench"), *name = symbol_unique();
    object_register(space, name, o.x);
    for (auto _ : state)
        benchmark::DoNotOptimize(object_findregistered(space, name));
}
BENCHMARK(registered_by_name);

void notification(benchmark::State &state)
{
    owned sender;
    symbol *space = gensym("bench"), *name = symbol_unique(), *modified = gensym("modified");
    owned clients[8];
    object_register(space, name, sender.x);
    for (long i = 0; i < state.range(0); ++i)
        object_attach(space, name, clients[i].x);
    for (auto _ : state)
        object_notify(sender.x, modified, nullptr);
}
BENCHMARK(notification)->ArgName("clients")->Arg(0)->Arg(1)->Arg(8);

void table_lookup(benchmark::State &state)
{
    void *table = hashtab_new(0);
    symbol *key = nullptr;
    for (long i = 0; i < state.range(0); ++i) {
        key = symbol_unique();
        hashtab_store(table, key, table);
    }
    void *value = nullptr;
    for (auto _ : state)
        benchmark::DoNotOptimize(hashtab_lookup(table, key, &value));
    hashtab_chuck(table);
}
BENCHMARK(table_lookup)->ArgName("entries")->Arg(4)->Arg(1000);

void object_made_and_freed(benchmark::State &state)
{
    thing_class();
    for (auto _ : state)
        object_free(object_alloc(thing_class()));
}
BENCHMARK(object_made_and_freed);

} // namespace
