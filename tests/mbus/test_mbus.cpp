// The middleware stand-in's own contract: every other test reads the aircraft through it.
#include <atomic>
#include <chrono>
#include <cstring>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "mbus_ctl.h"

namespace {

using Bytes = std::vector<uint8_t>;

class Mbus : public ::testing::Test {
protected:
    void SetUp() override {
        mbus_ctl_reset();
        mbus_ctl_set_echo(0);
    }
    void TearDown() override { mbus_ctl_reset(); }
};

mbus_ctl_request_t request(uint32_t index) {
    mbus_ctl_request_t r{};
    EXPECT_EQ(mbus_ctl_request_get(index, &r), 0);
    return r;
}

TEST_F(Mbus, ScriptsAnswerInOrderWithinTheCallersBuffer) {
    const uint8_t four[] = {1, 2, 3, 4};
    mbus_ctl_script_answer(four, 4);
    mbus_ctl_script_result(-5);
    mbus_ctl_script_answer(four, 1);
    const uint8_t payload[] = {0xAA, 0xBB};
    uint8_t resp[3] = {0xEE, 0xEE, 0xEE};
    EXPECT_EQ(mbus_link_v1_send(3, 7, 0x0306, payload, 2, resp, 2, 1000), 0);
    EXPECT_EQ(Bytes(resp, resp + 3), (Bytes{1, 2, 0xEE}));
    EXPECT_EQ(mbus_link_v1_send(3, 8, 0x0306, payload, 2, resp, 3, 1000), -5);
    EXPECT_EQ(mbus_link_v1_send(3, 9, 0x0306, nullptr, 0, resp, 3, 0), 0);  // no timeout: answer dropped
    EXPECT_EQ(Bytes(resp, resp + 3), (Bytes{1, 2, 0xEE}));
    EXPECT_EQ(mbus_link_v1_send(3, 10, 0x0306, payload, 2, nullptr, 0, 1000), MBUS_ERR_NO_PEER);
    ASSERT_EQ(mbus_ctl_request_count(), 4u);
    EXPECT_EQ(request(0).payload[1], 0xBB);
    EXPECT_EQ(request(1).result, -5);
}

struct Model {
    uint32_t delay_us = 0;
    int32_t result = 0;
    int calls = 0;
    uint8_t seen_prefill = 0;
    uint32_t recorded_during_call = 0;
};

int32_t model(void *ctx, const mbus_ctl_request_t *req, uint8_t *resp, uint32_t resp_len, uint32_t *delay_us) {
    auto *m = static_cast<Model *>(ctx);
    ++m->calls;
    m->recorded_during_call = mbus_ctl_request_count();  // the stand-in must not hold its lock here
    if (resp_len > 0) {
        m->seen_prefill = resp[0];
        resp[0] = static_cast<uint8_t>(req->payload[0] + 1);
    }
    *delay_us = m->delay_us;
    return m->result;
}

TEST_F(Mbus, ModelAnswersAfterItsDelayOrTimesOut) {
    Model m;
    mbus_ctl_set_peer(0x0306, model, &m);
    struct Case {
        uint32_t delay_us, timeout;
        int32_t model_result, result;
        uint8_t resp;
        int64_t min_us;
    };
    for (const Case &c : {Case{500, 2000, 0, 0, 41, 500}, Case{5000, 2000, 0, MBUS_ERR_TIMEOUT, 7, 2000},
                          Case{0, 0, 0, 0, 7, 0}, Case{0, 2000, -42, -42, 7, 0}}) {
        m.delay_us = c.delay_us;
        m.result = c.model_result;
        const uint8_t payload[] = {40};
        uint8_t resp[1] = {7};
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(mbus_link_v1_send(1, 2, 0x0306, payload, 1, resp, 1, c.timeout), c.result);
        EXPECT_GE(
            std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start).count(),
            c.min_us);
        EXPECT_EQ(resp[0], c.resp) << c.delay_us << " " << c.timeout;  // late or failed: buffer untouched
        EXPECT_EQ(m.seen_prefill, 7);
    }
    EXPECT_EQ(m.calls, 4);
    EXPECT_EQ(m.recorded_during_call, 4u);
    EXPECT_EQ(request(1).result, MBUS_ERR_TIMEOUT);
    mbus_ctl_set_peer(0x0306, nullptr, nullptr);
    EXPECT_EQ(mbus_link_v1_send(1, 2, 0x0306, nullptr, 0, nullptr, 0, 0), MBUS_ERR_NO_PEER);
}

