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

/* A parameter described only by its size takes the record or a plain byte array alike. */
int cw_byte_buffers_compile_as_c11(void) {
    FcSensor sensor = {{0}};
    uint8_t sensor_bytes[CW_FC_SENSOR_LEN] = {0};
    ImuDataGroup group;
    uint8_t group_bytes[CW_IMU_DATA_GROUP_LEN];
    MarkerPosition position;
    uint8_t position_bytes[CW_MARKER_POSITION_LEN];
    return cw_flight_update_fc_sensor(&sensor) + cw_flight_update_fc_sensor(sensor_bytes) +
           cw_flight_get_fc_sensor(&sensor) + cw_flight_get_fc_sensor(sensor_bytes) +
           cw_flight_get_imu_data_group(&group) + cw_flight_get_imu_data_group(group_bytes) +
           cw_marker_get_position(&position) + cw_marker_get_position(position_bytes);
}
