// The vision processor's topics: the mission status words and the records its pushes carry. The
// push handlers store into them directly, the exported accessors read and write the same cells.
// Internal to the library.
#pragma once

#include <cstdint>

#include "cirrow/cw_vision.h"
#include "cw_cell.h"

namespace cw::vision {

extern Word<int32_t> g_pano_status;
extern Word<uint8_t> g_pano_submode;
extern Word<int32_t> g_qs_proc;
extern Word<int32_t> g_qs_err;
extern Word<uint8_t> g_qs_index;
extern Word<uint8_t> g_qs_submode;
extern Word<int32_t> g_lapse_err;
extern Latest<VioCaliState> g_vio_cali;
extern Latest<OaResult> g_oa_result;

}  // namespace cw::vision
