/* A short tour of the v1 link for application developers: a flight-controller model answers on
 * the stand-in middleware, the application sends requests through cirrow, and the tour prints
 * every request and answer that crossed the link. The library's own log lines appear on stderr
 * (the stand-in's sinks: MBUS_LOG_FILE and MBUS_USRLOG_FILE choose files instead). */
#include <stdio.h>
#include <string.h>

#include <cirrow/cirrow.h>

#include "mbus_ctl.h"

/* The flight controller model. While `refusing` is set it answers every request with a
 * non-zero result byte, so that each answer check can be seen failing too. */
static int refusing = 0;

static int32_t flight_controller(void *ctx, const mbus_ctl_request_t *req, uint8_t *resp, uint32_t resp_len,
                                 uint32_t *delay_us) {
    (void)ctx;
    *delay_us = 500;
    if (resp_len == 0) {
        return 0;
    }
    memset(resp, 0, resp_len);
    if (refusing) {
        resp[0] = 5;
        return 0;
    }
    if (req->cmd_set == 0 && req->cmd_id == 0) { /* heartbeat: answered with 14 */
        resp[0] = 14;
    } else if (req->cmd_set == 3 && (req->cmd_id == 249 || req->cmd_id == 248)) {
        /* calibration and parameter commands echo the request after the result byte */
        memcpy(resp + 1, req->payload, req->payload_len < resp_len - 1 ? req->payload_len : resp_len - 1);
    } else if (req->cmd_set == 3 && req->cmd_id == 171) { /* calibration read-back header */
        const uint8_t header[6] = {0x0A, 0x00, 0x52, 0x29, 0x2C, 0x00};
        memcpy(resp, header, sizeof header);
    }
    return 0;
}

/* A receiver where nothing answers: the link fails the request with its own code, with or without
 * the virtual aircraft behind the stand-in. */
static int32_t nobody(void *ctx, const mbus_ctl_request_t *req, uint8_t *resp, uint32_t resp_len, uint32_t *delay_us) {
    (void)ctx, (void)req, (void)resp, (void)resp_len, (void)delay_us;
    return MBUS_ERR_NO_PEER;
}

static void print_bytes(const uint8_t *b, uint32_t n) {
    for (uint32_t i = 0; i < n; ++i) {
        printf(" %02x", b[i]);
    }
}

/* Prints the requests the link has seen since the last call. */
static void print_link(void) {
    static uint32_t shown = 0;
    static mbus_ctl_request_t r;
    const uint32_t n = mbus_ctl_request_count();
    for (; shown < n; ++shown) {
        if (mbus_ctl_request_get(shown, &r) != 0) {
            break;
        }
        printf("  link -> set %u id %u to 0x%04x, timeout %u, payload:", r.cmd_set, r.cmd_id, r.receiver, r.timeout);
        print_bytes(r.payload, r.payload_len);
        printf(" | answer %u bytes, result %d\n", r.resp_len, r.result);
    }
}

static void step(const char *what, int32_t result) {
    printf("%-58s -> %d\n", what, result);
    print_link();
}

int main(void) {
    setvbuf(stdout, NULL, _IOLBF, 0);
    mbus_ctl_set_peer(0x0306, flight_controller, NULL);
    mbus_ctl_set_peer(0x0B00, nobody, NULL);

    printf("== the raw link ==\n");
    {
        uint8_t payload[2] = {1, 2};
        uint8_t answer[1] = {0xAA};
        V1Request req = {3, 128, 0x0306, payload, sizeof payload, answer, sizeof answer, 200000};
        step("cw_link_v1_send(3/128 take control)", cw_link_v1_send(&req));
        printf("  answer byte 0: %u\n", answer[0]);
        req.receiver = 0x0B00; /* nothing answers for the battery here */
        step("cw_link_v1_send(to a receiver nobody serves)", cw_link_v1_send(&req));
    }

    for (refusing = 0; refusing < 2; ++refusing) {
        printf("== flight commands, module %s ==\n", refusing ? "refusing" : "accepting");
        uint8_t progress = 0;
        ImuCaliRt cali;
        const uint8_t readback[2] = {0x0A, 0x52};
        const uint32_t hash = get_hash_value("g_config.flying_limit.max_height_0");
        step("send-only:      cw_flight_yaw_rate_control(0.5)", cw_flight_yaw_rate_control(0.5f));
        step("ack byte:       cw_flight_obtain_control()", cw_flight_obtain_control());
        step("expected byte:  cw_flight_imu_base_heartbeat()", cw_flight_imu_base_heartbeat());
        step("echo:           cw_flight_imu_read_process(0x1234, &p)", cw_flight_imu_read_process(0x1234, &progress));
        step("header:         cw_flight_imu_read_cali_rt(...)", cw_flight_imu_read_cali_rt(readback, 2, &cali));
        step("result byte:    nav_v1_flight_api_read_pm(&hash)", nav_v1_flight_api_read_pm(&hash));
    }

    printf("== run-time settings ==\n");
    set_test_mode(CW_TEST_MODE_FACTORY);
    printf("factory test: %d, normal test: %d\n", (int)is_factory_test(), (int)is_normal_test());
    set_debug_mode(1);
    printf("debug mode: %u\n", is_debug_mode());
    return 0;
}
