/**
 * @file cw_flight.h
 * @brief Flight controller: state cache, data subscription, flight commands, parameters by name hash, identity.
 *
 * Every command goes to the flight controller, receiver 0x0306. Commands that await an answer
 * wait at most 200 ms; send-only commands return once the request is sent and cannot tell
 * whether the flight controller acted on it.
 *
 * Implemented in cw_basic/cw_communication/: cw_application/flight/src/cw_flight.cpp (cache, IMU
 * data group, GPS frame, wrappers), cw_protocal/src/api/cw_v1_flight_api.cpp (commands, parameters
 * by hash, identity, quick-test switch), cw_protocal/src/callback/cw_v1_flight_cb.cpp (push
 * handlers).
 */
#ifndef CIRROW_CW_FLIGHT_H
#define CIRROW_CW_FLIGHT_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/* ---- Records ----
 * Field names follow the byte offsets of the flight controller's messages; their meaning is the
 * flight controller's and the library passes them through unchanged. */

/** @brief Motor state, from the 34-byte 3/90 push.
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, flight.motor_state.
 */
typedef struct {
    uint8_t byte0_low;   /**< low four bits of byte 0 */
    uint8_t byte0_high;  /**< high four bits of byte 0 */
    uint16_t words1[8];  /**< bytes 1..16, eight little-endian 16-bit values */
    uint16_t words17[8]; /**< bytes 17..32, eight little-endian 16-bit values */
    uint8_t byte33;      /**< byte 33 */
} FcMotorState;
CW_STATIC_ASSERT(offsetof(FcMotorState, words1) == 2 && offsetof(FcMotorState, words17) == 18 &&
                     offsetof(FcMotorState, byte33) == 34,
                 "FcMotorState field offsets");
CW_STATIC_ASSERT(sizeof(FcMotorState) == 36, "FcMotorState is 36 bytes");

/** @brief Flight state, from the 12-byte 3/91 push.
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, flight.fc_state.
 */
typedef struct {
    uint8_t byte0;  /**< byte 0 */
    uint8_t byte1;  /**< byte 1 */
    uint8_t byte2;  /**< byte 2 */
    uint16_t word3; /**< bytes 3..4 */
    uint16_t word5; /**< bytes 5..6 */
    uint8_t byte7;  /**< byte 7 */
    uint8_t byte8;  /**< byte 8, shown in the periodic state log line */
    uint8_t byte9;  /**< byte 9 */
    uint8_t byte10; /**< byte 10 */
    uint8_t byte11; /**< byte 11 */
} FcState;
CW_STATIC_ASSERT(offsetof(FcState, word3) == 4 && offsetof(FcState, word5) == 6 && offsetof(FcState, byte8) == 9 &&
                     offsetof(FcState, byte11) == 12,
                 "FcState field offsets");
CW_STATIC_ASSERT(sizeof(FcState) == 14, "FcState is 14 bytes");

/** @brief Length of the sensor state message (3/106). */
#define CW_FC_SENSOR_LEN 59
/**
 * @brief Sensor state: the 59 bytes of the 3/106 push.
 *
 * The cache keeps them in a 60-byte record whose last byte stays 0; the update and get functions
 * move exactly the 59 message bytes.
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, flight.fc_sensor.
 */
typedef struct {
    uint8_t bytes[CW_FC_SENSOR_LEN + 1]; /**< the message bytes, then one zero byte */
} FcSensor;
CW_STATIC_ASSERT(sizeof(FcSensor) == 60, "FcSensor is 60 bytes");

/** @brief Quick-test heartbeat, bytes 1..5 of a 34/73 heartbeat.
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, quicktest.msg.
 */
typedef struct {
    uint8_t state;   /**< the quick-test state */
    uint8_t err;     /**< its error code */
    uint8_t rest[3]; /**< stored and returned unnamed */
} QtHeartbeat;
CW_STATIC_ASSERT(sizeof(QtHeartbeat) == 5, "QtHeartbeat is 5 bytes");

/** @brief Length of the IMU data group. */
#define CW_IMU_DATA_GROUP_LEN 136
/** @brief The vehicle's IMU data group as the middleware's data manager keeps it (opaque). */
typedef struct {
    uint8_t bytes[CW_IMU_DATA_GROUP_LEN]; /**< the data manager's item, copied unchanged */
} ImuDataGroup;
CW_STATIC_ASSERT(sizeof(ImuDataGroup) == 136, "ImuDataGroup is 136 bytes");

