// The link trace of the host middleware stand-in: every request, answer and push, decoded by the
// message table into a text trace and written as a capture, with counts per message for a summary.
//
//   MBUS_TRACE=path    text trace into path (truncated); MBUS_TRACE=- writes to stderr
//   MBUS_PCAP=path     capture into path (LINKTYPE_USER0, the record header below)
//   MBUS_TRACE_SUMMARY=1  the summary on stderr when the process exits
//
// The stand-in calls the three hooks below; they are thread-safe and never call back into it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "link_messages.h"
#include "mbus_ctl.h"

namespace cw::trace {

// A request as the link received it: returns its sequence number, which its answer carries.
uint64_t trace_request(const mbus_ctl_request_t &req);
// The end of a request: `result` is what the send returns; `resp` the caller's answer buffer
// (req.resp_len bytes), read only when the answer was awaited and arrived.
void trace_answer(uint64_t seq, const mbus_ctl_request_t &req, int32_t result, const uint8_t *resp);
// A push as it is handed to its handler (`handled`), or dropped for want of one.
void trace_push(uint8_t cmd_set, uint8_t cmd_id, const uint8_t *payload, uint32_t len, bool handled);

// The fields of a message of `len` bytes as " name=value" each (arrays in brackets, bytes in
// hex); its bytes in hex when the row is unknown (m null).
std::string decode(const Message *m, const uint8_t *p, size_t len);

// The summary so far: one line per message seen, with counts and failures.
std::string summary();

// The trace's and capture's time stamps run `rate` times as fast as this process's clocks from
// now on, so that they are the aircraft's time where the process's clocks are the wall clock's
// (cirrow-aircraft flying at a speed other than 1).
void set_clock_rate(double rate);

// Each capture record starts with this header (little-endian), the message's bytes follow.
inline constexpr size_t kPcapHeaderLen = 20;
inline constexpr uint32_t kLinktypeUser0 = 147;
//   0 u8  version (1)          1 u8  direction: 0 request, 1 answer, 2 push
//   2 u8  set                  3 u8  id
//   4 u16 receiver (0xFFFF for pushes)
//   6 u8  flags: bit 0 push without handler, bit 1 request awaits an answer
//   7 u8  reserved (0)
//   8 i32 result: the link's result for answers, -113 for a dropped push, else 0
//  12 u32 sequence number (a request and its answer share it)
//  16 u32 the request's timeout in microseconds (0 for pushes)

}  // namespace cw::trace
