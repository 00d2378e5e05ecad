// Host stand-in for the aircraft's middleware: the v1 link with module models per receiver, push
// delivery on a dedicated thread, the leveled log and the dump channels, the boot clock, the data
// manager and named messages, plus the control API that tests and demos drive it with.
#include <time.h>

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
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "mbus_ctl.h"

namespace {

constexpr size_t kKeep = 65536;  // recorded items kept per list; older ones are dropped
constexpr size_t kQueue = 1024;  // pushes waiting for the delivery thread

template <class T>
struct Ring {
    std::deque<T> items;
    void add(const T &v) {
        items.push_back(v);
        if (items.size() > kKeep) {
            items.pop_front();
        }
    }
    int get(uint32_t i, T *out) const {
        if (i >= items.size()) {
            return -1;
        }
        *out = items[i];
        return 0;
    }
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
    uint8_t set;
    uint8_t id;
    std::vector<uint8_t> bytes;
};

uint32_t env_level() {
    const char *v = std::getenv("MBUS_LOG_LEVEL");
    return v ? static_cast<uint32_t>(std::strtoul(v, nullptr, 10)) : 3u;
}

bool env_quiet() {
    const char *v = std::getenv("MBUS_QUIET");
    return v && v[0] == '1';
}

struct State {
    std::mutex mu;
    std::deque<Script> scripts;
    std::map<uint16_t, Peer> peers;
    Ring<mbus_ctl_request_t> requests;
    std::map<uint16_t, mbus_v1_cb_t> handlers;  // key: set << 8 | id
    Ring<mbus_ctl_registration_t> registrations;
    Ring<mbus_ctl_log_t> logs;
    uint32_t heads = 0;
    uint32_t max_level = env_level();
    Ring<mbus_ctl_dump_t> dumps;
    uint64_t boot_time = 0;
    std::atomic<bool> echo{!env_quiet()};
    std::array<uint8_t, MBUS_DM_IMU_SIZE> imu{};
    int32_t dm_take_fault = 0;
    int32_t dm_return_fault = 0;
    int32_t dm_outstanding = 0;
    std::map<std::string, Receiver> receivers;
    int32_t tm_fault = 0;
    uint32_t tm_fault_count = 0;
    Ring<mbus_ctl_message_t> messages;
    FILE *log_sink = nullptr;
    FILE *usr_sink = nullptr;

    // Delivery thread.
    std::deque<Push> queue;
    std::condition_variable wake;
    std::condition_variable idle;
    bool delivering = false;
    bool stopping = false;
    std::thread worker;

    ~State() {
        {
            std::lock_guard<std::mutex> lock(mu);
            stopping = true;
        }
        wake.notify_all();
        if (worker.joinable()) {
            worker.join();
        }
    }
};

State &st() {
    static State s;
    return s;
}

FILE *sink(FILE *&f, const char *env) {
    if (f == nullptr) {
        const char *path = std::getenv(env);
        f = path && *path ? std::fopen(path, "a") : nullptr;
        if (f == nullptr) {
            f = stderr;
        }
    }
    return f;
}

void say(const char *fmt, ...) __attribute__((format(printf, 1, 2)));
void say(const char *fmt, ...) {
    if (!st().echo.load()) {
        return;
    }
    va_list ap;
    va_start(ap, fmt);
    std::vfprintf(stderr, fmt, ap);
    va_end(ap);
}

uint16_t key(uint8_t set, uint8_t id) { return static_cast<uint16_t>(set << 8 | id); }

mbus_v1_cb_t handler_for(uint8_t set, uint8_t id) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    auto it = s.handlers.find(key(set, id));
    return it == s.handlers.end() ? nullptr : it->second;
}

int32_t deliver(uint8_t set, uint8_t id, const uint8_t *payload, uint32_t len) {
    mbus_v1_cb_t cb = handler_for(set, id);
    if (cb == nullptr) {
        say("mbus: dropped push %u/%u (%u bytes): no handler\n", set, id, len);
        return MBUS_ERR_NO_PEER;
    }
    // A short message must never make a handler read outside memory.
    std::array<uint8_t, MBUS_LINK_MAX_PAYLOAD> buf{};
    std::memcpy(buf.data(), payload, len < buf.size() ? len : buf.size());
    return cb(buf.data());
}

