// Flight controller commands on the v1 link: data subscription, control and steering, take-off
// and landing, obstacle avoidance, IMU calibration, parameters by name hash, identity, and the
// quick-test service switch.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>

#include "cirrow/cw_flight.h"
#include "cw_args.h"
#include "cw_bytes.h"
#include "cw_command.h"
#include "cw_log.h"

namespace {

// Data subscription: a reset stops the flight data, a bag added starts it.
// A bag request is its number, its rate, a constant 1, the item count, then the items, four bytes
// each; the answer echoes the bag and the count after the result byte.
constexpr auto kDsReset = cw::command<"flight.ds_reset">(cw::policy::ack_byte);
constexpr auto kDsBagAdd = cw::command<"flight.ds_bag_add">(cw::policy::send_only);
constexpr uint8_t kBagMaxItems = 62;  // keeps the request length within a byte
constexpr uint8_t kBagConstant = 1;
using BagAnswer = decltype(kDsBagAdd)::Answer;

// Control, steering, functions.
constexpr auto kControlEnable = cw::command<"flight.control_enable">(cw::policy::ack_byte);
constexpr auto kSubmodeSet = cw::command<"flight.submode_set">(cw::policy::ack_byte);
constexpr auto kAdvControl = cw::command<"flight.adv_control">(cw::policy::send_only);
constexpr auto kYawRateControl = cw::command<"flight.yaw_rate_control">(cw::policy::send_only);
constexpr auto kFunctionControl = cw::command<"flight.function_control">(cw::policy::send_only);
constexpr auto kSwitchOa = cw::command<"flight.switch_oa">(cw::policy::send_only);
constexpr auto kFlightHeartbeat = cw::command<"flight.heartbeat">(cw::policy::send_only);
// A control request carries a constant 2 after its mode.
constexpr uint8_t kControlConstant = 2;

// IMU calibration.
constexpr auto kPropellerCali = cw::command<"flight.propeller_cali">(cw::policy::send_only);
// The propeller calibration's actions, and the byte the base heartbeat sends and expects back.
constexpr uint8_t kPropellerCaliStart = 1;
constexpr uint8_t kPropellerCaliReset = 2;
constexpr uint8_t kBaseHeartbeatByte = 14;
constexpr auto kBaseHeartbeat = cw::command<"flight.base_heartbeat">(cw::policy::expected_byte<kBaseHeartbeatByte>);
// The IMU calibration's real-time values: the request is the caller's, the answer a record that
// starts with one of these headers.
constexpr const auto &kCaliRtHeaders = cw::link::value::kImuCaliHeaders;
constexpr auto kImuCaliRt = cw::command<"flight.imu_cali_rt">(cw::policy::accepted_header<kCaliRtHeaders>);

// Parameters by name hash (the calibration start and progress use the same messages, judged by
// their echo). A value goes after its hash; the answer echoes both after the result byte.
constexpr auto kCaliStart = cw::command<"flight.param_write">(cw::policy::echo);
constexpr auto kCaliProgress = cw::command<"flight.param_read">(cw::policy::echo);
constexpr auto kPmRead = cw::command<"flight.param_read">(cw::policy::peer_result);
constexpr auto kPmWrite = cw::command<"flight.param_write">(cw::policy::peer_result);
constexpr auto kNamedWrite = cw::command<"flight.param_write">(cw::policy::send_only);
constexpr size_t kParamValueAt = kPmWrite.answer_at<"value">();  // after the result byte and the hash
constexpr uint32_t kParamMaxSize = 250;                          // keeps both lengths within a byte

// Identity and the quick-test switch.
constexpr auto kIdentityWriteCmd = cw::command<"flight.identity_write">(cw::policy::peer_result);
constexpr auto kIdentityReadCmd = cw::command<"flight.identity_read">(cw::policy::peer_result);
// An identity write sets the identity byte, the last of its data.
using cw::link::value::kIdentityRead;
using cw::link::value::kIdentityWrite;
constexpr auto kQuickTestSwitch = cw::command<"quicktest.switch">(cw::policy::send_only);
// The quick-test switch: on or off, a reserved byte, and with an on the on value.
constexpr uint8_t kQuickTestOn = 1;
constexpr uint8_t kQuickTestOff = 2;
constexpr uint8_t kQuickTestOnValue = 5;

// The parameters this module writes and reads, by the hash of their names: the flight controller
// looks its parameters up by that hash alone, so a name it does not know reads as "no such
// parameter" and a write to it is not stored.
namespace param = cw::link::param;
constexpr uint32_t kHashMaxHeight = param::hash(param::kMaxHeight);
constexpr uint32_t kHashMaxRadius = param::hash(param::kMaxRadius);
constexpr uint32_t kHashRadiusLimitEnabled = param::hash(param::kRadiusLimitEnabled);
constexpr uint32_t kHashDownVo = param::hash(param::kDownVo);
constexpr uint32_t kHashCompassCali = param::hash(param::kCompassCali);
constexpr uint32_t kHashVibration = param::hash(param::kVibration);

// The request of a named write without answer: the hash, then a 16-bit value (the switches this
// module makes by parameter).
constexpr auto named_write(uint32_t hash, uint16_t value) {
    return kNamedWrite.encode_with(cw::le::bytes(value), hash);
}

// Lays out and runs a subscription bag: CW_ERR_PARAM (a count above 62 or missing items) or
// CW_ERR_NOMEM with nothing sent, else the bag's verdict. The request's length depends on the
// item count: it is laid out in a block of its own.
cw::Verdict run_bag(uint8_t bag, uint16_t rate, uint8_t count, const uint32_t *items, BagAnswer &ans) {
    if (count > kBagMaxItems || (count != 0 && items == nullptr)) {
        return cw::unsent(CW_ERR_PARAM);
    }
    cw::HeapPayload payload(kDsBagAdd.at<"items">() + sizeof(uint32_t) * count);
    if (!payload.ok()) {
        return cw::unsent(CW_ERR_NOMEM);
    }
    uint8_t *p = payload.data();
    kDsBagAdd.put<"bag">(p, bag);
    kDsBagAdd.put<"rate">(p, rate);
    kDsBagAdd.put<"constant">(p, kBagConstant);
    kDsBagAdd.put<"count">(p, count);
    for (size_t i = 0; i < count; ++i) {
        kDsBagAdd.put<"items">(p, items[i], i);
    }
    return cw::run(kDsBagAdd, payload.view(), ans.span());
}

// Lays out and runs a parameter write of `size` value bytes, awaiting 5 + size answer bytes:
// CW_ERR_PARAM or CW_ERR_NOMEM with nothing sent, else the write's verdict.
cw::Verdict run_pm_write(const uint32_t *hash, const void *value, uint32_t size,
                         cw::AnswerBuffer<kParamValueAt + kParamMaxSize> &ans) {
    if (hash == nullptr || size > kParamMaxSize || (size != 0 && value == nullptr)) {
        return cw::unsent(CW_ERR_PARAM);
    }
    cw::HeapPayload payload(kPmWrite.at<"value">() + size);
    if (!payload.ok()) {
        return cw::unsent(CW_ERR_NOMEM);
    }
    kPmWrite.put<"hash">(payload.data(), *hash);
    if (size != 0) {
        std::memcpy(payload.data() + kPmWrite.at<"value">(), value, size);
    }
    return cw::run(kPmWrite, payload.view(), ans.span().first(kParamValueAt + size));
}

}  // namespace

