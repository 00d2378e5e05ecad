#include <stdio.h>

#include <cirrow/cirrow.h>

int main(void) {
    printf("cirrow %s\n", CIRROW_VERSION);

    /* Take control of the flight controller: request 3/128 to 0x0306, one answer byte. */
    int32_t result = cw_flight_obtain_control();
    printf("take control: %d\n", (int)result);

    /* The same request sent by hand on the link. */
    uint8_t payload[2] = {1, 2};
    uint8_t answer[1] = {0xFF};
    V1Request req = {3, 128, 0x0306, payload, sizeof payload, answer, sizeof answer, 200000};
    result = cw_link_v1_send(&req);
    printf("raw link: %d, answer byte %u\n", (int)result, answer[0]);

    /* Control goes back before the application ends, as every application's does. */
    cw_flight_release_control();
    return result == 0 && answer[0] == 0 ? 0 : 1;
}
