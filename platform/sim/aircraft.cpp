// The virtual aircraft's core: the module models, the scenario that changes their answers and push
// rates at given times on the aircraft's clock, the applications attached to it and the referee
// that watches them. Its hosts (the stand-in in an application's process, or an aircraft process
// of its own) hand it requests and registrations, tick its clock and deliver what it pushes.
#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <set>

#include "aircraft.h"
#include "model.h"
#ifdef CW_SIM_SCENARIOS
#include "replay.h"
#endif

namespace sim {

namespace {

void to_stderr(const char *line) {
    std::fputs("sim: ", stderr);
    std::fputs(line, stderr);
}

void (*g_say)(const char *) = to_stderr;

}  // namespace

void set_diagnostics(void (*line)(const char *text)) { g_say = line != nullptr ? line : to_stderr; }

void say(const char *fmt, ...) {
    char line[512];
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(line, sizeof line, fmt, ap);
    va_end(ap);
    g_say(line);
}

bool Model::answer(double t, const Req &r, Buffer &out) {
    if (is(r, layout::kPing)) {
        out.u8(0, r.in.get8(0));  // echoed: the flight controller's base heartbeat checks it
        out.u8(1, r.in.get8(0));
        return true;
    }
    if (is(r, layout::kVersionReq)) {
        version(out);
        return true;
    }
    return command(t, r, out);
}

void Model::tick(double t, Out &out) {
    step(t, out);
    for (Stream &s : streams) {
        if (s.hz <= 0 || !flowing(s)) {
            s.next = t;
            continue;
        }
        if (t >= s.next) {
            Buffer m = out.add(*s.msg, subscribed(s));
            fill(s, t, m);
            s.next = std::max(s.next + 1.0 / s.hz, t);
        }
    }
}

namespace {

struct Fault {
    Answer answer = Answer::Normal;
    int set = -1;
    int id = -1;
    uint8_t byte = 1;
    uint32_t delay_ms = 0;
    uint32_t length = 0;

    bool covers(const mbus_ctl_request_t &r) const { return set < 0 || (set == r.cmd_set && id == r.cmd_id); }
};

constexpr uint32_t kAnswerUs = 300;  // how long a module takes to answer
constexpr uint32_t kTickUs = 10000;  // the aircraft's clock step

// The day the scenario sets: battery and wind.
Conditions conditions_of(const Scenario &s) {
    Conditions c;
    c.battery_start = s.battery_start;
    c.battery_drain = s.battery_drain;
    c.low_battery_at = s.low_battery_at;
    c.battery_low = s.battery_low;
    c.battery_critical = s.battery_critical;
    c.wind_north = s.wind_north;
    c.wind_east = s.wind_east;
    c.max_horizontal = s.max_horizontal;
    c.max_climb = s.max_climb;
    c.max_descent = s.max_descent;
    c.max_yaw_rate = s.max_yaw_rate;
    c.steering_hold = s.steering_hold;
    const double lo[3] = {s.gimbal_min_pitch, s.gimbal_min_roll, s.gimbal_min_yaw};
    const double hi[3] = {s.gimbal_max_pitch, s.gimbal_max_roll, s.gimbal_max_yaw};
    std::copy(lo, lo + 3, c.gimbal_min);
    std::copy(hi, hi + 3, c.gimbal_max);
    c.failsafe_grace = s.failsafe_grace;
    c.failsafe_return = s.failsafe_return;
    return c;
}

std::string command_name(const mbus_ctl_request_t &r) {
    if (const trace::Message *m = trace::find(r.cmd_set, r.cmd_id, trace::Dir::Request, r.receiver);
        m != nullptr && m->receiver == r.receiver) {
        return m->name;
    }
    return "command " + std::to_string(r.cmd_set) + "/" + std::to_string(r.cmd_id);
}

std::string hex4(uint16_t v) {
    char s[8];
    std::snprintf(s, sizeof s, "0x%04x", v);
    return s;
}

// What the application got back from a request whose answer takes delay_us.
std::string got(const mbus_ctl_request_t &r, uint32_t delay_us) {
    if (r.timeout == 0) {
        return "nothing (it did not wait for an answer)";
    }
    if (delay_us > r.timeout) {
        return "the link's timeout (" + std::to_string(MBUS_ERR_TIMEOUT) + ") after " +
               std::to_string(r.timeout / 1000) + " ms";
    }
    return "the answer after " + std::to_string(delay_us / 1000) + " ms";
}

class Core final : public Aircraft {
public:
    Core(Scenario s, bool shared) : scenario_(std::move(s)), start_(std::chrono::steady_clock::now()) {
        const Conditions day = conditions_of(scenario_);
        pose_.battery = day.battery_start;
        referee_.shared(shared);
        referee_.allow({scenario_.allow.begin(), scenario_.allow.end()});
        for (Model *m : build_models(day)) {
            m->referee = &referee_;
            m->pose = &pose_;
            models_.emplace_back(m);
            faults_.emplace_back();
            asker_.push_back(0);
            quiet_since_.push_back(-1);
        }
#ifdef CW_SIM_SCENARIOS
        std::string why;
        if (!scenario_.replay.empty() && !replay_.open(scenario_.replay, why)) {
            say("%s: nothing replayed\n", why.c_str());
        } else if (!scenario_.replay.empty()) {
            std::string modules;
            for (const std::string &m : replay_.modules()) {
                modules += " " + m;
            }
            say("replaying %zu push(es) over %.1f s from %s, in place of:%s\n", replay_.size(), replay_.length(),
                scenario_.replay.c_str(), modules.c_str());
        }
#endif
    }

