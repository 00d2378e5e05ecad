/* Wi-Fi module commands. */
#ifndef CIRROW_CW_WIFI_H
#define CIRROW_CW_WIFI_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

CW_EXTERN_C_END

#endif /* CIRROW_CW_WIFI_H */
