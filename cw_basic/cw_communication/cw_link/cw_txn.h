// The request/answer transaction every link command is built from.
//
// A command's fixed facts (set, id, receiver, timeout) are one constexpr Route, taken from its
// request's row in the message table. send() fills a V1Request from the route, the payload and
// the answer buffer and hands it to the link. A command is its route and a named result policy,
// a small pure function over the exchange's outcome; run() sends, waits and judges, and the
// command writes its own log lines at its own site, so that every line names the command.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>

#include "cirrow/cw_link.h"
#include "cw_messages.h"
#include "mbus.h"

namespace cw {

struct Route {
    uint8_t cmd_set;
    uint8_t cmd_id;
    uint16_t receiver;
    uint32_t timeout;  // used only when an answer is awaited

    // The same message to another receiver (for messages every module answers).
    constexpr Route to(uint16_t rx) const { return {cmd_set, cmd_id, rx, timeout}; }
};

// A command's route, from its request's row in the message table.
consteval Route route(std::string_view name) {
    const link::Message &m = link::named(name, link::Dir::Request);
    return {m.set, m.id, m.receiver, m.timeout};
}

// An answer buffer, zeroed before sending (or filled with another byte where a command wants it).
template <size_t N>
struct AnswerBuffer {
    std::array<uint8_t, N> bytes{};
    constexpr AnswerBuffer() = default;
    constexpr explicit AnswerBuffer(uint8_t fill) { bytes.fill(fill); }
    constexpr uint8_t operator[](size_t i) const { return bytes[i]; }
    constexpr const uint8_t *data() const { return bytes.data(); }
    constexpr std::span<uint8_t> span() { return bytes; }
    constexpr std::span<const uint8_t> view() const { return bytes; }
};

// Hands a request's eight fields to the middleware. The exported cw_link_v1_send is this; the
// library's own commands call it here, without going through the exported symbol.
inline int32_t link_send(const V1Request &req) {
    return mbus_link_v1_send(req.cmd_set, req.cmd_id, req.receiver, req.payload, req.payload_len, req.resp,
                             req.resp_len, req.timeout);
}

// Sends one request on `route`. An empty payload goes as a null pointer with length 0; an empty
// answer as a null buffer with length 0 and no wait. Returns the link's result.
inline int32_t send(const Route &route, std::span<const uint8_t> payload, std::span<uint8_t> answer = {}) {
    const V1Request req = {
        route.cmd_set,
        route.cmd_id,
        route.receiver,
        payload.empty() ? nullptr : payload.data(),
        static_cast<uint32_t>(payload.size()),
        answer.empty() ? nullptr : answer.data(),
        static_cast<uint32_t>(answer.size()),
        answer.empty() ? 0 : route.timeout,
    };
    return link_send(req);
}

// A payload whose length depends on the arguments: a heap block of exactly that length, given
// back right after sending (release()), or at the end of the scope at the latest.
class HeapPayload {
public:
    explicit HeapPayload(size_t len) : data_(len ? static_cast<uint8_t *>(std::calloc(len, 1)) : nullptr), len_(len) {}
    HeapPayload(const HeapPayload &) = delete;
    HeapPayload &operator=(const HeapPayload &) = delete;
    ~HeapPayload() { release(); }

