/* libmbus_clock.so: the aircraft's clock in the application's process.
 *
 * cirrow-sim preloads it (LD_PRELOAD) into an application only when the virtual aircraft flies at a
 * speed other than 1; nothing else loads it, so at speed 1, and outside the virtual aircraft, the
 * application's clock and sleep calls bind to the C library as ever. Once loaded, the clocks it
 * reads and the sleeps and timed waits it makes run at the aircraft's rate R:
 *
 *   clock c reads   a_c + R * (real_c - o_c)      (a_c = o_c = the real clock when the rate was set)
 *   a sleep of d    lasts d / R of wall time; an absolute deadline is mapped back the same way
 *
 * so every clock stays continuous and monotonic, CLOCK_REALTIME included (it starts at the wall
 * clock's time and then runs R times as fast). CPU-time clocks are not scaled. The rate comes from
 * MBUS_CLOCK_RATE (cirrow-sim sets it to the aircraft's speed) or, attached to cirrow-aircraft, from
 * the aircraft's Welcome (the stand-in calls mbus_clock_set_rate). At rate 1 every function calls the
 * C library's straight away.
 *
 * What is not scaled (timers that signal, direct system calls) is noted when used at a rate other
 * than 1, so the flight report can say that the application's time may have drifted. */
#define _GNU_SOURCE
/* The application may pass a null where the C library's headers promise none: the interposers
 * check for it and hand it on, so the headers' promises must not let the compiler drop the check. */
#define __attribute_nonnull__(params)
#include <dlfcn.h>
#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#define EXPORT __attribute__((visibility("default")))

enum { kClocks = 12 }; /* CLOCK_REALTIME .. CLOCK_TAI */

/* One rate and its origins; replaced whole (never changed in place) when the rate changes. */
typedef struct {
    double rate;
    int64_t app[kClocks];  /* a_c, ns */
    int64_t real[kClocks]; /* o_c, ns */
} Scale;

static _Atomic(const Scale *) g_scale;
static pthread_once_t g_once = PTHREAD_ONCE_INIT;

static int (*real_clock_gettime)(clockid_t, struct timespec *);
static int (*real_gettimeofday)(struct timeval *, void *);
static int (*real_nanosleep)(const struct timespec *, struct timespec *);
static int (*real_clock_nanosleep)(clockid_t, int, const struct timespec *, struct timespec *);
static int (*real_pthread_cond_timedwait)(pthread_cond_t *, pthread_mutex_t *, const struct timespec *);
static int (*real_pthread_cond_clockwait)(pthread_cond_t *, pthread_mutex_t *, clockid_t, const struct timespec *);
static int (*real_sem_timedwait)(sem_t *, const struct timespec *);
static int (*real_sem_clockwait)(sem_t *, clockid_t, const struct timespec *);
static int (*real_ppoll)(struct pollfd *, nfds_t, const struct timespec *, const sigset_t *);
static int (*real_select)(int, fd_set *, fd_set *, fd_set *, struct timeval *);
static int (*real_pselect)(int, fd_set *, fd_set *, fd_set *, const struct timespec *, const sigset_t *);
static int (*real_epoll_pwait)(int, struct epoll_event *, int, int, const sigset_t *);
static int (*real_epoll_wait)(int, struct epoll_event *, int, int);
static int (*real_poll)(struct pollfd *, nfds_t, int);
static int (*real_usleep)(useconds_t);
static unsigned (*real_sleep)(unsigned);
static time_t (*real_time)(time_t *);
static int (*real_timerfd_settime)(int, int, const struct itimerspec *, struct itimerspec *);
static int (*real_timer_settime)(timer_t, int, const struct itimerspec *, struct itimerspec *);
static int (*real_setitimer)(__itimer_which_t, const struct itimerval *, struct itimerval *);
static unsigned (*real_alarm)(unsigned);

