// Careless and hostile clients of cirrow-aircraft, written from the wire alone, for service.sh:
//   hostile noread SOCK SECONDS     data-manager takes as fast as it can, never reading; exits 0 once
//                                   the aircraft cut it (its socket closed), 1 if not within SECONDS
//   hostile receivers SOCK N        N requests, each to another receiver where no module listens
//   hostile names SOCK N            N applications, each with another name, each gone without a goodbye
//   hostile idle SOCK N SECONDS     N connections that never say Hello, held SECONDS (or until cut)
//   hostile probe SOCK SECONDS MS   a data-manager take every 10 ms for SECONDS: exits 1 if an answer
//                                   ever took more than MS, printing the slowest
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "wire.h"

namespace {

using Clock = std::chrono::steady_clock;

int connect_to(const char *path) {
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::strncpy(a.sun_path, path, sizeof a.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) != 0) {
        std::perror("hostile: connect");
        std::exit(2);
    }
    return fd;
}

bool put(int fd, wire::Type type, uint32_t id, const std::vector<uint8_t> &body) {
    std::vector<uint8_t> f;
    wire::append(f, type, id, body);
    size_t done = 0;
    while (done < f.size()) {
        const ssize_t n = send(fd, f.data() + done, f.size() - done, MSG_NOSIGNAL);
        if (n <= 0) {
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

// Reads frames until one of `type` came (true) or the socket closed (false).
bool await(int fd, wire::Reader &in, wire::Type type) {
    uint8_t buf[4096];
    for (;;) {
        wire::Frame f;
        while (in.next(f) == wire::Reader::Ok) {
            if (f.type == type) {
                return true;
            }
        }
        const ssize_t n = recv(fd, buf, sizeof buf, 0);
        if (n <= 0) {
            return false;
        }
        in.feed(buf, static_cast<size_t>(n));
    }
}

int hello(const char *path, const std::string &name, wire::Reader &in) {
    const int fd = connect_to(path);
    if (!put(fd, wire::Type::Hello, 0, wire::Out().str(name).take()) || !await(fd, in, wire::Type::Welcome)) {
        std::fprintf(stderr, "hostile: not welcomed\n");
        std::exit(2);
    }
    return fd;
}

double seconds_since(Clock::time_point t) { return std::chrono::duration<double>(Clock::now() - t).count(); }

int no_read(const char *path, double seconds) {
    wire::Reader in;
    const int fd = hello(path, "hostile-noread", in);
    const auto start = Clock::now();
    uint64_t sent = 0;
    while (seconds_since(start) < seconds) {
        if (!put(fd, wire::Type::DmTake, static_cast<uint32_t>(sent), wire::Out().u32(1).u32(0).take())) {
            std::printf("hostile: cut after %.1f s, %llu takes sent\n", seconds_since(start),
                        static_cast<unsigned long long>(sent));
            return 0;
        }
        ++sent;
    }
    std::printf("hostile: not cut within %.0f s (%llu takes sent)\n", seconds, static_cast<unsigned long long>(sent));
    return 1;
}

int receivers(const char *path, long n) {
    wire::Reader in;
    const int fd = hello(path, "hostile-receivers", in);
    for (long i = 0; i < n; ++i) {
        wire::Request r;
        r.req.cmd_set = 0;
        r.req.cmd_id = 1;
        r.req.receiver = static_cast<uint16_t>(0x4000 + i % 0xB000);
        r.req.cmd_id = static_cast<uint8_t>(i / 0xB000);
        r.req.payload_null = 1;
        r.req.resp_null = 1;
        if (!put(fd, wire::Type::Request, static_cast<uint32_t>(i), r.encode()) || !await(fd, in, wire::Type::Answer)) {
            std::fprintf(stderr, "hostile: cut at request %ld\n", i);
            return 1;
        }
    }
    put(fd, wire::Type::Goodbye, 0, {});
    close(fd);
    return 0;
}

int names(const char *path, long n) {
    for (long i = 0; i < n; ++i) {
        wire::Reader in;
        close(hello(path, "hostile-" + std::to_string(i) + "\n  MISTAKE forged", in));
    }
    return 0;
}

int idle(const char *path, long n, double seconds) {
    // Non-blocking: once the aircraft's backlog is full a connect fails instead of waiting.
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::strncpy(a.sun_path, path, sizeof a.sun_path - 1);
    long made = 0;
    for (long i = 0; i < n; ++i) {
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        made += connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0 ? 1 : 0;
    }
    std::printf("hostile: %ld of %ld idle connections made\n", made, n);
    sleep(static_cast<unsigned>(seconds));
    return 0;
}

int probe(const char *path, double seconds, double limit_ms) {
    wire::Reader in;
    const int fd = hello(path, "hostile-probe", in);
    const auto start = Clock::now();
    double worst = 0;
    for (uint32_t id = 1; seconds_since(start) < seconds; ++id) {
        const auto t = Clock::now();
        if (!put(fd, wire::Type::DmTake, id, wire::Out().u32(1).u32(0).take()) || !await(fd, in, wire::Type::DmData)) {
            std::fprintf(stderr, "hostile: the probe was cut\n");
            return 1;
        }
        worst = std::max(worst, seconds_since(t) * 1000);
        usleep(10000);
    }
    put(fd, wire::Type::Goodbye, 0, {});
    std::printf("hostile: the probe's slowest answer took %.1f ms (limit %.0f ms)\n", worst, limit_ms);
    return worst <= limit_ms ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv) {
    const std::string mode = argc > 2 ? argv[1] : "";
    const auto num = [&](int i) { return i < argc ? std::strtod(argv[i], nullptr) : 0.0; };
    if (mode == "noread") {
        return no_read(argv[2], num(3));
    }
    if (mode == "receivers") {
        return receivers(argv[2], static_cast<long>(num(3)));
    }
    if (mode == "names") {
        return names(argv[2], static_cast<long>(num(3)));
    }
    if (mode == "idle") {
        return idle(argv[2], static_cast<long>(num(3)), num(4));
    }
    if (mode == "probe") {
        return probe(argv[2], num(3), num(4));
    }
    std::fprintf(stderr, "usage: hostile noread|receivers|names|idle|probe SOCK ...\n");
    return 2;
}
