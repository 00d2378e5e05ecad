// Flight controller cache: the latest motor, flight and sensor state pushed by the flight
// controller, the quick-test service's heartbeat and process status, the IMU data group from the
// data manager, the local frame around a GPS origin, the data subscription at start-up and the
// convenience wrappers over the flight commands.
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>

#include "cirrow/cw_flags.h"
#include "cirrow/cw_flight.h"
#include "cw_cell.h"
#include "cw_log.h"
#include "cw_values.h"
#include "flight/src/cw_flight_cache.h"
#include "mbus.h"

extern "C" {
CW_API uint8_t flyctrl_subscribe_init_flag = 0;
}

namespace {

struct GpsOrigin {
    double latitude;   // radians
    double longitude;  // radians
    float altitude;
};

cw::Latest<GpsOrigin> g_gps_origin;

// Where the origin's fields sit in the caller's record.
constexpr size_t kOriginLatitudeAt = 40;
constexpr size_t kOriginLongitudeAt = 48;
constexpr size_t kOriginAltitudeAt = 56;

constexpr double kEarthRadius = 6378137.0;  // metres

constexpr mbus_dm_key_t kImuDataKey = {1, 0};

// The flight data item the flight controller streams to us.
constexpr uint32_t kFlightDataItem = 0x1648B7D9;
constexpr uint8_t kFlightDataBag = 0;
constexpr uint16_t kFlightDataRate = 200;

using cw::link::value::kLand;
using cw::link::value::kReleaseControl;
using cw::link::value::kTakeControl;
using cw::link::value::kTakeOff;
constexpr uint8_t kAvoidanceOn = 0xFF;
constexpr uint8_t kAvoidanceOff = 0x00;
constexpr uint8_t kFlytestHeartbeat = 50;

}  // namespace

namespace cw::flight {
Latest<FcMotorState> g_motor_state;
FcStateCell g_fc_state;
Latest<FcSensor> g_fc_sensor;
Latest<QtHeartbeat> g_qt_heartbeat;
Word<uint8_t> g_qt_proc_status;
// (the flight state line's countdown is in g_fc_state)
}  // namespace cw::flight

using cw::flight::g_fc_sensor;
using cw::flight::g_fc_state;
using cw::flight::g_motor_state;
using cw::flight::g_qt_heartbeat;
using cw::flight::g_qt_proc_status;

// ---- Cache ----

extern "C" int32_t cw_flight_module_init(void) {
    g_motor_state.clear();
    g_fc_state.clear();
    g_fc_sensor.clear();
    g_qt_heartbeat.clear();
    return 0;
}

extern "C" int32_t cw_flight_update_fc_motor_state(const FcMotorState *state) {
    return cw::publish(g_motor_state, state);
}

extern "C" int32_t cw_flight_update_fc_state(const FcState *state) {
    CW_REQUIRE(state);
    // The state line shows the record's byte 8, read from the cell under the same hold.
    cw::flight::store_fc_state([state](unsigned char *rec) { std::memcpy(rec, state, sizeof *state); });
    return 0;
}

extern "C" int32_t cw_flight_update_fc_sensor(const void *sensor) {
    return cw::publish(g_fc_sensor, sensor, CW_FC_SENSOR_LEN);
}

extern "C" int32_t cw_flight_get_fc_motor_state(FcMotorState *state) { return cw::copy(g_motor_state, state); }

extern "C" int32_t cw_flight_get_fc_state(FcState *state) { return cw::copy(g_fc_state, state); }

extern "C" int32_t cw_flight_get_fc_sensor(void *sensor) { return cw::copy(g_fc_sensor, sensor, CW_FC_SENSOR_LEN); }

extern "C" int32_t cw_update_cw_qt_heartbeat(const QtHeartbeat *heartbeat) {
    return cw::publish(g_qt_heartbeat, heartbeat);
}

extern "C" int32_t cw_get_cwqt_state(uint8_t *state) {
    CW_REQUIRE(state);
    QtHeartbeat hb;
    cw::copy(g_qt_heartbeat, &hb);
    *state = hb.state;
    return 0;
}

extern "C" int32_t cw_get_cwqt_err(uint8_t *err) {
    CW_REQUIRE(err);
    QtHeartbeat hb;
    cw::copy(g_qt_heartbeat, &hb);
    *err = hb.err;
    return 0;
}

extern "C" int32_t cw_get_cwqt_proc_status(uint8_t *status) { return cw::copy(g_qt_proc_status, status); }

extern "C" int32_t cw_set_cwqt_proc_status(const uint8_t *status) { return cw::publish(g_qt_proc_status, status); }

// ---- IMU data group ----

extern "C" int32_t cw_flight_get_imu_data_group(void *group) {
    CW_REQUIRE(group);
    mbus_dm_item_t *item = nullptr;
    int32_t rc = mbus_dm_take(&kImuDataKey, -1, &item, 0);
    if (rc != 0) {
        CW_LOG(cw::log::kFail, "mbus_dm_take() error: %d\n", rc);
        return rc;
    }
    std::memcpy(group, item->data, CW_IMU_DATA_GROUP_LEN);
    rc = mbus_dm_return(&kImuDataKey, item);
    if (rc != 0) {
        CW_LOG(cw::log::kFail, "mbus_dm_take() error: %d\n", rc);
        return rc;
    }
    return 0;
}

