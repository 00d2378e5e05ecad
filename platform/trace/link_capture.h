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

// Reads the capture at `path` into `out`. On a file that cannot be read, is not a pcap capture,
// has another link type or a truncated or malformed record, returns false with `error` naming the
// file and what is wrong ("path: record 12 at byte 4096 is truncated"); `out` then holds the
// records before the fault.
bool read_capture(const std::string &path, std::vector<CaptureRecord> &out, std::string &error);

}  // namespace cw::trace
