// Scenario files, parsed with toml++. Every key is checked: a misspelt key or module is an error
// naming its line, so that a fault meant for the flight is never silently ignored.
#include "scenario.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <span>

#include <toml++/toml.h>

#include "link_capture.h"
#include "link_messages.h"
#include "link_modules.h"
#include "mbus.h"
#include "replay.h"
#include "rules.h"

namespace sim {

namespace trace = cw::trace;

namespace {

// The commands a module serves: the table's requests to its receivers, and the version query
// every module with a receiver answers.
std::vector<Served> served_commands(std::span<const uint16_t> receivers) {
    std::vector<Served> served;
    for (const trace::Message &m : trace::kMessages) {
        const bool mine = std::find(receivers.begin(), receivers.end(), m.receiver) != receivers.end();
        const bool anyone = m.receiver == trace::kAnyReceiver && !receivers.empty();
        const bool listed =
            std::any_of(served.begin(), served.end(), [&](const Served &c) { return c.set == m.set && c.id == m.id; });
        if (m.dir == trace::Dir::Request && (mine || anyone) && !listed) {
            served.push_back({m.set, m.id, m.name});
        }
    }
    std::sort(served.begin(), served.end(),
              [](const Served &a, const Served &b) { return a.set != b.set ? a.set < b.set : a.id < b.id; });
    return served;
}

// Every key a scenario may hold: the reader's list (it takes each number's range from here and
// names the known keys from here) and the Scenarios reference's (scenario_reference()).
struct Key {
    const char *section;  // "" for the top level, else the table: battery, wind, event
    const char *name;
    double lo, hi;                // a number's range; lo > hi: not a number
    double Scenario::*field;      // [battery] and [wind]: where the value goes
    const char *value, *meaning;  // for the reference
};
constexpr double kText = 1, kNotNumber = 0;  // lo, hi of a key that is not a number

const Key kKeys[] = {
    {"", "speed", 0.01, 100, nullptr, "number",
     "the aircraft's clock against the wall clock (default 1; `cirrow-sim --speed` and `MBUS_SIM_SPEED` "
     "override it)"},
    {"", "replay", kText, kNotNumber, nullptr, "text: a capture file",
     "a capture (written with `MBUS_PCAP`) whose pushes are sent again at their recorded times, counted from "
     "its first record; the modules whose pushes it holds push nothing of their own, and every request is "
     "still answered. A relative path is from the scenario's folder"},
    {"battery", "start", 0, 100, &Scenario::battery_start, "number, percent", "the charge at the start (default 96)"},
    {"battery", "drain", 0, 100, &Scenario::battery_drain, "number, percent per minute",
     "the drain in the air, more in the climb, none on the ground (default 3)"},
    {"battery", "low_at", 0, 86400, &Scenario::low_battery_at, "number, seconds",
     "on the aircraft's clock: the charge falls to `low` (default: never)"},
    {"battery", "low", 0, 100, &Scenario::battery_low, "number, percent",
     "the charge at `low_at` (default 15, under the applications' landing level 19); the flight controller "
     "warns at it, and climbing or flying away from home below it is a mistake"},
    {"battery", "critical", 0, 100, &Scenario::battery_critical, "number, percent",
     "at this charge the flight controller lands by itself (default 10)"},
    {"limits", "horizontal_speed", 0.1, 50, &Scenario::max_horizontal, "number, m/s",
     "steering faster (north and east together) is flown at this speed, with a line and a mistake (default 10)"},
    {"limits", "climb_speed", 0.1, 20, &Scenario::max_climb, "number, m/s", "the same for climbing (default 4)"},
    {"limits", "descent_speed", 0.1, 20, &Scenario::max_descent, "number, m/s", "the same for descending (default 3)"},
    {"limits", "yaw_rate", 1, 1000, &Scenario::max_yaw_rate, "number, deg/s",
     "the same for the yaw rate, either way (default 150)"},
    {"limits", "steering_hold", 0.05, 60, &Scenario::steering_hold, "number, seconds",
     "how long a steering command holds; with no new one the aircraft brakes to a hover (default 0.5)"},
    {"limits", "gimbal_pitch_min", -180, 0, &Scenario::gimbal_min_pitch, "number, degrees",
     "a gimbal angle beyond its axis's limits is turned to the limit, with a line and a mistake (default -90)"},
    {"limits", "gimbal_pitch_max", 0, 180, &Scenario::gimbal_max_pitch, "number, degrees", "(default 30)"},
    {"limits", "gimbal_roll_min", -180, 0, &Scenario::gimbal_min_roll, "number, degrees", "(default -45)"},
    {"limits", "gimbal_roll_max", 0, 180, &Scenario::gimbal_max_roll, "number, degrees", "(default 45)"},
    {"limits", "gimbal_yaw_min", -360, 0, &Scenario::gimbal_min_yaw, "number, degrees", "(default -320)"},
    {"limits", "gimbal_yaw_max", 0, 360, &Scenario::gimbal_max_yaw, "number, degrees", "(default 320)"},
    {"failsafe", "grace", 0, 600, &Scenario::failsafe_grace, "number, seconds",
     "how long the flight controller waits, once the application holding control is gone in the air, before "
     "it lands by itself (default 3)"},
    {"failsafe", "action", kText, kNotNumber, nullptr, "`land` or `return`",
     "what it does then: land where it is, or fly home first and land (default `land`)"},
    {"referee", "allow", kText, kNotNumber, nullptr, "list of rule names",
     "the referee's rules waived (the README lists them): their items stay in the report, marked, and never "
     "fail `--strict`"},
    {"wind", "north", -30, 30, &Scenario::wind_north, "number, m/s", "a steady drift north in the air (default 0)"},
    {"wind", "east", -30, 30, &Scenario::wind_east, "number, m/s", "a steady drift east in the air (default 0)"},
    {"event", "time", 0, 86400, nullptr, "number, seconds",
     "when the event starts, on the aircraft's clock (default 0)"},
    {"event", "module", kText, kNotNumber, nullptr, "text", "the module it changes (required; see \"Modules\")"},
    {"event", "answer", kText, kNotNumber, nullptr, "`normal`, `refuse`, `late`, `short` or `silent`",
     "how the module answers from then on (an event sets `answer` or `rate`)"},
    {"event", "command", kText, kNotNumber, nullptr, "text `\"set/id\"`",
     "with `answer`: only this command, one the module serves (default: every command)"},
    {"event", "byte", 0, 255, nullptr, "number", "with `answer = \"refuse\"`: the result byte (default 1)"},
    {"event", "delay_ms", 0, 60000, nullptr, "number, ms",
     "with `answer = \"late\"`: how long answers take (default: longer than any timeout)"},
    {"event", "length", 0, MBUS_LINK_MAX_PAYLOAD, nullptr, "number, bytes",
     "with `answer = \"short\"`: how many answer bytes arrive (default 0)"},
    {"event", "rate", 0, 1000, nullptr, "number, per second",
     "the module's pushes from then on; 0 stops them (an event sets `answer` or `rate`)"},
    {"event", "push", kText, kNotNumber, nullptr, "text, a message name",
     "with `rate`: only this message, one the module streams (default: all of them)"},
};

struct Bad {
    int line;
    std::string what;
};

std::string shortest(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", v);
    return text;
}

// What a scenario file may be before toml++ sees it: a parser that recurses into dotted keys and
// nested values must never meet a file made to exhaust its stack.
constexpr size_t kMaxScenarioBytes = 1u << 20;
constexpr size_t kMaxKeyParts = 16;
constexpr size_t kMaxKeyBytes = 256;
constexpr size_t kMaxNesting = 32;

// Where a UTF-8 sequence is malformed (overlong, a surrogate, past U+10FFFF, cut short), or npos.
size_t bad_utf8(std::string_view s) {
    for (size_t i = 0; i < s.size();) {
        const auto b = static_cast<unsigned char>(s[i]);
        const size_t n = b < 0x80 ? 1 : (b >> 5) == 6 ? 2 : (b >> 4) == 14 ? 3 : (b >> 3) == 30 ? 4 : 0;
        if (n == 0 || i + n > s.size()) {
            return i;
        }
        uint32_t cp = n == 1 ? b : b & (0x7F >> n);
        for (size_t k = 1; k < n; ++k) {
            const auto c = static_cast<unsigned char>(s[i + k]);
            if ((c >> 6) != 2) {
                return i;
            }
            cp = cp << 6 | (c & 0x3F);
        }
        static constexpr uint32_t kMin[] = {0, 0, 0x80, 0x800, 0x10000};
        if (cp < kMin[n] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
            return i;
        }
        i += n;
    }
    return std::string_view::npos;
}

// Checks the keys' lengths and parts and the values' nesting, outside strings and comments.
void check_shape(std::string_view s) {
    int line = 1;
    std::string open;    // the [ and { open in a value
    bool in_key = true;  // in a key (before its =, in a [table] header)
    size_t parts = 1, key_bytes = 0;
    const auto new_key = [&](bool key) {
        in_key = key;
        parts = 1;
        key_bytes = 0;
    };
    for (size_t i = 0; i < s.size(); ++i) {
        const char c = s[i];
        if (c == '\n') {
            ++line;
            new_key(open.empty());
            continue;
        }
        if (c == '#') {
            while (i + 1 < s.size() && s[i + 1] != '\n') {
                ++i;
            }
            continue;
        }
        if (static_cast<unsigned char>(c) >= 0x80) {
            // Only strings and comments may hold other characters; toml++ trips on some of them.
            throw Bad{line, "a character that is not ASCII outside a string or a comment"};
        }
        if (c == '"' || c == '\'') {
            // A string, one-line or multi-line (three quotes), with escapes in basic strings.
            const std::string quotes(3, c);
            const bool multi = s.substr(i, 3) == quotes;
            const size_t from = i;
            i += multi ? 3 : 1;
            while (i < s.size() && !(multi ? s.substr(i, 3) == quotes : s[i] == c)) {
                i += s[i] == '\\' && c == '"' ? 2 : 1;
                line += i - 1 < s.size() && s[i - 1] == '\n' ? 1 : 0;
            }
            i += multi ? 2 : 0;
            key_bytes += in_key ? i - from : 0;
        } else if (in_key && c == '=') {
            in_key = false;
        } else if (in_key && c == '.') {
            ++parts;
        } else if (!in_key && (c == '[' || c == '{')) {
            open += c;
            new_key(c == '{');  // an inline table's keys follow its {
        } else if (!in_key && (c == ']' || c == '}') && !open.empty()) {
            open.pop_back();
        } else if (!in_key && c == ',' && !open.empty() && open.back() == '{') {
            new_key(true);
        }
        key_bytes += in_key ? 1 : 0;
        if (parts > kMaxKeyParts) {
            throw Bad{line, "a key of more than " + std::to_string(kMaxKeyParts) + " dotted parts"};
        }
        if (key_bytes > kMaxKeyBytes) {
            throw Bad{line, "a key too long (over " + std::to_string(kMaxKeyBytes) + " bytes)"};
        }
        if (open.size() > kMaxNesting) {
            throw Bad{line, "values nested deeper than " + std::to_string(kMaxNesting) + " levels"};
        }
    }
}

int line_of(const toml::node &n) { return static_cast<int>(n.source().begin.line); }

// Every problem of a file is reported, not only the first: each check runs on its own and what it
// throws is kept.
using Problems = std::vector<Bad>;
template <class F>
void collect(Problems &bad, F &&check) {
    try {
        check();
    } catch (const Bad &b) {
        bad.push_back(b);
    }
}

template <class T>
T need(const toml::node &n, const char *key, const char *kind) {
    const auto v = n.value<T>();
    if (!v) {
        throw Bad{line_of(n), std::string(key) + " must be " + kind};
    }
    return *v;
}

double number(const toml::node &n, const char *key, double lo, double hi) {
    const double v = need<double>(n, key, "a number");
    if (!std::isfinite(v)) {
        throw Bad{line_of(n), std::string(key) + " = " +
                                  (std::isnan(v) ? "nan"
                                   : v > 0       ? "inf"
                                                 : "-inf") +
                                  " is not a number from " + shortest(lo) + " to " + shortest(hi)};
    }
    if (v < lo || v > hi) {
        char msg[128];
        std::snprintf(msg, sizeof msg, "%s = %g is outside %g..%g", key, v, lo, hi);
        throw Bad{line_of(n), msg};
    }
    return v;
}

// A number key of `section`, within its range in kKeys.
double number(const toml::node &n, std::string_view section, const char *key) {
    for (const Key &k : kKeys) {
        if (section == k.section && std::string_view(key) == k.name) {
            return number(n, key, k.lo, k.hi);
        }
    }
    throw Bad{line_of(n), std::string("no range for ") + key};  // a key missing from kKeys: a bug here
}

// The keys of `section`, as the known ones in an error.
std::vector<std::string> keys_of(std::string_view section) {
    std::vector<std::string> names;
    for (const Key &k : kKeys) {
        if (section == k.section) {
            names.emplace_back(k.name);
        }
    }
    return names;
}

Answer answer_of(const toml::node &n) {
    static const std::pair<const char *, Answer> kNames[] = {{"normal", Answer::Normal},
                                                             {"refuse", Answer::Refuse},
                                                             {"late", Answer::Late},
                                                             {"short", Answer::Short},
                                                             {"silent", Answer::Silent}};
    const std::string s = need<std::string>(n, "answer", "a text");
    for (const auto &[name, a] : kNames) {
        if (s == name) {
            return a;
        }
    }
    throw Bad{line_of(n), "answer \"" + s + "\" is not one of normal, refuse, late, short, silent"};
}

std::string listed(const std::vector<std::string> &names) {
    std::string all;
    for (const std::string &n : names) {
        all += (all.empty() ? "" : ", ") + n;
    }
    return all;
}

std::string listed(const std::vector<Served> &commands) {
    std::string all;
    for (const Served &c : commands) {
        all += (all.empty() ? "" : ", ") + std::to_string(c.set) + "/" + std::to_string(c.id) + " " + c.name;
    }
    return all.empty() ? "none" : all;
}

// A key that only means something with one kind of answer.
void only_with(const Event &e, Answer a, int line, const char *key, const char *answer) {
    if (line != 0 && (!e.sets_answer || e.answer != a)) {
        throw Bad{line, std::string(key) + " applies to answer = \"" + answer + "\" only"};
    }
}

Event event_of(const toml::table &t, const std::vector<ModuleNames> &modules, Problems &bad) {
    const ModuleNames *module = nullptr;
    int push_line = 0, command_line = 0, byte_line = 0, delay_line = 0, length_line = 0;
    Event e;
    e.line = line_of(t);
    for (const auto &[key, value] : t) {
        const std::string k(key.str());
        const toml::node &node = value;  // clang 14's lambdas cannot capture a structured binding
        collect(bad, [&] {
            if (k == "time") {
                e.time = number(node, "event", "time");
            } else if (k == "module") {
                e.module = need<std::string>(node, "module", "a text");
                std::vector<std::string> known;
                for (const ModuleNames &m : modules) {
                    known.push_back(m.name);
                    module = m.name == e.module ? &m : module;
                }
                if (module == nullptr) {
                    throw Bad{line_of(node), "unknown module \"" + e.module + "\" (known: " + listed(known) + ")"};
                }
            } else if (k == "answer") {
                e.sets_answer = true;
                e.answer = answer_of(node);
            } else if (k == "command") {
                const std::string c = need<std::string>(node, "command", "a text \"set/id\"");
                unsigned set = 0, id = 0;
                char tail = 0;
                if (std::sscanf(c.c_str(), "%u/%u%c", &set, &id, &tail) != 2 || set > 255 || id > 255) {
                    throw Bad{line_of(node), "command \"" + c + "\" is not set/id (two numbers 0..255)"};
                }
                e.set = static_cast<int>(set);
                e.id = static_cast<int>(id);
                command_line = line_of(node);
            } else if (k == "byte") {
                e.byte = static_cast<uint8_t>(number(node, "event", "byte"));
                byte_line = line_of(node);
            } else if (k == "delay_ms") {
                e.delay_ms = static_cast<uint32_t>(number(node, "event", "delay_ms"));
                delay_line = line_of(node);
            } else if (k == "length") {
                e.length = static_cast<uint32_t>(number(node, "event", "length"));
                length_line = line_of(node);
            } else if (k == "rate") {
                e.sets_rate = true;
                e.hz = number(node, "event", "rate");
            } else if (k == "push") {
                e.push = need<std::string>(node, "push", "a message name such as \"flight.fc_state\"");
                push_line = line_of(node);
            } else {
                throw Bad{line_of(node),
                          "unknown key \"" + k + "\" in [[event]] (known: " + listed(keys_of("event")) + ")"};
            }
        });
    }
    const size_t before = bad.size();
    collect(bad, [&] {
        if (e.module.empty()) {
            throw Bad{e.line, "[[event]] without module"};
        }
    });
    collect(bad, [&] {
        if (e.sets_answer == e.sets_rate) {
            throw Bad{e.line, "[[event]] needs exactly one of answer or rate"};
        }
    });
    collect(bad, [&] { only_with(e, Answer::Refuse, byte_line, "byte", "refuse"); });
    collect(bad, [&] { only_with(e, Answer::Late, delay_line, "delay_ms", "late"); });
    collect(bad, [&] { only_with(e, Answer::Short, length_line, "length", "short"); });
    collect(bad, [&] {
        if (command_line != 0 && !e.sets_answer) {
            throw Bad{command_line, "command applies to an answer only (a rate changes a push)"};
        }
    });
    if (module == nullptr || bad.size() != before) {
        return e;  // what the module serves means nothing for an event already wrong
    }
    collect(bad, [&] {  // the module serves the command and streams the push it is given
        const auto &cmds = module->commands;
        if (command_line != 0 &&
            std::none_of(cmds.begin(), cmds.end(), [&](const Served &c) { return c.set == e.set && c.id == e.id; })) {
            throw Bad{command_line, e.module + " serves no command " + std::to_string(e.set) + "/" +
                                        std::to_string(e.id) + " (it serves: " + listed(cmds) + ")"};
        }
        if (e.sets_answer && module->commands.empty()) {
            throw Bad{e.line, e.module + " serves no command: only its pushes' rate can change"};
        }
        if (!e.push.empty() && !e.sets_rate) {
            throw Bad{push_line, "push applies to a rate only"};
        }
        const auto &pushes = module->pushes;
        if (e.sets_rate && pushes.empty()) {
            throw Bad{e.line, e.module + " streams nothing: only its answers can change"};
        }
        if (!e.push.empty() && std::find(pushes.begin(), pushes.end(), e.push) == pushes.end()) {
            throw Bad{push_line, e.module + " pushes no \"" + e.push + "\" (it pushes: " + listed(pushes) + ")"};
        }
    });
    return e;
}

// A table of numbers ([battery], [wind]): each key to its field, within its range.
void numbers_of(const toml::node &node, const char *table, Scenario &out, Problems &bad) {
    const toml::table *t = node.as_table();
    const std::vector<std::string> known = keys_of(table);
    if (t == nullptr) {
        throw Bad{line_of(node), std::string(table) + " must be a table ([" + table + "]) of " + listed(known)};
    }
    for (const auto &[key, value] : *t) {
        const std::string_view name = key.str();  // clang 14's lambdas cannot capture a structured binding
        const toml::node &item = value;
        collect(bad, [&] {
            const Key *k = std::find_if(std::begin(kKeys), std::end(kKeys), [&](const Key &c) {
                return table == std::string_view(c.section) && name == c.name;
            });
            if (k == std::end(kKeys)) {
                throw Bad{line_of(item), "unknown key \"" + std::string(name) + "\" in [" + table +
                                             "] (known: " + listed(known) + ")"};
            }
            out.*(k->field) = number(item, k->name, k->lo, k->hi);
        });
    }
}

const toml::table &table_of(const toml::node &node, const char *table, const char *keys) {
    const toml::table *t = node.as_table();
    if (t == nullptr) {
        throw Bad{line_of(node), std::string(table) + " must be a table ([" + table + "]) of " + keys};
    }
    return *t;
}

// [failsafe]: how long the flight controller waits for a controller gone, and what it does then.
void failsafe_of(const toml::node &node, Scenario &out) {
    for (const auto &[key, value] : table_of(node, "failsafe", "grace, action")) {
        const std::string k(key.str());
        if (k == "grace") {
            out.failsafe_grace = number(value, "failsafe", "grace");
        } else if (k == "action") {
            const std::string a = need<std::string>(value, "action", "a text");
            if (a != "land" && a != "return") {
                throw Bad{line_of(value), "action \"" + a + "\" is not one of land, return"};
            }
            out.failsafe_return = a == "return";
        } else {
            throw Bad{line_of(value), "unknown key \"" + k + "\" in [failsafe] (known: grace, action)"};
        }
    }
}

// [referee]: the rules waived.
void referee_of(const toml::node &node, Scenario &out) {
    for (const auto &[key, value] : table_of(node, "referee", "allow")) {
        if (key.str() != "allow") {
            throw Bad{line_of(value), "unknown key \"" + std::string(key.str()) + "\" in [referee] (known: allow)"};
        }
        const toml::array *list = value.as_array();
        if (list == nullptr) {
            throw Bad{line_of(value), "allow must be a list of rule names, such as [\"ended-in-the-air\"]"};
        }
        for (const toml::node &r : *list) {
            const std::string name = need<std::string>(r, "allow", "a list of rule names");
            if (!known_rule(name)) {
                throw Bad{line_of(r), "allow: unknown rule \"" + name + "\" (" + known_rules() + ")"};
            }
            out.allow.push_back(name);
        }
    }
}

// A capture named by the scenario, from the scenario's folder unless absolute.
std::string beside(const std::string &scenario, const std::string &file) {
    const size_t slash = scenario.rfind('/');
    return file.empty() || file[0] == '/' || slash == std::string::npos ? file : scenario.substr(0, slash + 1) + file;
}

}  // namespace

std::vector<ModuleNames> aircraft_modules() {
    std::vector<ModuleNames> modules;
    for (const trace::Module &m : trace::kModules) {
        if (!m.modelled) {
            continue;
        }
        std::vector<std::string> streams;
        for (const trace::Stream &st : m.streams) {
            streams.emplace_back(st.push->name);
        }
        modules.push_back({std::string(m.name), served_commands(m.receivers), std::move(streams)});
    }
    return modules;
}

std::string scenario_reference() {
    std::string md =
        "# Scenarios\n\n"
        "A scenario (TOML) sets the battery, the wind, the envelope, the failsafe, the referee's waivers and a flight "
        "to replay, and changes the modules' answers "
        "and pushes over time. `cirrow-sim [scenario.toml] -- app`, `cirrow-aircraft --scenario FILE` and "
        "`MBUS_SCENARIO=FILE` fly it; `cirrow-sim --check FILE` checks it alone and names every problem as "
        "`file:line: problem`, in the file's order. Every key is checked: a key that is not listed here, or one "
        "that does not apply (`byte` without `answer = \"refuse\"`), is an error. Generated from the scenario "
        "reader's own list of keys and the link's message table.\n";
    const std::pair<const char *, const char *> sections[] = {
        {"", "## Top level"},
        {"battery", "## [battery]"},
        {"wind", "## [wind]"},
        {"limits",
         "## [limits]\n\nThe flight controller's and the gimbal's envelope, for a team to match its aircraft."},
        {"failsafe", "## [failsafe]"},
        {"referee", "## [referee]"},
        {"event", "## [[event]]\n\nAny number of them, in any order: each changes one module from its `time` on."}};
    char range[64];
    for (const auto &[section, heading] : sections) {
        md += std::string("\n") + heading + "\n\n| key | value | range | meaning |\n|---|---|---|---|\n";
        for (const Key &k : kKeys) {
            if (std::string_view(section) != k.section) {
                continue;
            }
            range[0] = '\0';
            if (k.lo <= k.hi) {
                std::snprintf(range, sizeof range, "%g to %g", k.lo, k.hi);
            }
            md += std::string("| `") + k.name + "` | " + k.value + " | " + range + " | " + k.meaning + " |\n";
        }
    }
    md +=
        "\n## Modules\n\nWhat `module` may name, the commands each serves (`command`, as `set/id` and its name in "
        "the link's message table) and the messages it streams (`push`).\n\n"
        "| module | commands | pushes |\n|---|---|---|\n";
    for (const ModuleNames &m : aircraft_modules()) {
        std::string commands, pushes;
        for (const Served &c : m.commands) {
            commands +=
                (commands.empty() ? "`" : ", `") + std::to_string(c.set) + "/" + std::to_string(c.id) + "` " + c.name;
        }
        for (const std::string &p : m.pushes) {
            pushes += (pushes.empty() ? "`" : ", `") + p + "`";
        }
        md += "| `" + m.name + "` | " + (commands.empty() ? "none" : commands) + " | " +
              (pushes.empty() ? "none" : pushes) + " |\n";
    }
    return md;
}

bool load_scenario(const std::string &path, Scenario &out, std::string &error) {
    const std::vector<ModuleNames> modules = aircraft_modules();
    out = Scenario{};
    int replay_line = 0;
    out.file = path;
    Problems bad;
    std::string text;
    if (!cw::trace::read_input_file(path, kMaxScenarioBytes, text, error)) {
        return false;
    }
    try {
        // What toml++ must never see: bytes that are not UTF-8, keys and nesting beyond the limits.
        if (const size_t at = bad_utf8(text); at != std::string_view::npos) {
            throw Bad{
                static_cast<int>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n')) + 1,
                "not valid UTF-8 (byte " + std::to_string(at) + ")"};
        }
        check_shape(text);
        const toml::table doc = toml::parse(text, path);
        for (const auto &[key, value] : doc) {
            const std::string k(key.str());
            const toml::node &node = value;  // clang 14's lambdas cannot capture a structured binding
            collect(bad, [&] {
                if (k == "speed") {
                    out.speed = number(node, "", "speed");
                } else if (k == "event") {
                    const toml::array *list = node.as_array();
                    if (list == nullptr || !list->is_array_of_tables()) {
                        throw Bad{line_of(node), "event must be a list of tables ([[event]])"};
                    }
                    for (const toml::node &e : *list) {
                        out.events.push_back(event_of(*e.as_table(), modules, bad));
                    }
                } else if (k == "battery") {
                    numbers_of(node, "battery", out, bad);
                } else if (k == "wind") {
                    numbers_of(node, "wind", out, bad);
                } else if (k == "limits") {
                    numbers_of(node, "limits", out, bad);
                } else if (k == "failsafe") {
                    failsafe_of(node, out);
                } else if (k == "referee") {
                    referee_of(node, out);
                } else if (k == "replay") {
                    out.replay = beside(path, need<std::string>(node, "replay", "a capture file name"));
                    replay_line = line_of(node);
                    if (out.replay.empty()) {
                        throw Bad{line_of(node), "replay must name a capture file"};
                    }
                } else {
                    throw Bad{line_of(node), "unknown key \"" + k +
                                                 "\" (known: speed, replay, [battery], [wind], [limits], [failsafe], "
                                                 "[referee], [[event]])"};
                }
            });
        }
        std::string why;
        if (replay_line != 0 && !Replay().open(out.replay, why)) {
            bad.push_back(Bad{replay_line, why});
        }
    } catch (const toml::parse_error &e) {
        error =
            path + ":" + std::to_string(e.source().begin.line) + ": not valid TOML: " + std::string(e.description());
        return false;
    } catch (const Bad &b) {  // the file's shape, before it is parsed
        error = path + ":" + std::to_string(b.line) + ": " + b.what;
        return false;
    }
    if (!bad.empty()) {
        // One line per problem, in the file's order (the reader visits keys in name order).
        std::stable_sort(bad.begin(), bad.end(), [](const Bad &a, const Bad &b) { return a.line < b.line; });
        error.clear();
        for (const Bad &b : bad) {
            error += (error.empty() ? "" : "\n") + path + ":" + std::to_string(b.line) + ": " + b.what;
        }
        return false;
    }
    std::stable_sort(out.events.begin(), out.events.end(),
                     [](const Event &a, const Event &b) { return a.time < b.time; });
    return true;
}

}  // namespace sim
