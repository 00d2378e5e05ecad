// Push handlers of the vision processor (command set 10): obstacle avoidance, VIO
// self-calibration, and the progress and results of the panorama, quick-shot and lapse-photo
// missions. Each decodes its message at the offsets of its row in the message table and stores
// into the vision cache directly; the mission status words advance by compare-and-swap, so an
// application's reset between a handler's read and its write is never lost.
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>

#include "cirrow/cw_vision.h"
#include "cw_bytes.h"
#include "cw_handlers.h"
#include "cw_log.h"
#include "cw_messages.h"
#include "cw_throttle.h"
#include "vision/src/cw_vision_cache.h"

namespace {

using cw::link::extent;
using cw::link::offset_of;
using namespace cw::vision;

constexpr const cw::link::Message &kVioSelfCali = cw::link::push("vision.vio_self_cali");
constexpr const cw::link::Message &kOaResult = cw::link::push("vision.oa_result");
constexpr const cw::link::Message &kPanoResult = cw::link::push("vision.pano_result");
constexpr const cw::link::Message &kPanoStatus = cw::link::push("vision.pano_status");
constexpr const cw::link::Message &kQsResult = cw::link::push("vision.qs_result");
constexpr const cw::link::Message &kQsIndex = cw::link::push("vision.qs_index");
constexpr const cw::link::Message &kQsFinishedMsg = cw::link::push("vision.qs_finished");
constexpr const cw::link::Message &kLapseResult = cw::link::push("vision.lapse_result");
constexpr const cw::link::Message &kNavOsd = cw::link::push("vision.nav_osd");

// What each handler reads lies within its row.
static_assert(offset_of(kVioSelfCali, "yaw") + sizeof(float) <= extent(kVioSelfCali));
static_assert(offset_of(kOaResult, "values") + sizeof(OaResult{}.oa_value) < extent(kOaResult));
static_assert(offset_of(kPanoStatus, "camera_progress") < extent(kPanoStatus));
static_assert(offset_of(kLapseResult, "code") < extent(kLapseResult));
static_assert(offset_of(kNavOsd, "qs_mode") < extent(kNavOsd));
static_assert(offset_of(kQsIndex, "index") < extent(kQsIndex));

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
    r.oa_state = payload[offset_of(kOaResult, "state")];
    cw::le::get_n(r.oa_value, payload, offset_of(kOaResult, "values"), 6);
    r.oa_flags.byte = payload[offset_of(kOaResult, "flags")];
    g_oa_result.store(r);
    return 0;
}

int32_t cw_v1_vision_cb_vio_self_cali(const uint8_t *payload) {
    VioCaliState s{};
    s.flag = cw::le::get<int32_t>(payload, offset_of(kVioSelfCali, "flag"));
    s.roll = cw::le::get<float>(payload, offset_of(kVioSelfCali, "roll"));
    s.pitch = cw::le::get<float>(payload, offset_of(kVioSelfCali, "pitch"));
    s.yaw = cw::le::get<float>(payload, offset_of(kVioSelfCali, "yaw"));
    std::printf("vio result is (flag, roll, pitch, yaw) ::(%d, %f, %f, %f)\n", s.flag, static_cast<double>(s.roll),
                static_cast<double>(s.pitch), static_cast<double>(s.yaw));
    g_vio_cali.update([&s](VioCaliState &cached) {
        s.result_count = cached.result_count + 1;
        cached = s;
    });
    return 0;
}

int32_t cw_v1_vision_cb_nav_pano_status(const uint8_t *payload) {
    if (g_pano_status_log.first_then_every(kLogPeriod)) {
        CW_USRLOG("pano mode:%d, mission_state:%d, mission_id:%d\n", payload[offset_of(kPanoStatus, "mode")],
                  payload[offset_of(kPanoStatus, "mission_state")],
                  cw::le::get<int32_t>(payload, offset_of(kPanoStatus, "mission_id")));
        CW_USRLOG("total_pic_cnt:%d, cur_pic_cnt:%d, camera_progress:%d\n",
                  payload[offset_of(kPanoStatus, "total_pic_cnt")], payload[offset_of(kPanoStatus, "cur_pic_cnt")],
                  payload[offset_of(kPanoStatus, "camera_progress")]);
    }
    return 0;
}

int32_t cw_v1_vision_cb_get_pano_result(const uint8_t *payload) {
    const uint8_t code = payload[offset_of(kPanoResult, "code")];
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
    g_pano_status.store(status);
    return 0;
}

int32_t cw_v1_vision_cb_quick_shot_result(const uint8_t *payload) {
    const uint8_t code = payload[offset_of(kQsResult, "code")];
    if (code >= kQsFailureFrom) {
        CW_USRLOG("Quick Shot return Fail : %d\n", code);
        g_qs_err.store(kQsFailed);
    }
    return 0;
}

