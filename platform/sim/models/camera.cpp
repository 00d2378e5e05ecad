// The main camera: work mode, photos and video, formats, storage, focus, exposure and zoom, with
// the status, data and lens messages it pushes.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "model.h"

namespace sim {

namespace {

using namespace layout;

enum WorkMode : uint8_t { kPhoto = cw::link::value::kCameraPhoto, kVideo = cw::link::value::kCameraVideo };
constexpr double kPhotoS = 0.4;  // busy while a photo is taken
constexpr uint8_t kWrongMode = 3;
constexpr uint8_t kBusy = 4;

// What the shooting commands do in each phase of the camera (rows: idle, recording video; columns:
// switch mode, take a photo, start video, stop video).
enum Phase : uint8_t { kIdle, kRecording, kPhases };
enum Ask : uint8_t { kSwitch, kPhotoAsk, kStart, kStop, kAsks };
// clang-format off
constexpr PhaseRule kRules[kPhases][kAsks] = {
    // idle
    {carry(), carry(), carry(), ignore("ignores the stop: not recording")},
    // recording video
    {refuse(kBusy, "refuses the mode switch: recording video"),
     refuse(kWrongMode, "refuses the photo: recording video"),
     ignore("ignores the start: already recording"),
     carry()},
};
// clang-format on

class Camera : public Model {
public:
    Camera() : Model(module("camera")) {}

protected:
    bool command(double t, const Req &r, Buffer &out) override { return dispatch(*this, kCommands, t, r, out); }
    void step(double, Out &) override {}
    void fill(const Stream &s, double t, Buffer &m) override {
        if (s.msg == &kCameraData) {
            m.put(at(kCameraData, "camera_type"), 3);
        } else if (s.msg == &kCameraStatus) {
            m.put(at(kCameraStatus, "status_flags"), busy(t) ? kCameraBusy : 0);
            m.put(at(kCameraStatus, "mode_profile"), mode_);
            m.put(at(kCameraStatus, "core_board_temp"), std::trunc(std::min(62.0, 41 + t / 10)));
        } else {
            m.put(at(kCameraLens, "lens"), zoom_, 0);
            m.put(at(kCameraLens, "lens"), focal(), 1);
            m.put(at(kCameraLens, "lens"), focus_, 2);
        }
    }

private:
    bool busy(double t) const { return t < busy_until_ || recording_; }
    uint32_t focal() const { return 450u + zoom_ / 4; }  // tenths of a millimetre

    void query_mode(double, const Req &, Buffer &out) {
        out.put(at(row("camera.query_mode", Dir::Answer), "mode"), mode_);
    }
    // A shooting command the camera carries out in its phase; false when refused or ignored.
    bool allowed(double t, Ask a, Buffer &out) const {
        return Model::allowed(t, kRules[recording_ ? kRecording : kIdle][a], out);
    }

    void switch_mode(double t, const Req &r, Buffer &out) {
        if (!allowed(t, kSwitch, out)) {
            return;
        }
        const uint32_t mode = r.in.getu(at(row("camera.switch_mode", Dir::Request), "mode"));
        if (mode != kPhoto && mode != kVideo) {
            ignores(t, r.app, "camera", "work mode " + std::to_string(mode), envelope::kCameraModes);
            return;
        }
        mode_ = static_cast<uint8_t>(mode);
        say("t=%.1f s: camera in %s mode\n", t, mode_ == kVideo ? "video" : "photo");
    }
    void take_photo(double t, const Req &r, Buffer &out) {
        if (!allowed(t, kPhotoAsk, out)) {
            return;
        }
        if (mode_ != kPhoto || busy(t)) {
            result(r, out, mode_ != kPhoto ? kWrongMode : kBusy);
            say("t=%.1f s: camera refuses the photo: %s\n", t,
                mode_ != kPhoto ? "not in photo mode" : "busy with the last one (0.4 s a photo)");
            return;
        }
        busy_until_ = t + kPhotoS;
        ++photos_;
        say("t=%.1f s: camera photo %u taken\n", t, photos_);
    }
    void take_video(double t, const Req &r, Buffer &out) {
        if (mode_ != kVideo) {
            result(r, out, kWrongMode);
            say("t=%.1f s: camera refuses the video: not in video mode\n", t);
            return;
        }
        const bool start = r.in.getu(at(row("camera.take_video", Dir::Request), "start")) == 1;
        if (!allowed(t, start ? kStart : kStop, out)) {
            return;
        }
        recording_ = start;
        say("t=%.1f s: camera %s recording\n", t, recording_ ? "starts" : "stops");
    }
    void get_path(double, const Req &, Buffer &out) {
        char name[10];
        std::snprintf(name, sizeof name, "P%04u.JPG", photos_);
        out.text(at(row("camera.get_path", Dir::Answer), "path").offset, name, 9);
    }
    void get_focus_mode(double, const Req &, Buffer &out) {
        out.put(at(row("camera.get_focus_mode", Dir::Answer), "mode"), focus_mode_);
    }
    void set_focus_mode(double, const Req &r, Buffer &) {
        focus_mode_ = static_cast<uint8_t>(r.in.getu(at(row("camera.set_focus_mode", Dir::Request), "mode")));
    }
    void get_status(double t, const Req &, Buffer &out) {
        constexpr const trace::Message &status = row("camera.get_status", Dir::Answer);
        out.put(at(status, "state"), recording_ ? 2 : busy(t) ? 1 : 0);
        out.put(at(status, "detail"), photos_ & 0xFF);
    }
    void focal_length(double, const Req &, Buffer &out) {
        out.put(at(row("camera.curr_focus_len", Dir::Answer), "focal"), focal());
    }
    void set_focus(double, const Req &r, Buffer &) {
        focus_ = static_cast<uint16_t>(r.in.getu(at(row("camera.focus", Dir::Request), "focus")));
    }
    void zoom(double t, const Req &r, Buffer &out) {
        zoom_ = static_cast<uint16_t>(r.in.getu(at(row("camera.zoom", Dir::Request), "zoom")));
        out.put(at(row("camera.zoom", Dir::Answer), "ack"), 0);
        say("t=%.1f s: camera zoom %u\n", t, zoom_);
    }

    static constexpr Command<Camera> kCommands[] = {
        {&row("camera.query_mode", Dir::Request), &Camera::query_mode},
        {&row("camera.switch_mode", Dir::Request), &Camera::switch_mode},
        {&row("camera.take_photo", Dir::Request), &Camera::take_photo},
        {&row("camera.take_video", Dir::Request), &Camera::take_video},
        {&row("camera.get_path", Dir::Request), &Camera::get_path},
        {&row("camera.get_focus_mode", Dir::Request), &Camera::get_focus_mode},
        {&row("camera.set_focus_mode", Dir::Request), &Camera::set_focus_mode},
        {&row("camera.get_status", Dir::Request), &Camera::get_status},
        {&row("camera.curr_focus_len", Dir::Request), &Camera::focal_length},
        {&row("camera.focus", Dir::Request), &Camera::set_focus},
        {&row("camera.zoom", Dir::Request), &Camera::zoom},
    };

    uint8_t mode_ = kPhoto, focus_mode_ = 1;
    uint16_t zoom_ = 0, focus_ = 0;
    uint32_t photos_ = 0;
    bool recording_ = false;
    double busy_until_ = 0;
};

[[gnu::init_priority(kModelsReady)]] const ModelOf kCameraModel{module("camera"), make<Camera>};

}  // namespace

}  // namespace sim
