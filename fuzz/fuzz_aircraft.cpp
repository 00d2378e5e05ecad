// cirrow-aircraft's frame reader: any bytes an application may send, through the server's whole
// handling of them (frames, bodies, requests to the aircraft), over a socket pair. The server must
// answer or cut the application, and stay whole for the next one.
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <set>

#include "server.h"

namespace {

// An aircraft that answers every request and pushes nothing.
class Quiet : public sim::Aircraft {
public:
    void attach(sim::AppId, const std::string &) override {}
    void detach(sim::AppId, bool) override {}
    void handler(sim::AppId, uint8_t, uint8_t, bool) override {}
    int32_t request(sim::AppId, const mbus_ctl_request_t &req, uint8_t *resp, uint32_t resp_len,
                    uint32_t *delay_us) override {
        std::memset(resp, req.payload[0], resp_len);
        *delay_us = req.payload[1];
        return req.receiver == 0xFFFF ? MBUS_ERR_NO_PEER : 0;
    }
    void message(sim::AppId, const char *, const void *, uint32_t) override {}
    std::vector<sim::Pushed> tick() override { return {}; }
    uint32_t period_us() const override { return 1000000; }
    double now() const override { return 0; }
    std::string report(uint32_t *, sim::AppId, Format) const override { return ""; }
    void allow(const std::set<std::string> &) override {}
};

void quiet(const char *) {}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static Quiet aircraft;
    static aircraft::Server server(aircraft, nullptr, quiet);
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) {
        return 0;
    }
    server.adopt(pair[0]);
    for (size_t off = 0; off < size;) {
        const ssize_t n = write(pair[1], data + off, size - off);
        if (n <= 0) {
            break;
        }
        off += static_cast<size_t>(n);
        server.turn(0);
    }
    shutdown(pair[1], SHUT_WR);
    // The application hung up: the server reads to the end and lets it go.
    uint8_t sink[65536];
    for (int i = 0; i < 8 && server.apps() > 0; ++i) {
        server.turn(0);
        while (recv(pair[1], sink, sizeof sink, MSG_DONTWAIT) > 0) {
        }
    }
    close(pair[1]);
    return 0;
}
