// Blocks and handles: sizes round the border between small and mapped blocks, what a
// resize keeps, what a refusal leaves alone, and that freed memory goes back.
#include <gtest/gtest.h>
#include <zan/zan.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <fstream>
#include <random>
#include <set>
#include <thread>
#include <unistd.h>
#include <vector>

#include "scratch.h"

namespace {

constexpr long mib = 1L << 20;
constexpr long sizes[] = {0,       1,           15,      16,          17,      4095,        mib - 1,        mib,
                          mib + 1, 2 * mib - 1, 2 * mib, 2 * mib + 5, 3 * mib, 5 * mib + 3, 1920 * 1080 * 4};

unsigned char *bytes(void *block)
{
    return static_cast<unsigned char *>(block);
}

void fill(void *block, long from, long to, unsigned seed)
{
    for (long i = from; i < to; i++)
        bytes(block)[i] = (unsigned char)(unsigned(i) * 31u + seed);
}

long first_difference(void *block, long size, unsigned seed)
{
    for (long i = 0; i < size; i++)
        if (bytes(block)[i] != (unsigned char)(unsigned(i) * 31u + seed))
            return i;
    return -1;
}

long first_nonzero(void *block, long from, long to)
{
    auto *end = bytes(block) + to;
    auto *found = std::find_if(bytes(block) + from, end, [](unsigned char c) { return c != 0; });
    return found == end ? -1 : found - bytes(block);
}

long resident_bytes()
{
    long pages = -1, resident = -1;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

TEST(Memory, ResizingKeepsWhatFitsAndClearsWhatIsAdded)
{
    for (const long from : sizes)
        for (const long to : sizes)
            for (const bool clear : {false, true}) {
                void *block = sysmem_newptr(from);
                EXPECT_EQ(uintptr_t(block) % 16, 0u);
                EXPECT_EQ(sysmem_ptrsize(block), from);
                fill(block, 0, from, 3);
                void *moved = clear ? sysmem_resizeptrclear(block, to) : sysmem_resizeptr(block, to);
                ASSERT_NE(moved, nullptr) << from << " to " << to;
                EXPECT_EQ(uintptr_t(moved) % 16, 0u);
                EXPECT_EQ(sysmem_ptrsize(moved), to);
                EXPECT_EQ(first_difference(moved, std::min(from, to), 3), -1) << from << " to " << to;
                if (clear && to > from) {
                    EXPECT_EQ(first_nonzero(moved, from, to), -1) << from << " to " << to;
                }
                fill(moved, 0, to, 9);
                sysmem_freeptr(moved);
            }
}

TEST(Memory, ImpossibleSizesAreRefusedAndLeaveTheBlockAsItWas)
{
    for (const long size : {-1L, LONG_MIN, LONG_MAX, LONG_MAX - 8, 1L << 47, 1L << 62}) {
        EXPECT_FALSE(sysmem_newptr(size) || sysmem_newptrclear(size) || sysmem_newhandle(size)) << size;
        for (const long present : {100L, 2 * mib}) {
            void *block = sysmem_newptr(present);
            fill(block, 0, present, 5);
            EXPECT_FALSE(sysmem_resizeptr(block, size) || sysmem_resizeptrclear(block, size)) << size;
            EXPECT_EQ(sysmem_ptrsize(block), present);
            EXPECT_EQ(first_difference(block, present, 5), -1);
            sysmem_freeptr(block);
        }
    }
}

TEST(Memory, NullIsAllowedEverywhere)
{
    sysmem_freeptr(nullptr);
    sysmem_freehandle(nullptr);
    sysmem_copyptr(nullptr, nullptr, 10);
    EXPECT_EQ(sysmem_ptrsize(nullptr), 0);
    EXPECT_EQ(sysmem_handlesize(nullptr), 0);
    EXPECT_EQ(sysmem_lockhandle(nullptr, 1), 0);
    EXPECT_NE(sysmem_resizehandle(nullptr, 1), 0);
    EXPECT_NE(sysmem_ptrandhand("a", nullptr, 1), 0);
    void *block = sysmem_resizeptr(nullptr, 20);
    EXPECT_EQ(sysmem_ptrsize(block), 20);
    sysmem_freeptr(block);
}

TEST(Memory, CopyTakesTheSourceFirstAndAreasMayOverlap)
{
    char text[] = "abcdef--";
    sysmem_copyptr(text, text + 2, 6);
    EXPECT_STREQ(text, "ababcdef");
    sysmem_copyptr(text + 2, text, 6);
    EXPECT_EQ(std::string(text, 6), "abcdef");
    sysmem_copyptr("xyz", text, -1);
    EXPECT_EQ(text[0], 'a');
}

TEST(Memory, AStrayPointerIsReportedAndNotFreed)
{
    report_catcher reports;
    alignas(16) char own[64] = {};
    sysmem_freeptr(own + 32);
    EXPECT_NE(reports.one_error().find("no block of this host"), std::string::npos);
    EXPECT_EQ(sysmem_ptrsize(own + 32), 0);
}

TEST(Memory, LargeBlocksStartAtDifferentLinesOfTheirPages)
{
    for (const long size : {2 * mib, 40 * mib}) {
        std::set<uintptr_t> starts;
        std::vector<void *> blocks;
        for (int i = 0; i < 12; i++) {
            void *block = sysmem_newptr(size);
            EXPECT_EQ(uintptr_t(block) % 64, 0u);
            starts.insert(uintptr_t(block) % 4096);
            blocks.push_back(block);
        }
        EXPECT_EQ(starts.size(), 12u);
        for (void *block : blocks)
            sysmem_freeptr(block);
    }
}

// Blocks of all large sizes come and go in any order; none may touch another, and a
// cleared one is clear whatever lay there.
TEST(Memory, LargeBlocksNeverShareBytes)
{
    struct piece {
        unsigned char *block;
        long size;
        unsigned char mark;
    };
    std::minstd_rand random(11);
    std::vector<piece> pieces;
    const auto check = [](const piece &p) {
        const long step = std::max(1L, p.size / 64);
        for (long i = 0; i < p.size; i += step)
            if (p.block[i] != p.mark)
                return false;
        return p.block[p.size - 1] == p.mark;
    };
    for (int step = 0; step < 600; step++) {
        if (pieces.size() < 24 && random() % 5 < 3) {
            const long size = mib + long(random() % (step % 7 ? 3 * mib : 20 * mib));
            const bool clear = random() % 2;
            auto *block = bytes(clear ? sysmem_newptrclear(size) : sysmem_newptr(size));
            ASSERT_NE(block, nullptr);
            if (clear) {
                ASSERT_TRUE(check({block, size, 0})) << "step " << step;
            }
            const auto mark = (unsigned char)(1 + random() % 255);
            memset(block, mark, size_t(size));
            pieces.push_back({block, size, mark});
        } else if (!pieces.empty()) {
            std::swap(pieces[random() % pieces.size()], pieces.back());
            piece &p = pieces.back();
            ASSERT_TRUE(check(p)) << "step " << step;
            if (random() % 3) {
                sysmem_freeptr(p.block);
                pieces.pop_back();
            } else {
                const long size = mib / 2 + long(random() % (4 * mib));
                p.block = bytes(sysmem_resizeptr(p.block, size));
                ASSERT_TRUE(check({p.block, std::min(size, p.size), p.mark})) << "step " << step;
                memset(p.block, p.mark, size_t(size));
                p.size = size;
            }
        }
    }
    for (const piece &p : pieces) {
        EXPECT_TRUE(check(p));
        sysmem_freeptr(p.block);
    }
}

TEST(Memory, FreedLargeBlocksGoBackToTheSystem)
{
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the checker's own memory for every byte stays";
#endif
    const long before = resident_bytes();
    ASSERT_GE(before, 0);
    for (const long size : {2 * mib, 12 * mib, 40 * mib}) {
        std::vector<void *> blocks;
        for (long i = 0; i < 400 * mib / size; i++) {
            blocks.push_back(sysmem_newptr(size + i * 8192));
            memset(blocks.back(), 1, size_t(size));
        }
        for (void *block : blocks)
            sysmem_freeptr(block);
    }
    // what waits for reuse is at most 64 and 96 MiB; the rest is room for the checkers' own
    EXPECT_LT(resident_bytes() - before, (64 + 96 + 60) * mib);
}

TEST(Memory, LargeBlocksCostLittleMoreThanTheirSize)
{
    for (const long size : {mib, mib + mib / 5, 2 * mib + 1, 1920L * 1080 * 4}) {
        constexpr int count = 24;
        void *blocks[count];
        const long before = resident_bytes();
        for (void *&block : blocks) {
            block = sysmem_newptr(size);
            memset(block, 1, size_t(size));
        }
        const long cost = (resident_bytes() - before) / count;
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
        EXPECT_LT(cost, size + size / 16 + 8192 + 3 * mib / count) << size;
#else
        EXPECT_LT(cost, size * 8) << size;
#endif
        for (void *block : blocks)
            sysmem_freeptr(block);
    }
}

TEST(Memory, ManyThreadsEachKeepTheirOwnBytes)
{
    std::vector<std::thread> threads;
    std::vector<long> wrong(4, 0);
    for (unsigned t = 0; t < 4; t++)
        threads.emplace_back([t, &wrong] {
            std::minstd_rand random(t + 1);
            for (int round = 0; round < 60; round++) {
                const long size = sizes[random() % 13];
                void *block = round % 2 ? sysmem_newptr(size) : sysmem_newptrclear(size);
                if (round % 2 == 0)
                    wrong[t] += first_nonzero(block, 0, size) >= 0;
                fill(block, 0, size, t);
                const long next = sizes[random() % 13];
                block = sysmem_resizeptr(block, next);
                wrong[t] += first_difference(block, std::min(size, next), t) >= 0;
                sysmem_freeptr(block);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(wrong, std::vector<long>(4, 0));
}

TEST(Handles, ALockSaysWhatWasBeforeAndStopsMoving)
{
    zan_handle handle = sysmem_newhandle(10);
    ASSERT_NE(handle, nullptr);
    memcpy(*handle, "0123456789", 10);
    EXPECT_EQ(sysmem_lockhandle(handle, 1), 0);
    EXPECT_EQ(sysmem_lockhandle(handle, 77), 1) << "nested locks restore the outer one";
    EXPECT_EQ(sysmem_lockhandle(handle, 1), 1);
    char *place = *handle;
    EXPECT_NE(sysmem_resizehandle(handle, 4 * mib), 0);
    EXPECT_NE(sysmem_ptrandhand("x", handle, 1), 0);
    EXPECT_EQ(*handle, place);
    EXPECT_EQ(sysmem_handlesize(handle), 10);
    EXPECT_EQ(sysmem_lockhandle(handle, 0), 1);
    EXPECT_EQ(sysmem_resizehandle(handle, 4 * mib), 0);
    EXPECT_EQ(sysmem_handlesize(handle), 4 * mib);
    EXPECT_EQ(memcmp(*handle, "0123456789", 10), 0);
    EXPECT_NE(sysmem_resizehandle(handle, -1), 0);
    EXPECT_EQ(sysmem_handlesize(handle), 4 * mib);
    sysmem_freehandle(handle);
}

TEST(Handles, AppendingAddsUpAlsoFromTheHandleItself)
{
    zan_handle handle = sysmem_newhandleclear(0);
    std::string model;
    std::minstd_rand random(5);
    for (int i = 0; i < 20000; i++) {
        const std::string piece(random() % 9, char('a' + i % 26));
        ASSERT_EQ(sysmem_ptrandhand(piece.data(), handle, long(piece.size())), 0);
        model += piece;
    }
    ASSERT_EQ(sysmem_ptrandhand(*handle, handle, sysmem_handlesize(handle)), 0);
    model += model;
    ASSERT_EQ(sysmem_handlesize(handle), long(model.size()));
    EXPECT_EQ(memcmp(*handle, model.data(), model.size()), 0);
    EXPECT_NE(sysmem_ptrandhand("x", handle, -1), 0);
    EXPECT_NE(sysmem_ptrandhand("x", handle, LONG_MAX), 0);
    EXPECT_EQ(sysmem_handlesize(handle), long(model.size()));
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
