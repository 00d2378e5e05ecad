/* Flight controller: state cache, data subscription, flight commands, parameters by name hash, identity. */
/* Implemented in cw_basic/cw_communication/: cw_application/flight/src/cw_flight.cpp (cache, IMU data group, GPS
 * frame, wrappers), cw_protocal/src/api/cw_v1_flight_api.cpp (commands, parameters by hash, identity, quick-test
 * switch), cw_protocal/src/callback/cw_v1_flight_cb.cpp (push handlers). */
/* A null pointer argument is refused: a function with a result returns CW_ERR_PARAM and sends
 * nothing, one without a result does nothing. A null text counts as any other text. */
#ifndef CIRROW_CW_FLIGHT_H
#define CIRROW_CW_FLIGHT_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/* ---- Records ----
 * Field names follow the byte offsets of the flight controller's messages; their meaning is the
 * flight controller's and the library passes them through unchanged. */

/* Motor state, from the 34-byte 3/90 push. */
typedef struct {
    uint8_t byte0_low;   /* low four bits of byte 0 */
    uint8_t byte0_high;  /* high four bits of byte 0 */
    uint16_t words1[8];  /* bytes 1..16 */
    uint16_t words17[8]; /* bytes 17..32 */
    uint8_t byte33;
} FcMotorState;
CW_STATIC_ASSERT(offsetof(FcMotorState, words1) == 2 && offsetof(FcMotorState, words17) == 18 &&
                     offsetof(FcMotorState, byte33) == 34,
                 "FcMotorState field offsets");
CW_STATIC_ASSERT(sizeof(FcMotorState) == 36, "FcMotorState is 36 bytes");

/* Flight state, from the 12-byte 3/91 push. */
typedef struct {
    uint8_t byte0;
    uint8_t byte1;
    uint8_t byte2;
    uint16_t word3; /* bytes 3..4 */
    uint16_t word5; /* bytes 5..6 */
    uint8_t byte7;
    uint8_t byte8; /* shown in the periodic state log line */
    uint8_t byte9;
    uint8_t byte10;
    uint8_t byte11;
} FcState;
CW_STATIC_ASSERT(offsetof(FcState, word3) == 4 && offsetof(FcState, word5) == 6 && offsetof(FcState, byte8) == 9 &&
                     offsetof(FcState, byte11) == 12,
                 "FcState field offsets");
CW_STATIC_ASSERT(sizeof(FcState) == 14, "FcState is 14 bytes");

/* Sensor state: the 59 bytes of the 3/106 push. The cache keeps them in a 60-byte record whose
 * last byte stays 0; the update and get functions move exactly the 59 message bytes. */
#define CW_FC_SENSOR_LEN 59
typedef struct {
    uint8_t bytes[CW_FC_SENSOR_LEN + 1];
} FcSensor;
CW_STATIC_ASSERT(sizeof(FcSensor) == 60, "FcSensor is 60 bytes");

/* Quick-test heartbeat, bytes 1..5 of a 34/73 heartbeat. */
typedef struct {
    uint8_t state;
    uint8_t err;
    uint8_t rest[3];
} QtHeartbeat;
CW_STATIC_ASSERT(sizeof(QtHeartbeat) == 5, "QtHeartbeat is 5 bytes");

/* The vehicle's IMU data group as the data manager keeps it (opaque). */
#define CW_IMU_DATA_GROUP_LEN 136
typedef struct {
    uint8_t bytes[CW_IMU_DATA_GROUP_LEN];
} ImuDataGroup;
CW_STATIC_ASSERT(sizeof(ImuDataGroup) == 136, "ImuDataGroup is 136 bytes");

/* A geodetic position: angles in radians. Longitude comes first. */
typedef struct {
    double longitude;
    double latitude;
    float altitude;
} GpsPosition;
CW_STATIC_ASSERT(offsetof(GpsPosition, latitude) == 8 && offsetof(GpsPosition, altitude) == 16,
                 "GpsPosition field offsets");

/* A position in the local frame around the origin: metres north and east, altitude difference. */
typedef struct {
    float north;
    float east;
    float up;
    uint8_t valid;
} LocalPosition;
CW_STATIC_ASSERT(offsetof(LocalPosition, valid) == 12 && sizeof(LocalPosition) == 16, "LocalPosition layout");

