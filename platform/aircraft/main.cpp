// cirrow-aircraft: the virtual aircraft in a process of its own. Applications attach to it through
// the stand-in (MBUS_AIRCRAFT=<socket>); it runs the models, the scenario, the clock, the referee
// and the link trace, and stops cleanly on SIGINT or SIGTERM with the referee's report.
#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "address.h"
#include "link_trace.h"
#include "referee.h"
#include "rules.h"
#include "server.h"
#ifdef CW_AIRCRAFT_VIEW
#include "live.h"
#endif

namespace {

const char *const kUsage =
    "usage: cirrow-aircraft [options]\n"
    "The virtual aircraft in a process of its own: applications linked with the stand-in attach to it\n"
    "with MBUS_AIRCRAFT=<socket> (several at once, each its own process, the ARM build under qemu-arm too).\n"
    "\n"
    "  --socket PATH     where applications attach (default: $XDG_RUNTIME_DIR/cirrow-aircraft.sock,\n"
    "                    else /tmp/cirrow-aircraft-<uid>/aircraft.sock, that directory private to the\n"
    "                    user); a live aircraft there is refused, a stale socket file replaced. Only\n"
    "                    this user's applications may attach (the socket's mode is 0600)\n"
    "  --group NAME      let the members of this group attach too (the socket 0660, of that group)\n"
    "  --scenario FILE   fly this scenario (the modules' answers and push rates over time)\n"
    "  --speed X         the aircraft's clock against the wall clock, 0.01 to 100 (default 1, or the\n"
    "                    scenario's)\n"
    "  --detach          run in the background once the socket listens; needs --pid-file\n"
    "  --pid-file F      write the aircraft's pid to F, a new file (one left by an aircraft no longer\n"
    "                    running is replaced; removed when it stops, if it still holds this pid)\n"
    "  --log FILE        with --detach: the aircraft's lines go to FILE (default: discarded)\n"
    "  --http ADDR:PORT  serve the live page of the flight there (a loopback address: the page shows\n"
    "                    everything the aircraft does)\n"
    "  --http-public     let --http take an address other machines reach\n"
    "  --strict          exit with code 3 at the stop when an application's report held a mistake\n"
    "  --allow RULES     waive the referee's rules (comma-separated names; the README lists them)\n"
    "  --report FILE     at the stop, write the referee's report as JSON to FILE\n"
    "  --junit FILE      at the stop, write the referee's report as JUnit XML to FILE\n"
    "  --help            this text\n"
    "\n"
    "The link trace: MBUS_TRACE=<file> (or - for stderr), MBUS_PCAP=<file>, MBUS_TRACE_SUMMARY=1, as in\n"
    "an application. SIGINT or SIGTERM stops it: the socket is removed and the referee's report printed.\n";

constexpr int kStrictExit = 3;  // --strict: an application's report held a mistake

aircraft::Server *g_server = nullptr;

void on_signal(int) {
    if (g_server != nullptr) {
        g_server->stop();
    }
}

int fail(const std::string &why) {
    std::fprintf(stderr, "cirrow-aircraft: %s\n", why.c_str());
    return 2;
}

void say(const char *text) { std::fprintf(stderr, "cirrow-aircraft: %s\n", text); }

void aircraft_line(const char *text) { std::fprintf(stderr, "aircraft: %s", text); }

// The link trace, fed from the server's link events as the stand-in feeds it in-process.
class Trace : public aircraft::Watcher {
public:
    void request(sim::AppId, const mbus_ctl_request_t &req, int32_t result, const uint8_t *resp) override {
        cw::trace::trace_answer(cw::trace::trace_request(req), req, result, resp);
    }
    void push(const sim::Pushed &p, uint32_t apps) override {
        cw::trace::trace_push(p.set, p.id, p.bytes.data(), static_cast<uint32_t>(p.bytes.size()), apps > 0);
    }
};

#ifdef CW_AIRCRAFT_VIEW
// The live page's flight, fed with every link event on the aircraft's clock, the attached
// applications and the referee's report (at most once a second while pushes flow).
class Live : public aircraft::Watcher {
public:
    Live(view::Flight &flight, const sim::Aircraft &plane) : flight_(flight), plane_(plane) {}
    void attached(sim::AppId app, const std::string &name) override {
        apps_[app] = name;
        seen_.push_back(app);
        if (seen_.size() > kShownApps) {
            seen_.erase(seen_.begin());
        }
        update_apps();
    }
    void detached(sim::AppId app, const std::string &, bool) override {
        apps_.erase(app);
        update_apps();
    }
    // The report is built at most once a second (with the next push), however often apps come.
    void request(sim::AppId, const mbus_ctl_request_t &req, int32_t, const uint8_t *resp) override {
        const double t = plane_.now();
        const uint32_t kept = req.payload_null ? 0 : std::min(req.payload_len, MBUS_LINK_MAX_PAYLOAD);
        flight_.add({t, req.cmd_set, req.cmd_id, cw::link::Dir::Request, req.receiver, req.payload, kept});
        if (resp != nullptr) {
            flight_.add({t, req.cmd_set, req.cmd_id, cw::link::Dir::Answer, req.receiver, resp,
                         std::min(req.resp_len, MBUS_LINK_MAX_PAYLOAD)});
        }
    }
    void push(const sim::Pushed &p, uint32_t) override {
        const double t = plane_.now();
        flight_.add({t, p.set, p.id, cw::link::Dir::Push, cw::link::kAnyReceiver, p.bytes.data(),
                     static_cast<uint32_t>(p.bytes.size())});
        if (t >= next_report_) {
            flight_.set_report(reports());
            next_report_ = t + 1.0;
        }
    }

private:
    void update_apps() {
        std::vector<std::string> names;
        for (const auto &[app, name] : apps_) {
            names.push_back(name);
        }
        flight_.set_apps(std::move(names));
    }
    // A report per application that came (the last kShownApps of them), each its own.
    std::string reports() const {
        std::string all;
        for (const sim::AppId app : seen_) {
            all += plane_.report(nullptr, app);
        }
        return seen_.empty() ? plane_.report(nullptr) : all;
    }
    view::Flight &flight_;
    const sim::Aircraft &plane_;
    std::map<sim::AppId, std::string> apps_;
    static constexpr size_t kShownApps = 64;
    std::vector<sim::AppId> seen_;  // the last applications that attached, in order
    double next_report_ = 0;
};
#endif

// The watchers of the link, each told everything.
class Watchers : public aircraft::Watcher {
public:
    void add(aircraft::Watcher *w) { all_.push_back(w); }
    void attached(sim::AppId app, const std::string &name) override {
        for (auto *w : all_) {
            w->attached(app, name);
        }
    }
    void detached(sim::AppId app, const std::string &name, bool clean) override {
        for (auto *w : all_) {
            w->detached(app, name, clean);
        }
    }
    void request(sim::AppId app, const mbus_ctl_request_t &req, int32_t result, const uint8_t *resp) override {
        for (auto *w : all_) {
            w->request(app, req, result, resp);
        }
    }
    void push(const sim::Pushed &p, uint32_t apps) override {
        for (auto *w : all_) {
            w->push(p, apps);
        }
    }

private:
    std::vector<aircraft::Watcher *> all_;
};

struct Options {
    std::string socket;
    std::string group;
    std::string scenario;
    std::string speed;
    std::string pid_file;
    std::string log;
    std::string http;
    std::string allow;
    std::string json;
    std::string junit;
    bool detach = false;
    bool http_public = false;
    bool strict = false;
};

// Parses the command line; returns -1 to go on, else the exit code.
int parse(int argc, char **argv, Options &o) {
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        std::string *value = a == "--socket"     ? &o.socket
                             : a == "--scenario" ? &o.scenario
                             : a == "--speed"    ? &o.speed
                             : a == "--pid-file" ? &o.pid_file
                             : a == "--log"      ? &o.log
                             : a == "--http"     ? &o.http
                             : a == "--group"    ? &o.group
                             : a == "--allow"    ? &o.allow
                             : a == "--report"   ? &o.json
                             : a == "--junit"    ? &o.junit
                                                 : nullptr;
        if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (a == "--detach") {
            o.detach = true;
        } else if (a == "--http-public") {
            o.http_public = true;
        } else if (a == "--strict") {
            o.strict = true;
        } else if (value == nullptr) {
            return fail("unknown option " + a + " (--help lists them)");
        } else if (i + 1 >= argc) {
            return fail(a + " needs a value (--help lists the options)");
        } else {
            *value = argv[++i];
        }
    }
    if (o.detach && o.pid_file.empty()) {
        return fail("--detach needs --pid-file, so that the aircraft can be stopped");
    }
    if (!o.log.empty() && !o.detach) {
        return fail("--log is for --detach: in the foreground the lines go to the terminal");
    }
    if (o.http_public && o.http.empty()) {
        return fail("--http-public is for --http");
    }
    if (const std::string problem = o.http.empty() ? "" : view::address_problem(o.http); !problem.empty()) {
        return fail("--http " + problem);
    }
    if (o.socket.empty()) {
        std::string error;
        if (!aircraft::default_socket(o.socket, error)) {
            return fail(error);
        }
    }
    return -1;
}

