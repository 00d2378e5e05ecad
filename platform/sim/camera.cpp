// The main camera: work mode, photos and video, formats, storage, focus, exposure and zoom, with
// the status, data and lens messages it pushes.
#include <algorithm>
#include <cstdio>

#include "model.h"

namespace sim {

namespace {

using namespace layout;

enum WorkMode : uint8_t { kPhoto = 0, kVideo = 1 };
constexpr double kPhotoS = 0.4;  // busy while a photo is taken
constexpr uint8_t kWrongMode = 3;
constexpr uint8_t kBusy = 4;

class Camera : public Model {
public:
    Camera() : Model("camera") { streams = {{kCameraData, 1}, {kCameraStatus, 2}, {kCameraLens, 1}}; }
    bool serves(uint16_t receiver) const override { return receiver == kCamera; }
    int result_at(const Req &r) const override {
        return (r.set == 2 && r.id == 184) || (r.set == 0 && r.id == kPingId) ? 1 : 0;  // zoom and ping: byte 1
    }

protected:
    void command(double t, const Req &r, Bytes &out) override {
        out.u8(0, 0);
        dispatch(*this, kCommands, t, r, out);
    }
    void step(double, Out &) override {}
    void fill(const Stream &s, double t, Bytes &m) override {
        if (s.msg.id == kCameraData.id) {
            m.u8(31, 3);  // camera type
        } else if (s.msg.id == kCameraStatus.id) {
            m.u8(0, busy(t) ? kCameraBusy : 0);
            m.u8(57, mode_);
            m.u8(61, static_cast<uint8_t>(std::min(62.0, 41 + t / 10)));  // core board temperature
        } else {
            m.u16(23, zoom_);
            m.u16(25, focal());
            m.u16(27, focus_);
        }
    }

private:
    bool busy(double t) const { return t < busy_until_ || recording_; }
    uint32_t focal() const { return 450u + zoom_ / 4; }  // tenths of a millimetre

    void query_mode(double, const Req &, Bytes &out) { out.u8(1, mode_); }
    void switch_mode(double t, const Req &r, Bytes &) {
        mode_ = r.in.get8(0) == kVideo ? kVideo : kPhoto;
        say("t=%.1f s: camera in %s mode\n", t, mode_ == kVideo ? "video" : "photo");
    }
    void take_photo(double t, const Req &, Bytes &out) {
        if (mode_ != kPhoto || busy(t)) {
            out.u8(0, mode_ != kPhoto ? kWrongMode : kBusy);
            return;
        }
        busy_until_ = t + kPhotoS;
        ++photos_;
        say("t=%.1f s: camera photo %u taken\n", t, photos_);
    }
    void take_video(double t, const Req &r, Bytes &out) {
        if (mode_ != kVideo) {
            out.u8(0, kWrongMode);
            return;
        }
        recording_ = r.in.get8(0) == 1;
        say("t=%.1f s: camera %s recording\n", t, recording_ ? "starts" : "stops");
    }
    void get_path(double, const Req &, Bytes &out) {
        char name[10];
        std::snprintf(name, sizeof name, "P%04u.JPG", photos_);
        out.text(1, name, 9);
    }
    void get_focus_mode(double, const Req &, Bytes &out) { out.u8(1, focus_mode_); }
    void set_focus_mode(double, const Req &r, Bytes &) { focus_mode_ = r.in.get8(0); }
    void get_status(double t, const Req &, Bytes &out) {
        out.u8(1, recording_ ? 2 : busy(t) ? 1 : 0);
        out.u8(kStatusDetailAt, static_cast<uint8_t>(photos_));
    }
    void focal_length(double, const Req &, Bytes &out) { out.u16(kFocalAt, focal()); }
    void set_focus(double, const Req &r, Bytes &) { focus_ = static_cast<uint16_t>(r.in.get(0, 2)); }
    void zoom(double t, const Req &r, Bytes &out) {
        zoom_ = static_cast<uint16_t>(r.in.get(2, 2));
        out.u8(1, 0);
        say("t=%.1f s: camera zoom %u\n", t, zoom_);
    }

    static constexpr Command<Camera> kCommands[] = {
        {2, 17, &Camera::query_mode},     {2, 16, &Camera::switch_mode}, {2, 1, &Camera::take_photo},
        {2, 2, &Camera::take_video},      {2, 146, &Camera::get_path},   {2, 37, &Camera::get_focus_mode},
        {2, 36, &Camera::set_focus_mode}, {2, 112, &Camera::get_status}, {2, 135, &Camera::focal_length},
        {2, 162, &Camera::set_focus},     {2, 184, &Camera::zoom},
    };

    uint8_t mode_ = kPhoto, focus_mode_ = 1;
    uint16_t zoom_ = 0, focus_ = 0;
    uint32_t photos_ = 0;
    bool recording_ = false;
    double busy_until_ = 0;
};

}  // namespace

Model *make_camera() { return new Camera; }

}  // namespace sim
