// Pictures: alpha multiplied in and divided out, PNG and JPEG files written and read, and
// the bitmaps of the video rooms.
#include "matrix/matrix_tools.h"

#include <algorithm>
#include <array>
#include <cstring>

#include <vokra/matrix_image.h>

#include "kernel/quick_class.h"
#include "scratch.h"

namespace {

// A matrix's surface and its pixels, held while it lives.
struct surface {
    explicit surface(vok_matrix *x) : held(reinterpret_cast<zan_surface *>(send_words(x, "get_image_surface")))
    {
        width = held ? zgraphics_image_surface_get_width(held) : 0;
        height = held ? zgraphics_image_surface_get_height(held) : 0;
        if (held)
            first = zgraphics_image_surface_lockpixels_readonly(held, 0, 0, width, height, &stride, &bytes);
    }
    ~surface() { zgraphics_surface_destroy(held); }
    const unsigned char *at(long x, long y) const { return first + y * stride + x * bytes; }
    zan_surface *held;
    long width, height, stride = 0, bytes = 0;
    const unsigned char *first = nullptr;
};

class Pictures : public Library {
  protected:
    static long import(vok_matrix *x, const std::string &file, long argc = 1, atom *rv = nullptr)
    {
        std::vector<atom> list = atoms(file + " 1");
        return send_words(x, "importmovie_as_surface", argc, as_word(list.data()), as_word(rv));
    }
    scratch_folder folder_;
    report_catcher reports_;
};

TEST_F(Pictures, every_colour_under_every_alpha)
{
    const matrix m("char", 4, {256, 256}), back("float32", 1, {1});
    const auto colours = [](int c) { return std::array{c, 255 - c, c ^ 0x55}; }; // red, green, blue
    for (int i = 0; i < 65536; i++) {
        m->data[4 * i] = static_cast<unsigned char>(i / 256);
        std::copy_n(colours(i % 256).begin(), 3, m->data + 4 * i + 1);
    }
    const surface s(m);
    ASSERT_TRUE(s.width == 256 && s.bytes == 4);
    EXPECT_EQ(send_words(back, "from_image_surface", as_word(s.held)), 0);
    EXPECT_EQ(format_of(back->info), "char 4 256 256");
    for (int a = 0; a < 256; a++)
        for (int c = 0; c < 256; c++) {
            const unsigned char *pixel = s.at(c, a), *got = back->data + 1024 * a + 4 * c;
            ASSERT_TRUE(pixel[3] == a && got[0] == a) << a;
            for (size_t k = 0; k < 3; k++) {
                const int stored = a * colours(c)[k] / 256;
                const int read = a == 0 || a == 255 ? stored : std::min(stored * (65536 / a) / 256, 255);
                ASSERT_TRUE(pixel[2 - k] == stored && got[1 + k] == read) << a << " " << c << " " << k;
            }
        }
    EXPECT_EQ(s.at(255, 255)[2], 254) << "opaque white loses one step";
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
        const surface s(m);
        EXPECT_TRUE(s.width == (row.info.dimcount < 1 ? 1 : 3) && s.height == (row.info.dimcount < 2 ? 1 : 2));
        EXPECT_EQ(std::memcmp(s.at(s.width - 1, s.height - 1), row.bgra, 4), 0) << row.values;
    }
    const matrix empty("char", 4, {2, 2});
    send_words(empty, "freedata");
    EXPECT_EQ(surface(empty).held, nullptr);
    unsigned char rgb[12] = {}; // three bytes a pixel are refused
    zan_surface *s = zgraphics_image_surface_create_for_data(rgb, 1, 2, 2, 6, nullptr, nullptr);
    EXPECT_EQ(send_words(empty, "from_image_surface", as_word(s)), VOK_ERR_INVP);
    zgraphics_surface_destroy(s);
}

// ---- files ----

