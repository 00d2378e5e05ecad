// The stand-in attached to cirrow-aircraft (MBUS_AIRCRAFT=<socket path>): the aircraft flies in
// its own process and this application is one of those attached to it. Requests go over the
// socket and wait for their answer (never longer than their timeout); registrations, named
// messages to the aircraft's threads and data-manager takes are forwarded; pushes arrive on a
// reader thread, which hands them to their handlers as the delivery thread does in-process.
// Scripts, peers and faults installed through the control API still come first, as in-process.
#include <errno.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>

#include "clock.h"
#include "host.h"
#include "wire.h"

namespace {

constexpr int kWelcomeMs = 5000;             // how long the aircraft may take to welcome this application
constexpr uint32_t kUntimedUs = 1000000;     // the wait for an answer to a request sent without a timeout
constexpr uint32_t kReportWaitUs = 2000000;  // the wait for the aircraft's report at exit
constexpr int kStrictExit = 3;               // MBUS_STRICT: the report holds a mistake

// A 0-or-1 switch from the environment (the in-process stand-in checks its value when loaded).
bool on(const char *name) {
    const char *v = std::getenv(name);
    return v != nullptr && std::strcmp(v, "1") == 0;
}

struct Pending {
    bool done = false;
    int32_t result = MBUS_ERR_NO_PEER;
    uint32_t delay_us = 0;
    std::vector<uint8_t> bytes;
};

struct Remote {
    std::string path;
    int fd = -1;
    std::mutex write_mu;
    std::mutex mu;  // guards what follows
    std::condition_variable answered;
    std::map<uint32_t, Pending *> pending;
    uint32_t next_id = 1;
    bool lost = false;
    std::atomic<bool> ending{false};  // the application is exiting: nothing more is delivered
    std::thread reader;
    double rate = 1;    // the aircraft's clock against the wall clock
    uint64_t boot = 0;  // when the aircraft booted, on this host's monotonic clock (us)
};

Remote *g_remote = nullptr;

bool write_all(Remote &r, wire::Type type, uint32_t id, const std::vector<uint8_t> &body) {
    std::vector<uint8_t> frame;
    wire::append(frame, type, id, body);
    std::lock_guard<std::mutex> lock(r.write_mu);
    for (size_t off = 0; off < frame.size();) {
        const ssize_t n = send(r.fd, frame.data() + off, frame.size() - off, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        off += static_cast<size_t>(n);
    }
    return true;
}

// The aircraft is gone: every waiting request fails now, and every later one at once.
void lose(Remote &r, const std::string &why) {
    {
        std::lock_guard<std::mutex> lock(r.mu);
        if (r.lost) {
            return;
        }
        r.lost = true;
        for (auto &[id, p] : r.pending) {
            p->done = true;
            p->result = MBUS_ERR_NO_PEER;
        }
    }
    r.answered.notify_all();
    std::fprintf(stderr, "mbus: MBUS_AIRCRAFT=%s: %s; requests fail from now on\n", r.path.c_str(), why.c_str());
}

void answered(Remote &r, const wire::Frame &f) {
    wire::In in(f.body);
    int32_t result = 0;
    uint32_t delay = 0;
    std::vector<uint8_t> bytes;
    const bool ok = in.i32(result) && (f.type != wire::Type::Answer || in.u32(delay)) && in.bytes(bytes) && in.done();
    std::lock_guard<std::mutex> lock(r.mu);
    auto it = r.pending.find(f.id);
    if (it == r.pending.end()) {
        return;  // its caller stopped waiting (timed out)
    }
    Pending &p = *it->second;
    p.done = true;
    p.result = ok ? result : MBUS_ERR_NO_PEER;
    p.delay_us = delay;
    p.bytes = std::move(bytes);
    r.answered.notify_all();
}

void pushed(const wire::Frame &f) {
    wire::In in(f.body);
    uint8_t set = 0, id = 0;
    std::vector<uint8_t> bytes;
    if (in.u8(set) && in.u8(id) && in.bytes(bytes) && in.done()) {
        mbus::deliver_from_aircraft(set, id, bytes.data(), static_cast<uint32_t>(bytes.size()));
    }
}

void read_loop(Remote &r, wire::Reader in) {
    uint8_t buf[65536];
    wire::Frame f;
    for (;;) {
        const ssize_t n = recv(r.fd, buf, sizeof buf, 0);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0 || r.ending.load()) {
            if (r.ending.load()) {
                return;
            }
            lose(r, n == 0 ? "the aircraft went away" : std::string("the socket broke: ") + std::strerror(errno));
            return;
        }
        in.feed(buf, static_cast<size_t>(n));
        for (wire::Reader::Result res; (res = in.next(f)) != wire::Reader::More;) {
            if (res == wire::Reader::Bad) {
                write_all(r, wire::Type::Error, 0, wire::error(in.error()));
                lose(r, "the aircraft sent a bad frame: " + in.error());
                return;
            }
            if (f.type == wire::Type::Push) {
                pushed(f);
            } else if (f.type == wire::Type::Answer || f.type == wire::Type::DmData || f.type == wire::Type::Report) {
                answered(r, f);
            } else if (f.type == wire::Type::Error) {
                lose(r, "the aircraft hung up: " + wire::error_text(f.body));
                return;
            }
        }
    }
}

// Sends a frame that is answered and waits for its answer until wait_us have passed. False when
// the aircraft is lost, or the answer did not come in time (*timed_out).
bool ask(wire::Type type, const std::vector<uint8_t> &body, uint32_t wait_us, Pending &p, bool *timed_out) {
    Remote &r = *g_remote;
    std::unique_lock<std::mutex> lock(r.mu);
    if (r.lost) {
        return false;
    }
    const uint32_t id = r.next_id++;
    r.pending[id] = &p;
    lock.unlock();
    if (!write_all(r, type, id, body)) {
        lose(r, std::string("cannot write to the aircraft: ") + std::strerror(errno));
    }
    lock.lock();
    const auto until = std::chrono::steady_clock::now() + std::chrono::microseconds(wait_us);
    r.answered.wait_until(lock, until, [&] { return p.done; });
    r.pending.erase(id);
    *timed_out = !p.done;
    return p.done && !r.lost;
}

int32_t request(void *, const mbus_ctl_request_t *req, uint8_t *resp, uint32_t resp_len, uint32_t *delay_us) {
    wire::Request w;
    w.req = *req;
    if (!req->resp_null) {
        w.resp.assign(resp, resp + std::min(resp_len, wire::kMaxBytes));
    }
    Pending p;
    bool timed_out = false;
    if (!ask(wire::Type::Request, w.encode(), req->timeout != 0 ? req->timeout : kUntimedUs, p, &timed_out)) {
        return timed_out ? MBUS_ERR_TIMEOUT : MBUS_ERR_NO_PEER;
    }
    std::copy_n(p.bytes.begin(), std::min<size_t>(p.bytes.size(), resp_len), resp);
    *delay_us = p.delay_us;
    return p.result;
}

void to_thread(void *ctx, const void *msg, uint32_t len) {
    const auto *b = static_cast<const uint8_t *>(msg);
    const uint32_t n = msg != nullptr ? std::min(len, wire::kMaxBytes) : 0;
    write_all(*g_remote, wire::Type::Message, 0, wire::Out().str(static_cast<const char *>(ctx)).bytes(b, n).take());
}

void tick(void *) {}

void handler(void *, uint8_t cmd_set, uint8_t cmd_id, bool on) {
    write_all(*g_remote, wire::Type::Handler, 0, wire::Out().u8(cmd_set).u8(cmd_id).u8(on ? 1 : 0).take());
}

// The aircraft hears this application ended, and the reader thread finishes the push it is
// delivering and stops (unless a handler called exit, on the reader thread itself). The aircraft
// answers with this application's own flight report: true when it came, into *p.
bool say_goodbye(Remote &r, Pending &p) {
    bool timed_out = false;
    const bool on_reader = r.reader.get_id() == std::this_thread::get_id();
    bool reported = false;
    if (on_reader) {
        write_all(r, wire::Type::Goodbye, 0, {});  // nobody reads the report: a handler called exit
    } else {
        reported = ask(wire::Type::Goodbye, {}, kReportWaitUs, p, &timed_out);
    }
    r.ending.store(true);
    shutdown(r.fd, SHUT_RDWR);
    if (on_reader) {
        r.reader.detach();
    } else if (r.reader.joinable()) {
        r.reader.join();
    }
    return reported;
}

// At exit, attached: the report is printed with MBUS_REPORT=1, and with MBUS_STRICT=1 a report
// holding a mistake ends the process with exit code 3, as in-process.
void goodbye() {
    if (g_remote == nullptr) {
        return;  // detached through the control API before the end
    }
    Pending p;
    if (!say_goodbye(*g_remote, p)) {
        return;
    }
    if (on("MBUS_REPORT")) {
        std::fflush(stdout);
        std::fwrite(p.bytes.data(), 1, p.bytes.size(), stderr);
    }
    if (on("MBUS_STRICT") && p.result > 0) {
        std::fflush(nullptr);
        _exit(kStrictExit);
    }
}

// The application's clocks follow the aircraft's from here on, when cirrow-sim preloaded the
// aircraft's clock (libmbus_clock.so); otherwise, at a speed other than 1, its time drifts from the
// aircraft's and this says so (unless the caller attached through the control API: it follows the
// rate itself). Returns the boot origin that makes the boot clock read the aircraft's time since it
// booted (unsigned arithmetic: it may wrap).
uint64_t follow_aircraft_clock(const char *path, double rate, uint64_t boot, bool say_drift) {
    if (!mbus::clock::loaded()) {
        if (rate != 1 && say_drift) {
            mbus::note(
                "mbus: MBUS_AIRCRAFT=%s: the aircraft flies at speed %.2f, this application's clocks at the wall "
                "clock's: its time may drift from the aircraft's (run it with cirrow-sim --aircraft)\n",
                path, rate);
        }
        return boot;
    }
    mbus::clock::set_rate(rate);
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    const uint64_t now = static_cast<uint64_t>(ts.tv_sec) * 1000000u + static_cast<uint64_t>(ts.tv_nsec) / 1000u;
    return now - static_cast<uint64_t>(static_cast<double>(now - boot) * rate);
}

// Reads the aircraft's Welcome (or the reason it refuses this application) into *f; false with
// the reason in *why when none comes.
bool welcome(Remote &r, wire::Reader &in, wire::Frame *f, std::string *why) {
    uint8_t buf[4096];
    for (;;) {
        const auto res = in.next(*f);
        if (res == wire::Reader::Bad) {
            *why = std::string("the aircraft's first frame is bad: ").append(in.error());
            return false;
        }
        if (res == wire::Reader::Ok) {
            return true;
        }
        pollfd pfd{r.fd, POLLIN, 0};
        if (poll(&pfd, 1, kWelcomeMs) != 1) {
            *why = std::string("the aircraft did not welcome this application within ")
                       .append(std::to_string(kWelcomeMs / 1000))
                       .append(" s");
            return false;
        }
        const ssize_t n = recv(r.fd, buf, sizeof buf, 0);
        if (n <= 0) {
            *why = "the aircraft hung up before welcoming this application";
            return false;
        }
        in.feed(buf, static_cast<size_t>(n));
    }
}

// Attaches this process to the aircraft listening on `path`: the link, the handlers already
// registered, the named threads and the data manager are the aircraft's from here on. Null with
// the reason in *why when it cannot attach.
Remote *attach(const char *path, std::string *why, bool from_environment) {
    auto r = std::make_unique<Remote>();
    r->path = path;
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    if (std::strlen(path) >= sizeof a.sun_path) {
        *why = std::string("a socket path is at most ")
                   .append(std::to_string(sizeof a.sun_path - 1))
                   .append(" bytes long");
        return nullptr;
    }
    std::memcpy(a.sun_path, path, std::strlen(path));
    r->fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (r->fd < 0 || connect(r->fd, reinterpret_cast<sockaddr *>(&a), sizeof a) != 0) {
        *why = std::string("cannot attach to the aircraft: ") + std::strerror(errno) +
               " (is cirrow-aircraft running there?)";
        if (r->fd >= 0) {
            close(r->fd);
        }
        return nullptr;
    }
    const std::string name = std::string(program_invocation_short_name) + " " + std::to_string(getpid());
    wire::Reader in;
    wire::Frame f;
    if (!write_all(*r, wire::Type::Hello, 0, wire::Out().str(name).take())) {
        *why = std::string("cannot write to the aircraft: ") + std::strerror(errno);
    } else if (welcome(*r, in, &f, why)) {
        wire::In body(f.body);
        uint32_t app = 0, rate = wire::rate_code(1);
        uint64_t boot = 0;
        if (f.type == wire::Type::Error) {
            *why = std::string("the aircraft refused this application: ").append(wire::error_text(f.body));
        } else if (f.type != wire::Type::Welcome || !body.u32(app) || !body.u64(boot) ||
                   !(body.done() || (body.u32(rate) && body.done()))) {
            // An aircraft that gives no clock rate flies at the wall clock's.
            *why =
                std::string("the aircraft answered with a ") + wire::type_name(f.type) + " frame instead of a Welcome";
        } else {
            r->rate = wire::rate_value(rate);
            r->boot = boot;
        }
    }
    if (!why->empty()) {
        close(r->fd);
        return nullptr;
    }
    g_remote = r.get();
    mbus::st().boot_origin.store(follow_aircraft_clock(path, r->rate, r->boot, from_environment));
    r->reader = std::thread(read_loop, std::ref(*r), std::move(in));
    for (const char *t : wire::kThreads) {
        mbus_ctl_tm_set_receiver(t, to_thread, const_cast<char *>(t));
    }
    static const mbus::AircraftHooks hooks{request, nullptr, tick, 1000000, handler};
    mbus::set_aircraft(&hooks);
    // Once, whoever attaches first; after the delivery thread's stop, so that it runs before it.
    static const bool at_exit = std::atexit(goodbye) == 0;
    (void)at_exit;
    // A process that attaches after it registered its handlers (through the control API) tells
    // this aircraft about them, as it would have heard of them one by one.
    std::vector<cw::trace::SetId> registered;
    {
        mbus::State &s = mbus::st();
        std::lock_guard<std::mutex> lock(s.mu);
        for (const auto &h : s.handlers) {
            registered.push_back(h.first);
        }
    }
    for (const cw::trace::SetId key : registered) {
        handler(nullptr, key.set, key.id, true);
    }
    return r.release();
}

__attribute__((constructor)) void attach_from_environment() {
    const char *path = std::getenv("MBUS_AIRCRAFT");
    if (path == nullptr || *path == '\0') {
        return;
    }
    const char *sim = std::getenv("MBUS_SIM");
    const char *scenario = std::getenv("MBUS_SCENARIO");
    if ((sim != nullptr && std::strcmp(sim, "1") == 0) || (scenario != nullptr && *scenario != '\0')) {
        mbus::refuse(
            "MBUS_AIRCRAFT=%s: an aircraft flying in its own process; MBUS_SIM and MBUS_SCENARIO fly one "
            "in this process: set one or the other",
            path);
    }
    std::string why;
    if (attach(path, &why, true) == nullptr) {
        mbus::refuse("MBUS_AIRCRAFT=%s: %s", path, why.c_str());
    }
    // The aircraft writes its lines as they happen, from its own process: the application's go out
    // a line at a time too, so that in a file they share they stay in the order they happened (as
    // they do in one process). This runs before main, before anything is written to stdout.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
}

}  // namespace

