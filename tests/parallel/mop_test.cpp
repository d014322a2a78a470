// The matrix operator's records: names, copies, restrictions, ioprocs, and messages
// that fall through to the attached matrix.
#include "kernel/quick_class.h"
#include <algorithm>

namespace {

class Mop : public testing::Test {
  protected:
    ~Mop() override
    {
        for (void *x : made)
            vok_object_free(x);
    }
    vok_mop *mop(long inputs, long outputs)
    {
        return keep(static_cast<vok_mop *>(vok_object_new(S("vok_mop"), inputs, outputs)));
    }
    template <typename T> T *keep(T *x)
    {
        made.push_back(x);
        return x;
    }
    static vok_mop_io *io(void *x) { return static_cast<vok_mop_io *>(x); }
    // Of all its records, inputs first.
    static std::string names(vok_mop *m)
    {
        std::string text;
        for (void *list : {m->inputlist, m->outputlist})
            for (long i = 0; i < linklist_getsize(list); ++i)
                text += std::string(io(linklist_getindex(list, i))->ioname->name) + " ";
        return text;
    }
    std::vector<void *> made;
};

TEST_F(Mop, records_are_numbered_from_one_and_added_ones_of_a_fixed_list_from_the_new_total)
{
    vok_mop *fixed = mop(2, 1);
    EXPECT_EQ(names(fixed), "in in2 out ");
    for (long index : {0L, -1L, 3L})
        EXPECT_EQ(vok_mop_getinput(fixed, index), nullptr);
    EXPECT_EQ(vok_mop_getinput(nullptr, 1), nullptr);
    EXPECT_EQ(send(fixed, "addinputs", 1), 0);
    EXPECT_EQ(send(fixed, "addoutputs", 2), 0);
    EXPECT_EQ(names(fixed), "in in2 in4 out out4 out5 ");
    EXPECT_EQ(object_attr_getlong(fixed, S("inputcount")), 3);
    vok_mop *variable = mop(-1, 1);
    EXPECT_EQ(names(variable), "out ");
    vok_mop_addinputs(variable, 2);
    EXPECT_EQ(names(variable), "in in2 out ");
    vok_mop_input_deletetail(variable);
    EXPECT_EQ(names(variable), "in out ");
    EXPECT_EQ(variable->inputcount, 1);
}

TEST_F(Mop, copies_are_deep)
{
    vok_mop *m = mop(2, 1);
    vok_mop_single_type(m, S("float32"));
    vok_mop_single_planecount(m, 3);
    vok_mop_output_nolink(m, 1);
    vok_mop *copy = keep(reinterpret_cast<vok_mop *>(send(m, "newcopy")));
    vok_mop_io *out = io(vok_mop_getoutput(copy, 1)), *in2 = io(vok_mop_getinput(copy, 2));
    EXPECT_NE(out, vok_mop_getoutput(m, 1));
    EXPECT_TRUE(out->typescount == 1 && out->types[0] == S("float32"));
    EXPECT_TRUE(out->minplanecount == 3 && out->maxplanecount == 3);
    EXPECT_EQ(out->typelink + out->dimlink + out->planelink, 0);
    EXPECT_EQ(in2->typelink + in2->dimlink + in2->planelink, 3);
    vok_mop *empty = keep(vok_mop_newcopy(mop(-1, -1)));
    EXPECT_EQ(empty->inputcount, -1);
    EXPECT_EQ(names(empty), "");
}

TEST_F(Mop, infos_are_brought_into_limits)
{
    vok_mop *m = mop(1, 1);
    vok_mop_io *x = io(vok_mop_getinput(m, 1));
    vok_matrix_info info;
    vok_matrix_info_default(&info);
    EXPECT_EQ(vok_mop_io_restrict_type(x, nullptr), VOK_ERR_INVP);
    EXPECT_EQ(vok_mop_io_restrict_dim(nullptr, &info), VOK_ERR_INVP);

    x->minplanecount = x->maxplanecount = 4;
    for (const long planes : {1L, 4L, 8L}) {
        info.planecount = planes;
        EXPECT_EQ(send(x, "restrict_planecount", &info), planes == 4 ? 0 : VOK_ERR_EROR);
        EXPECT_EQ(info.planecount, 4);
    }

    // Two values for mindim also make mindimcount 2.
    const zan_word two[] = {2, 2}, most[] = {100, 50};
    object_attr_setlong_array(x, S("mindim"), 2, two);
    object_attr_setlong_array(x, S("maxdim"), 2, most);
    EXPECT_TRUE(x->mindimcount == 2 && x->maxdimcount == 2);
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
        EXPECT_TRUE(std::equal(info.dim, info.dim + 3, row.wanted)) << row.dimcount;
    }