/** @brief A geodetic position. Longitude comes first. */
typedef struct {
    double longitude; /**< radians */
    double latitude;  /**< radians */
    float altitude;   /**< altitude, in the unit of the origin's altitude */
} GpsPosition;
CW_STATIC_ASSERT(offsetof(GpsPosition, latitude) == 8 && offsetof(GpsPosition, altitude) == 16,
                 "GpsPosition field offsets");

/** @brief A position in the local frame around the origin set by cw_flight_set_gps_origin_data(). */
typedef struct {
    float north;   /**< metres north of the origin */
    float east;    /**< metres east of the origin */
    float up;      /**< altitude difference to the origin */
    uint8_t valid; /**< 1 once computed */
} LocalPosition;
CW_STATIC_ASSERT(offsetof(LocalPosition, valid) == 12 && sizeof(LocalPosition) == 16, "LocalPosition layout");

/** @brief Attitude steering (cw_flight_attitude_control()): two mode bytes and six values, sent one for one.
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, flight.adv_control.
 */
typedef struct {
    uint8_t mode_a;  /**< first mode byte */
    uint8_t mode_b;  /**< second mode byte */
    float values[6]; /**< the six steering values, the flight controller's */
} FlightAttitudeCmd;
CW_STATIC_ASSERT(offsetof(FlightAttitudeCmd, values) == 4 && sizeof(FlightAttitudeCmd) == 28,
                 "FlightAttitudeCmd layout");

/** @brief IMU calibration read-back, decoded from answer bytes 6..49 of 3/171.
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, flight.imu_cali_rt.
 */
typedef struct {
    float value0;       /**< answer bytes 6..9 */
    float value1;       /**< answer bytes 10..13 */
    uint8_t raw_a[4];   /**< answer bytes 14..17, unchanged */
    float values2_8[7]; /**< answer bytes 18..45, seven floats */
    uint8_t raw_b[4];   /**< answer bytes 46..49, unchanged */
} ImuCaliRt;
CW_STATIC_ASSERT(offsetof(ImuCaliRt, raw_a) == 8 && offsetof(ImuCaliRt, values2_8) == 12 &&
                     offsetof(ImuCaliRt, raw_b) == 40 && sizeof(ImuCaliRt) == 44,
                 "ImuCaliRt layout");

/* ---- Flight state cache ----
 * Written by the push handlers (and by applications through the update functions), read by
 * polling. A reader always gets a whole record; before the first push every record is zero. */

/**
 * @brief Zeroes the motor state, flight state, sensor and quick-test heartbeat records.
 *        The quick-test process status and the GPS origin stay as they are.
 * @return 0.
 */
CW_API int32_t cw_flight_module_init(void);

/**
 * @brief Stores the motor state (the 3/90 handler stores through this too).
 * @param state the record to copy in.
 * @return 0; #CW_ERR_PARAM if @p state is null.
 */
CW_API int32_t cw_flight_update_fc_motor_state(const FcMotorState *state);
/**
 * @brief Stores the flight state (the 3/91 handler stores through this too); every 102nd update
 *        also writes a usrlog line with byte8.
 * @param state the record to copy in.
 * @return 0; #CW_ERR_PARAM if @p state is null.
 */
CW_API int32_t cw_flight_update_fc_state(const FcState *state);
/**
 * @brief Stores the sensor state (the 3/106 handler stores through this too).
 * @param sensor buffer of 59 bytes (#CW_FC_SENSOR_LEN, or an #FcSensor).
 * @return 0; #CW_ERR_PARAM if @p sensor is null.
 */
CW_API int32_t cw_flight_update_fc_sensor(const void *sensor);
/**
 * @brief Copies the latest motor state out.
 * @param[out] state receives the record.
 * @return 0; #CW_ERR_PARAM if @p state is null.
 */
CW_API int32_t cw_flight_get_fc_motor_state(FcMotorState *state);
/**
 * @brief Copies the latest flight state out.
 * @param[out] state receives the record.
 * @return 0; #CW_ERR_PARAM if @p state is null.
 */
