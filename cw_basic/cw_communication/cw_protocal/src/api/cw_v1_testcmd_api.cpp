// Self-test commands: the vision processor's autotest mode, and the flight controller's distance
// limit for the test flight. The autotest is started once per process.
#include <time.h>

#include <array>
#include <atomic>
#include <cstdint>

#include "cirrow/cw_vision.h"
#include "cw_bytes.h"
#include "cw_log.h"
#include "cw_txn.h"

namespace {

constexpr cw::Route kVisionAutotest = cw::route("vision.autotest");
constexpr cw::Route kDistanceLimit = cw::route("flight.distance_limit");
constexpr uint8_t kAutotestStart = 1;
constexpr uint8_t kAutotestStop = 0;

constexpr size_t kDistanceLimitAnswerLen = 2;
constexpr size_t kDistanceLimitResultAt = 1;

// The distance-limit request is always the same: 0x07, eight 0x00, fourteen 0x01.
constexpr std::array<uint8_t, 23> distance_limit_payload() {
    std::array<uint8_t, 23> p{};
    p[0] = 0x07;
    for (size_t i = 9; i < p.size(); ++i) {
        p[i] = 0x01;
    }
    return p;
}
constexpr std::array<uint8_t, 23> kDistanceLimitPayload = distance_limit_payload();

// The process-wide autotest started flag: 1 once a start succeeded, never cleared. While one
// thread's start request is under way it holds kAutotestStarting, so that a second start neither
// sends nor answers before the first one's outcome is known.
constexpr int32_t kAutotestClosed = 0;
constexpr int32_t kAutotestStarted = 1;
constexpr int32_t kAutotestStarting = 2;
std::atomic<int32_t> g_autotest_started{kAutotestClosed};

// True when the caller is to send the start request (the flag now says kAutotestStarting and the
// caller must settle it); false when the autotest is already started.
bool claim_autotest_start() {
    int32_t seen = g_autotest_started.load(std::memory_order_acquire);
    for (;;) {
        if (seen == kAutotestStarted) {
            return false;
        }
        if (seen == kAutotestStarting) {
            const timespec pause = {0, 1000000};  // the other start settles within its link timeout
            nanosleep(&pause, nullptr);
            seen = g_autotest_started.load(std::memory_order_acquire);
            continue;
        }
        if (g_autotest_started.compare_exchange_weak(seen, kAutotestStarting, std::memory_order_acq_rel,
                                                     std::memory_order_acquire)) {
            return true;
        }
    }
}

void settle_autotest_start(int32_t outcome) { g_autotest_started.store(outcome, std::memory_order_release); }

}  // namespace

extern "C" int32_t cw_v1_testcmd_api_vision_start_autotest(void) {
    if (!claim_autotest_start()) {
        CW_USRLOG("===vision module already start autotest! \n");
        return 0;
    }
    CW_USRLOG("==navigation autotest closed! \n");
    const auto payload = cw::le::pack<uint8_t>(kAutotestStart);
    cw::Answer<1> ans;
    const cw::Exchange r = cw::exchange(kVisionAutotest, payload, ans);
    if (!r.sent()) {
        settle_autotest_start(kAutotestClosed);
        CW_LOG(cw::log::kFail, "vision module start autotest fail %d\n", r.ret);
        CW_USRLOG("vision module start autotest fail1 %d\n", r.ret);
        return r.ret;
    }
    if (!r.ok()) {
        settle_autotest_start(kAutotestClosed);
        CW_LOG(cw::log::kFail, "vision module start autotest fail %d\n", r.result_byte);
        CW_USRLOG("vision module start autotest fail2 %d\n", r.result_byte);
        return CW_ERR_ACK;
    }
    CW_LOG_BOTH(cw::log::kInfo, "vision module start autotest success\n");
    settle_autotest_start(kAutotestStarted);
    return 0;
}

extern "C" int32_t cw_v1_testcmd_api_vision_stop_autotest(void) {
    const auto payload = cw::le::pack<uint8_t>(kAutotestStop);
    cw::Answer<1> ans;
    const cw::Exchange r = cw::exchange(kVisionAutotest, payload, ans);
    if (!r.sent()) {
        CW_LOG(cw::log::kFail, "vision module stop autotest fail %d\n", r.ret);
        CW_USRLOG("vision module stop autotest fail1 %d\n", r.ret);
        return r.ret;
    }
    if (!r.ok()) {
        CW_LOG(cw::log::kFail, "vision module stop autotest fail %d\n", r.result_byte);
        CW_USRLOG("vision module stop autotest fail2 %d\n", r.result_byte);
        return CW_ERR_ACK;
    }
    CW_LOG_BOTH(cw::log::kInfo, "vision module stop autotest success\n");
    return 0;
}

extern "C" int32_t cw_v1_autotest_stop_distance_limit(void) {
    cw::Answer<kDistanceLimitAnswerLen> ans;
    const int32_t rc = cw::send(kDistanceLimit, kDistanceLimitPayload, ans.span());
    if (rc != 0) {
        CW_LOG_BOTH(cw::log::kFail, "autotest close distance limit fail %d\n", rc);
        return rc;
    }
    const uint8_t result = ans[kDistanceLimitResultAt];
    if (result != 0) {
        CW_LOG_BOTH(cw::log::kFail, "autotest close distance limit fail %d\n", result);
        return CW_ERR_ACK;
    }
    CW_USRLOG("autotest close distance limit success! \n");
    return 0;
}
