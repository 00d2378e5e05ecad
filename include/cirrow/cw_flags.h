/**
 * @file cw_flags.h
 * @brief Process-wide run-time settings shared by the applications of one process.
 *
 * Test mode, debug mode, battery thresholds, the reset-home flag and controller tunables. Values
 * live in memory only; every process starts from the defaults. Setters store at the value's
 * width (a wider argument is truncated). Apart from the test mode, which chooses the landing
 * function of cw_flight_land(), the library only stores these values for the applications.
 * Nothing here uses the link, and every function may be called from any thread.
 *
 * Implemented in cw_basic/cw_communication/: cw_application/settings/src/cw_flags.cpp.
 */
#ifndef CIRROW_CW_FLAGS_H
#define CIRROW_CW_FLAGS_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/** @brief Test mode: normal operation (the default). */
#define CW_TEST_MODE_NORMAL 0
/** @brief Test mode: factory test. */
#define CW_TEST_MODE_FACTORY 1
/** @brief Test mode: Wi-Fi test. */
#define CW_TEST_MODE_WIFI 2
/** @brief Test mode: battery smoke test. */
#define CW_TEST_MODE_BATTERY_SMOKE 3

/**
 * @brief Sets the test mode (default #CW_TEST_MODE_NORMAL).
 * @param mode one of the CW_TEST_MODE_ values; any other value makes every test-mode predicate 0.
 * @return 0.
 */
CW_API int32_t set_test_mode(uint8_t mode);
/** @brief Whether the test mode is #CW_TEST_MODE_NORMAL. @return 1 or 0. */
CW_API int32_t is_normal_test(void);
/** @brief Whether the test mode is #CW_TEST_MODE_FACTORY. @return 1 or 0. */
CW_API int32_t is_factory_test(void);
/** @brief Whether the test mode is #CW_TEST_MODE_WIFI. @return 1 or 0. */
CW_API int32_t is_wifi_test(void);
/** @brief Whether the test mode is #CW_TEST_MODE_BATTERY_SMOKE. @return 1 or 0. */
CW_API int32_t is_battery_smoke_test(void);

/**
 * @brief Sets the debug mode (default 0) and logs the new value on the usrlog channel.
 * @param mode the value, stored unchanged.
 */
CW_API void set_debug_mode(uint8_t mode);
/**
 * @brief Reads the debug mode. The first call in the process logs the value on the usrlog channel.
 * @return the value last set, 0 by default.
 */
CW_API uint8_t is_debug_mode(void);

/** @brief Sets the battery SOC difference (default 1). @param value the value. @return 0. */
CW_API int32_t set_battery_soc_differ(uint8_t value);
/** @brief Reads the battery SOC difference. @return the value last set, 1 by default. */
CW_API uint8_t get_battery_soc_differ(void);
/** @brief Sets the battery voltage difference (default 300). @param value the value. @return 0. */
CW_API int32_t set_battery_voltage_differ(uint16_t value);
/** @brief Reads the battery voltage difference. @return the value last set, 300 by default. */
CW_API uint16_t get_battery_voltage_differ(void);
/** @brief Sets the battery current value (default 20000). @param value the value. @return 0. */
CW_API int32_t set_battery_current_value(uint32_t value);
/** @brief Reads the battery current value. @return the value last set, 20000 by default. */
CW_API uint32_t get_battery_current_value(void);
/** @brief Sets the battery current period (default 5). @param value the value. @return 0. */
CW_API int32_t set_battery_current_period(uint8_t value);
/** @brief Reads the battery current period. @return the value last set, 5 by default. */
CW_API uint8_t get_battery_current_period(void);
/** @brief Sets the battery state of charge at which to land (default 19). @param value the value. @return 0. */
CW_API int32_t set_battery_land_soc_value(uint8_t value);
/** @brief Reads the battery state of charge at which to land. @return the value last set, 19 by default. */
CW_API uint8_t get_battery_land_soc_value(void);
/** @brief Sets the reset-home flag (default 1). @param value the value. @return 0. */
CW_API int32_t set_reset_home_flag(uint8_t value);
/** @brief Reads the reset-home flag. @return the value last set, 1 by default. */
CW_API uint8_t get_reset_home_flag(void);

/**
 * @brief Sets the three position-controller gains (default {1.0, 0.05, 0.21}), in order.
 *
 * The gains are copied one after another: a reader on another thread may see old and new gains mixed.
 * @param pid three gains; null: nothing happens.
 */
CW_API void set_xyz_pid(const float pid[3]);
/**
 * @brief Copies the three position-controller gains out, in the order they were set.
 * @param[out] pid three gains; null: nothing happens.
 */
CW_API void get_xyz_pid(float pid[3]);
/**
 * @brief Sets the trigger integral gain (default 0.15).
 * @param ki the gain; null: nothing happens.
 */
CW_API void set_trigger_ki(const float *ki);
/**
 * @brief Reads the trigger integral gain.
 * @param[out] ki receives the gain; null: nothing happens.
 */
CW_API void get_trigger_ki(float *ki);

CW_EXTERN_C_END

#endif /* CIRROW_CW_FLAGS_H */
