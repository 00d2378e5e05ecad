/* Remote controller: stick and button values. */
#ifndef CIRROW_CW_RC_H
#define CIRROW_CW_RC_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

CW_EXTERN_C_END

#endif /* CIRROW_CW_RC_H */
