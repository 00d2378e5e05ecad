// The referee: what an application did wrong on the aircraft, kept for the flight report at the
// end of the run. Mistakes are what would hurt on the aircraft (a stream asked for and never read,
// take-off without control, a command no module serves, ending in the air); notes are what the
// application may mean to do or what the scenario did to it (streams it ignores, faulted answers).
// An item that happens again is counted under its first time, so a loop does not flood the report;
// items are found by their text in a hash map, and past kMaxItems distinct ones (an application
// sending to ever new receivers) only counted, so neither the time per item nor the report grows
// with what a client makes up.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
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

    // Distinct items kept; those past it are counted in the report's last line.
    static constexpr size_t kMaxItems = 256;

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
    std::unordered_map<std::string, size_t> index_;  // mistake flag + what -> items_
    uint64_t untold_mistakes_ = 0, untold_notes_ = 0;
};

// The registration function that installs the library's handler for a pushed message (by its row
// name), or null when the library has none.
const char *registration_for(const char *push);

}  // namespace sim
