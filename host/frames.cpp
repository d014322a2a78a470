// How many frames a run has made, and its end when they are enough.
#include "internal.h"

#include <mutex>

namespace {

std::mutex lock;
const void *leader = nullptr; // the box whose frames count
long leader_kind = -1;
long made = 0;
long limit = 0; // 0 for none

} // namespace

extern "C" {

long zan_frame_done(void *box, long kind)
{
    bool enough = false;
    long count;
    {
        const std::lock_guard held(lock);
        if (kind > leader_kind) {
            leader = box;
            leader_kind = kind;
            made = 0;
        }
        if (box == leader)
            made++;
        count = made;
        enough = box == leader && limit > 0 && made >= limit;
    }
    if (enough)
        zan::end_the_run();
    return count;
}

long zan_frames(void)
{
    const std::lock_guard held(lock);
    return made;
}

long zan_frames_left(void)
{
    const std::lock_guard held(lock);
    return limit <= 0 ? -1 : limit > made ? limit - made : 0;
}

void zan_set_frame_limit(long frames)
{
    {
        const std::lock_guard held(lock);
        leader = nullptr;
        leader_kind = -1;
        made = 0;
        limit = frames;
    }
    zan_hold(0);
}

} // extern "C"
