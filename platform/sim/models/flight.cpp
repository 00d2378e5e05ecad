// The flight controller: data subscription, control and sub-modes, take-off and landing with the
// flight state, motors and sensors it streams, obstacle avoidance, parameters stored by name hash
// (the height and radius limits bound the flight), the IMU calibration steps, identity and the
// distance limit.
#include <algorithm>
#include <array>
#include <cmath>
#include <map>

#include "cw_bytes.h"
#include "model.h"

namespace sim {

namespace {

using namespace layout;

constexpr const trace::Message &kParamRead = row("flight.param_read", Dir::Answer);
constexpr const trace::Message &kParamWrite = row("flight.param_write", Dir::Answer);
constexpr const trace::Message &kImuCali = row("flight.imu_cali_rt", Dir::Answer);
constexpr const trace::Message &kIdentity = row("flight.identity", Dir::Answer);
constexpr const trace::Message &kBagAdd = row("flight.ds_bag_add", Dir::Request);
constexpr const trace::Message &kAdvControl = row("flight.adv_control", Dir::Request);

constexpr uint32_t hash_of(const char *name) { return param::hash(name); }

// Flight states as the flight controller reports them (3/91 bytes 0 and 8).
namespace value = cw::link::value;
enum Phase : uint8_t {
    kGround = value::kPhaseGround,
    kSpinUp = value::kPhaseMotorsStarting,
    kClimb = value::kPhaseTakingOff,
    kAir = value::kPhaseInTheAir,
    kDescend = value::kPhaseLanding,
    kPhases
};
// The phases' names as the link's table gives them, by phase.
constexpr auto kPhaseNames = cw::link::by_value(value::kFlightPhases);
static_assert(kPhaseNames.size() == kPhases);

// The orders that move the aircraft, and what each does in each phase (rows: phases; columns:
// take-off, land, steering).
enum Order : uint8_t { kTakeOffOrder, kLandOrder, kSteerOrder, kOrders };
// clang-format off
constexpr PhaseRule kRules[kPhases][kOrders] = {
    // on the ground
    {carry(kSpinUp),
     ignore("ignores the landing: on the ground"),
     ignore("ignores steering: on the ground")},
    // motors starting
    {ignore("ignores the take-off: motors already starting"),
     carry(kGround, "stops its motors: landing before the climb"),
     ignore("ignores steering: not in the air yet")},
    // taking off
    {ignore("ignores the take-off: already climbing"),
     carry(kDescend, "turns the climb into a descent"),
     ignore("ignores steering: still climbing")},
    // in the air
    {ignore("ignores the take-off: already in the air"),
     carry(kDescend),
     carry()},
    // landing
    {ignore("ignores the take-off: landing"),
     ignore("ignores the landing: already landing"),
     ignore("ignores steering: landing")},
};
// clang-format on

constexpr double kSpinUpS = 0.8;
constexpr double kTakeOffHeight = 1.2;  // metres
constexpr double kClimbRate = 1.0;      // metres per second
constexpr double kDescentRate = 0.8;
constexpr double kCaliS = 3.0;  // one IMU calibration step
// The flight modes and sub-modes the flight controller knows (flight.submode_set), and the
// obstacle-avoidance switch's on value.
constexpr uint32_t kMaxMode = 9, kMaxSubmode = 15, kOaOn = 255;

// A steering value the link carried as a float that is not a number: no speed at all.
double finite(double v) { return std::isfinite(v) ? v : 0; }

struct Param {
    const char *name;
    std::vector<uint8_t> value;  // little-endian, as the flight controller stores it
};

class Flight : public Model {
public:
    explicit Flight(const Conditions &day) : Model(module("flight")), day_(day) {
        for (const Param &p : std::initializer_list<Param>{{param::kMaxHeight, {120, 0}},
                                                           {param::kMaxRadius, {0xF4, 0x01}},
                                                           {param::kRadiusLimitEnabled, {0}},
                                                           {param::kDownVo, {1, 0}},
                                                           {param::kCompassCali, {0, 0}},
                                                           {param::kVibration, {0, 0}}}) {
            params_[hash_of(p.name)] = p;
        }
    }

protected:
    bool command(double t, const Req &r, Buffer &out) override { return dispatch(*this, kCommands, t, r, out); }

