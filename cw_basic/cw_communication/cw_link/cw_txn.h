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
#include <tuple>
#include <type_traits>
#include <utility>

#include "cirrow/cw_link.h"
#include "cw_bytes.h"
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
    size_t result_at = 0;  // where the answer's row puts the module's result byte
    constexpr uint8_t at(size_t i) const { return i < answer.size() ? answer[i] : 0; }
    constexpr uint8_t result() const { return at(result_at); }
};

// A policy is a stateless judge, `Verdict operator()(const Reply &)`; each command's type
// carries its policy, so the runner judges in line at the command's own site.
namespace policy {

constexpr Verdict done(const Reply &r) { return {Outcome::Done, 0, r.ret, r.at(0)}; }
constexpr Verdict not_sent(const Reply &r, int32_t code) { return {Outcome::SendFailed, code, r.ret, r.at(0)}; }
constexpr Verdict not_sent(const Reply &r) { return not_sent(r, r.ret); }
constexpr Verdict refused(const Reply &r, int32_t code = CW_ERR_ACK) {
    return {Outcome::Refused, code, r.ret, r.result()};
}

// Send-only: the link's result is the command's; an answer, where one is awaited, is not judged.
inline constexpr struct SendOnly {
    constexpr Verdict operator()(const Reply &r) const { return r.ret != 0 ? not_sent(r) : done(r); }
} send_only{};
// Logged only: a refusal is told apart for the log, but the link's result is the command's.
inline constexpr struct LoggedOnly {
    constexpr Verdict operator()(const Reply &r) const {
        return r.ret != 0 ? not_sent(r) : r.result() != 0 ? refused(r, 0) : done(r);
    }
} logged_only{};
// Ack byte: the result byte is 0; a refusal is CW_ERR_ACK.
inline constexpr struct AckByte {
    constexpr Verdict operator()(const Reply &r) const {
        return r.ret != 0 ? not_sent(r) : r.result() != 0 ? refused(r) : done(r);
    }
} ack_byte{};
// Any failure is a refusal: a failed send and a non-zero result byte are both CW_ERR_ACK.
inline constexpr struct AnyFailureRefused {
    constexpr Verdict operator()(const Reply &r) const { return r.ret != 0 || r.result() != 0 ? refused(r) : done(r); }
} any_failure_refused{};
// Answer to the caller: the answer is the caller's to judge; a failed send is CW_ERR_ACK.
inline constexpr struct AnswerToCaller {
    constexpr Verdict operator()(const Reply &r) const { return r.ret != 0 ? not_sent(r, CW_ERR_ACK) : done(r); }
} answer_to_caller{};
// Expected byte: answer byte 0 is `Value`.
template <uint8_t Value>
struct ExpectedByte {
    constexpr Verdict operator()(const Reply &r) const {
        return r.ret != 0 ? not_sent(r) : r.result() != Value || r.answer.empty() ? refused(r) : done(r);
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
// The peer's result byte returned: the result byte is 0, or it is the command's result.
inline constexpr struct PeerResult {
    constexpr Verdict operator()(const Reply &r) const {
        return r.ret != 0 ? not_sent(r) : r.result() != 0 ? refused(r, r.result()) : done(r);
    }
} peer_result{};

}  // namespace policy

// ---- Rows lay out the bytes: a request encoded from its row, an answer read through its row ----

// A row's name as a template argument: cw::command<"flight.ds_reset">(...).
template <size_t N>
struct Name {
    char text[N]{};
    consteval Name(const char (&s)[N]) {  // NOLINT(google-explicit-constructor): written as a literal
        std::copy_n(s, N, text);
    }
    constexpr std::string_view view() const { return {text, N - 1}; }
};

namespace layout {

// The C++ type of a field's elements, in the order of link::Type (a byte string's are bytes).
using CTypes = std::tuple<uint8_t, uint16_t, uint32_t, uint64_t, int16_t, int32_t, float, double, uint8_t>;
static_assert(std::tuple_size_v<CTypes> == static_cast<size_t>(link::Type::Bytes) + 1);
template <link::Type T>
using CType = std::tuple_element_t<static_cast<size_t>(T), CTypes>;

// The field type of a C++ type: the numeric type whose C++ type it is.
inline constexpr link::Type kNumeric[] = {link::Type::U8,  link::Type::U16, link::Type::U32, link::Type::U64,
                                          link::Type::I16, link::Type::I32, link::Type::F32, link::Type::F64};
template <class T, size_t... I>
consteval link::Type find_type(std::index_sequence<I...> /*numeric types*/) {
    link::Type t = link::Type::Bytes;  // none
    ((t = std::is_same_v<T, CType<kNumeric[I]>> ? kNumeric[I] : t), ...);
    return t;
}
template <class T>
consteval link::Type type_of() {
    constexpr link::Type t = find_type<T>(std::make_index_sequence<std::size(kNumeric)>{});
    static_assert(t != link::Type::Bytes, "no field of the link has this type");
    return t;
}

// An argument of encode(): one element, or an array of elements (a whole field, or part of one).
template <class T>
struct Elements {
    using type = T;
    static constexpr size_t n = 1;
};
template <class E, size_t K>
struct Elements<std::array<E, K>> {
    using type = E;
    static constexpr size_t n = K;
};

// The elements of a fixed-length row, in the order of its fields: their types and offsets.
struct Element {
    link::Type type;
    size_t offset;
};
consteval size_t element_count(const link::Message &m) {
    size_t n = 0;
    for (const link::Field &f : m.field_list()) {
        n += f.count;
    }
    return n;
}
template <size_t R>
consteval auto elements() {
    constexpr const link::Message &m = link::kMessages[R];
    std::array<Element, element_count(m)> out{};
    size_t k = 0;
    for (const link::Field &f : m.field_list()) {
        for (size_t i = 0; i < f.count; ++i) {
            const link::Type t = f.type == link::Type::Bytes ? link::Type::U8 : f.type;
            out[k++] = {t, f.offset + i * link::type_size(f.type)};
        }
    }
    return out;
}
// True when the arguments' elements have the row's element types, in its order.
template <size_t R, class... A>
consteval bool same_elements() {
    constexpr auto want = elements<R>();
    std::array<link::Type, (Elements<A>::n + ... + 0)> got{};
    size_t k = 0;
    ((std::fill_n(got.begin() + static_cast<std::ptrdiff_t>(k), Elements<A>::n, type_of<typename Elements<A>::type>()),
      k += Elements<A>::n),
     ...);
    for (size_t i = 0; i < want.size(); ++i) {
        if (want[i].type != got[i]) {
            return false;
        }
    }
    return true;
}
template <size_t N, class T>
constexpr void put_arg(uint8_t *p, const std::array<Element, N> &at, size_t &k, const T &v) {
    if constexpr (Elements<T>::n == 1) {
        le::put<T>(p, at[k++].offset, v);
    } else {
        for (const auto &e : v) {
            le::put<typename Elements<T>::type>(p, at[k++].offset, e);
        }
    }
}

}  // namespace layout

// A command: its request's row (by index in the table), its answer's row and its policy.
template <class Judge, size_t R>
struct Command {
    static constexpr const link::Message &request() { return link::kMessages[R]; }
    static constexpr const link::Message &answer() { return link::answer_to(link::kMessages[R]); }
    static constexpr size_t kAnswerLen = link::answer_len(answer());
    static constexpr size_t kResultAt = answer().result_at;  // where the module's result byte is
    using Answer = AnswerBuffer<kAnswerLen>;
    // A request of a fixed-length row, all zero until encoded.
    static constexpr size_t kRequestLen = link::extent(request());
    using Request = std::array<uint8_t, kRequestLen>;