bool make_scenario(const Options &o, sim::Scenario &s, std::string &error) {
    if (!o.scenario.empty()) {
#ifdef CW_SIM_SCENARIOS
        if (!sim::load_scenario(o.scenario, s, error)) {
            return false;
        }
#else
        error = "--scenario " + o.scenario + ": this cirrow-aircraft was built without scenario support (toml++)";
        return false;
#endif
    }
    if (!o.speed.empty()) {
        char *end = nullptr;
        s.speed = std::strtod(o.speed.c_str(), &end);
        if (*end != '\0' || !(s.speed >= 0.01 && s.speed <= 100)) {
            error = "--speed " + o.speed + ": must be a number from 0.01 to 100";
            return false;
        }
    }
    return true;
}

// The pid file, made new (O_EXCL, never through a symlink): one naming a live process is refused;
// one left by an aircraft that died (its pid no longer running) is replaced.
bool write_pid_file(const std::string &path, std::string &error) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
        if (fd >= 0) {
            const std::string text = std::to_string(getpid()) + "\n";
            const bool ok = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
            const int err = errno;
            close(fd);
            if (!ok) {
                unlink(path.c_str());
                error = "--pid-file " + path + ": " + std::strerror(err);
            }
            return ok;
        }
        if (errno != EEXIST) {
            error = "--pid-file " + path + ": " + std::strerror(errno);
            return false;
        }
        // There already: replaced only when it is a regular file of ours naming no live process.
        struct stat sb {};
        const int old = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
        char buf[32] = {};
        const ssize_t n =
            old >= 0 && fstat(old, &sb) == 0 && S_ISREG(sb.st_mode) ? ::read(old, buf, sizeof buf - 1) : -1;
        if (old >= 0) {
            close(old);
        }
        char *end = nullptr;
        const long pid = n > 0 ? std::strtol(buf, &end, 10) : 0;
        const bool ours = old >= 0 && S_ISREG(sb.st_mode) && sb.st_uid == geteuid();
        const bool stale = ours && pid > 0 && end != nullptr && *end == '\n' && kill(static_cast<pid_t>(pid), 0) != 0 &&
                           errno == ESRCH;
        if (!stale) {
            error = "--pid-file " + path + ": exists" +
                    (ours && pid > 0 ? " and names a running process (" + std::to_string(pid) + ")"
                                     : " and is not a pid file of this user's") +
                    "; not replacing it";
            return false;
        }
        unlink(path.c_str());
    }
    error = "--pid-file " + path + ": another process keeps making it";
    return false;
}

