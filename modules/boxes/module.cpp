// How the pack is met: its control boxes are made at once.
#include "box.h"

namespace {

long init()
{
    for (const auto kinds :
         {boxes::timing_kinds(), boxes::flow_kinds(), boxes::value_kinds(), boxes::message_kinds()})
        boxes::add_kinds(kinds);
    return zan_err_none;
}

} // namespace

ZAN_MODULE("boxes", init);
