/* Main camera: state cache, camera commands, intrinsics. */
#ifndef CIRROW_CW_CAMERA_H
#define CIRROW_CW_CAMERA_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

CW_EXTERN_C_END

#endif /* CIRROW_CW_CAMERA_H */
