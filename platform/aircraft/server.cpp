// cirrow-aircraft's socket server over one sim::Aircraft.
#include "server.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace aircraft {

namespace {

using wire::Type;

bool make_address(const std::string &path, sockaddr_un &a, std::string &error) {
    std::memset(&a, 0, sizeof a);
    a.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof a.sun_path) {
        error = "socket path \"" + path + "\": must be 1 to " + std::to_string(sizeof a.sun_path - 1) + " bytes long";
        return false;
    }
    std::memcpy(a.sun_path, path.c_str(), path.size());
    return true;
}

// A report as long as a frame carries: its first lines (mistakes come first), then how many were
// left out, which the aircraft's own report holds.
std::string fitted(const std::string &report) {
    constexpr size_t kRoom = wire::kMaxBytes - 80;
    if (report.size() <= wire::kMaxBytes) {
        return report;
    }
    const size_t cut = report.rfind('\n', kRoom) + 1;  // the heading's line fits
    size_t left = 0;
    for (size_t i = cut; i < report.size(); ++i) {
        left += report[i] == '\n' ? 1 : 0;
    }
    return report.substr(0, cut) + "  ... " + std::to_string(left) +
           " more line(s) in cirrow-aircraft's report at its stop\n";
}

}  // namespace

uint64_t monotonic_us() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000u + static_cast<uint64_t>(ts.tv_nsec) / 1000u;
}

std::string printable(const std::string &text) {
    std::string out;
    for (const char ch : text) {
        const auto b = static_cast<unsigned char>(ch);
        if (b >= 0x20 && b < 0x7F && b != '\\') {
            out += ch;
        } else {
            char hex[8];
            std::snprintf(hex, sizeof hex, "\\x%02X", b);
            out += hex;
        }
    }
    return out;
}

bool default_socket(std::string &path, std::string &error) {
    const char *runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && *runtime != '\0') {
        path = std::string(runtime) + "/cirrow-aircraft.sock";
        return true;
    }
    const std::string dir = "/tmp/cirrow-aircraft-" + std::to_string(getuid());
    path = dir + "/aircraft.sock";
    if (mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST) {
        error = dir + ": cannot make the aircraft's directory: " + std::strerror(errno);
        return false;
    }
    struct stat sb {};
    if (lstat(dir.c_str(), &sb) != 0 || !S_ISDIR(sb.st_mode) || sb.st_uid != getuid() || (sb.st_mode & 077) != 0) {
        error = dir + ": not a private directory of this user's (it must be a directory owned by uid " +
                std::to_string(getuid()) + " with mode 0700); remove it, or set XDG_RUNTIME_DIR or --socket";
        return false;
    }
    return true;
}

Server::Server(sim::Aircraft &aircraft, Watcher *watcher, Say say)
    : aircraft_(aircraft), watcher_(watcher), say_(say), boot_us_(monotonic_us()) {
    if (pipe2(wake_, O_CLOEXEC | O_NONBLOCK) != 0) {
        wake_[0] = wake_[1] = -1;
    }
}

Server::~Server() {
    for (auto &c : clients_) {
        close(c->fd);
    }
    if (listen_fd_ >= 0) {
        close(listen_fd_);
        // Only the socket this server made: another aircraft may have taken the path since.
        struct stat sb {};
        if (lstat(path_.c_str(), &sb) == 0 && sb.st_dev == sock_dev_ && sb.st_ino == sock_ino_) {
            unlink(path_.c_str());
        }
    }
    close(wake_[0]);
    close(wake_[1]);
}

void Server::line(const char *fmt, ...) {
    char buf[512];
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(buf, sizeof buf, fmt, ap);
    va_end(ap);
    if (say_ != nullptr) {
        say_(buf);
    } else {
        std::fprintf(stderr, "cirrow-aircraft: %s\n", buf);
    }
}

