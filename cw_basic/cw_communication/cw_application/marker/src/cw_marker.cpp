// Marker-guided flight: the shared marker-position record, and the command message to the
// application's marker-handling thread, handed over by the middleware's named messages.
#include <array>
#include <cstdint>

#include "cirrow/cw_marker.h"
#include "cw_bytes.h"
#include "cw_cell.h"
#include "cw_log.h"
#include "mbus.h"

namespace {

cw::Latest<MarkerPosition> g_marker_position;

constexpr const char *kMarkerThread = "fly_marker_thread";
constexpr uint32_t kSpeakFlags = 0;
constexpr int32_t kMarkerRetries = 5;  // further hand-overs after a failed first one

}  // namespace

extern "C" int32_t cw_marker_module_init(void) {
    g_marker_position.clear();
    return 0;
}

extern "C" int32_t cw_marker_put_position(const MarkerPosition *position) {
    return cw::publish(g_marker_position, position);
}

extern "C" int32_t cw_marker_get_position(void *position) {
    return cw::copy(g_marker_position, position, CW_MARKER_POSITION_LEN);
}

extern "C" int32_t cw_send_msg_to_marker(const MarkerMsg *msg) {
    CW_REQUIRE(msg);
    const auto bytes = cw::le::pack<int32_t, int32_t, int32_t>(msg->gimbal_on, msg->enable_qrcode, msg->paper_id);
    const auto len = static_cast<uint32_t>(bytes.size());
    const int32_t rc = mbus_tm_speak(kMarkerThread, bytes.data(), len, kSpeakFlags);
    if (rc == 0) {
        CW_USRLOG("cw_send_msg_to_marker() paper_id:%d gimbal_on:%d enable_qrcode:%d\n", msg->paper_id, msg->gimbal_on,
                  msg->enable_qrcode);
        return 0;
    }
    CW_USRLOG("cw_send_msg_to_marker() fail %d\n", rc);
    // The further attempts are made whatever they return; the message counts as not delivered.
    for (int32_t i = 0; i < kMarkerRetries; ++i) {
        mbus_tm_speak(kMarkerThread, bytes.data(), len, kSpeakFlags);
        CW_USRLOG("cw_send_msg_to_marker() fail %d %d\n", rc, i);
    }
    return -1;
}
