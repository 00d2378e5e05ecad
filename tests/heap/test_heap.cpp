// The library touches the heap only for requests whose length depends on the arguments, and
// gives every such block back. Everything else (commands, handlers, getters, logging) runs on
// the stack.
#include <cirrow/cirrow.h>

#include "alloc_counter.h"
#include "cw_test.h"

using namespace cwt;

namespace {

class Heap : public LinkTest {
protected:
    void SetUp() override {
        LinkTest::SetUp();
        if (!heap_counting_available()) {
            GTEST_SKIP() << "the sanitizer owns malloc here";
        }
        // Every request is answered with zeros unless a case scripts otherwise.
        mbus_ctl_set_peer(0, nullptr, nullptr);
    }
};

TEST_F(Heap, LinkFlagsAndLoggingUseNoHeap) {
    heap_reset();
    uint8_t resp[4];
    const uint8_t payload[2] = {1, 2};
    const V1Request req = {3, 128, 0x0306, payload, 2, resp, 4, 200000};
    answer({0, 0, 0, 0});
    EXPECT_EQ(cw_link_v1_send(&req), 0);
    set_debug_mode(1);
    (void)is_debug_mode();
    set_test_mode(0);
    float pid[3];
    get_xyz_pid(pid);
    EXPECT_EQ(heap_calls().allocs, 0u);
    EXPECT_EQ(heap_calls().frees, 0u);
}

}  // namespace
