// The matrix as an object: how cells are laid out, what a change of description does
// to them, who owns the memory, and who hears of it.
#include "matrix/matrix_tools.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include <vokra/attributes.h>
#include <vokra/memory.h>

#include "scratch.h"

namespace {

// ---- layout ----

struct layout_row {
    const char *type;
    long planes;
    std::vector<long> dims;
    long flags;
    std::vector<long> strides;
    long size;
};

class Layout : public LibraryTable<layout_row> {};

TEST_P(Layout, strides_and_size)
{
    const layout_row &row = GetParam();
    vok_matrix_info info = shape(row.type, row.planes, {}, row.flags);
    info.dimcount = static_cast<long>(row.dims.size());
    std::copy(row.dims.begin(), row.dims.end(), info.dim);
    std::fill(info.dim + row.dims.size(), info.dim + 32, 77L); // of no meaning
    const matrix m(info);
    ASSERT_NE(m, nullptr);
    vok_matrix_info got;
    send_words(m, "getinfo", as_word(&got));
    EXPECT_EQ(got.size, row.size);
    EXPECT_EQ(std::vector<long>(got.dimstride, got.dimstride + row.strides.size()), row.strides);
    for (size_t i = row.dims.size(); i < 32; i++) {
        EXPECT_EQ(got.dim[i], 1);
        EXPECT_EQ(got.dimstride[i], 0);
    }
    unsigned char *data = nullptr;
    send_words(m, "getdata", as_word(&data));
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(data) % 16, 0u);
    EXPECT_TRUE(std::all_of(data, data + got.size, [](unsigned char byte) { return byte == 0; }));
    EXPECT_GE(m->rawsize, got.size);
    EXPECT_LE(static_cast<long>(sizeof(vok_matrix)) + m->rawsize, got.size + 2048) << "beside its cells";
}

INSTANTIATE_TEST_SUITE_P(
    Matrix, Layout,
    testing::Values(layout_row{"char", 4, {1, 1}, 0, {4, 16}, 16}, layout_row{"char", 4, {2, 2}, 0, {4, 16}, 32},
                    layout_row{"char", 4, {4, 3}, 0, {4, 16}, 48}, layout_row{"char", 4, {5, 3}, 0, {4, 32}, 96},
                    layout_row{"char", 1, {3, 2}, vok_matrix_flag_packed, {1, 3}, 6},
                    layout_row{"char", 1, {3, 2}, 0, {1, 16}, 32}, layout_row{"char", 1, {3}, 0, {1}, 16},
                    layout_row{"float32", 3, {}, 0, {}, 12}, layout_row{"long", 1, {4, 4, 4}, 0, {4, 16, 64}, 256},
                    layout_row{"float64", 3, {3, 2, 5, 2}, 0, {24, 80, 160, 800}, 1600},
                    layout_row{"float64", 1, {3, 3}, vok_matrix_flag_packed, {8, 24}, 72},
                    layout_row{"symbol", 1, {1, 2}, 0, {8, 16}, 32},
                    layout_row{"pointer", 2, {2, 2}, 0, {16, 32}, 64},
                    layout_row{"char", 32, {1, 1, 1, 1}, 0, {32, 32, 32, 32}, 32}));

TEST_F(Library, the_typesize_of_cells_that_are_walked)
{
    const std::pair<const char *, long> rows[] = {{"char", 1},   {"long", 4},   {"float32", 4}, {"float64", 8},
                                                  {"symbol", 4}, {"object", 4}, {"pointer", 4}};
    for (const auto &[type, size] : rows) {
        const vok_matrix_info info = shape(type, 1, {1});
        EXPECT_EQ(vok_matrix_info_typesize(&info), size) << type;
    }
}

TEST_F(Library, conversion_tables_are_quotients)
{
    for (int i = 0; i < 256; i++) {
        EXPECT_EQ(_c2dtab[i], i / 255.0);
        EXPECT_EQ(_c2ftab[i], static_cast<float>(i / 255.0));
    }
}

TEST_F(Library, without_info_the_default_is_made)
{
    vok_matrix *x = static_cast<vok_matrix *>(vok_object_new(_vok_sym_vok_matrix, 0L, 0L, 0L, 0L, 0L, 0L, 0L, 0L));
    ASSERT_NE(x, nullptr);
    EXPECT_EQ(x->info.type, _vok_sym_char);
    EXPECT_EQ(x->info.planecount, 4);
    EXPECT_EQ(x->info.dimcount, 2);
    EXPECT_EQ(x->info.size, 16);
    EXPECT_EQ(x->info.flags, 0);
    vok_object_free(x);
}

