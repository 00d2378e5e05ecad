// The pushing thread's CPU time per push, alone and with four threads polling the same caches:
// readers must not slow the writer down (they never write to the cells). Pushes rotate over the
// four hot records at full speed, the pollers over their getters. Thread CPU time is used, so
// time the pusher spends descheduled on a busy machine does not count.
//
// The check has each poller read all four records every 10 us (100 kHz a thread, a hundred times
// the fastest control loop an application runs). Pollers that read in a tight loop on another
// core are shown too, unchecked: there every push waits for its cache line to come back from the
// reader's core, which no cell that readers can see into avoids.
//   cw_contention [--check]   with --check, exits 1 when the contended cost is over 1.5x
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "ops.h"

namespace {

constexpr int kPushes = 1000000;  // about 10 ms: longer than a time slice
constexpr int kRounds = 5;
constexpr int kPollers = 4;
constexpr double kLimit = 1.5;

double thread_ns() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) * 1e9 + static_cast<double>(ts.tv_nsec);
}

// CPU nanoseconds per push, pushed from a thread of its own.
double push_cost() {
    double ns = 0;
    std::thread pusher([&ns] {
        void (*const pushes[4])() = {cwb::push_gimbal_info, cwb::push_motor, cwb::push_sensor, cwb::push_fc_state};
        const double t0 = thread_ns();
        for (int i = 0; i < kPushes; ++i) {
            pushes[i & 3]();
        }
        ns = (thread_ns() - t0) / kPushes;
    });
    pusher.join();
    return ns;
}

std::atomic<uint64_t> g_polls{0};

constexpr auto kPollPeriod = std::chrono::microseconds(10);

double contended_cost(bool paced) {
    std::atomic<bool> stop{false};
    std::atomic<int> running{0};
    std::vector<std::thread> pollers;
    for (int p = 0; p < kPollers; ++p) {
        pollers.emplace_back([&] {
            running.fetch_add(1);
            GimbalInfo g;
            FcMotorState m;
            FcSensor s;
            FcState f;
            uint64_t polls = 0;
            auto next = std::chrono::steady_clock::now();
            while (!stop.load(std::memory_order_relaxed)) {
                if (paced) {
                    next += kPollPeriod;
                    while (std::chrono::steady_clock::now() < next && !stop.load(std::memory_order_relaxed)) {
                    }
                }
                cwb::g_get_gimbal_info(&g);
                cwb::g_get_motor(&m);
                cwb::g_get_sensor(&s);
                cwb::g_get_fc_state(&f);
                polls += 4;
            }
            g_polls.fetch_add(polls);
        });
    }
    while (running.load() < kPollers) {
        std::this_thread::yield();
    }
    const double ns = push_cost();
    stop = true;
    for (auto &t : pollers) {
        t.join();
    }
    return ns;
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

}  // namespace

int main(int argc, char **argv) {
    const bool check = argc > 1 && std::strcmp(argv[1], "--check") == 0;
    cwb::setup();
    std::vector<double> alone;
    std::vector<double> contended;
    std::vector<double> tight;
    for (int r = 0; r < kRounds; ++r) {
        alone.push_back(push_cost());
        contended.push_back(contended_cost(true));
    }
    const double paced_polls = static_cast<double>(g_polls.exchange(0)) / (kRounds * kPushes);
    for (int r = 0; r < kRounds; ++r) {
        tight.push_back(contended_cost(false));
    }
    const double a = median(alone);
    const double c = median(contended);
    const double t = median(tight);
    const double ratio = c / a;
    std::printf(
        "push CPU time: %.1f ns alone, %.1f ns with %d pollers every 10 us (%.3f polls per push): %.2fx "
        "(limit %.1fx)\n",
        a, c, kPollers, paced_polls, ratio, kLimit);
    std::printf("  (pollers in a tight loop: %.1f ns, %.2fx, %.1f polls per push; not checked)\n", t, t / a,
                static_cast<double>(g_polls.load()) / (kRounds * kPushes));
    if (check && ratio > kLimit) {
        std::printf("contention: over the limit\n");
        return 1;
    }
    return 0;
}
