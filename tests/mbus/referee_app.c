/* A flight application that makes one mistake, chosen by its argument, for the referee's tests
 * under cirrow-sim --strict; "clean" flies correctly, registering only what it reads. */
#include <stdio.h>
#include <string.h>
#include <time.h>

#include <cirrow/cirrow.h>

#include "mbus_ctl.h"

static void pause_s(double s) {
    struct timespec ts = {(time_t)s, (long)((s - (double)(time_t)s) * 1e9)};
    nanosleep(&ts, NULL);
}

/* Waits until the flight controller reports the phase (byte 0 of its state). */
static int wait_phase(uint8_t phase) {
    for (int i = 0; i < 100; ++i, pause_s(0.05)) {
        FcState s;
        cw_flight_get_fc_state(&s);
        if (s.byte0 == phase) {
            return 1;
        }
    }
    return 0;
}

static int fly(int with_control, int land) {
    cw_flight_module_init();
    cw_register_v1_flight_data();
    if (cw_flight_reset_and_subscribe() != 0 || (with_control && cw_flight_obtain_control() != 0)) {
        return 1;
    }
    cw_flight_takeoff();
    if (!with_control) {
        pause_s(0.5);
        return 0;
    }
    if (!wait_phase(3)) {
        return 1;
    }
    if (land) {
        cw_flight_land();
        if (!wait_phase(0) || cw_flight_release_control() != 0) {
            return 1;
        }
    }
    return 0;
}

int main(int argc, char **argv) {
    const char *mistake = argc > 1 ? argv[1] : "clean";
    if (strcmp(mistake, "clean") == 0) {
        return fly(1, 1);
    }
    if (strcmp(mistake, "no_control") == 0) {
        return fly(0, 0);
    }
    if (strcmp(mistake, "airborne") == 0) {
        return fly(1, 0);
    }
    if (strcmp(mistake, "no_handler") == 0) {
        cw_flight_module_init();
        int32_t r = cw_flight_reset_and_subscribe();
        pause_s(0.3);
        return r != 0;
    }
    if (strcmp(mistake, "reset") == 0) { /* the link's reset forgets the handler: the aircraft must too */
        cw_flight_module_init();
        cw_register_v1_flight_data();
        mbus_ctl_reset();
        int32_t r = cw_flight_reset_and_subscribe();
        pause_s(0.3);
        return r != 0;
    }
    if (strcmp(mistake, "mission") == 0) {
        cw_flight_module_init();
        int32_t r = cw_v1_vision_pano_control(1);
        pause_s(0.5);
        return r != 0;
    }
    if (strcmp(mistake, "pano_zero") == 0) { /* not a mistake: the vision processor says why it ignores it */
        cw_flight_module_init();
        return cw_v1_vision_pano_control(0) != 0;
    }
    if (strcmp(mistake, "unserved") == 0) {
        uint8_t answer[2] = {0, 0};
        int32_t r = mbus_link_v1_send(2, 99, 0x0100, NULL, 0, answer, sizeof answer, 20000);
        return r != MBUS_ERR_TIMEOUT;
    }
    fprintf(stderr, "referee_app: unknown mistake %s\n", mistake);
    return 2;
}
