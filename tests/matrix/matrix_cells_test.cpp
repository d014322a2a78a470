// The cell messages: their grammar where random lists don't reach it, the short forms, and
// what the operators do in place.
#include "matrix/matrix_tools.h"

#include <algorithm>
#include <cstring>

#include "scratch.h"

namespace {

constexpr long obnd = VOK_ERR_OBND;

// One message to a fresh matrix whose planes are all 9, and what a cell is then.
struct cell_row {
    vok_matrix_info (*make)();
    const char *selector;
    const char *arguments;
    long code;
    const char *where;
    const char *values;
};

constexpr auto char4 = [] { return shape("char", 4, {5, 6}); };
constexpr auto long2 = [] { return shape("long", 2, {3, 2, 2}); };
constexpr auto float2 = [] { return shape("float32", 2, {4, 4}); };
constexpr auto point = [] { return shape("char", 2, {}); };
constexpr auto handled = [] { return shape("char", 2, {3, 3}, vok_matrix_flag_handle | vok_matrix_flag_use); };

class Cells : public LibraryTable<cell_row> {
  protected:
    Cells()
    {
        for (const auto &[name, x] : {std::pair{"op_test_char", &chars_}, {"op_test_long", &longs_}}) {
            message(*x, "setall", "40");
            vok_object_register(*x, gensym(name));
        }
    }

