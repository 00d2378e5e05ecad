// The text calibration reader: any content of the preferred text file, read by an entry point
// into a matrix and coefficient arrays of exactly their sizes (the fetch from the camera is
// refused at once in this build, so the text file is always what is read).
#include <cirrow/cirrow.h>

#include <memory>

#include "fuzz_common.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    cwf::quiet();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const std::string path = std::string(CW_FUZZ_CALIB_DIR) + "/camera_params_480.txt";
    cwf::write_file(path, data, size);
    const auto matrix = std::make_unique<float[]>(9);
    const auto coeff = std::make_unique<float[]>(5);
    const int32_t rc = cw_camera_get_type_intri_240(matrix.get(), coeff.get());
    if (rc != 0 && rc != 21) {
        std::abort();
    }
    mbus_ctl_reset();
    return 0;
}
