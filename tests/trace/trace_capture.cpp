// A short flight on the stand-in for the trace checks: answered, failed and send-only requests,
// handled and dropped pushes. Run with MBUS_TRACE and MBUS_PCAP set; prints the link summary.
#include <cstdio>

#include "cirrow/cirrow.h"
#include "mbus_ctl.h"
#include "mbus_trace.h"

int main() {
    cw_register_v1_flight_data();
    const uint8_t ack[] = {0};
    mbus_ctl_script_answer(ack, sizeof ack);
    cw_v1_flight_api_submode_set(3, 1);
    const uint8_t pm[] = {0, 0x78, 0x56, 0x34, 0x12, 42};
    mbus_ctl_script_answer(pm, sizeof pm);
    const uint32_t hash = 0x12345678;
    nav_v1_flight_api_read_pm(&hash);
    mbus_ctl_script_result(MBUS_ERR_TIMEOUT);
    cw_v1_flight_api_ds_reset();
    mbus_ctl_script_result(0);
    cw_v1_quickshot_set_nit_box(1, 0.25f, 0.5f, 0.75f, 1.0f, 2, 300);
    const uint8_t state[12] = {1, 2, 3, 0x34, 0x12, 0, 0, 7, 8, 9, 10, 11};
    mbus_ctl_push(3, 91, state, sizeof state);
    mbus_ctl_push(4, 5, state, 8);
    char summary[2048];
    mbus_trace_summary(summary, sizeof summary);
    std::fputs(summary, stdout);
    return 0;
}