    void step(double t, Out &) override {
        const double dt = t - last_;
        last_ = t;
        Pose &p = *pose;
        switch (phase_) {
            case kSpinUp:
                if (t - since_ >= kSpinUpS) {
                    enter(kClimb, t);
                }
                break;
            case kClimb:
                p.height = std::min(p.height + kClimbRate * dt, target_);
                if (p.height >= target_) {
                    enter(kAir, t);
                }
                break;
            case kAir:
                hold(t);
                if (returning_) {
                    home(dt);
                }
                p.north += vel_[0] * dt;
                p.east += vel_[1] * dt;
                p.height += vel_[2] * dt;
                p.turn(yaw_rate_ * dt);
                if (p.height <= 0) {
                    p.height = 0;  // steered down to the ground: it lands there
                    stop();
                    tell(t, "touches the ground");
                    enter(kGround, t);
                }
                break;
            case kDescend:
                p.height = std::max(p.height - kDescentRate * dt, 0.0);
                if (p.height <= 0) {
                    enter(kGround, t);
                }
                break;
            case kGround:
            case kPhases:
                break;
        }
        if (p.airborne) {
            p.north += day_.wind_north * dt;
            p.east += day_.wind_east * dt;
            bound();
        }
        drain(t, dt);
        failsafe(t);
    }

    // Only the application that flies the aircraft (holds control, or held it last with nobody
    // holding it since) is charged with leaving it in the air; the flight controller then waits the
    // grace period and lands by itself.
    void ended(double t, AppId app, bool) override {
        const bool flier = holder_ == app || (holder_ == 0 && flier_ == app);
        if (flier && (pose->airborne || phase_ == kSpinUp)) {
            referee->mistake(app, t, "ended-in-the-air",
                             std::string("the application ended with the aircraft ") + kPhaseNames[phase_],
                             "land (cw_flight_land) and wait for the flight state to show the ground before ending");
            if (failsafe_at_ < 0) {
                failsafe_at_ = t + day_.failsafe_grace;
                say("t=%.1f s: flight controller lost the application flying it: failsafe in %.1f s\n", t,
                    day_.failsafe_grace);
            }
        }
        if (holder_ == app) {
            holder_ = 0;
            referee->mistake(app, t, "ended-with-control", "the application ended with control held",
                             "release it with cw_flight_release_control() once landed");
        }
    }

    bool streaming() const override { return subscribed_; }
    const char *subscription() const override { return "cw_flight_reset_and_subscribe()"; }

    bool flowing(const Stream &) const override { return subscribed_; }

    bool subscribed(const Stream &) const override { return subscribed_; }

    void fill(const Stream &s, double t, Buffer &m) override {
        const Pose &p = *pose;
        const bool spinning = phase_ != kGround;
        if (s.msg == &kMotorState) {
            // state: low nibble stopped, starting or spinning, high nibble the motor count
            m.put(at(kMotorState, "state"), (spinning ? (phase_ == kSpinUp ? 1 : 2) : 0) | 4 << 4);
            for (size_t i = 0; i < 4; ++i) {
                m.put(at(kMotorState, "speeds"), spinning ? 6000 + 800 * p.height + 40.0 * i : 0, i);
                m.put(at(kMotorState, "currents"), spinning ? 350 : 0, i);  // centiamperes
            }
            m.put(at(kMotorState, "spinning"), spinning ? 1 : 0);
        } else if (s.msg == &kFcState) {
            m.put(at(kFcState, "phase"), phase_);
            m.put(at(kFcState, "control"), holder_ != 0 ? 1 : 0);
            m.put(at(kFcState, "submode"), submode_);
            m.put(at(kFcState, "height_dm"), p.height * 10);
            m.put(at(kFcState, "speed_cms"), ground_speed(t) * 100);
            m.put(at(kFcState, "oa"), oa_ ? 1 : 0);
            m.put(at(kFcState, "flight_state"), phase_);
            m.put(at(kFcState, "mode"), mode_);
            m.put(at(kFcState, "flytest"), flytest_);
            m.put(at(kFcState, "battery"), std::trunc(p.battery));
        } else {
            m.put(at(kFcSensor, "height_cm"), p.height * 100);
            m.put(at(kFcSensor, "battery"), std::trunc(p.battery));
            m.put(at(kFcSensor, "satellites"), 14);
            m.put(at(kFcSensor, "north"), p.north);
            m.put(at(kFcSensor, "east"), p.east);
            m.put(at(kFcSensor, "yaw"), p.heading);
        }
    }

private:
    // The horizontal speed since the last flight state, whatever moved the aircraft (m/s).
    double ground_speed(double t) {
        const Pose &p = *pose;
        const double dt = t - speed_at_;
        const double v = dt > 0 ? std::hypot(p.north - speed_from_[0], p.east - speed_from_[1]) / dt : 0;
        speed_at_ = t;
        speed_from_[0] = p.north;
        speed_from_[1] = p.east;
        return v;
    }

