// cirrow-plot: a recorded link capture as the flight's page, written as one self-contained file,
// or replayed into the live page.
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "address.h"
#include "input_file.h"
#include "link_capture.h"
#include "live.h"

namespace {

const char kUsage[] =
    "usage: cirrow-plot CAPTURE.pcap -o FLIGHT.html [--title TEXT]\n"
    "       cirrow-plot CAPTURE.pcap --http HOST:PORT [--speed X]\n"
    "The flight in a link capture (written by the stand-in with MBUS_PCAP) as a page: its phases,\n"
    "track, gimbal, camera, vision missions, sticks, link rates and plots over the whole flight.\n"
    "  -o FILE          write the page to FILE, self-contained (scripts and data inlined, works offline)\n"
    "  --title TEXT     the page's title (default: the capture's file name)\n"
    "  --http HOST:PORT replay the capture into the live page served there, until SIGINT/SIGTERM\n"
    "  --speed X        replay X times faster than recorded (default 1; 0: all at once)\n"
    "  -h, --help       this text\n";

volatile std::sig_atomic_t g_stop = 0;
void on_signal(int) { g_stop = 1; }

int usage_error(const std::string &what) {
    std::fprintf(stderr, "cirrow-plot: %s\n%s", what.c_str(), kUsage);
    return 2;
}

// "" when `address` is HOST:PORT with a port from 0 to 65535, else what is wrong with it.
int fail(const std::string &what) {
    std::fprintf(stderr, "cirrow-plot: %s\n", what.c_str());
    return 1;
}

view::LinkEvent event(const cw::trace::CaptureRecord &r, double t0) {
    return {r.t - t0, r.set, r.id, r.dir, r.receiver, r.bytes.data(), static_cast<uint32_t>(r.bytes.size())};
}

int write_page(const std::vector<cw::trace::CaptureRecord> &recs, const std::string &out, const std::string &title) {
    view::Flight flight;
    for (const auto &r : recs) {
        flight.add(event(r, recs.front().t));
    }
    std::string error;
    const std::string page = view::render_html(flight, title, error);
    if (page.empty()) {
        return fail(error);
    }
    FILE *f = std::fopen(out.c_str(), "wb");
    if (f == nullptr) {
        return fail(out + ": cannot write: " + std::strerror(errno));
    }
    const bool ok = std::fwrite(page.data(), 1, page.size(), f) == page.size();
    if (std::fclose(f) != 0 || !ok) {
        return fail(out + ": cannot write: " + std::strerror(errno));
    }
    std::printf("%s: %zu messages, %.1f s of flight\n", out.c_str(), recs.size(), recs.back().t - recs.front().t);
    return 0;
}

int serve(const std::vector<cw::trace::CaptureRecord> &recs, const std::string &address, double speed) {
    view::Flight flight;
    view::Server server;
    std::string error;
    if (!server.start(address, flight, error)) {
        return fail(error);
    }
    flight.set_apps({"cirrow-plot (replaying a capture)"});
    std::signal(SIGINT, on_signal);
    std::signal(SIGTERM, on_signal);
    const size_t colon = address.rfind(':');
    std::printf("cirrow-plot: the page is at http://%s:%d/ (%zu messages to replay)\n",
                address.substr(0, colon).c_str(), server.port(), recs.size());
    std::fflush(stdout);
    const auto start = std::chrono::steady_clock::now();
    size_t done = 0;
    for (const auto &r : recs) {
        const double t = r.t - recs.front().t;
        while (speed > 0 && g_stop == 0 &&
               std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() * speed < t) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        if (g_stop != 0) {
            break;
        }
        flight.add(event(r, recs.front().t));
        if (++done % 1000 == 0) {
            std::printf("cirrow-plot: %zu of %zu messages replayed\n", done, recs.size());
            std::fflush(stdout);
        }
    }
    std::printf("cirrow-plot: replay done (%zu messages); serving until stopped\n", done);
    std::fflush(stdout);
    while (g_stop == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    server.stop();
    std::printf("cirrow-plot: stopped\n");
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    std::string capture, out, title, http;
    double speed = 1;
    bool speed_given = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const bool has_value = i + 1 < argc;
        if (a == "-h" || a == "--help") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (a == "-o" || a == "--title" || a == "--http" || a == "--speed") {
            if (!has_value) {
                return usage_error(a + " needs a value");
            }
            const std::string v = argv[++i];
            if (a == "-o") {
                out = v;
            } else if (a == "--title") {
                title = v;
            } else if (a == "--http") {
                http = v;
            } else {
                char *end = nullptr;
                speed = std::strtod(v.c_str(), &end);
                speed_given = true;
                if (v.empty() || *end != '\0' || !(speed >= 0) || !std::isfinite(speed)) {
                    return usage_error("--speed " + v + ": expected a number, 0 or more");
                }
            }
        } else if (!a.empty() && a[0] == '-') {
            return usage_error("unknown option " + a);
        } else if (capture.empty()) {
            capture = a;
        } else {
            std::string what = "one capture at a time (got ";
            what += capture;
            what += " and " + a + ")";
            return usage_error(what);
        }
    }
    if (capture.empty()) {
        return usage_error("no capture given");
    }
    if (out.empty() == http.empty()) {
        return usage_error("give either -o FILE or --http HOST:PORT");
    }
    if (speed_given && http.empty()) {
        return usage_error("--speed applies to --http only (the page written with -o holds the whole flight)");
    }
    if (!title.empty() && out.empty()) {
        return usage_error("--title applies to -o only (the live page has its own)");
    }
    if (!http.empty()) {
        if (const std::string problem = view::address_problem(http); !problem.empty()) {
            return usage_error("--http " + problem);
        }
    }
    if (const std::string problem = sim::input_file_problem(capture); !problem.empty()) {
        return fail(problem);
    }
    std::vector<cw::trace::CaptureRecord> recs;
    std::string error;
    if (!cw::trace::read_capture(capture, recs, error)) {
        return fail(error);
    }
    if (recs.empty()) {
        return fail(capture + ": the capture holds no message");
    }
    if (!out.empty()) {
        return write_page(recs, out, title.empty() ? capture.substr(capture.rfind('/') + 1) : title);
    }
    return serve(recs, http, speed);
}
