// The program as a person runs it: what goes in, what comes out, the one line that says
// what is wrong, and the exit code.
#include "program_runner.h"
#include <cstring>
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
    const struct {
        std::string args;
        int code;
        std::string said;
    } table[] = {
        {"", 2, "subcommand"},
        {"convret a b", 2, "convret"},
        {"convert", 2, "in"},
        {"convert nothere.png out.png", 3, "nothere.png: No such file"},
        {"convert empty.png out.png", 3, "empty.png: is empty"},
        {"convert not.png out.png", 3, "not.png: this is a GIF, not PNG, JPEG, vkf or npy"},
        {"convert text out.png", 3, "text: this is not PNG, JPEG, vkf or npy"},
        {"convert half.vkf out.png", 3, "half.vkf: "},
        {"convert folder out.png", 3, "folder: is a folder"},
        {"convert " + picture + " out.xyz", 2, "out.xyz: what to write is told by the ending"},
        {"convert " + picture + " no/such/folder/out.png", 3, "out.png"},
        {"convert " + picture + " out.png --type int", 2, "int"},
        {"convert " + picture + " out.png --dim 0 10", 2, "0"},
        {"convert " + picture + " out.vkf --dim 2000000 2000000", 5, "too large"},
        {"convert " + picture + " out.png --planes 7", 5, "planes"},
        {"op absdif " + picture + " 3 -o out.png", 2, "did you mean absdiff?"},
        {"op + " + picture + " -o out.png", 2, "takes two inputs"},
        {"op sqrt " + picture + " 4 -o out.png", 2, "takes one input"},
        {"op + " + picture + " " + picture + " 4 -o out.png", 2, "one file, or one number a plane"},
        {"expr 'in[0]*2' -o out.png", 2, "in[0] needs 1 pictures"},
        {"expr 'nrom[0]' -o out.png", 2, "did you mean norm[0]?"},
        {"expr 'sinn(1)' -o out.png", 2, "there is no sinn; did you mean sin?"},
        {"expr 'norm[0]+' -o out.png", 2, "norm[0]+: missing siblings converting infix to prefix (+)"},
        {"expr 'norm[0] norm[1]' -o out.png", 2, "an operator is missing ahead of norm[1]"},
        {"expr 'simplex(norm[0])' --precision float64 -o out.png", 2, "simplex calculates in float32"},
        {"expr ' ' -o out.png", 2, "nothing to calculate"},
        {"expr norm[0]", 2, "-o names the file"},
        {"expr a --let a -o out.png", 2, "--let takes name=PICTURE"},
        {"la inverse '1 2; 2 4'", 5, "the matrix is singular"},
        {"la mult '1 2' '1 2'", 5, "the sizes don't fit"},
        {"la invert 1", 2, "there is no operation invert"},
        {"la mult 1", 2, "it takes two matrices"},
        {"la trace '1 x'", 3, "1 x: No such file"},
        {"la trace '1 2; 3'", 3, "row 2 has 1 numbers, row 1 has 2"},
        {"la trace '1 2;3 1e'", 3, "a number was expected, not 1e"},
        {"convert text out.png --from uyvy", 2, "--dim must tell the width"},
        {"convert text out.png --from uyvy --dim 2 9", 3, "text: it ends before row 2 of frame 0"},
        {"help vok_opp", 4, "did you mean vok_op?"},
        {"info text", 3, "text: this is not"},
        {"info ''", 2, "the name of a file is empty"},
        {"convert a out.png --dmi 3", 2,
         "convert: there is no option --dmi; did you mean --dim?; see vokra convert"},
        {"info a b", 2, "info: b is one word too many"},
        {"op + " + picture + " 1 2 -o out.png", 2, "one for each of the 4 planes, not 2"},
        {"la inverse '0 2; 4 0' -o out.png", 2, "written as .vkf or .npy"},
        {"la trace '1 2; x 1'", 3, "a number was expected, not x"},
        {"noise noise.simplex --set seed=x -o out.png", 2, "a number is wanted, not x"},
    };
    for (const auto &row : table) {
        const outcome o = run(row.args);
        EXPECT_EQ(o.code, row.code) << row.args << "\n" << o.err;
        EXPECT_NE(o.err.find(row.said), std::string::npos) << row.args << "\n" << o.err;
        EXPECT_EQ(std::count(o.err.begin(), o.err.end(), '\n'), 1) << row.args << "\n" << o.err;
        EXPECT_FALSE(fs::exists(folder / "out.png")) << row.args;
    }
    for (const auto &entry : fs::directory_iterator(folder.name()))
        EXPECT_NE(entry.path().filename().string().front(), '.') << "left behind: " << entry.path();
}

