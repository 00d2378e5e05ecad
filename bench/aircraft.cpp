// The socket path's cost: one program in several roles, run by scripts/bench_aircraft.sh.
//   cw_aircraft_bench serve <socket> <pushes per second>   an aircraft on the socket that answers at
//                                                            once and pushes numbered messages
//   cw_aircraft_bench ask <count>          (MBUS_AIRCRAFT set) requests with an answer through the
//                                          socket; (unset) the same against an in-process peer
//   cw_aircraft_bench listen <seconds>     (MBUS_AIRCRAFT set) counts the pushes and the gaps
// Each client prints one line of figures.
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "mbus.h"
#include "mbus_ctl.h"
#include "server.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr uint8_t kSet = 3, kId = 91;  // the flight state push
constexpr uint32_t kTickUs = 1000;

// Answers every request at once (no module's own answer time) and pushes `rate` numbered flight
// states a second.
class BenchAircraft : public sim::Aircraft {
public:
    explicit BenchAircraft(uint32_t rate) : rate_(rate) {}
    void attach(sim::AppId, const std::string &) override {}
    void detach(sim::AppId, bool) override {}
    void handler(sim::AppId, uint8_t, uint8_t, bool) override {}
    int32_t request(sim::AppId, const mbus_ctl_request_t &req, uint8_t *resp, uint32_t resp_len,
                    uint32_t *delay_us) override {
        std::copy_n(req.payload, std::min(resp_len, req.payload_len), resp);
        *delay_us = 0;
        return 0;
    }
    void message(sim::AppId, const char *, const void *, uint32_t) override {}
    std::vector<sim::Pushed> tick() override {
        // What the rate owes since the start: a late tick catches up.
        const double t = std::chrono::duration<double>(Clock::now() - start_).count();
        const auto owed = static_cast<uint32_t>(t * rate_) - seq_;
        std::vector<sim::Pushed> out(owed, sim::Pushed{kSet, kId, std::vector<uint8_t>(12, 0)});
        for (auto &p : out) {
            std::memcpy(p.bytes.data(), &seq_, sizeof seq_);
            ++seq_;
        }
        return out;
    }
    uint32_t period_us() const override { return kTickUs; }
    double now() const override { return 0; }
    std::string report(uint32_t *, sim::AppId, Format) const override { return ""; }
    void allow(const std::set<std::string> &) override {}

private:
    uint32_t rate_;
    uint32_t seq_ = 0;
    Clock::time_point start_ = Clock::now();
};

aircraft::Server *g_server = nullptr;
void on_signal(int) { g_server->stop(); }
void quiet(const char *) {}

int serve(const char *path, uint32_t rate) {
    BenchAircraft a(rate);
    aircraft::Server server(a, nullptr, quiet);
    std::string error;
    if (!server.listen(path, error)) {
        std::fprintf(stderr, "cw_aircraft_bench: %s\n", error.c_str());
        return 1;
    }
    g_server = &server;
    signal(SIGTERM, on_signal);
    signal(SIGINT, on_signal);
    server.run();
    std::printf("served: %llu pushes written\n", static_cast<unsigned long long>(server.pushes_written()));
    return 0;
}

int32_t answer_at_once(void *, const mbus_ctl_request_t *req, uint8_t *resp, uint32_t resp_len, uint32_t *) {
    std::copy_n(req->payload, std::min(resp_len, req->payload_len), resp);
    return 0;
}

int ask(int count) {
    const bool remote = std::getenv("MBUS_AIRCRAFT") != nullptr;
    if (!remote) {
        mbus_ctl_set_peer(0x0100, answer_at_once, nullptr);
    }
    uint8_t payload[16] = {1, 2, 3}, resp[16];
    std::vector<double> us;
    us.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        const auto t0 = Clock::now();
        const int32_t r = mbus_link_v1_send(3, 1, 0x0100, payload, sizeof payload, resp, sizeof resp, 100000);
        us.push_back(std::chrono::duration<double, std::micro>(Clock::now() - t0).count());
        if (r != 0 || resp[2] != 3) {
            std::fprintf(stderr, "cw_aircraft_bench: request %d failed: %d\n", i, r);
            return 1;
        }
    }
    std::sort(us.begin(), us.end());
    std::printf("%s: %d requests with an answer: median %.1f us, p99 %.1f us\n",
                remote ? "through cirrow-aircraft" : "in-process", count, us[us.size() / 2], us[us.size() * 99 / 100]);
    return 0;
}

std::atomic<uint64_t> g_pushes{0}, g_gaps{0};
uint32_t g_next = 0;

int32_t on_push(const uint8_t *p) {
    uint32_t seq = 0;
    std::memcpy(&seq, p, sizeof seq);
    if (g_pushes.load(std::memory_order_relaxed) > 0 && seq != g_next) {
        g_gaps.fetch_add(seq > g_next ? seq - g_next : 1, std::memory_order_relaxed);
    }
    g_next = seq + 1;
    g_pushes.fetch_add(1, std::memory_order_relaxed);
    return 0;
}

int listen_for(double seconds) {
    mbus_link_register_v1_callback(kSet, kId, on_push);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // the stream under way
    const uint64_t first = g_pushes.load();
    const uint64_t gaps0 = g_gaps.load();
    const auto t0 = Clock::now();
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    const double took = std::chrono::duration<double>(Clock::now() - t0).count();
    const uint64_t got = g_pushes.load() - first;
    std::printf("pid %d: %llu pushes in %.1f s = %.0f pushes/s, %llu lost\n", static_cast<int>(getpid()),
                static_cast<unsigned long long>(got), took, static_cast<double>(got) / took,
                static_cast<unsigned long long>(g_gaps.load() - gaps0));
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc == 4 && std::strcmp(argv[1], "serve") == 0) {
        return serve(argv[2], static_cast<uint32_t>(std::atoi(argv[3])));
    }
    if (argc == 3 && std::strcmp(argv[1], "ask") == 0) {
        return ask(std::atoi(argv[2]));
    }
    if (argc == 3 && std::strcmp(argv[1], "listen") == 0) {
        return listen_for(std::atof(argv[2]));
    }
    std::fprintf(stderr, "usage: cw_aircraft_bench serve <socket> <pushes/s> | ask <count> | listen <seconds>\n");
    return 2;
}
