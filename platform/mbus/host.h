// The stand-in's shared state. Each source file implements one concern of the middleware (link,
// delivery, logs, data manager, named messages, control) over this one State.
//
// Locking: one mutex guards all state. It is never held while calling out (module models, push
// handlers, named-message receivers) nor while sleeping, so any of those may call back in.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "link_messages.h"
#include "mbus_aircraft.h"
#include "mbus_ctl.h"

namespace mbus {

constexpr size_t kKeep = 65536;  // recorded items kept per list; the oldest are dropped first
constexpr size_t kQueue = 1024;  // pushes waiting for the delivery thread

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

// A request as the control API returns it (the record a module model sees), kept without the
// unused tail of its payload: the recorded list would otherwise hold 2 KiB per request.
class Sent {
public:
    Sent(const mbus_ctl_request_t &req, uint32_t kept)
        : bytes_(reinterpret_cast<const uint8_t *>(&req),
                 reinterpret_cast<const uint8_t *>(&req) + offsetof(mbus_ctl_request_t, payload) + kept) {}
    void set_result(int32_t result) {
        std::memcpy(bytes_.data() + offsetof(mbus_ctl_request_t, result), &result, sizeof result);
    }
    void copy_to(mbus_ctl_request_t *out) const {
        std::memset(out, 0, sizeof *out);
        std::memcpy(out, bytes_.data(), bytes_.size());
    }

private:
    std::vector<uint8_t> bytes_;
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

// Settings read from the environment when the library is loaded (control.cpp).
struct Config {
    uint32_t log_level = 3;
    bool quiet = false;
    // MBUS_ECHO=readable: the echo as a person follows a run (each library line once, by function,
    // indented under the application's own output); raw (the default): as the library wrote it.
    bool readable = false;
};

const Config &config();

struct State {
    std::mutex mu;

    std::deque<Script> scripts;
    std::map<uint16_t, Peer> peers;
    Record<Sent> requests;
    const AircraftHooks *aircraft = nullptr;  // null when the aircraft is not flying

    std::map<cw::trace::SetId, mbus_v1_cb_t> handlers;
    Record<mbus_ctl_registration_t> registrations;

    Record<Line> logs;
    uint32_t heads = 0;
    uint32_t max_level = config().log_level;
    Record<Dump> dumps;
    FILE *log_sink = nullptr;
    FILE *usr_sink = nullptr;
    std::atomic<bool> echo{!config().quiet};
    uint64_t boot_time = 0;
    std::atomic<uint64_t> boot_origin{0};  // attached to cirrow-aircraft: when the aircraft booted

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
// this library's static objects would be gone. The delivery thread is stopped at exit.
State &st();

void copy_text(char *dst, size_t cap, const char *src);
// The stand-in's own diagnostics: stderr, unless echo is off.
void note(const char *fmt, ...) __attribute__((format(printf, 1, 2)));

// Hands a pushed message to its handler on the calling thread (delivery.cpp).
int32_t deliver(uint8_t cmd_set, uint8_t cmd_id, const uint8_t *payload, uint32_t len);
// The same, saying nothing of a drop when say_drop is false.
int32_t deliver(uint8_t cmd_set, uint8_t cmd_id, const uint8_t *payload, uint32_t len, bool say_drop);
// Starts the delivery thread if it is not running; call with the lock held. False if it cannot.
bool start_delivery_locked();
// Stops the process before the application runs, with "mbus: <why>" on stderr (exit code 2).
[[noreturn]] void refuse(const char *fmt, ...) __attribute__((format(printf, 1, 2)));

// Attached to cirrow-aircraft (remote.cpp), a data-manager take is the aircraft's (true, its
// result in *result); otherwise this process's (false).
bool remote_dm_take(const mbus_dm_key_t *key, std::array<uint8_t, MBUS_DM_IMU_SIZE> &data, int32_t *result);

}  // namespace mbus
