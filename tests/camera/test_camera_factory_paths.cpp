// The library as shipped fetches the calibration record into the aircraft's factory data
// directory.
#include <cirrow/cirrow.h>
#include <unistd.h>

#include "cw_test.h"

namespace {

TEST(CameraFactoryPaths, FetchGoesToTheFactoryDataDirectory) {
    if (access("/factory_data", F_OK) == 0) {
        GTEST_SKIP() << "this host has factory data";
    }
    const std::string path = std::getenv("PATH");
    setenv("PATH", (std::string(CW_TEST_TOOL_DIR) + ":" + path).c_str(), 1);
    setenv("EEPROM_RW_EXIT", "3", 1);
    float m[9], c[5];
    cwt::StdoutCapture out;
    EXPECT_EQ(cw_camera_get_type_intri_480(m, c), 20);
    EXPECT_EQ(out.text(), "eeprom_rw read intri_param /factory_data/cali_res_tmp.bin fail, exit code: 3\n");
    unsetenv("EEPROM_RW_EXIT");
    setenv("PATH", path.c_str(), 1);
}

}  // namespace
