/* Vision and navigation: mission status, perception results, mission and self-test commands. */
/* Implemented in cw_basic/cw_communication/: cw_application/vision/src/cw_vision.cpp (cache, wrappers),
 * cw_protocal/src/api/cw_v1_vision_api.cpp (mission commands), cw_protocal/src/api/cw_v1_testcmd_api.cpp (autotest,
 * distance limit), cw_protocal/src/callback/cw_v1_vision_cb.cpp (push handlers). */
/* A null pointer argument is refused: a function with a result returns CW_ERR_PARAM and sends
 * nothing, one without a result does nothing. */
#ifndef CIRROW_CW_VISION_H
#define CIRROW_CW_VISION_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/* ---- Records ---- */

/* The last VIO self-calibration result. result_count counts the results received since the
 * library was loaded (the first one makes it 1). */
typedef struct {
    int32_t flag;
    float roll;
    float pitch;
    float yaw;
    uint64_t result_count;
} VioCaliState;
CW_STATIC_ASSERT(offsetof(VioCaliState, yaw) == 12 && offsetof(VioCaliState, result_count) == 16,
                 "VioCaliState field offsets");
CW_STATIC_ASSERT(sizeof(VioCaliState) == 24, "VioCaliState is 24 bytes");

/* The obstacle-avoidance flag byte: six one-bit flags in bits 0..5 (flag0 in bit 0) and a two-bit
 * field in bits 6..7. `byte` is the same eight bits as the vision module sent them. */
typedef union {
    uint8_t byte;
    struct {
        uint8_t flag0 : 1;
        uint8_t flag1 : 1;
        uint8_t flag2 : 1;
        uint8_t flag3 : 1;
        uint8_t flag4 : 1;
        uint8_t flag5 : 1;
        uint8_t field : 2;
    } bits;
} OaFlags;
CW_STATIC_ASSERT(sizeof(OaFlags) == 1, "OaFlags is one byte");

/* The last obstacle-avoidance result, copied unchanged from the vision module's message. */
typedef struct {
    uint8_t oa_state;
    uint16_t oa_value[6];
    OaFlags oa_flags;
} OaResult;
CW_STATIC_ASSERT(offsetof(OaResult, oa_value) == 2 && offsetof(OaResult, oa_flags) == 14, "OaResult field offsets");
CW_STATIC_ASSERT(sizeof(OaResult) == 16, "OaResult is 16 bytes");

/* ---- Vision cache ----
 * Written by the push handlers below and by applications; polled by applications. Every function
 * returns 0, copies one item and neither logs nor blocks. The library never resets the mission
 * status words: write them back to 0 before starting a mission to observe its progress. */

/* Pano status: 1 after a successful panorama result, -1 after a failed one, 0 before any. */
CW_API int32_t cw_get_nav_pano_status(int32_t *status);
CW_API int32_t cw_set_nav_pano_status(const int32_t *status);
/* Panorama submode from the OSD message (0..127). The setter takes the value itself. */
CW_API int32_t cw_get_nav_pano_submode(uint8_t *submode);
CW_API int32_t cw_set_nav_pano_submode(uint8_t submode);
/* Quick-shot proc: 0 idle, 1 under way, 2 finished. */
CW_API int32_t cw_get_nav_qs_proc(int32_t *proc);
CW_API int32_t cw_set_nav_qs_proc(const int32_t *proc);
/* Quick-shot err: 1 once a quick-shot result reported a failure. */
CW_API int32_t cw_get_nav_qs_err(int32_t *err);
CW_API int32_t cw_set_nav_qs_err(const int32_t *err);
/* Quick-shot index (applications only): 255 turns on the logging of quick-shot target reports. */
CW_API int32_t cw_get_nav_qs_index(uint8_t *index);
CW_API int32_t cw_set_nav_qs_index(const uint8_t *index);
/* Quick-shot submode from the OSD message (0..127). The setter takes the value itself. */
CW_API int32_t cw_get_nav_qs_submode(uint8_t *submode);
CW_API int32_t cw_set_nav_qs_submode(uint8_t submode);
/* Lapse err: 0 idle, -1 after a lapse report with state 2 or 4, 1 after a later state 0 or 5. */
CW_API int32_t cw_get_nav_lapse_err(int32_t *err);
CW_API int32_t cw_set_nav_lapse_err(const int32_t *err);
/* Lapse proc (applications only). */
CW_API int32_t cw_get_nav_lapse_proc(int32_t *proc);
CW_API int32_t cw_set_nav_lapse_proc(const int32_t *proc);

