// The wire's frames: the header, the stream reader and the body builders.
#include "wire.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "cw_bytes.h"

namespace wire {

namespace {

// Appends v as sizeof(T) little-endian bytes.
template <class T>
void put(std::vector<uint8_t> &b, T v) {
    const size_t at = b.size();
    b.resize(at + sizeof v);
    cw::le::put<T>(b.data(), at, v);
}

constexpr uint8_t kPayloadNull = 1;
constexpr uint8_t kRespNull = 2;

}  // namespace

const char *type_name(Type t) {
    static constexpr const char *kNames[] = {"?",       "Hello",  "Welcome", "Request", "Answer", "Handler", "Push",
                                             "Message", "DmTake", "DmData",  "Goodbye", "Error",  "Report"};
    const auto i = static_cast<size_t>(t);
    return i < std::size(kNames) ? kNames[i] : "?";
}

void append(std::vector<uint8_t> &out, Type type, uint32_t id, const std::vector<uint8_t> &body) {
    out.push_back(kMagic0);
    out.push_back(kMagic1);
    out.push_back(kVersion);
    out.push_back(static_cast<uint8_t>(type));
    put<uint32_t>(out, id);
    put<uint32_t>(out, static_cast<uint32_t>(body.size()));
    out.insert(out.end(), body.begin(), body.end());
}

void Reader::feed(const uint8_t *p, size_t n) {
    if (pos_ > 0 && pos_ == buf_.size()) {
        buf_.clear();
        pos_ = 0;
    } else if (pos_ > 65536) {
        buf_.erase(buf_.begin(), buf_.begin() + static_cast<std::ptrdiff_t>(pos_));
        pos_ = 0;
    }
    buf_.insert(buf_.end(), p, p + n);
}

Reader::Result Reader::bad(std::string why) {
    error_ = std::move(why);
    return Bad;
}

Reader::Result Reader::next(Frame &out) {
    if (!error_.empty()) {
        return Bad;
    }
    const size_t have = buf_.size() - pos_;
    const uint8_t *h = buf_.data() + pos_;
    // What arrived of the header is judged at once: a stranger is refused after two bytes.
    if ((have >= 1 && h[0] != kMagic0) || (have >= 2 && h[1] != kMagic1)) {
        return bad("not a cirrow-aircraft frame (its first bytes are not \"CW\")");
    }
    if (have >= 3 && h[2] != kVersion) {
        char why[96];
        std::snprintf(why, sizeof why, "protocol version %u, this side speaks version %u", h[2], kVersion);
        return bad(why);
    }
    if (have < kHeaderLen) {
        return More;
    }
    const auto type = h[3];
    const auto len = cw::le::get<uint32_t>(h, 8);
    if (type < static_cast<uint8_t>(Type::Hello) || type > static_cast<uint8_t>(Type::Report)) {
        return bad("unknown frame type " + std::to_string(type));
    }
    if (len > kMaxBody) {
        return bad(std::string(type_name(static_cast<Type>(type))) + " frame of " + std::to_string(len) +
                   " bytes: over the largest (" + std::to_string(kMaxBody) + ", two payloads of " +
                   std::to_string(kMaxBytes) + " and their fields)");
    }
    if (have < kHeaderLen + len) {
        return More;
    }
    out.type = static_cast<Type>(type);
    out.id = cw::le::get<uint32_t>(h, 4);
    out.body.assign(h + kHeaderLen, h + kHeaderLen + len);
    pos_ += kHeaderLen + len;
    return Ok;
}

Out &Out::u8(uint8_t v) {
    put<uint8_t>(b_, v);
    return *this;
}
Out &Out::u16(uint16_t v) {
    put<uint16_t>(b_, v);
    return *this;
}
Out &Out::u32(uint32_t v) {
    put<uint32_t>(b_, v);
    return *this;
}
Out &Out::u64(uint64_t v) {
    put<uint64_t>(b_, v);
    return *this;
}
Out &Out::bytes(const void *p, uint32_t n) {
    u32(n);
    const auto *c = static_cast<const uint8_t *>(p);
    b_.insert(b_.end(), c, c + n);
    return *this;
}
Out &Out::str(const std::string &s) {
    const auto n = static_cast<uint8_t>(std::min<size_t>(s.size(), kMaxName));
    u8(n);
    b_.insert(b_.end(), s.begin(), s.begin() + n);
    return *this;
}

bool In::take(void *dst, size_t n) {
    if (!ok_ || b_.size() - pos_ < n) {
        ok_ = false;
        return false;
    }
    if (n > 0) {  // an empty byte string reads into an empty vector, whose data() may be null
        std::memcpy(dst, b_.data() + pos_, n);
    }
    pos_ += n;
    return true;
}

template <class T>
bool In::number(T &v) {
    uint8_t b[sizeof(T)];
    return take(b, sizeof b) && ((v = cw::le::get<T>(b, 0)), true);
}

bool In::u8(uint8_t &v) { return take(&v, 1); }
bool In::u16(uint16_t &v) { return number(v); }
bool In::u32(uint32_t &v) { return number(v); }
bool In::u64(uint64_t &v) { return number(v); }
bool In::i32(int32_t &v) {
    uint32_t u = 0;
    return u32(u) && ((v = static_cast<int32_t>(u)), true);
}
bool In::bytes(std::vector<uint8_t> &v) {
    uint32_t n = 0;
    if (!u32(n) || n > kMaxBytes) {
        ok_ = false;
        return false;
    }
    v.resize(n);
    return take(v.data(), n);
}
bool In::str(std::string &v) {
    uint8_t n = 0;
    if (!u8(n) || n > kMaxName) {
        ok_ = false;
        return false;
    }
    v.resize(n);
    return take(v.data(), n);
}

std::vector<uint8_t> error(const std::string &why) {
    return Out().bytes(why.data(), static_cast<uint32_t>(std::min<size_t>(why.size(), kMaxBytes))).take();
}

std::string error_text(const std::vector<uint8_t> &body) {
    std::vector<uint8_t> text;
    In in(body);
    return in.bytes(text) ? std::string(text.begin(), text.end()) : std::string("(an unreadable reason)");
}

std::vector<uint8_t> Request::encode() const {
    const uint32_t kept = req.payload_null ? 0 : std::min(req.payload_len, kMaxBytes);
    const auto flags = static_cast<uint8_t>((req.payload_null ? kPayloadNull : 0) | (req.resp_null ? kRespNull : 0));
    return Out()
        .u8(req.cmd_set)
        .u8(req.cmd_id)
        .u16(req.receiver)
        .u32(req.payload_len)
        .u32(req.resp_len)
        .u32(req.timeout)
        .u8(flags)
        .bytes(req.payload, kept)
        .bytes(resp.data(), static_cast<uint32_t>(resp.size()))
        .take();
}

bool Request::decode(const std::vector<uint8_t> &body, std::string &why) {
    In in(body);
    uint8_t flags = 0;
    std::vector<uint8_t> payload;
    req = {};
    if (!in.u8(req.cmd_set) || !in.u8(req.cmd_id) || !in.u16(req.receiver) || !in.u32(req.payload_len) ||
        !in.u32(req.resp_len) || !in.u32(req.timeout) || !in.u8(flags) || !in.bytes(payload) || !in.bytes(resp) ||
        !in.done()) {
        why = "Request frame of " + std::to_string(body.size()) + " bytes is malformed";
        return false;
    }
    req.payload_null = (flags & kPayloadNull) != 0;
    req.resp_null = (flags & kRespNull) != 0;
    // What was kept of the payload and of the answer buffer must be what their lengths say.
    const uint32_t kept = req.payload_null ? 0 : std::min(req.payload_len, kMaxBytes);
    const uint32_t room = req.resp_null ? 0 : std::min(req.resp_len, kMaxBytes);
    if (payload.size() != kept || resp.size() != room || flags > (kPayloadNull | kRespNull)) {
        why = "Request frame carries " + std::to_string(payload.size()) + " payload bytes and " +
              std::to_string(resp.size()) + " answer bytes for a payload of " + std::to_string(req.payload_len) +
              " and an answer of " + std::to_string(req.resp_len);
        return false;
    }
    std::copy(payload.begin(), payload.end(), req.payload);
    return true;
}

}  // namespace wire
