// vok_op: the walk over rows, planes and dimensions against the same walk said cell
// by cell, and the class as its users meet it.
#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include <vokra/commonsyms.h>
#include <vokra/kernel.h>
#include <vokra/matrix.h>
#include <vokra/memory.h>
#include <vokra/op.h>
#include <vokra/parallel_ndim.h>
#include <zan/attributes.h>
#include <zan/classes.h>
#include <zan/memory.h>
#include <zan/objects.h>
#include <zan/symbols.h>

namespace {

class Op : public testing::Test {
  protected:
    void SetUp() override { initialize(); }
};

// ---- matrices for short ----

struct cells {
    vok_matrix *m;
    vok_matrix_info info{};
    cells(symbol *type, long planes, std::vector<long> dims, long flags = 0)
    {
        vok_matrix_info wanted{};
        vok_matrix_info_default(&wanted);
        wanted.type = type;
        wanted.planecount = planes;
        wanted.dimcount = static_cast<long>(dims.size());
        wanted.flags = flags;
        for (size_t i = 0; i < dims.size(); i++)
            wanted.dim[i] = dims[i];
        m = static_cast<vok_matrix *>(vok_object_new(_vok_sym_vok_matrix, &wanted));
        vok_matrix_getinfo(m, &info);
    }
    ~cells() { vok_object_free(m); }
    cells(const cells &) = delete;
    cells &operator=(const cells &) = delete;

