// The library touches the heap only for requests whose length depends on the arguments, gives
// every such block back, and fails such a request cleanly when the heap fails. Everything else
// (every other command, the push handlers, the logging) runs on the stack.
#include <cirrow/cirrow.h>

#include <algorithm>
#include <cstring>

#include "alloc_counter.h"
#include "commands.h"
#include "cw_test.h"

using namespace cwt;

namespace {

// Every module answers every request with zeros.
int32_t zeros(void *, const mbus_ctl_request_t *, uint8_t *resp, uint32_t len, uint32_t *) {
    std::fill(resp, resp + len, 0);
    return 0;
}

TEST_F(LinkTest, OnlyVariableLengthRequestsTakeABlockAndGiveItBack) {
    if (!heap_counting_available()) {
        GTEST_SKIP() << "the sanitizer owns malloc here";
    }
    for (uint16_t receiver : {0x0100, 0x0200, 0x0306, 0x0400, 0x0700, 0x0900, 0x0904, 0x0B00, 0x1105, 0x1107, 0x1200}) {
        mbus_ctl_set_peer(receiver, zeros, nullptr);
    }
    heap_reset();
    for (const PushKey &k : register_every_handler()) {
        push(k.cmd_set, k.cmd_id, Payload(256, 0x08));
    }
    EXPECT_EQ(heap_calls().allocs, 0u);
    // The subscription bag (also at start-up), a parameter write (three of them by name for the
    // limits), the pano buffer.
    const std::string variable =
        "cw_v1_flight_api_ds_bag_add cw_flight_reset_and_subscribe nav_v1_flight_api_write_pm cw_v1_pano_image_buf";
    for (const Command &c : kCommands) {
        alignas(8) uint8_t o[kOutSize];
        heap_reset();
        c.call(o);
        const std::string name(c.name, std::strchr(c.name, '('));
        const uint32_t blocks =
            name == "cw_set_height_and_radius_limit_value" ? 3 : variable.find(name) != variable.npos;
        EXPECT_EQ(std::make_pair(heap_calls().allocs, heap_calls().frees), std::make_pair(blocks, blocks)) << c.name;
    }
    // When the heap fails, a variable-length request fails with its command's line and is not sent.
    // clang-format off
    for (auto [fn, line] : std::initializer_list<std::pair<int32_t (*)(), const char *>>{
             {[] { return cw_v1_flight_api_ds_bag_add(1, 10, 2, kItems); }, "U cw flight ds 1 add send fail -1002\n"},
             {[] { return nav_v1_flight_api_write_pm(&kHash, kArgs, 4); }, "U [fc_pm]: nav flight write pm fail -1002\n"},
             {[] { return cw_v1_pano_image_buf(1, 2, 0, kArgs); }, "U send image buf failed -1002\n"}}) {
        // clang-format on
        mbus_ctl_reset();
        heap_fail_next(1);
        EXPECT_EQ(fn(), CW_ERR_NOMEM) << line;
        heap_fail_next(0);
        EXPECT_EQ(std::make_pair(lines().back(), mbus_ctl_request_count()), std::make_pair(std::string(line), 0u));
    }
}

}  // namespace
