// Posts, warnings and errors: what the reporter gets, what goes to standard error,
// and the object behind the name "zan".
#include "kernel_fixture.h"
#include <thread>

namespace {

struct heard {
    long kind;
    void *object;
    std::string text;
    bool operator==(const heard &) const = default;
};

class Report : public testing::Test {
  protected:
    void SetUp() override
    {
        zan_set_reporter(
            [](void *data, long kind, void *about, const char *text) {
                static_cast<Report *>(data)->all.push_back({kind, about, text});
            },
            this);
        static zan_class *c = class_new("report_thing", nullptr, nullptr, sizeof(object), nullptr, 0);
        x = object_alloc(c);
    }
    void TearDown() override
    {
        zan_set_reporter(nullptr, nullptr);
        object_free(x);
    }
    std::vector<heard> all; // no lock on purpose: calls come one at a time
    void *x;
};

TEST_F(Report, KindsObjectsAndTexts)
{
    alignas(16) long no_object[4] = {};
    object_error(x, "wrong: %d of %s", 3, "four");
    object_warn(x, "careful");
    object_post(no_object, "%%");
    cpost("line %ld\n", 5L);
    object_post(nullptr, "%s", "");
    EXPECT_EQ(all, (std::vector<heard>{{zan_report_error, x, "wrong: 3 of four"},
                                       {zan_report_warning, x, "careful"},
                                       {zan_report_post, nullptr, "%"},
                                       {zan_report_console, nullptr, "line 5"},
                                       {zan_report_post, nullptr, ""}}));
}

TEST_F(Report, LongTextIsCutBetweenCharacters)
{
    const std::string filler(4090, 'a');
    const std::pair<std::string, size_t> rows[] = {
        {std::string(100000, 'a'), 4095},
        {filler + "aaaa\xC3\xA9", 4094},        // 2 bytes, the second cut off
        {filler + "aaa\xC3\xA9more", 4095},     // whole
        {filler + "aaa\xE2\x82\xACmore", 4093}, // 3 bytes, one cut off
        {filler + "aa\xF0\x9F\x8C\x8A and on", 4092},
        {filler + "a\xF0\x9F\x8C\x8A and on", 4095},
    };
    for (const auto &[text, length] : rows) {
        object_post(nullptr, "%s", text.c_str());
        EXPECT_EQ(all.back().text, text.substr(0, length));
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

TEST_F(Report, OnStandardErrorLinesNameTheClassOnce)
{
    const std::pair<zan_reporter, const char *> rows[] = {
        // a reporter may report, or take itself away
        {nullptr, "report_thing: a\nreport_thing: b\nreport_thing: report_things: c\nd\ne\n"},
        {[](void *, long, void *, const char *text) { object_post(nullptr, "heard %s", text); },
         "heard a\nheard report_thing: b\nheard report_things: c\nheard d\nheard e\n"},
        {[](void *, long, void *, const char *) { zan_set_reporter(nullptr, nullptr); },
         "report_thing: b\nreport_thing: report_things: c\nd\ne\n"}};
    for (const auto &[reporter, lines] : rows) {
        testing::internal::CaptureStderr();
        zan_set_reporter(reporter, nullptr);
        for (const char *text : {"a", "report_thing: b", "report_things: c"})
            object_error(x, "%s", text);
        object_error(nullptr, "d");
        cpost("e\n");
        EXPECT_EQ(testing::internal::GetCapturedStderr(), lines);
    }
}

TEST_F(Report, TheReceiverKeepsWhatItIsTold)
{
    void *zan = S("zan")->thing;
    ASSERT_TRUE(zan);
    const std::tuple<const char *, std::vector<atom>, const char *, const char *> rows[] = {
        {"hidemenubar", {}, "getmenubar", "0"},
        {"showmenubar", {}, "getmenubar", "1"},
        {"hidecursor", {}, "getcursor", "0"},
        {"setpollthrottle", {A(7)}, "getpollthrottle", "7"},
        {"setqueuethrottle", {A(-3)}, "getqueuethrottle", "1"},
        {"launchbrowser", {A("http://example.org")}, "getpage", "http://example.org"},
        {"html_ref", {A("http://example.org"), A(2)}, "getpage", "http://example.org 2"},
        {"openfilefront", {}, "getmenubar", "1"},
    };
    for (const auto &[message, words, get, expected] : rows) {
        std::vector<atom> argv = words;
        typedmess(zan, S(message), long(argv.size()), argv.data());
        atom now{};
        EXPECT_EQ(object_method_typed(zan, S(get), 0, nullptr, &now), 0);
        EXPECT_EQ(text_of(now), expected) << message;
    }
    EXPECT_TRUE(all.empty()) << all[0].text;
    typedmess(zan, S("no such message"), 0, nullptr);
    EXPECT_EQ(all.size(), 1u);
}

} // namespace
