// The gimbal: modes, angle and rate drives moving its joint angles (which the joint-angle query
// returns), yaw reset, release, the water-wave detection answered by a push, and its control and
// information messages once subscribed.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "model.h"

namespace sim {

namespace {

using namespace layout;

constexpr double kSlew = 900;     // tenths of a degree per second
constexpr uint32_t kMaxMode = 3;  // the gimbal's modes: 0 to 3
constexpr double kWaveS = 0.8;
constexpr uint8_t kBusy = 4;

// What the gimbal's commands do in each phase (rows: free, driven to an angle, turning at a rate,
// then the same three while a water-wave detection is under way; columns: mode, angle drive,
// release, rates, yaw reset, joint-angle query, water-wave trigger, subscribe). The detection
// needs the camera held where it was: the gimbal refuses to be moved until it is done, but the
// application may always let go of it.
enum Phase : uint8_t { kFree, kDriven, kTurning, kMotions, kPhases = 2 * kMotions };
enum Ask : uint8_t { kModeAsk, kDrive, kRelease, kRates, kResetYaw, kQuery, kWaveAsk, kSubscribe, kAsks };
constexpr PhaseRule kDo = carry();
constexpr PhaseRule kNotDriven = ignore("ignores the release: not driven");
constexpr PhaseRule kWaveRuns = ignore("ignores the water-wave trigger: a detection is under way");
constexpr PhaseRule kNoDrive = refuse(kBusy, "refuses the angle drive: water-wave detection under way");
constexpr PhaseRule kNoRates = refuse(kBusy, "refuses the rates: water-wave detection under way");
constexpr PhaseRule kNoReset = refuse(kBusy, "refuses the yaw reset: water-wave detection under way");
// clang-format off
constexpr PhaseRule kRules[kPhases][kAsks] = {
    /* free     */ {kDo, kDo, kNotDriven, kDo, kDo, kDo, kDo, kDo},
    /* driven   */ {kDo, kDo, kDo, kDo, kDo, kDo, kDo, kDo},
    /* turning  */ {kDo, kDo, kDo, kDo, kDo, kDo, kDo, kDo},
    /* free, detecting water waves    */ {kDo, kNoDrive, kNotDriven, kNoRates, kNoReset, kDo, kWaveRuns, kDo},
    /* driven, detecting water waves  */ {kDo, kNoDrive, kDo, kNoRates, kNoReset, kDo, kWaveRuns, kDo},
    /* turning, detecting water waves */ {kDo, kNoDrive, kDo, kNoRates, kNoReset, kDo, kWaveRuns, kDo},
};
// clang-format on

class Gimbal : public Model {
public:
    explicit Gimbal(const Conditions &day) : Model(module("gimbal")) {
        for (size_t i = 0; i < 3; ++i) {  // tenths of a degree
            limits_[i][0] = day.gimbal_min[i] * 10;
            limits_[i][1] = day.gimbal_max[i] * 10;
        }
    }
    bool streaming() const override { return subscribed_; }
    const char *subscription() const override { return "cw_v1_gimbal_subscribe_info()"; }

protected:
    bool command(double t, const Req &r, Buffer &out) override { return dispatch(*this, kCommands, t, r, out); }

    void step(double t, Out &out) override {
        const double dt = t - last_;
        last_ = t;
        for (size_t i = 0; i < 3; ++i) {
            const double want = driving_ ? target_[i] : angle_[i] + rate_[i] * dt;
            const double stepmax = kSlew * dt;
            angle_[i] =
                std::clamp(angle_[i] + std::clamp(want - angle_[i], -stepmax, stepmax), limits_[i][0], limits_[i][1]);
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
            m.put(at(kGimbalCtrl, "flags"), driving_ ? kGimbalDrive : 0);
        } else {
            m.put(at(kGimbalInfo, "mode"), mode_);
            m.put(at(kGimbalInfo, "time_ms"), std::trunc(t * 1000));
            m.put(at(kGimbalInfo, "status"), 1);
        }
    }

private:
    // A command the gimbal carries out in its phase; false when refused or ignored.
    bool allowed(double t, Ask a, Buffer &out) const { return Model::allowed(t, kRules[phase()][a], out); }
    uint8_t phase() const {
        const bool turning = rate_[0] != 0 || rate_[1] != 0 || rate_[2] != 0;
        const uint8_t motion = driving_ ? kDriven : (turning ? kTurning : kFree);
        return wave_at_ > 0 ? motion + kMotions : motion;
    }

