// The virtual aircraft inside an application's process: the stand-in hosts it when the environment
// asks for it (MBUS_SIM=1, or a scenario in MBUS_SCENARIO, which the cirrow-sim launcher sets).
// The application is the aircraft's only one (app 1): every receiver without a peer of its own is
// answered by the aircraft, its handler registrations are told to the aircraft, and what the
// aircraft pushes is delivered on the stand-in's delivery thread, or dropped when nobody handles it.
//
// At exit the flight report is printed when MBUS_REPORT=1 (the launcher sets it); with
// MBUS_STRICT=1 (cirrow-sim --strict) a report that holds a mistake ends the process with exit
// code 3, whatever the application returned. MBUS_ALLOW waives rules (comma-separated names);
// MBUS_REPORT_JSON and MBUS_JUNIT write the report to files as JSON and as JUnit XML.
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

#include "aircraft.h"
#include "mbus_aircraft.h"
#include "referee.h"
#include "rules.h"

namespace sim {

namespace {

constexpr AppId kApp = 1;
constexpr int kStrictExit = 3;

Aircraft *g_aircraft = nullptr;  // lives as long as the process: the delivery thread ticks it
bool g_report = false, g_strict = false;
const char *g_json = nullptr, *g_junit = nullptr;  // where the report goes as JSON and JUnit XML

int32_t answer(void *, const mbus_ctl_request_t *req, uint8_t *resp, uint32_t resp_len, uint32_t *delay_us) {
    return g_aircraft->request(kApp, *req, resp, resp_len, delay_us);
}

void tick(void *) {
    for (const Pushed &p : g_aircraft->tick()) {
        mbus::deliver_from_aircraft(p.set, p.id, p.bytes.data(), static_cast<uint32_t>(p.bytes.size()));
    }
}

void handler(void *, uint8_t set, uint8_t id, bool on) { g_aircraft->handler(kApp, set, id, on); }

void marker(void *, const void *msg, uint32_t len) { g_aircraft->message(kApp, "fly_marker_thread", msg, len); }

// The aircraft's lines in the stand-in's echo: its prefix, or the readable echo's column.
void echo(const char *line) {
    if (!mbus::echo_on()) {
        return;
    }
    if (mbus::echo_readable()) {
        std::fprintf(stderr, "%saircraft  %s", mbus::kReadableIndent, line);
    } else {
        std::fprintf(stderr, "sim: %s", line);
    }
}

// Timers the aircraft's clock does not scale, when the application used them.
void report_unscaled() {
    if (const char *used = mbus::clock_unscaled(); *used != '\0') {
        g_aircraft->drift(std::string("it used ") + used + ", which run on the wall clock",
                          "time it with clock_gettime() and sleeps or timed waits: they follow the aircraft's clock");
    }
}

void at_exit() {
    report_unscaled();
    g_aircraft->detach(kApp, true);
    uint32_t mistakes = 0;
    const std::string report = g_aircraft->report(&mistakes);
    if (g_report) {
        std::fflush(stdout);
        std::fputs(report.c_str(), stderr);
    }
    for (const auto &[file, format] : {std::pair{g_json, Aircraft::Format::Json}, {g_junit, Aircraft::Format::Junit}}) {
        if (file != nullptr && !write_report(file, g_aircraft->report(nullptr, Aircraft::kEveryApp, format))) {
            std::fprintf(stderr, "mbus: %s: cannot write the flight report: %s\n", file, std::strerror(errno));
        }
    }
    if (g_strict && mistakes > 0) {
        std::fflush(nullptr);
        _exit(kStrictExit);
    }
}

[[noreturn]] void refuse(const std::string &what) {
    std::fprintf(stderr, "mbus: %s\n", what.c_str());
    std::fflush(stderr);
    std::_Exit(2);
}

// A 0-or-1 switch from the environment; a bad value stops the process.
bool flag(const char *name) {
    const char *v = std::getenv(name);
    if (v == nullptr || *v == '\0' || std::strcmp(v, "0") == 0) {
        return false;
    }
    if (std::strcmp(v, "1") != 0) {
        refuse(std::string(name) + "=" + v + ": must be 0 or 1");
    }
    return true;
}

// A file the report is written to at exit, named by the environment (null: none).
const char *file_named(const char *name) {
    const char *v = std::getenv(name);
    return v != nullptr && *v != '\0' ? v : nullptr;
}

std::string program_name() {
    char path[256] = {0};
    const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
    const char *base = n > 0 ? std::strrchr(path, '/') : nullptr;
    return std::string(base != nullptr ? base + 1 : "application") + " (pid " + std::to_string(getpid()) + ")";
}

// Reads MBUS_SIM, MBUS_SCENARIO, MBUS_SIM_SPEED, MBUS_REPORT and MBUS_STRICT when the stand-in is
// loaded, before the application runs: a bad value stops the process with the reason.
__attribute__((constructor)) void start_from_environment() {
    const bool on = flag("MBUS_SIM");
    const char *file = std::getenv("MBUS_SCENARIO");
    const char *speed = std::getenv("MBUS_SIM_SPEED");
    const bool has_file = file != nullptr && *file != '\0';
    g_report = flag("MBUS_REPORT");
    g_strict = flag("MBUS_STRICT");
    if (!has_file && !on) {
        return;
    }
    Scenario s;
    if (has_file) {
#ifdef CW_SIM_SCENARIOS
        std::string error;
        if (!load_scenario(file, s, error)) {
            refuse(error);
        }
#else
        refuse(std::string("MBUS_SCENARIO=") + file + ": this stand-in was built without scenario support (toml++)");
#endif
    }
    if (speed != nullptr && *speed != '\0') {
        char *end = nullptr;
        s.speed = std::strtod(speed, &end);
        if (*end != '\0' || !(s.speed >= 0.01 && s.speed <= 100)) {
            refuse(std::string("MBUS_SIM_SPEED=") + speed + ": must be a number from 0.01 to 100");
        }
    }
    std::set<std::string> allowed;
    if (const char *allow = std::getenv("MBUS_ALLOW"); allow != nullptr) {
        if (std::string why; !parse_rules(allow, allowed, why)) {
            refuse(std::string("MBUS_ALLOW=") + allow + ": " + why + " (" + known_rules() + ")");
        }
    }
    g_json = file_named("MBUS_REPORT_JSON");
    g_junit = file_named("MBUS_JUNIT");
    // The aircraft's clock runs at s.speed against the process's clocks, which already run at the
    // preloaded rate: at the same rate the aircraft's and the application's clocks are one.
    const double rate = mbus::clock_rate(), speed_asked = s.speed;
    s.speed /= rate;
    set_diagnostics(echo);
    g_aircraft = Aircraft::create(std::move(s)).release();
    g_aircraft->allow(allowed);
    g_aircraft->attach(kApp, program_name());
    if (speed_asked != rate) {
        char why[160];
        std::snprintf(why, sizeof why, "its clocks ran at %.2f times the wall clock's pace, the aircraft's at %.2f",
                      rate, speed_asked);
        g_aircraft->drift(why, "run it with cirrow-sim, which makes its clocks follow the aircraft's");
    }
    static const mbus::AircraftHooks hooks{answer, nullptr, tick, g_aircraft->period_us(), handler};
    mbus_ctl_tm_set_receiver("fly_marker_thread", marker, nullptr);
    std::atexit(at_exit);  // before the delivery thread starts: it runs once that thread has stopped
    mbus::set_aircraft(&hooks);
}

}  // namespace

}  // namespace sim