    template <typename T> T &at(long x, long y = 0, long plane = 0, long z = 0)
    {
        unsigned char *data = nullptr;
        vok_matrix_getdata(m, &data);
        return reinterpret_cast<T *>(data + x * info.dimstride[0] + y * info.dimstride[1] +
                                     z * info.dimstride[2])[plane];
    }
    template <typename T> void fill(T value)
    {
        each<T>([&](T &cell, long, long, long, long) { cell = value; });
    }
    template <typename T, typename F> void each(F f) // (cell, x, y, z, plane), up to three dimensions
    {
        const auto size = [&](long d) { return d < info.dimcount ? info.dim[d] : 1; };
        for (long z = 0; z < size(2); z++)
            for (long y = 0; y < size(1); y++)
                for (long x = 0; x < size(0); x++)
                    for (long p = 0; p < info.planecount; p++)
                        f(at<T>(x, y, p, z), x, y, z, p);
    }
};

struct op_object {
    vok_op *x = static_cast<vok_op *>(vok_object_new(gensym("vok_op")));
    ~op_object() { vok_object_free(x); }
    void words(const std::vector<const char *> &list)
    {
        std::vector<atom> atoms(list.size());
        for (size_t i = 0; i < list.size(); i++)
            atom_setsym(&atoms[i], gensym(list[i]));
        object_attr_setvalueof(x, gensym("op"), static_cast<long>(atoms.size()), atoms.data());
    }
    long calc(void *in1, void *in2, void *out)
    {
        void *inputs = vok_object_new(_vok_sym_vok_linklist), *outputs = vok_object_new(_vok_sym_vok_linklist);
        for (void *in : {in1, in2})
            if (in)
                vok_object_method(inputs, _vok_sym_append, in);
        if (out)
            vok_object_method(outputs, _vok_sym_append, out);
        const long result = vok_object_method(x, _vok_sym_matrix_calc, inputs, outputs);
        vok_object_method(inputs, _vok_sym_chuck);
        vok_object_method(outputs, _vok_sym_chuck);
        return result;
    }
    long calc(cells &in1, cells &in2, cells &out) { return calc(in1.m, in2.m, out.m); }
};

constexpr char op_menu[] =
    "* / + sub !/ !- +m -m % !% min max avg abs absdiff pass !pass fold wrap & | ^ ~ >> << && || ! > < "
    ">= <= == != >p <p >=p <=p ==p !=p sin cos tan asin acos atan atan2 sinh cosh tanh asinh acosh "
    "atanh exp exp2 ln log log2 log10 hypot pow sqrt ceil floor round trunc";

// ---- the class ----

TEST_F(Op, is_born_as_pass_and_has_its_menu)
{
    op_object op;
    ASSERT_TRUE(op.x);
    EXPECT_EQ(op.x->opcount, 1);
    for (symbol *word : op.x->op)
        EXPECT_EQ(word, gensym("pass"));
    EXPECT_EQ(object_class(op.x), _vok_op_class);
    EXPECT_TRUE(class_adornment_get(_vok_op_class, _vok_sym_vok_mop));
    const struct {
        const char *what;
        const char *text;
    } facts[] = {{"label", "Op"}, {"style", "enum"}, {"enumvals", op_menu}};
    for (const auto &fact : facts) {
        long argc = 0;
        atom *argv = nullptr;
        ASSERT_EQ(object_attr_attr_getvalueof(op.x, gensym("op"), gensym(fact.what), &argc, &argv), 0)
            << fact.what;
        std::string text;
        for (long i = 0; i < argc; i++)
            text += std::string(i ? " " : "") + atom_getsym(argv + i)->name;
        EXPECT_EQ(text, fact.text);
        for (long i = 0; i < argc && !std::strcmp(fact.what, "enumvals"); i++)
            EXPECT_TRUE(vok_op_fn_lookup(atom_getsym(argv + i))) << atom_getsym(argv + i)->name;
        sysmem_freeptr(argv);
    }
    EXPECT_EQ(object_method_imp(object_attr_get(op.x, gensym("op")), gensym("getmethodtype"),
                                reinterpret_cast<zan_word>(_vok_sym_set), 0, 0, 0, 0, 0, 0, 0),
              argtype_usurp_low);
}

TEST_F(Op, an_empty_list_means_pass)
{
    op_object op;
    cells a(_vok_sym_char, 4, {3, 2}), out(_vok_sym_char, 4, {3, 2});
    a.fill<uint8_t>(9);
    op.words({});
    EXPECT_EQ(op.x->opcount, 0);
    EXPECT_EQ(op.calc(a, a, out), 0);
    EXPECT_EQ(op.x->opcount, 1);
    EXPECT_EQ(out.at<uint8_t>(2, 1, 3), 9);
    op.x->opcount = 0;
    EXPECT_EQ(op.calc(nullptr, nullptr, nullptr), VOK_ERR_INVP);
    EXPECT_EQ(op.x->opcount, 1) << "repaired before anything else is looked at";
}

TEST_F(Op, errors_leave_everything_as_it_was)
{
    op_object op;
    op.words({"+"});
    cells a(_vok_sym_char, 4, {4, 4}, vok_matrix_flag_use | vok_matrix_flag_handle), b(_vok_sym_char, 4, {4, 4}),
        other(_vok_sym_long, 4, {4, 4});
    EXPECT_EQ(op.calc(a.m, nullptr, b.m), VOK_ERR_INVP);
    EXPECT_EQ(op.calc(a.m, b.m, nullptr), VOK_ERR_INVP);
    EXPECT_EQ(op.calc(a, other, b), VOK_ERR_MSTP);
    EXPECT_EQ(op.calc(a, b, other), VOK_ERR_MSTP);
    EXPECT_EQ(vok_matrix_lock(a.m, 0), 0) << "an error left the handle locked";
    vok_matrix_info lost = b.info;
    lost.flags = vok_matrix_flag_use | vok_matrix_flag_reference;
    auto *empty = static_cast<vok_matrix *>(vok_object_new(_vok_sym_vok_matrix, &lost));
    EXPECT_EQ(op.calc(empty, b.m, b.m), VOK_ERR_INVI);
    EXPECT_EQ(op.calc(b.m, empty, b.m), VOK_ERR_INVI);
    EXPECT_EQ(op.calc(b.m, b.m, empty), VOK_ERR_INVO);
    vok_object_free(empty);
}

// ---- shapes ----

TEST_F(Op, one_word_a_plane_and_unknown_ones_leave_it)
{
    op_object op;
    cells a(_vok_sym_char, 4, {5, 3}), b(_vok_sym_char, 4, {5, 3}), out(_vok_sym_char, 4, {5, 3});
    a.fill<uint8_t>(100);
    b.fill<uint8_t>(30);
    out.fill<uint8_t>(7);
    op.words({"+", "no such word", "-"});
    EXPECT_EQ(op.calc(a, b, out), 0);
    out.each<uint8_t>([](uint8_t &v, long, long, long, long p) {
        EXPECT_EQ(v, (p == 1 ? 7 : p == 2 ? 70 : 130));
    });
}

TEST_F(Op, a_size_of_1_goes_on_for_ever)
{
    op_object op;
    op.words({"+"});
    cells a(_vok_sym_long, 2, {6, 5, 4}), out(_vok_sym_long, 2, {6, 5, 4});
    a.each<int32_t>([](int32_t &v, long x, long y, long z, long p) {
        v = static_cast<int32_t>(x + 10 * y + 100 * z + 1000 * p);
    });
    for (const std::vector<long> &dims :
         {std::vector<long>{1}, {1, 1, 1}, {6, 1, 4}, {1, 5, 4}, {1, 5, 1}, {6, 5, 1}, {6}, {6, 5}}) {
        cells b(_vok_sym_long, 2, dims);
        b.each<int32_t>([](int32_t &v, long x, long y, long z, long p) {
            v = static_cast<int32_t>(7 + x * 3 + y * 5 + z * 9 + p);
        });
        const auto along = [&](size_t d, long i) { return d < dims.size() && dims[d] > 1 ? i : 0; };
        out.fill<int32_t>(-1);
        EXPECT_EQ(op.calc(a, b, out), 0);
        out.each<int32_t>([&](int32_t &v, long x, long y, long z, long p) {
            ASSERT_EQ(v, x + 10 * y + 100 * z + 1000 * p + 7 + along(0, x) * 3 + along(1, y) * 5 +
                             along(2, z) * 9 + p)
                << dims.size() << " dims, " << x << " " << y << " " << z;
        });
        EXPECT_EQ(op.calc(b, a, out), 0);
        ASSERT_EQ(out.at<int32_t>(5, 4, 1, 3),
                  5 + 40 + 300 + 1000 + 7 + along(0, 5) * 3 + along(1, 4) * 5 + along(2, 3) * 9 + 1);
    }
}

TEST_F(Op, a_shorter_input_cuts_a_longer_one_is_cut)
{
    op_object op;
    op.words({"+"});
    cells a(_vok_sym_char, 1, {9, 8}), b(_vok_sym_char, 1, {4, 3}), out(_vok_sym_char, 1, {6, 5});
    a.fill<uint8_t>(1);
    b.fill<uint8_t>(2);
    out.fill<uint8_t>(9);
    EXPECT_EQ(op.calc(a, b, out), 0);
    out.each<uint8_t>([](uint8_t &v, long x, long y, long, long) { ASSERT_EQ(v, x < 4 && y < 3 ? 3 : 9); });
}

TEST_F(Op, large_ones_are_split_among_the_workers)
{
    op_object op;
    op.words({"*"});
    cells a(_vok_sym_float32, 2, {301, 203}), b(_vok_sym_float32, 2, {301, 1}),
        out(_vok_sym_float32, 2, {301, 203});
    a.each<float>([](float &v, long x, long y, long, long p) { v = static_cast<float>(x + 1000 * y + p); });
    b.each<float>([](float &v, long x, long, long, long) { v = static_cast<float>(x % 7); });
    const long parallel = _vok_parallel;
    for (const long on : {0, 1}) {
        _vok_parallel = on;
        out.fill<float>(-1);
        EXPECT_EQ(op.calc(a, b, out), 0);
        out.each<float>([](float &v, long x, long y, long, long p) {
            ASSERT_EQ(v, static_cast<float>(x + 1000 * y + p) * static_cast<float>(x % 7));
        });
    }
    _vok_parallel = parallel;
}

// ---- the walk against the same, cell by cell ----

// A block that a matrix lies in, with room around it and strides of its own.
struct loose_matrix {
    vok_matrix_info info{};
    std::vector<unsigned char> block;
    long start = 512;
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
    unsigned char *data() { return block.data() + start; }
};

void cell_by_cell(vok_op_vector_fn *fns, long dimcount, const long *dim, long planecount, long size,
                  const loose_matrix *const *m, unsigned char *const *data)
{
    if (dimcount > 2) {
        for (long i = 0; i < dim[dimcount - 1]; i++) {
            unsigned char *const slice[3] = {data[0] + i * m[0]->info.dimstride[dimcount - 1],
                                             data[1] + i * m[1]->info.dimstride[dimcount - 1],
                                             data[2] + i * m[2]->info.dimstride[dimcount - 1]};
            cell_by_cell(fns, dimcount - 1, dim, planecount, size, m, slice);
        }
        return;
    }
    for (long y = 0; y < (dimcount > 1 ? dim[1] : 1); y++)
        for (long p = 0; p < planecount; p++)
            for (long x = 0; x < dim[0]; x++) {
                vok_op_vector_arg args[3];
                for (int k = 0; k < 3; k++) {
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
    const struct {
        symbol *type;
        long size;
    } types[] = {{_vok_sym_char, 1}, {_vok_sym_long, 4}, {_vok_sym_float32, 4}, {_vok_sym_float64, 8}};
    const char *const words[] = {"+m", "!-", "^", "pass", "min", "sin", "no such word", ">p"};
    for (int round = 0; round < 3000; round++) {
        const auto &type = types[random() % 4];
        const long dimcount = 1 + static_cast<long>(random() % 4);
        long dim[32], sizes[32];
        for (long i = 0; i < 32; i++)
            dim[i] = sizes[i] = i >= dimcount        ? 1
                                : i > 0              ? 1 + static_cast<long>(random() % 4)
                                : random() % 10 == 0 ? 1 + static_cast<long>(random() % 3000)
                                                     : 1 + static_cast<long>(random() % 40);
        if (random() % 8 == 0 && dim[0] > 2)
            dim[0]--; // less than the matrices have
        const long planes = 1 + static_cast<long>(random() % 4);
        const auto input_planes = [&] { return random() % 2 ? planes : 1 + static_cast<long>(random() % 4); };
        loose_matrix a(random, type.type, type.size, input_planes(), dimcount, sizes, true);
        loose_matrix b(random, type.type, type.size, input_planes(), dimcount, sizes, true);
        loose_matrix z(random, type.type, type.size, planes, dimcount, sizes, false);
        const bool in_place = random() % 4 == 0;
        loose_matrix expected = z;
        const bool one_word = random() % 2;
        vok_op_vector_fn fns[32];
        for (vok_op_vector_fn &fn : fns)
            fn = vok_op_sym2fn(gensym(words[one_word ? 0 : random() % std::size(words)]), type.type);
        const loose_matrix *const matrices[3] = {in_place ? &expected : &a, &b, &expected};
        unsigned char *const data[3] = {in_place ? expected.data() : a.data(), b.data(), expected.data()};
        cell_by_cell(fns, dimcount, dim, planes, type.size, matrices, data);
        loose_matrix &first = in_place ? z : a;
        vok_op_calculate_ndim(fns, dimcount, dim, planes, &first.info, first.data(), &b.info, b.data(), &z.info,
                              z.data());
        ASSERT_EQ(std::memcmp(z.block.data(), expected.block.data(), z.block.size()), 0) << "round " << round;
    }
}

// What a function from another module is called with: the runs as they are told.
std::vector<std::array<long, 4>> recorded_calls; // n and the three strides
void record(long n, void *, vok_op_vector_arg *a, vok_op_vector_arg *b, vok_op_vector_arg *z)
{
    recorded_calls.push_back({n, a->stride, b->stride, z->stride});
}
void record_too(long n, void *fns, vok_op_vector_arg *a, vok_op_vector_arg *b, vok_op_vector_arg *z)
{
    record(n, fns, a, b, z);
}

TEST_F(Op, other_modules_functions_are_called_a_row_or_a_plane)
{
    cells four(_vok_sym_char, 4, {40, 3}), one(_vok_sym_char, 1, {40, 3}), cell(_vok_sym_char, 4, {1, 3});
    vok_op_vector_fn fns[32];
    long dim[32] = {40, 3};
    const auto run = [&](cells &a, cells &b) {
        recorded_calls.clear();
        vok_op_calculate_ndim(fns, 2, dim, 4, &a.info, &a.at<uint8_t>(0), &b.info, &b.at<uint8_t>(0), &four.info,
                              &four.at<uint8_t>(0));
        return recorded_calls;
    };
    using calls = std::vector<std::array<long, 4>>;
    std::fill(std::begin(fns), std::end(fns), record);
    EXPECT_EQ(run(four, four), calls(3, {160, 1, 1, 1}));
    EXPECT_EQ(run(four, one), calls(12, {40, 4, 1, 4}));
    EXPECT_EQ(run(cell, four), calls(12, {40, 0, 4, 4}));
    fns[2] = record_too;
    EXPECT_EQ(run(four, four), calls(12, {40, 4, 4, 4}));
}

TEST_F(Op, the_walk_takes_odd_arguments)
{
    vok_matrix_info info{};
    info.type = _vok_sym_char;
    info.dimcount = 3;
    info.dim[0] = 4, info.dim[1] = info.dim[2] = 2;
    info.planecount = 1;
    info.dimstride[0] = 1, info.dimstride[1] = 4, info.dimstride[2] = 8;
    unsigned char in[16], out[16] = {};
    std::memset(in, 5, sizeof in);
    vok_op_vector_fn fns[32];
    std::fill(std::begin(fns), std::end(fns), vok_op_vector_pass_char);
    long dim[32] = {4, 2, 0};
    const auto run = [&](long dimcount, long planes) {
        vok_op_calculate_ndim(fns, dimcount, dim, planes, &info, in, &info, in, &info, out);
    };
    run(0, 1);
    run(-3, 1);
    run(3, 1); // nothing along the last dimension
    run(2, 0);
    info.type = gensym("symbol");
    run(2, 1);
    EXPECT_EQ(out[0], 0);
    info.type = _vok_sym_char;
    dim[1] = 99;
    run(1, 1);
    EXPECT_EQ(dim[1], 1) << "one dimension is a row of one";
    EXPECT_EQ(out[3], 5);
    EXPECT_EQ(out[4], 0);
}

} // namespace
