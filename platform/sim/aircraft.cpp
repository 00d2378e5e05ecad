// The virtual aircraft: the module models behind the stand-in's link. It flies when the
// environment asks for it (MBUS_SIM=1, or a scenario in MBUS_SCENARIO, which the cirrow-sim
// launcher sets): every receiver without a peer of its own is answered by its model, and the
// models push from the delivery thread. A scenario changes the models' answers and push rates
// at given times on the aircraft's clock.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>

#include "../mbus/host.h"
#include "model.h"
#include "scenario.h"
#ifdef CW_SIM_SCENARIOS
#include "replay.h"
#endif

namespace sim {

void say(const char *fmt, ...) {
    if (!mbus::st().echo.load()) {
        return;
    }
    if (mbus::config().readable) {
        std::fflush(stdout);  // the application's lines first, as the library's echo does
    }
    va_list ap;
    va_start(ap, fmt);
    std::fputs(mbus::config().readable ? mbus::kReadableIndent : "sim: ", stderr);
    if (mbus::config().readable) {
        std::fputs("aircraft  ", stderr);
    }
    std::vfprintf(stderr, fmt, ap);
    va_end(ap);
}

void Model::answer(double t, const Req &r, Bytes &out) {
    if (is(r, layout::kPing)) {
        out.u8(0, r.in.get8(0));  // echoed: the flight controller's base heartbeat checks it
        out.u8(1, r.in.get8(0));
    } else if (is(r, layout::kVersionReq)) {
        version(out);
    } else {
        command(t, r, out);
    }
}

void Model::tick(double t, Out &out) {
    step(t, out);
    for (Stream &s : streams) {
        if (s.hz <= 0 || !flowing(s)) {
            s.next = t;
            continue;
        }
        if (t >= s.next) {
            Bytes m = out.add(*s.msg);
            fill(s, t, m);
            s.next = std::max(s.next + 1.0 / s.hz, t);
        }
    }
}

namespace {

struct Fault {
    Answer answer = Answer::Normal;
    int set = -1;
    int id = -1;
    uint8_t byte = 1;
    uint32_t delay_ms = 0;
    uint32_t length = 0;

    bool covers(const mbus_ctl_request_t &r) const { return set < 0 || (set == r.cmd_set && id == r.cmd_id); }
};

constexpr uint32_t kAnswerUs = 300;       // how long a module takes to answer
constexpr uint32_t kTickUs = 10000;       // the aircraft's clock step on the delivery thread
constexpr uint32_t kNever = 0xFFFFFFFFu;  // an answer that never comes

class Aircraft {
public:
    explicit Aircraft(Scenario s) : scenario_(std::move(s)), start_(std::chrono::steady_clock::now()) {
        for (Model *m : build_models()) {
            models_.emplace_back(m);
            faults_.emplace_back();
        }
#ifdef CW_SIM_SCENARIOS
        std::string why;
        if (!scenario_.replay.empty() && !replay_.open(scenario_.replay, why)) {
            say("%s: nothing replayed\n", why.c_str());
        } else if (!scenario_.replay.empty()) {
            std::string modules;
            for (const std::string &m : replay_.modules()) {
                modules += " " + m;
            }
            say("replaying %zu push(es) over %.1f s from %s, in place of:%s\n", replay_.size(), replay_.length(),
                scenario_.replay.c_str(), modules.c_str());
        }
#endif
    }

    int32_t answer(const mbus_ctl_request_t *req, uint8_t *resp, uint32_t resp_len, uint32_t *delay_us) {
        std::lock_guard<std::mutex> lock(mu_);
        const double t = now();
        apply_events(t);
        size_t i = 0;
        while (i < models_.size() && !models_[i]->serves(req->receiver)) {
            ++i;
        }
        if (i == models_.size()) {
            return MBUS_ERR_NO_PEER;
        }
        ++requests_;
        Model &m = *models_[i];
        const Fault f = faults_[i].covers(*req) ? faults_[i] : Fault{};
        Req r{req->cmd_set, req->cmd_id, req->receiver,
              Bytes(const_cast<uint8_t *>(req->payload), std::min(req->payload_len, MBUS_LINK_MAX_PAYLOAD))};
        const std::vector<uint8_t> before(resp, resp + resp_len);
        std::memset(resp, 0, resp_len);  // a module's answer is whole, whatever the caller passed
        Bytes out(resp, resp_len);
        *delay_us = kAnswerUs;
        switch (f.answer) {
            case Answer::Silent:
                ++unanswered_;
                *delay_us = kNever;
                return 0;
            case Answer::Refuse:
                ++refused_;
                if (const int at = m.result_at(r); at >= 0) {
                    out.u8(static_cast<size_t>(at), f.byte);
                }
                return 0;
            case Answer::Late:
                ++late_;
                *delay_us = f.delay_ms != 0 ? f.delay_ms * 1000 : kNever;
                break;
            case Answer::Short:
                ++cut_;
                break;
            case Answer::Normal:
                break;
        }
        m.answer(t, r, out);
        if (f.answer == Answer::Short && f.length < resp_len) {
            std::memcpy(resp + f.length, before.data() + f.length, resp_len - f.length);
        }
        return 0;
    }

