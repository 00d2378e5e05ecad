// Host stand-in for the aircraft's middleware: the v1 link with module models per receiver, push
// delivery on a dedicated thread, the leveled log and the dump channels, the boot clock, the data
// manager and named messages, plus the control API that tests and demos drive it with.
//
// Locking: one mutex guards all state. It is never held while calling out (module models, push
// handlers, named-message receivers) nor while sleeping, so any of those may call back in.
#include <time.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "link_trace.h"
#include "mbus_ctl.h"

namespace {

constexpr size_t kKeep = 65536;  // recorded items kept per list; the oldest are dropped first
constexpr size_t kQueue = 1024;  // pushes waiting for the delivery thread
constexpr uint32_t kDefaultLevel = 3;

// A bounded, ordered record. Every item gets a sequence number that stays valid (or becomes
// unknown) across drops and clears, so a request can be recorded first and completed later.
template <class T>
class Record {
public:
    uint64_t add(T v) {
        items_.push_back(std::move(v));
        if (items_.size() > kKeep) {
            items_.pop_front();
            ++first_;
        }
        return first_ + items_.size() - 1;
    }
    T *find(uint64_t seq) {
        return seq >= first_ && seq - first_ < items_.size() ? &items_[static_cast<size_t>(seq - first_)] : nullptr;
    }
    const T *at(uint32_t index) const { return index < items_.size() ? &items_[index] : nullptr; }
    uint32_t size() const { return static_cast<uint32_t>(items_.size()); }
    void clear() {
        first_ += items_.size();
        items_.clear();
    }

private:
    std::deque<T> items_;
    uint64_t first_ = 0;  // sequence number of items_.front()
};

// Records are kept compact and expanded into the control API's fixed structs on read.
struct Sent {
    uint8_t cmd_set;
    uint8_t cmd_id;
    uint16_t receiver;
    uint32_t payload_len;
    uint32_t resp_len;
    uint32_t timeout;
    bool payload_null;
    bool resp_null;
    int32_t result;
    std::vector<uint8_t> payload;
};

struct Line {
    uint32_t module;
    uint32_t level;
    uint32_t line;
    std::string file;
    std::string func;
    std::string text;
};

struct Dump {
    std::string channel;
    uint32_t len;
    std::string data;
};

struct Script {
    int32_t result;
    std::vector<uint8_t> answer;
};

struct Peer {
    mbus_ctl_peer_fn fn;
    void *ctx;
};

struct Receiver {
    mbus_ctl_receiver_fn fn;
    void *ctx;
};

struct Push {
    uint8_t cmd_set;
    uint8_t cmd_id;
    uint32_t len;  // as the sender gave it; bytes holds at most MBUS_LINK_MAX_PAYLOAD of it
    std::vector<uint8_t> bytes;
};

// An item handed out by the data manager: the descriptor and its own copy of the group.
struct Taken {
    mbus_dm_item_t item;
    std::array<uint8_t, MBUS_DM_IMU_SIZE> data;
};

uint32_t default_level() {
    const char *v = std::getenv("MBUS_LOG_LEVEL");
    if (v == nullptr || *v == '\0') {
        return kDefaultLevel;
    }
    char *end = nullptr;
    const unsigned long level = std::strtoul(v, &end, 10);
    return *end == '\0' ? static_cast<uint32_t>(level) : kDefaultLevel;
}

bool start_quiet() {
    const char *v = std::getenv("MBUS_QUIET");
    return v != nullptr && std::strcmp(v, "1") == 0;
}

struct State {
    std::mutex mu;

    std::deque<Script> scripts;
    std::map<uint16_t, Peer> peers;
    Record<Sent> requests;

    std::map<uint16_t, mbus_v1_cb_t> handlers;  // key: set << 8 | id
    Record<mbus_ctl_registration_t> registrations;

    Record<Line> logs;
    uint32_t heads = 0;
    uint32_t max_level = default_level();
    Record<Dump> dumps;
    FILE *log_sink = nullptr;
    FILE *usr_sink = nullptr;
    std::atomic<bool> echo{!start_quiet()};
    uint64_t boot_time = 0;

    std::array<uint8_t, MBUS_DM_IMU_SIZE> imu{};
    int32_t dm_take_fault = 0;
    int32_t dm_return_fault = 0;
    std::map<mbus_dm_item_t *, std::unique_ptr<Taken>> taken;

