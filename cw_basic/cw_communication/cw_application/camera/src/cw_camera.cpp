// Main camera: the convenience wrappers over the camera commands, and the loader of the main
// camera's factory intrinsics (calibration record from the camera through eeprom_rw, or a text
// file). The state cache is in cw_camera_cache.cpp.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "cirrow/cw_camera.h"
#include "cw_bytes.h"
#include "cw_cell.h"
#include "cw_log.h"

// Where the factory data lives on the aircraft (test builds point these elsewhere).
#ifndef CW_FACTORY_DATA_DIR
#define CW_FACTORY_DATA_DIR "/factory_data"
#endif
#ifndef CW_CAMERA_CALIB_DIR
#define CW_CAMERA_CALIB_DIR "/factory_data/main_camera_calib"
#endif

extern "C" {
CW_API int32_t camera_type = 0;
}

namespace {

// ---- Intrinsics ----

constexpr size_t kPathMax = 256;
constexpr const char *kTmpRecordName = "cali_res_tmp.bin";

// The calibration record: a 14-byte header, then entries param_size bytes apart.
constexpr size_t kRecordReadMax = 1024;
constexpr size_t kHeaderLen = 14;
constexpr size_t kEntryLen = 41;
constexpr size_t kMaxEntries = 2;

constexpr uint32_t kOneEntryFocal = 280;  // the focal length a one-entry record must hold
constexpr int32_t kTypeTwoEntries = 1;    // camera_type values
constexpr int32_t kTypeOneEntry = 2;

constexpr int32_t kNoCalibration = 20;
constexpr int32_t kBadTextFile = 21;
constexpr int kTextValues = 14;

struct TextFile {
    const char *name;
    int32_t type;
};
constexpr std::array<TextFile, 2> kTextFiles = {
    {{"camera_params_480.txt", kTypeTwoEntries}, {"camera_params_fix.txt", kTypeOneEntry}}};

// Converts the entry at `e` (all 41 bytes present) into its in-memory form.
[[gnu::noinline]] void convert_entry(const uint8_t *e, CaliRes &out) {
    const float fx = cw::le::get<float>(e, 5);
    const float fy = cw::le::get<float>(e, 9);
    const float cx = cw::le::get<float>(e, 13);
    const float cy = cw::le::get<float>(e, 17);
    const std::array<float, 9> matrix = {fx, 0.0f, cx, 0.0f, fy, cy, 0.0f, 0.0f, 1.0f};
    // The record's third coefficient moves to the end.
    constexpr std::array<size_t, 5> coeff_at = {21, 25, 33, 37, 29};
    out.focal_length = cw::le::get<uint16_t>(e, 3);
    for (size_t k = 0; k < matrix.size(); ++k) {
        out.main_camera_matrix[k] = matrix[k];
    }
    for (size_t k = 0; k < coeff_at.size(); ++k) {
        out.main_camera_coeff[k] = cw::le::get<float>(e, coeff_at[k]);
    }
    out.cali_valid = e[2];
}

// fx, cx, fy, cy
constexpr std::array<size_t, 4> kPrintedMatrix = {0, 2, 4, 5};

[[gnu::noinline]] void print_entries(const CaliRes *cali_res) {
    for (int i = 0; i < static_cast<int>(kMaxEntries); ++i) {
        const CaliRes &r = cali_res[i];
        std::printf("cali_res[%d].focal_length:%d\n", i, static_cast<int>(r.focal_length));
        for (size_t k : kPrintedMatrix) {
            std::printf("cali_res[%d].main_camera_matrix:%f\n", i, static_cast<double>(r.main_camera_matrix[k]));
        }
        for (size_t k = 0; k < 5; ++k) {
            std::printf("cali_res[%d].main_camera_coeff:%f\n", i, static_cast<double>(r.main_camera_coeff[k]));
        }
        std::printf("cali_res[%d].cali_valid:%d\n", i, r.cali_valid);
    }
}

// Reads the record (at most 1024 bytes), converts what it holds into cali_res[0..1], stores its
// entry count and prints the parse. Kept apart from the logging caller so that the record and
// the log head never share a frame.
[[gnu::noinline]] void parse_record(FILE *f, CaliRes *cali_res, uint8_t *nr_param) {
    std::array<uint8_t, kRecordReadMax> rec;
    const size_t got = std::fread(rec.data(), 1, rec.size(), f);
    // Header bytes beyond a short file read as 0; entries are taken from the bytes read only.
    std::fill(rec.begin() + static_cast<std::ptrdiff_t>(got), rec.end(), 0);
    const uint16_t total_size = cw::le::get<uint16_t>(rec, 0);
    const uint16_t version = cw::le::get<uint16_t>(rec, 2);
    const uint8_t cali_finish = rec[4];
    const uint8_t count = rec[5];
    const uint16_t param_size = cw::le::get<uint16_t>(rec, 6);
    const uint16_t cali_width = cw::le::get<uint16_t>(rec, 8);
    const uint16_t cali_height = cw::le::get<uint16_t>(rec, 10);

    *nr_param = count;
    for (size_t i = 0; i < count && i < kMaxEntries; ++i) {
        const size_t at = kHeaderLen + i * param_size;
        if (at + kEntryLen <= got) {
            convert_entry(rec.data() + at, cali_res[i]);
        }
    }
    std::printf("p_param_header.version:%d\n", version);
    std::printf("p_param_header.cali_width:%d\n", cali_width);
    std::printf("p_param_header.cali_height:%d\n", cali_height);
    std::printf("p_param_header.total_size:%d\n", total_size);
    std::printf("p_param_header.cali_finish:%d\n", cali_finish);
    std::printf("p_param_header.nr_param:%d\n", count);
    print_entries(cali_res);
}

// The entry a caller asking for `focal` gets from a parsed record.
struct Choice {
    const CaliRes *entry;   // null: none
    bool none_at_focal;     // two entries, neither valid at the focal length
    bool unexpected_count;  // neither one nor two entries
};

Choice choose_entry(const CaliRes *res, uint8_t count, uint32_t focal) {
    const auto usable = [](const CaliRes &r, uint32_t f) { return r.cali_valid == 1 && r.focal_length == f; };
    switch (count) {
        case 2:
            if (usable(res[0], focal)) {
                return {&res[0], false, false};
            }
            if (usable(res[1], focal)) {
                return {&res[1], false, false};
            }
            return {nullptr, true, false};
        case 1:
            return {usable(res[0], kOneEntryFocal) ? &res[0] : nullptr, false, false};
        default:
            return {nullptr, false, true};
    }
}

void deliver(const CaliRes &entry, uint8_t count, float *matrix, float *coeff) {
    for (size_t k = 0; k < 9; ++k) {
        matrix[k] = entry.main_camera_matrix[k];
    }
    for (size_t k = 0; k < 5; ++k) {
        coeff[k] = entry.main_camera_coeff[k];
    }
    cw::store_exported(camera_type, count == 2 ? kTypeTwoEntries : kTypeOneEntry);
}

// Picks the text calibration file (its path into `path`) and sets camera_type for it; returns
// that type, or 0 when there is none.
int32_t choose_text_file(char *path) {
    cw::store_exported(camera_type, 0);
    for (const TextFile &t : kTextFiles) {
        std::snprintf(path, kPathMax, "%s/%s", CW_CAMERA_CALIB_DIR, t.name);
        if (access(path, F_OK) == 0) {
            cw::store_exported(camera_type, t.type);
            return t.type;
        }
    }
    return 0;
}

// Reads the 14 comma-separated numbers into matrix[0..8] and coeff[0..4], as far as they convert,
// and prints what the outputs then hold. Returns the count converted, -1 when the file cannot be
// opened.
int read_text_intrinsics(const char *path, float *matrix, float *coeff) {
    FILE *f = std::fopen(path, "r");
    if (f == nullptr) {
        return -1;
    }
    std::printf("open txt success\n");
    const int n = std::fscanf(f, "%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f", &matrix[0], &matrix[1], &matrix[2],
                              &matrix[3], &matrix[4], &matrix[5], &matrix[6], &matrix[7], &matrix[8], &coeff[0],
                              &coeff[1], &coeff[2], &coeff[3], &coeff[4]);
    std::fclose(f);
    std::printf("%f %f %f %f %f %f %f %f %f %f %f %f %f %f\n", static_cast<double>(matrix[0]),
                static_cast<double>(matrix[1]), static_cast<double>(matrix[2]), static_cast<double>(matrix[3]),
                static_cast<double>(matrix[4]), static_cast<double>(matrix[5]), static_cast<double>(matrix[6]),
                static_cast<double>(matrix[7]), static_cast<double>(matrix[8]), static_cast<double>(coeff[0]),
                static_cast<double>(coeff[1]), static_cast<double>(coeff[2]), static_cast<double>(coeff[3]),
                static_cast<double>(coeff[4]));
    return n;
}

}  // namespace

