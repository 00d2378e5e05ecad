/* Main camera: state cache, camera commands, intrinsics. */
/* Implemented in cw_basic/cw_communication/: cw_application/camera/src/cw_camera.cpp (cache, wrappers, intrinsics),
 * cw_protocal/src/api/cw_v1_camera_api.cpp (commands), cw_protocal/src/callback/cw_v1_camera_cb.cpp (push
 * handlers). */
/* A null pointer argument is refused: a function with a result returns CW_ERR_PARAM and sends
 * nothing, one without a result does nothing. A null text counts as any other text. */
#ifndef CIRROW_CW_CAMERA_H
#define CIRROW_CW_CAMERA_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/* ---- Records ---- */

/* Answer of the camera status query. */
typedef struct {
    uint32_t state; /* answer byte 1, zero-extended */
    uint8_t detail; /* answer byte 5 */
} CameraStatusInfo;
CW_STATIC_ASSERT(offsetof(CameraStatusInfo, detail) == 4 && sizeof(CameraStatusInfo) == 8, "CameraStatusInfo layout");

/* One entry of the main camera's factory calibration, packed: an array's second entry starts at
 * byte 61, so its fields are unaligned (access them as fields, never through pointers to them). */
#pragma pack(push, 1)
typedef struct {
    uint32_t focal_length;
    float main_camera_matrix[9]; /* row-major 3x3: fx 0 cx / 0 fy cy / 0 0 1 */
    float main_camera_coeff[5];  /* distortion: d0 d1 d3 d4 d2 */
    uint8_t cali_valid;          /* 1: the entry holds a calibration */
} CaliRes;
#pragma pack(pop)
CW_STATIC_ASSERT(offsetof(CaliRes, main_camera_matrix) == 4 && offsetof(CaliRes, main_camera_coeff) == 40 &&
                     offsetof(CaliRes, cali_valid) == 60 && sizeof(CaliRes) == 61,
                 "CaliRes layout");

/* ---- Camera state cache ----
 * The camera type, mode profile, lens parameters, busy flag and core board temperature are
 * pushed by the camera; the other items are the applications' own. A reader never sees one item
 * half-written, nor a resolution pair or lens triple from two different updates; a getter called
 * before the first update yields 0. All return 0 unless stated. */

/* Zeroes the cache; the busy status and the core board temperature stay as they are. */
CW_API int32_t cw_camera_module_init(void);

CW_API int32_t cw_camera_update_liveview_resolution(float width, float height);
CW_API int32_t cw_camera_get_resolution(float *width, float *height);
CW_API int32_t cw_camera_update_aspect_type(uint32_t aspect);
CW_API int32_t cw_camera_get_aspect_type(uint8_t *aspect); /* the low byte of the stored word */
CW_API int32_t cw_camera_update_focus_lens(float value);
CW_API int32_t cw_camera_get_focus_lens(float *value);
CW_API int32_t cw_camera_update_focus_status(uint8_t value);
CW_API int32_t cw_camera_get_focus_status(uint8_t *value);
CW_API int32_t cw_camera_update_piv_mode(uint8_t value);
CW_API int32_t cw_camera_get_piv_mode(uint8_t *value);
/* The camera type as the camera reports it (not camera_type below). */
CW_API int32_t cw_camera_update_camera_type(uint8_t value);
CW_API int32_t cw_camera_get_camera_type(uint8_t *value);
CW_API int32_t cw_camera_update_camera_mode_profile(uint8_t value);
CW_API uint8_t cw_camera_get_camera_mode_profile(void);
CW_API int32_t cw_camera_update_camera_lens_info(uint16_t a, uint16_t b, uint16_t c);
CW_API int32_t cw_camera_get_camera_lens_info(uint16_t *a, uint16_t *b, uint16_t *c);
CW_API int32_t cw_camera_update_camera_busy_status(uint8_t value);
CW_API uint8_t cw_camera_get_camera_busy_status(void); /* 1 while the camera is busy */
CW_API int32_t cw_camera_update_core_board_temp(uint8_t value);
CW_API uint8_t cw_camera_get_core_board_temp(void);

/* ---- Camera pushes ----
 * Camera data (camera type), status data (busy flag, mode profile, core board temperature) and
 * lens parameters. The camera data handler has no unregistration. All return 0. */
CW_API int32_t cw_register_v1_camera_data(void);
CW_API int32_t cw_register_v1_camera_status_data(void);
CW_API int32_t cw_unregister_v1_camera_status_data(void);
CW_API int32_t cw_register_v1_camera_len_para_data(void);
CW_API int32_t cw_unregister_v1_camera_len_para_data(void);

/* ---- Camera commands ----
 * Unless stated, a command returns 0 on success and CW_ERR_ACK when the request could not be sent
 * or the camera answered with a non-zero result byte. "Logged only" commands return the link's
 * result and only log a non-zero result byte. Out-parameters are written on success only. */

/* Work mode: 0 photo, 1 video. */
CW_API int32_t cw_v1_camera_api_query_camera_mode(uint8_t *mode);
/* Queries the work mode and switches only when it differs: "VIDEO" asks for video, any other
 * text (or none) for photo. */