    std::map<std::string, Receiver> receivers;
    int32_t tm_fault = 0;
    uint32_t tm_fault_count = 0;
    Record<mbus_ctl_message_t> messages;

    // The delivery thread and its queue.
    std::deque<Push> queue;
    std::condition_variable wake;  // the queue got a message, or delivery stops
    std::condition_variable idle;  // the queue ran empty and nothing is being delivered
    bool delivering = false;
    bool stopped = false;
    std::thread worker;
};

// Never destroyed: other libraries' exit-time code may still unregister handlers or log after
// this library's static objects would be gone. The delivery thread is stopped by stop_delivery().
State &st() {
    static State *s = new State;
    return *s;
}

thread_local bool t_delivery_thread = false;

// What the last head accepted on this thread described; the next print on the thread uses it.
struct Head {
    uint32_t line;
    char file[256];
    char func[128];
};
thread_local Head t_head{};

void copy_text(char *dst, size_t cap, const char *src) {
    const size_t n = src != nullptr ? strnlen(src, cap - 1) : 0;
    if (n > 0) {
        std::memcpy(dst, src, n);
    }
    dst[n] = '\0';
}

// The stand-in's own diagnostics: stderr, unless echo is off.
void note(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
void note(const char *fmt, ...) {
    if (!st().echo.load()) {
        return;
    }
    va_list ap;
    va_start(ap, fmt);
    std::vfprintf(stderr, fmt, ap);
    va_end(ap);
}

// The sink behind an echoed channel: the file named by env, opened on first use, else stderr.
FILE *sink(FILE *&f, const char *env) {
    if (f == nullptr) {
        const char *path = std::getenv(env);
        if (path != nullptr && *path != '\0') {
            f = std::fopen(path, "a");
            if (f == nullptr) {
                std::fprintf(stderr, "mbus: cannot open %s=%s, writing to stderr\n", env, path);
            }
        }
        if (f == nullptr) {
            f = stderr;
        }
    }
    return f;
}

uint16_t handler_key(uint8_t cmd_set, uint8_t cmd_id) { return static_cast<uint16_t>(cmd_set << 8 | cmd_id); }

mbus_v1_cb_t handler_for(uint8_t cmd_set, uint8_t cmd_id) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    auto it = s.handlers.find(handler_key(cmd_set, cmd_id));
    return it == s.handlers.end() ? nullptr : it->second;
}

// Hands a pushed message to its handler, as the aircraft does: in a zero-filled buffer of the
// link's largest payload, so a short message never makes a handler read past what was sent.
int32_t deliver(uint8_t cmd_set, uint8_t cmd_id, const uint8_t *payload, uint32_t len) {
    const mbus_v1_cb_t cb = handler_for(cmd_set, cmd_id);
    cw::trace::trace_push(cmd_set, cmd_id, payload, len, cb != nullptr);
    if (cb == nullptr) {
        note("mbus: dropped push %u/%u (%u bytes): no handler\n", cmd_set, cmd_id, len);
        return MBUS_ERR_NO_PEER;
    }
    std::vector<uint8_t> buf(MBUS_LINK_MAX_PAYLOAD, 0);
    if (payload != nullptr && len > 0) {
        std::memcpy(buf.data(), payload, std::min<size_t>(len, buf.size()));
    }
    return cb(buf.data());
}

void delivery_loop() {
    t_delivery_thread = true;
    State &s = st();
    std::unique_lock<std::mutex> lock(s.mu);
    for (;;) {
        s.wake.wait(lock, [&] { return s.stopped || !s.queue.empty(); });
        if (s.stopped) {
            return;
        }
        Push p = std::move(s.queue.front());
        s.queue.pop_front();
        s.delivering = true;
        lock.unlock();
        deliver(p.cmd_set, p.cmd_id, p.bytes.data(), p.len);
        lock.lock();
        s.delivering = false;
        if (s.queue.empty()) {
            s.idle.notify_all();
        }
    }
}

// Runs at process exit (or when the library is unloaded): messages still queued are dropped, the
// one being delivered is finished, and the thread is joined.
void stop_delivery() {
    State &s = st();
    std::thread worker;
    {
        std::lock_guard<std::mutex> lock(s.mu);
        s.stopped = true;
        s.queue.clear();
        worker = std::move(s.worker);
    }
    s.wake.notify_all();
    s.idle.notify_all();
    if (worker.joinable()) {
        if (worker.get_id() == std::this_thread::get_id()) {
            worker.detach();  // a handler called exit(): the thread ends with the process
        } else {
            worker.join();
        }
    }
}

}  // namespace

