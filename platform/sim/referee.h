// The referee: what an application did wrong on the aircraft, kept for the flight report at the
// end of the run. Mistakes are what would hurt on the aircraft (a stream asked for and never read,
// take-off without control, a command no module serves, ending in the air); notes are what the
// application may mean to do or what the scenario did to it (streams it ignores, faulted answers).
// An item that happens again is counted under its first time, so a loop does not flood the report.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sim {

class Referee {
public:
    // `what` names the item (the same text again counts it again); `todo` is what to do about it.
    void mistake(double t, const std::string &what, const std::string &todo);
    void note(double t, const std::string &what, const std::string &todo = "");

    uint32_t mistakes() const;
    // The report: a heading, then one line per item, mistakes first, each with its time.
    std::string report() const;

private:
    struct Item {
        bool mistake;
        double t;
        std::string what;
        std::string todo;
        uint32_t count;
    };
    void add(bool mistake, double t, const std::string &what, const std::string &todo);
    std::vector<Item> items_;
};

// The registration function that installs the library's handler for a pushed message (by its row
// name), or null when the library has none.
const char *registration_for(const char *push);

}  // namespace sim
