// vok_op: the walk over rows, planes and dimensions against the same walk said cell
// by cell, and the class as its users meet it.
#include <array>
#include <cstring>
#include <random>

#include <vokra/op.h>
#include <vokra/parallel_ndim.h>

#include "calc/expr_tools.h"

namespace {

class Op : public Library {};

struct op_object {
    vok_op *x = static_cast<vok_op *>(vok_object_new(gensym("vok_op")));

    explicit op_object(const std::string &words)
    {
        if (words != "pass") // as it is born
            set(words);
    }
    ~op_object() { vok_object_free(x); }
    void set(const std::string &words) const
    {
        std::vector<atom> list = atoms(words);
        object_attr_setvalueof(x, gensym("op"), static_cast<long>(list.size()), list.data());
    }
    long calc(vok_matrix *in1, vok_matrix *in2, vok_matrix *out) const
    {
        void *inputs = vok_linklist_new(), *outputs = vok_linklist_new();
        for (vok_matrix *in : {in1, in2})
            if (in)
                vok_linklist_append(inputs, in);
        if (out)
            vok_linklist_append(outputs, out);
        const long result = vok_object_method(x, _vok_sym_matrix_calc, inputs, outputs);
        vok_linklist_chuck(inputs);
        vok_linklist_chuck(outputs);
        return result;
    }
};

// ---- the class ----

TEST_F(Op, is_born_as_pass_and_has_its_menu)
{
    const op_object op("pass");
    EXPECT_EQ(op.x->opcount, 1);
    for (const symbol *word : op.x->op)
        EXPECT_EQ(word, gensym("pass"));
    EXPECT_TRUE(class_adornment_get(_vok_op_class, _vok_sym_vok_mop));
    long argc = 0;
    atom *argv = nullptr;
    ASSERT_EQ(object_attr_attr_getvalueof(op.x, gensym("op"), gensym("enumvals"), &argc, &argv), 0);
    std::string menu;
    for (long i = 0; i < argc; i++) {
        menu += std::string(i ? " " : "") + atom_getsym(argv + i)->name;
        EXPECT_TRUE(vok_op_fn_lookup(atom_getsym(argv + i))) << menu;
    }
    EXPECT_EQ(menu,
              "* / + sub !/ !- +m -m % !% min max avg abs absdiff pass !pass fold wrap & | ^ ~ >> << && || ! > < "
              ">= <= == != >p <p >=p <=p ==p !=p sin cos tan asin acos atan atan2 sinh cosh tanh asinh acosh "
              "atanh exp exp2 ln log log2 log10 hypot pow sqrt ceil floor round trunc");
    sysmem_freeptr(argv);
    EXPECT_EQ(object_method_imp(object_attr_get(op.x, gensym("op")), gensym("getmethodtype"),
                                as_word(_vok_sym_set), 0, 0, 0, 0, 0, 0, 0),
              argtype_usurp_low);
    op.set(""); // an empty list means pass
    matrix a("char", 4, {3, 2}), out("char", 4, {3, 2});
    message(a, "setall", "9 8 7 6");
    EXPECT_EQ(op.x->opcount, 0);
    EXPECT_EQ(op.calc(a, a, out), 0);
    EXPECT_EQ(op.x->opcount, 1);
    EXPECT_EQ(cell(out, "2 1"), "9 8 7 6");
    op.x->opcount = 0;
    EXPECT_EQ(op.calc(nullptr, nullptr, nullptr), VOK_ERR_INVP);
    EXPECT_EQ(op.x->opcount, 1) << "repaired before anything else is looked at";
}

TEST_F(Op, errors_leave_everything_as_it_was)
{
    const op_object op("+");
    matrix a("char", 4, {4, 4}, vok_matrix_flag_use | vok_matrix_flag_handle), b("char", 4, {4, 4}),
        other("long", 4, {4, 4}), empty("char", 4, {4, 4}, vok_matrix_flag_use | vok_matrix_flag_reference);
    const struct {
        vok_matrix *in1, *in2, *out;
        long error;
    } rows[] = {{a, nullptr, b, VOK_ERR_INVP}, {a, b, nullptr, VOK_ERR_INVP}, {a, other, b, VOK_ERR_MSTP},
                {a, b, other, VOK_ERR_MSTP},   {empty, b, b, VOK_ERR_INVI},   {b, empty, b, VOK_ERR_INVI},
                {b, b, empty, VOK_ERR_INVO}};
    for (const auto &row : rows)
        EXPECT_EQ(op.calc(row.in1, row.in2, row.out), row.error) << &row - rows;
    EXPECT_EQ(vok_matrix_lock(a, 0), 0) << "an error left the handle locked";
}

// ---- shapes ----

TEST_F(Op, words_go_by_planes_and_sizes_are_cut)
{
    const op_object op("+ no_such_word -");
    matrix a("char", 4, {9, 8}), b("char", 4, {4, 3}), out("char", 4, {6, 5});
    message(a, "setall", "100 100 100 100");
    message(b, "setall", "30 30 30 30");
    message(out, "setall", "7 7 7 7");
    EXPECT_EQ(op.calc(a, b, out), 0);
    for (long x = 0; x < 6; x++)
        for (long y = 0; y < 5; y++)
            EXPECT_EQ(cell(out, std::to_string(x) + " " + std::to_string(y)),
                      x < 4 && y < 3 ? "130 7 70 130" : "7 7 7 7");
}

TEST_F(Op, a_size_of_1_goes_on_for_ever)
{
    const op_object op("+");
    const std::string whole[] = {"cell[0]+10*cell[1]+100*cell[2]", "1000+cell[0]+10*cell[1]+100*cell[2]"};
    const char *const along[] = {"+3*cell[0]", "+5*cell[1]", "+9*cell[2]"};
    matrix a("float32", 2, {6, 5, 4}), out("float32", 2, {6, 5, 4}), expected("float32", 2, {6, 5, 4});
    const auto fill = [](vok_matrix *m, const std::string &first, const std::string &second) {
        message(m, "exprfill", "0 " + first);
        message(m, "exprfill", "1 " + second);
    };
    fill(a, whole[0], whole[1]);
    for (const std::initializer_list<long> dims :
         {std::initializer_list<long>{1}, {1, 1, 1}, {6, 1, 4}, {1, 5, 4}, {1, 5, 1}, {6, 5, 1}, {6}, {6, 5}}) {
        matrix b("float32", 2, dims);
        std::string terms;
        for (size_t d = 0; d < dims.size(); d++)
            terms += dims.begin()[d] > 1 ? along[d] : "";
        fill(b, "(7)" + terms, "(8)" + terms);
        fill(expected, whole[0] + "+7" + terms, whole[1] + "+8" + terms);
        for (const bool first : {false, true}) {
            message(out, "setall", "-1. -1.");
            EXPECT_EQ(first ? op.calc(b, a, out) : op.calc(a, b, out), 0);
            EXPECT_TRUE(same_bits(out, expected)) << terms << " of " << dims.size();
        }
    }
}

TEST_F(Op, large_ones_are_split_among_the_workers)
{
    const op_object op("*");
    matrix a("float32", 2, {301, 203}), b("float32", 2, {301, 1}), out("float32", 2, {301, 203}),
        expected("float32", 2, {301, 203});
    message(a, "exprfill", "cell[0]+1000*cell[1]");
    message(b, "exprfill", "cell[0]%7");
    message(expected, "exprfill", "(cell[0]+1000*cell[1])*(cell[0]%7)");
    const long parallel = _vok_parallel;
    for (const long on : {0, 1}) {
        _vok_parallel = on;
        message(out, "setall", "-1. -1.");
        EXPECT_EQ(op.calc(a, b, out), 0);
        EXPECT_TRUE(same_bits(out, expected)) << on;
    }
    _vok_parallel = parallel;
}

// ---- the walk against the same, cell by cell ----

// A block that a matrix lies in, with room around it and strides of its own.
struct loose_matrix {
    vok_matrix_info info{};
    std::vector<unsigned char> block;
    loose_matrix(std::mt19937 &random, symbol *type, long size, long planes, long dimcount, const long *dim,
                 bool may_shrink)
    {
        info.type = type;
        info.dimcount = dimcount;
        info.planecount = planes;
        long bytes = info.planecount * size;
        for (long i = 0; i < 32; i++) {
            info.dim[i] = i < dimcount ? dim[i] : 1;
            if (i == 0 && may_shrink && random() % 4 == 0)
                info.dim[0] = 1;
            info.dimstride[i] = i < dimcount ? bytes : 0;
            if (i < dimcount)
                bytes *= info.dim[i];
            if (random() % 3 == 0)
                bytes += size * static_cast<long>(random() % 3); // padding
            if (i > 0 && may_shrink && random() % 6 == 0)
                info.dimstride[i] = 0;
        }
        block.resize(1024 + static_cast<size_t>(bytes));
        for (unsigned char &v : block)
            v = static_cast<unsigned char>(random());
        // no NaN: which one comes out of two is the processor's
        for (size_t i = 0; i + 8 <= block.size(); i += 8)
            if (type == _vok_sym_float32 || type == _vok_sym_float64)
                block[i + 3] = block[i + 7] = 0x41;
    }
    unsigned char *data() { return block.data() + 512; }
};

void cell_by_cell(vok_op_vector_fn *fns, long dimcount, const long *dim, long planecount, long size,
                  const loose_matrix *const *m, std::array<unsigned char *, 3> data)
{
    if (dimcount > 2) {
        for (long i = 0; i < dim[dimcount - 1]; i++) {
            cell_by_cell(fns, dimcount - 1, dim, planecount, size, m, data);
            for (size_t k = 0; k < 3; k++)
                data[k] += m[k]->info.dimstride[dimcount - 1];
        }
        return;
    }
    for (long y = 0; y < (dimcount > 1 ? dim[1] : 1); y++)
        for (long p = 0; p < planecount; p++)
            for (long x = 0; x < dim[0]; x++) {
                vok_op_vector_arg args[3];
                for (size_t k = 0; k < 3; k++) {
                    const vok_matrix_info &info = m[k]->info;
                    args[k] = {data[k] + y * info.dimstride[1] + (p % info.planecount) * size +
                                   (info.dim[0] < 2 ? 0 : x * info.planecount * size),
                               1};
                }
                fns[p](1, fns, &args[0], &args[1], &args[2]);
            }
}

TEST_F(Op, the_walk_reaches_every_cell_once)
{
    std::mt19937 random(11);
    const auto from_1_to = [&](unsigned n) { return 1 + static_cast<long>(random() % n); };
    const struct {
        symbol *type;
        long size;
    } types[] = {{_vok_sym_char, 1}, {_vok_sym_long, 4}, {_vok_sym_float32, 4}, {_vok_sym_float64, 8}};
    const char *const words[] = {"+m", "!-", "^", "pass", "min", "sin", "no such word", ">p"};
    for (int round = 0; round < 3000; round++) {
        const auto &[type, size] = types[random() % 4];
        const long dimcount = from_1_to(4), planes = from_1_to(4);
        long dim[32], sizes[32];
        for (long i = 0; i < 32; i++)
            dim[i] = sizes[i] = i >= dimcount ? 1 : i > 0 ? from_1_to(4) : from_1_to(random() % 10 ? 40 : 3000);
        if (random() % 8 == 0 && dim[0] > 2)
            dim[0]--; // less than the matrices have
        const auto input_planes = [&] { return random() % 2 ? planes : from_1_to(4); };
        loose_matrix a(random, type, size, input_planes(), dimcount, sizes, true);
        loose_matrix b(random, type, size, input_planes(), dimcount, sizes, true);
        loose_matrix z(random, type, size, planes, dimcount, sizes, false), expected = z;
        const bool in_place = random() % 4 == 0, one_word = random() % 2;
        vok_op_vector_fn fns[32];
        for (vok_op_vector_fn &fn : fns)
            fn = vok_op_sym2fn(gensym(words[one_word ? 0 : random() % std::size(words)]), type);
        loose_matrix *const matrices[3] = {in_place ? &expected : &a, &b, &expected};
        cell_by_cell(fns, dimcount, dim, planes, size, matrices,
                     {matrices[0]->data(), matrices[1]->data(), matrices[2]->data()});
        loose_matrix &first = in_place ? z : a;
        vok_op_calculate_ndim(fns, dimcount, dim, planes, &first.info, first.data(), &b.info, b.data(), &z.info,
                              z.data());
        ASSERT_EQ(z.block, expected.block) << "round " << round;
    }
}

// What a function from another module is called with: the runs as they are told.
using calls = std::vector<std::array<long, 4>>; // n and the three strides
calls recorded;
void record(long n, void *, vok_op_vector_arg *a, vok_op_vector_arg *b, vok_op_vector_arg *z)
{
    recorded.push_back({n, a->stride, b->stride, z->stride});
}
void record_too(long n, void *fns, vok_op_vector_arg *a, vok_op_vector_arg *b, vok_op_vector_arg *z)
{
    record(n, fns, a, b, z);
}

TEST_F(Op, other_modules_functions_are_called_a_row_or_a_plane)
{
    matrix four("char", 4, {40, 3}), one("char", 1, {40, 3}), single("char", 4, {1, 3});
    vok_op_vector_fn fns[32];
    long dim[32] = {40, 3};
    const auto run = [&](vok_matrix *a, vok_matrix *b) {
        recorded.clear();
        vok_op_calculate_ndim(fns, 2, dim, 4, &a->info, a->data, &b->info, b->data, &four->info, four->data);
        return recorded;
    };
    std::fill(std::begin(fns), std::end(fns), record);
    EXPECT_EQ(run(four, four), calls(3, {160, 1, 1, 1}));
    EXPECT_EQ(run(four, one), calls(12, {40, 4, 1, 4}));
    EXPECT_EQ(run(single, four), calls(12, {40, 0, 4, 4}));
    fns[2] = record_too;
    EXPECT_EQ(run(four, four), calls(12, {40, 4, 4, 4}));
}

TEST_F(Op, the_walk_takes_odd_arguments)
{
    vok_matrix_info info = shape("char", 1, {4, 2, 2});
    info.dimstride[0] = 1;
    info.dimstride[1] = 4;
    info.dimstride[2] = 8;
    std::vector<unsigned char> in(16, 5), out(16);
    vok_op_vector_fn fns[32];
    std::fill(std::begin(fns), std::end(fns), vok_op_vector_pass_char);
    long dim[32] = {4, 2, 0};
    const auto run = [&](long dimcount, long planes, const char *type) {
        info.type = gensym(type);
        vok_op_calculate_ndim(fns, dimcount, dim, planes, &info, in.data(), &info, in.data(), &info, out.data());
    };
    run(0, 1, "char");
    run(-3, 1, "char");
    run(3, 1, "char"); // nothing along the last dimension
    run(2, 0, "char");
    run(2, 1, "symbol");
    EXPECT_EQ(out, std::vector<unsigned char>(16));
    dim[1] = 99;
    run(1, 1, "char");
    EXPECT_EQ(dim[1], 1) << "one dimension is a row of one";
    EXPECT_EQ(out[3], 5);
    EXPECT_EQ(out[4], 0);
}

} // namespace
