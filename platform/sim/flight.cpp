// The flight controller: data subscription, control and sub-modes, take-off and landing with the
// flight state, motors and sensors it streams, obstacle avoidance, parameters stored by name hash
// (the height and radius limits bound the flight), the IMU calibration steps, identity and the
// distance limit.
#include <algorithm>
#include <cmath>
#include <map>

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

uint32_t hash_of(const char *name) {
    uint64_t h = 0;
    for (const auto *p = reinterpret_cast<const unsigned char *>(name); *p != 0; ++p) {
        h = (h * 256 + *p) % 4294967291u;
    }
    return static_cast<uint32_t>(h);
}

// Flight states as the flight controller reports them (3/91 bytes 0 and 8).
enum Phase : uint8_t { kGround = 0, kSpinUp = 1, kClimb = 2, kAir = 3, kDescend = 4 };
const char *const kPhaseNames[] = {"on the ground", "motors starting", "taking off", "in the air", "landing"};

constexpr double kSpinUpS = 0.8;
constexpr double kTakeOffHeight = 1.2;  // metres
constexpr double kClimbRate = 1.0;      // metres per second
constexpr double kDescentRate = 0.8;
constexpr double kCaliS = 3.0;  // one IMU calibration step

struct Param {
    const char *name;
    std::vector<uint8_t> value;  // little-endian, as the flight controller stores it
};

class Flight : public Model {
public:
    explicit Flight(const Conditions &day) : Model("flight"), day_(day) {
        streams = {{&kMotorState, 10}, {&kFcState, 10}, {&kFcSensor, 5}};
        for (const Param &p : std::initializer_list<Param>{{"g_config.flying_limit.max_height_0", {120, 0}},
                                                           {"g_config.flying_limit.max_radius_0", {0xF4, 0x01}},
                                                           {"g_config.flying_limit.radius_limit_enabled_0", {0}},
                                                           {"g_config.mvo_cfg.mvo_func_en_0", {1, 0}},
                                                           {"auto_cali_enable_0", {0, 0}},
                                                           {"enable_0", {0, 0}}}) {
            params_[hash_of(p.name)] = p;
        }
    }
    bool serves(uint16_t receiver) const override { return receiver == kFlight; }
    int result_at(const Req &r) const override {
        if (r.set == 3 && r.id == 218) {
            return 1;  // identity and distance limit: the result is byte 1
        }
        return 0;
    }

protected:
    bool command(double t, const Req &r, Buffer &out) override { return dispatch(*this, kCommands, t, r, out); }

    void step(double t, Out &) override {
        const double dt = t - last_;
        last_ = t;
        switch (phase_) {
            case kSpinUp:
                if (t - since_ >= kSpinUpS) {
                    enter(kClimb, t);
                }
                break;
            case kClimb:
                height_ = std::min(height_ + kClimbRate * dt, target_);
                if (height_ >= target_) {
                    enter(kAir, t);
                }
                break;
            case kAir:
                fly(dt);
                break;
            case kDescend:
                height_ = std::max(height_ - kDescentRate * dt, 0.0);
                if (height_ <= 0) {
                    enter(kGround, t);
                }
                break;
            case kGround:
                break;
        }
    }

    bool flowing(const Stream &) const override { return subscribed_; }

    void fill(const Stream &s, double t, Buffer &m) override {
        const bool spinning = phase_ != kGround;
        if (s.msg == &kMotorState) {
            // state: low nibble stopped, starting or spinning, high nibble the motor count
            m.put(at(kMotorState, "state"), (spinning ? (phase_ == kSpinUp ? 1 : 2) : 0) | 4 << 4);
            for (size_t i = 0; i < 4; ++i) {
                m.put(at(kMotorState, "speeds"), spinning ? 6000 + 800 * height_ + 40.0 * i : 0, i);
                m.put(at(kMotorState, "currents"), spinning ? 350 : 0, i);  // centiamperes
            }
            m.put(at(kMotorState, "spinning"), spinning ? 1 : 0);
        } else if (s.msg == &kFcState) {
            m.put(at(kFcState, "phase"), phase_);
            m.put(at(kFcState, "control"), control_ ? 1 : 0);
            m.put(at(kFcState, "submode"), submode_);
            m.put(at(kFcState, "height_dm"), height_ * 10);
            m.put(at(kFcState, "speed_cms"), std::hypot(north_, east_) * 10);
            m.put(at(kFcState, "oa"), oa_ ? 1 : 0);
            m.put(at(kFcState, "flight_state"), phase_);
            m.put(at(kFcState, "mode"), mode_);
            m.put(at(kFcState, "flytest"), flytest_);
            m.put(at(kFcState, "battery"), battery(t));
        } else {
            m.put(at(kFcSensor, "height_cm"), height_ * 100);
            m.put(at(kFcSensor, "battery"), battery(t));
            m.put(at(kFcSensor, "satellites"), 14);
            m.put(at(kFcSensor, "north"), north_);
            m.put(at(kFcSensor, "east"), east_);
        }
    }

private:
    void enter(Phase p, double t) {
        phase_ = p;
        since_ = t;
        say("t=%.1f s: flight controller %s, %.1f m\n", t, kPhaseNames[p], height_);
    }

