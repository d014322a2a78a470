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
class host_file {
  public:
    explicit host_file(const std::string &name, bool make = false)
    {
        EXPECT_EQ(make ? path_createsysfile(name.c_str(), 0, VOK_BIN_FORMTYPE, &handle_)
                       : path_opensysfile(name.c_str(), 0, &handle_, 1),
                  0);
    }
    ~host_file()
    {
        if (handle_)
            sysfile_close(handle_);
    }
    host_file(const host_file &) = delete;
    host_file &operator=(const host_file &) = delete;
    operator zan_file_handle() const { return handle_; }

  private:
    zan_file_handle handle_ = nullptr;
};

// The whole road of writing, as a client goes it.
void write_file(const std::string &name, vok_matrix *x)
{
    std::filesystem::remove(name);
    const host_file file(name, true);
    ASSERT_EQ(vok_bin_write_header(file, 0), 0);
    ASSERT_EQ(vok_bin_write_matrix(file, x), 0);
    long size = 0;
    ASSERT_EQ(sysfile_getpos(file, &size), 0);
    ASSERT_EQ(sysfile_seteof(file, size), 0);
    ASSERT_EQ(vok_bin_write_header(file, size), 0);
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

std::string be(long value)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += static_cast<char>(value >> shift);
    return text;
}

std::string header(long size)
{
    return "FORM" + be(size) + "VOK!FVER" + be(12) + be(0x3C93DC80);
}

std::string chunk(const std::string &type, long planes, const std::vector<long> &dims, const std::string &cells)
{
    const long offset = 24 + 4 * static_cast<long>(dims.size());
    std::string text = "MTRX" + be(offset + static_cast<long>(cells.size())) + be(offset) + type + be(planes) +
                       be(static_cast<long>(dims.size()));
    for (const long dim : dims)
        text += be(dim);
    return text + cells;
}

class Files : public Library {
  protected:
    // A new file each time: writing over one makes the disk wait.
    void make(const std::string &bytes)
    {
        std::filesystem::remove(name_);
        folder_.make("a.vkf", bytes);
    }

    scratch_folder folder_;
    std::string name_ = folder_ / "a.vkf";
};

TEST_F(Files, a_char_matrix_byte_by_byte)
{
    const matrix m("char", 4, {2, 2});
    for (const char *cell : {"0 0 val 1 2 3 4", "1 0 val 5 6 7 8", "0 1 val 9 10 11 12", "1 1 val 13 14 15 255"})
        message(m, "setcell", cell);
    write_file(name_, m);
    const std::string cells = "\1\2\3\4\5\6\7\10\11\12\13\14\15\16\17\377";
    EXPECT_EQ(bytes_of(name_), header(72) + chunk("CHAR", 4, {2, 2}, cells));
    EXPECT_EQ(vok_bin_matrix_filesize(&m->info), 72);
}

TEST_F(Files, numbers_are_big_endian)
{
    const struct {
        const char *type, *code, *values;
        std::string cells;
    } rows[] = {
        {"long", "LONG", "1 -2", be(1) + be(-2)},
        {"float32", "FL32", "1.0 -2.0", be(0x3F800000) + be(0xC0000000)},
        {"float64", "FL64", "1.0 -2.0", be(0x3FF00000) + be(0) + be(0xC0000000) + be(0)},
    };
    for (const auto &row : rows) {
        const matrix m(row.type, 2, {1});
        message(m, "setall", row.values);
        write_file(name_, m);
        const std::string expected = chunk(row.code, 2, {1}, row.cells);
        EXPECT_EQ(bytes_of(name_), header(24 + static_cast<long>(expected.size())) + expected);
    }
}

TEST_F(Files, no_dimension_writes_no_cells)
{
    const matrix m("char", 3, {});
    write_file(name_, m);
    std::string expected = header(48) + chunk("CHAR", 3, {}, "");
    expected.replace(28, 4, be(24 + 3)); // the size counts the one cell that isn't written
    EXPECT_EQ(bytes_of(name_), expected);
    const matrix back("long", 1, {5});
    EXPECT_EQ(read_file(name_, back).matrix, 0);
    EXPECT_EQ(back->info.dimcount, 0);
    EXPECT_EQ(back->info.planecount, 3);
}