CW_API int32_t cw_flight_get_fc_state(FcState *state);
/**
 * @brief Copies the latest sensor state out.
 * @param[out] sensor buffer of 59 bytes (#CW_FC_SENSOR_LEN, or an #FcSensor); exactly 59 are written.
 * @return 0; #CW_ERR_PARAM if @p sensor is null.
 */
CW_API int32_t cw_flight_get_fc_sensor(void *sensor);

/**
 * @brief Copies the IMU data group from the middleware's data manager (key 1, 0), waiting for it
 *        without limit.
 * @param[out] group buffer of 136 bytes (#CW_IMU_DATA_GROUP_LEN, or an #ImuDataGroup).
 * @return 0; the data manager's error code (logged); #CW_ERR_PARAM if @p group is null.
 */
CW_API int32_t cw_flight_get_imu_data_group(void *group);

/**
 * @brief Sets the origin of the local frame used by cw_flight_get_gps_pos_data().
 * @param record the caller's record holding, at byte offsets 40, 48 and 56, the latitude (double,
 *        radians), the longitude (double, radians) and the altitude (float); null: nothing happens.
 */
CW_API void cw_flight_set_gps_origin_data(const void *record);
/**
 * @brief Converts a geodetic position to the local frame around the origin (earth radius
 *        6378137 m; longitude differences wrap by pi). Without an origin set, latitude 0, longitude 0.
 * @param[out] local receives north and east in metres, the altitude difference and valid = 1.
 * @param position the position to convert.
 * @return 0; #CW_ERR_PARAM if @p local is null.
 */
CW_API int32_t cw_flight_get_gps_pos_data(LocalPosition *local, GpsPosition position);

/**
 * @brief Stores the quick-test heartbeat (the 34/73 handler stores through this too).
 * @param heartbeat the record to copy in.
 * @return 0; #CW_ERR_PARAM if @p heartbeat is null.
 */
CW_API int32_t cw_update_cw_qt_heartbeat(const QtHeartbeat *heartbeat);
/**
 * @brief Reads the quick-test state (heartbeat byte 0).
 * @param[out] state receives the byte.
 * @return 0; #CW_ERR_PARAM if @p state is null.
 */
CW_API int32_t cw_get_cwqt_state(uint8_t *state);
/**
 * @brief Reads the quick-test error code (heartbeat byte 1).
 * @param[out] err receives the byte.
 * @return 0; #CW_ERR_PARAM if @p err is null.
 */
CW_API int32_t cw_get_cwqt_err(uint8_t *err);
/**
 * @brief Reads the quick-test process status, set by the 34/72 handler.
 * @param[out] status 1 when the quick-test service last reported its process running (state 3), else 0.
 * @return 0; #CW_ERR_PARAM if @p status is null.
 */
CW_API int32_t cw_get_cwqt_proc_status(uint8_t *status);
/**
 * @brief Stores the quick-test process status.
 * @param status the value to store.
 * @return 0; #CW_ERR_PARAM if @p status is null.
 */
CW_API int32_t cw_set_cwqt_proc_status(const uint8_t *status);

/* ---- Data subscription and push handlers ---- */

/** @brief 1 once cw_flight_reset_and_subscribe() has set up the flight data stream; never cleared. */
extern CW_API uint8_t flyctrl_subscribe_init_flag;

/**
 * @brief Clears every subscription bag of the flight controller: 3/21 (no payload), result byte awaited.
 * @return 0; the middleware's code; #CW_ERR_ACK when the flight controller refused.
 */
CW_API int32_t cw_v1_flight_api_ds_reset(void);
/**
 * @brief Adds a subscription bag: 3/20 with bag, rate, the constant 1, count and the items
 *        (5 + 4 x count bytes). The five answer bytes are logged, not judged.
 * @param bag bag index.
 * @param rate the flight controller's rate value (200 at start-up).
 * @param count number of items, at most 62.
 * @param items @p count item identifiers, sent unchanged.
 * @return the send result: 0 once answered, the middleware's code; #CW_ERR_PARAM (nothing sent) for
 *         a count above 62 or null items with a non-zero count; #CW_ERR_NOMEM.
 */
