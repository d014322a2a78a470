// Stretches of memory for blocks of 1 MiB and more. A fault on a small page costs as much
// as the work on it, so all of them lie on huge pages: long ones are mappings of their
// own; shorter ones are cut out of common regions, where neighbours share the huge pages
// at their edges and none is wasted. What is freed waits for the next request up to a
// bound, and then its pages go back to the system.
#include "large_blocks.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <sys/mman.h>

namespace zan {
namespace {

constexpr long huge_page = 2 * mib; // x86-64, and arm64 with small pages of 4 KiB
constexpr long small_page = 4096;
constexpr long longest_shared = 16 * mib; // what is longer gets a mapping of its own

char *map(long length)
{
    const long spare = length >= huge_page ? huge_page : 0;
    void *got = mmap(nullptr, size_t(length + spare), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (got == MAP_FAILED)
        return nullptr;
    char *start = static_cast<char *>(got);
    if (spare) { // huge pages need an aligned start; what lies round it goes back
        const long ahead = long(-reinterpret_cast<uintptr_t>(start) & uintptr_t(huge_page - 1));
        if (ahead)
            munmap(start, size_t(ahead));
        start += ahead;
        if (spare > ahead)
            munmap(start + length, size_t(spare - ahead));
        madvise(start, size_t(length), MADV_HUGEPAGE); // a wish: a kernel without them serves small pages
    }
    return start;
}

void unmap(char *start, long length)
{
    ASAN_UNPOISON_MEMORY_REGION(start, size_t(length));
    munmap(start, size_t(length));
}

// ---- shared regions ----

// A free part of a region. Neighbours are merged.
struct gap {
    char *start;
    long length;
    long idle; // at most so many of its bytes hold pages; 0: all of it is zero
};

struct region {
    static constexpr long length = 64 * mib;
    // a stretch is longer than 1 MiB, so more gaps than this can't be
    static constexpr int most_gaps = int(length / mib) + 2;

    char *start;
    gap gaps[most_gaps]; // in order of their places
    int gap_count;

    bool holds(const char *place) const { return place >= start && place < start + length; }

    void remove(int i) { std::copy(gaps + i + 1, gaps + gap_count--, gaps + i); }

    // The idle bytes that are no more are stored in *woken.
    char *take(long wanted, long *woken, bool *used)
    {
        for (int i = 0; i < gap_count; i++) {
            gap &g = gaps[i];
            if (g.length < wanted)
                continue;
            char *taken = g.start;
            const long left = std::min(g.idle, g.length - wanted);
            *used = g.idle > 0;
            *woken = g.idle - left;
            g = {g.start + wanted, g.length - wanted, left};
            if (!g.length)
                remove(i);
            return taken;
        }
        return nullptr;
    }

    void give(char *freed, long freed_length)
    {
        int i = 0;
        while (i < gap_count && gaps[i].start < freed)
            i++;
        std::copy_backward(gaps + i, gaps + gap_count, gaps + gap_count + 1);
        gaps[i] = {freed, freed_length, freed_length};
        gap_count++;
        join(i);
        if (i > 0)
            join(i - 1);
    }

    void empty_gaps()
    {
        for (int i = 0; i < gap_count; i++) {
            if (gaps[i].idle)
                madvise(gaps[i].start, size_t(gaps[i].length), MADV_DONTNEED);
            gaps[i].idle = 0;
        }
    }

  private:
    // Merges a gap with the next one when they touch.
    void join(int i)
    {
        if (i + 1 >= gap_count || gaps[i].start + gaps[i].length != gaps[i + 1].start)
            return;
        gaps[i].length += gaps[i + 1].length;
        gaps[i].idle += gaps[i + 1].idle;
        remove(i + 1);
    }
};

class shared_regions {
  public:
    char *take(long length, bool *used)
    {
        const std::lock_guard guard(mutex);
        for (int i = 0; i < count; i++)
            if (char *taken = take_from(regions[i], length, used))
                return taken;
        if (count == most)
            return nullptr;
        // a region's record lies in a mapping too: malloc's own blocks may be what is failing
        void *record = mmap(nullptr, sizeof(region), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        char *start = record == MAP_FAILED ? nullptr : map(region::length);
        if (!start) {
            if (record != MAP_FAILED)
                munmap(record, sizeof(region));
            return nullptr;
        }
        region *added = static_cast<region *>(record);
        added->start = start;
        added->gaps[0] = {start, region::length, 0};
        added->gap_count = 1;
        regions[count++] = added;
        ASAN_POISON_MEMORY_REGION(start, size_t(region::length));
        return take_from(added, length, used);
    }

    // False when the stretch is no part of a region.
    bool give(char *start, long length)
    {
        const std::lock_guard guard(mutex);
        for (int i = 0; i < count; i++)
            if (regions[i]->holds(start)) {
                ASAN_POISON_MEMORY_REGION(start, size_t(length));
                regions[i]->give(start, length);
                idle += length;
                if (idle > most_idle) {
                    for (int j = 0; j < count; j++)
                        regions[j]->empty_gaps();
                    idle = 0;
                }
                return true;
            }
        return false;
    }

  private:
    static constexpr int most = 1024; // 64 GiB
    static constexpr long most_idle = 64 * mib;

    char *take_from(region *r, long length, bool *used)
    {
        long woken = 0;
        char *taken = r->take(length, &woken, used);
        if (taken)
            ASAN_UNPOISON_MEMORY_REGION(taken, size_t(length));
        idle -= woken;
        return taken;
    }

    std::mutex mutex;
    region *regions[most] = {};
    int count = 0;
    long idle = 0; // of all gaps
};

// ---- long stretches ----

// Freed mappings kept for the next request of the same length, few in number and bytes;
// the oldest goes first.
class spare_mappings {
  public:
    char *take(long length)
    {
        const std::lock_guard guard(mutex);
        for (int i = count - 1; i >= 0; i--) {
            if (kept[i].length != length)
                continue;
            char *start = kept[i].start;
            remove(i);
            ASAN_UNPOISON_MEMORY_REGION(start, size_t(length));
            return start;
        }
        return nullptr;
    }

    void give(char *start, long length)
    {
        if (length > most)
            return unmap(start, length);
        mapping dropped[places];
        int drops = 0;
        {
            const std::lock_guard guard(mutex);
            while (count == places || bytes + length > most) {
                dropped[drops++] = kept[0];
                remove(0);
            }
            ASAN_POISON_MEMORY_REGION(start, size_t(length));
            kept[count++] = {start, length};
            bytes += length;
        }
        for (int i = 0; i < drops; i++)
            unmap(dropped[i].start, dropped[i].length);
    }

  private:
    struct mapping {
        char *start;
        long length;
    };
    static constexpr int places = 4;
    static constexpr long most = 96 * mib;

    void remove(int i)
    {
        bytes -= kept[i].length;
        std::copy(kept + i + 1, kept + count--, kept + i);
    }

    std::mutex mutex;
    mapping kept[places] = {};
    int count = 0;
    long bytes = 0;
};

constinit shared_regions shared;
constinit spare_mappings spares;

} // namespace

long stretch_length(long bytes)
{
    const long length = (bytes + small_page - 1) / small_page * small_page;
    if (length <= longest_shared)
        return length;
    // of a mapping of its own the last huge page is filled up when that costs little
    const long whole = (bytes + huge_page - 1) / huge_page * huge_page;
    return whole - bytes <= bytes / 16 ? whole : length;
}

char *take_stretch(long length, bool *used)
{
    *used = false;
    if (length <= longest_shared)
        if (char *start = shared.take(length, used))
            return start;
    if (char *start = spares.take(length)) {
        *used = true;
        return start;
    }
    return map(length);
}

void give_stretch(char *start, long length)
{
    if (length > longest_shared || !shared.give(start, length))
        spares.give(start, length);
}

} // namespace zan