    Route route;

    // The same command to another receiver (for messages every module answers).
    constexpr Command to(uint16_t rx) const { return {route.to(rx)}; }

    // An answer buffer of the answer's length, zeroed or filled with `fill`.
    static constexpr Answer answer_buffer() { return Answer{}; }
    static constexpr Answer answer_buffer(uint8_t fill) { return Answer(fill); }

    // The request, its elements laid out from the row: the arguments must be the row's fields'
    // types, in its order, an array standing for several elements; the row must be of fixed
    // length. encode(mode, kConstant) for {"mode", 0, U8}, {"constant", 1, U8} is 2 bytes.
    template <class... A>
    static constexpr Request encode(const A &...args) {
        static_assert(link::fixed_length(request()), "the request's length depends on its arguments: use put()");
        static_assert((layout::Elements<A>::n + ... + 0) == layout::element_count(request()),
                      "as many arguments as the row has elements");
        static_assert(layout::same_elements<R, A...>(), "the arguments have the types of the row's fields, in order");
        constexpr auto at = layout::elements<R>();
        Request out{};
        size_t k = 0;
        (layout::put_arg(out.data(), at, k, args), ...);
        return out;
    }

    // A request whose last field runs to its end: the other fields laid out from `head` as by
    // encode(), then `tail`'s bytes.
    template <size_t N, class... A>
    static constexpr std::array<uint8_t, link::fixed_extent(request()) + N> encode_with(
        const std::array<uint8_t, N> &tail, const A &...head) {
        static_assert(!link::fixed_length(request()), "a fixed-length request: use encode()");
        static_assert((layout::Elements<A>::n + ... + 0) == layout::element_count(request()),
                      "as many arguments as the row has elements before its last field");
        static_assert(layout::same_elements<R, A...>(), "the arguments have the types of the row's fields, in order");
        constexpr auto at = layout::elements<R>();
        std::array<uint8_t, link::fixed_extent(request()) + N> out{};
        size_t k = 0;
        (layout::put_arg(out.data(), at, k, head), ...);
        constexpr size_t tail_at = link::fixed_extent(request());
        std::copy(tail.begin(), tail.end(), out.begin() + tail_at);
        return out;
    }

