// Push handlers of the main camera (camera data, status data, lens parameters) and their
// registration. Each reads its bytes at fixed offsets and stores them through the camera cache's
// update functions.
#include <array>
#include <cstdint>

#include "cirrow/cw_camera.h"
#include "cw_bytes.h"
#include "cw_handlers.h"

namespace {

constexpr size_t kCameraTypeAt = 31;
constexpr size_t kStatusFlagsAt = 0;
constexpr size_t kModeProfileAt = 57;
constexpr size_t kCoreBoardTempAt = 61;
constexpr std::array<size_t, 3> kLensInfoAt = {23, 25, 27};

// Bits 3..5 of the status flags hold the camera's activity; 1 there means busy.
constexpr uint8_t kActivityMask = 0x38;
constexpr uint8_t kActivityBusy = 0x08;

int32_t cw_v1_camera_cb_get_camera_status(const uint8_t *payload) {
    return cw_camera_update_camera_type(payload[kCameraTypeAt]);
}

int32_t cw_v1_camera_cb_get_status_data(const uint8_t *payload) {
    cw_camera_update_core_board_temp(payload[kCoreBoardTempAt]);
    cw_camera_update_camera_mode_profile(payload[kModeProfileAt]);
    const bool busy = (payload[kStatusFlagsAt] & kActivityMask) == kActivityBusy;
    return cw_camera_update_camera_busy_status(busy ? 1 : 0);
}

int32_t cw_v1_camera_cb_get_len_para_data(const uint8_t *payload) {
    cw_camera_update_camera_lens_info(cw::le::get<uint16_t>(payload, kLensInfoAt[0]),
                                      cw::le::get<uint16_t>(payload, kLensInfoAt[1]),
                                      cw::le::get<uint16_t>(payload, kLensInfoAt[2]));
    return 0;
}

constexpr std::array<cw::PushHandler, 1> kCameraData = {{{2, 16, cw_v1_camera_cb_get_camera_status}}};
constexpr std::array<cw::PushHandler, 1> kStatusData = {{{2, 128, cw_v1_camera_cb_get_status_data}}};
constexpr std::array<cw::PushHandler, 1> kLensData = {{{2, 135, cw_v1_camera_cb_get_len_para_data}}};

}  // namespace

extern "C" int32_t cw_register_v1_camera_data(void) { return cw::register_handlers(kCameraData); }

extern "C" int32_t cw_register_v1_camera_status_data(void) { return cw::register_handlers(kStatusData); }

extern "C" int32_t cw_unregister_v1_camera_status_data(void) { return cw::unregister_handlers(kStatusData); }

extern "C" int32_t cw_register_v1_camera_len_para_data(void) { return cw::register_handlers(kLensData); }

extern "C" int32_t cw_unregister_v1_camera_len_para_data(void) { return cw::unregister_handlers(kLensData); }
