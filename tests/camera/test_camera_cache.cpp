// Camera cache and push handlers: what the updates keep and the getters give back, what the
// module's initialisation clears and keeps, the bytes each push is read from (the busy field of
// the status flags above all), and the registrations.
#include <cirrow/cirrow.h>

#include <unistd.h>

#include <cstring>

#include "cw_test.h"

using namespace cwt;

namespace {

class CameraCache : public LinkTest {};

// Every getter at once; floats as their bits.
auto snapshot() {
    float w, h, lens;
    uint8_t aspect, focus, piv, type;
    uint16_t a, b, c;
    cw_camera_get_resolution(&w, &h);
    cw_camera_get_aspect_type(&aspect);
    cw_camera_get_focus_lens(&lens);
    cw_camera_get_focus_status(&focus);
    cw_camera_get_piv_mode(&piv);
    cw_camera_get_camera_type(&type);
    cw_camera_get_camera_lens_info(&a, &b, &c);
    uint32_t bits[3];
    std::memcpy(&bits[0], &w, 4), std::memcpy(&bits[1], &h, 4), std::memcpy(&bits[2], &lens, 4);
    return std::make_tuple(bits[0], bits[1], bits[2], aspect, focus, piv, type, cw_camera_get_camera_mode_profile(), a,
                           b, c, cw_camera_get_camera_busy_status(), cw_camera_get_core_board_temp());
}

TEST_F(CameraCache, UpdatesComeBackAndInitClearsAllButBusyAndTemperature) {
    EXPECT_EQ(cw_camera_update_liveview_resolution(-0.0f, 1.5f) | cw_camera_update_aspect_type(0x1234) |
                  cw_camera_update_focus_lens(-2.0f) | cw_camera_update_focus_status(4) | cw_camera_update_piv_mode(5) |
                  cw_camera_update_camera_type(6) | cw_camera_update_camera_mode_profile(7) |
                  cw_camera_update_camera_lens_info(0xFFFF, 2, 0x8001) | cw_camera_update_camera_busy_status(1) |
                  cw_camera_update_core_board_temp(250),
              0);
    EXPECT_EQ(snapshot(),
              std::make_tuple(0x80000000u, 0x3FC00000u, 0xC0000000u, 0x34, 4, 5, 6, 7, 0xFFFF, 2, 0x8001, 1, 250));
    EXPECT_EQ(cw_camera_module_init(), 0);
    EXPECT_EQ(snapshot(), std::make_tuple(0u, 0u, 0u, 0, 0, 0, 0, 0, 0, 0, 0, 1, 250));
}

TEST_F(CameraCache, PushesFillTheirItemsWhileRegistered) {
    cw_register_v1_camera_data();
    cw_register_v1_camera_status_data();
    cw_register_v1_camera_len_para_data();
    Payload data(32, 0xEE), lens(29, 0xEE);
    data[31] = 0x5A;
    const Payload words = cat({le16(0x0102), le16(0xA0B0), le16(0xFFFE)});
    std::copy(words.begin(), words.end(), lens.begin() + 23);
    EXPECT_EQ((std::tuple{push(2, 16, data), push(2, 135, lens)}), std::make_tuple(0, 0));
    const auto s = snapshot();
    EXPECT_EQ(std::make_tuple(std::get<6>(s), std::get<8>(s), std::get<9>(s), std::get<10>(s)),
              std::make_tuple(0x5A, 0x0102, 0xA0B0, 0xFFFE));

    // Busy exactly when bits 3..5 of byte 0 hold 1.
    for (auto [flags, busy] :
         {std::pair{0x08, 1}, {0x0F, 1}, {0x48, 1}, {0xC9, 1}, {0x00, 0}, {0x10, 0}, {0x18, 0}, {0x38, 0}, {0xF7, 0}}) {
        Payload status(62, 0xEE);
        status[0] = static_cast<uint8_t>(flags), status[57] = static_cast<uint8_t>(flags + 1);
        status[61] = static_cast<uint8_t>(0xF0 + busy);
        cw_camera_update_camera_busy_status(busy ? 0 : 1);
        EXPECT_EQ(push(2, 128, status), 0);
        EXPECT_EQ(std::make_tuple(cw_camera_get_camera_busy_status(), cw_camera_get_camera_mode_profile(),
                                  cw_camera_get_core_board_temp()),
                  std::make_tuple(busy, flags + 1, 0xF0 + busy))
            << flags;
    }
    cw_unregister_v1_camera_status_data();
    cw_unregister_v1_camera_len_para_data();
    EXPECT_EQ(push(2, 128, Payload(62, 0)), MBUS_ERR_NO_PEER);
    EXPECT_EQ(push(2, 135, Payload(29, 0)), MBUS_ERR_NO_PEER);
    EXPECT_TRUE(leveled().empty() && usrlog().empty());

    EXPECT_EQ(registrations(), "+2/16 +2/128 +2/135 -2/128 -2/135 ");
}

// The library as shipped fetches the calibration record into the aircraft's factory data directory.
TEST(CameraFactoryPaths, FetchGoesToTheFactoryDataDirectory) {
    if (access("/factory_data", F_OK) == 0) {
        GTEST_SKIP() << "this host has factory data";
    }
    const std::string path = std::getenv("PATH");
    setenv("PATH", (std::string(CW_TEST_TOOL_DIR) + ":" + path).c_str(), 1);
    setenv("EEPROM_RW_EXIT", "3", 1);
    float m[9], c[5];
    EXPECT_EQ(printed([&] { EXPECT_EQ(cw_camera_get_type_intri_480(m, c), 20); }),
              "eeprom_rw read intri_param /factory_data/cali_res_tmp.bin fail, exit code: 3\n");
    unsetenv("EEPROM_RW_EXIT");
    setenv("PATH", path.c_str(), 1);
}

}  // namespace
