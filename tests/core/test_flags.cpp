// Run-time settings: defaults, width truncation, test-mode predicates, debug-mode logging.
#include <cirrow/cw_flags.h>

#include "cw_test.h"

using namespace cwt;

namespace {

class Flags : public LinkTest {};

// Every value as one tuple; the floats as they are.
auto settings() {
    float pid[3], ki;
    get_xyz_pid(pid);
    get_trigger_ki(&ki);
    return std::make_tuple(+get_battery_soc_differ(), +get_battery_voltage_differ(), get_battery_current_value(),
                           +get_battery_current_period(), +get_battery_land_soc_value(), +get_reset_home_flag(), pid[0],
                           pid[1], pid[2], ki);
}

// One test: the settings are process-wide, and the defaults are only visible before any setter.
TEST_F(Flags, DefaultsSettersAndDebugLogging) {
    EXPECT_EQ(settings(), std::make_tuple(1, 300, 20000u, 5, 19, 1, 1.0f, 0.05f, 0.21f, 0.15f));
    EXPECT_EQ(std::make_tuple(is_normal_test(), is_factory_test(), is_wifi_test(), is_battery_smoke_test()),
              std::make_tuple(1, 0, 0, 0));

    // The first read of the debug mode logs once; setting it logs every time and does not re-arm.
    EXPECT_EQ(is_debug_mode() + is_debug_mode(), 0);
    set_debug_mode(2);
    set_debug_mode(2);
    EXPECT_EQ(is_debug_mode(), 2);
    EXPECT_EQ(lines(), (Texts{"U [cirrow] GET DEBUG MODE 0 \n", "U ****[cirrow] SET DEBUG MODE 2 \n",
                              "U ****[cirrow] SET DEBUG MODE 2 \n"}));
    EXPECT_EQ(usrlog()[1].func, "set_debug_mode");

    // Each test mode makes exactly its own predicate true; one outside 0..3 makes all false.
    for (uint8_t mode = 0; mode < 6; ++mode) {
        EXPECT_EQ(set_test_mode(mode), 0);
        EXPECT_EQ(std::make_tuple(is_normal_test(), is_factory_test(), is_wifi_test(), is_battery_smoke_test()),
                  std::make_tuple(mode == 0, mode == 1, mode == 2, mode == 3));
    }
    set_test_mode(0);

    // Each value is kept at its own width, and each setter writes only its own.
    const float gains[4] = {2.5f, -0.5f, 0.125f, 9.0f}, ki = 0.75f;
    set_trigger_ki(&ki);
    set_xyz_pid(gains);
    EXPECT_EQ(set_battery_soc_differ(0x45) | set_battery_voltage_differ(0x2345) |
                  set_battery_current_value(0xFFFFFFFFu) | set_battery_current_period(7) |
                  set_battery_land_soc_value(25) | set_reset_home_flag(0),
              0);
    EXPECT_EQ(settings(), std::make_tuple(0x45, 0x2345, 0xFFFFFFFFu, 7, 25, 0, 2.5f, -0.5f, 0.125f, 0.75f));
}

}  // namespace
