// Reporting of codes that were not made by the library.
#pragma once
#include <zan/base.h>

namespace vok {

// As vok_error_code, for what a function from elsewhere gave: a number that is no code, nor
// large enough for the address of one, is reported as EROR.
void report_code(void *x, zan_word code);

} // namespace vok
