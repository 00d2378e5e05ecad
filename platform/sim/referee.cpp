// The referee's record and its flight report.
#include "referee.h"

#include <cstdio>
#include <cstring>

namespace sim {

void Referee::mistake(double t, const std::string &what, const std::string &todo) { add(true, t, what, todo); }

void Referee::note(double t, const std::string &what, const std::string &todo) { add(false, t, what, todo); }

void Referee::add(bool mistake, double t, const std::string &what, const std::string &todo) {
    const std::string key = (mistake ? "M" : "n") + what;
    const auto found = index_.find(key);
    if (found != index_.end()) {
        ++items_[found->second].count;
        return;
    }
    if (items_.size() >= kMaxItems) {
        ++(mistake ? untold_mistakes_ : untold_notes_);
        return;
    }
    index_.emplace(key, items_.size());
    items_.push_back({mistake, t, what, todo, 1});
}

uint32_t Referee::mistakes() const {
    uint32_t n = 0;
    for (const Item &i : items_) {
        n += i.mistake ? 1 : 0;
    }
    return n + static_cast<uint32_t>(untold_mistakes_);
}

std::string Referee::report() const {
    const uint32_t m = mistakes();
    char line[96];
    std::snprintf(line, sizeof line, "flight report: %u mistake(s), %llu note(s)\n", m,
                  static_cast<unsigned long long>(items_.size() - (m - untold_mistakes_) + untold_notes_));
    std::string out = line;
    for (const bool mistakes_first : {true, false}) {
        for (const Item &i : items_) {
            if (i.mistake != mistakes_first) {
                continue;
            }
            std::snprintf(line, sizeof line, "  %-7s t=%.1f s: ", i.mistake ? "MISTAKE" : "note", i.t);
            out += line + i.what;
            if (i.count > 1) {
                out += " (" + std::to_string(i.count) + " times)";
            }
            out += i.todo.empty() ? "\n" : "\n      -> " + i.todo + "\n";
        }
    }
    if (untold_mistakes_ + untold_notes_ > 0) {
        out += "  and " + std::to_string(untold_mistakes_) + " more mistake(s) and " + std::to_string(untold_notes_) +
               " more note(s) not listed (only the first " + std::to_string(kMaxItems) + " distinct items are)\n";
    }
    return out;
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
