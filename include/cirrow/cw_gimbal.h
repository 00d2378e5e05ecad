/**
 * @file cw_gimbal.h
 * @brief Gimbal: state cache and commands.
 *
 * Every command goes to the gimbal, command set 4, receiver 0x0400. Field names of the records
 * follow the gimbal's messages; their meaning is the gimbal's and the library passes them through
 * unchanged (16-bit values little-endian on the link).
 *
 * Implemented in cw_basic/cw_communication/: cw_application/gimbal/src/cw_gimbal.cpp (cache,
 * wrappers), cw_protocal/src/api/cw_v1_gimbal_api.cpp (commands),
 * cw_protocal/src/callback/cw_v1_gimbal_cb.cpp (push handlers).
 */
#ifndef CIRROW_CW_GIMBAL_H
#define CIRROW_CW_GIMBAL_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/* ---- Records ---- */

/** @brief General gimbal information, from the 16-byte 4/5 push (the fpv slot has the same layout).
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, gimbal.info.
 */
typedef struct {
    uint16_t field0; /**< bytes 0..1 */
    uint16_t field1; /**< bytes 2..3 */
    uint16_t field2; /**< bytes 4..5 */
    uint16_t field3; /**< bytes 6..7 */
    uint32_t field4; /**< bytes 8..11 */
    uint32_t field5; /**< bytes 12..15 */
} GimbalInfo;
CW_STATIC_ASSERT(offsetof(GimbalInfo, field4) == 8 && offsetof(GimbalInfo, field5) == 12, "GimbalInfo offsets");
CW_STATIC_ASSERT(sizeof(GimbalInfo) == 16, "GimbalInfo is 16 bytes");

/** @brief Gimbal control information, from the 8-byte 4/1 push.
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, gimbal.ctrl_info.
 */
typedef struct {
    uint16_t field0; /**< bytes 0..1 */
    uint16_t field1; /**< bytes 2..3 */
    uint16_t field2; /**< bytes 4..5 */
    uint8_t field3;  /**< byte 6 */
    uint8_t field4;  /**< byte 7 */
} GimbalCtrlInfo;
CW_STATIC_ASSERT(offsetof(GimbalCtrlInfo, field3) == 6 && sizeof(GimbalCtrlInfo) == 8, "GimbalCtrlInfo layout");

/** @brief Result of a water-wave detection, from the 7-byte 4/63 push.
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, gimbal.wv_result.
 */
typedef struct {
    uint16_t field0; /**< bytes 0..1 */
    uint16_t field1; /**< bytes 2..3 */
    uint16_t field2; /**< bytes 4..5 */
    uint8_t field3;  /**< byte 6 */
} GimbalWvResult;
CW_STATIC_ASSERT(offsetof(GimbalWvResult, field3) == 6 && sizeof(GimbalWvResult) == 8, "GimbalWvResult layout");

/** @brief Arguments of an angle command (cw_gimbal_angle_control()). Each flag contributes only its lowest bit.
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, gimbal.angle_control.
 */
typedef struct {
    int16_t angle0; /**< first angle, payload bytes 0..1 */
    int16_t angle1; /**< second angle, payload bytes 2..3 */
    int16_t angle2; /**< third angle, payload bytes 4..5 */
    uint8_t flag1;  /**< bit 1 of the flags byte */
    uint8_t flag2;  /**< bit 2 of the flags byte */
    uint8_t flag3;  /**< bit 3 of the flags byte */
    uint8_t flag4;  /**< bit 4 of the flags byte */
    uint8_t flag5;  /**< bit 5 of the flags byte */
    uint8_t flag6;  /**< bit 6 of the flags byte */
    uint16_t value; /**< payload bytes 10..11 */
} GimbalAngleCmd;
CW_STATIC_ASSERT(offsetof(GimbalAngleCmd, flag1) == 6 && offsetof(GimbalAngleCmd, value) == 12 &&
                     sizeof(GimbalAngleCmd) == 14,
                 "GimbalAngleCmd layout");

/** @brief Arguments of a rate command (cw_gimbal_rate_control()); no flag 5: rate control never sets that bit.
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, gimbal.rate_control.
 */
typedef struct {
    int16_t rate0; /**< first rate, payload bytes 0..1 */
    int16_t rate1; /**< second rate, payload bytes 2..3 */
    int16_t rate2; /**< third rate, payload bytes 4..5 */
    uint8_t flag1; /**< bit 1 of the flags byte */
    uint8_t flag2; /**< bit 2 of the flags byte */
    uint8_t flag3; /**< bit 3 of the flags byte */
    uint8_t flag4; /**< bit 4 of the flags byte */
    uint8_t flag6; /**< bit 6 of the flags byte */
} GimbalRateCmd;
CW_STATIC_ASSERT(offsetof(GimbalRateCmd, flag1) == 6 && offsetof(GimbalRateCmd, flag6) == 10 &&
                     sizeof(GimbalRateCmd) == 12,
                 "GimbalRateCmd layout");

