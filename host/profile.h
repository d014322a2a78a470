// The profile's hooks in the delivery of messages and in the queues: one branch while
// it is off.
#pragma once
#include "internal.h"

namespace zan {

extern std::atomic<bool> profiling;

struct profile_record;

// Times what runs while one lives, for a box.
class profiled {
  public:
    // A message that is delivered to a box.
    profiled(object *box, symbol *selector, long argc, atom *argv)
    {
        if (profiling.load(std::memory_order_relaxed)) [[unlikely]]
            begin_message(box, selector, argc, argv);
    }
    // A queued function of x, queued while the box at `from` was at work.
    profiled(void *x, const zan_place *from)
    {
        if (profiling.load(std::memory_order_relaxed)) [[unlikely]]
            begin_queued(x, from);
    }
    ~profiled()
    {
        if (record_) [[unlikely]]
            end();
    }
    profiled(const profiled &) = delete;
    profiled &operator=(const profiled &) = delete;

  private:
    void begin_message(object *box, symbol *selector, long argc, atom *argv);
    void begin_queued(void *x, const zan_place *from);
    void begin(const zan_place *place, symbol *classname);
    void end();

    profile_record *record_ = nullptr;
    profiled *outer_;
    int64_t start_, inner_; // nanoseconds; inner_ is spent in other boxes
};

} // namespace zan
