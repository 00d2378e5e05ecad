/* Your first flight application: the order every flight application follows, each step's result
 * checked. Register the handlers of what it reads, subscribe to the flight data, obtain control,
 * take off, poll the flight state until in the air, land, poll until on the ground, release
 * control. Exits 0 when the flight went as planned.
 *
 * The flight phase and height are the flight controller's: byte 0 of FcState is the phase
 * (0 on the ground, 3 in the air), word3 the height in tenths of a metre (docs/link_reference.md,
 * flight.fc_state). */
#include <stdio.h>
#include <time.h>

#include <cirrow/cirrow.h>

enum { ON_GROUND = 0, IN_AIR = 3 };

static int check(const char *step, int32_t result) {
    printf("%-28s -> %d\n", step, (int)result);
    return result == 0;
}

/* Polls the flight state ten times a second until it reports `phase` (and, in the air, a
 * height), for at most `seconds`. */
static int wait_for(uint8_t phase, int seconds) {
    const struct timespec tenth = {0, 100000000L};
    for (int i = 0; i < seconds * 10; ++i) {
        FcState s;
        cw_flight_get_fc_state(&s);
        if (s.byte0 == phase && (phase != IN_AIR || s.word3 > 0)) {
            printf("flight phase %u, height %.1f m\n", s.byte0, s.word3 / 10.0);
            return 1;
        }
        nanosleep(&tenth, NULL);
    }
    printf("flight phase %u never came\n", phase);
    return 0;
}

int main(void) {
    cw_flight_module_init();
    int ok = check("register flight data", cw_register_v1_flight_data()) &&
             check("subscribe to flight data", cw_flight_reset_and_subscribe()) &&
             check("obtain control", cw_flight_obtain_control()) && check("take off", cw_flight_takeoff()) &&
             wait_for(IN_AIR, 10);
    /* Land whatever happened after take-off, and give control back. */
    ok = check("land", cw_flight_land()) && wait_for(ON_GROUND, 10) && ok;
    ok = check("release control", cw_flight_release_control()) && ok;
    printf("first flight %s\n", ok ? "complete" : "FAILED");
    return ok ? 0 : 1;
}
