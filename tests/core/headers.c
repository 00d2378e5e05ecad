/* Every public header compiles as C11 on its own and together, with its record layouts checked by
 * the static assertions inside the headers (on the host and on the 32-bit target alike). */
#include <cirrow/cirrow.h>
#include <cirrow/cw_camera.h>
#include <cirrow/cw_common.h>
#include <cirrow/cw_device.h>
#include <cirrow/cw_flags.h>
#include <cirrow/cw_flight.h>
#include <cirrow/cw_gimbal.h>
#include <cirrow/cw_link.h>
#include <cirrow/cw_marker.h>
#include <cirrow/cw_rc.h>
#include <cirrow/cw_vision.h>
#include <cirrow/cw_wifi.h>

int cw_headers_compile_as_c11(void) { return (int)sizeof(V1Request); }