CW_API int32_t cw_v1_flight_api_ds_bag_add(uint8_t bag, uint16_t rate, uint8_t count, const uint32_t *items);
/**
 * @brief Start-up of the flight data stream: resets the bags, adds bag 0 at rate 200 with the
 *        flight data item 0x1648B7D9 and raises #flyctrl_subscribe_init_flag. Stops at the first failure.
 * @return 0; the failing step's result.
 */
CW_API int32_t cw_flight_reset_and_subscribe(void);

/**
 * @brief Attaches the handlers of 3/90 (motor state), 3/91 (flight state), 3/106 (sensors), 34/72
 *        (quick-test process status) and 34/73 (quick-test heartbeat).
 * @return 0, whatever the middleware answers.
 */
CW_API int32_t cw_register_v1_flight_data(void);
/** @brief Detaches the five handlers of cw_register_v1_flight_data(). @return 0. */
CW_API int32_t cw_unregister_v1_flight_data(void);

/* ---- Flight commands ---- */

/**
 * @brief Takes or releases control: 3/128 with @p mode and 2, result byte awaited.
 * @param mode 1 take control, 2 release.
 * @return 0; the middleware's code; #CW_ERR_ACK when the flight controller refused.
 */
CW_API int32_t cw_v1_flight_api_control_enable(uint8_t mode);
/**
 * @brief Sets a flight sub-mode: 3/141 with the two bytes, result byte awaited.
 * @param mode the mode.
 * @param submode its sub-mode.
 * @return 0; the middleware's code; #CW_ERR_ACK when the flight controller refused.
 */
CW_API int32_t cw_v1_flight_api_submode_set(uint8_t mode, uint8_t submode);
/**
 * @brief Steers the attitude. Send-only: 3/142, 26 bytes (the two mode bytes, the six floats).
 * @param mode_a first mode byte.
 * @param mode_b second mode byte.
 * @param v0 first value.
 * @param v1 second value.
 * @param v2 third value.
 * @param v3 fourth value.
 * @param v4 fifth value.
 * @param v5 sixth value.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_flight_api_adv_control(uint8_t mode_a, uint8_t mode_b, float v0, float v1, float v2, float v3,
                                            float v4, float v5);
/**
 * @brief Steers the yaw rate. Send-only: 3/158 with the float.
 * @param rate the yaw rate, the flight controller's unit.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_flight_api_yaw_rate_control(float rate);
/**
 * @brief Runs a flight function. Send-only: 3/42 with the byte.
 * @param function 1 take off, 6 land, 31 land in a test mode; others are the flight controller's.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_flight_api_function_control(uint8_t function);
/**
 * @brief Switches obstacle avoidance. Send-only: 3/26 with the byte.
 * @param on_off 255 on, 0 off.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_flight_api_switch_oa(uint8_t on_off);
/**
 * @brief Sends a flight heartbeat. Send-only: 10/86 with the two bytes.
 * @param kind heartbeat kind (50: flight-test mode).
 * @param value its value.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_flight_api_send_heartbeat(uint8_t kind, uint8_t value);
/** @brief Starts the propeller calibration. Send-only: 10/84 with 1. @return 0 once sent; the middleware's code. */
CW_API int32_t cw_v1_flight_api_imu_propeller_cali(void);
/** @brief Resets the propeller calibration. Send-only: 10/84 with 2. @return 0 once sent; the middleware's code. */
CW_API int32_t cw_v1_flight_api_imu_propeller_cali_reset(void);
/**
 * @brief IMU calibration heartbeat: 0/0 with 14; the answer byte must be 14.
 * @return 0; the middleware's code; #CW_ERR_ACK for any other answer byte (0 included).
 */
CW_API int32_t cw_v1_flight_api_imu_base_heartbeat(void);
/**
 * @brief Starts an IMU calibration step: 3/249 with @p key and @p value; the answer must be a zero
 *        result byte followed by the five request bytes.
 * @param key the step's key (32 bits, little-endian).
 * @param value the step's value.
 * @return 0; the middleware's code; #CW_ERR_ACK when the answer does not echo the request.
 */