// ---- Convenience wrappers ----

extern "C" int32_t cw_camera_get_workmode(uint8_t *mode) { return cw_v1_camera_api_query_camera_mode(mode); }
extern "C" int32_t cw_camera_send_heartbeat(void) { return cw_v1_camera_api_send_heartbeat(); }
extern "C" int32_t cw_camera_set_video_format(const uint8_t *format) {
    return cw_v1_camera_api_set_video_format(format);
}
extern "C" int32_t cw_camera_set_focus_mode(uint8_t mode) { return cw_v1_camera_api_set_focus_mode(mode); }
extern "C" int32_t cw_camera_get_focus_mode(uint8_t *mode) { return cw_v1_camera_api_get_focus_mode(mode); }
extern "C" int32_t cw_camera_set_af_region(const uint8_t *region) { return cw_v1_camera_set_af_region(region); }
extern "C" int32_t cw_camera_switch_mode(const char *mode) { return cw_v1_camera_api_switch_mode(mode); }
extern "C" int32_t cw_camera_set_focus_lens(uint16_t focus) { return cw_v1_camera_api_set_camera_focus(focus); }

// ---- Intrinsics ----

namespace {

// The fetch and removal commands go through the shell: a path is put into them only when every
// character is one the shell takes literally (letters, digits, '/', '.', '_', '-').
bool shell_safe_path(const char *path) {
    if (path == nullptr || *path == '\0') {
        return false;
    }
    for (const char *p = path; *p != '\0'; ++p) {
        const char c = *p;
        const bool alnum = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (!alnum && c != '/' && c != '.' && c != '_' && c != '-') {
            return false;
        }
    }
    return true;
}

constexpr const char *kUnsafePath = "refused calibration path with unsafe characters\n";

}  // namespace