TEST_F(Pictures, exported_names_and_formats)
{
    const struct {
        std::string arguments, answer; // of the dialog, when it isn't empty
        long code;
        std::string file; // what then stands in the folder
    } rows[] = {
        {"/a.png", "", 0, "a.png"},
        {"/b", "", 0, "b.png"},
        {"/c jpeg", "", 0, "c.jpg"},
        {"/d.JPEG jpeg", "", 0, "d.JPEG"},
        {"/e.png jpeg", "", 0, "e.png.jpg"},
        {"/f quux", "", 0, "f.png"},
        {"/g.tif tiff", "", VOK_ERR_EROR, ""},
        {"/missing_folder/x.png png", "", VOK_ERR_EROR, ""},
        {"jpeg", "h", 0, "h.jpg"},
        {"png", "", VOK_ERR_EROR, ""},
        {"", "i.png", 0, "i.png"},
    };
    const matrix m("char", 4, {20, 10});
    for (const auto &row : rows) {
        const scratch_folder folder;
        std::vector<atom> list = atoms((row.arguments[0] == '/' ? folder.name() : "") + row.arguments);
        const long argc = static_cast<long>(list.size());
        zan_set_dialog_answer(row.answer.empty() ? nullptr : (folder / row.answer).c_str());
        EXPECT_EQ(send_words(m, "export_image_surface", argc, as_word(list.data())), row.code) << row.arguments;
        zan_set_dialog_answer(nullptr);
        EXPECT_EQ(folder.count(), !row.file.empty());
        EXPECT_TRUE(std::filesystem::exists(folder / row.file)) << row.file;
        EXPECT_TRUE(!argc || row.code || atom_getsym(list.data())->name == row.file);
    }
    EXPECT_EQ(vok_matrix_export_tiff(m, 0, nullptr), VOK_ERR_EROR);
}

TEST_F(Pictures, a_png_comes_back)
{
    const matrix m("char", 4, {3, 2}), back("long", 2, {1}), single("float32", 1, {9});
    message(m, "setall", "128 200 100 50");
    const std::string file = folder_ / "a.png";
    std::vector<atom> list = atoms(file);
    ASSERT_EQ(vok_matrix_export_image_surface(m, 1, list.data()), 0);
    atom rv = {};
    EXPECT_EQ(import(back, file, 1, &rv), 0);
    EXPECT_EQ(atom_getsym(&rv)->name, file);
    EXPECT_EQ(format_of(back->info), "char 4 3 2");
    EXPECT_EQ(cell(back, "2 1"), "128 200 100 50");
    EXPECT_EQ(import(single, file), 0);
    EXPECT_EQ(format_of(single->info), "char 1 3 2");
    EXPECT_EQ(cell(single, "0 0"), "50") << "plane 3 of the picture";
    zan_set_dialog_answer(file.c_str());
    EXPECT_EQ(import(back, "", 0), 0) << "no name: the user is asked";
    zan_set_dialog_answer(nullptr);
    EXPECT_EQ(import(back, "", 0, &rv), VOK_ERR_EROR);
    EXPECT_EQ(atom_getsym(&rv), _vok_sym_nothing);

    EXPECT_EQ(import(back, file, 2), VOK_ERR_EROR) << "the flag refuses it";
    EXPECT_EQ(import(back, folder_ / "none.png", 1, &rv), VOK_ERR_EROR);
    EXPECT_NE(reports_.one_error().find("can't find file "), std::string::npos);
    EXPECT_EQ(atom_getsym(&rv), _vok_sym_nothing);
    for (const char *name : {"text.txt", "broken.png"}) { // no picture's name, and no picture
        const std::string refused = folder_.make(name, "hello");
        EXPECT_EQ(import(back, refused, 1, &rv), VOK_ERR_EROR);
        EXPECT_EQ(atom_getsym(&rv)->name, refused);
    }
}