// Removes the pid file if it still holds this process's pid.
void remove_pid_file(const std::string &path) {
    const int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        return;
    }
    char buf[32] = {};
    const ssize_t n = ::read(fd, buf, sizeof buf - 1);
    close(fd);
    if (n > 0 && std::strtol(buf, nullptr, 10) == static_cast<long>(getpid())) {
        unlink(path.c_str());
    }
}

// Goes to the background: the parent returns once the child wrote its pid file, with the child's
// verdict as its exit code.
int detach(const Options &o) {
    int ready[2];
    if (pipe(ready) != 0) {
        return fail(std::string("--detach: ") + std::strerror(errno));
    }
    const pid_t pid = fork();
    if (pid < 0) {
        return fail(std::string("--detach: cannot fork: ") + std::strerror(errno));
    }
    if (pid > 0) {
        close(ready[1]);
        char verdict = 1;
        const bool told = read(ready[0], &verdict, 1) == 1;
        _exit(told && verdict == 0 ? 0 : 2);  // the socket belongs to the child: no destructors here
    }
    close(ready[0]);
    setsid();
    char verdict = 0;
    std::string error;
    if (!write_pid_file(o.pid_file, error)) {
        std::fprintf(stderr, "cirrow-aircraft: %s\n", error.c_str());
        verdict = 1;
    }
    const int out = open(o.log.empty() ? "/dev/null" : o.log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (out < 0) {
        std::fprintf(stderr, "cirrow-aircraft: --log %s: %s\n", o.log.c_str(), std::strerror(errno));
        verdict = 1;
    }
    [[maybe_unused]] const ssize_t n = write(ready[1], &verdict, 1);
    close(ready[1]);
    if (verdict != 0) {
        return 2;
    }
    const int in = open("/dev/null", O_RDONLY | O_CLOEXEC);
    dup2(in, 0);
    dup2(out, 1);
    dup2(out, 2);
    close(in);
    close(out);
    return -1;
}

}  // namespace

