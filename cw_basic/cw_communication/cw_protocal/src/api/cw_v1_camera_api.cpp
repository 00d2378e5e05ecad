// Main camera commands on the v1 link: work mode, photo and video capture, formats and storage,
// focus, exposure, ISO, shutter, time-lapse, zoom, status and file path queries, ping and
// heartbeat. Every failure leaves a line in the usrlog channel (one command logs leveled).
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <span>

#include "cirrow/cw_camera.h"
#include "cw_args.h"
#include "cw_bytes.h"
#include "cw_command.h"
#include "cw_log.h"

namespace {

constexpr auto kQueryMode = cw::command<"camera.query_mode">(cw::policy::any_failure_refused);
constexpr auto kSwitchMode = cw::command<"camera.switch_mode">(cw::policy::any_failure_refused);
constexpr auto kHeartbeat = cw::command<"camera.heartbeat">(cw::policy::send_only);
constexpr auto kPing = cw::command<"camera.ping">(cw::policy::send_only);
constexpr auto kPhotoStorageFormat = cw::command<"camera.photo_storage_format">(cw::policy::any_failure_refused);
constexpr auto kStoragePath = cw::command<"camera.storage_path">(cw::policy::any_failure_refused);
constexpr auto kTakeVideo = cw::command<"camera.take_video">(cw::policy::any_failure_refused);
constexpr auto kTakePhoto = cw::command<"camera.take_photo">(cw::policy::any_failure_refused);
constexpr auto kGetPath = cw::command<"camera.get_path">(cw::policy::answer_to_caller);
constexpr auto kGetFocusMode = cw::command<"camera.get_focus_mode">(cw::policy::logged_only);
constexpr auto kSetFocusMode = cw::command<"camera.set_focus_mode">(cw::policy::any_failure_refused);
constexpr auto kGetStatus = cw::command<"camera.get_status">(cw::policy::any_failure_refused);
constexpr auto kAfRegion = cw::command<"camera.af_region">(cw::policy::any_failure_refused);
constexpr auto kCurrFocusLen = cw::command<"camera.curr_focus_len">(cw::policy::any_failure_refused);
constexpr auto kExposureMode = cw::command<"camera.exposure_mode">(cw::policy::any_failure_refused);
constexpr auto kIso = cw::command<"camera.iso">(cw::policy::any_failure_refused);
constexpr auto kShutter = cw::command<"camera.shutter">(cw::policy::logged_only);
constexpr auto kVideoFormat = cw::command<"camera.video_format">(cw::policy::any_failure_refused);
constexpr auto kVideoStorageFormat = cw::command<"camera.video_storage_format">(cw::policy::any_failure_refused);
constexpr auto kCameraFocus = cw::command<"camera.focus">(cw::policy::logged_only);
constexpr auto kPhotoFormat = cw::command<"camera.photo_format">(cw::policy::logged_only);
constexpr auto kTimelapse = cw::command<"camera.timelapse">(cw::policy::any_failure_refused);
constexpr auto kTopMode = cw::command<"camera.top_mode">(cw::policy::ack_byte);
constexpr auto kZoom = cw::command<"camera.zoom">(cw::policy::send_only);

// Storage path requests: a fixed head, then the medium.
using Medium = decltype(kStoragePath)::Array<"medium">;
constexpr decltype(kStoragePath)::Array<"head"> kStoragePathHead = {0x01, 0x00, 0x00, 0x00, 0x02, 0x00};
constexpr Medium kMediumSdCard = {0x00, 0x01};
constexpr Medium kMediumEmcc = {0x01, 0x00};
// The records handed over as they are: as long as their rows; the caller's path buffer as long as
// the path's answer.
constexpr size_t kVideoFormatBytes = kVideoFormat.kRequestLen;
constexpr size_t kPhotoFormatBytes = kPhotoFormat.kRequestLen;
constexpr size_t kTimelapseBytes = kTimelapse.kRequestLen;
constexpr size_t kAfRegionBytes = kAfRegion.kRequestLen;
constexpr size_t kPathBytes = kGetPath.kAnswerLen;
constexpr uint8_t kPhotoFormatMaxMode = 13;
constexpr uint8_t kPhotoFormatMaxType = 2;
constexpr uint8_t kPhotoMaxType = 9;
constexpr uint16_t kShutterFlagBit = 0x8000;
constexpr uint8_t kZoomHead0 = 1;
constexpr uint8_t kZoomHead1 = 0x4A;
constexpr uint8_t kNoAnswer = 0xFF;  // what the ping and zoom answers hold when nothing came back

bool same_text(const char *text, const char *expected) { return text != nullptr && std::strcmp(text, expected) == 0; }

}  // namespace

