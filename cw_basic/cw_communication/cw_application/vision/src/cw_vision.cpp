// Vision cache: the mission status words the vision push handlers advance, the latest VIO
// self-calibration and obstacle-avoidance results, the ToF value and the water-wave score, and
// the subscription aliases. Accessors copy one item each: no lock, no log, no middleware call.
#include <cstdint>

#include "cirrow/cw_vision.h"
#include "cw_cell.h"
#include "vision/src/cw_vision_cache.h"

extern "C" {
CW_API uint32_t g_water_wave_score = 0;
}

namespace cw::vision {
Word<int32_t> g_pano_status;
Word<uint8_t> g_pano_submode;
Word<int32_t> g_qs_proc;
Word<int32_t> g_qs_err;
Word<uint8_t> g_qs_index;
Word<uint8_t> g_qs_submode;
Word<int32_t> g_lapse_err;
Latest<VioCaliState> g_vio_cali;
Latest<OaResult> g_oa_result;
}  // namespace cw::vision

namespace {

using namespace cw::vision;

cw::Word<int32_t> g_lapse_proc;
cw::Word<uint16_t> g_tof;

}  // namespace

extern "C" int32_t cw_get_nav_pano_status(int32_t *status) { return cw::copy(g_pano_status, status); }
extern "C" int32_t cw_set_nav_pano_status(const int32_t *status) { return cw::publish(g_pano_status, status); }
extern "C" int32_t cw_get_nav_pano_submode(uint8_t *submode) { return cw::copy(g_pano_submode, submode); }
extern "C" int32_t cw_set_nav_pano_submode(uint8_t submode) { return cw::publish(g_pano_submode, submode); }
extern "C" int32_t cw_get_nav_qs_proc(int32_t *proc) { return cw::copy(g_qs_proc, proc); }
extern "C" int32_t cw_set_nav_qs_proc(const int32_t *proc) { return cw::publish(g_qs_proc, proc); }
extern "C" int32_t cw_get_nav_qs_err(int32_t *err) { return cw::copy(g_qs_err, err); }
extern "C" int32_t cw_set_nav_qs_err(const int32_t *err) { return cw::publish(g_qs_err, err); }
extern "C" int32_t cw_get_nav_qs_index(uint8_t *index) { return cw::copy(g_qs_index, index); }
extern "C" int32_t cw_set_nav_qs_index(const uint8_t *index) { return cw::publish(g_qs_index, index); }
extern "C" int32_t cw_get_nav_qs_submode(uint8_t *submode) { return cw::copy(g_qs_submode, submode); }
extern "C" int32_t cw_set_nav_qs_submode(uint8_t submode) { return cw::publish(g_qs_submode, submode); }
extern "C" int32_t cw_get_nav_lapse_err(int32_t *err) { return cw::copy(g_lapse_err, err); }
extern "C" int32_t cw_set_nav_lapse_err(const int32_t *err) { return cw::publish(g_lapse_err, err); }
extern "C" int32_t cw_get_nav_lapse_proc(int32_t *proc) { return cw::copy(g_lapse_proc, proc); }
extern "C" int32_t cw_set_nav_lapse_proc(const int32_t *proc) { return cw::publish(g_lapse_proc, proc); }

extern "C" int32_t cw_peception_get_vio_cali_state(VioCaliState *state) { return cw::copy(g_vio_cali, state); }
extern "C" int32_t cw_pec_update_vio_cali_state(const VioCaliState *state) { return cw::publish(g_vio_cali, state); }
extern "C" int32_t cw_vision_get_oa_result(OaResult *result) { return cw::copy(g_oa_result, result); }
extern "C" int32_t cw_vision_update_oa_result(const OaResult *result) { return cw::publish(g_oa_result, result); }
extern "C" int32_t cw_vision_get_tof_data(uint16_t *tof) { return cw::copy(g_tof, tof); }
extern "C" int32_t cw_vision_update_tof_data(const uint16_t *tof) { return cw::publish(g_tof, tof); }

extern "C" int32_t cw_get_water_wave_score(uint32_t *score) {
    CW_REQUIRE(score);
    *score = cw::load_exported(g_water_wave_score);
    return 0;
}

extern "C" int32_t cw_vision_subscribe_oa_result(uint8_t value) { return cw_v1_vision_api_subscribe_oa_result(value); }

extern "C" int32_t cw_vision_subscribe_ric_result(uint8_t value) {
    return cw_v1_vision_api_subscribe_ric_result(value);
}