// ---- which change keeps the data ----

TEST_F(Library, the_same_shape_keeps_data_and_pointer)
{
    const matrix m("char", 4, {3, 2});
    message(m, "setall", "9");
    unsigned char *before = m->data;
    vok_matrix_info same = shape("char", 4, {3, 2}, vok_matrix_flag_packed);
    same.size = 12345;
    same.dimstride[0] = 99;
    same.dim[2] = 7; // beyond dimcount
    EXPECT_EQ(send_words(m, "setinfo", as_word(&same)), 0);
    EXPECT_EQ(m->data, before);
    EXPECT_EQ(cell(m, "2 1"), "9 9 9 9");
    EXPECT_EQ(m->info.flags, 0) << "flags travel by setinfo_ex alone";
    EXPECT_EQ(m->info.dimstride[0], 4);
}

TEST_F(Library, any_difference_zeroes_the_data)
{
    const vok_matrix_info changes[] = {shape("char", 3, {3, 2}),    shape("char", 5, {3, 2}),
                                       shape("long", 4, {3, 2}),    shape("char", 4, {2, 2}),
                                       shape("char", 4, {3, 2, 1}), shape("char", 4, {3}),
                                       shape("char", 4, {}),        shape("char", 4, {3, 0}),
                                       shape("char", 4, {-3, 2}),   shape("float32", 4, {3, 2})};
    for (const vok_matrix_info &change : changes) {
        const matrix m("char", 4, {3, 2});
        message(m, "setall", "9");
        EXPECT_EQ(send_words(m, "setinfo", as_word(&change)), 0);
        ASSERT_NE(m->data, nullptr);
        EXPECT_TRUE(std::all_of(m->data, m->data + m->info.size, [](unsigned char byte) { return byte == 0; }))
            << change.type->name << " " << change.planecount << " " << change.dimcount;
        EXPECT_EQ(m->info.dim[0], std::max(change.dim[0], 1L));
    }
    const matrix one("char", 4, {3, 1});
    message(one, "setall", "9");
    const vok_matrix_info zero = shape("char", 4, {3, 0});
    send_words(one, "setinfo", as_word(&zero));
    EXPECT_EQ(cell(one, "0 0"), "0 0 0 0") << "a dim of 0 never equals the 1 that it becomes";
}

TEST_F(Library, a_null_info_sets_the_default)
{
    const matrix m("float64", 3, {7, 5, 3}, vok_matrix_flag_use | vok_matrix_flag_handle);
    EXPECT_EQ(send_words(m, "setinfo", 0), 0);
    EXPECT_EQ(m->info.type, _vok_sym_char);
    EXPECT_EQ(m->info.size, 16);
    EXPECT_EQ(m->info.flags, 0);
    EXPECT_NE(m->data, nullptr);
    EXPECT_EQ(m->handle, nullptr);
}

// ---- what is out of range ----

TEST_F(Library, values_out_of_range_are_brought_in_and_reported)
{
    report_catcher reports;
    const struct {
        vok_matrix_info info;
        long planes, dimcount;
        const char *words;
    } rows[] = {
        {shape("quux", 2, {2, 2}), 2, 2, "warning: attempting to allocate matrix with unknown type"},
        {shape("", 2, {2, 2}), 2, 2, "warning: attempting to allocate matrix with unknown type"},
        {shape("char", 33, {2, 2}), 32, 2, "warning: attempting to allocate matrix with more than 32 planes"},
        {shape("char", 0, {2, 2}), 1, 2, "warning: attempting to allocate matrix with less than 1 plane"},
        {shape("char", -5, {2, 2}), 1, 2, "warning: attempting to allocate matrix with less than 1 plane"},
    };
    for (const auto &row : rows) {
        reports.take();
        const matrix m(row.info);
        ASSERT_NE(m, nullptr);
        EXPECT_EQ(m->info.type, _vok_sym_char);
        EXPECT_EQ(m->info.planecount, row.planes);
        const std::vector<std::string> texts = reports.take();
        ASSERT_EQ(texts.size(), 1u) << row.words;
        EXPECT_NE(texts[0].find(row.words), std::string::npos) << texts[0];
    }
}