    void attach(AppId app, const std::string &name) override {
        std::lock_guard<std::mutex> lock(mu_);
        apps_[app] = name;
        referee_.name(app, name);
    }

    void detach(AppId app, bool clean) override { gone(app, clean, nullptr); }

    void cut(AppId app, const std::string &why) override { gone(app, false, &why); }

    void gone(AppId app, bool clean, const std::string *cut) {
        std::lock_guard<std::mutex> lock(mu_);
        const double t = now_locked();
        if (cut != nullptr) {
            referee_.mistake(app, t, "cut", "application " + apps_[app] + " was cut by the aircraft: " + *cut,
                             "keep to the link: well-formed frames, and read what the aircraft sends");
        } else if (!clean) {
            referee_.mistake(app, t, "vanished", "application " + apps_[app] + " vanished (crashed or was killed)",
                             "end the application cleanly: land, release control, then return from main");
        }
        for (auto &m : models_) {
            m->ended(t, app, clean);
        }
        handlers_.erase(app);
        apps_.erase(app);
        say("%.1f s on the aircraft's clock: %u request(s) answered by the models (%u refused, %u late, %u cut "
            "short, %u unanswered), %u push(es) taken, %u dropped, %u marker message(s)\n",
            t, requests_, refused_, late_, cut_, unanswered_, taken_, dropped_, markers_);
    }

    void handler(AppId app, uint8_t set, uint8_t id, bool on) override {
        std::lock_guard<std::mutex> lock(mu_);
        std::set<trace::SetId> &h = handlers_[app];
        if (on) {
            h.insert({set, id});
        } else {
            h.erase({set, id});
        }
    }

