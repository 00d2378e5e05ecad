// Shared by the fuzz targets: a quiet stand-in, standard output (the parse printouts) discarded,
// and inputs written to files for the readers that take a path.
#pragma once

#include <mbus_ctl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace cwf {

inline void quiet() {
    setenv("MBUS_QUIET", "1", 1);
    mbus_ctl_set_echo(0);
    if (std::freopen("/dev/null", "w", stdout) == nullptr) {
        std::abort();
    }
}

inline void write_file(const std::string &path, const uint8_t *data, size_t size) {
    FILE *f = std::fopen(path.c_str(), "wb");
    if (f == nullptr || std::fwrite(data, 1, size, f) != size || std::fclose(f) != 0) {
        std::abort();
    }
}

}  // namespace cwf
