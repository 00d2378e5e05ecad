// cirrow-aircraft's server over a fake aircraft, seen by raw sockets speaking the wire and by the
// stand-in attached through MBUS_AIRCRAFT (the probe application).
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <thread>

#include "fake_aircraft.h"
#include "server.h"

extern char **environ;

namespace {

using wire::Type;

std::string temp_socket(const char *name) { return "/tmp/cw-test-" + std::to_string(getpid()) + "-" + name + ".sock"; }

int dial(const std::string &path) {
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::strncpy(a.sun_path, path.c_str(), sizeof a.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    return connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0 ? fd : (close(fd), -1);
}

// A raw connection to the server.
struct Conn {
    explicit Conn(const std::string &path) : fd(dial(path)) {}
    ~Conn() { close(fd); }
    void raw(const std::vector<uint8_t> &b) const {
        ASSERT_EQ(::send(fd, b.data(), b.size(), MSG_NOSIGNAL), static_cast<ssize_t>(b.size()));
    }
    void send(Type t, uint32_t id, const std::vector<uint8_t> &body) const {
        std::vector<uint8_t> b;
        wire::append(b, t, id, body);
        raw(b);
    }
    // The next frame within ms; false when none came or the server hung up.
    bool next(wire::Frame &f, int ms = 2000) {
        for (;;) {
            if (in.next(f) == wire::Reader::Ok) {
                return true;
            }
            pollfd p{fd, POLLIN, 0};
            uint8_t buf[8192];
            if (poll(&p, 1, ms) != 1) {
                return false;
            }
            const ssize_t n = recv(fd, buf, sizeof buf, 0);
            if (n <= 0) {
                return false;
            }
            in.feed(buf, static_cast<size_t>(n));
        }
    }
    sim::AppId hello(const std::string &name) {
        send(Type::Hello, 0, wire::Out().str(name).take());
        wire::Frame f;
        uint32_t app = 0;
        return next(f) && f.type == Type::Welcome && wire::In(f.body).u32(app) ? app : 0;
    }
    // Sends a request for receiver with one payload byte; returns the answer's first byte (or -1).
    int ask(uint32_t id, uint16_t receiver, uint8_t byte) {
        wire::Request r;
        r.req.receiver = receiver;
        r.req.payload_len = 1;
        r.req.payload[0] = byte;
        r.req.resp_len = 2;
        r.req.timeout = 1000;
        r.resp = {0, 0};
        send(Type::Request, id, r.encode());
        wire::Frame f;
        if (!next(f) || f.type != Type::Answer || f.id != id) {
            return -1;
        }
        wire::In in(f.body);
        int32_t result = 0;
        uint32_t delay = 0;
        std::vector<uint8_t> resp;
        return in.i32(result) && in.u32(delay) && in.bytes(resp) && result == 0 ? resp.at(0) : -1;
    }
    int fd;
    wire::Reader in;
};

void quiet(const char *) {}

class Served : public ::testing::Test {
protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(server.listen(path, error)) << error;
        thread = std::thread([this] { server.run(); });
    }
    void TearDown() override {
        server.stop();
        thread.join();
    }
    // Waits until the fake aircraft saw an event starting with e. The limit is generous: under the
    // thread sanitizer on a loaded machine, queueing the megabytes that cut a stuck reader takes
    // seconds; a pass returns as soon as the event is seen.
    bool eventually(const std::string &e) {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < limit) {
            if (fake.saw(e)) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return false;
    }

    std::string path = temp_socket("served");
    FakeAircraft fake;
    aircraft::Server server{fake, nullptr, quiet};
    std::thread thread;
};

TEST_F(Served, AppsAskAndEachGetsThePushesItRegistered) {
    Conn a(path), b(path);
    const sim::AppId ida = a.hello("quick_shot 10"), idb = b.hello("monitor 11");
    ASSERT_NE(ida, 0u);
    ASSERT_NE(idb, ida);
    EXPECT_EQ(a.ask(5, 0x0100, 41), 42);
    EXPECT_EQ(b.ask(6, 0x0100, 7), 8);
    a.send(Type::Handler, 0, {9, 1, 1});
    b.send(Type::Handler, 0, {9, 2, 1});
    ASSERT_TRUE(eventually("handler " + std::to_string(idb) + " 9/2 on"));
    fake.push(9, 1, {0xA1});
    fake.push(9, 2, {0xB2});
    fake.push(9, 3, {0xC3});  // nobody's
    wire::Frame f;
    ASSERT_TRUE(a.next(f));
    EXPECT_EQ(f.type, Type::Push);
    EXPECT_EQ(f.body, (std::vector<uint8_t>{9, 1, 1, 0, 0, 0, 0xA1}));
    ASSERT_TRUE(b.next(f));
    EXPECT_EQ(f.body, (std::vector<uint8_t>{9, 2, 1, 0, 0, 0, 0xB2}));
    EXPECT_FALSE(a.next(f, 50));
    EXPECT_FALSE(b.next(f, 50));
    // Unregistered, the pushes stop; a clean goodbye is told apart from a vanishing.
    a.send(Type::Handler, 0, {9, 1, 0});
    a.send(Type::Goodbye, 0, {});
    ASSERT_TRUE(eventually("handler " + std::to_string(ida) + " 9/1 off"));
    close(a.fd);
    a.fd = -1;
    EXPECT_TRUE(eventually("detach " + std::to_string(ida) + " clean"));
    close(b.fd);
    b.fd = -1;
    EXPECT_TRUE(eventually("detach " + std::to_string(idb) + " vanished"));
}

TEST_F(Served, BadFramesAreToldWhyAndCutWhileOthersFlyOn) {
    Conn other(path);
    ASSERT_NE(other.hello("monitor"), 0u);
    auto version2 = std::vector<uint8_t>();
    wire::append(version2, Type::Hello, 0, wire::Out().str("old").take());
    version2[2] = 2;
    const struct {
        const char *what;
        bool hello;
        std::function<void(Conn &)> send;
        const char *error;
    } cases[] = {
        {"a stranger", false,
         [](Conn &c) {
             c.raw({'G', 'E', 'T', ' ', '/'});
         },
         "not a cirrow-aircraft frame"},
        {"another version", false, [&](Conn &c) { c.raw(version2); }, "protocol version 2, this side speaks version 1"},
        {"an unknown type", false,
         [](Conn &c) {
             c.raw({'C', 'W', 1, 99, 0, 0, 0, 0, 0, 0, 0, 0});
         },
         "unknown frame type 99"},
        {"a request before Hello", false, [](Conn &c) { c.send(Type::Request, 1, {}); },
         "the first frame must be Hello, not Request"},
        {"a frame over the largest", true,
         [](Conn &c) {
             c.raw({'C', 'W', 1, static_cast<uint8_t>(Type::Request), 1, 0, 0, 0, 0xFF, 0xFF, 0, 0});
         },
         "Request frame of 65535 bytes: over the largest"},
        {"a malformed request", true,
         [](Conn &c) {
             c.send(Type::Request, 1, {1, 2, 3});
         },
         "Request frame of 3 bytes is malformed"},
        {"a malformed handler", true,
         [](Conn &c) {
             c.send(Type::Handler, 0, {1, 2, 7});
         },
         "malformed Handler frame"},
        {"an aircraft's frame", true, [](Conn &c) { c.send(Type::Push, 0, {}); },
         "an application does not send Push frames"},
    };
    for (const auto &c : cases) {
        Conn bad(path);
        if (c.hello) {
            ASSERT_NE(bad.hello("bad"), 0u) << c.what;
        }
        c.send(bad);
        wire::Frame f;
        ASSERT_TRUE(bad.next(f)) << c.what;
        EXPECT_EQ(f.type, Type::Error) << c.what;
        EXPECT_NE(wire::error_text(f.body).find(c.error), std::string::npos)
            << c.what << ": " << wire::error_text(f.body);
        EXPECT_FALSE(bad.next(f)) << c.what << ": the server hangs up after the error";
        EXPECT_EQ(other.ask(1, 0x0100, 1), 2) << c.what << ": the others are still served";
    }
}

TEST_F(Served, AnAppVanishingMidRequestIsDetachedAsSuch) {
    Conn gone(path);
    const sim::AppId id = gone.hello("crashing");
    wire::Request r;
    r.req.resp_len = 1;
    r.req.timeout = 1000;
    r.resp = {0};
    gone.send(Type::Request, 1, r.encode());
    shutdown(gone.fd, SHUT_RDWR);  // before reading its answer
    EXPECT_TRUE(eventually("detach " + std::to_string(id) + " vanished"));
    Conn next(path);
    EXPECT_NE(next.hello("after"), 0u);
    EXPECT_EQ(next.ask(2, 0x0100, 9), 10);
}

TEST_F(Served, AnAppThatStopsReadingIsCut) {
    Conn stuck(path);
    const sim::AppId id = stuck.hello("stuck");
    stuck.send(Type::Handler, 0, {9, 1, 1});
    ASSERT_TRUE(eventually("handler"));
    {
        std::lock_guard<std::mutex> lock(fake.mu);
        fake.every_tick = {9, 1, std::vector<uint8_t>(2048, 0x55)};
        fake.per_tick = 200;
    }
    EXPECT_TRUE(eventually("cut " + std::to_string(id) + " it stopped reading")) << "never cut";
}

// The deadlines, shortened: a connection that never says Hello, and one that starts a frame and
// never ends it, are told why and cut; one that sends takes and never reads is read no further
// and cut once stuck, its output never past what read_stop lets through.
class ServedQuickly : public Served {
protected:
    void SetUp() override {
        aircraft::Limits limits;
        limits.hello_ms = 200;
        limits.frame_ms = 200;
        limits.stuck_ms = 300;
        limits.read_stop = 4096;
        server.set_limits(limits);
        Served::SetUp();
    }
};

TEST_F(ServedQuickly, SilentHalfFramedAndStuckClientsAreCutInTime) {
    Conn silent(path);
    wire::Frame f;
    ASSERT_TRUE(silent.next(f, 5000));
    EXPECT_EQ(f.type, Type::Error);
    EXPECT_EQ(wire::error_text(f.body), "no Hello within 200 ms of connecting");

    Conn half(path);
    const sim::AppId id = half.hello("half");
    half.raw({'C', 'W', wire::kVersion});
    EXPECT_TRUE(eventually("cut " + std::to_string(id) + " a frame not finished within 200 ms"));

    Conn stuck(path);
    const sim::AppId stuck_id = stuck.hello("stuck");
    std::vector<uint8_t> takes;
    for (int i = 0; i < 20000; ++i) {
        wire::append(takes, Type::DmTake, static_cast<uint32_t>(i), wire::Out().u32(1).u32(0).take());
    }
    // Not all of it goes: the server stops reading, the socket's buffers fill.
    [[maybe_unused]] const ssize_t n = ::send(stuck.fd, takes.data(), takes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    EXPECT_TRUE(eventually("cut " + std::to_string(stuck_id) + " it stopped reading"));

    // One that only stopped (a breakpoint), its pushes waiting, asks nothing: left until max_out.
    Conn paused(path);
    const sim::AppId paused_id = paused.hello("paused");
    paused.send(Type::Handler, 0, {9, 2, 1});
    ASSERT_TRUE(eventually("handler " + std::to_string(paused_id)));
    for (int i = 0; i < 200; ++i) {
        fake.push(9, 2, std::vector<uint8_t>(2048, 0x55));  // past the socket's buffers and read_stop
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1000));
    EXPECT_FALSE(fake.saw("cut " + std::to_string(paused_id))) << "cut while only paused";
}

TEST(Service, ASecondAircraftOnTheSameSocketIsRefusedAndAStaleOneReplaced) {
    FakeAircraft fake;
    const std::string path = temp_socket("second");
    std::string error;
    {
        aircraft::Server first(fake, nullptr, quiet);
        ASSERT_TRUE(first.listen(path, error)) << error;
        aircraft::Server second(fake, nullptr, quiet);
        EXPECT_FALSE(second.listen(path, error));
        EXPECT_NE(error.find("another cirrow-aircraft is serving this socket"), std::string::npos) << error;
    }
    EXPECT_NE(access(path.c_str(), F_OK), 0) << "the socket stays after the server ended";
    // A socket file nobody serves (an aircraft that was killed) is replaced.
    const int stale = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::strncpy(a.sun_path, path.c_str(), sizeof a.sun_path - 1);
    ASSERT_EQ(bind(stale, reinterpret_cast<sockaddr *>(&a), sizeof a), 0);
    close(stale);
    {
        aircraft::Server third(fake, nullptr, quiet);
        EXPECT_TRUE(third.listen(path, error)) << error;
    }
    // Anything else is left alone.
    FILE *f = std::fopen(path.c_str(), "w");
    std::fclose(f);
    aircraft::Server fourth(fake, nullptr, quiet);
    EXPECT_FALSE(fourth.listen(path, error));
    EXPECT_NE(error.find("exists and is not a socket"), std::string::npos) << error;
    unlink(path.c_str());
}

// ---- the stand-in attached through MBUS_AIRCRAFT ----

struct Outcome {
    int status;
    std::string out;
};

// Runs the probe with MBUS_AIRCRAFT=aircraft and the arguments, stdout and stderr together.
Outcome probe(const std::string &aircraft, std::vector<std::string> args) {
    std::vector<std::string> env;
    for (char **e = environ; *e != nullptr; ++e) {
        if (std::strncmp(*e, "MBUS_", 5) != 0) {
            env.emplace_back(*e);
        }
    }
    env.push_back("MBUS_AIRCRAFT=" + aircraft);
    env.emplace_back("MBUS_QUIET=1");
    args.insert(args.begin(), CW_PROBE);
    std::vector<char *> argv, envp;
    for (auto &a : args) {
        argv.push_back(a.data());
    }
    for (auto &e : env) {
        envp.push_back(e.data());
    }
    argv.push_back(nullptr);
    envp.push_back(nullptr);
    int p[2];
    EXPECT_EQ(pipe(p), 0);
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_adddup2(&fa, p[1], 1);
    posix_spawn_file_actions_adddup2(&fa, p[1], 2);
    pid_t pid = 0;
    EXPECT_EQ(posix_spawn(&pid, CW_PROBE, &fa, nullptr, argv.data(), envp.data()), 0);
    posix_spawn_file_actions_destroy(&fa);
    close(p[1]);
    Outcome r{};
    char buf[512];
    for (ssize_t n; (n = read(p[0], buf, sizeof buf)) > 0;) {
        r.out.append(buf, static_cast<size_t>(n));
    }
    close(p[0]);
    waitpid(pid, &r.status, 0);
    r.status = WIFEXITED(r.status) ? WEXITSTATUS(r.status) : 128 + WTERMSIG(r.status);
    return r;
}

TEST_F(Served, TheStandInForwardsRequestsPushesDataAndMessages) {
    Outcome r = probe(path, {"request", "0x0100", "41", "100000"});
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("result 0 answer 42"), std::string::npos) << r.out;
    EXPECT_TRUE(eventually("detach 1 clean")) << "the probe's exit is a clean end";
    r = probe(path, {"request", "0xDEAD", "1", "100000"});
    EXPECT_NE(r.out.find("result -113 answer 238"), std::string::npos) << r.out;
    // An answer later than the request's timeout is a timeout, as in-process.
    fake.delay = 200000;
    r = probe(path, {"request", "0x0100", "1", "50000"});
    EXPECT_NE(r.out.find("result -110 answer 238"), std::string::npos) << r.out;
    fake.delay = 300;

