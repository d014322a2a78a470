// Cell operators through vok_op: whole matrices of a video frame on one and on two
// threads, once as a film, whose frames are in no cache (op/), and once the same frame
// again and again, which a large cache may hold (op_cached/); a small one for what a
// calculation costs beside its cells, and every word of the registry over a run that stays
// in the cache. VOKRA_ISA=v3 and the like force another instruction set.
#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/matrix.h>
#include <vokra/mop.h>
#include <vokra/op.h>
#include <vokra/parallel_ndim.h>
#include <zan/attributes.h>
#include <zan/collections.h>
#include <zan/memory.h>
#include <zan/symbols.h>

#include "limits.h"
#include "workers.h"

namespace bench {
void register_op_words();
}

namespace {

using object_ptr = std::unique_ptr<void, decltype([](void *x) { vok_object_free(x); })>;

struct element {
    const char *type;
    std::size_t size;
};
constexpr element elements[] = {{"char", 1}, {"long", 4}, {"float32", 4}, {"float64", 8}};

// Values that every word has something to do with: 0.5 to 2.5, or bytes.
void fill(unsigned char *p, std::size_t bytes, const element &e)
{
    const bool single = !std::strcmp(e.type, "float32"), real = single || !std::strcmp(e.type, "float64");
    for (std::size_t i = 0; i < bytes / e.size; i++) {
        const double value = 0.5 + static_cast<double>(i % 1021) / 510;
        if (single) {
            const auto v = static_cast<float>(value);
            std::memcpy(p + i * 4, &v, 4);
        } else if (real)
            std::memcpy(p + i * 8, &value, 8);
        else
            for (std::size_t k = 0; k < e.size; k++)
                p[i * e.size + k] = static_cast<unsigned char>((i * 37 >> 3) + k);
    }
}

// Two inputs, an output and the operator between them.
struct calculation {
    object_ptr op{vok_object_new(gensym("vok_op"))};
    object_ptr matrices[3];
    object_ptr mop;
    std::size_t bytes = 0;

