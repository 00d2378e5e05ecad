// Gimbal cache and wrappers: the latest general, control and water-wave records pushed by the
// gimbal plus the fpv gimbal's record that applications keep here, each whole in a tear-free
// cell; and the thin wrappers over the gimbal commands.
#include <cstdint>

#include "cirrow/cw_gimbal.h"
#include "cw_cell.h"
#include "gimbal/src/cw_gimbal_cache.h"

namespace cw::gimbal {
Latest<GimbalInfo> g_main_info;
Latest<GimbalCtrlInfo> g_main_ctrl_info;
Latest<GimbalWvResult> g_wv_result;
}  // namespace cw::gimbal

using cw::gimbal::g_main_ctrl_info;
using cw::gimbal::g_main_info;
using cw::gimbal::g_wv_result;

namespace {

cw::Latest<GimbalInfo> g_fpv_info;

// The fixed angle command that brings the gimbal back to its rest position.
constexpr uint8_t kResetFlag1 = 1;
constexpr uint8_t kResetFlag5 = 1;
constexpr uint16_t kResetValue = 10;

}  // namespace

// ---- Cache ----

extern "C" int32_t cw_gimbal_module_init(void) {
    g_main_info.clear();
    g_fpv_info.clear();
    g_main_ctrl_info.clear();
    g_wv_result.clear();
    return 0;
}

extern "C" int32_t cw_gimbal_update_main_gimbal_info(const GimbalInfo *info) { return cw::publish(g_main_info, info); }

extern "C" int32_t cw_gimbal_update_fpv_gimbal_info(const GimbalInfo *info) { return cw::publish(g_fpv_info, info); }

extern "C" int32_t cw_gimbal_update_main_gimbal_ctrl_info(const GimbalCtrlInfo *info) {
    return cw::publish(g_main_ctrl_info, info);
}

extern "C" int32_t cw_gimbal_update_wv_result(const GimbalWvResult *result) { return cw::publish(g_wv_result, result); }

extern "C" int32_t cw_gimbal_get_main_gimbal_info(GimbalInfo *info) { return cw::copy(g_main_info, info); }

extern "C" int32_t cw_gimbal_get_fpv_gimbal_info(GimbalInfo *info) { return cw::copy(g_fpv_info, info); }

extern "C" int32_t cw_gimbal_get_main_gimbal_ctrl_info(GimbalCtrlInfo *info) {
    return cw::copy(g_main_ctrl_info, info);
}

extern "C" int32_t cw_gimbal_get_wv_result(GimbalWvResult *result) { return cw::copy(g_wv_result, result); }

// ---- Wrappers ----

extern "C" int32_t cw_gimbal_mode_control(uint8_t mode) { return cw_v1_gimbal_api_mode_control(mode); }

extern "C" int32_t cw_gimbal_angle_control(const GimbalAngleCmd *cmd) {
    CW_REQUIRE(cmd);
    return cw_v1_gimbal_api_angle_control(cmd->angle0, cmd->angle1, cmd->angle2, cmd->flag1, cmd->flag2, cmd->flag3,
                                          cmd->flag4, cmd->flag5, cmd->flag6, cmd->value);
}

extern "C" int32_t cw_gimbal_rate_control(const GimbalRateCmd *cmd) {
    CW_REQUIRE(cmd);
    return cw_v1_gimbal_api_rate_control(cmd->rate0, cmd->rate1, cmd->rate2, cmd->flag1, cmd->flag2, cmd->flag3,
                                         cmd->flag4, cmd->flag6);
}

extern "C" int32_t cw_gimbal_reset_yaw(void) { return cw_v1_gimbal_api_reset_yaw(); }

extern "C" int32_t cw_gimbal_reset(void) {
    return cw_v1_gimbal_api_angle_control(0, 0, 0, kResetFlag1, 0, 0, 0, kResetFlag5, 0, kResetValue);
}

extern "C" int32_t cw_gimbal_release_control(void) { return cw_v1_gimbal_api_release_control(); }

extern "C" int32_t cw_gimbal_waterwave_trigger(const char *action) {
    return cw_v1_gimbal_api_waterwave_trigger(action);
}

extern "C" int32_t cw_gimbal_query_joint_angle(int32_t values[3]) {
    CW_REQUIRE(values);
    return cw_v1_gimbal_api_query_joint_angle(&values[0], &values[1], &values[2]);
}
