// Run-time settings shared by the applications of one process. Each value is one atomic word;
// the three position gains are copied one after another.
#include "cirrow/cw_flags.h"

#include <atomic>

#include "cw_log.h"

namespace {

std::atomic<uint8_t> g_test_mode{CW_TEST_MODE_NORMAL};
std::atomic<uint8_t> g_debug_mode{0};
std::atomic<uint8_t> g_debug_read_unlogged{1};
std::atomic<uint8_t> g_battery_soc_differ{1};
std::atomic<uint16_t> g_battery_voltage_differ{300};
std::atomic<uint32_t> g_battery_current_value{20000};
std::atomic<uint8_t> g_battery_current_period{5};
std::atomic<uint8_t> g_battery_land_soc{19};
std::atomic<uint8_t> g_reset_home{1};
std::atomic<float> g_xyz_pid[3] = {1.0f, 0.05f, 0.21f};
std::atomic<float> g_trigger_ki{0.15f};

template <class T>
int32_t set(std::atomic<T> &slot, T value) {
    slot.store(value, std::memory_order_relaxed);
    return 0;
}

template <class T>
T get(const std::atomic<T> &slot) {
    return slot.load(std::memory_order_relaxed);
}

int32_t test_mode_is(uint8_t mode) { return get(g_test_mode) == mode ? 1 : 0; }

}  // namespace

extern "C" {

int32_t set_test_mode(uint8_t mode) { return set(g_test_mode, mode); }
int32_t is_normal_test(void) { return test_mode_is(CW_TEST_MODE_NORMAL); }
int32_t is_factory_test(void) { return test_mode_is(CW_TEST_MODE_FACTORY); }
int32_t is_wifi_test(void) { return test_mode_is(CW_TEST_MODE_WIFI); }
int32_t is_battery_smoke_test(void) { return test_mode_is(CW_TEST_MODE_BATTERY_SMOKE); }

void set_debug_mode(uint8_t mode) {
    set(g_debug_mode, mode);
    CW_USRLOG("****[cirrow] SET DEBUG MODE %d \n", get(g_debug_mode));
}

uint8_t is_debug_mode(void) {
    const uint8_t mode = get(g_debug_mode);
    if (g_debug_read_unlogged.exchange(0, std::memory_order_relaxed) == 1) {
        CW_USRLOG("[cirrow] GET DEBUG MODE %d \n", mode);
    }
    return mode;
}

int32_t set_battery_soc_differ(uint8_t value) { return set(g_battery_soc_differ, value); }
uint8_t get_battery_soc_differ(void) { return get(g_battery_soc_differ); }
int32_t set_battery_voltage_differ(uint16_t value) { return set(g_battery_voltage_differ, value); }
uint16_t get_battery_voltage_differ(void) { return get(g_battery_voltage_differ); }
int32_t set_battery_current_value(uint32_t value) { return set(g_battery_current_value, value); }
uint32_t get_battery_current_value(void) { return get(g_battery_current_value); }
int32_t set_battery_current_period(uint8_t value) { return set(g_battery_current_period, value); }
uint8_t get_battery_current_period(void) { return get(g_battery_current_period); }
int32_t set_battery_land_soc_value(uint8_t value) { return set(g_battery_land_soc, value); }
uint8_t get_battery_land_soc_value(void) { return get(g_battery_land_soc); }
int32_t set_reset_home_flag(uint8_t value) { return set(g_reset_home, value); }
uint8_t get_reset_home_flag(void) { return get(g_reset_home); }

void set_xyz_pid(const float pid[3]) {
    for (int i = 0; i < 3; ++i) {
        set(g_xyz_pid[i], pid[i]);
    }
}

void get_xyz_pid(float pid[3]) {
    for (int i = 0; i < 3; ++i) {
        pid[i] = get(g_xyz_pid[i]);
    }
}

void set_trigger_ki(const float *ki) { set(g_trigger_ki, *ki); }
void get_trigger_ki(float *ki) { *ki = get(g_trigger_ki); }

}  // extern "C"