    void tick() {
        Out out;
        {
            std::lock_guard<std::mutex> lock(mu_);
            const double t = now();
            apply_events(t);
            for (size_t i = 0; i < models_.size(); ++i) {
                const size_t before = out.items.size();
                models_[i]->tick(t, out);
                if (faults_[i].answer == Answer::Silent && faults_[i].set < 0) {
                    out.items.resize(before);  // a silent module pushes nothing either
                }
#ifdef CW_SIM_SCENARIOS
                const auto &replayed = replay_.modules();
                if (std::find(replayed.begin(), replayed.end(), std::string(models_[i]->name())) != replayed.end()) {
                    out.items.resize(before);  // the capture pushes for it
                }
#endif
            }
#ifdef CW_SIM_SCENARIOS
            for (Pushed &p : replay_.due(t / scenario_.speed)) {
                out.items.push_back(std::move(p));
            }
#endif
        }
        for (const Pushed &p : out.items) {
            if (mbus_ctl_handler(p.set, p.id) != nullptr) {
                mbus_ctl_push(p.set, p.id, p.bytes.data(), static_cast<uint32_t>(p.bytes.size()));
                ++pushes_;
            }
        }
    }

    void summary() {
        std::lock_guard<std::mutex> lock(mu_);
        say("%.1f s on the aircraft's clock: %u request(s) answered by the models (%u refused, %u late, %u cut "
            "short, %u unanswered), %u push(es) delivered, %u marker message(s)\n",
            now(), requests_, refused_, late_, cut_, unanswered_, pushes_.load(), markers_.load());
    }

    void marker(const void *msg, uint32_t len) {
        ++markers_;
        int32_t v[3] = {0, 0, 0};
        std::memcpy(v, msg, std::min<size_t>(len, sizeof v));
        say("marker thread: looking for paper %d (gimbal %s, QR code %s)\n", v[2], v[0] ? "on" : "off",
            v[1] ? "on" : "off");
    }

private:
    double now() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count() * scenario_.speed;
    }

    void apply_events(double t) {
        while (next_ < scenario_.events.size() && scenario_.events[next_].time <= t) {
            const Event &e = scenario_.events[next_++];
            for (size_t i = 0; i < models_.size(); ++i) {
                if (e.module != models_[i]->name()) {
                    continue;
                }
                if (e.sets_answer) {
                    faults_[i] = Fault{e.answer, e.set, e.id, e.byte, e.delay_ms, e.length};
                    say("t=%.1f s: %s answers %s%s\n", t, e.module.c_str(), kAnswerNames[static_cast<int>(e.answer)],
                        e.set >= 0 ? " to one command" : "");
                }
                for (Model::Stream &s : models_[i]->streams) {
                    if (e.sets_rate && (e.push.empty() || e.push == s.msg->name)) {
                        s.hz = e.hz;
                        say("t=%.1f s: %s pushes at %.1f Hz\n", t, s.msg->name, e.hz);
                    }
                }
            }
        }
    }

    static constexpr const char *kAnswerNames[] = {"normally", "with refusals", "late", "short", "nothing"};

    std::mutex mu_;
    Scenario scenario_;
    size_t next_ = 0;
    std::chrono::steady_clock::time_point start_;
    std::vector<std::unique_ptr<Model>> models_;
    std::vector<Fault> faults_;
#ifdef CW_SIM_SCENARIOS
    Replay replay_;
#endif
    uint32_t requests_ = 0, refused_ = 0, late_ = 0, cut_ = 0, unanswered_ = 0;
    std::atomic<uint32_t> pushes_{0}, markers_{0};
};

Aircraft *g_aircraft = nullptr;

int32_t answer(void *ctx, const mbus_ctl_request_t *req, uint8_t *resp, uint32_t resp_len, uint32_t *delay_us) {
    return static_cast<Aircraft *>(ctx)->answer(req, resp, resp_len, delay_us);
}

void tick(void *ctx) { static_cast<Aircraft *>(ctx)->tick(); }

void marker(void *ctx, const void *msg, uint32_t len) { static_cast<Aircraft *>(ctx)->marker(msg, len); }

void summary() { g_aircraft->summary(); }

[[noreturn]] void refuse(const std::string &what) {
    std::fprintf(stderr, "mbus: %s\n", what.c_str());
    std::fflush(stderr);
    std::_Exit(2);
}

// Reads MBUS_SIM, MBUS_SCENARIO and MBUS_SIM_SPEED when the stand-in is loaded, before the
// application runs: a bad value stops the process with the reason.
__attribute__((constructor)) void start_from_environment() {
    const char *on = std::getenv("MBUS_SIM");
    const char *file = std::getenv("MBUS_SCENARIO");
    const char *speed = std::getenv("MBUS_SIM_SPEED");
    if (on != nullptr && *on != '\0' && std::strcmp(on, "0") != 0 && std::strcmp(on, "1") != 0) {
        refuse(std::string("MBUS_SIM=") + on + ": must be 0 or 1");
    }
    const bool has_file = file != nullptr && *file != '\0';
    if (!has_file && (on == nullptr || std::strcmp(on, "1") != 0)) {
        return;
    }
    Scenario s;
    if (has_file) {
#ifdef CW_SIM_SCENARIOS
        std::string error;
        if (!load_scenario(file, s, error)) {
            refuse(error);
        }
#else
        refuse(std::string("MBUS_SCENARIO=") + file + ": this stand-in was built without scenario support (toml++)");
#endif
    }
    if (speed != nullptr && *speed != '\0') {
        char *end = nullptr;
        s.speed = std::strtod(speed, &end);
        if (*end != '\0' || !(s.speed >= 0.01 && s.speed <= 100)) {
            refuse(std::string("MBUS_SIM_SPEED=") + speed + ": must be a number from 0.01 to 100");
        }
    }
    g_aircraft = new Aircraft(std::move(s));  // lives as long as the process: the delivery thread ticks it
    static const mbus::AircraftHooks hooks{answer, g_aircraft, tick, kTickUs};
    mbus_ctl_tm_set_receiver("fly_marker_thread", marker, g_aircraft);
    mbus::set_aircraft(&hooks);
    std::atexit(summary);
}

}  // namespace

}  // namespace sim
