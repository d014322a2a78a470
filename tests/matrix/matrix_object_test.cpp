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

TEST_F(Library, strides_and_size)
{
    constexpr long packed = vok_matrix_flag_packed;
    const struct {
        const char *type;
        long planes;
        std::vector<long> dims;
        long flags;
        std::vector<long> strides;
        long size;
    } rows[] = {{"char", 4, {4, 3}, 0, {4, 16}, 48},
                {"char", 4, {5, 3}, 0, {4, 32}, 96},
                {"char", 1, {3, 2}, packed, {1, 3}, 6},
                {"char", 1, {3}, 0, {1}, 16},
                {"float32", 3, {}, 0, {}, 12},
                {"float64", 3, {3, 2, 5, 2}, 0, {24, 80, 160, 800}, 1600},
                {"symbol", 1, {1, 2}, 0, {8, 16}, 32},
                {"pointer", 2, {2, 2}, 0, {16, 32}, 64},
                {"char", 32, {1, 1, 1, 1}, 0, {32, 32, 32, 32}, 32}};
    for (const auto &row : rows) {
        vok_matrix_info info = shape(row.type, row.planes, {}, row.flags), got;
        info.dimcount = static_cast<long>(row.dims.size());
        std::copy(row.dims.begin(), row.dims.end(), info.dim);
        std::fill(info.dim + row.dims.size(), info.dim + 32, 77L); // of no meaning
        const matrix m(info);
        ASSERT_NE(m, nullptr);
        send_words(m, "getinfo", as_word(&got));
        EXPECT_EQ(got.size, row.size);
        EXPECT_EQ(std::vector<long>(got.dimstride, got.dimstride + row.strides.size()), row.strides);
        for (size_t i = row.dims.size(); i < 32; i++)
            EXPECT_TRUE(got.dim[i] == 1 && got.dimstride[i] == 0) << i;
        unsigned char *data = nullptr;
        send_words(m, "getdata", as_word(&data));
        ASSERT_NE(data, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(data) % 16, 0u);
        EXPECT_TRUE(std::all_of(data, data + got.size, [](unsigned char byte) { return byte == 0; }));
        EXPECT_GE(m->rawsize, got.size);
        EXPECT_LE(static_cast<long>(sizeof(vok_matrix)) + m->rawsize, got.size + 2048) << "beside its cells";
    }
}

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

TEST_F(Library, without_info_the_default_is_made)
{
    const matrix m("float64", 3, {7, 5, 3}, vok_matrix_flag_use | vok_matrix_flag_handle);
    EXPECT_EQ(send_words(m, "setinfo", 0), 0);
    auto *made = static_cast<vok_matrix *>(vok_object_new(_vok_sym_vok_matrix, 0L, 0L, 0L, 0L, 0L, 0L, 0L, 0L));
    for (const vok_matrix *x : {static_cast<vok_matrix *>(m), made}) {
        ASSERT_NE(x, nullptr);
        EXPECT_EQ(x->info.type, _vok_sym_char);
        EXPECT_EQ(x->info.planecount, 4);
        EXPECT_EQ(x->info.dimcount, 2);
        EXPECT_EQ(x->info.size, 16);
        EXPECT_EQ(x->info.flags, 0);
        EXPECT_NE(x->data, nullptr);
        EXPECT_EQ(x->handle, nullptr);
    }
    vok_object_free(made);
}

// ---- what is out of range ----

TEST_F(Library, values_out_of_range_are_brought_in_and_reported)
{
    report_catcher reports;
    const struct {
        const char *type;
        long planes, got;
        const char *what;
    } rows[] = {{"quux", 2, 2, "unknown type"},
                {"", 2, 2, "unknown type"},
                {"char", 33, 32, "more than 32 planes"},
                {"char", 0, 1, "less than 1 plane"},
                {"char", -5, 1, "less than 1 plane"}};
    for (const auto &row : rows) {
        const matrix m(row.type, row.planes, {2, 2});
        ASSERT_NE(m, nullptr);
        EXPECT_EQ(m->info.type, _vok_sym_char);
        EXPECT_EQ(m->info.planecount, row.got);
        const std::vector<std::string> texts = reports.take();
        ASSERT_EQ(texts.size(), 1u) << row.what;
        const std::string words = "warning: attempting to allocate matrix with " + std::string(row.what);
        EXPECT_NE(texts[0].find(words), std::string::npos) << texts[0];
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
    EXPECT_TRUE(m->handle && !m->rawdata);
    EXPECT_EQ(cell(m, "3 1"), "0");
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
    unsigned char pixels[64];
    for (const long flag : {vok_matrix_flag_handle, vok_matrix_flag_reference}) {
        const matrix other("char", 1, {4, 4}, flag | vok_matrix_flag_use);
        send_words(other, "data", as_word(pixels));
        copy = reinterpret_cast<vok_matrix *>(send_words(other, "newcopy"));
        EXPECT_EQ(copy->data, nullptr);
        EXPECT_EQ(copy->handle == other->handle, flag == vok_matrix_flag_reference);
        EXPECT_TRUE(!other->handle || sysmem_lockhandle(other->handle, 0) == 0);
        vok_object_free(copy);
    }
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

TEST_F(Library, arguments_are_planecount_type_dims)
{
    const struct {
        const char *arguments, *type;
        long planes;
        std::vector<long> dims;
    } rows[] = {{"", "char", 4, {1, 1}},
                {"2", "char", 2, {1, 1}},
                {"40 float32", "float32", 32, {1, 1}},
                {"-1 long 7", "long", 1, {7}},
                {"3 float64 4 -5 6", "float64", 3, {4, 1, 6}},
                {"1 5 3 2", "char", 1, {3, 2}},
                {"1 char 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 9", "char", 1,
                 std::vector<long>(32, 1)}};
    for (const auto &row : rows) {
        std::vector<atom> list = atoms(row.arguments);
        auto *x = static_cast<vok_matrix *>(
            object_new_typed(ps_vokra, _vok_sym_vok_matrix, static_cast<long>(list.size()), list.data()));
        ASSERT_NE(x, nullptr);
        EXPECT_STREQ(x->info.type->name, row.type);
        EXPECT_EQ(x->info.planecount, row.planes);
        EXPECT_EQ(std::vector<long>(x->info.dim, x->info.dim + x->info.dimcount), row.dims);
        vok_object_free(x);
    }
}

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
    zan_word same[] = {3, 2}, dims[40], got[32] = {};
    EXPECT_EQ(vok_attr_setlong_array(m, gensym("dim"), 2, same), 0);
    EXPECT_EQ(cell(m, "2 1"), "5 5 5 5") << "nothing changed";

    std::fill_n(dims, 40, 1);
    dims[0] = 6;
    dims[1] = -4;
    vok_attr_setlong_array(m, gensym("dim"), 2, dims);
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
    for (const long err :
         {vok_matrix_rebuild(nullptr), vok_matrix_setinfo(nullptr, &info), vok_matrix_dosetinfo(nullptr, &info),
          vok_matrix_setinfo_ex(nullptr, &info), vok_matrix_getinfo(nullptr, &info),
          vok_matrix_getdata(nullptr, &data), vok_matrix_clear(nullptr),
          vok_matrix_getcell(nullptr, nullptr, 0, nullptr, &rac, &rav)})
        EXPECT_EQ(err, VOK_ERR_INVP);
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