extern "C" {

// ---------------------------------------------------------------- v1 link

int32_t mbus_link_v1_send(uint8_t cmd_set, uint8_t cmd_id, uint16_t receiver, const uint8_t *payload,
                          uint32_t payload_len, uint8_t *resp, uint32_t resp_len, uint32_t timeout) {
    State &s = st();
    auto req = std::make_unique<mbus_ctl_request_t>();  // what a module model sees
    req->cmd_set = cmd_set;
    req->cmd_id = cmd_id;
    req->receiver = receiver;
    req->payload_len = payload_len;
    req->resp_len = resp_len;
    req->timeout = timeout;
    req->payload_null = payload == nullptr;
    req->resp_null = resp == nullptr;
    const uint32_t kept = payload != nullptr ? std::min(payload_len, MBUS_LINK_MAX_PAYLOAD) : 0;
    if (kept > 0) {
        std::memcpy(req->payload, payload, kept);
    }
    const uint64_t traced = cw::trace::trace_request(*req);

    bool scripted = false;
    Script script;
    Peer peer{nullptr, nullptr};
    uint64_t seq;
    {
        std::lock_guard<std::mutex> lock(s.mu);
        seq = s.requests.add(Sent{cmd_set, cmd_id, receiver, payload_len, resp_len, timeout, payload == nullptr,
                                  resp == nullptr, 0, std::vector<uint8_t>(req->payload, req->payload + kept)});
        if (!s.scripts.empty()) {
            scripted = true;
            script = std::move(s.scripts.front());
            s.scripts.pop_front();
        } else if (auto it = s.peers.find(receiver); it != s.peers.end()) {
            peer = it->second;
        }
    }
    // A request sent without a timeout does not wait for, and never receives, an answer.
    const bool awaited = timeout != 0 && resp != nullptr && resp_len > 0;

    int32_t result;
    if (scripted) {
        result = script.result;
        if (result == 0 && awaited && !script.answer.empty()) {
            std::memcpy(resp, script.answer.data(), std::min<size_t>(script.answer.size(), resp_len));
        }
    } else if (peer.fn != nullptr) {
        // The model writes into a copy: a late or failed answer must leave the caller's buffer alone.
        std::unique_ptr<uint8_t[]> answer(new uint8_t[resp_len]());
        if (resp != nullptr && resp_len > 0) {
            std::memcpy(answer.get(), resp, resp_len);
        }
        uint32_t delay_us = 0;
        result = peer.fn(peer.ctx, req.get(), answer.get(), resp_len, &delay_us);
        if (result == 0 && timeout != 0) {
            if (delay_us > timeout) {
                std::this_thread::sleep_for(std::chrono::microseconds(timeout));
                result = MBUS_ERR_TIMEOUT;
            } else {
                std::this_thread::sleep_for(std::chrono::microseconds(delay_us));
                if (awaited) {
                    std::memcpy(resp, answer.get(), resp_len);
                }
            }
        }
    } else {
        result = MBUS_ERR_NO_PEER;
    }

    cw::trace::trace_answer(traced, *req, result, resp);
    std::lock_guard<std::mutex> lock(s.mu);
    if (Sent *r = s.requests.find(seq)) {
        r->result = result;
    }
    return result;
}

int32_t mbus_link_register_v1_callback(uint8_t cmd_set, uint8_t cmd_id, mbus_v1_cb_t cb) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.registrations.add({1, cmd_set, cmd_id, cb});
    if (cb == nullptr) {
        s.handlers.erase(handler_key(cmd_set, cmd_id));
    } else {
        s.handlers[handler_key(cmd_set, cmd_id)] = cb;  // a second registration replaces the first
    }
    return 0;
}

int32_t mbus_link_unregister_v1_callback(uint8_t cmd_set, uint8_t cmd_id, mbus_v1_cb_t cb) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.registrations.add({0, cmd_set, cmd_id, cb});
    auto it = s.handlers.find(handler_key(cmd_set, cmd_id));
    if (it == s.handlers.end() || it->second != cb) {
        return -1;
    }
    s.handlers.erase(it);
    return 0;
}

