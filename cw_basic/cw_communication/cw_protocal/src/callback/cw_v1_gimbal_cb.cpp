// Push handlers of the gimbal: general information (4/5), control information (4/1) and
// water-wave detection results (4/63). Each decodes its message byte-wise at the offsets of its
// row and stores the record straight into the gimbal cache.
#include <array>
#include <cstdint>

#include "cirrow/cw_gimbal.h"
#include "cw_bytes.h"
#include "cw_handlers.h"
#include "cw_messages.h"
#include "gimbal/src/cw_gimbal_cache.h"

namespace {

using cw::le::get;
using cw::link::extent;
using cw::link::offset_of;

constexpr const cw::link::Message &kInfo = cw::link::push("gimbal.info");
constexpr const cw::link::Message &kCtrlInfo = cw::link::push("gimbal.ctrl_info");
constexpr const cw::link::Message &kWvResult = cw::link::push("gimbal.wv_result");

// What each handler reads lies within its row.
static_assert(offset_of(kInfo, "status") + sizeof(uint32_t) <= extent(kInfo));
static_assert(offset_of(kCtrlInfo, "flags") < extent(kCtrlInfo));
static_assert(offset_of(kWvResult, "waves") < extent(kWvResult));

int32_t cw_v1_gimbal_cb_get_gimbal_info(const uint8_t *payload) {
    constexpr size_t joint = offset_of(kInfo, "joint");
    cw::gimbal::g_main_info.store({
        get<uint16_t>(payload, joint),
        get<uint16_t>(payload, joint + 2),
        get<uint16_t>(payload, joint + 4),
        get<uint16_t>(payload, offset_of(kInfo, "mode")),
        get<uint32_t>(payload, offset_of(kInfo, "time_ms")),
        get<uint32_t>(payload, offset_of(kInfo, "status")),
    });
    return 0;
}

int32_t cw_v1_gimbal_cb_get_ctrl_info(const uint8_t *payload) {
    constexpr size_t target = offset_of(kCtrlInfo, "target");
    cw::gimbal::g_main_ctrl_info.store({
        get<uint16_t>(payload, target),
        get<uint16_t>(payload, target + 2),
        get<uint16_t>(payload, target + 4),
        payload[offset_of(kCtrlInfo, "mode")],
        payload[offset_of(kCtrlInfo, "flags")],
    });
    return 0;
}

int32_t cw_v1_gimbal_cb_get_wv_result(const uint8_t *payload) {
    constexpr size_t scores = offset_of(kWvResult, "scores");
    cw::gimbal::g_wv_result.store({
        get<uint16_t>(payload, scores),
        get<uint16_t>(payload, scores + 2),
        get<uint16_t>(payload, scores + 4),
        payload[offset_of(kWvResult, "waves")],
    });
    return 0;
}

constexpr std::array<cw::PushHandler, 3> kGimbalHandlers = {{
    {kCtrlInfo, cw_v1_gimbal_cb_get_ctrl_info},
    {kInfo, cw_v1_gimbal_cb_get_gimbal_info},
    {kWvResult, cw_v1_gimbal_cb_get_wv_result},
}};

}  // namespace

extern "C" int32_t cw_register_v1_gimbal_data(void) { return cw::register_handlers(kGimbalHandlers); }

extern "C" int32_t cw_unregister_v1_gimbal_data(void) { return cw::unregister_handlers(kGimbalHandlers); }
