// The referee's record and its flight report, as text, JSON and JUnit XML.
#include "referee.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace sim {

void Referee::mistake(uint32_t app, double t, const char *rule, const std::string &what, const std::string &todo) {
    add(app, true, t, rule, what, todo);
}

void Referee::note(uint32_t app, double t, const char *rule, const std::string &what, const std::string &todo) {
    add(app, false, t, rule, what, todo);
}

void Referee::add(uint32_t app, bool mistake, double t, const char *rule, const std::string &what,
                  const std::string &todo) {
    std::string key = std::to_string(app) + (mistake ? " M " : " n ") + what;
    if (const auto found = index_.find(key); found != index_.end()) {
        ++items_[found->second].count;
        return;
    }
    if (kept_[app] >= kMaxItems) {
        Untold &u = untold_[app];
        ++(!mistake ? u.notes : allowed_.count(rule) != 0 ? u.waived : u.mistakes);
        return;
    }
    ++kept_[app];
    index_.emplace(std::move(key), items_.size());
    items_.push_back({app, mistake, t, rule, what, todo, 1});
}

Referee::Untold Referee::untold(uint32_t app) const {
    Untold all;
    for (const auto &[a, u] : untold_) {
        if (app == kEveryApp || a == app) {
            all.mistakes += u.mistakes, all.waived += u.waived, all.notes += u.notes;
        }
    }
    return all;
}

uint32_t Referee::mistakes(uint32_t app) const {
    uint32_t n = 0;
    for (const Item &i : items_) {
        n += i.mistake && !waived(i) && mine(i, app) ? 1 : 0;
    }
    return n + static_cast<uint32_t>(untold(app).mistakes);
}

std::string Referee::who(uint32_t app) const {
    const auto it = names_.find(app);
    return it != names_.end() ? it->second : app == 0 ? "the aircraft" : "application " + std::to_string(app);
}

std::string Referee::report(uint32_t app) const {
    size_t shown = 0, waived_n = 0;
    for (const Item &i : items_) {
        shown += mine(i, app) ? 1 : 0;
        waived_n += mine(i, app) && i.mistake && waived(i) ? 1 : 0;
    }
    const uint32_t m = mistakes(app);
    const bool named = app != kEveryApp && shared_;
    char line[160];
    const Untold more = untold(app);
    std::snprintf(line, sizeof line, "flight report%s%s: %u mistake(s), %llu note(s)", named ? " for " : "",
                  named ? who(app).c_str() : "", m,
                  static_cast<unsigned long long>(shown - (m - more.mistakes) - waived_n + more.notes));
    waived_n += more.waived;
    std::string out = line;
    out += waived_n != 0 ? ", " + std::to_string(waived_n) + " waived\n" : "\n";
    // Of every application (the aircraft's own report), each line names whom it is charged to.
    const bool many = app == kEveryApp && shared_;
    for (const bool mistakes_first : {true, false}) {
        for (const Item &i : items_) {
            if (i.mistake != mistakes_first || !mine(i, app)) {
                continue;
            }
            const char *label = !i.mistake ? "note" : waived(i) ? "waived" : "MISTAKE";
            std::snprintf(line, sizeof line, "  %-7s t=%.1f s: ", label, i.t);
            out += line;
            if (many) {
                out += who(i.app) + ": ";
            }
            out += i.what;
            if (i.count > 1) {
                out += " (" + std::to_string(i.count) + " times)";
            }
            out += " [" + i.rule + "]";
            out += i.todo.empty() ? "\n" : "\n      -> " + i.todo + "\n";
        }
    }
    if (more.mistakes + more.waived + more.notes > 0) {
        out += "  and " + std::to_string(more.mistakes) + " more mistake(s), " + std::to_string(more.waived) +
               " more waived and " + std::to_string(more.notes) + " more note(s) not listed (only the first " +
               std::to_string(kMaxItems) + " distinct items of an application are)\n";
    }
    return out;
}

namespace {

std::string json_text(const std::string &s) {
    std::string out = "\"";
    for (const char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char esc[8];
            std::snprintf(esc, sizeof esc, "\\u%04x", c);
            out += esc;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

std::string xml_text(const std::string &s) {
    std::string out;
    for (const char c : s) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += static_cast<unsigned char>(c) < 0x20 && c != '\n' ? ' ' : c;
        }
    }
    return out;
}

}  // namespace

// The applications a report covers, in the order they came (those with items included).
std::vector<uint32_t> Referee::apps(uint32_t app) const {
    std::vector<uint32_t> out;
    if (app != kEveryApp) {
        return {app};
    }
    for (const auto &[a, n] : names_) {
        out.push_back(a);
    }
    for (const Item &i : items_) {
        if (std::find(out.begin(), out.end(), i.app) == out.end()) {
            out.push_back(i.app);
        }
    }
    return out;
}