// ---------------------------------------------------------------- data manager

int32_t mbus_dm_take(const mbus_dm_key_t *key, int32_t wait, mbus_dm_item_t **item, uint32_t flags) {
    (void)wait;
    (void)flags;
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    if (s.dm_take_fault != 0) {
        const int32_t r = s.dm_take_fault;
        s.dm_take_fault = 0;
        return r;
    }
    if (key == nullptr || item == nullptr || key->id != 1 || key->sub != 0) {
        return MBUS_ERR_NO_DATA;
    }
    auto t = std::make_unique<Taken>();
    t->data = s.imu;
    t->item.data = t->data.data();
    t->item.size = MBUS_DM_IMU_SIZE;
    *item = &t->item;
    s.taken.emplace(&t->item, std::move(t));
    return 0;
}

int32_t mbus_dm_return(const mbus_dm_key_t *key, mbus_dm_item_t *item) {
    (void)key;
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    // A failed return still gives the item back (it is freed and no longer outstanding): the
    // caller has no way to try again, and the aircraft's data manager reclaims it all the same.
    auto it = s.taken.find(item);
    const bool known = it != s.taken.end();
    if (known) {
        s.taken.erase(it);
    }
    if (s.dm_return_fault != 0) {
        const int32_t r = s.dm_return_fault;
        s.dm_return_fault = 0;
        return r;
    }
    // An item that was never taken, or is returned twice, is refused instead of freed.
    return known ? 0 : MBUS_ERR_NO_DATA;
}

// ---------------------------------------------------------------- named messages

int32_t mbus_tm_speak(const char *name, const void *msg, uint32_t len, uint32_t flags) {
    State &s = st();
    const std::string to = name != nullptr ? name : "";
    mbus_ctl_message_t m{};
    copy_text(m.name, sizeof m.name, to.c_str());
    m.len = len;
    m.flags = flags;
    if (msg != nullptr && len > 0) {
        std::memcpy(m.data, msg, std::min<size_t>(len, sizeof m.data));
    }
    Receiver r{nullptr, nullptr};
    {
        std::lock_guard<std::mutex> lock(s.mu);
        if (s.tm_fault_count > 0) {
            --s.tm_fault_count;
            m.result = s.tm_fault;
        } else if (auto it = s.receivers.find(to); it != s.receivers.end()) {
            r = it->second;
            m.result = 0;
        } else {
            m.result = MBUS_ERR_NO_RECEIVER;
        }
        s.messages.add(m);
    }
    if (r.fn != nullptr) {
        r.fn(r.ctx, msg, len);
    }
    return m.result;
}

// ---------------------------------------------------------------- logs, dumps and clock

int32_t mbus_log_gen_head(uint32_t module, uint32_t level, char *head, uint32_t head_size, const char *file,
                          const char *func, uint32_t line) {
    State &s = st();
    {
        std::lock_guard<std::mutex> lock(s.mu);
        ++s.heads;
        if (level > s.max_level) {
            return 1;
        }
    }
    if (head != nullptr && head_size > 0) {
        std::snprintf(head, head_size, "[%u][L%u] %s:%s:%u ", module, level, file ? file : "", func ? func : "", line);
    }
    t_head.line = line;
    copy_text(t_head.file, sizeof t_head.file, file);
    copy_text(t_head.func, sizeof t_head.func, func);
    return 0;
}

int32_t mbus_log_print(uint32_t module, uint32_t level, const char *head, const char *fmt, ...) {
    char text[2048];
    text[0] = '\0';
    if (fmt != nullptr) {
        va_list ap;
        va_start(ap, fmt);
        std::vsnprintf(text, sizeof text, fmt, ap);
        va_end(ap);
    }
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.logs.add(Line{module, level, t_head.line, t_head.file, t_head.func, text});
    if (s.echo.load()) {
        FILE *f = sink(s.log_sink, "MBUS_LOG_FILE");
        std::fprintf(f, "%s%s", head ? head : "", text);
        std::fflush(f);
    }
    return 0;
}