/* The unscaled calls the application made at a rate other than 1, for the flight report. */
static _Atomic unsigned g_unscaled;
static const char *const kUnscaled[] = {"timerfd_settime", "timer_settime", "setitimer", "alarm"};

static void *next(const char *name) {
    void *f = dlsym(RTLD_NEXT, name);
    if (f == NULL) {
        fprintf(stderr, "mbus: the aircraft's clock: the C library has no %s\n", name);
        _exit(2);
    }
    return f;
}

/* The C library's current version of a function it also keeps older versions of. */
static void *next_versioned(const char *name) {
    static const char *const kVersions[] = {"GLIBC_2.3.2", "GLIBC_2.4"};
    for (size_t i = 0; i < sizeof kVersions / sizeof *kVersions; ++i) {
        void *f = dlvsym(RTLD_NEXT, name, kVersions[i]);
        if (f != NULL) {
            return f;
        }
    }
    return next(name);
}

static int64_t ns(const struct timespec *ts) { return (int64_t)ts->tv_sec * 1000000000 + ts->tv_nsec; }

static struct timespec to_ts(int64_t t) {
    int64_t s = t / 1000000000, r = t % 1000000000;
    if (r < 0) {
        r += 1000000000;
        --s;
    }
    return (struct timespec){(time_t)s, (long)r};
}

static int scaled_clock(clockid_t c) {
    return c >= 0 && c < kClocks && c != CLOCK_PROCESS_CPUTIME_ID && c != CLOCK_THREAD_CPUTIME_ID;
}

/* Every Scale there has been: the rate is set when the library loads and again at most a few
 * times (the aircraft's Welcome), and a reader may still hold an earlier one. */
enum { kScales = 8 };
static Scale g_scales[kScales];
static atomic_int g_scales_used;

/* A Scale at `rate` whose clocks go on from where `from` has them now (or from the real ones); null
 * when every Scale is used. */
static const Scale *make_scale(double rate, const Scale *from) {
    const int i = atomic_fetch_add(&g_scales_used, 1);
    if (i >= kScales) {
        return NULL;
    }
    Scale *s = &g_scales[i];
    s->rate = rate;
    for (clockid_t c = 0; c < kClocks; ++c) {
        struct timespec ts = {0, 0};
        if (!scaled_clock(c) || real_clock_gettime(c, &ts) != 0) {
            continue;
        }
        s->real[c] = ns(&ts);
        s->app[c] =
            from != NULL ? from->app[c] + (int64_t)((double)(s->real[c] - from->real[c]) * from->rate) : s->real[c];
    }
    return s;
}

static void init(void) {
    real_clock_gettime = next("clock_gettime");
    real_gettimeofday = next("gettimeofday");
    real_nanosleep = next("nanosleep");
    real_clock_nanosleep = next("clock_nanosleep");
    real_pthread_cond_timedwait = next_versioned("pthread_cond_timedwait");
    real_pthread_cond_clockwait = next("pthread_cond_clockwait");
    real_sem_timedwait = next("sem_timedwait");
    real_sem_clockwait = next("sem_clockwait");
    real_ppoll = next("ppoll");
    real_select = next("select");
    real_pselect = next("pselect");
    real_epoll_pwait = next("epoll_pwait");
    real_epoll_wait = next("epoll_wait");
    real_poll = next("poll");
    real_usleep = next("usleep");
    real_sleep = next("sleep");
    real_time = next("time");
    real_timerfd_settime = next("timerfd_settime");
    real_timer_settime = next("timer_settime");
    real_setitimer = next("setitimer");
    real_alarm = next("alarm");
    double rate = 1;
    const char *v = getenv("MBUS_CLOCK_RATE");
    if (v != NULL && *v != '\0') {
        char *end = NULL;
        rate = strtod(v, &end);
        if (*end != '\0' || !(rate >= 0.01 && rate <= 100)) {
            fprintf(stderr, "mbus: MBUS_CLOCK_RATE=%s: must be a number from 0.01 to 100\n", v);
            _exit(2);
        }
    }
    atomic_store(&g_scale, make_scale(rate, NULL));
}

