/* Marker position record and the message to the marker-handling thread. */
/* Implemented in cw_basic/cw_communication/: cw_application/marker/src/cw_marker.cpp. */
/* A null pointer argument is refused: a function with a result returns CW_ERR_PARAM and sends
 * nothing, one without a result does nothing. */
#ifndef CIRROW_CW_MARKER_H
#define CIRROW_CW_MARKER_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/* The latest marker position, shared between the applications of the process. Its contents are
 * the applications'; the library keeps and copies the 164 bytes without looking inside. */
#define CW_MARKER_POSITION_LEN 164
typedef struct {
    uint8_t bytes[CW_MARKER_POSITION_LEN];
} MarkerPosition;
CW_STATIC_ASSERT(sizeof(MarkerPosition) == 164, "MarkerPosition is 164 bytes");

/* A command to the marker-handling thread; sent as 12 bytes, little-endian, in field order. */
typedef struct {
    int32_t gimbal_on;
    int32_t enable_qrcode;
    int32_t paper_id;
} MarkerMsg;
CW_STATIC_ASSERT(offsetof(MarkerMsg, enable_qrcode) == 4 && offsetof(MarkerMsg, paper_id) == 8 &&
                     sizeof(MarkerMsg) == 12,
                 "MarkerMsg layout");

/* Zeroes the stored marker position; returns 0. */
CW_API int32_t cw_marker_module_init(void);
/* Copy all 164 bytes in or out; return 0. A reader never gets a record mixed from two puts.
 * The get takes any 164-byte buffer: a MarkerPosition or a byte array. */
CW_API int32_t cw_marker_put_position(const MarkerPosition *position);
CW_API int32_t cw_marker_get_position(void *position);

/* Hands the message to the "fly_marker_thread" receiver. 0 when it was handed over; otherwise
 * it is offered five more times and the result is -1. */
CW_API int32_t cw_send_msg_to_marker(const MarkerMsg *msg);

CW_EXTERN_C_END

#endif /* CIRROW_CW_MARKER_H */