/* Whole-record copies: a reader never gets a record mixed from two results. */
CW_API int32_t cw_peception_get_vio_cali_state(VioCaliState *state);
CW_API int32_t cw_pec_update_vio_cali_state(const VioCaliState *state);
CW_API int32_t cw_vision_get_oa_result(OaResult *result);
CW_API int32_t cw_vision_update_oa_result(const OaResult *result);
CW_API int32_t cw_vision_get_tof_data(uint16_t *tof);
CW_API int32_t cw_vision_update_tof_data(const uint16_t *tof);

/* The water-wave score, written by its producer outside the library (its encoding is the
 * producer's); cw_get_water_wave_score copies the 32-bit word unchanged. */
extern CW_API uint32_t g_water_wave_score;
CW_API int32_t cw_get_water_wave_score(uint32_t *score);

/* ---- Push handlers ----
 * Each function attaches the library's handlers for a group of vision messages and returns 0.
 * Only the VIO and obstacle-avoidance pair can be detached again. */
CW_API int32_t cw_register_v1_vison_data(void);
CW_API int32_t cw_unregister_v1_vison_data(void);
CW_API int32_t cw_register_v1_get_pano_result(void);
CW_API int32_t cw_register_v1_quick_shot_result(void); /* quick-shot result and target index */
CW_API int32_t cw_register_v1_quick_shot_finished(void);
CW_API int32_t cw_register_v1_lapse_photo_result(void);
CW_API int32_t cw_register_v1_nav_osd(void);
CW_API int32_t cw_register_v1_nav_pano_status(void);

/* ---- Mission commands ----
 * Each sends one request to the vision processor without awaiting an answer and returns 0 once
 * it is sent, or the link's error code. The values are the vision processor's; none is checked. */
CW_API int32_t cw_v1_vision_api_subscribe_oa_result(uint8_t value);
CW_API int32_t cw_v1_vision_api_subscribe_ric_result(uint8_t value);
CW_API int32_t cw_vision_subscribe_oa_result(uint8_t value);  /* same as the _api_ form */
CW_API int32_t cw_vision_subscribe_ric_result(uint8_t value); /* same as the _api_ form */
CW_API int32_t cw_v1_vision_switch_to_pano(uint8_t value0, uint8_t value1);
CW_API int32_t cw_v1_vision_pano_control(uint8_t value);
CW_API int32_t cw_v1_quickshot_set_nit_box(uint8_t value0, float box0, float box1, float box2, float box3,
                                           uint8_t value1, uint16_t value2);
CW_API int32_t cw_v1_vision_quickshot_enable(uint8_t value0, uint8_t value1, uint8_t value2);
CW_API int32_t cw_v1_quickshot_set_param(uint8_t p0, uint8_t p1, uint8_t p2, uint8_t p3, uint8_t p4, uint8_t p5,
                                         uint8_t p6, uint8_t p7, uint8_t p8, float value, uint8_t p9, uint8_t p10,
                                         uint8_t p11);
CW_API int32_t cw_v1_quickshot_set_index(uint8_t value0, uint8_t value1, uint8_t value2);
CW_API int32_t cw_v1_lapse_photo_submode(uint8_t value);
CW_API int32_t cw_v1_lapse_photo_point(int32_t point0, int32_t point1, uint8_t value);
CW_API int32_t cw_v1_lapse_photo_go(uint8_t value0, uint16_t value1, uint16_t value2, uint64_t value3, uint8_t value4,
                                    uint8_t value5);
CW_API int32_t cw_v1_lapse_photo_recover(uint8_t value0, uint8_t value1);
CW_API int32_t cw_v1_qs160_mode(uint8_t value0, float value1, uint8_t value2);
/* cw_v1_qs160_index and cw_v1_qs160_go send the same request. */
CW_API int32_t cw_v1_qs160_index(uint8_t value);
CW_API int32_t cw_v1_qs160_go(uint8_t value);
/* Sends `count` records of 7 bytes each (CW_PANO_IMAGE_RECORD_LEN), copied unchanged.
 * CW_ERR_NOMEM, nothing sent, if the request cannot be laid out. */
#define CW_PANO_IMAGE_RECORD_LEN 7
CW_API int32_t cw_v1_pano_image_buf(uint32_t value0, uint8_t value1, uint8_t count, const uint8_t *records);

/* ---- Self-test ----
 * The first successful start of the process puts the vision processor into self-test; every
 * later start (also after a stop) sends nothing and returns 0. A failed start can be retried.
 * A start called while another thread's start is under way waits for its outcome instead of
 * sending a second request. Results: 0, the link's error code, or CW_ERR_ACK when the module
 * refused. */
CW_API int32_t cw_v1_testcmd_api_vision_start_autotest(void);
CW_API int32_t cw_v1_testcmd_api_vision_stop_autotest(void);
/* Lifts the flight controller's distance limit for the test flight. */
CW_API int32_t cw_v1_autotest_stop_distance_limit(void);

CW_EXTERN_C_END

#endif /* CIRROW_CW_VISION_H */
