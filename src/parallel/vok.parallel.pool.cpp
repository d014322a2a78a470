// The thread pool. A batch is handed over worker by worker through a slot's mutex
// and condition, and joined through the pool's count. A thread holds its slot's
// mutex while it works, so a hand-over can't overwrite a running worker, and a thread
// that has just started finds its job waiting: no signal is ever lost.
#include <cstring>

#include <vokra/kernel.h>
#include <vokra/parallel_ndim.h>
#include <vokra/parallel_pool.h>
#include <zan/zan.h>

#include "kernel/message.h"

parallel_thread_pool _pool_low, _pool_med, _pool_high;

namespace {

zan_class *task_class, *worker_class;
bool _vok_parallel_init;

class pool_lock {
  public:
    explicit pool_lock(zan_mutex_handle mutex) : mutex_(mutex) { systhread_mutex_lock(mutex_); }
    ~pool_lock() { systhread_mutex_unlock(mutex_); }
    pool_lock(const pool_lock &) = delete;
    pool_lock &operator=(const pool_lock &) = delete;

  private:
    zan_mutex_handle mutex_;
};

double stamp(const parallel_task *task)
{
    return task->benchmark ? systimer_gettime() : 0.0;
}

void run(parallel_worker *worker)
{
    worker->begintime = stamp(worker->task);
    worker->workerproc(worker);
    worker->endtime = stamp(worker->task);
}

parallel_worker *worker_at(const parallel_task *task, long index)
{
    return task->workers ? static_cast<parallel_worker *>(linklist_getindex(task->workers, index)) : nullptr;
}

// The slot's mutex is held: the new thread waits for it before it looks for its job.
void start_thread(parallel_thread_slot *slot)
{
    if (!slot->thread)
        systhread_create(parallel_threadproc, slot, 0, 0, 0, &slot->thread);
}

void hand_over(parallel_thread_pool &pool, parallel_thread_slot &slot, parallel_worker *worker)
{
    {
        pool_lock lock(pool.mutex);
        ++pool.count;
    }
    {
        pool_lock lock(slot.mutex);
        start_thread(&slot);
        slot.worker = worker;
        slot.state = 1;
    }
    systhread_cond_signal(slot.cond);
}

parallel_thread_pool &pool_of(const parallel_task *task)
{
    switch (task->priority) {
    case 8: return _pool_high;
    case 4: return _pool_med;
    default: return _pool_low;
    }
}

void add_offset_attribute(zan_class *c, const char *name, const char *type, size_t offset)
{
    class_addattr(c, attr_offset_new(name, gensym(type), 0, nullptr, nullptr, static_cast<long>(offset)));
}

zan_class *make_class(const char *name, zan_method make, zan_method unmake, long size, size_t obex)
{
    zan_class *c = class_new(name, make, unmake, size, nullptr, argtype_cant, 0);
    class_obexoffset_set(c, static_cast<long>(obex));
    return c;
}

} // namespace

