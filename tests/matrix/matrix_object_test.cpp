// The matrix as an object: who owns the memory of cells, what can't be, and the helpers
// over several. What messages do to shape and cells is held against a model in
// matrix_random_test.cpp.
#include "matrix/matrix_tools.h"

#include <algorithm>
#include <cstring>

#include <vokra/attributes.h>

#include "scratch.h"

namespace {

constexpr long as_handle = vok_matrix_flag_handle | vok_matrix_flag_use;
constexpr long as_reference = vok_matrix_flag_reference | vok_matrix_flag_use;

TEST_F(Library, elements_as_they_are_walked_and_as_they_are_stored)
{
    const struct {
        const char *type;
        long walked, stored;
    } rows[] = {{"char", 1, 1},   {"long", 4, 4},   {"float32", 4, 4}, {"float64", 8, 8},
                {"symbol", 4, 8}, {"object", 4, 8}, {"pointer", 4, 8}};
    for (const auto &row : rows) {
        const matrix m(row.type, 3, {5, 2}, vok_matrix_flag_packed);
        EXPECT_EQ(vok_matrix_info_typesize(&m->info), row.walked) << row.type;
        EXPECT_EQ(m->info.size, row.stored * 30) << row.type;
        EXPECT_LE(m->rawsize + static_cast<long>(sizeof(vok_matrix)), m->info.size + 2048) << "beside its cells";
    }
    for (int i = 0; i < 256; i++)
        EXPECT_TRUE(_c2dtab[i] == i / 255.0 && _c2ftab[i] == static_cast<float>(i / 255.0)) << i;
}

// ---- what is out of range ----

TEST_F(Library, values_out_of_range_are_brought_in_and_reported)
{
    report_catcher reports;
    const std::pair<vok_matrix_info, const char *> rows[] = {{shape("quux", 2, {2, 2}), "unknown type"},
                                                             {shape("char", 33, {2, 2}), "more than 32 planes"},
                                                             {shape("char", 0, {2, 2}), "less than 1 plane"}};
    for (const auto &[info, what] : rows) {
        const matrix m(info);
        const std::string planes = std::to_string(std::clamp(info.planecount, 1L, 32L));
        EXPECT_EQ(format_of(m->info), "char " + planes + " 2 2");
        const std::vector<std::string> texts = reports.take();
        ASSERT_EQ(texts.size(), 1u) << what;
        EXPECT_NE(texts[0].find("warning: attempting to allocate matrix with " + std::string(what)),
                  std::string::npos);
    }
}

// ---- handles and references ----

TEST_F(Library, a_handle_has_data_while_locked)
{
    const long both = vok_matrix_flag_handle | vok_matrix_flag_reference, other = vok_matrix_flag_packed | 0x100;
    EXPECT_EQ(matrix("char", 1, {2, 2}, both | other)->info.flags, other) << "they need the use bit";
    EXPECT_EQ(matrix("char", 1, {2, 2}, both | vok_matrix_flag_use)->info.flags, both);
    const matrix m("char", 2, {3, 2}, as_handle);
    EXPECT_TRUE(m->handle && !m->data && !m->rawdata);
    EXPECT_EQ(send_words(m, "lock", 1), 0);
    unsigned char *data = m->data;
    EXPECT_EQ(data, reinterpret_cast<unsigned char *>(*m->handle));
    EXPECT_EQ(send_words(m, "lock", 1), 1);
    EXPECT_EQ(message(m, "setcell", "2 1 val 7 8"), 0);
    EXPECT_EQ(m->data, data) << "an inner lock gives back the state that it found";
    EXPECT_EQ(send_words(m, "lock", 0), 1);
    EXPECT_TRUE(!m->data && sysmem_lockhandle(m->handle, 0) == 0);
}

TEST_F(Library, a_reference_shows_memory_that_stays_the_callers)
{
    std::vector<unsigned char> pixels(4 * 6, 5);
    const matrix m("char", 1, {3, 4}), made("char", 1, {3, 4}, as_reference);
    EXPECT_EQ(message(made, "setall", "1"), VOK_ERR_OBND) << "there are no cells yet";
    vok_matrix_info info = shape("char", 1, {3, 4}, vok_matrix_flag_reference);
    info.dimstride[0] = 1;
    info.dimstride[1] = 6; // every row has three bytes that aren't the matrix's
    info.size = 24;
    EXPECT_EQ(send_words(m, "setinfo_ex", as_word(&info)), 0);
    EXPECT_TRUE(!m->data && m->rawsize == 24) << "its own cells are gone";
    send_words(m, "data", as_word(pixels.data()));
    EXPECT_EQ(message(m, "setall", "1"), 0);
    message(m, "fillplane", "4 200"); // one past the last plane
    EXPECT_EQ(pixels, (std::vector<unsigned char>{1, 200, 200, 200, 5, 5, 1, 200, 200, 200, 5, 5,
                                                  1, 200, 200, 200, 5, 5, 1, 200, 200, 5,   5, 5}));
    vok_matrix_rebuild(m);
    EXPECT_TRUE(!m->data && m->info.dimstride[1] == 6);
    info.flags = vok_matrix_flag_packed;
    EXPECT_EQ(send_words(m, "setinfo_ex", as_word(&info)), 0);
    EXPECT_EQ(m->info.dimstride[1], 3) << "laid out afresh though the shape is the same";
    EXPECT_EQ(cell(m, "2 3"), "0");
}

TEST_F(Library, newcopy_has_the_info_and_zeroed_cells_of_its_own)
{
    unsigned char pixels[64] = {1};
    for (const long flags : {0L, as_handle, as_reference}) {
        const matrix m("char", 1, {4, 4}, flags);
        if (flags == as_reference)
            send_words(m, "data", as_word(pixels));
        message(m, "setall", "1");
        auto *copy = reinterpret_cast<vok_matrix *>(send_words(m, "newcopy"));
        EXPECT_EQ(std::memcmp(&copy->info, &m->info, sizeof copy->info), 0);
        EXPECT_EQ(cell(copy, "3 3"), flags == as_reference ? "" : "0");
        EXPECT_EQ(copy->handle == m->handle, flags != as_handle);
        EXPECT_TRUE(!m->handle || sysmem_lockhandle(m->handle, 0) == 0);
        vok_object_free(copy);
    }
}

TEST_F(Library, data16_follows_the_block_that_was_there)
{
    alignas(16) static unsigned char block[64];
    const matrix m("char", 1, {4, 4}, as_reference), own("char", 1, {4, 4});
    send_words(m, "data16", as_word(block + 3), 50);
    EXPECT_EQ(m->data, nullptr);
    send_words(m, "data16", as_word(block + 3), 50);
    EXPECT_TRUE(m->data == block && m->info.size == 50 - 3 && m->rawdata == block + 3 && m->rawsize == 50);
    for (const matrix *x : {&m, &own}) {
        send_words(*x, "freedata");
        EXPECT_TRUE(!(*x)->data && (*x)->info.size == 0);
    }
}

// ---- atoms and attributes ----

TEST_F(Library, a_description_comes_as_atoms_an_object_or_a_name)
{
    std::vector<atom> list = atoms("40 float32 7 -5");
    auto *made = static_cast<vok_matrix *>(object_new_typed(ps_vokra, _vok_sym_vok_matrix, 4, list.data()));
    EXPECT_EQ(format_of(made->info), "float32 32 7 1");
    vok_object_free(made);

    const matrix m("char", 4, {3, 2}), other("long", 1, {9, 8, 7}), named("float64", 2, {5});
    atom_setobj(list.data(), other);
    vok_object_method_typed(m, _vok_sym_setinfo, 1, list.data(), nullptr);
    EXPECT_EQ(format_of(m->info), "long 1 9 8 7");
    vok_object_register(named, gensym("a_test_matrix"));
    atom_setsym(list.data(), gensym("a_test_matrix"));
    vok_object_method_typed(m, _vok_sym_setinfo, 1, list.data(), nullptr);
    EXPECT_EQ(format_of(m->info), "float64 2 5");
    EXPECT_EQ(vok_matrix_type(m, nullptr, 0, nullptr), 0);
    EXPECT_EQ(vok_matrix_planecount(m, nullptr, 0, nullptr), VOK_ERR_INVP);
    EXPECT_EQ(vok_matrix_dimensions(m, nullptr, 0, nullptr), 0);
    EXPECT_EQ(format_of(m->info), "float64 2");

    EXPECT_EQ(vok_attr_getlong(other, gensym("size")), other->info.size);
    std::string access;
    for (const char *name : {"type", "dim", "planecount", "dimstride", "size", "flags"}) {
        access += vok_object_attr_usercanget(m, gensym(name)) ? "g" : "-";
        access += vok_object_attr_usercanset(m, gensym(name)) ? "s " : "- ";
    }
    EXPECT_EQ(access, "gs gs gs g- g- -- ");
}

// ---- null, lists ----

TEST_F(Library, what_null_gives)
{
    vok_matrix_info info;
    unsigned char *data;
    long rac;
    atom *rav;
    vok_matrix *m = vok_matrix_new(nullptr); // the default
    EXPECT_EQ(format_of(m->info), "char 4 1 1");
    for (const long err :
         {vok_matrix_rebuild(nullptr), vok_matrix_setinfo(nullptr, &info), vok_matrix_dosetinfo(nullptr, &info),
          vok_matrix_setinfo_ex(nullptr, &info), vok_matrix_getinfo(nullptr, &info),
          vok_matrix_getinfo(m, nullptr), vok_matrix_getdata(nullptr, &data), vok_matrix_getdata(m, nullptr),
          vok_matrix_clear(nullptr), vok_matrix_clear_custom(nullptr, 0),
          vok_matrix_setcell(nullptr, nullptr, 0, nullptr), vok_matrix_setall(nullptr, nullptr, 0, nullptr),
          vok_matrix_getcell(nullptr, nullptr, 0, nullptr, &rac, &rav)})
        EXPECT_EQ(err, VOK_ERR_INVP);
    EXPECT_TRUE(!vok_matrix_lock(nullptr, 1) && !vok_matrix_newcopy(nullptr));
    EXPECT_EQ(vok_matrix_op(nullptr, nullptr, 0, nullptr), VOK_ERR_EROR);
    EXPECT_EQ(vok_matrix_exprfill(nullptr, nullptr, 0, nullptr), VOK_ERR_EROR);
    EXPECT_EQ(vok_matrix_setinfo_typed(nullptr, nullptr, 0, nullptr), 0);
    EXPECT_TRUE(send_words(m, "is_valid") && send_words(m, "getindex", 0) == as_word(m));
    EXPECT_EQ(send_words(m, "getindex", 1), 0);
    vok_object_free(m);
    report_catcher reports;
    EXPECT_EQ(matrix("char", 1, {0x7FFFFFFF}), nullptr) << "so many cells there can't be";
    EXPECT_EQ(matrix("char", 1, {0x7FFFFFF9, 1}), nullptr) << "within the limit but for the padding";
}

TEST_F(Library, helpers_take_lists_and_arrays)
{
    const matrix a("char", 1, {4, 3}), b("char", 1, {4, 5}, as_handle);
    void *list = vok_linklist_new();
    vok_linklist_append(list, a);
    vok_linklist_append(list, b);
    void *matrices[3] = {};
    EXPECT_EQ(vok_matrix_list_get_matrices(list, 3, matrices), VOK_ERR_EROR);
    EXPECT_EQ(vok_matrix_list_get_matrices(nullptr, 1, matrices), VOK_ERR_EROR);
    ASSERT_EQ(vok_matrix_list_get_matrices(list, 2, matrices), 0);
    EXPECT_EQ(matrices[1], static_cast<vok_matrix *>(b));
    vok_linklist_chuck(list);

    vok_matrix_info infos[2];
    unsigned char *data[3];
    zan_word saved[3] = {9, 9, 9};
    EXPECT_EQ(vok_matrix_array_get_matrix_info(matrices, 2, infos), 0);
    EXPECT_EQ(format_of(infos[1]), "char 1 4 5");
    EXPECT_EQ(vok_matrix_array_get_matrix_info(matrices, 3, infos), VOK_ERR_INVP);
    EXPECT_EQ(vok_matrix_array_get_data(matrices, 2, data), VOK_ERR_EROR) << "the handle isn't locked";
    EXPECT_EQ(vok_matrix_array_lock(matrices, 3, saved), 0);
    EXPECT_EQ(vok_matrix_array_get_data(matrices, 2, data), 0);
    EXPECT_EQ(vok_matrix_array_unlock(matrices, 3, saved), 0);
    EXPECT_EQ(b->data, nullptr);

    const vok_matrix_info base = shape("char", 1, {4, 3});
    const vok_matrix_info others[] = {shape("char", 2, {4, 3}), shape("long", 1, {4, 3}), shape("char", 1, {4, 4}),
                                      shape("char", 1, {4, 3, 1})};
    const auto uniform = {vok_matrix_info_uniform_planecount, vok_matrix_info_uniform_type,
                          vok_matrix_info_uniform_dim};
    for (size_t i = 0; i < 4; i++) { // each differs in one of these
        const vok_matrix_info pair[2] = {base, others[i]};
        for (size_t k = 0; k < 3; k++)
            EXPECT_EQ(!uniform.begin()[k](&base, 2, pair), std::min(i, size_t{2}) != k) << i << " " << k;
        EXPECT_EQ(!vok_matrix_info_equal_matrix_structure(&base, pair + 1), i == 2) << "dims may differ";
    }
    EXPECT_EQ(vok_matrix_info_uniform_type(&base, 0, nullptr), 0);
}

} // namespace
