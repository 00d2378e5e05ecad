// Main camera cache: the state fed by the camera's pushes and by the applications. Accessors copy
// one item each: no lock, no log, no middleware call.
#include <cstdint>

#include "camera/src/cw_camera_cache.h"
#include "cirrow/cw_camera.h"
#include "cw_cell.h"

namespace cw::camera {
Word<uint8_t> g_reported_camera_type;
Word<StatusData> g_status;
Latest<LensInfo> g_lens_info;
}  // namespace cw::camera

namespace {

using cw::camera::g_lens_info;
using cw::camera::g_reported_camera_type;
using cw::camera::g_status;
using cw::camera::LensInfo;
using cw::camera::StatusData;

struct Resolution {
    float width;
    float height;
};

cw::Latest<Resolution> g_resolution;
cw::Word<uint32_t> g_aspect_type;
cw::Word<float> g_focus_lens;
cw::Word<uint8_t> g_focus_status;
cw::Word<uint8_t> g_piv_mode;

// One item of the status message, changed on its own.
template <uint8_t StatusData::*Item>
int32_t update_status(uint8_t value) {
    g_status.update([value](StatusData s) {
        s.*Item = value;
        return s;
    });
    return 0;
}

}  // namespace

// The busy status and the core board temperature survive the module's initialisation.
extern "C" int32_t cw_camera_module_init(void) {
    g_resolution.clear();
    g_aspect_type.store(0);
    g_focus_lens.store(0.0f);
    g_focus_status.store(0);
    g_piv_mode.store(0);
    g_reported_camera_type.store(0);
    update_status<&StatusData::mode_profile>(0);
    g_lens_info.clear();
    return 0;
}

extern "C" int32_t cw_camera_update_liveview_resolution(float width, float height) {
    const Resolution r{width, height};
    return cw::publish(g_resolution, &r);
}

extern "C" int32_t cw_camera_get_resolution(float *width, float *height) {
    CW_REQUIRE(width, height);
    Resolution r;
    cw::copy(g_resolution, &r);
    *width = r.width;
    *height = r.height;
    return 0;
}

extern "C" int32_t cw_camera_update_camera_lens_info(uint16_t a, uint16_t b, uint16_t c) {
    const LensInfo l{{a, b, c}};
    return cw::publish(g_lens_info, &l);
}

extern "C" int32_t cw_camera_get_camera_lens_info(uint16_t *a, uint16_t *b, uint16_t *c) {
    CW_REQUIRE(a, b, c);
    LensInfo l;
    cw::copy(g_lens_info, &l);
    *a = l.values[0];
    *b = l.values[1];
    *c = l.values[2];
    return 0;
}

// The aspect type is kept as a whole word and read back as its low byte.
extern "C" int32_t cw_camera_update_aspect_type(uint32_t aspect) { return cw::publish(g_aspect_type, aspect); }
extern "C" int32_t cw_camera_get_aspect_type(uint8_t *aspect) { return cw::copy(g_aspect_type, aspect); }
extern "C" int32_t cw_camera_update_focus_lens(float value) { return cw::publish(g_focus_lens, value); }
extern "C" int32_t cw_camera_get_focus_lens(float *value) { return cw::copy(g_focus_lens, value); }
extern "C" int32_t cw_camera_update_focus_status(uint8_t value) { return cw::publish(g_focus_status, value); }
extern "C" int32_t cw_camera_get_focus_status(uint8_t *value) { return cw::copy(g_focus_status, value); }
extern "C" int32_t cw_camera_update_piv_mode(uint8_t value) { return cw::publish(g_piv_mode, value); }
extern "C" int32_t cw_camera_get_piv_mode(uint8_t *value) { return cw::copy(g_piv_mode, value); }
extern "C" int32_t cw_camera_update_camera_type(uint8_t value) { return cw::publish(g_reported_camera_type, value); }
extern "C" int32_t cw_camera_get_camera_type(uint8_t *value) { return cw::copy(g_reported_camera_type, value); }
extern "C" int32_t cw_camera_update_camera_mode_profile(uint8_t value) {
    return update_status<&StatusData::mode_profile>(value);
}
extern "C" uint8_t cw_camera_get_camera_mode_profile(void) { return g_status.load().mode_profile; }
extern "C" int32_t cw_camera_update_camera_busy_status(uint8_t value) {
    return update_status<&StatusData::busy>(value);
}
extern "C" uint8_t cw_camera_get_camera_busy_status(void) { return g_status.load().busy; }
extern "C" int32_t cw_camera_update_core_board_temp(uint8_t value) {
    return update_status<&StatusData::core_board_temp>(value);
}
extern "C" uint8_t cw_camera_get_core_board_temp(void) { return g_status.load().core_board_temp; }