TEST_F(Library, a_dimcount_out_of_range_is_clipped_on_every_road)
{
    for (const long wanted :
         {33L, 1000000L, -1L, std::numeric_limits<long>::min(), std::numeric_limits<long>::max()}) {
        const long got = wanted < 0 ? 0 : 32;
        vok_matrix_info info = shape("char", 1, {2, 2});
        info.dimcount = wanted;
        EXPECT_EQ(matrix(info)->info.dimcount, got);
        const matrix m("char", 1, {2, 2});
        send_words(m, "setinfo", as_word(&info));
        EXPECT_EQ(m->info.dimcount, got);
        send_words(m, "setinfo_ex", as_word(&info));
        EXPECT_EQ(m->info.dimcount, got);
        info.flags = vok_matrix_flag_reference;
        send_words(m, "setinfo_ex", as_word(&info));
        EXPECT_EQ(m->info.dimcount, got);
        info.planecount = 40; // the rebuild of a reference stops short of the rest, not of this
        send_words(m, "setinfo", as_word(&info));
        EXPECT_EQ(m->info.planecount, 32);
        info.flags |= vok_matrix_flag_use;
        EXPECT_EQ(matrix(info)->info.dimcount, got);
        EXPECT_EQ(matrix(info)->info.planecount, 32);
    }
}

TEST_F(Library, too_many_cells_are_refused_and_the_matrix_lives_on)
{
    report_catcher reports;
    const vok_matrix_info rows[] = {
        shape("char", 1, {0x7FFFFFFF}),
        shape("char", 4, {0x20000000, 1}),
        shape("float64", 32, {1000000, 1000000}),
        shape("char", 4, {(1L << 62) + 1}), // wraps round to a few bytes
        shape("char", 1, {1L << 32, 1L << 32}),
        shape("char", 2, {std::numeric_limits<long>::max(), std::numeric_limits<long>::max()}),
        shape("char", 1, {0x7FFFFFF9, 1}), // passes the limit by its padding, and fails at the next dimension
    };
    for (const vok_matrix_info &info : rows) {
        for (const long flags : {0L, long{vok_matrix_flag_handle}}) {
            reports.take();
            const matrix m("char", 1, {2, 2}, flags | (flags ? long{vok_matrix_flag_use} : 0));
            EXPECT_EQ(send_words(m, "setinfo", as_word(&info)), VOK_ERR_OMEM) << info.dim[0];
            EXPECT_NE(reports.one_error().find("could not allocate matrix"), std::string::npos);
            EXPECT_EQ(m->info.size, 0);
            EXPECT_EQ(m->info.dim[0], info.dim[0]) << "the shape stays as asked";
            EXPECT_EQ(send_words(m, "lock", 1), 0);
            EXPECT_EQ(m->data, nullptr);
            EXPECT_EQ(m->rawdata, nullptr);
            EXPECT_EQ(message(m, "setcell", "0 val 1"), VOK_ERR_OBND);
            EXPECT_EQ(message(m, "setall", "1"), VOK_ERR_OBND);
            EXPECT_EQ(send_words(m, "clear"), VOK_ERR_EROR);
            const vok_matrix_info small = shape("char", 1, {2, 2});
            EXPECT_EQ(send_words(m, "setinfo", as_word(&small)), 0);
            EXPECT_EQ(message(m, "setcell", "1 1 val 5"), 0);
            EXPECT_EQ(cell(m, "1 1"), "5");
            EXPECT_EQ(matrix(info), nullptr) << "nor is a new one made";
        }
    }
}

// ---- handles and references ----

TEST_F(Library, handle_and_reference_are_taken_with_the_use_bit_alone)
{
    const long both = vok_matrix_flag_handle | vok_matrix_flag_reference;
    EXPECT_EQ(matrix("char", 1, {2, 2}, both | vok_matrix_flag_packed | 0x100)->info.flags,
              vok_matrix_flag_packed | 0x100);
    EXPECT_EQ(matrix("char", 1, {2, 2}, vok_matrix_flag_handle | vok_matrix_flag_use)->info.flags,
              vok_matrix_flag_handle);
    EXPECT_EQ(matrix("char", 1, {2, 2}, both | vok_matrix_flag_use)->info.flags, both);
}

