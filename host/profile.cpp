// Where the time of a run goes: for each line of a patch that made a box, and for each
// class of boxes without one, what they were sent and how long they took.
#include "profile.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace zan {

std::atomic<bool> profiling{false};

struct profile_record {
    const zan_place *place;
    symbol *classname;
    std::atomic<int64_t> messages{0}, own{0}, total{0}, worst{0}, bytes{0}; // times in nanoseconds
    profile_record(const zan_place *p, symbol *c) : place(p), classname(c) {}
};

namespace {

std::mutex lock;
// Kept for ever, as places and classes' names are.
std::map<std::pair<const zan_place *, symbol *>, profile_record> &records()
{
    static auto &all = *new std::map<std::pair<const zan_place *, symbol *>, profile_record>;
    return all;
}
std::atomic<zan_message_bytes> bytes_of{nullptr};
thread_local profiled *innermost;

int64_t now_ns()
{
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace

void profiled::begin_message(object *box, symbol *selector, long argc, atom *argv)
{
    begin(zan_place_of(box), object_classname(box));
    record_->messages.fetch_add(1, std::memory_order_relaxed);
    if (const zan_message_bytes fn = bytes_of.load(std::memory_order_acquire))
        record_->bytes.fetch_add(fn(selector, argc, argv), std::memory_order_relaxed);
    start_ = now_ns();
}

void profiled::begin_queued(void *x, const zan_place *from)
{
    const zan_place *place = zan_place_of(x);
    if (place || from)
        begin(place ? place : from, place ? place->classname : from->classname);
}

void profiled::begin(const zan_place *place, symbol *classname)
{
    {
        const std::lock_guard held(lock);
        record_ = &records().try_emplace({place, classname}, place, classname).first->second;
    }
    outer_ = innermost;
    innermost = this;
    inner_ = 0;
    start_ = now_ns();
}

void profiled::end()
{
    const int64_t all = now_ns() - start_, own = all - inner_;
    innermost = outer_;
    bool nested = false; // within itself: the outer one counts this time already
    for (const profiled *p = outer_; p && !nested; p = p->outer_)
        nested = p->record_ == record_;
    if (outer_)
        outer_->inner_ += all;
    record_->own.fetch_add(own, std::memory_order_relaxed);
    if (!nested)
        record_->total.fetch_add(all, std::memory_order_relaxed);
    int64_t worst = record_->worst.load(std::memory_order_relaxed);
    while (worst < own && !record_->worst.compare_exchange_weak(worst, own, std::memory_order_relaxed))
        ;
}

} // namespace zan

using namespace zan;

extern "C" {

void zan_profile(long on, zan_message_bytes fn)
{
    bytes_of.store(fn, std::memory_order_release);
    if (on) {
        const std::lock_guard held(lock);
        for (auto &[key, r] : records())
            for (auto *figure : {&r.messages, &r.own, &r.total, &r.worst, &r.bytes})
                figure->store(0);
    }
    profiling.store(on != 0);
}

long zan_profile_get(long *count, zan_profile_row **rows)
{
    if (!count || !rows)
        return zan_err_invalid_ptr;
    std::vector<zan_profile_row> all;
    {
        const std::lock_guard held(lock);
        for (const auto &[key, r] : records())
            if (r.messages.load() || r.own.load())
                all.push_back({r.place, r.classname, r.messages.load(), double(r.own.load()) * 1e-6,
                               double(r.total.load()) * 1e-6, double(r.worst.load()) * 1e-6, r.bytes.load()});
    }
    std::sort(all.begin(), all.end(),
              [](const zan_profile_row &a, const zan_profile_row &b) { return a.own_ms > b.own_ms; });
    *rows = static_cast<zan_profile_row *>(sysmem_newptr(long(all.size() * sizeof(zan_profile_row))));
    if (!*rows)
        return zan_err_out_of_mem;
    std::copy(all.begin(), all.end(), *rows);
    *count = long(all.size());
    return zan_err_none;
}

} // extern "C"
