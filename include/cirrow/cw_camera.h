/**
 * @file cw_camera.h
 * @brief Main camera: state cache, camera commands, intrinsics.
 *
 * Every camera command goes to the camera, receiver 0x0100, on command set 2 (the heartbeat and
 * the ping on the common set 0).
 *
 * Implemented in cw_basic/cw_communication/: cw_application/camera/src/cw_camera.cpp (cache,
 * wrappers, intrinsics), cw_protocal/src/api/cw_v1_camera_api.cpp (commands),
 * cw_protocal/src/callback/cw_v1_camera_cb.cpp (push handlers).
 */
#ifndef CIRROW_CW_CAMERA_H
#define CIRROW_CW_CAMERA_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/* ---- Records ---- */

/** @brief Answer of the camera status query (cw_v1_camera_api_get_status()).
 *
 * What its fields hold on the virtual aircraft, and in which unit: @ref link_reference, camera.status_data.
 */
typedef struct {
    uint32_t state; /**< answer byte 1, zero-extended */
    uint8_t detail; /**< answer byte 5 */
} CameraStatusInfo;
CW_STATIC_ASSERT(offsetof(CameraStatusInfo, detail) == 4 && sizeof(CameraStatusInfo) == 8, "CameraStatusInfo layout");

/**
 * @brief One entry of the main camera's factory calibration, packed.
 *
 * An array's second entry starts at byte 61, so its fields are unaligned: access them as fields,
 * never through pointers to them.
 */
#pragma pack(push, 1)
typedef struct {
    uint32_t focal_length;       /**< the calibrated focal length (240, 280 or 480) */
    float main_camera_matrix[9]; /**< row-major 3x3: fx 0 cx / 0 fy cy / 0 0 1 */
    float main_camera_coeff[5];  /**< distortion: d0 d1 d3 d4 d2 */
    uint8_t cali_valid;          /**< 1: the entry holds a calibration */
} CaliRes;
#pragma pack(pop)
CW_STATIC_ASSERT(offsetof(CaliRes, main_camera_matrix) == 4 && offsetof(CaliRes, main_camera_coeff) == 40 &&
                     offsetof(CaliRes, cali_valid) == 60 && sizeof(CaliRes) == 61,
                 "CaliRes layout");

/* ---- Camera state cache ----
 * The camera type, mode profile, lens parameters, busy flag and core board temperature are
 * pushed by the camera; the other items are the applications' own. A reader never sees one item
 * half-written, nor a resolution pair or lens triple from two different updates; a getter called
 * before the first update yields 0. */

/** @brief Zeroes the cache; the busy status and the core board temperature stay as they are. @return 0. */
CW_API int32_t cw_camera_module_init(void);

/**
 * @brief Stores the live-view resolution.
 * @param width first value.
 * @param height second value.
 * @return 0.
 */
CW_API int32_t cw_camera_update_liveview_resolution(float width, float height);
/**
 * @brief Reads the live-view resolution, both values from one update.
 * @param[out] width receives the first value.
 * @param[out] height receives the second value.
 * @return 0; #CW_ERR_PARAM if a pointer is null.
 */
CW_API int32_t cw_camera_get_resolution(float *width, float *height);
/** @brief Stores the aspect type, a whole 32-bit word. @param aspect the value. @return 0. */
CW_API int32_t cw_camera_update_aspect_type(uint32_t aspect);
/**
 * @brief Reads the aspect type.
 * @param[out] aspect receives the low byte of the stored word.
 * @return 0; #CW_ERR_PARAM if @p aspect is null.
 */
CW_API int32_t cw_camera_get_aspect_type(uint8_t *aspect);
/** @brief Stores the focus lens value. @param value the value. @return 0. */
CW_API int32_t cw_camera_update_focus_lens(float value);
/**
 * @brief Reads the focus lens value.
 * @param[out] value receives it.
 * @return 0; #CW_ERR_PARAM if @p value is null.
 */
CW_API int32_t cw_camera_get_focus_lens(float *value);
/** @brief Stores the focus status. @param value the value. @return 0. */
CW_API int32_t cw_camera_update_focus_status(uint8_t value);
/**
 * @brief Reads the focus status.
 * @param[out] value receives it.
 * @return 0; #CW_ERR_PARAM if @p value is null.
 */
