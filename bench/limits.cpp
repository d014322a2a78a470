// The loops behind limits.h: a block copy where as much is read as written, else
// slices in turn, each read whole and then written, so that both streams run at once.
#include "limits.h"

#include <cstdint>
#include <cstring>
#include <thread>
#include <unistd.h>

#include <zan/memory.h>

namespace bench {
namespace {

using lane = std::uint64_t __attribute__((vector_size(64), aligned(1), may_alias));

struct span {
    std::size_t from, to;
    std::size_t size() const { return to - from; }
};

// Part `i` of `n` of a block.
span part_of(std::size_t size, std::size_t i, std::size_t n)
{
    return {size * i / n, size * (i + 1) / n};
}

// The exclusive or of all of it.
lane taken(const unsigned char *p, std::size_t size)
{
    lane a = {}, b = {}, c = {}, d = {};
    std::size_t at = 0;
    for (; at + 256 <= size; at += 256) {
        a ^= *reinterpret_cast<const lane *>(p + at);
        b ^= *reinterpret_cast<const lane *>(p + at + 64);
        c ^= *reinterpret_cast<const lane *>(p + at + 128);
        d ^= *reinterpret_cast<const lane *>(p + at + 192);
    }
    return a ^ b ^ c ^ d;
}

void put(unsigned char *p, std::size_t size, lane value)
{
    for (std::size_t at = 0; at + 64 <= size; at += 64)
        *reinterpret_cast<lane *>(p + at) = value;
}

void combine(unsigned char *to, const unsigned char *a, const unsigned char *b, std::size_t size)
{
    for (std::size_t at = 0; at + 64 <= size; at += 64)
        *reinterpret_cast<lane *>(to + at) =
            *reinterpret_cast<const lane *>(a + at) ^ *reinterpret_cast<const lane *>(b + at);
}

} // namespace

std::size_t sets_beyond_caches(std::size_t bytes)
{
    const long told = sysconf(_SC_LEVEL3_CACHE_SIZE); // some virtual machines tell 0
    const std::size_t cache = told > 0 ? static_cast<std::size_t>(told) : std::size_t(32) << 20;
    return std::max<std::size_t>(2, (4 * cache + bytes - 1) / bytes);
}

limit::limit(const shape &s) : shape_(s)
{
    auto add = [&](std::size_t size) {
        blocks_.push_back(static_cast<unsigned char *>(sysmem_newptr(static_cast<long>(size))));
        std::memset(blocks_.back(), 1, size);
    };
    for (std::size_t set = 0; set < s.sets; set++) {
        for (const std::size_t size : s.reads)
            add(size);
        add(s.write);
    }
}

limit::~limit()
{
    for (unsigned char *block : blocks_)
        sysmem_freeptr(block);
}

void limit::part(int thread, unsigned char *const *blocks) const
{
    const auto mine = [&](std::size_t size) {
        return part_of(size, static_cast<std::size_t>(thread), static_cast<std::size_t>(shape_.threads));
    };
    const span out = mine(shape_.write);
    unsigned char *to = blocks[shape_.reads.size()] + out.from;
    const bool even = std::all_of(shape_.reads.begin(), shape_.reads.end(),
                                  [&](std::size_t size) { return size == shape_.write; });
    if (even && shape_.reads.size() == 1) {
        std::memcpy(to, blocks[0] + out.from, out.size());
    } else if (even && shape_.reads.size() == 2) {
        combine(to, blocks[0] + out.from, blocks[1] + out.from, out.size());
    } else {
        lane all = {};
        const std::size_t slices = std::clamp<std::size_t>(out.size() / 4096, 1, 512);
        for (std::size_t i = 0; i < slices; i++) {
            for (std::size_t k = 0; k < shape_.reads.size(); k++) {
                const span in = mine(shape_.reads[k]);
                const span slice = part_of(in.size(), i, slices);
                all ^= taken(blocks[k] + in.from + slice.from, slice.size());
            }
            const span slice = part_of(out.size(), i, slices);
            put(to + slice.from, slice.size(), all);
        }
    }
}

double limit::measure(int rounds)
{
    // short loops are timed in bundles
    const int bundle = static_cast<int>(std::clamp<std::size_t>(200000 / (shape_.write + 1), 1, 1000));
    for (int i = 0; i < rounds; i++) {
        unsigned char *const *blocks = blocks_.data() + next_ * (shape_.reads.size() + 1);
        next_ = (next_ + 1) % shape_.sets;
        best_ = std::min(best_, seconds_of([&] {
                                    std::vector<std::jthread> others;
                                    auto work = [=, this](int t) {
                                        for (int k = 0; k < bundle; k++) {
                                            part(t, blocks);
                                            benchmark::ClobberMemory();
                                        }
                                    };
                                    for (int t = 1; t < shape_.threads; t++)
                                        others.emplace_back(work, t);
                                    work(0);
                                }) / bundle);
    }
    return best_;
}

} // namespace bench
