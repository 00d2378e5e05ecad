// A stand-in for the virtual aircraft behind cirrow-aircraft's server: it answers every request
// with its first payload byte plus one, pushes what the test queues, and records what the
// server told it.
#pragma once

#include <atomic>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "aircraft.h"

class FakeAircraft : public sim::Aircraft {
public:
    void attach(sim::AppId app, const std::string &name) override { log("attach " + std::to_string(app) + " " + name); }
    void detach(sim::AppId app, bool clean) override {
        log("detach " + std::to_string(app) + (clean ? " clean" : " vanished"));
    }
    void cut(sim::AppId app, const std::string &why) override { log("cut " + std::to_string(app) + " " + why); }
    void handler(sim::AppId app, uint8_t set, uint8_t id, bool on) override {
        log("handler " + std::to_string(app) + " " + std::to_string(set) + "/" + std::to_string(id) +
            (on ? " on" : " off"));
    }
    int32_t request(sim::AppId, const mbus_ctl_request_t &req, uint8_t *resp, uint32_t resp_len,
                    uint32_t *delay_us) override {
        if (req.receiver == 0xDEAD) {
            return MBUS_ERR_NO_PEER;
        }
        if (resp_len > 0) {
            resp[0] = static_cast<uint8_t>(req.payload[0] + 1);
        }
        *delay_us = delay;
        return 0;
    }
    void message(sim::AppId app, const char *name, const void *msg, uint32_t len) override {
        log("message " + std::to_string(app) + " " + name + " " + std::to_string(len));
        (void)msg;
    }
    std::vector<sim::Pushed> tick() override {
        std::lock_guard<std::mutex> lock(mu);
        std::vector<sim::Pushed> out;
        for (uint32_t i = 0; i < per_tick; ++i) {
            out.push_back(every_tick);
        }
        out.insert(out.end(), queued.begin(), queued.end());
        queued.clear();
        return out;
    }
    uint32_t period_us() const override { return 1000; }
    double now() const override { return 0; }
    std::string report(uint32_t *mistakes, sim::AppId, Format) const override {
        if (mistakes != nullptr) {
            *mistakes = 0;
        }
        return "";
    }
    void allow(const std::set<std::string> &) override {}

    void push(uint8_t set, uint8_t id, std::vector<uint8_t> bytes) {
        std::lock_guard<std::mutex> lock(mu);
        queued.push_back({set, id, std::move(bytes)});
    }
    std::vector<std::string> events() {
        std::lock_guard<std::mutex> lock(mu);
        return seen;
    }
    bool saw(const std::string &e) {
        for (const auto &s : events()) {
            if (s.rfind(e, 0) == 0) {
                return true;
            }
        }
        return false;
    }

    std::mutex mu;
    std::vector<sim::Pushed> queued;
    sim::Pushed every_tick{};
    uint32_t per_tick = 0;
    std::atomic<uint32_t> delay{300};

private:
    void log(std::string e) {
        std::lock_guard<std::mutex> lock(mu);
        seen.push_back(std::move(e));
    }
    std::vector<std::string> seen;
};
