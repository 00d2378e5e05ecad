// The live page over HTTP: the page, its scripts (read once at start) and the flight's state,
// served by Debian's civetweb, whose options cap what one browser or script may take of the
// process the page runs in.
#include <arpa/inet.h>
#include <civetweb.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>
#include <thread>
#include <vector>

#include "address.h"
#include "live.h"
#include "page.h"

namespace view {

// The page's caps (docs/robustness.md).
constexpr long long kMaxBody = 64 << 10;
// civetweb keeps a request's first 64 header lines and passes over the rest without a word, so a
// request is refused when it has more than this many: it cannot be told apart from one that has
// hundreds. A browser sends a dozen or two.
constexpr int kMaxHeaderLines = 48;
static_assert(kMaxHeaderLines < MG_MAX_HEADERS);
constexpr const char *kMaxHead = "16384";       // bytes: the request line and every header line
constexpr const char *kRequestMs = "500";       // a request's head, whole, and each write
constexpr const char *kIdleMs = "1000";         // between requests on a connection
constexpr const char *kThreads = "128";         // each holds one connection at a time
constexpr const char *kConnectionQueue = "64";  // accepted, waiting for a thread
constexpr const char *kListenBacklog = "128";   // not yet accepted

namespace {

struct File {
    std::string text;
    const char *type;
};

// What the page serves: its files by path, and the flight's state.
struct Site {
    Flight *flight = nullptr;
    std::map<std::string, File, std::less<>> files;
};

}  // namespace

struct Server::Impl {
    mg_context *ctx = nullptr;
    Site site;
    std::string ip;  // listened on
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

// The host as civetweb's listening option takes it: an IPv4 address ("" when it names none).
std::string ipv4_of(const std::string &host) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0 || found == nullptr) {
        return "";
    }
    char text[INET_ADDRSTRLEN] = {};
    const auto *in = reinterpret_cast<const sockaddr_in *>(found->ai_addr);
    const bool ok = inet_ntop(AF_INET, &in->sin_addr, text, sizeof text) != nullptr;
    freeaddrinfo(found);
    return ok ? text : "";
}

// One answer: status, type and body, with the extra header lines given ("Name: value\r\n" each).
int answer(mg_connection *conn, int status, const char *type, const std::string &body, const char *extra = "") {
    mg_response_header_start(conn, status);
    mg_response_header_add(conn, "Content-Type", type, -1);
    mg_response_header_add(conn, "Content-Length", std::to_string(body.size()).c_str(), -1);
    if (*extra != '\0') {
        mg_response_header_add_lines(conn, extra);
    }
    mg_response_header_send(conn);
    if (std::strcmp(mg_get_request_info(conn)->request_method, "HEAD") != 0) {
        mg_write(conn, body.data(), body.size());
    }
    return status;
}

// Every request: too many header lines are refused, and a body beyond the cap (the page takes
// none); then the page's files and its state by path; anything else is not found.
int serve(mg_connection *conn) {
    const mg_request_info *req = mg_get_request_info(conn);
    const auto *site = static_cast<const Site *>(req->user_data);
    if (req->num_headers > kMaxHeaderLines) {
        mg_send_http_error(conn, 431, "more than %d header lines", kMaxHeaderLines);
        return 431;
    }
    if (req->content_length > kMaxBody) {
        mg_send_http_error(conn, 413, "a body of more than %lld bytes", kMaxBody);
        return 413;
    }
    const std::string_view method = req->request_method;
    const std::string_view path = req->local_uri != nullptr ? req->local_uri : "";
    if (method != "GET" && method != "HEAD") {
        return answer(conn, 404, "text/plain", "");
    }
    if (path == "/api/state") {
        char since[32] = {};
        const char *query = req->query_string != nullptr ? req->query_string : "";
        mg_get_var(query, std::strlen(query), "since", since, sizeof since);
        return answer(conn, 200, "application/json", site->flight->json(std::strtoul(since, nullptr, 10)),
                      "Cache-Control: no-store\r\n");
    }
    if (const auto file = site->files.find(path); file != site->files.end()) {
        return answer(conn, 200, file->second.type, file->second.text);
    }
    return answer(conn, 404, "text/plain", "");
}

