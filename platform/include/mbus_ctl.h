/* Control API of the host middleware stand-in (libmbus.so). Not part of the aircraft's
 * middleware: tests, the virtual aircraft and example programs use it to play the modules
 * on the other end of the link, to script answers and failures, to inject pushes and to read
 * back everything the library sent and logged.
 *
 * Every function is thread-safe. Recorded items are kept in order; mbus_ctl_reset() clears
 * them all, together with scripts, peers, registered handlers and data-manager faults.
 * Each recorded list keeps its most recent 65536 items; indexes count from the oldest kept. */
#ifndef MBUS_CTL_H
#define MBUS_CTL_H

#include <stddef.h>
#include <stdint.h>

#include "mbus.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Result codes of the stand-in's link. */
#define MBUS_ERR_TIMEOUT (-110)   /* the peer did not answer within the request's timeout */
#define MBUS_ERR_NO_PEER (-113)   /* nothing on the link answers for this receiver */
#define MBUS_ERR_NO_DATA (-61)    /* data manager: no item under this key */
#define MBUS_ERR_NO_RECEIVER (-2) /* named message: no receiver registered under this name */

/* One request as the link saw it. The payload is copied (up to MBUS_LINK_MAX_PAYLOAD bytes). */
typedef struct {
    uint8_t cmd_set;
    uint8_t cmd_id;
    uint16_t receiver;
    uint32_t payload_len;
    uint32_t resp_len;
    uint32_t timeout;
    int payload_null; /* the payload pointer was null */
    int resp_null;    /* the answer pointer was null */
    int32_t result;   /* what mbus_link_v1_send returned */
    uint8_t payload[MBUS_LINK_MAX_PAYLOAD];
} mbus_ctl_request_t;

/* A module model on the far side of the link. It sees the request and writes its answer into
 * resp (resp_len bytes, pre-filled with what the caller passed). It returns 0 to answer, or a
 * non-zero link code to fail the request with. *delay_us (0 on entry) is how long the answer
 * takes: an answer slower than the request's timeout fails with MBUS_ERR_TIMEOUT. */
typedef int32_t (*mbus_ctl_peer_fn)(void *ctx, const mbus_ctl_request_t *req, uint8_t *resp, uint32_t resp_len,
                                    uint32_t *delay_us);

/* Start over: forget requests, logs, scripts, peers, handlers, named receivers and messages,
 * data-manager faults and the fixed boot time. The delivery queue is drained first. */
void mbus_ctl_reset(void);

/* ---- v1 link ---- */

/* Install (fn non-null) or remove (fn null) the peer that answers for a receiver. */
void mbus_ctl_set_peer(uint16_t receiver, mbus_ctl_peer_fn fn, void *ctx);

/* Script the next request, whatever its receiver: it returns `result`; when that is 0 and the
 * request awaits an answer, `answer` (len bytes, at most resp_len are copied) becomes its
 * answer. Scripts are used in the order given, before any peer is asked. */
void mbus_ctl_script(int32_t result, const uint8_t *answer, uint32_t len);
/* Shorthands: answer with these bytes and result 0; fail with this result. */
void mbus_ctl_script_answer(const uint8_t *answer, uint32_t len);
void mbus_ctl_script_result(int32_t result);
/* Scripts still waiting to be used. */
uint32_t mbus_ctl_script_pending(void);

/* Requests seen since the last reset. get returns 0 and fills *out, or -1 if out of range. */
uint32_t mbus_ctl_request_count(void);
int mbus_ctl_request_get(uint32_t index, mbus_ctl_request_t *out);

/* ---- push handlers ---- */

typedef struct {
    int registered; /* 1 for a registration, 0 for an unregistration */
    uint8_t cmd_set;
    uint8_t cmd_id;
    mbus_v1_cb_t cb;
} mbus_ctl_registration_t;

/* Registration and unregistration calls since the last reset, in call order. */
uint32_t mbus_ctl_registration_count(void);
int mbus_ctl_registration_get(uint32_t index, mbus_ctl_registration_t *out);
/* The handler now registered for set/id, or null. */
mbus_v1_cb_t mbus_ctl_handler(uint8_t cmd_set, uint8_t cmd_id);

/* Deliver a pushed message on the calling thread, as the delivery thread would: the payload is
 * copied into a zero-filled MBUS_LINK_MAX_PAYLOAD buffer first. Returns the handler's result,
 * or MBUS_ERR_NO_PEER (and a line in the stand-in's log) when no handler is registered. */
int32_t mbus_ctl_push(uint8_t cmd_set, uint8_t cmd_id, const void *payload, uint32_t len);
/* Queue a pushed message for the delivery thread; returns 0, or -1 if the queue is full. */
int32_t mbus_ctl_push_async(uint8_t cmd_set, uint8_t cmd_id, const void *payload, uint32_t len);
/* Wait until the delivery thread has handled everything queued so far. */
void mbus_ctl_push_flush(void);

