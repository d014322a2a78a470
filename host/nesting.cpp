// How far a thread's stack goes, and the words of the error about a loop.
#include "nesting.h"

#include <algorithm>
#include <iterator>
#include <pthread.h>
#include <string>

namespace zan {

// Of a thread's stack, what is kept free for the last box: a quarter, at most this.
static constexpr size_t stack_reserve = size_t(1) << 20;

const char *find_stack_floor()
{
    const char *const unknown = reinterpret_cast<const char *>(1);
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes))
        return unknown;
    void *end = nullptr;
    size_t size = 0;
    pthread_attr_getstack(&attributes, &end, &size);
    pthread_attr_destroy(&attributes);
    const char *here_now = static_cast<const char *>(__builtin_frame_address(0));
    const char *floor = static_cast<const char *>(end) + std::min(size / 4, stack_reserve);
    // a program may run this thread's code on a stack of its own
    return here_now > floor && here_now < static_cast<const char *>(end) + size ? floor : unknown;
}

bool tell_nesting(const std::vector<object *> &boxes, symbol *selector, int depth)
{
    auto first = boxes.begin(), again = boxes.end();
    for (; first != boxes.end(); ++first)
        if ((again = std::find(first + 1, boxes.end(), *first)) != boxes.end())
            break;
    if (first == boxes.end()) {
        if (!depth)
            return false;
        object_error(boxes.front(), "\"%s\" is dropped: it went through more than %d boxes", selector->name,
                     depth);
        return true;
    }
    constexpr size_t shown = 16;
    const std::vector<object *> loop(std::make_reverse_iterator(again + 1), std::make_reverse_iterator(first));
    std::string way;
    for (size_t i = 0; i < loop.size(); i++) {
        way += i ? " -> " : "";
        if (loop.size() > shown && i == shown - 2) {
            way += "... -> ";
            i = loop.size() - 1;
        }
        const bool alive = looks_live(loop[i]); // it may be freed by what it handles
        const symbol *id = alive ? zbox_get_id(loop[i]) : nullptr;
        way += !alive ? "?" : id ? id->name : object_classname(loop[i])->name;
    }
    object_error(*first, "\"%s\" is dropped: these cords make a loop: %s", selector->name, way.c_str());
    return true;
}

} // namespace zan
