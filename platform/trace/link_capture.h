// Reading a link capture back (the pcap files the stand-in writes with MBUS_PCAP): each record's
// header and the message's bytes, in the order they crossed the link.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "link_messages.h"

namespace cw::trace {

struct CaptureRecord {
    double t;  // seconds, the capture's clock
    Dir dir;
    uint8_t set;
    uint8_t id;
    uint16_t receiver;  // 0xFFFF for pushes
    uint8_t flags;      // bit 0 push without handler, bit 1 request awaiting an answer
    int32_t result;
    uint32_t seq;
    uint32_t timeout_us;
    std::vector<uint8_t> bytes;
};

// The one reader of captures, for cirrow-plot and the replay alike.
// Reads the capture at `path` into `out`: pcap with microsecond or nanosecond times, in either
// byte order; a file with only the pcap header is a capture of nothing. On a file that cannot be
// read, is not a regular file or is over kMaxCapture, is not a pcap capture, has another link type
// or a truncated or malformed record (an unknown record version among them), returns false with
// `error` naming the file and what is wrong ("path: record 12 at byte 4096 is truncated"); `out`
// then holds the records before the fault.
bool read_capture(const std::string &path, std::vector<CaptureRecord> &out, std::string &error);
// The same from bytes in memory (`path` only names them in the error).
bool parse_capture(const std::string &path, const uint8_t *data, size_t size, std::vector<CaptureRecord> &out,
                   std::string &error);

inline constexpr size_t kMaxCapture = 512u << 20;

// Reads a file a user named (a capture, a scenario) whole, once it is known to be a regular file
// of at most max_bytes: a FIFO or a device would block or never end, and is refused with a
// message, as is a larger file. False with `error` naming the file and what is wrong.
bool read_input_file(const std::string &path, size_t max_bytes, std::string &bytes, std::string &error);

}  // namespace cw::trace
