// Messages that are nested too deeply: how far a thread's stack goes, and the error that
// names the loop of boxes.
#pragma once
#include "kernel.h"

#include <vector>

namespace zan {

// Where this thread's stack is nearly used up; its very end when that can't be known.
const char *find_stack_floor();
// `boxes` are those that the message is nested in, the innermost first. Names the innermost
// loop that it went round, even if it was dropped on a way that leads out of it.
// A `depth` of 0 tells only of a loop. False when nothing was told.
bool tell_nesting(const std::vector<object *> &boxes, symbol *selector, int depth);

} // namespace zan
