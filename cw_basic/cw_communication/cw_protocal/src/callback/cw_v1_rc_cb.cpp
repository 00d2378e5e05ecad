// Push handlers of the remote controller: the stick values (10/6, pushed on the vision and
// navigation set) and the button information (6/80). Registered for the life of the process.
#include <array>
#include <cstdint>

#include "cirrow/cw_rc.h"
#include "cw_bytes.h"
#include "cw_handlers.h"
#include "cw_messages.h"
#include "rc/src/cw_rc_cache.h"

namespace {

using cw::le::get;
using cw::link::extent;
using cw::link::offset_of;

constexpr const cw::link::Message &kSticks = cw::link::push("rc.sticks");
constexpr const cw::link::Message &kButtons = cw::link::push("rc.buttons");

// What each handler reads lies within its row.
static_assert(offset_of(kSticks, "sticks") + sizeof(RcStickValue) <= extent(kSticks));
static_assert(offset_of(kButtons, "byte5") < extent(kButtons));

int32_t cw_v1_rc_cb_get_stick_info(const uint8_t *payload) {
    constexpr size_t at = offset_of(kSticks, "sticks");
    cw::rc::g_stick.store({get<uint16_t>(payload, at), get<uint16_t>(payload, at + 2), get<uint16_t>(payload, at + 4),
                           get<uint16_t>(payload, at + 6)});
    return 0;
}

int32_t cw_v1_rc_cb_get_button_info(const uint8_t *payload) {
    cw::rc::g_extend.store({get<uint16_t>(payload, offset_of(kButtons, "buttons")),
                            get<uint16_t>(payload, offset_of(kButtons, "mode_switch")),
                            payload[offset_of(kButtons, "byte4")], payload[offset_of(kButtons, "byte5")]});
    return 0;
}

constexpr std::array<cw::PushHandler, 2> kRcHandlers = {{
    {kButtons, cw_v1_rc_cb_get_button_info},
    {kSticks, cw_v1_rc_cb_get_stick_info},
}};

}  // namespace

extern "C" int32_t cw_register_v1_rc_data(void) { return cw::register_handlers(kRcHandlers); }