void delivery_loop() {
    State &s = st();
    std::unique_lock<std::mutex> lock(s.mu);
    for (;;) {
        s.wake.wait(lock, [&] { return s.stopping || !s.queue.empty(); });
        if (s.stopping) {
            return;
        }
        Push p = std::move(s.queue.front());
        s.queue.pop_front();
        s.delivering = true;
        lock.unlock();
        deliver(p.set, p.id, p.bytes.data(), static_cast<uint32_t>(p.bytes.size()));
        lock.lock();
        s.delivering = false;
        if (s.queue.empty()) {
            s.idle.notify_all();
        }
    }
}

void copy_text(char *dst, size_t cap, const char *src) { std::snprintf(dst, cap, "%s", src ? src : ""); }

thread_local mbus_ctl_log_t t_head;  // what the last accepted head on this thread described

}  // namespace

extern "C" {

// ---------------------------------------------------------------- v1 link

int32_t mbus_link_v1_send(uint8_t cmd_set, uint8_t cmd_id, uint16_t receiver, const uint8_t *payload,
                          uint32_t payload_len, uint8_t *resp, uint32_t resp_len, uint32_t timeout) {
    State &s = st();
    mbus_ctl_request_t req{};
    req.cmd_set = cmd_set;
    req.cmd_id = cmd_id;
    req.receiver = receiver;
    req.payload_len = payload_len;
    req.resp_len = resp_len;
    req.timeout = timeout;
    req.payload_null = payload == nullptr;
    req.resp_null = resp == nullptr;
    if (payload != nullptr) {
        std::memcpy(req.payload, payload, payload_len < MBUS_LINK_MAX_PAYLOAD ? payload_len : MBUS_LINK_MAX_PAYLOAD);
    }

    bool scripted = false;
    Script script;
    Peer peer{nullptr, nullptr};
    {
        std::lock_guard<std::mutex> lock(s.mu);
        if (!s.scripts.empty()) {
            scripted = true;
            script = std::move(s.scripts.front());
            s.scripts.pop_front();
        } else if (auto it = s.peers.find(receiver); it != s.peers.end()) {
            peer = it->second;
        }
    }
    const bool awaited = timeout != 0 && resp != nullptr && resp_len > 0;

    int32_t result;
    if (scripted) {
        result = script.result;
        if (result == 0 && awaited) {
            std::memcpy(resp, script.answer.data(), script.answer.size() < resp_len ? script.answer.size() : resp_len);
        }
    } else if (peer.fn != nullptr) {
        std::vector<uint8_t> answer(resp_len);
        if (resp != nullptr && resp_len > 0) {
            std::memcpy(answer.data(), resp, resp_len);
        }
        uint32_t delay_us = 0;
        result = peer.fn(peer.ctx, &req, answer.data(), resp_len, &delay_us);
        if (result == 0 && timeout != 0) {
            if (delay_us > timeout) {
                std::this_thread::sleep_for(std::chrono::microseconds(timeout));
                result = MBUS_ERR_TIMEOUT;
            } else {
                std::this_thread::sleep_for(std::chrono::microseconds(delay_us));
                if (awaited) {
                    std::memcpy(resp, answer.data(), resp_len);
                }
            }
        }
    } else {
        result = MBUS_ERR_NO_PEER;
    }

    req.result = result;
    std::lock_guard<std::mutex> lock(s.mu);
    s.requests.add(req);
    return result;
}

int32_t mbus_link_register_v1_callback(uint8_t cmd_set, uint8_t cmd_id, mbus_v1_cb_t cb) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.registrations.add({1, cmd_set, cmd_id, cb});
    s.handlers[key(cmd_set, cmd_id)] = cb;
    return 0;
}

