/**
 * @file cw_marker.h
 * @brief Marker position record and the message to the marker-handling thread.
 *
 * Neither uses the v1 link: the position is kept in the process, the message goes through the
 * middleware's named messages.
 *
 * Implemented in cw_basic/cw_communication/: cw_application/marker/src/cw_marker.cpp.
 */
#ifndef CIRROW_CW_MARKER_H
#define CIRROW_CW_MARKER_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/** @brief Length of the marker position record. */
#define CW_MARKER_POSITION_LEN 164
/**
 * @brief The latest marker position, shared between the applications of the process.
 *
 * Its contents are the applications'; the library keeps and copies the 164 bytes without looking inside.
 */
typedef struct {
    uint8_t bytes[CW_MARKER_POSITION_LEN]; /**< the applications' record */
} MarkerPosition;
CW_STATIC_ASSERT(sizeof(MarkerPosition) == 164, "MarkerPosition is 164 bytes");

/** @brief A command to the marker-handling thread; sent as 12 bytes, little-endian, in field order. */
typedef struct {
    int32_t gimbal_on;     /**< bytes 0..3: the gimbal switch, as the marker thread reads it */
    int32_t enable_qrcode; /**< bytes 4..7: whether to look for a QR code */
    int32_t paper_id;      /**< bytes 8..11: the id of the printed marker */
} MarkerMsg;
CW_STATIC_ASSERT(offsetof(MarkerMsg, enable_qrcode) == 4 && offsetof(MarkerMsg, paper_id) == 8 &&
                     sizeof(MarkerMsg) == 12,
                 "MarkerMsg layout");

/** @brief Zeroes the stored marker position. @return 0. */
CW_API int32_t cw_marker_module_init(void);
/**
 * @brief Stores a marker position, all 164 bytes. A reader never gets a record mixed from two puts.
 * @param position the record to copy in.
 * @return 0; #CW_ERR_PARAM if @p position is null.
 */
CW_API int32_t cw_marker_put_position(const MarkerPosition *position);
/**
 * @brief Copies the stored marker position out (164 zero bytes before the first put).
 * @param[out] position buffer of 164 bytes (a #MarkerPosition).
 * @return 0; #CW_ERR_PARAM if @p position is null.
 */
CW_API int32_t cw_marker_get_position(void *position);

/**
 * @brief Hands a message to the marker-handling thread, the named receiver "fly_marker_thread".
 *
 * When the first hand-over fails the message is offered five more times, whatever those return,
 * and each attempt is logged on the usrlog channel.
 * @param msg the message, sent as its 12 bytes.
 * @return 0 when the first hand-over succeeded; -1 otherwise; #CW_ERR_PARAM if @p msg is null
 *         (nothing handed over).
 */
CW_API int32_t cw_send_msg_to_marker(const MarkerMsg *msg);

CW_EXTERN_C_END

#endif /* CIRROW_CW_MARKER_H */
