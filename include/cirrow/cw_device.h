/* Device information: firmware version, serial numbers, battery queries. */
#ifndef CIRROW_CW_DEVICE_H
#define CIRROW_CW_DEVICE_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

CW_EXTERN_C_END

#endif /* CIRROW_CW_DEVICE_H */
