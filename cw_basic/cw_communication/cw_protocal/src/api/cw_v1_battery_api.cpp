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

constexpr cw::Route kDynamicInfo = cw::route("battery.dynamic_info");
constexpr cw::Route kCellVoltage = cw::route("battery.cell_voltage");
constexpr cw::Route kBatterySn = cw::route("battery.sn");

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
    cw::Answer<kRecordAt + CW_BATTERY_DYNAMIC_INFO_LEN> ans;
    const cw::Exchange r = cw::exchange(kDynamicInfo, payload, ans);
    if (!r.ok()) {
        CW_USRLOG("get battery data send fail ret: %d, ack: %d\n", r.ret, r.result_byte);
        return CW_ERR_ACK;
    }
    std::memcpy(info->bytes, ans.data() + kRecordAt, CW_BATTERY_DYNAMIC_INFO_LEN);
    return 0;
}

extern "C" int32_t cw_v1_battery_api_get_cell_voltage(const uint8_t *request, BatteryCellVoltage *voltage) {
    CW_REQUIRE(request, voltage);
    cw::Answer<kRecordAt + CW_BATTERY_CELL_VOLTAGE_LEN> ans;
    const cw::Exchange r = cw::exchange(kCellVoltage, {request, kCellRequestLen}, ans);
    if (!r.ok()) {
        CW_USRLOG("get battery cell voltage send fail ret: %d, ack = %d\n", r.ret, r.result_byte);
        return CW_ERR_ACK;
    }
    std::memcpy(voltage->bytes, ans.data() + kRecordAt, CW_BATTERY_CELL_VOLTAGE_LEN);
    return 0;
}

extern "C" int32_t cw_v1_battery_api_get_battery_sn(char *sn) {
    CW_REQUIRE(sn);
    const std::array<uint8_t, 9> payload{};
    cw::Answer<kSnAnswerLen> ans;
    const cw::Exchange r = cw::exchange(kBatterySn, payload, ans);
    if (!r.ok()) {
        CW_USRLOG("get battery sn send fail ret: %d, ack = %d\n", r.ret, r.result_byte);
        return CW_ERR_ACK;
    }
    std::memset(sn, 0, CW_SN_TEXT_LEN);
    std::memcpy(sn, ans.data() + kSnAt, std::min<size_t>(ans[kSnLengthAt], kSnMaxCopy));
    sn[kSnTextMax] = '\0';
    CW_USRLOG("get battery sn send SUCCESS:%s\n", sn);
    return 0;
}
