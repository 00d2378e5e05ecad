/**
 * @file cw_device.h
 * @brief Device information: firmware version, serial numbers, battery queries.
 *
 * Each query awaits its answer and returns 0, or #CW_ERR_ACK when the request could not be sent,
 * was not answered in time, or the device answered with a non-zero result byte (the middleware's
 * own code then appears only in the usrlog failure line). The caller's buffer is written only on
 * success. A null pointer argument gives #CW_ERR_PARAM and nothing is sent.
 *
 * Implemented in cw_basic/cw_communication/: cw_protocal/src/api/cw_v1_common_api.cpp (version,
 * serial number), cw_protocal/src/api/cw_v1_battery_api.cpp (battery).
 */
#ifndef CIRROW_CW_DEVICE_H
#define CIRROW_CW_DEVICE_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/** @brief Size of a version text buffer: "255.255.255.255" and its terminating zero. */
#define CW_VERSION_TEXT_LEN 16
/** @brief Size of a serial-number text buffer. */
#define CW_SN_TEXT_LEN 32

/** @brief Length of the battery's dynamic information record. */
#define CW_BATTERY_DYNAMIC_INFO_LEN 55
/** @brief The battery's dynamic information, exactly as the battery sends it (the library reads no field).
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, battery.dynamic_info.
 */
typedef struct {
    uint8_t bytes[CW_BATTERY_DYNAMIC_INFO_LEN]; /**< answer bytes 1..55, packed little-endian */
} BatteryDynamicInfo;
CW_STATIC_ASSERT(sizeof(BatteryDynamicInfo) == 55, "BatteryDynamicInfo is 55 bytes");

/** @brief Length of the battery's cell voltage record. */
#define CW_BATTERY_CELL_VOLTAGE_LEN 42
/** @brief The battery's cell voltages, exactly as the battery sends them (the library reads no field).
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, battery.cell_voltage.
 */
typedef struct {
    uint8_t bytes[CW_BATTERY_CELL_VOLTAGE_LEN]; /**< answer bytes 1..42, packed little-endian */
} BatteryCellVoltage;
CW_STATIC_ASSERT(sizeof(BatteryCellVoltage) == 42, "BatteryCellVoltage is 42 bytes");

/**
 * @brief Asks a device for its firmware version.
 *
 * Sends 0/1 (no payload) to @p receiver and awaits a 30-byte answer (200 ms); answer bytes 22..25
 * are the version, least significant byte first.
 * @param receiver address of the device (0x0306 flight controller, 0x0100 camera, 0x0400 gimbal, ...).
 * @param[out] version 16-byte buffer (#CW_VERSION_TEXT_LEN), zero-filled and given "a.b.c.d", most
 *             significant byte first.
 * @return 0; #CW_ERR_ACK; #CW_ERR_PARAM if @p version is null.
 */
CW_API int32_t cw_v1_common_api_get_version(uint16_t receiver, char *version);
/**
 * @brief Asks the flight controller for the aircraft's serial number.
 *
 * Sends 0/81 with @p sn_selector to 0x0306 and awaits a 32-byte answer (200 ms).
 * @param sn_selector which serial number, sent unchanged.
 * @param[out] sn 32-byte buffer (#CW_SN_TEXT_LEN), zero-filled and given the 14 characters of answer
 *           bytes 3..16.
 * @return 0; #CW_ERR_ACK; #CW_ERR_PARAM if @p sn is null.
 */
CW_API int32_t cw_v1_common_api_get_SN(uint8_t sn_selector, char *sn);
/**
 * @brief Asks the battery for its dynamic information.
 *
 * Sends 13/2 with four zero bytes to the battery (0x0B00) and awaits a 56-byte answer (2 s).
 * @param[out] info receives answer bytes 1..55 unchanged.
 * @return 0; #CW_ERR_ACK; #CW_ERR_PARAM if @p info is null.
 */
CW_API int32_t cw_v1_battery_api_get_dynamic_info(BatteryDynamicInfo *info);
/**
 * @brief Asks the battery for its cell voltages.
 *
 * Sends 13/3 with the caller's 4 request bytes, unchanged, to the battery (0x0B00) and awaits a
 * 43-byte answer (2 s).
 * @param request the 4 request bytes.
 * @param[out] voltage receives answer bytes 1..42 unchanged.
 * @return 0; #CW_ERR_ACK; #CW_ERR_PARAM if @p request or @p voltage is null.
 */
CW_API int32_t cw_v1_battery_api_get_cell_voltage(const uint8_t *request, BatteryCellVoltage *voltage);
/**
 * @brief Asks the battery for its serial number, and logs it.
 *
 * Sends 13/4 with nine zero bytes to the battery (0x0B00) and awaits a 32-byte answer (2 s): byte 2
 * the length, bytes 3 on the characters.
 * @param[out] sn 32-byte buffer (#CW_SN_TEXT_LEN), zero-filled and given at most 14 characters.
 * @return 0; #CW_ERR_ACK; #CW_ERR_PARAM if @p sn is null.
 */
CW_API int32_t cw_v1_battery_api_get_battery_sn(char *sn);

CW_EXTERN_C_END

#endif /* CIRROW_CW_DEVICE_H */
