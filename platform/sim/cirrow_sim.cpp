// cirrow-sim: runs an application against the virtual aircraft of the host stand-in.
//
//   cirrow-sim [--speed X] [--strict] [scenario.toml] -- ./my_app [args...]
//   cirrow-sim --aircraft <socket> -- ./my_app [args...]   (attach to a running cirrow-aircraft)
//
// It sets MBUS_SIM=1 (and MBUS_SCENARIO, MBUS_SIM_SPEED; MBUS_ECHO=readable, MBUS_TRACE_SUMMARY=1
// and MBUS_REPORT=1 unless they are set) and replaces itself with the application, which must be
// linked with the stand-in (-lmbus). The stand-in checks the scenario when the application loads
// it, before main runs, and prints the aircraft's flight report when the application ends. With
// --strict (MBUS_STRICT=1) a report that holds a mistake makes the run exit with code 3; otherwise
// the exit code is the application's.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

int usage() {
    std::fprintf(stderr,
                 "usage: cirrow-sim [--speed X] [--strict] [scenario.toml] -- app [args...]\n"
                 "       cirrow-sim --aircraft <socket> -- app [args...]\n");
    return 2;
}

}  // namespace

int main(int argc, char **argv) {
    int i = 1;
    const char *aircraft = nullptr;  // attach to cirrow-aircraft instead of flying one in the app
    for (; i < argc && std::strcmp(argv[i], "--") != 0; ++i) {
        if (std::strcmp(argv[i], "--speed") == 0 && i + 1 < argc) {
            setenv("MBUS_SIM_SPEED", argv[++i], 1);
        } else if (std::strcmp(argv[i], "--aircraft") == 0 && i + 1 < argc) {
            aircraft = argv[++i];
        } else if (std::strcmp(argv[i], "--strict") == 0) {
            setenv("MBUS_STRICT", "1", 1);
        } else if (argv[i][0] == '-') {
            return usage();
        } else {
            if (access(argv[i], R_OK) != 0) {
                std::fprintf(stderr, "cirrow-sim: cannot read scenario %s\n", argv[i]);
                return 2;
            }
            char *full = realpath(argv[i], nullptr);
            setenv("MBUS_SCENARIO", full, 1);
            std::free(full);
        }
    }
    if (i + 1 >= argc) {
        return usage();
    }
    if (aircraft != nullptr && (getenv("MBUS_SCENARIO") != nullptr || getenv("MBUS_SIM_SPEED") != nullptr)) {
        std::fprintf(stderr, "cirrow-sim: --aircraft flies cirrow-aircraft's scenario and speed: give them to it\n");
        return 2;
    }
    setenv(aircraft != nullptr ? "MBUS_AIRCRAFT" : "MBUS_SIM", aircraft != nullptr ? aircraft : "1", 1);
    setenv("MBUS_ECHO", "readable", 0);  // the run as a person follows it, unless chosen otherwise
    setenv("MBUS_TRACE_SUMMARY", "1", 0);
    setenv("MBUS_REPORT", "1", 0);
    execvp(argv[i + 1], argv + i + 1);
    std::fprintf(stderr, "cirrow-sim: cannot run %s: %s\n", argv[i + 1], std::strerror(errno));
    return 127;
}
