// Every pointer argument of every exported function, null in turn (and lengths beyond the largest
// message the link carries): a function with a result refuses the call with CW_ERR_PARAM, one
// without does nothing; nothing reaches the link or the named messages, and nothing crashes.
#include <cirrow/cirrow.h>

#include <cstdint>

#include "cw_test.h"

using namespace cwt;

namespace {

alignas(16) uint8_t g_buf[4096];

// Stands for a valid pointer of whatever type the parameter has.
struct Ok {
    template <class T>
    operator T *() const {  // NOLINT(google-explicit-constructor)
        return reinterpret_cast<T *>(g_buf);
    }
};
constexpr Ok ok;
constexpr int64_t kVoid = 1;  // the "result" of a function without one

struct Row {
    const char *call;
    int64_t (*run)();
    int64_t expected;
};
// clang-format off
#define R(...) {#__VA_ARGS__, [] { return int64_t{__VA_ARGS__}; }, CW_ERR_PARAM}
#define V(...) {#__VA_ARGS__, [] { __VA_ARGS__; return kVoid; }, kVoid}
// clang-format on

const V1Request kLong = {3, 1, 0x0306, g_buf, 2049, nullptr, 0, 0};
const V1Request kLongAnswer = {3, 1, 0x0306, nullptr, 0, g_buf, 2049, 200000};
const V1Request kNullPayload = {3, 1, 0x0306, nullptr, 1, nullptr, 0, 0};
const V1Request kNullAnswer = {3, 1, 0x0306, nullptr, 0, nullptr, 1, 200000};

// clang-format off
const Row kRows[] = {
    R(cw_link_v1_send(nullptr)), R(cw_link_v1_send(&kLong)), R(cw_link_v1_send(&kLongAnswer)),
    R(cw_link_v1_send(&kNullPayload)), R(cw_link_v1_send(&kNullAnswer)),
    // Camera
    R(cw_camera_get_resolution(nullptr, ok)), R(cw_camera_get_resolution(ok, nullptr)),
    R(cw_camera_get_camera_lens_info(nullptr, ok, ok)), R(cw_camera_get_camera_lens_info(ok, nullptr, ok)),
    R(cw_camera_get_camera_lens_info(ok, ok, nullptr)), R(cw_camera_get_aspect_type(nullptr)),
    R(cw_camera_get_focus_lens(nullptr)), R(cw_camera_get_focus_status(nullptr)), R(cw_camera_get_piv_mode(nullptr)),
    R(cw_camera_get_camera_type(nullptr)), R(cw_v1_camera_api_query_camera_mode(nullptr)),
    R(cw_v1_camera_api_take_video(nullptr)), R(cw_v1_camera_api_get_path(nullptr)),
    R(cw_v1_camera_api_get_focus_mode(nullptr)), R(cw_v1_camera_api_get_status(nullptr)),
    R(cw_v1_camera_set_af_region(nullptr)), R(cw_v1_camera_get_curr_focus_len(nullptr)),
    R(cw_v1_camera_api_set_video_format(nullptr)), R(cw_v1_camera_api_set_photo_format(nullptr)),
    R(cw_v1_camera_api_set_timelapse(nullptr)), R(cw_camera_get_workmode(nullptr)),
    R(cw_camera_set_video_format(nullptr)), R(cw_camera_get_focus_mode(nullptr)), R(cw_camera_set_af_region(nullptr)),
    R(cw_camera_read_camera_intri_from_bin(nullptr, ok, ok)),
    R(cw_camera_read_camera_intri_from_bin("x", nullptr, ok)),
    R(cw_camera_read_camera_intri_from_bin("x", ok, nullptr)), R(cw_camera_get_type_intri_240(nullptr, ok)),
    R(cw_camera_get_type_intri_240(ok, nullptr)), R(cw_camera_get_type_intri_480(nullptr, ok)),
    R(cw_camera_get_type_intri_480(ok, nullptr)), R(cw_camera_read_intri_from_camera(nullptr, ok)),
    R(cw_camera_read_intri_from_camera(ok, nullptr)), R(cw_camera_read_bin_intri_from_camera(nullptr)),
    // Version, serial number, battery
    R(cw_v1_common_api_get_version(0x0306, nullptr)), R(cw_v1_common_api_get_SN(0, nullptr)),
    R(cw_v1_battery_api_get_dynamic_info(nullptr)), R(cw_v1_battery_api_get_cell_voltage(nullptr, ok)),
    R(cw_v1_battery_api_get_cell_voltage(ok, nullptr)), R(cw_v1_battery_api_get_battery_sn(nullptr)),
    // Settings
    V(set_xyz_pid(nullptr)), V(get_xyz_pid(nullptr)), V(set_trigger_ki(nullptr)), V(get_trigger_ki(nullptr)),
    // Flight
    R(cw_flight_update_fc_motor_state(nullptr)), R(cw_flight_update_fc_state(nullptr)),
    R(cw_flight_update_fc_sensor(nullptr)), R(cw_flight_get_fc_motor_state(nullptr)),
    R(cw_flight_get_fc_state(nullptr)), R(cw_flight_get_fc_sensor(nullptr)), R(cw_flight_get_imu_data_group(nullptr)),
    V(cw_flight_set_gps_origin_data(nullptr)), R(cw_flight_get_gps_pos_data(nullptr, GpsPosition{})),
    R(cw_update_cw_qt_heartbeat(nullptr)), R(cw_get_cwqt_state(nullptr)), R(cw_get_cwqt_err(nullptr)),
    R(cw_get_cwqt_proc_status(nullptr)), R(cw_set_cwqt_proc_status(nullptr)),
    R(cw_v1_flight_api_ds_bag_add(0, 200, 1, nullptr)), R(cw_v1_flight_api_imu_read_process(0, nullptr)),
    R(cw_v1_flight_api_imu_read_cali_rt(nullptr, 4, ok)), R(cw_v1_flight_api_imu_read_cali_rt(ok, 2049, ok)),
    R(cw_v1_flight_api_imu_read_cali_rt(ok, 4, nullptr)), R(cw_flight_imu_read_process(0, nullptr)),
    R(cw_flight_imu_read_cali_rt(ok, 100000, ok)), R(cw_flight_attitude_control(nullptr)),
    R(nav_v1_flight_api_read_pm(nullptr)), R(nav_v1_flight_api_write_pm(nullptr, ok, 1)),
    R(nav_v1_flight_api_write_pm(ok, nullptr, 1)),
    // Gimbal, remote controller, marker
    R(cw_gimbal_update_main_gimbal_info(nullptr)), R(cw_gimbal_update_fpv_gimbal_info(nullptr)),
    R(cw_gimbal_update_main_gimbal_ctrl_info(nullptr)), R(cw_gimbal_update_wv_result(nullptr)),
    R(cw_gimbal_get_main_gimbal_info(nullptr)), R(cw_gimbal_get_fpv_gimbal_info(nullptr)),
    R(cw_gimbal_get_main_gimbal_ctrl_info(nullptr)), R(cw_gimbal_get_wv_result(nullptr)),
    R(cw_gimbal_angle_control(nullptr)), R(cw_gimbal_rate_control(nullptr)), R(cw_gimbal_query_joint_angle(nullptr)),
    R(cw_v1_gimbal_api_query_joint_angle(nullptr, ok, ok)), R(cw_v1_gimbal_api_query_joint_angle(ok, nullptr, ok)),
    R(cw_v1_gimbal_api_query_joint_angle(ok, ok, nullptr)), R(cw_rc_update_stick_value(nullptr)),
    R(cw_rc_update_extend_value(nullptr)), R(cw_rc_get_stick_value(nullptr)), R(cw_rc_get_extend_value(nullptr)),
    R(cw_marker_put_position(nullptr)), R(cw_marker_get_position(nullptr)), R(cw_send_msg_to_marker(nullptr)),
    // Vision
    R(cw_get_nav_pano_status(nullptr)), R(cw_set_nav_pano_status(nullptr)), R(cw_get_nav_pano_submode(nullptr)),
    R(cw_get_nav_qs_proc(nullptr)), R(cw_set_nav_qs_proc(nullptr)), R(cw_get_nav_qs_err(nullptr)),
    R(cw_set_nav_qs_err(nullptr)), R(cw_get_nav_qs_index(nullptr)), R(cw_set_nav_qs_index(nullptr)),
    R(cw_get_nav_qs_submode(nullptr)), R(cw_get_nav_lapse_err(nullptr)), R(cw_set_nav_lapse_err(nullptr)),
    R(cw_get_nav_lapse_proc(nullptr)), R(cw_set_nav_lapse_proc(nullptr)), R(cw_peception_get_vio_cali_state(nullptr)),
    R(cw_pec_update_vio_cali_state(nullptr)), R(cw_vision_get_oa_result(nullptr)),
    R(cw_vision_update_oa_result(nullptr)), R(cw_vision_get_tof_data(nullptr)), R(cw_vision_update_tof_data(nullptr)),
    R(cw_get_water_wave_score(nullptr)), R(cw_v1_pano_image_buf(0, 0, 255, nullptr)),
};
// clang-format on

class NullArgs : public LinkTest {};

TEST_F(NullArgs, EveryPointerTakingFunctionRefusesWithoutSending) {
    for (const Row &row : kRows) {
        SCOPED_TRACE(row.call);
        EXPECT_EQ(row.run(), row.expected);
        EXPECT_EQ(mbus_ctl_request_count(), 0u);
        EXPECT_EQ(mbus_ctl_message_count(), 0u);
    }
    EXPECT_EQ(get_hash_value(nullptr), 0u);  // a null name hashes like the empty one
}

}  // namespace
