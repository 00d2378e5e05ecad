/**
 * @file cw_vision.h
 * @brief Vision and navigation: mission status, perception results, mission and self-test commands.
 *
 * The vision processor reports on its missions (panorama, quick shot, lapse photo) and on its
 * perception (VIO self-calibration, obstacle avoidance) in pushes on command set 10. The push
 * handlers attached by the registration functions below keep the latest values in the vision
 * cache, which applications poll; the mission commands only send.
 *
 * The mission status words the cache keeps come from the status pushes (vision.pano_result,
 * vision.pano_status, vision.qs_result, vision.qs_finished, vision.qs_index, vision.lapse_result,
 * vision.nav_osd); what the virtual aircraft puts in each of their fields: @ref link_reference.
 *
 * Implemented in cw_basic/cw_communication/: cw_application/vision/src/cw_vision.cpp (cache,
 * wrappers), cw_protocal/src/api/cw_v1_vision_api.cpp (mission commands),
 * cw_protocal/src/api/cw_v1_testcmd_api.cpp (autotest, distance limit),
 * cw_protocal/src/callback/cw_v1_vision_cb.cpp (push handlers).
 */
#ifndef CIRROW_CW_VISION_H
#define CIRROW_CW_VISION_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/* ---- Records ---- */

/** @brief The last VIO self-calibration result, from the 10/112 push.
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, vision.vio_self_cali.
 */
typedef struct {
    int32_t flag;          /**< result flag as the vision module reports it (push bytes 0..3) */
    float roll;            /**< roll as reported (push bytes 4..7) */
    float pitch;           /**< pitch as reported (push bytes 8..11) */
    float yaw;             /**< yaw as reported (push bytes 12..15) */
    uint64_t result_count; /**< results received since the library was loaded; the first one makes it 1 */
} VioCaliState;
CW_STATIC_ASSERT(offsetof(VioCaliState, yaw) == 12 && offsetof(VioCaliState, result_count) == 16,
                 "VioCaliState field offsets");
CW_STATIC_ASSERT(sizeof(VioCaliState) == 24, "VioCaliState is 24 bytes");

/**
 * @brief The obstacle-avoidance flag byte: six one-bit flags in bits 0..5 (flag0 in bit 0) and a
 *        two-bit field in bits 6..7.
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, vision.oa_result.
 */
typedef union {
    uint8_t byte; /**< the same eight bits as the vision module sent them */
    /** @brief The bits one by one. */
    struct {
        uint8_t flag0 : 1; /**< bit 0 */
        uint8_t flag1 : 1; /**< bit 1 */
        uint8_t flag2 : 1; /**< bit 2 */
        uint8_t flag3 : 1; /**< bit 3 */
        uint8_t flag4 : 1; /**< bit 4 */
        uint8_t flag5 : 1; /**< bit 5 */
        uint8_t field : 2; /**< bits 6..7 */
    } bits;
} OaFlags;
CW_STATIC_ASSERT(sizeof(OaFlags) == 1, "OaFlags is one byte");

/** @brief The last obstacle-avoidance result, copied unchanged from the 10/115 push.
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, vision.oa_result.
 */
typedef struct {
    uint8_t oa_state;     /**< push byte 0 */
    uint16_t oa_value[6]; /**< the six 16-bit values at push bytes 1, 3, 5, 7, 9 and 11 */
    OaFlags oa_flags;     /**< push byte 13 */
} OaResult;
CW_STATIC_ASSERT(offsetof(OaResult, oa_value) == 2 && offsetof(OaResult, oa_flags) == 14, "OaResult field offsets");
CW_STATIC_ASSERT(sizeof(OaResult) == 16, "OaResult is 16 bytes");

/* ---- Vision cache ----
 * Written by the push handlers below and by applications; polled by applications. Every function
 * copies one item and neither logs nor blocks, and returns 0, or CW_ERR_PARAM for a null pointer.
 * The library never resets the mission status words: write them back to 0 before starting a
 * mission to observe its progress. */

