// Symbols and atoms: one pointer a name from every thread, conversions at the edges.
#include "kernel_fixture.h"
#include <cmath>
#include <set>
#include <thread>

namespace {

TEST(symbols, same_text_is_the_same_pointer)
{
    const std::string longest(100000, 'l');
    for (const std::string text : {"", "a", "1234567", "12345678", "123456789", "\xc3\xa9t\xc3\xa9",
                                   "012345678901234567890123456789", longest.c_str()}) {
        symbol *s = gensym(text.c_str());
        EXPECT_EQ(s->name, text);
        EXPECT_EQ(gensym(std::string(text).c_str()), s);
        EXPECT_NE(gensym((text + "x").c_str()), s);
    }
    EXPECT_EQ(gensym(nullptr), gensym(""));
}

TEST(ThreadsSymbols, many_agree_while_the_table_grows)
{
    constexpr long names = 20000, threads = 4;
    std::vector<std::vector<symbol *>> got(threads, std::vector<symbol *>(names));
    std::vector<std::thread> running;
    for (long t = 0; t < threads; ++t)
        running.emplace_back([&, t] {
            for (long i = 0; i < names; ++i) {
                const long n = t & 1 ? names - 1 - i : i; // from both ends
                got[t][n] = gensym(("thread name " + std::to_string(n)).c_str());
            }
        });
    for (std::thread &t : running)
        t.join();
    for (long t = 1; t < threads; ++t)
        EXPECT_TRUE(got[t] == got[0]);
    for (long i = 0; i < names; ++i)
        ASSERT_EQ("thread name " + std::to_string(i), got[0][i]->name);
}

TEST(symbols, a_unique_one_is_no_one_elses)
{
    std::set<symbol *> taken;
    const long number = std::strtol(symbol_unique()->name + 1, nullptr, 10);
    for (long i = 1; i < 50; i += 2) { // names that come next, used by someone before they are handed out
        char text[32];
        snprintf(text, sizeof text, "u%09ld", number + i);
        taken.insert(gensym(text));
    }
    for (int i = 0; i < 100; ++i) {
        symbol *s = symbol_unique();
        EXPECT_TRUE(taken.insert(s).second && gensym(s->name) == s) << s->name;
    }
}

TEST(atoms, convert_numbers_into_each_other_and_nothing_else)
{
    const std::tuple<atom, zan_word, double, long> rows[] = {
        // as a long, a float, a char
        {A(-7), -7, -7, 0},
        {A(300), 300, 300, 255},
        {A(1.99), 1, 1.99, 255},
        {A(-1.99), -1, -1.99, 0},
        {A(0.5), 0, 0.5, 127},
        {A(-1e300), INT64_MIN, -1e300, 0},
        {A(9223372036854775808.0), INT64_MAX, 9223372036854775808.0, 255},
        {A(INFINITY), INT64_MAX, INFINITY, 255},
        {A("12"), 0, 0, 0},
        {A(static_cast<void *>(nullptr)), 0, 0, 0},
        {atom{}, 0, 0, 0},
    };
    for (const auto &[a, as_long, as_float, as_char] : rows) {
        SCOPED_TRACE(text_of(a));
        EXPECT_EQ(atom_getlong(&a), as_long);
        EXPECT_EQ(atom_getfloat(&a), as_float);
        EXPECT_EQ(atom_getcharfix(&a), as_char);
        EXPECT_EQ(atom_getsym(&a), a.type == argtype_sym ? S("12") : nullptr);
        EXPECT_EQ(atom_getobj(&a), nullptr);
    }
    const atom nan = A(std::nan(""));
    for (const atom *none : {&nan, static_cast<const atom *>(nullptr)})
        EXPECT_EQ(atom_getlong(none) + atom_getcharfix(none), 0);
    EXPECT_TRUE(atom_setlong(nullptr, 1) && atom_setsym(nullptr, S("a")));
}

TEST(atoms, an_argument_out_of_reach_leaves_the_destination_alone)
{
    const atom list[] = {A(3), A(2.5), A("word")};
    for (const auto &[index, expected] : {std::pair(0L, 3.0), {1, 2.5}, {3, 77}, {-1, 77}}) {
        zan_word as_long = 77;
        float as_float = 77;
        double as_double = 77;
        const int failed = !!atom_arg_getlong(&as_long, index, 3, list) +
                           !!atom_arg_getfloat(&as_float, index, 3, list) +
                           !!atom_arg_getdouble(&as_double, index, 3, list);
        EXPECT_EQ(failed, expected == 77 ? 3 : 0);
        EXPECT_TRUE(as_long == zan_word(expected) && as_float == expected && as_double == expected) << index;
    }
    symbol *s = nullptr;
    EXPECT_NE(atom_arg_getsym(&s, 0, 3, list), 0); // a number is no symbol
    EXPECT_EQ(s, nullptr);
    EXPECT_EQ(atom_arg_getsym(&s, 2, 3, list), 0);
    EXPECT_EQ(s, S("word"));
}

} // namespace
