// How the pack is met: its control boxes are made at once, the boxes of library classes
// when a patch asks for them.
#include "box.h"
#include "library.h"

#include <vokra/kernel.h>

namespace {

long init()
{
    initialize(); // boxes of matrices name the library's types as they are made
    for (const auto kinds :
         {boxes::timing_kinds(), boxes::flow_kinds(), boxes::value_kinds(), boxes::message_kinds(),
          boxes::picture_kinds(), boxes::frame_kinds(), boxes::probe_kinds()})
        boxes::add_kinds(kinds);
    boxes::add_library_boxes();
    return zan_err_none;
}

} // namespace

ZAN_MODULE("boxes", init);
