// The verbs that take a patch, as a person runs them.
#include "program_runner.h"

namespace {

TEST_F(Program, check_tells_all_findings_and_ends_with_their_code)
{
    folder.make("good.patch", "patch 1;\nbox m metro 10;\nbox p print;\ncord m 0 p 0;\n");
    folder.make("bad.patch", "patch 1;\nbox m metro;\ncord m 1 m 0;\nbox r vok.op @opp +;\n");
    folder.make("none.patch", "patch 1;\nbox m metor;\nm bang;\n");
    EXPECT_EQ(output("check good.patch"), "");
    EXPECT_EQ(output("check bad.patch", 1),
              "bad.patch:3: m (metro): there is no outlet 1: it has one, number 0\n"
              "bad.patch:4: r (vok.op): there is no attribute opp; did you mean op?\n");
    EXPECT_EQ(output("check none.patch", 4),
              "none.patch:2: m (metor): there is no box class metor; did you mean metro?\n");
    EXPECT_EQ(output("check nothere.patch", 3), "nothere.patch: No such file or directory\n");
    EXPECT_NE(run("check bad.patch --json").out.find("\"line\": 3"), std::string::npos);
    // what is beside the patch is found from anywhere
    folder.make("sub/a.patch", "patch 1; box g good; box b b;");
    folder.make("sub/b.patch", "patch 1;");
    EXPECT_EQ(output("check sub/a.patch", 4), "sub/a.patch:1: g (good): there is no box class good\n");
    EXPECT_EQ(output("check sub/a.patch --path ."), "");
}

TEST_F(Program, a_check_runs_nothing_and_touches_no_file)
{
    folder.make("broken.png", "to be read only when it runs");
    folder.make("writes.patch", "patch 1; box p picture broken.png; box m vok.matrix m @write made.vkf;\n"
                                "box l loadbang; box o print; cord l 0 o 0; m bang;");
    const long before = folder.count();
    const outcome o = run("check writes.patch");
    EXPECT_EQ(o.out + o.err, "");
    EXPECT_EQ(folder.count(), before + 2) << "more than what the run was written to";
}

TEST_F(Program, fmt_writes_the_canonical_text)
{
    const std::string canonical = "patch 1;\n# why\nbox m metro 10; # here\n";
    folder.make("a.patch", "patch 1; \n# why\nbox   m metro\n 10 ;# here");
    EXPECT_EQ(output("fmt a.patch"), canonical);
    EXPECT_EQ(output("fmt --in-place a.patch"), "");
    EXPECT_EQ(bytes_of(folder / "a.patch"), canonical);
    folder.make("b.txt", "not a patch;");
    EXPECT_EQ(output("fmt --in-place b.txt", 1), "");
    EXPECT_EQ(bytes_of(folder / "b.txt"), "not a patch;");
}

TEST_F(Program, graph_draws_boxes_and_cords)
{
    folder.make("within/two.patch", "patch 1; box in inlet; box s self; box out outlet; cord in 0 out 0;");
    folder.make("within/self.patch", "patch 1; box t two; cord t 0 t 5;"); // is in itself: drawn once
    folder.make("b.patch", "patch 1; box w within/two; box \"p \\\"q\" print; box c nothing; cord w 0 \"p \\\"q\" "
                           "0; cord \"p \\\"q\" 0 w 0;");
    EXPECT_EQ(output("graph b.patch"), "digraph patch {\n"
                                       "    node [shape=box, fontname=\"monospace\"];\n"
                                       "    fontname=\"monospace\";\n"
                                       "    subgraph \"cluster_w\" {\n"
                                       "        label=\"w\nwithin/two\";\n"
                                       "        \"w/in\" [label=\"in\ninlet\"];\n"
                                       "        subgraph \"cluster_w/s\" {\n"
                                       "            label=\"s\nself\";\n"
                                       "            \"w/s/t\" [label=\"t\ntwo\"];\n"
                                       "            \"w/s/t\" -> \"w/s/t\" [taillabel=\"0\", headlabel=\"5\"];\n"
                                       "        }\n"
                                       "        \"w/out\" [label=\"out\noutlet\"];\n"
                                       "        \"w/in\" -> \"w/out\" [taillabel=\"0\", headlabel=\"0\"];\n"
                                       "    }\n"
                                       "    \"p \\\"q\" [label=\"p \\\"q\nprint\"];\n"
                                       "    \"c\" [label=\"c\nnothing\"];\n"
                                       "    \"w/out\" -> \"p \\\"q\" [taillabel=\"0\", headlabel=\"0\"];\n"
                                       "    \"p \\\"q\" -> \"w/in\" [taillabel=\"0\", headlabel=\"0\"];\n"
                                       "}\n");
}

TEST_F(Program, paths_are_told_in_their_order)
{
    folder.make("sub/a.patch", "patch 1;");
    const std::string f = folder.name();
    const std::string out =
        run("paths sub/a.patch --path sub --path .", "VOKRA_PATH=/x:/y XDG_DATA_HOME=/data").out;
    const std::string expected = "beside the patch  " + f + "/sub\n--path            " + f + "/sub\n" +
                                 "--path            " + f + "\nVOKRA_PATH        /x (isn't there)\n" +
                                 "VOKRA_PATH        /y (isn't there)\n" +
                                 "user's data       /data/vokra (isn't there)\ninstalled         ";
    EXPECT_EQ(out.substr(0, expected.size()), expected);
}

TEST_F(Program, help_tells_of_boxes_and_classes)
{
    folder.make("sub.patch", "patch 1; box in inlet the picture; box out outlet;");
    tells("help metro", {"inlets", "outlets", "interval", "500.", "stop", "regular intervals"});
    tells("help vok.op", {"(matrix) in2", "dumpout", "op [symbol array[32]] (val = pass)", "vokra help vok_op"});
    tells("help vok.expr @inputs 3", {"(matrix) in3"});
    tells("help sub", {"the picture", "out"});
    tells("help metro --json", {"\"inlets\": [", "\"interval\""});
    tells("help vok_matrix",
          {"planecount", "long, 4", "char long float32 float64", "setcell", "read only", "getinfo"});
    tells("help vok_op", {"absdiff"}); // from the registry
    tells("classes", {"vok_matrix"});
    expect({{"help metor", 4, {"did you mean metro?"}}}, 1);
}

} // namespace
