// Gimbal and remote controller: commands with their routes, payloads (through the wrappers), flags
// byte, answer policies and lines, the joint-angle reorder; the caches with their registrations,
// byte-wise decoding of each pushed message at any alignment into only its own record, module init
// and unregistering.
#include <cirrow/cirrow.h>

#include "cw_test.h"

using namespace cwt;

namespace {

int32_t g_v[3];
const GimbalAngleCmd kAngle = {-2, 0x1234, 300, 1, 0, 1, 0, 1, 0, 0xBEEF};
const GimbalRateCmd kRate = {-1, 2, -300, 1, 1, 1, 1, 1};
const int G = 0x0400;
// A wrapper and the gimbal command that writes its lines.
#define W(cmd, call) CALL_AS(cw_v1_gimbal_api_##cmd, call)

class Gimbal : public LinkTest {};

TEST_F(Gimbal, RequestsAnswerPoliciesAndLines) {
    const std::string angle = "cw_v1_gimbal_api_angle_control(1, 2, 3, 0, 0, 0, 0, 0, 0, 4)";
    // clang-format off
    run({
        {W(mode_control, cw_gimbal_mode_control(0x7F)), {5}, 0, {"U [cirrow] change mode send fail ret:0 ack: 5\n"},
         Req{4, 68, G, 200000, 1, {0x7F}}},
        {W(angle_control, cw_gimbal_angle_control(&kAngle)), {}, -5,
         {"U cw gimbal angle control send fail ret:-5, ack = 0\n"},
         Req{4, 10, G, 1000000, 1, {0xFE, 0xFF, 0x34, 0x12, 0x2C, 0x01, 0x0A, 0, 0xAA, 0, 0xEF, 0xBE}}},
        {angle, [] { return cw_v1_gimbal_api_angle_control(1, 2, 3, 0, 0, 0, 0, 0, 0, 4); }, {7}, 0,
         {"U cw gimbal angle control send fail ret:0, ack = 7\n"}},  // a refusal logged, the send result returned
        {angle, [] { return cw_v1_gimbal_api_angle_control(1, 2, 3, 0, 0, 0, 0, 0, 0, 4); }, {0}, 0, {}},
        {W(angle_control, cw_gimbal_reset()), {0}, 0, {},
         Req{4, 10, G, 1000000, 1, {0, 0, 0, 0, 0, 0, 0x0A, 0, 0xA2, 0, 0x0A, 0}}},
        {W(rate_control, cw_gimbal_rate_control(&kRate)), {}, -5, {"L1 nav gimbal rate control send fail -5\n"},
         Req{4, 12, G, 0, 0, {0xFF, 0xFF, 0x02, 0x00, 0xD4, 0xFE, 0xDE}}},
        {W(reset_yaw, cw_gimbal_reset_yaw()), {}, -5, {"L1 cw gimbal reset yaw send fail -5\n"},
         Req{4, 12, G, 0, 0, {0, 0, 0, 0, 0, 0, 0x20}}},
        {W(release_control, cw_gimbal_release_control()), {}, -5, {"L1 cw gimbal angle control send fail -5\n"},
         Req{4, 10, G, 0, 0, Payload(12, 0)}},
        {W(query_joint_angle, cw_gimbal_query_joint_angle(g_v)), {1}, -1001,
         {"L1 cw gimbal api query joint angle ack != 0\n"}, Req{4, 104, G, 200000, 15, {0x11, 1, 1}}},
        {W(waterwave_trigger, cw_gimbal_waterwave_trigger("START")), {2}, -1001,
         {"U cw gimbal api trigger waterwave detect ack != 0\n"}, Req{4, 61, G, 20000, 1, {0x10}}},
        {W(waterwave_trigger, cw_gimbal_waterwave_trigger("start")), {0}, 0, {}, Req{4, 61, G, 20000, 1, {0}}},
        {CALL(cw_v1_gimbal_api_waterwave_trigger(nullptr)), {0}, 0, {}, Req{4, 61, G, 20000, 1, {0}}},
        {CALL(cw_v1_gimbal_subscribe_info(1, 2, 3)), {9}, -1001, {"U nav gimbal subscribe result fail 9\n"},
         Req{4, 30, G, 200000, 1, {1, 2, 3, 0}}},
        {CALL(cw_v1_gimbal_subscribe_info(1, 2, 3)), {0}, 0, {"U nav gimbal subscribe success\n"}},
    }, -5, "cw_protocal/src/api/cw_v1_gimbal_api");
    // The flags byte takes bit 0 of each flag: flag1..flag6, then the angle and the rate command's
    // flags byte (rate control has no flag5).
    for (const auto &f : std::vector<std::array<uint8_t, 8>>{{1, 0, 1, 0, 1, 0, 0xAA, 0x8A}, {0, 1, 0, 1, 0, 1, 0xD4,
    0xD4},
             {255, 255, 255, 255, 255, 255, 0xFE, 0xDE}, {2, 4, 8, 0x10, 0x20, 0x40, 0x80, 0x80}}) {
        // clang-format on
        mbus_ctl_reset();
        cw_v1_gimbal_api_angle_control(0, 0, 0, f[0], f[1], f[2], f[3], f[4], f[5], 0);
        cw_v1_gimbal_api_rate_control(0, 0, 0, f[0], f[1], f[2], f[3], f[5]);
        EXPECT_EQ(std::make_pair(sent().at(0).payload[8], sent().at(1).payload[6]), std::make_pair(f[6], f[7]));
    }
    // Joint angles come back reordered.
    int32_t v[3] = {7, 8, 9};
    answer(cat({{0, 0xAA, 0xBB}, le32(0x11223344), le32(0x80000001), le32(0xFFFFFFFE)}));
    EXPECT_EQ(cw_gimbal_query_joint_angle(v), 0);
    EXPECT_EQ(std::vector<int32_t>(v, v + 3), (std::vector<int32_t>{0x11223344, -2, INT32_MIN + 1}));
}

// All six records as one image of their field bytes (little-endian host, as the messages):
// main info [0,16), fpv info [16,32), ctrl info [32,40), water-wave [40,47), stick [47,55),
// extend [55,61). The water-wave record's padding byte is left out.
Payload image() {
    GimbalInfo main, fpv;
    GimbalCtrlInfo ctrl;
    GimbalWvResult wv;
    RcStickValue stick;
    RcExtendValue extend;
    EXPECT_EQ(cw_gimbal_get_main_gimbal_info(&main) | cw_gimbal_get_fpv_gimbal_info(&fpv) |
                  cw_gimbal_get_main_gimbal_ctrl_info(&ctrl) | cw_gimbal_get_wv_result(&wv) |
                  cw_rc_get_stick_value(&stick) | cw_rc_get_extend_value(&extend),
              0);
    const Payload w = bytes_of(wv);
    return cat({bytes_of(main), bytes_of(fpv), bytes_of(ctrl), Payload(w.begin(), w.begin() + 7), bytes_of(stick),
                bytes_of(extend)});
}

struct Kind {
    uint8_t set, id;
    size_t at, len;  // where the message's record lies in image(), and the message length
};
const Kind kKinds[] = {{4, 5, 0, 16}, {4, 1, 32, 8}, {4, 63, 40, 7}, {10, 6, 47, 8}, {6, 80, 55, 6}};

class GimbalCaches : public LinkTest {
protected:
    void SetUp() override {
        LinkTest::SetUp();
        cw_gimbal_module_init();
        cw_rc_module_init();
        EXPECT_EQ(cw_register_v1_gimbal_data() | cw_register_v1_rc_data(), 0);
    }
};

TEST_F(GimbalCaches, EachMessageDecodesAtAnyAlignmentIntoOnlyItsRecord) {
    const GimbalInfo fpv = {1, 2, 3, 4, 5, 0xF00D};
    cw_gimbal_update_fpv_gimbal_info(&fpv);
    for (size_t offset = 0; offset < 4; ++offset) {
        for (const Kind &k : kKinds) {
            Payload payload(k.len);
            for (size_t i = 0; i < k.len; ++i) {
                payload[i] = uint8_t(0x80 + 0x10 * offset + i);  // a different value at every byte and round
            }
            Payload want = image();
            std::copy(payload.begin(), payload.end(), want.begin() + k.at);
            // From an odd place in memory, followed by bytes that the handler must not take.
            Payload buf = cat({Payload(offset, 0xCC), payload, Payload(8, 0xCC)});
            const mbus_v1_cb_t cb = mbus_ctl_handler(k.set, k.id);
            ASSERT_NE(cb, nullptr);
            EXPECT_EQ(cb(buf.data() + offset), 0);
            EXPECT_EQ(image(), want) << int(k.set) << "/" << int(k.id) << " at +" << offset;
        }
    }
    EXPECT_EQ(cw_gimbal_module_init() | cw_rc_module_init(), 0);
    EXPECT_EQ(image(), Payload(61, 0));  // fpv included
}

TEST_F(GimbalCaches, UnregisteredGimbalMessagesLeaveTheCacheAsItWas) {
    const GimbalWvResult kept = {7, 8, 9, 10};
    cw_gimbal_update_wv_result(&kept);
    cw_unregister_v1_gimbal_data();
    EXPECT_EQ(registrations(), "+4/1 +4/5 +4/63 +6/80 +10/6 -4/1 -4/5 -4/63 ");
    for (const Kind &k : kKinds) {
        push(k.set, k.id, Payload(16, 0x66));
    }
    EXPECT_EQ(image(), cat({Payload(40, 0), {7, 0, 8, 0, 9, 0, 10}, Payload(14, 0x66)}));  // rc stays registered
}

}  // namespace
