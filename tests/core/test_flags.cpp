// Run-time settings: defaults, width truncation, test-mode predicates, debug-mode logging.
#include <cirrow/cw_flags.h>

#include "cw_test.h"

using namespace cwt;

namespace {

class Flags : public LinkTest {};

// One test: the settings are process-wide, and the defaults are only visible before any setter.
TEST_F(Flags, DefaultsSettersAndDebugLogging) {
    EXPECT_EQ(is_normal_test(), 1);
    EXPECT_EQ(is_factory_test() + is_wifi_test() + is_battery_smoke_test(), 0);
    EXPECT_EQ(get_battery_soc_differ(), 1);
    EXPECT_EQ(get_battery_voltage_differ(), 300);
    EXPECT_EQ(get_battery_current_value(), 20000u);
    EXPECT_EQ(get_battery_current_period(), 5);
    EXPECT_EQ(get_battery_land_soc_value(), 19);
    EXPECT_EQ(get_reset_home_flag(), 1);
    float pid[3] = {};
    get_xyz_pid(pid);
    EXPECT_EQ(pid[0], 1.0f);
    EXPECT_EQ(pid[1], 0.05f);
    EXPECT_EQ(pid[2], 0.21f);
    float ki = 0;
    get_trigger_ki(&ki);
    EXPECT_EQ(ki, 0.15f);

    // The first read of the debug mode logs once; setting it logs every time and does not re-arm.
    EXPECT_EQ(is_debug_mode(), 0);
    EXPECT_EQ(is_debug_mode(), 0);
    set_debug_mode(2);
    set_debug_mode(2);
    EXPECT_EQ(is_debug_mode(), 2);
    EXPECT_EQ(usrlog_texts(),
              (std::vector<std::string>{"[cirrow] GET DEBUG MODE 0 \n", "****[cirrow] SET DEBUG MODE 2 \n",
                                        "****[cirrow] SET DEBUG MODE 2 \n"}));
    EXPECT_EQ(usrlog()[1].func, "set_debug_mode");

    // Each test mode makes exactly its own predicate true; one outside 0..3 makes all false.
    for (uint8_t mode = 0; mode < 6; ++mode) {
        EXPECT_EQ(set_test_mode(mode), 0);
        EXPECT_EQ(is_normal_test(), mode == 0 ? 1 : 0);
        EXPECT_EQ(is_factory_test(), mode == 1 ? 1 : 0);
        EXPECT_EQ(is_wifi_test(), mode == 2 ? 1 : 0);
        EXPECT_EQ(is_battery_smoke_test(), mode == 3 ? 1 : 0);
    }

    // Values are stored at their own width: a wider argument is truncated on the way in.
    volatile uint32_t wide = 0x12345;
    EXPECT_EQ(set_battery_soc_differ(wide), 0);
    EXPECT_EQ(get_battery_soc_differ(), 0x45);
    EXPECT_EQ(set_battery_voltage_differ(wide), 0);
    EXPECT_EQ(get_battery_voltage_differ(), 0x2345);
    EXPECT_EQ(set_battery_current_value(0xFFFFFFFFu), 0);
    EXPECT_EQ(get_battery_current_value(), 0xFFFFFFFFu);
    EXPECT_EQ(set_battery_current_period(7), 0);
    EXPECT_EQ(get_battery_current_period(), 7);
    EXPECT_EQ(set_battery_land_soc_value(25), 0);
    EXPECT_EQ(get_battery_land_soc_value(), 25);
    EXPECT_EQ(set_reset_home_flag(0), 0);
    EXPECT_EQ(get_reset_home_flag(), 0);

    const float gains[3] = {2.5f, -0.5f, 0.125f};
    set_xyz_pid(gains);
    get_xyz_pid(pid);
    EXPECT_EQ(pid[0], 2.5f);
    EXPECT_EQ(pid[1], -0.5f);
    EXPECT_EQ(pid[2], 0.125f);
    const float new_ki = 0.75f;
    set_trigger_ki(&new_ki);
    get_trigger_ki(&ki);
    EXPECT_EQ(ki, 0.75f);
    set_test_mode(0);
}

}  // namespace
