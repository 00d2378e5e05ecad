/* Process-wide run-time settings shared by the applications of one process: test mode, debug
 * mode, battery thresholds, the reset-home flag and controller tunables. Values live in memory
 * only; every process starts from the defaults. Setters store at the value's width. */
/* Implemented in cw_basic/cw_communication/: cw_application/settings/src/cw_flags.cpp. */
/* A null pointer argument is refused: a function with a result returns CW_ERR_PARAM and sends
 * nothing, one without a result does nothing. */
#ifndef CIRROW_CW_FLAGS_H
#define CIRROW_CW_FLAGS_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/* Test modes. */
#define CW_TEST_MODE_NORMAL 0
#define CW_TEST_MODE_FACTORY 1
#define CW_TEST_MODE_WIFI 2
#define CW_TEST_MODE_BATTERY_SMOKE 3

CW_API int32_t set_test_mode(uint8_t mode); /* default 0 (normal); returns 0 */
CW_API int32_t is_normal_test(void);        /* 1 only for mode 0 */
CW_API int32_t is_factory_test(void);       /* 1 only for mode 1 */
CW_API int32_t is_wifi_test(void);          /* 1 only for mode 2 */
CW_API int32_t is_battery_smoke_test(void); /* 1 only for mode 3 */

CW_API void set_debug_mode(uint8_t mode); /* logs the new value on the usrlog channel */
CW_API uint8_t is_debug_mode(void);       /* the first call in the process logs the value */

CW_API int32_t set_battery_soc_differ(uint8_t value); /* default 1 */
CW_API uint8_t get_battery_soc_differ(void);
CW_API int32_t set_battery_voltage_differ(uint16_t value); /* default 300 */
CW_API uint16_t get_battery_voltage_differ(void);
CW_API int32_t set_battery_current_value(uint32_t value); /* default 20000 */
CW_API uint32_t get_battery_current_value(void);
CW_API int32_t set_battery_current_period(uint8_t value); /* default 5 */
CW_API uint8_t get_battery_current_period(void);
CW_API int32_t set_battery_land_soc_value(uint8_t value); /* default 19 */
CW_API uint8_t get_battery_land_soc_value(void);
CW_API int32_t set_reset_home_flag(uint8_t value); /* default 1 */
CW_API uint8_t get_reset_home_flag(void);

/* Position-controller gains, default {1.0, 0.05, 0.21}; copied in and out in order. */
CW_API void set_xyz_pid(const float pid[3]);
CW_API void get_xyz_pid(float pid[3]);
/* Trigger integral gain, default 0.15. */
CW_API void set_trigger_ki(const float *ki);
CW_API void get_trigger_ki(float *ki);

CW_EXTERN_C_END

#endif /* CIRROW_CW_FLAGS_H */
