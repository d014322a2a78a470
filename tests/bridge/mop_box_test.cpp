// A matrix message's road through real boxes, driven from outside through inlets.
#include "bridge/mop_box_tools.h"

namespace {

// A class of two inputs and two outputs that only tells how often it was asked.
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

// Boxes of the cell operator, of the counting class, and of one of a variable number.
struct classes {
    zan_class *op, *count, *variable;

    static const classes &get()
    {
        static const classes c;
        return c;
    }

  private:
    classes()
    {
        for (const auto &[name, puts] : {std::pair{"vok_test_count", 2L}, {"vok_test_variable", -1L}}) {
            quick_class made(name, sizeof(counting));
            vok_class_addadornment(made.c, vok_object_new_imp(_vok_sym_vok_mop, puts, puts, 0, 0, 0, 0, 0, 0));
            made.message("matrix_calc", counting_calc);
            vok_class_register(made.c);
        }
        op = new_box_class("vok.test.op", "vok_op");
        count = new_box_class("vok.test.count", "vok_test_count");
        variable = new_box_class("vok.test.variable", "vok_test_variable");
        class_addmethod(variable, erase(zan_vok_mop_variable_anything), "anything", argtype_gimme, 0);
    }
};

counting *counter_of(void *box)
{
    return static_cast<counting *>(zan_vok_obex_vokob_get(box));
}

vok_mop *mop_of(void *box)
{
    return static_cast<vok_mop *>(zan_vok_obex_adornment_get(box, _vok_sym_vok_mop));
}

void *op_box(const std::string &arguments = "")
{
    return new_box(classes::get().op, "vok_op", arguments);
}

void *count_box(const std::string &arguments = "")
{
    return new_box(classes::get().count, "vok_test_count", arguments);
}

void *variable_box(long inputs, long outputs)
{
    void *x = zan_vok_obex_new(classes::get().variable, gensym("vok_test_variable"));
    zan_vok_obex_vokob_set(x, vok_object_new_imp(gensym("vok_test_variable"), 0, 0, 0, 0, 0, 0, 0, 0));
    zan_vok_obex_dumpout_set(x, outlet_new(x, nullptr));
    zan_vok_mop_setup(x);
    zan_vok_mop_variable_addinputs(x, inputs);
    zan_vok_mop_variable_addoutputs(x, outputs);
    zan_vok_mop_inputs(x);
    zan_vok_mop_outputs(x);
    zan_vok_mop_matrix_args(x, 0, nullptr);
    return x;
}

std::string out_message(const boxed &b, long i)
{
    return std::to_string(i - 1) + ": vok_matrix " + b.output(i)->matrixname->name;
}

class MopBox : public Library {};

TEST_F(MopBox, TheLeftInletCalculatesWithWhatTheRightOneTook)
{
    const boxed b(op_box("@op +"));
    ear e(b);
    const ramp left("char", 1, {4}), right("char", 1, {8});
    b.take(right.name, 1);
    EXPECT_EQ(format_of(b.in(2)), "char 4 1 1"); // keeps its format, and takes the picture
    EXPECT_EQ(e.take(), heard{});
    b.take(left.name); // now it adapts: the one cell that it has is everywhere
    EXPECT_EQ(e.take(), heard{out_message(b, 1)});
    EXPECT_EQ(format_of(b.in(2)), "char 1 4");
    EXPECT_EQ(row_of(b.out(1)), "0 1 2 3");
    b.take(right.name, 1);
    EXPECT_EQ(row_of(b.in(2)), "0 2 4 6"); // resampled
    b.take(left.name);
    EXPECT_EQ(row_of(b.out(1)), "0 3 6 9");
    EXPECT_EQ(b.input(1)->matrix, nullptr);
    EXPECT_EQ(b.input(1)->matrixname, _vok_sym_nothing);
    EXPECT_EQ(row_of(left), "0 1 2 3");
}

TEST_F(MopBox, ARightInputKeepsItsPictureWhenTheLeftChangesSize)
{
    const boxed b(op_box("@op pass"));
    const ramp four("char", 1, {4}), eight("float32", 1, {8});
    b.take(four.name);
    b.take(four.name, 1);
    b.take(eight.name);
    EXPECT_EQ(format_of(b.in(2)), "float32 1 8");
    const boxed same(op_box("@op pass"));
    same.take(eight.name);
    same.take(four.name, 1);
    EXPECT_EQ(row_of(b.in(2)), row_of(same.in(2)));
    b.send("adapt", "0");
    report_catcher reports;
    EXPECT_EQ(b.take(four.name), VOK_ERR_MSTP); // char into float32: nothing changes its format
    EXPECT_EQ(format_of(b.out(1)), "float32 1 8");
}

TEST_F(MopBox, TheOutputModeDecides)
{
    const struct {
        long mode, calls;               // by a matrix at the left inlet
        std::vector<long> matrix, bang; // outputs whose names come out; 0: the incoming one at output 1
    } rows[] = {{0, 0, {}, {}},
                {1, 1, {2, 1}, {2, 1}},
                {2, 0, {0}, {2, 1}},
                {3, 0, {2, 1}, {2, 1}},
                {7, 1, {2, 1}, {2, 1}}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.mode);
        const boxed b(count_box("@outputmode " + std::to_string(row.mode)));
        ear e(b);
        const ramp left("char", 1, {5});
        const auto expected = [&](const std::vector<long> &outputs) {
            heard all;
            for (long i : outputs)
                all.push_back(i ? out_message(b, i) : std::string("0: vok_matrix ") + left.name->name);
            return all;
        };
        b.take(left.name);
        EXPECT_EQ(e.take(), expected(row.matrix));
        EXPECT_EQ(counter_of(b)->calls, row.calls);
        EXPECT_EQ(format_of(b.out(2)), row.calls ? "char 1 5" : "char 4 1 1");
        b.send("bang");
        EXPECT_EQ(e.take(), expected(row.bang));
        message(left, "setall", "7");
        b.take(left.name, 1); // is taken whatever the mode
        EXPECT_EQ(row_of(b.in(2)).substr(0, 1), "7");
    }
}

