// The flight controller's topics: one cell per record it and the quick-test service push. The push
// handlers and the exported update functions store into them, the getters copy out. Internal.
#pragma once

#include <cstdint>

#include "cirrow/cw_flight.h"
#include "cw_cell.h"
#include "cw_log.h"
#include "cw_throttle.h"

namespace cw::flight {

// Each record is kept as its exact bytes (padding included), as a getter hands it out. The flight
// state's cell keeps the state line's countdown, counted while the cell is held.
struct FcStateCell : Latest<FcState> {
    HeldThrottle<102> log;
};
extern Latest<FcMotorState> g_motor_state;
extern FcStateCell g_fc_state;
extern Latest<FcSensor> g_fc_sensor;
extern Latest<QtHeartbeat> g_qt_heartbeat;
extern Word<uint8_t> g_qt_proc_status;
inline constexpr auto byte8_of = [](const unsigned char *rec) { return rec[offsetof(FcState, byte8)]; };
// Stores a flight state, pushed or updated (`fill(rec)` lays out its 14 bytes); the state line counts both.
template <class Fill>
inline void store_fc_state(Fill fill) {
    if (const int shown = g_fc_state.write(g_fc_state.log.counting(fill, byte8_of)); shown >= 0) [[unlikely]] {
        CW_USRLOG_AS("cw_flight_update_fc_state", "---FC STATE UPDATE ------ %d \n", shown);
    }
}

}  // namespace cw::flight
