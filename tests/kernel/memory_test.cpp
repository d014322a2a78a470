// The memory register and what it complains about, the trees and lists, bytes reversed,
// and files.
#include "quick_class.h"
#include <array>
#include <cstring>

namespace {

class Register : public testing::TestWithParam<int> {
  protected:
    void SetUp() override
    {
        initialize();
        _vok_memreg = 2;
    }
    void TearDown() override { _vok_memreg = 0; }

    // The bracketed remarks of what was posted since.
    std::vector<std::string> remarks()
    {
        std::vector<std::string> found;
        for (const std::string &line : ear.take(zan_report_console)) {
            const size_t open = line.find('(');
            found.push_back(open == std::string::npos ? line : line.substr(open, line.find(')') - open + 1));
        }
        return found;
    }
    using texts = std::vector<std::string>;
    report_catcher ear;
};

TEST_F(Register, PairsAreSilent)
{
    vok_freebytes(vok_getbytes(100), 100);
    vok_disposeptr(vok_newptr(100));
    void *p = vok_getbytes(8);
    vok_copy_bytes(p, "sevenly", 8);
    EXPECT_STREQ(static_cast<char *>(p), "sevenly");
    vok_freebytes(p, 8);
    EXPECT_EQ(remarks(), texts{});
}

TEST_F(Register, Mismatches)
{
    int unknown;
    const struct {
        void (*wrong)(void *);
        texts remarks;
    } rows[] = {
        {[](void *) { vok_freebytes(vok_getbytes(100), 99); }, {"(MISMATCHED SIZE)"}},
        {[](void *) { vok_freebytes(vok_newptr(100), 100); }, {"(MISMATCHED POOL)"}},
        {[](void *) { vok_freebytes(vok_newptr(100), 7); }, {"(MISMATCHED POOL)", "(MISMATCHED SIZE)"}},
        {[](void *) { vok_disposeptr(vok_getbytes(100)); }, {"(MISMATCHED POOL)"}},
        {[](void *) { vok_disposeptr(nullptr); }, {"(NULL)"}},
        {[](void *p) { vok_memory_unregister(p, 4, 0); }, {"(NO REGISTERED ENTRY)"}},
        {[](void *) { vok_memory_register(nullptr, 4, 0); }, {"(NULL)"}},
    };
    for (const auto &row : rows) {
        row.wrong(&unknown);
        EXPECT_EQ(remarks(), row.remarks) << &row - rows;
    }
}

TEST_F(Register, ARedundantEntryReplacesTheOldOne)
{
    int word;
    for (long level : {1L, 2L}) {
        _vok_memreg = level;
        vok_memory_register(&word, 4, 0);
        vok_memory_register(&word, 8, 1);
        const std::vector<std::string> lines = ear.take(zan_report_console);
        EXPECT_EQ(lines.size(), level == 2 ? 2u : 0u);
        if (level == 2) {
            EXPECT_NE(lines[0].find("(REDUNDANT MEMORY)"), std::string::npos);
            EXPECT_EQ(lines[1].find("could be memory leak of harmless mismatch of vok_getbytes()"), 0u);
        }
        vok_memory_unregister(&word, 8, 1);
        EXPECT_EQ(remarks(), texts{});
    }
}

TEST_F(Register, AttributesTakePart)
{
    void *m = vok_object_new(_vok_sym_vok_matrix, 0);
    EXPECT_EQ(vok_attr_getlong(m, _vok_sym_planecount), 4);
    vok_object_free(m);
    EXPECT_EQ(remarks(), texts{});
}

TEST(Memory, Handles)
{
    zan_handle h = vok_handle_new(10);
    ASSERT_TRUE(h);
    EXPECT_EQ(vok_handle_size_get(h), 10);
    EXPECT_EQ(vok_handle_lock(h, 1), 0);
    EXPECT_EQ(vok_handle_lock(h, 0), 1);
    EXPECT_EQ(vok_handle_size_set(h, 1000), 0);
    EXPECT_EQ(vok_handle_size_get(h), 1000);
    vok_handle_free(h);
    EXPECT_EQ(vok_freemem(), 0);
}

TEST(Swap, BytesReversed)
{
    using nine = std::array<int, 9>;
    unsigned char bytes[9] = {0, 1, 2, 3, 4, 5, 6, 7, 8}; // all from an odd address
    const auto now = [&] {
        nine all;
        std::copy(bytes, bytes + 9, all.begin());
        return all;
    };
    swap_pointer_16(bytes + 1);
    EXPECT_EQ(now(), (nine{0, 2, 1, 3, 4, 5, 6, 7, 8}));
    swap_pointer_32(bytes + 3);
    EXPECT_EQ(now(), (nine{0, 2, 1, 6, 5, 4, 3, 7, 8}));
    swap_pointer_64(bytes + 1);
    EXPECT_EQ(now(), (nine{0, 8, 7, 3, 4, 5, 6, 1, 2}));
    // each copies no more than its bytes
    unsigned char out[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    const auto holds = [&](std::initializer_list<int> expected) {
        EXPECT_TRUE(std::equal(out, out + 8, expected.begin())) << expected.size();
    };
    swap_pointer_16_copy(out, bytes + 1);
    holds({7, 8, 9, 9, 9, 9, 9, 9});
    swap_pointer_32_copy(out, bytes + 1);
    holds({4, 3, 7, 8, 9, 9, 9, 9});
    swap_pointer_64_copy(out, bytes + 1);
    holds({2, 1, 6, 5, 4, 3, 7, 8});
}

TEST(Swap, Numbers)
{
    const unsigned char pi32[] = {0x40, 0x49, 0x0f, 0xdb}, two64[] = {0x40, 0, 0, 0, 0, 0, 0, 0};
    float f;
    double d;
    std::memcpy(&f, pi32, 4);
    std::memcpy(&d, two64, 8);
    for (const float pi : {swap_pointer_32_to_float32(pi32), swapf32(f)})
        EXPECT_EQ(pi, 3.14159274f);
    for (const double two : {swap_pointer_64_to_float64(two64), swapf64(d)})
        EXPECT_EQ(two, 2.0);
}

TEST(VokFile, ReadWriteAndSize)
{
    scratch_folder folder;
    short path = 0;
    char name[ZAN_NAME_SIZE];
    ASSERT_EQ(path_frompotentialpathname((folder / "file").c_str(), &path, name), 0);
    zan_file_handle file = nullptr;
    ASSERT_EQ(path_createsysfile(name, path, 0, &file), 0);
    long count = 5;
    EXPECT_EQ(vok_file_fswrite(file, &count, "hello"), 0);
    EXPECT_EQ(count, 5);
    long position = -1;
    vok_file_getfpos(file, &position);
    EXPECT_EQ(position, 5);
    vok_file_setfpos(file, 1, 1);
    char text[16] = "";
    count = 16;
    vok_file_fsread(file, &count, text);
    EXPECT_EQ(std::string(text, static_cast<size_t>(count)), "ello");
    EXPECT_EQ(vok_file_seteof(file, -3), 0);
    long size = -1;
    vok_file_geteof(file, &size);
    EXPECT_EQ(size, 0);
    EXPECT_EQ(vok_file_fsclose(file), 0);
}

} // namespace
