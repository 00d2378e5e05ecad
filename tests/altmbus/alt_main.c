/* Runs the library against the null middleware, a second implementation of the middleware's
 * interface: a request goes out and a usrlog line is written through it. */
#include <stdio.h>
#include <string.h>

#include <cirrow/cirrow.h>

#include "nullmbus.h"

static char last_dump[1024];

static void keep_dump(const char *data, uint32_t len) {
    const uint32_t n = len < sizeof last_dump - 1 ? len : (uint32_t)sizeof last_dump - 1;
    memcpy(last_dump, data, n);
    last_dump[n] = 0;
}

int main(void) {
    const uint8_t payload[1] = {1};
    uint8_t resp[2] = {0, 0};
    const V1Request req = {3, 128, 0x0306, payload, 1, resp, 2, 200000};
    if (cw_link_v1_send(&req) != 0) {
        fprintf(stderr, "request not sent through the other middleware\n");
        return 1;
    }
    nullmbus_on_dump(keep_dump);
    set_debug_mode(7);
    if (strstr(last_dump, " 123456789 USRLOG[set_debug_mode ") != last_dump ||
        strstr(last_dump, "****[cirrow] SET DEBUG MODE 7 \n") == NULL) {
        fprintf(stderr, "unexpected usrlog line: %s\n", last_dump);
        return 1;
    }
    printf("1 passed, 0 failed\n");
    return 0;
}