int32_t mbus_dump_write(const char *channel, const char *data, uint32_t len) {
    State &s = st();
    Dump d{channel != nullptr ? channel : "", len, {}};
    if (data != nullptr) {
        d.data.assign(data, std::min<size_t>(len, sizeof(mbus_ctl_dump_t::data) - 1));
    }
    std::lock_guard<std::mutex> lock(s.mu);
    s.dumps.add(std::move(d));
    if (s.echo.load() && data != nullptr && len > 0) {
        FILE *f = sink(s.usr_sink, "MBUS_USRLOG_FILE");
        std::fwrite(data, 1, len, f);
        std::fflush(f);
    }
    return 0;
}

void mbus_osal_get_boot_time(uint64_t *boot_time) {
    if (boot_time == nullptr) {
        return;
    }
    State &s = st();
    uint64_t fixed;
    {
        std::lock_guard<std::mutex> lock(s.mu);
        fixed = s.boot_time;
    }
    if (fixed != 0) {
        *boot_time = fixed;
        return;
    }
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    *boot_time = static_cast<uint64_t>(ts.tv_sec) * 1000000u + static_cast<uint64_t>(ts.tv_nsec) / 1000u;
}

// ---------------------------------------------------------------- control: link

void mbus_ctl_set_peer(uint16_t receiver, mbus_ctl_peer_fn fn, void *ctx) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    if (fn == nullptr) {
        s.peers.erase(receiver);
    } else {
        s.peers[receiver] = {fn, ctx};
    }
}

void mbus_ctl_script(int32_t result, const uint8_t *answer, uint32_t len) {
    State &s = st();
    std::vector<uint8_t> bytes;
    if (answer != nullptr) {
        bytes.assign(answer, answer + len);
    }
    std::lock_guard<std::mutex> lock(s.mu);
    s.scripts.push_back({result, std::move(bytes)});
}

void mbus_ctl_script_answer(const uint8_t *answer, uint32_t len) { mbus_ctl_script(0, answer, len); }

void mbus_ctl_script_result(int32_t result) { mbus_ctl_script(result, nullptr, 0); }

uint32_t mbus_ctl_script_pending(void) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return static_cast<uint32_t>(s.scripts.size());
}

uint32_t mbus_ctl_request_count(void) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return s.requests.size();
}

int mbus_ctl_request_get(uint32_t index, mbus_ctl_request_t *out) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    const Sent *r = s.requests.at(index);
    if (r == nullptr || out == nullptr) {
        return -1;
    }
    std::memset(out, 0, sizeof *out);
    out->cmd_set = r->cmd_set;
    out->cmd_id = r->cmd_id;
    out->receiver = r->receiver;
    out->payload_len = r->payload_len;
    out->resp_len = r->resp_len;
    out->timeout = r->timeout;
    out->payload_null = r->payload_null;
    out->resp_null = r->resp_null;
    out->result = r->result;
    if (!r->payload.empty()) {
        std::memcpy(out->payload, r->payload.data(), r->payload.size());
    }
    return 0;
}

// ---------------------------------------------------------------- control: pushes

uint32_t mbus_ctl_registration_count(void) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return s.registrations.size();
}

int mbus_ctl_registration_get(uint32_t index, mbus_ctl_registration_t *out) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    const mbus_ctl_registration_t *r = s.registrations.at(index);
    if (r == nullptr || out == nullptr) {
        return -1;
    }
    *out = *r;
    return 0;
}

mbus_v1_cb_t mbus_ctl_handler(uint8_t cmd_set, uint8_t cmd_id) { return handler_for(cmd_set, cmd_id); }

int32_t mbus_ctl_push(uint8_t cmd_set, uint8_t cmd_id, const void *payload, uint32_t len) {
    return deliver(cmd_set, cmd_id, static_cast<const uint8_t *>(payload), payload != nullptr ? len : 0);
}

int32_t mbus_ctl_push_async(uint8_t cmd_set, uint8_t cmd_id, const void *payload, uint32_t len) {
    State &s = st();
    Push p{cmd_set, cmd_id, payload != nullptr ? len : 0, {}};
    if (payload != nullptr) {
        const auto *b = static_cast<const uint8_t *>(payload);
        p.bytes.assign(b, b + std::min(len, MBUS_LINK_MAX_PAYLOAD));
    }
    {
        std::lock_guard<std::mutex> lock(s.mu);
        if (s.stopped || s.queue.size() >= kQueue) {
            return -1;
        }
        if (!s.worker.joinable()) {
            try {
                s.worker = std::thread(delivery_loop);
            } catch (const std::system_error &) {
                return -1;
            }
            std::atexit(stop_delivery);
        }
        s.queue.push_back(std::move(p));
    }
    s.wake.notify_one();
    return 0;
}