TEST_F(Library, a_handle_has_data_while_locked)
{
    const matrix m("char", 2, {3, 2}, vok_matrix_flag_handle | vok_matrix_flag_use);
    ASSERT_NE(m->handle, nullptr);
    EXPECT_EQ(m->data, nullptr);
    EXPECT_EQ(m->rawdata, nullptr);
    EXPECT_EQ(send_words(m, "lock", 1), 0);
    unsigned char *data = m->data;
    EXPECT_EQ(data, reinterpret_cast<unsigned char *>(*m->handle));
    EXPECT_TRUE(std::all_of(data, data + m->info.size, [](unsigned char byte) { return byte == 0; }));
    EXPECT_EQ(send_words(m, "lock", 1), 1);
    EXPECT_EQ(message(m, "setcell", "2 1 val 7 8"), 0);
    EXPECT_EQ(m->data, data) << "an inner lock gives back the state that it found";
    EXPECT_EQ(send_words(m, "lock", 0), 1);
    EXPECT_EQ(m->data, nullptr);
    for (const char *broken : {"9 9 val 1", "1 plane 1", "1 plane 5 val 1", "1 2 3"})
        EXPECT_EQ(message(m, "setcell", broken), VOK_ERR_OBND);
    EXPECT_EQ(m->data, nullptr) << "restored after an error too";
    EXPECT_EQ(sysmem_lockhandle(m->handle, 0), 0);
    EXPECT_EQ(cell(m, "2 1"), "7 8");
    EXPECT_EQ(message(m, "fillplane", "2 3"), 0);
    EXPECT_EQ(cell(m, "1 0"), "3 0");
    const vok_matrix_info larger = shape("char", 2, {30, 20});
    EXPECT_EQ(send_words(m, "setinfo", as_word(&larger)), 0);
    EXPECT_EQ(m->data, nullptr);
    EXPECT_EQ(cell(m, "29 19"), "0 0");
}

TEST_F(Library, a_reference_shows_memory_that_stays_the_callers)
{
    std::vector<unsigned char> pixels(4 * 6, 5);
    vok_matrix_info info = shape("char", 1, {3, 4}, vok_matrix_flag_reference | vok_matrix_flag_use);
    info.dimstride[0] = 1;
    info.dimstride[1] = 6; // every row has three bytes that aren't the matrix's
    info.size = 24;
    {
        const matrix m(info);
        EXPECT_EQ(m->data, nullptr);
        EXPECT_EQ(message(m, "setall", "1"), VOK_ERR_OBND);
        send_words(m, "data", as_word(pixels.data()));
        EXPECT_EQ(message(m, "setall", "1"), 0);
        EXPECT_EQ(message(m, "setcell", "2 3 val 9"), 0);
        EXPECT_EQ(cell(m, "2 3"), "9");
        message(m, "fillplane", "4 200"); // one past the last plane
        vok_matrix_rebuild(m);
        EXPECT_EQ(m->data, nullptr);
        EXPECT_EQ(m->info.dimstride[1], 6);
    }
    const std::vector<unsigned char> expected = {1, 200, 200, 200, 5, 5, 1, 200, 200, 200, 5, 5,
                                                 1, 200, 200, 200, 5, 5, 1, 200, 200, 5,   5, 5};
    EXPECT_EQ(pixels, expected);
}

TEST_F(Library, setinfo_ex_moves_to_a_reference_and_back)
{
    unsigned char pixels[16] = {1, 2, 3, 4};
    const matrix m("char", 1, {4, 1});
    vok_matrix_info info = shape("char", 1, {4, 1}, vok_matrix_flag_reference);
    info.dimstride[0] = 1;
    info.dimstride[1] = 16;
    info.size = 16;
    EXPECT_EQ(send_words(m, "setinfo_ex", as_word(&info)), 0);
    EXPECT_EQ(m->data, nullptr) << "its own cells are gone";
    EXPECT_EQ(m->rawsize, 16);
    send_words(m, "data", as_word(pixels));
    EXPECT_EQ(cell(m, "2 0"), "3");
    info.flags = vok_matrix_flag_packed;
    EXPECT_EQ(send_words(m, "setinfo_ex", as_word(&info)), 0);
    EXPECT_EQ(m->info.flags, vok_matrix_flag_packed);
    ASSERT_NE(m->data, nullptr);
    EXPECT_NE(m->data, pixels);
    EXPECT_EQ(m->info.dimstride[1], 4) << "laid out afresh though the shape is the same";
    EXPECT_EQ(cell(m, "2 0"), "0");
    EXPECT_EQ(pixels[2], 3);
}

