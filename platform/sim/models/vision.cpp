// The vision processor: the panorama, quick-shot and lapse-photo missions, which progress on the
// aircraft's clock and report their status, OSD, results and end; obstacle-avoidance and VIO
// results; the self-test.
#include <cmath>

#include "model.h"

namespace sim {

namespace {

using namespace layout;

constexpr const trace::Message &kQsBox = row("vision.qs_set_box", Dir::Request);

enum class Mission : uint8_t { None, Pano, QuickShot, Lapse };
constexpr const char *kMissionNames[] = {"", "panorama", "quick shot", "lapse photo"};

// What the mission commands do with each mission under way (rows: none, panorama, quick shot,
// lapse; columns: start a panorama, stop it, set a quick-shot target box, start a lapse): the
// mission under way afterwards, or the reason the command is ignored.
enum Ask : uint8_t { kStartPano, kStopPano, kAimQuickShot, kStartLapse, kAsks };
struct MissionRule {
    Mission next;
    const char *ignored;
};
// clang-format off
constexpr MissionRule kMissionRules[4][kAsks] = {
    {{Mission::Pano, nullptr},
     {Mission::None, "pano_control(0): no panorama under way; accepts 1 (start) and 0 (stop the panorama under way)"},
     {Mission::QuickShot, nullptr},
     {Mission::Lapse, nullptr}},
    {{Mission::Pano, "pano_control(1): a panorama is already under way"},
     {Mission::None, nullptr},
     {Mission::Pano, "the quick-shot target: a panorama is under way"},
     {Mission::Pano, "the lapse photo: a panorama is under way"}},
    {{Mission::QuickShot, "pano_control(1): a quick shot is under way"},
     {Mission::QuickShot, "pano_control(0): no panorama under way; accepts 1 (start) and 0 (stop the panorama under way)"},
     {Mission::QuickShot, nullptr},  // the target moves: the quick shot follows the new box
     {Mission::QuickShot, "the lapse photo: a quick shot is under way"}},
    {{Mission::Lapse, "pano_control(1): a lapse photo is under way"},
     {Mission::Lapse, "pano_control(0): no panorama under way; accepts 1 (start) and 0 (stop the panorama under way)"},
     {Mission::Lapse, "the quick-shot target: a lapse photo is under way"},
     {Mission::Lapse, "the lapse photo: one is already under way"}},
};
// clang-format on

constexpr uint8_t kPanoShots = 8;
constexpr double kPanoShotS = 0.5;
constexpr double kQsStartS = 0.3;
constexpr double kQsS = 3.0;  // the quick shot's flight, once started
constexpr uint8_t kQsTargetLost = 2;
constexpr double kQsBack = 1.0;  // the quick shot's path: metres per second back from the target
constexpr double kLapseShotS = 0.4;
constexpr uint8_t kLapseShots = 5;

class Vision : public Model {
public:
    Vision() : Model(module("vision")) {}

protected:
    bool command(double t, const Req &r, Buffer &out) override {
        if (is(r, row("vision.lapse_submode", Dir::Request))) {  // one route, two commands: told apart by receiver
            (r.receiver == kVisionResult ? oa_subscribed_ : lapse_armed_) = r.in.get8(0) != 0;
            return true;
        }
        return dispatch(*this, kCommands, t, r, out);
    }

    void step(double t, Out &out) override {
        const double dt = t - last_;
        last_ = t;
        switch (mission_) {
            case Mission::Pano: {
                // The aircraft turns a picture's share of the circle before each picture.
                const auto shots = static_cast<uint8_t>(std::min<double>(kPanoShots, (t - since_) / kPanoShotS));
                if (pose->airborne) {
                    pose->turn(360.0 / kPanoShots * (shots - shots_));
                }
                shots_ = shots;
                if (shots_ == kPanoShots) {
                    out.add(kPanoResult, true).put(at(kPanoResult, "code"), 0);
                    finish(t, "panorama");
                }
                break;
            }
            case Mission::QuickShot:
                quick_shot(t, dt, out);
                break;
            case Mission::Lapse:
                if (t - since_ >= kLapseShotS * (shots_ + 1)) {
                    Buffer m = out.add(kLapseResult, true);
                    m.put(at(kLapseResult, "state"), ++shots_ < kLapseShots ? kLapseShooting : kLapseDone);
                    if (shots_ == kLapseShots) {
                        finish(t, "lapse photo");
                    }
                }
                break;
            case Mission::None:
                break;
        }
        if (vio_at_ > 0 && t >= vio_at_) {
            vio_at_ = 0;
            Buffer m = out.add(kVio, true);
            m.put(at(kVio, "flag"), 1);
            m.put(at(kVio, "roll"), 0.21);
            m.put(at(kVio, "pitch"), -0.35);
            m.put(at(kVio, "yaw"), 1.5);
            say("t=%.1f s: vision self-test: VIO calibrated\n", t);
        }
    }