    void stop() { vel_[0] = vel_[1] = vel_[2] = yaw_rate_ = 0; }

    // A steering command holds for the hold time: when no new one comes, the aircraft brakes to a
    // hover.
    void hold(double t) {
        const bool moving = vel_[0] != 0 || vel_[1] != 0 || vel_[2] != 0 || yaw_rate_ != 0;
        if (moving && !returning_ && t - steered_at_ > day_.steering_hold) {
            stop();
            say("t=%.1f s: flight controller brakes to a hover: no steering for %.1f s\n", t, day_.steering_hold);
        }
    }

    // Returning home: straight back at the horizontal limit, then down.
    void home(double dt) {
        const Pose &p = *pose;
        const double d = std::hypot(p.north, p.east);
        const double v = std::min(day_.max_horizontal, dt > 0 ? d / dt : 0);
        vel_[0] = d > 0 ? -p.north / d * v : 0;
        vel_[1] = d > 0 ? -p.east / d * v : 0;
        if (d < 0.05) {
            stop();
            returning_ = false;
            enter(kDescend, last_);
        }
    }

    // The application flying the aircraft went: after the grace period (unless another took
    // control) the flight controller lands by itself, or flies home first.
    void failsafe(double t) {
        if (failsafe_at_ < 0 || t < failsafe_at_) {
            return;
        }
        if (holder_ != 0 || !(phase_ == kAir || phase_ == kClimb || phase_ == kSpinUp)) {
            failsafe_at_ = holder_ != 0 || phase_ == kGround || phase_ == kDescend ? -1 : failsafe_at_;
            return;  // another application flies it, or it is landing; a climb ends in the air first
        }
        failsafe_at_ = -1;
        stop();
        if (phase_ == kSpinUp) {
            say("t=%.1f s: flight controller failsafe: stops its motors\n", t);
            enter(kGround, t);
        } else if (day_.failsafe_return && phase_ == kAir) {
            say("t=%.1f s: flight controller failsafe: returns home, then lands\n", t);
            returning_ = true;
        } else if (phase_ == kAir) {
            say("t=%.1f s: flight controller failsafe: lands by itself\n", t);
            enter(kDescend, t);
        } else {
            failsafe_at_ = t;  // still climbing: once in the air
        }
    }

    void enter(Phase p, double t) {
        phase_ = p;
        since_ = t;
        said_ = nullptr;
        pose->airborne = p == kClimb || p == kAir || p == kDescend;
        say("t=%.1f s: flight controller %s, %.1f m\n", t, kPhaseNames[p], pose->height);
    }

    // Whatever moved the aircraft (steering, the wind, a mission), the height limit bounds its height
    // and the radius limit its distance from the take-off point, unless the distance limit was lifted.
    void bound() {
        Pose &p = *pose;
        if (phase_ == kAir) {
            p.height = std::min(p.height, limit(kHeightName, envelope::kHeight));
        }
        const double r = std::hypot(p.north, p.east);
        const double max_r = limit(kRadiusName, envelope::kRadius);
        if (!unlimited_ && value(kRadiusOnName) != 0 && r > max_r) {
            p.north *= max_r / r;
            p.east *= max_r / r;
        }
    }

    // The battery drains in flight, twice as fast in the climb, not on the ground; a scenario may
    // drop it to a low charge at a given time.
    void drain(double t, double dt) {
        const double rate = phase_ == kGround ? 0 : phase_ == kClimb ? 2 : 1;
        pose->battery = std::max(0.0, pose->battery - rate * day_.battery_drain / 60 * dt);
        const bool drop = day_.low_battery_at >= 0 && t >= day_.low_battery_at;
        if ((drop || pose->battery <= day_.battery_low) && !low_) {
            low_ = true;
            pose->battery = std::min(pose->battery, day_.battery_low);
            say("t=%.1f s: battery low, %.0f %%\n", t, pose->battery);
        }
        if (pose->battery <= day_.battery_critical && (phase_ == kAir || phase_ == kClimb) && !critical_) {
            critical_ = true;
            stop();
            returning_ = false;
            say("t=%.1f s: battery critical, %.0f %%: flight controller lands by itself\n", t, pose->battery);
            enter(kDescend, t);
        }
    }

