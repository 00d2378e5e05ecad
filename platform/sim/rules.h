// The referee's rules: every item of a flight report carries one, and a team may waive one it breaks
// on purpose (--allow, a scenario's [referee] allow). Read by the referee and the scenario reader.
#pragma once

#include <string>
#include <string_view>

namespace sim {

struct RefereeRule {
    const char *name;
    const char *meaning;
};

// clang-format off
inline constexpr RefereeRule kRefereeRules[] = {
    {"take-off-without-control",
     "a take-off ordered without holding control: the flight controller ignores it"},
    {"steering-without-control",
     "steering sent without holding control: the flight controller ignores it"},
    {"ended-in-the-air",
     "the application holding control ended with the aircraft off the ground"},
    {"ended-with-control",
     "the application ended without releasing control"},
    {"vanished",
     "the application crashed or was killed instead of ending"},
    {"cut",
     "the aircraft cut the application off: a malformed frame, or what it was sent left unread"},
    {"no-module",
     "a request sent to a receiver where no module listens"},
    {"unserved-command",
     "a command the addressed module does not serve: no answer comes"},
    {"stream-without-handler",
     "a stream asked for (subscribed, or a mission started) with no handler registered"},
    {"registered-not-subscribed",
     "a handler registered for a stream that was never subscribed: it reads nothing"},
    {"steering-beyond-envelope",
     "steering beyond the flight controller's speed or yaw-rate limits: carried out at the limit"},
    {"gimbal-beyond-envelope",
     "a gimbal angle beyond the gimbal's limits: carried out at the limit"},
    {"flew-on-low-battery",
     "climbing or flying away from home below the low battery level"},
    {"value-not-accepted",
     "a mode, flag or type byte outside the values the module accepts: ignored (note)"},
    {"refused",
     "a command the module refused (control held by another application, camera busy, ...) (note)"},
    {"stream-dropped",
     "a stream the application did not ask for, pushed with no handler (note)"},
    {"time-drift",
     "the application's clock may not have followed the aircraft's: a timer the stand-in does not scale, or a "
     "speed other than 1 without the aircraft's clock preloaded (note)"},
    {"scenario-fault",
     "an answer the scenario refused, delayed, cut short or left out (note)"},
};
// clang-format on

inline bool known_rule(std::string_view name) {
    for (const RefereeRule &r : kRefereeRules) {
        if (name == r.name) {
            return true;
        }
    }
    return false;
}

// A comma-separated list of rule names (--allow, MBUS_ALLOW) added to `rules`; false with the
// unknown name in `error`.
template <class Set>
bool parse_rules(std::string_view list, Set &rules, std::string &error) {
    while (!list.empty()) {
        const size_t comma = list.find(',');
        const std::string_view name = list.substr(0, comma);
        if (!known_rule(name)) {
            error = "unknown rule \"" + std::string(name) + "\"";
            return false;
        }
        rules.insert(std::string(name));
        list = comma == std::string_view::npos ? std::string_view() : list.substr(comma + 1);
    }
    return true;
}

// The rules' names, for an error naming the known ones.
inline std::string known_rules() {
    std::string all = "known:";
    for (const RefereeRule &r : kRefereeRules) {
        all += std::string(" ") + r.name;
    }
    return all;
}

}  // namespace sim
