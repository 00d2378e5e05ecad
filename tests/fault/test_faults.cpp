// Every command when the link fails, times out, the module refuses or the answer is empty: the
// result and the failure line each row defines, nothing written to an out-parameter on failure,
// nothing leaked.
#include <algorithm>
#include <cstdio>
#include <cstring>

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

}  // namespace
