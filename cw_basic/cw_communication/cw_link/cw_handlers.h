// Push handler registration: a module's handlers are one constexpr table of {row, handler},
// registered and unregistered in table order.
#pragma once

#include <cstdint>
#include <span>

#include "cw_messages.h"
#include "mbus.h"

namespace cw {

struct PushHandler {
    constexpr PushHandler(const link::Message &row, mbus_v1_cb_t handler)
        : cmd_set(row.set), cmd_id(row.id), cb(handler) {}
    uint8_t cmd_set;
    uint8_t cmd_id;
    mbus_v1_cb_t cb;
};

// The middleware's answers are not examined: registration always reports 0.
inline int32_t register_handlers(std::span<const PushHandler> table) {
    for (const PushHandler &h : table) {
        mbus_link_register_v1_callback(h.cmd_set, h.cmd_id, h.cb);
    }
    return 0;
}

inline int32_t unregister_handlers(std::span<const PushHandler> table) {
    for (const PushHandler &h : table) {
        mbus_link_unregister_v1_callback(h.cmd_set, h.cmd_id, h.cb);
    }
    return 0;
}

}  // namespace cw