TEST_F(Files, every_shape_comes_back)
{
    std::mt19937 dice(7);
    const std::vector<long> all_dims[] = {{1}, {7}, {5, 3}, {1, 9}, {4, 3, 2}, {3, 1, 2, 2}, {2, 2, 1, 3, 2}};
    for (const char *type : {"char", "long", "float32", "float64"})
        for (const std::vector<long> &dims : all_dims)
            for (const long flags :
                 {0L, long{vok_matrix_flag_packed}, long{vok_matrix_flag_handle | vok_matrix_flag_use}}) {
                vok_matrix_info info = shape(type, 3, {}, flags);
                info.dimcount = static_cast<long>(dims.size());
                std::copy(dims.begin(), dims.end(), info.dim);
                const matrix m(info), back("char", 1, {2, 2}, flags);
                const long save = send_words(m, "lock", 1);
                std::generate_n(m->data, m->info.size, [&] { return static_cast<unsigned char>(dice()); });
                send_words(m, "lock", save);
                write_file(name_, m);
                const std::string first = bytes_of(name_);
                const read_result r = read_file(name_, back);
                EXPECT_TRUE(r.header == 0 && r.matrix == 0 && r.version == 0x3C93DC80);
                EXPECT_EQ(r.filesize, static_cast<long>(first.size()));
                EXPECT_EQ(r.filesize, vok_bin_matrix_filesize(&m->info));
                write_file(folder_ / "again.vkf", back);
                EXPECT_EQ(bytes_of(folder_ / "again.vkf"), first) << type << " " << dims.size() << " " << flags;
            }
}

TEST_F(Files, the_marks_of_the_header)
{
    const std::string cells = chunk("CHAR", 1, {2, 1}, "ab");
    const struct {
        const char *form, *type, *fver;
        long fsize, code;
    } rows[] = {
        {"FORM", "XXXX", "FVER", 12, 0},
        {"XXXX", "VOK!", "FVER", 12, 0},
        {"XXXX", "XXXX", "FVER", 12, VOK_ERR_EROR},
        {"FORM", "VOK!", "XXXX", 12, 0},
        {"FORM", "VOK!", "FVER", 13, 0},
        {"FORM", "VOK!", "XXXX", 13, VOK_ERR_EROR},
    };
    for (const auto &row : rows) {
        make(row.form + be(0x80000001) + row.type + row.fver + be(row.fsize) + be(0xFFFFFFFF) + cells);
        const matrix m("char", 1, {1});
        const read_result r = read_file(name_, m);
        EXPECT_EQ(r.header, row.code) << row.form << row.type << row.fver << row.fsize;
        if (!row.code) {
            EXPECT_EQ(r.version, 0xFFFFFFFF) << "any version is read";
            EXPECT_EQ(r.filesize, 0x80000001) << "unsigned";
        }
        EXPECT_EQ(r.matrix, 0) << "the position is behind the header all the same";
        EXPECT_EQ(cell(m, "1 0"), "98");
    }
}

TEST_F(Files, chunk_info_leaves_the_position)
{
    make(header(100) + "MTRX" + be(0xFFFFFFFE) + "abc");
    const host_file file(name_);
    long id = 1, size = 1, at = 0;
    vok_bin_read_header(file, nullptr, nullptr);
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(vok_bin_read_chunk_info(file, &id, &size), 0);
        EXPECT_EQ(id, VOK_BIN_MTRX);
        EXPECT_EQ(size, 0xFFFFFFFE);
    }
    sysfile_setpos(file, 1, 32);
    EXPECT_EQ(vok_bin_read_chunk_info(file, &id, &size), 0);
    EXPECT_EQ(id, 0);
    EXPECT_EQ(size, 0);
    sysfile_getpos(file, &at);
    EXPECT_EQ(at, 32);
}

// ---- files that are cut or lie ----

