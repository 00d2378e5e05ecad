// The wire between an application's stand-in and cirrow-aircraft: frames over a UNIX domain
// socket. Every frame is a 12-byte header and a body:
//
//   0 u8[2] magic "CW"     2 u8 version     3 u8 type     4 u32 id     8 u32 body length
//
// all little-endian. The header's layout and the Error frame (its body a text) are the same in
// every version, so either side can always tell the other why it is hanging up. A request and
// its answer share the id; the other frames carry 0.
//
// The first frame on a connection is the application's Hello; the aircraft answers Welcome, or
// Error and hangs up (another version, a bad frame). After that:
//   application -> aircraft  Request, Handler, Message, DmTake, Goodbye
//   aircraft -> application  Answer, Push, DmData, Error
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "mbus_ctl.h"

namespace wire {

inline constexpr uint8_t kMagic0 = 'C';
inline constexpr uint8_t kMagic1 = 'W';
inline constexpr uint8_t kVersion = 1;
inline constexpr size_t kHeaderLen = 12;
// No byte string on the wire is longer than the link's largest payload; a request carries two
// (its payload and the caller's answer buffer), so a body is at most that and its fields.
inline constexpr uint32_t kMaxBytes = MBUS_LINK_MAX_PAYLOAD;
inline constexpr uint32_t kMaxBody = 2 * kMaxBytes + 64;
inline constexpr uint32_t kMaxName = 63;  // an application's or a thread's name

// The aircraft's threads that take named messages.
inline constexpr const char *kThreads[] = {"fly_marker_thread"};

enum class Type : uint8_t {
    Hello = 1,  // app: str name (its program and pid)
    Welcome,    // aircraft: u32 app id, u64 the aircraft's boot time on the host's monotonic clock (us),
                // u32 the aircraft's clock rate in millionths (the application's clocks follow it)
    Request,    // app: u8 set, u8 id, u16 receiver, u32 payload_len, u32 resp_len, u32 timeout,
                //      u8 flags (1 payload null, 2 resp null), bytes payload, bytes resp
    Answer,     // aircraft: i32 result, u32 delay_us, bytes resp
    Handler,    // app: u8 set, u8 id, u8 on
    Push,       // aircraft: u8 set, u8 id, bytes payload
    Message,    // app: str name, bytes message
    DmTake,     // app: u32 key id, u32 key sub
    DmData,     // aircraft: i32 result, bytes item
    Goodbye,    // app: ends cleanly (empty); the aircraft answers with a Report under the same id
    Error,      // either: bytes why, a text (then the sender hangs up)
    Report,     // aircraft: i32 mistakes (not waived), bytes the application's flight report (text)
};
const char *type_name(Type t);

// The aircraft's clock rate in a Welcome: millionths of the wall clock's (speeds 0.01 to 100).
inline uint32_t rate_code(double rate) { return static_cast<uint32_t>(std::lround(rate * 1e6)); }
inline double rate_value(uint32_t code) { return code / 1e6; }

struct Frame {
    Type type{};
    uint32_t id = 0;
    std::vector<uint8_t> body;
};

// Appends one frame to out.
void append(std::vector<uint8_t> &out, Type type, uint32_t id, const std::vector<uint8_t> &body);

// An Error frame's body, and its text.
std::vector<uint8_t> error(const std::string &why);
std::string error_text(const std::vector<uint8_t> &body);

// Splits a byte stream into frames. Feed it what the socket gave, then take frames until it says
// More. After Bad, error() says what was wrong and the connection is beyond repair.
class Reader {
public:
    enum Result { Ok, More, Bad };
    void feed(const uint8_t *p, size_t n);
    Result next(Frame &out);
    const std::string &error() const { return error_; }
    size_t buffered() const { return buf_.size() - pos_; }

private:
    Result bad(std::string why);
    std::vector<uint8_t> buf_;
    size_t pos_ = 0;
    std::string error_;
};

// Builds a body.
class Out {
public:
    Out &u8(uint8_t v);
    Out &u16(uint16_t v);
    Out &u32(uint32_t v);
    Out &u64(uint64_t v);
    Out &i32(int32_t v) { return u32(static_cast<uint32_t>(v)); }
    Out &bytes(const void *p, uint32_t n);  // u32 length, then the bytes
    Out &str(const std::string &s);         // u8 length, then the text
    std::vector<uint8_t> take() { return std::move(b_); }

private:
    std::vector<uint8_t> b_;
};

// Reads a body: each read fails (returns false, and every read after it too) past the end, on a
// byte string over kMaxBytes or a name over kMaxName; done() checks that nothing is left over.
class In {
public:
    explicit In(const std::vector<uint8_t> &b) : b_(b) {}
    bool u8(uint8_t &v);
    bool u16(uint16_t &v);
    bool u32(uint32_t &v);
    bool u64(uint64_t &v);
    bool i32(int32_t &v);
    bool bytes(std::vector<uint8_t> &v);
    bool str(std::string &v);
    bool done() const { return ok_ && pos_ == b_.size(); }

private:
    bool take(void *dst, size_t n);
    template <class T>
    bool number(T &v);  // sizeof(T) little-endian bytes
    const std::vector<uint8_t> &b_;
    size_t pos_ = 0;
    bool ok_ = true;
};

// A request as the wire carries it, checked both ways.
struct Request {
    mbus_ctl_request_t req{};   // payload copied in; payload_len may exceed what was kept
    std::vector<uint8_t> resp;  // the caller's answer buffer (at most kMaxBytes of it)
    std::vector<uint8_t> encode() const;
    // False with the reason in why when the body is not a well-formed request.
    bool decode(const std::vector<uint8_t> &body, std::string &why);
};

}  // namespace wire
