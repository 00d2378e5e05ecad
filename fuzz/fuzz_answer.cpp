// Judging of answers: every command, against any answer bytes and link results from the
// scripted peer. An input is a run of operations: a byte with the high bit set calls the command
// it chooses; any other byte scripts the next request's link result (chosen by the byte) and is
// followed by a length byte and that many answer bytes.
#include <cirrow/cirrow.h>

#include <algorithm>
#include <memory>

#include "commands.h"
#include "fuzz_common.h"

namespace {

using cwt::kCommands;
constexpr int32_t kResults[] = {0, 0, 0, 0, -1, MBUS_ERR_TIMEOUT, MBUS_ERR_NO_PEER, 1};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    cwf::quiet();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    mbus_ctl_reset();
    const auto out = std::make_unique<uint8_t[]>(cwt::kOutSize);
    while (size > 0) {
        const uint8_t op = data[0];
        ++data, --size;
        if (op & 0x80) {
            kCommands[(op & 0x7F) % std::size(kCommands)].call(out.get());
            continue;
        }
        const size_t len = size > 0 ? std::min<size_t>(data[0], size - 1) : 0;
        mbus_ctl_script(kResults[op % std::size(kResults)], size > 0 ? data + 1 : nullptr, static_cast<uint32_t>(len));
        const size_t used = size > 0 ? 1 + len : 0;
        data += used, size -= used;
    }
    return 0;
}
