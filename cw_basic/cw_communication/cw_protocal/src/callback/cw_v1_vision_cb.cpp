// Push handlers of the vision processor (command set 10): obstacle avoidance, VIO
// self-calibration, and the progress and results of the panorama, quick-shot and lapse-photo
// missions. Each decodes its message at fixed offsets and advances the vision cache through its
// accessors; the mission status words are read back only where a handler advances them.
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>

#include "cirrow/cw_vision.h"
#include "cw_bytes.h"
#include "cw_handlers.h"
#include "cw_log.h"
#include "cw_throttle.h"

namespace {

constexpr uint8_t kVisionSet = 10;

// Frequent lines are written on the first message and then on one message in 49.
constexpr int32_t kLogPeriod = 50;
cw::Throttle g_pano_status_log;
cw::Throttle g_pano_result_log;
cw::Throttle g_nav_osd_log;
// The panorama failure code last logged (0 after a success): a run of one code logs once.
std::atomic<uint8_t> g_pano_last_fail_code{0};

constexpr int32_t kPanoSuccess = 1;
constexpr int32_t kPanoFailure = -1;

constexpr uint8_t kQsFailureFrom = 2;  // quick-shot result codes 0 and 1 are no failure
constexpr int32_t kQsIdle = 0;
constexpr int32_t kQsUnderWay = 1;
constexpr int32_t kQsFinished = 2;
constexpr int32_t kQsFailed = 1;
constexpr uint8_t kQsIndexLogTargets = 255;

constexpr uint8_t kLapseNormal = 0;
constexpr uint8_t kLapseNoConnection = 2;
constexpr int32_t kLapseIdle = 0;
constexpr int32_t kLapseInterrupted = -1;
constexpr int32_t kLapseResumed = 1;
// Lapse states as the vision processor reports them.
constexpr uint8_t kLapseStateObstacle = 3;
constexpr bool lapse_state_stopped(uint8_t state) { return state == 2 || state == 4; }
constexpr bool lapse_state_going(uint8_t state) { return state == 0 || state == 5; }

// Lapse result codes that are warnings, not failures.
constexpr bool lapse_warning(uint8_t code) {
    switch (code) {
        case 9:
        case 10:
        case 11:
        case 25:
        case 29:
        case 30:
        case 31:
        case 32:
        case 33:
        case 36:
            return true;
        default:
            return false;
    }
}

// The OSD mode bytes: bit 0 marks the submode in bits 1..7 as valid.
constexpr bool submode_valid(uint8_t mode) { return (mode & 1u) != 0; }
constexpr uint8_t submode_of(uint8_t mode) { return static_cast<uint8_t>(mode >> 1); }

int32_t cw_v1_vision_cb_oa_result(const uint8_t *payload) {
    OaResult r{};
    r.oa_state = payload[0];
    for (size_t i = 0; i < 6; ++i) {
        r.oa_value[i] = cw::le::get<uint16_t>(payload, 1 + 2 * i);
    }
    r.oa_flags.byte = payload[13];
    cw_vision_update_oa_result(&r);
    return 0;
}

int32_t cw_v1_vision_cb_vio_self_cali(const uint8_t *payload) {
    VioCaliState s{};
    s.flag = cw::le::get<int32_t>(payload, 0);
    s.roll = cw::le::get<float>(payload, 4);
    s.pitch = cw::le::get<float>(payload, 8);
    s.yaw = cw::le::get<float>(payload, 12);
    std::printf("vio result is (flag, roll, pitch, yaw) ::(%d, %f, %f, %f)\n", s.flag, static_cast<double>(s.roll),
                static_cast<double>(s.pitch), static_cast<double>(s.yaw));
    VioCaliState last;
    cw_peception_get_vio_cali_state(&last);
    s.result_count = last.result_count + 1;
    cw_pec_update_vio_cali_state(&s);
    return 0;
}

int32_t cw_v1_vision_cb_nav_pano_status(const uint8_t *payload) {
    if (g_pano_status_log.first_then_every(kLogPeriod)) {
        CW_USRLOG("pano mode:%d, mission_state:%d, mission_id:%d\n", payload[1], payload[2],
                  cw::le::get<int32_t>(payload, 3));
        CW_USRLOG("total_pic_cnt:%d, cur_pic_cnt:%d, camera_progress:%d\n", payload[7], payload[8], payload[9]);
    }
    return 0;
}

int32_t cw_v1_vision_cb_get_pano_result(const uint8_t *payload) {
    const uint8_t code = payload[0];
    int32_t status = kPanoSuccess;
    if (code == 0) {
        if (g_pano_result_log.first_then_every(kLogPeriod)) {
            CW_USRLOG("Pano Photo return Success : %d\n", code);
        }
        g_pano_last_fail_code.store(0, std::memory_order_relaxed);
    } else {
        if (g_pano_last_fail_code.exchange(code, std::memory_order_relaxed) != code) {
            CW_USRLOG("Pano Photo return Fail : %d\n", code);
        }
        status = kPanoFailure;
    }
    cw_set_nav_pano_status(&status);
    return 0;
}

int32_t cw_v1_vision_cb_quick_shot_result(const uint8_t *payload) {
    const uint8_t code = payload[8];
    if (code >= kQsFailureFrom) {
        CW_USRLOG("Quick Shot return Fail : %d\n", code);
        const int32_t err = kQsFailed;
        cw_set_nav_qs_err(&err);
    }
    return 0;
}

int32_t cw_v1_vision_cb_quick_shot_finished(const uint8_t *payload) {
    const bool active = payload[0] != 0;
    int32_t proc = 0;
    cw_get_nav_qs_proc(&proc);
    if (active && proc == kQsIdle) {
        const int32_t next = kQsUnderWay;
        cw_set_nav_qs_proc(&next);
    } else if (!active && proc == kQsUnderWay) {
        const int32_t next = kQsFinished;
        cw_set_nav_qs_proc(&next);
    }
    return 0;
}

int32_t cw_v1_vision_cb_lapse_photo_result(const uint8_t *payload) {
    const uint8_t state = payload[17];
    const uint8_t code = payload[18];
    if (code == kLapseNoConnection) {
        CW_USRLOG("Lapse Photo return no connection! return Fail : %d\n", code);
    } else if (code == kLapseNormal) {
        int32_t err = 0;
        cw_get_nav_lapse_err(&err);
        if (err == kLapseIdle && state == kLapseStateObstacle) {
            CW_USRLOG("Lapse Photo return Fail , obstacle occur \n");
            return 0;
        }
        if (err == kLapseIdle && lapse_state_stopped(state)) {
            err = kLapseInterrupted;
            cw_set_nav_lapse_err(&err);
        }
        if (err == kLapseInterrupted && lapse_state_going(state)) {
            err = kLapseResumed;
            cw_set_nav_lapse_err(&err);
        }
    } else if (lapse_warning(code)) {
        CW_USRLOG("Lapse Photo return Warning Code : %d\n", code);
    } else {
        CW_USRLOG("Lapse Photo return Fail : %d\n", code);
    }
    return 0;
}

int32_t cw_v1_vision_cb_nav_osd(const uint8_t *payload) {
    const uint8_t waiting = payload[4];
    const uint8_t pano_mode = payload[12];
    const uint8_t qs_mode = payload[13];
    if (g_nav_osd_log.first_then_every(kLogPeriod)) {
        CW_USRLOG("waiting:%d pano mode:%d, qs mode:%d\n", waiting, pano_mode, qs_mode);
    }
    if (waiting != 0) {
        return 0;
    }
    if (submode_valid(pano_mode)) {
        cw_set_nav_pano_submode(submode_of(pano_mode));
    }
    if (submode_valid(qs_mode)) {
        cw_set_nav_qs_submode(submode_of(qs_mode));
    }
    return 0;
}

int32_t cw_v1_vision_cb_quick_shot_index(const uint8_t *payload) {
    uint8_t index = 0;
    cw_get_nav_qs_index(&index);
    if (index != kQsIndexLogTargets) {
        return 0;
    }
    const uint8_t count = payload[0];
    CW_USRLOG("------------------------------Quick Shot Target count1 %d \n", count);
    if (count != 0) {
        CW_USRLOG("----------Quick Shot Target index %d \n", payload[1]);
    } else {
        CW_USRLOG("Quick Shot Target count %d \n", count);
    }
    return 0;
}

constexpr std::array<cw::PushHandler, 2> kVisionData = {{
    {kVisionSet, 112, cw_v1_vision_cb_vio_self_cali},
    {kVisionSet, 115, cw_v1_vision_cb_oa_result},
}};
constexpr std::array<cw::PushHandler, 1> kPanoResult = {{{kVisionSet, 77, cw_v1_vision_cb_get_pano_result}}};
constexpr std::array<cw::PushHandler, 2> kQuickShotResult = {{
    {kVisionSet, 57, cw_v1_vision_cb_quick_shot_result},
    {kVisionSet, 149, cw_v1_vision_cb_quick_shot_index},
}};
constexpr std::array<cw::PushHandler, 1> kQuickShotFinished = {
    {{kVisionSet, 150, cw_v1_vision_cb_quick_shot_finished}}};
constexpr std::array<cw::PushHandler, 1> kLapsePhotoResult = {{{kVisionSet, 121, cw_v1_vision_cb_lapse_photo_result}}};
constexpr std::array<cw::PushHandler, 1> kNavOsd = {{{kVisionSet, 90, cw_v1_vision_cb_nav_osd}}};
constexpr std::array<cw::PushHandler, 1> kNavPanoStatus = {{{kVisionSet, 84, cw_v1_vision_cb_nav_pano_status}}};

}  // namespace

extern "C" int32_t cw_register_v1_vison_data(void) { return cw::register_handlers(kVisionData); }
extern "C" int32_t cw_unregister_v1_vison_data(void) { return cw::unregister_handlers(kVisionData); }
extern "C" int32_t cw_register_v1_get_pano_result(void) { return cw::register_handlers(kPanoResult); }
extern "C" int32_t cw_register_v1_quick_shot_result(void) { return cw::register_handlers(kQuickShotResult); }
extern "C" int32_t cw_register_v1_quick_shot_finished(void) { return cw::register_handlers(kQuickShotFinished); }
extern "C" int32_t cw_register_v1_lapse_photo_result(void) { return cw::register_handlers(kLapsePhotoResult); }
extern "C" int32_t cw_register_v1_nav_osd(void) { return cw::register_handlers(kNavOsd); }
extern "C" int32_t cw_register_v1_nav_pano_status(void) { return cw::register_handlers(kNavPanoStatus); }
