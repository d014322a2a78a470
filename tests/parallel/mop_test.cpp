// The matrix operator's records: names, copies, restrictions, ioprocs, and messages
// that fall through to the attached matrix.
#include <gtest/gtest.h>

#include <vokra/vokra.h>
#include <zan/host.h>

namespace {

template <typename... Args> zan_word send(void *x, const char *selector, Args... args)
{
    const zan_word w[8] = {(zan_word)args...};
    return object_method_imp(x, gensym(selector), w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]);
}

class Mop : public testing::Test {
  protected:
    void SetUp() override { initialize(); }
    void TearDown() override
    {
        for (void *x : made)
            vok_object_free(x);
    }
    vok_mop *mop(long inputs, long outputs)
    {
        return keep(static_cast<vok_mop *>(vok_object_new(gensym("vok_mop"), inputs, outputs)));
    }
    template <typename T> T *keep(T *x)
    {
        made.push_back(x);
        return x;
    }
    static vok_mop_io *io(void *x) { return static_cast<vok_mop_io *>(x); }
    static std::string name(void *x) { return x ? io(x)->ioname->name : "none"; }
    std::vector<void *> made;
};

TEST_F(Mop, records_are_named_and_counted_from_one)
{
    vok_mop *m = mop(3, 2);
    EXPECT_EQ(name(vok_mop_getinput(m, 1)), "in");
    EXPECT_EQ(name(vok_mop_getinput(m, 3)), "in3");
    EXPECT_EQ(name(vok_mop_getoutput(m, 2)), "out2");
    for (long index : {0L, -1L, 4L})
        EXPECT_EQ(vok_mop_getinput(m, index), nullptr);
    EXPECT_EQ(vok_mop_getinput(nullptr, 1), nullptr);
    EXPECT_EQ(object_attr_getlong(m, gensym("inputcount")), 3);
}

TEST_F(Mop, added_records_are_numbered_from_the_new_total_or_from_one)
{
    vok_mop *fixed = mop(2, 1);
    EXPECT_EQ(send(fixed, "addinputs", 1), 0);
    EXPECT_EQ(name(vok_mop_getinput(fixed, 3)), "in4");
    EXPECT_EQ(send(fixed, "addoutputs", 2), 0);
    EXPECT_EQ(name(vok_mop_getoutput(fixed, 2)), "out4");
    EXPECT_EQ(name(vok_mop_getoutput(fixed, 3)), "out5");
    vok_mop *variable = mop(-1, 1);
    EXPECT_EQ(send(variable->inputlist, "getsize"), 0);
    vok_mop_addinputs(variable, 2);
    EXPECT_EQ(variable->inputcount, 2);
    EXPECT_EQ(name(vok_mop_getinput(variable, 1)), "in");
    EXPECT_EQ(name(vok_mop_getinput(variable, 2)), "in2");
    vok_mop_input_deletetail(variable);
    EXPECT_EQ(variable->inputcount, 1);
    EXPECT_EQ(vok_mop_getinput(variable, 2), nullptr);
}

TEST_F(Mop, copies_are_deep)
{
    vok_mop *m = mop(2, 1);
    vok_mop_single_type(m, gensym("float32"));
    vok_mop_single_planecount(m, 3);
    vok_mop_output_nolink(m, 1);
    vok_mop *copy = keep(reinterpret_cast<vok_mop *>(send(m, "newcopy")));
    ASSERT_NE(copy, nullptr);
    vok_mop_io *out = io(vok_mop_getoutput(copy, 1)), *in2 = io(vok_mop_getinput(copy, 2));
    EXPECT_NE(out, vok_mop_getoutput(m, 1));
    EXPECT_EQ(out->typescount, 1);
    EXPECT_EQ(out->types[0], gensym("float32"));
    EXPECT_EQ(out->minplanecount, 3);
    EXPECT_EQ(out->maxplanecount, 3);
    EXPECT_EQ(out->typelink + out->dimlink + out->planelink, 0);
    EXPECT_EQ(in2->typelink + in2->dimlink + in2->planelink, 3);
    vok_mop *variable = mop(-1, -1);
    vok_mop *empty = keep(vok_mop_newcopy(variable));
    EXPECT_EQ(empty->inputcount, -1);
    EXPECT_EQ(send(empty->inputlist, "getsize"), 0);
}

