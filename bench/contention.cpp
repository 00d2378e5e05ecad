// The pushing thread's CPU time per push, alone and with four threads polling the same caches.
// Pushes rotate over the four hot records at full speed, the pollers over their getters. Thread
// CPU time is used, so time the pusher spends descheduled on a busy machine does not count. The
// pusher runs on one processor and the pollers on another when the machine has two, so that
// whenever they run, they run at once.
//
// Checked: pollers that read all four records every 10 us (100 kHz a thread, a hundred times the
// fastest control loop an application runs) cost the pusher at most 1.5x its time alone.
//
// Shown beside it: pollers in a tight loop. Every push must then take its record's cache line
// back from the pollers' processor, and while it waits for the line the pusher stalls. To tell
// that price from the cell's own, the same run measures the bare transfer: each record copied
// into a line of its own and out again, with no counter and no writer exclusion (its readers can
// get torn records). No tear-free cell can cost the pusher less; the check allows the cell 3x it.
//   cw_contention [--check] [--realtime]
#include <sched.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "ops.h"

namespace {

constexpr int kPushes = 1000000;  // about 10 ms alone: longer than a time slice
constexpr int kRounds = 5;
constexpr int kPollers = 4;
constexpr double kPacedLimit = 1.5;  // paced pollers, against the pusher alone
constexpr auto kPollPeriod = std::chrono::microseconds(10);

double thread_ns() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) * 1e9 + static_cast<double>(ts.tv_nsec);
}

// ---- The bare transfer ----

template <size_t N>
struct alignas(64) BareLine {
    unsigned char b[N];
};
template <size_t N>
BareLine<N> g_bare;

template <size_t N>
__attribute__((noinline)) int32_t bare_push(const uint8_t *payload) {
    std::memcpy(g_bare<N>.b, payload, N);
    asm volatile("" ::: "memory");
    return 0;
}

template <size_t N>
__attribute__((noinline)) int32_t bare_get(void *out) {
    std::memcpy(out, g_bare<N>.b, N);
    asm volatile("" ::: "memory");
    return 0;
}

// ---- What is pushed and polled ----

struct Subject {
    void (*push[4])();
    int32_t (*get[4])(void *);
};

// The library: its handlers as the middleware calls them, its getters as applications do.
const Subject kCells = {
    {cwb::push_gimbal_info, cwb::push_motor, cwb::push_sensor, cwb::push_fc_state},
    {[](void *p) { return cwb::g_get_gimbal_info(static_cast<GimbalInfo *>(p)); },
     [](void *p) { return cwb::g_get_motor(static_cast<FcMotorState *>(p)); },
     [](void *p) { return cwb::g_get_sensor(p); },
     [](void *p) { return cwb::g_get_fc_state(static_cast<FcState *>(p)); }},
};

int32_t (*volatile g_bare_push[4])(const uint8_t *) = {bare_push<sizeof(GimbalInfo)>, bare_push<sizeof(FcMotorState)>,
                                                       bare_push<CW_FC_SENSOR_LEN>, bare_push<sizeof(FcState)>};
const Subject kBare = {
    {[] { g_bare_push[0](cwb::g_buf.payload); }, [] { g_bare_push[1](cwb::g_buf.payload); },
     [] { g_bare_push[2](cwb::g_buf.payload); }, [] { g_bare_push[3](cwb::g_buf.payload); }},
    {bare_get<sizeof(GimbalInfo)>, bare_get<sizeof(FcMotorState)>, bare_get<CW_FC_SENSOR_LEN>,
     bare_get<sizeof(FcState)>},
};

// ---- Threads ----

// The first two processors this process may run on: the pusher's and the pollers'.
int g_cpu[2] = {-1, -1};

void find_cpus() {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof set, &set) != 0) {
        return;
    }
    for (int c = 0, n = 0; c < CPU_SETSIZE && n < 2; ++c) {
        if (CPU_ISSET(c, &set)) {
            g_cpu[n++] = c;
        }
    }
    if (g_cpu[1] < 0) {
        g_cpu[0] = -1;
    }
}

bool g_realtime = false;

// Puts the calling thread on its processor and, with --realtime, ahead of every ordinary task there.
void pin(int which) {
    if (g_cpu[which] < 0) {
        return;
    }
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(g_cpu[which], &set);
    sched_setaffinity(0, sizeof set, &set);
    if (g_realtime) {
        sched_param param{};
        param.sched_priority = 1;
        sched_setscheduler(0, SCHED_RR, &param);
    }
}

// CPU nanoseconds per push, pushed from a thread of its own.
double push_cost(const Subject &s) {
    double ns = 0;
    std::thread pusher([&ns, &s] {
        pin(0);
        const double t0 = thread_ns();
        for (int i = 0; i < kPushes; ++i) {
            s.push[i & 3]();
        }
        ns = (thread_ns() - t0) / kPushes;
    });
    pusher.join();
    return ns;
}

std::atomic<uint64_t> g_polls{0};

