/* Runs the library against the minimal middleware above: a request and a usrlog line. */
#include <stdio.h>
#include <string.h>

#include <cirrow/cirrow.h>

extern char alt_last_dump[];

int main(void) {
    const uint8_t payload[1] = {1};
    uint8_t resp[2] = {0, 0};
    const V1Request req = {3, 128, 0x0306, payload, 1, resp, 2, 200000};
    if (cw_link_v1_send(&req) != 0 || resp[0] != 0x06 || resp[1] != 0x06) {
        fprintf(stderr, "request not answered by the other middleware\n");
        return 1;
    }
    set_debug_mode(7);
    if (strstr(alt_last_dump, "        42 USRLOG[set_debug_mode ") != alt_last_dump ||
        strstr(alt_last_dump, "****[cirrow] SET DEBUG MODE 7 \n") == NULL) {
        fprintf(stderr, "unexpected usrlog line: %s\n", alt_last_dump);
        return 1;
    }
    printf("1 passed, 0 failed\n");
    return 0;
}
