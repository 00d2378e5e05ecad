// The wire's frame reader and request codec: what a byte stream from a stranger, an older or newer
// stand-in, or a broken one must give.
#include <gtest/gtest.h>

#include "wire.h"

namespace {

std::vector<uint8_t> frame(wire::Type type, uint32_t id, const std::vector<uint8_t> &body) {
    std::vector<uint8_t> out;
    wire::append(out, type, id, body);
    return out;
}

TEST(Wire, FramesSurviveAnySplit) {
    std::vector<uint8_t> stream = frame(wire::Type::Hello, 0, wire::Out().str("app 1").take());
    const auto req = frame(wire::Type::Handler, 7, {5, 1, 1});
    stream.insert(stream.end(), req.begin(), req.end());
    // One byte at a time: nothing is taken before it is whole, then both come out in order.
    wire::Reader r;
    std::vector<wire::Frame> got;
    for (uint8_t b : stream) {
        r.feed(&b, 1);
        for (wire::Frame f; r.next(f) == wire::Reader::Ok;) {
            got.push_back(f);
        }
    }
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].type, wire::Type::Hello);
    EXPECT_EQ(got[1].type, wire::Type::Handler);
    EXPECT_EQ(got[1].id, 7u);
    EXPECT_EQ(got[1].body, (std::vector<uint8_t>{5, 1, 1}));
    EXPECT_EQ(r.buffered(), 0u);
}

TEST(Wire, RequestsRoundTripAndBadOnesAreRefused) {
    wire::Request w;
    w.req.cmd_set = 3;
    w.req.cmd_id = 9;
    w.req.receiver = 0x1234;
    w.req.payload_len = 3000;  // more than the link carries: only the largest payload travels
    w.req.resp_len = 4;
    w.req.timeout = 50000;
    w.req.payload[2047] = 0xAB;
    w.resp = {1, 2, 3, 4};
    wire::Request back;
    std::string why;
    ASSERT_TRUE(back.decode(w.encode(), why)) << why;
    EXPECT_EQ(back.req.receiver, 0x1234);
    EXPECT_EQ(back.req.payload_len, 3000u);
    EXPECT_EQ(back.req.payload[2047], 0xAB);
    EXPECT_EQ(back.resp, w.resp);
    EXPECT_FALSE(back.req.payload_null);

    auto body = w.encode();
    const struct {
        const char *what;
        std::vector<uint8_t> body;
        const char *error;
    } cases[] = {
        {"cut short", std::vector<uint8_t>(body.begin(), body.begin() + 20), "malformed"},
        {"bytes left over",
         [&] {
             auto b = body;
             b.push_back(0);
             return b;
         }(),
         "malformed"},
        {"an answer buffer longer than its length", wire::Request{w.req, {1, 2, 3, 4, 5}}.encode(),
         "carries 2048 payload bytes and 5 answer bytes"},
        {"a byte string over the largest",
         wire::Out().u8(1).u8(2).u16(3).u32(4000).u32(0).u32(0).u8(0).u32(4000).take(), "malformed"},
    };
    for (const auto &c : cases) {
        wire::Request r;
        EXPECT_FALSE(r.decode(c.body, why)) << c.what;
        EXPECT_NE(why.find(c.error), std::string::npos) << c.what << ": " << why;
    }
}

}  // namespace
