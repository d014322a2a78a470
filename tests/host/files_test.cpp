// Paths, the search path, open files, text files, dialogs.
#include <cerrno>
#include <scratch.h>
#include <thread>

namespace {

constexpr uint32_t code(const char (&t)[5])
{
    return uint32_t(t[0]) << 24 | uint32_t(t[1]) << 16 | uint32_t(t[2]) << 8 | uint32_t(t[3]);
}
const std::string png_mark("\x89PNG\r\n\x1a\n", 8);

// What a search gave: the full name and the type, or nothing.
struct found_file {
    std::string full;
    uint32_t type = 0;
};
found_file locate(const std::string &asked, std::vector<uint32_t> types = {})
{
    char name[ZAN_NAME_SIZE], full[ZAN_NAME_SIZE];
    snprintf(name, sizeof name, "%s", asked.c_str());
    short path = 77;
    uint32_t type = 77;
    if (locatefile_extended(name, &path, &type, types.data(), static_cast<short>(types.size())) != 0) {
        EXPECT_EQ(path, 77);
        EXPECT_EQ(type, 77u);
        EXPECT_EQ(name, asked);
        return {};
    }
    EXPECT_LT(path, 0);
    EXPECT_EQ(path_topathname(path, name, full), 0);
    return {full, type};
}

// In a folder of its own, which is also the current one.
class files : public testing::Test {
  protected:
    files() : data("XDG_DATA_HOME", (scratch / "data").c_str()), list("VOKRA_PATH", nullptr)
    {
        std::filesystem::current_path(scratch.name());
    }
    ~files() override { std::filesystem::current_path("/"); }

    zan_file_handle create(const char *name)
    {
        zan_file_handle file = nullptr;
        EXPECT_EQ(path_createsysfile(name, 0, 0, &file), 0);
        return file;
    }
    static zan_file_handle open(const char *name, short permission)
    {
        zan_file_handle file = nullptr;
        EXPECT_EQ(path_opensysfile(name, 0, &file, permission), 0);
        return file;
    }
    static std::string full_name(short path, const char *name)
    {
        char full[ZAN_NAME_SIZE];
        EXPECT_EQ(path_topathname(path, name, full), 0);
        return full;
    }
    static long put(zan_file_handle file, const std::string &bytes)
    {
        long count = static_cast<long>(bytes.size());
        EXPECT_EQ(sysfile_write(file, &count, bytes.data()), 0);
        return count;
    }
    static std::string get(zan_file_handle file, long wanted)
    {
        std::string bytes(static_cast<size_t>(wanted), '-');
        long count = wanted;
        EXPECT_EQ(sysfile_read(file, &count, bytes.data()), 0);
        bytes.resize(static_cast<size_t>(count));
        return bytes;
    }

