// Pictures into matrices and matrices into files, there and back.
#include "box_tools.h"

namespace {

using namespace box_tools;

const std::string harbour = std::string(VOKRA_SOURCE_DIR) + "/examples/pictures/harbour.png";

TEST(Pictures, AreReadWrittenAndReadAgain)
{
    const scratch_folder folder;
    patch p;
    void *photo = p.make("picture " + harbour + " @name boxes-photo"), *look = p.make("vok.matrix boxes-look");
    p.listen(photo);
    EXPECT_EQ(p.ask(photo, "0 name boxes-photo", "0 bang"), "0 vok_matrix boxes-photo");
    p.listen(look, 20);
    const std::string format = p.ask(look, "0 vok_matrix boxes-photo", "0 getdim", "0 getplanecount");
    for (const char *file : {"a/x-%03d.png", "y.jpg", "%d-z.vkf"}) {
        void *frames = p.make("frames " + (folder / file));
        p.listen(frames, 10);
        EXPECT_EQ(p.ask(frames, "0 vok_matrix boxes-photo", "0 vok_matrix boxes-photo"), "10 0; 10 1") << file;
    }
    EXPECT_EQ(folder.count(), 5) << "nothing unfinished lies about";
    void *again = p.make("picture " + (folder / "a/x-001.png") + " @name boxes-again");
    EXPECT_EQ(p.ask(look, "0 vok_matrix boxes-again", "0 getdim", "0 getplanecount"), format);
    EXPECT_NE(format.find("planecount 4"), format.npos) << format;
    p.listen(again, 30);
    EXPECT_EQ(p.ask(again, "0 read " + (folder / "y-0000.jpg")), "31 read " + (folder / "y-0000.jpg") + " 1");
    EXPECT_EQ(p.errors(), "");
}

// What a picture of one pixel is after a matrix with these planes was written and read.
TEST(Pictures, PlanesBecomeColours)
{
    const scratch_folder folder;
    const struct {
        const char *matrix, *cell, *frames;
        const char *read; // empty: refused
    } rows[] = {
        {"1 char", "90", "", "255 90 90 90"},
        {"3 char", "10 20 30", "", "255 10 20 30"},
        {"4 char", "128 10 200 30", "", "255 10 200 30"},
        {"4 char", "0 10 20 30", "", "255 10 20 30"},
        {"4 char", "255 10 20 30", "@alpha 1", "255 10 20 30"},
        {"4 char", "51 10 200 30", "@alpha 1", "51 10 200 30"},
        {"3 float32", "0. 1. 0.5", "", "255 0 255 127"},
        {"2 char", "1 2", "", ""},
        {"5 char", "1 2 3 4 5", "", ""},
    };
    for (const auto &row : rows) {
        patch p;
        void *matrix = p.make("vok.matrix boxes-pixel " + std::string(row.matrix) + " 1 1");
        void *frames = p.make("frames " + (folder / "pixel%d.png ") + row.frames);
        ASSERT_EQ(zan_connect(matrix, 0, frames, 0), 0);
        const std::string error = p.complaint(matrix, "0 setall " + std::string(row.cell), "0 bang");
        if (!*row.read) {
            EXPECT_NE(error.find("a picture has 1, 3 or 4 planes"), error.npos) << row.matrix;
            continue;
        }
        EXPECT_EQ(error, "");
        p.make("picture " + (folder / "pixel0.png") + " @name boxes-read");
        void *read = p.make("vok.matrix boxes-copy 4 char 1 1");
        p.send(read, "0 vok_matrix boxes-read");
        p.listen(read);
        EXPECT_EQ(p.ask(read, "0 getcell 0 0"), std::string("1 cell ") + row.read) << row.cell;
    }
}

TEST(Pictures, SayWhatIsWrong)
{
    const scratch_folder folder;
    const std::string text = folder.make("text.png", "no picture at all");
    const std::pair<std::string, const char *> rows[] = {
        {"picture nowhere.png", "can't find file nowhere.png"},
        {"picture " + text, "text.png"},
        {"frames out.gif", "doesn't end in .png, .jpg or .vkf"},
        {"frames", "(frames PATTERN)"},
    };
    for (const auto &[box, error] : rows) {
        patch p;
        void *made = p.make(box);
        EXPECT_NE(p.errors().find(error), std::string::npos) << box;
        p.listen(made);
        EXPECT_EQ(p.ask(made, "0 bang"), "") << box;
    }
    patch p;
    void *frames = p.make("frames " + (folder / "a.png"));
    EXPECT_EQ(p.complaint(frames, "0 vok_matrix boxes-none"), "there is no matrix \"boxes-none\"");
}

} // namespace
