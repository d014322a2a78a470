// Probing: which boxes can be shown, and what of them reaches the receiver.
#include "bridge/mop_box_tools.h"

namespace {

// The receiver of a helper patch, bound to its name while it lives.
struct receiver {
    receiver() : x(new_sink(&all)) { gensym("__vok_matrix_probe_receive")->thing = x; }
    ~receiver()
    {
        gensym("__vok_matrix_probe_receive")->thing = nullptr;
        object_free(x);
    }
    // What comes of one round of the probe.
    heard once()
    {
        all.clear();
        zan_vok_mop_vok_matrix_probe_qfn(nullptr);
        return all;
    }
    heard all;
    sink *x;
};

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

void *start(void *x)
{
    return zan_vok_mop_vok_matrix_startprobe(x);
}

class Probing : public Library {
  protected:
    static void SetUpTestSuite()
    {
        Library::SetUpTestSuite();
        op = new_box_class("vok.test.probed", "vok_op");
    }
    void SetUp() override { zan_set_clock(zan_clock_virtual); }
    void TearDown() override
    {
        zan_vok_mop_vok_matrix_endprobe(nullptr);
        zan_set_clock(zan_clock_real);
    }
    static zan_class *op;
};

zan_class *Probing::op;

TEST_F(Probing, OneBoxAtATime)
{
    const boxed a(new_box(op, "vok_op")), b(new_box(op, "vok_op"));
    const boxed plain(make_teller("test.unprobed", false));
    EXPECT_EQ(start(a), a);
    EXPECT_EQ(start(a), nullptr);
    EXPECT_EQ(g_vok_matrix_probe_obj, a);
    EXPECT_EQ(start(b), b);
    EXPECT_EQ(start(plain), nullptr);
    EXPECT_EQ(g_vok_matrix_probe_obj, nullptr); // b's has ended all the same
    EXPECT_EQ(start(nullptr), nullptr);
}

TEST_F(Probing, ShowsTheMatrixOfTheOutlet)
{
    receiver r;
    {
        const boxed b(new_box(op, "vok_op", "@out_name test_shown"));
        send_words(b, "vok_matrix_startprobe");
        send_words(b, "vok_matrix_probevalue");
        zan_run_until(systimer_gettime() + 250);
        ASSERT_EQ(r.all.size(), 3u); // ten times a second, from the first moment on
        EXPECT_EQ(r.all[2], "vok_matrix test_shown");
        zan_vok_mop_vok_matrix_probevalue(b, nullptr, 1);
        EXPECT_EQ(r.once(), heard{}); // it has one outlet
    }
    EXPECT_EQ(g_vok_matrix_probe_obj, nullptr); // gone with its box
    EXPECT_EQ(r.once(), heard{});
}

TEST_F(Probing, WithoutAReceiverNothingIsSent)
{
    const boxed b(new_box(op, "vok_op"));
    start(b);
    zan_vok_mop_vok_matrix_probe_qfn(nullptr);
    EXPECT_EQ(g_vok_matrix_probe_obj, b);
}

TEST_F(Probing, OtherBoxesSayWhatTheyShow)
{
    receiver r;
    const boxed matrix(make_teller("vok.matrix", false)), tells(make_teller("test.tells", true));
    EXPECT_EQ(start(matrix), matrix);
    EXPECT_EQ(r.once(), heard{"vok_matrix test_told"});
    EXPECT_EQ(start(tells), tells);
    atom answer[2];
    atom_setsym(answer, gensym("shown"));
    atom_setlong(answer + 1, 7);
    told = object_new_imp(_vok_sym_nobox, _vok_sym_atomarray, 2, as_word(answer), 0, 0, 0, 0, 0, 0);
    EXPECT_EQ(r.once(), heard{"shown 7"});
    told = nullptr;
    EXPECT_EQ(r.once(), heard{});
}

// A library object that draws into textures, and the box round it.
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
    vok_class_register(made.c);
    zan_class *c = class_new("test.drawing", nullptr, erase(free_test_box), sizeof(test_box), nullptr, 0);
    zan_vok_class_obex_setup(c, offsetof(test_box, obex));
    zan_vok_class_wrap_standard(c, made.c, 0);
    zan_vok_mop_setup_probing(c);
    const boxed b(zan_vok_obex_new(c, gensym("vok_test_drawing")));
    auto *o = static_cast<drawing *>(vok_object_new_imp(gensym("vok_test_drawing"), 0, 0, 0, 0, 0, 0, 0, 0));
    zan_vok_obex_vokob_set(b, o);
    o->out_name[0] = gensym("tex_a");
    o->out_name[1] = gensym("tex_b");
    o->out_count = 2;
    receiver r;
    EXPECT_EQ(send_words(b, "vok_gl_texture_startprobe"), as_word(static_cast<void *>(b)));
    for (const auto &[outlet, name] : {std::pair{0L, "tex_a"}, {1L, "tex_b"}, {5L, "tex_a"}}) {
        zan_vok_mop_vok_matrix_probevalue(b, nullptr, outlet);
        EXPECT_EQ(r.once(), heard{std::string("vok_gl_texture ") + name});
    }
    send_words(b, "vok_gl_texture_endprobe");
    EXPECT_EQ(g_vok_matrix_probe_obj, nullptr);
}

} // namespace