// ---- Data subscription ----

extern "C" int32_t cw_v1_flight_api_ds_reset(void) {
    return cw::perform(
        kDsReset, {}, CW_IF_UNSENT(CW_LOG_AT(138, cw::log::kFail, "cw flight ds reset send fail %d\n", v.ret)),
        CW_IF_REFUSED(CW_LOG_AT(141, cw::log::kFail, "cw flight ds reset result fail %d\n", v.result_byte)),
        CW_IF_DONE(CW_LOG_AT(144, cw::log::kInfo, "cw flight ds reset success\n")));
}

extern "C" int32_t cw_v1_flight_api_ds_bag_add(uint8_t bag, uint16_t rate, uint8_t count, const uint32_t *items) {
    BagAnswer ans;
    return cw::handle(run_bag(bag, rate, count, items, ans), ans,
                      CW_IF_FAILED(CW_USRLOG_AT(154, "cw flight ds %d add send fail %d\n", bag, v.code)),
                      // The flight controller's answer is reported as it came.
                      CW_IF_DONE(for (size_t i = 0; i < kDsBagAdd.kAnswerLen; ++i) {
                          CW_USRLOG_AT(159, "ACK RESULT -----  %d ----- %d\n", static_cast<int>(i), ans[i]);
                      }));
}

