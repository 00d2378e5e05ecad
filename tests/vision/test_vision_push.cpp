// Vision push handlers and cache: registrations, decoding, the mission state machines driven by
// message sequences (including those that must change nothing), and the throttled and
// de-duplicated lines.
#include <cirrow/cirrow.h>

#include "cw_test.h"

using namespace cwt;

namespace {

// A clean stand-in with every vision handler registered.
void fresh() {
    mbus_ctl_reset();
    mbus_ctl_set_boot_time(123456789);
    for (auto reg : {cw_register_v1_vison_data, cw_register_v1_get_pano_result, cw_register_v1_quick_shot_result,
                     cw_register_v1_quick_shot_finished, cw_register_v1_lapse_photo_result, cw_register_v1_nav_osd,
                     cw_register_v1_nav_pano_status}) {
        reg();
    }
}

class VisionPush : public LinkTest {
protected:
    void SetUp() override { fresh(); }
};

template <class T>
T get(int32_t (*getter)(T *)) {
    T v{};
    getter(&v);
    return v;
}
template <class T>
void set(int32_t (*setter)(const T *), T v) {
    setter(&v);
}

Payload at(size_t len, std::initializer_list<std::pair<size_t, uint8_t>> bytes) {
    Payload b(len, 0xEE);  // bytes the handler must not read
    for (const auto &[off, v] : bytes) {
        b[off] = v;
    }
    return b;
}
Payload lapse(uint8_t state, uint8_t code) { return at(19, {{17, state}, {18, code}}); }
Payload osd(uint8_t waiting, uint8_t pano, uint8_t qs) { return at(14, {{4, waiting}, {12, pano}, {13, qs}}); }

TEST_F(VisionPush, RegistrationsObstacleAvoidanceAndVioResults) {
    push(10, 115,
         cat({{0x7E}, le16(0x0102), le16(0x0304), le16(0x0506), le16(0x0708), le16(0x090A), le16(0xFFEE), {0xA5}}));
    const OaResult oa = get(cw_vision_get_oa_result);
    const auto &f = oa.oa_flags.bits;  // 0xA5: flags 0, 2 and 5, field 2
    const uint16_t *w = oa.oa_value;
    EXPECT_EQ((std::vector<int>{w[0], w[1], w[2], w[3], w[4], w[5], oa.oa_state, oa.oa_flags.byte, f.flag0, f.flag1,
                                f.flag2, f.flag3, f.flag4, f.flag5, f.field}),
              (std::vector<int>{0x0102, 0x0304, 0x0506, 0x0708, 0x090A, 0xFFEE, 0x7E, 0xA5, 1, 0, 1, 0, 0, 1, 2}));

    set(cw_pec_update_vio_cali_state, VioCaliState{0, 0, 0, 0, 41});  // counting goes on from here
    EXPECT_EQ(printed([] {
                  push(10, 112, cat({le32(static_cast<uint32_t>(-3)), lef32(1.5f), lef32(-0.25f), lef32(90.0f)}));
                  push(10, 112, cat({le32(7), lef32(2.0f), lef32(3.0f), lef32(4.0f)}));
              }),
              "vio result is (flag, roll, pitch, yaw) ::(-3, 1.500000, -0.250000, 90.000000)\n"
              "vio result is (flag, roll, pitch, yaw) ::(7, 2.000000, 3.000000, 4.000000)\n");
    const VioCaliState v = get(cw_peception_get_vio_cali_state);
    EXPECT_EQ(std::make_tuple(v.flag, v.roll, v.pitch, v.yaw, v.result_count),
              std::make_tuple(7, 2.0f, 3.0f, 4.0f, uint64_t{43}));
    EXPECT_TRUE(usrlog().empty());
    cw_unregister_v1_vison_data();
    EXPECT_EQ(registrations(), "+10/112 +10/115 +10/77 +10/57 +10/149 +10/150 +10/121 +10/90 +10/84 -10/112 -10/115 ");
    g_water_wave_score = 0x3F800000u;  // the exported word
    EXPECT_EQ(get(cw_get_water_wave_score), 0x3F800000u);
}

TEST_F(VisionPush, QuickShotProcErrSubmodesAndTargets) {
    for (const auto &[before, flag, after] : std::vector<std::tuple<int32_t, uint8_t, int32_t>>{
             {0, 1, 1}, {0, 0xFF, 1}, {1, 0, 2}, {0, 0, 0}, {1, 7, 1}, {2, 1, 2}, {2, 0, 2}, {5, 0, 5}}) {
        set(cw_set_nav_qs_proc, before);
        push(10, 150, {flag});
        EXPECT_EQ(get(cw_get_nav_qs_proc), after) << before << " flag " << int(flag);
    }
    set(cw_set_nav_qs_err, 0);
    for (uint8_t code : {0, 1, 2, 200}) {
        push(10, 57, at(9, {{8, code}}));
        EXPECT_EQ(get(cw_get_nav_qs_err), code < 2 ? 0 : 1) << int(code);
    }
    EXPECT_EQ(lines("cw_v1_vision_cb_quick_shot_result"),
              (Texts{"U Quick Shot return Fail : 2\n", "U Quick Shot return Fail : 200\n"}));

    // The submodes need the valid bit and no waiting.
    cw_set_nav_pano_submode(9);
    cw_set_nav_qs_submode(9);
    // clang-format off
    for (const auto &[msg, pano, qs] : std::vector<std::tuple<Payload, uint8_t, uint8_t>>{
             {osd(0, 0x0B, 0xFF), 5, 127}, {osd(0, 0x0A, 0x03), 5, 1}, {osd(0x80, 0x01, 0x01), 5, 1}, {osd(0, 0x01, 0x00), 0, 1}}) {
        // clang-format on
        push(10, 90, msg);
        EXPECT_EQ(std::make_pair(get(cw_get_nav_pano_submode), get(cw_get_nav_qs_submode)), std::make_pair(pano, qs));
    }

    // Targets are logged only while the index is 255.
    fresh();
    for (uint8_t index : {0, 254, 255}) {
        set(cw_set_nav_qs_index, index);
        push(10, 149, {1, 4});
        push(10, 149, {0, 4});
    }
    const std::string dashes(30, '-');
    EXPECT_EQ(lines("cw_v1_vision_cb_quick_shot_index"),
              (Texts{"U " + dashes + "Quick Shot Target count1 1 \n", "U ----------Quick Shot Target index 4 \n",
                     "U " + dashes + "Quick Shot Target count1 0 \n", "U Quick Shot Target count 0 \n"}));
}

TEST_F(VisionPush, LapseErrStateMachineAndLines) {
    const std::string obstacle = "U Lapse Photo return Fail , obstacle occur \n";
    const std::string no_link = "U Lapse Photo return no connection! return Fail : 2\n";
    const std::string warning = "U Lapse Photo return Warning Code : ", failure = "U Lapse Photo return Fail : ";
    // clang-format off
    for (const auto &[before, state, code, after, line] : std::vector<std::tuple<int32_t, uint8_t, uint8_t, int32_t, std::string>>{
             {0, 2, 0, -1, ""}, {0, 4, 0, -1, ""}, {-1, 0, 0, 1, ""}, {-1, 5, 0, 1, ""}, {0, 0, 0, 0, ""}, {0, 1, 0, 0, ""},
             {0, 3, 0, 0, obstacle}, {-1, 3, 0, -1, ""}, {-1, 2, 0, -1, ""}, {1, 0, 0, 1, ""}, {0, 2, 2, 0, no_link},
             {-1, 0, 2, -1, no_link}, {-1, 5, 9, -1, warning + "9\n"}, {0, 4, 12, 0, failure + "12\n"}}) {
        // clang-format on
        fresh();
        set(cw_set_nav_lapse_err, before);
        push(10, 121, lapse(state, code));
        EXPECT_EQ(get(cw_get_nav_lapse_err), after) << before << " state " << int(state) << " code " << int(code);
        EXPECT_EQ(lines("cw_v1_vision_cb_lapse_photo_result"), line.empty() ? Texts{} : Texts{line});
    }
    // Every other code is a warning (the ten listed) or a failure.
    for (int code = 3; code < 256; ++code) {
        fresh();
        push(10, 121, lapse(0, static_cast<uint8_t>(code)));
        const bool warns = (code >= 9 && code <= 11) || code == 25 || (code >= 29 && code <= 33) || code == 36;
        ASSERT_EQ(lines(), Texts{std::string(warns ? warning : failure).append(std::to_string(code)).append("\n")});
    }
}

TEST_F(VisionPush, PanoStatusAndFailuresLoggedOncePerRunOfOneCode) {
    push(10, 77, {0});  // a success clears the last failure code, wherever the process stands
    fresh();
    std::vector<int32_t> status;
    for (uint8_t code : {5, 5, 6, 6, 5, 0, 5, 5, 0, 1}) {
        push(10, 77, {code});
        status.push_back(get(cw_get_nav_pano_status));
    }
    EXPECT_EQ(status, (std::vector<int32_t>{-1, -1, -1, -1, -1, 1, -1, -1, 1, -1}));
    Texts fails = lines("cw_v1_vision_cb_get_pano_result");
    std::erase_if(fails, [](const std::string &l) { return l.find("Fail") == std::string::npos; });
    const std::string f = "U Pano Photo return Fail : ";
    EXPECT_EQ(fails, (Texts{f + "5\n", f + "6\n", f + "5\n", f + "5\n", f + "1\n"}));
}

TEST_F(VisionPush, FrequentLinesOnTheFirstMessageThenOneIn49) {
    for (const auto &[id, msg, want] : std::vector<std::tuple<uint8_t, Payload, Texts>>{
             {77, {0}, {"U Pano Photo return Success : 0\n"}},
             {90, osd(1, 0x03, 0x85), {"U waiting:1 pano mode:3, qs mode:133\n"}},
             {84,
              cat({{0xEE, 2, 3}, le32(0xFFFFFFFE), {12, 7, 99}}),
              {"U pano mode:2, mission_state:3, mission_id:-2\n",
               "U total_pic_cnt:12, cur_pic_cnt:7, camera_progress:99\n"}}}) {
        // Until the first line (wherever the process-wide counter stood), then exactly 49 later, twice.
        fresh();
        for (int i = 0; i < 50 && usrlog().empty(); ++i) {
            push(10, id, msg);
        }
        ASSERT_EQ(lines(), want);
        for (size_t round = 2; round <= 3; ++round) {
            for (int i = 1; i < 49; ++i) {
                push(10, id, msg);
            }
            ASSERT_EQ(usrlog().size(), want.size() * (round - 1)) << "logged early";
            push(10, id, msg);
            ASSERT_EQ(usrlog().size(), want.size() * round) << "not logged on the 49th";
        }
    }
    EXPECT_EQ(usrlog()[0].raw.rfind(" 123456789 USRLOG[cw_v1_vision_cb_nav_pano_status :", 0), 0u);
}

}  // namespace
