// Push handlers: every handler the registration functions attach, fed through the stand-in's
// synchronous push (each message zero-padded to the link's 2048 bytes, as the middleware
// delivers). An input is a run of messages: a byte choosing the handler, a little-endian u16
// length (cut to 2048 and to what is left), the payload.
#include <cirrow/cirrow.h>

#include <algorithm>
#include <vector>

#include "commands.h"
#include "fuzz_common.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    cwf::quiet();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    mbus_ctl_reset();  // drops what the last input logged
    const std::vector<cwt::PushKey> keys = cwt::register_every_handler();
    while (size >= 3) {
        const cwt::PushKey k = keys[data[0] % keys.size()];
        const size_t len = std::min({size_t{data[1]} | size_t{data[2]} << 8, size - 3, size_t{MBUS_LINK_MAX_PAYLOAD}});
        // The stand-in hands the handler a 2048-byte heap block: a read beyond it is caught.
        mbus_ctl_push(k.cmd_set, k.cmd_id, data + 3, static_cast<uint32_t>(len));
        data += 3 + len;
        size -= 3 + len;
    }
    return 0;
}
