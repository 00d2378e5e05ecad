// Pushed messages: delivered on the caller's thread, or queued for the delivery thread, which
// also ticks the virtual aircraft's clock when it flies.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "clock.h"
#include "host.h"
#include "link_trace.h"

using mbus::st;
using mbus::State;

namespace {

thread_local bool t_delivery_thread = false;

void delivery_loop() {
    t_delivery_thread = true;
    State &s = st();
    std::unique_lock<std::mutex> lock(s.mu);
    auto next_tick = std::chrono::steady_clock::now();
    for (;;) {
        const auto ready = [&] { return s.stopped || !s.queue.empty(); };
        if (s.aircraft != nullptr) {
            s.wake.wait_until(lock, next_tick, ready);
        } else {
            s.wake.wait(lock, [&] { return ready() || s.aircraft != nullptr; });  // set_aircraft wakes it
        }
        if (s.stopped) {
            return;
        }
        if (const mbus::AircraftHooks *a = s.aircraft; a != nullptr && std::chrono::steady_clock::now() >= next_tick) {
            next_tick += std::chrono::microseconds(a->period_us);
            next_tick = std::max(next_tick, std::chrono::steady_clock::now());
            s.delivering = true;
            lock.unlock();
            a->tick(a->ctx);
            lock.lock();
            s.delivering = false;
        }
        if (s.queue.empty()) {
            s.idle.notify_all();
            continue;
        }
        mbus::Push p = std::move(s.queue.front());
        s.queue.pop_front();
        s.delivering = true;
        lock.unlock();
        mbus::deliver(p.cmd_set, p.cmd_id, p.bytes.data(), p.len);
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

namespace mbus {

// Hands a pushed message to its handler, as the aircraft does: in a zero-filled buffer of the
// link's largest payload, so a short message never makes a handler read past what was sent.
int32_t deliver(uint8_t cmd_set, uint8_t cmd_id, const uint8_t *payload, uint32_t len) {
    return deliver(cmd_set, cmd_id, payload, len, true);
}

void deliver_from_aircraft(uint8_t cmd_set, uint8_t cmd_id, const uint8_t *payload, uint32_t len) {
    deliver(cmd_set, cmd_id, payload, len, false);
}

int32_t deliver(uint8_t cmd_set, uint8_t cmd_id, const uint8_t *payload, uint32_t len, bool say_drop) {
    const mbus_v1_cb_t cb = mbus_ctl_handler(cmd_set, cmd_id);
    cw::trace::trace_push(cmd_set, cmd_id, payload, len, cb != nullptr);
    if (cb == nullptr) {
        if (say_drop) {
            note("mbus: dropped push %u/%u (%u bytes): no handler\n", cmd_set, cmd_id, len);
        }
        return MBUS_ERR_NO_PEER;
    }
    std::vector<uint8_t> buf(MBUS_LINK_MAX_PAYLOAD, 0);
    if (payload != nullptr && len > 0) {
        std::memcpy(buf.data(), payload, std::min<size_t>(len, buf.size()));
    }
    return cb(buf.data());
}

bool start_delivery_locked() {
    State &s = st();
    if (s.worker.joinable()) {
        return true;
    }
    try {
        s.worker = std::thread(delivery_loop);
    } catch (const std::system_error &) {
        return false;
    }
    std::atexit(stop_delivery);
    return true;
}

double clock_rate() { return clock::rate(); }

const char *clock_unscaled() { return clock::unscaled(); }

void set_aircraft(const AircraftHooks *aircraft) {
    State &s = st();
    {
        std::lock_guard<std::mutex> lock(s.mu);
        s.aircraft = aircraft;
        if (aircraft != nullptr && !s.stopped) {
            start_delivery_locked();
        }
    }
    s.wake.notify_all();
}

}  // namespace mbus

extern "C" {

int32_t mbus_ctl_push(uint8_t cmd_set, uint8_t cmd_id, const void *payload, uint32_t len) {
    return mbus::deliver(cmd_set, cmd_id, static_cast<const uint8_t *>(payload), payload != nullptr ? len : 0);
}

int32_t mbus_ctl_push_async(uint8_t cmd_set, uint8_t cmd_id, const void *payload, uint32_t len) {
    State &s = st();
    mbus::Push p{cmd_set, cmd_id, payload != nullptr ? len : 0, {}};
    if (payload != nullptr) {
        const auto *b = static_cast<const uint8_t *>(payload);
        p.bytes.assign(b, b + std::min(len, MBUS_LINK_MAX_PAYLOAD));
    }
    {
        std::lock_guard<std::mutex> lock(s.mu);
        if (s.stopped || s.queue.size() >= mbus::kQueue || !mbus::start_delivery_locked()) {
            return -1;
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

}  // extern "C"
