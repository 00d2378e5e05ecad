// Wi-Fi commands and device-information queries: requests, each command's own result policy and
// lines, the version and serial-number texts at their limits.
#include <cirrow/cirrow.h>

#include <cstring>

#include "cw_test.h"

using namespace cwt;

namespace {

struct {
    char version[16], sn[32], bsn[32];
    BatteryDynamicInfo dyn;
    BatteryCellVoltage cell;
} g;
const uint8_t kCellReq[4] = {9, 8, 7, 6};

Payload text(const std::string &s) { return Payload(s.begin(), s.end()); }
Payload head(const Payload &b, size_t n) { return Payload(b.begin(), b.begin() + n); }
Payload ramp(size_t n) {  // 'A', 'B', ...
    Payload b(n);
    for (size_t i = 0; i < n; ++i)
        b[i] = static_cast<uint8_t>(0x41 + i);
    return b;
}

class WifiDevice : public LinkTest {};

TEST_F(WifiDevice, WifiRequestsAndPolicies) {
    const std::string thirty = "0123456789abcdefghijABCDEFGHIJ";
    const Texts ver = {"U cw wifi get version\n"}, open = {"L3 cw wifi open wifi\n"},
                close = {"L3 cw wifi close wifi\n"};
    const auto with = [](Texts t, const std::string &line) { return t.push_back(line), t; };
    // clang-format off
    run({
        {CALL(cw_v1_wifi_api_set_channel(149)), {4}, 0, {"L3 cw wifi set channel 149\n", "L3 cw wifi set channel success\n"},
         Req{7, 43, 0x0700, 500000, 1, {0, 0x95, 0}}},
        {CALL(cw_v1_wifi_api_ping(0x5A)), {1, 7}, 7, {"U cw wifi ping sdr success\n"}, Req{0, 0, 0x0900, 2000000, 2, {0x5A}}},
        {CALL(cw_v1_wifi_api_version()), text(thirty + "XYZ"), 0, with(ver, "U cw wifi get version success " + thirty + "\n"),
         Req{0, 1, 0x0900, 2000000, 30, {}}},
        {CALL(cw_v1_wifi_api_open_wifi()), {3}, 3, with(open, "U cw wifi open wifi fail result = 0 ack:3\r\n"),
         Req{7, 65, 0x0904, 1000000, 1, {0}}},
        {CALL(cw_v1_wifi_api_open_wifi()), {0}, 0, with(open, "U cw wifi open wifi success\n")},
        {CALL(cw_v1_wifi_api_close_wifi()), {3}, 0, with(close, "U cw wifi close wifi fail result=0 ack:3\n"),
         Req{7, 66, 0x0904, 1000000, 1, {0}}},
        {CALL(cw_v1_wifi_api_close_wifi()), {0}, 0, with(close, "U cw wifi close wifi success\n")},
    }, -5, "cw_protocal/src/api/cw_v1_wifi_api");
    // clang-format on
}

TEST_F(WifiDevice, VersionAndSerialTextsAtTheirLimits) {
    for (const auto &[raw, want] : std::vector<std::pair<Payload, std::string>>{
             {{4, 3, 2, 1}, "1.2.3.4"}, {{255, 255, 255, 255}, "255.255.255.255"}}) {
        std::memset(g.version, 0xEE, sizeof g.version);
        answer(cat({{0}, Payload(21, '9'), raw, Payload(4, '9')}));
        EXPECT_EQ(cw_v1_common_api_get_version(0x0306, g.version), 0);
        EXPECT_EQ(bytes_of(g.version), cat({text(want), Payload(16 - want.size(), 0)}));
    }
    EXPECT_EQ(request(), (Req{0, 1, 0x0306, 200000, 30, {}}));
    const Payload tail = ramp(29);  // answer bytes 3..31
    answer(cat({{0, 0x55, 0x66}, tail}));
    ASSERT_EQ(cw_v1_common_api_get_SN(2, g.sn), 0);
    EXPECT_EQ(bytes_of(g.sn), cat({head(tail, 14), Payload(18, 0)}));
    EXPECT_EQ(request(2), (Req{0, 81, 0x0306, 200000, 32, {2}}));
    for (const int n : {5, 20, 255}) {  // battery: n bytes copied (at most 29), text cut at 14
        mbus_ctl_reset();
        answer(cat({{0, 0, uint8_t(n)}, tail}));
        ASSERT_EQ(cw_v1_battery_api_get_battery_sn(g.bsn), 0);
        Payload want = cat({head(tail, std::min(n, 29)), Payload(32, 0)});
        want[14] = 0;
        EXPECT_EQ(Payload(want.begin(), want.begin() + 32), bytes_of(g.bsn)) << n;
        EXPECT_EQ(request(), (Req{13, 4, 0x0B00, 2000000, 32, Payload(9, 0)}));
        EXPECT_EQ(lines(), Texts{std::string("U get battery sn send SUCCESS:")
                                     .append(tail.begin(), tail.begin() + std::min(n, 14))
                                     .append("\n")});
    }
}

TEST_F(WifiDevice, BatteryRecordsPassThroughUnchanged) {
    const Payload data = ramp(56);
    answer(cat({{0}, data}));
    answer(cat({{0}, data}));
    EXPECT_EQ(cw_v1_battery_api_get_dynamic_info(&g.dyn) | cw_v1_battery_api_get_cell_voltage(kCellReq, &g.cell), 0);
    EXPECT_EQ(cat({bytes_of(g.dyn), bytes_of(g.cell)}), cat({head(data, 55), head(data, 42)}));
    EXPECT_EQ(std::make_pair(request(0), request(1)), std::make_pair(Req{13, 2, 0x0B00, 2000000, 56, {0, 0, 0, 0}},
                                                                     Req{13, 3, 0x0B00, 2000000, 43, {9, 8, 7, 6}}));
}

}  // namespace
