// Self-test commands: the vision processor's autotest mode, and the flight controller's distance
// limit for the test flight. The autotest is started once per process.
#include <time.h>

#include <array>
#include <atomic>
#include <cstdint>

#include "cirrow/cw_vision.h"
#include "cw_bytes.h"
#include "cw_command.h"
#include "cw_log.h"

namespace {

constexpr auto kVisionAutotest = cw::command<"vision.autotest">(cw::policy::ack_byte);
constexpr uint8_t kAutotestStart = 1;
constexpr uint8_t kAutotestStop = 0;

// The distance limit is lifted on the identity message's route; its answer's row says where its
// result byte is.
constexpr auto kDistanceLimit = cw::command<"flight.distance_limit">(cw::policy::ack_byte);

// The distance-limit request is always the same: 0x07, eight 0x00, fourteen 0x01.
constexpr decltype(kDistanceLimit)::Request distance_limit_payload() {
    decltype(kDistanceLimit)::Request p{};
    p[kDistanceLimit.at<"op">()] = 0x07;
    for (size_t i = kDistanceLimit.at<"data">() + 8; i < p.size(); ++i) {
        p[i] = 0x01;
    }
    return p;
}
constexpr decltype(kDistanceLimit)::Request kDistanceLimitPayload = distance_limit_payload();

// The process-wide autotest started flag: 1 once a start succeeded, never cleared. While one
// thread's start request is under way it holds kAutotestStarting, so that a second start neither
// sends nor answers before the first one's outcome is known.
constexpr int32_t kAutotestClosed = 0;
constexpr int32_t kAutotestStarted = 1;
constexpr int32_t kAutotestStarting = 2;
std::atomic<int32_t> g_autotest_started{kAutotestClosed};

// While another start's request runs, 1 ms naps, at most for twice its link timeout: a start that
// has not settled by then (its thread stopped mid-request) is taken as started.
constexpr uint32_t kStartNapUs = 1000;
constexpr uint32_t kMaxStartNaps = 2 * kVisionAutotest.request().timeout / kStartNapUs;

// True when the caller is to send the start request (the flag now says kAutotestStarting); false when
// started, or still starting after kMaxStartNaps naps.
bool claim_autotest_start() {
    int32_t seen = g_autotest_started.load(std::memory_order_acquire);
    for (uint32_t naps = 0;;) {
        if (seen == kAutotestStarted) {
            return false;
        }
        if (seen == kAutotestStarting) {
            if (naps++ == kMaxStartNaps) {
                return false;
            }
            const timespec pause = {0, kStartNapUs * 1000};
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
        CW_USRLOG_AT(70, "===vision module already start autotest! \n");
        return 0;
    }
    CW_USRLOG_AT(73, "==navigation autotest closed! \n");
    return cw::perform(kVisionAutotest, kVisionAutotest.encode(kAutotestStart),
                       // Not sent or refused: the autotest stays closed, and a later start sends
                       // again.
                       CW_IF_UNSENT({
                           settle_autotest_start(kAutotestClosed);
                           CW_LOG_AT(79, cw::log::kFail, "vision module start autotest fail %d\n", v.ret);
                           CW_USRLOG_AT(80, "vision module start autotest fail1 %d\n", v.ret);
                       }),
                       CW_IF_REFUSED({
                           settle_autotest_start(kAutotestClosed);
                           CW_LOG_AT(84, cw::log::kFail, "vision module start autotest fail %d\n", v.result_byte);
                           CW_USRLOG_AT(85, "vision module start autotest fail2 %d\n", v.result_byte);
                       }),
                       CW_IF_DONE({
                           CW_LOG_BOTH_AT(88, cw::log::kInfo, "vision module start autotest success\n");
                           settle_autotest_start(kAutotestStarted);
                       }));
}

extern "C" int32_t cw_v1_testcmd_api_vision_stop_autotest(void) {
    return cw::perform(kVisionAutotest, kVisionAutotest.encode(kAutotestStop),
                       // The started flag stays as it is: once started, the autotest is not
                       // started again in this process, stopped or not. The log tells a failed
                       // send (the link's result) from a refusal (the vision processor's result
                       // byte).
                       CW_IF_UNSENT({
                           CW_LOG_AT(100, cw::log::kFail, "vision module stop autotest fail %d\n", v.ret);
                           CW_USRLOG_AT(101, "vision module stop autotest fail1 %d\n", v.ret);
                       }),
                       CW_IF_REFUSED({
                           CW_LOG_AT(104, cw::log::kFail, "vision module stop autotest fail %d\n", v.result_byte);
                           CW_USRLOG_AT(105, "vision module stop autotest fail2 %d\n", v.result_byte);
                       }),
                       CW_IF_DONE(CW_LOG_BOTH_AT(108, cw::log::kInfo, "vision module stop autotest success\n")));
}

// Lifts the flight controller's distance limit for the test flight: the request is always the
// same, and its answer's result byte is where its row puts it. The log tells a failed send from a
// refusal by the value it shows.
extern "C" int32_t cw_v1_autotest_stop_distance_limit(void) {
    return cw::perform(
        kDistanceLimit, kDistanceLimitPayload,
        // Not sent: the log has the link's result.
        CW_IF_UNSENT(CW_LOG_BOTH_AT(119, cw::log::kFail, "autotest close distance limit fail %d\n", v.ret)),
        // Refused: the log has the flight controller's result byte.
        CW_IF_REFUSED(CW_LOG_BOTH_AT(122, cw::log::kFail, "autotest close distance limit fail %d\n", v.result_byte)),
        // Done: on the usrlog channel only.
        CW_IF_DONE(CW_USRLOG_AT(125, "autotest close distance limit success! \n")));
}