    // A request's field of several elements as an array.
    template <Name F>
    using Array = std::array<layout::CType<link::field_named(request(), F.view()).type>,
                             link::field_named(request(), F.view()).count>;

    // Where a request's field starts, and element `i` of it written into a request being laid out.
    template <Name F>
    static constexpr size_t at() {
        constexpr size_t off = link::field_named(request(), F.view()).offset;
        return off;
    }
    template <Name F>
    static constexpr void put(uint8_t *p, layout::CType<link::field_named(request(), F.view()).type> v, size_t i = 0) {
        constexpr size_t off = link::field_named(request(), F.view()).offset;
        le::put(p, off + i * sizeof v, v);
    }

    // Where an answer's field starts, and element `i` of it read from an answer.
    template <Name F>
    static constexpr size_t answer_at() {
        constexpr size_t off = link::field_named(answer(), F.view()).offset;
        return off;
    }
    template <Name F>
    static constexpr auto get(const Answer &a, size_t i = 0) {
        using T = layout::CType<link::field_named(answer(), F.view()).type>;
        constexpr size_t off = link::field_named(answer(), F.view()).offset;
        return le::get<T>(a.data(), off + i * sizeof(T));
    }
};

// A command: its request's row and its policy.
template <Name N, class Judge>
consteval Command<Judge, link::index_of(N.view(), link::Dir::Request)> command(Judge /*policy*/) {
    return {route(N.view())};
}

// A command refused at the library's door (bad arguments, no memory): nothing was sent.
constexpr Verdict unsent(int32_t code) { return {Outcome::SendFailed, code, code, 0}; }

// Sends `cmd`'s request with `payload`, awaiting `answer` (none when empty), and judges it.
template <class Judge, size_t R>
inline Verdict run(const Command<Judge, R> &cmd, std::span<const uint8_t> payload, std::span<uint8_t> answer = {}) {
    const int32_t ret = send(cmd.route, payload, answer);
    return Judge{}(Reply{ret, answer, payload, Command<Judge, R>::kResultAt});
}

}  // namespace cw
