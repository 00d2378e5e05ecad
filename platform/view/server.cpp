// The live page over HTTP: the page, its scripts (read once at start) and the flight's state.
#include <httplib.h>

#include <sys/socket.h>

#include <cstdlib>
#include <thread>

#include "address.h"
#include "live.h"
#include "page.h"

namespace view {

// The page's caps (docs/robustness.md).
constexpr size_t kMaxBody = 64u << 10;
constexpr time_t kIdleSeconds = 1;            // between requests on a connection
constexpr time_t kReadMicroseconds = 300000;  // for a request's next bytes (the page is local)
constexpr size_t kRequestsPerConnection = 100;
constexpr size_t kThreads = 128;

struct Server::Impl {
    httplib::Server http;
    std::thread thread;
    int port = 0;
};

Server::Server() = default;
Server::~Server() { stop(); }

namespace {

// "host:port" with a port of 0 to 65535.
bool parse_address(const std::string &host_port, std::string &host, int &port) {
    const size_t colon = host_port.rfind(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == host_port.size() || colon + 6 < host_port.size()) {
        return false;
    }
    char *end = nullptr;
    const long p = std::strtol(host_port.c_str() + colon + 1, &end, 10);
    if (*end != '\0' || p < 0 || p > 65535 || !std::isdigit(static_cast<unsigned char>(host_port[colon + 1]))) {
        return false;
    }
    host = host_port.substr(0, colon);
    port = static_cast<int>(p);
    return true;
}

}  // namespace

bool loopback(const std::string &host) {
    return host == "localhost" || host == "::1" || host == "[::1]" || host.rfind("127.", 0) == 0;
}

bool Server::start(const std::string &host_port, Flight &flight, std::string &error) {
    stop();
    std::string host;
    int port = 0;
    if (const std::string problem = address_problem(host_port);
        !problem.empty() || !parse_address(host_port, host, port)) {
        error = "HTTP address " + (problem.empty() ? host_port + ": expected HOST:PORT" : problem);
        return false;
    }
    auto impl = std::make_unique<Impl>();
    std::string head;
    for (const Library &lib : libraries()) {
        std::string text;
        if (!read_library(lib, text, error)) {
            return false;
        }
        const std::string url = std::string("/lib/") + lib.name;
        impl->http.Get(url, [text, type = lib.type](const httplib::Request &, httplib::Response &res) {
            res.set_content(text, type);
        });
        head += lib.type[0] == 't' ? "<link rel=\"stylesheet\" href=\"" + url + "\">\n"
                                   : "<script src=\"" + url + "\"></script>\n";
    }
    head += "<link rel=\"stylesheet\" href=\"/page.css\">\n";
    const std::string page = fill_page("cirrow — the aircraft, live", head, "<script src=\"/page.js\"></script>");
    impl->http.Get("/", [page](const httplib::Request &, httplib::Response &res) {
        res.set_content(page, "text/html; charset=utf-8");
    });
    impl->http.Get("/page.css",
                   [](const httplib::Request &, httplib::Response &res) { res.set_content(kPageCss, "text/css"); });
    impl->http.Get("/page.js", [](const httplib::Request &, httplib::Response &res) {
        res.set_content(kPageJs, "application/javascript");
    });
    impl->http.Get("/api/state", [&flight](const httplib::Request &req, httplib::Response &res) {
        const std::string since = req.get_param_value("since");
        res.set_content(flight.json(std::strtoul(since.c_str(), nullptr, 10)), "application/json");
        res.set_header("Cache-Control", "no-store");
    });
    // The page runs in the aircraft's process: what one browser or script may take of it is capped.
    // A request's body (the page takes none) and its idle times are bounded, a connection serves a
    // bounded number of requests, and the threads are a fixed pool.
    impl->http.set_payload_max_length(kMaxBody);
    impl->http.set_read_timeout(0, kReadMicroseconds);
    impl->http.set_write_timeout(kIdleSeconds, 0);
    impl->http.set_keep_alive_timeout(kIdleSeconds);
    impl->http.set_keep_alive_max_count(kRequestsPerConnection);
    impl->http.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    // Address reuse for a quick restart, but never a port shared with another server.
    impl->http.set_socket_options([](socket_t sock) {
        const int yes = 1;
        setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    impl->port = port == 0 ? impl->http.bind_to_any_port(host) : (impl->http.bind_to_port(host, port) ? port : -1);
    if (impl->port <= 0) {
        error = "HTTP address " + host_port + ": cannot listen there (address in use or not this machine's)";
        return false;
    }
    impl->thread = std::thread([h = impl.get()] { h->http.listen_after_bind(); });
    impl_ = std::move(impl);
    return true;
}

int Server::port() const { return impl_ ? impl_->port : 0; }

void Server::stop() {
    if (impl_) {
        impl_->http.stop();
        impl_->thread.join();
        impl_.reset();
    }
}

}  // namespace view