    {
        std::lock_guard<std::mutex> lock(fake.mu);
        fake.every_tick = {4, 3, {0x11, 0x22}};
        fake.per_tick = 1;
    }
    r = probe(path, {"push", "4", "3"});
    EXPECT_NE(r.out.find("first 17 34"), std::string::npos) << r.out;
    EXPECT_TRUE(eventually("handler 4 4/3 on"));
    EXPECT_TRUE(eventually("handler 4 4/3 off"));

    EXPECT_NE(probe(path, {"dm", "1"}).out.find("take 0 size 136"), std::string::npos);
    EXPECT_NE(probe(path, {"dm", "2"}).out.find("take -61"), std::string::npos);
    EXPECT_NE(probe(path, {"speak", "fly_marker_thread"}).out.find("speak 0"), std::string::npos);
    EXPECT_TRUE(eventually("message 7 fly_marker_thread 12"));
    EXPECT_NE(probe(path, {"speak", "nobody"}).out.find("speak -2"), std::string::npos);
}

// An aircraft that welcomes the application, then does what the test says with its first request.
class RawAircraft {
public:
    RawAircraft(const std::string &path, std::function<void(int fd)> then) : path_(path) {
        unlink(path.c_str());
        fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un a{};
        a.sun_family = AF_UNIX;
        std::strncpy(a.sun_path, path.c_str(), sizeof a.sun_path - 1);
        EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr *>(&a), sizeof a), 0);
        listen(fd_, 1);
        thread_ = std::thread([this, then] {
            const int c = accept(fd_, nullptr, nullptr);
            uint8_t buf[8192];
            EXPECT_GT(recv(c, buf, sizeof buf, 0), 0);  // Hello
            then(c);
            close(c);
        });
    }
    ~RawAircraft() {
        thread_.join();
        close(fd_);
        unlink(path_.c_str());
    }