CW_API int32_t cw_camera_get_focus_status(uint8_t *value);
/** @brief Stores the piv mode. @param value the value. @return 0. */
CW_API int32_t cw_camera_update_piv_mode(uint8_t value);
/**
 * @brief Reads the piv mode.
 * @param[out] value receives it.
 * @return 0; #CW_ERR_PARAM if @p value is null.
 */
CW_API int32_t cw_camera_get_piv_mode(uint8_t *value);
/**
 * @brief Stores the camera type as the camera reports it (byte 31 of the 2/16 push; not #camera_type).
 * @param value the value.
 * @return 0.
 */
CW_API int32_t cw_camera_update_camera_type(uint8_t value);
/**
 * @brief Reads the camera type as the camera reports it.
 * @param[out] value receives it.
 * @return 0; #CW_ERR_PARAM if @p value is null.
 */
CW_API int32_t cw_camera_get_camera_type(uint8_t *value);
/** @brief Stores the mode profile (byte 57 of the 2/128 push). @param value the value. @return 0. */
CW_API int32_t cw_camera_update_camera_mode_profile(uint8_t value);
/** @brief Reads the mode profile. @return the value. */
CW_API uint8_t cw_camera_get_camera_mode_profile(void);
/**
 * @brief Stores the three lens parameters (bytes 23, 25 and 27 of the 2/135 push).
 * @param a first value.
 * @param b second value.
 * @param c third value.
 * @return 0.
 */
CW_API int32_t cw_camera_update_camera_lens_info(uint16_t a, uint16_t b, uint16_t c);
/**
 * @brief Reads the three lens parameters, all from one update.
 * @param[out] a receives the first value.
 * @param[out] b receives the second value.
 * @param[out] c receives the third value.
 * @return 0; #CW_ERR_PARAM if a pointer is null.
 */
CW_API int32_t cw_camera_get_camera_lens_info(uint16_t *a, uint16_t *b, uint16_t *c);
/** @brief Stores the busy status (from byte 0 of the 2/128 push). @param value 1 busy, 0 not. @return 0. */
CW_API int32_t cw_camera_update_camera_busy_status(uint8_t value);
/** @brief Reads the busy status. @return 1 while the camera is busy, else 0. */
CW_API uint8_t cw_camera_get_camera_busy_status(void);
/** @brief Stores the core board temperature (byte 61 of the 2/128 push). @param value the value. @return 0. */
CW_API int32_t cw_camera_update_core_board_temp(uint8_t value);
/** @brief Reads the core board temperature, unsigned as pushed. @return the value. */
CW_API uint8_t cw_camera_get_core_board_temp(void);

/* ---- Camera pushes ---- */

/** @brief Attaches the camera data handler (2/16: camera type), for the life of the process. @return 0. */
CW_API int32_t cw_register_v1_camera_data(void);
/** @brief Attaches the status data handler (2/128: busy flag, mode profile, core board temperature). @return 0. */
CW_API int32_t cw_register_v1_camera_status_data(void);
/** @brief Detaches the 2/128 handler. @return 0. */
CW_API int32_t cw_unregister_v1_camera_status_data(void);
/** @brief Attaches the lens parameter handler (2/135). @return 0. */
CW_API int32_t cw_register_v1_camera_len_para_data(void);
/** @brief Detaches the 2/135 handler. @return 0. */
CW_API int32_t cw_unregister_v1_camera_len_para_data(void);

/* ---- Camera commands ----
 * Most commands return 0, or CW_ERR_ACK when the request could not be sent, was not answered in
 * time, or the camera answered with a non-zero result byte: the middleware's own code then
 * appears only in the usrlog failure line. "Logged only" commands return the send result and
 * only log a non-zero result byte. Waits are 2 s unless stated. Out-parameters are written on
 * success only. A null pointer argument gives CW_ERR_PARAM and nothing is sent, except where a
 * text argument says otherwise. */

/**
 * @brief Queries the work mode: 2/17, two answer bytes.
 * @param[out] mode 0 photo, 1 video.
 * @return 0; #CW_ERR_ACK; #CW_ERR_PARAM if @p mode is null.
 */
CW_API int32_t cw_v1_camera_api_query_camera_mode(uint8_t *mode);
/**
 * @brief Switches the work mode: queries it, and sends 2/16 only when it differs.
 * @param mode "VIDEO" (exactly) asks for video; any other text, or null, for photo.
 * @return 0; #CW_ERR_ACK when the query or the switch failed.
 */
