// The aircraft seen live: what crossed the link, decoded by the message table into the flight's
// state (phase, height, track, gimbal, camera, vision missions, sticks, link rates) and its series
// over the whole flight; a page that shows them, served over HTTP while the aircraft flies, or
// written as one self-contained file from a capture (cirrow-plot). Host tools only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cw_messages.h"

namespace view {

// One message as it crossed the link (a request, its answer, or a push), on the aircraft's clock
// (seconds). `bytes` is only read during add().
struct LinkEvent {
    double t;
    uint8_t set, id;
    cw::link::Dir dir;
    uint16_t receiver;  // requests and answers; cw::link::kAnyReceiver for pushes
    const uint8_t *bytes;
    uint32_t len;
};

// The flight as the link showed it. Thread-safe: add() is called from the aircraft's threads,
// json() from the server's.
class Flight {
public:
    Flight();
    ~Flight();
    Flight(const Flight &) = delete;
    Flight &operator=(const Flight &) = delete;

    // Decodes the message by the table and updates the state, the series and the link rates.
    void add(const LinkEvent &e);
    // The applications attached to the aircraft.
    void set_apps(std::vector<std::string> apps);
    // The referee's report so far.
    void set_report(std::string report);
    // The state, and the series' points from index `since` on (0: all of them), as one JSON object;
    // its "next" member is the `since` to ask for next time.
    std::string json(size_t since) const;

private:
    struct State;
    std::unique_ptr<State> s_;
};

// Serves the page, /api/state?since=N (Flight::json) and the page's scripts from the installed
// JavaScript packages, on its own threads.
class Server {
public:
    Server();
    ~Server();  // stops
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    // Listens on "host:port" (port 0: any free port, see port()) and serves `flight`, which must
    // outlive the server. False with `error` set when the address is malformed or cannot be
    // bound, or the page's scripts are missing.
    bool start(const std::string &host_port, Flight &flight, std::string &error);
    int port() const;
    void stop();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// Whether host (as --http takes it) is this machine's loopback: 127.0.0.0/8, ::1 or localhost.
bool loopback(const std::string &host);

// The whole flight as one self-contained HTML page (scripts and data inlined), or "" with `error`
// set when the page's scripts cannot be read: cirrow-plot's output.
std::string render_html(const Flight &flight, const std::string &title, std::string &error);

}  // namespace view