// ---- Control and steering ----

extern "C" int32_t cw_v1_flight_api_control_enable(uint8_t mode) {
    const auto payload = kControlEnable.encode(mode, kControlConstant);
    return cw::perform(kControlEnable, payload,
                       CW_IF_UNSENT(CW_USRLOG_AT(172, "cw flight enabel control:%d fail %d\n", mode, v.ret)),
                       CW_IF_REFUSED(CW_LOG_BOTH_AT(175, cw::log::kFail, "cw flight enable control:%d result fail %d\n",
                                                    mode, v.result_byte)),
                       CW_IF_DONE(CW_LOG_BOTH_AT(178, cw::log::kInfo, "cw flight control changed: %d\n", mode)));
}

extern "C" int32_t cw_v1_flight_api_submode_set(uint8_t mode, uint8_t submode) {
    const auto payload = kSubmodeSet.encode(mode, submode);
    return cw::perform(
        kSubmodeSet, payload,
        CW_IF_UNSENT(CW_LOG_AT(190, cw::log::kFail, "cw flight set submode %d %d fail %d\n", mode, submode, v.ret)),
        CW_IF_REFUSED(CW_LOG_AT(193, cw::log::kFail, "cw flight set submoce %d %d result fail %d\n", mode, submode,
                                v.result_byte)),
        CW_IF_DONE(CW_LOG_AT(196, cw::log::kInfo, "cw flight submode %d changed: %d\n", mode, submode)));
}

extern "C" int32_t cw_v1_flight_api_adv_control(uint8_t mode_a, uint8_t mode_b, float v0, float v1, float v2, float v3,
                                                float v4, float v5) {
    // The modes, then the six values.
    const auto payload = kAdvControl.encode(mode_a, mode_b, v0, v1, v2, v3, v4, v5);
    return cw::post(
        kAdvControl, payload,
        CW_IF_FAILED(CW_LOG_BOTH_AT(208, cw::log::kFail, "cw_v1_flight_api_adv_control() v1_send fail %d\n", v.ret)));
}

extern "C" int32_t cw_v1_flight_api_yaw_rate_control(float rate) {
    return cw::post(kYawRateControl, kYawRateControl.encode(rate),
                    CW_IF_FAILED(CW_LOG_AT(216, cw::log::kFail, "cw flight yaw_ctrl fail %d\n", v.ret)));
}

extern "C" int32_t cw_v1_flight_api_function_control(uint8_t function) {
    return cw::post(kFunctionControl, kFunctionControl.encode(function),
                    CW_IF_FAILED(CW_LOG_AT(224, cw::log::kFail, "cw_v1_flight_api_functon_control(%d) fail %d\n",
                                           function, v.ret)));
}

extern "C" int32_t cw_v1_flight_api_switch_oa(uint8_t on_off) {
    return cw::post(
        kSwitchOa, kSwitchOa.encode(on_off),
        CW_IF_FAILED(CW_LOG_AT(232, cw::log::kFail, "cw_v1_flight_api_switch(%x) fail %d\n", on_off, v.ret)));
}

