// The library touches the heap only for requests whose length depends on the arguments, and
// gives every such block back. Everything else (commands, handlers, getters, logging) runs on
// the stack.
#include <cirrow/cirrow.h>

#include <algorithm>
#include <functional>
#include <utility>

#include "alloc_counter.h"
#include "cw_test.h"

using namespace cwt;

namespace {

// Every module answers every request with zeros.
int32_t zeros(void *, const mbus_ctl_request_t *, uint8_t *resp, uint32_t len, uint32_t *) {
    std::fill(resp, resp + len, 0);
    return 0;
}

class Heap : public LinkTest {
protected:
    void SetUp() override {
        LinkTest::SetUp();
        if (!heap_counting_available()) {
            GTEST_SKIP() << "the sanitizer owns malloc here";
        }
        for (uint16_t receiver :
             {0x0100, 0x0200, 0x0306, 0x0400, 0x0700, 0x0900, 0x0904, 0x0B00, 0x1105, 0x1107, 0x1200}) {
            mbus_ctl_set_peer(receiver, zeros, nullptr);
        }
    }
    // The heap calls `calls` makes, as allocations and frees.
    static std::pair<uint32_t, uint32_t> heap_of(const std::function<void()> &calls) {
        heap_reset();
        calls();
        return {heap_calls().allocs, heap_calls().frees};
    }
    static void pushes(std::initializer_list<std::pair<int, int>> ids, const Bytes &msg) {
        for (auto [set, id] : ids) {
            push(static_cast<uint8_t>(set), static_cast<uint8_t>(id), msg);
        }
    }
};
const std::pair<uint32_t, uint32_t> kNone = {0, 0}, kOneBlock = {1, 1};

TEST_F(Heap, LinkFlagsAndLoggingUseNoHeap) {
    EXPECT_EQ(heap_of([] {
                  uint8_t resp[4];
                  const uint8_t payload[2] = {1, 2};
                  const V1Request req = {3, 128, 0x0306, payload, 2, resp, 4, 200000};
                  cw_link_v1_send(&req);
                  set_debug_mode(1);
                  (void)is_debug_mode();
                  set_test_mode(0);
                  float pid[3];
                  get_xyz_pid(pid);
              }),
              kNone);
}

#ifdef CW_HAVE_flight
TEST_F(Heap, FlightUsesNoHeapButForItsVariableLengthRequests) {
    cw_register_v1_flight_data();
    EXPECT_EQ(heap_of([] {
                  pushes({{3, 90}, {3, 91}, {3, 106}, {34, 72}, {34, 73}}, Bytes(64, 0x11));
                  FcState state;
                  FcMotorState motors;
                  LocalPosition local;
                  uint8_t progress;
                  cw_flight_get_fc_state(&state);
                  cw_flight_get_fc_motor_state(&motors);
                  cw_flight_get_gps_pos_data(&local, GpsPosition{0.1, 0.2, 3.0f});
                  cw_flight_obtain_control(), cw_flight_takeoff(), cw_flight_land(), cw_flight_yaw_rate_control(0.5f);
                  cw_flight_imu_read_process(7, &progress);
                  cw_v1_flight_api_ds_reset();
                  const uint32_t hash = get_hash_value("g_config.flying_limit.max_height_0");
                  nav_v1_flight_api_read_pm(&hash);
                  cw_v1_flight_get_uuid(), cw_v1_cwqt_switch("start");
              }),
              kNone);
    cw_unregister_v1_flight_data();
    const uint32_t items[3] = {1, 2, 3}, hash = 0x12345678;
    const uint8_t value[8] = {};
    EXPECT_EQ(heap_of([&] { cw_v1_flight_api_ds_bag_add(0, 50, 3, items); }), kOneBlock);
    EXPECT_EQ(heap_of([&] { nav_v1_flight_api_write_pm(&hash, value, sizeof value); }), kOneBlock);
    const auto [allocs, frees] = heap_of([] { cw_set_height_and_radius_limit_value(120, 500); });
    EXPECT_EQ(std::make_pair(allocs > 0, frees), std::make_pair(true, allocs));  // parameter writes by name
}
#endif

#ifdef CW_HAVE_gimbal
TEST_F(Heap, GimbalRcWifiAndDeviceQueriesUseNoHeap) {
    cw_register_v1_gimbal_data();
    cw_register_v1_rc_data();
    EXPECT_EQ(heap_of([] {
                  pushes({{4, 1}, {4, 5}, {4, 63}, {6, 80}, {10, 6}}, Bytes(64, 0x22));
                  GimbalInfo info;
                  RcStickValue stick;
                  int32_t joints[3];
                  char version[16], sn[32];
                  cw_gimbal_get_main_gimbal_info(&info);
                  cw_rc_get_stick_value(&stick);
                  cw_gimbal_reset(), cw_gimbal_mode_control(1), cw_gimbal_query_joint_angle(joints);
                  cw_gimbal_waterwave_trigger("START"), cw_v1_wifi_api_ping(7), cw_v1_wifi_api_version();
                  cw_v1_common_api_get_version(0x0306, version), cw_v1_common_api_get_SN(0, sn);
                  cw_v1_battery_api_get_battery_sn(sn);
              }),
              kNone);
    cw_unregister_v1_gimbal_data();
}
#endif

#ifdef CW_HAVE_vision
TEST_F(Heap, VisionUsesNoHeapButThePanoBuffer) {
    cw_register_v1_vison_data();
    EXPECT_EQ(heap_of([] {
                  push(10, 150, Bytes(16, 0));
                  int32_t proc;
                  cw_get_nav_qs_proc(&proc);
                  cw_v1_quickshot_set_nit_box(1, 0.1f, 0.2f, 0.3f, 0.4f, 2, 3);
              }),
              kNone);
    cw_unregister_v1_vison_data();
    const Bytes records(7 * 255, 0x5A);
    for (uint8_t n : {uint8_t{0}, uint8_t{255}}) {
        EXPECT_EQ(heap_of([&] { cw_v1_pano_image_buf(1, 2, n, records.data()); }), kOneBlock) << int{n};
    }
}
#endif

#ifdef CW_HAVE_camera
TEST_F(Heap, CameraCommandsAndHandlersUseNoHeap) {
    cw_register_v1_camera_status_data();
    EXPECT_EQ(heap_of([] {
                  push(2, 128, Bytes(64, 0x08));
                  float w, h;
                  uint8_t mode;
                  cw_camera_get_resolution(&w, &h);
                  cw_v1_camera_api_query_camera_mode(&mode);
                  cw_v1_camera_api_send_heartbeat(), cw_v1_camera_api_take_photo(1);
              }),
              kNone);
}
#endif

}  // namespace
