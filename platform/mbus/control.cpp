// The stand-in's settings from the environment, checked when the library is loaded, and the
// control functions that act on every concern at once.
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "host.h"

using mbus::st;
using mbus::State;

namespace {

// A level from MBUS_LOG_LEVEL: a decimal number. Returns false when the text is not one.
bool parse_level(const char *v, uint32_t *level) {
    if (v == nullptr || *v == '\0') {
        return false;
    }
    char *end = nullptr;
    const unsigned long n = std::strtoul(v, &end, 10);
    if (*end != '\0' || *v == '-' || n > 0xFFFFFFFFul) {
        return false;
    }
    *level = static_cast<uint32_t>(n);
    return true;
}

}  // namespace

void mbus::refuse(const char *fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    std::fputs("mbus: ", stderr);
    std::vfprintf(stderr, fmt, ap);
    std::fputs("\n", stderr);
    va_end(ap);
    std::fflush(stderr);
    std::_Exit(2);
}

namespace {

using mbus::refuse;

mbus::Config read_config() {
    mbus::Config c;
    const char *level = std::getenv("MBUS_LOG_LEVEL");
    if (level != nullptr && *level != '\0' && !parse_level(level, &c.log_level)) {
        refuse("MBUS_LOG_LEVEL=%s: not a log level (a number, 0 for errors only, 3 by default)", level);
    }
    const char *quiet = std::getenv("MBUS_QUIET");
    if (quiet != nullptr && *quiet != '\0' && std::strcmp(quiet, "0") != 0 && std::strcmp(quiet, "1") != 0) {
        refuse("MBUS_QUIET=%s: must be 0 or 1", quiet);
    }
    c.quiet = quiet != nullptr && std::strcmp(quiet, "1") == 0;
    const char *echo = std::getenv("MBUS_ECHO");
    if (echo != nullptr && *echo != '\0' && std::strcmp(echo, "raw") != 0 && std::strcmp(echo, "readable") != 0) {
        refuse("MBUS_ECHO=%s: must be raw or readable", echo);
    }
    c.readable = echo != nullptr && std::strcmp(echo, "readable") == 0;
    return c;
}

// Loading the stand-in checks its environment before the application's main runs.
__attribute__((constructor)) void check_environment() { mbus::config(); }

}  // namespace

namespace mbus {

const Config &config() {
    static const Config c = read_config();
    return c;
}

State &st() {
    static State *s = new State;
    return *s;
}

bool echo_on() { return st().echo.load(); }

bool echo_readable() { return config().readable; }

void copy_text(char *dst, size_t cap, const char *src) {
    const size_t n = src != nullptr ? strnlen(src, cap - 1) : 0;
    if (n > 0) {
        std::memcpy(dst, src, n);
    }
    dst[n] = '\0';
}

void note(const char *fmt, ...) {
    if (!st().echo.load()) {
        return;
    }
    va_list ap;
    va_start(ap, fmt);
    std::vfprintf(stderr, fmt, ap);
    va_end(ap);
}

}  // namespace mbus

extern "C" {

// Start over: forget requests, logs, scripts, peers, handlers, named receivers and messages,
// data-manager faults and the fixed boot time. The delivery queue is drained first.
void mbus_ctl_reset(void) {
    mbus_ctl_push_flush();
    uint32_t level = 0;
    if (!parse_level(std::getenv("MBUS_LOG_LEVEL"), &level)) {
        level = mbus::Config{}.log_level;  // unset, or changed by the application since: the default
    }
    State &s = st();
    std::vector<cw::trace::SetId> forgotten;
    const mbus::AircraftHooks *aircraft = nullptr;
    {
        std::lock_guard<std::mutex> lock(s.mu);
        for (const auto &h : s.handlers) {
            forgotten.push_back(h.first);
        }
        aircraft = s.aircraft;
        s.scripts.clear();
        s.peers.clear();
        s.requests.clear();
        s.handlers.clear();
        s.registrations.clear();
        s.logs.clear();
        s.heads = 0;
        s.max_level = level;
        s.dumps.clear();
        s.boot_time = 0;
        s.imu.fill(0);
        s.dm_take_fault = 0;
        s.dm_return_fault = 0;
        // Items still taken stay outstanding: whoever holds them will return them later.
        s.receivers.clear();
        s.tm_fault = 0;
        s.tm_fault_count = 0;
        s.messages.clear();
    }
    // The virtual aircraft keeps its own account of who takes which push: the handlers are gone.
    if (aircraft != nullptr && aircraft->handler != nullptr) {
        for (const cw::trace::SetId &key : forgotten) {
            aircraft->handler(aircraft->ctx, key.set, key.id, false);
        }
    }
}

}  // extern "C"
