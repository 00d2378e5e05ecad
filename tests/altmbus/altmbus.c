/* A second, minimal implementation of the middleware interface, in C: the library must work
 * against any library that provides these functions, not only against the host stand-in. It
 * answers every request with its own receiver's low byte and keeps the last usrlog line. */
#include <stdio.h>
#include <string.h>

#include "mbus.h"

char alt_last_dump[1024];

int32_t mbus_link_v1_send(uint8_t cmd_set, uint8_t cmd_id, uint16_t receiver, const uint8_t *payload,
                          uint32_t payload_len, uint8_t *resp, uint32_t resp_len, uint32_t timeout) {
    (void)cmd_set, (void)cmd_id, (void)payload, (void)payload_len, (void)timeout;
    if (resp != NULL && resp_len > 0) {
        memset(resp, (uint8_t)receiver, resp_len);
    }
    return 0;
}
int32_t mbus_link_register_v1_callback(uint8_t cmd_set, uint8_t cmd_id, mbus_v1_cb_t cb) {
    (void)cmd_set, (void)cmd_id, (void)cb;
    return 0;
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
    return -1;
}
int32_t mbus_log_gen_head(uint32_t module, uint32_t level, char *head, uint32_t head_size, const char *file,
                          const char *func, uint32_t line) {
    snprintf(head, head_size, "<%u:%u %s %s %u>", module, level, file, func, line);
    return 0;
}
int32_t mbus_log_print(uint32_t module, uint32_t level, const char *head, const char *fmt, ...) {
    (void)module, (void)level, (void)head, (void)fmt;
    return 0;
}
void mbus_osal_get_boot_time(uint64_t *boot_time) { *boot_time = 42; }
int32_t mbus_dump_write(const char *channel, const char *data, uint32_t len) {
    (void)channel;
    const uint32_t n = len < sizeof alt_last_dump - 1 ? len : (uint32_t)sizeof alt_last_dump - 1;
    memcpy(alt_last_dump, data, n);
    alt_last_dump[n] = 0;
    return 0;
}