// ---- Local frame around the GPS origin ----

extern "C" void cw_flight_set_gps_origin_data(const void *record) {
    CW_REQUIRE_VOID(record);
    const auto *bytes = static_cast<const uint8_t *>(record);
    GpsOrigin origin{};
    std::memcpy(&origin.latitude, bytes + kOriginLatitudeAt, sizeof origin.latitude);
    std::memcpy(&origin.longitude, bytes + kOriginLongitudeAt, sizeof origin.longitude);
    std::memcpy(&origin.altitude, bytes + kOriginAltitudeAt, sizeof origin.altitude);
    cw::publish(g_gps_origin, &origin);
}

extern "C" int32_t cw_flight_get_gps_pos_data(LocalPosition *local, GpsPosition position) {
    CW_REQUIRE(local);
    GpsOrigin origin;
    cw::copy(g_gps_origin, &origin);
    // Longitude differences are folded by half a turn (remainder by pi).
    const double dlon = std::remainder(position.longitude - origin.longitude, std::numbers::pi);
    local->north = static_cast<float>((position.latitude - origin.latitude) * kEarthRadius);
    local->east = static_cast<float>(dlon * kEarthRadius * std::cos(origin.latitude));
    local->up = position.altitude - origin.altitude;
    local->valid = 1;
    return 0;
}

// ---- Data subscription at start-up ----

extern "C" int32_t cw_flight_reset_and_subscribe(void) {
    int32_t rc = cw_v1_flight_api_ds_reset();
    if (rc != 0) {
        CW_USRLOG("fail to reset the data subscribe %d\n", rc);
        return rc;
    }
    CW_USRLOG("reset the data subscribe success %d\n", rc);

    const uint32_t items[1] = {kFlightDataItem};
    rc = cw_v1_flight_api_ds_bag_add(kFlightDataBag, kFlightDataRate, 1, items);
    if (rc != 0) {
        CW_USRLOG("fail to add subscribe FDI info %d\n", rc);
        return rc;
    }
    CW_USRLOG("add subscribe FDI info success %d\n", rc);
    cw::store_exported<uint8_t>(flyctrl_subscribe_init_flag, 1);
    return 0;
}

// ---- Convenience wrappers ----

extern "C" int32_t cw_flight_obtain_control(void) { return cw_v1_flight_api_control_enable(kTakeControl); }

extern "C" int32_t cw_flight_release_control(void) { return cw_v1_flight_api_control_enable(kReleaseControl); }

extern "C" int32_t cw_flight_attitude_control(const FlightAttitudeCmd *cmd) {
    CW_REQUIRE(cmd);
    return cw_v1_flight_api_adv_control(cmd->mode_a, cmd->mode_b, cmd->values[0], cmd->values[1], cmd->values[2],
                                        cmd->values[3], cmd->values[4], cmd->values[5]);
}

extern "C" int32_t cw_flight_yaw_rate_control(float rate) { return cw_v1_flight_api_yaw_rate_control(rate); }

extern "C" int32_t cw_flight_takeoff(void) { return cw_v1_flight_api_function_control(kTakeOff); }

extern "C" int32_t cw_flight_land(void) {
    return cw_v1_flight_api_function_control(is_normal_test() ? kLand : cw::link::value::kTestLand);
}

extern "C" int32_t cw_flight_enable_oa(void) { return cw_v1_flight_api_switch_oa(kAvoidanceOn); }

extern "C" int32_t cw_flight_disable_oa(void) { return cw_v1_flight_api_switch_oa(kAvoidanceOff); }

extern "C" int32_t cw_flight_send_flytest_mode(uint8_t mode) {
    return cw_v1_flight_api_send_heartbeat(kFlytestHeartbeat, mode);
}

extern "C" int32_t cw_flight_imu_propeller_cali(void) { return cw_v1_flight_api_imu_propeller_cali(); }

extern "C" int32_t cw_flight_imu_propeller_cali_reset(void) { return cw_v1_flight_api_imu_propeller_cali_reset(); }

extern "C" int32_t cw_flight_imu_base_heartbeat(void) { return cw_v1_flight_api_imu_base_heartbeat(); }

extern "C" int32_t cw_flight_imu_start_cali(uint32_t key, uint8_t value) {
    return cw_v1_flight_api_imu_start_cali(key, value);
}

extern "C" int32_t cw_flight_imu_read_process(uint32_t key, uint8_t *progress) {
    return cw_v1_flight_api_imu_read_process(key, progress);
}

extern "C" int32_t cw_flight_imu_read_cali_rt(const uint8_t *request, uint32_t request_len, ImuCaliRt *result) {
    return cw_v1_flight_api_imu_read_cali_rt(request, request_len, result);
}

extern "C" int32_t cw_flight_trigger_down_vo(uint16_t value) { return cw_v1_flight_api_trigger_dowm_vo(value); }

extern "C" int32_t cw_flight_trigger_compass_cali(uint16_t value) {
    return cw_v1_flight_api_trigger_compass_cali(value);
}

extern "C" int32_t cw_flight_subscribe_vib(void) { return cw_v1_flight_api_subscribe_vib(); }
