// A module model: a small state machine on the far side of the link. The aircraft hands it the
// requests addressed to its receivers and ticks it on its clock; it answers through a command
// table and pushes its periodic messages through a stream table. What an application does wrong
// goes to the referee, what the aircraft does goes to its diagnostics (say).
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "aircraft.h"
#include "envelope.h"
#include "layouts.h"
#include "link_modules.h"
#include "referee.h"

namespace sim {

// Reads and writes in a bounded byte buffer, by the fields of the link's message table: out-of-range
// bytes are left alone, and read as 0.
class Buffer {
public:
    Buffer(uint8_t *p, size_t n) : p_(p), n_(n) {}
    size_t size() const { return n_; }
    uint8_t *data() { return p_; }
    const uint8_t *data() const { return p_; }
    void u8(size_t at, uint8_t v) {
        if (at < n_) {
            p_[at] = v;
        }
    }
    void text(size_t at, const char *s, size_t max) {
        for (size_t i = 0; i < max && s[i] != '\0'; ++i) {
            u8(at + i, static_cast<uint8_t>(s[i]));
        }
    }
    uint8_t get8(size_t at) const { return at < n_ ? p_[at] : 0; }
    // A field of the link's message table (element i), left alone or read as 0 when out of range.
    void put(const trace::Field &f, double v, size_t i = 0) {
        if (fits(f, i)) {
            trace::put(f, p_, v, i);
        }
    }
    double get(const trace::Field &f, size_t i = 0) const { return fits(f, i) ? trace::get(f, p_, i) : 0; }
    uint32_t getu(const trace::Field &f, size_t i = 0) const {
        return fits(f, i) ? static_cast<uint32_t>(trace::get_uint(f, p_, i)) : 0;
    }

private:
    bool fits(const trace::Field &f, size_t i) const { return f.offset + (i + 1) * trace::type_size(f.type) <= n_; }
    uint8_t *p_;
    size_t n_;
};

// A request as a model sees it: who sent it, its route and payload (read-only through `in`).
struct Req {
    AppId app;
    uint8_t set;
    uint8_t id;
    uint16_t receiver;
    Buffer in;
};

// Where the aircraft is and what charge it has: the flight controller moves it and drains its
// battery, the missions turn and fly it, the battery module reports the charge.
struct Pose {
    double north = 0, east = 0, height = 0;  // metres from the take-off point
    double heading = 0;                      // degrees, 0 north, clockwise, kept in [0, 360)
    bool airborne = false;
    double battery = 96;  // percent
    void turn(double degrees) { heading = std::fmod(std::fmod(heading + degrees, 360) + 360, 360); }
};

// The day the aircraft flies: its battery and the wind.
struct Conditions {
    double battery_start = 96;   // percent
    double battery_drain = 3;    // percent per minute in the air (twice that in the climb)
    double low_battery_at = -1;  // seconds on the aircraft's clock the charge falls to battery_low; < 0 never
    double battery_low = envelope::kBatteryLow;
    double battery_critical = envelope::kBatteryCritical;  // percent: the flight controller lands itself
    double wind_north = 0, wind_east = 0;                  // m/s drift while in the air
    // The envelope: steering beyond it is flown at the limit (m/s, degrees per second).
    double max_horizontal = envelope::kHorizontalSpeed, max_climb = envelope::kClimbSpeed;
    double max_descent = envelope::kDescentSpeed, max_yaw_rate = envelope::kYawRate;
    double steering_hold = envelope::kSteeringHold;  // seconds a steering command holds
    double gimbal_min[3] = {envelope::kGimbalMin[0], envelope::kGimbalMin[1], envelope::kGimbalMin[2]};  // degrees
    double gimbal_max[3] = {envelope::kGimbalMax[0], envelope::kGimbalMax[1], envelope::kGimbalMax[2]};
    double failsafe_grace = envelope::kFailsafeGrace;  // seconds, once the controlling application is gone
    bool failsafe_return = false;                      // fly home before landing
};

// Whether a request is the table row's command.
inline bool is(const Req &r, const trace::Message &m) { return r.set == m.set && r.id == m.id; }

class Out {
public:
    // A zero-filled message of the push's length, to be filled and sent after the tick. `asked`:
    // the application asked for it (subscribed its stream, started its mission), so a push of it
    // that nobody takes is the application's mistake rather than a stream it may ignore.
    Buffer add(const trace::Message &m, bool asked = false) {
        const size_t len = layout::push_len(m);
        items.push_back({m.set, m.id, std::vector<uint8_t>(len, 0)});
        this->asked.push_back(asked);
        return Buffer(items.back().bytes.data(), len);
    }
    std::vector<Pushed> items;
    std::vector<bool> asked;  // beside each of the models' items (pushes added otherwise were not asked for)
};

// What a model says about itself on the stand-in's diagnostics (stderr unless quiet).
void say(const char *fmt, ...) __attribute__((format(printf, 1, 2)));

// What a command does in one phase of a module, the same for every model's table (phase x command):
// whether it is carried out, the phase it leads to (kStay: the model's own state decides), the
// result byte of a refusal (0: none) and the module's line (none: carried out without a word, or
// the change of phase says it).
inline constexpr uint8_t kStay = 0xFF;
struct PhaseRule {
    bool done;
    uint8_t next;
    uint8_t refused;
    const char *line;
};
constexpr PhaseRule carry(uint8_t next = kStay, const char *line = nullptr) { return {true, next, 0, line}; }
constexpr PhaseRule ignore(const char *line) { return {false, kStay, 0, line}; }
constexpr PhaseRule refuse(uint8_t byte, const char *line) { return {false, kStay, byte, line}; }

class Model {
public:
    // One periodic message: its rate (changed by scenarios) and when it is next due.
    struct Stream {
        const trace::Message *msg;
        double hz;
        double next = 0;
    };

