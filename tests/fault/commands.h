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
constexpr int32_t kLink = 1, kAck = CW_ERR_ACK;

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
#define CWT_CMD(call, ...) {#call, []([[maybe_unused]] uint8_t *o) -> int32_t { return call; }},
// clang-format off
// Each command with what the library does when the link fails or times out (the failure line,
// %d or %u standing for the link's code, and the result: kLink is that code), when the module
// refuses (answer byte 0 is 0xE5) and when the answer is empty (the result in each case).
#define CWT_COMMANDS(X) \
    X(cw_v1_camera_api_query_camera_mode(o), "U fetch camera mode send fail ret: %d, ack: 0\n", kAck, kAck, 0) \
    X(cw_v1_camera_api_switch_mode("VIDEO"), "U fetch camera mode send fail ret: %d, ack: 0\n", kAck, kAck, 0) \
    X(cw_v1_camera_api_send_heartbeat(), "U send heartbeat to camera fail %d\n", kLink, 0, 0) \
    X(cw_v1_camera_api_set_photo_storage_format(1), "L3 [cirrow] set photo storage format send fail ret: %d, ack: 0\n", kAck, kAck, 0) \
    X(cw_v1_camera_api_set_storage_path("SDCard"), "U [cirrow] set camera storage path fail result = %d ack = 0\n", kAck, kAck, 0) \
    X(cw_v1_camera_api_take_video("START"), "U [cirrow] send take video START fail ret: %d ack = 0\n", kAck, kAck, 0) \
    X(cw_v1_camera_api_get_path(o), "U get camera file path fail %d\n", kAck, 0, 0) \
    X(cw_v1_camera_api_get_focus_mode(o), "U [cirrow] get focus mode fail %d, ack 0\n", kLink, 0, 0) \
    X(cw_v1_camera_api_set_focus_mode(1), "U [cirrow] get file path fail ret: %d ack: 0\n", kAck, kAck, 0) \
    X(cw_v1_camera_api_get_status(as<CameraStatusInfo>(o)), "U [cirrow] get camera state fail ret: %d ack: 0\n", kAck, kAck, 0) \
    X(cw_v1_camera_set_af_region(kArgs), "U get camera file path fail %d\n", kAck, kAck, 0) \
    X(cw_v1_camera_get_curr_focus_len(as<uint16_t>(o)), "U get camera file path fail %d\n", kAck, kAck, 0) \
    X(cw_v1_camera_api_switch_exposure_mode(1, 2), "U switch exposure mode fail %u, ack=0\n", kAck, kAck, 0) \
    X(cw_v1_camera_api_set_iso(3), "U set iso fail  result = %d ack = 0\n", kAck, kAck, 0) \
    X(cw_v1_camera_api_set_shutter(1, 1, 100, 2), "U switch exposure mode fail result = %d ack = 0\n", kLink, 0, 0) \
    X(cw_v1_camera_api_set_video_format(kArgs), "U [cirrow] set video format fail ret = %d, ack = 0\n", kAck, kAck, 0) \
    X(cw_v1_camera_api_set_video_storage_format(1), "U [cirrow] set video storage format fail ret = %d, ack = 0\n", kAck, kAck, 0) \
    X(cw_v1_camera_api_set_camera_focus(300), "U [cirrow] set focus fail ret:%d ack: 0\n", kLink, 0, 0) \
    X(cw_v1_camera_api_set_photo_format(kArgs), "U [cirrow] set format fail ret: %d ack: 0\n", kLink, 0, 0) \
    X(cw_v1_camera_api_set_timelapse(kArgs), "U [cirrow] set timelapse fail ret: %d ack: 0\n", kAck, kAck, 0) \
    X(cw_v1_camera_api_take_photo(1), "U [cirrow] take photo fail ret: %d ack: 0\n", kAck, kAck, 0) \
    X(cw_v1_camera_set_top_mode(1), "U [cirrow] set camera top mode fail when switch function %d\n", kLink, kAck, 0) \
    X(cw_v1_camera_api_ping(5), "U cw ping camera send v1 fail result = %d 255\r\n", kLink, 0, 0) \
    X(cw_v1_camera_control_zoom(1, 2, 300), "U cw ctrl camera zoom send v1 fail result = %d 255\r\n", kLink, 0, 0) \
    X(cw_v1_common_api_get_version(0x0100, as<char>(o)), "U [cirrow] get dev 0x100 version fail ret: %d ack: 0 \n", kAck, kAck, 0) \
    X(cw_v1_common_api_get_SN(1, as<char>(o)), "U [cirrow] get SN fail ret: %d ack: 0 \n", kAck, kAck, 0) \
    X(cw_v1_battery_api_get_dynamic_info(as<BatteryDynamicInfo>(o)), "U get battery data send fail ret: %d, ack: 0\n", kAck, kAck, 0) \
    X(cw_v1_battery_api_get_cell_voltage(kArgs, as<BatteryCellVoltage>(o)), "U get battery cell voltage send fail ret: %d, ack = 0\n", kAck, kAck, 0) \
    X(cw_v1_battery_api_get_battery_sn(as<char>(o)), "U get battery sn send fail ret: %d, ack = 0\n", kAck, kAck, 0) \
    X(cw_v1_flight_api_ds_reset(), "L1 cw flight ds reset send fail %d\n", kLink, kAck, 0) \
    X(cw_v1_flight_api_ds_bag_add(1, 10, 2, kItems), "U cw flight ds 1 add send fail %d\n", kLink, 0, 0) \
    X(cw_flight_reset_and_subscribe(), "L1 cw flight ds reset send fail %d\n", kLink, kAck, 0) \
    X(cw_v1_flight_api_control_enable(1), "U cw flight enabel control:1 fail %d\n", kLink, kAck, 0) \
    X(cw_v1_flight_api_submode_set(1, 2), "L1 cw flight set submode 1 2 fail %d\n", kLink, kAck, 0) \
    X(cw_v1_flight_api_adv_control(1, 2, 1, 2, 3, 4, 5, 6), "L1 cw_v1_flight_api_adv_control() v1_send fail %d\n", kLink, 0, 0) \
    X(cw_v1_flight_api_yaw_rate_control(0.5f), "L1 cw flight yaw_ctrl fail %d\n", kLink, 0, 0) \
    X(cw_v1_flight_api_function_control(6), "L1 cw_v1_flight_api_functon_control(6) fail %d\n", kLink, 0, 0) \
    X(cw_v1_flight_api_switch_oa(1), "L1 cw_v1_flight_api_switch(1) fail %d\n", kLink, 0, 0) \
    X(cw_v1_flight_api_send_heartbeat(1, 2), "U cw_v1_flight_api_send_heartbeat() fail %d\n", kLink, 0, 0) \
    X(cw_v1_flight_api_imu_propeller_cali(), "L1 cw_v1_flight_api_imu_propeller_cali() fail %d\n", kLink, 0, 0) \
    X(cw_v1_flight_api_imu_propeller_cali_reset(), "L1 cw_v1_flight_api_imu_propeller_cali_reset() fail %d\n", kLink, 0, 0) \
    X(cw_v1_flight_api_imu_base_heartbeat(), "L1 cw_v1_flight_api_imu_base_heartbeat() fail %d\n", kLink, kAck, kAck) \
    X(cw_v1_flight_api_imu_start_cali(7, 1), "L1 cw_v1_flight_api_imu_start_cali() fail %d\n", kLink, kAck, kAck) \
    X(cw_v1_flight_api_imu_read_process(7, o), "L1 cw_v1_flight_api_imu_read_process() fail %d\n", kLink, kAck, kAck) \
    X(cw_v1_flight_api_imu_read_cali_rt(kArgs, 8, as<ImuCaliRt>(o)), "L1 cw_v1_flight_api_imu_read_cali_rt() fail %d\n", kLink, kAck, kAck) \
    X(nav_v1_flight_api_read_pm(&kHash), "U [fc_pm]: nav flight read pm fail %d\n", kLink, 229, 0) \
    X(nav_v1_flight_api_write_pm(&kHash, kArgs, 4), "U [fc_pm]: nav flight write pm fail %d\n", kLink, 229, 0) \
    X(cw_set_height_and_radius_limit_value(100, 200), "U [fc_pm]: nav flight read pm fail %d\n", 0, 0, 0) \
    X(cw_v1_flight_api_trigger_dowm_vo(1), "L1 cw flight trigger down vo 1 fail%d\n", kLink, 0, 0) \
    X(cw_v1_flight_api_trigger_compass_cali(1), "L1 cw flight trigger compass cali fail %d\n", kLink, 0, 0) \
    X(cw_v1_flight_api_subscribe_vib(), "L1 cw flight subscribe vib fail %d\n", kLink, 0, 0) \
    X(cw_v1_cwqt_switch("on"), "L1 cw_v1_cwqt_switch fail %d\n", kLink, 0, 0) \
    X(cw_v1_flight_set_uuid(), "U nav flight set uuid send fail %d\n", kLink, 0, 0) \
    X(cw_v1_flight_get_uuid(), "U nav flight get uuid send fail %d\n", kLink, 0, 0) \
    X(cw_v1_gimbal_api_mode_control(1), "U [cirrow] change mode send fail ret:%d ack: 0\n", kLink, 0, 0) \
    X(cw_v1_gimbal_api_angle_control(1, 2, 3, 1, 0, 1, 0, 1, 0, 9), "U cw gimbal angle control send fail ret:%d, ack = 0\n", kLink, 0, 0) \
    X(cw_v1_gimbal_api_rate_control(1, 2, 3, 1, 0, 1, 0, 1), "L1 nav gimbal rate control send fail %d\n", kLink, 0, 0) \
    X(cw_v1_gimbal_api_reset_yaw(), "L1 cw gimbal reset yaw send fail %d\n", kLink, 0, 0) \
    X(cw_v1_gimbal_api_release_control(), "L1 cw gimbal angle control send fail %d\n", kLink, 0, 0) \
    X(cw_v1_gimbal_api_query_joint_angle(as<int32_t>(o), as<int32_t>(o + 4), as<int32_t>(o + 8)), "L1 cw gimbal api query joint angle error: %d\n", kLink, kAck, 0) \
    X(cw_v1_gimbal_api_waterwave_trigger("START"), "U cw gimbal api trigger waterwave detect  error: %d\n", kLink, kAck, 0) \
    X(cw_v1_gimbal_subscribe_info(1, 2, 3), "U nav gimbal subscribe send fail %d\n", kLink, kAck, 0) \
    X(cw_v1_vision_api_subscribe_oa_result(1), "L1 subscribe oa result fail %d\n", kLink, 0, 0) \
    X(cw_v1_vision_api_subscribe_ric_result(1), "L1 subscribe oa result fail %d\n", kLink, 0, 0) \
    X(cw_v1_vision_switch_to_pano(1, 2), "L1 [CW_pano] switch to pano fail: %d\n", kLink, 0, 0) \
    X(cw_v1_vision_pano_control(1), "L1 vision module start Pano Photo fail %d\n", kLink, 0, 0) \
    X(cw_v1_quickshot_set_nit_box(1, 0.1f, 0.2f, 0.3f, 0.4f, 2, 3), "L1 vision module quick_shot fail Set Box %d\n", kLink, 0, 0) \
    X(cw_v1_vision_quickshot_enable(1, 2, 3), "L1 vision module Enable quick_shot fail %d\n", kLink, 0, 0) \
    X(cw_v1_quickshot_set_param(1, 2, 3, 4, 5, 6, 7, 8, 9, 1.5f, 10, 11, 12), "L1 vision module quick_shot set_parm fail %d\n", kLink, 0, 0) \
    X(cw_v1_quickshot_set_index(1, 2, 3), "L1 vision module quick_shot set_index fail %d\n", kLink, 0, 0) \
    X(cw_v1_lapse_photo_submode(1), "L1 vision module lapse_photo submode fail %d\n", kLink, 0, 0) \
    X(cw_v1_lapse_photo_point(1, 2, 3), "L1 vision module lapse_photo set point fail %d\n", kLink, 0, 0) \
    X(cw_v1_lapse_photo_go(1, 2, 3, 4, 5, 6), "L1 vision module lapse_photo fail start %d\n", kLink, 0, 0) \
    X(cw_v1_lapse_photo_recover(1, 2), "U vision module lapse_photo fail recover %d\n", kLink, 0, 0) \
    X(cw_v1_qs160_mode(1, 2.5f, 3), "L1 vision module qs160 fail %d\n", kLink, 0, 0) \
    X(cw_v1_qs160_index(1), "L1 vision module qs160 index fail %d\n", kLink, 0, 0) \
    X(cw_v1_qs160_go(1), "L1 vision module qs160 go fail %d\n", kLink, 0, 0) \
    X(cw_v1_pano_image_buf(1, 2, 2, kArgs), "L1 send image buf failed %d\n", kLink, 0, 0) \
    X(cw_v1_testcmd_api_vision_start_autotest(), "L1 vision module start autotest fail %d\n", kLink, kAck, 0) \
    X(cw_v1_testcmd_api_vision_stop_autotest(), "L1 vision module stop autotest fail %d\n", kLink, kAck, 0) \
    X(cw_v1_autotest_stop_distance_limit(), "L1 autotest close distance limit fail %d\n", kLink, 0, 0) \
    X(cw_v1_wifi_api_set_channel(36), "L1 cw wifi set channel fail result=%d\n", kLink, 0, 0) \
    X(cw_v1_wifi_api_ping(5), "U cw wifi ping sdr send v1 fail result = %d 0\r\n", kLink, 0, 0) \
    X(cw_v1_wifi_api_version(), "U cw wifi get version send v1 fail result = %d\r\n", kLink, 0, 0) \
    X(cw_v1_wifi_api_open_wifi(), "U cw wifi open wifi fail result = %d ack:0\r\n", kLink, 229, 0) \
    X(cw_v1_wifi_api_close_wifi(), "U cw wifi close wifi fail result=%d ack:0\n", kLink, 0, 0)
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
                     cw_register_v1_camera_data, cw_register_v1_camera_status_data, cw_register_v1_camera_len_para_data,
                     cw_register_v1_gimbal_data, cw_register_v1_rc_data}) {
        reg();
    }
    std::vector<PushKey> keys;
    mbus_ctl_registration_t r;
    for (uint32_t i = 0; mbus_ctl_registration_get(i, &r) == 0; ++i) {
        keys.push_back({r.cmd_set, r.cmd_id});
    }
    return keys;
}

// What each command's row says: its failure line and what it returns when the link fails, when
// the module refuses and when the answer is empty.
struct Expect {
    const char *line;
    int32_t link, refuse, empty;
};
#define CWT_EXPECT(call, line, link, refuse, empty) {line, link, refuse, empty},
inline const Expect kExpect[] = {CWT_COMMANDS(CWT_EXPECT)};
#undef CWT_EXPECT

}  // namespace cwt
