// The calibration record parser: any file content, into a two-entry array of exactly its size.
#include <cirrow/cirrow.h>

#include <memory>

#include "fuzz_common.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    cwf::quiet();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const std::string path = std::string(CW_FUZZ_CALIB_DIR) + "/record." + std::to_string(getpid());
    cwf::write_file(path, data, size);
    const auto res = std::make_unique<CaliRes[]>(2);
    const auto nr = std::make_unique<uint8_t>();
    if (cw_camera_read_camera_intri_from_bin(path.c_str(), res.get(), nr.get()) != 0) {
        std::abort();
    }
    mbus_ctl_reset();
    return 0;
}