std::string Referee::json(uint32_t app) const {
    std::string out = "{\"mistakes\": " + std::to_string(mistakes(app)) + ", \"applications\": [";
    const char *sep = "";
    for (const uint32_t a : apps(app)) {
        out += sep;
        sep = ", ";
        out += "\n  {\"app\": " + std::to_string(a) + ", \"name\": " + json_text(who(a)) +
               ", \"mistakes\": " + std::to_string(mistakes(a)) + ", \"items\": [";
        const char *isep = "";
        for (const Item &i : items_) {
            if (i.app != a) {
                continue;
            }
            char t[32];
            std::snprintf(t, sizeof t, "%.3f", i.t);
            out += isep;
            isep = ",";
            out += "\n    {\"rule\": " + json_text(i.rule) + ", \"kind\": \"" + (i.mistake ? "mistake" : "note") +
                   "\", \"waived\": " + (i.mistake && waived(i) ? "true" : "false") + ", \"t\": " + t +
                   ", \"count\": " + std::to_string(i.count) + ", \"what\": " + json_text(i.what) +
                   ", \"todo\": " + json_text(i.todo) + "}";
        }
        out += "]}";
    }
    return out + "]}\n";
}

std::string Referee::junit(uint32_t app) const {
    std::string suites;
    size_t tests = 0, failures = 0;
    for (const uint32_t a : apps(app)) {
        // A test case per rule the application met (mistakes and waived ones; notes go to its output),
        // and one for the flight as a whole so that a clean application shows a passed case.
        std::vector<std::string> rules;
        std::string notes;
        for (const Item &i : items_) {
            if (i.app == a && i.mistake && std::find(rules.begin(), rules.end(), i.rule) == rules.end()) {
                rules.push_back(i.rule);
            } else if (i.app == a && !i.mistake) {
                char t[32];
                std::snprintf(t, sizeof t, "note t=%.1f s: ", i.t);
                notes += t + i.what + " [" + i.rule + "]\n";
            }
        }
        std::string cases;
        size_t fails = 0;
        // The program's name, without its process id, so that a CI server follows the cases from run
        // to run; the whole name is the suite's property.
        const std::string name = who(a);
        const std::string cls = xml_text(name.substr(0, name.find(' ')));
        for (const std::string &rule : rules) {
            cases += "    <testcase classname=\"" + cls + "\" name=\"" + xml_text(rule) + "\">\n";
            for (const Item &i : items_) {
                if (i.app != a || !i.mistake || i.rule != rule) {
                    continue;
                }
                char t[32];
                std::snprintf(t, sizeof t, "t=%.1f s: ", i.t);
                if (waived(i)) {
                    cases += "      <system-out>waived: " + xml_text(t + i.what) + "</system-out>\n";
                } else {
                    ++fails;
                    cases += "      <failure message=\"" + xml_text(t + i.what) + "\" type=\"" + xml_text(rule) +
                             "\">" + xml_text(i.todo) + "</failure>\n";
                }
            }
            cases += "    </testcase>\n";
        }
        cases += "    <testcase classname=\"" + cls + "\" name=\"flight\">\n";
        if (!notes.empty()) {
            cases += "      <system-out>" + xml_text(notes) + "</system-out>\n";
        }
        cases += "    </testcase>\n";
        tests += rules.size() + 1;
        failures += fails;
        suites += "  <testsuite name=\"" + cls + "\" tests=\"" + std::to_string(rules.size() + 1) + "\" failures=\"" +
                  std::to_string(fails) + "\" errors=\"0\" skipped=\"0\">\n    <properties>\n      <property " +
                  "name=\"application\" value=\"" + xml_text(name) + "\"/>\n    </properties>\n" + cases +
                  "  </testsuite>\n";
    }
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites name=\"cirrow flight report\" tests=\"" +
           std::to_string(tests) + "\" failures=\"" + std::to_string(failures) + "\" errors=\"0\">\n" + suites +
           "</testsuites>\n";
}

bool write_report(const std::string &path, const std::string &text) {
    FILE *f = std::fopen(path.c_str(), "w");
    if (f == nullptr) {
        return false;
    }
    const bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    return std::fclose(f) == 0 && ok;
}

const char *registration_for(const char *push) {
    static constexpr struct {
        const char *prefix;
        const char *fn;
    } kTakers[] = {
        {"flight.", "cw_register_v1_flight_data"},
        {"quicktest.", "cw_register_v1_flight_data"},
        {"gimbal.", "cw_register_v1_gimbal_data"},
        {"camera.data", "cw_register_v1_camera_data"},
        {"camera.status_data", "cw_register_v1_camera_status_data"},
        {"camera.lens_data", "cw_register_v1_camera_len_para_data"},
        {"rc.", "cw_register_v1_rc_data"},
        {"vision.pano_status", "cw_register_v1_nav_pano_status"},
        {"vision.pano_result", "cw_register_v1_get_pano_result"},
        {"vision.qs_finished", "cw_register_v1_quick_shot_finished"},
        {"vision.qs_", "cw_register_v1_quick_shot_result"},
        {"vision.lapse_result", "cw_register_v1_lapse_photo_result"},
        {"vision.nav_osd", "cw_register_v1_nav_osd"},
        {"vision.", "cw_register_v1_vison_data"},
    };
    for (const auto &t : kTakers) {
        if (std::strncmp(push, t.prefix, std::strlen(t.prefix)) == 0) {
            return t.fn;
        }
    }
    return nullptr;
}

}  // namespace sim
