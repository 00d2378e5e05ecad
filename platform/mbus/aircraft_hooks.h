// What the stand-in offers a virtual aircraft flying inside the application's process: a peer for
// every receiver without one of its own, a clock the delivery thread ticks, word of the handlers
// the application registers, and the stand-in's diagnostics settings. Nothing else of the
// stand-in's state is reachable from here.
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

// Whether the stand-in echoes its diagnostics (MBUS_QUIET unset), and in the readable form
// (MBUS_ECHO=readable), with the indent its readable lines carry.
bool echo_on();
bool echo_readable();
inline constexpr const char *kReadableIndent = "           ";

}  // namespace mbus
