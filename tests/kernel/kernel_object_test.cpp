// The object behind the receivers `vok` and `vokra`: settings with their limits, what it
// passes on to the application, and what it hides.
#include "quick_class.h"
#include <dlfcn.h>
#include <utility>

namespace {

using words = std::vector<std::string>;

class KernelObject : public testing::Test {
  protected:
    void SetUp() override
    {
        initialize();
        application = new_diary(heard); // stands in for the application
        saved = std::exchange(S("zan")->thing, application);
        kernel = S("vok")->thing;
    }
    void TearDown() override
    {
        S("zan")->thing = saved;
        object_free(application);
    }
    void tell(const char *selector, std::vector<atom> values = {})
    {
        typedmess(kernel, S(selector), static_cast<long>(values.size()), values.data());
    }
    void *kernel = nullptr;
    void *saved = nullptr;
    diary *application = nullptr;
    words heard;
};

TEST_F(KernelObject, HasTwoReceiversAndHidesSomeMessages)
{
    EXPECT_EQ(S("vokra")->thing, kernel);
    EXPECT_EQ(object_classname(kernel), S("vok_kernel"));
    for (const auto &[name, hidden] : {std::pair("about", true), {"endprobe", true}, {"parallel", false}})
        EXPECT_EQ(object_refpage_method_is_undocumented(object_getmethod_object(kernel, S(name))) != 0, hidden);
}

TEST_F(KernelObject, Settings)
{
    const struct {
        const char *message;
        long *setting, given, stored;
    } rows[] = {
        {"parallel", &_vok_parallel, 5, 1},
        {"parallel", &_vok_parallel, 0, 0},
        {"parallelthreads", &_vok_parallelthreads, 12, 8},
        {"parallelthreads", &_vok_parallelthreads, -1, 0},
        {"parallelthreshold", &_vok_parallelthresh, -7, 1},
        {"parallelthreshold", &_vok_parallelthresh, 500, 500},
        {"paralleldebug", &_vok_paralleldebug, 9, 1},
        {"java", &_vok_javaload, 1, 1},
        {"memdebug", &_vok_memreg, 2, 2},
    };
    for (const auto &row : rows) {
        const long before = *row.setting;
        tell(row.message, {A(row.given)});
        EXPECT_EQ(std::exchange(*row.setting, before), row.stored) << row.message << " " << row.given;
    }
}

TEST_F(KernelObject, ANewThreadCountMakesANewTask)
{
    const long before = _vok_parallelthreads;
    parallel_task *task = parallel_task_new(
        nullptr, [](parallel_worker *) -> zan_word { return 0; }, 2);
    _vok_parallel_task = task;
    const long workers = zan_object_count(S("parallel_worker"));
    tell("parallelthreads", {A(4)});
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
        std::vector<atom> values;
        words heard;
    } rows[] = {
        {"menubar", {A(1)}, {"showmenubar"}},
        {"menubar", {A(0)}, {"hidemenubar"}},
        {"cursor", {A(2)}, {"showcursor"}},
        {"cursor", {A(0)}, {"hidecursor"}},
        {"pollthrottle", {A(0)}, {"setpollthrottle 1"}},
        {"queuethrottle", {A(4)}, {"setqueuethrottle 4"}},
        {"launch_browser", {A(7), A(8)}, {"launchbrowser 7 8"}},
        {"html_ref", {A(9)}, {"html_ref 9"}},
        {"about", {}, {}}, // messages of old
        {"altivec", {A(1)}, {}},
        {"glreadback", {A("fbo")}, {}},
    };
    for (const auto &row : rows) {
        tell(row.message, row.values);
        EXPECT_EQ(std::exchange(heard, {}), row.heard) << row.message;
    }
    S("zan")->thing = nullptr;
    tell("menubar", {A(1)}); // nobody there: nothing happens
    EXPECT_EQ(heard, words{});
}

TEST_F(KernelObject, PropertiesAreSentToAReceiver)
{
    symbol *receiver = S("kernel_test_receiver");
    receiver->thing = application;
    tell("sendproperty", {A("glreadback"), A(receiver->name)});
    vok_object_addattr(kernel, vok_attribute_new("level", _vok_sym_long, 0, nullptr, nullptr));
    vok_attr_setlong(kernel, S("level"), 3);
    tell("sendproperty", {A("level"), A(receiver->name)});
    receiver->thing = nullptr;
    tell("sendproperty", {A("level"), A(receiver->name)});
    EXPECT_EQ(heard, (words{"glreadback fbo", "level 3"}));
    vok_object_deleteattr(kernel, S("level"));
}

TEST_F(KernelObject, StatusWindowOfTheOpenGLModule)
{
    static void *window;
    window = application;
    report_catcher reports;
    tell("glstatus");
    EXPECT_EQ(reports.one_error(), "no glstatus window found");
    const auto show = [](zan_word on) { return on == 1 ? window : nullptr; };
    S("gl2status_show")->thing = reinterpret_cast<void *>(+show);
    tell("glstatus", {A("clear")});
    tell("glstatus", {A(5)}); // no word, no message
    EXPECT_EQ(heard, words{"clear"});
    EXPECT_TRUE(reports.take(zan_report_error).empty());
    S("gl2status_show")->thing = nullptr;
}

// They are fetched by name and called as they are, not sent.
TEST_F(KernelObject, FunctionsForTheHost)
{
    int count = 0;
    for (auto *m = static_cast<zan_messlist *>(static_cast<object *>(kernel)->messlist); m->name; ++m)
        if (std::string_view(m->name->name).starts_with("exp_")) {
            EXPECT_EQ(reinterpret_cast<void *>(m->function), dlsym(RTLD_DEFAULT, m->name->name + 4));
            EXPECT_EQ(m->types[0], argtype_cant) << m->name->name;
            ++count;
        }
    EXPECT_EQ(count, 11);
}

} // namespace