TEST_F(Files, every_prefix_of_a_file)
{
    const matrix m("float32", 2, {3, 2, 2});
    message(m, "setall", "1.0 2.0");
    write_file(name_, m);
    const std::string whole = bytes_of(name_);
    ASSERT_EQ(whole.size(), 24u + 24 + 12 + 96);
    for (size_t length = 0; length <= whole.size(); length++) {
        make(whole.substr(0, length));
        const matrix back("long", 1, {2, 2});
        message(back, "setall", "77");
        const read_result r = read_file(name_, back);
        EXPECT_EQ(r.header, 0);
        EXPECT_EQ(r.filesize, length < 24 ? 0 : static_cast<long>(whole.size()));
        const size_t shape_end = 24 + 24 + 12;
        if (length < shape_end) {
            EXPECT_EQ(r.matrix, VOK_ERR_EROR) << length;
            EXPECT_EQ(cell(back, "1 1"), "77") << "the matrix is untouched";
            continue;
        }
        EXPECT_EQ(r.matrix, 0) << length;
        EXPECT_EQ(back->info.dim[2], 2);
        EXPECT_EQ(length < whole.size(), static_cast<long>(length) < vok_bin_matrix_filesize(&back->info));
        // slices that are whole have been swapped; of the one that is cut, bytes stay as they came
        EXPECT_EQ(cell(back, "2 1 0") == "1 2", length >= shape_end + 48) << length;
        EXPECT_EQ(cell(back, "2 1 1") == "1 2", length >= shape_end + 96) << length;
        if (length == shape_end + 24) {
            EXPECT_EQ(std::memcmp(back->data, whole.data() + shape_end, 24), 0);
        }
        EXPECT_EQ(message(back, "setall", "3"), 0);
    }
}

TEST_F(Files, shapes_that_no_matrix_has)
{
    const auto with = [](const std::string &id, const std::string &type, long planes, long dimcount, long first) {
        std::string text = header(0) + id + be(99) + be(28) + type + be(planes) + be(dimcount);
        for (int i = 0; i < 33; i++)
            text += be(first);
        return text + std::string(64, 'x');
    };
    const struct {
        std::string bytes;
        long code;
        const char *shape; // planecount and dims; null: the matrix as it was
    } rows[] = {
        {with("MTRY", "CHAR", 1, 1, 1), VOK_ERR_EROR, nullptr},
        {with("MTRX", "char", 1, 1, 1), VOK_ERR_EROR, nullptr},
        {with("MTRX", "CHAR", 1, -1, 1), VOK_ERR_EROR, nullptr},
        {with("MTRX", "CHAR", 1, 33, 1), VOK_ERR_EROR, nullptr},
        {with("MTRX", "CHAR", 1, 0x7FFFFFFF, 1), VOK_ERR_EROR, nullptr},
        {with("MTRX", "CHAR", 1, 0x80000000, 1), VOK_ERR_EROR, nullptr},
        {with("MTRX", "CHAR", 0, 1, 1), 0, "1 1"},
        {with("MTRX", "CHAR", 33, 1, 1), 0, "32 1"},
        {with("MTRX", "CHAR", -1, 2, 1), 0, "1 1 1"},
        {with("MTRX", "CHAR", 1, 1, 0), 0, "1 1"},
        {with("MTRX", "CHAR", 1, 2, -7), 0, "1 1 1"},
        {with("MTRX", "FL64", 32, 3, 5000), VOK_ERR_OMEM, "32 5000 5000 5000"},
        {with("MTRX", "CHAR", 1, 2, 0x10000), VOK_ERR_OMEM, "1 65536 65536"},
        {with("MTRX", "CHAR", 1, 1, 0x7FFFFFFF), VOK_ERR_OMEM, "1 2147483647"},
    };
    report_catcher reports;
    for (const auto &row : rows) {
        make(row.bytes);
        const matrix m("char", 1, {2, 2});
        message(m, "setall", "5");
        unsigned char *data = m->data;
        EXPECT_EQ(read_file(name_, m).matrix, row.code) << &row - rows;
        if (row.shape) {
            std::string shape = std::to_string(m->info.planecount);
            for (long i = 0; i < m->info.dimcount; i++)
                shape += " " + std::to_string(m->info.dim[i]);
            EXPECT_EQ(shape, row.shape);
            EXPECT_EQ(m->data == nullptr, row.code == VOK_ERR_OMEM);
        } else {
            EXPECT_EQ(m->data, data);
            EXPECT_EQ(cell(m, "1 1"), "5");
        }
        vok_matrix_info small = shape("char", 1, {2, 2});
        EXPECT_EQ(send_words(m, "setinfo", as_word(&small)), 0) << "it goes on";
        EXPECT_EQ(message(m, "setall", "3"), 0);
    }
}