    void mode(double t, const Req &r, Buffer &out) {
        if (!allowed(t, kModeAsk, out)) {
            return;
        }
        const uint32_t mode = r.in.getu(at(row("gimbal.mode_control", Dir::Request), "mode"));
        if (mode > kMaxMode) {
            ignores(t, r.app, "gimbal", "mode " + std::to_string(mode), envelope::kGimbalModes);
            return;
        }
        mode_ = static_cast<uint8_t>(mode);
        say("t=%.1f s: gimbal mode %u\n", t, mode_);
    }
    void angle(double t, const Req &r, Buffer &out) {
        constexpr const trace::Message &req = row("gimbal.angle_control", Dir::Request);
        const bool drive = (r.in.getu(at(req, "flags")) & kGimbalDrive) != 0;  // clear: control released
        if (!allowed(t, drive ? kDrive : kRelease, out)) {
            return;
        }
        driving_ = drive;
        constexpr const trace::Field *angles[] = {&at(req, "angle0"), &at(req, "angle1"), &at(req, "angle2")};
        static constexpr const char *kAxes[] = {"pitch", "roll", "yaw"};
        for (size_t i = 0; i < 3 && driving_; ++i) {
            const double asked = r.in.get(*angles[i]);
            target_[i] = std::clamp(asked, limits_[i][0], limits_[i][1]);
            if (target_[i] != asked) {
                char what[128];
                std::snprintf(what, sizeof what, "the %s angle %.1f to %.1f degrees (accepts %.0f to %.0f)", kAxes[i],
                              asked / 10, target_[i] / 10, limits_[i][0] / 10, limits_[i][1] / 10);
                limits(t, r.app, "gimbal", "gimbal-beyond-envelope", what);
            }
        }
        rate_[0] = rate_[1] = rate_[2] = 0;
        if (driving_) {
            say("t=%.1f s: gimbal turns to %.1f, %.1f, %.1f degrees\n", t, target_[0] / 10, target_[1] / 10,
                target_[2] / 10);
        }
    }
    void rate(double t, const Req &r, Buffer &out) {
        constexpr const trace::Message &req = row("gimbal.rate_control", Dir::Request);
        const bool reset = r.in.getu(at(req, "flags")) == kGimbalResetYaw;
        if (!allowed(t, reset ? kResetYaw : kRates, out)) {
            return;
        }
        if (reset) {
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
    void query(double t, const Req &, Buffer &out) {
        if (!allowed(t, kQuery, out)) {
            return;
        }
        constexpr const trace::Message &ans = row("gimbal.query_joint_angle", Dir::Answer);
        out.put(at(ans, "first"), angle_[0]);
        out.put(at(ans, "second"), angle_[1]);
        out.put(at(ans, "third"), angle_[2]);
    }
    void wave(double t, const Req &, Buffer &out) {
        if (allowed(t, kWaveAsk, out)) {
            wave_at_ = t + kWaveS;
        }
    }
    void subscribe(double t, const Req &, Buffer &out) {
        if (allowed(t, kSubscribe, out)) {
            subscribed_ = true;
        }
    }

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
    double limits_[3][2];  // tenths of a degree: pitch, roll, yaw
};

[[gnu::init_priority(kModelsReady)]] const ModelOf kGimbalModel{module("gimbal"), make<Gimbal>};

}  // namespace

}  // namespace sim
