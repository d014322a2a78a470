// Mutexes, conditions, critical regions and the machine's clock, hammered from
// several threads. Run these under the thread checker too.
#include "scratch.h"
#include <atomic>
#include <chrono>
#include <sched.h>
#include <thread>
#include <zan/host.h>

namespace {

class mutex_holder {
  public:
    mutex_holder() { EXPECT_EQ(systhread_mutex_new(&handle, 0), 0); }
    ~mutex_holder() { EXPECT_EQ(systhread_mutex_free(handle), 0); }
    template <class Fn> void holding(Fn fn)
    {
        systhread_mutex_lock(handle);
        fn();
        systhread_mutex_unlock(handle);
    }
    zan_mutex_handle handle = nullptr;
};

class cond_holder {
  public:
    cond_holder() { EXPECT_EQ(systhread_cond_new(&handle, 0), 0); }
    ~cond_holder() { EXPECT_EQ(systhread_cond_free(handle), 0); }
    zan_cond_handle handle = nullptr;
};

// Runs fn(index) on `count` of the host's threads and joins them.
template <class Fn> void on_threads(int count, Fn fn)
{
    struct seat {
        Fn *fn;
        int index;
        zan_thread_handle thread = nullptr;
    };
    const auto run = [](void *p) -> void * {
        auto *s = static_cast<seat *>(p);
        (*s->fn)(s->index);
        return p;
    };
    std::vector<seat> seats;
    for (int i = 0; i < count; i++)
        seats.push_back({&fn, i});
    for (seat &s : seats)
        ASSERT_EQ(systhread_create(run, &s, 0, 0, 0, &s.thread), 0);
    for (seat &s : seats) {
        void *result = nullptr;
        ASSERT_EQ(systhread_join(s.thread, &result), 0);
        EXPECT_EQ(result, &s);
    }
}

void rest(long microseconds)
{
    std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

TEST(Threads, MutexExcludesAndWakesThoseItPutToSleep)
{
    for (const long pause : {0, 200}) { // far beyond any turning
        mutex_holder m;
        long count = 0; // plain on purpose: the mutex is all that guards it
        const int rounds = pause ? 20 : 20000;
        on_threads(4, [&](int) {
            for (int i = 0; i < rounds; i++)
                m.holding([&] {
                    if (pause)
                        rest(pause);
                    count++;
                });
        });
        EXPECT_EQ(count, 4 * rounds);
    }
}

// Workers as a pool has them: each holds its own mutex except while it waits.
struct pool {
    struct slot {
        mutex_holder mutex;
        cond_holder cond;
        int state = 0; // 1 work, 2 done, 3 leave
        long done = 0;
        pool *all = nullptr;
        zan_thread_handle thread = nullptr;
    };
    mutex_holder mutex;
    cond_holder cond;
    long count = 0;
    slot slots[3];

    static void *run(void *p)
    {
        auto *s = static_cast<slot *>(p);
        systhread_mutex_lock(s->mutex.handle);
        for (;;) {
            while (s->state != 1 && s->state != 3)
                systhread_cond_wait(s->cond.handle, s->mutex.handle);
            if (s->state == 3)
                break;
            s->done++;
            s->state = 2;
            s->all->mutex.holding([s] { s->all->count--; });
            systhread_cond_broadcast(s->all->cond.handle);
        }
        systhread_mutex_unlock(s->mutex.handle);
        return nullptr;
    }
    void hand(slot &s, int state)
    {
        systhread_mutex_lock(s.mutex.handle);
        if (!s.thread) {
            s.all = this;
            EXPECT_EQ(systhread_create(run, &s, 0, 0, 0, &s.thread), 0);
        }
        s.state = state;
        systhread_mutex_unlock(s.mutex.handle);
        systhread_cond_signal(s.cond.handle);
    }
    void batch()
    {
        for (slot &s : slots) {
            mutex.holding([this] { count++; });
            hand(s, 1);
        }
        mutex.holding([this] {
            while (count > 0)
                systhread_cond_wait(cond.handle, mutex.handle);
        });
    }
    ~pool()
    {
        for (slot &s : slots)
            if (s.thread) {
                hand(s, 3);
                EXPECT_EQ(systhread_join(s.thread, nullptr), 0);
            }
    }
};

TEST(ThreadsPool, BatchesBackToBackAndWhileTheWorkersSleep)
{
    for (const int batches : {10000, 300}) {
        pool p;
        for (int i = 0; i < batches; i++) {
            p.batch();
            if (batches == 300)
                rest(i % 3 * 150); // spinning, about to sleep, asleep
        }
        for (const pool::slot &s : p.slots)
            EXPECT_EQ(s.done, batches);
    }
}

TEST(Threads, EachSignalWakesOneWhoWaits)
{
    mutex_holder m;
    cond_holder c;
    constexpr long tokens = 4000;
    long there = 0, taken = 0;
    on_threads(5, [&](int index) {
        if (index == 0) // gives
            for (long i = 0; i < tokens; i++) {
                m.holding([&] { there++; });
                systhread_cond_signal(c.handle);
                if (i % 100 == 0)
                    rest(100);
            }
        else
            for (long i = 0; i < tokens / 4; i++)
                m.holding([&] {
                    while (!there)
                        systhread_cond_wait(c.handle, m.handle);
                    there--;
                    taken++;
                });
    });
    EXPECT_EQ(taken, tokens);
    EXPECT_EQ(there, 0);
}

TEST(Threads, BroadcastWakesAllSleepers)
{
    mutex_holder m;
    cond_holder c;
    long waiting = 0, round = 0;
    on_threads(5, [&](int index) {
        for (long r = 1; r <= 20; r++) {
            if (index == 0) {
                for (long inside = 0; inside < 4; rest(50))
                    m.holding([&] { inside = waiting; });
                rest(300);
                m.holding([&] {
                    waiting = 0;
                    round = r;
                    systhread_cond_broadcast(c.handle);
                });
            } else {
                m.holding([&] {
                    waiting++;
                    while (round < r)
                        systhread_cond_wait(c.handle, m.handle);
                });
            }
        }
    });
    EXPECT_EQ(round, 20);
}

TEST(Threads, CriticalRegionsAreRecursiveAndExclude)
{
    long count[2] = {};
    on_threads(4, [&](int index) {
        const long region = index % 2 ? 0 : 7;
        for (int i = 0; i < 5000; i++) {
            critical_enter(region);
            critical_enter(region);
            count[index % 2]++;
            critical_exit(region);
            count[index % 2]++;
            critical_exit(region);
        }
    });
    EXPECT_EQ(count[0], 20000);
    EXPECT_EQ(count[1], 20000);
}

TEST(Threads, WrongUseOfCriticalRegionsIsAnErrorAndHarmless)
{
    report_catcher reports;
    critical_exit(3);
    EXPECT_NE(reports.one_error().find("3"), std::string::npos);
    critical_enter(8);
    EXPECT_NE(reports.one_error().find("0 to 7"), std::string::npos);
    critical_enter(-1);
    EXPECT_NE(reports.one_error().find("-1"), std::string::npos);
    critical_enter(3); // still works
    critical_exit(3);
    EXPECT_TRUE(reports.take().empty());
}

TEST(Threads, BadHandlesGiveInvalidPointer)
{
    mutex_holder m;
    cond_holder c;
    EXPECT_EQ(systhread_create(nullptr, nullptr, 0, 0, 0, nullptr), zan_err_invalid_ptr);
    EXPECT_EQ(systhread_join(nullptr, nullptr), zan_err_invalid_ptr);
    EXPECT_EQ(systhread_mutex_new(nullptr, 0), zan_err_invalid_ptr);
    EXPECT_EQ(systhread_mutex_lock(nullptr), zan_err_invalid_ptr);
    EXPECT_EQ(systhread_mutex_unlock(nullptr), zan_err_invalid_ptr);
    EXPECT_EQ(systhread_cond_new(nullptr, 0), zan_err_invalid_ptr);
    EXPECT_EQ(systhread_cond_wait(nullptr, m.handle), zan_err_invalid_ptr);
    EXPECT_EQ(systhread_cond_wait(c.handle, nullptr), zan_err_invalid_ptr);
    EXPECT_EQ(systhread_cond_signal(nullptr), zan_err_invalid_ptr);
    EXPECT_EQ(systhread_cond_broadcast(nullptr), zan_err_invalid_ptr);
}

TEST(Threads, ThreadsWithoutAHandleAndWithSmallStacksRun)
{
    static std::atomic<int> ran;
    ran = 0;
    const auto count = [](void *) -> void * {
        ran++;
        return nullptr;
    };
    for (const long stack : {0L, 1L, 100001L, 1L << 20})
        EXPECT_EQ(systhread_create(count, nullptr, stack, 0, 0, nullptr), 0) << stack;
    while (ran < 4)
        rest(1000);
}

TEST(Threads, ProcessorCountHonoursAffinity)
{
    EXPECT_GE(sysparallel_processorcount(), 1);
    std::thread([] {
        cpu_set_t mine;
        ASSERT_EQ(sched_getaffinity(0, sizeof mine, &mine), 0);
        EXPECT_EQ(sysparallel_processorcount(), CPU_COUNT(&mine));
        int first = 0;
        while (!CPU_ISSET(first, &mine))
            first++;
        CPU_ZERO(&mine);
        CPU_SET(first, &mine);
        ASSERT_EQ(sched_setaffinity(0, sizeof mine, &mine), 0);
        EXPECT_EQ(sysparallel_processorcount(), 1);
    }).join();
}

TEST(Threads, TheTwoClocksAgreeAndRise)
{
    const double begin = systimer_gettime();
    const uint32_t first = systime_ticks();
    double last = systimer_gettime();
    for (int i = 0; i < 1000; i++) {
        const double now = systimer_gettime();
        EXPECT_GE(now, last);
        last = now;
    }
    rest(20000);
    EXPECT_GE(systimer_gettime() - last, 20.0);
    const uint32_t ticks = systime_ticks() - first;
    EXPECT_GE(ticks, 20u);
    EXPECT_LE(double(ticks), systimer_gettime() - begin + 1); // the same unit
}

} // namespace