    // False when the block could not be had: send nothing, return CW_ERR_NOMEM.
    bool ok() const { return len_ == 0 || data_ != nullptr; }
    uint8_t *data() { return data_; }
    std::span<const uint8_t> view() const { return {data_, data_ ? len_ : 0}; }
    void release() {
        std::free(data_);
        data_ = nullptr;
    }

private:
    uint8_t *data_;
    size_t len_;
};

// ---- Commands: a route and a named result policy; one runner sends, waits and judges ----

// What became of a command: done, not sent (the link failed or timed out), or refused by the
// module. `code` is what the command returns; `ret` the link's result; `result_byte` the module's.
enum class Outcome : uint8_t { Done, SendFailed, Refused };
struct Verdict {
    Outcome outcome;
    int32_t code;
    int32_t ret;
    uint8_t result_byte;
};

// What a policy judges: the link's result, the answer as it came and the request as it went.
struct Reply {
    int32_t ret;
    std::span<const uint8_t> answer;
    std::span<const uint8_t> sent;
    constexpr uint8_t at(size_t i) const { return i < answer.size() ? answer[i] : 0; }
};

// A policy is a stateless judge, `Verdict operator()(const Reply &)`; each command's type
// carries its policy, so the runner judges in line at the command's own site.
namespace policy {

constexpr Verdict done(const Reply &r) { return {Outcome::Done, 0, r.ret, r.at(0)}; }
constexpr Verdict not_sent(const Reply &r, int32_t code) { return {Outcome::SendFailed, code, r.ret, r.at(0)}; }
constexpr Verdict not_sent(const Reply &r) { return not_sent(r, r.ret); }
constexpr Verdict refused(const Reply &r, int32_t code = CW_ERR_ACK, size_t byte = 0) {
    return {Outcome::Refused, code, r.ret, r.at(byte)};
}

// Send-only: the link's result is the command's; an answer, where one is awaited, is not judged.
inline constexpr struct SendOnly {
    constexpr Verdict operator()(const Reply &r) const { return r.ret != 0 ? not_sent(r) : done(r); }
} send_only{};
// Logged only: a refusal is told apart for the log, but the link's result is the command's.
inline constexpr struct LoggedOnly {
    constexpr Verdict operator()(const Reply &r) const {
        return r.ret != 0 ? not_sent(r) : r.at(0) != 0 ? refused(r, 0) : done(r);
    }
} logged_only{};
// Ack byte at `At`: answer byte `At` is 0; a refusal is CW_ERR_ACK.
template <size_t At>
struct AckByteAt {
    constexpr Verdict operator()(const Reply &r) const {
        return r.ret != 0 ? not_sent(r) : r.at(At) != 0 ? refused(r, CW_ERR_ACK, At) : done(r);
    }
};
template <size_t At>
inline constexpr AckByteAt<At> ack_byte_at{};
// Ack byte: answer byte 0 is 0; a refusal is CW_ERR_ACK.
inline constexpr AckByteAt<0> ack_byte{};
// Any failure is a refusal: a failed send and a non-zero result byte are both CW_ERR_ACK.
inline constexpr struct AnyFailureRefused {
    constexpr Verdict operator()(const Reply &r) const { return r.ret != 0 || r.at(0) != 0 ? refused(r) : done(r); }
} any_failure_refused{};
// Answer to the caller: the answer is the caller's to judge; a failed send is CW_ERR_ACK.
inline constexpr struct AnswerToCaller {
    constexpr Verdict operator()(const Reply &r) const { return r.ret != 0 ? not_sent(r, CW_ERR_ACK) : done(r); }
} answer_to_caller{};
// Expected byte: answer byte 0 is `Value`.
template <uint8_t Value>
struct ExpectedByte {
    constexpr Verdict operator()(const Reply &r) const {
        return r.ret != 0 ? not_sent(r) : r.at(0) != Value || r.answer.empty() ? refused(r) : done(r);
    }
};
template <uint8_t Value>
inline constexpr ExpectedByte<Value> expected_byte{};
// Echo: answer byte 0 is 0 and the bytes after it repeat the request, byte for byte.
inline constexpr struct Echo {
    constexpr Verdict operator()(const Reply &r) const {
        if (r.ret != 0) {
            return not_sent(r);
        }
        const bool same = r.answer.size() > r.sent.size() && r.answer[0] == 0 &&
                          std::equal(r.sent.begin(), r.sent.end(), r.answer.begin() + 1);
        return same ? done(r) : refused(r);
    }
} echo{};
// Accepted header: the answer starts with one of `Headers` (an array of byte arrays).
template <const auto &Headers>
struct AcceptedHeader {
    constexpr Verdict operator()(const Reply &r) const {
        if (r.ret != 0) {
            return not_sent(r);
        }
        for (const auto &h : Headers) {
            if (r.answer.size() >= h.size() && std::equal(h.begin(), h.end(), r.answer.begin())) {
                return done(r);
            }
        }
        return refused(r);
    }
};
template <const auto &Headers>
inline constexpr AcceptedHeader<Headers> accepted_header{};
// The peer's result byte returned: answer byte `At` is 0, or it is the command's result.
template <size_t At>
struct PeerResult {
    constexpr Verdict operator()(const Reply &r) const {
        return r.ret != 0 ? not_sent(r) : r.at(At) != 0 ? refused(r, r.at(At), At) : done(r);
    }
};
template <size_t At>
inline constexpr PeerResult<At> peer_result{};

}  // namespace policy

template <class Judge>
struct Command {
    Route route;

    // The same command to another receiver (for messages every module answers).
    constexpr Command to(uint16_t rx) const { return {route.to(rx)}; }
};

// A command: its request's row and its policy.
template <class Judge>
consteval Command<Judge> command(std::string_view name, Judge /*policy*/) {
    return {route(name)};
}

// A command refused at the library's door (bad arguments, no memory): nothing was sent.
constexpr Verdict unsent(int32_t code) { return {Outcome::SendFailed, code, code, 0}; }

// Sends `cmd`'s request with `payload`, awaiting `answer` (none when empty), and judges it.
template <class Judge>
inline Verdict run(const Command<Judge> &cmd, std::span<const uint8_t> payload, std::span<uint8_t> answer = {}) {
    const int32_t ret = send(cmd.route, payload, answer);
    return Judge{}(Reply{ret, answer, payload});
}

}  // namespace cw
