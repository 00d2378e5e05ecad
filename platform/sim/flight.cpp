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
    Flight() : Model("flight") {
        streams = {{kMotorState, 10}, {kFcState, 10}, {kFcSensor, 5}};
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
    void command(double t, const Req &r, Bytes &out) override { dispatch(*this, kCommands, t, r, out); }

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

    void fill(const Stream &s, double t, Bytes &m) override {
        const bool spinning = phase_ != kGround;
        if (s.msg.id == kMotorState.id) {
            m.u8(0, static_cast<uint8_t>((spinning ? (phase_ == kSpinUp ? 1 : 2) : 0) | 4 << 4));
            for (size_t i = 0; i < 4; ++i) {
                m.u16(1 + 2 * i, spinning ? static_cast<uint32_t>(6000 + 800 * height_ + 40 * i) : 0);
                m.u16(17 + 2 * i, spinning ? 350 : 0);  // motor currents, centiamperes
            }
            m.u8(33, spinning ? 1 : 0);
        } else if (s.msg.id == kFcState.id) {
            m.u8(0, phase_);
            m.u8(1, control_ ? 1 : 0);
            m.u8(2, submode_);
            m.u16(3, static_cast<uint32_t>(std::lround(height_ * 10)));
            m.u16(5, static_cast<uint32_t>(std::lround(std::hypot(north_, east_) * 10)));
            m.u8(7, oa_ ? 1 : 0);
            m.u8(8, phase_);
            m.u8(9, mode_);
            m.u8(10, flytest_);
            m.u8(11, battery(t));
        } else {
            m.u16(0, static_cast<uint32_t>(std::lround(height_ * 100)));
            m.u16(2, battery(t));
            m.u8(4, 14);  // satellites
            m.f32(5, static_cast<float>(north_));
            m.f32(9, static_cast<float>(east_));
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

    void ds_reset(double, const Req &, Bytes &out) {
        subscribed_ = false;
        out.u8(0, 0);
    }
    void ds_bag_add(double t, const Req &r, Bytes &out) {
        subscribed_ = true;
        out.u8(0, 0);
        out.u8(1, r.in.get8(0));
        out.u8(4, r.in.get8(4));
        say("t=%.1f s: flight controller streams bag %u at rate %u\n", t, r.in.get8(0), r.in.get(1, 2));
    }
    void control_enable(double, const Req &r, Bytes &out) {
        control_ = r.in.get8(0) == 1;
        out.u8(0, 0);
    }
    void submode(double, const Req &r, Bytes &out) {
        mode_ = r.in.get8(0);
        submode_ = r.in.get8(1);
        out.u8(0, 0);
    }
    void adv_control(double, const Req &r, Bytes &) {
        for (size_t i = 0; i < 3; ++i) {
            vel_[i] = r.in.getf(2 + 4 * i);
        }
    }
    void function_control(double t, const Req &r, Bytes &) {
        const uint8_t f = r.in.get8(0);
        if (f == kTakeOff && phase_ == kGround) {
            target_ = std::min(kTakeOffHeight, limit(kHeightName, 120));
            enter(kSpinUp, t);
        } else if ((f == kLand || f == kTestLand) && (phase_ == kAir || phase_ == kClimb)) {
            vel_[0] = vel_[1] = vel_[2] = 0;
            enter(kDescend, t);
        }
    }
    void switch_oa(double, const Req &r, Bytes &) { oa_ = r.in.get8(0) != 0; }
    void heartbeat(double, const Req &r, Bytes &) { flytest_ = r.in.get8(1); }

    // Parameters: a known name answers its value; a one-byte write to any other key starts a
    // calibration step, whose progress (0 to 100) reads of that key then return.
    void param_read(double t, const Req &r, Bytes &out) {
        const uint32_t key = r.in.get(0, 4);
        out.u32(1, key);
        if (const auto c = steps_.find(key); c != steps_.end()) {
            out.u8(kParamValueAt, progress(c->second, t));
        } else if (const auto p = params_.find(key); p != params_.end()) {
            out.u8(kParamValueAt, p->second.value.empty() ? 0 : p->second.value[0]);
        } else {
            out.u8(0, 2);  // no such parameter
            return;
        }
        out.u8(0, 0);
    }
    void param_write(double t, const Req &r, Bytes &out) {
        const uint32_t key = r.in.get(0, 4);
        const size_t n = r.in.size() - std::min<size_t>(4, r.in.size());
        std::vector<uint8_t> v(r.in.data() + 4, r.in.data() + 4 + n);
        out.u8(0, 0);
        out.u32(1, key);
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
            out.u8(kParamValueAt + i, v[i]);
        }
    }
    static uint8_t progress(double started, double t) {
        return static_cast<uint8_t>(std::min(100.0, (t - started) / kCaliS * 100));
    }
    void cali_rt(double, const Req &, Bytes &out) {
        for (size_t i = 0; i < sizeof kImuCaliHeader; ++i) {
            out.u8(i, kImuCaliHeader[i]);
        }
        out.f32(6, 0.012f);
        out.f32(10, -0.004f);
        for (size_t i = 0; i < 7; ++i) {
            out.f32(18 + 4 * i, 0.001f * static_cast<float>(i + 1));
        }
    }
    void identity(double t, const Req &r, Bytes &out) {
        out.u8(0, r.in.get8(0));
        out.u8(1, 0);
        if (r.in.size() == kDistanceLimitLen) {
            unlimited_ = true;
            say("t=%.1f s: flight controller distance limit lifted\n", t);
        } else if (r.in.get8(0) == kIdentityWrite) {
            identity_ = r.in.get8(9);
        }
        out.u8(2, 1);
        out.u8(3, identity_);
    }
    void serial(double, const Req &, Bytes &out) {
        out.u8(0, 0);
        out.text(kSnAt, "CWF22A00004217", kSnLen);
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

    bool subscribed_ = false, control_ = false, oa_ = false, unlimited_ = false;
    uint8_t mode_ = 0, submode_ = 0, flytest_ = 0, identity_ = 50;
    Phase phase_ = kGround;
    double since_ = 0, last_ = 0, height_ = 0, target_ = kTakeOffHeight, north_ = 0, east_ = 0;
    double vel_[3] = {0, 0, 0};
    std::map<uint32_t, Param> params_;
    std::map<uint32_t, double> steps_;  // calibration key -> when it started
};

}  // namespace

Model *make_flight() { return new Flight; }

}  // namespace sim