// A connection to the page that is closed at once: it wakes civetweb's listening thread, which
// looks at its stop flag only between waits of 2 s.
void knock(const std::string &ip, int port) {
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<uint16_t>(port));
    inet_pton(AF_INET, ip == "0.0.0.0" ? "127.0.0.1" : ip.c_str(), &to.sin_addr);
    const int sock = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (sock >= 0) {
        (void)connect(sock, reinterpret_cast<const sockaddr *>(&to), sizeof to);
        close(sock);
    }
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
    impl->site.flight = &flight;
    std::string head;
    for (const Library &lib : libraries()) {
        std::string text;
        if (!read_library(lib, text, error)) {
            return false;
        }
        const std::string url = std::string("/lib/") + lib.name;
        impl->site.files[url] = {std::move(text), lib.type};
        head += lib.type[0] == 't' ? "<link rel=\"stylesheet\" href=\"" + url + "\">\n"
                                   : "<script src=\"" + url + "\"></script>\n";
    }
    head += "<link rel=\"stylesheet\" href=\"/page.css\">\n";
    impl->site.files["/"] = {fill_page("cirrow — the aircraft, live", head, "<script src=\"/page.js\"></script>"),
                             "text/html; charset=utf-8"};
    impl->site.files["/page.css"] = {kPageCss, "text/css"};
    impl->site.files["/page.js"] = {kPageJs, "application/javascript"};

    const std::string ip = ipv4_of(host);
    if (ip.empty()) {
        error = "HTTP address " + host_port + ": " + host + " names no IPv4 address (the page is served on IPv4 only)";
        return false;
    }
    // The page runs in the aircraft's process: what one browser or script may take of it is capped.
    // A request's head is bounded in size, in lines and in time, whole, so that a slow sender holds
    // a thread for a bounded time; an idle connection is closed; the threads are a fixed pool, and
    // connections beyond them wait in bounded queues, then in the kernel's.
    const std::string settings[][2] = {{"listening_ports", ip + ":" + std::to_string(port)},
                                       {"num_threads", kThreads},
                                       {"connection_queue", kConnectionQueue},
                                       {"listen_backlog", kListenBacklog},
                                       {"max_request_size", kMaxHead},
                                       {"request_timeout_ms", kRequestMs},
                                       {"enable_keep_alive", "yes"},
                                       {"keep_alive_timeout_ms", kIdleMs},
                                       {"decode_url", "yes"}};
    std::vector<const char *> options;
    for (const auto &[name, value] : settings) {
        options.push_back(name.c_str());
        options.push_back(value.c_str());
    }
    options.push_back(nullptr);
    mg_callbacks callbacks{};
    callbacks.begin_request = serve;
    callbacks.log_message = [](const mg_connection *, const char *) { return 1; };  // errors are ours to say
    mg_init_library(0);
    impl->ctx = mg_start(&callbacks, &impl->site, options.data());
    impl_ = std::move(impl);
    mg_server_port ports[1] = {};
    if (impl_->ctx == nullptr || mg_get_server_ports(impl_->ctx, 1, ports) != 1 || ports[0].port <= 0) {
        error = "HTTP address " + host_port + ": cannot listen there (address in use or not this machine's)";
        stop();
        return false;
    }
    impl_->ip = ip;
    impl_->port = ports[0].port;
    return true;
}

int Server::port() const { return impl_ ? impl_->port : 0; }

void Server::stop() {
    if (impl_) {
        if (impl_->ctx != nullptr) {
            // Knocks until civetweb has stopped, so that a stop takes a moment, not 2 s.
            std::atomic<bool> stopped = false;
            std::thread knocker([&] {
                while (!stopped && impl_->port > 0) {
                    knock(impl_->ip, impl_->port);
                    std::this_thread::sleep_for(std::chrono::milliseconds(20));
                }
            });
            mg_stop(impl_->ctx);
            stopped = true;
            knocker.join();
        }
        mg_exit_library();
        impl_.reset();
    }
}

}  // namespace view
