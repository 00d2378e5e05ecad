// Push handlers: every handler the registration functions attach, fed through the stand-in's
// synchronous push (each message zero-padded to the link's 2048 bytes, as the middleware
// delivers). An input is a run of messages: a byte choosing the handler, a little-endian u16
// length (cut to 2048 and to what is left), the payload.
#include <cirrow/cirrow.h>

#include <algorithm>
#include <vector>

#include "fuzz_common.h"

namespace {

struct Key {
    uint8_t cmd_set;
    uint8_t cmd_id;
};

std::vector<Key> register_all() {
    mbus_ctl_reset();
    for (auto reg : {cw_register_v1_flight_data, cw_register_v1_vison_data, cw_register_v1_get_pano_result,
                     cw_register_v1_quick_shot_result, cw_register_v1_quick_shot_finished,
                     cw_register_v1_lapse_photo_result, cw_register_v1_nav_osd, cw_register_v1_nav_pano_status,
                     cw_register_v1_camera_data, cw_register_v1_camera_status_data,
                     cw_register_v1_camera_len_para_data, cw_register_v1_gimbal_data, cw_register_v1_rc_data}) {
        reg();
    }
    std::vector<Key> keys;
    mbus_ctl_registration_t r;
    for (uint32_t i = 0; mbus_ctl_registration_get(i, &r) == 0; ++i) {
        keys.push_back({r.cmd_set, r.cmd_id});
    }
    return keys;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    cwf::quiet();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::vector<Key> keys = register_all();  // also drops what the last input logged
    while (size >= 3) {
        const Key k = keys[data[0] % keys.size()];
        const size_t len = std::min({size_t{data[1]} | size_t{data[2]} << 8, size - 3, size_t{MBUS_LINK_MAX_PAYLOAD}});
        // The stand-in hands the handler a 2048-byte heap block: a read beyond it is caught.
        mbus_ctl_push(k.cmd_set, k.cmd_id, data + 3, static_cast<uint32_t>(len));
        data += 3 + len;
        size -= 3 + len;
    }
    return 0;
}