int32_t mbus_link_unregister_v1_callback(uint8_t cmd_set, uint8_t cmd_id, mbus_v1_cb_t cb) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.registrations.add({0, cmd_set, cmd_id, cb});
    auto it = s.handlers.find(key(cmd_set, cmd_id));
    if (it == s.handlers.end() || it->second != cb) {
        return -1;
    }
    s.handlers.erase(it);
    return 0;
}

// ---------------------------------------------------------------- data manager

int32_t mbus_dm_take(const mbus_dm_key_t *key_, int32_t wait, mbus_dm_item_t **item, uint32_t flags) {
    (void)wait;
    (void)flags;
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    if (s.dm_take_fault != 0) {
        const int32_t r = s.dm_take_fault;
        s.dm_take_fault = 0;
        return r;
    }
    if (key_ == nullptr || item == nullptr || key_->id != 1 || key_->sub != 0) {
        return MBUS_ERR_NO_DATA;
    }
    auto *it = new mbus_dm_item_t;
    it->size = MBUS_DM_IMU_SIZE;
    it->data = new uint8_t[MBUS_DM_IMU_SIZE];
    std::memcpy(it->data, s.imu.data(), MBUS_DM_IMU_SIZE);
    *item = it;
    ++s.dm_outstanding;
    return 0;
}

int32_t mbus_dm_return(const mbus_dm_key_t *key_, mbus_dm_item_t *item) {
    (void)key_;
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    // A failed return still gives the item back: the caller has no way to try again.
    if (item != nullptr) {
        delete[] static_cast<uint8_t *>(item->data);
        delete item;
        --s.dm_outstanding;
    }
    if (s.dm_return_fault != 0) {
        const int32_t r = s.dm_return_fault;
        s.dm_return_fault = 0;
        return r;
    }
    return 0;
}

// ---------------------------------------------------------------- named messages

int32_t mbus_tm_speak(const char *name, const void *msg, uint32_t len, uint32_t flags) {
    State &s = st();
    mbus_ctl_message_t m{};
    copy_text(m.name, sizeof m.name, name);
    m.len = len;
    m.flags = flags;
    if (msg != nullptr) {
        std::memcpy(m.data, msg, len < sizeof m.data ? len : sizeof m.data);
    }
    Receiver r{nullptr, nullptr};
    {
        std::lock_guard<std::mutex> lock(s.mu);
        if (s.tm_fault_count > 0) {
            --s.tm_fault_count;
            m.result = s.tm_fault;
        } else if (auto it = s.receivers.find(m.name); it != s.receivers.end()) {
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

// ---------------------------------------------------------------- logs and clock

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
    t_head = mbus_ctl_log_t{};
    t_head.module = module;
    t_head.level = level;
    t_head.line = line;
    copy_text(t_head.file, sizeof t_head.file, file);
    copy_text(t_head.func, sizeof t_head.func, func);
    return 0;
}

int32_t mbus_log_print(uint32_t module, uint32_t level, const char *head, const char *fmt, ...) {
    mbus_ctl_log_t l = t_head;
    l.module = module;
    l.level = level;
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(l.text, sizeof l.text, fmt, ap);
    va_end(ap);
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.logs.add(l);
    if (s.echo.load()) {
        FILE *f = sink(s.log_sink, "MBUS_LOG_FILE");
        std::fprintf(f, "%s%s", head ? head : "", l.text);
        std::fflush(f);
    }
    return 0;
}

void mbus_osal_get_boot_time(uint64_t *boot_time) {
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

int32_t mbus_dump_write(const char *channel, const char *data, uint32_t len) {
    State &s = st();
    mbus_ctl_dump_t d{};
    copy_text(d.channel, sizeof d.channel, channel);
    d.len = len;
    if (data != nullptr) {
        std::memcpy(d.data, data, len < sizeof d.data - 1 ? len : sizeof d.data - 1);
    }
    std::lock_guard<std::mutex> lock(s.mu);
    s.dumps.add(d);
    if (s.echo.load() && data != nullptr) {
        FILE *f = sink(s.usr_sink, "MBUS_USRLOG_FILE");
        std::fwrite(data, 1, len, f);
        std::fflush(f);
    }
    return 0;
}

// ---------------------------------------------------------------- control API

void mbus_ctl_push_flush(void) {
    State &s = st();
    std::unique_lock<std::mutex> lock(s.mu);
    s.idle.wait(lock, [&] { return s.queue.empty() && !s.delivering; });
}

void mbus_ctl_reset(void) {
    mbus_ctl_push_flush();
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.scripts.clear();
    s.peers.clear();
    s.requests.items.clear();
    s.handlers.clear();
    s.registrations.items.clear();
    s.logs.items.clear();
    s.heads = 0;
    s.max_level = env_level();
    s.dumps.items.clear();
    s.boot_time = 0;
    s.imu.fill(0);
    s.dm_take_fault = 0;
    s.dm_return_fault = 0;
    s.receivers.clear();
    s.tm_fault = 0;
    s.tm_fault_count = 0;
    s.messages.items.clear();
}

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
    std::lock_guard<std::mutex> lock(s.mu);
    s.scripts.push_back({result, answer ? std::vector<uint8_t>(answer, answer + len) : std::vector<uint8_t>{}});
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
    return static_cast<uint32_t>(s.requests.items.size());
}

int mbus_ctl_request_get(uint32_t index, mbus_ctl_request_t *out) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return s.requests.get(index, out);
}

uint32_t mbus_ctl_registration_count(void) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return static_cast<uint32_t>(s.registrations.items.size());
}

