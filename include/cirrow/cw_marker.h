/* Marker position record and the message to the marker-handling thread. */
#ifndef CIRROW_CW_MARKER_H
#define CIRROW_CW_MARKER_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

CW_EXTERN_C_END

#endif /* CIRROW_CW_MARKER_H */
