// Every command when the link fails, times out, the module refuses or the answer is empty; the
// variable-length payloads when the heap fails; the marker's named messages and the IMU data
// group when the platform fails. The result and the failure line each row defines, nothing
// written to an out-parameter on failure, nothing leaked.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "alloc_counter.h"
#include "commands.h"
#include "cw_test.h"

using namespace cwt;

namespace {

struct Expect {
    const char *line;
    int32_t link, refuse, empty;
};
#define CWT_EXPECT(call, line, link, refuse, empty) {line, link, refuse, empty},
const Expect kExpect[] = {CWT_COMMANDS(CWT_EXPECT)};

// Calls with every out-byte pre-set; returns the result and whether any out-byte changed.
std::pair<int32_t, bool> call(CommandFn fn) {
    alignas(8) uint8_t o[kOutSize];
    std::memset(o, 0xA5, sizeof o);
    const int32_t rc = fn(o);
    return {rc, std::any_of(o, o + kOutSize, [](uint8_t b) { return b != 0xA5; })};
}

CommandFn named(std::string_view call) {
    return std::find_if(std::begin(kCommands), std::end(kCommands), [&](const Command &c) { return c.name == call; })
        ->call;
}

std::string format(const char *line, int32_t code) {
    char buf[256];
    std::snprintf(buf, sizeof buf, line, code);  // NOLINT(clang-diagnostic-format-nonliteral)
    return buf;
}

TEST_F(LinkTest, EveryCommandUnderEveryLinkFault) {
    Bytes refusal(64, 0);
    refusal[0] = 0xE5;
    for (size_t i = 0; i < std::size(kCommands); ++i) {
        const Expect &e = kExpect[i];
        for (auto [code, answer, want] : {std::tuple{-5, Bytes{}, e.link},
                                          {MBUS_ERR_TIMEOUT, Bytes{}, e.link},
                                          {0, refusal, e.refuse},
                                          {0, Bytes{}, e.empty}}) {
            SCOPED_TRACE(testing::Message() << kCommands[i].name << " link " << code << " answer " << answer.size());
            mbus_ctl_reset();
            for (int n = 0; n < 8; ++n) {  // every request of the command meets the fault
                mbus_ctl_script(code, answer.data(), uint32_t(answer.size()));
            }
            const auto [rc, written] = call(kCommands[i].call);
            EXPECT_EQ(rc, want == kLink ? code : want);
            EXPECT_FALSE(rc != 0 && written);
            if (code != 0) {
                const std::vector<std::string> got = lines();
                EXPECT_NE(std::find(got.begin(), got.end(), format(e.line, code)), got.end());
            }
        }
    }
}

TEST_F(LinkTest, HeapNamedMessagesAndDataManager) {
    static const MarkerMsg msg = {1, 2, 3};
    struct Row {
        void (*inject)();
        CommandFn fn;
        int32_t rc;
        bool written;  // the out-parameter is filled before the failure
        const char *line;
    };
    // clang-format off
    const Row rows[] = {
        {[] { heap_fail_next(1); }, named("cw_v1_flight_api_ds_bag_add(1, 10, 2, kItems)"), CW_ERR_NOMEM, false, "U cw flight ds 1 add send fail -1002\n"},
        {[] { heap_fail_next(1); }, named("nav_v1_flight_api_write_pm(&kHash, kArgs, 4)"), CW_ERR_NOMEM, false, "U [fc_pm]: nav flight write pm fail -1002\n"},
        {[] { heap_fail_next(1); }, named("cw_v1_pano_image_buf(1, 2, 2, kArgs)"), CW_ERR_NOMEM, false, "L1 send image buf failed -1002\n"},
        {[] { mbus_ctl_tm_fail(MBUS_ERR_NO_RECEIVER, 1); }, [](uint8_t *) { return cw_send_msg_to_marker(&msg); }, -1,
         false, "U cw_send_msg_to_marker() fail -2\n"},
        {[] { mbus_ctl_dm_fail_take(MBUS_ERR_NO_DATA); }, [](uint8_t *o) { return cw_flight_get_imu_data_group(as<ImuDataGroup>(o)); },
         MBUS_ERR_NO_DATA, false, "L1 mbus_dm_take() error: -61\n"},
        {[] { mbus_ctl_dm_fail_return(MBUS_ERR_NO_DATA); }, [](uint8_t *o) { return cw_flight_get_imu_data_group(as<ImuDataGroup>(o)); },
         MBUS_ERR_NO_DATA, true, "L1 mbus_dm_take() error: -61\n"}};
    // clang-format on
    for (const Row &r : rows) {
        SCOPED_TRACE(r.line);
        if (r.rc == CW_ERR_NOMEM && !heap_counting_available()) {
            continue;  // no allocation fault under a sanitizer
        }
        mbus_ctl_reset();
        mbus_ctl_set_echo(0);
        mbus_ctl_tm_set_receiver(
            "fly_marker_thread", [](void *, const void *, uint32_t) {}, nullptr);
        r.inject();
        const auto [rc, written] = call(r.fn);
        heap_fail_next(0);
        const std::vector<std::string> got = lines();
        EXPECT_EQ(std::tie(rc, written), std::tie(r.rc, r.written));
        EXPECT_NE(std::find(got.begin(), got.end(), r.line), got.end()) << testing::PrintToString(got);
        EXPECT_EQ(mbus_ctl_request_count(), 0u);
    }
}

}  // namespace
