// Scenario files and replayed captures as a tester writes them: what is read, and every mistake
// named by file and line.
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "replay.h"
#include "scenario.h"

namespace {

std::string dir() { return ::testing::TempDir(); }

std::string write(const std::string &name, const std::string &text) {
    const std::string path = dir() + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

void le(std::string &s, uint64_t v, int n) {
    for (int i = 0; i < n; ++i) {
        s += static_cast<char>(i < 8 ? v >> (8 * i) : 0);  // past the value's 8 bytes: zeros
    }
}

// A capture as the link trace writes it: the pcap header, then one record per (time, dir, set/id).
struct Rec {
    double t;
    uint8_t dir, set, id;
    std::string bytes;
};

std::string capture(const std::vector<Rec> &recs, uint32_t link = 147) {
    std::string s;
    le(s, 0xA1B2C3D4u, 4);
    le(s, 2, 2);
    le(s, 4, 2);
    le(s, 0, 8);
    le(s, 65535, 4);
    le(s, link, 4);
    for (const Rec &r : recs) {
        const auto us = static_cast<uint64_t>(r.t * 1e6);
        le(s, static_cast<uint32_t>(us / 1000000), 4);
        le(s, static_cast<uint32_t>(us % 1000000), 4);
        le(s, static_cast<uint32_t>(20 + r.bytes.size()), 4);
        le(s, static_cast<uint32_t>(20 + r.bytes.size()), 4);
        s += static_cast<char>(1);
        s += static_cast<char>(r.dir);
        s += static_cast<char>(r.set);
        s += static_cast<char>(r.id);
        le(s, r.dir == 2 ? 0xFFFF : 0x0306, 2);
        le(s, 0, 14);
        s += r.bytes;
    }
    return s;
}

const std::vector<Rec> kFlight = {
    {1000.0, 0, 3, 21, ""},          // the application's first request
    {1000.5, 2, 3, 91, "\x03\x01"},  // flight.fc_state
    {1001.0, 2, 10, 150, "\x01"},    // vision.qs_finished
    {1001.0, 1, 3, 21, "\x00"},
};

TEST(Scenario, ReadsEveryKey) {
    write("flight.pcap", capture(kFlight));
    const std::string path = write("all.toml", R"(speed = 2.0
replay = "flight.pcap"
[battery]
start = 80
drain = 4.5
low_at = 120
low = 12
[wind]
north = 1.5
east = -0.5
[limits]
horizontal_speed = 6
climb_speed = 2
descent_speed = 1.5
yaw_rate = 90
steering_hold = 1
gimbal_pitch_min = -60
gimbal_yaw_max = 90
[failsafe]
grace = 5
action = "return"
[referee]
allow = ["stream-without-handler", "ended-in-the-air"]
[[event]]
time = 3
module = "camera"
answer = "refuse"
command = "2/1"
byte = 4
[[event]]
time = 1
module = "flight"
rate = 2
push = "flight.fc_state"
)");
    sim::Scenario s;
    std::string error;
    ASSERT_TRUE(sim::load_scenario(path, s, error)) << error;
    EXPECT_EQ(s.speed, 2.0);
    EXPECT_EQ(s.replay, dir() + "flight.pcap");
    EXPECT_EQ(s.battery_start, 80);
    EXPECT_EQ(s.battery_drain, 4.5);
    EXPECT_EQ(s.low_battery_at, 120);
    EXPECT_EQ(s.battery_low, 12);
    EXPECT_EQ(s.wind_north, 1.5);
    EXPECT_EQ(s.wind_east, -0.5);
    EXPECT_EQ(s.max_horizontal, 6);
    EXPECT_EQ(s.max_climb, 2);
    EXPECT_EQ(s.max_descent, 1.5);
    EXPECT_EQ(s.max_yaw_rate, 90);
    EXPECT_EQ(s.steering_hold, 1);
    EXPECT_EQ(s.gimbal_min_pitch, -60);
    EXPECT_EQ(s.gimbal_max_yaw, 90);
    EXPECT_EQ(s.gimbal_max_pitch, 30);  // the default
    EXPECT_EQ(s.failsafe_grace, 5);
    EXPECT_TRUE(s.failsafe_return);
    EXPECT_EQ(s.allow, (std::vector<std::string>{"stream-without-handler", "ended-in-the-air"}));
    ASSERT_EQ(s.events.size(), 2u);
    EXPECT_EQ(s.events[0].module, "flight");  // in time order
    EXPECT_EQ(s.events[1].set, 2);
    EXPECT_EQ(s.events[1].byte, 4);

    ASSERT_TRUE(sim::load_scenario(write("none.toml", ""), s, error)) << error;
    EXPECT_LT(s.low_battery_at, 0);  // no low-battery moment unless asked
    EXPECT_TRUE(s.replay.empty());
}

TEST(Scenario, NamesTheLineAndWhatIsKnown) {
    const struct {
        std::string text;
        const char *problem;  // after "file:"
    } cases[] = {
        {"[[event]]\nmodule = \"camera\"\nanswer = \"refuse\"\ncommand = \"3/128\"\n",
         "4: camera serves no command 3/128 (it serves: 0/0 camera.ping, 0/1 common.get_version, 0/14 "},
        {"[[event]]\nmodule = \"flight\"\nanswer = \"silent\"\ncommand = \"3/128\"\n", nullptr},
        {"[[event]]\nmodule = \"vision\"\nanswer = \"late\"\ncommand = \"10/240\"\n", nullptr},  // qs160 receiver
        {"[[event]]\nmodule = \"gimbal\"\nrate = 1\npush = \"camera.data\"\n",
         "4: gimbal pushes no \"camera.data\" (it pushes: gimbal.ctrl_info, gimbal.info)"},
        {"[[event]]\nmodule = \"rc\"\nanswer = \"silent\"\n", "1: rc serves no command"},
        {"[[event]]\nmodule = \"battery\"\nrate = 3\n", "1: battery streams nothing"},
        {"[[event]]\nmodule = \"camera\"\nanswer = \"late\"\nbyte = 3\n",
         "4: byte applies to answer = \"refuse\" only"},
        {"[[event]]\nmodule = \"camera\"\nrate = 1\ncommand = \"2/1\"\n", "4: command applies to an answer only"},
        {"[battery]\nstart = 120\n", "2: start = 120 is outside 0..100"},
        {"[battery]\nlevel = 50\n",
         "2: unknown key \"level\" in [battery] (known: start, drain, low_at, low, critical)"},
        {"battery = 50\n", "1: battery must be a table ([battery]) of start, drain, low_at, low, critical"},
        {"[wind]\nnorth = \"strong\"\n", "2: north must be a number"},
        {"[wind]\neast = 31\n", "2: east = 31 is outside -30..30"},
        {"wind_speed = 3\n",
         "1: unknown key \"wind_speed\" (known: speed, replay, [battery], [wind], [limits], [failsafe], [referee], "
         "[[event]])"},
        {"[limits]\nhorizontal_speed = 0\n", "2: horizontal_speed = 0 is outside 0.1..50"},
        {"[limits]\ngimbal_pitch_min = 10\n", "2: gimbal_pitch_min = 10 is outside -180..0"},
        {"[failsafe]\naction = \"hover\"\n", "2: action \"hover\" is not one of land, return"},
        {"[failsafe]\nwait = 3\n", "2: unknown key \"wait\" in [failsafe] (known: grace, action)"},
        {"[referee]\nallow = [\"ended-in-the-air\", \"flying-high\"]\n",
         "2: allow: unknown rule \"flying-high\" (known: take-off-without-control "},
        {"[referee]\nallow = \"ended-in-the-air\"\n", "2: allow must be a list of rule names"},
        {"[referee]\nwaive = []\n", "2: unknown key \"waive\" in [referee] (known: allow)"},
        {"\n[battery\n", "2: not valid TOML: "},
        {"replay = \"missing.pcap\"\n", "1: "},
        // Numbers that are not, and files made to break a parser: refused before toml++ sees them.
        {"speed = nan\n", "1: speed = nan is not a number from 0.01 to 100"},
        {"[[event]]\ntime = -inf\nmodule = \"camera\"\nrate = 1\n", "2: time = -inf is not a number from 0 to 86400"},
        {"[[event]]\nmodule = \"camera\"\nanswer = \"refuse\"\nbyte = nan\n", "4: byte = nan is not a number"},
        {"speed = 1\xff\n", "1: not valid UTF-8 (byte 9)"},
        {"speed = 2\n\xef\xbb\x9fW = 1\n", "2: a character that is not ASCII outside a string or a comment"},
        {"# caf\xc3\xa9\nspeed = 2 # \xef\xbb\x9f\nspeed_x = \"\xef\xbb\x9f\"\n", "3: unknown key \"speed_x\""},
        {"\n\na.a.a.a.a.a.a.a.a.a.a.a.a.a.a.a.a = 1\n", "3: a key of more than 16 dotted parts"},
        {"a = {b.b.b.b.b.b.b.b.b.b.b.b.b.b.b.b.b = 1}\n", "1: a key of more than 16 dotted parts"},
        {"a = " + std::string(33, '[') + std::string(33, ']') + "\n", "1: values nested deeper than 32 levels"},
        {"\"" + std::string(300, 'k') + "\" = 1\n", "1: a key too long (over 256 bytes)"},
        {"x = \"a.b.c.d.e.f.g.h.i.j.k.l.m.n.o.p.q.r\" # [[[[[\n", "1: unknown key \"x\""},
    };
    for (const auto &c : cases) {
        const std::string path = write("case.toml", c.text);
        sim::Scenario s;
        std::string error;
        const bool ok = sim::load_scenario(path, s, error);
        if (c.problem == nullptr) {
            EXPECT_TRUE(ok) << c.text << error;
            continue;
        }
        EXPECT_FALSE(ok) << c.text;
        EXPECT_EQ(error.rfind(path + ":" + c.problem, 0), 0u) << c.text << "\n" << error;
    }
}

// The reference is generated from the reader's list: every key it documents is one the reader takes
// (whatever its value), in the section it documents it in.
TEST(Scenario, ReaderTakesEveryKeyOfTheReference) {
    const std::string md = sim::scenario_reference();
    std::string section;
    int keys = 0;
    for (size_t at = 0, end; at < md.size(); at = end + 1) {
        end = md.find('\n', at);
        const std::string line = md.substr(at, end - at);
        if (line.rfind("## ", 0) == 0) {
            section = line.substr(3);
        } else if (line.rfind("| `", 0) == 0 && section != "Modules") {
            const std::string key = line.substr(3, line.find('`', 3) - 3);
            const std::string head = section == "Top level" ? "" : section + "\n";
            const std::string text = head + (section == "[[event]]" ? "module = \"camera\"\n" : "") + key + " = 1\n";
            sim::Scenario s;
            std::string error;
            sim::load_scenario(write("key.toml", text), s, error);
            EXPECT_EQ(error.find("unknown key"), std::string::npos) << text << error;
            ++keys;
        }
    }
    EXPECT_EQ(keys, 32);
}

TEST(Scenario, ReportsEveryProblemInTheFilesOrder) {
    const std::string path = write("many.toml",
                                   "speed = 500\n[wind]\nwest = 2\n[[event]]\nmodule = \"camera\"\n"
                                   "answer = \"late\"\nbyte = 3\nlength = 2\n");
    sim::Scenario s;
    std::string error;
    EXPECT_FALSE(sim::load_scenario(path, s, error));
    EXPECT_EQ(error, path + ":1: speed = 500 is outside 0.01..100\n" + path +
                         ":3: unknown key \"west\" in [wind] (known: north, east)\n" + path +
                         ":7: byte applies to answer = \"refuse\" only\n" + path +
                         ":8: length applies to answer = \"short\" only");
}

TEST(Replay, HandsOutPushesAtTheirTimes) {
    sim::Replay r;
    std::string error;
    ASSERT_TRUE(r.open(write("flight.pcap", capture(kFlight)), error)) << error;
    EXPECT_EQ(r.modules(), (std::vector<std::string>{"flight", "vision"}));
    EXPECT_TRUE(r.due(0.4).empty());
    const std::vector<sim::Pushed> first = r.due(0.5);
    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(first[0].id, 91);
    EXPECT_EQ(first[0].bytes, (std::vector<uint8_t>{3, 1}));
    EXPECT_EQ(r.due(5).size(), 1u);  // the answer is not replayed
    EXPECT_TRUE(r.due(9).empty());
}

TEST(Replay, RefusesWhatIsNotACaptureOfTheLink) {
    const std::string good = capture(kFlight);
    const struct {
        std::string bytes;
        const char *problem;
    } cases[] = {
        {"speed = 1.0\n[[event]]\nmodule = \"camera\"\n", ": not a link capture (no pcap magic number"},
        {good.substr(0, 10), ": truncated pcap header"},
        {capture(kFlight, 1), ": link type 1, expected 147 (the link's messages)"},
        {good.substr(0, good.size() - 1), ": record 4 at byte 135 is truncated"},
        {good.substr(0, 24 + 7), ": record 1 at byte 24 is truncated"},
    };
    for (const auto &c : cases) {
        const std::string path = write("bad.pcap", c.bytes);
        sim::Replay r;
        std::string error;
        EXPECT_FALSE(r.open(path, error));
        EXPECT_EQ(error.rfind(path + c.problem, 0), 0u) << error;
    }
}

}  // namespace