extern "C" int32_t cw_camera_read_bin_intri_from_camera(const char *path) {
    CW_REQUIRE(path);
    char cmd[kPathMax];
    const bool safe = shell_safe_path(path);
    const int len = safe ? std::snprintf(cmd, sizeof cmd, "eeprom_rw read intri_param %s", path) : -1;
    int32_t result = -1;
    if (!safe) {
        CW_LOG_BOTH(cw::log::kFail, "%s", kUnsafePath);
    } else if (len >= 0 && static_cast<size_t>(len) < sizeof cmd) {
        // (A cut command would have the tool write somewhere else: it is not run.)
        std::fflush(stdout);  // our lines before the tool's
        const int status = std::system(cmd);
        const int code = (status >> 8) & 0xFF;
        if (status == -1) {
            std::printf("system error!\n");
        } else if ((status & 0x7F) != 0) {
            std::printf("exit code: %d\n", code);
        } else if (code != 0) {
            std::printf("%s fail, exit code: %d\n", cmd, code);
        } else {
            std::printf("%s successful\n", cmd);
            result = 0;
        }
    }
    CW_LOG_BOTH(cw::log::kFail, "system call return : %d\n", result);
    return result;
}

extern "C" int32_t cw_camera_read_camera_intri_from_bin(const char *path, CaliRes *cali_res, uint8_t *nr_param) {
    CW_REQUIRE(path, cali_res, nr_param);
    FILE *f = std::fopen(path, "rb");
    if (f == nullptr) {
        CW_LOG_BOTH(cw::log::kFail, "open file : %s failed\n", path);
        return 1;
    }
    parse_record(f, cali_res, nr_param);
    std::fclose(f);
    return 0;
}