TEST_F(Library, setinfo_ex_changes_flags_of_a_shape_that_stays)
{
    const matrix m("char", 1, {3, 2});
    message(m, "setall", "7");
    for (const long flags : {long{vok_matrix_flag_packed}, long{vok_matrix_flag_handle}, 0L}) {
        const vok_matrix_info info = shape("char", 1, {3, 2}, flags);
        EXPECT_EQ(send_words(m, "setinfo_ex", as_word(&info)), 0);
        EXPECT_EQ(m->info.flags, flags);
        EXPECT_EQ(cell(m, "2 1"), "7");
    }
    const vok_matrix_info handled = shape("char", 1, {4, 2}, vok_matrix_flag_handle);
    EXPECT_EQ(send_words(m, "setinfo_ex", as_word(&handled)), 0);
    EXPECT_NE(m->handle, nullptr);
    EXPECT_EQ(m->rawdata, nullptr);
    message(m, "setall", "8");
    EXPECT_EQ(cell(m, "3 1"), "8");
    EXPECT_EQ(send_words(m, "setinfo_ex", 0), 0);
    EXPECT_EQ(m->handle, nullptr);
}

TEST_F(Library, newcopy_has_the_info_and_zeroed_cells_of_its_own)
{
    const matrix m("float32", 2, {5, 3}, vok_matrix_flag_packed);
    message(m, "setall", "1");
    auto *copy = reinterpret_cast<vok_matrix *>(send_words(m, "newcopy"));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(std::memcmp(&copy->info, &m->info, sizeof copy->info), 0);
    EXPECT_NE(copy->data, m->data);
    EXPECT_EQ(cell(copy, "4 2"), "0 0");
    vok_object_free(copy);
    const matrix handled("char", 1, {4, 4}, vok_matrix_flag_handle | vok_matrix_flag_use);
    copy = reinterpret_cast<vok_matrix *>(send_words(handled, "newcopy"));
    EXPECT_NE(copy->handle, handled->handle);
    EXPECT_EQ(sysmem_lockhandle(handled->handle, 0), 0);
    vok_object_free(copy);
    const matrix reference("char", 1, {4, 4}, vok_matrix_flag_reference | vok_matrix_flag_use);
    unsigned char pixels[64];
    send_words(reference, "data", as_word(pixels));
    copy = reinterpret_cast<vok_matrix *>(send_words(reference, "newcopy"));
    EXPECT_EQ(copy->data, nullptr);
    EXPECT_EQ(copy->handle, reference->handle);
    vok_object_free(copy);
    EXPECT_EQ(vok_matrix_newcopy(nullptr), nullptr);
}

TEST_F(Library, data16_follows_the_block_that_was_there)
{
    alignas(16) static unsigned char block[64];
    const matrix m("char", 1, {4, 4}, vok_matrix_flag_reference | vok_matrix_flag_use);
    send_words(m, "data16", as_word(block + 3), 50);
    EXPECT_EQ(m->data, nullptr);
    send_words(m, "data16", as_word(block + 3), 50);
    EXPECT_EQ(m->data, block);
    EXPECT_EQ(m->info.size, 50 - 3);
    EXPECT_EQ(m->rawdata, block + 3);
    EXPECT_EQ(m->rawsize, 50);
    send_words(m, "freedata");
    EXPECT_EQ(m->data, nullptr);
    EXPECT_EQ(m->info.size, 0);
    const matrix own("char", 1, {4, 4});
    send_words(own, "freedata");
    EXPECT_EQ(own->data, nullptr);
    EXPECT_EQ(message(own, "setcell", "0 val 1"), VOK_ERR_OBND);
}

// ---- atoms and attributes ----

struct typed_row {
    const char *arguments;
    const char *type;
    long planes;
    std::vector<long> dims;
};

class TypedNew : public LibraryTable<typed_row> {};

