// The vkf file, byte by byte: what is written, what is read back, and what becomes of
// a file that is cut short or lies about itself.
#include "matrix/matrix_tools.h"

#include <algorithm>
#include <cstring>
#include <random>

#include <vokra/matrix_file.h>

#include "scratch.h"

namespace {

// A host file that is closed with its scope.
struct host_file {
    explicit host_file(const std::string &name, bool make = false)
    {
        EXPECT_EQ(make ? path_createsysfile(name.c_str(), 0, VOK_BIN_FORMTYPE, &handle)
                       : path_opensysfile(name.c_str(), 0, &handle, 1),
                  0);
    }
    ~host_file() { sysfile_close(handle); }
    operator zan_file_handle() const { return handle; }
    zan_file_handle handle = nullptr;
};

// The whole road of writing, as a client goes it.
void write_file(const std::string &name, vok_matrix *x)
{
    std::filesystem::remove(name); // writing over a file makes the disk wait
    const host_file file(name, true);
    long size = 0;
    ASSERT_TRUE(!vok_bin_write_header(file, 0) && !vok_bin_write_matrix(file, x) && !sysfile_getpos(file, &size) &&
                !sysfile_seteof(file, size) && !vok_bin_write_header(file, size));
}

struct read_result {
    long header, matrix, version, filesize;
};

read_result read_file(const std::string &name, vok_matrix *x)
{
    const host_file file(name);
    read_result r;
    r.header = vok_bin_read_header(file, &r.version, &r.filesize);
    r.matrix = vok_bin_read_matrix(file, x);
    return r;
}

std::string be(std::initializer_list<long> values)
{
    std::string text;
    for (const long value : values)
        for (int shift = 24; shift >= 0; shift -= 8)
            text += static_cast<char>(value >> shift);
    return text;
}

std::string header(long size)
{
    return "FORM" + be({size}) + "VOK!FVER" + be({12, 0x3C93DC80});
}

std::string chunk(const std::string &type, const vok_matrix_info &info, const std::string &cells)
{
    const long offset = 24 + 4 * info.dimcount;
    std::string text = "MTRX" + be({offset + static_cast<long>(cells.size()), offset}) + type +
                       be({info.planecount, info.dimcount});
    for (long k = 0; k < info.dimcount; k++)
        text += be({info.dim[k]});
    return text + cells;
}

// The elements of a matrix in the order of a file, each with its highest byte first.
std::string elements(const vok_matrix *m, long n, const unsigned char *at)
{
    std::string text;
    if (n == 0)
        for (long p = 0, size = vok_matrix_info_typesize(&m->info); p < m->info.planecount; p++)
            for (long k = size - 1; k >= 0; k--)
                text += static_cast<char>(at[p * size + k]);
    else
        for (long i = 0; i < m->info.dim[n - 1]; i++)
            text += elements(m, n - 1, at + i * m->info.dimstride[n - 1]);
    return text;
}

class Files : public Library {
  protected:
    scratch_folder folder_;
    std::string name_ = folder_ / "a.vkf";
    memory_file held_;
};

TEST_F(Files, every_shape_byte_by_byte_and_back)
{
    std::mt19937 dice(7);
    const std::pair<vok_matrix_info, const char *> shapes[] = {
        {shape("char", 4, {7}), "CHAR"},          {shape("long", 3, {5, 3}), "LONG"},
        {shape("float32", 3, {1, 9}), "FL32"},    {shape("float64", 3, {4, 3, 2}), "FL64"},
        {shape("long", 1, {3, 1, 2, 2}), "LONG"}, {shape("char", 5, {2, 2, 1, 3, 2}), "CHAR"},
        {shape("char", 3, {}), "CHAR"},
    };
    const std::string again = folder_ / "again.vkf";
    for (const auto &[info, code] : shapes)
        for (const long flags :
             {0L, long{vok_matrix_flag_packed}, long{vok_matrix_flag_handle | vok_matrix_flag_use}}) {
            SCOPED_TRACE(format_of(info));
            vok_matrix_info wanted = info;
            wanted.flags = flags;
            const matrix m(wanted), back("char", 1, {2, 2}, flags);
            send_words(m, "lock", 1);
            std::generate_n(m->data, m->info.size, [&] { return static_cast<unsigned char>(dice()); });
            std::string expected = chunk(code, info, info.dimcount ? elements(m, info.dimcount, m->data) : "");
            send_words(m, "lock", 0);
            if (!info.dimcount)
                expected.replace(4, 4, be({24 + 3})); // the size counts the one cell that isn't written
            const long size = 24 + static_cast<long>(expected.size());
            write_file(name_, m);
            EXPECT_EQ(bytes_of(name_), header(size) + expected);
            EXPECT_EQ(vok_bin_matrix_filesize(&info), size);
            const read_result r = read_file(name_, back);
            EXPECT_TRUE(r.header == 0 && r.matrix == 0 && r.version == 0x3C93DC80 && r.filesize == size);
            write_file(again, back);
            EXPECT_EQ(bytes_of(again), bytes_of(name_));
        }
}

TEST_F(Files, chunk_info_leaves_the_position)
{
    const host_file file(held_.hold(header(100) + "MTRX" + be({0xFFFFFFFE}) + "abc"));
    for (const long at : {24, 24, 32}) { // the last time too few bytes are left
        long id = 1, size = 1, position = 0;
        sysfile_setpos(file, 1, at);
        EXPECT_EQ(vok_bin_read_chunk_info(file, &id, &size), 0);
        EXPECT_EQ(id, at == 24 ? VOK_BIN_MTRX : 0);
        EXPECT_EQ(size, at == 24 ? 0xFFFFFFFE : 0);
        sysfile_getpos(file, &position);
        EXPECT_EQ(position, at);
    }
}

// ---- files that are cut or lie ----

TEST_F(Files, every_prefix_of_a_file)
{
    const vok_matrix_info info = shape("float32", 2, {3, 2, 2});
    std::string cells;
    for (int i = 0; i < 12; i++)
        cells += be({0x3F800000, 0x40000000});
    const std::string whole = header(156) + chunk("FL32", info, cells);
    const size_t shape_end = 24 + 24 + 12;
    for (size_t length = 0; length <= whole.size(); length++) {
        const matrix back("long", 1, {2, 2});
        message(back, "setall", "77");
        const read_result r = read_file(held_.hold(whole.substr(0, length)), back);
        EXPECT_TRUE(r.header == 0 && r.filesize == (length < 24 ? 0 : 156)) << length;
        EXPECT_EQ(r.matrix, length < shape_end ? VOK_ERR_EROR : 0) << length;
        EXPECT_EQ(format_of(back->info), length < shape_end ? "long 1 2 2" : "float32 2 3 2 2");
        // slices that are whole have been swapped; of the one that is cut, bytes stay as they came
        if (length < shape_end)
            EXPECT_EQ(cell(back, "1 1"), "77") << "the matrix is untouched";
        else if (length == shape_end + 24)
            EXPECT_EQ(std::memcmp(back->data, cells.data(), 24), 0);
        else
            for (long z = 0; z < 2; z++)
                EXPECT_EQ(cell(back, "2 1 " + std::to_string(z)) == "1 2", length >= shape_end + 48 + 48 * z);
    }
}

TEST_F(Files, marks_and_shapes_that_lie)
{
    const auto head = [](const std::string &form, const std::string &type, const std::string &fver, long size) {
        return form + be({0x80000001}) + type + fver + be({size, 0xFFFFFFFF});
    };
    const auto body = [](const std::string &id, const std::string &type, long planes, long dimcount, long dim) {
        std::string bytes = id + be({99, 28}) + type + be({planes, dimcount});
        for (int i = 0; i < 33; i++)
            bytes += be({dim});
        return bytes + std::string(64, 'x');
    };
    const std::string good = head("FORM", "VOK!", "FVER", 12), two = body("MTRX", "CHAR", 1, 1, 2);
    const struct {
        std::string bytes;
        long header, code;
        const char *shape;
    } rows[] = {
        {head("FORM", "XXXX", "FVER", 12) + two, 0, 0, "char 1 2"}, // one right mark of two is enough
        {head("XXXX", "VOK!", "FVER", 12) + two, 0, 0, "char 1 2"},
        {head("FORM", "VOK!", "XXXX", 12) + two, 0, 0, "char 1 2"},
        {head("FORM", "VOK!", "FVER", 13) + two, 0, 0, "char 1 2"},
        {head("XXXX", "XXXX", "FVER", 12) + two, VOK_ERR_EROR, 0,
         "char 1 2"}, // the position is behind it all the same
        {head("FORM", "VOK!", "XXXX", 13) + two, VOK_ERR_EROR, 0, "char 1 2"},
        {good + body("MTRY", "CHAR", 1, 1, 1), 0, VOK_ERR_EROR, "char 1 2 2"},
        {good + body("MTRX", "char", 1, 1, 1), 0, VOK_ERR_EROR, "char 1 2 2"},
        {good + body("MTRX", "CHAR", 1, -1, 1), 0, VOK_ERR_EROR, "char 1 2 2"},
        {good + body("MTRX", "CHAR", 1, 33, 1), 0, VOK_ERR_EROR, "char 1 2 2"},
        {good + body("MTRX", "CHAR", 33, 1, 1), 0, 0, "char 32 1"},
        {good + body("MTRX", "CHAR", -1, 2, -7), 0, 0, "char 1 1 1"},
        {good + body("MTRX", "FL64", 32, 3, 5000), 0, VOK_ERR_OMEM, "float64 32 5000 5000 5000"},
        {good + body("MTRX", "CHAR", 1, 1, 0x7FFFFFFF), 0, VOK_ERR_OMEM, "char 1 2147483647"},
    };
    report_catcher reports;
    for (const auto &row : rows) {
        const matrix m("char", 1, {2, 2});
        message(m, "setall", "5");
        const read_result r = read_file(held_.hold(row.bytes), m);
        EXPECT_TRUE(r.header == row.header && r.matrix == row.code) << &row - rows;
        EXPECT_TRUE(r.header || (r.version == 0xFFFFFFFF && r.filesize == 0x80000001)) << "any version; unsigned";
        EXPECT_EQ(format_of(m->info), row.shape);
        EXPECT_EQ(cell(m, "1 1") == "5", row.code == VOK_ERR_EROR) << "untouched";
        EXPECT_EQ(m->data == nullptr, row.code == VOK_ERR_OMEM);
        const vok_matrix_info small = shape("char", 1, {2, 2});
        EXPECT_EQ(send_words(m, "setinfo", as_word(&small)), 0) << "it goes on";
    }
}

TEST_F(Files, random_hostile_chunks)
{
    report_catcher reports;
    std::mt19937 dice(99);
    const auto roll = [&](long low, long high) { return std::uniform_int_distribution<long>(low, high)(dice); };
    const std::string types[] = {"CHAR", "LONG", "FL32", "FL64", "JUNK"};
    const std::string original = header(500) + chunk("FL32", shape("float32", 2, {3, 2, 2}), std::string(96, 'y'));
    const matrix m("char", 1, {1});
    for (int i = 0; i < 3000; i++) {
        std::string bytes = original; // some of its bytes are changed
        for (long k = roll(1, 4); k > 0; k--)
            bytes[size_t(roll(24, static_cast<long>(bytes.size()) - 1))] = static_cast<char>(roll(0, 255));
        if (i % 2) { // or all of it
            bytes = header(0) + "MTRX" + be({0, 0}) + types[roll(0, 4)] + be({roll(-1, 34), roll(0, 6)});
            for (long k = roll(0, 7); k > 0; k--)
                bytes += be({roll(0, 9) ? roll(1, 4) : roll(0, 1) ? roll(-9, 20000) : roll(1L << 28, 1L << 32)});
            bytes += std::string(size_t(roll(0, 300)), 'z');
        }
        const long code = read_file(held_.hold(bytes), m).matrix;
        ASSERT_TRUE(code == 0 || code == VOK_ERR_EROR || code == VOK_ERR_OMEM) << code;
        ASSERT_TRUE(code || m->info.size >= 1000000 || message(m, "setall", "1") == 0);
    }
}

TEST_F(Files, what_cant_be_stored_or_reached)
{
    const host_file file(name_, true), readonly(held_.hold(""));
    const matrix symbols("symbol", 1, {2, 2}), empty("char", 1, {2, 2}), whole("char", 1, {2, 2});
    send_words(empty, "freedata");
    EXPECT_EQ(vok_bin_matrix_filesize(&symbols->info), 0);
    EXPECT_EQ(vok_bin_write_matrix(file, symbols), VOK_ERR_EROR);
    EXPECT_EQ(vok_bin_write_matrix(file, empty), VOK_ERR_EROR);
    EXPECT_EQ(bytes_of(name_), "");
    long id = 5;
    for (const long err : {vok_bin_write_header(nullptr, 0), vok_bin_write_matrix(nullptr, whole),
                           vok_bin_write_matrix(file, nullptr), vok_bin_read_matrix(nullptr, whole),
                           vok_bin_read_matrix(file, nullptr), vok_bin_read_chunk_info(nullptr, &id, nullptr),
                           vok_bin_read_header(nullptr, &id, nullptr),
                           vok_bin_write_matrix_ndim(file, 1, nullptr, nullptr, nullptr)})
        EXPECT_EQ(err, VOK_ERR_INVP);
    EXPECT_EQ(id, 0);
    EXPECT_NE(vok_bin_write_header(readonly, 0), 0) << "the host's error comes through";
    EXPECT_NE(vok_bin_write_matrix(readonly, whole), 0);
}

TEST_F(Files, rows_by_themselves)
{
    const matrix m("long", 1, {3, 2});
    message(m, "setall", "258");
    int32_t dim[2] = {3, 99};
    {
        const host_file file(name_, true);
        EXPECT_EQ(vok_bin_write_matrix_ndim(file, 0, dim, &m->info, m->data), 0);
        EXPECT_EQ(vok_bin_write_matrix_ndim(file, 1, dim, &m->info, m->data), 0);
        EXPECT_EQ(dim[1], 1) << "one row";
        EXPECT_EQ(vok_bin_write_matrix_long(file, dim, &m->info, m->data), 0);
        EXPECT_EQ(vok_bin_write_matrix_char(file, dim, &m->info, m->data), 0) << "bytes as they lie";
    }
    EXPECT_EQ(bytes_of(name_), be({258, 258, 258, 258, 258, 258}) + std::string("\2\1\0", 3));
    send_words(m, "clear");
    EXPECT_EQ(vok_bin_read_matrix_long(host_file(name_), dim, &m->info, m->data), 0);
    EXPECT_EQ(cell(m, "2 0"), "258");
}

} // namespace
