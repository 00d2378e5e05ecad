// The gimbal: modes, angle and rate drives moving its joint angles (which the joint-angle query
// returns), yaw reset, release, the water-wave detection answered by a push, and its control and
// information messages once subscribed.
#include <algorithm>
#include <cmath>

#include "model.h"

namespace sim {

namespace {

using namespace layout;

constexpr double kSlew = 900;                                                // tenths of a degree per second
constexpr double kLimits[3][2] = {{-900, 300}, {-450, 450}, {-3200, 3200}};  // pitch, roll, yaw
constexpr double kWaveS = 0.8;

class Gimbal : public Model {
public:
    Gimbal() : Model("gimbal") { streams = {{&kGimbalCtrl, 10}, {&kGimbalInfo, 10}}; }
    bool serves(uint16_t receiver) const override { return receiver == kGimbal; }

protected:
    bool command(double t, const Req &r, Buffer &out) override { return dispatch(*this, kCommands, t, r, out); }

    void step(double t, Out &out) override {
        const double dt = t - last_;
        last_ = t;
        for (size_t i = 0; i < 3; ++i) {
            const double want = driving_ ? target_[i] : angle_[i] + rate_[i] * dt;
            const double stepmax = kSlew * dt;
            angle_[i] =
                std::clamp(angle_[i] + std::clamp(want - angle_[i], -stepmax, stepmax), kLimits[i][0], kLimits[i][1]);
        }
        if (wave_at_ > 0 && t >= wave_at_) {
            wave_at_ = 0;
            Buffer m = out.add(kGimbalWv, true);
            m.put(at(kGimbalWv, "scores"), 62, 0);
            m.put(at(kGimbalWv, "scores"), 18, 1);
            m.put(at(kGimbalWv, "scores"), 7, 2);
            m.put(at(kGimbalWv, "waves"), 1);
            say("t=%.1f s: gimbal water-wave detection done\n", t);
        }
    }

    bool flowing(const Stream &) const override { return subscribed_; }
    bool subscribed(const Stream &) const override { return subscribed_; }

    void fill(const Stream &s, double t, Buffer &m) override {
        const bool ctrl = s.msg == &kGimbalCtrl;
        for (size_t i = 0; i < 3; ++i) {  // tenths of a degree: pitch, roll, yaw
            m.put(ctrl ? at(kGimbalCtrl, "target") : at(kGimbalInfo, "joint"), ctrl ? target_[i] : angle_[i], i);
        }
        if (ctrl) {
            m.put(at(kGimbalCtrl, "mode"), mode_);
            m.put(at(kGimbalCtrl, "flags"), driving_ ? kFlagsDrive : 0);
        } else {
            m.put(at(kGimbalInfo, "mode"), mode_);
            m.put(at(kGimbalInfo, "time_ms"), std::trunc(t * 1000));
            m.put(at(kGimbalInfo, "status"), 1);
        }
    }

private:
    void mode(double t, const Req &r, Buffer &) {
        mode_ = static_cast<uint8_t>(r.in.getu(at(row("gimbal.mode_control", Dir::Request), "mode")));
        say("t=%.1f s: gimbal mode %u\n", t, mode_);
    }
    void angle(double t, const Req &r, Buffer &) {
        constexpr const trace::Message &req = row("gimbal.angle_control", Dir::Request);
        driving_ = (r.in.getu(at(req, "flags")) & kFlagsDrive) != 0;  // clear: control released
        constexpr const trace::Field *angles[] = {&at(req, "angle0"), &at(req, "angle1"), &at(req, "angle2")};
        for (size_t i = 0; i < 3 && driving_; ++i) {
            target_[i] = r.in.get(*angles[i]);
        }
        rate_[0] = rate_[1] = rate_[2] = 0;
        if (driving_) {
            say("t=%.1f s: gimbal turns to %.1f, %.1f, %.1f degrees\n", t, target_[0] / 10, target_[1] / 10,
                target_[2] / 10);
        }
    }
    void rate(double, const Req &r, Buffer &) {
        constexpr const trace::Message &req = row("gimbal.rate_control", Dir::Request);
        if (r.in.getu(at(req, "flags")) == kFlagsResetYaw) {
            driving_ = true;
            target_[0] = angle_[0];
            target_[1] = angle_[1];
            target_[2] = 0;
            return;
        }
        driving_ = false;
        constexpr const trace::Field *rates[] = {&at(req, "rate0"), &at(req, "rate1"), &at(req, "rate2")};
        for (size_t i = 0; i < 3; ++i) {
            rate_[i] = r.in.get(*rates[i]);
        }
    }
    void query(double, const Req &, Buffer &out) {
        constexpr const trace::Message &ans = row("gimbal.query_joint_angle", Dir::Answer);
        out.put(at(ans, "first"), angle_[0]);
        out.put(at(ans, "second"), angle_[1]);
        out.put(at(ans, "third"), angle_[2]);
    }
    void wave(double t, const Req &, Buffer &) { wave_at_ = t + kWaveS; }
    void subscribe(double, const Req &, Buffer &) { subscribed_ = true; }

    static constexpr Command<Gimbal> kCommands[] = {
        {&row("gimbal.mode_control", Dir::Request), &Gimbal::mode},
        {&row("gimbal.angle_control", Dir::Request), &Gimbal::angle},
        {&row("gimbal.rate_control", Dir::Request), &Gimbal::rate},
        {&row("gimbal.query_joint_angle", Dir::Request), &Gimbal::query},
        {&row("gimbal.waterwave_trigger", Dir::Request), &Gimbal::wave},
        {&row("gimbal.subscribe_info", Dir::Request), &Gimbal::subscribe},
    };

    uint8_t mode_ = 0;
    bool driving_ = false, subscribed_ = false;
    double angle_[3] = {0, 0, 0}, target_[3] = {0, 0, 0}, rate_[3] = {0, 0, 0};
    double last_ = 0, wave_at_ = 0;
};

}  // namespace

Model *make_gimbal() { return new Gimbal; }

}  // namespace sim
