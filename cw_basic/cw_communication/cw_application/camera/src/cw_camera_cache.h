// The main camera's topics: what its pushes carry (the camera type it reports, its status
// message, its lens parameters). The push handlers store into them directly, the exported update
// functions through the same cells. Internal to the library.
#pragma once

#include <cstdint>

#include "cw_cell.h"

namespace cw::camera {

// The camera's status message as one item: a push stores all three at once.
struct alignas(4) StatusData {  // one word: every compiler keeps its atomic lock-free and inline
    uint8_t busy;
    uint8_t mode_profile;
    uint8_t core_board_temp;
    uint8_t spare;
};

struct LensInfo {
    uint16_t values[3];
};

extern Word<uint8_t> g_reported_camera_type;
extern Word<StatusData> g_status;
extern Latest<LensInfo> g_lens_info;

}  // namespace cw::camera