Bytes g_seen;
std::atomic<int> g_delivered{0};
std::thread::id g_thread;

int32_t handler(const uint8_t *payload) {
    g_seen.assign(payload, payload + MBUS_LINK_MAX_PAYLOAD);
    g_thread = std::this_thread::get_id();
    ++g_delivered;
    return 7;
}

int32_t other_handler(const uint8_t *) { return 0; }

TEST_F(Mbus, PushesReachTheRegisteredHandlerInAZeroFilledBufferOnEitherThread) {
    EXPECT_EQ(mbus_link_register_v1_callback(3, 90, handler), 0);
    const Bytes full(MBUS_LINK_MAX_PAYLOAD + 10, 0xFF);
    EXPECT_EQ(mbus_ctl_push(3, 90, full.data(), static_cast<uint32_t>(full.size())), 7);
    const uint8_t shortmsg[] = {1, 2, 3};
    EXPECT_EQ(mbus_ctl_push(3, 90, shortmsg, 3), 7);
    Bytes expected(MBUS_LINK_MAX_PAYLOAD, 0);
    std::memcpy(expected.data(), shortmsg, 3);
    EXPECT_EQ(g_seen, expected);
    EXPECT_NE(mbus_link_unregister_v1_callback(3, 90, other_handler), 0);  // not the one registered
    EXPECT_EQ(mbus_link_unregister_v1_callback(3, 90, handler), 0);
    EXPECT_EQ(mbus_ctl_push(3, 90, shortmsg, 3), MBUS_ERR_NO_PEER);

    g_delivered = 0;
    mbus_link_register_v1_callback(4, 1, handler);
    for (uint8_t i = 0; i < 100; ++i) {
        ASSERT_EQ(mbus_ctl_push_async(4, 1, &i, 1), 0);
    }
    EXPECT_EQ(mbus_ctl_push_async(4, 2, nullptr, 0), 0);  // no handler: dropped on the thread
    mbus_ctl_push_flush();
    EXPECT_EQ(g_delivered.load(), 100);
    EXPECT_EQ(g_seen[0], 99);  // delivered in order
    EXPECT_NE(g_thread, std::this_thread::get_id());
}

TEST_F(Mbus, LogsKeepTheirThreadsHeadAndDumpsAreCut) {
    char head[128] = "untouched";
    EXPECT_EQ(mbus_log_gen_head(68, 4, head, sizeof head, "a.cpp", "f", 1), 1);
    EXPECT_STREQ(head, "untouched");
    EXPECT_EQ(mbus_log_gen_head(68, 3, head, sizeof head, "../cw/x.cpp", "run", 42), 0);
    EXPECT_STREQ(head, "[68][L3] ../cw/x.cpp:run:42 ");
    std::thread([] {
        char other[64];
        mbus_log_gen_head(68, 2, other, sizeof other, "y.cpp", "elsewhere", 7);
        mbus_log_print(68, 2, other, "from %s", "there");
    }).join();
    mbus_log_print(68, 3, head, "x=%d", 5);
    mbus_ctl_log_t l{};
    ASSERT_EQ(mbus_ctl_log_get(1, &l), 0);
    EXPECT_EQ(std::string(l.file) + ":" + l.func + ":" + std::to_string(l.line) + " " + l.text,
              "../cw/x.cpp:run:42 x=5");
    EXPECT_EQ(mbus_ctl_log_head_count(), 3u);
    mbus_ctl_set_log_level(4);
    EXPECT_EQ(mbus_log_gen_head(68, 4, head, sizeof head, "a.cpp", "f", 1), 0);

    const std::string big(3000, 'q');
    mbus_dump_write("usrlog", big.data(), static_cast<uint32_t>(big.size()));
    mbus_ctl_dump_t d{};
    ASSERT_EQ(mbus_ctl_dump_get(0, &d), 0);
    EXPECT_EQ(std::strlen(d.data), 2047u);  // cut, NUL-terminated
}

