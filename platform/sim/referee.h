// The referee: what an application did wrong on the aircraft, kept for the flight report at the
// end of the run. Mistakes are what would hurt on the aircraft (a stream asked for and never read,
// take-off without control, a command no module serves, ending in the air, steering beyond the
// envelope); notes are what the application may mean to do or what the scenario or the aircraft
// did to it (streams it ignores, faulted answers, refusals). Every item carries a rule name, so a
// team can waive a rule it breaks on purpose: a waived item stays in the report, marked, and never
// counts as a mistake. Each item is charged to the application that caused it (0: the aircraft
// itself); an item that happens again is counted under its first time, so a loop does not flood
// the report. Items are found by their text in a hash map, and past kMaxItems distinct ones of an
// application (one sending to ever new receivers) only counted, so neither the time per item nor
// the report grows with what a client makes up.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "rules.h"

namespace sim {

class Referee {
public:
    static constexpr uint32_t kEveryApp = 0xFFFFFFFFu;
    static constexpr size_t kMaxItems = 256;  // distinct items listed per application

    // `rule` names the kind of item; `what` names the item (the same text again counts it again);
    // `todo` is what to do about it.
    void mistake(uint32_t app, double t, const char *rule, const std::string &what, const std::string &todo);
    void note(uint32_t app, double t, const char *rule, const std::string &what, const std::string &todo = "");

    // The rules waived from now on.
    void allow(const std::set<std::string> &rules) { allowed_.insert(rules.begin(), rules.end()); }
    // An application's name for its report's lines (its program name and process id).
    void name(uint32_t app, const std::string &name) { names_[app] = name; }
    // Whether applications share the aircraft (cirrow-aircraft): the reports then name them.
    void shared(bool on) { shared_ = on; }

    // Mistakes not waived, of one application or of every one.
    uint32_t mistakes(uint32_t app = kEveryApp) const;
    // The report: a heading, then one line per item, mistakes first, each with its time and rule.
    // Of every application, the lines name the application each item is charged to.
    std::string report(uint32_t app = kEveryApp) const;
    // The same report as JSON, and as JUnit XML (a test suite per application, a test case per
    // application and rule, a failure per mistake not waived).
    std::string json(uint32_t app = kEveryApp) const;
    std::string junit(uint32_t app = kEveryApp) const;

private:
    struct Item {
        uint32_t app;
        bool mistake;
        double t;
        std::string rule;
        std::string what;
        std::string todo;
        uint32_t count;
    };
    void add(uint32_t app, bool mistake, double t, const char *rule, const std::string &what, const std::string &todo);
    bool waived(const Item &i) const { return allowed_.count(i.rule) != 0; }
    bool mine(const Item &i, uint32_t app) const { return app == kEveryApp || i.app == app; }
    std::string who(uint32_t app) const;
    std::vector<uint32_t> apps(uint32_t app) const;
    struct Untold {  // items of an application past kMaxItems, only counted
        uint64_t mistakes = 0, waived = 0, notes = 0;
    };
    Untold untold(uint32_t app) const;
    std::vector<Item> items_;
    std::unordered_map<std::string, size_t> index_;  // app, kind and what -> items_
    std::map<uint32_t, size_t> kept_;                // items_ of each application
    std::map<uint32_t, Untold> untold_;
    std::set<std::string> allowed_;
    std::map<uint32_t, std::string> names_;
    bool shared_ = false;
};

// Writes a report (its JSON or JUnit XML) to a file; false with errno set when it cannot.
bool write_report(const std::string &path, const std::string &text);

// The registration function that installs the library's handler for a pushed message (by its row
// name), or null when the library has none.
const char *registration_for(const char *push);

}  // namespace sim
