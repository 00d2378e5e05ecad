/* Device information: firmware version, serial numbers, battery queries. */
/* Implemented in cw_basic/cw_communication/: cw_protocal/src/api/cw_v1_common_api.cpp (version, serial number),
 * cw_protocal/src/api/cw_v1_battery_api.cpp (battery). */
/* A null pointer argument is refused: a function with a result returns CW_ERR_PARAM and sends
 * nothing, one without a result does nothing. */
#ifndef CIRROW_CW_DEVICE_H
#define CIRROW_CW_DEVICE_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/* Caller buffer sizes. */
#define CW_VERSION_TEXT_LEN 16 /* "255.255.255.255" and its terminating zero */
#define CW_SN_TEXT_LEN 32

/* The battery's records, exactly as it sends them (packed; the library reads no field). */
#define CW_BATTERY_DYNAMIC_INFO_LEN 55
typedef struct {
    uint8_t bytes[CW_BATTERY_DYNAMIC_INFO_LEN];
} BatteryDynamicInfo;
CW_STATIC_ASSERT(sizeof(BatteryDynamicInfo) == 55, "BatteryDynamicInfo is 55 bytes");

#define CW_BATTERY_CELL_VOLTAGE_LEN 42
typedef struct {
    uint8_t bytes[CW_BATTERY_CELL_VOLTAGE_LEN];
} BatteryCellVoltage;
CW_STATIC_ASSERT(sizeof(BatteryCellVoltage) == 42, "BatteryCellVoltage is 42 bytes");

/* Each returns 0, or CW_ERR_ACK whether the request failed or the device refused; the caller's
 * buffer is written only on success. */

/* Firmware version of the device at `receiver`, as "a.b.c.d" in a zero-filled 16-byte buffer. */
CW_API int32_t cw_v1_common_api_get_version(uint16_t receiver, char *version);
/* The aircraft's 14-character serial number in a zero-filled 32-byte buffer. */
CW_API int32_t cw_v1_common_api_get_SN(uint8_t sn_selector, char *sn);
CW_API int32_t cw_v1_battery_api_get_dynamic_info(BatteryDynamicInfo *info);
/* Sends the caller's 4 request bytes unchanged. */
CW_API int32_t cw_v1_battery_api_get_cell_voltage(const uint8_t *request, BatteryCellVoltage *voltage);
/* The battery's serial number (at most 14 characters) in a zero-filled 32-byte buffer. */
CW_API int32_t cw_v1_battery_api_get_battery_sn(char *sn);

CW_EXTERN_C_END

#endif /* CIRROW_CW_DEVICE_H */
