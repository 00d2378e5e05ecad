// Push handlers of the flight controller (motor state, flight state, sensors) and of the
// quick-test service (process status, heartbeat). Each decodes its message at the offsets of its
// row in the message table and stores the record straight into the flight cache.
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "cirrow/cw_flight.h"
#include "cw_bytes.h"
#include "cw_handlers.h"
#include "cw_log.h"
#include "cw_messages.h"
#include "cw_throttle.h"
#include "flight/src/cw_flight_cache.h"

namespace {

using cw::link::extent;
using cw::link::offset_of;

constexpr const cw::link::Message &kMotorState = cw::link::push("flight.motor_state");
constexpr const cw::link::Message &kFcState = cw::link::push("flight.fc_state");
constexpr const cw::link::Message &kFcSensor = cw::link::push("flight.fc_sensor");
constexpr const cw::link::Message &kProcStatus = cw::link::push("quicktest.proc_status");
constexpr const cw::link::Message &kQtMsg = cw::link::push("quicktest.msg");

// What each handler reads lies within its row.
static_assert(offset_of(kMotorState, "spinning") < extent(kMotorState));
static_assert(offset_of(kFcState, "battery") < extent(kFcState));
static_assert(CW_FC_SENSOR_LEN <= extent(kFcSensor));
static_assert(offset_of(kQtMsg, "state") + sizeof(QtHeartbeat) <= extent(kQtMsg));

constexpr uint8_t kQuickTestRunning = 3;    // process state reported while the service runs
constexpr uint8_t kQuickTestHeartbeat = 1;  // kind of a 34/73 heartbeat message

cw::Throttle g_heartbeat_log;

// Written in place while the cell is held (the layout is below, after the other handlers): the
// record is the message with its first byte split into its two halves and a zero byte at the end,
// so the handler stages nothing on its stack.
void lay_out_motor_state(unsigned char *rec, const uint8_t *payload);

int32_t cw_v1_flight_cb_motor_state(const uint8_t *payload) {
    cw::flight::g_motor_state.write([payload](unsigned char *rec) {  // all 36 bytes
        lay_out_motor_state(rec, payload);
    });
    return 0;
}

// The record holds the message's fields in its order, with a zero byte after the first three
// (aligning the two 16-bit words) and one at the end.
static_assert(offset_of(kFcState, "height_dm") == 3 && offset_of(kFcState, "oa") == 7 && extent(kFcState) >= 12);
static_assert(offsetof(FcState, word3) == 4 && offsetof(FcState, byte7) == 8 && sizeof(FcState) == 14);

void lay_out_fc_state(unsigned char *rec, const uint8_t *payload) {
    if constexpr (std::endian::native == std::endian::little) {
        // Three moves: bytes 0-2 and the zero; bytes 3-10; byte 11 and the zero.
        const uint32_t head = cw::le::get<uint32_t>(payload, 0) & 0x00FFFFFFu;
        const uint16_t tail = payload[offset_of(kFcState, "battery")];
        std::memcpy(rec, &head, 4);
        std::memcpy(rec + 4, payload + 3, 8);
        std::memcpy(rec + 12, &tail, 2);
    } else {
        FcState s{};
        s.byte0 = payload[offset_of(kFcState, "phase")];
        s.byte1 = payload[offset_of(kFcState, "control")];
        s.byte2 = payload[offset_of(kFcState, "submode")];
        s.word3 = cw::le::get<uint16_t>(payload, offset_of(kFcState, "height_dm"));
        s.word5 = cw::le::get<uint16_t>(payload, offset_of(kFcState, "speed_cms"));
        s.byte7 = payload[offset_of(kFcState, "oa")];
        s.byte8 = payload[offset_of(kFcState, "flight_state")];
        s.byte9 = payload[offset_of(kFcState, "mode")];
        s.byte10 = payload[offset_of(kFcState, "flytest")];
        s.byte11 = payload[offset_of(kFcState, "battery")];
        std::memcpy(rec, &s, sizeof s);
    }
}

int32_t cw_v1_flight_cb_fc_state(const uint8_t *payload) {
    // The state line shows byte 8 of the record, the message's flight state.
    cw::flight::store_fc_state([payload](unsigned char *rec) { lay_out_fc_state(rec, payload); });
    return 0;
}

int32_t cw_v1_flight_cb_fc_sensor(const uint8_t *payload) {
    cw::flight::g_fc_sensor.store_bytes(payload, CW_FC_SENSOR_LEN);  // the message bytes, as they came
    return 0;
}

int32_t cw_v1_cwqt_cb_proc_status(const uint8_t *payload) {
    cw::flight::g_qt_proc_status.store(payload[offset_of(kProcStatus, "state")] == kQuickTestRunning ? 1 : 0);
    return 0;
}

int32_t cw_v1_cwqt_cb_heartbeat(const uint8_t *payload) {
    QtHeartbeat hb{};
    std::memcpy(&hb, payload + offset_of(kQtMsg, "state"), sizeof hb);
    cw::flight::g_qt_heartbeat.store(hb);
    if (g_heartbeat_log.every(51)) {
        CW_USRLOG("[cirrow] cwqt-> state %d\n", hb.state);
    }
    return 0;
}

int32_t cw_v1_cwqt_cb_msg(const uint8_t *payload) {
    if (payload[offset_of(kQtMsg, "kind")] == kQuickTestHeartbeat) {
        return cw_v1_cwqt_cb_heartbeat(payload);
    }
    return 0;
}

// On little-endian machines: the two halves of byte 0, then bytes 1..33 moved up by one.
static_assert(offset_of(kMotorState, "speeds") == 1 && offset_of(kMotorState, "currents") == 17 &&
              offset_of(kMotorState, "spinning") == 33 && sizeof(FcMotorState) == 36);

void lay_out_motor_state(unsigned char *rec, const uint8_t *payload) {
    const uint8_t state = payload[offset_of(kMotorState, "state")];
    if constexpr (std::endian::native == std::endian::little) {
        const auto head = static_cast<uint16_t>((state & 0x0F) | (state >> 4) << 8);
        const uint16_t tail = payload[offset_of(kMotorState, "spinning")];  // and the closing zero
        std::memcpy(rec, &head, 2);
        std::memcpy(rec + 2, payload + offset_of(kMotorState, "speeds"), 32);
        std::memcpy(rec + 34, &tail, 2);
    } else {
        FcMotorState s{};
        s.byte0_low = static_cast<uint8_t>(state & 0x0F);
        s.byte0_high = static_cast<uint8_t>(state >> 4);
        cw::le::get_n(s.words1, payload, offset_of(kMotorState, "speeds"), 8);
        cw::le::get_n(s.words17, payload, offset_of(kMotorState, "currents"), 8);
        s.byte33 = payload[offset_of(kMotorState, "spinning")];
        std::memcpy(rec, &s, sizeof s);
    }
}

constexpr std::array<cw::PushHandler, 5> kFlightHandlers = {{
    {kMotorState, cw_v1_flight_cb_motor_state},
    {kFcState, cw_v1_flight_cb_fc_state},
    {kFcSensor, cw_v1_flight_cb_fc_sensor},
    {kProcStatus, cw_v1_cwqt_cb_proc_status},
    {kQtMsg, cw_v1_cwqt_cb_msg},
}};

}  // namespace

extern "C" int32_t cw_register_v1_flight_data(void) { return cw::register_handlers(kFlightHandlers); }

extern "C" int32_t cw_unregister_v1_flight_data(void) { return cw::unregister_handlers(kFlightHandlers); }
