// The gimbal's topics: the latest general, control and water-wave records it pushes. The push
// handlers store into them directly, the exported update functions through the same cells.
// Internal to the library.
#pragma once

#include "cirrow/cw_gimbal.h"
#include "cw_cell.h"

namespace cw::gimbal {

extern Latest<GimbalInfo> g_main_info;
extern Latest<GimbalCtrlInfo> g_main_ctrl_info;
extern Latest<GimbalWvResult> g_wv_result;

}  // namespace cw::gimbal
