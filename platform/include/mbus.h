/* The aircraft middleware as the library sees it: the v1 message link, the data manager,
 * named messages to other threads, the leveled log, the dump channels and the boot clock.
 * On the aircraft these come from the closed libmbus; on a host, from the stand-in in
 * platform/mbus. libcirrow.so leaves every one of them undefined. */
#ifndef MBUS_H
#define MBUS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The largest payload the link carries, in bytes. */
#define MBUS_LINK_MAX_PAYLOAD 2048u

/* A push handler. The link hands every push over in a buffer of MBUS_LINK_MAX_PAYLOAD bytes: the
 * message's bytes, then zeros up to the end of the buffer. A handler may therefore read any byte
 * below MBUS_LINK_MAX_PAYLOAD whatever the length the module sent; bytes past a short message read
 * as zero. An implementation of this interface must keep this guarantee. */
typedef int32_t (*mbus_v1_cb_t)(const uint8_t *payload);

int32_t mbus_link_v1_send(uint8_t cmd_set, uint8_t cmd_id, uint16_t receiver, const uint8_t *payload,
                          uint32_t payload_len, uint8_t *resp, uint32_t resp_len, uint32_t timeout);
int32_t mbus_link_register_v1_callback(uint8_t cmd_set, uint8_t cmd_id, mbus_v1_cb_t cb);
int32_t mbus_link_unregister_v1_callback(uint8_t cmd_set, uint8_t cmd_id, mbus_v1_cb_t cb);

typedef struct {
    uint32_t id;
    uint32_t sub;
} mbus_dm_key_t;

typedef struct {
    void *data; /* the data pointer is the first member */
    uint32_t size;
} mbus_dm_item_t;

int32_t mbus_dm_take(const mbus_dm_key_t *key, int32_t wait, mbus_dm_item_t **item, uint32_t flags);
int32_t mbus_dm_return(const mbus_dm_key_t *key, mbus_dm_item_t *item);

int32_t mbus_tm_speak(const char *name, const void *msg, uint32_t len, uint32_t flags);

int32_t mbus_log_gen_head(uint32_t module, uint32_t level, char *head, uint32_t head_size, const char *file,
                          const char *func, uint32_t line);
int32_t mbus_log_print(uint32_t module, uint32_t level, const char *head, const char *fmt, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 4, 5)))
#endif
    ;
void mbus_osal_get_boot_time(uint64_t *boot_time);
int32_t mbus_dump_write(const char *channel, const char *data, uint32_t len);

#ifdef __cplusplus
}
#endif

#endif /* MBUS_H */
