// The aircraft's modules as the host tools know them: the receivers each answers for and the
// messages it streams, one row a module. The virtual aircraft builds a model for every row that
// has one, the scenario reader takes the names, commands and streams a scenario may change from
// here, the link reference has a section per row and the live page groups the link's messages by
// row. A module's messages are the table's rows whose names start with its name and a dot.
#pragma once

#include <span>
#include <string_view>

#include "link_messages.h"

namespace cw::trace {

// A message a module pushes at a steady rate, and that rate (scenarios change it).
struct Stream {
    const Message *push;
    double hz;
};

struct Module {
    std::string_view name;  // as scenarios and the aircraft's lines name it
    const char *title;      // its section's title in the link reference
    int section;            // the place of that section in the reference
    bool modelled;          // the virtual aircraft flies a model of it (every row but the common queries)
    std::span<const uint16_t> receivers;
    std::span<const Stream> streams;

    bool serves(uint16_t receiver) const {
        for (const uint16_t r : receivers) {
            if (r == receiver) {
                return true;
            }
        }
        return false;
    }
};

namespace modules {

consteval Stream every(std::string_view push, double hz) { return {&named(push, Dir::Push), hz}; }

inline constexpr uint16_t kFlightRx[] = {kFlight};
inline constexpr Stream kFlightStreams[] = {every("flight.motor_state", 10), every("flight.fc_state", 10),
                                            every("flight.fc_sensor", 5)};
inline constexpr uint16_t kVisionRx[] = {kVision, kVisionResult, kQs160};
inline constexpr Stream kVisionStreams[] = {every("vision.nav_osd", 2), every("vision.pano_status", 5),
                                            every("vision.oa_result", 10), every("vision.qs_index", 2)};
inline constexpr uint16_t kCameraRx[] = {kCamera};
inline constexpr Stream kCameraStreams[] = {every("camera.data", 1), every("camera.status_data", 2),
                                            every("camera.lens_data", 1)};
inline constexpr uint16_t kGimbalRx[] = {kGimbal};
inline constexpr Stream kGimbalStreams[] = {every("gimbal.ctrl_info", 10), every("gimbal.info", 10)};
inline constexpr Stream kRcStreams[] = {every("rc.buttons", 5), every("rc.sticks", 20)};
inline constexpr uint16_t kWifiRx[] = {kWifi, kWifiChannel, kWifiPower};
inline constexpr uint16_t kBatteryRx[] = {kBattery};
inline constexpr uint16_t kQuickTestRx[] = {kQuickTest};
inline constexpr Stream kQuickTestStreams[] = {every("quicktest.proc_status", 1), every("quicktest.msg", 5)};

}  // namespace modules

// In the order the aircraft builds its models and scenarios list them.
inline constexpr Module kModules[] = {
    {"flight", "Flight controller", 0, true, modules::kFlightRx, modules::kFlightStreams},
    {"vision", "Vision processor", 3, true, modules::kVisionRx, modules::kVisionStreams},
    {"camera", "Main camera", 4, true, modules::kCameraRx, modules::kCameraStreams},
    {"gimbal", "Gimbal", 5, true, modules::kGimbalRx, modules::kGimbalStreams},
    {"rc", "Remote controller", 6, true, {}, modules::kRcStreams},
    {"wifi", "Wi-Fi module", 7, true, modules::kWifiRx, {}},
    {"battery", "Battery", 8, true, modules::kBatteryRx, {}},
    {"quicktest", "Quick-test service", 2, true, modules::kQuickTestRx, modules::kQuickTestStreams},
    {"common", "Every module: identity", 1, false, {}, {}},
};

// Whether a message of the table is one of the module's (by its name).
constexpr bool belongs(const Message &msg, const Module &mod) {
    const std::string_view name = msg.name;
    return name.substr(0, name.find('.')) == mod.name;
}

consteval bool streams_own_messages() {
    for (const Module &m : kModules) {
        for (const Stream &s : m.streams) {
            if (!belongs(*s.push, m)) {
                return false;
            }
        }
    }
    return true;
}
static_assert(streams_own_messages(), "a module streams only messages named after it");

// The module a message of the table is one of, or nullptr.
constexpr const Module *module_of(const Message &msg) {
    for (const Module &m : kModules) {
        if (belongs(msg, m)) {
            return &m;
        }
    }
    return nullptr;
}

}  // namespace cw::trace
