// The virtual aircraft's envelope and answers as its documentation lists them: the limits a
// scenario's [limits] may change (with their defaults and the commands they bound), the values
// each mode, flag and type byte accepts, and the result bytes of the models' refusals. The models
// and the scenario reader take their defaults from here, and the link reference prints it.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "cw_values.h"

namespace sim::envelope {

inline constexpr double kHorizontalSpeed = 10;             // m/s
inline constexpr double kClimbSpeed = 4;                   // m/s
inline constexpr double kDescentSpeed = 3;                 // m/s
inline constexpr double kYawRate = 150;                    // degrees per second
inline constexpr double kSteeringHold = 0.5;               // seconds
inline constexpr double kGimbalMin[3] = {-90, -45, -320};  // degrees: pitch, roll, yaw
inline constexpr double kGimbalMax[3] = {30, 45, 320};
inline constexpr double kHeight = 120;          // metres, the flight parameter's default
inline constexpr double kRadius = 500;          // metres, once the radius limit is enabled
inline constexpr double kFailsafeGrace = 3;     // seconds
inline constexpr double kBatteryLow = 15;       // percent
inline constexpr double kBatteryCritical = 10;  // percent

struct Limit {
    const char *key;  // in a scenario's [limits] (empty: a flight parameter or another table)
    const char *what;
    double value;
    const char *unit;
    const char *commands;
};

// clang-format off
inline constexpr Limit kLimits[] = {
    {"horizontal_speed", "horizontal speed (north and east together)", kHorizontalSpeed, "m/s", "flight.adv_control"},
    {"climb_speed", "climb speed", kClimbSpeed, "m/s", "flight.adv_control"},
    {"descent_speed", "descent speed", kDescentSpeed, "m/s", "flight.adv_control"},
    {"yaw_rate", "yaw rate, either way", kYawRate, "deg/s", "flight.adv_control"},
    {"steering_hold", "how long a steering command holds before the aircraft brakes to a hover", kSteeringHold, "s", "flight.adv_control"},
    {"gimbal_pitch_min", "gimbal pitch, lowest", kGimbalMin[0], "deg", "gimbal.angle_control"},
    {"gimbal_pitch_max", "gimbal pitch, highest", kGimbalMax[0], "deg", "gimbal.angle_control"},
    {"gimbal_roll_min", "gimbal roll, lowest", kGimbalMin[1], "deg", "gimbal.angle_control"},
    {"gimbal_roll_max", "gimbal roll, highest", kGimbalMax[1], "deg", "gimbal.angle_control"},
    {"gimbal_yaw_min", "gimbal yaw, lowest", kGimbalMin[2], "deg", "gimbal.angle_control"},
    {"gimbal_yaw_max", "gimbal yaw, highest", kGimbalMax[2], "deg", "gimbal.angle_control"},
    {"", "height (flight parameter g_config.flying_limit.max_height_0)", kHeight, "m", "flight.adv_control, flight.param_write"},
    {"", "distance from the take-off point, when g_config.flying_limit.radius_limit_enabled_0 is set (max_radius_0)", kRadius, "m", "flight.adv_control, flight.param_write"},
    {"", "failsafe grace, [failsafe] grace: then the flight controller lands (or returns home, action = \"return\")", kFailsafeGrace, "s", "flight.control_enable"},
    {"", "battery low level, [battery] low: the flight controller warns", kBatteryLow, "%", "flight.adv_control"},
    {"", "battery critical level, [battery] critical: the flight controller lands", kBatteryCritical, "%", "flight.adv_control"},
};
// clang-format on

// The values a command's byte accepts; any other is ignored with the module's line naming them.
// Values the link's table names are listed from it ("1 (take control) and 2 (release control)").
struct Accepted {
    const char *command;
    const char *field;
    const char *text;                             // ranges, where the table names no values
    std::span<const cw::link::Named> named = {};  // else the field's named values

    std::string values() const {
        std::string s = text != nullptr ? text : "";
        for (size_t i = 0; i < named.size(); ++i) {
            s.append(i == 0 ? "" : i + 1 == named.size() ? " and " : ", ");
            s.append(std::to_string(named[i].value)).append(" (").append(named[i].name).append(")");
        }
        return s;
    }
};

inline constexpr Accepted kControlModes{"flight.control_enable", "mode", nullptr, cw::link::value::kControlModes};
inline constexpr Accepted kFunctions{"flight.function_control", "function", nullptr, cw::link::value::kFunctions};
inline constexpr Accepted kFlightModes{"flight.submode_set", "mode, submode", "modes 0 to 9, sub-modes 0 to 15"};
inline constexpr Accepted kObstacleAvoidance{"flight.switch_oa", "on_off", "0 (off) and 255 (on)"};
inline constexpr Accepted kGimbalModes{"gimbal.mode_control", "mode", "modes 0 to 3"};
inline constexpr Accepted kCameraModes{"camera.switch_mode", "mode", nullptr, cw::link::value::kCameraModes};

inline constexpr Accepted kAccepted[] = {kControlModes,      kFunctions,   kFlightModes,
                                         kObstacleAvoidance, kGimbalModes, kCameraModes};

// A refusal's result byte, by module (the scenario's name) and byte.
struct Result {
    const char *module;
    uint8_t byte;
    const char *commands;
    const char *meaning;
};

// clang-format off
inline constexpr Result kResults[] = {
    {"flight", 1, "flight.control_enable", "control is held by another application"},
    {"flight", 2, "flight.param_read", "no such parameter"},
    {"camera", 3, "camera.take_photo, camera.take_video", "wrong mode: recording video, or not in the mode the command needs"},
    {"camera", 4, "camera.take_photo, camera.switch_mode", "busy: a photo is being taken (0.4 s) or a video recorded"},
    {"gimbal", 4, "gimbal.angle_control, gimbal.rate_control", "busy: a water-wave detection is under way"},
};
// clang-format on

// What a module's refusal byte means, or null.
inline const char *result_meaning(std::string_view module, uint8_t byte) {
    for (const Result &r : kResults) {
        if (module == r.module && r.byte == byte) {
            return r.meaning;
        }
    }
    return nullptr;
}

}  // namespace sim::envelope
