// The library touches the heap only for requests whose length depends on the arguments, gives
// every such block back, and fails such a request cleanly when the heap fails. Everything else (commands, handlers, getters, logging) runs on
// the stack.
#include <cirrow/cirrow.h>

#include <algorithm>

#include "alloc_counter.h"
#include "cw_test.h"

using namespace cwt;

namespace {

// Every module answers every request with zeros.
int32_t zeros(void *, const mbus_ctl_request_t *, uint8_t *resp, uint32_t len, uint32_t *) {
    std::fill(resp, resp + len, 0);
    return 0;
}

void pushes(std::initializer_list<std::pair<int, int>> ids) {
    for (auto [set, id] : ids) {
        push(static_cast<uint8_t>(set), static_cast<uint8_t>(id), Bytes(64, 0x08));
    }
}

class Heap : public LinkTest {};

TEST_F(Heap, OnlyVariableLengthRequestsTakeABlockAndGiveItBack) {
    if (!heap_counting_available()) {
        GTEST_SKIP() << "the sanitizer owns malloc here";
    }
    for (uint16_t receiver : {0x0100, 0x0200, 0x0306, 0x0400, 0x0700, 0x0900, 0x0904, 0x0B00, 0x1105, 0x1107, 0x1200}) {
        mbus_ctl_set_peer(receiver, zeros, nullptr);
    }
    static const uint32_t items[3] = {1, 2, 3}, hash = 0x12345678;
    static const uint8_t value[8] = {}, records[7 * 255] = {};
    alignas(8) static uint8_t u8[64];
    static char text[32];
    static float f[3];
    static int32_t i32[3];
    struct Case {
        const char *what;
        std::function<void()> calls;
        uint32_t blocks;  // taken and given back
    };
    for (const Case &c : std::vector<Case>{
             {"link, flags, log",
              [] {
                  const V1Request req = {3, 128, 0x0306, u8, 2, u8 + 8, 4, 200000};
                  cw_link_v1_send(&req), set_debug_mode(1), is_debug_mode(), set_test_mode(0), get_xyz_pid(f);
              },
              0},
#ifdef CW_HAVE_flight
             {"flight",
              [] {
                  cw_register_v1_flight_data();
                  pushes({{3, 90}, {3, 91}, {3, 106}, {34, 72}, {34, 73}});
                  cw_flight_get_fc_state(reinterpret_cast<FcState *>(u8));
                  cw_flight_get_fc_motor_state(reinterpret_cast<FcMotorState *>(u8));
                  cw_flight_get_gps_pos_data(reinterpret_cast<LocalPosition *>(u8), GpsPosition{0.1, 0.2, 3.0f});
                  cw_flight_obtain_control(), cw_flight_takeoff(), cw_flight_land(), cw_flight_yaw_rate_control(0.5f);
                  cw_flight_imu_read_process(7, u8), cw_v1_flight_api_ds_reset(), nav_v1_flight_api_read_pm(&hash);
                  cw_v1_flight_get_uuid(), cw_v1_cwqt_switch("start"), cw_unregister_v1_flight_data();
              },
              0},
             {"subscription bag", [] { cw_v1_flight_api_ds_bag_add(0, 50, 3, items); }, 1},
             {"parameter write", [] { nav_v1_flight_api_write_pm(&hash, value, sizeof value); }, 1},
             {"limits by name", [] { cw_set_height_and_radius_limit_value(120, 500); }, 3},
#endif
#ifdef CW_HAVE_gimbal
             {"gimbal, rc, wifi, device",
              [] {
                  cw_register_v1_gimbal_data(), cw_register_v1_rc_data();
                  pushes({{4, 1}, {4, 5}, {4, 63}, {6, 80}, {10, 6}});
                  cw_gimbal_get_main_gimbal_info(reinterpret_cast<GimbalInfo *>(u8));
                  cw_rc_get_stick_value(reinterpret_cast<RcStickValue *>(u8));
                  cw_gimbal_reset(), cw_gimbal_mode_control(1), cw_gimbal_query_joint_angle(i32);
                  cw_gimbal_waterwave_trigger("START"), cw_v1_wifi_api_ping(7), cw_v1_wifi_api_version();
                  cw_v1_common_api_get_version(0x0306, text), cw_v1_common_api_get_SN(0, text);
                  cw_v1_battery_api_get_battery_sn(text), cw_unregister_v1_gimbal_data();
              },
              0},
#endif
#ifdef CW_HAVE_vision
             {"vision",
              [] {
                  cw_register_v1_vison_data();
                  pushes({{10, 150}});
                  cw_get_nav_qs_proc(i32), cw_v1_quickshot_set_nit_box(1, 0.1f, 0.2f, 0.3f, 0.4f, 2, 3);
                  cw_unregister_v1_vison_data();
              },
              0},
             {"empty pano buffer", [] { cw_v1_pano_image_buf(1, 2, 0, records); }, 1},
             {"full pano buffer", [] { cw_v1_pano_image_buf(1, 2, 255, records); }, 1},
#endif
#ifdef CW_HAVE_camera
             {"camera",
              [] {
                  cw_register_v1_camera_status_data();
                  pushes({{2, 128}});
                  cw_camera_get_resolution(f, f + 1), cw_v1_camera_api_query_camera_mode(u8);
                  cw_v1_camera_api_send_heartbeat(), cw_v1_camera_api_take_photo(1);
              },
              0},
#endif
         }) {
        heap_reset();
        c.calls();
        EXPECT_EQ(std::make_pair(heap_calls().allocs, heap_calls().frees), std::make_pair(c.blocks, c.blocks))
            << c.what;
    }
    // When the heap fails, a variable-length request fails with its command's line and is not sent.
#if defined(CW_HAVE_flight) && defined(CW_HAVE_vision)
    // clang-format off
    for (auto [fn, line] : std::initializer_list<std::pair<int32_t (*)(), const char *>>{
             {[] { return cw_v1_flight_api_ds_bag_add(1, 10, 2, items); }, "U cw flight ds 1 add send fail -1002\n"},
             {[] { return nav_v1_flight_api_write_pm(&hash, value, 4); }, "U [fc_pm]: nav flight write pm fail -1002\n"},
             {[] { return cw_v1_pano_image_buf(1, 2, 2, records); }, "U send image buf failed -1002\n"}}) {
        // clang-format on
        mbus_ctl_reset();
        heap_fail_next(1);
        EXPECT_EQ(fn(), CW_ERR_NOMEM) << line;
        heap_fail_next(0);
        EXPECT_EQ(std::make_pair(lines().back(), mbus_ctl_request_count()), std::make_pair(std::string(line), 0u));
    }
#endif
}

}  // namespace
