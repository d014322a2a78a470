// Threads, mutexes, conditions, critical regions and the clock of the machine.
//
// Mutexes and conditions are made for handing over work at video rate: who waits
// turns for some 20 microseconds before the kernel puts it to sleep, and who hands
// over makes no system call unless somebody sleeps. Both are plain atomics and
// futexes, so that a thread checker sees every order that they establish.
#include "internal.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <ctime>
#include <linux/futex.h>
#include <new>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#endif

namespace {

constexpr int64_t wait_spin_ns = 20000;   // how long a waiter turns before it sleeps
constexpr int64_t longer_spin_ns = 80000; // tried where a sleep was too short to be worth it
constexpr int64_t short_sleep_ns = 60000; // such a sleep
constexpr uint32_t least_calm = 16;       // waits without turning, after turning proved useless
constexpr uint32_t most_calm = 256;
constexpr int64_t lock_spin_ns = 4000; // the same at a mutex: what it guards is short
constexpr int turns_per_look = 8;      // pauses between two looks at the time

void pause()
{
#if defined(__x86_64__) || defined(__i386__)
    _mm_pause();
#elif defined(__aarch64__)
    __asm__ volatile("yield");
#endif
}

int64_t now_ns()
{
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return int64_t(t.tv_sec) * 1000000000 + t.tv_nsec;
}

static_assert(sizeof(std::atomic<uint32_t>) == 4 && std::atomic<uint32_t>::is_always_lock_free,
              "a futex is a plain 32-bit word");

// Threads that want a processor: the main one and those started here, less those that
// sleep at a mutex or condition. More of them than processors, and turning would only
// keep from running whom it waits for. One that is woken counts at once, not only when
// it gets its processor: the waker adds it.
std::atomic<int> awake{1};

// 0 when it slept and was woken, else an error number (EAGAIN: the value had changed).
int futex_sleep(std::atomic<uint32_t> &word, uint32_t expected)
{
    awake.fetch_sub(1, std::memory_order_relaxed);
    if (syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, expected, nullptr, nullptr, 0) == 0)
        return 0;
    const int error = errno;
    awake.fetch_add(1, std::memory_order_relaxed);
    return error;
}

void futex_wake(std::atomic<uint32_t> &word, int count)
{
    const long woken = syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, count, nullptr, nullptr, 0);
    if (woken > 0)
        awake.fetch_add(int(woken), std::memory_order_relaxed);
}

long processors()
{
    // the kernel's mask may be longer than cpu_set_t; grow until it fits
    for (size_t bits = CPU_SETSIZE; bits <= (size_t(1) << 20); bits *= 2) {
        std::vector<unsigned long> mask(bits / (8 * sizeof(unsigned long)));
        const long bytes = syscall(SYS_sched_getaffinity, 0, mask.size() * sizeof(unsigned long), mask.data());
        if (bytes > 0) {
            long count = 0;
            for (unsigned long word : mask)
                count += __builtin_popcountl(word);
            return count > 0 ? count : 1;
        }
        if (errno != EINVAL)
            break;
    }
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? online : 1;
}

// Turning on the spot for a while, as far as there are processors to spare.
class spinner {
  public:
    explicit spinner(int64_t ns)
    {
        if (ns && has_room())
            end_ = now_ns() + ns;
    }
    // False when the time is up or the processor is wanted by others.
    bool turn()
    {
        pause();
        return end_ && (++turns_ % turns_per_look != 0 || (now_ns() < end_ && has_room()));
    }

  private:
    static bool has_room()
    {
        static const int room = [] {
            const long n = processors();
            return n < 2 ? 0 : int(n); // whom one processor's thread waits for can't be running
        }();
        return awake.load(std::memory_order_relaxed) <= room && room;
    }
    int64_t end_ = 0; // 0: no turning at all
    int turns_ = 0;
};

