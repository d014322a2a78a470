// Paths, the search path, open files, text files, dialogs.
#include <cerrno>
#include <random>
#include <scratch.h>
#include <sys/stat.h>

namespace {

constexpr uint32_t code(const char (&t)[5])
{
    return uint32_t(t[0]) << 24 | uint32_t(t[1]) << 16 | uint32_t(t[2]) << 8 | uint32_t(t[3]);
}
const std::string png_mark("\x89PNG\r\n\x1a\n", 8);

std::string full_name(short path, const char *name)
{
    char full[ZAN_NAME_SIZE];
    return path_topathname(path, name, full) == 0 ? full : "";
}

// The full name that a search gave, "" for none.
std::string locate(const std::string &asked, std::vector<uint32_t> types = {}, uint32_t *type = nullptr)
{
    char name[ZAN_NAME_SIZE];
    snprintf(name, sizeof name, "%s", asked.c_str());
    short path = 77;
    if (locatefile_extended(name, &path, type, types.data(), static_cast<short>(types.size())) == 0)
        return full_name(path, name);
    EXPECT_TRUE(path == 77 && name == asked);
    return "";
}

// In a folder of its own, which is also the current one.
class files : public testing::Test {
  protected:
    files() : data("XDG_DATA_HOME", (scratch / "data").c_str()), list("VOKRA_PATH", nullptr)
    {
        std::filesystem::current_path(scratch.name());
    }
    ~files() override { std::filesystem::current_path("/"); }

    static zan_file_handle open(const char *name, short permission)
    {
        zan_file_handle file = nullptr;
        EXPECT_EQ(path_opensysfile(name, 0, &file, permission), 0);
        return file;
    }

