// Writes the Scenarios reference (Markdown) from the scenario reader's own list of keys:
//   scenario_reference_gen scenarios.md
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "scenario.h"

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: scenario_reference_gen OUT.md\n");
        return 2;
    }
    const std::string md = sim::scenario_reference();
    FILE *f = std::fopen(argv[1], "wb");
    const bool ok = f != nullptr && std::fwrite(md.data(), 1, md.size(), f) == md.size();
    if (f == nullptr || std::fclose(f) != 0 || !ok) {
        std::fprintf(stderr, "scenario_reference_gen: %s: cannot write: %s\n", argv[1], std::strerror(errno));
        return 1;
    }
    return 0;
}