namespace mbus {

bool remote_dm_take(const mbus_dm_key_t *key, std::array<uint8_t, MBUS_DM_IMU_SIZE> &data, int32_t *result) {
    if (g_remote == nullptr) {
        return false;
    }
    Pending p;
    bool timed_out = false;
    const auto body = wire::Out().u32(key != nullptr ? key->id : 0).u32(key != nullptr ? key->sub : 0xFFFFFFFFu).take();
    if (!ask(wire::Type::DmTake, body, kUntimedUs, p, &timed_out)) {
        *result = timed_out ? MBUS_ERR_TIMEOUT : MBUS_ERR_NO_PEER;
    } else {
        *result = p.result;
        std::copy_n(p.bytes.begin(), std::min(p.bytes.size(), data.size()), data.begin());
    }
    return true;
}

}  // namespace mbus

extern "C" {

int mbus_ctl_attach(const char *path, char *why, size_t cap) {
    std::string reason;
    bool flying = false;
    {
        mbus::State &s = mbus::st();
        std::lock_guard<std::mutex> lock(s.mu);
        flying = s.aircraft != nullptr;
    }
    if (path == nullptr || *path == '\0') {
        reason = "no socket path given";
    } else if (g_remote != nullptr) {
        reason = std::string("already attached to the aircraft at ").append(g_remote->path).append(": detach first");
    } else if (flying) {
        reason = "the virtual aircraft flies in this process (MBUS_SIM=1): attach to one or fly the other";
    } else if (attach(path, &reason, false) != nullptr) {
        return 0;
    }
    if (why != nullptr) {
        mbus::copy_text(why, cap, reason.c_str());
    }
    return -1;
}

double mbus_ctl_aircraft_rate(void) { return g_remote != nullptr ? g_remote->rate : 1; }

int mbus_ctl_detach(char *report, size_t cap) {
    if (report != nullptr && cap > 0) {
        *report = '\0';
    }
    Remote *r = g_remote;
    if (r == nullptr) {
        return -1;
    }
    Pending p;
    const bool on_reader = r->reader.get_id() == std::this_thread::get_id();  // a handler detaches
    const bool reported = say_goodbye(*r, p);
    mbus::set_aircraft(nullptr);
    for (const char *t : wire::kThreads) {
        mbus_ctl_tm_set_receiver(t, nullptr, nullptr);
    }
    {
        // The aircraft saw this application end: the next one it attaches to meets it afresh, and
        // registers what it handles again.
        mbus::State &s = mbus::st();
        std::lock_guard<std::mutex> lock(s.mu);
        s.handlers.clear();
    }
    mbus::st().boot_origin.store(0);
    g_remote = nullptr;
    close(r->fd);
    if (!on_reader) {
        delete r;  // its reader has stopped; a handler that detached still runs on it: then it is kept
    }
    if (!reported) {
        return -1;
    }
    if (report != nullptr && cap > 0) {
        const size_t n = std::min(p.bytes.size(), cap - 1);
        std::memcpy(report, p.bytes.data(), n);
        report[n] = '\0';
    }
    return p.result;
}

}  // extern "C"
