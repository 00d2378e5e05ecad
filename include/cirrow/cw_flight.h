/* Flight controller: state cache, data subscription, flight commands, parameters by name hash, identity. */
#ifndef CIRROW_CW_FLIGHT_H
#define CIRROW_CW_FLIGHT_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

CW_EXTERN_C_END

#endif /* CIRROW_CW_FLIGHT_H */