/* The scale in force, or null at rate 1: then the caller goes straight to the C library. */
static const Scale *scale(void) {
    pthread_once(&g_once, init);
    const Scale *s = atomic_load_explicit(&g_scale, memory_order_acquire);
    return s->rate == 1 ? NULL : s;
}

__attribute__((constructor)) static void load(void) { (void)scale(); }

EXPORT double mbus_clock_rate(void) {
    pthread_once(&g_once, init);
    return atomic_load(&g_scale)->rate;
}

EXPORT void mbus_clock_set_rate(double rate) {
    pthread_once(&g_once, init);
    const Scale *s = rate >= 0.01 && rate <= 100 ? make_scale(rate, atomic_load(&g_scale)) : NULL;
    if (s != NULL) {
        atomic_store(&g_scale, s);
    }
}

/* The unscaled functions the application used at a rate other than 1, ", "-separated, or "". */
EXPORT const char *mbus_clock_unscaled(void) {
    static char text[96];
    text[0] = '\0';
    const unsigned used = atomic_load(&g_unscaled);
    for (size_t i = 0; i < sizeof kUnscaled / sizeof *kUnscaled; ++i) {
        if (used & (1u << i)) {
            strcat(strcat(text, *text != '\0' ? ", " : ""), kUnscaled[i]);
        }
    }
    return text;
}

static void unscaled(unsigned which) {
    if (scale() != NULL) {
        atomic_fetch_or(&g_unscaled, 1u << which);
    }
}

/* ---- conversions ---- */

static int64_t app_time(const Scale *s, clockid_t c, int64_t real) {
    return s->app[c] + (int64_t)((double)(real - s->real[c]) * s->rate);
}

static struct timespec real_deadline(const Scale *s, clockid_t c, const struct timespec *app) {
    return to_ts(s->real[c] + (int64_t)((double)(ns(app) - s->app[c]) / s->rate));
}

static struct timespec real_span(const Scale *s, const struct timespec *app) {
    return to_ts((int64_t)((double)ns(app) / s->rate));
}

static struct timespec app_span(const Scale *s, const struct timespec *real) {
    return to_ts((int64_t)((double)ns(real) * s->rate));
}

static int64_t app_now(const Scale *s, clockid_t c) {
    struct timespec ts = {0, 0};
    real_clock_gettime(c, &ts);
    return app_time(s, c, ns(&ts));
}

/* A condition variable's clock is its own (set at its creation): the deadline is on the clock it
 * is closest to, the wall clock's date or the time since boot. */
static clockid_t deadline_clock(const Scale *s, const struct timespec *abstime) {
    const int64_t t = ns(abstime);
    const int64_t wall = app_now(s, CLOCK_REALTIME), mono = app_now(s, CLOCK_MONOTONIC);
    return llabs(t - wall) < llabs(t - mono) ? CLOCK_REALTIME : CLOCK_MONOTONIC;
}

/* ---- clocks ---- */

EXPORT int clock_gettime(clockid_t c, struct timespec *ts) {
    const Scale *s = scale();
    const int r = real_clock_gettime(c, ts);
    if (s != NULL && r == 0 && scaled_clock(c)) {
        *ts = to_ts(app_time(s, c, ns(ts)));
    }
    return r;
}

EXPORT int gettimeofday(struct timeval *tv, void *tz) {
    const Scale *s = scale();
    const int r = real_gettimeofday(tv, tz);
    if (s != NULL && r == 0 && tv != NULL) {
        const struct timespec ts = to_ts(app_now(s, CLOCK_REALTIME));
        *tv = (struct timeval){ts.tv_sec, ts.tv_nsec / 1000};
    }
    return r;
}