    scratch_folder scratch;
    env_setting data, list;
    report_catcher reports;
};

TEST_F(files, names_split_where_their_folder_is)
{
    const std::string a = scratch.make("sub/a.txt", "");
    short path = 77;
    char name[ZAN_NAME_SIZE] = "untouched";
    for (const std::string &refused : {std::string("a.txt"), std::string("nowhere/a.txt"), a + "/b"})
        EXPECT_NE(path_frompotentialpathname(refused.c_str(), &path, name), 0) << refused;
    EXPECT_TRUE(path == 77 && name == std::string("untouched"));
    const std::pair<std::string, std::string> rows[] = {
        {a, a},
        {"/etc", "/etc"},
        {"./sub/../sub//a.txt", a},
        {"sub/", scratch / "sub"},
        {"sub/new", scratch / "sub/new"},
    };
    for (const auto &[text, full] : rows) {
        EXPECT_EQ(path_frompotentialpathname(text.c_str(), &path, name), 0) << text;
        EXPECT_EQ(full_name(path, name), full);
    }
    EXPECT_EQ(full_name(0, "x"), scratch / "x"); // 0 follows the current folder, others stay
    std::filesystem::current_path("sub");
    EXPECT_EQ(full_name(0, "x"), scratch / "sub/x");
    EXPECT_EQ(full_name(path, "/etc/x"), "/etc/x");
    EXPECT_EQ(full_name(path, ""), scratch / "sub");
    for (const short unknown : {short(1), short(-32768), short(32767)})
        EXPECT_EQ(full_name(unknown, "x"), "") << unknown;
    EXPECT_EQ(full_name(0, std::string(ZAN_NAME_SIZE, 'x').c_str()), "");
    EXPECT_TRUE(std::filesystem::is_directory(full_name(path_tempfolder(), "")));
}

TEST_F(files, the_search_goes_from_near_to_far)
{
    std::vector<std::string> made;
    for (const char *name : {"f", "added/f", "listed/f", "later/f", "data/vokra/f", "empty/other"})
        made.push_back(scratch.make(name, ""));
    for (const std::string &folder : {std::string("empty"), scratch / "added", std::string("added/")})
        ASSERT_EQ(path_addsearchpath(folder.c_str()), 0);
    const env_setting path("VOKRA_PATH", (":" + (scratch / "listed") + "::" + (scratch / "later")).c_str());
    for (size_t i = 0; i < 5; i++) {
        EXPECT_EQ(locate("f"), made[i]);
        std::filesystem::remove(made[i]);
    }
    EXPECT_EQ(locate("f"), "");

    char folder[ZAN_NAME_SIZE];
    std::vector<std::string> folders; // those of other tests stand between
    for (long i = 0; path_getsearchpath(i, folder) == 0; ++i)
        if (std::string(folder).starts_with(scratch.name()))
            folders.push_back(folder);
    EXPECT_EQ(folders, (std::vector<std::string>{scratch.name(), scratch / "added", scratch / "empty",
                                                 scratch / "listed", scratch / "later", scratch / "data/vokra"}));
    EXPECT_EQ(path_addsearchpath("nowhere"), ENOENT);
    EXPECT_EQ(path_addsearchpath("empty/other"), ENOTDIR);
    // a full name is not searched for
    const std::string inner = scratch.make("added/etc/f", "");
    EXPECT_EQ(locate("etc/f"), inner);
    EXPECT_EQ(locate("/etc/f"), "");
    EXPECT_EQ(locate(inner), inner);

    const std::string init = scratch.make("data/vokra/packages/GOOD/init", "");
    EXPECT_EQ(full_name(packages_getpackagepath("GOOD"), "init"), init);
    for (const char *name : {"BAD", "", ".", "..", "../packages/GOOD"})
        EXPECT_EQ(packages_getpackagepath(name), 0) << name;
}

TEST_F(files, a_type_list_prefers)
{
    scratch.make("pic", "just text");
    scratch.make("far/pic", png_mark);
    scratch.make("m.vkf", std::string("FORM\0\0\0\0VOK!", 12));
    scratch.make("other.png", "not what the name says");
    std::filesystem::create_directory("folder");
    path_addsearchpath("far");
    const uint32_t png = code("PNG "), jpeg = code("JPEG"), matrix = code("VoK!"), folder = code("fold");
    const struct {
        const char *asked;
        std::vector<uint32_t> types;
        const char *found;
        uint32_t type;
    } rows[] = {
        {"pic", {}, "pic", 0},
        {"pic", {jpeg, png}, "far/pic", png},
        {"pic", {matrix}, "pic", 0},
        {"m", {matrix}, "m.vkf", matrix},
        {"m", {png}, nullptr, 77},
        {"other", {png}, "other.png", png},
        {"folder", {folder}, "folder", folder},
    };
    for (const auto &row : rows) {
        uint32_t type = 77;
        EXPECT_EQ(locate(row.asked, row.types, &type), row.found ? scratch / row.found : "") << row.asked;
        EXPECT_EQ(type, row.type) << row.asked;
    }
}

TEST_F(files, information_and_names_that_conform)
{
    scratch.make("a.jpg", png_mark + "12345");
    zan_fileinfo info;
    ASSERT_EQ(path_fileinfo("a.jpg", 0, &info), 0);
    EXPECT_TRUE(info.size == 13 && info.type == code("PNG ") && info.flags == 0); // the bytes tell, not the name
    struct stat found;
    ASSERT_EQ(stat("a.jpg", &found), 0);
    EXPECT_EQ(info.date, found.st_mtime);
    ASSERT_EQ(path_fileinfo(scratch.name().c_str(), 0, &info), 0);
    EXPECT_EQ(info.flags, 1);
    EXPECT_NE(path_fileinfo("missing", 0, &info), 0);

    const struct {
        std::string from;
        long type;
        std::string to;
    } rows[] = {
        {"a/./b//../c", 0, "a/c"}, {"a/c", 1, scratch / "a/c"}, {"a/../c", 3, scratch / "c"},
        {"/x/../y", 1, "/y"},      {"/etc/x", 2, "/etc/x"},     {scratch / "a/./c", 2, "a/c"},
    };
    char folder[ZAN_NAME_SIZE], name[ZAN_NAME_SIZE];
    for (const auto &row : rows) {
        EXPECT_EQ(path_nameconform(row.from.c_str(), name, 2, row.type), 0);
        EXPECT_EQ(name, row.to) << row.from << " type " << row.type;
    }
    for (const auto &[full, parts] :
         {std::pair("/a/b/c.d", "/a/b|c.d"), {"c", "|c"}, {"/c", "/|c"}, {"a/", "a|"}}) {
        path_splitnames(full, folder, name);
        EXPECT_EQ(folder + std::string("|") + name, parts);
    }
}

TEST_F(files, a_random_walk_agrees_with_a_string)
{
    std::minstd_rand random(3);
    zan_file_handle file = nullptr;
    ASSERT_EQ(path_createsysfile("f", 0, 0, &file), 0);
    std::string model;
    long at = 0;
    for (int step = 0; step < 3000; ++step) {
        const long size = long(model.size()), mode = long(random() % 5);
        const long amount = (1 + long(random() % 30)) * (step % 50 ? 1 : 10000);
        const unsigned kind = random() % 16;
        std::string bytes(size_t(amount), char('a' + step % 26));
        long count = amount;
        if (kind < 5) { // no more than there is, which is no error
            EXPECT_EQ(sysfile_read(file, &count, bytes.data()), 0);
            EXPECT_EQ(bytes.substr(0, size_t(count)), at < size ? model.substr(size_t(at), size_t(amount)) : "");
            at += count;
        } else if (kind < 10) { // behind the end it leaves a gap of zeroes
            EXPECT_EQ(sysfile_write(file, &count, bytes.data()), 0);
            EXPECT_EQ(count, amount);
            model.resize(size_t(std::max(size, at + amount)));
            std::copy(bytes.begin(), bytes.end(), model.begin() + at);
            at += amount;
        } else if (kind < 15) {
            const long to = (mode == 2 ? size : mode == 3 ? at : 0) + amount - 20;
            const bool good = mode >= 1 && mode <= 3 && to >= 0; // else the place stays
            EXPECT_EQ(sysfile_setpos(file, mode, amount - 20) == 0, good);
            at = good ? to : at;
        } else {
            EXPECT_EQ(sysfile_seteof(file, amount * 4), 0);
            model.resize(size_t(amount * 4));
        }
        long place = -1, end = -1;
        EXPECT_EQ(sysfile_getpos(file, &place), 0);
        EXPECT_EQ(sysfile_geteof(file, &end), 0);
        ASSERT_EQ(std::pair(place, end), std::pair(at, long(model.size()))) << step;
    }
    scratch.make("to", std::string(model.size() + 100, 'x'));
    zan_file_handle to = open("to", 3);
    sysfile_setpos(to, 1, 5); // the whole is copied, wherever both are
    EXPECT_EQ(sysfile_spoolcopy(file, to, 0), 0);
    EXPECT_EQ(sysfile_spoolcopy(file, file, 0), zan_err_invalid_ptr);
    EXPECT_EQ(sysfile_close(file), 0);
    EXPECT_EQ(sysfile_close(to), 0);
    EXPECT_TRUE(bytes_of("f") == model && bytes_of("to") == model);
}

TEST_F(files, what_cannot_be_done_is_told)
{
    scratch.make("f", "abc");
    const struct {
        const char *name;
        short path, permission;
        long expected;
    } rows[] = {
        {"f", 0, 1, 0},      {"f", 0, 2, 0},      {"f", 0, 3, 0},         {"missing", 0, 1, ENOENT},
        {"f", 5, 1, ENOENT}, {"f", 0, 9, EINVAL}, {"f/x", 0, 1, ENOTDIR}, {"missing", 0, 2, ENOENT},
        {"/", 0, 1, EISDIR},
    };
    zan_file_handle file = nullptr;
    for (const auto &row : rows) {
        EXPECT_EQ(path_opensysfile(row.name, row.path, &file, row.permission), row.expected) << row.name;
        EXPECT_EQ(sysfile_close(file), row.expected ? zan_err_invalid_ptr : 0);
    }
    EXPECT_EQ(bytes_of("f"), "abc"); // opening for writing takes nothing away
    EXPECT_EQ(path_createsysfile("no/folder", 0, 0, &file), ENOENT);
    EXPECT_EQ(path_createsysfile(".", 0, 0, &file), EISDIR);
    long count = 1;
    EXPECT_EQ(sysfile_read(nullptr, &count, &count), zan_err_invalid_ptr);
    EXPECT_EQ(count, 0);
    file = open("/dev/full", 3);
    count = 8;
    EXPECT_EQ(sysfile_write(file, &count, "gathered first"), 0);
    EXPECT_EQ(sysfile_close(file), ENOSPC);
}

TEST_F(files, text_comes_in_and_goes_out_with_one_kind_of_line_end)
{
    enum { keep = 1, nul = 4, every = 8 };
    const std::string mixed = "\xef\xbb\xbf\x61\r\nb\rc\n\r\n\rd\r", ended("ab\0", 3);
    const struct {
        bool in;
        std::string text;
        long maxsize, flags;
        std::string expected;
    } rows[] = {
        {true, mixed, 0, 0, "a\nb\nc\n\n\nd\n"},
        {true, mixed, 0, keep, "a\r\nb\rc\n\r\n\rd\r"},
        {true, mixed, 0, every, mixed},
        {true, mixed, 0, nul, std::string("a\nb\nc\n\n\nd\n\0", 11)},
        {true, mixed, 5, every, mixed.substr(0, 5)},
        {true, mixed, 5, 0, "a\n"},
        {false, "a\r\nb\rc\n", 0, 0, "a\nb\nc\n"},
        {false, "a\r\nb", 0, keep, "a\r\nb"},
        {false, ended, 0, nul, "ab"},
        {false, ended, 0, 0, ended},
        {false, "", 0, 0, ""},
    };
    for (const auto &row : rows) {
        scratch.make("t", row.in ? row.text : "what stood there before, and was longer");
        zan_file_handle file = open("t", row.in ? 1 : 3);
        zan_handle text = sysmem_newhandle(0);
        if (row.in) {
            EXPECT_EQ(sysfile_readtextfile(file, text, row.maxsize, row.flags), 0);
        } else {
            ASSERT_EQ(sysmem_ptrandhand(row.text.data(), text, static_cast<long>(row.text.size())), 0);
            EXPECT_EQ(sysfile_writetextfile(file, text, row.flags), 0);
        }
        EXPECT_EQ(sysfile_close(file), 0);
        const std::string held(*text, static_cast<size_t>(sysmem_handlesize(text)));
        EXPECT_EQ(row.in ? held : bytes_of("t"), row.expected) << row.flags;
        sysmem_freehandle(text);
    }
}

TEST_F(files, dialogs_are_cancelled_until_answered)
{
    scratch.make("sub/in.png", png_mark);
    const uint32_t types[] = {code("VoK!"), code("TEXT")}, pics = code("pics");
    enum dialog { ask, save, folder };
    const struct {
        const char *answer;
        dialog kind;
        const char *chosen; // null: none, and the answer is in the error, if there was one
        uint32_t key;
    } rows[] = {
        // a file is no folder; what is saved may be new
        {"sub/in.png", ask, "sub/in.png", 0},
        {"sub/in.png", folder, nullptr, 0},
        {"sub", save, "sub/default.vkf", 0},
        {"sub", folder, "sub", 0},
        {"sub/missing.png", ask, nullptr, 0},
        {"sub/missing.png", save, "sub/missing.png", 0},
        {"nowhere/out.png", save, nullptr, 0},
        // a key remembers its folder, and only for the next dialog
        {"sub/in.png", ask, "sub/in.png", pics},
        {"in.png", ask, "sub/in.png", pics},
        {"in.png", ask, nullptr, 0},
        // cancelling is nothing to report
        {nullptr, ask, nullptr, 0},
        {nullptr, save, nullptr, 0},
        {nullptr, folder, nullptr, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.answer ? row.answer : "none") + " to " + std::to_string(row.kind));
        char name[ZAN_NAME_SIZE] = "default.vkf";
        short path = 77;
        uint32_t type = 77;
        zan_set_dialog_answer(row.answer);
        if (row.key)
            dialog_setkey(row.key);
        const short failed = row.kind == ask    ? open_dialog(name, &path, &type, types, 2)
                             : row.kind == save ? saveasdialog_extended(name, &path, &type, types, 2)
                                                : getfolder(&path);
        EXPECT_EQ(failed == 0, row.chosen != nullptr);
        if (row.chosen) {
            EXPECT_EQ(full_name(path, row.kind == folder ? "" : name), scratch / row.chosen);
            EXPECT_EQ(type, row.kind == ask ? code("PNG ") : row.kind == save ? types[0] : 77);
        } else {
            EXPECT_TRUE(path == 77 && name == std::string("default.vkf"));
        }
        const std::vector<std::string> said = reports.take();
        EXPECT_EQ(said.size(), row.answer && !row.chosen ? 1u : 0u);
        EXPECT_TRUE(said.empty() || said[0].find(row.answer) != said[0].npos);
    }
}

} // namespace
