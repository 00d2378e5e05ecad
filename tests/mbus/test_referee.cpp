// The virtual aircraft's core as its hosts drive it: the flight controller's orders in every phase,
// steering, yaw and the limits, control shared between applications, and what the referee records.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "aircraft.h"
#include "link_messages.h"
#include "rules.h"

namespace {

namespace trace = cw::trace;

constexpr uint16_t kFlight = 0x0306;
constexpr uint8_t kTakeOff = 1, kLand = 6;
enum : uint8_t { kGround = 0, kSpinUp = 1, kClimb = 2, kAir = 3, kDescend = 4 };

const trace::Message &kSensor = *trace::find("flight.fc_sensor", trace::Dir::Push);

// An application attached to the aircraft, with the flight data registered and subscribed.
struct Pilot {
    sim::Aircraft &craft;
    sim::AppId app;
    std::vector<uint8_t> state, sensor;  // the latest flight state and sensor pushes

    Pilot(sim::Aircraft &a, sim::AppId id) : craft(a), app(id) {
        craft.attach(app, "pilot " + std::to_string(id));
        for (uint8_t id_ : {90, 91, 106}) {
            craft.handler(app, 3, id_, true);
        }
        send(3, 20, {0, 200, 0, 1, 0});
    }
    // Sends a request and returns the first answer byte (0xEE when none came).
    uint8_t send(uint8_t set, uint8_t id, const std::vector<uint8_t> &payload, uint16_t receiver = kFlight) {
        mbus_ctl_request_t r{};
        r.cmd_set = set;
        r.cmd_id = id;
        r.receiver = receiver;
        r.payload_len = static_cast<uint32_t>(payload.size());
        r.resp_len = 2;
        r.timeout = 200000;
        std::copy(payload.begin(), payload.end(), r.payload);  // an empty payload has no data() to copy from
        uint8_t resp[2] = {0xEE, 0xEE};
        uint32_t delay = 0;
        return craft.request(app, r, resp, 2, &delay) == 0 && delay <= r.timeout ? resp[0] : 0xEE;
    }
    void function(uint8_t f) { send(3, 42, {f}); }
    uint8_t control(uint8_t mode) { return send(3, 128, {mode, 2}); }
    void steer(float n, float e, float up, float yaw_rate) {
        std::vector<uint8_t> p(26, 0);
        const float v[4] = {n, e, up, yaw_rate};
        std::memcpy(p.data() + 2, v, sizeof v);
        send(3, 142, p);
    }
    // Ticks the aircraft for `seconds` of wall time, keeping the latest pushes; returns each flight
    // phase seen, in order, without repeats.
    std::vector<uint8_t> fly(double seconds, uint8_t until = 0xFF) {
        std::vector<uint8_t> phases;
        const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        while (std::chrono::steady_clock::now() < end) {
            for (const sim::Pushed &p : craft.tick()) {
                if (p.set == 3 && p.id == 91) {
                    state = p.bytes;
                    if (phases.empty() || phases.back() != state[0]) {
                        phases.push_back(state[0]);
                    }
                } else if (p.set == 3 && p.id == 106) {
                    sensor = p.bytes;
                }
            }
            if (!phases.empty() && phases.back() == until) {
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return phases;
    }
    double sensed(const char *field) const { return trace::get(*trace::field(kSensor, field), sensor.data()); }
};

// The aircraft's lines, kept for the tests that look for them.
std::string g_lines;

std::unique_ptr<sim::Aircraft> aircraft(double speed, sim::Scenario s = {}) {
    g_lines.clear();
    sim::set_diagnostics([](const char *line) { g_lines += line; });
    s.speed = speed;
    return sim::Aircraft::create(s);
}

// The same without the flight data: only the aircraft's lines say it flies.
#define IN_THE_AIR_BLIND(p)       \
    ASSERT_EQ((p).control(1), 0); \
    (p).function(kTakeOff);       \
    (p).fly(0.5);                 \
    ASSERT_TRUE(has(g_lines, "flight controller in the air")) << g_lines

bool has(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

// An aircraft in the air, flown by p.
#define IN_THE_AIR(p)             \
    ASSERT_EQ((p).control(1), 0); \
    (p).function(kTakeOff);       \
    ASSERT_EQ((p).fly(3, kAir), (std::vector<uint8_t>{kSpinUp, kClimb, kAir})) << g_lines

TEST(Referee, LandingIsHonouredInEveryPhaseOfAFlight) {
    const struct {
        uint8_t land_in;
        double into;                 // wall seconds into the phase
        std::vector<uint8_t> after;  // the phases the aircraft may go through once asked to land
    } cases[] = {
        {kSpinUp, 0, {kGround}},
        {kClimb, 0.1, {kDescend, kGround}},  // 20 cm up
        {kAir, 0, {kDescend, kGround}},
    };
    for (const auto &c : cases) {
        auto craft = aircraft(2);
        Pilot p(*craft, 1);
        ASSERT_EQ(p.control(1), 0);
        p.function(kTakeOff);
        ASSERT_EQ(p.fly(2, c.land_in).back(), c.land_in);
        ASSERT_EQ(p.fly(c.into), std::vector<uint8_t>(c.into > 0, c.land_in));
        p.function(kLand);
        p.function(kLand);  // again while already landing: ignored
        // Straight down: only the phases listed, ending on the ground (a stalled host may tick past
        // a short descent).
        const std::vector<uint8_t> after = p.fly(3, kGround);
        EXPECT_EQ(after.back(), kGround) << "landing in phase " << int(c.land_in);
        for (uint8_t phase : after) {
            EXPECT_NE(std::find(c.after.begin(), c.after.end(), phase), c.after.end()) << int(phase);
        }
        p.control(2);
        craft->detach(1, true);
        uint32_t mistakes = 1;
        craft->report(&mistakes);
        EXPECT_EQ(mistakes, 0u) << craft->report(nullptr);
    }
}

TEST(Referee, SteeringMovesAndTurnsTheAircraftWithinTheHeightLimit) {
    auto craft = aircraft(5);
    Pilot p(*craft, 1);
    // Height limit 3 m (the parameter's name hash, then two bytes).
    p.send(3, 249, {0x8A, 0x23, 0x71, 0x03, 3, 0});
    p.control(1);
    p.function(kTakeOff);
    ASSERT_EQ(p.fly(2, kAir).back(), kAir);
    p.steer(2, 0, 4, 30);  // north 2 m/s, up 4 m/s, turning 30 degrees a second
    p.fly(0.09);           // within the steering's hold time, sent again
    p.steer(2, 0, 4, 30);
    p.fly(0.11);  // about one aircraft second (the sensor stream lags by up to a push)
    EXPECT_GT(p.sensed("north"), 0.8);
    EXPECT_NEAR(p.sensed("east"), 0, 0.01);
    EXPECT_NEAR(p.sensed("yaw"), 15 * p.sensed("north"), 1);  // 30 degrees for every 2 m
    EXPECT_LE(p.sensed("height_cm"), 300);                    // the limit, not 1.2 m + 4 m
    EXPECT_GE(p.sensed("height_cm"), 290);
    p.steer(0, 0, 0, -60);
    p.fly(0.09);
    p.steer(0, 0, 0, -60);
    p.fly(0.11);
    EXPECT_GT(p.sensed("yaw"), 270);  // turned back past north
    EXPECT_LT(p.sensed("yaw"), 360);
}

TEST(Referee, APanoramaTurnsTheAircraftThroughItsPictures) {
    auto craft = aircraft(5);
    Pilot p(*craft, 1);
    p.control(1);
    p.function(kTakeOff);
    ASSERT_EQ(p.fly(2, kAir).back(), kAir);
    p.send(10, 62, {1}, 0x1107);
    p.fly(0.5);  // five of its eight pictures
    const double yaw = p.sensed("yaw");
    EXPECT_GE(yaw, 45);
    EXPECT_NEAR(std::fmod(yaw + 1, 45), 1, 1) << yaw;  // a picture's share of the circle at a time
}

TEST(Referee, OnlyTheApplicationHoldingControlFlies) {
    auto craft = aircraft(5);
    Pilot a(*craft, 1), b(*craft, 2);
    b.function(kTakeOff);  // nobody has control
    EXPECT_EQ(a.control(1), 0);
    EXPECT_EQ(b.control(1), 1);  // refused: held by a
    b.function(kTakeOff);
    b.steer(1, 0, 0, 0);
    EXPECT_EQ(b.fly(0.3), std::vector<uint8_t>{kGround});
    a.function(kTakeOff);
    EXPECT_EQ(a.fly(0.3).front(), kSpinUp);
    EXPECT_EQ(a.control(2), 0);
    EXPECT_EQ(b.control(1), 0);
    b.function(kLand);
    EXPECT_EQ(b.fly(2, kGround).back(), kGround);
    craft->detach(1, true);
    craft->detach(2, true);  // still holding control
    uint32_t mistakes = 0;
    const std::string report = craft->report(&mistakes);
    EXPECT_EQ(mistakes, 3u) << report;
    EXPECT_NE(report.find("take-off without control: the flight controller ignored it (2 times)"), std::string::npos);
    EXPECT_NE(report.find("steering without control"), std::string::npos);
    EXPECT_NE(report.find("ended with control held"), std::string::npos);
}

TEST(Referee, BatteryDrainsInFlightOnly) {
    auto craft = aircraft(50);
    Pilot p(*craft, 1);
    p.fly(0.4);  // 20 s on the ground
    ASSERT_FALSE(p.state.empty());
    EXPECT_EQ(p.state[11], 96);
    p.control(1);
    p.function(kTakeOff);
    p.fly(1.2);  // a minute in the air
    EXPECT_LE(p.state[11], 93);
    EXPECT_GE(p.state[11], 90);
}

}  // namespace

namespace {

// The camera's shooting commands in each of its phases: what is refused, with which result byte.
TEST(Referee, TheCameraRefusesWhatItsPhaseForbids) {
    auto craft = aircraft(5);
    Pilot p(*craft, 1);
    const uint16_t cam = trace::kCamera;
    const struct {
        uint8_t id;
        std::vector<uint8_t> payload;
        uint8_t result;
    } steps[] = {
        {2, {1}, 3},   // start video in photo mode: wrong mode
        {16, {1}, 0},  // to video mode
        {2, {0}, 0},   // stop while idle: ignored
        {2, {1}, 0},   // start recording
        {2, {1}, 0},   // start again: ignored
        {1, {}, 3},    // photo while recording: wrong mode
        {16, {0}, 4},  // mode switch while recording: busy
        {2, {0}, 0},   // stop
        {16, {0}, 0},  // back to photo mode once idle
        {1, {}, 0},    // photo
    };
    for (const auto &s : steps) {
        EXPECT_EQ(p.send(2, s.id, s.payload, cam), s.result) << "command " << int(s.id);
    }
}

// The gimbal while it looks for water waves and after: moving it is refused, a second trigger ignored.
TEST(Referee, TheGimbalHoldsStillWhileItLooksForWaterWaves) {
    auto craft = aircraft(5);
    Pilot p(*craft, 1);
    const uint16_t gimbal = trace::kGimbal;
    const std::vector<uint8_t> drive = {0x3E, 0xFE, 0, 0, 0, 0, 0, 0, 0x80, 0, 0};  // pitch to -45 degrees
    const std::vector<uint8_t> release(11, 0), rates = {100, 0, 0, 0, 0, 0, 0}, reset = {0, 0, 0, 0, 0, 0, 0x20};
    const struct {
        uint8_t id;
        std::vector<uint8_t> payload;
        uint8_t result;
    } detecting[] =
        {
            {10, release, 0},  // release while free: ignored
            {61, {1}, 0},      // water-wave detection starts
            {61, {1}, 0},      // a second trigger: ignored
            {10, drive, 4},    // moving the gimbal: busy
            {12, rates, 4},    // turning it
            {12, reset, 4},    // turning its yaw back
            {68, {1}, 0},      // its mode may change
            {10, release, 0},  // and the application may let go
        },
      done[] = {
          {10, drive, 0},  // once the detection is done, the gimbal moves again
          {12, rates, 0},
          {12, reset, 0},
      };
    for (const auto &s : detecting) {
        EXPECT_EQ(p.send(4, s.id, s.payload, gimbal), s.result) << "command " << int(s.id);
    }
    p.fly(1.2);
    for (const auto &s : done) {
        EXPECT_EQ(p.send(4, s.id, s.payload, gimbal), s.result) << "command " << int(s.id) << " after the detection";
    }
}

TEST(Envelope, SteeringBeyondTheLimitsIsFlownAtThemWithAMistake) {
    const struct {
        float n, e, up, yaw;
        const char *line;
    } cases[] = {
        {0, 0, 50, 0, "limits the climb speed 50.0 m/s to 4.0 m/s"},
        {30, 40, 0, 0, "limits the horizontal speed 50.0 m/s to 10.0 m/s"},
        {0, 0, 0, -500, "limits the yaw rate 500 deg/s to 150 deg/s"},
        {0, 0, -50, 0, "limits the descent speed 50.0 m/s to 3.0 m/s"},
    };
    for (const auto &c : cases) {
        auto craft = aircraft(5);
        Pilot p(*craft, 1);
        IN_THE_AIR(p);
        p.steer(c.n, c.e, c.up, c.yaw);
        p.fly(0.06);  // 0.3 s on the aircraft's clock
        EXPECT_TRUE(has(g_lines, c.line)) << g_lines;
        if (c.up > 0) {
            EXPECT_LT(p.sensed("height_cm"), 120 + 4 * 40);  // at most 4 m/s for 0.3 s and a push's lag
        } else if (c.n > 0) {
            EXPECT_LT(std::hypot(p.sensed("north"), p.sensed("east")), 10 * 0.4);
        }
        uint32_t mistakes = 0;
        const std::string report = craft->report(&mistakes);
        EXPECT_EQ(mistakes, 1u) << report;
        EXPECT_TRUE(has(report, "[steering-beyond-envelope]\n      -> check the units")) << report;
    }
}

TEST(Envelope, SteeringDownToTheGroundLandsThere) {
    auto craft = aircraft(10);
    Pilot p(*craft, 1);
    IN_THE_AIR(p);
    for (int i = 0; i < 20 && (p.state.empty() || p.state[0] != kGround); ++i) {
        p.steer(0, 0, -3, 0);  // 3 m/s down, sent at a rate
        p.fly(0.03);
    }
    p.fly(0.05);
    ASSERT_FALSE(p.state.empty());
    EXPECT_EQ(p.state[0], kGround) << g_lines;
    EXPECT_EQ(p.sensed("height_cm"), 0);
    EXPECT_TRUE(has(g_lines, "flight controller touches the ground")) << g_lines;
    EXPECT_EQ(p.control(2), 0);
    craft->detach(1, true);
    uint32_t mistakes = 1;
    EXPECT_EQ((craft->report(&mistakes), mistakes), 0u) << craft->report(nullptr);
}

TEST(Envelope, ValuesOutsideTheAcceptedSetsAreIgnoredAndNamed) {
    auto craft = aircraft(5);
    Pilot p(*craft, 1);
    const uint16_t gimbal = trace::kGimbal;
    p.send(3, 141, {99, 77});                                           // flight mode and sub-mode
    p.send(3, 26, {7});                                                 // obstacle avoidance
    p.send(3, 42, {9});                                                 // function
    p.send(2, 16, {5}, trace::kCamera);                                 // camera work mode
    p.send(4, 68, {9}, gimbal);                                         // gimbal mode
    p.send(4, 10, {0x30, 0xF8, 0, 0, 0, 0, 0, 0, 0x80, 0, 0}, gimbal);  // pitch -200 degrees
    p.fly(0.1);
    for (const char *line :
         {"flight controller ignores mode 99, sub-mode 77: accepts modes 0 to 9, sub-modes 0 to 15",
          "flight controller ignores obstacle avoidance 7: accepts 0 (off) and 255 (on)",
          // values the link's table names, listed from it
          "flight controller ignores function 9: accepts 1 (take-off), 6 (land) and 31 (test-land)",
          "camera ignores work mode 5: accepts 0 (photo) and 1 (video)", "gimbal ignores mode 9: accepts modes 0 to 3",
          "gimbal limits the pitch angle -200.0 to -90.0 degrees (accepts -90 to 30)",
          "gimbal turns to -90.0, 0.0, 0.0 degrees"}) {
        EXPECT_TRUE(has(g_lines, line)) << line << "\n" << g_lines;
    }
    ASSERT_FALSE(p.state.empty());
    EXPECT_EQ(p.state[9], 0) << "the flight mode (byte 9 of the flight state) stays";
    uint32_t mistakes = 0;
    const std::string report = craft->report(&mistakes);
    EXPECT_EQ(mistakes, 1u) << report;  // the angle; the ignored values are notes
    EXPECT_TRUE(has(report, "[gimbal-beyond-envelope]")) << report;
    EXPECT_TRUE(
        has(report, "note    t=0.0 s: gimbal ignored mode 9 [value-not-accepted]\n      -> it accepts modes 0 to 3"))
        << report;
}

TEST(Failsafe, OneSteeringCommandStopsAfterTheHoldTime) {
    auto craft = aircraft(10);
    Pilot p(*craft, 1);
    IN_THE_AIR(p);
    p.steer(3, 0, 0, 0);
    p.fly(0.3);                                // 3 s on the aircraft's clock
    EXPECT_NEAR(p.sensed("north"), 1.5, 0.4);  // 3 m/s for the 0.5 s it holds, not 9 m
    EXPECT_TRUE(has(g_lines, "flight controller brakes to a hover: no steering for 0.5 s")) << g_lines;
}

TEST(Failsafe, TheControllerGoneInTheAirTheAircraftLandsAfterTheGrace) {
    for (const bool clean : {true, false}) {
        auto craft = aircraft(10);
        Pilot p(*craft, 1), watcher(*craft, 2);
        IN_THE_AIR(p);
        const double gone = craft->now();
        craft->detach(1, clean);
        const std::vector<uint8_t> after = watcher.fly(1.0, kGround);  // grace 3 s, descent 1.5 s
        EXPECT_EQ(after.back(), kGround) << g_lines;
        EXPECT_LT(craft->now() - gone, 3 + 1.5 + 1.5);
        EXPECT_TRUE(has(g_lines, "failsafe in 3.0 s")) << g_lines;
        EXPECT_TRUE(has(g_lines, "flight controller failsafe: lands by itself")) << g_lines;
        uint32_t mine = 0, theirs = 1;
        const std::string report = craft->report(&mine, 1);
        craft->report(&theirs, 2);
        EXPECT_TRUE(has(report, "[ended-in-the-air]")) << report;
        EXPECT_EQ(has(report, "[vanished]"), !clean) << report;
        EXPECT_EQ(theirs, 0u) << craft->report(nullptr, 2);
    }
}

TEST(Failsafe, ReturnHomeFliesBackBeforeLanding) {
    sim::Scenario s;
    s.failsafe_grace = 0.5;
    s.failsafe_return = true;
    auto craft = aircraft(10, s);
    Pilot p(*craft, 1), watcher(*craft, 2);
    IN_THE_AIR(p);
    for (int i = 0; i < 10; ++i) {
        p.steer(5, 0, 0, 0);
        p.fly(0.03);
    }
    craft->detach(1, true);
    EXPECT_EQ(watcher.fly(1.5, kGround).back(), kGround) << g_lines;
    EXPECT_TRUE(has(g_lines, "failsafe: returns home, then lands")) << g_lines;
    EXPECT_NEAR(watcher.sensed("north"), 0, 0.2);
}

TEST(Failsafe, TheFlightControllerLandsAtTheCriticalBattery) {
    sim::Scenario s;
    s.battery_start = 14;  // low from the start
    s.battery_drain = 60;  // percent a minute: 1 % a second in the air, twice that in the climb
    auto craft = aircraft(5, s);
    Pilot p(*craft, 1);
    IN_THE_AIR(p);
    p.steer(0, 0, 1, 0);  // climbing below the low level
    EXPECT_EQ(p.fly(3, kGround).back(), kGround) << g_lines;
    EXPECT_TRUE(has(g_lines, "battery low, 14 %")) << g_lines;
    EXPECT_TRUE(has(g_lines, "battery critical, 10 %: flight controller lands by itself")) << g_lines;
    const std::string report = craft->report(nullptr);
    EXPECT_TRUE(has(report, "[flew-on-low-battery]")) << report;
}

TEST(PerApplication, ARefusedApplicationIsNotChargedWithTheOthersFlight) {
    sim::Scenario s;
    s.speed = 5;
    auto craft = aircraft(5);
    craft = sim::Aircraft::create(s, true);  // shared, as cirrow-aircraft flies it
    Pilot square(*craft, 1), quick(*craft, 2);
    IN_THE_AIR(square);
    EXPECT_EQ(quick.control(1), 1);  // refused: held by the square application
    craft->detach(2, true);          // it ends early, the aircraft in the air
    uint32_t mistakes = 1;
    const std::string refused = craft->report(&mistakes, 2);
    EXPECT_EQ(mistakes, 0u) << refused;
    EXPECT_TRUE(has(refused, "flight report for pilot 2: 0 mistake(s)")) << refused;
    EXPECT_TRUE(has(refused,
                    "flight flight.control_enable refused (result byte 1: control is held by another "
                    "application) [refused]"))
        << refused;
    square.function(kLand);
    EXPECT_EQ(square.fly(1, kGround).back(), kGround) << g_lines;
    square.control(2);
    square.send(3, 142, std::vector<uint8_t>(26, 0));  // steering without control: its own mistake
    craft->detach(1, true);
    const std::string own = craft->report(&mistakes, 1);
    EXPECT_EQ(mistakes, 1u) << own;
    EXPECT_FALSE(has(own, "control_enable refused")) << own;
    const std::string all = craft->report(nullptr);
    EXPECT_TRUE(has(all, "MISTAKE t=")) << all;
    EXPECT_TRUE(has(all, ": pilot 1: steering without control")) << all;
}

TEST(PerApplication, HandlersWithoutTheSubscriptionAreNamedAsTheCause) {
    auto craft = aircraft(5);
    sim::Aircraft &c = *craft;
    Pilot p(c, 1);
    p.send(3, 21, {});  // the subscription reset, never made again: the handlers read nothing
    IN_THE_AIR_BLIND(p);
    uint32_t mistakes = 0;
    const std::string report = c.report(&mistakes, 1);
    EXPECT_EQ(mistakes, 1u) << report;
    EXPECT_TRUE(has(report, "the aircraft flies but flight.motor_state never streams")) << report;
    EXPECT_TRUE(has(report, "[registered-not-subscribed]\n      -> subscribe with cw_flight_reset_and_subscribe()"))
        << report;
}

TEST(Report, WaivedRulesStayMarkedAndJsonAndJunitCarryEveryItem) {
    auto craft = aircraft(5);
    Pilot p(*craft, 1);
    p.function(kTakeOff);  // without control
    p.steer(1, 0, 0, 0);   // the same
    craft->allow({"take-off-without-control"});
    uint32_t mistakes = 0;
    const std::string text = craft->report(&mistakes);
    EXPECT_EQ(mistakes, 1u) << text;
    EXPECT_TRUE(has(text, "flight report: 1 mistake(s), 0 note(s), 1 waived")) << text;
    EXPECT_TRUE(has(text, "  waived  t=0.0 s: take-off without control")) << text;
    const std::string json = craft->report(nullptr, sim::Aircraft::kEveryApp, sim::Aircraft::Format::Json);
    EXPECT_TRUE(has(json, "{\"mistakes\": 1, \"applications\": [")) << json;
    EXPECT_TRUE(has(json, "\"rule\": \"take-off-without-control\", \"kind\": \"mistake\", \"waived\": true")) << json;
    const std::string xml = craft->report(nullptr, sim::Aircraft::kEveryApp, sim::Aircraft::Format::Junit);
    EXPECT_TRUE(has(xml, "tests=\"3\" failures=\"1\"")) << xml;
    EXPECT_TRUE(has(xml, "<testcase classname=\"pilot\" name=\"steering-without-control\">\n      <failure ")) << xml;
    EXPECT_TRUE(has(xml, "<property name=\"application\" value=\"pilot 1\"/>")) << xml;
}

TEST(Report, TheReadmeListsEveryRuleWithItsMeaning) {
    std::ifstream in(CW_README);
    const std::string readme((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    ASSERT_FALSE(readme.empty()) << CW_README;
    for (const sim::RefereeRule &r : sim::kRefereeRules) {
        EXPECT_TRUE(has(readme, std::string("| `") + r.name + "` | " + r.meaning + " |\n")) << r.name;
    }
}

}  // namespace
