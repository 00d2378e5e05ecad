// The flight as the link showed it: each message decoded by the table into the state the page
// shows, the series it plots and the link's rates.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <mutex>
#include <string_view>

#include "cw_bytes.h"
#include "link_messages.h"
#include "link_modules.h"
#include "live.h"
#include "view_json.h"

namespace view {

namespace {

using cw::link::Dir;
using cw::link::Message;

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
// The series keep at most one point per kStep seconds, and at most kMaxPoints points: past that,
// every other point goes and the step doubles (a long flight keeps its shape in bounded memory).
constexpr double kStep = 0.1;
constexpr size_t kMaxPoints = 8192;
constexpr double kDefaultRadius = 500;  // metres, the flight controller's radius limit as it boots

// Rows by name at compile time, as the library looks them up: a misspelt name does not build.
consteval const Message &row(std::string_view name, Dir dir) { return cw::link::named(name, dir); }

constexpr const Message &kFcState = row("flight.fc_state", Dir::Push);
constexpr const Message &kFcSensor = row("flight.fc_sensor", Dir::Push);
constexpr const Message &kParamWrite = row("flight.param_write", Dir::Request);
constexpr const Message &kGimbalInfo = row("gimbal.info", Dir::Push);
constexpr const Message &kSwitchMode = row("camera.switch_mode", Dir::Request);
constexpr const Message &kQueryMode = row("camera.query_mode", Dir::Answer);
constexpr const Message &kTakePhoto = row("camera.take_photo", Dir::Request);
constexpr const Message &kPanoStatus = row("vision.pano_status", Dir::Push);
constexpr const Message &kPanoResult = row("vision.pano_result", Dir::Push);
constexpr const Message &kQsResult = row("vision.qs_result", Dir::Push);
constexpr const Message &kQsFinished = row("vision.qs_finished", Dir::Push);
constexpr const Message &kLapseResult = row("vision.lapse_result", Dir::Push);
constexpr const Message &kSticks = row("rc.sticks", Dir::Push);

// The flight controller's phases by number, named as the link's table names them.
constexpr auto kPhaseNames = cw::link::by_value(cw::link::value::kFlightPhases);
constexpr auto kCameraModes = cw::link::by_value(cw::link::value::kCameraModes);

// The flight controller's parameters are addressed by a hash of their name.
constexpr uint32_t kRadiusParam = cw::link::param::hash(cw::link::param::kMaxRadius);

// Element `i` of the field `name` of the message, or kNone when the row has no such field or the
// message is too short to hold it.
double value(const Message &m, const LinkEvent &e, const char *name, size_t i = 0) {
    const cw::link::Field *f = cw::link::field(m, name);
    if (f == nullptr || f->type == cw::link::Type::Bytes || cw::link::elements(*f, e.len) <= i) {
        return kNone;
    }
    return cw::trace::get(*f, e.bytes, i);
}

// Keeps `to` when the message did not carry the value.
void take(double &to, double v, double scale = 1) {
    if (!std::isnan(v)) {
        to = v * scale;
    }
}

// The module a message is one of: by its row's name, or for a bare result byte, by the receiver the
// request went to.
const cw::trace::Module *owner(const LinkEvent &e, const Message *m) {
    if (m == nullptr) {
        return nullptr;
    }
    if (const cw::trace::Module *mod = cw::trace::module_of(*m)) {
        return mod;
    }
    for (const cw::trace::Module &mod : cw::trace::kModules) {
        if (mod.serves(e.receiver)) {
            return &mod;
        }
    }
    return nullptr;
}

// The names of a field's values, by value, as a list the page indexes.
template <size_t N>
void names(json::Writer &w, const char *key, const std::array<const char *, N> &list) {
    w.array(key);
    for (const char *name : list) {
        w.item(name);
    }
    w.end_array();
}

const char *kind_name(Dir d) { return d == Dir::Request ? "request" : d == Dir::Answer ? "answer" : "push"; }

struct Point {
    double t, height, speed, pitch, battery, north, east;
};

struct Rate {
    std::string name;
    Dir dir;
    const cw::trace::Module *module;  // the module whose message it is, by the aircraft's module list
    uint64_t count = 0;
    uint32_t now = 0, last = 0;  // this second's messages, and the last whole second's
};

}  // namespace

struct Flight::State {
    mutable std::mutex mu;
    double t_first = kNone, t_last = kNone, t_sample = kNone, step = kStep;
    int phase = -1;
    std::vector<std::pair<double, int>> phases;  // each change of phase
    double height = kNone, speed = kNone, battery = kNone, yaw = kNone;
    double north = kNone, east = kNone, home_north = kNone, home_east = kNone, radius = kDefaultRadius;
    double gimbal[3] = {kNone, kNone, kNone};  // pitch, roll, yaw in degrees
    double sticks[4] = {kNone, kNone, kNone, kNone};
    int camera_mode = -1;
    uint32_t photos = 0;
    double pano_state = kNone, pano_result = kNone, qs_code = kNone, qs_active = kNone, lapse_state = kNone;
    std::string mission, mission_status;
    std::vector<Rate> rates;
    int64_t second = 0;
    std::vector<std::string> apps;
    std::string report;
    std::vector<Point> series;
    uint32_t epoch = 0;  // advances when the series are thinned out: indices before it are void

