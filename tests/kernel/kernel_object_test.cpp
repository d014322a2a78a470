// The object behind the receivers `vok` and `vokra`: settings with their limits, what it
// passes on to the application, and what it hides.
#include "quick_class.h"
#include <dlfcn.h>
#include <utility>

namespace {

using words = std::vector<std::string>;

class KernelObject : public testing::Test {
  protected:
    ~KernelObject() override
    {
        S("zan")->thing = saved;
        object_free(application);
    }
    void tell(const char *selector, std::vector<atom> values = {})
    {
        typedmess(kernel, S(selector), static_cast<long>(values.size()), values.data());
    }
    words heard;
    diary *application = new_diary(heard); // stands in for the application
    void *saved = std::exchange(S("zan")->thing, application);
    void *kernel = S("vok")->thing;
};

TEST_F(KernelObject, HasTwoReceiversHiddenMessagesAndFunctionsForTheHost)
{
    EXPECT_EQ(S("vokra")->thing, kernel);
    for (const auto &[name, hidden] : {std::pair("about", true), {"endprobe", true}, {"parallel", false}})
        EXPECT_EQ(object_refpage_method_is_undocumented(object_getmethod_object(kernel, S(name))) != 0, hidden);
    int functions = 0; // fetched by name and called as they are, not sent
    for (auto *m = static_cast<zan_messlist *>(static_cast<object *>(kernel)->messlist); m->name; ++m)
        if (std::string_view(m->name->name).starts_with("exp_")) {
            EXPECT_EQ(reinterpret_cast<void *>(m->function), dlsym(RTLD_DEFAULT, m->name->name + 4));
            EXPECT_EQ(m->types[0], argtype_cant) << m->name->name;
            ++functions;
        }
    EXPECT_EQ(functions, 11);
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
    auto *task = parallel_task_new(nullptr, reinterpret_cast<parallel_workerproc>(M(vok_method_true)), 2);
    _vok_parallel_task = task;
    for (const auto &row : rows) {
        const long before = *row.setting;
        tell(row.message, {A(row.given)});
        EXPECT_EQ(std::exchange(*row.setting, before), row.stored) << row.message << " " << row.given;
    }
    EXPECT_TRUE(!_vok_parallel_task && !task->workers) << "a new count makes a new task; the old one stays, empty";
    object_free(task);
}

TEST_F(KernelObject, PassedOnToTheApplication)
{
    const struct {
        const char *message;
        std::vector<atom> values;
        words heard;
    } rows[] = {
        {"menubar", {A(1)}, {"showmenubar"}},
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

} // namespace
