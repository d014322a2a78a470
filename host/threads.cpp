// Threads, mutexes, conditions, critical regions and the clock of the machine.
//
// Mutexes and conditions are made for handing over work at video rate: who waits
// turns for some 20 microseconds before the kernel puts it to sleep, and who hands
// over makes no system call unless somebody sleeps. Both are plain atomics and
// futexes, so that a thread checker sees every order that they establish.
#include "internal.h"

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

constexpr int64_t wait_spin_ns = 20000;  // how long a waiter turns before it sleeps
constexpr int64_t longest_spin_ns = 80000; // the same where a sleep proved too short to be worth it
constexpr int64_t lock_spin_ns = 4000;   // the same at a mutex: what it guards is short
constexpr int turns_per_look = 8;        // pauses between two looks at the time

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

// 0 when it slept and was woken, else an error number (EAGAIN: the value had changed).
int futex_sleep(std::atomic<uint32_t> &word, uint32_t expected)
{
    const long r = syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, expected, nullptr, nullptr, 0);
    return r == 0 ? 0 : errno;
}

void futex_wake(std::atomic<uint32_t> &word, int count)
{
    syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, count, nullptr, nullptr, 0);
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

// Threads that turn at this moment. More of them than processors would only keep
// from running whom they wait for, and a single processor has no room for any.
std::atomic<int> spinners{0};

class spinner {
public:
    explicit spinner(int64_t ns)
    {
        static const int room = [] {
            const long n = processors();
            return n < 2 ? 0 : int(n);
        }();
        if (room && spinners.load(std::memory_order_relaxed) < room) {
            spinners.fetch_add(1, std::memory_order_relaxed);
            end_ = now_ns() + ns;
        }
    }
    ~spinner()
    {
        if (end_)
            spinners.fetch_sub(1, std::memory_order_relaxed);
    }
    spinner(const spinner &) = delete;
    spinner &operator=(const spinner &) = delete;
    // False when the time is up.
    bool turn()
    {
        pause();
        return end_ && (++turns_ % turns_per_look != 0 || now_ns() < end_);
    }

private:
    int64_t end_ = 0; // 0: no turning at all
    int turns_ = 0;
};

} // namespace

struct zan_mutex {
    std::atomic<uint32_t> word{0}; // 0 free, 1 held, 2 held and somebody may sleep

    void lock()
    {
        uint32_t seen = 0;
        if (word.compare_exchange_strong(seen, 1, std::memory_order_acquire, std::memory_order_relaxed))
            return;
        {
            spinner spin(lock_spin_ns);
            do {
                seen = word.load(std::memory_order_relaxed);
                if (seen == 0 &&
                    word.compare_exchange_weak(seen, 1, std::memory_order_acquire, std::memory_order_relaxed))
                    return;
            } while (spin.turn());
        }
        while (word.exchange(2, std::memory_order_acquire) != 0)
            futex_sleep(word, 2);
    }
    void unlock()
    {
        if (word.exchange(0, std::memory_order_release) == 2)
            futex_wake(word, 1);
    }
};

struct zan_cond {
    std::atomic<uint32_t> sequence{0}; // one on with every signal
    std::atomic<uint32_t> sleepers{0};
    std::atomic<int64_t> spin_ns{wait_spin_ns};

    void wait(zan_mutex &mutex)
    {
        // read with the mutex held: a signal from now on is seen
        const uint32_t seen = sequence.load(std::memory_order_acquire);
        mutex.unlock();
        const int64_t began = now_ns();
        if (!spin_until_not(seen)) {
            sleep_until_not(seen);
            learn(now_ns() - began);
        }
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
    // A sleep costs two wake-ups' time (30 microseconds each where an idle processor is
    // given back to a hypervisor). Who joins a batch waits about that long for workers
    // that slept: there, turning a little longer saves the second one.
    void learn(int64_t waited)
    {
        spin_ns.store(waited < longest_spin_ns ? longest_spin_ns : wait_spin_ns, std::memory_order_relaxed);
    }
    bool spin_until_not(uint32_t seen)
    {
        spinner spin(spin_ns.load(std::memory_order_relaxed));
        do {
            if (sequence.load(std::memory_order_acquire) != seen)
                return true;
        } while (spin.turn());
        return false;
    }
    void sleep_until_not(uint32_t seen)
    {
        sleepers.fetch_add(1, std::memory_order_seq_cst);
        while (sequence.load(std::memory_order_acquire) == seen)
            if (futex_sleep(sequence, seen) == 0 && sequence.load(std::memory_order_acquire) == seen)
                // woken in place of one who waits for an earlier signal: pass it on
                futex_wake(sequence, INT_MAX);
        sleepers.fetch_sub(1, std::memory_order_relaxed);
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
    return card.fn(card.arg);
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
        pthread_attr_setstacksize(&attributes, size_t(stack_size < PTHREAD_STACK_MIN ? PTHREAD_STACK_MIN
                                                                                      : (stack_size + 4095) & ~4095L));
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
    return uint32_t(now_ns() / 1000000);
}

double systimer_gettime(void)
{
    return double(now_ns()) * 1e-6;
}

} // extern "C"