    int32_t request(AppId app, const mbus_ctl_request_t &req, uint8_t *resp, uint32_t resp_len,
                    uint32_t *delay_us) override {
        std::lock_guard<std::mutex> lock(mu_);
        const double t = now_locked();
        apply_events(t);
        size_t i = 0;
        while (i < models_.size() && !models_[i]->serves(req.receiver)) {
            ++i;
        }
        if (i == models_.size()) {
            referee_.mistake(
                app, t, "no-module",
                command_name(req) + " sent to receiver " + hex4(req.receiver) + ", where no module listens",
                "check the receiver: the link answered " + std::to_string(MBUS_ERR_NO_PEER));
            return MBUS_ERR_NO_PEER;
        }
        ++requests_;
        Model &m = *models_[i];
        const Fault f = faults_[i].covers(req) ? faults_[i] : Fault{};
        Req r{app, req.cmd_set, req.cmd_id, req.receiver,
              Buffer(const_cast<uint8_t *>(req.payload), std::min(req.payload_len, MBUS_LINK_MAX_PAYLOAD))};
        const std::vector<uint8_t> before(resp, resp + resp_len);
        if (resp_len > 0) {
            std::memset(resp, 0, resp_len);  // a module's answer is whole, whatever the caller passed
        }
        Buffer out(resp, resp_len);
        *delay_us = kAnswerUs;
        const std::string what = std::string(m.name()) + " " + command_name(req);
        switch (f.answer) {
            case Answer::Silent:
                ++unanswered_;
                *delay_us = kNeverUs;
                referee_.note(app, t, "scenario-fault", what + " left unanswered by the scenario",
                              "the application got " + got(req, kNeverUs));
                return 0;
            case Answer::Refuse:
                ++refused_;
                if (const int at = m.result_at(r); at >= 0) {
                    out.u8(static_cast<size_t>(at), f.byte);
                }
                referee_.note(app, t, "scenario-fault",
                              what + " refused by the scenario (result byte " + std::to_string(f.byte) + ")",
                              "the application got result 0 and the refusal in the answer's result byte");
                return 0;
            case Answer::Late:
                ++late_;
                *delay_us = f.delay_ms != 0 ? f.delay_ms * 1000 : kNeverUs;
                referee_.note(app, t, "scenario-fault", what + " delayed by the scenario",
                              "the application got " + got(req, *delay_us));
                break;
            case Answer::Short:
                ++cut_;
                referee_.note(app, t, "scenario-fault",
                              what + " cut short to " + std::to_string(f.length) + " byte(s) by the scenario",
                              "the application got the first " + std::to_string(f.length) + " byte(s) of the answer");
                break;
            case Answer::Normal:
                break;
        }
        const bool streamed = m.streaming();
        const bool answered = m.answer(t, r, out);
        asker_[i] = !streamed && m.streaming() ? app : asker_[i];  // who asked for its streams
        last_ = app;
        if (!answered) {
            *delay_us = kNeverUs;
            if (resp_len > 0) {
                std::memcpy(resp, before.data(), resp_len);
            }
            say("t=%.1f s: %s does not serve %s (receiver %s): no answer\n", t, m.name(), command_name(req).c_str(),
                hex4(req.receiver).c_str());
            referee_.mistake(app, t, "unserved-command",
                             std::string(m.name()) + " does not serve " + command_name(req) + " (receiver " +
                                 hex4(req.receiver) + ")",
                             "check the command's set/id and receiver; the application got " + got(req, kNeverUs));
            return 0;
        }
        if (const uint8_t byte = refused_byte(m, r, out); byte != 0 && f.answer != Answer::Refuse) {
            ++refused_;
            const char *why = m.refusal(byte);
            referee_.note(app, t, "refused",
                          what + " refused (result byte " + std::to_string(byte) + (why != nullptr ? ": " : "") +
                              (why != nullptr ? why : "") + ")",
                          "check the answer's result byte and try again when the module can do it");
        }
        if (f.answer == Answer::Short && f.length < resp_len) {
            std::memcpy(resp + f.length, before.data() + f.length, resp_len - f.length);
        }
        return 0;
    }

    void message(AppId, const char *name, const void *msg, uint32_t len) override {
        std::lock_guard<std::mutex> lock(mu_);
        if (std::strcmp(name, "fly_marker_thread") != 0) {
            return;
        }
        ++markers_;
        int32_t v[3] = {0, 0, 0};
        std::memcpy(v, msg, std::min<size_t>(len, sizeof v));
        say("marker thread: looking for paper %d (gimbal %s, QR code %s)\n", v[2], v[0] ? "on" : "off",
            v[1] ? "on" : "off");
    }

    // Whether a replayed capture pushes in this module's place.
    bool replayed([[maybe_unused]] const Model &m) const {
#ifdef CW_SIM_SCENARIOS
        const std::vector<std::string> &r = replay_.modules();
        return std::find(r.begin(), r.end(), std::string(m.name())) != r.end();
#else
        return false;
#endif
    }