    // `words` are one or several, one a plane; the second input may have other planes, or be a single cell.
    calculation(std::vector<const char *> words, const element &e, long planes, long width, long height,
                long second_planes = 0, bool second_cell = false)
    {
        vok_matrix_info info = {};
        vok_matrix_info_default(&info);
        info.type = gensym(e.type);
        info.planecount = planes;
        info.dim[0] = width;
        info.dim[1] = height;
        mop.reset(vok_object_new(_vok_sym_vok_mop, 2L, 1L));
        for (int i = 0; i < 3; i++) {
            vok_matrix_info own = info;
            if (i == 1 && second_planes)
                own.planecount = second_planes;
            if (i == 1 && second_cell)
                own.dim[0] = own.dim[1] = 1;
            auto *m = static_cast<vok_matrix *>(vok_object_new(_vok_sym_vok_matrix, &own));
            matrices[i].reset(m);
            bytes = static_cast<std::size_t>(m->info.size);
            fill(m->data, bytes, e);
            void *io = reinterpret_cast<void *>(i < 2 ? vok_object_method(mop.get(), _vok_sym_getinput, i + 1L)
                                                      : vok_object_method(mop.get(), _vok_sym_getoutput, 1L));
            vok_object_method(io, _vok_sym_matrix, m);
        }
        std::vector<symbol *> symbols;
        for (const char *word : words)
            symbols.push_back(gensym(word));
        object_attr_setsym_array(op.get(), gensym("op"), static_cast<long>(symbols.size()), symbols.data());
    }
    // As a box does it.
    void run() { vok_object_method(mop.get(), _vok_sym_matrix_calc, op.get()); }
};

void frame(benchmark::State &state, const char *word, const element &e, long planes, int threads, bool film)
{
    const bench::workers workers(threads);
    const std::size_t bytes = e.size * static_cast<std::size_t>(planes) * 1920 * 1080;
    const auto inputs = static_cast<std::size_t>(vok_op_fn_lookup(gensym(word))->inputcount);
    const std::size_t sets = film ? bench::sets_beyond_caches(bytes * (inputs + 1)) : 1;
    std::vector<calculation> c;
    for (std::size_t i = 0; i < sets; i++)
        c.emplace_back(std::vector{word}, e, planes, 1920, 1080);
    bench::run(state, {std::vector(inputs, bytes), bytes, threads, sets}, [&](std::size_t set) { c[set].run(); });
}

// Four planes that don't make one plain run.
void mixed(benchmark::State &state, const element &e, std::vector<const char *> words, long second_planes,
           bool second_cell)
{
    const bench::workers workers(1);
    calculation c(words, e, 4, 1920, 1080, second_planes, second_cell);
    std::vector<std::size_t> reads = {c.bytes};
    if (!second_cell)
        reads.push_back(c.bytes / 4 * static_cast<std::size_t>(second_planes));
    bench::run(state, {reads, c.bytes, 1}, [&](std::size_t) { c.run(); });
}

// What a calculation of hardly any cells costs.
void small(benchmark::State &state)
{
    calculation c({"+"}, elements[0], 4, 16, 16);
    for (auto _ : state)
        c.run();
}

// One word over 16 KiB: beside it a loop over the mathematics library where the word is
// one of its functions, else over the same bytes.
struct library_function {
    const char *word;
    double (*one)(double);
    double (*two)(double, double);
};
constexpr library_function library[] = {
    {"sin", std::sin, nullptr},     {"cos", std::cos, nullptr},     {"tan", std::tan, nullptr},
    {"asin", std::asin, nullptr},   {"acos", std::acos, nullptr},   {"atan", std::atan, nullptr},
    {"sinh", std::sinh, nullptr},   {"cosh", std::cosh, nullptr},   {"tanh", std::tanh, nullptr},
    {"asinh", std::asinh, nullptr}, {"acosh", std::acosh, nullptr}, {"atanh", std::atanh, nullptr},
    {"exp", std::exp, nullptr},     {"exp2", std::exp2, nullptr},   {"ln", std::log, nullptr},
    {"log", std::log, nullptr},     {"log2", std::log2, nullptr},   {"log10", std::log10, nullptr},
    {"mod", nullptr, std::fmod},    {"%", nullptr, std::fmod},      {"atan2", nullptr, std::atan2},
    {"hypot", nullptr, std::hypot}, {"pow", nullptr, std::pow},
};

template <typename T> void plain_loop(const library_function *f, const T *a, const T *b, T *z, std::size_t n)
{
    for (std::size_t i = 0; i < n; i++)
        z[i] = static_cast<T>(f ? f->one ? f->one(a[i]) : f->two(a[i], b[i]) : static_cast<double>(a[i]));
}

void one_word(benchmark::State &state, const char *word, const element &e)
{
    constexpr std::size_t bytes = 16384;
    std::vector<unsigned char> in1(bytes), in2(bytes), out(bytes);
    fill(in1.data(), bytes, e);
    fill(in2.data(), bytes, e);
    std::rotate(in2.begin(), in2.begin() + 248 * static_cast<long>(e.size), in2.end());
    vok_op_vector_arg a{in1.data(), 1}, b{in2.data(), 1}, z{out.data(), 1};
    const vok_op_vector_fn fn = vok_op_sym2fn(gensym(word), gensym(e.type));
    const auto n = static_cast<long>(bytes / e.size);
    const library_function *function = nullptr;
    for (const library_function &f : library)
        if (!std::strcmp(f.word, word))
            function = &f;
    const auto loop = [&] {
        if (function && e.size == 8)
            plain_loop<double>(function, reinterpret_cast<double *>(in1.data()),
                               reinterpret_cast<double *>(in2.data()), reinterpret_cast<double *>(out.data()),
                               static_cast<std::size_t>(n));
        else if (function && !std::strcmp(e.type, "float32"))
            plain_loop<float>(function, reinterpret_cast<float *>(in1.data()),
                              reinterpret_cast<float *>(in2.data()), reinterpret_cast<float *>(out.data()),
                              static_cast<std::size_t>(n));
        else
            for (std::size_t i = 0; i < bytes; i++)
                out[i] = in1[i] ^ in2[i];
        benchmark::ClobberMemory();
    };
    const auto seconds = bench::turn_about(
        state, [&] { fn(n, nullptr, &a, &b, &z); }, loop);
    state.counters["ns_per_cell"] = seconds.best * 1e9 / static_cast<double>(n);
    state.counters["of_limit"] = seconds.limit / seconds.best;
}

struct frame_row {
    const element &e;
    long planes;
};
constexpr frame_row frames[] = {{elements[0], 4}, {elements[2], 1}, {elements[2], 4}, {elements[3], 1}};
constexpr const char *frame_words[] = {"+",   "-", "*",  "/",  "min", "max", "absdiff",
                                       "avg", ">", "==", "&&", ">p",  "sqrt"};

[[maybe_unused]] const bool registered = [] {
    for (const bool film : {true, false})
        for (const int threads : {1, 2})
            for (const frame_row &r : frames)
                for (const char *word : frame_words)
                    benchmark::RegisterBenchmark(
                        (std::string(film ? "op/" : "op_cached/") + word + "/" + r.e.type + "x" +
                         std::to_string(r.planes) + "/threads:" + std::to_string(threads))
                            .c_str(),
                        [=, &r](benchmark::State &state) { frame(state, word, r.e, r.planes, threads, film); })
                        ->Unit(benchmark::kMillisecond);
    for (const element &e : {elements[0], elements[2]}) {
        const auto add = [&](const char *name, std::vector<const char *> words, long planes, bool cell) {
            benchmark::RegisterBenchmark((std::string("op_mixed/") + name + "/" + e.type + "x4").c_str(),
                                         [=](benchmark::State &state) { mixed(state, e, words, planes, cell); })
                ->Unit(benchmark::kMillisecond);
        };
        add("one_cell", {"+"}, 4, true);
        add("one_plane", {"*"}, 1, false);
        add("two_words", {"pass", "*", "*", "*"}, 4, false);
        add("four_words", {"+", "-", "*", "max"}, 4, false);
    }
    benchmark::RegisterBenchmark("op/small_16x16x4", small)->Unit(benchmark::kNanosecond);
    return true;
}();

} // namespace

// Called when the library is up: the words come from its registry, so none can be left out.
void bench::register_op_words()
{
    long count = 0;
    symbol **words = nullptr;
    hashtab_getkeys(_vok_op_fn_hashtab, &count, &words);
    for (long i = 0; i < count; i++)
        for (const element &e : elements) {
            const char *word = words[i]->name;
            benchmark::RegisterBenchmark((std::string("op_word/") + word + "/" + e.type).c_str(),
                                         [word, &e](benchmark::State &state) { one_word(state, word, e); })
                ->Unit(benchmark::kMicrosecond)
                ->MinTime(0.02);
        }
    sysmem_freeptr(words);
}
