// Every registered functor, in every precision and type of cell, fills a grid by rows as its
// own cells say one by one; and again on every instruction set.
#include <algorithm>
#include <cstring>
#include <random>
#include <set>

#include <vokra/functor_evaluate.h>

#include "functor/functor_tools.h"
#include "other_paths.h"
#include "scratch.h"

namespace {

class FunctorHarness : public Library {};

// Of all that are registered, with their categories.
std::set<std::string> names()
{
    std::set<std::string> all;
    void *list = vok_functor_classlist_in_category(nullptr);
    for (long i = 0; i < linklist_getsize(list); i++) {
        std::string name = class_nameget(static_cast<zan_class *>(linklist_getindex(list, i)))->name;
        std::replace(name.begin(), name.end(), '_', '.');
        all.insert(name.substr(std::strlen("vok_functor_")));
    }
    linklist_chuck(list);
    EXPECT_GE(all.size(), 44u);
    return all;
}

// Classes join by themselves with their defaults; these are the settings that lead a rule
// into other branches.
std::vector<std::string> subjects()
{
    std::vector<std::string> all = {
        "curve.cubicspline; knots 0. 1. 0.25 0.75 1. 0.",
        "filter.lanczossinc; width 3.; alpha 0.5",
        "distance.minkovsky; exponent 3.",
        "distance.minkovsky; exponent 4.",
        "transfer.gain; beta 0.2",
        "noise.checker; smooth 0.2",
        "noise.gradient; sign 1; filter quintic; tablesize 64",
        "noise.gradient; filter gaussian",
        "noise.distorted; distortion 0.5 0.25; outer noise.cell",
        "noise.value.cubicspline; basis bspline; abs 1; sign 1",
        "noise.value.cubicspline; basis power",
        "noise.simplex; abs 1; sign 1; tablesize 1",
        "noise.voronoi; features 3; weight -1. 1. 0.5; exp 1. 2.5 0.; postsqrt 1",
        "noise.voronoi; features 2; metric id; combiner mult; sign 1",
        "noise.voronoi; metric id; density 14.; tablesize 1",
        "noise.voronoi; distance manhattan",
        "noise.voronoi; shape hexagon; abs 1",
        "fractal.mono; rotate 1; detail 2.5",
        "fractal.hetero; basis noise.simplex; level 0.5",
        "fractal.multi.hybrid; basis noise.voronoi; detail 0.5",
        "fractal.multi; basis noise.gradient; detail 2.5; result -2.",
        "fractal.turbulence; basis noise.cell; scale 2. 0.5; offset 0.25",
        "fractal.multi.ridged; gain 2.; detail 4.5",
    };
    for (const std::string &name : names())
        all.push_back(name);
    return all;
}

template <typename T>
constexpr const char *precision = std::is_same_v<T, int32_t> ? "fixed"
                                  : sizeof(T) == 4           ? "float32"
                                                             : "float64";

template <typename T> T of(double v)
{
    return static_cast<T>(std::is_same_v<T, int32_t> ? fixed_of(v) : v);
}

template <typename T> T sum(T a, T b)
{
    using wrapping = std::conditional_t<std::is_integral_v<T>, uint32_t, T>;
    return static_cast<T>(static_cast<wrapping>(a) + static_cast<wrapping>(b));
}

// What a value becomes in a cell, as the table of the evaluator has it.
template <typename Out, typename T> Out stored(T v, T w)
{
    const auto wrap = [](long p) { return static_cast<int32_t>(static_cast<uint32_t>(p)); };
    const auto limited = [](auto x) { return static_cast<Out>(x > 0 ? std::min<decltype(x)>(x, 255) : 0); };
    if constexpr (std::is_same_v<T, int32_t>) {
        const long high = v >> 8, low = w >> 8;
        if constexpr (std::is_same_v<Out, uint8_t>)
            return limited(wrap(high * (wrap(low * 0xFF00) >> 8)));
        else if constexpr (std::is_same_v<Out, int32_t>)
            return wrap((wrap(low * 0x7FFFFF) >> 8) * high);
        else
            return static_cast<Out>(wrap(high * low));
    } else if constexpr (std::is_same_v<Out, uint8_t>)
        return limited(std::trunc(v * w * 255)); // NaN becomes 0
    else if constexpr (std::is_same_v<Out, int32_t>)
        return fixed_of(static_cast<double>(v * w) * (2147483647.0 / 65536));
    else
        return static_cast<Out>(v * w);
}

template <typename T> bool same_bits(T a, T b)
{
    if constexpr (std::is_floating_point_v<T>)
        if (std::isnan(a) && std::isnan(b))
            return true;
    return !std::memcmp(&a, &b, sizeof a);
}

template <typename T> struct evaluator : filler {
    explicit evaluator(const std::string &text) : filler("vok_functor_evaluate")
    {
        const std::vector<std::string> parts = parts_of(text);
        set("basis " + parts[0]);
        for (size_t i = 1; i < parts.size(); i++)
            message(object, "setattr", "basis " + parts[i]);
        set(std::string("precision ") + precision<T>);
    }
};

// Fills a grid and compares each cell with the functor at coordinates that run on as told.
template <typename T, typename Out> void check(const std::string &s, const functor &f, const char *type, long dims)
{
    const double origins[] = {-1.25, 0.5, 3.0}, scales[] = {9.5, -4.0, 1.5}, weights[] = {1.0, -0.3};
    const long size[3] = {dims == 2 ? 301 : 67, dims == 2 ? 3 : 2, dims == 2 ? 1 : 2};
    matrix m(dims == 2 ? shape(type, 2, {size[0], size[1]}) : shape(type, 2, {size[0], size[1], size[2]}));
    const evaluator<T> e(s);
    e.set("origin -1.25 0.5 3.0");
    e.set("scale 9.5 -4.0 1.5");
    e.set("weight 1.0 -0.3");
    ASSERT_EQ(e.run(m), 0);

    T table[32][32]; // how far the planes lie apart
    vok_rand_setseed(-1138);
    for (auto &row : table)
        for (T &entry : row)
            entry = of<T>((static_cast<double>(vok_rand()) + 0.5) / 4294967296.0 * 10);
    std::vector<T> axis[3];
    for (long d = 0; d < dims; d++) {
        const T step = of<T>(scales[d] / static_cast<double>(size[d] - 1));
        for (long i = 0; i < size[d]; i++)
            axis[d].push_back(i ? sum(axis[d].back(), step) : of<T>(origins[d]));
    }
    for (long n = 0; n < 2 * size[0] * size[1] * size[2]; n++) {
        const long p = n % 2, cells = n / 2;
        const long at[] = {cells % size[0], cells / size[0] % size[1], cells / size[0] / size[1]};
        T c[3];
        for (long d = 0; d < dims; d++)
            c[d] = sum(axis[d][static_cast<size_t>(at[d])], table[d][p]);
        const Out expected = stored<Out>(eval(f, dims, c), of<T>(weights[p])),
                  found = cell<Out>(m, at[0], at[1], at[2])[p];
        ASSERT_TRUE(same_bits(found, expected))
            << s << ", " << precision<T> << " into " << type << ", " << dims << " dimensions, cell " << at[0]
            << " " << at[1] << " " << at[2] << " plane " << p << ": " << +found << ", not " << +expected;
    }
}

// An input whose rows move in their first coordinate alone, and as they like: rows are no
// more than their cells there either.
template <typename T> void check_input(const std::string &s, const functor &f, const char *type)
{
    matrix in(type, 3, {300, 3}), out(type, 1, {300, 3});
    const evaluator<T> e(s);
    e.set("align 0.");
    e.set("weight 1.");
    std::mt19937 random(7);
    const T odd[] = {T(NAN), T(1e30), T(-1e30), T(INFINITY), T(-0.0), T(2147483648.0), T(-1), T(3)};
    const T others[3][2] = {{T(0.3), T(-7.6)}, {T(-1), T(2)}, {T(1e9), T(0)}};
    for (long y = 0; y < 3; y++)
        for (long x = 0; x < 300; x++) {
            T *c = cell<T>(in, x, y);
            const T place = static_cast<T>(static_cast<int>(random() % 4000) - 2000);
            c[0] = x % 37 == 36 ? odd[random() % 8] : x < 150 ? place / 17 : T(x) / 23 - 5;
            std::copy_n(others[y], 2, c + 1);
        }
    ASSERT_EQ(e.run(out, in), 0);
    for (long y = 0; y < 3; y++)
        for (long x = 0; x < 300; x++) {
            T c[3]; // with what the planes lie apart, here 0, added: -0 is 0 then
            std::transform(cell<T>(in, x, y), cell<T>(in, x, y) + 3, c, [](T v) { return v + T(0); });
            const T expected = eval(f, 3, c);
            ASSERT_TRUE(same_bits(*cell<T>(out, x, y), expected))
                << s << ", " << type << " input, cell " << x << " " << y << " at " << *cell<T>(in, x, y) << ": "
                << *cell<T>(out, x, y) << ", not " << expected;
        }
}

template <typename T> void check_types(const std::string &s, const functor &f)
{
    for (long dims : {2L, 3L}) {
        check<T, uint8_t>(s, f, "char", dims);
        check<T, int32_t>(s, f, "long", dims);
        check<T, float>(s, f, "float32", dims);
        check<T, double>(s, f, "float64", dims);
    }
}

TEST_F(FunctorHarness, rows_equal_cells)
{
    for (const std::string &s : subjects()) {
        const functor f(s);
        check_types<int32_t>(s, f);
        check_types<float>(s, f);
        check_types<double>(s, f);
        check_input<float>(s, f, "float32");
        check_input<double>(s, f, "float64");
        if (HasFatalFailure())
            return;
    }
}

// No number in an attribute, no word, no coordinate and no count of them.
TEST_F(FunctorHarness, nothing_breaks_them)
{
    const double numbers[] = {0, -1, 0.5, 1, 33, 1e12, 1e30, -1e30, 1e-300, NAN, HUGE_VAL};
    const char *words[] = {"shape triangle", "shape octagon", "basis power", "basis curve.linear", "nothing"};
    const double odd[] = {0,   NAN,  HUGE_VAL, -HUGE_VAL, 1e30, -1e30, 2147483648.0, -2147483649.0,
                          3e9, -0.0, 1e-320};
    const std::vector<double> many(32, 0.3);
    const std::vector<float> many32(32, 0.3f);
    const std::vector<int32_t> raw(32, INT32_MIN);
    const auto evaluate = [&](const functor &f) {
        for (const double a : odd) {
            f.at(a);
            f.at(a, 0.5);
            f.at(0.5, a, a);
            f.at32(a, 0.25f);
            f.raw(INT32_MIN, INT32_MAX, -1);
        }
        EXPECT_TRUE(same_bits(f.at(0.25, 0.75), f.at(0.25, 0.75)));
    };
    report_catcher reports;
    for (const std::string &name : names()) {
        SCOPED_TRACE(name);
        long count = 0;
        symbol **attributes = nullptr;
        const functor unset(name);
        for (const long n : {-1L, 0L, 6L, 32L}) { // also more than can be gone through
            eval(unset, n, many.data());
            eval(unset, n, many32.data());
            eval(unset, n, raw.data());
        }
        object_attr_getnames(unset.object, &count, &attributes);
        for (long i = 0; i < count; i++)
            for (const double number : numbers) {
                const functor f(name);
                vok_attr_setfloat(f.object, attributes[i], number);
                evaluate(f);
            }
        sysmem_freeptr(attributes);
        for (const char *word : words) {
            const functor f(name);
            f.set(word); // not all have it
            evaluate(f);
        }
    }
}

TEST_F(FunctorHarness, every_instruction_set_gives_the_same)
{
    run_on_every_path("FunctorHarness.rows_equal_cells");
}

} // namespace