    scratch_folder scratch;
    env_setting data, list;
    report_catcher reports;
};

TEST_F(files, names_split_where_their_folder_is)
{
    scratch.make("sub/a.txt", "");
    const struct {
        std::string text, full; // full empty: refused
    } rows[] = {
        {scratch / "sub/a.txt", scratch / "sub/a.txt"},
        {scratch / "sub/new.txt", scratch / "sub/new.txt"},
        {"sub/a.txt", scratch / "sub/a.txt"},
        {"./sub/../sub//a.txt", scratch / "sub/a.txt"},
        {"sub/", scratch / "sub"},
        {"/etc", "/etc"},
        {"a.txt", ""},
        {"", ""},
        {"nowhere/a.txt", ""},
        {scratch / "sub/a.txt/b", ""},
    };
    for (const auto &row : rows) {
        short path = 77;
        char name[ZAN_NAME_SIZE] = "untouched";
        const short failed = path_frompotentialpathname(row.text.c_str(), &path, name);
        EXPECT_EQ(failed != 0, row.full.empty()) << row.text;
        if (failed) {
            EXPECT_EQ(path, 77);
            EXPECT_STREQ(name, "untouched");
        } else {
            EXPECT_LT(path, 0);
            EXPECT_EQ(full_name(path, name), row.full);
        }
    }
}

TEST_F(files, identifiers_stay_and_0_follows_the_current_folder)
{
    scratch.make("sub/a.txt", "");
    short first, second;
    char name[ZAN_NAME_SIZE], full[ZAN_NAME_SIZE];
    ASSERT_EQ(path_frompotentialpathname("sub/a.txt", &first, name), 0);
    ASSERT_EQ(path_frompotentialpathname((scratch / "sub/b.txt").c_str(), &second, name), 0);
    EXPECT_EQ(first, second);
    EXPECT_EQ(full_name(0, "x"), scratch / "x");
    std::filesystem::current_path("sub");
    EXPECT_EQ(full_name(0, "x"), scratch / "sub/x");
    EXPECT_EQ(full_name(first, "/etc/x"), "/etc/x");
    EXPECT_EQ(full_name(first, ""), scratch / "sub");
    for (const short unknown : {short(1), short(-32768), short(32767)})
        EXPECT_NE(path_topathname(unknown, "x", full), 0) << unknown;
    EXPECT_NE(path_topathname(0, std::string(ZAN_NAME_SIZE, 'x').c_str(), full), 0);
    EXPECT_TRUE(std::filesystem::is_directory(full_name(path_tempfolder(), "")));
}

TEST_F(files, the_search_goes_from_near_to_far)
{
    const std::string current = scratch.make("f", ""), added = scratch.make("added/f", ""),
                      listed = scratch.make("listed/f", ""), later = scratch.make("later/f", ""),
                      user = scratch.make("data/vokra/f", "");
    scratch.make("empty/other", "");
    ASSERT_EQ(path_addsearchpath("empty"), 0);
    ASSERT_EQ(path_addsearchpath((scratch / "added").c_str()), 0);
    ASSERT_EQ(path_addsearchpath("added/"), 0);
    const env_setting path("VOKRA_PATH", (":" + (scratch / "listed") + "::" + (scratch / "later")).c_str());
    for (const std::string &expected : {current, added, listed, later, user}) {
        EXPECT_EQ(locate("f").full, expected);
        std::filesystem::remove(expected);
    }
    EXPECT_EQ(locate("f").full, "");

    char folder[ZAN_NAME_SIZE];
    std::vector<std::string> folders;
    for (long i = 0; path_getsearchpath(i, folder) == 0; ++i)
        folders.push_back(folder);
    ASSERT_GE(folders.size(), 6u);
    const std::vector<std::string> expected{scratch.name(), scratch / "added", scratch / "empty",
                                            scratch / "listed", scratch / "later"};
    EXPECT_EQ(std::vector<std::string>(folders.begin(), folders.begin() + 3),
              std::vector<std::string>(expected.begin(), expected.begin() + 3));
    EXPECT_NE(std::search(folders.begin(), folders.end(), expected.begin() + 3, expected.end()), folders.end());
    EXPECT_NE(path_getsearchpath(-1, folder), 0);
    EXPECT_EQ(path_addsearchpath("nowhere"), ENOENT);
    scratch.make("plain", "");
    EXPECT_EQ(path_addsearchpath("plain"), ENOTDIR);
}

TEST_F(files, a_full_name_is_not_searched_for)
{
    scratch.make("added/etc/f", "");
    path_addsearchpath("added");
    EXPECT_EQ(locate("etc/f").full, scratch / "added/etc/f");
    EXPECT_EQ(locate("/etc/f-that-is-not-there").full, "");
    EXPECT_EQ(locate(scratch / "added/etc/f").full, scratch / "added/etc/f");
}

TEST_F(files, a_type_list_prefers)
{
    const std::string matrix("FORM\0\0\0\0VOK!", 12);
    scratch.make("pic", "just text");
    scratch.make("far/pic", png_mark);
    scratch.make("m.vkf", matrix);
    scratch.make("other.png", "not what the name says");
    std::filesystem::create_directory("folder");
    path_addsearchpath("far");
    const struct {
        const char *asked;
        std::vector<uint32_t> types;
        std::string full;
        uint32_t type;
    } rows[] = {
        {"pic", {}, scratch / "pic", 0},
        {"pic", {code("PNG ")}, scratch / "far/pic", code("PNG ")},
        {"pic", {code("JPEG"), code("PNG ")}, scratch / "far/pic", code("PNG ")},
        {"pic", {code("VoK!")}, scratch / "pic", 0}, // there, if of another type
        {"m", {code("VoK!")}, scratch / "m.vkf", code("VoK!")},
        {"m", {}, "", 0},
        {"other", {code("PNG ")}, scratch / "other.png", code("PNG ")},
        {"folder", {}, scratch / "folder", code("fold")},
        {"folder", {code("fold")}, scratch / "folder", code("fold")},
        {"missing", {code("PNG ")}, "", 0},
    };
    for (const auto &row : rows) {
        const found_file found = locate(row.asked, row.types);
        EXPECT_EQ(found.full, row.full) << row.asked;
        EXPECT_EQ(found.type, row.type) << row.asked;
    }
}

TEST_F(files, information)
{
    scratch.make("a.jpg", png_mark + "12345");
    zan_fileinfo info;
    ASSERT_EQ(path_fileinfo("a.jpg", 0, &info), 0);
    EXPECT_TRUE(info.size == 13 && info.type == code("PNG ") && info.flags == 0); // the bytes tell, not the name
    EXPECT_NEAR(static_cast<double>(info.date), static_cast<double>(time(nullptr)), 100);
    ASSERT_EQ(path_fileinfo(scratch.name().c_str(), 0, &info), 0);
    EXPECT_EQ(info.flags, 1);
    EXPECT_NE(path_fileinfo("missing", 0, &info), 0);
}

TEST_F(files, names_conform)
{
    const struct {
        const char *from;
        long type;
        std::string to;
    } rows[] = {
        {"a/./b//../c", 0, "a/c"}, {"a/c", 1, scratch / "a/c"}, {"a/../c", 3, scratch / "c"},
        {"/x/../y", 1, "/y"},      {"/etc/x", 2, "/etc/x"},     {"a/./c", 2, "a/c"},
    };
    char out[ZAN_NAME_SIZE];
    for (const auto &row : rows)
        for (const long style : {2L, 3L}) {
            EXPECT_EQ(path_nameconform(row.from, out, style, row.type), 0);
            EXPECT_EQ(out, row.to) << row.from << " type " << row.type;
        }
    EXPECT_EQ(path_nameconform((scratch / "a").c_str(), out, 3, 2), 0);
    EXPECT_STREQ(out, "a");

    const struct {
        const char *full, *folder, *name;
    } splits[] = {{"/a/b/c.d", "/a/b", "c.d"}, {"c", "", "c"}, {"/c", "/", "c"}, {"a/", "a", ""}, {"", "", ""}};
    char folder[ZAN_NAME_SIZE], name[ZAN_NAME_SIZE];
    for (const auto &row : splits) {
        path_splitnames(row.full, folder, name);
        EXPECT_STREQ(folder, row.folder) << row.full;
        EXPECT_STREQ(name, row.name) << row.full;
    }
}

TEST_F(files, packages_lie_in_search_folders)
{
    scratch.make("data/vokra/packages/GOOD/init", "");
    const short path = packages_getpackagepath("GOOD");
    ASSERT_LT(path, 0);
    EXPECT_EQ(full_name(path, "init"), scratch / "data/vokra/packages/GOOD/init");
    for (const char *name : {"BAD", "", ".", "..", "../packages/GOOD"})
        EXPECT_EQ(packages_getpackagepath(name), 0) << name;
}

TEST_F(files, short_moves_are_no_error)
{
    zan_file_handle file = create("f");
    EXPECT_EQ(put(file, "0123456789"), 10);
    EXPECT_EQ(sysfile_setpos(file, 1, 7), 0);
    EXPECT_EQ(get(file, 100), "789");
    EXPECT_EQ(get(file, 100), "");
    EXPECT_EQ(put(file, "ab"), 2); // a write right behind a read, at its place
    EXPECT_EQ(sysfile_setpos(file, 1, 0), 0);
    EXPECT_EQ(get(file, 3), "012");
    EXPECT_EQ(put(file, "X"), 1);
    EXPECT_EQ(get(file, 2), "45"); // and a read right behind a write
    EXPECT_EQ(sysfile_close(file), 0);
    EXPECT_EQ(bytes_of("f"), "012X456789ab");
}

TEST_F(files, positions_and_ends)
{
    zan_file_handle file = create("f");
    put(file, "0123456789");
    const struct {
        long mode, offset, expected; // expected -1: refused, the place stays
    } rows[] = {{1, 4, 4},   {3, 3, 7},    {3, -2, 5}, {2, -1, 9}, {2, 0, 10},
                {1, -1, -1}, {3, -11, -1}, {0, 0, -1}, {4, 0, -1}, {2, 5, 15}};
    long at = 10, now;
    for (const auto &row : rows) {
        EXPECT_EQ(sysfile_setpos(file, row.mode, row.offset) != 0, row.expected < 0);
        at = row.expected < 0 ? at : row.expected;
        EXPECT_EQ(sysfile_getpos(file, &now), 0);
        EXPECT_EQ(now, at) << row.mode << " " << row.offset;
    }
    EXPECT_EQ(sysfile_geteof(file, &now), 0);
    EXPECT_EQ(now, 10);
    put(file, "z"); // leaves a gap of zeroes
    EXPECT_EQ(sysfile_geteof(file, &now), 0);
    EXPECT_EQ(now, 16);
    EXPECT_EQ(sysfile_seteof(file, 12), 0);
    EXPECT_EQ(sysfile_close(file), 0);
    EXPECT_EQ(bytes_of("f"), std::string("0123456789\0\0", 12));
}

TEST_F(files, opening_tells_why_not)
{
    scratch.make("f", "abc");
    const struct {
        const char *name;
        short path, permission;
        long expected;
    } rows[] = {{"f", 0, 1, 0},
                {"f", 0, 2, 0},
                {"f", 0, 3, 0},
                {"missing", 0, 1, ENOENT},
                {"missing", 0, 2, ENOENT},
                {"f", 5, 1, ENOENT},
                {"f", 0, 9, EINVAL},
                {"f/x", 0, 1, ENOTDIR},
                {"/", 0, 1, EISDIR}};
    for (const auto &row : rows) {
        zan_file_handle file = nullptr;
        EXPECT_EQ(path_opensysfile(row.name, row.path, &file, row.permission), row.expected) << row.name;
        EXPECT_EQ(file != nullptr, row.expected == 0);
        if (file)
            sysfile_close(file);
    }
    zan_file_handle file;
    EXPECT_EQ(path_createsysfile("no/folder", 0, 0, &file), ENOENT);
    EXPECT_EQ(path_createsysfile(".", 0, 0, &file), EISDIR);
    long count = 1;
    EXPECT_EQ(sysfile_read(nullptr, &count, &count), zan_err_invalid_ptr);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(sysfile_close(nullptr), zan_err_invalid_ptr);
    EXPECT_EQ(bytes_of("f"), "abc"); // opening for writing takes nothing away
}

TEST_F(files, a_full_disk_is_told)
{
    zan_file_handle file = nullptr;
    if (path_opensysfile("/dev/full", 0, &file, 3) != 0)
        GTEST_SKIP() << "no /dev/full";
    put(file, "gathered first");
    EXPECT_EQ(sysfile_close(file), ENOSPC);
}

TEST_F(files, spoolcopy_copies_the_whole)
{
    std::string bytes;
    for (int i = 0; i < 700000; ++i)
        bytes.push_back(static_cast<char>(i * 7 + i / 256));
    scratch.make("from", bytes);
    scratch.make("to", std::string(bytes.size() + 100, 'x'));
    zan_file_handle from = open("from", 1), to = open("to", 3);
    sysfile_setpos(from, 1, 5);
    sysfile_setpos(to, 1, 5);
    EXPECT_EQ(sysfile_spoolcopy(from, to, 0), 0);
    EXPECT_EQ(sysfile_spoolcopy(from, from, 0), zan_err_invalid_ptr);
    sysfile_close(from);
    sysfile_close(to);
    EXPECT_TRUE(bytes_of("to") == bytes);
}

TEST_F(files, text_comes_in_and_goes_out_with_one_kind_of_line_end)
{
    enum { keep = 1, nul = 4, every = 8 };
    const std::string mixed = "\xef\xbb\xbf"
                              "a\r\nb\rc\n\r\n\rd\r";
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
        {true, mixed, 1000, every, mixed},
        {false, "a\r\nb\rc\n", 0, 0, "a\nb\nc\n"},
        {false, "a\r\nb", 0, keep, "a\r\nb"},
        {false, "a\r\nb", 0, every, "a\r\nb"},
        {false, std::string("ab\0", 3), 0, nul, "ab"},
        {false, std::string("ab\0", 3), 0, 0, std::string("ab\0", 3)},
        {false, "", 0, 0, ""},
    };
    for (const auto &row : rows) {
        scratch.make("t", row.in ? row.text : "what stood there before, and was longer");
        zan_file_handle file = open("t", row.in ? 1 : 3);
        zan_handle text = sysmem_newhandle(row.in ? 3 : 0);
        if (row.in) {
            EXPECT_EQ(sysfile_readtextfile(file, text, row.maxsize, row.flags), 0);
            EXPECT_EQ(std::string(*text, static_cast<size_t>(sysmem_handlesize(text))), row.expected) << row.flags;
        } else {
            ASSERT_EQ(sysmem_ptrandhand(row.text.data(), text, static_cast<long>(row.text.size())), 0);
            EXPECT_EQ(sysfile_writetextfile(file, text, row.flags), 0);
        }
        sysmem_freehandle(text);
        EXPECT_EQ(sysfile_close(file), 0);
        if (!row.in) {
            EXPECT_EQ(bytes_of("t"), row.expected) << row.flags;
        }
    }
}

