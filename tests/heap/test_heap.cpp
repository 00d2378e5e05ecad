// The library touches the heap only for requests whose length depends on the arguments, and
// gives every such block back. Everything else (commands, handlers, getters, logging) runs on
// the stack.
#include <cirrow/cirrow.h>

#include <algorithm>
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

    static void expect_no_heap() {
        EXPECT_EQ(heap_calls().allocs, 0u);
        EXPECT_EQ(heap_calls().frees, 0u);
    }
};

TEST_F(Heap, LinkFlagsAndLoggingUseNoHeap) {
    heap_reset();
    uint8_t resp[4];
    const uint8_t payload[2] = {1, 2};
    const V1Request req = {3, 128, 0x0306, payload, 2, resp, 4, 200000};
    answer({0, 0, 0, 0});
    EXPECT_EQ(cw_link_v1_send(&req), 0);
    set_debug_mode(1);
    (void)is_debug_mode();
    set_test_mode(0);
    float pid[3];
    get_xyz_pid(pid);
    expect_no_heap();
}

#ifdef CW_HAVE_flight
TEST_F(Heap, FlightCommandsHandlersAndCacheUseNoHeap) {
    cw_register_v1_flight_data();
    heap_reset();
    const Bytes msg(64, 0x11);
    for (auto [set, id] : {std::pair{3, 90}, {3, 91}, {3, 106}, {34, 72}, {34, 73}}) {
        push(static_cast<uint8_t>(set), static_cast<uint8_t>(id), msg);
    }
    FcState state;
    cw_flight_get_fc_state(&state);
    FcMotorState motors;
    cw_flight_get_fc_motor_state(&motors);
    LocalPosition local;
    cw_flight_get_gps_pos_data(&local, GpsPosition{0.1, 0.2, 3.0f});
    cw_flight_obtain_control();
    cw_flight_takeoff();
    cw_flight_land();
    cw_flight_yaw_rate_control(0.5f);
    uint8_t progress;
    cw_flight_imu_read_process(7, &progress);
    cw_v1_flight_api_ds_reset();
    const uint32_t hash = get_hash_value("g_config.flying_limit.max_height_0");
    nav_v1_flight_api_read_pm(&hash);
    cw_v1_flight_get_uuid();
    cw_v1_cwqt_switch("start");
    expect_no_heap();
    cw_unregister_v1_flight_data();
}

TEST_F(Heap, VariableLengthRequestsGiveTheirBlockBack) {
    const uint32_t items[3] = {1, 2, 3};
    const uint32_t hash = 0x12345678;
    const uint8_t value[8] = {};
    heap_reset();
    cw_v1_flight_api_ds_bag_add(0, 50, 3, items);
    EXPECT_EQ(heap_calls().allocs, 1u) << "subscription bag";
    EXPECT_EQ(heap_calls().frees, 1u) << "subscription bag";
    heap_reset();
    nav_v1_flight_api_write_pm(&hash, value, sizeof value);
    EXPECT_EQ(heap_calls().allocs, 1u) << "parameter write";
    EXPECT_EQ(heap_calls().frees, 1u) << "parameter write";
    heap_reset();
    cw_set_height_and_radius_limit_value(120, 500);  // parameter writes by name
    EXPECT_GT(heap_calls().allocs, 0u);
    EXPECT_EQ(heap_calls().frees, heap_calls().allocs);
}
#endif

#ifdef CW_HAVE_gimbal
TEST_F(Heap, GimbalRcWifiAndDeviceQueriesUseNoHeap) {
    cw_register_v1_gimbal_data();
    cw_register_v1_rc_data();
    heap_reset();
    const Bytes msg(64, 0x22);
    for (auto [set, id] : {std::pair{4, 1}, {4, 5}, {4, 63}, {6, 80}, {10, 6}}) {
        push(static_cast<uint8_t>(set), static_cast<uint8_t>(id), msg);
    }
    GimbalInfo info;
    cw_gimbal_get_main_gimbal_info(&info);
    RcStickValue stick;
    cw_rc_get_stick_value(&stick);
    cw_gimbal_reset();
    cw_gimbal_mode_control(1);
    int32_t joints[3];
    cw_gimbal_query_joint_angle(joints);
    cw_gimbal_waterwave_trigger("START");
    cw_v1_wifi_api_ping(7);
    cw_v1_wifi_api_version();
    char version[16];
    cw_v1_common_api_get_version(0x0306, version);
    char sn[32];
    cw_v1_common_api_get_SN(0, sn);
    cw_v1_battery_api_get_battery_sn(sn);
    expect_no_heap();
    cw_unregister_v1_gimbal_data();
}
#endif

#ifdef CW_HAVE_vision
TEST_F(Heap, VisionHandlersAndMissionCommandsUseNoHeapButThePanoBuffer) {
    cw_register_v1_vison_data();
    heap_reset();
    push(10, 150, Bytes(16, 0));
    int32_t proc;
    cw_get_nav_qs_proc(&proc);
    cw_v1_quickshot_set_nit_box(1, 0.1f, 0.2f, 0.3f, 0.4f, 2, 3);
    expect_no_heap();
    cw_unregister_v1_vison_data();

    const Bytes records(7 * 255, 0x5A);
    for (uint8_t n : {uint8_t{0}, uint8_t{255}}) {
        heap_reset();
        cw_v1_pano_image_buf(1, 2, n, records.data());
        EXPECT_EQ(heap_calls().allocs, 1u) << "pano buffer of " << int{n};
        EXPECT_EQ(heap_calls().frees, 1u) << "pano buffer of " << int{n};
    }
}
#endif

#ifdef CW_HAVE_camera
TEST_F(Heap, CameraCommandsAndHandlersUseNoHeap) {
    cw_register_v1_camera_status_data();
    heap_reset();
    push(2, 128, Bytes(64, 0x08));
    float w, h;
    cw_camera_get_resolution(&w, &h);
    uint8_t mode;
    cw_v1_camera_api_query_camera_mode(&mode);
    cw_v1_camera_api_send_heartbeat();
    cw_v1_camera_api_take_photo(1);
    expect_no_heap();
}
#endif

}  // namespace