TEST_P(TypedNew, reads_planecount_type_dims)
{
    const typed_row &row = GetParam();
    std::vector<atom> list = atoms(row.arguments);
    auto *x = static_cast<vok_matrix *>(
        object_new_typed(ps_vokra, _vok_sym_vok_matrix, static_cast<long>(list.size()), list.data()));
    ASSERT_NE(x, nullptr);
    EXPECT_STREQ(x->info.type->name, row.type);
    EXPECT_EQ(x->info.planecount, row.planes);
    EXPECT_EQ(std::vector<long>(x->info.dim, x->info.dim + x->info.dimcount), row.dims);
    vok_object_free(x);
}

INSTANTIATE_TEST_SUITE_P(
    Matrix, TypedNew,
    testing::Values(typed_row{"", "char", 4, {1, 1}}, typed_row{"2", "char", 2, {1, 1}},
                    typed_row{"40 float32", "float32", 32, {1, 1}}, typed_row{"-1 long 7", "long", 1, {7}},
                    typed_row{"3 float64 4 -5 6", "float64", 3, {4, 1, 6}},
                    typed_row{"1 5 3 2", "char", 1, {3, 2}},
                    typed_row{"1 char 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 9", "char",
                              1, std::vector<long>(32, 1)}));

TEST_F(Library, setinfo_typed_takes_atoms_an_object_or_a_name)
{
    const matrix m("char", 4, {3, 2});
    const auto typed = [&](std::vector<atom> list) {
        return vok_object_method_typed(m, _vok_sym_setinfo, static_cast<long>(list.size()), list.data(), nullptr);
    };
    message(m, "setall", "5");
    EXPECT_EQ(typed({}), 0);
    EXPECT_EQ(typed(atoms("4")), 0);
    EXPECT_EQ(typed(atoms("4 char 3 2")), 0);
    EXPECT_EQ(cell(m, "1 1"), "5 5 5 5") << "all of these are the present shape";
    typed(atoms("2 float32"));
    EXPECT_EQ(m->info.type, _vok_sym_float32);
    EXPECT_EQ(m->info.dim[0], 3) << "what isn't given stays";

    const matrix other("long", 1, {9, 8, 7});
    atom a;
    atom_setobj(&a, other);
    typed({a});
    EXPECT_EQ(m->info.type, _vok_sym_long);
    EXPECT_EQ(m->info.dim[2], 7);
    const matrix named("float64", 2, {5});
    vok_object_register(named, gensym("a_test_matrix"));
    typed(atoms("a_test_matrix"));
    EXPECT_EQ(m->info.type, _vok_sym_float64);
    EXPECT_EQ(m->info.dimcount, 1);
    EXPECT_EQ(m->info.dim[0], 5);
    EXPECT_EQ(vok_matrix_setinfo_typed(nullptr, nullptr, 0, nullptr), 0);
}

TEST_F(Library, attributes_describe_and_shape)
{
    const matrix m("char", 4, {3, 2});
    message(m, "setall", "5");
    EXPECT_EQ(vok_attr_setsym(m, gensym("type"), _vok_sym_char), 0);
    EXPECT_EQ(vok_attr_setlong(m, gensym("planecount"), 4), 0);
    zan_word same[] = {3, 2};
    EXPECT_EQ(vok_attr_setlong_array(m, gensym("dim"), 2, same), 0);
    EXPECT_EQ(cell(m, "2 1"), "5 5 5 5") << "nothing changed";

    zan_word dims[40];
    std::fill_n(dims, 40, 1);
    dims[0] = 6;
    dims[1] = -4;
    vok_attr_setlong_array(m, gensym("dim"), 2, dims);
    zan_word got[32] = {};
    EXPECT_EQ(vok_attr_getlong_array(m, gensym("dim"), 32, got), 2);
    EXPECT_EQ(got[0], 6);
    EXPECT_EQ(got[1], 1);
    EXPECT_EQ(cell(m, "5 0"), "0 0 0 0");
    vok_attr_setlong_array(m, gensym("dim"), 40, dims);
    EXPECT_EQ(m->info.dimcount, 32);
    vok_attr_setlong(m, gensym("planecount"), 99);
    EXPECT_EQ(vok_attr_getlong(m, gensym("planecount")), 32);
    vok_attr_setsym(m, gensym("type"), _vok_sym_float64);
    EXPECT_EQ(vok_attr_getsym(m, gensym("type")), _vok_sym_float64);
    EXPECT_EQ(vok_attr_getlong_array(m, gensym("dimstride"), 32, got), 32);
    EXPECT_EQ(got[0], 256);
    EXPECT_EQ(vok_attr_getlong(m, gensym("size")), m->info.size);
    vok_matrix_dimensions(m, nullptr, 0, nullptr);
    EXPECT_EQ(m->info.dimcount, 0);
    EXPECT_EQ(m->info.size, 256);

    const struct {
        const char *name;
        long get, set;
    } access[] = {{"type", 1, 1},      {"dim", 1, 1},  {"planecount", 1, 1},
                  {"dimstride", 1, 0}, {"size", 1, 0}, {"flags", 0, 0}};
    for (const auto &row : access) {
        EXPECT_EQ(!!vok_object_attr_usercanget(m, gensym(row.name)), row.get) << row.name;
        EXPECT_EQ(!!vok_object_attr_usercanset(m, gensym(row.name)), row.set) << row.name;
    }
}