int32_t cw_v1_vision_cb_quick_shot_finished(const uint8_t *payload) {
    if (payload[offset_of(kQsFinishedMsg, "active")] != 0) {
        g_qs_proc.advance(kQsIdle, kQsUnderWay);
    } else {
        g_qs_proc.advance(kQsUnderWay, kQsFinished);
    }
    return 0;
}

int32_t cw_v1_vision_cb_lapse_photo_result(const uint8_t *payload) {
    const uint8_t state = payload[offset_of(kLapseResult, "state")];
    const uint8_t code = payload[offset_of(kLapseResult, "code")];
    if (code == kLapseNoConnection) {
        CW_USRLOG("Lapse Photo return no connection! return Fail : %d\n", code);
    } else if (code == kLapseNormal) {
        if (state == kLapseStateObstacle && g_lapse_err.load() == kLapseIdle) {
            CW_USRLOG("Lapse Photo return Fail , obstacle occur \n");
            return 0;
        }
        if (lapse_state_stopped(state)) {
            g_lapse_err.advance(kLapseIdle, kLapseInterrupted);
        } else if (lapse_state_going(state)) {
            g_lapse_err.advance(kLapseInterrupted, kLapseResumed);
        }
    } else if (lapse_warning(code)) {
        CW_USRLOG("Lapse Photo return Warning Code : %d\n", code);
    } else {
        CW_USRLOG("Lapse Photo return Fail : %d\n", code);
    }
    return 0;
}

int32_t cw_v1_vision_cb_nav_osd(const uint8_t *payload) {
    const uint8_t waiting = payload[offset_of(kNavOsd, "waiting")];
    const uint8_t pano_mode = payload[offset_of(kNavOsd, "pano_mode")];
    const uint8_t qs_mode = payload[offset_of(kNavOsd, "qs_mode")];
    if (g_nav_osd_log.first_then_every(kLogPeriod)) {
        CW_USRLOG("waiting:%d pano mode:%d, qs mode:%d\n", waiting, pano_mode, qs_mode);
    }
    if (waiting != 0) {
        return 0;
    }
    if (submode_valid(pano_mode)) {
        g_pano_submode.store(submode_of(pano_mode));
    }
    if (submode_valid(qs_mode)) {
        g_qs_submode.store(submode_of(qs_mode));
    }
    return 0;
}

int32_t cw_v1_vision_cb_quick_shot_index(const uint8_t *payload) {
    if (g_qs_index.load() != kQsIndexLogTargets) {
        return 0;
    }
    const uint8_t count = payload[offset_of(kQsIndex, "count")];
    CW_USRLOG("------------------------------Quick Shot Target count1 %d \n", count);
    if (count != 0) {
        CW_USRLOG("----------Quick Shot Target index %d \n", payload[offset_of(kQsIndex, "index")]);
    } else {
        CW_USRLOG("Quick Shot Target count %d \n", count);
    }
    return 0;
}

constexpr std::array<cw::PushHandler, 2> kVisionData = {{
    {kVioSelfCali, cw_v1_vision_cb_vio_self_cali},
    {kOaResult, cw_v1_vision_cb_oa_result},
}};
constexpr std::array<cw::PushHandler, 1> kPanoResultHandlers = {{{kPanoResult, cw_v1_vision_cb_get_pano_result}}};
constexpr std::array<cw::PushHandler, 2> kQuickShotResult = {{
    {kQsResult, cw_v1_vision_cb_quick_shot_result},
    {kQsIndex, cw_v1_vision_cb_quick_shot_index},
}};
constexpr std::array<cw::PushHandler, 1> kQuickShotFinished = {{{kQsFinishedMsg, cw_v1_vision_cb_quick_shot_finished}}};
constexpr std::array<cw::PushHandler, 1> kLapsePhotoResult = {{{kLapseResult, cw_v1_vision_cb_lapse_photo_result}}};
constexpr std::array<cw::PushHandler, 1> kNavOsdHandlers = {{{kNavOsd, cw_v1_vision_cb_nav_osd}}};
constexpr std::array<cw::PushHandler, 1> kNavPanoStatus = {{{kPanoStatus, cw_v1_vision_cb_nav_pano_status}}};

}  // namespace

extern "C" int32_t cw_register_v1_vison_data(void) { return cw::register_handlers(kVisionData); }
extern "C" int32_t cw_unregister_v1_vison_data(void) { return cw::unregister_handlers(kVisionData); }
extern "C" int32_t cw_register_v1_get_pano_result(void) { return cw::register_handlers(kPanoResultHandlers); }
extern "C" int32_t cw_register_v1_quick_shot_result(void) { return cw::register_handlers(kQuickShotResult); }
extern "C" int32_t cw_register_v1_quick_shot_finished(void) { return cw::register_handlers(kQuickShotFinished); }
extern "C" int32_t cw_register_v1_lapse_photo_result(void) { return cw::register_handlers(kLapsePhotoResult); }
extern "C" int32_t cw_register_v1_nav_osd(void) { return cw::register_handlers(kNavOsdHandlers); }
extern "C" int32_t cw_register_v1_nav_pano_status(void) { return cw::register_handlers(kNavPanoStatus); }