CW_API int32_t cw_v1_flight_api_imu_start_cali(uint32_t key, uint8_t value);
/**
 * @brief Reads the IMU calibration progress: 3/248 with @p key; the answer must be a zero result
 *        byte and the four key bytes, then the progress byte.
 * @param key the step's key.
 * @param[out] progress receives answer byte 5 on success.
 * @return 0; the middleware's code; #CW_ERR_ACK when the answer does not echo the request;
 *         #CW_ERR_PARAM if @p progress is null (nothing sent).
 */
CW_API int32_t cw_v1_flight_api_imu_read_process(uint32_t key, uint8_t *progress);
/**
 * @brief Reads back the IMU calibration: 3/171 with the caller's bytes; a 50-byte answer starting
 *        with 0A 00 52 29 2C 00 or 0A 01 52 29 2C 00 is accepted and decoded.
 * @param request the request bytes, sent unchanged.
 * @param request_len their number, at most 2048.
 * @param[out] result receives the decoded answer on success.
 * @return 0; the middleware's code; #CW_ERR_ACK when the answer header does not match;
 *         #CW_ERR_PARAM (nothing sent) if a pointer is null or @p request_len exceeds 2048.
 */
CW_API int32_t cw_v1_flight_api_imu_read_cali_rt(const uint8_t *request, uint32_t request_len, ImuCaliRt *result);

/* Convenience wrappers: each returns the result of the command it forwards to. */

/** @brief cw_v1_flight_api_control_enable() with 1: take control. @return its result. */
CW_API int32_t cw_flight_obtain_control(void);
/** @brief cw_v1_flight_api_control_enable() with 2: release control. @return its result. */
CW_API int32_t cw_flight_release_control(void);
/**
 * @brief cw_v1_flight_api_adv_control() with the record's fields, in order.
 * @param cmd the mode bytes and values.
 * @return its result; #CW_ERR_PARAM if @p cmd is null (nothing sent).
 */
CW_API int32_t cw_flight_attitude_control(const FlightAttitudeCmd *cmd);
/** @brief Same as cw_v1_flight_api_yaw_rate_control(). @param rate the yaw rate. @return its result. */
CW_API int32_t cw_flight_yaw_rate_control(float rate);
/** @brief Takes off: cw_v1_flight_api_function_control() with 1. @return its result. */
CW_API int32_t cw_flight_takeoff(void);
/**
 * @brief Lands: cw_v1_flight_api_function_control() with 6 in normal mode, 31 in any test mode
 *        (set_test_mode()).
 * @return its result.
 */
CW_API int32_t cw_flight_land(void);
/** @brief Switches obstacle avoidance on: cw_v1_flight_api_switch_oa() with 255. @return its result. */
CW_API int32_t cw_flight_enable_oa(void);
/** @brief Switches obstacle avoidance off: cw_v1_flight_api_switch_oa() with 0. @return its result. */
CW_API int32_t cw_flight_disable_oa(void);
/**
 * @brief Keeps a flight-test mode alive: cw_v1_flight_api_send_heartbeat() with kind 50.
 * @param mode the flight-test mode.
 * @return its result.
 */
CW_API int32_t cw_flight_send_flytest_mode(uint8_t mode);
/** @brief Same as cw_v1_flight_api_imu_propeller_cali(). @return its result. */
CW_API int32_t cw_flight_imu_propeller_cali(void);
/** @brief Same as cw_v1_flight_api_imu_propeller_cali_reset(). @return its result. */
CW_API int32_t cw_flight_imu_propeller_cali_reset(void);
/** @brief Same as cw_v1_flight_api_imu_base_heartbeat(). @return its result. */
CW_API int32_t cw_flight_imu_base_heartbeat(void);
/**
 * @brief Same as cw_v1_flight_api_imu_start_cali().
 * @param key the step's key.
 * @param value the step's value.
 * @return its result.
 */
CW_API int32_t cw_flight_imu_start_cali(uint32_t key, uint8_t value);
/**
 * @brief Same as cw_v1_flight_api_imu_read_process().
 * @param key the step's key.
 * @param[out] progress receives the progress on success.
 * @return its result.
 */
CW_API int32_t cw_flight_imu_read_process(uint32_t key, uint8_t *progress);
/**
 * @brief Same as cw_v1_flight_api_imu_read_cali_rt().
 * @param request the request bytes.
 * @param request_len their number, at most 2048.
 * @param[out] result receives the decoded answer on success.
 * @return its result.
 */
