// The caches under load: a pushing thread delivers every message kind at full speed while four
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

using Out = std::string;  // record bytes
struct Record {           // a multi-word cache record: read into `o`, written with every byte `c`
    const char *name;
    size_t size;
    uint64_t skip;  // bytes not compared: padding the handlers leave as it is, a count
    void (*get)(uint8_t *o);
    void (*set)(uint8_t c);
};
template <class T>
T filled(uint8_t c) {
    T v;
    std::memset(&v, c, sizeof v);
    return v;
}
#define RECS(T, skip, get_fn, set_fn)                                                                                   \
    {                                                                                                                   \
#get_fn, sizeof(T), skip, [](uint8_t *o) { get_fn(as<T>(o)); }, [](uint8_t c) { const T v = filled<T>(c); set_fn(&v); } \
    }
#define REC(T, get_fn, set_fn) RECS(T, 0, get_fn, set_fn)
// clang-format off
const Record kRecords[] = {
    RECS(FcMotorState, 1ull << 35, cw_flight_get_fc_motor_state, cw_flight_update_fc_motor_state),
    RECS(FcState, 1ull << 3 | 1ull << 13, cw_flight_get_fc_state, cw_flight_update_fc_state),
    REC(FcSensor, cw_flight_get_fc_sensor, cw_flight_update_fc_sensor),
    REC(GimbalInfo, cw_gimbal_get_main_gimbal_info, cw_gimbal_update_main_gimbal_info),
    REC(GimbalInfo, cw_gimbal_get_fpv_gimbal_info, cw_gimbal_update_fpv_gimbal_info),
    REC(GimbalCtrlInfo, cw_gimbal_get_main_gimbal_ctrl_info, cw_gimbal_update_main_gimbal_ctrl_info),
    RECS(GimbalWvResult, 1ull << 7, cw_gimbal_get_wv_result, cw_gimbal_update_wv_result),
    REC(RcStickValue, cw_rc_get_stick_value, cw_rc_update_stick_value),
    REC(RcExtendValue, cw_rc_get_extend_value, cw_rc_update_extend_value),
    RECS(VioCaliState, 0xFFull << 16, cw_peception_get_vio_cali_state, cw_pec_update_vio_cali_state),
    RECS(OaResult, 1ull << 1 | 1ull << 15, cw_vision_get_oa_result, cw_vision_update_oa_result),
    REC(MarkerPosition, cw_marker_get_position, cw_marker_put_position),
    {"cw_camera_get_resolution", 8, 0, [](uint8_t *o) { cw_camera_get_resolution(as<float>(o), as<float>(o + 4)); },
     [](uint8_t c) { cw_camera_update_liveview_resolution(filled<float>(c), filled<float>(c)); }},
    {"cw_camera_get_camera_lens_info", 6, 0,
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
    for (size_t i = 0; i < r.size && i < 64; ++i) {
        o[i] = (r.skip >> i & 1) ? 0 : o[i];
    }
    return Out(reinterpret_cast<const char *>(o), r.size);
}

TEST(Stress, NoReaderSeesATornRecord) {
    mbus_ctl_reset();
    mbus_ctl_set_echo(0);
    const std::vector<PushKey> keys = register_every_handler();
    const auto push = [&](size_t kind, uint8_t c) {
        const Out msg(256, char(c));
        mbus_ctl_push(keys[kind % keys.size()].cmd_set, keys[kind % keys.size()].cmd_id, msg.data(), 256);
    };
    // What a reader may see of each record: what one message or one update of every byte c leaves.
    std::vector<std::set<Out>> whole(std::size(kRecords));
    for (int c = 0; c < 256; ++c) {
        for (size_t k = 0; k < keys.size(); ++k) {
            push(k, uint8_t(c));
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
    std::vector<std::string> torn[4];  // per application thread
    std::vector<std::thread> threads;
    threads.emplace_back([&] {  // the delivery thread
        for (uint8_t c = 0; !stop; ++c, ++pushes) {
            push(pushes, c);
        }
    });
    for (auto &seen : torn) {  // application threads: mostly polling, some updates and commands
        threads.emplace_back([&] {
            alignas(8) uint8_t o[kOutSize];
            for (size_t n = 0; !stop; ++n, ++reads) {
                const size_t i = n % std::size(kRecords);
                if (!whole[i].count(read(kRecords[i])) && seen.size() < 5) {
                    seen.push_back(kRecords[i].name);
                }
                kWordGetters[n % std::size(kWordGetters)](o);
                if (n % 4 == 0) {
                    kRecords[++updates % std::size(kRecords)].set(uint8_t(n)), set_words(uint8_t(n));
                }
                if (n % 64 == 0) {
                    kCommands[++commands % std::size(kCommands)].call(o);
                }
            }
        });
    }
    std::this_thread::sleep_until(until);
    stop = true;
    for (std::thread &t : threads) {
        t.join();
    }
    std::printf("stress: %llu pushes, %llu reads\n", (unsigned long long)pushes, (unsigned long long)reads);
    for (const auto &seen : torn) {
        EXPECT_TRUE(seen.empty()) << "torn: " << testing::PrintToString(seen);
    }
    EXPECT_TRUE(pushes && reads && updates && commands);
}

}  // namespace
