/* cirrow: the aircraft modules' API for flight applications. Include this, or one module header. */
#ifndef CIRROW_H
#define CIRROW_H

#include "cw_camera.h"
#include "cw_common.h"
#include "cw_device.h"
#include "cw_flags.h"
#include "cw_flight.h"
#include "cw_gimbal.h"
#include "cw_link.h"
#include "cw_marker.h"
#include "cw_rc.h"
#include "cw_vision.h"
#include "cw_wifi.h"

#endif /* CIRROW_H */