// ---- who hears of a change ----

struct ear {
    object header;
    std::string *heard; // words in order
};

void ear_notify(ear *x, symbol *, symbol *message, void *, void *)
{
    *x->heard += std::string(x->heard->empty() ? "" : " ") + message->name;
}

TEST_F(Library, clients_hear_of_every_change_in_order)
{
    static zan_class *ear_class = [] {
        zan_class *c = vok_class_new("test_ear", nullptr, nullptr, sizeof(ear), argtype_cant, 0);
        vok_class_addmethod(c, reinterpret_cast<zan_method>(ear_notify), "notify", argtype_cant, 0);
        vok_class_register(c);
        return c;
    }();
    std::string heard;
    auto *client = static_cast<ear *>(vok_object_alloc(ear_class));
    client->heard = &heard;
    report_catcher reports;
    {
        const matrix m("char", 1, {2, 2});
        symbol *name = vok_symbol_unique();
        vok_object_register(m, name);
        vok_object_attach(name, client);
        const auto after = [&](zan_word) { return std::exchange(heard, ""); };
        const vok_matrix_info same = shape("char", 1, {2, 2});
        const vok_matrix_info other = shape("char", 2, {2, 2});
        const vok_matrix_info vast = shape("char", 2, {1L << 40});
        const vok_matrix_info outside = shape("char", 2, {2}, vok_matrix_flag_reference);
        heard.clear();
        EXPECT_EQ(after(send_words(m, "setinfo", as_word(&same))), "setinfo");
        EXPECT_EQ(after(send_words(m, "setinfo", as_word(&other))), "rebuilding modified setinfo");
        EXPECT_EQ(after(vok_matrix_dosetinfo(m, &same)), "rebuilding modified");
        EXPECT_EQ(after(send_words(m, "setinfo", as_word(&vast))), "rebuilding modified setinfo");
        EXPECT_EQ(after(send_words(m, "setinfo_ex", as_word(&other))), "rebuilding modified setinfo");
        EXPECT_EQ(after(send_words(m, "setinfo_ex", as_word(&other))), "setinfo");
        EXPECT_EQ(after(send_words(m, "setinfo_ex", as_word(&outside))), "modified");
        EXPECT_EQ(after(vok_matrix_setinfo_typed(m, nullptr, 0, nullptr)), "setinfo");
        EXPECT_EQ(after(vok_matrix_rebuild(m)), "rebuilding modified");
        EXPECT_EQ(after(message(m, "setall", "3")), "");
        vok_object_detach(name, client);
    }
    vok_object_free(client);
}

// ---- null, lists ----

