/* A middleware that does nothing (libcw_nullmbus.so): the benches count the library's own work
 * against it, and a test runs the library against it to show that any library providing the
 * middleware's interface will do, not only the host stand-in. */
#ifndef NULLMBUS_H
#define NULLMBUS_H

#include "mbus.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The handler the library registered for a pushed message, or null. */
mbus_v1_cb_t nullmbus_handler(uint8_t cmd_set, uint8_t cmd_id);

/* Called with every dump-channel write from now on (null: none, the default). */
typedef void (*nullmbus_dump_fn)(const char *data, uint32_t len);
void nullmbus_on_dump(nullmbus_dump_fn fn);

#ifdef __cplusplus
}
#endif

#endif /* NULLMBUS_H */