    bool flowing(const Stream &s) const override {
        if (s.msg == &kPanoStatus) {
            return mission_ == Mission::Pano || pano_done_;
        }
        if (s.msg == &kOa) {
            return oa_subscribed_ || autotest_;
        }
        if (s.msg == &kQsIndex) {
            return mission_ == Mission::QuickShot;
        }
        return true;
    }

    // The missions' status streams flow because the application started a mission, the obstacle
    // results because it subscribed to them or started the self-test; only the OSD always flows.
    bool subscribed(const Stream &s) const override { return s.msg != &kNavOsd; }

    void fill(const Stream &s, double t, Buffer &m) override {
        if (s.msg == &kNavOsd) {
            m.put(at(kNavOsd, "waiting"), 0);
            m.put(at(kNavOsd, "pano_mode"), mission_ == Mission::Pano ? pano_mode_ << 1 | 1 : 0);
            m.put(at(kNavOsd, "qs_mode"), mission_ == Mission::QuickShot ? qs_mode_ << 1 | 1 : 0);
        } else if (s.msg == &kPanoStatus) {
            m.put(at(kPanoStatus, "mode"), pano_mode_);
            m.put(at(kPanoStatus, "mission_state"), mission_ == Mission::Pano ? 1 : 2);
            m.put(at(kPanoStatus, "mission_id"), mission_id_);
            m.put(at(kPanoStatus, "total_pic_cnt"), kPanoShots);
            m.put(at(kPanoStatus, "cur_pic_cnt"), shots_);
            m.put(at(kPanoStatus, "camera_progress"), shots_ * 100 / kPanoShots);
            pano_done_ = false;  // the final status goes out once
        } else if (s.msg == &kOa) {
            m.put(at(kOa, "state"), 1);
            for (size_t i = 0; i < 6; ++i) {  // distances, centimetres
                m.put(at(kOa, "values"), std::trunc(500 + 300 * std::sin(t + static_cast<double>(i))), i);
            }
            m.put(at(kOa, "flags"), 0x41);
        } else {
            m.put(at(kQsIndex, "count"), 1);
            m.put(at(kQsIndex, "index"), 0);
        }
    }

private:
    // A mission command, carried out or ignored as the mission under way allows.
    void ask(double t, Ask a) {
        const MissionRule &rule = kMissionRules[static_cast<int>(mission_)][a];
        if (rule.ignored != nullptr) {
            say("t=%.1f s: vision processor ignores %s\n", t, rule.ignored);
        } else if (rule.next == Mission::None && mission_ != Mission::None) {
            finish(t, "panorama (stopped)");
        } else if (rule.next != mission_) {
            start(rule.next, t);
        }
    }
    void start(Mission m, double t) {
        mission_ = m;
        since_ = t;
        shots_ = 0;
        qs_stage_ = 0;
        reports_ = 0;
        ++mission_id_;
        say("t=%.1f s: vision processor starts the %s (mission %u)\n", t, kMissionNames[static_cast<int>(m)],
            mission_id_);
    }
    void finish(double t, const char *what) {
        say("t=%.1f s: vision processor finished the %s\n", t, what);
        pano_done_ = mission_ == Mission::Pano;
        mission_ = Mission::None;
    }