  private:
    const matrix chars_{"char", 4, {5, 6}}, longs_{"long", 4, {5, 6}};
};

TEST_P(Cells, message_gives_code_and_cell)
{
    const cell_row &row = GetParam();
    const matrix m(row.make());
    ASSERT_EQ(message(m, "setall", "9"), 0);
    EXPECT_EQ(message(m, row.selector, row.arguments), row.code) << row.selector << " " << row.arguments;
    EXPECT_EQ(cell(m, row.where), row.values) << row.selector << " " << row.arguments;
}

INSTANTIATE_TEST_SUITE_P(
    Every, Cells,
    testing::Values(
        cell_row{char4, "setcell", "3 4 val 1 2", 0, "3 4", "1 2 0 0"},
        cell_row{char4, "setcell", "3.9 4.2 val 7", 0, "3 4", "7 0 0 0"},
        cell_row{char4, "setcell", "quux 1 val 7", 0, "0 1", "7 0 0 0"},
        cell_row{char4, "setcell", "5 0 val 7", obnd, "4 0", "9 9 9 9"},
        cell_row{char4, "setcell", "9223372036854775807 0 val 7", obnd, "0 0", "9 9 9 9"},
        cell_row{char4, "setcell", "", 0, "0 0", "9 9 9 9"},
        cell_row{char4, "setcell", "1 1 val 300 -3 1.0 0.5", 0, "1 1", "255 0 255 127"},
        cell_row{char4, "setcell", "0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 val 1", 0,
                 "0 0", "1 0 0 0"},
        cell_row{char4, "setcell", "0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 val 1", obnd,
                 "0 0", "9 9 9 9"},
        cell_row{long2, "setcell", "2 1 1 val -7 5000000000", 0, "2 1 1", "-7 705032704"},
        cell_row{point, "setcell", "val 1 2", 0, "0", "1 2"},
        cell_row{char4, "setcell", "3 4 plane 1 val 5 6 7", 0, "3 4", "9 5 9 9"},
        cell_row{char4, "setcell", "3 4 plane 1 7", obnd, "3 4", "9 9 9 9"},
        cell_row{char4, "setcell", "3 4 plane val 5", obnd, "3 4", "9 9 9 9"},
        // not tested for: the plane before the first is the last of the cell before
        cell_row{char4, "setcell", "3 4 plane -1 val 5", 0, "2 4", "9 9 9 5"},
        cell_row{char4, "setcell", "0 0 plane -1 val 5", 0, "0 0", "9 9 9 9"},
        cell_row{char4, "setcell", "0 1 plane -9223372036854775807 val 5", 0, "0 1", "9 9 9 9"},
        cell_row{char4, "fillplane", "-3 7", 0, "4 5", "7 9 9 9"},
        cell_row{char4, "fillplane", "1", 0, "4 5", "9 0 9 9"},
        cell_row{char4, "fillplane", "4 7", 0, "1 0", "7 9 9 9"},
        cell_row{char4, "fillplane", "99999999 7", 0, "4 5", "7 9 9 9"},
        cell_row{char4, "setall", "1 2", 0, "4 5", "1 2 0 0"}, cell_row{char4, "setall", "1", 0, "4 5", "1 1 1 1"},
        cell_row{char4, "clear", "", 0, "4 5", "0 0 0 0"},
        cell_row{char4, "setcell1d", "3 1 2", 0, "3 0", "1 2 0 0"},
        cell_row{char4, "setcell2d", "3 4 1 2", 0, "3 4", "1 2 0 0"},
        cell_row{long2, "setcell3d", "2 1 1 5 6", 0, "2 1 1", "5 6"},
        cell_row{char4, "setplane1d", "3 1 5", 0, "3 0", "9 5 9 9"},
        cell_row{char4, "setplane2d", "3 4 1 5", 0, "3 4", "9 5 9 9"},
        cell_row{long2, "setplane3d", "2 1 1 1 5", 0, "2 1 1", "9 5"},
        cell_row{char4, "setcell2d", "3", 0, "3 0", "9 9 9 9"},
        cell_row{char4, "setcell2d", "3 4", 0, "3 4", "0 0 0 0"},
        cell_row{char4, "setplane2d", "3 4 1", 0, "3 4", "9 9 9 9"},
        cell_row{char4, "setcell2d", "5 0 1", 0, "4 0", "9 9 9 9"},
        cell_row{char4, "setplane2d", "0 0 7 1", 0, "0 0", "9 9 9 9"},
        cell_row{char4, "op", "+ 1 2 3 4", 0, "4 5", "10 11 12 13"},
        cell_row{char4, "op", "+ 1 2", 0, "4 5", "10 11 9 9"}, cell_row{char4, "op", "+", 0, "4 5", "18 18 18 18"},
        cell_row{char4, "op", "quux 1", 0, "4 5", "9 9 9 9"},
        cell_row{char4, "op", "- op_test_long 1", VOK_ERR_MSTP, "4 5", "9 9 9 9"},
        cell_row{char4, "op", "pass op_test_char", 0, "1 1", "40 40 40 40"},
        cell_row{char4, "op", "!- op_test_char", 0, "1 1", "31 31 31 31"},
        cell_row{char4, "op", "- op_test_char 1", 0, "1 1", "39 39 39 39"},
        cell_row{char4, "op", "- op_test_char op_test_char", 0, "1 1", "0 0 0 0"},
        cell_row{char4, "op", "+ op_test_missing", 0, "1 1", "18 18 18 18"},
        cell_row{char4, "op", "+ op_test_missing 3", 0, "1 1", "12 12 12 12"},
        cell_row{float2, "op", "sqrt", 0, "3 3", "3 3"}, cell_row{float2, "op", "sqrt 16", 0, "3 3", "4 4"},
        cell_row{handled, "op", "+ 1", 0, "2 2", "10 10"},
        cell_row{char4, "exprfill", "2", VOK_ERR_EROR, "0 0", "9 9 9 9"}));

TEST_F(Library, op_reports_an_unknown_word_and_refuses_what_is_no_matrix)
{
    const matrix m("char", 1, {2, 2});
    report_catcher reports;
    EXPECT_EQ(message(m, "op", "quux 1"), 0);
    EXPECT_NE(reports.one_error().find("vok_op: no operator quux"), std::string::npos);
    void *list = vok_linklist_new();
    atom arguments[3];
    atom_setsym(&arguments[0], gensym("+"));
    atom_setobj(&arguments[1], list);
    atom_setlong(&arguments[2], 1);
    const long objects = zan_object_count(nullptr);
    EXPECT_EQ(vok_matrix_op(m, nullptr, 2, arguments), VOK_ERR_EROR);
    EXPECT_EQ(vok_matrix_op(m, nullptr, 3, arguments), VOK_ERR_EROR);
    EXPECT_EQ(zan_object_count(nullptr), objects) << "nothing is left behind";
    vok_linklist_chuck(list);
}

// ---- getcell ----

TEST_F(Library, getcell_answers_coordinates_val_and_planes)
{
    const matrix m("char", 3, {4, 3});
    message(m, "setcell", "2 1 val 10 20 200");
    std::vector<atom> where = atoms("2 1 99");
    long rac = 7;
    atom *rav = nullptr;
    ASSERT_EQ(vok_matrix_getcell(m, nullptr, 3, where.data(), &rac, &rav), 0);
    char text[100];
    atoms_totext(rac, rav, text, sizeof text);
    EXPECT_EQ(rac, 6);
    EXPECT_STREQ(text, "2 1 val 10 20 200");
    sysmem_freeptr(rav);
    EXPECT_EQ(vok_matrix_getcell(m, nullptr, 0, nullptr, &rac, &rav), 0);
    EXPECT_EQ(rac, 0);
    EXPECT_EQ(rav, nullptr);
    for (const char *outside : {"4 0", "0 3", "-1"}) {
        where = atoms(outside);
        EXPECT_EQ(vok_matrix_getcell(m, nullptr, static_cast<long>(where.size()), where.data(), &rac, &rav), obnd);
        EXPECT_EQ(rav, nullptr);
    }
}

TEST_F(Library, getcell_typed_answers_an_atomarray_of_the_values)
{
    const matrix m("float32", 2, {4, 3});
    message(m, "setcell", "2 1 val 0.5 2");
    std::vector<atom> where = atoms("2 1");
    atom rv = {};
    ASSERT_EQ(vok_object_method_typed(m, gensym("getcell"), 2, where.data(), &rv), 0);
    void *values = atom_getobj(&rv);
    ASSERT_NE(values, nullptr);
    long ac = 0;
    atom *av = nullptr;
    atomarray_getatoms(values, &ac, &av);
    ASSERT_EQ(ac, 2);
    EXPECT_EQ(atom_getfloat(av), 0.5);
    EXPECT_EQ(atom_getfloat(av + 1), 2.0);
    object_free(values);
    EXPECT_EQ(vok_matrix_getcell_typed(m, nullptr, 2, where.data(), nullptr), 0);
    where = atoms("9");
    EXPECT_EQ(vok_matrix_getcell_typed(m, nullptr, 1, where.data(), &rv), VOK_ERR_EROR);
    EXPECT_EQ(vok_matrix_getcell_typed(m, nullptr, 0, nullptr, &rv), VOK_ERR_EROR);
}

TEST_F(Library, symbols_and_objects_are_held_in_cells)
{
    const matrix symbols("symbol", 2, {2, 2}), objects("object", 1, {2, 2}), pointers("pointer", 1, {2, 2});
    EXPECT_EQ(cell(symbols, "1 1"), "'' ''") << "nothing was written yet";
    EXPECT_EQ(message(symbols, "setcell", "1 1 val hello 5"), 0);
    EXPECT_EQ(cell(symbols, "1 1"), "'hello' ''");
    EXPECT_EQ(message(symbols, "setcell", "1 1 plane 1 val there"), 0);
    EXPECT_EQ(cell(symbols, "1 1"), "'hello' 'there'");
    EXPECT_EQ(message(symbols, "setall", "x"), 0);
    EXPECT_EQ(message(symbols, "fillplane", "0 x"), 0);
    EXPECT_EQ(cell(symbols, "1 1"), "'hello' 'there'") << "fills are for numbers";
    std::vector<atom> list = atoms("1 0 val");
    list.emplace_back();
    atom_setobj(&list.back(), symbols);
    EXPECT_EQ(vok_matrix_setcell(objects, nullptr, 4, list.data()), 0);
    long rac;
    atom *rav;
    ASSERT_EQ(vok_matrix_getcell(objects, nullptr, 2, list.data(), &rac, &rav), 0);
    EXPECT_EQ(atom_getobj(rav + 3), static_cast<vok_matrix *>(symbols));
    sysmem_freeptr(rav);
    EXPECT_EQ(message(pointers, "setcell", "1 1 val 5"), 0);
    EXPECT_TRUE(std::all_of(pointers->data, pointers->data + 32, [](unsigned char byte) { return !byte; }));
}

// ---- whole matrices ----

TEST_F(Library, clear_takes_the_padding_too)
{
    const matrix m("char", 1, {3, 2});
    std::memset(m->data, 0xEE, 32);
    send_words(m, "clear");
    EXPECT_TRUE(std::all_of(m->data, m->data + 32, [](unsigned char byte) { return byte == 0; }));
}

TEST_F(Library, clear_custom_repeats_four_bytes_highest_first)
{
    for (const long width : {1L, 2L, 3L, 4L, 5L, 22L}) {
        const matrix m("char", 1, {width}, vok_matrix_flag_packed);
        m->data[m->info.size] = 0x77;
        EXPECT_EQ(send_words(m, "clear_custom", 0x1122334455667788), 0);
        const unsigned char pattern[] = {0x55, 0x66, 0x77, 0x88};
        for (long i = 0; i < width; i++)
            EXPECT_EQ(m->data[i], i < width / 4 * 4 ? pattern[i % 4] : 0x55) << width << " " << i;
        EXPECT_EQ(m->data[m->info.size], 0x77);
    }
}

TEST_F(Library, a_negative_plane_stays_in_the_block)
{
    unsigned char guarded[48];
    std::memset(guarded, 0xEE, sizeof guarded);
    vok_matrix_info info = shape("float32", 1, {2, 2}, vok_matrix_flag_reference | vok_matrix_flag_use);
    info.size = 16;
    info.dimstride[0] = 4;
    info.dimstride[1] = 8;
    const matrix m(info);
    send_words(m, "data", as_word(guarded + 16));
    send_words(m, "clear");
    for (const char *plane : {"-1", "-2", "-3", "-4", "-5", "-4611686018427387904", "-9223372036854775808"}) {
        for (const char *where : {"0 0", "1 0", "0 1", "1 1"})
            EXPECT_EQ(message(m, "setcell", std::string(where) + " plane " + plane + " val 5"), 0);
    }
    EXPECT_EQ(cell(m, "0 0"), "5") << "reached from the cells behind it";
    EXPECT_EQ(cell(m, "1 1"), "0");
    for (int i = 0; i < 16; i++) {
        EXPECT_EQ(guarded[i], 0xEE);
        EXPECT_EQ(guarded[32 + i], 0xEE);
    }
}

TEST_F(Library, the_fills_by_themselves)
{
    const matrix m("long", 2, {3, 2, 2});
    const int32_t values[] = {1, 2, 3};
    vok_matrix_setall_ndim(3, m->info.dim, 2, values, &m->info, m->data);
    EXPECT_EQ(cell(m, "2 1 1"), "1 2");
    vok_matrix_setall_ndim(3, m->info.dim, 3, values, &m->info, m->data);
    EXPECT_EQ(cell(m, "2 1 1"), "3 2") << "values beyond the planes go round";
    vok_matrix_setall_ndim(3, m->info.dim, 1, values + 1, &m->info, m->data);
    EXPECT_EQ(cell(m, "2 1 1"), "2 2") << "planes without a value stay";
    vok_matrix_fillplane_ndim(2, m->info.dim, 0, values, &m->info, m->data);
    EXPECT_EQ(cell(m, "2 1 0"), "1 2");
    EXPECT_EQ(cell(m, "2 1 1"), "2 2");
    const long one_row[] = {2, 99};
    vok_matrix_fillplane_ndim(1, one_row, 1, values + 2, &m->info, m->data);
    EXPECT_EQ(cell(m, "1 0"), "1 3");
    EXPECT_EQ(cell(m, "2 0"), "1 2");
    EXPECT_EQ(cell(m, "1 1"), "1 2");
}

TEST_F(Library, low_messages_wait_for_the_main_queue)
{
    const matrix m("char", 1, {2, 2});
    struct call {
        vok_matrix *x;
        std::vector<atom> list = atoms("7");
    } c{m};
    zan_in_scheduler(
        [](void *p) {
            auto *self = static_cast<call *>(p);
            vok_object_method_typed(self->x, _vok_sym_setall, 1, self->list.data(), nullptr);
        },
        &c);
    EXPECT_EQ(cell(m, "1 1"), "0");
    zan_service();
    EXPECT_EQ(cell(m, "1 1"), "7");
}

} // namespace
