/* The benches' null middleware: the handler the library registered for a pushed message. */
#ifndef NULLMBUS_H
#define NULLMBUS_H

#include "mbus.h"

#ifdef __cplusplus
extern "C" {
#endif

mbus_v1_cb_t nullmbus_handler(uint8_t cmd_set, uint8_t cmd_id);

#ifdef __cplusplus
}
#endif

#endif /* NULLMBUS_H */
