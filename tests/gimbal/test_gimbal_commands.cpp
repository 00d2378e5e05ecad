// Gimbal commands: routing and payload bytes (through the wrappers), the control flags byte, the
// answer policies with their lines, and the joint-angle reorder.
#include <cirrow/cirrow.h>

#include "cw_test.h"

using namespace cwt;

namespace {

int32_t g_v[3];
const GimbalAngleCmd kAngle = {-2, 0x1234, 300, 1, 0, 1, 0, 1, 0, 0xBEEF};
const GimbalRateCmd kRate = {-1, 2, -300, 1, 1, 1, 1, 1};
const int G = 0x0400;

class GimbalCommands : public LinkTest {};

TEST_F(GimbalCommands, RequestsAndSendFailureLines) {
    // clang-format off
    run({
        {CALL_AS(cw_v1_gimbal_api_mode_control, cw_gimbal_mode_control(0x7F)), {}, -5, {"U [cirrow] change mode send fail ret:-5 ack: 0\n"},
         Req{4, 68, G, 200000, 1, {0x7F}}},
        {CALL_AS(cw_v1_gimbal_api_angle_control, cw_gimbal_angle_control(&kAngle)), {}, -5, {"U cw gimbal angle control send fail ret:-5, ack = 0\n"},
         Req{4, 10, G, 1000000, 1, {0xFE, 0xFF, 0x34, 0x12, 0x2C, 0x01, 0x0A, 0, 0xAA, 0, 0xEF, 0xBE}}},
        {CALL_AS(cw_v1_gimbal_api_angle_control, cw_gimbal_reset()), {0}, 0, {},
         Req{4, 10, G, 1000000, 1, {0, 0, 0, 0, 0, 0, 0x0A, 0, 0xA2, 0, 0x0A, 0}}},
        {CALL_AS(cw_v1_gimbal_api_rate_control, cw_gimbal_rate_control(&kRate)), {}, -5, {"L1 nav gimbal rate control send fail -5\n"},
         Req{4, 12, G, 0, 0, {0xFF, 0xFF, 0x02, 0x00, 0xD4, 0xFE, 0xDE}}},
        {CALL_AS(cw_v1_gimbal_api_reset_yaw, cw_gimbal_reset_yaw()), {}, -5, {"L1 cw gimbal reset yaw send fail -5\n"},
         Req{4, 12, G, 0, 0, {0, 0, 0, 0, 0, 0, 0x20}}},
        {CALL_AS(cw_v1_gimbal_api_release_control, cw_gimbal_release_control()), {}, -5, {"L1 cw gimbal angle control send fail -5\n"},
         Req{4, 10, G, 0, 0, Bytes(12, 0)}},
        {CALL_AS(cw_v1_gimbal_api_query_joint_angle, cw_gimbal_query_joint_angle(g_v)), {}, -5, {"L1 cw gimbal api query joint angle error: -5\n"},
         Req{4, 104, G, 200000, 15, {0x11, 1, 1}}},
        {CALL_AS(cw_v1_gimbal_api_waterwave_trigger, cw_gimbal_waterwave_trigger("START")), {}, -5,
         {"U cw gimbal api trigger waterwave detect  error: -5\n"},
         Req{4, 61, G, 20000, 1, {0x10}}},
        {CALL_AS(cw_v1_gimbal_api_waterwave_trigger, cw_gimbal_waterwave_trigger("start")), {0}, 0, {}, Req{4, 61, G, 20000, 1, {0}}},
        {CALL(cw_v1_gimbal_subscribe_info(1, 2, 3)), {}, -5, {"U nav gimbal subscribe send fail -5\n"},
         Req{4, 30, G, 200000, 1, {1, 2, 3, 0}}},
    }, -5, "cw_protocal/src/api/cw_v1_gimbal_api");
    // clang-format on
}

TEST_F(GimbalCommands, FlagsByteTakesBitZeroOfEachFlag) {
    // flag1..flag6, then the angle and the rate command's flags byte (rate control has no flag5)
    for (const auto &f : std::vector<std::array<uint8_t, 8>>{{0, 0, 0, 0, 0, 0, 0x80, 0x80},
                                                             {1, 0, 1, 0, 1, 0, 0xAA, 0x8A},
                                                             {0, 1, 0, 1, 0, 1, 0xD4, 0xD4},
                                                             {255, 255, 255, 255, 255, 255, 0xFE, 0xDE},
                                                             {2, 4, 8, 0x10, 0x20, 0x40, 0x80, 0x80}}) {
        mbus_ctl_reset();
        cw_v1_gimbal_api_angle_control(0, 0, 0, f[0], f[1], f[2], f[3], f[4], f[5], 0);
        cw_v1_gimbal_api_rate_control(0, 0, 0, f[0], f[1], f[2], f[3], f[5]);
        const auto s = sent();
        ASSERT_EQ(s.size(), 2u);
        EXPECT_EQ(std::make_pair(s[0].payload[8], s[1].payload[6]), std::make_pair(f[6], f[7])) << int(f[6]);
    }
}

TEST_F(GimbalCommands, AnswerPoliciesAndTheirLines) {
    // clang-format off
    run({  // mode and angle control log a refusal but return the send result
        {CALL(cw_v1_gimbal_api_mode_control(3)), {5}, 0, {"U [cirrow] change mode send fail ret:0 ack: 5\n"}},
        {CALL(cw_v1_gimbal_api_angle_control(1, 2, 3, 0, 0, 0, 0, 0, 0, 4)), {7}, 0,
         {"U cw gimbal angle control send fail ret:0, ack = 7\n"}},
        {CALL(cw_v1_gimbal_api_angle_control(1, 2, 3, 0, 0, 0, 0, 0, 0, 4)), {0}, 0, {}},
        {CALL(cw_v1_gimbal_api_query_joint_angle(&g_v[0], &g_v[1], &g_v[2])), {1}, -1001,
         {"L1 cw gimbal api query joint angle ack != 0\n"}},
        {CALL(cw_v1_gimbal_api_waterwave_trigger("START")), {2}, -1001,
         {"U cw gimbal api trigger waterwave detect ack != 0\n"}},
        {CALL(cw_v1_gimbal_api_waterwave_trigger(nullptr)), {0}, 0, {}, Req{4, 61, G, 20000, 1, {0}}},
        {CALL(cw_v1_gimbal_subscribe_info(1, 2, 3)), {9}, -1001, {"U nav gimbal subscribe result fail 9\n"}},
        {CALL(cw_v1_gimbal_subscribe_info(1, 2, 3)), {0}, 0, {"U nav gimbal subscribe success\n"}},
    }, -5, "cw_protocal/src/api/cw_v1_gimbal_api");
    // clang-format on
}

TEST_F(GimbalCommands, JointAnglesComeBackReorderedAndOnlyOnSuccess) {
    const Bytes values = cat({le32(0x11223344), le32(0x80000001), le32(0xFFFFFFFE)});
    int32_t v[3] = {7, 8, 9};
    answer(cat({{1, 0, 0}, values}));
    EXPECT_EQ(cw_gimbal_query_joint_angle(v), -1001);
    EXPECT_EQ(std::vector<int32_t>(v, v + 3), (std::vector<int32_t>{7, 8, 9}));
    answer(cat({{0, 0xAA, 0xBB}, values}));
    EXPECT_EQ(cw_gimbal_query_joint_angle(v), 0);
    EXPECT_EQ(std::vector<int32_t>(v, v + 3), (std::vector<int32_t>{0x11223344, -2, INT32_MIN + 1}));
}

}  // namespace
