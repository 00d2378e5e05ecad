/* Wi-Fi module commands. */
/* Implemented in cw_basic/cw_communication/: cw_protocal/src/api/cw_v1_wifi_api.cpp. */
#ifndef CIRROW_CW_WIFI_H
#define CIRROW_CW_WIFI_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/* Each returns the link's code when the request could not be sent or answered. */

/* Sets the radio channel (sent unchecked); 0 once answered, whatever the answer. */
CW_API int32_t cw_v1_wifi_api_set_channel(uint16_t channel);
/* Pings the radio; on success returns the radio's reply byte (0..255). */
CW_API int32_t cw_v1_wifi_api_ping(uint8_t ping_byte);
/* Asks the radio for its version and logs it; 0 on success. */
CW_API int32_t cw_v1_wifi_api_version(void);
/* Switches Wi-Fi on: 0, the module's non-zero refusal byte, or the link's code. */
CW_API int32_t cw_v1_wifi_api_open_wifi(void);
/* Switches Wi-Fi off: 0 or the link's code (a refusal is logged only). */
CW_API int32_t cw_v1_wifi_api_close_wifi(void);

CW_EXTERN_C_END

#endif /* CIRROW_CW_WIFI_H */