// How long to turn before sleeping, learnt from how the last waits ended. A sleep costs
// two wake-ups (some 30 microseconds each where an idle processor is given back to a
// hypervisor), so that one who joins workers that had to be woken does better to turn
// longer than 20 microseconds. But where the two share a processor, since others use
// the rest, turning keeps from running whom it waits for: what then ends the wait is
// the sleep, soon and every time, and it is best to sleep at once for a while.
// The same holds of a mutex whose holder lost the processor. Those who wait at one
// condition or mutex share this; its races only cost time.
class patience {
  public:
    constexpr patience(int64_t usual_ns, int64_t longer_ns)
        : usual_ns_(usual_ns), longer_ns_(longer_ns), spin_ns_(usual_ns)
    {
    }
    int64_t spin_ns()
    {
        if (uint32_t left = calm_left_.load(std::memory_order_relaxed)) {
            calm_left_.store(left - 1, std::memory_order_relaxed);
            return 0;
        }
        return spin_ns_.load(std::memory_order_relaxed);
    }
    void came_while_turning() { calm_.store(least_calm, std::memory_order_relaxed); }
    void slept(int64_t ns)
    {
        const bool soon = ns < short_sleep_ns;
        const bool was_longer = spin_ns_.load(std::memory_order_relaxed) == longer_ns_;
        spin_ns_.store(soon && !was_longer ? longer_ns_ : usual_ns_, std::memory_order_relaxed);
        if (soon && was_longer) {
            const uint32_t calm = calm_.load(std::memory_order_relaxed);
            calm_left_.store(calm, std::memory_order_relaxed);
            calm_.store(calm < most_calm ? calm * 2 : most_calm, std::memory_order_relaxed);
        }
    }

  private:
    const int64_t usual_ns_, longer_ns_;
    std::atomic<int64_t> spin_ns_;
    std::atomic<uint32_t> calm_{least_calm};
    std::atomic<uint32_t> calm_left_{0};
};

} // namespace

struct zan_mutex {
    std::atomic<uint32_t> word{0}; // 0 free, 1 held, 2 held and somebody may sleep
    patience turning{lock_spin_ns, lock_spin_ns};

    void lock()
    {
        if (!try_lock())
            lock_held();
    }
    void unlock()
    {
        if (word.exchange(0, std::memory_order_release) == 2)
            futex_wake(word, 1);
    }

  private:
    bool try_lock()
    {
        uint32_t seen = 0;
        return word.compare_exchange_strong(seen, 1, std::memory_order_acquire, std::memory_order_relaxed);
    }
    void lock_held()
    {
        if (const int64_t ns = turning.spin_ns()) {
            spinner spin(ns);
            while (spin.turn())
                if (word.load(std::memory_order_relaxed) == 0 && try_lock()) {
                    turning.came_while_turning();
                    return;
                }
            const int64_t began = now_ns();
            sleep_and_lock();
            turning.slept(now_ns() - began);
        } else {
            sleep_and_lock();
        }
    }
    void sleep_and_lock()
    {
        while (word.exchange(2, std::memory_order_acquire) != 0)
            futex_sleep(word, 2);
    }
};

struct zan_cond {
    std::atomic<uint32_t> sequence{0}; // one on with every signal
    std::atomic<uint32_t> sleepers{0};
    patience turning{wait_spin_ns, longer_spin_ns};

    void wait(zan_mutex &mutex)
    {
        // read with the mutex held: a signal from now on is seen
        const uint32_t seen = sequence.load(std::memory_order_acquire);
        mutex.unlock();
        const int64_t spin_ns = turning.spin_ns();
        if (!spin_until_not(seen, spin_ns))
            sleep_until_not(seen, spin_ns != 0);
        mutex.lock();
    }
    void wake(int count)
    {
        // In one order with the sleeper's count and the kernel's look at the sequence:
        // either the sleeper is seen here or it sees the new number.
        sequence.fetch_add(1, std::memory_order_seq_cst);
        if (sleepers.load(std::memory_order_seq_cst))
            futex_wake(sequence, count);
    }

  private:
    bool spin_until_not(uint32_t seen, int64_t ns)
    {
        spinner spin(ns);
        do {
            if (sequence.load(std::memory_order_acquire) != seen) {
                if (ns)
                    turning.came_while_turning();
                return true;
            }
        } while (spin.turn());
        return false;
    }
    void sleep_until_not(uint32_t seen, bool turned)
    {
        const int64_t began = turned ? now_ns() : 0;
        sleepers.fetch_add(1, std::memory_order_seq_cst);
        while (sequence.load(std::memory_order_acquire) == seen)
            if (futex_sleep(sequence, seen) == 0 && sequence.load(std::memory_order_acquire) == seen)
                // woken in place of one who waits for an earlier signal: pass it on
                futex_wake(sequence, INT_MAX);
        sleepers.fetch_sub(1, std::memory_order_relaxed);
        if (turned)
            turning.slept(now_ns() - began);
    }
};

struct zan_thread {
    pthread_t id;
};

namespace {

struct start_card {
    void *(*fn)(void *);
    void *arg;
};

void *thread_entry(void *p)
{
    const start_card card = *static_cast<start_card *>(p);
    delete static_cast<start_card *>(p);
    awake.fetch_add(1, std::memory_order_relaxed);
    void *result = card.fn(card.arg);
    awake.fetch_sub(1, std::memory_order_relaxed);
    return result;
}

// A critical region: a mutex that its holder may enter again.
struct region {
    zan_mutex mutex;
    std::atomic<const void *> owner{nullptr};
    long depth = 0; // the owner's
};
constinit region regions[8];

// Its address tells threads apart.
thread_local char thread_mark;

region *find_region(long number)
{
    if (number >= 0 && number < 8)
        return &regions[number];
    object_error(nullptr, "critical region %ld: there are 0 to 7", number);
    return nullptr;
}

} // namespace