CW_API int32_t cw_v1_camera_api_switch_mode(const char *mode);
/**
 * @brief Sends a heartbeat to the camera: 0/14, no answer awaited.
 * @return 0 once sent; the middleware's code.
 */
CW_API int32_t cw_v1_camera_api_send_heartbeat(void);
/**
 * @brief Sets the photo storage format: 2/22, result byte awaited (200 ms). A failure is logged on the leveled log.
 * @param format the camera's format value.
 * @return 0; #CW_ERR_ACK.
 */
CW_API int32_t cw_v1_camera_api_set_photo_storage_format(uint8_t format);
/**
 * @brief Chooses where the camera stores files: 2/218, 8 bytes, result byte awaited (200 ms).
 * @param name "SDCard" or "EMCC" (exactly).
 * @return 0; #CW_ERR_ACK, also for any other name or null (nothing sent).
 */
CW_API int32_t cw_v1_camera_api_set_storage_path(const char *name);
/**
 * @brief Starts or stops video recording: 2/2 with 1 or 0.
 * @param action "START" or "STOP" (exactly).
 * @return 0; #CW_ERR_ACK; #CW_ERR_PARAM for any other text or null (nothing sent).
 */
CW_API int32_t cw_v1_camera_api_take_video(const char *action);
/**
 * @brief Asks for the current file path: 2/146. The camera's 10-byte answer, result byte first,
 *        is written straight into @p answer.
 * @param[out] answer buffer of 10 bytes.
 * @return 0 when answered, whatever the result byte; #CW_ERR_ACK when the request failed;
 *         #CW_ERR_PARAM if @p answer is null.
 */
CW_API int32_t cw_v1_camera_api_get_path(uint8_t *answer);
/**
 * @brief Reads the focus mode: 2/37. Logged only.
 * @param[out] mode receives answer byte 1 when the result byte is 0.
 * @return the send result: 0 once answered (also when refused, @p mode then unchanged), the
 *         middleware's code; #CW_ERR_PARAM if @p mode is null.
 */
CW_API int32_t cw_v1_camera_api_get_focus_mode(uint8_t *mode);
/**
 * @brief Sets the focus mode: 2/36 with the byte.
 * @param mode the camera's focus mode.
 * @return 0; #CW_ERR_ACK.
 */
CW_API int32_t cw_v1_camera_api_set_focus_mode(uint8_t mode);
/**
 * @brief Queries the camera status: 2/112, six answer bytes.
 * @param[out] status receives answer byte 1 (state) and byte 5 (detail).
 * @return 0; #CW_ERR_ACK; #CW_ERR_PARAM if @p status is null.
 */
CW_API int32_t cw_v1_camera_api_get_status(CameraStatusInfo *status);
/**
 * @brief Sets the autofocus region: 2/48 with the 8 bytes.
 * @param region 8 bytes, sent unchanged.
 * @return 0; #CW_ERR_ACK; #CW_ERR_PARAM if @p region is null.
 */
CW_API int32_t cw_v1_camera_set_af_region(const uint8_t *region);
/**
 * @brief Reads the current focal length: 2/135, a 47-byte answer.
 * @param[out] focal receives the 16-bit value at answer byte 28.
 * @return 0; #CW_ERR_ACK; #CW_ERR_PARAM if @p focal is null.
 */
CW_API int32_t cw_v1_camera_get_curr_focus_len(uint16_t *focal);
/**
 * @brief Switches the exposure mode: 2/30 with the two bytes.
 * @param first payload byte 0.
 * @param second payload byte 1.
 * @return 0; #CW_ERR_ACK.
 */
CW_API int32_t cw_v1_camera_api_switch_exposure_mode(uint8_t first, uint8_t second);
/**
 * @brief Sets the ISO: 2/42 with the byte.
 * @param iso the camera's ISO value.
 * @return 0; #CW_ERR_ACK.
 */
CW_API int32_t cw_v1_camera_api_set_iso(uint8_t iso);
/**
 * @brief Sets the shutter: 2/40, 4 bytes. Logged only.
 * @param first payload byte 0.
 * @param flag non-zero sets bit 15 of @p value (bit 15 is never cleared).
 * @param value payload bytes 1..2.
 * @param last payload byte 3.
 * @return the send result: 0 once answered (also when refused), the middleware's code.
 */
