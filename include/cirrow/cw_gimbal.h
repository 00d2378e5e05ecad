/* Gimbal: state cache and commands. */
#ifndef CIRROW_CW_GIMBAL_H
#define CIRROW_CW_GIMBAL_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

CW_EXTERN_C_END

#endif /* CIRROW_CW_GIMBAL_H */