    // Steering as the envelope lets it fly: each value beyond its limit is flown at the limit, with
    // the flight controller's line and a mistake; below the low battery level, climbing or flying
    // away from home is one too.
    void envelope(double t, AppId app) {
        char what[160];
        const double h = std::hypot(vel_[0], vel_[1]);
        if (h > day_.max_horizontal) {
            std::snprintf(what, sizeof what, "the horizontal speed %.1f m/s to %.1f m/s", h, day_.max_horizontal);
            limits(t, app, "flight controller", "steering-beyond-envelope", what);
            vel_[0] *= day_.max_horizontal / h;
            vel_[1] *= day_.max_horizontal / h;
        }
        const double v = std::clamp(vel_[2], -day_.max_descent, day_.max_climb);
        if (v != vel_[2]) {
            std::snprintf(what, sizeof what, "the %s speed %.1f m/s to %.1f m/s", v > 0 ? "climb" : "descent",
                          std::fabs(vel_[2]), std::fabs(v));
            limits(t, app, "flight controller", "steering-beyond-envelope", what);
            vel_[2] = v;
        }
        const double y = std::clamp(yaw_rate_, -day_.max_yaw_rate, day_.max_yaw_rate);
        if (y != yaw_rate_) {
            std::snprintf(what, sizeof what, "the yaw rate %.0f deg/s to %.0f deg/s", std::fabs(yaw_rate_),
                          std::fabs(y));
            limits(t, app, "flight controller", "steering-beyond-envelope", what);
            yaw_rate_ = y;
        }
        const Pose &p = *pose;
        if (low_ && (vel_[2] > 0 || p.north * vel_[0] + p.east * vel_[1] > 0)) {
            referee->mistake(app, t, "flew-on-low-battery", "climbing or flying away from home with the battery low",
                             "watch the battery in the flight data and fly home and land below the low level");
        }
    }

    // An order the flight controller carries out in its phase, or refuses with the reason. Taking
    // off and steering need control.
    void order(double t, Order o, const Req &r) {
        static constexpr const char *kWhat[] = {"take-off", "landing", "steering"};
        if (o != kLandOrder && holder_ != r.app) {
            tell(t, holder_ == 0 ? "ignores the order: nobody has control"
                                 : "ignores the order: control is held by another application");
            static constexpr const char *kRule[] = {"take-off-without-control", "", "steering-without-control"};
            referee->mistake(r.app, t, kRule[o],
                             std::string(kWhat[o]) + " without control: the flight controller ignored it",
                             "obtain control with cw_flight_obtain_control() and check its result first");
            return;
        }
        const PhaseRule &rule = kRules[phase_][o];
        tell(t, rule.line);
        if (!rule.done) {
            return;
        }
        if (o == kSteerOrder) {
            Out moved;
            step(t, moved);  // the old velocities up to the order, however late the next tick comes
            for (size_t i = 0; i < 3; ++i) {
                vel_[i] = finite(r.in.get(at(kAdvControl, "values"), i));
            }
            yaw_rate_ = finite(r.in.get(at(kAdvControl, "values"), 3));
            steered_at_ = t;
            returning_ = false;
            envelope(t, r.app);
            return;
        }
        stop();
        if (o == kTakeOffOrder) {
            target_ = std::min(kTakeOffHeight, limit(kHeightName, envelope::kHeight));
        }
        if (rule.next != kStay && rule.next != phase_) {
            enter(static_cast<Phase>(rule.next), t);
        }
    }

    // A line of the flight controller's, once until the phase changes or another line comes.
    void tell(double t, const char *line) {
        if (line != nullptr && line != said_) {
            say("t=%.1f s: flight controller %s\n", t, line);
        }
        said_ = line != nullptr ? line : said_;
    }

    double limit(const char *name, double fallback) const {
        const uint32_t v = value(name);
        return v != 0 ? v : fallback;
    }

    uint32_t value(const char *name) const {
        const std::vector<uint8_t> &bytes = params_.find(hash_of(name))->second.value;
        uint8_t v[4] = {};
        std::copy_n(bytes.begin(), std::min<size_t>(bytes.size(), sizeof v), v);
        return cw::le::get<uint32_t>(v, 0);
    }

