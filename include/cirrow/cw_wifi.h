/**
 * @file cw_wifi.h
 * @brief Wi-Fi module commands.
 *
 * Each command awaits its answer and returns the middleware's code when the request could not be
 * sent or answered. Their treatment of the module's answer differs; each says how. None returns
 * #CW_ERR_ACK.
 *
 * Implemented in cw_basic/cw_communication/: cw_protocal/src/api/cw_v1_wifi_api.cpp.
 */
#ifndef CIRROW_CW_WIFI_H
#define CIRROW_CW_WIFI_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/**
 * @brief Sets the radio channel.
 *
 * Sends 7/43 to 0x0700 (payload 0 and the channel, 16 bits) and awaits one answer byte (500 ms),
 * which is not examined.
 * @param channel the channel, sent unchecked.
 * @return 0 once answered, whatever the answer; the middleware's code.
 */
CW_API int32_t cw_v1_wifi_api_set_channel(uint16_t channel);
/**
 * @brief Pings the radio.
 *
 * Sends 0/0 with @p ping_byte to the radio (0x0900) and awaits two answer bytes (2 s).
 * @param ping_byte the byte sent.
 * @return answer byte 1 (0..255) when answered, so a successful ping may return a non-zero value;
 *         the middleware's code (negative) otherwise.
 */
CW_API int32_t cw_v1_wifi_api_ping(uint8_t ping_byte);
/**
 * @brief Asks the radio for its version and logs it on the usrlog channel.
 *
 * Sends 0/1 (no payload) to the radio (0x0900) and awaits 30 answer bytes (2 s), logged as text;
 * nothing is handed back.
 * @return 0; the middleware's code.
 */
CW_API int32_t cw_v1_wifi_api_version(void);
/**
 * @brief Switches Wi-Fi on.
 *
 * Sends 7/65 with one zero byte to 0x0904 and awaits the result byte (1 s).
 * @return 0; the module's non-zero result byte when it refused; the middleware's code.
 */
CW_API int32_t cw_v1_wifi_api_open_wifi(void);
/**
 * @brief Switches Wi-Fi off.
 *
 * Sends 7/66 with one zero byte to 0x0904 and awaits the result byte (1 s). A refusal is logged
 * only.
 * @return 0 once answered, also when the module refused; the middleware's code.
 */
CW_API int32_t cw_v1_wifi_api_close_wifi(void);

CW_EXTERN_C_END

#endif /* CIRROW_CW_WIFI_H */
