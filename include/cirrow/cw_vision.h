/* Vision and navigation: mission status, perception results, mission and self-test commands. */
#ifndef CIRROW_CW_VISION_H
#define CIRROW_CW_VISION_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

CW_EXTERN_C_END

#endif /* CIRROW_CW_VISION_H */
