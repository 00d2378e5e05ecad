// The intrinsics loader end to end, against a library copy whose factory data directory is
// CW_TEST_FACTORY_DIR: records built byte by byte and handed out by the stand-in eeprom_rw on
// PATH, the entry each entry point chooses, the conversion and the printed parse, hostile records
// that must stay inside their buffers, the text files, the failing and the missing tool.
#include <cirrow/cirrow.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "cw_test.h"

using namespace cwt;
using Floats = std::vector<float>;
namespace fs = std::filesystem;

namespace {

const fs::path kFactory = CW_TEST_FACTORY_DIR, kCalib = kFactory / "main_camera_calib";
const fs::path kTmp = kFactory / "cali_res_tmp.bin", kSource = kFactory.parent_path() / "record_source.bin";
const std::string kFetch = "eeprom_rw read intri_param " + kTmp.string();
const Floats kUntouched9(9, -7.0f), kUntouched5(5, -7.0f);

// An entry whose values are scaled by `s`: fx fy cx cy = 100s 101s 50s 40s, d0..d4 = s..5s.
struct Entry {
    uint8_t valid;
    uint16_t focal;
    float s = 1;
};

// Header, then the entries param_size bytes apart over a 0xEE filler.
Payload record(uint8_t nr, const std::vector<Entry> &entries, uint16_t param_size = 41) {
    Payload b = cat({le16(96), le16(3), {1, nr}, le16(param_size), le16(4000), le16(3000), {0, 0}});
    for (size_t i = 0; i < entries.size(); ++i) {
        const float s = entries[i].s;
        Payload raw = cat({{0xEE, 0xEE, entries[i].valid}, le16(entries[i].focal)});
        for (float v : {100 * s, 101 * s, 50 * s, 40 * s, s, 2 * s, 3 * s, 4 * s, 5 * s}) {
            raw = cat({raw, lef32(v)});
        }
        b.resize(std::max(b.size(), 14 + i * param_size + raw.size()), 0xEE);
        std::copy(raw.begin(), raw.end(), b.begin() + static_cast<std::ptrdiff_t>(14 + i * param_size));
    }
    return b;
}

void write_file(const fs::path &p, const Payload &b) {
    std::ofstream(p, std::ios::binary).write(reinterpret_cast<const char *>(b.data()), std::streamsize(b.size()));
}

// One entry-point call: result, outputs, camera_type, standard output. Nothing lands past the outputs.
auto load(int32_t (*fn)(float *, float *)) {
    Floats m(10, -7.0f), c(6, -7.0f);
    int32_t rc = 0;
    const std::string out = printed([&] { rc = fn(m.data(), c.data()); });
    EXPECT_EQ(std::make_pair(m.back(), c.back()), std::make_pair(-7.0f, -7.0f));
    m.pop_back(), c.pop_back();
    return std::make_tuple(rc, m, c, camera_type, out);
}

class Intrinsics : public LinkTest {
protected:
    void SetUp() override {
        LinkTest::SetUp();
        fs::remove_all(kFactory);
        fs::create_directories(kCalib);
        setenv("PATH", (std::string(CW_TEST_TOOL_DIR) + ":" + path_).c_str(), 1);
        unsetenv("EEPROM_RW_EXIT");
        setenv("EEPROM_RW_INTRI_RECORD", kSource.c_str(), 1);
    }
    void TearDown() override { setenv("PATH", path_.c_str(), 1); }
    std::string path_ = std::getenv("PATH");
};

TEST_F(Intrinsics, EachEntryPointTakesItsEntryOrFallsBack) {
    const auto f240 = cw_camera_get_type_intri_240, f480 = cw_camera_get_type_intri_480;
    const Entry a{1, 240, 1}, b{1, 480, 2}, c{1, 240, 3}, one{1, 280, 4};
    const std::string k24 = "L1 warning : no valid 24mm intri in main camera\n";
    const std::string kCount = "L1 warning : no valid intri in main camera\n";
    struct Case {
        uint8_t nr;
        std::vector<Entry> entries;
        int32_t (*fn)(float *, float *);
        int taken;  // -1: none
        std::string warning;
    };
    // clang-format off
    for (const Case &t : std::vector<Case>{
             {2, {{0, 240}, c}, f240, 1, ""}, {2, {a, b}, f240, 0, ""}, {2, {a, b}, f480, 1, ""},
             {2, {a, c}, f240, 0, ""}, {2, {{2, 240}, {2, 480}}, f240, -1, k24}, {2, {b, b}, f240, -1, k24},
             {1, {one}, f240, 0, ""}, {1, {one}, f480, 0, ""}, {1, {a}, f240, -1, ""},
             {0, {}, f240, -1, kCount}, {3, {a, b, c}, f480, -1, kCount}, {200, {a, b, c}, f480, -1, kCount}}) {
        // clang-format on
        SCOPED_TRACE(testing::Message() << int(t.nr) << " entries, taking " << t.taken);
        mbus_ctl_reset();
        camera_type = 77;
        write_file(kSource, record(t.nr, t.entries));
        const auto [rc, m, c, type, out] = load(t.fn);
        const int32_t want_type = t.taken < 0 ? 77 : t.nr == 2 ? 1 : 2;
        Texts want = {"L1 system call return : 0\n", "L1 delete tmp bin\n"};
        if (!t.warning.empty()) {
            want.push_back(t.warning);
        }
        want.push_back(std::string("L3 camera type: ").append(std::to_string(want_type)));
        if (t.taken < 0) {  // then the text files: none here
            EXPECT_EQ(std::tie(rc, m, c, type), std::make_tuple(20, kUntouched9, kUntouched5, 0));
            want.insert(want.end(), {"L3 load camera intri in tundra\n", "L1 load main_camera_param failed\n"});
        } else {
            const float s = t.entries[size_t(t.taken)].s;
            EXPECT_EQ(std::tie(rc, m, c, type),
                      std::make_tuple(0, Floats{100 * s, 0, 50 * s, 0, 101 * s, 40 * s, 0, 0, 1},
                                      Floats{s, 2 * s, 4 * s, 5 * s, 3 * s}, want_type));
        }
        want.insert(want.end(), {"U system call return : 0\n", "U read intri from camera success.\n"});
        if (t.taken >= 0) {
            want.push_back(
                std::string("U [AT_GIMBAL_CALI] --- foucs_num is ").append(std::to_string(t.nr)).append("\n"));
        }
        EXPECT_EQ(lines(), want);
        EXPECT_EQ(out.rfind(kFetch + " successful\np_param_header.version:3\n", 0), 0u) << out;
        EXPECT_FALSE(fs::exists(kTmp));
    }
    EXPECT_EQ(leveled().back().func + " " + leveled().back().file,
              "cw_camera_get_type_intri_480 ../cw_basic/cw_communication/cw_application/camera/src/cw_camera");
}

TEST_F(Intrinsics, ParsePrintsTheRecordAndFailsOnAMissingFile) {
    write_file(kTmp, record(1, {{1, 240, 0.1f}}));
    CaliRes res[2] = {};
    res[1].focal_length = 9;  // an entry the record does not hold stays as it was
    uint8_t nr = 0;
    const std::string out =
        printed([&] { EXPECT_EQ(cw_camera_read_camera_intri_from_bin(kTmp.c_str(), res, &nr), 0); });
    std::string want =
        "p_param_header.version:3\np_param_header.cali_width:4000\np_param_header.cali_height:3000\n"
        "p_param_header.total_size:96\np_param_header.cali_finish:1\np_param_header.nr_param:1\n"
        "cali_res[0].focal_length:240\n";
    for (const char *v : {"matrix:10.000000", "matrix:5.000000", "matrix:10.100000", "matrix:4.000000",
                          "coeff:0.100000", "coeff:0.200000", "coeff:0.400000", "coeff:0.500000", "coeff:0.300000"}) {
        want.append("cali_res[0].main_camera_").append(v).append("\n");
    }
    want.append("cali_res[0].cali_valid:1\ncali_res[1].focal_length:9\n");
    EXPECT_EQ(out.substr(0, want.size()), want);
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 6 + 2 * 11);
    EXPECT_EQ(cw_camera_read_camera_intri_from_bin("/absent/x.bin", res, &nr), 1);
    EXPECT_EQ(lines("cw_camera_read_camera_intri_from_bin"), both(1, "open file : /absent/x.bin failed\n"));
}