TEST_F(Program, a_picture_comes_back_as_it_was)
{
    for (const char *way : {"a.png", "a.vkf", "a.npy"}) {
        ASSERT_EQ(run("convert " + picture + " " + way).code, 0);
        ASSERT_EQ(run(std::string("convert ") + way + " back.npy").code, 0);
        ASSERT_EQ(run("convert " + picture + " there.npy").code, 0);
        EXPECT_EQ(read(folder / "back.npy"), read(folder / "there.npy")) << way;
    }
    // Through floating point and back: the scale of 0 to 1 keeps all 256 values.
    ASSERT_EQ(run("convert there.npy f.vkf --type float64").code, 0);
    ASSERT_EQ(run("convert f.vkf back.npy --type char").code, 0);
    EXPECT_EQ(read(folder / "back.npy"), read(folder / "there.npy"));
    const outcome o = run("info f.vkf --json");
    EXPECT_NE(o.out.find("\"type\": \"float64\""), std::string::npos) << o.out;
}

TEST_F(Program, linear_algebra_reads_and_prints_text)
{
    folder.make("m.txt", "1 2\n3, 4\n");
    const struct {
        std::string args, out;
    } table[] = {
        {"inverse '0 2; 4 0'", "0 0.25\n0.5 0\n"},
        {"mult m.txt '1;1'", "3\n7\n"},
        {"determinant m.txt --thresh 0.001", "-2\n"},
        {"trace '1+2i 0;0 -1i'", "1+1i\n"},
        {"uppertri '2 4;1 1'", "2 4\n0 -1\n"},
        {"diagproduct '0.1' --type float32", "0.10000000149011612\n"},
        {"mult - 2", "8\n"},
    };
    for (const auto &row : table) {
        const outcome o = run("la " + row.args, "echo 4 |");
        EXPECT_EQ(o.code, 0) << row.args << "\n" << o.err;
        EXPECT_EQ(o.out, row.out) << row.args;
    }
    ASSERT_EQ(run("la inverse m.txt -o i.vkf").code, 0);
    EXPECT_EQ(run("la mult i.vkf m.txt").out.substr(0, 2), "1 ");
}

TEST_F(Program, raw_frames_become_pictures)
{
    // two frames of 2x1: black and white, then blue
    folder.make("film", std::string("\x80\x10\x80\xeb\xf0\x29\x6e\x29", 8));
    folder.make("film2", std::string("\x10\x80\xeb\x80", 4));
    ASSERT_EQ(run("convert film a.npy --from uyvy --dim 2 1").code, 0);
    ASSERT_EQ(run("convert film2 b.npy --from yuy2 --dim 2 1").code, 0);
    ASSERT_EQ(run("convert film c.npy --from uyvy --dim 2 1 --frame 1").code, 0);
    const std::string a = read(folder / "a.npy");
    EXPECT_EQ(a, read(folder / "b.npy"));
    EXPECT_EQ(a.substr(a.size() - 8), std::string("\xff\0\0\0\xff\xfd\xfd\xfd", 8));
    const std::string c = read(folder / "c.npy");
    EXPECT_EQ(c.substr(c.size() - 4), "\xff\x03\x03\xe3") << "a strong blue";
}

TEST_F(Program, standard_input_and_output)
{
    const outcome o = run("convert - - --dim 3 2", "cat " + picture + " |");
    EXPECT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.out.size(), 48 + 8 + 3 * 2 * 4u);
    EXPECT_EQ(o.out.substr(0, 4), "FORM");
}

TEST_F(Program, operators_leave_the_alpha_of_a_picture_alone)
{
    ASSERT_EQ(run("op '!-' " + picture + " 255 -o n.png").code, 0);
    ASSERT_EQ(run("op '!-' n.png 255 -o p.npy").code, 0);
    ASSERT_EQ(run("convert " + picture + " q.npy").code, 0);
    EXPECT_EQ(read(folder / "p.npy"), read(folder / "q.npy"));
    ASSERT_EQ(run("op '!-' " + picture + " 255 --alpha -o a.vkf").code, 0);
    EXPECT_NE(run("info a.vkf").out.find("plane 0          0 to 0"), std::string::npos) << run("info a.vkf").out;
}

TEST_F(Program, expressions_make_pictures)
{
    const auto cells = [&](const std::string &args) {
        const outcome o = run("expr " + args + " -o e.npy");
        EXPECT_EQ(o.code, 0) << args << "\n" << o.err;
        const std::string all = read(folder / "e.npy");
        return all.substr(all.size() < 128 ? 0 : 128); // behind the header
    };
    EXPECT_EQ(cells("'norm[0]' --dim 3 2"), std::string("\0\x7f\xff\0\x7f\xff", 6));
    EXPECT_EQ(cells("1 0 'norm[0]' --dim 2 1"), std::string("\xff\0\0\xff\0\xff", 6));
    EXPECT_EQ(cells("'cell[0]*2' --dim 3 1 --type long --precision long"),
              std::string("\0\0\0\0\2\0\0\0\4\0\0\0", 12));
    ASSERT_EQ(run("expr '1-in[0]' -i " + picture + " -o n.png").code, 0);
    ASSERT_EQ(run("op '!-' " + picture + " 255 -o p.png").code, 0);
    EXPECT_EQ(cells("'absdiff(in[0],in[1])>0.005' --alpha -i n.png -i p.png").find_first_not_of('\0'),
              std::string::npos)
        << "the alpha stays";
    EXPECT_EQ(cells("'abs(mine-in[0])' --let mine=n.png -i n.png --alpha").find_first_not_of('\0'),
              std::string::npos);
    EXPECT_EQ(run("expr '2*3+in[0]' 'sin(PI)' -i " + picture + " --tree").out,
              "2*3+in[0]\n    OP add\n        NUMBER 6\n        VARIABLE in[0]\nsin(PI)\n"
              "    NUMBER 1.22465e-16\n");
}