TEST_F(Files, random_hostile_chunks)
{
    report_catcher reports;
    std::mt19937 dice(99);
    const auto roll = [&](long low, long high) { return std::uniform_int_distribution<long>(low, high)(dice); };
    const std::string types[] = {"CHAR", "LONG", "FL32", "FL64", "JUNK"};
    const std::string original = header(500) + chunk("FL32", 2, {3, 2, 2}, std::string(96, 'y'));
    const matrix m("char", 1, {1});
    for (int i = 0; i < 3000; i++) {
        std::string bytes = original;
        if (i % 2) { // some bytes of a good file changed
            for (long k = roll(1, 4); k > 0; k--)
                bytes[static_cast<size_t>(roll(24, static_cast<long>(bytes.size()) - 1))] =
                    static_cast<char>(roll(0, 255));
        } else {
            bytes = header(0) + "MTRX" + be(0) + be(0) + types[roll(0, 4)] + be(roll(-1, 34)) + be(roll(0, 6));
            for (long k = roll(0, 7); k > 0; k--)
                bytes += be(roll(0, 9)   ? roll(1, 4)
                            : roll(0, 1) ? roll(-9, 20000)
                                         : roll(0x10000000, 0x7FFFFFFF) * 2 + 1);
            bytes += std::string(static_cast<size_t>(roll(0, 300)), 'z');
        }
        make(bytes);
        const long code = read_file(name_, m).matrix;
        ASSERT_TRUE(code == 0 || code == VOK_ERR_EROR || code == VOK_ERR_OMEM) << code;
        if (code == 0 && m->info.size < 1000000) {
            ASSERT_EQ(message(m, "setall", "1"), 0);
        }
    }
}

TEST_F(Files, what_cant_be_stored_or_reached)
{
    const host_file file(name_, true);
    const matrix symbols("symbol", 1, {2, 2}), m("char", 1, {2, 2});
    EXPECT_EQ(vok_bin_write_matrix(file, symbols), VOK_ERR_EROR);
    EXPECT_EQ(vok_bin_matrix_filesize(&symbols->info), 0);
    send_words(m, "freedata");
    EXPECT_EQ(vok_bin_write_matrix(file, m), VOK_ERR_EROR);
    EXPECT_EQ(bytes_of(name_), "");
    EXPECT_EQ(vok_bin_write_header(nullptr, 0), VOK_ERR_INVP);
    EXPECT_EQ(vok_bin_write_matrix(nullptr, m), VOK_ERR_INVP);
    EXPECT_EQ(vok_bin_write_matrix(file, nullptr), VOK_ERR_INVP);
    EXPECT_EQ(vok_bin_read_matrix(nullptr, m), VOK_ERR_INVP);
    EXPECT_EQ(vok_bin_read_matrix(file, nullptr), VOK_ERR_INVP);
    long id = 5;
    EXPECT_EQ(vok_bin_read_chunk_info(nullptr, &id, nullptr), VOK_ERR_INVP);
    EXPECT_EQ(id, 0);
    folder_.make("b.vkf", "");
    const host_file readonly(folder_ / "b.vkf");
    EXPECT_NE(vok_bin_write_header(readonly, 0), 0) << "the host's error comes through";
    const matrix whole("char", 1, {2, 2});
    EXPECT_NE(vok_bin_write_matrix(readonly, whole), 0);
}

TEST_F(Files, rows_and_slices_by_themselves)
{
    const matrix m("long", 1, {3, 2});
    message(m, "setall", "258");
    int32_t dim[3] = {3, 99, 5};
    {
        const host_file file(name_, true);
        EXPECT_EQ(vok_bin_write_matrix_ndim(file, 0, dim, &m->info, m->data), 0);
        EXPECT_EQ(vok_bin_write_matrix_ndim(file, 1, dim, &m->info, m->data), 0);
        EXPECT_EQ(dim[1], 1) << "one row";
        dim[2] = 0;
        EXPECT_EQ(vok_bin_write_matrix_ndim(file, 3, dim, &m->info, m->data), 0);
        dim[1] = 2;
        EXPECT_EQ(vok_bin_write_matrix_long(file, dim, &m->info, m->data), 0);
        EXPECT_EQ(vok_bin_write_matrix_char(file, dim, &m->info, m->data), 0) << "bytes as they lie";
    }
    const std::string bytes = bytes_of(name_);
    std::string nine;
    while (nine.size() < 36)
        nine += be(258);
    EXPECT_EQ(bytes, nine + std::string("\2\1\0\2\1\0", 6));
    send_words(m, "clear");
    const host_file file(name_);
    EXPECT_EQ(vok_bin_read_matrix_long(file, dim, &m->info, m->data), 0);
    EXPECT_EQ(cell(m, "2 1"), "258");
}

} // namespace
