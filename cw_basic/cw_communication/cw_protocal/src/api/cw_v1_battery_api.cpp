// Battery queries on the v1 link: dynamic information, cell voltages and serial number. A failed
// send and a refusal are both reported as CW_ERR_ACK; the battery's records are handed to the
// caller exactly as they arrive.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "cirrow/cw_device.h"
#include "cw_args.h"
#include "cw_command.h"
#include "cw_log.h"

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
    // The request is all zero; the battery's record follows the result byte.
    const decltype(kDynamicInfo)::Request payload{};
    return cw::perform(
        kDynamicInfo, payload,
        CW_IF_FAILED(CW_USRLOG_AT(36, "get battery data send fail ret: %d, ack: %d\n", v.ret, v.result_byte)),
        CW_IF_DONE(std::memcpy(info->bytes, ans.data() + kInfoAt, CW_BATTERY_DYNAMIC_INFO_LEN)));
}

// The caller's request goes as it is, of the row's length; the cells' voltages follow the result
// byte.

extern "C" int32_t cw_v1_battery_api_get_cell_voltage(const uint8_t *request, BatteryCellVoltage *voltage) {
    CW_REQUIRE(request, voltage);
    return cw::perform(
        kCellVoltage, {request, kCellVoltage.kRequestLen},
        CW_IF_FAILED(CW_USRLOG_AT(48, "get battery cell voltage send fail ret: %d, ack = %d\n", v.ret, v.result_byte)),
        CW_IF_DONE(std::memcpy(voltage->bytes, ans.data() + kCellsAt, CW_BATTERY_CELL_VOLTAGE_LEN)));
}

// The serial number is text of at most 14 characters, as long as the answer's length field says;
// the rest of the caller's buffer is zeroed.

extern "C" int32_t cw_v1_battery_api_get_battery_sn(char *sn) {
    CW_REQUIRE(sn);
    const decltype(kBatterySn)::Request payload{};
    return cw::perform(
        kBatterySn, payload,
        CW_IF_FAILED(CW_USRLOG_AT(61, "get battery sn send fail ret: %d, ack = %d\n", v.ret, v.result_byte)),  // alike
        CW_IF_DONE({
            std::memset(sn, 0, CW_SN_TEXT_LEN);
            std::memcpy(sn, ans.data() + kSnAt, std::min<size_t>(kBatterySn.get<"len">(ans), kSnMaxCopy));
            sn[kSnTextMax] = '\0';
            CW_USRLOG_AT(66, "get battery sn send SUCCESS:%s\n", sn);
        }));
}

// The records the caller is handed are the answers' bytes after the result byte.
static_assert(kDynamicInfo.kAnswerLen == kInfoAt + CW_BATTERY_DYNAMIC_INFO_LEN);
static_assert(kCellVoltage.kAnswerLen == kCellsAt + CW_BATTERY_CELL_VOLTAGE_LEN);