    // The model of a module of the list (link_modules.h): its receivers, and its streams at their rates.
    explicit Model(const trace::Module &row) : row_(row), name_(row.name.data()) {
        for (const trace::Stream &s : row.streams) {
            streams.push_back({s.push, s.hz});
        }
    }
    virtual ~Model() = default;
    const char *name() const { return name_; }

    bool serves(uint16_t receiver) const { return row_.serves(receiver); }
    // Carries out a request at time t (seconds since the aircraft started) and writes its answer
    // into `out` (zero-filled). False when the module does not serve the command: it never answers.
    bool answer(double t, const Req &r, Buffer &out);
    // Where a command's answer carries its result byte (its answer's row says), or -1 when it has
    // none: a refusal writes its byte there instead of carrying the request out.
    virtual int result_at(const Req &r) const {
        const trace::Message *m = trace::find(r.set, r.id, trace::Dir::Answer, r.receiver);
        return m != nullptr ? m->result_at : trace::kResultOnly.result_at;
    }
    // Writes a command's result byte where its answer carries it.
    void result(const Req &r, Buffer &out, uint8_t byte) const {
        if (const int at = result_at(r); at >= 0) {
            out.u8(static_cast<size_t>(at), byte);
        }
    }
    // Moves the state machine to time t; pushes what is due.
    void tick(double t, Out &out);
    // The application went: what it left behind that it should not have (the aircraft in the air).
    // `clean`: it ended rather than vanished.
    virtual void ended(double, AppId, bool /*clean*/) {}
    // Whether the module streams its periodic messages now (the application subscribed them), and
    // the library's function that subscribes them (null: none).
    virtual bool streaming() const { return true; }
    virtual const char *subscription() const { return nullptr; }
    // What a refusal's result byte means (null: the module gives no reason).
    const char *refusal(uint8_t byte) const { return envelope::result_meaning(name_, byte); }

