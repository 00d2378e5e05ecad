// The virtual aircraft as the link sees it, under tests/mbus/sim_faults.toml.
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "mbus_ctl.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Case {
    uint16_t receiver;
    uint8_t set, id;
    Bytes payload;
    uint32_t timeout;
    int32_t result;
    Bytes answer;  // what the caller's buffer (pre-filled with 0xEE) holds afterwards
};

TEST(Sim, ModelsAnswerStatefullyAndScenarioFaultsApply) {
    const Bytes height{0x8A, 0x23, 0x71, 0x03};  // the hash of the height limit's name
    const Case cases[] = {
        {0x0306, 3, 20, {0, 200, 0, 1, 0}, 200000, 0, {0, 0, 0, 0, 0}},  // the flight data starts streaming
        {0x0306, 3, 249, {0x8A, 0x23, 0x71, 0x03, 30, 0}, 200000, 0, {0, 0x8A, 0x23, 0x71, 0x03, 30, 0}},
        {0x0306, 3, 248, height, 200000, 0, {0, 0x8A, 0x23, 0x71, 0x03, 30}},
        {0x0900, 0, 1, {}, 200000, 0, {'s', 'd', 'r', ' ', 0xEE, 0xEE}},
        {0x0B00, 13, 4, Bytes(9, 0), 20000, MBUS_ERR_TIMEOUT, Bytes(6, 0xEE)},
        {0x0B00, 13, 4, Bytes(9, 0), 200000, 0, {0, 0, 12, 'B', 'T', '2'}},
        {0x0100, 2, 17, {}, 200000, 0, {0, 0}},
        {0x7777, 1, 1, {}, 200000, MBUS_ERR_NO_PEER, Bytes(6, 0xEE)},
        {0x0100, 2, 99, {}, 20000, MBUS_ERR_TIMEOUT, Bytes(2, 0xEE)},  // the camera does not serve 2/99
        {0x0306, 2, 1, {0}, 20000, MBUS_ERR_TIMEOUT, Bytes(2, 0xEE)},  // a camera command routed to the flight
                                                                       // controller
    };
    for (const Case &c : cases) {
        Bytes resp(c.answer.size(), 0xEE);
        EXPECT_EQ(mbus_link_v1_send(c.set, c.id, c.receiver, c.payload.data(), static_cast<uint32_t>(c.payload.size()),
                                    resp.data(), static_cast<uint32_t>(resp.size()), c.timeout),
                  c.result)
            << int(c.set) << "/" << int(c.id);
        EXPECT_EQ(resp, c.answer) << int(c.set) << "/" << int(c.id);
    }
    static std::atomic<int> states{0};
    mbus_link_register_v1_callback(3, 91, [](const uint8_t *) { return ++states, 0; });
    std::this_thread::sleep_for(std::chrono::milliseconds(600));  // past the camera's silence
    EXPECT_GT(states.load(), 2);  // streamed on the delivery thread since the subscription
    uint8_t mode[2] = {0xEE, 0xEE};
    EXPECT_EQ(mbus_link_v1_send(2, 17, 0x0100, nullptr, 0, mode, 2, 10000), MBUS_ERR_TIMEOUT);
}

}  // namespace
