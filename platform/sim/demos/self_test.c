/* The factory self-test: the vision self-test with its VIO result, the distance limit lifted, and
 * the IMU calibration steps, each polled until it reports 100 %. */
#include "demo.h"

static int calibrate(const char *step) {
    uint32_t key = get_hash_value(step);
    uint8_t progress = 0, shown = 0xFF;
    if (!demo_ok(step, cw_flight_imu_start_cali(key, 1))) {
        return 0;
    }
    for (double until = demo_now() + 10; demo_now() < until; demo_sleep(0.1)) {
        if (cw_flight_imu_read_process(key, &progress) != 0) {
            return 0;
        }
        if (progress / 25 != shown / 25 || shown == 0xFF) {
            demo_say("  %s: %u %%\n", step, progress);
            shown = progress;
        }
        if (progress >= 100) {
            return 1;
        }
    }
    return 0;
}

int main(void) {
    cw_flight_module_init();
    cw_register_v1_vison_data();
    int ok = demo_ok("start the vision self-test", cw_v1_testcmd_api_vision_start_autotest()) &&
             demo_ok("lift the distance limit", cw_v1_autotest_stop_distance_limit()) &&
             demo_ok("IMU heartbeat", cw_flight_imu_base_heartbeat()) && calibrate("imu_cali_gyro_0") &&
             calibrate("imu_cali_acc_0");
    ImuCaliRt rt;
    uint8_t ask[4] = {0x0A, 0x00, 0x52, 0x29};
    if (ok && demo_ok("read the calibration", cw_flight_imu_read_cali_rt(ask, sizeof ask, &rt))) {
        demo_say("  bias %.3f %.3f\n", rt.value0, rt.value1);
    }
    VioCaliState vio = {0};
    for (double until = demo_now() + 5; ok && demo_now() < until && vio.result_count == 0; demo_sleep(0.1)) {
        cw_peception_get_vio_cali_state(&vio);
    }
    demo_say("VIO self-calibration: %s (flag %d)\n", vio.result_count > 0 ? "reported" : "missing", (int)vio.flag);
    ok = ok && vio.result_count > 0 && demo_ok("stop the vision self-test", cw_v1_testcmd_api_vision_stop_autotest());
    cw_unregister_v1_vison_data();
    demo_say("self-test %s\n", ok ? "passed" : "FAILED");
    return ok ? 0 : 1;
}
