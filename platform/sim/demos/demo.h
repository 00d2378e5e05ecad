/* Shared steps of the demo missions: timestamps, polling, and the flight start-up, take-off and
 * landing that several missions begin and end with. Plain C over the library's public API: the
 * demos run unchanged on the aircraft. */
#ifndef CW_DEMO_H
#define CW_DEMO_H

#include <stdarg.h>
#include <stdio.h>
#include <time.h>

#include <cirrow/cirrow.h>

/* Flight states the flight controller reports in byte 0 of its state message. */
enum { FLIGHT_GROUND = 0, FLIGHT_AIR = 3 };

static double demo_t0 = -1;

static inline double demo_now(void) {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    double t = (double)ts.tv_sec + (double)ts.tv_nsec / 1e9;
    if (demo_t0 < 0) {
        demo_t0 = t;
    }
    return t - demo_t0;
}

static inline void demo_say(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
static inline void demo_say(const char *fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    printf("[%6.2f s] ", demo_now());
    vprintf(fmt, ap);
    va_end(ap);
    fflush(stdout);
}

static inline void demo_sleep(double seconds) {
    struct timespec ts = {(time_t)seconds, (long)((seconds - (double)(time_t)seconds) * 1e9)};
    nanosleep(&ts, NULL);
}

/* Checks a command's result: prints it and returns 1 when it is 0. */
static inline int demo_ok(const char *what, int32_t result) {
    demo_say("%-40s -> %d%s\n", what, (int)result, result == 0 ? "" : "  (failed)");
    return result == 0;
}

/* Steers for `seconds`: the flight controller holds a steering command for half a second only, as
 * on the aircraft, so it is sent again ten times a second. Returns 1 when every send succeeded. */
static inline int demo_steer(const char *what, const FlightAttitudeCmd *cmd, double seconds) {
    int ok = demo_ok(what, cw_flight_attitude_control(cmd));
    for (double until = demo_now() + seconds; ok && demo_now() < until; demo_sleep(0.1)) {
        ok = cw_flight_attitude_control(cmd) == 0;
    }
    return ok;
}

static inline FcState demo_fc(void) {
    FcState s;
    cw_flight_get_fc_state(&s);
    return s;
}

/* Waits until the flight controller reports `state`, printing the height as it changes. */
static inline int demo_wait_flight(uint8_t state, double max_s) {
    double until = demo_now() + max_s;
    int last_state = -1, last_height = -1;
    while (demo_now() < until) {
        FcState s = demo_fc();
        if (s.byte0 != last_state || s.word3 / 3 != last_height / 3) {
            demo_say("  flight state %u, height %.1f m\n", s.byte0, s.word3 / 10.0);
            last_state = s.byte0;
            last_height = s.word3;
        }
        if (s.byte0 == state && (state != FLIGHT_AIR || s.word3 > 0)) {
            return 1;
        }
        demo_sleep(0.1);
    }
    demo_say("  gave up waiting for flight state %u\n", state);
    return 0;
}

/* The start-up every flight application performs: caches, push handlers, data subscription. */
static inline int demo_start_up(void) {
    cw_flight_module_init();
    cw_camera_module_init();
    cw_gimbal_module_init();
    cw_register_v1_flight_data();
    return demo_ok("subscribe to the flight data", cw_flight_reset_and_subscribe());
}

/* Lands and releases control, whatever the landing's outcome. Returns 1 when both succeeded. */
static inline int demo_land(void) {
    int down = demo_ok("land", cw_flight_land()) && demo_wait_flight(FLIGHT_GROUND, 10);
    return demo_ok("release control", cw_flight_release_control()) && down;
}

/* Takes control and takes off; on failure whatever got started comes down again. */
static inline int demo_take_off(void) {
    if (!demo_ok("take control", cw_flight_obtain_control())) {
        return 0;
    }
    if (demo_ok("take off", cw_flight_takeoff()) && demo_wait_flight(FLIGHT_AIR, 10)) {
        return 1;
    }
    demo_land();
    return 0;
}

#endif
