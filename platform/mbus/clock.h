// The aircraft's clock in this process: libmbus_clock.so (clock.c), when cirrow-sim preloaded it
// into the application. The stand-in finds it at run time; it is never linked.
#pragma once

#include <dlfcn.h>

namespace mbus::clock {

template <class F>
F find(const char *name) {
    return reinterpret_cast<F>(dlsym(RTLD_DEFAULT, name));
}

// Whether it is loaded at all.
inline bool loaded() { return find<void (*)(double)>("mbus_clock_set_rate") != nullptr; }

// The rate of the process's clocks: 1 without it (its clock and sleep calls are the C library's).
inline double rate() {
    const auto f = find<double (*)()>("mbus_clock_rate");
    return f != nullptr ? f() : 1;
}

// From now on the process's clocks run at `rate` (does nothing without it).
inline void set_rate(double rate) {
    if (const auto f = find<void (*)(double)>("mbus_clock_set_rate"); f != nullptr) {
        f(rate);
    }
}

// The timers the application used that the clock does not scale, ", "-separated, or "".
inline const char *unscaled() {
    const auto f = find<const char *(*)()>("mbus_clock_unscaled");
    return f != nullptr ? f() : "";
}

}  // namespace mbus::clock
