// Vision mission and self-test commands and the marker message: bytes on the link, results, and
// the lines on both channels ("L<level> text" leveled, "U text" usrlog), each naming its command.
#include <cirrow/cirrow.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <thread>
#include <tuple>

#include "cw_test.h"

using namespace cwt;

namespace {

constexpr int32_t kLinkFail = -110;
uint8_t g_records[7 * 255];  // a full pano image buffer
const std::string kApi = "cw_protocal/src/api/cw_v1_vision_api";
const std::string kTestcmd = "cw_protocal/src/api/cw_v1_testcmd_api";

// A request of the vision set.
Req vis(int id, int receiver, const Payload &payload, uint32_t timeout = 0, uint32_t resp_len = 0) {
    return {10, id, receiver, timeout, resp_len, payload};
}

class VisionCommands : public LinkTest {};

// Mission commands are sent without awaiting an answer; their lines once sent. Their link
// failures are the fault table's.
TEST_F(VisionCommands, MissionRequestsAndTheirLines) {
    const std::string vm = "vision module ";
    const auto ok = [](std::string call, std::function<int32_t()> fn, Texts lines, int id, int receiver,
                       Payload payload) {
        return Row{std::move(call), std::move(fn), {0}, 0, std::move(lines), vis(id, receiver, payload)};
    };
    for (size_t i = 0; i < sizeof g_records; ++i) {
        g_records[i] = static_cast<uint8_t>(i * 7 + 3);
    }
    const Payload full = cat({le32(0xA1B2C3D4), {0x5E, 0, 0, 255}, Payload(g_records, g_records + sizeof g_records)});
    // clang-format off
    run({
        ok(CALL(cw_v1_vision_api_subscribe_oa_result(1)), {}, 116, 0x1200, {1}),
        ok(CALL(cw_v1_vision_api_subscribe_ric_result(2)), {}, 183, 0x1200, {2}),
        // The aliases are the subscriptions themselves, down to the name on their lines.
        ok(CALL_AS(cw_v1_vision_api_subscribe_oa_result, cw_vision_subscribe_oa_result(9)), {}, 116, 0x1200, {9}),
        ok(CALL_AS(cw_v1_vision_api_subscribe_ric_result, cw_vision_subscribe_ric_result(8)), {}, 183, 0x1200, {8}),
        {CALL_AS(cw_v1_vision_api_subscribe_oa_result, cw_vision_subscribe_oa_result(9)), {}, kLinkFail, {"L1 subscribe oa result fail -110\n"}},
        ok(CALL(cw_v1_vision_switch_to_pano(4, 5)), {"L1 [CW_pano] switch to pano success: 0\n"}, 91, 0x1107, {4, 5}),
        ok(CALL(cw_v1_vision_pano_control(6)), both(3, vm + "start Pano Photo success\n"), 62, 0x1107, {6}),
        ok(CALL(cw_v1_quickshot_set_nit_box(0x11, 1.5f, -2.25f, 1e-3f, 640.0f, 0x22, 0xA1B2)), both(3, vm + "quick_shot Set Box success\n"),
           32, 0x1107, cat({{0x11}, lef32(1.5f), lef32(-2.25f), lef32(1e-3f), lef32(640.0f), {0x22}, le16(0xA1B2)})),
        ok(CALL(cw_v1_vision_quickshot_enable(7, 8, 9)),
           {"L3 " + vm + "Enable quick_shot success\n", "U " + vm + "Enable quick_shot or lapse_photo success\n"}, 41, 0x1107, {7, 8, 9}),
        ok(CALL(cw_v1_quickshot_set_param(1, 2, 3, 4, 5, 6, 7, 8, 9, -0.5f, 0xFD, 0xFE, 0xFF)), both(3, vm + "quick_shot set_parm success\n"),
           74, 0x1107, cat({{1, 2, 3, 4, 5, 6, 7, 8, 9}, lef32(-0.5f), {0xFD, 0xFE, 0xFF}})),
        ok(CALL(cw_v1_quickshot_set_index(0, 255, 1)), both(3, vm + "quick_shot set_index success\n"), 148, 0x1107, {0, 255, 1}),
        ok(CALL(cw_v1_lapse_photo_submode(12)),
           {"L3 " + vm + "lapse_photo set_index success\n", "U " + vm + "lapse_photo submode success\n"}, 116, 0x1107, {12}),
        ok(CALL(cw_v1_lapse_photo_point(-2, 0x12345678, 0x33)), both(3, vm + "lapse_photo set point success\n"), 118, 0x1107,
           cat({le32(0xFFFFFFFE), le32(0x12345678), {0x33}})),
        ok(CALL(cw_v1_lapse_photo_go(1, 0x0302, 0x0504, 0x8877665544332211ull, 0xAA, 0xBB)), both(3, vm + "lapse_photo start success\n"),
           120, 0x1107, cat({{1}, le16(0x0302), le16(0x0504), le64(0x8877665544332211ull), {0xAA, 0xBB}})),
        ok(CALL(cw_v1_lapse_photo_recover(13, 14)), {"U " + vm + "lapse_photo recover success\n"}, 122, 0x1107, {13, 14}),
        ok(CALL(cw_v1_qs160_mode(2, 3.0f, 4)), {"L3 " + vm + "qs160  success\n", "U " + vm + "qs160 success\n"}, 240, 0x0200,
           cat({{2}, lef32(3.0f), {4}})),
        ok(CALL(cw_v1_qs160_index(5)), both(3, vm + "qs160 index success\n"), 241, 0x0200, {5}),
        ok(CALL(cw_v1_qs160_go(5)), both(3, vm + "qs160 go success\n"), 241, 0x0200, {5}),
        // The pano image buffer at its bounds: a one-byte answer buffer, not awaited.
        {CALL(cw_v1_pano_image_buf(0xA1B2C3D4, 0x5E, 0, nullptr)), {0}, 0, both(3, "send image buf success\n"),
         vis(155, 0x1107, cat({le32(0xA1B2C3D4), {0x5E, 0, 0, 0}}), 0, 1)},
        {CALL(cw_v1_pano_image_buf(0xA1B2C3D4, 0x5E, 255, g_records)), {0}, 0, both(3, "send image buf success\n"),
         vis(155, 0x1107, full, 0, 1)},
    }, kLinkFail, kApi);
    // clang-format on
}

int32_t slow_ack(void *ctx, const mbus_ctl_request_t *, uint8_t *resp, uint32_t, uint32_t *delay_us) {
    static_cast<std::atomic<int> *>(ctx)->fetch_add(1);
    resp[0] = 0;
    *delay_us = 50000;
    return 0;
}

// The started flag lives as long as the process and nothing clears it: its whole life is one test.
TEST_F(VisionCommands, AutotestStartedFlagAcrossFailuresARaceAStopAndAStartAndTheDistanceLimit) {
    const Req start = {16, 27, 0x1107, 200000, 1, {1}};
    // clang-format off
    run({
        {CALL(cw_v1_testcmd_api_vision_start_autotest()), {}, kLinkFail,
         {"L1 vision module start autotest fail -110\n", "U ==navigation autotest closed! \n",
          "U vision module start autotest fail1 -110\n"}, start},
        {CALL(cw_v1_testcmd_api_vision_start_autotest()), {2}, CW_ERR_ACK,
         {"L1 vision module start autotest fail 2\n", "U ==navigation autotest closed! \n",
          "U vision module start autotest fail2 2\n"}, start},
        {CALL(cw_v1_autotest_stop_distance_limit()), {0x05, 0x00}, 0, {"U autotest close distance limit success! \n"},
         Req{3, 218, 0x0306, 200000, 2, cat({{0x07}, Payload(8, 0x00), Payload(14, 0x01)})}},
        {CALL(cw_v1_autotest_stop_distance_limit()), {0x00, 0x03}, CW_ERR_ACK,
         both(1, "autotest close distance limit fail 3\n")},
    }, kLinkFail, kTestcmd);
    // clang-format on

    // Three starts at once: one request, and all of them succeed.
    mbus_ctl_reset();
    std::atomic<int> asked{0};
    mbus_ctl_set_peer(0x1107, slow_ack, &asked);
    std::vector<int32_t> results(3, -1);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < results.size(); ++i) {
        threads.emplace_back([&results, i] { results[i] = cw_v1_testcmd_api_vision_start_autotest(); });
    }
    for (auto &t : threads) {
        t.join();
    }
    EXPECT_EQ(std::make_pair(results, asked.load()), std::make_pair(std::vector<int32_t>{0, 0, 0}, 1));
    EXPECT_EQ(lines("cw_v1_testcmd_api_vision_start_autotest", kTestcmd),
              (Texts{"L3 vision module start autotest success\n", "U ==navigation autotest closed! \n",
                     "U vision module start autotest success\n", "U ===vision module already start autotest! \n",
                     "U ===vision module already start autotest! \n"}));