    void count(const LinkEvent &e, const Message *m);
    void decode(const LinkEvent &e, const Message &m);
    void vision(const LinkEvent &e, const Message &m);
    void sample(double t);
};

void Flight::State::count(const LinkEvent &e, const Message *m) {
    const auto sec = static_cast<int64_t>(std::floor(e.t));
    if (sec != second) {
        for (Rate &r : rates) {
            r.last = sec == second + 1 ? r.now : 0;
            r.now = 0;
        }
        second = sec;
    }
    std::string name = m != nullptr ? m->name : std::to_string(e.set) + "/" + std::to_string(e.id);
    const cw::trace::Module *module = owner(e, m);
    auto it = std::find_if(rates.begin(), rates.end(),
                           [&](const Rate &r) { return r.dir == e.dir && r.name == name && r.module == module; });
    if (it == rates.end()) {
        rates.push_back({std::move(name), e.dir, module});
        it = rates.end() - 1;
    }
    ++it->count;
    ++it->now;
}

void Flight::State::decode(const LinkEvent &e, const Message &m) {
    if (&m == &kFcState) {
        const double p = value(m, e, "phase");
        if (!std::isnan(p) && static_cast<int>(p) != phase) {
            if (phases.empty() && p == 1) {  // motors start only on the ground
                phases.emplace_back(t_first, 0);
            }
            phase = static_cast<int>(p);
            phases.emplace_back(e.t, phase);
        }
        take(height, value(m, e, "height_dm"), 0.1);
        take(speed, value(m, e, "speed_cms"), 0.01);
        take(battery, value(m, e, "battery"));
    } else if (&m == &kFcSensor) {
        take(height, value(m, e, "height_cm"), 0.01);
        take(north, value(m, e, "north"));
        take(east, value(m, e, "east"));
        take(yaw, value(m, e, "yaw"));
        if (std::isnan(home_north) && !std::isnan(north) && !std::isnan(east)) {
            home_north = north;
            home_east = east;
        }
    } else if (&m == &kParamWrite) {
        if (value(m, e, "hash") == kRadiusParam && e.len >= 6) {
            radius = cw::le::get<uint16_t>(e.bytes, 4);
        }
    } else if (&m == &kGimbalInfo) {
        for (size_t i = 0; i < 3; ++i) {
            take(gimbal[i], value(m, e, "joint", i), 0.1);
        }
    } else if (&m == &kSwitchMode || &m == &kQueryMode) {
        const double mode = value(m, e, "mode");
        camera_mode = std::isnan(mode) ? camera_mode : static_cast<int>(mode);
    } else if (&m == &kTakePhoto) {
        ++photos;
    } else if (&m == &kSticks) {
        for (size_t i = 0; i < 4; ++i) {
            take(sticks[i], value(m, e, "sticks", i));
        }
    } else {
        vision(e, m);
    }
}

// The vision processor's status words, and what they say of the mission under way.
void Flight::State::vision(const LinkEvent &e, const Message &m) {
    if (&m == &kQsFinished) {
        const double before = qs_active;
        take(qs_active, value(m, e, "active"));
        mission = "quick shot";
        if (qs_active == 1) {
            mission_status = "under way";
        } else if (before == 1) {
            mission_status = qs_code == 0 || std::isnan(qs_code) ? "finished" : "failed";
        }
    } else if (&m == &kQsResult) {
        take(qs_code, value(m, e, "code"));
    } else if (&m == &kPanoStatus) {
        take(pano_state, value(m, e, "mission_state"));
        if (pano_state == 1) {
            mission = "panorama";
            mission_status = "under way";
        }
    } else if (&m == &kPanoResult) {
        take(pano_result, value(m, e, "code"));
        mission = "panorama";
        mission_status = pano_result == 0 ? "finished" : "failed";
    } else if (&m == &kLapseResult) {
        take(lapse_state, value(m, e, "state"));
        mission = "time-lapse";
        mission_status = "state " + json::number(lapse_state);
    }
}

void Flight::State::sample(double t) {
    if (!std::isnan(t_sample) && t - t_sample < step - 1e-9) {
        return;
    }
    t_sample = t;
    series.push_back({t, height, speed, gimbal[0], battery, north, east});
    if (series.size() >= kMaxPoints) {
        for (size_t i = 0; i < series.size() / 2; ++i) {
            series[i] = series[2 * i];
        }
        series.resize(series.size() / 2);
        step *= 2;
        ++epoch;
    }
}

Flight::Flight() : s_(std::make_unique<State>()) {}
Flight::~Flight() = default;

void Flight::add(const LinkEvent &e) {
    const Message *m = cw::link::find(e.set, e.id, e.dir, e.receiver, e.len);
    if (m == nullptr && e.dir == Dir::Answer && e.len == 1) {
        m = &cw::link::kResultOnly;
    }
    const std::lock_guard lock(s_->mu);
    if (std::isnan(s_->t_first)) {
        s_->t_first = e.t;
    }
    s_->t_last = e.t;
    s_->count(e, m);
    if (m != nullptr) {
        s_->decode(e, *m);
    }
    s_->sample(e.t);
}

void Flight::set_apps(std::vector<std::string> apps) {
    const std::lock_guard lock(s_->mu);
    s_->apps = std::move(apps);
}

void Flight::set_report(std::string report) {
    const std::lock_guard lock(s_->mu);
    s_->report = std::move(report);
}

std::string Flight::json(size_t since) const {
    const State &s = *s_;
    const std::lock_guard lock(s.mu);
    json::Writer w;
    w.field("t_first", s.t_first).field("t", s.t_last).field("phase", s.phase);
    w.array("phases");
    for (const auto &[t, p] : s.phases) {
        w.tuple({t, static_cast<double>(p)});
    }
    w.end_array();
    names(w, "phase_names", kPhaseNames);
    w.field("height", s.height).field("speed", s.speed).field("battery", s.battery).field("yaw", s.yaw);
    w.field("north", s.north).field("east", s.east).field("home_north", s.home_north).field("home_east", s.home_east);
    w.field("radius", s.radius);
    w.array("gimbal").values({s.gimbal[0], s.gimbal[1], s.gimbal[2]}).end_array();
    w.array("sticks").values({s.sticks[0], s.sticks[1], s.sticks[2], s.sticks[3]}).end_array();
    names(w, "camera_modes", kCameraModes);
    w.field("camera_mode", s.camera_mode).field("photos", static_cast<double>(s.photos));
    w.field("pano_state", s.pano_state).field("pano_result", s.pano_result).field("qs_code", s.qs_code);
    w.field("qs_active", s.qs_active).field("lapse_state", s.lapse_state);
    w.field("mission", s.mission).field("mission_status", s.mission_status);
    w.array("rates");
    for (const Rate &r : s.rates) {
        w.object().field("name", r.name).field("kind", kind_name(r.dir));
        w.field("count", static_cast<double>(r.count)).field("rate", r.last);
        // The page groups the link's messages by module, in the order of the module list.
        const auto order =
            r.module != nullptr ? r.module - std::begin(cw::trace::kModules) : std::ssize(cw::trace::kModules);
        w.field("module", r.module != nullptr ? r.module->title : "").field("order", static_cast<double>(order));
        w.end_object();
    }
    w.end_array();
    w.array("apps");
    for (const std::string &a : s.apps) {
        w.item(a);
    }
    w.end_array();
    w.field("report", s.report).field("epoch", s.epoch);
    const size_t from = std::min(since, s.series.size());
    w.field("from", static_cast<double>(from)).field("next", static_cast<double>(s.series.size()));
    w.array("series");
    for (size_t i = from; i < s.series.size(); ++i) {
        const Point &p = s.series[i];
        w.tuple({p.t, p.height, p.speed, p.pitch, p.battery, p.north, p.east});
    }
    w.end_array();
    return w.done();
}

}  // namespace view
