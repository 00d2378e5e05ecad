// Where the modules' answers and pushes put their fields: every offset and length the models use,
// in one place, named as the link's message table names the messages (module.what), so that the
// models can later read them from that table instead.
#pragma once

#include <cstdint>

namespace sim::layout {

// Receivers of the modules on the link.
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

// A pushed message: its set/id and the length the module sends.
struct Push {
    uint8_t set;
    uint8_t id;
    uint16_t len;
    const char *name;
};

// ---- every module: common queries (cmd_set 0)
inline constexpr uint8_t kPingId = 0;
inline constexpr uint8_t kVersionId = 1;
inline constexpr uint32_t kVersionAt = 22;  // u32, most significant byte is the major number
inline constexpr uint32_t kSnAt = 3;        // common.get_sn: 14 characters
inline constexpr uint32_t kSnLen = 14;

// ---- flight controller
inline constexpr Push kMotorState{3, 90, 34,
                                  "flight.motor_state"};       // 0: state (low) | motors (high); 1..16, 17..32: u16[8]
inline constexpr Push kFcState{3, 91, 12, "flight.fc_state"};  // 0 flight state, 1 control, 2 sub-mode, 3 u16 height
                                                               // dm, 5 u16 speed cm/s, 7 oa, 8 flight state
inline constexpr Push kFcSensor{
    3, 106, 59, "flight.fc_sensor"};  // opaque to the library: 0 u16 height cm, 2 u16 battery %, 4 u8 satellites
inline constexpr uint32_t kParamValueAt = 5;  // flight.param_read / param_write: value after result + hash
inline constexpr uint8_t kImuCaliHeader[6] = {0x0A, 0x00, 0x52, 0x29, 0x2C, 0x00};  // flight.imu_cali_rt
inline constexpr uint8_t kIdentityWrite = 7;  // flight.identity_write: op byte; 8 reads it back
inline constexpr uint8_t kIdentityRead = 8;
inline constexpr uint32_t kDistanceLimitLen = 23;  // flight.distance_limit
inline constexpr uint8_t kTakeOff = 1;             // flight.function_control
inline constexpr uint8_t kLand = 6;
inline constexpr uint8_t kTestLand = 31;
inline constexpr Push kQtProc{34, 72, 1, "quicktest.proc_status"};
inline constexpr Push kQtMsg{34, 73, 6, "quicktest.msg"};

// ---- vision processor
inline constexpr Push kPanoStatus{
    10, 84, 10, "vision.pano_status"};  // 1 mode, 2 mission_state, 3 u32 id, 7 total, 8 current, 9 camera progress
inline constexpr Push kPanoResult{10, 77, 1, "vision.pano_result"};  // 0 result code
inline constexpr Push kNavOsd{10, 90, 14,
                              "vision.nav_osd"};  // 4 waiting, 12 pano mode, 13 qs mode (submode << 1 | valid)
inline constexpr Push kQsResult{10, 57, 9, "vision.qs_result"};          // 8 result code: 0, 1 fine, 2 and above failed
inline constexpr Push kQsIndex{10, 149, 2, "vision.qs_index"};           // 0 target count, 1 target index
inline constexpr Push kQsFinished{10, 150, 1, "vision.qs_finished"};     // 0 active flag
inline constexpr Push kLapseResult{10, 121, 19, "vision.lapse_result"};  // 17 lapse state, 18 result code
inline constexpr Push kVio{10, 112, 16, "vision.vio_self_cali"};         // 0 i32 flag, 4/8/12 f32 roll, pitch, yaw
inline constexpr Push kOa{10, 115, 14, "vision.oa_result"};              // 0 state, 1..12 u16[6] distances cm, 13 flags
inline constexpr uint32_t kBoxAt = 1;                                    // vision.qs_set_box: four f32 from byte 1
inline constexpr uint8_t kLapseShooting = 2;                             // vision.lapse_result states
inline constexpr uint8_t kLapseObstacle = 3;
inline constexpr uint8_t kLapseDone = 5;

// ---- camera
inline constexpr Push kCameraData{2, 16, 32, "camera.data"};  // 31 camera type
inline constexpr Push kCameraStatus{
    2, 128, 62, "camera.status_data"};  // 0 flags (0x08 in bits 3..5: busy), 57 mode, 61 temperature
inline constexpr Push kCameraLens{2, 135, 47,
                                  "camera.lens_data"};  // 23, 25, 27 u16 lens values; 28 u16 focal length (answer)
inline constexpr uint32_t kFocalAt = 28;
inline constexpr uint32_t kStatusDetailAt = 5;  // camera.get_status: 1 state, 5 detail
inline constexpr uint8_t kCameraBusy = 0x08;

// ---- gimbal
inline constexpr Push kGimbalCtrl{4, 1, 8, "gimbal.ctrl_info"};  // 0/2/4 u16 target angles, 6 mode, 7 flags
inline constexpr Push kGimbalInfo{4, 5, 16,
                                  "gimbal.info"};  // 0/2/4 u16 joint angles, 6 u16 mode, 8 u32 time ms, 12 u32 status
inline constexpr Push kGimbalWv{4, 63, 7, "gimbal.wv_result"};  // 0/2/4 u16 scores, 6 u8 verdict
inline constexpr uint32_t kJointAt = 3;                         // gimbal.query_joint_angle: i32 first, third, second
inline constexpr uint8_t kAngleFlagsAt = 8;                     // gimbal.angle_control flags byte
inline constexpr uint8_t kRateFlagsAt = 6;                      // gimbal.rate_control flags byte
inline constexpr uint8_t kFlagsDrive = 0x80;                    // bit 7: angle or rate drive
inline constexpr uint8_t kFlagsResetYaw = 0x20;                 // bit 5 alone: reset yaw

// ---- remote controller (push only)
inline constexpr Push kRcButtons{6, 80, 6, "rc.buttons"};
inline constexpr Push kRcSticks{10, 6, 8, "rc.sticks"};

// ---- battery
inline constexpr uint32_t kBatteryInfoLen = 56;
inline constexpr uint32_t kBatterySnLenAt = 2;

}  // namespace sim::layout