int mbus_ctl_registration_get(uint32_t index, mbus_ctl_registration_t *out) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return s.registrations.get(index, out);
}

mbus_v1_cb_t mbus_ctl_handler(uint8_t cmd_set, uint8_t cmd_id) { return handler_for(cmd_set, cmd_id); }

int32_t mbus_ctl_push(uint8_t cmd_set, uint8_t cmd_id, const void *payload, uint32_t len) {
    return deliver(cmd_set, cmd_id, static_cast<const uint8_t *>(payload), payload ? len : 0);
}

int32_t mbus_ctl_push_async(uint8_t cmd_set, uint8_t cmd_id, const void *payload, uint32_t len) {
    State &s = st();
    {
        std::lock_guard<std::mutex> lock(s.mu);
        if (s.queue.size() >= kQueue || s.stopping) {
            return -1;
        }
        const auto *b = static_cast<const uint8_t *>(payload);
        const uint32_t n = len < MBUS_LINK_MAX_PAYLOAD ? len : MBUS_LINK_MAX_PAYLOAD;
        s.queue.push_back({cmd_set, cmd_id, b ? std::vector<uint8_t>(b, b + n) : std::vector<uint8_t>{}});
        if (!s.worker.joinable()) {
            s.worker = std::thread(delivery_loop);
        }
    }
    s.wake.notify_one();
    return 0;
}

uint32_t mbus_ctl_log_count(void) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return static_cast<uint32_t>(s.logs.items.size());
}

int mbus_ctl_log_get(uint32_t index, mbus_ctl_log_t *out) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return s.logs.get(index, out);
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
    return static_cast<uint32_t>(s.dumps.items.size());
}

int mbus_ctl_dump_get(uint32_t index, mbus_ctl_dump_t *out) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return s.dumps.get(index, out);
}

void mbus_ctl_set_boot_time(uint64_t boot_time) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    s.boot_time = boot_time;
}

void mbus_ctl_set_echo(int on) { st().echo.store(on != 0); }

void mbus_ctl_dm_set_imu(const uint8_t data[MBUS_DM_IMU_SIZE]) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    std::memcpy(s.imu.data(), data, MBUS_DM_IMU_SIZE);
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
    return s.dm_outstanding;
}

void mbus_ctl_tm_set_receiver(const char *name, mbus_ctl_receiver_fn fn, void *ctx) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    if (fn == nullptr) {
        s.receivers.erase(name);
    } else {
        s.receivers[name] = {fn, ctx};
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
    return static_cast<uint32_t>(s.messages.items.size());
}

int mbus_ctl_message_get(uint32_t index, mbus_ctl_message_t *out) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    return s.messages.get(index, out);
}

}  // extern "C"
