// The send wrapper and the transaction building blocks that every command stands on.
#include <cirrow/cirrow.h>

#include "cw_bytes.h"
#include "cw_test.h"
#include "cw_txn.h"

using namespace cwt;

namespace {

class Link : public LinkTest {};

TEST_F(Link, SendPassesEveryFieldInRecordOrderAndReturnsTheLinkResult) {
    const uint8_t payload[3] = {0xA1, 0xB2, 0xC3};
    uint8_t resp[4] = {};
    const V1Request req = {3, 128, 0x0306, payload, 3, resp, 4, 200000};

    answer({0x00, 0x11, 0x22, 0x33, 0x44});
    EXPECT_EQ(cw_link_v1_send(&req), 0);
    EXPECT_EQ(Bytes(resp, resp + 4), (Bytes{0x00, 0x11, 0x22, 0x33}));  // never beyond resp_len

    fail_next(-7);
    EXPECT_EQ(cw_link_v1_send(&req), -7);

    const auto s = sent();
    ASSERT_EQ(s.size(), 2u);
    EXPECT_EQ(s[0].cmd_set, 3);
    EXPECT_EQ(s[0].cmd_id, 128);
    EXPECT_EQ(s[0].receiver, 0x0306);
    EXPECT_EQ(s[0].payload, (Bytes{0xA1, 0xB2, 0xC3}));
    EXPECT_EQ(s[0].resp_len, 4u);
    EXPECT_EQ(s[0].timeout, 200000u);
    // The wrapper itself logs nothing.
    EXPECT_TRUE(leveled().empty());
    EXPECT_TRUE(usrlog().empty());
}

TEST_F(Link, BareCommandAndUnansweredRequest) {
    // A bare command goes as a null payload of length 0 with a null answer buffer.
    answer({});
    EXPECT_EQ(cw::send(cw::Route{3, 7, 0x0306, 0}, {}), 0);
    // Without a peer or a script the stand-in refuses, and the code comes back unchanged.
    const uint8_t one = 1;
    const int32_t rc = cw::send(cw::Route{3, 42, 0x0306, 0}, {&one, 1});
    EXPECT_EQ(rc, MBUS_ERR_NO_PEER);

    const auto s = sent();
    ASSERT_EQ(s.size(), 2u);
    EXPECT_TRUE(s[0].payload_null);
    EXPECT_TRUE(s[0].resp_null);
    EXPECT_EQ(s[0].resp_len, 0u);
    EXPECT_EQ(s[0].timeout, 0u);
}

int32_t silent_peer(void *, const mbus_ctl_request_t *, uint8_t *, uint32_t, uint32_t *delay_us) {
    *delay_us = 1000000;  // answers far too late
    return 0;
}

TEST_F(Link, TimeoutZeroReturnsOnceSentEvenIfThePeerNeverAnswers) {
    mbus_ctl_set_peer(0x1107, silent_peer, nullptr);
    EXPECT_EQ(cw::send(cw::Route{10, 32, 0x1107, 0}, cw::le::pack<uint8_t>(1)), 0);
    cw::Answer<1> ans;
    EXPECT_EQ(cw::send(cw::Route{10, 32, 0x1107, 2000}, cw::le::pack<uint8_t>(1), ans.span()), MBUS_ERR_TIMEOUT);
}

TEST_F(Link, AnswerBuffersAreZeroedOrFilled) {
    cw::Answer<3> zero;
    cw::Answer<3> ff(0xFF);
    EXPECT_EQ(zero.bytes, (std::array<uint8_t, 3>{0, 0, 0}));
    EXPECT_EQ(ff.bytes, (std::array<uint8_t, 3>{0xFF, 0xFF, 0xFF}));
}

TEST(Policies, JudgeAnswersByteForByte) {
    const std::array<uint8_t, 6> ok = {0, 1, 2, 3, 4, 5};
    const std::array<uint8_t, 6> nak = {9, 1, 2, 3, 4, 5};
    EXPECT_TRUE(cw::acked(ok));
    EXPECT_FALSE(cw::acked(nak));
    EXPECT_FALSE(cw::acked({}));

    EXPECT_TRUE(cw::answered_with(nak, 9));
    EXPECT_FALSE(cw::answered_with(ok, 14));  // 0, the usual success byte, is not what was asked

    const std::array<uint8_t, 5> sent5 = {1, 2, 3, 4, 5};
    const std::array<uint8_t, 5> other = {1, 2, 3, 4, 6};
    EXPECT_TRUE(cw::echoed(ok, sent5));
    EXPECT_FALSE(cw::echoed(nak, sent5));                     // result byte non-zero
    EXPECT_FALSE(cw::echoed(ok, other));                      // one byte differs
    EXPECT_FALSE(cw::echoed(std::span(ok).first(5), sent5));  // too short to hold the echo

    const std::array<uint8_t, 3> h1 = {0, 1, 2};
    const std::array<uint8_t, 3> h2 = {9, 1, 2};
    const std::array<uint8_t, 3> h3 = {0, 1, 3};
    EXPECT_TRUE(cw::starts_with_one_of(ok, {h3, h1}));
    EXPECT_TRUE(cw::starts_with_one_of(nak, {h1, h2}));
    EXPECT_FALSE(cw::starts_with_one_of(ok, {h2, h3}));
}

TEST(HeapPayload, HoldsExactlyTheRequestedLengthUntilReleased) {
    cw::HeapPayload p(1793);
    ASSERT_TRUE(p.ok());
    EXPECT_EQ(p.view().size(), 1793u);
    EXPECT_EQ(p.data()[1792], 0);
    p.release();
    EXPECT_TRUE(p.view().empty());
    cw::HeapPayload none(0);
    EXPECT_TRUE(none.ok());
}

TEST(Bytes, FieldsAtAnyOffsetLittleEndian) {
    std::array<uint8_t, 16> b{};
    cw::le::put<uint16_t>(b, 1, 0xBEEF);
    cw::le::put<float>(b, 3, 1.5f);  // 0x3FC00000
    cw::le::put<int32_t>(b, 7, -2);
    EXPECT_EQ(b[1], 0xEF);
    EXPECT_EQ(b[2], 0xBE);
    EXPECT_EQ(b[3], 0x00);
    EXPECT_EQ(b[6], 0x3F);
    EXPECT_EQ(cw::le::get<uint16_t>(b, 1), 0xBEEF);
    EXPECT_EQ(cw::le::get<float>(b, 3), 1.5f);

    std::array<uint8_t, 9> w{};
    cw::le::put<uint64_t>(w, 1, 0x0102030405060708ull);
    EXPECT_EQ(w[1], 0x08);
    EXPECT_EQ(w[8], 0x01);
    EXPECT_EQ(cw::le::get<uint64_t>(w, 1), 0x0102030405060708ull);
    cw::le::put<int16_t>(w, 0, -3);
    EXPECT_EQ(cw::le::get<int16_t>(w, 0), -3);

    const auto p = cw::le::pack<uint8_t, float, uint16_t>(7, -1.0f, 0x1234);
    EXPECT_EQ(p, (std::array<uint8_t, 7>{7, 0x00, 0x00, 0x80, 0xBF, 0x34, 0x12}));
}

}  // namespace