TEST_F(Library, null_is_an_invalid_pointer)
{
    vok_matrix_info info;
    unsigned char *data;
    long rac;
    atom *rav;
    EXPECT_EQ(vok_matrix_rebuild(nullptr), VOK_ERR_INVP);
    EXPECT_EQ(vok_matrix_setinfo(nullptr, &info), VOK_ERR_INVP);
    EXPECT_EQ(vok_matrix_dosetinfo(nullptr, &info), VOK_ERR_INVP);
    EXPECT_EQ(vok_matrix_setinfo_ex(nullptr, &info), VOK_ERR_INVP);
    EXPECT_EQ(vok_matrix_getinfo(nullptr, &info), VOK_ERR_INVP);
    EXPECT_EQ(vok_matrix_getdata(nullptr, &data), VOK_ERR_INVP);
    EXPECT_EQ(vok_matrix_clear(nullptr), VOK_ERR_INVP);
    EXPECT_EQ(vok_matrix_getcell(nullptr, nullptr, 0, nullptr, &rac, &rav), VOK_ERR_INVP);
    EXPECT_EQ(vok_matrix_lock(nullptr, 1), 0);
    EXPECT_EQ(vok_matrix_op(nullptr, nullptr, 0, nullptr), VOK_ERR_EROR);
    EXPECT_EQ(vok_matrix_exprfill(nullptr, nullptr, 0, nullptr), VOK_ERR_EROR);
    const matrix m("char", 1, {1});
    EXPECT_EQ(vok_matrix_getinfo(m, nullptr), VOK_ERR_INVP);
    EXPECT_EQ(vok_matrix_getdata(m, nullptr), VOK_ERR_INVP);
    EXPECT_EQ(send_words(m, "class_vok_matrix"), 1);
    EXPECT_EQ(send_words(m, "is_valid"), 1);
    EXPECT_EQ(send_words(m, "getindex", 0), as_word(m));
    EXPECT_EQ(send_words(m, "getindex", 1), 0);
}

TEST_F(Library, helpers_take_lists_and_arrays)
{
    const matrix a("char", 1, {4, 3}), b("char", 1, {4, 5}, vok_matrix_flag_handle | vok_matrix_flag_use);
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
    EXPECT_EQ(vok_matrix_array_get_matrix_info(matrices, 2, infos), 0);
    EXPECT_EQ(infos[1].dim[1], 5);
    EXPECT_EQ(vok_matrix_array_get_matrix_info(matrices, 3, infos), VOK_ERR_INVP);
    unsigned char *data[3];
    EXPECT_EQ(vok_matrix_array_get_data(matrices, 2, data), VOK_ERR_EROR) << "the handle isn't locked";
    zan_word saved[3] = {9, 9, 9};
    EXPECT_EQ(vok_matrix_array_lock(matrices, 3, saved), 0);
    EXPECT_EQ(vok_matrix_array_get_data(matrices, 2, data), 0);
    EXPECT_NE(data[1], nullptr);
    EXPECT_EQ(vok_matrix_array_unlock(matrices, 3, saved), 0);
    EXPECT_EQ(b->data, nullptr);

    const vok_matrix_info base = shape("char", 1, {4, 3});
    const struct {
        vok_matrix_info other;
        bool planes, type, dim, structure;
    } rows[] = {{shape("char", 1, {4, 3}), true, true, true, true},
                {shape("char", 2, {4, 3}), false, true, true, false},
                {shape("long", 1, {4, 3}), true, false, true, false},
                {shape("char", 1, {4, 4}), true, true, false, true},
                {shape("char", 1, {4, 3, 1}), true, true, false, false}};
    for (const auto &row : rows) {
        const vok_matrix_info pair[2] = {base, row.other};
        EXPECT_EQ(!vok_matrix_info_uniform_planecount(&base, 2, pair), row.planes);
        EXPECT_EQ(!vok_matrix_info_uniform_type(&base, 2, pair), row.type);
        EXPECT_EQ(!vok_matrix_info_uniform_dim(&base, 2, pair), row.dim);
        EXPECT_EQ(!vok_matrix_info_equal_matrix_structure(&base, &row.other), row.structure);
    }
    EXPECT_EQ(vok_matrix_info_uniform_type(&base, 0, nullptr), 0);
}

TEST_F(Library, the_memory_register_sees_a_matrix_come_and_go)
{
    report_catcher reports;
    _vok_memreg = 2;
    {
        const matrix m("char", 4, {8, 8});
        const vok_matrix_info other = shape("float32", 1, {5, 5});
        send_words(m, "setinfo", as_word(&other));
        const vok_matrix_info vast = shape("char", 2, {1L << 40});
        send_words(m, "setinfo", as_word(&vast));
        send_words(m, "setinfo", as_word(&other));
        cell(m, "1 1");
    }
    _vok_memreg = 0;
    for (const std::string &text : reports.take())
        EXPECT_EQ(text.find("vok_memory_"), std::string::npos) << text;
}

} // namespace
