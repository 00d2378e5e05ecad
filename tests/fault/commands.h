// Every command of the library, called with ordinary arguments (out-parameters point into `o`,
// a caller-owned block of kOutSize bytes, 8-byte aligned), and every push handler's registration.
// Shared by the fault table, the stress test and the fuzz targets.
#pragma once

#include <cirrow/cirrow.h>
#include <mbus_ctl.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace cwt {

constexpr size_t kOutSize = 256;
using CommandFn = int32_t (*)(uint8_t *o);

template <class T>
T *as(uint8_t *o) {
    return reinterpret_cast<T *>(o);
}
inline const uint8_t kArgs[16] = {1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0};
inline const uint32_t kHash = 0x1234, kItems[2] = {7, 8};

struct Command {
    const char *name;
    CommandFn call;
};
#define CWT_CMD(call) {#call, [](uint8_t *o) -> int32_t { (void)o; return call; }},
// clang-format off
#define CWT_COMMANDS(X) \
    X(cw_v1_camera_api_query_camera_mode(o)) X(cw_v1_camera_api_switch_mode("VIDEO")) \
    X(cw_v1_camera_api_send_heartbeat()) X(cw_v1_camera_api_set_photo_storage_format(1)) \
    X(cw_v1_camera_api_set_storage_path("SDCard")) X(cw_v1_camera_api_take_video("START")) \
    X(cw_v1_camera_api_get_path(o)) X(cw_v1_camera_api_get_focus_mode(o)) X(cw_v1_camera_api_set_focus_mode(1)) \
    X(cw_v1_camera_api_get_status(as<CameraStatusInfo>(o))) X(cw_v1_camera_set_af_region(kArgs)) \
    X(cw_v1_camera_get_curr_focus_len(as<uint16_t>(o))) X(cw_v1_camera_api_switch_exposure_mode(1, 2)) \
    X(cw_v1_camera_api_set_iso(3)) X(cw_v1_camera_api_set_shutter(1, 1, 100, 2)) \
    X(cw_v1_camera_api_set_video_format(kArgs)) X(cw_v1_camera_api_set_video_storage_format(1)) \
    X(cw_v1_camera_api_set_camera_focus(300)) X(cw_v1_camera_api_set_photo_format(kArgs)) \
    X(cw_v1_camera_api_set_timelapse(kArgs)) X(cw_v1_camera_api_take_photo(1)) X(cw_v1_camera_set_top_mode(1)) \
    X(cw_v1_camera_api_ping(5)) X(cw_v1_camera_control_zoom(1, 2, 300)) \
    X(cw_v1_common_api_get_version(0x0100, as<char>(o))) X(cw_v1_common_api_get_SN(1, as<char>(o))) \
    X(cw_v1_battery_api_get_dynamic_info(as<BatteryDynamicInfo>(o))) \
    X(cw_v1_battery_api_get_cell_voltage(kArgs, as<BatteryCellVoltage>(o))) \
    X(cw_v1_battery_api_get_battery_sn(as<char>(o))) \
    X(cw_v1_flight_api_ds_reset()) X(cw_v1_flight_api_ds_bag_add(1, 10, 2, kItems)) \
    X(cw_flight_reset_and_subscribe()) X(cw_v1_flight_api_control_enable(1)) X(cw_v1_flight_api_submode_set(1, 2)) \
    X(cw_v1_flight_api_adv_control(1, 2, 1, 2, 3, 4, 5, 6)) X(cw_v1_flight_api_yaw_rate_control(0.5f)) \
    X(cw_v1_flight_api_function_control(6)) X(cw_v1_flight_api_switch_oa(1)) \
    X(cw_v1_flight_api_send_heartbeat(1, 2)) X(cw_v1_flight_api_imu_propeller_cali()) \
    X(cw_v1_flight_api_imu_propeller_cali_reset()) X(cw_v1_flight_api_imu_base_heartbeat()) \
    X(cw_v1_flight_api_imu_start_cali(7, 1)) X(cw_v1_flight_api_imu_read_process(7, o)) \
    X(cw_v1_flight_api_imu_read_cali_rt(kArgs, 8, as<ImuCaliRt>(o))) X(nav_v1_flight_api_read_pm(&kHash)) \
    X(nav_v1_flight_api_write_pm(&kHash, kArgs, 4)) X(cw_set_height_and_radius_limit_value(100, 200)) \
    X(cw_v1_flight_api_trigger_dowm_vo(1)) X(cw_v1_flight_api_trigger_compass_cali(1)) \
    X(cw_v1_flight_api_subscribe_vib()) X(cw_v1_cwqt_switch("on")) X(cw_v1_flight_set_uuid()) \
    X(cw_v1_flight_get_uuid()) X(cw_v1_gimbal_api_mode_control(1)) \
    X(cw_v1_gimbal_api_angle_control(1, 2, 3, 1, 0, 1, 0, 1, 0, 9)) \
    X(cw_v1_gimbal_api_rate_control(1, 2, 3, 1, 0, 1, 0, 1)) X(cw_v1_gimbal_api_reset_yaw()) \
    X(cw_v1_gimbal_api_release_control()) \
    X(cw_v1_gimbal_api_query_joint_angle(as<int32_t>(o), as<int32_t>(o + 4), as<int32_t>(o + 8))) \
    X(cw_v1_gimbal_api_waterwave_trigger("START")) X(cw_v1_gimbal_subscribe_info(1, 2, 3)) \
    X(cw_v1_vision_api_subscribe_oa_result(1)) X(cw_v1_vision_api_subscribe_ric_result(1)) \
    X(cw_v1_vision_switch_to_pano(1, 2)) X(cw_v1_vision_pano_control(1)) \
    X(cw_v1_quickshot_set_nit_box(1, 0.1f, 0.2f, 0.3f, 0.4f, 2, 3)) X(cw_v1_vision_quickshot_enable(1, 2, 3)) \
    X(cw_v1_quickshot_set_param(1, 2, 3, 4, 5, 6, 7, 8, 9, 1.5f, 10, 11, 12)) X(cw_v1_quickshot_set_index(1, 2, 3)) \
    X(cw_v1_lapse_photo_submode(1)) X(cw_v1_lapse_photo_point(1, 2, 3)) X(cw_v1_lapse_photo_go(1, 2, 3, 4, 5, 6)) \
    X(cw_v1_lapse_photo_recover(1, 2)) X(cw_v1_qs160_mode(1, 2.5f, 3)) X(cw_v1_qs160_index(1)) X(cw_v1_qs160_go(1)) \
    X(cw_v1_pano_image_buf(1, 2, 2, kArgs)) X(cw_v1_testcmd_api_vision_start_autotest()) \
    X(cw_v1_testcmd_api_vision_stop_autotest()) X(cw_v1_autotest_stop_distance_limit()) \
    X(cw_v1_wifi_api_set_channel(36)) X(cw_v1_wifi_api_ping(5)) X(cw_v1_wifi_api_version()) \
    X(cw_v1_wifi_api_open_wifi()) X(cw_v1_wifi_api_close_wifi())
// clang-format on
inline const Command kCommands[] = {CWT_COMMANDS(CWT_CMD)};

struct PushKey {
    uint8_t cmd_set;
    uint8_t cmd_id;
};

// Registers every push handler; returns the set/id of each, in registration order.
inline std::vector<PushKey> register_every_handler() {
    for (auto reg : {cw_register_v1_flight_data, cw_register_v1_vison_data, cw_register_v1_get_pano_result,
                     cw_register_v1_quick_shot_result, cw_register_v1_quick_shot_finished,
                     cw_register_v1_lapse_photo_result, cw_register_v1_nav_osd, cw_register_v1_nav_pano_status,
                     cw_register_v1_camera_data, cw_register_v1_camera_status_data,
                     cw_register_v1_camera_len_para_data, cw_register_v1_gimbal_data, cw_register_v1_rc_data}) {
        reg();
    }
    std::vector<PushKey> keys;
    mbus_ctl_registration_t r;
    for (uint32_t i = 0; mbus_ctl_registration_get(i, &r) == 0; ++i) {
        keys.push_back({r.cmd_set, r.cmd_id});
    }
    return keys;
}

}  // namespace cwt