EXPORT time_t time(time_t *out) {
    const Scale *s = scale();
    if (s == NULL) {
        return real_time(out);
    }
    struct timespec ts = {0, 0};
    clock_gettime(CLOCK_REALTIME, &ts);
    if (out != NULL) {
        *out = ts.tv_sec;
    }
    return ts.tv_sec;
}

/* ---- sleeps ---- */

EXPORT int nanosleep(const struct timespec *req, struct timespec *rem) {
    const Scale *s = scale();
    if (s == NULL || req == NULL || req->tv_nsec < 0 || req->tv_nsec >= 1000000000) {
        return real_nanosleep(req, rem);
    }
    const struct timespec d = real_span(s, req);
    struct timespec left = {0, 0};
    const int r = real_nanosleep(&d, &left);
    if (r != 0 && rem != NULL) {
        *rem = app_span(s, &left);
    }
    return r;
}

EXPORT int clock_nanosleep(clockid_t c, int flags, const struct timespec *req, struct timespec *rem) {
    const Scale *s = scale();
    if (s == NULL || !scaled_clock(c) || req == NULL || req->tv_nsec < 0 || req->tv_nsec >= 1000000000) {
        return real_clock_nanosleep(c, flags, req, rem);
    }
    if (flags & TIMER_ABSTIME) {
        const struct timespec until = real_deadline(s, c, req);
        return real_clock_nanosleep(c, flags, &until, rem);
    }
    const struct timespec d = real_span(s, req);
    struct timespec left = {0, 0};
    const int r = real_clock_nanosleep(c, flags, &d, &left);
    if (r == EINTR && rem != NULL) {
        *rem = app_span(s, &left);
    }
    return r;
}

EXPORT int usleep(useconds_t us) {
    if (scale() == NULL) {
        return real_usleep(us);
    }
    const struct timespec d = {(time_t)(us / 1000000), (long)(us % 1000000) * 1000};
    return nanosleep(&d, NULL);
}

EXPORT unsigned sleep(unsigned seconds) {
    if (scale() == NULL) {
        return real_sleep(seconds);
    }
    const struct timespec d = {(time_t)seconds, 0};
    struct timespec left = {0, 0};
    if (nanosleep(&d, &left) != 0) {
        return (unsigned)left.tv_sec + (left.tv_nsec > 0 ? 1 : 0);
    }
    return 0;
}

/* ---- timed waits ---- */

EXPORT int pthread_cond_timedwait(pthread_cond_t *cond, pthread_mutex_t *mu, const struct timespec *abstime) {
    const Scale *s = scale();
    if (s == NULL || abstime == NULL) {
        return real_pthread_cond_timedwait(cond, mu, abstime);
    }
    const struct timespec until = real_deadline(s, deadline_clock(s, abstime), abstime);
    return real_pthread_cond_timedwait(cond, mu, &until);
}

EXPORT int pthread_cond_clockwait(pthread_cond_t *cond, pthread_mutex_t *mu, clockid_t c,
                                  const struct timespec *abstime) {
    const Scale *s = scale();
    if (s == NULL || abstime == NULL || !scaled_clock(c)) {
        return real_pthread_cond_clockwait(cond, mu, c, abstime);
    }
    const struct timespec until = real_deadline(s, c, abstime);
    return real_pthread_cond_clockwait(cond, mu, c, &until);
}

EXPORT int sem_timedwait(sem_t *sem, const struct timespec *abstime) {
    const Scale *s = scale();
    if (s == NULL || abstime == NULL) {
        return real_sem_timedwait(sem, abstime);
    }
    const struct timespec until = real_deadline(s, CLOCK_REALTIME, abstime);
    return real_sem_timedwait(sem, &until);
}

