// Run-time settings shared by the applications of one process. Each value is one atomic word;
// the three position gains are copied one after another.
#include "cirrow/cw_flags.h"

#include <atomic>

#include "cw_cell.h"
#include "cw_log.h"

namespace {

cw::Word<uint8_t> g_test_mode{CW_TEST_MODE_NORMAL};
cw::Word<uint8_t> g_debug_mode{0};
std::atomic<uint8_t> g_debug_read_unlogged{1};  // a one-shot latch, not a setting
cw::Word<uint8_t> g_battery_soc_differ{1};
cw::Word<uint16_t> g_battery_voltage_differ{300};
cw::Word<uint32_t> g_battery_current_value{20000};
cw::Word<uint8_t> g_battery_current_period{5};
cw::Word<uint8_t> g_battery_land_soc{19};
cw::Word<uint8_t> g_reset_home{1};
cw::Word<float> g_xyz_pid[3] = {cw::Word<float>{1.0f}, cw::Word<float>{0.05f}, cw::Word<float>{0.21f}};
cw::Word<float> g_trigger_ki{0.15f};

int32_t test_mode_is(uint8_t mode) { return g_test_mode.load() == mode ? 1 : 0; }

}  // namespace

extern "C" {

int32_t set_test_mode(uint8_t mode) { return cw::publish(g_test_mode, mode); }
int32_t is_normal_test(void) { return test_mode_is(CW_TEST_MODE_NORMAL); }
int32_t is_factory_test(void) { return test_mode_is(CW_TEST_MODE_FACTORY); }
int32_t is_wifi_test(void) { return test_mode_is(CW_TEST_MODE_WIFI); }
int32_t is_battery_smoke_test(void) { return test_mode_is(CW_TEST_MODE_BATTERY_SMOKE); }

void set_debug_mode(uint8_t mode) {
    cw::publish(g_debug_mode, mode);
    CW_USRLOG("****[cirrow] SET DEBUG MODE %d \n", g_debug_mode.load());
}

uint8_t is_debug_mode(void) {
    const uint8_t mode = g_debug_mode.load();
    if (g_debug_read_unlogged.exchange(0, std::memory_order_relaxed) == 1) {
        CW_USRLOG("[cirrow] GET DEBUG MODE %d \n", mode);
    }
    return mode;
}

int32_t set_battery_soc_differ(uint8_t value) { return cw::publish(g_battery_soc_differ, value); }
uint8_t get_battery_soc_differ(void) { return g_battery_soc_differ.load(); }
int32_t set_battery_voltage_differ(uint16_t value) { return cw::publish(g_battery_voltage_differ, value); }
uint16_t get_battery_voltage_differ(void) { return g_battery_voltage_differ.load(); }
int32_t set_battery_current_value(uint32_t value) { return cw::publish(g_battery_current_value, value); }
uint32_t get_battery_current_value(void) { return g_battery_current_value.load(); }
int32_t set_battery_current_period(uint8_t value) { return cw::publish(g_battery_current_period, value); }
uint8_t get_battery_current_period(void) { return g_battery_current_period.load(); }
int32_t set_battery_land_soc_value(uint8_t value) { return cw::publish(g_battery_land_soc, value); }
uint8_t get_battery_land_soc_value(void) { return g_battery_land_soc.load(); }
int32_t set_reset_home_flag(uint8_t value) { return cw::publish(g_reset_home, value); }
uint8_t get_reset_home_flag(void) { return g_reset_home.load(); }

void set_xyz_pid(const float pid[3]) {
    CW_REQUIRE_VOID(pid);
    for (int i = 0; i < 3; ++i) {
        cw::publish(g_xyz_pid[i], pid[i]);
    }
}

void get_xyz_pid(float pid[3]) {
    CW_REQUIRE_VOID(pid);
    for (int i = 0; i < 3; ++i) {
        cw::copy(g_xyz_pid[i], &pid[i]);
    }
}

void set_trigger_ki(const float *ki) { cw::publish(g_trigger_ki, ki); }
void get_trigger_ki(float *ki) { cw::copy(g_trigger_ki, ki); }

}  // extern "C"