TEST_F(files, dialogs_are_cancelled_until_answered)
{
    scratch.make("sub/in.png", png_mark);
    const uint32_t types[] = {code("VoK!"), code("TEXT")};
    char name[ZAN_NAME_SIZE] = "default.vkf";
    short path = 77;
    uint32_t type = 77;
    EXPECT_NE(open_dialog(name, &path, &type, types, 2), 0);
    EXPECT_NE(saveasdialog_extended(name, &path, &type, types, 2), 0);
    EXPECT_NE(getfolder(&path), 0);
    EXPECT_STREQ(name, "default.vkf");
    EXPECT_EQ(path, 77);
    EXPECT_TRUE(reports.take().empty()); // cancelling is nothing to report

    zan_set_dialog_answer("sub/in.png");
    EXPECT_EQ(open_dialog(name, &path, &type, types, 2), 0);
    EXPECT_STREQ(name, "in.png");
    EXPECT_EQ(type, code("PNG "));
    EXPECT_EQ(full_name(path, name), scratch / "sub/in.png");
    EXPECT_NE(getfolder(&path), 0); // a file is no folder
    EXPECT_NE(reports.one_error().find("in.png"), std::string::npos);

    zan_set_dialog_answer((scratch / "sub").c_str());
    snprintf(name, sizeof name, "default.vkf");
    EXPECT_EQ(saveasdialog_extended(name, &path, &type, types, 2), 0);
    EXPECT_STREQ(name, "default.vkf");
    EXPECT_EQ(type, code("VoK!"));
    EXPECT_EQ(full_name(path, name), scratch / "sub/default.vkf");
    EXPECT_EQ(getfolder(&path), 0);
    EXPECT_EQ(full_name(path, ""), scratch / "sub");

    zan_set_dialog_answer("sub/missing.png");
    EXPECT_NE(open_dialog(name, &path, &type, types, 2), 0);
    EXPECT_NE(reports.one_error().find("missing.png"), std::string::npos);
    EXPECT_EQ(saveasdialog_extended(name, &path, &type, types, 2), 0); // may be new
    EXPECT_STREQ(name, "missing.png");
    zan_set_dialog_answer("nowhere/out.png");
    EXPECT_NE(saveasdialog_extended(name, &path, &type, types, 2), 0);
    EXPECT_NE(reports.one_error().find("nowhere/out.png"), std::string::npos);

    // a key remembers its folder, and only for the next dialog
    dialog_setkey(code("pics"));
    zan_set_dialog_answer("sub/in.png");
    ASSERT_EQ(open_dialog(name, &path, &type, types, 2), 0);
    zan_set_dialog_answer("in.png");
    dialog_setkey(code("pics"));
    EXPECT_EQ(open_dialog(name, &path, &type, types, 2), 0);
    EXPECT_EQ(full_name(path, name), scratch / "sub/in.png");
    EXPECT_NE(open_dialog(name, &path, &type, types, 2), 0);
    reports.take();
    zan_set_dialog_answer(nullptr);
    EXPECT_NE(open_dialog(name, &path, &type, types, 2), 0);
    EXPECT_TRUE(reports.take().empty());
}

TEST_F(files, identifiers_from_many_threads_agree)
{
    constexpr int folders = 40;
    for (int i = 0; i < folders; ++i)
        scratch.make("d" + std::to_string(i) + "/f", "");
    std::vector<std::vector<short>> ids(4, std::vector<short>(folders));
    std::vector<std::thread> threads;
    for (auto &mine : ids)
        threads.emplace_back([&mine, this] {
            char name[ZAN_NAME_SIZE];
            for (int i = 0; i < folders; ++i)
                path_frompotentialpathname((scratch / ("d" + std::to_string(i) + "/f")).c_str(),
                                           &mine[static_cast<size_t>(i)], name);
        });
    for (auto &thread : threads)
        thread.join();
    for (const auto &mine : ids)
        EXPECT_EQ(mine, ids[0]);
    std::sort(ids[0].begin(), ids[0].end());
    EXPECT_EQ(std::unique(ids[0].begin(), ids[0].end()), ids[0].end());
}

} // namespace
