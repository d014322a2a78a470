// The boxes of the library's classes, made when a patch asks for one.
#pragma once

namespace boxes {

void add_library_boxes();

} // namespace boxes
