// Which instruction set the per-cell kernels run on: chosen once, from what the
// processor has. The environment variable VOKRA_ISA (plain, v2, v3, v4, neon)
// overrides the choice, so that tests can hold every path against the plain one.
#pragma once

namespace vok {

enum class isa : int {
    plain, // no kernels: the general roads, the oracle of the tests
    v2,    // x86-64-v2: up to SSE4.2
    v3,    // x86-64-v3: AVX2, FMA
    v4,    // x86-64-v4: AVX-512 F, BW, CD, DQ, VL
    neon
};

// The best instruction set that this processor runs.
isa best_isa();
// The set in use. Any thread; the same answer until force_isa.
isa current_isa();
// For tests and benchmarks, before other threads calculate: whoever asks from now
// on gets `wanted`, or best_isa() when the processor lacks it.
void force_isa(isa wanted);
// "plain", "v2" ...
const char *isa_name(isa which);

} // namespace vok

// In the file that chooses: declares the object `name` that a kernel file defines once per
// instruction set, each in the namespace of its set, and `name`_in_use(), the one to use or
// null for plain.
#if defined(__x86_64__)
#define VOKRA_PER_ISA(T, name)                                                                                    \
    namespace v2 {                                                                                                \
    extern const T name;                                                                                          \
    }                                                                                                             \
    namespace v3 {                                                                                                \
    extern const T name;                                                                                          \
    }                                                                                                             \
    namespace v4 {                                                                                                \
    extern const T name;                                                                                          \
    }                                                                                                             \
    static const T *name##_in_use()                                                                               \
    {                                                                                                             \
        switch (::vok::current_isa()) {                                                                           \
        case ::vok::isa::v2: return &v2::name;                                                                    \
        case ::vok::isa::v3: return &v3::name;                                                                    \
        case ::vok::isa::v4: return &v4::name;                                                                    \
        default: return nullptr;                                                                                  \
        }                                                                                                         \
    }
#else
#define VOKRA_PER_ISA(T, name)                                                                                    \
    namespace neon {                                                                                              \
    extern const T name;                                                                                          \
    }                                                                                                             \
    static const T *name##_in_use()                                                                               \
    {                                                                                                             \
        return ::vok::current_isa() == ::vok::isa::neon ? &neon::name : nullptr;                                  \
    }
#endif