    std::vector<Pushed> tick() override {
        Out out;
        std::lock_guard<std::mutex> lock(mu_);
        const double t = now_locked();
        apply_events(t);
        if (pose_.airborne) {
            unsubscribed(t);
        }
        for (size_t i = 0; i < models_.size(); ++i) {
            const size_t before = out.items.size();
            models_[i]->tick(t, out);
            if ((faults_[i].answer == Answer::Silent && faults_[i].set < 0) || replayed(*models_[i])) {
                out.items.resize(before);  // a silent module pushes nothing either, nor one a capture replays
                out.asked.resize(before);
            }
        }
#ifdef CW_SIM_SCENARIOS
        for (Pushed &p : replay_.due(t / scenario_.speed)) {
            out.items.push_back(std::move(p));  // the capture's own bytes, as long as they were
        }
#endif
        for (size_t i = 0; i < out.items.size(); ++i) {
            if (taken(out.items[i])) {
                ++taken_;
                continue;
            }
            ++dropped_;
            if (apps_.empty()) {
                continue;  // nobody to judge: the aircraft streams on between applications
            }
            const trace::Message *row = trace::find(out.items[i].set, out.items[i].id, trace::Dir::Push);
            const char *name = row != nullptr ? row->name : "an unknown push";
            const char *reg = registration_for(name);
            const std::string fn = reg != nullptr ? std::string(reg) + "()" : "its handler";
            bool asked = i < out.asked.size() && out.asked[i];
            const AppId who = asker(out.items[i], &asked);
            if (asked) {
                referee_.mistake(
                    who, t, "stream-without-handler",
                    std::string(name) + " pushed with no handler registered, though the application asked for it",
                    "register " + fn + " before subscribing or starting the mission");
            } else {
                referee_.note(who, t, "stream-dropped", std::string(name) + " dropped: no handler",
                              "nothing to do unless the application reads it: then register " + fn);
            }
        }
        return std::move(out.items);
    }

    uint32_t period_us() const override { return kTickUs; }

    double now() const override {
        std::lock_guard<std::mutex> lock(mu_);
        return now_locked();
    }

    void drift(const std::string &why, const std::string &todo) override {
        std::lock_guard<std::mutex> lock(mu_);
        const AppId app = apps_.size() == 1 ? apps_.begin()->first : last_;
        referee_.note(app, now_locked(), "time-drift", "the application's time may have drifted: " + why, todo);
    }

    std::string report(uint32_t *mistakes, AppId app, Format format) const override {
        std::lock_guard<std::mutex> lock(mu_);
        if (mistakes != nullptr) {
            *mistakes = referee_.mistakes(app);
        }
        switch (format) {
            case Format::Json:
                return referee_.json(app);
            case Format::Junit:
                return referee_.junit(app);
            case Format::Text:
                break;
        }
        return referee_.report(app);
    }

    void allow(const std::set<std::string> &rules) override {
        std::lock_guard<std::mutex> lock(mu_);
        referee_.allow(rules);
    }

private:
    double now_locked() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count() * scenario_.speed;
    }

    // The result byte of a refusal in a model's answer (0: none): the answer's result field, or the
    // answer's only byte.
    static uint8_t refused_byte(const Model &m, const Req &r, const Buffer &out) {
        const int at = m.result_at(r);
        if (at < 0) {
            return 0;
        }
        const trace::Message *row = trace::find(r.set, r.id, trace::Dir::Answer, r.receiver);
        const trace::Field *result = row != nullptr ? trace::field(*row, "result") : nullptr;
        const bool is_result = row == nullptr || (result != nullptr && result->offset == static_cast<size_t>(at));
        return is_result ? out.get8(static_cast<size_t>(at)) : 0;
    }

    // The application a push is charged to: the one that asked the module for its streams, else the
    // one alone on the aircraft, else the one that sent the last request (0, the aircraft itself,
    // when none is attached). A stream asked for by an application that has gone is nobody's
    // mistake now: *asked is cleared.
    AppId asker(const Pushed &p, bool *asked) const {
        for (size_t i = 0; i < models_.size(); ++i) {
            for (const Model::Stream &s : models_[i]->streams) {
                if (s.msg->set != p.set || s.msg->id != p.id || asker_[i] == 0) {
                    continue;
                }
                if (apps_.count(asker_[i]) != 0) {
                    return asker_[i];
                }
                *asked = false;
            }
        }
        const bool alone = apps_.size() == 1;
        return alone ? apps_.begin()->first : apps_.count(last_) != 0 ? last_ : 0;
    }

