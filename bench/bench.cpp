// Time per call of the hot operations beside their floors (Google Benchmark). The instruction
// counts that CI checks come from count.cpp under callgrind (scripts/bench.sh); the times here
// show what the counts cannot, such as store-forwarding stalls.
#include <benchmark/benchmark.h>

#include "ops.h"

namespace {

template <void (*One)()>
void bm(benchmark::State &state) {
    for (auto _ : state) {
        One();
    }
}

#define CWB_REGISTER(op, floor)        \
    BENCHMARK(bm<cwb::op>)->Name(#op); \
    BENCHMARK(bm<cwb::floor>)->Name(#op "/floor:" #floor);
CWB_OPS(CWB_REGISTER)

}  // namespace

int main(int argc, char **argv) {
    cwb::setup();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
