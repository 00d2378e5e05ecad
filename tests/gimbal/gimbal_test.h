// Shared helpers of the gimbal, remote-controller, Wi-Fi and device-information tests.
#pragma once

#include <cirrow/cirrow.h>

#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "cw_test.h"

namespace cwt {

using Texts = std::vector<std::string>;
// set, id, receiver, timeout, answer length, payload
using Req = std::tuple<int, int, int, uint32_t, uint32_t, Bytes>;

// One call on a fresh link: the peer answers `answer` (or, when it is empty, the send fails with
// -5); the result, the lines ("L<level> text" leveled, then "U text" usrlog) and, when given,
// the request are compared.
struct Case {
    std::string call;
    std::function<int32_t()> fn;
    Bytes answer;
    int32_t rc;
    Texts lines;
    std::optional<Req> req = {};
};
#define CW_CALL(call) #call, [] { return call; }

// Every line of a link command names the command and, on the leveled log, its source `src`.
inline void check(const std::vector<Case> &cases, const std::string &src = "") {
    for (const Case &c : cases) {
        SCOPED_TRACE(c.call);
        mbus_ctl_reset();
        c.answer.empty() ? fail_next(-5) : answer(c.answer);
        EXPECT_EQ(c.fn(), c.rc);
        const std::string func = c.call.rfind("cw_v1_", 0) == 0 ? c.call.substr(0, c.call.find('(')) : "";
        Texts lines;
        for (const Line &l : leveled()) {
            EXPECT_EQ(l.file, "../cw_basic/cw_communication/cw_protocal/src/api/" + src);
            EXPECT_TRUE(func.empty() || l.func == func) << l.func;
            lines.push_back("L" + std::to_string(l.level) + " " + l.text);
        }
        for (const UsrLine &u : usrlog()) {
            EXPECT_TRUE(func.empty() || u.func == func) << u.func;
            lines.push_back("U " + u.text);
        }
        EXPECT_EQ(lines, c.lines);
        const auto s = sent();
        ASSERT_EQ(s.size(), 1u);
        if (c.req) {
            EXPECT_EQ(Req(s[0].cmd_set, s[0].cmd_id, s[0].receiver, s[0].timeout, s[0].resp_len, s[0].payload), *c.req);
        }
    }
}

template <class T>
Bytes bytes_of(const T &v) {
    return Bytes(reinterpret_cast<const uint8_t *>(&v), reinterpret_cast<const uint8_t *>(&v) + sizeof v);
}

}  // namespace cwt