// ---- Work mode ----

extern "C" int32_t cw_v1_camera_api_query_camera_mode(uint8_t *mode) {
    CW_REQUIRE(mode);
    return cw::perform(
        kQueryMode, {},
        CW_IF_FAILED(CW_USRLOG_AT(77, "fetch camera mode send fail ret: %d, ack: %d\n", v.ret, v.result_byte)),
        CW_IF_DONE(*mode = kQueryMode.get<"mode">(ans)));
}

extern "C" int32_t cw_v1_camera_api_switch_mode(const char *mode) {
    uint8_t current = 0;
    const int32_t rc = cw_v1_camera_api_query_camera_mode(&current);
    if (rc != 0) {
        return rc;
    }
    const uint8_t target = same_text(mode, "VIDEO") ? cw::link::value::kCameraVideo : cw::link::value::kCameraPhoto;
    if (current == target) {
        return 0;
    }
    return cw::perform(kSwitchMode, kSwitchMode.encode(target),
                       CW_IF_FAILED(CW_USRLOG_AT(97, "[cirrow] switch camera mode send fail ret: %d, ack: %d\n", v.ret,
                                                 v.result_byte)));
}

extern "C" int32_t cw_v1_camera_set_top_mode(uint8_t mode) {
    return cw::perform(
        kTopMode, kTopMode.encode(mode),
        CW_IF_UNSENT(CW_USRLOG_AT(107, "[cirrow] set camera top mode fail when switch function %d\n", v.ret)),
        CW_IF_REFUSED(
            CW_USRLOG_AT(110, "[cirrow] set camera top mode ack fail when switch function %d\n", v.result_byte)));
}

// ---- Link upkeep ----

extern "C" int32_t cw_v1_camera_api_send_heartbeat(void) {
    return cw::post(kHeartbeat, {}, CW_IF_FAILED(CW_USRLOG_AT(123, "send heartbeat to camera fail %d\n", v.ret)));
}

extern "C" int32_t cw_v1_camera_api_ping(uint8_t value) {
    return cw::perform_filled<kNoAnswer>(
        kPing, kPing.encode(value),
        CW_IF_FAILED(CW_USRLOG_AT(132, "cw ping camera send v1 fail result = %d %d\r\n", v.ret, ans[kPing.kResultAt])),
        CW_IF_DONE(CW_USRLOG_AT(134, "cw ping camera success, ack:%d\n", ans[kPing.kResultAt])));
}

// ---- Capture ----

extern "C" int32_t cw_v1_camera_api_take_photo(uint8_t type) {
    if (type > kPhotoMaxType) {
        CW_USRLOG_AT(143, "[cirrow] photo type error: %d\n", type);
        return CW_ERR_PARAM;
    }
    return cw::perform(
        kTakePhoto, kTakePhoto.encode(type),
        CW_IF_FAILED(CW_USRLOG_AT(149, "[cirrow] take photo fail ret: %d ack: %d\n", v.ret, v.result_byte)));
}

extern "C" int32_t cw_v1_camera_api_take_video(const char *action) {
    uint8_t start = 0;
    if (same_text(action, "START")) {
        start = 1;
    } else if (!same_text(action, "STOP")) {
        // Neither starting nor stopping: the camera is left alone.
        CW_USRLOG_AT(160, "[cirrow] take video action must be START or STOP: %s\n", action ? action : "(null)");
        return CW_ERR_PARAM;
    }
    return cw::perform(kTakeVideo, kTakeVideo.encode(start),
                       CW_IF_FAILED(CW_USRLOG_AT(166, "[cirrow] send take video %s fail ret: %d ack = %d\n", action,
                                                 v.ret, v.result_byte)));
}

