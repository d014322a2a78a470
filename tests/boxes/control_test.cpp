// Control boxes: what comes out, and in which order, for what goes in. Each row makes a
// box from its text, sends it messages and compares what arrives behind its outlets.
#include "box_tools.h"
#include <cmath>

namespace {

using namespace box_tools;

const struct {
    const char *box;              // class and arguments
    std::vector<const char *> in; // "inlet message"
    const char *out;              // "outlet message; outlet message ..." in order
    const char *errors = "";
} rows[] = {
    {"trigger b i f s a 7 foo", {"0 2.5"}, "6 foo; 5 7; 4 2.5; 3 ; 2 2.5; 1 2; 0 bang"},
    {"trigger", {"0 vok_matrix a"}, "1 bang; 0 bang"},
    {"route foo 3 bang",
     {"0 foo 1 2", "0 foo", "0 foo bar 1", "0 3", "0 3. x", "0 bang", "0 other 1", "0 4"},
     "0 1 2; 0 bang; 0 bar 1; 1 bang; 1 x; 2 bang; 3 other 1; 3 4"},
    {"select 1 foo", {"0 1", "0 1.", "0 foo 2", "0 2 1"}, "0 bang; 0 bang; 1 bang; 2 2 1"},
    {"gate 2", {"1 lost", "0 2", "1 here 1", "0 1", "1 3", "0 0", "1 lost", "0 9", "1 lost"}, "1 here 1; 0 3"},
    {"pack 1 2 x", {"0 bang", "2 y", "1 5", "0 4", "1 7 8", "0 list a 1"}, "0 1 2 x; 0 4 5 y; 0 a 1 8"},
    {"unpack 3", {"0 1 two 3.5 4", "0 7"}, "2 3.5; 1 two; 0 1; 0 7"},
    {"prepend a 1", {"0 2 3", "0 bang", "1 b", "0 go 1"}, "0 a 1 2 3; 0 a 1; 0 b go 1"},
    {"int 3", {"0 bang", "1 5.9", "0 bang", "0 7.9", "0 set 2", "0 bang"}, "0 3; 0 5; 0 7; 0 2"},
    {"int 9007199254740993", {"0 bang"}, "0 9007199254740993"}, // no double
    {"float", {"0 bang", "1 5", "0 bang", "0 7"}, "0 0.; 0 5.; 0 7."},
    {"counter 1 3", {"0 bang", "0 bang", "0 bang", "0 bang"}, "0 1; 0 2; 1 bang; 0 3; 0 1"},
    {"counter 1",
     {"0 bang", "0 bang", "0 bang", "0 1", "0 set 1", "0 reset", "0 bang"},
     "0 0; 1 bang; 0 1; 0 0; 1 bang; 0 1; 0 0"},
    {"counter 1 3 @direction down", {"0 bang", "0 bang", "0 bang", "0 bang"}, "0 3; 0 2; 1 bang; 0 1; 0 3"},
    {"counter 0 2 @direction updown",
     {"0 bang", "0 bang", "0 bang", "0 bang", "0 bang", "0 bang"},
     "0 0; 0 1; 1 bang; 0 2; 0 1; 0 0; 0 1"},
    {"counter", {"0 bang", "1 5", "0 bang"}, "0 0; 0 5"},
    {"repeat 3", {"0 bang", "1 1", "0 bang"}, "0 0; 0 1; 0 2; 1 bang; 0 0; 1 bang"},
    {"random 1000 @seed 5", {"0 bang", "0 bang", "0 bang"}, "0 618; 0 344; 0 63"}, // on every run
    {"+ 2", {"0 3", "0 3.5", "1 10", "0 bang", "0 1 1"}, "0 5; 0 5.5; 0 13.5; 0 2"},
    {"/ 2", {"0 5", "0 5.", "1 0", "0 5"}, "0 2; 0 2.5; 0 0"},
    {"/ -1", {"0 -9223372036854775808"}, "0 -9223372036854775808"},
    {"% 3", {"0 7", "0 7.5", "1 0", "0 7"}, "0 1; 0 1.5; 0 0"},
    {"pow 2", {"0 3"}, "0 9."},
    {"max 2.", {"0 3", "0 1"}, "0 3.; 0 2."},
    {"> 2", {"0 3", "0 2"}, "0 1; 0 0"},
    {"sqrt", {"0 9", "0 -1"}, "0 3.; 0 0."},
    {"message go \\$1 x-\\$2 \\, \\$1", {"0 7 8", "0 cat"}, "0 go 7 x-8; 0 7; 0 go cat x-0; 0 cat"},
    {"message go $1 x-$2, $1", {"0 7 8"}, "0 go 7 x-8; 0 7"},
    {"message 1 2",
     {"0 append a b", "0 bang", "0 set 4", "0 bang", "1 foo 3", "0 bang"},
     "0 1 2 a b; 0 4; 0 foo 3"},
    {"message \"two words\"", {"0 bang"}, "0 two words"},
    // what a box doesn't take is told, and it keeps its place
    {"metro fast", {}, "", "argument 1 is a number ([milliseconds]), found \"fast\""},
    {"metro 10 @speed 3", {}, "", "\"speed\" is not a valid attribute argument"},
    {"metro 10 @interval", {}, "", "the attribute argument \"interval\" has no value"},
    {"counter @direction sideways", {}, "", "direction is up, down or updown, not \"sideways\""},
    {"send", {}, "", "a name is missing (send NAME)"},
    {"receive zan", {}, "", "the name \"zan\" is taken by something else"},
    {"metro", {"1 stop"}, "", "inlet 1 takes a number of milliseconds, not \"stop\""},
    {"int", {"1 bang"}, "", "inlet 1 takes a number, not \"bang\""},
    {"random", {"1 bang"}, "", "inlet 1 takes a number, not \"bang\""},
    {"counter", {"0 set"}, "", "inlet 0 takes a bang or a number, not \"set\""},
    {"send boxes-nobody", {"0 1"}, "", "nobody receives \"boxes-nobody\""},
};

TEST(ControlBoxes, Answer)
{
    for (const auto &r : rows) {
        patch p;
        void *box = p.make(r.box);
        ASSERT_TRUE(box) << r.box;
        p.listen(box);
        for (const char *message : r.in)
            p.send(box, message);
        EXPECT_EQ(p.heard(), r.out) << r.box;
        EXPECT_EQ(p.errors(), r.errors) << r.box;
    }
}

TEST(ControlBoxes, TheLastTextStandsForAllFurtherInlets)
{
    patch p;
    char text[256] = "";
    object_method_imp(p.make("pack 1 2 3"), gensym("assist"), 0, 1, 2, zan_word(text), 0, 0, 0, 0);
    EXPECT_STREQ(text, "value of this place");
}

TEST(ControlBoxes, SendReachesEveryReceive)
{
    patch p;
    void *first = p.make("receive boxes-here"), *second = p.make("receive boxes-here");
    p.listen(first, 10);
    p.listen(second, 20);
    p.send(p.make("send boxes-here"), "0 vok_matrix a");
    EXPECT_EQ(p.ask(p.make("message \\; boxes-here 1 2 \\, 3"), "0 bang"),
              "10 vok_matrix a; 20 vok_matrix a; 10 1 2; 20 1 2; 10 3; 20 3");
    p.free(first);
    EXPECT_EQ(p.ask(p.make("send boxes-here"), "0 1"), "20 1");
    p.free(second);
    EXPECT_EQ(gensym("boxes-here")->thing, nullptr);
    EXPECT_EQ(p.errors(), "");
    void *out = p.make("send boxes-loop");
    ASSERT_EQ(zan_connect(p.make("receive boxes-loop"), 0, out, 0), 0);
    EXPECT_NE(p.complaint(out, "0 1").find("loop"), std::string::npos);
}

TEST(ControlBoxes, ClocksBeginAndStop)
{
    zan_set_clock(zan_clock_virtual);
    patch p;
    void *metro = p.make("metro 1 @interval 2"), *count = p.make("counter"), *five = p.make("select 5"),
         *stop = p.make("message stop"), *late = p.make("delay 1");
    const std::pair<void *, void *> cords[] = {
        {metro, count}, {count, five}, {five, stop}, {stop, metro}, {five, late}};
    for (const auto &[from, to] : cords)
        zan_connect(from, 0, to, 0);
    p.listen(count);
    p.listen(late, 10);
    p.send(metro, "0 bang");
    EXPECT_EQ(zan_run_until(INFINITY), zan_ran_dry);
    EXPECT_EQ(p.heard(), "0 0; 0 1; 0 2; 0 3; 0 4; 0 5; 10 bang");
    EXPECT_EQ(p.complaint(late, "0 1000000", "0 stop"), "");
    EXPECT_EQ(zan_run_until(INFINITY), zan_ran_dry);
    EXPECT_EQ(p.heard(), "");
    zan_set_clock(zan_clock_real);
}

} // namespace
