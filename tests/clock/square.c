/* A square flown by the application's own clock, as flight applications time their manoeuvres:
 * after take-off, climb for 3 s at 1 m/s; then four times fly 3 s at 1 m/s along the heading and
 * turn for 2 s at 45 degrees a second. Steering is sent ten times a second; after each leg and each
 * turn the aircraft hovers a second and the application prints where it is (the corner) and its
 * heading, from the flight controller's sensor state. Flown at any speed of the aircraft, the
 * corners must be the same. Exits 0 when the flight went as planned. */
#include <math.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include <cirrow/cirrow.h>

enum { ON_GROUND = 0, IN_AIR = 3 };

static double now(void) {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (double)ts.tv_sec + (double)ts.tv_nsec / 1e9;
}

static void nap(double seconds) {
    struct timespec ts = {(time_t)seconds, (long)((seconds - (double)(time_t)seconds) * 1e9)};
    nanosleep(&ts, NULL);
}

static int check(const char *step, int32_t result) {
    printf("%-28s -> %d\n", step, (int)result);
    return result == 0;
}

static int wait_for(uint8_t phase, double seconds) {
    for (double until = now() + seconds; now() < until; nap(0.1)) {
        FcState s;
        cw_flight_get_fc_state(&s);
        if (s.byte0 == phase && (phase != IN_AIR || s.word3 > 0)) {
            return 1;
        }
    }
    printf("flight phase %u never came\n", phase);
    return 0;
}

/* Steers at the given velocities (m/s) and turn rate (deg/s) for `seconds`, then stops and hovers. */
static int steer(float north, float east, float up, float turn, double seconds) {
    FlightAttitudeCmd cmd;
    memset(&cmd, 0, sizeof cmd);
    cmd.values[0] = north;
    cmd.values[1] = east;
    cmd.values[2] = up;
    cmd.values[3] = turn;
    for (double until = now() + seconds, left; (left = until - now()) > 0; nap(left < 0.1 ? left : 0.1)) {
        if (cw_flight_attitude_control(&cmd) != 0) {
            return 0;
        }
    }
    memset(&cmd.values, 0, sizeof cmd.values);
    int ok = cw_flight_attitude_control(&cmd) == 0;
    for (double until = now() + 1; now() < until; nap(0.1)) {
        ok = ok && cw_flight_attitude_control(&cmd) == 0;
    }
    return ok;
}

/* Where the aircraft is: north, east (m), height (m) and heading (deg). */
static void where(const char *what, int n, double *heading) {
    uint8_t s[CW_FC_SENSOR_LEN];
    float north, east, yaw;
    cw_flight_get_fc_sensor(s);
    memcpy(&north, s + 5, sizeof north);
    memcpy(&east, s + 9, sizeof east);
    memcpy(&yaw, s + 13, sizeof yaw);
    printf("%s %d: north %.2f east %.2f height %.2f heading %.1f\n", what, n, north, east, (s[0] | s[1] << 8) / 100.0,
           yaw);
    *heading = yaw;
}

int main(void) {
    cw_flight_module_init();
    int ok = check("register flight data", cw_register_v1_flight_data()) &&
             check("subscribe to flight data", cw_flight_reset_and_subscribe()) &&
             check("obtain control", cw_flight_obtain_control()) && check("take off", cw_flight_takeoff()) &&
             wait_for(IN_AIR, 10) && steer(0, 0, 1, 0, 3);
    double heading = 0;
    if (ok) {
        where("climbed", 0, &heading);
    }
    for (int leg = 1; ok && leg <= 4; ++leg) {
        const double h = heading * 3.14159265358979323846 / 180;
        ok = steer((float)cos(h), (float)sin(h), 0, 0, 3);
        where("corner", leg, &heading);
        ok = ok && steer(0, 0, 0, 45, 2);
        where("turned", leg, &heading);
    }
    ok = check("land", cw_flight_land()) && wait_for(ON_GROUND, 15) && ok;
    ok = check("release control", cw_flight_release_control()) && ok;
    printf("square %s\n", ok ? "complete" : "FAILED");
    return ok ? 0 : 1;
}
