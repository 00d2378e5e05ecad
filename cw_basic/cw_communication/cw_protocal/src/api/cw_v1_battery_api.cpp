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

constexpr auto kDynamicInfo = cw::command("battery.dynamic_info", cw::policy::any_failure_refused);
constexpr auto kCellVoltage = cw::command("battery.cell_voltage", cw::policy::any_failure_refused);
constexpr auto kBatterySn = cw::command("battery.sn", cw::policy::any_failure_refused);

constexpr size_t kRecordAt = 1;  // the records follow the result byte
constexpr size_t kCellRequestLen = 4;
constexpr size_t kSnAnswerLen = 32;
constexpr size_t kSnLengthAt = 2;
constexpr size_t kSnAt = 3;
constexpr size_t kSnMaxCopy = kSnAnswerLen - kSnAt;
constexpr size_t kSnTextMax = 14;

}  // namespace

extern "C" int32_t cw_v1_battery_api_get_dynamic_info(BatteryDynamicInfo *info) {
    CW_REQUIRE(info);
    const std::array<uint8_t, 4> payload{};
    cw::AnswerBuffer<kRecordAt + CW_BATTERY_DYNAMIC_INFO_LEN> ans;
    const cw::Verdict v = cw::run(kDynamicInfo, payload, ans.span());
    if (v.outcome != cw::Outcome::Done) {
        CW_USRLOG("get battery data send fail ret: %d, ack: %d\n", v.ret, v.result_byte);
    } else {
        std::memcpy(info->bytes, ans.data() + kRecordAt, CW_BATTERY_DYNAMIC_INFO_LEN);
    }
    return v.code;
}

extern "C" int32_t cw_v1_battery_api_get_cell_voltage(const uint8_t *request, BatteryCellVoltage *voltage) {
    CW_REQUIRE(request, voltage);
    cw::AnswerBuffer<kRecordAt + CW_BATTERY_CELL_VOLTAGE_LEN> ans;
    const cw::Verdict v = cw::run(kCellVoltage, {request, kCellRequestLen}, ans.span());
    if (v.outcome != cw::Outcome::Done) {
        CW_USRLOG("get battery cell voltage send fail ret: %d, ack = %d\n", v.ret, v.result_byte);
    } else {
        std::memcpy(voltage->bytes, ans.data() + kRecordAt, CW_BATTERY_CELL_VOLTAGE_LEN);
    }
    return v.code;
}

extern "C" int32_t cw_v1_battery_api_get_battery_sn(char *sn) {
    CW_REQUIRE(sn);
    const std::array<uint8_t, 9> payload{};
    cw::AnswerBuffer<kSnAnswerLen> ans;
    const cw::Verdict v = cw::run(kBatterySn, payload, ans.span());
    if (v.outcome != cw::Outcome::Done) {
        CW_USRLOG("get battery sn send fail ret: %d, ack = %d\n", v.ret, v.result_byte);
    } else {
        std::memset(sn, 0, CW_SN_TEXT_LEN);
        std::memcpy(sn, ans.data() + kSnAt, std::min<size_t>(ans[kSnLengthAt], kSnMaxCopy));
        sn[kSnTextMax] = '\0';
        CW_USRLOG("get battery sn send SUCCESS:%s\n", sn);
    }
    return v.code;
}
