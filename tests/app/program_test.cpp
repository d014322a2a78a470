// The program as a person runs it: what goes in, what comes out, the one line that says
// what is wrong, and the exit code.
#include "program_runner.h"
#include <filesystem>

namespace {

namespace fs = std::filesystem;

TEST_F(Program, wrong_use_and_files_give_one_line_and_a_code)
{
    folder.make("empty.png", "");
    folder.make("not.png", "GIF89a and more");
    folder.make("text", "just words");
    folder.make("half.vkf", "FORM....");
    fs::create_directory(folder / "folder");
    const std::vector<failing> rows = {
        {"", 2, {"subcommand"}},
        {"convret a b", 2, {"convret"}},
        {"convert nothere.png out.png", 3, {"nothere.png: No such file"}},
        {"convert empty.png out.png", 3, {"empty.png: is empty"}},
        {"convert not.png out.png", 3, {"not.png: this is a GIF, not PNG, JPEG, vkf or npy"}},
        {"convert text out.png", 3, {"text: this is not PNG, JPEG, vkf or npy"}},
        {"convert half.vkf out.png", 3, {"half.vkf: "}},
        {"convert folder out.png", 3, {"folder: is a folder"}},
        {"convert " + picture + " out.xyz", 2, {"out.xyz: what to write is told by the ending"}},
        {"convert " + picture + " no/such/folder/out.png", 3, {"out.png"}},
        {"convert " + picture + " out.vkf --dim 2000000 2000000", 5, {"too large"}},
        {"convert " + picture + " out.png --planes 7", 5, {"planes"}},
        {"op absdif " + picture + " 3 -o out.png", 2, {"did you mean absdiff?"}},
        {"op + " + picture + " -o out.png", 2, {"takes two inputs"}},
        {"op sqrt " + picture + " 4 -o out.png", 2, {"takes one input"}},
        {"op + " + picture + " " + picture + " 4 -o out.png", 2, {"one file, or one number a plane"}},
        {"expr 'in[0]*2' -o out.png", 2, {"in[0] needs 1 pictures"}},
        {"expr 'nrom[0]' -o out.png", 2, {"did you mean norm[0]?"}},
        {"expr 'sinn(1)' -o out.png", 2, {"there is no sinn; did you mean sin?"}},
        {"expr 'norm[0]+' -o out.png", 2, {"norm[0]+: missing siblings converting infix to prefix (+)"}},
        {"expr 'norm[0] norm[1]' -o out.png", 2, {"an operator is missing ahead of norm[1]"}},
        {"expr 'simplex(norm[0])' --precision float64 -o out.png", 2, {"simplex calculates in float32"}},
        {"expr ' ' -o out.png", 2, {"nothing to calculate"}},
        {"expr norm[0]", 2, {"-o names the file"}},
        {"expr a --let a -o out.png", 2, {"--let takes name=PICTURE"}},
        {"la inverse '1 2; 2 4'", 5, {"the matrix is singular"}},
        {"la mult '1 2' '1 2'", 5, {"the sizes don't fit"}},
        {"la invert 1", 2, {"there is no operation invert"}},
        {"la mult 1", 2, {"it takes two matrices"}},
        {"la trace '1 x'", 3, {"1 x: No such file"}},
        {"la trace '1 2; 3'", 3, {"row 2 has 1 numbers, row 1 has 2"}},
        {"la trace '1 2;3 1e'", 3, {"a number was expected, not 1e"}},
        {"convert text out.png --from uyvy", 2, {"--dim must tell the width"}},
        {"convert text out.png --from uyvy --dim 2 9", 3, {"text: it ends before row 2 of frame 0"}},
        {"info ''", 2, {"the name of a file is empty"}},
        {"convert a out.png --dmi 3",
         2,
         {"convert: there is no option --dmi; did you mean --dim?; see vokra convert"}},
        {"info a b", 2, {"info: b is one word too many"}},
        {"op + " + picture + " 1 2 -o out.png", 2, {"one for each of the 4 planes, not 2"}},
        {"la inverse '0 2; 4 0' -o out.png", 2, {"written as .vkf or .npy"}},
        {"la trace '1 2; x 1'", 3, {"a number was expected, not x"}},
        {"noise noise.simplex --set seed=x -o out.png", 2, {"a number is wanted, not x"}},
        {"noise noise.gradiant -o out.png", 4, {"did you mean noise.gradient?"}},
        {"noise noise.gradient --set fliter=box -o out.png", 2, {"did you mean filter?"}},
        {"noise noise.gradient --set fiter.width=1 -o out.png", 2, {"holds no functor fiter"}},
        {"noise noise.gradient --set filter=nothing -o out.png", 2, {"unable to create filter object 'nothing'"}},
        {"noise noise.gradient --set filter -o out.png", 2, {"attribute=value"}},
        {"noise noise.gradient --dim 3 1 -o out.png", 2, {"two cells at least"}},
        {"noise -o out.png", 2, {"--sheet"}},
    };
    expect(rows, 1);
    EXPECT_FALSE(fs::exists(folder / "out.png"));
    for (const auto &entry : fs::directory_iterator(folder.name()))
        EXPECT_NE(entry.path().filename().string().front(), '.') << "left behind: " << entry.path();
}

TEST_F(Program, a_picture_comes_back_as_it_was)
{
    const std::string pixels = cells("convert " + picture);
    for (const std::string way : {"a.png", "a.vkf", "a.npy"}) {
        output("convert " + picture + " " + way);
        EXPECT_EQ(cells("convert " + way), pixels) << way;
    }
    // Through floating point and back: the scale of 0 to 1 keeps all 256 values.
    output("convert a.npy f.vkf --type float64");
    EXPECT_EQ(cells("convert --type char f.vkf"), pixels);
    tells("info f.vkf --json", {"\"type\": \"float64\""});
}

TEST_F(Program, linear_algebra_reads_and_prints_text)
{
    folder.make("m.txt", "1 2\n3, 4\n");
    const std::pair<std::string, std::string> table[] = {
        {"inverse '0 2; 4 0'", "0 0.25\n0.5 0\n"},
        {"mult m.txt '1;1'", "3\n7\n"},
        {"determinant m.txt --thresh 0.001", "-2\n"},
        {"trace '1+2i 0;0 -1i'", "1+1i\n"},
        {"uppertri '2 4;1 1'", "2 4\n0 -1\n"},
        {"diagproduct '0.1' --type float32", "0.10000000149011612\n"},
        {"mult - 2", "8\n"},
    };
    for (const auto &[args, out] : table)
        EXPECT_EQ(output("la " + args, 0, "echo 4 |"), out) << args;
    output("la inverse m.txt -o i.vkf");
    EXPECT_EQ(output("la mult i.vkf m.txt").substr(0, 2), "1 ");
}

TEST_F(Program, raw_frames_become_pictures)
{
    // two frames of 2x1: black and white, then blue
    folder.make("film", std::string("\x80\x10\x80\xeb\xf0\x29\x6e\x29", 8));
    folder.make("film2", std::string("\x10\x80\xeb\x80", 4));
    const std::string first("\xff\0\0\0\xff\xfd\xfd\xfd", 8);
    EXPECT_EQ(cells("convert --dim 2 1 --from uyvy film"), first);
    EXPECT_EQ(cells("convert --dim 2 1 --from yuy2 film2"), first);
    EXPECT_EQ(cells("convert --dim 2 1 --from uyvy --frame 1 film").substr(4), "\xff\x03\x03\xe3")
        << "a strong blue";
}

TEST_F(Program, vkf_comes_by_pipe_and_is_read_as_far_as_it_goes)
{
    const std::string whole = output("convert - - --dim 3 2", 0, "cat " + picture + " |");
    EXPECT_EQ(whole.size(), 48 + 8 + 3 * 2 * 4u);
    EXPECT_EQ(whole.substr(0, 4), "FORM");
    folder.make("short.vkf", whole.substr(0, 60));
    expect({{"convert short.vkf short.png", 0, {"short.vkf: the file ends after"}}}, 1);
}

TEST_F(Program, operators_leave_the_alpha_of_a_picture_alone)
{
    output("op '!-' " + picture + " 255 -o n.png");
    EXPECT_EQ(cells("op '!-' n.png 255 -o"), cells("convert " + picture));
    output("op '!-' " + picture + " 255 --alpha -o a.vkf");
    tells("info a.vkf", {"plane 0          0 to 0"});
}

TEST_F(Program, expressions_make_pictures)
{
    EXPECT_EQ(cells("expr 'norm[0]' --dim 3 2 -o"), std::string("\0\x7f\xff\0\x7f\xff", 6));
    EXPECT_EQ(cells("expr 1 0 'norm[0]' --dim 2 1 -o"), std::string("\xff\0\0\xff\0\xff", 6));
    EXPECT_EQ(cells("expr 'cell[0]*2' --dim 3 1 --type long --precision long -o"),
              std::string("\0\0\0\0\2\0\0\0\4\0\0\0", 12));
    output("expr '1-in[0]' -i " + picture + " -o n.png");
    output("op '!-' " + picture + " 255 -o p.png");
    for (const char *zero : {"expr 'absdiff(in[0],in[1])>0.005' --alpha -i n.png -i p.png -o", // the alpha stays
                             "expr 'abs(mine-in[0])' --let mine=n.png -i n.png --alpha -o"})
        EXPECT_EQ(cells(zero).find_first_not_of('\0'), std::string::npos) << zero;
    EXPECT_EQ(output("expr '2*3+in[0]' 'sin(PI)' -i " + picture + " --tree"),
              "2*3+in[0]\n    OP add\n        NUMBER 6\n        VARIABLE in[0]\nsin(PI)\n"
              "    NUMBER 1.22465e-16\n");
}

TEST_F(Program, reads_real_photographs)
{
    const char *pictures = std::getenv("VOKRA_PICTURES");
    if (!pictures)
        GTEST_SKIP() << "VOKRA_PICTURES names no folder";
    const auto info = [&](const std::string &file) { return "info '" + (pictures + ("/" + file)) + "'"; };
    tells(info("coffee.png"), {"char 4 planes 600x400"});
    tells(info("rocket.jpg"), {"char 4 planes 640x427"});
    expect({{info("truncated.jpg"), 3, {"truncated.jpg"}}}, 1);
}

TEST_F(Program, noise_fills_a_matrix_from_a_functor)
{
    double values[5] = {};
    cells("noise filter.triangle --dim 5 --origin -1 --scale 2 --set width=1 --type float64 -o")
        .copy(reinterpret_cast<char *>(values), sizeof values);
    for (int i = 0; i < 5; i++)
        EXPECT_EQ(values[i], 1 - std::abs(i - 2) / 2.0);

    // The same seed is the same picture; a setting of what is held is another one.
    const std::string once = cells("noise fractal.mono --dim 40 30 -o");
    EXPECT_EQ(cells("noise fractal.mono --dim 40 30 -o"), once);
    EXPECT_NE(cells("noise fractal.mono --dim 40 30 --set basis.filter=box -o"), once);
    output("noise --sheet -o sheet.png");
    tells("info sheet.png", {"0 to 255"});
}

} // namespace