extern "C" {

long systhread_create(void *(*fn)(void *), void *arg, long stack_size, long, long, zan_thread_handle *thread)
{
    if (!fn)
        return zan_err_invalid_ptr;
    auto *handle = thread ? new (std::nothrow) zan_thread{} : nullptr;
    auto *card = new (std::nothrow) start_card{fn, arg};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    if (stack_size > 0)
        pthread_attr_setstacksize(&attributes, (std::max(size_t(stack_size), size_t(PTHREAD_STACK_MIN)) + 4095) &
                                                   ~size_t(4095));
    if (!thread) // nobody can join it
        pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t id{};
    const bool memory = card && (handle || !thread);
    const int failed = memory ? pthread_create(&id, &attributes, thread_entry, card) : ENOMEM;
    pthread_attr_destroy(&attributes);
    if (failed) {
        delete handle;
        delete card;
        return memory ? zan_err_generic : zan_err_out_of_mem;
    }
    if (thread) {
        handle->id = id;
        *thread = handle;
    }
    return zan_err_none;
}

long systhread_join(zan_thread_handle thread, void **result)
{
    if (!thread)
        return zan_err_invalid_ptr;
    void *value = nullptr;
    if (pthread_join(thread->id, &value))
        return zan_err_generic;
    if (result)
        *result = value;
    delete thread;
    return zan_err_none;
}

long systhread_mutex_new(zan_mutex_handle *mutex, long)
{
    if (!mutex)
        return zan_err_invalid_ptr;
    *mutex = new (std::nothrow) zan_mutex;
    return *mutex ? zan_err_none : zan_err_out_of_mem;
}

long systhread_mutex_free(zan_mutex_handle mutex)
{
    delete mutex;
    return zan_err_none;
}

long systhread_mutex_lock(zan_mutex_handle mutex)
{
    if (!mutex)
        return zan_err_invalid_ptr;
    mutex->lock();
    return zan_err_none;
}

long systhread_mutex_unlock(zan_mutex_handle mutex)
{
    if (!mutex)
        return zan_err_invalid_ptr;
    mutex->unlock();
    return zan_err_none;
}

long systhread_cond_new(zan_cond_handle *cond, long)
{
    if (!cond)
        return zan_err_invalid_ptr;
    *cond = new (std::nothrow) zan_cond;
    return *cond ? zan_err_none : zan_err_out_of_mem;
}

long systhread_cond_free(zan_cond_handle cond)
{
    delete cond;
    return zan_err_none;
}

long systhread_cond_wait(zan_cond_handle cond, zan_mutex_handle mutex)
{
    if (!cond || !mutex)
        return zan_err_invalid_ptr;
    cond->wait(*mutex);
    return zan_err_none;
}

long systhread_cond_signal(zan_cond_handle cond)
{
    if (!cond)
        return zan_err_invalid_ptr;
    cond->wake(1);
    return zan_err_none;
}

long systhread_cond_broadcast(zan_cond_handle cond)
{
    if (!cond)
        return zan_err_invalid_ptr;
    cond->wake(INT_MAX);
    return zan_err_none;
}

long sysparallel_processorcount(void)
{
    return processors();
}

void critical_enter(long number)
{
    region *r = find_region(number);
    if (!r)
        return;
    // only this thread ever stores its own mark, so that a relaxed look is enough
    if (r->owner.load(std::memory_order_relaxed) != &thread_mark) {
        r->mutex.lock();
        r->owner.store(&thread_mark, std::memory_order_relaxed);
    }
    r->depth++;
}

void critical_exit(long number)
{
    region *r = find_region(number);
    if (!r)
        return;
    if (r->owner.load(std::memory_order_relaxed) != &thread_mark) {
        object_error(nullptr, "critical region %ld is left by a thread that isn't in it", number);
        return;
    }
    if (--r->depth == 0) {
        r->owner.store(nullptr, std::memory_order_relaxed);
        r->mutex.unlock();
    }
}

uint32_t systime_ticks(void)
{
    const double v = zan::virtual_ms();
    return v < 0 ? uint32_t(now_ns() / 1000000) : uint32_t(uint64_t(v));
}

double systimer_gettime(void)
{
    const double v = zan::virtual_ms();
    return v < 0 ? double(now_ns()) * 1e-6 : v;
}

} // extern "C"
