// The link trace: text lines and capture records for every request, answer and push, and the
// counts behind the summary. Files are opened when the stand-in is loaded, so a bad path stops
// the process before the application runs.
#include "link_trace.h"

#include <time.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <tuple>

#include "cw_bytes.h"
#include "link_messages.h"

namespace cw::trace {

namespace {

constexpr size_t kHexMax = 32;  // bytes shown of a byte field; the rest is counted

struct Count {
    uint64_t seen = 0;
    uint64_t failed = 0;   // requests: the link's result was not 0; pushes: no handler
    uint64_t refused = 0;  // requests: the answer's result byte was not 0
    std::map<int32_t, uint64_t> codes;
};

// Key of a summary line: direction (requests and pushes), set, id, name.
using Key = std::tuple<Dir, uint8_t, uint8_t, std::string>;

struct Trace {
    std::mutex mu;
    FILE *text = nullptr;
    FILE *pcap = nullptr;
    uint64_t seq = 0;
    std::map<Key, Count> counts;
};

[[noreturn]] void stop(const char *var, const char *value, const char *why) {
    std::fprintf(stderr, "mbus: %s=%s: %s\n", var, value, why);
    std::exit(2);
}

FILE *open_env(const char *var, const char *mode, bool allow_stderr) {
    const char *path = std::getenv(var);
    if (path == nullptr || *path == '\0') {
        return nullptr;
    }
    if (allow_stderr && std::strcmp(path, "-") == 0) {
        return stderr;
    }
    FILE *f = std::fopen(path, mode);
    if (f == nullptr) {
        stop(var, path, std::strerror(errno));
    }
    return f;
}

void put32(uint8_t *p, size_t off, uint64_t v) { le::put<uint32_t>(p, off, static_cast<uint32_t>(v)); }

// At exit, after the application's last lines (stdout is flushed only after this runs).
void print_summary() {
    std::fflush(stdout);
    std::fputs(summary().c_str(), stderr);
}

Trace &tr() {
    static Trace *t = [] {
        auto *n = new Trace;  // never destroyed: pushes may still arrive during exit
        n->text = open_env("MBUS_TRACE", "w", true);
        n->pcap = open_env("MBUS_PCAP", "wb", false);
        if (n->pcap != nullptr) {
            uint8_t head[24] = {};
            put32(head, 0, 0xA1B2C3D4u);
            le::put<uint16_t>(head, 4, 2);
            le::put<uint16_t>(head, 6, 4);
            put32(head, 16, 65535);
            put32(head, 20, kLinktypeUser0);
            std::fwrite(head, 1, sizeof head, n->pcap);
            std::fflush(n->pcap);
        }
        const char *sum = std::getenv("MBUS_TRACE_SUMMARY");
        if (sum != nullptr && *sum != '\0' && std::strcmp(sum, "0") != 0) {
            if (std::strcmp(sum, "1") != 0) {
                stop("MBUS_TRACE_SUMMARY", sum, "expected 0 or 1");
            }
            std::atexit(print_summary);
        }
        return n;
    }();
    return *t;
}

// Opened at load time.
[[maybe_unused]] const bool g_opened = (tr(), true);

void append(std::string &out, const char *fmt, ...) __attribute__((format(printf, 2, 3)));
void append(std::string &out, const char *fmt, ...) {
    char buf[128];
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(buf, sizeof buf, fmt, ap);
    va_end(ap);
    out += buf;
}

void append_hex(std::string &out, const uint8_t *p, size_t n) {
    for (size_t i = 0; i < n && i < kHexMax; ++i) {
        append(out, i == 0 ? "%02x" : " %02x", p[i]);
    }
    if (n > kHexMax) {
        append(out, " ..(+%zu)", n - kHexMax);
    }
}

void append_value(std::string &out, const Field &f, const uint8_t *p, size_t i) {
    const TypeInfo &type = type_info(f.type);
    if (type.fp) {
        append(out, "%g", get(f, p, i));
    } else if (type.sint) {
        append(out, "%" PRId64, get_int(f, p, i));
    } else {
        append(out, "%" PRIu64, get_uint(f, p, i));
    }
}

}  // namespace

std::string decode(const Message *m, const uint8_t *p, size_t len) {
    std::string out;
    if (m == nullptr) {
        if (len > 0) {
            out += " bytes=";
            append_hex(out, p, len);
        }
        return out;
    }
    for (const Field &f : m->field_list()) {
        const size_t n = elements(f, len);
        if (n == 0) {
            continue;
        }
        append(out, " %s=", f.name);
        if (f.type == Type::Bytes) {
            append_hex(out, p + f.offset, n);
            continue;
        }
        const bool list = f.count != 1;
        out += list ? "[" : "";
        for (size_t i = 0; i < n; ++i) {
            out += i > 0 ? "," : "";
            append_value(out, f, p, i);
        }
        out += list ? "]" : "";
    }
    return out;
}

namespace {

uint64_t clock_us(clockid_t clock) {
    timespec ts{};
    clock_gettime(clock, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000u + static_cast<uint64_t>(ts.tv_nsec) / 1000u;
}

// The time stamps' rate and where it was set, on the two clocks they read (set before tracing).
struct Rate {
    double rate = 1;
    uint64_t since[2] = {0, 0};  // realtime, monotonic
};
Rate g_rate;

uint64_t now_us(clockid_t clock) {
    const uint64_t us = clock_us(clock);
    if (g_rate.rate == 1) {
        return us;
    }
    const uint64_t since = g_rate.since[clock == CLOCK_MONOTONIC ? 1 : 0];
    return since + static_cast<uint64_t>(static_cast<double>(us - since) * g_rate.rate);
}

// One text line: time, sequence number, kind, set/id, receiver, name, details.
void line(Trace &t, uint64_t seq, const char *kind, uint8_t set, uint8_t id, const char *to, const char *name,
          const std::string &details) {
    if (t.text == nullptr) {
        return;
    }
    const uint64_t us = now_us(CLOCK_MONOTONIC);
    char route[8];
    std::snprintf(route, sizeof route, "%u/%u", set, id);
    std::fprintf(t.text, "%6" PRIu64 ".%06" PRIu64 " #%-5" PRIu64 " %-4s %-7s %-9s %-30s%s\n", us / 1000000u,
                 us % 1000000u, seq, kind, route, to, name, details.c_str());
    std::fflush(t.text);
}

struct Record {
    Dir dir;
    uint8_t set;
    uint8_t id;
    uint16_t receiver;
    uint8_t flags;
    int32_t result;
    uint64_t seq;
    uint32_t timeout;
};

void record(Trace &t, const Record &r, const uint8_t *p, uint32_t len) {
    if (t.pcap == nullptr) {
        return;
    }
    const uint32_t kept = p != nullptr ? std::min(len, MBUS_LINK_MAX_PAYLOAD) : 0;
    const uint64_t us = now_us(CLOCK_REALTIME);
    uint8_t head[16 + kPcapHeaderLen] = {};
    put32(head, 0, us / 1000000u);
    put32(head, 4, us % 1000000u);
    put32(head, 8, kPcapHeaderLen + kept);
    put32(head, 12, kPcapHeaderLen + (p != nullptr ? len : 0));
    uint8_t *h = head + 16;
    h[0] = 1;
    h[1] = static_cast<uint8_t>(r.dir);
    h[2] = r.set;
    h[3] = r.id;
    le::put<uint16_t>(h, 4, r.receiver);
    h[6] = r.flags;
    put32(h, 8, static_cast<uint32_t>(r.result));
    put32(h, 12, r.seq);
    put32(h, 16, r.timeout);
    std::fwrite(head, 1, sizeof head, t.pcap);
    if (kept > 0) {
        std::fwrite(p, 1, kept, t.pcap);
    }
    std::fflush(t.pcap);
}

const char *result_name(int32_t rc) {
    switch (rc) {
        case MBUS_ERR_TIMEOUT:
            return " (timeout)";
        case MBUS_ERR_NO_PEER:
            return " (no peer)";
        default:
            return "";
    }
}

bool awaited(const mbus_ctl_request_t &req) { return req.timeout != 0 && !req.resp_null && req.resp_len > 0; }

const char *name_of(const Message *m) { return m != nullptr ? m->name : "?"; }

}  // namespace

uint64_t trace_request(const mbus_ctl_request_t &req) {
    Trace &t = tr();
    const uint32_t len = req.payload_null ? 0 : req.payload_len;
    const uint32_t kept = std::min(len, MBUS_LINK_MAX_PAYLOAD);
    const Message *m = find(req.cmd_set, req.cmd_id, Dir::Request, req.receiver, len);
    std::lock_guard<std::mutex> lock(t.mu);
    const uint64_t seq = ++t.seq;
    ++t.counts[Key{Dir::Request, req.cmd_set, req.cmd_id, name_of(m)}].seen;
    if (t.text != nullptr) {
        std::string details;
        append(details, " len=%u", len);
        if (req.timeout != 0) {
            append(details, " wait=%uus", req.timeout);
        }
        details += decode(m, req.payload, kept);
        char to[12];
        std::snprintf(to, sizeof to, "-> 0x%04x", req.receiver);
        line(t, seq, "REQ", req.cmd_set, req.cmd_id, to, name_of(m), details);
    }
    record(t,
           {Dir::Request, req.cmd_set, req.cmd_id, req.receiver, static_cast<uint8_t>(awaited(req) ? 2 : 0), 0, seq,
            req.timeout},
           req.payload_null ? nullptr : req.payload, len);
    return seq;
}

void trace_answer(uint64_t seq, const mbus_ctl_request_t &req, int32_t result, const uint8_t *resp) {
    const bool answered = result == 0 && awaited(req) && resp != nullptr;
    if (result == 0 && !answered) {
        return;  // sent, nothing awaited
    }
    Trace &t = tr();
    const uint32_t plen = req.payload_null ? 0 : req.payload_len;
    const Message *sent = find(req.cmd_set, req.cmd_id, Dir::Request, req.receiver, plen);
    const Message *m = answered ? find(req.cmd_set, req.cmd_id, Dir::Answer, req.receiver, req.resp_len) : nullptr;
    if (m == nullptr && answered && req.resp_len == 1) {
        m = &kResultOnly;
    }
    const bool refused =
        m != nullptr && m->field_count() > 0 && std::strcmp(m->fields[0].name, "result") == 0 && resp[0] != 0;
    std::lock_guard<std::mutex> lock(t.mu);
    Count &c = t.counts[Key{Dir::Request, req.cmd_set, req.cmd_id, name_of(sent)}];
    if (result != 0) {
        ++c.failed;
        ++c.codes[result];
    }
    c.refused += refused ? 1 : 0;
    if (t.text != nullptr) {
        std::string details;
        append(details, " rc=%d%s", result, result_name(result));
        if (answered) {
            append(details, " len=%u", req.resp_len);
            details += decode(m, resp, std::min(req.resp_len, MBUS_LINK_MAX_PAYLOAD));
        }
        char from[12];
        std::snprintf(from, sizeof from, "<- 0x%04x", req.receiver);
        line(t, seq, answered ? "ANS" : "FAIL", req.cmd_set, req.cmd_id, from, name_of(sent), details);
    }
    record(t, {Dir::Answer, req.cmd_set, req.cmd_id, req.receiver, 0, result, seq, req.timeout},
           answered ? resp : nullptr, answered ? req.resp_len : 0);
}

void trace_push(uint8_t cmd_set, uint8_t cmd_id, const uint8_t *payload, uint32_t len, bool handled) {
    Trace &t = tr();
    const uint32_t kept = payload != nullptr ? std::min(len, MBUS_LINK_MAX_PAYLOAD) : 0;
    const Message *m = find(cmd_set, cmd_id, Dir::Push, kAnyReceiver, len);
    std::lock_guard<std::mutex> lock(t.mu);
    const uint64_t seq = ++t.seq;
    Count &c = t.counts[Key{Dir::Push, cmd_set, cmd_id, name_of(m)}];
    ++c.seen;
    c.failed += handled ? 0 : 1;
    if (t.text != nullptr) {
        std::string details;
        append(details, " len=%u%s", len, handled ? "" : " no-handler");
        details += decode(m, payload, kept);
        line(t, seq, handled ? "PUSH" : "DROP", cmd_set, cmd_id, "<-", name_of(m), details);
    }
    record(t,
           {Dir::Push, cmd_set, cmd_id, kAnyReceiver, static_cast<uint8_t>(handled ? 0 : 1),
            handled ? 0 : MBUS_ERR_NO_PEER, seq, 0},
           payload, payload != nullptr ? len : 0);
}

std::string summary() {
    Trace &t = tr();
    std::lock_guard<std::mutex> lock(t.mu);
    uint64_t totals[2][2] = {};  // [request, push][seen, failed]
    std::string body;
    for (const auto &[key, c] : t.counts) {
        const bool push = std::get<0>(key) == Dir::Push;
        totals[push][0] += c.seen;
        totals[push][1] += c.failed;
        char route[8];
        std::snprintf(route, sizeof route, "%u/%u", std::get<1>(key), std::get<2>(key));
        append(body, "  %-4s %-7s %-30s %6" PRIu64, push ? "PUSH" : "REQ", route, std::get<3>(key).c_str(), c.seen);
        if (c.failed > 0) {
            append(body, "  %s %" PRIu64, push ? "dropped" : "failed", c.failed);
            for (const auto &[code, n] : c.codes) {
                append(body, " [%d x%" PRIu64 "]", code, n);
            }
        }
        if (c.refused > 0) {
            append(body, "  refused %" PRIu64, c.refused);
        }
        body += "\n";
    }
    std::string out;
    append(out, "link summary: %" PRIu64 " requests (%" PRIu64 " failed), %" PRIu64 " pushes (%" PRIu64 " dropped)\n",
           totals[0][0], totals[0][1], totals[1][0], totals[1][1]);
    return out + body;
}

void set_clock_rate(double rate) {
    g_rate.since[0] = clock_us(CLOCK_REALTIME);
    g_rate.since[1] = clock_us(CLOCK_MONOTONIC);
    g_rate.rate = rate;
}

}  // namespace cw::trace

extern "C" size_t mbus_trace_summary(char *buf, size_t cap) {
    const std::string s = cw::trace::summary();
    if (buf != nullptr && cap > 0) {
        const size_t n = std::min(s.size(), cap - 1);
        std::memcpy(buf, s.data(), n);
        buf[n] = '\0';
    }
    return s.size();
}
