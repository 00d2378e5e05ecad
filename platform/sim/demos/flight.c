/* A short flight: take off, point the gimbal down, take a photo, look for water waves, look up
 * again and land. Exits 0 when every step succeeded and the gimbal reached its angles; lands and
 * releases control whatever failed. */
#include <stdlib.h>

#include "demo.h"

/* Drives the gimbal's pitch (tenths of a degree) and waits until the joint angle is there. */
static int point_gimbal(int16_t pitch) {
    GimbalAngleCmd cmd = {pitch, 0, 0, 1, 0, 0, 0, 0, 0, 10};
    char what[64];
    snprintf(what, sizeof what, "gimbal pitch to %.1f degrees", pitch / 10.0);
    if (!demo_ok(what, cw_gimbal_angle_control(&cmd))) {
        return 0;
    }
    int32_t angles[3] = {0, 0, 0};
    for (double until = demo_now() + 5; demo_now() < until; demo_sleep(0.1)) {
        if (cw_gimbal_query_joint_angle(angles) != 0) {
            return 0;
        }
        if (abs(angles[0] - pitch) <= 5) {
            GimbalInfo info;
            cw_gimbal_get_main_gimbal_info(&info);
            demo_say("  gimbal at %.1f degrees (pushed: %.1f)\n", angles[0] / 10.0, (int16_t)info.field0 / 10.0);
            return 1;
        }
    }
    return 0;
}

int main(void) {
    int ok = demo_start_up() && cw_register_v1_gimbal_data() == 0 &&
             demo_ok("gimbal information", cw_v1_gimbal_subscribe_info(1, 1, 10)) &&
             cw_register_v1_camera_status_data() == 0 && cw_register_v1_rc_data() == 0 && demo_take_off() &&
             point_gimbal(-450) && demo_ok("camera to photo mode", cw_camera_switch_mode("PHOTO")) &&
             demo_ok("take a photo", cw_v1_camera_api_take_photo(0));
    uint8_t path[10] = {0};
    if (ok && demo_ok("where the photo went", cw_v1_camera_api_get_path(path))) {
        demo_say("  photo file %.9s, camera busy %u, board at %u C\n", (const char *)path + 1,
                 cw_camera_get_camera_busy_status(), cw_camera_get_core_board_temp());
    }
    ok = ok && demo_ok("water-wave detection", cw_gimbal_waterwave_trigger("start"));
    GimbalWvResult wave = {0};
    for (double until = demo_now() + 3; ok && demo_now() < until && wave.field3 == 0; demo_sleep(0.1)) {
        cw_gimbal_get_wv_result(&wave);
    }
    RcStickValue sticks;
    cw_rc_get_stick_value(&sticks);
    demo_say("  water waves %s (scores %u %u %u); sticks at %u %u %u %u\n", wave.field3 ? "seen" : "not reported",
             wave.field0, wave.field1, wave.field2, sticks.field0, sticks.field1, sticks.field2, sticks.field3);
    ok = ok && wave.field3 != 0 && point_gimbal(0);
    ok = demo_land() && ok; /* whatever failed, the aircraft comes down and control is released */
    demo_say("flight %s\n", ok ? "complete" : "FAILED");
    return ok ? 0 : 1;
}