private:
    std::string path_;
    int fd_;
    std::thread thread_;
};

void write_frame(int fd, Type t, const std::vector<uint8_t> &body, uint8_t version = wire::kVersion) {
    std::vector<uint8_t> b;
    wire::append(b, t, 0, body);
    b[2] = version;
    EXPECT_EQ(::send(fd, b.data(), b.size(), MSG_NOSIGNAL), static_cast<ssize_t>(b.size()));
}

TEST(StandIn, CannotAttachAndSaysWhy) {
    Outcome r = probe("/nonexistent/aircraft.sock", {"request", "1", "1", "1000"});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.out.find("mbus: MBUS_AIRCRAFT=/nonexistent/aircraft.sock: cannot attach to the aircraft"),
              std::string::npos)
        << r.out;

    const std::string path = temp_socket("raw");
    {
        RawAircraft old(path, [](int fd) { write_frame(fd, Type::Welcome, wire::Out().u32(1).u64(0).take(), 2); });
        r = probe(path, {"request", "1", "1", "1000"});
    }
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.out.find("protocol version 2, this side speaks version 1"), std::string::npos) << r.out;
    {
        RawAircraft refusing(path, [](int fd) { write_frame(fd, Type::Error, wire::error("no room")); });
        r = probe(path, {"request", "1", "1", "1000"});
    }
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.out.find("the aircraft refused this application: no room"), std::string::npos) << r.out;
}

TEST(StandIn, AnAircraftThatVanishesOrHangsFailsTheRequestInTime) {
    const std::string path = temp_socket("vanish");
    const auto welcome = [](int fd) { write_frame(fd, Type::Welcome, wire::Out().u32(1).u64(0).take()); };
    Outcome r;
    {
        RawAircraft vanishing(path, [&](int fd) {
            welcome(fd);
            uint8_t buf[8192];
            recv(fd, buf, sizeof buf, 0);  // the request, never answered: the aircraft dies
        });
        r = probe(path, {"request", "1", "1", "5000000"});
    }
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("the aircraft went away; requests fail from now on"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("result -113"), std::string::npos) << r.out;
    {
        RawAircraft hanging(path, [&](int fd) {
            welcome(fd);
            std::this_thread::sleep_for(std::chrono::milliseconds(600));
        });
        r = probe(path, {"request", "1", "1", "200000"});
    }
    EXPECT_NE(r.out.find("result -110"), std::string::npos) << r.out;
    const auto ms = std::stoi(r.out.substr(r.out.find("ms ") + 3));
    EXPECT_GE(ms, 190);
    EXPECT_LT(ms, 500) << "waited past the request's timeout";
}

}  // namespace