CW_API int32_t cw_flight_imu_read_cali_rt(const uint8_t *request, uint32_t request_len, ImuCaliRt *result);

/* ---- Parameters by name hash ----
 * Parameters are addressed on the link by a 32-bit hash of their name: read 3/248, write 3/249. */

/**
 * @brief The link's 32-bit hash of a parameter name: h = (h x 256 + byte) mod 4294967291 over its bytes.
 * @param name the name, such as "g_config.flying_limit.max_height_0"; null hashes like "", to 0.
 * @return the hash.
 */
CW_API uint32_t get_hash_value(const char *name);
/**
 * @brief Reads a parameter and logs its first value byte: 3/248 with the hash, 6-byte answer.
 * @param hash the parameter's hash (get_hash_value()).
 * @return 0; the middleware's code; the flight controller's non-zero result byte (never
 *         #CW_ERR_ACK); #CW_ERR_PARAM if @p hash is null (nothing sent).
 */
CW_API int32_t nav_v1_flight_api_read_pm(const uint32_t *hash);
/**
 * @brief Writes a parameter and logs the first byte of the value read back: 3/249 with the hash
 *        and the value, a 5 + @p size byte answer.
 * @param hash the parameter's hash (get_hash_value()).
 * @param value @p size bytes, little-endian.
 * @param size the parameter's size, at most 250.
 * @return 0; the middleware's code; the flight controller's non-zero result byte (never
 *         #CW_ERR_ACK); #CW_ERR_PARAM (nothing sent) if @p hash is null, @p value is null with a
 *         non-zero size, or @p size exceeds 250; #CW_ERR_NOMEM.
 */
CW_API int32_t nav_v1_flight_api_write_pm(const uint32_t *hash, const void *value, uint32_t size);
/**
 * @brief Enables the radius limit and sets the height and radius limits, reading them before and after.
 * @param height the height limit ("g_config.flying_limit.max_height_0").
 * @param radius the radius limit ("g_config.flying_limit.max_radius_0").
 * @return 0, whatever the steps returned (each logs its outcome).
 */
CW_API int32_t cw_set_height_and_radius_limit_value(uint16_t height, uint16_t radius);
/**
 * @brief Switches downward visual odometry ("g_config.mvo_cfg.mvo_func_en_0"). Send-only write.
 * @param value the 16-bit value written.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_flight_api_trigger_dowm_vo(uint16_t value);
/**
 * @brief Switches automatic compass calibration ("auto_cali_enable_0"). Send-only write.
 * @param value the 16-bit value written.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_flight_api_trigger_compass_cali(uint16_t value);
/**
 * @brief Subscribes to vibration data: writes 1 to "enable_0". Send-only.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_flight_api_subscribe_vib(void);
/** @brief Same as cw_v1_flight_api_trigger_dowm_vo(). @param value the value written. @return its result. */
CW_API int32_t cw_flight_trigger_down_vo(uint16_t value);
/** @brief Same as cw_v1_flight_api_trigger_compass_cali(). @param value the value written. @return its result. */
CW_API int32_t cw_flight_trigger_compass_cali(uint16_t value);
/** @brief Same as cw_v1_flight_api_subscribe_vib(). @return its result. */
CW_API int32_t cw_flight_subscribe_vib(void);

/* ---- Identity and quick-test switch ---- */

/**
 * @brief Switches the quick-test service. Send-only: 34/72 to 0x1105 (switch, 0, 5 when on).
 * @param word "on" or "off" (exactly); any other word, or null, sends switch 0.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_cwqt_switch(const char *word);
/**
 * @brief Writes the identity record: 3/218 with the fixed 10-byte record; answer byte 1 is the result.
 * @return 0; the middleware's code; the flight controller's non-zero result byte (never #CW_ERR_ACK).
 */
CW_API int32_t cw_v1_flight_set_uuid(void);
/**
 * @brief Reads the identity record back and logs it: 3/218 with 8; answer byte 1 is the result.
 * @return 0; the middleware's code; the flight controller's non-zero result byte (never #CW_ERR_ACK).
 */
CW_API int32_t cw_v1_flight_get_uuid(void);

CW_EXTERN_C_END

#endif /* CIRROW_CW_FLIGHT_H */
