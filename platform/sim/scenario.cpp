// Scenario files, parsed with toml++. Every key is checked: a misspelt key or module is an error
// naming its line, so that a fault meant for the flight is never silently ignored.
#include "scenario.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <toml++/toml.h>

#include "link_capture.h"
#include "link_messages.h"
#include "mbus.h"
#include "replay.h"

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
                                  {"low", 0, 100, &Scenario::battery_low}};
constexpr NumberKey kWind[] = {{"north", -30, 30, &Scenario::wind_north}, {"east", -30, 30, &Scenario::wind_east}};

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
    std::string text;
    if (!cw::trace::read_input_file(path, kMaxScenarioBytes, text, error)) {
        return false;
    }
    try {
        if (const size_t at = bad_utf8(text); at != std::string_view::npos) {
            throw Bad{
                static_cast<int>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n')) + 1,
                "not valid UTF-8 (byte " + std::to_string(at) + ")"};
        }
        check_shape(text);
        const toml::table doc = toml::parse(text, path);
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
            } else if (k == "replay") {
                out.replay = beside(path, need<std::string>(node, "replay", "a capture file name"));
                replay_line = line_of(node);
                if (out.replay.empty()) {
                    throw Bad{line_of(node), "replay must name a capture file"};
                }
            } else {
                throw Bad{line_of(node),
                          "unknown key \"" + k + "\" (known: speed, replay, [battery], [wind], [[event]])"};
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