TEST_F(Program, a_short_vkf_file_is_read_as_far_as_it_goes)
{
    ASSERT_EQ(run("convert " + picture + " whole.vkf").code, 0);
    const std::string bytes = read(folder / "whole.vkf");
    folder.make("short.vkf", bytes.substr(0, bytes.size() / 2));
    const outcome o = run("convert short.vkf out.png");
    EXPECT_EQ(o.code, 0);
    EXPECT_NE(o.err.find("short.vkf: the file ends after"), std::string::npos) << o.err;
}

TEST_F(Program, classes_tell_about_themselves)
{
    EXPECT_NE(run("classes").out.find("vok_matrix"), std::string::npos);
    const outcome help = run("help vok_matrix");
    EXPECT_EQ(help.code, 0);
    for (const char *said :
         {"planecount", "long, 4", "char long float32 float64", "setcell", "read only", "getinfo"})
        EXPECT_NE(help.out.find(said), std::string::npos) << said << "\n" << help.out;
    // The list of operators is read from the registry.
    EXPECT_NE(run("help vok_op").out.find("absdiff"), std::string::npos);
}

TEST_F(Program, reads_real_photographs)
{
    const char *pictures = std::getenv("VOKRA_PICTURES");
    if (!pictures)
        GTEST_SKIP() << "VOKRA_PICTURES names no folder";
    const struct {
        const char *name, *says;
    } table[] = {{"coffee.png", "char 4 planes 600x400"},
                 {"chelsea.png", "char 4 planes 451x300"},
                 {"rocket.jpg", "char 4 planes 640x427"},
                 {"hubble_deep_field.jpg", "char 4 planes 1000x872"}};
    for (const auto &row : table) {
        const outcome o = run(std::string("info '") + pictures + "/" + row.name + "'");
        EXPECT_EQ(o.code, 0) << row.name;
        EXPECT_NE(o.out.find(row.says), std::string::npos) << o.out;
    }
    const outcome broken = run(std::string("convert '") + pictures + "/truncated.jpg' out.png");
    EXPECT_EQ(broken.code, 3);
    EXPECT_EQ(std::count(broken.err.begin(), broken.err.end(), '\n'), 1) << broken.err;
}

TEST_F(Program, noise_fills_a_matrix_from_a_functor)
{
    EXPECT_EQ(
        run("noise filter.triangle --dim 5 --origin -1 --scale 2 --set width=1 --type float64 -o t.npy").code, 0);
    const std::string bytes = read(folder / "t.npy");
    ASSERT_GT(bytes.size(), 40u);
    double values[5];
    std::memcpy(values, bytes.data() + bytes.size() - sizeof values, sizeof values);
    for (int i = 0; i < 5; i++)
        EXPECT_EQ(values[i], 1 - std::abs(i - 2) / 2.0);

    // The same seed is the same picture; a setting of what is held is another one.
    for (const char *args : {"a.png", "b.png", "c.png --set basis.filter=box"})
        EXPECT_EQ(run(std::string("noise fractal.mono --dim 40 30 -o ") + args).code, 0);
    EXPECT_EQ(read(folder / "a.png"), read(folder / "b.png"));
    EXPECT_NE(read(folder / "a.png"), read(folder / "c.png"));

    EXPECT_EQ(run("noise --sheet -o sheet.png").code, 0);
    EXPECT_NE(run("info sheet.png").out.find("0 to 255"), std::string::npos);

    const struct {
        std::string args;
        int code;
        std::string said;
    } table[] = {
        {"noise noise.gradiant -o o.png", 4, "did you mean noise.gradient?"},
        {"noise noise.gradient --set fliter=box -o o.png", 2, "did you mean filter?"},
        {"noise noise.gradient --set fiter.width=1 -o o.png", 2, "holds no functor fiter"},
        {"noise noise.gradient --set filter=nothing -o o.png", 2, "unable to create filter object 'nothing'"},
        {"noise noise.gradient --set filter -o o.png", 2, "attribute=value"},
        {"noise noise.gradient --dim 3 1 -o o.png", 2, "two cells at least"},
        {"noise -o o.png", 2, "--sheet"},
        {"noise noise.gradient -o o.gif", 2, "o.gif"},
    };
    for (const auto &row : table) {
        const outcome o = run(row.args);
        EXPECT_EQ(o.code, row.code) << row.args << ": " << o.err;
        EXPECT_NE(o.err.find(row.said), std::string::npos) << row.args << ": " << o.err;
    }
    EXPECT_FALSE(fs::exists(folder / "o.png"));
}

} // namespace
