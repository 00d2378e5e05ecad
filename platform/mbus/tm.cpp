// Named messages to other threads, with receivers and faults installed by the control API.
#include <algorithm>
#include <cstring>

#include "host.h"

using mbus::copy_text;
using mbus::Receiver;
using mbus::st;
using mbus::State;

extern "C" {

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

}  // extern "C"
