// The capture reader cirrow-plot and the replay share: any bytes, read as a capture. Every record
// it keeps is whole; a refusal names the input.
#include <cstdlib>
#include <string>
#include <vector>

#include "link_capture.h"
#include "mbus.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::vector<cw::trace::CaptureRecord> records;
    std::string error;
    if (!cw::trace::parse_capture("fuzz.pcap", data, size, records, error) && error.rfind("fuzz.pcap: ", 0) != 0) {
        std::abort();
    }
    for (const auto &r : records) {
        if (r.bytes.size() > MBUS_LINK_MAX_PAYLOAD) {
            std::abort();
        }
    }
    return 0;
}
