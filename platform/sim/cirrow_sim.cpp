// cirrow-sim: runs an application against the virtual aircraft of the host stand-in.
//
//   cirrow-sim [--speed X] [--strict] [--allow RULES] [--report F.json] [--junit F.xml] [scenario.toml]
//              -- ./my_app [args...]
//   cirrow-sim --check scenario.toml
//   cirrow-sim --aircraft <socket> -- ./my_app [args...]   (attach to a running cirrow-aircraft)
//
// It checks the scenario, sets MBUS_SIM=1 (and MBUS_SCENARIO, MBUS_SIM_SPEED; MBUS_ECHO=readable,
// MBUS_TRACE_SUMMARY=1 and MBUS_REPORT=1 unless they are set) and replaces itself with the
// application, which must be linked with the stand-in (-lmbus). The stand-in prints the aircraft's
// flight report when the application ends. With --strict (MBUS_STRICT=1) a report that holds a
// mistake makes the run exit with code 3; otherwise the exit code is the application's.
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
    "environment (read by the stand-in in the application's process):\n"
    "  MBUS_SIM=1            fly the virtual aircraft (set by cirrow-sim)\n"
    "  MBUS_SCENARIO=FILE    the scenario (set by cirrow-sim from its argument)\n"
    "  MBUS_SIM_SPEED=X      the aircraft's clock against the wall clock (set by --speed)\n"
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

// Checks a scenario as the stand-in will read it: true when it is good, else every problem on
// stderr. A file that cannot be read is named the same way from --check and from the launcher.
bool check(const char *path) {
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
    return true;
#else
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
        if (!check(scenario)) {
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
    execvp(argv[i + 1], argv + i + 1);
    std::fprintf(stderr, "cirrow-sim: cannot run %s: %s\n", argv[i + 1], std::strerror(errno));
    return 127;
}