TEST_F(Intrinsics, HostileRecordsStayInsideTheirBuffers) {
    const Entry a{1, 240}, b{1, 480};
    const Payload b_alone = record(1, {b}), b_raw(b_alone.begin() + 14, b_alone.end());
    Payload far = record(2, {a}, 600), beyond = record(2, {a}, 1000), cut = record(2, {a, b});
    far.resize(614), beyond.resize(1014, 0xEE), cut.pop_back();
    far = cat({far, b_raw, Payload(2000, 0xEE)});  // entry 1 at 614: inside the 1024 bytes read
    beyond = cat({beyond, b_raw});                 // entry 1 would end at 1055: beyond them
    // clang-format off
    for (auto [file, nr, converted] : std::vector<std::tuple<Payload, int, int>>{
             {record(200, {a, b, a, b, a}), 200, 2}, {record(255, {a}, 0xFFFF), 255, 1}, {cut, 2, 1}, {far, 2, 2},
             {beyond, 2, 1}, {cat({record(2, {a}, 1), {0}}), 2, 2}, {record(2, {a}, 1), 2, 1}, {record(2, {}), 2, 0},
             {Payload{0x60, 0, 3, 0, 1, 2}, 2, 0}, {Payload{0x60, 0, 3}, 0, 0}}) {
        // clang-format on
        write_file(kTmp, file);
        struct {
            uint8_t before[16];
            CaliRes res[2];
            uint8_t after[16];
        } g;
        std::memset(&g, 0xA5, sizeof g);
        uint8_t got_nr = 0;
        printed([&] { EXPECT_EQ(cw_camera_read_camera_intri_from_bin(kTmp.c_str(), g.res, &got_nr), 0); });
        const int got = (g.res[0].focal_length != 0xA5A5A5A5u) + (g.res[1].focal_length != 0xA5A5A5A5u);
        EXPECT_EQ(std::make_tuple(int(got_nr), got), std::make_tuple(nr, converted)) << file.size();
        const auto untouched = [](const uint8_t *p) {
            return std::all_of(p, p + 16, [](uint8_t x) { return x == 0xA5; });
        };
        EXPECT_TRUE(untouched(g.before) && untouched(g.after));
    }
}

