// Flight cache fed by the push handlers, the rate-limited log lines, the IMU data group, the
// local frame around the GPS origin, the data subscription at start-up, and the flight
// controller's parameters addressed by the hash of their names.
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

Payload ramp(size_t n, uint8_t from) {
    Payload b(n);
    for (size_t i = 0; i < n; ++i) {
        b[i] = static_cast<uint8_t>(from + i);
    }
    return b;
}

TEST_F(FlightCache, HandlersFillTheRecordsAndModuleInitClearsThem) {
    cw_unregister_v1_flight_data();
    EXPECT_EQ(registrations(), "+3/90 +3/91 +3/106 +34/72 +34/73 -3/90 -3/91 -3/106 -34/72 -34/73 ");
    cw_register_v1_flight_data();
    EXPECT_EQ(push(3, 90, cat({{0xA5}, ramp(32, 0x10), {0x77}})) |
                  push(3, 91, {1, 2, 3, 0x34, 0x12, 0x78, 0x56, 8, 9, 10, 11, 12}) | push(3, 106, ramp(60, 1)) |
                  push(34, 73, {1, 0x42, 0x07, 3, 4, 5}),
              0);
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
    EXPECT_EQ((Payload{s.byte0, s.byte1, s.byte2, s.byte7, s.byte8, s.byte9, s.byte10, s.byte11}),
              (Payload{1, 2, 3, 8, 9, 10, 11, 12}));
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
    EXPECT_EQ(cat({bytes_of(m), bytes_of(s), sensor, {state, err}}), Payload(36 + 14 + 59 + 2, 0));
    LocalPosition p;
    cw_flight_get_gps_pos_data(&p, GpsPosition{0, 0.5, 0});
    cw_get_cwqt_proc_status(&status);
    EXPECT_EQ(std::make_pair(status, p.north), std::make_pair(uint8_t{1}, 0.0f));
}

