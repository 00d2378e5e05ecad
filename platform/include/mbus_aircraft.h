// The stand-in's interface for a virtual aircraft flying inside the application's process (C++,
// host only, inside libmbus.so: nothing of it is exported). The aircraft gets a peer for every
// receiver without one of its own, a clock the delivery thread ticks, word of the handlers the
// application registers, the pace of the process's clocks and the stand-in's diagnostics
// settings; the stand-in delivers its pushes. Nothing else of the stand-in's state is reachable.
#pragma once

#include <cstdint>

#include "mbus_ctl.h"

namespace mbus {

struct AircraftHooks {
    mbus_ctl_peer_fn answer;
    void *ctx;
    void (*tick)(void *ctx);  // called on the delivery thread, without the stand-in's lock
    uint32_t period_us;       // how often tick runs
    // The application registered (on) or removed (off) its handler for set/id; called without the lock.
    void (*handler)(void *ctx, uint8_t set, uint8_t id, bool on);
};

// Lets the virtual aircraft fly (or land it, with null): its peer answers and its clock ticks.
void set_aircraft(const AircraftHooks *aircraft);

// Hands a push of the aircraft to the application's handler on the calling thread, or drops it
// when nobody handles it (the trace shows the drop; the aircraft's referee counts it, so the
// stand-in says nothing).
void deliver_from_aircraft(uint8_t cmd_set, uint8_t cmd_id, const uint8_t *payload, uint32_t len);

// How many times the wall clock's pace the process's clocks run: 1 unless cirrow-sim preloaded
// the aircraft's clock (libmbus_clock.so) at another speed; and the timers the application used
// that the clock does not scale, ", "-separated, or "".
double clock_rate();
const char *clock_unscaled();

// Whether the stand-in echoes its diagnostics (MBUS_QUIET unset), and in the readable form
// (MBUS_ECHO=readable), with the indent its readable lines carry.
bool echo_on();
bool echo_readable();
inline constexpr const char *kReadableIndent = "           ";

}  // namespace mbus
