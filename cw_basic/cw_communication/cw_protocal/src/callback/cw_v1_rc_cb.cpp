// Push handlers of the remote controller: the stick values (10/6, pushed on the vision and
// navigation set) and the button information (6/80). Registered for the life of the process.
#include <array>
#include <cstdint>

#include "cirrow/cw_rc.h"
#include "cw_bytes.h"
#include "cw_handlers.h"

namespace {

using cw::le::get;

int32_t cw_v1_rc_cb_get_stick_info(const uint8_t *payload) {
    const RcStickValue value = {
        get<uint16_t>(payload, 0),
        get<uint16_t>(payload, 2),
        get<uint16_t>(payload, 4),
        get<uint16_t>(payload, 6),
    };
    return cw_rc_update_stick_value(&value);
}

int32_t cw_v1_rc_cb_get_button_info(const uint8_t *payload) {
    const RcExtendValue value = {get<uint16_t>(payload, 0), get<uint16_t>(payload, 2), payload[4], payload[5]};
    return cw_rc_update_extend_value(&value);
}

constexpr std::array<cw::PushHandler, 2> kRcHandlers = {{
    {6, 80, cw_v1_rc_cb_get_button_info},
    {10, 6, cw_v1_rc_cb_get_stick_info},
}};

}  // namespace

extern "C" int32_t cw_register_v1_rc_data(void) { return cw::register_handlers(kRcHandlers); }