TEST_F(Pictures, png_of_any_planecount)
{
    const struct {
        long planes;
        const char *values, *read; // alpha, red, green, blue as the file's surface gives them
    } rows[] = {{4, "255 30 20 10", "255 30 20 10"},
                {7, "255 30 20 10 1 2 3", "255 30 20 10"},
                {3, "30 20 10", "255 30 20 10"},
                {1, "255", "255 255 255 255"},
                {2, "30 255", "255 255 255 30"}};
    const std::string file = folder_ / "p.png";
    for (const auto &row : rows) {
        const matrix m("char", row.planes, {3, 2}), back("char", 4, {9, 9});
        message(m, "setall", row.values);
        ASSERT_EQ(vok_zgraphics_matrix_writepng(m, file.c_str()), 0);
        ASSERT_EQ(vok_zgraphics_matrix_readpng(back, file.c_str()), 0);
        EXPECT_EQ(format_of(back->info), "char 4 3 2");
        EXPECT_EQ(cell(back, "2 1"), row.read) << row.planes;
    }
    const matrix m("char", 4, {3, 2});
    EXPECT_EQ(vok_zgraphics_matrix_readpng(m, (folder_ / "none.png").c_str()), VOK_ERR_EROR);
    EXPECT_NE(vok_zgraphics_matrix_writepng(m, (folder_ / "no/such.png").c_str()), 0);
    EXPECT_EQ(vok_zgraphics_matrix_readpng(nullptr, "x"), VOK_ERR_INVP);
    EXPECT_EQ(vok_zgraphics_matrix_writepng(m, nullptr), VOK_ERR_INVP);
}

TEST_F(Pictures, names_of_supported_images)
{
    for (const char *name : {"a.png", "a.PNG", "a/b.jpg", "a.JPG", "a.jpeg", "a.JPEG"})
        EXPECT_EQ(test_if_supported_image(name), 1) << name;
    for (const char *name : {".png", "a.Png", "a.gif", "apng", "a.png2", "", static_cast<const char *>(nullptr)})
        EXPECT_EQ(test_if_supported_image(name), 0);
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

TEST_F(Pictures, a_texture_is_asked_to_copy_itself)
{
    static void *given;
    quick_class textures("test_texture", sizeof(object));
    textures.message("tomatrix", [](object *, symbol *selector, long argc, atom *argv) -> zan_word {
        given = argc == 1 && selector == gensym("vok_gl_texture") ? atom_getobj(argv) : nullptr;
        return 5;
    });
    void *texture = vok_object_register(vok_object_alloc(textures.c), gensym("a_test_texture"));
    const matrix m("char", 4, {2, 2});
    EXPECT_EQ(message(m, "vok_gl_texture", "a_test_texture"), 5);
    EXPECT_EQ(given, static_cast<vok_matrix *>(m));
    for (const char *none : {"no_such_texture", ""})
        EXPECT_EQ(message(m, "vok_gl_texture", none), VOK_ERR_EROR);
    vok_object_free(texture);
}

// ---- bitmaps ----

TEST(Bitmap, owns_what_it_allocates)
{
    vok_bitmap *b = vok_bitmap_new(10, 3, 33, 1);
    EXPECT_EQ(vok_bitmap_pitch(b), 64);
    EXPECT_TRUE(!vok_bitmap_lock(b) && !b->owned && b->planecount == 4 && b->lockcount == 1);
    EXPECT_EQ(vok_bitmap_release(b), 0);
    EXPECT_EQ(vok_bitmap_allocate(b), 0);
    EXPECT_TRUE(b->owned && b->planecount == 1 && b->lockcount == 0);
    std::memset(vok_bitmap_lock(b), 1, 3 * 64);
    unsigned char pixels[64], *p0, *p1, *p2;
    EXPECT_EQ(vok_bitmap_setdata(b, pixels), 0);
    EXPECT_TRUE(!b->owned && vok_bitmap_lock(b) == pixels);
    EXPECT_EQ(vok_bitmap_setplanes(b, pixels, pixels + 20, nullptr), 0);
    EXPECT_EQ(vok_bitmap_setplanestrides(b, 10, 5, 0), 0);
    EXPECT_EQ(vok_bitmap_lockplanes(b, &p0, &p1, &p2), 0);
    EXPECT_TRUE(b->planecount == 2 && b->planestride[1] == 5 && p0 == pixels && p1 == pixels + 20 && !p2);
    vok_bitmap_free(b);
    for (const auto &[height, pitch] : {std::pair{-1L, 10L}, {10, -1}, {1L << 40, 1L << 40}}) {
        b = vok_bitmap_new(1, height, pitch, 0);
        EXPECT_EQ(vok_bitmap_allocate(b), VOK_ERR_OMEM);
        EXPECT_EQ(vok_bitmap_lock(b), nullptr);
        vok_bitmap_free(b);
    }
    vok_bitmap_free(nullptr);
    EXPECT_EQ(vok_bitmap_allocate(nullptr), VOK_ERR_INVP);
}

} // namespace
