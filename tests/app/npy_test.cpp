// NumPy array files. The files read here are written out by hand from the format's
// own description, so that reader and writer can't agree on a mistake.
#include <algorithm>
#include <climits>
#include <gtest/gtest.h>
#include <npy.h>

namespace {

using npy::element;
using extents = std::vector<long>;

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

// Reads `bytes`; what it says when it can't.
std::string read(const std::string &bytes, npy::array &to)
{
    std::string why = "before";
    const bool good = npy::read(bytes, to, why);
    EXPECT_EQ(good, why.empty()) << why;
    return why;
}

TEST(npy, cells_come_in_this_machines_order)
{
    const float f4 = 1.5f;
    const double f8 = -0.1;
    const int32_t i4 = -2;
    const struct {
        const char *code;
        std::string bytes; // the lowest first
        element type;
        const void *value;
    } rows[] = {{"u1", "\x7f", element::u1, "\x7f"},
                {"i4", "\xfe\xff\xff\xff", element::i4, &i4},
                {"f4", std::string("\0\0\xc0\x3f", 4), element::f4, &f4},
                {"f8", "\x9a\x99\x99\x99\x99\x99\xb9\xbf", element::f8, &f8}};
    for (const auto &row : rows)
        for (int version = 1; version <= 3; ++version)
            for (const char order : {'<', '>'}) {
                std::string one = row.bytes;
                if (order == '>')
                    std::reverse(one.begin(), one.end());
                npy::array a; // of two cells, so that swapping keeps to each of them; and bytes behind them
                const std::string header = described(order + std::string(row.code), "(2,)");
                EXPECT_EQ(read(file(header, one + one + "more", version), a), "");
                EXPECT_EQ(a.type, row.type);
                EXPECT_EQ(a.shape, extents{2});
                const std::string cell(static_cast<const char *>(row.value), one.size());
                EXPECT_EQ(a.bytes, cell + cell) << row.code << order;
            }
}

TEST(npy, headers_are_read_however_they_are_spaced)
{
    const std::pair<std::string, extents> rows[] = {
        {"{'descr':'|u1','fortran_order':False,'shape':(2,3)}", {2, 3}},
        {"{'shape': (2, 3), 'fortran_order': False, 'descr': '|u1'}", {2, 3}},
        {" { \"descr\" : \"|u1\" , \"fortran_order\" : False , \"shape\" : ( 2 , 3 , ) , } \t\n", {2, 3}},
        {"{'descr': '|u1', 'fortran_order': False, 'shape': (2L, 3L), }\n", {2, 3}},
        {described("|u1", "()"), {}},
        {described("|u1", "(1, 6)", "True"), {1, 6}}, // both orders are the same
        {described("|u1", "(0, 9223372036854775807, 9223372036854775807)"), {0, LONG_MAX, LONG_MAX}},
    };
    for (const auto &[header, expected] : rows) {
        npy::array a;
        EXPECT_EQ(read(file(header, "abcdef"), a), "") << header;
        EXPECT_EQ(a.shape, expected) << header;
    }
}

TEST(npy, what_is_wrong_is_said)
{
    const std::string good = described("|u1", "(2, 3)"), three = described("|u1", "(1,)").substr(0, 54);
    std::string axes = "(";
    for (int i = 0; i < 65; ++i)
        axes += i < 64 ? "1, " : "1)";
    std::vector<std::pair<std::string, std::string>> rows = {
        {"\x93NUMP", "no NumPy array"},
        {file(good, "abcdef", 4), "version 4"},
        {file(good, "abcdef", 0), "version 0"},
        {file(good, "abcde"), "promises (2, 3) cells of \"|u1\", and 5 bytes follow"},
        {file(described("<f8", "(9223372036854775807, 2)"), "abc"), "cut short"},
        {file(described("<f8", "(4294967296, 4294967296)"), "abc"), "cut short"},
        {file(described("|u1", "(2, 3)", "True"), "abcdef"), "Fortran order"},
        {file("{'descr': [('a', '<f4')], 'fortran_order': False, 'shape': (1,)}", "1234"), "records"},
        {file(std::string(70000, ' '), "", 2), "70000"},
    };
    for (const char *descr : {"<i8", "|b1", "|f4", "f4", ""})
        rows.emplace_back(file(described(descr, "(1,)"), "12345678"), "\"" + std::string(descr) + "\"");
    std::vector<std::string> strange = {three.substr(0, 15) + "}", described("|u1", "(1,)", "0")};
    for (const char *rest : {", 'more': 1}", ", 'descr': '|u1'}", "} x", "'more'}"})
        strange.push_back(three + rest);
    for (const char *shape : {"(-1,)", "(1)", "(99999999999999999999,)", axes.c_str()})
        strange.push_back(described("|u1", shape));
    for (size_t size = 0; size <= three.size(); ++size)
        strange.push_back(three.substr(0, size));
    for (const std::string &header : strange)
        rows.emplace_back(file(header, "1"), "can't be understood");
    for (const auto &[bytes, words] : rows) {
        npy::array a;
        a.shape = {7};
        const std::string why = read(bytes, a);
        EXPECT_NE(why.find(words), std::string::npos) << why << " / " << words;
        EXPECT_EQ(a.shape, extents{7}) << "left as it was";
    }
}

TEST(npy, a_header_is_what_numpy_writes_and_no_prefix_is_an_array)
{
    std::string expected =
        std::string("\x93NUMPY\1\0\x76\0", 10) + "{'descr': '<f4', 'fortran_order': False, 'shape': (2, 3), }";
    expected.resize(127, ' ');
    EXPECT_EQ(npy::header(element::f4, {2, 3}), expected + "\n");
    EXPECT_NE(npy::header(element::u1, {}).find("'|u1', 'fortran_order': False, 'shape': (), }"), expected.npos);
    for (size_t axes = 0; axes < 33; ++axes) {
        const std::string head = npy::header(element::f8, extents(axes, 1)), whole = head + "12345678";
        EXPECT_EQ(head.size() % 64, 0u);
        npy::array a;
        for (size_t size = 0; size < whole.size(); ++size)
            EXPECT_NE(read(whole.substr(0, size), a), "") << size;
        EXPECT_EQ(read(whole, a), "");
        EXPECT_EQ(a.shape, extents(axes, 1));
        EXPECT_EQ(a.bytes, "12345678");
    }
}

TEST(npy, shapes_and_matrices_answer_each_other)
{
    const struct {
        extents array;
        std::pair<long, extents> matrix; // planes and dimensions
        extents back;
    } rows[] = {
        {{}, {1, {1}}, {1}},
        {{5}, {1, {5}}, {5}},
        {{480, 640}, {1, {640, 480}}, {480, 640}},
        {{480, 640, 4}, {4, {640, 480}}, {480, 640, 4}},
        {{480, 640, 32}, {32, {640, 480}}, {480, 640, 32}},
        {{480, 640, 33}, {1, {33, 640, 480}}, {480, 640, 33, 1}},
        {{7, 480, 640, 3}, {3, {640, 480, 7}}, {7, 480, 640, 3}},
        {{7, 480, 640, 1}, {1, {640, 480, 7}}, {7, 480, 640, 1}},
        {{3, 4, 1}, {1, {4, 3}}, {3, 4}},
        {{1, 5, 3}, {3, {5, 1}}, {1, 5, 3}},
    };
    npy::matrix_shape m;
    std::string why;
    const auto matrix_of = [&](const extents &array) {
        EXPECT_TRUE(npy::to_matrix(array, m, why)) << why;
        return std::pair(m.planecount, m.dim);
    };
    for (const auto &row : rows) {
        EXPECT_EQ(matrix_of(row.array), row.matrix);
        EXPECT_EQ(npy::from_matrix(m), row.back);
        EXPECT_EQ(matrix_of(row.back), row.matrix);
    }
    EXPECT_EQ(npy::from_matrix({3, {5}}), (extents{1, 5, 3}));
    EXPECT_FALSE(npy::to_matrix({4, 0, 3}, m, why));
    EXPECT_NE(why.find("(4, 0, 3) has no cells"), std::string::npos);
    EXPECT_FALSE(npy::to_matrix(extents(33, 100), m, why));
    EXPECT_NE(why.find("33 axes"), std::string::npos);
    EXPECT_TRUE(npy::to_matrix(extents(33, 2), m, why)); // the last axis is the planes
    EXPECT_EQ(m.dim.size(), 32u);
}

} // namespace
