/**
 * @file cw_rc.h
 * @brief Remote controller: stick and button values pushed by the remote controller.
 *
 * The values are the remote controller's; the library decodes them from the pushes (each 16-bit
 * value little-endian), stores them and copies them out without interpreting them.
 *
 * Implemented in cw_basic/cw_communication/: cw_application/rc/src/cw_rc.cpp (cache),
 * cw_protocal/src/callback/cw_v1_rc_cb.cpp (push handlers).
 */
#ifndef CIRROW_CW_RC_H
#define CIRROW_CW_RC_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/** @brief The four stick values, from the 8-byte 10/6 push.
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, rc.sticks.
 */
typedef struct {
    uint16_t field0; /**< bytes 0..1 */
    uint16_t field1; /**< bytes 2..3 */
    uint16_t field2; /**< bytes 4..5 */
    uint16_t field3; /**< bytes 6..7 */
} RcStickValue;
CW_STATIC_ASSERT(sizeof(RcStickValue) == 8, "RcStickValue is 8 bytes");

/** @brief The button information, from the 6-byte 6/80 push.
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, rc.buttons.
 */
typedef struct {
    uint16_t field0; /**< bytes 0..1 */
    uint16_t field1; /**< bytes 2..3 */
    uint8_t field2;  /**< byte 4 */
    uint8_t field3;  /**< byte 5 */
} RcExtendValue;
CW_STATIC_ASSERT(offsetof(RcExtendValue, field2) == 4 && sizeof(RcExtendValue) == 6, "RcExtendValue layout");

/* ---- rc cache ----
 * Whole-record copies; a getter never sees a record mixed from two updates. */

/** @brief Zeroes both records. @return 0. */
CW_API int32_t cw_rc_module_init(void);
/**
 * @brief Stores the stick values (the 10/6 handler stores through this too).
 * @param value the record to copy in.
 * @return 0; #CW_ERR_PARAM if @p value is null.
 */
CW_API int32_t cw_rc_update_stick_value(const RcStickValue *value);
/**
 * @brief Stores the button information (the 6/80 handler stores through this too).
 * @param value the record to copy in.
 * @return 0; #CW_ERR_PARAM if @p value is null.
 */
CW_API int32_t cw_rc_update_extend_value(const RcExtendValue *value);
/**
 * @brief Copies the latest stick values out (all zero before the first).
 * @param[out] value receives the record.
 * @return 0; #CW_ERR_PARAM if @p value is null.
 */
CW_API int32_t cw_rc_get_stick_value(RcStickValue *value);
/**
 * @brief Copies the latest button information out (all zero before the first).
 * @param[out] value receives the record.
 * @return 0; #CW_ERR_PARAM if @p value is null.
 */
CW_API int32_t cw_rc_get_extend_value(RcExtendValue *value);

/**
 * @brief Attaches the button (6/80) then the stick (10/6) handler, for the life of the process.
 * @return 0, whatever the middleware answers.
 */
CW_API int32_t cw_register_v1_rc_data(void);

CW_EXTERN_C_END

#endif /* CIRROW_CW_RC_H */