    // Stop sends whatever the flag says, and leaves it set.
    // clang-format off
    run({
        {CALL(cw_v1_testcmd_api_vision_stop_autotest()), {1}, CW_ERR_ACK,
         {"L1 vision module stop autotest fail 1\n", "U vision module stop autotest fail2 1\n"}},
        {CALL(cw_v1_testcmd_api_vision_stop_autotest()), {0}, 0, both(3, "vision module stop autotest success\n"),
         Req{16, 27, 0x1107, 200000, 1, {0}}},
    }, kLinkFail, kTestcmd);
    // clang-format on
    mbus_ctl_reset();
    EXPECT_EQ(cw_v1_testcmd_api_vision_start_autotest(), 0);
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(lines("cw_v1_testcmd_api_vision_start_autotest", kTestcmd),
              (Texts{"U ===vision module already start autotest! \n"}));
}

// ---- Marker ----

void ignore(void *, const void *, uint32_t) {}

TEST_F(VisionCommands, MarkerMessageHandOverAndItsSixAttemptFailurePath) {
    mbus_ctl_tm_set_receiver("fly_marker_thread", ignore, nullptr);
    const MarkerMsg msg = {1, 0, 3};
    EXPECT_EQ(cw_send_msg_to_marker(&msg), 0);
    EXPECT_EQ(lines("cw_send_msg_to_marker", kApi),
              Texts{"U cw_send_msg_to_marker() paper_id:3 gimbal_on:1 enable_qrcode:0\n"});

    mbus_ctl_tm_fail(-7, 1);  // only the first attempt fails
    const MarkerMsg other = {-1, 0x01020304, 70000};
    EXPECT_EQ(cw_send_msg_to_marker(&other), -1);
    ASSERT_EQ(mbus_ctl_message_count(), 7u);
    for (uint32_t i = 0; i < 7; ++i) {
        mbus_ctl_message_t m;
        mbus_ctl_message_get(i, &m);
        const Payload bytes = i == 0 ? Payload{1, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0}
                                     : cat({le32(0xFFFFFFFF), le32(0x01020304), le32(70000)});
        EXPECT_EQ(std::make_tuple(std::string(m.name), m.len, m.flags, Payload(m.data, m.data + 12), m.result),
                  std::make_tuple(std::string("fly_marker_thread"), 12u, 0u, bytes, i == 1 ? -7 : 0));
    }
    const Texts all = lines("cw_send_msg_to_marker", kApi);
    EXPECT_EQ(Texts(all.begin() + 1, all.end()),
              (Texts{"U cw_send_msg_to_marker() fail -7\n", "U cw_send_msg_to_marker() fail -7 0\n",
                     "U cw_send_msg_to_marker() fail -7 1\n", "U cw_send_msg_to_marker() fail -7 2\n",
                     "U cw_send_msg_to_marker() fail -7 3\n", "U cw_send_msg_to_marker() fail -7 4\n"}));
}

TEST_F(VisionCommands, MarkerPositionRoundTripsWholeAndInitClearsIt) {
    MarkerPosition in, out;
    for (size_t i = 0; i < sizeof in.bytes; ++i) {
        in.bytes[i] = static_cast<uint8_t>(0xFF - i);
    }
    cw_marker_put_position(&in);
    cw_marker_get_position(&out);
    EXPECT_EQ(std::memcmp(&out, &in, 164), 0);
    EXPECT_EQ(cw_marker_module_init(), 0);
    cw_marker_get_position(&out);
    EXPECT_EQ(Payload(out.bytes, out.bytes + 164), Payload(164, 0));
}

}  // namespace