bool Server::listen(const std::string &path, std::string &error) {
    sockaddr_un a{};
    if (!make_address(path, a, error)) {
        return false;
    }
    struct stat sb {};
    if (lstat(path.c_str(), &sb) == 0) {
        if (!S_ISSOCK(sb.st_mode)) {
            error = path + ": exists and is not a socket; not replacing it";
            return false;
        }
        // A socket file: another aircraft if something answers there, else left by one that died.
        const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const bool live = connect(probe, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0;
        close(probe);
        if (live) {
            error = path + ": another cirrow-aircraft is serving this socket; stop it first or choose another --socket";
            return false;
        }
        if (unlink(path.c_str()) != 0) {
            error = path + ": a stale socket is there and cannot be removed: " + std::strerror(errno);
            return false;
        }
    }
    const bool shared = group_ != static_cast<gid_t>(-1);
    const mode_t mode = shared ? 0660 : 0600;
    listen_fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    // The socket is made with the mode already (no moment where anyone may connect): the umask
    // decides a socket's mode at bind; the server is still alone in its process here.
    const mode_t umask_was = umask(0777 & ~mode);
    const bool bound = listen_fd_ >= 0 && bind(listen_fd_, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0;
    const int bind_errno = errno;
    umask(umask_was);
    struct stat made {};
    if (!bound || (shared && chown(path.c_str(), static_cast<uid_t>(-1), group_) != 0) ||
        chmod(path.c_str(), mode) != 0 || lstat(path.c_str(), &made) != 0 || ::listen(listen_fd_, 64) != 0) {
        error = path + ": cannot listen: " + std::strerror(bound ? errno : bind_errno);
        if (listen_fd_ >= 0) {
            close(listen_fd_);
            listen_fd_ = -1;
        }
        if (bound) {
            unlink(path.c_str());
        }
        return false;
    }
    sock_dev_ = made.st_dev;
    sock_ino_ = made.st_ino;
    path_ = path;
    return true;
}

void Server::stop() {
    const char b = 1;
    [[maybe_unused]] const ssize_t n = write(wake_[1], &b, 1);
}

void Server::run() {
    while (turn()) {
    }
}

bool Server::turn(int timeout_ms) {
    const auto now = Clock::now();
    const bool accepting = now >= accept_again_;
    fds_.assign({{wake_[0], POLLIN, 0}, {listen_fd_, static_cast<short>(accepting ? POLLIN : 0), 0}});
    bool backlog = false;
    for (auto &c : clients_) {
        // A client whose output is stuck is read no further until it drains.
        const bool reading = c->waiting() < limits_.read_stop;
        backlog = backlog || (reading && c->backlog);
        fds_.push_back({c->fd, static_cast<short>((reading ? POLLIN : 0) | (c->waiting() > 0 ? POLLOUT : 0)), 0});
    }
    auto wait = std::max<Clock::duration>(next_tick_ - now, Clock::duration::zero());
    if (backlog) {
        wait = Clock::duration::zero();
    } else if (!accepting) {
        wait = std::min<Clock::duration>(wait, accept_again_ - now);
    }
    if (timeout_ms >= 0) {
        wait = std::min<Clock::duration>(wait, std::chrono::milliseconds(timeout_ms));
    }
    const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(wait).count();
    const timespec ts{static_cast<time_t>(ns / 1000000000), static_cast<long>(ns % 1000000000)};
    if (ppoll(fds_.data(), fds_.size(), &ts, nullptr) < 0 && errno != EINTR) {
        line("poll failed: %s", std::strerror(errno));
        return false;
    }
    if ((fds_[0].revents & POLLIN) != 0) {
        return false;
    }
    if ((fds_[1].revents & POLLIN) != 0) {
        accept_all();
    }
    // Applications accepted above have no entry in fds_ yet: they are read on the next turn.
    for (size_t i = 2; i < fds_.size(); ++i) {
        Client &c = *clients_[i - 2];
        const bool readable = (fds_[i].revents & (POLLIN | POLLHUP | POLLERR)) != 0;
        if ((readable || c.backlog) && c.waiting() < limits_.read_stop) {
            read(c, readable);
        }
    }
    deadlines();
    if (Clock::now() >= next_tick_) {
        tick();
        next_tick_ = std::max(next_tick_ + std::chrono::microseconds(aircraft_.period_us()), Clock::now());
    }
    for (auto &c : clients_) {
        flush(*c);
    }
    reap();
    return true;
}

void Server::adopt(int fd) {
    auto c = std::make_unique<Client>();
    c->fd = fd;
    c->since = Clock::now();
    clients_.push_back(std::move(c));
}

void Server::accept_all() {
    for (;;) {
        const int fd = accept4(listen_fd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd >= 0) {
            if (at_fd_limit_) {
                line("accepting applications again");
                at_fd_limit_ = false;
            }
            if (welcome_peer(fd)) {
                adopt(fd);
            }
            continue;
        }
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            // The listening socket stays readable: without a pause the loop would spin.
            accept_again_ = Clock::now() + std::chrono::milliseconds(limits_.accept_pause_ms);
            if (!at_fd_limit_) {
                line("cannot accept an application: %s; trying again every %d ms, the attached ones fly on",
                     std::strerror(errno), limits_.accept_pause_ms);
                at_fd_limit_ = true;
            }
        }
        if (errno != ECONNABORTED && errno != EINTR) {
            return;
        }
    }
}

namespace {

// Whether the user uid is in the group gid (as its primary group or another).
bool in_group(uid_t uid, gid_t peer_gid, gid_t gid) {
    if (peer_gid == gid) {
        return true;
    }
    passwd pw{};
    passwd *found = nullptr;
    char buf[4096];
    if (getpwuid_r(uid, &pw, buf, sizeof buf, &found) != 0 || found == nullptr) {
        return false;
    }
    gid_t groups[256];
    int n = 256;
    if (getgrouplist(pw.pw_name, pw.pw_gid, groups, &n) < 0) {
        return false;
    }
    return std::find(groups, groups + n, gid) != groups + n;
}

}  // namespace

bool Server::welcome_peer(int fd) {
    ucred peer{};
    socklen_t len = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &len) != 0) {
        return true;  // not a socket with credentials (a test's pair): nothing to check
    }
    if (peer.uid == getuid() || peer.uid == 0 ||
        (group_ != static_cast<gid_t>(-1) && in_group(peer.uid, peer.gid, group_))) {
        return true;
    }
    // Said once, then every 1000th: a loop of refused connects does not flood the log.
    if (refused_peers_++ % 1000 == 0) {
        line("refused a connection from uid %u (pid %d): only this user's applications may attach (%llu refused)",
             static_cast<unsigned>(peer.uid), static_cast<int>(peer.pid),
             static_cast<unsigned long long>(refused_peers_));
    }
    const std::vector<uint8_t> err = [] {
        std::vector<uint8_t> f;
        wire::append(f, Type::Error, 0, wire::error("this aircraft serves another user's applications"));
        return f;
    }();
    [[maybe_unused]] const ssize_t n = ::send(fd, err.data(), err.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    close(fd);
    return false;
}

