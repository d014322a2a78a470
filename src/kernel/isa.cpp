// The choice of the instruction set, made at the first question.
#include "kernel/isa.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace vok {
namespace {

constexpr const char *names[] = {"plain", "v2", "v3", "v4", "neon"};
constexpr int unknown = -1;
std::atomic<int> chosen{unknown};

bool runs(isa which)
{
    if (which == isa::plain)
        return true;
#if defined(__x86_64__)
    return which != isa::neon && which <= best_isa();
#else
    return which == isa::neon;
#endif
}

isa choose()
{
    if (const char *wish = std::getenv("VOKRA_ISA"))
        for (int i = 0; i < static_cast<int>(std::size(names)); i++)
            if (!std::strcmp(wish, names[i]) && runs(static_cast<isa>(i)))
                return static_cast<isa>(i);
    return best_isa();
}

} // namespace

isa best_isa()
{
#if defined(__x86_64__)
    // feature by feature, since clang knows no names for the levels
    if (!__builtin_cpu_supports("sse4.2") || !__builtin_cpu_supports("ssse3") || !__builtin_cpu_supports("popcnt"))
        return isa::plain;
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma") || !__builtin_cpu_supports("bmi") ||
        !__builtin_cpu_supports("bmi2"))
        return isa::v2;
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                   __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512dq") &&
                   __builtin_cpu_supports("avx512vl")
               ? isa::v4
               : isa::v3;
#else
    return isa::neon;
#endif
}

isa current_isa()
{
    int now = chosen.load(std::memory_order_relaxed);
    if (now == unknown) {
        now = static_cast<int>(choose());
        chosen.store(now, std::memory_order_relaxed);
    }
    return static_cast<isa>(now);
}

void force_isa(isa wanted)
{
    chosen.store(static_cast<int>(runs(wanted) ? wanted : best_isa()), std::memory_order_relaxed);
}

const char *isa_name(isa which)
{
    return names[static_cast<int>(which)];
}

} // namespace vok