/**
 * @brief Reads the pano status, written by the 10/77 pano result handler.
 * @param[out] status 1 after a successful panorama result, -1 after a failed one, 0 before any.
 * @return 0; #CW_ERR_PARAM if @p status is null.
 */
CW_API int32_t cw_get_nav_pano_status(int32_t *status);
/**
 * @brief Sets the pano status (write 0 before a panorama).
 * @param status the value to store.
 * @return 0; #CW_ERR_PARAM if @p status is null.
 */
CW_API int32_t cw_set_nav_pano_status(const int32_t *status);
/**
 * @brief Reads the panorama submode, written by the 10/90 OSD handler.
 * @param[out] submode 0..127.
 * @return 0; #CW_ERR_PARAM if @p submode is null.
 */
CW_API int32_t cw_get_nav_pano_submode(uint8_t *submode);
/** @brief Sets the panorama submode. @param submode the value itself. @return 0. */
CW_API int32_t cw_set_nav_pano_submode(uint8_t submode);
/**
 * @brief Reads the quick-shot proc, advanced by the 10/150 quick-shot finished handler.
 * @param[out] proc 0 idle, 1 under way, 2 finished.
 * @return 0; #CW_ERR_PARAM if @p proc is null.
 */
CW_API int32_t cw_get_nav_qs_proc(int32_t *proc);
/**
 * @brief Sets the quick-shot proc (write 0 before a quick shot: 2 never returns to 0 by itself).
 * @param proc the value to store.
 * @return 0; #CW_ERR_PARAM if @p proc is null.
 */
CW_API int32_t cw_set_nav_qs_proc(const int32_t *proc);
/**
 * @brief Reads the quick-shot err, set by the 10/57 quick-shot result handler.
 * @param[out] err 1 once a quick-shot result reported a failure (code 2 or above), else 0.
 * @return 0; #CW_ERR_PARAM if @p err is null.
 */
CW_API int32_t cw_get_nav_qs_err(int32_t *err);
/**
 * @brief Sets the quick-shot err (write 0 before a quick shot: it is never cleared by itself).
 * @param err the value to store.
 * @return 0; #CW_ERR_PARAM if @p err is null.
 */
CW_API int32_t cw_set_nav_qs_err(const int32_t *err);
/**
 * @brief Reads the quick-shot index (applications only).
 * @param[out] index the value last set.
 * @return 0; #CW_ERR_PARAM if @p index is null.
 */
CW_API int32_t cw_get_nav_qs_index(uint8_t *index);
/**
 * @brief Sets the quick-shot index; 255 turns on the logging of the 10/149 quick-shot target reports.
 * @param index the value to store.
 * @return 0; #CW_ERR_PARAM if @p index is null.
 */
CW_API int32_t cw_set_nav_qs_index(const uint8_t *index);
/**
 * @brief Reads the quick-shot submode, written by the 10/90 OSD handler.
 * @param[out] submode 0..127.
 * @return 0; #CW_ERR_PARAM if @p submode is null.
 */
CW_API int32_t cw_get_nav_qs_submode(uint8_t *submode);
/** @brief Sets the quick-shot submode. @param submode the value itself. @return 0. */
CW_API int32_t cw_set_nav_qs_submode(uint8_t submode);
/**
 * @brief Reads the lapse err, advanced by the 10/121 lapse photo result handler.
 * @param[out] err 0 idle, -1 after a lapse report with state 2 or 4, 1 after a later state 0 or 5.
 * @return 0; #CW_ERR_PARAM if @p err is null.
 */
CW_API int32_t cw_get_nav_lapse_err(int32_t *err);
/**
 * @brief Sets the lapse err (write 0 before a lapse photo: it is never cleared by itself).
 * @param err the value to store.
 * @return 0; #CW_ERR_PARAM if @p err is null.
 */
CW_API int32_t cw_set_nav_lapse_err(const int32_t *err);
/**
 * @brief Reads the lapse proc (applications only).
 * @param[out] proc the value last set.
 * @return 0; #CW_ERR_PARAM if @p proc is null.
 */