    std::vector<Stream> streams;
    Referee *referee = nullptr;  // set by the aircraft before the first request
    Pose *pose = nullptr;

protected:
    // Carries out a command of the module's table; false for a command it does not serve.
    virtual bool command(double t, const Req &r, Buffer &out) = 0;
    virtual void step(double t, Out &out) = 0;
    // Whether a stream is flowing now (e.g. after the subscription), and its bytes.
    virtual bool flowing(const Stream &) const { return true; }
    // Whether the application asked for the stream (a subscription) rather than it always flowing.
    virtual bool subscribed(const Stream &) const { return false; }
    virtual void fill(const Stream &s, double t, Buffer &m) = 0;
    // Whether a command is carried out by the rule of the module's phase: the module's line is
    // said and a refusal's byte written.
    bool allowed(double t, const PhaseRule &rule, Buffer &out) const {
        if (rule.line != nullptr) {
            say("t=%.1f s: %s %s\n", t, name_, rule.line);
        }
        if (rule.refused != 0) {
            out.u8(0, rule.refused);
        }
        return rule.done;
    }
    // A value outside the accepted set: ignored, with the module's line naming what it accepts and a
    // note for the application. `who` names the module in its line ("flight controller").
    void ignores(double t, AppId app, const char *who, const std::string &what,
                 const envelope::Accepted &accepts) const {
        const std::string values = accepts.values();
        say("t=%.1f s: %s ignores %s: accepts %s\n", t, who, what.c_str(), values.c_str());
        referee->note(app, t, "value-not-accepted", std::string(who) + " ignored " + what, "it accepts " + values);
    }
    // A value beyond the envelope: carried out at the limit, with the module's line and a mistake.
    void limits(double t, AppId app, const char *who, const char *rule, const std::string &what) const {
        say("t=%.1f s: %s limits %s\n", t, who, what.c_str());
        referee->mistake(app, t, rule, std::string(who) + " limited " + what,
                         "check the units (metres, degrees, per second) and keep within the envelope "
                         "(docs/link_reference.md)");
    }
    virtual void version(Buffer &out) const {
        out.put(layout::at(layout::row("common.get_version", trace::Dir::Answer), "result"), 0);
        out.put(layout::kVersion, 0x01020300);  // 1.2.3.0
    }

private:
    const trace::Module &row_;
    const char *name_;
};

// A module's row of the list by name, at compile time: a misspelt name does not build.
consteval const trace::Module &module(std::string_view name) {
    for (const trace::Module &m : trace::kModules) {
        if (m.name == name) {
            return m;
        }
    }
    trace::no_such_message_or_field();
}

// Makes a module's model for the day.
using Maker = Model *(*)(const Conditions &day);
// The maker of a model class, built from the day when it takes one.
template <class M>
Model *make(const Conditions &day) {
    if constexpr (std::is_constructible_v<M, const Conditions &>) {
        return new M(day);
    } else {
        return new M;
    }
}

// A model's registration, one line beside its class:
//   [[gnu::init_priority(kModelsReady)]] const ModelOf kModel{module("camera"), make<Camera>};
// The aircraft builds one model for every modelled row of the list, in the list's order. The stand-in
// may start the aircraft as it is loaded, before the other objects' initialisers have run: these
// run first, by their priority.
inline constexpr int kModelsReady = 1000;
struct ModelOf {
    ModelOf(const trace::Module &row, Maker make);
};

// Whether the link's message table routes the request's command to its receiver.
inline bool routed(const Req &r) {
    const trace::Message *m = trace::find(r.set, r.id, trace::Dir::Request, r.receiver);
    return m != nullptr && m->receiver == r.receiver;
}

// A model's command table: a request's row of the link's message table to a member function. A command the table lacks
// is still served (answered with a zero result byte, no effect) when the link's message table routes it to this
// receiver: the module knows it, the model just gives it no effect. Anything else is not served.
template <class M>
struct Command {
    const trace::Message *msg;
    void (M::*fn)(double t, const Req &r, Buffer &out);
};

template <class M, size_t N>
bool dispatch(M &m, const Command<M> (&table)[N], double t, const Req &r, Buffer &out) {
    for (const Command<M> &c : table) {
        if (is(r, *c.msg)) {
            (m.*c.fn)(t, r, out);
            return true;
        }
    }
    return routed(r);
}

// The models of the aircraft, built once for the day it flies (every modelled row must have one).
std::vector<Model *> build_models(const Conditions &day);

}  // namespace sim
