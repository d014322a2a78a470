// The random numbers and tables that noises are made from, worked out again in plain
// arithmetic, and what tests of noises share.
#pragma once
#include <functional>

#include <vokra/functor_noise.h>
#include <vokra/memory.h>

#include "functor/functor_tools.h"
#include "geometry/seeded_numbers.h"

inline int32_t wrapped(long long v)
{
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<unsigned long long>(v)));
}

struct reference_tables {
    std::vector<int32_t> entry;
    std::vector<double> value;

    explicit reference_tables(long n = 1024, long long seed = -1138)
    {
        numbers_of_seed draw(seed);
        for (long i = 0; i < n; i++)
            entry.push_back(static_cast<int32_t>(draw.below(n)));
        for (int pass = 0; pass < 11; pass++)
            for (long i = 0; i < n; i++)
                std::swap(entry[static_cast<size_t>(i)], entry[static_cast<size_t>(draw.below(n))]);
        numbers_of_seed again(seed);
        for (long i = 0; i < n; i++)
            value.push_back(static_cast<double>(again.below(n)) / static_cast<double>(n));
    }
    int32_t operator[](long long k) const
    {
        return entry[static_cast<size_t>(k & (static_cast<long>(entry.size()) - 1))];
    }
    long hash(const std::vector<long long> &cell) const
    {
        const long long mask = static_cast<long long>(entry.size()) - 1;
        long long h = wrapped(cell[0]), k = h & mask;
        for (size_t i = 1; i < cell.size(); i++) {
            h = wrapped(h + (*this)[k] + cell[i]);
            k = h & mask;
        }
        return static_cast<long>(k);
    }
    double at(const std::vector<long long> &cell) const { return value[static_cast<size_t>(hash(cell))]; }
};

inline std::vector<long long> cell_of(const std::vector<double> &x)
{
    std::vector<long long> c;
    for (const double v : x)
        c.push_back(static_cast<long long>(std::floor(v)));
    return c;
}

// Calls visit with all offsets of `low` to `high` in n dimensions, the first fastest.
inline void each_offset(size_t n, long long low, long long high,
                        const std::function<void(const std::vector<long long> &)> &visit)
{
    std::vector<long long> o(n, low);
    for (;;) {
        visit(o);
        size_t i = 0;
        while (i < n && o[i] == high)
            o[i++] = low;
        if (i == n)
            return;
        o[i]++;
    }
}

// The float32 value lies as near the float64 one as its digits allow.
inline void near_in_float32(const functor &f, const std::vector<double> &x, double tolerance)
{
    const std::vector<float> narrow(x.begin(), x.end());
    const std::vector<double> wide(narrow.begin(), narrow.end());
    EXPECT_NEAR(eval(f, static_cast<long>(x.size()), narrow.data()), value_at(f, wide), tolerance);
}
