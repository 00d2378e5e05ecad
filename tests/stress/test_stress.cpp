// The caches under load: a pushing thread delivers every message kind at full speed while
// application threads poll every getter, call the update functions and send commands. Every
// pushed message has all its bytes equal (a counter), every record an update writes too, so a
// reader that copies a record half-old, half-new gets one that no single message or update can
// produce. CW_STRESS_SECONDS sets the run time.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <set>
#include <thread>

#include "commands.h"
#include "cw_test.h"

using namespace cwt;

namespace {

using Out = std::vector<uint8_t>;
struct Record {  // a multi-word cache record: read into `o`, written with every byte `c`
    const char *name;
    size_t size;  // the bytes compared
    void (*get)(uint8_t *o);
    void (*set)(uint8_t c);
};
template <class T>
T filled(uint8_t c) {
    T v;
    std::memset(&v, c, sizeof v);
    return v;
}
#define RECN(T, n, get_fn, set_fn) \
    {#get_fn, n, [](uint8_t *o) { get_fn(as<T>(o)); }, [](uint8_t c) { const T v = filled<T>(c); set_fn(&v); }}
#define REC(T, get_fn, set_fn) RECN(T, sizeof(T), get_fn, set_fn)
// clang-format off
const Record kRecords[] = {
    REC(FcMotorState, cw_flight_get_fc_motor_state, cw_flight_update_fc_motor_state),
    REC(FcState, cw_flight_get_fc_state, cw_flight_update_fc_state),
    REC(FcSensor, cw_flight_get_fc_sensor, cw_flight_update_fc_sensor),
    REC(GimbalInfo, cw_gimbal_get_main_gimbal_info, cw_gimbal_update_main_gimbal_info),
    REC(GimbalInfo, cw_gimbal_get_fpv_gimbal_info, cw_gimbal_update_fpv_gimbal_info),
    REC(GimbalCtrlInfo, cw_gimbal_get_main_gimbal_ctrl_info, cw_gimbal_update_main_gimbal_ctrl_info),
    RECN(GimbalWvResult, 7, cw_gimbal_get_wv_result, cw_gimbal_update_wv_result),  // then padding
    REC(RcStickValue, cw_rc_get_stick_value, cw_rc_update_stick_value),
    REC(RcExtendValue, cw_rc_get_extend_value, cw_rc_update_extend_value),
    RECN(VioCaliState, 16, cw_peception_get_vio_cali_state, cw_pec_update_vio_cali_state),  // then a count
    REC(OaResult, cw_vision_get_oa_result, cw_vision_update_oa_result),
    REC(MarkerPosition, cw_marker_get_position, cw_marker_put_position),
    {"cw_camera_get_resolution", 8, [](uint8_t *o) { cw_camera_get_resolution(as<float>(o), as<float>(o + 4)); },
     [](uint8_t c) { cw_camera_update_liveview_resolution(filled<float>(c), filled<float>(c)); }},
    {"cw_camera_get_camera_lens_info", 6,
     [](uint8_t *o) { cw_camera_get_camera_lens_info(as<uint16_t>(o), as<uint16_t>(o + 2), as<uint16_t>(o + 4)); },
     [](uint8_t c) { const auto v = filled<uint16_t>(c); cw_camera_update_camera_lens_info(v, v, v); }}};
// The single-word items, polled and set for the race detector.
void (*const kWordGetters[])(uint8_t *o) = {
    [](uint8_t *o) { cw_camera_get_aspect_type(o), cw_camera_get_focus_lens(as<float>(o)), cw_camera_get_piv_mode(o); },
    [](uint8_t *o) { cw_camera_get_focus_status(o), cw_camera_get_camera_type(o), cw_camera_get_camera_mode_profile(); },
    [](uint8_t *) { cw_camera_get_camera_busy_status(), cw_camera_get_core_board_temp(), is_debug_mode(); },
    [](uint8_t *o) { cw_get_cwqt_state(o), cw_get_cwqt_err(o), cw_get_cwqt_proc_status(o), cw_vision_get_tof_data(as<uint16_t>(o)); },
    [](uint8_t *o) { cw_get_nav_pano_status(as<int32_t>(o)), cw_get_nav_pano_submode(o), cw_get_nav_qs_proc(as<int32_t>(o)); },
    [](uint8_t *o) { cw_get_nav_qs_err(as<int32_t>(o)), cw_get_nav_qs_index(o), cw_get_nav_qs_submode(o); },
    [](uint8_t *o) { cw_get_nav_lapse_err(as<int32_t>(o)), cw_get_nav_lapse_proc(as<int32_t>(o)), cw_get_water_wave_score(as<uint32_t>(o)); },
    [](uint8_t *o) { cw_flight_get_gps_pos_data(as<LocalPosition>(o), GpsPosition{}), get_battery_soc_differ(), get_reset_home_flag(); }};
void set_words(uint8_t c) {
    const int32_t v = c;
    cw_camera_update_aspect_type(c), cw_camera_update_focus_lens(c), cw_camera_update_piv_mode(c);
    cw_camera_update_camera_busy_status(c), cw_set_nav_pano_status(&v), cw_set_nav_qs_proc(&v), cw_set_nav_qs_index(&c);
    set_battery_soc_differ(c), set_reset_home_flag(c);
}
// clang-format on

Out read(const Record &r) {
    alignas(8) uint8_t o[kOutSize] = {};
    r.get(o);
    return Out(o, o + r.size);
}

TEST(Stress, NoReaderSeesATornRecord) {
    mbus_ctl_reset();
    mbus_ctl_set_echo(0);
    const std::vector<PushKey> keys = register_every_handler();
    // What a reader may see of each record: what one message or one update of every byte c leaves.
    std::vector<std::set<Out>> whole(std::size(kRecords));
    for (int c = 0; c < 256; ++c) {
        const Out msg(256, uint8_t(c));
        for (const PushKey &k : keys) {
            mbus_ctl_push(k.cmd_set, k.cmd_id, msg.data(), uint32_t(msg.size()));
        }
        for (size_t i = 0; i < std::size(kRecords); ++i) {
            whole[i].insert(read(kRecords[i]));
            kRecords[i].set(uint8_t(c));
            whole[i].insert(read(kRecords[i]));
        }
    }
    const char *env = std::getenv("CW_STRESS_SECONDS");
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(env ? std::atoi(env) : 10);
    std::atomic<bool> stop{false};
    std::atomic<uint64_t> pushes{0}, reads{0}, updates{0}, commands{0};
    std::vector<std::string> torn[3];
    std::vector<std::thread> threads;
    threads.emplace_back([&] {  // the delivery thread
        for (uint8_t c = 0; !stop; ++c, ++pushes) {
            const PushKey k = keys[pushes % keys.size()];
            const Out msg(256, c);
            mbus_ctl_push(k.cmd_set, k.cmd_id, msg.data(), uint32_t(msg.size()));
        }
    });
    for (auto &seen : torn) {
        threads.emplace_back([&] {
            alignas(8) uint8_t o[kOutSize];
            for (size_t n = 0; !stop; ++n, ++reads) {
                const size_t i = n % std::size(kRecords);
                if (!whole[i].count(read(kRecords[i])) && seen.size() < 5) {
                    seen.push_back(kRecords[i].name);
                }
                kWordGetters[n % std::size(kWordGetters)](o);
            }
        });
    }
    threads.emplace_back([&] {
        for (uint8_t c = 0; !stop; ++c, ++updates) {
            kRecords[updates % std::size(kRecords)].set(c);
            set_words(c);
        }
    });
    threads.emplace_back([&] {
        alignas(8) uint8_t o[kOutSize];
        for (; !stop; ++commands) {
            kCommands[commands % std::size(kCommands)].call(o);
        }
    });
    std::this_thread::sleep_until(until);
    stop = true;
    for (std::thread &t : threads) {
        t.join();
    }
    std::printf("stress: %llu pushes, %llu record reads by 3 threads, %llu updates, %llu commands\n",
                (unsigned long long)pushes, (unsigned long long)reads, (unsigned long long)updates,
                (unsigned long long)commands);
    for (const auto &seen : torn) {
        EXPECT_TRUE(seen.empty()) << "torn: " << testing::PrintToString(seen);
    }
    EXPECT_TRUE(pushes && reads && updates && commands);
}

}  // namespace