extern "C" int32_t cw_camera_read_intri_from_camera(CaliRes *cali_res, uint8_t *nr_param) {
    CW_REQUIRE(cali_res, nr_param);
    char path[kPathMax];
    std::snprintf(path, sizeof path, "%s/%s", CW_FACTORY_DATA_DIR, kTmpRecordName);
    if (cw_camera_read_bin_intri_from_camera(path) != 0) {
        CW_LOG_BOTH(cw::log::kFail, "read bin from camera failed\n");
        return 1;
    }
    if (cw_camera_read_camera_intri_from_bin(path, cali_res, nr_param) != 0) {
        CW_LOG_BOTH(cw::log::kFail, "read intri from bin failed\n");
        return 1;
    }
    CW_LOG(cw::log::kFail, "delete tmp bin\n");
    if (!shell_safe_path(path)) {
        CW_LOG(cw::log::kFail, "%s", kUnsafePath);
        return 0;
    }
    char cmd[kPathMax + 3];
    std::snprintf(cmd, sizeof cmd, "rm %s", path);
    const int ignored = std::system(cmd);
    (void)ignored;
    return 0;
}

namespace {

// The body of the two intrinsics entry points: they differ in the focal length they ask of a
// two-entry record only, and each logs under its own name (`func`).
int32_t get_type_intri(const char *func, uint32_t focal, float *matrix, float *coeff) {
    CW_REQUIRE(matrix, coeff);
    CaliRes cali_res[kMaxEntries] = {};
    uint8_t count = 0;
    if (cw_camera_read_intri_from_camera(cali_res, &count) == 0) {
        CW_USRLOG_AS(func, "read intri from camera success.\n");
        const Choice c = choose_entry(cali_res, count, focal);
        if (c.entry != nullptr) {
            deliver(*c.entry, count, matrix, coeff);
            CW_USRLOG_AS(func, "[AT_GIMBAL_CALI] --- foucs_num is %d\n", count);
        } else if (c.none_at_focal) {
            CW_LOG_AS(func, cw::log::kFail, "warning : no valid 24mm intri in main camera\n");
        } else if (c.unexpected_count) {
            CW_LOG_AS(func, cw::log::kFail, "warning : no valid intri in main camera\n");
        }
        CW_LOG_AS(func, cw::log::kInfo, "camera type: %d", cw::load_exported(camera_type));
        if (c.entry != nullptr) {
            return 0;
        }
    }
    CW_LOG_AS(func, cw::log::kInfo, "load camera intri in tundra\n");
    char path[kPathMax];
    if (choose_text_file(path) == 0) {
        CW_LOG_AS(func, cw::log::kFail, "load main_camera_param failed\n");
        return kNoCalibration;
    }
    if (read_text_intrinsics(path, matrix, coeff) != kTextValues) {
        CW_LOG_AS(func, cw::log::kFail, "load main_camera_param fail\n");
        return kBadTextFile;
    }
    return 0;
}

}  // namespace

extern "C" int32_t cw_camera_get_type_intri_240(float *matrix, float *coeff) {
    return get_type_intri(__func__, 240, matrix, coeff);
}

extern "C" int32_t cw_camera_get_type_intri_480(float *matrix, float *coeff) {
    return get_type_intri(__func__, 480, matrix, coeff);
}
