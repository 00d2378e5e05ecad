// Test support: every test drives the library through its public C API and plays the aircraft
// through the middleware stand-in's control API.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "mbus_ctl.h"

namespace cwt {

using Payload = std::vector<uint8_t>;  // bytes as they go over the link
using Texts = std::vector<std::string>;

// One request as the link saw it, with its payload as a byte vector.
struct Sent {
    uint8_t cmd_set, cmd_id;
    uint16_t receiver;
    uint32_t timeout, resp_len;
    bool payload_null, resp_null;
    Payload payload;
};
// One leveled-log line.
struct Line {
    uint32_t level;
    std::string file, func;
    uint32_t line;
    std::string text;
};
// One usrlog line: exactly what reached the channel, and its head's function and line, and text.
struct UsrLine {
    std::string raw, func;
    int line = -1;
    std::string text;  // what follows "]:: "
};

std::vector<Sent> sent();
std::vector<Line> leveled();
std::vector<UsrLine> usrlog();

// Both channels: the leveled lines first ("L<level> text"), then the usrlog ("U text"). When
// `func` is given every line must name it, and when `file` is given every leveled line must come
// from that source (relative to cw_basic/cw_communication, without extension).
Texts lines(const std::string &func = "", const std::string &file = "");
// The same text on both channels, leveled at `level`.
Texts both(int level, const std::string &text);

// A request: set, id, receiver, timeout, answer length, payload.
using Req = std::tuple<int, int, int, uint32_t, uint32_t, Payload>;
// The i-th request since the last reset (a null payload or answer pointer exactly when empty).
Req request(size_t i = 0);

// Registrations and unregistrations so far as "+set/id" and "-set/id"; each unregistration must
// pass the handler its registration passed.
std::string registrations();

// Scripts the next request to be answered with these bytes (result 0), or to fail.
void answer(const Payload &bytes);
void fail_next(int32_t result);
// Pushes a message synchronously through the registered handler.
int32_t push(uint8_t cmd_set, uint8_t cmd_id, const Payload &payload);

// One call on a clean link: the link fails the send (with the table's failure code) when `answer`
// is empty and answers `answer` otherwise; then the result, the lines (as lines()) and, when given,
// the one request sent are compared. Every line names the function that `call` starts with.
struct Row {
    std::string call;
    std::function<int32_t()> fn;
    Payload answer;
    int32_t rc;
    Texts lines;
    std::optional<Req> req = {};
};
#define CALL(expr) #expr, [] { return expr; }
// A wrapper whose lines are written by the command `name` it calls.
#define CALL_AS(name, expr) #name, [] { return expr; }
void run(const std::vector<Row> &rows, int32_t fail = -5, const std::string &file = "");

// Byte images (the host, like the aircraft, is little-endian) for expected payloads and pushes.
template <class T>
Payload bytes_of(const T &v) {
    return Payload(reinterpret_cast<const uint8_t *>(&v), reinterpret_cast<const uint8_t *>(&v) + sizeof v);
}
inline Payload le16(uint16_t v) { return bytes_of(v); }
inline Payload le32(uint32_t v) { return bytes_of(v); }
inline Payload le64(uint64_t v) { return bytes_of(v); }
inline Payload lef32(float v) { return bytes_of(v); }
Payload cat(std::initializer_list<Payload> parts);

// What the library prints on standard output while `calls` run.
std::string printed(const std::function<void()> &calls);

// Fixture: a clean stand-in (no scripts, no records, no handlers), quiet, fixed boot time.
class LinkTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
};

}  // namespace cwt