extern "C" int32_t cw_v1_flight_api_send_heartbeat(uint8_t kind, uint8_t value) {
    return cw::post(kFlightHeartbeat, kFlightHeartbeat.encode(kind, value),
                    CW_IF_FAILED(CW_USRLOG_AT(240, "cw_v1_flight_api_send_heartbeat() fail %d\n", v.ret)));
}

// ---- IMU calibration ----

extern "C" int32_t cw_v1_flight_api_imu_propeller_cali(void) {
    return cw::post(
        kPropellerCali, kPropellerCali.encode(kPropellerCaliStart),
        CW_IF_FAILED(CW_LOG_AT(250, cw::log::kFail, "cw_v1_flight_api_imu_propeller_cali() fail %d\n", v.ret)));
}

extern "C" int32_t cw_v1_flight_api_imu_propeller_cali_reset(void) {
    return cw::post(
        kPropellerCali, kPropellerCali.encode(kPropellerCaliReset),
        CW_IF_FAILED(CW_LOG_AT(258, cw::log::kFail, "cw_v1_flight_api_imu_propeller_cali_reset() fail %d\n", v.ret)));
}

extern "C" int32_t cw_v1_flight_api_imu_base_heartbeat(void) {
    return cw::perform(
        kBaseHeartbeat, kBaseHeartbeat.encode(kBaseHeartbeatByte),
        CW_IF_UNSENT(CW_LOG_AT(268, cw::log::kFail, "cw_v1_flight_api_imu_base_heartbeat() fail %d\n", v.ret)),
        CW_IF_REFUSED(
            CW_LOG_AT(271, cw::log::kFail, "cw_v1_flight_api_imu_base_heartbeat fail 0x%02x\n", v.result_byte)));
}

extern "C" int32_t cw_v1_flight_api_imu_start_cali(uint32_t key, uint8_t value) {
    return cw::perform(
        kCaliStart, kCaliStart.encode_with(cw::le::bytes(value), key),
        CW_IF_UNSENT(CW_LOG_AT(284, cw::log::kFail, "cw_v1_flight_api_imu_start_cali() fail %d\n", v.ret)),
        CW_IF_REFUSED(CW_LOG_AT(287, cw::log::kFail,
                                "cw_v1_flight_api_imu_start_cali fail %02x %02x %02x %02x %02x %02x\n", ans[0], ans[1],
                                ans[2], ans[3], ans[4], ans[5])));
}

extern "C" int32_t cw_v1_flight_api_imu_read_process(uint32_t key, uint8_t *progress) {
    CW_REQUIRE(progress);
    return cw::perform(
        kCaliProgress, kCaliProgress.encode(key),
        CW_IF_UNSENT(CW_LOG_AT(302, cw::log::kFail, "cw_v1_flight_api_imu_read_process() fail %d\n", v.ret)),
        CW_IF_REFUSED(CW_LOG_AT(305, cw::log::kFail,
                                "cw_v1_flight_api_imu_read_process fail %02x %02x %02x %02x %02x %02x\n", ans[0],
                                ans[1], ans[2], ans[3], ans[4], ans[5])),
        CW_IF_DONE(*progress = kCaliProgress.get<"value">(ans)));
}

