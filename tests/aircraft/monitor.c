/* A monitor: an application that commands nothing and only reads the flight cache, fed by the
 * pushes of an aircraft another application flies. Prints each flight state it sees; exits 0 once
 * it saw the aircraft in the air and back on the ground, 1 when that did not happen in time.
 *   aircraft_monitor [seconds]   (default 30) */
#include <stdlib.h>

#include "demo.h"

int main(int argc, char **argv) {
    const double seconds = argc > 1 ? atof(argv[1]) : 30;
    cw_flight_module_init();
    cw_register_v1_flight_data();
    int last = -1, flew = 0;
    for (double until = demo_now() + seconds; demo_now() < until; demo_sleep(0.05)) {
        const FcState s = demo_fc();
        if (s.byte0 != last) {
            demo_say("monitor: flight state %u, height %.1f m\n", s.byte0, s.word3 / 10.0);
            last = s.byte0;
        }
        flew |= s.byte0 == FLIGHT_AIR;
        if (flew && s.byte0 == FLIGHT_GROUND) {
            demo_say("monitor: the aircraft flew and landed\n");
            return 0;
        }
    }
    demo_say("monitor: %s\n", flew ? "the aircraft did not land in time" : "the aircraft never flew");
    return 1;
}