// Whether c has frames waiting that the server has not taken: a client that keeps asking while it
// reads nothing. One that only stopped (a debugger's breakpoint) is left until max_out.
bool Server::asking(const Client &c) {
    uint8_t b = 0;
    return c.backlog || c.in.buffered() > 0 || recv(c.fd, &b, 1, MSG_PEEK | MSG_DONTWAIT) == 1;
}

void Server::deadlines() {
    const auto now = Clock::now();
    const auto over = [now](Clock::time_point since, int ms) {
        return since != Clock::time_point{} && now - since > std::chrono::milliseconds(ms);
    };
    for (auto &c : clients_) {
        if (c->gone) {
            continue;
        }
        if (c->app == 0 && over(c->since, limits_.hello_ms)) {
            cut(*c, "no Hello within " + std::to_string(limits_.hello_ms) + " ms of connecting");
        } else if (over(c->partial, limits_.frame_ms)) {
            cut(*c, "a frame not finished within " + std::to_string(limits_.frame_ms) + " ms of its first byte");
        } else if (over(c->stuck, limits_.stuck_ms) && asking(*c)) {
            cut(*c, "it stopped reading (" + std::to_string(c->waiting() >> 10) + " KiB waiting for " +
                        std::to_string(limits_.stuck_ms) + " ms)");
        }
    }
}

void Server::read(Client &c, bool readable) {
    uint8_t buf[65536];
    uint32_t frames = 0;
    bool more = false;  // the frames in hand end with an unfinished one
    for (int recvs = 0; !c.gone;) {
        wire::Frame f;
        more = false;
        while (!c.gone && frames < limits_.frames_per_turn && c.waiting() < limits_.read_stop) {
            const auto r = c.in.next(f);
            if (r == wire::Reader::Bad) {
                cut(c, c.in.error());
                return;
            }
            if (r == wire::Reader::More) {
                more = true;
                break;
            }
            handle(c, f);
            ++frames;
        }
        if (c.gone || !more || !readable || recvs++ == 16) {
            break;
        }
        const ssize_t n = recv(c.fd, buf, sizeof buf, MSG_DONTWAIT);
        if (n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) {
            drop(c, c.clean ? "ended" : "vanished (its socket closed without a goodbye)");
            return;
        }
        if (n < 0) {
            break;
        }
        c.in.feed(buf, static_cast<size_t>(n));
    }
    // Whole frames left (its share of the turn taken, or its output stuck) wait for the next turn.
    c.backlog = !c.gone && !more;
    const bool started = more && c.in.buffered() > 0;
    if (!started) {
        c.partial = {};
    } else if (c.partial == Clock::time_point{}) {
        c.partial = Clock::now();
    }
}

