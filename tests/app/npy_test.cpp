// NumPy array files. The files read here are written out by hand from the format's
// own description, so that reader and writer can't agree on a mistake.
#include <cstring>
#include <gtest/gtest.h>
#include <npy.h>

namespace {

using npy::element;

std::string file(const std::string &header, const std::string &cells, int version = 1)
{
    std::string text = std::string("\x93NUMPY", 6) + static_cast<char>(version) + '\0';
    for (int i = 0; i < (version == 1 ? 2 : 4); ++i)
        text += static_cast<char>(header.size() >> (8 * i));
    return text + header + cells;
}

std::string described(const std::string &descr, const std::string &shape, const std::string &order = "False")
{
    return "{'descr': '" + descr + "', 'fortran_order': " + order + ", 'shape': " + shape + ", }          \n";
}

TEST(npy, cells_come_in_this_machines_order)
{
    const float f4 = 1.5f;
    const double f8 = -0.1;
    const int32_t i4 = -2;
    const struct {
        std::string descr, bytes;
        element type;
        std::string expected;
    } rows[] = {
        {"|u1", "\x7f", element::u1, "\x7f"},
        {"<u1", "\x7f", element::u1, "\x7f"},
        {"<i4", "\xfe\xff\xff\xff", element::i4, std::string(reinterpret_cast<const char *>(&i4), 4)},
        {">i4", "\xff\xff\xff\xfe", element::i4, std::string(reinterpret_cast<const char *>(&i4), 4)},
        {"<f4", std::string("\0\0\xc0\x3f", 4), element::f4, std::string(reinterpret_cast<const char *>(&f4), 4)},
        {">f4", std::string("\x3f\xc0\0\0", 4), element::f4, std::string(reinterpret_cast<const char *>(&f4), 4)},
        {"<f8", "\x9a\x99\x99\x99\x99\x99\xb9\xbf", element::f8,
         std::string(reinterpret_cast<const char *>(&f8), 8)},
        {">f8", "\xbf\xb9\x99\x99\x99\x99\x99\x9a", element::f8,
         std::string(reinterpret_cast<const char *>(&f8), 8)},
    };
    for (const auto &row : rows)
        for (int version = 1; version <= 3; ++version) {
            npy::array a;
            std::string why;
            // two cells, so that swapping keeps to each of them; and bytes behind them
            const std::string cells = row.bytes + row.bytes;
            ASSERT_TRUE(npy::read(file(described(row.descr, "(2,)"), cells + "more", version), a, why)) << why;
            EXPECT_EQ(a.type, row.type) << row.descr;
            EXPECT_EQ(a.shape, std::vector<long>{2});
            EXPECT_EQ(a.bytes, row.expected + row.expected) << row.descr;
        }
}

TEST(npy, headers_are_read_however_they_are_spaced)
{
    const std::vector<long> two{2, 3};
    const struct {
        std::string header;
        std::vector<long> shape;
    } rows[] = {
        {"{'descr':'|u1','fortran_order':False,'shape':(2,3)}", two},
        {"{'shape': (2, 3), 'fortran_order': False, 'descr': '|u1'}", two},
        {" { \"descr\" : \"|u1\" , \"fortran_order\" : False , \"shape\" : ( 2 , 3 , ) , } \t\n", two},
        {"{'descr': '|u1', 'fortran_order': False, 'shape': (2L, 3L), }\n", two},
        {described("|u1", "()"), {}},
        {described("|u1", "(6,)"), {6}},
        {described("|u1", "(1, 6)", "True"), {1, 6}}, // both orders are the same
        {described("|u1", "(0, 5)"), {0, 5}},
        {described("|u1", "(0, 9223372036854775807, 9223372036854775807)"),
         {0, 9223372036854775807, 9223372036854775807}},
    };
    for (const auto &row : rows) {
        npy::array a;
        std::string why;
        EXPECT_TRUE(npy::read(file(row.header, "abcdef"), a, why)) << row.header << why;
        EXPECT_EQ(a.shape, row.shape) << row.header;
        EXPECT_EQ(why, "");
    }
}

TEST(npy, what_is_wrong_is_said)
{
    const std::string good = described("|u1", "(2, 3)");
    const struct {
        std::string bytes, words;
    } rows[] = {
        {"", "no NumPy array"},
        {"\x93NUMP", "no NumPy array"},
        {std::string("\x93NUMPY\1\0\x10", 9), "cut short in its header"},
        {std::string("\x93NUMPY\2\0\x10\0\0", 11), "cut short in its header"},
        {file(good, "abcdef", 4), "version 4"},
        {file(good, "abcdef", 0), "version 0"},
        {file(good, "abcde"), "promises (2, 3) cells of \"|u1\", and 5 bytes follow"},
        {file(described("<f8", "(9223372036854775807, 2)"), "abc"), "cut short"},
        {file(described("<f8", "(4294967296, 4294967296)"), "abc"), "cut short"},
        {file(described("|u1", "(2, 3)", "True"), "abcdef"), "Fortran order"},
        {file(described("<i8", "(1,)"), "12345678"), "\"<i8\""},
        {file(described("|b1", "(1,)"), "1"), "\"|b1\""},
        {file(described("|f4", "(1,)"), "1234"), "\"|f4\""},
        {file(described("f4", "(1,)"), "1234"), "\"f4\""},
        {file(described("", "(1,)"), "1234"), "\"\""},
        {file("{'descr': [('a', '<f4')], 'fortran_order': False, 'shape': (1,)}", "1234"), "records"},
        {file("", ""), "can't be understood"},
        {file("{}", ""), "can't be understood"},
        {file("{'descr': '|u1', 'shape': (1,)}", "1"), "can't be understood"},
        {file("{'descr': '|u1', 'descr': '|u1', 'fortran_order': False, 'shape': (1,)}", "1"),
         "can't be understood"},
        {file("{'descr': '|u1', 'fortran_order': False, 'shape': (1,), 'more': 1}", "1"), "can't be understood"},
        {file("{'descr': '|u1', 'fortran_order': 0, 'shape': (1,)}", "1"), "can't be understood"},
        {file("{'descr': '|u1' 'fortran_order': False, 'shape': (1,)}", "1"), "can't be understood"},
        {file("{'descr': '|u1', 'fortran_order': False, 'shape': (1,)", "1"), "can't be understood"},
        {file("{'descr': '|u1', 'fortran_order': False, 'shape': (1,)} x", "1"), "can't be understood"},
        {file("{'descr': '|u1', 'fortran_order': False, 'shape': (1,)}}", "1"), "can't be understood"},
        {file(described("|u1", "(-1,)"), "1"), "can't be understood"},
        {file(described("|u1", "(1)"), "1"), "can't be understood"},
        {file(described("|u1", "(99999999999999999999,)"), "1"), "can't be understood"},
        {file(described("|u1", "(" + std::string(130, '1') + ")"), "1"), "can't be understood"},
        {file("{'descr': '|u1", ""), "can't be understood"},
    };
    for (const auto &row : rows) {
        npy::array a;
        a.shape = {7};
        std::string why;
        EXPECT_FALSE(npy::read(row.bytes, a, why)) << row.words;
        EXPECT_NE(why.find(row.words), std::string::npos) << why << " / " << row.words;
        EXPECT_EQ(a.shape, std::vector<long>{7}) << "left as it was";
    }
    std::string axes;
    for (int i = 0; i < 65; ++i)
        axes += "1, ";
    npy::array a;
    std::string why;
    EXPECT_FALSE(npy::read(file(described("|u1", "(" + axes + ")"), "1"), a, why));
    EXPECT_FALSE(npy::read(file(std::string(70000, ' '), "", 2), a, why));
    EXPECT_NE(why.find("70000"), std::string::npos);
}

TEST(npy, no_prefix_is_an_array)
{
    const std::string whole = npy::header(element::f4, {2, 3}) + std::string(24, 'x');
    npy::array a;
    std::string why;
    for (size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(npy::read(whole.substr(0, size), a, why)) << size;
        EXPECT_FALSE(why.empty());
    }
    EXPECT_TRUE(npy::read(whole, a, why)) << why;
}

TEST(npy, a_header_is_what_numpy_writes)
{
    std::string expected =
        std::string("\x93NUMPY\1\0\x76\0", 10) + "{'descr': '<f4', 'fortran_order': False, 'shape': (2, 3), }";
    expected.resize(127, ' ');
    EXPECT_EQ(npy::header(element::f4, {2, 3}), expected + "\n");
    EXPECT_NE(npy::header(element::u1, {}).find("'|u1', 'fortran_order': False, 'shape': (), }"),
              std::string::npos);
    EXPECT_NE(npy::header(element::i4, {5}).find("'<i4', 'fortran_order': False, 'shape': (5,), }"),
              std::string::npos);
    for (int axes = 0; axes < 33; ++axes) {
        const std::vector<long> shape(static_cast<size_t>(axes), 1);
        const std::string text = npy::header(element::f8, shape);
        EXPECT_EQ(text.size() % 64, 0u);
        EXPECT_EQ(text.back(), '\n');
        npy::array a;
        std::string why;
        EXPECT_TRUE(npy::read(text + "12345678", a, why)) << why;
        EXPECT_EQ(a.shape, shape);
        EXPECT_EQ(a.bytes, "12345678");
    }
}

TEST(npy, shapes_and_matrices_answer_each_other)
{
    using shape = std::vector<long>;
    const struct {
        shape array;
        long planes;
        shape dim;
        shape back; // empty: the same shape
    } rows[] = {
        {{}, 1, {1}, {1}},
        {{5}, 1, {5}, {}},
        {{480, 640}, 1, {640, 480}, {}},
        {{480, 640, 4}, 4, {640, 480}, {}},
        {{480, 640, 32}, 32, {640, 480}, {}},
        {{480, 640, 33}, 1, {33, 640, 480}, {480, 640, 33, 1}},
        {{7, 480, 640, 3}, 3, {640, 480, 7}, {}},
        {{7, 480, 640, 1}, 1, {640, 480, 7}, {}},
        {{3, 4, 1}, 1, {4, 3}, {3, 4}},
    };
    for (const auto &row : rows) {
        npy::matrix_shape m, again;
        std::string why;
        ASSERT_TRUE(npy::to_matrix(row.array, m, why)) << why;
        EXPECT_EQ(m.planecount, row.planes);
        EXPECT_EQ(m.dim, row.dim);
        const shape back = npy::from_matrix(m);
        EXPECT_EQ(back, row.back.empty() ? row.array : row.back);
        ASSERT_TRUE(npy::to_matrix(back, again, why));
        EXPECT_EQ(again.planecount, m.planecount);
        EXPECT_EQ(again.dim, m.dim);
    }
    EXPECT_EQ(npy::from_matrix({3, {5}}), (shape{1, 5, 3}));
    npy::matrix_shape m;
    std::string why;
    EXPECT_FALSE(npy::to_matrix({4, 0, 3}, m, why));
    EXPECT_NE(why.find("(4, 0, 3) has no cells"), std::string::npos);
    EXPECT_FALSE(npy::to_matrix(shape(33, 100), m, why));
    EXPECT_NE(why.find("33 axes"), std::string::npos);
    EXPECT_TRUE(npy::to_matrix(shape(33, 2), m, why)); // the last axis is the planes
    EXPECT_EQ(m.dim.size(), 32u);
}

} // namespace