TEST_F(MopBox, ArgumentsGiveTheFormat)
{
    const struct {
        const char *arguments, *format;
        long adapt;
    } rows[] = {{"", "char 4 1 1", 1},
                {"2", "char 2 1 1", 0},
                {"3 long 7", "long 3 7", 0},
                {"1 char 6 5 4", "char 1 6 5 4", 0},
                {"40 nonsense 0 2", "char 32 1 2", 0},
                {"1 char 6 @adapt 1", "char 1 6", 1}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.arguments);
        const boxed b(count_box(row.arguments));
        EXPECT_EQ(format_of(b.out(2)), row.format);
        EXPECT_EQ(format_of(b.in(2)), row.format);
        EXPECT_EQ(mop_of(b)->adapt, row.adapt);
        const ramp left("char", 1, {5});
        b.take(left.name);
        EXPECT_EQ(format_of(b.out(1)), row.adapt ? "char 1 5" : row.format);
    }
}

TEST_F(MopBox, AnUnknownNameIsReportedAndChangesNothing)
{
    const boxed b(op_box("1 char 3"));
    ear e(b);
    report_catcher reports;
    EXPECT_EQ(b.send("vok_matrix", "no_such_matrix"), 0);
    EXPECT_EQ(b.send("vok_matrix"), 0);
    zan_service();
    EXPECT_NE(reports.one_error().find("matrix unknown"), std::string::npos);
    b.send("vok_matrix", "no_such_matrix", 1);
    zan_service();
    EXPECT_NE(reports.one_error().find("matrix unknown"), std::string::npos);
    EXPECT_EQ(e.take(), heard{});
    EXPECT_EQ(format_of(b.out(1)), "char 1 3");
}

TEST_F(MopBox, AFailedCalculationIsReportedAndNothingGoesOut)
{
    const boxed b(count_box());
    ear e(b);
    report_catcher reports;
    const ramp left("char", 1, {5});
    counter_of(b)->answer = VOK_ERR_MSDM;
    EXPECT_EQ(b.take(left.name), VOK_ERR_MSDM);
    zan_service();
    EXPECT_NE(reports.one_error().find("mismatch dim"), std::string::npos);
    for (const vok_err other : {-2L, 1L}) { // no codes of the library
        counter_of(b)->answer = other;
        EXPECT_EQ(b.take(left.name), other);
        EXPECT_NE(reports.one_error().find("error type unspecified"), std::string::npos);
    }
    EXPECT_EQ(e.take(), heard{});
    EXPECT_EQ(b.input(1)->matrix, nullptr);
}

