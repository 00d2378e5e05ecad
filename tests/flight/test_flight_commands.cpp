// Flight commands on the link: route and payload of every command with its send-failure line, the
// answer policies (ack, expected byte, echo, header, peer's result byte) with the lines that tell
// their paths apart, out-parameters, and the refusal of over-long payloads.
#include <cirrow/cirrow.h>

#include "cw_test.h"

using namespace cwt;

namespace {

uint32_t g_hash = 0x0A0B0C0D;
uint8_t g_progress = 0;
ImuCaliRt g_rt{};
const uint8_t kReq[3] = {0x21, 0x22, 0x23};
const uint16_t kPm = 0x0307;
const uint32_t kItems[2] = {0x01020304, 0xA0B0C0D0};
const FlightAttitudeCmd kAttitude = {3, 4, {1, -2, 3, 4, 5, 6.5f}};

// A request to the flight controller (set 3 unless given): awaited for 200 ms when it has an answer.
Req fc(int id, uint32_t resp_len, const Payload &payload, int set = 3) {
    return {set, id, set == 34 ? 0x1105 : 0x0306, resp_len ? 200000u : 0u, resp_len, payload};
}

class Flight : public LinkTest {};

// A command of the flight api, named without its prefix.
#define F(call) CALL(cw_v1_flight_api_##call)

TEST_F(Flight, RoutesPayloadsAnswerPoliciesAndLines) {
    const Payload adv = cat({{9, 8}, lef32(1.5f), lef32(-2.0f), lef32(0.1f), lef32(3e7f), lef32(-0.0f), lef32(7.25f)});
    const Payload bag = {2, 0x34, 0x12, 1, 2, 4, 3, 2, 1, 0xD0, 0xC0, 0xB0, 0xA0};
    const std::string ack = "U ACK RESULT -----  ", pm = "U [fc_pm]: ", rt = "cw_v1_flight_api_imu_read_cali_rt";
    testing::internal::CaptureStdout();
    // clang-format off
    run({
        {F(ds_reset()), {0}, 0, {"L3 cw flight ds reset success\n"}, fc(21, 1, {})},
        {F(ds_reset()), {2}, -1001, {"L1 cw flight ds reset result fail 2\n"}},
        {F(ds_bag_add(2, 0x1234, 2, kItems)), {}, -5, {"U cw flight ds 2 add send fail -5\n"}, fc(20, 5, bag)},
        {F(ds_bag_add(0, 200, 0, nullptr)), {0, 9, 0, 0, 255}, 0, {ack + "0 ----- 0\n", ack + "1 ----- 9\n",
         ack + "2 ----- 0\n", ack + "3 ----- 0\n", ack + "4 ----- 255\n"}},
        {F(control_enable(1)), {0}, 0, both(3, "cw flight control changed: 1\n"), fc(128, 1, {1, 2})},
        {F(control_enable(2)), {3}, -1001, both(1, "cw flight enable control:2 result fail 3\n")},
        {F(submode_set(4, 7)), {0}, 0, {"L3 cw flight submode 4 changed: 7\n"}, fc(141, 1, {4, 7})},
        {F(submode_set(4, 7)), {1}, -1001, {"L1 cw flight set submoce 4 7 result fail 1\n"}},
        {F(adv_control(9, 8, 1.5f, -2.0f, 0.1f, 3e7f, -0.0f, 7.25f)), {}, -5,
         both(1, "cw_v1_flight_api_adv_control() v1_send fail -5\n"), fc(142, 0, adv)},
        {F(yaw_rate_control(0.3f)), {}, -5, {"L1 cw flight yaw_ctrl fail -5\n"}, fc(158, 0, lef32(0.3f))},
        {F(function_control(6)), {}, -5, {"L1 cw_v1_flight_api_functon_control(6) fail -5\n"}, fc(42, 0, {6})},
        {F(switch_oa(0xAB)), {}, -5, {"L1 cw_v1_flight_api_switch(ab) fail -5\n"}, fc(26, 0, {0xAB})},
        {F(send_heartbeat(50, 3)), {}, -5, {"U cw_v1_flight_api_send_heartbeat() fail -5\n"}, fc(86, 0, {50, 3}, 10)},
        {F(imu_propeller_cali()), {}, -5, {"L1 cw_v1_flight_api_imu_propeller_cali() fail -5\n"}, fc(84, 0, {1}, 10)},
        {F(imu_propeller_cali_reset()), {}, -5, {"L1 cw_v1_flight_api_imu_propeller_cali_reset() fail -5\n"},
         fc(84, 0, {2}, 10)},
        {F(imu_base_heartbeat()), {14}, 0, {}, fc(0, 1, {14}, 0)},
        {F(imu_base_heartbeat()), {0}, -1001, {"L1 cw_v1_flight_api_imu_base_heartbeat fail 0x00\n"}},
        {F(imu_start_cali(0x11223344, 9)), {0, 0x44, 0x33, 0x22, 0x11, 9}, 0, {}, fc(249, 6, {0x44, 0x33, 0x22, 0x11, 9})},
        {F(imu_start_cali(0x11223344, 9)), {0, 0x44, 0x33, 0x22, 0x11, 8}, -1001,
         {"L1 cw_v1_flight_api_imu_start_cali fail 00 44 33 22 11 08\n"}},
        {F(imu_read_process(0xA1B2C3D4, &g_progress)), {1, 0xD4, 0xC3, 0xB2, 0xA1, 60}, -1001,
         {"L1 cw_v1_flight_api_imu_read_process fail 01 d4 c3 b2 a1 3c\n"}, fc(248, 6, {0xD4, 0xC3, 0xB2, 0xA1})},
        {F(imu_read_process(0xA1B2C3D4, &g_progress)), {0, 0xA1, 0xB2, 0xC3, 0xD4, 60}, -1001,
         {"L1 cw_v1_flight_api_imu_read_process fail 00 a1 b2 c3 d4 3c\n"}},  // the key in payload order only
        {F(imu_read_cali_rt(kReq, 3, &g_rt)), {0x0A, 0x01, 0x52, 0x29, 0x2C, 0}, 0, {}, fc(171, 50, {0x21, 0x22, 0x23})},
        {F(imu_read_cali_rt(kReq, 3, &g_rt)), {0x0A, 0x02, 0x52, 0x29, 0x2C, 0}, -1001,
         {"L1 " + rt + "() fail 0a 02 52 29 2c 00\n"}},
        {CALL(nav_v1_flight_api_read_pm(&g_hash)), {0, 0x44, 0x33, 0x22, 0x11, 42}, 0,
         {pm + "hash value: 287454020, read data: 42\n"}, fc(248, 6, {13, 12, 11, 10})},
        {CALL(nav_v1_flight_api_read_pm(&g_hash)), {5}, 5, {pm + "read pm fail 5\n"}},
        {CALL(nav_v1_flight_api_write_pm(&g_hash, &kPm, 2)), {0, 0, 0, 0, 0, 0xFE, 3}, 0,
         {pm + "write finish! current value is 254\n"}, fc(249, 7, {13, 12, 11, 10, 7, 3})},
        {CALL(nav_v1_flight_api_write_pm(&g_hash, &kPm, 2)), {4}, 4, {pm + "write ack result is fail 4\n"}},
        {F(trigger_dowm_vo(0x0102)), {0}, 0, both(3, "cw flight trigger down vo success\n"),
         fc(249, 0, cat({le32(2545813080u), {2, 1}}))},
        {F(trigger_compass_cali(0xBEEF)), {0}, 0, both(3, "cw flight trigger compass cali success\n"),
         fc(249, 0, cat({le32(3329430449u), {0xEF, 0xBE}}))},
        {F(subscribe_vib()), {0}, 0, {"L3 cw flight subscribe vib success\n"}, fc(249, 0, cat({le32(1737311780u), {1, 0}}))},
        {CALL(cw_v1_cwqt_switch("on")), {}, -5, both(1, "cw_v1_cwqt_switch fail -5\n"), fc(72, 0, {1, 0, 5}, 34)},
        {CALL(cw_v1_cwqt_switch("off")), {}, -5, both(1, "cw_v1_cwqt_switch fail -5\n"), fc(72, 0, {2, 0, 0}, 34)},
        {CALL(cw_v1_cwqt_switch("On")), {}, -5, both(1, "cw_v1_cwqt_switch fail -5\n"), fc(72, 0, {0, 0, 0}, 34)},
        {CALL(cw_v1_flight_set_uuid()), {9, 0, 1, 1}, 0, {"U set uuid ok : 0\n"}, fc(218, 4, {7, 0xD0, 0x07, 12, 5, 1, 2, 3, 1, 50})},
        {CALL(cw_v1_flight_set_uuid()), {0, 3}, 3, {"U nav flight set uuid send fail 3\n"}},
        {CALL(cw_v1_flight_get_uuid()), {0xAA, 0, 16, 0x5C}, 0, {"U set uuid len : 16\n", "U set uuid ok : 92\n"}, fc(218, 4, {8})},
        {CALL(cw_v1_flight_get_uuid()), {0, 3, 16, 1}, 3, {"U nav flight set uuid send fail 3\n"}},
    }, -5, "cw_protocal/src/api/cw_v1_flight_api");
    // clang-format on
    // The named parameter writes print their hash before sending.
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "hash value is 2545813080\nhash value is 3329430449\nhash value is 1737311780\n");
}

