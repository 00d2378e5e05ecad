// Reading the link trace's captures: a pcap file (microsecond times, either byte order) of link
// type USER0 whose records start with the trace's 20-byte header.
#include "replay.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "link_trace.h"

namespace sim {

namespace {

constexpr uint32_t kMagic = 0xA1B2C3D4u;
constexpr uint32_t kSwapped = 0xD4C3B2A1u;
constexpr uint8_t kPushDir = 2;

struct File {
    std::unique_ptr<FILE, int (*)(FILE *)> f;
    bool swapped = false;

    bool read(uint8_t *p, size_t n) const { return std::fread(p, 1, n, f.get()) == n; }
    uint32_t u32(const uint8_t *p) const {
        const uint32_t v = static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
                           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
        return swapped ? __builtin_bswap32(v) : v;
    }
};

// The module a push belongs to, as its row names it ("flight.fc_state": flight).
std::string module_of(uint8_t set, uint8_t id) {
    const cw::trace::Message *m = cw::trace::find(set, id, cw::trace::Dir::Push);
    if (m == nullptr) {
        return {};
    }
    const std::string name = m->name;
    return name.substr(0, name.find('.'));
}

}  // namespace

bool Replay::open(const std::string &path, std::string &error) {
    *this = Replay{};
    File in{{std::fopen(path.c_str(), "rb"), std::fclose}};
    if (!in.f) {
        error = "cannot read capture " + path;
        return false;
    }
    uint8_t head[24];
    if (!in.read(head, sizeof head)) {
        error = path + ": not a capture (shorter than a pcap file header)";
        return false;
    }
    in.swapped = in.u32(head) == kSwapped;
    if (in.u32(head) != kMagic && !in.swapped) {
        error = path + ": not a capture (no pcap magic number; the link trace writes microsecond pcap)";
        return false;
    }
    if (const uint32_t link = in.u32(head + 20); link != cw::trace::kLinktypeUser0) {
        error = path + ": a capture of link type " + std::to_string(link) + ", not of the aircraft's link (" +
                std::to_string(cw::trace::kLinktypeUser0) + ")";
        return false;
    }
    double first = -1;
    for (size_t n = 1;; ++n) {
        uint8_t rec[16];
        const size_t got = std::fread(rec, 1, sizeof rec, in.f.get());
        if (got == 0) {
            break;
        }
        const uint32_t len = got == sizeof rec ? in.u32(rec + 8) : 0;
        if (len < cw::trace::kPcapHeaderLen || len > 65535) {
            error = path + ": record " + std::to_string(n) + " is cut short or not a link record";
            return false;
        }
        std::vector<uint8_t> bytes(len);
        if (!in.read(bytes.data(), len)) {
            error = path + ": record " + std::to_string(n) + " is cut short";
            return false;
        }
        const double t = in.u32(rec) + in.u32(rec + 4) / 1e6;
        first = first < 0 ? t : first;
        if (bytes[1] != kPushDir) {
            continue;
        }
        const uint8_t set = bytes[2], id = bytes[3];
        pushes_.push_back(
            {t - first, {set, id, std::vector<uint8_t>(bytes.begin() + cw::trace::kPcapHeaderLen, bytes.end())}});
        const std::string module = module_of(set, id);
        if (!module.empty() && std::find(modules_.begin(), modules_.end(), module) == modules_.end()) {
            modules_.push_back(module);
        }
    }
    std::stable_sort(pushes_.begin(), pushes_.end(), [](const Recorded &a, const Recorded &b) { return a.t < b.t; });
    return true;
}

std::vector<Pushed> Replay::due(double t) {
    std::vector<Pushed> out;
    for (; next_ < pushes_.size() && pushes_[next_].t <= t; ++next_) {
        out.push_back(pushes_[next_].push);
    }
    return out;
}

}  // namespace sim