CW_API int32_t cw_v1_camera_api_set_shutter(uint8_t first, int32_t flag, uint16_t value, uint8_t last);
/**
 * @brief Sets the video format: 2/24 with the 5 bytes.
 * @param format 5 bytes, sent unchanged.
 * @return 0; #CW_ERR_ACK; #CW_ERR_PARAM if @p format is null.
 */
CW_API int32_t cw_v1_camera_api_set_video_format(const uint8_t *format);
/**
 * @brief Sets the video storage format: 2/28 with the byte.
 * @param format the camera's format value.
 * @return 0; #CW_ERR_ACK.
 */
CW_API int32_t cw_v1_camera_api_set_video_storage_format(uint8_t format);
/**
 * @brief Sets the focus: 2/162 with the 16-bit value. Logged only.
 * @param focus the camera's focus value.
 * @return the send result: 0 once answered (also when refused), the middleware's code.
 */
CW_API int32_t cw_v1_camera_api_set_camera_focus(uint16_t focus);
/**
 * @brief Sets the photo format: 2/106 with the 6 bytes. Logged only.
 * @param format 6 bytes, sent unchanged; byte 0 (mode) at most 13, byte 2 (type) at most 2.
 * @return the send result: 0 once answered (also when refused), the middleware's code;
 *         #CW_ERR_PARAM (nothing sent) for a mode or type out of range or a null @p format.
 */
CW_API int32_t cw_v1_camera_api_set_photo_format(const uint8_t *format);
/**
 * @brief Sets the time-lapse parameters: 2/74 with the 6 bytes.
 * @param params 6 bytes, sent unchanged.
 * @return 0; #CW_ERR_ACK; #CW_ERR_PARAM if @p params is null.
 */
CW_API int32_t cw_v1_camera_api_set_timelapse(const uint8_t *params);
/**
 * @brief Takes a photo: 2/1 with the type, result byte awaited (5 s).
 * @param type the photo type, 0..9.
 * @return 0; #CW_ERR_ACK; #CW_ERR_PARAM for a type above 9 (nothing sent).
 */
CW_API int32_t cw_v1_camera_api_take_photo(uint8_t type);
/**
 * @brief Sets the camera's top mode: 2/225 with the byte.
 * @param mode the camera's top mode.
 * @return 0; the middleware's code when the request failed; #CW_ERR_ACK when the camera refused.
 */
CW_API int32_t cw_v1_camera_set_top_mode(uint8_t mode);
/**
 * @brief Pings the camera: 0/0 with the byte. Logged only: answer byte 1 is logged (255 when
 *        nothing came back).
 * @param value the byte sent.
 * @return the send result: 0 once answered, the middleware's code.
 */
CW_API int32_t cw_v1_camera_api_ping(uint8_t value);
/**
 * @brief Sets the zoom: 2/184 with 1, 74 and the 16-bit zoom. Logged only.
 * @param a not used.
 * @param b not used.
 * @param zoom the camera's zoom value.
 * @return the send result: 0 once answered, the middleware's code.
 */
CW_API int32_t cw_v1_camera_control_zoom(int32_t a, int32_t b, uint16_t zoom);

/* Convenience wrappers: each returns the result of the command it forwards to. */

/** @brief Same as cw_v1_camera_api_query_camera_mode(). @param[out] mode 0 photo, 1 video. @return its result. */
CW_API int32_t cw_camera_get_workmode(uint8_t *mode);
/** @brief Same as cw_v1_camera_api_send_heartbeat(). @return its result. */
CW_API int32_t cw_camera_send_heartbeat(void);
/** @brief Same as cw_v1_camera_api_set_video_format(). @param format 5 bytes. @return its result. */
CW_API int32_t cw_camera_set_video_format(const uint8_t *format);
/** @brief Same as cw_v1_camera_api_set_focus_mode(). @param mode the focus mode. @return its result. */
CW_API int32_t cw_camera_set_focus_mode(uint8_t mode);
/** @brief Same as cw_v1_camera_api_get_focus_mode(). @param[out] mode the focus mode. @return its result. */
CW_API int32_t cw_camera_get_focus_mode(uint8_t *mode);
/** @brief Same as cw_v1_camera_set_af_region(). @param region 8 bytes. @return its result. */
CW_API int32_t cw_camera_set_af_region(const uint8_t *region);
/** @brief Same as cw_v1_camera_api_switch_mode(). @param mode "VIDEO" or another text. @return its result. */
CW_API int32_t cw_camera_switch_mode(const char *mode);
/** @brief Same as cw_v1_camera_api_set_camera_focus(). @param focus the focus value. @return its result. */
CW_API int32_t cw_camera_set_focus_lens(uint16_t focus);

