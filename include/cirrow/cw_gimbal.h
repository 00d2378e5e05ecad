/* Gimbal: state cache and commands. */
/* Implemented in cw_basic/cw_communication/: cw_application/gimbal/src/cw_gimbal.cpp (cache, wrappers),
 * cw_protocal/src/api/cw_v1_gimbal_api.cpp (commands), cw_protocal/src/callback/cw_v1_gimbal_cb.cpp (push
 * handlers). */
/* A null pointer argument is refused: a function with a result returns CW_ERR_PARAM and sends
 * nothing, one without a result does nothing. A null text counts as any other text. */
#ifndef CIRROW_CW_GIMBAL_H
#define CIRROW_CW_GIMBAL_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/* ---- Records ----
 * Field names follow the gimbal's messages; their meaning is the gimbal's and the library passes
 * them through unchanged. */

/* General gimbal information, from the 16-byte 4/5 push (the fpv slot has the same layout). */
typedef struct {
    uint16_t field0; /* bytes 0..1 */
    uint16_t field1; /* bytes 2..3 */
    uint16_t field2; /* bytes 4..5 */
    uint16_t field3; /* bytes 6..7 */
    uint32_t field4; /* bytes 8..11 */
    uint32_t field5; /* bytes 12..15 */
} GimbalInfo;
CW_STATIC_ASSERT(offsetof(GimbalInfo, field4) == 8 && offsetof(GimbalInfo, field5) == 12, "GimbalInfo offsets");
CW_STATIC_ASSERT(sizeof(GimbalInfo) == 16, "GimbalInfo is 16 bytes");

/* Gimbal control information, from the 8-byte 4/1 push. */
typedef struct {
    uint16_t field0; /* bytes 0..1 */
    uint16_t field1; /* bytes 2..3 */
    uint16_t field2; /* bytes 4..5 */
    uint8_t field3;  /* byte 6 */
    uint8_t field4;  /* byte 7 */
} GimbalCtrlInfo;
CW_STATIC_ASSERT(offsetof(GimbalCtrlInfo, field3) == 6 && sizeof(GimbalCtrlInfo) == 8, "GimbalCtrlInfo layout");

/* Result of a water-wave detection, from the 7-byte 4/63 push. */
typedef struct {
    uint16_t field0; /* bytes 0..1 */
    uint16_t field1; /* bytes 2..3 */
    uint16_t field2; /* bytes 4..5 */
    uint8_t field3;  /* byte 6 */
} GimbalWvResult;
CW_STATIC_ASSERT(offsetof(GimbalWvResult, field3) == 6 && sizeof(GimbalWvResult) == 8, "GimbalWvResult layout");

/* Arguments of an angle command. Each flag contributes only its lowest bit. */
typedef struct {
    int16_t angle0;
    int16_t angle1;
    int16_t angle2;
    uint8_t flag1;
    uint8_t flag2;
    uint8_t flag3;
    uint8_t flag4;
    uint8_t flag5;
    uint8_t flag6;
    uint16_t value;
} GimbalAngleCmd;
CW_STATIC_ASSERT(offsetof(GimbalAngleCmd, flag1) == 6 && offsetof(GimbalAngleCmd, value) == 12 &&
                     sizeof(GimbalAngleCmd) == 14,
                 "GimbalAngleCmd layout");

/* Arguments of a rate command (no flag 5: rate control never sets that bit). */
typedef struct {
    int16_t rate0;
    int16_t rate1;
    int16_t rate2;
    uint8_t flag1;
    uint8_t flag2;
    uint8_t flag3;
    uint8_t flag4;
    uint8_t flag6;
} GimbalRateCmd;
CW_STATIC_ASSERT(offsetof(GimbalRateCmd, flag1) == 6 && offsetof(GimbalRateCmd, flag6) == 10 &&
                     sizeof(GimbalRateCmd) == 12,
                 "GimbalRateCmd layout");