CW_API int32_t cw_v1_camera_api_switch_mode(const char *mode);
/* No answer awaited: the link's result. */
CW_API int32_t cw_v1_camera_api_send_heartbeat(void);
CW_API int32_t cw_v1_camera_api_set_photo_storage_format(uint8_t format);
/* "SDCard" or "EMCC" (exact); any other name: CW_ERR_ACK, nothing sent. */
CW_API int32_t cw_v1_camera_api_set_storage_path(const char *name);
/* "START" or "STOP" (exact); any other text (or none): CW_ERR_PARAM, nothing sent. */
CW_API int32_t cw_v1_camera_api_take_video(const char *action);
/* The camera writes its 10-byte answer, result byte first, straight into `answer`; returns 0
 * whatever that byte says, CW_ERR_ACK when the request failed. */
CW_API int32_t cw_v1_camera_api_get_path(uint8_t *answer);
CW_API int32_t cw_v1_camera_api_get_focus_mode(uint8_t *mode); /* logged only */
CW_API int32_t cw_v1_camera_api_set_focus_mode(uint8_t mode);
CW_API int32_t cw_v1_camera_api_get_status(CameraStatusInfo *status);
CW_API int32_t cw_v1_camera_set_af_region(const uint8_t *region); /* 8 bytes */
CW_API int32_t cw_v1_camera_get_curr_focus_len(uint16_t *focal);
CW_API int32_t cw_v1_camera_api_switch_exposure_mode(uint8_t first, uint8_t second);
CW_API int32_t cw_v1_camera_api_set_iso(uint8_t iso);
/* Logged only. Sends `value` with bit 15 set when `flag` is non-zero (bit 15 is never cleared). */
CW_API int32_t cw_v1_camera_api_set_shutter(uint8_t first, int32_t flag, uint16_t value, uint8_t last);
CW_API int32_t cw_v1_camera_api_set_video_format(const uint8_t *format); /* 5 bytes */
CW_API int32_t cw_v1_camera_api_set_video_storage_format(uint8_t format);
CW_API int32_t cw_v1_camera_api_set_camera_focus(uint16_t focus); /* logged only */
/* Logged only. 6 bytes; byte 0 (mode) above 13 or byte 2 (type) above 2: CW_ERR_PARAM, nothing sent. */
CW_API int32_t cw_v1_camera_api_set_photo_format(const uint8_t *format);
CW_API int32_t cw_v1_camera_api_set_timelapse(const uint8_t *params); /* 6 bytes */
/* A type above 9: CW_ERR_PARAM, nothing sent. */
CW_API int32_t cw_v1_camera_api_take_photo(uint8_t type);
/* The link's result when the request failed, CW_ERR_ACK for a non-zero result byte. */
CW_API int32_t cw_v1_camera_set_top_mode(uint8_t mode);
/* Logged only: the camera's answer byte 1 is logged (255 when nothing came back). */
CW_API int32_t cw_v1_camera_api_ping(uint8_t value);
/* Logged only. The first two arguments are not used. */
CW_API int32_t cw_v1_camera_control_zoom(int32_t a, int32_t b, uint16_t zoom);

/* Convenience wrappers: each returns the result of the command it forwards to. */
CW_API int32_t cw_camera_get_workmode(uint8_t *mode);
CW_API int32_t cw_camera_send_heartbeat(void);
CW_API int32_t cw_camera_set_video_format(const uint8_t *format);
CW_API int32_t cw_camera_set_focus_mode(uint8_t mode);
CW_API int32_t cw_camera_get_focus_mode(uint8_t *mode);
CW_API int32_t cw_camera_set_af_region(const uint8_t *region);
CW_API int32_t cw_camera_switch_mode(const char *mode);
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

/* How the last load was satisfied: 1 a two-entry record or camera_params_480.txt, 2 a one-entry
 * record or camera_params_fix.txt, 0 no calibration found. */
extern CW_API int32_t camera_type;

/* Runs "eeprom_rw read intri_param <path>" through the shell: 0 when it exited with status 0,
 * else -1 (also, without running anything, for a command longer than 255 characters, and for a
 * null or empty path or one with any character other than letters, digits, '/', '.', '_', '-'). */
CW_API int32_t cw_camera_read_bin_intri_from_camera(const char *path);
/* Parses a record file into cali_res[0..1] and stores the record's entry count (as the record
 * says it, even above 2) in *nr_param. 0, or 1 when the file cannot be opened. */
CW_API int32_t cw_camera_read_camera_intri_from_bin(const char *path, CaliRes *cali_res, uint8_t *nr_param);
/* Fetches the record into the temporary file, parses it and removes the file: 0, or 1. */
CW_API int32_t cw_camera_read_intri_from_camera(CaliRes *cali_res, uint8_t *nr_param);
/* Writes the row-major 3x3 camera matrix (9 values) and the 5 distortion coefficients and sets
 * camera_type. A two-entry record gives its valid entry at focal length 240 (or 480), a one-entry
 * record its valid entry at 280. 0; 20 when no calibration exists
 * (outputs untouched); 21 when the text file cannot be opened (outputs untouched) or does not
 * hold 14 comma-separated numbers (the numbers read before the first mismatch are written). */
CW_API int32_t cw_camera_get_type_intri_240(float *matrix, float *coeff);
CW_API int32_t cw_camera_get_type_intri_480(float *matrix, float *coeff);

CW_EXTERN_C_END

#endif /* CIRROW_CW_CAMERA_H */
