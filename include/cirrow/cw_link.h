/**
 * @file cw_link.h
 * @brief The v1 message link: one request record and the one send function every command goes through.
 *
 * Implemented in cw_basic/cw_communication/: cw_link/cw_link.cpp.
 */
#ifndef CIRROW_CW_LINK_H
#define CIRROW_CW_LINK_H

#include "cw_common.h"

CW_EXTERN_C_BEGIN

/**
 * @brief One request on the v1 link. Build it on the stack for each request.
 *
 * A request that awaits no answer sets timeout to 0 (and resp/resp_len to NULL/0); one that
 * awaits an answer gives a resp buffer of exactly resp_len bytes and a non-zero timeout
 * (microseconds on the aircraft). Payloads are packed little-endian byte sequences.
 */
typedef struct {
    uint8_t cmd_set;        /**< command set: the module family (3 flight controller, 2 camera, ...) */
    uint8_t cmd_id;         /**< command within the set */
    uint16_t receiver;      /**< address of the answering device (0x0306 flight controller, ...) */
    const uint8_t *payload; /**< request bytes; NULL when payload_len is 0 */
    uint32_t payload_len;   /**< request length in bytes, at most 2048 */
    uint8_t *resp;          /**< answer buffer of resp_len bytes */
    uint32_t resp_len;      /**< answer bytes expected in resp */
    uint32_t timeout;       /**< how long to wait for the answer, in microseconds; 0: no answer awaited */
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

/**
 * @brief Sends one request on the v1 link and, when it awaits an answer, waits for it.
 *
 * Hands the record's eight fields to the middleware unchanged: no logging, no retry, no judging
 * of the answer. Blocks the calling thread for at most @c req->timeout.
 * @param req the request; read only during the call.
 * @return 0 when sent (and, with an answer awaited, answered into @c req->resp); the
 *         middleware's non-zero code otherwise; #CW_ERR_PARAM, nothing sent, when @p req is null
 *         or a length in it exceeds 2048 bytes.
 */
CW_API int32_t cw_link_v1_send(const V1Request *req);

CW_EXTERN_C_END

#endif /* CIRROW_CW_LINK_H */
