/* The v1 message link: one request record and the one send function every command goes through. */
/* Implemented in cw_basic/cw_communication/: cw_link/cw_link.cpp. */
/* cw_link_v1_send refuses a null request, a length above 2048 bytes (the largest message the link
 * carries), and a null payload or answer buffer with a non-zero length: CW_ERR_PARAM, nothing sent. */
#ifndef CIRROW_CW_LINK_H
#define CIRROW_CW_LINK_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/* One request on the v1 link. Build it on the stack for each request.
 * A request that awaits no answer sets timeout to 0 (and resp/resp_len to NULL/0);
 * one that awaits an answer gives a resp buffer of exactly resp_len bytes and a non-zero timeout
 * (microseconds on the aircraft). Payloads are packed little-endian byte sequences. */
typedef struct {
    uint8_t cmd_set;        /* command set: the module family */
    uint8_t cmd_id;         /* command within the set */
    uint16_t receiver;      /* address of the answering device */
    const uint8_t *payload; /* NULL when payload_len is 0 */
    uint32_t payload_len;
    uint8_t *resp;     /* answer buffer */
    uint32_t resp_len; /* answer bytes expected in resp */
    uint32_t timeout;  /* 0: no answer awaited */
} V1Request;

CW_STATIC_ASSERT(offsetof(V1Request, cmd_id) == 1, "V1Request.cmd_id at byte 1");
CW_STATIC_ASSERT(offsetof(V1Request, receiver) == 2, "V1Request.receiver at byte 2");
#if UINTPTR_MAX == 0xFFFFFFFFu
CW_STATIC_ASSERT(offsetof(V1Request, payload) == 4 && offsetof(V1Request, resp) == 12 &&
                     offsetof(V1Request, timeout) == 20,
                 "V1Request field offsets on a 32-bit target");
CW_STATIC_ASSERT(sizeof(V1Request) == 24, "V1Request is 24 bytes on a 32-bit target");
#else
CW_STATIC_ASSERT(offsetof(V1Request, payload) == 8 && sizeof(V1Request) == 40, "V1Request layout on a 64-bit host");
#endif

/* Hands the request's eight fields to the middleware and returns its result unchanged:
 * 0 when sent (and, with an answer awaited, answered), the middleware's code otherwise. */
CW_API int32_t cw_link_v1_send(const V1Request *req);

CW_EXTERN_C_END

#endif /* CIRROW_CW_LINK_H */