void Server::handle(Client &c, const wire::Frame &f) {
    if (c.app == 0 && f.type != Type::Hello) {
        cut(c, std::string("the first frame must be Hello, not ") + wire::type_name(f.type));
        return;
    }
    wire::In in(f.body);
    switch (f.type) {
        case Type::Hello: {
            std::string name;
            if (c.app != 0 || !in.str(name) || !in.done()) {
                cut(c, c.app != 0 ? "a second Hello" : "malformed Hello frame");
                return;
            }
            c.app = next_app_++;
            c.name = printable(name);
            aircraft_.attach(c.app, c.name);
            line("app %u (%s) attached", c.app, c.name.c_str());
            if (watcher_ != nullptr) {
                watcher_->attached(c.app, c.name);
            }
            send(c, Type::Welcome, 0, wire::Out().u32(c.app).u64(boot_us_).u32(wire::rate_code(rate_)).take());
            return;
        }
        case Type::Request:
            request(c, f);
            return;
        case Type::Handler: {
            uint8_t set = 0, id = 0, on = 0;
            if (!in.u8(set) || !in.u8(id) || !in.u8(on) || !in.done() || on > 1) {
                cut(c, "malformed Handler frame");
                return;
            }
            if (on != 0) {
                c.handlers.insert({set, id});
            } else {
                c.handlers.erase({set, id});
            }
            aircraft_.handler(c.app, set, id, on != 0);
            return;
        }
        case Type::Message: {
            std::string name;
            std::vector<uint8_t> msg;
            if (!in.str(name) || !in.bytes(msg) || !in.done()) {
                cut(c, "malformed Message frame");
                return;
            }
            static const uint8_t kNothing = 0;  // an empty message still points somewhere
            aircraft_.message(c.app, printable(name).c_str(), msg.empty() ? &kNothing : msg.data(),
                              static_cast<uint32_t>(msg.size()));
            return;
        }
        case Type::DmTake: {
            uint32_t id = 0, sub = 0;
            if (!in.u32(id) || !in.u32(sub) || !in.done()) {
                cut(c, "malformed DmTake frame");
                return;
            }
            // The data manager holds one group: the IMU's, key 1/0.
            const bool imu = id == 1 && sub == 0;
            send(c, Type::DmData, f.id,
                 wire::Out().i32(imu ? 0 : MBUS_ERR_NO_DATA).bytes(imu_.data(), imu ? MBUS_DM_IMU_SIZE : 0).take());
            return;
        }
        case Type::Goodbye: {
            // Its own report goes back before it hangs up: the stand-in prints it and ends the
            // application by it (MBUS_REPORT, MBUS_STRICT) as it does in-process.
            c.clean = true;
            detach(c, "ended");
            uint32_t mistakes = 0;
            const std::string report = fitted(aircraft_.report(&mistakes, c.app));
            send(c, Type::Report, f.id,
                 wire::Out()
                     .i32(static_cast<int32_t>(mistakes))
                     .bytes(report.data(), static_cast<uint32_t>(report.size()))
                     .take());
            flush(c);
            return;
        }
        case Type::Error: {
            std::vector<uint8_t> why;
            in.bytes(why);
            drop(c, ("hung up: " + printable(std::string(why.begin(), why.end()))).c_str());
            return;
        }
        default:
            cut(c, std::string("an application does not send ") + wire::type_name(f.type) + " frames");
            return;
    }
}

void Server::request(Client &c, const wire::Frame &f) {
    wire::Request r;
    std::string why;
    if (!r.decode(f.body, why)) {
        cut(c, why);
        return;
    }
    // The module answers into the caller's buffer as it was (zeros when it passed none).
    std::vector<uint8_t> resp(std::min(r.req.resp_len, wire::kMaxBytes), 0);
    std::copy(r.resp.begin(), r.resp.end(), resp.begin());
    uint32_t delay_us = 0;
    const int32_t result = aircraft_.request(c.app, r.req, resp.data(), static_cast<uint32_t>(resp.size()), &delay_us);
    // The application waits out the delay itself (the link's timing stays with the link); the
    // watchers see what it will see.
    const bool awaited = r.req.timeout != 0 && !r.req.resp_null && r.req.resp_len > 0;
    const bool late = result == 0 && r.req.timeout != 0 && delay_us > r.req.timeout;
    if (watcher_ != nullptr) {
        watcher_->request(c.app, r.req, late ? MBUS_ERR_TIMEOUT : result, awaited && !late ? resp.data() : nullptr);
    }
    const uint32_t back = r.req.resp_null ? 0 : static_cast<uint32_t>(resp.size());
    send(c, Type::Answer, f.id, wire::Out().i32(result).u32(delay_us).bytes(resp.data(), back).take());
}