    void ds_reset(double, const Req &r, Buffer &out) {
        subscribed_ = false;
        result(r, out, 0);
    }
    void ds_bag_add(double t, const Req &r, Buffer &out) {
        subscribed_ = true;
        result(r, out, 0);
        const auto bag = r.in.getu(at(kBagAdd, "bag"));
        out.put(at(row("flight.ds_bag_add", Dir::Answer), "bag"), bag);
        out.put(at(row("flight.ds_bag_add", Dir::Answer), "count"), r.in.getu(at(kBagAdd, "count")));
        say("t=%.1f s: flight controller streams bag %u at rate %u\n", t, bag, r.in.getu(at(kBagAdd, "rate")));
    }
    // Control: one application holds it; another asking for it is refused with result byte 1.
    void control_enable(double t, const Req &r, Buffer &out) {
        const uint32_t mode = r.in.getu(at(row("flight.control_enable", Dir::Request), "mode"));
        if (mode == kTakeControl && holder_ != 0 && holder_ != r.app) {
            result(r, out, 1);
            tell(t, "refuses control: another application holds it");
        } else if (mode == kTakeControl) {
            holder_ = r.app;
            flier_ = r.app;
        } else if (mode == kReleaseControl && holder_ == r.app) {
            holder_ = 0;
        } else if (mode != kReleaseControl) {
            ignores(t, r.app, "flight controller", "control mode " + std::to_string(mode), envelope::kControlModes);
        }
    }
    void submode(double t, const Req &r, Buffer &out) {
        constexpr const trace::Message &req = row("flight.submode_set", Dir::Request);
        const uint32_t mode = r.in.getu(at(req, "mode")), sub = r.in.getu(at(req, "submode"));
        result(r, out, 0);
        if (mode > kMaxMode || sub > kMaxSubmode) {
            ignores(t, r.app, "flight controller", "mode " + std::to_string(mode) + ", sub-mode " + std::to_string(sub),
                    envelope::kFlightModes);
            return;
        }
        mode_ = static_cast<uint8_t>(mode);
        submode_ = static_cast<uint8_t>(sub);
    }
    void adv_control(double t, const Req &r, Buffer &) { order(t, kSteerOrder, r); }
    void function_control(double t, const Req &r, Buffer &) {
        const uint32_t f = r.in.getu(at(row("flight.function_control", Dir::Request), "function"));
        if (f == kTakeOff) {
            order(t, kTakeOffOrder, r);
        } else if (f == kLand || f == kTestLand) {
            order(t, kLandOrder, r);
        } else {
            ignores(t, r.app, "flight controller", "function " + std::to_string(f), envelope::kFunctions);
        }
    }
    void switch_oa(double t, const Req &r, Buffer &) {
        const uint32_t v = r.in.getu(at(row("flight.switch_oa", Dir::Request), "on_off"));
        if (v != 0 && v != kOaOn) {
            ignores(t, r.app, "flight controller", "obstacle avoidance " + std::to_string(v),
                    envelope::kObstacleAvoidance);
            return;
        }
        oa_ = v != 0;
    }
    void heartbeat(double, const Req &r, Buffer &) {
        flytest_ = static_cast<uint8_t>(r.in.getu(at(row("flight.heartbeat", Dir::Request), "value")));
    }

