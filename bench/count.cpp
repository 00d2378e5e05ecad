// Instruction counts of the hot operations and their floors, for scripts/bench.sh: run under
// callgrind with collection off at start, it collects each operation's loop alone and dumps the
// counts under the operation's name. An empty loop is dumped too, so the script can take the
// loop's own instructions off.
#include <valgrind/callgrind.h>

#include "ops.h"

namespace {

constexpr int kRuns = 102 * 100;  // a multiple of every log throttle's period

template <void (*One)()>
void run() {
    for (int i = 0; i < kRuns; ++i) {
        One();
    }
}

template <>
void run<nullptr>() {
    for (int i = 0; i < kRuns; ++i) {
        asm volatile("" ::: "memory");
    }
}

template <void (*One)()>
void measure(const char *name) {
    run<One>();  // warm: links resolved, caches and throttles in their steady state
    CALLGRIND_TOGGLE_COLLECT;
    run<One>();
    CALLGRIND_TOGGLE_COLLECT;
    CALLGRIND_DUMP_STATS_AT(name);
}

}  // namespace

int main() {
    cwb::setup();
    measure<nullptr>("empty");
#define CWB_MEASURE(op, floor) \
    measure<cwb::op>(#op);     \
    measure<cwb::floor>(#floor);
    CWB_OPS(CWB_MEASURE)
    measure<cwb::fc_state_line>("fc_state_line");
    std::printf("runs %d\n", kRuns);
    return 0;
}
