// The process-wide random generator. Noise tables are made from it, so a seed has to
// give the same numbers for ever, whatever one may think of their quality.
#include <vokra/numerics.h>
#include <zan/threads.h>

namespace {

struct generator {
    int32_t seed;
    int32_t iy;
    int32_t iv[32];

    long draw(int32_t &s)
    {
        if (s <= 0 || iy == 0) {
            s = s < 0 ? static_cast<int32_t>(0u - static_cast<uint32_t>(s)) : 1;
            for (int j = 39; j >= 0; j--) {
                step(s);
                if (j < 32)
                    iv[j] = s;
            }
        }
        step(s);
        // Read from the table, not from iy: deliberate. Steps give -1 at least, so j is 0 to 31.
        const int32_t j = iv[0] / (1 << 26);
        iy = iv[j];
        iv[j] = s;
        return iy;
    }

  private:
    // The divisor is not the 127773 of the usual generator: deliberate.
    static void step(int32_t &s)
    {
        const auto k = static_cast<uint32_t>(s / 12773);
        s = static_cast<int32_t>(16807u * (static_cast<uint32_t>(s) - k * 12773u) - 2836u * k);
        if (s < 0)
            s += 0x7FFFFFFF;
    }
};

generator first, second;
bool in; // the first set has had its one draw

} // namespace

void vok_rand_setseed(long seed)
{
    if (seed == 0)
        seed = static_cast<long>(systime_ticks());
    if (seed == 0)
        seed = -777;
    const uint64_t wide = static_cast<uint64_t>(seed);
    first.seed = second.seed = static_cast<int32_t>(static_cast<uint32_t>(seed < 0 ? wide : 0 - wide));
}

long ran1(int32_t *seed)
{
    return seed ? first.draw(*seed) : 0;
}

long ran2(int32_t *seed)
{
    return seed ? second.draw(*seed) : 0;
}

long vok_rand(void)
{
    if (in)
        return ran2(&second.seed);
    in = true;
    return ran1(&first.seed);
}
