// Probing: which boxes can be shown, and what of them reaches the receiver.
#include "boxes/box_tools.h"
#include "kernel/quick_class.h"
#include "matrix/matrix_tools.h"

namespace {

// An object that tells what is shown of it: the answer to getoutputmess is taken from
// here. Without an answer its class has no such message.
struct teller {
    object ob;
    symbol *name;
};

void *told;

void *make_teller(const char *classname, bool tells)
{
    zan_class *c = class_new(classname, nullptr, nullptr, sizeof(teller), nullptr, 0);
    class_addattr(c, vok_attr_offset_new("name", _vok_sym_symbol, 0, nullptr, nullptr, offsetof(teller, name)));
    if (tells)
        class_addmethod(c, erase([](void *) { return told; }), "getoutputmess", argtype_cant, 0);
    auto *x = static_cast<teller *>(object_alloc(c));
    x->name = gensym("test_told");
    return x;
}

class Probing : public Library {
  protected:
    void SetUp() override { zan_set_clock(zan_clock_virtual); }
    void TearDown() override
    {
        zan_vok_mop_vok_matrix_endprobe(nullptr);
        zan_set_clock(zan_clock_real);
    }
    void receive() { p.listen(p.make("receive __vok_matrix_probe_receive")); }
    // What comes of one round of the probe.
    std::string once()
    {
        zan_vok_mop_vok_matrix_probe_qfn(nullptr);
        return p.heard();
    }
    static void *start(void *x) { return zan_vok_mop_vok_matrix_startprobe(x); }
    box_tools::patch p;
};

TEST_F(Probing, OneBoxAtATimeShowsTheMatrixOfAnOutlet)
{
    void *a = p.make("vok.op"), *b = p.make("vok.op @out_name test_shown"),
         *plain = make_teller("test.plain", false);
    EXPECT_EQ(start(a), a);
    EXPECT_EQ(start(a), nullptr);
    EXPECT_EQ(once(), "") << "nobody receives";
    EXPECT_EQ(g_vok_matrix_probe_obj, a);
    EXPECT_EQ(start(b), b);
    EXPECT_EQ(start(plain), nullptr);
    EXPECT_EQ(g_vok_matrix_probe_obj, nullptr); // b's has ended all the same
    EXPECT_EQ(start(nullptr), nullptr);
    object_free(plain);

    receive();
    send_words(b, "vok_matrix_startprobe");
    send_words(b, "vok_matrix_probevalue");
    zan_run_until(systimer_gettime() + 250); // ten times a second, from the first moment on
    EXPECT_EQ(p.heard(), "0 vok_matrix test_shown; 0 vok_matrix test_shown; 0 vok_matrix test_shown");
    zan_vok_mop_vok_matrix_probevalue(b, nullptr, 1);
    EXPECT_EQ(once(), ""); // it has one outlet
    p.free(b);
    EXPECT_EQ(g_vok_matrix_probe_obj, nullptr); // gone with its box
    EXPECT_EQ(once(), "");
}

TEST_F(Probing, OtherBoxesSayWhatTheyShow)
{
    receive();
    void *matrix = make_teller("vok.matrix", false), *tells = make_teller("test.tells", true);
    EXPECT_EQ(start(matrix), matrix);
    EXPECT_EQ(once(), "0 vok_matrix test_told");
    EXPECT_EQ(start(tells), tells);
    atom answer[2] = {A("shown"), A(7)};
    told = object_new_imp(_vok_sym_nobox, _vok_sym_atomarray, 2, as_word(answer), 0, 0, 0, 0, 0, 0);
    EXPECT_EQ(once(), "0 shown 7");
    told = nullptr;
    EXPECT_EQ(once(), "");
    for (void *x : {matrix, tells})
        object_free(x);
}

// A library object that draws into textures.
struct drawing {
    object ob;
    symbol *drawto;
    symbol *out_name[4];
    long out_count;
};

TEST_F(Probing, DrawingBoxesShowTheirTextures)
{
    quick_class made("vok_test_drawing", sizeof(drawing));
    made.value("drawto", "symbol", offsetof(drawing, drawto));
    made.array("out_name", "symbol", offsetof(drawing, out_name), 4, offsetof(drawing, out_count));
    vok_class_addmethod(made.c, erase([](void *) {}), "draw", 0);
    vok_class_register(made.c);
    zan_vok_mop_setup_probing(zan_box_class(gensym("vok.test.drawing")));
    void *b = p.make("vok.test.drawing @out_name tex_a tex_b");
    receive();
    EXPECT_EQ(send_words(b, "vok_gl_texture_startprobe"), as_word(b));
    for (const auto &[outlet, name] : {std::pair{0L, "tex_a"}, {1L, "tex_b"}, {5L, "tex_a"}}) {
        zan_vok_mop_vok_matrix_probevalue(b, nullptr, outlet);
        EXPECT_EQ(once(), std::string("0 vok_gl_texture ") + name);
    }
    send_words(b, "vok_gl_texture_endprobe");
    EXPECT_EQ(g_vok_matrix_probe_obj, nullptr);
}

} // namespace