double contended_cost(const Subject &s, bool paced) {
    std::atomic<bool> stop{false};
    std::atomic<int> running{0};
    std::vector<std::thread> pollers;
    for (int p = 0; p < kPollers; ++p) {
        pollers.emplace_back([&] {
            pin(1);
            running.fetch_add(1);
            alignas(8) uint8_t out[64];
            uint64_t polls = 0;
            auto next = std::chrono::steady_clock::now();
            while (!stop.load(std::memory_order_relaxed)) {
                if (paced) {
                    next += kPollPeriod;
                    while (std::chrono::steady_clock::now() < next && !stop.load(std::memory_order_relaxed)) {
                    }
                }
                for (auto *get : s.get) {
                    get(out);
                }
                polls += 4;
            }
            g_polls.fetch_add(polls);
        });
    }
    // Round-robin pollers on one processor take turns a time slice each: one polling is enough.
    while (running.load() < (g_realtime ? 1 : kPollers)) {
        std::this_thread::yield();
    }
    const double ns = push_cost(s);
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

// Median over the rounds, and the pollers' reads per push.
struct Figure {
    double ns;
    double polls;
};

enum class Pollers { kNone, kPaced };

Figure measure(const Subject &s, Pollers pollers) {
    std::vector<double> v;
    g_polls = 0;
    for (int r = 0; r < kRounds; ++r) {
        v.push_back(pollers == Pollers::kNone ? push_cost(s) : contended_cost(s, true));
    }
    return {median(v), static_cast<double>(g_polls.load()) / (kRounds * kPushes)};
}

// Tight pollers over the cells and over the bare transfer, round by round in turn, so that both
// meet the same load on a shared machine. The checked ratio is taken in each round: the cell's
// time against its time alone or the bare transfer's in that round, whichever is larger (a round
// where the pollers hardly ran compares the cell with itself).
struct Tight {
    double cell;
    double bare;
    double ratio;
    double polls;
};

Tight measure_tight(double cell_alone) {
    std::vector<double> cell;
    std::vector<double> bare;
    std::vector<double> ratio;
    g_polls = 0;
    for (int r = 0; r < kRounds; ++r) {
        cell.push_back(contended_cost(kCells, false));
        bare.push_back(contended_cost(kBare, false));
        ratio.push_back(cell.back() / std::max(cell_alone, bare.back()));
    }
    return {median(cell), median(bare), median(ratio), static_cast<double>(g_polls.load()) / (2 * kRounds * kPushes)};
}

}  // namespace

int main(int argc, char **argv) {
    bool check = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--check") == 0) {
            check = true;
        } else if (std::strcmp(argv[i], "--realtime") == 0) {
            g_realtime = true;
        } else if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::printf(
                "usage: cw_contention [--check] [--realtime]\n"
                "  the pusher's CPU time per push alone, with four pollers every 10 us and in a tight loop,\n"
                "  beside the bare transfer of the same records\n"
                "  --check  exit 1 when paced pollers cost the pusher over %.1fx its time alone\n"
                "  --realtime  run the pusher and the pollers round-robin ahead of ordinary tasks (needs the\n"
                "           right to; for measuring on a busy machine, where they otherwise rarely run at once)\n",
                kPacedLimit);
            return 0;
        } else {
            std::fprintf(stderr, "cw_contention: unknown argument '%s' (--check, --realtime, --help)\n", argv[i]);
            return 2;
        }
    }
    cwb::setup();
    find_cpus();
    if (g_realtime) {
        sched_param param{};
        param.sched_priority = 1;
        if (g_cpu[0] < 0 || sched_setscheduler(0, SCHED_RR, &param) != 0) {
            std::fprintf(stderr, "cw_contention: --realtime: cannot run round-robin on two processors\n");
            return 2;
        }
        param.sched_priority = 0;
        sched_setscheduler(0, SCHED_OTHER, &param);
    }
    if (g_cpu[0] < 0) {
        std::printf("one processor: pusher and pollers take turns, contention is not measured\n");
    }
    std::fprintf(stderr, "contention: pusher alone, paced pollers...\n");
    const Figure alone = measure(kCells, Pollers::kNone);
    const Figure paced = measure(kCells, Pollers::kPaced);
    const Figure bare_alone = measure(kBare, Pollers::kNone);
    std::fprintf(stderr, "contention: tight pollers, cells and bare transfer in turn...\n");
    const Tight tight = measure_tight(alone.ns);

    const double paced_ratio = paced.ns / alone.ns;
    std::printf("push CPU time alone: %.1f ns (bare transfer %.1f ns)\n", alone.ns, bare_alone.ns);
    std::printf("  pollers every 10 us: %.1f ns, %.2fx alone (limit %.1fx); %.3f polls per push\n", paced.ns,
                paced_ratio, kPacedLimit, paced.polls);
    std::printf(
        "  pollers in a tight loop: %.1f ns, %.2fx alone; bare transfer %.1f ns, %.2fx alone; %.1f polls per push\n"
        "  cell against the larger of its time alone and the bare transfer's under the same pollers: %.2fx "
        "(not checked)\n",
        tight.cell, tight.cell / alone.ns, tight.bare, tight.bare / bare_alone.ns, tight.polls, tight.ratio);
    if (check && paced_ratio > kPacedLimit) {
        std::printf("contention: over the limit\n");
        return 1;
    }
    return 0;
}
