// The hot operations measured by the benches, each one call made the way the middleware or an
// application makes it, and beside each its floor: the least any implementation could do.
//
// Every operation goes through a function pointer read from a volatile variable, so the compiler
// can neither inline nor drop it, and the floors are called the same way.
#pragma once

#include <cirrow/cirrow.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "cw_log.h"
#include "nullmbus.h"

namespace cwb {

struct Buffers {
    uint8_t payload[2048];  // a pushed message, zero-padded as the middleware delivers it
    uint8_t copy[64];
    uint8_t packed[32];
    GimbalInfo gimbal_info;
    FcMotorState motor;
    FcSensor sensor;
    FcState fc_state;
    char line[1024];
};
inline Buffers g_buf;

// Handlers as registered with the middleware (filled by setup()).
inline mbus_v1_cb_t volatile g_push_gimbal_info;
inline mbus_v1_cb_t volatile g_push_motor;
inline mbus_v1_cb_t volatile g_push_sensor;
inline mbus_v1_cb_t volatile g_push_fc_state;

inline int32_t (*volatile g_get_gimbal_info)(GimbalInfo *) = cw_gimbal_get_main_gimbal_info;
inline int32_t (*volatile g_get_motor)(FcMotorState *) = cw_flight_get_fc_motor_state;
inline int32_t (*volatile g_get_sensor)(void *) = cw_flight_get_fc_sensor;
inline int32_t (*volatile g_get_fc_state)(FcState *) = cw_flight_get_fc_state;
inline int32_t (*volatile g_adv_control)(uint8_t, uint8_t, float, float, float, float, float,
                                         float) = cw_v1_flight_api_adv_control;
inline void (*volatile g_usrlog)(const char *, int, const char *, ...) = cw::log::usrlog;

// ---- Floors ----

template <size_t N>
__attribute__((noinline)) void copy_floor(void *dst, const void *src) {
    std::memcpy(dst, src, N);
}
inline void (*volatile g_copy14)(void *, const void *) = copy_floor<sizeof(FcState)>;
inline void (*volatile g_copy16)(void *, const void *) = copy_floor<sizeof(GimbalInfo)>;
inline void (*volatile g_copy36)(void *, const void *) = copy_floor<sizeof(FcMotorState)>;
inline void (*volatile g_copy59)(void *, const void *) = copy_floor<CW_FC_SENSOR_LEN>;

// The command's payload laid out one byte at a time, each byte its own store (volatile: the
// compiler would otherwise assemble the bytes in registers into wider stores).
inline void put_bytes(volatile uint8_t *p, float v) {
    const auto bits = std::bit_cast<uint32_t>(v);
    p[0] = static_cast<uint8_t>(bits);
    p[1] = static_cast<uint8_t>(bits >> 8);
    p[2] = static_cast<uint8_t>(bits >> 16);
    p[3] = static_cast<uint8_t>(bits >> 24);
}
__attribute__((noinline)) inline void pack_floor(uint8_t *out, uint8_t a, uint8_t b, float v0, float v1, float v2,
                                                 float v3, float v4, float v5) {
    volatile uint8_t *p = out;
    p[0] = a;
    p[1] = b;
    put_bytes(p + 2, v0);
    put_bytes(p + 6, v1);
    put_bytes(p + 10, v2);
    put_bytes(p + 14, v3);
    put_bytes(p + 18, v4);
    put_bytes(p + 22, v5);
}
inline void (*volatile g_pack)(uint8_t *, uint8_t, uint8_t, float, float, float, float, float, float) = pack_floor;

// The usrlog line measured: the one adv_control writes when the link fails.
inline constexpr const char *kLogFunc = "cw_v1_flight_api_adv_control";
inline constexpr int kLogLine = 177;
#define CWB_LOG_TEXT "cw_v1_flight_api_adv_control() v1_send fail %d\n"

// The flight state update's own line, written once every 102 updates.
inline void fc_state_line() { g_usrlog("cw_flight_update_fc_state", 97, "---FC STATE UPDATE ------ %d \n", 5); }

// The whole line in one snprintf, head included.
__attribute__((noinline)) inline void snprintf_floor(char *buf, const char *func, int line, int rc) {
    std::snprintf(buf, 1024, "%10llu USRLOG[%-25s :%d]:: " CWB_LOG_TEXT, 123456789ull, func, line, rc);
}
inline void (*volatile g_snprintf)(char *, const char *, int, int) = snprintf_floor;

// ---- One call of each ----

inline void push_gimbal_info() { g_push_gimbal_info(g_buf.payload); }
inline void push_motor() { g_push_motor(g_buf.payload); }
inline void push_sensor() { g_push_sensor(g_buf.payload); }
inline void push_fc_state() { g_push_fc_state(g_buf.payload); }
inline void get_gimbal_info() { g_get_gimbal_info(&g_buf.gimbal_info); }
inline void get_motor() { g_get_motor(&g_buf.motor); }
inline void get_sensor() { g_get_sensor(&g_buf.sensor); }
inline void get_fc_state() { g_get_fc_state(&g_buf.fc_state); }
inline void copy14() { g_copy14(g_buf.copy, g_buf.payload); }
inline void copy16() { g_copy16(g_buf.copy, g_buf.payload); }
inline void copy36() { g_copy36(g_buf.copy, g_buf.payload); }
inline void copy59() { g_copy59(g_buf.copy, g_buf.payload); }
inline void adv_control() { g_adv_control(1, 2, 0.5f, -1.25f, 3.0f, 0.0f, 100.0f, -7.5f); }
inline void pack26() { g_pack(g_buf.packed, 1, 2, 0.5f, -1.25f, 3.0f, 0.0f, 100.0f, -7.5f); }
inline void usrlog_line() { g_usrlog(kLogFunc, kLogLine, CWB_LOG_TEXT, -1); }
inline void usrlog_snprintf() { g_snprintf(g_buf.line, kLogFunc, kLogLine, -1); }

struct Op {
    const char *name;
    void (*one)();
};

// Registers the handlers with the null middleware and fills the pushed message.
inline void setup() {
    cw_gimbal_module_init();
    cw_flight_module_init();
    cw_register_v1_gimbal_data();
    cw_register_v1_flight_data();
    g_push_gimbal_info = nullmbus_handler(4, 5);
    g_push_motor = nullmbus_handler(3, 90);
    g_push_sensor = nullmbus_handler(3, 106);
    g_push_fc_state = nullmbus_handler(3, 91);
    for (size_t i = 0; i < 64; ++i) {
        g_buf.payload[i] = static_cast<uint8_t>(i * 7 + 1);
    }
}

}  // namespace cwb

// Every operation with its floor: name, operation, floor's name, floor.
#define CWB_OPS(X)              \
    X(push_gimbal_info, copy16) \
    X(push_motor, copy36)       \
    X(push_sensor, copy59)      \
    X(push_fc_state, copy14)    \
    X(get_gimbal_info, copy16)  \
    X(get_motor, copy36)        \
    X(get_sensor, copy59)       \
    X(get_fc_state, copy14)     \
    X(adv_control, pack26)      \
    X(usrlog_line, usrlog_snprintf)
