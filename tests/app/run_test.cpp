// `vokra run` as a person uses it: what a patch prints, what its errors say, how a run
// ends, and what is told about it.
#include "program_runner.h"

namespace {

const char count_patch[] =
    "patch 1;\nbox beat metro 20;\nbox count counter 0 99;\nbox show print count;\nbox in receive there;\n"
    "cord beat 0 count 0;\ncord count 0 show 0;\ncord in 0 show 0;\nshow first $1;\nbeat bang;\n";

TEST_F(Program, a_patch_prints_the_same_on_every_virtual_run)
{
    folder.make("count.patch", count_patch);
    const std::string numbers = "count: 0\ncount: 1\ncount: 2\n";
    const std::pair<std::string, std::string> table[] = {
        {"--clock virtual --frames 3", "count: first 0\n" + numbers},
        {"7 --clock virtual --for 50ms", "count: first 7\n" + numbers},
        {"word --clock virtual --for 0.05", "count: first word\n" + numbers},
        {"--clock virtual --for 40ms --set count.max=1", "count: first 0\ncount: 0\ncount: 1\ncount: 0\n"},
        {"--clock virtual --for 40ms --set beat.interval=30", "count: first 0\ncount: 0\ncount: 1\n"},
        {"--clock virtual --for 0 --send count 5 --send 'show hello \"you there\"' --send there 1.5",
         "count: first 0\ncount: 5\ncount: hello you there\ncount: 1.5\ncount: 6\n"},
        {"--frames 3", "count: first 0\n" + numbers}, // in real time
    };
    for (const auto &[args, out] : table) {
        EXPECT_EQ(output("run count.patch " + args), out) << args;
        EXPECT_EQ(bytes_of(folder / "stderr"), "") << args;
    }
}

TEST_F(Program, errors_name_the_line_and_the_box)
{
    folder.make("count.patch", count_patch);
    folder.make("wrong.patch", "patch 1;\nbox count countr;\nbox show print;\nshow hello;\n");
    folder.make("text.patch", "patch 1;\nbox show print;\ncord show 5 show 0;\nshow hello;\n");
    folder.make("loop.patch", "patch 1;\nbox a trigger b b;\nbox b int;\nbox end print;\n"
                              "cord a 0 b 0;\ncord b 0 a 0;\ncord a 1 end 0;\na bang;\nend fine;\n");
    folder.make("storm.patch", "patch 1;\nbox beat metro 1;\nbox add +;\ncord beat 0 add 1;\nbeat bang;\n");
    folder.make("ends.patch", "patch 1;\nbox q quit;\nbox beat metro 1;\nbox d delay 5;\ncord d 0 q 0;\n"
                              "beat bang;\nd bang;\n");
    const std::vector<failing> rows = {
        {"nosuch.patch", 3, {"nosuch.patch"}},
        {"wrong.patch", 4, {"wrong.patch:2: count (countr): ", "did you mean counter?"}},
        {"text.patch", 1, {"text.patch:3: "}},
        {"loop.patch", 1, {"loop.patch:2: a (trigger): ", "a -> b -> a"}},
        {"storm.patch --clock virtual --for 1000ms", 1, {"storm.patch:3: add (+): ", "(... and 1000 more)"}},
        {"ends.patch --clock virtual", 0, {}},
        {"ends.patch --frames 100", 1, {"of 100 frames"}},
        {"count.patch --set cuont.max=1", 2, {"no box cuont", "did you mean count?"}},
        {"count.patch --set count.mx=1", 2, {"no attribute mx", "did you mean max?"}},
        {"count.patch --set count", 2, {"box.attribute=value"}},
        {"count.patch --send shw 1", 2, {"did you mean show?"}},
        {"count.patch --send show", 2, {"--send"}},
        {"count.patch --for 3x", 2, {"3x"}},
        {"count.patch --path nosuch", 3, {"nosuch"}},
    };
    expect(rows, 3, "run ");
    EXPECT_EQ(run("run wrong.patch").out, "hello\n"); // a missing class doesn't stop the rest
    EXPECT_NE(run("run loop.patch").out.find("fine"), std::string::npos);
}

TEST_F(Program, what_is_told_of_a_run)
{
    folder.make("count.patch", count_patch);
    const outcome o = run("run count.patch --clock virtual --frames 50 --profile --stats --progress json");
    EXPECT_EQ(o.code, 0) << o.err;
    std::string told = o.err; // without the columns
    told.erase(std::unique(told.begin(), told.end(), [](char a, char b) { return a == ' ' && b == ' '; }),
               told.end());
    for (const char *said :
         {"count.patch:3: count (counter) 50 ", "\"state\":\"done\",\"frames\":50", "\"time_ms\":980.0",
          "\"errors\":0", "\n metro 1 ", "\n counter 1 1\n", "clocks 0 1 50 0 65536"})
        EXPECT_NE(told.find(said), std::string::npos) << said << "\n" << told;
    EXPECT_EQ(output("run --clock virtual --for 0 - <count.patch"), "count: first 0\ncount: 0\n");
}

TEST_F(Program, an_interrupt_finishes_and_a_second_one_ends_at_once)
{
    folder.make("count.patch", count_patch);
    folder.make("long.patch", "patch 1;\nbox r repeat 1000000000;\nbox n int;\nbox show print;\n"
                              "cord r 0 n 0;\nshow on;\nr bang;\n");
    // as soon as it has printed something; `again`: until it has ended
    const auto interrupted = [&](const std::string &args, const std::string &again) {
        const std::string script = "cd '" + folder.name() + "'; rm -f o e; '" VOKRA_BIN_DIR "/vokra' run " + args +
                                   " >o 2>e & p=$!; while [ ! -s o ]; do sleep 0.02; done; kill -INT $p; " +
                                   again + " wait $p; s=$?; [ -z \"$k\" ] || kill $k; exit $s";
        const int status = std::system(script.c_str());
        return outcome{WIFEXITED(status) ? WEXITSTATUS(status) : -1, bytes_of(folder / "o"),
                       bytes_of(folder / "e")};
    };
    const outcome once = interrupted("count.patch", "");
    EXPECT_EQ(once.code, 130) << once.err;
    EXPECT_NE(once.err.find("of the patch's time, 0 errors"), std::string::npos) << once.err;
    const outcome twice = interrupted("long.patch", "while sleep 0.1; do kill -INT $p; done & k=$!;");
    EXPECT_EQ(twice.code, 130);
    EXPECT_EQ(twice.err, "");
}

} // namespace