TEST_F(Mbus, DataManagerHandsOutCopiesAndFailsOnRequest) {
    const mbus_dm_key_t imu{1, 0};
    uint8_t group[MBUS_DM_IMU_SIZE];
    std::iota(group, group + MBUS_DM_IMU_SIZE, uint8_t{0});
    mbus_ctl_dm_set_imu(group);
    mbus_dm_item_t *item = nullptr;
    ASSERT_EQ(mbus_dm_take(&imu, 0, &item, 0), 0);
    mbus_ctl_dm_set_imu(nullptr);  // the taken copy must not follow later updates
    EXPECT_EQ(std::memcmp(item->data, group, MBUS_DM_IMU_SIZE), 0);
    EXPECT_EQ(mbus_ctl_dm_outstanding(), 1);
    EXPECT_EQ(mbus_dm_return(&imu, item), 0);
    EXPECT_EQ(mbus_dm_return(&imu, item), MBUS_ERR_NO_DATA);  // twice
    mbus_ctl_dm_fail_take(-7);
    EXPECT_EQ(mbus_dm_take(&imu, 0, &item, 0), -7);
    ASSERT_EQ(mbus_dm_take(&imu, 0, &item, 0), 0);  // the fault fired once
    mbus_ctl_dm_fail_return(-9);
    EXPECT_EQ(mbus_dm_return(&imu, item), -9);
    EXPECT_EQ(mbus_ctl_dm_outstanding(), 0);  // given back all the same
}

void inbox(void *ctx, const void *msg, uint32_t len) {
    static_cast<std::string *>(ctx)->assign(static_cast<const char *>(msg), len);
    EXPECT_EQ(mbus_ctl_message_count(), 3u);  // recorded before, and without the lock held
}

TEST_F(Mbus, NamedMessagesReachTheirReceiverUnlessFailed) {
    EXPECT_EQ(mbus_tm_speak("vision", "x", 1, 5), MBUS_ERR_NO_RECEIVER);
    std::string in;
    mbus_ctl_tm_set_receiver("vision", inbox, &in);
    mbus_ctl_tm_fail(-4, 1);
    EXPECT_EQ(mbus_tm_speak("vision", "ab", 2, 0), -4);
    EXPECT_EQ(mbus_tm_speak("vision", "abc", 3, 0), 0);
    EXPECT_EQ(in, "abc");
}

TEST_F(Mbus, ResetDrainsPushesAndForgetsEverything) {
    g_delivered = 0;
    mbus_link_register_v1_callback(4, 1, [](const uint8_t *) -> int32_t {
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        return ++g_delivered;
    });
    for (uint8_t i = 0; i < 20; ++i) {
        mbus_ctl_push_async(4, 1, &i, 1);
    }
    Model m;
    mbus_ctl_set_peer(0x0306, model, &m);
    mbus_ctl_script_result(-1);
    mbus_ctl_reset();
    EXPECT_EQ(g_delivered.load(), 20);
    EXPECT_EQ(mbus_ctl_handler(4, 1), nullptr);
    EXPECT_EQ(mbus_ctl_script_pending(), 0u);
    EXPECT_EQ(mbus_link_v1_send(1, 1, 0x0306, nullptr, 0, nullptr, 0, 0), MBUS_ERR_NO_PEER);
}

TEST_F(Mbus, LongRunsKeepOnlyTheNewestRequests) {
    for (uint32_t i = 0; i < 65536 + 10; ++i) {
        mbus_link_v1_send(1, 1, 1, reinterpret_cast<const uint8_t *>(&i), 4, nullptr, 0, 0);
    }
    EXPECT_EQ(mbus_ctl_request_count(), 65536u);
    uint32_t oldest = 0;
    std::memcpy(&oldest, request(0).payload, 4);
    EXPECT_EQ(oldest, 10u);  // indexes count from the oldest kept
}

}  // namespace