CW_API int32_t cw_get_nav_lapse_proc(int32_t *proc);
/**
 * @brief Sets the lapse proc.
 * @param proc the value to store.
 * @return 0; #CW_ERR_PARAM if @p proc is null.
 */
CW_API int32_t cw_set_nav_lapse_proc(const int32_t *proc);

/**
 * @brief Copies the last VIO self-calibration result out, whole (all zero before the first).
 * @param[out] state receives the record.
 * @return 0; #CW_ERR_PARAM if @p state is null.
 */
CW_API int32_t cw_peception_get_vio_cali_state(VioCaliState *state);
/**
 * @brief Replaces the VIO self-calibration result, result_count included (the next push counts on from it).
 * @param state the record to copy in.
 * @return 0; #CW_ERR_PARAM if @p state is null.
 */
CW_API int32_t cw_pec_update_vio_cali_state(const VioCaliState *state);
/**
 * @brief Copies the last obstacle-avoidance result out, whole (all zero before the first).
 * @param[out] result receives the record.
 * @return 0; #CW_ERR_PARAM if @p result is null.
 */
CW_API int32_t cw_vision_get_oa_result(OaResult *result);
/**
 * @brief Replaces the obstacle-avoidance result (the 10/115 handler stores through this too).
 * @param result the record to copy in.
 * @return 0; #CW_ERR_PARAM if @p result is null.
 */
CW_API int32_t cw_vision_update_oa_result(const OaResult *result);
/**
 * @brief Reads the ToF value (applications only; no push writes it).
 * @param[out] tof the value last stored, 0 before any.
 * @return 0; #CW_ERR_PARAM if @p tof is null.
 */
CW_API int32_t cw_vision_get_tof_data(uint16_t *tof);
/**
 * @brief Stores the ToF value.
 * @param tof the value to store.
 * @return 0; #CW_ERR_PARAM if @p tof is null.
 */
CW_API int32_t cw_vision_update_tof_data(const uint16_t *tof);

/**
 * @brief The water-wave score, written by its producer outside the library (its encoding is the
 *        producer's); 0 at load. Read it with cw_get_water_wave_score().
 */
extern CW_API uint32_t g_water_wave_score;
/**
 * @brief Copies the 32-bit word of #g_water_wave_score unchanged.
 * @param[out] score receives the word.
 * @return 0; #CW_ERR_PARAM if @p score is null.
 */
CW_API int32_t cw_get_water_wave_score(uint32_t *score);

/* ---- Push handlers ----
 * Each function attaches the library's handlers for a group of vision messages and returns 0,
 * whatever the middleware answers. Only the VIO and obstacle-avoidance pair can be detached. */

/**
 * @brief Attaches the VIO self-calibration (10/112) and obstacle-avoidance (10/115) handlers.
 *
 * The VIO handler also prints every result on standard output.
 * @return 0.
 */
CW_API int32_t cw_register_v1_vison_data(void);
/** @brief Detaches the 10/112 and 10/115 handlers. @return 0. */
CW_API int32_t cw_unregister_v1_vison_data(void);
/** @brief Attaches the pano result handler (10/77), which sets the pano status. @return 0. */
CW_API int32_t cw_register_v1_get_pano_result(void);
/**
 * @brief Attaches the quick-shot result (10/57) handler, which sets the quick-shot err, and the
 *        target index (10/149) handler, which logs target reports while the quick-shot index is 255.
 * @return 0.
 */
CW_API int32_t cw_register_v1_quick_shot_result(void);
/** @brief Attaches the quick-shot finished handler (10/150), which advances the quick-shot proc. @return 0. */
CW_API int32_t cw_register_v1_quick_shot_finished(void);
/** @brief Attaches the lapse photo result handler (10/121), which advances the lapse err. @return 0. */
CW_API int32_t cw_register_v1_lapse_photo_result(void);
/** @brief Attaches the navigation OSD handler (10/90), which sets the two submodes. @return 0. */
CW_API int32_t cw_register_v1_nav_osd(void);
/** @brief Attaches the navigation pano status handler (10/84), which only logs. @return 0. */
CW_API int32_t cw_register_v1_nav_pano_status(void);

