// The limit of a shape: how fast this machine, in this run, reads and writes as many
// bytes as a piece of work does, by the fastest plain loop there is. Every row of the
// benchmarks prints it beside its own figure, best against best: on a shared machine
// single times mean nothing.
#pragma once
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <initializer_list>
#include <vector>

#include <benchmark/benchmark.h>

namespace bench {

// What a piece of work touches: the blocks it reads and the one it writes, in bytes,
// split evenly among threads. With several sets of them each round takes the next, as
// the frames of a film come and go: with enough none is in a cache any more when its
// turn comes.
struct shape {
    std::vector<std::size_t> reads;
    std::size_t write = 0;
    int threads = 1;
    std::size_t sets = 1;
};

// How many sets of `bytes` are needed for that.
std::size_t sets_beyond_caches(std::size_t bytes);

inline double seconds_of(const auto &work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The best of some rounds of the loop over blocks of its own.
class limit {
  public:
    explicit limit(const shape &s);
    ~limit();
    limit(const limit &) = delete;
    limit &operator=(const limit &) = delete;
    // Runs `rounds` more and gives the best seconds so far.
    double measure(int rounds);

  private:
    void part(int thread, unsigned char *const *blocks) const;
    shape shape_;
    std::vector<unsigned char *> blocks_; // a set after the other: what is read, and last what is written
    std::size_t next_ = 0;                // the set whose turn it is
    double best_ = 1e9;
};

// Runs the work, work(set), as often as the library of benchmarks asks, and sets the
// counters: best_ms, limit_ms, and of_limit, the share of the limit's speed that was
// reached.
void run(benchmark::State &state, const shape &s, const auto &work)
{
    limit l(s);
    double best = 1e9;
    for (std::size_t set = 0; set < s.sets; set++) // pages and tables
        work(set);
    l.measure(8);
    std::size_t round = 0;
    for (auto _ : state) {
        best = std::min(best, seconds_of([&] { work(round % s.sets); }));
        if (++round % 16 == 0) { // the neighbours of this machine may come and go
            state.PauseTiming();
            l.measure(3); // more than one: the work has taken the caches
            state.ResumeTiming();
        }
    }
    const double limited = l.measure(8);
    state.counters["best_ms"] = best * 1e3;
    state.counters["limit_ms"] = limited * 1e3;
    state.counters["of_limit"] = limited / best;
}

// The same for work whose limit is other work: the two in turn, as the neighbours of this
// machine may come and go. The best seconds of each.
inline auto turn_about(benchmark::State &state, const auto &work, const auto &limiting_work)
{
    struct {
        double best = 1e9, limit = 1e9;
    } seconds;
    for (auto _ : state) {
        seconds.best = std::min(seconds.best, seconds_of(work));
        state.PauseTiming();
        seconds.limit = std::min(seconds.limit, seconds_of(limiting_work));
        state.ResumeTiming();
    }
    return seconds;
}

} // namespace bench
