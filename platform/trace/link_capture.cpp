// Reading a link capture: the pcap file header, then records of the capture's own header and the
// message's bytes (link_trace.h has the layout).
#include "link_capture.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "link_trace.h"

namespace cw::trace {

namespace {

uint32_t le(const uint8_t *p, size_t n) {
    uint32_t v = 0;
    for (size_t k = n; k > 0; --k) {
        v = v << 8 | p[k - 1];
    }
    return v;
}

bool fail(std::string &error, const std::string &path, const std::string &what) {
    error = path + ": " + what;
    return false;
}

struct Closer {
    void operator()(FILE *f) const { std::fclose(f); }
};

}  // namespace

bool read_capture(const std::string &path, std::vector<CaptureRecord> &out, std::string &error) {
    const std::unique_ptr<FILE, Closer> f(std::fopen(path.c_str(), "rb"));
    if (!f) {
        return fail(error, path, std::strerror(errno));
    }
    uint8_t head[24];
    const size_t got = std::fread(head, 1, sizeof head, f.get());
    const uint32_t magic = got >= 4 ? le(head, 4) : 0;
    if (magic != 0xA1B2C3D4u && magic != 0xA1B23C4Du) {
        return fail(error, path, "not a link capture (no little-endian pcap header)");
    }
    if (got < sizeof head) {
        return fail(error, path, "truncated pcap header");
    }
    const double tick = magic == 0xA1B2C3D4u ? 1e-6 : 1e-9;
    if (le(head + 20, 4) != kLinktypeUser0) {
        return fail(error, path,
                    "link type " + std::to_string(le(head + 20, 4)) + ", expected " + std::to_string(kLinktypeUser0) +
                        " (the link's messages)");
    }
    long at = sizeof head;
    for (size_t n = 1;; ++n) {
        uint8_t rec[16 + kPcapHeaderLen];
        const size_t r = std::fread(rec, 1, 16, f.get());
        if (r == 0) {
            return true;
        }
        const std::string where = "record " + std::to_string(n) + " at byte " + std::to_string(at);
        if (r < 16) {
            return fail(error, path, where + " is truncated");
        }
        const uint32_t caplen = le(rec + 8, 4);
        if (caplen < kPcapHeaderLen || caplen > kPcapHeaderLen + MBUS_LINK_MAX_PAYLOAD) {
            return fail(error, path, where + ": length " + std::to_string(caplen) + " is not a link message's");
        }
        uint8_t *h = rec + 16;
        CaptureRecord c{};
        c.bytes.resize(caplen - kPcapHeaderLen);
        if (std::fread(h, 1, kPcapHeaderLen, f.get()) != kPcapHeaderLen ||
            std::fread(c.bytes.data(), 1, c.bytes.size(), f.get()) != c.bytes.size()) {
            return fail(error, path, where + " is truncated");
        }
        if (h[0] != 1 || h[1] > 2) {
            return fail(
                error, path,
                where + ": unknown record version " + std::to_string(h[0]) + " or direction " + std::to_string(h[1]));
        }
        c.t = le(rec, 4) + le(rec + 4, 4) * tick;
        c.dir = static_cast<Dir>(h[1]);
        c.set = h[2];
        c.id = h[3];
        c.receiver = static_cast<uint16_t>(le(h + 4, 2));
        c.flags = h[6];
        c.result = static_cast<int32_t>(le(h + 8, 4));
        c.seq = le(h + 12, 4);
        c.timeout_us = le(h + 16, 4);
        out.push_back(std::move(c));
        at += static_cast<long>(16 + caplen);
    }
}

}  // namespace cw::trace
