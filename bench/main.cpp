// Starts the host and the library, then runs the benchmarks.
#include <benchmark/benchmark.h>
#include <vokra/kernel.h>
#include <zan/host.h>

namespace bench {
void register_op_words();
void register_functors();
} // namespace bench

int main(int argc, char **argv)
{
    zan_start();
    initialize();
    bench::register_op_words(); // one row a word of the registry
    bench::register_functors(); // and rows for each functor
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    zan_stop();
    return 0;
}
