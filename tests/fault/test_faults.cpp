// Every command when the link fails, times out, the module refuses or the answer is empty: the
// result and the failure line each row defines, nothing written to an out-parameter on failure,
// nothing leaked.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "commands.h"
#include "cw_messages.h"
#include "cw_test.h"

using namespace cwt;

namespace {

// Calls with every out-byte pre-set; returns the result and whether any out-byte changed.
std::pair<int32_t, bool> call(CommandFn fn) {
    alignas(8) uint8_t o[kOutSize];
    std::memset(o, 0xA5, sizeof o);
    const int32_t rc = fn(o);
    return {rc, std::any_of(o, o + kOutSize, [](uint8_t b) { return b != 0xA5; })};
}

std::string format(const char *line, int32_t code) {
    char buf[256];
    std::snprintf(buf, sizeof buf, line, code);  // NOLINT(clang-diagnostic-format-nonliteral)
    return buf;
}

TEST_F(LinkTest, EveryCommandUnderEveryLinkFault) {
    Payload refusal(64, 0);
    refusal[0] = 0xE5;
    for (size_t i = 0; i < std::size(kCommands); ++i) {
        const Expect &e = kExpect[i];
        for (auto [code, answer, want] : {std::tuple{-5, Payload{}, e.link},
                                          {MBUS_ERR_TIMEOUT, Payload{}, e.link},
                                          {0, refusal, e.refuse},
                                          {0, Payload{}, e.empty}}) {
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

// Every request every command sends is a row of the message table: its set, id and receiver; the
// row's length where the row fixes one; the row's wait when an answer is awaited, none otherwise.
TEST_F(LinkTest, EveryRequestIsItsRow) {
    namespace link = cw::link;
    const Payload answer(64, 0);
    for (const Command &c : kCommands) {
        SCOPED_TRACE(c.name);
        mbus_ctl_reset();
        for (int n = 0; n < 8; ++n) {
            mbus_ctl_script(0, answer.data(), uint32_t(answer.size()));
        }
        alignas(8) uint8_t o[kOutSize] = {};
        c.call(o);
        for (const Sent &s : sent()) {
            const auto len = static_cast<uint32_t>(s.payload.size());
            const link::Message *m = link::find(s.cmd_set, s.cmd_id, link::Dir::Request, s.receiver, len);
            ASSERT_NE(m, nullptr) << int(s.cmd_set) << "/" << int(s.cmd_id) << " to " << s.receiver;
            SCOPED_TRACE(m->name);
            EXPECT_TRUE(m->receiver == s.receiver || m->receiver == link::kAnyReceiver);
            if (link::fixed_length(*m)) {
                EXPECT_EQ(len, link::extent(*m));
            }
            EXPECT_EQ(s.timeout, s.resp_null ? 0 : m->timeout);
        }
    }
}

}  // namespace
