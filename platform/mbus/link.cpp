// The v1 link: requests answered by scripts, then by the peer installed for the receiver, then by
// the virtual aircraft when it flies; push-handler registration; the link's control functions.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

#include "host.h"
#include "link_trace.h"

using mbus::st;
using mbus::State;

namespace {

// The virtual aircraft keeps its own account of who takes which push (its referee reads it).
void tell_aircraft(const mbus::AircraftHooks *aircraft, uint8_t cmd_set, uint8_t cmd_id, bool on) {
    if (aircraft != nullptr && aircraft->handler != nullptr) {
        aircraft->handler(aircraft->ctx, cmd_set, cmd_id, on);
    }
}

}  // namespace

extern "C" {

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
    mbus::Script script;
    mbus::Peer peer{nullptr, nullptr};
    uint64_t seq;
    {
        std::lock_guard<std::mutex> lock(s.mu);
        seq = s.requests.add(mbus::Sent(*req, kept));
        if (!s.scripts.empty()) {
            scripted = true;
            script = std::move(s.scripts.front());
            s.scripts.pop_front();
        } else if (auto it = s.peers.find(receiver); it != s.peers.end()) {
            peer = it->second;
        } else if (s.aircraft != nullptr) {
            peer = {s.aircraft->answer, s.aircraft->ctx};
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
    if (mbus::Sent *r = s.requests.find(seq)) {
        r->set_result(result);
    }
    return result;
}

int32_t mbus_link_register_v1_callback(uint8_t cmd_set, uint8_t cmd_id, mbus_v1_cb_t cb) {
    State &s = st();
    const mbus::AircraftHooks *aircraft;
    {
        std::lock_guard<std::mutex> lock(s.mu);
        s.registrations.add({1, cmd_set, cmd_id, cb});
        if (cb == nullptr) {
            s.handlers.erase(cw::trace::SetId{cmd_set, cmd_id});
        } else {
            s.handlers[cw::trace::SetId{cmd_set, cmd_id}] = cb;  // a second registration replaces the first
        }
        aircraft = s.aircraft;
    }
    tell_aircraft(aircraft, cmd_set, cmd_id, cb != nullptr);
    return 0;
}

int32_t mbus_link_unregister_v1_callback(uint8_t cmd_set, uint8_t cmd_id, mbus_v1_cb_t cb) {
    State &s = st();
    const mbus::AircraftHooks *aircraft;
    {
        std::lock_guard<std::mutex> lock(s.mu);
        s.registrations.add({0, cmd_set, cmd_id, cb});
        auto it = s.handlers.find(cw::trace::SetId{cmd_set, cmd_id});
        if (it == s.handlers.end() || it->second != cb) {
            return -1;
        }
        s.handlers.erase(it);
        aircraft = s.aircraft;
    }
    tell_aircraft(aircraft, cmd_set, cmd_id, false);
    return 0;
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
    const mbus::Sent *r = s.requests.at(index);
    if (r == nullptr || out == nullptr) {
        return -1;
    }
    r->copy_to(out);
    return 0;
}

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

mbus_v1_cb_t mbus_ctl_handler(uint8_t cmd_set, uint8_t cmd_id) {
    State &s = st();
    std::lock_guard<std::mutex> lock(s.mu);
    auto it = s.handlers.find(cw::trace::SetId{cmd_set, cmd_id});
    return it == s.handlers.end() ? nullptr : it->second;
}

}  // extern "C"
