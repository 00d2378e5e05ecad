// Gimbal commands on the v1 link: mode, angle and rate control, yaw reset, release of control,
// joint-angle query, water-wave detection trigger and information subscription.
#include <array>
#include <cstdint>
#include <cstring>

#include "cirrow/cw_gimbal.h"
#include "cw_args.h"
#include "cw_bytes.h"
#include "cw_command.h"
#include "cw_log.h"

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
    // The mode is the request's one byte. A refusal is only logged: the result is the send
    // result.
    return cw::perform(
        kModeControl, kModeControl.encode(mode),
        CW_IF_FAILED(CW_USRLOG_AT(45, "[cirrow] change mode send fail ret:%d ack: %d\n", v.ret, v.result_byte)));
}

// An angle command: the caller's flags go in bits 1 to 6 of the flags byte, bit 0 (the gimbal's
// drive flag) is always set. A refusal is only logged: the result is the send result.
extern "C" int32_t cw_v1_gimbal_api_angle_control(int16_t angle0, int16_t angle1, int16_t angle2, uint8_t flag1,
                                                  uint8_t flag2, uint8_t flag3, uint8_t flag4, uint8_t flag5,
                                                  uint8_t flag6, uint16_t value) {
    const uint8_t flags = kFlagCommand | flag_bit(flag1, 1) | flag_bit(flag2, 2) | flag_bit(flag3, 3) |
                          flag_bit(flag4, 4) | flag_bit(flag5, 5) | flag_bit(flag6, 6);
    return cw::perform(
        kAngleControl, kAngleControl.encode(angle0, angle1, angle2, kAngleConstant, flags, uint8_t{0}, value),
        // The angles, the constant, the flags, a reserved byte and the value; the gimbal's answer
        // is awaited, and a refusal is told apart in the log by its result
        // byte.
        CW_IF_FAILED(CW_USRLOG_AT(60, "cw gimbal angle control send fail ret:%d, ack = %d\n", v.ret, v.result_byte)));
}

// A rate command: the caller's flags go in bits 1 to 4 and 6 of the flags byte, bit 0 always set.
// The rate commands are not answered: the link's result is the command's.
extern "C" int32_t cw_v1_gimbal_api_rate_control(int16_t rate0, int16_t rate1, int16_t rate2, uint8_t flag1,
                                                 uint8_t flag2, uint8_t flag3, uint8_t flag4, uint8_t flag6) {
    const uint8_t flags = kFlagCommand | flag_bit(flag1, 1) | flag_bit(flag2, 2) | flag_bit(flag3, 3) |
                          flag_bit(flag4, 4) | flag_bit(flag6, 6);
    return cw::post(kRateControl, kRateControl.encode(rate0, rate1, rate2, flags),
                    // The rates, then the flags.
                    CW_IF_FAILED(CW_LOG_AT(72, cw::log::kFail, "nav gimbal rate control send fail %d\n", v.ret)));
}

// A yaw reset is a rate command of no rates with the reset flag.
extern "C" int32_t cw_v1_gimbal_api_reset_yaw(void) {
    return cw::post(kRateControl, kRateControl.encode(int16_t{0}, int16_t{0}, int16_t{0}, kFlagYawReset),
                    // Not answered: the link's result is the command's.
                    CW_IF_FAILED(CW_LOG_AT(81, cw::log::kFail, "cw gimbal reset yaw send fail %d\n", v.ret)));
}

// A release is an angle command of zeros.
extern "C" int32_t cw_v1_gimbal_api_release_control(void) {
    return cw::post(kReleaseControl, decltype(kReleaseControl)::Request{},
                    // Not answered: the link's result is the command's.
                    CW_IF_FAILED(CW_LOG_AT(90, cw::log::kFail, "cw gimbal angle control send fail %d\n", v.ret)));
}

// The gimbal's three joint angles.
extern "C" int32_t cw_v1_gimbal_api_query_joint_angle(int32_t *first, int32_t *second, int32_t *third) {
    CW_REQUIRE(first, second, third);
    return cw::perform(
        kQueryJointAngle, kJointAngleQuery,
        // The request is the query's fixed bytes; the answer's result byte is 0 when
        // the gimbal answers with the angles.
        CW_IF_UNSENT(CW_LOG_AT(101, cw::log::kFail, "cw gimbal api query joint angle error: %d\n", v.ret)),
        // Refused: the answer holds no angles.
        CW_IF_REFUSED(CW_LOG_AT(104, cw::log::kFail, "cw gimbal api query joint angle ack != 0\n")),
        // The gimbal answers the values in the order first, third, second.
        CW_IF_DONE({
            *first = kQueryJointAngle.get<"first">(ans);
            *third = kQueryJointAngle.get<"third">(ans);
            *second = kQueryJointAngle.get<"second">(ans);
        }));
}

// Starts the water-wave detection on "START", stops it on anything else (a null action
// included).
extern "C" int32_t cw_v1_gimbal_api_waterwave_trigger(const char *action) {
    const bool start = action != nullptr && std::strcmp(action, "START") == 0;
    return cw::perform(kWaterwaveTrigger, kWaterwaveTrigger.encode(start ? kWaterwaveStart : kWaterwaveStop),
                       // The answer's result byte is 0 when the gimbal takes the trigger.
                       CW_IF_UNSENT(CW_USRLOG_AT(123, "cw gimbal api trigger waterwave detect  error: %d\n", v.ret)),
                       CW_IF_REFUSED(CW_USRLOG_AT(126, "cw gimbal api trigger waterwave detect ack != 0\n")));
}

// Subscribes the gimbal's information pushes: the three bytes say which, a zero byte follows.
// The answer's result byte is 0 when the gimbal takes the subscription; the result is
// CW_ERR_ACK when it does not, and the link's result when the request did not go.

extern "C" int32_t cw_v1_gimbal_subscribe_info(uint8_t byte0, uint8_t byte1, uint8_t byte2) {
    return cw::perform(kSubscribeInfo, kSubscribeInfo.encode(byte0, byte1, byte2, uint8_t{0}),
                       CW_IF_UNSENT(CW_USRLOG_AT(140, "nav gimbal subscribe send fail %d\n", v.ret)),
                       // Refused: the log has the gimbal's result byte.
                       CW_IF_REFUSED(CW_USRLOG_AT(143, "nav gimbal subscribe result fail %d\n", v.result_byte)),
                       CW_IF_DONE(CW_USRLOG_AT(146, "nav gimbal subscribe success\n")));
}
