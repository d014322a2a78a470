// Pictures: alpha multiplied in and divided out, PNG and JPEG files written and read,
// plane maps, and the bitmaps of the video rooms.
#include "matrix/matrix_tools.h"

#include <algorithm>
#include <array>
#include <cstring>

#include <vokra/matrix_image.h>

#include "scratch.h"

namespace {

struct pixels {
    explicit pixels(zan_surface *s)
        : width(zgraphics_image_surface_get_width(s)), height(zgraphics_image_surface_get_height(s)),
          first(zgraphics_image_surface_lockpixels_readonly(s, 0, 0, width, height, &stride, &bytes))
    {
    }
    const unsigned char *at(long x, long y) const { return first + y * stride + x * bytes; }
    long width, height, stride = 0, bytes = 0;
    const unsigned char *first;
};

zan_surface *surface_of(vok_matrix *x)
{
    return reinterpret_cast<zan_surface *>(send_words(x, "get_image_surface"));
}

class Pictures : public Library {
  protected:
    scratch_folder folder_;
};

TEST_F(Pictures, every_colour_under_every_alpha)
{
    const matrix m("char", 4, {256, 256});
    for (int a = 0; a < 256; a++)
        for (int c = 0; c < 256; c++)
            for (int k = 0; k < 4; k++) // red, green, blue
                m->data[a * m->info.dimstride[1] + 4 * c + k] =
                    static_cast<unsigned char>(std::array{a, c, 255 - c, c ^ 0x55}[k]);
    zan_surface *s = surface_of(m);
    ASSERT_NE(s, nullptr);
    const matrix back("float32", 1, {1});
    EXPECT_EQ(send_words(back, "from_image_surface", as_word(s)), 0);
    const pixels p(s);
    ASSERT_EQ(p.width, 256);
    ASSERT_EQ(p.bytes, 4);
    int wrong = 0;
    for (int a = 0; a < 256; a++) {
        for (int c = 0; c < 256; c++) {
            const unsigned char *surface = p.at(c, a);
            const unsigned char *got = back->data + a * back->info.dimstride[1] + 4 * c;
            const int colours[3] = {c, 255 - c, c ^ 0x55};
            wrong += surface[3] != a || got[0] != a;
            for (int k = 0; k < 3; k++) {
                const int stored = a * colours[k] / 256;
                const int read = a == 0 || a == 255 ? stored : std::min(stored * (65536 / a) / 256, 255);
                wrong += surface[2 - k] != stored || got[1 + k] != read;
            }
        }
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(p.at(255, 255)[2], 254) << "opaque white loses one step";
    EXPECT_EQ(back->info.type, _vok_sym_char);
    zgraphics_surface_destroy(s);
}

TEST_F(Pictures, other_matrices_go_through_char_and_four_planes)
{
    const struct {
        vok_matrix_info info;
        const char *values;
        unsigned char bgra[4];
    } rows[] = {
        {shape("float32", 4, {3, 2}), "1.0 1.0 0.5 0.0", {0, 126, 254, 255}},
        {shape("char", 1, {3, 2}), "255", {254, 254, 254, 255}},
        {shape("long", 4, {3, 2, 2}), "255 16 32 48", {47, 31, 15, 255}},
        {shape("char", 4, {3}), "255 255 0 0", {0, 0, 254, 255}},
        {shape("char", 4, {}), "255 255 0 0", {0, 0, 254, 255}},
        {shape("char", 4, {3, 2}, vok_matrix_flag_handle | vok_matrix_flag_use), "255 255 0 0", {0, 0, 254, 255}},
    };
    for (const auto &row : rows) {
        const matrix m(row.info);
        message(m, "setall", row.values);
        zan_surface *s = surface_of(m);
        ASSERT_NE(s, nullptr);
        const pixels p(s);
        EXPECT_EQ(p.width, row.info.dimcount < 1 ? 1 : 3);
        EXPECT_EQ(p.height, row.info.dimcount < 2 ? 1 : 2);
        EXPECT_EQ(std::memcmp(p.at(p.width - 1, p.height - 1), row.bgra, 4), 0) << row.values;
        zgraphics_surface_destroy(s);
    }
    const matrix empty("char", 4, {2, 2});
    send_words(empty, "freedata");
    EXPECT_EQ(surface_of(empty), nullptr);
    EXPECT_EQ(vok_matrix_get_image_surface(nullptr), nullptr);
}

TEST_F(Pictures, a_surface_must_have_four_bytes_a_pixel)
{
    unsigned char rgb[12] = {};
    zan_surface *s = zgraphics_image_surface_create_for_data(rgb, 1, 2, 2, 6, nullptr, nullptr);
    const matrix m("char", 1, {7, 7});
    EXPECT_EQ(send_words(m, "from_image_surface", as_word(s)), VOK_ERR_INVP);
    EXPECT_EQ(m->info.dim[0], 7);
    EXPECT_EQ(send_words(m, "from_image_surface", 0), VOK_ERR_INVP);
    zgraphics_surface_destroy(s);
}

// ---- files ----

TEST_F(Pictures, exported_names_and_formats)
{
    const struct {
        const char *name, *format; // null: not given
        const char *answer;        // of the dialog
        long code;
        const char *file; // what then stands in the folder
    } rows[] = {
        {"a.png", nullptr, nullptr, 0, "a.png"},  {"b", nullptr, nullptr, 0, "b.png"},
        {"c.PNG", "png", nullptr, 0, "c.PNG"},    {"d", "jpeg", nullptr, 0, "d.jpg"},
        {"e.JPEG", "jpeg", nullptr, 0, "e.JPEG"}, {"f.png", "jpeg", nullptr, 0, "f.png.jpg"},
        {"g", "quux", nullptr, 0, "g.png"},       {"h.tif", "tiff", nullptr, VOK_ERR_EROR, nullptr},
        {nullptr, "jpeg", "i", 0, "i.jpg"},       {nullptr, "png", nullptr, VOK_ERR_EROR, nullptr},
        {nullptr, nullptr, "k.png", 0, "k.png"},  {"missing_folder/x.png", "png", nullptr, -1, nullptr},
    };
    const matrix m("char", 4, {20, 10});
    message(m, "setall", "255 200 100 50");
    report_catcher reports;
    for (const auto &row : rows) {
        const scratch_folder folder;
        atom arguments[2];
        long argc = 0;
        if (row.name)
            atom_setsym(&arguments[argc++], gensym((folder / row.name).c_str()));
        if (row.format)
            atom_setsym(&arguments[argc++], gensym(row.format));
        zan_set_dialog_answer(row.answer ? (folder / row.answer).c_str() : nullptr);
        const long code = send_words(m, "export_image_surface", argc, as_word(arguments));
        zan_set_dialog_answer(nullptr);
        EXPECT_EQ(row.code < 0 ? -!!code : code, row.code)
            << (row.name ? row.name : "") << " " << (row.format ? row.format : "");
        EXPECT_EQ(folder.count(), row.file ? 1 : 0);
        if (!row.file)
            continue;
        EXPECT_TRUE(std::filesystem::exists(folder / row.file)) << row.file;
        EXPECT_TRUE(!argc || atom_getsym(arguments) == gensym(row.file)) << row.file;
    }
    EXPECT_EQ(vok_matrix_export_tiff(m, 0, nullptr), VOK_ERR_EROR);
}

TEST_F(Pictures, a_png_comes_back)
{
    const matrix m("char", 4, {3, 2});
    message(m, "setall", "255 200 100 50");
    message(m, "setcell", "2 1 val 128 200 100 50");
    atom name;
    atom_setsym(&name, gensym((folder_ / "a.png").c_str()));
    ASSERT_EQ(vok_matrix_export_image_surface(m, 1, &name), 0);
    const matrix back("long", 2, {1});
    atom rv = {};
    atom_setsym(&name, gensym((folder_ / "a.png").c_str()));
    EXPECT_EQ(send_words(back, "importmovie_as_surface", 1, as_word(&name), as_word(&rv)), 0);
    EXPECT_STREQ(atom_getsym(&rv)->name, (folder_ / "a.png").c_str());
    EXPECT_EQ(back->info.type, _vok_sym_char);
    EXPECT_EQ(back->info.dim[0], 3);
    EXPECT_EQ(cell(back, "0 0"), "255 199 99 49") << "255 * c / 256";
    EXPECT_EQ(atom_getlong(&atoms(cell(back, "2 1"))[0]), 128);

    const matrix single("float32", 1, {9});
    EXPECT_EQ(send_words(single, "importmovie_as_surface", 1, as_word(&name)), 0);
    EXPECT_EQ(single->info.planecount, 1);
    EXPECT_EQ(single->info.dim[1], 2);
    EXPECT_EQ(cell(single, "0 0"), "49") << "plane 3 of the picture";

    zan_set_dialog_answer((folder_ / "a.png").c_str());
    EXPECT_EQ(send_words(back, "importmovie_as_surface", 0, 0), 0) << "no name: the user is asked";
    zan_set_dialog_answer(nullptr);
    EXPECT_EQ(send_words(back, "importmovie_as_surface", 0, 0, as_word(&rv)), VOK_ERR_EROR);
    EXPECT_EQ(atom_getsym(&rv), _vok_sym_nothing);
}

TEST_F(Pictures, files_that_are_refused)
{
    const matrix m("char", 4, {1, 1});
    report_catcher reports;
    atom arguments[2], rv;
    atom_setlong(&arguments[1], 1);
    const auto import = [&](const std::string &file, long argc) {
        atom_setsym(arguments, gensym(file.c_str()));
        return send_words(m, "importmovie_as_surface", argc, as_word(arguments), as_word(&rv));
    };
    EXPECT_EQ(import(folder_ / "none.png", 1), VOK_ERR_EROR);
    EXPECT_NE(reports.one_error().find("can't find file "), std::string::npos);
    EXPECT_EQ(atom_getsym(&rv), _vok_sym_nothing);
    const std::string text = folder_.make("text.txt", "hello");
    EXPECT_EQ(import(text, 1), VOK_ERR_EROR) << "no picture's name";
    EXPECT_EQ(atom_getsym(&rv)->name, text);
    const std::string broken = folder_.make("broken.png", "hello");
    EXPECT_EQ(import(broken, 1), VOK_ERR_EROR);
    EXPECT_EQ(m->info.dim[0], 1);
    zan_surface *s = surface_of(m);
    const std::string good = folder_ / "good.png";
    ASSERT_EQ(zgraphics_image_surface_writepng(s, good.c_str(), 0, 72), 0);
    zgraphics_surface_destroy(s);
    EXPECT_EQ(import(good, 2), VOK_ERR_EROR) << "the flag refuses it";
    EXPECT_EQ(import(good, 1), 0);
}

TEST_F(Pictures, png_of_any_planecount)
{
    const struct {
        long planes;
        const char *values;
        const char *read; // alpha, red, green, blue as the file's surface gives them
    } rows[] = {{4, "255 30 20 10", "255 30 20 10"},
                {3, "30 20 10", "255 30 20 10"},
                {1, "255", "255 255 255 255"},
                {2, "30 255", "255 255 255 30"}};
    for (const auto &row : rows) {
        const matrix m("char", row.planes, {3, 2}), back("char", 4, {9, 9});
        message(m, "setall", row.values);
        const std::string file = folder_ / "p.png";
        ASSERT_EQ(vok_zgraphics_matrix_writepng(m, file.c_str()), 0);
        ASSERT_EQ(vok_zgraphics_matrix_readpng(back, file.c_str()), 0);
        EXPECT_EQ(back->info.dim[0], 3);
        EXPECT_EQ(back->info.dim[1], 2);
        EXPECT_EQ(cell(back, "2 1"), row.read) << row.planes;
    }
    const matrix m("char", 4, {3, 2});
    report_catcher reports;
    EXPECT_EQ(vok_zgraphics_matrix_readpng(m, (folder_ / "none.png").c_str()), VOK_ERR_EROR);
    EXPECT_NE(vok_zgraphics_matrix_writepng(m, (folder_ / "no/such.png").c_str()), 0);
    EXPECT_EQ(vok_zgraphics_matrix_readpng(nullptr, "x"), VOK_ERR_INVP);
    EXPECT_EQ(vok_zgraphics_matrix_writepng(m, nullptr), VOK_ERR_INVP);
}

TEST_F(Pictures, plane_maps_by_planecount)
{
    const std::pair<long, std::vector<long>> rows[] = {
        {1, {0, 0, 0, 0}}, {2, {0, 1, 1, 1}}, {3, {0, 1, 2}}, {4, {3, 2, 1, 0}}, {7, {3, 2, 1, 0}}};
    for (const auto &[planes, map] : rows) {
        vok_matrix_conv_info conv = {};
        const vok_matrix_info info = shape("char", planes, {1, 1});
        vok_zgraphics_set_planemap(&conv, &info);
        EXPECT_EQ(std::vector<long>(conv.planemap, conv.planemap + map.size()), map) << planes;
    }
}

TEST_F(Pictures, names_of_supported_images)
{
    const std::pair<const char *, long> rows[] = {{"a.png", 1},  {"a.PNG", 1},  {"a/b.jpg", 1}, {"a.JPG", 1},
                                                  {"a.jpeg", 1}, {"a.JPEG", 1}, {".png", 0},    {"a.Png", 0},
                                                  {"a.gif", 0},  {"apng", 0},   {"a.png2", 0},  {"", 0}};
    for (const auto &[name, supported] : rows)
        EXPECT_EQ(test_if_supported_image(name), supported) << name;
    EXPECT_EQ(test_if_supported_image(nullptr), 0);
}

TEST_F(Pictures, a_collectives_file_is_copied_to_the_temporary_folder)
{
    const scratch_folder temporary;
    const env_setting tmpdir("TMPDIR", temporary.name().c_str());
    folder_.make("held.png", "bytes");
    char name[ZAN_NAME_SIZE];
    short path = 0, out = 0;
    ASSERT_EQ(path_frompotentialpathname((folder_ / "held.png").c_str(), &path, name), 0);
    EXPECT_NE(vok_matrix_copyfromcollective(name, path, &out), 0);
    EXPECT_EQ(bytes_of(temporary / "held.png"), "bytes");
    char full[ZAN_NAME_SIZE];
    path_topathname(out, name, full);
    EXPECT_EQ(full, temporary / "held.png");
    EXPECT_EQ(vok_matrix_copyfromcollective("none.png", path, &out), 0);
}

// ---- textures ----

struct texture {
    object header;
    symbol *selector;
    void *matrix;
};

zan_word texture_tomatrix(texture *x, symbol *selector, long argc, atom *argv)
{
    x->selector = selector;
    x->matrix = argc == 1 ? atom_getobj(argv) : nullptr;
    return 5;
}

TEST_F(Pictures, a_texture_is_asked_to_copy_itself)
{
    zan_class *c = vok_class_new("test_texture", nullptr, nullptr, sizeof(texture), argtype_cant, 0);
    vok_class_addmethod(c, reinterpret_cast<zan_method>(texture_tomatrix), "tomatrix", argtype_cant, 0);
    vok_class_register(c);
    auto *t = static_cast<texture *>(vok_object_alloc(c));
    vok_object_register(t, gensym("a_test_texture"));
    const matrix m("char", 4, {2, 2});
    EXPECT_EQ(message(m, "vok_gl_texture", "a_test_texture"), 5);
    EXPECT_EQ(t->selector, gensym("vok_gl_texture"));
    EXPECT_EQ(t->matrix, static_cast<vok_matrix *>(m));
    EXPECT_EQ(message(m, "vok_gl_texture", "no_such_texture"), VOK_ERR_EROR);
    EXPECT_EQ(message(m, "vok_gl_texture", ""), VOK_ERR_EROR);
    vok_object_free(t);
}

// ---- bitmaps ----

TEST(Bitmap, owns_what_it_allocates)
{
    vok_bitmap *b = vok_bitmap_new(10, 3, 33, 1);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(vok_bitmap_pitch(b), 64);
    EXPECT_EQ(b->owned, 0);
    EXPECT_EQ(b->planecount, 4);
    EXPECT_EQ(vok_bitmap_lock(b), nullptr);
    EXPECT_EQ(b->lockcount, 1);
    EXPECT_EQ(vok_bitmap_release(b), 0);
    ASSERT_EQ(vok_bitmap_allocate(b), 0);
    EXPECT_EQ(b->owned, 1);
    EXPECT_EQ(b->planecount, 1);
    std::memset(vok_bitmap_lock(b), 1, 3 * 64);
    unsigned char pixels[64];
    EXPECT_EQ(vok_bitmap_setdata(b, pixels), 0);
    EXPECT_EQ(b->owned, 0);
    EXPECT_EQ(vok_bitmap_lock(b), pixels);
    EXPECT_EQ(vok_bitmap_setplanes(b, pixels, pixels + 20, nullptr), 0);
    EXPECT_EQ(b->planecount, 2);
    vok_bitmap_setplanestrides(b, 10, 5, 0);
    EXPECT_EQ(b->planestride[1], 5);
    unsigned char *p0, *p1, *p2;
    EXPECT_EQ(vok_bitmap_lockplanes(b, &p0, &p1, &p2), 0);
    EXPECT_EQ(p1, pixels + 20);
    EXPECT_EQ(p2, nullptr);
    vok_bitmap_setplanes(b, pixels, pixels, pixels);
    EXPECT_EQ(b->planecount, 3);
    vok_bitmap_free(b);
    vok_bitmap_free(nullptr);
}

TEST(Bitmap, refuses_sizes_that_cant_be)
{
    const long rows[][2] = {{-1, 10}, {10, -1}, {1L << 40, 1L << 40}};
    for (const auto &row : rows) {
        vok_bitmap *b = vok_bitmap_new(1, row[0], row[1], 0);
        EXPECT_EQ(vok_bitmap_allocate(b), VOK_ERR_OMEM);
        EXPECT_EQ(vok_bitmap_lock(b), nullptr);
        vok_bitmap_free(b);
    }
    vok_bitmap *exact = vok_bitmap_new(1, 2, 64, 1);
    EXPECT_EQ(vok_bitmap_pitch(exact), 64);
    vok_bitmap_free(exact);
    EXPECT_EQ(vok_bitmap_allocate(nullptr), VOK_ERR_INVP);
}

} // namespace
