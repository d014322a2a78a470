// A matrix message's road through boxes of operators, as patches have them.
#include "boxes/box_tools.h"
#include "kernel/quick_class.h"
#include "matrix/matrix_tools.h"

namespace {

std::string format_of(void *matrix)
{
    const vok_matrix_info &info = static_cast<vok_matrix *>(matrix)->info;
    std::string text = std::string(info.type->name) + " " + std::to_string(info.planecount);
    for (long i = 0; i < info.dimcount; i++)
        text += " " + std::to_string(info.dim[i]);
    return text;
}

// The values along the first row.
std::string row_of(void *matrix)
{
    std::string text;
    for (long i = 0; i < static_cast<vok_matrix *>(matrix)->info.dim[0]; i++)
        text += (i ? " " : "") + cell(static_cast<vok_matrix *>(matrix), std::to_string(i));
    return text;
}

vok_mop_io *input(void *x, long i)
{
    return static_cast<vok_mop_io *>(zan_vok_mop_getinput(x, i));
}
vok_mop_io *output(void *x, long i)
{
    return static_cast<vok_mop_io *>(zan_vok_mop_getoutput(x, i));
}
// Of input 2 and the outputs.
std::string formats_of(void *x)
{
    return format_of(input(x, 2)->matrix) + ", " + format_of(output(x, 1)->matrix) + ", " +
           format_of(output(x, 2)->matrix);
}

// A class that only tells how often it was asked.
struct counting {
    object ob;
    long calls;
    vok_err answer;
};

long counting_calc(counting *x, void *, void *)
{
    x->calls++;
    return x->answer;
}

class MopBox : public Library {
  protected:
    // vok.test.count has two inputs and two outputs, vok.test.variable any number.
    static void SetUpTestSuite()
    {
        Library::SetUpTestSuite();
        for (const auto &[name, puts] : {std::pair{"vok_test_count", 2L}, {"vok_test_variable", -1L}}) {
            quick_class made(name, sizeof(counting));
            vok_class_addadornment(made.c, vok_object_new(_vok_sym_vok_mop, puts, puts));
            made.message("matrix_calc", counting_calc);
            vok_class_register(made.c);
        }
    }
    void TearDown() override { EXPECT_EQ(p.errors(), ""); }
    void *make(const std::string &text)
    {
        void *b = p.make(text);
        p.listen(b);
        return b;
    }
    // A matrix of a row of cells, each with its place as its value.
    void ramp(const std::string &name, const std::string &type, long cells)
    {
        void *m = p.make("vok.matrix " + name + " 1 " + type + " " + std::to_string(cells));
        for (long i = 0; i < cells; i++)
            p.send(m, "0 setcell " + std::to_string(i) + " val " + std::to_string(i));
    }
    static counting *counter_of(void *box) { return static_cast<counting *>(zan_vok_obex_vokob_get(box)); }
    box_tools::patch p;
};

TEST_F(MopBox, TheLeftInletCalculatesWithWhatTheRightOneTook)
{
    void *b = make("vok.op @op + @out_name sum");
    ramp("four", "char", 4);
    ramp("eight", "char", 8);
    ramp("longs", "long", 2);
    const char *const sum = "0 vok_matrix sum", *const zeros = "char 1 4: 0 0 0 0";
    const struct {
        const char *message, *heard, *in2, *out;
    } steps[] = {
        {"1 vok_matrix eight", "", "char 4 1 1: 0 0 0 0",
         "char 4 1 1: 0 0 0 0"},                                // keeps its format, and takes the picture
        {"0 vok_matrix four", sum, zeros, "char 1 4: 0 1 2 3"}, // adapts: its one cell is everywhere
        {"1 vok_matrix eight", "", "char 1 4: 0 2 4 6", "char 1 4: 0 1 2 3"}, // resampled
        {"0 vok_matrix four", sum, "char 1 4: 0 2 4 6", "char 1 4: 0 3 6 9"},
        {"0 vok_matrix eight", sum, "char 1 8: 0 0 2 2 4 4 6 6", "char 1 8: 0 1 4 5 8 9 12 13"},
        {"0 vok_matrix longs", sum, "long 1 2: 0 4", "long 1 2: 0 5"},
        {"0 adapt 0", "", "long 1 2: 0 4", "long 1 2: 0 5"},
        {"0 vok_matrix four", "", "long 1 2: 0 4", "long 1 2: 0 5"}, // char into long: nothing changes its format
        {"0 clear", "", "long 1 2: 0 0", "long 1 2: 0 0"}};
    for (const auto &step : steps) {
        EXPECT_EQ(p.ask(b, step.message), step.heard);
        EXPECT_EQ(format_of(input(b, 2)->matrix) + ": " + row_of(input(b, 2)->matrix), step.in2) << step.message;
        EXPECT_EQ(format_of(output(b, 1)->matrix) + ": " + row_of(output(b, 1)->matrix), step.out) << step.message;
    }
    EXPECT_EQ(input(b, 1)->matrix, nullptr);
    EXPECT_EQ(input(b, 1)->matrixname, _vok_sym_nothing);
    EXPECT_NE(p.errors(), "");
}

TEST_F(MopBox, TheOutputModeDecides)
{
    const char *const both = "1 vok_matrix second; 0 vok_matrix first";
    const struct {
        long mode, calls; // by a matrix at the left inlet
        const char *heard, *at_a_bang;
    } rows[] = {{0, 0, "", ""},
                {1, 1, both, both},
                {2, 0, "0 vok_matrix left", both},
                {3, 0, both, both},
                {7, 1, both, both}};
    ramp("left", "char", 5);
    for (const auto &row : rows) {
        SCOPED_TRACE(row.mode);
        void *b = make("vok.test.count @out_name first @out2_name second @outputmode " + std::to_string(row.mode));
        EXPECT_EQ(p.ask(b, "0 vok_matrix left"), row.heard);
        EXPECT_EQ(counter_of(b)->calls, row.calls);
        EXPECT_EQ(zan_vok_mop_getoutputmode(b), row.mode);
        EXPECT_EQ(format_of(output(b, 2)->matrix), row.calls ? "char 1 5" : "char 4 1 1");
        EXPECT_EQ(p.ask(b, "0 bang"), row.at_a_bang);
        p.send(b, "1 vok_matrix left"); // is taken whatever the mode
        EXPECT_EQ(row_of(input(b, 2)->matrix).back(), row.calls ? '4' : '0');
        p.free(b); // gives the names back
    }
}

TEST_F(MopBox, WhatGoesWrongIsReportedAndNothingGoesOut)
{
    void *b = make("vok.test.count 1 char 3");
    for (const char *missing : {"0 vok_matrix no_such_matrix", "1 vok_matrix no_such_matrix"})
        EXPECT_NE(p.complaint(b, missing).find("matrix unknown"), std::string::npos);
    p.send(b, "0 vok_matrix");
    ramp("left", "char", 5);
    const std::pair<vok_err, const char *> answers[] = {
        {VOK_ERR_MSDM, "mismatch dim"}, {-2, "error type unspecified"}, {1, "error type unspecified"}};
    for (const auto &[code, said] : answers) {
        counter_of(b)->answer = code;
        atom left = A("left");
        EXPECT_EQ(zan_vok_mop_vok_matrix(b, nullptr, 1, &left), code);
        EXPECT_NE(p.errors().find(said), std::string::npos) << code;
    }
    EXPECT_EQ(p.heard(), "");
    EXPECT_EQ(input(b, 1)->matrix, nullptr);
    EXPECT_EQ(format_of(output(b, 1)->matrix), "char 1 3");
}

TEST_F(MopBox, ProcsReplaceCopyingAdaptingAndCalculating)
{
    static std::string proc_log;
    proc_log.clear();
    void *b = make("vok.test.count");
    ramp("left", "char", 5);
    input(b, 2)->ioproc = vok_mop_ioproc_copy_adapt;
    output(b, 1)->ioproc = [](vok_mop *, vok_mop_io *io, void *matrix) -> vok_err {
        proc_log += "out " + format_of(io->matrix) + " from " + format_of(matrix) + ";";
        return 0;
    };
    const zan_vok_mproc mproc = [](void *x, vok_mop *) -> vok_err {
        proc_log += std::string("mproc ") + input(x, 1)->matrixname->name;
        return VOK_ERR_EROR;
    };
    static_cast<vok_mop *>(zan_vok_obex_adornment_get(b, _vok_sym_vok_mop))->special =
        reinterpret_cast<void *>(mproc);
    EXPECT_EQ(p.ask(b, "1 vok_matrix left", "0 vok_matrix left"), "");
    EXPECT_EQ(formats_of(b), "char 1 5, char 4 1 1, char 1 5"); // output 1 isn't adapted
    EXPECT_EQ(proc_log, "out char 4 1 1 from char 1 5;mproc left");
    EXPECT_EQ(counter_of(b)->calls, 0);
}

// ---- names ----

TEST_F(MopBox, AnInputTakesTheMatrixThatHasItsName)
{
    void *b = p.make("vok.op");
    const auto named = [](const char *name) { return vok_object_findregistered(gensym(name)); };
    ramp("shared", "char", 3);
    p.send(b, "0 in2_name shared");
    EXPECT_EQ(input(b, 2)->matrix, named("shared"));
    p.send(b, "0 in2_name shared"); // again: nothing to do
    p.send(b, "0 in2_name");
    EXPECT_NE(input(b, 2)->matrixname, gensym("shared"));
    EXPECT_EQ(named(input(b, 2)->matrixname->name), input(b, 2)->matrix);

    void *list = vok_object_new(_vok_sym_vok_linklist);
    vok_object_register(list, gensym("no_matrix"));
    EXPECT_EQ(p.complaint(b, "0 out_name no_matrix"), "no_matrix exists and is not a matrix");
    vok_object_free(list);
    p.send(b, "0 out_name new_name");
    EXPECT_EQ(named("new_name"), output(b, 1)->matrix);
    vok_object_register(output(b, 1)->matrix, gensym("taken_away"));
    EXPECT_EQ(p.complaint(b, "0 out_name new_name"), "loss of matrix sync new_name");
    for (const char *left : {"in_name", "in_dim", "in_type"}) // there is nothing to set
        EXPECT_EQ(zan_vok_obex_attr_getobject(b, gensym(left)), nullptr) << left;
}

TEST_F(MopBox, GoesOnWhenItsMatrixIsFreedUnderIt)
{
    void *b = make("vok.op @op + @in2_name freed @out_name sum"), *sharing = p.make("vok.op @out_name freed");
    ramp("left", "char", 3);
    p.send(b, "0 vok_matrix left");
    EXPECT_EQ(format_of(output(sharing, 1)->matrix), "char 1 3");
    void *doomed = input(b, 2)->matrix;
    vok_object_free(doomed); // one reference each
    vok_object_free(doomed);
    void *in_its_place = vok_object_findregistered(gensym("freed"));
    ASSERT_TRUE(in_its_place);
    EXPECT_EQ(format_of(in_its_place), "char 1 3");
    EXPECT_NE(input(b, 2)->matrixname, gensym("freed"));
    p.heard();
    EXPECT_EQ(p.ask(b, "0 vok_matrix left"), "0 vok_matrix sum");
    EXPECT_EQ(row_of(output(b, 1)->matrix), "0 1 2");
    EXPECT_EQ(vok_object_findregistered(input(b, 2)->matrixname), input(b, 2)->matrix);
    while (in_its_place == vok_object_findregistered(gensym("freed")))
        vok_object_free(in_its_place); // nobody's
}

TEST_F(MopBox, MayBeFreedByItsOwnOutput)
{
    static void *victim;
    zan_class *c = class_new("test_end", nullptr, nullptr, sizeof(object), nullptr, 0);
    const auto hear = [](void *, symbol *, long, atom *) { object_free(std::exchange(victim, nullptr)); };
    class_addmethod(c, erase(hear), "vok_matrix", argtype_gimme, 0);
    void *x = victim = newinstance(gensym("vok.test.count"), 0, nullptr), *end = object_alloc(c);
    zan_connect(x, 1, end, 0);
    zan_send(x, 0, gensym("bang"), 0, nullptr);
    EXPECT_EQ(zan_object_count(gensym("vok_test_count")), 0);
    object_free(end);
}

// ---- attributes ----

TEST_F(MopBox, ArgumentsAndAttributesGiveTheFormat)
{
    const struct {
        const char *arguments, *message, *formats;
        std::string got; // of the attribute, out of dumpout
    } rows[] = {{"", "getdim", "char 4 1 1, char 4 1 1, char 4 1 1", "adapt 1"},
                {"", "vok_matrix five", "char 1 5, char 1 5, char 4 1 1", "adapt 1"},
                {"2", "vok_matrix five", "char 2 1 1, char 2 1 1, char 2 1 1", "adapt 0"},
                {"3 long 7", "vok_matrix five", "long 3 7, long 3 7, long 3 7", "adapt 0"},
                {"1 char 6 5 4", "vok_matrix five", "char 1 6 5 4, char 1 6 5 4, char 1 6 5 4", "adapt 0"},
                {"40 nonsense 0 2", "vok_matrix five", "char 32 1 2, char 32 1 2, char 32 1 2", "adapt 0"},
                {"1 char 6 @adapt 1", "vok_matrix five", "char 1 5, char 1 5, char 1 6", "adapt 1"},
                {"2 long 3 4", "type char", "char 2 3 4, char 2 3 4, long 2 3 4", "type char"},
                {"2 long 3 4", "type nonsense", "long 2 3 4, long 2 3 4, long 2 3 4", "type long"},
                {"2 long 3 4", "out2_type float64", "long 2 3 4, long 2 3 4, float64 2 3 4", "out2_type float64"},
                {"2 long 3 4", "in2_type float32", "float32 2 3 4, long 2 3 4, long 2 3 4", "in2_type float32"},
                {"2 long 3 4", "planecount 1", "long 1 3 4, long 1 3 4, long 2 3 4", "planecount 1"},
                {"2 long 3 4", "out2_planecount 99", "long 2 3 4, long 2 3 4, long 32 3 4", "out2_planecount 32"},
                {"2 long 3 4", "dim 5", "long 2 5, long 2 5, long 2 3 4", "dim 5"},
                {"2 long 3 4", "in2_dim 6 7 8", "long 2 6 7 8, long 2 3 4, long 2 3 4", "in2_dim 6 7 8"},
                {"2 long 3 4", "outputmode 3", "long 2 3 4, long 2 3 4, long 2 3 4", "outputmode 3"}};
    ramp("five", "char", 5);
    for (const auto &row : rows) {
        SCOPED_TRACE(row.message);
        void *b = make(std::string("vok.test.count ") + row.arguments);
        output(b, 2)->typelink = output(b, 2)->dimlink = output(b, 2)->planelink = 0;
        p.ask(b, std::string("0 ") + row.message);
        EXPECT_EQ(formats_of(b), row.formats);
        EXPECT_EQ(p.ask(b, "0 get" + row.got.substr(0, row.got.find(' '))), "2 " + row.got);
    }
    void *b = make("vok.test.count 2 long 3 4"); // no extents
    atom none;
    const auto set = [&](const char *name, atom *argv) {
        return zan_vok_mop_dim(b, zan_vok_obex_attr_getobject(b, gensym(name)), 0, argv);
    };
    EXPECT_EQ(set("dim", &none), 0);
    EXPECT_EQ(formats_of(b), "long 2 1 1, long 2 1 1, long 2 1 1");
    EXPECT_EQ(set("in2_dim", &none), 0);
    EXPECT_EQ(formats_of(b), "long 2 1, long 2 1 1, long 2 1 1");
    EXPECT_EQ(set("dim", nullptr), VOK_ERR_EROR);
}

TEST_F(MopBox, FlagsLeaveFeaturesOut)
{
    const std::pair<long, std::vector<const char *>> rows[] = {
        {ZAN_VOK_MOP_NO_MATRIX, {"vok_matrix"}},
        {ZAN_VOK_MOP_NO_BANG, {"bang"}},
        {ZAN_VOK_MOP_NO_OUTPUTMATRIX, {"outputmatrix", "outputmatrix_usurp_low"}},
        {ZAN_VOK_MOP_NO_NAME, {"in2_name", "out_name", "out2_name"}},
        {ZAN_VOK_MOP_NO_TYPE, {"in2_type", "type", "out2_type"}},
        {ZAN_VOK_MOP_NO_DIM, {"in2_dim", "dim", "out2_dim"}},
        {ZAN_VOK_MOP_NO_PLANECOUNT, {"in2_planecount", "planecount", "out2_planecount"}},
        {ZAN_VOK_MOP_NO_CLEAR, {"clear", "clear_defer"}},
        {ZAN_VOK_MOP_NO_NOTIFY, {"notify"}},
        {ZAN_VOK_MOP_NO_ADAPT, {"adapt"}},
        {ZAN_VOK_MOP_NO_OUTPUTMODE, {"outputmode"}},
        {ZAN_VOK_MOP_PROBE_ONLY, {}},
    };
    zan_class *wrapped = vok_class_findbyname(gensym("vok_test_count"));
    for (const auto &[flag, left_out] : rows) {
        zan_class *c = class_new("test_flags", nullptr, nullptr, sizeof(object) + 8, nullptr, 0);
        zan_vok_class_obex_setup(c, sizeof(object));
        EXPECT_EQ(zan_vok_class_mop_wrap(c, wrapped, flag), 0);
        EXPECT_TRUE(class_mess(c, gensym("vok_matrix_startprobe")));
        for (const auto &[other, names] : rows)
            for (const char *name : names) // those of attributes are messages too
                EXPECT_EQ(!class_mess(c, gensym(name)), other == flag || flag == ZAN_VOK_MOP_PROBE_ONLY) << name;
    }
}

// ---- live boxes ----

TEST_F(MopBox, ResizedOutputsKeepTheirCordsAndDumpoutRightmost)
{
    void *b = make("vok.test.count 1 char 4"), *first = output(b, 1)->matrix;
    long before = 2;
    for (const long count : {4L, 1L, 3L}) {
        EXPECT_EQ(zan_vok_mop_outputs_resize(b, count), 0);
        ASSERT_EQ(outlet_count(b), count + 1);
        EXPECT_EQ(zan_vok_obex_dumpout_get(b), outlet_nth(b, count));
        EXPECT_EQ(output(b, 1)->matrix, first);
        p.listen(b, 0, std::exchange(before, count)); // what is new has no cords
        std::string all;
        for (long i = count; i >= 1; i--)
            all += std::to_string(i - 1) + " vok_matrix " + output(b, i)->matrixname->name + "; ";
        EXPECT_EQ(p.ask(b, "0 bang") + "; ", all);
    }
    EXPECT_EQ(zan_vok_mop_outputs_resize(b, -2), 0);
    EXPECT_EQ(outlet_count(b), 1);
}

TEST_F(MopBox, OfAVariableNumberAnswersByMessages)
{
    void *b = make("vok.test.variable @inputs 3 @outputs 2");
    EXPECT_EQ(input(b, 3)->ioname, gensym("in3"));
    for (const char *message :
         {"in2_dim 6 5", "getin2_dim", "out2_type float32", "in3_planecount 2", "in3_name variable_name",
          "getin3_name", "getin2_info", "getin2_data", "getin2_lock", "in_dim 9",
          "in9_dim 9"}) // private messages; the left input is somebody else's
        p.send(b, std::string("0 ") + message);
    EXPECT_EQ(p.heard(), "2 dim 6 5; 2 name variable_name");
    EXPECT_EQ(format_of(output(b, 2)->matrix), "float32 4 1 1");
    EXPECT_EQ(format_of(input(b, 3)->matrix), "char 2 1 1");
    counter_of(b)->answer = VOK_ERR_MSDM;
    EXPECT_NE(p.complaint(b, "0 bang"), "") << "without a left matrix a bang calculates";
    for (const char *unknown : {"nonsense", "other_dim"})
        EXPECT_EQ(zan_vok_mop_variable_anything(b, gensym(unknown), 0, nullptr), VOK_ERR_EROR);
    EXPECT_EQ(zan_vok_mop_variable_anything(nullptr, gensym("in2_dim"), 0, nullptr), VOK_ERR_INVP);
}

TEST_F(MopBox, NamesAddress)
{
    const std::pair<const char *, std::pair<long, long>> rows[] = {
        // which and index
        {"in2_dim", {1, 2}},     {"out_type", {2, 1}}, {"type", {0, 0}},
        {"outputmode", {2, 1}},  {"inverse", {1, 1}},  {"in", {1, 1}},
        {"out12_name", {2, 12}}, {"in0_dim", {1, 1}},  {"in3", {1, 3}},
        {"o", {0, 0}},           {"", {0, 0}},         {"in2x_dim", {1, 1}},
        {"in_2_dim", {1, 1}}};
    for (const auto &[name, expected] : rows) {
        std::pair<long, long> found{9, 9};
        EXPECT_EQ(zan_vok_mop_parse_name(gensym(name), &found.first, &found.second), 0);
        EXPECT_EQ(found, expected) << name;
    }
    EXPECT_EQ(zan_vok_mop_parse_name(nullptr, nullptr, nullptr), VOK_ERR_INVP);
    char text[512];
    EXPECT_NE(zan_vok_mop_assist(p.make("vok.test.count"), nullptr, 1, 2, text), 0) << "no such inlet";
}

} // namespace