/* ---- Mission commands ----
 * Each sends one request on command set 10 without awaiting an answer and returns 0 once it is
 * sent, or the middleware's code. The values are the vision processor's; none is checked.
 * Progress comes back in the pushes above. */

/**
 * @brief Subscribes to obstacle-avoidance results: 10/116 to 0x1200.
 * @param value the subscription byte.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_vision_api_subscribe_oa_result(uint8_t value);
/**
 * @brief Subscribes to ric results: 10/183 to 0x1200.
 * @param value the subscription byte.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_vision_api_subscribe_ric_result(uint8_t value);
/** @brief Same as cw_v1_vision_api_subscribe_oa_result(). @param value the subscription byte. @return its result. */
CW_API int32_t cw_vision_subscribe_oa_result(uint8_t value);
/** @brief Same as cw_v1_vision_api_subscribe_ric_result(). @param value the subscription byte. @return its result. */
CW_API int32_t cw_vision_subscribe_ric_result(uint8_t value);
/**
 * @brief Switches the vision processor to panorama: 10/91 to 0x1107, the two bytes in order.
 * @param value0 payload byte 0.
 * @param value1 payload byte 1.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_vision_switch_to_pano(uint8_t value0, uint8_t value1);
/**
 * @brief Controls the panorama (start, ...): 10/62 to 0x1107.
 * @param value the control byte.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_vision_pano_control(uint8_t value);
/**
 * @brief Sets the quick-shot target box: 10/32 to 0x1107, 20 bytes.
 * @param value0 payload byte 0.
 * @param box0 first box value, float at payload byte 1.
 * @param box1 second box value, byte 5.
 * @param box2 third box value, byte 9.
 * @param box3 fourth box value, byte 13.
 * @param value1 payload byte 17.
 * @param value2 payload bytes 18..19.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_quickshot_set_nit_box(uint8_t value0, float box0, float box1, float box2, float box3,
                                           uint8_t value1, uint16_t value2);
/**
 * @brief Enables the quick shot (or the lapse photo): 10/41 to 0x1107, the three bytes in order.
 * @param value0 payload byte 0.
 * @param value1 payload byte 1.
 * @param value2 payload byte 2.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_vision_quickshot_enable(uint8_t value0, uint8_t value1, uint8_t value2);
/**
 * @brief Sets the quick-shot parameters: 10/74 to 0x1107, 16 bytes (p0..p8, the float at byte 9, p9..p11).
 * @param p0 payload byte 0.
 * @param p1 payload byte 1.
 * @param p2 payload byte 2.
 * @param p3 payload byte 3.
 * @param p4 payload byte 4.
 * @param p5 payload byte 5.
 * @param p6 payload byte 6.
 * @param p7 payload byte 7.
 * @param p8 payload byte 8.
 * @param value float at payload bytes 9..12.
 * @param p9 payload byte 13.
 * @param p10 payload byte 14.
 * @param p11 payload byte 15.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_quickshot_set_param(uint8_t p0, uint8_t p1, uint8_t p2, uint8_t p3, uint8_t p4, uint8_t p5,
                                         uint8_t p6, uint8_t p7, uint8_t p8, float value, uint8_t p9, uint8_t p10,
                                         uint8_t p11);
/**
 * @brief Sets the quick-shot index: 10/148 to 0x1107, the three bytes in order.
 * @param value0 payload byte 0.
 * @param value1 payload byte 1.
 * @param value2 payload byte 2.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_quickshot_set_index(uint8_t value0, uint8_t value1, uint8_t value2);
/**
 * @brief Sets the lapse photo submode: 10/116 to 0x1107.
 * @param value the submode byte.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_lapse_photo_submode(uint8_t value);
/**
 * @brief Sets a lapse photo point: 10/118 to 0x1107, 9 bytes.
 * @param point0 payload bytes 0..3.
 * @param point1 payload bytes 4..7.
 * @param value payload byte 8.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_lapse_photo_point(int32_t point0, int32_t point1, uint8_t value);
/**
 * @brief Starts the lapse photo: 10/120 to 0x1107, 15 bytes.
 * @param value0 payload byte 0.
 * @param value1 payload bytes 1..2.
 * @param value2 payload bytes 3..4.
 * @param value3 payload bytes 5..12.
 * @param value4 payload byte 13.
 * @param value5 payload byte 14.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_lapse_photo_go(uint8_t value0, uint16_t value1, uint16_t value2, uint64_t value3, uint8_t value4,
                                    uint8_t value5);
/**
 * @brief Recovers the lapse photo: 10/122 to 0x1107, the two bytes in order.
 * @param value0 payload byte 0.
 * @param value1 payload byte 1.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_lapse_photo_recover(uint8_t value0, uint8_t value1);
/**
 * @brief Sets the qs160 mode: 10/240 to 0x0200, 6 bytes.
 * @param value0 payload byte 0.
 * @param value1 float at payload bytes 1..4.
 * @param value2 payload byte 5.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_qs160_mode(uint8_t value0, float value1, uint8_t value2);
/**
 * @brief Sets the qs160 index: 10/241 to 0x0200 (the same request as cw_v1_qs160_go()).
 * @param value the payload byte.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_qs160_index(uint8_t value);
/**
 * @brief Starts the qs160: 10/241 to 0x0200 (the same request as cw_v1_qs160_index()).
 * @param value the payload byte.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_qs160_go(uint8_t value);
/** @brief Length of one panorama image record. */
#define CW_PANO_IMAGE_RECORD_LEN 7
/**
 * @brief Sends panorama image records: 10/155 to 0x1107, 8 + 7 x @p count bytes (at most 1793).
 *
 * The payload is @p value0 (32 bits), @p value1, two zero bytes, @p count, then the records copied
 * unchanged.
 * @param value0 payload bytes 0..3.
 * @param value1 payload byte 4.
 * @param count number of records, 0..255.
 * @param records @p count records of #CW_PANO_IMAGE_RECORD_LEN bytes each.
 * @return 0 once sent; the middleware's code; #CW_ERR_NOMEM if the request cannot be laid out;
 *         #CW_ERR_PARAM if @p records is null and @p count is not 0 (nothing sent).
 */