extern "C" int32_t cw_v1_camera_api_set_timelapse(const uint8_t *params) {
    CW_REQUIRE(params);
    return cw::perform(
        kTimelapse, {params, kTimelapseBytes},
        CW_IF_FAILED(CW_USRLOG_AT(176, "[cirrow] set timelapse fail ret: %d ack: %d\n", v.ret, v.result_byte)));
}

extern "C" int32_t cw_v1_camera_control_zoom(int32_t a, int32_t b, uint16_t zoom) {
    (void)a;
    (void)b;
    const auto payload = kZoom.encode(kZoomHead0, kZoomHead1, zoom);
    return cw::perform_filled<kNoAnswer>(
        kZoom, payload,
        CW_IF_FAILED(
            CW_USRLOG_AT(188, "cw ctrl camera zoom send v1 fail result = %d %d\r\n", v.ret, ans[kZoom.kResultAt])),
        CW_IF_DONE(CW_USRLOG_AT(190, "cw ctrl camera zoom success, ack:%d\n", ans[kZoom.kResultAt])));
}

// ---- Formats and storage ----

extern "C" int32_t cw_v1_camera_api_set_photo_storage_format(uint8_t format) {
    return cw::perform(
        kPhotoStorageFormat, kPhotoStorageFormat.encode(format),
        CW_IF_FAILED(CW_LOG_AT(201, cw::log::kInfo, "[cirrow] set photo storage format send fail ret: %d, ack: %d\n",
                               v.ret, v.result_byte)));
}

extern "C" int32_t cw_v1_camera_api_set_storage_path(const char *name) {
    // The request: the fixed head, then the medium named.
    Medium medium{};
    if (same_text(name, "SDCard")) {
        medium = kMediumSdCard;
    } else if (same_text(name, "EMCC")) {
        medium = kMediumEmcc;
    } else {
        CW_USRLOG_AT(214, "[cirrow] path name must be SDCard or EMCC!\n");
        return CW_ERR_ACK;
    }
    return cw::perform(kStoragePath, kStoragePath.encode(kStoragePathHead, medium),
                       CW_IF_FAILED(CW_USRLOG_AT(220, "[cirrow] set camera storage path fail result = %d ack = %d\n",
                                                 v.ret, v.result_byte)));
}

extern "C" int32_t cw_v1_camera_api_set_video_format(const uint8_t *format) {
    CW_REQUIRE(format);
    return cw::perform(
        kVideoFormat, {format, kVideoFormatBytes},
        CW_IF_FAILED(CW_USRLOG_AT(230, "[cirrow] set video format fail ret = %d, ack = %d\n", v.ret, v.result_byte)));
}

extern "C" int32_t cw_v1_camera_api_set_video_storage_format(uint8_t format) {
    return cw::perform(kVideoStorageFormat, kVideoStorageFormat.encode(format),
                       CW_IF_FAILED(CW_USRLOG_AT(239, "[cirrow] set video storage format fail ret = %d, ack = %d\n",
                                                 v.ret, v.result_byte)));
}

extern "C" int32_t cw_v1_camera_api_set_photo_format(const uint8_t *format) {
    CW_REQUIRE(format);
    if (format[0] > kPhotoFormatMaxMode || format[2] > kPhotoFormatMaxType) {
        CW_USRLOG_AT(247, "[cirrow] param error: mode %d, type %d\n", format[0], format[2]);
        return CW_ERR_PARAM;
    }
    return cw::perform(
        kPhotoFormat, {format, kPhotoFormatBytes},
        CW_IF_FAILED(CW_USRLOG_AT(253, "[cirrow] set format fail ret: %d ack: %d\n", v.ret, v.result_byte)));
}