    // A type that isn't allowed becomes that of the attached matrix, else the first allowed.
    vok_mop_single_type(m, S("float32"));
    info.type = S("char");
    EXPECT_EQ(send(x, "restrict_type", &info), VOK_ERR_EROR);
    EXPECT_EQ(info.type, S("float32"));
    vok_matrix_info wide = info, seen = {};
    EXPECT_EQ(send(x, "getinfo", &seen), 0); // nothing attached: nothing happens
    EXPECT_EQ(seen.planecount, 0);
    wide.type = S("long");
    send(x, "matrix", keep(vok_matrix_new(&wide)));
    info.type = S("char");
    send(x, "restrict_type", &info);
    EXPECT_EQ(info.type, S("long"));
    EXPECT_EQ(send(x, "getinfo", &seen), 0); // what the record doesn't know goes to the matrix
    EXPECT_EQ(seen.planecount, 4);
}

TEST_F(Mop, ioprocs_bring_a_matrix_in)
{
    const struct {
        vok_mop_ioproc proc;
        const char *name;
        long width;
        int rest; // of the cells; the first is always the incoming one's
    } table[] = {
        {vok_mop_ioproc_copy_trunc, "trunc", 4, 5},
        {vok_mop_ioproc_copy_trunc_zero, "trunc_zero", 4, 0},
        {vok_mop_ioproc_copy_adapt, "adapt", 2, 9},
    };
    vok_mop *m = mop(1, 1);
    vok_mop_io *x = io(vok_mop_getinput(m, 1));
    const auto square = [&](long width, int value) {
        vok_matrix_info info;
        vok_matrix_info_default(&info);
        info.planecount = 1;
        info.dim[0] = info.dim[1] = width;
        vok_matrix *matrix = keep(vok_matrix_new(&info));
        atom a = A(value);
        vok_matrix_setall(matrix, S("setall"), 1, &a);
        return matrix;
    };
    for (const auto &row : table) {
        vok_matrix *incoming = square(2, 9), *attached = square(4, 5);
        EXPECT_EQ(row.proc(m, x, incoming), 0); // nothing attached yet
        send(x, "matrix", attached);
        EXPECT_EQ(row.proc(m, x, nullptr), 0);
        row.proc(m, x, incoming);
        const long last = row.width - 1;
        EXPECT_EQ(attached->info.dim[0], row.width) << row.name;
        EXPECT_EQ(attached->data[0], 9) << row.name;
        EXPECT_EQ(attached->data[attached->info.dimstride[1] * last + last], row.rest) << row.name;
        EXPECT_EQ(vok_mop_ioproc_tosym(row.proc), S(row.name));
        send(x, "matrix", 0L);
    }
    EXPECT_EQ(vok_mop_ioproc_tosym(nullptr), S("resamp"));
    EXPECT_EQ(vok_mop_ioproc_tosym([](vok_mop *, vok_mop_io *, void *) -> vok_err { return 0; }), S("custom"));
}

TEST_F(Mop, matrix_calc_hands_over_its_lists)
{
    static void *last[2];
    const auto calc = [](void *, void *inputs, void *outputs) -> vok_err {
        last[0] = inputs;
        last[1] = outputs;
        return VOK_ERR_MSDM;
    };
    static const quick_class k = quick_class("vok_test_calc", sizeof(object)).message("matrix_calc", calc);
    vok_mop *m = mop(2, 1);
    EXPECT_EQ(send(m, "matrix_calc", keep(k.make<object>())), VOK_ERR_MSDM);
    EXPECT_TRUE(last[0] == m->inputlist && last[1] == m->outputlist);
}

} // namespace
