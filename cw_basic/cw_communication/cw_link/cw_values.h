// The values the link's fields take that the library and the aircraft's modules give a meaning to,
// named once: the message table's rows list them beside their fields (the field reference prints
// them), the library's commands and handlers send and read them, and the module models answer
// them. Also the flight controller's parameter names and the hash they are addressed by.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace cw::link {

// A value of a field with its name, as the field reference prints it.
struct Named {
    const char *name;
    uint32_t value;
};

// Not defined: called at compile time, it stops the build.
void values_are_not_0_to_n_minus_1();

// The names of values that number 0 to N - 1, by value (the build stops on a gap or a repeat).
template <size_t N>
consteval std::array<const char *, N> by_value(const Named (&named)[N]) {
    std::array<const char *, N> names{};
    for (const Named &n : named) {
        if (n.value >= N || names[n.value] != nullptr) {
            values_are_not_0_to_n_minus_1();
        }
        names[n.value] = n.name;
    }
    return names;
}

namespace value {

// flight.function_control: function.
inline constexpr uint8_t kTakeOff = 1;
inline constexpr uint8_t kLand = 6;
inline constexpr uint8_t kTestLand = 31;  // landing while a test mode is set
inline constexpr Named kFunctions[] = {{"take-off", kTakeOff}, {"land", kLand}, {"test-land", kTestLand}};

// flight.fc_state: phase and flight_state, the flight controller's phase of flight.
inline constexpr uint8_t kPhaseGround = 0;
inline constexpr uint8_t kPhaseMotorsStarting = 1;
inline constexpr uint8_t kPhaseTakingOff = 2;
inline constexpr uint8_t kPhaseInTheAir = 3;
inline constexpr uint8_t kPhaseLanding = 4;
inline constexpr Named kFlightPhases[] = {{"on the ground", kPhaseGround},
                                          {"motors starting", kPhaseMotorsStarting},
                                          {"taking off", kPhaseTakingOff},
                                          {"in the air", kPhaseInTheAir},
                                          {"landing", kPhaseLanding}};

// camera.switch_mode and camera.query_mode: mode, the camera's work mode.
inline constexpr uint8_t kCameraPhoto = 0;
inline constexpr uint8_t kCameraVideo = 1;
inline constexpr Named kCameraModes[] = {{"photo", kCameraPhoto}, {"video", kCameraVideo}};

// flight.control_enable: mode.
inline constexpr uint8_t kTakeControl = 1;
inline constexpr uint8_t kReleaseControl = 2;
inline constexpr Named kControlModes[] = {{"take control", kTakeControl}, {"release control", kReleaseControl}};

// camera.status_data: status_flags. Bits 3..5 hold the camera's activity; 1 there is busy.
inline constexpr uint8_t kCameraActivityMask = 0x38;
inline constexpr uint8_t kCameraBusy = 0x08;
inline constexpr Named kCameraStatusFlags[] = {{"busy", kCameraBusy}};

// gimbal.angle_control, gimbal.rate_control and gimbal.ctrl_info: flags.
inline constexpr uint8_t kGimbalDrive = 0x80;     // bit 7: drive to the angles or at the rates
inline constexpr uint8_t kGimbalResetYaw = 0x20;  // bit 5 alone, in a rate command: turn the yaw back to 0
inline constexpr Named kGimbalFlags[] = {{"drive", kGimbalDrive}, {"reset yaw", kGimbalResetYaw}};

// flight.imu_cali_rt: the headers an answer starts with.
inline constexpr size_t kImuCaliHeaderLen = 6;
inline constexpr std::array<std::array<uint8_t, kImuCaliHeaderLen>, 2> kImuCaliHeaders = {{
    {0x0A, 0x00, 0x52, 0x29, 0x2C, 0x00},
    {0x0A, 0x01, 0x52, 0x29, 0x2C, 0x00},
}};

// flight.identity_write and flight.identity_read: op.
inline constexpr uint8_t kIdentityWrite = 7;
inline constexpr uint8_t kIdentityRead = 8;
inline constexpr Named kIdentityOps[] = {{"write", kIdentityWrite}, {"read", kIdentityRead}};

}  // namespace value

// The flight controller's parameters by name (flight.param_read and flight.param_write).
namespace param {

inline constexpr const char *kMaxHeight = "g_config.flying_limit.max_height_0";
inline constexpr const char *kMaxRadius = "g_config.flying_limit.max_radius_0";
inline constexpr const char *kRadiusLimitEnabled = "g_config.flying_limit.radius_limit_enabled_0";
inline constexpr const char *kDownVo = "g_config.mvo_cfg.mvo_func_en_0";
inline constexpr const char *kCompassCali = "auto_cali_enable_0";
inline constexpr const char *kVibration = "enable_0";

// The hash a parameter is addressed by: the name's bytes as digits in base 256, modulo the prime
// 2^32 - 5.
constexpr uint32_t hash(std::string_view name) {
    constexpr uint64_t kPrime = 4294967291u;
    uint64_t h = 0;
    for (const char c : name) {
        h = (h * 256 + static_cast<uint8_t>(c)) % kPrime;
    }
    return static_cast<uint32_t>(h);
}

}  // namespace param

}  // namespace cw::link