TEST_F(MopBox, BangsInTheSchedulerMerge)
{
    const boxed b(op_box());
    ear e(b);
    const auto bangs = [](void *x) {
        for (int i = 0; i < 10; i++)
            zan_send(x, 0, gensym("bang"), 0, nullptr);
    };
    zan_in_scheduler(bangs, b);
    EXPECT_EQ(e.take(), heard{});
    while (zan_service())
        ;
    EXPECT_EQ(e.take(), heard{out_message(b, 1)});
}

// ---- procs ----

std::string proc_log;

vok_err log_output_proc(vok_mop *mop, vok_mop_io *io, void *matrix)
{
    proc_log += "out " + format_of(static_cast<vok_matrix *>(io->matrix)) + " from " +
                format_of(static_cast<vok_matrix *>(matrix)) + ";";
    return 0;
}

vok_err log_mproc(void *x, vok_mop *mop)
{
    proc_log +=
        std::string("mproc ") + static_cast<vok_mop_io *>(vok_mop_getinput(mop, 1))->matrixname->name + ";";
    return VOK_ERR_EROR;
}

TEST_F(MopBox, ProcsReplaceCopyingAdaptingAndCalculating)
{
    const boxed b(count_box());
    const ramp left("char", 1, {5}, "test_proc_left");
    b.input(2)->ioproc = vok_mop_ioproc_copy_adapt;
    b.output(1)->ioproc = log_output_proc;
    mop_of(b)->special = reinterpret_cast<void *>(log_mproc);
    ear e(b);
    b.take(left.name, 1);
    EXPECT_EQ(format_of(b.in(2)), "char 1 5");
    proc_log.clear();
    EXPECT_EQ(b.take(left.name), 0);
    EXPECT_EQ(proc_log, "out char 4 1 1 from char 1 5;mproc test_proc_left;"); // it isn't adapted
    EXPECT_EQ(format_of(b.out(2)), "char 1 5");
    EXPECT_EQ(counter_of(b)->calls, 0);
    EXPECT_EQ(e.take(), heard{});
}

// ---- names ----

TEST_F(MopBox, AnInputTakesTheMatrixThatHasItsName)
{
    const boxed b(op_box());
    const ramp other("char", 1, {3}, "test_shared");
    b.send("in2_name", "test_shared");
    EXPECT_EQ(b.in(2), other);
    b.send("in2_name", "test_shared"); // again: nothing to do
    b.send("in2_name");
    EXPECT_NE(b.input(2)->matrixname, other.name);
    EXPECT_EQ(vok_object_findregistered(b.input(2)->matrixname), b.in(2));

    report_catcher reports;
    void *list = vok_object_new_imp(_vok_sym_vok_linklist, 0, 0, 0, 0, 0, 0, 0, 0);
    vok_object_register(list, gensym("test_no_matrix"));
    b.send("out_name", "test_no_matrix");
    EXPECT_EQ(reports.one_error(), "test_no_matrix exists and is not a matrix");
    vok_object_free(list);
    b.send("out_name", "test_new_name");
    EXPECT_EQ(vok_object_findregistered(gensym("test_new_name")), b.out(1));
    vok_object_register(b.out(1), gensym("test_taken_away"));
    b.send("out_name", "test_new_name");
    EXPECT_EQ(reports.one_error(), "loss of matrix sync test_new_name");
    for (const char *left : {"in_name", "in_dim", "in_type"}) // there is nothing to set
        EXPECT_EQ(zan_vok_obex_attr_getobject(b, gensym(left)), nullptr) << left;
}

