// Flight-controller parameters addressed by the hash of their names.
#include <cirrow/cirrow.h>

#include <cstring>

#include "cw_test.h"

using namespace cwt;

namespace {

class FlightParams : public LinkTest {};

TEST(ParamHash, ReferenceValues) {
    // The parameter names the library uses are checked with their commands.
    const std::vector<std::pair<const char *, uint32_t>> cases = {
        {"enable_0", 1737311780u},
        {"", 0u},
        {"A", 65u},
        {"\xff\x80", 0xFF80u},             // bytes of 128 and more count as unsigned
        {"\xff\xff\xff\xff\xff", 1279u}};  // 2^40 - 1 modulo 2^32 - 5
    for (const auto &[name, hash] : cases) {
        EXPECT_EQ(get_hash_value(name), hash) << name;
    }
}

// A flight controller that accepts every parameter write and reads every parameter as 0x2A.
int32_t param_peer(void *, const mbus_ctl_request_t *req, uint8_t *resp, uint32_t resp_len, uint32_t *) {
    std::memset(resp, 0x2A, resp_len);
    resp[0] = 0;
    std::memcpy(resp + 1, req->payload, 4);
    if (req->cmd_id == 249) {
        std::memcpy(resp + 5, req->payload + 4, req->payload_len - 4);
    }
    return 0;
}

TEST_F(FlightParams, HeightAndRadiusLimitsInEightSteps) {
    mbus_ctl_set_peer(0x0306, param_peer, nullptr);
    EXPECT_EQ(cw_set_height_and_radius_limit_value(0x0178, 0x0203), 0);
    const Bytes height = le32(57746314u), radius = le32(1113328276u), enabled = le32(1806478126u);
    // Each request as its id, its answer length and its payload.
    // clang-format off
    const std::vector<Bytes> want = {
        cat({{248, 6}, height}), cat({{248, 6}, radius}), cat({{248, 6}, enabled}), cat({{249, 6}, enabled, {1}}),
        cat({{249, 7}, height, {0x78, 1}}), cat({{249, 7}, radius, {3, 2}}),
        cat({{248, 6}, height}), cat({{248, 6}, radius})};
    // clang-format on
    std::vector<Bytes> got;
    for (const Sent &r : sent()) {
        got.push_back(cat({{r.cmd_id, static_cast<uint8_t>(r.resp_len)}, r.payload}));
    }
    EXPECT_EQ(got, want);
    // Each read and write logs its own line; the limit function adds its two among them.
    const auto usr = usrlog();
    ASSERT_EQ(usr.size(), 10u);
    EXPECT_EQ(std::make_tuple(usr[3].text, usr[4].text, usr[5].text, usr[6].text, usr[6].func),
              std::make_tuple("[fc_pm]: write finish! current value is 1\n", "open radius limit success\n",
                              "[fc_pm]: write finish! current value is 120\n", "set height limit to 376 success!\n",
                              "cw_set_height_and_radius_limit_value"));
}

}  // namespace
