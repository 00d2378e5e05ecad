// The link's message table: every set/id the library sends or receives, with its direction,
// receiver, name and fields. The library reads it at compile time only (no symbol, no data in the
// shared object); on a development host the text trace, the capture writer, the Wireshark dissector
// and the module models read the same rows, so a new message is one row here.
//
// A row matches a message by set, id and direction, then by receiver (kAnyReceiver matches every
// receiver) and by length (kAnyLen matches every length); find() prefers the most specific row.
// Several commands share a route and are told apart by receiver (10/116) or by length (3/218).
// Answers are the bytes the module wrote into the command's answer buffer; their length is the
// buffer's: the row's length where it has one (the command awaits that many bytes), else up to
// the end of its last field. Pushes may be shorter than their last field: fields past the end are
// not decoded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "cw_values.h"

namespace cw::link {

enum class Dir : uint8_t { Request = 0, Answer = 1, Push = 2 };
enum class Type : uint8_t { U8, U16, U32, U64, I16, I32, F32, F64, Bytes };

// One field: `count` elements of `type` from `offset`, little-endian. For Bytes, count is the
// length in bytes. A count of 0 repeats the element up to the end of the message. `meaning` and
// `unit` say what the virtual aircraft's models put there (null where they give it none); `values`
// names the values the library and the models give a meaning to (cw_values.h).
struct Field {
    const char *name;
    uint16_t offset;
    Type type;
    uint16_t count = 1;
    const char *meaning = nullptr;
    const char *unit = nullptr;
    std::span<const Named> values = {};
};

inline constexpr uint16_t kAnyReceiver = 0xFFFF;
inline constexpr uint16_t kAnyLen = 0xFFFF;
inline constexpr size_t kMaxFields = 16;

struct Message {
    uint8_t set;
    uint8_t id;
    Dir dir;
    uint16_t receiver;  // requests and answers; kAnyReceiver for pushes
    uint16_t len;       // the length this row is for, or kAnyLen
    const char *name;   // module.what, unique per direction
    Field fields[kMaxFields];
    uint32_t timeout = 0;   // requests: how long a command that awaits the answer waits for it (us)
    uint8_t result_at = 0;  // answers: where the module's result byte is