TEST_F(FlightCache, FlightStatePushRewritesTheWholeRecord) {
    // An application's state with every byte set, spare bytes included; a push then leaves the
    // message's fields in the record's order and its two spare bytes zero.
    FcState s;
    std::memset(&s, 0xFF, sizeof s);
    cw_flight_update_fc_state(&s);
    push(3, 91, ramp(12, 0x81));
    cw_flight_get_fc_state(&s);
    EXPECT_EQ(bytes_of(s), cat({ramp(3, 0x81), {0}, ramp(9, 0x84), {0}}));
    std::memset(&s, 0x5A, sizeof s);  // and an update stores what it is given, byte for byte
    cw_flight_update_fc_state(&s);
    FcState got;
    cw_flight_get_fc_state(&got);
    EXPECT_EQ(bytes_of(got), Payload(14, 0x5A));
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
void fc_state_update(uint8_t v) {
    FcState s{};
    s.byte8 = v;
    cw_flight_update_fc_state(&s);
}
void fc_state_either(uint8_t v) {  // pushes and updates in turn
    static bool pushed = false;
    (pushed = !pushed) ? fc_state(v) : fc_state_update(v);
}
void heartbeat(uint8_t v) { push(34, 73, {1, v, 0, 0, 0, 0}); }

TEST_F(FlightCache, RateLimitedLines) {
    // The state line counts pushed and updated states alike and shows the state that fired it.
    for (auto *event : {fc_state, fc_state_update, fc_state_either}) {
        expect_one_line_per(102, event, "---FC STATE UPDATE ------ 43 \n", "cw_flight_update_fc_state");
        mbus_ctl_reset();
        cw_register_v1_flight_data();
    }
    expect_one_line_per(51, heartbeat, "[cirrow] cwqt-> state 43\n", "cw_v1_cwqt_cb_heartbeat");
}

TEST_F(FlightCache, ImuDataGroupFromTheDataManager) {
    const Payload data = ramp(136, 0x40);
    mbus_ctl_dm_set_imu(data.data());
    ImuDataGroup g{};
    const int32_t before = mbus_ctl_dm_outstanding();
    EXPECT_EQ(cw_flight_get_imu_data_group(&g), 0);
    EXPECT_EQ(std::make_pair(bytes_of(g), mbus_ctl_dm_outstanding()), std::make_pair(data, before));
    mbus_ctl_dm_fail_take(-61);
    g = {};  // not written when the take fails, written before a failed return
    EXPECT_EQ(cw_flight_get_imu_data_group(&g), -61);
    EXPECT_EQ(bytes_of(g), Payload(136, 0));
    mbus_ctl_dm_fail_return(-7);
    EXPECT_EQ(cw_flight_get_imu_data_group(&g), -7);
    EXPECT_EQ(bytes_of(g), data);
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
    EXPECT_EQ(lines(), (Texts{"L1 cw flight ds reset send fail -4\n", "L3 cw flight ds reset success\n",
                              "L3 cw flight ds reset success\n", "U fail to reset the data subscribe -4\n",
                              "U reset the data subscribe success 0\n", "U cw flight ds 0 add send fail -6\n",
                              "U fail to add subscribe FDI info -6\n", "U reset the data subscribe success 0\n",
                              "U ACK RESULT -----  0 ----- 7\n", "U ACK RESULT -----  1 ----- 7\n",
                              "U ACK RESULT -----  2 ----- 7\n", "U ACK RESULT -----  3 ----- 7\n",
                              "U ACK RESULT -----  4 ----- 7\n", "U add subscribe FDI info success 0\n"}));
}

TEST(ParamHash, ReferenceValues) {
    // The parameter names the library uses are checked with their commands.
    // Payload of 128 and more count as unsigned; 2^40 - 1 is taken modulo 2^32 - 5.
    EXPECT_EQ((std::vector<uint32_t>{get_hash_value("enable_0"), get_hash_value(""), get_hash_value("A"),
                                     get_hash_value("\xff\x80"), get_hash_value("\xff\xff\xff\xff\xff")}),
              (std::vector<uint32_t>{1737311780u, 0u, 65u, 0xFF80u, 1279u}));
}

// A flight controller that accepts every parameter write and reads every parameter as 0x2A.
int32_t param_peer(void *, const mbus_ctl_request_t *req, uint8_t *resp, uint32_t resp_len, uint32_t *) {
    std::memset(resp, 0x2A, resp_len);
    resp[0] = 0;
    std::memcpy(resp + 1, req->payload, 4);
    if (req->cmd_id == 249) {
        std::memcpy(resp + 5, req->payload + 4, req->payload_len - 4);
    }
    return 0;
}

TEST_F(FlightCache, HeightAndRadiusLimitsInEightSteps) {
    mbus_ctl_set_peer(0x0306, param_peer, nullptr);
    EXPECT_EQ(cw_set_height_and_radius_limit_value(0x0178, 0x0203), 0);
    const Payload height = le32(57746314u), radius = le32(1113328276u), enabled = le32(1806478126u);
    // Each request as its id, its answer length and its payload.
    // clang-format off
    const std::vector<Payload> want = {
        cat({{248, 6}, height}), cat({{248, 6}, radius}), cat({{248, 6}, enabled}), cat({{249, 6}, enabled, {1}}),
        cat({{249, 7}, height, {0x78, 1}}), cat({{249, 7}, radius, {3, 2}}),
        cat({{248, 6}, height}), cat({{248, 6}, radius})};
    // clang-format on
    std::vector<Payload> got;
    for (const Sent &r : sent()) {
        got.push_back(cat({{r.cmd_id, static_cast<uint8_t>(r.resp_len)}, r.payload}));
    }
    EXPECT_EQ(got, want);
    // Each read and write logs its own line; the limit function adds its two among them.
    const auto usr = usrlog();
    ASSERT_EQ(usr.size(), 10u);
    EXPECT_EQ(std::make_tuple(usr[3].text, usr[4].text, usr[5].text, usr[6].text, usr[6].func),
              std::make_tuple("[fc_pm]: write finish! current value is 1\n", "open radius limit success\n",
                              "[fc_pm]: write finish! current value is 120\n", "set height limit to 376 success!\n",
                              "cw_set_height_and_radius_limit_value"));
}

}  // namespace