TEST_F(MopBox, GoesOnWhenItsMatrixIsFreedUnderIt)
{
    const boxed b(op_box("@op + @in2_name test_freed"));
    const boxed sharing(op_box("@out_name test_freed"));
    ear e(b);
    const ramp left("char", 1, {3});
    b.take(left.name);
    EXPECT_EQ(format_of(sharing.out(1)), "char 1 3");
    void *doomed = b.in(2);
    vok_object_free(doomed); // one reference each
    vok_object_free(doomed);
    auto *in_its_place = static_cast<vok_matrix *>(vok_object_findregistered(gensym("test_freed")));
    ASSERT_TRUE(in_its_place);
    EXPECT_EQ(format_of(in_its_place), "char 1 3");
    EXPECT_NE(b.input(2)->matrixname, gensym("test_freed"));
    e.take();
    b.take(left.name);
    EXPECT_EQ(e.take(), heard{out_message(b, 1)});
    EXPECT_EQ(row_of(b.out(1)), "0 1 2");
    EXPECT_EQ(vok_object_findregistered(b.input(2)->matrixname), b.in(2));
    while (in_its_place == vok_object_findregistered(gensym("test_freed")))
        vok_object_free(in_its_place); // nobody's
}

TEST_F(MopBox, MayBeFreedByItsOwnOutput)
{
    static void *victim;
    zan_class *c = class_new("test_end", nullptr, nullptr, sizeof(object), nullptr, 0);
    const auto hear = [](void *, symbol *, long, atom *) { object_free(std::exchange(victim, nullptr)); };
    class_addmethod(c, erase(hear), "vok_matrix", argtype_gimme, 0);
    void *x = victim = count_box(), *end = object_alloc(c);
    zan_connect(x, 1, end, 0);
    zan_send(x, 0, gensym("bang"), 0, nullptr);
    EXPECT_EQ(zan_object_count(gensym("vok_test_count")), 0);
    object_free(end);
}

// ---- attributes ----

std::string got(void *box, const char *name)
{
    long argc = 0;
    atom *argv = nullptr;
    EXPECT_EQ(zan_vok_obex_attr_get(box, gensym(name), &argc, &argv), 0) << name;
    const std::string text = text_of(gensym(name), argc, argv);
    sysmem_freeptr(argv);
    return text;
}

TEST_F(MopBox, AFormatAttributeGoesWhereItsNameSays)
{
    const struct {
        const char *attribute, *values, *in2, *out, *out2;
    } rows[] = {{"type", "char", "char 2 3 4", "char 2 3 4", "long 2 3 4"},
                {"type", "nonsense", "long 2 3 4", "long 2 3 4", "long 2 3 4"},
                {"out2_type", "float64", "long 2 3 4", "long 2 3 4", "float64 2 3 4"},
                {"in2_type", "float32", "float32 2 3 4", "long 2 3 4", "long 2 3 4"},
                {"planecount", "1", "long 1 3 4", "long 1 3 4", "long 2 3 4"},
                {"out2_planecount", "99", "long 2 3 4", "long 2 3 4", "long 32 3 4"},
                {"dim", "5", "long 2 5", "long 2 5", "long 2 3 4"},
                {"in2_dim", "6 7 8", "long 2 6 7 8", "long 2 3 4", "long 2 3 4"}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.attribute);
        const boxed b(count_box("2 long 3 4"));
        b.output(2)->typelink = b.output(2)->dimlink = b.output(2)->planelink = 0;
        b.send(row.attribute, row.values);
        EXPECT_EQ(format_of(b.in(2)), row.in2);
        EXPECT_EQ(format_of(b.out(1)), row.out);
        EXPECT_EQ(format_of(b.out(2)), row.out2);
        EXPECT_NE(got(b, row.attribute), row.attribute);
    }
}

TEST_F(MopBox, DimsWithoutExtents)
{
    const boxed b(count_box("2 long 3 4"));
    atom none;
    zan_vok_mop_dim(b, zan_vok_obex_attr_getobject(b, gensym("dim")), 0, &none);
    EXPECT_EQ(format_of(b.out(1)), "long 2 1 1");
    zan_vok_mop_dim(b, zan_vok_obex_attr_getobject(b, gensym("in2_dim")), 0, &none);
    EXPECT_EQ(format_of(b.in(2)), "long 2 1");
    EXPECT_EQ(zan_vok_mop_dim(b, zan_vok_obex_attr_getobject(b, gensym("dim")), 0, nullptr), VOK_ERR_EROR);
    EXPECT_EQ(got(b, "dim"), "dim 1 1");
    EXPECT_EQ(got(b, "outputmode"), "outputmode 1");
}