extern "C" {

long parallel_processorcount(void)
{
    return sysparallel_processorcount();
}

vok_err vok_parallel_utils_init(void)
{
    if (_vok_parallel_init)
        return VOK_ERR_NONE;
    _vok_parallel_init = true;
    parallel_init();
    _vok_parallelthreads = sysparallel_processorcount();
    _vok_parallel = _vok_parallelthreads >= 2;
    return VOK_ERR_NONE;
}

vok_err parallel_init(void)
{
    using vok::method;
    task_class = make_class("parallel_task", method(parallel_task_new), method(parallel_task_free),
                            sizeof(parallel_task), offsetof(parallel_task, obex));
    class_addmethod(task_class, method(parallel_task_execute), "execute", 0);
    class_addmethod(task_class, method(parallel_task_cancel), "cancel", 0);
    class_addmethod(task_class, method(parallel_task_workerproc), "workerproc", argtype_cant, 0);
    class_addmethod(task_class, method(parallel_task_data), "data", argtype_cant, 0);
    add_offset_attribute(task_class, "benchmark", "char", offsetof(parallel_task, benchmark));
    add_offset_attribute(task_class, "priority", "char", offsetof(parallel_task, priority));
    add_offset_attribute(task_class, "iteration", "long", offsetof(parallel_task, iteration));
    // The words hold doubles although they are declared long: deliberate.
    add_offset_attribute(task_class, "begintime", "long", offsetof(parallel_task, begintime));
    add_offset_attribute(task_class, "endtime", "long", offsetof(parallel_task, endtime));
    class_register(gensym("nobox"), task_class);

    worker_class = make_class("parallel_worker", method(parallel_worker_new), method(parallel_worker_free),
                              sizeof(parallel_worker), offsetof(parallel_worker, obex));
    class_addmethod(worker_class, method(parallel_worker_execute), "execute", 0);
    add_offset_attribute(worker_class, "id", "long", offsetof(parallel_worker, id));
    add_offset_attribute(worker_class, "begintime", "long", offsetof(parallel_worker, begintime));
    add_offset_attribute(worker_class, "endtime", "long", offsetof(parallel_worker, endtime));
    class_register(gensym("nobox"), worker_class);

    parallel_thread_pool_init(&_pool_low);
    parallel_thread_pool_init(&_pool_med);
    parallel_thread_pool_init(&_pool_high);
    return VOK_ERR_NONE;
}

parallel_task *parallel_task_new(void *data, parallel_workerproc workerproc, long workercount)
{
    if (!workerproc)
        return nullptr;
    auto *task = static_cast<parallel_task *>(object_alloc(task_class));
    if (!task)
        return nullptr;
    if (workercount < 1)
        workercount = sysparallel_processorcount();
    if (workercount > VOK_PARALLEL_MAX_WORKERS)
        workercount = VOK_PARALLEL_MAX_WORKERS;
    task->data = data;
    task->workerproc = workerproc;
    task->workercount = workercount;
    task->workers = linklist_new();
    for (long id = 0; task->workers && id < workercount; ++id) {
        auto *worker = static_cast<parallel_worker *>(object_alloc(worker_class));
        if (!worker) {
            object_free(task);
            return nullptr;
        }
        worker->data = data;
        worker->workerproc = workerproc;
        worker->task = task;
        worker->id = id;
        linklist_append(task->workers, worker);
    }
    if (!task->workers) {
        object_free(task);
        return nullptr;
    }
    return task;
}

void parallel_task_free(parallel_task *task)
{
    if (task->workers)
        object_free(task->workers);
}

vok_err parallel_task_data(parallel_task *task, void *data)
{
    task->data = data;
    for (long i = 0; i < task->workercount; ++i)
        if (parallel_worker *worker = worker_at(task, i))
            worker->data = data;
    return VOK_ERR_NONE;
}

vok_err parallel_task_workerproc(parallel_task *task, parallel_workerproc proc)
{
    task->workerproc = proc;
    for (long i = 0; i < task->workercount; ++i)
        if (parallel_worker *worker = worker_at(task, i))
            worker->workerproc = proc;
    return VOK_ERR_NONE;
}

vok_err parallel_task_execute(parallel_task *task)
{
    parallel_thread_pool &pool = pool_of(task);
    task->begintime = stamp(task);
    {
        pool_lock lock(pool.mutex);
        if (pool.count != 0) {
            object_error(
                nullptr,
                "our pool count isn't zero (%d), must be calling from the wrong thread...living dangerously",
                static_cast<int>(pool.count));
            pool.count = 0;
        }
    }
    for (long i = 0; i < task->workercount - 1; ++i)
        hand_over(pool, pool.slots[i], worker_at(task, i));
    run(worker_at(task, task->workercount - 1));
    {
        pool_lock lock(pool.mutex);
        while (pool.count > 0)
            systhread_cond_wait(pool.cond, pool.mutex);
    }
    task->endtime = stamp(task);
    return VOK_ERR_NONE;
}

vok_err parallel_task_cancel(parallel_task *task)
{
    task->cancel = 1;
    return VOK_ERR_NONE;
}

void parallel_task_benchprint(parallel_task *task)
{
    vok_object_post(task, "PARALLEL BENCH");
    vok_object_post(task, "PROCESSOR COUNT: %d", static_cast<int>(sysparallel_processorcount()));
    vok_object_post(task, "WORKER COUNT: %d", static_cast<int>(task->workercount));
    vok_object_post(task, "TOTAL TASK TIME:  %f", task->endtime - task->begintime);
    double sum = 0.0;
    for (long i = 0; i < task->workercount; ++i) {
        const parallel_worker *worker = worker_at(task, i);
        if (!worker) {
            vok_object_post(task, "error trying to print worker[%d]", static_cast<int>(i));
            continue;
        }
        const double time = worker->endtime - worker->begintime;
        vok_object_post(task, "WORKER[%d] TIME:  %f", static_cast<int>(i), time);
        sum += time;
    }
    vok_object_post(task, "AVERAGE WORKER TIME: %f", sum / static_cast<double>(task->workercount));
}

parallel_worker *parallel_worker_new(void *data, parallel_workerproc workerproc, parallel_task *task)
{
    if (!workerproc || !task)
        return nullptr;
    auto *worker = static_cast<parallel_worker *>(object_alloc(worker_class));
    if (worker) {
        worker->data = data;
        worker->workerproc = workerproc;
        worker->task = task;
    }
    return worker;
}

void parallel_worker_free(parallel_worker *worker) {}

vok_err parallel_worker_execute(parallel_worker *worker)
{
    run(worker);
    return VOK_ERR_NONE;
}

void parallel_thread_pool_init(parallel_thread_pool *pool)
{
    for (parallel_thread_slot &slot : pool->slots) {
        slot = {};
        systhread_mutex_new(&slot.mutex, 0);
        systhread_cond_new(&slot.cond, 0);
        slot.pool = pool;
    }
    pool->count = 0;
    systhread_mutex_new(&pool->mutex, 0);
    systhread_cond_new(&pool->cond, 0);
}

void parallel_thread_init(parallel_thread_slot *slot)
{
    pool_lock lock(slot->mutex);
    start_thread(slot);
}

void *parallel_threadproc(void *arg)
{
    auto *slot = static_cast<parallel_thread_slot *>(arg);
    systhread_mutex_lock(slot->mutex); // for good: given up only inside the wait
    for (;;) {
        while (slot->state != 1)
            systhread_cond_wait(slot->cond, slot->mutex);
        run(slot->worker);
        slot->state = 2;
        {
            pool_lock lock(slot->pool->mutex);
            --slot->pool->count;
        }
        systhread_cond_broadcast(slot->pool->cond);
    }
    return nullptr;
}

} // extern "C"
