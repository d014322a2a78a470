// Start-up of the class of inputs and outputs, ahead of the operator's own.
#pragma once
#include <vokra/mop.h>

namespace vok {
vok_err init_mop_io();
}
