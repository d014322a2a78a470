// A patch in steady state: ten boxes, a metro and attribute changes from the scheduler,
// for 100,000 frames of virtual time. Resident memory is told every 10,000 frames: it has
// to stay where the first frames brought it.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>
#include <unistd.h>

#include <vokra/vokra.h>
#include <zan/patch.h>

namespace {

constexpr long frames_in_all = 100000, frames_a_row = 10000;

constexpr char ten_boxes[] = R"(patch 1;
box beat metro 1;
box count counter 0 1;
box out trigger b i;
box pick select 0 1;
box plus message op +;
box most message op max;
box source vok.matrix steady 4 char 64 48;
box add vok.op @op +;
box scale vok.op @op "*";
box mix vok.op @op absdiff;
cord beat 0 count 0;
cord count 0 out 0;
cord out 1 pick 0;
cord out 0 source 0;
cord pick 0 plus 0;
cord pick 1 most 0;
cord plus 0 add 0;
cord most 0 add 0;
cord source 0 add 0;
cord source 0 mix 1;
cord add 0 scale 0;
cord scale 0 mix 0;
beat bang;
)";

long resident_kilobytes()
{
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return pages * (sysconf(_SC_PAGESIZE) / 1024);
}

void memory_over_100000_frames_of_ten_boxes(benchmark::State &state)
{
    zan_start();
    initialize();
    zan_patch *p = zan_patch_parse("ten boxes", ten_boxes, -1);
    long least = 0, most = 0, errors = 0;
    for (auto _ : state) {
        zan_set_clock(zan_clock_virtual);
        errors = zan_patch_open(p, 0, nullptr);
        zan_patch_start(p);
        std::string rows;
        for (long frames = frames_a_row; frames <= frames_in_all; frames += frames_a_row) {
            zan_set_frame_limit(frames_a_row);
            if (zan_run_until(INFINITY) != zan_ran_quit)
                errors++;
            const long now = resident_kilobytes();
            least = frames == frames_a_row ? now : std::min(least, now);
            most = std::max(most, now);
            rows += " " + std::to_string(now);
        }
        zan_patch_close(p);
        zan_set_frame_limit(0);
        zan_set_clock(zan_clock_real);
        std::fprintf(stderr, "kilobytes resident every %ld frames:%s\n", frames_a_row, rows.c_str());
    }
    zan_patch_free(p);
    state.SetItemsProcessed(state.iterations() * frames_in_all);
    state.counters["kB_grown"] = double(most - least);
    if (errors)
        state.SkipWithError("the patch doesn't run");
}
BENCHMARK(memory_over_100000_frames_of_ten_boxes)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