void mbus_ctl_push_flush(void) {
    if (t_delivery_thread) {
        return;  // called from a handler: the delivery thread cannot wait for itself
    }
    State &s = st();
    std::unique_lock<std::mutex> lock(s.mu);
    s.idle.wait(lock, [&] { return s.stopped || (s.queue.empty() && !s.delivering); });
}

// ---------------------------------------------------------------- control: logs, dumps, clock

uint32_t mbus_ctl_log_count(void) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return s.logs.size();
}

int mbus_ctl_log_get(uint32_t index, mbus_ctl_log_t *out) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    const Line *l = s.logs.at(index);
    if (l == nullptr || out == nullptr) {
        return -1;
    }
    std::memset(out, 0, sizeof *out);
    out->module = l->module;
    out->level = l->level;
    out->line = l->line;
    copy_text(out->file, sizeof out->file, l->file.c_str());
    copy_text(out->func, sizeof out->func, l->func.c_str());
    copy_text(out->text, sizeof out->text, l->text.c_str());
    return 0;
}

uint32_t mbus_ctl_log_head_count(void) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return s.heads;
}

void mbus_ctl_set_log_level(uint32_t max_level) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.max_level = max_level;
}

uint32_t mbus_ctl_dump_count(void) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return s.dumps.size();
}

int mbus_ctl_dump_get(uint32_t index, mbus_ctl_dump_t *out) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    const Dump *d = s.dumps.at(index);
    if (d == nullptr || out == nullptr) {
        return -1;
    }
    std::memset(out, 0, sizeof *out);
    copy_text(out->channel, sizeof out->channel, d->channel.c_str());
    out->len = d->len;
    std::memcpy(out->data, d->data.data(), d->data.size());  // at most 2047 bytes, NUL after them
    return 0;
}

void mbus_ctl_set_boot_time(uint64_t boot_time) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.boot_time = boot_time;
}

void mbus_ctl_set_echo(int on) { st().echo.store(on != 0); }

// ---------------------------------------------------------------- control: data manager

void mbus_ctl_dm_set_imu(const uint8_t data[MBUS_DM_IMU_SIZE]) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    if (data == nullptr) {
        s.imu.fill(0);
    } else {
        std::memcpy(s.imu.data(), data, MBUS_DM_IMU_SIZE);
    }
}

void mbus_ctl_dm_fail_take(int32_t result) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.dm_take_fault = result;
}

void mbus_ctl_dm_fail_return(int32_t result) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.dm_return_fault = result;
}

int32_t mbus_ctl_dm_outstanding(void) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return static_cast<int32_t>(s.taken.size());
}

// ---------------------------------------------------------------- control: named messages

void mbus_ctl_tm_set_receiver(const char *name, mbus_ctl_receiver_fn fn, void *ctx) {
    State &s = st();
    const std::string to = name != nullptr ? name : "";
    std::lock_guard<std::mutex> lock(s.mu);
    if (fn == nullptr) {
        s.receivers.erase(to);
    } else {
        s.receivers[to] = {fn, ctx};
    }
}

void mbus_ctl_tm_fail(int32_t result, uint32_t count) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.tm_fault = result;
    s.tm_fault_count = count;
}

uint32_t mbus_ctl_message_count(void) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return s.messages.size();
}

int mbus_ctl_message_get(uint32_t index, mbus_ctl_message_t *out) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    const mbus_ctl_message_t *m = s.messages.at(index);
    if (m == nullptr || out == nullptr) {
        return -1;
    }
    *out = *m;
    return 0;
}

// ---------------------------------------------------------------- control: reset

void mbus_ctl_reset(void) {
    mbus_ctl_push_flush();
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.scripts.clear();
    s.peers.clear();
    s.requests.clear();
    s.handlers.clear();
    s.registrations.clear();
    s.logs.clear();
    s.heads = 0;
    s.max_level = default_level();
    s.dumps.clear();
    s.boot_time = 0;
    s.imu.fill(0);
    s.dm_take_fault = 0;
    s.dm_return_fault = 0;
    // Items still taken stay outstanding: whoever holds them will return them later.
    s.receivers.clear();
    s.tm_fault = 0;
    s.tm_fault_count = 0;
    s.messages.clear();
}

}  // extern "C"