extern "C" int32_t cw_v1_flight_api_imu_read_cali_rt(const uint8_t *request, uint32_t request_len, ImuCaliRt *result) {
    CW_REQUIRE(result, request != nullptr || request_len == 0, request_len <= cw::kLinkMaxLen);
    return cw::perform(
        kImuCaliRt, {request, request_len},
        CW_IF_UNSENT(CW_LOG_AT(321, cw::log::kFail, "cw_v1_flight_api_imu_read_cali_rt() fail %d\n", v.ret)),
        CW_IF_REFUSED(CW_LOG_AT(324, cw::log::kFail,
                                "cw_v1_flight_api_imu_read_cali_rt() fail %02x %02x %02x %02x %02x %02x\n", ans[0],
                                ans[1], ans[2], ans[3], ans[4], ans[5])),
        // The record's fields, each where the answer's row puts it.
        CW_IF_DONE({
            ImuCaliRt out{};
            out.value0 = kImuCaliRt.get<"value0">(ans);
            out.value1 = kImuCaliRt.get<"value1">(ans);
            std::memcpy(out.raw_a, ans.data() + kImuCaliRt.answer_at<"raw_a">(), sizeof out.raw_a);
            for (size_t i = 0; i < 7; ++i) {
                out.values2_8[i] = kImuCaliRt.get<"values2_8">(ans, i);
            }
            std::memcpy(out.raw_b, ans.data() + kImuCaliRt.answer_at<"raw_b">(), sizeof out.raw_b);
            *result = out;
        }));
}

// ---- Parameters by name hash ----

extern "C" uint32_t get_hash_value(const char *name) { return name == nullptr ? 0 : param::hash(name); }

extern "C" int32_t nav_v1_flight_api_read_pm(const uint32_t *hash) {
    auto ans = kPmRead.answer_buffer();
    return cw::handle(hash == nullptr ? cw::unsent(CW_ERR_PARAM) : cw::run(kPmRead, kPmRead.encode(*hash), ans.span()),
                      ans, CW_IF_UNSENT(CW_USRLOG_AT(354, "[fc_pm]: nav flight read pm fail %d\n", v.ret)),
                      CW_IF_REFUSED(CW_USRLOG_AT(357, "[fc_pm]: read pm fail %d\n", v.result_byte)),
                      CW_IF_DONE(CW_USRLOG_AT(360, "[fc_pm]: hash value: %u, read data: %d\n", kPmRead.get<"hash">(ans),
                                              kPmRead.get<"value">(ans))));
}

extern "C" int32_t nav_v1_flight_api_write_pm(const uint32_t *hash, const void *value, uint32_t size) {
    cw::AnswerBuffer<kParamValueAt + kParamMaxSize> ans;
    return cw::handle(
        run_pm_write(hash, value, size, ans), ans,
        CW_IF_UNSENT(CW_USRLOG_AT(371, "[fc_pm]: nav flight write pm fail %d\n", v.ret)),
        CW_IF_REFUSED(CW_USRLOG_AT(374, "[fc_pm]: write ack result is fail %d\n", v.result_byte)),
        // The value now in force starts at byte 5 (0 when nothing was written).
        CW_IF_DONE(CW_USRLOG_AT(378, "[fc_pm]: write finish! current value is %d\n", ans[kParamValueAt])));
}

extern "C" int32_t cw_set_height_and_radius_limit_value(uint16_t height, uint16_t radius) {
    const uint32_t height_hash = kHashMaxHeight;
    const uint32_t radius_hash = kHashMaxRadius;
    const uint32_t enabled_hash = kHashRadiusLimitEnabled;

    nav_v1_flight_api_read_pm(&height_hash);
    nav_v1_flight_api_read_pm(&radius_hash);
    nav_v1_flight_api_read_pm(&enabled_hash);

    const uint8_t enabled = 1;
    if (nav_v1_flight_api_write_pm(&enabled_hash, &enabled, sizeof enabled) == 0) {
        CW_USRLOG_AT(395, "open radius limit success\n");
    }
    const auto height_value = cw::le::bytes(height);
    if (nav_v1_flight_api_write_pm(&height_hash, height_value.data(), height_value.size()) == 0) {
        CW_USRLOG_AT(399, "set height limit to %d success!\n", height);
    }
    const auto radius_value = cw::le::bytes(radius);
    nav_v1_flight_api_write_pm(&radius_hash, radius_value.data(), radius_value.size());

    nav_v1_flight_api_read_pm(&height_hash);
    nav_v1_flight_api_read_pm(&radius_hash);
    return 0;
}

