// The cell messages where random lists don't reach: the edges of their grammar, what
// operators do in place, cells that aren't numbers, and the fills by themselves.
#include "matrix/matrix_tools.h"

#include <algorithm>
#include <cstring>

#include "scratch.h"

namespace {

// One message to a fresh matrix whose planes are all 9, and what a cell is then.
TEST_F(Library, a_message_gives_code_and_cell)
{
    constexpr long obnd = VOK_ERR_OBND;
    const matrix chars("char", 4, {5, 6}), longs("long", 4, {5, 6});
    for (const auto &[name, x] : {std::pair{"op_test_char", &chars}, {"op_test_long", &longs}}) {
        message(*x, "setall", "40");
        vok_object_register(*x, gensym(name));
    }
    const vok_matrix_info char4 = shape("char", 4, {5, 6}), float2 = shape("float32", 2, {4, 4});
    const vok_matrix_info handled = shape("char", 2, {3, 3}, vok_matrix_flag_handle | vok_matrix_flag_use);
    const std::string coords32 = "0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 ";
    const struct {
        const vok_matrix_info &info;
        const char *selector;
        std::string arguments;
        long code;
        const char *where, *values;
    } rows[] = {
        {char4, "setcell", "3.9 4.2 val 300 -3 1.0 0.5", 0, "3 4", "255 0 255 127"},
        {char4, "setcell", coords32 + "val 1", 0, "0 0", "1 0 0 0"},
        {char4, "setcell", coords32 + "0 val 1", obnd, "0 0", "9 9 9 9"},
        {char4, "setcell", "3 4 plane 1 7", obnd, "3 4", "9 9 9 9"},
        // not tested for: the plane before the first is the last of the cell before
        {char4, "setcell", "3 4 plane -1 val 5", 0, "2 4", "9 9 9 5"},
        {char4, "op", "+ 1 2 3 4", 0, "4 5", "10 11 12 13"},
        {char4, "op", "+ 1 2", 0, "4 5", "10 11 9 9"},
        {char4, "op", "+", 0, "4 5", "18 18 18 18"},
        {char4, "op", "quux 1", 0, "4 5", "9 9 9 9"},
        {char4, "op", "- op_test_long 1", VOK_ERR_MSTP, "4 5", "9 9 9 9"},
        {char4, "op", "pass op_test_char", 0, "1 1", "40 40 40 40"},
        {char4, "op", "!- op_test_char", 0, "1 1", "31 31 31 31"},
        {char4, "op", "- op_test_char 1", 0, "1 1", "39 39 39 39"},
        {char4, "op", "- op_test_char op_test_char", 0, "1 1", "0 0 0 0"},
        {char4, "op", "+ op_test_missing", 0, "1 1", "18 18 18 18"},
        {char4, "op", "+ op_test_missing 3", 0, "1 1", "12 12 12 12"},
        {float2, "op", "sqrt", 0, "3 3", "3 3"},
        {float2, "op", "sqrt 16", 0, "3 3", "4 4"},
        {handled, "op", "+ 1", 0, "2 2", "10 10"},
        {char4, "exprfill", "2", VOK_ERR_EROR, "0 0", "9 9 9 9"},
    };
    report_catcher reports;
    for (const auto &row : rows) {
        const matrix m(row.info);
        ASSERT_EQ(message(m, "setall", "9"), 0);
        EXPECT_EQ(message(m, row.selector, row.arguments), row.code) << row.selector << " " << row.arguments;
        EXPECT_EQ(cell(m, row.where), row.values) << row.selector << " " << row.arguments;
    }
    EXPECT_NE(reports.take(zan_report_error).at(0).find("vok_op: no operator quux"), std::string::npos);
    std::vector<atom> refused = atoms("+ + 1");
    void *list = vok_linklist_new(); // an object, but no matrix
    atom_setobj(&refused[1], list);
    const long objects = zan_object_count(nullptr);
    for (const long argc : {2, 3})
        EXPECT_EQ(vok_matrix_op(chars, nullptr, argc, refused.data()), VOK_ERR_EROR);
    EXPECT_EQ(zan_object_count(nullptr), objects) << "nothing is left behind";
    vok_linklist_chuck(list);
}

TEST_F(Library, cells_hold_symbols_and_objects_and_answer_as_arrays)
{
    const matrix symbols("symbol", 2, {2, 2}), objects("object", 1, {2, 2}), pointers("pointer", 1, {2, 2});
    EXPECT_EQ(cell(symbols, "1 1"), "'' ''") << "nothing was written yet";
    for (const char *values : {"1 1 val hello 5", "1 1 plane 1 val there"})
        EXPECT_EQ(message(symbols, "setcell", values), 0);
    for (const char *fill : {"setall", "fillplane"})
        EXPECT_EQ(message(symbols, fill, "0 x"), 0);
    EXPECT_EQ(cell(symbols, "1 1"), "'hello' 'there'") << "fills are for numbers";
    EXPECT_EQ(message(pointers, "setcell", "1 1 val 5"), 0);
    EXPECT_TRUE(std::all_of(pointers->data, pointers->data + 32, [](unsigned char byte) { return !byte; }));

    std::vector<atom> list = atoms("1 0 val 0");
    atom_setobj(&list.back(), symbols);
    EXPECT_EQ(vok_matrix_setcell(objects, nullptr, 4, list.data()), 0);
    atom rv = {}, *av = nullptr;
    long ac = 0;
    ASSERT_EQ(vok_object_method_typed(objects, gensym("getcell"), 2, list.data(), &rv), 0);
    atomarray_getatoms(atom_getobj(&rv), &ac, &av);
    ASSERT_EQ(ac, 1);
    EXPECT_EQ(atom_getobj(av), static_cast<vok_matrix *>(symbols));
    object_free(atom_getobj(&rv));
    EXPECT_EQ(vok_matrix_getcell_typed(objects, nullptr, 2, list.data(), nullptr), 0);
    EXPECT_EQ(vok_matrix_getcell_typed(objects, nullptr, 0, nullptr, &rv), VOK_ERR_EROR);
}

TEST_F(Library, the_fills_by_themselves)
{
    const matrix m("long", 2, {3, 2, 2});
    const int32_t values[] = {1, 2, 3};
    vok_matrix_setall_ndim(3, m->info.dim, 3, values, &m->info, m->data);
    EXPECT_EQ(cell(m, "2 1 1"), "3 2") << "values beyond the planes go round";
    vok_matrix_setall_ndim(3, m->info.dim, 1, values + 1, &m->info, m->data);
    EXPECT_EQ(cell(m, "2 1 1"), "2 2") << "planes without a value stay";
    vok_matrix_fillplane_ndim(2, m->info.dim, 0, values, &m->info, m->data);
    EXPECT_EQ(cell(m, "2 1 0") + " " + cell(m, "2 1 1"), "1 2 2 2");
    const long one_row[] = {2, 99};
    vok_matrix_fillplane_ndim(1, one_row, 1, values + 2, &m->info, m->data);
    EXPECT_EQ(cell(m, "1 0") + " " + cell(m, "2 0") + " " + cell(m, "1 1"), "1 3 1 2 1 2");
}

TEST_F(Library, low_messages_wait_for_the_main_queue)
{
    const matrix m("char", 1, {2, 2});
    zan_in_scheduler([](void *x) { vok_object_method_typed(x, _vok_sym_setall, 1, atoms("7").data(), nullptr); },
                     static_cast<vok_matrix *>(m));
    EXPECT_EQ(cell(m, "1 1"), "0");
    zan_service();
    EXPECT_EQ(cell(m, "1 1"), "7");
}

} // namespace