EXPORT int sem_clockwait(sem_t *sem, clockid_t c, const struct timespec *abstime) {
    const Scale *s = scale();
    if (s == NULL || abstime == NULL || !scaled_clock(c)) {
        return real_sem_clockwait(sem, c, abstime);
    }
    const struct timespec until = real_deadline(s, c, abstime);
    return real_sem_clockwait(sem, c, &until);
}

EXPORT int ppoll(struct pollfd *fds, nfds_t n, const struct timespec *timeout, const sigset_t *mask) {
    const Scale *s = scale();
    if (s == NULL || timeout == NULL) {
        return real_ppoll(fds, n, timeout, mask);
    }
    const struct timespec d = real_span(s, timeout);
    return real_ppoll(fds, n, &d, mask);
}

EXPORT int poll(struct pollfd *fds, nfds_t n, int timeout_ms) {
    const Scale *s = scale();
    if (s == NULL || timeout_ms <= 0) {
        return real_poll(fds, n, timeout_ms);
    }
    const struct timespec app = {timeout_ms / 1000, timeout_ms % 1000 * 1000000L};
    const struct timespec d = real_span(s, &app);
    return real_ppoll(fds, n, &d, NULL);
}

EXPORT int select(int n, fd_set *r, fd_set *w, fd_set *e, struct timeval *timeout) {
    const Scale *s = scale();
    if (s == NULL || timeout == NULL) {
        return real_select(n, r, w, e, timeout);
    }
    const struct timespec app = {timeout->tv_sec, timeout->tv_usec * 1000L};
    const struct timespec d = real_span(s, &app);
    struct timeval tv = {d.tv_sec, d.tv_nsec / 1000};
    const int result = real_select(n, r, w, e, &tv);
    const struct timespec left_real = {tv.tv_sec, tv.tv_usec * 1000L};
    const struct timespec left = app_span(s, &left_real);
    *timeout = (struct timeval){left.tv_sec, left.tv_nsec / 1000}; /* the time not slept, as Linux reports it */
    return result;
}

EXPORT int pselect(int n, fd_set *r, fd_set *w, fd_set *e, const struct timespec *timeout, const sigset_t *mask) {
    const Scale *s = scale();
    if (s == NULL || timeout == NULL) {
        return real_pselect(n, r, w, e, timeout, mask);
    }
    const struct timespec d = real_span(s, timeout);
    return real_pselect(n, r, w, e, &d, mask);
}

/* epoll waits in whole milliseconds: a scaled timeout is rounded up, never to 0 (which would not
 * wait at all). */
static int epoll_ms(const Scale *s, int timeout_ms) {
    if (s == NULL || timeout_ms <= 0) {
        return timeout_ms;
    }
    const double ms = timeout_ms / s->rate;
    const int whole = (int)ms;
    return whole < ms || whole == 0 ? whole + 1 : whole;
}

EXPORT int epoll_pwait(int ep, struct epoll_event *ev, int max, int timeout_ms, const sigset_t *mask) {
    return real_epoll_pwait(ep, ev, max, epoll_ms(scale(), timeout_ms), mask);
}

EXPORT int epoll_wait(int ep, struct epoll_event *ev, int max, int timeout_ms) {
    return real_epoll_wait(ep, ev, max, epoll_ms(scale(), timeout_ms));
}

/* ---- not scaled: used at a rate other than 1, the flight report says so ---- */

EXPORT int timerfd_settime(int fd, int flags, const struct itimerspec *value, struct itimerspec *old) {
    unscaled(0);
    return real_timerfd_settime(fd, flags, value, old);
}

EXPORT int timer_settime(timer_t timer, int flags, const struct itimerspec *value, struct itimerspec *old) {
    unscaled(1);
    return real_timer_settime(timer, flags, value, old);
}

EXPORT int setitimer(__itimer_which_t which, const struct itimerval *value, struct itimerval *old) {
    unscaled(2);
    return real_setitimer(which, value, old);
}

EXPORT unsigned alarm(unsigned seconds) {
    unscaled(3);
    return real_alarm(seconds);
}
