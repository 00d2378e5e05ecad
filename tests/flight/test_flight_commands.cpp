// Flight commands on the link: routing and payload bytes of every command with its send-failure
// line, the answer policies (ack, expected byte, echo, header, peer's result byte) with the lines
// that tell their paths apart, out-parameters, and the refusal of over-long payloads.
#include <cirrow/cirrow.h>

#include <cstring>
#include <functional>

#include "cw_test.h"

using namespace cwt;
using Texts = std::vector<std::string>;
using Call = std::function<int32_t()>;

namespace {

uint32_t g_hash = 0x0A0B0C0D;
uint8_t g_progress = 0;
ImuCaliRt g_rt{};
const uint8_t kReq[3] = {0x21, 0x22, 0x23};
const uint16_t kPm = 0x0307;
const uint32_t kItems[2] = {0x01020304, 0xA0B0C0D0};
const FlightAttitudeCmd kAttitude = {3, 4, {1, -2, 3, 4, 5, 6.5f}};
enum Chan { kLev, kUsr, kBoth };

struct Row {
    std::string call;  // the command's own name leads its call
    Call fn;
    uint8_t set, id;
    uint32_t resp_len;  // 0: sent without waiting
    Bytes payload;
    Chan chan;
    std::string fail;  // the send-failure line for link code -5
};
// clang-format off
#define ROW(call, ...) Row{#call, [] { return call; }, __VA_ARGS__}
// clang-format on

class Flight : public LinkTest {};

Texts lines() {
    Texts out;
    for (const Line &l : leveled()) {
        out.push_back("L" + std::to_string(l.level) + " " + l.text);
    }
    for (const std::string &t : usrlog_texts()) {
        out.push_back("U " + t);
    }
    return out;
}

TEST_F(Flight, RouteAndPayloadOfEveryCommandAndItsSendFailureLine) {
    const Bytes adv = cat({{9, 8}, lef32(1.5f), lef32(-2.0f), lef32(0.1f), lef32(3e7f), lef32(-0.0f), lef32(7.25f)});
    const std::vector<Row> rows = {
        ROW(cw_v1_flight_api_ds_reset(), 3, 21, 1, {}, kLev, "cw flight ds reset send fail -5\n"),
        ROW(cw_v1_flight_api_ds_bag_add(2, 0x1234, 2, kItems), 3, 20, 5,
            {2, 0x34, 0x12, 1, 2, 4, 3, 2, 1, 0xD0, 0xC0, 0xB0, 0xA0}, kUsr, "cw flight ds 2 add send fail -5\n"),
        ROW(cw_v1_flight_api_control_enable(1), 3, 128, 1, {1, 2}, kUsr, "cw flight enabel control:1 fail -5\n"),
        ROW(cw_v1_flight_api_submode_set(4, 7), 3, 141, 1, {4, 7}, kLev, "cw flight set submode 4 7 fail -5\n"),
        ROW(cw_v1_flight_api_adv_control(9, 8, 1.5f, -2.0f, 0.1f, 3e7f, -0.0f, 7.25f), 3, 142, 0, adv, kBoth,
            "cw_v1_flight_api_adv_control() v1_send fail -5\n"),
        ROW(cw_v1_flight_api_yaw_rate_control(0.3f), 3, 158, 0, lef32(0.3f), kLev, "cw flight yaw_ctrl fail -5\n"),
        ROW(cw_v1_flight_api_function_control(6), 3, 42, 0, {6}, kLev, "cw_v1_flight_api_functon_control(6) fail -5\n"),
        ROW(cw_v1_flight_api_switch_oa(0xAB), 3, 26, 0, {0xAB}, kLev, "cw_v1_flight_api_switch(ab) fail -5\n"),
        ROW(cw_v1_flight_api_send_heartbeat(50, 3), 10, 86, 0, {50, 3}, kUsr,
            "cw_v1_flight_api_send_heartbeat() fail -5\n"),
        ROW(cw_v1_flight_api_imu_propeller_cali(), 10, 84, 0, {1}, kLev,
            "cw_v1_flight_api_imu_propeller_cali() fail -5\n"),
        ROW(cw_v1_flight_api_imu_propeller_cali_reset(), 10, 84, 0, {2}, kLev,
            "cw_v1_flight_api_imu_propeller_cali_reset() fail -5\n"),
        ROW(cw_v1_flight_api_imu_base_heartbeat(), 0, 0, 1, {14}, kLev,
            "cw_v1_flight_api_imu_base_heartbeat() fail -5\n"),
        ROW(cw_v1_flight_api_imu_start_cali(0x11223344, 9), 3, 249, 6, {0x44, 0x33, 0x22, 0x11, 9}, kLev,
            "cw_v1_flight_api_imu_start_cali() fail -5\n"),
        ROW(cw_v1_flight_api_imu_read_process(0xA1B2C3D4, &g_progress), 3, 248, 6, {0xD4, 0xC3, 0xB2, 0xA1}, kLev,
            "cw_v1_flight_api_imu_read_process() fail -5\n"),
        ROW(cw_v1_flight_api_imu_read_cali_rt(kReq, 3, &g_rt), 3, 171, 50, {0x21, 0x22, 0x23}, kLev,
            "cw_v1_flight_api_imu_read_cali_rt() fail -5\n"),
        ROW(nav_v1_flight_api_read_pm(&g_hash), 3, 248, 6, {13, 12, 11, 10}, kUsr,
            "[fc_pm]: nav flight read pm fail -5\n"),
        ROW(nav_v1_flight_api_write_pm(&g_hash, &kPm, 2), 3, 249, 7, {13, 12, 11, 10, 7, 3}, kUsr,
            "[fc_pm]: nav flight write pm fail -5\n"),
        ROW(cw_v1_flight_api_trigger_dowm_vo(0x0102), 3, 249, 0, cat({le32(2545813080u), {2, 1}}), kLev,
            "cw flight trigger down vo 258 fail-5\n"),
        ROW(cw_v1_flight_api_trigger_compass_cali(0xBEEF), 3, 249, 0, cat({le32(3329430449u), {0xEF, 0xBE}}), kLev,
            "cw flight trigger compass cali fail -5\n"),
        ROW(cw_v1_flight_api_subscribe_vib(), 3, 249, 0, cat({le32(1737311780u), {1, 0}}), kLev,
            "cw flight subscribe vib fail -5\n"),
        ROW(cw_v1_cwqt_switch("on"), 34, 72, 0, {1, 0, 5}, kBoth, "cw_v1_cwqt_switch fail -5\n"),
        ROW(cw_v1_cwqt_switch("off"), 34, 72, 0, {2, 0, 0}, kBoth, "cw_v1_cwqt_switch fail -5\n"),
        ROW(cw_v1_cwqt_switch("On"), 34, 72, 0, {0, 0, 0}, kBoth, "cw_v1_cwqt_switch fail -5\n"),
        ROW(cw_v1_flight_set_uuid(), 3, 218, 4, {7, 0xD0, 0x07, 12, 5, 1, 2, 3, 1, 50}, kUsr,
            "nav flight set uuid send fail -5\n"),
        ROW(cw_v1_flight_get_uuid(), 3, 218, 4, {8}, kUsr, "nav flight get uuid send fail -5\n"),
    };
    StdoutCapture out;
    for (const Row &r : rows) {
        const std::string func = r.call.substr(0, r.call.find('('));
        SCOPED_TRACE(r.call);
        mbus_ctl_reset();
        fail_next(-5);
        EXPECT_EQ(r.fn(), -5);
        const auto s = sent();
        ASSERT_EQ(s.size(), 1u);
        const uint16_t receiver = r.set == 34 ? 0x1105 : 0x0306;
        EXPECT_EQ(std::make_tuple(s[0].cmd_set, s[0].cmd_id, s[0].receiver, s[0].resp_len, s[0].timeout),
                  std::make_tuple(r.set, r.id, receiver, r.resp_len, r.resp_len ? 200000u : 0u));
        EXPECT_EQ(std::make_pair(s[0].payload_null, s[0].resp_null), std::make_pair(r.payload.empty(), !r.resp_len));
        EXPECT_EQ(s[0].payload, r.payload);
        Texts want;
        if (r.chan != kUsr) {
            want.push_back("L1 " + r.fail);
        }
        if (r.chan != kLev) {
            want.push_back("U " + r.fail);
        }
        EXPECT_EQ(lines(), want);
        for (const Line &l : leveled()) {
            EXPECT_EQ(l.func + " " + l.file,
                      func + " ../cw_basic/cw_communication/cw_protocal/src/api/cw_v1_flight_api");
        }
        for (const UsrLine &u : usrlog()) {
            EXPECT_EQ(u.func, func);
        }
    }
    // The named parameter writes print their hash before sending.
    EXPECT_EQ(out.text(), "hash value is 2545813080\nhash value is 3329430449\nhash value is 1737311780\n");
}

struct Judged {
    Call fn;
    Bytes answer;
    int32_t rc;
    Texts lines;  // "L<level> text" on the leveled log, "U text" on the usrlog, in the order written
};

TEST_F(Flight, AnswerPoliciesAndTheirLines) {
    const Call enable = [] { return cw_v1_flight_api_control_enable(2); };
    const Call submode = [] { return cw_v1_flight_api_submode_set(4, 7); };
    const Call start = [] { return cw_v1_flight_api_imu_start_cali(0x11223344, 9); };
    const Call process = [] { return cw_v1_flight_api_imu_read_process(0xA1B2C3D4, &g_progress); };
    const Call cali_rt = [] { return cw_v1_flight_api_imu_read_cali_rt(kReq, 3, &g_rt); };
    const Call bag = [] { return cw_v1_flight_api_ds_bag_add(0, 200, 0, nullptr); };
    const Call read_pm = [] { return nav_v1_flight_api_read_pm(&g_hash); };
    const Call write_pm = [] { return nav_v1_flight_api_write_pm(&g_hash, &kPm, 2); };
    // clang-format off
    const std::vector<Judged> cases = {
        {enable, {0}, 0, {"L3 cw flight control changed: 2\n", "U cw flight control changed: 2\n"}},
        {enable, {3}, -1001, {"L1 cw flight enable control:2 result fail 3\n",
                              "U cw flight enable control:2 result fail 3\n"}},
        {submode, {0}, 0, {"L3 cw flight submode 4 changed: 7\n"}},
        {submode, {1}, -1001, {"L1 cw flight set submoce 4 7 result fail 1\n"}},
        {cw_v1_flight_api_ds_reset, {0}, 0, {"L3 cw flight ds reset success\n"}},
        {cw_v1_flight_api_ds_reset, {2}, -1001, {"L1 cw flight ds reset result fail 2\n"}},
        {cw_v1_flight_api_imu_base_heartbeat, {14}, 0, {}},
        {cw_v1_flight_api_imu_base_heartbeat, {0}, -1001, {"L1 cw_v1_flight_api_imu_base_heartbeat fail 0x00\n"}},
        {start, {0, 0x44, 0x33, 0x22, 0x11, 9}, 0, {}},
        {start, {0, 0x44, 0x33, 0x22, 0x11, 8}, -1001, {"L1 cw_v1_flight_api_imu_start_cali fail 00 44 33 22 11 08\n"}},
        {process, {1, 0xD4, 0xC3, 0xB2, 0xA1, 60}, -1001,
         {"L1 cw_v1_flight_api_imu_read_process fail 01 d4 c3 b2 a1 3c\n"}},
        {process, {0, 0xA1, 0xB2, 0xC3, 0xD4, 60}, -1001,  // the key as an integer, not in payload order
         {"L1 cw_v1_flight_api_imu_read_process fail 00 a1 b2 c3 d4 3c\n"}},
        {cali_rt, {0x0A, 0x01, 0x52, 0x29, 0x2C, 0}, 0, {}},
        {cali_rt, {0x0A, 0x02, 0x52, 0x29, 0x2C, 0}, -1001,
         {"L1 cw_v1_flight_api_imu_read_cali_rt() fail 0a 02 52 29 2c 00\n"}},
        {bag, {0, 9, 0, 0, 255}, 0, {"U ACK RESULT -----  0 ----- 0\n", "U ACK RESULT -----  1 ----- 9\n",
                                     "U ACK RESULT -----  2 ----- 0\n", "U ACK RESULT -----  3 ----- 0\n",
                                     "U ACK RESULT -----  4 ----- 255\n"}},
        {read_pm, {0, 0x44, 0x33, 0x22, 0x11, 42}, 0, {"U [fc_pm]: hash value: 287454020, read data: 42\n"}},
        {read_pm, {5}, 5, {"U [fc_pm]: read pm fail 5\n"}},
        {write_pm, {0, 0, 0, 0, 0, 0xFE, 3}, 0, {"U [fc_pm]: write finish! current value is 254\n"}},
        {write_pm, {4}, 4, {"U [fc_pm]: write ack result is fail 4\n"}},
        {cw_v1_flight_set_uuid, {9, 0, 1, 1}, 0, {"U set uuid ok : 0\n"}},
        {cw_v1_flight_set_uuid, {0, 3}, 3, {"U nav flight set uuid send fail 3\n"}},
        {cw_v1_flight_get_uuid, {0xAA, 0, 16, 0x5C}, 0, {"U set uuid len : 16\n", "U set uuid ok : 92\n"}},
        {cw_v1_flight_get_uuid, {0, 3, 16, 1}, 3, {"U nav flight set uuid send fail 3\n"}},
        {[] { return cw_v1_flight_api_trigger_dowm_vo(1); }, {}, 0, {"L3 cw flight trigger down vo success\n",
                                                                     "U cw flight trigger down vo success\n"}},
        {[] { return cw_v1_flight_api_trigger_compass_cali(1); }, {}, 0,
         {"L3 cw flight trigger compass cali success\n", "U cw flight trigger compass cali success\n"}},
        {cw_v1_flight_api_subscribe_vib, {}, 0, {"L3 cw flight subscribe vib success\n"}},
    };
    // clang-format on
    for (size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(i);
        mbus_ctl_reset();
        answer(cases[i].answer);
        EXPECT_EQ(cases[i].fn(), cases[i].rc);
        EXPECT_EQ(lines(), cases[i].lines);
    }
}

TEST_F(Flight, OutParametersOnlyOnSuccess) {
    g_progress = 0xEE;
    answer({0, 0xD4, 0xC3, 0xB2, 0xA0, 60});
    EXPECT_EQ(cw_v1_flight_api_imu_read_process(0xA1B2C3D4, &g_progress), -1001);
    EXPECT_EQ(g_progress, 0xEE);
    answer({0, 0xD4, 0xC3, 0xB2, 0xA1, 60});
    EXPECT_EQ(cw_v1_flight_api_imu_read_process(0xA1B2C3D4, &g_progress), 0);
    EXPECT_EQ(g_progress, 60);

    // Every value of the calibration read-back sits at an unaligned offset.
    Bytes ans = cat({{0x0A, 0x00, 0x52, 0x29, 0x2C, 0x00}, lef32(1.25f), lef32(-3.5f), {0xA1, 0xA2, 0xA3, 0xA4}});
    for (int i = 2; i <= 8; ++i) {
        ans = cat({ans, lef32(static_cast<float>(i) * 0.5f)});
    }
    answer(cat({ans, {0xB1, 0xB2, 0xB3, 0xB4}}));
    ImuCaliRt rt{};
    ASSERT_EQ(cw_v1_flight_api_imu_read_cali_rt(kReq, 3, &rt), 0);
    EXPECT_EQ(std::make_tuple(rt.value0, rt.value1, rt.values2_8[0], rt.values2_8[6]),
              std::make_tuple(1.25f, -3.5f, 1.0f, 4.0f));
    EXPECT_EQ(cat({Bytes(rt.raw_a, rt.raw_a + 4), Bytes(rt.raw_b, rt.raw_b + 4)}),
              (Bytes{0xA1, 0xA2, 0xA3, 0xA4, 0xB1, 0xB2, 0xB3, 0xB4}));
    answer({0x0B});
    EXPECT_EQ(cw_v1_flight_api_imu_read_cali_rt(kReq, 3, &rt), -1001);
    EXPECT_EQ(rt.value0, 1.25f);
}

TEST_F(Flight, VariableLengthPayloadsAtAndBeyondTheirLimits) {
    std::vector<uint32_t> items(63, 0x01020304);
    std::vector<uint8_t> value(251, 0x77);
    answer({0, 0, 0, 0, 0});
    EXPECT_EQ(cw_v1_flight_api_ds_bag_add(1, 200, 62, items.data()), 0);
    EXPECT_NE(cw_v1_flight_api_ds_bag_add(1, 200, 63, items.data()), 0);
    answer({0});
    EXPECT_EQ(nav_v1_flight_api_write_pm(&g_hash, value.data(), 250), 0);
    EXPECT_NE(nav_v1_flight_api_write_pm(&g_hash, value.data(), 251), 0);
    const auto s = sent();
    ASSERT_EQ(s.size(), 2u);  // the refused ones never reach the link
    EXPECT_EQ(std::make_tuple(s[0].payload.size(), s[1].payload.size(), s[1].resp_len),
              std::make_tuple(size_t{253}, size_t{254}, 255u));
}

TEST_F(Flight, WrappersWithFixedArguments) {
    const Bytes attitude = cat({{3, 4}, lef32(1), lef32(-2), lef32(3), lef32(4), lef32(5), lef32(6.5f)});
    // clang-format off
    const std::vector<std::pair<Call, Bytes>> cases = {
        {cw_flight_obtain_control, {1, 2}}, {cw_flight_release_control, {2, 2}}, {cw_flight_takeoff, {1}},
        {cw_flight_enable_oa, {0xFF}}, {cw_flight_disable_oa, {0x00}}, {cw_flight_land, {6}},
        {[] { return cw_flight_send_flytest_mode(7); }, {50, 7}},
        {[] { return cw_flight_attitude_control(&kAttitude); }, attitude}};
    // clang-format on
    set_test_mode(0);
    for (const auto &[call, payload] : cases) {
        fail_next(-9);
        EXPECT_EQ(call(), -9);
        EXPECT_EQ(sent().back().payload, payload);
    }
    for (uint8_t mode : {1, 2, 3, 4}) {  // every test mode, and an unknown one, lands with function 31
        set_test_mode(mode);
        answer({});
        EXPECT_EQ(cw_flight_land(), 0);
        EXPECT_EQ(sent().back().payload, (Bytes{31}));
    }
    set_test_mode(0);
}

}  // namespace
