// Mutexes, conditions, critical regions and the machine's clock, hammered from
// several threads. Run these under the thread checker too.
#include "scratch.h"
#include <atomic>
#include <chrono>
#include <climits>
#include <functional>
#include <sched.h>
#include <thread>
#include <zan/host.h>

namespace {

// A mutex and a condition.
struct gate {
    gate() { EXPECT_EQ(systhread_mutex_new(&mutex, 0) + systhread_cond_new(&cond, 0), 0); }
    ~gate() { EXPECT_EQ(systhread_mutex_free(mutex) + systhread_cond_free(cond), 0); }
    template <class Fn> void holding(Fn fn)
    {
        systhread_mutex_lock(mutex);
        fn();
        systhread_mutex_unlock(mutex);
    }
    zan_mutex_handle mutex = nullptr;
    zan_cond_handle cond = nullptr;
};

// Runs fn(index) on `count` of the host's threads and joins them.
void on_threads(int count, const std::function<void(int)> &fn)
{
    struct seat {
        std::function<void()> work;
        zan_thread_handle thread = nullptr;
    };
    const auto run = [](void *p) -> void * { return static_cast<seat *>(p)->work(), p; };
    std::vector<seat> seats(static_cast<size_t>(count));
    for (seat &s : seats) {
        s.work = [&fn, i = int(&s - seats.data())] { fn(i); };
        ASSERT_EQ(systhread_create(run, &s, 0, 0, 0, &s.thread), 0);
    }
    for (seat &s : seats) {
        void *result = nullptr;
        EXPECT_EQ(systhread_join(s.thread, &result), 0);
        EXPECT_EQ(result, &s);
    }
}

void rest(long microseconds)
{
    std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

TEST(Threads, EachSignalWakesOneWhoWaitsAndABroadcastAll)
{
    gate g;
    for (int round = 0; round < 20; round++) {
        constexpr long tokens = 200;
        long there = 0, taken = 0;
        bool over = false;
        on_threads(5, [&](int index) {
            if (index == 0) { // gives
                for (long i = 0; i < tokens; i++) {
                    g.holding([&] { there++; });
                    systhread_cond_signal(g.cond);
                    if (i % 50 == 0)
                        rest(200); // all fall asleep
                }
                rest(200);
                g.holding([&] { over = true; });
                systhread_cond_broadcast(g.cond);
            } else {
                g.holding([&] {
                    while (there || !over)
                        if (there)
                            there--, taken++;
                        else
                            systhread_cond_wait(g.cond, g.mutex);
                });
            }
        });
        EXPECT_EQ(taken, tokens);
        EXPECT_EQ(there, 0);
    }
}

TEST(Threads, CriticalRegionsAreRecursiveAndExclude)
{
    long count[2] = {}; // plain on purpose: the region is all that guards it
    on_threads(4, [&](int index) {
        const long region = index % 2 ? 0 : 7;
        for (int i = 0; i < 5000; i++) {
            critical_enter(region);
            critical_enter(region);
            count[index % 2]++;
            if (i % 500 == 0)
                rest(200); // far beyond any turning
            critical_exit(region);
            count[index % 2]++;
            critical_exit(region);
        }
    });
    EXPECT_EQ(count[0], 20000);
    EXPECT_EQ(count[1], 20000);
    report_catcher reports;
    critical_exit(3); // isn't in it
    EXPECT_NE(reports.one_error().find("3"), std::string::npos);
    for (const long wrong : {-1, 8}) {
        critical_enter(wrong);
        EXPECT_NE(reports.one_error().find(std::to_string(wrong) + ": there are 0 to 7"), std::string::npos);
    }
}

TEST(Threads, BadHandlesGiveInvalidPointer)
{
    gate g;
    for (const long error :
         {systhread_create(nullptr, nullptr, 0, 0, 0, nullptr), systhread_join(nullptr, nullptr),
          systhread_mutex_new(nullptr, 0), systhread_mutex_lock(nullptr), systhread_mutex_unlock(nullptr),
          systhread_cond_new(nullptr, 0), systhread_cond_wait(nullptr, g.mutex),
          systhread_cond_wait(g.cond, nullptr), systhread_cond_signal(nullptr), systhread_cond_broadcast(nullptr)})
        EXPECT_EQ(error, zan_err_invalid_ptr);
}

TEST(Threads, ThreadsWithoutAHandleAndWithStacksOfAnySizeRun)
{
    static std::atomic<int> ran;
    const auto count = [](void *) -> void * { return ran++, nullptr; };
    for (const long stack : {0L, 1L, 100001L, 1L << 20})
        EXPECT_EQ(systhread_create(count, nullptr, stack, 0, 0, nullptr), 0) << stack;
    EXPECT_EQ(systhread_create(count, nullptr, LONG_MAX, 0, 0, nullptr), zan_err_generic);
    while (ran < 4)
        rest(1000);
}

TEST(Threads, ProcessorCountHonoursAffinity)
{
    std::thread([] {
        cpu_set_t mine, one;
        ASSERT_EQ(sched_getaffinity(0, sizeof mine, &mine), 0);
        EXPECT_EQ(sysparallel_processorcount(), CPU_COUNT(&mine));
        CPU_ZERO(&one);
        CPU_SET(sched_getcpu(), &one);
        ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
        EXPECT_EQ(sysparallel_processorcount(), 1);
    }).join();
}

TEST(Threads, TheTwoClocksAgree)
{
    const auto low_word = [](double ms) { return uint32_t(uint64_t(ms)); };
    const uint32_t before = low_word(systimer_gettime()), ticks = systime_ticks();
    EXPECT_LE(ticks - before, low_word(systimer_gettime()) - before);
}

} // namespace