TEST_F(Flight, OutParametersOnlyOnSuccessAndPayloadLimits) {
    answer({0, 0xD4, 0xC3, 0xB2, 0xA1, 60});
    EXPECT_EQ(cw_v1_flight_api_imu_read_process(0xA1B2C3D4, &g_progress), 0);
    EXPECT_EQ(g_progress, 60);

    // Every value of the calibration read-back sits at an unaligned offset.
    Payload ans = cat({{0x0A, 0x00, 0x52, 0x29, 0x2C, 0x00}, lef32(1.25f), lef32(-3.5f), {0xA1, 0xA2, 0xA3, 0xA4}});
    for (int i = 2; i <= 8; ++i) {
        ans = cat({ans, lef32(static_cast<float>(i) * 0.5f)});
    }
    answer(cat({ans, {0xB1, 0xB2, 0xB3, 0xB4}}));
    answer({0x0B});
    ImuCaliRt rt{};
    ASSERT_EQ(cw_v1_flight_api_imu_read_cali_rt(kReq, 3, &rt), 0);
    EXPECT_EQ(cw_v1_flight_api_imu_read_cali_rt(kReq, 3, &rt), -1001);
    EXPECT_EQ(std::make_tuple(rt.value0, rt.value1, rt.values2_8[0], rt.values2_8[6]),
              std::make_tuple(1.25f, -3.5f, 1.0f, 4.0f));
    EXPECT_EQ(cat({Payload(rt.raw_a, rt.raw_a + 4), Payload(rt.raw_b, rt.raw_b + 4)}),
              (Payload{0xA1, 0xA2, 0xA3, 0xA4, 0xB1, 0xB2, 0xB3, 0xB4}));

    mbus_ctl_reset();
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
    const Payload attitude = cat({{3, 4}, lef32(1), lef32(-2), lef32(3), lef32(4), lef32(5), lef32(6.5f)});
    // clang-format off
    const std::vector<std::pair<std::function<int32_t()>, Payload>> cases = {
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
        EXPECT_EQ(sent().back().payload, (Payload{31}));
    }
    set_test_mode(0);
}

}  // namespace