    // Steering while in the air: horizontal speeds from the attitude command, bounded by the
    // radius limit unless the distance limit was lifted; the height by the height limit.
    void fly(double dt) {
        north_ += vel_[0] * dt;
        east_ += vel_[1] * dt;
        height_ = std::clamp(height_ + vel_[2] * dt, 0.3, limit(kHeightName, 120));
        const double r = std::hypot(north_, east_);
        const double max_r = limit(kRadiusName, 500);
        if (!unlimited_ && value(kRadiusOnName) != 0 && r > max_r) {
            north_ *= max_r / r;
            east_ *= max_r / r;
        }
    }

    double limit(const char *name, double fallback) const {
        const uint32_t v = value(name);
        return v != 0 ? v : fallback;
    }

    uint32_t value(const char *name) const {
        const auto it = params_.find(hash_of(name));
        uint32_t v = 0;
        for (size_t i = it->second.value.size(); i > 0; --i) {
            v = v << 8 | it->second.value[i - 1];
        }
        return v;
    }

    static uint8_t battery(double t) { return static_cast<uint8_t>(std::max(5.0, 96 - t / 20)); }

    void ds_reset(double, const Req &, Buffer &out) {
        subscribed_ = false;
        out.u8(0, 0);
    }
    void ds_bag_add(double t, const Req &r, Buffer &out) {
        subscribed_ = true;
        out.u8(0, 0);
        const auto bag = r.in.getu(at(kBagAdd, "bag"));
        out.put(at(row("flight.ds_bag_add", Dir::Answer), "bag"), bag);
        out.put(at(row("flight.ds_bag_add", Dir::Answer), "count"), r.in.getu(at(kBagAdd, "count")));
        say("t=%.1f s: flight controller streams bag %u at rate %u\n", t, bag, r.in.getu(at(kBagAdd, "rate")));
    }
    void control_enable(double, const Req &r, Buffer &out) {
        control_ = r.in.getu(at(row("flight.control_enable", Dir::Request), "mode")) == 1;
        out.u8(0, 0);
    }
    void submode(double, const Req &r, Buffer &out) {
        constexpr const trace::Message &req = row("flight.submode_set", Dir::Request);
        mode_ = static_cast<uint8_t>(r.in.getu(at(req, "mode")));
        submode_ = static_cast<uint8_t>(r.in.getu(at(req, "submode")));
        out.u8(0, 0);
    }
    void adv_control(double, const Req &r, Buffer &) {
        for (size_t i = 0; i < 3; ++i) {
            vel_[i] = r.in.get(at(kAdvControl, "values"), i);
        }
    }
    void function_control(double t, const Req &r, Buffer &) {
        const uint32_t f = r.in.getu(at(row("flight.function_control", Dir::Request), "function"));
        if (f == kTakeOff && phase_ == kGround) {
            target_ = std::min(kTakeOffHeight, limit(kHeightName, 120));
            enter(kSpinUp, t);
        } else if ((f == kLand || f == kTestLand) && (phase_ == kAir || phase_ == kClimb)) {
            vel_[0] = vel_[1] = vel_[2] = 0;
            enter(kDescend, t);
        }
    }
    void switch_oa(double, const Req &r, Buffer &) {
        oa_ = r.in.getu(at(row("flight.switch_oa", Dir::Request), "on_off")) != 0;
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
        for (size_t i = 0; i < sizeof kImuCaliHeader; ++i) {
            out.u8(at(kImuCali, "header").offset + i, kImuCaliHeader[i]);
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
    void serial(double, const Req &, Buffer &out) {
        constexpr const trace::Field &sn = at(row("common.get_sn", Dir::Answer), "sn");
        out.u8(0, 0);
        out.text(sn.offset, "CWF22A00004217", sn.count);
    }

    static constexpr const char *kHeightName = "g_config.flying_limit.max_height_0";
    static constexpr const char *kRadiusName = "g_config.flying_limit.max_radius_0";
    static constexpr const char *kRadiusOnName = "g_config.flying_limit.radius_limit_enabled_0";
    static constexpr Command<Flight> kCommands[] = {
        {3, 21, &Flight::ds_reset},     {3, 20, &Flight::ds_bag_add},   {3, 128, &Flight::control_enable},
        {3, 141, &Flight::submode},     {3, 142, &Flight::adv_control}, {3, 42, &Flight::function_control},
        {3, 26, &Flight::switch_oa},    {10, 86, &Flight::heartbeat},   {3, 248, &Flight::param_read},
        {3, 249, &Flight::param_write}, {3, 171, &Flight::cali_rt},     {3, 218, &Flight::identity},
        {0, 81, &Flight::serial},
    };

    Conditions day_;
    bool subscribed_ = false, control_ = false, oa_ = false, unlimited_ = false;
    uint8_t mode_ = 0, submode_ = 0, flytest_ = 0, identity_ = 50;
    Phase phase_ = kGround;
    double since_ = 0, last_ = 0, height_ = 0, target_ = kTakeOffHeight, north_ = 0, east_ = 0;
    double vel_[3] = {0, 0, 0};
    std::map<uint32_t, Param> params_;
    std::map<uint32_t, double> steps_;  // calibration key -> when it started
};

}  // namespace

Model *make_flight(const Conditions &day) { return new Flight(day); }

}  // namespace sim
