// The memory register and what it complains about, handles, bytes reversed, and files.
#include "quick_class.h"
#include <array>
#include <bit>

namespace {

using texts = std::vector<std::string>;

TEST(Register, ComplainsOfEveryMismatch)
{
    static int word;
    const struct {
        long level;
        void (*action)();
        texts remarks; // each in a line of its own
    } rows[] = {
        {2, [] { vok_freebytes(vok_getbytes(100), 100); }, {}},
        {2, [] { vok_disposeptr(vok_newptr(100)); }, {}},
        {2, [] { vok_object_free(vok_object_new(_vok_sym_vok_matrix, 0)); }, {}},
        {2, [] { vok_freebytes(vok_getbytes(100), 99); }, {"(MISMATCHED SIZE)"}},
        {2, [] { vok_freebytes(vok_newptr(100), 7); }, {"(MISMATCHED POOL)", "(MISMATCHED SIZE)"}},
        {2, [] { vok_disposeptr(vok_getbytes(100)); }, {"(MISMATCHED POOL)"}},
        {2, [] { vok_disposeptr(nullptr); }, {"(NULL)"}},
        {2, [] { vok_memory_unregister(&word, 4, 0); }, {"(NO REGISTERED ENTRY)"}},
        {2, [] { vok_memory_register(nullptr, 4, 0); }, {"(NULL)"}},
        {2, [] { vok_memory_register(&word, 4, 0); }, {}},
        {1, [] { vok_memory_register(&word, 5, 1); }, {}}, // the lower level doesn't mind
        {2,
         [] { vok_memory_register(&word, 6, 0); },
         {"(REDUNDANT MEMORY)",
          "could be memory leak of harmless mismatch of vok_getbytes(), with zan freebytes()"}},
        {2, [] { vok_memory_unregister(&word, 6, 0); }, {}},
    };
    initialize();
    report_catcher ear;
    for (const auto &row : rows) {
        _vok_memreg = row.level;
        row.action();
        const texts lines = ear.take(zan_report_console);
        ASSERT_EQ(lines.size(), row.remarks.size()) << &row - rows;
        for (size_t i = 0; i < lines.size(); ++i)
            EXPECT_NE(lines[i].find(row.remarks[i]), std::string::npos) << lines[i];
    }
    _vok_memreg = 0;
}

TEST(Memory, Handles)
{
    zan_handle h = vok_handle_new(10);
    EXPECT_EQ(vok_handle_lock(h, 1), 0);
    EXPECT_EQ(vok_handle_lock(h, 0), 1);
    EXPECT_EQ(vok_handle_size_set(h, 1000), 0);
    EXPECT_EQ(vok_handle_size_get(h), 1000);
    vok_copy_bytes(*h, "sevenly", 8);
    EXPECT_STREQ(*h, "sevenly");
    vok_handle_free(h);
    EXPECT_EQ(vok_freemem(), 0);
}

TEST(Swap, BytesReversed)
{
    using nine = std::array<unsigned char, 9>;
    nine b = {0, 1, 2, 3, 4, 5, 6, 7, 8}; // all from an odd address
    swap_pointer_16(&b[1]);
    EXPECT_EQ(b, (nine{0, 2, 1, 3, 4, 5, 6, 7, 8}));
    swap_pointer_32(&b[3]);
    EXPECT_EQ(b, (nine{0, 2, 1, 6, 5, 4, 3, 7, 8}));
    swap_pointer_64(&b[1]);
    EXPECT_EQ(b, (nine{0, 8, 7, 3, 4, 5, 6, 1, 2}));
    nine out = {9, 9, 9, 9, 9, 9, 9, 9, 9}; // each copies no more than its bytes
    swap_pointer_16_copy(&out[0], &b[1]);
    EXPECT_EQ(out, (nine{7, 8, 9, 9, 9, 9, 9, 9, 9}));
    swap_pointer_32_copy(&out[0], &b[1]);
    EXPECT_EQ(out, (nine{4, 3, 7, 8, 9, 9, 9, 9, 9}));
    swap_pointer_64_copy(&out[0], &b[1]);
    EXPECT_EQ(out, (nine{2, 1, 6, 5, 4, 3, 7, 8, 9}));

    const uint32_t pi = 0xdb0f4940;
    const uint64_t two = 0x40;
    EXPECT_EQ(swap_pointer_32_to_float32(&pi), 3.14159274f);
    EXPECT_EQ(swapf32(std::bit_cast<float>(pi)), 3.14159274f);
    EXPECT_EQ(swap_pointer_64_to_float64(&two), 2.0);
    EXPECT_EQ(swapf64(std::bit_cast<double>(two)), 2.0);
}

TEST(VokFile, ReadWriteAndSize)
{
    scratch_folder folder;
    zan_file_handle file = nullptr;
    ASSERT_EQ(path_opensysfile(folder.make("file", "").c_str(), 0, &file, 3), 0);
    char text[16] = "";
    long count = 5, position = -1, size = -1;
    EXPECT_EQ(vok_file_fswrite(file, &count, "hello"), 0);
    vok_file_getfpos(file, &position);
    EXPECT_TRUE(count == 5 && position == 5);
    vok_file_setfpos(file, 1, 1);
    count = 16;
    vok_file_fsread(file, &count, text);
    EXPECT_EQ(std::string(text, static_cast<size_t>(count)), "ello");
    EXPECT_EQ(vok_file_seteof(file, -3), 0);
    vok_file_geteof(file, &size);
    EXPECT_EQ(size, 0);
    EXPECT_EQ(vok_file_fsclose(file), 0);
}

} // namespace
