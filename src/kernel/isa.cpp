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
    if (__builtin_cpu_supports("x86-64-v4"))
        return isa::v4;
    if (__builtin_cpu_supports("x86-64-v3"))
        return isa::v3;
    return __builtin_cpu_supports("x86-64-v2") ? isa::v2 : isa::plain;
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
