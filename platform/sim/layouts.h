// The messages the module models answer and push, read from the link's message table
// (link_messages.h) when the models compile: rows and fields are looked up by name in constant
// evaluation, so a misspelt name does not build and nothing is looked up while the aircraft flies.
// Beside them, the values the models give a meaning to (codes, states, flag bits).
#pragma once

#include <cstdint>
#include <string_view>

#include "link_messages.h"

namespace sim {

namespace trace = cw::trace;

namespace layout {

using trace::Dir;
using trace::kBattery, trace::kCamera, trace::kFlight, trace::kGimbal, trace::kQs160, trace::kQuickTest, trace::kVision,
    trace::kVisionResult, trace::kWifi, trace::kWifiChannel, trace::kWifiPower;

// A row of the table by name (pushes unless told otherwise).
consteval const trace::Message &row(std::string_view name, Dir dir = Dir::Push) { return *trace::find(name, dir); }
// A field of a row by name.
consteval const trace::Field &at(const trace::Message &m, std::string_view name) { return *trace::field(m, name); }

// The length a module sends a push with: up to the end of the row's last field.
constexpr size_t push_len(const trace::Message &m) {
    size_t end = 0;
    for (const trace::Field &f : m.field_list()) {
        const size_t n = f.offset + trace::type_size(f.type) * (f.count == 0 ? 1 : f.count);
        end = n > end ? n : end;
    }
    return end;
}

// ---- every module: common queries
inline constexpr const trace::Message &kPing = row("camera.ping", Dir::Request);
inline constexpr const trace::Message &kVersionReq = row("common.get_version", Dir::Request);
inline constexpr const trace::Field &kVersion = at(row("common.get_version", Dir::Answer), "version");

// ---- flight controller
inline constexpr const trace::Message &kMotorState = row("flight.motor_state");
inline constexpr const trace::Message &kFcState = row("flight.fc_state");
inline constexpr const trace::Message &kFcSensor = row("flight.fc_sensor");
inline constexpr const trace::Message &kQtProc = row("quicktest.proc_status");
inline constexpr const trace::Message &kQtMsg = row("quicktest.msg");
using trace::value::kIdentityWrite;                                          // flight.identity_write: op byte
using trace::value::kImuCaliHeaders;                                         // flight.imu_cali_rt
using trace::value::kLand, trace::value::kTakeOff, trace::value::kTestLand;  // flight.function_control
using trace::value::kReleaseControl, trace::value::kTakeControl;             // flight.control_enable modes
namespace param = trace::param;  // the flight controller's parameters by name

// ---- vision processor
inline constexpr const trace::Message &kPanoStatus = row("vision.pano_status");
inline constexpr const trace::Message &kPanoResult = row("vision.pano_result");
inline constexpr const trace::Message &kNavOsd = row("vision.nav_osd");      // modes: submode << 1 | valid
inline constexpr const trace::Message &kQsResult = row("vision.qs_result");  // 0, 1 flying, 2 and above failed
inline constexpr const trace::Message &kQsIndex = row("vision.qs_index");
inline constexpr const trace::Message &kQsFinished = row("vision.qs_finished");
inline constexpr const trace::Message &kLapseResult = row("vision.lapse_result");
inline constexpr const trace::Message &kVio = row("vision.vio_self_cali");
inline constexpr const trace::Message &kOa = row("vision.oa_result");
inline constexpr uint8_t kLapseShooting = 2;  // vision.lapse_result states
inline constexpr uint8_t kLapseDone = 5;

// ---- camera
inline constexpr const trace::Message &kCameraData = row("camera.data");
inline constexpr const trace::Message &kCameraStatus = row("camera.status_data");
inline constexpr const trace::Message &kCameraLens = row("camera.lens_data");
using trace::value::kCameraBusy;  // camera.status_data flags, bits 3..5

// ---- gimbal
inline constexpr const trace::Message &kGimbalCtrl = row("gimbal.ctrl_info");
inline constexpr const trace::Message &kGimbalInfo = row("gimbal.info");
inline constexpr const trace::Message &kGimbalWv = row("gimbal.wv_result");
using trace::value::kGimbalDrive, trace::value::kGimbalResetYaw;  // angle and rate control flags

// ---- remote controller (push only)
inline constexpr const trace::Message &kRcButtons = row("rc.buttons");
inline constexpr const trace::Message &kRcSticks = row("rc.sticks");

}  // namespace layout

}  // namespace sim