TEST_F(Intrinsics, TextFilesWhenTheToolFails) {
    setenv("EEPROM_RW_EXIT", "3", 1);
    const std::string good = "1,0,2,0,1,3,0,0,1,0.1,0.2,0,0,0.3";
    const Floats m = {1, 0, 2, 0, 1, 3, 0, 0, 1}, c = {0.1f, 0.2f, 0, 0, 0.3f};
    Floats m1 = kUntouched9, m3 = kUntouched9;
    m1[0] = 1, m3[0] = 7, m3[1] = 8, m3[2] = 9;
    for (auto [at_480, at_fix, rc, type, matrix, coeff] :
         std::vector<std::tuple<std::string, std::string, int, int, Floats, Floats>>{
             {good, "9,9", 0, 1, m, c},  // "-": no such file
             {"-", good, 0, 2, m, c},
             {" 1,\n0,\t2,0,1,3,0,0,\n1,0.1,0.2,0,0,0.3,42,x\n", "-", 0, 1, m, c},
             {"1 ,0,2,0,1,3,0,0,1,0.1,0.2,0,0,0.3", "-", 21, 1, m1, kUntouched5},
             {"-", "7,8,9", 21, 2, m3, kUntouched5},
             {"-", "-", 20, 0, kUntouched9, kUntouched5}}) {
        mbus_ctl_reset();
        fs::remove(kCalib / "camera_params_480.txt"), fs::remove(kCalib / "camera_params_fix.txt");
        for (auto [name, text] : {std::pair{"camera_params_480.txt", at_480}, {"camera_params_fix.txt", at_fix}}) {
            if (text != "-") {
                std::ofstream(kCalib / name) << text;
            }
        }
        const auto got = load(cw_camera_get_type_intri_240);
        EXPECT_EQ(std::tie(std::get<0>(got), std::get<3>(got), std::get<1>(got), std::get<2>(got)),
                  std::tie(rc, type, matrix, coeff))
            << at_480 << "|" << at_fix;
        Texts want = {"L1 system call return : -1\n", "L1 read bin from camera failed\n",
                      "L3 load camera intri in tundra\n"};
        std::string out = kFetch + " fail, exit code: 3\n";
        if (rc != 20) {
            char v[300];
            std::snprintf(v, sizeof v, "%f %f %f %f %f %f %f %f %f %f %f %f %f %f\n", matrix[0], matrix[1], matrix[2],
                          matrix[3], matrix[4], matrix[5], matrix[6], matrix[7], matrix[8], coeff[0], coeff[1],
                          coeff[2], coeff[3], coeff[4]);
            out += std::string("open txt success\n") + v;
        }
        if (rc != 0) {
            want.push_back(rc == 20 ? "L1 load main_camera_param failed\n" : "L1 load main_camera_param fail\n");
        }
        want.insert(want.end(), {"U system call return : -1\n", "U read bin from camera failed\n"});
        EXPECT_EQ(lines(), want);
        EXPECT_EQ(std::get<4>(got), out);
    }
}