TEST_F(MopBox, FlagsLeaveFeaturesOut)
{
    const struct {
        long flag;
        std::vector<const char *> messages, attributes;
    } rows[] = {
        {ZAN_VOK_MOP_NO_MATRIX, {"vok_matrix"}, {}},
        {ZAN_VOK_MOP_NO_BANG, {"bang"}, {}},
        {ZAN_VOK_MOP_NO_OUTPUTMATRIX, {"outputmatrix", "outputmatrix_usurp_low"}, {}},
        {ZAN_VOK_MOP_NO_NAME, {}, {"in2_name", "out_name", "out2_name"}},
        {ZAN_VOK_MOP_NO_TYPE, {}, {"in2_type", "type", "out2_type"}},
        {ZAN_VOK_MOP_NO_DIM, {}, {"in2_dim", "dim", "out2_dim"}},
        {ZAN_VOK_MOP_NO_PLANECOUNT, {}, {"in2_planecount", "planecount", "out2_planecount"}},
        {ZAN_VOK_MOP_NO_CLEAR, {"clear", "clear_defer"}, {}},
        {ZAN_VOK_MOP_NO_NOTIFY, {"notify"}, {}},
        {ZAN_VOK_MOP_NO_ADAPT, {}, {"adapt"}},
        {ZAN_VOK_MOP_NO_OUTPUTMODE, {}, {"outputmode"}},
    };
    classes::get();
    for (const auto &left_out : rows) {
        zan_class *c = new_box_class("test_flags", "vok_test_count", left_out.flag);
        const boxed b(new_box(c, "vok_test_count"));
        for (const auto &row : rows) {
            const bool there = row.flag != left_out.flag;
            for (const char *name : row.messages)
                EXPECT_EQ(class_mess(c, gensym(name)) != nullptr, there) << name;
            for (const char *name : row.attributes) {
                EXPECT_EQ(zan_vok_obex_attr_getobject(b, gensym(name)) != nullptr, there) << name;
                EXPECT_EQ(class_mess(c, gensym(name)) != nullptr, there) << name;
            }
        }
    }
    zan_class *probed = new_box_class("test_probed", "vok_test_count", ZAN_VOK_MOP_PROBE_ONLY);
    EXPECT_TRUE(class_mess(probed, gensym("vok_matrix_startprobe")));
    EXPECT_FALSE(class_mess(probed, gensym("vok_matrix")));
    EXPECT_FALSE(class_mess(probed, gensym("adapt")));
}

// ---- live boxes ----

TEST_F(MopBox, ResizedOutputsKeepDumpoutRightmost)
{
    const boxed b(count_box("1 char 4"));
    vok_matrix *first = b.out(1);
    for (const long count : {4L, 1L, 3L}) {
        EXPECT_EQ(zan_vok_mop_outputs_resize(b, count), 0);
        ASSERT_EQ(outlet_count(b), count + 1);
        EXPECT_EQ(zan_vok_obex_dumpout_get(b), outlet_nth(b, count));
        EXPECT_EQ(b.out(1), first);
        ear e(b);
        b.send("bang");
        heard expected;
        for (long i = count; i >= 1; i--)
            expected.push_back(out_message(b, i));
        EXPECT_EQ(e.take(), expected);
        b.send("getadapt");
        EXPECT_EQ(e.take(), heard{std::to_string(count) + ": adapt 0"});
    }
    EXPECT_EQ(zan_vok_mop_outputs_resize(b, -2), 0);
    EXPECT_EQ(outlet_count(b), 1);
}

TEST_F(MopBox, ResizedInputsHaveInletsAndMatrices)
{
    const boxed b(count_box());
    const ramp m("char", 1, {5});
    for (const long count : {4L, 1L, 3L, 0L, 2L}) {
        EXPECT_EQ(zan_vok_mop_inputs_resize(b, count), 0);
        for (long i = 2; i <= count; i++) {
            vok_mop_ioproc_copy_adapt(nullptr, b.input(i), m); // shows which one hears
            b.take(m.name, i - 1);
            EXPECT_EQ(row_of(b.in(i)), "0 1 2 3 4");
        }
        EXPECT_EQ(b.input(count + 1), nullptr);
        report_catcher reports;
        b.take(m.name, std::max(count, 1L));
        EXPECT_EQ(reports.take().size(), 1u) << "no such inlet";
    }
}

