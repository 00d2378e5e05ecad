// cirrow-aircraft's socket server over one sim::Aircraft.
#include "server.h"

#include <fcntl.h>
#include <poll.h>
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

uint16_t key(uint8_t set, uint8_t id) { return static_cast<uint16_t>(set << 8 | id); }

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

}  // namespace

uint64_t monotonic_us() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000u + static_cast<uint64_t>(ts.tv_nsec) / 1000u;
}

std::string default_socket() {
    const char *dir = std::getenv("XDG_RUNTIME_DIR");
    if (dir != nullptr && *dir != '\0') {
        return std::string(dir) + "/cirrow-aircraft.sock";
    }
    return "/tmp/cirrow-aircraft-" + std::to_string(getuid()) + ".sock";
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
        unlink(path_.c_str());
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
        unlink(path.c_str());
    }
    listen_fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (listen_fd_ < 0 || bind(listen_fd_, reinterpret_cast<sockaddr *>(&a), sizeof a) != 0 ||
        ::listen(listen_fd_, 64) != 0) {
        error = path + ": cannot listen: " + std::strerror(errno);
        if (listen_fd_ >= 0) {
            close(listen_fd_);
            listen_fd_ = -1;
        }
        return false;
    }
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
    using Clock = std::chrono::steady_clock;
    fds_.assign({{wake_[0], POLLIN, 0}, {listen_fd_, POLLIN, 0}});
    for (auto &c : clients_) {
        fds_.push_back({c->fd, static_cast<short>(POLLIN | (c->out.size() > c->sent ? POLLOUT : 0)), 0});
    }
    auto wait = std::max<Clock::duration>(next_tick_ - Clock::now(), Clock::duration::zero());
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
        if ((fds_[i].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
            read(*clients_[i - 2]);
        }
    }
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
    clients_.push_back(std::move(c));
}

void Server::accept_all() {
    for (;;) {
        const int fd = accept4(listen_fd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0) {
            return;
        }
        adopt(fd);
    }
}

void Server::read(Client &c) {
    uint8_t buf[65536];
    for (int turns = 0; turns < 16 && !c.gone; ++turns) {
        const ssize_t n = recv(c.fd, buf, sizeof buf, MSG_DONTWAIT);
        if (n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) {
            drop(c, c.clean ? "ended" : "vanished (its socket closed without a goodbye)");
            return;
        }
        if (n < 0) {
            return;
        }
        c.in.feed(buf, static_cast<size_t>(n));
        wire::Frame f;
        for (;;) {
            const auto r = c.in.next(f);
            if (r == wire::Reader::Bad) {
                cut(c, c.in.error());
                return;
            }
            if (r == wire::Reader::More) {
                break;
            }
            handle(c, f);
            if (c.gone) {
                return;
            }
        }
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
            c.name = name;
            aircraft_.attach(c.app, name);
            line("app %u (%s) attached", c.app, name.c_str());
            if (watcher_ != nullptr) {
                watcher_->attached(c.app, name);
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
                c.handlers.insert(key(set, id));
            } else {
                c.handlers.erase(key(set, id));
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
            aircraft_.message(c.app, name.c_str(), msg.empty() ? &kNothing : msg.data(),
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
        case Type::Goodbye:
            c.clean = true;
            return;
        case Type::Error: {
            std::vector<uint8_t> why;
            in.bytes(why);
            drop(c, ("hung up: " + std::string(why.begin(), why.end())).c_str());
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
            if (c->gone || c->handlers.count(key(p.set, p.id)) == 0) {
                continue;
            }
            c->out.insert(c->out.end(), frame.begin(), frame.end());
            ++apps;
            ++pushes_written_;
            if (c->out.size() - c->sent > kMaxQueued) {
                cut(*c, "it stopped reading its pushes (" + std::to_string(kMaxQueued >> 20) + " MiB waiting)");
            }
        }
        if (watcher_ != nullptr) {
            watcher_->push(p, apps);
        }
    }
}

void Server::send(Client &c, Type type, uint32_t id, const std::vector<uint8_t> &body) {
    wire::append(c.out, type, id, body);
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
    }
    if (c.sent == c.out.size()) {
        c.out.clear();
        c.sent = 0;
    } else if (c.sent > (1u << 20)) {
        c.out.erase(c.out.begin(), c.out.begin() + static_cast<std::ptrdiff_t>(c.sent));
        c.sent = 0;
    }
}

void Server::cut(Client &c, const std::string &why) {
    // Its own pushes still waiting are dropped: the error goes out at once, then the socket closes.
    c.out.resize(c.sent);
    send(c, Type::Error, 0, wire::error(why));
    flush(c);
    drop(c, ("cut: " + why).c_str());
}

void Server::drop(Client &c, const char *how) {
    if (c.gone) {
        return;
    }
    c.gone = true;
    if (c.app == 0) {
        line("a connection without Hello %s", how);
        return;
    }
    line("app %u (%s) %s%s", c.app, c.name.c_str(), how, c.clean ? "" : "; the aircraft flies on");
    aircraft_.detach(c.app, c.clean);
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