TEST_F(Intrinsics, MissingToolAndOverlongCommand) {
    setenv("PATH", kFactory.c_str(), 1);
    EXPECT_EQ(std::get<4>(load(cw_camera_get_type_intri_480)), kFetch + " fail, exit code: 127\n");
    setenv("PATH", (std::string(CW_TEST_TOOL_DIR) + ":" + path_).c_str(), 1);
    mbus_ctl_reset();
    // 27 + 229 characters do not fit and are not run; 255 do (the tool cannot write there).
    const std::string x220(220, 'x'), too_long = std::string("/").append(228, 'x'), absent = "/absent/" + x220;
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(cw_camera_read_bin_intri_from_camera(too_long.c_str()), -1);
                  EXPECT_EQ(cw_camera_read_bin_intri_from_camera(absent.c_str()), -1);
              }),
              "eeprom_rw read intri_param " + absent + " fail, exit code: 1\n");
    EXPECT_EQ(leveled().size(), 2u);
}

TEST_F(Intrinsics, ShellCharactersInTheFetchPathAreRefused) {
    const std::string base = (kFactory / "r.bin").string(), inj = (kFactory / "INJECTED").string();
    // Each after an ordinary path, with X standing for a file the shell would create; "" alone.
    for (const std::string hostile : {"; touch X", " X", "$(touch X)", "`touch X`", "'; touch X'", "\"; touch X\"",
                                      "\ntouch X", " | touch X", " & touch X", " > X", ""}) {
        std::string path = hostile.empty() ? "" : base + hostile;
        path = path.empty() ? path : path.replace(path.rfind('X'), 1, inj);
        mbus_ctl_reset();
        EXPECT_EQ(printed([&] { EXPECT_EQ(cw_camera_read_bin_intri_from_camera(path.c_str()), -1) << path; }), "");
        EXPECT_FALSE(fs::exists(inj) || fs::exists(base)) << path;
        Texts want = both(1, "refused calibration path with unsafe characters\n");
        const Texts ret = both(1, "system call return : -1\n");
        want.insert(want.begin() + 1, ret[0]);
        want.push_back(ret[1]);
        EXPECT_EQ(lines(), want);
    }
    const std::string plain = (kFactory / "Az09_.-.bin").string();
    printed([&] { EXPECT_EQ(cw_camera_read_bin_intri_from_camera(plain.c_str()), 0); });
    EXPECT_TRUE(fs::exists(plain));
}

}  // namespace