/* ---- Gimbal cache ----
 * The three pushed records plus an fpv slot written only by applications. Updates and getters
 * copy whole records; a getter never sees a record mixed from two updates. */

/** @brief Zeroes all four records, the fpv slot included. @return 0. */
CW_API int32_t cw_gimbal_module_init(void);
/**
 * @brief Stores the main gimbal information (the 4/5 handler stores through this too).
 * @param info the record to copy in.
 * @return 0; #CW_ERR_PARAM if @p info is null.
 */
CW_API int32_t cw_gimbal_update_main_gimbal_info(const GimbalInfo *info);
/**
 * @brief Stores the fpv gimbal information; nothing else writes it.
 * @param info the record to copy in.
 * @return 0; #CW_ERR_PARAM if @p info is null.
 */
CW_API int32_t cw_gimbal_update_fpv_gimbal_info(const GimbalInfo *info);
/**
 * @brief Stores the main gimbal control information (the 4/1 handler stores through this too).
 * @param info the record to copy in.
 * @return 0; #CW_ERR_PARAM if @p info is null.
 */
CW_API int32_t cw_gimbal_update_main_gimbal_ctrl_info(const GimbalCtrlInfo *info);
/**
 * @brief Stores the water-wave result (the 4/63 handler stores through this too).
 * @param result the record to copy in.
 * @return 0; #CW_ERR_PARAM if @p result is null.
 */
CW_API int32_t cw_gimbal_update_wv_result(const GimbalWvResult *result);
/**
 * @brief Copies the latest main gimbal information out (all zero before the first).
 * @param[out] info receives the record.
 * @return 0; #CW_ERR_PARAM if @p info is null.
 */
CW_API int32_t cw_gimbal_get_main_gimbal_info(GimbalInfo *info);
/**
 * @brief Copies the fpv gimbal information out, as an application last stored it.
 * @param[out] info receives the record.
 * @return 0; #CW_ERR_PARAM if @p info is null.
 */
CW_API int32_t cw_gimbal_get_fpv_gimbal_info(GimbalInfo *info);
/**
 * @brief Copies the latest main gimbal control information out (all zero before the first).
 * @param[out] info receives the record.
 * @return 0; #CW_ERR_PARAM if @p info is null.
 */
CW_API int32_t cw_gimbal_get_main_gimbal_ctrl_info(GimbalCtrlInfo *info);
/**
 * @brief Copies the latest water-wave result out (all zero before the first).
 * @param[out] result receives the record.
 * @return 0; #CW_ERR_PARAM if @p result is null.
 */
CW_API int32_t cw_gimbal_get_wv_result(GimbalWvResult *result);

/** @brief Attaches the handlers of 4/1, 4/5 and 4/63, in that order. @return 0, whatever the middleware answers. */
CW_API int32_t cw_register_v1_gimbal_data(void);
/** @brief Detaches the handlers of 4/1, 4/5 and 4/63; the cache keeps its last values. @return 0. */
CW_API int32_t cw_unregister_v1_gimbal_data(void);

/* ---- Gimbal commands ----
 * Arguments are sent as given, unchecked. Send failures are returned unchanged, never as
 * CW_ERR_ACK. */

/**
 * @brief Changes the gimbal's mode.
 *
 * Sends 4/68 with @p mode and awaits one answer byte (200 ms), logged when non-zero but not judged.
 * @param mode the gimbal's mode value.
 * @return 0 when answered, whatever the answer byte; the middleware's code.
 */
CW_API int32_t cw_v1_gimbal_api_mode_control(uint8_t mode);
/**
 * @brief Drives the gimbal to angles.
 *
 * Sends 4/10 (12 bytes: the three angles, the constant 10, a flags byte with bit 7 set and the
 * flags in bits 1..6, a zero byte, @p value) and awaits one answer byte (1 s), logged when
 * non-zero but not judged.
 * @param angle0 first angle.
 * @param angle1 second angle.
 * @param angle2 third angle.
 * @param flag1 bit 1 of the flags byte (lowest bit used).
 * @param flag2 bit 2 (lowest bit used).
 * @param flag3 bit 3 (lowest bit used).
 * @param flag4 bit 4 (lowest bit used).
 * @param flag5 bit 5 (lowest bit used).
 * @param flag6 bit 6 (lowest bit used).
 * @param value sent at payload bytes 10..11.
 * @return 0 when answered, whatever the answer byte; the middleware's code.
 */
CW_API int32_t cw_v1_gimbal_api_angle_control(int16_t angle0, int16_t angle1, int16_t angle2, uint8_t flag1,
                                              uint8_t flag2, uint8_t flag3, uint8_t flag4, uint8_t flag5, uint8_t flag6,
                                              uint16_t value);