/* ---- logs ---- */

typedef struct {
    uint32_t module;
    uint32_t level;
    uint32_t line;
    char file[256];
    char func[128];
    char text[2048]; /* the formatted message, without the head */
} mbus_ctl_log_t;

/* Leveled lines printed since the last reset (only lines whose head was accepted and then printed). */
uint32_t mbus_ctl_log_count(void);
int mbus_ctl_log_get(uint32_t index, mbus_ctl_log_t *out);
/* Calls of mbus_log_gen_head since the last reset, printed or not. */
uint32_t mbus_ctl_log_head_count(void);
/* The head gen refuses (returns non-zero for) every level above max_level; default 3. */
void mbus_ctl_set_log_level(uint32_t max_level);

typedef struct {
    char channel[32];
    uint32_t len;    /* the length the writer gave */
    char data[2048]; /* the bytes written (at most 2047, NUL-terminated) */
} mbus_ctl_dump_t;

/* Dump-channel writes since the last reset, one per mbus_dump_write call. */
uint32_t mbus_ctl_dump_count(void);
int mbus_ctl_dump_get(uint32_t index, mbus_ctl_dump_t *out);

/* Boot time: 0 (the default) reads the monotonic clock in microseconds; any other value is
 * returned as it is until changed. */
void mbus_ctl_set_boot_time(uint64_t boot_time);

/* Echo the channels to their sinks (on by default; MBUS_QUIET=1 starts with them off). */
void mbus_ctl_set_echo(int on);

/* ---- data manager ---- */

/* The IMU data group stored under key (1, 0): 136 bytes. */
#define MBUS_DM_IMU_SIZE 136u
void mbus_ctl_dm_set_imu(const uint8_t data[MBUS_DM_IMU_SIZE]);
/* Make the next take (or return) fail with this code; 0 clears the fault. */
void mbus_ctl_dm_fail_take(int32_t result);
void mbus_ctl_dm_fail_return(int32_t result);
/* Items taken and not yet returned. A reset leaves them outstanding; returning an item that was
 * not taken, or returning it twice, fails with MBUS_ERR_NO_DATA. */
int32_t mbus_ctl_dm_outstanding(void);

/* ---- named messages ---- */

typedef void (*mbus_ctl_receiver_fn)(void *ctx, const void *msg, uint32_t len);

typedef struct {
    char name[64];
    uint32_t len;
    uint32_t flags;
    int32_t result;
    uint8_t data[256]; /* the first 256 bytes */
} mbus_ctl_message_t;

/* Register (fn non-null) or remove a receiver for a name. A message to a name without a
 * receiver fails with MBUS_ERR_NO_RECEIVER. */
void mbus_ctl_tm_set_receiver(const char *name, mbus_ctl_receiver_fn fn, void *ctx);
/* Make the next `count` speaks fail with `result`, whatever the receiver. */
void mbus_ctl_tm_fail(int32_t result, uint32_t count);
/* Speak calls since the last reset, delivered or not. */
uint32_t mbus_ctl_message_count(void);
int mbus_ctl_message_get(uint32_t index, mbus_ctl_message_t *out);

/* ---- cirrow-aircraft ---- */

/* Attach this process, after load, to the cirrow-aircraft listening on the socket `path`, as
 * MBUS_AIRCRAFT does when the stand-in loads: requests, registrations, named messages to the
 * aircraft's threads and data-manager takes go to it from then on, and the handlers registered
 * before are announced to it. Returns 0, or -1 with the reason in `why` (cap bytes, may be null):
 * no path, attached already, the virtual aircraft flying in this process, or the aircraft cannot be
 * reached or does not welcome this process within 5 s. */
int mbus_ctl_attach(const char *path, char *why, size_t cap);
/* How fast the attached aircraft's clock runs against the wall clock (1 when not attached). A
 * process attached through mbus_ctl_attach keeps the wall clock (unless libmbus_clock.so is
 * preloaded): it scales its own waits by this. */
double mbus_ctl_aircraft_rate(void);
/* Detach from the aircraft: it hears this application ended and answers with the application's
 * flight report, copied into `report` (cap bytes, NUL-terminated, may be null). Returns the number
 * of mistakes the report holds that were not waived, or -1 when not attached or when no report came
 * within 2 s. Requests then fail with MBUS_ERR_NO_PEER until the next attach, and the handlers are
 * forgotten, as at the end of a process: the next aircraft meets a fresh application. Call it
 * when no other thread of the process is sending or registering. */
int mbus_ctl_detach(char *report, size_t cap);

#ifdef __cplusplus
}
#endif

#endif /* MBUS_CTL_H */