TEST_F(Mop, infos_are_brought_into_limits)
{
    vok_mop *m = mop(1, 1);
    vok_mop_io *x = io(vok_mop_getinput(m, 1));
    vok_matrix_info info;
    vok_matrix_info_default(&info);
    EXPECT_EQ(vok_mop_io_restrict_type(x, nullptr), VOK_ERR_INVP);
    EXPECT_EQ(vok_mop_io_restrict_dim(nullptr, &info), VOK_ERR_INVP);

    for (const auto &[planes, result] : {std::pair{1L, 4L}, {4L, 4L}, {8L, 4L}}) {
        x->minplanecount = x->maxplanecount = 4;
        info.planecount = planes;
        EXPECT_EQ(send(x, "restrict_planecount", &info), planes == 4 ? 0 : VOK_ERR_EROR);
        EXPECT_EQ(info.planecount, result);
    }

    // Two values for mindim also make mindimcount 2.
    const zan_word two[] = {2, 2}, most[] = {100, 50};
    object_attr_setlong_array(x, gensym("mindim"), 2, two);
    object_attr_setlong_array(x, gensym("maxdim"), 2, most);
    EXPECT_EQ(x->mindimcount, 2);
    EXPECT_EQ(x->maxdimcount, 2);
    struct {
        long dimcount, dim[3], after, wanted[3];
        bool corrected;
    } const table[] = {
        {1, {5, 1, 1}, 2, {5, 2, 1}, true},  {3, {5, 5, 7}, 2, {5, 5, 7}, true},
        {2, {5, 5, 1}, 2, {5, 5, 1}, false}, {2, {500, 1, 1}, 2, {100, 2, 1}, true},
        {-4, {9, 9, 1}, 2, {2, 2, 1}, true}, // nothing of a negative count is kept
    };
    for (const auto &row : table) {
        info.dimcount = row.dimcount;
        std::copy_n(row.dim, 3, info.dim);
        EXPECT_EQ(send(x, "restrict_dim", &info), row.corrected ? VOK_ERR_EROR : 0) << row.dimcount;
        EXPECT_EQ(info.dimcount, row.after);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(info.dim[i], row.wanted[i]) << row.dimcount << " dim " << i;
    }

    // A type that isn't allowed becomes that of the attached matrix, else the first allowed.
    vok_mop_single_type(m, gensym("float32"));
    info.type = gensym("char");
    EXPECT_EQ(send(x, "restrict_type", &info), VOK_ERR_EROR);
    EXPECT_EQ(info.type, gensym("float32"));
    vok_matrix_info other;
    vok_matrix_info_default(&other);
    other.type = gensym("long");
    void *matrix = keep(vok_object_new(gensym("vok_matrix"), &other));
    send(x, "matrix", matrix);
    info.type = gensym("char");
    send(x, "restrict_type", &info);
    EXPECT_EQ(info.type, gensym("long"));
}

TEST_F(Mop, unknown_messages_reach_the_attached_matrix)
{
    vok_mop *m = mop(1, 1);
    vok_mop_io *x = io(vok_mop_getinput(m, 1));
    vok_matrix_info info = {}, seen = {};
    vok_matrix_info_default(&info);
    info.dim[0] = 7;
    EXPECT_EQ(send(x, "getinfo", &seen), 0); // nothing attached: nothing happens
    EXPECT_EQ(seen.dim[0], 0);
    send(x, "matrix", keep(vok_object_new(gensym("vok_matrix"), &info)));
    EXPECT_EQ(send(x, "getinfo", &seen), 0);
    EXPECT_EQ(seen.dim[0], 7);
}

TEST_F(Mop, ioprocs_bring_a_matrix_in)
{
    vok_matrix_info big, small;
    vok_matrix_info_default(&big);
    big.planecount = 1;
    small = big;
    big.dim[0] = big.dim[1] = 4;
    small.dim[0] = small.dim[1] = 2;
    struct {
        vok_mop_ioproc proc;
        const char *name;
        long width;
        int corner, rest;
    } const table[] = {
        {vok_mop_ioproc_copy_trunc, "trunc", 4, 9, 5},
        {vok_mop_ioproc_copy_trunc_zero, "trunc_zero", 4, 9, 0},
        {vok_mop_ioproc_copy_adapt, "adapt", 2, 9, 9},
    };
    vok_mop *m = mop(1, 1);
    vok_mop_io *x = io(vok_mop_getinput(m, 1));
    EXPECT_EQ(vok_mop_ioproc_copy_adapt(m, x, nullptr), 0);
    for (const auto &row : table) {
        void *incoming = keep(vok_object_new(gensym("vok_matrix"), &small));
        void *attached = keep(vok_object_new(gensym("vok_matrix"), &big));
        EXPECT_EQ(row.proc(m, x, incoming), 0); // nothing attached yet, or the last one
        send(x, "matrix", attached);
        atom a;
        atom_setlong(&a, 9);
        vok_matrix_setall(static_cast<vok_matrix *>(incoming), gensym("setall"), 1, &a);
        atom_setlong(&a, 5);
        vok_matrix_setall(static_cast<vok_matrix *>(attached), gensym("setall"), 1, &a);
        row.proc(m, x, incoming);
        unsigned char *data = nullptr;
        vok_matrix_info info;
        send(attached, "getinfo", &info);
        send(attached, "getdata", &data);
        EXPECT_EQ(info.dim[0], row.width) << row.name;
        EXPECT_EQ(data[0], row.corner) << row.name;
        EXPECT_EQ(data[info.dimstride[1] * (row.width - 1) + row.width - 1], row.rest) << row.name;
        EXPECT_EQ(vok_mop_ioproc_tosym(row.proc), gensym(row.name));
        send(x, "matrix", nullptr);
    }
    EXPECT_EQ(vok_mop_ioproc_tosym(nullptr), gensym("resamp"));
    const auto own = +[](vok_mop *, vok_mop_io *, void *) -> vok_err { return 0; };
    EXPECT_EQ(vok_mop_ioproc_tosym(own), gensym("custom"));
}

TEST_F(Mop, matrix_calc_hands_over_its_lists)
{
    struct seen {
        void *inputs, *outputs;
    };
    static seen last;
    static zan_class *c = nullptr;
    const auto make = +[]() -> void * { return vok_object_alloc(c); };
    const auto calc = +[](void *, void *inputs, void *outputs) -> vok_err {
        last = {inputs, outputs};
        return VOK_ERR_MSDM;
    };
    c = vok_class_new("vok_test_calc", reinterpret_cast<zan_method>(make), nullptr, sizeof(object), argtype_cant,
                      0);
    vok_class_addmethod(c, reinterpret_cast<zan_method>(calc), "matrix_calc", argtype_cant, 0);
    vok_class_register(c);
    vok_mop *m = mop(2, 1);
    void *x = keep(vok_object_new(gensym("vok_test_calc")));
    EXPECT_EQ(send(m, "matrix_calc", x), VOK_ERR_MSDM);
    EXPECT_EQ(last.inputs, m->inputlist);
    EXPECT_EQ(last.outputs, m->outputlist);
}

} // namespace
