// The virtual aircraft as its hosts see it: the module models, the scenario, the clock and the
// referee behind one interface. Two hosts carry it: the stand-in inside an application's process
// (MBUS_SIM=1, one application) and cirrow-aircraft, its own process that applications attach to
// over a local socket (any number of them). Both hand it the same calls, so both fly the same
// aircraft.
//
// Threading: every call may come from any thread; the aircraft serialises them itself. It never
// calls back into its host: what it pushes is returned from tick(), and the host delivers it.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "mbus_ctl.h"
#include "scenario.h"

namespace sim {

// An application attached to the aircraft (the in-process host has one, numbered 1).
using AppId = uint32_t;

// A message a module pushes: its route and bytes.
struct Pushed {
    uint8_t set;
    uint8_t id;
    std::vector<uint8_t> bytes;
};

// How long an answer takes when it never comes.
inline constexpr uint32_t kNeverUs = 0xFFFFFFFFu;

class Aircraft {
public:
    // The aircraft flying the scenario, its clock started now.
    // `shared`: applications share it (cirrow-aircraft), so its reports name them.
    static std::unique_ptr<Aircraft> create(Scenario scenario, bool shared = false);
    virtual ~Aircraft() = default;

    // An application came (its name as it gave it: its program name and pid) or went. `clean` is
    // false when it vanished (crashed, killed, its socket cut) rather than ended.
    virtual void attach(AppId app, const std::string &name) = 0;
    virtual void detach(AppId app, bool clean) = 0;
    // The host cut the application (a bad frame, output it did not read): gone, and why.
    virtual void cut(AppId app, const std::string & /*why*/) { detach(app, false); }

    // The application registered (on) or unregistered (off) its handler for the pushes set/id.
    virtual void handler(AppId app, uint8_t set, uint8_t id, bool on) = 0;

    // A request from an application. Writes the module's answer into resp (resp_len bytes, as the
    // caller passed them) and returns 0, or a link code (MBUS_ERR_NO_PEER: no module serves the
    // receiver). *delay_us is how long the answer takes (kNeverUs: it never comes); the host fails
    // the request with MBUS_ERR_TIMEOUT when that is past the request's timeout.
    virtual int32_t request(AppId app, const mbus_ctl_request_t &req, uint8_t *resp, uint32_t resp_len,
                            uint32_t *delay_us) = 0;

    // A named message an application sent to one of the aircraft's threads (the marker thread).
    virtual void message(AppId app, const char *name, const void *msg, uint32_t len) = 0;

    // Moves the clock to now and returns what the modules push. The host delivers each push to
    // every application that registered a handler for it; the aircraft knows who did, so it counts
    // what nobody took itself.
    virtual std::vector<Pushed> tick() = 0;
    // How often the host should call tick().
    virtual uint32_t period_us() const = 0;

    // Seconds on the aircraft's clock.
    virtual double now() const = 0;

    // The referee's flight report so far, of one application or of all (kEveryApp): one line per
    // item, mistakes first, or the same as JSON or JUnit XML. `mistakes` (may be null) receives how
    // many of its items are mistakes not waived.
    enum class Format : uint8_t { Text, Json, Junit };
    static constexpr AppId kEveryApp = 0xFFFFFFFFu;
    virtual std::string report(uint32_t *mistakes, AppId app = kEveryApp, Format format = Format::Text) const = 0;
    // Waives the referee's rules from now on (their items stay in the report, marked).
    virtual void allow(const std::set<std::string> &rules) = 0;
    // The application's clock may not have followed the aircraft's (why): the report says so. An
    // aircraft without a report (a stand-in for tests) need not say it.
    virtual void drift(const std::string &, const std::string &) {}
};

// Where the aircraft's own lines go (what its modules do, the scenario's changes): a host that
// has its own diagnostics passes a sink for each whole line; null restores the default, stderr
// with a "sim: " prefix.
void set_diagnostics(void (*line)(const char *text));

}  // namespace sim