// ---- Focus and exposure ----

extern "C" int32_t cw_v1_camera_api_get_focus_mode(uint8_t *mode) {
    CW_REQUIRE(mode);
    return cw::perform(
        kGetFocusMode, {},
        CW_IF_FAILED(CW_USRLOG_AT(265, "[cirrow] get focus mode fail %d, ack %d\n", v.ret, v.result_byte)),
        CW_IF_DONE(*mode = kQueryMode.get<"mode">(ans)));
}

extern "C" int32_t cw_v1_camera_api_set_focus_mode(uint8_t mode) {
    return cw::perform(
        kSetFocusMode, kSetFocusMode.encode(mode),
        CW_IF_FAILED(CW_USRLOG_AT(276, "[cirrow] get file path fail ret: %d ack: %d\n", v.ret, v.result_byte)));
}

extern "C" int32_t cw_v1_camera_set_af_region(const uint8_t *region) {
    CW_REQUIRE(region);
    return cw::perform(kAfRegion, {region, kAfRegionBytes},
                       CW_IF_FAILED(CW_USRLOG_AT(286, "get camera file path fail %d\n", v.ret)));
}

extern "C" int32_t cw_v1_camera_get_curr_focus_len(uint16_t *focal) {
    CW_REQUIRE(focal);
    return cw::perform(kCurrFocusLen, {}, CW_IF_FAILED(CW_USRLOG_AT(296, "get camera file path fail %d\n", v.ret)),
                       CW_IF_DONE(*focal = kCurrFocusLen.get<"focal">(ans)));
}

extern "C" int32_t cw_v1_camera_api_set_camera_focus(uint16_t focus) {
    return cw::perform(
        kCameraFocus, kCameraFocus.encode(focus),
        CW_IF_FAILED(CW_USRLOG_AT(307, "[cirrow] set focus fail ret:%d ack: %d\n", v.ret, v.result_byte)));
}

extern "C" int32_t cw_v1_camera_api_switch_exposure_mode(uint8_t first, uint8_t second) {
    return cw::perform(kExposureMode, kExposureMode.encode(first, second),
                       CW_IF_FAILED(CW_USRLOG_AT(316, "switch exposure mode fail %u, ack=%d\n",
                                                 static_cast<uint32_t>(v.ret), v.result_byte)));
}

extern "C" int32_t cw_v1_camera_api_set_iso(uint8_t iso) {
    return cw::perform(kIso, kIso.encode(iso),
                       CW_IF_FAILED(CW_USRLOG_AT(325, "set iso fail  result = %d ack = %d\n", v.ret, v.result_byte)));
}

extern "C" int32_t cw_v1_camera_api_set_shutter(uint8_t first, int32_t flag, uint16_t value, uint8_t last) {
    const uint16_t sent = flag != 0 ? static_cast<uint16_t>(value | kShutterFlagBit) : value;
    return cw::perform(
        kShutter, kShutter.encode(first, sent, last),
        CW_IF_FAILED(CW_USRLOG_AT(335, "switch exposure mode fail result = %d ack = %d\n", v.ret, v.result_byte)));
}

// ---- Queries ----

extern "C" int32_t cw_v1_camera_api_get_status(CameraStatusInfo *status) {
    CW_REQUIRE(status);
    return cw::perform(
        kGetStatus, {},
        CW_IF_FAILED(CW_USRLOG_AT(347, "[cirrow] get camera state fail ret: %d ack: %d\n", v.ret, v.result_byte)),
        CW_IF_DONE(status->state = kGetStatus.get<"state">(ans); status->detail = kGetStatus.get<"detail">(ans)));
}

extern "C" int32_t cw_v1_camera_api_get_path(uint8_t *answer) {
    CW_REQUIRE(answer);
    // The camera's answer goes straight into the caller's buffer, judged by the caller.
    return cw::perform_into(kGetPath, {}, {answer, kPathBytes},
                            CW_IF_FAILED(CW_USRLOG_AT(360, "get camera file path fail %d\n", v.ret)));
}
