// Gimbal commands on the v1 link: mode, angle and rate control, yaw reset, release of control,
// joint-angle query, water-wave detection trigger and information subscription.
#include <array>
#include <cstdint>
#include <cstring>

#include "cirrow/cw_gimbal.h"
#include "cw_args.h"
#include "cw_bytes.h"
#include "cw_log.h"
#include "cw_txn.h"

namespace {

constexpr auto kModeControl = cw::command<"gimbal.mode_control">(cw::policy::logged_only);
constexpr auto kAngleControl = cw::command<"gimbal.angle_control">(cw::policy::logged_only);
constexpr auto kReleaseControl = cw::command<"gimbal.angle_control">(cw::policy::send_only);
constexpr auto kRateControl = cw::command<"gimbal.rate_control">(cw::policy::send_only);
constexpr auto kQueryJointAngle = cw::command<"gimbal.query_joint_angle">(cw::policy::ack_byte);
constexpr auto kWaterwaveTrigger = cw::command<"gimbal.waterwave_trigger">(cw::policy::ack_byte);
constexpr auto kSubscribeInfo = cw::command<"gimbal.subscribe_info">(cw::policy::ack_byte);

// Control flags byte of the angle and rate commands.
constexpr uint8_t kFlagCommand = cw::link::value::kGimbalDrive;
constexpr uint8_t kFlagYawReset = cw::link::value::kGimbalResetYaw;
constexpr uint16_t kAngleConstant = 10;  // the constant of an angle command
// A release is an angle command of zeros.

constexpr decltype(kQueryJointAngle)::Request kJointAngleQuery = {0x11, 0x01, 0x01};
// The joint angles come in the order first, third, second.

constexpr uint8_t kWaterwaveStart = 0x10;
constexpr uint8_t kWaterwaveStop = 0;

// Bit n of the flags byte from the lowest bit of a caller's flag.
constexpr uint8_t flag_bit(uint8_t flag, unsigned n) { return static_cast<uint8_t>((flag & 1u) << n); }

}  // namespace

extern "C" int32_t cw_v1_gimbal_api_mode_control(uint8_t mode) {
    const auto payload = kModeControl.encode(mode);
    auto ans = kModeControl.answer_buffer();
    const cw::Verdict v = cw::run(kModeControl, payload, ans.span());
    if (v.outcome != cw::Outcome::Done) {
        CW_USRLOG("[cirrow] change mode send fail ret:%d ack: %d\n", v.ret, v.result_byte);
    }
    return v.code;
}

extern "C" int32_t cw_v1_gimbal_api_angle_control(int16_t angle0, int16_t angle1, int16_t angle2, uint8_t flag1,
                                                  uint8_t flag2, uint8_t flag3, uint8_t flag4, uint8_t flag5,
                                                  uint8_t flag6, uint16_t value) {
    const uint8_t flags = kFlagCommand | flag_bit(flag1, 1) | flag_bit(flag2, 2) | flag_bit(flag3, 3) |
                          flag_bit(flag4, 4) | flag_bit(flag5, 5) | flag_bit(flag6, 6);
    // The angles, the constant, the flags, a reserved byte and the value.
    const auto payload = kAngleControl.encode(angle0, angle1, angle2, kAngleConstant, flags, uint8_t{0}, value);
    auto ans = kAngleControl.answer_buffer();
    const cw::Verdict v = cw::run(kAngleControl, payload, ans.span());
    if (v.outcome != cw::Outcome::Done) {
        CW_USRLOG("cw gimbal angle control send fail ret:%d, ack = %d\n", v.ret, v.result_byte);
    }
    return v.code;
}

