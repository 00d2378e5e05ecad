// Flight cache fed by the push handlers, the rate-limited log lines, the IMU data group, the
// local frame around the GPS origin and the data subscription at start-up.
#include <cirrow/cirrow.h>

#include <cmath>
#include <cstring>
#include <numbers>

#include "cw_test.h"

using namespace cwt;

namespace {

class FlightCache : public LinkTest {
protected:
    void SetUp() override {
        LinkTest::SetUp();
        cw_register_v1_flight_data();
    }
};

Bytes ramp(size_t n, uint8_t from) {
    Bytes b(n);
    for (size_t i = 0; i < n; ++i) {
        b[i] = static_cast<uint8_t>(from + i);
    }
    return b;
}

TEST_F(FlightCache, HandlersFillTheRecordsAndModuleInitClearsThem) {
    cw_unregister_v1_flight_data();
    EXPECT_EQ(registrations(), "+3/90 +3/91 +3/106 +34/72 +34/73 -3/90 -3/91 -3/106 -34/72 -34/73 ");
    cw_register_v1_flight_data();
    push(3, 90, cat({{0xA5}, ramp(32, 0x10), {0x77}}));
    push(3, 91, {1, 2, 3, 0x34, 0x12, 0x78, 0x56, 8, 9, 10, 11, 12});
    push(3, 106, ramp(60, 1));
    push(34, 73, {1, 0x42, 0x07, 3, 4, 5});
    push(34, 73, {2, 0x99, 0x99, 9, 9, 9});  // not a heartbeat: dropped
    FcMotorState m;
    FcState s;
    std::vector<uint8_t> sensor(59);  // exactly 59 bytes move each way
    uint8_t state = 0, err = 0, status = 0;
    const auto read_all = [&] {
        cw_flight_get_fc_motor_state(&m);
        cw_flight_get_fc_state(&s);
        cw_flight_get_fc_sensor(reinterpret_cast<FcSensor *>(sensor.data()));
        cw_get_cwqt_state(&state);
        cw_get_cwqt_err(&err);
    };
    read_all();
    EXPECT_EQ(
        std::make_tuple(m.byte0_low, m.byte0_high, m.words1[0], m.words1[7], m.words17[0], m.words17[7], m.byte33),
        std::make_tuple(0x5, 0xA, 0x1110, 0x1F1E, 0x2120, 0x2F2E, 0x77));
    EXPECT_EQ((Bytes{s.byte0, s.byte1, s.byte2, s.byte7, s.byte8, s.byte9, s.byte10, s.byte11}),
              (Bytes{1, 2, 3, 8, 9, 10, 11, 12}));
    EXPECT_EQ(std::make_tuple(s.word3, s.word5, state, err), std::make_tuple(0x1234, 0x5678, 0x42, 0x07));
    EXPECT_EQ(sensor, ramp(59, 1));

    for (const auto &[reported, running] :
         std::vector<std::pair<uint8_t, uint8_t>>{{3, 1}, {1, 0}, {4, 0}, {2, 0}, {3, 1}}) {
        push(34, 72, {reported});
        cw_get_cwqt_proc_status(&status);
        EXPECT_EQ(status, running) << int(reported);
    }
    uint8_t origin[60] = {};
    const double lat = 0.5;
    std::memcpy(origin + 40, &lat, 8);
    cw_flight_set_gps_origin_data(origin);

    // Init clears the four records; the process status and the origin stay.
    EXPECT_EQ(cw_flight_module_init(), 0);
    read_all();
    EXPECT_EQ(cat({bytes_of(m), bytes_of(s), sensor, {state, err}}), Bytes(36 + 14 + 59 + 2, 0));
    LocalPosition p;
    cw_flight_get_gps_pos_data(&p, GpsPosition{0, 0.5, 0});
    cw_get_cwqt_proc_status(&status);
    EXPECT_EQ(std::make_pair(status, p.north), std::make_pair(uint8_t{1}, 0.0f));
}

// Runs `event` until its line appears (wherever the process-wide counter stood), then checks that
// the next line comes exactly `period` events later, with the value of the event that fired it.
void expect_one_line_per(int period, void (*event)(uint8_t), const std::string &text, const std::string &func) {
    for (int i = 0; i <= period && usrlog().empty(); ++i) {
        event(0);
    }
    for (int i = 1; i < period; ++i) {
        event(0);
    }
    ASSERT_EQ(usrlog().size(), 1u);
    event(0x2B);
    ASSERT_EQ(usrlog().size(), 2u);
    EXPECT_EQ(std::make_pair(usrlog()[1].text, usrlog()[1].func), std::make_pair(text, func));
}

void fc_state(uint8_t v) { push(3, 91, {0, 0, 0, 0, 0, 0, 0, 0, v, 0, 0, 0}); }
void heartbeat(uint8_t v) { push(34, 73, {1, v, 0, 0, 0, 0}); }

TEST_F(FlightCache, RateLimitedLines) {
    expect_one_line_per(102, fc_state, "---FC STATE UPDATE ------ 43 \n", "cw_flight_update_fc_state");
    mbus_ctl_reset();
    cw_register_v1_flight_data();
    expect_one_line_per(51, heartbeat, "[cirrow] cwqt-> state 43\n", "cw_v1_cwqt_cb_heartbeat");
}

TEST_F(FlightCache, ImuDataGroupFromTheDataManager) {
    const Bytes data = ramp(136, 0x40);
    mbus_ctl_dm_set_imu(data.data());
    ImuDataGroup g{};
    const int32_t before = mbus_ctl_dm_outstanding();
    EXPECT_EQ(cw_flight_get_imu_data_group(&g), 0);
    EXPECT_EQ(std::make_pair(bytes_of(g), mbus_ctl_dm_outstanding()), std::make_pair(data, before));
    mbus_ctl_dm_fail_take(-61);
    EXPECT_EQ(cw_flight_get_imu_data_group(&g), -61);
    mbus_ctl_dm_fail_return(-7);
    EXPECT_EQ(cw_flight_get_imu_data_group(&g), -7);
    const auto lev = leveled();
    ASSERT_EQ(lev.size(), 2u);
    EXPECT_EQ(
        std::make_tuple(lev[0].level, lev[0].text, lev[1].text, lev[1].func, lev[1].file),
        std::make_tuple(1u, "mbus_dm_take() error: -61\n", "mbus_dm_take() error: -7\n", "cw_flight_get_imu_data_group",
                        "../cw_basic/cw_communication/cw_application/flight/src/cw_flight"));
}

TEST_F(FlightCache, LocalPositionAroundTheOrigin) {
    const double lat0 = 0.7, lon0 = 2.0, pi = std::numbers::pi, r = 6378137.0;
    const float alt0 = 12.5f;
    uint8_t rec[61] = {};  // the origin's fields at odd addresses
    std::memcpy(rec + 41, &lat0, 8);
    std::memcpy(rec + 49, &lon0, 8);
    std::memcpy(rec + 57, &alt0, 4);
    cw_flight_set_gps_origin_data(rec + 1);

    LocalPosition p{};
    EXPECT_EQ(cw_flight_get_gps_pos_data(&p, GpsPosition{lon0, lat0, alt0}), 0);
    EXPECT_EQ(std::make_tuple(p.north, p.east, p.up, p.valid), std::make_tuple(0.0f, 0.0f, 0.0f, uint8_t{1}));
    // Three quarters of a half turn east folds to a quarter west.
    cw_flight_get_gps_pos_data(&p, GpsPosition{lon0 + 0.75 * pi, lat0 + 1e-5, 10.0f});
    EXPECT_EQ(p.north, static_cast<float>((lat0 + 1e-5 - lat0) * r));
    EXPECT_NEAR(p.east, -0.25 * pi * r * std::cos(lat0), 1.0);
    EXPECT_EQ(p.up, -2.5f);
}

TEST_F(FlightCache, SubscriptionAtStartUp) {
    flyctrl_subscribe_init_flag = 0;
    fail_next(-4);
    EXPECT_EQ(cw_flight_reset_and_subscribe(), -4);
    answer({0});
    fail_next(-6);
    EXPECT_EQ(cw_flight_reset_and_subscribe(), -6);
    EXPECT_EQ(std::make_pair(flyctrl_subscribe_init_flag, sent().size()), std::make_pair(uint8_t{0}, size_t{3}));
    answer({0});
    answer({7, 7, 7, 7, 7});  // the bag's answer is not judged
    EXPECT_EQ(cw_flight_reset_and_subscribe(), 0);
    EXPECT_EQ(flyctrl_subscribe_init_flag, 1);
    EXPECT_EQ(sent().back().payload, cat({{0, 200, 0, 1, 1}, le32(0x1648B7D9)}));
    const auto usr = usrlog_texts();
    EXPECT_EQ(Texts(usr.begin(), usr.begin() + 4),
              (Texts{"fail to reset the data subscribe -4\n", "reset the data subscribe success 0\n",
                     "cw flight ds 0 add send fail -6\n", "fail to add subscribe FDI info -6\n"}));
    EXPECT_EQ(usr.back(), "add subscribe FDI info success 0\n");
}

}  // namespace
