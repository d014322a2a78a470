// Every operator word on every type against the plain loop over its rule: lengths
// round the vector widths, odd starts, strides, operands that overlap the output, and
// all bytes around the output. Every instruction set that the machine has is forced
// in turn.
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <limits>
#include <random>
#include <set>
#include <type_traits>

#include <vokra/op.h>

#include "calc/op_oracle.h"
#include "matrix/matrix_tools.h"
#include "other_paths.h"

namespace {

template <typename T>
constexpr const char *type_name = std::is_same_v<T, uint8_t>   ? "char"
                                  : std::is_same_v<T, int32_t> ? "long"
                                  : sizeof(T) == 4             ? "float32"
                                                               : "float64";

template <typename T> void run(const char *word, long n, T *a, T *b, T *z)
{
    vok_op_vector_arg args[] = {{a, 1}, {b, 1}, {z, 1}};
    vok_op_sym2fn(gensym(word), gensym(type_name<T>))(n, nullptr, &args[0], b ? &args[1] : nullptr, &args[2]);
}

// Numbers with all that is awkward about a type among them, small ones often.
template <typename T> T number(std::mt19937_64 &random)
{
    using limits = std::numeric_limits<T>;
    static const T special[] = {T(0),  T(1), T(2), limits::max(), limits::lowest(), T(limits::max() / 2),
                                T(-1), T(7)};
    constexpr double odd[] = {
        -0.0, HUGE_VAL, -HUGE_VAL,  NAN,    double(limits::min()), double(limits::denorm_min()), -1, 0.5, -0.5,
        1.5,  2.5,      0.49999997, 8388609};
    const auto kind = random() % 4;
    if (kind == 0)
        return special[random() % std::size(special)];
    if constexpr (limits::is_integer)
        return static_cast<T>(kind == 1 ? random() % 70 : random());
    else if (kind == 1)
        return static_cast<T>(odd[random() % std::size(odd)]);
    const double small = static_cast<double>(random() % 20001) / 1000 - 10;
    return static_cast<T>(kind == 2 ? small : std::floor(small));
}

template <typename T> bool same(T a, T b)
{
    if constexpr (!std::numeric_limits<T>::is_integer)
        if (std::isnan(a) && std::isnan(b))
            return true; // which NaN comes out of two is the processor's
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

struct shape {
    const char *name;
    long a, b, z; // strides
};
constexpr shape shapes[] = {
    {"contiguous", 1, 1, 1},  {"a constant", 0, 1, 1},  {"b constant", 1, 0, 1}, {"both constant", 0, 0, 1},
    {"4 planes", 4, 4, 4},    {"3 planes", 3, 3, 3},    {"2 planes", 2, 2, 2},   {"plane and constant", 4, 0, 4},
    {"one plane b", 4, 1, 4}, {"one plane a", 1, 4, 4}, {"spread", 1, 1, 5},     {"gathered", 5, 3, 1},
    {"one cell", 1, 1, 0},    {"backwards", -1, 1, 1},
};

// Where the operands start in one block, in elements; the output may lie on them.
struct placement {
    const char *name;
    long a, b, z;
};
constexpr long far_off = 700;
constexpr placement placements[] = {
    {"apart", 300, 300 + far_off, 300 + 2 * far_off},
    {"odd starts", 301, 303 + far_off, 302 + 2 * far_off},
    {"output is a", 300, 301 + far_off, 300},
    {"output is b", 300 + far_off, 302, 302},
    {"all one", 300, 300, 300},
    {"output one behind a", 300, 300 + far_off, 301},
    {"output seven behind b", 300 + far_off, 300, 307},
    {"output one ahead of a", 301, 300 + far_off, 300},
    {"constant inside the output", 305, 310, 300},
};
constexpr long lengths[] = {0, 1, 2, 3, 7, 8, 9, 15, 16, 17, 31, 33, 63, 64, 65, 127, 131};

template <typename T> void check_word(const op_rule &rule, std::mt19937_64 &random)
{
    const vok_op_vector_fn fn = vok_op_sym2fn(gensym(rule.word), gensym(type_name<T>));
    std::vector<T> before(300 + 4 * far_off), expected, found;
    for (const shape &s : shapes)
        for (const placement &p : placements) {
            for (T &v : before)
                v = number<T>(random);
            for (const long n : lengths) {
                expected = found = before;
                for (long i = 0; i < n; i++) {
                    const T a = expected[p.a + i * s.a], b = expected[p.b + i * s.b];
                    expected[p.z + i * s.z] = applied(rule, a, b);
                }
                vok_op_vector_arg a{&found[p.a], s.a}, b{&found[p.b], s.b}, z{&found[p.z], s.z};
                fn(n, nullptr, &a, &b, &z);
                if (!std::memcmp(expected.data(), found.data(), before.size() * sizeof(T)))
                    continue;
                for (size_t i = 0; i < before.size(); i++)
                    ASSERT_TRUE(same(expected[i], found[i]))
                        << rule.word << " on " << type_name<T> << ", " << s.name << ", " << p.name << ", n " << n
                        << ", element " << static_cast<long>(i) - p.z << " of the output: " << +found[i] << " for "
                        << +expected[i] << ", from " << +before[i];
            }
        }
}

class OpVector : public Library {};

TEST_F(OpVector, words_are_those_of_the_rules)
{
    std::set<std::string> words;
    for (const op_rule &rule : op_rules::all)
        for (const char *word : {rule.word, rule.alias}) {
            if (!word)
                continue;
            words.insert(word);
            const vok_op_fn *fn = vok_op_fn_lookup(gensym(word)), *partner = vok_op_fn_lookup(gensym(rule.word));
            ASSERT_TRUE(fn && partner && vok_op_fn_help(gensym(word))) << word;
            EXPECT_TRUE(fn->name == gensym(word) && fn->inputcount == rule.inputs) << word;
            EXPECT_TRUE(fn->charfn == partner->charfn && fn->longfn == partner->longfn) << word;
            EXPECT_TRUE(fn->float32fn == partner->float32fn && fn->float64fn == partner->float64fn) << word;
            EXPECT_EQ(fn == partner, word == rule.word) << word << ": an alias is a record of its own";
        }
    EXPECT_EQ(words.size(), 98u);
    const struct {
        const char *word, *type;
        vok_op_vector_fn fn;
    } without[] = {{"sin", "char", vok_op_vector_pass_char}, // means nothing there
                   {"abs", "char", vok_op_vector_pass_char},     {"fold", "long", vok_op_vector_pass_long},
                   {"&", "float32", vok_op_vector_pass_float32}, {"pass", "float64", vok_op_vector_pass_float64},
                   {"pass", "symbol", vok_op_vector_ignore},     {"no such word", "char", vok_op_vector_ignore}};
    for (const auto &row : without)
        EXPECT_EQ(vok_op_sym2fn(gensym(row.word), gensym(row.type)), row.fn) << row.word;
    EXPECT_EQ(vok_op_sym2fn(nullptr, _vok_sym_char), vok_op_vector_ignore);
}

TEST_F(OpVector, other_modules_add_words)
{
    symbol *word = gensym("op_test_word");
    auto *fn = vok_op_fn_object_new(word, 2);
    ASSERT_TRUE(fn);
    EXPECT_EQ(fn->charfn, vok_op_vector_ignore);
    EXPECT_EQ(vok_op_fn_store(word, fn), 0);
    EXPECT_EQ(vok_op_fn_store(word, fn), VOK_ERR_EROR);
    EXPECT_EQ(vok_op_fn_store(gensym("+"), fn), VOK_ERR_EROR);
    EXPECT_NE(vok_op_fn_lookup(gensym("+")), fn);
    EXPECT_EQ(vok_op_fn_help(word), nullptr);
    vok_op_vector_init(); // changes nothing
    EXPECT_EQ(vok_op_fn_lookup(word), fn);
    hashtab_chuckkey(_vok_op_fn_hashtab, word);
    vok_object_free(fn);
}

TEST_F(OpVector, every_pair_of_chars)
{
    std::vector<uint8_t> a(65536), b(65536), out(65536);
    for (size_t i = 0; i < 65536; i++) {
        a[i] = static_cast<uint8_t>(i);
        b[i] = static_cast<uint8_t>(i >> 8);
    }
    for (const op_rule &rule : op_rules::all) {
        run(rule.word, 65536, a.data(), b.data(), out.data());
        for (size_t i = 0; i < 65536; i++)
            ASSERT_EQ(out[i], applied(rule, a[i], b[i])) << rule.word << " " << +a[i] << " " << +b[i];
    }
}

// Functions of float32 go by a quick way that leaves what it can't decide to the library:
// some of all numbers there are, and those that are hard for each in its way.
TEST_F(OpVector, functions_of_float32_are_the_librarys)
{
    std::vector<float> in_a, in_b;
    std::mt19937_64 random(3);
    const auto add = [&](float a, float b) {
        in_a.push_back(a);
        in_b.push_back(b);
    };
    for (uint64_t bits = 0; bits < 1ull << 32; bits += 60013)
        add(std::bit_cast<float>(static_cast<uint32_t>(bits)), static_cast<float>(random() % 4001) / 100 - 20);
    for (int i = -2000; i < 2000; i++) {
        const auto f = static_cast<float>(i);
        add(f * 1.5707964f, 2);            // next to a root
        add(4097 + f / 1024, 2);           // squares next to a tie
        add(f, static_cast<float>(i % 9)); // exact powers and logarithms
        add(1 + f * 0x1p-23f, f * 1e5f);
        add(std::ldexp(1.0f, i % 150), 0.5f);
        add(f / 1999, -0.0f); // the arcs' whole range
    }
    std::vector<float> out(in_a.size());
    for (const op_rule &rule : op_rules::all) {
        if (!rule.on_float32 || rule.on_char)
            continue;
        run(rule.word, static_cast<long>(out.size()), in_a.data(), in_b.data(), out.data());
        for (size_t i = 0; i < out.size(); i++)
            ASSERT_TRUE(same(out[i], rule.on_float32(in_a[i], in_b[i])))
                << rule.word << " of " << in_a[i] << " and " << in_b[i] << ": " << out[i];
    }
}

// Roots of float64 may go by steps that leave what they can't decide to the instruction: all
// exponents, the neighbours of powers of two and of squares, and of squares of halfway numbers.
TEST_F(OpVector, functions_of_float64_roots)
{
    std::vector<double> in;
    std::mt19937_64 random(4);
    const auto with_neighbours = [&](double v) {
        for (const double x : {std::nextafter(v, 0), v, std::nextafter(v, HUGE_VAL)})
            in.push_back(x);
    };
    for (int i = 0; i < 1000000; i++)
        in.push_back(std::bit_cast<double>(random()));
    for (int e = -1074; e < 1024; e++)
        with_neighbours(std::ldexp(1, e));
    for (int i = 0; i < 300000; i++) {
        const double g = std::ldexp(1 + static_cast<double>(random() >> 11) * 0x1p-53, i % 301 - 150);
        with_neighbours(g * g);
        with_neighbours(static_cast<double>(static_cast<long double>(g) * (g + g * 0x1p-53L)));
        in.push_back(std::ldexp(1.0 - static_cast<double>(i) * 0x1p-53, i % 2));
    }
    for (const double x : {0.0, -0.0, -1.0, HUGE_VAL, -HUGE_VAL, double(NAN)})
        in.insert(in.end(), 8, x);
    std::vector<double> out(in.size());
    for (const size_t shift : {0, 4}) { // each number in either half of a pair of vectors
        run<double>("sqrt", static_cast<long>(out.size() - shift), in.data() + shift, nullptr, out.data() + shift);
        for (size_t i = shift; i < out.size(); i++)
            ASSERT_TRUE(same(out[i], std::sqrt(in[i]))) << in[i] << ": " << out[i];
    }
}

// In a child of the test below, this tells which path it ran on: the place of a kernel
// in the library.
void report_path()
{
    const vok_op_vector_fn fn = vok_op_sym2fn(gensym("+"), _vok_sym_float32);
    Dl_info info{};
    dladdr(reinterpret_cast<void *>(fn), &info);
    std::printf("path %ld\n",
                static_cast<long>(reinterpret_cast<const char *>(fn) - static_cast<const char *>(info.dli_fbase)));
}

TEST_F(OpVector, equals_the_plain_loop)
{
    report_path();
    std::mt19937_64 random(5);
    for (const op_rule &rule : op_rules::all) {
        check_word<uint8_t>(rule, random);
        check_word<int32_t>(rule, random);
        check_word<float>(rule, random);
        check_word<double>(rule, random);
        if (HasFatalFailure())
            return;
    }
}

TEST_F(OpVector, every_path_of_the_machine_equals_the_plain_loop)
{
    const std::vector<const char *> paths = paths_of_machine();
    std::set<std::string> taken; // the kernels that each had, as a test prints them
    for (const char *isa : paths) {
        const std::string output = run_on_path(
            isa, "OpVector.e*_plain_loop:OpVector.every_pair_of_chars:OpVector.functions*:-*every_path*");
        const size_t at = output.find("\npath ");
        ASSERT_NE(at, std::string::npos) << output;
        taken.insert(output.substr(at, output.find('\n', at + 1) - at));
    }
    EXPECT_EQ(taken.size(), paths.size()) << "a path was never taken";
}

} // namespace
