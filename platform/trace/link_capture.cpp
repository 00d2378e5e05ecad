// Reading a link capture: the pcap file header, then records of the capture's own header and the
// message's bytes (link_trace.h has the layout).
#include "link_capture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "cw_bytes.h"
#include "link_trace.h"

namespace cw::trace {

namespace {

// A pcap file's byte order and clock, from its magic number.
struct Format {
    bool big = false;
    double tick = 1e-6;
};

bool format_of(const uint8_t *p, Format &f) {
    const uint32_t raw = cw::le::get<uint32_t>(p, 0);
    for (const bool big : {false, true}) {
        const uint32_t magic = big ? __builtin_bswap32(raw) : raw;
        if (magic == 0xA1B2C3D4u || magic == 0xA1B23C4Du) {
            f = {big, magic == 0xA1B2C3D4u ? 1e-6 : 1e-9};
            return true;
        }
    }
    return false;
}

// A 32-bit number of the pcap's headers, in the file's byte order.
uint32_t get(const Format &f, const uint8_t *p, size_t off) {
    const uint32_t v = cw::le::get<uint32_t>(p, off);
    return f.big ? __builtin_bswap32(v) : v;
}

bool fail(std::string &error, const std::string &path, const std::string &what) {
    error = path + ": " + what;
    return false;
}

}  // namespace

bool read_input_file(const std::string &path, size_t max_bytes, std::string &bytes, std::string &error) {
    // Non-blocking: opening a FIFO must not wait for a writer before it can be refused.
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        return fail(error, path, std::strerror(errno));
    }
    struct stat sb {};
    bool ok = false;
    if (fstat(fd, &sb) != 0) {
        fail(error, path, std::strerror(errno));
    } else if (!S_ISREG(sb.st_mode)) {
        fail(error, path,
             std::string("not a regular file (") +
                 (S_ISFIFO(sb.st_mode)  ? "a FIFO"
                  : S_ISDIR(sb.st_mode) ? "a directory"
                                        : "a device or socket") +
                 "); give a file");
    } else if (static_cast<uint64_t>(sb.st_size) > max_bytes) {
        fail(error, path,
             std::to_string(sb.st_size) + " bytes, more than the " + std::to_string(max_bytes) + " this takes");
    } else {
        bytes.assign(static_cast<size_t>(sb.st_size), '\0');
        size_t got = 0;
        while (got < bytes.size()) {
            const ssize_t n = read(fd, bytes.data() + got, bytes.size() - got);
            if (n <= 0) {
                break;
            }
            got += static_cast<size_t>(n);
        }
        bytes.resize(got);  // a file that shrank while read: what was there
        ok = true;
    }
    close(fd);
    return ok;
}

bool read_capture(const std::string &path, std::vector<CaptureRecord> &out, std::string &error) {
    std::string bytes;
    return read_input_file(path, kMaxCapture, bytes, error) &&
           parse_capture(path, reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size(), out, error);
}

bool parse_capture(const std::string &path, const uint8_t *data, size_t size, std::vector<CaptureRecord> &out,
                   std::string &error) {
    Format f;
    if (size < 4 || !format_of(data, f)) {
        return fail(error, path, "not a link capture (no pcap magic number)");
    }
    if (size < 24) {
        return fail(error, path, "truncated pcap header");
    }
    if (get(f, data, 20) != kLinktypeUser0) {
        return fail(error, path,
                    "link type " + std::to_string(get(f, data, 20)) + ", expected " + std::to_string(kLinktypeUser0) +
                        " (the link's messages)");
    }
    size_t at = 24;
    for (size_t n = 1; at < size; ++n) {
        const std::string where = "record " + std::to_string(n) + " at byte " + std::to_string(at);
        const uint8_t *rec = data + at;
        if (size - at < 16) {
            return fail(error, path, where + " is truncated");
        }
        const uint32_t caplen = get(f, rec, 8);
        if (caplen < kPcapHeaderLen || caplen > kPcapHeaderLen + MBUS_LINK_MAX_PAYLOAD) {
            return fail(error, path, where + ": length " + std::to_string(caplen) + " is not a link message's");
        }
        if (size - at - 16 < caplen) {
            return fail(error, path, where + " is truncated");
        }
        const uint8_t *h = rec + 16;
        if (h[0] != 1 || h[1] > 2) {
            return fail(
                error, path,
                where + ": unknown record version " + std::to_string(h[0]) + " or direction " + std::to_string(h[1]));
        }
        CaptureRecord c{};
        c.t = get(f, rec, 0) + get(f, rec, 4) * f.tick;
        c.dir = static_cast<Dir>(h[1]);
        c.set = h[2];
        c.id = h[3];
        // The link's own record header (link_trace.h) is little-endian whatever the pcap's byte order.
        c.receiver = cw::le::get<uint16_t>(h, 4);
        c.flags = h[6];
        c.result = cw::le::get<int32_t>(h, 8);
        c.seq = cw::le::get<uint32_t>(h, 12);
        c.timeout_us = cw::le::get<uint32_t>(h, 16);
        c.bytes.assign(h + kPcapHeaderLen, h + caplen);
        out.push_back(std::move(c));
        at += 16 + caplen;
    }
    return true;
}

}  // namespace cw::trace
