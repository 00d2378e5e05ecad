// The link's message table: row selection, field decoding, and writing fields for the models.
#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "link_trace.h"

using namespace cw::trace;

TEST(Trace, RowsAreChosenByDirectionReceiverAndLength) {
    const std::tuple<uint8_t, uint8_t, Dir, uint16_t, uint32_t, const char *> cases[] = {
        {10, 116, Dir::Request, kVisionResult, 1, "vision.subscribe_oa_result"},
        {10, 116, Dir::Request, kVision, 1, "vision.lapse_submode"},
        {10, 84, Dir::Push, kAnyReceiver, 10, "vision.pano_status"},
        {3, 218, Dir::Request, kFlight, 23, "flight.distance_limit"},
        {3, 218, Dir::Request, kFlight, 1, "flight.identity_read"},
        {0, 1, Dir::Answer, kWifi, 30, "wifi.version"},
        {0, 1, Dir::Answer, kCamera, 30, "common.get_version"},
        {0, 0, Dir::Request, 0x0123, 1, nullptr},
        {3, 218, Dir::Request, kFlight, 5, nullptr},
    };
    for (const auto &[set, id, dir, receiver, len, name] : cases) {
        const Message *m = find(set, id, dir, receiver, len);
        EXPECT_STREQ(m ? m->name : nullptr, name) << unsigned{set} << "/" << unsigned{id};
    }
}

TEST(Trace, FieldsDecodeWithinTheMessageAndModelsWriteThem) {
    const std::tuple<const char *, Dir, std::vector<uint8_t>, const char *> cases[] = {
        {"flight.ds_bag_add",
         Dir::Request,
         {0, 200, 0, 1, 2, 0xD9, 0xB7, 0x48, 0x16, 1, 0, 0, 0},
         " bag=0 rate=200 constant=1 count=2 items=[373864409,1]"},
        {"gimbal.angle_control",
         Dir::Request,
         {0xFF, 0xFF, 0x10, 0, 0, 0x80, 10, 0, 0x82, 0, 0x2C, 1},
         " angle0=-1 angle1=16 angle2=-32768 constant=10 flags=130 reserved=0 value=300"},
        {"vision.qs_result", Dir::Push, {0, 0, 0, 0, 0, 0, 0, 0, 3}, " code=3"},
        {"vision.qs_result", Dir::Push, {0, 0}, ""},
        {"flight.param_write", Dir::Answer, {0, 1, 2, 3, 4, 0xAB, 0xCD}, " result=0 hash=67305985 value=ab cd"},
        {"flight.yaw_rate_control", Dir::Request, {0, 0, 0xC0, 0xBF}, " rate=-1.5"},
    };
    for (const auto &[name, dir, bytes, decoded] : cases) {
        const Message *m = find(name, dir);
        ASSERT_NE(m, nullptr) << name;
        EXPECT_EQ(decode(m, bytes.data(), bytes.size()), decoded) << name;
        // A model writing the same values into a zeroed message gets the same bytes.
        std::vector<uint8_t> rebuilt(bytes.size());
        for (const Field &f : m->field_list()) {
            for (size_t i = 0; i < elements(f, rebuilt.size()); ++i) {
                if (f.type == Type::Bytes) {
                    rebuilt[f.offset + i] = bytes[f.offset + i];
                } else {
                    put(f, rebuilt.data(), get(f, bytes.data(), i), i);
                }
            }
        }
        EXPECT_EQ(rebuilt, bytes) << name;
    }
    const std::vector<uint8_t> unknown(40, 1);
    EXPECT_EQ(decode(nullptr, unknown.data(), 3), " bytes=01 01 01");
    EXPECT_TRUE(decode(nullptr, unknown.data(), 40).ends_with("01 01 ..(+8)"));
}
