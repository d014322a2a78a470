/* Threads, critical regions, clocks and the main thread's queue. */
#ifndef ZAN_THREADS_H
#define ZAN_THREADS_H
#include <zan/base.h>
#ifdef __cplusplus
extern "C" {
#endif

typedef struct zan_thread *zan_thread_handle;
typedef struct zan_mutex *zan_mutex_handle;
typedef struct zan_cond *zan_cond_handle;

/* Starts fn(arg). `stack_size` in bytes, 0 for the system's default; priority and
 * flags are taken and unused. *thread is the caller's to hand to systhread_join once;
 * a null `thread` lets the thread go its own way. Host error numbers. */
ZAN_EXPORT long systhread_create(void *(*fn)(void *), void *arg, long stack_size, long priority, long flags,
                                 zan_thread_handle *thread);
ZAN_EXPORT long systhread_join(zan_thread_handle thread, void **result);
/* Mutexes are not recursive. Host error numbers; a null handle is
 * zan_err_invalid_ptr. Free one only when nobody holds it or waits for it. */
ZAN_EXPORT long systhread_mutex_new(zan_mutex_handle *mutex, long flags);
ZAN_EXPORT long systhread_mutex_free(zan_mutex_handle mutex);
ZAN_EXPORT long systhread_mutex_lock(zan_mutex_handle mutex);
ZAN_EXPORT long systhread_mutex_unlock(zan_mutex_handle mutex);
ZAN_EXPORT long systhread_cond_new(zan_cond_handle *cond, long flags);
ZAN_EXPORT long systhread_cond_free(zan_cond_handle cond);
/* Waits with the mutex (held by the caller) released; may wake without cause. A
 * waiter spins for some 20 microseconds before it sleeps, so that work handed over at
 * video rate starts at once; it sleeps at once where spinning would keep from running
 * whom it waits for (one processor, more threads at work than processors, or no gain
 * from the last spins). Signalling needs no mutex, and no system call while nobody
 * sleeps. */
ZAN_EXPORT long systhread_cond_wait(zan_cond_handle cond, zan_mutex_handle mutex);
ZAN_EXPORT long systhread_cond_signal(zan_cond_handle cond);
ZAN_EXPORT long systhread_cond_broadcast(zan_cond_handle cond);
/* Processors that this process may use, at least 1. */
ZAN_EXPORT long sysparallel_processorcount(void);

/* Critical region 0 is the global one; 1 to 7 are others. Recursive. A number beyond
 * them, or leaving a region that the thread isn't in, is an error and does nothing. */
ZAN_EXPORT void critical_enter(long region);
ZAN_EXPORT void critical_exit(long region);

/* Milliseconds of the machine's steady clock: the whole ones, cut to 32 bits (they
 * come round after 49 days), and the same with fractions. While an embedder lets time
 * be virtual (zan_set_clock), both tell that. */
ZAN_EXPORT uint32_t systime_ticks(void);
ZAN_EXPORT double systimer_gettime(void);

/* A clock calls fn(x) once on the scheduler thread, `ms` from now (below 0 counts as
 * 0); a new delay replaces the one under way. Clocks due at the same time run in the
 * order of their setting. Any thread may set, unset and free (object_free); freeing
 * waits for a call that another thread is running now, up to a second. When x is an
 * object and is freed, its clocks stop for good; they still have to be freed. One more
 * than may be set at a time (zan_queue_get) is an error and isn't set. */
ZAN_EXPORT void *clock_new(void *x, void (*fn)(void *));
ZAN_EXPORT void clock_delay(void *clock, long ms);
ZAN_EXPORT void clock_fdelay(void *clock, double ms);
ZAN_EXPORT void clock_unset(void *clock);

/* A qelem calls fn(x) on the main thread; settings that come before it has run are
 * one. `front` puts it ahead of all that isn't fronted itself. Always through the
 * queue, from the main thread too. Freeing and a freed x are as with clocks. */
ZAN_EXPORT void *qelem_new(void *x, void (*fn)(void *));
ZAN_EXPORT void qelem_set(void *qelem);
ZAN_EXPORT void qelem_front(void *qelem);
ZAN_EXPORT void qelem_unset(void *qelem);
ZAN_EXPORT void qelem_free(void *qelem);

/* fn(object, selector, argc, argv) on the main thread: at once when called there, or
 * while no main thread has been named (zan_start), else queued with a copy of the
 * atoms (defer ahead of all that is queued low). What is queued for an object is
 * dropped when the object is freed. A queue that is full (zan_queue_get) drops what
 * comes, with zan_err_generic and one error until half of it has run. */
typedef void (*zan_deferred)(void *x, symbol *s, long argc, atom *argv);
ZAN_EXPORT long defer(void *x, zan_method fn, symbol *s, long argc, atom *argv);
ZAN_EXPORT long defer_low(void *x, zan_method fn, symbol *s, long argc, atom *argv);
/* Non-zero on the scheduler thread. */
ZAN_EXPORT long sched_isinpoll(void);

/* fn(arg), void, when the host stops (zan_stop) or the process exits, whichever is
 * first; once for each time it was installed, last in first out. */
ZAN_EXPORT void quittask_install(zan_method fn, void *arg);

#ifdef __cplusplus
}
#endif
#endif
