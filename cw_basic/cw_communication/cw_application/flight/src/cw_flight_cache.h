// The flight controller's topics: one cell per record the flight controller and the quick-test
// service push. The push handlers store into them directly, the exported update functions store
// through the same cells, and the getters copy out of them. Internal to the library.
#pragma once

#include <cstdint>

#include "cirrow/cw_flight.h"
#include "cw_cell.h"
#include "cw_log.h"
#include "cw_throttle.h"

namespace cw::flight {

// Each record is kept as its exact bytes (padding included): what is stored is what a getter
// hands out.
extern Latest<FcMotorState> g_motor_state;
extern Latest<FcState> g_fc_state;
extern Latest<FcSensor> g_fc_sensor;
extern Latest<QtHeartbeat> g_qt_heartbeat;
extern Word<uint8_t> g_qt_proc_status;
extern HeldThrottle<102> g_fc_state_log;  // counted while g_fc_state is held

// Stores a flight state, from a push or from an application alike: `fill(rec)` lays out its 14 bytes in
// the cell, `shown()` reads its byte 8. The state line is the update function's; it counts both.
template <class Fill, class Shown>
inline void store_fc_state(Fill fill, Shown shown) {
    if (g_fc_state.write(g_fc_state_log.counting(fill))) {
        CW_USRLOG_AS("cw_flight_update_fc_state", "---FC STATE UPDATE ------ %d \n", shown());
    }
}

}  // namespace cw::flight
