// The pool and the split by rows: who runs what, on which thread, and that a batch is
// over when the call returns.
#include "host/kernel_fixture.h"

#include <atomic>
#include <set>
#include <thread>

#include <vokra/vokra.h>

namespace {

struct settings_guard {
    long parallel = _vok_parallel, threads = _vok_parallelthreads, threshold = _vok_parallelthresh;
    void *task = _vok_parallel_task;
    settings_guard() { _vok_parallel_task = nullptr; }
    ~settings_guard()
    {
        if (_vok_parallel_task)
            object_free(_vok_parallel_task);
        _vok_parallel = parallel;
        _vok_parallelthreads = threads;
        _vok_parallelthresh = threshold;
        _vok_parallel_task = task;
    }
};

class Pool : public testing::Test {
  protected:
    void SetUp() override { initialize(); }
};

struct tally {
    std::atomic<long> runs[8] = {};
    std::atomic<std::thread::id> threads[8] = {};
};

zan_word count_run(parallel_worker *worker)
{
    auto *t = static_cast<tally *>(worker->data);
    ++t->runs[worker->id];
    t->threads[worker->id] = std::this_thread::get_id();
    return 0;
}

TEST_F(Pool, counts_are_brought_into_range)
{
    tally t;
    const long processors = std::min(8L, sysparallel_processorcount());
    for (const auto &[asked, given] :
         {std::pair{100L, 8L}, {8L, 8L}, {1L, 1L}, {0L, processors}, {-5L, processors}}) {
        parallel_task *task = parallel_task_new(&t, count_run, asked);
        EXPECT_EQ(task->workercount, given) << asked;
        EXPECT_EQ(linklist_getsize(task->workers), given);
        object_free(task);
    }
    EXPECT_EQ(parallel_task_new(&t, nullptr, 2), nullptr);
    EXPECT_EQ(parallel_worker_new(&t, nullptr, nullptr), nullptr);
}

TEST_F(Pool, every_worker_runs_once_and_the_last_on_the_caller)
{
    for (char priority : {char(0), char(4), char(5), char(8)})
        for (long workers = 1; workers <= 8; ++workers) {
            tally t;
            parallel_task *task = parallel_task_new(&t, count_run, workers);
            task->priority = priority;
            EXPECT_EQ(parallel_task_execute(task), 0);
            for (long w = 0; w < 8; ++w) {
                EXPECT_EQ(t.runs[w], w < workers);
                EXPECT_EQ(t.threads[w] == std::this_thread::get_id(), w == workers - 1);
            }
            object_free(task);
        }
    EXPECT_EQ(_pool_low.count + _pool_med.count + _pool_high.count, 0);
    EXPECT_EQ(_pool_low.slots[7].thread, nullptr);
}

TEST_F(Pool, ten_thousand_batches)
{
    long value[8] = {}; // no atomics: visible as soon as the call returns
    const auto add = [](parallel_worker *w) -> zan_word { return ++static_cast<long *>(w->data)[w->id]; };
    parallel_task *task = parallel_task_new(value, add, 4);
    for (long i = 1; i <= 10000; ++i) {
        parallel_task_execute(task);
        for (int w = 0; w < 4; ++w)
            ASSERT_EQ(value[w], i);
    }
    object_free(task);
}

TEST_F(Pool, messages_set_data_and_stamp_times)
{
    tally first, second;
    parallel_task *task = parallel_task_new(&first, count_run, 2);
    send(task, "data", &second);
    object_attr_setlong(task, S("benchmark"), 1);
    send(task, "execute");
    EXPECT_TRUE(first.runs[0] == 0 && second.runs[0] == 1);
    EXPECT_TRUE(task->begintime > 0.0 && task->endtime >= task->begintime);
    send(task, "cancel");
    EXPECT_EQ(task->cancel, 1);
    object_free(task);
}

using slice = std::pair<long, long>; // offset, rows

struct ndim_run {
    std::mutex mutex;
    std::multiset<slice> slices;
    bool right = true; // every argument agreed with the slice
};

void note_slice(ndim_run *run, long dimcount, long *dim, long planecount, vok_matrix_info *split,
                unsigned char *bp1, vok_matrix_info *whole, unsigned char *bp2, vok_parallel_ndim_worker *worker)
{
    std::lock_guard lock(run->mutex);
    run->slices.insert({worker->offset[1], worker->extent[1]});
    auto *const base = worker->record->io[0].bp;
    run->right &= dimcount == 2 && planecount == 3 && dim[1] == worker->extent[1] && dim[0] == worker->extent[0] &&
                  bp1 == base + split->dimstride[1] * worker->offset[1] && split->dim[1] == dim[1] &&
                  bp2 == worker->record->io[1].bp && whole->dim[1] == worker->record->dim[1];
    dim[0] = dim[1] = -1; // the array is the function's own on the split road
}

TEST_F(Pool, rows_are_split_by_the_rule)
{
    const struct {
        long parallel, threads, threshold, width, rows;
        std::multiset<slice> slices;
    } table[] = {
        {1, 4, 1, 100, 10, {{0, 2}, {2, 2}, {4, 2}, {6, 4}}},
        {1, 8, 1, 100, 5, {{0, 5}}}, // the shares are 0: the last worker takes all
        {1, 1, 1, 7, 3, {{0, 3}}},
        {1, 2, 10000, 100, 100, {{0, 50}, {50, 50}}},
        {1, 2, 10000, 100, 99, {{0, 99}}},
        {0, 2, 1, 100, 100, {{0, 100}}},
        {1, 2, 1, 20000, 1, {{0, 1}}},
    };
    for (const auto &row : table) {
        settings_guard guard;
        _vok_parallel = row.parallel;
        _vok_parallelthreads = row.threads;
        _vok_parallelthresh = row.threshold;
        vok_matrix_info info;
        vok_matrix_info_default(&info);
        info.dim[0] = row.width;
        info.dim[1] = row.rows;
        info.dimstride[1] = 3 * row.width;
        std::vector<unsigned char> cells(static_cast<size_t>(3 * row.width * row.rows));
        vok_matrix_info whole = info, walked = info;
        ndim_run run;
        vok_parallel_ndim_simplecalc2(M(note_slice), &run, 2, walked.dim, 3, &info, cells.data(), &whole,
                                      cells.data(), 0, VOK_PARALLEL_NDIM_IO_WHOLE);
        EXPECT_EQ(run.slices, row.slices) << row.width << "x" << row.rows << ", threads " << row.threads;
        EXPECT_TRUE(run.right);
    }
}

TEST_F(Pool, the_descriptor_follows_the_last_matrix)
{
    settings_guard guard;
    _vok_parallel = 0;
    long dim[32] = {2, 2};
    static long seen;
    const auto three = [](void *, long, long *, long, void *, void *, void *, void *, void *, void *,
                          vok_parallel_ndim_worker *w) { seen = w->workercount + w->extent[0] + w->offset[1]; };
    const auto none = [](void *, long, long *, long, vok_parallel_ndim_worker *w) { seen = 10 * w->workercount; };
    vok_parallel_ndim record = {};
    record.dimcount = 1;
    record.dim = dim;
    record.calc = M(+none);
    vok_parallel_ndim_calc(&record);
    EXPECT_EQ(seen, 10);
    record.iocount = 3;
    record.calc = M(+three);
    vok_parallel_ndim_calc(&record);
    EXPECT_EQ(seen, 3);
}

} // namespace
