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
