// Push handlers of the main camera (camera data, status data, lens parameters) and their
// registration. Each reads its bytes at the offsets of its row and stores them straight into the
// camera cache; the status message is stored as one item.
#include <array>
#include <cstdint>

#include "camera/src/cw_camera_cache.h"
#include "cirrow/cw_camera.h"
#include "cw_bytes.h"
#include "cw_handlers.h"
#include "cw_messages.h"

namespace {

using cw::link::extent;
using cw::link::offset_of;

constexpr const cw::link::Message &kCameraDataMsg = cw::link::push("camera.data");
constexpr const cw::link::Message &kStatusDataMsg = cw::link::push("camera.status_data");
constexpr const cw::link::Message &kLensDataMsg = cw::link::push("camera.lens_data");

// What each handler reads lies within its row.
static_assert(offset_of(kCameraDataMsg, "camera_type") < extent(kCameraDataMsg));
static_assert(offset_of(kStatusDataMsg, "core_board_temp") < extent(kStatusDataMsg));
static_assert(offset_of(kLensDataMsg, "lens") + sizeof(cw::camera::LensInfo) <= extent(kLensDataMsg));

// Bits 3..5 of the status flags hold the camera's activity; 1 there means busy.
constexpr uint8_t kActivityMask = cw::link::value::kCameraActivityMask;
constexpr uint8_t kActivityBusy = cw::link::value::kCameraBusy;

int32_t cw_v1_camera_cb_get_camera_status(const uint8_t *payload) {
    cw::camera::g_reported_camera_type.store(payload[offset_of(kCameraDataMsg, "camera_type")]);
    return 0;
}

int32_t cw_v1_camera_cb_get_status_data(const uint8_t *payload) {
    const bool busy = (payload[offset_of(kStatusDataMsg, "status_flags")] & kActivityMask) == kActivityBusy;
    cw::camera::g_status.store({
        static_cast<uint8_t>(busy ? 1 : 0),
        payload[offset_of(kStatusDataMsg, "mode_profile")],
        payload[offset_of(kStatusDataMsg, "core_board_temp")],
        0,
    });
    return 0;
}

int32_t cw_v1_camera_cb_get_len_para_data(const uint8_t *payload) {
    constexpr size_t lens = offset_of(kLensDataMsg, "lens");
    cw::camera::g_lens_info.store({{cw::le::get<uint16_t>(payload, lens), cw::le::get<uint16_t>(payload, lens + 2),
                                    cw::le::get<uint16_t>(payload, lens + 4)}});
    return 0;
}

constexpr std::array<cw::PushHandler, 1> kCameraData = {{{kCameraDataMsg, cw_v1_camera_cb_get_camera_status}}};
constexpr std::array<cw::PushHandler, 1> kStatusData = {{{kStatusDataMsg, cw_v1_camera_cb_get_status_data}}};
constexpr std::array<cw::PushHandler, 1> kLensData = {{{kLensDataMsg, cw_v1_camera_cb_get_len_para_data}}};

}  // namespace

extern "C" int32_t cw_register_v1_camera_data(void) { return cw::register_handlers(kCameraData); }

extern "C" int32_t cw_register_v1_camera_status_data(void) { return cw::register_handlers(kStatusData); }

extern "C" int32_t cw_unregister_v1_camera_status_data(void) { return cw::unregister_handlers(kStatusData); }

extern "C" int32_t cw_register_v1_camera_len_para_data(void) { return cw::register_handlers(kLensData); }

extern "C" int32_t cw_unregister_v1_camera_len_para_data(void) { return cw::unregister_handlers(kLensData); }
