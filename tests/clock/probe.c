/* Where the application's clock and sleep calls bind, and how long its sleeps and timed waits last
 * on its own clock and on the wall clock (read with a direct system call, which nothing scales).
 *   clock_probe binds       one line per function: the file that defines what the calls reach
 *   clock_probe timers      arms and disarms the timers the aircraft's clock does not scale
 *   clock_probe SPEED       each sleep and timed wait of 0.4 s on the application's clock: checks
 *                           that it lasts 0.4 s there and 0.4 / SPEED s on the wall clock */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <math.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include "mbus.h"

static const char *const kCovered[] = {"clock_gettime",
                                       "gettimeofday",
                                       "time",
                                       "nanosleep",
                                       "clock_nanosleep",
                                       "usleep",
                                       "sleep",
                                       "pthread_cond_timedwait",
                                       "pthread_cond_clockwait",
                                       "sem_timedwait",
                                       "sem_clockwait",
                                       "poll",
                                       "ppoll",
                                       "select",
                                       "pselect",
                                       "epoll_wait",
                                       "epoll_pwait"};

static double app_now(clockid_t c) {
    struct timespec ts;
    clock_gettime(c, &ts);
    return (double)ts.tv_sec + (double)ts.tv_nsec / 1e9;
}

static double wall_now(void) {
    struct timespec ts;
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &ts);
    return (double)ts.tv_sec + (double)ts.tv_nsec / 1e9;
}

static struct timespec after(clockid_t c, double s) {
    double t = app_now(c) + s;
    struct timespec ts = {(time_t)t, (long)((t - (double)(time_t)t) * 1e9)};
    return ts;
}

static const double kD = 0.4;
static pthread_mutex_t g_mu = PTHREAD_MUTEX_INITIALIZER;

static void wait_cond(clockid_t c) {
    pthread_condattr_t a;
    pthread_cond_t cv;
    pthread_condattr_init(&a);
    pthread_condattr_setclock(&a, c);
    pthread_cond_init(&cv, &a);
    struct timespec until = after(c, kD);
    pthread_mutex_lock(&g_mu);
    while (pthread_cond_timedwait(&cv, &g_mu, &until) != ETIMEDOUT) {
    }
    pthread_mutex_unlock(&g_mu);
    pthread_cond_destroy(&cv);
}

static void d_nanosleep(void) { nanosleep(&(struct timespec){0, 400000000}, NULL); }
static void d_clock_nanosleep(void) { clock_nanosleep(CLOCK_MONOTONIC, 0, &(struct timespec){0, 400000000}, NULL); }
static void d_clock_nanosleep_abs(void) {
    struct timespec until = after(CLOCK_MONOTONIC, kD);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, NULL) == EINTR) {
    }
}
static void d_usleep(void) { usleep(400000); }
static void d_cond_realtime(void) { wait_cond(CLOCK_REALTIME); }
static void d_cond_monotonic(void) { wait_cond(CLOCK_MONOTONIC); }
static void d_cond_clockwait(void) {
    pthread_cond_t cv = PTHREAD_COND_INITIALIZER;
    struct timespec until = after(CLOCK_MONOTONIC, kD);
    pthread_mutex_lock(&g_mu);
    while (pthread_cond_clockwait(&cv, &g_mu, CLOCK_MONOTONIC, &until) != ETIMEDOUT) {
    }
    pthread_mutex_unlock(&g_mu);
}
static void d_sem_timedwait(void) {
    sem_t s;
    sem_init(&s, 0, 0);
    struct timespec until = after(CLOCK_REALTIME, kD);
    while (sem_timedwait(&s, &until) != 0 && errno == EINTR) {
    }
    sem_destroy(&s);
}
static void d_poll(void) { poll(NULL, 0, 400); }
static void d_select(void) { select(0, NULL, NULL, NULL, &(struct timeval){0, 400000}); }
static void d_epoll_wait(void) {
    struct epoll_event ev;
    int ep = epoll_create1(0);
    epoll_wait(ep, &ev, 1, 400);
    close(ep);
}

int main(int argc, char **argv) {
    uint64_t boot = 0;
    mbus_osal_get_boot_time(&boot); /* the stand-in, and with it the virtual aircraft, is in the process */
    if (argc == 2 && strcmp(argv[1], "binds") == 0) {
        for (size_t i = 0; i < sizeof kCovered / sizeof *kCovered; ++i) {
            Dl_info info;
            void *f = dlsym(RTLD_DEFAULT, kCovered[i]);
            const char *file = f != NULL && dladdr(f, &info) != 0 ? info.dli_fname : "?";
            printf("%s %s\n", kCovered[i], strrchr(file, '/') != NULL ? strrchr(file, '/') + 1 : file);
        }
        return 0;
    }
    if (argc == 2 && strcmp(argv[1], "timers") == 0) {
        const int fd = timerfd_create(CLOCK_MONOTONIC, 0);
        const struct itimerspec off = {{0, 0}, {0, 0}};
        timerfd_settime(fd, 0, &off, NULL);
        close(fd);
        alarm(0);
        return 0;
    }
    const double speed = argc == 2 ? atof(argv[1]) : 0;
    if (!(speed > 0)) {
        fprintf(stderr, "usage: clock_probe binds | clock_probe timers | clock_probe SPEED\n");
        return 2;
    }
    static const struct {
        const char *name;
        void (*run)(void);
    } kWaits[] = {{"nanosleep", d_nanosleep},
                  {"clock_nanosleep", d_clock_nanosleep},
                  {"clock_nanosleep absolute", d_clock_nanosleep_abs},
                  {"usleep", d_usleep},
                  {"pthread_cond_timedwait realtime", d_cond_realtime},
                  {"pthread_cond_timedwait monotonic", d_cond_monotonic},
                  {"pthread_cond_clockwait", d_cond_clockwait},
                  {"sem_timedwait", d_sem_timedwait},
                  {"poll", d_poll},
                  {"select", d_select},
                  {"epoll_wait", d_epoll_wait}};
    int bad = 0;
    for (size_t i = 0; i < sizeof kWaits / sizeof *kWaits; ++i) {
        const double a0 = app_now(CLOCK_MONOTONIC), r0 = app_now(CLOCK_REALTIME), w0 = wall_now();
        kWaits[i].run();
        const double app = app_now(CLOCK_MONOTONIC) - a0, real = app_now(CLOCK_REALTIME) - r0, wall = wall_now() - w0;
        /* Late by at most 150 ms of wall time (a loaded machine), never early; both clocks agree. */
        const int ok = app >= kD - 0.002 && wall >= kD / speed - 0.002 && wall <= kD / speed + 0.15 &&
                       fabs(app - wall * speed) < 0.05 && fabs(real - app) < 0.05;
        printf("%-34s app %.3f s, real-time clock %.3f s, wall %.3f s%s\n", kWaits[i].name, app, real, wall,
               ok ? "" : "  WRONG");
        bad += !ok;
    }
    return bad == 0 ? 0 : 1;
}
