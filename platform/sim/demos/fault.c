/* Faults from a scenario file (platform/sim/scenarios/fault.toml): the flight controller refuses to hand over control
 * and the camera falls silent one second in. Shows the library's results and log lines, and exits 0 when both faults
 * were reported as failures. */
#include "demo.h"

int main(void) {
    demo_start_up();
    int32_t control = cw_flight_obtain_control();
    demo_say("take control -> %d (%s)\n", (int)control, control == CW_ERR_ACK ? "refused" : "unexpected");
    int32_t before = cw_v1_camera_api_take_photo(0);
    demo_say("photo at once -> %d\n", (int)before);
    demo_sleep(1.5);
    int32_t after = cw_v1_camera_api_take_photo(0);
    demo_say("photo 1.5 s later -> %d (%s)\n", (int)after,
             after == CW_ERR_ACK ? "no answer from the camera" : "unexpected");
    if (control == 0) {
        cw_flight_release_control(); /* handed over after all: give it back before ending */
    }
    int ok = control == CW_ERR_ACK && before == 0 && after == CW_ERR_ACK;
    demo_say("faults %s\n", ok ? "reported as expected" : "NOT reported");
    return ok ? 0 : 1;
}
