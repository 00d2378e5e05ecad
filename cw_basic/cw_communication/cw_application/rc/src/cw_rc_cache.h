// The remote controller's topics: the latest stick values and button information. The push
// handlers store into them directly, the exported update functions through the same cells.
// Internal to the library.
#pragma once

#include "cirrow/cw_rc.h"
#include "cw_cell.h"

namespace cw::rc {

extern Latest<RcStickValue> g_stick;
extern Latest<RcExtendValue> g_extend;

}  // namespace cw::rc
