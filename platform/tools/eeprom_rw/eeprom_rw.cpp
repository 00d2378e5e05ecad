// eeprom_rw, host stand-in: what the aircraft's tool does with the camera's EEPROM, played from
// files on a development host.
//
//   eeprom_rw read intri_param <destination>
//
// writes the main camera's calibration record to <destination> and exits 0. The record is:
//   - the bytes of the file named by EEPROM_RW_INTRI_RECORD, copied as they are, or
//   - without that variable, a built-in two-entry record (valid entries at focal lengths 240
//     and 480).
// EEPROM_RW_EXIT=<n> (n non-zero) makes the tool fail with exit status n without writing, as a
// camera that does not answer would; EEPROM_RW_SIGNAL=<n> makes it kill itself with signal n.
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

void put16(Bytes &b, uint16_t v) {
    b.push_back(static_cast<uint8_t>(v));
    b.push_back(static_cast<uint8_t>(v >> 8));
}

void putf(Bytes &b, float v) {
    uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    for (int i = 0; i < 4; ++i) {
        b.push_back(static_cast<uint8_t>(bits >> (8 * i)));
    }
}

// Header: total size, version, finished flag, entry count, entry size, calibrated width and
// height, two reserved bytes. Entry: two reserved bytes, valid flag, focal length, fx fy cx cy,
// five distortion coefficients.
Bytes builtin_record() {
    constexpr uint16_t kEntrySize = 41;
    constexpr uint8_t kEntries = 2;
    Bytes b;
    put16(b, 14 + kEntries * kEntrySize);
    put16(b, 1);
    b.push_back(1);
    b.push_back(kEntries);
    put16(b, kEntrySize);
    put16(b, 4000);
    put16(b, 3000);
    put16(b, 0);
    struct Entry {
        uint16_t focal;
        float fx, fy, cx, cy, d[5];
    };
    const Entry entries[kEntries] = {
        {240, 2900.5f, 2901.25f, 2000.0f, 1500.0f, {-0.11f, 0.05f, 0.001f, -0.002f, 0.0003f}},
        {480, 5800.0f, 5802.5f, 1998.5f, 1501.5f, {-0.21f, 0.15f, 0.002f, -0.001f, 0.0004f}},
    };
    for (const Entry &e : entries) {
        put16(b, 0);
        b.push_back(1);
        put16(b, e.focal);
        for (float v : {e.fx, e.fy, e.cx, e.cy, e.d[0], e.d[1], e.d[2], e.d[3], e.d[4]}) {
            putf(b, v);
        }
    }
    return b;
}

int env_int(const char *name) {
    const char *v = std::getenv(name);
    return v != nullptr ? std::atoi(v) : 0;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 4 || std::string(argv[1]) != "read" || std::string(argv[2]) != "intri_param") {
        std::cerr << "usage: eeprom_rw read intri_param <destination>\n";
        return 2;
    }
    if (const int sig = env_int("EEPROM_RW_SIGNAL"); sig != 0) {
        std::raise(sig);
    }
    if (const int code = env_int("EEPROM_RW_EXIT"); code != 0) {
        std::cerr << "eeprom_rw: camera EEPROM not readable (EEPROM_RW_EXIT=" << code << ")\n";
        return code;
    }
    Bytes record;
    if (const char *src = std::getenv("EEPROM_RW_INTRI_RECORD"); src != nullptr) {
        std::ifstream in(src, std::ios::binary);
        if (!in) {
            std::cerr << "eeprom_rw: cannot read " << src << "\n";
            return 1;
        }
        record.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    } else {
        record = builtin_record();
    }
    std::ofstream out(argv[3], std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char *>(record.data()), static_cast<std::streamsize>(record.size()));
    out.close();
    if (!out) {
        std::cerr << "eeprom_rw: cannot write " << argv[3] << "\n";
        return 1;
    }
    return 0;
}