/**
 * @brief Drives the gimbal at rates. Send-only.
 *
 * Sends 4/12 (7 bytes: the three rates, then a flags byte with bit 7 set and the flags in bits
 * 1..4 and 6) without awaiting an answer.
 * @param rate0 first rate.
 * @param rate1 second rate.
 * @param rate2 third rate.
 * @param flag1 bit 1 of the flags byte (lowest bit used).
 * @param flag2 bit 2 (lowest bit used).
 * @param flag3 bit 3 (lowest bit used).
 * @param flag4 bit 4 (lowest bit used).
 * @param flag6 bit 6 (lowest bit used).
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_gimbal_api_rate_control(int16_t rate0, int16_t rate1, int16_t rate2, uint8_t flag1, uint8_t flag2,
                                             uint8_t flag3, uint8_t flag4, uint8_t flag6);
/**
 * @brief Resets the gimbal's yaw. Send-only: 4/12 with zero rates and the flags byte 0x20.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_gimbal_api_reset_yaw(void);
/**
 * @brief Releases control of the gimbal. Send-only: 4/10 with twelve zero bytes.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_gimbal_api_release_control(void);
/**
 * @brief Reads the gimbal's three joint values.
 *
 * Sends 4/104 (0x11 0x01 0x01) and awaits a 15-byte answer (200 ms): result byte 0, then 32-bit
 * values at bytes 3, 7 and 11.
 * @param[out] first receives answer bytes 3..6, copied unchanged.
 * @param[out] second receives answer bytes 11..14.
 * @param[out] third receives answer bytes 7..10.
 * @return 0; the middleware's code; #CW_ERR_ACK when the result byte is non-zero; #CW_ERR_PARAM if
 *         a pointer is null (nothing sent). Outputs are written on success only.
 */
CW_API int32_t cw_v1_gimbal_api_query_joint_angle(int32_t *first, int32_t *second, int32_t *third);
/**
 * @brief Starts or stops a water-wave detection; the result arrives later as the 4/63 push
 *        (cw_gimbal_get_wv_result()).
 *
 * Sends 4/61 with 0x10 (start) or 0 (stop) and awaits the result byte (20 ms).
 * @param action "START" (exactly) starts; any other text, or null, sends the stop value.
 * @return 0; the middleware's code; #CW_ERR_ACK when the gimbal refused.
 */
CW_API int32_t cw_v1_gimbal_api_waterwave_trigger(const char *action);
/**
 * @brief Subscribes to the gimbal's information.
 *
 * Sends 4/30 with the three bytes and a zero byte, and awaits the result byte (200 ms).
 * @param byte0 payload byte 0.
 * @param byte1 payload byte 1.
 * @param byte2 payload byte 2.
 * @return 0; the middleware's code; #CW_ERR_ACK when the gimbal refused.
 */
CW_API int32_t cw_v1_gimbal_subscribe_info(uint8_t byte0, uint8_t byte1, uint8_t byte2);

/* Convenience wrappers: each returns the result of the command it forwards to. */

/** @brief Same as cw_v1_gimbal_api_mode_control(). @param mode the gimbal's mode value. @return its result. */
CW_API int32_t cw_gimbal_mode_control(uint8_t mode);
/**
 * @brief cw_v1_gimbal_api_angle_control() with the record's ten fields, in order.
 * @param cmd the angles, flags and value.
 * @return its result; #CW_ERR_PARAM if @p cmd is null (nothing sent).
 */
CW_API int32_t cw_gimbal_angle_control(const GimbalAngleCmd *cmd);
/**
 * @brief cw_v1_gimbal_api_rate_control() with the record's eight fields, in order.
 * @param cmd the rates and flags.
 * @return its result; #CW_ERR_PARAM if @p cmd is null (nothing sent).
 */
CW_API int32_t cw_gimbal_rate_control(const GimbalRateCmd *cmd);
/** @brief Same as cw_v1_gimbal_api_reset_yaw(). @return its result. */
CW_API int32_t cw_gimbal_reset_yaw(void);
/**
 * @brief Drives the gimbal to zero angles: cw_v1_gimbal_api_angle_control() with flags 1 and 5 and value 10.
 * @return its result.
 */
CW_API int32_t cw_gimbal_reset(void);
/** @brief Same as cw_v1_gimbal_api_release_control(). @return its result. */
CW_API int32_t cw_gimbal_release_control(void);
/**
 * @brief Same as cw_v1_gimbal_api_waterwave_trigger().
 * @param action "START" starts; any other text, or null, stops.
 * @return its result.
 */
CW_API int32_t cw_gimbal_waterwave_trigger(const char *action);
/**
 * @brief cw_v1_gimbal_api_query_joint_angle() into an array.
 * @param[out] values values[0], values[1], values[2] receive the first, last and middle value of the answer.
 * @return its result; #CW_ERR_PARAM if @p values is null (nothing sent).
 */
CW_API int32_t cw_gimbal_query_joint_angle(int32_t values[3]);

CW_EXTERN_C_END

#endif /* CIRROW_CW_GIMBAL_H */
