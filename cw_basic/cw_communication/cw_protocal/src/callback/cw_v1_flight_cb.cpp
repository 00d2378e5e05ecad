// Push handlers of the flight controller (motor state, flight state, sensors) and of the
// quick-test service (process status, heartbeat). Each decodes its message at fixed offsets into
// a record on its stack and stores it through the flight cache's update functions.
#include <array>
#include <cstdint>
#include <cstring>

#include "cirrow/cw_flight.h"
#include "cw_bytes.h"
#include "cw_handlers.h"
#include "cw_log.h"
#include "cw_throttle.h"

namespace cw::flight {
int32_t store_fc_state(const FcState &state);  // the flight cache's own store (cw_flight.cpp)
}

namespace {

constexpr uint8_t kQuickTestRunning = 3;    // process state reported while the service runs
constexpr uint8_t kQuickTestHeartbeat = 1;  // kind of a 34/73 heartbeat message

cw::Throttle g_heartbeat_log;

int32_t cw_v1_flight_cb_motor_state(const uint8_t *payload) {
    FcMotorState s{};
    s.byte0_low = static_cast<uint8_t>(payload[0] & 0x0F);
    s.byte0_high = static_cast<uint8_t>(payload[0] >> 4);
    cw::le::get_n(s.words1, payload, 1, 8);
    cw::le::get_n(s.words17, payload, 17, 8);
    s.byte33 = payload[33];
    cw_flight_update_fc_motor_state(&s);
    return 0;
}

int32_t cw_v1_flight_cb_fc_state(const uint8_t *payload) {
    FcState s{};
    s.byte0 = payload[0];
    s.byte1 = payload[1];
    s.byte2 = payload[2];
    s.word3 = cw::le::get<uint16_t>(payload, 3);
    s.word5 = cw::le::get<uint16_t>(payload, 5);
    s.byte7 = payload[7];
    s.byte8 = payload[8];
    s.byte9 = payload[9];
    s.byte10 = payload[10];
    s.byte11 = payload[11];
    cw::flight::store_fc_state(s);
    return 0;
}

int32_t cw_v1_flight_cb_fc_sensor(const uint8_t *payload) {
    cw_flight_update_fc_sensor(payload);  // the 59 message bytes, as they came
    return 0;
}

int32_t cw_v1_cwqt_cb_proc_status(const uint8_t *payload) {
    const uint8_t running = payload[0] == kQuickTestRunning ? 1 : 0;
    cw_set_cwqt_proc_status(&running);
    return 0;
}

int32_t cw_v1_cwqt_cb_heartbeat(const uint8_t *payload) {
    QtHeartbeat hb{};
    std::memcpy(&hb, payload + 1, sizeof hb);
    cw_update_cw_qt_heartbeat(&hb);
    if (g_heartbeat_log.after(49)) {
        CW_USRLOG("[cirrow] cwqt-> state %d\n", hb.state);
    }
    return 0;
}

int32_t cw_v1_cwqt_cb_msg(const uint8_t *payload) {
    if (payload[0] == kQuickTestHeartbeat) {
        return cw_v1_cwqt_cb_heartbeat(payload);
    }
    return 0;
}

constexpr std::array<cw::PushHandler, 5> kFlightHandlers = {{
    {3, 90, cw_v1_flight_cb_motor_state},
    {3, 91, cw_v1_flight_cb_fc_state},
    {3, 106, cw_v1_flight_cb_fc_sensor},
    {34, 72, cw_v1_cwqt_cb_proc_status},
    {34, 73, cw_v1_cwqt_cb_msg},
}};

}  // namespace

extern "C" int32_t cw_register_v1_flight_data(void) { return cw::register_handlers(kFlightHandlers); }

extern "C" int32_t cw_unregister_v1_flight_data(void) { return cw::unregister_handlers(kFlightHandlers); }