/* Attitude steering: two mode bytes and six values, sent one for one. */
typedef struct {
    uint8_t mode_a;
    uint8_t mode_b;
    float values[6];
} FlightAttitudeCmd;
CW_STATIC_ASSERT(offsetof(FlightAttitudeCmd, values) == 4 && sizeof(FlightAttitudeCmd) == 28,
                 "FlightAttitudeCmd layout");

/* IMU calibration read-back. */
typedef struct {
    float value0;
    float value1;
    uint8_t raw_a[4];
    float values2_8[7];
    uint8_t raw_b[4];
} ImuCaliRt;
CW_STATIC_ASSERT(offsetof(ImuCaliRt, raw_a) == 8 && offsetof(ImuCaliRt, values2_8) == 12 &&
                     offsetof(ImuCaliRt, raw_b) == 40 && sizeof(ImuCaliRt) == 44,
                 "ImuCaliRt layout");

/* ---- Flight state cache ----
 * Written by the push handlers (and by applications through the update functions), read by
 * polling. A reader always gets a whole record. All return 0 unless stated. */

/* Zeroes the motor state, flight state, sensor and quick-test heartbeat records. The quick-test
 * process status and the GPS origin stay as they are. */
CW_API int32_t cw_flight_module_init(void);

CW_API int32_t cw_flight_update_fc_motor_state(const FcMotorState *state);
/* Also writes a usrlog line on one update in 102. */
CW_API int32_t cw_flight_update_fc_state(const FcState *state);
/* The sensor record is any 59-byte buffer: an FcSensor or a byte array. */
CW_API int32_t cw_flight_update_fc_sensor(const void *sensor); /* reads 59 bytes */
CW_API int32_t cw_flight_get_fc_motor_state(FcMotorState *state);
CW_API int32_t cw_flight_get_fc_state(FcState *state);
CW_API int32_t cw_flight_get_fc_sensor(void *sensor); /* writes 59 bytes */

/* Copies the IMU data group from the data manager into a 136-byte buffer (an ImuDataGroup or a
 * byte array); 0 or the data manager's error code. */
CW_API int32_t cw_flight_get_imu_data_group(void *group);

/* Sets the origin of the local frame from a record holding, at byte offsets 40, 48 and 56, the
 * latitude (double, radians), the longitude (double, radians) and the altitude (float). */
CW_API void cw_flight_set_gps_origin_data(const void *record);
/* Converts a geodetic position to the local frame around the origin; always 0, valid = 1. */
CW_API int32_t cw_flight_get_gps_pos_data(LocalPosition *local, GpsPosition position);

CW_API int32_t cw_update_cw_qt_heartbeat(const QtHeartbeat *heartbeat);
CW_API int32_t cw_get_cwqt_state(uint8_t *state);
CW_API int32_t cw_get_cwqt_err(uint8_t *err);
/* 1 when the quick-test service last reported its process running, else 0. */
CW_API int32_t cw_get_cwqt_proc_status(uint8_t *status);
CW_API int32_t cw_set_cwqt_proc_status(const uint8_t *status);

/* ---- Data subscription and push handlers ---- */

/* 1 once cw_flight_reset_and_subscribe has set up the flight data stream; never cleared. */
extern CW_API uint8_t flyctrl_subscribe_init_flag;

/* Clears every subscription bag of the flight controller. */
CW_API int32_t cw_v1_flight_api_ds_reset(void);
/* Adds a bag of `count` items (at most 62) at `rate`. The answer is logged, not judged: the
 * result is the send result. A count above 62 or missing items: CW_ERR_PARAM, nothing sent. */
CW_API int32_t cw_v1_flight_api_ds_bag_add(uint8_t bag, uint16_t rate, uint8_t count, const uint32_t *items);
/* Resets the bags, subscribes the flight data item and raises flyctrl_subscribe_init_flag. */
CW_API int32_t cw_flight_reset_and_subscribe(void);

/* Attaches (detaches) the motor state, flight state, sensor and quick-test handlers. Return 0. */
CW_API int32_t cw_register_v1_flight_data(void);
CW_API int32_t cw_unregister_v1_flight_data(void);

/* ---- Flight commands ---- */

CW_API int32_t cw_v1_flight_api_control_enable(uint8_t mode); /* 1 take control, 2 release */
CW_API int32_t cw_v1_flight_api_submode_set(uint8_t mode, uint8_t submode);
CW_API int32_t cw_v1_flight_api_adv_control(uint8_t mode_a, uint8_t mode_b, float v0, float v1, float v2, float v3,
                                            float v4, float v5);
