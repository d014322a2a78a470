// Iteration over N-dimensional matrices: decides between the direct road and a split
// by rows of dimension 1 among the workers of the shared task, and calls the
// calculation function with the slice of each.
#include <algorithm>
#include <array>
#include <utility>

#include <vokra/parallel_ndim.h>
#include <vokra/parallel_pool.h>
#include <zan/zan.h>

#include "kernel/message.h"

long _vok_parallel, _vok_parallelthreads, _vok_parallelthresh = 10000, _vok_paralleldebug;
void *_vok_parallel_task;

namespace {

constexpr long max_io = 32;

// The words that a calculation function gets, in order.
struct frame {
    zan_word data, dimcount, dim, planecount;
    zan_word io[2 * max_io]; // info and first cell of each matrix
    zan_word worker;
};

template <size_t, typename T> using repeat = T;

template <size_t... I> void call_with(zan_method calc, const frame &f, std::index_sequence<I...>)
{
    using function = void (*)(zan_word, zan_word, zan_word, zan_word, repeat<I, zan_word>..., zan_word);
    reinterpret_cast<function>(calc)(f.data, f.dimcount, f.dim, f.planecount, f.io[I]..., f.worker);
}

template <size_t N> void call_n(zan_method calc, const frame &f)
{
    call_with(calc, f, std::make_index_sequence<2 * N>());
}

template <size_t... N> constexpr auto make_callers(std::index_sequence<N...>)
{
    return std::array{&call_n<N>...};
}

// One call site for each number of matrices, so that the descriptor always stands
// right behind the last one.
constexpr auto callers = make_callers(std::make_index_sequence<max_io + 1>());

frame frame_of(const vok_parallel_ndim &r, long *dim, const vok_parallel_ndim_worker &worker)
{
    frame f;
    f.data = vok::word(r.data);
    f.dimcount = r.dimcount;
    f.dim = vok::word(dim);
    f.planecount = r.planecount;
    f.worker = vok::word(&worker);
    return f;
}

long io_count(const vok_parallel_ndim &r)
{
    return std::clamp(r.iocount, 0L, max_io);
}

void simplecalc(zan_method calc, void *data, long dimcount, long *dim, long planecount,
                std::initializer_list<vok_parallel_ndim_io> io)
{
    vok_parallel_ndim record;
    record.flags = 0;
    record.data = data;
    record.dimcount = dimcount;
    record.dim = dim;
    record.planecount = planecount;
    record.iocount = static_cast<long>(io.size());
    std::copy(io.begin(), io.end(), record.io);
    record.calc = calc;
    vok_parallel_ndim_calc(&record);
}

unsigned char *bytes(void *p)
{
    return static_cast<unsigned char *>(p);
}

} // namespace

