// The exported send: every field of the request record reaches the link, the answer is copied up
// to its length, and the link's result comes back unchanged.
#include <cirrow/cirrow.h>

#include "cw_test.h"

using namespace cwt;

namespace {

class Link : public LinkTest {};

TEST_F(Link, SendPassesEveryFieldAndReturnsTheLinkResult) {
    const uint8_t payload[3] = {0xA1, 0xB2, 0xC3};
    uint8_t resp[4] = {};
    const V1Request req = {3, 128, 0x0306, payload, 3, resp, 4, 200000};
    answer({0x00, 0x11, 0x22, 0x33, 0x44});
    fail_next(-7);
    EXPECT_EQ(cw_link_v1_send(&req), 0);
    EXPECT_EQ(Bytes(resp, resp + 4), (Bytes{0x00, 0x11, 0x22, 0x33}));  // never beyond resp_len
    EXPECT_EQ(cw_link_v1_send(&req), -7);
    EXPECT_EQ(request(1), (Req{3, 128, 0x0306, 200000, 4, {0xA1, 0xB2, 0xC3}}));
    EXPECT_TRUE(lines().empty());  // the wrapper itself logs nothing
}

}  // namespace
