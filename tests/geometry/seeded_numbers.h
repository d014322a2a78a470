// The random numbers of a seed, worked out in 64 bits cut to 32.
#pragma once
#include <cstdint>
#include <cstdlib>

struct numbers_of_seed {
    int64_t s, table[32];

    explicit numbers_of_seed(int64_t seed) : s(std::llabs(seed))
    {
        for (int j = 39; j >= 0; j--) {
            step();
            table[j % 32] = s; // the first eight are overwritten
        }
    }
    long next()
    {
        step();
        const int64_t j = table[0] >> 26, drawn = table[j];
        table[j] = s;
        return drawn;
    }
    long below(long n)
    {
        const long left = next() % n;
        return left < 0 ? left + n : left;
    }

  private:
    void step()
    {
        const int64_t k = s / 12773;
        s = static_cast<int32_t>(16807 * (s - k * 12773) - 2836 * k);
        if (s < 0)
            s += 0x7FFFFFFF;
    }
};
