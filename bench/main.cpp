// Starts the host and the library, then runs the benchmarks.
#include <benchmark/benchmark.h>
#include <vokra/kernel.h>
#include <zan/host.h>

int main(int argc, char **argv)
{
    zan_start();
    initialize();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    zan_stop();
    return 0;
}
