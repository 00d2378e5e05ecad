/* A middleware that does nothing: a send returns 0 at once, every leveled log head is refused (so
 * a leveled line prints nothing), a dump write returns at once (after the hook, when one is set)
 * and the boot clock reads a fixed time. Registered push handlers are kept in a small table, so
 * that a bench can call the exact pointer the library registered. */
#include <stddef.h>

#include "mbus.h"
#include "nullmbus.h"

#define NULLMBUS_SLOTS 64

static struct {
    uint8_t set;
    uint8_t id;
    mbus_v1_cb_t cb;
} slots[NULLMBUS_SLOTS];

mbus_v1_cb_t nullmbus_handler(uint8_t cmd_set, uint8_t cmd_id) {
    for (size_t i = 0; i < NULLMBUS_SLOTS; ++i) {
        if (slots[i].cb != NULL && slots[i].set == cmd_set && slots[i].id == cmd_id) {
            return slots[i].cb;
        }
    }
    return NULL;
}

int32_t mbus_link_v1_send(uint8_t cmd_set, uint8_t cmd_id, uint16_t receiver, const uint8_t *payload,
                          uint32_t payload_len, uint8_t *resp, uint32_t resp_len, uint32_t timeout) {
    (void)cmd_set, (void)cmd_id, (void)receiver, (void)payload, (void)payload_len, (void)resp, (void)resp_len,
        (void)timeout;
    return 0;
}

int32_t mbus_link_register_v1_callback(uint8_t cmd_set, uint8_t cmd_id, mbus_v1_cb_t cb) {
    for (size_t i = 0; i < NULLMBUS_SLOTS; ++i) {
        if (slots[i].cb == NULL || (slots[i].set == cmd_set && slots[i].id == cmd_id)) {
            slots[i].set = cmd_set;
            slots[i].id = cmd_id;
            slots[i].cb = cb;
            return 0;
        }
    }
    return -1;
}

int32_t mbus_link_unregister_v1_callback(uint8_t cmd_set, uint8_t cmd_id, mbus_v1_cb_t cb) {
    (void)cmd_set, (void)cmd_id, (void)cb;
    return 0;
}

int32_t mbus_dm_take(const mbus_dm_key_t *key, int32_t wait, mbus_dm_item_t **item, uint32_t flags) {
    (void)key, (void)wait, (void)item, (void)flags;
    return -1;
}

int32_t mbus_dm_return(const mbus_dm_key_t *key, mbus_dm_item_t *item) {
    (void)key, (void)item;
    return -1;
}

int32_t mbus_tm_speak(const char *name, const void *msg, uint32_t len, uint32_t flags) {
    (void)name, (void)msg, (void)len, (void)flags;
    return 0;
}

int32_t mbus_log_gen_head(uint32_t module, uint32_t level, char *head, uint32_t head_size, const char *file,
                          const char *func, uint32_t line) {
    (void)module, (void)level, (void)head, (void)head_size, (void)file, (void)func, (void)line;
    return -1;
}

int32_t mbus_log_print(uint32_t module, uint32_t level, const char *head, const char *fmt, ...) {
    (void)module, (void)level, (void)head, (void)fmt;
    return 0;
}

void mbus_osal_get_boot_time(uint64_t *boot_time) { *boot_time = 123456789u; }

static nullmbus_dump_fn dump_hook;

void nullmbus_on_dump(nullmbus_dump_fn fn) { dump_hook = fn; }

int32_t mbus_dump_write(const char *channel, const char *data, uint32_t len) {
    (void)channel;
    if (dump_hook != NULL) {
        dump_hook(data, len);
    }
    return 0;
}
