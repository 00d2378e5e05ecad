// The live view: what the flight's state says after a flight's messages, the link rates, the
// series' bounds, the capture reader's refusals, and the server's pages and addresses.
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <httplib.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "link_capture.h"
#include "link_messages.h"
#include "link_modules.h"
#include "link_trace.h"
#include "live.h"

namespace {

using cw::link::Dir;

// A message of the row `name`, as long as its fields, with the given fields set.
struct Msg {
    const cw::link::Message *row;
    std::vector<uint8_t> bytes;
    Msg(const char *name, Dir dir) : row(cw::link::find(name, dir)) {
        size_t len = 0;
        for (const auto &f : row->field_list()) {
            len = std::max<size_t>(len, f.offset + cw::link::type_size(f.type) * std::max<size_t>(f.count, 1));
        }
        bytes.assign(len, 0);
    }
    Msg &set(const char *field, double v, size_t i = 0) {
        cw::trace::put(*cw::link::field(*row, field), bytes.data(), v, i);
        return *this;
    }
    void to(view::Flight &f, double t) const {
        f.add({t, row->set, row->id, row->dir, row->receiver, bytes.data(), static_cast<uint32_t>(bytes.size())});
    }
};

bool has(const std::string &json, const std::string &part) { return json.find(part) != std::string::npos; }

void state(view::Flight &f, double t, int phase, double height_dm) {
    Msg("flight.fc_state", Dir::Push).set("phase", phase).set("height_dm", height_dm).set("battery", 90).to(f, t);
}

TEST(Flight, DecodesAFlight) {
    view::Flight f;
    state(f, 0.0, 1, 0);  // the first phase seen is motors starting: the flight began on the ground
    state(f, 1.0, 3, 52);
    Msg("flight.fc_sensor", Dir::Push).set("north", 3).set("east", -4).to(f, 1.1);
    Msg("flight.fc_sensor", Dir::Push).set("north", 5).set("east", 1).set("height_cm", 75).to(f, 1.2);
    Msg("gimbal.info", Dir::Push).set("joint", -455, 0).set("joint", 12, 1).to(f, 1.3);
    Msg("camera.switch_mode", Dir::Request).set("mode", 1).to(f, 1.4);
    Msg("camera.take_photo", Dir::Request).to(f, 1.5);
    Msg("camera.take_photo", Dir::Request).to(f, 1.6);
    Msg("rc.sticks", Dir::Push).set("sticks", 1684, 0).set("sticks", 364, 3).to(f, 1.7);
    // A short fc_sensor (no position) keeps the last position.
    const uint8_t short_sensor[3] = {10, 0, 0};
    f.add({1.8, 3, 106, Dir::Push, cw::link::kAnyReceiver, short_sensor, sizeof short_sensor});
    state(f, 3.0, 4, 10);
    state(f, 4.0, 0, 0);
    f.set_apps({"demo_quick_shot[42]"});
    f.set_report("ok: \"landed\" </script>");
    const std::string j = f.json(0);
    EXPECT_TRUE(has(j, "\"phase\":0,\"phases\":[[0,0],[0,1],[1,3],[3,4],[4,0]]")) << j;
    // The page names the phases as the link's table does.
    EXPECT_TRUE(has(j,
                    "\"phase_names\":[\"on the ground\",\"motors starting\",\"taking off\",\"in the air\","
                    "\"landing\"]"))
        << j;
    EXPECT_TRUE(has(j, "\"height\":0,")) << j;
    EXPECT_TRUE(has(j, "\"yaw\":0,")) << j;  // the sensor message now carries the heading
    EXPECT_TRUE(has(j, "\"north\":5,\"east\":1,\"home_north\":3,\"home_east\":-4,\"radius\":500")) << j;
    EXPECT_TRUE(has(j, "\"gimbal\":[-45.5,1.2,0]")) << j;
    EXPECT_TRUE(has(j, "\"sticks\":[1684,0,0,364]")) << j;
    EXPECT_TRUE(has(j, "\"camera_modes\":[\"photo\",\"video\"],\"camera_mode\":1,\"photos\":2")) << j;
    EXPECT_TRUE(has(j, "\"apps\":[\"demo_quick_shot[42]\"]")) << j;
    EXPECT_TRUE(has(j, "\"report\":\"ok: \\\"landed\\\" <\\/script>\"")) << j;
}

TEST(Flight, RadiusLimitFollowsItsParameterWrite) {
    view::Flight f;
    // The flight controller's hash of "g_config.flying_limit.max_radius_0"; another hash is ignored.
    uint64_t h = 0;
    for (const char c : std::string("g_config.flying_limit.max_radius_0")) {
        h = (h * 256 + static_cast<unsigned char>(c)) % 4294967291u;
    }
    for (const uint32_t hash : {static_cast<uint32_t>(h), 1234u}) {
        Msg m("flight.param_write", Dir::Request);
        m.bytes.resize(6);
        m.set("hash", hash);
        m.bytes[4] = static_cast<uint8_t>(hash == 1234u ? 0xFF : 0x2C);  // 300 m, or 511 for the other
        m.bytes[5] = 0x01;
        m.to(f, 1);
    }
    EXPECT_TRUE(has(f.json(0), "\"radius\":300")) << f.json(0);
}

TEST(Flight, VisionMissionOutcome) {
    for (const auto &[code, outcome] : {std::pair{0, "finished"}, std::pair{2, "failed"}}) {
        view::Flight f;
        Msg("vision.qs_finished", Dir::Push).set("active", 1).to(f, 1);
        EXPECT_TRUE(has(f.json(0), "\"mission\":\"quick shot\",\"mission_status\":\"under way\""));
        Msg("vision.qs_result", Dir::Push).set("code", 1).to(f, 2);
        Msg("vision.qs_result", Dir::Push).set("code", code).to(f, 3);
        Msg("vision.qs_finished", Dir::Push).set("active", 0).to(f, 3);
        EXPECT_TRUE(has(f.json(0), std::string("\"mission_status\":\"") + outcome + "\"")) << f.json(0);
    }
    view::Flight pano;
    Msg("vision.pano_status", Dir::Push).set("mission_state", 1).to(pano, 1);
    Msg("vision.pano_result", Dir::Push).set("code", 0).to(pano, 2);
    EXPECT_TRUE(has(pano.json(0), "\"pano_state\":1,\"pano_result\":0")) << pano.json(0);
    EXPECT_TRUE(has(pano.json(0), "\"mission\":\"panorama\",\"mission_status\":\"finished\""));
}

TEST(Flight, LinkRatesPerMessage) {
    view::Flight f;
    for (int i = 0; i < 10; ++i) {
        state(f, 1.0 + i * 0.1, 0, 0);
    }
    const uint8_t unknown[2] = {1, 2};
    f.add({1.5, 99, 7, Dir::Push, cw::link::kAnyReceiver, unknown, sizeof unknown});
    state(f, 2.05, 0, 0);  // the second 1..2 is whole: 10 fc_state, 1 unknown
    // Each under its module, by the aircraft's module list; a message the table does not know last.
    EXPECT_TRUE(has(f.json(0),
                    "{\"name\":\"flight.fc_state\",\"kind\":\"push\",\"count\":11,\"rate\":10,"
                    "\"module\":\"Flight controller\",\"order\":0}"));
    const std::string last = std::to_string(std::size(cw::trace::kModules));
    EXPECT_TRUE(has(f.json(0),
                    "{\"name\":\"99/7\",\"kind\":\"push\",\"count\":1,\"rate\":1,"
                    "\"module\":\"\",\"order\":" +
                        last + "}"));
    Msg("gimbal.info", Dir::Push).to(f, 2.1);
    EXPECT_TRUE(has(f.json(0),
                    "\"name\":\"gimbal.info\",\"kind\":\"push\",\"count\":1,\"rate\":0,"
                    "\"module\":\"Gimbal\",\"order\":3}"))
        << f.json(0);
    const uint8_t result[1] = {0};  // a bare result byte goes under the module it answers for
    f.add({2.2, 3, 1, Dir::Answer, cw::link::kGimbal, result, sizeof result});
    EXPECT_TRUE(has(f.json(0),
                    "\"name\":\"result\",\"kind\":\"answer\",\"count\":1,\"rate\":0,"
                    "\"module\":\"Gimbal\",\"order\":3}"))
        << f.json(0);
    state(f, 5.0, 0, 0);  // seconds without messages: no rate
    EXPECT_TRUE(has(f.json(0), "\"count\":12,\"rate\":0,")) << f.json(0);
}

TEST(Flight, SeriesAreBoundedAndIncremental) {
    view::Flight f;
    for (int i = 0; i < 40; ++i) {
        state(f, i * 0.05, 3, i);  // 20 per second: one point per 0.1 s is kept
    }
    std::string j = f.json(0);
    EXPECT_TRUE(has(j, "\"epoch\":0,\"from\":0,\"next\":20")) << j;
    j = f.json(18);
    EXPECT_TRUE(has(j, "\"from\":18,\"next\":20,\"series\":[[1.8,3.6,0,null,90,null,null],[1.9")) << j;
    EXPECT_TRUE(has(f.json(99), "\"from\":20,\"next\":20,\"series\":[]"));
    // A long flight: the series are thinned out, never past their cap, and say so by their epoch.
    for (int i = 20; i < 20000; ++i) {
        state(f, i * 0.1, 3, 10);
    }
    j = f.json(0);
    const size_t next = std::stoul(j.substr(j.find("\"next\":") + 7));
    EXPECT_LE(next, 8192u);
    EXPECT_GE(next, 2000u);
    EXPECT_FALSE(has(j, "\"epoch\":0,")) << j.substr(0, 200);
}

// A capture of the given records (set, id, direction), in the stand-in's layout.
std::string capture(const std::string &name, uint32_t linktype, size_t records, size_t cut = 0) {
    std::vector<uint8_t> b;
    auto le = [&b](uint64_t v, size_t n) {
        for (size_t k = 0; k < n; ++k) {
            b.push_back(static_cast<uint8_t>(v >> (8 * k)));
        }
    };
    le(0xA1B2C3D4u, 4), le(2, 2), le(4, 2), le(0, 8), le(65535, 4), le(linktype, 4);
    for (size_t i = 0; i < records; ++i) {
        le(100 + i, 4), le(500000, 4), le(cw::trace::kPcapHeaderLen + 2, 4), le(cw::trace::kPcapHeaderLen + 2, 4);
        le(1, 1), le(2, 1), le(3, 1), le(91, 1), le(0xFFFF, 2), le(0, 2), le(0, 4), le(i, 4), le(0, 4);
        le(3, 1), le(7, 1);
    }
    b.resize(b.size() - cut);
    const std::string path = testing::TempDir() + name;
    FILE *f = std::fopen(path.c_str(), "wb");
    std::fwrite(b.data(), 1, b.size(), f);
    std::fclose(f);
    return path;
}

TEST(Capture, ReadsRecordsAndRefusesBadFiles) {
    std::vector<cw::trace::CaptureRecord> recs;
    std::string error;
    ASSERT_TRUE(cw::trace::read_capture(capture("good.pcap", 147, 3), recs, error)) << error;
    ASSERT_EQ(recs.size(), 3u);
    EXPECT_DOUBLE_EQ(recs[2].t, 102.5);
    EXPECT_EQ(recs[2].dir, Dir::Push);
    EXPECT_EQ(recs[2].seq, 2u);
    EXPECT_EQ(recs[2].bytes, (std::vector<uint8_t>{3, 7}));

    const struct {
        std::string path, says;
    } bad[] = {
        {testing::TempDir() + "missing.pcap", "missing.pcap: No such file"},
        {capture("wrong.pcap", 1, 1), "wrong.pcap: link type 1, expected 147"},
        {capture("cut.pcap", 147, 2, 5), "cut.pcap: record 2 at byte 62 is truncated"},
        {capture("head.pcap", 147, 0, 10), "head.pcap: truncated pcap header"},
        {capture("text.pcap", 147, 0, 24), "text.pcap: not a link capture"},
    };
    for (const auto &b : bad) {
        recs.clear();
        EXPECT_FALSE(cw::trace::read_capture(b.path, recs, error)) << b.path;
        EXPECT_TRUE(has(error, b.says)) << error;
    }
    EXPECT_EQ(recs.size(), 0u);  // the last had none; the cut one kept its whole first record:
    cw::trace::read_capture(testing::TempDir() + "cut.pcap", recs, error);
    EXPECT_EQ(recs.size(), 1u);
}

// The replay and cirrow-plot read with this one reader: a big-endian nanosecond capture reads as
// its little-endian microsecond twin, a header alone is a capture of nothing, a FIFO is refused.
TEST(Capture, ReadsEveryPcapFlavourTheSameAndRefusesAFifo) {
    std::string bytes;
    std::string error;
    ASSERT_TRUE(cw::trace::read_input_file(capture("twin.pcap", 147, 2), 1 << 20, bytes, error)) << error;
    std::vector<uint8_t> b(bytes.begin(), bytes.end());
    const auto swap32 = [&b](size_t at, uint32_t scale) {
        uint32_t v = 0;
        std::memcpy(&v, &b[at], 4);
        v = __builtin_bswap32(v * scale);
        std::memcpy(&b[at], &v, 4);
    };
    const uint32_t ns_magic = 0xA1B23C4Du;
    std::memcpy(&b[0], &ns_magic, 4);
    swap32(0, 1), swap32(16, 1), swap32(20, 1);
    b[4] = 0, b[5] = 2, b[6] = 0, b[7] = 4;  // version 2.4, big-endian
    for (size_t at = 24; at < b.size(); at += 16 + cw::trace::kPcapHeaderLen + 2) {
        swap32(at, 1), swap32(at + 4, 1000), swap32(at + 8, 1), swap32(at + 12, 1);
    }
    std::vector<cw::trace::CaptureRecord> le, be;
    ASSERT_TRUE(cw::trace::read_capture(capture("twin.pcap", 147, 2), le, error)) << error;
    ASSERT_TRUE(cw::trace::parse_capture("be.pcap", b.data(), b.size(), be, error)) << error;
    ASSERT_EQ(be.size(), 2u);
    EXPECT_DOUBLE_EQ(be[1].t, le[1].t);
    EXPECT_EQ(be[1].bytes, le[1].bytes);
    EXPECT_EQ(be[1].seq, le[1].seq);

    be.clear();
    EXPECT_TRUE(cw::trace::read_capture(capture("empty.pcap", 147, 0), be, error)) << error;
    EXPECT_TRUE(be.empty());

    const std::string fifo = testing::TempDir() + "capture.fifo";
    unlink(fifo.c_str());
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_FALSE(cw::trace::read_capture(fifo, be, error));
    EXPECT_TRUE(has(error, "capture.fifo: not a regular file (a FIFO)")) << error;
    unlink(fifo.c_str());
}

TEST(Server, ServesThePageTheScriptsAndTheState) {
    view::Flight f;
    state(f, 1.0, 3, 12);
    view::Server s;
    std::string error;
    ASSERT_TRUE(s.start("127.0.0.1:0", f, error)) << error;
    httplib::Client c("127.0.0.1", s.port());
    for (const char *path : {"/", "/page.js", "/page.css", "/lib/d3.min.js", "/lib/dygraph.min.js"}) {
        const auto res = c.Get(path);
        ASSERT_TRUE(res) << path;
        EXPECT_EQ(res->status, 200) << path;
        EXPECT_GT(res->body.size(), 1000u) << path;
    }
    const auto res = c.Get("/api/state?since=0");
    ASSERT_TRUE(res);
    EXPECT_TRUE(has(res->body, "\"phase\":3")) << res->body;
    EXPECT_EQ(c.Get("/nothing")->status, 404);
    httplib::Headers lines;  // beside the client's own few
    for (int i = 0; i < 60; ++i) {
        lines.emplace("X-" + std::to_string(i), "a");
        if (i == 40) {
            EXPECT_EQ(c.Get("/", lines)->status, 200);
        }
    }
    EXPECT_EQ(c.Get("/", lines)->status, 431);

    view::Server second;  // the same address is taken
    EXPECT_FALSE(second.start("127.0.0.1:" + std::to_string(s.port()), f, error));
    EXPECT_TRUE(has(error, "cannot listen")) << error;
    for (const char *addr : {"8080", "127.0.0.1:", ":80", "127.0.0.1:80x", "127.0.0.1:-1"}) {
        EXPECT_FALSE(second.start(addr, f, error)) << addr;
        EXPECT_TRUE(has(error, std::string(addr) + ": expected HOST:PORT")) << addr << ": " << error;
    }
    EXPECT_FALSE(second.start("127.0.0.1:99999", f, error));
    EXPECT_TRUE(has(error, "127.0.0.1:99999: port 99999 is out of range (0 to 65535)")) << error;
    EXPECT_FALSE(second.start("::1:0", f, error));
    EXPECT_TRUE(has(error, "::1 names no IPv4 address (the page is served on IPv4 only)")) << error;
    s.stop();
    EXPECT_FALSE(c.Get("/"));
}

TEST(Page, SelfContained) {
    view::Flight f;
    state(f, 1.0, 3, 12);
    std::string error;
    const std::string page = view::render_html(f, "a <flight>", error);
    EXPECT_TRUE(has(page, "<title>a &lt;flight&gt;</title>")) << error;
    EXPECT_TRUE(has(page, "window.CW_DATA = {"));
    EXPECT_FALSE(has(page, "<script src")) << "the page loads nothing";
    EXPECT_FALSE(has(page, "<link rel"));
}

}  // namespace
