// How many threads calculate, for as long as this lives.
#pragma once
#include <vokra/kernel.h>
#include <vokra/parallel_ndim.h>

namespace bench {

class workers {
  public:
    explicit workers(int count)
    {
        _vok_parallel = count > 1;
        _vok_parallelthreads = count;
        _vok_parallel_task = nullptr;
    }
    ~workers()
    {
        if (_vok_parallel_task)
            vok_object_free(_vok_parallel_task);
        _vok_parallel = parallel_;
        _vok_parallelthreads = threads_;
        _vok_parallel_task = task_;
    }
    workers(const workers &) = delete;
    workers &operator=(const workers &) = delete;

  private:
    long parallel_ = _vok_parallel, threads_ = _vok_parallelthreads;
    void *task_ = _vok_parallel_task;
};

} // namespace bench
