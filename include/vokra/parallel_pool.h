/* The library's threads: three pools of at most seven, started at first use and
 * kept, that run one fixed batch of workers at a time. The caller's own thread runs
 * the last worker; a batch is over when parallel_task_execute returns. */
#ifndef VOKRA_PARALLEL_POOL_H
#define VOKRA_PARALLEL_POOL_H

#include <vokra/base.h>
#include <zan/threads.h>

VOKRA_BEGIN_C

enum { VOK_PARALLEL_MAX_WORKERS = 8 };

typedef struct parallel_worker parallel_worker;

/* What every worker runs; its result is ignored. Up to 8 threads at once. */
typedef zan_word (*parallel_workerproc)(parallel_worker *worker);

/* Class parallel_task, namespace nobox. */
typedef struct parallel_task {
    object header;
    void *obex;
    void *data; /* handed to every worker */
    parallel_workerproc workerproc;
    long workercount; /* 1 to 8, fixed at creation */
    void *workers;    /* linklist of parallel_worker in order of id, owned */
    char priority;    /* the pool: 8 high, 4 med, any other low */
    char benchmark;   /* non-zero stamps the times */
    long iteration;   /* nobody advances it */
    double begintime; /* milliseconds; 0.0 without benchmark */
    double endtime;
    long cancel; /* a request that cooperating procedures may read */
} parallel_task;

/* Class parallel_worker, namespace nobox. */
struct parallel_worker {
    object header;
    void *obex;
    void *data; /* the task's */
    parallel_workerproc workerproc;
    parallel_task *task;
    long id; /* place in the task's list, from 0 */
    double begintime;
    double endtime;
};

typedef struct parallel_thread_pool parallel_thread_pool;

/* One thread of a pool and its hand-over. */
typedef struct parallel_thread_slot {
    zan_thread_handle thread; /* null until started; never reset */
    zan_mutex_handle mutex;   /* the thread's own but for its condition wait */
    zan_cond_handle cond;     /* signalled by the dispatcher */
    parallel_worker *worker;  /* to run next */
    long state;               /* 0 never used, 1 a job waits, 2 the job is done */
    parallel_thread_pool *pool;
} parallel_thread_slot;

struct parallel_thread_pool {
    parallel_thread_slot slots[8];
    long count;             /* workers handed out and not yet finished */
    zan_mutex_handle mutex; /* guards count */
    zan_cond_handle cond;   /* broadcast when a worker finishes */
};

VOKRA_EXPORT extern parallel_thread_pool _pool_low, _pool_med, _pool_high;

/* Once at start-up: the classes, the pools, the settings; then 0 without effect. */
VOKRA_EXPORT vok_err vok_parallel_utils_init(void);
VOKRA_EXPORT vok_err parallel_init(void);
VOKRA_EXPORT long parallel_processorcount(void);

/* A task of `workercount` workers (below 1: one a processor; at most 8). Null for a
 * null procedure or when memory is out. The caller frees it with object_free. */
VOKRA_EXPORT parallel_task *parallel_task_new(void *data, parallel_workerproc workerproc, long workercount);
VOKRA_EXPORT void parallel_task_free(parallel_task *task);
/* For the task and all its workers. */
VOKRA_EXPORT vok_err parallel_task_data(parallel_task *task, void *data);
VOKRA_EXPORT vok_err parallel_task_workerproc(parallel_task *task, parallel_workerproc proc);
/* Runs one batch and returns 0 when all of it is done. One caller at a time a pool;
 * a second one is reported, not refused. */
VOKRA_EXPORT vok_err parallel_task_execute(parallel_task *task);
VOKRA_EXPORT vok_err parallel_task_cancel(parallel_task *task);
/* Posts the times of the last batch. */
VOKRA_EXPORT void parallel_task_benchprint(parallel_task *task);

VOKRA_EXPORT parallel_worker *parallel_worker_new(void *data, parallel_workerproc workerproc, parallel_task *task);
VOKRA_EXPORT void parallel_worker_free(parallel_worker *worker);
/* Runs one worker on the calling thread. */
VOKRA_EXPORT vok_err parallel_worker_execute(parallel_worker *worker);

VOKRA_EXPORT void parallel_thread_pool_init(parallel_thread_pool *pool);
/* Starts the slot's thread if it has none. */
VOKRA_EXPORT void parallel_thread_init(parallel_thread_slot *slot);
/* The thread's entry; it never returns. */
VOKRA_EXPORT void *parallel_threadproc(void *slot);

VOKRA_END_C
#endif
