// Camera commands: route and payload of every command and wrapper, the lines of the answers they
// log; out-parameters; the mode switch; the argument tests that refuse before sending.
#include <cirrow/cirrow.h>

#include "cw_test.h"

using namespace cwt;

namespace {

uint8_t g_u8, g_path[10];
uint16_t g_u16;
CameraStatusInfo g_st;
const uint8_t kR8[8] = {1, 2, 3, 4, 5, 6, 7, 8}, kF5[5] = {9, 8, 7, 6, 5}, kF6[6] = {13, 0xAA, 2, 3, 4, 5};
constexpr uint32_t kCam = 2000000;

// An accepted command: its request to the camera, quiet and 0. The link failure, the refusal and
// the empty answer of every command are the fault table's.
Row cam(const std::string &name, std::function<int32_t()> fn, int id, uint32_t timeout, uint32_t resp_len,
        const Payload &payload = {}) {
    return {name, std::move(fn), Payload(47, 0), 0, {}, Req{2, id, 0x0100, timeout, resp_len, payload}};
}
#define C(call, ...) cam(CALL(call), __VA_ARGS__)
#define W(name, call, ...) cam(CALL_AS(name, call), __VA_ARGS__)  // a wrapper and its command

class CameraCommands : public LinkTest {};

TEST_F(CameraCommands, EveryCommandsRequestAndTheLinesOfItsOwnAnswers) {
    const std::string top = "U [cirrow] set camera top mode ";
    // clang-format off
    run({
        C(cw_v1_camera_api_query_camera_mode(&g_u8), 17, kCam, 2),
        W(cw_v1_camera_api_query_camera_mode, cw_camera_get_workmode(&g_u8), 17, kCam, 2),
        {CALL(cw_v1_camera_api_send_heartbeat()), {1}, 0, {}, Req{0, 14, 0x0100, 0, 0, {}}},
        {CALL_AS(cw_v1_camera_api_send_heartbeat, cw_camera_send_heartbeat()), {1}, 0, {}, Req{0, 14, 0x0100, 0, 0, {}}},
        C(cw_v1_camera_api_set_photo_storage_format(7), 22, 200000, 1, {7}),
        C(cw_v1_camera_api_set_storage_path("SDCard"), 218, 200000, 1, {1, 0, 0, 0, 2, 0, 0, 1}),
        C(cw_v1_camera_api_set_storage_path("EMCC"), 218, 200000, 1, {1, 0, 0, 0, 2, 0, 1, 0}),
        C(cw_v1_camera_api_take_video("START"), 2, kCam, 1, {1}), C(cw_v1_camera_api_take_video("STOP"), 2, kCam, 1, {0}),
        C(cw_v1_camera_api_get_path(g_path), 146, kCam, 10), C(cw_v1_camera_api_get_focus_mode(&g_u8), 37, kCam, 2),
        W(cw_v1_camera_api_get_focus_mode, cw_camera_get_focus_mode(&g_u8), 37, kCam, 2),
        C(cw_v1_camera_api_set_focus_mode(4), 36, kCam, 1, {4}),
        W(cw_v1_camera_api_set_focus_mode, cw_camera_set_focus_mode(4), 36, kCam, 1, {4}),
        C(cw_v1_camera_api_get_status(&g_st), 112, kCam, 6), C(cw_v1_camera_get_curr_focus_len(&g_u16), 135, kCam, 47),
        C(cw_v1_camera_set_af_region(kR8), 48, kCam, 1, {1, 2, 3, 4, 5, 6, 7, 8}),
        W(cw_v1_camera_set_af_region, cw_camera_set_af_region(kR8), 48, kCam, 1, {1, 2, 3, 4, 5, 6, 7, 8}),
        C(cw_v1_camera_api_switch_exposure_mode(5, 6), 30, kCam, 1, {5, 6}), C(cw_v1_camera_api_set_iso(9), 42, kCam, 1, {9}),
        C(cw_v1_camera_api_set_shutter(1, 1, 0x0123, 7), 40, kCam, 1, {1, 0x23, 0x81, 7}),
        C(cw_v1_camera_api_set_shutter(1, 0, 0x8123, 7), 40, kCam, 1, {1, 0x23, 0x81, 7}),
        C(cw_v1_camera_api_set_video_format(kF5), 24, kCam, 1, {9, 8, 7, 6, 5}),
        W(cw_v1_camera_api_set_video_format, cw_camera_set_video_format(kF5), 24, kCam, 1, {9, 8, 7, 6, 5}),
        C(cw_v1_camera_api_set_video_storage_format(2), 28, kCam, 1, {2}),
        C(cw_v1_camera_api_set_camera_focus(0xA1B2), 162, kCam, 1, {0xB2, 0xA1}),
        W(cw_v1_camera_api_set_camera_focus, cw_camera_set_focus_lens(0xA1B2), 162, kCam, 1, {0xB2, 0xA1}),
        C(cw_v1_camera_api_set_photo_format(kF6), 106, kCam, 1, {13, 0xAA, 2, 3, 4, 5}),
        C(cw_v1_camera_api_set_timelapse(kF6), 74, kCam, 1, {13, 0xAA, 2, 3, 4, 5}),
        C(cw_v1_camera_api_take_photo(9), 1, 5000000, 1, {9}),
        // Refusals that log what the camera said, and the answers these commands log.
        {CALL(cw_v1_camera_api_query_camera_mode(&g_u8)), {3}, CW_ERR_ACK, {"U fetch camera mode send fail ret: 0, ack: 3\n"}},
        {CALL(cw_v1_camera_api_set_shutter(1, 1, 1, 7)), {3}, 0, {"U switch exposure mode fail result = 0 ack = 3\n"}},
        {CALL(cw_v1_camera_api_ping(0x42)), {3, 9}, 0, {"U cw ping camera success, ack:9\n"}, Req{0, 0, 0x0100, kCam, 2, {0x42}}},
        {CALL(cw_v1_camera_control_zoom(-1, 77, 0x1234)), {0}, 0, {"U cw ctrl camera zoom success, ack:255\n"},
         Req{2, 184, 0x0100, kCam, 2, {1, 0x4A, 0x34, 0x12}}},  // byte 1 of the answer stays as pre-filled
        {CALL(cw_v1_camera_set_top_mode(3)), {4}, CW_ERR_ACK, {top + "ack fail when switch function 4\n"}, Req{2, 225, 0x0100, kCam, 1, {3}}},
    });
    // clang-format on
}

TEST_F(CameraCommands, OutParametersOnSuccessOnly) {
    uint8_t mode = 0xEE, focus = 0xEE, path[10] = {};
    uint16_t focal = 0;
    CameraStatusInfo st = {0xDEADBEEF, 0xEE};
    answer({3, 7});  // a refused focus mode is logged, not returned, and not written either
    EXPECT_EQ(std::make_pair(cw_v1_camera_api_get_focus_mode(&focus), focus), std::make_pair(0, uint8_t{0xEE}));
    Payload len(47, 0x55);
    len[0] = 0, len[28] = 0x34, len[29] = 0x12;
    for (const Payload &a :
         {Payload{0, 1}, Payload{0, 7}, Payload{0, 0xFE, 1, 2, 3, 0x44}, len, Payload{5, 1, 2, 3, 4, 5, 6, 7, 8, 9}}) {
        answer(a);  // the path answer lands whatever its result byte
    }
    EXPECT_EQ((std::vector<int32_t>{cw_v1_camera_api_query_camera_mode(&mode), cw_v1_camera_api_get_focus_mode(&focus),
                                    cw_v1_camera_api_get_status(&st), cw_v1_camera_get_curr_focus_len(&focal),
                                    cw_v1_camera_api_get_path(path)}),
              std::vector<int32_t>(5, 0));
    EXPECT_EQ(std::make_tuple(mode, focus, st.state, st.detail, focal), std::make_tuple(1, 7, 0xFEu, 0x44, 0x1234));
    EXPECT_EQ(Payload(path, path + 10), (Payload{5, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST_F(CameraCommands, SwitchModeQueriesFirstAndSendsOnlyWhenTheModeDiffers) {
    // clang-format off
    for (auto [name, current, target] : {std::tuple{"VIDEO", 1, -1}, {"PHOTO", 0, -1}, {"VIDEO", 0, 1}, {"PHOTO", 1, 0},
                                         {"video", 1, 0}, {nullptr, 1, 0}, {"other", 0, -1}}) {
        // clang-format on
        mbus_ctl_reset();
        answer({0, uint8_t(current)});
        answer({0});
        EXPECT_EQ(cw_camera_switch_mode(name), 0);
        const auto s = sent();
        ASSERT_EQ(s.size(), target < 0 ? 1u : 2u) << (name ? name : "null");
        EXPECT_EQ(s[0].cmd_id, 17);
        if (target >= 0) {
            EXPECT_EQ(std::tie(s[1].cmd_set, s[1].cmd_id, s[1].timeout, s[1].resp_len, s[1].payload),
                      std::make_tuple(2, 16, kCam, 1u, Payload{uint8_t(target)}));
        }
    }
    mbus_ctl_reset();
    fail_next(-7);  // a failed query ends it with the query's line
    answer({0, 0});
    answer({4});
    EXPECT_EQ(cw_v1_camera_api_switch_mode("VIDEO"), CW_ERR_ACK);
    EXPECT_EQ(cw_v1_camera_api_switch_mode("VIDEO"), CW_ERR_ACK);
    EXPECT_EQ(sent().size(), 3u);
    EXPECT_EQ(lines(), (Texts{"U fetch camera mode send fail ret: -7, ack: 0\n",
                              "U [cirrow] switch camera mode send fail ret: 0, ack: 4\n"}));
    EXPECT_EQ(usrlog()[0].func + " " + usrlog()[1].func,
              "cw_v1_camera_api_query_camera_mode cw_v1_camera_api_switch_mode");
}

TEST_F(CameraCommands, ArgumentTestsRefuseBeforeSending) {
    const uint8_t mode14[6] = {14, 0, 0}, type3[6] = {0, 0, 3};
    EXPECT_EQ((std::tuple{cw_v1_camera_api_take_photo(10), cw_v1_camera_api_set_photo_format(mode14),
                          cw_v1_camera_api_set_photo_format(type3), cw_v1_camera_api_set_storage_path("sdcard"),
                          cw_v1_camera_api_set_storage_path(nullptr), cw_v1_camera_api_take_video("start")}),
              std::make_tuple(CW_ERR_PARAM, CW_ERR_PARAM, CW_ERR_PARAM, CW_ERR_ACK, CW_ERR_ACK, CW_ERR_PARAM));
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(lines(),
              (Texts{"U [cirrow] photo type error: 10\n", "U [cirrow] param error: mode 14, type 0\n",
                     "U [cirrow] param error: mode 0, type 3\n", "U [cirrow] path name must be SDCard or EMCC!\n",
                     "U [cirrow] path name must be SDCard or EMCC!\n",
                     "U [cirrow] take video action must be START or STOP: start\n"}));
}

}  // namespace
