// The scenario reader: any file content, read as a scenario. It must refuse or accept, never
// crash, overflow its stack or hang (the checks before toml++ keep pathological files from it).
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "scenario.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const std::string path = std::string(CW_FUZZ_SCRATCH) + "/scenario." + std::to_string(getpid()) + ".toml";
    FILE *f = std::fopen(path.c_str(), "wb");
    if (f == nullptr || std::fwrite(data, 1, size, f) != size || std::fclose(f) != 0) {
        std::abort();
    }
    sim::Scenario s;
    std::string error;
    if (!sim::load_scenario(path, s, error) && error.rfind(path + ":", 0) != 0) {
        std::abort();  // every refusal names the file
    }
    return 0;
}
