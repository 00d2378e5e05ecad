// Battery queries on the v1 link: dynamic information, cell voltages and serial number. A failed
// send and a refusal are both reported as CW_ERR_ACK; the battery's records are handed to the
// caller exactly as they arrive.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "cirrow/cw_device.h"
#include "cw_args.h"
#include "cw_log.h"
#include "cw_txn.h"

namespace {

constexpr auto kDynamicInfo = cw::command<"battery.dynamic_info">(cw::policy::any_failure_refused);
constexpr auto kCellVoltage = cw::command<"battery.cell_voltage">(cw::policy::any_failure_refused);
constexpr auto kBatterySn = cw::command<"battery.sn">(cw::policy::any_failure_refused);

// The records follow the result byte; the serial number is as long as its answer says, within
// the answer.
constexpr size_t kInfoAt = kDynamicInfo.answer_at<"voltage_mv">();
constexpr size_t kCellsAt = kCellVoltage.answer_at<"cells_mv">();
constexpr size_t kSnAt = kBatterySn.answer_at<"sn">();
constexpr size_t kSnMaxCopy = kBatterySn.kAnswerLen - kSnAt;
constexpr size_t kSnTextMax = 14;

}  // namespace

extern "C" int32_t cw_v1_battery_api_get_dynamic_info(BatteryDynamicInfo *info) {
    CW_REQUIRE(info);
    const decltype(kDynamicInfo)::Request payload{};
    auto ans = kDynamicInfo.answer_buffer();
    const cw::Verdict v = cw::run(kDynamicInfo, payload, ans.span());
    if (v.outcome != cw::Outcome::Done) {
        CW_USRLOG("get battery data send fail ret: %d, ack: %d\n", v.ret, v.result_byte);
    } else {
        std::memcpy(info->bytes, ans.data() + kInfoAt, CW_BATTERY_DYNAMIC_INFO_LEN);
    }
    return v.code;
}

extern "C" int32_t cw_v1_battery_api_get_cell_voltage(const uint8_t *request, BatteryCellVoltage *voltage) {
    CW_REQUIRE(request, voltage);
    auto ans = kCellVoltage.answer_buffer();
    const cw::Verdict v = cw::run(kCellVoltage, {request, kCellVoltage.kRequestLen}, ans.span());
    if (v.outcome != cw::Outcome::Done) {
        CW_USRLOG("get battery cell voltage send fail ret: %d, ack = %d\n", v.ret, v.result_byte);
    } else {
        std::memcpy(voltage->bytes, ans.data() + kCellsAt, CW_BATTERY_CELL_VOLTAGE_LEN);
    }
    return v.code;
}

extern "C" int32_t cw_v1_battery_api_get_battery_sn(char *sn) {
    CW_REQUIRE(sn);
    const decltype(kBatterySn)::Request payload{};
    auto ans = kBatterySn.answer_buffer();
    const cw::Verdict v = cw::run(kBatterySn, payload, ans.span());
    if (v.outcome != cw::Outcome::Done) {
        CW_USRLOG("get battery sn send fail ret: %d, ack = %d\n", v.ret, v.result_byte);
    } else {
        std::memset(sn, 0, CW_SN_TEXT_LEN);
        std::memcpy(sn, ans.data() + kSnAt, std::min<size_t>(kBatterySn.get<"len">(ans), kSnMaxCopy));
        sn[kSnTextMax] = '\0';
        CW_USRLOG("get battery sn send SUCCESS:%s\n", sn);
    }
    return v.code;
}

// The records the caller is handed are the answers' bytes after the result byte.
static_assert(kDynamicInfo.kAnswerLen == kInfoAt + CW_BATTERY_DYNAMIC_INFO_LEN);
static_assert(kCellVoltage.kAnswerLen == kCellsAt + CW_BATTERY_CELL_VOLTAGE_LEN);