int main(int argc, char **argv) {
    Options o;
    if (const int code = parse(argc, argv, o); code >= 0) {
        return code;
    }
    sim::Scenario scenario;
    std::string error;
    if (!make_scenario(o, scenario, error)) {
        return fail(error);
    }
#ifndef CW_AIRCRAFT_VIEW
    if (!o.http.empty()) {
        return fail("--http " + o.http + ": this cirrow-aircraft was built without the live page");
    }
#endif
    std::set<std::string> allowed;
    if (!sim::parse_rules(o.allow, allowed, error)) {
        return fail("--allow " + o.allow + ": " + error + " (" + sim::known_rules() + ")");
    }
    const double speed = scenario.speed;
    sim::set_diagnostics(aircraft_line);
    std::unique_ptr<sim::Aircraft> plane = sim::Aircraft::create(std::move(scenario), true);
    plane->allow(allowed);
    Trace trace;
    Watchers watchers;
    watchers.add(&trace);
#ifdef CW_AIRCRAFT_VIEW
    view::Flight flight;
    Live live(flight, *plane);
    view::Server page;
#endif
    aircraft::Server server(*plane, &watchers, say);
    if (!o.group.empty()) {
        const group *g = getgrnam(o.group.c_str());
        if (g == nullptr) {
            return fail("--group " + o.group + ": no such group");
        }
        server.allow_group(g->gr_gid);
    }
    server.set_clock_rate(speed);
    cw::trace::set_clock_rate(speed);  // the aircraft's trace and capture in the aircraft's time
    if (!server.listen(o.socket, error)) {
        return fail(error);
    }
    if (o.detach) {
        if (const int code = detach(o); code >= 0) {
            return code;
        }
    } else if (!o.pid_file.empty() && !write_pid_file(o.pid_file, error)) {
        return fail(error);
    }
#ifdef CW_AIRCRAFT_VIEW
    // Its threads start here, after --detach forked: a fork keeps only the calling thread.
    if (!o.http.empty()) {
        const std::string host = o.http.substr(0, o.http.rfind(':'));
        const bool malformed = o.http.find(':') == std::string::npos;  // page.start says how
        if (!malformed && !view::loopback(host) && !o.http_public) {
            return fail("--http " + o.http +
                        ": not a loopback address, and the page shows everything the aircraft "
                        "does; add --http-public to serve it there all the same");
        }
        if (!malformed && !view::loopback(host)) {
            std::fprintf(stderr,
                         "cirrow-aircraft: WARNING: the live page is served on %s, reachable from other "
                         "machines, without a password (--http-public)\n",
                         host.c_str());
        }
        if (!page.start(o.http, flight, error)) {
            return fail("--http " + o.http + ": " + error);
        }
        watchers.add(&live);
        std::fprintf(stderr, "cirrow-aircraft: the live page at http://%s:%d/\n",
                     o.http.substr(0, o.http.rfind(':')).c_str(), page.port());
    }
#endif
    g_server = &server;
    struct sigaction sa {};
    sa.sa_handler = on_signal;
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);
    signal(SIGPIPE, SIG_IGN);
    std::fprintf(stderr, "cirrow-aircraft: flying%s%s at speed %.2f; applications attach with MBUS_AIRCRAFT=%s\n",
                 o.scenario.empty() ? "" : " the scenario ", o.scenario.c_str(), speed, o.socket.c_str());
    server.run();
    g_server = nullptr;
    uint32_t mistakes = 0;
    const std::string report = plane->report(&mistakes);
    std::fprintf(
        stderr,
        "cirrow-aircraft: stopped after %.1f s on the aircraft's clock; the referee's report (%u mistake(s)):\n%s",
        plane->now(), mistakes, report.c_str());
    int code = o.strict && mistakes > 0 ? kStrictExit : 0;
    for (const auto &[file, format] :
         {std::pair{&o.json, sim::Aircraft::Format::Json}, {&o.junit, sim::Aircraft::Format::Junit}}) {
        if (!file->empty() && !sim::write_report(*file, plane->report(nullptr, sim::Aircraft::kEveryApp, format))) {
            code = fail(*file + ": cannot write the referee's report: " + std::strerror(errno));
        }
    }
    if (!o.pid_file.empty()) {
        remove_pid_file(o.pid_file);
    }
    return code;
}