extern "C" {

void vok_parallel_ndim_calc(vok_parallel_ndim *record)
{
    long cells = 1;
    for (long i = 0; i < record->dimcount; ++i)
        __builtin_mul_overflow(cells, record->dim[i], &cells);
    if (record->dimcount < 2 || !_vok_parallel || record->dim[1] < 2 || cells < _vok_parallelthresh) {
        vok_parallel_ndim_single(record);
        return;
    }
    const auto workerproc =
        reinterpret_cast<parallel_workerproc>(reinterpret_cast<zan_method>(vok_parallel_ndim_multi));
    auto *task = static_cast<parallel_task *>(_vok_parallel_task);
    if (!task) {
        task = parallel_task_new(record, workerproc, _vok_parallelthreads);
        if (!task) { // memory is out
            vok_parallel_ndim_single(record);
            return;
        }
        _vok_parallel_task = task;
    }
    parallel_task_data(task, record);
    parallel_task_workerproc(task, workerproc);
    parallel_task_execute(task);
}

void vok_parallel_ndim_single(vok_parallel_ndim *record)
{
    const vok_parallel_ndim_worker worker = {record, 1, 0, {0, 0}, {record->dim[0], record->dim[1]}};
    frame f = frame_of(*record, record->dim, worker);
    const long count = io_count(*record);
    for (long i = 0; i < count; ++i) {
        f.io[2 * i] = vok::word(record->io[i].minfo);
        f.io[2 * i + 1] = vok::word(record->io[i].bp);
    }
    callers[static_cast<size_t>(count)](record->calc, f);
    if (_vok_paralleldebug)
        object_post(nullptr, "parallel single");
}

void vok_parallel_ndim_multi(void *arg)
{
    const auto *self = static_cast<const parallel_worker *>(arg);
    auto *record = static_cast<vok_parallel_ndim *>(self->data);
    const long workers = self->task->workercount, id = self->id;

    long dim[VOK_MATRIX_MAX_DIMCOUNT];
    std::copy_n(record->dim, VOK_MATRIX_MAX_DIMCOUNT, dim);
    // Equal shares by truncation; the last worker, which is the caller's own thread,
    // takes the remainder, which is everything when there are more workers than rows.
    const long share = dim[1] / workers, offset = share * id;
    const long rows = id < workers - 1 ? share : dim[1] - offset;
    dim[1] = rows;
    if (_vok_paralleldebug)
        object_post(nullptr, "wid %d, dim %d, offset %d", static_cast<int>(id), static_cast<int>(rows),
                    static_cast<int>(offset));

    const vok_parallel_ndim_worker worker = {record, workers, id, {0, offset}, {dim[0], rows}};
    frame f = frame_of(*record, dim, worker);
    vok_matrix_info infos[max_io]; // the slice's own
    const long count = io_count(*record);
    for (long i = 0; i < count; ++i) {
        const vok_parallel_ndim_io &io = record->io[i];
        unsigned char *bp = io.bp;
        vok_matrix_info &info = infos[i];
        info = *io.minfo;
        if (!(io.flags & VOK_PARALLEL_NDIM_IO_WHOLE)) {
            bp += info.dimstride[1] * offset;
            info.dim[1] = std::min(rows, info.dim[1]);
        }
        f.io[2 * i] = vok::word(&info);
        f.io[2 * i + 1] = vok::word(bp);
    }
    if (rows > 0)
        callers[static_cast<size_t>(count)](record->calc, f);
}

void vok_parallel_ndim_simplecalc1(zan_method calc, void *data, long dimcount, long *dim, long planecount,
                                   vok_matrix_info *minfo1, void *bp1, long flags1)
{
    simplecalc(calc, data, dimcount, dim, planecount, {{flags1, minfo1, bytes(bp1)}});
}

void vok_parallel_ndim_simplecalc2(zan_method calc, void *data, long dimcount, long *dim, long planecount,
                                   vok_matrix_info *minfo1, void *bp1, vok_matrix_info *minfo2, void *bp2,
                                   long flags1, long flags2)
{
    simplecalc(calc, data, dimcount, dim, planecount,
               {{flags1, minfo1, bytes(bp1)}, {flags2, minfo2, bytes(bp2)}});
}

void vok_parallel_ndim_simplecalc3(zan_method calc, void *data, long dimcount, long *dim, long planecount,
                                   vok_matrix_info *minfo1, void *bp1, vok_matrix_info *minfo2, void *bp2,
                                   vok_matrix_info *minfo3, void *bp3, long flags1, long flags2, long flags3)
{
    simplecalc(calc, data, dimcount, dim, planecount,
               {{flags1, minfo1, bytes(bp1)}, {flags2, minfo2, bytes(bp2)}, {flags3, minfo3, bytes(bp3)}});
}

void vok_parallel_ndim_simplecalc4(zan_method calc, void *data, long dimcount, long *dim, long planecount,
                                   vok_matrix_info *minfo1, void *bp1, vok_matrix_info *minfo2, void *bp2,
                                   vok_matrix_info *minfo3, void *bp3, vok_matrix_info *minfo4, void *bp4,
                                   long flags1, long flags2, long flags3, long flags4)
{
    simplecalc(calc, data, dimcount, dim, planecount,
               {{flags1, minfo1, bytes(bp1)},
                {flags2, minfo2, bytes(bp2)},
                {flags3, minfo3, bytes(bp3)},
                {flags4, minfo4, bytes(bp4)}});
}

} // extern "C"