extern "C" int32_t cw_v1_gimbal_api_rate_control(int16_t rate0, int16_t rate1, int16_t rate2, uint8_t flag1,
                                                 uint8_t flag2, uint8_t flag3, uint8_t flag4, uint8_t flag6) {
    const uint8_t flags = kFlagCommand | flag_bit(flag1, 1) | flag_bit(flag2, 2) | flag_bit(flag3, 3) |
                          flag_bit(flag4, 4) | flag_bit(flag6, 6);
    const auto payload = kRateControl.encode(rate0, rate1, rate2, flags);
    const cw::Verdict v = cw::run(kRateControl, payload);
    if (v.outcome != cw::Outcome::Done) {
        CW_LOG(cw::log::kFail, "nav gimbal rate control send fail %d\n", v.ret);
    }
    return v.code;
}

extern "C" int32_t cw_v1_gimbal_api_reset_yaw(void) {
    const auto payload = kRateControl.encode(int16_t{0}, int16_t{0}, int16_t{0}, kFlagYawReset);
    const cw::Verdict v = cw::run(kRateControl, payload);
    if (v.outcome != cw::Outcome::Done) {
        CW_LOG(cw::log::kFail, "cw gimbal reset yaw send fail %d\n", v.ret);
    }
    return v.code;
}

extern "C" int32_t cw_v1_gimbal_api_release_control(void) {
    const decltype(kReleaseControl)::Request payload{};
    const cw::Verdict v = cw::run(kReleaseControl, payload);
    if (v.outcome != cw::Outcome::Done) {
        CW_LOG(cw::log::kFail, "cw gimbal angle control send fail %d\n", v.ret);
    }
    return v.code;
}

extern "C" int32_t cw_v1_gimbal_api_query_joint_angle(int32_t *first, int32_t *second, int32_t *third) {
    CW_REQUIRE(first, second, third);
    auto ans = kQueryJointAngle.answer_buffer();
    const cw::Verdict v = cw::run(kQueryJointAngle, kJointAngleQuery, ans.span());
    switch (v.outcome) {
        case cw::Outcome::SendFailed:
            CW_LOG(cw::log::kFail, "cw gimbal api query joint angle error: %d\n", v.ret);
            break;
        case cw::Outcome::Refused:
            CW_LOG(cw::log::kFail, "cw gimbal api query joint angle ack != 0\n");
            break;
        case cw::Outcome::Done:
            // The gimbal answers the values in the order first, third, second.
            *first = kQueryJointAngle.get<"first">(ans);
            *third = kQueryJointAngle.get<"third">(ans);
            *second = kQueryJointAngle.get<"second">(ans);
            break;
    }
    return v.code;
}

extern "C" int32_t cw_v1_gimbal_api_waterwave_trigger(const char *action) {
    const bool start = action != nullptr && std::strcmp(action, "START") == 0;
    const auto payload = kWaterwaveTrigger.encode(start ? kWaterwaveStart : kWaterwaveStop);
    auto ans = kWaterwaveTrigger.answer_buffer();
    const cw::Verdict v = cw::run(kWaterwaveTrigger, payload, ans.span());
    switch (v.outcome) {
        case cw::Outcome::SendFailed:
            CW_USRLOG("cw gimbal api trigger waterwave detect  error: %d\n", v.ret);
            break;
        case cw::Outcome::Refused:
            CW_USRLOG("cw gimbal api trigger waterwave detect ack != 0\n");
            break;
        case cw::Outcome::Done:
            break;
    }
    return v.code;
}

extern "C" int32_t cw_v1_gimbal_subscribe_info(uint8_t byte0, uint8_t byte1, uint8_t byte2) {
    const auto payload = kSubscribeInfo.encode(byte0, byte1, byte2, uint8_t{0});
    auto ans = kSubscribeInfo.answer_buffer();
    const cw::Verdict v = cw::run(kSubscribeInfo, payload, ans.span());
    switch (v.outcome) {
        case cw::Outcome::SendFailed:
            CW_USRLOG("nav gimbal subscribe send fail %d\n", v.ret);
            break;
        case cw::Outcome::Refused:
            CW_USRLOG("nav gimbal subscribe result fail %d\n", v.result_byte);
            break;
        case cw::Outcome::Done:
            CW_USRLOG("nav gimbal subscribe success\n");
            break;
    }
    return v.code;
}
