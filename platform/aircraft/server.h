// cirrow-aircraft's socket server: it hosts one sim::Aircraft and lets applications attach to it
// over a UNIX domain socket (platform/wire). One thread does it all: it accepts applications,
// reads their frames, asks the aircraft, ticks its clock and writes each push to every
// application that registered a handler for it. An application that sends a bad frame is told why
// and cut; one that vanishes is detached as such; either way the others fly on.
//
// Nothing one client does grows without bound or holds up the others: what waits for a client is
// capped (Limits), a client whose output is stuck is read no further until it drains, each client
// has a share of frames per turn, a connection must say Hello and finish a started frame in time,
// and at the descriptor limit the server stops accepting for a moment and serves those it has.
#pragma once

#include <poll.h>
#include <sys/types.h>

#include <array>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "aircraft.h"
#include "link_messages.h"
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

// What the server keeps for one client, and how long it waits for one. docs/robustness.md lists
// them with their tests.
struct Limits {
    size_t max_out = 8u << 20;      // output waiting (answers, replies, pushes): beyond it the client is cut
    size_t read_stop = 256u << 10;  // output waiting from which the client's frames are read no further
    uint32_t frames_per_turn = 64;  // frames taken from one client per turn, so that each gets its turn
    int hello_ms = 2000;            // from the connect to the Hello
    int frame_ms = 10000;           // from a frame's first byte to its last
    int stuck_ms = 10000;           // read stopped, not a byte taken, its frames waiting: cut
    int accept_pause_ms = 100;      // at the descriptor limit: no accept for this long
};

// A text from a client (its name, a thread's name, its reason for hanging up) as it can go into a
// line or a report: bytes that are not printable ASCII become \xNN, so it cannot forge lines.
std::string printable(const std::string &text);

class Server {
public:
    Server(sim::Aircraft &aircraft, Watcher *watcher = nullptr, Say say = nullptr);
    ~Server();  // closes every connection and removes the socket it made
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    // Listens on path, the socket made with mode 0600 (0660 and the group's with allow_group()). A
    // live aircraft there is refused, a stale socket file replaced. False with the reason in error.
    bool listen(const std::string &path, std::string &error);
    // Lets the members of group gid attach too (before listen()); else only this user (and root).
    void allow_group(gid_t gid) { group_ = gid; }
    void set_limits(const Limits &limits) { limits_ = limits; }
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

    // Output waiting for an application that stopped reading, after which it is cut.
    static constexpr size_t kMaxQueued = Limits{}.max_out;

private:
    using Clock = std::chrono::steady_clock;
    struct Client {
        int fd = -1;
        sim::AppId app = 0;  // 0 until its Hello
        std::string name;    // printable()
        wire::Reader in;
        std::vector<uint8_t> out;
        size_t sent = 0;
        std::set<cw::trace::SetId> handlers;
        bool gone = false;
        bool clean = false;
        bool backlog = false;       // whole frames left for the next turn
        bool detached = false;      // the aircraft was told it went (its Goodbye, or its socket closed)
        Clock::time_point since;    // connected
        Clock::time_point partial;  // a frame started (epoch: none)
        Clock::time_point stuck;    // its output reached read_stop and stays (epoch: it is not)
        size_t waiting() const { return out.size() - sent; }
    };

    void accept_all();
    bool welcome_peer(int fd);
    void deadlines();
    static bool asking(const Client &c);
    void read(Client &c, bool readable);
    void handle(Client &c, const wire::Frame &f);
    void request(Client &c, const wire::Frame &f);
    void tick();
    void flush(Client &c);
    void send(Client &c, wire::Type type, uint32_t id, const std::vector<uint8_t> &body);
    // Queues bytes for c, cutting it when more than max_out would wait.
    void queue(Client &c, const std::vector<uint8_t> &frame);
    // Tells the application why (when it can still hear it) and cuts it.
    void cut(Client &c, const std::string &why);
    void drop(Client &c, const char *how);
    void detach(Client &c, const char *how);
    void reap();
    void line(const char *fmt, ...) __attribute__((format(printf, 2, 3)));

    sim::Aircraft &aircraft_;
    Watcher *watcher_;
    Say say_;
    int listen_fd_ = -1;
    int wake_[2] = {-1, -1};
    std::string path_;
    dev_t sock_dev_ = 0;  // the socket this server made: it removes only that one
    ino_t sock_ino_ = 0;
    gid_t group_ = static_cast<gid_t>(-1);
    Limits limits_;
    Clock::time_point accept_again_;  // at the descriptor limit: when to try accepting again
    bool at_fd_limit_ = false;
    uint64_t refused_peers_ = 0;
    uint64_t helloless_ = 0;  // connections gone before their Hello
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
// /tmp/cirrow-aircraft-<uid>/aircraft.sock in a directory of the user's own, made 0700 and checked
// for its owner and mode (another user could otherwise put their socket there first). False with
// the reason in error.
bool default_socket(std::string &path, std::string &error);

// The host's monotonic clock in microseconds: the boot clock an application reads.
uint64_t monotonic_us();

}  // namespace aircraft