    constexpr size_t field_count() const {
        size_t n = 0;
        while (n < kMaxFields && fields[n].name != nullptr) {
            ++n;
        }
        return n;
    }
    constexpr std::span<const Field> field_list() const { return {fields, field_count()}; }
};

// How long commands wait for their answers (microseconds). A request sent without an answer
// buffer waits for nothing, whatever its row says.
inline constexpr uint32_t kWaitShort = 20000;
inline constexpr uint32_t kWaitCommon = 200000;
inline constexpr uint32_t kWaitHalfSecond = 500000;
inline constexpr uint32_t kWaitSecond = 1000000;
inline constexpr uint32_t kWaitCamera = 2000000;
inline constexpr uint32_t kWaitPhoto = 5000000;

// Receivers of the modules.
inline constexpr uint16_t kCamera = 0x0100;
inline constexpr uint16_t kQs160 = 0x0200;
inline constexpr uint16_t kFlight = 0x0306;
inline constexpr uint16_t kGimbal = 0x0400;
inline constexpr uint16_t kWifiChannel = 0x0700;
inline constexpr uint16_t kWifi = 0x0900;
inline constexpr uint16_t kWifiPower = 0x0904;
inline constexpr uint16_t kBattery = 0x0B00;
inline constexpr uint16_t kQuickTest = 0x1105;
inline constexpr uint16_t kVision = 0x1107;
inline constexpr uint16_t kVisionResult = 0x1200;

namespace detail {
using enum Dir;
using enum Type;
inline constexpr uint16_t A = kAnyReceiver;
inline constexpr uint16_t L = kAnyLen;
inline constexpr Field kResult{"result", 0, U8};

// clang-format off
inline constexpr Message kMessages[] = {
    // ---- flight controller: subscription, control, steering
    {3, 21, Request, kFlight, L, "flight.ds_reset", {}, kWaitCommon},
    {3, 21, Answer, kFlight, L, "flight.ds_reset", {{"result", 0, U8, 1, "0: the flight data stops streaming"}}},
    {3, 20, Request, kFlight, L, "flight.ds_bag_add", {{"bag", 0, U8, 1, "data bag number"}, {"rate", 1, U16, 1, "pushes per second the bag streams at", "Hz"}, {"constant", 3, U8}, {"count", 4, U8, 1, "number of items in the bag"}, {"items", 5, U32, 0, "item identifiers of the bag"}}, kWaitCommon},
    {3, 20, Answer, kFlight, L, "flight.ds_bag_add", {{"result", 0, U8, 1, "0: the flight data streams from now on"}, {"bag", 1, U8, 1, "the bag number, echoed"}, {"reserved", 2, Bytes, 2}, {"count", 4, U8, 1, "the item count, echoed"}}},
    {3, 128, Request, kFlight, L, "flight.control_enable", {{"mode", 0, U8, 1, "1 obtain control, anything else release it", nullptr, value::kControlModes}, {"constant", 1, U8}}, kWaitCommon},
    {3, 128, Answer, kFlight, L, "flight.control_enable", {kResult}},
    {3, 141, Request, kFlight, L, "flight.submode_set", {{"mode", 0, U8, 1, "flight mode, reported back in flight.fc_state mode"}, {"submode", 1, U8, 1, "sub-mode, reported back in flight.fc_state submode"}}, kWaitCommon},
    {3, 141, Answer, kFlight, L, "flight.submode_set", {kResult}},
    {3, 142, Request, kFlight, L, "flight.adv_control", {{"mode_a", 0, U8}, {"mode_b", 1, U8}, {"values", 2, F32, 6, "velocities north, east, up (m/s) and the yaw rate (deg/s, clockwise), then two unused values; the aircraft moves at them while in the air"}}},
    {3, 158, Request, kFlight, L, "flight.yaw_rate_control", {{"rate", 0, F32, 1, "turn rate about the vertical axis", "deg/s"}}},
    {3, 42, Request, kFlight, L, "flight.function_control", {{"function", 0, U8, 1, "1 take off, 6 land, 31 land in a test mode", nullptr, value::kFunctions}}},
    {3, 26, Request, kFlight, L, "flight.switch_oa", {{"on_off", 0, U8, 1, "obstacle avoidance: non-zero on"}}},
    {10, 86, Request, kFlight, L, "flight.heartbeat", {{"kind", 0, U8}, {"value", 1, U8, 1, "fly-test value, reported back in flight.fc_state flytest"}}},
    // ---- flight controller: IMU calibration, parameters by name hash, identity
    {10, 84, Request, kFlight, L, "flight.propeller_cali", {{"action", 0, U8}}},
    {0, 0, Request, kFlight, L, "flight.base_heartbeat", {{"value", 0, U8}}, kWaitCommon},
    {0, 0, Answer, kFlight, L, "flight.base_heartbeat", {{"value", 0, U8}}},
    {3, 171, Request, kFlight, L, "flight.imu_cali_rt", {{"request", 0, Bytes, 0}}, kWaitCommon},
    {3, 171, Answer, kFlight, L, "flight.imu_cali_rt", {{"header", 0, Bytes, 6}, {"value0", 6, F32}, {"value1", 10, F32}, {"raw_a", 14, Bytes, 4}, {"values2_8", 18, F32, 7}, {"raw_b", 46, Bytes, 4}}},
    {3, 248, Request, kFlight, L, "flight.param_read", {{"hash", 0, U32, 1, "hash of the parameter's name"}}, kWaitCommon},
    {3, 248, Answer, kFlight, L, "flight.param_read", {{"result", 0, U8, 1, "0 found, 2 no such parameter"}, {"hash", 1, U32, 1, "the hash, echoed"}, {"value", 5, U8, 1, "first byte of the value; an IMU calibration step's progress", "%"}}},
    {3, 249, Request, kFlight, L, "flight.param_write", {{"hash", 0, U32, 1, "hash of the parameter's name"}, {"value", 4, Bytes, 0, "the value, little-endian; one byte to an unknown name starts an IMU calibration step"}}, kWaitCommon},
    {3, 249, Answer, kFlight, L, "flight.param_write", {{"result", 0, U8, 1, "0 stored"}, {"hash", 1, U32, 1, "the hash, echoed"}, {"value", 5, Bytes, 0, "the value, echoed"}}},
    {3, 218, Request, kFlight, 10, "flight.identity_write", {{"op", 0, U8, 1, nullptr, nullptr, value::kIdentityOps}, {"year", 1, U16}, {"data", 3, Bytes, 7}}, kWaitCommon},
    {3, 218, Request, kFlight, 1, "flight.identity_read", {{"op", 0, U8, 1, nullptr, nullptr, value::kIdentityOps}}, kWaitCommon},
    {3, 218, Request, kFlight, 23, "flight.distance_limit", {{"op", 0, U8}, {"data", 1, Bytes, 22}}, kWaitCommon},
    {3, 218, Answer, kFlight, 4, "flight.identity", {{"op", 0, U8, 1, "the operation, echoed"}, {"result", 1, U8, 1, "0 done"}, {"len", 2, U8, 1, "length of value (1)"}, {"value", 3, U8, 1, "the identity byte (50 until written)"}}, 0, 1},
    {3, 218, Answer, kFlight, 2, "flight.distance_limit", {{"op", 0, U8}, {"result", 1, U8}}, 0, 1},
    {34, 72, Request, kQuickTest, L, "quicktest.switch", {{"on_off", 0, U8, 1, "1 starts the quick-test service, anything else stops it"}, {"reserved", 1, U8}, {"value", 2, U8}}},
    {0, 81, Request, kFlight, L, "common.get_sn", {{"selector", 0, U8}}, kWaitCommon},
    {0, 81, Answer, kFlight, 32, "common.get_sn", {kResult, {"sn", 3, Bytes, 14, "aircraft serial number text"}}},
    {0, 1, Request, A, L, "common.get_version", {}, kWaitCommon},
    {0, 1, Answer, A, 30, "common.get_version", {kResult, {"version", 22, U32, 1, "firmware version, one byte per part from the lowest (1.2.3.0 is 0x01020300)"}}},
    // ---- vision processor
    {10, 116, Request, kVisionResult, L, "vision.subscribe_oa_result", {{"value", 0, U8, 1, "non-zero: stream vision.oa_result"}}},
    {10, 183, Request, kVisionResult, L, "vision.subscribe_ric_result", {{"value", 0, U8}}},
    {10, 91, Request, kVision, L, "vision.switch_to_pano", {{"value0", 0, U8, 1, "panorama mode (low 7 bits)"}, {"value1", 1, U8}}},
    {10, 62, Request, kVision, L, "vision.pano_control", {{"value", 0, U8, 1, "non-zero starts the panorama, 0 stops it"}}},
    {10, 155, Request, kVision, L, "vision.pano_image_buf", {{"value0", 0, U32}, {"value1", 4, U8}, {"count", 7, U8}, {"records", 8, Bytes, 0}}},
    {10, 32, Request, kVision, L, "vision.qs_set_box", {{"value0", 0, U8}, {"box", 1, F32, 4, "target box in the picture: left, top, width, height; a box off the picture loses the target", "fraction of the picture"}, {"value1", 17, U8}, {"value2", 18, U16}}},
    {10, 41, Request, kVision, L, "vision.qs_enable", {{"value0", 0, U8, 1, "quick-shot mode (low 7 bits)"}, {"value1", 1, U8}, {"value2", 2, U8}}},
    {10, 74, Request, kVision, L, "vision.qs_set_param", {{"p0_8", 0, U8, 9}, {"value", 9, F32}, {"p9", 13, U8}, {"p10", 14, U8}, {"p11", 15, U8}}},
    {10, 148, Request, kVision, L, "vision.qs_set_index", {{"value0", 0, U8}, {"value1", 1, U8}, {"value2", 2, U8}}},
    {10, 116, Request, kVision, L, "vision.lapse_submode", {{"value", 0, U8}}},
    {10, 118, Request, kVision, L, "vision.lapse_point", {{"point0", 0, I32}, {"point1", 4, I32}, {"value", 8, U8}}},
    {10, 120, Request, kVision, L, "vision.lapse_go", {{"value0", 0, U8}, {"value1", 1, U16}, {"value2", 3, U16}, {"value3", 5, U64}, {"value4", 13, U8}, {"value5", 14, U8}}},
    {10, 122, Request, kVision, L, "vision.lapse_recover", {{"value0", 0, U8}, {"value1", 1, U8}}},
    {10, 240, Request, kQs160, L, "vision.qs160_mode", {{"value0", 0, U8}, {"value1", 1, F32}, {"value2", 5, U8}}},
    {10, 241, Request, kQs160, L, "vision.qs160_index", {{"value", 0, U8}}},
    {16, 27, Request, kVision, L, "vision.autotest", {{"start", 0, U8, 1, "1 starts the vision self-test, anything else stops it"}}, kWaitCommon},
    {16, 27, Answer, kVision, L, "vision.autotest", {kResult}},
    {10, 112, Push, A, L, "vision.vio_self_cali", {{"flag", 0, I32, 1, "1 calibrated"}, {"roll", 4, F32, 1, "VIO roll offset", "deg"}, {"pitch", 8, F32, 1, "VIO pitch offset", "deg"}, {"yaw", 12, F32, 1, "VIO yaw offset", "deg"}}},
    {10, 115, Push, A, L, "vision.oa_result", {{"state", 0, U8, 1, "1 valid"}, {"values", 1, U16, 6, "obstacle distances in six directions", "cm"}, {"flags", 13, U8, 1, "sensor flags"}}},
    {10, 77, Push, A, L, "vision.pano_result", {{"code", 0, U8, 1, "0: the panorama completed"}}},
    {10, 84, Push, A, L, "vision.pano_status", {{"mode", 1, U8, 1, "panorama mode"}, {"mission_state", 2, U8, 1, "1 shooting, 2 done"}, {"mission_id", 3, I32, 1, "mission number, one more per mission"}, {"total_pic_cnt", 7, U8, 1, "pictures the panorama takes"}, {"cur_pic_cnt", 8, U8, 1, "pictures taken so far"}, {"camera_progress", 9, U8, 1, "progress", "%"}}},
    {10, 57, Push, A, L, "vision.qs_result", {{"code", 8, U8, 1, "1 flying, 0 completed, 2 and above failed (3 target lost)"}}},
    {10, 149, Push, A, L, "vision.qs_index", {{"count", 0, U8, 1, "legs of the quick shot"}, {"index", 1, U8, 1, "leg under way"}}},
    {10, 150, Push, A, L, "vision.qs_finished", {{"active", 0, U8, 1, "1 when the quick shot starts flying, 0 when it ends"}}},
    {10, 121, Push, A, L, "vision.lapse_result", {{"state", 17, U8, 1, "2 shooting, 5 done"}, {"code", 18, U8}}},
    {10, 90, Push, A, L, "vision.nav_osd", {{"waiting", 4, U8, 1, "0"}, {"pano_mode", 12, U8, 1, "twice the panorama mode plus 1 while a panorama runs, else 0"}, {"qs_mode", 13, U8, 1, "twice the quick-shot mode plus 1 while a quick shot runs, else 0"}}},
    // ---- flight controller and quick-test pushes
    {3, 90, Push, A, L, "flight.motor_state", {{"state", 0, U8, 1, "low nibble 0 stopped, 1 starting, 2 spinning; high nibble the motor count (4)"}, {"speeds", 1, U16, 8, "motor speeds, motors 1 to 4 (others 0)", "rpm"}, {"currents", 17, U16, 8, "motor currents, motors 1 to 4", "cA"}, {"spinning", 33, U8, 1, "1 while the motors turn"}}},
    {3, 91, Push, A, L, "flight.fc_state", {{"phase", 0, U8, 1, "flight phase", nullptr, value::kFlightPhases}, {"control", 1, U8, 1, "1 while an application holds control"}, {"submode", 2, U8, 1, "sub-mode as last set"}, {"height_dm", 3, U16, 1, "height above the take-off point", "dm"}, {"speed_cms", 5, U16, 1, "horizontal speed over the ground", "cm/s"}, {"oa", 7, U8, 1, "1 while obstacle avoidance is on"}, {"flight_state", 8, U8, 1, "the flight phase again", nullptr, value::kFlightPhases}, {"mode", 9, U8, 1, "flight mode as last set"}, {"flytest", 10, U8, 1, "fly-test value of the last heartbeat"}, {"battery", 11, U8, 1, "battery charge", "%"}}},
    {3, 106, Push, A, L, "flight.fc_sensor", {{"height_cm", 0, U16, 1, "height above the take-off point", "cm"}, {"battery", 2, U16, 1, "battery charge", "%"}, {"satellites", 4, U8, 1, "satellites in view"}, {"north", 5, F32, 1, "position north of the take-off point", "m"}, {"east", 9, F32, 1, "position east of the take-off point", "m"}, {"yaw", 13, F32, 1, "heading, clockwise from north, 0 to 360", "deg"}, {"rest", 17, Bytes, 42}}},
    {34, 72, Push, A, L, "quicktest.proc_status", {{"state", 0, U8, 1, "3: the service is running"}}},
    {34, 73, Push, A, L, "quicktest.msg", {{"kind", 0, U8, 1, "1 heartbeat"}, {"state", 1, U8, 1, "1 alive"}, {"err", 2, U8}, {"rest", 3, Bytes, 3}}},
    // ---- camera
    {2, 17, Request, kCamera, L, "camera.query_mode", {}, kWaitCamera},
    {2, 17, Answer, kCamera, L, "camera.query_mode", {kResult, {"mode", 1, U8, 1, "camera mode, as switched", nullptr, value::kCameraModes}}},
    {2, 16, Request, kCamera, L, "camera.switch_mode", {{"mode", 0, U8, 1, "camera mode", nullptr, value::kCameraModes}}, kWaitCamera},
    {0, 14, Request, kCamera, L, "camera.heartbeat", {}},
    {0, 0, Request, kCamera, L, "camera.ping", {{"value", 0, U8}}, kWaitCamera},
    {0, 0, Answer, kCamera, L, "camera.ping", {{"byte0", 0, U8}, {"ack", 1, U8}}, 0, 1},
    {2, 22, Request, kCamera, L, "camera.photo_storage_format", {{"format", 0, U8}}, kWaitCommon},
    {2, 218, Request, kCamera, L, "camera.storage_path", {{"head", 0, Bytes, 6}, {"medium", 6, Bytes, 2}}, kWaitCommon},
    {2, 2, Request, kCamera, L, "camera.take_video", {{"start", 0, U8, 1, "1 starts recording, anything else stops it"}}, kWaitCamera},
    {2, 1, Request, kCamera, L, "camera.take_photo", {{"type", 0, U8, 1, "photo type"}}, kWaitPhoto},
    {2, 146, Request, kCamera, L, "camera.get_path", {}, kWaitCamera},
    {2, 146, Answer, kCamera, 10, "camera.get_path", {kResult, {"path", 1, Bytes, 0, "file name of the last photo, e.g. P0001.JPG"}}},
    {2, 37, Request, kCamera, L, "camera.get_focus_mode", {}, kWaitCamera},
    {2, 37, Answer, kCamera, L, "camera.get_focus_mode", {kResult, {"mode", 1, U8}}},
    {2, 36, Request, kCamera, L, "camera.set_focus_mode", {{"mode", 0, U8}}, kWaitCamera},
    {2, 112, Request, kCamera, L, "camera.get_status", {}, kWaitCamera},
    {2, 112, Answer, kCamera, L, "camera.get_status", {kResult, {"state", 1, U8, 1, "0 idle, 1 busy with a photo, 2 recording"}, {"detail", 5, U8, 1, "photos taken (low byte)"}}},
    {2, 48, Request, kCamera, L, "camera.af_region", {{"region", 0, Bytes, 8}}, kWaitCamera},
    {2, 135, Request, kCamera, L, "camera.curr_focus_len", {}, kWaitCamera},
    {2, 135, Answer, kCamera, 47, "camera.curr_focus_len", {kResult, {"focal", 28, U16, 1, "focal length, 45 mm plus a quarter of the zoom", "0.1 mm"}}},
    {2, 30, Request, kCamera, L, "camera.exposure_mode", {{"first", 0, U8}, {"second", 1, U8}}, kWaitCamera},
    {2, 42, Request, kCamera, L, "camera.iso", {{"iso", 0, U8}}, kWaitCamera},
    {2, 40, Request, kCamera, L, "camera.shutter", {{"first", 0, U8}, {"value", 1, U16}, {"last", 3, U8}}, kWaitCamera},
    {2, 24, Request, kCamera, L, "camera.video_format", {{"format", 0, Bytes, 5}}, kWaitCamera},
    {2, 28, Request, kCamera, L, "camera.video_storage_format", {{"format", 0, U8}}, kWaitCamera},
    {2, 162, Request, kCamera, L, "camera.focus", {{"focus", 0, U16, 1, "focus position, reported in camera.lens_data"}}, kWaitCamera},
    {2, 106, Request, kCamera, L, "camera.photo_format", {{"mode", 0, U8}, {"byte1", 1, U8}, {"type", 2, U8}, {"rest", 3, Bytes, 3}}, kWaitCamera},
    {2, 74, Request, kCamera, L, "camera.timelapse", {{"params", 0, Bytes, 6}}, kWaitCamera},
    {2, 225, Request, kCamera, L, "camera.top_mode", {{"mode", 0, U8}}, kWaitCamera},
    {2, 184, Request, kCamera, L, "camera.zoom", {{"head0", 0, U8}, {"head1", 1, U8}, {"zoom", 2, U16, 1, "zoom position, reported in camera.lens_data"}}, kWaitCamera},
    {2, 184, Answer, kCamera, L, "camera.zoom", {{"byte0", 0, U8}, {"ack", 1, U8}}, 0, 1},
    {2, 16, Push, A, L, "camera.data", {{"camera_type", 31, U8, 1, "camera type (3)"}}},
    {2, 128, Push, A, L, "camera.status_data", {{"status_flags", 0, U8, 1, "bit 3 set while the camera is busy (a photo, a recording)", nullptr, value::kCameraStatusFlags}, {"mode_profile", 57, U8, 1, "camera mode"}, {"core_board_temp", 61, U8, 1, "core board temperature", "degC"}}},
    {2, 135, Push, A, L, "camera.lens_data", {{"lens", 23, U16, 3, "zoom position, focal length (0.1 mm), focus position"}, {"rest", 29, Bytes, 18}}},
    // ---- gimbal
    {4, 68, Request, kGimbal, L, "gimbal.mode_control", {{"mode", 0, U8, 1, "gimbal mode, reported in its pushes"}}, kWaitCommon},
    {4, 10, Request, kGimbal, L, "gimbal.angle_control", {{"angle0", 0, I16, 1, "target pitch", "0.1 deg"}, {"angle1", 2, I16, 1, "target roll", "0.1 deg"}, {"angle2", 4, I16, 1, "target yaw", "0.1 deg"}, {"constant", 6, U16}, {"flags", 8, U8, 1, "bit 7: drive to the angles; clear: release", nullptr, value::kGimbalFlags}, {"reserved", 9, U8}, {"value", 10, U16}}, kWaitSecond},
    {4, 12, Request, kGimbal, L, "gimbal.rate_control", {{"rate0", 0, I16, 1, "pitch rate", "0.1 deg/s"}, {"rate1", 2, I16, 1, "roll rate", "0.1 deg/s"}, {"rate2", 4, I16, 1, "yaw rate", "0.1 deg/s"}, {"flags", 6, U8, 1, "0x20 alone: turn the yaw back to 0", nullptr, value::kGimbalFlags}}},
    {4, 104, Request, kGimbal, L, "gimbal.query_joint_angle", {{"query", 0, Bytes, 3}}, kWaitCommon},
    {4, 104, Answer, kGimbal, L, "gimbal.query_joint_angle", {kResult, {"first", 3, I32, 1, "pitch", "0.1 deg"}, {"third", 7, I32, 1, "yaw", "0.1 deg"}, {"second", 11, I32, 1, "roll", "0.1 deg"}}},
    {4, 61, Request, kGimbal, L, "gimbal.waterwave_trigger", {{"action", 0, U8, 1, "starts a water-wave detection (reported in gimbal.wv_result)"}}, kWaitShort},
    {4, 30, Request, kGimbal, L, "gimbal.subscribe_info", {{"byte0", 0, U8}, {"byte1", 1, U8}, {"byte2", 2, U8}, {"byte3", 3, U8}}, kWaitCommon},
    {4, 1, Push, A, L, "gimbal.ctrl_info", {{"target", 0, I16, 3, "target pitch, roll, yaw", "0.1 deg"}, {"mode", 6, U8, 1, "gimbal mode"}, {"flags", 7, U8, 1, "bit 7 while driving to the target", nullptr, value::kGimbalFlags}}},
    {4, 5, Push, A, L, "gimbal.info", {{"joint", 0, I16, 3, "joint angles pitch, roll, yaw", "0.1 deg"}, {"mode", 6, U16, 1, "gimbal mode"}, {"time_ms", 8, U32, 1, "time on the aircraft's clock", "ms"}, {"status", 12, U32, 1, "1 working"}}},
    {4, 63, Push, A, L, "gimbal.wv_result", {{"scores", 0, U16, 3, "water-wave scores"}, {"waves", 6, U8, 1, "1 waves seen"}}},
    // ---- remote controller
    {6, 80, Push, A, L, "rc.buttons", {{"buttons", 0, U16}, {"mode_switch", 2, U16, 1, "flight-mode switch position"}, {"byte4", 4, U8}, {"byte5", 5, U8}}},
    {10, 6, Push, A, L, "rc.sticks", {{"sticks", 0, U16, 4, "stick positions, 1024 centred", "counts"}}},
    // ---- Wi-Fi
    {7, 43, Request, kWifiChannel, L, "wifi.set_channel", {{"reserved", 0, U8}, {"channel", 1, U16, 1, "Wi-Fi channel"}}, kWaitHalfSecond},
    {0, 0, Request, kWifi, L, "wifi.ping", {{"value", 0, U8}}, kWaitCamera},
    {0, 0, Answer, kWifi, L, "wifi.ping", {{"byte0", 0, U8}, {"reply", 1, U8}}, 0, 1},
    {0, 1, Request, kWifi, L, "wifi.version", {}, kWaitCamera},
    {0, 1, Answer, kWifi, 30, "wifi.version", {{"text", 0, Bytes, 0, "version as text, e.g. \"sdr 2.4.1\""}}},
    {7, 65, Request, kWifiPower, L, "wifi.open", {{"value", 0, U8}}, kWaitSecond},
    {7, 66, Request, kWifiPower, L, "wifi.close", {{"value", 0, U8}}, kWaitSecond},
    // ---- battery
    {13, 2, Request, kBattery, L, "battery.dynamic_info", {{"request", 0, Bytes, 4}}, kWaitCamera},
    {13, 2, Answer, kBattery, 56, "battery.dynamic_info", {kResult, {"voltage_mv", 1, U16, 1, "pack voltage", "mV"}, {"current_ma", 3, I16, 1, "current, negative while discharging", "mA"}, {"charge", 5, U8, 1, "charge", "%"}, {"temperature", 6, U8, 1, "temperature", "degC"}, {"rest", 7, Bytes, 0}}},
    {13, 3, Request, kBattery, L, "battery.cell_voltage", {{"request", 0, Bytes, 4}}, kWaitCamera},
    {13, 3, Answer, kBattery, 43, "battery.cell_voltage", {kResult, {"cells_mv", 1, U16, 0, "cell voltages, cells 1 to 4", "mV"}}},
    {13, 4, Request, kBattery, L, "battery.sn", {{"request", 0, Bytes, 9}}, kWaitCamera},
    {13, 4, Answer, kBattery, 32, "battery.sn", {kResult, {"len", 2, U8, 1, "length of the serial number"}, {"sn", 3, Bytes, 0, "serial number text"}}},
};
// clang-format on
}  // namespace detail

inline constexpr std::span<const Message> kMessages{detail::kMessages};

// An answer without a row of its own that is one byte long is the module's result byte.
inline constexpr Message kResultOnly{0, 0, Dir::Answer, kAnyReceiver, kAnyLen, "result", {detail::kResult}};

// The best row for a message, or nullptr. Exact receiver beats kAnyReceiver, exact length beats
// kAnyLen.
constexpr const Message *find(uint8_t set, uint8_t id, Dir dir, uint16_t receiver = kAnyReceiver,
                              uint32_t len = kAnyLen) {
    const Message *best = nullptr;
    int best_score = -1;
    for (const Message &m : kMessages) {
        if (m.set != set || m.id != id || m.dir != dir) {
            continue;
        }
        const bool rx_exact = m.receiver != kAnyReceiver && m.receiver == receiver;
        const bool len_exact = m.len != kAnyLen && m.len == len;
        if ((m.receiver != kAnyReceiver && !rx_exact && receiver != kAnyReceiver) ||
            (m.len != kAnyLen && !len_exact && len != kAnyLen)) {
            continue;
        }
        const int score = (rx_exact ? 2 : 0) + (len_exact ? 1 : 0);
        if (score > best_score) {
            best = &m;
            best_score = score;
        }
    }
    return best;
}

// A message's row by name and direction (the models use this to build their pushes), or nullptr.
constexpr const Message *find(std::string_view name, Dir dir) {
    for (const Message &m : kMessages) {
        if (m.dir == dir && name == m.name) {
            return &m;
        }
    }
    return nullptr;
}

// A field of a row by name, or nullptr.
constexpr const Field *field(const Message &m, std::string_view name) {
    for (const Field &f : m.field_list()) {
        if (name == f.name) {
            return &f;
        }
    }
    return nullptr;
}

constexpr size_t type_size(Type t) {
    switch (t) {
        case Type::U8:
        case Type::Bytes:
            return 1;
        case Type::U16:
        case Type::I16:
            return 2;
        case Type::U32:
        case Type::I32:
        case Type::F32:
            return 4;
        case Type::U64:
        case Type::F64:
            return 8;
    }
    return 1;
}

// The number of elements of `f` present in a message of `len` bytes.
constexpr size_t elements(const Field &f, size_t len) {
    const size_t size = type_size(f.type);
    if (f.offset >= len) {
        return 0;
    }
    const size_t fit = (len - f.offset) / size;
    return f.count == 0 ? fit : (fit < f.count ? fit : f.count);
}

// ---- Compile-time lookups for the library: a name that is not in the table does not build ----

// Never defined: a lookup that reaches it is not a constant expression, so the build stops there.
[[noreturn]] void no_such_message_or_field();

// A row by name and direction. Looked up by index, never by comparing a pointer with null: g++'s
// null-pointer sanitizer makes such a comparison non-constant.
consteval const Message &named(std::string_view name, Dir dir) {
    for (const Message &m : kMessages) {
        if (m.dir == dir && name == m.name) {
            return m;
        }
    }
    no_such_message_or_field();
}

// A push's row by name.
consteval const Message &push(std::string_view name) { return named(name, Dir::Push); }

// The index of a row in the table, by name and direction.
constexpr size_t index_of(std::string_view name, Dir dir) {
    for (size_t i = 0; i < kMessages.size(); ++i) {
        if (kMessages[i].dir == dir && name == kMessages[i].name) {
            return i;
        }
    }
    no_such_message_or_field();
}

// The row of the answer to a request: the answer of the same name, else the first answer on the
// request's route, else a lone result byte.
constexpr const Message &answer_to(const Message &req) {
    for (const Message &m : kMessages) {
        if (m.dir == Dir::Answer && std::string_view(m.name) == req.name) {
            return m;
        }
    }
    for (const Message &m : kMessages) {
        if (m.dir == Dir::Answer && m.set == req.set && m.id == req.id &&
            (m.receiver == req.receiver || m.receiver == kAnyReceiver)) {
            return m;
        }
    }
    return kResultOnly;
}

// A field of `m` by name.
constexpr const Field &field_named(const Message &m, std::string_view name) {
    for (const Field &f : m.field_list()) {
        if (name == f.name) {
            return f;
        }
    }
    no_such_message_or_field();
}

// The offset of a field of `m` by name.
consteval size_t offset_of(const Message &m, std::string_view name) {
    for (const Field &f : m.field_list()) {
        if (name == f.name) {
            return f.offset;
        }
    }
    no_such_message_or_field();
}

// One past the last byte the fields of `m` describe (a repeated-to-the-end field counts one element).
constexpr size_t extent(const Message &m) {
    size_t end = 0;
    for (const Field &f : m.field_list()) {
        const size_t e = f.offset + type_size(f.type) * (f.count == 0 ? 1 : f.count);
        end = e > end ? e : end;
    }
    return end;
}

// Where the part of `m` that runs to its end starts (extent(m) when nothing does).
constexpr size_t fixed_extent(const Message &m) {
    for (const Field &f : m.field_list()) {
        if (f.count == 0) {
            return f.offset;
        }
    }
    return extent(m);
}

// How long an answer to a command is: the length its row is for, else up to its last field.
constexpr size_t answer_len(const Message &m) { return m.len != kAnyLen ? m.len : extent(m); }

// True when every field of `m` has a fixed count: the message is always extent(m) bytes long.
constexpr bool fixed_length(const Message &m) {
    for (const Field &f : m.field_list()) {
        if (f.count == 0) {
            return false;
        }
    }
    return true;
}

}  // namespace cw::link
