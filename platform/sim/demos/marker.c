/* A marker-guided flight: take off, ask the marker thread to look for paper 3, share the marker
 * position between the application's parts, fly towards it and land. */
#include <string.h>

#include "demo.h"

int main(void) {
    if (!demo_start_up() || !demo_take_off()) {
        return 1;
    }
    cw_marker_module_init();
    MarkerMsg msg = {1, 0, 3};
    int ok = demo_ok("ask the marker thread for paper 3", cw_send_msg_to_marker(&msg));
    MarkerPosition found, shared;
    memset(&found, 0, sizeof found);
    float north = 2.5f, east = -1.0f; /* where the marker thread saw it, metres */
    memcpy(found.bytes, &north, sizeof north);
    memcpy(found.bytes + 4, &east, sizeof east);
    cw_marker_put_position(&found);
    cw_marker_get_position(&shared);
    ok = ok && memcmp(&found, &shared, sizeof found) == 0;
    demo_say("marker position shared: %.1f m north, %.1f m east\n", north, east);
    FlightAttitudeCmd toward = {1, 0, {north / 2, east / 2, 0, 0, 0, 0}};
    ok = ok && demo_steer("fly towards the marker", &toward, 1.0);
    FlightAttitudeCmd hold = {1, 0, {0, 0, 0, 0, 0, 0}};
    ok = ok && demo_ok("hold over the marker", cw_flight_attitude_control(&hold));
    FcState s = demo_fc();
    demo_say("  %.1f m from take-off at %.1f m\n", s.word5 / 10.0, s.word3 / 10.0);
    ok = ok && s.word5 > 0;
    ok = demo_land() && ok;
    demo_say("marker flight %s\n", ok ? "complete" : "FAILED");
    return ok ? 0 : 1;
}