/* ---- Intrinsics ----
 * The camera's calibration record is copied into a file by the platform tool eeprom_rw (found
 * on the shell's PATH), parsed, and one entry chosen; failing that, the text file
 * /factory_data/main_camera_calib/camera_params_480.txt (or camera_params_fix.txt) is read.
 * One load at a time per process: the temporary file /factory_data/cali_res_tmp.bin is shared.
 *
 * The record file is untrusted. Only the first 1024 bytes are read; header bytes missing from a
 * shorter file read as 0. Entries are clamped to what fits: at most two are converted, and an
 * entry is converted only when all of its 41 bytes lie within the bytes read. An entry left out
 * keeps what the caller's array held (the loaders below zero it, so it is never chosen), and a
 * count above 2 chooses nothing, so such records end in the text files. */

/**
 * @brief How the last load was satisfied: 1 a two-entry record or camera_params_480.txt, 2 a
 *        one-entry record or camera_params_fix.txt, 0 no calibration found.
 */
extern CW_API int32_t camera_type;

/**
 * @brief Runs "eeprom_rw read intri_param <path>" through the shell.
 * @param path destination of the record file; only letters, digits, '/', '.', '_' and '-' are accepted.
 * @return 0 when the tool exited with status 0; -1 otherwise, and without running anything for a
 *         path with other characters or a command longer than 255 characters; #CW_ERR_PARAM if
 *         @p path is null.
 */
CW_API int32_t cw_camera_read_bin_intri_from_camera(const char *path);
/**
 * @brief Parses a record file into two entries.
 * @param path the record file.
 * @param[out] cali_res array of two entries; entries the record holds are converted into it.
 * @param[out] nr_param receives the record's entry count as the record says it, even above 2.
 * @return 0; 1 when the file cannot be opened; #CW_ERR_PARAM if a pointer is null.
 */
CW_API int32_t cw_camera_read_camera_intri_from_bin(const char *path, CaliRes *cali_res, uint8_t *nr_param);
/**
 * @brief Fetches the record into the temporary file, parses it and removes the file.
 * @param[out] cali_res array of two entries.
 * @param[out] nr_param receives the record's entry count.
 * @return 0; 1 when the fetch or the parse failed; #CW_ERR_PARAM if a pointer is null.
 */
CW_API int32_t cw_camera_read_intri_from_camera(CaliRes *cali_res, uint8_t *nr_param);
/**
 * @brief Loads the intrinsics for the 240 focal length and sets #camera_type.
 *
 * A two-entry record gives its valid entry at focal length 240, a one-entry record its valid
 * entry at 280; otherwise the text file is read.
 * @param[out] matrix 9 floats: the row-major 3x3 camera matrix.
 * @param[out] coeff 5 floats: the distortion coefficients.
 * @return 0; 20 when no calibration exists (outputs untouched); 21 when the text file cannot be
 *         opened (outputs untouched) or does not hold 14 comma-separated numbers (the numbers read
 *         before the first mismatch are written); #CW_ERR_PARAM if a pointer is null (nothing runs).
 */
CW_API int32_t cw_camera_get_type_intri_240(float *matrix, float *coeff);
/**
 * @brief Loads the intrinsics for the 480 focal length and sets #camera_type: as
 *        cw_camera_get_type_intri_240(), with 480 in place of 240.
 * @param[out] matrix 9 floats: the row-major 3x3 camera matrix.
 * @param[out] coeff 5 floats: the distortion coefficients.
 * @return 0; 20; 21; #CW_ERR_PARAM, as cw_camera_get_type_intri_240().
 */
CW_API int32_t cw_camera_get_type_intri_480(float *matrix, float *coeff);

CW_EXTERN_C_END

#endif /* CIRROW_CW_CAMERA_H */
