// Posts, warnings and errors: what the reporter gets, what goes to standard error,
// and the object behind the name "zan".
#include "kernel_fixture.h"
#include <atomic>
#include <cstring>
#include <thread>
#include <zan/host.h>

namespace {

struct heard {
    long kind;
    void *object;
    std::string text;
    bool operator==(const heard &) const = default;
};

class Report : public testing::Test {
  protected:
    void SetUp() override { zan_set_reporter(hear, this); }
    void TearDown() override { zan_set_reporter(nullptr, nullptr); }
    static void hear(void *data, long kind, void *x, const char *text)
    {
        static_cast<Report *>(data)->all.push_back({kind, x, text});
    }
    std::vector<heard> all; // no lock on purpose: calls come one at a time
};

TEST_F(Report, KindsObjectsAndTexts)
{
    static zan_class *c = class_new("report_thing", nullptr, nullptr, sizeof(object), nullptr, 0);
    void *x = object_alloc(c);
    object_error(x, "wrong: %d of %s", 3, "four");
    object_warn(x, "careful");
    object_post(nullptr, "%%");
    cpost("line %ld\n", 5L);
    object_post(nullptr, "%s", "");
    EXPECT_EQ(all, (std::vector<heard>{{zan_report_error, x, "wrong: 3 of four"},
                                       {zan_report_warning, x, "careful"},
                                       {zan_report_post, nullptr, "%"},
                                       {zan_report_console, nullptr, "line 5"},
                                       {zan_report_post, nullptr, ""}}));
    object_free(x);
    alignas(16) long no_object[4] = {};
    object_post(no_object, "from nobody");
    EXPECT_EQ(all.back().object, nullptr);
}

TEST_F(Report, LongTextIsCutBetweenCharacters)
{
    const std::string filler(4090, 'a');
    const struct {
        std::string text;
        size_t length;
    } rows[] = {
        {std::string(4095, 'a'), 4095},
        {std::string(100000, 'a'), 4095},
        {filler + "aaaa\xC3\xA9", 4094},        // 2 bytes, the second cut off
        {filler + "aaa\xC3\xA9more", 4095},     // whole
        {filler + "aaa\xE2\x82\xACmore", 4093}, // 3 bytes, one cut off
        {filler + "aa\xF0\x9F\x8C\x8A and on", 4092},
        {filler + "a\xF0\x9F\x8C\x8A and on", 4095},
    };
    for (const auto &r : rows) {
        object_post(nullptr, "%s", r.text.c_str());
        EXPECT_EQ(all.back().text.size(), r.length) << &r - rows;
        EXPECT_EQ(all.back().text, r.text.substr(0, r.length)) << &r - rows;
    }
}

TEST_F(Report, OneCallAtATimeFromManyThreads)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
        threads.emplace_back([] {
            for (int i = 0; i < 500; i++)
                object_post(nullptr, "post %d", i);
        });
    for (std::thread &t : threads)
        t.join();
    EXPECT_EQ(all.size(), 2000u);
}

TEST_F(Report, AReporterMayReportOrTakeItselfAway)
{
    static int calls;
    calls = 0;
    const struct {
        void (*reporter)(void *, long, void *, const char *);
        const char *on_standard_error;
    } rows[] = {{[](void *, long, void *, const char *text) {
                     calls++;
                     object_post(nullptr, "heard %s", text);
                 },
                 "heard a\nheard b\n"},
                {[](void *, long, void *, const char *) {
                     calls++;
                     zan_set_reporter(nullptr, nullptr);
                 },
                 "b\n"}};
    for (const auto &row : rows) {
        testing::internal::CaptureStderr();
        zan_set_reporter(row.reporter, nullptr);
        object_post(nullptr, "a");
        object_post(nullptr, "b");
        EXPECT_EQ(testing::internal::GetCapturedStderr(), row.on_standard_error);
    }
    EXPECT_EQ(calls, 3);
}

TEST_F(Report, LinesOnStandardErrorNameTheClassOnce)
{
    static zan_class *c = class_new("report_line", nullptr, nullptr, sizeof(object), nullptr, 0);
    void *x = object_alloc(c);
    zan_set_reporter(nullptr, nullptr);
    testing::internal::CaptureStderr();
    object_error(x, "went wrong");
    object_error(x, "report_line: went wrong");
    object_error(x, "report_liner: went wrong");
    object_error(nullptr, "nobody's");
    cpost("console\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "report_line: went wrong\nreport_line: went wrong\n"
              "report_line: report_liner: went wrong\nnobody's\nconsole\n");
    object_free(x);
}

// ---- the application's receiver ----

TEST_F(Report, TheReceiverKeepsWhatItIsTold)
{
    void *zan = S("zan")->thing;
    ASSERT_TRUE(zan);
    EXPECT_EQ(object_classname(zan), S("zan"));
    const struct {
        const char *message;
        long value; // -1: no argument
        const char *attribute;
        long expected;
    } rows[] = {
        {"hidemenubar", -1, "menubar", 0},
        {"showmenubar", -1, "menubar", 1},
        {"hidecursor", -1, "cursor", 0},
        {"showcursor", -1, "cursor", 1},
        {"setpollthrottle", 7, "pollthrottle", 7},
        {"setpollthrottle", 0, "pollthrottle", 1},
        {"setqueuethrottle", 9, "queuethrottle", 9},
        {"setqueuethrottle", -3, "queuethrottle", 1},
    };
    for (const auto &r : rows) {
        atom a = A(r.value);
        typedmess(zan, S(r.message), r.message[0] == 's' && r.message[1] == 'e', &a);
        EXPECT_EQ(object_attr_getlong(zan, S(r.attribute)), r.expected) << r.message;
    }
    atom page[] = {A("http://example.org"), A(2)};
    for (const char *m : {"launchbrowser", "html_ref"}) {
        typedmess(zan, S(m), m[0] == 'l' ? 1 : 2, page);
        EXPECT_EQ(object_attr_getsym(zan, S("page")),
                  S(m[0] == 'l' ? "http://example.org" : "http://example.org 2"));
    }
    EXPECT_TRUE(all.empty()) << all[0].text;
    typedmess(zan, S("no such message"), 0, nullptr);
    EXPECT_EQ(all.size(), 1u);
}

} // namespace