CW_API int32_t cw_v1_pano_image_buf(uint32_t value0, uint8_t value1, uint8_t count, const uint8_t *records);

/* ---- Self-test ---- */

/**
 * @brief Puts the vision processor into self-test, once per process.
 *
 * Sends 16/27 with 1 to 0x1107 and awaits the result byte (200 ms). After the first successful
 * start every later start (also after a stop) sends nothing and returns 0; a failed start can be
 * retried. A start called while another thread's start is under way waits for its outcome.
 * @return 0; the middleware's code; #CW_ERR_ACK when the module refused.
 */
CW_API int32_t cw_v1_testcmd_api_vision_start_autotest(void);
/**
 * @brief Takes the vision processor out of self-test: 16/27 with 0 to 0x1107, result byte awaited (200 ms).
 * @return 0; the middleware's code; #CW_ERR_ACK when the module refused.
 */
CW_API int32_t cw_v1_testcmd_api_vision_stop_autotest(void);
/**
 * @brief Lifts the flight controller's distance limit for the test flight.
 *
 * Sends 3/218 to 0x0306 (0x07, eight 0x00, fourteen 0x01) and awaits two answer bytes (200 ms);
 * byte 1 is the result.
 * @return 0; the middleware's code; #CW_ERR_ACK when answer byte 1 is non-zero.
 */
CW_API int32_t cw_v1_autotest_stop_distance_limit(void);

CW_EXTERN_C_END

#endif /* CIRROW_CW_VISION_H */
