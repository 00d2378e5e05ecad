/* A panorama: the pano handlers, the switch to panorama mode, start, and the pano status polled
 * from the cache until the vision processor reports its result. Exits 0 on success. */
#include "demo.h"

int main(void) {
    if (!demo_start_up() || !demo_take_off()) {
        return 1;
    }
    cw_register_v1_get_pano_result();
    cw_register_v1_nav_pano_status();
    cw_register_v1_nav_osd();
    int32_t status = 0;
    cw_set_nav_pano_status(&status);
    demo_ok("switch to panorama (sub-mode 3)", cw_v1_vision_switch_to_pano(3, 0));
    if (!demo_ok("start the panorama", cw_v1_vision_pano_control(1))) {
        return 1;
    }
    uint8_t submode = 0, seen = 0xFF;
    for (double until = demo_now() + 15; demo_now() < until && status == 0; demo_sleep(0.1)) {
        cw_get_nav_pano_status(&status);
        cw_get_nav_pano_submode(&submode);
        if (submode != seen) {
            demo_say("panorama under way, sub-mode %u\n", submode);
            seen = submode;
        }
    }
    demo_say("panorama %s\n", status == 1 ? "done" : status == -1 ? "FAILED" : "timed out");
    demo_land();
    return status == 1 ? 0 : 1;
}