    // The quick shot flies once its target box is set: under way, result reports, then the end.
    // While under way the aircraft flies its path: back from the target, away from its heading, at
    // its height. A box that is empty or off the picture loses its target.
    void quick_shot(double t, double dt, Out &out) {
        const double since = t - since_;
        if (qs_stage_ == 1 && pose->airborne && box_ok_) {
            const double heading = pose->heading * M_PI / 180;
            pose->north -= std::cos(heading) * kQsBack * dt;
            pose->east -= std::sin(heading) * kQsBack * dt;
        }
        if (qs_stage_ == 0 && since >= kQsStartS) {
            qs_stage_ = 1;
            out.add(kQsFinished, true).put(at(kQsFinished, "active"), 1);
        } else if (qs_stage_ == 1 && (since >= kQsStartS + kQsS || (!box_ok_ && since >= kQsStartS + 0.5))) {
            qs_stage_ = 2;
            out.add(kQsResult, true).put(at(kQsResult, "code"), box_ok_ ? 0 : kQsTargetLost);
            out.add(kQsFinished, true).put(at(kQsFinished, "active"), 0);
            finish(t, box_ok_ ? "quick shot" : "quick shot: target lost");
        } else if (qs_stage_ == 1 && since >= kQsStartS + 1.0 * (reports_ + 1)) {
            ++reports_;
            out.add(kQsResult, true).put(at(kQsResult, "code"), 1);  // still flying
        }
    }

    void switch_to_pano(double, const Req &r, Buffer &) {
        pano_mode_ = r.in.getu(at(row("vision.switch_to_pano", Dir::Request), "value0")) & 0x7F;
    }
    // 1 starts a panorama, 0 stops the one under way; anything else is ignored.
    void pano_control(double t, const Req &r, Buffer &) {
        const uint32_t v = r.in.getu(at(row("vision.pano_control", Dir::Request), "value"));
        if (v > 1) {
            say("t=%.1f s: vision processor ignores pano_control(%u): accepts 1 (start) and 0 (stop the panorama under "
                "way)\n",
                t, v);
            return;
        }
        ask(t, v == 1 ? kStartPano : kStopPano);
    }
    void qs_box(double t, const Req &r, Buffer &) {
        double box[4];
        for (size_t i = 0; i < 4; ++i) {
            box[i] = r.in.get(at(kQsBox, "box"), i);
        }
        box_ok_ = box[2] > 0.01 && box[3] > 0.01 && box[0] >= 0 && box[1] >= 0 && box[0] + box[2] <= 1.0 &&
                  box[1] + box[3] <= 1.0;
        ask(t, kAimQuickShot);
    }
    void qs_enable(double, const Req &r, Buffer &) {
        qs_mode_ = r.in.getu(at(row("vision.qs_enable", Dir::Request), "value0")) & 0x7F;
    }
    void lapse_go(double t, const Req &, Buffer &) { ask(t, kStartLapse); }
    void autotest(double t, const Req &r, Buffer &) {
        autotest_ = r.in.getu(at(row("vision.autotest", Dir::Request), "start")) == 1;
        if (autotest_) {
            vio_at_ = t + 1.0;
        }
        say("t=%.1f s: vision self-test %s\n", t, autotest_ ? "running" : "stopped");
    }

    static constexpr Command<Vision> kCommands[] = {
        {&row("vision.switch_to_pano", Dir::Request), &Vision::switch_to_pano},
        {&row("vision.pano_control", Dir::Request), &Vision::pano_control},
        {&row("vision.qs_set_box", Dir::Request), &Vision::qs_box},
        {&row("vision.qs_enable", Dir::Request), &Vision::qs_enable},
        {&row("vision.lapse_go", Dir::Request), &Vision::lapse_go},
        {&row("vision.autotest", Dir::Request), &Vision::autotest},
    };

    Mission mission_ = Mission::None;
    double since_ = 0, vio_at_ = 0, last_ = 0;
    uint32_t mission_id_ = 0;
    uint8_t shots_ = 0, pano_mode_ = 0, qs_mode_ = 0, qs_stage_ = 0, reports_ = 0;
    bool box_ok_ = false, oa_subscribed_ = false, lapse_armed_ = false, autotest_ = false, pano_done_ = false;
};

[[gnu::init_priority(kModelsReady)]] const ModelOf kVisionModel{module("vision"), make<Vision>};

}  // namespace

}  // namespace sim