CW_API int32_t cw_v1_flight_api_yaw_rate_control(float rate);
CW_API int32_t cw_v1_flight_api_function_control(uint8_t function);
CW_API int32_t cw_v1_flight_api_switch_oa(uint8_t on_off);
CW_API int32_t cw_v1_flight_api_send_heartbeat(uint8_t kind, uint8_t value);
CW_API int32_t cw_v1_flight_api_imu_propeller_cali(void);
CW_API int32_t cw_v1_flight_api_imu_propeller_cali_reset(void);
CW_API int32_t cw_v1_flight_api_imu_base_heartbeat(void);
CW_API int32_t cw_v1_flight_api_imu_start_cali(uint32_t key, uint8_t value);
/* On success writes the calibration progress to *progress. */
CW_API int32_t cw_v1_flight_api_imu_read_process(uint32_t key, uint8_t *progress);
/* Sends the caller's request bytes (at most 2048; null only with length 0); on an accepted answer
 * decodes it into *result. */
CW_API int32_t cw_v1_flight_api_imu_read_cali_rt(const uint8_t *request, uint32_t request_len, ImuCaliRt *result);

/* Convenience wrappers: each returns the result of the command it forwards to. */
CW_API int32_t cw_flight_obtain_control(void);
CW_API int32_t cw_flight_release_control(void);
CW_API int32_t cw_flight_attitude_control(const FlightAttitudeCmd *cmd);
CW_API int32_t cw_flight_yaw_rate_control(float rate);
CW_API int32_t cw_flight_takeoff(void);
CW_API int32_t cw_flight_land(void); /* function 6 in normal mode, 31 in a test mode */
CW_API int32_t cw_flight_enable_oa(void);
CW_API int32_t cw_flight_disable_oa(void);
CW_API int32_t cw_flight_send_flytest_mode(uint8_t mode);
CW_API int32_t cw_flight_imu_propeller_cali(void);
CW_API int32_t cw_flight_imu_propeller_cali_reset(void);
CW_API int32_t cw_flight_imu_base_heartbeat(void);
CW_API int32_t cw_flight_imu_start_cali(uint32_t key, uint8_t value);
CW_API int32_t cw_flight_imu_read_process(uint32_t key, uint8_t *progress);
CW_API int32_t cw_flight_imu_read_cali_rt(const uint8_t *request, uint32_t request_len, ImuCaliRt *result);

/* ---- Parameters by name hash ---- */

/* The link's 32-bit hash of a parameter name (a null name hashes like the empty one, to 0). */
CW_API uint32_t get_hash_value(const char *name);
/* Reads a parameter and logs its first value byte. 0, the send result, or the peer's result byte. */
CW_API int32_t nav_v1_flight_api_read_pm(const uint32_t *hash);
/* Writes `size` bytes (at most 250) and logs the first byte of the value read back. 0, the send
 * result, or the peer's result byte; CW_ERR_PARAM (nothing sent) for a size above 250. */
CW_API int32_t nav_v1_flight_api_write_pm(const uint32_t *hash, const void *value, uint32_t size);
/* Enables the radius limit and sets the height and radius limits; always 0 (each step logs). */
CW_API int32_t cw_set_height_and_radius_limit_value(uint16_t height, uint16_t radius);
/* Named parameter writes without answer; each returns the send result. */
CW_API int32_t cw_v1_flight_api_trigger_dowm_vo(uint16_t value);
CW_API int32_t cw_v1_flight_api_trigger_compass_cali(uint16_t value);
CW_API int32_t cw_v1_flight_api_subscribe_vib(void);
CW_API int32_t cw_flight_trigger_down_vo(uint16_t value);
CW_API int32_t cw_flight_trigger_compass_cali(uint16_t value);
CW_API int32_t cw_flight_subscribe_vib(void);

/* ---- Identity and quick-test switch ---- */

/* "on" or "off" (exactly); any other word sends switch 0. Returns the send result. */
CW_API int32_t cw_v1_cwqt_switch(const char *word);
/* Write / read back the identity record: 0, the send result, or the peer's result byte. */
CW_API int32_t cw_v1_flight_set_uuid(void);
CW_API int32_t cw_v1_flight_get_uuid(void);

CW_EXTERN_C_END

#endif /* CIRROW_CW_FLIGHT_H */
