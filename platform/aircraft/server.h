// cirrow-aircraft's socket server: it hosts one sim::Aircraft and lets applications attach to it
// over a UNIX domain socket (platform/wire). One thread does it all: it accepts applications,
// reads their frames, asks the aircraft, ticks its clock and writes each push to every
// application that registered a handler for it. An application that sends a bad frame is told why
// and cut; one that vanishes is detached as such; either way the others fly on.
#pragma once

#include <poll.h>
#include <array>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "aircraft.h"
#include "wire.h"

namespace aircraft {

// What goes over the link, for whoever watches it (the trace, the live page).
class Watcher {
public:
    virtual ~Watcher() = default;
    virtual void attached(sim::AppId, const std::string & /*name*/) {}
    virtual void detached(sim::AppId, const std::string & /*name*/, bool /*clean*/) {}
    // A request and what the application will see of it (resp: the answer, when it got one).
    virtual void request(sim::AppId, const mbus_ctl_request_t &, int32_t /*result*/, const uint8_t * /*resp*/) {}
    virtual void push(const sim::Pushed &, uint32_t /*apps*/) {}
};

// The server's lines (attach, detach, refusals) go to `say`; nullptr: stderr.
using Say = void (*)(const char *line);

class Server {
public:
    Server(sim::Aircraft &aircraft, Watcher *watcher = nullptr, Say say = nullptr);
    ~Server();  // closes every connection and removes the socket it made
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    // Listens on path. A live aircraft there is refused, a stale socket file replaced. False with
    // the reason in error.
    bool listen(const std::string &path, std::string &error);
    // Serves until stop() is called.
    void run();
    // One turn of run(): waits at most until the aircraft's next tick (or timeout_ms, when not
    // negative) for something to do, does it, and returns false once stop() was called.
    bool turn(int timeout_ms = -1);
    // Serves an application already connected on fd (the fuzzer's socket pair); the server owns fd.
    void adopt(int fd);
    // Async-signal-safe: run() returns soon after.
    void stop();
    // The aircraft's clock against the wall clock, told to each application in its Welcome.
    void set_clock_rate(double speed) { rate_ = speed; }

    // Counters for the benches and tests (read after run() returned, or from run()'s thread).
    size_t apps() const { return clients_.size(); }
    uint64_t pushes_written() const { return pushes_written_; }

    // Pushes waiting for an application that stopped reading, after which it is cut.
    static constexpr size_t kMaxQueued = 8u << 20;

private:
    struct Client {
        int fd = -1;
        sim::AppId app = 0;  // 0 until its Hello
        std::string name;
        wire::Reader in;
        std::vector<uint8_t> out;
        size_t sent = 0;
        std::set<uint16_t> handlers;  // set << 8 | id
        bool gone = false;
        bool clean = false;
    };

    void accept_all();
    void read(Client &c);
    void handle(Client &c, const wire::Frame &f);
    void request(Client &c, const wire::Frame &f);
    void tick();
    void flush(Client &c);
    void send(Client &c, wire::Type type, uint32_t id, const std::vector<uint8_t> &body);
    // Tells the application why (when it can still hear it) and cuts it.
    void cut(Client &c, const std::string &why);
    void drop(Client &c, const char *how);
    void reap();
    void line(const char *fmt, ...) __attribute__((format(printf, 2, 3)));

    sim::Aircraft &aircraft_;
    Watcher *watcher_;
    Say say_;
    int listen_fd_ = -1;
    int wake_[2] = {-1, -1};
    std::string path_;
    std::vector<std::unique_ptr<Client>> clients_;
    sim::AppId next_app_ = 1;
    std::chrono::steady_clock::time_point next_tick_ = std::chrono::steady_clock::now();
    std::vector<pollfd> fds_;
    uint64_t boot_us_ = 0;
    double rate_ = 1;
    uint64_t pushes_written_ = 0;
    std::array<uint8_t, MBUS_DM_IMU_SIZE> imu_{};
};

// Where cirrow-aircraft listens unless told: $XDG_RUNTIME_DIR/cirrow-aircraft.sock, else
// /tmp/cirrow-aircraft-<uid>.sock.
std::string default_socket();

// The host's monotonic clock in microseconds: the boot clock an application reads.
uint64_t monotonic_us();

}  // namespace aircraft
