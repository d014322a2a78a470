// Blocks and handles: sizes round the border between small and mapped blocks, what a
// resize keeps, what a refusal leaves alone, and that freed memory goes back.
#include <algorithm>
#include <climits>
#include <cstring>
#include <numeric>
#include <random>
#include <set>
#include <thread>

#include "scratch.h"

namespace {

constexpr long mib = 1L << 20;
constexpr long sizes[] = {0,       1,           15,      16,          17,      4095,        mib - 1,        mib,
                          mib + 1, 2 * mib - 1, 2 * mib, 2 * mib + 5, 3 * mib, 5 * mib + 3, 1920 * 1080 * 4};

long resident_bytes()
{
    long pages = -1, resident = -1;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

TEST(Memory, ResizingKeepsWhatFitsAndClearsWhatIsAdded)
{
    std::vector<unsigned char> pattern(*std::max_element(std::begin(sizes), std::end(sizes)));
    std::iota(pattern.begin(), pattern.end(), 3);
    const std::vector<unsigned char> zeros(pattern.size());
    for (const long from : sizes)
        for (const long to : sizes)
            for (const bool clear : {false, true}) {
                SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
                void *block = sysmem_newptr(from);
                EXPECT_EQ(uintptr_t(block) % 16, 0u);
                memcpy(block, pattern.data(), size_t(from));
                auto *moved = static_cast<char *>((clear ? sysmem_resizeptrclear : sysmem_resizeptr)(block, to));
                ASSERT_NE(moved, nullptr);
                EXPECT_EQ(uintptr_t(moved) % 16, 0u);
                EXPECT_EQ(sysmem_ptrsize(moved), to);
                EXPECT_EQ(memcmp(moved, pattern.data(), size_t(std::min(from, to))), 0);
                if (clear && to > from) {
                    EXPECT_EQ(memcmp(moved + from, zeros.data(), size_t(to - from)), 0);
                }
                memset(moved, 9, size_t(to));
                sysmem_freeptr(moved);
            }
}

TEST(Memory, ImpossibleSizesAreRefusedAndLeaveTheBlockAsItWas)
{
    for (const long present : {100L, 2 * mib}) {
        void *block = sysmem_newptr(present);
        memset(block, 5, size_t(present));
        for (const long size : {-1L, LONG_MIN, LONG_MAX, LONG_MAX - 8, 1L << 47, 1L << 62})
            EXPECT_FALSE(sysmem_newptr(size) || sysmem_newptrclear(size) || sysmem_newhandle(size) ||
                         sysmem_resizeptr(block, size) || sysmem_resizeptrclear(block, size))
                << size;
        EXPECT_TRUE(sysmem_ptrsize(block) == present && static_cast<char *>(block)[present - 1] == 5);
        sysmem_freeptr(block);
    }
}

TEST(Memory, NullAndStrayPointersDoNothingAndACopyMayOverlap)
{
    sysmem_freeptr(nullptr);
    sysmem_freehandle(nullptr);
    sysmem_copyptr(nullptr, nullptr, 10);
    EXPECT_EQ(sysmem_ptrsize(nullptr) + sysmem_handlesize(nullptr) + sysmem_lockhandle(nullptr, 1), 0);
    EXPECT_TRUE(sysmem_resizehandle(nullptr, 1) && sysmem_ptrandhand("a", nullptr, 1));
    for (const auto make : {sysmem_resizeptr, sysmem_resizeptrclear}) {
        void *block = make(nullptr, 20);
        EXPECT_EQ(sysmem_ptrsize(block), 20);
        sysmem_freeptr(block);
    }
    char text[] = "abcdef--";
    sysmem_copyptr(text, text + 2, 6); // areas may overlap
    sysmem_copyptr("xyz", text, -1);
    EXPECT_STREQ(text, "ababcdef");
    report_catcher reports;
    alignas(16) char own[64] = {};
    sysmem_freeptr(own + 32);
    EXPECT_NE(reports.one_error().find("no block of this host"), std::string::npos);
    EXPECT_FALSE(sysmem_ptrsize(own + 32) || sysmem_resizeptr(own + 32, 10));
}

// Blocks of all large sizes come and go in any order on several threads; none may touch
// another, and a cleared one is clear whatever lay there.
TEST(Memory, LargeBlocksNeverShareBytes)
{
    struct piece {
        unsigned char *block = nullptr;
        long size = 0;
        unsigned char mark = 0;
        bool broken() const
        {
            for (long i = 0; i < size; i += std::max(1L, size / 64))
                if (block[i] != mark)
                    return true;
            return size && block[size - 1] != mark;
        }
    };
    const auto come_and_go = [](unsigned seed, size_t most, long *wrong) {
        std::minstd_rand random(seed);
        std::vector<piece> pieces(most);
        for (int step = 0; step < 300; step++) {
            piece &p = pieces[random() % most];
            *wrong += p.broken();
            long size = mib + long(random() % (step % 7 ? 3 * mib : 20 * mib));
            if (p.block && random() % 2) {
                sysmem_freeptr(p.block);
                p = {};
                continue;
            }
            if (p.block) {
                size = mib / 2 + size / 4;
                p.block = static_cast<unsigned char *>(sysmem_resizeptr(p.block, size));
                p.size = std::min(size, p.size);
            } else if (random() % 2) {
                p = {static_cast<unsigned char *>(sysmem_newptrclear(size)), size};
            } else {
                p.block = static_cast<unsigned char *>(sysmem_newptr(size));
            }
            *wrong += p.broken();
            p.mark = static_cast<unsigned char>(1 + random() % 255);
            memset(p.block, p.mark, size_t(p.size = size));
        }
        for (const piece &p : pieces) {
            *wrong += p.broken();
            sysmem_freeptr(p.block);
        }
    };
    long wrong[4] = {};
    come_and_go(11, 24, wrong);
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < 4; t++)
        threads.emplace_back(come_and_go, t, 6, &wrong[t]);
    for (std::thread &t : threads)
        t.join();
    EXPECT_EQ(wrong[0] + wrong[1] + wrong[2] + wrong[3], 0);
}

TEST(Memory, LargeBlocksCostLittleStartAtDifferentLinesAndGoBackToTheSystem)
{
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the checker's own memory for every byte stays";
#endif
    const long before = resident_bytes();
    ASSERT_GE(before, 0);
    for (const long size : {mib, mib + mib / 5, 2 * mib + 1, 1920L * 1080 * 4, 40 * mib}) {
        const long at_first = resident_bytes(), count = std::max(12L, 200 * mib / size);
        std::set<uintptr_t> starts;
        std::vector<void *> blocks;
        for (long i = 0; i < count; i++) {
            blocks.push_back(sysmem_newptr(size));
            EXPECT_EQ(uintptr_t(blocks.back()) % 64, 0u);
            starts.insert(uintptr_t(blocks.back()) % 4096);
            memset(blocks.back(), 1, size_t(size));
        }
        EXPECT_GE(starts.size(), 12u);
        EXPECT_LT((resident_bytes() - at_first) / count, size + size / 16 + 8192 + 3 * mib / count) << size;
        for (void *block : blocks)
            sysmem_freeptr(block);
    }
    // what waits for reuse is at most 64 and 96 MiB
    EXPECT_LT(resident_bytes() - before, (64 + 96 + 60) * mib);
}

TEST(Memory, HandlesStayWhileTheyAreLockedAndGrowByAppending)
{
    zan_handle handle = sysmem_newhandleclear(0);
    std::string model;
    std::minstd_rand random(5);
    for (int i = 0; i < 20000; i++) {
        const std::string piece(random() % 9, char('a' + i % 26));
        ASSERT_EQ(sysmem_ptrandhand(piece.data(), handle, long(piece.size())), 0);
        model += piece;
    }
    ASSERT_EQ(sysmem_ptrandhand(*handle, handle, sysmem_handlesize(handle)), 0); // of itself
    model += model;
    for (const long lock : {1, 77}) // tells what was before: nested ones restore the outer one
        EXPECT_EQ(sysmem_lockhandle(handle, lock), lock == 77);
    char *place = *handle;
    EXPECT_TRUE(sysmem_resizehandle(handle, 4 * mib) && sysmem_ptrandhand("x", handle, 1));
    EXPECT_EQ(*handle, place);
    EXPECT_EQ(sysmem_lockhandle(handle, 0), 1);
    EXPECT_TRUE(sysmem_resizehandle(handle, -1) && sysmem_ptrandhand("x", handle, -1) &&
                sysmem_ptrandhand("x", handle, LONG_MAX));
    ASSERT_EQ(sysmem_handlesize(handle), long(model.size()));
    EXPECT_EQ(sysmem_resizehandle(handle, 4 * mib), 0);
    EXPECT_EQ(sysmem_handlesize(handle), 4 * mib);
    EXPECT_EQ(memcmp(*handle, model.data(), model.size()), 0);
    sysmem_freehandle(handle);
}

#if defined(__SANITIZE_ADDRESS__)
TEST(MemoryDeathTest, OverrunsAndLateReadsAreFound)
{
    for (const long size : {100L, mib + 100, 8 * mib}) {
        volatile char *block = static_cast<volatile char *>(sysmem_newptr(size));
        EXPECT_DEATH(block[size] = 1, "AddressSanitizer") << size;
        sysmem_freeptr(const_cast<char *>(block));
        EXPECT_DEATH(block[size / 2] = 1, "AddressSanitizer") << size;
    }
}
#endif

} // namespace
