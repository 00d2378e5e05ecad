// cirrow-sim: runs an application against the virtual aircraft of the host stand-in.
//
//   cirrow-sim [--speed X] [--strict] [--allow RULES] [--report F.json] [--junit F.xml] [scenario.toml]
//              -- ./my_app [args...]
//   cirrow-sim --check scenario.toml
//   cirrow-sim --aircraft <socket> -- ./my_app [args...]   (attach to a running cirrow-aircraft)
//
// It checks the scenario, sets MBUS_SIM=1 (and MBUS_SCENARIO, MBUS_SIM_SPEED; MBUS_ECHO=readable,
// MBUS_TRACE_SUMMARY=1 and MBUS_REPORT=1 unless they are set; at a speed other than 1, or attached,
// LD_PRELOAD=libmbus_clock.so and MBUS_CLOCK_RATE) and replaces itself with the application,
// which must be linked with the stand-in (-lmbus). The stand-in prints the aircraft's flight report
// when the application ends. With --strict (MBUS_STRICT=1) a report that holds a
// mistake makes the run exit with code 3; otherwise the exit code is the application's.
#include <limits.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

#include "input_file.h"
#include "rules.h"
#ifdef CW_SIM_SCENARIOS
#include "scenario.h"
#endif

namespace {

constexpr const char *kHelp =
    "usage: cirrow-sim [options] [scenario.toml] -- app [args...]\n"
    "       cirrow-sim --aircraft SOCKET [--strict] -- app [args...]\n"
    "       cirrow-sim --check scenario.toml\n"
    "\n"
    "Runs a flight application (linked with the stand-in, -lmbus) against the virtual aircraft.\n"
    "A scenario is checked before the application starts; a bad one stops here, naming its line.\n"
    "\n"
    "options:\n"
    "  --speed X        the aircraft's clock against the wall clock, 0.01 to 100 (default 1)\n"
    "  --strict         exit with code 3 when the flight report holds a mistake (notes never count)\n"
    "  --allow RULES    waive the referee's rules (comma-separated; the README lists them): their\n"
    "                   items stay in the report, marked, and never fail --strict\n"
    "  --report FILE    write the flight report as JSON to FILE when the application ends\n"
    "  --junit FILE     write the flight report as JUnit XML to FILE when the application ends\n"
    "  --aircraft SOCKET attach to a running cirrow-aircraft instead of flying one in the application\n"
    "                   (its scenario and speed are the aircraft's: give them to cirrow-aircraft)\n"
    "  --check FILE     check a scenario and exit: 0 when it is good, 2 with each problem as\n"
    "                   file:line: problem, in the file's order\n"
    "  -h, --help       this text\n"
    "\n"
    "At a speed other than 1 the application's clocks follow the aircraft's (attached: at its speed):\n"
    "cirrow-sim preloads libmbus_clock.so, which scales clock_gettime (real-time, monotonic and boot-time\n"
    "clocks), gettimeofday, time, nanosleep, clock_nanosleep, usleep, sleep, pthread_cond_timedwait,\n"
    "pthread_cond_clockwait, sem_timedwait, sem_clockwait, poll, ppoll, select, pselect, epoll_wait and\n"
    "epoll_pwait. Not scaled: timerfd_settime, timer_settime, setitimer and alarm (the report says the\n"
    "application's time may have drifted when it uses them), direct system calls, CPU-time clocks and a\n"
    "thread that spins on a clock. At speed 1 nothing is preloaded: every call is the C library's.\n"
    "\n"
    "environment (read by the stand-in in the application's process):\n"
    "  MBUS_SIM=1            fly the virtual aircraft (set by cirrow-sim)\n"
    "  MBUS_SCENARIO=FILE    the scenario (set by cirrow-sim from its argument)\n"
    "  MBUS_SIM_SPEED=X      the aircraft's clock against the wall clock (set by --speed)\n"
    "  MBUS_CLOCK_RATE=X     libmbus_clock.so's rate (set with the preload, to the speed)\n"
    "  MBUS_ECHO=MODE        raw: the library's lines as written; readable: indented under the\n"
    "                        application's output (cirrow-sim's default)\n"
    "  MBUS_QUIET=1          record only, print nothing (0 or unset: print)\n"
    "  MBUS_LOG_LEVEL=N      highest log level printed (default 3, 0: errors only)\n"
    "  MBUS_LOG_FILE=PATH    the leveled log into PATH (default: stderr)\n"
    "  MBUS_USRLOG_FILE=PATH the usrlog channel into PATH (default: stderr)\n"
    "  MBUS_TRACE=PATH       every request, answer and push, decoded, one line each (-: stderr)\n"
    "  MBUS_PCAP=PATH        the same traffic as a capture (Wireshark; a scenario can replay it)\n"
    "  MBUS_TRACE_SUMMARY=1  counts per message at exit (cirrow-sim's default)\n"
    "  MBUS_REPORT=1         the aircraft's flight report at exit (cirrow-sim's default)\n"
    "  MBUS_AIRCRAFT=SOCKET  attach to cirrow-aircraft on that socket (set by --aircraft)\n"
    "  MBUS_STRICT=1         exit with code 3 when the report holds a mistake (set by --strict)\n"
    "  MBUS_ALLOW=RULES      the referee's rules waived (set by --allow)\n"
    "  MBUS_REPORT_JSON=FILE, MBUS_JUNIT=FILE  the report as JSON, as JUnit XML (set by --report, --junit)\n";

int usage(const std::string &problem) {
    std::fprintf(stderr, "cirrow-sim: %s\n%s", problem.c_str(), kHelp);
    return 2;
}

// Checks a scenario as the stand-in will read it: true when it is good (its speed in *speed), else
// every problem on stderr. A file that cannot be read is named the same way from --check and from
// the launcher.
bool check(const char *path, double *speed = nullptr) {
    if (const std::string problem = sim::input_file_problem(path); !problem.empty()) {
        std::fprintf(stderr, "cirrow-sim: %s\n", problem.c_str());
        return false;
    }
#ifdef CW_SIM_SCENARIOS
    sim::Scenario s;
    std::string error;
    if (!sim::load_scenario(path, s, error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return false;
    }
    if (speed != nullptr) {
        *speed = s.speed;
    }
    return true;
#else
    (void)speed;
    std::fprintf(stderr, "cirrow-sim: %s: this build reads no scenarios (toml++ headers were missing)\n", path);
    return false;
#endif
}

// --speed's value, as the stand-in accepts it: a number from 0.01 to 100.
bool speed_ok(const char *text) {
    char *end = nullptr;
    const double v = std::strtod(text, &end);
    return *text != '\0' && *end == '\0' && std::isfinite(v) && v >= 0.01 && v <= 100;
}

// The variable a referee option sets (--allow, --report, --junit), or null.
const char *referee_option(const std::string &arg) {
    return arg == "--allow"    ? "MBUS_ALLOW"
           : arg == "--report" ? "MBUS_REPORT_JSON"
           : arg == "--junit"  ? "MBUS_JUNIT"
                               : nullptr;
}

// The aircraft's clock for the application (libmbus_clock.so): installed beside cirrow-sim's
// prefix, else where this build made it; "" when neither is there.
std::string clock_library() {
    char exe[PATH_MAX] = {0};
    const ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
    std::string path = n > 0 ? std::string(exe, static_cast<size_t>(n)) : "";
    path = path.substr(0, path.rfind('/') + 1) + "../" CW_CLOCK_INSTALLED;
    for (const std::string &p : {path, std::string(CW_CLOCK_BUILT)}) {
        if (access(p.c_str(), R_OK) == 0) {
            return p;
        }
    }
    return "";
}

// At a speed other than 1 (or attached to cirrow-aircraft, whose speed its Welcome gives), the
// application's clocks and sleeps follow the aircraft's: the clock library is preloaded into it
// (MBUS_CLOCK_RATE=speed; attached, the stand-in sets the rate). At speed 1 nothing is preloaded.
void follow_aircraft_clock(double speed, bool attached) {
    unsetenv("MBUS_CLOCK_RATE");
    if (!attached && speed == 1) {
        return;
    }
    const std::string lib = clock_library();
    if (lib.empty()) {
        std::fprintf(stderr, "cirrow-sim: %s not found: the application's clocks stay on the wall clock\n",
                     CW_CLOCK_INSTALLED);
        return;
    }
    const char *preload = std::getenv("LD_PRELOAD");
    setenv("LD_PRELOAD", (preload != nullptr && *preload != '\0' ? lib + ":" + preload : lib).c_str(), 1);
    // An application built with AddressSanitizer accepts a library loaded ahead of its runtime.
    const char *asan = std::getenv("ASAN_OPTIONS");
    setenv("ASAN_OPTIONS", (std::string(asan != nullptr ? asan : "") + ":verify_asan_link_order=0").c_str(), 1);
    if (!attached) {
        char rate[32];
        std::snprintf(rate, sizeof rate, "%.17g", speed);
        setenv("MBUS_CLOCK_RATE", rate, 1);
    }
}

// The speed the stand-in will fly at: --speed (MBUS_SIM_SPEED), else the scenario's; 1 when
// MBUS_SIM_SPEED is not a number (the stand-in then stops with the reason).
double flight_speed(double scenario_speed) {
    const char *v = std::getenv("MBUS_SIM_SPEED");
    if (v == nullptr || *v == '\0') {
        return scenario_speed;
    }
    char *end = nullptr;
    const double speed = std::strtod(v, &end);
    return *end == '\0' && speed >= 0.01 && speed <= 100 ? speed : 1;
}

}  // namespace

int main(int argc, char **argv) {
    // Everything after the first "--" is the application's; options and the scenario come before.
    int dash = 1;
    while (dash < argc && std::strcmp(argv[dash], "--") != 0) {
        ++dash;
    }
    const char *aircraft = nullptr;  // attach to cirrow-aircraft instead of flying one in the app
    const char *scenario = nullptr;
    const char *speed = nullptr;
    double scenario_speed = 1;
    bool referee_set = false;  // --allow, --report or --junit given
    for (int i = 1; i < dash; ++i) {
        const std::string arg = argv[i];
        const bool has_value = i + 1 < dash;
        if (arg == "-h" || arg == "--help") {
            std::fputs(kHelp, stdout);
            return 0;
        }
        if (arg == "--check") {
            if (i != 1 || argc != 3) {
                return usage("--check takes one scenario file and nothing else");
            }
            return check(argv[2]) ? 0 : 2;
        }
        if (arg == "--speed") {
            if (!has_value) {
                return usage(dash < argc ? "--speed needs a number before --" : "--speed needs a number");
            }
            if (!speed_ok(argv[++i])) {
                return usage(std::string("--speed ") + argv[i] + ": expected a number from 0.01 to 100");
            }
            speed = argv[i];
            setenv("MBUS_SIM_SPEED", speed, 1);
        } else if (arg == "--aircraft") {
            if (!has_value) {
                return usage(dash < argc ? "--aircraft needs the aircraft's socket path before --"
                                         : "--aircraft needs the aircraft's socket path");
            }
            aircraft = argv[++i];
        } else if (arg == "--strict") {
            setenv("MBUS_STRICT", "1", 1);
        } else if (const char *env = referee_option(arg); env != nullptr) {
            if (!has_value) {
                return usage(arg + (dash < argc ? " needs a value before --" : " needs a value"));
            }
            const std::string value = argv[++i];
            std::string why;
            std::set<std::string> rules;
            if (arg == "--allow" && !sim::parse_rules(value, rules, why)) {
                std::fprintf(stderr, "cirrow-sim: --allow %s: %s (%s)\n", value.c_str(), why.c_str(),
                             sim::known_rules().c_str());
                return 2;
            }
            setenv(env, value.c_str(), 1);
            referee_set = true;
        } else if (arg[0] == '-') {
            return usage("unknown option " + arg);
        } else if (scenario != nullptr) {
            return usage("one scenario at a time (got " + std::string(scenario) + " and " + arg + ")");
        } else {
            scenario = argv[i];
        }
    }
    if (dash >= argc) {
        // Without "--" the application would be read as a scenario: say what is missing instead.
        return usage(scenario != nullptr ? std::string(scenario) +
                                               ": no -- before the application (cirrow-sim [options] [scenario.toml] "
                                               "-- app [args...]; a scenario alone: --check FILE)"
                                         : "no application to run (after --)");
    }
    if (dash + 1 >= argc) {
        return usage("no application to run (after --)");
    }
    if (aircraft != nullptr && (scenario != nullptr || speed != nullptr)) {
        return usage(std::string(scenario != nullptr ? scenario : "--speed") +
                     " does not apply with --aircraft: cirrow-aircraft flies its own scenario and speed (give them "
                     "to it)");
    }
    if (aircraft != nullptr && referee_set) {
        return usage(
            "--aircraft: cirrow-aircraft's referee judges the flight: give --allow, --report and --junit to it");
    }
    if (scenario != nullptr) {
        if (!check(scenario, &scenario_speed)) {
            return 2;
        }
        char *full = realpath(scenario, nullptr);
        setenv("MBUS_SCENARIO", full, 1);
        std::free(full);
    }
    const int i = dash;
    setenv(aircraft != nullptr ? "MBUS_AIRCRAFT" : "MBUS_SIM", aircraft != nullptr ? aircraft : "1", 1);
    setenv("MBUS_ECHO", "readable", 0);  // the run as a person follows it, unless chosen otherwise
    setenv("MBUS_TRACE_SUMMARY", "1", 0);
    setenv("MBUS_REPORT", "1", 0);
    follow_aircraft_clock(flight_speed(scenario_speed), aircraft != nullptr);
    execvp(argv[i + 1], argv + i + 1);
    std::fprintf(stderr, "cirrow-sim: cannot run %s: %s\n", argv[i + 1], std::strerror(errno));
    return 127;
}