extern "C" int32_t cw_v1_flight_api_trigger_dowm_vo(uint16_t value) {
    std::printf("hash value is %u\n", kHashDownVo);
    return cw::post(kNamedWrite, named_write(kHashDownVo, value),
                    CW_IF_FAILED(CW_LOG_AT(415, cw::log::kFail, "cw flight trigger down vo %d fail%d\n", value, v.ret)),
                    CW_IF_DONE(CW_LOG_BOTH_AT(418, cw::log::kInfo, "cw flight trigger down vo success\n")));
}

extern "C" int32_t cw_v1_flight_api_trigger_compass_cali(uint16_t value) {
    std::printf("hash value is %u\n", kHashCompassCali);
    return cw::post(kNamedWrite, named_write(kHashCompassCali, value),
                    CW_IF_FAILED(CW_LOG_AT(430, cw::log::kFail, "cw flight trigger compass cali fail %d\n", v.ret)),
                    CW_IF_DONE(CW_LOG_BOTH_AT(433, cw::log::kInfo, "cw flight trigger compass cali success\n")));
}

extern "C" int32_t cw_v1_flight_api_subscribe_vib(void) {
    std::printf("hash value is %u\n", kHashVibration);
    return cw::post(kNamedWrite, named_write(kHashVibration, 1),
                    CW_IF_FAILED(CW_LOG_AT(445, cw::log::kFail, "cw flight subscribe vib fail %d\n", v.ret)),
                    CW_IF_DONE(CW_LOG_AT(448, cw::log::kInfo, "cw flight subscribe vib success\n")));
}

// ---- Identity and quick-test switch ----

extern "C" int32_t cw_v1_cwqt_switch(const char *word) {
    uint8_t on_off = 0;
    if (word != nullptr && std::strcmp(word, "on") == 0) {
        on_off = kQuickTestOn;
    } else if (word != nullptr && std::strcmp(word, "off") == 0) {
        on_off = kQuickTestOff;
    }
    const auto payload =
        kQuickTestSwitch.encode(on_off, uint8_t{0}, on_off == kQuickTestOn ? kQuickTestOnValue : uint8_t{0});
    return cw::post(kQuickTestSwitch, payload,
                    CW_IF_FAILED(CW_LOG_BOTH_AT(467, cw::log::kFail, "cw_v1_cwqt_switch fail %d\n", v.ret)));
}

extern "C" int32_t cw_v1_flight_set_uuid(void) {
    const auto payload = kIdentityWriteCmd.encode(kIdentityWrite, uint16_t{2000},
                                                  decltype(kIdentityWriteCmd)::Array<"data">{12, 5, 1, 2, 3, 1, 50});
    return cw::perform(kIdentityWriteCmd, payload,
                       CW_IF_UNSENT(CW_USRLOG_AT(479, "nav flight set uuid send fail %d\n", v.ret)),
                       CW_IF_REFUSED(CW_USRLOG_AT(482, "nav flight set uuid send fail %d\n", v.result_byte)),
                       CW_IF_DONE(CW_USRLOG_AT(485, "set uuid ok : %x\n", kIdentityWriteCmd.get<"result">(ans))));
}

extern "C" int32_t cw_v1_flight_get_uuid(void) {
    return cw::perform(kIdentityReadCmd, kIdentityReadCmd.encode(kIdentityRead),
                       CW_IF_UNSENT(CW_USRLOG_AT(496, "nav flight get uuid send fail %d\n", v.ret)),
                       CW_IF_REFUSED(CW_USRLOG_AT(499, "nav flight set uuid send fail %d\n", v.result_byte)),
                       CW_IF_DONE(CW_USRLOG_AT(502, "set uuid len : %d\n", kIdentityReadCmd.get<"len">(ans));
                                  CW_USRLOG_AT(503, "set uuid ok : %d\n", kIdentityReadCmd.get<"value">(ans))));
}