TEST_F(MopBox, OfAVariableNumberAnswersByMessages)
{
    const boxed b(variable_box(3, 2));
    ear e(b);
    EXPECT_EQ(b.input(3)->ioname, gensym("in3"));
    b.send("in2_dim", "6 5");
    b.send("getin2_dim");
    EXPECT_EQ(e.take(), heard{"2: dim 6 5"});
    b.send("out2_type", "float32");
    b.send("in3_planecount", "2");
    EXPECT_EQ(format_of(b.out(2)), "float32 4 1 1");
    EXPECT_EQ(format_of(b.in(3)), "char 2 1 1");
    b.send("in3_name", "test_variable_name");
    b.send("getin3_name");
    EXPECT_EQ(e.take(), heard{"2: name test_variable_name"});
    for (const char *word : {"getin2_info", "getin2_data", "getin2_lock"}) // the matrix's private messages
        b.send(word);
    EXPECT_EQ(e.take(), heard{});
    EXPECT_EQ(b.send("in_dim", "9"), 0); // the left input is somebody else's
    EXPECT_EQ(b.send("in9_dim", "9"), 0);
    EXPECT_EQ(b.send("nonsense"), VOK_ERR_EROR);
    EXPECT_EQ(b.send("other_dim", "9"), VOK_ERR_EROR);
    EXPECT_EQ(zan_vok_mop_variable_anything(nullptr, gensym("in2_dim"), 0, nullptr), VOK_ERR_INVP);
}

TEST_F(MopBox, NamesAddress)
{
    const struct {
        const char *name;
        long which, index;
    } rows[] = {
        {"in2_dim", 1, 2}, {"out_type", 2, 1},    {"type", 0, 0},    {"outputmode", 2, 1}, {"inverse", 1, 1},
        {"in", 1, 1},      {"out12_name", 2, 12}, {"in0_dim", 1, 1}, {"in3", 1, 3},        {"o", 0, 0},
        {"", 0, 0},        {"in2x_dim", 1, 1},    {"in_2_dim", 1, 1}};
    for (const auto &row : rows) {
        long which = 9, index = 9;
        EXPECT_EQ(zan_vok_mop_parse_name(gensym(row.name), &which, &index), 0);
        EXPECT_EQ(which, row.which) << row.name;
        EXPECT_EQ(index, row.index) << row.name;
    }
    EXPECT_EQ(zan_vok_mop_parse_name(nullptr, nullptr, nullptr), VOK_ERR_INVP);
}

TEST_F(MopBox, InletsAndOutletsSayWhatTheyAre)
{
    const boxed b(count_box());
    char text[512];
    for (const auto &[kind, index, said] :
         {std::tuple{1L, 1L, "(matrix) in2"}, {2, 0, "(matrix) out"}, {2, 2, "dumpout"}}) {
        EXPECT_EQ(zan_vok_mop_assist(b, nullptr, kind, index, text), 0);
        EXPECT_STREQ(text, said);
    }
    EXPECT_NE(zan_vok_mop_assist(b, nullptr, 1, 2, text), 0);
}

TEST_F(MopBox, NoBoxIsNoOperator)
{
    void *list = vok_object_new_imp(_vok_sym_vok_linklist, 0, 0, 0, 0, 0, 0, 0, 0);
    for (void *x : {static_cast<void *>(nullptr), list}) {
        EXPECT_EQ(zan_vok_mop_vok_matrix(x, nullptr, 0, nullptr), VOK_ERR_EROR);
        EXPECT_EQ(zan_vok_mop_outputmatrix(x), VOK_ERR_EROR);
        EXPECT_EQ(zan_vok_mop_inputs_resize(x, 1), VOK_ERR_INVP);
        EXPECT_EQ(zan_vok_mop_outputs_resize(x, 1), VOK_ERR_INVP);
        EXPECT_EQ(zan_vok_mop_getoutputmode(x), 0);
        EXPECT_EQ(zan_vok_mop_getinput(x, 1), nullptr);
        zan_vok_mop_free(x);
    }
    EXPECT_EQ(zan_vok_object_mop_wrap(nullptr, list, 0), VOK_ERR_EROR);
    vok_object_free(list);
}

} // namespace
