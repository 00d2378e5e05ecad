// Gimbal and remote-controller caches: registration order, byte-wise decoding of each pushed
// message at any alignment into only its own record, module init, and unregistering.
#include <cirrow/cirrow.h>

#include "cw_test.h"

using namespace cwt;

namespace {

// All six records as one image of their field bytes (little-endian host, as the messages):
// main info [0,16), fpv info [16,32), ctrl info [32,40), water-wave [40,47), stick [47,55),
// extend [55,61). The water-wave record's padding byte is left out.
Bytes image() {
    GimbalInfo main, fpv;
    GimbalCtrlInfo ctrl;
    GimbalWvResult wv;
    RcStickValue stick;
    RcExtendValue extend;
    EXPECT_EQ(cw_gimbal_get_main_gimbal_info(&main) | cw_gimbal_get_fpv_gimbal_info(&fpv) |
                  cw_gimbal_get_main_gimbal_ctrl_info(&ctrl) | cw_gimbal_get_wv_result(&wv) |
                  cw_rc_get_stick_value(&stick) | cw_rc_get_extend_value(&extend),
              0);
    const Bytes w = bytes_of(wv);
    return cat({bytes_of(main), bytes_of(fpv), bytes_of(ctrl), Bytes(w.begin(), w.begin() + 7), bytes_of(stick),
                bytes_of(extend)});
}

struct Kind {
    uint8_t set, id;
    size_t at, len;  // where the message's record lies in image(), and the message length
};
const Kind kKinds[] = {{4, 5, 0, 16}, {4, 1, 32, 8}, {4, 63, 40, 7}, {10, 6, 47, 8}, {6, 80, 55, 6}};

class Caches : public LinkTest {
protected:
    void SetUp() override {
        LinkTest::SetUp();
        cw_gimbal_module_init();
        cw_rc_module_init();
        EXPECT_EQ(cw_register_v1_gimbal_data() | cw_register_v1_rc_data(), 0);
    }
};

TEST_F(Caches, EachMessageDecodesAtAnyAlignmentIntoOnlyItsRecord) {
    const GimbalInfo fpv = {1, 2, 3, 4, 5, 0xF00D};
    cw_gimbal_update_fpv_gimbal_info(&fpv);
    for (size_t offset = 0; offset < 4; ++offset) {
        for (const Kind &k : kKinds) {
            Bytes payload(k.len);
            for (size_t i = 0; i < k.len; ++i) {
                payload[i] = uint8_t(0x80 + 0x10 * offset + i);  // a different value at every byte and round
            }
            Bytes want = image();
            std::copy(payload.begin(), payload.end(), want.begin() + k.at);
            // From an odd place in memory, followed by bytes that the handler must not take.
            Bytes buf = cat({Bytes(offset, 0xCC), payload, Bytes(8, 0xCC)});
            const mbus_v1_cb_t cb = mbus_ctl_handler(k.set, k.id);
            ASSERT_NE(cb, nullptr);
            EXPECT_EQ(cb(buf.data() + offset), 0);
            EXPECT_EQ(image(), want) << int(k.set) << "/" << int(k.id) << " at +" << offset;
        }
    }
    EXPECT_EQ(cw_gimbal_module_init() | cw_rc_module_init(), 0);
    EXPECT_EQ(image(), Bytes(61, 0));  // fpv included
}

TEST_F(Caches, UnregisteredGimbalMessagesLeaveTheCacheAsItWas) {
    const GimbalWvResult kept = {7, 8, 9, 10};
    cw_gimbal_update_wv_result(&kept);
    cw_unregister_v1_gimbal_data();
    EXPECT_EQ(registrations(), "+4/1 +4/5 +4/63 +6/80 +10/6 -4/1 -4/5 -4/63 ");
    for (const Kind &k : kKinds) {
        push(k.set, k.id, Bytes(16, 0x66));
    }
    EXPECT_EQ(image(), cat({Bytes(40, 0), {7, 0, 8, 0, 9, 0, 10}, Bytes(14, 0x66)}));  // rc stays registered
}

}  // namespace
