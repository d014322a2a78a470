// The object behind the receivers `vok` and `vokra`: settings with their limits, what it
// passes on to the application, and what it hides.
#include "quick_class.h"
#include <dlfcn.h>
#include <utility>

namespace {

// Stands in for the application and notes what it is sent.
struct listener {
    object header;
    std::vector<std::string> *heard;
};

zan_word note(listener *x, symbol *selector, long argc, atom *argv)
{
    char text[256] = "";
    atoms_totext(argc, argv, text, sizeof text);
    x->heard->push_back(std::string(selector->name) + (argc ? " " : "") + text);
    return 0;
}

class KernelObject : public testing::Test {
  protected:
    void SetUp() override
    {
        initialize();
        static zan_class *const c = [] {
            zan_class *made = class_new("kernel_listener", nullptr, nullptr, sizeof(listener), nullptr, 0);
            class_addmethod(made, M(note), "anything", argtype_gimme, 0);
            return made;
        }();
        application = static_cast<listener *>(object_alloc(c));
        application->heard = &heard;
        saved = std::exchange(S("zan")->thing, application);
        kernel = S("vok")->thing;
        ASSERT_TRUE(kernel);
    }
    void TearDown() override
    {
        S("zan")->thing = saved;
        object_free(application);
    }
    void tell(const char *selector, std::vector<zan_word> values = {})
    {
        std::vector<atom> atoms(values.size());
        for (size_t i = 0; i < values.size(); ++i)
            atom_setlong(&atoms[i], values[i]);
        typedmess(kernel, S(selector), static_cast<long>(atoms.size()), atoms.data());
    }
    void *kernel = nullptr;
    void *saved = nullptr;
    listener *application = nullptr;
    std::vector<std::string> heard;
};

TEST_F(KernelObject, HasTwoReceiversAndHidesSomeMessages)
{
    EXPECT_EQ(S("vokra")->thing, kernel);
    EXPECT_EQ(object_classname(kernel), S("vok_kernel"));
    const auto undocumented = [this](const char *name) {
        return object_refpage_method_is_undocumented(object_getmethod_object(kernel, S(name))) != 0;
    };
    for (const char *name :
         {"about", "altivec", "glerrorcheck", "glattribpush", "postversion", "nosplash", "paralleldebug",
          "javainit", "memdebug", "glreadback", "getglreadback", "sendproperty", "endprobe"})
        EXPECT_TRUE(undocumented(name)) << name;
    for (const char *name : {"parallel", "glstatus", "menubar"})
        EXPECT_FALSE(undocumented(name)) << name;
}

TEST_F(KernelObject, Settings)
{
    const struct {
        const char *message;
        long *setting;
        zan_word given;
        long stored;
    } rows[] = {
        {"parallel", &_vok_parallel, 5, 1},
        {"parallel", &_vok_parallel, 0, 0},
        {"parallelthreads", &_vok_parallelthreads, 12, 8},
        {"parallelthreads", &_vok_parallelthreads, -1, 0},
        {"parallelthreads", &_vok_parallelthreads, 3, 3},
        {"parallelthreshold", &_vok_parallelthresh, 0, 1},
        {"parallelthreshold", &_vok_parallelthresh, -7, 1},
        {"parallelthreshold", &_vok_parallelthresh, 500, 500},
        {"paralleldebug", &_vok_paralleldebug, 9, 1},
        {"paralleldebug", &_vok_paralleldebug, 0, 0},
        {"java", &_vok_javaload, 1, 1},
        {"java", &_vok_javaload, 0, 0},
        {"memdebug", &_vok_memreg, 2, 2},
        {"memdebug", &_vok_memreg, 0, 0},
    };
    const long before[] = {_vok_parallel, _vok_parallelthreads, _vok_parallelthresh};
    for (const auto &row : rows) {
        tell(row.message, {row.given});
        EXPECT_EQ(*row.setting, row.stored) << row.message << " " << row.given;
    }
    _vok_parallel = before[0];
    _vok_parallelthreads = before[1];
    _vok_parallelthresh = before[2];
}

TEST_F(KernelObject, ANewThreadCountMakesANewTask)
{
    const long before = _vok_parallelthreads;
    parallel_task *task = parallel_task_new(
        nullptr, [](parallel_worker *) -> zan_word { return 0; }, 2);
    _vok_parallel_task = task;
    const long workers = zan_object_count(S("parallel_worker"));
    tell("parallelthreads", {4});
    EXPECT_EQ(_vok_parallel_task, nullptr);
    EXPECT_EQ(zan_object_count(S("parallel_worker")), workers - 2);
    EXPECT_EQ(task->workers, nullptr) << "the task itself stays";
    object_free(task);
    _vok_parallelthreads = before;
}

TEST_F(KernelObject, PassedOnToTheApplication)
{
    const struct {
        const char *message;
        std::vector<zan_word> values;
        const char *heard;
    } rows[] = {
        {"menubar", {1}, "showmenubar"},
        {"menubar", {0}, "hidemenubar"},
        {"cursor", {2}, "showcursor"},
        {"cursor", {0}, "hidecursor"},
        {"pollthrottle", {0}, "setpollthrottle 1"},
        {"pollthrottle", {30}, "setpollthrottle 30"},
        {"queuethrottle", {-2}, "setqueuethrottle 1"},
        {"queuethrottle", {4}, "setqueuethrottle 4"},
        {"launch_browser", {7, 8}, "launchbrowser 7 8"},
        {"html_ref", {9}, "html_ref 9"},
    };
    for (const auto &row : rows) {
        tell(row.message, row.values);
        ASSERT_FALSE(heard.empty()) << row.message;
        EXPECT_EQ(heard.back(), row.heard);
    }
    S("zan")->thing = nullptr;
    tell("menubar", {1}); // nobody there: nothing happens
    EXPECT_EQ(heard.size(), std::size(rows));
}

TEST_F(KernelObject, OldMessagesDoNothing)
{
    report_catcher ear;
    for (const char *message : {"about", "postversion"})
        tell(message);
    for (const char *message : {"altivec", "glerrorcheck", "glattribpush", "nosplash"})
        tell(message, {1});
    atom a = A("fbo");
    typedmess(kernel, S("glreadback"), 1, &a);
    EXPECT_TRUE(ear.take().empty());
    EXPECT_TRUE(heard.empty());
    EXPECT_EQ(vok_object_method(kernel, S("getglreadback"), 0L), reinterpret_cast<zan_word>(S("fbo")));
}

TEST_F(KernelObject, PropertiesAreSentToAReceiver)
{
    symbol *receiver = S("kernel_test_receiver");
    receiver->thing = application;
    atom args[] = {A("glreadback"), A(receiver->name)};
    typedmess(kernel, S("sendproperty"), 2, args);
    EXPECT_EQ(heard, std::vector<std::string>{"glreadback fbo"});
    void *level = vok_attribute_new("level", _vok_sym_long, 0, nullptr, nullptr);
    vok_object_addattr(kernel, level);
    vok_attr_setlong(kernel, S("level"), 3);
    args[0] = A("level");
    typedmess(kernel, S("sendproperty"), 2, args);
    EXPECT_EQ(heard.back(), "level 3");
    receiver->thing = nullptr;
    typedmess(kernel, S("sendproperty"), 2, args);
    EXPECT_EQ(heard.size(), 2u);
    vok_object_deleteattr(kernel, S("level"));
}

void *status_window;
void *show_status(zan_word on)
{
    return on == 1 ? status_window : nullptr;
}

TEST_F(KernelObject, StatusWindowOfTheOpenGLModule)
{
    report_catcher ear;
    tell("glstatus");
    EXPECT_EQ(ear.one_error(), "no glstatus window found");
    status_window = vok_object_new(S("vok_tree"), 0);
    S("gl2status_show")->thing = reinterpret_cast<void *>(show_status);
    vok_object_method(status_window, S("thing"), vok_object_new(S("vok_tree"), 0));
    atom a = A("clear");
    typedmess(kernel, S("glstatus"), 1, &a);
    EXPECT_EQ(vok_object_method(status_window, S("getthing"), 0L), 0) << "the window got the message";
    tell("glstatus", {5}); // no word, no message
    EXPECT_TRUE(ear.take(zan_report_error).empty());
    S("gl2status_show")->thing = nullptr;
    vok_object_free(status_window);
}

// They are fetched by name and called as they are, not sent.
TEST_F(KernelObject, FunctionsForTheHost)
{
    int count = 0;
    for (const zan_messlist *m = static_cast<zan_messlist *>(static_cast<object *>(kernel)->messlist); m->name;
         ++m)
        if (std::string_view(m->name->name).starts_with("exp_")) {
            EXPECT_EQ(reinterpret_cast<void *>(m->function), dlsym(RTLD_DEFAULT, m->name->name + 4))
                << m->name->name;
            EXPECT_EQ(m->types[0], argtype_cant) << m->name->name;
            ++count;
        }
    EXPECT_EQ(count, 11);
}

} // namespace