void Server::tick() {
    const std::vector<sim::Pushed> pushed = aircraft_.tick();
    std::vector<uint8_t> frame;
    for (const sim::Pushed &p : pushed) {
        frame.clear();
        const auto n = static_cast<uint32_t>(std::min<size_t>(p.bytes.size(), wire::kMaxBytes));
        wire::append(frame, Type::Push, 0, wire::Out().u8(p.set).u8(p.id).bytes(p.bytes.data(), n).take());
        uint32_t apps = 0;
        for (auto &c : clients_) {
            if (c->gone || c->handlers.count({p.set, p.id}) == 0) {
                continue;
            }
            queue(*c, frame);
            ++apps;
            ++pushes_written_;
        }
        if (watcher_ != nullptr) {
            watcher_->push(p, apps);
        }
    }
}

void Server::send(Client &c, Type type, uint32_t id, const std::vector<uint8_t> &body) {
    std::vector<uint8_t> frame;
    wire::append(frame, type, id, body);
    queue(c, frame);
}

void Server::queue(Client &c, const std::vector<uint8_t> &frame) {
    if (c.gone) {
        return;
    }
    if (c.waiting() + frame.size() > limits_.max_out) {
        cut(c, "it stopped reading (" + std::to_string(limits_.max_out >> 10) + " KiB of answers and pushes waiting)");
        return;
    }
    c.out.insert(c.out.end(), frame.begin(), frame.end());
}

void Server::flush(Client &c) {
    while (!c.gone && c.sent < c.out.size()) {
        const ssize_t n = ::send(c.fd, c.out.data() + c.sent, c.out.size() - c.sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0) {
            if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
                drop(c, c.clean ? "ended" : "vanished (its socket broke)");
            }
            break;
        }
        c.sent += static_cast<size_t>(n);
        c.stuck = {};
    }
    if (c.sent == c.out.size()) {
        c.out.clear();
        c.sent = 0;
    } else if (c.sent > (1u << 20)) {
        c.out.erase(c.out.begin(), c.out.begin() + static_cast<std::ptrdiff_t>(c.sent));
        c.sent = 0;
    }
    if (c.waiting() < limits_.read_stop) {
        c.stuck = {};
    } else if (c.stuck == Clock::time_point{}) {
        c.stuck = Clock::now();
    }
}

void Server::cut(Client &c, const std::string &why) {
    // Its own pushes still waiting are dropped: the error goes out at once, then the socket closes.
    c.out.resize(c.sent);
    wire::append(c.out, Type::Error, 0, wire::error(why));
    [[maybe_unused]] const ssize_t n = ::send(c.fd, c.out.data() + c.sent, c.waiting(), MSG_NOSIGNAL | MSG_DONTWAIT);
    drop(c, ("cut: " + why).c_str());
}

void Server::drop(Client &c, const char *how) {
    if (c.gone) {
        return;
    }
    c.gone = true;
    if (c.app == 0) {
        // Said for the first, then every 1000th: a loop of connects does not flood the log.
        if (helloless_++ % 1000 == 0) {
            line("a connection without Hello %s (%llu so far)", how, static_cast<unsigned long long>(helloless_));
        }
        return;
    }
    detach(c, how);
}

void Server::detach(Client &c, const char *how) {
    if (c.detached) {
        return;
    }
    c.detached = true;
    line("app %u (%s) %s%s", c.app, c.name.c_str(), how, c.clean ? "" : "; the aircraft flies on");
    if (std::strncmp(how, "cut: ", 5) == 0) {
        aircraft_.cut(c.app, how + 5);
    } else {
        aircraft_.detach(c.app, c.clean);
    }
    if (watcher_ != nullptr) {
        watcher_->detached(c.app, c.name, c.clean);
    }
}

void Server::reap() {
    const auto gone = std::remove_if(clients_.begin(), clients_.end(), [](const std::unique_ptr<Client> &c) {
        if (c->gone) {
            close(c->fd);
        }
        return c->gone;
    });
    clients_.erase(gone, clients_.end());
}

}  // namespace aircraft
