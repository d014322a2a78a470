// The matrix wrapper: names, what it passes on, and files, as a script drives it.
#include <vokra/attributes.h>
#include <vokra/matrix_copy.h>
#include <vokra/matrix_file.h>
#include <vokra/matrix_wrapper.h>
#include <zan/host.h>

#include "kernel/quick_class.h"
#include "matrix/matrix_tools.h"
#include "scratch.h"

namespace {

struct wrapper {
    explicit wrapper(const std::string &arguments = "")
    {
        std::vector<atom> list = atoms(arguments);
        x_ = static_cast<vok_matrix_wrapper *>(
            object_new_typed(ps_vokra, gensym("vok_matrix_wrapper"), static_cast<long>(list.size()), list.data()));
    }
    ~wrapper() { object_free(x_); }
    wrapper(const wrapper &) = delete;
    wrapper &operator=(const wrapper &) = delete;
    vok_matrix_wrapper *operator->() const { return x_; }
    operator vok_matrix_wrapper *() const { return x_; }
    vok_matrix *matrix() const { return static_cast<vok_matrix *>(x_->matrix); }
    // A message with atoms; the answer as text: "-" for none.
    std::string ask(const char *selector, std::vector<atom> list) const
    {
        atom answer{};
        object_method_typed(x_, gensym(selector), static_cast<long>(list.size()), list.data(), &answer);
        long argc = answer.type == argtype_nothing ? 0 : 1;
        atom *argv = &answer;
        void *object = atom_getobj(&answer);
        if (object)
            atomarray_getatoms(object, &argc, &argv);
        const std::string text = argc ? text_of(argc, argv) : "-";
        object_free(object);
        return text;
    }
    std::string ask(const char *selector, const std::string &arguments = "") const
    {
        return ask(selector, atoms(arguments));
    }
    vok_matrix_wrapper *x_;
};

class Wrapper : public Library {
  protected:
    scratch_folder folder;
    report_catcher reports;
};

TEST_F(Wrapper, SharesTheMatrixOfItsName)
{
    const wrapper first("test_wrapped"), other("test_wrapped"), formed("test_wrapped 1 float32 5 4");
    EXPECT_TRUE(first.matrix() == other.matrix() && first->adapt && !formed->adapt);
    EXPECT_EQ(format_of(first.matrix()->info), "float32 1 5 4"); // a format reaches an older matrix
    const wrapper nameless("2 long 3");
    EXPECT_EQ(format_of(nameless.matrix()->info), "long 2 3");
    EXPECT_EQ(vok_object_findregistered(nameless->name), nameless.matrix());
    EXPECT_EQ(nameless->conv.planemap[31], 31);
    for (const char *name : {"test_renamed", ""}) {
        other.ask("name", name);
        EXPECT_EQ(vok_object_findregistered(other->name), other.matrix());
        EXPECT_EQ(other->name == gensym("test_renamed"), *name != 0);
    }
    EXPECT_EQ(send_words(other, "getmatrix"), as_word(other.matrix()));

    void *list = vok_object_register(vok_linklist_new(), gensym("test_a_list"));
    const long matrices = zan_object_count(_vok_sym_vok_matrix);
    EXPECT_EQ(static_cast<vok_matrix_wrapper *>(wrapper("test_a_list")), nullptr);
    EXPECT_EQ(reports.take(zan_report_post),
              std::vector<std::string>{"error could not create vok.matrix test_a_list"});
    EXPECT_EQ(zan_object_count(_vok_sym_vok_matrix), matrices);
    vok_object_free(list);
}

TEST_F(Wrapper, StandsEmptyWhenItsMatrixIsFreed)
{
    const wrapper w("test_emptied");
    vok_object_free(w.matrix());
    EXPECT_EQ(reports.one_error(), "vok_matrix_wrapper: freeing referenced matrix test_emptied");
    EXPECT_TRUE(!w.matrix() && w->name == _vok_sym_nothing);
    for (const auto &[selector, answer] :
         {std::pair{"clear", "-"}, {"add", "-"}, {"exportimage", "<none> 0"}, {"importmovie", "<none> 0"}})
        EXPECT_EQ(w.ask(selector, "x"), answer);
    EXPECT_EQ(w.ask("write", folder / "x.vkf"), folder / "x.vkf -1");
    EXPECT_EQ(reports.one_error(), "vok.matrix: error writing file");
}

TEST_F(Wrapper, AnswersMessagesWithItsMatrix)
{
    const wrapper w("test_w 1 char 4"), other("test_other 1 char 4"), taking("test_taking"),
        two("test_two 1 char 2");
    other.ask("setall", "5");
    atom object;
    atom_setobj(&object, other); // a wrapper stands for its matrix
    const struct {
        const wrapper &to;
        const char *selector;
        std::vector<atom> arguments;
        const char *answer, *format, *cells;
    } rows[] = {
        {w, "setall", atoms("10"), "-", "char 1 4", "10 10 10 10"},
        {w, "setcell", atoms("1 val 30"), "-", "char 1 4", "10 30 10 10"},
        {w, "getcell", atoms("1"), "30", "char 1 4", "10 30 10 10"},
        {w, "getplanecount", {}, "1", "char 1 4", "10 30 10 10"},
        {w, "mult", {object}, "-", "char 1 4", "0 0 0 0"}, // n * 5 / 255
        {w, "add", atoms("17"), "-", "char 1 4", "17 17 17 17"},
        {w, "op", atoms("sub 2"), "-", "char 1 4", "15 15 15 15"},
        {w, "dim", atoms("3"), "-", "char 1 3", "0 0 0"},
        {w, "getdim", {}, "3", "char 1 3", "0 0 0"},
        {w, "setinfo", atoms("2 char 2"), "-", "char 2 2", "0 0 0 0"},
        {other, "setcell", atoms("3 val 9"), "-", "char 1 4", "5 5 5 9"},
        {taking, "frommatrix", {object}, "-", "char 1 4", "5 5 5 9"},
        {two, "frommatrix", atoms("test_other"), "-", "char 1 2", "5 5"},
        {two, "usesrcdim", atoms("1"), "-", "char 1 2", "5 5"},
        {two, "srcdimstart", atoms("3"), "-", "char 1 2", "5 5"},
        {two, "srcdimend", atoms("2"), "-", "char 1 2", "5 5"},
        {two, "frommatrix", atoms("test_other"), "-", "char 1 2", "9 5"},
        {two, "frommatrix", atoms("test_no_such_matrix"), "-", "char 1 2", "9 5"},
        {two, "frommatrix", {}, "-", "char 1 2", "9 5"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(row.to.ask(row.selector, row.arguments), row.answer) << row.selector;
        const vok_matrix *m = row.to.matrix();
        std::string cells;
        for (long i = 0; i < m->info.planecount * m->info.dim[0]; i++)
            cells += (i ? " " : "") + std::to_string(m->data[i]);
        EXPECT_EQ(format_of(m->info) + " " + cells, row.format + (" " + std::string(row.cells))) << row.selector;
    }
    EXPECT_EQ(reports.take().size(), 0u);
    EXPECT_NE(object_attr_setvalueof(w, gensym("size"), 0, nullptr), 0); // users can't
    for (const char *absent : {"assist", "preset", "getdata", "frommatrix_trunc", "getflags"})
        EXPECT_EQ(class_mess(object_class(w), gensym(absent)), nullptr) << absent;
    w.ask("add", std::vector<atom>(300, object)); // no more than fit are passed on
}

TEST_F(Wrapper, WritesAndReadsFiles)
{
    const wrapper w("test_file 1 long 3"), back("test_file_back");
    const std::string name = folder / "a matrix.vkf";
    std::vector<atom> file(1);
    atom_setsym(file.data(), gensym(name.c_str()));
    w.ask("setall", "-70000");
    EXPECT_EQ(w.ask("write", file), name + " 1");
    EXPECT_EQ(static_cast<long>(bytes_of(name).size()), vok_bin_matrix_filesize(&w.matrix()->info));
    EXPECT_EQ(back.ask("read", file), name + " 1");
    const std::string other = folder.make("other.vkf", "GIF89a and so on, which is no matrix");
    const struct {
        const char *selector;
        std::string file, error;
    } rows[] = {{"read", other, "improper file format other.vkf"},
                {"read", "test_no_such_file.vkf", "can't find file test_no_such_file.vkf"},
                {"write", folder / "none/x.vkf", "could not create file " + folder / "none/x.vkf"}};
    for (const auto &row : rows) {
        EXPECT_EQ(back.ask(row.selector, row.file), row.file + " -1");
        EXPECT_EQ(reports.one_error(), "vok.matrix: " + row.error);
    }
    EXPECT_EQ(format_of(back.matrix()->info), "long 1 3");
    EXPECT_EQ(cell(back.matrix(), "2"), "-70000");
}

TEST_F(Wrapper, AsksForFilesThatAreNotNamed)
{
    const wrapper w("test_dialog 4 char 8 8");
    for (const char *asks : {"read", "write", "exportimage"})
        EXPECT_EQ(w.ask(asks), "<none> 0") << "cancelled";
    zan_set_dialog_answer(folder.name().c_str()); // a folder: the name that was proposed, in it
    EXPECT_EQ(w.ask("write"), "matrix.vkf 1");
    zan_set_dialog_answer((folder / "matrix.vkf").c_str());
    EXPECT_EQ(w.ask("read"), "matrix.vkf 1");
    zan_set_dialog_answer(nullptr);
    EXPECT_EQ(w.ask("exportimage", folder / "picture png"), "picture.png 1");
    EXPECT_EQ(bytes_of(folder / "picture.png").substr(1, 3), "PNG");
}

// ---- movies: engines that play a grey picture and take one down ----

struct movie {
    object ob;
    double rate, time;
    zan_word dim[2], movie_dim[2];
};

std::string movie_log;

TEST_F(Wrapper, MoviesComeAndGoThroughTheEngines)
{
    for (const char *name : {"vok_qt_movie", "vok_qt_record"}) {
        if (vok_class_findbyname(gensym(name)))
            GTEST_SKIP() << "there are engines";
        const auto make = [](zan_word width, zan_word height) {
            auto *m = static_cast<movie *>(vok_object_alloc(vok_class_findbyname(gensym("vok_qt_movie"))));
            *m = {m->ob, 1, 0, {}, {6, 2}};
            movie_log = "new " + std::to_string(width) + "x" + std::to_string(height) + ";";
            return m;
        };
        zan_class *c = vok_class_new(name, erase(make), nullptr, sizeof(movie), argtype_cant, 0);
        for (const auto &[attr, type, size, offset] :
             {std::tuple{"rate", _vok_sym_float64, 1, offsetof(movie, rate)},
              {"time", _vok_sym_float64, 1, offsetof(movie, time)},
              {"dim", _vok_sym_long, 2, offsetof(movie, dim)},
              {"movie_dim", _vok_sym_long, 2, offsetof(movie, movie_dim)}})
            vok_class_addattr(
                c, vok_attr_offset_array_new(attr, type, size, 0, nullptr, nullptr, 0, static_cast<long>(offset)));
        const auto go = [](void *, symbol *s, long argc, atom *argv, atom *rv) -> zan_word {
            atom list[2];
            atom_setsym(list, argc ? atom_getsym(argv) : gensym("asked"));
            atom_setlong(list + 1, argc > 0);
            movie_log += std::string(s->name) + ";";
            atom_setobj(rv,
                        object_new_imp(_vok_sym_nobox, _vok_sym_atomarray, 2, as_word(list), 0, 0, 0, 0, 0, 0));
            return 0;
        };
        for (const char *file : {"read", "write", "stop"})
            vok_class_addmethod(c, erase(go), file, argtype_gimmeback, 0);
        const auto calc = [](movie *m, void *, void *outputs) -> zan_word {
            movie_log += "calc rate " + std::to_string(long(m->rate)) + " time " + std::to_string(long(m->time)) +
                         (outputs ? " out;" : " in;");
            return 0;
        };
        vok_class_addmethod(c, erase(calc), "matrix_calc", argtype_cant, 0);
        vok_class_register(c);
    }
    const wrapper adapting("test_movie"), fixed("test_movie_fixed 1 float32 3 3");
    EXPECT_EQ(adapting.ask("importmovie", "clip.mov 40"), "clip.mov 1");
    EXPECT_EQ(movie_log, "new 1x1;read;calc rate 0 time 40 out;");
    EXPECT_EQ(format_of(adapting.matrix()->info), "char 4 6 2");
    EXPECT_EQ(fixed.ask("importmovie", "clip.mov"), "clip.mov 1");
    EXPECT_EQ(format_of(fixed.matrix()->info), "float32 1 3 3");
    EXPECT_EQ(fixed.ask("importmovie"), "asked 0");
    EXPECT_EQ(movie_log, "new 3x3;read;");
    EXPECT_EQ(fixed.ask("exportmovie", "made.mov"), "made.mov 1");
    EXPECT_EQ(movie_log, "new 3x3;write;calc rate 1 time 0 in;stop;");
}

} // namespace
