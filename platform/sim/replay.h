// A recorded flight played back: the pushes of a capture written by the link trace (MBUS_PCAP),
// handed out again at their recorded times. Times count from the capture's first record (the
// application's first request), in seconds of the wall clock the capture was taken by.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "aircraft.h"

namespace sim {

class Replay {
public:
    // Reads the capture's pushes. A file that is not a capture of this link, or is cut short, is
    // refused with a reason naming the file.
    bool open(const std::string &path, std::string &error);

    // The pushes recorded at or before t that were not handed out yet, in recorded order.
    std::vector<Pushed> due(double t);

    // The modules whose pushes the capture holds (named as scenarios name them): their own
    // streams stop while it plays.
    const std::vector<std::string> &modules() const { return modules_; }

    size_t size() const { return pushes_.size(); }
    // When the last push was recorded.
    double length() const { return pushes_.empty() ? 0 : pushes_.back().t; }

private:
    struct Recorded {
        double t;
        Pushed push;
    };
    std::vector<Recorded> pushes_;
    std::vector<std::string> modules_;
    size_t next_ = 0;
};

}  // namespace sim
