// Push handlers of the gimbal: general information (4/5), control information (4/1) and
// water-wave detection results (4/63). Each decodes its message byte-wise into a record on its
// stack and stores it through the gimbal cache's update functions.
#include <array>
#include <cstdint>

#include "cirrow/cw_gimbal.h"
#include "cw_bytes.h"
#include "cw_handlers.h"

namespace {

using cw::le::get;

int32_t cw_v1_gimbal_cb_get_gimbal_info(const uint8_t *payload) {
    const GimbalInfo info = {
        get<uint16_t>(payload, 0), get<uint16_t>(payload, 2), get<uint16_t>(payload, 4),
        get<uint16_t>(payload, 6), get<uint32_t>(payload, 8), get<uint32_t>(payload, 12),
    };
    return cw_gimbal_update_main_gimbal_info(&info);
}

int32_t cw_v1_gimbal_cb_get_ctrl_info(const uint8_t *payload) {
    const GimbalCtrlInfo info = {
        get<uint16_t>(payload, 0), get<uint16_t>(payload, 2), get<uint16_t>(payload, 4), payload[6], payload[7],
    };
    return cw_gimbal_update_main_gimbal_ctrl_info(&info);
}

int32_t cw_v1_gimbal_cb_get_wv_result(const uint8_t *payload) {
    const GimbalWvResult result = {
        get<uint16_t>(payload, 0),
        get<uint16_t>(payload, 2),
        get<uint16_t>(payload, 4),
        payload[6],
    };
    return cw_gimbal_update_wv_result(&result);
}

constexpr std::array<cw::PushHandler, 3> kGimbalHandlers = {{
    {4, 1, cw_v1_gimbal_cb_get_ctrl_info},
    {4, 5, cw_v1_gimbal_cb_get_gimbal_info},
    {4, 63, cw_v1_gimbal_cb_get_wv_result},
}};

}  // namespace

extern "C" int32_t cw_register_v1_gimbal_data(void) { return cw::register_handlers(kGimbalHandlers); }

extern "C" int32_t cw_unregister_v1_gimbal_data(void) { return cw::unregister_handlers(kGimbalHandlers); }