    // In the air: an application that registered a handler for a module's stream it never asked
    // for reads nothing, whatever it flies by. A stream that stops for a moment (an application
    // subscribing again resets the subscription, then adds to it) is not that: it must stay off
    // for kQuietGrace of the aircraft's time.
    void unsubscribed(double t) {
        for (size_t i = 0; i < models_.size(); ++i) {
            quiet_since_[i] = models_[i]->streaming() ? -1 : quiet_since_[i] < 0 ? t : quiet_since_[i];
        }
        for (const auto &[app, keys] : handlers_) {
            for (size_t i = 0; i < models_.size(); ++i) {
                const auto &m = models_[i];
                if (quiet_since_[i] < 0 || t - quiet_since_[i] < kQuietGrace) {
                    continue;
                }
                for (const Model::Stream &s : m->streams) {
                    if (keys.count({s.msg->set, s.msg->id}) == 0) {
                        continue;
                    }
                    const char *how = m->subscription();
                    referee_.mistake(app, t, "registered-not-subscribed",
                                     std::string("the aircraft flies but ") + s.msg->name +
                                         " never streams: its handler is registered, the stream not subscribed",
                                     std::string("subscribe with ") +
                                         (how != nullptr ? how : "the module's subscription") +
                                         " before relying on its data");
                    break;
                }
            }
        }
    }

    bool taken(const Pushed &p) const {
        for (const auto &[app, h] : handlers_) {
            if (h.count({p.set, p.id}) != 0) {
                return true;
            }
        }
        return false;
    }

    void apply_events(double t) {
        while (next_ < scenario_.events.size() && scenario_.events[next_].time <= t) {
            const Event &e = scenario_.events[next_++];
            for (size_t i = 0; i < models_.size(); ++i) {
                if (e.module != models_[i]->name()) {
                    continue;
                }
                if (e.sets_answer) {
                    faults_[i] = Fault{e.answer, e.set, e.id, e.byte, e.delay_ms, e.length};
                    say("t=%.1f s: %s answers %s%s\n", t, e.module.c_str(), kAnswerNames[static_cast<int>(e.answer)],
                        e.set >= 0 ? " to one command" : "");
                }
                for (Model::Stream &s : models_[i]->streams) {
                    if (e.sets_rate && (e.push.empty() || e.push == s.msg->name)) {
                        s.hz = e.hz;
                        say("t=%.1f s: %s pushes at %.1f Hz\n", t, s.msg->name, e.hz);
                    }
                }
            }
        }
    }

    static constexpr const char *kAnswerNames[] = {"normally", "with refusals", "late", "short", "nothing"};

    mutable std::mutex mu_;
    Scenario scenario_;
    size_t next_ = 0;
    std::chrono::steady_clock::time_point start_;
    Pose pose_;
    Referee referee_;
    std::vector<std::unique_ptr<Model>> models_;
    std::vector<Fault> faults_;
#ifdef CW_SIM_SCENARIOS
    Replay replay_;
#endif
    std::map<AppId, std::string> apps_;
    std::map<AppId, std::set<trace::SetId>> handlers_;
    std::vector<AppId> asker_;                  // beside each model: the application that last asked for its streams
    std::vector<double> quiet_since_;           // beside each model: since when it streams nothing (-1: it streams)
    static constexpr double kQuietGrace = 1.0;  // s
    AppId last_ = 0;                            // the application that sent the last request (a mission's pushes)
    uint32_t requests_ = 0, refused_ = 0, late_ = 0, cut_ = 0, unanswered_ = 0;
    uint32_t taken_ = 0, dropped_ = 0, markers_ = 0;
};

}  // namespace

std::unique_ptr<Aircraft> Aircraft::create(Scenario scenario, bool shared) {
    return std::make_unique<Core>(std::move(scenario), shared);
}

}  // namespace sim
