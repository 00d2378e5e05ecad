// A recorded flight's pushes, from the capture reader cirrow-plot uses too (link_capture.h).
#include "replay.h"

#include <algorithm>
#include <cstdint>

#include "link_capture.h"
#include "link_modules.h"

namespace sim {

namespace {

// The module a push belongs to, as its row names it ("flight.fc_state": flight).
std::string module_of(uint8_t set, uint8_t id) {
    const cw::trace::Message *m = cw::trace::find(set, id, cw::trace::Dir::Push);
    const cw::trace::Module *mod = m != nullptr ? cw::trace::module_of(*m) : nullptr;
    return mod != nullptr ? std::string(mod->name) : std::string();
}

}  // namespace

bool Replay::open(const std::string &path, std::string &error) {
    *this = Replay{};
    std::vector<cw::trace::CaptureRecord> records;
    if (!cw::trace::read_capture(path, records, error)) {
        return false;
    }
    const double first = records.empty() ? 0 : records.front().t;
    for (cw::trace::CaptureRecord &r : records) {
        if (r.dir != cw::trace::Dir::Push) {
            continue;
        }
        pushes_.push_back({r.t - first, {r.set, r.id, std::move(r.bytes)}});
        const std::string module = module_of(r.set, r.id);
        if (!module.empty() && std::find(modules_.begin(), modules_.end(), module) == modules_.end()) {
            modules_.push_back(module);
        }
    }
    std::stable_sort(pushes_.begin(), pushes_.end(), [](const Recorded &a, const Recorded &b) { return a.t < b.t; });
    return true;
}

std::vector<Pushed> Replay::due(double t) {
    std::vector<Pushed> out;
    for (; next_ < pushes_.size() && pushes_[next_].t <= t; ++next_) {
        out.push_back(pushes_[next_].push);
    }
    return out;
}

}  // namespace sim