/* ---- Gimbal cache ----
 * The three pushed records plus an fpv slot written only by applications. Updates and getters
 * copy whole records; a getter never sees a record mixed from two updates. All return 0. */

CW_API int32_t cw_gimbal_module_init(void); /* zeroes all four records */
CW_API int32_t cw_gimbal_update_main_gimbal_info(const GimbalInfo *info);
CW_API int32_t cw_gimbal_update_fpv_gimbal_info(const GimbalInfo *info);
CW_API int32_t cw_gimbal_update_main_gimbal_ctrl_info(const GimbalCtrlInfo *info);
CW_API int32_t cw_gimbal_update_wv_result(const GimbalWvResult *result);
CW_API int32_t cw_gimbal_get_main_gimbal_info(GimbalInfo *info);
CW_API int32_t cw_gimbal_get_fpv_gimbal_info(GimbalInfo *info);
CW_API int32_t cw_gimbal_get_main_gimbal_ctrl_info(GimbalCtrlInfo *info);
CW_API int32_t cw_gimbal_get_wv_result(GimbalWvResult *result);

/* Attaches (detaches) the handlers of 4/1, 4/5 and 4/63, in that order. Return 0. */
CW_API int32_t cw_register_v1_gimbal_data(void);
CW_API int32_t cw_unregister_v1_gimbal_data(void);

/* ---- Gimbal commands ----
 * Results: 0, the link's code when the request could not be sent or answered, or CW_ERR_ACK
 * where the gimbal refused. Arguments are sent as given, unchecked. */

/* The gimbal's answer byte is logged, not judged: the result is the send result. */
CW_API int32_t cw_v1_gimbal_api_mode_control(uint8_t mode);
CW_API int32_t cw_v1_gimbal_api_angle_control(int16_t angle0, int16_t angle1, int16_t angle2, uint8_t flag1,
                                              uint8_t flag2, uint8_t flag3, uint8_t flag4, uint8_t flag5, uint8_t flag6,
                                              uint16_t value);
/* Send-only. */
CW_API int32_t cw_v1_gimbal_api_rate_control(int16_t rate0, int16_t rate1, int16_t rate2, uint8_t flag1, uint8_t flag2,
                                             uint8_t flag3, uint8_t flag4, uint8_t flag6);
CW_API int32_t cw_v1_gimbal_api_reset_yaw(void);       /* send-only */
CW_API int32_t cw_v1_gimbal_api_release_control(void); /* send-only */
/* On success writes the three joint values (32 bits each, copied unchanged). */
CW_API int32_t cw_v1_gimbal_api_query_joint_angle(int32_t *first, int32_t *second, int32_t *third);
/* "START" (exactly) starts a detection; any other text sends the stop value. The result
 * arrives later in the water-wave record. */
CW_API int32_t cw_v1_gimbal_api_waterwave_trigger(const char *action);
CW_API int32_t cw_v1_gimbal_subscribe_info(uint8_t byte0, uint8_t byte1, uint8_t byte2);

/* Convenience wrappers: each returns the result of the command it forwards to. */
CW_API int32_t cw_gimbal_mode_control(uint8_t mode);
CW_API int32_t cw_gimbal_angle_control(const GimbalAngleCmd *cmd);
CW_API int32_t cw_gimbal_rate_control(const GimbalRateCmd *cmd);
CW_API int32_t cw_gimbal_reset_yaw(void);
/* Drives the gimbal to zero angles (flags 1 and 5, value 10). */
CW_API int32_t cw_gimbal_reset(void);
CW_API int32_t cw_gimbal_release_control(void);
CW_API int32_t cw_gimbal_waterwave_trigger(const char *action);
/* values[0], values[1], values[2] receive the first, last and middle value of the answer. */
CW_API int32_t cw_gimbal_query_joint_angle(int32_t values[3]);

CW_EXTERN_C_END

#endif /* CIRROW_CW_GIMBAL_H */