    // Parameters: a known name answers its value; a one-byte write to any other key starts a
    // calibration step, whose progress (0 to 100) reads of that key then return.
    void param_read(double t, const Req &r, Buffer &out) {
        const uint32_t key = r.in.getu(at(row("flight.param_read", Dir::Request), "hash"));
        out.put(at(kParamRead, "hash"), key);
        if (const auto c = steps_.find(key); c != steps_.end()) {
            out.put(at(kParamRead, "value"), progress(c->second, t));
        } else if (const auto p = params_.find(key); p != params_.end()) {
            out.put(at(kParamRead, "value"), p->second.value.empty() ? 0 : p->second.value[0]);
        } else {
            out.put(at(kParamRead, "result"), 2);  // no such parameter
            return;
        }
        out.put(at(kParamRead, "result"), 0);
    }
    void param_write(double t, const Req &r, Buffer &out) {
        constexpr const trace::Field &in_value = at(row("flight.param_write", Dir::Request), "value");
        const uint32_t key = r.in.getu(at(row("flight.param_write", Dir::Request), "hash"));
        const size_t n = r.in.size() - std::min<size_t>(in_value.offset, r.in.size());
        std::vector<uint8_t> v(r.in.data() + in_value.offset, r.in.data() + in_value.offset + n);
        out.put(at(kParamWrite, "result"), 0);
        out.put(at(kParamWrite, "hash"), key);
        if (auto p = params_.find(key); p != params_.end()) {
            p->second.value = v;
            say("t=%.1f s: flight parameter %s = %u\n", t, p->second.name, value(p->second.name));
        } else if (n == 1) {
            steps_[key] = t;
            say("t=%.1f s: IMU calibration step 0x%08x started (value %u)\n", t, key, v[0]);
        } else {
            params_[key] = {"(unnamed)", v};
        }
        for (size_t i = 0; i < n; ++i) {
            out.u8(at(kParamWrite, "value").offset + i, v[i]);
        }
    }
    static uint8_t progress(double started, double t) {
        return static_cast<uint8_t>(std::min(100.0, (t - started) / kCaliS * 100));
    }
    void cali_rt(double, const Req &, Buffer &out) {
        for (size_t i = 0; i < kImuCaliHeaders[0].size(); ++i) {
            out.u8(at(kImuCali, "header").offset + i, kImuCaliHeaders[0][i]);
        }
        out.put(at(kImuCali, "value0"), 0.012);
        out.put(at(kImuCali, "value1"), -0.004);
        for (size_t i = 0; i < 7; ++i) {
            out.put(at(kImuCali, "values2_8"), 0.001 * static_cast<double>(i + 1), i);
        }
    }
    void identity(double t, const Req &r, Buffer &out) {
        constexpr const trace::Message &write = row("flight.identity_write", Dir::Request);
        const auto op = r.in.getu(at(write, "op"));
        out.put(at(kIdentity, "op"), op);
        out.put(at(kIdentity, "result"), 0);
        if (r.in.size() == row("flight.distance_limit", Dir::Request).len) {
            unlimited_ = true;
            say("t=%.1f s: flight controller distance limit lifted\n", t);
        } else if (op == kIdentityWrite) {
            identity_ = r.in.get8(at(write, "data").offset + 6);  // the identity byte, last of the data
        }
        out.put(at(kIdentity, "len"), 1);
        out.put(at(kIdentity, "value"), identity_);
    }
    void serial(double, const Req &r, Buffer &out) {
        constexpr const trace::Field &sn = at(row("common.get_sn", Dir::Answer), "sn");
        result(r, out, 0);
        out.text(sn.offset, "CWF22A00004217", sn.count);
    }

    static constexpr const char *kHeightName = param::kMaxHeight;
    static constexpr const char *kRadiusName = param::kMaxRadius;
    static constexpr const char *kRadiusOnName = param::kRadiusLimitEnabled;
    static constexpr Command<Flight> kCommands[] = {
        {&row("flight.ds_reset", Dir::Request), &Flight::ds_reset},
        {&row("flight.ds_bag_add", Dir::Request), &Flight::ds_bag_add},
        {&row("flight.control_enable", Dir::Request), &Flight::control_enable},
        {&row("flight.submode_set", Dir::Request), &Flight::submode},
        {&row("flight.adv_control", Dir::Request), &Flight::adv_control},
        {&row("flight.function_control", Dir::Request), &Flight::function_control},
        {&row("flight.switch_oa", Dir::Request), &Flight::switch_oa},
        {&row("flight.heartbeat", Dir::Request), &Flight::heartbeat},
        {&row("flight.param_read", Dir::Request), &Flight::param_read},
        {&row("flight.param_write", Dir::Request), &Flight::param_write},
        {&row("flight.imu_cali_rt", Dir::Request), &Flight::cali_rt},
        {&row("flight.identity_write", Dir::Request), &Flight::identity},
        {&row("common.get_sn", Dir::Request), &Flight::serial},
    };

    Conditions day_;
    AppId holder_ = 0;  // the application holding control, 0 for none
    AppId flier_ = 0;   // the application that took control last
    double steered_at_ = 0, failsafe_at_ = -1;
    bool returning_ = false, critical_ = false;
    const char *said_ = nullptr;
    bool subscribed_ = false, oa_ = false, unlimited_ = false, low_ = false;
    uint8_t mode_ = 0, submode_ = 0, flytest_ = 0, identity_ = 50;
    Phase phase_ = kGround;
    double since_ = 0, last_ = 0, target_ = kTakeOffHeight, yaw_rate_ = 0;
    double vel_[3] = {0, 0, 0};      // north, east, up; m/s
    double speed_at_ = 0;            // when the last flight state measured the speed
    double speed_from_[2] = {0, 0};  // and where the aircraft was then
    std::map<uint32_t, Param> params_;
    std::map<uint32_t, double> steps_;  // calibration key -> when it started
};

[[gnu::init_priority(kModelsReady)]] const ModelOf kFlightModel{module("flight"), make<Flight>};

}  // namespace

}  // namespace sim
