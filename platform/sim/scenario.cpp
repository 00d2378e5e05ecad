// Scenario files, parsed with toml++. Every key is checked: a misspelt key or module is an error
// naming its line, so that a fault meant for the flight is never silently ignored.
#include "scenario.h"

#include <algorithm>
#include <cstdio>

#include <toml++/toml.h>

#include "link_messages.h"
#include "mbus.h"
#include "replay.h"
#include "rules.h"

namespace sim {

namespace trace = cw::trace;

namespace {

// The modules of the virtual aircraft: the receivers each answers on and the messages it streams
// (a scenario may change their rate).
struct ModuleRow {
    const char *name;
    std::vector<uint16_t> receivers;
    std::vector<std::string> streams;
};

const std::vector<ModuleRow> &module_rows() {
    static const std::vector<ModuleRow> kRows = {
        {"flight", {trace::kFlight}, {"flight.motor_state", "flight.fc_state", "flight.fc_sensor"}},
        {"vision",
         {trace::kVision, trace::kVisionResult, trace::kQs160},
         {"vision.nav_osd", "vision.pano_status", "vision.oa_result", "vision.qs_index"}},
        {"camera", {trace::kCamera}, {"camera.data", "camera.status_data", "camera.lens_data"}},
        {"gimbal", {trace::kGimbal}, {"gimbal.ctrl_info", "gimbal.info"}},
        {"rc", {}, {"rc.buttons", "rc.sticks"}},
        {"wifi", {trace::kWifi, trace::kWifiChannel, trace::kWifiPower}, {}},
        {"battery", {trace::kBattery}, {}},
        {"quicktest", {trace::kQuickTest}, {"quicktest.proc_status", "quicktest.msg"}},
    };
    return kRows;
}

// The commands a module serves: the table's requests to its receivers, and the version query
// every module with a receiver answers.
std::vector<Served> served_commands(const std::vector<uint16_t> &receivers) {
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

struct Bad {
    int line;
    std::string what;
};

int line_of(const toml::node &n) { return static_cast<int>(n.source().begin.line); }

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
    if (v < lo || v > hi) {
        char msg[128];
        std::snprintf(msg, sizeof msg, "%s = %g is outside %g..%g", key, v, lo, hi);
        throw Bad{line_of(n), msg};
    }
    return v;
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

Event event_of(const toml::table &t, const std::vector<ModuleNames> &modules) {
    const ModuleNames *module = nullptr;
    int push_line = 0, command_line = 0, byte_line = 0, delay_line = 0, length_line = 0;
    Event e;
    e.line = line_of(t);
    for (const auto &[key, node] : t) {
        const std::string k(key.str());
        if (k == "time") {
            e.time = number(node, "time", 0, 86400);
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
            e.byte = static_cast<uint8_t>(number(node, "byte", 0, 255));
            byte_line = line_of(node);
        } else if (k == "delay_ms") {
            e.delay_ms = static_cast<uint32_t>(number(node, "delay_ms", 0, 60000));
            delay_line = line_of(node);
        } else if (k == "length") {
            e.length = static_cast<uint32_t>(number(node, "length", 0, MBUS_LINK_MAX_PAYLOAD));
            length_line = line_of(node);
        } else if (k == "rate") {
            e.sets_rate = true;
            e.hz = number(node, "rate", 0, 1000);
        } else if (k == "push") {
            e.push = need<std::string>(node, "push", "a message name such as \"flight.fc_state\"");
            push_line = line_of(node);
        } else {
            throw Bad{line_of(node), "unknown key \"" + k + "\" in [[event]]"};
        }
    }
    if (e.module.empty()) {
        throw Bad{e.line, "[[event]] without module"};
    }
    if (e.sets_answer == e.sets_rate) {
        throw Bad{e.line, "[[event]] needs exactly one of answer or rate"};
    }
    only_with(e, Answer::Refuse, byte_line, "byte", "refuse");
    only_with(e, Answer::Late, delay_line, "delay_ms", "late");
    only_with(e, Answer::Short, length_line, "length", "short");
    if (command_line != 0 && !e.sets_answer) {
        throw Bad{command_line, "command applies to an answer only (a rate changes a push)"};
    }
    const auto &cmds = module->commands;
    if (command_line != 0 &&
        std::none_of(cmds.begin(), cmds.end(), [&](const Served &c) { return c.set == e.set && c.id == e.id; })) {
        throw Bad{command_line, e.module + " serves no command " + std::to_string(e.set) + "/" + std::to_string(e.id) +
                                    " (it serves: " + listed(cmds) + ")"};
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
    return e;
}

// A table of numbers ([battery], [wind]): each key to its field, within its range.
struct NumberKey {
    const char *key;
    double lo, hi;
    double Scenario::*field;
};

template <size_t N>
void numbers_of(const toml::node &node, const char *table, const NumberKey (&keys)[N], Scenario &out) {
    const toml::table *t = node.as_table();
    std::vector<std::string> known;
    for (const NumberKey &k : keys) {
        known.emplace_back(k.key);
    }
    if (t == nullptr) {
        throw Bad{line_of(node), std::string(table) + " must be a table ([" + table + "]) of " + listed(known)};
    }
    for (const auto &[key, value] : *t) {
        const std::string_view name = key.str();  // clang 14's lambdas cannot capture a structured binding
        const NumberKey *k = std::find_if(keys, keys + N, [name](const NumberKey &c) { return name == c.key; });
        if (k == keys + N) {
            throw Bad{line_of(value), "unknown key \"" + std::string(key.str()) + "\" in [" + table +
                                          "] (known: " + listed(known) + ")"};
        }
        out.*(k->field) = number(value, k->key, k->lo, k->hi);
    }
}

constexpr NumberKey kBattery[] = {{"start", 0, 100, &Scenario::battery_start},
                                  {"drain", 0, 100, &Scenario::battery_drain},
                                  {"low_at", 0, 86400, &Scenario::low_battery_at},
                                  {"low", 0, 100, &Scenario::battery_low},
                                  {"critical", 0, 100, &Scenario::battery_critical}};
constexpr NumberKey kLimits[] = {{"horizontal_speed", 0.1, 50, &Scenario::max_horizontal},
                                 {"climb_speed", 0.1, 20, &Scenario::max_climb},
                                 {"descent_speed", 0.1, 20, &Scenario::max_descent},
                                 {"yaw_rate", 1, 1000, &Scenario::max_yaw_rate},
                                 {"steering_hold", 0.05, 60, &Scenario::steering_hold},
                                 {"gimbal_pitch_min", -180, 0, &Scenario::gimbal_min_pitch},
                                 {"gimbal_pitch_max", 0, 180, &Scenario::gimbal_max_pitch},
                                 {"gimbal_roll_min", -180, 0, &Scenario::gimbal_min_roll},
                                 {"gimbal_roll_max", 0, 180, &Scenario::gimbal_max_roll},
                                 {"gimbal_yaw_min", -360, 0, &Scenario::gimbal_min_yaw},
                                 {"gimbal_yaw_max", 0, 360, &Scenario::gimbal_max_yaw}};
constexpr NumberKey kWind[] = {{"north", -30, 30, &Scenario::wind_north}, {"east", -30, 30, &Scenario::wind_east}};

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
            out.failsafe_grace = number(value, "grace", 0, 600);
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
    for (const ModuleRow &m : module_rows()) {
        modules.push_back({m.name, served_commands(m.receivers), m.streams});
    }
    return modules;
}

bool load_scenario(const std::string &path, Scenario &out, std::string &error) {
    const std::vector<ModuleNames> modules = aircraft_modules();
    out = Scenario{};
    int replay_line = 0;
    out.file = path;
    try {
        const toml::table doc = toml::parse_file(path);
        for (const auto &[key, node] : doc) {
            const std::string k(key.str());
            if (k == "speed") {
                out.speed = number(node, "speed", 0.01, 100);
            } else if (k == "event") {
                const toml::array *list = node.as_array();
                if (list == nullptr || !list->is_array_of_tables()) {
                    throw Bad{line_of(node), "event must be a list of tables ([[event]])"};
                }
                for (const toml::node &e : *list) {
                    out.events.push_back(event_of(*e.as_table(), modules));
                }
            } else if (k == "battery") {
                numbers_of(node, "battery", kBattery, out);
            } else if (k == "wind") {
                numbers_of(node, "wind", kWind, out);
            } else if (k == "limits") {
                numbers_of(node, "limits", kLimits, out);
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
                throw Bad{
                    line_of(node),
                    "unknown key \"" + k +
                        "\" (known: speed, replay, [battery], [wind], [limits], [failsafe], [referee], [[event]])"};
            }
        }
        std::string why;
        if (replay_line != 0 && !Replay().open(out.replay, why)) {
            throw Bad{replay_line, why};
        }
    } catch (const toml::parse_error &e) {
        error =
            path + ":" + std::to_string(e.source().begin.line) + ": not valid TOML: " + std::string(e.description());
        return false;
    } catch (const Bad &b) {
        error = path + ":" + std::to_string(b.line) + ": " + b.what;
        return false;
    }
    std::stable_sort(out.events.begin(), out.events.end(),
                     [](const Event &a, const Event &b) { return a.time < b.time; });
    return true;
}

}  // namespace sim
